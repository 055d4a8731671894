#include "sealkit/oid.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::hex;
using test::toHex;
using Bytes = std::vector<unsigned char>;

/// The prefixes of RFC 8017 section 9.2, note 1: everything of a DigestInfo but the digest.
struct Prefix {
    unsigned id;
    size_t digestLength;
    char const* digits;
};

constexpr Prefix prefixes[] = {
    {3, 16, "3020300c06082a864886f70d020505000410"},   {4, 20, "3021300906052b0e03021a05000414"},
    {5, 32, "3031300d060960864801650304020105000420"}, {6, 48, "3041300d060960864801650304020205000430"},
    {7, 64, "3051300d060960864801650304020305000440"},
};

TEST(SaveDigest, WritesTheDigestInfoOfRfc8017) {
    for (Prefix const& row : prefixes) {
        Bytes const digest(row.digestLength, 0xD1);
        DerEncoder encoder;
        saveDigest(encoder, static_cast<HashID>(row.id), asn1::blob(digest));
        EXPECT_EQ(toHex(encoder.take()), row.digits + toHex(digest));
        saveDigest(encoder, row.id, asn1::blob(digest));
        EXPECT_EQ(toHex(encoder.take()), row.digits + toHex(digest));
    }
}

TEST(SaveHash, WritesTheAlgorithmWithNull) {
    DerEncoder encoder;
    saveHash(encoder, HashID::SHA256);
    EXPECT_EQ(toHex(encoder.take()), "300d06096086480165030402010500");
    saveHash(encoder, 4);
    EXPECT_EQ(toHex(encoder.take()), "300906052b0e03021a0500");
    // A hash without an identifier has an empty one.
    saveHash(encoder, 0);
    EXPECT_EQ(toHex(encoder.take()), "300406000500");
}

HashID hashOf(std::string_view digits) {
    Bytes const algId = hex(digits);
    return getHashFromDER(asn1::blob(algId));
}

TEST(GetHashFromDER, ReadsWhatSaveHashWrites) {
    for (Prefix const& row : prefixes) {
        DerEncoder encoder;
        saveHash(encoder, row.id);
        Bytes const algId = encoder.take();
        EXPECT_EQ(getHashFromDER(asn1::blob(algId)), static_cast<HashID>(row.id));
    }
    EXPECT_EQ(hashOf("300c06082a864886f70d02090500"), HashID::SHA256) << "hmacWithSHA256";
}

TEST(GetHashFromDER, NeedsNullAsParameters) {
    EXPECT_EQ(hashOf("300b0609608648016503040201"), HashID::none) << "absent";
    EXPECT_EQ(hashOf("300d06096086480165030402013000"), HashID::none) << "another type";
    EXPECT_EQ(hashOf("300d06096086480165030402010501"), HashID::none) << "malformed";
    EXPECT_EQ(hashOf("300e0609608648016503040201050100"), HashID::SHA256) << "contents are not looked at";
}

TEST(GetHashFromDER, NeedsASequenceThatBeginsWithAnOid) {
    EXPECT_EQ(hashOf(""), HashID::none);
    EXPECT_EQ(hashOf("3000"), HashID::none);
    EXPECT_EQ(hashOf("310d06096086480165030402010500"), HashID::none);
    EXPECT_EQ(hashOf("300d04096086480165030402010500"), HashID::none);
    EXPECT_EQ(hashOf("0609608648016503040201"), HashID::none);
    EXPECT_EQ(hashOf("300c06086086480165030402 0500"), HashID::none) << "unknown";
    EXPECT_EQ(hashOf("300d06096086480165030402 01"), HashID::none) << "cut off";
}

