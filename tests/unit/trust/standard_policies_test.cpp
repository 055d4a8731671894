#include "made_chain.h"

#include "sealkit/oid_names.h"

#include <gtest/gtest.h>
#include <set>

namespace TEST_FILE {

namespace der = test::der;
using test::bareCa;
using test::bareLeaf;
using test::MadeCertificate;
using test::MadeChain;

constexpr char gold[] = "1.2.3.1", silver[] = "1.2.3.2", bronze[] = "1.2.3.3", anyPolicy[] = "2.5.29.32.0";

PathOptions asking(std::vector<std::string> const& policies, bool require = true) {
    PathOptions options;
    for (std::string const& policy : policies)
        options.policies.push_back(parseOid(policy));
    options.requirePolicy = require;
    return options;
}

/// The policies that the chain is valid for; the name of the result where it is not.
std::set<std::string> policiesOf(std::vector<MadeCertificate> const& links, PathOptions const& options) {
    PathExplanation const result = MadeChain(links).explainStandard(options);
    if (result.code != 0)
        return {findPathCode(result.code)->name};
    std::set<std::string> policies;
    for (PathPolicy const& policy : result.policies)
        policies.insert(oidStr(policy.oid));
    return policies;
}

using Policies = std::set<std::string>;
Policies const refused = {"policy-required"};

/// Policy constraints: 255 leaves a field out.
der::Bytes constraints(unsigned char requireExplicit, unsigned char inhibitMapping) {
    return der::sequence(requireExplicit == 255 ? der::Bytes()
                                                : der::implicit(0, der::Bytes{requireExplicit}),
                         inhibitMapping == 255 ? der::Bytes() : der::implicit(1, der::Bytes{inhibitMapping}));
}

TEST(StandardPolicies, IntersectAlongTheChain) {
    std::vector<MadeCertificate> const links = {bareLeaf().withPolicies({gold, silver}),
                                                bareCa("CA").withPolicies({gold, bronze}), bareCa("Root")};
    EXPECT_EQ(policiesOf(links, {}), Policies({gold}));
    EXPECT_EQ(policiesOf(links, asking({})), Policies({gold}));
    EXPECT_EQ(policiesOf(links, asking({gold})), Policies({gold}));
    EXPECT_EQ(policiesOf(links, asking({anyPolicy})), Policies({gold}));
    EXPECT_EQ(policiesOf(links, asking({silver})), refused);
    EXPECT_EQ(policiesOf(links, asking({silver}, false)), Policies());
}

TEST(StandardPolicies, ChainWithoutPoliciesIsValidForNone) {
    std::vector<MadeCertificate> const links = {bareLeaf().withPolicies({gold}), bareCa("CA"),
                                                bareCa("Root")};
    EXPECT_EQ(policiesOf(links, {}), Policies());
    EXPECT_EQ(policiesOf(links, asking({})), refused);
    EXPECT_EQ(MadeChain(links).explainStandard(asking({})).depth, 1u);
}

TEST(StandardPolicies, AnyPolicyStandsForEvery) {
    std::vector<MadeCertificate> links = {bareLeaf().withPolicies({gold}),
                                          bareCa("CA").withPolicies({anyPolicy}), bareCa("Root")};
    EXPECT_EQ(policiesOf(links, asking({})), Policies({gold}));
    links[0].withPolicies({anyPolicy});
    EXPECT_EQ(policiesOf(links, asking({})), Policies({anyPolicy}));
    EXPECT_EQ(policiesOf(links, asking({silver})), Policies({silver}));
    links[1].withPolicies({gold});
    EXPECT_EQ(policiesOf(links, asking({})), Policies({gold}));
    PathOptions inhibited = asking({});
    inhibited.inhibitAnyPolicy = true;
    EXPECT_EQ(policiesOf(links, inhibited), refused);
}

TEST(StandardPolicies, AnyPolicyIsInhibitedBelow) {
    auto const chain = [](unsigned char skip, std::string const& middle) {
        return std::vector<MadeCertificate>{
            bareLeaf().withPolicies({anyPolicy}), bareCa(middle).withPolicies({anyPolicy}),
            bareCa("CA").withPolicies({gold}).with("2.5.29.54", der::integer(skip)), bareCa("Root")};
    };
    EXPECT_EQ(policiesOf(chain(0, "Sub"), asking({})), refused);
    EXPECT_EQ(policiesOf(chain(1, "Sub"), asking({})), refused);
    EXPECT_EQ(policiesOf(chain(2, "Sub"), asking({})), Policies({gold}));
    // A self-issued certificate does not count, and its anyPolicy is heeded.
    EXPECT_EQ(policiesOf(chain(0, "CA"), asking({})), refused);
    EXPECT_EQ(policiesOf(chain(1, "CA"), asking({})), Policies({gold}));
}

TEST(StandardPolicies, MappedPoliciesAreToldInTermsOfTheAnchor) {
    std::vector<MadeCertificate> links = {bareLeaf().withPolicies({silver}),
                                          bareCa("CA").withPolicies({gold}).withMapping(gold, silver),
                                          bareCa("Root")};
    EXPECT_EQ(policiesOf(links, asking({})), Policies({gold}));
    EXPECT_EQ(policiesOf(links, asking({silver})), refused);
    PathOptions inhibited = asking({});
    inhibited.inhibitPolicyMapping = true;
    EXPECT_EQ(policiesOf(links, inhibited), refused);
    links[0].withPolicies({gold});
    EXPECT_EQ(policiesOf(links, asking({})), refused);
    // Under anyPolicy a mapping makes its policy valid.
    links[0].withPolicies({silver});
    links[1].withPolicies({anyPolicy});
    EXPECT_EQ(policiesOf(links, asking({})), Policies({gold}));
    links[0].withPolicies({anyPolicy});
    EXPECT_EQ(policiesOf(links, asking({})), Policies({gold, anyPolicy}));
}

TEST(StandardPolicies, MappingIsInhibitedBelow) {
    auto const chain = [](unsigned char skip) {
        return std::vector<MadeCertificate>{
            bareLeaf().withPolicies({silver}), bareCa("Sub").withPolicies({gold}).withMapping(gold, silver),
            bareCa("CA").withPolicies({gold}).with("2.5.29.36", constraints(255, skip)), bareCa("Root")};
    };
    EXPECT_EQ(policiesOf(chain(0), asking({})), refused);
    EXPECT_EQ(policiesOf(chain(1), asking({})), Policies({gold}));
}

TEST(StandardPolicies, AnyPolicyIsNotMapped) {
    for (auto const& [from, to] : {std::pair(anyPolicy, gold), std::pair(gold, anyPolicy)}) {
        std::vector<MadeCertificate> const links = {bareLeaf().withPolicies({gold}),
                                                    bareCa("CA").withPolicies({gold}).withMapping(from, to),
                                                    bareCa("Root")};
        EXPECT_EQ(policiesOf(links, {}), Policies({"invalid-policy-mapping"}));
    }
}

TEST(StandardPolicies, CertificatesRequireOne) {
    auto const chain = [](unsigned char skip, size_t place, std::vector<std::string> const& leafPolicies) {
        std::vector<MadeCertificate> links = {bareLeaf(), bareCa("Sub").withPolicies({gold}),
                                              bareCa("CA").withPolicies({gold}), bareCa("Root")};
        if (!leafPolicies.empty())
            links[0].withPolicies(leafPolicies);
        links[place].with("2.5.29.36", constraints(skip, 255));
        return links;
    };
    EXPECT_EQ(policiesOf(chain(0, 2, {gold}), {}), Policies({gold}));
    EXPECT_EQ(policiesOf(chain(0, 2, {silver}), {}), refused);
    EXPECT_EQ(policiesOf(chain(2, 2, {silver}), {}), refused);
    EXPECT_EQ(policiesOf(chain(3, 2, {silver}), {}), Policies());
    EXPECT_EQ(policiesOf(chain(0, 0, {silver}), {}), refused);
    EXPECT_EQ(policiesOf(chain(1, 0, {silver}), {}), Policies());
    EXPECT_EQ(policiesOf(chain(0, 3, {silver}), {}), Policies()); // Of the anchor it binds nobody.
}

TEST(StandardPolicies, QualifiersArePassedThrough) {
    der::Bytes const pointer =
        der::sequence(der::oid("1.3.6.1.5.5.7.2.1"), der::element(0x16, der::bytes("http://a.test")));
    der::Bytes const notice = der::sequence(der::oid("1.3.6.1.5.5.7.2.2"), der::sequence());
    auto const policy = [](der::Bytes const& qualifier) {
        return der::sequence(der::sequence(der::oid(gold), der::sequence(qualifier)));
    };
    MadeCertificate leaf = bareLeaf(), ca = bareCa("CA");
    leaf.with("2.5.29.32", policy(pointer));
    ca.with("2.5.29.32", policy(notice));
    PathExplanation const result = MadeChain({leaf, ca, bareCa("Root")}).explainStandard();
    ASSERT_EQ(result.policies.size(), 1u);
    EXPECT_EQ(result.policies[0].qualifiers, der::sequence(notice, pointer));
    ca.with("2.5.29.32", policy(pointer));
    EXPECT_EQ(MadeChain({leaf, ca, bareCa("Root")}).explainStandard().policies.at(0).qualifiers,
              der::sequence(pointer));
}

TEST(StandardPolicies, LeafThatIsItsOwnAnchorIsAsked) {
    EXPECT_EQ(policiesOf({bareLeaf()}, asking({})), refused);
    EXPECT_EQ(policiesOf({bareLeaf().withPolicies({gold})}, asking({})), Policies({gold}));
}

/// Many policies that are mapped to as many others in each certificate make a graph, not a tree.
TEST(StandardPolicies, MappingsDoNotMultiply) {
    std::vector<std::string> policies;
    der::Bytes mappings;
    for (int i = 1; i <= 24; i++)
        policies.push_back("1.2.3." + std::to_string(i));
    for (std::string const& from : policies)
        for (std::string const& to : policies)
            mappings = der::join({mappings, der::sequence(der::oid(from), der::oid(to))});
    std::vector<MadeCertificate> links = {bareLeaf().withPolicies(policies)};
    for (int i = 0; i < 12; i++)
        links.push_back(bareCa("CA " + std::to_string(i))
                            .withPolicies(policies)
                            .with("2.5.29.33", der::sequence(mappings)));
    links.push_back(bareCa("Root"));
    EXPECT_EQ(policiesOf(links, asking({})), Policies(policies.begin(), policies.end()));
}

} // namespace TEST_FILE
