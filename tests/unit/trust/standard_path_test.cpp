#include "made_chain.h"

#include "sealkit/bignum.h"
#include "sealkit/signature.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace TEST_FILE {

namespace der = test::der;
using test::bareCa;
using test::bareLeaf;
using test::MadeCertificate;
using test::MadeChain;
using test::named;

// Which certificates lead to which.

/// A leaf whose issuer is written one way under a root whose name is written another.
PathCode chained(der::Bytes const& issuer, der::Bytes const& subject) {
    MadeCertificate leaf = bareLeaf(), root = bareCa("");
    leaf.issuer = named(issuer);
    root.subject = named(subject);
    return MadeChain({leaf, root}).code();
}

TEST(StandardPath, NamesChainWithoutRegardToCaseAndWhiteSpace) {
    auto const printable = [](std::string_view text) { return der::printableString(text); };
    auto const utf8 = [](std::string_view text) { return der::utf8String(text); };
    PathCode const valid = PathCode::valid, other = PathCode::namesDoNotChain;
    EXPECT_EQ(chained(printable("Good CA"), printable("Good CA")), valid);
    EXPECT_EQ(chained(printable("GOOD ca"), printable("Good CA")), valid);
    EXPECT_EQ(chained(printable("  Good   CA "), printable("Good CA")), valid);
    EXPECT_EQ(chained(utf8("good ca"), printable("Good CA")), valid);
    EXPECT_EQ(chained(printable("GoodCA"), printable("Good CA")), other);
    EXPECT_EQ(chained(printable("Good CB"), printable("Good CA")), other);
    EXPECT_EQ(chained(printable("Good CA"), printable("Good CA2")), other);
    EXPECT_EQ(chained(utf8(""), utf8(" ")), valid);
}

TEST(StandardPath, NamesChainInEveryStringType) {
    auto const utf8 = [](std::string_view text) { return der::utf8String(text); };
    PathCode const valid = PathCode::valid, other = PathCode::namesDoNotChain;
    EXPECT_EQ(chained(der::element(0x1E, {0, 'C', 0, 0xC9}), utf8("c\xC3\xA9")), valid); // BMPString
    EXPECT_EQ(chained(der::element(0x1C, {0, 0, 0, 'C'}), utf8("c")), valid);            // UniversalString
    EXPECT_EQ(chained(der::element(0x14, {'C', 0xC9}), utf8("c\xC3\xA9")), valid);       // T61String
    EXPECT_EQ(chained(der::element(0x16, {'C'}), utf8("c")), valid);                     // IA5String
    EXPECT_EQ(chained(utf8("\xD0\x96\xCE\xA9\xC5\xBD"), utf8("\xD0\xB6\xCF\x89\xC5\xBE")), valid);
    EXPECT_EQ(chained(utf8("a\xC2\xA0"
                           "b\xE2\x80\x8B"),
                      utf8("a b")),
              valid); // No-break and zero-width space.
    // What is malformed is compared as it stands.
    EXPECT_EQ(chained(utf8("\xC3"), utf8("\xC3")), valid);
    EXPECT_EQ(chained(utf8("A\xC3"), utf8("a\xC3")), other);
    EXPECT_EQ(chained(der::element(0x1E, {0}), utf8("")), other);
    EXPECT_EQ(chained(utf8("\xC1\x81"), utf8("A")), other);
    EXPECT_EQ(chained(utf8("\xED\xA0\x80"), utf8("\xED\xA0\x80")), valid);
    EXPECT_EQ(chained(der::element(0x12, der::bytes("1")), utf8("1")),
              other); // NumericString stays as it is.
}

TEST(StandardPath, AttributesOfOneSetHaveNoOrder) {
    auto const attribute = [](std::string_view oid, std::string_view text) {
        return der::sequence(der::oid(oid), der::utf8String(text));
    };
    der::Bytes const a = attribute("2.5.4.3", "A"), b = attribute("2.5.4.10", "B");
    MadeCertificate leaf = bareLeaf(), root = bareCa("");
    leaf.issuer = der::sequence(der::set(a, b));
    root.subject = der::sequence(der::set(b, a));
    EXPECT_EQ(MadeChain({leaf, root}).code(), PathCode::valid);
    root.subject = der::sequence(der::set(b), der::set(a));
    EXPECT_EQ(MadeChain({leaf, root}).code(), PathCode::namesDoNotChain);
}

