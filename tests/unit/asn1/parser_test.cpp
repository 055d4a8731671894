#include "sealkit/asn1.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include <sys/mman.h>

namespace TEST_FILE {

using test::hex;
using Bytes = std::vector<unsigned char>;

/// A copy of its own block of memory, so that reading one byte too far is found by the sanitizer.
class ExactBytes {
public:
    explicit ExactBytes(asn1::blob bytes) : data(new unsigned char[bytes.size()]), size(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data.get());
    }
    operator asn1::blob() const { return asn1::blob(data.get(), size); }

private:
    std::unique_ptr<unsigned char[]> data;
    size_t size;
};

unsigned firstTag(std::string_view digits) {
    Bytes const bytes = hex(digits);
    ExactBytes const exact{asn1::blob(bytes)};
    return asn1::parser(exact).tag;
}

TEST(Parser, HasItsFieldsInOrder) {
    asn1::parser cursor{asn1::blob()};
    auto const base = reinterpret_cast<char*>(&cursor);
    EXPECT_EQ(reinterpret_cast<char*>(&cursor.start) - base, 0);
    EXPECT_EQ(reinterpret_cast<char*>(&cursor.finish) - base, std::ptrdiff_t(sizeof(void*)));
    EXPECT_EQ(reinterpret_cast<char*>(&cursor.tag) - base, std::ptrdiff_t(2 * sizeof(void*)));
    // A pointer follows the 32-bit tag, aligned.
    EXPECT_EQ(reinterpret_cast<char*>(&cursor.tlvStart) - base, std::ptrdiff_t(3 * sizeof(void*)));
    EXPECT_EQ(reinterpret_cast<char*>(&cursor.valueStart) - base, std::ptrdiff_t(4 * sizeof(void*)));
    EXPECT_EQ(reinterpret_cast<char*>(&cursor.valueEnd) - base, std::ptrdiff_t(5 * sizeof(void*)));
    EXPECT_EQ(sizeof(asn1::parser), 6 * sizeof(void*));
    static_assert(sizeof(cursor.tag) == 4);
}

TEST(Parser, EmptyInputIsAtTheEnd) {
    asn1::parser cursor{asn1::blob()};
    EXPECT_EQ(cursor.tag, 256u);
    EXPECT_TRUE(cursor.next());
    EXPECT_EQ(cursor.tag, 256u);
    EXPECT_EQ(cursor.tlvStart, nullptr);
    EXPECT_EQ(cursor.valueStart, nullptr);
    EXPECT_EQ(cursor.valueEnd, nullptr);
    EXPECT_TRUE(cursor.take().empty());
    EXPECT_TRUE(cursor.takeWhole().empty());
    EXPECT_EQ(cursor.readUInt(), 0u);
}

TEST(Parser, StandsOnTheFirstElementWhenMade) {
    Bytes const bytes = hex("0403 010203 0500");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_EQ(cursor.tag, 0x04u);
    EXPECT_EQ(cursor.tlvStart, bytes.data());
    EXPECT_EQ(cursor.valueStart, bytes.data() + 2);
    EXPECT_EQ(cursor.valueEnd, bytes.data() + 5);
    EXPECT_EQ(cursor.start, bytes.data() + 5);
    EXPECT_EQ(cursor.finish, bytes.data() + 7);
    EXPECT_EQ(cursor.value(), asn1::blob(bytes.data() + 2, 3));

    EXPECT_TRUE(cursor.next());
    EXPECT_EQ(cursor.tag, 0x05u);
    EXPECT_EQ(cursor.tlvStart, bytes.data() + 5);
    EXPECT_EQ(cursor.valueStart, cursor.valueEnd);
    EXPECT_TRUE(cursor.next());
    EXPECT_EQ(cursor.tag, 256u);
    EXPECT_TRUE(cursor.next());
}

TEST(Parser, ReadsTagsAsWholeNumbers) {
    struct {
        char const* bytes;
        unsigned tag;
    } const cases[] = {
        {"0000", 0x00},
        {"0200", 0x02},
        {"3000", 0x30},
        {"3100", 0x31},
        {"8000", 0x80},
        {"A000", 0xA0},
        {"1E00", 0x1E},
        {"FE00", 0xFE},
        {"1F810100", 0x1F0101},
        {"1F0100", 0x1F01},
        {"1F0000", 0x1F00},
        {"BF7F00", 0xBF7F},
        {"FFFF7F00", 0xFF7F7F},
        // Three further octets fill 32 bits.
        {"1F81828300", 257}, // goes on: a fifth octet is one too many
        {"1F8182037F", 257}, // length 127 with nothing behind it
        {"1F81820300", 0x1F010203},
        {"FFFFFF7F00", 0xFF7F7F7F},
        {"1F80800000", 0x1F000000},
    };
    for (auto const& row : cases)
        EXPECT_EQ(firstTag(row.bytes), row.tag) << row.bytes;
}

