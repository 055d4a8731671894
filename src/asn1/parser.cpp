#include "sealkit/asn1.h"

#include "asn1/header.h"

using detail::advance;
using detail::HeaderError;

HeaderError detail::takeHeader(asn1::blob& rest, unsigned* tag, size_t* length) {
    *tag = rest.pop_front();
    if ((*tag & 0x1F) == 0x1F) {
        unsigned char octet;
        do {
            if (rest.empty())
                return HeaderError::truncated;
            if (*tag >= 0x1000000)
                return HeaderError::unsupportedTag;
            octet = rest.pop_front();
            *tag = (*tag << 8) + (octet & 0x7F);
        } while (octet & 0x80);
    }
    if (rest.empty())
        return HeaderError::truncated;
    *length = rest.pop_front();
    if (*length & 0x80) {
        size_t const octets = *length & 0x7F;
        if (octets == 0)
            return HeaderError::indefiniteLength;
        if (octets > 4)
            return HeaderError::unsupportedLength;
        if (octets > rest.size())
            return HeaderError::truncated;
        *length = 0;
        for (unsigned char const octet : rest.pop_front(octets))
            *length = (*length << 8) + octet;
    }
    return *length > rest.size() ? HeaderError::truncated : HeaderError::none;
}

bool detail::advanceAnywhere(asn1::parser& at) {
    if (at.tag == asn1::parser::errorTag)
        return false;
    if (at.start == at.finish) {
        at.tag = asn1::parser::endTag;
        return true;
    }
    at.tlvStart = at.start;
    asn1::blob rest(at.start, at.finish);
    size_t length;
    if (takeHeader(rest, &at.tag, &length) != HeaderError::none) {
        at.tag = asn1::parser::errorTag;
        return false;
    }
    at.valueStart = rest.start;
    at.valueEnd = at.start = rest.start + length;
    return true;
}

namespace asn1 {

parser::parser(blob level) : start(level.start), finish(level.finish) { advance(*this); }

bool parser::next() { return advance(*this); }

bool parser::enter(unsigned expectedTag) {
    if (tag != expectedTag || tag == endTag || tag == errorTag) {
        start = finish = valueStart = valueEnd = nullptr;
        return fail();
    }
    start = valueStart;
    finish = valueEnd;
    return advance(*this);
}

bool parser::fail() {
    tag = errorTag;
    return false;
}

blob parser::take() {
    blob const content = value();
    return advance(*this) ? content : blob();
}

blob parser::takeWhole() {
    blob const element(tlvStart, valueEnd);
    return advance(*this) ? element : blob();
}

unsigned parser::readUInt() {
    blob const content = take();
    if (content.size() > 4)
        return 0;
    unsigned value = 0;
    for (unsigned char octet : content)
        value = (value << 8) + octet;
    return value;
}

} // namespace asn1
