/// Wipes byte vectors and strings with secrets, including on failure paths.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/wipe.h"

#include <utility>
#include <vector>

namespace detail {

/// Overwrites the whole memory of a byte vector or string with zeros, including unused capacity.
template <typename Bytes>
void wipe(Bytes& bytes) {
    bytes.resize(bytes.capacity());
    if (!bytes.empty()) // The address of an empty one may be null, which memset does not accept.
        secureMemset(bytes.data(), 0, bytes.size());
}

/// Replaces `out` by the result of `work` if it succeeds. `work` may read the previous contents of `out`.
template <typename Work>
bool replaceSecret(std::vector<unsigned char>& out, Work work) {
    std::vector<unsigned char> result;
    bool const done = work(result);
    if (!done) {
        wipe(result);
        result.clear();
    }
    wipe(out);
    out = std::move(result);
    return done;
}

/// Bytes that are wiped by the destructor. Fill `value` once: growing it would leave an unwiped copy.
struct SecretBytes {
    std::vector<unsigned char> value;

    SecretBytes() = default;
    explicit SecretBytes(std::vector<unsigned char>&& bytes) : value(std::move(bytes)) {}
    SecretBytes(SecretBytes const&) = delete;
    SecretBytes& operator=(SecretBytes const&) = delete;
    ~SecretBytes() { wipe(value); }

    operator asn1::blob() const { return value; }
};

} // namespace detail
