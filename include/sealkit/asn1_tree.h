/// The tree of BER and DER (ITU-T X.690), element by element: for displays, and to find where an encoding is
/// malformed.
///
/// | name          | what it is                                                                       |
/// | ------------- | -------------------------------------------------------------------------------- |
/// | `TreeWalker`  | visits each element in the order of the bytes, parents before their children     |
/// | `TreeElement` | one element: its offset, its length, its tag                                     |
/// | `findElement` | the whole encoding of the element at an offset                                   |
/// | `tagName`     | "SEQUENCE", "[0]", "[APPLICATION 3]"                                             |
/// | `valueText`   | the value of a primitive element: "-1", "1.2.840.10045.2.1 EC", a time, a string |
/// | `derText`     | a short text of a whole element: "{1.2.3, 5, [0] {\"a\"}}"                       |
///
/// The walker descends into OCTET STRINGs and BIT STRINGs whose content is the strict DER of one element of a
/// universal type. It keeps only the open levels in memory, at most `TreeWalker::maxDepth`, does not recurse,
/// and reads each byte at most `TreeWalker::maxStringDepth` + 1 times. It is for displays only: the readers
/// of the library use `asn1::parser` (asn1.h).
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
enum class TagClass : unsigned char {
    universal,   ///< 0: the tags of X.680.
    application, ///< 1
    context,     ///< 2: the meaning depends on the element that contains it.
    privateUse,  ///< 3
};

/// What contains an element.
enum class TreeParent : unsigned char {
    element,     ///< A constructed element, or the input itself.
    octetString, ///< A primitive OCTET STRING, whose content it is.
    bitString,   ///< A primitive BIT STRING, whose content it is.
};

/// One element.
struct TreeElement {
    size_t offset = 0;            ///< Of its first identifier octet, from the start of the input.
    unsigned depth = 0;           ///< How many elements and strings are around it.
    size_t headerLength = 0;      ///< Of identifier and length octets.
    std::optional<size_t> length; ///< Of the content, as the header says; nothing if it is indefinite.
    TagClass tagClass = TagClass::universal; ///< Bits 8 and 7 of the identifier.
    bool isConstructed = false;              ///< Whether the content is elements.
    std::uint64_t number = 0;                ///< The tag number.
    TreeParent parent = TreeParent::element; ///< What it is a part of.
    bool isEndOfContents = false; ///< The two zero octets that end an element of indefinite length.
    bool isTruncated = false;     ///< The content is longer than the rest of the input.
    bool holdsElement = false;    ///< It is a primitive string, and the next element is its content.
    /// The content, as far as the input has it. If the length is indefinite, the rest of the enclosing
    /// element.
    blob content;
};

/// Walks the elements of the input, of which there may be several in a row.
class SEALKIT_API TreeWalker {
public:
    static constexpr unsigned maxDepth = 256;      ///< Nested elements.
    static constexpr unsigned maxStringDepth = 16; ///< Nested strings that hold elements.

    /// The input must outlive the walker. Offsets count from its start. The walk begins at `offset`; if that
    /// is given, it ends after the one element there.
    explicit TreeWalker(blob input, std::optional<size_t> offset = std::nullopt);

    /// Moves to the next element. Returns false after the last one. Also returns false where the encoding is
    /// malformed: `refusal` then tells why, and `isComplete` is false.
    bool next();

    /// The element that the last `next` moved to.
    TreeElement const& element() const { return current; }
    /// Where and why the walk ended early; default values otherwise. A truncated element is walked as far as
    /// the input has it, and the walk ends after it.
    Refusal const& refusal() const { return problem; }
    /// Whether everything was well-formed so far.
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
    bool isSingle = false; ///< The walk ends after the first element.
    bool hasBegun = false;
    bool hasEnded = false;
    bool isEntered = false; ///< `current` was returned, and its content comes next.
    size_t endsBelow = 0;   ///< The walk ends with fewer open levels: after the truncated element.
};

/// The whole encoding of the element at `offset`: a view. Empty, with a reason, if it is malformed.
SEALKIT_API blob findElement(blob input, size_t offset, Refusal* refusal = nullptr);

/// The name of the universal type, or class and number.
SEALKIT_API std::string tagName(TreeElement const& element);

/// The value of a primitive element: integers in decimal up to 32 octets and in hexadecimal beyond; object
/// identifiers in dotted form with their names; times in ISO 8601; strings in UTF-8; other content in
/// hexadecimal, except that context-specific content in plain ASCII is a text in quotes. Long values are cut
/// after `maxBytes` bytes, and their length follows. Empty for a constructed element, and for a string that
/// holds an element.
SEALKIT_API std::string valueText(TreeElement const& element, size_t maxBytes = 64);

/// A whole element as a text of about `maxLength` characters at most, cut with "..." if it is longer.
/// SEQUENCE and SET become braces, values are written as `valueText` writes them, and tags of other classes
/// precede them. A malformed element is written in hexadecimal.
SEALKIT_API std::string derText(blob der, size_t maxLength = 256);

} // namespace asn1
