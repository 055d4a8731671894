/// `readPlainAlgorithm` without a reason.
#pragma once

#include "pkcs/read.h"

namespace detail {

inline bool parseAlgorithm(AlgorithmIdentifier& to, asn1::blob content) {
    Reading silent;
    return readPlainAlgorithm(silent, content, to);
}

} // namespace detail
