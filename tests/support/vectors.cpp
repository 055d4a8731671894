#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

namespace test {

namespace {

// A constant, because tests are declared before objects with constructors are initialised.
constexpr char vectorFolder[] = SEALKIT_TEST_DATA "/vectors/";

std::string_view trimmed(std::string_view text) {
    size_t first = text.find_first_not_of(" \t\r");
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::ifstream open(std::string const& path) {
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    return in;
}

/// The ids of the entries: the bold code at the start of list items.
std::set<std::string> deviationIds(std::istream& in) {
    std::set<std::string> ids;
    std::string const opening = "- **`";
    for (std::string line; std::getline(in, line);) {
        size_t closing = line.find("`**", opening.size());
        if (line.starts_with(opening) && closing != line.npos)
            ids.insert(line.substr(opening.size(), closing - opening.size()));
    }
    return ids;
}

} // namespace

std::vector<unsigned char> hex(std::string_view digits) {
    std::vector<unsigned char> bytes;
    for (size_t i = 0; i < digits.size();) {
        if (digits[i] == ' ') {
            i++;
            continue;
        }
        unsigned char byte;
        std::string_view pair = digits.substr(i, 2);
        auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
        if (error != std::errc() || pair.size() != 2 || end != pair.data() + 2)
            throw std::invalid_argument("not hex: " + std::string(digits));
        bytes.push_back(byte);
        i += 2;
    }
    return bytes;
}

std::string toHex(unsigned char const* data, size_t size) {
    static char const digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; i++)
        text += {digits[data[i] >> 4], digits[data[i] & 15]};
    return text;
}

Case::Field const& Case::field(std::string_view name) const {
    auto found = fields.find(name);
    if (found == fields.end())
        throw std::runtime_error(place + ": no field " + std::string(name));
    found->second.used = true;
    return found->second;
}

bool Case::has(std::string_view name) const { return fields.contains(name); }

std::string const& Case::text(std::string_view name) const { return field(name).value; }

std::vector<unsigned char> Case::bytes(std::string_view name) const { return hex(text(name)); }

unsigned long long Case::number(std::string_view name) const {
    std::string const& value = text(name);
    unsigned long long result;
    auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), result);
    if (error != std::errc() || end != value.data() + value.size())
        throw std::runtime_error(place + ": " + std::string(name) + " is no number: " + value);
    return result;
}

void Case::ignore(std::initializer_list<std::string_view> names) const {
    for (std::string_view name : names)
        if (has(name))
            field(name);
}

bool Case::differsOnPurpose() const {
    asked = true;
    return !deviation.empty();
}

void Case::expectAgreement(bool asPublished) const {
    if (differsOnPurpose())
        EXPECT_FALSE(asPublished) << "the published answer, although the case is listed under " << deviation;
    else
        EXPECT_TRUE(asPublished) << "not the published answer";
}

