#include "sealkit/asn1_tree.h"
#include "sealkit/der.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

#include <sstream>

namespace TEST_FILE {

using asn1::TreeElement;
using asn1::TreeWalker;
using test::hex;

/// "0 d0 2+3 SEQUENCE; 2 d1 2+1 INTEGER 5"
std::string walk(asn1::blob input, Refusal* refusal = nullptr, std::optional<size_t> offset = std::nullopt) {
    std::ostringstream text;
    TreeWalker walker(input, offset);
    while (walker.next()) {
        TreeElement const& element = walker.element();
        std::string const value = valueText(element);
        text << (text.str().empty() ? "" : "; ") << element.offset << " d" << element.depth << ' '
             << element.headerLength << '+' << (element.length ? std::to_string(*element.length) : "inf")
             << ' ' << tagName(element) << (value.empty() ? "" : " ") << value;
    }
    if (refusal != nullptr)
        *refusal = walker.refusal();
    EXPECT_FALSE(walker.next());
    return text.str();
}

std::string valueOf(char const* digits) {
    std::vector<unsigned char> const bytes = hex(digits);
    TreeWalker walker(bytes);
    return walker.next() ? valueText(walker.element()) : "(broken)";
}

TEST(Tree, GivesElementsInTheOrderOfTheBytes) {
    Refusal refusal;
    EXPECT_EQ(walk(hex("3006020105a0010c"), &refusal), "0 d0 2+6 SEQUENCE; 2 d1 2+1 INTEGER 5; 5 d1 2+1 [0]");
    EXPECT_EQ(refusal.id, RefusalId::truncatedElement);
    EXPECT_EQ(refusal.offset, 7u);
    EXPECT_EQ(walk(hex("3006020105a0013000"), &refusal),
              "0 d0 2+6 SEQUENCE; 2 d1 2+1 INTEGER 5; 5 d1 2+1 [0]");
    EXPECT_EQ(walk(hex("30083003020105040101"), &refusal),
              "0 d0 2+8 SEQUENCE; 2 d1 2+3 SEQUENCE; 4 d2 2+1 INTEGER 5; 7 d1 2+1 OCTET STRING 01");
    EXPECT_FALSE(refusal);
    EXPECT_EQ(walk(hex("05000101ff")), "0 d0 2+0 NULL; 2 d0 2+1 BOOLEAN TRUE");
    EXPECT_EQ(walk({}, &refusal), "");
    EXPECT_FALSE(refusal);
}

TEST(Tree, ShowsIndefiniteLengthsWithTheirEnds) {
    Refusal refusal;
    EXPECT_EQ(
        walk(hex("308024800401aa040abb000102030405060708000002010100000500"), &refusal),
        "0 d0 2+inf SEQUENCE; 2 d1 2+inf OCTET STRING; 4 d2 2+1 OCTET STRING aa; 7 d2 2+10 OCTET STRING "
        "bb:00:01:02:03:04:05:06:07:08; 19 d1 2+0 end of contents; 21 d1 2+1 INTEGER 1; "
        "24 d0 2+0 end of contents; 26 d0 2+0 NULL");
    EXPECT_FALSE(refusal);
    EXPECT_EQ(walk(hex("3080020101"), &refusal), "0 d0 2+inf SEQUENCE; 2 d1 2+1 INTEGER 1");
    EXPECT_EQ(refusal.id, RefusalId::missingElement);
    EXPECT_EQ(refusal.offset, 5u);
    EXPECT_EQ(walk(hex("0480aa0000"), &refusal), "");
    EXPECT_EQ(refusal.id, RefusalId::indefiniteLength);
    EXPECT_EQ(walk(hex("30020000"), &refusal), "0 d0 2+2 SEQUENCE");
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.offset, 2u);
}

