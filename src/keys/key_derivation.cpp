#include "keys/key_derivation.h"

#include "sealkit/oid_names.h"
#include "sealkit/pbes2.h"

#include "asn1/oids.h"
#include "asn1/read.h"

#include <limits>
#include <utility>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::FileHash;
using detail::KeyDerivation;
using detail::Level;
using detail::Reading;

/// The hash of the optional pseudorandom function; `FileHash::none` if it is refused.
FileHash findPrf(Reading& reading, asn1::blob prf, bool all) {
    FileHash const hash = prf.empty() ? FileHash::sha1 : detail::hashOfHmac(prf);
    if (hash == FileHash::sha1 || hash == FileHash::sha256 || (all && hash != FileHash::none))
        return hash;
    if (reading.wantsReason())
        reading.refuse(RefusalId::unsupportedPrf, prf, {{"function", oidName(prf)}});
    reading.note("unsupported PBES2 KDF: <" + oid2name(prf) + ">");
    return FileHash::none;
}

/// The value of an INTEGER's content; the maximum if it is out of range.
template <typename Number>
Number numberOf(asn1::blob content) {
    constexpr Number largest = std::numeric_limits<Number>::max();
    if (content.empty() || content[0] >= 0x80)
        return largest;
    Number number = 0;
    for (unsigned char const octet : content) {
        if (number > largest >> 8)
            return largest;
        number = number << 8 | octet;
    }
    return number;
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
        to.keyLength = numberOf<unsigned>(fields.take());
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
/// parallelizationParameter INTEGER, keyLength INTEGER OPTIONAL } (RFC 7914, section 7.1). A number that is
/// out of range exceeds every limit.
bool readScrypt(Reading& reading, KeyDerivation& to, asn1::blob params) {
    Level fields(reading, params);
    asn1::blob cost, blockSize, parallelization;
    if (!detail::take(fields, tag::octetString, &to.salt, "salt") ||
        !detail::take(fields, tag::integer, &cost, "costParameter") ||
        !detail::take(fields, tag::integer, &blockSize, "blockSize") ||
        !detail::take(fields, tag::integer, &parallelization, "parallelizationParameter"))
        return false;
    detail::skipOptional(fields, tag::integer); // keyLength
    to.scrypt = {numberOf<std::uint64_t>(cost), numberOf<std::uint32_t>(blockSize),
                 numberOf<std::uint32_t>(parallelization)};
    return detail::finish(fields);
}

} // namespace

FileHash detail::hashOfHmac(asn1::blob oid) {
    static constexpr struct {
        asn1::blob oid;
        FileHash hash;
    } rows[] = {
        {oid::hmacWithSha1, FileHash::sha1},     {oid::hmacWithSha224, FileHash::sha224},
        {oid::hmacWithSha256, FileHash::sha256}, {oid::hmacWithSha384, FileHash::sha384},
        {oid::hmacWithSha512, FileHash::sha512}, {oid::hmacWithSha512_256, FileHash::sha512_256},
    };
    for (auto const& row : rows)
        if (row.oid == oid)
            return row.hash;
    return FileHash::none;
}

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
    return findPrf(reading, derivation.prf, schemes.all) != FileHash::none;
}

bool detail::deriveKey(Reading& reading, KeyDerivation const& derivation, std::string_view password,
                       std::span<unsigned char> key) {
    if (derivation.kdf == oid::scrypt)
        return scrypt(password, derivation.salt, derivation.scrypt, key) || refuseScrypt(reading, derivation);
    return deriveByPbkdf2(findPrf(reading, derivation.prf, true), password, derivation.salt,
                          derivation.iterations, key);
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
