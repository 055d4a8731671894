#include "sealkit/pbes2.h"
#include "sealkit/pkcs8.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"
#include "pkcs/pkcs12_bags.h"

#include <algorithm>
#include <iostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using detail::SecretBytes;

constexpr unsigned saltSize = 16;

bool fillRandom(std::vector<unsigned char>& bytes, unsigned size) {
    bytes.resize(size);
    return getDefaultRng().fill(bytes.data(), size);
}

/// The encryption of a file's contents and keys, each with its own salt and IV.
struct Protection {
    bool isPbes2;
    CipherID cipher; ///< For PBES2.
    unsigned iterations;
    std::string_view password;

    bool encrypt(asn1::blob plain, AlgorithmIdentifier& algorithm, std::vector<unsigned char>& out) const {
        return (isPbes2 ? choosePbes2(algorithm) : choosePbe1(algorithm)) &&
               (isPbes2 ? pbes2_crypt(algorithm, password, plain, out, true)
                        : pbe1_crypt(algorithm, password, plain, out, true));
    }

private:
    bool choosePbe1(AlgorithmIdentifier& algorithm) const {
        PBEParams params;
        params.iterations = iterations;
        if (!fillRandom(params.salt, saltSize))
            return false;
        algorithm = {detail::copyOf(oid::pbeWithSha1And3KeyTripleDes), encode(params)};
        return true;
    }

    bool choosePbes2(AlgorithmIdentifier& algorithm) const {
        detail::ContentCipher const* const found = detail::findContentCipher(cipher, 0);
        PBES2Params params;
        if (found == nullptr || !fillRandom(params.salt, saltSize) ||
            !fillRandom(params.iv, found->blockSize))
            return false;
        params.kdf = detail::copyOf(oid::pbkdf2);
        params.prf = detail::copyOf(oid::hmacWithSha256);
        params.iterations = iterations;
        params.cipher = detail::copyOf(found->oid);
        algorithm = {detail::copyOf(oid::pbes2), encode(params)};
        return true;
    }
};

template <typename List>
bool hasNull(List const& list) {
    return std::any_of(list.begin(), list.end(), [](auto const& pointer) { return pointer == nullptr; });
}

PKCS12Attributes const* attributesAt(std::vector<PKCS12Attributes> const& list, size_t index) {
    return index < list.size() ? &list[index] : nullptr;
}

void saveDataContent(DerEncoder& to, asn1::blob octets) {
    to.begin(tag::sequence).addOid(oid::data).begin(tag::constructed(0)).addOctetString(octets).end().end();
}

std::vector<unsigned char> encodeContent(PKCS7EncryptedData const& data) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addOid(oid::encryptedData).begin(tag::constructed(0));
    save(data, encoder);
    encoder.end().end();
    return encoder.take();
}

bool encryptContent(Protection const& protection, asn1::blob safeContents, PKCS7EncryptedData& to) {
    PKCS7EncryptedContentInfo& info = to.encryptedContentInfo;
    info.contentType = detail::copyOf(oid::data);
    return protection.encrypt(safeContents, info.contentEncryptionAlgorithm, info.encryptedContent);
}

bool saveShroudedKey(DerEncoder& to, Protection const& protection, PrivateKey const& key,
                     PKCS12Attributes const* attributes) {
    SecretBytes const plain(encodePkcs8PrivateKey(key));
    AlgorithmIdentifier algorithm;
    std::vector<unsigned char> encrypted;
    if (plain.value.empty() || !protection.encrypt(plain, algorithm, encrypted))
        return false;
    DerEncoder info;
    info.begin(tag::sequence);
    save(algorithm, info);
    info.addOctetString(encrypted).end();
    detail::saveBag(to, oid::shroudedKeyBag, info.buf, attributes);
    return true;
}

} // namespace

bool PKCS12PFX::wouldLoseParts() const {
    return encryptedKeys() != 0 || encryptedContents() != 0 || !unreadable().empty();
}

bool PKCS12PFX::computeLocalKeyId() {
    if (certificates.empty() || keys.empty() || certificates[0] == nullptr || keys[0] == nullptr)
        return false;
    std::unique_ptr<PublicKey> const certified = certificates[0]->parsePublicKey();
    if (certified == nullptr) {
        std::cerr << "[ERR] certificate publicKey invalid" << std::endl;
        return false;
    }
    if (!keys[0]->equals(*certified)) {
        std::cout << "PFX: first key does not match first certificate, localKeyId not set" << std::endl;
        return false;
    }
    certificateAttributes.resize(std::max<size_t>(certificateAttributes.size(), 1));
    keyAttributes.resize(std::max<size_t>(keyAttributes.size(), 1));
    certificateAttributes[0].localKeyId = calcDigest(HashID::SHA1, certificates[0]->serialize());
    keyAttributes[0].localKeyId = certificateAttributes[0].localKeyId;
    return true;
}

