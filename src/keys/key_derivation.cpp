#include "keys/key_derivation.h"

#include "sealkit/oid_names.h"
#include "sealkit/pbes2.h"
#include "sealkit/pbkdf2.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "hash/pbkdf2_sha224.h"

#include <utility>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::KeyDerivation;
using detail::Level;
using detail::Reading;

/// The hashes under HMAC.
enum class Prf { none, sha1, sha224, sha256, sha384, sha512 };

/// The pseudorandom function, which may be left out; `Prf::none` when it is refused.
Prf findPrf(Reading& reading, asn1::blob prf, bool all) {
    if (prf.empty() || prf == oid::hmacWithSha1)
        return Prf::sha1;
    if (prf == oid::hmacWithSha256)
        return Prf::sha256;
    if (all && prf == oid::hmacWithSha224)
        return Prf::sha224;
    if (all && prf == oid::hmacWithSha384)
        return Prf::sha384;
    if (all && prf == oid::hmacWithSha512)
        return Prf::sha512;
    if (reading.wantsReason())
        reading.refuse(RefusalId::unsupportedPrf, prf, {{"function", oidName(prf)}});
    reading.note("unsupported PBES2 KDF: <" + oid2name(prf) + ">");
    return Prf::none;
}

bool isCountInBounds(unsigned iterations) { return iterations != 0 && iterations <= pbes2MaxIterations; }

bool refuseKdf(Reading& reading, asn1::blob kdf) {
    if (!reading.wantsReason())
        return false;
    return reading.refuse(RefusalId::unsupportedKdf, kdf, {{"function", oidName(kdf)}});
}

bool refuseCount(Reading& reading, unsigned char const* at, std::string found) {
    return reading.refuse(RefusalId::iterationCount, at,
                          {{"maximum", std::to_string(pbes2MaxIterations)}, {"found", std::move(found)}});
}

bool refuseScrypt(Reading& reading, KeyDerivation const& fields) {
    return reading.refuse(RefusalId::scryptCost, fields.kdf,
                          {{"N", std::to_string(fields.scrypt.cost)},
                           {"r", std::to_string(fields.scrypt.blockSize)},
                           {"p", std::to_string(fields.scrypt.parallelization)}});
}

/// PBKDF2-params (RFC 8018, appendix A.2).
bool readPbkdf2(Reading& reading, KeyDerivation& to, asn1::blob params) {
    Level fields(reading, params);
    asn1::blob salt;
    if (!detail::take(fields, tag::octetString, &salt, "salt"))
        return false;
    asn1::blob const count = fields.value();
    unsigned iterations = 0;
    if (!detail::takeUInt(fields, &iterations, "iterationCount"))
        return false;
    if (fields.tag == tag::integer)
        to.keyLength = fields.readUInt();
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
    to.prf = prf;
    to.salt = salt;
    to.iterations = iterations;
    return true;
}

/// scrypt-params ::= SEQUENCE { salt OCTET STRING, costParameter INTEGER, blockSize INTEGER,
/// parallelizationParameter INTEGER, keyLength INTEGER OPTIONAL } (RFC 7914, section 7.1). A number that does
/// not fit is above every limit.
bool readScrypt(Reading& reading, KeyDerivation& to, asn1::blob params) {
    Level fields(reading, params);
    unsigned cost = 0;
    if (!detail::take(fields, tag::octetString, &to.salt, "salt") ||
        !detail::takeUInt(fields, &cost, "costParameter") ||
        !detail::takeUInt(fields, &to.scrypt.blockSize, "blockSize") ||
        !detail::takeUInt(fields, &to.scrypt.parallelization, "parallelizationParameter"))
        return false;
    detail::skipOptional(fields, tag::integer); // keyLength
    to.scrypt.cost = cost;
    return detail::finish(fields);
}

} // namespace

bool detail::readKeyDerivation(Reading& reading, asn1::blob content, PasswordSchemes const& schemes,
                               KeyDerivation& to) {
    Reading::Step const step(reading, "keyDerivationFunc");
    Level function(reading, content);
    asn1::blob params;
    if (!detail::take(function, tag::oid, &to.kdf))
        return false;
    bool const isScrypt = schemes.all && to.kdf == oid::scrypt;
    if (!isScrypt && !(to.kdf == oid::pbkdf2))
        return refuseKdf(reading, to.kdf);
    return detail::take(function, tag::sequence, &params, "parameters") && detail::finish(function) &&
           (isScrypt ? readScrypt(reading, to, params) : readPbkdf2(reading, to, params));
}

bool detail::checkDerivation(Reading& reading, KeyDerivation const& derivation,
                             PasswordSchemes const& schemes) {
    if (schemes.all && derivation.kdf == oid::scrypt)
        return (isScryptCost(derivation.scrypt) && isScryptWithinLimits(derivation.scrypt)) ||
               refuseScrypt(reading, derivation);
    if (!(derivation.kdf == oid::pbkdf2))
        return refuseKdf(reading, derivation.kdf);
    if (!isCountInBounds(derivation.iterations))
        return refuseCount(reading, nullptr, std::to_string(derivation.iterations));
    return findPrf(reading, derivation.prf, schemes.all) != Prf::none;
}

bool detail::deriveKey(Reading& reading, KeyDerivation const& derivation, std::string_view password,
                       std::span<unsigned char> key) {
    if (derivation.kdf == oid::scrypt)
        return scrypt(password, derivation.salt, derivation.scrypt, key) || refuseScrypt(reading, derivation);
    auto const derive = [&](HashID hash) {
        return pbkdf2(hash, password, derivation.salt, derivation.iterations, key);
    };
    switch (findPrf(reading, derivation.prf, true)) {
    case Prf::none:
        break;
    case Prf::sha1:
        return derive(HashID::SHA1);
    case Prf::sha224:
        return pbkdf2Sha224(password, derivation.salt, derivation.iterations, key);
    case Prf::sha256:
        return derive(HashID::SHA256);
    case Prf::sha384:
        return derive(HashID::SHA384);
    case Prf::sha512:
        return derive(HashID::SHA512);
    }
    return false;
}

std::string detail::describeDerivation(KeyDerivation const& derivation) {
    if (derivation.kdf == oid::scrypt)
        return "scrypt with N " + std::to_string(derivation.scrypt.cost) + ", r " +
               std::to_string(derivation.scrypt.blockSize) + ", p " +
               std::to_string(derivation.scrypt.parallelization);
    return "PBKDF2 with " + oidName(derivation.prf.empty() ? asn1::blob(oid::hmacWithSha1) : derivation.prf);
}

std::uint64_t detail::workOf(KeyDerivation const& derivation) {
    return derivation.kdf == oid::scrypt
               ? derivation.scrypt.cost * derivation.scrypt.blockSize * derivation.scrypt.parallelization
               : derivation.iterations;
}
