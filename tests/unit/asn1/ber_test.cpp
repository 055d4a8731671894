#include "sealkit/asn1.h"
#include "sealkit/ber.h"

#include "support/der.h"
#include "support/random.h"
#include "support/slow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>

namespace TEST_FILE {

using namespace test::der;

Bytes indefinite(unsigned tag, Bytes const& content) {
    return join({{static_cast<unsigned char>(tag), 0x80}, content, {0, 0}});
}

struct Conversion {
    bool isGood = false;
    Bytes der;
    Refusal refusal;
};

Conversion convert(Bytes const& ber) {
    Conversion result;
    // In memory of its own, so that reading on is noticed.
    std::unique_ptr<unsigned char[]> exact(new unsigned char[ber.size()]);
    std::copy(ber.begin(), ber.end(), exact.get());
    result.isGood = asn1::berToDer(asn1::blob(exact.get(), ber.size()), &result.der, &result.refusal);
    return result;
}

void expectDer(Bytes const& ber, Bytes const& der) {
    Conversion const result = convert(ber);
    EXPECT_TRUE(result.isGood) << result.refusal.str();
    EXPECT_EQ(result.der, der);
}

void expectRefused(Bytes const& ber, RefusalId id) {
    Conversion const result = convert(ber);
    EXPECT_FALSE(result.isGood);
    EXPECT_TRUE(result.der.empty());
    EXPECT_EQ(result.refusal.id, id) << result.refusal.str();
}

TEST(Ber, IndefiniteLengthsBecomeDefinite) {
    expectDer(indefinite(0x30, {}), sequence());
    expectDer(indefinite(0x30, join({integer(1), indefinite(0xA0, null()), null()})),
              sequence(integer(1), context(0, null()), null()));
    Bytes const large(70000, 7);
    expectDer(indefinite(0x30, indefinite(0xA1, octetString(large))),
              sequence(context(1, octetString(large))));
    expectDer(sequence(indefinite(0x31, null())), sequence(set(null())));
}

TEST(Ber, StringsInPiecesBecomeWhole) {
    Bytes const pieces = join({octetString({1, 2}), octetString({}), octetString({3})});
    expectDer(indefinite(0x24, pieces), octetString({1, 2, 3}));
    expectDer(element(0x24, pieces), octetString({1, 2, 3}));
    expectDer(element(0x24, {}), octetString({}));
    expectDer(sequence(element(0x24, indefinite(0x24, pieces)), null()),
              sequence(octetString({1, 2, 3}), null()));
    for (unsigned const tag : {0x0C, 0x13, 0x16, 0x17, 0x18, 0x1E}) {
        Bytes const whole = element(tag, {'a', 'b'});
        expectDer(indefinite(0x20 | tag, join({octetString({'a'}), octetString({'b'})})), whole);
        expectDer(element(0x20 | tag, join({element(tag, {'a'}), element(tag, {'b'})})), whole);
    }
}

TEST(Ber, BitStringsKeepTheirLastBits) {
    expectDer(element(0x23, join({bitString({0xAB}), bitString({0xC0}, 4)})), bitString({0xAB, 0xC0}, 4));
    expectDer(indefinite(0x23, join({indefinite(0x23, bitString({1})), bitString({2})})), bitString({1, 2}));
    expectDer(element(0x23, {}), bitString({}));
    expectRefused(element(0x23, join({bitString({0xC0}, 4), bitString({0xAB})})),
                  RefusalId::malformedBitString);
    expectRefused(element(0x23, join({element(0x23, bitString({0xC0}, 4)), bitString({0xAB})})),
                  RefusalId::malformedBitString);
    expectRefused(element(0x23, element(0x03, {})), RefusalId::malformedBitString);
    expectRefused(element(0x23, bitString({1}, 8)), RefusalId::malformedBitString);
    expectRefused(element(0x23, bitString({}, 1)), RefusalId::malformedBitString);
}

TEST(Ber, EncryptedContentsBecomeWhole) {
    Bytes const pieces = join({octetString({1}), octetString({2})});
    Bytes const head = join({oid("1.2.840.113549.1.7.1"), sequence(oid("2.16.840.1.101.3.4.1.2"))});
    expectDer(indefinite(0x30, join({head, indefinite(0xA0, pieces)})),
              sequence(head, implicit(0, Bytes{1, 2})));
    // Elsewhere [0] holds elements.
    expectDer(indefinite(0x30, join({null(), head, indefinite(0xA0, pieces)})),
              sequence(null(), head, context(0, pieces)));
}

TEST(Ber, WhatHasNothingToRewriteKeepsItsBytes) {
    Bytes const longLength = {0x30, 0x81, 0x02, 0x05, 0x00};
    expectDer(longLength, longLength);
    expectDer(indefinite(0x30, longLength), sequence(longLength));
    Bytes const unsorted = set(integer(2), integer(1));
    expectDer(indefinite(0x30, unsorted), sequence(unsorted));
    expectDer(indefinite(0x31, join({integer(2), integer(1)})), unsorted);
    Bytes const longTag = {0x3F, 0x81, 0x01, 0x02, 0x05, 0x00};
    expectDer(longTag, longTag);
    expectDer(join({Bytes{0x3F, 0x81, 0x01, 0x80}, null(), Bytes{0, 0}}), longTag);
    expectDer(null(), null());
}

TEST(Ber, RefusesWhatIsMalformed) {
    expectRefused({}, RefusalId::emptyInput);
    expectRefused({0x30}, RefusalId::truncatedElement);
    expectRefused({0x30, 0x80}, RefusalId::truncatedElement);
    expectRefused({0x30, 0x80, 0x00}, RefusalId::truncatedElement);
    expectRefused({0x30, 0x03, 0x05, 0x00}, RefusalId::truncatedElement);
    expectRefused({0x30, 0x02, 0x05, 0x01, 0x00}, RefusalId::truncatedElement);
    expectRefused({0x30, 0x85, 0, 0, 0, 0, 0}, RefusalId::unsupportedLength);
    expectRefused({0x04, 0x80, 0x00, 0x00}, RefusalId::indefiniteLength);
    expectRefused({0x30, 0x80, 0x00, 0x01, 0x00}, RefusalId::unexpectedElement);
    expectRefused({0x30, 0x02, 0x00, 0x00}, RefusalId::unexpectedElement);
    expectRefused({0x00, 0x00}, RefusalId::unexpectedElement);
    expectRefused(element(0x24, null()), RefusalId::unexpectedElement);
    expectRefused(element(0x24, bitString({1})), RefusalId::unexpectedElement);
    expectRefused(element(0x23, octetString({1})), RefusalId::unexpectedElement);
    expectRefused(join({indefinite(0x30, {}), Bytes{0}}), RefusalId::trailingBytes);
    expectRefused({0x3F, 0x81, 0x81, 0x81, 0x81, 0x01, 0x00}, RefusalId::unsupportedTag);
    Bytes const good = indefinite(0x30, join({indefinite(0x24, octetString({1})), sequence(null())}));
    for (size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(convert(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size))).isGood)
            << size;
}

