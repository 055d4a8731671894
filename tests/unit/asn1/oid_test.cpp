#include "sealkit/oid.h"
#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

namespace TEST_FILE {

using test::hex;
using test::toHex;
using Bytes = std::vector<unsigned char>;

/// The content octets of a dotted form (X.690 section 8.19).
Bytes contentOf(std::string const& dotted) {
    std::vector<unsigned long long> arcs;
    std::istringstream in(dotted);
    for (std::string arc; std::getline(in, arc, '.');)
        arcs.push_back(std::stoull(arc));
    arcs[1] += 40 * arcs[0];
    arcs.erase(arcs.begin());
    Bytes content;
    for (unsigned long long arc : arcs) {
        Bytes octets{static_cast<unsigned char>(arc % 128)};
        while (arc /= 128)
            octets.insert(octets.begin(), static_cast<unsigned char>(0x80 + arc % 128));
        content.insert(content.end(), octets.begin(), octets.end());
    }
    return content;
}

/// Reads the file itself, so that no entry can be left out: a comment that begins with the dotted form, and a
/// declaration below it, over one line or several.
TEST(Oids, EveryTableEntryHasTheOctetsOfItsDottedForm) {
    std::ifstream file(SEALKIT_TEST_DATA "/../src/asn1/oids.h");
    std::string const declaration = "inline constexpr unsigned char ";
    std::set<std::string> seen;
    std::string line, dotted;
    while (std::getline(file, line)) {
        if (line.starts_with("// ") && std::isdigit(static_cast<unsigned char>(line[3])))
            dotted = line.substr(3, line.find(' ', 3) - 3);
        if (!line.starts_with("inline"))
            continue;
        ASSERT_TRUE(line.starts_with(declaration)) << line;
        for (std::string more; line.find("};") == std::string::npos && std::getline(file, more);)
            line += more;
        std::string octets = line.substr(line.find('{') + 1, line.find('}') - line.find('{') - 1);
        std::erase(octets, ',');
        for (size_t prefix; (prefix = octets.find("0x")) != std::string::npos;)
            octets.erase(prefix, 2);
        ASSERT_FALSE(dotted.empty()) << line;
        EXPECT_EQ(toHex(hex(octets)), toHex(contentOf(dotted))) << line;
        EXPECT_TRUE(seen.insert(dotted).second) << dotted << " stands twice";
        dotted.clear();
    }
    EXPECT_GT(seen.size(), 60u);
}

TEST_CASES(Oids, OctetsAreThoseThatOpenSslWrites, "asn1/oids.txt")(test::Case const& vector) {
    Bytes const content = vector.bytes("content");
    EXPECT_EQ(oidStr(asn1::blob(content)), vector.id());
}

std::string dotted(std::string_view digits) {
    Bytes const content = hex(digits);
    return oidStr(asn1::blob(content));
}

TEST(AlgorithmName, NamesSupportedAndOtherAlgorithmsAndShowsTheRest) {
    auto const nameOf = [](std::string const& dotted) {
        Bytes const content = contentOf(dotted);
        return oidName(asn1::blob(content));
    };
    EXPECT_EQ(nameOf("1.2.840.113549.1.1.1"), "RSA");
    EXPECT_EQ(nameOf("1.2.840.113549.1.1.10"), "RSASSA-PSS");
    EXPECT_EQ(nameOf("1.2.840.113549.1.1.11"), "SHA256+RSA");
    EXPECT_EQ(nameOf("2.16.840.1.101.3.4.2.1"), "SHA256");
    EXPECT_EQ(nameOf("1.2.840.113549.2.9"), "HMAC-SHA256");
    EXPECT_EQ(nameOf("2.16.840.1.101.3.4.2.4"), "SHA224");
    EXPECT_EQ(nameOf("1.2.392.200011.61.1.1.1.4"), "Camellia-256-CBC");
    EXPECT_EQ(nameOf("1.2.3.4"), "1.2.3.4");
    EXPECT_EQ(oidName({}), "()");
}

TEST(OidStr, ShowsDottedDecimal) {
    EXPECT_EQ(dotted("2A864886F70D010101"), "1.2.840.113549.1.1.1");
    EXPECT_EQ(dotted("550403"), "2.5.4.3");
    EXPECT_EQ(dotted("2A"), "1.2");
    EXPECT_EQ(dotted("00"), "0.0");
    EXPECT_EQ(dotted("2B8100"), "1.3.128");
    // Leading zero septets do not count.
    EXPECT_EQ(dotted("2B80808001"), "1.3.1");
}

TEST(OidStr, ShowsAnEmptyBlobAsBrackets) { EXPECT_EQ(oidStr({}), "()"); }

TEST(OidStr, SplitsTheFirstOctetByFortyWhateverItIs) {
    EXPECT_EQ(dotted("27"), "0.39");
    EXPECT_EQ(dotted("28"), "1.0");
    EXPECT_EQ(dotted("4F"), "1.39");
    EXPECT_EQ(dotted("50"), "2.0");
    EXPECT_EQ(dotted("77"), "2.39");
    EXPECT_EQ(dotted("78"), "3.0");       // 2.40
    EXPECT_EQ(dotted("8837"), "3.16.55"); // 2.999
    EXPECT_EQ(dotted("FF"), "6.15");
}

TEST(OidStr, ShowsArcsBeyondMachineWords) {
    EXPECT_EQ(dotted("2B8FFFFFFF7F"), "1.3.4294967295");
    EXPECT_EQ(dotted("2B9080808000"), "1.3.4294967296");
    EXPECT_EQ(dotted("2BFFFFFFFFFFFFFFFF7F"), "1.3.9223372036854775807");   // nine octets
    EXPECT_EQ(dotted("2B81808080808080808000"), "1.3.9223372036854775808"); // ten
    EXPECT_EQ(dotted("2B81FFFFFFFFFFFFFFFF7F"), "1.3.18446744073709551615");
    EXPECT_EQ(dotted("2B82808080808080808000"), "1.3.18446744073709551616");
    // A UUID as an arc (ITU-T X.667, the example of its section 8).
    EXPECT_EQ(dotted("6983F09DA7EBCFDEE0C7A1A7B2C0948CC8F9D776"),
              "2.25.329800735698586629295641978511506172918");
    // 64 octets: 2^448 - 1.
    Bytes longest(65, 0xFF);
    longest.front() = 0x2B;
    longest.back() = 0x7F;
    EXPECT_EQ(
        oidStr(asn1::blob(longest)),
        "1.3."
        "726838724295606890549323807888004534353641360687318060281490199180639288113397923326191050713763565"
        "560762521606266177933534601628614655");
}

TEST(OidStr, GivesTheSizeOfArcsTooLongToShow) {
    Bytes content(66, 0xFF);
    content.front() = 0x2B;
    content.back() = 0x7F;
    content.push_back(5);
    EXPECT_EQ(oidStr(asn1::blob(content)), "1.3.(65 octets).5");
}

TEST(OidStr, SaysWhenAnArcBreaksOff) {
    EXPECT_EQ(dotted("2B80"), "1.3.(truncated)");
    EXPECT_EQ(dotted("550403FFFF"), "2.5.4.3.(truncated)");
}

TEST(OidStr, TakesLinearTimeOverMegabytes) {
    size_t const size = 1 << 20;
    Bytes small(size, 0x01), oneArc(size, 0xFF), unfinished(size, 0xFF), longArcs(size, 0xFF);
    oneArc.front() = unfinished.front() = longArcs.front() = 0x2B;
    oneArc.back() = 0x01;
    for (size_t i = 64; i < size; i += 64)
        longArcs[i] = 0x7F;
    EXPECT_EQ(oidStr(asn1::blob(small)).size(), 2 * size + 1);
    EXPECT_EQ(oidStr(asn1::blob(oneArc)), "1.3.(1048575 octets)");
    EXPECT_EQ(oidStr(asn1::blob(unfinished)), "1.3.(truncated)");
    EXPECT_GT(oidStr(asn1::blob(longArcs)).size(), 2 * size);
}

TEST(Str, ShowsOctetsInHexadecimalWithColons) {
    EXPECT_EQ(str(asn1::blob(hex("0AFF"))), "0a:ff");
    EXPECT_EQ(str(asn1::blob(hex("00"))), "00");
    EXPECT_EQ(str(asn1::blob(hex("0123456789ABCDEF"))), "01:23:45:67:89:ab:cd:ef");
    EXPECT_EQ(str(asn1::blob()), "");
}

/// The signature algorithms as RFC 8017, 3279, 5758 and 8410 number them, and what becomes of them here.
struct Signature {
    char const* dotted;
    char const* name;
    bool read;
    bool written;
    KeyType type;
    unsigned hash;
};

constexpr Signature signatures[] = {
    {"1.2.840.113549.1.1.4", "MD5+RSA", true, false, KeyType::RSA, 3},
    {"1.2.840.113549.1.1.5", "SHA1+RSA", true, true, KeyType::RSA, 4},
    {"1.2.840.113549.1.1.11", "SHA256+RSA", true, true, KeyType::RSA, 5},
    {"1.2.840.113549.1.1.12", "SHA384+RSA", true, true, KeyType::RSA, 6},
    {"1.2.840.113549.1.1.13", "SHA512+RSA", true, true, KeyType::RSA, 7},
    {"1.2.840.10045.4.1", "SHA1+ECDSA", true, true, KeyType::EC, 4},
    {"1.2.840.10045.4.3.1", "SHA224+ECDSA", false, false, KeyType::EC, 0},
    {"1.2.840.10045.4.3.2", "SHA256+ECDSA", true, true, KeyType::EC, 5},
    {"1.2.840.10045.4.3.3", "SHA384+ECDSA", true, true, KeyType::EC, 6},
    {"1.2.840.10045.4.3.4", "SHA512+ECDSA", true, true, KeyType::EC, 7},
    {"1.3.101.112", "ED25519", true, true, KeyType::Ed25519, 0},
    {"1.3.101.110", "1.3.101.110", true, true, KeyType::X25519, 0},
    {"1.3.101.113", "ED448", false, false, KeyType::RSA, 0},
    // Neighbours that mean nothing here.
    {"1.2.840.113549.1.1.1", "1.2.840.113549.1.1.1", false, false, KeyType::RSA, 0},
    {"1.2.840.113549.1.1.2", "1.2.840.113549.1.1.2", false, false, KeyType::RSA, 0},
    {"1.2.840.113549.1.1.10", "1.2.840.113549.1.1.10", false, false, KeyType::RSA, 0},
    {"1.2.840.113549.1.1.14", "1.2.840.113549.1.1.14", false, false, KeyType::RSA, 0},
    {"1.3.101.111", "1.3.101.111", false, false, KeyType::RSA, 0},
    {"2.5.4.3", "2.5.4.3", false, false, KeyType::RSA, 0},
};

TEST(Oid2Name, NamesSignatureAlgorithms) {
    for (Signature const& row : signatures)
        EXPECT_EQ(oid2name(asn1::blob(contentOf(row.dotted))), row.name);
    EXPECT_EQ(oid2name({}), "()");
}

TEST(ParseAlgosFromKeyInfo, GivesKeyTypeAndHashOfSignatureAlgorithms) {
    for (Signature const& row : signatures) {
        for (bool parameters : {false, true}) {
            DerEncoder encoder;
            encoder.begin(0x30).addOid(contentOf(row.dotted));
            if (parameters)
                encoder.addNull();
            Bytes const algId = encoder.end().take();
            auto const untouchedType = static_cast<KeyType>(77);
            auto const untouchedHash = static_cast<HashID>(88);
            KeyType type = untouchedType;
            HashID hash = untouchedHash;
            EXPECT_EQ(parseAlgosFromKeyInfo(asn1::blob(algId), &type, &hash), row.read) << row.dotted;
            EXPECT_EQ(type, row.read ? row.type : untouchedType) << row.dotted;
            EXPECT_EQ(hash, row.read ? static_cast<HashID>(row.hash) : untouchedHash) << row.dotted;
        }
    }
}

TEST(ParseAlgosFromKeyInfo, RefusesWhatIsNoAlgorithmIdentifier) {
    for (char const* bytes : {"", "30", "3000", "06032B6570", "310506032B6570", "300506042B6570",
                              "300506032B6571", "300606032B657005", "300406022B65", "300606042B657000"}) {
        Bytes const algId = hex(bytes);
        KeyType type = KeyType::EC;
        HashID hash = HashID::MD4;
        EXPECT_FALSE(parseAlgosFromKeyInfo(asn1::blob(algId), &type, &hash)) << bytes;
        EXPECT_EQ(type, KeyType::EC);
        EXPECT_EQ(hash, HashID::MD4);
    }
}

TEST(ParseAlgosFromKeyInfo, ComparesTheContentOfTheFirstElementWhateverItsTag) {
    Bytes const algId = hex("300504032B6570");
    KeyType type = KeyType::RSA;
    HashID hash = HashID::MD4;
    EXPECT_TRUE(parseAlgosFromKeyInfo(asn1::blob(algId), &type, &hash));
    EXPECT_EQ(type, KeyType::Ed25519);
    EXPECT_EQ(hash, HashID::none);
}

TEST(GetKeyInfoFromKeyHash, GivesTheSignatureAlgorithmOfEveryPair) {
    for (unsigned type = 0; type <= 5; ++type) {
        for (unsigned hash = 0; hash <= 8; ++hash) {
            Bytes expected;
            for (Signature const& row : signatures)
                if (row.written && static_cast<unsigned>(row.type) == type && row.hash == hash)
                    expected = contentOf(row.dotted);
            auto const keyType = static_cast<KeyType>(type);
            EXPECT_EQ(getKeyInfoFromKeyHash(keyType, static_cast<HashID>(hash)), asn1::blob(expected))
                << type << " " << hash;
            EXPECT_EQ(getKeyInfoFromKeyHash(keyType, hash), asn1::blob(expected));
        }
    }
    EXPECT_TRUE(getKeyInfoFromKeyHash(KeyType::RSA, HashID::MD5).empty());
    EXPECT_FALSE(getKeyInfoFromKeyHash(KeyType::EC, 5).empty());
}

TEST(HashOids, MapBothWays) {
    char const* const dottedForms[] = {nullptr,
                                       nullptr,
                                       nullptr,
                                       "1.2.840.113549.2.5",
                                       "1.3.14.3.2.26",
                                       "2.16.840.1.101.3.4.2.1",
                                       "2.16.840.1.101.3.4.2.2",
                                       "2.16.840.1.101.3.4.2.3",
                                       nullptr,
                                       nullptr};
    for (unsigned id = 0; id < std::size(dottedForms); ++id) {
        Bytes const expected = dottedForms[id] ? contentOf(dottedForms[id]) : Bytes();
        EXPECT_EQ(getHashOid(id), asn1::blob(expected)) << id;
        EXPECT_EQ(getHashOid(static_cast<HashID>(id)), asn1::blob(expected)) << id;
        if (dottedForms[id]) {
            EXPECT_EQ(getHashID(asn1::blob(expected)), static_cast<HashID>(id));
        }
    }
}

TEST(GetHashID, TakesPseudorandomFunctionsForTheirHash) {
    EXPECT_EQ(getHashID(asn1::blob(contentOf("1.2.840.113549.2.7"))), HashID::SHA1);
    EXPECT_EQ(getHashID(asn1::blob(contentOf("1.2.840.113549.2.9"))), HashID::SHA256);
    EXPECT_EQ(getHashID(asn1::blob(contentOf("1.2.840.113549.2.11"))), HashID::SHA512);
}

TEST(GetHashID, DoesNotKnowOthers) {
    for (char const* oid : {"1.2.840.113549.2.10", // hmacWithSHA384
                            "1.2.840.113549.2.4",  // MD4
                            "1.2.840.113549.2.6", "1.2.840.113549.2.8", "2.16.840.1.101.3.4.2.4", "2.5.4.3"})
        EXPECT_EQ(getHashID(asn1::blob(contentOf(oid))), HashID::none) << oid;
    EXPECT_EQ(getHashID({}), HashID::none);
}

TEST(KeyOids, MapBothWays) {
    struct {
        char const* dotted;
        KeyType type;
    } const rows[] = {
        {"1.2.840.113549.1.1.1", KeyType::RSA},
        {"1.2.840.10045.2.1", KeyType::EC},
        {"1.3.101.112", KeyType::Ed25519},
        {"1.3.101.110", KeyType::X25519},
    };
    for (auto const& row : rows) {
        Bytes const content = contentOf(row.dotted);
        EXPECT_EQ(getKeyType(asn1::blob(content)), row.type);
        EXPECT_EQ(getKeyOid(row.type), asn1::blob(content));
        EXPECT_TRUE(isKeyAlgorithm(asn1::blob(content)));
    }
    EXPECT_EQ(static_cast<unsigned>(KeyType::RSA), 0u);
    EXPECT_EQ(static_cast<unsigned>(KeyType::EC), 2u);
    EXPECT_EQ(static_cast<unsigned>(KeyType::Ed25519), 3u);
    EXPECT_EQ(static_cast<unsigned>(KeyType::X25519), 4u);
    EXPECT_TRUE(getKeyOid(static_cast<KeyType>(1)).empty());
}

TEST(GetKeyType, TakesUnknownOnesForRsa) {
    for (char const* oid : {"1.2.840.10040.4.1", "1.3.101.111", "1.3.101.113", "1.2.840.113549.1.1.5"}) {
        EXPECT_EQ(getKeyType(asn1::blob(contentOf(oid))), KeyType::RSA) << oid;
        EXPECT_FALSE(isKeyAlgorithm(asn1::blob(contentOf(oid)))) << oid;
    }
    EXPECT_EQ(getKeyType({}), KeyType::RSA);
    EXPECT_FALSE(isKeyAlgorithm({}));
}

TEST(CurveOids, MapBothWays) {
    char const* const dottedForms[] = {"1.2.840.10045.3.1.1", "1.3.132.0.33", "1.2.840.10045.3.1.7",
                                       "1.3.132.0.34", "1.3.132.0.35"};
    for (unsigned id = 1; id <= 5; ++id) {
        Bytes const content = contentOf(dottedForms[id - 1]);
        EXPECT_EQ(getCurveOid(id), asn1::blob(content));
        EXPECT_EQ(getCurveOid(static_cast<Curve>(id)), asn1::blob(content));
        EXPECT_EQ(getCurveID(asn1::blob(content)), static_cast<Curve>(id));
    }
    EXPECT_TRUE(getCurveOid(0u).empty());
    EXPECT_TRUE(getCurveOid(6u).empty());
    EXPECT_EQ(getCurveID(asn1::blob(contentOf("1.3.132.0.10"))), static_cast<Curve>(0)); // secp256k1
    EXPECT_EQ(getCurveID({}), static_cast<Curve>(0));
}

} // namespace TEST_FILE
