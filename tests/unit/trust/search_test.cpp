// The search for a chain: what it finds, and what it takes, which is counted and never timed.

#include "chains.h"
#include "sealkit/pkcs8.h"
#include "sealkit/search.h"
#include "sealkit/signature.h"
#include "support/slow.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <malloc.h>

namespace TEST_FILE {

using test::CapturedOutput;
using test::commonName;
using test::isSlow;
using test::lessWhenSlow;

constexpr TimePoint now = test::storyTime;
constexpr TimePoint before = TimePoint::fromSeconds(now.seconds - 1000);
constexpr TimePoint after = TimePoint::fromSeconds(now.seconds + 1000);

/// A certificate and its key.
struct Entity {
    std::shared_ptr<PrivateKey> key;
    std::shared_ptr<X509Certificate> certificate;
};

std::shared_ptr<PrivateKey> newKey(Curve curve = Curve::p256) {
    auto key = std::make_shared<EcPrivateKey>();
    key->curve = curve;
    EXPECT_TRUE(key->generatePrivKey(getDefaultRng()));
    return key;
}

/// What `sign` makes of the certificate.
std::shared_ptr<X509Certificate> sealed(X509Certificate certificate, PrivateKey const& key) {
    CapturedOutput quiet;
    EXPECT_TRUE(certificate.sign(key));
    auto const der = certificate.serialize();
    auto parsed = std::make_shared<X509Certificate>();
    EXPECT_TRUE(parsed->parse(der.data(), static_cast<unsigned>(der.size())));
    return parsed;
}

unsigned serial = 0;

X509Certificate filled(std::string const& subject, std::string const& issuer, PublicKey const& key) {
    X509Certificate certificate;
    ++serial;
    certificate.serialNumber = {1, static_cast<unsigned char>(serial >> 8),
                                static_cast<unsigned char>(serial)};
    certificate.subject = commonName(subject);
    certificate.issuer = commonName(issuer);
    certificate.notBefore = before;
    certificate.notAfter = after;
    certificate.setPublicKey(key);
    certificate.basicConstraints = 1;
    return certificate;
}

Entity makeRoot(std::string const& name, std::shared_ptr<PrivateKey> key = newKey()) {
    auto certificate = sealed(filled(name, name, *key), *key);
    return {std::move(key), std::move(certificate)};
}

Entity makeUnder(Entity const& issuer, std::string const& name, std::shared_ptr<PrivateKey> key = newKey()) {
    auto certificate = sealed(filled(name, issuer.certificate->subject.commonName, *key), *issuer.key);
    return {std::move(key), std::move(certificate)};
}

std::shared_ptr<X509Crl> makeCrl(Entity const& issuer, std::vector<Entity> const& revoked, unsigned age = 0) {
    X509Crl crl;
    crl.issuer = issuer.certificate->subject;
    crl.thisUpdate = TimePoint::fromSeconds(now.seconds - 10 - age);
    crl.nextUpdate = after;
    for (Entity const& one : revoked)
        crl.revoked.push_back({one.certificate->serialNumber, before, 1});
    EXPECT_TRUE(crl.sign(*issuer.key));
    auto const der = crl.serialize();
    auto parsed = std::make_shared<X509Crl>();
    EXPECT_TRUE(parsed->parse(der.data(), static_cast<unsigned>(der.size())));
    return parsed;
}

CertificateMemoryStore storeOf(CertificateChain certificates) {
    CertificateMemoryStore store;
    store.certs = std::move(certificates);
    return store;
}

PathOptions atNow(bool checkCrls = false) {
    PathOptions options;
    options.now = now;
    options.checkCrls = checkCrls;
    return options;
}

PathVerdict search(CertificateStore const& store, CertificateChain const& given,
                   PathOptions const& options = atNow()) {
    PathSearch pool(store);
    pool.addCertificates(given);
    return pool.find(given.front(), options);
}

CrlStatus statusOf(PathVerdict const& verdict, std::shared_ptr<X509Crl> const& crl) {
    auto const found = std::ranges::find(verdict.crls, crl, &CrlVerdict::crl);
    EXPECT_NE(found, verdict.crls.end());
    return found == verdict.crls.end() ? CrlStatus::unchecked : found->status;
}

TEST(PathSearch, PutsCertificatesInOrder) {
    Entity const root = makeRoot("Root"), upper = makeUnder(root, "Upper"), lower = makeUnder(upper, "Lower");
    Entity const leaf = makeUnder(lower, "Leaf"), surplus = makeRoot("Surplus");
    auto const store = storeOf({surplus.certificate, root.certificate});
    PathVerdict const verdict =
        search(store, {leaf.certificate, upper.certificate, surplus.certificate, lower.certificate});
    EXPECT_TRUE(verdict.isValid());
    EXPECT_EQ(verdict.reason(), "");
    EXPECT_EQ(verdict.limit, SearchLimit::none);
    EXPECT_EQ(verdict.chain,
              (CertificateChain{leaf.certificate, lower.certificate, upper.certificate, root.certificate}));
    EXPECT_EQ(verdict.effort.signatureChecks, 3U);
    EXPECT_EQ(verdict.effort.chains, 1U);
}

TEST(PathSearch, OfTwoRootsOfOneNameWithoutKeyIdentifiersFindsTheOneThatVerifies) {
    Entity const wrong = makeRoot("Root"), right = makeRoot("Root"), leaf = makeUnder(right, "Leaf");
    for (auto const& certs : {CertificateChain{wrong.certificate, right.certificate},
                              CertificateChain{right.certificate, wrong.certificate}}) {
        PathVerdict const verdict = search(storeOf(certs), {leaf.certificate});
        EXPECT_TRUE(verdict.isValid()) << verdict.reason();
        ASSERT_EQ(verdict.chain.size(), 2U);
        EXPECT_EQ(verdict.chain[1], right.certificate);
    }
}

TEST(PathSearch, TellsItsEventsToThoseWhoAsk) {
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    auto const store = storeOf({root.certificate});
    using Kind = PathSearchEvent::Kind;
    for (unsigned const limit : {0U, 2U, 100U}) {
        PathSearchOptions limits;
        limits.maxEvents = limit;
        PathSearch pool(store, limits);
        pool.addCertificates({inter.certificate});
        PathVerdict const verdict = pool.find(leaf.certificate, atNow());
        ASSERT_EQ(verdict.events.size(), std::min(limit, 5U));
        if (limit < 5)
            continue;
        std::vector<Kind> kinds;
        for (PathSearchEvent const& event : verdict.events)
            kinds.push_back(event.kind);
        EXPECT_EQ(kinds, (std::vector{Kind::lookedUp, Kind::candidate, Kind::lookedUp, Kind::candidate,
                                      Kind::judged}));
        EXPECT_EQ(verdict.events[0].number, 1U);
        EXPECT_TRUE(verdict.events[1].isSigned && !verdict.events[1].isTrusted &&
                    verdict.events[3].isTrusted);
        EXPECT_EQ(verdict.events[4].certificate, root.certificate);
        EXPECT_EQ(verdict.events[4].depth, 2U);
        EXPECT_EQ(verdict.events[4].code, PathCode::valid);
    }
}

TEST(PathSearch, TakesTheStoresCopyOfTheLastCertificate) {
    Entity const root = makeRoot("Root");
    X509Certificate old = filled("Root", "Root", *root.key);
    old.notAfter = TimePoint::fromSeconds(now.seconds - 500);
    auto const expired = sealed(old, *root.key);
    Entity const leaf = makeUnder(root, "Leaf");
    PathVerdict const verdict = search(storeOf({root.certificate}), {leaf.certificate, expired});
    EXPECT_TRUE(verdict.isValid());
    EXPECT_EQ(verdict.chain.back(), root.certificate);
    PathVerdict const failure = search(storeOf({expired}), {leaf.certificate, root.certificate});
    EXPECT_EQ(failure.explanation.code, 5);
}

TEST(PathSearch, TriesEveryIssuerOfAName) {
    Entity const root = makeRoot("Root"), foreign = makeRoot("Foreign");
    Entity const inter = makeUnder(root, "Inter"), cross = makeUnder(foreign, "Inter", inter.key);
    Entity const impostor = makeUnder(foreign, "Inter"), leaf = makeUnder(inter, "Leaf");
    CertificateChain const given = {leaf.certificate, impostor.certificate, cross.certificate,
                                    inter.certificate};
    EXPECT_TRUE(search(storeOf({root.certificate}), given).isValid());
    EXPECT_TRUE(search(storeOf({foreign.certificate}), given).isValid());
    EXPECT_EQ(search(storeOf({makeRoot("Other").certificate}), given).explanation.code, 6);
}

TEST(PathSearch, TellsTheFirstChainThatLeadsToTheStoreWhereNoneIsValid) {
    Entity const root = makeRoot("Root"), unknown = makeRoot("Unknown");
    Entity const inter = makeUnder(unknown, "Inter"), leaf = makeUnder(inter, "Leaf");
    X509Certificate old = filled("Inter", "Root", *inter.key);
    old.notAfter = TimePoint::fromSeconds(now.seconds - 500);
    auto const expired = sealed(old, *root.key);
    PathVerdict const verdict =
        search(storeOf({root.certificate}), {leaf.certificate, inter.certificate, expired});
    EXPECT_EQ(verdict.explanation.code, 5);
    EXPECT_EQ(verdict.explanation.depth, 1U);
    EXPECT_EQ(verdict.chain[1], expired);
    EXPECT_EQ(verdict.explanation.error.find("cert not valid (after: "), 0U);
}

TEST(PathSearch, ShowsAForgedLink) {
    Entity const root = makeRoot("Root"), other = makeRoot("Other");
    auto const forged = sealed(filled("Leaf", "Root", *newKey()), *other.key);
    PathVerdict const verdict = search(storeOf({root.certificate}), {forged});
    EXPECT_EQ(verdict.explanation.code, 9);
    EXPECT_EQ(verdict.chain, (CertificateChain{forged, root.certificate}));
}

TEST(PathSearch, OfNoLeafThereIsNoChain) {
    CertificateMemoryStore const store;
    EXPECT_EQ(PathSearch(store).find(nullptr, atNow()).explanation.code, 1);
}

TEST(PathSearch, ASelfSignedLeafIsItsOwnAnchorInTheStoreAlone) {
    Entity const own = makeRoot("Own");
    EXPECT_TRUE(search(storeOf({own.certificate}), {own.certificate}).isValid());
    EXPECT_EQ(search(storeOf({}), {own.certificate}).explanation.code, 6);
}

TEST(PathSearch, AsksAStoreThatDoesNotListWhatItHolds) {
    class Hidden : public CertificateStore {
    public:
        CertificateMemoryStore inner;
        // A new copy for each question, as a store that reads files has it.
        std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                         asn1::blob keyId) const override {
            auto const found = inner.findCertificate(subject, keyId);
            return found ? std::make_shared<X509Certificate>(*found) : nullptr;
        }
        std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const override {
            auto const found = inner.findCrl(certificate);
            return found ? std::make_shared<X509Crl>(*found) : nullptr;
        }
    };
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    Hidden store;
    store.inner.certs = {root.certificate};
    EXPECT_TRUE(search(store, {leaf.certificate, inter.certificate}).isValid());
    store.inner.certs = {inter.certificate};
    EXPECT_TRUE(search(store, {leaf.certificate}).isValid());
    store.inner.crls = {makeCrl(inter, {leaf})};
    EXPECT_EQ(search(store, {leaf.certificate}, atNow(true)).explanation.code, 10);
}

