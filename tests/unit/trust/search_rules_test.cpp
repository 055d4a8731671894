// The search for a chain under several sets of rules.
#include "chains.h"
#include "support/der.h"

#include "sealkit/pkcs8.h"
#include "sealkit/search.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace TEST_FILE {

namespace der = test::der;
using test::commonName;

constexpr TimePoint now = test::storyTime;
constexpr TimePoint before = TimePoint::fromSeconds(now.seconds - 1000);
constexpr TimePoint after = TimePoint::fromSeconds(now.seconds + 1000);
constexpr unsigned both = PathRules::platform | PathRules::rfc5280;

using Certificate = std::shared_ptr<X509Certificate>;

/// A certificate and its key.
struct Entity {
    std::shared_ptr<PrivateKey> key;
    Certificate certificate;
};

std::shared_ptr<PrivateKey> newKey() {
    auto key = std::make_shared<EcPrivateKey>();
    key->curve = Curve::p256;
    EXPECT_TRUE(key->generatePrivKey(getDefaultRng()));
    return key;
}

Certificate readForStandard(std::vector<unsigned char> const& bytes) {
    auto certificate = std::make_shared<X509Certificate>();
    Refusal refusal;
    EXPECT_TRUE(certificate->parse(asn1::blob(bytes), &refusal, FormRules::standard)) << refusal.str();
    return certificate;
}

/// What a certificate is made of beside its names. Each has a key identifier that is its subject's name.
struct Making {
    bool isCa = true;
    unsigned keyUsage = KeyUsage::keyCertSign | KeyUsage::crlSign;
    der::Bytes moreExtension = {}; ///< One without a member.
    std::string keyId = {};        ///< The subject's name, unless given.
    bool namesIssuerKey = true;
};

Entity make(std::string const& subject, Entity const* issuer, std::string const& issuerName,
            Making const& how = {}) {
    static unsigned char serial = 0;
    Entity made{newKey(), nullptr};
    X509Certificate certificate;
    if (!how.moreExtension.empty()) {
        // It comes from a certificate that has it and is kept.
        auto const name = der::name({{"2.5.4.3", "x"}});
        auto const key = encodePkcs8PublicKey(*made.key);
        auto const algorithm = der::algorithm("1.3.101.112");
        auto const time = der::utcTime("240101000000Z");
        certificate = *readForStandard(
            der::sequence(der::sequence(der::context(0, der::integer(2)), der::integer(1), algorithm, name,
                                        der::sequence(time, time), name, key,
                                        der::context(3, der::sequence(how.moreExtension))),
                          algorithm, der::bitString({0})));
    }
    certificate.serialNumber = {1, ++serial};
    certificate.subject = commonName(subject);
    certificate.issuer = commonName(issuerName);
    certificate.notBefore = before;
    certificate.notAfter = after;
    certificate.setPublicKey(*made.key);
    certificate.basicConstraints = how.isCa ? 1 : 0;
    certificate.keyUsage = how.keyUsage;
    certificate.subjectKeyId = test::bytes(how.keyId.empty() ? subject : how.keyId);
    if (how.namesIssuerKey)
        certificate.authorityKeyId =
            issuer == nullptr ? certificate.subjectKeyId : issuer->certificate->subjectKeyId;
    EXPECT_TRUE(certificate.sign(issuer == nullptr ? *made.key : *issuer->key));
    made.certificate = readForStandard(certificate.serialize());
    return made;
}

Entity makeRoot(std::string const& name) { return make(name, nullptr, name); }
Entity makeUnder(Entity const& issuer, std::string const& name, Making const& how = {}) {
    return make(name, &issuer, issuer.certificate->subject.commonName, how);
}
Entity makeLeaf(Entity const& issuer, std::string const& name = "Leaf") {
    return makeUnder(issuer, name, {false, KeyUsage::digitalSignature, {}});
}

std::shared_ptr<X509Crl> makeCrl(Entity const& issuer, std::vector<Entity> const& revoked = {},
                                 TimePoint issued = before) {
    X509Crl crl;
    crl.issuer = issuer.certificate->subject;
    crl.authorityKeyId = issuer.certificate->subjectKeyId;
    crl.thisUpdate = issued;
    crl.nextUpdate = after;
    for (Entity const& one : revoked)
        crl.revoked.push_back({one.certificate->serialNumber, before, 1});
    EXPECT_TRUE(crl.sign(*issuer.key));
    auto const bytes = crl.serialize();
    auto parsed = std::make_shared<X509Crl>();
    EXPECT_TRUE(parsed->parse(asn1::blob(bytes), nullptr, FormRules::standard));
    return parsed;
}

