#include "sealkit/version.h"

char const* getSealkitVersion() { return SEALKIT_VERSION; }
