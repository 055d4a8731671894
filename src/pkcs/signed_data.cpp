#include "sealkit/pkcs7.h"

#include "sealkit/oid.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "pkcs/read.h"
#include "pkcs/sorted_set.h"
#include "x509/read.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <string>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

bool readDigestAlgorithms(Reading& reading, asn1::blob set, std::vector<HashID>* algorithms) {
    Level elements(reading, set);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, "digest algorithm", number);
        asn1::blob algorithm;
        HashID hash;
        if (reading.isStandard()) {
            // The signers repeat their digest algorithms.
            asn1::blob type, parameters;
            if (!detail::takeAlgorithm(elements, &type, &parameters, "algorithm"))
                return false;
            if (hash = getHashID(type); hash != HashID::none)
                algorithms->push_back(hash);
            continue;
        }
        if (!detail::takeWhole(elements, tag::sequence, &algorithm) ||
            !detail::readDigestAlgorithm(reading, algorithm, &hash))
            return false;
        algorithms->push_back(hash);
    }
    return true;
}

/// EncapsulatedContentInfo ::= SEQUENCE { eContentType, eContent [0] EXPLICIT OPTIONAL }. The content is of
/// any type in RFC 2315, and an OCTET STRING in RFC 5652.
bool readContent(Reading& reading, asn1::blob encapsulated, PKCS7SignedData& to) {
    Reading::Step const step(reading, "content");
    Level fields(reading, encapsulated);
    asn1::blob type, wrapped, element;
    if (!detail::take(fields, tag::oid, &type, "type"))
        return false;
    to.contentType = detail::copyOf(type);
    if (detail::atEnd(fields))
        return true;
    if (!detail::take(fields, tag::constructed(0), &wrapped) || !detail::finish(fields))
        return false;
    Level inner(reading, wrapped);
    if (inner.tag != tag::sequence && inner.tag != tag::octetString)
        return detail::refuseString(inner, tag::octetString);
    if (!detail::takeWhole(inner, inner.tag, &element) || !detail::finish(inner))
        return false;
    to.content = detail::copyOf(element);
    return true;
}

/// Reads certificates or CRLs; `what` names one in refusals. Kinds other than X.509 have other tags (RFC
/// 5652, section 10.2).
template <typename Object>
bool readObjects(Reading& reading, asn1::blob set, char const* what,
                 std::vector<std::shared_ptr<Object>>* objects) {
    Level elements(reading, set);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, what, number);
        asn1::blob element;
        if (elements.tag != tag::sequence && elements.tag != asn1::parser::errorTag)
            return reading.refuse(RefusalId::unsupportedCertificateKind, elements.tlvStart,
                                  {{"found", detail::tagText(elements.tag)}});
        auto object = std::make_shared<Object>();
        if (!detail::takeWhole(elements, tag::sequence, &element) || !detail::read(reading, element, *object))
            return false;
        objects->push_back(std::move(object));
    }
    return true;
}

/// The same for the standard rules, which skip malformed objects and other kinds and add the reasons to
/// `ignored`.
template <typename Object>
bool readSomeObjects(Reading& reading, asn1::blob set, char const* what,
                     std::vector<std::shared_ptr<Object>>* objects, std::vector<Refusal>* ignored) {
    Level elements(reading, set);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, what, number);
        if (elements.tag == asn1::parser::errorTag)
            return detail::refuseElement(elements, tag::sequence);
        asn1::blob const element(elements.tlvStart, elements.valueEnd);
        Refusal refusal;
        Reading own(element, &refusal, FormRules::standard);
        auto object = std::make_shared<Object>();
        if (elements.tag != tag::sequence)
            own.refuse(RefusalId::unsupportedCertificateKind, element,
                       {{"found", detail::tagText(elements.tag)}});
        else if (detail::read(own, element, *object))
            objects->push_back(std::move(object));
        if (refusal && ignored->size() < PKCS7SignedData::maxIgnored) {
            refusal.path = reading.path() + (refusal.path.empty() ? "" : ", ") + refusal.path;
            if (refusal.offset != Refusal::nowhere)
                refusal.offset = reading.offsetOf(element.start + refusal.offset);
            ignored->push_back(std::move(refusal));
        }
        elements.next();
    }
    return true;
}

