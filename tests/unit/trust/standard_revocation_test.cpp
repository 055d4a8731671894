// CRLs under the standard rules (RFC 5280, section 6.3): which of them count for a certificate, and what they
// say.
#include "chains.h"

#include "sealkit/pkcs8.h"
#include "sealkit/search.h"
#include "support/allocation_count.h"
#include "support/der.h"
#include "support/slow.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test::der;
using test::lessWhenSlow;

constexpr TimePoint now = test::storyTime; // 2025-06-01 12:00:00

constexpr char const* crlNumberId = "2.5.29.20";
constexpr char const* reasonCodeId = "2.5.29.21";
constexpr char const* deltaIndicatorId = "2.5.29.27";
constexpr char const* scopeId = "2.5.29.28";
constexpr char const* certificateIssuerId = "2.5.29.29";
constexpr char const* distributionPointsId = "2.5.29.31";
constexpr char const* unknownId = "1.3.6.1.4.1.55555.1";

using Key = std::shared_ptr<PrivateKey>;
using Crl = std::shared_ptr<X509Crl>;
using Certificate = std::shared_ptr<X509Certificate>;

Key newKey() {
    auto key = std::make_shared<Ed25519PrivateKey>();
    EXPECT_TRUE(key->generatePrivKey(getDefaultRng()));
    return key;
}

Bytes nameOf(std::string_view commonName) { return name({{"2.5.4.10", "Org"}, {"2.5.4.3", commonName}}); }

/// GeneralNames of one directoryName.
Bytes directoryNames(std::string_view commonName) { return context(4, nameOf(commonName)); }
Bytes uri(std::string_view text) { return implicit(6, text); }

/// A certificate or CRL with these bytes, signed by `key`.
template <typename Object>
std::shared_ptr<Object> sealed(Bytes const& tbs, PrivateKey const& key) {
    Bytes const der = sequence(tbs, algorithm("1.3.101.112"), bitString(Bytes(64)));
    Object made;
    Refusal refusal;
    EXPECT_TRUE(made.parse(asn1::blob(der), &refusal, FormRules::standard)) << refusal.str();
    EXPECT_TRUE(made.sign(key));
    auto parsed = std::make_shared<Object>();
    EXPECT_TRUE(parsed->parse(asn1::blob(made.serialize()), &refusal, FormRules::standard)) << refusal.str();
    return parsed;
}

Bytes const caConstraints = extension("2.5.29.19", sequence(boolean(true)), true);
Bytes const caUsage = extension("2.5.29.15", bitString({0x06}, 1), true); // keyCertSign, cRLSign

Certificate makeCertificate(std::string_view subject, PublicKey const& key, std::string_view issuer,
                            PrivateKey const& issuerKey, std::vector<Bytes> const& extensions,
                            unsigned char serial = 1) {
    return sealed<X509Certificate>(
        sequence(context(0, integer(2)), integer(serial), algorithm("1.3.101.112"), nameOf(issuer),
                 sequence(utcTime("240101000000Z"), utcTime("280101000000Z")), nameOf(subject),
                 encodePkcs8PublicKey(key),
                 extensions.empty() ? Bytes() : context(3, sequence(join(extensions)))),
        issuerKey);
}

Bytes entry(unsigned char serial, std::vector<Bytes> const& extensions = {}) {
    return sequence(integer(serial), utcTime("250101000000Z"),
                    extensions.empty() ? Bytes() : sequence(join(extensions)));
}
Bytes reason(unsigned char code) { return extension(reasonCodeId, enumerated({code})); }
Bytes issuedBy(std::string_view issuer) {
    return extension(certificateIssuerId, sequence(directoryNames(issuer)), true);
}

struct CrlForm {
    std::vector<Bytes> entries = {};
    std::vector<Bytes> extensions = {};
    Bytes thisUpdate = utcTime("250501000000Z");
    Bytes nextUpdate = utcTime("250701000000Z");
};

