#include "objects/description.h"

#include "io/clock.h"
#include "io/terminal.h"

#include "sealkit/asn1.h"
#include "sealkit/bignum.h"
#include "sealkit/path.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

namespace {

using terminal::printable;

constexpr unsigned tagBoolean = 0x01, tagInteger = 0x02, tagOid = 0x06, tagBmpString = 0x1E,
                   tagSequence = 0x30, tagSet = 0x31, tagKeyId = 0x80;

/// Values longer than this are cut in the display; their length is told.
constexpr size_t maxShownBytes = 64;

struct NamedOid {
    char const* dotted;
    char const* name;
};

/// Names that only a display needs. Those that decide something are the library's.
NamedOid const attributeNames[] = {
    {"2.5.4.3", "CN"},
    {"2.5.4.4", "SN"},
    {"2.5.4.5", "SerialNumber"},
    {"2.5.4.6", "C"},
    {"2.5.4.7", "L"},
    {"2.5.4.8", "S"},
    {"2.5.4.9", "street"},
    {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},
    {"2.5.4.12", "title"},
    {"2.5.4.15", "businessCategory"},
    {"2.5.4.17", "postalCode"},
    {"2.5.4.42", "GN"},
    {"2.5.4.46", "dnQualifier"},
    {"2.5.4.97", "organizationIdentifier"},
    {"0.9.2342.19200300.100.1.1", "UID"},
    {"0.9.2342.19200300.100.1.25", "DC"},
    {"1.2.840.113549.1.9.1", "emailAddress"},
};

NamedOid const extensionNames[] = {
    {"2.5.29.9", "subjectDirectoryAttributes"},
    {"2.5.29.14", "subjectKeyIdentifier"},
    {"2.5.29.15", "keyUsage"},
    {"2.5.29.17", "subjectAlternativeName"},
    {"2.5.29.18", "issuerAlternativeName"},
    {"2.5.29.19", "basicConstraints"},
    {"2.5.29.20", "crlNumber"},
    {"2.5.29.28", "issuingDistributionPoint"},
    {"2.5.29.30", "nameConstraints"},
    {"2.5.29.31", "crlDistributionPoints"},
    {"2.5.29.32", "certificatePolicies"},
    {"2.5.29.33", "policyMappings"},
    {"2.5.29.35", "authorityKeyIdentifier"},
    {"2.5.29.36", "policyConstraints"},
    {"2.5.29.37", "extendedKeyUsage"},
    {"2.5.29.46", "freshestCrl"},
    {"2.5.29.54", "inhibitAnyPolicy"},
    {"1.3.6.1.5.5.7.1.1", "authorityInformationAccess"},
    {"1.3.6.1.5.5.7.1.11", "subjectInformationAccess"},
    {"1.3.6.1.5.5.7.1.24", "tlsFeature"},
    {"1.3.6.1.4.1.11129.2.4.2", "signedCertificateTimestamps"},
};

NamedOid const usageNames[] = {
    {"1.3.6.1.5.5.7.3.1", "tls-server"},    {"1.3.6.1.5.5.7.3.2", "tls-client"},
    {"1.3.6.1.5.5.7.3.3", "code-signing"},  {"1.3.6.1.5.5.7.3.4", "email-protection"},
    {"1.3.6.1.5.5.7.3.8", "time-stamping"}, {"1.3.6.1.5.5.7.3.9", "ocsp-signing"},
    {"1.3.6.1.5.5.7.3.10", "dvcs"},         {"2.5.29.37.0", "any"},
    {"1.3.6.1.5.5.7.48.1", "ocsp"},         {"1.3.6.1.5.5.7.48.2", "ca-issuers"},
};

template <size_t N>
std::string nameOf(NamedOid const (&names)[N], asn1::blob oid) {
    std::string dotted = oidStr(oid);
    for (NamedOid const& row : names)
        if (dotted == row.dotted)
            return row.name;
    return dotted;
}

/// A BMPString's UTF-16 as UTF-8; what is no valid UTF-16 becomes the replacement character.
std::string fromBmp(asn1::blob value) {
    std::string text;
    auto append = [&](char32_t c) {
        if (c < 0x80) {
            text += static_cast<char>(c);
        } else if (c < 0x800) {
            text += static_cast<char>(0xC0 | (c >> 6));
            text += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            text += static_cast<char>(0xE0 | (c >> 12));
            text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            text += static_cast<char>(0x80 | (c & 0x3F));
        }
    };
    for (size_t i = 0; i + 1 < value.size(); i += 2) {
        char32_t const unit = static_cast<char32_t>(value[i] << 8 | value[i + 1]);
        append(unit >= 0xD800 && unit < 0xE000 ? 0xFFFD : unit);
    }
    return text;
}

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

std::string nameText(asn1::blob name) {
    std::string text;
    asn1::parser sets(name);
    if (!sets.enter(tagSequence))
        return "(malformed)";
    while (sets.tag == tagSet) {
        asn1::parser attributes(sets.take());
        char const* separator = text.empty() ? "" : ", ";
        while (attributes.tag == tagSequence) {
            asn1::parser attribute(attributes.take());
            if (attribute.tag != tagOid)
                break;
            asn1::blob const oid = attribute.take();
            unsigned const tag = attribute.tag;
            asn1::blob const value = attribute.take();
            text += separator + nameOf(attributeNames, oid) + "=" +
                    printable(tag == tagBmpString ? fromBmp(value) : std::string(value.begin(), value.end()));
            separator = "+";
        }
    }
    return text;
}

namespace {

std::string generalNameText(GeneralName const& name) {
    std::string const type = name.typeStr();
    if (name.type == 0x24)
        return "Name: " + nameText(name.data);
    bool const text = name.type == 1 || name.type == 2 || name.type == 6 || name.type == 7;
    return (type.empty() ? "type " + std::to_string(name.type) : type) + ": " +
           (text ? printable(name.dataStr()) : shortHexOf(name.data));
}

Description generalNames(std::vector<GeneralName> const& names) {
    auto list = Description::array();
    for (GeneralName const& name : names)
        list.push_back(generalNameText(name));
    return list;
}

/// The names that the library's own dump gives usage bits, one by one.
Description usageNamesOf(unsigned bits) {
    std::ostringstream dump;
    X509Certificate::dumpKeyUsage(bits, dump);
    auto list = Description::array();
    std::string const text = dump.str();
    size_t const colon = text.find(": ");
    if (colon == std::string::npos)
        return list;
    std::istringstream names(text.substr(colon + 2));
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
        name.erase(std::remove(name.begin(), name.end(), '\n'), name.end());
        list.push_back(name);
    }
    return list;
}

Description oidList(asn1::blob value) {
    auto list = Description::array();
    asn1::parser oids(value);
    if (oids.enter(tagSequence))
        while (oids.tag == tagOid)
            list.push_back(nameOf(usageNames, oids.take()));
    return list;
}

Description policies(asn1::blob value) {
    auto list = Description::array();
    asn1::parser informations(value);
    if (informations.enter(tagSequence))
        while (informations.tag == tagSequence) {
            asn1::parser information(informations.take());
            if (information.tag == tagOid)
                list.push_back(oidStr(information.take()));
        }
    return list;
}

Description accessDescriptions(asn1::blob value) {
    auto list = Description::array();
    asn1::parser descriptions(value);
    if (descriptions.enter(tagSequence))
        while (descriptions.tag == tagSequence) {
            asn1::parser description(descriptions.take());
            if (description.tag != tagOid)
                break;
            std::string const method = nameOf(usageNames, description.take());
            GeneralName location;
            location.parse(description.takeWhole());
            list.push_back(method + " " + generalNameText(location));
        }
    return list;
}

Description basicConstraints(asn1::blob value) {
    Description result{{"ca", false}};
    asn1::parser fields(value);
    if (!fields.enter(tagSequence))
        return result;
    if (fields.tag == tagBoolean) {
        asn1::blob const ca = fields.take();
        result["ca"] = !ca.empty() && ca[0] != 0;
    }
    if (fields.tag == tagInteger)
        result["pathLength"] = numberText(fields.take());
    return result;
}

/// The keyIdentifier of an AuthorityKeyIdentifier; everything in it where there is none.
std::string authorityKeyIdText(asn1::blob value) {
    asn1::parser fields(value);
    bool const hasKeyId = fields.enter(tagSequence) && fields.tag == tagKeyId;
    return hasKeyId ? hexOf(fields.take()) : shortHexOf(value);
}

/// What an extension says. `certificate` is given for those whose parsed form is a field of it.
Description extensionValue(std::string const& name, asn1::blob value, X509Certificate const* certificate) {
    if (name == "basicConstraints")
        return basicConstraints(value);
    if (name == "extendedKeyUsage")
        return oidList(value);
    if (name == "certificatePolicies")
        return policies(value);
    if (name == "authorityInformationAccess" || name == "subjectInformationAccess")
        return accessDescriptions(value);
    if (name == "authorityKeyIdentifier")
        return authorityKeyIdText(value);
    if (name == "crlNumber")
        return numberText(asn1::parser(value).take());
    if (certificate) {
        if (name == "subjectKeyIdentifier")
            return hexOf(certificate->subjectKeyId);
        if (name == "keyUsage")
            return usageNamesOf(certificate->keyUsage);
        if (name == "subjectAlternativeName")
            return generalNames(certificate->subjectAltNames);
        if (name == "crlDistributionPoints")
            return generalNames(certificate->crlDistributionPoints);
        if (name == "nameConstraints") {
            Description result;
            if (certificate->nameConstraintPermitted.type != GeneralName::none)
                result["permitted"] = generalNameText(certificate->nameConstraintPermitted);
            if (certificate->nameConstraintExcluded.type != GeneralName::none)
                result["excluded"] = generalNameText(certificate->nameConstraintExcluded);
            return result;
        }
    }
    return shortHexOf(value);
}

Description describeExtensions(std::vector<X509Extension> const& extensions,
                               X509Certificate const* certificate) {
    // No identifier comes twice, and looking for each among those before it would take quadratic time.
    Description::object_t members;
    members.reserve(extensions.size());
    for (X509Extension const& extension : extensions) {
        std::string const name = nameOf(extensionNames, extension.oid);
        Description const value = {{"critical", extension.critical},
                                   {"value", extensionValue(name, extension.value, certificate)}};
        members.push_back({name, value});
    }
    return members;
}

std::string fingerprint(X509Base const& object) {
    return str(calcDigest(HashID::SHA256, object.serialize()));
}

std::string endText(TimePoint time) { return time.seconds == 0 ? "(none)" : formatTime(time); }

Description describeKeyOf(std::unique_ptr<PublicKey> const& key, asn1::blob info) {
    if (key)
        return describe(*key);
    asn1::parser fields(info);
    fields.enter(tagSequence);
    fields.enter(tagSequence);
    return {{"type", "not readable here"},
            {"algorithm", fields.tag == tagOid ? oidStr(fields.take()) : "(malformed)"}};
}

} // namespace

