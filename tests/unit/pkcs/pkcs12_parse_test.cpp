#include "pkcs12_files.h"
#include "support/slow.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

/// That the file is refused, with these words.
void expectRefused(Bytes const& file, std::string const& said = "") {
    PKCS12PFX pfx;
    EXPECT_FALSE(saying(said, [&] { return pfx.parse(file); }));
}

constexpr char badContents[] = "PFX: unable to parse SafeContents\n";

TEST(Pkcs12Abi, MembersStandInTheirOrder) {
    PKCS12PFX const pfx;
    std::vector<void const*> const members = {&pfx.signedData,   &pfx.encryptedData, &pfx.envelopedData,
                                              &pfx.certificates, &pfx.keys,          &pfx.macAlgorithm,
                                              &pfx.mac,          &pfx.macSalt,       &pfx.macIterations};
    EXPECT_EQ(members.front(), static_cast<void const*>(&pfx));
    EXPECT_TRUE(std::is_sorted(members.begin(), members.end()));
}

TEST(Pkcs12Parse, ReadsWhatIsNotEncrypted) {
    PKCS12PFX pfx = parsedP12(P12Parts().der());
    expectAlice(pfx);
    EXPECT_TRUE(pfx.mac.empty());
    EXPECT_EQ(pfx.signedData, nullptr);
    EXPECT_TRUE(pfx.decrypt("anything")) << "there is nothing to open";
    expectAlice(pfx);
}

TEST(Pkcs12Parse, TakesVersion3Alone) {
    P12Parts parts;
    for (auto const& [content, shown] : std::vector<std::pair<Bytes, std::string>>{
             {{2}, "2"}, {{4}, "4"}, {{0}, "0"}, {{0xFF}, "-1"}, {{1, 3}, "259"}, {{3, 0}, "768"}}) {
        parts.version = integer(content);
        expectRefused(parts.der(), "PFX: invalid version: " + shown + "\n");
    }
    parts.version = integer(Bytes());
    expectRefused(parts.der());
    parts.version = octetString({3});
    expectRefused(parts.der());
}

TEST(Pkcs12Parse, LetsNothingFollow) {
    P12Parts parts;
    parts.more = integer(1);
    expectRefused(parts.der());
    parts.macData = macData({1});
    expectRefused(parts.der());
    parts.more = {};
    parsedP12(parts.der());
    expectRefused(join({parts.der(), integer(1)}));
    parts.more = parts.macData;
    expectRefused(parts.der());
}

TEST(Pkcs12Parse, NeedsAContentInfoOfDataOrSignedData) {
    Bytes const safe = P12Parts().safe();
    auto const file = [](Bytes const& contentInfo) { return sequence(integer(3), contentInfo); };
    parsedP12(file(dataContent(safe)));
    expectRefused(file({}));
    expectRefused(file(sequence(oid(envelopedDataOid), context(0, octetString(safe)))));
    expectRefused(file(sequence(oid(encryptedDataOid), context(0, octetString(safe)))));
    expectRefused(file(sequence(oid(dataOid))));
    expectRefused(file(sequence(oid(dataOid), context(0, safe)))); // no OCTET STRING
    expectRefused(file(sequence(oid(dataOid), context(0, octetString(safe), null()))));
    expectRefused(file(sequence(oid(dataOid), context(0, octetString(safe)), null())));
    expectRefused(file(sequence(oid(dataOid), context(1, octetString(safe)))));
    expectRefused(file(sequence(oid(signedDataOid), context(0, octetString(safe)))));
    expectRefused(file(dataContent({})));
    expectRefused(file(dataContent(join({safe, null()}))));
}

