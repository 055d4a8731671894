// The entry points of mlkem-native. Declared here because its own header wants its configuration, which depends on
// where it came from. All give 0 for success; the lengths are those of `sealkit/mlkem.h`.
#pragma once

#include <cstdint>

extern "C" {

/// Draws 64 bytes through `randombytes`.
int PQCP_MLKEM_NATIVE_MLKEM768_keypair(uint8_t* publicKey, uint8_t* secretKey);
/// The same from 64 given bytes, d ‖ z.
int PQCP_MLKEM_NATIVE_MLKEM768_keypair_derand(uint8_t* publicKey, uint8_t* secretKey, uint8_t const* seed);
/// Draws 32 bytes through `randombytes`.
int PQCP_MLKEM_NATIVE_MLKEM768_enc(uint8_t* ciphertext, uint8_t* sharedSecret, uint8_t const* publicKey);
int PQCP_MLKEM_NATIVE_MLKEM768_dec(uint8_t* sharedSecret, uint8_t const* ciphertext,
                                   uint8_t const* secretKey);
/// The modulus check of FIPS 203, section 7.2.
int PQCP_MLKEM_NATIVE_MLKEM768_check_pk(uint8_t const* publicKey);
/// The hash check of FIPS 203, section 7.3.
int PQCP_MLKEM_NATIVE_MLKEM768_check_sk(uint8_t const* secretKey);
}
