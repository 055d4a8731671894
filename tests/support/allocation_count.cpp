#include "support/allocation_count.h"

#include "support/heap.h"

size_t test::allocationCount() { return allocations; }
