#include "trust/standard/strict.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"
#include "trust/purpose.h"

#include <algorithm>
#include <bit>
#include <string_view>
#include <utility>

namespace detail {

namespace {

constexpr unsigned minRsaBits = 2048;
constexpr unsigned minRsaExponent = 65537;
constexpr unsigned minFieldBits = 256;
constexpr size_t maxSerialNumberSize = 20; ///< RFC 5280, section 4.1.2.2.

asn1::blob withoutZeros(asn1::blob number) {
    while (!number.empty() && number[0] == 0)
        number.pop_front();
    return number;
}

size_t bitsOf(asn1::blob number) {
    asn1::blob const octets = withoutZeros(number);
    return octets.empty() ? 0 : octets.size() * 8 - static_cast<size_t>(std::countl_zero(octets[0]));
}

/// The parts of a SubjectPublicKeyInfo (RFC 5280, section 4.1.2.7). They are empty if it is malformed.
struct KeyParts {
    asn1::blob algorithm;
    asn1::blob parameters;
    asn1::blob key;
};

KeyParts readKeyInfo(asn1::blob keyInfo) {
    KeyParts parts;
    Reading silent;
    asn1::blob content, bits;
    if (!readOnly(silent, keyInfo, tag::sequence, &content))
        return {};
    Level fields(silent, content);
    if (!takeAlgorithm(fields, &parts.algorithm, &parts.parameters) || !take(fields, tag::bitString, &bits))
        return {};
    parts.key = bitStringContent(bits);
    return parts;
}

/// RSAPublicKey ::= SEQUENCE { modulus, publicExponent } (RFC 8017, appendix A.1.1). Also read for keys that
/// the library does not support.
struct RsaNumbers {
    asn1::blob modulus;
    asn1::blob exponent;
};

std::optional<RsaNumbers> readRsaNumbers(KeyParts const& info) {
    if (info.algorithm != oid::rsaEncryption && info.algorithm != oid::rsaPss)
        return std::nullopt;
    RsaNumbers numbers;
    Reading silent;
    asn1::blob content;
    if (!readOnly(silent, info.key, tag::sequence, &content))
        return std::nullopt;
    Level fields(silent, content);
    if (!takeInteger(fields, &numbers.modulus) || !takeInteger(fields, &numbers.exponent))
        return std::nullopt;
    return numbers;
}

/// The field size of an EC key on any curve, from the length of its point (SEC 1, section 2.3.3). 0 if the
/// key is malformed or not an EC key.
size_t fieldBitsOf(KeyParts const& info) {
    if (info.algorithm != oid::ecPublicKey || info.key.empty())
        return 0;
    size_t const coordinates = info.key.size() - 1;
    bool const isCompressed = info.key[0] == 2 || info.key[0] == 3;
    return (isCompressed ? coordinates : coordinates / 2) * 8;
}

/// The criticality that RFC 5280 requires of an extension with a MUST.
enum class Criticality { mustBe, mustNotBe };

struct CriticalityRule {
    std::span<unsigned char const> oid;
    Criticality criticality;
};

constexpr CriticalityRule criticalityRules[] = {
    {oid::nameConstraints, Criticality::mustBe},
    {oid::policyConstraints, Criticality::mustBe},
    {oid::inhibitAnyPolicy, Criticality::mustBe},
    {oid::authorityKeyIdentifier, Criticality::mustNotBe},
    {oid::subjectKeyIdentifier, Criticality::mustNotBe},
    {oid::subjectDirectoryAttributes, Criticality::mustNotBe},
    {oid::freshestCrl, Criticality::mustNotBe},
    {oid::authorityInfoAccess, Criticality::mustNotBe},
    {oid::subjectInfoAccess, Criticality::mustNotBe},
};

/// The rules for one certificate of a path. Each check returns a violation or nothing.
class Rules {
public:
    Rules(CertificateFields const& judged, size_t at)
        : fields(judged), certificate(*judged.certificate), depth(at) {}