PathOptions asking(unsigned rules) {
    PathOptions options;
    options.now = now;
    options.rules = rules;
    return options;
}

PathVerdict search(CertificateChain const& trusted, CertificateChain const& given, PathOptions const& options,
                   std::vector<std::shared_ptr<X509Crl>> const& crls = {},
                   PathSearchOptions const& limits = {}) {
    CertificateMemoryStore store;
    store.certs = trusted;
    PathSearch pool(store, limits);
    pool.addCertificates(given);
    pool.addCrls(crls);
    return pool.find(given.front(), options);
}

std::vector<int> codesOf(PathVerdict const& verdict) {
    std::vector<int> codes;
    for (RulesVerdict const& one : verdict.byRules) {
        EXPECT_EQ(one.explanation.rules, one.rules);
        codes.push_back(one.explanation.code);
    }
    return codes;
}

using Codes = std::vector<int>;

TEST(SearchRules, EachSetThatIsAskedForSpeaks) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), leaf = makeLeaf(ca);
    CertificateChain const given = {leaf.certificate, ca.certificate};
    PathVerdict const alone = search({root.certificate}, given, asking(PathRules::platform));
    PathVerdict const verdict = search({root.certificate}, given, asking(both));
    EXPECT_EQ(codesOf(alone), Codes{0});
    EXPECT_EQ(codesOf(verdict), (Codes{0, 0}));
    EXPECT_TRUE(verdict.isValid());
    EXPECT_EQ(verdict.explanation.rules, unsigned{PathRules::platform});
    EXPECT_EQ(verdict.byRules[1].chain, verdict.chain);
    EXPECT_EQ(verdict.chain.size(), 3u);
    // No signature is verified twice, and nothing hashed.
    EXPECT_EQ(verdict.effort.signatureChecks, alone.effort.signatureChecks);
    EXPECT_EQ(verdict.effort.digests, alone.effort.digests);
    EXPECT_EQ(verdict.effort.chains, 2u);
    // A set that is unknown asks for nothing less than the platform's.
    EXPECT_EQ(codesOf(search({root.certificate}, given, asking(0))), Codes{0});
    EXPECT_EQ(codesOf(search({root.certificate}, given, asking(1u << 7))), Codes{0});
    EXPECT_EQ(search({root.certificate}, given, asking(1u << 7)).byRules[0].rules,
              unsigned{PathRules::platform});
}

TEST(SearchRules, NoLeafIsAnEmptyChain) {
    CertificateMemoryStore const store;
    PathSearch pool(store);
    PathVerdict const verdict = pool.find(nullptr, asking(both | PathRules::strict));
    EXPECT_EQ(codesOf(verdict), (Codes{1, 1, 1}));
    EXPECT_EQ(verdict.explanation.code, 1);
}

TEST(SearchRules, TheFirstThatRefusesDecides) {
    Entity const root = makeRoot("Root");
    Entity const ca = makeUnder(root, "CA", {true, KeyUsage::crlSign, {}}), leaf = makeLeaf(ca);
    PathVerdict const verdict =
        search({root.certificate}, {leaf.certificate, ca.certificate}, asking(both | PathRules::strict));
    int const missing = static_cast<int>(PathCode::keyCertSignMissing);
    EXPECT_EQ(codesOf(verdict), (Codes{0, missing, missing}));
    EXPECT_EQ(verdict.explanation.code, missing);
    EXPECT_EQ(verdict.explanation.rules, unsigned{PathRules::rfc5280});
    EXPECT_FALSE(verdict.isValid());
    EXPECT_EQ(verdict.reason(), findPathCode(missing)->sentence);
}

TEST(SearchRules, StrictOnesRefuseMore) {
    Entity const root = makeRoot("Root"), leaf = makeLeaf(root);
    PathVerdict const verdict =
        search({root.certificate}, {leaf.certificate}, asking(PathRules::rfc5280 | PathRules::strict));
    ASSERT_EQ(verdict.byRules.size(), 2u);
    EXPECT_TRUE(verdict.byRules[0].isValid());
    EXPECT_FALSE(verdict.byRules[1].isValid());
    EXPECT_EQ(verdict.explanation.rules, unsigned{PathRules::strict});
    EXPECT_TRUE(verdict.warnings.empty());
}

