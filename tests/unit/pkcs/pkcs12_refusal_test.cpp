#include "pkcs12_files.h"

#include "support/captured_output.h"
#include "support/slow.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

using Ids = std::vector<RefusalId>;

/// The refusal of `call`, which must fail and write nothing.
template <typename Call>
Refusal refusalOf(Call const& call) {
    CapturedOutput output;
    Refusal refusal;
    EXPECT_FALSE(call(&refusal));
    EXPECT_EQ(output.text(), "");
    EXPECT_NE(refusal.id, RefusalId::none);
    return refusal;
}

Refusal parseRefusal(Bytes const& file, PKCS12Options const& options = {}) {
    PKCS12PFX stated;
    {
        CapturedOutput quiet;
        EXPECT_EQ(options.ber ? stated.parseBer(file) : stated.parse(file), false);
    }
    return refusalOf([&](Refusal* refusal) { return PKCS12PFX().parse(file, options, refusal); });
}

PKCS12Options partially(bool ber = false) {
    PKCS12Options options;
    options.ber = ber;
    options.partial = true;
    return options;
}

PKCS12PFX readPartially(Bytes const& file) {
    CapturedOutput output;
    PKCS12PFX pfx;
    Refusal refusal;
    EXPECT_TRUE(pfx.parse(file, partially(), &refusal)) << refusal.str();
    EXPECT_FALSE(refusal);
    EXPECT_EQ(output.text(), "");
    return pfx;
}

Refusal decryptRefusal(PKCS12PFX& pfx, std::string_view password, PKCS12Options const& options = {}) {
    return refusalOf([&](Refusal* refusal) { return pfx.decrypt(password, options, refusal); });
}

Ids idsOf(std::vector<Refusal> const& refusals) {
    Ids ids;
    for (Refusal const& refusal : refusals)
        ids.push_back(refusal.id);
    return ids;
}

Bytes encryptedBy(std::string_view password, Bytes const& plain) {
    Bytes out;
    EXPECT_TRUE(pbe1_crypt({oidOctets(pbe3DesOid), pbeParams()}, password, plain, out, true));
    return out;
}
Bytes contentUnder(std::string_view password, Bytes const& plain) {
    return encryptedContent(algorithm(pbe3DesOid, pbeParams()), encryptedBy(password, plain));
}
Bytes keyUnder(std::string_view password, Bytes const& plain) {
    return bag(shroudedBagOid,
               sequence(algorithm(pbe3DesOid, pbeParams()), octetString(encryptedBy(password, plain))));
}

/// A MacData of 2048 iterations that does not say so, or of 1.
Bytes macOver(Bytes const& safe, unsigned iterations = 2048) {
    PKCS12PFX made;
    made.macSalt = Bytes(8, 7);
    made.macIterations = iterations;
    return macData(made.computeMAC(word, {}, safe));
}

/// A certificate without fields, as a bag.
Bytes unreadableCertificate() {
    return bag(certBagOid,
               sequence(oid("1.2.840.113549.1.9.22.1"), context(0, octetString(sequence(null())))));
}

TEST(Pkcs12Refusal, TellsWhatIsWrongWithTheWhole) {
    P12Parts parts;
    EXPECT_EQ(parseRefusal({}).id, RefusalId::emptyInput);
    EXPECT_EQ(parseRefusal(readMessage("p12-alice.der")).id, RefusalId::otherKind);
    EXPECT_EQ(parseRefusal(readMessage("p12-alice-key.der")).id, RefusalId::otherKind);
    EXPECT_EQ(parseRefusal(readMessage("p12-alice.der")).facts.at(1).value, "certificate");
    Bytes cut = parts.der();
    cut.pop_back();
    EXPECT_EQ(parseRefusal(cut).id, RefusalId::truncatedElement);
    EXPECT_EQ(parseRefusal(cut).offset, 0u);
    EXPECT_EQ(parseRefusal(cut, {.ber = true}).id, RefusalId::truncatedElement);
    Bytes more = parts.der();
    more.push_back(0);
    EXPECT_EQ(parseRefusal(more).id, RefusalId::trailingBytes);
    EXPECT_EQ(parseRefusal(more).offset, more.size() - 1);
    parts.version = integer(2);
    Refusal const version = parseRefusal(parts.der());
    EXPECT_EQ(version.id, RefusalId::pkcs12Version);
    EXPECT_EQ(version.facts.at(1).value, "2");
    EXPECT_EQ(parseRefusal(readP12("pk12util")).id, RefusalId::indefiniteLength);
}