Crl makeCrl(std::string_view issuer, PrivateKey const& key, CrlForm const& form) {
    return sealed<X509Crl>(
        sequence(integer(1), algorithm("1.3.101.112"), nameOf(issuer), form.thisUpdate, form.nextUpdate,
                 form.entries.empty() ? Bytes() : sequence(join(form.entries)),
                 form.extensions.empty() ? Bytes() : context(0, sequence(join(form.extensions)))),
        key);
}

/// issuingDistributionPoint.
Bytes scope(std::vector<Bytes> const& fields) { return extension(scopeId, sequence(join(fields)), true); }
Bytes fullName(Bytes const& generalName) { return context(0, context(0, generalName)); }
Bytes relativeName(std::string_view commonName) {
    return context(0, context(1, sequence(oid("2.5.4.3"), utf8String(commonName))));
}
Bytes flag(unsigned number) { return implicit(number, Bytes{0xFF}); }
/// ReasonFlags of the bits, tagged.
Bytes reasons(unsigned number, std::vector<unsigned> const& bits) {
    Bytes octets = {7, 0, 0};
    for (unsigned bit : bits)
        octets[1 + bit / 8] = static_cast<unsigned char>(octets[1 + bit / 8] | 0x80 >> bit % 8);
    return implicit(number, octets);
}
Bytes points(std::vector<Bytes> const& each) { return extension(distributionPointsId, sequence(join(each))); }

/// A leaf under a root. Only the leaf is to be looked up.
struct World {
    explicit World(std::vector<Bytes> const& extensions = {}) {
        root = makeCertificate("root", *rootKey, "root", *rootKey, {caConstraints, caUsage});
        leaf = makeCertificate("leaf", *leafKey, "root", *rootKey, extensions, 5);
        store.certs = {root};
    }

    Crl add(CrlForm const& form) { return add("root", *rootKey, form); }
    Crl add(std::string_view issuer, PrivateKey const& key, CrlForm const& form) {
        return store.crls.emplace_back(makeCrl(issuer, key, form));
    }

    PathExplanation explain() const {
        PathOptions options;
        options.now = now;
        options.checkCrls = true;
        options.rules = PathRules::rfc5280;
        options.otherCertificates = others;
        return x509ExplainPath({leaf, root}, store, options);
    }

    PathCode code() const { return static_cast<PathCode>(explain().code); }

    Key rootKey = newKey(), leafKey = newKey();
    Certificate root, leaf;
    CertificateMemoryStore store;
    CertificateChain others;
};

/// What the CRLs say about a leaf with these extensions, whose serial number is 5.
PathCode codeOf(std::vector<CrlForm> const& crls, std::vector<Bytes> const& extensions = {}) {
    World world(extensions);
    for (CrlForm const& form : crls)
        world.add(form);
    return world.code();
}

std::string factOf(PathExplanation const& explanation, std::string_view label) {
    for (Fact const& fact : explanation.facts)
        if (fact.label == label)
            return fact.value;
    return {};
}

CrlForm const clean = {.entries = {entry(6)}};
CrlForm const revoking = {.entries = {entry(6), entry(5, {reason(1)})}};

TEST(StandardRevocation, OneCrlOfTheIssuerDecides) {
    EXPECT_EQ(codeOf({clean}), PathCode::valid);
    EXPECT_EQ(codeOf({CrlForm()}), PathCode::valid);
    World world;
    world.add(revoking);
    PathExplanation const revoked = world.explain();
    EXPECT_EQ(revoked.code, 10);
    EXPECT_EQ(revoked.depth, 0u);
    EXPECT_EQ(factOf(revoked, "serial number"), "05");
    EXPECT_EQ(factOf(revoked, "CRL issuer"), "O=Org, CN=root");
    EXPECT_EQ(factOf(revoked, "reason"), "key compromise");
}

