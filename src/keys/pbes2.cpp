#include "sealkit/pbes2.h"
#include "sealkit/oid_names.h"

#include "sealkit/bignum.h"
#include "sealkit/cipher.h"
#include "sealkit/wipe.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"
#include "keys/key_derivation.h"
#include "keys/legacy_cipher.h"
#include "keys/read.h"

#include <optional>
#include <string>
#include <utility>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::Level;
using detail::Reading;

/// The fields of PBES2Params as views, so that refusals have a location. Object identifiers are content
/// octets.
struct Fields {
    detail::KeyDerivation key;
    asn1::blob cipher, iv;
    unsigned rc2EffectiveBits = 0; ///< 0 if the parameters are absent.
};

Fields fieldsOf(PBES2Params const& p) {
    Fields fields;
    fields.key.kdf = p.kdf;
    fields.key.prf = p.prf;
    fields.key.salt = p.salt;
    fields.key.iterations = p.iterations;
    fields.cipher = p.cipher;
    fields.iv = p.iv;
    return fields;
}

bool refuseCipher(Reading& reading, asn1::blob oid) {
    if (reading.wantsReason())
        reading.refuse(RefusalId::unsupportedCipher, oid, {{"cipher", oidName(oid)}});
    reading.note("PBES2: unimplemented cipher: <" + oid2name(oid) + ">");
    return false;
}

/// The supported choice of the parameters. One of the ciphers is set.
struct Choice {
    detail::ContentCipher const* cipher = nullptr;
    std::optional<detail::LegacyCipher> legacy;

    unsigned keySize() const { return cipher != nullptr ? cipher->keySize : legacy->keySize; }
    unsigned blockSize() const {
        return cipher != nullptr ? cipher->blockSize : detail::LegacyCipher::blockSize;
    }
};

constexpr unsigned maxRc2KeySize = 16, defaultRc2Bits = 32; // RFC 8018, appendix B.2.3.

bool chooseCipher(Reading& reading, Fields const& fields, PasswordSchemes const& schemes, Choice* choice) {
    using detail::LegacyCipher;
    choice->cipher = detail::findContentCipher(fields.cipher);
    if (choice->cipher != nullptr)
        return true;
    if (schemes.all && fields.cipher == oid::desCbc) {
        choice->legacy = LegacyCipher{LegacyCipher::Kind::des, 8, 56};
        return true;
    }
    if (!schemes.all || schemes.rc2 == nullptr || !(fields.cipher == oid::rc2Cbc))
        return refuseCipher(reading, fields.cipher);
    unsigned const bits = fields.rc2EffectiveBits != 0 ? fields.rc2EffectiveBits : defaultRc2Bits;
    unsigned const size = fields.key.keyLength.value_or(bits / 8);
    if (size == 0 || size > maxRc2KeySize || bits > 8 * maxRc2KeySize)
        return reading.refuse(RefusalId::malformedEncryptionParameters, fields.cipher,
                              {{"expected", "an RC2 key of 1 to " + std::to_string(maxRc2KeySize) + " bytes"},
                               {"found", std::to_string(size) + " bytes"}});
    choice->legacy = LegacyCipher{LegacyCipher::Kind::rc2, size, bits};
    return true;
}

bool choose(Reading& reading, Fields const& fields, PasswordSchemes const& schemes, Choice* choice) {
    if (!detail::checkDerivation(reading, fields.key, schemes) ||
        !chooseCipher(reading, fields, schemes, choice))
        return false;
    unsigned const ivSize = choice->blockSize();
    return fields.iv.size() == ivSize ||
           reading.refuse(RefusalId::malformedEncryptionParameters, fields.iv,
                          {{"expected", "an IV of " + std::to_string(ivSize) + " bytes"},
                           {"found", std::to_string(fields.iv.size()) + " bytes"}});
}

bool canBeDecrypted(Choice const& choice, asn1::blob data) {
    return choice.cipher != nullptr ? detail::canBeDecrypted(*choice.cipher, data)
                                    : detail::canBeDecrypted(*choice.legacy, data);
}

bool checkCiphertext(Reading& reading, Choice const& choice, asn1::blob data) {
    return canBeDecrypted(choice, data) ||
           reading.refuse(RefusalId::malformedCiphertext, data,
                          {{"block", std::to_string(choice.blockSize()) + " bytes"},
                           {"found", std::to_string(data.size()) + " bytes"}});
}

