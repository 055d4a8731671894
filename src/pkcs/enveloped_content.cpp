#include "pkcs/enveloped_content.h"

#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "cipher/gcm_in_place.h"
#include "keys/content_cipher.h"

#include <algorithm>
#include <string>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::ContentCipher;
using detail::Level;
using detail::Reading;
using detail::SecretBytes;

constexpr unsigned char noKey[detail::maxContentKeySize] = {};

bool refuseCipher(Reading& reading, asn1::blob algorithm) {
    return reading.refuse(RefusalId::unsupportedCipher, nullptr, {{"found", oidName(algorithm)}});
}

bool refuseIv(Reading& reading, asn1::blob iv, size_t expected) {
    return reading.refuse(
        RefusalId::malformedEncryptionParameters, iv,
        {{"expected IV", std::to_string(expected) + " bytes"}, {"found", std::to_string(iv.size())}});
}

/// Whether the right key can decrypt the content. Neither the result nor the time depends on a key.
bool checkCbc(Reading& reading, PKCS7EncryptedContentInfo const& info, ContentCipher const& cipher,
              asn1::blob* iv) {
    if (!detail::readOnly(reading, info.contentEncryptionAlgorithm.params, tag::octetString, iv, "IV"))
        return false;
    if (iv->size() != cipher.blockSize)
        return refuseIv(reading, *iv, cipher.blockSize);
    if (info.encryptedContent.empty())
        return reading.refuse(RefusalId::missingContent, nullptr);
    return detail::canBeDecrypted(cipher, info.encryptedContent) ||
           reading.refuse(RefusalId::malformedCiphertext, nullptr,
                          {{"block", std::to_string(cipher.blockSize)},
                           {"bytes", std::to_string(info.encryptedContent.size())}});
}

bool decryptCbc(Reading& reading, PKCS7EncryptedContentInfo const& info, asn1::blob key,
                std::vector<unsigned char>& out) {
    asn1::blob const algorithm = info.contentEncryptionAlgorithm.oid, content = info.encryptedContent;
    ContentCipher const* const cipher = detail::findContentCipher(algorithm);
    asn1::blob iv;
    if (cipher == nullptr)
        return refuseCipher(reading, algorithm);
    if (!checkCbc(reading, info, *cipher, &iv))
        return false;
    bool const fits = key.size() == cipher->keySize;
    std::unique_ptr<Cipher> const keyed =
        detail::makeContentCipher(*cipher, fits ? key : asn1::blob(noKey, cipher->keySize), iv);
    // PKCS#7 padding has at least one byte.
    return (detail::decryptPadded(*cipher, *keyed, content, out) && out.size() < content.size() && fits) ||
           reading.refuse(RefusalId::undecryptable, nullptr);
}

/// AES-GCM with one key size.
struct GcmCipher {
    asn1::blob oid;
    unsigned keySize;
};

constexpr GcmCipher gcmCiphers[] = {
    {oid::aes128Gcm, 16},
    {oid::aes192Gcm, 24},
    {oid::aes256Gcm, 32},
};

constexpr size_t gcmNonceSize = 12;
constexpr unsigned defaultGcmTagSize = 12;