TEST(Pkcs12Parse, TakesTheSafeOutOfASignedData) {
    MessageParts message;
    message.content = sequence(oid(dataOid), context(0, octetString(P12Parts().safe())));
    PKCS12PFX pfx = parsedP12(sequence(integer(3), message.der()));
    expectAlice(pfx);
    ASSERT_NE(pfx.signedData, nullptr);
    EXPECT_EQ(pfx.signedData->signerInfos.size(), 1u);
    EXPECT_EQ(pfx.save(), sequence(integer(3), message.der()));

    message.content = sequence(oid(dataOid));
    expectRefused(sequence(integer(3), message.der()));
    message.content = sequence(oid(dataOid), context(0, P12Parts().safe()));
    expectRefused(sequence(integer(3), message.der()));
}

TEST(Pkcs12Parse, ReadsMacData) {
    P12Parts parts;
    parts.macData = macData({1, 2, 3}, integer({0x08, 0x00}));
    PKCS12PFX pfx = parsedP12(parts.der());
    EXPECT_EQ(pfx.mac, (Bytes{1, 2, 3}));
    EXPECT_EQ(pfx.macSalt, Bytes(8, 7));
    EXPECT_EQ(pfx.macIterations, 2048u);
    EXPECT_EQ(getHashID(pfx.macAlgorithm.oid), HashID::SHA256);
    parts.macData = macData({1, 2, 3});
    EXPECT_EQ(parsedP12(parts.der()).macIterations, 0u) << "not said";
}

TEST(Pkcs12Parse, RefusesMalformedMacData) {
    P12Parts parts;
    auto const expectBad = [&](Bytes const& data) {
        parts.macData = data;
        expectRefused(parts.der());
        PKCS12PFX pfx;
        EXPECT_FALSE(pfx.parseMAC(data));
        EXPECT_TRUE(pfx.mac.empty());
    };
    Bytes const digest = sequence(sha256Algorithm(), octetString({1}));
    expectBad(sequence());
    expectBad(sequence(digest));
    expectBad(sequence(octetString({1}), octetString({1})));
    expectBad(sequence(sequence(sha256Algorithm()), octetString({1})));
    expectBad(sequence(sequence(sha256Algorithm(), octetString({1}), null()), octetString({1})));
    expectBad(macData({})); // would pass for none
    expectBad(macData({1}, null()));
    expectBad(macData({1}, integer(1), null()));
}

