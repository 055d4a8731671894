#include "sealkit/oid_names.h"

#include "sealkit/oid.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <set>

namespace TEST_FILE {

using test::toHex;

std::string lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

TEST(OidNames, EveryRowIsFoundByItsDottedFormAndByItsName) {
    std::set<std::string> dotted, names;
    for (OidName const& row : oidNames()) {
        std::vector<unsigned char> const content = parseOid(row.dotted);
        ASSERT_FALSE(content.empty()) << row.dotted;
        EXPECT_EQ(oidStr(content), row.dotted);
        EXPECT_EQ(oidName(content), row.name);
        EXPECT_EQ(parseOid(row.name), content) << row.name;
        EXPECT_EQ(parseOid(lower(row.name)), content) << row.name;
        EXPECT_TRUE(dotted.insert(row.dotted).second) << row.dotted;
        EXPECT_TRUE(names.insert(lower(row.name)).second) << row.name;
    }
    EXPECT_GT(names.size(), 100u);
}

TEST(OidNames, AgreeWithTheNamesOfSignatureAlgorithms) {
    for (OidName const& row : oidNames()) {
        std::vector<unsigned char> const content = parseOid(row.dotted);
        if (std::string const known = oid2name(content); known != row.dotted) {
            EXPECT_EQ(row.name, known);
        }
    }
}

TEST(OidNames, ShowTheDottedFormOfOthers) {
    EXPECT_EQ(oidName(test::hex("2a0304")), "1.2.3.4");
    EXPECT_EQ(oidName({}), "()");
}

TEST(ParseOid, EncodesArcsOfEveryLength) {
    EXPECT_EQ(toHex(parseOid("1.2.0.127.128.16383.16384.4294967295")), "2a007f8100ff7f8180008fffffff7f");
    EXPECT_EQ(toHex(parseOid("0.0")), "00");
    EXPECT_EQ(parseOid("serverAuth"), parseOid("tls-server"));
    EXPECT_EQ(parseOid("OCSPsigning"), parseOid("ocsp-signing"));
    EXPECT_EQ(parseOid("anyExtendedKeyUsage"), parseOid("any"));
    EXPECT_EQ(toHex(parseOid("2.47.1")), "7f01");
}

TEST(ParseOid, RejectsWhatIsNoIdentifierAndTellsIt) {
    for (char const* text : {"1", "1.", ".1", "1..2", "3.1", "0.40", "2.48", "1.2.4294967296", "1.2.-3",
                             "1.2.x", "1.2 ", " 1.2", "1.02", "NoSuchName"}) {
        Refusal refusal;
        EXPECT_TRUE(parseOid(text, &refusal).empty()) << text;
        EXPECT_EQ(refusal.id, RefusalId::malformedOid) << text;
        ASSERT_EQ(refusal.facts.size(), 1u);
        EXPECT_EQ(refusal.facts[0].value, text);
        EXPECT_TRUE(parseOid(text).empty());
    }
    Refusal refusal;
    EXPECT_TRUE(parseOid("", &refusal).empty());
    EXPECT_EQ(refusal.id, RefusalId::emptyInput);
}

} // namespace TEST_FILE
