#include "sealkit/ecsrp.h"

#include "sealkit/mschapv2.h"
#include "srp_peer.h"
#include "support/random.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace TEST_FILE {

using test::Bytes;
using test::firstBytes;
using test::operator+;

struct Opened : ECSRP {
    using ECSRP::ECSRP;
    using ECSRP::expectedReply;
    using ECSRP::password;
    using ECSRP::publicValue;
    using ECSRP::replyExpected;
    using ECSRP::secret;
    using ECSRP::sessionKey;
    using ECSRP::user;
};

std::string text(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }
Bytes bytesOf(std::string const& text) { return {text.begin(), text.end()}; }

test::Random fixed(7);
Bytes const scalar = fixed.bytes(32), salt = fixed.bytes(16);
BigNum const peerScalar(fixed.bytes(32));

Opened alice() { return {"alice", "open sesame", scalar}; }

/// A peer of Alice's.
test::SrpPeer srpPeer() {
    test::SrpPeer peer(peerScalar, salt, test::verifierOf("alice", "open sesame", salt));
    peer.receive(alice().getChallenge());
    return peer;
}

Bytes encoded(BigNum const& u, unsigned char sign) { return u.bin(32) + Bytes{sign}; }

/// A point of MS-CHAP mode.
Bytes plainPoint() {
    Curve25519 const curve;
    return curve.toBin(curve.mul(peerScalar, curve.getG()));
}

/// What must not change.
struct State {
    bool replyExpected;
    std::string expectedReply, sessionKey;

    explicit State(Opened const& side)
        : replyExpected(side.replyExpected), expectedReply(side.expectedReply), sessionKey(side.sessionKey) {}
    bool operator==(State const&) const = default;
};

/// Gives the point to both modes, on a new object and on one that has answered, and expects no answer.
void expectRefused(Bytes const& point) {
    SCOPED_TRACE(test::toHex(point));
    test::SrpPeer const peer = srpPeer();
    for (bool answered : {false, true}) {
        Opened side = alice();
        if (answered) {
            ASSERT_EQ(side.generateResponse(peer.message), peer.response);
        }
        State const before(side);
        EXPECT_EQ(side.generateResponse(point), Bytes());
        EXPECT_EQ(side.generateResponse(point + salt), Bytes());
        EXPECT_EQ(side.generateMSCHAPResponse(point), Bytes());
        EXPECT_EQ(side.generateSRPResponse(point, salt), Bytes());
        EXPECT_TRUE(State(side) == before);
        EXPECT_EQ(side.verifyReply(peer.reply), answered);
    }
}

void check(test::Case const& c, bool srp) {
    SCOPED_TRACE(c.id());
    Opened side(text(c.bytes("user")), text(c.bytes("password")), c.bytes("secret"));
    EXPECT_EQ(side.getChallenge(), c.bytes("public") + c.bytes("user") + Bytes{0});
    EXPECT_EQ(side.generateResponse(c.bytes("message")), c.bytes("response"));
    EXPECT_EQ(side.expectedReply, text(c.bytes("reply")));
    EXPECT_EQ(side.getSessionKey(), text(c.bytes("session-key")));
    EXPECT_EQ(side.verifyReply(c.bytes("reply")), srp);
    EXPECT_EQ(c.bytes("session-key"), srp ? test::sha256({c.bytes("shared")}) : c.bytes("shared"));
}

TEST_CASES(Ecsrp, SrpModeAgreesWithAnotherComputation, "auth/ecsrp-srp.txt")(test::Case const& c) {
    check(c, true);
}

TEST_CASES(Ecsrp, MsChapModeAgreesWithAnotherComputation, "auth/ecsrp-mschap.txt")(test::Case const& c) {
    check(c, false);
}

TEST(Ecsrp, DropsLeadingZeroBytesOfTheSharedValue) {
    auto const find = [](std::string const& file, std::string const& id, size_t length) {
        bool found = false;
        test::forEachCase(file, [&](test::Case const& c) {
            c.ignore({"user", "password", "secret", "public", "message", "response", "reply", "session-key"});
            if (c.bytes("shared").size() == length && c.id() == id)
                found = true;
        });
        EXPECT_TRUE(found) << file << " " << id;
    };
    find("auth/ecsrp-srp.txt", "shared-value-of-31-bytes", 31);
    find("auth/ecsrp-mschap.txt", "shared-value-of-31-bytes", 31);
    find("auth/ecsrp-mschap.txt", "shared-value-of-30-bytes", 30);
}