TEST(PathSearch, TheNewestVerifiedCrlOfAnIssuerCounts) {
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    Entity const impostor = makeRoot("Inter"), foreign = makeRoot("Foreign");
    auto const revoking = makeCrl(inter, {leaf}, 50), older = makeCrl(inter, {}, 100);
    auto const false1 = makeCrl(impostor, {}, 0), unknown = makeCrl(foreign, {}, 0);
    auto const forged = std::make_shared<X509Crl>(*makeCrl(root, {}, 20));
    forged->signature.back() ^= 1;
    auto const store = storeOf({root.certificate});
    PathSearch pool(store);
    pool.addCertificates({inter.certificate, impostor.certificate});
    pool.addCrls({older, false1, revoking, unknown, forged, revoking});
    PathVerdict const verdict = pool.find(leaf.certificate, atNow(true));
    EXPECT_EQ(verdict.explanation.code, 10);
    ASSERT_EQ(verdict.crls.size(), 5U);
    EXPECT_TRUE(std::ranges::is_sorted(verdict.crls, std::greater<>(),
                                       [](CrlVerdict const& each) { return each.crl->thisUpdate.seconds; }));
    EXPECT_EQ(statusOf(verdict, revoking), CrlStatus::verified);
    EXPECT_EQ(statusOf(verdict, older), CrlStatus::verified);
    EXPECT_EQ(statusOf(verdict, false1), CrlStatus::otherIssuer);
    EXPECT_EQ(statusOf(verdict, unknown), CrlStatus::unknownIssuer);
    EXPECT_EQ(statusOf(verdict, forged), CrlStatus::badSignature);
    EXPECT_TRUE(pool.find(leaf.certificate, atNow()).isValid());
}

