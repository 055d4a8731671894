#include "trust/standard/crl_fields.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "trust/standard/name.h"
#include "x509/extension_values.h"
#include "x509/extensions.h"

#include <algorithm>
#include <cstring>

namespace detail {

namespace {

char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

void lower(std::string& text, size_t begin, size_t end) {
    for (size_t i = begin; i < std::min(end, text.size()); i++)
        text[i] = toLower(text[i]);
}

/// The end of a URI's authority, up to which case is ignored (RFC 5280, section 7.4).
size_t authorityEnd(std::string const& uri) {
    size_t const scheme = uri.find("://");
    return scheme == std::string::npos ? uri.find(':') : uri.find_first_of("/?#", scheme + 3);
}

bool isNegative(asn1::blob number) { return !number.empty() && (number[0] & 0x80) != 0; }

/// If the names are malformed, no field is set; otherwise the fields before the malformed one are.
bool readScope(Reading& reading, asn1::blob value, CrlFields& to) {
    IssuingDistributionPointFields fields;
    bool const isRead = readIssuingDistributionPoint(reading, value, &fields);
    if (fields.point.name.start != nullptr) {
        DistributionPoint point;
        if (!readDistributionPointName(reading, fields.point.name, &point))
            return false;
        for (GeneralName const& full : point.fullNames)
            to.names.push_back(canonicalGeneralName(full));
        if (!point.relativeName.empty())
            to.names.push_back(canonicalDirectoryName(to.issuer, point.relativeName));
        if (to.names.empty())
            return false;
    }
    to.isForUsers = fields.onlyUserCertificates;
    to.isForCas = fields.onlyCaCertificates;
    to.isForAttributes = fields.onlyAttributeCertificates;
    to.isIndirect = fields.isIndirect;
    if (fields.point.reasons.start != nullptr)
        to.reasons = readReasons(fields.point.reasons) & allReasons;
    return isRead;
}

} // namespace

std::string canonicalGeneralName(GeneralName const& name) {
    constexpr unsigned char constructed = 0x20;
    std::string form = name.data;
    switch (name.type) {
    case GeneralName::directoryName | constructed:
        return canonicalDirectoryName(canonicalName(name.data), {});
    case GeneralName::uri:
        lower(form, 0, authorityEnd(form));
        break;
    case GeneralName::dnsName:
        lower(form, 0, form.size());
        break;
    case GeneralName::rfc822Name:
        lower(form, std::min(form.rfind('@'), form.size()), form.size());
        break;
    }
    return form.insert(0, 1, static_cast<char>(name.type));
}

std::string canonicalDirectoryName(std::string_view name, asn1::blob relative) {
    std::string form(1, static_cast<char>(GeneralName::directoryName));
    form += name;
    if (!relative.empty())
        form += canonicalRelativeName(relative);
    return form;
}

CrlFields::CrlFields(X509Crl const& crl)
    : issuer(canonicalName(crl.issuerBytes())), isSupported(!crl.hasUnknownCriticalExtension()) {
    Reading silent;
    bool isReadable = !isMalformedName(issuer) && !isNegative(crl.crlNumber);
    for (X509Extension const& extension : crl.extensions()) {
        if (extension.oid == oid::issuingDistributionPoint) {
            scope = extension.value;
            isReadable = readScope(silent, extension.value, *this) && isReadable;
        } else if (extension.oid == oid::deltaCrlIndicator) {
            isReadable = readCrlNumber(silent, extension.value, &baseNumber.emplace()) &&
                         !isNegative(*baseNumber) && isReadable;
        } else if (extension.oid == oid::authorityKeyIdentifier) {
            authorityKeyId = extension.value;
        }
    }
    // If the CRL is not indirect, an entry that names another issuer contradicts the scope.
    isSupported = isSupported && isReadable && (isIndirect || !crl.namesCertificateIssuers());
    if (isReadable)
        return;
    // The scope is unknown, so the CRL may revoke any certificate.
    names.clear();
    reasons = allReasons;
    isForUsers = isForCas = isForAttributes = false;
}

CrlFields const& CrlMemory::find(std::shared_ptr<X509Crl> const& crl) {
    auto const known = crls.find(crl);
    return known != crls.end() ? known->second : crls.try_emplace(crl, *crl).first->second;
}

std::string const& CrlMemory::subjectOf(std::shared_ptr<X509Certificate> const& certificate) {
    auto const [place, isNew] = subjects.try_emplace(certificate);
    if (isNew)
        place->second = canonicalName(certificate->subjectBytes());
    return place->second;
}

int compareCrlNumbers(asn1::blob a, asn1::blob b) {
    auto const skipZeros = [](asn1::blob& number) {
        while (!number.empty() && number[0] == 0)
            number.pop_front();
    };
    skipZeros(a);
    skipZeros(b);
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.empty() ? 0 : std::memcmp(a.data(), b.data(), a.size());
}

} // namespace detail
