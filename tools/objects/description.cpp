#include "objects/description.h"

#include "io/clock.h"
#include "io/terminal.h"
#include "objects/extension_description.h"
#include "objects/kem_object.h"

#include "sealkit/asn1_tree.h"
#include "sealkit/bignum.h"
#include "sealkit/certificate_outline.h"
#include "sealkit/extensions.h"
#include "sealkit/key_outline.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"
#include "sealkit/pkcs8.h"

#include <nlohmann/json.hpp>

#include <type_traits>

namespace {

using terminal::printable;

/// Longer values are cut in the display, which then shows their length.
constexpr size_t maxShownBytes = 64;

} // namespace

std::string hexOf(asn1::blob bytes) { return bytes.empty() ? "(empty)" : str(bytes); }

std::string shortHexOf(asn1::blob bytes) {
    if (bytes.size() <= maxShownBytes)
        return hexOf(bytes);
    return str(asn1::blob(bytes.start, maxShownBytes)) + ":... (" + std::to_string(bytes.size()) + " bytes)";
}

/// Decimal up to a readable size: converting a number of a megabyte to decimal takes minutes.
std::string numberText(asn1::blob bytes) {
    constexpr size_t maxDecimalBytes = 32;
    return bytes.size() <= maxDecimalBytes ? BigNum(bytes).strDec() : shortHexOf(bytes);
}

