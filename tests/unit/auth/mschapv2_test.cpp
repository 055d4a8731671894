#include "sealkit/mschapv2.h"

#include "sealkit/hash.h"
#include "support/random.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

Bytes const challenge(16, 0x5a);

std::string text(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

MSCHAPv2 of(std::string const& password) { return {"user", password, challenge, challenge}; }

std::string md4(std::string const& data) {
    MD4 hash;
    hash.update(data.data(), static_cast<unsigned>(data.size()));
    return hash.digest();
}

std::string hashHash(std::string const& unicode) { return md4(md4(unicode)); }

void check(test::Case const& c) {
    SCOPED_TRACE(c.id());
    MSCHAPv2 const exchange(text(c.bytes("user")), text(c.bytes("password")), c.bytes("auth-challenge"),
                            c.bytes("peer-challenge"));
    EXPECT_EQ(exchange.challengeHash, text(c.bytes("challenge-hash")));
    EXPECT_EQ(exchange.passwordHashHash, text(c.bytes("password-hash-hash")));
    EXPECT_EQ(exchange.ntResponse, c.bytes("response"));
    EXPECT_EQ(exchange.getReply(), c.text("reply"));
    std::string const master = exchange.getMasterKey();
    EXPECT_EQ(master, text(c.bytes("master-key")));
    EXPECT_EQ(makeSessionKey(master, true, true), text(c.bytes("server-to-client")));
    EXPECT_EQ(makeSessionKey(master, false, false), text(c.bytes("server-to-client")));
    if (c.has("client-to-server")) {
        EXPECT_EQ(makeSessionKey(master, true, false), text(c.bytes("client-to-server")));
        EXPECT_EQ(makeSessionKey(master, false, true), text(c.bytes("client-to-server")));
    }
}

TEST_CASES(MsChapV2, GivesTheExamplesOfRfc2759AndRfc3079, "auth/rfc.txt")(test::Case const& c) { check(c); }

TEST_CASES(MsChapV2, AgreesWithAnotherComputation, "auth/mschapv2.txt")(test::Case const& c) { check(c); }

TEST(MsChapV2, FieldsStandInOrder) {
    MSCHAPv2 const exchange = of("password");
    auto const* const start = reinterpret_cast<unsigned char const*>(&exchange);
    auto const offset = [&](auto const& field) {
        return reinterpret_cast<unsigned char const*>(&field) - start;
    };
    EXPECT_EQ(offset(exchange.challengeHash), 0);
    EXPECT_EQ(offset(exchange.passwordHashHash), static_cast<std::ptrdiff_t>(sizeof(std::string)));
    EXPECT_EQ(offset(exchange.ntResponse), static_cast<std::ptrdiff_t>(2 * sizeof(std::string)));
    EXPECT_EQ(sizeof exchange, 2 * sizeof(std::string) + sizeof(Bytes));
}

TEST(MsChapV2, CutsPasswordsAt256Characters) {
    std::string password;
    for (int i = 0; i < 300; ++i)
        password += static_cast<char>('!' + i % 90);
    MSCHAPv2 const whole = of(password), cut = of(password.substr(0, 256)),
                   shorter = of(password.substr(0, 255));
    EXPECT_EQ(whole.passwordHashHash, cut.passwordHashHash);
    EXPECT_EQ(whole.ntResponse, cut.ntResponse);
    EXPECT_NE(shorter.ntResponse, cut.ntResponse);
    EXPECT_EQ(of(std::string(100'000, 'x')).ntResponse, of(std::string(256, 'x')).ntResponse);
}

TEST(MsChapV2, TakesEachByteOfAPasswordAsAUnitOfUtf16) {
    using namespace std::string_literals;
    EXPECT_EQ(of("\xe9").passwordHashHash, hashHash("\xe9\0"s));
    EXPECT_EQ(of("\xc3\xa9").passwordHashHash, hashHash("\xc3\0\xa9\0"s)) << "UTF-8 was decoded";
    EXPECT_EQ(of("a\0b"s).passwordHashHash, hashHash("a\0\0\0b\0"s));
    EXPECT_EQ(of("").passwordHashHash, hashHash(""));
}

TEST(MsChapV2, ReplyIsUppercaseHexadecimalBehindItsLabel) {
    std::string const reply = of("password").getReply();
    ASSERT_EQ(reply.size(), 42U);
    EXPECT_EQ(reply.substr(0, 2), "S=");
    EXPECT_EQ(reply.find_first_not_of("0123456789ABCDEF", 2), std::string::npos) << reply;
}

TEST(MsChapV2, ChallengesMayHaveAnyLength) {
    test::Random random(1);
    for (size_t length : {0U, 1U, 55U, 64U, 1000U}) {
        Bytes const auth = random.bytes(length), peer = random.bytes(1000 - length);
        SHA1 hash;
        hash.update(peer.data(), static_cast<unsigned>(peer.size()));
        hash.update(auth.data(), static_cast<unsigned>(auth.size()));
        hash.update("me", 2);
        EXPECT_EQ(MSCHAPv2("me", "password", auth, peer).challengeHash, hash.digest().substr(0, 8));
    }
}

TEST(MsChapV2, CopiesAreOnTheirOwn) {
    auto original = std::make_unique<MSCHAPv2>("user", "password", challenge, challenge);
    std::string const reply = original->getReply();
    MSCHAPv2 const copy = *original;
    original.reset();
    EXPECT_EQ(copy.getReply(), reply);

    MSCHAPv2 assigned = of("another password");
    assigned = copy;
    EXPECT_EQ(assigned.challengeHash, copy.challengeHash);
    EXPECT_EQ(assigned.ntResponse, copy.ntResponse);
    EXPECT_EQ(assigned.getReply(), reply);
    assigned = std::as_const(assigned);
    EXPECT_EQ(assigned.getReply(), reply);
    assigned = of("another password");
    EXPECT_NE(assigned.getReply(), reply);
}

TEST(MakeSessionKey, DiffersByDirectionAlone) {
    std::string const master(16, 'k');
    std::string const toServer = makeSessionKey(master, true, false);
    EXPECT_EQ(makeSessionKey(master, false, true), toServer);
    EXPECT_NE(makeSessionKey(master, true, true), toServer);
    EXPECT_EQ(makeSessionKey(master, false, false), makeSessionKey(master, true, true));
    EXPECT_EQ(toServer.size(), 16U);
    EXPECT_EQ(makeSessionKey("", true, true).size(), 16U);
}

TEST_CASES(MakeChallenge, AgreesWithAnotherComputation, "auth/challenges.txt")(test::Case const& c) {
    SCOPED_TRACE(c.id());
    std::string const secret = text(c.bytes("secret"));
    EXPECT_EQ(makeChallenge(secret, c.bytes("data"), false), c.bytes("auth"));
    EXPECT_EQ(makeChallenge(secret, c.bytes("data"), true), c.bytes("peer"));
    EXPECT_NE(c.bytes("auth"), c.bytes("peer"));
}

TEST(MakeChallenge, LabelsTheAuthenticatorAuther) {
    std::string const padded =
        "secretdata" + std::string(40, '\0') + "This is for auther challenge" + std::string(40, '\xf2');
    SHA1 hash;
    hash.update(padded.data(), static_cast<unsigned>(padded.size()));
    std::string const expected = hash.digest().substr(0, 16);
    EXPECT_EQ(text(makeChallenge("secret", {'d', 'a', 't', 'a'}, false)), expected);
}

} // namespace TEST_FILE
