/// The readers of keys and of encrypted keys, which say why they refuse something. Each leaves its result
/// unchanged where it does, unless it says otherwise.
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

/// A key in its own DER, beside the parameters of its algorithm: `PublicKey::parseFromDerEncoded`.
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, RsaPublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, RsaPrivateKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, EcPublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, EcPrivateKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, Ed25519PublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, Ed25519PrivateKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, X25519PublicKey& to);
bool read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, X25519PrivateKey& to);

/// The key of a SubjectPublicKeyInfo; null when it is refused.
std::unique_ptr<PublicKey> readPublicKeyInfo(Reading& reading, asn1::blob der);

/// The key of a OneAsymmetricKey; null when it is refused.
std::unique_ptr<PrivateKey> readOneAsymmetricKey(Reading& reading, asn1::blob der);

/// The fields of an EncryptedPrivateKeyInfo (RFC 5958, section 3).
struct EncryptedKeyFields {
    asn1::blob scheme; ///< Content octets of an object identifier.
    asn1::blob params; ///< The whole encoding; empty where they are absent.
    asn1::blob data;
};
bool takeEncryptedKey(Reading& reading, asn1::blob der, EncryptedKeyFields* fields);

/// Decrypts an EncryptedPrivateKeyInfo, and has `readKey` read the OneAsymmetricKey within. Without a
/// password it is refused, as `RefusalId::passwordRequired` unless no password decrypts it. What `readKey`
/// refuses and has not the shape of a key is `RefusalId::wrongPassword`.
bool readEncryptedKey(Reading& reading, asn1::blob der, std::optional<std::string_view> password,
                      std::function<bool(asn1::blob)> const& readKey, PasswordSchemes const& schemes = {});

/// The EncryptedPrivateKeyInfo of a OneAsymmetricKey: `encodePkcs8EncryptedPrivateKey`.
std::vector<unsigned char> encryptKey(asn1::blob key, std::string_view password, unsigned iterations);

/// The key of an EncryptedPrivateKeyInfo, on the terms of `readEncryptedKey`; null when it is refused.
std::unique_ptr<PrivateKey> readEncryptedPrivateKey(Reading& reading, asn1::blob der,
                                                    std::optional<std::string_view> password,
                                                    PasswordSchemes const& schemes = {});

/// Whether `data` can be decrypted as PBES2-params say, apart from the password.
bool checkPbes2(Reading& reading, asn1::blob params, asn1::blob data, PasswordSchemes const& schemes);

/// How PBES2-params encrypt, and whether `data` can be decrypted apart from the password. Null for no data.
/// Returns what deriving the key costs, in iterations.
std::uint64_t describePbes2(Reading& reading, asn1::blob params, asn1::blob const* data,
                            PasswordSchemes const& schemes, KeyEncryption* to);

/// Decrypts `data` as PBES2-params say. `out` holds nothing that was decrypted when that fails.
bool decryptPbes2(Reading& reading, asn1::blob params, std::string_view password, asn1::blob data,
                  PasswordSchemes const& schemes, std::vector<unsigned char>& out);

} // namespace detail
