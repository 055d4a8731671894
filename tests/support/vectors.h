/// Test vectors: the one text format, its reader, and the list of cases that differ on purpose.
///
/// A vector file says on top where its values come from and then lists cases:
///
///     # Source: FIPS 180-4, examples for SHA-256
///
///     [group]
///     hash = SHA256
///
///     case = abc
///     message = 616263
///     digest = ba7816bf 8f01cfea 414140de 5dae2223 b00361a3 96177a9c b410ff61 f20015ad
///
/// A line is blank, a comment that begins with `#`, `[group]`, or `name = value`. `case` begins a
/// case and gives its id, which no other case of the file has. What stands between `[group]` and the
/// first case belongs to every case up to the next `[group]`. A value is the rest of its line without
/// the blanks around it and may be empty; hex may hold blanks. No case sees a name twice.
///
/// Each case is a test of its own, which `TEST_CASES` declares and `--gtest_filter` picks:
///
///     TEST_CASES(Digest, OfTexts, "hash/rfc1321.txt")(test::Case const& c) {
///         EXPECT_EQ(md5(c.bytes("message")), c.bytes("digest"));
///     }
///
/// is `Digest.OfTexts/abc` for the case above. Of several files, it is `Digest.OfTexts/rfc1321/abc`.
///
/// The reader fails a test that left a field of a case unused, so that no value is carried along
/// without being tested. `ignore` says which are left out on purpose.
///
/// `tests/vectors/deviations.txt` lists the cases that get another answer here than published. A
/// line names the file, the case and the entry of `docs/deviations.md` that says why.
#pragma once

#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// The bytes that hex digits, in either case and with blanks anywhere between bytes, stand for.
/// Throws `std::invalid_argument` for anything else.
std::vector<unsigned char> hex(std::string_view digits);

/// Lowercase hex digits without blanks, of anything that holds bytes or characters.
std::string toHex(unsigned char const* data, size_t size);
template <typename Bytes>
std::string toHex(Bytes const& bytes) {
    return toHex(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
}

/// One case of a vector file. Reading a field marks it as used; a field that is missing, or that is
/// not of the form asked for, throws.
class Case {
public:
    std::string const& id() const { return caseId; }
    /// The name of its file, without folder and ending.
    std::string const& file() const { return stem; }
    /// Its place among the cases of its file, from 0.
    size_t index() const { return position; }
    bool has(std::string_view name) const;

    /// The value as it stands in the file.
    std::string const& text(std::string_view name) const;
    /// The value as hex digits.
    std::vector<unsigned char> bytes(std::string_view name) const;
    /// The value as a decimal number without a sign.
    unsigned long long number(std::string_view name) const;
    /// Marks fields as left out on purpose, present or not.
    void ignore(std::initializer_list<std::string_view> names) const;

    /// True when `deviations.txt` lists the case. A listed case must be asked for, here or through
    /// `expectAgreement`.
    bool differsOnPurpose() const;
    /// Fails unless exactly one holds: the library gave the published answer, or the case is listed.
    void expectAgreement(bool asPublished) const;

private:
    friend class VectorFile;

    struct Field {
        std::string value;
        mutable bool used = false;
    };

    Field const& field(std::string_view name) const;

    std::string caseId;
    std::string stem;
    size_t position = 0;
    std::string place;     ///< File and line, for messages.
    std::string deviation; ///< The id of the entry that the case is listed under, or empty.
    std::map<std::string, Field, std::less<>> fields;
    mutable bool asked = false;
};

/// One line of `deviations.txt`.
struct ListedCase {
    std::string file;      ///< Below `tests/vectors/`.
    std::string id;        ///< Of the case.
    std::string deviation; ///< The entry of `docs/deviations.md`.
};

/// Declares a test for each case of the files, which are named as below `tests/vectors/`. A file that
/// cannot be read or has no case is one test, which fails.
#define TEST_CASES(suite, name, ...)                                                                         \
    static void suite##_##name(test::Case const&);                                                           \
    [[maybe_unused]] static bool const suite##_##name##_isDeclared =                                         \
        test::declareCases(#suite, #name, {__VA_ARGS__}, suite##_##name, __FILE__, __LINE__);                \
    static void suite##_##name

/// What `TEST_CASES` stands for.
bool declareCases(char const* suite, std::string const& name, std::vector<std::string> const& files,
                  void (*body)(Case const&), char const* source, int line);

/// Calls `body` for each case of `tests/vectors/<file>` in order, within one test, and fails it for a file
/// without cases, for fields that `body` left unused and for listed cases that it did not ask about.
/// Throws when the file cannot be read or is not of the format.
void forEachCase(std::string const& file, std::function<void(Case const&)> const& body);
/// The same over the text that `in` gives, under a list of its own: for the first case and every how many
/// from there.
void forEachCase(std::istream& in, std::string const& file, std::vector<ListedCase> const& listed,
                 std::function<void(Case const&)> const& body, size_t every = 1);

/// All lines of `deviations.txt`. Throws when one is malformed, repeated, or names an entry that
/// `docs/deviations.md` does not have.
std::vector<ListedCase> const& listedCases();
/// The same from the texts that `list` and `entries` give in place of the two files.
std::vector<ListedCase> readListedCases(std::istream& list, std::istream& entries);

} // namespace test
