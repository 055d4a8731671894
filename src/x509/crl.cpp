#include "sealkit/crl.h"
#include "sealkit/certificate_outline.h"

#include "sealkit/der.h"

#include "asn1/ber.h"
#include "asn1/input_kind.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "x509/extension_values.h"
#include "x509/extensions.h"
#include "x509/read.h"
#include "x509/revoked_index.h"
#include "x509/writer.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Reading;

namespace {

constexpr unsigned version2 = 1;
constexpr unsigned char noReason = 255;

bool isTime(unsigned elementTag) { return elementTag == tag::utcTime || elementTag == tag::generalizedTime; }

bool takeTime(detail::Level& fields, asn1::blob* element, char const* field) {
    return detail::takeWhole(fields, isTime(fields.tag) ? fields.tag : tag::utcTime, element, field);
}

/// The fields of TBSCertList ::= SEQUENCE { version OPTIONAL, signature, issuer, thisUpdate, nextUpdate
/// OPTIONAL, revokedCertificates OPTIONAL, crlExtensions [0] EXPLICIT OPTIONAL } (RFC 5280, section 5.1).
struct Outline {
    asn1::blob algorithm;
    asn1::blob issuer;
    asn1::blob thisUpdate;
    asn1::blob nextUpdate; ///< Empty if absent.
    asn1::blob revoked;    ///< Content of the list.
    asn1::blob extensions; ///< Content of the list.
    asn1::blob version;    ///< Content; empty if absent.

    bool read(Reading& reading, asn1::blob tbs) {
        asn1::blob content, wrapped;
        if (!detail::readOnly(reading, tbs, tag::sequence, &content))
            return false;
        detail::Level fields(reading, content);
        if (fields.tag == tag::integer && !detail::takeInteger(fields, &version, "version"))
            return false;
        if (!detail::takeWhole(fields, tag::sequence, &algorithm, "signature") ||
            !detail::takeWhole(fields, tag::sequence, &issuer, "issuer") ||
            !takeTime(fields, &thisUpdate, "thisUpdate"))
            return false;
        if (isTime(fields.tag) && !takeTime(fields, &nextUpdate, "nextUpdate"))
            return false;
        if (detail::isAt(fields, tag::sequence) &&
            !detail::take(fields, tag::sequence, &revoked, "revokedCertificates"))
            return false;
        if (detail::isAt(fields, tag::constructed(0)) &&
            (!detail::take(fields, tag::constructed(0), &wrapped, "crlExtensions") ||
             !detail::readOnly(reading, wrapped, tag::sequence, &extensions, "crlExtensions")))
            return false;
        return detail::finish(fields);
    }
};

/// CRLReason ::= ENUMERATED
bool readReasonCode(Reading& reading, asn1::blob value, unsigned char* reasonCode) {
    asn1::blob content;
    if (!detail::readOnly(reading, value, tag::enumerated, &content))
        return false;
    if (content.size() != 1)
        return reading.refuse(RefusalId::malformedExtension, value,
                              {{"expected", "1 octet"}, {"found", std::to_string(content.size())}});
    *reasonCode = content[0];
    return true;
}

/// The extensions of an entry.
struct EntryExtensions {
    unsigned char reasonCode = noReason;
    asn1::blob certificateIssuer; ///< Its value; empty if absent.
    bool isUnknownCritical = false;
};

bool readEntryExtension(Reading& reading, EntryExtensions& to, X509Extension const& extension) {
    if (extension.oid == asn1::blob(oid::reasonCode))
        return readReasonCode(reading, extension.value, &to.reasonCode);
    if (reading.isStated())
        reading.note("unknown crlEntry ext id=" + oidStr(extension.oid) +
                     ", critical: " + (extension.critical ? '1' : '0'));
    if (extension.oid == asn1::blob(oid::certificateIssuer))
        to.certificateIssuer = extension.value;
    else
        to.isUnknownCritical = to.isUnknownCritical || extension.critical;
    return !extension.critical ||
           reading.refuseUnsupported(RefusalId::unknownCriticalExtension, extension.oid);
}

/// The fields of SEQUENCE { userCertificate, revocationDate, crlEntryExtensions OPTIONAL }.
struct Entry {
    asn1::blob serialNumber; ///< Content.
    asn1::blob revocationDate;
    asn1::blob extensions; ///< Content of the list.
    /// The number of entries with this serial number, from this one on, that `takeEntry` has returned.
    size_t taken = 0;