TEST(Pkcs12Refusal, TellsWhatIsWrongWithTheMac) {
    P12Parts parts;
    parts.macData = macData(Bytes(32), integer(Bytes{0x7F, 0xFF, 0xFF, 0xFF}));
    Refusal refusal = parseRefusal(parts.der());
    EXPECT_EQ(refusal.id, RefusalId::iterationCount);
    EXPECT_EQ(refusal.path, "macData");
    EXPECT_EQ(refusal.facts.at(1).value, "2147483647");
    parts.macData = macData({});
    EXPECT_EQ(parseRefusal(parts.der()).id, RefusalId::emptyMac);
    parts.macData = sequence(null());
    refusal = parseRefusal(parts.der());
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.path, "macData, mac");

    PKCS12PFX pfx = parsedP12(readP12("openssl-mac-sha224"));
    EXPECT_EQ(pfx.macName(), "SHA224");
    refusal = decryptRefusal(pfx, word);
    EXPECT_EQ(refusal.id, RefusalId::unsupportedMac);
    EXPECT_EQ(refusal.facts.at(0).value, "SHA224");
    EXPECT_EQ(refusalOf([&](Refusal* why) { return pfx.canDecrypt({}, why); }).id, RefusalId::unsupportedMac);

    pfx = parsedP12(readP12("openssl-modern"));
    EXPECT_EQ(decryptRefusal(pfx, "wrong").id, RefusalId::macMismatch);
    EXPECT_TRUE(pfx.needsPassword());
    EXPECT_TRUE(pfx.canDecrypt({}, nullptr));
}

TEST(Pkcs12Refusal, LeadsToTheBagAndIntoIt) {
    P12Parts parts;
    parts.contents = {dataContent(sequence(certBag(), sequence(certBag(), null())))};
    Bytes const file = parts.der();
    Refusal const refusal = parseRefusal(file);
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.path, "content 2, bag 2, bagId");
    Bytes const inner = sequence(certBag(), null());
    auto const found = std::search(file.begin(), file.end(), inner.begin(), inner.end());
    // Behind the header of the bag, which has four octets.
    EXPECT_EQ(refusal.offset, static_cast<size_t>(found - file.begin()) + 4);
    parts.contents = {dataContent(sequence(bag(safeBagOid, sequence(unreadableCertificate()))))};
    EXPECT_TRUE(parseRefusal(parts.der()).path.starts_with("content 2, bag 1, bag 1, certificate"))
        << parseRefusal(parts.der()).path;
    parts.contents = {sequence(oid("1.2.3"), context(0, null()))};
    EXPECT_EQ(parseRefusal(parts.der()).id, RefusalId::unsupportedContentType);
}

