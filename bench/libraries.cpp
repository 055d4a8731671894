#include "libraries.h"

namespace bench {

std::vector<Row> allRows() {
    std::vector<Row> rows;
    addSealkit(rows);
#ifdef SEALKIT_BENCH_wolfssl
    addWolfssl(rows);
#endif
#ifdef SEALKIT_BENCH_mbedtls
    addMbedtls(rows);
#endif
#ifdef SEALKIT_BENCH_openssl
    addOpenssl(rows);
#endif
#ifdef SEALKIT_BENCH_nettle
    addNettle(rows);
#endif
#ifdef SEALKIT_BENCH_libgcrypt
    addLibgcrypt(rows);
#endif
#ifdef SEALKIT_BENCH_libsodium
    addLibsodium(rows);
#endif
#ifdef SEALKIT_BENCH_bearssl
    addBearssl(rows);
#endif
    return rows;
}

} // namespace bench
