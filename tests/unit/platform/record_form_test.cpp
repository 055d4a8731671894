// The binary form of a record, and what a damaged or hostile file of a store does.
#include "kp/store.h"

#include "support/temporary_root.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <random>

namespace TEST_FILE {

using kp::message;
using kp::Store;

class RecordForm : public test::PlatformRootTest {
protected:
    /// What the store reads from a record file of that content.
    std::optional<message> read(std::string_view content) const {
        root.write("rw/store/test/1.rec", content);
        return Store("test").find(1);
    }

    /// The content of the file that the store writes for the record.
    std::string written(message const& record) const {
        EXPECT_TRUE(Store("test").put(2, record));
        return root.read("rw/store/test/2.rec");
    }
};

std::string bytes(std::string_view hexText) {
    std::vector<unsigned char> const decoded = test::hex(hexText);
    return {decoded.begin(), decoded.end()};
}

std::string u32(uint32_t number) {
    std::string text;
    for (unsigned shift : {24u, 16u, 8u, 0u})
        text += static_cast<char>(number >> shift & 0xff);
    return text;
}

/// CRC-32, bit by bit as ITU-T V.42 describes it.
uint32_t crc32(std::string_view text) {
    uint32_t remainder = 0xffffffff;
    for (char c : text) {
        remainder ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            remainder = remainder >> 1 ^ (remainder % 2 != 0 ? 0xedb88320u : 0u);
    }
    return ~remainder;
}

std::string withChecksum(std::string const& covered) { return covered + u32(crc32(covered)); }

/// A record file with that body and everything else right.
std::string file(std::string const& body) {
    return withChecksum("KPRC" + u32(1) + u32(static_cast<uint32_t>(body.size())) + body);
}

std::string field(uint32_t id, unsigned type, std::string const& value) {
    return u32(id) + static_cast<char>(type) + u32(static_cast<uint32_t>(value.size())) + value;
}

message example() {
    message record;
    unsigned char const raw[] = {0x30, 0x00};
    record.setBool(12, true);
    record.setU32(45, 0x00362b90);
    record.setString(0xfe0010, "Lets");
    record.setRaw(12, raw);
    record.setStrings(32, {"", "a"});
    return record;
}

// The checksum was computed with Python's zlib.crc32.
constexpr std::string_view exampleFile = "4b505243 00000001 00000041"
                                         "0000000c 01 00000001 01"
                                         "0000000c 04 00000002 3000"
                                         "00000020 05 00000009 00000000 00000001 61"
                                         "0000002d 02 00000004 00362b90"
                                         "00fe0010 03 00000004 4c657473"
                                         "bb171910";

TEST_F(RecordForm, IsTheSameOnEveryMachine) {
    EXPECT_EQ(written(example()), bytes(exampleFile));
    EXPECT_EQ(read(bytes(exampleFile)), example());
}

TEST_F(RecordForm, OfAnEmptyRecordIsHeaderAndChecksum) {
    EXPECT_EQ(written(message{}), file(""));
    EXPECT_EQ(read(file("")), message{});
}

TEST_F(RecordForm, EveryTruncationIsAbsent) {
    std::string const whole = bytes(exampleFile);
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(read(whole.substr(0, size)), std::nullopt) << size;
}

TEST_F(RecordForm, EveryFlippedBitIsAbsent) {
    std::string const whole = bytes(exampleFile);
    for (size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
        EXPECT_EQ(read(flipped), std::nullopt) << bit;
    }
}

TEST_F(RecordForm, TrailingBytesAreAbsent) {
    for (char const* more : {"00", "00000000", "4b505243"})
        EXPECT_EQ(read(bytes(exampleFile) + bytes(more)), std::nullopt);
    EXPECT_EQ(read(bytes(exampleFile) + bytes(exampleFile)), std::nullopt);
}

TEST_F(RecordForm, OnlyTheKnownVersionIsRead) {
    EXPECT_EQ(read(withChecksum("KPRC" + u32(1) + u32(0))), message{});
    EXPECT_EQ(read(withChecksum("KPRC" + u32(0) + u32(0))), std::nullopt);
    EXPECT_EQ(read(withChecksum("KPRC" + u32(2) + u32(0))), std::nullopt);
    EXPECT_EQ(read(withChecksum("KPRD" + u32(1) + u32(0))), std::nullopt);
}

TEST_F(RecordForm, TheLengthIsThatOfTheBody) {
    std::string const body = field(1, 1, bytes("01"));
    EXPECT_NE(read(file(body)), std::nullopt);
    for (uint32_t length : {0u, 9u, 11u, 0x7fffffffu, 0xffffffffu})
        EXPECT_EQ(read(withChecksum("KPRC" + u32(1) + u32(length) + body)), std::nullopt) << length;
}

TEST_F(RecordForm, FieldsAscendStrictly) {
    std::string const a = field(1, 1, bytes("01")), b = field(1, 2, u32(0)), c = field(2, 1, bytes("00"));
    EXPECT_NE(read(file(a + b + c)), std::nullopt);
    for (std::string const& body : {a + a, b + a, c + a, a + c + b, a + b + b})
        EXPECT_EQ(read(file(body)), std::nullopt);
    EXPECT_NE(read(file(field(0, 1, bytes("01")))), std::nullopt);
}

TEST_F(RecordForm, UnknownTypesAreAbsent) {
    for (unsigned type : {0u, 6u, 255u})
        EXPECT_EQ(read(file(field(1, type, bytes("01")))), std::nullopt) << type;
}

TEST_F(RecordForm, ValuesHaveTheSizeOfTheirType) {
    for (char const* boolean : {"", "02", "ff", "0000", "0001"})
        EXPECT_EQ(read(file(field(1, 1, bytes(boolean)))), std::nullopt) << boolean;
    for (char const* number : {"", "01", "000000", "0000000000"})
        EXPECT_EQ(read(file(field(1, 2, bytes(number)))), std::nullopt) << number;
}

TEST_F(RecordForm, FieldsDoNotReachPastTheBody) {
    std::string const whole = field(7, 3, "text");
    for (size_t size = 1; size < whole.size(); ++size)
        EXPECT_EQ(read(file(whole.substr(0, size))), std::nullopt) << size;
    for (uint32_t length : {5u, 0x80000000u, 0xfffffffbu, 0xffffffffu})
        EXPECT_EQ(read(file(u32(7) + "\3" + u32(length) + "text")), std::nullopt) << length;
}

TEST_F(RecordForm, StringsDoNotReachPastTheirArray) {
    EXPECT_NE(read(file(field(1, 5, u32(1) + "a" + u32(0)))), std::nullopt);
    for (std::string const& items : {std::string("\0", 1), u32(1), u32(2) + "a", u32(0xffffffff) + "a",
                                     u32(1) + "a" + u32(0xfffffffe), u32(1) + "ab"})
        EXPECT_EQ(read(file(field(1, 5, items) + field(2, 3, "text"))), std::nullopt);
}

TEST_F(RecordForm, ManyFieldsAreReadInLinearTime) {
    message record;
    for (uint32_t id = 0; id < 100000; ++id)
        record.setU32(id, id);
    std::string const content = written(record);
    EXPECT_EQ(read(content), record);
}

TEST_F(RecordForm, WhatIsReadFromDamagedBodiesWritesBackToTheSameBytes) {
    std::mt19937 random(3);
    std::string const whole = bytes(exampleFile);
    std::string const body = whole.substr(12, whole.size() - 16);
    int readable = 0;
    for (int round = 0; round < 2000; ++round) {
        std::string damaged = body;
        for (unsigned changes = 1 + random() % 3; changes != 0; --changes) {
            size_t const place = random() % damaged.size();
            switch (random() % 4) {
            case 0:
                damaged[place] = static_cast<char>(random());
                break;
            case 1:
                damaged[place] = static_cast<char>(damaged[place] ^ 1 << random() % 8);
                break;
            case 2:
                damaged.erase(place, 1 + random() % 4);
                break;
            default:
                damaged.insert(place, 1 + random() % 4, static_cast<char>(random()));
                break;
            }
            if (damaged.empty())
                damaged = body;
        }
        if (std::optional<message> const record = read(file(damaged))) {
            ++readable;
            ASSERT_EQ(written(*record), file(damaged));
        }
    }
    EXPECT_GT(readable, 10);
}

} // namespace TEST_FILE
