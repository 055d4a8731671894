// RSASSA-PSS signatures (RFC 8017, section 8.1), verification alone.
#include "sealkit/oid.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "keys/rsa_operation.h"
#include "keys/verify.h"

#include <algorithm>

namespace detail {

namespace {

constexpr unsigned char trailer = 0xBC;

bool isSupported(HashID hash) {
    return hash == HashID::SHA256 || hash == HashID::SHA384 || hash == HashID::SHA512;
}

/// The AlgorithmIdentifier in the current element, [number] EXPLICIT. It stands there: its default is of SHA-1.
bool takeWrapped(Level& level, unsigned number, char const* field, asn1::blob* oid, asn1::blob* parameters) {
    asn1::blob wrapped;
    if (!take(level, tag::constructed(number), &wrapped, field))
        return false;
    Level inner(level.reading, wrapped);
    return takeAlgorithm(inner, oid, parameters, field) && finish(inner);
}

/// Parameters of a hash: NULL or absent (RFC 4055, section 2.1).
bool isHashAlgorithm(asn1::blob oid, asn1::blob parameters, HashID hash) {
    static constexpr unsigned char null[] = {tag::null, 0};
    return oid == getHashOid(hash) && (parameters.empty() || parameters == asn1::blob(null));
}

/// MGF1 (RFC 8017, appendix B.2.1), added to `to`.
void unmask(HashID hash, asn1::blob seed, std::span<unsigned char> to) {
    std::vector<unsigned char> input = copyOf(seed);
    size_t const counterAt = input.size();
    input.resize(counterAt + 4);
    for (unsigned counter = 0; !to.empty(); ++counter) {
        for (size_t i = 0; i < 4; ++i)
            input[counterAt + i] = static_cast<unsigned char>(counter >> 8 * (3 - i));
        std::vector<unsigned char> const mask = calcDigest(hash, input);
        size_t const size = std::min(mask.size(), to.size());
        for (size_t i = 0; i < size; ++i)
            to[i] ^= mask[i];
        to = to.subspan(size);
    }
}

} // namespace

/// RSASSA-PSS-params ::= SEQUENCE { hashAlgorithm [0] DEFAULT sha1, maskGenAlgorithm [1] DEFAULT mgf1SHA1,
/// saltLength [2] INTEGER DEFAULT 20, trailerField [3] INTEGER DEFAULT 1 }, all tags EXPLICIT
bool readPssParameters(Reading& reading, asn1::blob parameters, PssParameters* to) {
    asn1::blob content, oid, inner;
    if (!readOnly(reading, parameters, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    auto const refuse = [&](char const* field) {
        return refuseField(reading, field, RefusalId::unsupportedSignatureAlgorithm, parameters.start);
    };
    if (!takeWrapped(fields, 0, "hashAlgorithm", &oid, &inner))
        return false;
    HashID const hash = getHashID(oid);
    if (!isSupported(hash) || !isHashAlgorithm(oid, inner, hash))
        return refuse("hashAlgorithm");
    if (!takeWrapped(fields, 1, "maskGenAlgorithm", &oid, &inner))
        return false;
    Level mask(reading, inner);
    asn1::blob maskHash, maskParameters;
    if (!(oid == asn1::blob(oid::mgf1)) ||
        !takeAlgorithm(mask, &maskHash, &maskParameters, "maskGenAlgorithm") || !atEnd(mask) ||
        !isHashAlgorithm(maskHash, maskParameters, hash))
        return refuse("maskGenAlgorithm");

    auto const takeOptional = [&](unsigned number, char const* field, unsigned* value) {
        asn1::blob wrapped;
        if (fields.tag != tag::constructed(number))
            return true;
        if (!take(fields, tag::constructed(number), &wrapped, field))
            return false;
        Level only(reading, wrapped);
        asn1::blob const element(only.valueStart, only.valueEnd);
        return (element.size() <= 4 && !element.empty() && element[0] < 0x80)
                   ? takeUInt(only, value, field) && finish(only)
                   : refuse(field);
    };
    unsigned saltLength = 20, trailerField = 1;
    if (!takeOptional(2, "saltLength", &saltLength) || !takeOptional(3, "trailerField", &trailerField) ||
        !finish(fields))
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

    // EMSA-PSS-VERIFY (RFC 8017, section 9.1.2) of modBits - 1 bits: where those are whole octets, one fewer than the modulus has.
    unsigned const bits = key.n.bits() - 1;
    if (BigNum(asn1::blob(opened)).bits() > bits)
        return refuse();
    std::vector<unsigned char> block(opened.end() - (bits + 7) / 8, opened.end());
    if (block.size() < hashLength + 2 || parameters.saltLength > block.size() - hashLength - 2 ||
        block.back() != trailer)
        return refuse();
    std::span<unsigned char> const masked(block.data(), block.size() - hashLength - 1);
    asn1::blob const hash(block.data() + masked.size(), hashLength);
    unmask(parameters.hash, hash, masked);
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