    bool read(Reading& reading, asn1::blob content) {
        detail::Level fields(reading, content);
        if (!detail::takeInteger(fields, &serialNumber, "userCertificate") ||
            !takeTime(fields, &revocationDate, "revocationDate"))
            return false;
        extensions = {};
        return detail::atEnd(fields) ||
               (detail::take(fields, tag::sequence, &extensions, "crlEntryExtensions") &&
                detail::finish(fields));
    }
};

/// `list` is a reusable buffer.
bool readEntry(Reading& reading, asn1::blob content, RevokedCertificate& to, EntryExtensions& extensions,
               detail::ExtensionList* list) {
    Entry entry;
    if (!entry.read(reading, content) ||
        !detail::readField(reading, "revocationDate", detail::readTime, entry.revocationDate,
                           &to.revocationDate) ||
        !detail::readExtensions(reading, entry.extensions, list))
        return false;
    to.serialNumber = detail::copyOf(entry.serialNumber);
    if (!detail::readEach(reading, *list, extensions, readEntryExtension))
        return false;
    to.reasonCode = extensions.reasonCode;
    return true;
}

/// The number of entries, at most one for each 20 octets of the list, the size of the smallest valid entry:
/// malformed entries must not reserve memory out of proportion.
size_t countEntries(asn1::blob list) {
    constexpr size_t minEntrySize = 20;
    size_t count = 0;
    for (asn1::parser entries(list); entries.tag == tag::sequence; entries.next())
        count++;
    return std::min(count, list.size() / minEntrySize);
}

bool isBefore(Entry const& a, Entry const& b) {
    return std::lexicographical_compare(a.serialNumber.begin(), a.serialNumber.end(), b.serialNumber.begin(),
                                        b.serialNumber.end());
}

/// The entries of a signed part, sorted by serial number; those with the same number stay in order.
std::vector<Entry> sortedEntries(asn1::blob tbs) {
    Reading silent;
    std::vector<Entry> entries;
    Outline outline;
    if (!outline.read(silent, tbs))
        return entries;
    detail::Level list(silent, outline.revoked);
    asn1::blob content;
    while (detail::take(list, tag::sequence, &content) && entries.emplace_back().read(silent, content)) {
    }
    std::stable_sort(entries.begin(), entries.end(), isBefore);
    return entries;
}

/// The next entry with that serial number that was not taken before, or an empty one.
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

/// CRLReason ::= ENUMERATED; empty if there is no reason.
std::vector<unsigned char> encodeReasonCode(unsigned char reasonCode) {
    if (reasonCode == noReason)
        return {};
    return DerEncoder().add(tag::enumerated, asn1::blob(&reasonCode, 1)).take();
}

std::vector<unsigned char> encodeCrlNumber(asn1::blob crlNumber) {
    return crlNumber.empty() ? std::vector<unsigned char>()
                             : DerEncoder().add(tag::integer, crlNumber).take();
}

/// Writes an entry that replaces `before`, and normalizes its serial number.
bool writeEntry(DerEncoder& to, RevokedCertificate& revoked, Entry const& before) {
    if (revoked.serialNumber.empty())
        return false;
    revoked.serialNumber = detail::encodeNumber(revoked.serialNumber, before.serialNumber);
    to.begin(tag::sequence).add(tag::integer, revoked.serialNumber);
    if (!detail::addTime(to, revoked.revocationDate, before.revocationDate))
        return false;
    detail::ExtensionList extensionsBefore;
    Reading silent;
    detail::readExtensions(silent, before.extensions, &extensionsBefore);
    EntryExtensions was;
    for (X509Extension const& extension : extensionsBefore)
        readEntryExtension(silent, was, extension);
    detail::ExtensionWriter list(extensionsBefore);
    list.add(oid::reasonCode, revoked.reasonCode == was.reasonCode, false,
             encodeReasonCode(revoked.reasonCode));
    to.addEncoded(list.finish()).end();
    return true;
}

/// Writes the entries, if any, based on those in `tbs`.
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

bool readExtension(Reading& reading, X509Crl& crl, X509Extension const& extension) {
    if (extension.oid == asn1::blob(oid::authorityKeyIdentifier))
        return detail::readAuthorityKeyId(reading, extension.value, &crl.authorityKeyId);
    if (extension.oid == asn1::blob(oid::crlNumber))
        return detail::readCrlNumber(reading, extension.value, &crl.crlNumber);
    if (extension.oid == asn1::blob(oid::issuingDistributionPoint)) {
        reading.note("ignoring crl ext issuingDistributionPoint");
        return true;
    }
    if (reading.isStated())
        reading.note("unknown crl ext id=" + oidStr(extension.oid));
    return !extension.critical ||
           reading.refuseUnsupported(RefusalId::unknownCriticalExtension, extension.oid);
}

/// Whether the standard rules support a critical extension of the CRL.
bool isKnown(X509Extension const& extension) {
    return extension.oid == asn1::blob(oid::authorityKeyIdentifier) ||
           extension.oid == asn1::blob(oid::crlNumber) ||
           extension.oid == asn1::blob(oid::issuingDistributionPoint) ||
           extension.oid == asn1::blob(oid::deltaCrlIndicator);
}

} // namespace