/// A key that is wiped at the end of its scope.
struct Key {
    unsigned char bytes[detail::ContentCipher::maxKeySize] = {};
    std::span<unsigned char> used;

    explicit Key(unsigned size) : used(bytes, size) {}
    Key(Key const&) = delete;
    Key& operator=(Key const&) = delete;
    ~Key() { secureMemset(bytes, 0, sizeof bytes); }
};

bool encrypt(Reading& reading, Fields const& fields, std::string_view password, asn1::blob data,
             std::vector<unsigned char>& out) {
    Choice choice;
    if (!choose(reading, fields, {}, &choice))
        return false;
    if (!detail::canBePadded(*choice.cipher, data))
        return reading.refuse(RefusalId::inputTooLarge, nullptr);
    Key key(choice.keySize());
    detail::deriveKey(reading, fields.key, password, key.used);
    out = detail::encryptPadded(
        *choice.cipher,
        *detail::makeContentCipher(*choice.cipher, std::span<unsigned char const>(key.used), fields.iv),
        data);
    return true;
}

bool decrypt(Reading& reading, Fields const& fields, std::string_view password, asn1::blob data,
             PasswordSchemes const& schemes, std::vector<unsigned char>& out) {
    Choice choice;
    if (!choose(reading, fields, schemes, &choice) || !checkCiphertext(reading, choice, data))
        return false;
    Key key(choice.keySize());
    if (!detail::deriveKey(reading, fields.key, password, key.used))
        return false;
    std::span<unsigned char const> const bytes = key.used;
    bool const isPadded =
        choice.cipher != nullptr
            ? detail::decryptPadded(*choice.cipher,
                                    *detail::makeContentCipher(*choice.cipher, bytes, fields.iv), data, out)
            : detail::decrypt(*choice.legacy, bytes, fields.iv, data, schemes.rc2, out);
    return isPadded || reading.refuse(RefusalId::wrongPassword, data);
}

/// RC2-CBC-Parameter ::= SEQUENCE { rc2ParameterVersion INTEGER OPTIONAL, iv OCTET STRING } (RFC 8018,
/// appendix B.2.3).
bool readRc2Params(Reading& reading, Fields& to, asn1::blob content) {
    Level fields(reading, content);
    unsigned version = 0;
    if (fields.tag == tag::integer) {
        if (!detail::takeUInt(fields, &version, "rc2ParameterVersion"))
            return false;
        to.rc2EffectiveBits = version == 160 ? 40 : version == 120 ? 64 : version == 58 ? 128 : version;
        if (version < 256 && to.rc2EffectiveBits == version)
            return reading.refuse(RefusalId::malformedEncryptionParameters, content,
                                  {{"RC2 version", std::to_string(version)}});
    }
    return detail::take(fields, tag::octetString, &to.iv, "IV") && detail::finish(fields);
}

/// Reads the content of encryptionScheme.
bool readEncryptionScheme(Reading& reading, Fields& to, asn1::blob content, PasswordSchemes const& schemes) {
    Reading::Step const step(reading, "encryptionScheme");
    Level scheme(reading, content);
    if (!detail::take(scheme, tag::oid, &to.cipher))
        return false;
    asn1::blob params;
    if (schemes.all && to.cipher == oid::rc2Cbc && scheme.tag == tag::sequence)
        return detail::take(scheme, tag::sequence, &params) && detail::finish(scheme) &&
               readRc2Params(reading, to, params);
    // Other parameters mean another cipher, so the refusal names it as unsupported.
    if (scheme.tag != tag::octetString && detail::findContentCipher(to.cipher) == nullptr &&
        reading.wantsReason())
        return reading.refuse(RefusalId::unsupportedCipher, to.cipher, {{"cipher", oidName(to.cipher)}});
    return detail::take(scheme, tag::octetString, &to.iv, "IV") && detail::finish(scheme);
}

