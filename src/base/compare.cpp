#include "sealkit/compare.h"

bool equalInConstantTime(asn1::blob a, asn1::blob b) {
    if (a.size() != b.size())
        return false;
    // Volatile, because the compiler could otherwise stop at the first difference.
    unsigned volatile difference = 0;
    for (size_t i = 0; i < a.size(); i++)
        difference = difference | static_cast<unsigned>(a[i] ^ b[i]);
    return difference == 0;
}
