#include "chains.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::address;
using test::dns;
using test::generalName;
using test::mailbox;

/// Asks a leaf alone: a good identity leads to code 6 (nothing is trusted), a bad one to code 2.
bool bears(X509Certificate const& certificate, std::string_view host, std::string_view ip = {},
           std::string_view email = {}) {
    int const code =
        x509ValidatePath({std::make_shared<X509Certificate>(certificate)}, CertificateMemoryStore(),
                         TimePoint(), host, ip.empty() ? IPAddr6() : address(ip), email, false, nullptr);
    EXPECT_TRUE(code == 2 || code == 6) << code;
    return code == 6;
}

X509Certificate leafWith(std::vector<GeneralName> names, std::string const& commonName = {}) {
    X509Certificate leaf;
    leaf.subjectAltNames = std::move(names);
    leaf.subject = test::commonName(commonName);
    return leaf;
}

bool hostMatches(std::string_view host, std::string const& pattern) {
    bool const asDnsName = bears(leafWith({dns(pattern)}), host);
    EXPECT_EQ(bears(leafWith({}, pattern), host), asDnsName) << "the rule is the same for common names";
    return asDnsName;
}

TEST(Identity, NothingAskedNothingChecked) {
    EXPECT_TRUE(bears(leafWith({}), ""));
    EXPECT_TRUE(bears(leafWith({dns("a.test")}, "b.test"), ""));
}

TEST(Identity, HostNamesAreEqualInAnyCase) {
    EXPECT_TRUE(hostMatches("a.test", "a.test"));
    EXPECT_TRUE(hostMatches("A.Test", "a.tEST"));
    EXPECT_FALSE(hostMatches("a.test", "b.test"));
    EXPECT_FALSE(hostMatches("a.test", "www.a.test"));
    EXPECT_FALSE(hostMatches("www.a.test", "a.test"));
    EXPECT_FALSE(hostMatches("a.test.", "a.test"));
}

TEST(Identity, WildcardStandsForTheFirstLabel) {
    EXPECT_TRUE(hostMatches("a.b.test", "*.b.test"));
    EXPECT_TRUE(hostMatches("A.B.test", "*.b.TEST"));
    EXPECT_TRUE(hostMatches("a.b", "*.b"));
    EXPECT_TRUE(hostMatches(".b.test", "*.b.test")) << "the label itself is not looked at";
    EXPECT_FALSE(hostMatches("x.a.b.test", "*.b.test"));
    EXPECT_FALSE(hostMatches("b.test", "*.b.test"));
    EXPECT_FALSE(hostMatches("localhost", "*.b.test"));
    EXPECT_FALSE(hostMatches("localhost", "*.localhost"));
    EXPECT_TRUE(hostMatches("a.*.test", "*.*.test")) << "only the first asterisk stands for anything";
    EXPECT_FALSE(hostMatches("a.b.test", "*.*.test"));
}

TEST(Identity, OtherAsterisksAreLiteral) {
    EXPECT_FALSE(hostMatches("a.", "*."));
    EXPECT_TRUE(hostMatches("*.", "*."));
    EXPECT_FALSE(hostMatches("a", "*"));
    EXPECT_TRUE(hostMatches("*", "*"));
    EXPECT_FALSE(hostMatches("www.b.test", "w*.b.test"));
    EXPECT_FALSE(hostMatches("a.b.test", "a.*.test"));
    EXPECT_FALSE(hostMatches("ab.test", "*b.test"));
}

TEST(Identity, AddressIsComparedAsSixteenBytes) {
    GeneralName const four = generalName(7, std::string("\xc0\x00\x02\x07", 4));
    GeneralName const mapped =
        generalName(7, std::string("\0\0\0\0\0\0\0\0\0\0\xff\xff\xc0\x00\x02\x07", 16));
    GeneralName const six = generalName(7, std::string("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x07", 16));
    EXPECT_TRUE(bears(leafWith({four}), "", "192.0.2.7"));
    EXPECT_TRUE(bears(leafWith({mapped}), "", "192.0.2.7"));
    EXPECT_TRUE(bears(leafWith({six}), "", "2001:db8::7"));
    EXPECT_TRUE(bears(leafWith({four, six}), "", "2001:db8::7"));
    EXPECT_FALSE(bears(leafWith({four}), "", "192.0.2.8"));
    EXPECT_FALSE(bears(leafWith({six}), "", "2001:db8::8"));
    EXPECT_FALSE(bears(leafWith({dns("192.0.2.7")}), "", "192.0.2.7"));
}