TEST(Ecsrp, FieldsStandInOrder) {
    Opened const side = alice();
    auto const* const start = reinterpret_cast<unsigned char const*>(static_cast<ECSRP const*>(&side));
    auto const offset = [&](auto const& field) {
        return static_cast<size_t>(reinterpret_cast<unsigned char const*>(&field) - start);
    };
    size_t const reply = 2 * sizeof(std::string) + sizeof(BigNum) + sizeof(Bytes) + sizeof(void*);
    EXPECT_EQ(offset(side.user), 0U);
    EXPECT_EQ(offset(side.password), sizeof(std::string));
    EXPECT_EQ(offset(side.secret), 2 * sizeof(std::string));
    EXPECT_EQ(offset(side.publicValue), 2 * sizeof(std::string) + sizeof(BigNum));
    EXPECT_EQ(offset(side.replyExpected), reply - sizeof(void*));
    EXPECT_EQ(offset(side.expectedReply), reply);
    EXPECT_EQ(offset(side.sessionKey), reply + sizeof(std::string));
    EXPECT_EQ(sizeof(ECSRP), reply + 2 * sizeof(std::string));
}

TEST(Ecsrp, BeginsWithWhatItWasGivenAndExpectsNothing) {
    Opened const side = alice();
    EXPECT_EQ(side.user, "alice");
    EXPECT_EQ(side.password, "open sesame");
    EXPECT_EQ(side.secret, BigNum(scalar));
    EXPECT_FALSE(side.replyExpected);
    EXPECT_EQ(side.expectedReply, "");
    EXPECT_EQ(side.getSessionKey(), "");
    EXPECT_FALSE(side.verifyReply({}));
    EXPECT_FALSE(side.verifyReply(Bytes(32)));
}

TEST(Ecsrp, ChallengeIsThePublicValueTheUserNameAndAZero) {
    Curve25519 const curve;
    Bytes const challenge = alice().getChallenge();
    EXPECT_EQ(challenge.size(), 33U + 6U);
    EXPECT_EQ(challenge, curve.toBin(curve.mul(BigNum(scalar), curve.getG())) + bytesOf("alice") + Bytes{0});
    EXPECT_EQ(ECSRP("", "", scalar).getChallenge().size(), 34U);
    std::string const odd("a\0b\xff", 4);
    EXPECT_EQ(ECSRP(odd, "", scalar).getChallenge(), firstBytes(challenge, 33) + bytesOf(odd) + Bytes{0});
}

TEST(Ecsrp, MessagesOfOtherLengthsGetNoAnswer) {
    test::SrpPeer const peer = srpPeer();
    Opened side = alice();
    Bytes const stream = peer.message + Bytes(100);
    for (size_t length = 0; length <= 120; ++length) {
        State const before(side);
        bool const answered = !side.generateResponse(firstBytes(stream, length)).empty();
        EXPECT_EQ(answered, length == 33 || length == 49) << length;
        EXPECT_EQ(State(side) == before, !answered) << length;
    }
}

TEST(Ecsrp, TheLengthOfTheMessageChoosesTheMode) {
    test::SrpPeer const peer = srpPeer();
    Opened side = alice();
    EXPECT_EQ(side.generateResponse(peer.message),
              side.generateSRPResponse(firstBytes(peer.message, 33), salt));
    EXPECT_EQ(side.generateResponse(plainPoint()), side.generateMSCHAPResponse(plainPoint()));
    EXPECT_EQ(side.generateResponse(peer.message).size(), 32U);
    EXPECT_EQ(side.generateResponse(plainPoint()).size(), 24U);
}

TEST(Ecsrp, SaltsMayHaveAnyLengthWhenGivenAlone) {
    for (size_t length : {0U, 1U, 15U, 17U, 1000U}) {
        Bytes const other(length, 3);
        test::SrpPeer peer(peerScalar, other, test::verifierOf("alice", "open sesame", other));
        Opened side = alice();
        peer.receive(side.getChallenge());
        EXPECT_EQ(side.generateSRPResponse(firstBytes(peer.message, 33), other), peer.response);
        EXPECT_TRUE(side.verifyReply(peer.reply));
    }
}

