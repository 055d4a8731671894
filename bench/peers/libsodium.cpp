// libsodium: hashes and Curve25519.
#include "inputs.h"
#include "libraries.h"

#include <sodium.h>

#include <array>

namespace bench {

void addLibsodium(std::vector<Row>& to) {
    if (sodium_init() < 0)
        return;
    Rows rows(to, "libsodium");
    rows.addSizes("sha256", [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 32> hash;
            return crypto_hash_sha256(hash.data(), in.data(), in.size()) == 0;
        };
    });
    rows.addSizes("sha512", [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 64> hash;
            return crypto_hash_sha512(hash.data(), in.data(), in.size()) == 0;
        };
    });
    rows.addSizes("hmac_sha256", [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 32> mac;
            return crypto_auth_hmacsha256(mac.data(), in.data(), in.size(), key(32).data()) == 0;
        };
    });

    rows.add("x25519_agree", [] {
        std::array<unsigned char, 32> point;
        crypto_scalarmult_base(point.data(), key(32).data());
        return [=] {
            std::array<unsigned char, 32> secret;
            return crypto_scalarmult(secret.data(), key(32).data(), point.data()) == 0;
        };
    });
    rows.add("x25519_keygen", [] {
        return [] {
            std::array<unsigned char, 32> point, secret;
            return crypto_box_keypair(point.data(), secret.data()) == 0;
        };
    });
    std::array<unsigned char, 32> point;
    std::array<unsigned char, 64> secret;
    crypto_sign_seed_keypair(point.data(), secret.data(), key(32).data());
    auto const sign = [=] {
        std::array<unsigned char, 64> signature;
        crypto_sign_detached(signature.data(), nullptr, digest(32).data(), 32, secret.data());
        return signature;
    };
    rows.add("ed25519_sign", [=] { return [=] { return sign() != std::array<unsigned char, 64>(); }; });
    rows.add("ed25519_verify", [=] {
        return [=, signature = sign()] {
            return crypto_sign_verify_detached(signature.data(), digest(32).data(), 32, point.data()) == 0;
        };
    });
    rows.add("ed25519_keygen", [] {
        return [] {
            std::array<unsigned char, 32> publicKey;
            std::array<unsigned char, 64> privateKey;
            return crypto_sign_keypair(publicKey.data(), privateKey.data()) == 0;
        };
    });
}

} // namespace bench
