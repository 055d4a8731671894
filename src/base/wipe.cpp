#include "sealkit/wipe.h"

#include <cstring>

void* (*secureMemset)(void*, int, size_t) = std::memset;
