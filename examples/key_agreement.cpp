/// Two sides agree on a key: X25519, then HMAC over the secret and both public keys.
#include <sealkit/sealkit.h>

#include <iostream>

namespace {

using Bytes = std::vector<unsigned char>;

/// The key that one side derives. Empty, with the reason on standard output, if they cannot agree.
Bytes deriveKey(PrivateKey const& own, PublicKey const& peer, Bytes const& transcript) {
    Refusal refusal;
    Bytes secret = agreeKeys(own, peer, &refusal);
    if (secret.empty()) {
        std::cout << printable(refusal.str()) << std::endl;
        return {};
    }
    Bytes key(32);
    std::unique_ptr<HMAC> const mac = createHMAC(HashID::SHA256, secret);
    mac->update(transcript.data(), static_cast<unsigned>(transcript.size()));
    mac->digest(key.data());
    secureMemset(secret.data(), 0, secret.size());
    return key;
}

} // namespace

int main() {
    X25519PrivateKey ada;
    X25519PrivateKey bob;
    if (!ada.generatePrivKey(getDefaultRng()) || !bob.generatePrivKey(getDefaultRng())) {
        std::cout << "no random bytes are available" << std::endl;
        return 2;
    }

    // Each side sends its public key. Another mechanism authenticates the sender, for example a signature
    // over both.
    Bytes transcript = ada.pub;
    transcript.insert(transcript.end(), bob.pub.begin(), bob.pub.end());
    Bytes const ofAda = deriveKey(ada, *bob.publicKey(), transcript);
    Bytes const ofBob = deriveKey(bob, *ada.publicKey(), transcript);
    bool const same = !ofAda.empty() && equalInConstantTime(ofAda, ofBob);
    std::cout << (same ? "both have the same key" : "no key") << std::endl;

    // A public key of small order is refused, because everybody would know the secret.
    X25519PublicKey zero;
    zero.pub.assign(32, 0);
    return same && deriveKey(ada, zero, transcript).empty() ? 0 : 1;
}
