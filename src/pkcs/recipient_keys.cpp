#include "pkcs/recipient_keys.h"

#include "sealkit/agreement.h"
#include "sealkit/hmac.h"
#include "sealkit/key_wrap.h"
#include "sealkit/oid_names.h"
#include "sealkit/pbes2.h"
#include "sealkit/x963_kdf.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/bytes.h"
#include "keys/content_cipher.h"
#include "keys/key_derivation.h"
#include "keys/pwri_wrap.h"
#include "keys/read.h"
#include "keys/rsa_encryption.h"
#include "keys/rsa_oaep.h"
#include "pkcs/read.h"

#include <algorithm>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::copyOf;
using detail::Level;
using detail::Reading;
using detail::SecretBytes;

/// AES key wrap with one key size (RFC 3565, section 2.3.2).
struct KeyWrap {
    asn1::blob oid;
    unsigned keySize;
};

constexpr KeyWrap keyWraps[] = {
    {oid::aes128Wrap, 16},
    {oid::aes192Wrap, 24},
    {oid::aes256Wrap, 32},
};
constexpr KeyWrap const& writtenWrap = keyWraps[2];

/// The derivation of a key-encryption key from a shared secret (RFC 5753, section 7.1.4; RFC 8418, section
/// 2). On the named curves, whose cofactor is 1, standard and cofactor Diffie-Hellman are the same.
struct AgreementScheme {
    asn1::blob oid;
    HashID hash;
    bool isHkdf;
};

constexpr AgreementScheme agreementSchemes[] = {
    {oid::stdDhSha1Kdf, HashID::SHA1, false},          {oid::stdDhSha256Kdf, HashID::SHA256, false},
    {oid::stdDhSha384Kdf, HashID::SHA384, false},      {oid::stdDhSha512Kdf, HashID::SHA512, false},
    {oid::cofactorDhSha1Kdf, HashID::SHA1, false},     {oid::cofactorDhSha256Kdf, HashID::SHA256, false},
    {oid::cofactorDhSha384Kdf, HashID::SHA384, false}, {oid::cofactorDhSha512Kdf, HashID::SHA512, false},
    {oid::stdDhHkdfSha256, HashID::SHA256, true},      {oid::stdDhHkdfSha384, HashID::SHA384, true},
    {oid::stdDhHkdfSha512, HashID::SHA512, true},
};

template <typename Row, size_t count>
Row const* findRow(Row const (&table)[count], asn1::blob oid) {
    auto const row = std::ranges::find_if(table, [oid](Row const& each) { return each.oid == oid; });
    return row == std::end(table) ? nullptr : row;
}

bool refuseAlgorithm(Reading& reading, std::string found) {
    return reading.refuse(RefusalId::unsupportedKeyEncryption, nullptr, {{"found", std::move(found)}});
}

bool isNullOrAbsent(asn1::blob params) {
    static constexpr unsigned char null[] = {tag::null, 0};
    return params.empty() || params == asn1::blob(null);
}

/// The key wrap that the parameters of an algorithm name: they are an AlgorithmIdentifier. Null if refused.
KeyWrap const* readKeyWrap(Reading& reading, asn1::blob algorithm, asn1::blob params) {
    KeyWrap const* const wrap = findRow(keyWraps, algorithm);
    if (wrap == nullptr)
        refuseAlgorithm(reading, oidName(algorithm));
    else if (!isNullOrAbsent(params))
        reading.refuse(RefusalId::malformedEncryptionParameters, nullptr, {{"cipher", oidName(algorithm)}});
    else
        return wrap;
    return nullptr;
}

/// Unwraps a content key. `contentKey` remains empty for a wrong key.
void unwrap(asn1::blob keyEncryptionKey, asn1::blob wrapped, SecretBytes& contentKey) {
    if (wrapped.size() <= keyWrapOverhead)
        return;
    contentKey.value.resize(wrapped.size() - keyWrapOverhead);
    auto const spanOf = [](asn1::blob bytes) { return std::span(bytes.data(), bytes.size()); };
    if (!unwrapKey(spanOf(keyEncryptionKey), spanOf(wrapped), contentKey.value))
        contentKey.value.clear();
}

