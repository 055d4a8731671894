/// Whole exchanges with random inputs, against the other side.
#include "sealkit/ecsrp.h"
#include "sealkit/mschapv2.h"

#include "srp_peer.h"
#include "support/random.h"
#include "support/slow.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::Bytes;
using test::operator+;

unsigned const exchanges = test::lessWhenSlow(2000u, 50u);

std::string text(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

/// The reply that MS-CHAP mode expects and takes from nobody.
struct Opened : ECSRP {
    using ECSRP::ECSRP;
    using ECSRP::expectedReply;
};

struct Account {
    std::string user, password;
    Bytes salt;

    explicit Account(test::Random& random)
        : user(text(random.bytes(random.below(20)))),
          password(text(random.bytes(random.below(40)))),
          salt(random.bytes(16)) {}
};

TEST(EcsrpExchange, SrpModeAgreesWithAPeerThatHasTheVerifier) {
    test::Random random(1);
    for (unsigned i = 0; i < exchanges; ++i) {
        SCOPED_TRACE(i);
        Account const account(random);
        // Every other peer has only the verifier that the library made; the rest make it of the password.
        Bytes const verifier = i % 2 ? pwdVerifier(pwdHash(account.user, account.password, account.salt))
                                     : test::verifierOf(account.user, account.password, account.salt);
        test::SrpPeer peer(BigNum(random.bytes(32)), account.salt, verifier);
        ECSRP side(account.user, account.password, random.bytes(32));
        peer.receive(side.getChallenge());
        ASSERT_EQ(side.generateResponse(peer.message), peer.response);
        ASSERT_EQ(side.getSessionKey(), text(peer.sessionKey));
        ASSERT_TRUE(side.verifyReply(peer.reply));
    }
}

TEST(EcsrpExchange, SrpModeRefusesWrongPasswordsOnEitherSide) {
    test::Random random(2);
    for (unsigned i = 0; i < exchanges / 10; ++i) {
        SCOPED_TRACE(i);
        Account const account(random);
        std::string wrong = account.password + "x";
        if (i % 2)
            wrong = account.password.substr(0, account.password.size() / 2) + "?";
        test::SrpPeer peer(BigNum(random.bytes(32)), account.salt,
                           test::verifierOf(account.user, account.password, account.salt));
        ECSRP side(account.user, wrong, random.bytes(32));
        peer.receive(side.getChallenge());
        Bytes const response = side.generateResponse(peer.message);
        ASSERT_EQ(response.size(), 32U);
        ASSERT_NE(response, peer.response);
        ASSERT_NE(side.getSessionKey(), text(peer.sessionKey));
        ASSERT_FALSE(side.verifyReply(peer.reply));
    }
}

TEST(EcsrpExchange, SrpModeRefusesAPeerWithoutTheVerifier) {
    test::Random random(3);
    Account const account(random);
    ECSRP side(account.user, account.password, random.bytes(32));
    // It sends A = a·G with no mask, or one of its own, and computes as if V were at infinity or its own.
    for (bool masked : {false, true}) {
        test::SrpPeer peer(BigNum(random.bytes(32)), account.salt,
                           test::verifierOf("", "guess", account.salt));
        if (!masked) {
            Curve25519 const curve;
            peer.message = curve.toBin(curve.mul(peer.a, curve.getG())) + account.salt;
        }
        peer.receive(side.getChallenge());
        ASSERT_NE(side.generateResponse(peer.message), peer.response);
        ASSERT_FALSE(side.verifyReply(peer.reply));
    }
}

TEST(EcsrpExchange, MsChapModeAgreesWithAPeerThatHasThePassword) {
    test::Random random(4);
    Curve25519 const curve;
    for (unsigned i = 0; i < exchanges; ++i) {
        SCOPED_TRACE(i);
        Account const account(random);
        BigNum const a(random.bytes(32));
        Bytes const A = curve.toBin(curve.mul(a, curve.getG()));
        Opened side(account.user, account.password, random.bytes(32));
        Bytes const B = test::firstBytes(side.getChallenge(), 33);

        std::string const z = text(curve.toNum(curve.mul(a, curve.fromBin(B)), nullptr).bin(0));
        auto const exchange = [&](std::string const& password) {
            return MSCHAPv2(account.user, password, makeChallenge(z, B, false), makeChallenge(z, A, true));
        };
        ASSERT_EQ(side.generateResponse(A), exchange(account.password).ntResponse);
        ASSERT_NE(side.generateResponse(A), exchange(account.password + "x").ntResponse);
        ASSERT_EQ(side.expectedReply, exchange(account.password).getReply());
        ASSERT_NE(side.expectedReply, exchange(account.password + "x").getReply());
        ASSERT_EQ(side.getSessionKey(), z);
    }
}

} // namespace TEST_FILE
