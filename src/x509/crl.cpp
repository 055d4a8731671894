#include "sealkit/crl.h"

#include "sealkit/der.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "x509/extensions.h"
#include "x509/writer.h"

#include <algorithm>
#include <iostream>
#include <iterator>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

constexpr unsigned version2 = 1;
constexpr unsigned char noReason = 255;

bool isTime(unsigned elementTag) { return elementTag == tag::utcTime || elementTag == tag::generalizedTime; }

bool takeTime(asn1::parser& fields, asn1::blob* element) {
    return isTime(fields.tag) && detail::takeWhole(fields, fields.tag, element);
}

/// TBSCertList ::= SEQUENCE { version OPTIONAL, signature, issuer, thisUpdate, nextUpdate OPTIONAL,
/// revokedCertificates OPTIONAL, crlExtensions [0] EXPLICIT OPTIONAL } (RFC 5280, section 5.1) taken apart.
struct Outline {
    asn1::blob algorithm;
    asn1::blob issuer;
    asn1::blob thisUpdate;
    asn1::blob nextUpdate; ///< Empty when absent.
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
            !detail::takeWhole(fields, tag::sequence, &issuer) || !takeTime(fields, &thisUpdate))
            return false;
        if (isTime(fields.tag) && !takeTime(fields, &nextUpdate))
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

bool readEntryExtension(RevokedCertificate& entry, X509Extension const& extension, std::ostream& notices) {
    if (extension.oid == asn1::blob(oid::reasonCode))
        return readReasonCode(extension.value, &entry.reasonCode);
    notices << "unknown crlEntry ext id=" << oidStr(extension.oid)
            << ", critical: " << (extension.critical ? '1' : '0') << std::endl;
    return !extension.critical;
}

/// SEQUENCE { userCertificate, revocationDate, crlEntryExtensions OPTIONAL } taken apart.
struct Entry {
    asn1::blob serialNumber; ///< Content.
    asn1::blob revocationDate;
    asn1::blob extensions; ///< Content of the list.
    size_t taken = 0;      ///< How many of those with this serial number, from this one on, `takeEntry` gave.

    bool read(asn1::blob content) {
        asn1::parser fields(content);
        if (!detail::takeInteger(fields, &serialNumber) || !takeTime(fields, &revocationDate))
            return false;
        extensions = {};
        return detail::atEnd(fields) ||
               (detail::take(fields, tag::sequence, &extensions) && detail::atEnd(fields));
    }
};

/// `extensions` is room to work in.
bool readEntry(asn1::blob content, RevokedCertificate& to, std::vector<X509Extension>* extensions,
               std::ostream& notices) {
    Entry entry;
    if (!entry.read(content) || !detail::readTime(entry.revocationDate, &to.revocationDate) ||
        !detail::readExtensions(entry.extensions, extensions))
        return false;
    to.serialNumber = detail::copyOf(entry.serialNumber);
    for (X509Extension const& extension : *extensions)
        if (!readEntryExtension(to, extension, notices))
            return false;
    return true;
}

bool isBefore(Entry const& a, Entry const& b) {
    return std::lexicographical_compare(a.serialNumber.begin(), a.serialNumber.end(), b.serialNumber.begin(),
                                        b.serialNumber.end());
}

/// The entries in a signed part, sorted by serial number; the first of several with the same one comes first.
std::vector<Entry> sortedEntries(asn1::blob tbs) {
    std::vector<Entry> entries;
    Outline outline;
    if (!outline.read(tbs))
        return entries;
    asn1::parser list(outline.revoked);
    asn1::blob content;
    while (detail::take(list, tag::sequence, &content) && entries.emplace_back().read(content)) {
    }
    std::stable_sort(entries.begin(), entries.end(), isBefore);
    return entries;
}

/// The entry with that serial number: of several the first, then the second, and so on. An empty one when there
/// is none.
Entry takeEntry(std::vector<Entry>& sorted, asn1::blob serialNumber) {
    Entry wanted;
    wanted.serialNumber = serialNumber;
    auto const first = std::lower_bound(sorted.begin(), sorted.end(), wanted, isBefore);
    if (first == sorted.end())
        return Entry();
    size_t const index = static_cast<size_t>(first - sorted.begin()) + first->taken;
    if (index == sorted.size() || sorted[index].serialNumber != serialNumber)
        return Entry();
    first->taken++;
    return sorted[index];
}

/// CRLReason ::= ENUMERATED, empty for none.
std::vector<unsigned char> encodeReasonCode(unsigned char reasonCode) {
    if (reasonCode == noReason)
        return {};
    return DerEncoder().add(tag::enumerated, asn1::blob(&reasonCode, 1)).take();
}

std::vector<unsigned char> encodeCrlNumber(asn1::blob crlNumber) {
    return crlNumber.empty() ? std::vector<unsigned char>()
                             : DerEncoder().add(tag::integer, crlNumber).take();
}