/// ECC-CMS-SharedInfo ::= SEQUENCE { keyInfo AlgorithmIdentifier, entityUInfo [0] EXPLICIT OCTET STRING
/// OPTIONAL, suppPubInfo [2] EXPLICIT OCTET STRING } (RFC 5753, section 7.2). `keyInfo` is the whole
/// AlgorithmIdentifier.
std::vector<unsigned char> encodeSharedInfo(KeyAgreement const& agreement, unsigned keySize) {
    unsigned char bits[4];
    detail::storeBigEndian<std::uint32_t>(bits, 8 * keySize);
    DerEncoder to;
    to.begin(tag::sequence).addEncoded(agreement.keyEncryptionAlgorithm.params);
    if (agreement.keyingMaterial)
        to.begin(tag::constructed(0)).addOctetString(*agreement.keyingMaterial).end();
    to.begin(tag::constructed(2)).addOctetString(bits).end().end();
    return to.take();
}

/// Derives the key-encryption key. `salt` is only used by HKDF.
SecretBytes deriveKey(AgreementScheme const& scheme, KeyAgreement const& agreement, unsigned keySize,
                      SecretBytes const& secret, std::vector<unsigned char> const& salt) {
    std::vector<unsigned char> const info = encodeSharedInfo(agreement, keySize);
    if (scheme.isHkdf)
        return SecretBytes(HKPDF(*createHash(scheme.hash), salt, info, secret.value, keySize));
    std::vector<unsigned char> key(keySize);
    x963Kdf(scheme.hash, secret, info, key);
    return SecretBytes(std::move(key));
}

bool refuseOriginator(Reading& reading, std::string found) {
    return reading.refuse(RefusalId::keysDiffer, nullptr, {{"key of the message", std::move(found)}});
}

/// The originator's public key, of the type and curve of `key`. Null after a refusal.
std::unique_ptr<PublicKey> readOriginator(Reading& reading, KeyAgreement const& agreement,
                                          PrivateKey const& key) {
    asn1::blob const algorithm = agreement.originatorAlgorithm.oid,
                     params = agreement.originatorAlgorithm.params;
    if (agreement.originatorKey.empty()) {
        refuseAlgorithm(reading, "a key of the sender that is not in the message");
        return nullptr;
    }
    if (key.keyType() != KeyType::EC && key.keyType() != KeyType::X25519) {
        reading.refuse(RefusalId::keyCannotAgree, nullptr, {{"key", oidName(getKeyOid(key.keyType()))}});
        return nullptr;
    }
    // The parameters may be omitted or repeat the curve of the recipient's key (RFC 5753, section 7.1.2).
    bool const isSameCurve = isNullOrAbsent(params) || params == key.algorithmParams();
    if (!(algorithm == getKeyOid(key.keyType())) || !isSameCurve) {
        refuseOriginator(reading, oidName(algorithm));
        return nullptr;
    }
    std::unique_ptr<PublicKey> result;
    bool isRead = false;
    if (key.keyType() == KeyType::EC) {
        auto ec = std::make_unique<EcPublicKey>();
        isRead = detail::read(reading, key.algorithmParams(), agreement.originatorKey, *ec);
        result = std::move(ec);
    } else {
        auto x25519 = std::make_unique<X25519PublicKey>();
        isRead = detail::read(reading, {}, agreement.originatorKey, *x25519);
        result = std::move(x25519);
    }
    return isRead ? std::move(result) : nullptr;
}

bool decryptAgreed(Reading& reading, EnvelopedRecipient const& recipient, PrivateKey const& key,
                   SecretBytes& contentKey) {
    KeyAgreement const& agreement = *recipient.agreement;
    AlgorithmIdentifier const& algorithm = agreement.keyEncryptionAlgorithm;
    AgreementScheme const* const scheme = findRow(agreementSchemes, algorithm.oid);
    if (scheme == nullptr)
        return refuseAlgorithm(reading, oidName(algorithm.oid));
    asn1::blob content, wrapOid, wrapParams;
    if (!detail::readOnly(reading, algorithm.params, tag::sequence, &content, "key wrap") ||
        !detail::readAlgorithm(reading, content, &wrapOid, &wrapParams))
        return false;
    KeyWrap const* const wrap = readKeyWrap(reading, wrapOid, wrapParams);
    std::unique_ptr<PublicKey> const originator =
        wrap == nullptr ? nullptr : readOriginator(reading, agreement, key);
    if (originator == nullptr)
        return false;
    Refusal refusal;
    SecretBytes const secret(agreeKeys(key, *originator, &refusal));
    if (secret.value.empty())
        return reading.refuse(refusal.id, nullptr, std::move(refusal.facts));
    unwrap(deriveKey(*scheme, agreement, wrap->keySize, secret, {}), recipient.encryptedKey, contentKey);
    // Some programs also use the ukm as the salt of HKDF. AES key wrap detects a wrong key.
    if (contentKey.value.empty() && scheme->isHkdf && agreement.keyingMaterial)
        unwrap(deriveKey(*scheme, agreement, wrap->keySize, secret, *agreement.keyingMaterial),
               recipient.encryptedKey, contentKey);
    return true;
}

