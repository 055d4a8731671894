#include "sealkit/block.h"
#include "sealkit/ecsrp.h"
#include "sealkit/mschapv2.h"

#include "wiping/secrets.h"

#include <initializer_list>
#include <string>

namespace {

using test::addNumber;
using test::Bytes;
using test::bytesOf;
using test::Watch;

Bytes const scalar = test::Random(1).bytes(32), salt = test::Random(2).bytes(16),
            auth = test::Random(3).bytes(16), peer = test::Random(4).bytes(16);
BigNum const peerScalar(test::Random(5).bytes(32));
std::string const user = "alice of the second floor, to the left"; // public, and on the heap

/// Within the string object, and on the heap.
std::string const passwords[] = {"sesame, open", "a password that is long enough for the heap"};

void wipe(std::string& text) { secureMemset(text.data(), 0, text.size()); }

template <typename H>
Bytes digest(std::initializer_list<asn1::blob> parts) {
    H hash;
    for (asn1::blob part : parts)
        hash.update(part.data(), static_cast<unsigned>(part.size()));
    Bytes result(hash.digestLength());
    hash.digest(result.data());
    return result;
}

/// The password, its UTF-16, both hashes and the schedules of the DES keys.
void addMsChapSecrets(Watch& watch, std::string const& password) {
    Watch::Pause const pause;
    Bytes unicode;
    for (char c : password)
        unicode.insert(unicode.end(), {static_cast<unsigned char>(c), 0});
    Bytes hash = digest<MD4>({unicode});
    watch.addSecret("password", bytesOf(password));
    watch.addSecret("UTF-16", unicode);
    watch.addSecret("hash", hash);
    watch.addSecret("hash of the hash", digest<MD4>({hash}));
    hash.resize(21);
    for (size_t piece = 0; piece < 21; piece += 7) {
        unsigned char key[8];
        for (unsigned i = 0; i < 8; ++i) { // seven bits of two neighbouring bytes
            unsigned const at = 7 * i, byte = at / 8;
            unsigned const pair = hash[piece + byte] * 256U + (byte < 6 ? hash[piece + byte + 1] : 0U);
            key[i] = static_cast<unsigned char>((pair >> (9 - at % 8) & 0x7f) << 1);
        }
        DES const cipher(key);
        if (piece < 14) { // the last is of two bytes and zeros
            watch.addSecret("DES key", key);
            watch.addObject("subkeys", &cipher, sizeof cipher);
        }
    }
}

TEST(Wiping, MsChapV2LeavesNeitherPasswordNorWhatIsMadeOfIt) {
    for (std::string const& password : passwords) {
        Watch watch;
        addMsChapSecrets(watch, password);
        {
            Watch::Pause const pause;
            MSCHAPv2 const exchange(user, password, auth, peer);
            watch.addSecret("master key", bytesOf(exchange.getMasterKey()));
            watch.addSecret("challenge hash", bytesOf(exchange.challengeHash));
            watch.addPublic(exchange.ntResponse);
        }
        test::expectWiped<MSCHAPv2>(
            watch,
            [](MSCHAPv2& exchange) {
                MSCHAPv2 copy(user, "", auth, peer);
                copy = exchange;
                std::string master = copy.getMasterKey(), reply = exchange.getReply();
                std::string key = makeSessionKey(master, true, false);
                wipe(master);
                wipe(key);
            },
            user, password, auth, peer);
    }
}

TEST(Wiping, DerivedChallengesAndSessionKeysLeaveNothing) {
    std::string const secret(40, 'z');
    Watch watch;
    watch.addSecret("secret", bytesOf(secret));
    {
        Watch::Pause const pause;
        watch.addSecret("challenge", makeChallenge(secret, auth, true));
        watch.addSecret("session key", bytesOf(makeSessionKey(secret, true, true)));
    }
    test::runSearched(watch, [&] {
        Bytes challenge = makeChallenge(secret, auth, true);
        std::string key = makeSessionKey(secret, true, true);
        test::wipe(challenge);
        wipe(key);
    });
    test::expectNothingFound(watch);
}

/// Shows what it holds.
struct Opened : ECSRP {
    using ECSRP::ECSRP;
    using ECSRP::expectedReply;
    using ECSRP::publicValue;
};

/// The peer's messages in both modes.
struct Messages {
    Bytes plain, srp;

