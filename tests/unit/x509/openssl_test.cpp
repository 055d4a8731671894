/// Objects that another program made, against what that program reads out of them.
#include "objects.h"

#include "support/vectors.h"

#include <kp/base64.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace TEST_FILE {

using namespace test;

/// The decoded blocks of a PEM text.
std::vector<Bytes> readPem(std::string const& path) {
    std::ifstream file(path);
    std::vector<Bytes> blocks;
    std::string body;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("-----BEGIN ")) {
            body.clear();
        } else if (line.starts_with("-----END ")) {
            Bytes block(body.size() / 4 * 3);
            block.resize(kp::base64Decode(body, block));
            blocks.push_back(std::move(block));
        } else {
            body += line;
        }
    }
    return blocks;
}

template <typename Object>
Parsed<Object> readObject(std::string const& name) {
    std::vector<Bytes> blocks = readPem(SEALKIT_TEST_DATA "/vectors/x509/" + name);
    EXPECT_EQ(blocks.size(), 1u) << name;
    Parsed<Object> parsed(blocks.empty() ? Bytes() : blocks[0]);
    EXPECT_TRUE(parsed.accepted) << name;
    EXPECT_EQ(parsed.object.serialize(), blocks.at(0)) << name;
    return parsed;
}

// openssl's way of writing things.

std::string join(std::vector<std::string> const& parts, std::string const& separator) {
    std::string text;
    for (std::string const& part : parts)
        text += (text.empty() ? "" : separator) + part;
    return text;
}

