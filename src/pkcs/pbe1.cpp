#include "pkcs/pbe1.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"

#include <string>

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::Level;
using detail::Reading;

namespace {

detail::ContentCipher const& tripleDes() { return *detail::findContentCipher(oid::desEde3Cbc); }

bool crypt(Reading& reading, PBEParams const& params, asn1::blob password, asn1::blob data,
           std::vector<unsigned char>& out, bool encrypt) {
    detail::ContentCipher const& cipher = tripleDes();
    if (encrypt ? !detail::checkCount(reading, params.iterations) : !detail::checkPbe1(reading, params, data))
        return false;
    if (encrypt && !detail::canBePadded(cipher, data))
        return reading.refuse(RefusalId::inputTooLarge, nullptr);
    unsigned char bytes[detail::ContentCipher::maxKeySize], iv[detail::ContentCipher::maxBlockSize];
    std::span<unsigned char> const key(bytes, cipher.keySize);
    pkcs12_kdf(HashID::SHA1, password, params.salt, params.iterations, PKCS12Purpose::key, key);
    pkcs12_kdf(HashID::SHA1, password, params.salt, params.iterations, PKCS12Purpose::iv,
               {iv, cipher.blockSize});
    std::unique_ptr<Cipher> const keyed =
        detail::makeContentCipher(cipher, std::span<unsigned char const>(key), {iv, cipher.blockSize});
    secureMemset(bytes, 0, sizeof bytes);
    secureMemset(iv, 0, sizeof iv);
    if (!encrypt)
        return detail::decryptPadded(cipher, *keyed, data, out) ||
               reading.refuse(RefusalId::wrongPassword, data);
    out = detail::encryptPadded(cipher, *keyed, data);
    return true;
}

bool crypt(Reading& reading, AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
           std::vector<unsigned char>& out, bool encrypt) {
    PBEParams p;
    // Malformed parameters keep a count of 0, which is refused.
    detail::read(reading, params.params, p);
    detail::SecretBytes const bmp(pkcs12_password(password));
    return detail::pbe1Crypt(reading, p, bmp, data, out, encrypt);
}

} // namespace

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

bool detail::checkPbe1(Reading& reading, PBEParams const& params, asn1::blob data) {
    if (!checkCount(reading, params.iterations))
        return false;
    return canBeDecrypted(tripleDes(), data) ||
           reading.refuse(RefusalId::malformedCiphertext, data,
                          {{"block", std::to_string(tripleDes().blockSize) + " bytes"},
                           {"found", std::to_string(data.size()) + " bytes"}});
}

bool detail::pbe1Crypt(Reading& reading, PBEParams const& params, asn1::blob password, asn1::blob data,
                       std::vector<unsigned char>& out, bool encrypt) {
    std::vector<unsigned char> result;
    bool const done = crypt(reading, params, password, data, result, encrypt);
    if (!done) {
        wipe(result);
        result.clear();
    }
    // Only now, since `data` may be what `out` held.
    wipe(out);
    out = std::move(result);
    return done;
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
