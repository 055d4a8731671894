/// Issues a certificate for a request, for 90 days, as a CA that has checked that the names are the
/// requester's.
#include <sealkit/sealkit.h>

#include <iostream>

namespace {

/// Prints why a file cannot be used. Returns the exit status.
int cannotUse(char const* path, Refusal const& refusal) {
    std::cout << path << ": " << printable(refusal.str()) << std::endl;
    return 2;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        std::cout << "usage: issue_certificate CA-CERTIFICATE CA-KEY REQUEST" << std::endl;
        return 3;
    }
    Refusal refusal;
    std::unique_ptr<X509Certificate> const ca = readCertFromFile(arguments[1], &refusal);
    if (!ca)
        return cannotUse(arguments[1], refusal);
    std::unique_ptr<PrivateKey> const caKey = readPrivateKeyFromFile(arguments[2], &refusal, {});
    if (!caKey)
        return cannotUse(arguments[2], refusal);
    std::unique_ptr<X509Req> const request = readReqFromFile(arguments[3], &refusal);
    if (!request)
        return cannotUse(arguments[3], refusal);
    if (!request->verifyOwnSignature()) {
        std::cout << "the request is not signed with its own key" << std::endl;
        return 1;
    }

    X509Certificate certificate;
    certificate.serialNumber.resize(16);
    if (!getDefaultRng().fill(certificate.serialNumber.data(), 16)) {
        std::cout << "no random bytes are available" << std::endl;
        return 2;
    }
    // A positive number of 16 octets.
    certificate.serialNumber[0] = (certificate.serialNumber[0] & 0x3f) | 0x40;
    certificate.setIssuer(ca->subjectBytes());
    certificate.setSubject(request->subjectBytes());
    certificate.subjectPublicKeyInfo = request->subjectPublicKeyInfo;
    certificate.notBefore = TimePoint::nowUtc();
    certificate.notAfter = TimePoint::fromSeconds(certificate.notBefore.seconds + 90 * 24 * 3600);
    certificate.basicConstraints = 2; // Not a CA.
    certificate.keyUsage = KeyUsage::digitalSignature;
    certificate.extKeyUsage = ExtKeyUsage::tlsServer;
    certificate.subjectAltNames = request->subjectAltNames;
    certificate.subjectKeyId = calcKeyId(certificate.subjectPublicKeyInfo);
    certificate.authorityKeyId = ca->subjectKeyId;
    if (!certificate.sign(*caKey)) {
        std::cout << "the certificate cannot be signed: the CA's key or a field is unsuitable" << std::endl;
        return 2;
    }

    // Refuses what the CA may not issue.
    CertificateMemoryStore store;
    store.certs.push_back(std::make_shared<X509Certificate>(*ca));
    PathOptions options;
    options.now = certificate.notBefore;
    options.rules = PathRules::rfc5280;
    PathVerdict const verdict =
        PathSearch(store).find(std::make_shared<X509Certificate>(certificate), options);
    if (!verdict.isValid()) {
        std::cout << "not issued: " << printable(verdict.reason()) << std::endl;
        return 1;
    }
    std::vector<unsigned char> const pem = encodePemCertificate(certificate);
    std::cout.write(reinterpret_cast<char const*>(pem.data()), static_cast<std::streamsize>(pem.size()));
    return 0;
}
