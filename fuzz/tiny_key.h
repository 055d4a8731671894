/// A recipient's key for a fuzzer.
#pragma once

#include "sealkit/keys.h"

namespace fuzz {

/// Decrypts nothing: no content key fits under a modulus of one byte.
inline RsaPrivateKey const& tinyKey() {
    static RsaPrivateKey const key = [] {
        RsaPrivateKey made;
        made.n = bn64(33);
        made.e = bn64(3);
        made.d = bn64(7);
        return made;
    }();
    return key;
}

} // namespace fuzz
