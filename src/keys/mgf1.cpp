#include "keys/mgf1.h"

#include "sealkit/oid.h"
#include "sealkit/wipe.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/bytes.h"

#include <algorithm>

namespace detail {

void addMask(HashID hashId, asn1::blob seed, std::span<unsigned char> to) {
    constexpr size_t maxDigestSize = 64;
    std::unique_ptr<Hash> const hash = createHash(hashId);
    unsigned char mask[maxDigestSize];
    for (std::uint32_t number = 0; !to.empty(); number++) {
        unsigned char counter[4];
        storeBigEndian(counter, number);
        hash->update(seed.data(), static_cast<unsigned>(seed.size()));
        hash->update(counter, sizeof counter);
        hash->digest(mask);
        size_t const size = std::min<size_t>(hash->digestLength(), to.size());
        for (size_t i = 0; i < size; i++)
            to[i] ^= mask[i];
        to = to.subspan(size);
    }
    secureMemset(mask, 0, sizeof mask);
}

bool takeWrapped(Level& level, unsigned number, char const* field, asn1::blob* oid, asn1::blob* parameters) {
    asn1::blob wrapped;
    if (!take(level, tag::constructed(number), &wrapped, field))
        return false;
    Level inner(level.reading, wrapped);
    return takeAlgorithm(inner, oid, parameters, field) && finish(inner);
}

HashID schemeHash(asn1::blob oid, asn1::blob parameters) {
    static constexpr unsigned char null[] = {tag::null, 0};
    if (!parameters.empty() && !(parameters == asn1::blob(null)))
        return HashID::none;
    for (HashID const hash : {HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512})
        if (oid == getHashOid(hash))
            return hash;
    return HashID::none;
}

HashID maskHash(Reading& reading, asn1::blob oid, asn1::blob parameters) {
    Level fields(reading, parameters);
    asn1::blob hash, hashParameters;
    if (!(oid == asn1::blob(oid::mgf1)) || !takeAlgorithm(fields, &hash, &hashParameters) || !atEnd(fields))
        return HashID::none;
    return schemeHash(hash, hashParameters);
}

} // namespace detail
