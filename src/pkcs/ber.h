/// From BER to DER, for files of programs that write the former.
#pragma once

#include "sealkit/blob.h"

#include <vector>

namespace detail {

/// Rewrites one element with all within it (ITU-T X.690): indefinite lengths become definite, and OCTET STRINGs in
/// pieces become whole, also the encryptedContent of an EncryptedContentInfo, which is one under the tag [0].
/// Sets are not sorted and values not touched, so what is DER already comes back as it is. Empty when it is
/// malformed, has bytes behind it, tags above 30, or elements in elements more than 32 deep. It may hold what
/// `ber` held: the caller wipes it.
std::vector<unsigned char> berToDer(asn1::blob ber);

} // namespace detail
