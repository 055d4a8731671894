#include "chains.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace TEST_FILE {

using test::dns;
using test::mailbox;
using test::unsignedCa;
using test::unsignedLeaf;

struct Verdict {
    int code;
    std::string error;

    friend bool operator==(Verdict const&, Verdict const&) = default;
    friend std::ostream& operator<<(std::ostream& out, Verdict const& verdict) {
        return out << verdict.code << " " << verdict.error;
    }
};

/// What validation says of a chain that nothing anchors: code 12, or 6 when the names are allowed.
Verdict validate(CertificateChain const& chain) {
    Verdict verdict{};
    verdict.code =
        x509ValidatePath(chain, CertificateMemoryStore(), test::inDate, {}, {}, {}, false, &verdict.error);
    return verdict;
}

Verdict const allowed{6, ""};

Verdict refused(std::string const& text) { return {12, "name constraint " + text}; }

/// A leaf with names under a CA with constraints.
Verdict constrained(GeneralName const& permitted, GeneralName const& excluded,
                    std::vector<GeneralName> names) {
    auto const leaf = unsignedLeaf("Leaf", "Root");
    auto const root = unsignedCa("Root", "Root");
    leaf->subjectAltNames = std::move(names);
    root->nameConstraintPermitted = permitted;
    root->nameConstraintExcluded = excluded;
    return validate({leaf, root});
}

TEST(NameConstraints, PermittedDnsNameIsAPlainSuffix) {
    EXPECT_EQ(constrained(dns("b.test"), {}, {dns("b.test")}), allowed);
    EXPECT_EQ(constrained(dns("b.test"), {}, {dns("a.b.test")}), allowed);
    EXPECT_EQ(constrained(dns("b.test"), {}, {dns("xb.test")}), allowed);
    EXPECT_EQ(constrained(dns(".b.test"), {}, {dns("a.b.test")}), allowed);
    EXPECT_EQ(constrained(dns(""), {}, {dns("a.test")}), allowed);
    EXPECT_EQ(constrained(dns("b.test"), {}, {dns("b.test.")}),
              refused("permitted: DNS: b.test not satisfied for: DNS: b.test."));
    EXPECT_EQ(constrained(dns("b.test"), {}, {dns("test")}),
              refused("permitted: DNS: b.test not satisfied for: DNS: test"));
    EXPECT_EQ(constrained(dns(".b.test"), {}, {dns("b.test")}),
              refused("permitted: DNS: .b.test not satisfied for: DNS: b.test"));
}

TEST(NameConstraints, LetterCaseCounts) {
    EXPECT_EQ(constrained(dns("b.test"), {}, {dns("a.B.test")}),
              refused("permitted: DNS: b.test not satisfied for: DNS: a.B.test"));
    EXPECT_EQ(constrained({}, dns("b.test"), {dns("a.B.test")}), allowed);
}

TEST(NameConstraints, ExcludedDnsNameIsAPlainSuffix) {
    EXPECT_EQ(constrained({}, dns("b.test"), {dns("xb.test")}),
              refused("excluded: DNS: b.test not satisfied for: DNS: xb.test"));
    EXPECT_EQ(constrained({}, dns("b.test"), {dns("a.test")}), allowed);
    EXPECT_EQ(constrained({}, dns(""), {dns("a.test")}),
              refused("excluded: DNS:  not satisfied for: DNS: a.test"));
}

TEST(NameConstraints, ExcludedIsLookedAtBeforePermitted) {
    EXPECT_EQ(constrained(dns("a.test"), dns("b.test"), {dns("b.test")}),
              refused("excluded: DNS: b.test not satisfied for: DNS: b.test"));
}

TEST(NameConstraints, NamesAreTakenInTheirOrder) {
    EXPECT_EQ(constrained(dns("a.test"), dns("b.test"), {dns("a.test"), dns("c.test"), dns("b.test")}),
              refused("permitted: DNS: a.test not satisfied for: DNS: c.test"));
}