TEST(Tree, FollowsStringsThatHoldDer) {
    EXPECT_EQ(walk(hex("04053003020107")), "0 d0 2+5 OCTET STRING; 2 d1 2+3 SEQUENCE; 4 d2 2+1 INTEGER 7");
    EXPECT_EQ(walk(hex("0306003003020107")), "0 d0 2+6 BIT STRING; 3 d1 2+3 SEQUENCE; 5 d2 2+1 INTEGER 7");
    EXPECT_EQ(walk(hex("040404023000")), "0 d0 2+4 OCTET STRING; 2 d1 2+2 OCTET STRING; 4 d2 2+0 SEQUENCE");
    // Unused bits, trailing bytes, longer lengths than needed, a value that its type does not have, and
    // another class.
    for (char const* digits : {"0306013003020107", "0406300302010700", "040630810302010700", "04030c01ff",
                               "040301021234", "0402a000", "04023080", "04020000"}) {

        std::vector<unsigned char> const bytes = hex(digits);
        TreeWalker kept(bytes);
        ASSERT_TRUE(kept.next());
        EXPECT_FALSE(kept.element().holdsElement) << digits;
    }
}

TEST(Tree, GoesAsFarAsATruncatedElementIsThere) {
    Refusal refusal;
    EXPECT_EQ(walk(hex("30203003020105020106"), &refusal),
              "0 d0 2+32 SEQUENCE; 2 d1 2+3 SEQUENCE; 4 d2 2+1 INTEGER 5; 7 d1 2+1 INTEGER 6");
    EXPECT_EQ(refusal.id, RefusalId::truncatedElement);
    EXPECT_EQ(refusal.offset, 0u);
    ASSERT_EQ(refusal.facts.size(), 2u);
    EXPECT_EQ(refusal.facts[0].value, "32");
    EXPECT_EQ(refusal.facts[1].value, "8");
    EXPECT_EQ(walk(hex("300604103003020105"), &refusal),
              "0 d0 2+6 SEQUENCE; 2 d1 2+16 OCTET STRING 30:03:02:01");
    EXPECT_EQ(refusal.offset, 2u);
    EXPECT_EQ(walk(hex("30"), &refusal), "");
    EXPECT_EQ(refusal.id, RefusalId::truncatedElement);
}

TEST(Tree, RefusesLengthsAndTagsBeyondAllBounds) {
    Refusal refusal;
    walk(hex("04ff00"), &refusal);
    EXPECT_EQ(refusal.id, RefusalId::unsupportedLength);
    walk(hex("0489010000000000000000"), &refusal);
    EXPECT_EQ(refusal.id, RefusalId::unsupportedLength);
    EXPECT_EQ(walk(hex("0489000000000000000001aa"), &refusal), "0 d0 11+1 OCTET STRING aa");
    walk(hex("1fffffffffffffffffffffff7f00"), &refusal);
    EXPECT_EQ(refusal.id, RefusalId::unsupportedTag);
    EXPECT_EQ(walk(hex("bf8d5503020101"), &refusal), "0 d0 4+3 [1749]; 4 d1 2+1 INTEGER 1");
    EXPECT_EQ(walk(hex("7f210041 00c500")),
              "0 d0 3+0 [APPLICATION 33]; 3 d0 2+0 [APPLICATION 1]; 5 d0 2+0 [PRIVATE 5]");
}

TEST(Tree, IsBoundedInDepth) {
    std::vector<unsigned char> deep;
    for (int i = 0; i < 100000; i++)
        deep.insert(deep.end(), {0x30, 0x80});
    TreeWalker walker(deep);
    size_t count = 0;
    while (walker.next())
        ++count;
    EXPECT_EQ(count, TreeWalker::maxDepth);
    EXPECT_EQ(walker.refusal().id, RefusalId::nestedTooDeep);
    EXPECT_EQ(walker.refusal().offset, 2 * size_t{TreeWalker::maxDepth});

    // Strings in strings are followed down to a depth, and the walk goes on behind them.
    std::vector<unsigned char> strings = {5, 0};
    for (int i = 0; i < 40; i++)
        strings = DerEncoder().addOctetString(strings).take();
    strings.insert(strings.end(), {5, 0});
    TreeWalker second(strings);
    unsigned deepest = 0;
    while (second.next())
        deepest = std::max(deepest, second.element().depth);
    EXPECT_EQ(deepest, TreeWalker::maxStringDepth);
    EXPECT_TRUE(second.isComplete());
    EXPECT_EQ(tagName(second.element()), "NULL");
}