bool decryptTransported(Reading& reading, EnvelopedRecipient const& recipient, PrivateKey const& key,
                        SecretBytes& contentKey) {
    auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key);
    if (rsa == nullptr)
        return reading.refuse(RefusalId::noRsaKey, nullptr);
    AlgorithmIdentifier const& algorithm = recipient.keyEncryptionAlgorithm;
    if (algorithm.oid == copyOf(oid::rsaEncryption)) {
        detail::decryptPkcs1(*rsa, recipient.encryptedKey, contentKey.value);
        return true;
    }
    if (algorithm.oid != copyOf(oid::rsaesOaep))
        return refuseAlgorithm(reading, oidName(algorithm.oid));
    OaepParameters parameters;
    if (!detail::readOaepParameters(reading, algorithm.params, &parameters))
        return false;
    decryptOaep(*rsa, parameters, recipient.encryptedKey, contentKey.value);
    return true;
}

bool refuseRecipient(Reading& reading, std::string found) {
    return reading.refuse(RefusalId::unsupportedRecipient, nullptr, {{"found", std::move(found)}});
}

bool nameRecipient(Reading& reading, X509Certificate const& certificate, bool byKeyId,
                   EnvelopedRecipient& to) {
    if (byKeyId && certificate.subjectKeyId.empty())
        return refuseRecipient(reading, "a certificate without a subject key identifier");
    to.version = byKeyId ? 2 : 0;
    if (byKeyId) {
        to.subjectKeyId = certificate.subjectKeyId;
        return true;
    }
    to.issuer = certificate.issuer;
    to.issuerElement = copyOf(certificate.issuerBytes());
    to.serialNumber = certificate.serialNumber;
    return true;
}

/// Generates a key of the type and curve of `key`. Null for an unsupported type or if `rng` fails.
std::unique_ptr<PrivateKey> makeEphemeral(PublicKey const& key, Rng& rng) {
    if (auto const* const ec = dynamic_cast<EcPublicKey const*>(&key)) {
        auto made = std::make_unique<EcPrivateKey>();
        made->curve = ec->curve;
        return made->generatePrivKey(rng) ? std::move(made) : nullptr;
    }
    if (dynamic_cast<X25519PublicKey const*>(&key) == nullptr)
        return nullptr;
    auto made = std::make_unique<X25519PrivateKey>();
    return made->generatePrivKey(rng) ? std::move(made) : nullptr;
}

/// The recommended scheme for a key (RFC 5753, section 8; RFC 8418, section 2).
AgreementScheme const& schemeFor(PublicKey const& key) {
    auto const* const ec = dynamic_cast<EcPublicKey const*>(&key);
    asn1::blob const scheme = ec == nullptr              ? asn1::blob(oid::stdDhHkdfSha256)
                              : ec->curve == Curve::p521 ? asn1::blob(oid::stdDhSha512Kdf)
                              : ec->curve == Curve::p384 ? asn1::blob(oid::stdDhSha384Kdf)
                                                         : asn1::blob(oid::stdDhSha256Kdf);
    return *findRow(agreementSchemes, scheme);
}

bool agree(Reading& reading, PublicKey const& key, asn1::blob contentKey, Rng& rng, EnvelopedRecipient& to) {
    std::unique_ptr<PrivateKey> const ephemeral = makeEphemeral(key, rng);
    if (ephemeral == nullptr)
        return refuseRecipient(reading, "a key of the kind " + oidName(getKeyOid(key.keyType())));
    AgreementScheme const& scheme = schemeFor(key);
    auto agreement = std::make_shared<KeyAgreement>();
    agreement->originatorAlgorithm.oid = copyOf(getKeyOid(key.keyType()));
    agreement->originatorKey = ephemeral->publicKey()->encodeToDerEncoded();
    agreement->keyEncryptionAlgorithm = {copyOf(scheme.oid),
                                         encode(AlgorithmIdentifier{copyOf(writtenWrap.oid), {}})};
    Refusal refusal;
    SecretBytes const secret(agreeKeys(*ephemeral, key, &refusal));
    if (secret.value.empty())
        return reading.refuse(refusal.id, nullptr, std::move(refusal.facts));
    SecretBytes const wrappingKey = deriveKey(scheme, *agreement, writtenWrap.keySize, secret, {});
    to.encryptedKey.resize(contentKey.size() + keyWrapOverhead);
    to.kind = RecipientKind::keyAgreement;
    to.agreement = std::move(agreement);
    return wrapKey(wrappingKey.value, std::span(contentKey.data(), contentKey.size()), to.encryptedKey);
}

