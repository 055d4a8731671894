/// Keys of ML-KEM-768 in the containers of RFC 9935.
///
/// | what                  | from DER                        | from text, DER or raw bytes | written                           |
/// |-----------------------|---------------------------------|-----------------------------|-----------------------------------|
/// | private key           | `parseMlkemPrivateKey`          | `readMlkemPrivateKey`       | `encodeMlkemPrivateKey`           |
/// | encrypted private key | `parseMlkemEncryptedPrivateKey` | `readMlkemPrivateKey`       | `encodeMlkemEncryptedPrivateKey`  |
/// | public key            | `parseMlkemPublicKey`           | `readMlkemPublicKey`        | `encodeMlkemPublicKey`            |
///
/// A private key is a OneAsymmetricKey (RFC 5958) with the seed of 64 bytes, the expanded key of 2400 bytes,
/// or both; a public key is a SubjectPublicKeyInfo. All of these are read and checked (FIPS 203, section
/// 7.3). Only the seed is written, which most other programs read. A file may also hold raw bytes: 64 or 2400
/// of a private key, 1184 of a public key.
///
/// An encrypted private key is an EncryptedPrivateKeyInfo with PBES2 (pbes2.h), as for other keys (pkcs8.h).
///
/// The functions fill in `*refusal`, unless that is null, and write nothing to any stream.
#pragma once

#ifdef SEALKIT_WITHOUT_MLKEM
#error "this sealkit was built without ML-KEM"
#endif

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/mlkem.h"
#include "sealkit/refusal.h"

#include <span>
#include <string_view>
#include <vector>

/// The bytes that a key pair is computed from, d ‖ z (FIPS 203, section 7.1).
inline constexpr size_t mlkemSeedSize = 64;

/// What the container of a private key holds (RFC 9935, section 6). Wiped when it is destroyed.
struct SEALKIT_API MlkemKeyForm {
    bool hasSeed = false;                   ///< Whether `seed` is set.
    bool hasExpandedKey = false;            ///< Whether it holds the decapsulation key itself, of 2400 bytes.
    unsigned char seed[mlkemSeedSize] = {}; ///< Meaningless without `hasSeed`.

    ~MlkemKeyForm();
};

/// Reads a OneAsymmetricKey. Returns false on failure; `to` and `*form` must then not be used. `form` may be
/// null.
SEALKIT_API bool parseMlkemPrivateKey(asn1::blob der, MLKEMDecap& to, Refusal* refusal,
                                      MlkemKeyForm* form = nullptr);

/// Reads an EncryptedPrivateKeyInfo under the same conditions. `RefusalId::wrongPassword` if the decrypted
/// bytes do not have the shape of a OneAsymmetricKey.
SEALKIT_API bool parseMlkemEncryptedPrivateKey(asn1::blob der, std::string_view password, MLKEMDecap& to,
                                               Refusal* refusal, MlkemKeyForm* form = nullptr);

/// Reads a SubjectPublicKeyInfo into the 1184 bytes of the key. Returns false and leaves `to` unchanged on
/// failure; a key that `MLKEMEncap::encap` refuses is refused here (FIPS 203, section 7.2).
SEALKIT_API bool parseMlkemPublicKey(asn1::blob der, std::vector<unsigned char>& to, Refusal* refusal);

/// The OneAsymmetricKey with the seed. The caller wipes it.
SEALKIT_API std::vector<unsigned char>
encodeMlkemPrivateKey(std::span<unsigned char const, mlkemSeedSize> seed);

/// The EncryptedPrivateKeyInfo of the same, with the scheme of `encodePkcs8EncryptedPrivateKey`. Empty if
/// `iterations` is 0 or above `pbes2MaxIterations`, and if the random source fails.
SEALKIT_API std::vector<unsigned char>
encodeMlkemEncryptedPrivateKey(std::span<unsigned char const, mlkemSeedSize> seed, std::string_view password,
                               unsigned iterations);

/// The SubjectPublicKeyInfo of the key's public half.
SEALKIT_API std::vector<unsigned char> encodeMlkemPublicKey(MLKEMDecap const& key);

/// Reads the first block "PRIVATE KEY" or "ENCRYPTED PRIVATE KEY" of a text, or DER, or raw bytes. An
/// encrypted key without a password is refused as `RefusalId::passwordRequired` or, if no password can
/// decrypt it, for that reason.
SEALKIT_API bool readMlkemPrivateKey(std::string_view text, MLKEMDecap& to, Refusal* refusal,
                                     MlkemKeyForm* form = nullptr);
SEALKIT_API bool readMlkemPrivateKey(std::string_view text, std::string_view password, MLKEMDecap& to,
                                     Refusal* refusal, MlkemKeyForm* form = nullptr);

/// Reads the public key of the first block "PUBLIC KEY", "CERTIFICATE", "PRIVATE KEY" or "ENCRYPTED PRIVATE
/// KEY" of a text, or of the same in DER, or raw bytes.
SEALKIT_API bool readMlkemPublicKey(std::string_view text, std::vector<unsigned char>& to, Refusal* refusal);
SEALKIT_API bool readMlkemPublicKey(std::string_view text, std::string_view password,
                                    std::vector<unsigned char>& to, Refusal* refusal);
