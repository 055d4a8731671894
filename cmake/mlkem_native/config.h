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

/* Its code for x86-64 processors, which each call chooses as it runs. The C beside it serves the others. */
#ifdef SEALKIT_MLKEM_NATIVE_X86_64
#define MLK_CONFIG_USE_NATIVE_BACKEND_ARITH
#define MLK_CONFIG_ARITH_BACKEND_FILE "native/x86_64/meta.h"
#define MLK_CONFIG_CUSTOM_CAPABILITY_FUNC
#ifndef __ASSEMBLER__
#include "sys.h"
static MLK_INLINE int mlk_sys_check_capability(mlk_sys_cap capability) {
    return capability == MLK_SYS_CAP_AVX2 && __builtin_cpu_supports("avx2");
}
#endif
#endif

#endif