TEST(NameConstraints, PermittedOfAnotherTypeRefusesEveryNameOfThatType) {
    EXPECT_EQ(constrained(mailbox("a.test"), {}, {mailbox("ann@a.test")}),
              refused("permitted: rfc822: a.test not satisfied for: rfc822: ann@a.test"));
    EXPECT_EQ(constrained(mailbox("a.test"), {}, {dns("b.test")}), allowed);
    GeneralName const network = test::generalName(7, std::string("\xc0\x00\x02\x00\xff\xff\xff\x00", 8));
    GeneralName const host = test::generalName(7, std::string("\xc0\x00\x02\x07", 4));
    EXPECT_EQ(constrained(network, {}, {host}),
              refused("permitted: IP: " + network.dataStr() + " not satisfied for: IP: 192.0.2.7"));
}

TEST(NameConstraints, ExcludedOfAnotherTypeKeepsNoneOut) {
    EXPECT_EQ(constrained({}, mailbox("a.test"), {mailbox("a.test")}), allowed);
}

TEST(NameConstraints, NamesOfTypesWithoutConstraintAreFree) {
    EXPECT_EQ(constrained(dns("a.test"), dns("b.test"), {mailbox("b.test")}), allowed);
    EXPECT_EQ(constrained({}, {}, {dns("a.test"), mailbox("b.test")}), allowed);
}

TEST(NameConstraints, CommonNameIsNotConstrained) {
    auto const leaf = unsignedLeaf("b.test", "Root");
    auto const root = unsignedCa("Root", "Root");
    root->nameConstraintExcluded = dns("b.test");
    EXPECT_EQ(validate({leaf, root}), allowed);
}

TEST(NameConstraints, ConstraintsDoNotMeetTheirOwnCertificate) {
    auto const leaf = unsignedLeaf("Leaf", "Root");
    leaf->nameConstraintExcluded = dns("a.test");
    leaf->subjectAltNames = {dns("a.test")};
    EXPECT_EQ(validate({leaf}), allowed);
    auto const root = unsignedCa("Root", "Root");
    root->nameConstraintPermitted = dns("b.test");
    root->subjectAltNames = {dns("a.test")};
    EXPECT_EQ(validate({unsignedLeaf("Leaf", "Root"), root}), allowed);
}

TEST(NameConstraints, ConstraintsDoNotMeetCertificatesAbove) {
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    auto const middle = unsignedCa("Middle", "Root");
    auto const root = unsignedCa("Root", "Root");
    root->subjectAltNames = {dns("a.test")};
    middle->nameConstraintExcluded = dns("a.test");
    EXPECT_EQ(validate({leaf, middle, root}), allowed);
}

TEST(NameConstraints, ListsAddUpDownTheChain) {
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    auto const middle = unsignedCa("Middle", "Root");
    auto const root = unsignedCa("Root", "Root");
    root->nameConstraintPermitted = dns("a.test");
    middle->nameConstraintPermitted = dns("b.test");
    root->nameConstraintExcluded = dns("x.a.test");
    middle->nameConstraintExcluded = dns("x.b.test");
    auto const named = [&](std::string const& name) {
        leaf->subjectAltNames = {dns(name)};
        return validate({leaf, middle, root});
    };
    EXPECT_EQ(named("a.test"), allowed);
    EXPECT_EQ(named("b.test"), allowed);
    EXPECT_EQ(named("c.test"), refused("permitted: DNS: a.test not satisfied for: DNS: c.test"));
    EXPECT_EQ(named("x.a.test"), refused("excluded: DNS: x.a.test not satisfied for: DNS: x.a.test"));
    EXPECT_EQ(named("x.b.test"), refused("excluded: DNS: x.b.test not satisfied for: DNS: x.b.test"));
}

TEST(NameConstraints, TheFirstOfSeveralThatMatchIsTold) {
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    auto const middle = unsignedCa("Middle", "Root");
    auto const root = unsignedCa("Root", "Root");
    leaf->subjectAltNames = {dns("www.a.test")};
    root->nameConstraintExcluded = dns("a.test");
    middle->nameConstraintExcluded = dns("test");
    EXPECT_EQ(validate({leaf, middle, root}),
              refused("excluded: DNS: a.test not satisfied for: DNS: www.a.test"));
    std::swap(root->nameConstraintExcluded, middle->nameConstraintExcluded);
    EXPECT_EQ(validate({leaf, middle, root}),
              refused("excluded: DNS: test not satisfied for: DNS: www.a.test"));
}

