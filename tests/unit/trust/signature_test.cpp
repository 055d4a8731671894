#include "chains.h"
#include "sealkit/oid.h"
#include "sealkit/pkcs8.h"
#include "sealkit/req.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace TEST_FILE {

struct Verified {
    bool ok;
    int code;

    friend bool operator==(Verified const&, Verified const&) = default;
    friend std::ostream& operator<<(std::ostream& out, Verified const& result) {
        return out << (result.ok ? "verified, code " : "failed, code ") << result.code;
    }
};

Verified verify(X509Base const& object, asn1::blob issuerKeyInfo) {
    PathRes result;
    result.code = -1;
    bool const ok = verifySignature(&object, issuerKeyInfo, &result);
    return {ok, result.code};
}

/// Leaf and issuer of a chain of three.
struct Pair {
    explicit Pair(std::string const& story) {
        auto const chain = test::readChain(story + "/chain.pem");
        leaf = *chain.at(0);
        issuer = *chain.at(1);
    }

    X509Certificate leaf;
    X509Certificate issuer;
};

TEST(VerifySignature, VerifiesEveryKindOfKey) {
    for (auto const* story : {"rsa-chain", "p256-chain", "p384-chain", "p521-chain", "ed25519-chain",
                              "rsa-hashes-chain", "ecdsa-hash-longer-than-order"}) {
        Pair const pair(story);
        // Code 9 was set before the check, and stands.
        EXPECT_EQ(verify(pair.leaf, pair.issuer.subjectPublicKeyInfo), (Verified{true, 9})) << story;
    }
}

TEST(VerifySignature, AnyOtherBitMakesItFail) {
    for (auto const* story : {"rsa-chain", "p256-chain", "ed25519-chain"}) {
        Pair pair(story);
        for (size_t bit : {size_t(0), pair.leaf.tbs.size() * 4, pair.leaf.tbs.size() * 8 - 1}) {
            pair.leaf.tbs[bit / 8] ^= static_cast<unsigned char>(1 << (bit % 8));
            EXPECT_EQ(verify(pair.leaf, pair.issuer.subjectPublicKeyInfo), (Verified{false, 9}))
                << story << bit;
            pair.leaf.tbs[bit / 8] ^= static_cast<unsigned char>(1 << (bit % 8));
        }
        pair.leaf.signature.back() ^= 1;
        EXPECT_EQ(verify(pair.leaf, pair.issuer.subjectPublicKeyInfo), (Verified{false, 9})) << story;
        pair.leaf.signature.clear();
        EXPECT_EQ(verify(pair.leaf, pair.issuer.subjectPublicKeyInfo), (Verified{false, 9})) << story;
    }
}

TEST(VerifySignature, KeyOfAnotherHolderFails) {
    for (auto const* story : {"rsa-chain", "p256-chain", "ed25519-chain"}) {
        Pair const pair(story);
        EXPECT_EQ(verify(pair.leaf, pair.leaf.subjectPublicKeyInfo), (Verified{false, 9})) << story;
    }
}

TEST(VerifySignature, UnreadableKeyIsCodeSeven) {
    Pair const pair("p256-chain");
    EXPECT_EQ(verify(pair.leaf, {}), (Verified{false, 7}));
    auto keyInfo = pair.issuer.subjectPublicKeyInfo;
    keyInfo.push_back(0);
    EXPECT_EQ(verify(pair.leaf, keyInfo), (Verified{false, 7}));
    keyInfo.resize(keyInfo.size() - 2);
    EXPECT_EQ(verify(pair.leaf, keyInfo), (Verified{false, 7}));
    keyInfo = pair.issuer.subjectPublicKeyInfo;
    keyInfo.back() ^= 1; // off the curve
    EXPECT_EQ(verify(pair.leaf, keyInfo), (Verified{false, 7}));
    EXPECT_EQ(
        verify(pair.leaf, test::readChain("unreadable-issuer-key/store.pem").at(0)->subjectPublicKeyInfo),
        (Verified{false, 7}));
}

