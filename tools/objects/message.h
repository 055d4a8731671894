/// Cryptographic messages in files: taken out of what people have, and refusals of them with advice.
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
    /// Reads PEM (the first block that is labelled as a message or holds one), DER, or S/MIME mail. Complains
    /// and gives nothing for anything else.
    static std::optional<MessageFile> read(std::string const& path);

    /// BER is converted. Only a view of this object.
    asn1::blob der() const { return decoded.empty() ? asn1::blob(text) : asn1::blob(decoded); }

    /// What stands beside the signature of clear-signed mail, as it was signed. Null for all other messages.
    std::vector<unsigned char> const* content() const { return isClearSigned ? &signedPart : nullptr; }

private:
    bool takeMail(std::string const& path);

    std::string text;
    std::vector<unsigned char> decoded; ///< Of PEM, of mail, or from BER.
    std::vector<unsigned char> signedPart;
    bool isClearSigned = false;
};

/// The label under which messages are written: both of OpenSSL's programs, GnuTLS and others read it.
inline constexpr char messageLabel[] = "PKCS7";

/// What reads an S/MIME mail, of a text that is one; empty for any other.
std::string mailForm(std::string_view text);

/// The refusal of a message in a line, with what can be done about it.
Complaint complaintOf(Refusal const& refusal);

/// Why bytes are refused that may be a message in BER; empty for any other.
std::string berComplaint(asn1::blob bytes);

/// Parses a message in all the forms that the library reads. Empty when it is good, otherwise the complaint.
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

/// The name of a signer's digest algorithm, known or not.
std::string digestName(PKCS7SignerInfo const& signer);

/// "2026-11-21 08:30:00.125 UTC", the time that a token states.
std::string timeText(TimeStampInfo const& info);
/// The same as "2026-11-21T08:30:00.125Z".
std::string isoTime(TimeStampInfo const& info);
/// "1 s 500 ms"; empty when the token does not state its accuracy.
std::string accuracyText(TimeStampInfo const& info);

/// "granted with changes", or the number of an unknown status.
std::string statusName(TimeStampStatus const& status);
/// The authority's texts and the failures that it names; printable and often empty.
std::string statusDetails(TimeStampStatus const& status);
