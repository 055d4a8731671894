#include "sealkit/name_text.h"

#include "sealkit/oid.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::hex;
using test::toHex;

GeneralName nameOf(unsigned char type, std::vector<unsigned char> const& data) {
    GeneralName name;
    name.type = type;
    name.data.assign(data.begin(), data.end());
    return name;
}

TEST(NameText, ReadsBothWaysOfWriting) {
    std::string const shown = "C=UY, O=Acme, Inc, CN=ca";
    EXPECT_EQ(nameText(parseNameText("/C=UY/O=Acme, Inc/CN=ca")), shown);
    EXPECT_EQ(nameText(parseNameText("c = UY, o=Acme\\, Inc , 2.5.4.3=ca")), shown);
    EXPECT_EQ(nameText(parseNameText("/1.2.3.4=x")), "1.2.3.4=x");
    EXPECT_EQ(toHex(parseNameText("")), "3000");
    // The string types of RFC 5280, appendix A.
    EXPECT_EQ(toHex(parseNameText("C=UY")), "300d310b3009060355040613025559");
    EXPECT_EQ(toHex(parseNameText("O=UY")), "300d310b3009060355040a0c025559");
}

TEST(NameText, TellsWhatIsMalformedAndWhere) {
    struct {
        char const* text;
        size_t offset;
        char const* problem;
    } const rows[] = {
        {"/C=UY/Acme", 6, "no ATTRIBUTE=VALUE"},
        {"C=UY, XYZ=1", 6, "unknown"},
        {"CN=", 0, "no value"},
        {"CN=a\tb", 0, "not UTF-8, or with control characters or invisible ones"},
        {"CN=\xFF", 0, "not UTF-8, or with control characters or invisible ones"},
        {"serialNumber=\xC3\xA9", 0, "only plain ASCII letters, digits and a few signs are allowed"},
        {"C=URY", 0, "a country has two letters"},
    };
    for (auto const& row : rows) {
        Refusal refusal;
        EXPECT_TRUE(parseNameText(row.text, &refusal).empty()) << row.text;
        EXPECT_EQ(refusal.id, RefusalId::malformedName);
        EXPECT_EQ(refusal.offset, row.offset) << row.text;
        ASSERT_EQ(refusal.facts.size(), 2u);
        EXPECT_EQ(refusal.facts[1].value, row.problem);
        EXPECT_TRUE(parseNameText(row.text).empty());
    }
}

TEST(NameText, ShowsSetsAndStringsOfTwoOctets) {
    // CN=é as a BMPString, and UID in the same SET.
    EXPECT_EQ(
        nameText(hex("3022 3120 3009 0603550403 1e0200e9 3013 060a0992268993f22c640101 0c0576616c7565")),
        "CN=\xC3\xA9+UID=value");
    EXPECT_EQ(nameText(hex("3100")), "(malformed)");
    EXPECT_EQ(nameText({}), "(malformed)");
}

TEST(GeneralNameText, ShowsEveryKind) {
    EXPECT_EQ(generalNameText(nameOf(2, {'a', '.', 'b'})), "DNS: a.b");
    EXPECT_EQ(generalNameText(nameOf(7, {10, 0, 0, 1})), "IP: 10.0.0.1");
    EXPECT_EQ(generalNameText(nameOf(8, hex("2a03"))), "REG ID: 1.2.3");
    EXPECT_EQ(generalNameText(nameOf(0x24, parseNameText("/CN=x"))), "Name: CN=x");
    EXPECT_EQ(generalNameText(nameOf(0x20, hex("06022a03a0030c0161"))), "other: 1.2.3 a0:03:0c:01:61");
    EXPECT_EQ(generalNameText(nameOf(0x23, hex("0500"))), "X400 address: 05:00");
    EXPECT_EQ(generalNameText(nameOf(0x25, {})), "EDI party: (empty)");
    EXPECT_EQ(generalNameText(GeneralName()), "[empty]: (empty)");
}