TEST(Parser, RefusesTagsThatBreakOffOrDoNotFit) {
    for (char const* bytes :
         {"1F", "1F81", "1F8182", "1F818283", "1F8182838400", "1F80808000", "FFFFFFFF7F00"})
        EXPECT_EQ(firstTag(bytes), 257u) << bytes;
}

TEST(Parser, RefusesInputWithoutALength) {
    EXPECT_EQ(firstTag("30"), 257u);
    EXPECT_EQ(firstTag("1F01"), 257u);
}

TEST(Parser, ReadsLengths) {
    struct {
        char const* header;
        size_t length;
    } const cases[] = {
        {"0400", 0},
        {"0405", 5},
        {"047F", 127},
        {"048180", 128},
        {"0481FF", 255},
        {"04820100", 256},
        {"0483010000", 65536},
        {"048400010000", 65536},
        // Longer than need be, and accepted.
        {"048100", 0},
        {"048105", 5},
        {"04820005", 5},
        {"0483000005", 5},
        {"048400000005", 5},
        {"0484000000FF", 255},
    };
    for (auto const& row : cases) {
        Bytes bytes = hex(row.header);
        size_t const header = bytes.size();
        bytes.resize(header + row.length, 0xAA);
        ExactBytes const exact{asn1::blob(bytes)};
        asn1::parser const cursor(exact);
        EXPECT_EQ(cursor.tag, 4u) << row.header;
        EXPECT_EQ(cursor.value().size(), row.length) << row.header;
        EXPECT_EQ(size_t(cursor.valueStart - cursor.tlvStart), header) << row.header;

        if (row.length == 0)
            continue;
        // One byte less than the length says.
        ExactBytes const cut{asn1::blob(bytes.data(), bytes.size() - 1)};
        EXPECT_EQ(asn1::parser(cut).tag, 257u) << row.header;
    }
}

TEST(Parser, RefusesIndefiniteLengths) {
    EXPECT_EQ(firstTag("3080"), 257u);
    EXPECT_EQ(firstTag("3080 0500 0000"), 257u);
}

TEST(Parser, RefusesLengthsOfMoreThanFourOctets) {
    EXPECT_EQ(firstTag("3085 0000000000"), 257u);
    EXPECT_EQ(firstTag("3085 0000000001 00"), 257u);
    EXPECT_EQ(firstTag("30FF 00"), 257u);
}

TEST(Parser, RefusesLengthsWhoseOctetsAreNotThere) {
    EXPECT_EQ(firstTag("3081"), 257u);
    EXPECT_EQ(firstTag("308200"), 257u);
    EXPECT_EQ(firstTag("3084000000"), 257u);
}

TEST(Parser, RefusesLengthsBeyondTheEnd) {
    EXPECT_EQ(firstTag("0401"), 257u);
    // On a 32-bit machine these carry a pointer round the end of memory.
    EXPECT_EQ(firstTag("0484FFFFFFFF 00"), 257u);
    EXPECT_EQ(firstTag("0484FFFFFFFA 00"), 257u);
    EXPECT_EQ(firstTag("048480000000 00"), 257u);
}

TEST(Parser, ReadsElementsBehindFourGibibytes) {
    if constexpr (sizeof(size_t) > 4) {
        // Address space without memory: nothing but the headers is touched.
        size_t const length = 0xFFFFFFFF;
        size_t const size = 6 + length + 2;
        void* const mapped =
            mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        ASSERT_NE(mapped, MAP_FAILED);
        auto const memory = static_cast<unsigned char*>(mapped);
        Bytes const header = hex("0484FFFFFFFF");
        std::copy(header.begin(), header.end(), memory);
        memory[6 + length] = 0x05;
        asn1::parser cursor(asn1::blob(memory, size));
        EXPECT_EQ(cursor.value().size(), length);
        EXPECT_TRUE(cursor.next());
        EXPECT_EQ(cursor.tag, 5u);
        EXPECT_TRUE(cursor.next());
        EXPECT_EQ(cursor.tag, 256u);
        munmap(mapped, size);
    }
}

TEST(Parser, ErrorIsSticky) {
    Bytes const bytes = hex("0500 0402 00");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_EQ(cursor.tag, 5u);
    EXPECT_FALSE(cursor.next());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(cursor.tag, 257u);
        EXPECT_FALSE(cursor.next());
        EXPECT_FALSE(cursor.enter(4));
        EXPECT_FALSE(cursor.enter(257));
        EXPECT_TRUE(cursor.take().empty());
        EXPECT_TRUE(cursor.takeWhole().empty());
        EXPECT_EQ(cursor.readUInt(), 0u);
    }
}

