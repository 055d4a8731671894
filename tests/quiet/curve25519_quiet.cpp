#include "sealkit/curve25519.h"
#include "sealkit/keys.h"
#include "sealkit/rng.h"

#include "quiet/quiet.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// Secrets that the generator of a key draws.
struct HiddenRng : Rng {
    bool fill(unsigned char* buf, unsigned len) const override {
        std::fill_n(buf, len, static_cast<unsigned char>(0x31));
        test::hide({buf, len});
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }
};

QUIET(Ed25519Signing, "Ed25519 signing") {
    Bytes const message(100, 0x32);
    for (unsigned char filling : {0x00, 0x31, 0xff}) {
        Bytes secret(32, filling);
        Bytes const pub = eddsa::get_public_key(secret);
        test::hide(secret);
        EXPECT_TRUE(eddsa::verify(pub, message, eddsa::sign(secret, message)));
    }
}

QUIET(Ed25519Generation, "Ed25519 key generation") {
    HiddenRng rng;
    Ed25519PrivateKey key, again;
    EXPECT_TRUE(key.generatePrivKey(rng));
    EXPECT_TRUE(again.initPrivate(key.secret));
    EXPECT_EQ(key.pub, again.pub);
    EXPECT_EQ(key.pub, eddsa::get_public_key(Bytes(32, 0x31)));

    BigNum scalar = (bn64(1) << 255) - bn64(8);
    test::hide(scalar.digits.data(), scalar.digits.size());
    EXPECT_EQ(eddsa::secret_to_public(scalar).size(), 32U);
}

QUIET(X25519Generation, "X25519 key generation") {
    HiddenRng rng;
    X25519PrivateKey key, again;
    EXPECT_TRUE(key.generatePrivKey(rng));
    EXPECT_TRUE(again.initPrivate(key.secret));
    EXPECT_EQ(key.pub, again.pub);
    EXPECT_EQ(key.pub, x25519::get_public_key(Bytes(32, 0x31)));
}

} // namespace
