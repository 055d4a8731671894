#include "sealkit/crl.h"
#include "sealkit/hmac.h"
#include "sealkit/pbkdf2.h"
#include "sealkit/pkcs12.h"
#include "sealkit/req.h"
#include "sealkit/signature.h"

#include <gtest/gtest.h>

#include <concepts>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;
using Blob = asn1::blob;

/// Whether `call` takes an id as itself and as a number, with one result.
template <typename Id, typename Call>
constexpr bool takesBoth = std::same_as<std::invoke_result_t<Call, Id>, std::invoke_result_t<Call, unsigned>>;

// Every function of the public headers that takes the id of a hash or a cipher.
static_assert(takesBoth<HashID, decltype([](auto id) { return createHash(id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return getHashName(id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return createHMAC(id, {}); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return getHashOid(id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return getKeyInfoFromKeyHash(KeyType::RSA, id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return calcDigest(id, Blob()); })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            DerEncoder to;
                            saveHash(to, id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            DerEncoder to;
                            saveDigest(to, id, Blob());
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return pbkdf2(id, Blob(), Blob(), 1, {}); })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return pkcs12_kdf(id, Blob(), Blob(), 1, PKCS12Purpose::mac, {});
                        })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return RsaPublicKey().verifyHashed(id, Blob(), Blob()); })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return RsaPublicKey::parseHashFromDerEncoded(id, Blob()); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return RsaPrivateKey().signHashed(id, Blob()); })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return EcPublicKey().verifyHashed(id, Blob(), Blob()); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return EcPrivateKey().signHashed(id, Blob()); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return signHashed(EcPrivateKey(), id, Blob()); })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return verifyHashed(EcPublicKey(), id, Blob(), Blob()); })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return verifyHashed(EcPublicKey(), id, Blob(), Blob(), nullptr);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return signMessage(EcPrivateKey(), id, Blob()); })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return verifyMessage(EcPublicKey(), id, Blob(), Blob()); })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return verifyMessage(EcPublicKey(), id, Blob(), Blob(), nullptr);
                        })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return X509Certificate().sign(EcPrivateKey(), id); })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return X509Certificate().updateTbs(EcPrivateKey(), id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return X509Crl().updateTbs(EcPrivateKey(), id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return X509Req().updateTbs(EcPrivateKey(), id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            X509Certificate certificate;
                            return static_cast<X509Base&>(certificate).updateTbs(EcPrivateKey(), id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return PKCS7SignerInfo().sign(X509Certificate(), EcPrivateKey(), Blob(), Blob(),
                                                          id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return PKCS7SignedData().create(X509Certificate(), EcPrivateKey(), Blob(), Blob(),
                                                            id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return PKCS7SignerInfo().addContentDigest(Blob(), Blob(), id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return PKCS7SignerInfo().messageDigest(id); })>);
static_assert(
    takesBoth<HashID, decltype([](auto id) { return PKCS7SignerInfo().encodeAndMessageDigest(id); })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return PKCS7SignerInfo().verifyContentDigest(Blob(), Blob(), id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) {
                            return PKCS12PFX().sign(X509Certificate(), EcPrivateKey(), id);
                        })>);
static_assert(takesBoth<HashID, decltype([](auto id) { return PKCS12PFX().setMacHash(id); })>);
static_assert(takesBoth<CipherID, decltype([](auto id) { return createCipher(id, {}, 0); })>);
static_assert(takesBoth<CipherID, decltype([](auto id) {
                            return PKCS7EnvelopedData().encrypt(X509Certificate(), Blob(), Blob(), id,
                                                                getDefaultRng());
                        })>);
static_assert(
    takesBoth<CipherID, decltype([](auto id) { return PKCS12PFX().setPbes2Params("", Blob(), id); })>);
static_assert(takesBoth<CipherID, decltype([](auto id) {
                            return PKCS12PFX().encryptEnveloped(X509Certificate(), Blob(), id);
                        })>);

TEST(IdsAsNumbers, MeanTheAlgorithmOfTheId) {
    unsigned const sha256 = static_cast<unsigned>(HashID::SHA256);
    Bytes const digest = calcDigest(HashID::SHA256, "abc");
    EXPECT_EQ(calcDigest(sha256, "abc"), digest);
    EcPrivateKey key;
    key.curve = Curve::p256;
    ASSERT_TRUE(key.generatePrivKey(getDefaultRng()));
    Bytes const signature = key.signHashed(sha256, digest);
    EXPECT_FALSE(signature.empty());
    EXPECT_EQ(key.signHashed(HashID::SHA256, digest), signature);
    EXPECT_TRUE(key.verifyHashed(sha256, digest, signature));
    EXPECT_FALSE(key.verifyHashed(static_cast<unsigned>(HashID::SHA384), digest, signature));
    EXPECT_TRUE(verifyMessage(key, sha256, "abc", signMessage(key, sha256, "abc")));
    Bytes first(32), second(32);
    EXPECT_TRUE(pbkdf2(HashID::SHA256, "password", "salt", 2, first));
    EXPECT_TRUE(pbkdf2(sha256, "password", "salt", 2, second));
    EXPECT_EQ(first, second);
    EXPECT_FALSE(pbkdf2(0u, "password", "salt", 2, second));

    X509Req request;
    request.subject.commonName = "number";
    request.setPublicKey(key);
    X509Base& base = request;
    ASSERT_TRUE(base.updateTbs(key, HashID::SHA256));
    Bytes const tbs = request.tbs;
    request.tbs.clear();
    EXPECT_TRUE(base.updateTbs(key, sha256));
    EXPECT_EQ(request.tbs, tbs);
    EXPECT_FALSE(base.updateTbs(key, 0x7FFFFFFFu));
    PKCS12PFX pfx;
    EXPECT_TRUE(pfx.setMacHash(static_cast<unsigned>(HashID::SHA512)));
    EXPECT_EQ(pfx.macName(), "SHA512");
    EXPECT_FALSE(pfx.setMacHash(0u));
}

// What a program derives from is not final.

struct CountingHash : SHA256 {
    unsigned calls = 0;
    void update(void const* data, unsigned length) override {
        ++calls;
        SHA256::update(data, length);
    }
};

struct NamedKey : EcPrivateKey {
    std::string name = "of the program";
};

struct DatedCertificate : X509Certificate {
    TimePoint seen;
};

TEST(ExportedClasses, CanBeDerivedFromAndFoundAgain) {
    CountingHash hash;
    hash.update("abc", 3);
    unsigned char digest[32];
    hash.digest(digest);
    EXPECT_EQ(Blob(digest), Blob(calcDigest(HashID::SHA256, "abc")));
    EXPECT_EQ(hash.calls, 1u);

    std::unique_ptr<PrivateKey> const key = std::make_unique<NamedKey>();
    ASSERT_NE(dynamic_cast<NamedKey*>(key.get()), nullptr);
    EXPECT_EQ(dynamic_cast<NamedKey*>(key.get())->name, "of the program");
    EXPECT_NE(dynamic_cast<EcPrivateKey*>(key.get()), nullptr);
    EXPECT_EQ(dynamic_cast<RsaPrivateKey*>(key.get()), nullptr);
    DatedCertificate const certificate;
    EXPECT_NE(dynamic_cast<X509Base const*>(static_cast<X509Certificate const*>(&certificate)), nullptr);
}

} // namespace TEST_FILE
