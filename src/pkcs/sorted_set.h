/// The DER order of the elements of a SET OF.
#pragma once

#include "asn1/element.h"
#include "base/view.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace detail {

/// The elements of `content`, which must be well-formed, in ascending order of their encodings (X.690,
/// section 11.6).
inline std::vector<unsigned char> sortedSet(asn1::blob content) {
    std::vector<std::string_view> elements;
    for (asn1::parser level(content); !atEnd(level) && level.tag != asn1::parser::errorTag; level.next())
        elements.push_back(viewOf(asn1::blob(level.tlvStart, level.valueEnd)));
    std::ranges::sort(elements);
    std::vector<unsigned char> sorted;
    sorted.reserve(content.size());
    for (std::string_view const element : elements)
        sorted.insert(sorted.end(), element.begin(), element.end());
    return sorted;
}

} // namespace detail