bool parseCrlOutline(asn1::blob der, CrlOutline* to) {
    *to = {};
    Reading reading{Reading::Tolerant()};
    detail::SignedParts parts;
    asn1::blob content;
    Outline outline;
    if (!detail::readParts(reading, der, &parts, &content))
        return false;
    outline.read(reading, parts.tbs);
    detail::setOutline(parts, outline.algorithm, outline.extensions, to);
    to->version = outline.version.empty() ? 1 : outline.version.finish[-1] + 1u;
    to->issuer = outline.issuer;
    to->thisUpdate = outline.thisUpdate;
    to->nextUpdate = outline.nextUpdate;
    to->revoked = outline.revoked;
    return !to->issuer.empty() && !to->thisUpdate.empty();
}

bool nextCrlEntry(asn1::blob* rest, CrlEntryOutline* to) {
    Reading reading{Reading::Tolerant()};
    detail::Level entries(reading, *rest);
    Entry entry;
    if (entries.tag != tag::sequence)
        return false;
    *rest = asn1::blob(entries.valueEnd, rest->finish);
    entry.read(reading, entries.value());
    to->serialNumber = entry.serialNumber;
    to->revocationDate = entry.revocationDate;
    detail::ExtensionList list;
    detail::readExtensions(reading, entry.extensions, &list);
    to->extensions.assign(list.begin(), list.end());
    return true;
}

X509Crl::~X509Crl() = default;

bool X509Crl::parse(unsigned char const* data, unsigned len) {
    asn1::blob const der(data, len);
    Reading reading(der);
    return detail::read(reading, der, *this);
}

bool X509Crl::parse(asn1::blob der, Refusal* refusal) { return parse(der, refusal, FormRules::platform); }

bool X509Crl::parse(asn1::blob der, Refusal* refusal, FormRules forms) {
    Reading reading(der, refusal, forms);
    auto const readInto = [&](asn1::blob bytes) { return detail::read(reading, bytes, *this); };
    return detail::readDerOrBer(reading, der, readInto) ||
           detail::refuseOtherKind(reading, InputKind::crl, detail::findDerKind(der));
}

