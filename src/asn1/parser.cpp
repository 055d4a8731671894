#include "sealkit/asn1.h"

#include "asn1/header.h"

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
    size_t length;
    if (detail::takeHeader(rest, &tag, &length) != detail::HeaderError::none)
        return fail();
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
