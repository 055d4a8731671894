#include "keys/pbe1.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"

#include <string>

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::LegacyCipher;
using detail::Level;
using detail::Pbe1Scheme;
using detail::Reading;

namespace {

using Kind = LegacyCipher::Kind;
using Derivation = Pbe1Scheme::Derivation;

constexpr Pbe1Scheme schemes[] = {
    {oid::pbeWithSha1And3KeyTripleDes, HashID::SHA1, Derivation::pkcs12, {Kind::tripleDes, 24, 168}},
    {oid::pbeWithSha1And2KeyTripleDes, HashID::SHA1, Derivation::pkcs12, {Kind::twoKeyTripleDes, 16, 112}},
    {oid::pbeWithSha1And128BitRc2, HashID::SHA1, Derivation::pkcs12, {Kind::rc2, 16, 128}},
    {oid::pbeWithSha1And40BitRc2, HashID::SHA1, Derivation::pkcs12, {Kind::rc2, 5, 40}},
    {oid::pbeWithSha1And128BitRc4, HashID::SHA1, Derivation::pkcs12, {Kind::rc4, 16, 128}},
    {oid::pbeWithSha1And40BitRc4, HashID::SHA1, Derivation::pkcs12, {Kind::rc4, 5, 40}},
    {oid::pbeWithMd5AndDes, HashID::MD5, Derivation::pbkdf1, {Kind::des, 8, 56}},
    {oid::pbeWithSha1AndDes, HashID::SHA1, Derivation::pbkdf1, {Kind::des, 8, 56}},
    {oid::pbeWithMd5AndRc2, HashID::MD5, Derivation::pbkdf1, {Kind::rc2, 8, 64}},
    {oid::pbeWithSha1AndRc2, HashID::SHA1, Derivation::pbkdf1, {Kind::rc2, 8, 64}},
};

/// A key and its IV, which PBKDF1 derives together.
struct Derived {
    unsigned char bytes[LegacyCipher::maxKeySize + LegacyCipher::blockSize];

    Derived(Pbe1Scheme const& scheme, PBEParams const& params, detail::SchemePassword const& password)
        : keySize(scheme.cipher.keySize) {
        if (scheme.derivation == Derivation::pbkdf1) {
            derivePbkdf1(scheme.hash, params, password.bytes);
            return;
        }
        pkcs12_kdf(scheme.hash, password.bmp, params.salt, params.iterations, PKCS12Purpose::key,
                   {bytes, keySize});
        if (scheme.cipher.isBlockCipher())
            pkcs12_kdf(scheme.hash, password.bmp, params.salt, params.iterations, PKCS12Purpose::iv,
                       {bytes + keySize, LegacyCipher::blockSize});
    }
    Derived(Derived const&) = delete;
    Derived& operator=(Derived const&) = delete;
    ~Derived() { secureMemset(bytes, 0, sizeof bytes); }

    std::span<unsigned char const> key() const { return {bytes, keySize}; }
    asn1::blob iv() const { return {bytes + keySize, LegacyCipher::blockSize}; }

private:
    /// PBKDF1 (RFC 8018, section 5.1). Derives 8 bytes of key and 8 of IV, so the digest must have at
    /// least 16.
    void derivePbkdf1(HashID id, PBEParams const& params, std::string_view password) {
        std::unique_ptr<Hash> const hash = createHash(id);
        unsigned const size = hash->digestLength();
        hash->update(password.data(), static_cast<unsigned>(password.size()));
        hash->update(params.salt.data(), static_cast<unsigned>(params.salt.size()));
        hash->digest(bytes);
        for (unsigned i = 1; i < params.iterations; i++) {
            hash->update(bytes, size);
            hash->digest(bytes);
        }
    }

