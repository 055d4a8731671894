#include "objects/description.h"

#include "io/clock.h"
#include "io/terminal.h"
#include "objects/kem_object.h"

#include "sealkit/bignum.h"
#include "sealkit/extensions.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"
#include "sealkit/pkcs8.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using terminal::printable;

/// Values longer than this are cut in the display; their length is told.
constexpr size_t maxShownBytes = 64;

} // namespace

std::string hexOf(asn1::blob bytes) { return bytes.empty() ? "(empty)" : str(bytes); }

std::string shortHexOf(asn1::blob bytes) {
    if (bytes.size() <= maxShownBytes)
        return hexOf(bytes);
    return str(asn1::blob(bytes.start, maxShownBytes)) + ":... (" + std::to_string(bytes.size()) + " bytes)";
}

/// Decimal as far as people read it: writing a number of a megabyte in decimal takes minutes.
std::string numberText(asn1::blob bytes) {
    constexpr size_t maxDecimalBytes = 32;
    return bytes.size() <= maxDecimalBytes ? BigNum(bytes).strDec() : shortHexOf(bytes);
}

namespace {

Description generalNames(std::vector<GeneralName> const& names) {
    auto list = Description::array();
    for (GeneralName const& name : names)
        list.push_back(printable(generalNameText(name)));
    return list;
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

/// A number; text where it is larger than any path.
Description pathLength(asn1::blob number) {
    constexpr size_t maxNumberBytes = 4;
    if (number.size() > maxNumberBytes)
        return numberText(number);
    unsigned length = 0;
    for (unsigned char const octet : number)
        length = length << 8 | octet;
    return length;
}

Description basicConstraints(BasicConstraints const& constraints) {
    Description result{{"ca", constraints.isCa}};
    if (constraints.pathLength)
        result["pathLength"] = pathLength(*constraints.pathLength);
    return result;
}

Description nameConstraints(NameSubtrees const& subtrees) {
    Description result;
    if (!subtrees.permitted.empty())
        result["permitted"] = generalNames(subtrees.permitted);
    if (!subtrees.excluded.empty())
        result["excluded"] = generalNames(subtrees.excluded);
    return result;
}

Description bytes(std::vector<unsigned char> const& value) { return hexOf(value); }

Description number(std::vector<unsigned char> const& value) { return numberText(value); }

Description usages(unsigned const& bits) { return keyUsageNames(bits); }

/// What the value of an extension says, or its bytes and why it is malformed.
template <typename Value, bool (*parse)(asn1::blob, Value*, Refusal*),
          Description (*describeValue)(Value const&)>
Description describeAs(asn1::blob value) {
    Value parsed{};
    Refusal refusal;
    if (parse(value, &parsed, &refusal))
        return describeValue(parsed);
    return shortHexOf(value) + " (malformed: " + printable(refusal.str()) + ")";
}

using Bytes = std::vector<unsigned char>;

/// The keyIdentifier; all of the value if that is absent.
Description describeAuthorityKeyId(asn1::blob value) {
    Bytes keyId;
    bool const hasKeyId = parseAuthorityKeyId(value, &keyId) && !keyId.empty();
    return hasKeyId ? hexOf(keyId) : shortHexOf(value);
}

using GeneralNames = std::vector<GeneralName>;
using AccessDescriptions = std::vector<AccessDescription>;

constexpr struct ExtensionValue {
    std::string_view name; ///< As `oidName` has it.
    Description (*describe)(asn1::blob value);
} extensionValues[] = {
    {"subjectKeyIdentifier", describeAs<Bytes, parseKeyIdentifier, bytes>},
    {"keyUsage", describeAs<unsigned, parseKeyUsage, usages>},
    {"subjectAlternativeName", describeAs<GeneralNames, parseGeneralNames, generalNames>},
    {"issuerAlternativeName", describeAs<GeneralNames, parseGeneralNames, generalNames>},
    {"basicConstraints", describeAs<BasicConstraints, parseBasicConstraints, basicConstraints>},
    {"crlNumber", describeAs<Bytes, parseCrlNumber, number>},
    {"nameConstraints", describeAs<NameSubtrees, parseNameConstraints, nameConstraints>},
    {"crlDistributionPoints", describeAs<GeneralNames, parseDistributionPoints, generalNames>},
    {"freshestCrl", describeAs<GeneralNames, parseDistributionPoints, generalNames>},
    {"certificatePolicies", describeAs<ObjectIdentifiers, parseCertificatePolicies, identifiers>},
    {"authorityKeyIdentifier", describeAuthorityKeyId},
    {"extendedKeyUsage", describeAs<ObjectIdentifiers, parseExtendedKeyUsage, identifiers>},
    {"authorityInformationAccess",
     describeAs<AccessDescriptions, parseAccessDescriptions, accessDescriptions>},
    {"subjectInformationAccess", describeAs<AccessDescriptions, parseAccessDescriptions, accessDescriptions>},
};

Description extensionValue(std::string const& name, asn1::blob value) {
    auto const row = std::ranges::find(extensionValues, name, &ExtensionValue::name);
    return row != std::end(extensionValues) ? row->describe(value) : Description(shortHexOf(value));
}

Description describeExtensions(std::vector<X509Extension> const& extensions) {
    // No identifier comes twice, and looking for each among those before it would take quadratic time.
    Description::object_t members;
    members.reserve(extensions.size());
    for (X509Extension const& extension : extensions) {
        std::string const name = oidName(extension.oid);
        Description const value = {{"critical", extension.critical},
                                   {"value", extensionValue(name, extension.value)}};
        members.push_back({name, value});
    }
    return members;
}

std::string fingerprint(X509Base const& object) {
    return str(calcDigest(HashID::SHA256, object.serialize()));
}

Description describeKeyOf(std::unique_ptr<PublicKey> const& key, asn1::blob info) {
    if (key)
        return describe(*key);
    OpenedKemKey const kem = openKemPublicKeyInfo(info);
    if (kem.key)
        return describe(*kem.key, false);
    asn1::blob const algorithm = getKeyAlgorithm(info);
    Description result{{"type", "not readable here"},
                       {"algorithm", algorithm.empty() ? "(malformed)" : oidName(algorithm)}};
    std::string problem = kem.complaint;
    if (problem.empty()) {
        Refusal refusal;
        parsePkcs8PublicKey(info, &refusal);
        problem = refusal.str();
    }
    if (!problem.empty())
        result["problem"] = printable(problem);
    return result;
}

} // namespace

Description describe(PublicKey const& key) {
    if (auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key))
        return {{"type", "RSA"},
                {"bits", rsa->n.bits()},
                {"modulus", rsa->n.str()},
                {"exponent", rsa->e.strDec()}};
    std::vector<unsigned char> const encoded = key.encodeToDerEncoded();
    if (auto const* const ec = dynamic_cast<EcPublicKey const*>(&key))
        return {{"type", "EC"}, {"curve", getCurveName(ec->curve)}, {"point", hexOf(encoded)}};
    switch (key.keyType()) {
    case KeyType::Ed25519:
        return {{"type", "Ed25519"}, {"point", hexOf(encoded)}};
    case KeyType::X25519:
        return {{"type", "X25519"}, {"coordinate", hexOf(encoded)}};
    default:
        return {};
    }
}

