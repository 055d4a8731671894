// Host names, addresses and e-mail addresses under the standard rules.
#include "chains.h"
#include "made_chain.h"

namespace TEST_FILE {

using namespace test::der;
using test::dnsName;
using test::madeCa;
using test::MadeChain;
using test::madeLeaf;

/// A leaf with one alternative name.
class Named {
public:
    explicit Named(Bytes const& name) : chain({madeLeaf({name}), madeCa("Root")}) {}

    bool isHost(std::string_view host) const {
        PathOptions options;
        options.hostName = host;
        return bears(options);
    }
    bool isAddress(std::string_view text) const {
        PathOptions options;
        options.address = test::address(text);
        return bears(options);
    }
    bool isMailbox(std::string_view text) const {
        PathOptions options;
        options.email = text;
        options.purpose = PathPurpose::any;
        return bears(options);
    }
    bool bears(PathOptions options) const {
        options.rules = PathRules::rfc5280;
        int const code = chain.explain(options).code;
        EXPECT_TRUE(code == 0 || code == static_cast<int>(PathCode::identityMismatch)) << code;
        return code == 0;
    }

private:
    MadeChain chain;
};

TEST(StandardIdentity, HostsAreComparedWithoutRegardToCase) {
    Named const leaf(dnsName("www.A.test"));
    for (std::string_view const host : {"www.a.test", "WWW.a.TEST", "www.a.test."})
        EXPECT_TRUE(leaf.isHost(host)) << host;
    for (std::string_view const host :
         {"a.test", "x.www.a.test", "www.a.test..", ".www.a.test", "www.a.tes", "."})
        EXPECT_FALSE(leaf.isHost(host)) << host;
}

TEST(StandardIdentity, WildcardIsTheWholeFirstLabelAndStandsForOne) {
    Named const leaf(dnsName("*.b.test"));
    EXPECT_TRUE(leaf.isHost("a.b.test"));
    EXPECT_TRUE(leaf.isHost("XN--abc.B.test."));
    for (std::string_view const host : {"b.test", "c.a.b.test", ".b.test", "a.c.test", "*.b.test"})
        EXPECT_FALSE(leaf.isHost(host)) << host;
}

TEST(StandardIdentity, WildcardsOfOtherFormsMatchNothing) {
    for (std::string_view const pattern :
         {"*.test", "*", "*.", "*..test", "a*.b.test", "*a.b.test", "a.*.test", "*.*.test", "**.b.test"})
        for (std::string_view const host : {"a.test", "a.b.test", "ab.b.test", "a.b.c.test", "test"})
            EXPECT_FALSE(Named(dnsName(pattern)).isHost(host)) << pattern << " " << host;
}

TEST(StandardIdentity, MalformedNamesMatchNothing) {
    EXPECT_FALSE(Named(dnsName("a.test.")).isHost("a.test"));
    EXPECT_FALSE(Named(dnsName(std::string_view("a.test\0.evil", 12))).isHost("a.test"));
    EXPECT_FALSE(Named(dnsName("\xc3\xa4.test")).isHost("\xc3\xa4.test"));
    EXPECT_FALSE(Named(dnsName(std::string(64, 'a') + ".test")).isHost(std::string(64, 'a') + ".test"));
    EXPECT_TRUE(Named(dnsName("xn--4ca.test")).isHost("xn--4ca.test"));
    EXPECT_FALSE(Named(dnsName("xn--4ca.test")).isHost("\xc3\xa4.test"));
    EXPECT_FALSE(Named(element(0xA2, bytes("a.test"))).isHost("a.test"));
    EXPECT_FALSE(Named(implicit(6, "a.test")).isHost("a.test"));
}

TEST(StandardIdentity, CommonNameDoesNotCount) {
    auto leaf = madeLeaf({dnsName("b.test")});
    leaf.subject = test::named("a.test");
    PathOptions options;
    options.rules = PathRules::rfc5280;
    options.hostName = "a.test";
    EXPECT_EQ(MadeChain({leaf, madeCa("Root")}).explain(options).code,
              static_cast<int>(PathCode::identityMismatch));
    leaf.without("2.5.29.17");
    EXPECT_EQ(MadeChain({leaf, madeCa("Root")}).explain(options).code,
              static_cast<int>(PathCode::identityMismatch));
    options.rules = PathRules::platform;
    EXPECT_EQ(MadeChain({leaf, madeCa("Root")}).explain(options).code, 0);
}

TEST(StandardIdentity, AddressesAreComparedOctetByOctet) {
    Named const ipv4(implicit(7, Bytes{192, 0, 2, 1}));
    EXPECT_TRUE(ipv4.isAddress("192.0.2.1"));
    EXPECT_TRUE(ipv4.isHost("192.0.2.1"));
    EXPECT_FALSE(ipv4.isAddress("192.0.2.2"));
    EXPECT_FALSE(ipv4.isHost("192.0.2.1."));
    Named const ipv6(implicit(7, Bytes{0x20, 1, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_TRUE(ipv6.isAddress("2001:db8::1"));
    EXPECT_TRUE(ipv6.isHost("2001:DB8:0::1"));
    EXPECT_FALSE(ipv6.isHost("2001:db8::2"));
    Named const mapped(implicit(7, Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 192, 0, 2, 1}));
    EXPECT_FALSE(mapped.isAddress("192.0.2.1"));
    EXPECT_FALSE(mapped.isHost("192.0.2.1"));
}

TEST(StandardIdentity, HostsThatAreAddressesMatchNoName) {
    for (std::string_view const host : {"192.0.2.1", "192.0.2.1.", "1.2.3", "0x7f.1", "127.0.0.0x1"}) {
        EXPECT_FALSE(Named(dnsName(host)).isHost(host)) << host;
        EXPECT_FALSE(Named(dnsName("*.0.2.1")).isHost(host)) << host;
    }
    EXPECT_FALSE(Named(dnsName("2001:db8::1")).isHost("2001:db8::1"));
    EXPECT_TRUE(Named(dnsName("1.2.3.a4")).isHost("1.2.3.a4"));
}

TEST(StandardIdentity, LocalPartOfAMailboxIsComparedExactly) {
    Named const leaf(implicit(1, "Ann@B.test"));
    EXPECT_TRUE(leaf.isMailbox("Ann@b.TEST"));
    for (std::string_view const email :
         {"ann@b.test", "Ann@c.test", "Ann", "@b.test", "Ann@", "x@Ann@b.test", "nn@b.test"})
        EXPECT_FALSE(leaf.isMailbox(email)) << email;
    EXPECT_FALSE(Named(implicit(1, "b.test")).isMailbox("b.test"));
    EXPECT_FALSE(Named(implicit(1, "\xc3\xa4@b.test")).isMailbox("\xc3\xa4@b.test"));
    EXPECT_FALSE(Named(implicit(1, std::string_view("Ann@b.test\0", 11))).isMailbox("Ann@b.test"));
    EXPECT_FALSE(Named(dnsName("Ann@b.test")).isMailbox("Ann@b.test"));
}

TEST(StandardIdentity, InternationalMailboxes) {
    auto const smtpUtf8 = [](std::string_view text) {
        return context(0, join({oid("1.3.6.1.5.5.7.8.9"), context(0, utf8String(text))}));
    };
    Named const leaf(smtpUtf8("\xc3\xa4@B.test"));
    EXPECT_TRUE(leaf.isMailbox("\xc3\xa4@b.test"));
    EXPECT_FALSE(leaf.isMailbox("\xc3\x84@b.test"));
    EXPECT_FALSE(leaf.isMailbox("a@b.test"));
    EXPECT_FALSE(Named(smtpUtf8("ann@b.test")).isMailbox("ann@b.test"));
    EXPECT_FALSE(Named(context(0, join({oid("1.2.3"), context(0, utf8String("\xc3\xa4@b.test"))})))
                     .isMailbox("\xc3\xa4@b.test"));
}

TEST(StandardIdentity, OneOfThoseAskedForSuffices) {
    Named const leaf(implicit(7, Bytes{192, 0, 2, 1}));
    PathOptions options;
    options.hostName = "a.test";
    EXPECT_FALSE(leaf.bears(options));
    options.address = test::address("192.0.2.1");
    EXPECT_TRUE(leaf.bears(options));
}

} // namespace TEST_FILE
