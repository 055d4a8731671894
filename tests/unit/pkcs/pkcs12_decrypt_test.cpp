#include "pkcs12_files.h"

#include "sealkit/hmac.h"

#include "support/slow.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

constexpr char wrongMac[] = "PFX: MAC verification failed\n";
constexpr char badContents[] = "PFX: unable to parse SafeContents\n";
constexpr char tooMany[] = "PFX: too many iterations\n";

bool decrypts(PKCS12PFX& pfx, std::string_view password, std::string const& said = "") {
    return saying(said, [&] { return pfx.decrypt(password); });
}

/// That the file opens with the password, and with no other.
void expectOpens(Bytes const& file, std::string_view password) {
    PKCS12PFX pfx = parsedP12(file);
    EXPECT_FALSE(decrypts(pfx, "wrong", wrongMac));
    EXPECT_TRUE(decrypts(pfx, password));
    expectAlice(pfx);
    EXPECT_EQ(pfx.save(), file) << "written again";
}

TEST(Pkcs12Peers, FilesOfOpenSslOpen) {
    for (char const* name :
         {"3des", "aes", "certs-plain", "mac-md5", "mac-sha1", "mac-sha256", "mac-sha384", "mac-sha512"}) {
        SCOPED_TRACE(name);
        expectOpens(readP12(std::string("openssl-") + name), word);
    }
}

TEST(Pkcs12Peers, CertificatesNamesAndKeyIdsOfOpenSsl) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-modern"));
    EXPECT_EQ(pfx.encryptedKeys(), 1u);
    EXPECT_EQ(pfx.encryptedContents(), 1u);
    EXPECT_EQ(pfx.macIterations, 2048u);
    ASSERT_TRUE(decrypts(pfx, word));
    ASSERT_EQ(pfx.certificates.size(), 2u);
    EXPECT_EQ(pfx.certificates[0]->serialize(), readMessage("p12-alice.der"));
    EXPECT_EQ(pfx.certificateAttributes[0].friendlyName, "Alice \xC3\x91"
                                                         "and\xC3\xBA");
    EXPECT_EQ(pfx.certificateAttributes[0].localKeyId,
              calcDigest(HashID::SHA1, readMessage("p12-alice.der")));
    EXPECT_EQ(pfx.certificateAttributes[1].friendlyName, "someone else");
    EXPECT_TRUE(pfx.certificateAttributes[1].localKeyId.empty());
    ASSERT_EQ(pfx.keys.size(), 1u);
    EXPECT_EQ(pfx.keyAttributes[0].friendlyName, pfx.certificateAttributes[0].friendlyName);
    EXPECT_EQ(pfx.keyAttributes[0].localKeyId, pfx.certificateAttributes[0].localKeyId);
}

TEST(Pkcs12Peers, KeysSayHowTheyAreEncryptedOpenedOrNot) {
    for (auto const& [name, scheme] : {std::pair("openssl-modern", "1.2.840.113549.1.5.13"),
                                       std::pair("openssl-3des", "1.2.840.113549.1.12.1.3")}) {
        PKCS12PFX pfx = parsedP12(readP12(name));
        for (bool const isOpen : {false, true}) {
            EXPECT_EQ(pfx.encryptedKeys(), isOpen ? 0u : 1u);
            ASSERT_EQ(pfx.keyEncryptions().size(), 1u);
            EXPECT_EQ(oidStr(pfx.keyEncryptions()[0].oid), scheme);
            EXPECT_FALSE(pfx.keyEncryptions()[0].params.empty());
            ASSERT_TRUE(decrypts(pfx, word));
        }
    }
    EXPECT_TRUE(parsedP12(readP12("openssl-plain")).keyEncryptions().empty());
}