TEST(Pkcs12Refusal, OfACertificateOfVersion1IsForThePlatformAlone) {
    Bytes const signedWith = algorithm("1.2.840.113549.1.1.11", null());
    Bytes const holder = name({{"2.5.4.3", "old"}});
    Bytes const tbs =
        sequence(integer(1), signedWith, holder, sequence(utcTime("240101000000Z"), utcTime("250101000000Z")),
                 holder, p12Certificate()->subjectPublicKeyInfo);
    Bytes const old = sequence(tbs, signedWith, bitString({0xDE, 0xAD}));
    Bytes const oldBag =
        bag(certBagOid, sequence(oid("1.2.840.113549.1.9.22.1"), context(0, octetString(old))));
    PKCS12Options standard;
    standard.forms = FormRules::standard;

    P12Parts parts;
    parts.bags = {oldBag};
    EXPECT_EQ(parseRefusal(parts.der()).id, RefusalId::certificateVersion);
    PKCS12PFX pfx;
    Refusal refusal;
    ASSERT_TRUE(pfx.parse(parts.der(), standard, &refusal)) << refusal.str();
    ASSERT_EQ(pfx.certificates.size(), 1u);
    EXPECT_EQ(pfx.certificates[0]->serialize(), old);
    ASSERT_NE(pfx.certificates[0]->platformRefusal(), nullptr);
    EXPECT_EQ(pfx.certificates[0]->platformRefusal()->id, RefusalId::certificateVersion);

    parts.bags = {certBag()};
    parts.contents = {contentUnder(word, sequence(oldBag))};
    pfx = parsedP12(parts.der());
    EXPECT_EQ(decryptRefusal(pfx, word).id, RefusalId::certificateVersion);
    ASSERT_TRUE(pfx.decrypt(word, standard, &refusal)) << refusal.str();
    ASSERT_EQ(pfx.certificates.size(), 2u);
    EXPECT_EQ(pfx.certificates[1]->serialize(), old);
}

TEST(Pkcs12Refusal, TellsAWrongPasswordFromAnotherOneAndFromMalformedContents) {
    P12Parts parts;
    parts.contents = {contentUnder("another", sequence(certBag()))};
    PKCS12PFX pfx = parsedP12(parts.der());
    EXPECT_EQ(decryptRefusal(pfx, word).id, RefusalId::wrongPassword);
    parts.macData = macOver(parts.safe());
    pfx = parsedP12(parts.der());
    Refusal refusal = decryptRefusal(pfx, word);
    EXPECT_EQ(refusal.id, RefusalId::contentPassword);
    EXPECT_EQ(refusal.path, "content 2");
    EXPECT_LT(refusal.offset, parts.der().size());

    for (bool hasMac : {false, true}) {
        parts.contents = {contentUnder(word, sequence(certBag(), null()))};
        parts.macData = hasMac ? macOver(parts.safe()) : Bytes();
        pfx = parsedP12(parts.der());
        refusal = decryptRefusal(pfx, word);
        EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
        EXPECT_TRUE(refusal.path.starts_with("content 2, bag 2, byte ")) << refusal.path;
        EXPECT_TRUE(refusal.path.ends_with(" of the decrypted content")) << refusal.path;
    }
    parts.contents = {};
    parts.macData = {};
    parts.bags = {keyUnder(word, sequence(integer(0)))};
    pfx = parsedP12(parts.der());
    refusal = decryptRefusal(pfx, word);
    EXPECT_NE(refusal.id, RefusalId::wrongPassword);
    EXPECT_TRUE(refusal.path.starts_with("content 1, bag 1, encrypted key")) << refusal.path;
    EXPECT_EQ(decryptRefusal(pfx, "wrong").id, RefusalId::wrongPassword);
}

TEST(Pkcs12Refusal, NamesSchemesAndCiphers) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-rc2"));
    for (Refusal const& refusal :
         {decryptRefusal(pfx, word), refusalOf([&](Refusal* why) { return pfx.canDecrypt({}, why); })}) {
        EXPECT_EQ(refusal.id, RefusalId::unknownEncryption);
        EXPECT_EQ(refusal.facts.at(0).value, "PBE-SHA1-RC2-40");
        EXPECT_EQ(refusal.path, "content 1");
        EXPECT_NE(refusal.offset, Refusal::nowhere);
    }
    pfx = parsedP12(readP12("openssl-camellia"));
    for (Refusal const& refusal :
         {decryptRefusal(pfx, word), refusalOf([&](Refusal* why) { return pfx.canDecrypt({}, why); })}) {
        EXPECT_EQ(refusal.id, RefusalId::unsupportedCipher);
        EXPECT_EQ(refusal.facts.at(0).value.substr(0, 8), "Camellia");
    }
}