Description describe(KeyEncryption const& encryption) {
    Description result{{"scheme", printable(encryption.scheme.empty() ? "(malformed)" : encryption.scheme)}};
    if (!encryption.cipher.empty())
        result["cipher"] = printable(encryption.cipher);
    if (!encryption.keyDerivation.empty())
        result["keyDerivation"] = encryption.keyDerivation;
    if (encryption.iterations != 0)
        result["iterations"] = encryption.iterations;
    if (encryption.isWeak)
        result["weak"] = "its keys are few enough to be tried without the password";
    if (encryption.problem)
        result["problem"] = printable(encryption.problem.str());
    return result;
}

Description describe(PrivateKey const& key, bool withSecrets) {
    Description result = describe(*key.publicKey());
    if (!withSecrets) {
        result["secrets"] = secretsNotShown;
        return result;
    }
    if (auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key))
        result["secrets"] = {{"privateExponent", rsa->d.str()}, {"prime1", rsa->p.str()},
                             {"prime2", rsa->q.str()},          {"exponent1", rsa->exp1.str()},
                             {"exponent2", rsa->exp2.str()},    {"coefficient", rsa->coeff.str()}};
    else if (auto const* const ec = dynamic_cast<EcPrivateKey const*>(&key))
        result["secrets"] = {{"scalar", ec->secret.str()}};
    else if (auto const* const ed25519 = dynamic_cast<Ed25519PrivateKey const*>(&key))
        result["secrets"] = {{"secret", hexOf(ed25519->secret)}};
    else if (auto const* const x25519 = dynamic_cast<X25519PrivateKey const*>(&key))
        result["secrets"] = {{"secret", hexOf(x25519->secret)}};
    return result;
}