TEST(Pkcs12Parse, BoundsTheIterationsOfTheMac) {
    P12Parts parts;
    auto const takes = [&](Bytes const& count) {
        parts.macData = macData({1}, integer(count));
        PKCS12PFX pfx;
        return pfx.parse(parts.der());
    };
    EXPECT_TRUE(takes({1}));
    EXPECT_TRUE(takes({0x00, 0x98, 0x96, 0x80}));
    EXPECT_FALSE(takes({0x00, 0x98, 0x96, 0x81}));
    EXPECT_FALSE(takes({0x7F, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(takes({0x00, 0x80, 0x00, 0x00, 0x00})) << "2^31";
    EXPECT_FALSE(takes({0}));
    EXPECT_FALSE(takes({}));
    EXPECT_FALSE(takes({0, 0, 0, 0, 1})) << "five bytes";
}

TEST(Pkcs12Parse, KeepsNamesKeyIdsAndTheOtherAttributes) {
    Bytes const friendly =
        attribute("1.2.840.113549.1.9.20", element(0x1E, {0, 'a', 0xD8, 0x3D, 0xDE, 0x00}));
    Bytes const keyId = attribute("1.2.840.113549.1.9.21", octetString({1, 2}));
    Bytes const unknown = attribute("1.2.3", null());
    P12Parts parts;
    parts.bags = {certBag(element(0x31, join({friendly, unknown, keyId, unknown}))), keyBag()};
    PKCS12PFX const pfx = parsedP12(parts.der());
    ASSERT_EQ(pfx.certificateAttributes.size(), 1u);
    EXPECT_EQ(pfx.certificateAttributes[0].friendlyName, "a\xF0\x9F\x98\x80");
    EXPECT_EQ(pfx.certificateAttributes[0].localKeyId, (Bytes{1, 2}));
    EXPECT_EQ(pfx.certificateAttributes[0].others, join({unknown, unknown}));
    ASSERT_EQ(pfx.keyAttributes.size(), 1u);
    EXPECT_EQ(pfx.keyAttributes[0].friendlyName, "");
}

TEST(Pkcs12Parse, KeepsUnusualNamesAndKeyIdsAsOthers) {
    auto const othersOf = [](Bytes const& attributes) {
        P12Parts parts;
        parts.bags = {certBag(element(0x31, attributes))};
        return parsedP12(parts.der()).certificateAttributes.at(0);
    };
    Bytes const utf8Name = attribute("1.2.840.113549.1.9.20", utf8String("a"));
    Bytes const numberId = attribute("1.2.840.113549.1.9.21", integer(1));
    Bytes const twice = attribute("1.2.840.113549.1.9.21", octetString({1}));
    EXPECT_EQ(othersOf(utf8Name).others, utf8Name);
    EXPECT_EQ(othersOf(numberId).others, numberId);
    Bytes const twoIds = attribute("1.2.840.113549.1.9.21", join({octetString({1}), octetString({2})}));
    EXPECT_EQ(othersOf(twoIds).others, twoIds);
    EXPECT_EQ(othersOf(join({twice, twice})).others, twice);
    EXPECT_EQ(othersOf(join({twice, twice})).localKeyId, (Bytes{1}));
    // Surrogates that stand alone, and half a character at the end.
    EXPECT_EQ(othersOf(attribute("1.2.840.113549.1.9.20", element(0x1E, {0xD8, 0x3D, 0, 'b', 0xDC, 0, 9})))
                  .friendlyName,
              "\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
}

TEST(Pkcs12Parse, NamesUnknownBagsAndGoesOn) {
    P12Parts parts;
    parts.bags.insert(parts.bags.begin(), bag("1.2.840.113549.1.12.10.1.4", null()));
    parts.bags.push_back(bag("1.2.3", sequence()));
    expectAlice(parsedP12(parts.der(), "PFX: unknown SafeBag type - 1.2.840.113549.1.12.10.1.4\n"
                                       "PFX: unknown SafeBag type - 1.2.3\n"));
}

TEST(Pkcs12Parse, NamesCertificatesThatAreNotX509) {
    P12Parts parts;
    parts.bags.push_back(
        bag(certBagOid, sequence(oid("1.2.840.113549.1.9.22.2"), context(0, utf8String("x")))));
    expectAlice(parsedP12(parts.der(), "PFX: unknown SafeBag type - 1.2.840.113549.1.9.22.2\n"));
}

TEST(Pkcs12Parse, SaysWhenSafeContentsDoNotParse) {
    auto const expectBad = [](Bytes const& safeContents) {
        P12Parts parts;
        parts.bags = {};
        parts.contents = {dataContent(safeContents)};
        expectRefused(parts.der(), badContents);
    };
    expectBad({});
    expectBad(null());
    expectBad(join({sequence(certBag()), null()}));
    expectBad(sequence(null()));
    expectBad(sequence(certBag(), null()));
    expectBad(sequence(sequence(oid(certBagOid))));
    expectBad(sequence(bag(certBagOid, null())));
    expectBad(
        sequence(bag(certBagOid, sequence(oid("1.2.840.113549.1.9.22.1"), context(0, octetString({1}))))));
    expectBad(sequence(bag(certBagOid, sequence(oid("1.2.840.113549.1.9.22.1"), context(0, null())))));
    expectBad(sequence(bag(keyBagOid, sequence(integer(0)))));
    expectBad(sequence(bag(shroudedBagOid, sequence(octetString({1})))));
    expectBad(sequence(certBag(null())));
    expectBad(sequence(certBag(element(0x31, null()))));
    expectBad(sequence(certBag(element(0x31, sequence(oid("1.2.3"))))));
    expectBad(sequence(certBag(join({element(0x31, Bytes()), null()}))));
}

TEST(Pkcs12Parse, RefusesOtherContentsOfTheSafe) {
    P12Parts parts;
    parts.contents = {sequence(oid(signedDataOid), context(0, octetString({1})))};
    expectRefused(parts.der());
    parts.contents = {sequence(oid(dataOid), context(0, null()))};
    expectRefused(parts.der());
    parts.contents = {sequence(oid(encryptedDataOid), context(0, null()))};
    expectRefused(parts.der());
    parts.contents = {sequence(oid(envelopedDataOid), context(0, null()))};
    expectRefused(parts.der());
    parts.contents = {null()};
    expectRefused(parts.der());
    parts.contents = {encryptedContent(algorithm(pbe3DesOid, pbeParams()), Bytes(8))};
    EXPECT_EQ(parsedP12(parts.der()).encryptedData.size(), 1u);
    parts.contents = {
        sequence(oid(encryptedDataOid),
                 context(0, sequence(integer(2), sequence(oid(dataOid), algorithm(pbe3DesOid)))))};
    expectRefused(parts.der(), "EncryptedData: invalid version: 2\n");
}

Bytes nested(unsigned depth) {
    Bytes inner = certBag();
    while (depth-- > 0)
        inner = bag(safeBagOid, sequence(inner));
    return inner;
}

TEST(Pkcs12Parse, FollowsBagsInBagsSixteenDeep) {
    P12Parts parts;
    for (unsigned depth : {1u, 2u, 16u}) {
        parts.bags = {nested(depth), keyBag()};
        expectAlice(parsedP12(parts.der()));
    }
    for (unsigned depth : {17u, lessWhenSlow(2000u, 100u)}) {
        parts.bags = {nested(depth), keyBag()};
        expectRefused(parts.der(), badContents);
    }
}

TEST(Pkcs12Parse, BeginsAnew) {
    PKCS12PFX pfx = newP12();
    pfx.iterations = 7;
    P12Parts parts;
    parts.macData = macData({1});
    ASSERT_TRUE(pfx.parse(parts.der()));
    ASSERT_TRUE(pfx.parse(P12Parts().der()));
    expectAlice(pfx);
    EXPECT_TRUE(pfx.mac.empty());
    EXPECT_EQ(pfx.iterations, 7u);
}

TEST(Pkcs12Parse, LeavesNothingOfWhatItRefuses) {
    P12Parts parts;
    parts.contents = {encryptedContent(algorithm(pbe3DesOid, pbeParams()), Bytes(8))};
    parts.macData = macData({1});
    parts.more = null();
    for (bool isBer : {false, true}) {
        PKCS12PFX pfx = parsedP12(P12Parts().der());
        pfx.iterations = 7;
        EXPECT_FALSE(isBer ? pfx.parseBer(parts.der()) : pfx.parse(parts.der()));
        EXPECT_EQ(dumped(pfx), "");
        EXPECT_TRUE(pfx.mac.empty());
        EXPECT_TRUE(pfx.macSalt.empty());
        EXPECT_EQ(pfx.encryptedContents(), 0u);
        EXPECT_EQ(pfx.saveAuthenticatedSafe(), PKCS12PFX().saveAuthenticatedSafe());
        EXPECT_EQ(pfx.iterations, 7u);
    }
}

TEST(Pkcs12Parse, TakesViewsOfTheObject) {
    MessageParts message;
    message.content = sequence(oid(dataOid), context(0, octetString(P12Parts().safe())));
    PKCS12PFX pfx = parsedP12(sequence(integer(3), message.der()));
    EXPECT_TRUE(pfx.parseContentInfo(pfx.signedData->raw));
    EXPECT_EQ(pfx.certificates.size(), 2u);
    EXPECT_FALSE(pfx.parse(pfx.signedData->raw)) << "which is no whole file";
    EXPECT_EQ(pfx.signedData, nullptr);
}

TEST(Pkcs12Parse, PartsAddToTheObject) {
    PKCS12PFX pfx;
    EXPECT_TRUE(pfx.parseSafeContents(sequence(certBag())));
    EXPECT_TRUE(pfx.parseSafeContents(sequence(keyBag())));
    expectAlice(pfx);
    EXPECT_TRUE(pfx.parseCertBag(
        sequence(oid("1.2.840.113549.1.9.22.1"), context(0, octetString(readMessage("recipient.der"))))));
    EXPECT_FALSE(pfx.parseCertBag(null()));
    EXPECT_FALSE(pfx.parseSafeContents(sequence(keyBag(), null()))) << "none of it is taken";
    ASSERT_EQ(pfx.certificates.size(), 2u);
    EXPECT_EQ(pfx.keys.size(), 1u);
    EXPECT_TRUE(pfx.parseAuthenticatedSafe(P12Parts().safe()));
    EXPECT_EQ(pfx.certificates.size(), 3u);
    EXPECT_TRUE(pfx.parseContentInfo(dataContent(P12Parts().safe())));
    EXPECT_EQ(pfx.keys.size(), 3u);
}

// BER

Bytes indefinite(unsigned tag, Bytes const& content) {
    return join({{static_cast<unsigned char>(tag), 0x80}, content, {0, 0}});
}
/// An OCTET STRING in two pieces, one of them in pieces itself.
Bytes pieces(Bytes const& content, unsigned tag = 0x24) {
    auto const middle = content.begin() + static_cast<ptrdiff_t>(content.size() / 2);
    return indefinite(tag, join({octetString(Bytes(content.begin(), middle)),
                                 indefinite(0x24, octetString(Bytes(middle, content.end())))}));
}

Bytes berFile(Bytes const& safe) {
    return indefinite(
        0x30, join({integer(3), indefinite(0x30, join({oid(dataOid), indefinite(0xA0, pieces(safe))}))}));
}

TEST(Pkcs12ParseBer, TakesIndefiniteLengthsAndStringsInPieces) {
    Bytes const safe = indefinite(
        0x30,
        indefinite(0x30, join({oid(dataOid),
                               indefinite(0xA0, pieces(indefinite(0x30, join({certBag(), keyBag()}))))})));
    PKCS12PFX pfx;
    EXPECT_FALSE(pfx.parse(berFile(safe)));
    EXPECT_TRUE(pfx.parseBer(berFile(safe)));
    expectAlice(pfx);
    EXPECT_EQ(pfx.saveAuthenticatedSafe(), safe) << "which the MAC is over";
}

TEST(Pkcs12ParseBer, TakesDerAsItIs) {
    PKCS12PFX pfx;
    EXPECT_TRUE(pfx.parseBer(P12Parts().der()));
    expectAlice(pfx);
    EXPECT_EQ(pfx.save(), P12Parts().der());
    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.encrypt(word));
    EXPECT_TRUE(pfx.parseBer(made.save()));
    EXPECT_TRUE(pfx.decrypt(word));
    expectAlice(pfx);
    EXPECT_EQ(pfx.save(), made.save());
}

TEST(Pkcs12ParseBer, OpensEncryptedContentsInPieces) {
    PKCS12PFX made;
    made.iterations = 1;
    ASSERT_TRUE(made.setPbes2Params(word, indefinite(0x30, join({certBag(), keyBag()})), CipherID::AesCbc));
    PKCS7EncryptedContentInfo const& info = made.encryptedData.at(0).encryptedContentInfo;
    Bytes const content = indefinite(
        0x30,
        join({oid(encryptedDataOid),
              indefinite(
                  0xA0,
                  indefinite(0x30, join({integer(0),
                                         indefinite(0x30, join({oid(dataOid),
                                                                encode(info.contentEncryptionAlgorithm),
                                                                pieces(info.encryptedContent, 0xA0)}))})))}));
    PKCS12PFX pfx;
    ASSERT_TRUE(pfx.parseBer(berFile(sequence(content))));
    EXPECT_EQ(pfx.encryptedData.at(0).encryptedContentInfo.encryptedContent, info.encryptedContent);
    EXPECT_TRUE(pfx.decrypt(word));
    expectAlice(pfx);
    // One more content comes to a safe that is DER then.
    ASSERT_TRUE(pfx.setPbes2Params(word, sequence(certBag()), CipherID::AesCbc));
    PKCS12PFX again = parsedP12(pfx.save());
    EXPECT_FALSE(again.decrypt(word)) << "what is encrypted is BER still";
    EXPECT_TRUE(again.parseBer(pfx.save()));
    EXPECT_TRUE(again.decrypt(word));
    EXPECT_EQ(again.certificates.size(), 2u);
}

TEST(Pkcs12ParseBer, OpensKeysThatAreBer) {
    Bytes const key = readMessage("p12-alice-key.der");
    asn1::parser whole{asn1::blob(key)};
    asn1::blob const fields = whole.take();
    Bytes encrypted;
    ASSERT_TRUE(pbe1_crypt({{}, pbeParams()}, word, indefinite(0x30, Bytes(fields.begin(), fields.end())),
                           encrypted, true));
    P12Parts parts;
    parts.bags = {certBag(),
                  bag(shroudedBagOid, sequence(algorithm(pbe3DesOid, pbeParams()), octetString(encrypted)))};
    PKCS12PFX pfx = parsedP12(parts.der());
    EXPECT_FALSE(saying(badContents, [&] { return pfx.decrypt(word); }));
    ASSERT_TRUE(pfx.parseBer(parts.der()));
    EXPECT_TRUE(pfx.decrypt(word));
    expectAlice(pfx);
}

TEST(Pkcs12ParseBer, IsOverWithTheFile) {
    Bytes const bags = indefinite(0x30, certBag());
    PKCS12PFX pfx;
    ASSERT_TRUE(pfx.parseBer(P12Parts().der()));
    EXPECT_TRUE(pfx.parseSafeContents(bags));
    pfx.iterations = 1;
    ASSERT_TRUE(pfx.encrypt(word));
    EXPECT_FALSE(pfx.parseSafeContents(bags));
    ASSERT_TRUE(pfx.parseBer(P12Parts().der()));
    ASSERT_TRUE(pfx.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    EXPECT_FALSE(pfx.parseSafeContents(bags));
    ASSERT_TRUE(pfx.parseBer(P12Parts().der()));
    ASSERT_TRUE(pfx.parse(P12Parts().der()));
    EXPECT_FALSE(pfx.parseSafeContents(bags));
}

TEST(Pkcs12ParseBer, RefusesWhatIsMalformed) {
    auto const refuses = [](Bytes const& file) {
        CapturedOutput quiet;
        PKCS12PFX pfx;
        return !pfx.parseBer(file);
    };
    Bytes const safe = P12Parts().safe(), good = berFile(safe);
    EXPECT_FALSE(refuses(good));
    EXPECT_TRUE(refuses({}));
    EXPECT_TRUE(refuses({0x30}));
    EXPECT_TRUE(refuses({0x30, 0x80}));
    EXPECT_TRUE(refuses({0x30, 0x85, 0, 0, 0, 0, 0})) << "five octets of length";
    EXPECT_TRUE(refuses({0x1F, 0x01, 0x00})) << "a long tag";
    EXPECT_TRUE(refuses({0x04, 0x80, 0x00, 0x00})) << "a primitive of indefinite length";
    EXPECT_TRUE(refuses({0x30, 0x80, 0x00, 0x01, 0x00})) << "an end with contents";
    EXPECT_TRUE(refuses({0x30, 0x02, 0x00, 0x00})) << "an end that ends nothing";
    EXPECT_TRUE(refuses(join({good, {0}})));
    for (size_t size = 0; size < good.size(); size++)
        EXPECT_TRUE(refuses(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size)))) << size;
    EXPECT_TRUE(refuses(sequence(integer(3), sequence(oid(dataOid), context(0, element(0x24, null()))))))
        << "a piece of another type";
    EXPECT_TRUE(refuses(repeat({0x30, 0x80}, 100000)));
    EXPECT_TRUE(refuses(repeat({0x24, 0x80}, 100000)));
}

} // namespace TEST_FILE