namespace {

std::string fingerprint(HashID hash, asn1::blob der) { return str(calcDigest(hash, der)); }

void addFingerprints(Description& to, asn1::blob der) {
    to["sha256Fingerprint"] = fingerprint(HashID::SHA256, der);
    to["sha1Fingerprint"] = fingerprint(HashID::SHA1, der);
}

/// The text of a Time; if it is malformed, with the reason.
std::string timeText(asn1::blob element) {
    TimePoint time;
    Refusal refusal;
    if (element.empty())
        return "(missing)";
    if (time.parse(element, &refusal))
        return isoTime(time);
    return printable(asn1::derText(element)) + " (malformed)";
}

/// The number of whole days until the time, rounded down.
void addDaysLeft(Description& to, asn1::blob element) {
    TimePoint time;
    constexpr std::int64_t secondsPerDay = 86'400;
    if (!time.parse(element, nullptr) || time.seconds == TimePoint::noExpiration)
        return;
    std::int64_t const left = time.seconds - currentTime().seconds;
    to["daysLeft"] = left / secondsPerDay - (left % secondsPerDay < 0 ? 1 : 0);
}

/// Whether the octets of an INTEGER are those of a negative number.
bool isNegative(asn1::blob content) { return !content.empty() && content[0] >= 0x80; }

/// The readable parts of a key that the library does not support.
Description describeUnusedKey(asn1::blob info, std::string problem) {
    KeyOutline key;
    Refusal refusal;
    Description result{{"type", "not readable here"}};
    bool const isWhole = parseKeyOutline(info, &key, &refusal);
    result["algorithm"] = key.algorithm.empty() ? "(malformed)" : oidName(key.algorithm);
    if (key.bits != 0)
        result["bits"] = key.bits;
    if (!key.curve.empty())
        result["curve"] = key.curve;
    if (!key.modulus.empty())
        result["modulus"] = hexOf(key.modulus);
    if (!key.exponent.empty())
        result["exponent"] = numberText(key.exponent);
    if (key.modulus.empty() && !key.key.empty())
        result["key"] = shortHexOf(key.key);
    if (oidName(key.algorithm) == "RSASSA-PSS" && !key.parameters.empty())
        result["parameters"] = printable(asn1::derText(key.parameters));
    if (problem.empty() && !isWhole)
        problem = refusal.str();
    if (!problem.empty())
        result["problem"] = printable(problem);
    return result;
}

Description describeKeyOf(asn1::blob info) {
    Refusal refusal;
    if (std::unique_ptr<PublicKey> const key = parsePkcs8PublicKey(info, &refusal))
        return describe(*key);
    OpenedKemKey const kem = openKemPublicKeyInfo(info);
    if (kem.key)
        return describe(*kem.key, false);
    return describeUnusedKey(info, kem.complaint.empty() ? refusal.str() : kem.complaint.text);
}

/// Puts the reason first if the library, or only the platform's rules, refuse the object.
template <typename Object>
void addRefusal(Description& to, asn1::blob der) {
    Refusal platform, standard;
    if (Object().parse(der, &platform))
        return;
    bool isRead = false;
    if constexpr (!std::is_same_v<Object, X509Req>)
        isRead = Object().parse(der, &standard, FormRules::standard);
    to[isRead ? "refusedByPlatform" : "refused"] = printable(platform.str());
}

void addAlgorithms(Description& to, SignedOutline const& outline) {
    to["signedWith"] = printable(algorithmText(outline.signatureAlgorithm));
    if (!outline.innerSignatureAlgorithm.empty() &&
        outline.innerSignatureAlgorithm != outline.signatureAlgorithm)
        to["signedWithInside"] = printable(algorithmText(outline.innerSignatureAlgorithm));
}

void addExtensions(Description& to, SignedOutline const& outline) {
    to["extensions"] = describeExtensions(outline.extensions);
    if (outline.isExtensionListBroken)
        to["extensionsLeftOut"] = "what follows is malformed";
}

/// One entry of a CRL.
Description describeEntry(CrlEntryOutline const& entry) {
    Description row{{"serialNumber", hexOf(entry.serialNumber)},
                    {"revocationDate", timeText(entry.revocationDate)}};
    std::vector<X509Extension> others;
    for (X509Extension const& extension : entry.extensions) {
        unsigned char code = 0;
        if (oidName(extension.oid) == "reasonCode" && parseReasonCode(extension.value, &code)) {
            std::string_view const name = crlReasonName(code);
            row["reasonCode"] = code;
            row["reason"] = name.empty() ? "unassigned" : std::string(name);
        } else {
            others.push_back(extension);
        }
    }
    if (!others.empty())
        row["extensions"] = describeExtensions(others);
    return row;
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
        result["weak"] = "its keys are short enough to be searched without the password";
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
    return describeCertificate(certificate.serialize());
}

Description describeCertificate(asn1::blob der) {
    CertificateOutline outline;
    if (!parseCertificateOutline(der, &outline))
        return {};
    Description result{{"object", "certificate"}};
    addRefusal<X509Certificate>(result, der);
    X509Certificate certificate;
    bool const isRead = certificate.parse(der, nullptr, FormRules::standard);
    result["version"] = outline.version;
    result["subject"] = printable(nameText(outline.subject));
    result["issuer"] = printable(nameText(outline.issuer));
    result["serialNumber"] = hexOf(outline.serialNumber);
    if (isNegative(outline.serialNumber))
        result["serialNumberSign"] = "negative";
    result["notBefore"] = timeText(outline.notBefore);
    result["notAfter"] = timeText(outline.notAfter);
    addDaysLeft(result, outline.notAfter);
    result["selfSigned"] = isRead ? certificate.selfSigned : outline.issuer == outline.subject;
    addAlgorithms(result, outline);
    result["publicKey"] = describeKeyOf(outline.subjectPublicKeyInfo);
    if (!outline.issuerUniqueId.empty())
        result["issuerUniqueId"] = shortHexOf(outline.issuerUniqueId);
    if (!outline.subjectUniqueId.empty())
        result["subjectUniqueId"] = shortHexOf(outline.subjectUniqueId);
    addExtensions(result, outline);
    result["signature"] = shortHexOf(outline.signature);
    addFingerprints(result, der);
    return result;
}

Description describe(X509Crl const& crl) { return describeCrl(crl.serialize()); }

Description describeCrl(asn1::blob der) {
    CrlOutline outline;
    if (!parseCrlOutline(der, &outline))
        return {};
    Description result{{"object", "certificate revocation list"}};
    addRefusal<X509Crl>(result, der);
    result["version"] = outline.version;
    result["issuer"] = printable(nameText(outline.issuer));
    result["thisUpdate"] = timeText(outline.thisUpdate);
    result["nextUpdate"] = nullptr;
    if (!outline.nextUpdate.empty()) {
        result["nextUpdate"] = timeText(outline.nextUpdate);
        addDaysLeft(result, outline.nextUpdate);
    }
    addAlgorithms(result, outline);
    addExtensions(result, outline);
    Description::array_t revoked;
    asn1::blob rest = outline.revoked;
    for (CrlEntryOutline entry; nextCrlEntry(&rest, &entry);)
        revoked.push_back(describeEntry(entry));
    result["revoked"] = std::move(revoked);
    if (!rest.empty())
        result["revokedLeftOut"] = "what follows is malformed";
    result["signature"] = shortHexOf(outline.signature);
    addFingerprints(result, der);
    return result;
}

Description describe(X509Req const& request) { return describeRequest(request.serialize()); }

Description describeRequest(asn1::blob der) {
    RequestOutline outline;
    if (!parseRequestOutline(der, &outline))
        return {};
    Description result{{"object", "certificate request"}};
    addRefusal<X509Req>(result, der);
    X509Req request;
    bool const isRead = request.parse(der, nullptr);
    result["subject"] = printable(nameText(outline.subject));
    addAlgorithms(result, outline);
    if (isRead)
        result["signatureVerifies"] = request.verifyOwnSignature();
    result["publicKey"] = describeKeyOf(outline.subjectPublicKeyInfo);
    if (!request.challengePassword.empty())
        result["challengePassword"] = printable(request.challengePassword);
    if (!request.subjectAltNames.empty())
        result["subjectAlternativeName"] = describeNames(request.subjectAltNames);
    if (request.keyUsage)
        result["keyUsage"] = keyUsageNames(request.keyUsage);
    if (request.extKeyUsage)
        result["extendedKeyUsage"] = extKeyUsageNames(request.extKeyUsage);
    for (RequestAttribute const& attribute : outline.attributes) {
        std::string const name = oidName(attribute.type);
        bool const isShownAbove = name == "extensionRequest" || (isRead && name == "challengePassword");
        if (!isShownAbove)
            result["attributes"].push_back(name + " " + printable(asn1::derText(attribute.values)));
    }
    addExtensions(result, outline);
    result["signature"] = shortHexOf(outline.signature);
    return result;
}