size_t PKCS12PFX::linkKeys() {
    certificateAttributes.resize(certificates.size());
    keyAttributes.resize(keys.size());
    std::vector<std::unique_ptr<PublicKey>> certified(certificates.size());
    for (size_t i = 0; i < certificates.size(); i++) {
        certificateAttributes[i].localKeyId.clear();
        if (certificates[i] != nullptr)
            certified[i] = parsePkcs8PublicKey(certificates[i]->subjectPublicKeyInfo, nullptr);
    }
    size_t linked = 0;
    for (size_t i = 0; i < keys.size(); i++) {
        keyAttributes[i].localKeyId.clear();
        auto const own = std::ranges::find_if(certified, [&](auto const& key) {
            return key != nullptr && keys[i] != nullptr && keys[i]->equals(*key);
        });
        if (own == certified.end())
            continue;
        auto const index = static_cast<size_t>(own - certified.begin());
        keyAttributes[i].localKeyId = calcDigest(HashID::SHA1, certificates[index]->serialize());
        certificateAttributes[index].localKeyId = keyAttributes[i].localKeyId;
        linked++;
    }
    return linked;
}

std::vector<unsigned char> PKCS12PFX::saveSafeContents(bool withKeys) const {
    if (hasNull(certificates) || hasNull(keys))
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    for (size_t i = 0; i < certificates.size(); i++)
        detail::saveBag(encoder, oid::certBag, detail::encodeCertBag(*certificates[i]),
                        attributesAt(certificateAttributes, i));
    for (size_t i = 0; withKeys && i < keys.size(); i++) {
        SecretBytes const key(encodePkcs8PrivateKey(*keys[i]));
        if (key.value.empty())
            return {};
        detail::saveBag(encoder, oid::keyBag, key, attributesAt(keyAttributes, i));
    }
    encoder.end();
    return encoder.take();
}

