#include "x509/general_names.h"

#include "sealkit/der.h"

#include "asn1/element.h"

#include <ostream>

namespace detail {

namespace {

/// Other tags would pass for a name once the class is dropped: an INTEGER for a host name.
bool isGeneralNameTag(unsigned elementTag) {
    unsigned primitive = elementTag & ~0x20u;
    return primitive >= tag::primitive(0) && primitive <= tag::primitive(8);
}

} // namespace

bool takeGeneralName(asn1::parser& level, GeneralName* name) {
    if (!isGeneralNameTag(level.tag))
        return false;
    name->parse(level.takeWhole());
    return level.tag != asn1::parser::errorTag;
}

bool appendGeneralNames(asn1::blob content, std::vector<GeneralName>* names) {
    asn1::parser elements(content);
    while (isGeneralNameTag(elements.tag))
        if (!names->emplace_back().parse(elements.takeWhole()))
            return false;
    return atEnd(elements);
}

bool readGeneralNames(asn1::blob value, std::vector<GeneralName>* names) {
    asn1::blob content;
    return readOnly(value, tag::sequence, &content) && appendGeneralNames(content, names);
}

bool isWritable(GeneralName const& name) {
    constexpr unsigned char constructed = 0x20;
    switch (name.type) {
    case GeneralName::ipAddress:
        return name.data.size() == 4 || name.data.size() == 16;
    case GeneralName::rfc822Name:
    case GeneralName::dnsName:
    case GeneralName::uri:
    case GeneralName::registeredId:
    case GeneralName::otherName | constructed:
    case GeneralName::x400Address | constructed:
    case GeneralName::directoryName | constructed:
    case GeneralName::ediPartyName | constructed:
        return true;
    default:
        return false;
    }
}

std::vector<unsigned char> encodeGeneralNames(std::vector<GeneralName> const& names) {
    if (names.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    for (GeneralName const& name : names)
        encoder.addEncoded(name.serialize());
    return encoder.end().take();
}

void dumpGeneralName(std::ostream& out, char const* indent, GeneralName const& name) {
    out << indent << name.typeStr() << ": " << name.dataStr() << '\n';
}

void dumpGeneralNames(std::ostream& out, char const* title, char const* indent,
                      std::vector<GeneralName> const& names) {
    if (names.empty())
        return;
    out << title << '\n';
    for (GeneralName const& name : names)
        dumpGeneralName(out, indent, name);
}

} // namespace detail
