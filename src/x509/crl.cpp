#include "sealkit/crl.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "x509/extensions.h"

#include <iostream>
#include <iterator>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

bool isTime(unsigned elementTag) { return elementTag == tag::utcTime || elementTag == tag::generalizedTime; }

/// TBSCertList ::= SEQUENCE { version OPTIONAL, signature, issuer, thisUpdate, nextUpdate OPTIONAL,
/// revokedCertificates OPTIONAL, crlExtensions [0] EXPLICIT OPTIONAL } (RFC 5280, section 5.1) taken apart.
struct Outline {
    asn1::blob algorithm;
    asn1::blob issuer;
    TimePoint thisUpdate;
    TimePoint nextUpdate;
    asn1::blob revoked;    ///< Content of the list.
    asn1::blob extensions; ///< Content of the list.

    bool read(asn1::blob tbs) {
        asn1::blob content, version, wrapped;
        if (!detail::readOnly(tbs, tag::sequence, &content))
            return false;
        asn1::parser fields(content);
        if (fields.tag == tag::integer && !detail::takeInteger(fields, &version))
            return false;
        if (!detail::takeWhole(fields, tag::sequence, &algorithm) ||
            !detail::takeWhole(fields, tag::sequence, &issuer) || !thisUpdate.parse(fields))
            return false;
        if (isTime(fields.tag) && !nextUpdate.parse(fields))
            return false;
        if (fields.tag == tag::sequence && !detail::take(fields, tag::sequence, &revoked))
            return false;
        if (fields.tag == tag::constructed(0) && (!detail::take(fields, tag::constructed(0), &wrapped) ||
                                                  !detail::readOnly(wrapped, tag::sequence, &extensions)))
            return false;
        return detail::atEnd(fields);
    }
};

/// CRLReason ::= ENUMERATED
bool readReasonCode(asn1::blob value, unsigned char* reasonCode) {
    asn1::blob content;
    if (!detail::readOnly(value, tag::enumerated, &content) || content.size() != 1)
        return false;
    *reasonCode = content[0];
    return true;
}

bool readEntryExtension(RevokedCertificate& entry, X509Extension const& extension) {
    if (extension.oid == asn1::blob(oid::reasonCode))
        return readReasonCode(extension.value, &entry.reasonCode);
    std::cout << "unknown crlEntry ext id=" << oidStr(extension.oid)
              << ", critical: " << (extension.critical ? '1' : '0') << std::endl;
    return !extension.critical;
}

/// SEQUENCE { userCertificate, revocationDate, crlEntryExtensions OPTIONAL }. `extensions` is room to work in.
bool readEntry(asn1::blob content, RevokedCertificate& entry, std::vector<X509Extension>* extensions) {
    asn1::parser fields(content);
    asn1::blob serialNumber, list;
    if (!detail::takeInteger(fields, &serialNumber) || !entry.revocationDate.parse(fields))
        return false;
    entry.serialNumber = detail::copyOf(serialNumber);
    if (detail::atEnd(fields))
        return true;
    if (!detail::take(fields, tag::sequence, &list) || !detail::atEnd(fields) ||
        !detail::readExtensions(list, extensions))
        return false;
    for (X509Extension const& extension : *extensions)
        if (!readEntryExtension(entry, extension))
            return false;
    return true;
}

bool readCrlNumber(asn1::blob value, std::vector<unsigned char>* crlNumber) {
    asn1::parser number(value);
    asn1::blob content;
    if (!detail::takeInteger(number, &content) || !detail::atEnd(number))
        return false;
    *crlNumber = detail::copyOf(content);
    return true;
}

bool readExtension(X509Crl& crl, X509Extension const& extension) {
    if (extension.oid == asn1::blob(oid::authorityKeyIdentifier))
        return detail::readAuthorityKeyId(extension.value, &crl.authorityKeyId);
    if (extension.oid == asn1::blob(oid::crlNumber))
        return readCrlNumber(extension.value, &crl.crlNumber);
    if (extension.oid == asn1::blob(oid::issuingDistributionPoint)) {
        std::cout << "ignoring crl ext issuingDistributionPoint" << std::endl;
        return true;
    }
    std::cout << "unknown crl ext id=" << oidStr(extension.oid) << std::endl;
    return !extension.critical;
}

constexpr unsigned char noReason = 255;

} // namespace

X509Crl::~X509Crl() = default;

bool X509Crl::parse(unsigned char const* data, unsigned len) {
    *this = X509Crl();
    Outline outline;
    if (!unpackObj(asn1::blob(data, len)) || !outline.read(tbs))
        return false;
    // RFC 5280, section 5.1.1.2: both must be the same, or the unsigned one could be exchanged.
    if (outline.algorithm != asn1::blob(unpackedAlgorithm) || !issuer.parse(outline.issuer))
        return false;
    thisUpdate = outline.thisUpdate;
    nextUpdate = outline.nextUpdate;

    std::vector<X509Extension> list;
    asn1::parser entries(outline.revoked);
    asn1::blob entry;
    while (detail::take(entries, tag::sequence, &entry))
        if (!readEntry(entry, revoked.emplace_back(), &list))
            return false;
    if (!detail::atEnd(entries) || !detail::readExtensions(outline.extensions, &list))
        return false;
    for (X509Extension const& extension : list)
        if (!readExtension(*this, extension))
            return false;
    return true;
}

asn1::blob X509Crl::issuerBytes() const {
    Outline outline;
    return outline.read(tbs) ? outline.issuer : asn1::blob();
}

std::vector<X509Extension> X509Crl::extensions() const { return detail::listExtensions<Outline>(tbs); }

void X509Crl::dump(std::ostream& out) const {
    out << "CRL\n"
        << "  issuer: <" << issuer.str() << ">\n"
        << "  lastUpdate: " << thisUpdate.toString() << '\n';
    if (nextUpdate != TimePoint())
        out << "  nextUpdate: " << nextUpdate.toString() << '\n';
    out << "  CRL extensions:\n";
    if (!authorityKeyId.empty())
        out << "    authority key id: " << str(authorityKeyId) << '\n';
    if (!crlNumber.empty())
        out << "    CRL number HEX: " << str(crlNumber) << '\n';
    out << "  revoked certs:" << (revoked.empty() ? " (empty)" : "") << '\n';
    for (RevokedCertificate const& entry : revoked) {
        out << "    serialNr: " << str(entry.serialNumber) << '\n'
            << "      revocationData: " << entry.revocationDate.toString() << '\n';
        if (entry.reasonCode != noReason)
            out << "      extensions:\n"
                << "        reasonCode: " << getCrlReasonText(entry.reasonCode) << '\n';
    }
    out << "  signed with: " << oid2name(signatureAlgorithm.oid) << '\n';
}

char const* getCrlReasonText(unsigned char reasonCode) {
    static constexpr char const* texts[] = {
        "unspecified",         "key compromise",  "ca compromise",
        "affiliation changed", "superseded",      "cessation of operation",
        "certificate hold",    "remove from crl", "",
        "privilge withdrawn",  "aa compromise",
    };
    return reasonCode < std::size(texts) ? texts[reasonCode] : "";
}