TEST(Identity, AddressTextMayBeTheCommonName) {
    EXPECT_TRUE(bears(leafWith({}, "192.0.2.7"), "", "192.0.2.7"));
    EXPECT_TRUE(bears(leafWith({}, "2001:DB8::7"), "", "2001:db8::7")) << "the common name is lowercased";
    EXPECT_FALSE(bears(leafWith({}, "2001:db8:0::7"), "", "2001:db8::7"))
        << "text is compared, not addresses";
    EXPECT_FALSE(bears(leafWith({}, "*.0.2.7"), "", "192.0.2.7")) << "no wildcards for addresses";
}

TEST(Identity, MailboxIsComparedExactly) {
    EXPECT_TRUE(bears(leafWith({mailbox("Ann@a.test")}), "", "", "Ann@a.test"));
    EXPECT_FALSE(bears(leafWith({mailbox("Ann@a.test")}), "", "", "ann@a.test"));
    EXPECT_FALSE(bears(leafWith({mailbox("*.a.test")}), "", "", "x.a.test"));
    EXPECT_FALSE(bears(leafWith({dns("ann@a.test")}), "", "", "ann@a.test"));
}

TEST(Identity, MailboxEqualsTheLowercasedCommonName) {
    EXPECT_TRUE(bears(leafWith({}, "Ann@a.test"), "", "", "ann@a.test"));
    EXPECT_FALSE(bears(leafWith({}, "Ann@a.test"), "", "", "Ann@a.test"));
}

TEST(Identity, CommonNameIsTriedWhenAlternativeNamesFail) {
    EXPECT_TRUE(bears(leafWith({dns("other.test")}, "a.test"), "a.test"));
    EXPECT_FALSE(bears(leafWith({dns("other.test")}, "b.test"), "a.test"));
}

TEST(Identity, OneOfThoseAskedForIsEnough) {
    X509Certificate const leaf = leafWith({mailbox("ann@a.test")});
    EXPECT_TRUE(bears(leaf, "a.test", "192.0.2.7", "ann@a.test"));
    EXPECT_FALSE(bears(leaf, "a.test", "192.0.2.7", "bob@a.test"));
}

TEST(Identity, OneThatIsNotAskedForNeverMatches) {
    IPAddr6 const none;
    std::string const allZero(16, '\0');
    X509Certificate const leaf = leafWith({dns(""), mailbox(""), generalName(7, allZero)});
    EXPECT_FALSE(bears(leaf, "a.test"));
    EXPECT_FALSE(bears(leaf, "", "192.0.2.7"));
    EXPECT_FALSE(bears(leaf, "", "", "ann@a.test"));
    EXPECT_FALSE(bears(leafWith({}, none.str(true)), "a.test")) << "\"::\" is no address that was asked for";
    EXPECT_FALSE(bears(leafWith({}), "a.test")) << "an empty common name equals no empty mailbox";
}

TEST(Identity, OtherTypesOfNamesAreNotLookedAt) {
    EXPECT_FALSE(
        bears(leafWith({generalName(6, "a.test"), generalName(0x24, "a.test"), generalName(255, "a.test")}),
              "a.test"));
}

TEST(Identity, OnlyTheLeafIsAsked) {
    auto const leaf = test::unsignedLeaf("Leaf", "a.test");
    auto const issuer = test::unsignedCa("a.test", "a.test");
    EXPECT_EQ(x509ValidatePath({leaf, issuer}, CertificateMemoryStore(), test::inDate, "a.test", {}, {},
                               false, nullptr),
              2);
}

} // namespace TEST_FILE
