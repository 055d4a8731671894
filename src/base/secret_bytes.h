/// Byte vectors and strings that hold secrets: wiping them, also on the way out of a function that fails.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/wipe.h"

#include <utility>
#include <vector>

namespace detail {

/// Overwrites all the memory of a vector of bytes or a string, what was cut off its end included. It
/// holds zeros then.
template <typename Bytes>
void wipe(Bytes& bytes) {
    bytes.resize(bytes.capacity());
    if (!bytes.empty()) // nothing has no address that memset takes
        secureMemset(bytes.data(), 0, bytes.size());
}

/// Puts what `work` makes, where it succeeds, into `out` in place of what it held. That may be what `work`
/// reads.
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

/// Bytes that are wiped where their scope ends. Whoever lets `value` grow moves what it holds to other
/// memory and leaves the old as it is: it is filled once.
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
