#include "sealkit/compare.h"
#include "sealkit/oid_names.h"
#include "sealkit/pbes2.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/bmp_string.h"
#include "keys/password_scheme.h"
#include "keys/pbmac1.h"
#include "keys/read.h"
#include "pkcs/pkcs12_bags.h"
#include "pkcs/pkcs12_mac.h"
#include "pkcs/read.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <optional>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using detail::PKCS12Bag;
using detail::PKCS12Content;
using detail::PKCS12Reading;
using detail::Reading;
using detail::SecretBytes;

std::uint64_t iterationsOf(AlgorithmIdentifier const& algorithm, PasswordSchemes const& schemes) {
    Reading silent;
    KeyEncryption found;
    return detail::describeScheme(silent, {algorithm.oid, algorithm.params}, nullptr, schemes, &found);
}

std::uint64_t iterationsOf(std::vector<PKCS12Bag> const& bags, PasswordSchemes const& schemes) {
    std::uint64_t sum = 0;
    for (PKCS12Bag const& bag : bags)
        if (bag.isEncrypted())
            sum += iterationsOf(bag.algorithm, schemes);
    return sum;
}

/// The data of a content; null if the caller removed it from the public list.
template <typename Data>
Data const* dataOf(PKCS12Content const& content, std::vector<Data> const& list) {
    return content.index < list.size() ? &list[content.index] : nullptr;
}

bool isUnderPassword(PKCS12Content const& content) {
    return content.kind == PKCS12Content::Kind::encrypted && !content.isDecrypted;
}

/// The iterations that are known before anything is decrypted.
std::uint64_t iterationsOf(std::vector<PKCS12Content> const& contents,
                           std::vector<PKCS7EncryptedData> const& encryptedData,
                           PasswordSchemes const& schemes) {
    std::uint64_t sum = 0;
    for (PKCS12Content const& content : contents) {
        sum += iterationsOf(content.bags, schemes);
        PKCS7EncryptedData const* const data = dataOf(content, encryptedData);
        if (isUnderPassword(content) && data != nullptr)
            sum += iterationsOf(data->encryptedContentInfo.contentEncryptionAlgorithm, schemes);
    }
    return sum;
}

bool refuseTotal(Reading& reading, std::uint64_t iterations) {
    reading.note("PFX: too many iterations");
    return reading.refuse(
        RefusalId::totalIterations, nullptr,
        {{"maximum", std::to_string(pkcs12MaxIterationsPerFile)}, {"found", std::to_string(iterations)}});
}

/// The possible iteration counts of a file's MAC.
std::vector<unsigned> countsOf(unsigned macIterations, std::vector<unsigned> const& otherwise) {
    if (macIterations != 0)
        return {macIterations};
    std::vector<unsigned> counts;
    std::ranges::copy_if(otherwise, std::back_inserter(counts),
                         [](unsigned count) { return count != 0 && count <= pkcs12MaxIterations; });
    return counts;
}

/// Adds the location of a part to its refusal, whose bytes are not in the current input.
void locate(Refusal& refusal, detail::PKCS12Place const& place) {
    if (refusal.offset == Refusal::nowhere)
        refusal.offset = place.offset;
}

/// An attempt to decrypt a file with one form of the password. `known` is the number of iterations known to
/// be needed.
class Decryption {
public:
    Decryption(PKCS12Reading& reader, std::string_view utf8, asn1::blob bmp, bool macIsRight,
               std::uint64_t known)
        : file(reader), password(utf8), bmpPassword(bmp), hasMac(macIsRight), iterations(known) {}