/// Writes an entry, of which `before` stood in the signed part, and brings its serial number in line.
bool writeEntry(DerEncoder& to, RevokedCertificate& revoked, Entry const& before) {
    if (revoked.serialNumber.empty())
        return false;
    revoked.serialNumber = detail::encodeNumber(revoked.serialNumber, before.serialNumber);
    to.begin(tag::sequence).add(tag::integer, revoked.serialNumber);
    if (!detail::addTime(to, revoked.revocationDate, before.revocationDate))
        return false;
    std::vector<X509Extension> extensionsBefore;
    detail::readExtensions(before.extensions, &extensionsBefore);
    std::ostream silence(nullptr);
    RevokedCertificate was;
    for (X509Extension const& extension : extensionsBefore)
        readEntryExtension(was, extension, silence);
    detail::ExtensionWriter list(extensionsBefore);
    list.add(oid::reasonCode, revoked.reasonCode == was.reasonCode, false,
             encodeReasonCode(revoked.reasonCode));
    to.addEncoded(list.finish()).end();
    return true;
}

/// Writes the list of entries, none when it is empty, over those that stood in `tbs`.
bool writeEntries(DerEncoder& to, std::vector<RevokedCertificate>& revoked, asn1::blob tbs) {
    if (revoked.empty())
        return true;
    std::vector<Entry> entriesBefore = sortedEntries(tbs);
    to.begin(tag::sequence);
    for (RevokedCertificate& entry : revoked)
        if (!writeEntry(to, entry, takeEntry(entriesBefore, entry.serialNumber)))
            return false;
    to.end();
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

bool readExtension(X509Crl& crl, X509Extension const& extension, std::ostream& notices) {
    if (extension.oid == asn1::blob(oid::authorityKeyIdentifier))
        return detail::readAuthorityKeyId(extension.value, &crl.authorityKeyId);
    if (extension.oid == asn1::blob(oid::crlNumber))
        return readCrlNumber(extension.value, &crl.crlNumber);
    if (extension.oid == asn1::blob(oid::issuingDistributionPoint)) {
        notices << "ignoring crl ext issuingDistributionPoint" << std::endl;
        return true;
    }
    notices << "unknown crl ext id=" << oidStr(extension.oid) << std::endl;
    return !extension.critical;
}

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
    if (!detail::readTime(outline.thisUpdate, &thisUpdate) ||
        (!outline.nextUpdate.empty() && !detail::readTime(outline.nextUpdate, &nextUpdate)))
        return false;

    std::vector<X509Extension> list;
    asn1::parser entries(outline.revoked);
    asn1::blob entry;
    while (detail::take(entries, tag::sequence, &entry))
        if (!readEntry(entry, revoked.emplace_back(), &list, std::cout))
            return false;
    if (!detail::atEnd(entries) || !detail::readExtensions(outline.extensions, &list))
        return false;
    for (X509Extension const& extension : list)
        if (!readExtension(*this, extension, std::cout))
            return false;
    return true;
}

bool X509Crl::setIssuer(asn1::blob name) { return detail::takeName(name, &issuer, &issuerElement); }

std::vector<unsigned char> X509Crl::serializeRevokedCerts() {
    DerEncoder list;
    return writeEntries(list, revoked, tbs) ? list.take() : std::vector<unsigned char>();
}

bool X509Crl::updateTbs(PrivateKey const& key, HashID hash) {
    AlgorithmIdentifier const algorithm = detail::signatureAlgorithmOf(key, hash);
    if (algorithm.oid.empty())
        return false;
    Outline before;
    if (!before.read(tbs))
        before = Outline();

    DerEncoder to;
    to.begin(tag::sequence).addInteger(version2);
    save(algorithm, to);
    to.addEncoded(
        detail::encodeName(issuer, issuerElement.empty() ? before.issuer : asn1::blob(issuerElement)));
    if (!detail::addTime(to, thisUpdate, before.thisUpdate) ||
        (nextUpdate != TimePoint() && !detail::addTime(to, nextUpdate, before.nextUpdate)) ||
        !writeEntries(to, revoked, tbs))
        return false;

    std::vector<X509Extension> const extensionsBefore = extensions();
    std::ostream silence(nullptr);
    X509Crl was;
    for (X509Extension const& extension : extensionsBefore)
        readExtension(was, extension, silence);
    if (!crlNumber.empty())
        crlNumber = detail::encodeNumber(crlNumber, was.crlNumber);
    detail::ExtensionWriter list(extensionsBefore);
    list.add(oid::authorityKeyIdentifier, authorityKeyId == was.authorityKeyId, false,
             detail::encodeAuthorityKeyId(authorityKeyId));
    list.add(oid::crlNumber, crlNumber == was.crlNumber, false, encodeCrlNumber(crlNumber));
    std::vector<unsigned char> const encoded = list.finish();
    if (!encoded.empty())
        to.begin(tag::constructed(0)).addEncoded(encoded).end();
    tbs = to.end().take();
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
