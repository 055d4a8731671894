#include "sealkit/pbes2.h"
#include "sealkit/oid_names.h"

#include "sealkit/bignum.h"
#include "sealkit/cipher.h"
#include "sealkit/pbkdf2.h"
#include "sealkit/wipe.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"
#include "keys/read.h"

#include <string>
#include <utility>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::Level;
using detail::Reading;

/// The fields of PBES2Params as views, so that a refusal tells their place. Identifiers without their header.
struct Fields {
    asn1::blob kdf, prf, salt, cipher, iv;
    unsigned iterations = 0;
};

Fields fieldsOf(PBES2Params const& p) { return {p.kdf, p.prf, p.salt, p.cipher, p.iv, p.iterations}; }

/// The hash of the pseudorandom function, which may be left out; `HashID::none` when it is refused.
HashID findPrf(Reading& reading, asn1::blob prf) {
    if (prf.empty() || prf == oid::hmacWithSha1)
        return HashID::SHA1;
    if (prf == oid::hmacWithSha256)
        return HashID::SHA256;
    if (reading.wantsReason())
        reading.refuse(RefusalId::unsupportedPrf, prf, {{"function", oidName(prf)}});
    reading.note("unsupported PBES2 KDF: <" + oid2name(prf) + ">");
    return HashID::none;
}

detail::ContentCipher const* findCipher(Reading& reading, asn1::blob oid) {
    detail::ContentCipher const* const cipher = detail::findContentCipher(oid);
    if (cipher == nullptr) {
        if (reading.wantsReason())
            reading.refuse(RefusalId::unsupportedCipher, oid, {{"cipher", oidName(oid)}});
        reading.note("PBES2: unimplemented cipher: <" + oid2name(oid) + ">");
    }
    return cipher;
}

bool isCountInBounds(unsigned iterations) { return iterations != 0 && iterations <= pbes2MaxIterations; }

/// The cipher under the key that the password gives. Takes the time that deriving it takes.
std::unique_ptr<Cipher> makeCipher(detail::ContentCipher const& cipher, HashID prf, Fields const& fields,
                                   std::string_view password) {
    unsigned char bytes[detail::ContentCipher::maxKeySize];
    std::span<unsigned char> const key(bytes, cipher.keySize);
    pbkdf2(prf, password, fields.salt, fields.iterations, key);
    std::unique_ptr<Cipher> keyed =
        detail::makeContentCipher(cipher, std::span<unsigned char const>(key), fields.iv);
    secureMemset(bytes, 0, sizeof bytes);
    return keyed;
}

bool refuseKdf(Reading& reading, asn1::blob kdf) {
    if (!reading.wantsReason())
        return false;
    return reading.refuse(RefusalId::unsupportedKdf, kdf, {{"function", oidName(kdf)}});
}

bool refuseCount(Reading& reading, unsigned char const* at, std::string found) {
    return reading.refuse(RefusalId::iterationCount, at,
                          {{"maximum", std::to_string(pbes2MaxIterations)}, {"found", std::move(found)}});
}

/// What parameters ask for, where it is supported.
struct Choice {
    HashID prf = HashID::none;
    detail::ContentCipher const* cipher = nullptr;
};

bool choose(Reading& reading, Fields const& fields, Choice* choice) {
    if (!(asn1::blob(fields.kdf) == oid::pbkdf2))
        return refuseKdf(reading, fields.kdf);
    if (!isCountInBounds(fields.iterations))
        return refuseCount(reading, nullptr, std::to_string(fields.iterations));
    choice->prf = findPrf(reading, fields.prf);
    if (choice->prf == HashID::none)
        return false;
    choice->cipher = findCipher(reading, fields.cipher);
    if (choice->cipher == nullptr)
        return false;
    unsigned const ivSize = choice->cipher->blockSize;
    return fields.iv.size() == ivSize ||
           reading.refuse(RefusalId::malformedEncryptionParameters, fields.iv,
                          {{"expected", "an IV of " + std::to_string(ivSize) + " bytes"},
                           {"found", std::to_string(fields.iv.size()) + " bytes"}});
}

bool checkCiphertext(Reading& reading, Choice const& choice, asn1::blob data) {
    return detail::canBeDecrypted(*choice.cipher, data) ||
           reading.refuse(RefusalId::malformedCiphertext, data,
                          {{"block", std::to_string(choice.cipher->blockSize) + " bytes"},
                           {"found", std::to_string(data.size()) + " bytes"}});
}

bool encrypt(Reading& reading, Fields const& fields, std::string_view password, asn1::blob data,
             std::vector<unsigned char>& out) {
    Choice choice;
    if (!choose(reading, fields, &choice))
        return false;
    if (!detail::canBePadded(*choice.cipher, data))
        return reading.refuse(RefusalId::inputTooLarge, nullptr);
    out = detail::encryptPadded(*choice.cipher, *makeCipher(*choice.cipher, choice.prf, fields, password),
                                data);
    return true;
}

bool decrypt(Reading& reading, Fields const& fields, std::string_view password, asn1::blob data,
             std::vector<unsigned char>& out) {
    Choice choice;
    if (!choose(reading, fields, &choice) || !checkCiphertext(reading, choice, data))
        return false;
    std::unique_ptr<Cipher> const keyed = makeCipher(*choice.cipher, choice.prf, fields, password);
    return detail::decryptPadded(*choice.cipher, *keyed, data, out) ||
           reading.refuse(RefusalId::wrongPassword, data);
}

