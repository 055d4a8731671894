#include "sealkit/x963_kdf.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr size_t maxDigestSize = 64;

void absorb(Hash& hash, asn1::blob bytes) { hash.update(bytes.data(), static_cast<unsigned>(bytes.size())); }

} // namespace

bool x963Kdf(HashID hashId, asn1::blob secret, asn1::blob sharedInfo, std::span<unsigned char> key) {
    std::unique_ptr<Hash> const hash = createHash(hashId);
    if (hash == nullptr || key.size() / hash->digestLength() >= std::numeric_limits<std::uint32_t>::max())
        return false;
    unsigned char digest[maxDigestSize];
    for (std::uint32_t number = 1; !key.empty(); number++) {
        unsigned char counter[4];
        detail::storeBigEndian(counter, number);
        absorb(*hash, secret);
        absorb(*hash, counter);
        absorb(*hash, sharedInfo);
        hash->digest(digest);
        size_t const size = std::min<size_t>(hash->digestLength(), key.size());
        std::memcpy(key.data(), digest, size);
        key = key.subspan(size);
    }
    secureMemset(digest, 0, sizeof digest);
    return true;
}
