// Plays the stories of tests/pki, whose README explains the fields. Each is a test of its own,
// Stories.<folder>.
#include "chains.h"
#include "support/vectors.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace TEST_FILE {

std::vector<std::string> storyNames() {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(SEALKIT_TEST_DATA "/pki")) {
        if (entry.is_directory())
            names.insert(entry.path().filename().string());
    }
    return {names.begin(), names.end()};
}

TimePoint readTime(std::string const& text) {
    std::tm fields{};
    int length = 0;
    int const count = std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%dZ%n", &fields.tm_year, &fields.tm_mon,
                                  &fields.tm_mday, &fields.tm_hour, &fields.tm_min, &fields.tm_sec, &length);
    EXPECT_TRUE(count == 6 && static_cast<size_t>(length) == text.size()) << text;
    fields.tm_year -= 1900;
    --fields.tm_mon;
    return TimePoint::fromSeconds(timegm(&fields));
}

std::string show(std::vector<PathWarning> const& warnings) {
    std::string text;
    for (PathWarning const& warning : warnings)
        text += (text.empty() ? "" : " ") + std::string(getReasonText(warning.id).name) + "@" +
                std::to_string(warning.depth);
    return text;
}

std::string show(std::vector<Fact> const& facts) {
    std::string text;
    for (Fact const& fact : facts)
        text += (text.empty() ? "" : " | ") + fact.label + ":" + (fact.value.empty() ? "" : " " + fact.value);
    return text;
}

std::string showFacts(std::vector<PathWarning> const& warnings) {
    std::string text;
    for (PathWarning const& warning : warnings) {
        if (!warning.facts.empty())
            text += (text.empty() ? "" : " | ") + show(std::vector{warning}) + ": " + show(warning.facts);
    }
    return text;
}

void play(std::string const& name, test::Case const& story) {
    EXPECT_EQ(story.id(), name);
    auto const optional = [&](std::string_view field) {
        return story.has(field) ? story.text(field) : std::string();
    };
    auto [chain, store] = test::Story(name);

    PathOptions question;
    question.now = readTime(story.text("time"));
    std::string const host = optional("host"), ip = optional("ip"), email = optional("email");
    question.hostName = host;
    question.email = email;
    question.checkCrls = optional("check-crls") == "yes";
    EXPECT_TRUE(ip.empty() || question.address.parse(ip));

    test::CapturedOutput output;
    if (optional("build") == "yes") {
        EXPECT_TRUE(x509BuildPath(store, chain, nullptr));
        EXPECT_EQ(chain.size(), story.number("built"));
    }
    std::string error = "untouched";
    int const code = x509ValidatePath(chain, store, question.now, question.hostName, question.address,
                                      question.email, question.checkCrls, &error);
    EXPECT_EQ(code, static_cast<int>(story.number("code")));
    EXPECT_EQ(error, story.has("text") ? story.text("text") : "untouched");
    EXPECT_EQ(output.text(), test::readStoryFile(name + "/output.txt"));

    PathExplanation const why = x509ExplainPath(chain, store, question);
    EXPECT_EQ(why.code, code);
    EXPECT_EQ(why.error, optional("text"));
    if (!chain.empty()) {
        EXPECT_EQ(why.depth, story.number("depth"));
        EXPECT_EQ(why.subject, getDisplayName(*chain.at(why.depth)));
    }
    EXPECT_EQ(show(why.facts), optional("facts"));
    std::vector<PathWarning> const warnings = x509PathWarnings(chain, store, question);
    EXPECT_EQ(show(warnings), optional("warnings"));
    EXPECT_EQ(showFacts(warnings), optional("warning-facts"));
}

void readStory(std::string const& name, std::function<void(test::Case const&)> const& body) {
    std::istringstream text(test::readStoryFile(name + "/story.txt"));
    test::forEachCase(text, "pki/" + name + "/story.txt", {}, body);
}

class StoryTest : public testing::Test {
public:
    explicit StoryTest(std::string const& folder) : name(folder) {}
    void TestBody() override {
        readStory(name, [this](test::Case const& story) { play(name, story); });
    }

private:
    std::string const name;
};

[[maybe_unused]] bool const areDeclared = [] {
    for (std::string const& name : storyNames())
        testing::RegisterTest("Stories", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [=]() -> testing::Test* { return new StoryTest(name); });
    return true;
}();

TEST(Stories, EndInEveryCodeAndShowEveryWarning) {
    std::set<int> codes;
    std::set<std::string> warnings;
    for (std::string const& name : storyNames())
        readStory(name, [&](test::Case const& story) {
            codes.insert(static_cast<int>(story.number("code")));
            std::istringstream told(story.has("warnings") ? story.text("warnings") : "");
            for (std::string warning; told >> warning;)
                warnings.insert(warning.substr(0, warning.find('@')));
            story.ignore({"time", "host", "ip", "email", "check-crls", "build", "built", "depth", "text",
                          "facts", "warning-facts"});
        });
    // The codes of the platform's rules.
    for (auto const& term : pathCodes().first(static_cast<size_t>(PathCode::unsupportedCertificate)))
        EXPECT_TRUE(codes.contains(static_cast<int>(term.id))) << "no story ends with " << term.name;
    for (auto const& term : pathWarnings())
        EXPECT_TRUE(warnings.contains(term.name)) << "no story shows " << term.name;
}

} // namespace TEST_FILE
