#include "sealkit/input_kind.h"
#include "sealkit/message.h"
#include "sealkit/oid_names.h"

#include "sealkit/asn1.h"
#include "sealkit/oid.h"

#include "asn1/oids.h"
#include "pkcs/read.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

struct NamedType {
    char const* dotted;
    char const* name;
};

/// Content types of RFC 5652 and others.
constexpr NamedType contentTypes[] = {
    {"1.2.840.113549.1.7.1", "data"},
    {"1.2.840.113549.1.7.2", "signed message"},
    {"1.2.840.113549.1.7.3", "enveloped message"},
    {"1.2.840.113549.1.7.4", "signed and enveloped message"},
    {"1.2.840.113549.1.7.5", "digested message"},
    {"1.2.840.113549.1.7.6", "encrypted message without recipients"},
    {"1.2.840.113549.1.9.16.1.1", "receipt"},
    {"1.2.840.113549.1.9.16.1.2", "authenticated message"},
    {"1.2.840.113549.1.9.16.1.4", "time-stamp"},
    {"1.2.840.113549.1.9.16.1.9", "compressed message"},
    {"1.2.840.113549.1.9.16.1.23", "enveloped message with authentication (AuthEnvelopedData)"},
    {"1.3.6.1.4.1.311.2.1.4", "Authenticode digest"},
};

/// Null for a type without a name.
char const* findTypeName(asn1::blob type) {
    auto const row = std::ranges::find(contentTypes, std::string_view(oidStr(type)), &NamedType::dotted);
    return row == std::end(contentTypes) ? nullptr : row->name;
}

/// Takes the current element if it has the tag.
bool takeIf(asn1::parser& fields, unsigned expected) {
    return fields.tag == expected && (fields.next(), true);
}

bool isEnveloped(asn1::blob type) {
    return type == asn1::blob(oid::envelopedData) || type == asn1::blob(oid::authEnvelopedData);
}

unsigned firstTagIn(asn1::blob content) { return asn1::parser(content).tag; }

/// PKIStatusInfo begins with an INTEGER, and only a token may follow it (RFC 3161, section 2.4.2).
bool isResponse(asn1::parser& fields) {
    if (firstTagIn(fields.value()) != tag::integer || !takeIf(fields, tag::sequence))
        return false;
    takeIf(fields, tag::sequence);
    return fields.tag == asn1::parser::endTag;
}

} // namespace

asn1::blob getContentType(asn1::blob der) {
    asn1::parser fields(der);
    return fields.enter(tag::sequence) && fields.tag == tag::oid ? fields.value() : asn1::blob();
}

MessageKind getMessageKind(asn1::blob der) {
    if (asn1::blob const type = getContentType(der); !type.empty())
        return type == asn1::blob(oid::signedData) ? MessageKind::signedData
               : isEnveloped(type)                 ? MessageKind::envelopedData
               : findTypeName(type) == nullptr     ? MessageKind::none
                                                   : MessageKind::otherContent;
    asn1::parser fields(der);
    if (!fields.enter(tag::sequence))
        return MessageKind::none;
    if (fields.tag == tag::sequence)
        return isResponse(fields) ? MessageKind::timeStampResponse : MessageKind::none;
    if (!takeIf(fields, tag::integer))
        return MessageKind::none;
    // Next is a SET in a bare SignedData, and the digest in a request. Private keys have neither.
    if (fields.tag == tag::set)
        return MessageKind::signedData;
    bool const isRequest = fields.tag == tag::sequence && firstTagIn(fields.value()) == tag::sequence;
    return isRequest ? MessageKind::timeStampRequest : MessageKind::none;
}

char const* getMessageKindName(MessageKind kind) {
    switch (kind) {
    case MessageKind::signedData:
        return "signed message";
    case MessageKind::envelopedData:
        return "enveloped message";
    case MessageKind::timeStampRequest:
        return "time-stamp request";
    case MessageKind::timeStampResponse:
        return "time-stamp response";
    default:
        return "";
    }
}

std::string getContentTypeName(asn1::blob type) {
    char const* const name = findTypeName(type);
    return name == nullptr ? oidStr(type) : name;
}

asn1::blob getDataOid() { return oid::data; }
asn1::blob getTimeStampInfoOid() { return oid::timeStampInfo; }

bool detail::checkKind(Reading& reading, asn1::blob der, MessageKind expected) {
    if (!reading.wantsReason())
        return true;
    MessageKind const found = getMessageKind(der);
    asn1::parser outer(der);
    if (found == expected || !outer.enter(tag::sequence))
        return true;
    std::vector<Fact> facts = {{"expected", getMessageKindName(expected)}};
    if (asn1::blob const type = getContentType(der); !type.empty()) {
        facts.push_back({"found", getContentTypeName(type)});
        return reading.refuse(RefusalId::unsupportedContentType, type, std::move(facts));
    }
    InputKind const kind = findInputKind(der);
    if (found != MessageKind::none)
        facts.push_back({"found", getMessageKindName(found)});
    else if ((kind >= InputKind::certificate && kind < InputKind::message) || kind == InputKind::pkcs12)
        facts.push_back({"found", getInputKindName(kind)});
    return reading.refuse(RefusalId::otherKind, der, std::move(facts));
}

bool detail::readDigestAlgorithm(Reading& reading, asn1::blob element, HashID* hash) {
    *hash = getHashFromDER(element);
    if (*hash != HashID::none)
        return true;
    asn1::blob content, type;
    if (!readOnly(reading, element, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::oid, &type, "algorithm"))
        return false;
    Fact const algorithm{"algorithm", oidName(type)};
    if (getHashID(type) == HashID::none)
        return reading.refuse(RefusalId::unsupportedDigest, element, {algorithm});
    if (reading.isStandard() && atEnd(fields)) {
        *hash = getHashID(type);
        return true;
    }
    return reading.refuse(RefusalId::digestParameters, element,
                          {algorithm, {"expected", "NULL"}, {"found", tagText(fields.tag)}});
}