TEST(SearchRules, AnotherChainMayBeTheOneOfTheStandard) {
    Entity const root = makeRoot("Root");
    Entity const weak = makeUnder(root, "CA", {true, KeyUsage::crlSign, {}});
    // The same name and key.
    Entity good = weak;
    X509Certificate better = *weak.certificate;
    better.keyUsage = KeyUsage::keyCertSign;
    EXPECT_TRUE(better.sign(*root.key));
    good.certificate = readForStandard(better.serialize());
    Entity const leaf = makeLeaf(weak);
    PathVerdict const verdict =
        search({root.certificate}, {leaf.certificate, weak.certificate, good.certificate}, asking(both));
    EXPECT_EQ(codesOf(verdict), (Codes{0, 0}));
    EXPECT_EQ(verdict.chain[1], weak.certificate);
    EXPECT_EQ(verdict.byRules[1].chain[1], good.certificate);
}

TEST(SearchRules, StandardOnesCompareNamesWithoutRegardToCase) {
    Entity const root = makeRoot("The Root");
    Entity const leaf = make("Leaf", &root, "the  ROOT", {false, KeyUsage::digitalSignature, {}});
    PathVerdict const verdict = search({root.certificate}, {leaf.certificate}, asking(both));
    EXPECT_EQ(codesOf(verdict), (Codes{static_cast<int>(PathCode::noAnchor), 0}));
    EXPECT_EQ(verdict.byRules[1].chain, (CertificateChain{leaf.certificate, root.certificate}));
}

TEST(SearchRules, ManyRootsAreFoundAsFewAre) {
    constexpr size_t count = 100; // More than a store reads through.
    std::vector<Entity> roots;
    CertificateChain trusted;
    for (size_t i = 0; i < count; i++) {
        roots.push_back(makeRoot("Root " + std::to_string(i % 80)));
        trusted.push_back(roots.back().certificate);
    }
    Entity const folded = make("Leaf", &roots[57], "root  57", {false, KeyUsage::digitalSignature, {}});
    PathVerdict verdict = search(trusted, {folded.certificate}, asking(both));
    EXPECT_EQ(codesOf(verdict), (Codes{static_cast<int>(PathCode::noAnchor), 0}));
    EXPECT_EQ(verdict.byRules[1].chain.back(), roots[57].certificate);
    // Two have the name, and the second the key.
    Entity const ca = makeUnder(roots[85], "CA"), leaf = makeLeaf(ca);
    // A copy of what is trusted is that, whichever came first.
    CertificateChain const given = {leaf.certificate, readForStandard(roots[85].certificate->serialize()),
                                    ca.certificate};
    verdict = search(trusted, given, asking(both));
    EXPECT_EQ(codesOf(verdict), (Codes{0, 0}));
    for (RulesVerdict const& one : verdict.byRules)
        EXPECT_EQ(one.chain.back(), roots[85].certificate);
    EXPECT_EQ(verdict.effort.signatureChecks, 3u);
    // A leaf that the store holds, and one that is a copy of it.
    for (auto const& root : {roots[3].certificate, readForStandard(roots[3].certificate->serialize())})
        EXPECT_EQ(codesOf(search(trusted, {root}, asking(both))), (Codes{0, 0}));
    EXPECT_EQ(codesOf(search(trusted, {makeRoot("Root 3").certificate}, asking(PathRules::rfc5280))),
              Codes{static_cast<int>(PathCode::badSignature)});
}

TEST(SearchRules, StandardOnesFollowACaThatChangedItsKey) {
    Entity const root = makeRoot("Root");
    // The new key, certified under the old one, names no key of its issuer.
    Entity const next = make("Root", &root, "Root", {.isCa = true, .keyId = "Next", .namesIssuerKey = false});
    ASSERT_TRUE(next.certificate->selfSigned);
    Entity const leaf = makeLeaf(next);
    // The platform's rules take the name for that of a root with another key.
    PathVerdict const verdict =
        search({root.certificate}, {leaf.certificate, next.certificate}, asking(both));
    EXPECT_EQ(codesOf(verdict), (Codes{static_cast<int>(PathCode::badSignature), 0}));
    EXPECT_EQ(verdict.byRules[1].chain,
              (CertificateChain{leaf.certificate, next.certificate, root.certificate}));
    // It leads on as a leaf as well. A root that has signed itself leads nowhere.
    EXPECT_TRUE(search({root.certificate}, {next.certificate}, asking(PathRules::rfc5280)).isValid());
    Entity const stranger = makeRoot("Stranger");
    EXPECT_EQ(codesOf(search({root.certificate}, {makeLeaf(stranger).certificate, stranger.certificate},
                             asking(PathRules::rfc5280))),
              Codes{static_cast<int>(PathCode::noAnchor)});
}

