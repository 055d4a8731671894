#include "sealkit/smime.h"

#include "sealkit/message.h"

#include "refusal.h"
#include "targets.h"

#include <string>

namespace {

/// A mail that was made contains its inputs.
void checkMade(std::string const& mail, SmimeMail const& from) {
    if (mail.empty())
        return;
    SmimeMail again;
    SEALKIT_ASSERT(looksLikeMail(mail) && again.parse(mail, nullptr));
    SEALKIT_ASSERT(again.message == from.message && again.content == from.content);
    SEALKIT_ASSERT(again.isClearSigned == from.isClearSigned);
}

} // namespace

/// The input is read as a mail, as a text and as an entity.
void fuzz::smime(asn1::blob input) {
    SmimeMail mail;
    bool const isMail = mail.parse(input, nullptr);
    checkRefusal<SmimeMail>(input, isMail);
    SEALKIT_ASSERT(mail.message.size() <= input.size());
    if (isMail) {
        HashID const hashes[] = {HashID::SHA256, HashID::SHA512, HashID::SHA256};
        SEALKIT_ASSERT(mail.content == canonicalLineEnds(mail.content));
        if (mail.isClearSigned)
            checkMade(makeClearSigned(mail.content, mail.message, hashes, {}), mail);
        else if (getMessageKind(mail.message) != MessageKind::none)
            checkMade(makeSmimeMail(mail.message, {}), mail);
    }

    // Text comes back with LF line ends.
    std::string lines, text;
    for (size_t i = 0; i < input.size(); ++i)
        if (input[i] != '\r')
            lines.push_back(static_cast<char>(input[i]));
    SEALKIT_ASSERT(readTextEntity(makeTextEntity(lines), &text, nullptr) && text == lines);
    bool const isText = readTextEntity(input, &text, nullptr);
    checkRefusal(input, isText, [input](Refusal* refusal) {
        std::string again;
        return readTextEntity(input, &again, refusal);
    });
    SEALKIT_ASSERT(text.size() <= input.size());

    std::string subject(reinterpret_cast<char const*>(input.start), input.size());
    MailHeader const header[] = {{"Subject", subject}};
    if (std::string const made = makeClearSigned("text", "signature", {}, header); !made.empty())
        SEALKIT_ASSERT(mail.parse(made, nullptr) &&
                       made.substr(0, made.find("MIME-Version")).find("\r\n\r\n") == made.npos);
}