TEST(Ecsrp, PointsOfOtherLengthsAreRefused) {
    Opened side = alice();
    Bytes const point = plainPoint();
    for (size_t length = 0; length <= 70; ++length)
        if (length != 33) {
            EXPECT_EQ(side.generateSRPResponse(firstBytes(point + point + point, length), salt), Bytes());
            EXPECT_EQ(side.generateMSCHAPResponse(firstBytes(point + point + point, length)), Bytes());
        }
    EXPECT_EQ(side.sessionKey, "");
}

TEST(Ecsrp, PointsOffTheCurveAreRefused) {
    Curve25519 const curve;
    unsigned refused = 0;
    for (unsigned u = 2; refused < 8; ++u)
        if (curve.isInfinity(curve.fromNum(bn64(u), 0))) {
            expectRefused(encoded(bn64(u), 0));
            expectRefused(encoded(bn64(u) + Curve25519::getMod(), 1));
            ++refused;
        }
}

TEST(Ecsrp, PointsOfSmallOrderAreRefused) {
    // The orders are 2, 4, 8 and 8; that of −1 would be 4, but it is on the twist.
    for (char const* u : {"00", "01", "00b8495f16056286fdb1329ceb8d09da6ac49ff1fae35616aeb8413b7c7aebe0",
                          "57119fd0dd4e22d8868e1c58c45c44045bef839c55b1d0b1248c50a3bc959c5f",
                          "7fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffec"})
        for (unsigned char sign : {0, 1}) {
            BigNum const canonical{asn1::blob(test::hex(u))};
            expectRefused(encoded(canonical, sign));
            expectRefused(encoded(canonical + Curve25519::getMod(), sign));
        }
}

TEST(Ecsrp, NumbersOfAtLeastTheModulusStandForTheirResidues) {
    Curve25519 const curve;
    Bytes const point = plainPoint();
    Bytes const other = encoded(BigNum(firstBytes(point, 32)) + Curve25519::getMod(), point[32]);
    Opened side = alice();
    Bytes const response = side.generateResponse(point);
    std::string const key = side.sessionKey;
    EXPECT_EQ(side.generateResponse(other).size(), 24U);
    EXPECT_EQ(side.sessionKey, key);
    EXPECT_NE(side.generateResponse(other), response) << "the challenge is made of the bytes that came";
    EXPECT_EQ(side.generateResponse(other + salt).size(), 32U);
    EXPECT_EQ(side.generateResponse(Bytes(33, 0xff)).size(), 24U) << "2^256 − 1 is 37 modulo p";
    std::string const keyOf37 = side.sessionKey;
    EXPECT_EQ(side.generateResponse(encoded(bn64(37), 1)).size(), 24U);
    EXPECT_EQ(side.sessionKey, keyOf37);
}

TEST(Ecsrp, OnlyTheLowBitOfTheSignCounts) {
    test::SrpPeer const peer = srpPeer();
    for (unsigned char high : {0x02, 0x80, 0xfe}) {
        Bytes message = peer.message;
        message[32] ^= high;
        EXPECT_EQ(alice().generateResponse(message), peer.response);
        message[32] ^= 1;
        EXPECT_NE(alice().generateResponse(message), peer.response);
    }
}

TEST(Ecsrp, ScalarsThatAreMultiplesOfTheOrderAnswerNothing) {
    BigNum const L = Curve25519::getOrder();
    test::SrpPeer const peer = srpPeer();
    Bytes const outside = [] { // order 8L: that of the multiple by L is 8
        Curve25519 const curve;
        WCurve::Point const eighth =
            curve.fromBin(test::hex("57119fd0dd4e22d8868e1c58c45c44045bef839c55b1d0b1248c50a3bc959c5f00"));
        return curve.toBin(test::sum(curve, curve.fromBin(plainPoint()), eighth));
    }();
    for (Bytes const& multiple :
         {Bytes(), Bytes(1), Bytes(32), Bytes(1000), L.bin(32), (L << 3).bin(0), (L * L).bin(0)}) {
        Opened side("alice", "open sesame", multiple);
        EXPECT_EQ(side.getChallenge(), Bytes());
        EXPECT_EQ(side.generateResponse(peer.message), Bytes());
        EXPECT_EQ(side.generateResponse(plainPoint()), Bytes());
        EXPECT_EQ(side.generateResponse(outside), Bytes());
        EXPECT_FALSE(side.replyExpected);
        EXPECT_EQ(side.sessionKey, "");
    }
}

