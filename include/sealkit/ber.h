/// Conversion from BER to DER (ITU-T X.690), for objects from programs that write BER.
///
/// | member           | what it is                                        |
/// | ---------------- | ------------------------------------------------- |
/// | `asn1::berToDer` | rewrites the forms of BER that the readers reject |
///
/// The readers of messages, certificates and CRLs under the standard rules (`FormRules`) convert BER
/// themselves, and so does the reader of PKCS#12 files on request.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <vector>

namespace asn1 {

/// Rewrites one element and everything in it: indefinite lengths become definite, and segmented strings
/// (OCTET STRING, BIT STRING, character strings, times, and the encryptedContent of an EncryptedContentInfo)
/// become primitive. An element that has neither is copied byte for byte, so that signatures over it stay
/// valid: its lengths may be longer than DER allows, its sets unsorted, and its values not in DER's form. DER
/// is copied unchanged.
///
/// Returns false and leaves `*der` unchanged if `ber` is malformed, has trailing bytes, or nests elements
/// more than 200 levels deep. `refusal` may be null. Time and memory are in proportion to the input. The
/// result may hold the secrets of the input: the caller wipes it.
SEALKIT_API bool berToDer(blob ber, std::vector<unsigned char>* der, Refusal* refusal);

} // namespace asn1
