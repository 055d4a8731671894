/// Cryptographic messages in files: taken out of what people have, told apart, and those that the library refuses
/// explained.
#pragma once

#include "sealkit/pkcs7.h"
#include "sealkit/timestamp.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The DER of one message.
class MessageFile {
public:
    /// Reads PEM (the first block that is labelled as a message or holds one), or DER. Complains and gives nothing for what is neither;
    /// of an e-mail it says how to take the message out.
    static std::optional<MessageFile> read(std::string const& path);

    /// Only a view of this object.
    asn1::blob der() const { return decoded.empty() ? asn1::blob(text) : asn1::blob(decoded); }

private:
    std::string text;
    std::vector<unsigned char> decoded; ///< Of PEM.
};

/// The label under which messages are written: both of OpenSSL's programs, GnuTLS and others read it.
inline constexpr char messageLabel[] = "PKCS7";

/// Whether it is a label of messages.
bool isMessageLabel(std::string_view label);

enum class MessageKind { none, signedData, envelopedData, otherContent, timeStampRequest, timeStampResponse };

/// What the DER looks like, from its first few elements.
MessageKind kindOfMessage(asn1::blob der);

/// The content type of a ContentInfo; empty when it is none.
asn1::blob contentTypeOf(asn1::blob contentInfo);

/// What people call a content type: "signed message", "data", or the dotted form.
std::string contentTypeName(asn1::blob oid);

/// The name of a digest or signature algorithm, read here or not; else the dotted form.
std::string algorithmName(asn1::blob oid);

/// How e-mails are dealt with, of a text that begins like one; empty for any other.
std::string mailForm(std::string_view text);

/// That an encoding has indefinite lengths, and what turns it into DER; empty for any other.
std::string berForm(asn1::blob bytes);

/// Parses the message without a word of the library's. Empty when it is good, otherwise why the library does not read
/// it: which of the forms that are refused it met.
std::string parseMessage(PKCS7SignedData& to, asn1::blob der);
std::string parseMessage(PKCS7EnvelopedData& to, asn1::blob der);
std::string parseMessage(TimeStampRequest& to, asn1::blob der);
std::string parseMessage(TimeStampResponse& to, asn1::blob der);

/// What a time-stamp token states (TSTInfo, RFC 3161, section 2.4.2).
struct StampedInfo {
    asn1::blob policy;        ///< The object identifier's content octets. Views into what was parsed.
    asn1::blob hashOid;       ///< Of the digest that was stamped.
    asn1::blob hashedMessage; ///< That digest.
    asn1::blob serialNumber;  ///< Content octets of the INTEGER.
    TimePoint time;           ///< In whole seconds.
    std::string timeText;     ///< With the fraction, where there is one.
    std::string accuracy;     ///< "1 s 500 ms"; empty when nothing is said of it.
    asn1::blob nonce;         ///< Content octets of the INTEGER; empty when absent.
    asn1::blob authority;     ///< A GeneralName, the whole encoding; empty when absent.
};

/// Reads what a token states. Nothing when the message is none or its content is malformed. The result views the
/// message.
std::optional<StampedInfo> readStamp(PKCS7SignedData const& token);

/// What a response says beside its status.
struct StatusText {
    std::string name;    ///< "granted", "rejection", ... or the number.
    std::string details; ///< The text and the failures that are named; printable and often empty.
};

StatusText describeStatus(asn1::blob response);

/// The values of one of the signer's signed attributes, the content of their SET; nothing when there is no such
/// attribute. A view of the signer.
std::optional<asn1::blob> findSignedAttribute(PKCS7SignerInfo const& signer, std::string_view dotted);
