/// Keys in OpenSSH's own forms: the private key file "openssh-key-v1", not encrypted, and the public key in
/// one line (RFC 4253, section 6.6; RFC 5656, section 3.1; RFC 8709, section 4).
///
/// | member                                             | what it is                          |
/// | -------------------------------------------------- | ----------------------------------- |
/// | `readOpensshPrivateKey`, `encodeOpensshPrivateKey` | the PEM block "OPENSSH PRIVATE KEY" |
/// | `readOpensshPublicKey`, `encodeOpensshPublicKey`   | "ssh-ed25519 AAAA… comment"         |
///
/// | key                          | type                                                                |
/// | ---------------------------- | ------------------------------------------------------------------- |
/// | RSA                          | "ssh-rsa"                                                           |
/// | EC on P-256, P-384 and P-521 | "ecdsa-sha2-nistp256", "ecdsa-sha2-nistp384", "ecdsa-sha2-nistp521" |
/// | Ed25519                      | "ssh-ed25519"                                                       |
///
/// Other types, such as DSA and keys in hardware, are refused with their name. Encrypted private keys are
/// refused too, because only OpenSSH uses their key derivation (bcrypt): `ssh-keygen -p` removes the password
/// from a copy. Not here: OpenSSH certificates, and files of several keys.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/refusal.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The private key of the first block "OPENSSH PRIVATE KEY" in `text`. Null if it is missing, malformed or
/// encrypted, if the file's public key does not match it, or if its type or its numbers are refused.
/// `*comment`, unless `comment` is null, becomes the comment of the file, which may hold any byte.
SEALKIT_API std::unique_ptr<PrivateKey> readOpensshPrivateKey(std::string_view text, Refusal* refusal,
                                                              std::string* comment = nullptr);

/// The public key of the first line of `text` that is not blank and does not begin with "#", or of a block
/// "OPENSSH PRIVATE KEY", whose public key is never encrypted. Null under the same conditions. Options before
/// the type, as in files of authorized keys, are refused.
SEALKIT_API std::unique_ptr<PublicKey> readOpensshPublicKey(std::string_view text, Refusal* refusal,
                                                            std::string* comment = nullptr);

/// The block, not encrypted. Empty for keys of other types, if the key is invalid, if an RSA key lacks its
/// primes, or if `getDefaultRng` fails. The result is as secret as the key: the caller wipes it.
SEALKIT_API std::vector<unsigned char> encodeOpensshPrivateKey(PrivateKey const& key,
                                                               std::string_view comment);

/// The line, with its line end, of the public half of any key. Empty for keys of other types, if the key is
/// invalid, and if the comment contains a line end.
SEALKIT_API std::vector<unsigned char> encodeOpensshPublicKey(PublicKey const& key, std::string_view comment);
