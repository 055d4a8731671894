#include "sealkit/name.h"

#include "sealkit/der.h"
#include "support/captured_output.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>

namespace TEST_FILE {

using test::hex;
using test::toHex;
using Bytes = std::vector<unsigned char>;

/// The seven attributes in the order of the table, with the tag each is written with.
struct Row {
    char const* oid;
    unsigned tag;
    char const* label;
    std::string DistinguishedName::*member;
};

constexpr Row rows[] = {
    {"550406", 0x13, "C=", &DistinguishedName::country},
    {"550408", 0x0C, "S=", &DistinguishedName::state},
    {"550407", 0x0C, "L=", &DistinguishedName::locality},
    {"55040a", 0x0C, "O=", &DistinguishedName::organization},
    {"55040b", 0x0C, "OU=", &DistinguishedName::organizationalUnit},
    {"550403", 0x0C, "CN=", &DistinguishedName::commonName},
    {"550405", 0x0C, "SerialNumber=", &DistinguishedName::serialNumber},
};

constexpr char const* country = "550406";
constexpr char const* organization = "55040a";
constexpr char const* commonName = "550403";
constexpr char const* emailAddress = "2a864886f70d010901"; // not one of the seven

/// One SET with one attribute.
Bytes rdn(std::string_view oid, unsigned tag, asn1::blob value) {
    DerEncoder encoder;
    encoder.begin(0x31).begin(0x30).addOid(hex(oid)).add(tag, value).end().end();
    return encoder.take();
}

Bytes nameOf(std::vector<Bytes> const& sets) {
    DerEncoder encoder;
    encoder.begin(0x30);
    for (Bytes const& set : sets)
        encoder.addEncoded(set);
    return encoder.end().take();
}

bool parseQuietly(DistinguishedName& name, Bytes const& bytes, std::string const& expectedOutput = "") {
    test::CapturedOutput output;
    bool const parsed = name.parse(asn1::blob(bytes));
    EXPECT_EQ(output.text(), expectedOutput);
    return parsed;
}

TEST(DistinguishedName, HasItsMembersInOrder) {
    DistinguishedName name;
    EXPECT_EQ(static_cast<void*>(&name.other), static_cast<void*>(&name));
    std::string* member = reinterpret_cast<std::string*>(&name.other + 1);
    for (std::string DistinguishedName::*next :
         {&DistinguishedName::country, &DistinguishedName::state, &DistinguishedName::locality,
          &DistinguishedName::organization, &DistinguishedName::organizationalUnit,
          &DistinguishedName::commonName, &DistinguishedName::serialNumber})
        EXPECT_EQ(&(name.*next), member++);
    EXPECT_EQ(static_cast<void*>(member), static_cast<void*>(&name + 1));
}

TEST(DistinguishedName, EveryAttributeIsReadWrittenShownAndSet) {
    for (Row const& row : rows) {
        Bytes const bytes = nameOf({rdn(row.oid, row.tag, asn1::blob("value"))});
        DistinguishedName name;
        ASSERT_TRUE(parseQuietly(name, bytes));
        EXPECT_EQ(name.*row.member, "value");
        EXPECT_EQ(name.str(), std::string(row.label) + "value");
        EXPECT_EQ(name.serialize(), bytes);
        EXPECT_FALSE(name.empty());
        EXPECT_TRUE(name.other.empty());

        DistinguishedName set;
        EXPECT_TRUE(set.setAttr(hex(row.oid), "value"));
        EXPECT_EQ(set.*row.member, "value");
        EXPECT_TRUE(set == name);
        set.*row.member = "Value";
        EXPECT_FALSE(set == name);
    }
}

TEST(DistinguishedName, WritesAttributesInTheOrderOfTheMembers) {
    std::vector<Bytes> sets;
    std::string text;
    for (Row const& row : rows) {
        sets.push_back(rdn(row.oid, row.tag, asn1::blob(row.label)));
        text += (text.empty() ? "" : ", ") + std::string(row.label) + row.label;
    }
    Bytes const inOrder = nameOf(sets);
    std::reverse(sets.begin(), sets.end());
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf(sets)));
    EXPECT_EQ(name.serialize(), inOrder);
    EXPECT_EQ(name.str(), text);
}