TEST(PathSearchEffort, WithoutTheIdentityOneChainIsShown) {
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    CertificateChain given = {leaf.certificate};
    for (int i = 0; i < 100; ++i)
        given.push_back(makeUnder(root, "Inter", inter.key).certificate);
    PathOptions options = atNow();
    options.hostName = "elsewhere.test";
    PathVerdict const verdict = search(storeOf({root.certificate}), given, options);
    EXPECT_EQ(verdict.explanation.code, 2);
    EXPECT_EQ(verdict.limit, SearchLimit::none);
    EXPECT_EQ(verdict.effort.chains, 1U);
    EXPECT_LT(verdict.effort.signatureChecks, 4U);
}

TEST(PathSearchEffort, EachPairIsVerifiedAndEachCertificateHashedOnce) {
    Entity const root = makeRoot("Root"), foreign = makeRoot("Foreign");
    Entity const inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    // A hundred certificates of one key, none of which leads to the store.
    CertificateChain given = {leaf.certificate};
    for (int i = 0; i < 100; ++i)
        given.push_back(makeUnder(foreign, "Inter", inter.key).certificate);
    auto const store = storeOf({root.certificate});
    PathSearch pool(store);
    pool.addCertificates(given);
    pool.addCertificates(given);
    for (int i = 0; i < 3; ++i) {
        PathVerdict const verdict = pool.find(leaf.certificate, atNow());
        EXPECT_EQ(verdict.explanation.code, 6);
        EXPECT_EQ(verdict.limit, SearchLimit::chains);
        EXPECT_EQ(verdict.effort.signatureChecks, i == 0 ? 1U : 0U) << "the leaf under the one key";
        EXPECT_EQ(verdict.effort.digests, 1U) << "the leaf";
    }
}

