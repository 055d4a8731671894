/// Seals a message with AES-256-GCM, opens it, and shows that a changed message is not opened.
#include <sealkit/sealkit.h>

#include <iostream>

int main() {
    std::vector<unsigned char> key(32);
    std::vector<unsigned char> nonce(12); // A new one for every message under one key.
    Rng& rng = getDefaultRng();
    if (!rng.fill(key.data(), 32) || !rng.fill(nonce.data(), 12)) {
        std::cout << "no random bytes are available" << std::endl;
        return 2;
    }
    std::string const header = "to: Ada"; // Authenticated, and sent unencrypted.
    std::string const letter = "Dear Ada,";

    asn1::blob const associated = header;
    asn1::blob const plaintext = letter;
    AeadParameters const parameters = {key, nonce, {associated.start, associated.finish}};
    std::vector<unsigned char> sealed(letter.size() + aeadTagSize);
    if (!sealAesGcm(parameters, {plaintext.start, plaintext.finish}, sealed)) {
        std::cout << "the parameters have the wrong sizes" << std::endl;
        return 2;
    }

    std::vector<unsigned char> opened(letter.size());
    bool const isOpened = openAesGcm(parameters, sealed, opened);
    std::cout << "opened: " << (isOpened ? std::string(opened.begin(), opened.end()) : "no") << std::endl;

    sealed[0] ^= 1;
    bool const isForged = openAesGcm(parameters, sealed, opened);
    std::cout << "changed message: " << (isForged ? "opened" : "rejected") << std::endl;
    secureMemset(key.data(), 0, key.size());
    return isOpened && !isForged ? 0 : 1;
}