TEST(StandardRevocation, AMissingCrlIsARefusal) {
    World world;
    EXPECT_EQ(world.code(), PathCode::crlMissing);
    Key const key = newKey();
    world.add("somebody", *key, clean);
    EXPECT_EQ(world.code(), PathCode::crlMissing);
}

TEST(StandardRevocation, EveryCrlIsAsked) {
    CrlForm older = revoking;
    older.thisUpdate = utcTime("250401000000Z");
    EXPECT_EQ(codeOf({clean, older}), PathCode::revoked);
    EXPECT_EQ(codeOf({older, clean}), PathCode::revoked);
}

TEST(StandardRevocation, OnlyACurrentCrlCounts) {
    for (bool isRevoking : {false, true}) {
        CrlForm form = isRevoking ? revoking : clean;
        form.nextUpdate = utcTime("250601115959Z");
        EXPECT_EQ(codeOf({form}), PathCode::revocationUndetermined);
        form.nextUpdate = utcTime("250601120000Z");
        EXPECT_EQ(codeOf({form}), isRevoking ? PathCode::revoked : PathCode::valid);
        form.nextUpdate = {};
        EXPECT_EQ(codeOf({form}), PathCode::revocationUndetermined);
        form.nextUpdate = utcTime("250701000000Z");
        form.thisUpdate = utcTime("250601120001Z");
        EXPECT_EQ(codeOf({form}), PathCode::revocationUndetermined);
    }
    World world;
    CrlForm outdated = clean;
    outdated.nextUpdate = utcTime("250520000000Z");
    world.add(outdated);
    EXPECT_NE(factOf(world.explain(), "CRL").find("out-of-date"), std::string::npos);
}

TEST(StandardRevocation, TheSignatureDecidesWhoseCrlItIs) {
    World world;
    Key const other = newKey();
    world.add("root", *other, clean);
    PathExplanation const undetermined = world.explain();
    EXPECT_EQ(static_cast<PathCode>(undetermined.code), PathCode::revocationUndetermined);
    EXPECT_NE(factOf(undetermined, "CRL").find("bad-signature"), std::string::npos);
    // A forged CRL revokes nobody.
    world.add("root", *other, revoking);
    world.add(clean);
    EXPECT_EQ(world.code(), PathCode::valid);
}

TEST(StandardRevocation, NamesOfIssuersAreComparedWithoutRegardToCase) {
    World world;
    world.add("  ROOT ", *world.rootKey, revoking);
    EXPECT_EQ(world.code(), PathCode::revoked);
}

/// A CA with two keys: the leaf is signed by the first.
struct RolloverWorld {
    explicit RolloverWorld(std::vector<Bytes> const& secondExtensions = {caConstraints, caUsage},
                           unsigned char secondSerial = 3) {
        root = makeCertificate("root", *rootKey, "root", *rootKey, {caConstraints, caUsage});
        first = makeCertificate("ca", *firstKey, "root", *rootKey, {caConstraints, caUsage}, 2);
        second = makeCertificate("ca", *secondKey, "root", *rootKey, secondExtensions, secondSerial);
        leaf = makeCertificate("leaf", *leafKey, "ca", *firstKey, {}, 5);
        store.certs = {root};
        store.crls = {makeCrl("root", *rootKey, {.entries = {entry(4)}})};
    }

    PathCode code() const {
        PathOptions options;
        options.now = now;
        options.checkCrls = true;
        options.rules = PathRules::rfc5280;
        options.otherCertificates = others;
        return static_cast<PathCode>(x509ExplainPath({leaf, first, root}, store, options).code);
    }

    Key rootKey = newKey(), firstKey = newKey(), secondKey = newKey(), leafKey = newKey();
    Certificate root, first, second, leaf;
    CertificateMemoryStore store;
    CertificateChain others;
};

