/* The configuration of mlkem-native. */
#ifndef SEALKIT_MLKEM_NATIVE_CONFIG_H
#define SEALKIT_MLKEM_NATIVE_CONFIG_H

#define MLK_CONFIG_PARAMETER_SET 768
/* It is given its random bytes, so that no other library's `randombytes` can give them. */
#define MLK_CONFIG_NO_RANDOMIZED_API
#define MLK_CONFIG_NAMESPACE_PREFIX PQCP_MLKEM_NATIVE_MLKEM768

/* Sources without a Keccak of their own: relative to them. */
#ifdef SEALKIT_MLKEM_NATIVE_GLUE
#define MLK_CONFIG_FIPS202_CUSTOM_HEADER "../fips202_glue.h"
#define MLK_CONFIG_FIPS202X4_CUSTOM_HEADER "../fips202x4_glue.h"
#endif

#endif