TEST(Pkcs12Refusal, BoundsTheIterationsOfAFile) {
    P12Parts parts;
    Bytes const slow = pbeParams({0x00, 0x98, 0x96, 0x80}); // 10,000,000
    parts.contents = std::vector<Bytes>(4, encryptedContent(algorithm(pbe3DesOid, slow), Bytes(8)));
    PKCS12PFX pfx = parsedP12(parts.der());
    Refusal const refusal = decryptRefusal(pfx, word);
    EXPECT_EQ(refusal.id, RefusalId::totalIterations);
    EXPECT_EQ(refusal.facts.at(1).value, "40000000");
}

TEST(Pkcs12Refusal, OfParametersAndOfPbe1) {
    PBEParams params;
    auto const refused = [&](Bytes const& der) {
        return refusalOf([&](Refusal* refusal) { return parse(params, der, refusal); });
    };
    EXPECT_EQ(refused(pbeParams({0})).id, RefusalId::iterationCount);
    EXPECT_EQ(refused(sequence(octetString({}))).id, RefusalId::missingElement);
    EXPECT_EQ(refused(null()).id, RefusalId::unexpectedElement);
    Bytes out;
    auto const crypted = [&](Bytes const& data, std::string_view password) {
        return refusalOf([&](Refusal* refusal) {
            return pbe1_crypt({oidOctets(pbe3DesOid), pbeParams()}, password, data, out, false, refusal);
        });
    };
    EXPECT_EQ(crypted(Bytes(7), word).id, RefusalId::malformedCiphertext);
    EXPECT_EQ(crypted(Bytes(8), word).id, RefusalId::wrongPassword);
}

TEST(Pkcs12Mac, WithoutACountIsTriedWithOtherCounts) {
    PKCS12Options options;
    options.macIterations = {pkcs12MacIterations, 1};
    PKCS12PFX pfx = parsedP12(readP12("openssl-nomaciter"));
    EXPECT_EQ(decryptRefusal(pfx, word).id, RefusalId::macMismatch);
    EXPECT_EQ(decryptRefusal(pfx, "wrong", options).id, RefusalId::macMismatch);
    EXPECT_TRUE(pfx.decrypt(word, options, nullptr));
    expectAlice(pfx);
    EXPECT_EQ(pfx.macIterations, 0u);
    EXPECT_EQ(pfx.save(), readP12("openssl-nomaciter"));
    // The count of the file decides where it has one.
    options.macIterations = {1};
    pfx = parsedP12(readP12("openssl-modern"));
    EXPECT_TRUE(pfx.decrypt(word, options, nullptr));
    // Counts that are not done are ignored.
    options.macIterations = {0, pkcs12MaxIterations + 1};
    pfx = parsedP12(readP12("openssl-nomaciter"));
    EXPECT_EQ(decryptRefusal(pfx, word, options).id, RefusalId::macMismatch);
}

TEST(Pkcs12Options, ReadBerAndTellIt) {
    PKCS12PFX pfx;
    Refusal refusal;
    EXPECT_TRUE(pfx.parse(readP12("pk12util"), {.ber = true}, &refusal)) << refusal.str();
    EXPECT_TRUE(pfx.isBer());
    if (!test::isSlow()) { // It has many iterations.
        EXPECT_TRUE(pfx.decrypt(word, &refusal)) << refusal.str();
        EXPECT_EQ(pfx.keys.size(), 1u);
    }
    EXPECT_TRUE(pfx.parse(readP12("openssl-modern"), {.ber = true}, &refusal)) << refusal.str();
    EXPECT_FALSE(pfx.isBer());
    EXPECT_TRUE(pfx.decrypt(word, &refusal)) << refusal.str();
    EXPECT_EQ(pfx.keys.size(), 1u);
    // Offsets are those of the file where it is DER.
    P12Parts parts;
    parts.contents = {dataContent(sequence(null()))};
    EXPECT_EQ(parseRefusal(parts.der(), {.ber = true}).offset, parseRefusal(parts.der()).offset);
}