Description describe(X509Certificate const& certificate) {
    return {{"object", "certificate"},
            {"subject", printable(nameText(certificate.subjectBytes()))},
            {"issuer", printable(nameText(certificate.issuerBytes()))},
            {"serialNumber", hexOf(certificate.serialNumber)},
            {"notBefore", isoTime(certificate.notBefore)},
            {"notAfter", isoTime(certificate.notAfter)},
            {"selfSigned", certificate.selfSigned},
            {"signedWith", oid2name(certificate.signatureAlgorithm.oid)},
            {"publicKey", describeKeyOf(certificate.parsePublicKey(), certificate.subjectPublicKeyInfo)},
            {"extensions", describeExtensions(certificate.extensions())},
            {"sha256Fingerprint", fingerprint(certificate)}};
}

Description describe(X509Crl const& crl) {
    auto revoked = Description::array();
    for (RevokedCertificate const& entry : crl.revoked) {
        Description row{{"serialNumber", hexOf(entry.serialNumber)},
                        {"revocationDate", isoTime(entry.revocationDate)}};
        if (entry.reasonCode != 255) {
            std::string_view const name = crlReasonName(entry.reasonCode);
            row["reasonCode"] = entry.reasonCode;
            row["reason"] = name.empty() ? "unassigned" : std::string(name);
        }
        revoked.push_back(std::move(row));
    }
    Description description{{"object", "certificate revocation list"},
                            {"issuer", printable(nameText(crl.issuerBytes()))},
                            {"thisUpdate", isoTime(crl.thisUpdate)},
                            {"nextUpdate", nullptr}};
    if (crl.nextUpdate.seconds != 0)
        description["nextUpdate"] = isoTime(crl.nextUpdate);
    description.update({{"signedWith", oid2name(crl.signatureAlgorithm.oid)},
                        {"extensions", describeExtensions(crl.extensions())},
                        {"revoked", revoked},
                        {"sha256Fingerprint", fingerprint(crl)}});
    return description;
}

Description describe(X509Req const& request) {
    Description description{
        {"object", "certificate request"},
        {"subject", printable(nameText(request.subjectBytes()))},
        {"signedWith", oid2name(request.signatureAlgorithm.oid)},
        {"signatureVerifies", request.verifyOwnSignature()},
        {"publicKey", describeKeyOf(request.parsePublicKey(), request.subjectPublicKeyInfo)}};
    if (!request.challengePassword.empty())
        description["challengePassword"] = printable(request.challengePassword);
    if (!request.subjectAltNames.empty())
        description["subjectAlternativeName"] = generalNames(request.subjectAltNames);
    if (request.keyUsage)
        description["keyUsage"] = keyUsageNames(request.keyUsage);
    if (request.extKeyUsage)
        description["extendedKeyUsage"] = extKeyUsageNames(request.extKeyUsage);
    description["extensions"] = describeExtensions(request.extensions());
    return description;
}