std::string colons(Bytes const& bytes) {
    std::string text = str(bytes);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

std::string date(TimePoint time) { return time.toString().substr(4) + " GMT"; }

/// The attributes that the library knows, in its own order.
std::string name(DistinguishedName const& from) {
    std::string text = from.str();
    if (size_t at = text.find("S="); at == 0 || (at != std::string::npos && text[at - 1] == ' '))
        text.insert(at + 1, "T");
    if (size_t at = text.find("SerialNumber="); at != std::string::npos)
        text[at] = 's';
    return text;
}

std::string generalName(GeneralName const& from) {
    switch (from.type) {
    case 1:
        return "email:" + from.dataStr();
    case 2:
        return "DNS:" + from.dataStr();
    case 6:
        return "URI:" + from.dataStr();
    case 7:
        if (from.data.size() == 16) {
            // Without the compression of zeros.
            std::string text;
            for (size_t i = 0; i < 16; i += 2) {
                char group[6];
                std::snprintf(group, sizeof group, ":%X",
                              static_cast<unsigned char>(from.data[i]) << 8 |
                                  static_cast<unsigned char>(from.data[i + 1]));
                text += group;
            }
            return "IP Address" + text;
        }
        return "IP Address:" + from.dataStr();
    default:
        return "?";
    }
}

std::string generalNames(std::vector<GeneralName> const& from) {
    std::vector<std::string> names;
    std::transform(from.begin(), from.end(), std::back_inserter(names), generalName);
    return join(names, ", ");
}

std::string bitNames(unsigned bits, std::vector<std::string> const& names) {
    std::vector<std::string> set;
    for (size_t i = 0; i < names.size(); i++)
        if (bits >> i & 1)
            set.push_back(names[i]);
    return join(set, ", ");
}

std::string keyUsage(unsigned bits) {
    return bitNames(bits,
                    {"Digital Signature", "Non Repudiation", "Key Encipherment", "Data Encipherment",
                     "Key Agreement", "Certificate Sign", "CRL Sign", "Encipher Only", "Decipher Only"});
}

std::string extKeyUsage(unsigned bits) {
    return bitNames(bits, {"TLS Web Server Authentication", "TLS Web Client Authentication", "Code Signing",
                           "E-mail Protection", "Time Stamping", "OCSP Signing", "dvcs"});
}

std::string algorithm(AlgorithmIdentifier const& from) {
    std::string text = oid2name(from.oid);
    return text == "SHA256+RSA"     ? "sha256WithRSAEncryption"
           : text == "SHA256+ECDSA" ? "ecdsa-with-SHA256"
           : text == "SHA384+ECDSA" ? "ecdsa-with-SHA384"
                                    : oidStr(from.oid);
}

/// The text of a field without what the library does not read.
std::string without(std::string text, std::string const& part) {
    if (size_t at = text.find(part); !part.empty() && at != std::string::npos)
        text.erase(at, part.size());
    return text;
}

void compareCertificate(Case const& facts) {
    Parsed<X509Certificate> parsed = readObject<X509Certificate>(facts.id());
    X509Certificate const& certificate = parsed.object;
    EXPECT_EQ(toHex(certificate.serialNumber),
              (facts.text("serial")[0] >= '8' ? "00" : "") + facts.text("serial"));
    EXPECT_EQ(name(certificate.issuer), facts.text("issuer"));
    EXPECT_EQ(name(certificate.subject),
              without(facts.text("subject"), ", emailAddress=someone@example.test"));
    EXPECT_EQ(date(certificate.notBefore), facts.text("notBefore"));
    EXPECT_EQ(date(certificate.notAfter), facts.text("notAfter"));
    EXPECT_EQ(certificate.selfSigned, facts.text("issuer") == facts.text("subject"));
    std::string constraints = facts.text("basicConstraints");
    EXPECT_EQ(certificate.basicConstraints == 0, constraints.empty());
    EXPECT_EQ(certificate.basicConstraints == 1, constraints.starts_with("CA:TRUE"));
    EXPECT_EQ(keyUsage(certificate.keyUsage), facts.text("keyUsage"));
    EXPECT_EQ(extKeyUsage(certificate.extKeyUsage),
              without(facts.text("extendedKeyUsage"), ", 1.3.6.1.4.1.55555.8"));
    EXPECT_EQ(colons(certificate.subjectKeyId), facts.text("subjectKeyId"));
    std::string authority =
        without(facts.text("authorityKeyId"), " DirName:/C=UY/O=Example/CN=Root serial:00");
    EXPECT_EQ(colons(certificate.authorityKeyId), without(authority, "keyid:"));
    EXPECT_EQ(generalNames(certificate.subjectAltNames), facts.text("subjectAltName"));
    std::string points;
    for (GeneralName const& point : certificate.crlDistributionPoints)
        points += (points.empty() ? "" : " ") + ("Full Name: " + generalName(point));
    EXPECT_EQ(points, facts.text("crlDistributionPoints"));
    std::string names;
    if (certificate.nameConstraintPermitted.type != GeneralName::none)
        names = "Permitted: " + generalName(certificate.nameConstraintPermitted) +
                " Excluded: " + generalName(certificate.nameConstraintExcluded);
    EXPECT_EQ(names, facts.text("nameConstraints"));
    std::string signedWith = facts.text("signedWith");
    EXPECT_EQ(algorithm(certificate.signatureAlgorithm),
              signedWith == "ED25519" ? "1.3.101.112" : signedWith);
    EXPECT_EQ(toHex(certificate.subjectPublicKeyInfo), facts.text("publicKey"));
    EXPECT_NE(certificate.parsePublicKey(), nullptr);
    if (facts.id() == "leaf.pem") {
        EXPECT_EQ(parsed.said, "unknown name attr: 1.2.840.113549.1.9.1\n"
                               "unknown extended key usage 1.3.6.1.4.1.55555.8\n"
                               "unknown ext id=1.3.6.1.4.1.55555.7\n");
        EXPECT_EQ(certificate.extensions().size(), 13u);
    } else {
        EXPECT_EQ(parsed.said, "");
    }
}

void compareCrl(Case const& facts) {
    Parsed<X509Crl> parsed = readObject<X509Crl>(facts.id());
    X509Crl const& crl = parsed.object;
    EXPECT_EQ(name(crl.issuer), facts.text("issuer"));
    EXPECT_EQ(date(crl.thisUpdate), facts.text("lastUpdate"));
    EXPECT_EQ(date(crl.nextUpdate), facts.text("nextUpdate"));
    EXPECT_EQ(toHex(crl.crlNumber), facts.text("crlNumber"));
    EXPECT_EQ(colons(crl.authorityKeyId), facts.text("authorityKeyId"));
    EXPECT_EQ(algorithm(crl.signatureAlgorithm), facts.text("signedWith"));
    // RFC 5280, section 5.3.1.
    char const* const reasons[] = {
        "Unspecified",    "Key Compromise",         "CA Compromise",    "Affiliation Changed",
        "Superseded",     "Cessation Of Operation", "Certificate Hold", "?",
        "Remove From CRL"};
    std::vector<std::string> serials, dates, texts;
    for (RevokedCertificate const& entry : crl.revoked) {
        serials.push_back(toHex(entry.serialNumber));
        dates.push_back(date(entry.revocationDate));
        ASSERT_LT(entry.reasonCode, std::size(reasons));
        texts.push_back(reasons[entry.reasonCode]);
    }
    EXPECT_EQ(join(serials, " "), facts.text("serials"));
    EXPECT_EQ(join(dates, ","), facts.text("dates"));
    EXPECT_EQ(join(texts, ","), facts.text("reasons"));
    EXPECT_EQ(parsed.said, "ignoring crl ext issuingDistributionPoint\n");
}

void compareReq(Case const& facts) {
    Parsed<X509Req> parsed = readObject<X509Req>(facts.id());
    X509Req const& req = parsed.object;
    EXPECT_EQ(name(req.subject), facts.text("subject"));
    EXPECT_EQ(req.challengePassword, facts.text("challengePassword"));
    EXPECT_EQ(generalNames(req.subjectAltNames), facts.text("subjectAlternativeName"));
    EXPECT_EQ(keyUsage(req.keyUsage), facts.text("keyUsage"));
    EXPECT_EQ(extKeyUsage(req.extKeyUsage), facts.text("extendedKeyUsage"));
    EXPECT_EQ(toHex(req.subjectPublicKeyInfo), facts.text("publicKey"));
    EXPECT_NE(req.parsePublicKey(), nullptr);
    EXPECT_EQ(parsed.said, facts.id() == "plain.csr" ? ""
                                                     : "unknown attribute 1.2.840.113549.1.9.2\n"
                                                       "unknown ext id=2.5.29.19\n");
}

TEST_CASES(OpenSsl, FieldsAreWhatOpenSslReads, "x509/openssl.txt")(test::Case const& facts) {
    SCOPED_TRACE(facts.id());
    if (facts.id().ends_with(".pem"))
        compareCertificate(facts);
    else if (facts.id().ends_with(".crl"))
        compareCrl(facts);
    else
        compareReq(facts);
}

TEST(OpenSsl, TheRootsOfThisMachineAreRead) {
    std::vector<Bytes> roots = readPem("/etc/ssl/certs/ca-certificates.crt");
    if (roots.empty())
        GTEST_SKIP() << "no ca-certificates here";
    for (Bytes const& root : roots) {
        Parsed<X509Certificate> parsed(root);
        EXPECT_TRUE(parsed.accepted) << toHex(root);
        EXPECT_EQ(parsed.object.serialize(), root);
        EXPECT_TRUE(parsed.object.selfSigned) << parsed.object.subject.str();
        EXPECT_NE(parsed.object.parsePublicKey(), nullptr) << parsed.object.subject.str();
        EXPECT_FALSE(dumpOf(parsed.object).empty());
    }
    std::cout << roots.size() << " roots read" << std::endl;
}

} // namespace TEST_FILE