TEST(DistinguishedName, ReordersOrganizationCountryCommonName) {
    Bytes const o = rdn(organization, 0x0C, asn1::blob("Acme")), c = rdn(country, 0x13, asn1::blob("UY")),
                cn = rdn(commonName, 0x0C, asn1::blob("host"));
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf({o, c, cn})));
    EXPECT_EQ(name.serialize(), nameOf({c, o, cn}));
    EXPECT_EQ(name.str(), "C=UY, O=Acme, CN=host");
}

TEST(DistinguishedName, WritesItsOwnStringTypes) {
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(
        name, nameOf({rdn(country, 0x0C, asn1::blob("UY")), rdn(commonName, 0x13, asn1::blob("host"))})));
    EXPECT_EQ(name.serialize(),
              nameOf({rdn(country, 0x13, asn1::blob("UY")), rdn(commonName, 0x0C, asn1::blob("host"))}));
}

TEST(DistinguishedName, EmptyNameIsAnEmptySequence) {
    DistinguishedName name;
    EXPECT_TRUE(name.empty());
    EXPECT_EQ(name.str(), "");
    EXPECT_EQ(toHex(name.serialize()), "3000");
    EXPECT_TRUE(parseQuietly(name, hex("3000")));
    EXPECT_TRUE(name.empty());
}

TEST(DistinguishedName, TakesValuesOfTheseTagsOnly) {
    std::set<unsigned> const taken{12, 16, 19, 20, 22, 28, 30};
    for (unsigned tag = 0; tag < 256; ++tag) {
        if ((tag & 0x1F) == 0x1F)
            continue; // goes on in a further octet
        DistinguishedName name;
        Bytes const bytes =
            nameOf({rdn(commonName, tag, asn1::blob("x")), rdn(country, 0x13, asn1::blob("UY"))});
        EXPECT_TRUE(parseQuietly(name, bytes)) << tag;
        EXPECT_EQ(name.commonName, taken.count(tag) ? "x" : "") << tag;
        EXPECT_EQ(name.country, "UY") << tag;
    }
}

TEST(DistinguishedName, SkipsOtherTagsSilentlyEvenForUnknownAttributes) {
    DistinguishedName name;
    EXPECT_TRUE(parseQuietly(name, nameOf({rdn(emailAddress, 18, asn1::blob("1"))})));
    EXPECT_TRUE(name.other.empty());
}

TEST(DistinguishedName, KeepsOctetsAsTheyAre) {
    unsigned char const hostile[] = {0x00, 'h', 0x1B, 0xFF, 0x00};
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf({rdn(commonName, 30, hostile)})));
    EXPECT_EQ(name.commonName, std::string(hostile, hostile + 5));
    EXPECT_EQ(name.str(), "CN=" + std::string(hostile, hostile + 5));
    EXPECT_EQ(name.serialize(), nameOf({rdn(commonName, 0x0C, hostile)}));
}

TEST(DistinguishedName, ReportsAndKeepsUnknownAttributes) {
    Bytes const mail = rdn(emailAddress, 22, asn1::blob("a@b")), host = rdn(commonName, 12, asn1::blob("h")),
                unit = rdn("0992268993f22c640119", 22, asn1::blob("c"));
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf({mail, host, unit}),
                             "unknown name attr: 1.2.840.113549.1.9.1\n"
                             "unknown name attr: 0.9.2342.19200300.100.1.25\n"));
    ASSERT_EQ(name.other.size(), 2u);
    EXPECT_EQ(toHex(name.other[0]), toHex(mail).substr(4)) << "the content of the SET";
    EXPECT_EQ(name.str(), "CN=h");
    EXPECT_EQ(name.serialize(), nameOf({host, mail, unit}));
}

