#include "x509/general_names.h"

#include "sealkit/der.h"

#include "asn1/read.h"

#include <ostream>

namespace detail {

namespace {

/// Rejects other tag classes: without its class, the tag of an INTEGER would be that of a host name.
bool isGeneralNameTag(unsigned elementTag) {
    unsigned primitive = elementTag & ~0x20u;
    return primitive >= tag::primitive(0) && primitive <= tag::primitive(8);
}

bool refuseGeneralName(Level const& level, char const* field) {
    if (atEnd(level) || level.tag == asn1::parser::errorTag)
        return refuseElement(level, tag::primitive(0), field);
    return refuseField(level.reading, field, RefusalId::malformedGeneralName, level.tlvStart,
                       {{"found", tagText(level.tag)}});
}

} // namespace

bool takeGeneralName(Level& level, GeneralName* name, char const* field) {
    if (!isGeneralNameTag(level.tag))
        return refuseGeneralName(level, field);
    name->parse(level.takeWhole());
    return level.tag != asn1::parser::errorTag || refuseElement(level, asn1::parser::endTag);
}

bool appendGeneralNames(Reading& reading, asn1::blob content, std::vector<GeneralName>* names) {
    Level elements(reading, content);
    if (names->capacity() == 0)
        names->reserve(countElements(elements));
    for (size_t number = 1; isGeneralNameTag(elements.tag); number++) {
        asn1::parser const element = elements;
        if (!elements.next())
            break;
        if (!setGeneralName(element.tag, element.value(), names->emplace_back())) {
            Reading::Step const step(reading, "name", number);
            return readGeneralName(reading, {element.tlvStart, element.valueEnd}, names->back());
        }
    }
    return atEnd(elements) || refuseGeneralName(elements, nullptr);
}

bool readGeneralNames(Reading& reading, asn1::blob value, std::vector<GeneralName>* names) {
    asn1::blob content;
    return readOnly(reading, value, tag::sequence, &content) && appendGeneralNames(reading, content, names);
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