bool readFields(Reading& reading, asn1::blob params, PasswordSchemes const& schemes, Fields& to) {
    asn1::blob content, function, scheme;
    if (!detail::readOnly(reading, params, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    return detail::take(fields, tag::sequence, &function, "keyDerivationFunc") &&
           detail::take(fields, tag::sequence, &scheme, "encryptionScheme") && detail::finish(fields) &&
           detail::readKeyDerivation(reading, function, schemes, to.key) &&
           readEncryptionScheme(reading, to, scheme, schemes);
}

bool readParams(Reading& reading, asn1::blob params, PBES2Params& to) {
    Fields fields;
    if (!readFields(reading, params, {}, fields))
        return false;
    to.kdf = detail::copyOf(fields.key.kdf);
    to.prf = detail::copyOf(fields.key.prf);
    to.salt = detail::copyOf(fields.key.salt);
    to.iterations = fields.key.iterations;
    to.cipher = detail::copyOf(fields.cipher);
    to.iv = detail::copyOf(fields.iv);
    return true;
}

bool crypt(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
           std::vector<unsigned char>& out, bool encrypts, PasswordSchemes const& schemes = {}) {
    return detail::replaceSecret(out, [&](std::vector<unsigned char>& result) {
        Fields fields;
        return readFields(reading, params, schemes, fields) &&
               (encrypts ? encrypt(reading, fields, password, data, result)
                         : decrypt(reading, fields, password, data, schemes, result));
    });
}

} // namespace

bool detail::checkPbes2(Reading& reading, asn1::blob params, asn1::blob data,
                        PasswordSchemes const& schemes) {
    Fields fields;
    Choice choice;
    return readFields(reading, params, schemes, fields) && choose(reading, fields, schemes, &choice) &&
           checkCiphertext(reading, choice, data);
}

std::uint64_t detail::describePbes2(Reading& reading, asn1::blob params, asn1::blob const* data,
                                    PasswordSchemes const& schemes, KeyEncryption* to) {
    Fields fields;
    if (!readFields(reading, params, schemes, fields))
        return 0;
    to->cipher = oidName(fields.cipher);
    to->keyDerivation = describeDerivation(fields.key);
    to->iterations = fields.key.iterations;
    Choice choice;
    if (!choose(reading, fields, schemes, &choice))
        return 0;
    to->isWeak = choice.legacy && choice.legacy->isWeak();
    if (data != nullptr)
        checkCiphertext(reading, choice, *data);
    return workOf(fields.key);
}

bool detail::decryptPbes2(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
                          PasswordSchemes const& schemes, std::vector<unsigned char>& out) {
    return crypt(reading, params, password, data, out, false, schemes);
}

bool parse(PBES2Params& to, asn1::blob params) {
    Reading reading(params);
    return readParams(reading, params, to);
}

bool parse(PBES2Params& to, asn1::blob params, Refusal* refusal) {
    Reading reading(params, refusal);
    return readParams(reading, params, to);
}

void save(PBES2Params const& from, DerEncoder& to) {
    to.begin(tag::sequence);
    to.begin(tag::sequence).addOid(from.kdf).begin(tag::sequence);
    to.addOctetString(from.salt).addInteger(bn64(from.iterations));
    if (!from.prf.empty())
        to.begin(tag::sequence).addOid(from.prf).addNull().end();
    to.end().end();
    to.begin(tag::sequence).addOid(from.cipher).addOctetString(from.iv).end();
    to.end();
}

std::vector<unsigned char> encode(PBES2Params const& from) {
    DerEncoder encoder;
    save(from, encoder);
    return encoder.take();
}

bool pbes2_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                 std::vector<unsigned char>& out, bool encrypt) {
    Reading reading((asn1::blob(params.params)));
    return crypt(reading, params.params, password, data, out, encrypt);
}

bool pbes2_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                 std::vector<unsigned char>& out, bool encrypt, Refusal* refusal) {
    Reading reading(params.params, refusal);
    return crypt(reading, params.params, password, data, out, encrypt);
}

std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password, PBES2Params const& p) {
    Reading reading((asn1::blob()));
    std::vector<unsigned char> out;
    encrypt(reading, fieldsOf(p), password, data, out);
    return out;
}

std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password, PBES2Params const& p,
                                         Refusal* refusal) {
    Reading reading({}, refusal);
    std::vector<unsigned char> out;
    encrypt(reading, fieldsOf(p), password, data, out);
    return out;
}
