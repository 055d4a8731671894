#include "sealkit/keys.h"
#include "sealkit/rng.h"

#include "quiet/quiet.h"

namespace {

constexpr Curve curves[] = {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521};

/// Random bytes that are secret from the start.
struct HiddenRng : Rng {
    bool fill(unsigned char* buf, unsigned len) const override {
        getDefaultRng().fill(buf, len);
        test::hide({buf, len});
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }
};

QUIET(EcdsaSigning, "ECDSA signing") {
    std::vector<unsigned char> const digest = calcDigest(HashID::SHA256, asn1::blob("abc"));
    for (Curve curve : curves) {
        EcPrivateKey key;
        key.curve = curve;
        ASSERT_TRUE(key.generatePrivKey(getDefaultRng()));
        for (BigNum const& secret : {key.secret, bn64(2), getOrderForECCurve(curve) - bn64(1)}) {
            EcPrivateKey signer;
            signer.curve = curve;
            signer.secret = secret;
            test::hide(signer.secret.digits.data(), signer.secret.digits.size());
            std::vector<unsigned char> const signature = signer.signHashed(HashID::SHA256, digest);
            test::show(signer.secret.digits.data(), signer.secret.digits.size());
            EXPECT_EQ(signature, signer.signHashed(HashID::SHA256, digest));
        }
    }
}

QUIET(EcKeyGeneration, "EC key generation") {
    for (Curve curve : curves) {
        EcPrivateKey key;
        key.curve = curve;
        HiddenRng rng;
        ASSERT_TRUE(key.generatePrivKey(rng));
        EXPECT_FALSE(key.point.empty());
    }
}

} // namespace