Description describe(PublicKey const& key) {
    std::vector<unsigned char> const encoded = key.encodeToDerEncoded();
    switch (key.keyType()) {
    case KeyType::RSA: {
        asn1::parser numbers(encoded);
        numbers.enter(tagSequence);
        BigNum const modulus(numbers.take()), exponent(numbers.take());
        return {{"type", "RSA"},
                {"bits", modulus.bits()},
                {"modulus", modulus.str()},
                {"exponent", exponent.strDec()}};
    }
    case KeyType::EC: {
        Curve const curve = getCurveID(asn1::parser(key.algorithmParams()).take());
        return {{"type", "EC"}, {"curve", getCurveName(curve)}, {"point", hexOf(encoded)}};
    }
    case KeyType::Ed25519:
        return {{"type", "Ed25519"}, {"point", hexOf(encoded)}};
    case KeyType::X25519:
        return {{"type", "X25519"}, {"coordinate", hexOf(encoded)}};
    }
    return {};
}

Description describe(KeyEncryption const& encryption) {
    Description result{{"scheme", printable(encryption.scheme.empty() ? "(malformed)" : encryption.scheme)}};
    if (!encryption.cipher.empty())
        result["cipher"] = printable(encryption.cipher);
    if (!encryption.keyDerivation.empty())
        result["keyDerivation"] = encryption.keyDerivation;
    if (encryption.iterations != 0)
        result["iterations"] = encryption.iterations;
    if (encryption.problem)
        result["problem"] = printable(encryption.problem.str());
    return result;
}

