// What the tests of this layer make chains of.
#pragma once

#include "sealkit/path.h"
#include "sealkit/pem.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace test {

/// Catches what is written to standard output while it lives.
class CapturedOutput {
public:
    CapturedOutput() : before(std::cout.rdbuf(caught.rdbuf())) {}
    ~CapturedOutput() { std::cout.rdbuf(before); }
    CapturedOutput(CapturedOutput const&) = delete;
    CapturedOutput& operator=(CapturedOutput const&) = delete;

    std::string text() const { return caught.str(); }

private:
    std::ostringstream caught;
    std::streambuf* before;
};

inline std::string readFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A file of tests/pki.
inline std::string readStoryFile(std::string const& name) {
    return readFile(SEALKIT_TEST_DATA "/pki/" + name);
}

/// The certificates of a file of tests/pki.
inline CertificateChain readChain(std::string const& name) {
    CapturedOutput quiet;
    return readCertChain(readStoryFile(name));
}

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
