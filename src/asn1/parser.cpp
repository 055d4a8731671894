#include "sealkit/asn1.h"

namespace asn1 {

parser::parser(blob level) : start(level.start), finish(level.finish) { next(); }

bool parser::next() {
    if (tag == errorTag)
        return false;
    if (start == finish) {
        tag = endTag;
        return true;
    }
    tlvStart = start;
    blob rest(start, finish);
    if (!readTag(rest) || !readLength(rest))
        return fail();
    return true;
}

/// X.690 section 8.1.2.
bool parser::readTag(blob& rest) {
    tag = rest.pop_front();
    if ((tag & 0x1F) != 0x1F)
        return true;
    unsigned char octet;
    do {
        if (rest.empty() || tag >= 0x1000000)
            return false;
        octet = rest.pop_front();
        tag = (tag << 8) + (octet & 0x7F);
    } while (octet & 0x80);
    return true;
}

/// X.690 section 8.1.3. Lengths that could be shorter are taken (BER's form, section 8.1.3.5): old tools
/// write them. Lengths are compared with what is left before any pointer moves, so none can wrap.
bool parser::readLength(blob& rest) {
    if (rest.empty())
        return false;
    size_t length = rest.pop_front();
    if (length & 0x80) {
        unsigned octets = length & 0x7F;
        if (octets == 0 || octets > 4 || octets > rest.size())
            return false;
        length = 0;
        while (octets-- > 0)
            length = (length << 8) + rest.pop_front();
    }
    if (length > rest.size())
        return false;
    valueStart = rest.start;
    valueEnd = start = rest.start + length;
    return true;
}

bool parser::fail() {
    tag = errorTag;
    return false;
}

bool parser::enter(unsigned expectedTag) {
    if (tag != expectedTag || tag == endTag || tag == errorTag) {
        start = finish = valueStart = valueEnd = nullptr;
        return fail();
    }
    start = valueStart;
    finish = valueEnd;
    return next();
}

blob parser::take() {
    blob const content = value();
    return next() ? content : blob();
}

blob parser::takeWhole() {
    blob const element(tlvStart, valueEnd);
    return next() ? element : blob();
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
