/// The program of one target, which the build names in SEALKIT_FUZZ_TARGET.
#include "targets.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::SEALKIT_FUZZ_TARGET(asn1::blob(data, size));
    return 0;
}
