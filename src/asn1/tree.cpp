#include "sealkit/asn1_tree.h"

#include "asn1/element.h"
#include "base/utf.h"

#include <algorithm>
#include <utility>

namespace asn1 {

namespace {

constexpr std::uint64_t endOfContents = 0, boolean = 1, integer = 2, bitString = 3, octetString = 4, null = 5,
                        objectIdentifier = 6, enumerated = 10, utf8String = 12, sequence = 16, set = 17,
                        numericString = 18, printableString = 19, t61String = 20, ia5String = 22,
                        utcTime = 23, generalizedTime = 24, visibleString = 26, generalString = 27,
                        universalString = 28, bmpString = 30;

enum class HeaderProblem : unsigned char { none, truncated, tag, length, indefinitePrimitive };

/// Takes identifier and length octets off `rest` (X.690, sections 8.1.2 and 8.1.3).
HeaderProblem takeHeader(blob& rest, TreeElement& to) {
    constexpr unsigned longForm = 0x1F, more = 0x80, reservedLength = 0xFF;
    if (rest.empty())
        return HeaderProblem::truncated;
    unsigned const first = rest.pop_front();
    to.tagClass = static_cast<TagClass>(first >> 6);
    to.isConstructed = (first & 0x20) != 0;
    to.number = first & longForm;
    if (to.number == longForm) {
        to.number = 0;
        unsigned octet = more;
        while ((octet & more) != 0) {
            if (rest.empty())
                return HeaderProblem::truncated;
            if (to.number >> 57 != 0)
                return HeaderProblem::tag;
            octet = rest.pop_front();
            to.number = to.number << 7 | (octet & 0x7F);
        }
    }
    if (rest.empty())
        return HeaderProblem::truncated;
    unsigned const lengthOctet = rest.pop_front();
    to.length = lengthOctet;
    if (lengthOctet == more) {
        to.length = std::nullopt;
        return to.isConstructed ? HeaderProblem::none : HeaderProblem::indefinitePrimitive;
    }
    if (lengthOctet == reservedLength)
        return HeaderProblem::length;
    if (lengthOctet > more) {
        size_t const octets = lengthOctet & 0x7F;
        if (octets > rest.size())
            return HeaderProblem::truncated;
        size_t length = 0;
        for (unsigned char const octet : rest.pop_front(octets)) {
            if (length >> (8 * sizeof length - 8) != 0)
                return HeaderProblem::length;
            length = length << 8 | octet;
        }
        to.length = length;
    }
    return HeaderProblem::none;
}

/// Whether the header is the shortest possible (X.690, section 10.1).
bool isShortest(TreeElement const& element) {
    size_t identifier = 1, lengthOctets = 1;
    if (element.number >= 0x1F)
        for (std::uint64_t rest = element.number; rest != 0; rest >>= 7)
            ++identifier;
    if (*element.length >= 0x80)
        for (size_t rest = *element.length; rest != 0; rest >>= 8)
            ++lengthOctets;
    return element.headerLength == identifier + lengthOctets;
}

bool isAscii(blob content, unsigned char first, unsigned char last) {
    return std::ranges::all_of(content, [&](unsigned char c) { return c >= first && c <= last; });
}

/// Whether the content is DER of its universal type.
bool isStrictUniversal(TreeElement const& element) {
    blob const content = element.content;
    if (element.isConstructed)
        return element.number == sequence || element.number == set;
    switch (element.number) {
    case boolean:
        return content.size() == 1;
    case integer:
    case enumerated:
        return !content.empty();
    case bitString:
        return !content.empty() && content[0] < 8;
    case octetString:
        return true;
    case null:
        return content.empty();
    case objectIdentifier:
        return !content.empty() && content.finish[-1] < 0x80;
    case utf8String:
        return detail::isUtf8({reinterpret_cast<char const*>(content.start), content.size()});
    case numericString:
    case printableString:
    case ia5String:
    case visibleString:
    case generalString:
        return isAscii(content, 0, 0x7F);
    case t61String:
        return isAscii(content, 0x20, 0xFF);
    case utcTime:
        return content.size() >= 11 && content.size() <= 17 && isAscii(content, '+', 'Z');
    case generalizedTime:
        return content.size() >= 10 && content.size() <= 32 && isAscii(content, '+', 'Z');
    case universalString:
        return content.size() % 4 == 0;
    case bmpString:
        return content.size() % 2 == 0;
    default:
        return false;
    }
}

} // namespace

TreeWalker::TreeWalker(blob bytes, std::optional<size_t> offset) : input(bytes), at(bytes.start) {
    if (!offset)
        return;
    isSingle = true;
    at = bytes.start + std::min(*offset, bytes.size());
}

TreeWalker::TreeWalker(blob bytes, Strings wanted) : input(bytes), at(bytes.start), strings(wanted) {}

bool TreeWalker::refuse(RefusalId id, unsigned char const* place, std::vector<Fact> facts) {
    if (problem)
        return false;
    detail::Reading reading(input, &problem);
    return reading.refuse(id, place, std::move(facts));
}

/// Whether the content is exactly one element in strict DER.
bool TreeWalker::isStrictElement(blob content) {
    constexpr size_t minSize = 2;
    if (content.size() < minSize || content[0] == 0 || content[0] >> 6 != 0)
        return false;
    TreeWalker walker(content, Strings::ignored);
    while (walker.next()) {
        TreeElement const& element = walker.element();
        if (!element.length || element.isTruncated || !isShortest(element) ||
            (element.tagClass == TagClass::universal && !isStrictUniversal(element)))
            return false;
        if (element.depth == 0 && element.headerLength + *element.length != content.size())
            return false;
    }
    return walker.isComplete();
}

/// Closes the levels that end here. Returns false at the end of the walk.
bool TreeWalker::leaveLevels() {
    while (!levels.empty() && at == levels.back().end) {
        if (levels.back().isIndefinite)
            return refuse(RefusalId::missingElement, at, {{"expected", "end of contents"}});
        if (levels.back().isString)
            --stringDepth;
        levels.pop_back();
        if (levels.size() < endsBelow)
            return false;
    }
    if (!levels.empty())
        return true;
    return at != input.finish && !(isSingle && hasBegun);
}

/// Enters the previous element, unless it is empty.
void TreeWalker::enterContent() {
    TreeElement const& parent = current;
    if (parent.holdsElement) {
        ++stringDepth;
        bool const isBitString = parent.number == bitString;
        levels.push_back({parent.content.finish, false, true});
        at = parent.content.start + (isBitString ? 1 : 0);
        nextParent = isBitString ? TreeParent::bitString : TreeParent::octetString;
        return;
    }
    if (parent.isConstructed) {
        levels.push_back({parent.content.finish, !parent.length, false});
        at = parent.content.start;
    } else {
        at = parent.content.finish;
    }
}

bool TreeWalker::takeElement() {
    unsigned char const* const end = levels.empty() ? input.finish : levels.back().end;
    blob rest(at, end);
    current = {};
    current.offset = static_cast<size_t>(at - input.start);
    current.depth = static_cast<unsigned>(levels.size());
    current.parent = std::exchange(nextParent, TreeParent::element);
    switch (takeHeader(rest, current)) {
    case HeaderProblem::none:
        break;
    case HeaderProblem::truncated:
        return refuse(RefusalId::truncatedElement, at, {{"bytes left", std::to_string(end - at)}});
    case HeaderProblem::tag:
        return refuse(RefusalId::unsupportedTag, at);
    case HeaderProblem::length:
        return refuse(RefusalId::unsupportedLength, at);
    case HeaderProblem::indefinitePrimitive:
        return refuse(RefusalId::indefiniteLength, at, {{"found", "in a primitive element"}});
    }
    current.headerLength = static_cast<size_t>(rest.start - at);
    current.content = rest;
    bool const isUniversal = current.tagClass == TagClass::universal;
    if (isUniversal && current.number == endOfContents && !current.isConstructed) {
        bool const isExpected = !levels.empty() && levels.back().isIndefinite && current.length == 0u &&
                                current.headerLength == 2;
        if (!isExpected)
            return refuse(RefusalId::unexpectedElement, at, {{"found", "end of contents"}});
        current.isEndOfContents = true;
        current.content = blob(rest.start, rest.start);
        current.depth = static_cast<unsigned>(levels.size()) - 1;
        return true;
    }
    if (current.length && *current.length > rest.size()) {
        current.isTruncated = true;
        if (!problem)
            endsBelow = levels.size() + 1;
        refuse(RefusalId::truncatedElement, at,
               {{"length", std::to_string(*current.length)}, {"bytes left", std::to_string(rest.size())}});
    } else if (current.length) {
        current.content = blob(rest.start, *current.length);
    }
    if (current.isConstructed)
        return levels.size() < maxDepth || refuse(RefusalId::nestedTooDeep, at);
    bool const isString = isUniversal && (current.number == octetString || current.number == bitString);
    if (strings == Strings::followed && isString && stringDepth < maxStringDepth &&
        levels.size() < maxDepth && !current.isTruncated) {
        blob content = current.content;
        bool const hasWholeOctets =
            current.number == octetString || (!content.empty() && content.pop_front() == 0);
        current.holdsElement = hasWholeOctets && isStrictElement(content);
    }
    return true;
}

bool TreeWalker::next() {
    if (isEntered && !hasEnded) {
        isEntered = false;
        if (current.isEndOfContents) {
            at = current.content.finish;
            levels.pop_back();
        } else {
            hasEnded = current.isTruncated && !current.isConstructed;
            enterContent();
        }
    }
    isEntered = !hasEnded && leaveLevels() && takeElement();
    hasEnded = !isEntered;
    hasBegun = true;
    return isEntered;
}

blob findElement(blob input, size_t offset, Refusal* refusal) {
    unsigned char const* end = nullptr;
    TreeWalker walker(input, offset);
    while (walker.next()) {
        TreeElement const& element = walker.element();
        if (element.depth == 0)
            end = element.length || element.isEndOfContents ? element.content.finish : nullptr;
        if (element.depth == 0 && element.length)
            break; // Its contents do not affect where it ends.
    }
    if (end != nullptr && walker.isComplete())
        return {input.start + offset, end};
    if (refusal != nullptr) {
        *refusal = walker.refusal();
        if (!*refusal) {
            detail::Reading reading(input, refusal);
            reading.refuse(input.empty() ? RefusalId::emptyInput : RefusalId::missingElement, input.finish);
        }
    }
    return {};
}

} // namespace asn1