TEST(StandardPath, MalformedNamesAreRefused) {
    MadeCertificate leaf = bareLeaf();
    leaf.subject =
        der::sequence(der::set(der::sequence(der::oid("2.5.4.3"), der::utf8String("a")), der::null()));
    PathExplanation const result = MadeChain({leaf, bareCa("Root")}).explainStandard();
    EXPECT_EQ(result.code, static_cast<int>(PathCode::malformedExtension));
    ASSERT_FALSE(result.facts.empty());
    EXPECT_EQ(result.facts[0].value, "subject");
}

TEST(StandardPath, ReachesTheStore) {
    MadeChain made({bareLeaf(), bareCa("CA"), bareCa("Root")});
    EXPECT_EQ(made.code(), PathCode::valid);
    EXPECT_EQ(made.explainStandard().depth, 2u);
    EXPECT_EQ(made.explainStandard().rules, unsigned{PathRules::rfc5280});
    made.store.certs = {made.chain[1]};
    EXPECT_EQ(made.code(), PathCode::valid);
    EXPECT_EQ(made.explainStandard().depth, 1u);
    made.store.certs = {made.chain[0]};
    EXPECT_EQ(made.code(), PathCode::noAnchor); // A leaf is its own anchor only if it is self-signed.
    made.store.certs.clear();
    EXPECT_EQ(made.code(), PathCode::noAnchor);
    made.chain.clear();
    EXPECT_EQ(made.code(), PathCode::emptyChain);
}

TEST(StandardPath, PrefersTheAnchorWithTheKeyOfTheChain) {
    MadeChain made({bareLeaf(), bareCa("Root")});
    Ed25519PrivateKey other;
    other.initPrivate(std::vector<unsigned char>(32, 1));
    MadeCertificate renewed = bareCa("Root");
    renewed.key = &other;
    made.store.certs.insert(made.store.certs.begin(), MadeChain({renewed}).chain[0]);
    EXPECT_EQ(made.code(), PathCode::valid);
    made.store.certs.pop_back();
    EXPECT_EQ(made.code(), PathCode::badSignature);
}

TEST(StandardPath, KeyThatTheAnchorChangedToLeadsOn) {
    Ed25519PrivateKey next;
    next.initPrivate(std::vector<unsigned char>(32, 2));
    MadeCertificate renewed = bareCa("Root");
    renewed.key = &next;
    MadeChain made({bareLeaf(), renewed, bareCa("Root")});
    for (auto const& certificate : made.chain)
        EXPECT_TRUE(certificate->subjectKeyId.empty());
    EXPECT_EQ(made.code(), PathCode::valid);
}

TEST(StandardPath, SelfSignedLeafOfTheStoreNeedNotBeACa) {
    MadeChain made({bareLeaf()});
    EXPECT_EQ(made.code(), PathCode::valid);
    // Another certificate of the name is its issuer, and must be a CA.
    MadeCertificate twin = bareLeaf();
    twin.with("2.5.29.17", der::sequence(der::implicit(2, "a.test")));
    made.store.certs = {MadeChain({twin}).chain[0]};
    EXPECT_EQ(made.code(), PathCode::notCa);
}

// What a CA must be.

TEST(StandardPath, IssuersAreCas) {
    MadeCertificate noCa = bareLeaf("CA"), falseCa = bareLeaf("CA");
    falseCa.with("2.5.29.19", der::sequence());
    EXPECT_EQ(MadeChain({bareLeaf(), noCa, bareCa("Root")}).code(), PathCode::notCa);
    EXPECT_EQ(MadeChain({bareLeaf(), falseCa, bareCa("Root")}).code(), PathCode::notCa);
    MadeCertificate root = bareLeaf("Root");
    EXPECT_EQ(MadeChain({bareLeaf(), root}).code(), PathCode::notCa);
}

TEST(StandardPath, OfOldVersionsAnchorsAloneAreCas) {
    MadeCertificate old = bareLeaf("CA");
    for (unsigned char version : {1, 2}) {
        old.version = version;
        EXPECT_EQ(MadeChain({bareLeaf(), old, bareCa("Root")}).code(), PathCode::notCa);
        EXPECT_EQ(MadeChain({bareLeaf(), old}).code(), PathCode::valid);
        EXPECT_EQ(MadeChain({old, bareCa("Root")}).code(), PathCode::valid);
    }
}

