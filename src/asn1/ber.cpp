#include "sealkit/ber.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/header.h"

#include <bit>
#include <optional>
#include <string>

namespace {

namespace tag = detail::tag;

using detail::Reading;

constexpr unsigned maxDepth = 200;
constexpr unsigned constructedBit = 0x20, endOfContents = 0;
constexpr std::uint32_t unchanged = 0xFFFFFFFF; ///< Marks an element that is copied without a new length.

/// A constructed element that is being read.
struct Open {
    unsigned char const* start;  ///< Its identifier octets.
    unsigned char const* length; ///< Its length octets.
    /// End of the contents, or of the enclosing contents if the length is indefinite.
    unsigned char const* end;
    bool isIndefinite = false;
    /// The tag of the string whose pieces it contains; 0 for other elements.
    unsigned stringTag = 0;
    bool isPiece = false; ///< Of an enclosing string.
    bool isLast = false;  ///< Whether a piece of a BIT STRING had unused bits, so it must be the last.
    size_t children = 0;
    unsigned before[2] = {}; ///< The tags of the first two children.
};

/// The primitive tag of a string with this constructed tag; 0 if it is not a segmented string.
unsigned stringOf(unsigned elementTag) {
    // ObjectDescriptor, UTF8String, NumericString to UniversalString with both times, and BMPString.
    constexpr unsigned strings[] = {
        tag::bitString, tag::octetString, 7, 12, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 30};
    for (unsigned const string : strings)
        if (elementTag == (string | constructedBit))
            return string;
    return 0;
}

/// EncryptedContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, contentEncryptionAlgorithm SEQUENCE,
/// encryptedContent [0] IMPLICIT OCTET STRING }. Only here may a third element [0] be a segmented string.
bool isEncryptedContent(Open const& parent, unsigned childTag) {
    return *parent.start == tag::sequence && parent.children == 2 && parent.before[0] == tag::oid &&
           parent.before[1] == tag::sequence && childTag == tag::constructed(0);
}

bool isConstructed(unsigned char const* start) { return (*start & constructedBit) != 0; }

/// Walks through the single element in the input. It calls the visitor's `begin` and `end` for constructed
/// elements, and `leaf` for others with the string that they are a piece of.
template <typename Visitor>
class Walk {
public:
    Walk(Reading& carried, asn1::blob bytes, Visitor& heard)
        : reading(carried), visitor(heard), at(bytes.start), finish(bytes.finish) {}

    bool run() {
        do {
            if (!step())
                return false;
            while (!levels.empty() && !levels.back().isIndefinite && at == levels.back().end)
                close();
        } while (!levels.empty());
        return at == finish || reading.refuse(RefusalId::trailingBytes, at);
    }

private:
    /// Takes a header and, for a primitive element, its contents.
    bool step() {
        Open next{.start = at, .length = at, .end = levels.empty() ? finish : levels.back().end};
        unsigned tag;
        size_t size;
        if (!takeHeader(next, &tag, &size))
            return false;
        if (tag == endOfContents)
            return takeEnd(next, size);
        std::optional<unsigned> const string = stringFor(next, tag);
        if (!string)
            return false;
        if (!levels.empty() && levels.back().children++ < 2)
            levels.back().before[levels.back().children - 1] = tag;
        if (!isConstructed(next.start)) {
            asn1::blob const content(at, size);
            if (*string == tag::bitString && !checkBits(content))
                return false;
            at += size;
            visitor.leaf(asn1::blob(next.start, at), content, *string);
            return true;
        }
        if (levels.size() == maxDepth)
            return reading.refuse(RefusalId::nestedTooDeep, next.start,
                                  {{"limit", std::to_string(maxDepth)}});
        next.stringTag = *string;
        next.isPiece = *string != 0 && !levels.empty() && levels.back().stringTag != 0;
        if (next.isPiece)
            next.isLast = levels.back().isLast;
        if (!next.isIndefinite)
            next.end = at + size;
        levels.push_back(next);
        visitor.begin(next, at);
        return true;
    }

    bool takeHeader(Open& next, unsigned* tag, size_t* size) {
        asn1::blob rest(at, next.end);
        if (rest.empty())
            return reading.refuse(levels.empty() ? RefusalId::missingElement : RefusalId::truncatedElement,
                                  at);
        detail::HeaderError const error = detail::takeHeader(rest, tag, size);
        bool const isOfBer = error == detail::HeaderError::indefiniteLength;
        if (isOfBer && !isConstructed(next.start))
            return reading.refuse(RefusalId::indefiniteLength, at);
        if (error != detail::HeaderError::none && !isOfBer)
            return detail::refuseHeader(reading, asn1::blob(at, next.end));
        next.isIndefinite = isOfBer;
        if ((*next.length++ & 0x1F) == 0x1F)
            while ((*next.length++ & 0x80) != 0)
                ;
        at = rest.start;
        return true;
    }

    bool takeEnd(Open const& next, size_t size) {
        if (size != 0 || levels.empty() || !levels.back().isIndefinite)
            return reading.refuse(RefusalId::unexpectedElement, next.start);
        close();
        return true;
    }

    void close() {
        Open const closed = levels.back();
        levels.pop_back();
        if (closed.isPiece)
            levels.back().isLast = closed.isLast;
        visitor.end(closed, at);
    }