TEST(Pkcs12Peers, FilesOfOpenSslWithoutMacOpen) {
    for (char const* name : {"openssl-nomac", "openssl-nomac-modern"}) {
        PKCS12PFX pfx = parsedP12(readP12(name));
        EXPECT_TRUE(pfx.mac.empty());
        EXPECT_EQ(pfx.certificates.size(), 1u);
        EXPECT_EQ(pfx.encryptedKeys(), 1u);
        {
            CapturedOutput quiet;
            EXPECT_FALSE(pfx.decrypt("wrong"));
        }
        EXPECT_EQ(pfx.encryptedKeys(), 1u);
        EXPECT_TRUE(decrypts(pfx, word));
        expectAlice(pfx);
    }
    PKCS12PFX const plain = parsedP12(readP12("openssl-plain"));
    expectAlice(plain);
}

TEST(Pkcs12Peers, EmptyPasswordsOfOpenSsl) {
    expectOpens(readP12("openssl-empty-3des"), "");
    expectOpens(readP12("openssl-empty-modern"), "");
}

TEST(Pkcs12Peers, PasswordsOfOpenSslBeyondAscii) {
    for (char const* name : {"openssl-utf8-3des", "openssl-utf8-modern"}) {
        SCOPED_TRACE(name);
        expectOpens(readP12(name), "p\xC3\xA4ssw\xC3\xB6rd \xE2\x82\xAC\xF0\x9F\x98\x80");
    }
}

TEST(Pkcs12Peers, CiphersThatAreNotHereAreNamed) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-rc2"));
    EXPECT_FALSE(decrypts(pfx, "wrong", wrongMac));
    EXPECT_FALSE(decrypts(pfx, word, "PFX: unsupported PBE: <1.2.840.113549.1.12.1.6>\n"));
    EXPECT_TRUE(pfx.certificates.empty());
    EXPECT_TRUE(pfx.keys.empty());
    PKCS12PFX camellia = parsedP12(readP12("openssl-camellia"));
    EXPECT_FALSE(decrypts(camellia, word, "PBES2: unimplemented cipher: <1.2.392.200011.61.1.1.1.2>\n"));
}

TEST(Pkcs12Peers, HashesOfMacsThatAreNotHereFail) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-mac-sha224"));
    EXPECT_EQ(getHashID(pfx.macAlgorithm.oid), HashID::none);
    EXPECT_FALSE(decrypts(pfx, word));
    EXPECT_TRUE(pfx.computeMAC(word, {}, pfx.saveAuthenticatedSafe()).empty());
}

// RFC 7292 has 1, and OpenSSL leaves a 1 out.
TEST(Pkcs12Mac, WithoutACountHas2048Iterations) {
    PKCS12PFX pfx = parsedP12(readP12("openssl-nomaciter"));
    EXPECT_EQ(pfx.macIterations, 0u);
    EXPECT_FALSE(decrypts(pfx, word, wrongMac));
    pfx.macIterations = 1;
    EXPECT_TRUE(decrypts(pfx, word)) << "this is what was left out";

    P12Parts parts;
    PKCS12PFX made;
    made.macSalt = Bytes(8, 7);
    made.macIterations = 2048;
    parts.macData = macData(made.computeMAC(word, {}, parts.safe()));
    PKCS12PFX counted = parsedP12(parts.der());
    EXPECT_EQ(counted.macIterations, 0u);
    EXPECT_TRUE(decrypts(counted, word));
    EXPECT_EQ(counted.save(), parts.der()) << "written as it was read";
}

TEST(Pkcs12Peers, FilesOfKeytoolOpen) {
    PKCS12PFX pfx;
    std::string const secretBag = "PFX: unknown SafeBag type - 1.2.840.113549.1.12.10.1.5\n";
    ASSERT_TRUE(saying(secretBag, [&] { return pfx.parse(readP12("keytool")); }));
    EXPECT_FALSE(decrypts(pfx, "wrong", wrongMac));
    ASSERT_TRUE(decrypts(pfx, word));
    ASSERT_EQ(pfx.certificates.size(), 2u);
    ASSERT_EQ(pfx.keys.size(), 1u);
    EXPECT_EQ(pfx.certificates[0]->serialize(), readMessage("p12-alice.der"));
    EXPECT_EQ(pfx.certificateAttributes[0].localKeyId, pfx.keyAttributes[0].localKeyId);
    EXPECT_EQ(pfx.certificateAttributes[1].friendlyName, "other");
    EXPECT_FALSE(pfx.certificateAttributes[1].others.empty()) << "Java's mark of what is trusted";
}

