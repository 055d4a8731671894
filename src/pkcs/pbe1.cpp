#include "pkcs/pbe1.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

bool isCountInBounds(unsigned iterations) { return iterations != 0 && iterations <= pkcs12MostIterations; }

bool crypt(PBEParams const& params, asn1::blob password, asn1::blob data, std::vector<unsigned char>& out,
           bool encrypt) {
    detail::ContentCipher const& cipher = *detail::findContentCipher(oid::desEde3Cbc);
    if (!isCountInBounds(params.iterations) ||
        !(encrypt ? detail::canBePadded(cipher, data) : detail::canBeDecrypted(cipher, data)))
        return false;
    unsigned char bytes[detail::ContentCipher::longestKey], iv[detail::ContentCipher::longestBlock];
    std::span<unsigned char> const key(bytes, cipher.keySize);
    pkcs12_kdf(HashID::SHA1, password, params.salt, params.iterations, PKCS12Purpose::key, key);
    pkcs12_kdf(HashID::SHA1, password, params.salt, params.iterations, PKCS12Purpose::iv,
               {iv, cipher.blockSize});
    std::unique_ptr<Cipher> const keyed =
        detail::makeContentCipher(cipher, std::span<unsigned char const>(key), {iv, cipher.blockSize});
    secureMemset(bytes, 0, sizeof bytes);
    secureMemset(iv, 0, sizeof iv);
    if (!encrypt)
        return detail::decryptPadded(cipher, *keyed, data, out);
    out = detail::encryptPadded(cipher, *keyed, data);
    return true;
}

} // namespace

bool parse(PBEParams& to, asn1::blob params) {
    asn1::blob content, salt;
    if (!detail::readOnly(params, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    unsigned iterations;
    if (!detail::take(fields, tag::octetString, &salt) || !detail::takeUInt(fields, &iterations) ||
        !detail::atEnd(fields) || !isCountInBounds(iterations))
        return false;
    to.salt = detail::copyOf(salt);
    to.iterations = iterations;
    return true;
}

void save(PBEParams const& from, DerEncoder& to) {
    to.begin(tag::sequence).addOctetString(from.salt).addInteger(bn64(from.iterations)).end();
}

std::vector<unsigned char> encode(PBEParams const& from) {
    DerEncoder encoder;
    save(from, encoder);
    return encoder.take();
}

bool detail::pbe1Crypt(PBEParams const& params, asn1::blob password, asn1::blob data,
                       std::vector<unsigned char>& out, bool encrypt) {
    std::vector<unsigned char> result;
    bool const done = crypt(params, password, data, result, encrypt);
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
    PBEParams p;
    // Malformed parameters keep a count of 0, which is refused.
    parse(p, params.params);
    detail::SecretBytes const bmp(pkcs12_password(password));
    return detail::pbe1Crypt(p, bmp, data, out, encrypt);
}
