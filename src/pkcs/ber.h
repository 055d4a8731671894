/// From BER to DER, for files of programs that write the former.
#pragma once

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <algorithm>
#include <vector>

namespace detail {

/// Rewrites one element with all within it (ITU-T X.690): indefinite lengths become definite, and OCTET STRINGs in
/// pieces become whole, also the encryptedContent of an EncryptedContentInfo, which is one under the tag [0].
/// Sets are not sorted and values not touched, so what is DER already comes back as it is. Refuses what is
/// malformed, bytes behind it, tags above 30, and elements in elements more than 32 deep; `*der` is empty then.
/// It may hold what `ber` held: the caller wipes it.
bool berToDer(Reading& reading, asn1::blob ber, std::vector<unsigned char>* der);

/// What `read` says of `bytes`, which are converted before if they may be BER.
template <typename Read>
bool readAsDer(Reading& reading, bool mayBeBer, asn1::blob bytes, Read read) {
    if (!mayBeBer)
        return read(bytes);
    SecretBytes der;
    if (!berToDer(reading, bytes, &der.value))
        return false;
    if (asn1::blob(der) == bytes)
        return read(bytes); // The offsets are those of the input then.
    Reading::Derived const derived(reading, der, bytes.start, "DER made of the BER");
    return read(asn1::blob(der));
}

} // namespace detail