TEST(VerifySignature, UnknownAlgorithmIsCodeEight) {
    Pair pair("p256-chain");
    pair.leaf.signatureAlgorithm.oid = {0x2a, 0x03};
    EXPECT_EQ(verify(pair.leaf, pair.issuer.subjectPublicKeyInfo), (Verified{false, 8}));
    pair.leaf.signatureAlgorithm.oid.clear();
    EXPECT_EQ(verify(pair.leaf, pair.issuer.subjectPublicKeyInfo), (Verified{false, 8}));
}

TEST(VerifySignature, AlgorithmOfAnotherKeyTypeIsCodeEight) {
    auto const issuers = {Pair("rsa-chain"), Pair("p256-chain"), Pair("ed25519-chain")};
    for (Pair const& signedBy : issuers) {
        for (Pair const& other : issuers) {
            if (&signedBy != &other) {
                EXPECT_EQ(verify(signedBy.leaf, other.issuer.subjectPublicKeyInfo), (Verified{false, 8}));
            }
        }
    }
}

TEST(VerifySignature, UnreadableKeyGoesBeforeUnknownAlgorithm) {
    Pair pair("p256-chain");
    pair.leaf.signatureAlgorithm.oid.clear();
    EXPECT_EQ(verify(pair.leaf, {}), (Verified{false, 7}));
}

TEST(VerifySignature, KeyThatCannotSignIsCodeNine) {
    // id-X25519 as a signature algorithm goes with an X25519 key, and verifies nothing.
    X25519PublicKey key;
    key.pub.assign(32, 9);
    Pair pair("ed25519-chain");
    asn1::blob const algorithm = getKeyOid(KeyType::X25519);
    pair.leaf.signatureAlgorithm.oid.assign(algorithm.begin(), algorithm.end());
    pair.leaf.signatureAlgorithm.params.clear();
    EXPECT_EQ(verify(pair.leaf, encodePkcs8PublicKey(key)), (Verified{false, 9}));
}

TEST(VerifySignature, VerifiesCrls) {
    auto const crl = readCrl(test::readStoryFile("revoked/crls.pem"));
    auto const issuer = test::readChain("revoked/store.pem").at(0);
    ASSERT_TRUE(crl);
    EXPECT_TRUE(verify(*crl, issuer->subjectPublicKeyInfo).ok);
    EXPECT_EQ(verify(*crl, test::readChain("forged-crl/chain.pem").at(0)->subjectPublicKeyInfo),
              (Verified{false, 9}));
}

TEST(VerifySignature, VerifiesRequests) {
    auto const request = readReq(test::readStoryFile("request.pem"));
    ASSERT_TRUE(request);
    EXPECT_TRUE(verify(*request, request->subjectPublicKeyInfo).ok);
    request->signature.back() ^= 1;
    EXPECT_EQ(verify(*request, request->subjectPublicKeyInfo), (Verified{false, 9}));
}

TEST(VerifySignature, ParametersUnderASmallExponentAreLookedAt) {
    // Made without the private key: the digest is right and the parameters of its algorithm are made
    // to take up what a cube root leaves over. The DigestInfo check alone lets it through.
    auto const chain = test::readChain("forged-signature-under-exponent-3/chain.pem");
    X509Certificate const& leaf = *chain.at(0);
    X509Certificate const& issuer = *chain.at(1);
    EXPECT_EQ(verify(leaf, issuer.subjectPublicKeyInfo), (Verified{false, 9}));

    BigNum const s(leaf.signature);
    std::vector<unsigned char> const block = (s * s * s).bin(256);
    ASSERT_EQ(block.size(), 256u);
    std::vector<unsigned char> start(11, 0xff);
    start.front() = 0x00;
    start[1] = 0x01;
    start.back() = 0x00;
    ASSERT_TRUE(std::equal(start.begin(), start.end(), block.begin()));
    asn1::blob const found = RsaPublicKey::parseHashFromDerEncoded(
        HashID::SHA256, asn1::blob(block.data() + 11, block.size() - 11));
    EXPECT_EQ(found, asn1::blob(calcDigest(HashID::SHA256, leaf.tbs)));
}

} // namespace TEST_FILE
