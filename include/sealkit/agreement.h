/// Agreeing on a secret with the holder of another key, by Diffie-Hellman.
///
/// | keys   | secret                                                      | bytes                |
/// | ------ | ----------------------------------------------------------- | -------------------- |
/// | EC     | the x-coordinate of the shared point (SEC 1, section 3.3.1) | as wide as the field |
/// | X25519 | the shared u-coordinate (RFC 7748, section 6.1)             | 32                   |
///
/// The secret is a number and not a key: derive keys from it (by an HMAC over the secret and what both sides
/// know), and wipe it. The secret does not authenticate the other side.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/refusal.h"

#include <vector>

/// The secret that the holder of `own` shares with the holder of `peer`. Both keys must be of one kind and on
/// one curve; `peer` may be a private key, which is its own public key. Empty, with the reason in `*refusal`
/// unless it is null, if the kinds or curves differ, if keys of this kind only sign, if a point is not on its
/// curve, or if a key is invalid.
SEALKIT_API std::vector<unsigned char> agreeKeys(PrivateKey const& own, PublicKey const& peer,
                                                 Refusal* refusal = nullptr);
