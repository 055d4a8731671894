#include "pkcs12_files.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

std::string schemeOf(AlgorithmIdentifier const& algorithm) { return oidStr(algorithm.oid); }

PKCS12PFX opened(Bytes const& file, std::string_view password = word) {
    PKCS12PFX pfx = parsedP12(file);
    EXPECT_TRUE(pfx.decrypt(password));
    return pfx;
}

TEST(Pkcs12Save, WritesWhatIsNotProtectedAsItIs) {
    PKCS12PFX const made = newP12();
    PKCS12PFX const pfx = parsedP12(made.save());
    expectAlice(pfx);
    EXPECT_TRUE(pfx.mac.empty());
    EXPECT_EQ(pfx.certificateAttributes[0].friendlyName, "alice");
    EXPECT_EQ(pfx.certificateAttributes[0].localKeyId, pfx.keyAttributes[0].localKeyId);
    EXPECT_EQ(made.saveAuthenticatedSafe(), sequence(dataContent(made.saveSafeContents(true))));
    EXPECT_EQ(made.save(), sequence(integer(3), dataContent(made.saveAuthenticatedSafe())));
}

TEST(Pkcs12Save, SafeContentsLeaveTheKeysOutWhenAsked) {
    PKCS12PFX const made = newP12();
    PKCS12PFX pfx;
    ASSERT_TRUE(pfx.parseSafeContents(made.saveSafeContents(false)));
    EXPECT_EQ(pfx.certificates.size(), 1u);
    EXPECT_TRUE(pfx.keys.empty());
    ASSERT_TRUE(pfx.parseSafeContents(made.saveSafeContents(true)));
    EXPECT_EQ(pfx.certificates.size(), 2u);
    EXPECT_EQ(pfx.keys.size(), 1u);
    EXPECT_EQ(PKCS12PFX().saveSafeContents(true), sequence());
}

TEST(Pkcs12Save, WritesAttributesAsTheyWereRead) {
    PKCS12PFX made = newP12();
    made.certificateAttributes[0] = {"\xC3\xB1\xF0\x9F\x98\x80", {1, 2}, attribute("1.2.3", null())};
    made.keyAttributes.clear();
    Bytes const expected =
        set(attribute("1.2.840.113549.1.9.20", element(0x1E, {0x00, 0xF1, 0xD8, 0x3D, 0xDE, 0x00})),
            attribute("1.2.840.113549.1.9.21", octetString({1, 2})), attribute("1.2.3", null()));
    EXPECT_EQ(made.saveSafeContents(true),
              sequence(certBag(expected), bag(keyBagOid, encodePkcs8PrivateKey(*p12Key()))));
}

