#include "sealkit/ecsrp.h"

#include "sealkit/compare.h"
#include "sealkit/hash.h"
#include "sealkit/mschapv2.h"

#include "base/secret_bytes.h"
#include "ec/multiple25519.h"
#include "hash/secret_digest.h"

#include <utility>

namespace {

using detail::SecretBytes;
using Sha256 = detail::SecretDigest<SHA256, 32>;

constexpr size_t pointSize = 33;
constexpr size_t saltSize = 16;

/// Wipes `secret` and sets it to `bytes`.
void replace(std::string& secret, asn1::blob bytes) {
    detail::wipe(secret);
    secret.assign(reinterpret_cast<char const*>(bytes.data()), bytes.size());
}

} // namespace

ECSRP::ECSRP(std::string const& userName, std::string const& userPassword,
             std::vector<unsigned char> const& scalar)
    : user(userName),
      password(userPassword),
      secret(scalar),
      publicValue(detail::encodedMultipleOfBase(secret)) {}

ECSRP::~ECSRP() {
    detail::wipe(password);
    detail::wipe(expectedReply);
    detail::wipe(sessionKey);
}

ECSRP& ECSRP::operator=(ECSRP const& other) {
    if (this != &other) {
        user = other.user;
        replace(password, other.password);
        secret = other.secret;
        publicValue = other.publicValue;
        replyExpected = other.replyExpected;
        replace(expectedReply, other.expectedReply);
        replace(sessionKey, other.sessionKey);
    }
    return *this;
}

std::vector<unsigned char> ECSRP::getChallenge() const {
    if (publicValue.empty())
        return {};
    std::vector<unsigned char> challenge;
    challenge.reserve(pointSize + user.size() + 1);
    challenge = publicValue;
    challenge.insert(challenge.end(), user.begin(), user.end());
    challenge.push_back(0);
    return challenge;
}

std::vector<unsigned char> ECSRP::generateResponse(std::vector<unsigned char> const& msg) {
    if (msg.size() == pointSize)
        return generateMSCHAPResponse(msg);
    if (msg.size() == pointSize + saltSize)
        return generateSRPResponse({msg.begin(), msg.begin() + pointSize},
                                   {msg.begin() + pointSize, msg.end()});
    return {};
}

std::vector<unsigned char> ECSRP::generateSRPResponse(std::vector<unsigned char> const& A,
                                                      std::vector<unsigned char> const& salt) {
    Curve25519 const curve;
    WCurve::Point T = curve.fromBin(A);
    if (publicValue.empty() || !curve.isValid(T))
        return {};
    SecretBytes const v(pwdHash(user, password, salt)), verifier(pwdVerifier(v.value));
    if (verifier.value.empty())
        return {};

    SecretBytes const verifierX(Curve25519::getX(verifier.value));
    WCurve::Point minusW = redp1(curve, verifierX.value);
    minusW.Y.value = curve.p - minusW.Y.value;
    RedNum scratch[WCurve::addScratch];
    curve.add(T, minusW, scratch); // a·G if the peer knows V.

    Sha256 const h1({Curve25519::getX(publicValue), Curve25519::getX(A)});
    BigNum s = BigNum(h1) * BigNum(v) + secret;
    div(s, Curve25519::getOrder(), nullptr, &s);
    WCurve::Point Z = curve.mul(s, T);
    if (curve.isInfinity(Z))
        return {};

    SecretBytes const z(curve.toNum(std::move(Z), nullptr).bin(0));
    Sha256 const key({z}), M1({h1, z}), reply({h1, M1, z});
    replace(sessionKey, key);
    replace(expectedReply, reply);
    replyExpected = true;
    return {M1.bytes, M1.bytes + sizeof M1.bytes};
}

std::vector<unsigned char> ECSRP::generateMSCHAPResponse(std::vector<unsigned char> const& A) {
    Curve25519 const curve;
    WCurve::Point const P = curve.fromBin(A);
    if (publicValue.empty() || !curve.isValid(P))
        return {};

    // Not at infinity: the order of a valid point is a multiple of L, and b is not one if B exists.
    replace(sessionKey, SecretBytes(curve.toNum(curve.mul(secret, P), nullptr).bin(0)));
    SecretBytes const authChallenge(makeChallenge(sessionKey, publicValue, false)),
        peerChallenge(makeChallenge(sessionKey, A, true));
    MSCHAPv2 const exchange(user, password, authChallenge.value, peerChallenge.value);
    std::string reply = exchange.getReply();
    replace(expectedReply, reply);
    detail::wipe(reply);
    return exchange.ntResponse;
}

bool ECSRP::verifyReply(std::vector<unsigned char> const& reply) const {
    return replyExpected && equalInConstantTime(reply, expectedReply);
}

std::vector<unsigned char> pwdHash(std::string const& user, std::string const& password,
                                   std::vector<unsigned char> const& salt) {
    Sha256 const inner({user, ":", password}), hash({salt, inner});
    return {hash.bytes, hash.bytes + sizeof hash.bytes};
}

std::vector<unsigned char> pwdVerifier(std::vector<unsigned char> const& v) {
    return detail::encodedMultipleOfBase(BigNum(v));
}

WCurve::Point redp1(Curve25519 const& curve, std::vector<unsigned char> const& data) {
    BigNum n{Sha256({data})};
    for (;; n += 1) {
        SecretBytes const bytes(n.bin(0));
        WCurve::Point P = curve.fromNum(BigNum(Sha256({asn1::blob(bytes)})), 0);
        if (curve.isValid(P))
            return P;
    }
}
