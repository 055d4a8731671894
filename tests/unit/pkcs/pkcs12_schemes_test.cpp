/// What PKCS#12 files are read with on request: PBMAC1, and the attributes of trust stores.
#include "pkcs12_files.h"

#include "sealkit/hmac.h"
#include "sealkit/pbkdf2.h"

#include "support/slow.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

constexpr char hmacSha1[] = "1.2.840.113549.2.7", hmacSha384[] = "1.2.840.113549.2.10";
constexpr char hmacSha256[] = "1.2.840.113549.2.9", hmacSha512[] = "1.2.840.113549.2.11";

/// A MacData of PBMAC1 (RFC 9579) in parts.
struct Pbmac1Parts {
    Bytes count = integer(Bytes{0x07});
    Bytes keyLength = integer(Bytes{32});
    std::string prf = hmacSha256, mac = hmacSha256;
    std::string word = test::word;
    HashID prfHash = HashID::SHA256, macHash = HashID::SHA256;
    unsigned size = 32, iterations = 7;
    Bytes saltInFile = Bytes(8, 5);

    Bytes file() const {
        P12Parts parts;
        Bytes const safe = parts.safe(), salt(8, 5);
        Bytes key(size);
        EXPECT_TRUE(pbkdf2(prfHash, std::string_view(word), salt, iterations, std::span(key)));
        std::unique_ptr<HMAC> const hmac = createHMAC(macHash, key);
        hmac->update(safe.data(), static_cast<unsigned>(safe.size()));
        Bytes value(hmac->digestLength());
        hmac->digest(value.data());
        Bytes const kdf =
            sequence(oid("1.2.840.113549.1.5.12"), sequence(octetString(saltInFile), count, keyLength,
                                                            prf.empty() ? Bytes() : algorithm(prf, null())));
        Bytes const scheme = sequence(oid("1.2.840.113549.1.5.14"), sequence(kdf, algorithm(mac, null())));
        parts.macData =
            sequence(sequence(scheme, octetString(value)), octetString(Bytes(8, 9)), integer(Bytes{1}));
        return parts.der();
    }
};

Refusal openWith(Bytes const& file, std::string_view password, bool all = true) {
    PKCS12PFX pfx;
    PKCS12Options options;
    options.schemes.all = all;
    Refusal refusal;
    CapturedOutput output;
    EXPECT_TRUE(pfx.parse(file, options, &refusal));
    if (pfx.decrypt(password, options, &refusal)) {
        EXPECT_TRUE(pfx.canDecrypt(options, &refusal));
        expectAlice(pfx);
        EXPECT_EQ(pfx.save(), file);
        refusal = {};
    }
    EXPECT_EQ(output.text(), "");
    return refusal;
}

TEST(Pbmac1, IsVerifiedOnRequestAlone) {
    for (Pbmac1Parts const& parts :
         {Pbmac1Parts(), Pbmac1Parts{.prf = hmacSha512, .mac = hmacSha256, .prfHash = HashID::SHA512},
          Pbmac1Parts{
              .keyLength = integer(Bytes{64}), .mac = hmacSha512, .macHash = HashID::SHA512, .size = 64}}) {
        EXPECT_FALSE(openWith(parts.file(), word));
        EXPECT_EQ(openWith(parts.file(), "wrong").id, RefusalId::macMismatch);
        EXPECT_EQ(openWith(parts.file(), word, false).id, RefusalId::unsupportedMac);
    }
    Pbmac1Parts parts;
    parts.word = "größe";
    EXPECT_FALSE(openWith(parts.file(), "größe"));
}

TEST(Pbmac1, OfOtherParametersIsRefused) {
    Pbmac1Parts parts;
    parts.keyLength = {};
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::malformedEncryptionParameters);
    EXPECT_EQ(openWith(parts.file(), word).facts.back().value, "no length");
    // Among them one that is negative, and one that is larger than any number here.
    for (Bytes const& length : {Bytes{0}, Bytes{19}, Bytes{0x10, 0x00}, Bytes{0x80}, Bytes{1, 0, 0, 0, 32}}) {
        parts.keyLength = integer(length);
        parts.size = length.back();
        EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::malformedEncryptionParameters);
    }
    parts = {.count = integer(Bytes{0})};
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::iterationCount);
    parts = {.count = integer(Bytes{0x7F, 0xFF, 0xFF, 0xFF})};
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::iterationCount);
    parts = {.prf = "1.2.3"};
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::unsupportedPrf);
    parts = {.mac = "1.2.840.113549.2.6"};
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::unsupportedMac);
}

TEST(Pbmac1, TakesEveryFunctionSaltAndLengthThatTheParametersGive) {
    Pbmac1Parts parts{.count = integer(Bytes{0x12, 0x34}), .iterations = 0x1234};
    EXPECT_FALSE(openWith(parts.file(), word));
    parts = {.keyLength = integer(Bytes{20}), .size = 20};
    EXPECT_FALSE(openWith(parts.file(), word));
    parts = {
        .keyLength = integer(Bytes{0x00, 0x80}), .mac = hmacSha512, .macHash = HashID::SHA512, .size = 128};
    EXPECT_FALSE(openWith(parts.file(), word));
    parts = {.prf = hmacSha384, .mac = hmacSha1, .prfHash = HashID::SHA384, .macHash = HashID::SHA1};
    EXPECT_FALSE(openWith(parts.file(), word));
    // The default function is HMAC with SHA-1.
    parts = {.prf = "", .prfHash = HashID::SHA1};
    EXPECT_FALSE(openWith(parts.file(), word));
}