/// A leaf of a key that no other one has.
std::shared_ptr<X509Certificate> leafOfOwnKey(Entity const& issuer, unsigned number) {
    RsaPublicKey key;
    key.n = (bn64(1) << 2047) + bn64(2 * number + 1);
    key.e = bn64(65537);
    return sealed(filled("Leaf", issuer.certificate->subject.commonName, key), *issuer.key);
}

/// The bytes that are allocated; 0 where the C library or a sanitizer does not tell.
size_t allocatedBytes() {
#ifdef __GLIBC__
    return mallinfo2().uordblks;
#else
    return 0;
#endif
}

TEST(PathSearchEffort, ThePoolDoesNotGrowWithTheNumberOfSearches) {
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter");
    auto const store = storeOf({root.certificate});
    PathSearch pool(store);
    pool.addCertificates({inter.certificate});
    pool.addCrls({makeCrl(root, {}), makeCrl(inter, {})});
    std::vector<std::weak_ptr<X509Certificate>> searched;
    size_t atFirst = 0;
    for (unsigned i = 0; i <= lessWhenSlow(120u, 40u); ++i) {
        auto const leaf = leafOfOwnKey(inter, i);
        EXPECT_TRUE(pool.find(leaf, atNow(true)).isValid());
        // A copy of a candidate is forgotten, too.
        auto const copy = std::make_shared<X509Certificate>(*inter.certificate);
        EXPECT_TRUE(pool.find(copy, atNow(true)).isValid());
        if (i == 20) {
            searched = {leaf, copy};
            atFirst = allocatedBytes();
        }
    }
    for (auto const& one : searched)
        EXPECT_TRUE(one.expired());
    EXPECT_LT(allocatedBytes(), atFirst + 20000) << "after many searches more";
}