TEST(SearchRules, OnlyStandardOnesSeeWhatThePlatformDoesNotSupport) {
    Entity const root = makeRoot("Root");
    Entity const ca = makeUnder(
        root, "CA", {true, KeyUsage::keyCertSign, der::extension("2.5.29.54", der::integer(0), true)});
    ASSERT_NE(ca.certificate->platformRefusal(), nullptr);
    Entity const leaf = makeLeaf(ca);
    PathVerdict const verdict = search({root.certificate}, {leaf.certificate, ca.certificate}, asking(both));
    EXPECT_EQ(codesOf(verdict), (Codes{static_cast<int>(PathCode::noAnchor), 0}));
    EXPECT_EQ(verdict.chain, CertificateChain{leaf.certificate});
    EXPECT_EQ(verdict.byRules[1].chain.size(), 3u);
    // As a leaf it has its own code.
    EXPECT_EQ(codesOf(search({root.certificate}, {ca.certificate}, asking(both))),
              (Codes{static_cast<int>(PathCode::unsupportedCertificate), 0}));
    // In the store it is an anchor for the standard rules alone.
    EXPECT_EQ(codesOf(search({ca.certificate}, {leaf.certificate}, asking(both))),
              (Codes{static_cast<int>(PathCode::noAnchor), 0}));
}

TEST(SearchRules, WorkThatIsSpentIsNeverAYes) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), leaf = makeLeaf(ca);
    for (unsigned work = 0; work < 5; work++) {
        PathVerdict const verdict = search({root.certificate}, {leaf.certificate, ca.certificate},
                                           asking(both | PathRules::strict), {}, {.maxWork = work});
        EXPECT_LE(verdict.effort.work, work);
        if (work < 2) {
            EXPECT_FALSE(verdict.byRules[0].isValid());
            EXPECT_FALSE(verdict.byRules[1].isValid());
            EXPECT_EQ(verdict.limit, SearchLimit::work);
        } else {
            EXPECT_TRUE(verdict.byRules[1].isValid());
        }
    }
    // CRLs are part of it.
    PathOptions options = asking(PathRules::rfc5280);
    options.checkCrls = true;
    for (unsigned work = 0; work < 6; work++) {
        PathVerdict const verdict = search({root.certificate}, {leaf.certificate, ca.certificate}, options,
                                           {makeCrl(root), makeCrl(ca)}, {.maxWork = work});
        EXPECT_EQ(verdict.isValid(), work >= 4) << work;
    }
}

CrlStatus statusOf(PathVerdict const& verdict, std::shared_ptr<X509Crl> const& crl) {
    auto const found = std::ranges::find(verdict.crls, crl, &CrlVerdict::crl);
    EXPECT_NE(found, verdict.crls.end());
    return found == verdict.crls.end() ? CrlStatus::unchecked : found->status;
}

TEST(SearchRules, EveryCrlOfThePoolIsAsked) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), other = makeUnder(root, "Other");
    Entity const leaf = makeLeaf(ca);
    auto const ofRoot = makeCrl(root), ofCa = makeCrl(ca), ofOther = makeCrl(other);
    auto const revoking = makeCrl(ca, {leaf}), byNobody = makeCrl(makeRoot("Nobody"));
    CertificateChain const given = {leaf.certificate, ca.certificate, other.certificate};
    PathOptions options = asking(both);
    options.checkCrls = true;

    PathVerdict verdict = search({root.certificate}, given, options, {ofRoot, ofCa, ofOther, byNobody});
    EXPECT_EQ(codesOf(verdict), (Codes{0, 0}));
    ASSERT_EQ(verdict.crls.size(), 4u);
    EXPECT_EQ(statusOf(verdict, ofRoot), CrlStatus::verified);
    EXPECT_EQ(statusOf(verdict, ofCa), CrlStatus::verified);
    EXPECT_EQ(statusOf(verdict, byNobody), CrlStatus::unknownIssuer);

    options.rules = PathRules::rfc5280;
    verdict = search({root.certificate}, given, options, {ofRoot, ofCa, ofOther, byNobody});
    EXPECT_TRUE(verdict.isValid());
    ASSERT_EQ(verdict.crls.size(), 4u);
    EXPECT_EQ(statusOf(verdict, ofCa), CrlStatus::verified);
    EXPECT_FALSE(statusOf(verdict, ofOther) == CrlStatus::verified);

    options.rules = both;
    verdict = search({root.certificate}, given, options, {ofRoot, ofCa});
    EXPECT_TRUE(verdict.isValid());
    verdict = search({root.certificate}, given, options, {ofRoot});
    EXPECT_EQ(codesOf(verdict), (Codes{0, static_cast<int>(PathCode::crlMissing)}));
    verdict = search({root.certificate}, given, options, {ofRoot, ofCa, revoking});
    EXPECT_EQ(verdict.byRules[1].explanation.code, static_cast<int>(PathCode::revoked));
}