TEST(Ecsrp, ScalarsMayHaveAnyLength) {
    BigNum const L = Curve25519::getOrder();
    for (Bytes const& other :
         {Bytes{1}, Bytes(1000, 0xff), Bytes(968) + scalar, (BigNum(scalar) + L * L).bin(0)}) {
        test::SrpPeer peer(peerScalar, salt, test::verifierOf("alice", "open sesame", salt));
        Opened side("alice", "open sesame", other);
        peer.receive(side.getChallenge());
        EXPECT_EQ(side.generateResponse(peer.message), peer.response);
        EXPECT_EQ(side.generateResponse(plainPoint()).size(), 24U);
    }
    EXPECT_EQ(Opened("", "", (L + 1).bin(0)).publicValue, Opened("", "", {1}).publicValue);
}

TEST(Ecsrp, SharedPointsAtInfinityGetNoAnswer) {
    Curve25519 const curve;
    Bytes const W = curve.toBin(test::mask(curve, firstBytes(srpPeer().verifier, 32)));
    Opened side = alice();
    EXPECT_EQ(side.generateResponse(W + salt), Bytes()); // A − W is at infinity
    EXPECT_FALSE(side.replyExpected);
    EXPECT_EQ(side.sessionKey, "");
    EXPECT_EQ(side.generateResponse(W).size(), 24U) << "there is nothing to subtract in this mode";

    Bytes opposite = W;
    opposite[32] ^= 1; // A − W = −2·W, a doubling
    EXPECT_EQ(side.generateResponse(opposite + salt).size(), 32U);

    // A − W is of order 2 and vanishes under even scalars.
    Bytes const offByTwo =
        curve.toBin(test::sum(curve, curve.fromBin(W), curve.fromBin(encoded(BigNum(), 0))));
    bool answered[2] = {};
    for (unsigned char i = 1; i < 20; ++i)
        answered[!Opened("alice", "open sesame", {i}).generateResponse(offByTwo + salt).empty()] = true;
    EXPECT_TRUE(answered[0] && answered[1]);
}

TEST(Ecsrp, ReplyIsTakenOnlyByteForByte) {
    test::SrpPeer const peer = srpPeer();
    Opened side = alice();
    ASSERT_EQ(side.generateResponse(peer.message), peer.response);
    EXPECT_TRUE(side.verifyReply(peer.reply));
    EXPECT_TRUE(side.verifyReply(peer.reply)) << "a second time";
    for (size_t i = 0; i < 32; ++i)
        for (unsigned bit = 0; bit < 8; ++bit) {
            Bytes wrong = peer.reply;
            wrong[i] = static_cast<unsigned char>(wrong[i] ^ 1U << bit);
            EXPECT_FALSE(side.verifyReply(wrong));
        }
    EXPECT_FALSE(side.verifyReply({}));
    EXPECT_FALSE(side.verifyReply(firstBytes(peer.reply, 31)));
    EXPECT_FALSE(side.verifyReply(peer.reply + Bytes{0}));
    EXPECT_FALSE(side.verifyReply(peer.response));
}

TEST(Ecsrp, MsChapModeAloneTakesNoReply) {
    Opened side = alice();
    ASSERT_EQ(side.generateResponse(plainPoint()).size(), 24U);
    EXPECT_FALSE(side.replyExpected);
    EXPECT_EQ(side.expectedReply.size(), 42U);
    EXPECT_FALSE(side.verifyReply(bytesOf(side.expectedReply)));
    EXPECT_FALSE(side.verifyReply({}));
}

