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

} // namespace TEST_FILE
