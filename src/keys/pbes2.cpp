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

/// The hash of the pseudorandom function, which may be left out; `HashID::none` when it is refused.
HashID findPrf(Reading& reading, asn1::blob prf) {
    if (prf.empty() || prf == oid::hmacWithSha1)
        return HashID::SHA1;
    if (prf == oid::hmacWithSha256)
        return HashID::SHA256;
    if (reading.wantsReason())
        reading.refuse(RefusalId::unsupportedPrf, nullptr, {{"function", oidName(prf)}});
    reading.note("unsupported PBES2 KDF: <" + oid2name(prf) + ">");
    return HashID::none;
}

detail::ContentCipher const* findCipher(Reading& reading, asn1::blob oid) {
    detail::ContentCipher const* const cipher = detail::findContentCipher(oid);
    if (cipher == nullptr) {
        if (reading.wantsReason())
            reading.refuse(RefusalId::unsupportedCipher, nullptr, {{"cipher", oidName(oid)}});
        reading.note("PBES2: unimplemented cipher: <" + oid2name(oid) + ">");
    }
    return cipher;
}

bool isCountInBounds(unsigned iterations) { return iterations != 0 && iterations <= pbes2MaxIterations; }

/// The cipher under the key that the password gives. Takes the time that deriving it takes.
std::unique_ptr<Cipher> makeCipher(detail::ContentCipher const& cipher, HashID prf, PBES2Params const& p,
                                   std::string_view password) {
    unsigned char bytes[detail::ContentCipher::maxKeySize];
    std::span<unsigned char> const key(bytes, cipher.keySize);
    pbkdf2(prf, password, p.salt, p.iterations, key);
    std::unique_ptr<Cipher> keyed =
        detail::makeContentCipher(cipher, std::span<unsigned char const>(key), p.iv);
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

bool choose(Reading& reading, PBES2Params const& p, Choice* choice) {
    if (!(asn1::blob(p.kdf) == oid::pbkdf2))
        return refuseKdf(reading, p.kdf);
    if (!isCountInBounds(p.iterations))
        return refuseCount(reading, nullptr, std::to_string(p.iterations));
    choice->prf = findPrf(reading, p.prf);
    if (choice->prf == HashID::none)
        return false;
    choice->cipher = findCipher(reading, p.cipher);
    if (choice->cipher == nullptr)
        return false;
    unsigned const ivSize = choice->cipher->blockSize;
    return p.iv.size() == ivSize ||
           reading.refuse(RefusalId::malformedEncryptionParameters, nullptr,
                          {{"expected", "an IV of " + std::to_string(ivSize) + " bytes"},
                           {"found", std::to_string(p.iv.size()) + " bytes"}});
}

bool checkCiphertext(Reading& reading, Choice const& choice, asn1::blob data) {
    return detail::canBeDecrypted(*choice.cipher, data) ||
           reading.refuse(RefusalId::malformedCiphertext, data,
                          {{"block", std::to_string(choice.cipher->blockSize) + " bytes"},
                           {"found", std::to_string(data.size()) + " bytes"}});
}

bool encrypt(Reading& reading, PBES2Params const& p, std::string_view password, asn1::blob data,
             std::vector<unsigned char>& out) {
    Choice choice;
    if (!choose(reading, p, &choice))
        return false;
    if (!detail::canBePadded(*choice.cipher, data))
        return reading.refuse(RefusalId::inputTooLarge, nullptr);
    out = detail::encryptPadded(*choice.cipher, *makeCipher(*choice.cipher, choice.prf, p, password), data);
    return true;
}

bool decrypt(Reading& reading, PBES2Params const& p, std::string_view password, asn1::blob data,
             std::vector<unsigned char>& out) {
    Choice choice;
    if (!choose(reading, p, &choice) || !checkCiphertext(reading, choice, data))
        return false;
    std::unique_ptr<Cipher> const keyed = makeCipher(*choice.cipher, choice.prf, p, password);
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

bool crypt(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
           std::vector<unsigned char>& out, bool encrypts) {
    return replace(out, [&](std::vector<unsigned char>& result) {
        PBES2Params p;
        return detail::read(reading, params, p) && (encrypts ? encrypt(reading, p, password, data, result)
                                                             : decrypt(reading, p, password, data, result));
    });
}

/// Reads the content of keyDerivationFunc.
bool readKeyDerivation(Reading& reading, PBES2Params& to, asn1::blob content) {
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
    to.kdf = detail::copyOf(kdf);
    to.prf = detail::copyOf(prf);
    to.salt = detail::copyOf(salt);
    to.iterations = iterations;
    return true;
}

/// Reads the content of encryptionScheme.
bool readEncryptionScheme(Reading& reading, PBES2Params& to, asn1::blob content) {
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
    to.cipher = detail::copyOf(cipher);
    to.iv = detail::copyOf(iv);
    return true;
}

} // namespace

bool detail::read(Reading& reading, asn1::blob params, PBES2Params& to) {
    asn1::blob content, function, scheme;
    if (!readOnly(reading, params, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    return take(fields, tag::sequence, &function, "keyDerivationFunc") &&
           take(fields, tag::sequence, &scheme, "encryptionScheme") && finish(fields) &&
           readKeyDerivation(reading, to, function) && readEncryptionScheme(reading, to, scheme);
}

bool detail::checkPbes2(Reading& reading, PBES2Params const& params, asn1::blob data) {
    Choice choice;
    return choose(reading, params, &choice) && checkCiphertext(reading, choice, data);
}

void detail::describePbes2(Reading& reading, asn1::blob params, asn1::blob const* data, KeyEncryption* to) {
    PBES2Params p;
    if (!read(reading, params, p))
        return;
    to->cipher = oidName(p.cipher);
    to->keyDerivation = "PBKDF2 with " + oidName(p.prf.empty() ? asn1::blob(oid::hmacWithSha1) : p.prf);
    to->iterations = p.iterations;
    if (data != nullptr) {
        checkPbes2(reading, p, *data);
    } else {
        Choice choice;
        choose(reading, p, &choice);
    }
}

bool detail::decryptPbes2(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
                          std::vector<unsigned char>& out) {
    return crypt(reading, params, password, data, out, false);
}

bool parse(PBES2Params& to, asn1::blob params) {
    Reading reading(params);
    return detail::read(reading, params, to);
}

bool parse(PBES2Params& to, asn1::blob params, Refusal* refusal) {
    Reading reading(params, refusal);
    return detail::read(reading, params, to);
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
    encrypt(reading, p, password, data, out);
    return out;
}

std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password, PBES2Params const& p,
                                         Refusal* refusal) {
    Reading reading({}, refusal);
    std::vector<unsigned char> out;
    encrypt(reading, p, password, data, out);
    return out;
}