TEST(StandardPath, KeyUsageOfIssuers) {
    MadeCertificate ca = bareCa("CA");
    ca.with("2.5.29.15", der::bitString({0x04}, 2)); // keyCertSign
    EXPECT_EQ(MadeChain({bareLeaf(), ca, bareCa("Root")}).code(), PathCode::valid);
    ca.with("2.5.29.15", der::bitString({0x02}, 1)); // cRLSign
    PathExplanation const result = MadeChain({bareLeaf(), ca, bareCa("Root")}).explainStandard();
    EXPECT_EQ(result.code, static_cast<int>(PathCode::keyCertSignMissing));
    EXPECT_EQ(result.depth, 1u);
    ASSERT_EQ(result.facts.size(), 1u);
    EXPECT_EQ(result.facts[0].value, "crl-sign");
    EXPECT_EQ(MadeChain({bareLeaf(), ca}).code(), PathCode::keyCertSignMissing);
}

TEST(StandardPath, PathLengthCountsCasThatAreNotSelfIssued) {
    auto const chain = [](unsigned char limit, std::vector<std::string> const& names) {
        std::vector<MadeCertificate> links = {bareLeaf()};
        for (std::string const& name : names)
            links.push_back(bareCa(name));
        links.push_back(bareCa("Limited").withPathLength(limit));
        links.push_back(bareCa("Root"));
        return MadeChain(links).code();
    };
    EXPECT_EQ(chain(0, {}), PathCode::valid);
    EXPECT_EQ(chain(0, {"A"}), PathCode::pathTooLong);
    EXPECT_EQ(chain(1, {"A"}), PathCode::valid);
    EXPECT_EQ(chain(1, {"A", "B"}), PathCode::pathTooLong);
    EXPECT_EQ(chain(1, {"A", "A"}), PathCode::valid);
    EXPECT_EQ(chain(0, {"Limited"}), PathCode::valid);
    EXPECT_EQ(MadeChain({bareLeaf(), bareCa("A"), bareCa("Root").withPathLength(0)}).code(),
              PathCode::pathTooLong);
    // The leaf is no intermediate, and its own length binds nobody.
    EXPECT_EQ(
        MadeChain({bareCa("Leaf").withPathLength(0), bareCa("A").withPathLength(0), bareCa("Root")}).code(),
        PathCode::valid);
}

TEST(StandardPath, LongAndNegativePathLengths) {
    auto const limited = [](der::Bytes const& number) {
        MadeCertificate ca = bareCa("A");
        ca.with("2.5.29.19", der::sequence(der::boolean(true), der::integer(number)), true);
        return MadeChain({bareLeaf(), ca, bareCa("Root")}).code();
    };
    EXPECT_EQ(limited({1, 0, 0, 0, 0, 0}), PathCode::valid);
    EXPECT_EQ(limited({0x80}), PathCode::malformedExtension);
}

// Dates, signatures, extensions.

TEST(StandardPath, DatesOfEveryCertificate) {
    MadeChain const made({bareLeaf(), bareCa("Root")});
    PathOptions options;
    options.rules = PathRules::rfc5280;
    auto const at = [&](std::int64_t seconds) {
        options.now = TimePoint::fromSeconds(seconds);
        return static_cast<PathCode>(x509ExplainPath(made.chain, made.store, options).code);
    };
    constexpr std::int64_t notBefore = 1577836800, notAfter = 2208988800;
    EXPECT_EQ(at(notBefore - 1), PathCode::notYetValid);
    EXPECT_EQ(at(notBefore), PathCode::valid);
    EXPECT_EQ(at(notAfter), PathCode::valid);
    EXPECT_EQ(at(notAfter + 1), PathCode::expired);
}

TEST(StandardPath, BadSignatureIsToldBeforeWhatItSigns) {
    MadeCertificate leaf = bareLeaf();
    leaf.with("1.2.3.4", der::null(), true);
    leaf.signIn = [](PrivateKey const&, der::Bytes const&) { return der::Bytes(64, 1); };
    EXPECT_EQ(MadeChain({leaf, bareCa("Root")}).code(), PathCode::badSignature);
}

