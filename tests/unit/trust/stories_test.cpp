// Replays the folders of tests/pki, which scripts/make-pki-stories makes. Each has
//
//   chain.pem    the chain, the leaf first
//   store.pem    the trusted certificates
//   crls.pem     the store's CRLs, where there are any
//   output.txt   what building and validating write to standard output, where that is anything
//   story.txt    how it was made, as a comment, and the question and the answer as fields:
//
//   time         now, in UTC
//   host, ip, email, check-crls   what is asked for; absent: not asked
//   build, built x509BuildPath runs first, and leaves a chain of that many certificates
//   code, text   what x509ValidatePath returns and the string it assigns; no text: it assigns none
//   depth        of the certificate that the explanation is about
//   warnings     what x509PathWarnings lists, each as name@depth; absent: nothing
#include "chains.h"
#include "support/vectors.h"

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace {

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

/// Plays one story and returns the code that it expects.
int play(std::string const& name, test::Case const& story) {
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
    int const expectedCode = static_cast<int>(story.number("code"));
    EXPECT_EQ(code, expectedCode);
    EXPECT_EQ(error, story.has("text") ? story.text("text") : "untouched");
    EXPECT_EQ(output.text(), test::readStoryFile(name + "/output.txt"));

    PathExplanation const why = x509ExplainPath(chain, store, question);
    EXPECT_EQ(why.code, code);
    EXPECT_EQ(why.error, optional("text"));
    if (!chain.empty()) {
        EXPECT_EQ(why.depth, story.number("depth"));
        EXPECT_EQ(why.subject, getDisplayName(*chain.at(why.depth)));
    }
    EXPECT_EQ(show(x509PathWarnings(chain, store, question)), optional("warnings"));
    return expectedCode;
}

TEST(Stories, EndAsTheyAreTold) {
    std::set<int> codes;
    std::set<std::string> warnings;
    for (std::string const& name : storyNames()) {
        SCOPED_TRACE(name);
        std::istringstream text(test::readStoryFile(name + "/story.txt"));
        test::forEachCase(text, "pki/" + name + "/story.txt", {}, [&](test::Case const& story) {
            codes.insert(play(name, story));
            std::istringstream told(story.has("warnings") ? story.text("warnings") : "");
            for (std::string warning; told >> warning;)
                warnings.insert(warning.substr(0, warning.find('@')));
        });
    }
    for (auto const& term : pathCodes())
        EXPECT_TRUE(codes.contains(static_cast<int>(term.id))) << "no story ends with " << term.name;
    for (auto const& term : pathWarnings())
        EXPECT_TRUE(warnings.contains(term.name)) << "no story shows " << term.name;
}

} // namespace