    /// Decrypts all parts under the password. If the file is read partially, it skips what fails, and returns
    /// false only if the attempt fails as a whole.
    bool decryptAll(std::vector<PKCS12Content>& contents,
                    std::vector<PKCS7EncryptedData> const& encryptedData) {
        bool wasDecrypted = false; // Whether an earlier attempt decrypted any part.
        for (PKCS12Content& content : contents) {
            wasDecrypted =
                wasDecrypted || (content.kind == PKCS12Content::Kind::encrypted && content.isDecrypted);
            if (isUnderPassword(content)) {
                bool const isGood = decryptContent(dataOf(content, encryptedData), content) || weigh();
                locate(file.refusal(), content.place);
                for (Refusal& refusal : content.unreadable)
                    locate(refusal, content.place);
                if (!isGood && (isTooMuch() || !setAside(content.unreadable)))
                    return false;
            }
            for (PKCS12Bag& bag : content.bags) {
                wasDecrypted = wasDecrypted || (bag.key != nullptr && !bag.encryptedKey.empty());
                if (!bag.isEncrypted())
                    continue;
                bag.refusal = {};
                if (decryptKey(bag) || weigh())
                    continue;
                locate(file.refusal(), bag.place);
                locate(file.refusal(), content.place);
                std::vector<Refusal> refusal;
                if (!setAside(refusal))
                    return false;
                bag.refusal = std::move(refusal.front());
            }
        }
        if (hasMac || decryptedAny || wasDecrypted || !failure || failure.id != RefusalId::wrongPassword)
            return true;
        file.refusal() = failure;
        return false;
    }

    bool hasDecryptedAny() const { return decryptedAny; }
    bool isComplete() const { return !failure; }
    /// Whether another form of the password may succeed.
    bool dependsOnForm() const { return formMatters || (usedForm && !isFinal); }
    bool isUnreadable() const { return unreadable; }
    bool isTooMuch() const { return iterations > pkcs12MaxIterationsPerFile; }
    std::uint64_t iterationsNeeded() const { return iterations; }

private:
    bool decryptContent(PKCS7EncryptedData const* data, PKCS12Content& content) {
        Reading& reading = file.reading;
        Reading::Step const step(reading, content.place.path.c_str());
        content.unreadable.clear();
        if (data == nullptr)
            return reading.refuse(RefusalId::missingElement, nullptr);
        PKCS7EncryptedContentInfo const& info = data->encryptedContentInfo;
        SecretBytes plain;
        if (!decrypt(info.contentEncryptionAlgorithm, info.encryptedContent, plain.value))
            return false;
        Reading::Derived const derived(reading, plain, nullptr, "decrypted content");
        content.isDecrypted = checkShape(plain);
        decryptedAny = decryptedAny || content.isDecrypted;
        unreadable = !content.isDecrypted || !detail::readSafeContents(file, plain, content);
        iterations += iterationsOf(content.bags, file.schemes);
        return !unreadable && (!isTooMuch() || fail());
    }

    bool decryptKey(PKCS12Bag& bag) {
        Reading& reading = file.reading;
        Reading::Step const step(reading, bag.place.path.c_str());
        SecretBytes plain;
        if (!decrypt(bag.algorithm, bag.encryptedKey, plain.value))
            return false;
        Reading::Derived const derived(reading, plain, nullptr, "decrypted key");
        if (checkShape(plain)) {
            bag.key = detail::readOneAsymmetricKey(reading, plain);
            if (bag.key == nullptr && file.mayBeBer) {
                reading.retract();
                detail::readAsDer(reading, true, plain, [&](asn1::blob der) {
                    bag.key = detail::readOneAsymmetricKey(reading, der);
                    return bag.key != nullptr;
                });
            }
        }
        unreadable = bag.key == nullptr;
        decryptedAny = decryptedAny || !unreadable;
        return !unreadable;
    }

    bool decrypt(AlgorithmIdentifier const& algorithm, asn1::blob data, std::vector<unsigned char>& out) {
        Reading& reading = file.reading;
        detail::SchemeIdentifier const scheme{algorithm.oid, algorithm.params};
        if (!detail::isSchemeRead(scheme.oid, file.schemes)) {
            reading.note("PFX: unsupported PBE: <" + oid2name(scheme.oid) + ">");
            detail::refuseScheme(reading, scheme.oid);
            return fail();
        }
        if (!detail::checkScheme(reading, scheme, data, file.schemes))
            return fail();
        usedForm = usedForm || detail::takesBmpPassword(scheme.oid);
        return detail::decryptUnderPassword(reading, scheme, {password, bmpPassword}, data, file.schemes,
                                            out) ||
               (!detail::takesBmpPassword(scheme.oid) && fail());
    }

