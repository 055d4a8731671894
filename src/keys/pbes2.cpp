#include "sealkit/pbes2.h"

#include "sealkit/bignum.h"
#include "sealkit/cipher.h"
#include "sealkit/pbkdf2.h"
#include "sealkit/wipe.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"

#include <iostream>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

/// The hash of the pseudo-random function, which may be left out; `HashID::none` when there is none.
HashID findPrf(asn1::blob prf) {
    if (prf.empty() || prf == oid::hmacWithSha1)
        return HashID::SHA1;
    if (prf == oid::hmacWithSha256)
        return HashID::SHA256;
    std::cout << "unsupported PBES2 KDF: <" << oid2name(prf) << ">" << std::endl;
    return HashID::none;
}

detail::ContentCipher const* findCipher(asn1::blob oid) {
    detail::ContentCipher const* const cipher = detail::findContentCipher(oid);
    if (cipher == nullptr)
        std::cout << "PBES2: unimplemented cipher: <" << oid2name(oid) << ">" << std::endl;
    return cipher;
}

bool isCountInBounds(unsigned iterations) { return iterations != 0 && iterations <= pbes2MostIterations; }

/// The cipher under the key that the password gives. Takes the time that deriving it takes.
std::unique_ptr<Cipher> makeCipher(detail::ContentCipher const& cipher, HashID prf, PBES2Params const& p,
                                   std::string_view password) {
    unsigned char bytes[detail::ContentCipher::longestKey];
    std::span<unsigned char> const key(bytes, cipher.keySize);
    pbkdf2(prf, password, p.salt, p.iterations, key);
    std::unique_ptr<Cipher> keyed =
        detail::makeContentCipher(cipher, std::span<unsigned char const>(key), p.iv);
    secureMemset(bytes, 0, sizeof bytes);
    return keyed;
}

bool crypt(PBES2Params const& p, std::string_view password, asn1::blob data, std::vector<unsigned char>& out,
           bool encrypt) {
    if (!(asn1::blob(p.kdf) == oid::pbkdf2) || !isCountInBounds(p.iterations))
        return false;
    HashID const prf = findPrf(p.prf);
    if (prf == HashID::none)
        return false;
    detail::ContentCipher const* const cipher = findCipher(p.cipher);
    if (cipher == nullptr || p.iv.size() != cipher->blockSize ||
        !(encrypt ? detail::canBePadded(*cipher, data) : detail::canBeDecrypted(*cipher, data)))
        return false;

    std::unique_ptr<Cipher> const keyed = makeCipher(*cipher, prf, p, password);
    if (!encrypt)
        return detail::decryptPadded(*cipher, *keyed, data, out);
    out = detail::encryptPadded(*cipher, *keyed, data);
    return true;
}

/// Reads the content of keyDerivationFunc.
bool parseKeyDerivation(PBES2Params& to, asn1::blob content) {
    asn1::parser function(content);
    asn1::blob kdf, params, salt;
    if (!detail::take(function, tag::oid, &kdf) || !(kdf == oid::pbkdf2) ||
        !detail::take(function, tag::sequence, &params) || !detail::atEnd(function))
        return false;

    asn1::parser fields(params);
    if (!detail::take(fields, tag::octetString, &salt) || fields.tag != tag::integer)
        return false;
    unsigned const iterations = fields.readUInt();
    detail::skipOptional(fields, tag::integer); // keyLength
    AlgorithmIdentifier prf;
    if (fields.tag == tag::sequence && (!parse(prf, fields.take()) || prf.oid.empty()))
        return false;
    if (!detail::atEnd(fields) || !isCountInBounds(iterations))
        return false;

    to.kdf = detail::copyOf(kdf);
    to.prf = std::move(prf.oid);
    to.salt = detail::copyOf(salt);
    to.iterations = iterations;
    return true;
}

/// Reads the content of encryptionScheme.
bool parseEncryptionScheme(PBES2Params& to, asn1::blob content) {
    asn1::parser scheme(content);
    asn1::blob cipher, iv;
    if (!detail::take(scheme, tag::oid, &cipher) || !detail::take(scheme, tag::octetString, &iv) ||
        !detail::atEnd(scheme))
        return false;
    to.cipher = detail::copyOf(cipher);
    to.iv = detail::copyOf(iv);
    return true;
}

} // namespace

bool parse(PBES2Params& to, asn1::blob params) {
    asn1::blob content, function, scheme;
    if (!detail::readOnly(params, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    return detail::take(fields, tag::sequence, &function) && detail::take(fields, tag::sequence, &scheme) &&
           detail::atEnd(fields) && parseKeyDerivation(to, function) && parseEncryptionScheme(to, scheme);
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
    PBES2Params p;
    std::vector<unsigned char> result;
    bool const done = parse(p, params.params) && crypt(p, password, data, result, encrypt);
    if (!done) {
        detail::wipe(result);
        result.clear();
    }
    // Only now, since `data` may be what `out` held.
    detail::wipe(out);
    out = std::move(result);
    return done;
}

std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password, PBES2Params const& p) {
    std::vector<unsigned char> out;
    crypt(p, password, data, out, true);
    return out;
}
