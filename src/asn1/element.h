/// Strict reading of DER: each step takes one element with a given tag, or refuses the input.
///
/// The parser itself accepts everything within bounds, and repeats the last element at the end of a level.
/// These functions check the tag first. A function that returns false has refused the input, with the
/// location and the element found. The level is then in a state in which no later step succeeds, or in which
/// `atEnd` is false.
#pragma once

#include "asn1/tags.h"
#include "base/reading.h"
#include "sealkit/asn1.h"

#include <vector>

namespace detail {

/// A parser of one level, with its reading.
class Level : public asn1::parser {
public:
    Level(Reading& carried, asn1::blob content) : asn1::parser(content), reading(carried) {}

    Reading& reading;
};

/// Refuses the current element: its tag is not `expected` (`asn1::parser::endTag` if no element is expected),
/// its header is malformed, or the level has ended. `field` names the expected element and may be null.
/// Returns false.
bool refuseElement(Level const& level, unsigned expected, char const* field = nullptr);

/// Refuses the malformed header at the start of `bytes`, which must not be empty. Returns false.
bool refuseHeader(Reading& reading, asn1::blob bytes);

/// Refuses the value of `field`, which may be null, at `at`. Returns false.
bool refuseField(Reading& reading, char const* field, RefusalId id, unsigned char const* at,
                 std::vector<Fact> facts = {});

/// The name of a type or tag in refusals: "SEQUENCE", "[0]".
std::string tagText(unsigned tag);

/// Takes the content of the current element, which must have the tag `expected`. A tolerant reading accepts a
/// truncated element, and one before a malformed element.
bool take(Level& level, unsigned expected, asn1::blob* content, char const* field = nullptr);

/// The same for the whole element.
bool takeWhole(Level& level, unsigned expected, asn1::blob* element, char const* field = nullptr);

/// Whether the current element has that tag. A tolerant reading accepts a truncated element.
bool isAt(Level const& level, unsigned expected);

/// Takes the content of an INTEGER, which must not be empty (X.690, section 8.3.1).
bool takeInteger(Level& level, asn1::blob* content, char const* field = nullptr);

/// Takes an INTEGER as `readUInt` converts it.
bool takeUInt(Level& level, unsigned* number, char const* field = nullptr);

/// Enters the current element, which must have the tag `expected`.
bool enter(Level& level, unsigned expected, char const* field = nullptr);

/// Whether the level has been read to its end without an error. Refuses nothing.
inline bool atEnd(asn1::parser const& level) { return level.tag == asn1::parser::endTag; }

/// The last step of a reader: refuses remaining elements.
inline bool finish(Level const& level) { return atEnd(level) || refuseElement(level, asn1::parser::endTag); }

/// The content of the single element `der`. A tolerant reading ignores trailing bytes.
bool readOnly(Reading& reading, asn1::blob der, unsigned expected, asn1::blob* content,
              char const* field = nullptr);

/// The number of well-formed elements from the current one on.
size_t countElements(asn1::parser level);

/// Skips an optional element.
inline void skipOptional(asn1::parser& level, unsigned optional) {
    if (level.tag == optional)
        level.next();
}

inline std::vector<unsigned char> copyOf(asn1::blob bytes) { return {bytes.begin(), bytes.end()}; }
inline void assign(std::vector<unsigned char>& to, asn1::blob bytes) {
    to.assign(bytes.begin(), bytes.end());
}

} // namespace detail
