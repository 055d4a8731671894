/// Reads cryptographic messages from files, and adds advice to refusals of them.
#pragma once

#include "io/complaint.h"

#include "sealkit/enveloped.h"
#include "sealkit/message.h"
#include "sealkit/pkcs7.h"
#include "sealkit/refusal.h"
#include "sealkit/timestamp.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The DER of one message.
class MessageFile {
public:
    /// Reads PEM (the first block that has the label of a message or holds one), DER, BER or S/MIME mail.
    /// Complains and returns nothing for any other input.
    static std::optional<MessageFile> read(std::string const& path);

    /// The DER, converted from BER if needed. The view is valid while this object lives.
    asn1::blob der() const { return decoded.empty() ? asn1::blob(text) : asn1::blob(decoded); }

    /// The signed entity of clear-signed mail. Null for all other messages.
    std::vector<unsigned char> const* content() const { return isClearSigned ? &signedPart : nullptr; }

private:
    bool takeMail(std::string const& path);

    std::string text;
    std::vector<unsigned char> decoded; ///< From PEM, mail or BER.
    std::vector<unsigned char> signedPart;
    bool isClearSigned = false;
};

/// The label of messages that the program writes. OpenSSL, GnuTLS and others read it.
inline constexpr char messageLabel[] = "PKCS7";

/// The verb that reads S/MIME mail, if the text is one; empty otherwise.
std::string mailForm(std::string_view text);

/// The refusal of a message in one line, with advice.
Complaint complaintOf(Refusal const& refusal);

/// The reason why bytes that look like BER are refused; empty otherwise.
std::string berComplaint(asn1::blob bytes);

/// Parses a message in all forms that the library reads. Returns an empty complaint on success.
template <typename Message>
Complaint parseMessage(Message& to, asn1::blob der) {
    Refusal refusal;
    bool isGood;
    if constexpr (requires { to.parse(der, &refusal, FormRules::standard); })
        isGood = to.parse(der, &refusal, FormRules::standard);
    else
        isGood = to.parse(der, &refusal);
    return isGood ? Complaint() : complaintOf(refusal);
}

/// The name of a signer's digest algorithm, or its dotted form if unknown.
std::string digestName(PKCS7SignerInfo const& signer);

/// "2026-11-21 08:30:00.125 UTC", the time that a token states.
std::string timeText(TimeStampInfo const& info);
/// The same as "2026-11-21T08:30:00.125Z".
std::string isoTime(TimeStampInfo const& info);
/// "1 s 500 ms"; empty if the token does not state its accuracy.
std::string accuracyText(TimeStampInfo const& info);

/// A name such as "granted with changes", or the number of an unknown status.
std::string statusName(TimeStampStatus const& status);
/// The texts and failures that a TSA returned; printable and often empty.
std::string statusDetails(TimeStampStatus const& status);