TEST(Pkcs12Partial, GivesTheBagsThatCanBeRead) {
    P12Parts parts;
    parts.bags = {certBag(), unreadableCertificate(), sequence(null()), keyBag()};
    parts.contents = {sequence(oid("1.2.3"), context(0, null())), dataContent(null()),
                      dataContent(sequence(certBag()))};
    EXPECT_TRUE(parseRefusal(parts.der()).path.starts_with("content 1, bag 2, certificate"));
    PKCS12PFX const pfx = readPartially(parts.der());
    EXPECT_EQ(pfx.certificates.size(), 2u);
    EXPECT_EQ(pfx.certificateAttributes.size(), 2u);
    EXPECT_EQ(pfx.keys.size(), 1u);
    std::vector<Refusal> const unreadable = pfx.unreadable();
    ASSERT_EQ(unreadable.size(), 4u);
    EXPECT_TRUE(unreadable[0].path.starts_with("content 1, bag 2, certificate"));
    EXPECT_EQ(unreadable[1].path, "content 1, bag 3, bagId");
    EXPECT_EQ(unreadable[2].id, RefusalId::unsupportedContentType);
    EXPECT_EQ(unreadable[2].path, "content 2");
    EXPECT_EQ(unreadable[3].path, "content 3");
    EXPECT_EQ(pfx.save(), parts.der()) << "nothing is lost";
}

TEST(Pkcs12Partial, NeverProtectsWhatItWouldLose) {
    P12Parts parts;
    parts.bags = {certBag(), unreadableCertificate()};
    PKCS12PFX pfx = readPartially(parts.der());
    EXPECT_FALSE(pfx.encrypt(word));
    EXPECT_EQ(pfx.save(), parts.der());
}

TEST(Pkcs12Partial, DecryptsWhatItCan) {
    P12Parts parts;
    parts.bags = {keyUnder(word, readMessage("p12-alice-key.der")), keyUnder(word, sequence(integer(0))),
                  bag(shroudedBagOid,
                      sequence(algorithm("1.2.840.113549.1.12.1.6", pbeParams()), octetString(Bytes(8))))};
    parts.contents = {contentUnder(word, sequence(certBag(), null(), certBag())),
                      contentUnder("another", sequence(certBag())),
                      encryptedContent(algorithm("1.2.840.113549.1.12.1.6", pbeParams()), Bytes(8)),
                      contentUnder(word, sequence(unreadableCertificate(), certBag()))};
    for (bool hasMac : {false, true}) {
        parts.macData = hasMac ? macOver(parts.safe()) : Bytes();
        PKCS12PFX pfx = readPartially(parts.der());
        EXPECT_EQ(decryptRefusal(pfx, "wrong", partially()).id,
                  hasMac ? RefusalId::macMismatch : RefusalId::wrongPassword);
        Refusal refusal;
        ASSERT_TRUE(pfx.decrypt(word, partially(), &refusal)) << refusal.str();
        EXPECT_EQ(pfx.keys.size(), 1u);
        EXPECT_EQ(pfx.certificates.size(), 2u);
        EXPECT_EQ(pfx.encryptedKeys(), 2u);
        EXPECT_EQ(pfx.encryptedContents(), 2u);
        std::vector<Refusal> const unreadable = pfx.unreadable();
        ASSERT_EQ(unreadable.size(), 6u);
        EXPECT_TRUE(unreadable[0].path.starts_with("content 1, bag 2, encrypted key")) << unreadable[0].str();
        EXPECT_EQ(unreadable[1].id, RefusalId::unknownEncryption);
        EXPECT_TRUE(unreadable[2].path.starts_with("content 2, bag 2")) << unreadable[2].str();
        EXPECT_EQ(unreadable[3].id, hasMac ? RefusalId::contentPassword : RefusalId::wrongPassword);
        EXPECT_EQ(unreadable[4].id, RefusalId::unknownEncryption);
        EXPECT_TRUE(unreadable[5].path.starts_with("content 5, bag 1, certificate")) << unreadable[5].str();
        for (Refusal const& one : unreadable)
            EXPECT_LT(one.offset, parts.der().size()) << one.str();
        // Once more, it is the same.
        ASSERT_TRUE(pfx.decrypt(word, partially(), &refusal));
        EXPECT_EQ(idsOf(pfx.unreadable()), idsOf(unreadable));
        EXPECT_EQ(pfx.certificates.size(), 2u);
    }
}

