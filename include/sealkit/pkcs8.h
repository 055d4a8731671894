/// Keys in their algorithm-independent containers.
///
/// | container                            | read                             | written                           |
/// |--------------------------------------|----------------------------------|-----------------------------------|
/// | SubjectPublicKeyInfo (RFC 5280, 4.1) | `parsePkcs8PublicKey`            | `encodePkcs8PublicKey`            |
/// | OneAsymmetricKey (RFC 5958, PKCS#8)  | `parseOneAssimetricKey`          | `encodePkcs8PrivateKey`           |
/// | EncryptedPrivateKeyInfo (RFC 5958)   | `parsePkcs8EncryptedPrivateKey`  | `encodePkcs8EncryptedPrivateKey`  |
#pragma once

#include "sealkit/keys.h"
#include "sealkit/password_schemes.h"

#include <memory>
#include <string_view>
#include <vector>

/// The key in a SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT
/// STRING }. Null if `der` is malformed, has trailing bytes, names an algorithm other than those of keys.h,
/// or holds a key that its class rejects.
SEALKIT_API std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der);
SEALKIT_API std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der, Refusal* refusal);

/// The SubjectPublicKeyInfo of `key`, or of the public half of a private key. A missing point of an EC
/// private key is computed. Empty if `parsePkcs8PublicKey` would reject the result.
SEALKIT_API std::vector<unsigned char> encodePkcs8PublicKey(PublicKey const& key);

/// The key in a OneAsymmetricKey ::= SEQUENCE { version INTEGER, privateKeyAlgorithm AlgorithmIdentifier,
/// privateKey OCTET STRING, attributes [0] OPTIONAL, publicKey [1] OPTIONAL } (RFC 5958, section 2). Version
/// 1, encoded as 0, is PKCS#8's PrivateKeyInfo (RFC 5208) and has no public key; version 2 may have one,
/// which must match the private key. Attributes are ignored. Null if `der` is malformed, has trailing bytes,
/// names an algorithm other than those of keys.h, or holds a key that its class rejects.
SEALKIT_API std::unique_ptr<PrivateKey> parseOneAssimetricKey(asn1::blob der);
SEALKIT_API std::unique_ptr<PrivateKey> parseOneAssimetricKey(asn1::blob der, Refusal* refusal);

/// The OneAsymmetricKey of `key`, version 1, without attributes. A missing point of an EC key is computed.
/// Empty if `parseOneAssimetricKey` would reject the result. The result holds the secret: the caller wipes
/// it.
SEALKIT_API std::vector<unsigned char> encodePkcs8PrivateKey(PrivateKey const& key);

/// The key in an EncryptedPrivateKeyInfo ::= SEQUENCE { encryptionAlgorithm AlgorithmIdentifier,
/// encryptedData OCTET STRING } (RFC 5958, section 3), which is PBES2 over a OneAsymmetricKey. pbes2.h lists
/// what is supported, and what is written to standard output otherwise; for another scheme it writes "PKCS8:
/// unsupported PBE: <…>" with its name or dotted form. Null in these cases, if `der` is malformed or has
/// trailing bytes, and if the decrypted bytes are not a key, which means a wrong password.
SEALKIT_API std::unique_ptr<PrivateKey> parsePkcs8EncryptedPrivateKey(asn1::blob der,
                                                                      std::string_view password);
/// Gives `RefusalId::wrongPassword` if the decrypted bytes do not have the shape of a OneAsymmetricKey. If a
/// key has that shape but is rejected, the password is right, and the refusal gives the reason after the path
/// "byte N of the decrypted key". `schemes` tells which encryption is accepted.
SEALKIT_API std::unique_ptr<PrivateKey> parsePkcs8EncryptedPrivateKey(asn1::blob der,
                                                                      std::string_view password,
                                                                      Refusal* refusal,
                                                                      PasswordSchemes const& schemes = {});

/// The EncryptedPrivateKeyInfo of `key`: PBES2 with PBKDF2, hmacWithSHA256 and aes256-CBC, 16 bytes of salt
/// and the IV from `getDefaultRng`. Empty if the key is invalid, or if `iterations` is 0 or above
/// `pbes2MaxIterations`.
SEALKIT_API std::vector<unsigned char>
encodePkcs8EncryptedPrivateKey(PrivateKey const& key, std::string_view password, unsigned iterations);