    /// Detects a wrong password whose result has a valid padding by chance. Without a reason to report, the
    /// reader of the contents refuses it as malformed.
    bool checkShape(asn1::blob plain) {
        Reading& reading = file.reading;
        if (!reading.wantsReason())
            return true;
        Reading silent;
        auto const isSequence = [&](asn1::blob der) {
            asn1::blob content;
            return detail::readOnly(silent, der, tag::sequence, &content);
        };
        return isSequence(plain) || (file.mayBeBer && detail::readAsDer(silent, true, plain, isSequence)) ||
               reading.refuse(RefusalId::wrongPassword, nullptr);
    }

    /// Distinguishes a wrong password from one that is right only for the MAC. Returns false.
    bool weigh() {
        if (hasMac && file.refusal().id == RefusalId::wrongPassword)
            file.refusal().id = RefusalId::contentPassword;
        return false;
    }

    /// Continues without a part of a partially read file.
    bool setAside(std::vector<Refusal>& refusals) {
        Refusal const reason = file.refusal();
        if (!file.setAside(refusals))
            return false;
        // A wrong password takes precedence over unsupported parts.
        if (!failure || (failure.id != RefusalId::wrongPassword && reason.id == RefusalId::wrongPassword))
            failure = reason;
        formMatters = formMatters || (usedForm && !isFinal);
        usedForm = isFinal = unreadable = false;
        return true;
    }

    /// Records a failure that does not depend on the form of the password. Returns false.
    bool fail() {
        isFinal = true;
        return false;
    }

    PKCS12Reading& file;
    std::string_view password;
    asn1::blob bmpPassword;
    bool hasMac;
    std::uint64_t iterations;
    bool decryptedAny = false, usedForm = false, isFinal = false, unreadable = false, formMatters = false;
    Refusal failure; ///< The most important refusal of the parts that were skipped.
};

/// Decrypts an enveloped content with the key of one of its recipients.
bool decryptContent(PKCS12Reading& file, PKCS7EnvelopedData const& data, X509Certificate const& certificate,
                    PrivateKey const& key, PKCS12Content& content) {
    SecretBytes plain;
    if (!detail::decryptEnvelopedData(file.reading, data, certificate, key, plain.value))
        return false;
    content.isDecrypted = true;
    Reading::Derived const derived(file.reading, plain, nullptr, "decrypted content");
    return detail::readSafeContents(file, plain, content) || detail::noteSafeContents(file.reading);
}

} // namespace

bool PKCS12PFX::decrypt(std::string_view password) {
    PKCS12Reading file(asn1::blob(authenticatedSafe.data(), authenticatedSafe.size()), mayBeBer);
    return decrypt(file, password, {pkcs12MacIterations});
}

bool PKCS12PFX::decrypt(std::string_view password, PKCS12Options const& options, Refusal* refusal) {
    PKCS12Reading file(asn1::blob(authenticatedSafe.data(), authenticatedSafe.size()), mayBeBer, options);
    return file.report(decrypt(file, password, options.macIterations), refusal);
}