    unsigned keySize;
};

bool encrypt(Reading& reading, PBEParams const& params, detail::SchemePassword const& password,
             asn1::blob data, std::vector<unsigned char>& out) {
    detail::ContentCipher const& cipher = *detail::findContentCipher(oid::desEde3Cbc);
    if (!detail::checkCount(reading, params.iterations))
        return false;
    if (!detail::canBePadded(cipher, data))
        return reading.refuse(RefusalId::inputTooLarge, nullptr);
    Derived const derived(schemes[0], params, password);
    out =
        detail::encryptPadded(cipher, *detail::makeContentCipher(cipher, derived.key(), derived.iv()), data);
    return true;
}

bool crypt(Reading& reading, AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
           std::vector<unsigned char>& out, bool encrypts) {
    PBEParams p;
    // Malformed parameters leave a count of 0, which is refused.
    detail::read(reading, params.params, p);
    detail::SecretBytes const bmp(pkcs12_password(password));
    detail::SchemePassword const forms{password, bmp};
    if (!encrypts)
        return detail::decryptPbe1(reading, schemes[0], p, forms, data, nullptr, out);
    return detail::replaceSecret(out, [&](auto& result) { return encrypt(reading, p, forms, data, result); });
}

} // namespace

Pbe1Scheme const* detail::findPbe1Scheme(asn1::blob oid) {
    for (Pbe1Scheme const& scheme : schemes)
        if (scheme.oid == oid)
            return &scheme;
    return nullptr;
}

bool detail::checkCount(Reading& reading, unsigned iterations, asn1::blob content) {
    if (iterations != 0 && iterations <= pkcs12MaxIterations)
        return true;
    return reading.refuse(
        RefusalId::iterationCount, content,
        {{"maximum", std::to_string(pkcs12MaxIterations)},
         {"found", content.size() > sizeof iterations ? std::to_string(content.size()) + " bytes"
                                                      : std::to_string(iterations)}});
}

bool detail::read(Reading& reading, asn1::blob params, PBEParams& to) {
    asn1::blob content, salt;
    if (!readOnly(reading, params, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::octetString, &salt, "salt"))
        return false;
    unsigned iterations;
    asn1::blob const count = fields.value();
    if (!takeUInt(fields, &iterations, "iterations") || !finish(fields) ||
        !checkCount(reading, iterations, count))
        return false;
    to.salt = copyOf(salt);
    to.iterations = iterations;
    return true;
}

bool parse(PBEParams& to, asn1::blob params) {
    Reading reading(params);
    return detail::read(reading, params, to);
}

bool parse(PBEParams& to, asn1::blob params, Refusal* refusal) {
    Reading reading(params, refusal);
    return detail::read(reading, params, to);
}

void save(PBEParams const& from, DerEncoder& to) {
    to.begin(tag::sequence).addOctetString(from.salt).addInteger(bn64(from.iterations)).end();
}

std::vector<unsigned char> encode(PBEParams const& from) {
    DerEncoder encoder;
    save(from, encoder);
    return encoder.take();
}

bool detail::checkPbe1(Reading& reading, Pbe1Scheme const& scheme, PBEParams const& params, asn1::blob data) {
    if (!checkCount(reading, params.iterations))
        return false;
    return canBeDecrypted(scheme.cipher, data) ||
           reading.refuse(RefusalId::malformedCiphertext, data,
                          {{"block", std::to_string(LegacyCipher::blockSize) + " bytes"},
                           {"found", std::to_string(data.size()) + " bytes"}});
}

bool detail::decryptPbe1(Reading& reading, Pbe1Scheme const& scheme, PBEParams const& params,
                         SchemePassword const& password, asn1::blob data, Rc2Decryptor rc2,
                         std::vector<unsigned char>& out) {
    return detail::replaceSecret(out, [&](std::vector<unsigned char>& result) {
        if (!checkPbe1(reading, scheme, params, data))
            return false;
        Derived const derived(scheme, params, password);
        return decrypt(scheme.cipher, derived.key(), derived.iv(), data, rc2, result) ||
               reading.refuse(RefusalId::wrongPassword, data);
    });
}

bool pbe1_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                std::vector<unsigned char>& out, bool encrypt) {
    Reading reading((asn1::blob(params.params)));
    return crypt(reading, params, password, data, out, encrypt);
}

bool pbe1_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                std::vector<unsigned char>& out, bool encrypt, Refusal* refusal) {
    Reading reading(params.params, refusal);
    return crypt(reading, params, password, data, out, encrypt);
}