TEST(Pbmac1, AnotherCountOrSaltIsAnotherMac) {
    Pbmac1Parts parts;
    parts.iterations = 8;
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::macMismatch);
    parts = {.saltInFile = Bytes(8, 6)};
    EXPECT_EQ(openWith(parts.file(), word).id, RefusalId::macMismatch);
}

TEST(Pkcs12Mac, OverTruncatedHashesIsVerifiedOnRequestAlone) {
    for (std::string const name : {"openssl-mac-sha224", "openssl-mac-sha512-256"}) {
        SCOPED_TRACE(name);
        Bytes const file = readP12(name);
        EXPECT_EQ(openWith(file, word, false).id, RefusalId::unsupportedMac);
        EXPECT_FALSE(openWith(file, word));
        EXPECT_EQ(openWith(file, "wrong").id, RefusalId::macMismatch);
    }
}

TEST(Pkcs12Schemes, WideSchemesAreReadInContentsAndKeys) {
    PBEParams const params{Bytes(8, 3), 5};
    AlgorithmIdentifier const tripleDes{oidOctets(pbe3DesOid), encode(params)};
    EXPECT_FALSE(describeEncryption(tripleDes).isWeak);
    AlgorithmIdentifier const des{oidOctets("1.2.840.113549.1.5.3"), encode(params)};
    EXPECT_EQ(describeEncryption(des).problem.id, RefusalId::unknownEncryption);
    KeyEncryption const found = describeEncryption(des, {true, nullptr});
    EXPECT_FALSE(found.problem);
    EXPECT_TRUE(found.isWeak);
    EXPECT_EQ(found.cipher, "DES-CBC");
    EXPECT_EQ(describeEncryption({oidOctets("1.2.840.113549.1.12.1.6"), encode(params)}, {true, nullptr})
                  .problem.id,
              RefusalId::unknownEncryption);
}

TEST(Pkcs12Attributes, OfTrustStoresAreKept) {
    PKCS12PFX pfx = newP12();
    EXPECT_FALSE(pfx.certificateAttributes[0].isTrustedByJava());
    pfx.certificateAttributes[0].setTrustedByJava();
    Bytes const once = pfx.certificateAttributes[0].others;
    pfx.certificateAttributes[0].setTrustedByJava();
    EXPECT_EQ(pfx.certificateAttributes[0].others, once);
    EXPECT_EQ(once, sequence(oid("2.16.840.1.113894.746875.1.1"), element(0x31, oid("2.5.29.37.0"))));
    Bytes const other = sequence(oid("1.2.3"), element(0x31, null()));
    pfx.keyAttributes[0].others = other;
    ASSERT_TRUE(pfx.encrypt(word));
    PKCS12PFX again = parsedP12(pfx.save());
    ASSERT_TRUE(again.decrypt(word));
    EXPECT_TRUE(again.certificateAttributes[0].isTrustedByJava());
    EXPECT_EQ(again.certificateAttributes[0].friendlyName, "alice");
    EXPECT_EQ(again.certificateAttributes[0].otherNames(), std::vector<std::string>{"trusted key usage"});
    EXPECT_EQ(again.keyAttributes[0].others, other);
    EXPECT_EQ(again.keyAttributes[0].otherNames(), std::vector<std::string>{"1.2.3"});
}

TEST(Pkcs12Attributes, EachKeyIsLinkedWithItsCertificate) {
    PKCS12PFX pfx;
    pfx.certificates = {rsaCertificate(), p12Certificate(), p12Certificate()};
    pfx.keys = {p12Key(), rsaKey()};
    pfx.certificateAttributes = {{"", Bytes{1}, {}}};
    EXPECT_EQ(pfx.linkKeys(), 2u);
    EXPECT_EQ(pfx.keyAttributes[0].localKeyId, calcDigest(HashID::SHA1, p12Certificate()->serialize()));
    EXPECT_EQ(pfx.keyAttributes[0].localKeyId, pfx.certificateAttributes[1].localKeyId);
    EXPECT_EQ(pfx.keyAttributes[1].localKeyId, pfx.certificateAttributes[0].localKeyId);
    EXPECT_TRUE(pfx.certificateAttributes[2].localKeyId.empty());
    pfx.certificates = {rsaCertificate()};
    EXPECT_EQ(pfx.linkKeys(), 1u);
    EXPECT_TRUE(pfx.keyAttributes[0].localKeyId.empty());
    pfx.keys.push_back(nullptr);
    pfx.certificates.push_back(nullptr);
    EXPECT_EQ(pfx.linkKeys(), 1u);
}

} // namespace TEST_FILE