TEST(CalcDigest, DigestsWithEveryHash) {
    struct {
        unsigned id;
        char const* digest;
    } const rows[] = {
        {1, "900150983cd24fb0d6963f7d28e17f72a9993e364706816aba3e25717850c26c9cd0d89d"},
        {2, "a448017aaf21d8525fc10ae87aa6729d"},
        {3, "900150983cd24fb0d6963f7d28e17f72"},
        {4, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {5, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {6,
         "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
        {7, "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd"
            "454d4423643ce80e2a9ac94fa54ca49f"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(toHex(calcDigest(row.id, asn1::blob("abc"))), row.digest);
        EXPECT_EQ(toHex(calcDigest(static_cast<HashID>(row.id), asn1::blob("abc"))), row.digest);
    }
    EXPECT_EQ(toHex(calcDigest(HashID::MD5, {})), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(CalcDigest, IsEmptyForUnknownHashes) {
    for (unsigned id : {0u, 8u, 1000u})
        EXPECT_TRUE(calcDigest(id, asn1::blob("abc")).empty()) << id;
}

bool parseHex(AlgorithmIdentifier& algorithm, std::string_view digits) {
    Bytes const content = hex(digits);
    return parse(algorithm, asn1::blob(content));
}

TEST(AlgorithmIdentifier, HasItsFieldsInOrder) {
    AlgorithmIdentifier algorithm;
    EXPECT_EQ(static_cast<void*>(&algorithm.oid), static_cast<void*>(&algorithm));
    EXPECT_EQ(static_cast<void*>(&algorithm.params), static_cast<void*>(&algorithm.oid + 1));
}

TEST(AlgorithmIdentifier, ReadsTheContentOfItsSequence) {
    AlgorithmIdentifier algorithm;
    ASSERT_TRUE(parseHex(algorithm, "06072a8648ce3d0201 06082a8648ce3d030107"));
    EXPECT_EQ(toHex(algorithm.oid), "2a8648ce3d0201");
    EXPECT_EQ(toHex(algorithm.params), "06082a8648ce3d030107");
    ASSERT_TRUE(parseHex(algorithm, "06092a864886f70d01010b 0500"));
    EXPECT_EQ(toHex(algorithm.oid), "2a864886f70d01010b");
    EXPECT_EQ(toHex(algorithm.params), "0500");
}

TEST(AlgorithmIdentifier, AbsentParametersReadAsTheOidAgain) {
    AlgorithmIdentifier algorithm;
    ASSERT_TRUE(parseHex(algorithm, "06032b6570"));
    EXPECT_EQ(toHex(algorithm.oid), "2b6570");
    EXPECT_EQ(toHex(algorithm.params), "06032b6570");
    EXPECT_EQ(toHex(encode(algorithm)), "300a06032b657006032b6570");
}

TEST(AlgorithmIdentifier, RefusesOtherContents) {
    AlgorithmIdentifier algorithm;
    EXPECT_FALSE(parseHex(algorithm, "")) << "empty";
    EXPECT_FALSE(parseHex(algorithm, "300506032b6570")) << "the SEQUENCE itself";
    EXPECT_FALSE(parseHex(algorithm, "04032b6570 0500")) << "no OID";
    EXPECT_FALSE(parseHex(algorithm, "06032b6570 0500 0500")) << "something behind the parameters";
    EXPECT_FALSE(parseHex(algorithm, "06032b6570 0500 05")) << "something malformed behind them";
    EXPECT_FALSE(parseHex(algorithm, "06032b6570 05")) << "malformed parameters";
    EXPECT_FALSE(parseHex(algorithm, "06042b6570")) << "cut off";
}

TEST(AlgorithmIdentifier, IsWrittenWithItsParametersAsTheyAre) {
    AlgorithmIdentifier algorithm{hex("2b6570"), {}};
    EXPECT_EQ(toHex(encode(algorithm)), "300506032b6570");
    algorithm.params = hex("0500");
    EXPECT_EQ(toHex(encode(algorithm)), "300706032b65700500");
    DerEncoder encoder;
    save(algorithm, encoder.begin(0x30));
    EXPECT_EQ(toHex(encoder.end().take()), "3009300706032b65700500");
    // Not even when they are no element.
    algorithm.params = hex("ffff");
    EXPECT_EQ(toHex(encode(algorithm)), "300706032b6570ffff");
}

} // namespace TEST_FILE
