/// The ciphers in CBC mode with padding (RFC 8018, appendix B.2) that encrypt keys and contents of messages.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/cipher.h"

#include <memory>
#include <vector>

namespace detail {

struct ContentCipher {
    asn1::blob oid; ///< Its content octets.
    CipherID id;
    unsigned keySize;
    unsigned blockSize; ///< Of the IV, too.

    static constexpr unsigned maxKeySize = 32, maxBlockSize = 16;
};

/// Null for every other algorithm.
ContentCipher const* findContentCipher(asn1::blob oid);
/// The one with keys of `keySize` bytes; for a size of 0, that with the longest keys. Null if none has that
/// size.
ContentCipher const* findContentCipher(CipherID id, unsigned keySize);

/// The key has `keySize` bytes and the IV `blockSize`.
std::unique_ptr<Cipher> makeContentCipher(ContentCipher const& cipher, asn1::blob key, asn1::blob iv);

/// Whether `data` has room for its padding.
bool canBePadded(ContentCipher const& cipher, asn1::blob data);
/// Whether `data` is whole blocks, and one at least.
bool canBeDecrypted(ContentCipher const& cipher, asn1::blob data);

/// Encrypts what `canBePadded` with a cipher that `makeContentCipher` made.
std::vector<unsigned char> encryptPadded(ContentCipher const& cipher, Cipher& keyed, asn1::blob data);
/// Decrypts what `canBeDecrypted`, and takes off as many bytes as the last one says: 0 to a block. The others
/// are not looked at. When the last says more it is false and `out` holds all that was decrypted.
bool decryptPadded(ContentCipher const& cipher, Cipher& keyed, asn1::blob data,
                   std::vector<unsigned char>& out);
/// Takes off as many bytes as the last one says, under the same conditions.
bool removePadding(unsigned blockSize, std::vector<unsigned char>& plain);

} // namespace detail
