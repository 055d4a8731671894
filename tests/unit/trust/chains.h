// What the tests of this layer make chains of.
#pragma once

#include "sealkit/path.h"
#include "sealkit/pem.h"
#include "support/captured_output.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// A file of tests/pki; empty when there is none.
inline std::string readStoryFile(std::string const& name) {
    std::ifstream file(SEALKIT_TEST_DATA "/pki/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The certificates of a file of tests/pki.
inline CertificateChain readChain(std::string const& name) {
    CapturedOutput quiet;
    return readCertChain(readStoryFile(name));
}

/// Every CRL of a file of tests/pki, which may be missing.
inline std::vector<std::shared_ptr<X509Crl>> readCrls(std::string const& name) {
    std::vector<std::shared_ptr<X509Crl>> crls;
    std::string const text = readStoryFile(name);
    std::string_view rest = text, label, body;
    for (std::string_view block = rest; parsePem(rest, &label, &body); block = rest)
        crls.push_back(readCrl(block));
    return crls;
}

/// A folder of tests/pki.
struct Story {
    explicit Story(std::string const& name) : chain(readChain(name + "/chain.pem")) {
        store.certs = readChain(name + "/store.pem");
        store.crls = readCrls(name + "/crls.pem");
    }

    CertificateChain chain;
    CertificateMemoryStore store;
};

/// The time that most stories are asked at: 2025-06-01 12:00:00.
inline constexpr TimePoint storyTime = TimePoint::fromSeconds(1748779200);

inline std::vector<unsigned char> bytes(std::string_view text) { return {text.begin(), text.end()}; }

inline DistinguishedName commonName(std::string const& value) {
    DistinguishedName name;
    name.commonName = value;
    return name;
}

inline GeneralName generalName(unsigned char type, std::string const& data) {
    GeneralName name;
    name.type = type;
    name.data = data;
    return name;
}

inline GeneralName dns(std::string const& data) { return generalName(2, data); }
inline GeneralName mailbox(std::string const& data) { return generalName(1, data); }

inline IPAddr6 address(std::string_view text) {
    IPAddr6 result;
    result.parse(text);
    return result;
}

/// A CA certificate without a signature, valid from 1000 to 2000, whose key identifiers are its names
/// in lowercase with "-key".
inline std::shared_ptr<X509Certificate> unsignedCa(std::string const& subject, std::string const& issuer) {
    auto certificate = std::make_shared<X509Certificate>();
    certificate->subject = commonName(subject);
    certificate->issuer = commonName(issuer);
    certificate->subjectKeyId = bytes(subject + "-key");
    certificate->authorityKeyId = bytes(issuer + "-key");
    certificate->selfSigned = subject == issuer;
    certificate->basicConstraints = 1;
    certificate->notBefore = TimePoint::fromSeconds(1000);
    certificate->notAfter = TimePoint::fromSeconds(2000);
    return certificate;
}

inline std::shared_ptr<X509Certificate> unsignedLeaf(std::string const& subject, std::string const& issuer) {
    auto certificate = unsignedCa(subject, issuer);
    certificate->basicConstraints = 0;
    return certificate;
}

inline constexpr TimePoint inDate = TimePoint::fromSeconds(1500);

} // namespace test
