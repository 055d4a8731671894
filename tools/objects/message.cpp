#include "objects/message.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/key_file.h"

#include "sealkit/ber.h"
#include "sealkit/input_kind.h"
#include "sealkit/oid_names.h"
#include "sealkit/pem.h"
#include "sealkit/smime.h"

#include <algorithm>

namespace {

/// The verb for a message of another kind than the one that a verb refused, by the name of that kind.
char const* verbFor(std::string_view kind) {
    struct Row {
        MessageKind kind;
        char const* advice;
    };
    static constexpr Row rows[] = {
        {MessageKind::signedData, "\"sealkit cms check\" checks it."},
        {MessageKind::envelopedData, "\"sealkit cms decrypt\" opens it."},
        {MessageKind::timeStampRequest, "\"sealkit ts reply\" answers it."},
        {MessageKind::timeStampResponse, "\"sealkit ts check\" checks it."},
    };
    auto const found = std::ranges::find_if(
        rows, [kind](Row const& row) { return kind.starts_with(getMessageKindName(row.kind)); });
    return found == std::end(rows) ? "" : found->advice;
}

/// Advice on a refusal; empty if none is known.
char const* nextStepFor(Refusal const& refusal) {
    switch (refusal.id) {
    case RefusalId::unsupportedContentType:
    case RefusalId::otherKind:
        for (Fact const& fact : refusal.facts)
            if (fact.label == "found")
                return verbFor(fact.value);
        return "";
    case RefusalId::indefiniteLength:
    case RefusalId::segmentedString:
        return "Streaming programs write BER; \"openssl cms -cmsout -inform DER -in FILE -outform DER -out "
               "COPY\" "
               "(-inform PEM for PEM) writes it in DER.";
    case RefusalId::digestParameters:
        return "\"openssl smime\" writes them, \"openssl cms\" does not.";
    default:
        return "";
    }
}

/// Whether a block of the text has the label of a message.
bool hasMessage(std::string_view text) {
    while (auto const block = takeBlock(text))
        if (isMessageLabel(block->label))
            return true;
    return false;
}

/// Converts BER to DER. Other bytes are left to the readers, which report what is wrong.
void convertBer(asn1::blob bytes, std::vector<unsigned char>* to) {
    if (findInputKind(bytes) == InputKind::ber)
        asn1::berToDer(bytes, to, nullptr);
}

} // namespace

std::string mailForm(std::string_view text) {
    SmimeMail mail;
    return looksLikeMail(text) && mail.parse(text, nullptr)
               ? "an S/MIME mail: \"sealkit cms check\" and \"sealkit cms decrypt\" read it"
               : "";
}

Complaint complaintOf(Refusal const& refusal) {
    if (refusal.id == RefusalId::unexpectedElement && refusal.offset == 0)
        return {"neither PEM nor DER of a message", refusal};
    std::string const advice = nextStepFor(refusal);
    return refusal + (advice.empty() ? "" : " " + advice);
}

std::string berComplaint(asn1::blob bytes) {
    PKCS7SignedData message;
    Refusal refusal;
    message.parse(bytes, &refusal);
    return refusal.id == RefusalId::indefiniteLength ? complaintOf(refusal).text : "";
}

std::optional<MessageFile> MessageFile::read(std::string const& path) {
    auto const complain = [&](std::string const& what) {
        badInput(path + ": " + what);
        return std::nullopt;
    };
    auto contents = readInput(path);
    if (!contents)
        return std::nullopt;
    MessageFile file;
    file.text = std::move(*contents);
    // Checked before PEM, because a mail may quote PEM that is not its content.
    if (looksLikeMail(file.text))
        return file.takeMail(path) ? std::optional(std::move(file)) : std::nullopt;
    std::string_view rest = file.text;
    std::string other;
    while (auto const block = takeBlock(rest)) {
        bool const isDecoded = pemDecode(block->body, &file.decoded) && !file.decoded.empty();
        if (isMessageLabel(block->label) && !isDecoded)
            return complain("block \"" + std::string(block->label) + "\" is malformed");
        // Time-stamps have no usual label.
        if (isDecoded)
            convertBer(file.decoded, &file.decoded);
        if (isMessageLabel(block->label) ||
            (isDecoded && getMessageKind(file.decoded) != MessageKind::none)) {
            if (hasMessage(rest))
                note(path + ": holds several messages; only the first is used");
            file.text.clear();
            return file;
        }
        other = block->label;
    }
    if (!other.empty())
        return complain("holds \"" + other + "\" instead of a message");
    if (file.text.empty())
        return complain("is empty");
    convertBer(file.text, &file.decoded);
    return file;
}

bool MessageFile::takeMail(std::string const& path) {
    SmimeMail mail;
    Refusal refusal;
    if (!mail.parse(text, &refusal)) {
        badInput(path + ": " + complaintOf(refusal));
        return false;
    }
    isClearSigned = mail.isClearSigned;
    signedPart = std::move(mail.content);
    decoded = std::move(mail.message);
    convertBer(decoded, &decoded);
    text.clear();
    return true;
}

std::string digestName(PKCS7SignerInfo const& signer) {
    bool const isUnknown = signer.digestAlgorithm == HashID::none && signer.form() != nullptr;
    return isUnknown ? oidName(signer.form()->digestAlgorithm) : getHashName(signer.digestAlgorithm);
}

std::string isoTime(TimeStampInfo const& info) {
    std::string text = isoTime(info.time);
    constexpr size_t maxDigits = 9;
    if (!info.fraction.empty())
        text.insert(text.size() - 1, "." + info.fraction.substr(0, maxDigits));
    return text;
}

std::string timeText(TimeStampInfo const& info) { return showTime(isoTime(info)); }

std::string accuracyText(TimeStampInfo const& info) {
    std::string text;
    auto const add = [&text](std::optional<std::uint32_t> const& part, char const* unit) {
        if (part)
            text += (text.empty() ? "" : " ") + std::to_string(*part) + unit;
    };
    if (info.accuracy) {
        add(info.accuracy->seconds, " s");
        add(info.accuracy->milliseconds, " ms");
        add(info.accuracy->microseconds, " us");
    }
    return text;
}

std::string statusName(TimeStampStatus const& status) {
    if (status.text() == nullptr)
        return "status " + std::to_string(status.status);
    std::string name = status.text()->name;
    std::ranges::replace(name, '-', ' ');
    return name;
}

std::string statusDetails(TimeStampStatus const& status) {
    std::string details;
    auto const add = [&details](std::string const& detail) {
        details += (details.empty() ? "" : "; ") + detail;
    };
    for (std::string const& text : status.texts)
        add(terminal::printable(text));
    for (TimeStampFailure const failure : status.failures)
        add(std::ranges::find(timeStampFailures(), failure, &ReasonText<TimeStampFailure>::id)->sentence);
    return details;
}
