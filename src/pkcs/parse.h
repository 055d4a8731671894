/// What the parsers of messages share. Signers hold counter-signatures, and those may be whole messages with signers:
/// they are parsed with a depth.
#pragma once

#include "sealkit/pkcs7.h"

namespace detail {

/// How deep counter-signatures, and bags in bags, are followed. Each level costs a few frames of the stack and a copy of its bytes.
inline constexpr unsigned maxNesting = 16;

/// `parse` of the two classes for an object that is nested `depth` deep. The object must be new.
bool parseSignedMessage(PKCS7SignedData& to, asn1::blob message, unsigned depth);
bool parseSigner(PKCS7SignerInfo& to, asn1::blob signerInfo, unsigned depth);

/// Reads the content of an AlgorithmIdentifier as `parse` does, but for parameters that are absent: those stay so,
/// and are not written.
bool parseAlgorithm(AlgorithmIdentifier& to, asn1::blob content);

/// Whether a recipient is the holder of `cert`.
bool isRecipient(PKCS7KeyTransRecipientInfo const& recipient, X509Certificate const& cert);

} // namespace detail