// The files of the next two have 600,000 iterations a derivation: slow builds only read them.

TEST(Pkcs12Peers, FilesOfCerttoolOpen) {
    if (isSlow()) {
        for (char const* name : {"certtool", "certtool-3des", "certtool-empty", "certtool-null"})
            parsedP12(readP12(name));
        return;
    }
    expectOpens(readP12("certtool"), word);
    expectOpens(readP12("certtool-3des"), word);
    expectOpens(readP12("certtool-empty"), "");
    expectOpens(readP12("certtool-null"), "");
}

TEST(Pkcs12Peers, FilesOfPk12utilOpenAsBer) {
    for (char const* name : {"pk12util", "pk12util-3des"}) {
        PKCS12PFX pfx;
        EXPECT_FALSE(pfx.parse(readP12(name))) << "it is not DER";
        ASSERT_TRUE(pfx.parseBer(readP12(name)));
        if (isSlow())
            continue;
        EXPECT_FALSE(decrypts(pfx, "wrong", wrongMac));
        EXPECT_TRUE(decrypts(pfx, word));
        expectAlice(pfx);
        EXPECT_EQ(pfx.certificateAttributes[0].friendlyName, "alice");
    }
}

/// A file of Alice's, under the password, of one iteration a derivation.
Bytes protectedFile(bool isPbes2, std::string_view password = word) {
    PKCS12PFX pfx = newP12();
    EXPECT_TRUE(isPbes2 ? pfx.setPbes2Params(password, {}, CipherID::AesCbc) : pfx.encrypt(password));
    return pfx.save();
}

TEST(Pkcs12Decrypt, DoesNoHarmWhenRepeated) {
    PKCS12PFX pfx = parsedP12(protectedFile(true));
    EXPECT_TRUE(decrypts(pfx, word));
    EXPECT_TRUE(decrypts(pfx, word));
    expectAlice(pfx);
    EXPECT_FALSE(decrypts(pfx, "wrong", wrongMac));
    expectAlice(pfx);
    EXPECT_EQ(pfx.certificateAttributes.size(), 1u);
    EXPECT_EQ(pfx.keyAttributes.size(), 1u);
}

TEST(Pkcs12Decrypt, FailsWhenAContentWasTakenAway) {
    PKCS12PFX pfx = parsedP12(protectedFile(true));
    pfx.encryptedData.clear();
    EXPECT_FALSE(decrypts(pfx, word));
    EXPECT_EQ(pfx.encryptedContents(), 1u);

    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    pfx = parsedP12(made.save());
    pfx.envelopedData.clear();
    EXPECT_FALSE(
        saying("ktri: no key matches\n", [&] { return pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()); }));
}

TEST(Pkcs12Decrypt, ChecksTheMacOfWhatWasNotWrittenYet) {
    PKCS12PFX made = newP12();
    made.macIterations = 1;
    made.mac = made.computeMAC(word, {}, made.saveAuthenticatedSafe());
    EXPECT_FALSE(decrypts(made, "wrong", wrongMac));
    EXPECT_TRUE(decrypts(made, word));
    made.certificates.push_back(rsaCertificate());
    EXPECT_FALSE(decrypts(made, word, wrongMac));
}

TEST(Pkcs12Decrypt, OfAChangedFileFails) {
    Bytes file = protectedFile(false);
    PKCS12PFX const whole = parsedP12(file);
    file[file.size() / 2] ^= 1;
    PKCS12PFX pfx;
    ASSERT_TRUE(pfx.parse(file));
    EXPECT_FALSE(decrypts(pfx, word, wrongMac));
    for (size_t i : {size_t{0}, whole.mac.size() - 1}) {
        PKCS12PFX changed = parsedP12(protectedFile(false));
        changed.mac[i] ^= 1;
        EXPECT_FALSE(decrypts(changed, word, wrongMac));
    }
    PKCS12PFX shorter = parsedP12(protectedFile(false));
    shorter.mac.pop_back();
    EXPECT_FALSE(decrypts(shorter, word, wrongMac));
}

