/// The hashes that files under a password name: most of `HashID`, and two of SHA-2 that have no id there.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/hash.h"

#include <memory>
#include <span>

namespace detail {

enum class FileHash { none, md5, sha1, sha224, sha256, sha384, sha512, sha512_256 };

/// `FileHash::none` for hashes that no such file names.
FileHash fileHashOf(HashID id);

/// A fresh hash object. Null for `FileHash::none`.
std::unique_ptr<Hash> createFileHash(FileHash hash);

/// PBKDF2 with HMAC over `hash`, on the terms of `pbkdf2`. Returns false for MD5, too.
bool deriveByPbkdf2(FileHash hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                    std::span<unsigned char> key);

} // namespace detail
