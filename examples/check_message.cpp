/// Checks a signed message (PKCS#7, CMS) under a folder of trusted CAs, and writes the signed content.
#include <sealkit/sealkit.h>

#include <fstream>
#include <iostream>
#include <iterator>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cout << "usage: check_message MESSAGE FOLDER-OF-CAS" << std::endl;
        return 3;
    }
    std::ifstream file(arguments[1], std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        std::cout << arguments[1] << ": cannot be read" << std::endl;
        return 2;
    }
    PKCS7SignedData message;
    Refusal refusal;
    if (!message.parse(bytes, &refusal)) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }
    CertificateMemoryStore store;
    store.loadCertificatesFrom(arguments[2], nullptr);

    MessageCheckOptions options;
    options.path.now = TimePoint::nowUtc();
    options.path.purpose = PathPurpose::emailProtection;
    MessageVerdict const verdict = checkMessage(message, store, options);
    for (SignerVerdict const& signer : verdict.signers)
        if (signer.certificate)
            std::cout << "signed by " << printable(nameText(signer.certificate->subjectBytes())) << std::endl;
    for (MessageFinding const& finding : verdict.findings)
        std::cout << printable(finding.str()) << std::endl;
    if (!verdict.isValid()) {
        std::cout << "not valid: " << printable(verdict.reason()) << std::endl;
        return 1;
    }
    asn1::blob const content = message.contentOctets();
    std::cout << "content: " << printable(std::string(content.begin(), content.end())) << std::endl;
    return 0;
}
