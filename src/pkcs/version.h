/// Version numbers of messages, for refusals.
#pragma once

#include "sealkit/blob.h"

#include <cstdint>
#include <string>

namespace detail {

/// The decimal text of an INTEGER's content, such as "-1"; "(N octets)" if it has more than eight.
inline std::string numberText(asn1::blob content) {
    if (content.size() > sizeof(std::uint64_t))
        return "(" + std::to_string(content.size()) + " octets)";
    std::uint64_t value = !content.empty() && (content[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (unsigned char octet : content)
        value = value << 8 | octet;
    return std::to_string(static_cast<std::int64_t>(value));
}

/// The value of the INTEGER if it is from 0 to 127, as all versions are; otherwise 128.
inline unsigned smallNumber(asn1::blob content) {
    while (content.size() > 1 && content[0] == 0)
        content.pop_front();
    return content.size() == 1 && content[0] < 0x80 ? content[0] : 128;
}

} // namespace detail