std::vector<unsigned char> PKCS12PFX::saveAuthenticatedSafe() const {
    if (!authenticatedSafe.empty())
        return {authenticatedSafe.begin(), authenticatedSafe.end()};
    SecretBytes const plain(saveSafeContents(true));
    if (plain.value.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    saveDataContent(encoder, plain);
    encoder.end();
    return encoder.take();
}

void PKCS12PFX::saveContentInfo(DerEncoder& to) const {
    if (signedData != nullptr) {
        signedData->save(to);
        return;
    }
    SecretBytes const safe(saveAuthenticatedSafe());
    saveDataContent(to, safe);
}

std::vector<unsigned char> PKCS12PFX::save() const {
    if (SecretBytes const safe(saveAuthenticatedSafe()); safe.value.empty())
        return {};
    constexpr unsigned version = 3;
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(version);
    saveContentInfo(encoder);
    saveMAC(encoder);
    encoder.end();
    return encoder.take();
}

/// Computes the MAC for a new authenticated safe.
bool PKCS12PFX::makeMac(std::string_view password, asn1::blob safe, PKCS12PFX& made) const {
    made.macAlgorithm = macAlgorithm;
    made.macIterations = macIterations != 0 ? macIterations : iterations;
    made.mac = made.computeMAC(password, {}, safe);
    return !made.mac.empty();
}

/// Replaces the file's MAC or signature.
void PKCS12PFX::replaceProtection(asn1::blob safe, PKCS12PFX&& made) {
    authenticatedSafe.assign(safe.begin(), safe.end());
    signedData.reset();
    mac = std::move(made.mac);
    macSalt = std::move(made.macSalt);
    if (!mac.empty()) {
        macAlgorithm = std::move(made.macAlgorithm);
        macIterations = made.macIterations;
    }
}

/// Appends a content to the authenticated safe. Empty if the safe is malformed.
std::vector<unsigned char> PKCS12PFX::withContent(asn1::blob contentInfo) const {
    asn1::blob const safe(authenticatedSafe.data(), authenticatedSafe.size());
    detail::Reading silent;
    DerEncoder encoder;
    auto const addTo = [&](asn1::blob der) {
        asn1::blob before;
        if (!safe.empty() && !detail::readOnly(silent, der, tag::sequence, &before))
            return false;
        encoder.begin(tag::sequence).addEncoded(before).addEncoded(contentInfo).end();
        return true;
    };
    return detail::readAsDer(silent, mayBeBer && !safe.empty(), safe, addTo) ? encoder.take()
                                                                             : std::vector<unsigned char>();
}

bool PKCS12PFX::encrypt(std::string_view password) {
    bool const isPbes2 = asn1::blob(scheme) == oid::pbes2;
    if (!isPbes2 && !scheme.empty() && !(asn1::blob(scheme) == oid::pbeWithSha1And3KeyTripleDes)) {
        std::cout << "PFX: encrypt supports only 3des" << std::endl;
        return false;
    }
    if (wouldLoseParts() || hasNull(certificates) || hasNull(keys))
        return false;

    Protection const protection = {isPbes2, pbes2Cipher, iterations, password};
    PKCS12PFX made;
    DerEncoder safe;
    safe.begin(tag::sequence);
    if (!certificates.empty()) {
        std::vector<unsigned char> const plain = saveSafeContents(false);
        if (!encryptContent(protection, plain, made.encryptedData.emplace_back()))
            return false;
        safe.addEncoded(encodeContent(made.encryptedData.back()));
    }
    if (!keys.empty()) {
        DerEncoder bags;
        bags.begin(tag::sequence);
        for (size_t i = 0; i < keys.size(); i++)
            if (!saveShroudedKey(bags, protection, *keys[i], attributesAt(keyAttributes, i)))
                return false;
        bags.end();
        saveDataContent(safe, bags.buf);
    }
    safe.end();
    if (!makeMac(password, safe.buf, made))
        return false;
    encryptedData = std::move(made.encryptedData);
    envelopedData.clear();
    contents.clear();
    mayBeBer = false;
    replaceProtection(safe.buf, std::move(made));
    return true;
}

bool PKCS12PFX::setPbes2Params(std::string_view password, asn1::blob content, CipherID cipher) {
    if (detail::findContentCipher(cipher, 0) == nullptr)
        return false;
    std::vector<unsigned char> chosen = detail::copyOf(oid::pbes2);
    if (content.empty()) {
        std::swap(scheme, chosen);
        std::swap(pbes2Cipher, cipher);
        bool const isDone = encrypt(password);
        if (!isDone) {
            scheme = std::move(chosen);
            pbes2Cipher = cipher;
        }
        return isDone;
    }
    PKCS7EncryptedData data;
    PKCS12PFX made;
    if (!encryptContent({true, cipher, iterations, password}, content, data))
        return false;
    std::vector<unsigned char> const safe = withContent(encodeContent(data));
    if (safe.empty() || !makeMac(password, safe, made))
        return false;
    encryptedData.push_back(std::move(data));
    replaceProtection(safe, std::move(made));
    scheme = std::move(chosen);
    pbes2Cipher = cipher;
    return true;
}

bool PKCS12PFX::encryptEnveloped(X509Certificate const& recipient, asn1::blob content, CipherID cipher) {
    PKCS7EnvelopedData data;
    if (!content.empty()) {
        if (!data.encrypt(recipient, oid::data, content, cipher, getDefaultRng()))
            return false;
        std::vector<unsigned char> const safe = withContent(data.encode());
        if (safe.empty())
            return false;
        envelopedData.push_back(std::move(data));
        replaceProtection(safe, {});
        return true;
    }
    SecretBytes const plain(saveSafeContents(true));
    if (wouldLoseParts() || plain.value.empty() ||
        !data.encrypt(recipient, oid::data, plain, cipher, getDefaultRng()))
        return false;
    encryptedData.clear();
    envelopedData.clear();
    contents.clear();
    mayBeBer = false;
    replaceProtection(DerEncoder().begin(tag::sequence).addEncoded(data.encode()).end().take(), {});
    envelopedData.push_back(std::move(data));
    return true;
}

bool PKCS12PFX::sign(X509Certificate const& certificate, PrivateKey const& key, HashID hash) {
    SecretBytes const safe(saveAuthenticatedSafe());
    auto made = std::make_unique<PKCS7SignedData>();
    if (safe.value.empty() || !made->create(certificate, key, oid::data, safe, hash))
        return false;
    replaceProtection(safe, {});
    signedData = std::move(made);
    return true;
}

bool PKCS12PFX::sign(X509Certificate const& certificate, PrivateKey const& key, unsigned hash) {
    return sign(certificate, key, static_cast<HashID>(hash));
}