    using Result = std::optional<StrictViolation>;

    Result checkKeySize() const {
        KeyParts const info = readKeyInfo(certificate.subjectPublicKeyInfo);
        if (auto const rsa = readRsaNumbers(info)) {
            size_t const bits = bitsOf(rsa->modulus);
            return bits < minRsaBits ? breaks(PathCode::shortRsaKey, {{"bits", std::to_string(bits)}})
                                     : std::nullopt;
        }
        size_t const bits = fieldBitsOf(info);
        if (bits == 0 || bits >= minFieldBits)
            return std::nullopt;
        return breaks(PathCode::weakCurve, {{"bits", std::to_string(bits)}});
    }

    /// RFC 5280, section 4.1.2.6. Every certificate above the leaf is a CA.
    Result checkSubject() const {
        bool const isNameless = fields.isSubjectEmpty && (fields.isCa || depth > 0);
        return isNameless ? breaks(PathCode::emptyCaSubject) : std::nullopt;
    }

    /// The rules that do not apply to the anchor.
    Result checkIssued(asn1::blob issuerKeyInfo) const {
        Result result = checkSignature();
        if (!result)
            result = checkExponent();
        if (!result)
            result = checkSerialNumber();
        if (!result)
            result = checkKeyIdentifiers(issuerKeyInfo);
        if (!result)
            result = checkCriticality();
        return result;
    }

    Result checkLeaf(PathOptions const& options) const {
        PathPurpose const purpose = standardPurpose(options);
        Result result = checkUse(purpose);
        if (!result)
            result = checkNames(purpose);
        return result;
    }

private:
    Result breaks(PathCode code, std::vector<Fact> facts = {}) const {
        return StrictViolation{code, depth, std::move(facts)};
    }

    Result checkSignature() const {
        if (!isSignedOverWeakHash(certificate))
            return std::nullopt;
        return breaks(PathCode::weakSignatureHash,
                      {{"signature algorithm", oid2name(certificate.signatureAlgorithm.oid)}});
    }

    Result checkExponent() const {
        auto const rsa = readRsaNumbers(readKeyInfo(certificate.subjectPublicKeyInfo));
        if (!rsa || bitsOf(rsa->exponent) >= static_cast<size_t>(std::bit_width(minRsaExponent)))
            return std::nullopt;
        unsigned exponent = 0;
        for (unsigned char const octet : withoutZeros(rsa->exponent))
            exponent = exponent << 8 | octet;
        return breaks(PathCode::smallRsaExponent, {{"public exponent", std::to_string(exponent)}});
    }

    Result checkSerialNumber() const {
        asn1::blob const number = certificate.serialNumber;
        if (number.size() > maxSerialNumberSize)
            return breaks(PathCode::invalidSerialNumber, {{"octets", std::to_string(number.size())}});
        bool const isNegative = !number.empty() && (number[0] & 0x80) != 0;
        if (!isNegative && !withoutZeros(number).empty())
            return std::nullopt;
        return breaks(PathCode::invalidSerialNumber, {{"serial number", str(number)}});
    }

    /// RFC 5280, sections 4.2.1.1 and 4.2.1.2. A certificate is self-signed if the issuer's key is its own.
    Result checkKeyIdentifiers(asn1::blob issuerKeyInfo) const {
        bool const isSelfSigned =
            fields.isSelfIssued && issuerKeyInfo == asn1::blob(certificate.subjectPublicKeyInfo);
        asn1::blob missing;
        if (certificate.authorityKeyId.empty() && !isSelfSigned)
            missing = oid::authorityKeyIdentifier;
        else if (certificate.subjectKeyId.empty() && fields.isCa)
            missing = oid::subjectKeyIdentifier;
        else
            return std::nullopt;
        return breaks(PathCode::keyIdentifierMissing, {{"missing", oidName(missing)}});
    }

