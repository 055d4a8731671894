/// The hashes of password-encrypted files: most of `HashID`, and two of SHA-2 without an id there.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/hash.h"

#include <memory>
#include <span>

namespace detail {

enum class FileHash { none, md5, sha1, sha224, sha256, sha384, sha512, sha512_256 };

/// `FileHash::none` for hashes that such files do not use.
FileHash fileHashOf(HashID id);

/// A new hash object; null for `FileHash::none`.
std::unique_ptr<Hash> createFileHash(FileHash hash);

/// PBKDF2 with HMAC over `hash`, under the conditions of `pbkdf2`. Also returns false for MD5.
bool deriveByPbkdf2(FileHash hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                    std::span<unsigned char> key);

} // namespace detail
