/// The ciphers in CBC mode with padding (RFC 8018, appendix B.2) that encrypt keys and contents of messages.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/cipher.h"

#include <memory>
#include <vector>

namespace detail {

struct ContentCipher {
    asn1::blob oid; ///< Content octets.
    CipherID id;
    unsigned keySize;
    unsigned blockSize; ///< Also the size of the IV.

    static constexpr unsigned maxKeySize = 32, maxBlockSize = 16;
};

/// Null for any other algorithm.
ContentCipher const* findContentCipher(asn1::blob oid);
/// The cipher with keys of `keySize` bytes, or with the longest keys if that is 0. Null if it does not exist.
ContentCipher const* findContentCipher(CipherID id, unsigned keySize);

/// The key must have `keySize` bytes, and the IV `blockSize`.
std::unique_ptr<Cipher> makeContentCipher(ContentCipher const& cipher, asn1::blob key, asn1::blob iv);

/// Whether the padded `data` is not too large.
bool canBePadded(ContentCipher const& cipher, asn1::blob data);
/// Whether `data` is one or more whole blocks.
bool canBeDecrypted(ContentCipher const& cipher, asn1::blob data);

/// Encrypts data that `canBePadded` accepts, with a cipher from `makeContentCipher`.
std::vector<unsigned char> encryptPadded(ContentCipher const& cipher, Cipher& keyed, asn1::blob data);
/// Decrypts data that `canBeDecrypted` accepts, and removes as many bytes as the last byte says: 0 to a
/// block. The other padding bytes are not checked. If the last byte is larger than a block, returns false and
/// leaves all decrypted bytes in `out`.
bool decryptPadded(ContentCipher const& cipher, Cipher& keyed, asn1::blob data,
                   std::vector<unsigned char>& out);
/// Removes the padding under the same conditions.
bool removePadding(unsigned blockSize, std::vector<unsigned char>& plain);

} // namespace detail
