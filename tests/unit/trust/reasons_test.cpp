#include "sealkit/path.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

template <typename Id>
void expectTerms(std::span<ReasonText<Id> const> terms, size_t count) {
    ASSERT_EQ(terms.size(), count);
    std::set<std::string> names, sentences;
    for (size_t i = 0; i < terms.size(); ++i) {
        SCOPED_TRACE(terms[i].name);
        EXPECT_EQ(static_cast<size_t>(terms[i].id), i);
        std::string const name = terms[i].name;
        std::string const sentence = terms[i].sentence;
        EXPECT_FALSE(name.empty());
        EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos);
        EXPECT_TRUE(isupper(sentence.front()));
        EXPECT_EQ(sentence.back(), '.');
        EXPECT_TRUE(names.insert(name).second);
        EXPECT_TRUE(sentences.insert(sentence).second);
    }
}

TEST(PathTerms, EveryResultCodeHasANameAndASentenceAtItsNumber) { expectTerms(pathCodes(), 36); }

TEST(PathTerms, EveryWarningHasANameAndASentenceAtItsNumber) { expectTerms(pathWarnings(), 11); }

TEST(PathTerms, CodesAreFoundByNumber) {
    for (auto const& term : pathCodes())
        EXPECT_EQ(findPathCode(static_cast<int>(term.id)), &term);
    EXPECT_EQ(findPathCode(-1), nullptr);
    EXPECT_EQ(findPathCode(13), nullptr);
}

TEST(PathTerms, WarningsAreFoundById) {
    for (auto const& term : pathWarnings())
        EXPECT_EQ(&getReasonText(term.id), &term);
}

TEST(PathTerms, CodesHaveTheirFixedNumbers) {
    EXPECT_EQ(static_cast<int>(PathCode::valid), 0);
    EXPECT_EQ(static_cast<int>(PathCode::emptyChain), 1);
    EXPECT_EQ(static_cast<int>(PathCode::identityMismatch), 2);
    EXPECT_EQ(static_cast<int>(PathCode::notCa), 3);
    EXPECT_EQ(static_cast<int>(PathCode::notYetValid), 4);
    EXPECT_EQ(static_cast<int>(PathCode::expired), 5);
    EXPECT_EQ(static_cast<int>(PathCode::noAnchor), 6);
    EXPECT_EQ(static_cast<int>(PathCode::issuerKeyUnreadable), 7);
    EXPECT_EQ(static_cast<int>(PathCode::algorithmMismatch), 8);
    EXPECT_EQ(static_cast<int>(PathCode::badSignature), 9);
    EXPECT_EQ(static_cast<int>(PathCode::revoked), 10);
    EXPECT_EQ(static_cast<int>(PathCode::crlMissing), 11);
    EXPECT_EQ(static_cast<int>(PathCode::nameConstraintViolated), 12);
}

} // namespace