TEST(Pkcs12Save, OfNothingAndOfNullPointers) {
    PKCS12PFX empty;
    EXPECT_TRUE(empty.encrypt(word));
    EXPECT_EQ(empty.saveAuthenticatedSafe(), sequence());
    PKCS12PFX const read = opened(empty.save());
    EXPECT_TRUE(read.certificates.empty());

    for (bool key : {false, true}) {
        PKCS12PFX broken = newP12();
        if (key)
            broken.keys.push_back(nullptr);
        else
            broken.certificates.push_back(nullptr);
        EXPECT_TRUE(broken.save().empty());
        EXPECT_TRUE(broken.saveSafeContents(false).empty());
        EXPECT_FALSE(broken.encrypt(word));
        EXPECT_FALSE(broken.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
        EXPECT_FALSE(broken.sign(*rsaCertificate(), *rsaKey(), HashID::SHA256));
    }
    PKCS12PFX keyless = newP12();
    keyless.keys[0] = std::make_shared<EcPrivateKey>(); // makes no key
    EXPECT_TRUE(keyless.save().empty());
    EXPECT_FALSE(keyless.encrypt(word));
    EXPECT_TRUE(keyless.encryptedData.empty());
}

TEST(Pkcs12Encrypt, TakesTripleDesUnlessToldOtherwise) {
    PKCS12PFX made = newP12(3);
    ASSERT_TRUE(made.encrypt(word));
    ASSERT_EQ(made.encryptedData.size(), 1u);
    AlgorithmIdentifier const& algorithm =
        made.encryptedData[0].encryptedContentInfo.contentEncryptionAlgorithm;
    EXPECT_EQ(schemeOf(algorithm), pbe3DesOid);
    PBEParams params;
    ASSERT_TRUE(parse(params, algorithm.params));
    EXPECT_EQ(params.iterations, 3u);
    EXPECT_EQ(params.salt.size(), 16u);
    EXPECT_EQ(getHashID(made.macAlgorithm.oid), HashID::SHA256);
    EXPECT_EQ(made.macIterations, 3u);
    EXPECT_EQ(made.macSalt.size(), 16u);
    EXPECT_EQ(made.mac.size(), 32u);

    PKCS12PFX pfx = parsedP12(made.save());
    EXPECT_EQ(pfx.encryptedKeys(), 1u) << "in a bag of its own encryption, outside of what is encrypted";
    EXPECT_EQ(pfx.encryptedContents(), 1u);
    ASSERT_TRUE(pfx.decrypt(word));
    expectAlice(pfx);
    EXPECT_EQ(pfx.keyAttributes[0].friendlyName, "alice");
    EXPECT_EQ(pfx.keyAttributes[0].localKeyId, calcDigest(HashID::SHA1, readMessage("p12-alice.der")));

    made.scheme = oidOctets(pbe3DesOid);
    EXPECT_TRUE(made.encrypt(word));
    EXPECT_EQ(PKCS12PFX().iterations, 10'000u);
}

TEST(Pkcs12Encrypt, OffersNoOtherScheme) {
    for (char const* scheme :
         {"1.2.840.113549.1.12.1.6", "1.2.840.113549.1.12.1.1", "1.2.840.113549.1.5.3"}) {
        PKCS12PFX made = newP12();
        made.scheme = oidOctets(scheme);
        EXPECT_FALSE(saying("PFX: encrypt supports only 3des\n", [&] { return made.encrypt(word); }));
        EXPECT_TRUE(made.encryptedData.empty());
        EXPECT_TRUE(made.mac.empty());
    }
}

TEST(Pkcs12Encrypt, BoundsItsCounts) {
    for (unsigned iterations : {0u, pkcs12MaxIterations + 1}) {
        PKCS12PFX made = newP12(iterations);
        EXPECT_FALSE(made.encrypt(word));
        EXPECT_FALSE(made.setPbes2Params(word, {}, CipherID::AesCbc));
        EXPECT_TRUE(made.scheme.empty());
    }
    PKCS12PFX made = newP12();
    made.macIterations = pkcs12MaxIterations + 1;
    EXPECT_FALSE(made.encrypt(word));
    EXPECT_TRUE(made.encryptedData.empty());
}

TEST(Pkcs12Encrypt, ReplacesWhatProtectedBefore) {
    PKCS12PFX made = newP12();
    made.macAlgorithm = hashAlgorithm(HashID::SHA1);
    made.macIterations = 5;
    ASSERT_TRUE(made.encrypt("first"));
    Bytes const salt = made.macSalt, first = made.save();
    ASSERT_TRUE(made.encrypt("second"));
    EXPECT_NE(made.macSalt, salt);
    EXPECT_EQ(made.mac.size(), 20u);
    EXPECT_EQ(made.macIterations, 5u);
    EXPECT_EQ(made.encryptedData.size(), 1u);
    PKCS12PFX pfx = parsedP12(made.save());
    EXPECT_FALSE(saying("PFX: MAC verification failed\n", [&] { return pfx.decrypt("first"); }));
    EXPECT_TRUE(pfx.decrypt("second"));
    expectAlice(pfx);

    // A file that was read, under another password.
    PKCS12PFX read = opened(first, "first");
    read.iterations = 1;
    ASSERT_TRUE(read.encrypt("third"));
    expectAlice(opened(read.save(), "third"));
}

TEST(Pkcs12Encrypt, OfWhatIsStillClosedWouldLoseIt) {
    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.encrypt(word));
    PKCS12PFX pfx = parsedP12(made.save());
    EXPECT_FALSE(pfx.encrypt("other"));
    EXPECT_FALSE(pfx.setPbes2Params("other", {}, CipherID::AesCbc));
    EXPECT_FALSE(pfx.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    EXPECT_EQ(pfx.save(), made.save());
    EXPECT_TRUE(pfx.decrypt(word));
    EXPECT_TRUE(pfx.encrypt("other"));
}

TEST(Pkcs12Encrypt, WithOddPasswords) {
    for (std::string const& password : {std::string(), std::string("p\xC3\xA4ss\xF0\x9F\x98\x80"),
                                        std::string("\xE9"), std::string("a\0b", 3), std::string(1000, 'x')})
        for (bool isPbes2 : {false, true}) {
            PKCS12PFX made = newP12();
            ASSERT_TRUE(isPbes2 ? made.setPbes2Params(password, {}, CipherID::AesCbc)
                                : made.encrypt(password));
            expectAlice(opened(made.save(), password));
        }
}

TEST(Pkcs12Pbes2, ProtectsAndStaysChosen) {
    for (auto const& [cipher, oid] : std::vector<std::pair<CipherID, std::string>>{
             {CipherID::AesCbc, "2.16.840.1.101.3.4.1.42"}, {CipherID::TripleDesCbc, "1.2.840.113549.3.7"}}) {
        PKCS12PFX made = newP12(3);
        ASSERT_TRUE(made.setPbes2Params(word, {}, cipher));
        expectAlice(opened(made.save()));
        ASSERT_TRUE(made.encrypt("again"));
        expectAlice(opened(made.save(), "again"));
        AlgorithmIdentifier const& algorithm =
            made.encryptedData.at(0).encryptedContentInfo.contentEncryptionAlgorithm;
        EXPECT_EQ(schemeOf(algorithm), pbes2Oid);
        PBES2Params params;
        ASSERT_TRUE(parse(params, algorithm.params));
        EXPECT_EQ(oidStr(params.cipher), oid);
        EXPECT_EQ(oidStr(params.prf), "1.2.840.113549.2.9");
        EXPECT_EQ(params.iterations, 3u);
        EXPECT_EQ(params.salt.size(), 16u);
    }
}

TEST(Pkcs12Pbes2, HasNoOtherCipher) {
    for (CipherID cipher :
         {CipherID::Null, CipherID::DesCbc, CipherID::AesCtr, CipherID::AesGcm, CipherID(99)}) {
        PKCS12PFX made = newP12();
        EXPECT_FALSE(made.setPbes2Params(word, {}, cipher));
        EXPECT_FALSE(made.setPbes2Params(word, sequence(), cipher));
        EXPECT_TRUE(made.scheme.empty());
        EXPECT_TRUE(made.encryptedData.empty());
    }
}

TEST(Pkcs12Pbes2, AddsContentsThatItIsGiven) {
    PKCS12PFX made;
    made.iterations = 1;
    ASSERT_TRUE(made.setPbes2Params(word, sequence(certBag()), CipherID::AesCbc));
    ASSERT_TRUE(made.setPbes2Params(word, sequence(keyBag()), CipherID::TripleDesCbc));
    EXPECT_EQ(made.encryptedData.size(), 2u);
    expectAlice(opened(made.save()));

    // To a file that was read, closed as it is.
    PKCS12PFX pfx = parsedP12(made.save());
    pfx.iterations = 1;
    ASSERT_TRUE(pfx.setPbes2Params(word, sequence(certBag()), CipherID::AesCbc));
    PKCS12PFX const more = opened(pfx.save());
    EXPECT_EQ(more.certificates.size(), 2u);
    EXPECT_EQ(more.keys.size(), 1u);
    EXPECT_TRUE(pfx.decrypt(word));
    expectAlice(pfx);
}

TEST(Pkcs12Enveloped, IsForARecipientWithAnRsaKey) {
    PKCS12PFX made = newP12();
    EXPECT_FALSE(made.encryptEnveloped(*p12Certificate(), {}, CipherID::AesCbc));
    EXPECT_FALSE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesGcm));
    EXPECT_TRUE(made.envelopedData.empty());
    ASSERT_TRUE(made.encrypt(word));
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    EXPECT_TRUE(made.encryptedData.empty()) << "in place of it";
    EXPECT_TRUE(made.mac.empty());
    EXPECT_EQ(oidStr(made.envelopedData.at(0).encryptedContentInfo.contentEncryptionAlgorithm.oid),
              "2.16.840.1.101.3.4.1.42");
    PKCS12PFX pfx = parsedP12(made.save());
    ASSERT_TRUE(pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()));
    expectAlice(pfx);
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    EXPECT_EQ(made.envelopedData.size(), 1u) << "one in place of the other";
    ASSERT_TRUE(made.encrypt(word));
    EXPECT_TRUE(made.envelopedData.empty());
    expectAlice(opened(made.save()));
}

