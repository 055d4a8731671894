/// The readers of messages, which tell why they refuse. The public functions of the same forms are these
/// readers.
///
/// Signers hold counter-signatures, and those may be whole messages with signers: both are read with a depth.
#pragma once

#include "asn1/element.h"
#include "sealkit/message.h"
#include "sealkit/pkcs7.h"
#include "sealkit/timestamp.h"

namespace detail {

/// How deep counter-signatures, and bags in bags, are followed. Each level costs a few frames of the stack
/// and a copy of its bytes.
inline constexpr unsigned maxNesting = 16;

/// A ContentInfo of SignedData, or a bare SignedData, nested `depth` deep. The object must be new.
bool read(Reading& reading, asn1::blob message, PKCS7SignedData& to, unsigned depth = 0);
/// A bare SignedData.
bool readSignedData(Reading& reading, asn1::blob signedData, PKCS7SignedData& to, unsigned depth = 0);
/// A SignerInfo. The object must be new.
bool read(Reading& reading, asn1::blob signerInfo, PKCS7SignerInfo& to, unsigned depth = 0);

/// A ContentInfo of EnvelopedData in its stated form.
bool read(Reading& reading, asn1::blob message, PKCS7EnvelopedData& to);
/// A bare EnvelopedData in its stated form.
bool readEnvelopedData(Reading& reading, asn1::blob envelopedData, PKCS7EnvelopedData& to);
bool read(Reading& reading, asn1::blob element, PKCS7KeyTransRecipientInfo& to);
/// The content of IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber INTEGER }.
bool readIssuerAndSerial(Reading& reading, asn1::blob content, PKCS7KeyTransRecipientInfo& to);
void saveIssuerAndSerial(PKCS7KeyTransRecipientInfo const& from, DerEncoder& to);
bool read(Reading& reading, asn1::blob element, PKCS7EncryptedContentInfo& to);
bool read(Reading& reading, asn1::blob element, PKCS7EncryptedData& to);

bool read(Reading& reading, asn1::blob request, TimeStampRequest& to);
bool read(Reading& reading, asn1::blob response, TimeStampResponse& to);
bool read(Reading& reading, asn1::blob tstInfo, TimeStampInfo& to);

/// The hash of an AlgorithmIdentifier, a whole element with NULL parameters. For the standard rules they may
/// be absent.
bool readDigestAlgorithm(Reading& reading, asn1::blob element, HashID* hash);

/// Writes the digest algorithm of a signer.
void saveDigestAlgorithm(PKCS7SignerInfo const& signer, DerEncoder& to);

/// Reads the content of an AlgorithmIdentifier as `parse` does, but for parameters that are absent: those
/// stay so, and are not written.
bool readPlainAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to);

/// Whether `der` may be a message of this kind. Refuses an object of another kind, which it names, where a
/// reason is asked for; other faults are left to the reader of the kind.
bool checkKind(Reading& reading, asn1::blob der, MessageKind expected);

/// Refuses the element that the level stands on, in place of which an OCTET STRING is required. Always false.
bool refuseString(Level const& level, unsigned expected, char const* field = nullptr);

/// `PKCS7EnvelopedData::decrypt` for the holder of `cert`.
bool decryptEnvelopedData(Reading& reading, PKCS7EnvelopedData const& message, X509Certificate const& cert,
                          PrivateKey const& key, std::vector<unsigned char>& out);

/// Whether a recipient is the holder of `cert`.
bool isRecipient(PKCS7KeyTransRecipientInfo const& recipient, X509Certificate const& cert);

} // namespace detail