Description describe(PrivateKey const& key, bool withSecrets) {
    Description result = describe(*key.publicKey());
    if (!withSecrets) {
        result["secrets"] = "not shown (--secrets shows them)";
        return result;
    }
    std::vector<unsigned char> encoded = key.encodeToDerEncoded();
    Description secrets;
    asn1::parser fields(encoded);
    if (key.keyType() == KeyType::RSA) {
        static char const* const names[] = {"privateExponent", "prime1",    "prime2",
                                            "exponent1",       "exponent2", "coefficient"};
        fields.enter(tagSequence);
        for (int i = 0; i < 3; ++i)
            fields.next(); // The version and the public numbers.
        for (char const* name : names)
            secrets[name] = BigNum(fields.take()).str();
    } else if (key.keyType() == KeyType::EC) {
        fields.enter(tagSequence);
        fields.next(); // The version.
        secrets["scalar"] = BigNum(fields.take()).str();
    } else {
        secrets["secret"] = hexOf(fields.take());
    }
    secureMemset(encoded.data(), 0, encoded.size());
    result["secrets"] = secrets;
    return result;
}

Description describe(X509Certificate const& certificate) {
    return {{"object", "certificate"},
            {"subject", nameText(certificate.subjectBytes())},
            {"issuer", nameText(certificate.issuerBytes())},
            {"serialNumber", hexOf(certificate.serialNumber)},
            {"notBefore", formatTime(certificate.notBefore)},
            {"notAfter", formatTime(certificate.notAfter)},
            {"selfSigned", certificate.selfSigned},
            {"signedWith", oid2name(certificate.signatureAlgorithm.oid)},
            {"publicKey", describeKeyOf(certificate.parsePublicKey(), certificate.subjectPublicKeyInfo)},
            {"extensions", describeExtensions(certificate.extensions(), &certificate)},
            {"sha256Fingerprint", fingerprint(certificate)}};
}