TEST(Parser, EnterGoesToTheFirstChildInPlace) {
    Bytes const bytes = hex("3005 020107 0500 0403616263");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_TRUE(cursor.enter(0x30));
    EXPECT_EQ(cursor.tag, 2u);
    EXPECT_EQ(cursor.finish, bytes.data() + 7);
    EXPECT_EQ(cursor.take(), asn1::blob(bytes.data() + 4, 1));
    EXPECT_EQ(cursor.tag, 5u);
    EXPECT_TRUE(cursor.take().empty());
    // What stood beside the SEQUENCE is not seen any more.
    EXPECT_EQ(cursor.tag, 256u);
}

TEST(Parser, EnterGivesWhatReadingTheFirstChildGives) {
    Bytes const none = hex("3000"), malformed = hex("3002 0401"), primitive = hex("0402 0500");
    asn1::parser empty{asn1::blob(none)};
    EXPECT_TRUE(empty.enter(0x30));
    EXPECT_EQ(empty.tag, 256u);
    asn1::parser broken{asn1::blob(malformed)};
    EXPECT_FALSE(broken.enter(0x30));
    EXPECT_EQ(broken.tag, 257u);
    // Whether an element is constructed is for the caller to know.
    asn1::parser wrapped{asn1::blob(primitive)};
    EXPECT_TRUE(wrapped.enter(0x04));
    EXPECT_EQ(wrapped.tag, 5u);
}

TEST(Parser, EnterWithAnotherTagIsAnErrorForGood) {
    Bytes const bytes = hex("3002 0500 0500");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_FALSE(cursor.enter(0x31));
    EXPECT_EQ(cursor.tag, 257u);
    EXPECT_EQ(cursor.start, nullptr);
    EXPECT_EQ(cursor.finish, nullptr);
    EXPECT_EQ(cursor.valueStart, nullptr);
    EXPECT_EQ(cursor.valueEnd, nullptr);
    EXPECT_FALSE(cursor.next());
    EXPECT_EQ(cursor.tag, 257u);
    EXPECT_FALSE(cursor.enter(0x30));
    EXPECT_FALSE(cursor.next());
}

TEST(Parser, TheEndCannotBeEntered) {
    Bytes const bytes = hex("3002 0500");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_TRUE(cursor.next());
    EXPECT_FALSE(cursor.enter(256));
    EXPECT_EQ(cursor.tag, 257u);
}

TEST(Parser, TakeGivesTheContentAndGoesOn) {
    Bytes const bytes = hex("0403 616263 3100");
    asn1::parser cursor{asn1::blob(bytes)};
    asn1::blob const content = cursor.take();
    EXPECT_EQ(content.start, bytes.data() + 2);
    EXPECT_EQ(content, asn1::blob("abc"));
    EXPECT_EQ(cursor.tag, 0x31u);
}

TEST(Parser, TakeWholeGivesTheHeaderToo) {
    Bytes const bytes = hex("BF21 8103 616263 0500");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_EQ(cursor.tag, 0xBF21u);
    EXPECT_EQ(cursor.takeWhole(), asn1::blob(bytes.data(), 7));
    EXPECT_EQ(cursor.takeWhole(), asn1::blob(bytes.data() + 7, 2));
    EXPECT_EQ(cursor.tag, 256u);
}

TEST(Parser, TakeIsEmptyWhenWhatFollowsIsMalformed) {
    for (bool whole : {false, true}) {
        Bytes const bytes = hex("0403 616263 04");
        asn1::parser cursor{asn1::blob(bytes)};
        EXPECT_EQ(cursor.tag, 4u);
        EXPECT_TRUE((whole ? cursor.takeWhole() : cursor.take()).empty());
        EXPECT_EQ(cursor.tag, 257u);
    }
}

