/// A key out of a password, over Curve25519: both sides learn that the other knows the password, or what was made
/// of it, and nobody between them can try passwords against what they sent.
///
/// | name          | what it is                                                          | bytes |
/// | ------------- | ------------------------------------------------------------------- | ----- |
/// | `ECSRP`       | the side that has the password and a secret scalar                  |       |
/// | `pwdHash`     | the password's number                                               | 32    |
/// | `pwdVerifier` | what the peer keeps of a password: the multiple of G by that number | 33    |
/// | `redp1`       | bytes hashed to a point of which nobody knows what multiple it is   |       |
///
/// Points travel in the 33 bytes of `Curve25519::toBin`. With the secret scalars b here and a at the peer:
///
/// | mode    | this side sends              | the peer sends          | this side answers | the peer replies         |
/// | ------- | ---------------------------- | ----------------------- | ----------------- | ------------------------ |
/// | SRP     | B = b·G, user name, one zero | A = a·G + W, salt of 16 | M1 (32 bytes)     | a SHA-256                |
/// | MS-CHAP | B = b·G, user name, one zero | A = a·G                 | NT-Response (24)  | authenticator's response |
///
/// SRP mode: v is `pwdHash`, V = v·G the verifier, W = `redp1` of the u of V, e = SHA-256(u of B ‖ u of A), and both
/// sides come to one point: here (b + e·v)·(A − W), at the peer a·(B + e·V). MS-CHAP mode: the point b·A = a·B gives
/// the two challenges of MS-CHAPv2 (`mschapv2.h`), which are never sent.
///
/// What it does not do: the side that keeps verifiers, which is arithmetic on `Curve25519` alone
/// (`examples/ecsrp_exchange.cpp` has it whole); making secret scalars or salts (`rng.h`); constant time
/// (`docs/timing.md`). MS-CHAP mode protects against listeners but not against a peer that made up A: that one
/// has an NT-Response with known challenges.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/curve25519.h"
#include "sealkit/detail/export.h"

#include <string>
#include <vector>

/// One exchange on the side that has the password. Failures are silent: an empty answer, or false. The password, the
/// scalar, the reply and the session key are overwritten when the object is destroyed or assigned to.
class SEALKIT_API ECSRP {
public:
    /// `secret` is the scalar, big-endian and of any length: 32 random bytes, new for every exchange. One that
    /// is a multiple of the group order (none or zeros only, for one) makes an object whose answers are all
    /// empty.
    ECSRP(std::string const& user, std::string const& password, std::vector<unsigned char> const& secret);
    ~ECSRP();
    ECSRP(ECSRP const&) = default;
    ECSRP& operator=(ECSRP const& other);

    /// What to send first: B, the user name and a zero byte. Empty when there is no B.
    std::vector<unsigned char> getChallenge() const;

    /// The answer to the peer's message. Of 33 bytes, a point: that of MS-CHAP mode; of 49, a point and a salt: that
    /// of SRP mode. Empty for other lengths, and where those are empty.
    std::vector<unsigned char> generateResponse(std::vector<unsigned char> const& msg);

    /// SRP mode: M1, 32 bytes; from now on there is a reply to verify. Empty, with nothing changed, when `A` does
    /// not decode or is of small order, when the shared point is at infinity, and when there is no B.
    std::vector<unsigned char> generateSRPResponse(std::vector<unsigned char> const& A,
                                                   std::vector<unsigned char> const& salt);

    /// MS-CHAP mode: the NT-Response, 24 bytes. Empty, with nothing changed, when `A` does not decode or is of small
    /// order, and when there is no B. It does not make `verifyReply` take a reply.
    std::vector<unsigned char> generateMSCHAPResponse(std::vector<unsigned char> const& A);

    /// Whether `reply` is the expected one, in a time that depends on its length alone. False as long as SRP mode has
    /// given no response.
    bool verifyReply(std::vector<unsigned char> const& reply) const;

    /// The session key of the last response, or empty: 32 bytes of SRP mode; of MS-CHAP mode the shared u itself,
    /// big-endian without leading zeros. It is not to be trusted before the reply is verified, and the caller's
    /// to wipe.
    std::string getSessionKey() const { return sessionKey; }

protected:
    std::string user;
    std::string password;
    BigNum secret;                          ///< b
    std::vector<unsigned char> publicValue; ///< B; empty when it is at infinity.
    bool replyExpected = false;             ///< Whether SRP mode has given a response.
    std::string expectedReply;              ///< Of the last response, in either mode.
    std::string sessionKey;
};

/// SHA-256(`salt` ‖ SHA-256(`user` ‖ ":" ‖ `password`)). It is as good as the password, and the caller's to wipe.
SEALKIT_API std::vector<unsigned char> pwdHash(std::string const& user, std::string const& password,
                                               std::vector<unsigned char> const& salt);

/// The multiple of the base point by `v`, big-endian; what a peer keeps of a password with its salt. Passwords can be
/// tried against it: it is to be guarded. Empty when `v` is a multiple of the group order.
SEALKIT_API std::vector<unsigned char> pwdVerifier(std::vector<unsigned char> const& v);

/// A point that belongs to `data`: with n = SHA-256(`data`), the first of those whose u is SHA-256(n), SHA-256(n + 1) …
/// and whose y is even, that is on the curve and not of small order. It has Z = 1. About half of all u have a point:
/// the time depends on the data.
SEALKIT_API WCurve::Point redp1(Curve25519 const& curve, std::vector<unsigned char> const& data);