TEST(Pkcs12Decrypt, WithAWrongPasswordAndNoMacChangesNothing) {
    for (bool isPbes2 : {false, true}) {
        unsigned opened = 0;
        for (int i = 0; i < lessWhenSlow(50, 5); i++) {
            PKCS12PFX pfx = parsedP12(protectedFile(isPbes2));
            pfx.mac.clear();
            CapturedOutput output;
            opened += pfx.decrypt("wrong");
            EXPECT_TRUE(output.text() == "" || output.text() == badContents) << output.text();
            EXPECT_TRUE(pfx.certificates.empty());
            EXPECT_EQ(pfx.encryptedKeys(), 1u);
            EXPECT_EQ(pfx.encryptedContents(), 1u);
            ASSERT_TRUE(pfx.decrypt(word));
            expectAlice(pfx);
        }
        EXPECT_EQ(opened, 0u);
    }
}

/// What openssl, run by hand, and others do with an empty password: the terminator, or nothing at all.
TEST(Pkcs12Decrypt, TriesBothFormsOfAnEmptyPassword) {
    PBEParams const params{Bytes(8, 3), 1};
    Bytes const plain = sequence(certBag(), keyBag());
    for (bool isNothing : {false, true})
        for (bool hasMac : {false, true}) {
            Bytes const form = isNothing ? Bytes() : Bytes(2);
            // Encrypted by hand, under a key of the form.
            Bytes key(24), iv(8), padded = plain;
            ASSERT_TRUE(pkcs12_kdf(HashID::SHA1, form, params.salt, 1, PKCS12Purpose::key, std::span(key)));
            ASSERT_TRUE(pkcs12_kdf(HashID::SHA1, form, params.salt, 1, PKCS12Purpose::iv, std::span(iv)));
            padded.insert(padded.end(), 8 - plain.size() % 8,
                          static_cast<unsigned char>(8 - plain.size() % 8));
            std::unique_ptr<Cipher> const cipher = createCipher(CipherID::TripleDesCbc, std::span(key), 0);
            cipher->setIV(iv.data(), 8);
            Bytes encrypted(padded.size());
            cipher->encrypt(padded.data(), static_cast<unsigned>(padded.size()), nullptr, 0,
                            encrypted.data());

            P12Parts parts;
            parts.bags = {};
            parts.contents = {encryptedContent(algorithm(pbe3DesOid, encode(params)), encrypted)};
            if (hasMac) {
                Bytes macKey(32), mac(32);
                ASSERT_TRUE(
                    pkcs12_kdf(HashID::SHA256, form, Bytes(8, 7), 1, PKCS12Purpose::mac, std::span(macKey)));
                std::unique_ptr<HMAC> const hmac = createHMAC(HashID::SHA256, macKey);
                hmac->update(parts.safe().data(), static_cast<unsigned>(parts.safe().size()));
                hmac->digest(mac.data());
                parts.macData = macData(mac, integer(1));
            }
            PKCS12PFX pfx = parsedP12(parts.der());
            EXPECT_TRUE(decrypts(pfx, "")) << isNothing << hasMac;
            expectAlice(pfx);
        }
}

TEST(Pkcs12Decrypt, NamesSchemesOfKeysToo) {
    for (auto const& [scheme, shown] : std::vector<std::pair<std::string, std::string>>{
             {"1.2.840.113549.1.12.1.1", "1.2.840.113549.1.12.1.1"},
             {"1.2.840.113549.1.5.3", "1.2.840.113549.1.5.3"},
             {"1.2.840.113549.1.1.5", "SHA1+RSA"}}) {
        P12Parts parts;
        parts.bags = {certBag(),
                      bag(shroudedBagOid, sequence(algorithm(scheme, pbeParams()), octetString(Bytes(8))))};
        PKCS12PFX pfx = parsedP12(parts.der());
        EXPECT_EQ(pfx.encryptedKeys(), 1u);
        EXPECT_FALSE(decrypts(pfx, word, "PFX: unsupported PBE: <" + shown + ">\n"));
        EXPECT_EQ(pfx.certificates.size(), 1u);
    }
}