TEST(StandardRevocation, AnotherKeyOfTheIssuerMaySign) {
    RolloverWorld world;
    world.store.crls.push_back(makeCrl("ca", *world.secondKey, clean));
    EXPECT_EQ(world.code(), PathCode::revocationUndetermined);
    world.others = {world.second};
    EXPECT_EQ(world.code(), PathCode::valid);
    world.store.crls.push_back(makeCrl("ca", *world.secondKey, revoking));
    EXPECT_EQ(world.code(), PathCode::revoked);
}

TEST(StandardRevocation, TheSignerIsRevokedAsOthersAre) {
    RolloverWorld world({caConstraints, caUsage}, 4);
    world.others = {world.second};
    world.store.crls.push_back(makeCrl("ca", *world.secondKey, clean));
    EXPECT_EQ(world.code(), PathCode::revocationUndetermined);
}

TEST(StandardRevocation, TheSignerNeedsTheRightToSignCrls) {
    Bytes const certSignOnly = extension("2.5.29.15", bitString({0x04}, 2), true);
    Bytes const crlSignOnly = extension("2.5.29.15", bitString({0x02}, 1), true);
    for (auto const& [extensions, expected] : {
             std::pair(std::vector<Bytes>{caConstraints, certSignOnly}, PathCode::revocationUndetermined),
             std::pair(std::vector<Bytes>{crlSignOnly}, PathCode::valid),
             std::pair(std::vector<Bytes>{}, PathCode::valid),
         }) {
        RolloverWorld world(extensions);
        world.others = {world.second};
        world.store.crls.push_back(makeCrl("ca", *world.secondKey, clean));
        EXPECT_EQ(world.code(), expected) << extensions.size();
    }
}

TEST(StandardRevocation, TheSignerLeadsToTheSameAnchor) {
    RolloverWorld world;
    Key const otherKey = newKey();
    Certificate const other =
        makeCertificate("other", *otherKey, "other", *otherKey, {caConstraints, caUsage});
    Certificate const impostor =
        makeCertificate("ca", *world.secondKey, "other", *otherKey, {caConstraints, caUsage}, 7);
    world.store.certs.push_back(other);
    world.store.crls.push_back(makeCrl("other", *otherKey, CrlForm()));
    world.others = {impostor};
    world.store.crls.push_back(makeCrl("ca", *world.secondKey, clean));
    EXPECT_EQ(world.code(), PathCode::revocationUndetermined);
}

