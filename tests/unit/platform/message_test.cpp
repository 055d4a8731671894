#include "kp/message.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEST_FILE {

using kp::FieldType;
using kp::message;

std::vector<unsigned char> copy(std::span<unsigned char const> bytes) { return {bytes.begin(), bytes.end()}; }
std::vector<std::string> copy(std::span<std::string const> texts) { return {texts.begin(), texts.end()}; }

TEST(Message, DefaultIsEmpty) {
    message record;
    EXPECT_TRUE(record.empty());
    EXPECT_TRUE(record.fields().empty());
}

TEST(Message, AbsentFieldsGiveTheirDefaults) {
    message const record;
    unsigned char const raw[] = {1, 2};
    std::string const texts[] = {"a", "b"};
    EXPECT_FALSE(record.getBool(1));
    EXPECT_TRUE(record.getBool(1, true));
    EXPECT_EQ(record.getU32(1), 0u);
    EXPECT_EQ(record.getU32(1, 0xffffffff), 0xffffffffu);
    EXPECT_EQ(record.getString(1), "");
    EXPECT_EQ(record.getString(1, "x"), "x");
    EXPECT_TRUE(record.getRaw(1).empty());
    EXPECT_EQ(record.getRaw(1, raw).data(), raw);
    EXPECT_TRUE(record.getStrings(1).empty());
    EXPECT_EQ(record.getStrings(1, texts).data(), texts);
}

TEST(Message, PresentFieldsIgnoreTheirDefaults) {
    message record;
    record.setBool(1, false);
    record.setU32(2, 0);
    record.setString(3, "");
    record.setRaw(4, {});
    record.setStrings(5, {});
    unsigned char const raw[] = {1};
    std::string const texts[] = {"a"};
    EXPECT_FALSE(record.getBool(1, true));
    EXPECT_EQ(record.getU32(2, 7), 0u);
    EXPECT_EQ(record.getString(3, "x"), "");
    EXPECT_TRUE(record.getRaw(4, raw).empty());
    EXPECT_TRUE(record.getStrings(5, texts).empty());
    EXPECT_TRUE(record.hasBool(1) && record.hasU32(2) && record.hasString(3) && record.hasRaw(4) &&
                record.hasStrings(5));
}

TEST(Message, OneIdUnderFiveTypesIsFiveFields) {
    message record;
    record.setBool(12, true);
    EXPECT_TRUE(record.hasBool(12));
    EXPECT_FALSE(record.hasU32(12) || record.hasString(12) || record.hasRaw(12) || record.hasStrings(12));
    EXPECT_EQ(record.getU32(12, 5), 5u);
    record.setU32(12, 0xfffffff0);
    record.setString(12, "text");
    unsigned char const raw[] = {0, 255};
    record.setRaw(12, raw);
    record.setStrings(12, {"a", ""});
    EXPECT_EQ(record.fields().size(), 5u);
    EXPECT_TRUE(record.getBool(12));
    EXPECT_EQ(record.getU32(12), 0xfffffff0u);
    EXPECT_EQ(record.getString(12), "text");
    EXPECT_EQ(copy(record.getRaw(12)), copy(raw));
    EXPECT_EQ(copy(record.getStrings(12)), (std::vector<std::string>{"a", ""}));

    EXPECT_TRUE(record.remove(FieldType::string, 12));
    EXPECT_FALSE(record.hasString(12));
    EXPECT_EQ(record.fields().size(), 4u);
}

TEST(Message, SettingAgainReplaces) {
    message record;
    record.setString(7, "old");
    record.setString(7, "new");
    EXPECT_EQ(record.getString(7), "new");
    EXPECT_EQ(record.fields().size(), 1u);
}

TEST(Message, AFieldMayBeSetFromAnother) {
    message record;
    record.setString(9, std::string(100, 'x'));
    record.setString(1, record.getString(9));
    record.setString(9, record.getString(9).substr(50));
    EXPECT_EQ(record.getString(1), std::string(100, 'x'));
    EXPECT_EQ(record.getString(9), std::string(50, 'x'));
}

TEST(Message, StringsHoldAnyBytes) {
    message record;
    record.setString(1, std::string_view("a\0b\xff", 4));
    EXPECT_EQ(record.getString(1), std::string_view("a\0b\xff", 4));
}

TEST(Message, RemoveTellsWhetherThereWasOne) {
    message record;
    record.setU32(1, 1);
    EXPECT_FALSE(record.remove(FieldType::boolean, 1));
    EXPECT_FALSE(record.remove(FieldType::u32, 2));
    EXPECT_TRUE(record.remove(FieldType::u32, 1));
    EXPECT_FALSE(record.remove(FieldType::u32, 1));
    EXPECT_TRUE(record.empty());
}

TEST(Message, FieldsAscendByIdAndType) {
    message record;
    record.setStrings(5, {});
    record.setU32(0xffffffff, 1);
    record.setBool(5, true);
    record.setU32(0, 1);
    record.setRaw(5, {});
    std::vector<std::pair<uint32_t, FieldType>> order;
    for (message::Field const& field : record.fields())
        order.emplace_back(field.id, field.type());
    EXPECT_EQ(order, (std::vector<std::pair<uint32_t, FieldType>>{{0, FieldType::u32},
                                                                  {5, FieldType::boolean},
                                                                  {5, FieldType::raw},
                                                                  {5, FieldType::strings},
                                                                  {0xffffffff, FieldType::u32}}));
}

TEST(Message, EqualityIsThatOfTheFieldsInAnyOrderOfSetting) {
    message a, b;
    a.setU32(1, 1);
    a.setBool(2, true);
    b.setBool(2, true);
    EXPECT_NE(a, b);
    b.setU32(1, 1);
    EXPECT_EQ(a, b);
    b.setU32(1, 2);
    EXPECT_NE(a, b);
}

} // namespace TEST_FILE
