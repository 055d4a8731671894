/// The readers of keys and of encrypted keys, with reasons for refusals. After a refusal, their result is
/// unchanged unless stated otherwise.
#pragma once

#include "sealkit/keys.h"
#include "sealkit/password_schemes.h"
#include "sealkit/pbes2.h"

#include "base/reading.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace detail {

/// Reads a key in its own DER, with its algorithm's parameters: `PublicKey::parseFromDerEncoded`.
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, RsaPublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, RsaPrivateKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, EcPublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, EcPrivateKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, Ed25519PublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, Ed25519PrivateKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, X25519PublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, X25519PrivateKey& to);

/// Reads the key of a SubjectPublicKeyInfo; null if it is refused.
std::unique_ptr<PublicKey> readPublicKeyInfo(Reading& reading, asn1::blob der);

/// Reads the key of a OneAsymmetricKey; null if it is refused.
std::unique_ptr<PrivateKey> readOneAsymmetricKey(Reading& reading, asn1::blob der);

/// The fields of an EncryptedPrivateKeyInfo (RFC 5958, section 3).
struct EncryptedKeyFields {
    asn1::blob scheme; ///< Content octets of an object identifier.
    asn1::blob params; ///< The whole encoding; empty if absent.
    asn1::blob data;
};
bool takeEncryptedKey(Reading& reading, asn1::blob der, EncryptedKeyFields* fields);

/// Decrypts an EncryptedPrivateKeyInfo and calls `readKey` with the OneAsymmetricKey. Without a password the
/// refusal is `RefusalId::passwordRequired`, unless the scheme is unsupported or malformed. If `readKey`
/// fails and the data is not in the form of a key, it is `RefusalId::wrongPassword`.
bool readEncryptedKey(Reading& reading, asn1::blob der, std::optional<std::string_view> password,
                      std::function<bool(asn1::blob)> const& readKey, PasswordSchemes const& schemes = {});

/// Encrypts a OneAsymmetricKey as an EncryptedPrivateKeyInfo: `encodePkcs8EncryptedPrivateKey`.
std::vector<unsigned char> encryptKey(asn1::blob key, std::string_view password, unsigned iterations);

/// Reads the key of an EncryptedPrivateKeyInfo as `readEncryptedKey` does; null if it is refused.
std::unique_ptr<PrivateKey> readEncryptedPrivateKey(Reading& reading, asn1::blob der,
                                                    std::optional<std::string_view> password,
                                                    PasswordSchemes const& schemes = {});

/// Whether `data` can be decrypted under PBES2-params with the right password.
bool checkPbes2(Reading& reading, asn1::blob params, asn1::blob data, PasswordSchemes const& schemes);

/// Describes the encryption of PBES2-params and, unless `data` is null, whether it can be decrypted with the
/// right password. Returns the cost of the key derivation, in iterations.
std::uint64_t describePbes2(Reading& reading, asn1::blob params, asn1::blob const* data,
                            PasswordSchemes const& schemes, KeyEncryption* to);

/// Decrypts `data` under PBES2-params. After a failure, `out` holds nothing that was decrypted.
bool decryptPbes2(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
                  PasswordSchemes const& schemes, std::vector<unsigned char>& out);

} // namespace detail
