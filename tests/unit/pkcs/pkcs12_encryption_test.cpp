/// What `describeEncryption` says of the schemes that encrypt the parts of PKCS#12 files.
#include "pkcs12_files.h"

#include "support/captured_output.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

std::string const aes256Oid = "2.16.840.1.101.3.4.1.42", tripleDesOid = "1.2.840.113549.3.7",
                  rc2Oid = "1.2.840.113549.3.2", hmacSha256Oid = "1.2.840.113549.2.9",
                  hmacSha512Oid = "1.2.840.113549.2.11", pbkdf2Oid = "1.2.840.113549.1.5.12",
                  scryptOid = "1.3.6.1.4.1.11591.4.11";

/// PBES2-params in parts.
struct Pbes2Parts {
    Bytes kdf = oid(pbkdf2Oid);
    Bytes count = integer(Bytes{0x08, 0x00});
    Bytes prf = algorithm(hmacSha256Oid, null());
    Bytes cipher = oid(aes256Oid);
    Bytes iv = octetString(Bytes(16));
    Bytes more;

    AlgorithmIdentifier identifier() const {
        return {oidOctets(pbes2Oid), sequence(sequence(kdf, sequence(octetString(Bytes(8)), count, prf)),
                                              sequence(cipher, iv), more)};
    }
};

/// A description, which writes nothing.
KeyEncryption described(AlgorithmIdentifier const& algorithm) {
    CapturedOutput output;
    CapturedErrors errors;
    KeyEncryption found = describeEncryption(algorithm);
    EXPECT_EQ(output.text() + errors.text(), "");
    return found;
}

void expectDescription(KeyEncryption const& found, std::string const& scheme, std::string const& cipher,
                       std::string const& keyDerivation, unsigned iterations, RefusalId problem) {
    EXPECT_EQ(found.scheme, scheme);
    EXPECT_EQ(found.cipher, cipher);
    EXPECT_EQ(found.keyDerivation, keyDerivation);
    EXPECT_EQ(found.iterations, iterations);
    EXPECT_EQ(found.problem.id, problem) << found.problem.str();
}

TEST(DescribeEncryption, NamesWhatIsSupported) {
    Pbes2Parts parts;
    expectDescription(described(parts.identifier()), "PBES2", "AES-256-CBC", "PBKDF2 with HMAC-SHA256", 2048,
                      RefusalId::none);
    parts.prf = {};
    parts.cipher = oid(tripleDesOid);
    parts.iv = octetString(Bytes(8));
    expectDescription(described(parts.identifier()), "PBES2", "DES-EDE3-CBC", "PBKDF2 with HMAC-SHA1", 2048,
                      RefusalId::none);
    expectDescription(described({oidOctets(pbe3DesOid), pbeParams({0x08, 0x00})}), "PBE-SHA1-3DES",
                      "DES-EDE3-CBC", "PKCS#12 with SHA1", 2048, RefusalId::none);
}

TEST(DescribeEncryption, NamesWhatIsNotSupported) {
    expectDescription(described({oidOctets("1.2.840.113549.1.12.1.6"), pbeParams()}), "PBE-SHA1-RC2-40", "",
                      "", 0, RefusalId::unknownEncryption);
    expectDescription(described({oidOctets("1.2.3"), {}}), "1.2.3", "", "", 0, RefusalId::unknownEncryption);
    Pbes2Parts parts;
    parts.prf = algorithm(hmacSha512Oid, null());
    expectDescription(described(parts.identifier()), "PBES2", "AES-256-CBC", "PBKDF2 with HMAC-SHA512", 2048,
                      RefusalId::unsupportedPrf);
    parts = {};
    parts.cipher = oid(rc2Oid);
    parts.iv = octetString(Bytes(8));
    KeyEncryption found = described(parts.identifier());
    expectDescription(found, "PBES2", "RC2-CBC", "PBKDF2 with HMAC-SHA256", 2048,
                      RefusalId::unsupportedCipher);
    EXPECT_EQ(found.problem.facts.front().value, "RC2-CBC");
    parts = {};
    parts.kdf = oid(scryptOid);
    found = described(parts.identifier());
    expectDescription(found, "PBES2", "", "", 0, RefusalId::unsupportedKdf);
    EXPECT_EQ(found.problem.facts.front().value, "scrypt");
}

TEST(DescribeEncryption, SaysWhyParametersAreMalformed) {
    Pbes2Parts parts;
    parts.iv = octetString(Bytes(15));
    expectDescription(described(parts.identifier()), "PBES2", "AES-256-CBC", "PBKDF2 with HMAC-SHA256", 2048,
                      RefusalId::malformedEncryptionParameters);
    parts = {};
    parts.count = integer(Bytes{0x00, 0x98, 0x96, 0x81}); // One above `pbes2MaxIterations`.
    expectDescription(described(parts.identifier()), "PBES2", "", "", 0, RefusalId::iterationCount);
    parts = {};
    parts.more = null();
    KeyEncryption const found = described(parts.identifier());
    expectDescription(found, "PBES2", "", "", 0, RefusalId::unexpectedElement);
    EXPECT_EQ(found.problem.offset, parts.identifier().params.size() - null().size());
    expectDescription(described({oidOctets(pbes2Oid), {}}), "PBES2", "", "", 0, RefusalId::emptyInput);
    expectDescription(described({oidOctets(pbe3DesOid), pbeParams({0})}), "PBE-SHA1-3DES", "", "", 0,
                      RefusalId::iterationCount);
    expectDescription(described({oidOctets(pbe3DesOid), null()}), "PBE-SHA1-3DES", "", "", 0,
                      RefusalId::unexpectedElement);
}

TEST(DescribeEncryption, FitsWhatIsWritten) {
    PKCS12PFX made = newP12(3);
    ASSERT_TRUE(made.encrypt(word));
    PKCS12PFX const pfx = parsedP12(made.save());
    ASSERT_EQ(pfx.encryptedData.size(), 1u);
    for (PKCS7EncryptedData const& content : pfx.encryptedData)
        EXPECT_EQ(described(content.encryptedContentInfo.contentEncryptionAlgorithm).iterations, 3u);
    std::vector<AlgorithmIdentifier> const keys = pfx.keyEncryptions();
    ASSERT_EQ(keys.size(), 1u);
    EXPECT_FALSE(described(keys[0]).problem);
}

} // namespace TEST_FILE
