#include "sealkit/der.h"

#include "sealkit/asn1.h"
#include "sealkit/bignum.h"
#include "sealkit/wipe.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <type_traits>
#include <utility>

namespace TEST_FILE {

using test::hex;
using test::toHex;
using Bytes = std::vector<unsigned char>;

std::string written(DerEncoder& encoder) { return toHex(encoder.take()); }

TEST(DerEncoder, HasItsFieldsInOrder) {
    DerEncoder encoder;
    EXPECT_EQ(static_cast<void*>(&encoder.buf), static_cast<void*>(&encoder));
    EXPECT_EQ(static_cast<void*>(&encoder.open), static_cast<void*>(&encoder.buf + 1));
    EXPECT_EQ(sizeof(DerEncoder), 2 * sizeof(Bytes));

    DerScope scope(encoder, DerScope::movedFrom);
    EXPECT_EQ(static_cast<void*>(&scope.encoder), static_cast<void*>(&scope));
    EXPECT_EQ(static_cast<void*>(&scope.position), static_cast<void*>(&scope.encoder + 1));
    static_assert(sizeof(scope.position) == 4);
    EXPECT_EQ(sizeof(DerScope), 2 * sizeof(void*));
}

/// Length octets as X.690 section 10.1 has them, by division rather than by shifting.
Bytes lengthOctets(unsigned long long length) {
    if (length < 128)
        return {static_cast<unsigned char>(length)};
    Bytes octets;
    for (; length > 0; length /= 256)
        octets.insert(octets.begin(), static_cast<unsigned char>(length % 256));
    octets.insert(octets.begin(), static_cast<unsigned char>(0x80 + octets.size()));
    return octets;
}

Bytes element(unsigned char tag, Bytes const& content) {
    Bytes bytes{tag};
    Bytes const length = lengthOctets(content.size());
    bytes.insert(bytes.end(), length.begin(), length.end());
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

TEST(DerEncoder, AddTagWritesLengthsInTheirShortestForm) {
    struct {
        unsigned length;
        char const* octets;
    } const cases[] = {
        {0, "00"},
        {1, "01"},
        {127, "7f"},
        {128, "8180"},
        {255, "81ff"},
        {256, "820100"},
        {65535, "82ffff"},
        {65536, "83010000"},
        {0xFFFFFF, "83ffffff"},
        {0x1000000, "8401000000"},
        {0xFFFFFFFF, "84ffffffff"},
    };
    for (auto const& row : cases) {
        DerEncoder encoder;
        encoder.addTag(0x04, row.length);
        EXPECT_EQ(written(encoder), std::string("04") + row.octets);
        EXPECT_EQ(toHex(asn1::toDerInt(row.length)), row.octets);
        EXPECT_EQ(toHex(lengthOctets(row.length)), row.octets);
    }
}

TEST(DerEncoder, AddTagWritesTheLowOctetOfTheTag) {
    DerEncoder encoder;
    encoder.addTag(0x1234A1, 0).addTag(0xFF, 0).addTag(0, 0);
    EXPECT_EQ(written(encoder), "a100ff000000");
}

TEST(DerEncoder, AddWritesTagLengthAndBytes) {
    DerEncoder encoder;
    encoder.add(0x80, asn1::blob("abc")).add(0x0C, {});
    EXPECT_EQ(written(encoder), "80036162630c00");
}

TEST(DerEncoder, AddIntOfAnUnsignedWritesItsLengthForm) {
    struct {
        unsigned value;
        char const* bytes;
    } const cases[] = {
        {0, "020100"},           {5, "020105"},
        {127, "02017f"},         {128, "02028180"},
        {200, "020281c8"},       {255, "020281ff"},
        {256, "0203820100"},     {2048, "0203820800"},
        {65536, "020483010000"}, {0xFFFFFFFF, "020584ffffffff"},
    };
    for (auto const& row : cases) {
        DerEncoder encoder;
        encoder.addInt(0x02, row.value);
        EXPECT_EQ(written(encoder), row.bytes);
        encoder.addInteger(row.value);
        EXPECT_EQ(written(encoder), row.bytes);
        encoder.addInt(0x0A, row.value);
        EXPECT_EQ(written(encoder), "0a" + std::string(row.bytes).substr(2));
    }
    EXPECT_EQ(toHex(asn1::toDerInt(200)), "81c8");
    EXPECT_EQ(toHex(asn1::toDerInt(2048)), "820800");
}

TEST(DerEncoder, AddIntOfABigNumWritesANonNegativeInteger) {
    struct {
        char const* magnitude;
        char const* bytes;
    } const cases[] = {
        {"", "020100"},
        {"01", "020101"},
        {"7f", "02017f"},
        {"80", "02020080"},
        {"ff", "020200ff"},
        {"0100", "02020100"},
        {"7fff", "02027fff"},
        {"8000", "0203008000"},
        {"ffffffff", "020500ffffffff"},
        {"0100000000", "02050100000000"},
        {"8000000000000000", "0209008000000000000000"},
    };
    for (auto const& row : cases) {
        Bytes const magnitude = hex(row.magnitude);
        BigNum const number{asn1::blob(magnitude)};
        DerEncoder encoder;
        encoder.addInt(0x02, number);
        EXPECT_EQ(written(encoder), row.bytes);
        encoder.addInteger(number);
        EXPECT_EQ(written(encoder), row.bytes);
        encoder.addInt(0x81, number);
        EXPECT_EQ(written(encoder), "81" + std::string(row.bytes).substr(2));
    }
}

TEST(DerEncoder, AddIntOfABigNumWritesLongNumbers) {
    Bytes magnitude(256, 0xC3);
    DerEncoder encoder;
    encoder.addInteger(BigNum(asn1::blob(magnitude)));
    magnitude.insert(magnitude.begin(), 0);
    EXPECT_EQ(encoder.take(), element(0x02, magnitude));
}

TEST(DerEncoder, WritesTheSimpleTypes) {
    DerEncoder encoder;
    EXPECT_EQ(written(encoder.addBool(0x01, true)), "0101ff");
    EXPECT_EQ(written(encoder.addBool(0x01, false)), "010100");
    EXPECT_EQ(written(encoder.addBool(0x80, true)), "8001ff");
    EXPECT_EQ(written(encoder.addOctetString(asn1::blob("ab"))), "04026162");
    EXPECT_EQ(written(encoder.addOid(asn1::blob("\x55\x04\x03"))), "0603550403");
    EXPECT_EQ(written(encoder.addNull()), "0500");
    EXPECT_EQ(written(encoder.addBitString(asn1::blob("ab"))), "0303006162");
    EXPECT_EQ(written(encoder.addBitString({})), "030100");
    EXPECT_EQ(written(encoder.addEncoded(asn1::blob("\x05\x00\x05\x00", 4))), "05000500");
    EXPECT_EQ(written(encoder.addEncoded({})), "");
}

TEST(DerEncoder, BitStringLengthCountsTheOctetOfUnusedBits) {
    DerEncoder encoder;
    encoder.addBitString(Bytes(127, 0xAA));
    Bytes content(128, 0xAA);
    content[0] = 0;
    EXPECT_EQ(encoder.take(), element(0x03, content));
}

TEST(DerEncoder, CallsCanBeChained) {
    DerEncoder encoder;
    DerEncoder& same = encoder.begin(0x30)
                           .addTag(0x05, 0)
                           .add(0x04, {})
                           .addInt(0x02, 1u)
                           .addInt(0x02, BigNum())
                           .addInteger(1u)
                           .addInteger(BigNum())
                           .addBool(0x01, true)
                           .addOctetString({})
                           .addOid({})
                           .addNull()
                           .addBitString({})
                           .addEncoded({})
                           .end();
    EXPECT_EQ(&same, &encoder);
    EXPECT_EQ(written(encoder), "301c05000400020101020100020101020100"
                                "0101ff040006000500030100");
}

TEST(DerEncoder, BeginWritesAPlaceholderAndRemembersWhere) {
    DerEncoder encoder;
    encoder.addNull().begin(0x30);
    EXPECT_EQ(toHex(encoder.buf), "05003000");
    ASSERT_EQ(encoder.open.size(), 1u);
    EXPECT_EQ(encoder.open[0].encoder, &encoder);
    EXPECT_EQ(encoder.open[0].position, 2u);
    encoder.addNull().end();
    EXPECT_TRUE(encoder.open.empty());
    EXPECT_EQ(toHex(encoder.buf), "050030020500");
}

/// The sizes at which a length takes another octet, and their neighbours.
constexpr size_t steps[] = {0,   1,   120, 121,   122,   123,   124,   125,   126,   127,
                            128, 129, 130, 250,   251,   252,   253,   254,   255,   256,
                            257, 258, 260, 65530, 65531, 65532, 65535, 65536, 65537, 70000};

TEST(DerEncoder, PatchesTheLengthOfWhatGrew) {
    for (size_t size : steps) {
        Bytes const content(size, 0x5A);
        DerEncoder encoder;
        encoder.begin(0x30).addEncoded(content).end();
        EXPECT_EQ(encoder.take(), element(0x30, content)) << size;
    }
}

TEST_CASES(DerEncoder, WritesTheHeadersThatOpenSslWrites, "asn1/nesting.txt")(test::Case const& nesting) {
    Bytes const content(nesting.number("octets"), 0xA5);
    DerEncoder encoder;
    encoder.begin(0x30).begin(0x30).addOctetString(content).end().end();
    Bytes expected = nesting.bytes("headers");
    expected.insert(expected.end(), content.begin(), content.end());
    EXPECT_EQ(encoder.take(), expected);
}

TEST(DerEncoder, AccountsForNestedExpansions) {
    for (size_t size : steps) {
        Bytes const content(size, 0x5A);
        DerEncoder encoder;
        encoder.begin(0x30).addNull();
        encoder.begin(0xA0).begin(0x31).addOctetString(content).end().addNull().end();
        encoder.begin(0x30).end().end();

        Bytes set = element(0x31, element(0x04, content));
        set.insert(set.end(), {0x05, 0x00});
        Bytes outer{0x05, 0x00};
        Bytes const tagged = element(0xA0, set);
        outer.insert(outer.end(), tagged.begin(), tagged.end());
        outer.insert(outer.end(), {0x30, 0x00});
        EXPECT_EQ(encoder.take(), element(0x30, outer)) << size;
    }
}

TEST(DerEncoder, DeepNestingPatchesFromTheInsideOut) {
    DerEncoder encoder;
    Bytes expected;
    for (int i = 0; i < 1000; ++i)
        encoder.begin(0x30);
    for (int i = 0; i < 1000; ++i) {
        encoder.end();
        expected = element(0x30, expected);
    }
    EXPECT_EQ(encoder.take(), expected);
}

TEST(DerEncoder, WhatItWritesTheParserReads) {
    std::mt19937 random(1234);
    for (int round = 0; round < 300; ++round) {
        DerEncoder encoder;
        std::vector<std::pair<unsigned, Bytes>> elements;
        encoder.begin(0x30);
        for (unsigned n = random() % 8; n > 0; --n) {
            Bytes content(random() % 300);
            for (unsigned char& byte : content)
                byte = static_cast<unsigned char>(random());
            unsigned const tag = random() % 0x1F;
            encoder.add(tag, content);
            elements.emplace_back(tag, content);
        }
        encoder.end();
        Bytes const bytes = encoder.take();
        asn1::parser cursor{asn1::blob(bytes)};
        ASSERT_TRUE(cursor.enter(0x30));
        for (auto const& [tag, content] : elements) {
            ASSERT_EQ(cursor.tag, tag);
            ASSERT_EQ(cursor.take(), asn1::blob(content));
        }
        ASSERT_EQ(cursor.tag, 256u);
    }
}

TEST(DerEncoder, TakeMovesTheBufferOut) {
    DerEncoder encoder;
    encoder.addOctetString(Bytes(100, 1));
    unsigned char const* const bytes = encoder.buf.data();
    Bytes const taken = encoder.take();
    EXPECT_EQ(taken.data(), bytes);
    EXPECT_TRUE(encoder.buf.empty());
    // It can be used again.
    EXPECT_EQ(written(encoder.begin(0x30).addNull().end()), "30020500");
}

TEST(DerEncoder, TakeLeavesOpenElementsWithoutALength) {
    Bytes taken;
    {
        DerEncoder encoder;
        encoder.begin(0x30).begin(0x31).addNull();
        taken = encoder.take();
        EXPECT_TRUE(encoder.open.empty());
        // What was open has nothing left to patch: neither here nor when the encoder goes.
        encoder.addOctetString(Bytes(3, 0xEE));
        EXPECT_EQ(toHex(encoder.end().buf), "0403eeeeee");
    }
    EXPECT_EQ(toHex(taken), "300031000500");
}

TEST(DerEncoder, DestroyedAfterItsBufferWasMovedOutItWritesNowhere) {
    Bytes taken;
    {
        DerEncoder encoder;
        encoder.addNull().begin(0x30).addOctetString(Bytes(200, 7)).begin(0x31);
        taken = std::move(encoder.buf);
    }
    EXPECT_EQ(toHex(taken).substr(0, 8), "05003000");
    EXPECT_EQ(taken.size(), 2u + 2 + 203 + 2);
}

TEST(DerEncoder, ClosingMoreThanWasOpenedDoesNothing) {
    DerEncoder encoder;
    encoder.end().addNull().begin(0x30).end().end().end();
    EXPECT_EQ(written(encoder), "05003000");
}

TEST(DerEncoder, UpdateLenLeavesPositionsOutsideAlone) {
    DerEncoder encoder;
    encoder.updateLen(0);
    encoder.addNull();
    encoder.updateLen(1);
    encoder.updateLen(2);
    encoder.updateLen(0xFFFFFFFF);
    EXPECT_EQ(toHex(encoder.buf), "0500");
    encoder.addNull();
    encoder.updateLen(0);
    EXPECT_EQ(toHex(encoder.buf), "05020500");
}

TEST(DerScope, MovedFromClosesNothing) {
    DerEncoder encoder;
    encoder.addTag(0x30, 0).addNull();
    {
        DerScope first(encoder, 0);
        DerScope second(std::move(first));
        EXPECT_EQ(first.position,
                  0xFFFFFFFF); // NOLINT(bugprone-use-after-move): what moving leaves is the point
        EXPECT_EQ(second.position, 0u);
        EXPECT_EQ(second.encoder, &encoder);
        EXPECT_EQ(toHex(encoder.buf), "30000500");
    }
    EXPECT_EQ(toHex(encoder.buf), "30020500");
    static_assert(!std::is_copy_constructible_v<DerScope>);
}

TEST(DerScope, ClosesItsElementWhenItIsDestroyed) {
    DerEncoder encoder;
    {
        encoder.addTag(0x30, 0);
        DerScope const scope(encoder, 0);
        encoder.addOctetString(Bytes(200, 7));
    }
    EXPECT_EQ(toHex(encoder.buf).substr(0, 12), "3081cb0481c8");
}

TEST(DerEncoder, OpenElementsFollowAMove) {
    DerEncoder source;
    source.begin(0x30).addNull();
    DerEncoder built(std::move(source));
    EXPECT_TRUE(source.buf.empty()); // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(source.open.empty());
    EXPECT_EQ(built.open.at(0).encoder, &built);
    built.begin(0x31);

    DerEncoder assigned;
    assigned.addNull().begin(0x30).begin(0x30);
    assigned = std::move(built);
    EXPECT_EQ(written(assigned.addNull().end().end()), "300605003102"
                                                       "0500");
    EXPECT_EQ(written(source.begin(0x30).end()), "3000");

    DerEncoder& self = assigned;
    assigned.addNull().begin(0x30);
    assigned = std::move(self);
    EXPECT_EQ(written(assigned.end()), "05003000");
    static_assert(!std::is_copy_constructible_v<DerEncoder>);
}

TEST(DerEncoder, GrowsByDoublingFromOne) {
    DerEncoder encoder;
    unsigned char const octet[] = {0};
    std::vector<size_t> capacities;
    for (int i = 0; i < 9; ++i)
        capacities.push_back(encoder.addEncoded(octet).buf.capacity());
    EXPECT_EQ(capacities, (std::vector<size_t>{1, 2, 4, 4, 8, 8, 8, 8, 16}));
}

/// Sums up what is wiped, as the wiping sees it before it wipes.
size_t wipedOctets;
void* (*realWipe)(void*, int, size_t);
void* countingWipe(void* data, int value, size_t size) {
    for (size_t i = 0; i < size; ++i)
        wipedOctets += static_cast<unsigned char*>(data)[i] == 0x5E;
    return realWipe(data, value, size);
}

TEST(DerEncoder, WipesTheMemoryItLeaves) {
    realWipe = std::exchange(secureMemset, countingWipe);
    wipedOctets = 0;
    Bytes const secret(40, 0x5E);
    {
        DerEncoder encoder;
        encoder.addEncoded(secret);
        EXPECT_EQ(wipedOctets, 0u);
        encoder.addEncoded(secret).addEncoded(secret); // the second outgrows 40, the third 80
        EXPECT_EQ(wipedOctets, 40u + 80u);
    }
    EXPECT_EQ(wipedOctets, 40u + 80u + 120u);
    // What is taken belongs to the taker.
    wipedOctets = 0;
    Bytes const taken = DerEncoder().addEncoded(secret).take();
    EXPECT_EQ(wipedOctets, 0u);
    secureMemset = realWipe;
    EXPECT_EQ(taken, secret);
}

} // namespace TEST_FILE