TEST(Ecsrp, TheLastResponseCounts) {
    test::SrpPeer const peer = srpPeer();
    Opened side = alice();
    ASSERT_EQ(side.generateResponse(plainPoint()).size(), 24U);
    std::string const reply = side.expectedReply, key = side.sessionKey;

    ASSERT_EQ(side.generateResponse(peer.message), peer.response);
    EXPECT_TRUE(side.verifyReply(peer.reply));
    EXPECT_EQ(side.sessionKey, text(peer.sessionKey));

    // MS-CHAP mode leaves the flag as it is: set.
    ASSERT_EQ(side.generateResponse(plainPoint()).size(), 24U);
    EXPECT_FALSE(side.verifyReply(peer.reply));
    EXPECT_TRUE(side.verifyReply(bytesOf(reply)));
    EXPECT_EQ(side.sessionKey, key);
}

TEST(Ecsrp, CopiesAreOnTheirOwn) {
    test::SrpPeer const peer = srpPeer();
    auto original = std::make_unique<Opened>(alice());
    ASSERT_EQ(original->generateResponse(peer.message), peer.response);
    ECSRP copy = *original;
    original.reset();
    EXPECT_TRUE(copy.verifyReply(peer.reply));
    EXPECT_EQ(copy.generateResponse(peer.message), peer.response);

    Opened assigned("bob", "", salt);
    static_cast<ECSRP&>(assigned) = copy;
    static_cast<ECSRP&>(assigned) = std::as_const(assigned);
    EXPECT_EQ(assigned.user, "alice");
    EXPECT_EQ(assigned.password, "open sesame");
    EXPECT_EQ(assigned.getChallenge(), alice().getChallenge());
    EXPECT_EQ(assigned.getSessionKey(), text(peer.sessionKey));
    EXPECT_TRUE(assigned.verifyReply(peer.reply));
    EXPECT_EQ(assigned.generateResponse(peer.message), peer.response);
    assigned = alice();
    EXPECT_FALSE(assigned.verifyReply(peer.reply));
    EXPECT_EQ(assigned.getSessionKey(), "");
}

TEST_CASES(PwdHash, AgreesWithAnotherComputation, "auth/password-hashes.txt")(test::Case const& c) {
    SCOPED_TRACE(c.id());
    EXPECT_EQ(pwdHash(text(c.bytes("user")), text(c.bytes("password")), c.bytes("salt")), c.bytes("hash"));
}

TEST_CASES(PwdVerifier, AgreesWithAnotherComputation, "auth/verifiers.txt")(test::Case const& c) {
    SCOPED_TRACE(c.id());
    EXPECT_EQ(pwdVerifier(c.bytes("v")), c.bytes("verifier"));
}

TEST(PwdVerifier, IsEmptyForMultiplesOfTheOrder) {
    EXPECT_EQ(pwdVerifier({}), Bytes());
    EXPECT_EQ(pwdVerifier(Bytes(32)), Bytes());
    EXPECT_EQ(pwdVerifier(Curve25519::getOrder().bin(32)), Bytes());
    EXPECT_EQ(pwdVerifier(Bytes(1000, 1)).size(), 33U);
}

TEST_CASES(Redp1, AgreesWithAnotherComputation, "auth/points.txt")(test::Case const& c) {
    Curve25519 const curve;
    c.ignore({"tries"});
    EXPECT_EQ(curve.toBin(redp1(curve, c.bytes("data"))), c.bytes("point"));
}

TEST(Redp1, CountsUpAndTakesShortNumbersInSomeOfItsCases) {
    unsigned long long most = 0;
    bool isShort = false;
    test::forEachCase("auth/points.txt", [&](test::Case const& c) {
        c.ignore({"point"});
        most = std::max(most, c.number("tries"));
        isShort |= test::sha256({c.bytes("data")})[0] == 0;
    });
    EXPECT_GT(most, 3U) << "no case counts up";
    EXPECT_TRUE(isShort) << "no case hashes a number of fewer than 32 bytes";
}

TEST(Redp1, GivesTheSameAffinePointForTheSameData) {
    Curve25519 const curve;
    Bytes const data = bytesOf("data");
    WCurve::Point const P = redp1(curve, data);
    EXPECT_EQ(P.Z.value, bn64(1));
    EXPECT_TRUE(curve.isValid(P));
    EXPECT_FALSE(P.Y.value.getBit(0));
    EXPECT_EQ(curve.toBin(redp1(curve, data)), curve.toBin(redp1(Curve25519(), data)));
}

} // namespace TEST_FILE
