/// From BER to DER (ITU-T X.690), for objects of programs that write the former.
///
/// | member            | what it is                                              |
/// | ----------------- | ------------------------------------------------------- |
/// | `asn1::berToDer`  | rewrites what DER forbids and the readers do not take   |
///
/// The readers of messages, certificates and CRLs for the standard rules (`FormRules`), and that of PKCS#12
/// files on request, convert BER themselves.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <vector>

namespace asn1 {

/// Rewrites one element with all within it: indefinite lengths become definite, and strings in pieces (OCTET
/// STRING, BIT STRING, character strings, times, and the encryptedContent of an EncryptedContentInfo) become
/// whole. An element without either is copied byte for byte, so that signatures over it stay valid: its
/// lengths may be longer than DER allows, its sets unsorted, and its values not in DER's form. What is DER
/// already comes back as it is.
///
/// Returns false and leaves `*der` unchanged if `ber` is malformed, has trailing bytes, or has elements in
/// elements more than 200 deep. `refusal` may be null. Time and memory are in proportion to the input. The
/// result may hold the secrets of the input: the caller wipes it.
SEALKIT_API bool berToDer(blob ber, std::vector<unsigned char>* der, Refusal* refusal);

} // namespace asn1