TEST(GeneralNameText, ShowsAddressRanges) {
    EXPECT_EQ(generalNameText(nameOf(7, hex("0a000000 ff000000"))), "IP: 10.0.0.0/8");
    EXPECT_EQ(generalNameText(nameOf(7, hex("00000000 00000000"))), "IP: 0.0.0.0/0");
    EXPECT_EQ(generalNameText(nameOf(7, hex("0a000001 ffffffff"))), "IP: 10.0.0.1/32");
    EXPECT_EQ(generalNameText(nameOf(7, hex("0a000000 fffe0000"))), "IP: 10.0.0.0/15");
    EXPECT_EQ(generalNameText(nameOf(7, hex("0a000000 ff00ff00"))), "IP: 10.0.0.0/255.0.255.0");
    EXPECT_EQ(generalNameText(nameOf(7, hex("0a000000 7f000000"))), "IP: 10.0.0.0/127.0.0.0");
    EXPECT_EQ(
        generalNameText(nameOf(7, hex("20010db8000000000000000000000000 ffffffff000000000000000000000000"))),
        "IP: 2001:db8::/32");
    EXPECT_EQ(generalNameText(nameOf(7, hex("0a0000"))), "IP: 0a:00:00");
}

TEST(GeneralNameText, IsReadBack) {
    for (char const* text :
         {"DNS:*.a.test", "ip:10.0.0.1", "IP:2001:db8::1", "email:a@b.test", "URI:http://a"}) {
        GeneralName name;
        EXPECT_TRUE(parseGeneralNameText(text, &name)) << text;
        EXPECT_TRUE(isPlainName(name));
    }
    for (char const* text :
         {"", "DNS", "DNS:", "DNS:.a", "DNS:a..b", "DNS:a b", "IP:10.0.0", "email:x", "URI:x", "XYZ:a"}) {
        GeneralName name;
        Refusal refusal;
        EXPECT_FALSE(parseGeneralNameText(text, &name, &refusal)) << text;
        EXPECT_EQ(refusal.id, RefusalId::malformedGeneralName);
        EXPECT_EQ(name.type, GeneralName::none);
    }
}

TEST(IsPlainName, RejectsWhatDeceives) {
    EXPECT_TRUE(isPlainName(parseNameText("/C=UY/O=\xC3\xA9")));
    EXPECT_FALSE(isPlainName(hex("300d 310b 3009 0603550403 0c020a41")));
    EXPECT_FALSE(isPlainName(hex("300d 310b 3009 0603550403 1e020041")));
    EXPECT_FALSE(isPlainName(hex("3100")));
}

TEST(GeneralNameText, ReadsOtherKinds) {
    struct {
        char const* text;
        char const* shown;
    } const rows[] = {
        {"dirName:/C=UY/CN=a", "Name: C=UY, CN=a"},
        {"RID:1.2.3", "REG ID: 1.2.3"},
        {"otherName:1.2.3;UTF8:a", "other: 1.2.3 a0:03:0c:01:61"},
        {"OTHERNAME:1.2.3;ia5:a", "other: 1.2.3 a0:03:16:01:61"},
    };
    for (auto const& row : rows) {
        GeneralName name;
        EXPECT_TRUE(parseGeneralNameText(row.text, &name)) << row.text;
        EXPECT_EQ(generalNameText(name), row.shown);
        EXPECT_FALSE(isPlainName(name));
    }
    for (char const* text : {"dirName:", "dirName:/", "dirName:CN", "RID:", "RID:1", "otherName:1.2.3",
                             "otherName:1.2.3;UTF8:", "otherName:1.2.3;UTF8:\x1b",
                             "otherName:1.2.3;IA5:\xC3\xA9", "otherName:1.2.3;BMP:a", "otherName:x;UTF8:a"}) {
        GeneralName name;
        Refusal refusal;
        EXPECT_FALSE(parseGeneralNameText(text, &name, &refusal)) << text;
        EXPECT_EQ(refusal.id, RefusalId::malformedGeneralName);
    }
}