/// The wrapping of a content key under a password. Key derivation and cipher are named as in PBES2 (RFC 3211,
/// section 2.2).
struct PasswordWrap {
    PBES2Params params;
    detail::ContentCipher const* cipher = nullptr;

    detail::KeyDerivation derivation() const {
        detail::KeyDerivation made;
        made.kdf = params.kdf;
        made.prf = params.prf;
        made.salt = params.salt;
        made.iterations = params.iterations;
        return made;
    }

    SecretBytes deriveKey(std::string_view password) const {
        Reading silent;
        std::vector<unsigned char> key(cipher->keySize);
        detail::deriveKey(silent, derivation(), password, key);
        return SecretBytes(std::move(key));
    }
};

bool readPasswordWrap(Reading& reading, EnvelopedRecipient const& recipient, PasswordWrap& to) {
    AlgorithmIdentifier const& algorithm = recipient.keyEncryptionAlgorithm;
    if (!(asn1::blob(algorithm.oid) == asn1::blob(oid::pwriKek)))
        return refuseAlgorithm(reading, oidName(algorithm.oid));
    if (recipient.keyDerivation.oid.empty())
        return reading.refuse(RefusalId::unsupportedKdf, nullptr, {{"function", "not named"}});
    DerEncoder both;
    both.begin(tag::sequence);
    save(recipient.keyDerivation, both);
    both.addEncoded(algorithm.params).end();
    Refusal refusal;
    if (!parse(to.params, both.take(), &refusal))
        return reading.refuse(refusal.id, nullptr, std::move(refusal.facts));
    to.cipher = detail::findContentCipher(to.params.cipher);
    if (to.cipher == nullptr)
        return reading.refuse(RefusalId::unsupportedCipher, nullptr, {{"cipher", oidName(to.params.cipher)}});
    if (to.params.iv.size() != to.cipher->blockSize)
        return reading.refuse(RefusalId::malformedEncryptionParameters, nullptr,
                              {{"expected IV", std::to_string(to.cipher->blockSize) + " bytes"},
                               {"found", std::to_string(to.params.iv.size())}});
    PasswordSchemes every;
    every.all = true;
    return detail::checkDerivation(reading, to.derivation(), every);
}

/// PBKDF2 over HMAC-SHA256, and AES-256 in CBC mode.
bool makePasswordWrap(unsigned iterations, Rng const& rng, PasswordWrap& to) {
    constexpr unsigned saltSize = 16;
    to.cipher = detail::findContentCipher(CipherID::AesCbc, 32);
    to.params = {
        copyOf(oid::pbkdf2), copyOf(oid::hmacWithSha256), std::vector<unsigned char>(saltSize),
        iterations,          copyOf(to.cipher->oid),      std::vector<unsigned char>(to.cipher->blockSize)};
    return rng.fill(to.params.salt.data(), saltSize) && rng.fill(to.params.iv.data(), to.cipher->blockSize);
}

} // namespace

bool detail::decryptContentKey(Reading& reading, EnvelopedRecipient const& recipient, PrivateKey const& key,
                               SecretBytes& contentKey) {
    switch (recipient.kind) {
    case RecipientKind::keyTransport:
        return decryptTransported(reading, recipient, key, contentKey);
    case RecipientKind::keyAgreement:
        return decryptAgreed(reading, recipient, key, contentKey);
    default:
        return reading.refuse(RefusalId::notARecipient, nullptr);
    }
}

