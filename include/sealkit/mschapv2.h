/// MS-CHAPv2: proof of a password by a response to two challenges (RFC 2759), and the keys that MPPE derives
/// from it (RFC 3079).
///
/// | name             | what it is                                            | bytes | standard                          |
/// | ---------------- | ----------------------------------------------------- | ----- | --------------------------------- |
/// | `MSCHAPv2`       | challenge hash, NT-Response, authenticator response   |       | RFC 2759 section 8                |
/// | `makeSessionKey` | a start key of 128 bits, for one of two directions    | 16    | RFC 3079, GetAsymmetricStartKey   |
/// | `makeChallenge`  | a challenge derived from a shared secret              | 16    | of this library, for `ecsrp.h`    |
///
/// No function fails: any input is accepted.
///
/// Not here: the packets of the protocol, changing passwords, start keys of 40 and 56 bits and the later keys
/// of MPPE. The protocol is broken: an NT-Response is DES under pieces of the MD4 digest of the password. An
/// attacker who has one with its two challenges finds that digest in 2^56 steps, and can then use it in place
/// of the password.
#pragma once

#include "sealkit/detail/export.h"

#include <string>
#include <vector>

/// One exchange of MS-CHAPv2, on either side. The challenges, and the hash and the keys that come from the
/// password, are overwritten when it is destroyed.
class SEALKIT_API MSCHAPv2 {
public:
    std::string challengeHash;             ///< 8 bytes: ChallengeHash (RFC 2759 section 8.2).
    std::string passwordHashHash;          ///< 16 bytes: HashNtPasswordHash (section 8.4). As good as the
                                           ///< password to whoever plays the authenticator.
    std::vector<unsigned char> ntResponse; ///< 24 bytes: GenerateNTResponse (section 8.1).

    /// Computes the fields. The challenges, 16 bytes each in the protocol, may have any length. Each byte of
    /// `password` is read as one character, U+0000 to U+00FF; bytes after the first 256 are ignored.
    MSCHAPv2(std::string const& user, std::string const& password,
             std::vector<unsigned char> const& authChallenge,
             std::vector<unsigned char> const& peerChallenge);
    ~MSCHAPv2();
    MSCHAPv2(MSCHAPv2 const&) = default;
    MSCHAPv2& operator=(MSCHAPv2 const&) = default; // All have the same sizes: no memory is left behind.

    /// The authenticator's answer, which proves that it has the password too: "S=" and 40 uppercase
    /// hexadecimal digits (GenerateAuthenticatorResponse, RFC 2759 section 8.7).
    std::string getReply() const;

    /// The master key, 16 bytes (GetMasterKey, RFC 3079 section 3.4). The caller wipes it.
    std::string getMasterKey() const;
};

/// The start key, 16 bytes, for sending (with `isSend`) or receiving, at the server (with `isServer`) or the
/// client: the sending key of one side is the receiving key of the other (GetAsymmetricStartKey for 128 bits,
/// RFC 3079 section 3.4). The caller wipes it.
SEALKIT_API std::string makeSessionKey(std::string const& masterKey, bool isSend, bool isServer);

/// A challenge, 16 bytes, that only a party that knows `secret` can compute: the peer's if `peer` is set,
/// otherwise the authenticator's. Once an NT-Response made with it is public, it must stay secret. The caller
/// wipes it.
SEALKIT_API std::vector<unsigned char> makeChallenge(std::string const& secret,
                                                     std::vector<unsigned char> const& data, bool peer);
