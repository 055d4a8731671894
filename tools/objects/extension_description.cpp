#include "objects/extension_description.h"

#include "io/clock.h"
#include "io/terminal.h"

#include "sealkit/asn1_tree.h"
#include "sealkit/crl.h"
#include "sealkit/extensions.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>

namespace {

using terminal::printable;

Description texts(std::vector<std::string> const& items) {
    auto list = Description::array();
    for (std::string const& item : items)
        list.push_back(printable(item));
    return list;
}

std::string joined(std::vector<std::string> const& items) {
    std::string text;
    for (std::string const& item : items)
        text += (text.empty() ? "" : ", ") + item;
    return text;
}

std::string namesText(std::vector<GeneralName> const& names) {
    std::vector<std::string> items;
    for (GeneralName const& name : names)
        items.push_back(generalNameText(name));
    return joined(items);
}

/// " (a; b)"; empty without remarks.
std::string inParentheses(std::vector<std::string> const& remarks) {
    std::string text;
    for (std::string const& remark : remarks)
        text += (text.empty() ? " (" : "; ") + remark;
    return text.empty() ? text : text + ")";
}

std::string reasonsText(unsigned bits) {
    std::vector<std::string> const names = reasonFlagNames(bits);
    return names.empty() ? "(none)" : joined(names);
}

Description identifiers(ObjectIdentifiers const& found) {
    auto list = Description::array();
    for (asn1::blob const oid : found.oids)
        list.push_back(oidName(oid));
    return list;
}

Description accessDescriptions(std::vector<AccessDescription> const& found) {
    auto list = Description::array();
    for (AccessDescription const& description : found)
        list.push_back(oidName(description.method) + " " + printable(generalNameText(description.location)));
    return list;
}

/// A number, or text if it exceeds the length of any path.
Description smallNumber(asn1::blob const& number) {
    constexpr size_t maxNumberBytes = 4;
    if (number.size() > maxNumberBytes)
        return numberText(number);
    unsigned value = 0;
    for (unsigned char const octet : number)
        value = value << 8 | octet;
    return value;
}

Description basicConstraints(BasicConstraints const& constraints) {
    Description result{{"ca", constraints.isCa}};
    if (constraints.pathLength)
        result["pathLength"] = smallNumber(*constraints.pathLength);
    return result;
}

Description nameConstraints(NameSubtrees const& subtrees) {
    Description result;
    if (!subtrees.permitted.empty())
        result["permitted"] = describeNames(subtrees.permitted);
    if (!subtrees.excluded.empty())
        result["excluded"] = describeNames(subtrees.excluded);
    return result;
}

Description policies(std::vector<QualifiedPolicy> const& found) {
    std::vector<std::string> items;
    for (QualifiedPolicy const& policy : found) {
        std::vector<std::string> remarks;
        for (PolicyQualifier const& qualifier : policy.qualifiers)
            remarks.push_back(oidName(qualifier.id) + ": " + qualifier.text);
        items.push_back(oidName(policy.id) + inParentheses(remarks));
    }
    return texts(items);
}

Description mappings(std::vector<EquivalentPolicies> const& found) {
    std::vector<std::string> items;
    for (EquivalentPolicies const& pair : found)
        items.push_back(oidName(pair.issuerDomain) + " is " + oidName(pair.subjectDomain));
    return texts(items);
}

Description policyConstraints(PolicyConstraintNumbers const& numbers) {
    Description result = Description::object();
    if (numbers.requireExplicitPolicy)
        result["requireExplicitPolicy"] = smallNumber(*numbers.requireExplicitPolicy);
    if (numbers.inhibitPolicyMapping)
        result["inhibitPolicyMapping"] = smallNumber(*numbers.inhibitPolicyMapping);
    return result;
}

std::vector<std::string> pointNames(CrlDistributionPoint const& point) {
    std::vector<std::string> names;
    for (GeneralName const& name : point.fullName)
        names.push_back(generalNameText(name));
    if (!point.relativeName.empty())
        names.push_back("relative to the issuer: " + nameText(point.relativeName));
    return names;
}

/// Each name of each point, with the point's other members.
Description distributionPoints(std::vector<CrlDistributionPoint> const& found) {
    std::vector<std::string> items;
    for (CrlDistributionPoint const& point : found) {
        std::vector<std::string> remarks, names = pointNames(point);
        if (point.reasons)
            remarks.push_back("reasons: " + reasonsText(*point.reasons));
        if (!point.crlIssuer.empty())
            remarks.push_back("CRL issuer: " + namesText(point.crlIssuer));
        if (names.empty())
            names.push_back("(no name)");
        for (std::string const& name : names)
            items.push_back(name + inParentheses(remarks));
    }
    return texts(items);
}

Description issuingDistributionPoint(IssuingDistributionPoint const& scope) {
    Description result = Description::object();
    if (std::vector<std::string> const names = pointNames(scope.point); !names.empty())
        result["name"] = texts(names);
    if (scope.onlyUserCertificates)
        result["onlyUserCertificates"] = true;
    if (scope.onlyCaCertificates)
        result["onlyCaCertificates"] = true;
    if (scope.onlyAttributeCertificates)
        result["onlyAttributeCertificates"] = true;
    if (scope.isIndirect)
        result["indirect"] = true;
    if (scope.point.reasons)
        result["onlySomeReasons"] = texts(reasonFlagNames(*scope.point.reasons));
    return result;
}

/// The key identifier alone if nothing else is present.
Description authorityKeyId(AuthorityKeyIdentifier const& found) {
    if (found.keyId && found.issuer.empty() && !found.serialNumber)
        return hexOf(*found.keyId);
    Description result = Description::object();
    if (found.keyId)
        result["keyIdentifier"] = hexOf(*found.keyId);
    if (!found.issuer.empty())
        result["issuer"] = describeNames(found.issuer);
    if (found.serialNumber)
        result["serialNumber"] = hexOf(*found.serialNumber);
    return result;
}

Description usagePeriod(PrivateKeyUsagePeriod const& period) {
    Description result = Description::object();
    if (period.notBefore)
        result["notBefore"] = isoTime(*period.notBefore);
    if (period.notAfter)
        result["notAfter"] = isoTime(*period.notAfter);
    return result;
}

Description statements(std::vector<TypedValue> const& found) {
    std::vector<std::string> items;
    for (TypedValue const& statement : found)
        items.push_back(oidName(statement.id) +
                        (statement.value.empty() ? "" : " " + asn1::derText(statement.value)));
    return texts(items);
}

Description tlsFeatures(std::vector<unsigned> const& numbers) {
    std::vector<std::string> items;
    for (unsigned const number : numbers)
        items.push_back(tlsFeatureName(number));
    return texts(items);
}

Description timestamps(std::vector<SignedCertificateTimestamp> const& found) {
    auto list = Description::array();
    for (SignedCertificateTimestamp const& timestamp : found) {
        Description row{{"version", timestamp.version + 1}};
        if (timestamp.version == 0) {
            row["logId"] = hexOf(timestamp.logId);
            row["time"] =
                isoTime(TimePoint::fromSeconds(static_cast<std::int64_t>(timestamp.milliseconds / 1000)));
            row["milliseconds"] = timestamp.milliseconds % 1000;
            if (!timestamp.extensions.empty())
                row["extensions"] = shortHexOf(timestamp.extensions);
            row["signedWith"] = timestampAlgorithmName(timestamp);
            row["signature"] = shortHexOf(timestamp.signature);
        }
        list.push_back(std::move(row));
    }
    return list;
}

Description reason(unsigned char const& code) {
    std::string_view const name = crlReasonName(code);
    return std::to_string(code) + " " + (name.empty() ? "unassigned" : std::string(name));
}

using Bytes = std::vector<unsigned char>;

Description bytes(Bytes const& value) { return hexOf(value); }
Description number(asn1::blob const& value) { return numberText(value); }
Description usages(unsigned const& bits) { return keyUsageNames(bits); }
Description netscapeTypes(unsigned const& bits) { return netscapeTypeNames(bits); }
Description time(TimePoint const& value) { return isoTime(value); }
Description text(std::string const& value) { return printable(value); }

/// The value of an extension, or its bytes and why it is malformed.
template <typename Value, bool (*parse)(asn1::blob, Value*, Refusal*),
          Description (*describeValue)(Value const&)>
Description describeAs(asn1::blob value) {
    Value parsed{};
    Refusal refusal;
    if (parse(value, &parsed, &refusal))
        return describeValue(parsed);
    return shortHexOf(value) + " (malformed: " + printable(refusal.str()) + ")";
}

using GeneralNames = std::vector<GeneralName>;
using Points = std::vector<CrlDistributionPoint>;
using Statements = std::vector<TypedValue>;

constexpr auto describeGeneralNames = describeAs<GeneralNames, parseGeneralNames, describeNames>;
constexpr auto describePoints = describeAs<Points, parseDistributionPoints, distributionPoints>;
constexpr auto describeNumber = describeAs<asn1::blob, parseIntegerValue, number>;
constexpr auto describeText = describeAs<std::string, parseStringValue, text>;
constexpr auto describeAccess =
    describeAs<std::vector<AccessDescription>, parseAccessDescriptions, accessDescriptions>;
constexpr auto describeStatements = describeAs<Statements, parseStatements, statements>;

constexpr struct ExtensionValue {
    std::string_view name; ///< As `oidName` returns it.
    Description (*describe)(asn1::blob value);
} extensionValues[] = {
    {"subjectKeyIdentifier", describeAs<Bytes, parseKeyIdentifier, bytes>},
    {"keyUsage", describeAs<unsigned, parseKeyUsage, usages>},
    {"subjectAlternativeName", describeGeneralNames},
    {"issuerAlternativeName", describeGeneralNames},
    {"certificateIssuer", describeGeneralNames},
    {"basicConstraints", describeAs<BasicConstraints, parseBasicConstraints, basicConstraints>},
    {"crlNumber", describeNumber},
    {"deltaCrlIndicator", describeNumber},
    {"inhibitAnyPolicy", describeAs<asn1::blob, parseIntegerValue, smallNumber>},
    {"nameConstraints", describeAs<NameSubtrees, parseNameConstraints, nameConstraints>},
    {"crlDistributionPoints", describePoints},
    {"freshestCrl", describePoints},
    {"issuingDistributionPoint",
     describeAs<IssuingDistributionPoint, parseIssuingDistributionPoint, issuingDistributionPoint>},
    {"certificatePolicies", describeAs<std::vector<QualifiedPolicy>, parseCertificatePolicies, policies>},
    {"policyMappings", describeAs<std::vector<EquivalentPolicies>, parsePolicyMappings, mappings>},
    {"policyConstraints", describeAs<PolicyConstraintNumbers, parsePolicyConstraints, policyConstraints>},
    {"authorityKeyIdentifier", describeAs<AuthorityKeyIdentifier, parseAuthorityKeyId, authorityKeyId>},
    {"extendedKeyUsage", describeAs<ObjectIdentifiers, parseExtendedKeyUsage, identifiers>},
    {"authorityInformationAccess", describeAccess},
    {"subjectInformationAccess", describeAccess},
    {"reasonCode", describeAs<unsigned char, parseReasonCode, reason>},
    {"invalidityDate", describeAs<TimePoint, parseInvalidityDate, time>},
    {"privateKeyUsagePeriod", describeAs<PrivateKeyUsagePeriod, parsePrivateKeyUsagePeriod, usagePeriod>},
    {"qcStatements", describeStatements},
    {"subjectDirectoryAttributes", describeStatements},
    {"tlsFeature", describeAs<std::vector<unsigned>, parseTlsFeatures, tlsFeatures>},
    {"signedCertificateTimestamps",
     describeAs<std::vector<SignedCertificateTimestamp>, parseSignedCertificateTimestamps, timestamps>},
    {"netscapeCertType", describeAs<unsigned, parseNetscapeType, netscapeTypes>},
    {"netscapeBaseUrl", describeText},
    {"netscapeRevocationUrl", describeText},
    {"netscapeCaRevocationUrl", describeText},
    {"netscapeRenewalUrl", describeText},
    {"netscapeCaPolicyUrl", describeText},
    {"netscapeSslServerName", describeText},
    {"netscapeComment", describeText},
    {"msCertificateType", describeText},
    {"msCaVersion", describeNumber},
};

Description extensionValue(std::string const& name, asn1::blob value) {
    auto const row = std::ranges::find(extensionValues, name, &ExtensionValue::name);
    return row != std::end(extensionValues) ? row->describe(value) : Description(shortHexOf(value));
}

} // namespace

Description describeNames(std::vector<GeneralName> const& names) {
    auto list = Description::array();
    for (GeneralName const& name : names)
        list.push_back(printable(generalNameText(name)));
    return list;
}

Description describeExtensions(std::vector<X509Extension> const& extensions) {
    // The names differ, and comparing each with those before it would take quadratic time.
    std::map<std::string, unsigned> occurrences;
    Description::object_t members;
    members.reserve(extensions.size());
    for (X509Extension const& extension : extensions) {
        std::string const name = oidName(extension.oid);
        unsigned const occurrence = ++occurrences[name];
        Description const value = {{"critical", extension.critical},
                                   {"value", extensionValue(name, extension.value)}};
        members.push_back({occurrence == 1 ? name : name + " " + std::to_string(occurrence), value});
    }
    return members;
}
