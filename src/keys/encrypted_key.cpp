#include "sealkit/pbe1.h"
#include "sealkit/pbes2.h"
#include "sealkit/pkcs8.h"
#include "sealkit/rng.h"

#include "asn1/input_kind.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "keys/password_scheme.h"
#include "keys/read.h"

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

constexpr unsigned saltSize = 16, ivSize = 16;

bool fillRandom(std::vector<unsigned char>& bytes, unsigned size) {
    bytes.resize(size);
    return getDefaultRng().fill(bytes.data(), size);
}

using detail::Level;
using detail::Reading;

/// Whether `der` has the outline of a OneAsymmetricKey, which data decrypted under a wrong password hardly
/// ever has.
bool looksLikeKey(asn1::blob der) {
    Reading reading;
    asn1::blob content, version, algorithm, params;
    if (!detail::readOnly(reading, der, tag::sequence, &content))
        return false;
    Level info(reading, content);
    return detail::takeInteger(info, &version) && detail::takeAlgorithm(info, &algorithm, &params, nullptr);
}

} // namespace

bool detail::takeEncryptedKey(Reading& reading, asn1::blob der, EncryptedKeyFields* fields) {
    asn1::blob content;
    if (!readOnly(reading, der, tag::sequence, &content))
        return false;
    Level info(reading, content);
    return takeAlgorithm(info, &fields->scheme, &fields->params, "encryptionAlgorithm") &&
           take(info, tag::octetString, &fields->data, "encryptedData") && finish(info);
}

bool detail::readEncryptedKey(Reading& reading, asn1::blob der, std::optional<std::string_view> password,
                              std::function<bool(asn1::blob)> const& readKey,
                              PasswordSchemes const& schemes) {
    EncryptedKeyFields fields;
    if (!takeEncryptedKey(reading, der, &fields))
        return false;
    if (schemes.all ? !isSchemeRead(fields.scheme, schemes) : !(fields.scheme == oid::pbes2)) {
        refuseScheme(reading, fields.scheme);
        reading.note("PKCS8: unsupported PBE: <" + oid2name(fields.scheme) + ">");
        return false;
    }
    SchemeIdentifier const scheme{fields.scheme, fields.params};
    if (!password)
        return checkScheme(reading, scheme, fields.data, schemes) &&
               reading.refuse(RefusalId::passwordRequired, nullptr);
    SecretBytes const bmp(pkcs12_password(*password));
    SecretBytes plain;
    if (!decryptUnderPassword(reading, scheme, {*password, bmp}, fields.data, schemes, plain.value))
        return false;
    Reading::Derived const derived(reading, plain, fields.data.start, "decrypted key");
    if (readKey(plain))
        return true;
    if (!looksLikeKey(plain)) {
        reading.retract();
        reading.refuse(RefusalId::wrongPassword, fields.data);
    }
    return false;
}

std::unique_ptr<PrivateKey> detail::readEncryptedPrivateKey(Reading& reading, asn1::blob der,
                                                            std::optional<std::string_view> password,
                                                            PasswordSchemes const& schemes) {
    std::unique_ptr<PrivateKey> key;
    auto const readKey = [&](asn1::blob plain) {
        key = readOneAsymmetricKey(reading, plain);
        return key != nullptr;
    };
    readEncryptedKey(reading, der, password, readKey, schemes);
    return key;
}

std::unique_ptr<PrivateKey> parsePkcs8EncryptedPrivateKey(asn1::blob der, std::string_view password) {
    Reading reading(der);
    return detail::readEncryptedPrivateKey(reading, der, password);
}

std::unique_ptr<PrivateKey> parsePkcs8EncryptedPrivateKey(asn1::blob der, std::string_view password,
                                                          Refusal* refusal, PasswordSchemes const& schemes) {
    Reading reading(der, refusal);
    std::unique_ptr<PrivateKey> key = detail::readEncryptedPrivateKey(reading, der, password, schemes);
    if (key == nullptr)
        detail::refuseOtherKind(reading, InputKind::encryptedPrivateKey, detail::findDerKind(der));
    return key;
}

std::vector<unsigned char> detail::encryptKey(asn1::blob key, std::string_view password,
                                              unsigned iterations) {
    PBES2Params params;
    params.kdf = copyOf(oid::pbkdf2);
    params.prf = copyOf(oid::hmacWithSha256);
    params.iterations = iterations;
    params.cipher = copyOf(oid::aes256Cbc);
    if (key.empty() || !fillRandom(params.salt, saltSize) || !fillRandom(params.iv, ivSize))
        return {};
    std::vector<unsigned char> const encrypted = pbes2_encrypt(key, password, params);
    if (encrypted.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence).begin(tag::sequence).addOid(oid::pbes2);
    save(params, encoder);
    encoder.end().addOctetString(encrypted).end();
    return encoder.take();
}

std::vector<unsigned char> encodePkcs8EncryptedPrivateKey(PrivateKey const& key, std::string_view password,
                                                          unsigned iterations) {
    return detail::encryptKey(detail::SecretBytes(encodePkcs8PrivateKey(key)), password, iterations);
}