TEST(StandardRevocation, TheScopeMustHoldTheCertificate) {
    auto const codeFor = [](std::vector<Bytes> const& fields, std::vector<Bytes> const& extensions = {}) {
        return codeOf({{.extensions = {scope(fields)}}}, extensions);
    };
    EXPECT_EQ(codeFor({flag(1)}), PathCode::valid);
    EXPECT_EQ(codeFor({flag(2)}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor({flag(5)}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor({flag(1)}, {caConstraints}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor({flag(2)}, {caConstraints}), PathCode::valid);
    // What is out of scope does not revoke either.
    EXPECT_EQ(codeOf({{.entries = {entry(5)}, .extensions = {scope({flag(2)})}}, clean}), PathCode::valid);
    // A scope that cannot be read covers nothing, and revokes.
    EXPECT_EQ(codeOf({{.extensions = {extension(scopeId, null(), true)}}}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({{.entries = {entry(5)}, .extensions = {extension(scopeId, null(), true)}}}),
              PathCode::revoked);
}

TEST(StandardRevocation, DistributionPointsMustShareAName) {
    auto const codeFor = [](Bytes const& ofCrl, std::vector<Bytes> const& ofCertificate) {
        return codeOf({{.extensions = {scope({ofCrl})}}}, ofCertificate.empty()
                                                              ? std::vector<Bytes>()
                                                              : std::vector<Bytes>{points(ofCertificate)});
    };
    Bytes const one = fullName(uri("http://a.test/One")), other = fullName(uri("http://a.test/Two"));
    EXPECT_EQ(codeFor(one, {sequence(one)}), PathCode::valid);
    EXPECT_EQ(codeFor(one, {sequence(other), sequence(one)}), PathCode::valid);
    EXPECT_EQ(codeFor(one, {sequence(other)}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor(one, {}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor(one, {sequence(fullName(uri("HTTP://A.test/One")))}), PathCode::valid);
    EXPECT_EQ(codeFor(one, {sequence(fullName(uri("http://a.test/one")))}), PathCode::revocationUndetermined);
    // Every certificate has the point of its issuer's name.
    EXPECT_EQ(codeFor(fullName(directoryNames("Root")), {}), PathCode::valid);
    EXPECT_EQ(codeFor(fullName(directoryNames("CRL1")), {sequence(fullName(directoryNames("crl1")))}),
              PathCode::valid);
}

TEST(StandardRevocation, RelativeNamesAreCompletedByTheIssuer) {
    auto const codeFor = [](Bytes const& ofCrl, Bytes const& ofCertificate) {
        return codeOf({{.extensions = {scope({ofCrl})}}}, {points({sequence(ofCertificate)})});
    };
    Bytes const whole = name({{"2.5.4.10", "Org"}, {"2.5.4.3", "root"}, {"2.5.4.3", "One"}});
    EXPECT_EQ(codeFor(relativeName("one"), relativeName("One")), PathCode::valid);
    EXPECT_EQ(codeFor(relativeName("one"), fullName(context(4, whole))), PathCode::valid);
    EXPECT_EQ(codeFor(fullName(context(4, whole)), relativeName("one")), PathCode::valid);
    EXPECT_EQ(codeFor(relativeName("one"), relativeName("two")), PathCode::revocationUndetermined);
}

TEST(StandardRevocation, AllReasonsMustBeCovered) {
    CrlForm const compromise = {.extensions = {scope({reasons(3, {1, 2})})}};
    CrlForm const others = {.extensions = {scope({reasons(3, {3, 4, 5, 6, 7, 8})})}};
    EXPECT_EQ(codeOf({compromise}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({compromise, others}), PathCode::valid);
    CrlForm revokingOthers = others;
    revokingOthers.entries = {entry(5, {reason(4)})};
    EXPECT_EQ(codeOf({compromise, revokingOthers}), PathCode::revoked);
    World world;
    world.add(compromise);
    EXPECT_EQ(factOf(world.explain(), "reasons not covered"),
              "affiliationChanged, superseded, cessationOfOperation, certificateHold, privilegeWithdrawn, "
              "aaCompromise");

    // Those of a distribution point bound those of its CRL.
    Bytes const point = fullName(uri("http://a.test/some"));
    CrlForm const all = {.extensions = {scope({point})}};
    EXPECT_EQ(codeOf({all}, {points({sequence(point)})}), PathCode::valid);
    EXPECT_EQ(codeOf({all}, {points({sequence(point, reasons(1, {1}))})}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({all}, {points({sequence(point, reasons(1, {1})),
                                     sequence(point, reasons(1, {2, 3, 4, 5, 6, 7, 8}))})}),
              PathCode::valid);
}

/// A leaf, a CA, whose CRL comes from another certificate under the root. That one is no CA, so that the
/// root's own CRL is about it and not about the leaf.
struct IndirectWorld : World {
    IndirectWorld(std::vector<Bytes> const& leafExtensions, CrlForm const& form) {
        std::vector<Bytes> extensions = leafExtensions;
        extensions.push_back(caConstraints);
        leaf = makeCertificate("leaf", *leafKey, "root", *rootKey, extensions, 5);
        others = {makeCertificate("crl issuer", *signerKey, "root", *rootKey, {}, 9)};
        add({.extensions = {scope({flag(1)})}});
        add("crl issuer", *signerKey, form);
    }

    Key signerKey = newKey();
};

Bytes const namedIssuer = points({sequence(context(2, directoryNames("crl issuer")))});

TEST(StandardRevocation, EntriesOfIndirectCrlsNameTheIssuer) {
    struct Case {
        std::vector<Bytes> entries;
        PathCode expected;
    };
    for (auto const& [entries, expected] : {
             Case{{}, PathCode::valid},
             Case{{entry(5)}, PathCode::valid},
             Case{{entry(5, {issuedBy("root")})}, PathCode::revoked},
             Case{{entry(5, {issuedBy("Root")})}, PathCode::revoked},
             Case{{entry(5, {issuedBy("somebody")})}, PathCode::valid},
             Case{{entry(1, {issuedBy("root")}), entry(5)}, PathCode::revoked},
             Case{{entry(1, {issuedBy("root")}), entry(5, {issuedBy("somebody")})}, PathCode::valid},
             Case{{entry(5, {issuedBy("somebody")}), entry(5, {issuedBy("root")})}, PathCode::revoked},
             Case{{entry(5, {extension(certificateIssuerId, null(), true)})}, PathCode::revoked},
         }) {
        IndirectWorld const world({namedIssuer}, {.entries = entries, .extensions = {scope({flag(4)})}});
        EXPECT_EQ(world.code(), expected) << entries.size();
    }
}

TEST(StandardRevocation, AnIndirectCrlIsNamedByTheCertificateAndSaysSo) {
    auto const codeFor = [](std::vector<Bytes> const& extensions, std::vector<Bytes> const& crlExtensions) {
        return IndirectWorld(extensions, {.extensions = crlExtensions}).code();
    };
    EXPECT_EQ(codeFor({namedIssuer}, {scope({flag(4)})}), PathCode::valid);
    EXPECT_EQ(codeFor({namedIssuer}, {}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor({}, {scope({flag(4)})}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeFor({points({sequence(context(2, directoryNames("another")))})}, {scope({flag(4)})}),
              PathCode::revocationUndetermined);
    // Without a name of its own the point has that of the CRL's issuer.
    EXPECT_EQ(codeFor({namedIssuer}, {scope({fullName(directoryNames("crl issuer")), flag(4)})}),
              PathCode::valid);
    EXPECT_EQ(codeFor({namedIssuer}, {scope({fullName(directoryNames("another")), flag(4)})}),
              PathCode::revocationUndetermined);
}

TEST(StandardRevocation, ASignerTellsItsOwnStatusWhereItsCaSaysSo) {
    for (bool isDesignated : {false, true}) {
        for (bool isRevoked : {false, true}) {
            World world({namedIssuer});
            Key const signerKey = newKey();
            world.others = {
                makeCertificate("crl issuer", *signerKey, "root", *world.rootKey,
                                isDesignated ? std::vector<Bytes>{namedIssuer} : std::vector<Bytes>{}, 9)};
            std::vector<Bytes> const entries =
                isRevoked ? std::vector<Bytes>{entry(9, {issuedBy("root")})} : std::vector<Bytes>{};
            world.add("crl issuer", *signerKey, {.entries = entries, .extensions = {scope({flag(4)})}});
            EXPECT_EQ(world.code(),
                      isDesignated && !isRevoked ? PathCode::valid : PathCode::revocationUndetermined);
        }
    }
}

Bytes number(unsigned char value) { return extension(crlNumberId, integer(value)); }
Bytes deltaOf(unsigned char base) { return extension(deltaIndicatorId, integer(base), true); }

TEST(StandardRevocation, DeltaCrlsChangeWhatACompleteCrlSays) {
    CrlForm const complete = {.extensions = {number(3)}};
    CrlForm const held = {.entries = {entry(5, {reason(6)})}, .extensions = {number(3)}};
    auto const delta = [](std::vector<Bytes> const& entries, unsigned char base, unsigned char value) {
        return CrlForm{.entries = entries, .extensions = {number(value), deltaOf(base)}};
    };
    EXPECT_EQ(codeOf({delta({}, 3, 4)}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({complete, delta({}, 3, 4)}), PathCode::valid);
    EXPECT_EQ(codeOf({complete, delta({entry(5)}, 3, 4)}), PathCode::revoked);
    EXPECT_EQ(codeOf({complete, delta({entry(5)}, 1, 4)}), PathCode::revoked);
    EXPECT_EQ(codeOf({held}), PathCode::revoked);
    EXPECT_EQ(codeOf({held, delta({}, 3, 4)}), PathCode::revoked);
    EXPECT_EQ(codeOf({held, delta({entry(5, {reason(8)})}, 3, 4)}), PathCode::valid);
    // The latest of several decides.
    EXPECT_EQ(codeOf({complete, delta({entry(5, {reason(6)})}, 3, 4), delta({entry(5, {reason(8)})}, 3, 5)}),
              PathCode::valid);
    EXPECT_EQ(codeOf({complete, delta({entry(5, {reason(8)})}, 3, 4), delta({entry(5)}, 3, 5)}),
              PathCode::revoked);
    // One that begins later than the complete CRL ends cannot take back, and revokes.
    EXPECT_EQ(codeOf({held, delta({entry(5, {reason(8)})}, 4, 5)}), PathCode::revoked);
    EXPECT_EQ(codeOf({complete, delta({entry(5)}, 4, 5)}), PathCode::revoked);
    // One of other scope cannot take back either.
    CrlForm scoped = delta({entry(5, {reason(8)})}, 3, 4);
    scoped.extensions.push_back(scope({flag(1)}));
    EXPECT_EQ(codeOf({held, scoped}), PathCode::revoked);
    // One that is older than the complete CRL says nothing.
    EXPECT_EQ(codeOf({complete, delta({entry(5, {reason(6)})}, 1, 2)}), PathCode::valid);
    EXPECT_EQ(codeOf({held, delta({entry(5, {reason(8)})}, 1, 2)}), PathCode::revoked);
}

TEST(StandardRevocation, ACurrentDeltaCrlBringsItsCompleteCrlUpToDate) {
    CrlForm complete = {.extensions = {number(3)}, .nextUpdate = utcTime("250520000000Z")};
    CrlForm delta = {.extensions = {number(4), deltaOf(3)}};
    EXPECT_EQ(codeOf({complete}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({complete, delta}), PathCode::valid);
    delta.nextUpdate = utcTime("250520000000Z");
    EXPECT_EQ(codeOf({complete, delta}), PathCode::revocationUndetermined);
    delta.nextUpdate = utcTime("250701000000Z");
    delta.extensions = {number(5), deltaOf(4)};
    EXPECT_EQ(codeOf({complete, delta}), PathCode::revocationUndetermined);
}

TEST(StandardRevocation, AnUnknownCriticalExtensionNeverClears) {
    Bytes const unknown = extension(unknownId, null(), true);
    EXPECT_EQ(codeOf({{.extensions = {unknown}}}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({{.entries = {entry(5)}, .extensions = {unknown}}}), PathCode::revoked);
    EXPECT_EQ(codeOf({{.entries = {entry(6, {unknown})}}}), PathCode::revocationUndetermined);
    EXPECT_EQ(codeOf({{.entries = {entry(6, {unknown}), entry(5)}}}), PathCode::revoked);
    // Another CRL may clear.
    EXPECT_EQ(codeOf({{.extensions = {unknown}}, clean}), PathCode::valid);
    EXPECT_EQ(codeOf({{.extensions = {extension(unknownId, null())}}}), PathCode::valid);
    // Entries of other issuers are for indirect CRLs.
    EXPECT_EQ(codeOf({{.entries = {entry(6, {issuedBy("somebody")})}}}), PathCode::revocationUndetermined);
}

TEST(StandardRevocation, ManyHostileCrlsHideNoGoodOne) {
    size_t const count = lessWhenSlow<size_t>(1000, 20);
    World world;
    Key const other = newKey();
    for (size_t i = 0; i < count; i++) {
        CrlForm form = clean;
        form.extensions = {extension(
            crlNumberId, integer({1, static_cast<unsigned char>(i >> 8), static_cast<unsigned char>(i)}))};
        world.store.crls.push_back(makeCrl("root", i % 2 != 0 ? *other : *world.rootKey, form));
    }
    EXPECT_EQ(world.code(), PathCode::valid);
}

TEST(StandardRevocation, EntriesOfManyIssuersRevokeNobodyElse) {
    size_t const count = lessWhenSlow<size_t>(100'000, 1'000);
    World world;
    Bytes list;
    for (size_t i = 0; i < count; i++) {
        Bytes const one = entry(5, {issuedBy("issuer " + std::to_string(i))});
        list.insert(list.end(), one.begin(), one.end());
    }
    world.add({.entries = {list}, .extensions = {scope({flag(4)})}});
    EXPECT_EQ(world.code(), PathCode::valid);
}

TEST(StandardRevocation, ACrlIsVerifiedOnceInASearch) {
    World world;
    for (int i = 0; i < 8; i++)
        world.add({.extensions = {extension(crlNumberId, integer(static_cast<unsigned char>(i)))}});
    PathSearch search(world.store);
    PathOptions options;
    options.now = now;
    options.checkCrls = true;
    options.rules = PathRules::platform | PathRules::rfc5280;
    Certificate const second = makeCertificate("second", *world.leafKey, "root", *world.rootKey, {}, 6);
    EXPECT_TRUE(search.find(world.leaf, options).isValid());
    PathVerdict const verdict = search.find(second, options);
    EXPECT_TRUE(verdict.isValid());
    EXPECT_EQ(verdict.effort.signatureChecks, 1u);
}

/// Answers every question with one CRL.
class OneCrlStore : public CertificateStore {
public:
    explicit OneCrlStore(Certificate trusted) : anchor(std::move(trusted)) {}

    Certificate findCertificate(DistinguishedName const& subject, asn1::blob) const override {
        return subject == anchor->subject ? anchor : nullptr;
    }
    Crl findCrl(X509Certificate const&) const override { return crl; }

    Certificate anchor;
    Crl crl;
};

TEST(Revocation, ThePlatformDoesNotSeeCrlsOfTheStandardRules) {
    World world;
    OneCrlStore store(world.root);
    auto const validate = [&] {
        return x509ValidatePath({world.leaf, world.root}, store, now, {}, {}, {}, true, nullptr);
    };
    store.crl = makeCrl("root", *world.rootKey, revoking);
    EXPECT_EQ(validate(), 10);
    CrlForm form = revoking;
    form.extensions = {number(2), deltaOf(1)};
    store.crl = makeCrl("root", *world.rootKey, form);
    ASSERT_NE(store.crl->platformRefusal(), nullptr);
    EXPECT_EQ(validate(), 0);
}

TEST(Revocation, ALongCrlIsNeitherCopiedNorReadAgain) {
    size_t const count = lessWhenSlow<size_t>(100'000, 2'000);
    World world;
    Bytes list;
    for (size_t i = 0; i < count; i++) {
        Bytes const one =
            sequence(integer({1, static_cast<unsigned char>(i >> 16), static_cast<unsigned char>(i >> 8),
                              static_cast<unsigned char>(i)}),
                     utcTime("250101000000Z"));
        list.insert(list.end(), one.begin(), one.end());
    }
    Crl const crl = world.add({.entries = {list}});
    ASSERT_EQ(crl->revoked.size(), count);
    CertificateChain const chain = {world.leaf, world.root};
    auto const allocationsWith = [&](bool checkCrls) {
        return test::allocationsOf(
            [&] { EXPECT_EQ(x509ValidatePath(chain, world.store, now, {}, {}, {}, checkCrls, nullptr), 0); });
    };
    allocationsWith(true);
    EXPECT_LE(allocationsWith(true), allocationsWith(false) + 100);
}

} // namespace TEST_FILE