std::vector<ListedCase> readListedCases(std::istream& list, std::istream& entries) {
    std::vector<ListedCase> listed;
    std::set<std::string> const known = deviationIds(entries);
    std::set<std::pair<std::string, std::string>> seen;
    for (std::string line; std::getline(list, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        ListedCase entry;
        std::string rest;
        std::istringstream words(line);
        if (!(words >> entry.file >> entry.id >> entry.deviation) || words >> rest)
            throw std::runtime_error("deviations.txt: not file, case and deviation: " + line);
        if (!known.contains(entry.deviation))
            throw std::runtime_error("deviations.txt: not in docs/deviations.md: " + entry.deviation);
        if (!seen.emplace(entry.file, entry.id).second)
            throw std::runtime_error("deviations.txt: listed twice: " + line);
        listed.push_back(entry);
    }
    return listed;
}

std::vector<ListedCase> const& listedCases() {
    static std::vector<ListedCase> const listed = [] {
        std::ifstream list = open(std::string(vectorFolder) + "deviations.txt");
        std::ifstream entries = open(SEALKIT_TEST_DATA "/../docs/deviations.md");
        return readListedCases(list, entries);
    }();
    return listed;
}

/// A vector file in memory.
class VectorFile {
public:
    VectorFile(std::istream& in, std::string const& name, std::vector<ListedCase> const& deviations)
        : file(name) {
        for (std::string text; std::getline(in, text);) {
            line++;
            readLine(trimmed(text));
        }
        for (ListedCase const& listed : deviations) {
            if (listed.file != file)
                continue;
            auto sameId = [&](Case const& c) { return c.caseId == listed.id; };
            auto found = std::find_if(cases.begin(), cases.end(), sameId);
            if (found == cases.end())
                throw std::runtime_error("deviations.txt: no case " + listed.id + " in " + file);
            found->deviation = listed.deviation;
        }
    }

    /// Runs `body` with the case at `index`, and fails if it leaves fields unused.
    void run(size_t index, std::function<void(Case const&)> const& body) const {
        Case const& c = cases.at(index);
        SCOPED_TRACE(c.place);
        body(c);
        if (testing::Test::IsSkipped())
            return;
        for (auto const& [name, field] : c.fields)
            EXPECT_TRUE(field.used) << "field " << name << " is not used";
        EXPECT_TRUE(c.asked || c.deviation.empty()) << "listed in deviations.txt, but not asked for";
    }

    size_t size() const { return cases.size(); }

private:
    [[noreturn]] void fail(std::string const& reason) const {
        throw std::runtime_error(file + ":" + std::to_string(line) + ": " + reason);
    }

    void readLine(std::string_view text) {
        if (text.empty() || text[0] == '#')
            return;
        if (text == "[group]") {
            shared.fields.clear();
            inGroupHead = true;
            return;
        }
        size_t equals = text.find('=');
        if (equals == text.npos)
            fail("neither a comment, [group] nor a field");
        std::string name(trimmed(text.substr(0, equals)));
        std::string value(trimmed(text.substr(equals + 1)));
        if (name.empty())
            fail("a field without a name");
        if (name == "case")
            beginCase(value);
        else if (!inGroupHead && cases.empty())
            fail("a field outside of a group and of a case");
        else if (!(inGroupHead ? shared : cases.back()).fields.try_emplace(name, Case::Field{value}).second)
            fail("repeated field " + name);
    }

    void beginCase(std::string const& id) {
        if (id.empty() || id.find(' ') != id.npos)
            fail("a case id must be one word");
        if (!ids.insert(id).second)
            fail("repeated case " + id);
        inGroupHead = false;
        cases.push_back(shared);
        cases.back().caseId = id;
        cases.back().stem = std::filesystem::path(file).stem();
        cases.back().position = cases.size() - 1;
        cases.back().place = file + ":" + std::to_string(line) + ": case " + id;
    }

    std::vector<Case> cases;
    std::string file;
    unsigned line = 0;
    Case shared; ///< The fields of the current group.
    bool inGroupHead = false;
    std::set<std::string> ids;
};

namespace {

/// Caches the file of the last test, because the tests of a file follow each other.
VectorFile const& readVectorFile(std::string const& file) {
    static std::string name;
    static std::unique_ptr<VectorFile const> vectors;
    if (!vectors || name != file) {
        vectors.reset();
        std::ifstream in = open(vectorFolder + file);
        vectors = std::make_unique<VectorFile const>(in, file, listedCases());
        name = file;
    }
    return *vectors;
}

/// The ids of the cases of a file, without checking their fields. Empty if the file is unreadable.
std::vector<std::string> caseIds(std::string const& file) {
    std::ifstream in(vectorFolder + file);
    std::vector<std::string> ids;
    for (std::string line; std::getline(in, line);) {
        if (!line.starts_with("case"))
            continue;
        size_t const equals = line.find('=');
        if (equals != line.npos && trimmed(std::string_view(line).substr(0, equals)) == "case")
            ids.emplace_back(trimmed(std::string_view(line).substr(equals + 1)));
    }
    return ids;
}

class CaseTest : public testing::Test {
public:
    CaseTest(std::string const& vectorFile, size_t indexOfCase, void (*bodyOfTest)(Case const&))
        : file(vectorFile), index(indexOfCase), body(bodyOfTest) {}
    void TestBody() override { readVectorFile(file).run(index, body); }

private:
    std::string const file;
    size_t const index;
    void (*const body)(Case const&);
};

} // namespace

bool declareCases(char const* suite, std::string const& name, std::vector<std::string> const& files,
                  void (*body)(Case const&), char const* source, int line) {
    for (std::string const& file : files) {
        std::string const prefix =
            files.size() == 1 ? name : name + "/" + std::filesystem::path(file).stem().string();
        auto const declare = [&](std::string const& test, size_t index) {
            // Registered as a plain Test, so that the suite can also have other tests.
            testing::RegisterTest(suite, test.c_str(), nullptr, nullptr, source, line,
                                  [=]() -> testing::Test* { return new CaseTest(file, index, body); });
        };
        std::vector<std::string> const ids = caseIds(file);
        for (size_t i = 0; i < ids.size(); ++i)
            declare(prefix + "/" + ids[i], i);
        if (ids.empty())
            declare(prefix, 0);
    }
    return true;
}

void forEachCase(std::string const& file, std::function<void(Case const&)> const& body) {
    std::ifstream in = open(vectorFolder + file);
    forEachCase(in, file, listedCases(), body);
}

void forEachCase(std::istream& in, std::string const& file, std::vector<ListedCase> const& listed,
                 std::function<void(Case const&)> const& body, size_t every) {
    VectorFile const vectors(in, file, listed);
    EXPECT_NE(vectors.size(), 0U) << file << " has no case";
    for (size_t i = 0; i < vectors.size(); i += every)
        vectors.run(i, body);
}

} // namespace test