TEST(SubtreeText, ReadsEveryKind) {
    struct {
        char const* text;
        char const* shown;
    } const rows[] = {
        {"DNS:a.example", "DNS: a.example"},
        {"dns:.a.example", "DNS: a.example"},
        {"IP:10.0.0.0/8", "IP: 10.0.0.0/8"},
        {"IP:10.1.0.0/255.255.0.0", "IP: 10.1.0.0/16"},
        {"IP:10.1.2.3", "IP: 10.1.2.3/32"},
        {"IP:0.0.0.0/0", "IP: 0.0.0.0/0"},
        {"IP:2001:db8::/33", "IP: 2001:db8::/33"},
        {"IP:::/0", "IP: ::/0"},
        {"email:a.example", "rfc822: a.example"},
        {"email:.a.example", "rfc822: .a.example"},
        {"email:x@a.example", "rfc822: x@a.example"},
        {"URI:.a.example", "URI: .a.example"},
        {"dirName:/C=UY/O=Acme", "Name: C=UY, O=Acme"},
    };
    for (auto const& row : rows) {
        GeneralName name;
        EXPECT_TRUE(parseSubtreeText(row.text, &name)) << row.text;
        EXPECT_EQ(generalNameText(name), row.shown);
    }
    for (char const* text : {"a.example",      "DNS:",
                             "DNS:.",          "DNS:*.a",
                             "DNS:a b",        "IP:10.0.0.0/33",
                             "IP:10.0.0.1/8",  "IP:10.0.0.0/",
                             "IP:10.0.0.0/-1", "IP:10.0.0.0/ffff::",
                             "IP:x/8",         "IP:2001:db8::/129",
                             "email:",         "email:@a.example",
                             "email:x@",       "URI:http://a.example",
                             "URI:",           "dirName:",
                             "RID:1.2.3",      "otherName:1.2.3;UTF8:a"}) {
        GeneralName name;
        Refusal refusal;
        EXPECT_FALSE(parseSubtreeText(text, &name, &refusal)) << text;
        EXPECT_EQ(refusal.id, RefusalId::malformedGeneralName);
    }
}

TEST(NameTemplate, FillsInValues) {
    std::vector<unsigned char> const from = parseNameText("/O=Evil\\/CN=x,O=y/OU=a/OU=b/CN=c");
    EXPECT_EQ(nameText(parseNameTemplate("/O=Acme/CN={cn}", from)), "O=Acme, CN=c");
    EXPECT_EQ(nameText(parseNameTemplate("C=UY, OU={OU} of {2.5.4.3}", from)), "C=UY, OU=a of c");
    // A separator in a value stays one character of it.
    EXPECT_EQ(nameText(parseNameTemplate("O=Acme,OU={o}", from)), "O=Acme, OU=Evil/CN=x,O=y");
    EXPECT_EQ(nameText(parseNameTemplate("O=Acme", from)), "O=Acme");
    // A name that is no template keeps its braces.
    EXPECT_EQ(nameText(parseNameText("CN={cn}")), "CN={cn}");
    for (char const* text : {"CN={L}", "CN={}", "CN={nothing}", "CN={cn", "C={cn}"}) {
        Refusal refusal;
        EXPECT_TRUE(parseNameTemplate(text, from, &refusal).empty()) << text;
        EXPECT_EQ(refusal.id, RefusalId::malformedName);
    }
    // Neither does what is filled in bypass the checks of a value.
    std::vector<unsigned char> const hostile = hex("300e 310c 300a 0603550403 0c03 410a42");
    EXPECT_TRUE(parseNameTemplate("CN={CN}", hostile).empty());
    EXPECT_TRUE(parseNameTemplate("CN={CN}", {}).empty());
}

} // namespace TEST_FILE
