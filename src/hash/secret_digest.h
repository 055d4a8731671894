/// Digests of secrets, and digests that are secret.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/wipe.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

namespace detail {

/// The digest, `size` bytes, of the concatenated parts under the hash class `H`. Wiped by the destructor.
template <typename H, size_t size>
struct SecretDigest {
    unsigned char bytes[size];

    explicit SecretDigest(std::initializer_list<asn1::blob> parts) {
        constexpr size_t atOnce = 1U << 30; // `update` counts in 32 bits.
        H hash;
        for (asn1::blob part : parts)
            while (!part.empty()) {
                asn1::blob const piece = part.pop_front(std::min(part.size(), atOnce));
                hash.update(piece.data(), static_cast<unsigned>(piece.size()));
            }
        hash.digest(bytes);
    }
    ~SecretDigest() { secureMemset(bytes, 0, size); }
    SecretDigest(SecretDigest const&) = delete;
    SecretDigest& operator=(SecretDigest const&) = delete;

    operator asn1::blob() const { return bytes; }
};

} // namespace detail