TEST(Parser, TheLastElementStaysAtTheEnd) {
    Bytes const bytes = hex("0403 616263");
    asn1::parser cursor{asn1::blob(bytes)};
    EXPECT_EQ(cursor.take(), asn1::blob("abc"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(cursor.tag, 256u);
        EXPECT_EQ(cursor.takeWhole(), asn1::blob(bytes));
        EXPECT_EQ(cursor.take(), asn1::blob("abc"));
    }
}

TEST(Parser, ReadUIntReadsUpToFourOctets) {
    struct {
        char const* bytes;
        unsigned value;
    } const cases[] = {
        {"0200", 0},
        {"020100", 0},
        {"02017F", 127},
        {"0201FF", 255},
        {"02020100", 256},
        {"0203010203", 0x10203},
        {"0204FFFFFFFF", 0xFFFFFFFF},
        {"02050000000001", 0},
        {"0A0106", 6},
    };
    for (auto const& row : cases) {
        Bytes const bytes = hex(row.bytes);
        asn1::parser cursor{asn1::blob(bytes)};
        EXPECT_EQ(cursor.readUInt(), row.value) << row.bytes;
        EXPECT_EQ(cursor.tag, 256u) << row.bytes;
    }
    Bytes const beforeGarbage = hex("020107 FF");
    asn1::parser cursor{asn1::blob(beforeGarbage)};
    EXPECT_EQ(cursor.readUInt(), 0u);
    EXPECT_EQ(cursor.tag, 257u);
}

TEST(Parser, NeverWritesToItsInputAndNeverCopies) {
    Bytes const bytes = hex("3006 0404 DEADBEEF");
    asn1::parser outer{asn1::blob(bytes)};
    asn1::parser inner(outer.take());
    asn1::blob const content = inner.take();
    EXPECT_EQ(content.start, bytes.data() + 4);
    EXPECT_EQ(content.finish, bytes.data() + 8);
}

TEST(Parser, DescendsAHundredThousandLevelsWithoutAStack) {
    // Written from the inside out, with lengths of four octets throughout.
    size_t const levels = 100000;
    Bytes bytes;
    for (size_t i = 0; i < levels; ++i) {
        size_t const content = 6 * (levels - 1 - i);
        bytes.insert(bytes.end(),
                     {0x30, 0x84, static_cast<unsigned char>(content >> 24),
                      static_cast<unsigned char>(content >> 16), static_cast<unsigned char>(content >> 8),
                      static_cast<unsigned char>(content)});
    }
    asn1::parser cursor{asn1::blob(bytes)};
    for (size_t i = 0; i < levels; ++i)
        ASSERT_TRUE(cursor.enter(0x30)) << i;
    EXPECT_EQ(cursor.tag, 256u);
}

/// Walks all levels, by every operation, and checks that all that comes out lies within what went in.
void walk(asn1::blob level, unsigned depth) {
    asn1::parser cursor(level);
    while (cursor.tag < asn1::parser::endTag || cursor.tag > asn1::parser::errorTag) {
        ASSERT_LE(level.start, cursor.tlvStart);
        ASSERT_LT(cursor.tlvStart, cursor.valueStart);
        ASSERT_LE(cursor.valueStart, cursor.valueEnd);
        ASSERT_LE(cursor.valueEnd, level.finish);
        ASSERT_EQ(cursor.valueEnd, cursor.start);
        asn1::blob const content = cursor.value();
        if (depth > 0)
            walk(content, depth - 1);
        asn1::parser entered = cursor;
        bool const read = entered.enter(cursor.tag);
        ASSERT_EQ(read, entered.tag != asn1::parser::errorTag);
        asn1::parser reading = cursor;
        reading.readUInt();
        ASSERT_EQ(reading.tag, asn1::parser(asn1::blob(cursor.start, cursor.finish)).tag);
        cursor.take();
    }
    ASSERT_EQ(cursor.next(), cursor.tag == asn1::parser::endTag);
}

TEST_CASES(Parser, StaysWithinEveryTruncation, "asn1/documents.txt")(test::Case const& document) {
    Bytes const bytes = document.bytes("der");
    walk(asn1::blob(bytes), 16);
    for (size_t size = 0; size < bytes.size(); ++size) {
        ExactBytes const cut{asn1::blob(bytes.data(), size)};
        walk(cut, 16);
        // Whatever is cut off an element that spans everything is missed.
        EXPECT_EQ(asn1::parser(cut).tag, size == 0 ? 256u : 257u);
    }
}

TEST(Parser, StaysWithinRandomBytes) {
    std::mt19937 random(20240229);
    // Octets that mean something make long walks likelier than even chances do.
    unsigned char const telling[] = {0x30, 0x31, 0x02, 0x04, 0x1F, 0x3F, 0xA0, 0x00, 0x01, 0x02, 0x03,
                                     0x04, 0x08, 0x10, 0x7F, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0xFF};
    for (int round = 0; round < 20000; ++round) {
        Bytes bytes(random() % 64);
        for (unsigned char& byte : bytes)
            byte =
                random() % 3 ? telling[random() % std::size(telling)] : static_cast<unsigned char>(random());
        ExactBytes const exact{asn1::blob(bytes)};
        walk(exact, 4);
    }
}

} // namespace TEST_FILE