TEST(StandardPath, UnknownCriticalExtensions) {
    MadeCertificate leaf = bareLeaf(), root = bareCa("Root");
    leaf.with("1.2.3.4", der::null());
    EXPECT_EQ(MadeChain({leaf, root}).code(), PathCode::valid);
    leaf.with("1.2.3.4", der::null(), true);
    PathExplanation const result = MadeChain({leaf, root}).explainStandard();
    EXPECT_EQ(result.code, static_cast<int>(PathCode::unknownCriticalExtension));
    ASSERT_EQ(result.facts.size(), 1u);
    EXPECT_EQ(result.facts[0].value, "1.2.3.4");
    root.with("1.2.3.4", der::null(), true);
    EXPECT_EQ(MadeChain({bareLeaf(), root}).code(), PathCode::unknownCriticalExtension);
    // What nobody processes is unknown as well.
    MadeCertificate told = bareLeaf();
    told.with("1.3.6.1.5.5.7.1.1",
              der::sequence(der::sequence(der::oid("1.3.6.1.5.5.7.48.1"), der::implicit(6, "http://a.test"))),
              true);
    EXPECT_EQ(MadeChain({told, bareCa("Root")}).code(), PathCode::unknownCriticalExtension);
    MadeCertificate pointed = bareLeaf();
    pointed.with("2.5.29.31",
                 der::sequence(der::sequence(der::context(0, der::context(0, der::implicit(6, "u"))))), true);
    EXPECT_EQ(MadeChain({pointed, bareCa("Root")}).code(), PathCode::valid);
}

TEST(StandardPath, MalformedExtensionsAreRefusedWithTheirPlace) {
    struct {
        char const* oid;
        der::Bytes value;
        char const* place;
    } const rows[] = {
        {"2.5.29.33", der::sequence(), "extension 1 (policyMappings)"},
        {"2.5.29.33", der::sequence(der::sequence(der::oid("1.2.3"))),
         "extension 1 (policyMappings), mapping 1, subjectDomainPolicy"},
        {"2.5.29.36", der::sequence(), "extension 1 (policyConstraints), requireExplicitPolicy"},
        {"2.5.29.36", der::sequence(der::implicit(0, der::Bytes{0xFF})), "extension 1 (policyConstraints)"},
        {"2.5.29.54", der::null(), "extension 1 (inhibitAnyPolicy)"},
        {"2.5.29.32", der::sequence(), "extension 1 (certificatePolicies)"},
        {"2.5.29.32", der::sequence(der::sequence(der::oid("1.2.3")), der::sequence(der::oid("1.2.3"))),
         "extension 1 (certificatePolicies)"},
        {"2.5.29.30",
         der::sequence(
             der::context(0, der::sequence(der::implicit(2, "a.test"), der::implicit(0, der::Bytes{1})))),
         "extension 1 (nameConstraints), permitted subtree 1, minimum"},
        {"2.5.29.30",
         der::sequence(
             der::context(1, der::sequence(der::implicit(2, "a.test"), der::implicit(1, der::Bytes{1})))),
         "extension 1 (nameConstraints), excluded subtree 1, maximum"},
        {"2.5.29.46", der::null(), "extension 1 (freshestCrl)"},
    };
    for (auto const& row : rows) {
        MadeCertificate leaf = bareLeaf();
        leaf.with(row.oid, row.value);
        PathExplanation const result = MadeChain({leaf, bareCa("Root")}).explainStandard();
        EXPECT_EQ(result.code, static_cast<int>(PathCode::malformedExtension)) << row.place;
        ASSERT_GE(result.facts.size(), 2u) << row.place;
        EXPECT_EQ(result.facts[0].value, row.place);
    }
}

// Purposes.

constexpr char serverAuth[] = "1.3.6.1.5.5.7.3.1", clientAuth[] = "1.3.6.1.5.5.7.3.2",
               timeStamping[] = "1.3.6.1.5.5.7.3.8", anyPurpose[] = "2.5.29.37.0",
               emailProtection[] = "1.3.6.1.5.5.7.3.4";

PathOptions forPurpose(PathPurpose purpose) {
    PathOptions options;
    options.purpose = purpose;
    return options;
}