Description describe(X509Crl const& crl) {
    // Texts, not objects: a list may have hundreds of thousands of entries.
    auto revoked = Description::array();
    for (RevokedCertificate const& entry : crl.revoked) {
        std::string row = hexOf(entry.serialNumber) + " since " + formatTime(entry.revocationDate);
        if (entry.reasonCode != 255)
            row += ", reason " + std::to_string(entry.reasonCode) + " " + getCrlReasonText(entry.reasonCode);
        revoked.push_back(std::move(row));
    }
    return {{"object", "certificate revocation list"},
            {"issuer", nameText(crl.issuerBytes())},
            {"thisUpdate", formatTime(crl.thisUpdate)},
            {"nextUpdate", endText(crl.nextUpdate)},
            {"signedWith", oid2name(crl.signatureAlgorithm.oid)},
            {"extensions", describeExtensions(crl.extensions(), nullptr)},
            {"revoked", revoked},
            {"sha256Fingerprint", fingerprint(crl)}};
}

Description describe(X509Req const& request) {
    PathRes result;
    Description description{
        {"object", "certificate request"},
        {"subject", nameText(request.subjectBytes())},
        {"signedWith", oid2name(request.signatureAlgorithm.oid)},
        {"signatureVerifies", verifySignature(&request, request.subjectPublicKeyInfo, &result)},
        {"publicKey", describeKeyOf(request.parsePublicKey(), request.subjectPublicKeyInfo)}};
    if (!request.challengePassword.empty())
        description["challengePassword"] = printable(request.challengePassword);
    if (!request.subjectAltNames.empty())
        description["subjectAlternativeName"] = generalNames(request.subjectAltNames);
    if (request.keyUsage)
        description["keyUsage"] = usageNamesOf(request.keyUsage);
    if (request.extKeyUsage)
        description["extendedKeyUsage"] = usageNamesOf(request.extKeyUsage << 16);
    description["extensions"] = describeExtensions(request.extensions(), nullptr);
    return description;
}