TEST(DistinguishedName, OnlyUnknownAttributesCountAsEmpty) {
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf({rdn(emailAddress, 22, asn1::blob("a@b"))}),
                             "unknown name attr: 1.2.840.113549.1.9.1\n"));
    EXPECT_TRUE(name.empty());
    EXPECT_EQ(name.str(), "");
    EXPECT_TRUE(name == DistinguishedName()) << "other does not count";
    EXPECT_NE(name.serialize(), DistinguishedName().serialize());
}

TEST(DistinguishedName, KeepsTheWholeSetOfAnUnknownFirstAttribute) {
    Bytes const set = hex("311C"
                          "300D 06092A864886F70D010901 1600"
                          "300B 0603550403 0C0468 6F7374");
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf({set}), "unknown name attr: 1.2.840.113549.1.9.1\n"));
    EXPECT_EQ(name.commonName, "");
    EXPECT_EQ(name.serialize(), nameOf({set}));
}

TEST(DistinguishedName, ReadsTheFirstAttributeOfASet) {
    Bytes const set = hex("3116"
                          "3009 0603550403 0C0261 62"
                          "3009 060355040A 0C0263 64");
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(name, nameOf({set})));
    EXPECT_EQ(name.commonName, "ab");
    EXPECT_EQ(name.organization, "");
}

TEST(DistinguishedName, TheLastOfARepeatedAttributeStays) {
    DistinguishedName name;
    ASSERT_TRUE(parseQuietly(
        name, nameOf({rdn(commonName, 12, asn1::blob("first")), rdn(commonName, 12, asn1::blob("last"))})));
    EXPECT_EQ(name.commonName, "last");
}

TEST(DistinguishedName, ParsingEmptiesOtherAndLeavesMembersItDoesNotSee) {
    DistinguishedName name;
    name.country = "UY";
    name.commonName = "old";
    name.other.push_back(hex("3000"));
    ASSERT_TRUE(parseQuietly(name, nameOf({rdn(commonName, 12, asn1::blob("new"))})));
    EXPECT_EQ(name.str(), "C=UY, CN=new");
    EXPECT_TRUE(name.other.empty());

    name.other.push_back(hex("3000"));
    EXPECT_FALSE(parseQuietly(name, hex("3100")));
    EXPECT_TRUE(name.other.empty());
}

TEST(DistinguishedName, EndsAtTheFirstElementThatIsNoSet) {
    DistinguishedName name;
    Bytes const cn = rdn(commonName, 12, asn1::blob("h")), o = rdn(organization, 12, asn1::blob("Acme"));
    ASSERT_TRUE(parseQuietly(name, nameOf({cn, hex("0500"), o})));
    EXPECT_EQ(name.str(), "CN=h");
}

TEST(DistinguishedName, RefusesMalformedNames) {
    char const* const cases[] = {
        "",                                       // nothing
        "30",                                     // no length
        "3100",                                   // no SEQUENCE
        "3002 31",                                // cut off
        "3002 3105",                              // a SET beyond the end
        "3002 3100",                              // a SET without an attribute
        "3004 3102 0500",                         // an attribute that is no SEQUENCE
        "3004 3102 3000",                         // an attribute without a type
        "3006 3104 3002 0500",                    // a type that is no OID
        "300D 310B 3009 0603550403 0C03 6869",    // a value beyond its end
        "300B 3109 3007 0603550403 0C",           // a value without a length
        "300E 310B 3009 0603550403 0C02 6869 31", // something malformed behind the SET
    };
    for (char const* bytes : cases) {
        DistinguishedName name;
        EXPECT_FALSE(parseQuietly(name, hex(bytes))) << bytes;
        EXPECT_TRUE(name.empty()) << bytes;
    }
}

TEST(DistinguishedName, DoesNotLookBehindTheName) {
    DistinguishedName name;
    EXPECT_TRUE(parseQuietly(name, hex("300D 310B 3009 0603550403 0C02 6869 31")));
    EXPECT_EQ(name.commonName, "hi");
}