TEST(PathSearch, ALeafIsNoCandidateForLaterSearches) {
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    auto const store = storeOf({root.certificate});
    PathSearch pool(store);
    EXPECT_TRUE(pool.find(inter.certificate, atNow()).isValid());
    EXPECT_FALSE(pool.find(leaf.certificate, atNow()).isValid());
    pool.addCertificates({inter.certificate});
    EXPECT_TRUE(pool.find(inter.certificate, atNow()).isValid());
    EXPECT_TRUE(pool.find(leaf.certificate, atNow()).isValid());
}

std::shared_ptr<PrivateKey> readKey(std::string const& name) {
    return readPrivateKeyFromFile(SEALKIT_TEST_DATA "/vectors/keys/private/" + name + ".pem", "");
}

/// A certificate with an RSA key of that many bits, which has signed nothing: one more for each number.
std::shared_ptr<X509Certificate> rsaImpostor(std::string const& name, unsigned bits, unsigned number) {
    static Entity const signer = makeRoot("Signer");
    std::vector<unsigned char> modulus(bits / 8);
    modulus.front() = 0x80;
    modulus[1] = static_cast<unsigned char>(number >> 8);
    modulus[2] = static_cast<unsigned char>(number);
    modulus.back() = 1;
    static constexpr unsigned char exponent[] = {1, 0, 1};
    RsaPublicKey key;
    key.n = BigNum(asn1::blob(modulus));
    key.e = BigNum(asn1::blob(exponent));
    return sealed(filled(name, "Signer", key), *signer.key);
}

TEST(PathSearchEffort, AThousandLongKeysOfOneNameStayWithinTheWork) {
    Entity const inter = makeRoot("Inter", readKey("openssl-pkcs8-rsa")), leaf = makeUnder(inter, "Leaf");
    struct {
        unsigned bits, checks, certificates;
    } const cases[] = {
        {16384, 2, lessWhenSlow(1000u, 10u)}, {8192, 8, 200}, {4096, 32, 200}, {2048, 128, 200}};
    for (auto const& [bits, checks, certificates] : cases) {
        SCOPED_TRACE(bits);
        if (isSlow() && (bits == 8192 || bits == 4096))
            continue;
        CertificateChain given = {leaf.certificate};
        for (unsigned i = 0; i < certificates; ++i)
            given.push_back(rsaImpostor("Inter", bits, i));
        PathVerdict const verdict = search(storeOf({inter.certificate}), given);
        EXPECT_TRUE(verdict.isValid()) << "the trusted one is tried first: " << verdict.reason();
        EXPECT_EQ(verdict.effort.signatureChecks, 1U);

        PathVerdict const failure = search(storeOf({makeRoot("Other").certificate}), given);
        EXPECT_EQ(failure.explanation.code, 6);
        EXPECT_EQ(failure.limit, SearchLimit::work);
        EXPECT_EQ(failure.reason(),
                  std::string(findPathCode(6)->sentence) + " " + getReasonText(SearchLimit::work).sentence);
        EXPECT_LE(failure.effort.work, 128U);
        EXPECT_LE(failure.effort.signatureChecks, checks);
        EXPECT_GE(failure.effort.signatureChecks, checks - 1);
    }
}

