#include "sealkit/refusal.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace TEST_FILE {

bool isKebabCase(std::string const& name) {
    return !name.empty() &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos &&
           name.front() != '-' && name.back() != '-' && name.find("--") == std::string::npos;
}

TEST(Refusals, AreATableOfNamesAndSentences) {
    std::set<std::string> names, sentences;
    unsigned expected = 1;
    for (ReasonText<RefusalId> const& row : refusals()) {
        EXPECT_EQ(static_cast<unsigned>(row.id), expected++);
        EXPECT_EQ(&getReasonText(row.id), &row);
        EXPECT_TRUE(isKebabCase(row.name)) << row.name;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        std::string const sentence = row.sentence;
        EXPECT_TRUE(sentences.insert(sentence).second) << sentence;
        EXPECT_EQ(sentence.back(), '.') << sentence;
        EXPECT_TRUE(sentence.front() >= 'A' && sentence.front() <= 'Z') << sentence;
    }
}

TEST(Refusal, OfNothingIsFalseAndEmpty) {
    Refusal const refusal;
    EXPECT_FALSE(refusal);
    EXPECT_STREQ(refusal.name(), "none");
    EXPECT_EQ(refusal.str(), "");
}

TEST(Refusal, SaysWhereWhatAndTheFacts) {
    Refusal refusal;
    refusal.id = RefusalId::unexpectedElement;
    EXPECT_TRUE(refusal);
    EXPECT_STREQ(refusal.name(), "unexpected-element");
    EXPECT_EQ(refusal.str(), "An element of another type is required here.");
    refusal.block = 2;
    refusal.offset = 17;
    refusal.path = "extension 4 (nameConstraints), subtree 2";
    refusal.facts = {{"expected", "SEQUENCE"}, {"found", "INTEGER"}};
    EXPECT_EQ(refusal.str(),
              "block 2, extension 4 (nameConstraints), subtree 2, byte 17: An element of another type is "
              "required here. (expected: SEQUENCE; found: INTEGER)");
}

} // namespace TEST_FILE
