#include "objects/names.h"

#include "io/exit_status.h"

#include "sealkit/name_text.h"

std::optional<std::vector<unsigned char>> readSubject(std::string const& text) {
    Refusal refusal;
    std::vector<unsigned char> name = parseNameText(text, &refusal);
    if (!name.empty())
        return name;
    std::string facts;
    for (Fact const& fact : refusal.facts)
        facts += (facts.empty() ? "" : ": ") + fact.value;
    wrongUsage("the subject is malformed: " + facts);
    return std::nullopt;
}

std::optional<GeneralName> readAlternativeName(std::string const& text) {
    GeneralName name;
    if (parseGeneralNameText(text, &name))
        return name;
    wrongUsage("\"" + text +
               "\" is not an alternative name: write DNS:host, IP:address, email:mailbox or URI:address");
    return std::nullopt;
}