TEST(PathSearchEffort, AMoreCostlyKeyLeavesWorkForOthers) {
    Entity const inter = makeRoot("Inter", readKey("openssl-pkcs8-rsa")), leaf = makeUnder(inter, "Leaf");
    CertificateMemoryStore const store =
        storeOf({rsaImpostor("Inter", 16384, 1), rsaImpostor("Inter", 16384, 2),
                 rsaImpostor("Inter", 16384, 3), inter.certificate});
    PathSearch pool(store, {.maxWork = 70});
    PathVerdict const verdict = pool.find(leaf.certificate, atNow());
    EXPECT_TRUE(verdict.isValid()) << verdict.reason();
    EXPECT_EQ(verdict.effort.signatureChecks, 2U);
}

TEST(PathSearchEffort, KeysCountByTheirSize) {
    struct {
        Curve curve;
        unsigned work;
    } const cases[] = {{Curve::p224, 1}, {Curve::p256, 1}, {Curve::p384, 3}, {Curve::p521, 5}};
    for (auto const& [curve, work] : cases) {
        Entity const root = makeRoot("Root", newKey(curve)), leaf = makeUnder(root, "Leaf");
        EXPECT_EQ(search(storeOf({root.certificate}), {leaf.certificate}).effort.work, work);
    }
    Entity const root = makeRoot("Root", readKey("openssl-ed25519")), leaf = makeUnder(root, "Leaf");
    EXPECT_EQ(search(storeOf({root.certificate}), {leaf.certificate}).effort.work, 1U);
}

TEST(PathSearchEffort, ACrlAmongAThousandFakeIssuersSharesTheWork) {
    Entity const root = makeRoot("Root"), leaf = makeUnder(root, "Leaf");
    Entity const issuer = makeRoot("Issuer", readKey("openssl-pkcs8-rsa"));
    auto const crl = makeCrl(issuer, {}), own = makeCrl(root, {});
    auto const store = storeOf({root.certificate});
    PathSearch pool(store);
    for (unsigned i = 0; i < lessWhenSlow(1000u, 150u); ++i)
        pool.addCertificates({rsaImpostor("Issuer", 2048, i)});
    pool.addCrls({crl, own});
    PathVerdict const verdict = pool.find(leaf.certificate, atNow(true));
    EXPECT_TRUE(verdict.isValid());
    EXPECT_EQ(statusOf(verdict, own), CrlStatus::verified);
    EXPECT_EQ(statusOf(verdict, crl), CrlStatus::unchecked);
    EXPECT_EQ(verdict.effort.work, 128U);
    EXPECT_EQ(verdict.effort.signatureChecks, 128U);
}

TEST(PathSearchEffort, ARevokedLeafIsNotValidWhereTheWorkDoesNotSufficeForItsCrl) {
    Entity const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    auto store = storeOf({root.certificate});
    store.crls = {makeCrl(inter, {leaf}, 10)};
    // Of the name of the issuer, signed by nobody; then CRLs of that name.
    CertificateChain impostors;
    std::vector<std::shared_ptr<X509Crl>> forged;
    Entity const impostor = makeRoot("Inter");
    for (unsigned i = 0; i < 8; ++i) {
        impostors.push_back(makeUnder(root, "Inter").certificate);
        forged.push_back(makeCrl(impostor, {}, i));
    }
    for (bool const areCrls : {false, true})
        for (unsigned maxWork = 1; maxWork < 16; maxWork += lessWhenSlow(1, 4)) {
            PathSearch pool(store, {.maxWork = maxWork});
            if (areCrls)
                pool.addCrls(forged);
            else
                pool.addCertificates(impostors);
            pool.addCertificates({inter.certificate});
            PathVerdict const verdict = pool.find(leaf.certificate, atNow(true));
            EXPECT_FALSE(verdict.isValid()) << areCrls << ' ' << maxWork;
            bool const isRevoked = verdict.explanation.code == static_cast<int>(PathCode::revoked);
            EXPECT_TRUE(isRevoked || verdict.limit == SearchLimit::work) << areCrls << ' ' << maxWork;
        }
}

