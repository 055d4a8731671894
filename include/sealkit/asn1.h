/// Reading DER (ITU-T X.690): a cursor that walks one level of tag-length-value elements.
///
/// | to                                    | call                             |
/// | ------------------------------------- | -------------------------------- |
/// | see the current element               | read `tag`, `value`              |
/// | read an element's content and move on | `take`                           |
/// | the same with its header              | `takeWhole`                      |
/// | read a small number and move on       | `readUInt`                       |
/// | descend into a constructed element    | `enter`                          |
/// | walk its children and then move on    | a second parser on `take`'s blob |
///
/// It checks bounds only: values are not decoded, lengths may be longer than necessary, and sets may be
/// unsorted. Indefinite lengths, lengths of more than four octets and tags that do not fit into 32 bits are
/// errors. Nothing is copied and nothing recurses: every result is a view of the input, which must outlive
/// it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

namespace asn1 {

/// A cursor, which is always at an element, at the end of its level, or in the error state.
class SEALKIT_API parser {
public:
    static constexpr unsigned endTag = 256;   ///< The end of the level. Not an error.
    static constexpr unsigned errorTag = 257; ///< The input is malformed, or `enter` expected another tag.

    unsigned char const* start = nullptr;  ///< Where the element after the current one begins.
    unsigned char const* finish = nullptr; ///< The end of the level.
    /// The identifier octets of the current element as one big-endian number, class and constructed
    /// bit included (0x30 SEQUENCE, 0xa0 constructed [0]), bit 7 of each further octet dropped (X.690
    /// section 8.1.2.4: 1f 81 01 is 0x1f0101); or `endTag`, or `errorTag`.
    unsigned tag = 0;
    unsigned char const* tlvStart = nullptr;   ///< The first identifier octet of the current element.
    unsigned char const* valueStart = nullptr; ///< The contents of the current element. At the end of the
    unsigned char const* valueEnd = nullptr;   ///< level these stay those of the last element.

    /// Reads the first element of `level`.
    explicit parser(blob level);

    /// The content of the current element. The cursor does not move.
    blob value() const { return blob(valueStart, valueEnd); }

    /// Moves to the next element. Returns true if it read an element or reached the end. Returns false, from
    /// this call on, if what follows is malformed.
    bool next();

    /// Descends into the current element, which must have the given tag, and returns the result of reading
    /// its first child. With another tag the parser enters the error state and stays in it.
    bool enter(unsigned expectedTag);

    /// Returns the content of the current element and moves to the next. Empty if what follows is malformed.
    /// At the end of the level it returns the last element again: test `tag` before an optional field.
    blob take();

    /// Returns the whole encoding of the current element, with identifier and length octets, and moves on as
    /// `take` does.
    blob takeWhole();

    /// Returns the content as an unsigned big-endian number, ignoring a sign, and moves on. Returns 0 if the
    /// content is empty or longer than four octets.
    unsigned readUInt();

private:
    bool fail();
};

} // namespace asn1