bool PKCS12PFX::decrypt(PKCS12Reading& file, std::string_view password, std::vector<unsigned> const& counts) {
    Reading& reading = file.reading;
    // Programs encode an empty password either as the terminator alone or as an empty string.
    SecretBytes const bmp(pkcs12_password(password));
    std::vector<asn1::blob> forms = {bmp};
    SecretBytes const bytewise(file.schemes.all ? detail::bmpOfBytes(password)
                                                : std::vector<unsigned char>());
    if (password.empty())
        forms.emplace_back();
    else if (!bytewise.value.empty() && !(asn1::blob(bytewise) == forms.front()))
        forms.emplace_back(bytewise);

    bool const hasMac = !mac.empty();
    std::optional<detail::Pbmac1> pbmac1;
    if (!readMacScheme(file, pbmac1))
        return false;
    std::vector<unsigned> const macCounts =
        hasMac && !pbmac1 ? countsOf(macIterations, counts) : std::vector<unsigned>();
    std::uint64_t const known = std::accumulate(macCounts.begin(), macCounts.end(),
                                                iterationsOf(contents, encryptedData, file.schemes) +
                                                    (pbmac1 ? detail::workOf(pbmac1->key) : 0));
    if (known > pkcs12MaxIterationsPerFile)
        return refuseTotal(reading, known);
    if (hasMac) {
        detail::FileHash const hash = detail::macHashOf(macAlgorithm, file.schemes);
        SecretBytes const safe(saveAuthenticatedSafe());
        auto const isRight = [&](asn1::blob form) {
            return std::ranges::any_of(macCounts, [&](unsigned count) {
                return equalInConstantTime(detail::pkcs12Mac(hash, form, macSalt, count, safe), mac);
            });
        };
        auto const right = std::ranges::find_if(forms, isRight);
        bool const isPbmac1Right =
            pbmac1 && equalInConstantTime(detail::computePbmac1(reading, *pbmac1, password, safe), mac);
        if (pbmac1 ? !isPbmac1Right : right == forms.end()) {
            reading.note("PFX: MAC verification failed");
            return reading.refuse(RefusalId::macMismatch, nullptr);
        }
        if (!pbmac1)
            forms = {*right};
    }

    for (size_t form = 0; form < forms.size(); form++) {
        std::vector<PKCS12Content> decrypted = contents;
        Decryption attempt(file, password, forms[form], hasMac, known);
        bool const isGood = attempt.decryptAll(decrypted, encryptedData);
        bool const hasFailed = file.isPartial ? !attempt.hasDecryptedAny() : !isGood;
        if (hasFailed && attempt.dependsOnForm() && form + 1 < forms.size()) {
            reading.retract();
            continue;
        }
        if (isGood) {
            if (attempt.hasDecryptedAny() || !attempt.isComplete())
                replaceContents(std::move(decrypted));
            return true;
        }
        if (attempt.isTooMuch())
            return refuseTotal(reading, attempt.iterationsNeeded());
        return attempt.isUnreadable() && detail::noteSafeContents(reading);
    }
    return false;
}

/// Reads the parameters of PBMAC1 if it is supported. Refuses all other MACs that are not HMAC with a
/// supported hash.
bool PKCS12PFX::readMacScheme(PKCS12Reading& file, std::optional<detail::Pbmac1>& pbmac1) const {
    if (mac.empty() || detail::macHashOf(macAlgorithm, file.schemes) != detail::FileHash::none)
        return true;
    if (file.schemes.all && asn1::blob(macAlgorithm.oid) == oid::pbmac1)
        return detail::read(file.reading, macAlgorithm.params, pbmac1.emplace());
    return file.reading.refuse(RefusalId::unsupportedMac, nullptr, {{"MAC", macName()}});
}

bool PKCS12PFX::needsPassword() const {
    return !mac.empty() || std::ranges::any_of(contents, isUnderPassword) || encryptedKeys() > 0;
}

bool PKCS12PFX::needsRecipient() const {
    return std::ranges::any_of(contents, [](PKCS12Content const& content) {
        return content.kind == PKCS12Content::Kind::enveloped && !content.isDecrypted;
    });
}