TEST(StandardPath, PurposeHoldsAlongTheChain) {
    PathOptions const server = forPurpose(PathPurpose::tlsServer);
    auto const with = [&](size_t place, std::vector<std::string> const& purposes) {
        std::vector<MadeCertificate> links = {bareLeaf(), bareCa("CA"), bareCa("Root")};
        links[place].withPurposes(purposes);
        return links;
    };
    for (size_t place = 0; place < 3; place++) {
        EXPECT_EQ(MadeChain(with(place, {serverAuth})).code(server), PathCode::valid);
        EXPECT_EQ(MadeChain(with(place, {clientAuth, anyPurpose})).code(server), PathCode::valid);
        PathExplanation const result = MadeChain(with(place, {clientAuth})).explainStandard(server);
        EXPECT_EQ(result.code, static_cast<int>(PathCode::purposeMismatch));
        EXPECT_EQ(result.depth, place);
        EXPECT_EQ(MadeChain(with(place, {clientAuth})).code(),
                  PathCode::valid); // No purpose was asked for.
    }
}

TEST(StandardPath, IdentityAsksForAPurpose) {
    MadeCertificate leaf = bareLeaf();
    leaf.withPurposes({emailProtection});
    leaf.with("2.5.29.17", der::sequence(der::implicit(2, "a.test"), der::implicit(1, "ann@a.test")));
    MadeChain const made({leaf, bareCa("Root")});
    PathOptions options;
    options.email = "ann@A.test";
    EXPECT_EQ(made.code(options), PathCode::valid);
    options.hostName = "a.test";
    EXPECT_EQ(made.code(options), PathCode::purposeMismatch);
    options.purpose = PathPurpose::any;
    EXPECT_EQ(made.code(options), PathCode::valid);
    options.hostName = "b.test";
    options.email = {};
    PathExplanation const result = made.explainStandard(options);
    EXPECT_EQ(result.code, static_cast<int>(PathCode::identityMismatch));
    ASSERT_EQ(result.facts.size(), 3u);
    EXPECT_EQ(result.facts[0].value, "b.test");
}

TEST(StandardPath, TimeStampingStandsAloneAndCritical) {
    PathOptions const asked = forPurpose(PathPurpose::timeStamping);
    auto const leaf = [&](std::vector<std::string> const& purposes, bool critical) {
        return MadeChain({bareLeaf().withPurposes(purposes, critical), bareCa("Root")}).code(asked);
    };
    EXPECT_EQ(leaf({timeStamping}, true), PathCode::valid);
    EXPECT_EQ(leaf({timeStamping}, false), PathCode::purposeMismatch);
    EXPECT_EQ(leaf({timeStamping, clientAuth}, true), PathCode::purposeMismatch);
    EXPECT_EQ(leaf({anyPurpose}, true), PathCode::purposeMismatch);
    EXPECT_EQ(MadeChain({bareLeaf(), bareCa("Root")}).code(asked), PathCode::purposeMismatch);
}

TEST(StandardPath, KeyUsageOfTheLeafServesThePurpose) {
    auto const leaf = [](unsigned char bits, PathPurpose purpose) {
        MadeCertificate link = bareLeaf();
        link.with("2.5.29.15", der::bitString({bits}));
        return MadeChain({link, bareCa("Root")}).code(forPurpose(purpose));
    };
    EXPECT_EQ(leaf(0x80, PathPurpose::tlsServer), PathCode::valid);
    EXPECT_EQ(leaf(0x20, PathPurpose::tlsServer), PathCode::valid);
    EXPECT_EQ(leaf(0x20, PathPurpose::tlsClient), PathCode::purposeMismatch);
    EXPECT_EQ(leaf(0x06, PathPurpose::tlsServer), PathCode::purposeMismatch);
    EXPECT_EQ(leaf(0x06, PathPurpose::any), PathCode::valid);
}

// Several sets of rules.