TEST(DistinguishedName, SkipsAnAttributeWithoutAValue) {
    DistinguishedName name;
    EXPECT_TRUE(parseQuietly(name, hex("3009 3107 3005 0603550403")));
    EXPECT_TRUE(name.empty());
}

TEST(DistinguishedName, SetAttrChangesNothingForUnknownOids) {
    DistinguishedName name;
    name.commonName = "h";
    DistinguishedName const before = name;
    EXPECT_FALSE(name.setAttr(hex(emailAddress), "a@b"));
    EXPECT_FALSE(name.setAttr(asn1::blob(), "x"));
    EXPECT_FALSE(name.setAttr(hex("5504"), "x"));
    EXPECT_TRUE(name == before);
    EXPECT_TRUE(name.other.empty());
}

TEST_CASES(DistinguishedName, ReadsWhatOpenSslWrites, "asn1/names.txt")(test::Case const& vector) {
    vector.ignore({"subject"});
    Bytes const bytes = vector.bytes("der");
    DistinguishedName name;
    std::string const report = vector.text("unknown");
    ASSERT_TRUE(parseQuietly(name, bytes, report.empty() ? "" : "unknown name attr: " + report + "\n"));
    EXPECT_EQ(name.str(), vector.text("text"));
}

TEST(DistinguishedName, WrittenAgainItStaysTheSame) {
    std::mt19937 random(77);
    for (int round = 0; round < 500; ++round) {
        std::vector<Bytes> sets;
        for (unsigned n = random() % 10; n > 0; --n) {
            Row const& row = rows[random() % std::size(rows)];
            bool const known = random() % 4;
            sets.push_back(rdn(known ? row.oid : emailAddress, row.tag, std::string(random() % 200, 'a')));
        }
        DistinguishedName once, twice;
        test::CapturedOutput const output;
        ASSERT_TRUE(once.parse(nameOf(sets)));
        Bytes const bytes = once.serialize();
        ASSERT_TRUE(twice.parse(bytes));
        EXPECT_TRUE(once == twice);
        EXPECT_EQ(once.other, twice.other);
        EXPECT_EQ(twice.serialize(), bytes);
    }
}

TEST(DistinguishedName, TellsWhichNamesComeBackUnchanged) {
    Bytes const mail = rdn(emailAddress, 22, asn1::blob("a@b")), host = rdn(commonName, 12, asn1::blob("h")),
                land = rdn(country, 19, asn1::blob("UY"));
    test::CapturedOutput const output;
    EXPECT_TRUE(DistinguishedName::roundTrips(nameOf({land, host, mail})));
    EXPECT_TRUE(DistinguishedName::roundTrips(nameOf({})));
    EXPECT_FALSE(DistinguishedName::roundTrips(nameOf({host, land}))) << "another order";
    EXPECT_FALSE(DistinguishedName::roundTrips(nameOf({mail, host}))) << "unknown attributes come last";
    EXPECT_FALSE(DistinguishedName::roundTrips(nameOf({rdn(commonName, 19, asn1::blob("h"))})))
        << "another type of string";
    EXPECT_FALSE(DistinguishedName::roundTrips(nameOf({host, host})));
    EXPECT_FALSE(DistinguishedName::roundTrips({})) << "no name";
    EXPECT_EQ(output.text(), "");
}