TEST(PathSearchEffort, ManyCandidatesCount) {
    auto const search = [](unsigned number) {
        CertificateChain given = {test::unsignedLeaf("Leaf", "Inter")};
        for (unsigned i = 0; i < number; ++i)
            given.push_back(test::unsignedCa("Inter", "Root"));
        PathSearch pool(storeOf({}), {.maxSteps = 1});
        pool.addCertificates(given);
        return pool.find(given.front(), atNow()).effort.work;
    };
    // Each certificate has the same key, none, so that one signature is verified.
    EXPECT_EQ(search(10), 1U);
    EXPECT_EQ(search(4096), 3U); // Once for the chains that verify, once for all.
}

TEST(PathSearchEffort, ManyChainsThroughALeafOfManyNamesStayWithinTheWork) {
    Entity const root = makeRoot("Root"), foreign = makeRoot("Foreign");
    Entity const inter = makeUnder(root, "Inter");
    X509Certificate named = filled("Leaf", "Inter", *inter.key);
    unsigned const names = test::lessWhenSlow(300'000U, 60'000U);
    for (unsigned i = 0; i < names; ++i)
        named.subjectAltNames.push_back(test::dns(std::to_string(i) + ".example.test"));
    auto const leaf = sealed(named, *inter.key);
    // Each constrains the names, one in a way that they do not satisfy.
    CertificateChain given = {leaf};
    for (unsigned i = 0; i < 100; ++i) {
        X509Certificate constrained = filled("Inter", "Foreign", *inter.key);
        constrained.nameConstraintPermitted = test::dns(i == 99 ? "elsewhere" : "test");
        given.push_back(sealed(constrained, *foreign.key));
    }
    PathOptions options = atNow();
    std::string const last = std::to_string(names - 1) + ".example.test";
    options.hostName = last;
    PathVerdict const verdict = search(storeOf({root.certificate}), given, options);
    EXPECT_NE(verdict.explanation.code, 0);
    EXPECT_EQ(verdict.limit, SearchLimit::work);
    EXPECT_LE(verdict.effort.work, 128U);
    EXPECT_LE(verdict.effort.chains, 64U);
    given.push_back(inter.certificate);
    std::ranges::reverse(given.begin() + 1, given.end());
    EXPECT_TRUE(search(storeOf({root.certificate}), given, options).isValid());
}

TEST(PathSearchEffort, LimitsEndASearch) {
    Entity const foreign = makeRoot("Foreign"), a = makeUnder(foreign, "A"), b = makeUnder(foreign, "B");
    // Each certificate of A and B could have issued each of the other.
    CertificateChain given;
    for (unsigned i = 0; i < 12; ++i) {
        given.push_back(makeUnder(a, "B", b.key).certificate);
        given.push_back(makeUnder(b, "A", a.key).certificate);
    }
    auto const leaf = makeUnder(a, "Leaf").certificate;
    CertificateMemoryStore const store = storeOf({makeRoot("Root").certificate});
    PathSearch pool(store);
    pool.addCertificates(given);
    PathVerdict const verdict = pool.find(leaf, atNow());
    EXPECT_EQ(verdict.explanation.code, 6);
    EXPECT_NE(verdict.limit, SearchLimit::none);
    EXPECT_LE(verdict.effort.chains, 64U);
    EXPECT_LE(verdict.effort.steps, 512U);
    EXPECT_LE(verdict.chain.size(), 24U);

    PathSearch narrow(store, {.maxSteps = 3});
    narrow.addCertificates(given);
    EXPECT_EQ(narrow.find(leaf, atNow()).limit, SearchLimit::steps);
    PathSearch shallow(store, {.maxChainLength = 4});
    shallow.addCertificates(given);
    EXPECT_EQ(shallow.find(leaf, atNow()).chain.size(), 4U);
}

