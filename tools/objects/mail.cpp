#include "objects/mail.h"

#include "io/exit_status.h"
#include "io/terminal.h"
#include "objects/message.h"

#include "sealkit/wipe.h"

#include <algorithm>

namespace {

void wipe(std::string& text) { secureMemset(text.data(), 0, text.size()); }

int write(OutputFile& output, std::string const& mail, Refusal const& refusal) {
    if (mail.empty())
        return badInput(complaintOf(refusal));
    asn1::blob const bytes = mail;
    return output.write({bytes.start, bytes.size()}) && output.commit() ? exitDone : exitBadInput;
}

} // namespace

void MailOptions::declare(CommandLine& commandLine) {
    commandLine.flag("--smime", smime, "write an S/MIME mail, as mail programs send it");
    commandLine.flag("--text", text, "FILE is plain text: make a MIME entity of it first");
    commandLine.texts("--header", headers, "a header of the mail: \"Subject: Hello\"; given once for each")
        .valueName("HEADER");
}

bool MailOptions::isUsable(ObjectOutput const& output) const {
    if (smime && output.der) {
        wrongUsage("a mail holds the message in base64: omit --der or --smime");
        return false;
    }
    if (!smime && !headers.empty()) {
        wrongUsage("--header is for mails: give --smime");
        return false;
    }
    std::vector<MailHeader> read;
    return readHeaders(&read);
}

bool MailOptions::readHeaders(std::vector<MailHeader>* to) const {
    for (std::string const& header : headers) {
        size_t const colon = header.find(':');
        if (colon == std::string::npos) {
            wrongUsage("\"" + header + "\" is not a header: write \"Name: value\"");
            return false;
        }
        size_t const value = header.find_first_not_of(" \t", colon + 1);
        to->push_back({header.substr(0, colon), value == std::string::npos ? "" : header.substr(value)});
    }
    return true;
}

std::optional<SecretBytes> MailOptions::prepare(asn1::blob contents, bool isClearSigned) const {
    if (text) {
        std::string entity = makeTextEntity(contents);
        SecretBytes prepared(entity.begin(), entity.end());
        wipe(entity);
        return prepared;
    }
    if (smime && !looksLikeMail(contents)) {
        badInput("the content of a mail begins with MIME headers and a blank line, such as \"Content-Type: "
                 "text/plain\": --text puts them before plain text");
        return std::nullopt;
    }
    if (!isClearSigned)
        return SecretBytes(contents.begin(), contents.end());
    std::vector<unsigned char> canonical = canonicalLineEnds(contents);
    SecretBytes prepared(canonical.begin(), canonical.end());
    secureMemset(canonical.data(), 0, canonical.size());
    return prepared;
}

int MailOptions::writeMail(OutputFile& output, asn1::blob message) const {
    std::vector<MailHeader> fields;
    readHeaders(&fields);
    Refusal refusal;
    return write(output, makeSmimeMail(message, fields, &refusal), refusal);
}

int MailOptions::writeMail(OutputFile& output, asn1::blob content, asn1::blob signature,
                           std::vector<HashID> const& hashes) const {
    std::vector<MailHeader> fields;
    readHeaders(&fields);
    Refusal refusal;
    std::string mail = makeClearSigned(content, signature, hashes, fields, &refusal);
    int const status = write(output, mail, refusal);
    wipe(mail);
    return status;
}

int takeText(std::string const& path, std::vector<unsigned char>& content) {
    std::string text;
    Refusal refusal;
    if (!readTextEntity(content, &text, &refusal))
        return badInput(path + ": the content is not plain text in MIME form: " + complaintOf(refusal));
    secureMemset(content.data(), 0, content.size());
    content.assign(text.begin(), text.end());
    wipe(text);
    return exitDone;
}