TEST(DistinguishedName, StaysWithinTruncatedAndDamagedNames) {
    std::mt19937 random(5);
    Bytes const bytes = nameOf({rdn(country, 19, asn1::blob("UY")), rdn(emailAddress, 22, asn1::blob("a@b")),
                                rdn(commonName, 12, asn1::blob("host"))});
    test::CapturedOutput const output;
    for (size_t size = 0; size < bytes.size(); ++size) {
        auto const cut = std::make_unique<unsigned char[]>(size);
        std::copy_n(bytes.begin(), size, cut.get());
        EXPECT_FALSE(DistinguishedName().parse(asn1::blob(cut.get(), size)));
    }
    for (int round = 0; round < 20000; ++round) {
        Bytes damaged = bytes;
        for (unsigned n = 1 + random() % 3; n > 0; --n)
            damaged[random() % damaged.size()] = static_cast<unsigned char>(random());
        DistinguishedName name;
        if (name.parse(damaged)) {
            EXPECT_LE(name.str().size(), damaged.size() + 40);
        }
        GeneralName general;
        general.parse(damaged);
    }
}

TEST(DistinguishedName, TakesLinearTimeForAHundredThousandAttributes) {
    Bytes const known = rdn(commonName, 12, asn1::blob("host")),
                unknown = rdn(emailAddress, 22, asn1::blob("a@b"));
    std::vector<Bytes> sets;
    for (int i = 0; i < 50000; ++i) {
        sets.push_back(known);
        sets.push_back(unknown);
    }
    Bytes const bytes = nameOf(sets);
    DistinguishedName name;
    test::CapturedOutput const output;
    ASSERT_TRUE(name.parse(bytes));
    EXPECT_EQ(name.other.size(), 50000u);
    EXPECT_EQ(name.serialize().size(), 4 + known.size() + 50000 * unknown.size() + 1);
}

GeneralName general(unsigned char type, std::string const& data) {
    GeneralName name;
    name.type = type;
    name.data = data;
    return name;
}

TEST(GeneralName, HasItsMembersInOrder) {
    GeneralName name;
    EXPECT_EQ(static_cast<void*>(&name.data), static_cast<void*>(&name));
    EXPECT_EQ(static_cast<void*>(&name.type), static_cast<void*>(&name.data + 1));
    static_assert(sizeof(name.type) == 1);
}

TEST(GeneralName, DefaultIsEmpty) {
    GeneralName const name;
    EXPECT_EQ(name.type, 255);
    EXPECT_EQ(name.data, "");
    EXPECT_EQ(name.typeStr(), "[empty]");
    EXPECT_EQ(name.dataStr(), "");
}

TEST(GeneralName, TypesHaveTheirTexts) {
    char const* const texts[] = {"other",     "rfc822", "DNS", "X400 address", "Name",
                                 "EDI party", "URI",    "IP",  "REG ID"};
    for (unsigned type = 0; type < 256; ++type) {
        std::string const expected = type < 9 ? texts[type] : type == 255 ? "[empty]" : "";
        EXPECT_EQ(general(static_cast<unsigned char>(type), "").typeStr(), expected) << type;
    }
}

TEST(GeneralName, ReadsAndWritesPrimitiveChoices) {
    for (unsigned char type = 0; type <= 8; ++type) {
        std::string const data = type == 7 ? "abcd" : "a.example";
        Bytes bytes{static_cast<unsigned char>(0x80 | type), static_cast<unsigned char>(data.size())};
        bytes.insert(bytes.end(), data.begin(), data.end());
        GeneralName name;
        EXPECT_TRUE(name.parse(bytes));
        EXPECT_EQ(name.type, type);
        EXPECT_EQ(name.data, data);
        EXPECT_EQ(name.serialize(), bytes);
    }
    EXPECT_EQ(GeneralName::otherName, 0);
    EXPECT_EQ(GeneralName::rfc822Name, 1);
    EXPECT_EQ(GeneralName::dnsName, 2);
    EXPECT_EQ(GeneralName::uri, 6);
    EXPECT_EQ(GeneralName::ipAddress, 7);
}

TEST(GeneralName, ConstructedChoicesKeepTheirBit) {
    Bytes const directory = hex("A40F 300D310B3009 0603550406 1302 5559");
    GeneralName name;
    ASSERT_TRUE(name.parse(directory));
    EXPECT_EQ(name.type, 0x24);
    EXPECT_EQ(toHex(name.data), toHex(directory).substr(4));
    EXPECT_EQ(name.typeStr(), "");
    EXPECT_EQ(name.serialize(), directory);
    DistinguishedName inner;
    EXPECT_TRUE(inner.parse(name.data));
    EXPECT_EQ(inner.country, "UY");
}

