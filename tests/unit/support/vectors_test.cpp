#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace TEST_FILE {

using test::Case;

void read(std::string const& text, std::function<void(Case const&)> const& body,
          std::vector<test::ListedCase> const& listed = {}) {
    std::istringstream in(text);
    test::forEachCase(in, "example.txt", listed, body);
}

void useAll(Case const& c) { c.ignore({"a", "b", "shared"}); }

std::vector<test::ListedCase> readList(std::string const& lines) {
    std::istringstream list(lines);
    std::istringstream entries(
        "## Heading\n\n- **`odd-answer`** — why.\n- **`other`** — why.\n- `not-bold`\n");
    return test::readListedCases(list, entries);
}

TEST(Hex, reads_bytes_in_either_case_with_blanks_between_them) {
    EXPECT_EQ(test::hex(" 00 7f80 fF"), (std::vector<unsigned char>{0x00, 0x7f, 0x80, 0xff}));
    EXPECT_TRUE(test::hex("").empty());
}

TEST(Hex, refuses_anything_else) {
    for (char const* text : {"0", "0 1", "001", "0g", "+1", "0x00", "00,01"})
        EXPECT_THROW(test::hex(text), std::invalid_argument) << text;
}

TEST(Hex, is_written_in_lower_case_without_blanks) {
    EXPECT_EQ(test::toHex(std::string("\x00\x7f\x80\xff", 4)), "007f80ff");
    EXPECT_EQ(test::toHex(std::vector<unsigned char>()), "");
}

TEST(Vectors, give_each_case_its_fields_and_those_of_its_group) {
    std::vector<std::string> seen;
    read("# from here\n[group]\nshared = one\n\ncase = 1\na = 00 ff\ncase = 2\na=\n"
         "[group]\nshared = two = 2\n\ncase = x-3\r\na\t= 0a\r\n",
         [&](Case const& c) {
             seen.push_back(c.id() + "|" + c.text("shared") + "|" + test::toHex(c.bytes("a")));
         });
    EXPECT_EQ(seen, (std::vector<std::string>{"1|one|00ff", "2|one|", "x-3|two = 2|0a"}));
}

TEST(Vectors, need_no_group) {
    read("case = 1\na = 18446744073709551615\n",
         [](Case const& c) { EXPECT_EQ(c.number("a"), 18446744073709551615u); });
}

TEST(Vectors, tell_whether_a_field_is_there) {
    read("case = 1\na =\n", [](Case const& c) {
        EXPECT_TRUE(c.has("a"));
        EXPECT_FALSE(c.has("b"));
        c.ignore({"a", "b"});
    });
}

TEST(Vectors, refuse_fields_that_are_missing_or_of_another_form) {
    read("case = 1\na = word\nb = -1\n", [](Case const& c) {
        EXPECT_THROW(c.text("shared"), std::runtime_error);
        EXPECT_THROW(c.bytes("a"), std::invalid_argument);
        EXPECT_THROW(c.number("a"), std::runtime_error);
        EXPECT_THROW(c.number("b"), std::runtime_error);
    });
}

TEST(Vectors, refuse_text_that_is_not_of_the_format) {
    for (char const* text : {
             "case = 1\nword\n",
             "case = 1\n = value\n",
             "a = before any case\ncase = 1\n",
             "case = 1\na = 1\na = 2\n",
             "[group]\na = 1\na = 2\ncase = 1\n",
             "[group]\na = 1\ncase = 1\na = 2\n",
             "case = 1\ncase = 1\n",
             "[group]\ncase = 1\n[group]\ncase = 1\n",
             "case =\n",
             "case = two words\n",
         })
        EXPECT_THROW(read(text, useAll), std::runtime_error) << text;
}

TEST(Vectors, fail_without_a_case_or_a_file) {
    EXPECT_NONFATAL_FAILURE(read("# nothing\n", useAll), "has no case");
    EXPECT_THROW(test::forEachCase("no-such-file.txt", useAll), std::runtime_error);
}

TEST(Vectors, fail_for_a_field_that_was_not_used) {
    EXPECT_NONFATAL_FAILURE(read("case = 1\na = 1\nb = 2\n", [](Case const& c) { c.text("a"); }),
                            "field b is not used");
    EXPECT_NONFATAL_FAILURE(read("[group]\nshared = 1\ncase = 1\ncase = 2\n",
                                 [](Case const& c) {
                                     if (c.id() == "1")
                                         c.text("shared");
                                 }),
                            "field shared is not used");
}

