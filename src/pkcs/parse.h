/// Parsing with a depth: signers hold counter-signatures, and those may be whole messages with signers.
#pragma once

#include "sealkit/pkcs7.h"

namespace detail {

/// How deep counter-signatures are followed. Each level costs a few frames of the stack and a copy of its bytes.
inline constexpr unsigned maxNesting = 16;

/// `parse` of the two classes for an object that is nested `depth` deep. The object must be new.
bool parseSignedMessage(PKCS7SignedData& to, asn1::blob message, unsigned depth);
bool parseSigner(PKCS7SignerInfo& to, asn1::blob signerInfo, unsigned depth);

} // namespace detail
