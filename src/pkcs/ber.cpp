#include "pkcs/ber.h"

#include "sealkit/der.h"

#include "asn1/tags.h"

namespace {

namespace tag = detail::tag;

constexpr unsigned deepest = 32;
constexpr unsigned constructedBit = 0x20;
constexpr unsigned constructedOctetString = tag::octetString | constructedBit;
constexpr unsigned endOfContents = 0;

/// Identifier and length octets.
struct Header {
    unsigned tag = 0;
    bool isIndefinite = false;
    size_t size = 0; ///< Of the contents, unless that is indefinite.
};

bool takeHeader(asn1::blob& rest, Header& header) {
    constexpr unsigned longTag = 0x1F, indefinite = 0x80, mostLengthOctets = 4;
    if (rest.size() < 2)
        return false;
    header = {};
    header.tag = rest.pop_front();
    if ((header.tag & longTag) == longTag)
        return false;
    unsigned const first = rest.pop_front();
    if (first == indefinite) {
        header.isIndefinite = true;
        return (header.tag & constructedBit) != 0;
    }
    header.size = first;
    if (first > indefinite) {
        unsigned octets = first - indefinite;
        if (octets > mostLengthOctets || octets > rest.size())
            return false;
        for (header.size = 0; octets > 0; octets--)
            header.size = header.size << 8 | rest.pop_front();
    }
    return header.size <= rest.size();
}

/// What is within a constructed element, one element after the other.
class Children {
public:
    /// `input` begins with the contents. It is behind the element when `next` was false and `isGood` is true.
    Children(asn1::blob& input, Header const& parent)
        : isIndefinite(parent.isIndefinite),
          source(input),
          content(isIndefinite ? input : input.pop_front(parent.size)) {}

    /// Takes the header of the next child off. `rest` begins with its contents then.
    bool next(Header& child) {
        if (!isGood || (!isIndefinite && content.empty()))
            return false;
        isGood = takeHeader(content, child);
        if (!isGood || child.tag != endOfContents)
            return isGood;
        isGood = isIndefinite && child.size == 0;
        source = content;
        return false;
    }
    asn1::blob& rest() { return content; }
    void fail() { isGood = false; }

    bool isGood = true;

private:
    bool isIndefinite;
    asn1::blob& source;
    asn1::blob content;
};

/// Writes the pieces of a string in a row. Anything but pieces is false.
bool joinPieces(asn1::blob& input, Header const& whole, DerEncoder& to, unsigned depth) {
    Children children(input, whole);
    Header piece;
    while (children.next(piece)) {
        if (piece.tag == tag::octetString)
            to.addEncoded(children.rest().pop_front(piece.size));
        else if (piece.tag != constructedOctetString || depth == 0 ||
                 !joinPieces(children.rest(), piece, to, depth - 1))
            children.fail();
    }
    return children.isGood;
}

bool joinString(asn1::blob& input, Header const& whole, unsigned stringTag, DerEncoder& to, unsigned depth) {
    to.begin(stringTag);
    bool const isGood = joinPieces(input, whole, to, depth);
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

bool convert(asn1::blob& input, Header const& element, DerEncoder& to, unsigned depth) {
    if ((element.tag & constructedBit) == 0) {
        to.add(element.tag, input.pop_front(element.size));
        return true;
    }
    if (depth == 0)
        return false;
    if (element.tag == constructedOctetString)
        return joinString(input, element, tag::octetString, to, depth - 1);

    to.begin(element.tag);
    Children children(input, element);
    Header child;
    unsigned before[2] = {};
    for (size_t index = 0; children.next(child); index++) {
        bool const isGood = isEncryptedContent(element.tag, before, index, child.tag)
                                ? joinString(children.rest(), child, tag::primitive(0), to, depth - 1)
                                : convert(children.rest(), child, to, depth - 1);
        if (!isGood)
            children.fail();
        if (index < 2)
            before[index] = child.tag;
    }
    to.end();
    return children.isGood;
}

} // namespace

std::vector<unsigned char> detail::berToDer(asn1::blob ber) {
    DerEncoder encoder;
    Header element;
    if (!takeHeader(ber, element) || !convert(ber, element, encoder, deepest) || !ber.empty())
        return {};
    return encoder.take();
}
