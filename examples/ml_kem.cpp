/// Agrees on a secret with ML-KEM-768, which resists quantum computers.
#include <sealkit/sealkit.h>

#include <algorithm>
#include <iostream>

int main() {
    MLKEMDecap receiver;
    if (!receiver.generate()) {
        std::cout << "no random bytes are available" << std::endl;
        return 2;
    }
    // The receiver publishes this.
    std::vector<unsigned char> const publicKey = encodeMlkemPublicKey(receiver);

    // The sender reads the public key, makes a secret, and sends the ciphertext that conveys it.
    Refusal refusal;
    std::vector<unsigned char> encapsulationKey;
    if (!parseMlkemPublicKey(publicKey, encapsulationKey, &refusal)) {
        std::cout << printable(refusal.str()) << std::endl;
        return 2;
    }
    MLKEMEncap sender;
    std::vector<unsigned char> const ciphertext = sender.encap(encapsulationKey);
    if (ciphertext.empty()) {
        std::cout << "the public key is malformed" << std::endl;
        return 2;
    }

    bool const received = receiver.decap(ciphertext);
    bool const same = received && std::ranges::equal(receiver.sharedSecret, sender.sharedSecret);
    std::cout << ciphertext.size() << " bytes were sent; "
              << (same ? "both have the same secret" : "no secret") << std::endl;
    return same ? 0 : 1;
}
