/* What the Keccak that comes with the packaged sources calls of the library around it. */
#include "service_indicator.h"

#include <stddef.h>

/* sealkit/wipe.h */
extern void *(*secureMemset)(void *data, int value, size_t size);

void OPENSSL_cleanse(void *data, size_t size);
void OPENSSL_cleanse(void *data, size_t size) { secureMemset(data, 0, size); }

void FIPS_service_indicator_lock_state(void) {}
void FIPS_service_indicator_unlock_state(void) {}
void FIPS_service_indicator_update_state(void) {}