    Result checkCriticality() const {
        for (CriticalityRule const& rule : criticalityRules)
            if (auto result = checkCriticality(rule.oid, rule.criticality))
                return result;
        // RFC 5280, section 4.2.1.9. Without a key usage extension, all usages are allowed.
        if (fields.isCa && fields.keyUsage.value_or(KeyUsage::keyCertSign) & KeyUsage::keyCertSign)
            if (auto result = checkCriticality(oid::basicConstraints, Criticality::mustBe))
                return result;
        // RFC 5280, section 4.2.1.6.
        if (fields.isSubjectEmpty)
            return checkCriticality(oid::subjectAltName, Criticality::mustBe);
        return std::nullopt;
    }

    Result checkCriticality(asn1::blob id, Criticality criticality) const {
        X509Extension const* const extension = fields.find(id);
        bool const mustBe = criticality == Criticality::mustBe;
        if (extension == nullptr || extension->critical == mustBe)
            return std::nullopt;
        return breaks(PathCode::wrongCriticality,
                      {{"extension", oidName(id)}, {"expected", mustBe ? "critical" : "not critical"}});
    }

    bool hasPurpose(asn1::blob purpose) const {
        return fields.extendedKeyUsage &&
               std::ranges::find(*fields.extendedKeyUsage, purpose) != fields.extendedKeyUsage->end();
    }

    Result checkUse(PathPurpose purpose) const {
        if (fields.isCa)
            return purpose == PathPurpose::any
                       ? std::nullopt
                       : breaks(PathCode::caAsEndEntity, {{"basic constraints", "cA TRUE"}});
        if (!fields.extendedKeyUsage)
            return breaks(PathCode::extendedKeyUsageMissing);
        if (hasPurpose(oid::anyExtendedKeyUsage))
            return breaks(PathCode::anyExtendedKeyUsage);
        return std::nullopt;
    }

    Result checkNames(PathPurpose purpose) const {
        bool const isNamed = purpose == PathPurpose::tlsServer || purpose == PathPurpose::emailProtection ||
                             (purpose == PathPurpose::any &&
                              (hasPurpose(oid::serverAuth) || hasPurpose(oid::emailProtection)));
        if (isNamed && certificate.subjectAltNames.empty())
            return breaks(PathCode::subjectAltNameMissing, {{"subject", getDisplayName(certificate)}});
        for (GeneralName const& name : certificate.subjectAltNames)
            if (name.type == GeneralName::dnsName && isWide(name.data))
                return breaks(PathCode::wideWildcard, {{"name", generalNameText(name)}});
        return std::nullopt;
    }

    /// Whether a wildcard precedes at most one label.
    static bool isWide(std::string_view name) {
        return name == "*" || (name.starts_with("*.") && name.find('.', 2) >= name.size() - 1);
    }

    CertificateFields const& fields;
    X509Certificate const& certificate;
    size_t depth;
};

} // namespace

bool isSignedOverWeakHash(X509Base const& object) {
    KeyType type{};
    HashID hash{};
    return parseAlgosFromKeyInfo(encode(object.signatureAlgorithm), &type, &hash) &&
           (hash == HashID::MD5 || hash == HashID::SHA1);
}

std::optional<StrictViolation> findStrictViolation(std::span<CertificateFields const* const> path,
                                                   PathOptions const& options) {
    for (size_t depth = 0; depth < path.size(); depth++) {
        Rules const rules(*path[depth], depth);
        auto violation = rules.checkKeySize();
        if (!violation)
            violation = rules.checkSubject();
        if (!violation && depth + 1 < path.size())
            violation = rules.checkIssued(path[depth + 1]->certificate->subjectPublicKeyInfo);
        if (!violation && depth == 0)
            violation = rules.checkLeaf(options);
        if (violation)
            return violation;
    }
    return std::nullopt;
}

} // namespace detail
