/// What certificates, CRLs and requests have in common for a fuzzer.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/assert.h"

#include <sstream>
#include <vector>

namespace fuzz {

template <typename Object>
std::string dumpOf(Object const& object) {
    std::ostringstream out;
    object.dump(out);
    return out.str();
}

/// Parses `input`. What parses serialises to the same bytes, and these parse to the same again.
template <typename Object>
bool parseAndSerialize(asn1::blob input, Object* object) {
    bool accepted = object->parse(input.data(), static_cast<unsigned>(input.size()));
    std::string dump = dumpOf(*object);
    object->extensions();
    if (!accepted)
        return false;
    std::vector<unsigned char> encoded = object->serialize();
    SEALKIT_ASSERT(asn1::blob(encoded) == input);
    Object again;
    SEALKIT_ASSERT(again.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    SEALKIT_ASSERT(dumpOf(again) == dump);
    return true;
}

} // namespace fuzz