    /// The string that an element is, or is a piece of; 0 for other elements. Returns nothing if a piece has
    /// another type than its string.
    std::optional<unsigned> stringFor(Open const& next, unsigned elementTag) {
        bool const isWhole = !isConstructed(next.start);
        if (levels.empty() || levels.back().stringTag == 0) {
            if (!levels.empty() && isEncryptedContent(levels.back(), elementTag))
                return tag::primitive(0);
            return isWhole ? 0 : stringOf(elementTag);
        }
        unsigned const string = levels.back().stringTag;
        unsigned const piece = isWhole ? elementTag : stringOf(elementTag);
        // Pieces of character strings are OCTET STRINGs (X.690, section 8.23). Some programs give them the
        // type of the string.
        if (piece != 0 && (piece == string || (piece == tag::octetString && string != tag::bitString)))
            return string;
        reading.refuse(
            RefusalId::unexpectedElement, next.start,
            {{"expected", detail::tagText(string == tag::bitString ? tag::bitString : tag::octetString)},
             {"found", detail::tagText(elementTag)}});
        return std::nullopt;
    }

    /// Checks a piece of a BIT STRING. Only the last one may have unused bits (X.690, section 8.6.4).
    bool checkBits(asn1::blob content) {
        if (content.empty() || content[0] > 7 || levels.back().isLast ||
            (content[0] != 0 && content.size() == 1))
            return reading.refuse(RefusalId::malformedBitString, content);
        levels.back().isLast = content[0] != 0;
        return true;
    }

    Reading& reading;
    Visitor& visitor;
    unsigned char const* at;
    unsigned char const* finish;
    std::vector<Open> levels;
};

size_t lengthOctets(size_t length) { return length < 0x80 ? 1 : 1 + (std::bit_width(length) + 7) / 8; }

/// Computes the length of each constructed element.
class Measure {
public:
    explicit Measure(std::vector<std::uint32_t>& found) : lengths(found) {}

    void begin(Open const& element, unsigned char const*) {
        if (!element.isPiece)
            lengths.push_back(unchanged);
        bool const isRewritten = element.isIndefinite || element.stringTag != 0;
        isBer = isBer || isRewritten;
        levels.push_back({lengths.size() - 1, 0, isRewritten});
    }

    void leaf(asn1::blob whole, asn1::blob content, unsigned string) {
        if (levels.empty())
            size = whole.size();
        else
            levels.back().size += string == 0 ? whole.size() : content.size() - (string == tag::bitString);
    }

    void end(Open const& element, unsigned char const* finish) {
        Level const level = levels.back();
        levels.pop_back();
        size_t& around = levels.empty() ? size : levels.back().size;
        if (element.isPiece) {
            around += level.size;
            return;
        }
        if (!level.isRewritten) {
            around += static_cast<size_t>(finish - element.start);
            return;
        }
        size_t const length = level.size + (element.stringTag == tag::bitString);
        isTooLong = isTooLong || length >= unchanged;
        lengths[level.index] = static_cast<std::uint32_t>(length);
        around += static_cast<size_t>(element.length - element.start) + lengthOctets(length) + length;
        if (!levels.empty())
            levels.back().isRewritten = true;
    }

    size_t size = 0;
    bool isBer = false;
    bool isTooLong = false;

private:
    struct Level {
        size_t index;
        size_t size;
        bool isRewritten;
    };

    std::vector<std::uint32_t>& lengths;
    std::vector<Level> levels;
};

/// Writes the elements with the computed lengths.
class Writer {
public:
    Writer(std::vector<std::uint32_t> const& found, std::vector<unsigned char>& result)
        : length(found.begin()), to(result) {}

    void begin(Open const& element, unsigned char const* content) {
        if (element.isPiece)
            return;
        std::uint32_t const size = *length++;
        if (size == unchanged)
            return append(element.start, content);
        size_t const identifier = to.size();
        append(element.start, element.length);
        if (element.stringTag != 0)
            to[identifier] = static_cast<unsigned char>(element.stringTag);
        size_t const octets = lengthOctets(size);
        if (octets > 1)
            to.push_back(static_cast<unsigned char>(0x80 + octets - 1));
        for (size_t i = octets > 1 ? octets - 1 : 1; i-- > 0;)
            to.push_back(static_cast<unsigned char>(size >> (8 * i)));
        if (element.stringTag == tag::bitString) {
            unusedBits = to.size();
            to.push_back(0);
        }
    }

    void leaf(asn1::blob whole, asn1::blob content, unsigned string) {
        if (string == 0)
            return append(whole.start, whole.finish);
        if (string == tag::bitString)
            to[unusedBits] = content.pop_front();
        append(content.start, content.finish);
    }

    void end(Open const&, unsigned char const*) {}

private:
    void append(unsigned char const* start, unsigned char const* finish) {
        to.insert(to.end(), start, finish);
    }

    std::vector<std::uint32_t>::const_iterator length;
    std::vector<unsigned char>& to;
    size_t unusedBits = 0; ///< The position of the count of unused bits in the current BIT STRING.
};

} // namespace

bool detail::BerConversion::scan(Reading& reading) {
    lengths.clear();
    Measure measure(lengths);
    bool const isGood = Walk(reading, input, measure).run();
    isFound = measure.isBer;
    size = measure.size;
    return isGood && (!measure.isTooLong || reading.refuse(RefusalId::unsupportedLength, input));
}

std::vector<unsigned char> detail::BerConversion::write() const {
    std::vector<unsigned char> der;
    der.reserve(size); // Reserves the whole size, because the contents may be secret.
    Writer writer(lengths, der);
    Reading silent;
    Walk(silent, input, writer).run();
    return der;
}

bool asn1::berToDer(blob ber, std::vector<unsigned char>* der, Refusal* refusal) {
    Reading reading(ber, refusal);
    detail::BerConversion conversion(ber);
    if (!conversion.scan(reading))
        return false;
    *der = conversion.write();
    return true;
}
