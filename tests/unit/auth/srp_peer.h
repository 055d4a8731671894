/// The other side of an exchange, from the mathematics alone: nothing of `ecsrp.h` is used.
#pragma once

#include "sealkit/curve25519.h"
#include "sealkit/hash.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

inline Bytes sha256(std::initializer_list<asn1::blob> parts) {
    SHA256 hash;
    for (asn1::blob part : parts)
        hash.update(part.data(), static_cast<unsigned>(part.size()));
    Bytes digest(32);
    hash.digest(digest.data());
    return digest;
}

inline Bytes firstBytes(Bytes const& bytes, size_t count) { return {bytes.begin(), bytes.begin() + count}; }

inline Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline WCurve::Point sum(Curve25519 const& curve, WCurve::Point P, WCurve::Point const& Q) {
    RedNum scratch[WCurve::addScratch];
    curve.add(P, Q, scratch);
    return P;
}

/// W: the first u out of SHA-256(n), SHA-256(n + 1) … that has a point which eight times itself does not
/// lose.
inline WCurve::Point mask(Curve25519 const& curve, Bytes const& uOfVerifier) {
    for (BigNum n(sha256({uOfVerifier}));; n += 1) {
        Bytes const u = sha256({n.bin(0)}) + Bytes{0};
        WCurve::Point W = curve.fromBin(u);
        if (!curve.isInfinity(W) && !curve.isInfinity(curve.mul(bn64(8), W)))
            return W;
    }
}

/// What a peer that knows the password makes of it; one that does not was given it once.
inline Bytes verifierOf(std::string const& user, std::string const& password, Bytes const& salt) {
    Curve25519 const curve;
    Bytes const v = sha256({salt, sha256({user + ":" + password})});
    return curve.toBin(curve.mul(BigNum(v), curve.getG()));
}

/// The side that keeps V = v·G and never sees the password.
struct SrpPeer {
    BigNum a;
    Bytes salt, verifier;
    Bytes message;                     ///< to send: A = a·G + W, and the salt
    Bytes response, reply, sessionKey; ///< of `receive`

    SrpPeer(BigNum const& scalar, Bytes const& itsSalt, Bytes const& itsVerifier)
        : a(scalar), salt(itsSalt), verifier(itsVerifier) {
        Curve25519 const curve;
        message =
            curve.toBin(sum(curve, curve.mul(a, curve.getG()), mask(curve, firstBytes(verifier, 32)))) + salt;
    }

    /// Z = a·(B + e·V), from the challenge of the side with the password.
    void receive(Bytes const& challenge) {
        Curve25519 const curve;
        Bytes const e = sha256({firstBytes(challenge, 32), firstBytes(message, 32)});
        WCurve::Point const B = curve.fromBin(firstBytes(challenge, 33)), V = curve.fromBin(verifier);
        Bytes const z = curve.toNum(curve.mul(a, sum(curve, curve.mul(BigNum(e), V), B)), nullptr).bin(0);
        sessionKey = sha256({z});
        response = sha256({e, z});
        reply = sha256({e, response, z});
    }
};

} // namespace test