Bytes nested(size_t depth) { return join({repeat({0x30, 0x80}, depth), repeat({0, 0}, depth)}); }

TEST(Ber, IsBoundedInDepth) {
    Bytes der = sequence();
    for (unsigned i = 1; i < 200; ++i)
        der = sequence(der);
    expectDer(nested(200), der);
    expectRefused(nested(201), RefusalId::nestedTooDeep);
    expectRefused(repeat({0x30, 0x80}, 100000), RefusalId::nestedTooDeep);
    expectRefused(repeat({0x24, 0x80}, 100000), RefusalId::nestedTooDeep);
}

TEST(Ber, DeepNestingTakesNoLongerThanItsBytes) {
    // 100 elements around a million bytes: each would move them, if lengths were put in afterwards.
    size_t const size = test::lessWhenSlow(1000000u, 100000u);
    auto const timeOf = [&](size_t depth) {
        Bytes const ber =
            join({repeat({0x30, 0x80}, depth), octetString(Bytes(size, 1)), repeat({0, 0}, depth)});
        auto best = std::chrono::steady_clock::duration::max();
        for (unsigned i = 0; i < 5; ++i) {
            auto const start = std::chrono::steady_clock::now();
            Bytes der;
            EXPECT_TRUE(asn1::berToDer(ber, &der, nullptr));
            best = std::min(best, std::chrono::steady_clock::now() - start);
        }
        return best;
    };
    EXPECT_LT(timeOf(190), 20 * timeOf(1) + std::chrono::milliseconds(5));
}

TEST(Ber, WhatComesOutStaysAsItIs) {
    test::Random random(7);
    Bytes const seed = indefinite(
        0x30, join({integer(1), indefinite(0x24, join({octetString({1, 2}), octetString({3})})),
                    indefinite(0xA0, set(utf8String("a"), indefinite(0x23, bitString({1, 2}, 1)))), null()}));
    unsigned converted = 0;
    for (unsigned i = 0; i < test::lessWhenSlow(20000u, 2000u); ++i) {
        Bytes ber = seed;
        for (unsigned changes = random.below(4); changes > 0; --changes)
            ber[random.below(static_cast<unsigned>(ber.size()))] =
                static_cast<unsigned char>(random.below(256));
        Conversion const once = convert(ber);
        ASSERT_EQ(once.isGood, !once.refusal);
        if (!once.isGood)
            continue;
        ++converted;
        ASSERT_LE(once.der.size(), ber.size());
        expectDer(once.der, once.der);
        asn1::parser const parser{asn1::blob(once.der)};
        ASSERT_NE(parser.tag, asn1::parser::errorTag);
    }
    EXPECT_GT(converted, 100u);
}

} // namespace TEST_FILE