    explicit Messages(std::string const& password) {
        Curve25519 const curve;
        WCurve::Point const A = curve.mul(peerScalar, curve.getG());
        plain = curve.toBin(WCurve::Point(A));
        Bytes const verifier = pwdVerifier(pwdHash(user, password, salt));
        WCurve::Point sum = redp1(curve, Curve25519::getX(verifier));
        RedNum scratch[WCurve::addScratch];
        curve.add(sum, A, scratch);
        srp = curve.toBin(std::move(sum));
        srp.insert(srp.end(), salt.begin(), salt.end());
    }
};

TEST(Wiping, EcsrpLeavesNeitherPasswordNorKeys) {
    for (std::string const& password : passwords) {
        Watch watch;
        addMsChapSecrets(watch, password);
        Bytes plain, srp;
        {
            Watch::Pause const pause;
            Messages const messages(password);
            plain = messages.plain;
            srp = messages.srp;
            Curve25519 const curve;
            BigNum const b(scalar);
            Bytes const v = pwdHash(user, password, salt), verifier = pwdVerifier(v);
            Bytes const uOfV = Curve25519::getX(verifier);
            addNumber(watch, "scalar", b);
            addNumber(watch, "v", BigNum(v));
            watch.addSecret("inner hash", digest<SHA256>({user, ":", password}));
            addNumber(watch, "verifier", BigNum(uOfV));
            addNumber(watch, "hash of the verifier", BigNum(digest<SHA256>({uOfV})));
            addNumber(watch, "W", curve.toNum(redp1(curve, uOfV), nullptr));

            Opened side(user, password, scalar);
            Bytes const h1 = digest<SHA256>({Curve25519::getX(side.publicValue), Curve25519::getX(srp)});
            BigNum s = BigNum(h1) * BigNum(v) + b;
            div(s, Curve25519::getOrder(), nullptr, &s);
            addNumber(watch, "s", s);
            Bytes const z = curve.toNum(curve.mul(s, curve.mul(peerScalar, curve.getG())), nullptr).bin(0);
            addNumber(watch, "z", BigNum(z));

            Bytes const M1 = side.generateResponse(srp);
            EXPECT_EQ(bytesOf(side.getSessionKey()).size(), 32U);
            EXPECT_EQ(side.getSessionKey(),
                      std::string(reinterpret_cast<char const*>(digest<SHA256>({z}).data()), 32))
                << "z is not the shared value";
            watch.addSecret("session key", bytesOf(side.getSessionKey()));
            watch.addSecret("reply", bytesOf(side.expectedReply));
            Bytes const response = side.generateResponse(plain);
            std::string const shared = side.getSessionKey();
            addNumber(watch, "z of MS-CHAP mode", BigNum(asn1::blob(shared)));
            watch.addSecret("reply of MS-CHAP mode", bytesOf(side.expectedReply));
            Bytes const authChallenge = makeChallenge(shared, side.publicValue, false),
                        peerChallenge = makeChallenge(shared, plain, true);
            watch.addSecret("challenge", authChallenge);
            watch.addSecret("challenge", peerChallenge);
            watch.addSecret("challenge hash",
                            bytesOf(MSCHAPv2(user, password, authChallenge, peerChallenge).challengeHash));
            for (Bytes const& known : {M1, response, h1, side.getChallenge(), srp, plain})
                watch.addPublic(known);
            watch.addPublic(bytesOf(user));
            test::addPublic(watch, BigNum(Curve25519::getX(side.publicValue)));
        }
        test::expectWiped<ECSRP>(
            watch,
            [&](ECSRP& side) {
                for (Bytes const& message : {plain, srp, plain, srp}) {
                    EXPECT_FALSE(side.generateResponse(message).empty());
                    std::string key = side.getSessionKey();
                    wipe(key);
                }
                ECSRP copy = side;
                EXPECT_FALSE(copy.getChallenge().empty());
                copy = ECSRP(user, std::string(100, 'x'), salt);
                EXPECT_EQ(copy.getSessionKey(), "");
                copy = side;
                EXPECT_FALSE(side.verifyReply(salt));
                EXPECT_TRUE(side.generateResponse(Bytes(49)).empty());
            },
            user, password, scalar);
        Watch::Pause const pause;
        plain.clear();
        srp.clear();
    }
}

TEST(Wiping, PasswordVerifiersLeaveNothingOfTheirNumbers) {
    for (std::string const& password : passwords) {
        Watch watch;
        watch.addSecret("password", bytesOf(password));
        {
            Watch::Pause const pause;
            Bytes const v = pwdHash(user, password, salt), u = Curve25519::getX(pwdVerifier(v));
            addNumber(watch, "v", BigNum(v));
            addNumber(watch, "verifier", BigNum(u));
            addNumber(watch, "hash of the verifier", BigNum(digest<SHA256>({u})));
        }
        test::runSearched(watch, [&] {
            Curve25519 const curve;
            Bytes v = pwdHash(user, password, salt), verifier = pwdVerifier(v),
                  u = Curve25519::getX(verifier);
            EXPECT_TRUE(curve.isValid(redp1(curve, u)));
            test::wipe(v);
            test::wipe(verifier);
            test::wipe(u);
        });
        test::expectNothingFound(watch);
    }
}

} // namespace