bool detail::read(Reading& reading, asn1::blob der, X509Crl& to) {
    to = X509Crl();
    reading.takeMark();
    SignedParts parts;
    Outline outline;
    if (!unpack(reading, der, to, &parts) || !outline.read(reading, parts.tbs) ||
        !isSameAlgorithm(reading, parts.algorithm, outline.algorithm) ||
        !readField(reading, "issuer", readName, outline.issuer, to.issuer) ||
        !readField(reading, "thisUpdate", readTime, outline.thisUpdate, &to.thisUpdate) ||
        (!outline.nextUpdate.empty() &&
         !readField(reading, "nextUpdate", readTime, outline.nextUpdate, &to.nextUpdate)))
        return false;

    ExtensionList list;
    EntryIssuers issuers;
    Level entries(reading, outline.revoked);
    asn1::blob entry;
    to.revoked.reserve(countEntries(outline.revoked));
    while (!atEnd(entries)) {
        if (!take(entries, tag::sequence, &entry, "revokedCertificates"))
            return false;
        size_t const position = to.revoked.size();
        Reading::Step const step(reading, "entry", position + 1);
        EntryExtensions extensions;
        if (!readEntry(reading, entry, to.revoked.emplace_back(), extensions, &list))
            return false;
        if (!extensions.certificateIssuer.empty())
            issuers.add(position, extensions.certificateIssuer);
        to.isUnknownCritical = to.isUnknownCritical || extensions.isUnknownCritical;
    }
    if (!readExtensions(reading, outline.extensions, &list) || !readEach(reading, list, to, readExtension))
        return false;
    for (X509Extension const& extension : list)
        to.isUnknownCritical = to.isUnknownCritical || (extension.critical && !isKnown(extension));
    if (!issuers.runs.empty())
        to.issuers = std::make_shared<EntryIssuers const>(std::move(issuers));
    to.indexRevoked();
    if (reading.takeMark()) {
        auto refusal = std::make_shared<Refusal>();
        X509Crl().parse(der, refusal.get());
        to.unsupported = std::move(refusal);
    }
    return true;
}

RevokedCertificate const* X509Crl::findRevoked(asn1::blob serialNumber) const {
    if (index && index->isOf(revoked))
        return index->findFirst(revoked, serialNumber);
    auto const found = std::ranges::find_if(revoked, [&](RevokedCertificate const& entry) {
        return asn1::blob(entry.serialNumber) == serialNumber;
    });
    return found == revoked.end() ? nullptr : &*found;
}

std::vector<size_t> X509Crl::findAllRevoked(asn1::blob serialNumber) const {
    if (index && index->isOf(revoked))
        return index->findAll(revoked, serialNumber);
    std::vector<size_t> positions;
    for (size_t position = 0; position < revoked.size(); position++)
        if (asn1::blob(revoked[position].serialNumber) == serialNumber)
            positions.push_back(position);
    return positions;
}

void X509Crl::indexRevoked() {
    index = revoked.empty() ? nullptr : std::make_shared<detail::RevokedIndex const>(revoked);
}

asn1::blob X509Crl::certificateIssuer(size_t position) const {
    return issuers ? issuers->find(position) : asn1::blob();
}

bool X509Crl::setIssuer(asn1::blob name) { return detail::takeName(name, &issuer, &issuerElement); }

std::vector<unsigned char> X509Crl::serializeRevokedCerts() {
    DerEncoder list;
    bool const isWritten = writeEntries(list, revoked, tbs);
    indexRevoked();
    return isWritten ? list.take() : std::vector<unsigned char>();
}

bool X509Crl::updateTbs(PrivateKey const& key, HashID hash) {
    AlgorithmIdentifier const algorithm = detail::signatureAlgorithmOf(key, hash);
    if (algorithm.oid.empty())
        return false;
    Reading silent;
    Outline before;
    if (!before.read(silent, tbs))
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
    X509Crl was;
    for (X509Extension const& extension : extensionsBefore)
        readExtension(silent, was, extension);
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
    indexRevoked();
    return true;
}

asn1::blob X509Crl::issuerBytes() const {
    Reading silent;
    Outline outline;
    return outline.read(silent, tbs) ? outline.issuer : asn1::blob();
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

namespace {

/// By code (RFC 5280, section 5.3.1).
constexpr std::string_view reasonNames[] = {
    "unspecified",   "keyCompromise",        "caCompromise",    "affiliationChanged",
    "superseded",    "cessationOfOperation", "certificateHold", "",
    "removeFromCRL", "privilegeWithdrawn",   "aaCompromise",
};

bool isSameIgnoringCase(std::string_view a, std::string_view b) {
    auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

} // namespace

std::string_view crlReasonName(unsigned char reasonCode) {
    return reasonCode < std::size(reasonNames) ? reasonNames[reasonCode] : std::string_view();
}

std::optional<unsigned char> parseCrlReason(std::string_view name) {
    for (size_t code = 0; code < std::size(reasonNames); code++)
        if (!name.empty() && isSameIgnoringCase(reasonNames[code], name))
            return static_cast<unsigned char>(code);
    return std::nullopt;
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