TEST(Pkcs12Enveloped, GoesWithPasswordsAndMacs) {
    PKCS12PFX made;
    made.iterations = 1;
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), sequence(keyBag()), CipherID::AesCbc));
    ASSERT_TRUE(made.setPbes2Params(word, sequence(certBag()), CipherID::AesCbc));
    PKCS12PFX pfx = opened(made.save());
    EXPECT_EQ(pfx.certificates.size(), 1u);
    EXPECT_EQ(pfx.encryptedContents(), 1u);
    ASSERT_TRUE(pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()));
    expectAlice(pfx);

    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), sequence(keyBag()), CipherID::AesCbc));
    EXPECT_TRUE(made.mac.empty()) << "it would be wrong";
    made.macIterations = 0;
    made.mac = made.computeMAC(word, {}, made.saveAuthenticatedSafe());
    EXPECT_EQ(opened(made.save()).macIterations, 2048u)
        << "written, since others take a count that is not for 1";
}

TEST(Pkcs12Sign, WrapsTheSafe) {
    PKCS12PFX made = newP12();
    EXPECT_FALSE(made.sign(*p12Certificate(), *p12Key(), HashID::SHA256)) << "no RSA key";
    EXPECT_EQ(made.signedData, nullptr);
    ASSERT_TRUE(made.encrypt(word));
    Bytes const safe = made.saveAuthenticatedSafe();
    ASSERT_TRUE(made.sign(*rsaCertificate(), *rsaKey(), static_cast<unsigned>(HashID::SHA256)));
    EXPECT_TRUE(made.mac.empty()) << "one or the other";
    EXPECT_EQ(made.saveAuthenticatedSafe(), safe);

    PKCS12PFX pfx = opened(made.save());
    expectAlice(pfx);
    ASSERT_NE(pfx.signedData, nullptr);
    EXPECT_EQ(pfx.save(), made.save());
    CertificateMemoryStore store;
    store.certs.push_back(rsaCertificate());
    std::string reason;
    EXPECT_TRUE(pfx.signedData->verify(store, {}, whenValid, &reason)) << reason;

    ASSERT_TRUE(made.encrypt(word));
    EXPECT_EQ(made.signedData, nullptr) << "it would be wrong";
}

