#include "base/wiped.h"

#include <cstring>

void* (*secureMemset)(void*, int, size_t) = std::memset;

namespace detail {

void wipeStackBelow() {
    unsigned char room[4096];
    secureMemset(room, 0, sizeof room);
}

} // namespace detail