/// Puts what `work` makes, where it succeeds, into `out` in place of what it held. That may be what `work` reads.
template <typename Work>
bool replace(std::vector<unsigned char>& out, Work work) {
    std::vector<unsigned char> result;
    bool const done = work(result);
    if (!done) {
        detail::wipe(result);
        result.clear();
    }
    detail::wipe(out);
    out = std::move(result);
    return done;
}

/// Reads the content of keyDerivationFunc.
bool readKeyDerivation(Reading& reading, Fields& to, asn1::blob content) {
    Reading::Step const step(reading, "keyDerivationFunc");
    Level function(reading, content);
    asn1::blob kdf, params, salt;
    if (!detail::take(function, tag::oid, &kdf))
        return false;
    if (!(kdf == oid::pbkdf2))
        return refuseKdf(reading, kdf);
    if (!detail::take(function, tag::sequence, &params, "parameters") || !detail::finish(function))
        return false;

    Level fields(reading, params);
    if (!detail::take(fields, tag::octetString, &salt, "salt"))
        return false;
    asn1::blob const count = fields.value();
    unsigned iterations = 0;
    if (!detail::takeUInt(fields, &iterations, "iterationCount"))
        return false;
    detail::skipOptional(fields, tag::integer); // keyLength
    asn1::blob prf, prfParams;
    if (fields.tag == tag::sequence) {
        if (!detail::takeAlgorithm(fields, &prf, &prfParams, "prf"))
            return false;
        if (prf.empty())
            return reading.refuse(RefusalId::malformedOid, prf);
    }
    if (!detail::finish(fields))
        return false;
    if (!isCountInBounds(iterations))
        return refuseCount(reading, count.start,
                           count.size() > sizeof iterations ? std::to_string(count.size()) + " bytes"
                                                            : std::to_string(iterations));
    to.kdf = kdf;
    to.prf = prf;
    to.salt = salt;
    to.iterations = iterations;
    return true;
}

/// Reads the content of encryptionScheme.
bool readEncryptionScheme(Reading& reading, Fields& to, asn1::blob content) {
    Reading::Step const step(reading, "encryptionScheme");
    Level scheme(reading, content);
    asn1::blob cipher, iv;
    if (!detail::take(scheme, tag::oid, &cipher))
        return false;
    // Parameters of another shape belong to a cipher that is not supported, which says more.
    if (scheme.tag != tag::octetString && detail::findContentCipher(cipher) == nullptr &&
        reading.wantsReason())
        return reading.refuse(RefusalId::unsupportedCipher, cipher, {{"cipher", oidName(cipher)}});
    if (!detail::take(scheme, tag::octetString, &iv, "IV") || !detail::finish(scheme))
        return false;
    to.cipher = cipher;
    to.iv = iv;
    return true;
}

bool readFields(Reading& reading, asn1::blob params, Fields& to) {
    asn1::blob content, function, scheme;
    if (!detail::readOnly(reading, params, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    return detail::take(fields, tag::sequence, &function, "keyDerivationFunc") &&
           detail::take(fields, tag::sequence, &scheme, "encryptionScheme") && detail::finish(fields) &&
           readKeyDerivation(reading, to, function) && readEncryptionScheme(reading, to, scheme);
}

bool readParams(Reading& reading, asn1::blob params, PBES2Params& to) {
    Fields fields;
    if (!readFields(reading, params, fields))
        return false;
    to.kdf = detail::copyOf(fields.kdf);
    to.prf = detail::copyOf(fields.prf);
    to.salt = detail::copyOf(fields.salt);
    to.iterations = fields.iterations;
    to.cipher = detail::copyOf(fields.cipher);
    to.iv = detail::copyOf(fields.iv);
    return true;
}

bool crypt(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
           std::vector<unsigned char>& out, bool encrypts) {
    return replace(out, [&](std::vector<unsigned char>& result) {
        Fields fields;
        return readFields(reading, params, fields) &&
               (encrypts ? encrypt(reading, fields, password, data, result)
                         : decrypt(reading, fields, password, data, result));
    });
}

} // namespace

bool detail::checkPbes2(Reading& reading, asn1::blob params, asn1::blob data) {
    Fields fields;
    Choice choice;
    return readFields(reading, params, fields) && choose(reading, fields, &choice) &&
           checkCiphertext(reading, choice, data);
}

void detail::describePbes2(Reading& reading, asn1::blob params, asn1::blob const* data, KeyEncryption* to) {
    Fields fields;
    if (!readFields(reading, params, fields))
        return;
    to->cipher = oidName(fields.cipher);
    to->keyDerivation =
        "PBKDF2 with " + oidName(fields.prf.empty() ? asn1::blob(oid::hmacWithSha1) : fields.prf);
    to->iterations = fields.iterations;
    Choice choice;
    if (choose(reading, fields, &choice) && data != nullptr)
        checkCiphertext(reading, choice, *data);
}

bool detail::decryptPbes2(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
                          std::vector<unsigned char>& out) {
    return crypt(reading, params, password, data, out, false);
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
