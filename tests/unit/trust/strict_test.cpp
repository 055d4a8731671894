// The strict rules, each broken alone.
#include "made_chain.h"

#include <functional>

namespace TEST_FILE {

using namespace test::der;
using test::dnsName;
using test::madeCa;
using test::MadeCertificate;
using test::MadeChain;
using test::madeLeaf;

using Change = std::function<void(MadeCertificate&)>;

/// A chain that keeps every rule, with a change in one of its certificates.
std::vector<MadeCertificate> changed(size_t depth, Change const& change) {
    std::vector<MadeCertificate> made = {madeLeaf({dnsName("www.a.test")}), madeCa("Middle"), madeCa("Root")};
    change(made[depth]);
    return made;
}

struct Verdict {
    PathCode code;
    unsigned depth = 0;
    std::string facts = {};

    friend bool operator==(Verdict const&, Verdict const&) = default;
    friend std::ostream& operator<<(std::ostream& out, Verdict const& verdict) {
        return out << static_cast<int>(verdict.code) << " at " << verdict.depth << ": " << verdict.facts;
    }
};

Verdict judge(std::vector<MadeCertificate> const& made, PathOptions options = {},
              KeyType keys = KeyType::Ed25519) {
    options.rules = PathRules::strict;
    auto const result = MadeChain(made, keys).explain(options);
    std::string facts;
    for (Fact const& fact : result.facts)
        facts += (facts.empty() ? "" : "; ") + fact.label + ": " + fact.value;
    if (result.code == 0)
        return {PathCode::valid};
    return {static_cast<PathCode>(result.code), result.depth, facts};
}

Verdict judge(size_t depth, Change const& change) { return judge(changed(depth, change)); }

bool isValid(size_t depth, Change const& change) { return judge(depth, change).code == PathCode::valid; }

Bytes rsaKeyInfo(size_t bits, Bytes const& exponent) {
    Bytes modulus((bits + 7) / 8, 0xFF);
    modulus[0] = static_cast<unsigned char>(0xFF >> (modulus.size() * 8 - bits));
    if (modulus[0] & 0x80)
        modulus.insert(modulus.begin(), 0);
    return sequence(algorithm("1.2.840.113549.1.1.1", null()),
                    bitString(sequence(integer(modulus), integer(exponent))));
}

Bytes ecKeyInfo(std::string_view curve, Bytes const& point) {
    return sequence(algorithm("1.2.840.10045.2.1", oid(curve)), bitString(point));
}

TEST(Strict, AcceptsWhatKeepsTheRules) {
    EXPECT_EQ(judge(0, [](MadeCertificate&) {}), Verdict{PathCode::valid});
    PathOptions options;
    options.hostName = "www.a.test";
    EXPECT_EQ(judge(changed(0, [](MadeCertificate&) {}), options), Verdict{PathCode::valid});
}

TEST(Strict, SignaturesOverWeakHashes) {
    auto const judgeHash = [](size_t depth, HashID hash, KeyType keys) {
        auto made = changed(depth, [hash](MadeCertificate& each) { each.hash = hash; });
        // So that the short keys that sign them are not in the way.
        for (MadeCertificate& each : made)
            if (keys == KeyType::RSA && &each != &made.back())
                each.keyInfo = test::keyInfoOf(test::madeKey(KeyType::Ed25519));
        if (keys == KeyType::RSA)
            made.erase(made.begin() + 1);
        return judge(made, {}, keys);
    };
    EXPECT_EQ(judgeHash(0, HashID::SHA1, KeyType::EC),
              (Verdict{PathCode::weakSignatureHash, 0, "signature algorithm: SHA1+ECDSA"}));
    EXPECT_EQ(judgeHash(1, HashID::SHA1, KeyType::EC).code, PathCode::weakSignatureHash);
    EXPECT_EQ(judgeHash(1, HashID::SHA1, KeyType::EC).depth, 1u);
    EXPECT_EQ(judgeHash(2, HashID::SHA1, KeyType::EC), Verdict{PathCode::valid});
    EXPECT_EQ(judgeHash(0, HashID::SHA384, KeyType::EC), Verdict{PathCode::valid});
    EXPECT_EQ(judgeHash(0, HashID::SHA1, KeyType::RSA),
              (Verdict{PathCode::weakSignatureHash, 0, "signature algorithm: SHA1+RSA"}));
    EXPECT_EQ(judgeHash(0, HashID::MD5, KeyType::RSA),
              (Verdict{PathCode::weakSignatureHash, 0, "signature algorithm: MD5+RSA"}));
}

TEST(Strict, ShortRsaKeys) {
    auto const rsa = [](size_t bits) {
        return [bits](MadeCertificate& made) { made.keyInfo = rsaKeyInfo(bits, {1, 0, 1}); };
    };
    EXPECT_EQ(judge(0, rsa(2047)), (Verdict{PathCode::shortRsaKey, 0, "bits: 2047"}));
    EXPECT_TRUE(isValid(0, rsa(2048)));
    EXPECT_TRUE(isValid(0, rsa(4096)));
    EXPECT_EQ(judge(0, rsa(512)).code, PathCode::shortRsaKey);
}

TEST(Strict, SmallExponents) {
    auto const exponent = [](Bytes const& value) {
        return [value](MadeCertificate& made) { made.keyInfo = rsaKeyInfo(2048, value); };
    };
    EXPECT_EQ(judge(0, exponent({3})), (Verdict{PathCode::smallRsaExponent, 0, "public exponent: 3"}));
    EXPECT_EQ(judge(0, exponent({1})), (Verdict{PathCode::smallRsaExponent, 0, "public exponent: 1"}));
    EXPECT_EQ(judge(0, exponent({0, 0xFF, 0xFF})),
              (Verdict{PathCode::smallRsaExponent, 0, "public exponent: 65535"}));
    EXPECT_TRUE(isValid(0, exponent({1, 0, 1})));
    EXPECT_TRUE(isValid(0, exponent({1, 0, 0, 0, 1})));
}

TEST(Strict, WeakCurves) {
    auto const point = [](std::string_view curve, size_t octets, unsigned char form) {
        return [=](MadeCertificate& made) {
            Bytes key((form == 4 ? 2 : 1) * octets + 1, 1);
            key[0] = form;
            made.keyInfo = ecKeyInfo(curve, key);
        };
    };
    EXPECT_EQ(judge(0, point("1.2.840.10045.3.1.1", 24, 4)), (Verdict{PathCode::weakCurve, 0, "bits: 192"}));
    EXPECT_EQ(judge(0, point("1.3.132.0.33", 28, 4)), (Verdict{PathCode::weakCurve, 0, "bits: 224"}));
    EXPECT_EQ(judge(0, point("1.3.132.0.33", 28, 2)), (Verdict{PathCode::weakCurve, 0, "bits: 224"}));
    EXPECT_TRUE(isValid(0, point("1.2.840.10045.3.1.7", 32, 4)));
    EXPECT_TRUE(isValid(0, point("1.2.840.10045.3.1.7", 32, 3)));
    EXPECT_TRUE(isValid(0, point("1.3.132.0.35", 66, 4)));
}

TEST(Strict, KeyOfTheAnchorMustBeLongEnough) {
    auto leaf = madeLeaf({dnsName("www.a.test")});
    leaf.keyInfo = test::keyInfoOf(test::madeKey(KeyType::Ed25519));
    EXPECT_EQ(judge({leaf, madeCa("Root")}, {}, KeyType::RSA),
              (Verdict{PathCode::shortRsaKey, 1, "bits: 1024"}));
}

TEST(Strict, NothingElseOfTheAnchorIsJudged) {
    auto root = madeLeaf({dnsName("www.a.test")});
    root.namesIssuerKey = false;
    root.serialNumber = {0};
    root.hash = HashID::SHA1;
    EXPECT_EQ(judge({root}, {}, KeyType::EC), Verdict{PathCode::valid});
    root.without("2.5.29.37");
    EXPECT_EQ(judge({root}, {}, KeyType::EC).code, PathCode::extendedKeyUsageMissing);
}

TEST(Strict, SerialNumbers) {
    auto const serial = [](Bytes const& number) {
        return [number](MadeCertificate& made) { made.serialNumber = number; };
    };
    EXPECT_EQ(judge(0, serial({0})), (Verdict{PathCode::invalidSerialNumber, 0, "serial number: 00"}));
    EXPECT_EQ(judge(1, serial({0x80})), (Verdict{PathCode::invalidSerialNumber, 1, "serial number: 80"}));
    EXPECT_EQ(judge(0, serial(Bytes(21, 1))), (Verdict{PathCode::invalidSerialNumber, 0, "octets: 21"}));
    EXPECT_TRUE(isValid(0, serial(Bytes(20, 1))));
    EXPECT_TRUE(isValid(2, serial({0})));
}

TEST(Strict, KeyIdentifiers) {
    auto const noAuthority = [](MadeCertificate& made) { made.namesIssuerKey = false; };
    auto const noSubject = [](MadeCertificate& made) { made.without("2.5.29.14"); };
    EXPECT_EQ(judge(0, noAuthority),
              (Verdict{PathCode::keyIdentifierMissing, 0, "missing: authorityKeyIdentifier"}));
    EXPECT_EQ(judge(1, noAuthority).depth, 1u);
    EXPECT_TRUE(isValid(2, noAuthority));
    auto middle = changed(1, noSubject);
    middle[0].with("2.5.29.35", sequence(implicit(0, "Middle")));
    EXPECT_EQ(judge(middle), (Verdict{PathCode::keyIdentifierMissing, 1, "missing: subjectKeyIdentifier"}));
    auto top = changed(2, noSubject);
    top[1].with("2.5.29.35", sequence(implicit(0, "Root")));
    EXPECT_EQ(judge(top), Verdict{PathCode::valid});
}

TEST(Strict, Criticality) {
    auto const flip = [](std::string const& id) {
        return [id](MadeCertificate& made) {
            for (auto& extension : made.extensions)
                if (extension.oid == id)
                    extension.critical = !extension.critical;
        };
    };
    EXPECT_EQ(judge(1, flip("2.5.29.19")),
              (Verdict{PathCode::wrongCriticality, 1, "extension: basicConstraints; expected: critical"}));
    EXPECT_EQ(
        judge(1, flip("2.5.29.14")),
        (Verdict{PathCode::wrongCriticality, 1, "extension: subjectKeyIdentifier; expected: not critical"}));
    EXPECT_TRUE(isValid(1, flip("2.5.29.15")));
    EXPECT_TRUE(isValid(2, flip("2.5.29.19")));
    EXPECT_TRUE(isValid(2, flip("2.5.29.14")));

    auto const add = [](std::string const& id, Bytes const& value, bool critical) {
        return [=](MadeCertificate& made) { made.with(id, value, critical); };
    };
    Bytes const constraints = sequence(context(0, sequence(dnsName("a.test"))));
    Bytes const policyConstraints = sequence(implicit(0, Bytes{5}));
    Bytes const point = sequence(sequence(context(0, context(0, implicit(6, "http://a.test/")))));
    Bytes const access = sequence(sequence(oid("1.3.6.1.5.5.7.48.2"), implicit(6, "http://a.test/")));
    struct {
        std::string id;
        Bytes value;
        bool isCritical;
    } const rules[] = {
        {"2.5.29.30", constraints, true},     {"2.5.29.36", policyConstraints, true},
        {"2.5.29.54", integer(5), true},      {"2.5.29.46", point, false},
        {"1.3.6.1.5.5.7.1.1", access, false},
    };
    for (auto const& rule : rules) {
        EXPECT_TRUE(isValid(1, add(rule.id, rule.value, rule.isCritical))) << rule.id;
        auto const code = judge(1, add(rule.id, rule.value, !rule.isCritical)).code;
        // The standard rules know of no critical information access.
        EXPECT_TRUE(code == PathCode::wrongCriticality ||
                    (!rule.isCritical && code == PathCode::unknownCriticalExtension))
            << rule.id << " " << static_cast<int>(code);
        EXPECT_TRUE(isValid(2, add(rule.id, rule.value, rule.isCritical))) << rule.id;
    }
}

TEST(Strict, AlternativeNamesAreCriticalWhereTheSubjectIsEmpty) {
    auto const empty = [](bool isCritical) {
        return [isCritical](MadeCertificate& made) {
            made.subject = sequence();
            made.withNames({dnsName("www.a.test")}, isCritical);
        };
    };
    EXPECT_EQ(judge(0, empty(false)), (Verdict{PathCode::wrongCriticality, 0,
                                               "extension: subjectAlternativeName; expected: critical"}));
    EXPECT_TRUE(isValid(0, empty(true)));
}

TEST(Strict, SelfIssuedCertificatesNameTheKeyOfTheirIssuer) {
    auto made = changed(1, [](MadeCertificate& each) { each.subject = test::named("Root"); });
    EXPECT_EQ(judge(made), Verdict{PathCode::valid});
    made[1].namesIssuerKey = false;
    made[1].keyInfo = test::keyInfoOf(test::madeKey(KeyType::EC));
    made.erase(made.begin()); // The key signs nothing.
    EXPECT_EQ(judge(made), (Verdict{PathCode::keyIdentifierMissing, 0, "missing: authorityKeyIdentifier"}));
}

TEST(Strict, CasHaveSubjects) {
    auto const nameless = [](MadeCertificate& made) { made.subject = sequence(); };
    EXPECT_EQ(judge(1, nameless), (Verdict{PathCode::emptyCaSubject, 1}));
    EXPECT_EQ(judge(2, nameless), (Verdict{PathCode::emptyCaSubject, 2}));
    auto alone = changed(1, nameless);
    alone.erase(alone.begin());
    EXPECT_EQ(judge(alone), (Verdict{PathCode::emptyCaSubject, 0}));
    PathOptions options;
    options.rules = PathRules::rfc5280;
    EXPECT_EQ(MadeChain(changed(1, nameless)).explain(options).code, 0);
}

TEST(Strict, PurposesOfTheLeaf) {
    EXPECT_EQ(judge(0, [](MadeCertificate& made) { made.without("2.5.29.37"); }).code,
              PathCode::extendedKeyUsageMissing);
    EXPECT_EQ(judge(0,
                    [](MadeCertificate& made) {
                        made.withPurposes({"1.3.6.1.5.5.7.3.1", "2.5.29.37.0"});
                    })
                  .code,
              PathCode::anyExtendedKeyUsage);
    EXPECT_TRUE(isValid(1, [](MadeCertificate& made) { made.withPurposes({"2.5.29.37.0"}); }));
}

TEST(Strict, CaAsServer) {
    auto ca = madeCa("Leaf");
    ca.withNames({dnsName("www.a.test")});
    ca.with("2.5.29.15", bitString({0x86}, 1), true);
    std::vector<MadeCertificate> const made = {ca, madeCa("Root")};
    EXPECT_EQ(judge(made), Verdict{PathCode::valid});
    PathOptions options;
    options.hostName = "www.a.test";
    EXPECT_EQ(judge(made, options), (Verdict{PathCode::caAsEndEntity, 0, "basic constraints: cA TRUE"}));
    options = {};
    options.purpose = PathPurpose::tlsClient;
    EXPECT_EQ(judge(made, options).code, PathCode::caAsEndEntity);
}

TEST(Strict, AlternativeNamesOfServersAndMailboxes) {
    auto const nameless = [](std::string const& purpose) {
        return changed(0, [&](MadeCertificate& made) { made.without("2.5.29.17").withPurposes({purpose}); });
    };
    constexpr char server[] = "1.3.6.1.5.5.7.3.1", code[] = "1.3.6.1.5.5.7.3.3",
                   email[] = "1.3.6.1.5.5.7.3.4";
    EXPECT_EQ(judge(nameless(server)), (Verdict{PathCode::subjectAltNameMissing, 0, "subject: CN=Leaf"}));
    EXPECT_EQ(judge(nameless(email)).code, PathCode::subjectAltNameMissing);
    EXPECT_EQ(judge(nameless(code)).code, PathCode::valid);
    PathOptions options;
    options.purpose = PathPurpose::tlsServer;
    EXPECT_EQ(judge(nameless(server), options).code, PathCode::subjectAltNameMissing);
    options.purpose = PathPurpose::codeSigning;
    EXPECT_EQ(judge(nameless(code), options).code, PathCode::valid);
}

TEST(Strict, WildcardsForATopLevelDomain) {
    auto const with = [](std::string_view name) {
        return [name](MadeCertificate& made) { made.withNames({dnsName("a.test"), dnsName(name)}); };
    };
    EXPECT_EQ(judge(0, with("*.com")), (Verdict{PathCode::wideWildcard, 0, "name: DNS: *.com"}));
    for (std::string_view const name : {"*", "*.", "*.com."})
        EXPECT_EQ(judge(0, with(name)).code, PathCode::wideWildcard) << name;
    for (std::string_view const name : {"*.a.com", "com", "a*.com"})
        EXPECT_TRUE(isValid(0, with(name))) << name;
}

TEST(Strict, CodeAndDepthAreOfTheFirstCertificateFromTheLeaf) {
    auto made = changed(1, [](MadeCertificate& each) { each.serialNumber = {0}; });
    made[0].serialNumber = Bytes(21, 1);
    EXPECT_EQ(judge(made), (Verdict{PathCode::invalidSerialNumber, 0, "octets: 21"}));
}

TEST(Strict, RulesOfRfc5280Accept) {
    auto made = changed(0, [](MadeCertificate& each) { each.serialNumber = {0}; });
    PathOptions options;
    options.rules = PathRules::rfc5280;
    EXPECT_EQ(MadeChain(made).explain(options).code, 0);
}

} // namespace TEST_FILE
