/// OpenSSL's libcrypto as what the library is compared with: bytes in, bytes out. Everything throws
/// `std::runtime_error` with OpenSSL's reason when it cannot be done. The algorithms of the legacy provider
/// are among them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace libcrypto {

using Bytes = std::vector<unsigned char>;

/// The version in words.
std::string version();

Bytes digest(std::string const& hash, Bytes const& message);
Bytes hmac(std::string const& hash, Bytes const& key, Bytes const& message);
/// Both steps of RFC 5869, and the second alone.
Bytes hkdf(std::string const& hash, Bytes const& salt, Bytes const& ikm, Bytes const& info, size_t length);
Bytes hkdfExpand(std::string const& hash, Bytes const& prk, Bytes const& info, size_t length);
/// RFC 7292, appendix B.2.
Bytes pkcs12Kdf(std::string const& hash, Bytes const& password, Bytes const& salt, size_t iterations,
                size_t purpose, size_t length);
/// Under AES of the key's size.
Bytes cmac(Bytes const& key, Bytes const& message);

/// A cipher that neither pads nor authenticates. A stream cipher takes an empty `iv`.
Bytes encrypt(std::string const& cipher, Bytes const& key, Bytes const& iv, Bytes const& message);
Bytes decrypt(std::string const& cipher, Bytes const& key, Bytes const& iv, Bytes const& ciphertext);

/// AES-GCM and AES-SIV of the key's size. `gcmEncrypt` gives the ciphertext and the tag, `sivEncrypt` the
/// synthetic IV and the ciphertext. What fails authentication gives nothing.
Bytes gcmEncrypt(Bytes const& key, Bytes const& iv, Bytes const& aad, Bytes const& message);
std::optional<Bytes> gcmDecrypt(Bytes const& key, Bytes const& iv, Bytes const& aad, Bytes const& ciphertext);
Bytes sivEncrypt(Bytes const& key, std::vector<Bytes> const& strings, Bytes const& message);
std::optional<Bytes> sivDecrypt(Bytes const& key, std::vector<Bytes> const& strings, Bytes const& ciphertext);

} // namespace libcrypto
