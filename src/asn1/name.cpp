#include "sealkit/name.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "asn1/tags.h"
#include "base/view.h"
#include "sealkit/asn1.h"
#include "sealkit/der.h"
#include "sealkit/oid.h"

#include <iterator>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

struct Attribute {
    asn1::blob oid;
    unsigned stringTag; ///< The type for writing: X.520 requires PrintableString for a country.
    char const* label;
    std::string DistinguishedName::*member;
};

constexpr Attribute attributes[] = {
    {oid::countryName, tag::printableString, "C=", &DistinguishedName::country},
    {oid::stateOrProvinceName, tag::utf8String, "S=", &DistinguishedName::state},
    {oid::localityName, tag::utf8String, "L=", &DistinguishedName::locality},
    {oid::organizationName, tag::utf8String, "O=", &DistinguishedName::organization},
    {oid::organizationalUnitName, tag::utf8String, "OU=", &DistinguishedName::organizationalUnit},
    {oid::commonName, tag::utf8String, "CN=", &DistinguishedName::commonName},
    {oid::serialNumber, tag::utf8String, "SerialNumber=", &DistinguishedName::serialNumber},
};

/// The types of values that are read. As documented, tag 16 is included and NumericString (18) is not.
bool isStringTag(unsigned valueTag) {
    constexpr unsigned primitiveSequence = 16;
    return valueTag == tag::utf8String || valueTag == primitiveSequence || valueTag == tag::printableString ||
           valueTag == tag::t61String || valueTag == tag::ia5String || valueTag == tag::universalString ||
           valueTag == tag::bmpString;
}

std::string toString(asn1::blob bytes) { return std::string(detail::viewOf(bytes)); }

/// The member for attributes of that type; null for an unknown type.
std::string* findMember(DistinguishedName& name, asn1::blob type) {
    if (type.empty())
        return nullptr;
    // The last octet distinguishes the rows.
    for (Attribute const& row : attributes)
        if (row.oid.finish[-1] == type.finish[-1] && row.oid == type)
            return &(name.*row.member);
    return nullptr;
}

} // namespace

void detail::clear(DistinguishedName& name) {
    name.other.clear();
    for (Attribute const& row : attributes)
        (name.*row.member).clear();
}

/// Name ::= SEQUENCE OF SET OF SEQUENCE { type OBJECT IDENTIFIER, value ANY }
bool detail::readName(Reading& reading, asn1::blob name, DistinguishedName& to) {
    to.other.clear();
    Level sets(reading, name);
    if (!enter(sets, tag::sequence))
        return false;
    for (size_t number = 1; sets.tag == tag::set; number++) {
        Reading::Step const step(reading, "attribute", number);
        asn1::blob const set = sets.take();
        Level attribute(reading, set);
        asn1::blob type;
        if (!enter(attribute, tag::sequence) || !take(attribute, tag::oid, &type, "type"))
            return false;
        if (!isStringTag(attribute.tag))
            continue;
        if (std::string* const member = findMember(to, type)) {
            *member = toString(attribute.value());
        } else {
            if (reading.isStated())
                reading.note("unknown name attr: " + oidStr(type));
            to.other.emplace_back(set.begin(), set.end());
        }
    }
    return true;
}

bool DistinguishedName::parse(asn1::blob name) {
    detail::Reading reading(name);
    return detail::readName(reading, name, *this);
}

bool DistinguishedName::parse(asn1::blob name, Refusal* refusal) {
    detail::Reading reading(name, refusal);
    return detail::readName(reading, name, *this);
}

std::vector<unsigned char> DistinguishedName::serialize() const {
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    for (Attribute const& row : attributes) {
        std::string const& value = this->*row.member;
        if (!value.empty())
            encoder.begin(tag::set)
                .begin(tag::sequence)
                .addOid(row.oid)
                .add(row.stringTag, value)
                .end()
                .end();
    }
    for (std::vector<unsigned char> const& set : other)
        encoder.add(tag::set, set);
    encoder.end();
    return encoder.take();
}

bool DistinguishedName::roundTrips(asn1::blob name) {
    DistinguishedName read;
    return read.parse(name, nullptr) && asn1::blob(read.serialize()) == name;
}

std::string DistinguishedName::str() const {
    std::string text;
    for (Attribute const& row : attributes) {
        std::string const& value = this->*row.member;
        if (value.empty())
            continue;
        if (!text.empty())
            text += ", ";
        text += row.label + value;
    }
    return text;
}

bool DistinguishedName::empty() const {
    for (Attribute const& row : attributes)
        if (!(this->*row.member).empty())
            return false;
    return true;
}

bool DistinguishedName::setAttr(asn1::blob type, std::string const& value) {
    std::string* const member = findMember(*this, type);
    if (member != nullptr)
        *member = value;
    return member != nullptr;
}

bool operator==(DistinguishedName const& a, DistinguishedName const& b) {
    for (Attribute const& row : attributes)
        if (a.*row.member != b.*row.member)
            return false;
    return true;
}

bool detail::setGeneralName(unsigned tag, asn1::blob content, GeneralName& to) {
    to.type = tag & 0x7F;
    to.data = toString(content);
    return to.type != GeneralName::ipAddress || content.size() == 4 || content.size() == 16;
}

bool detail::readGeneralName(Reading& reading, asn1::blob name, GeneralName& to) {
    asn1::parser element(name);
    unsigned const elementTag = element.tag;
    asn1::blob const content = element.take();
    return setGeneralName(elementTag, content, to) ||
           reading.refuse(
               RefusalId::malformedGeneralName, name,
               {{"expected", "an address of 4 or 16 octets"}, {"found", std::to_string(content.size())}});
}

bool GeneralName::parse(asn1::blob name) { return parse(name, nullptr); }

bool GeneralName::parse(asn1::blob name, Refusal* refusal) {
    detail::Reading reading(name, refusal);
    return detail::readGeneralName(reading, name, *this);
}

std::vector<unsigned char> GeneralName::serialize() const {
    return DerEncoder().add(type | 0x80, data).take();
}

std::string GeneralName::typeStr() const {
    constexpr char const* texts[] = {"other",     "rfc822", "DNS", "X400 address", "Name",
                                     "EDI party", "URI",    "IP",  "REG ID"};
    if (type == none)
        return "[empty]";
    return type < std::size(texts) ? texts[type] : "";
}

std::string GeneralName::dataStr() const { return type == ipAddress ? getIp().str(true) : data; }

IPAddr6 GeneralName::getIp() const {
    IPAddr6 address;
    if (type != ipAddress)
        return address;
    std::span const octets(reinterpret_cast<unsigned char const*>(data.data()), data.size());
    if (octets.size() == 4)
        address.setIPv4(octets.first<4>());
    else if (octets.size() == 16)
        address.setBytes(octets.first<16>());
    return address;
}

void GeneralName::setIp(IPAddr6 const& address) {
    data = address.isIPv4() ? toString(std::span<unsigned char const>(address.ipv4Bytes()))
                            : toString(std::span<unsigned char const>(address.bytes()));
}
