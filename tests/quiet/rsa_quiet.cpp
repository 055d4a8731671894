#include "sealkit/keys.h"
#include "sealkit/oaep.h"

#include "keys/rsa_encryption.h"
#include "quiet/quiet.h"

#include <gtest/gtest.h>

namespace {

BigNum numberOf(char const* hex) {
    BigNum number;
    for (; *hex != 0; hex++) {
        number <<= 4;
        number += static_cast<unsigned>(*hex <= '9' ? *hex - '0' : *hex - 'a' + 10);
    }
    return number;
}

void hideAll(RsaPrivateKey const& key) {
    for (BigNum const* secret : {&key.d, &key.p, &key.q, &key.exp1, &key.exp2, &key.coeff})
        test::hide(secret->digits.data(), secret->size());
}

/// A key of 1024 bits, whose secrets are hidden.
RsaPrivateKey makeKey() {
    RsaPrivateKey key;
    key.p = numberOf("ffb3f4d5c525acfd178917c570642102b2d30a043a5813b8c5688410ecd98bec"
                     "7ee3cad7d329c6b4b366b37ff85ab496d59b0860edeb60af15863fa8c90b8fe5");
    key.q = numberOf("fc267c672d6fc835d9d41fdbdf251c7e08ded357d5ee13b6f531eb783d610e90"
                     "21607315f833aedc88f386b4463af1474e7f18532a8672399283eb2bb907a565");
    BigNum const one = bn64(1);
    key.n = key.p * key.q;
    key.e = bn64(65537);
    key.d = invByMod(key.e, lcm(key.p - one, key.q - one));
    div(key.d, key.p - one, nullptr, &key.exp1);
    div(key.d, key.q - one, nullptr, &key.exp2);
    key.coeff = invByMod(key.q, key.p);
    return key;
}

std::vector<unsigned char> const digest(32, 0x31);

/// The signature of `digest` with the secrets hidden, to be looked at.
std::vector<unsigned char> sign(RsaPrivateKey const& key) {
    hideAll(key);
    std::vector<unsigned char> signature = key.signHashed(HashID::SHA256, digest);
    test::show(signature);
    return signature;
}

QUIET(RsaSigning, "RSA signing") {
    RsaPrivateKey const key = makeKey();
    EXPECT_TRUE(key.verifyHashed(HashID::SHA256, digest, sign(key)));
}

QUIET(RsaSigningWithoutPrimes, "RSA signing without the primes") {
    RsaPrivateKey key = makeKey();
    key.p = key.q = key.exp1 = key.exp2 = key.coeff = BigNum();
    EXPECT_TRUE(key.verifyHashed(HashID::SHA256, digest, sign(key)));
}

QUIET(RsaDecryption, "RSA decryption") {
    RsaPrivateKey const key = makeKey();
    std::vector<unsigned char> const encrypted = detail::encryptPkcs1(key, digest, getDefaultRng());
    hideAll(key);
    std::vector<unsigned char> message;
    EXPECT_TRUE(detail::decryptPkcs1(key, encrypted, message));
    test::show(message);
    EXPECT_EQ(message, digest);
}

QUIET(RsaOaepDecryption, "RSA decryption with OAEP") {
    RsaPrivateKey const key = makeKey();
    std::vector<unsigned char> const encrypted = encryptOaep(key, {}, digest, getDefaultRng());
    hideAll(key);
    std::vector<unsigned char> message;
    EXPECT_TRUE(decryptOaep(key, {}, encrypted, message));
    test::show(message);
    EXPECT_EQ(message, digest);
}

} // namespace