bool readSigners(Reading& reading, asn1::blob set, unsigned depth,
                 std::vector<std::unique_ptr<PKCS7SignerInfo>>* signers) {
    Level elements(reading, set);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, "signer", number);
        asn1::blob element;
        auto signer = std::make_unique<PKCS7SignerInfo>();
        if (!detail::takeWhole(elements, tag::sequence, &element) ||
            !detail::read(reading, element, *signer, depth))
            return false;
        signers->push_back(std::move(signer));
    }
    return true;
}

} // namespace

bool detail::readSignedData(Reading& reading, asn1::blob signedData, PKCS7SignedData& to, unsigned depth) {
    asn1::blob body, algorithms, encapsulated, objects, signers;
    if (!readOnly(reading, signedData, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    unsigned char const* const place = fields.tlvStart;
    unsigned version;
    if (!takeUInt(fields, &version, "version"))
        return false;
    bool const isLater = reading.isStandard() && (version == 4 || version == 5);
    if (version != 1 && version != 3 && !isLater) {
        std::string const number = std::to_string(version);
        reading.noteError("bad version " + number);
        return reading.refuse(RefusalId::messageVersion, place, {{"expected", "1 or 3"}, {"found", number}});
    }
    auto const readList = [&](asn1::blob set, char const* what, auto* list) {
        return reading.isStandard() ? readSomeObjects(reading, set, what, list, &to.ignoredObjects)
                                    : readObjects(reading, set, what, list);
    };
    if (!take(fields, tag::set, &algorithms, "digest algorithms") ||
        !readDigestAlgorithms(reading, algorithms, &to.digestAlgorithms) ||
        !take(fields, tag::sequence, &encapsulated, "content") || !readContent(reading, encapsulated, to))
        return false;
    if (fields.tag == tag::constructed(0) &&
        (!take(fields, tag::constructed(0), &objects) || !readList(objects, "certificate", &to.certificates)))
        return false;
    if (fields.tag == tag::constructed(1) &&
        (!take(fields, tag::constructed(1), &objects) || !readList(objects, "CRL", &to.crls)))
        return false;
    return take(fields, tag::set, &signers, "signers") &&
           readSigners(reading, signers, depth, &to.signerInfos) && finish(fields);
}

bool detail::read(Reading& reading, asn1::blob message, PKCS7SignedData& to, unsigned depth) {
    asn1::blob body, type, wrapped;
    if (depth > maxNesting)
        return reading.refuse(RefusalId::nestedTooDeep, message, {{"limit", std::to_string(maxNesting)}});
    if (!checkKind(reading, message, MessageKind::signedData) ||
        !readOnly(reading, message, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    if (fields.tag != tag::oid)
        return readSignedData(reading, message, to, depth);
    to.raw = copyOf(message);
    if (!take(fields, tag::oid, &type))
        return false;
    if (type != asn1::blob(oid::signedData)) {
        reading.noteError("not a signed data");
        return reading.refuse(RefusalId::unsupportedContentType, type, {{"found", getContentTypeName(type)}});
    }
    return take(fields, tag::constructed(0), &wrapped, "content") &&
           readSignedData(reading, wrapped, to, depth) && finish(fields);
}

PKCS7SignedData::PKCS7SignedData() = default;
PKCS7SignedData::PKCS7SignedData(PKCS7SignedData&&) noexcept = default;

PKCS7SignedData& PKCS7SignedData::operator=(PKCS7SignedData&& other) noexcept {
    if (this == &other)
        return *this;
    wipe();
    raw = std::move(other.raw);
    digestAlgorithms = std::move(other.digestAlgorithms);
    contentType = std::move(other.contentType);
    content = std::move(other.content);
    certificates = std::move(other.certificates);
    crls = std::move(other.crls);
    signerInfos = std::move(other.signerInfos);
    ignoredObjects = std::move(other.ignoredObjects);
    return *this;
}

PKCS7SignedData::~PKCS7SignedData() { wipe(); }

void PKCS7SignedData::wipe() {
    detail::wipe(raw);
    detail::wipe(content);
}

namespace {

/// Reads into a new object, which replaces `to` even after a failure.
template <typename Read>
bool readAnew(PKCS7SignedData& to, Read readInto) {
    PKCS7SignedData parsed;
    bool const isGood = readInto(parsed);
    to = std::move(parsed);
    return isGood;
}

} // namespace

bool PKCS7SignedData::parse(asn1::blob message) {
    Reading reading(message);
    return readAnew(*this, [&](PKCS7SignedData& to) { return detail::read(reading, message, to); });
}

bool PKCS7SignedData::parse(asn1::blob message, Refusal* refusal) {
    return parse(message, refusal, FormRules::platform);
}

bool PKCS7SignedData::parse(asn1::blob message, Refusal* refusal, FormRules forms) {
    Reading reading(message, refusal, forms);
    return detail::readAsDer(reading, reading.isStandard(), message, [&](asn1::blob der) {
        return readAnew(*this, [&](PKCS7SignedData& to) { return detail::read(reading, der, to); });
    });
}

bool PKCS7SignedData::parseContentInfo(asn1::blob signedData) {
    Reading reading(signedData);
    return readAnew(*this,
                    [&](PKCS7SignedData& to) { return detail::readSignedData(reading, signedData, to); });
}

bool PKCS7SignedData::parseContentInfo(asn1::blob signedData, Refusal* refusal) {
    Reading reading(signedData, refusal);
    return readAnew(*this,
                    [&](PKCS7SignedData& to) { return detail::readSignedData(reading, signedData, to); });
}

void PKCS7SignedData::save(DerEncoder& to) {
    if (!raw.empty()) {
        to.addEncoded(raw);
        return;
    }
    to.begin(tag::sequence).addOid(oid::signedData).begin(tag::constructed(0));
    to.begin(tag::sequence).addInteger(1).begin(tag::set);
    for (HashID const hash : digestAlgorithms)
        saveHash(to, hash);
    to.end().begin(tag::sequence).addOid(contentType);
    if (!content.empty())
        to.begin(tag::constructed(0)).addEncoded(content).end();
    to.end();
    if (!certificates.empty()) {
        to.begin(tag::constructed(0));
        for (auto const& certificate : certificates)
            to.addEncoded(certificate->serialize());
        to.end();
    }
    to.begin(tag::set);
    for (auto const& signer : signerInfos)
        signer->save(to);
    to.end().end().end().end();
}

bool PKCS7SignedData::create(X509Certificate const& certificate, PrivateKey const& key,
                             asn1::blob contentTypeOid, asn1::blob contentOctets, HashID hash) {
    PKCS7SignedData made;
    made.contentType = detail::copyOf(contentTypeOid);
    made.content = DerEncoder().addOctetString(contentOctets).take();
    made.digestAlgorithms = {hash};
    made.certificates.push_back(std::make_shared<X509Certificate>(certificate));
    made.signerInfos.push_back(std::make_unique<PKCS7SignerInfo>());
    bool const isSigned =
        made.signerInfos.back()->sign(certificate, key, contentTypeOid, contentOctets, hash);
    *this = std::move(made); // Last, because the arguments may be views of this object.
    return isSigned;
}

bool PKCS7SignedData::create(X509Certificate const& certificate, PrivateKey const& key,
                             asn1::blob contentTypeOid, asn1::blob contentOctets, unsigned hash) {
    return create(certificate, key, contentTypeOid, contentOctets, static_cast<HashID>(hash));
}

void PKCS7SignedData::setContent(asn1::blob contentTypeOid, asn1::blob octets) {
    // Copied first, because the arguments may be views of this object.
    std::vector<unsigned char> type = detail::copyOf(contentTypeOid);
    std::vector<unsigned char> element = DerEncoder().addOctetString(octets).take();
    wipe();
    raw.clear();
    contentType = std::move(type);
    content = std::move(element);
}

bool PKCS7SignedData::addSigner(X509Certificate const& certificate, PrivateKey const& key,
                                PKCS7SignerOptions const& options) {
    auto signer = std::make_unique<PKCS7SignerInfo>();
    if (!signer->sign(certificate, key, contentType, contentOctets(), options))
        return false;
    auto const isSame = [&](auto const& other) {
        return other->tbs == certificate.tbs && other->signature == certificate.signature;
    };
    if (std::ranges::none_of(certificates, isSame))
        certificates.push_back(std::make_shared<X509Certificate>(certificate));
    if (std::ranges::find(digestAlgorithms, signer->digestAlgorithm) == digestAlgorithms.end())
        digestAlgorithms.push_back(signer->digestAlgorithm);
    signerInfos.push_back(std::move(signer));
    detail::wipe(raw);
    raw.clear();
    return true;
}

namespace {

/// The message's version: 3 if the content type is not data or a signer has a key identifier, else 1.
unsigned versionOf(PKCS7SignedData const& message) {
    bool const hasKeyId = std::ranges::any_of(message.signerInfos, [](auto const& signer) {
        return signer->form() != nullptr && !signer->form()->subjectKeyId.empty();
    });
    return hasKeyId || asn1::blob(message.contentType) != getDataOid() ? 3 : 1;
}

/// The known digest algorithms of the signers, each once, preferring NULL over absent parameters.
std::vector<unsigned char> encodeDigestAlgorithms(PKCS7SignedData const& message) {
    std::map<HashID, std::vector<unsigned char>> byHash;
    for (auto const& signer : message.signerInfos) {
        DerEncoder algorithm;
        detail::saveDigestAlgorithm(*signer, algorithm);
        std::vector<unsigned char>& written = byHash[signer->digestAlgorithm];
        if (algorithm.buf.size() > written.size())
            written = algorithm.take();
    }
    byHash.erase(HashID::none);
    DerEncoder algorithms;
    for (auto const& [hash, algorithm] : byHash)
        algorithms.addEncoded(algorithm);
    return detail::sortedSet(algorithms.take());
}

} // namespace

std::vector<unsigned char> PKCS7SignedData::encode() const {
    asn1::blob const type = contentType.empty() ? getDataOid() : asn1::blob(contentType);
    DerEncoder to, list;
    to.begin(tag::sequence).addOid(oid::signedData).begin(tag::constructed(0)).begin(tag::sequence);
    to.addInteger(contentType.empty() ? 1 : versionOf(*this));
    to.add(tag::set, encodeDigestAlgorithms(*this)).begin(tag::sequence).addOid(type);
    if (!content.empty())
        to.begin(tag::constructed(0)).addEncoded(content).end();
    to.end();
    for (auto const& certificate : certificates)
        list.addEncoded(certificate->serialize());
    if (!certificates.empty())
        to.add(tag::constructed(0), detail::sortedSet(list.take()));
    for (auto const& crl : crls)
        list.addEncoded(crl->serialize());
    if (!crls.empty())
        to.add(tag::constructed(1), detail::sortedSet(list.take()));
    for (auto const& signer : signerInfos)
        signer->save(list);
    to.add(tag::set, detail::sortedSet(list.take()));
    to.end().end().end();
    return to.take();
}

asn1::blob PKCS7SignedData::contentOctets() const {
    asn1::parser const element{asn1::blob(content)};
    return element.tag == tag::octetString ? element.value() : asn1::blob(content);
}

std::shared_ptr<X509Certificate> PKCS7SignedData::findCertificate(PKCS7SignerInfo const& signer) const {
    auto const keyIdOf = [](auto const& certificate) -> auto const& { return certificate->subjectKeyId; };
    auto const findBy = [&](auto hasIssuer) -> std::shared_ptr<X509Certificate> {
        auto const found = std::ranges::find_if(certificates, [&](auto const& certificate) {
            return certificate->serialNumber == signer.serialNumber && hasIssuer(*certificate);
        });
        return found == certificates.end() ? nullptr : *found;
    };
    if (signer.form() != nullptr && !signer.form()->subjectKeyId.empty()) {
        auto const named = std::ranges::find(certificates, signer.form()->subjectKeyId, keyIdOf);
        return named == certificates.end() ? nullptr : *named;
    }
    asn1::blob const issuer = signer.issuer;
    if (auto exact = findBy([&](X509Certificate const& other) { return other.issuerBytes() == issuer; }))
        return exact;
    return findBy([&](X509Certificate const& other) { return other.issuer.serialize() == signer.issuer; });
}

void PKCS7SignedData::dump(std::ostream& out) const {
    out << "digest-algos: ";
    char const* separator = "";
    for (HashID const hash : digestAlgorithms) {
        out << separator << getHashName(hash);
        separator = " ";
    }
    out << "\ncontent-type: " << oidStr(contentType) << '\n';
    for (auto const& certificate : certificates)
        certificate->dump(out);
    for (auto const& signer : signerInfos)
        signer->dump(out);
}
