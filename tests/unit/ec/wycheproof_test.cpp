#include "named_curve.h"
#include "sealkit/curve25519.h"
#include "support/slow.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

/// The shared x coordinate at the field's width; empty for a bad point.
std::vector<unsigned char> agree(NamedCurve const& c, std::vector<unsigned char> const& peer,
                                 BigNum const& k) {
    bool const compressed = peer.size() < 1 + 2 * c.len;
    ECPoint const point =
        compressed ? ECPoint::fromOctetStringCompressed(peer, c.p, c.a, c.b) : ECPoint::fromOctetString(peer);
    if (!c.contains(point))
        return {};
    return c.curve.toEC(c.curve.mul(k, c.curve.fromEC(point))).x.bin(c.len);
}

unsigned const every = test::lessWhenSlow(1u, 8u);

TEST_CASES(Wycheproof, Ecdh, "wycheproof/ecdh_secp256r1_ecpoint.txt", "wycheproof/ecdh_secp384r1_ecpoint.txt",
           "wycheproof/ecdh_secp521r1_ecpoint.txt")
(test::Case const& v) {
    NamedCurve const& c = namedCurve("p" + v.file().substr(std::string("ecdh_secp").size(), 3));
    v.ignore({"curve", "flags"});
    if (v.text("result") == "valid" && v.index() % every != 0)
        GTEST_SKIP() << "one of " << every << " is enough here";
    auto const secret = agree(c, v.bytes("public"), number(v.text("private")));
    if (v.text("result") == "invalid") {
        v.ignore({"shared"});
        EXPECT_TRUE(secret.empty());
    } else {
        EXPECT_EQ(secret, v.bytes("shared"));
    }
}

TEST_CASES(Wycheproof, X25519, "wycheproof/x25519.txt")(test::Case const& v) {
    v.ignore({"curve", "flags", "result"}); // what is not "valid" is "acceptable"
    auto const shared = x25519::kex(v.bytes("private"), v.bytes("public"));
    EXPECT_EQ(v.differsOnPurpose(), shared.empty());
    v.expectAgreement(shared == v.bytes("shared"));
}

TEST_CASES(Wycheproof, Ed25519, "wycheproof/ed25519.txt")(test::Case const& v) {
    v.ignore({"curve", "flags", "publicKeyDer"});
    EXPECT_EQ(eddsa::verify(v.bytes("pk"), v.bytes("msg"), v.bytes("sig")), v.text("result") == "valid");
}

} // namespace TEST_FILE