bool detail::decryptContentKeyShared(Reading& reading, EnvelopedRecipient const& recipient,
                                     asn1::blob keyEncryptionKey, SecretBytes& contentKey) {
    AlgorithmIdentifier const& algorithm = recipient.keyEncryptionAlgorithm;
    KeyWrap const* const wrap = readKeyWrap(reading, algorithm.oid, algorithm.params);
    if (wrap == nullptr)
        return false;
    if (wrap->keySize != keyEncryptionKey.size())
        return reading.refuse(RefusalId::keyLength, nullptr,
                              {{"expected", std::to_string(wrap->keySize) + " bytes"},
                               {"found", std::to_string(keyEncryptionKey.size())}});
    unwrap(keyEncryptionKey, recipient.encryptedKey, contentKey);
    return true;
}

bool detail::transportContentKey(Reading& reading, X509Certificate const& certificate, asn1::blob contentKey,
                                 EnvelopedOptions const& options, Rng const& rng, EnvelopedRecipient& to) {
    std::unique_ptr<PublicKey> const key = certificate.parsePublicKey();
    auto const* const rsa = key == nullptr ? nullptr : dynamic_cast<RsaPublicKey const*>(key.get());
    if (rsa == nullptr)
        return reading.refuse(RefusalId::noRsaKey, nullptr);
    if (!nameRecipient(reading, certificate, options.byKeyId, to))
        return false;
    to.kind = RecipientKind::keyTransport;
    to.keyEncryptionAlgorithm =
        options.oaep ? AlgorithmIdentifier{copyOf(oid::rsaesOaep), encodeOaepParameters(*options.oaep)}
                     : AlgorithmIdentifier{copyOf(oid::rsaEncryption), copyOf(rsa->algorithmParams())};
    to.encryptedKey = options.oaep ? encryptOaep(*rsa, *options.oaep, contentKey, rng)
                                   : encryptPkcs1(*rsa, contentKey, rng);
    return !to.encryptedKey.empty() || refuseRecipient(reading, "an RSA key that is too short");
}

bool detail::encryptContentKey(Reading& reading, X509Certificate const& certificate, asn1::blob contentKey,
                               EnvelopedOptions const& options, Rng& rng, EnvelopedRecipient& to) {
    std::unique_ptr<PublicKey> const key = certificate.parsePublicKey();
    if (key == nullptr)
        return refuseRecipient(reading, "a key of an unsupported kind");
    if (key->keyType() == KeyType::RSA)
        return transportContentKey(reading, certificate, contentKey, options, rng, to);
    return nameRecipient(reading, certificate, options.byKeyId, to) &&
           agree(reading, *key, contentKey, rng, to);
}

bool detail::passwordRounds(Reading& reading, EnvelopedRecipient const& recipient, unsigned* rounds) {
    PasswordWrap wrap;
    if (!readPasswordWrap(reading, recipient, wrap))
        return false;
    *rounds = wrap.params.iterations;
    return true;
}

bool detail::decryptContentKey(Reading& reading, EnvelopedRecipient const& recipient,
                               std::string_view password, SecretBytes& contentKey) {
    PasswordWrap wrap;
    if (!readPasswordWrap(reading, recipient, wrap))
        return false;
    unwrapPwri(*wrap.cipher, wrap.deriveKey(password), wrap.params.iv, recipient.encryptedKey,
               contentKey.value);
    return true;
}

bool detail::encryptContentKey(Reading& reading, std::string_view password, asn1::blob contentKey,
                               EnvelopedOptions const& options, Rng const& rng, EnvelopedRecipient& to) {
    if (options.iterations == 0 || options.iterations > pbes2MaxIterations)
        return reading.refuse(
            RefusalId::iterationCount, nullptr,
            {{"maximum", std::to_string(pbes2MaxIterations)}, {"found", std::to_string(options.iterations)}});
    PasswordWrap wrap;
    if (!makePasswordWrap(options.iterations, rng, wrap))
        return false;
    std::vector<unsigned char> const both = encode(wrap.params);
    asn1::blob content, derivation, cipher;
    Level level(reading, both);
    if (!take(level, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::sequence, &derivation) || !takeWhole(fields, tag::sequence, &cipher) ||
        !readPlainAlgorithm(reading, derivation, to.keyDerivation))
        return false;
    to.kind = RecipientKind::password;
    to.keyEncryptionAlgorithm = {copyOf(oid::pwriKek), copyOf(cipher)};
    to.encryptedKey = wrapPwri(*wrap.cipher, wrap.deriveKey(password), wrap.params.iv, contentKey, rng);
    return !to.encryptedKey.empty();
}