TEST(Pkcs12Sign, OfWhatIsNotEncrypted) {
    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.sign(*rsaCertificate(), *rsaKey(), HashID::SHA1));
    PKCS12PFX const pfx = parsedP12(made.save());
    expectAlice(pfx);
}

TEST(Pkcs12Mac, IsThatOfOpenSsl) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-modern"));
    Bytes const safe = pfx.saveAuthenticatedSafe();
    EXPECT_EQ(pfx.computeMAC(word, {}, safe), pfx.mac);
    EXPECT_EQ(pfx.computeMAC(word, pfx.macSalt, safe), pfx.mac);
    EXPECT_NE(pfx.computeMAC(word, Bytes{1}, safe), pfx.mac) << "another salt";
    EXPECT_NE(pfx.computeMAC("other", {}, safe), pfx.mac);
    EXPECT_EQ(parsedP12(readP12("openssl-modern")).macSalt, pfx.macSalt);
    pfx.macIterations = 0;
    EXPECT_EQ(pfx.computeMAC(word, {}, safe), pfx.mac) << "2048, as OpenSSL has";
}

TEST(Pkcs12Mac, DrawsASaltWhereThereIsNone) {
    PKCS12PFX pfx;
    pfx.macIterations = 1;
    Bytes const mac = pfx.computeMAC(word, {}, {});
    EXPECT_EQ(mac.size(), 32u);
    EXPECT_EQ(pfx.macSalt.size(), 16u);
    EXPECT_EQ(pfx.computeMAC(word, {}, {}), mac) << "the same salt";
    EXPECT_TRUE(pfx.mac.empty());
    PKCS12PFX other;
    other.macIterations = 1;
    EXPECT_NE(other.computeMAC(word, {}, {}), mac);
}

