/// MS-CHAPv2: a password proved by a response to two challenges (RFC 2759), and the keys that MPPE takes from it
/// (RFC 3079).
///
/// | name             | what it is                                            | bytes | standard                          |
/// | ---------------- | ----------------------------------------------------- | ----- | --------------------------------- |
/// | `MSCHAPv2`       | challenge hash, NT-Response, authenticator response   |       | RFC 2759 section 8                |
/// | `makeSessionKey` | a start key of 128 bits, for one of two directions    | 16    | RFC 3079, GetAsymmetricStartKey   |
/// | `makeChallenge`  | a challenge out of a secret that both sides share     | 16    | of this library; serves `ecsrp.h` |
///
/// Nothing fails: every input is taken.
///
/// Not here: the packets that carry all this, changing passwords, start keys of 40 and 56 bits and the later keys
/// of MPPE. And protection: NT-Responses are DES under the pieces of an MD4 of the password. Whoever has one with
/// its two challenges finds that hash in a search of 2^56 steps, and with it all that the password opens.
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
    /// `password` is a character, U+0000 to U+00FF, whatever character set it is of; those beyond 256 do
    /// not count.
    MSCHAPv2(std::string const& user, std::string const& password,
             std::vector<unsigned char> const& authChallenge,
             std::vector<unsigned char> const& peerChallenge);
    ~MSCHAPv2();
    MSCHAPv2(MSCHAPv2 const&) = default;
    MSCHAPv2& operator=(MSCHAPv2 const&) = default; // All have the same sizes: no memory is left behind.

    /// What the authenticator answers to show that it has the password too: "S=" and 40 uppercase hexadecimal
    /// digits (GenerateAuthenticatorResponse, RFC 2759 section 8.7).
    std::string getReply() const;

    /// The master key, 16 bytes (GetMasterKey, RFC 3079 section 3.4). It is the caller's to wipe.
    std::string getMasterKey() const;
};

/// The start key, 16 bytes, of the direction in which the side that asks sends (or, without `isSend`, receives),
/// which is the server or the client: the sending key of one is the receiving key of the other
/// (GetAsymmetricStartKey for 128 bits, RFC 3079 section 3.4). It is the caller's to wipe.
SEALKIT_API std::string makeSessionKey(std::string const& masterKey, bool isSend, bool isServer);

/// A challenge, 16 bytes, that only who knows `secret` can compute; the peer's or the authenticator's. It is as
/// secret as an NT-Response made with it is public, and the caller's to wipe.
SEALKIT_API std::vector<unsigned char> makeChallenge(std::string const& secret,
                                                     std::vector<unsigned char> const& data, bool peer);
