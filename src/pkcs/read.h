/// The readers of messages, with reasons for refusals. The public functions of the same forms call them. A
/// signer holds counter-signatures, which may be messages with signers of their own, so both readers limit
/// the depth.
#pragma once

#include "asn1/element.h"
#include "sealkit/message.h"
#include "sealkit/pkcs7.h"
#include "sealkit/timestamp.h"

namespace detail {

/// The maximum depth of counter-signatures and of nested bags. Each level costs a few stack frames and a copy
/// of its bytes.
inline constexpr unsigned maxNesting = 16;

/// Reads a ContentInfo of SignedData, or a bare SignedData, nested `depth` deep. The object must be new.
bool read(Reading& reading, asn1::blob message, PKCS7SignedData& to, unsigned depth = 0);
/// Reads a bare SignedData.
bool readSignedData(Reading& reading, asn1::blob signedData, PKCS7SignedData& to, unsigned depth = 0);
/// Reads a SignerInfo. The object must be new.
bool read(Reading& reading, asn1::blob signerInfo, PKCS7SignerInfo& to, unsigned depth = 0);

/// Reads a ContentInfo of EnvelopedData in its stated form.
bool read(Reading& reading, asn1::blob message, PKCS7EnvelopedData& to);
/// Reads a bare EnvelopedData in its stated form.
bool readEnvelopedData(Reading& reading, asn1::blob envelopedData, PKCS7EnvelopedData& to);
bool read(Reading& reading, asn1::blob element, PKCS7KeyTransRecipientInfo& to);
/// Reads the content of IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber INTEGER }.
bool readIssuerAndSerial(Reading& reading, asn1::blob content, PKCS7KeyTransRecipientInfo& to);
void saveIssuerAndSerial(PKCS7KeyTransRecipientInfo const& from, DerEncoder& to);
bool read(Reading& reading, asn1::blob element, PKCS7EncryptedContentInfo& to);
bool read(Reading& reading, asn1::blob element, PKCS7EncryptedData& to);

bool read(Reading& reading, asn1::blob request, TimeStampRequest& to);
bool read(Reading& reading, asn1::blob response, TimeStampResponse& to);
bool read(Reading& reading, asn1::blob tstInfo, TimeStampInfo& to);

/// Reads the hash of an AlgorithmIdentifier, a whole element. The parameters must be NULL; under the standard
/// rules they may also be absent.
bool readDigestAlgorithm(Reading& reading, asn1::blob element, HashID* hash);

/// Writes the digest algorithm of a signer.
void saveDigestAlgorithm(PKCS7SignerInfo const& signer, DerEncoder& to);

/// Reads the content of an AlgorithmIdentifier like `parse`, but keeps absent parameters absent when it is
/// written again.
bool readPlainAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to);

/// Whether `der` may be a message of this kind. Refuses an object of another known kind with its name, if a
/// reason is wanted. Other faults are left to the reader of the kind.
bool checkKind(Reading& reading, asn1::blob der, MessageKind expected);

/// Refuses the current element, where an OCTET STRING is required. Returns false.
bool refuseString(Level const& level, unsigned expected, char const* field = nullptr);

/// `PKCS7EnvelopedData::decrypt` for the recipient with the certificate `cert`.
bool decryptEnvelopedData(Reading& reading, PKCS7EnvelopedData const& message, X509Certificate const& cert,
                          PrivateKey const& key, std::vector<unsigned char>& out);

/// Whether the recipient is that of the certificate.
bool isRecipient(PKCS7KeyTransRecipientInfo const& recipient, X509Certificate const& cert);

} // namespace detail