TEST(Pkcs12Decrypt, OfMalformedParametersFailsSilently) {
    for (Bytes const& params : {Bytes(), null(), pbeParams({0}), pbeParams({0x00, 0x98, 0x96, 0x81})})
        for (std::string const& scheme : {pbe3DesOid, pbes2Oid}) {
            P12Parts parts;
            parts.contents = {encryptedContent(algorithm(scheme, params), Bytes(16))};
            PKCS12PFX pfx = parsedP12(parts.der());
            EXPECT_FALSE(decrypts(pfx, word));
            EXPECT_FALSE(decrypts(pfx, ""));
        }
}

Bytes encryptedBy(std::string_view password, Bytes const& plain, AlgorithmIdentifier const& with) {
    Bytes out;
    EXPECT_TRUE(pbe1_crypt(with, password, plain, out, true));
    return out;
}

TEST(Pkcs12Decrypt, SaysWhenWhatIsDecryptedCannotBeRead) {
    AlgorithmIdentifier const with = {oidOctets(pbe3DesOid), pbeParams()};
    P12Parts parts;
    parts.contents = {
        encryptedContent(algorithm(pbe3DesOid, pbeParams()), encryptedBy(word, sequence(null()), with))};
    PKCS12PFX pfx = parsedP12(parts.der());
    EXPECT_FALSE(decrypts(pfx, word, badContents));
    parts.contents = {};
    parts.bags = {bag(shroudedBagOid, sequence(algorithm(pbe3DesOid, pbeParams()),
                                               octetString(encryptedBy(word, sequence(integer(0)), with))))};
    pfx = parsedP12(parts.der());
    EXPECT_FALSE(decrypts(pfx, word, badContents));
    EXPECT_EQ(pfx.encryptedKeys(), 1u);
}

TEST(Pkcs12Decrypt, KeepsTheOrderOfTheFile) {
    AlgorithmIdentifier const with = {oidOctets(pbe3DesOid), pbeParams()};
    auto const locked = [&](Bytes const& key) {
        return bag(shroudedBagOid,
                   sequence(algorithm(pbe3DesOid, pbeParams()), octetString(encryptedBy(word, key, with))));
    };
    Bytes const rsa = readMessage("recipient-key.der"), ec = readMessage("p12-alice-key.der");
    P12Parts parts;
    parts.bags = {bag(keyBagOid, ec), locked(rsa), bag(keyBagOid, ec)};
    parts.contents = {
        encryptedContent(algorithm(pbe3DesOid, pbeParams()), encryptedBy(word, sequence(locked(rsa)), with)),
        dataContent(sequence(bag(keyBagOid, ec)))};
    PKCS12PFX pfx = parsedP12(parts.der());
    EXPECT_EQ(pfx.keys.size(), 3u);
    EXPECT_EQ(pfx.encryptedKeys(), 1u);
    EXPECT_EQ(pfx.encryptedContents(), 1u);
    ASSERT_TRUE(decrypts(pfx, word));
    std::string order;
    for (auto const& key : pfx.keys)
        order += key->keyType() == KeyType::RSA ? 'r' : 'e';
    EXPECT_EQ(order, "erere");
}

TEST(Pkcs12Decrypt, DoesNotBeginWhatTakesTooLong) {
    Bytes const atLimit = pbeParams({0x00, 0x98, 0x96, 0x80});
    P12Parts parts;
    parts.contents = std::vector<Bytes>(1000, encryptedContent(algorithm(pbe3DesOid, atLimit), Bytes(8)));
    PKCS12PFX pfx = parsedP12(parts.der());
    EXPECT_FALSE(decrypts(pfx, word, tooMany));

    parts.contents.resize(3);
    parts.bags = {bag(shroudedBagOid, sequence(algorithm(pbe3DesOid, pbeParams()), octetString(Bytes(8))))};
    pfx = parsedP12(parts.der());
    EXPECT_FALSE(decrypts(pfx, word, tooMany)) << "three at the limit, and one more";

    parts.contents.resize(2);
    parts.macData = macData({1}, integer({0x00, 0x98, 0x96, 0x80}));
    pfx = parsedP12(parts.der());
    EXPECT_FALSE(decrypts(pfx, word, tooMany)) << "the MAC's count as well";
}

