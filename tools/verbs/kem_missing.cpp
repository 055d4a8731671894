// Replaces kem_work.cpp if the library has no ML-KEM.
#include "verbs/kem_work.h"

#include "verbs/verb.h"

namespace {

int missing() { return badInput("this program was built without ML-KEM"); }

} // namespace

int makeKemKey(KemOptions const&) { return missing(); }
int writeKemPublicKey(KemOptions const&) { return missing(); }
int encapsulate(KemOptions const&) { return missing(); }
int decapsulate(KemOptions const&) { return missing(); }
