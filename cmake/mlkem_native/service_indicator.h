/* The library around the packaged sources counts the approved services which a caller used. Nothing is
   counted here. Its Keccak calls these functions without their declarations, which compilers reject since
   GCC 14. */
#ifndef SEALKIT_MLKEM_NATIVE_SERVICE_INDICATOR_H
#define SEALKIT_MLKEM_NATIVE_SERVICE_INDICATOR_H

void FIPS_service_indicator_lock_state(void);
void FIPS_service_indicator_unlock_state(void);
void FIPS_service_indicator_update_state(void);

#endif