TEST(Pkcs12Mac, HashIsChosenByItsId) {
    PKCS12PFX pfx = newP12();
    for (HashID hash : {HashID::MD5, HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
        EXPECT_TRUE(pfx.setMacHash(hash));
        ASSERT_TRUE(pfx.encrypt(word));
        PKCS12PFX read = parsedP12(pfx.save());
        EXPECT_EQ(read.macName(), getHashName(hash));
        EXPECT_TRUE(read.decrypt(word));
    }
    for (HashID hash : {HashID::none, HashID::MD4, HashID::MD5SHA1})
        EXPECT_FALSE(pfx.setMacHash(hash));
    EXPECT_EQ(pfx.macName(), "SHA512");
}

TEST(Pkcs12Mac, NeedsAKnownHash) {
    PKCS12PFX pfx;
    pfx.macAlgorithm.oid = oidOctets("1.2.3");
    EXPECT_TRUE(pfx.computeMAC(word, {}, {}).empty());
    pfx.macAlgorithm = hashAlgorithm(HashID::MD5);
    EXPECT_EQ(pfx.computeMAC(word, {}, {}).size(), 16u);
    pfx.macIterations = pkcs12MaxIterations + 1;
    EXPECT_TRUE(pfx.computeMAC(word, {}, {}).empty());
}

TEST(Pkcs12Mac, IsWrittenAnewWhenAMemberChanged) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-nomaciter"));
    EXPECT_EQ(pfx.save(), readP12("openssl-nomaciter"));
    pfx.macIterations = 1;
    Bytes const file = pfx.save();
    EXPECT_NE(file, readP12("openssl-nomaciter"));
    EXPECT_EQ(parsedP12(file).macIterations, 1u);
    pfx.macSalt = {1, 2};
    EXPECT_EQ(parsedP12(pfx.save()).macSalt, (Bytes{1, 2}));
    pfx.mac.clear();
    EXPECT_TRUE(parsedP12(pfx.save()).mac.empty());

    PKCS12PFX salted = parsedP12(readP12("openssl-modern"));
    salted.macSalt = {1, 2};
    EXPECT_EQ(parsedP12(salted.save()).macSalt, (Bytes{1, 2}));
}

TEST(Pkcs12LocalKeyId, LinksTheFirstKeyAndTheFirstCertificate) {
    PKCS12PFX pfx;
    EXPECT_FALSE(pfx.computeLocalKeyId());
    pfx.certificates = {p12Certificate(), rsaCertificate()};
    EXPECT_FALSE(pfx.computeLocalKeyId());
    pfx.keys = {p12Key(), rsaKey()};
    EXPECT_TRUE(saying("", [&] { return pfx.computeLocalKeyId(); }));
    EXPECT_EQ(pfx.certificateAttributes.size(), 1u);
    EXPECT_EQ(pfx.certificateAttributes[0].localKeyId,
              calcDigest(HashID::SHA1, readMessage("p12-alice.der")));
    EXPECT_EQ(pfx.keyAttributes[0].localKeyId, pfx.certificateAttributes[0].localKeyId);
}

TEST(Pkcs12LocalKeyId, SaysWhenTheyDoNotMatch) {
    PKCS12PFX pfx;
    pfx.certificates = {p12Certificate(), rsaCertificate()};
    pfx.keys = {rsaKey()};
    EXPECT_FALSE(saying("PFX: first key does not match first certificate, localKeyId not set\n",
                        [&] { return pfx.computeLocalKeyId(); }));
    EXPECT_TRUE(pfx.certificateAttributes.empty());
    EXPECT_TRUE(pfx.keyAttributes.empty());
}

TEST(Pkcs12LocalKeyId, SaysWhenTheCertificateHasNoReadableKey) {
    PKCS12PFX pfx;
    pfx.certificates = {std::make_shared<X509Certificate>(*p12Certificate())};
    pfx.certificates[0]->subjectPublicKeyInfo = null();
    pfx.keys = {p12Key()};
    CapturedErrors errors;
    EXPECT_FALSE(saying("", [&] { return pfx.computeLocalKeyId(); }));
    EXPECT_EQ(errors.text(), "[ERR] certificate publicKey invalid\n");
}

TEST(Pkcs12Dump, ShowsEachSectionThatIsNotEmpty) {
    EXPECT_EQ(dumped(PKCS12PFX()), "");
    PKCS12PFX made = newP12();
    EXPECT_EQ(dumped(made), "==========> certs: 1\n==========> keys: 1\n");
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), Bytes(20), CipherID::AesCbc));
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), Bytes(32), CipherID::TripleDesCbc));
    ASSERT_TRUE(made.setPbes2Params(word, Bytes(7), CipherID::AesCbc));
    ASSERT_TRUE(made.sign(*rsaCertificate(), *rsaKey(), HashID::SHA256));
    EXPECT_EQ(dumped(made), "==========> signedData\n" + dumped(*made.signedData) +
                                "==========> encryptedData: 1\nsize: 16\n"
                                "==========> envelopedData: 2\nsize: 32\nsize: 40\n"
                                "==========> certs: 1\n==========> keys: 1\n");
}

} // namespace TEST_FILE
