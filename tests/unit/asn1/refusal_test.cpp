// Why names, times and algorithms are refused, and where.
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/timepoint.h"
#include "support/captured_output.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::hex;

/// The refusal of a reader, which must be silent. `found` is what it returned.
template <typename Object, typename Input>
Refusal refusalOf(Input const& input) {
    test::CapturedOutput output;
    Refusal refusal;
    Object object;
    EXPECT_FALSE(object.parse(input, &refusal));
    EXPECT_FALSE(object.parse(input, nullptr));
    EXPECT_EQ(output.text(), "");
    return refusal;
}

TEST(NameRefusal, NamesTheAttributeAndThePlace) {
    // The second attribute has an INTEGER for its type.
    Refusal const refusal = refusalOf<DistinguishedName>(hex("3016"
                                                             "310b 3009 0603550406 0c025559"
                                                             "3107 3005 020103 0c00"));
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.path, "attribute 2, type");
    EXPECT_EQ(refusal.offset, 19u);
    EXPECT_EQ(refusal.str(),
              "attribute 2, type, byte 19: An element of another type is required here. (expected: "
              "OBJECT IDENTIFIER; found: INTEGER)");
}

TEST(NameRefusal, TellsWhatIsNoNameFromWhatIsCutOff) {
    EXPECT_EQ(refusalOf<DistinguishedName>(hex("3100")).id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusalOf<DistinguishedName>(hex("3005 3103")).id, RefusalId::truncatedElement);
    EXPECT_EQ(refusalOf<DistinguishedName>(asn1::blob()).id, RefusalId::emptyInput);
    EXPECT_EQ(refusalOf<DistinguishedName>(hex("3080 0000")).id, RefusalId::indefiniteLength);
}

TEST(NameRefusal, LeavesTheRefusalOfAGoodNameUnchanged) {
    test::CapturedOutput output;
    Refusal refusal;
    refusal.path = "before";
    DistinguishedName name;
    // The attribute is unknown: the stated entry point reports it.
    EXPECT_TRUE(name.parse(hex("300d 310b 3009 0603550429 0c024142"), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::none);
    EXPECT_EQ(refusal.path, "before");
    EXPECT_EQ(output.text(), "");
}

TEST(GeneralNameRefusal, TellsTheLengthOfAnAddress) {
    Refusal const refusal = refusalOf<GeneralName>(hex("8703 0a0000"));
    EXPECT_EQ(refusal.id, RefusalId::malformedGeneralName);
    ASSERT_EQ(refusal.facts.size(), 2u);
    EXPECT_EQ(refusal.facts[1].value, "3");
}

TEST(TimeRefusal, ShowsTheText) {
    Refusal const refusal = refusalOf<TimePoint>(hex("170b 3939313333323230305a5a"));
    EXPECT_EQ(refusal.id, RefusalId::malformedTime);
    EXPECT_EQ(refusal.offset, 0u);
    ASSERT_EQ(refusal.facts.size(), 1u);
    EXPECT_EQ(refusal.facts[0].value, "991332200ZZ");
}

TEST(TimeRefusal, TellsAnotherTypeAndTrailingBytes) {
    Refusal refusal = refusalOf<TimePoint>(hex("0203 010203"));
    EXPECT_EQ(refusal.id, RefusalId::malformedTime);
    EXPECT_EQ(refusal.facts[0].value, "INTEGER");
    refusal = refusalOf<TimePoint>(hex("170d 3730303130313030303030305a 0500"));
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.offset, 15u);
}

TEST(AlgorithmRefusal, TellsWhatIsThereInsteadOfTheIdentifier) {
    Refusal refusal;
    AlgorithmIdentifier algorithm;
    EXPECT_FALSE(parse(algorithm, hex("0500"), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.path, "algorithm");
    EXPECT_FALSE(parse(algorithm, hex("06012a 0500 0500"), &refusal));
    EXPECT_EQ(refusal.offset, 5u);
    EXPECT_TRUE(parse(algorithm, hex("06012a 0500"), nullptr));
}

} // namespace TEST_FILE