TEST(Tree, WalksOneElementFromAnOffset) {
    std::vector<unsigned char> const bytes = hex("300830030201050401010500");
    EXPECT_EQ(walk(bytes, nullptr, 2), "2 d0 2+3 SEQUENCE; 4 d1 2+1 INTEGER 5");
    EXPECT_EQ(walk(bytes, nullptr, 0).find("NULL"), std::string::npos);
    EXPECT_EQ(walk(bytes, nullptr, 99), "");
}

TEST(Tree, CutsAnElementOut) {
    std::vector<unsigned char> const bytes = hex("3080300302010504010100000500");
    EXPECT_EQ(asn1::findElement(bytes, 0), asn1::blob(bytes.data(), 12));
    EXPECT_EQ(asn1::findElement(bytes, 2), asn1::blob(bytes.data() + 2, 5));
    EXPECT_EQ(asn1::findElement(bytes, 12), asn1::blob(bytes.data() + 12, 2));
    Refusal refusal;
    EXPECT_TRUE(asn1::findElement(bytes, 14, &refusal).empty());
    EXPECT_EQ(refusal.id, RefusalId::missingElement);
    EXPECT_TRUE(asn1::findElement(bytes, 13, &refusal).empty());
    EXPECT_EQ(refusal.id, RefusalId::truncatedElement);
    EXPECT_TRUE(asn1::findElement(asn1::blob(bytes.data(), 10), 0, &refusal).empty());
    EXPECT_EQ(refusal.id, RefusalId::missingElement);
}

TEST(Tree, DecodesValues) {
    EXPECT_EQ(valueOf("02020080"), "128");
    EXPECT_EQ(valueOf("020180"), "-128");
    EXPECT_EQ(valueOf("0202ff7f"), "-129");
    EXPECT_EQ(valueOf("020100"), "0");
    EXPECT_EQ(valueOf("0200"), "(empty)");
    EXPECT_EQ(valueOf("0a0105"), "5");
    EXPECT_EQ(valueOf("010100"), "FALSE");
    EXPECT_EQ(valueOf("06072a8648ce3d0201"), "1.2.840.10045.2.1 EC");
    EXPECT_EQ(valueOf("0603883703"), "2.999.3");
    EXPECT_EQ(valueOf("060178"), "2.40");
    EXPECT_EQ(valueOf("060150"), "2.0");
    EXPECT_EQ(valueOf("0303055ba0"), "5b:a0 (5 unused bits)");
    EXPECT_EQ(valueOf("0303000102"), "01:02");
    EXPECT_EQ(valueOf("170d3439313233313233353935395a"), "2049-12-31T23:59:59Z");
    EXPECT_EQ(valueOf("170b353030313031303030305a"), "1950-01-01T00:00Z");
    EXPECT_EQ(valueOf("181332303530303130313030303030302e3132335a"), "2050-01-01T00:00:00.123Z");
    EXPECT_EQ(valueOf("1704616263 64"), "abcd");
    EXPECT_EQ(valueOf("1e0400e92603"), "\u00e9\u2603");
    EXPECT_EQ(valueOf("1c040001f600"), "\U0001f600");
    EXPECT_EQ(valueOf("1402e941"), "\u00e9A");
    EXPECT_EQ(valueOf("8206612e74657374"), "\"a.test\"");
    EXPECT_EQ(valueOf("870401020304"), "01:02:03:04");
    std::string const digits = "048164" + std::string(200, 'a');
    EXPECT_TRUE(valueOf(digits.c_str()).ends_with(":aa:... (100 bytes)"));
}

TEST(Tree, WritesAnElementAsAText) {
    EXPECT_EQ(asn1::derText(hex("300a06032a0304a003020105")), "{1.2.3.4, [0] {5}}");
    EXPECT_EQ(asn1::derText(hex("300030000500")), "{}, {}, NULL");
    EXPECT_EQ(asn1::derText(hex("31060c0161130162")), "{\"a\", \"b\"}");
    EXPECT_EQ(asn1::derText(hex("04043002 0500")), "OCTET STRING {{NULL}}");
    EXPECT_EQ(asn1::derText(hex("3005")), "30:05");
    EXPECT_EQ(asn1::derText({}), "(empty)");
    std::vector<unsigned char> many;
    for (int i = 0; i < 100000; i++)
        many.insert(many.end(), {0x30, 0});
    EXPECT_LT(asn1::derText(many).size(), 300u);
}

} // namespace TEST_FILE
