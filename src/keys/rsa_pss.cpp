// Verification of RSASSA-PSS signatures (RFC 8017, section 8.1).
#include "sealkit/oid.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "keys/mgf1.h"
#include "keys/rsa_operation.h"
#include "keys/verify.h"

#include <algorithm>

namespace detail {

namespace {

constexpr unsigned char trailer = 0xBC;

bool isSupported(HashID hash) {
    return hash == HashID::SHA256 || hash == HashID::SHA384 || hash == HashID::SHA512;
}

} // namespace

/// RSASSA-PSS-params ::= SEQUENCE { hashAlgorithm [0] DEFAULT sha1, maskGenAlgorithm [1] DEFAULT mgf1SHA1,
/// saltLength [2] INTEGER DEFAULT 20, trailerField [3] INTEGER DEFAULT 1 }, all tags EXPLICIT
bool readPssFields(Reading& reading, asn1::blob parameters, PssDefaults defaults, PssFields* to) {
    asn1::blob content;
    if (!readOnly(reading, parameters, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    auto const takeAlgorithm = [&](unsigned number, char const* field, asn1::blob* oid, asn1::blob* inner) {
        bool const isDefault = defaults == PssDefaults::taken && fields.tag != tag::constructed(number);
        return isDefault || takeWrapped(fields, number, field, oid, inner);
    };
    auto const takeNumber = [&](unsigned number, char const* field, asn1::blob* whole) {
        return fields.tag != tag::constructed(number) || take(fields, tag::constructed(number), whole, field);
    };
    return takeAlgorithm(0, "hashAlgorithm", &to->hash, &to->hashParameters) &&
           takeAlgorithm(1, "maskGenAlgorithm", &to->mask, &to->maskParameters) &&
           takeNumber(2, "saltLength", &to->saltLength) && takeNumber(3, "trailerField", &to->trailerField) &&
           finish(fields);
}

bool readPssParameters(Reading& reading, asn1::blob parameters, PssParameters* to) {
    PssFields fields;
    if (!readPssFields(reading, parameters, PssDefaults::refused, &fields))
        return false;
    auto const refuse = [&](char const* field) {
        return refuseField(reading, field, RefusalId::unsupportedSignatureAlgorithm, parameters.start);
    };
    HashID const hash = schemeHash(fields.hash, fields.hashParameters);
    if (!isSupported(hash))
        return refuse("hashAlgorithm");
    if (maskHash(reading, fields.mask, fields.maskParameters) != hash)
        return refuse("maskGenAlgorithm");
    auto const readNumber = [&](asn1::blob whole, char const* field, unsigned* value) {
        if (whole.start == nullptr)
            return true;
        Level only(reading, whole);
        asn1::blob const element(only.valueStart, only.valueEnd);
        return (element.size() <= 4 && !element.empty() && element[0] < 0x80)
                   ? takeUInt(only, value, field) && finish(only)
                   : refuse(field);
    };
    unsigned saltLength = 20, trailerField = 1;
    if (!readNumber(fields.saltLength, "saltLength", &saltLength) ||
        !readNumber(fields.trailerField, "trailerField", &trailerField))
        return false;
    if (trailerField != 1)
        return refuse("trailerField");
    *to = {hash, saltLength};
    return true;
}

bool verifyPss(Reading& reading, RsaPublicKey const& key, PssParameters const& parameters, asn1::blob digest,
               asn1::blob signature) {
    auto const refuse = [&] { return reading.refuse(RefusalId::signatureMismatch, signature); };
    size_t const hashLength = digest.size();
    if (signature.size() != modulusLength(key) || digest.empty())
        return refuse();
    std::vector<unsigned char> const opened = publicPower(key, signature);
    if (opened.empty())
        return reading.refuse(isUsable(key) ? RefusalId::signatureMismatch : RefusalId::rsaKeyUnusable,
                              signature);

    // EMSA-PSS-VERIFY (RFC 8017, section 9.1.2) with modBits - 1 bits, which may be one octet less than the
    // modulus has.
    unsigned const bits = key.n.bits() - 1;
    if (BigNum(asn1::blob(opened)).bits() > bits)
        return refuse();
    std::vector<unsigned char> block(opened.end() - (bits + 7) / 8, opened.end());
    if (block.size() < hashLength + 2 || parameters.saltLength > block.size() - hashLength - 2 ||
        block.back() != trailer)
        return refuse();
    std::span<unsigned char> const masked(block.data(), block.size() - hashLength - 1);
    asn1::blob const hash(block.data() + masked.size(), hashLength);
    addMask(parameters.hash, hash, masked);
    masked[0] &= static_cast<unsigned char>(0xFF >> (8 * block.size() - bits));

    size_t const paddingLength = masked.size() - parameters.saltLength - 1;
    auto const padding = masked.first(paddingLength);
    if (std::ranges::any_of(padding, [](unsigned char octet) { return octet != 0; }) ||
        masked[paddingLength] != 0x01)
        return refuse();
    std::vector<unsigned char> input(8);
    input.insert(input.end(), digest.begin(), digest.end());
    input.insert(input.end(), masked.begin() + static_cast<ptrdiff_t>(paddingLength) + 1, masked.end());
    return asn1::blob(calcDigest(parameters.hash, input)) == hash || refuse();
}

} // namespace detail