TEST(GeneralName, ReadsTheFirstElementAndNotTheRest) {
    Bytes const bytes = hex("8201 61 0500");
    GeneralName name;
    EXPECT_TRUE(name.parse(bytes));
    EXPECT_EQ(name.type, 2);
    EXPECT_EQ(name.data, "a");
}

TEST(GeneralName, OfNoElementGivesWhatTheParserGives) {
    GeneralName name = general(2, "old");
    EXPECT_TRUE(name.parse({}));
    EXPECT_EQ(name.type, 0);
    EXPECT_EQ(name.data, "");
    for (char const* bytes : {"82", "8202 61", "8280", "8785 0000000004"}) {
        name = general(2, "old");
        EXPECT_TRUE(name.parse(hex(bytes))) << bytes;
        EXPECT_EQ(name.type, 1);
        EXPECT_EQ(name.data, "");
    }
}

TEST(GeneralName, RefusesAddressesOfOtherLengths) {
    for (size_t size = 0; size <= 40; ++size) {
        DerEncoder encoder;
        Bytes const bytes = encoder.add(0x87, Bytes(size, 9)).take();
        GeneralName name;
        EXPECT_EQ(name.parse(bytes), size == 4 || size == 16) << size;
        EXPECT_EQ(name.type, 7);
        EXPECT_EQ(name.data.size(), size);
        // The data stay what they are, and are no address.
        if (size != 4 && size != 16) {
            EXPECT_TRUE(name.getIp() == IPAddr6());
            EXPECT_EQ(name.dataStr(), IPAddr6().str(true));
        }
    }
}

TEST(GeneralName, GivesAddressesOfBothVersions) {
    GeneralName name = general(7, std::string("\xC0\x00\x02\x01", 4));
    EXPECT_TRUE(name.getIp().isIPv4());
    EXPECT_EQ(name.getIp().str(true), "192.0.2.1");
    EXPECT_EQ(name.dataStr(), "192.0.2.1");
    EXPECT_EQ(name.typeStr(), "IP");

    Bytes const bytes = hex("20010DB8000000000000000000000001");
    name = general(7, std::string(bytes.begin(), bytes.end()));
    EXPECT_FALSE(name.getIp().isIPv4());
    EXPECT_EQ(toHex(name.getIp().bytes()), toHex(bytes));
    EXPECT_EQ(name.dataStr(), "2001:db8::1");
}

TEST(GeneralName, OtherTypesHaveNoAddress) {
    for (unsigned type = 0; type < 256; ++type) {
        if (type == 7)
            continue;
        GeneralName const name = general(static_cast<unsigned char>(type), "abcd");
        EXPECT_TRUE(name.getIp() == IPAddr6());
        EXPECT_EQ(name.dataStr(), "abcd");
    }
}

TEST(GeneralName, SetIpStoresFourOctetsForVersionFour) {
    IPAddr6 address;
    address.setIPv4(0xC0000201u);
    GeneralName name;
    name.setIp(address);
    EXPECT_EQ(toHex(name.data), "c0000201");
    EXPECT_EQ(name.type, 255) << "the type is the caller's";
    name.type = GeneralName::ipAddress;
    EXPECT_TRUE(name.getIp() == address);
    EXPECT_EQ(toHex(name.serialize()), "8704c0000201");

    ASSERT_TRUE(address.parse("2001:db8::1"));
    name.setIp(address);
    EXPECT_EQ(toHex(name.data), "20010db8000000000000000000000001");
    EXPECT_TRUE(name.getIp() == address);

    name.setIp(IPAddr6());
    EXPECT_EQ(name.data, std::string(16, '\0'));
}

} // namespace TEST_FILE
