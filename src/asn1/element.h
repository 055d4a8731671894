/// Strict reading of DER: each step takes one element with a given tag, or refuses the input.
///
/// The parser itself accepts all that stays within bounds, and at the end of a level gives the last
/// element once more. These functions look at the tag first. A function that returns false has refused the
/// input, with the place and what stands there, and has left the level where no later step succeeds, or where
/// `atEnd` is false.
#pragma once

#include "asn1/tags.h"
#include "base/reading.h"
#include "sealkit/asn1.h"

#include <vector>

namespace detail {

/// A parser of one level that knows which reading it is part of.
class Level : public asn1::parser {
public:
    Level(Reading& carried, asn1::blob content) : asn1::parser(content), reading(carried) {}

    Reading& reading;
};

/// Refuses what the level stands on: another element than the one with the tag `expected`
/// (`asn1::parser::endTag` for none), a malformed header, or the end. `field` names the element that was to
/// be read; null for none. Always false.
bool refuseElement(Level const& level, unsigned expected, char const* field = nullptr);

/// Refuses the element that `bytes`, which are not empty, begin with: its header is malformed. Always false.
bool refuseHeader(Reading& reading, asn1::blob bytes);

/// Refuses what stands at `at` as the value of `field`; null for none. Always false.
bool refuseField(Reading& reading, char const* field, RefusalId id, unsigned char const* at,
                 std::vector<Fact> facts = {});

/// The name of a type or tag in refusals: "SEQUENCE", "[0]".
std::string tagText(unsigned tag);

/// Takes the content of the current element, which must have the tag `expected`. A tolerant reading takes
/// what is there of a truncated one, and an element before a malformed one.
bool take(Level& level, unsigned expected, asn1::blob* content, char const* field = nullptr);

/// The same with identifier and length octets.
bool takeWhole(Level& level, unsigned expected, asn1::blob* element, char const* field = nullptr);

/// Whether the current element has that tag; where the reading is tolerant, also if it is truncated.
bool isAt(Level const& level, unsigned expected);

/// Takes the content of an INTEGER, which has at least one octet (X.690, section 8.3.1).
bool takeInteger(Level& level, asn1::blob* content, char const* field = nullptr);

/// Takes an INTEGER as the number that `readUInt` makes of it.
bool takeUInt(Level& level, unsigned* number, char const* field = nullptr);

/// Goes down into the current element, which must have the tag `expected`.
bool enter(Level& level, unsigned expected, char const* field = nullptr);

/// Whether the level was read to its end, and without error. Refuses nothing.
inline bool atEnd(asn1::parser const& level) { return level.tag == asn1::parser::endTag; }

/// The same as the last step of a reader: refuses what is left.
inline bool finish(Level const& level) { return atEnd(level) || refuseElement(level, asn1::parser::endTag); }

/// The content of the one element that `der` consists of; where the reading is tolerant, of the one it begins
/// with.
bool readOnly(Reading& reading, asn1::blob der, unsigned expected, asn1::blob* content,
              char const* field = nullptr);

/// The number of elements from the current one on, as far as they are well-formed.
size_t countElements(asn1::parser level);

/// Ignores an element that may be absent.
inline void skipOptional(asn1::parser& level, unsigned optional) {
    if (level.tag == optional)
        level.next();
}

inline std::vector<unsigned char> copyOf(asn1::blob bytes) { return {bytes.begin(), bytes.end()}; }
inline void assign(std::vector<unsigned char>& to, asn1::blob bytes) {
    to.assign(bytes.begin(), bytes.end());
}

} // namespace detail
