// The entry points of mlkem-native. Declared here because its own header wants its configuration, which
// depends on where it came from. Those that draw random bytes themselves are not used: they would call
// `randombytes` by its name, which a program or another library may define. All give 0 for success; the
// lengths are those of `sealkit/mlkem.h`.
#pragma once

#include <cstdint>

extern "C" {

/// Makes a key pair of 64 random bytes, d ‖ z (FIPS 203, algorithm 16).
int PQCP_MLKEM_NATIVE_MLKEM768_keypair_derand(uint8_t* publicKey, uint8_t* secretKey, uint8_t const* seed);
/// Encapsulates under 32 random bytes, m (FIPS 203, algorithm 17).
int PQCP_MLKEM_NATIVE_MLKEM768_enc_derand(uint8_t* ciphertext, uint8_t* sharedSecret,
                                          uint8_t const* publicKey, uint8_t const* seed);
int PQCP_MLKEM_NATIVE_MLKEM768_dec(uint8_t* sharedSecret, uint8_t const* ciphertext,
                                   uint8_t const* secretKey);
/// The modulus check of FIPS 203, section 7.2.
int PQCP_MLKEM_NATIVE_MLKEM768_check_pk(uint8_t const* publicKey);
/// The hash check of FIPS 203, section 7.3.
int PQCP_MLKEM_NATIVE_MLKEM768_check_sk(uint8_t const* secretKey);
}
