/// Reading DER (ITU-T X.690): a cursor that walks one level of tag-length-value elements.
///
/// | to                                  | call                             |
/// | ----------------------------------- | -------------------------------- |
/// | see the current element             | read `tag`, `value`              |
/// | take an element's content           | `take`                           |
/// | take an element with its header     | `takeWhole`                      |
/// | take a small number                 | `readUInt`                       |
/// | go down into a constructed element  | `enter`                          |
/// | walk its children and then go on    | a second parser on `take`'s blob |
///
/// It checks bounds alone: values are not decoded, and neither the shortest form of lengths nor the order of
/// sets is checked. Indefinite lengths, lengths of more than four octets and tags that do not fit into 32
/// bits are errors. Nothing is copied and nothing recurses: every result is a view of the input, which must
/// outlive it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

namespace asn1 {

/// A cursor that always stands on an element, on the end of its level, or on an error.
class SEALKIT_API parser {
public:
    static constexpr unsigned endTag = 256;   ///< No element is left. Not an error.
    static constexpr unsigned errorTag = 257; ///< Malformed input, or a tag was asked for that was not there.

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

    /// The content of the current element, without going on.
    blob value() const { return blob(valueStart, valueEnd); }

    /// Goes on to the next element. Returns true if an element was read or the end was reached, and false,
    /// now and at every later call, if what follows is malformed.
    bool next();

    /// Goes down into the current element, which must have the given tag, and returns what reading its first
    /// child gives. With another tag the parser enters the error state and stays there.
    bool enter(unsigned expectedTag);

    /// Returns the content of the current element and goes on. Empty if what follows is malformed. At the end
    /// of the level it returns the last element again: test `tag` before an optional field.
    blob take();

    /// Returns the whole encoding of the current element, with identifier and length octets, and goes on as
    /// `take` does.
    blob takeWhole();

    /// Takes the content as an unsigned big-endian number; a sign is ignored. Returns 0 if it is empty or
    /// longer than four octets.
    unsigned readUInt();

private:
    bool fail();
};

} // namespace asn1