TEST(Pkcs12Decrypt, StopsWhenAContentBringsTooMuchToLight) {
    AlgorithmIdentifier const with = {oidOctets(pbe3DesOid), pbeParams()};
    Bytes const slow =
        bag(shroudedBagOid,
            sequence(algorithm(pbe3DesOid, pbeParams({0x00, 0x98, 0x96, 0x80})), octetString(Bytes(8))));
    for (std::string const& password : {word, std::string()}) {
        P12Parts parts;
        parts.contents = {encryptedContent(algorithm(pbe3DesOid, pbeParams()),
                                           encryptedBy(password, element(0x30, repeat(slow, 3)), with))};
        PKCS12PFX pfx = parsedP12(parts.der());
        EXPECT_FALSE(decrypts(pfx, password, tooMany));
        EXPECT_EQ(pfx.encryptedContents(), 1u);
    }
}

// Contents to recipients

TEST(Pkcs12Enveloped, OpensForTheRecipientAlone) {
    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    PKCS12PFX pfx = parsedP12(made.save());
    EXPECT_EQ(pfx.envelopedData.size(), 1u);
    EXPECT_EQ(pfx.encryptedContents(), 1u);
    EXPECT_TRUE(decrypts(pfx, word)) << "nothing is under the password";
    EXPECT_EQ(pfx.encryptedContents(), 1u);
    EXPECT_FALSE(
        saying("ktri: no key matches\n", [&] { return pfx.decryptEnveloped(*p12Certificate(), *p12Key()); }));
    EXPECT_FALSE(saying("ktri: only rsa supported, not 1.2.840.113549.1.1.1\nktri: key decrypt failed\n",
                        [&] { return pfx.decryptEnveloped(*rsaCertificate(), *p12Key()); }));
    EXPECT_TRUE(pfx.certificates.empty());
    EXPECT_TRUE(pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()));
    expectAlice(pfx);
    EXPECT_TRUE(pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()));
    expectAlice(pfx);
    EXPECT_EQ(pfx.save(), made.save());
    EXPECT_EQ(pfx.certificateAttributes[0].friendlyName, "alice");
}

TEST(Pkcs12Enveloped, SaysWhenTheContentIsNone) {
    PKCS12PFX made;
    ASSERT_TRUE(made.encryptEnveloped(*rsaCertificate(), null(), CipherID::AesCbc));
    PKCS12PFX pfx = parsedP12(made.save());
    EXPECT_FALSE(saying(badContents, [&] { return pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()); }));
    EXPECT_EQ(pfx.encryptedContents(), 1u);
}

TEST(Pkcs12Enveloped, KeysUnderAPasswordWithinNeedItToo) {
    AlgorithmIdentifier const with = {oidOctets(pbe3DesOid), pbeParams()};
    Bytes const locked = encryptedBy(word, readMessage("p12-alice-key.der"), with);
    PKCS12PFX made;
    ASSERT_TRUE(made.encryptEnveloped(
        *rsaCertificate(),
        sequence(certBag(),
                 bag(shroudedBagOid, sequence(algorithm(pbe3DesOid, pbeParams()), octetString(locked)))),
        CipherID::TripleDesCbc));
    PKCS12PFX pfx = parsedP12(made.save());
    ASSERT_TRUE(pfx.decryptEnveloped(*rsaCertificate(), *rsaKey()));
    EXPECT_EQ(pfx.certificates.size(), 1u);
    EXPECT_TRUE(pfx.keys.empty());
    EXPECT_EQ(pfx.encryptedKeys(), 1u);
    EXPECT_TRUE(decrypts(pfx, word));
    expectAlice(pfx);
}

} // namespace TEST_FILE
