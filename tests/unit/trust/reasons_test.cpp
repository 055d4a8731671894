#include "sealkit/path.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace TEST_FILE {

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

TEST(PathTerms, EveryResultCodeHasANameAndASentenceAtItsNumber) { expectTerms(pathCodes(), 38); }

TEST(PathTerms, EveryWarningHasANameAndASentenceAtItsNumber) { expectTerms(pathWarnings(), 11); }

TEST(PathTerms, CodesAreFoundByNumber) {
    for (auto const& term : pathCodes())
        EXPECT_EQ(findPathCode(static_cast<int>(term.id)), &term);
    EXPECT_EQ(findPathCode(-1), nullptr);
    EXPECT_EQ(findPathCode(38), nullptr);
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
    EXPECT_EQ(static_cast<int>(PathCode::unsupportedCertificate), 13);
    EXPECT_EQ(static_cast<int>(PathCode::namesDoNotChain), 14);
    EXPECT_EQ(static_cast<int>(PathCode::pathTooLong), 15);
    EXPECT_EQ(static_cast<int>(PathCode::keyCertSignMissing), 16);
    EXPECT_EQ(static_cast<int>(PathCode::unknownCriticalExtension), 17);
    EXPECT_EQ(static_cast<int>(PathCode::malformedExtension), 18);
    EXPECT_EQ(static_cast<int>(PathCode::unsupportedNameConstraint), 19);
    EXPECT_EQ(static_cast<int>(PathCode::policyRequired), 20);
    EXPECT_EQ(static_cast<int>(PathCode::invalidPolicyMapping), 21);
    EXPECT_EQ(static_cast<int>(PathCode::purposeMismatch), 22);
    EXPECT_EQ(static_cast<int>(PathCode::revocationUndetermined), 23);
    EXPECT_EQ(static_cast<int>(PathCode::weakSignatureHash), 24);
    EXPECT_EQ(static_cast<int>(PathCode::shortRsaKey), 25);
    EXPECT_EQ(static_cast<int>(PathCode::smallRsaExponent), 26);
    EXPECT_EQ(static_cast<int>(PathCode::weakCurve), 27);
    EXPECT_EQ(static_cast<int>(PathCode::wideWildcard), 28);
    EXPECT_EQ(static_cast<int>(PathCode::invalidSerialNumber), 29);
    EXPECT_EQ(static_cast<int>(PathCode::keyIdentifierMissing), 30);
    EXPECT_EQ(static_cast<int>(PathCode::wrongCriticality), 31);
    EXPECT_EQ(static_cast<int>(PathCode::extendedKeyUsageMissing), 32);
    EXPECT_EQ(static_cast<int>(PathCode::anyExtendedKeyUsage), 33);
    EXPECT_EQ(static_cast<int>(PathCode::caAsEndEntity), 34);
    EXPECT_EQ(static_cast<int>(PathCode::subjectAltNameMissing), 35);
    EXPECT_EQ(static_cast<int>(PathCode::expiresTooSoon), 36);
    EXPECT_EQ(static_cast<int>(PathCode::emptyCaSubject), 37);
}

TEST(PathTerms, PurposesAreFoundByTheirNames) {
    for (PathPurpose const purpose :
         {PathPurpose::any, PathPurpose::tlsServer, PathPurpose::tlsClient, PathPurpose::codeSigning,
          PathPurpose::emailProtection, PathPurpose::timeStamping, PathPurpose::ocspSigning})
        EXPECT_EQ(parsePathPurpose(getPathPurposeName(purpose)), purpose);
    EXPECT_EQ(getPathPurposeName(PathPurpose::byIdentity), "");
    EXPECT_EQ(parsePathPurpose(""), std::nullopt);
    EXPECT_EQ(parsePathPurpose("tls"), std::nullopt);
}

TEST(PathTerms, RulesHaveNames) {
    EXPECT_EQ(getPathRulesName(PathRules::platform), "platform");
    EXPECT_EQ(getPathRulesName(PathRules::rfc5280), "rfc5280");
    EXPECT_EQ(getPathRulesName(PathRules::strict), "strict");
    EXPECT_EQ(getPathRulesName(PathRules::platform | PathRules::strict), "");
}

TEST(PathTerms, AReasonIsTheTextOrTheSentence) {
    PathExplanation explanation;
    EXPECT_EQ(explanation.reason(), "");
    explanation.code = static_cast<int>(PathCode::noAnchor);
    EXPECT_EQ(explanation.reason(), "No certificate of the chain leads to one that is trusted.");
    explanation.error = "text";
    EXPECT_EQ(explanation.reason(), "text");
}

} // namespace TEST_FILE
