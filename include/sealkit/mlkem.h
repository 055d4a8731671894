/// ML-KEM-768 (FIPS 203): two parties come to a shared secret that a quantum computer does not find out.
///
/// | name         | what it is                                                                   |
/// |--------------|------------------------------------------------------------------------------|
/// | `MLKEMDecap` | the side with the key pair: makes it, sends the public key, decapsulates     |
/// | `MLKEMEncap` | the other side: makes a secret and a ciphertext for a public key             |
///
/// | what          | bytes |
/// |---------------|-------|
/// | public key    | 1184  |
/// | secret key    | 2400  |
/// | ciphertext    | 1088  |
/// | shared secret | 32    |
///
/// One side calls `generate` and sends `publicKey`. The other calls `encap` with it and sends the ciphertext, and
/// the first calls `decap` with that. Both then hold the same `sharedSecret`.
///
/// Nothing here says who the other side is: a public key or ciphertext that was replaced on its way gives a
/// secret, too. Whoever needs to know signs what is sent, or confirms the secret with a MAC under it.
///
/// The objects hold everything in themselves and allocate no memory of their own. Their copies are whole; each
/// object overwrites its secrets when it is destroyed. The arithmetic is that of the library mlkem-native, which
/// takes the same time for all secrets. Other parameter sets are not here.
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
    unsigned char sharedSecret[32] = {}; ///< What `decap` came to.
    unsigned char publicKey[1184] = {};  ///< The encapsulation key, in the encoding of FIPS 203, section 7.1.
    unsigned char secretKey[2400] = {};  ///< The decapsulation key: the public key is within.

    MLKEMDecap() = default;
    MLKEMDecap(MLKEMDecap const&) = default;
    MLKEMDecap& operator=(MLKEMDecap const&) = default;
    ~MLKEMDecap();

    /// Makes a new key pair from 64 bytes of the kernel's generator (ML-KEM.KeyGen, FIPS 203, section 7.1). False
    /// when that failed: the fields are then no keys.
    bool generate();

    /// Takes a stored secret key: its 2400 bytes, or the 64 bytes (d ‖ z) that a key pair is computed from. False for
    /// another length, and for a secret key whose public key is not in order or does not have the hash that stands
    /// beside it (FIPS 203, section 7.3); the fields stay as they were then.
    bool load(asn1::blob key);

    /// Puts the secret that is in the ciphertext into `sharedSecret` (ML-KEM.Decaps, FIPS 203, section 7.3). False
    /// for a ciphertext that does not have 1088 bytes, when `sharedSecret` stays as it was, and where `secretKey`
    /// holds no key. A ciphertext that was changed, or is for another key, is not seen: it gives true and a
    /// secret that nobody else has.
    bool decap(asn1::blob ciphertext);
};

/// The side that is given a public key.
class SEALKIT_API MLKEMEncap {
public:
    unsigned char sharedSecret[32] = {}; ///< What `encap` came to.

    MLKEMEncap() = default;
    MLKEMEncap(MLKEMEncap const&) = default;
    MLKEMEncap& operator=(MLKEMEncap const&) = default;
    ~MLKEMEncap();

    /// Makes a secret from 32 bytes of the kernel's generator, puts it into `sharedSecret`, and returns the
    /// ciphertext of 1088 bytes that brings it to the owner of `publicKey` (ML-KEM.Encaps, FIPS 203, section 7.2).
    /// Empty for a key that does not have 1184 bytes or has a coefficient that is not reduced modulo q = 3329;
    /// `sharedSecret` then holds nothing to rely on.
    std::vector<unsigned char> encap(asn1::blob publicKey);
};
