/// ML-KEM-768 (FIPS 203): two parties agree on a shared secret, safe from quantum computers.
///
/// | name         | what it is                                                               |
/// | ------------ | ------------------------------------------------------------------------ |
/// | `MLKEMDecap` | the side with the key pair: makes it, sends the public key, decapsulates |
/// | `MLKEMEncap` | the other side: makes a secret and a ciphertext for a public key         |
///
/// | what          | bytes |
/// | ------------- | ----- |
/// | public key    | 1184  |
/// | secret key    | 2400  |
/// | ciphertext    | 1088  |
/// | shared secret | 32    |
///
/// One side calls `generate` and sends `publicKey`. The other calls `encap` with it and sends the ciphertext,
/// and the first calls `decap` with that. Both then hold the same `sharedSecret`.
///
/// Nothing here authenticates the other side: a public key or ciphertext that was replaced in transit also
/// gives a secret. To authenticate, sign what is sent, or confirm the secret with a MAC under it.
///
/// The objects contain all their data and allocate no memory. Copies are independent; each object overwrites
/// its secrets when it is destroyed. The arithmetic is that of the library mlkem-native, whose time does not
/// depend on secrets. Not here: other parameter sets.
#pragma once

#ifdef SEALKIT_WITHOUT_MLKEM
#error "this sealkit was built without ML-KEM"
#endif

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <vector>

/// The side that owns a key pair.
class SEALKIT_API MLKEMDecap {
public:
    unsigned char sharedSecret[32] = {}; ///< The result of `decap`.
    unsigned char publicKey[1184] = {};  ///< The encapsulation key, in the encoding of FIPS 203, section 7.1.
    unsigned char secretKey[2400] = {};  ///< The decapsulation key, which contains the public key.

    MLKEMDecap() = default;
    MLKEMDecap(MLKEMDecap const&) = default;
    MLKEMDecap& operator=(MLKEMDecap const&) = default;
    ~MLKEMDecap();

    /// Makes a new key pair from 64 bytes of the kernel's generator (ML-KEM.KeyGen, FIPS 203, section 7.1).
    /// Returns false if that fails; the fields then hold no keys.
    bool generate();

    /// Loads a stored secret key: its 2400 bytes, or the 64 bytes (d ‖ z) that a key pair is computed from.
    /// Returns false and leaves the fields unchanged for another length, and for a secret key whose public
    /// key is malformed or does not have the hash that is stored beside it (FIPS 203, section 7.3).
    bool load(asn1::blob key);

    /// Sets `sharedSecret` to the secret in the ciphertext (ML-KEM.Decaps, FIPS 203, section 7.3). Returns
    /// false if the ciphertext does not have 1088 bytes, which leaves `sharedSecret` unchanged, or if
    /// `secretKey` holds no key. A ciphertext that was changed, or made for another key, is not detected: the
    /// result is true, and the secret is one that nobody else has.
    bool decap(asn1::blob ciphertext);
};

/// The side that is given a public key.
class SEALKIT_API MLKEMEncap {
public:
    unsigned char sharedSecret[32] = {}; ///< The result of `encap`.

    MLKEMEncap() = default;
    MLKEMEncap(MLKEMEncap const&) = default;
    MLKEMEncap& operator=(MLKEMEncap const&) = default;
    ~MLKEMEncap();

    /// Makes a secret from 32 bytes of the kernel's generator, stores it in `sharedSecret`, and returns the
    /// ciphertext of 1088 bytes that conveys it to the owner of `publicKey` (ML-KEM.Encaps, FIPS 203, section
    /// 7.2). Empty for a key that does not have 1184 bytes or has a coefficient that is not reduced modulo q
    /// = 3329; `sharedSecret` must then not be used.
    std::vector<unsigned char> encap(asn1::blob publicKey);
};
