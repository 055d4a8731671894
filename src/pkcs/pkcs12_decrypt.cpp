#include "sealkit/compare.h"
#include "sealkit/pbes2.h"
#include "sealkit/pkcs8.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "pkcs/ber.h"
#include "pkcs/parse.h"
#include "pkcs/pbe1.h"
#include "pkcs/pkcs12_bags.h"
#include "pkcs/pkcs12_mac.h"

#include <algorithm>
#include <cstdint>
#include <iostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using detail::PKCS12Bag;
using detail::PKCS12Content;
using detail::SecretBytes;

bool say(char const* what) {
    std::cout << what << std::endl;
    return false;
}

/// How many iterations a scheme takes; 0 when it is none that is done, or has malformed parameters.
unsigned iterationsOf(AlgorithmIdentifier const& algorithm) {
    asn1::blob const scheme = algorithm.oid;
    PBES2Params pbes2;
    PBEParams pbe1;
    if (scheme == oid::pbes2 && parse(pbes2, algorithm.params))
        return pbes2.iterations;
    if (scheme == oid::pbeWithSha1And3KeyTripleDes && parse(pbe1, algorithm.params))
        return pbe1.iterations;
    return 0;
}

std::uint64_t iterationsOf(std::vector<PKCS12Bag> const& bags) {
    std::uint64_t sum = 0;
    for (PKCS12Bag const& bag : bags)
        if (bag.isLocked())
            sum += iterationsOf(bag.algorithm);
    return sum;
}

/// The data of a content; null when others, who have access too, took it from the list.
template <typename Data>
Data const* dataOf(PKCS12Content const& content, std::vector<Data> const& list) {
    return content.index < list.size() ? &list[content.index] : nullptr;
}

bool needsPassword(PKCS12Content const& content) {
    return content.kind == PKCS12Content::Kind::encrypted && !content.isOpen;
}

/// All that can be known before anything is opened.
std::uint64_t iterationsOf(std::vector<PKCS12Content> const& contents,
                           std::vector<PKCS7EncryptedData> const& encryptedData) {
    std::uint64_t sum = 0;
    for (PKCS12Content const& content : contents) {
        sum += iterationsOf(content.bags);
        PKCS7EncryptedData const* const data = dataOf(content, encryptedData);
        if (needsPassword(content) && data != nullptr)
            sum += iterationsOf(data->encryptedContentInfo.contentEncryptionAlgorithm);
    }
    return sum;
}

/// An attempt to open a file with a password in one form. `iterations` are those that are known to be needed.
class Opening {
public:
    Opening(std::string_view utf8, asn1::blob bmp, bool readsBer, std::uint64_t known)
        : password(utf8), bmpPassword(bmp), isBer(readsBer), iterations(known) {}

    bool openedAny() const { return opened; }
    /// Whether another form of the password may do better.
    bool dependsOnForm() const { return usedForm && !isFinal; }
    bool isUnreadable() const { return unreadable; }
    bool isTooMuch() const { return iterations > pkcs12MostIterationsOfFile; }

    bool openContent(PKCS7EncryptedData const& data, std::vector<PKCS12Bag>& bags) {
        PKCS7EncryptedContentInfo const& info = data.encryptedContentInfo;
        SecretBytes plain;
        if (!decrypt(info.contentEncryptionAlgorithm, info.encryptedContent, plain.value))
            return false;
        opened = detail::readSafeContents(plain, isBer, bags);
        unreadable = !opened;
        iterations += iterationsOf(bags);
        return opened && (!isTooMuch() || fail());
    }

    bool unlock(PKCS12Bag& bag) {
        SecretBytes plain;
        if (!decrypt(bag.algorithm, bag.encryptedKey, plain.value))
            return false;
        bag.key = parseOneAssimetricKey(plain);
        if (bag.key == nullptr && isBer) {
            SecretBytes const der(detail::berToDer(plain));
            bag.key = parseOneAssimetricKey(der);
        }
        opened = bag.key != nullptr;
        unreadable = !opened;
        return opened;
    }

private:
    bool decrypt(AlgorithmIdentifier const& algorithm, asn1::blob data, std::vector<unsigned char>& out) {
        asn1::blob const scheme = algorithm.oid;
        if (scheme == oid::pbes2)
            return pbes2_crypt(algorithm, password, data, out, false) || fail();
        if (!(scheme == oid::pbeWithSha1And3KeyTripleDes)) {
            std::cout << "PFX: unsupported PBE: <" << oid2name(scheme) << ">" << std::endl;
            return fail();
        }
        PBEParams params;
        if (!parse(params, algorithm.params))
            return fail();
        usedForm = true;
        return detail::pbe1Crypt(params, bmpPassword, data, out, false);
    }

