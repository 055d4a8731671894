/// Files that nobody meant well: whatever arrives, reading and opening end soon and say yes or no.
#include "pkcs12_files.h"

#include "support/random.h"
#include "support/slow.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

/// Files of each kind that are small and quick to open. RSA keys are read without computing anything.
std::vector<Bytes> smallFiles() {
    std::vector<Bytes> files;
    PKCS12PFX made;
    made.certificates = {p12Certificate()};
    made.keys = {rsaKey()};
    made.iterations = 1;
    files.push_back(made.save());
    EXPECT_TRUE(made.encrypt(word));
    files.push_back(made.save());
    made.mac.clear();
    files.push_back(made.save());
    EXPECT_TRUE(made.setPbes2Params(word, {}, CipherID::AesCbc));
    made.mac.clear();
    files.push_back(made.save());
    made.keys.clear();
    EXPECT_TRUE(made.encryptEnveloped(*rsaCertificate(), {}, CipherID::AesCbc));
    EXPECT_TRUE(made.sign(*rsaCertificate(), *rsaKey(), HashID::SHA1));
    files.push_back(made.save());
    return files;
}

/// Reads, opens, writes and shows. Whether it could be read. Opening envelopes takes its time.
bool survives(Bytes const& file, bool opensEnvelopes = true) {
    CapturedOutput output;
    CapturedErrors errors;
    PKCS12PFX pfx;
    bool const isGood = parseInto(pfx, file).isGood;
    // Flipping one bit makes a count large; a few thousand are enough to see that it works.
    bool isQuick = pfx.macIterations < 5000;
    for (PKCS7EncryptedData const& data : pfx.encryptedData) {
        PBEParams pbe1;
        PBES2Params pbes2;
        asn1::blob const params = data.encryptedContentInfo.contentEncryptionAlgorithm.params;
        isQuick = isQuick && !(parse(pbe1, params) && pbe1.iterations > 5000) &&
                  !(parse(pbes2, params) && pbes2.iterations > 5000);
    }
    if (isQuick)
        pfx.decrypt(word);
    if (opensEnvelopes && !pfx.envelopedData.empty())
        pfx.decryptEnveloped(*rsaCertificate(), *rsaKey());
    dumped(pfx);
    pfx.computeLocalKeyId();
    Bytes const written = pfx.save();
    if (isGood) {
        PKCS12PFX again;
        EXPECT_TRUE(again.parse(written));
        EXPECT_EQ(again.save(), written);
    }
    return isGood;
}

TEST(HostilePkcs12, NoTruncationParses) {
    for (Bytes const& file : smallFiles()) {
        EXPECT_TRUE(survives(file));
        for (size_t size = 0; size < file.size(); size++)
            EXPECT_FALSE(survives(Bytes(file.begin(), file.begin() + static_cast<ptrdiff_t>(size)))) << size;
    }
}

TEST(HostilePkcs12, EveryBitMayFlip) {
    size_t const step = lessWhenSlow(1, 61);
    for (Bytes file : smallFiles()) {
        for (size_t bit = 0; bit < file.size() * 8; bit += step) {
            auto const mask = static_cast<unsigned char>(1u << bit % 8);
            file[bit / 8] ^= mask;
            survives(file, bit % 16 == 0);
            file[bit / 8] ^= mask;
        }
    }
}

TEST(HostilePkcs12, NoBitUnderTheMacMayFlip) {
    PKCS12PFX made = newP12();
    ASSERT_TRUE(made.encrypt(word));
    Bytes const safe = made.saveAuthenticatedSafe();
    Bytes file = made.save();
    auto const begin = std::search(file.begin(), file.end(), safe.begin(), safe.end()) - file.begin();
    CapturedOutput quiet;
    for (size_t at = 0; at < safe.size(); at++) {
        unsigned char& octet = file[static_cast<size_t>(begin) + at];
        unsigned char const mask = static_cast<unsigned char>(1u << at % 8);
        octet ^= mask;
        PKCS12PFX pfx;
        EXPECT_FALSE(pfx.parse(file) && pfx.decrypt(word)) << at;
        octet ^= mask;
    }
}

TEST(HostilePkcs12, BerEndsWhateverItIs) {
    Random random(12);
    Bytes const good = readP12("pk12util");
    for (unsigned i = 0; i < lessWhenSlow(2000u, 500u); i++) {
        Bytes file = good;
        for (unsigned changes = 1 + random.below(4); changes > 0; changes--)
            file[random.below(static_cast<unsigned>(file.size()))] =
                static_cast<unsigned char>(random.below(256));
        CapturedOutput quiet;
        PKCS12PFX pfx;
        pfx.parseBer(file);
        pfx.save();
    }
}

TEST(HostilePkcs12, ManyBagsTakeNoLongerThanTheirBytes) {
    size_t const many = lessWhenSlow(100000, 3000);
    P12Parts parts;
    parts.bags = {repeat(bag(shroudedBagOid, sequence(algorithm("1.2.3"), octetString({}))), many)};
    PKCS12PFX pfx;
    EXPECT_TRUE(pfx.parse(parts.der()));
    EXPECT_EQ(pfx.encryptedKeys(), many);
    EXPECT_FALSE(saying("PFX: unsupported PBE: <1.2.3>\n", [&] { return pfx.decrypt(word); }));
    parts.bags = {};
    parts.contents = {repeat(dataContent(sequence()), many)};
    EXPECT_TRUE(pfx.parse(parts.der()));
    parts.contents = {repeat(encryptedContent(algorithm(pbe3DesOid, pbeParams()), {}), many)};
    EXPECT_TRUE(pfx.parse(parts.der()));
    EXPECT_EQ(pfx.encryptedContents(), many);
    EXPECT_FALSE(pfx.decrypt(word));
}

TEST(HostilePkcs12, ALongSaltIsNoObstacle) {
    PKCS12PFX pfx;
    pfx.macIterations = 1;
    Bytes const salt(lessWhenSlow(10'000'000u, 1'000'000u), 1);
    EXPECT_EQ(pfx.computeMAC(word, salt, {}).size(), 32u);
}

TEST(HostilePkcs12, IndefiniteLengthsAreRefused) {
    P12Parts const parts;
    EXPECT_FALSE(
        parses<PKCS12PFX>(join({Bytes{0x30, 0x80}, integer(3), dataContent(parts.safe()), Bytes(2)})));
}

} // namespace TEST_FILE
