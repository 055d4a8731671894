// The entry points of mlkem-native. They are declared here because its own header requires its configuration,
// whose location varies. The functions that draw random bytes themselves are not used, because they call
// `randombytes`, a name that a program or another library may define. All return 0 for success; the sizes are
// those of `sealkit/mlkem.h`.
#pragma once

#include <cstdint>

extern "C" {

/// Generates a key pair from 64 random bytes, d ‖ z (FIPS 203, algorithm 16).
int PQCP_MLKEM_NATIVE_MLKEM768_keypair_derand(uint8_t* publicKey, uint8_t* secretKey, uint8_t const* seed);
/// Encapsulates with 32 random bytes, m (FIPS 203, algorithm 17).
int PQCP_MLKEM_NATIVE_MLKEM768_enc_derand(uint8_t* ciphertext, uint8_t* sharedSecret,
                                          uint8_t const* publicKey, uint8_t const* seed);
int PQCP_MLKEM_NATIVE_MLKEM768_dec(uint8_t* sharedSecret, uint8_t const* ciphertext,
                                   uint8_t const* secretKey);
/// The modulus check of FIPS 203, section 7.2.
int PQCP_MLKEM_NATIVE_MLKEM768_check_pk(uint8_t const* publicKey);
/// The hash check of FIPS 203, section 7.3.
int PQCP_MLKEM_NATIVE_MLKEM768_check_sk(uint8_t const* secretKey);
}