/// GCMParameters ::= SEQUENCE { aes-nonce OCTET STRING, aes-ICVlen INTEGER (12..16) DEFAULT 12 } (RFC 5084,
/// section 3.2)
bool checkGcm(Reading& reading, EnvelopedMessage const& message, asn1::blob* nonce) {
    asn1::blob content;
    unsigned tagSize = defaultGcmTagSize;
    if (!detail::readOnly(reading, message.encryptedContentInfo.contentEncryptionAlgorithm.params,
                          tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!detail::take(fields, tag::octetString, nonce, "nonce") ||
        (fields.tag == tag::integer && !detail::takeUInt(fields, &tagSize, "ICVlen")) ||
        !detail::finish(fields))
        return false;
    if (nonce->size() != gcmNonceSize)
        return refuseIv(reading, *nonce, gcmNonceSize);
    if (tagSize < detail::minGcmTagSize || tagSize > aeadTagSize || message.mac.size() != tagSize)
        return reading.refuse(RefusalId::malformedEncryptionParameters, nullptr,
                              {{"tag of the parameters", std::to_string(tagSize) + " bytes"},
                               {"tag", std::to_string(message.mac.size())}});
    return detail::isGcmSize(message.encryptedContentInfo.encryptedContent.size()) ||
           reading.refuse(RefusalId::inputTooLarge, nullptr);
}

/// The additional authenticated data: the attributes as a SET (RFC 5083, section 2.2).
std::vector<unsigned char> authenticated(EnvelopedMessage const& message) {
    std::vector<unsigned char> attributes = message.authAttrs;
    if (!attributes.empty())
        attributes[0] = tag::set;
    return attributes;
}

std::span<unsigned char const> spanOf(asn1::blob bytes) { return {bytes.data(), bytes.size()}; }

bool decryptGcm(Reading& reading, EnvelopedMessage const& message, asn1::blob key,
                std::vector<unsigned char>& out) {
    AlgorithmIdentifier const& algorithm = message.encryptedContentInfo.contentEncryptionAlgorithm;
    auto const cipher = std::ranges::find_if(
        gcmCiphers, [&](GcmCipher const& each) { return each.oid == asn1::blob(algorithm.oid); });
    asn1::blob nonce;
    if (cipher == std::end(gcmCiphers))
        return refuseCipher(reading, algorithm.oid);
    if (!checkGcm(reading, message, &nonce))
        return false;
    bool const fits = key.size() == cipher->keySize;
    std::vector<unsigned char> const attributes = authenticated(message);
    std::vector<unsigned char> const& content = message.encryptedContentInfo.encryptedContent;
    out.reserve(content.size() + message.mac.size());
    out.assign(content.begin(), content.end());
    out.insert(out.end(), message.mac.begin(), message.mac.end());
    bool const isOpened = detail::openGcmInPlace(
        {spanOf(fits ? key : asn1::blob(noKey, cipher->keySize)), spanOf(nonce), attributes},
        message.mac.size(), out);
    return (isOpened && fits) || reading.refuse(RefusalId::undecryptable, nullptr);
}

bool fillKey(SecretBytes& key, unsigned size, Rng const& rng) {
    key.value.resize(size);
    return rng.fill(key.value.data(), size);
}

} // namespace

bool detail::decryptContent(Reading& reading, EncryptedContent const& content, asn1::blob key,
                            std::vector<unsigned char>& out) {
    SecretBytes plain;
    if (!(content.message == nullptr ? decryptCbc(reading, content.info, key, plain.value)
                                     : decryptGcm(reading, *content.message, key, plain.value)))
        return false;
    out.swap(plain.value);
    return true;
}

bool detail::encryptCbc(PKCS7EncryptedContentInfo& to, CipherID cipherId, unsigned keySize,
                        asn1::blob content, Rng const& rng, SecretBytes& key) {
    ContentCipher const* const cipher = findContentCipher(cipherId, keySize);
    std::vector<unsigned char> iv(cipher == nullptr ? 0 : cipher->blockSize);
    if (cipher == nullptr || !canBePadded(*cipher, content) || !fillKey(key, cipher->keySize, rng) ||
        !rng.fill(iv.data(), cipher->blockSize))
        return false;
    DerEncoder params;
    params.addOctetString(iv);
    to.contentEncryptionAlgorithm = {copyOf(cipher->oid), params.take()};
    to.encryptedContent = encryptPadded(*cipher, *makeContentCipher(*cipher, key, iv), content);
    return true;
}

bool detail::encryptGcm(EnvelopedMessage& to, unsigned keySize, asn1::blob content, Rng const& rng,
                        SecretBytes& key) {
    auto const cipher =
        std::ranges::find(gcmCiphers, keySize == 0 ? maxContentKeySize : keySize, &GcmCipher::keySize);
    std::vector<unsigned char> nonce(gcmNonceSize);
    if (cipher == std::end(gcmCiphers) || !isGcmSize(content.size()) || !fillKey(key, cipher->keySize, rng) ||
        !rng.fill(nonce.data(), gcmNonceSize))
        return false;
    DerEncoder params;
    params.begin(tag::sequence).addOctetString(nonce).addInteger(unsigned{aeadTagSize}).end();
    PKCS7EncryptedContentInfo& info = to.encryptedContentInfo;
    info.contentEncryptionAlgorithm = {copyOf(cipher->oid), params.take()};
    std::vector<unsigned char> const attributes = authenticated(to);
    SecretBytes sealed; // Holds the plaintext until it is encrypted in place.
    sealed.value.reserve(content.size() + aeadTagSize);
    sealed.value.assign(content.begin(), content.end());
    if (!sealGcmInPlace({key.value, nonce, attributes}, sealed.value))
        return false;
    to.mac.assign(sealed.value.end() - aeadTagSize, sealed.value.end());
    sealed.value.resize(content.size());
    info.encryptedContent = std::move(sealed.value);
    return true;
}