    /// What no form of the password changes.
    bool fail() {
        isFinal = true;
        return false;
    }

    std::string_view password;
    asn1::blob bmpPassword;
    bool isBer;
    std::uint64_t iterations;
    bool opened = false, usedForm = false, isFinal = false, unreadable = false;
};

bool openAll(Opening& opening, std::vector<PKCS12Content>& contents,
             std::vector<PKCS7EncryptedData> const& encryptedData) {
    for (PKCS12Content& content : contents) {
        if (needsPassword(content)) {
            PKCS7EncryptedData const* const data = dataOf(content, encryptedData);
            if (data == nullptr || !opening.openContent(*data, content.bags))
                return false;
            content.isOpen = true;
        }
        for (PKCS12Bag& bag : content.bags)
            if (bag.isLocked() && !opening.unlock(bag))
                return false;
    }
    return true;
}

} // namespace

bool PKCS12PFX::decrypt(std::string_view password) {
    // Programs that are given an empty password make of it either the terminator alone or nothing at all.
    SecretBytes const bmp(pkcs12_password(password));
    std::vector<asn1::blob> forms = {bmp};
    if (password.empty())
        forms.emplace_back();

    bool const hasMac = !mac.empty();
    unsigned const macCount = hasMac ? detail::macCount(macIterations) : 0;
    std::uint64_t const known = iterationsOf(contents, encryptedData) + macCount;
    if (known > pkcs12MostIterationsOfFile)
        return say("PFX: too many iterations");
    if (hasMac) {
        HashID const hash = getHashID(macAlgorithm.oid);
        if (hash == HashID::none)
            return false;
        SecretBytes const safe(saveAuthenticatedSafe());
        auto const isRight = [&](asn1::blob form) {
            return equalInConstantTime(detail::pkcs12Mac(hash, form, macSalt, macCount, safe), mac);
        };
        auto const right = std::find_if(forms.begin(), forms.end(), isRight);
        if (right == forms.end())
            return say("PFX: MAC verification failed");
        forms = {*right};
    }

    for (size_t form = 0; form < forms.size(); form++) {
        std::vector<PKCS12Content> opened = contents;
        Opening opening(password, forms[form], isBer, known);
        if (openAll(opening, opened, encryptedData)) {
            if (opening.openedAny())
                collect(std::move(opened));
            return true;
        }
        if (opening.dependsOnForm() && form + 1 < forms.size())
            continue;
        if (opening.isTooMuch())
            return say("PFX: too many iterations");
        return opening.isUnreadable() && detail::refuseSafeContents();
    }
    return false;
}

bool PKCS12PFX::decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key) {
    auto const isRecipient = [&](PKCS7KeyTransRecipientInfo const& one) {
        return detail::isRecipient(one, certificate);
    };
    std::vector<PKCS12Content> opened = contents;
    bool isAny = false, isNew = false;
    for (PKCS12Content& content : opened) {
        if (content.kind != PKCS12Content::Kind::enveloped)
            continue;
        PKCS7EnvelopedData const* const data = dataOf(content, envelopedData);
        if (data == nullptr || std::ranges::none_of(data->recipientInfos, isRecipient))
            continue;
        isAny = true;
        if (content.isOpen)
            continue;
        SecretBytes plain;
        if (!data->decrypt(certificate, key, plain.value))
            return false;
        if (!detail::readSafeContents(plain, isBer, content.bags))
            return detail::refuseSafeContents();
        content.isOpen = isNew = true;
    }
    if (!isAny)
        return say("ktri: no key matches");
    if (isNew)
        collect(std::move(opened));
    return true;
}

/// Takes the contents, some of which were opened just now, and shows what they all hold.
void PKCS12PFX::collect(std::vector<PKCS12Content>&& opened) {
    contents = std::move(opened);
    certificates.clear();
    keys.clear();
    certificateAttributes.clear();
    keyAttributes.clear();
    for (PKCS12Content const& content : contents)
        show(content);
}

size_t PKCS12PFX::lockedKeys() const {
    size_t count = 0;
    for (PKCS12Content const& content : contents)
        for (PKCS12Bag const& bag : content.bags)
            count += bag.isLocked();
    return count;
}

std::vector<AlgorithmIdentifier> PKCS12PFX::keyEncryptions() const {
    std::vector<AlgorithmIdentifier> algorithms;
    for (PKCS12Content const& content : contents)
        for (PKCS12Bag const& bag : content.bags)
            if (!bag.algorithm.oid.empty())
                algorithms.push_back(bag.algorithm);
    return algorithms;
}

size_t PKCS12PFX::lockedContents() const {
    return static_cast<size_t>(std::count_if(contents.begin(), contents.end(),
                                             [](PKCS12Content const& content) { return !content.isOpen; }));
}
