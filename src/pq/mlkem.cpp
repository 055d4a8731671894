#include "sealkit/mlkem.h"

#include "sealkit/rng.h"
#include "sealkit/wipe.h"

#include "pq/mlkem_native.h"

#include <cstring>

namespace {

constexpr size_t publicKeySize = sizeof MLKEMDecap::publicKey, secretKeySize = sizeof MLKEMDecap::secretKey,
                 ciphertextSize = 1088, seedSize = 64, messageSize = 32;

/// The offset of the public key in a secret key: s ‖ public key ‖ H(public key) ‖ z (FIPS 203, algorithm 16).
constexpr size_t publicKeyOffset = 1152;

/// Random bytes from the kernel, wiped by the destructor.
template <size_t size>
struct Drawn {
    unsigned char bytes[size];
    bool const done = getDefaultRng().fill(bytes, size);

    ~Drawn() { secureMemset(bytes, 0, size); }
};

} // namespace

MLKEMDecap::~MLKEMDecap() {
    secureMemset(sharedSecret, 0, sizeof sharedSecret);
    secureMemset(secretKey, 0, sizeof secretKey);
}

bool MLKEMDecap::generate() {
    Drawn<seedSize> seed;
    return seed.done && load(seed.bytes);
}

bool MLKEMDecap::load(asn1::blob key) {
    if (key.size() == seedSize)
        return PQCP_MLKEM_NATIVE_MLKEM768_keypair_derand(publicKey, secretKey, key.data()) == 0;
    if (key.size() != secretKeySize ||
        PQCP_MLKEM_NATIVE_MLKEM768_check_pk(key.data() + publicKeyOffset) != 0 ||
        PQCP_MLKEM_NATIVE_MLKEM768_check_sk(key.data()) != 0)
        return false;
    std::memmove(secretKey, key.data(), secretKeySize);
    std::memmove(publicKey, key.data() + publicKeyOffset, publicKeySize);
    return true;
}

bool MLKEMDecap::decap(asn1::blob ciphertext) {
    if (ciphertext.size() != ciphertextSize)
        return false;
    return PQCP_MLKEM_NATIVE_MLKEM768_dec(sharedSecret, ciphertext.data(), secretKey) == 0;
}

MLKEMEncap::~MLKEMEncap() { secureMemset(sharedSecret, 0, sizeof sharedSecret); }

std::vector<unsigned char> MLKEMEncap::encap(asn1::blob publicKey) {
    if (publicKey.size() != publicKeySize || PQCP_MLKEM_NATIVE_MLKEM768_check_pk(publicKey.data()) != 0)
        return {};
    std::vector<unsigned char> ciphertext(ciphertextSize);
    Drawn<messageSize> message;
    if (!message.done || PQCP_MLKEM_NATIVE_MLKEM768_enc_derand(ciphertext.data(), sharedSecret,
                                                               publicKey.data(), message.bytes) != 0)
        return {};
    return ciphertext;
}
