// Compiled without RTTI, like the library: its concrete classes have no type information to derive from.
#include "counting_reducer.h"

namespace {

class CountingReducer : public MontgomeryReducer {
public:
    CountingReducer(BigNum const& modulus_, ReducerCounts& counts_)
        : MontgomeryReducer(modulus_), counts(counts_) {}
    ~CountingReducer() override { counts.deleted = true; }

    using MontgomeryReducer::mul;
    void mul(BigNum& r, unsigned k) const override {
        ++counts.tripled;
        MontgomeryReducer::mul(r, k);
    }
    void sqr(BigNum& r, BigNum const& a) const override {
        ++counts.squared;
        MontgomeryReducer::sqr(r, a);
    }

private:
    ReducerCounts& counts;
};

} // namespace

Reducer* newCountingReducer(BigNum const& modulus, ReducerCounts& counts) {
    return new CountingReducer(modulus, counts);
}
