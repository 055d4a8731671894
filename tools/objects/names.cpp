#include "objects/names.h"

#include "io/exit_status.h"

#include "sealkit/name_text.h"

namespace {

std::optional<std::vector<unsigned char>> nameOrComplaint(std::vector<unsigned char> name,
                                                          Refusal const& refusal) {
    if (!name.empty())
        return name;
    std::string facts;
    for (Fact const& fact : refusal.facts)
        facts += (facts.empty() ? "" : ": ") + fact.value;
    wrongUsage("the subject is malformed: " + facts);
    return std::nullopt;
}

} // namespace

std::optional<std::vector<unsigned char>> readSubject(std::string const& text) {
    Refusal refusal;
    return nameOrComplaint(parseNameText(text, &refusal), refusal);
}

std::optional<std::vector<unsigned char>> readSubjectTemplate(std::string const& text, asn1::blob from) {
    Refusal refusal;
    return nameOrComplaint(parseNameTemplate(text, from, &refusal), refusal);
}

std::optional<GeneralName> readAlternativeName(std::string const& text) {
    GeneralName name;
    if (parseGeneralNameText(text, &name))
        return name;
    wrongUsage("\"" + text +
               "\" is not an alternative name: write DNS:host, IP:address, email:mailbox, URI:address, "
               "dirName:NAME, RID:OID or otherName:OID;UTF8:text");
    return std::nullopt;
}
