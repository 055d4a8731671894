/// The tree of BER and DER (ITU-T X.690), element by element: for displays and for finding where an encoding
/// breaks.
///
/// | name           | what it is                                                                   |
/// | -------------- | ---------------------------------------------------------------------------- |
/// | `TreeWalker`   | gives each element in the order of the bytes, its children behind it          |
/// | `TreeElement`  | one element: where it stands, how long it is, its tag                          |
/// | `findElement`  | the whole encoding of the element at an offset                                |
/// | `tagName`      | "SEQUENCE", "[0]", "[APPLICATION 3]"                                          |
/// | `valueText`    | what a primitive element says: "-1", "1.2.840.10045.2.1 EC", a time, a string |
/// | `derText`      | a short text of a whole element: "{1.2.3, 5, [0] {\"a\"}}"                    |
///
/// The walker follows OCTET STRINGs and BIT STRINGs whose content is the strict DER of one element of a
/// universal type. It takes memory for the levels that are open alone, at most `TreeWalker::maxDepth`, does
/// not recurse, and reads each byte at most `TreeWalker::maxStringDepth` + 1 times. It decides nothing:
/// readers of the library use `asn1::parser` (asn1.h).
///
/// The texts may hold any byte of the input: pass them through `printable` (text.h).
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace asn1 {

/// Bits 8 and 7 of the first identifier octet (X.690, section 8.1.2.2).
enum class TagClass : unsigned char { universal, application, context, privateUse };

/// What an element is a part of.
enum class TreeParent : unsigned char {
    element,     ///< A constructed element, or nothing.
    octetString, ///< It is the content of a primitive OCTET STRING.
    bitString,   ///< It is the content of a primitive BIT STRING.
};

/// One element.
struct TreeElement {
    size_t offset = 0; ///< Of its first identifier octet, from the start of the input.
    unsigned depth = 0;
    size_t headerLength = 0;      ///< Of identifier and length octets.
    std::optional<size_t> length; ///< Of the content, as the header says; nothing if it is indefinite.
    TagClass tagClass = TagClass::universal;
    bool isConstructed = false;
    std::uint64_t number = 0; ///< The tag number.
    TreeParent parent = TreeParent::element;
    bool isEndOfContents = false; ///< The two zero octets that end an element of indefinite length.
    bool isTruncated = false;     ///< The content is longer than what is left.
    bool holdsElement = false;    ///< A primitive string: the next element is its content.
    /// The content as far as it is there. Of an indefinite length, all that is left in the element around it.
    blob content;
};

/// Walks the elements of the input, of which there may be several in a row.
class SEALKIT_API TreeWalker {
public:
    static constexpr unsigned maxDepth = 256;      ///< Elements within elements.
    static constexpr unsigned maxStringDepth = 16; ///< Strings that hold elements, within each other.

    /// The input must outlive the walker. Offsets count from its start; the walk begins at `offset`, and with
    /// an offset ends behind the one element that stands there.
    explicit TreeWalker(blob input, std::optional<size_t> offset = std::nullopt);

    /// Goes on to the next element. Returns false behind the last one, and where the encoding is malformed:
    /// `refusal` tells why, and `isComplete` is false.
    bool next();

    /// The element that the last `next` went to.
    TreeElement const& element() const { return current; }
    /// Where and why the walk ended early; nothing of it is set otherwise. A truncated element is walked as
    /// far as it is there, and the walk ends behind it.
    Refusal const& refusal() const { return problem; }
    /// Whether all was well-formed so far.
    bool isComplete() const { return !problem; }

private:
    struct Level {
        unsigned char const* end;
        bool isIndefinite;
        bool isString;
    };

    enum class Strings : bool { ignored, followed };

    TreeWalker(blob input, Strings strings);
    static bool isStrictElement(blob content);

    bool leaveLevels();
    bool takeElement();
    void enterContent();
    bool refuse(RefusalId id, unsigned char const* at, std::vector<Fact> facts = {});

    blob input;
    unsigned char const* at;
    std::vector<Level> levels;
    TreeElement current;
    Refusal problem;
    TreeParent nextParent = TreeParent::element;
    unsigned stringDepth = 0;
    Strings strings = Strings::followed;
    bool isSingle = false; ///< The walk ends behind the first element.
    bool hasBegun = false;
    bool hasEnded = false;
    bool isEntered = false; ///< `current` was given, and its content comes next.
    size_t endsBelow = 0;   ///< The walk ends with fewer open levels: behind the truncated element.
};

/// The whole encoding of the element at `offset`: a view. Empty, with a reason, if it is malformed.
SEALKIT_API blob findElement(blob input, size_t offset, Refusal* refusal = nullptr);

/// The name of the universal type, or class and number.
SEALKIT_API std::string tagName(TreeElement const& element);

/// The value of a primitive element: integers in decimal up to 32 octets and in hexadecimal beyond; object
/// identifiers in dotted form with their names; times in ISO 8601; strings in UTF-8; other content in
/// hexadecimal, or as a text in quotes where a context-specific one is plain ASCII. Of long values the first
/// `maxBytes` bytes count, and the length follows. Empty for a constructed element, and for a string that
/// holds an element.
SEALKIT_API std::string valueText(TreeElement const& element, size_t maxBytes = 64);

/// A whole element as a text of about `maxLength` characters at most, cut with "..." where it is longer.
/// SEQUENCE and SET are braces, values are as in `valueText`, and tags of other classes stand in front of
/// them. Hexadecimal where it is malformed.
SEALKIT_API std::string derText(blob der, size_t maxLength = 256);

} // namespace asn1