TEST(NameConstraints, TheFirstPermittedOfTheNamesTypeIsTold) {
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    auto const middle = unsignedCa("Middle", "Root");
    auto const root = unsignedCa("Root", "Root");
    root->nameConstraintPermitted = mailbox("a.test");
    middle->nameConstraintPermitted = dns("a.test");
    leaf->subjectAltNames = {dns("b.test")};
    EXPECT_EQ(validate({leaf, middle, root}),
              refused("permitted: DNS: a.test not satisfied for: DNS: b.test"));
}

TEST(NameConstraints, TheCertificateWithTheNameIsTheOneExplained) {
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    auto const middle = unsignedCa("Middle", "Root");
    auto const root = unsignedCa("Root", "Root");
    middle->subjectAltNames = {dns("b.test")};
    root->nameConstraintExcluded = dns("b.test");
    PathOptions question;
    question.now = test::inDate;
    PathExplanation const why = x509ExplainPath({leaf, middle, root}, CertificateMemoryStore(), question);
    EXPECT_EQ(why.code, 12);
    EXPECT_EQ(why.depth, 1u);
    EXPECT_EQ(why.subject, "CN=Middle");
    ASSERT_EQ(why.facts.size(), 3u);
    EXPECT_EQ(why.facts[0].value, "DNS: b.test");
    EXPECT_EQ(why.facts[1].label, "excluded");
    EXPECT_EQ(why.facts[1].value, "DNS: b.test");
    EXPECT_EQ(why.facts[2].value, "CN=Root");
}

TEST(NameConstraints, AgreeWithAPlainSearchOnRandomNames) {
    std::mt19937 random(11);
    auto const name = [&] {
        std::string text(random() % 6, 'a');
        for (char& letter : text)
            letter = "ab."[random() % 3];
        return text;
    };
    for (int round = 0; round < 2000; ++round) {
        CertificateChain chain = {unsignedLeaf("Leaf", "0")};
        chain[0]->subjectAltNames = {dns(name())};
        std::string const& asked = chain[0]->subjectAltNames[0].data;
        std::vector<std::string> permitted, excluded;
        for (unsigned i = 0; i < random() % 6; ++i) {
            auto const ca = unsignedCa(std::to_string(i), std::to_string(i + 1));
            if (random() % 2)
                ca->nameConstraintPermitted = dns(name());
            if (random() % 4 == 0)
                ca->nameConstraintExcluded = dns(name());
            chain.push_back(ca);
        }
        // From the top down, as the lists are filled.
        for (size_t i = chain.size(); i-- > 1;) {
            if (chain[i]->nameConstraintPermitted.type == 2)
                permitted.push_back(chain[i]->nameConstraintPermitted.data);
            if (chain[i]->nameConstraintExcluded.type == 2)
                excluded.push_back(chain[i]->nameConstraintExcluded.data);
        }
        Verdict expected = allowed;
        auto const endsName = [&](std::string const& suffix) { return asked.ends_with(suffix); };
        auto const hit = std::find_if(excluded.begin(), excluded.end(), endsName);
        if (hit != excluded.end())
            expected = refused("excluded: DNS: " + *hit + " not satisfied for: DNS: " + asked);
        else if (!permitted.empty() && std::none_of(permitted.begin(), permitted.end(), endsName))
            expected = refused("permitted: DNS: " + permitted[0] + " not satisfied for: DNS: " + asked);
        ASSERT_EQ(validate(chain), expected);
    }
}

TEST(NameConstraints, ManyConstraintsAndManyNamesTakeNoTimeInTheirProduct) {
    CertificateChain chain = {unsignedLeaf("Leaf", "0")};
    for (int i = 0; i < 5000; ++i) {
        auto const ca = unsignedCa(std::to_string(i), std::to_string(i + 1));
        ca->nameConstraintPermitted = dns(std::to_string(i) + ".test");
        ca->nameConstraintExcluded = dns(std::to_string(i) + ".example");
        chain.push_back(ca);
    }
    for (int i = 0; i < 50000; ++i)
        chain[0]->subjectAltNames.push_back(dns("www.0.test"));
    EXPECT_EQ(validate(chain), allowed);
}

} // namespace TEST_FILE