TEST(StandardPath, FirstSetOfRulesThatRefusesIsTold) {
    MadeCertificate leaf = bareLeaf();
    leaf.with("2.5.29.17", der::sequence(der::implicit(2, "a.test")));
    MadeChain const made({leaf, bareCa("Root").withPathLength(0)});
    PathOptions options;
    options.rules = PathRules::platform | PathRules::rfc5280;
    EXPECT_EQ(made.explainStandard(options).code, 0);
    EXPECT_EQ(made.explainStandard(options).rules, unsigned{PathRules::platform});

    MadeChain const tooLong({leaf, bareCa("CA"), bareCa("Root").withPathLength(0)});
    EXPECT_EQ(tooLong.code(options), PathCode::pathTooLong);
    EXPECT_EQ(tooLong.explainStandard(options).rules, unsigned{PathRules::rfc5280});
    options.rules = PathRules::strict;
    EXPECT_EQ(tooLong.code(options), PathCode::pathTooLong);
    EXPECT_EQ(tooLong.explainStandard(options).rules, unsigned{PathRules::strict});

    options.rules = PathRules::platform | PathRules::rfc5280 | PathRules::strict;
    options.hostName = "b.test";
    EXPECT_EQ(tooLong.code(options), PathCode::identityMismatch);
    EXPECT_EQ(tooLong.explainStandard(options).rules, unsigned{PathRules::platform});

    PathOptions strict;
    strict.rules = PathRules::rfc5280 | PathRules::strict;
    EXPECT_NE(made.explainStandard(strict).code, 0); // Its leaf does not say what it is for.
    EXPECT_EQ(made.explainStandard(strict).rules, unsigned{PathRules::strict});
}

TEST(StandardPath, MissingCrlIsRefusedOnceItIsAskedFor) {
    MadeChain const made({bareLeaf(), bareCa("CA"), bareCa("Root")});
    PathOptions options;
    options.checkCrls = true;
    EXPECT_EQ(made.code(options), PathCode::crlMissing);
    options.checkLeafCrlOnly = true;
    EXPECT_EQ(made.explainStandard(options).depth, 0u);
    EXPECT_EQ(MadeChain({bareLeaf()}).code(options), PathCode::valid); // Anchors are trusted as they are.
}

// RSASSA-PSS.

/// MGF1 and EMSA-PSS-ENCODE (RFC 8017, appendix B.2.1 and section 9.1.1), written for these tests.
struct PssSigner {
    HashID hash;
    HashID maskHash;
    size_t saltLength;
    unsigned char trailer = 0xBC;

    der::Bytes sign(RsaPrivateKey const& key, der::Bytes const& message) const {
        size_t const bits = key.n.bits() - 1, length = (bits + 7) / 8;
        der::Bytes const salt(saltLength, 0x5A);
        der::Bytes const digest =
            calcDigest(hash, der::join({der::Bytes(8), calcDigest(hash, message), salt}));
        der::Bytes block(length - digest.size() - 1 - saltLength - 1);
        block = der::join({block, {0x01}, salt});
        der::Bytes mask;
        for (unsigned char counter = 0; mask.size() < block.size(); counter++)
            mask = der::join({mask, calcDigest(maskHash, der::join({digest, {0, 0, 0, counter}}))});
        for (size_t i = 0; i < block.size(); i++)
            block[i] ^= mask[i];
        block[0] &= static_cast<unsigned char>(0xFF >> (8 * length - bits));
        block = der::join({block, digest, {trailer}});
        BigNum const signature = expByMod(BigNum(asn1::blob(block)), key.d, key.n);
        return signature.bin((key.n.bits() + 7) / 8);
    }
};

RsaPrivateKey const& rsaKey() {
    static auto const key =
        readPrivateKeyFromFile(SEALKIT_TEST_DATA "/vectors/pkcs/keys/rsa2048.key", std::string());
    return dynamic_cast<RsaPrivateKey const&>(*key);
}

der::Bytes hashAlgorithm(HashID hash) {
    asn1::blob const oid = getHashOid(hash);
    return der::sequence(der::element(0x06, {oid.begin(), oid.end()}), der::null());
}

der::Bytes pssAlgorithm(HashID hash, HashID maskHash, der::Bytes const& salt, der::Bytes const& rest = {}) {
    return der::algorithm("1.2.840.113549.1.1.10",
                          der::sequence(der::context(0, hashAlgorithm(hash)),
                                        der::context(1, der::sequence(der::oid("1.2.840.113549.1.1.8"),
                                                                      hashAlgorithm(maskHash))),
                                        salt, rest));
}

