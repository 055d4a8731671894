/// Kinds of messages: what a DER encoding holds, told by its first few elements.
///
/// | member                | what it is                                                     |
/// | --------------------- | -------------------------------------------------------------- |
/// | `MessageKind`         | signed, enveloped, of another content, or of time-stamping      |
/// | `getMessageKind`      | the kind of a message                                           |
/// | `getContentType`      | the content type of a ContentInfo (RFC 5652, section 3)         |
/// | `getContentTypeName`  | what people call a content type                                 |
/// | `getDataOid`, `getTimeStampInfoOid` | the object identifiers of two content types      |
///
/// Telling the kind does not check the message: the readers of pkcs7.h and timestamp.h do.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <string>

/// What a message is.
enum class MessageKind : unsigned {
    none,              ///< Not a message of a known kind.
    signedData,        ///< `PKCS7SignedData` reads it.
    envelopedData,     ///< `EnvelopedMessage` reads it.
    otherContent,      ///< A ContentInfo of a type that has a name and no reader.
    timeStampRequest,  ///< `TimeStampRequest` reads it.
    timeStampResponse, ///< `TimeStampResponse` reads it.
};

/// Tells the kind of the message that `der` begins with.
SEALKIT_API MessageKind getMessageKind(asn1::blob der);

/// "signed message", "time-stamp request"; empty for `none` and `otherContent`.
SEALKIT_API char const* getMessageKindName(MessageKind kind);

/// The content type of a ContentInfo, a view of its content octets; empty if `der` does not begin like one.
SEALKIT_API asn1::blob getContentType(asn1::blob der);

/// "signed message", "data", "time-stamp", or `oidStr` of a content type without a name here.
SEALKIT_API std::string getContentTypeName(asn1::blob oid);

/// The content octets of id-data (RFC 5652, section 4), the type of plain data.
SEALKIT_API asn1::blob getDataOid();
/// The content octets of id-ct-TSTInfo (RFC 3161, section 2.4.2), the type of what a time-stamp token states.
SEALKIT_API asn1::blob getTimeStampInfoOid();
