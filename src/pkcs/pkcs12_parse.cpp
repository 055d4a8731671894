#include "sealkit/input_kind.h"
#include "sealkit/message.h"
#include "sealkit/pkcs12.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/header.h"
#include "asn1/oids.h"
#include "pkcs/pkcs12_bags.h"
#include "pkcs/read.h"
#include "pkcs/version.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::Level;
using detail::PKCS12Content;
using detail::PKCS12Reading;
using detail::Reading;

namespace {

/// Takes the identifier and length octets of an element. Its content may have at most `sizeLimit` octets, and
/// may be truncated.
bool takeStart(asn1::blob& rest, unsigned expected, size_t sizeLimit) {
    if (rest.size() < 2 || rest.pop_front() != expected)
        return false;
    unsigned const first = rest.pop_front();
    size_t size = first;
    if (first >= 0x80) {
        size_t const octets = first & 0x7F;
        if (octets > sizeof(unsigned) || octets > rest.size())
            return false;
        size = 0;
        for (size_t i = 0; i < octets; i++)
            size = size << 8 | rest.pop_front();
    }
    if (sizeLimit == 0)
        return true;
    rest.pop_front(std::min(size, rest.size()));
    return size <= sizeLimit;
}

/// ContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, content [0] EXPLICIT }
bool readFields(Reading& reading, asn1::blob contentInfo, asn1::blob* type, asn1::blob* content) {
    asn1::blob body;
    if (!detail::readOnly(reading, contentInfo, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    return detail::take(fields, tag::oid, type, "contentType") &&
           detail::take(fields, tag::constructed(0), content, "content") && detail::finish(fields);
}

bool refuseType(Reading& reading, asn1::blob type) {
    if (!reading.wantsReason())
        return false;
    return reading.refuse(RefusalId::unsupportedContentType, type, {{"found", getContentTypeName(type)}});
}

/// The size of the first element; that of all bytes if its length is malformed.
size_t sizeOfFirst(asn1::blob bytes) {
    asn1::blob content = bytes;
    unsigned elementTag = 0;
    size_t length = 0;
    if (bytes.empty() || detail::takeHeader(content, &elementTag, &length) != detail::HeaderError::none)
        return bytes.size();
    return static_cast<size_t>(content.data() - bytes.data()) + length;
}

bool refuseKind(Reading& reading, asn1::blob pfx) {
    InputKind const kind = findInputKind(pfx);
    std::vector<Fact> facts = {{"expected", getInputKindName(InputKind::pkcs12)}};
    if (kind != InputKind::pkcs12)
        facts.push_back({"found", getInputKindName(kind)});
    return reading.refuse(RefusalId::otherKind, pfx, std::move(facts));
}

} // namespace

PKCS12PFX::PKCS12PFX() = default;
PKCS12PFX::PKCS12PFX(PKCS12PFX&&) noexcept = default;
PKCS12PFX& PKCS12PFX::operator=(PKCS12PFX&&) noexcept = default;
PKCS12PFX::~PKCS12PFX() = default;

bool looksLikePkcs12(asn1::blob bytes) {
    constexpr size_t maxVersionSize = 8, maxTypeSize = 16;
    return takeStart(bytes, tag::sequence, 0) && takeStart(bytes, tag::integer, maxVersionSize) &&
           takeStart(bytes, tag::sequence, 0) && takeStart(bytes, tag::oid, maxTypeSize) && !bytes.empty() &&
           bytes[0] == tag::constructed(0);
}

bool PKCS12PFX::parse(asn1::blob pfx) {
    PKCS12Reading file(pfx, false);
    return readFile(file, pfx);
}

bool PKCS12PFX::parseBer(asn1::blob pfx) {
    PKCS12Reading file(pfx, true);
    return readFile(file, pfx);
}

bool PKCS12PFX::parse(asn1::blob pfx, PKCS12Options const& options, Refusal* refusal) {
    PKCS12Reading file(pfx, options.ber, options);
    size_t const size = options.trailingBytes ? sizeOfFirst(pfx) : pfx.size();
    bool const isGood = readFile(file, asn1::blob(pfx.data(), size));
    if (isGood)
        trailing = pfx.size() - size;
    return file.report(isGood, refusal);
}

bool PKCS12PFX::parseContentInfo(asn1::blob contentInfo) {
    PKCS12Reading file(contentInfo, mayBeBer);
    return readContentInfo(file, contentInfo);
}

bool PKCS12PFX::parseAuthenticatedSafe(asn1::blob safe) {
    PKCS12Reading file(safe, mayBeBer);
    return readAuthenticatedSafe(file, safe);
}

bool PKCS12PFX::parseMAC(asn1::blob element) {
    PKCS12Reading file(element, mayBeBer);
    return readMac(file, element);
}

bool PKCS12PFX::parseSafeContents(asn1::blob safeContents) {
    PKCS12Reading file(safeContents, mayBeBer);
    PKCS12Content content;
    if (!detail::readSafeContents(file, safeContents, content))
        return false;
    addToLists(content);
    contents.push_back(std::move(content));
    return true;
}

bool PKCS12PFX::parseCertBag(asn1::blob certBag) {
    PKCS12Reading file(certBag, mayBeBer);
    PKCS12Content content;
    detail::PKCS12Bag bag;
    if (!detail::readCertBag(file, certBag, &bag.certificate, content.ignored))
        return false;
    if (bag.certificate != nullptr)
        content.bags.push_back(std::move(bag));
    addToLists(content);
    contents.push_back(std::move(content));
    return true;
}

/// Changes the object only at the end, because `pfx` may be a view of it.
bool PKCS12PFX::readFile(PKCS12Reading& file, asn1::blob pfx) {
    Reading& reading = file.reading;
    PKCS12PFX parsed;
    parsed.mayBeBer = file.mayBeBer;
    bool isGood = true;
    if (reading.wantsReason() && pfx.empty())
        isGood = reading.refuse(RefusalId::emptyInput, pfx);
    else if (reading.wantsReason() && !looksLikePkcs12(pfx))
        isGood = refuseKind(reading, pfx);
    isGood = isGood && detail::readAsDer(reading, file.mayBeBer, pfx, [&](asn1::blob der) {
                 parsed.wasBer = !(der == pfx);
                 return parsed.readPfx(file, der);
             });
    if (!isGood)
        parsed = PKCS12PFX();
    parsed.scheme = std::move(scheme);
    parsed.pbes2Cipher = pbes2Cipher;
    parsed.iterations = iterations;
    *this = std::move(parsed);
    return isGood;
}

/// PFX ::= SEQUENCE { version INTEGER, authSafe ContentInfo, macData MacData OPTIONAL }
bool PKCS12PFX::readPfx(PKCS12Reading& file, asn1::blob pfx) {
    Reading& reading = file.reading;
    asn1::blob body, version, element;
    if (!detail::readOnly(reading, pfx, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    if (!detail::takeInteger(fields, &version, "version"))
        return false;
    if (detail::smallNumber(version) != 3) {
        reading.note("PFX: invalid version: " + detail::numberText(version));
        return reading.refuse(RefusalId::pkcs12Version, version,
                              {{"expected", "3"}, {"found", detail::numberText(version)}});
    }
    if (!detail::takeWhole(fields, tag::sequence, &element, "authSafe") || !readContentInfo(file, element))
        return false;
    if (fields.tag == tag::sequence &&
        (!detail::takeWhole(fields, tag::sequence, &element) || !readMac(file, element)))
        return false;
    return detail::finish(fields);
}

bool PKCS12PFX::readContentInfo(PKCS12Reading& file, asn1::blob contentInfo) {
    Reading& reading = file.reading;
    asn1::blob type, content, octets;
    if (!readFields(reading, contentInfo, &type, &content))
        return false;
    if (type == oid::signedData) {
        auto parsed = std::make_unique<PKCS7SignedData>();
        if (!detail::read(reading, contentInfo, *parsed))
            return false;
        signedData = std::move(parsed);
        // The following offsets refer to the message's copy of its content.
        Reading::Derived const derived(reading, signedData->content, content.start, "signed content");
        return detail::readOnly(reading, signedData->content, tag::octetString, &octets) &&
               readAuthenticatedSafe(file, octets);
    }
    if (!(type == oid::data))
        return refuseType(reading, type);
    return detail::readOnly(reading, content, tag::octetString, &octets) &&
           readAuthenticatedSafe(file, octets);
}

/// AuthenticatedSafe ::= SEQUENCE OF ContentInfo
bool PKCS12PFX::readAuthenticatedSafe(PKCS12Reading& file, asn1::blob safe) {
    authenticatedSafe.assign(safe.begin(), safe.end());
    return detail::readAsDer(file.reading, file.mayBeBer, safe, [&](asn1::blob der) {
        wasBer = wasBer || !(der == safe);
        asn1::blob body, element;
        if (!detail::readOnly(file.reading, der, tag::sequence, &body))
            return false;
        Level elements(file.reading, body);
        while (!detail::atEnd(elements))
            if (!detail::takeWhole(elements, tag::sequence, &element) || !readContent(file, element))
                return false;
        return true;
    });
}

bool PKCS12PFX::readContent(PKCS12Reading& file, asn1::blob contentInfo) {
    Reading::Step const step(file.reading, "content", contents.size() + 1);
    PKCS12Content content;
    content.place = {file.reading.path(), file.reading.offsetOf(contentInfo.start)};
    if (!readContent(file, contentInfo, content) && !file.setAside(content.unreadable))
        return false;
    addToLists(content);
    contents.push_back(std::move(content));
    return true;
}

/// Reads a content of the AuthenticatedSafe. A refused one is not added to `encryptedData` or
/// `envelopedData`.
bool PKCS12PFX::readContent(PKCS12Reading& file, asn1::blob contentInfo, PKCS12Content& content) {
    Reading& reading = file.reading;
    asn1::blob type, value, octets;
    if (!readFields(reading, contentInfo, &type, &value))
        return false;
    if (type == oid::data)
        return detail::readOnly(reading, value, tag::octetString, &octets) &&
               (detail::readSafeContents(file, octets, content) || detail::noteSafeContents(reading));
    auto const keep = [&](PKCS12Content::Kind kind, auto& list, auto& data) {
        content.kind = kind;
        content.index = list.size();
        content.isDecrypted = false;
        list.push_back(std::move(data));
        return true;
    };
    if (type == oid::encryptedData) {
        PKCS7EncryptedData data;
        return detail::read(reading, value, data) &&
               keep(PKCS12Content::Kind::encrypted, encryptedData, data);
    }
    if (type == oid::envelopedData) {
        PKCS7EnvelopedData data;
        return detail::readEnvelopedData(reading, value, data) &&
               keep(PKCS12Content::Kind::enveloped, envelopedData, data);
    }
    return refuseType(reading, type);
}

/// Adds the bags of a decrypted content to the public lists.
void PKCS12PFX::addToLists(PKCS12Content const& content) {
    for (detail::PKCS12Bag const& bag : content.bags) {
        if (bag.certificate != nullptr) {
            // The lists are public members, so their lengths may differ.
            certificateAttributes.resize(certificates.size());
            certificates.push_back(bag.certificate);
            certificateAttributes.push_back(bag.attributes);
        } else if (bag.key != nullptr) {
            keyAttributes.resize(keys.size());
            keys.push_back(bag.key);
            keyAttributes.push_back(bag.attributes);
        }
    }
}

std::vector<Refusal> PKCS12PFX::unreadable() const {
    std::vector<Refusal> refusals;
    for (PKCS12Content const& content : contents) {
        refusals.insert(refusals.end(), content.unreadable.begin(), content.unreadable.end());
        for (detail::PKCS12Bag const& bag : content.bags)
            if (bag.refusal)
                refusals.push_back(bag.refusal);
    }
    return refusals;
}

std::vector<PKCS12IgnoredBag> PKCS12PFX::ignoredBags() const {
    std::vector<PKCS12IgnoredBag> bags;
    for (PKCS12Content const& content : contents)
        bags.insert(bags.end(), content.ignored.begin(), content.ignored.end());
    return bags;
}

void PKCS12PFX::dump(std::ostream& out) const {
    constexpr char section[] = "==========> ";
    if (signedData != nullptr) {
        out << section << "signedData" << std::endl;
        signedData->dump(out);
    }
    if (!encryptedData.empty())
        out << section << "encryptedData: " << encryptedData.size() << std::endl;
    for (PKCS7EncryptedData const& content : encryptedData)
        out << "size: " << content.encryptedContentInfo.encryptedContent.size() << std::endl;
    if (!envelopedData.empty())
        out << section << "envelopedData: " << envelopedData.size() << std::endl;
    for (PKCS7EnvelopedData const& content : envelopedData)
        out << "size: " << content.encryptedContentInfo.encryptedContent.size() << std::endl;
    if (!certificates.empty())
        out << section << "certs: " << certificates.size() << std::endl;
    if (!keys.empty())
        out << section << "keys: " << keys.size() << std::endl;
}
