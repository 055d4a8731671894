/// A reducer that tells what it was asked for.
#pragma once

#include "sealkit/bignum.h"

struct ReducerCounts {
    unsigned tripled = 0; ///< Products with a plain word.
    unsigned squared = 0;
    bool deleted = false;

    // A doubling multiplies once by 3 and squares six times, an addition squares four times.
    unsigned doublings() const { return tripled; }
    unsigned additions() const { return (squared - 6 * tripled) / 4; }
};

/// A `MontgomeryReducer` that writes to `counts`, which outlives it.
Reducer* newCountingReducer(BigNum const& modulus, ReducerCounts& counts);
