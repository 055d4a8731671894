/// Kinds of messages, recognised by the first few elements of the DER.
///
/// | member                              | what it is                                                  |
/// | ----------------------------------- | ----------------------------------------------------------- |
/// | `MessageKind`                       | signed, enveloped, another content, or a time-stamp message |
/// | `getMessageKind`                    | the kind of a message                                       |
/// | `getContentType`                    | the content type of a ContentInfo (RFC 5652, section 3)     |
/// | `getContentTypeName`                | the usual name of a content type                            |
/// | `getDataOid`, `getTimeStampInfoOid` | the object identifiers of two content types                 |
///
/// Recognising a kind does not check the message: the readers of pkcs7.h, enveloped.h and timestamp.h do.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <string>

/// What a message is.
enum class MessageKind : unsigned {
    none,              ///< Not a message of a known kind.
    signedData,        ///< `PKCS7SignedData` reads it.
    envelopedData,     ///< `EnvelopedMessage` reads it.
    otherContent,      ///< A ContentInfo of a named type that the library does not read.
    timeStampRequest,  ///< `TimeStampRequest` reads it.
    timeStampResponse, ///< `TimeStampResponse` reads it.
};

/// Tells the kind of the message that `der` begins with.
SEALKIT_API MessageKind getMessageKind(asn1::blob der);

/// "signed message", "time-stamp request"; empty for `none` and `otherContent`.
SEALKIT_API char const* getMessageKindName(MessageKind kind);

/// The content type of a ContentInfo, a view of its content octets; empty if `der` does not begin like one.
SEALKIT_API asn1::blob getContentType(asn1::blob der);

/// "signed message", "data", "time-stamp"; `oidStr` of a content type that has no name here.
SEALKIT_API std::string getContentTypeName(asn1::blob oid);

/// The content octets of id-data (RFC 5652, section 4), the type of plain data.
SEALKIT_API asn1::blob getDataOid();
/// The content octets of id-ct-TSTInfo (RFC 3161, section 2.4.2), the type of what a time-stamp token states.
SEALKIT_API asn1::blob getTimeStampInfoOid();