/// A leaf under a root with an RSA key.
template <auto signer>
PathCode pssChain(der::Bytes const& algorithm, unsigned rules = PathRules::rfc5280) {
    MadeCertificate leaf = bareLeaf(), root = bareCa("Root");
    leaf.algorithm = algorithm;
    leaf.signIn = [](PrivateKey const& key, der::Bytes const& tbs) {
        return signer().sign(dynamic_cast<RsaPrivateKey const&>(key), tbs);
    };
    root.key = &rsaKey();
    root.algorithm = der::algorithm("1.2.840.113549.1.1.11", der::null());
    root.signIn = [](PrivateKey const& key, der::Bytes const& tbs) {
        return signMessage(key, HashID::SHA256, tbs);
    };
    PathOptions options;
    options.rules = rules;
    return static_cast<PathCode>(MadeChain({leaf, root}).explain(options).code);
}

template <HashID hash, size_t salt>
PssSigner pss() {
    return {hash, hash, salt};
}

TEST(StandardPath, VerifiesRsaPss) {
    auto const salt = [](unsigned char length) { return der::context(2, der::integer(length)); };
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 32>>(pssAlgorithm(HashID::SHA256, HashID::SHA256, salt(32)))),
              PathCode::valid);
    EXPECT_EQ((pssChain<pss<HashID::SHA384, 48>>(pssAlgorithm(HashID::SHA384, HashID::SHA384, salt(48)))),
              PathCode::valid);
    EXPECT_EQ((pssChain<pss<HashID::SHA512, 64>>(pssAlgorithm(HashID::SHA512, HashID::SHA512, salt(64)))),
              PathCode::valid);
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 0>>(pssAlgorithm(HashID::SHA256, HashID::SHA256, salt(0)))),
              PathCode::valid);
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 20>>(pssAlgorithm(HashID::SHA256, HashID::SHA256, {}))),
              PathCode::valid); // The default.
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 32>>(
                  pssAlgorithm(HashID::SHA256, HashID::SHA256, salt(32), der::context(3, der::integer(1))))),
              PathCode::valid);
}

TEST(StandardPath, RsaPssIsOfTheStandardRulesAlone) {
    der::Bytes const algorithm =
        pssAlgorithm(HashID::SHA256, HashID::SHA256, der::context(2, der::integer(32)));
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 32>>(algorithm, PathRules::platform)),
              PathCode::algorithmMismatch);
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 32>>(algorithm, PathRules::platform | PathRules::rfc5280)),
              PathCode::algorithmMismatch);
}

PssSigner otherMask() { return {HashID::SHA256, HashID::SHA384, 32}; }
PssSigner otherTrailer() { return {HashID::SHA256, HashID::SHA256, 32, 0xBD}; }

TEST(StandardPath, RefusesOtherRsaPss) {
    auto const salt = [](unsigned char length) { return der::context(2, der::integer(length)); };
    der::Bytes const sha256 = pssAlgorithm(HashID::SHA256, HashID::SHA256, salt(32));
    EXPECT_EQ((pssChain<pss<HashID::SHA256, 31>>(sha256)), PathCode::badSignature);
    EXPECT_EQ((pssChain<pss<HashID::SHA384, 32>>(sha256)), PathCode::badSignature);
    EXPECT_EQ((pssChain<otherMask>(sha256)), PathCode::badSignature);
    EXPECT_EQ((pssChain<otherTrailer>(sha256)), PathCode::badSignature);
    // Parameters that are not supported.
    auto const unsupported = [&](der::Bytes const& algorithm) {
        EXPECT_EQ((pssChain<pss<HashID::SHA256, 32>>(algorithm)), PathCode::algorithmMismatch);
    };
    unsupported(pssAlgorithm(HashID::SHA1, HashID::SHA1, salt(32)));
    unsupported(pssAlgorithm(HashID::SHA256, HashID::SHA384, salt(32)));
    unsupported(pssAlgorithm(HashID::SHA256, HashID::SHA256, salt(32), der::context(3, der::integer(2))));
    unsupported(
        pssAlgorithm(HashID::SHA256, HashID::SHA256, der::context(2, der::integer(der::Bytes{0xFF}))));
    unsupported(pssAlgorithm(HashID::SHA256, HashID::SHA256, salt(32), der::null()));
    unsupported(der::algorithm("1.2.840.113549.1.1.10"));
    unsupported(der::algorithm("1.2.840.113549.1.1.10", der::sequence()));
}

} // namespace TEST_FILE