TEST(Pkcs12Partial, NeedsSomethingThatCanBeDecrypted) {
    PKCS12PFX pfx = readPartially(readP12("openssl-rc2"));
    Refusal refusal;
    bool const canDecrypt = pfx.canDecrypt(partially(), &refusal);
    EXPECT_TRUE(canDecrypt) << "its key can be";
    P12Parts parts;
    parts.bags = {};
    parts.contents = {encryptedContent(algorithm("1.2.840.113549.1.12.1.6", pbeParams()), Bytes(8))};
    pfx = readPartially(parts.der());
    EXPECT_EQ(refusalOf([&](Refusal* why) { return pfx.canDecrypt(partially(), why); }).id,
              RefusalId::unknownEncryption);
}

TEST(Pkcs12Partial, BoundsWhatItSetsAside) {
    P12Parts parts;
    parts.bags = std::vector<Bytes>(pkcs12MaxUnreadable, sequence());
    EXPECT_EQ(readPartially(parts.der()).unreadable().size(), pkcs12MaxUnreadable);
    parts.bags.push_back(sequence());
    EXPECT_EQ(
        refusalOf([&](Refusal* refusal) { return PKCS12PFX().parse(parts.der(), partially(), refusal); }).id,
        RefusalId::missingElement);
}

TEST(Pkcs12Partial, DecryptsForARecipient) {
    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    PKCS12PFX pfx = readPartially(made.save());
    EXPECT_TRUE(pfx.needsRecipient());
    EXPECT_FALSE(pfx.needsPassword());
    EXPECT_EQ(refusalOf([&](Refusal* refusal) {
                  return pfx.decryptEnveloped(*p12Certificate(), *p12Key(), partially(), refusal);
              }).id,
              RefusalId::notARecipient);
    Refusal refusal;
    EXPECT_TRUE(pfx.decryptEnveloped(*rsaCertificate(), *rsaKey(), partially(), &refusal)) << refusal.str();
    expectAlice(pfx);
    EXPECT_FALSE(pfx.needsRecipient());
}

TEST(Pkcs12Ignored, BagsAreValues) {
    P12Parts parts;
    parts.bags = {certBag(), bag("1.2.840.113549.1.12.10.1.4", null()),
                  bag("1.2.840.113549.1.12.10.1.5", null()), bag(safeBagOid, sequence(bag("1.2.3", null()))),
                  bag(certBagOid, sequence(oid("1.2.840.113549.1.9.22.2"), context(0, null())))};
    CapturedOutput output;
    PKCS12PFX pfx;
    ASSERT_TRUE(pfx.parse(parts.der(), nullptr));
    EXPECT_EQ(output.text(), "");
    std::vector<PKCS12IgnoredBag> const ignored = pfx.ignoredBags();
    ASSERT_EQ(ignored.size(), 4u);
    EXPECT_EQ(ignored[0].name(), "CRL");
    EXPECT_EQ(ignored[0].path, "content 1, bag 2");
    EXPECT_EQ(ignored[1].name(), "secret other than a private key");
    EXPECT_EQ(ignored[2].name(), "1.2.3");
    EXPECT_EQ(ignored[2].path, "content 1, bag 4, bag 1");
    EXPECT_EQ(ignored[3].name(), "SDSI certificate");
}

TEST(Pkcs12Kind, IsToldByTheFirstElements) {
    for (char const* name : {"openssl-modern", "openssl-plain", "pk12util", "keytool"}) {
        Bytes file = readP12(name);
        EXPECT_TRUE(looksLikePkcs12(file)) << name;
        file.resize(60);
        EXPECT_TRUE(looksLikePkcs12(file)) << name << ", cut short";
        for (size_t size = 0; size < 20; size++) {
            file.resize(size);
            EXPECT_FALSE(looksLikePkcs12(file)) << size;
        }
    }
    for (char const* name : {"p12-alice.der", "p12-alice-key.der", "p12-pkcs8-3des.der"})
        EXPECT_FALSE(looksLikePkcs12(readMessage(name))) << name;
}

} // namespace TEST_FILE
