#include "pkcs/ber.h"

#include "sealkit/der.h"

#include "asn1/element.h"

namespace {

namespace tag = detail::tag;

using detail::Reading;

constexpr unsigned maxDepth = 32;
constexpr unsigned constructedBit = 0x20;
constexpr unsigned constructedOctetString = tag::octetString | constructedBit;
constexpr unsigned endOfContents = 0;

/// Identifier and length octets.
struct Header {
    unsigned tag = 0;
    bool isIndefinite = false;
    size_t size = 0; ///< Of the contents, unless that is indefinite.
};

bool takeHeader(Reading& reading, asn1::blob& rest, Header& header) {
    constexpr unsigned longTag = 0x1F, indefinite = 0x80, maxLengthOctets = 4;
    unsigned char const* const place = rest.start;
    if (rest.size() < 2)
        return reading.refuse(RefusalId::truncatedElement, place);
    header = {};
    header.tag = rest.pop_front();
    if ((header.tag & longTag) == longTag)
        return reading.refuse(RefusalId::unsupportedTag, place);
    unsigned const first = rest.pop_front();
    if (first == indefinite) {
        header.isIndefinite = true;
        return (header.tag & constructedBit) != 0 || reading.refuse(RefusalId::indefiniteLength, place);
    }
    header.size = first;
    if (first > indefinite) {
        unsigned octets = first - indefinite;
        if (octets > maxLengthOctets)
            return reading.refuse(RefusalId::unsupportedLength, place);
        if (octets > rest.size())
            return reading.refuse(RefusalId::truncatedElement, place);
        for (header.size = 0; octets > 0; octets--)
            header.size = header.size << 8 | rest.pop_front();
    }
    if (header.size <= rest.size())
        return true;
    return reading.refuse(
        RefusalId::truncatedElement, place,
        {{"length", std::to_string(header.size)}, {"bytes left", std::to_string(rest.size())}});
}

/// What is within a constructed element, one element after the other.
class Children {
public:
    /// `input` begins with the contents. It is behind the element when `next` was false and `isGood` is true.
    Children(Reading& reading, asn1::blob& input, Header const& parent)
        : reading(reading),
          isIndefinite(parent.isIndefinite),
          source(input),
          content(isIndefinite ? input : input.pop_front(parent.size)) {}

    /// Takes the header of the next child off. `rest` begins with its contents then.
    bool next(Header& child) {
        if (!isGood || (!isIndefinite && content.empty()))
            return false;
        unsigned char const* const place = content.start;
        isGood = takeHeader(reading, content, child);
        if (!isGood || child.tag != endOfContents)
            return isGood;
        isGood = (isIndefinite && child.size == 0) || reading.refuse(RefusalId::unexpectedElement, place);
        source = content;
        return false;
    }
    asn1::blob& rest() { return content; }
    void fail() { isGood = false; }

    bool isGood = true;

private:
    Reading& reading;
    bool isIndefinite;
    asn1::blob& source;
    asn1::blob content;
};

/// Writes the pieces of a string in a row. Anything but pieces is false.
bool joinPieces(Reading& reading, asn1::blob& input, Header const& whole, DerEncoder& to, unsigned depth) {
    Children children(reading, input, whole);
    Header piece;
    while (children.next(piece)) {
        asn1::blob& rest = children.rest();
        if (piece.tag == tag::octetString) {
            to.addEncoded(rest.pop_front(piece.size));
            continue;
        }
        if (piece.tag != constructedOctetString)
            reading.refuse(
                RefusalId::unexpectedElement, rest,
                {{"expected", detail::tagText(tag::octetString)}, {"found", detail::tagText(piece.tag)}});
        else if (depth == 0)
            reading.refuse(RefusalId::nestedTooDeep, rest);
        else if (joinPieces(reading, rest, piece, to, depth - 1))
            continue;
        children.fail();
    }
    return children.isGood;
}

bool joinString(Reading& reading, asn1::blob& input, Header const& whole, unsigned stringTag, DerEncoder& to,
                unsigned depth) {
    to.begin(stringTag);
    bool const isGood = joinPieces(reading, input, whole, to, depth);
    to.end();
    return isGood;
}

/// EncryptedContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, contentEncryptionAlgorithm SEQUENCE,
/// encryptedContent [0] IMPLICIT OCTET STRING }: the one place where [0] as the third element in such company may
/// be constructed in BER, and must not in DER.
bool isEncryptedContent(unsigned parentTag, unsigned const (&before)[2], size_t index, unsigned childTag) {
    return parentTag == tag::sequence && index == 2 && before[0] == tag::oid && before[1] == tag::sequence &&
           childTag == tag::constructed(0);
}

bool convert(Reading& reading, asn1::blob& input, Header const& element, DerEncoder& to, unsigned depth) {
    if ((element.tag & constructedBit) == 0) {
        to.add(element.tag, input.pop_front(element.size));
        return true;
    }
    if (depth == 0)
        return reading.refuse(RefusalId::nestedTooDeep, input, {{"maximum", std::to_string(maxDepth)}});
    if (element.tag == constructedOctetString)
        return joinString(reading, input, element, tag::octetString, to, depth - 1);

    to.begin(element.tag);
    Children children(reading, input, element);
    Header child;
    unsigned before[2] = {};
    for (size_t index = 0; children.next(child); index++) {
        bool const isGood =
            isEncryptedContent(element.tag, before, index, child.tag)
                ? joinString(reading, children.rest(), child, tag::primitive(0), to, depth - 1)
                : convert(reading, children.rest(), child, to, depth - 1);
        if (!isGood)
            children.fail();
        if (index < 2)
            before[index] = child.tag;
    }
    to.end();
    return children.isGood;
}

} // namespace

bool detail::berToDer(Reading& reading, asn1::blob ber, std::vector<unsigned char>* der) {
    DerEncoder encoder;
    Header element;
    bool isGood = takeHeader(reading, ber, element) && convert(reading, ber, element, encoder, maxDepth);
    if (isGood && !ber.empty())
        isGood = reading.refuse(RefusalId::trailingBytes, ber);
    if (isGood)
        *der = encoder.take();
    return isGood;
}