/// A chain whose leaf is signed over another hash than its algorithm names.
CertificateChain signedOverAnotherHash() {
    Entity const root = makeRoot("Root", readKey("openssl-pkcs8-rsa")), leaf = makeUnder(root, "Leaf");
    leaf.certificate->signature =
        signHashed(*root.key, HashID::SHA1, calcDigest(HashID::SHA1, leaf.certificate->tbs));
    return {leaf.certificate, root.certificate};
}

TEST(PathSilence, OnlyTheStatedFunctionsWriteWhatASignatureEncloses) {
    CertificateChain const chain = signedOverAnotherHash();
    auto const store = storeOf({chain[1]});
    {
        CapturedOutput output;
        EXPECT_EQ(x509ExplainPath(chain, store, atNow()).code, 9);
        EXPECT_EQ(search(store, chain).explanation.code, 9);
        EXPECT_EQ(output.text(), "");
    }
    std::string const line = "not correct signature hash\n";
    {
        CapturedOutput output;
        EXPECT_EQ(x509ValidatePath(chain, store, now, "", IPAddr6(), "", false, nullptr), 9);
        EXPECT_EQ(output.text(), line);
    }
    CapturedOutput output;
    PathRes result;
    EXPECT_FALSE(verifySignature(chain[0].get(), chain[1]->subjectPublicKeyInfo, &result));
    EXPECT_EQ(result.code, 9);
    EXPECT_EQ(output.text(), line);
}

TEST(PathSearchReasons, EveryLimitAndStatusHasANameAndASentence) {
    auto const expectRow = [](char const* name, char const* sentence) {
        EXPECT_EQ(std::string(name).find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos);
        EXPECT_TRUE(isupper(sentence[0]));
        EXPECT_EQ(sentence[std::string_view(sentence).size() - 1], '.');
    };
    ASSERT_EQ(searchLimits().size(), 3U);
    for (auto const& row : searchLimits()) {
        EXPECT_EQ(&getReasonText(row.id), &row);
        expectRow(row.name, row.sentence);
    }
    ASSERT_EQ(crlStatuses().size(), 11U);
    for (auto const& row : crlStatuses()) {
        EXPECT_EQ(&getReasonText(row.id), &row);
        expectRow(row.name, row.sentence);
    }
}

TEST(ChooseLeaf, IsTheOneThatIssuedNone) {
    auto const root = makeRoot("Root"), inter = makeUnder(root, "Inter"), leaf = makeUnder(inter, "Leaf");
    auto const &r = root.certificate, &i = inter.certificate, &l = leaf.certificate;
    EXPECT_EQ(x509ChooseLeaf({}), nullptr);
    for (CertificateChain const& order :
         {CertificateChain{l, i, r}, {r, i, l}, {i, r, l}, {r, l, i}, {i, l}, {r, i, l, l}})
        EXPECT_EQ(x509ChooseLeaf(order), l);
    EXPECT_EQ(x509ChooseLeaf({r}), r);
    EXPECT_EQ(x509ChooseLeaf({i, r}), i);
    // Of two ends the first certificate is taken, whatever it is.
    EXPECT_EQ(x509ChooseLeaf({r, l, i, makeUnder(root, "Second").certificate}), r);
    EXPECT_EQ(x509ChooseLeaf({makeRoot("Alone").certificate, l})->subject.commonName, "Alone");
}

TEST(ChooseLeaf, BearsTheNameThatIsAskedForOrIsNoCa) {
    auto const root = makeRoot("Root"), other = makeUnder(root, "Other");
    auto const &r = root.certificate, &o = other.certificate;
    auto const l = std::make_shared<X509Certificate>(*makeUnder(root, "Leaf").certificate);
    l->basicConstraints = 0;
    PathOptions options;
    EXPECT_EQ(x509ChooseLeaf({}, options), nullptr);
    EXPECT_EQ(x509ChooseLeaf({r, l, o}, options), l);
    EXPECT_EQ(x509ChooseLeaf({r}, options), r);
    options.hostName = "other";
    EXPECT_EQ(x509ChooseLeaf({r, l, o}, options), o);
    options.hostName = "nobody";
    EXPECT_EQ(x509ChooseLeaf({r, l, o}, options), l);
}

} // namespace TEST_FILE
