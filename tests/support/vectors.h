/// Test vectors: the text format, its reader, and the list of cases with intended deviations.
///
/// A vector file states the source of its values and lists cases:
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
/// A line is blank, a comment that begins with `#`, `[group]`, or `name = value`. `case` begins a case and
/// gives its id, which must be unique in the file. The fields between `[group]` and the first case belong to
/// every case up to the next `[group]`. A value is the rest of its line without surrounding blanks and may be
/// empty; hexadecimal values may contain blanks. No case may have a field twice.
///
/// Each case is a separate test, which `TEST_CASES` declares and `--gtest_filter` selects:
///
///     TEST_CASES(Digest, OfTexts, "hash/rfc1321.txt")(test::Case const& c) {
///         EXPECT_EQ(md5(c.bytes("message")), c.bytes("digest"));
///     }
///
/// This declares `Digest.OfTexts/abc` for the case above or, with several files,
/// `Digest.OfTexts/rfc1321/abc`.
///
/// The reader fails a test that leaves a field of a case unused, so that no value remains untested. `ignore`
/// names the fields that are unused on purpose.
///
/// `tests/vectors/deviations.txt` lists the cases whose results intentionally differ from the published ones.
/// A line names the file, the case, and the entry of `docs/deviations.md` with the reason.
#pragma once

#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// Decodes hexadecimal digits of either case, with optional blanks between bytes. Throws
/// `std::invalid_argument` for any other text.
std::vector<unsigned char> hex(std::string_view digits);

/// Lowercase hexadecimal digits without blanks, for any container of bytes or characters.
std::string toHex(unsigned char const* data, size_t size);
template <typename Bytes>
std::string toHex(Bytes const& bytes) {
    return toHex(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
}

/// One case of a vector file. Reading a field marks it as used. A missing or malformed field throws.
class Case {
public:
    std::string const& id() const { return caseId; }
    /// The name of its file, without folder and extension.
    std::string const& file() const { return stem; }
    /// Its position in the file, from 0.
    size_t index() const { return position; }
    bool has(std::string_view name) const;

    /// The value as written in the file.
    std::string const& text(std::string_view name) const;
    /// The value as hex digits.
    std::vector<unsigned char> bytes(std::string_view name) const;
    /// The value as an unsigned decimal number.
    unsigned long long number(std::string_view name) const;
    /// Marks fields, present or not, as unused on purpose.
    void ignore(std::initializer_list<std::string_view> names) const;

    /// Whether `deviations.txt` lists the case. A test must ask for a listed case, here or through
    /// `expectAgreement`.
    bool differsOnPurpose() const;
    /// Fails unless exactly one is true: the library's result is the published one, or the case is listed.
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
    std::string deviation; ///< The id of its entry in `deviations.txt`, or empty.
    std::map<std::string, Field, std::less<>> fields;
    mutable bool asked = false;
};

/// One line of `deviations.txt`.
struct ListedCase {
    std::string file;      ///< Below `tests/vectors/`.
    std::string id;        ///< Of the case.
    std::string deviation; ///< The entry of `docs/deviations.md`.
};

/// Declares a test for each case of the files, whose names are relative to `tests/vectors/`. A file that is
/// unreadable or has no cases becomes one test, which fails.
#define TEST_CASES(suite, name, ...)                                                                         \
    static void suite##_##name(test::Case const&);                                                           \
    [[maybe_unused]] static bool const suite##_##name##_isDeclared =                                         \
        test::declareCases(#suite, #name, {__VA_ARGS__}, suite##_##name, __FILE__, __LINE__);                \
    static void suite##_##name

/// The implementation of `TEST_CASES`.
bool declareCases(char const* suite, std::string const& name, std::vector<std::string> const& files,
                  void (*body)(Case const&), char const* source, int line);

/// Calls `body` for each case of `tests/vectors/<file>` in order, within one test. The test fails if the file
/// has no cases, if `body` leaves fields unused, or if it does not ask about listed cases. Throws if the file
/// is unreadable or malformed.
void forEachCase(std::string const& file, std::function<void(Case const&)> const& body);
/// The same for the text of `in` and another list, with the first case and then every `every`-th one.
void forEachCase(std::istream& in, std::string const& file, std::vector<ListedCase> const& listed,
                 std::function<void(Case const&)> const& body, size_t every = 1);

/// All lines of `deviations.txt`. Throws if a line is malformed, repeated, or names an entry that
/// `docs/deviations.md` does not have.
std::vector<ListedCase> const& listedCases();
/// The same for the texts of `list` and `entries`, instead of the two files.
std::vector<ListedCase> readListedCases(std::istream& list, std::istream& entries);

} // namespace test
