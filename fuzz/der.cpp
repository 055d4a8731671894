#include "sealkit/der.h"
#include "sealkit/asn1.h"
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/timepoint.h"

#include "targets.h"

#include <vector>

namespace {

/// A written name parses to the same name, which is written in the same way.
template <typename Name>
void checkName(asn1::blob element, bool (*equal)(Name const&, Name const&)) {
    Name name, again;
    if (!name.parse(element))
        return;
    std::vector<unsigned char> encoded = name.serialize();
    SEALKIT_ASSERT(again.parse(encoded) && equal(again, name) && again.serialize() == encoded);
}

/// A rewritten element parses to the same element.
void checkElement(unsigned tag, asn1::blob content, asn1::blob element) {
    DerEncoder encoder;
    encoder.add(tag, content);
    std::vector<unsigned char> encoded = encoder.take();
    SEALKIT_ASSERT(encoded.size() <= element.size()); // The shortest form.
    asn1::parser again(encoded);
    SEALKIT_ASSERT(again.tag == tag && again.take() == content && again.tag == asn1::parser::endTag);
}

/// A time that is written as a UTCTime is read and written again the same.
void checkTime(asn1::blob element) {
    constexpr unsigned utcTime = 0x17;
    asn1::parser from(element);
    TimePoint time, again;
    if (!time.parse(from))
        return;
    time.toString();
    DerEncoder encoder;
    encoder.add(utcTime, time.toUTC());
    std::vector<unsigned char> encoded = encoder.take();
    asn1::parser written(encoded);
    SEALKIT_ASSERT(again.parse(written) && again.toUTC() == time.toUTC());
}

/// Reads an element as every type that it may have.
void readAsEverything(unsigned tag, asn1::blob content, asn1::blob element) {
    oidStr(content);
    AlgorithmIdentifier algorithm, again;
    if (parse(algorithm, content)) {
        std::vector<unsigned char> encoded = encode(algorithm);
        asn1::parser sequence(encoded);
        SEALKIT_ASSERT(parse(again, sequence.take()));
        SEALKIT_ASSERT(again.oid == algorithm.oid && again.params == algorithm.params);
    }
    checkTime(element);
    checkName<DistinguishedName>(element, [](auto const& a, auto const& b) { return a == b; });
    if (tag <= 0xFF) { // The writers support tags of one octet.
        checkElement(tag, content, element);
        checkName<GeneralName>(
            element, [](auto const& a, auto const& b) { return a.data == b.data && a.type == b.type; });
    }
}

} // namespace

/// Walks all elements down to a depth of 8.
void fuzz::der(asn1::blob input) {
    std::vector<asn1::blob> levels = {input};
    for (unsigned depth = 0; depth < 8 && !levels.empty(); depth++) {
        std::vector<asn1::blob> below;
        for (asn1::blob bytes : levels) {
            asn1::parser level(bytes);
            while (level.tag != asn1::parser::endTag && level.tag != asn1::parser::errorTag) {
                asn1::blob content(level.valueStart, level.valueEnd);
                readAsEverything(level.tag, content, asn1::blob(level.tlvStart, level.valueEnd));
                below.push_back(content);
                level.next();
            }
        }
        levels = std::move(below);
    }
}