TEST(ListedCases, may_disagree_and_others_may_not) {
    std::vector<test::ListedCase> const listed = {{"example.txt", "1", "odd-answer"}};
    char const* text = "case = 1\ncase = 2\n";
    read(
        text, [](Case const& c) { c.expectAgreement(c.id() == "2"); }, listed);
    EXPECT_NONFATAL_FAILURE(read(
                                text, [](Case const& c) { c.expectAgreement(true); }, listed),
                            "listed under odd-answer");
    EXPECT_NONFATAL_FAILURE(read(
                                text, [](Case const& c) { c.expectAgreement(false); }, listed),
                            "not the published answer");
}

TEST(ListedCases, are_those_that_differ_on_purpose) {
    read("case = 1\ncase = 2\n", [](Case const& c) { EXPECT_EQ(c.differsOnPurpose(), c.id() == "2"); },
         {{"example.txt", "2", "odd-answer"}, {"other.txt", "1", "odd-answer"}});
}

TEST(ListedCases, must_be_asked_for) {
    EXPECT_NONFATAL_FAILURE(read("case = 1\n", useAll, {{"example.txt", "1", "odd-answer"}}),
                            "not asked for");
}

TEST(ListedCases, must_exist) {
    EXPECT_THROW(read("case = 1\n", useAll, {{"example.txt", "2", "odd-answer"}}), std::runtime_error);
}

TEST(ListedCases, name_file_case_and_an_entry_that_exists) {
    auto const listed = readList("# comment\n\na.txt 1 odd-answer\nb.txt x-2 other\n");
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_EQ(listed[1].file + " " + listed[1].id + " " + listed[1].deviation, "b.txt x-2 other");
    for (char const* lines : {"a.txt 1\n", "a.txt 1 odd-answer more\n", "a.txt 1 unheard-of\n",
                              "a.txt 1 not-bold\n", "a.txt 1 other\na.txt 1 odd-answer\n"})
        EXPECT_THROW(readList(lines), std::runtime_error) << lines;
}

// A test that reads the file checks this too; this one sees the files that no test reads.
TEST(ListedCases, of_the_repository_are_in_files_that_hold_them) {
    if (test::isSlow())
        GTEST_SKIP() << "the files are the same for every build";
    for (test::ListedCase const& listed : test::listedCases()) {
        bool held = false;
        std::ifstream in(SEALKIT_TEST_DATA "/vectors/" + listed.file);
        for (std::string line; !held && std::getline(in, line);)
            held = line == "case = " + listed.id;
        EXPECT_TRUE(held) << listed.file << " has no case " << listed.id;
    }
}

TEST_CASES(DeclaredCases, HaveTheirFields, "hash/rfc1320.txt", "hash/rfc1321.txt")(Case const& c) {
    EXPECT_EQ(c.bytes("digest").size(), 16U);
    EXPECT_EQ(c.number("hash"), c.file() == "rfc1320" ? 2U : 3U) << c.index();
    c.ignore({"message", "repeat"});
}

/// The names of the tests of a suite.
std::vector<std::string> testsOf(std::string const& suite) {
    std::vector<std::string> names;
    testing::UnitTest const& program = *testing::UnitTest::GetInstance();
    for (int i = 0; i < program.total_test_suite_count(); ++i)
        if (testing::TestSuite const& found = *program.GetTestSuite(i); found.name() == suite)
            for (int k = 0; k < found.total_test_count(); ++k)
                names.emplace_back(found.GetTestInfo(k)->name());
    return names;
}

TEST(Vectors, have_a_test_for_each_case) {
    std::vector<std::string> const names = testsOf("DeclaredCases");
    std::vector<std::string> expected;
    for (std::string const file : {"rfc1320", "rfc1321"})
        test::forEachCase("hash/" + file + ".txt", [&](Case const& c) {
            c.ignore({"hash", "message", "repeat", "digest"});
            EXPECT_EQ(c.file(), file);
            expected.push_back("HaveTheirFields/" + file + "/" + c.id());
        });
    EXPECT_EQ(names, expected);
}

} // namespace TEST_FILE
