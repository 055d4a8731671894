/// Password-authenticated key agreement over Curve25519: each side proves that it knows the password or its
/// verifier, and an eavesdropper cannot test passwords against what they send.
///
/// | name          | what it is                                                      | bytes |
/// | ------------- | --------------------------------------------------------------- | ----- |
/// | `ECSRP`       | the side that has the password and a secret scalar              |       |
/// | `pwdHash`     | the password's number                                           | 32    |
/// | `pwdVerifier` | what the peer stores of a password: G multiplied by that number | 33    |
/// | `redp1`       | bytes hashed to a point whose discrete logarithm nobody knows   |       |
///
/// Points travel in the 33 bytes of `Curve25519::toBin`. With the secret scalars b here and a at the peer:
///
/// | mode    | this side sends              | the peer sends          | this side answers | the peer replies         |
/// | ------- | ---------------------------- | ----------------------- | ----------------- | ------------------------ |
/// | SRP     | B = b·G, user name, one zero | A = a·G + W, salt of 16 | M1 (32 bytes)     | a SHA-256                |
/// | MS-CHAP | B = b·G, user name, one zero | A = a·G                 | NT-Response (24)  | authenticator's response |
///
/// SRP mode: v is `pwdHash`, V = v·G the verifier, W = `redp1` of the u of V, e = SHA-256(u of B ‖ u of A),
/// and both sides come to one point: here (b + e·v)·(A − W), at the peer a·(B + e·V). MS-CHAP mode: the point
/// b·A = a·B gives the two challenges of MS-CHAPv2 (`mschapv2.h`), which are never sent.
///
/// Not here: the side that stores verifiers, which needs only arithmetic on `Curve25519`
/// (`examples/ecsrp_exchange.cpp` shows it); secret scalars and salts, which come from `rng.h`; constant time
/// (`docs/timing.md`). MS-CHAP mode protects against eavesdroppers, but not against the peer that chose A: it
/// obtains an NT-Response to challenges that it knows.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/curve25519.h"
#include "sealkit/detail/export.h"

#include <string>
#include <vector>

/// One exchange on the side that has the password. Failures are silent: an empty answer, or false. The
/// password, the scalar, the reply and the session key are overwritten when the object is destroyed or
/// assigned to.
class SEALKIT_API ECSRP {
public:
    /// `secret` is the scalar, big-endian and of any length: 32 random bytes, new for every exchange. If it
    /// is a multiple of the group order (empty or all zeros, for example), all answers are empty.
    ECSRP(std::string const& user, std::string const& password, std::vector<unsigned char> const& secret);
    ~ECSRP();
    ECSRP(ECSRP const&) = default;
    ECSRP& operator=(ECSRP const& other);

    /// What to send first: B, the user name and a zero byte. Empty if B is at infinity.
    std::vector<unsigned char> getChallenge() const;

    /// The answer to the peer's message. A message of 33 bytes, a point, selects MS-CHAP mode; one of 49
    /// bytes, a point and a salt, selects SRP mode. Empty for other lengths, and if the answer of that mode
    /// is empty.
    std::vector<unsigned char> generateResponse(std::vector<unsigned char> const& msg);

    /// SRP mode: M1, 32 bytes, which enables `verifyReply`. Returns an empty vector and leaves the object
    /// unchanged if `A` does not decode or is of small order, or if the shared point or B is at infinity.
    std::vector<unsigned char> generateSRPResponse(std::vector<unsigned char> const& A,
                                                   std::vector<unsigned char> const& salt);

    /// MS-CHAP mode: the NT-Response, 24 bytes. Returns an empty vector and leaves the object unchanged if
    /// `A` does not decode or is of small order, or if B is at infinity. It does not enable `verifyReply`.
    std::vector<unsigned char> generateMSCHAPResponse(std::vector<unsigned char> const& A);

    /// Whether `reply` is the expected one, in a time that depends only on its length. Returns false as long
    /// as SRP mode has given no response.
    bool verifyReply(std::vector<unsigned char> const& reply) const;

    /// The session key of the last response, or empty: 32 bytes of SRP mode; of MS-CHAP mode the shared u
    /// itself, big-endian without leading zeros. Do not use it before the reply is verified. The caller wipes
    /// it.
    std::string getSessionKey() const { return sessionKey; }

protected:
    std::string user;                       ///< The name that the password is for.
    std::string password;                   ///< Wiped at the end.
    BigNum secret;                          ///< b
    std::vector<unsigned char> publicValue; ///< B; empty when it is at infinity.
    bool replyExpected = false;             ///< Whether SRP mode has given a response.
    std::string expectedReply;              ///< Of the last response, in either mode.
    std::string sessionKey;                 ///< Of the last response; empty before.
};

/// SHA-256(`salt` ‖ SHA-256(`user` ‖ ":" ‖ `password`)). It is as secret as the password: the caller wipes
/// it.
SEALKIT_API std::vector<unsigned char> pwdHash(std::string const& user, std::string const& password,
                                               std::vector<unsigned char> const& salt);

/// The multiple of the base point by `v`, big-endian; what a peer stores of a password, with its salt.
/// Passwords can be tested against it, so it must be kept secret. Empty if `v` is a multiple of the group
/// order.
SEALKIT_API std::vector<unsigned char> pwdVerifier(std::vector<unsigned char> const& v);

/// Hashes `data` to a point: with n = SHA-256(`data`), the first of those whose u is SHA-256(n), SHA-256(n +
/// 1) … and whose y is even, that is on the curve and not of small order. It has Z = 1. About half of all u
/// have a point: the time depends on the data.
SEALKIT_API WCurve::Point redp1(Curve25519 const& curve, std::vector<unsigned char> const& data);
