/// Verifies the signature of a file under a public key, or under that of a certificate.
#include <sealkit/sealkit.h>

#include <fstream>
#include <iostream>
#include <iterator>

int main(int count, char** arguments) {
    if (count != 4) {
        std::cout << "usage: verify_file KEY-OR-CERTIFICATE FILE SIGNATURE" << std::endl;
        return 3;
    }
    Refusal refusal;
    KeyFileOptions forms;
    forms.fromCertificates = true;
    std::unique_ptr<PublicKey> const key = readPublicKeyFromFile(arguments[1], &refusal, forms);
    if (!key) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }
    std::ifstream file(arguments[2], std::ios::binary);
    std::ifstream signatureFile(arguments[3], std::ios::binary);
    std::string const message{std::istreambuf_iterator<char>(file), {}};
    std::string const signature{std::istreambuf_iterator<char>(signatureFile), {}};
    if (!file || !signatureFile) {
        std::cout << arguments[file ? 3 : 2] << ": cannot be read" << std::endl;
        return 2;
    }

    bool const valid = verifyMessage(*key, HashID::SHA256, message, signature, &refusal);
    std::cout << (valid ? "valid" : printable(refusal.str())) << std::endl;
    return valid ? 0 : 1;
}