bool PKCS12PFX::canDecrypt(PKCS12Options const& options, Refusal* refusal) const {
    PKCS12Reading file(asn1::blob(authenticatedSafe.data(), authenticatedSafe.size()), mayBeBer, options);
    Reading& reading = file.reading;
    if (std::optional<detail::Pbmac1> pbmac1; !readMacScheme(file, pbmac1))
        return file.report(false, refusal);
    // For a partially read file, one supported part is enough.
    bool isAny = !certificates.empty() || !keys.empty() || needsRecipient();
    std::vector<Refusal> unsupported;
    auto const check = [&](detail::PKCS12Place const& place, AlgorithmIdentifier const& algorithm,
                           asn1::blob data) {
        Reading::Step const step(reading, place.path.c_str());
        if (detail::checkScheme(reading, {algorithm.oid, algorithm.params}, data, file.schemes))
            return isAny = true;
        locate(file.refusal(), place);
        return file.setAside(unsupported);
    };
    for (PKCS12Content const& content : contents) {
        PKCS7EncryptedData const* const data = dataOf(content, encryptedData);
        if (isUnderPassword(content) && data != nullptr &&
            !check(content.place, data->encryptedContentInfo.contentEncryptionAlgorithm,
                   data->encryptedContentInfo.encryptedContent))
            return file.report(false, refusal);
        for (PKCS12Bag const& bag : content.bags)
            if (bag.isEncrypted() && !check(bag.place, bag.algorithm, bag.encryptedKey))
                return file.report(false, refusal);
    }
    if (isAny || unsupported.empty())
        return true;
    if (refusal != nullptr)
        *refusal = unsupported.front();
    return false;
}

bool PKCS12PFX::decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key) {
    PKCS12Reading file(asn1::blob(authenticatedSafe.data(), authenticatedSafe.size()), mayBeBer);
    return decryptEnveloped(file, certificate, key);
}

bool PKCS12PFX::decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key,
                                 PKCS12Options const& options, Refusal* refusal) {
    PKCS12Reading file(asn1::blob(authenticatedSafe.data(), authenticatedSafe.size()), mayBeBer, options);
    return file.report(decryptEnveloped(file, certificate, key), refusal);
}

bool PKCS12PFX::decryptEnveloped(PKCS12Reading& file, X509Certificate const& certificate,
                                 PrivateKey const& key) {
    Reading& reading = file.reading;
    auto const isRecipient = [&](PKCS7KeyTransRecipientInfo const& one) {
        return detail::isRecipient(one, certificate);
    };
    std::vector<PKCS12Content> decrypted = contents;
    bool isAny = false, isNew = false;
    Refusal failure;
    for (PKCS12Content& content : decrypted) {
        PKCS7EnvelopedData const* const data = dataOf(content, envelopedData);
        if (content.kind != PKCS12Content::Kind::enveloped || data == nullptr)
            continue;
        bool const isForUs = std::ranges::any_of(data->recipientInfos, isRecipient);
        isAny = isAny || isForUs;
        if (content.isDecrypted || (!isForUs && !file.isPartial))
            continue;
        content.unreadable.clear();
        Reading::Step const step(reading, content.place.path.c_str());
        bool isGood = isForUs ? decryptContent(file, *data, certificate, key, content)
                              : reading.refuse(RefusalId::notARecipient, nullptr);
        isNew = isNew || content.isDecrypted;
        if (!isGood) {
            failure = file.refusal();
            isGood = file.setAside(content.unreadable);
        }
        locate(file.refusal(), content.place);
        for (Refusal& refusal : content.unreadable)
            locate(refusal, content.place);
        if (!isGood)
            return false;
    }
    if (!isAny) {
        reading.note("ktri: no key matches");
        return reading.refuse(RefusalId::notARecipient, nullptr);
    }
    if (isNew) {
        replaceContents(std::move(decrypted));
        return true;
    }
    if (!failure)
        return true;
    file.refusal() = std::move(failure);
    return false;
}

/// Takes the contents, some of them newly decrypted, and rebuilds the public lists.
void PKCS12PFX::replaceContents(std::vector<PKCS12Content>&& decrypted) {
    contents = std::move(decrypted);
    certificates.clear();
    keys.clear();
    certificateAttributes.clear();
    keyAttributes.clear();
    for (PKCS12Content const& content : contents)
        addToLists(content);
}

size_t PKCS12PFX::encryptedKeys() const {
    size_t count = 0;
    for (PKCS12Content const& content : contents)
        for (PKCS12Bag const& bag : content.bags)
            count += bag.isEncrypted();
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

size_t PKCS12PFX::encryptedContents() const {
    return static_cast<size_t>(std::ranges::count(contents, false, &PKCS12Content::isDecrypted));
}