TEST(SearchRules, AnOlderCrlThatRevokesIsNamedWhereTheNewestAloneIsAsked) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), leaf = makeLeaf(ca),
                 other = makeLeaf(ca);
    TimePoint const earlier = TimePoint::fromSeconds(before.seconds - 100);
    auto const older = makeCrl(ca, {leaf}, earlier), newest = makeCrl(ca), ofRoot = makeCrl(root);
    auto const ofOther = makeCrl(ca, {other}, earlier);
    auto const forged = makeCrl({newKey(), ca.certificate}, {leaf}, earlier);
    CertificateChain const given = {leaf.certificate, ca.certificate};
    PathOptions options = asking(PathRules::platform);
    options.checkCrls = true;

    PathVerdict verdict =
        search({root.certificate}, given, options, {older, newest, ofRoot, ofOther, forged});
    EXPECT_TRUE(verdict.isValid());
    EXPECT_EQ(statusOf(verdict, older), CrlStatus::superseded);
    for (auto const& crl : {newest, ofRoot, ofOther})
        EXPECT_EQ(statusOf(verdict, crl), CrlStatus::verified);
    EXPECT_EQ(statusOf(verdict, forged), CrlStatus::badSignature);

    // The newest revokes too: nothing is left unheard.
    verdict = search({root.certificate}, given, options, {older, makeCrl(ca, {leaf}), ofRoot});
    EXPECT_EQ(codesOf(verdict), Codes{static_cast<int>(PathCode::revoked)});
    EXPECT_EQ(statusOf(verdict, older), CrlStatus::verified);

    // The standard rules ask each.
    options.rules = both;
    verdict = search({root.certificate}, given, options, {older, newest, ofRoot});
    EXPECT_EQ(codesOf(verdict), (Codes{0, static_cast<int>(PathCode::revoked)}));
    EXPECT_EQ(statusOf(verdict, older), CrlStatus::verified);
}

TEST(SearchRules, AMismatchOfTheIdentityEndsTheSearch) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), leaf = makeLeaf(ca, "host.test");
    PathOptions options = asking(both);
    options.hostName = "host.test"; // In the common name alone.
    PathVerdict const verdict = search({root.certificate}, {leaf.certificate, ca.certificate}, options);
    EXPECT_EQ(codesOf(verdict), (Codes{0, static_cast<int>(PathCode::identityMismatch)}));
    EXPECT_EQ(verdict.chain.size(), 3u);
    EXPECT_EQ(verdict.limit, SearchLimit::none);
    EXPECT_EQ(verdict.effort.chains, 2u);
}

/// A store that lists nothing.
class Asked : public CertificateStore {
public:
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                     asn1::blob keyId) const override {
        return held.findCertificate(subject, keyId);
    }
    std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const override {
        return held.findCrl(certificate);
    }

    CertificateMemoryStore held;
};

TEST(SearchRules, AStoreThatListsNothingIsAsked) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), leaf = makeLeaf(ca);
    Asked store;
    store.held.certs = {root.certificate};
    store.held.crls = {makeCrl(root), makeCrl(ca, {leaf})};
    PathSearch pool(store);
    pool.addCertificates({ca.certificate});
    PathOptions options = asking(both);
    EXPECT_EQ(codesOf(pool.find(leaf.certificate, options)), (Codes{0, 0}));
    options.checkCrls = true;
    int const revoked = static_cast<int>(PathCode::revoked);
    EXPECT_EQ(codesOf(pool.find(leaf.certificate, options)), (Codes{revoked, revoked}));
}

TEST(SearchRules, ASearchLeavesNothingToTheNext) {
    Entity const root = makeRoot("Root"), ca = makeUnder(root, "CA"), leaf = makeLeaf(ca);
    Entity const lost = makeLeaf(makeRoot("Elsewhere"), "Lost");
    CertificateMemoryStore store;
    store.certs = {root.certificate};
    PathSearch pool(store);
    pool.addCertificates({ca.certificate});
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(codesOf(pool.find(leaf.certificate, asking(both))), (Codes{0, 0}));
        int const noAnchor = static_cast<int>(PathCode::noAnchor);
        EXPECT_EQ(codesOf(pool.find(lost.certificate, asking(both))), (Codes{noAnchor, noAnchor}));
    }
}

} // namespace TEST_FILE
