#include "sealkit/pkcs7.h"

#include "sealkit/oid.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "pkcs/parse.h"

#include <algorithm>
#include <iostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

bool readDigestAlgorithms(asn1::blob set, std::vector<HashID>* algorithms) {
    asn1::parser elements(set);
    asn1::blob algorithm;
    while (detail::takeWhole(elements, tag::sequence, &algorithm)) {
        HashID const hash = getHashFromDER(algorithm);
        if (hash == HashID::none)
            return false;
        algorithms->push_back(hash);
    }
    return detail::atEnd(elements);
}

/// EncapsulatedContentInfo ::= SEQUENCE { eContentType, eContent [0] EXPLICIT OPTIONAL }. RFC 2315 has any type
/// there, RFC 5652 an OCTET STRING.
bool readContent(asn1::blob encapsulated, PKCS7SignedData& to) {
    asn1::parser fields(encapsulated);
    asn1::blob type, wrapped, element;
    if (!detail::take(fields, tag::oid, &type))
        return false;
    to.contentType = detail::copyOf(type);
    if (detail::atEnd(fields))
        return true;
    if (!detail::take(fields, tag::constructed(0), &wrapped) || !detail::atEnd(fields))
        return false;
    asn1::parser inner(wrapped);
    if (inner.tag != tag::sequence && inner.tag != tag::octetString)
        return false;
    if (!detail::takeWhole(inner, inner.tag, &element) || !detail::atEnd(inner))
        return false;
    to.content = detail::copyOf(element);
    return true;
}

template <typename Object>
bool readObjects(asn1::blob set, std::vector<std::shared_ptr<Object>>* objects) {
    asn1::parser elements(set);
    asn1::blob element;
    while (detail::takeWhole(elements, tag::sequence, &element)) {
        auto object = std::make_shared<Object>();
        if (!object->parse(element.start, static_cast<unsigned>(element.size())))
            return false;
        objects->push_back(std::move(object));
    }
    return detail::atEnd(elements);
}

bool readSigners(asn1::blob set, unsigned depth, std::vector<std::unique_ptr<PKCS7SignerInfo>>* signers) {
    asn1::parser elements(set);
    asn1::blob element;
    while (detail::takeWhole(elements, tag::sequence, &element)) {
        auto signer = std::make_unique<PKCS7SignerInfo>();
        if (!detail::parseSigner(*signer, element, depth))
            return false;
        signers->push_back(std::move(signer));
    }
    return detail::atEnd(elements);
}

bool parseSignedData(PKCS7SignedData& to, asn1::blob signedData, unsigned depth) {
    asn1::blob body, algorithms, encapsulated, objects, signers;
    if (!detail::readOnly(signedData, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    unsigned version;
    if (!detail::takeUInt(fields, &version))
        return false;
    if (version != 1 && version != 3) {
        std::cerr << "bad version " << version << std::endl;
        return false;
    }
    if (!detail::take(fields, tag::set, &algorithms) ||
        !readDigestAlgorithms(algorithms, &to.digestAlgorithms) ||
        !detail::take(fields, tag::sequence, &encapsulated) || !readContent(encapsulated, to))
        return false;
    if (fields.tag == tag::constructed(0) &&
        (!detail::take(fields, tag::constructed(0), &objects) || !readObjects(objects, &to.certificates)))
        return false;
    if (fields.tag == tag::constructed(1) &&
        (!detail::take(fields, tag::constructed(1), &objects) || !readObjects(objects, &to.crls)))
        return false;
    return detail::take(fields, tag::set, &signers) && readSigners(signers, depth, &to.signerInfos) &&
           detail::atEnd(fields);
}

} // namespace

bool detail::parseSignedMessage(PKCS7SignedData& to, asn1::blob message, unsigned depth) {
    asn1::blob body, type, wrapped;
    if (depth > maxNesting || !readOnly(message, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    if (fields.tag != tag::oid)
        return parseSignedData(to, message, depth);
    to.raw = copyOf(message);
    if (!take(fields, tag::oid, &type))
        return false;
    if (type != asn1::blob(oid::signedData)) {
        std::cerr << "not a signed data" << std::endl;
        return false;
    }
    return take(fields, tag::constructed(0), &wrapped) && parseSignedData(to, wrapped, depth) &&
           atEnd(fields);
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
    return *this;
}

PKCS7SignedData::~PKCS7SignedData() { wipe(); }

void PKCS7SignedData::wipe() {
    detail::wipe(raw);
    detail::wipe(content);
}

bool PKCS7SignedData::parse(asn1::blob message) {
    PKCS7SignedData parsed;
    bool const isGood = detail::parseSignedMessage(parsed, message, 0);
    *this = std::move(parsed);
    return isGood;
}

bool PKCS7SignedData::parseContentInfo(asn1::blob signedData) {
    PKCS7SignedData parsed;
    bool const isGood = parseSignedData(parsed, signedData, 0);
    *this = std::move(parsed);
    return isGood;
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
    *this = std::move(made); // Only now: the arguments may be views of it.
    return isSigned;
}

bool PKCS7SignedData::create(X509Certificate const& certificate, PrivateKey const& key,
                             asn1::blob contentTypeOid, asn1::blob contentOctets, unsigned hash) {
    return create(certificate, key, contentTypeOid, contentOctets, static_cast<HashID>(hash));
}

std::shared_ptr<X509Certificate> PKCS7SignedData::findCertificate(PKCS7SignerInfo const& signer) const {
    auto const findBy = [&](auto hasIssuer) -> std::shared_ptr<X509Certificate> {
        auto const found = std::ranges::find_if(certificates, [&](auto const& certificate) {
            return certificate->serialNumber == signer.serialNumber && hasIssuer(*certificate);
        });
        return found == certificates.end() ? nullptr : *found;
    };
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
