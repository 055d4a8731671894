// Chains that hold as much as they can of what the rules compare: the time must grow with their size, not
// with products.
#include "made_chain.h"
#include "support/slow.h"
#include "support/timing.h"

#include <algorithm>

namespace TEST_FILE {

using namespace test::der;
using test::dnsName;
using test::lessWhenSlow;
using test::madeCa;
using test::MadeCertificate;
using test::MadeChain;
using test::madeLeaf;
using test::secondsOf;

/// How often the time of a question grows when its size does four times: 4 for a linear one, 16 for a square.
constexpr unsigned growth = 4;
constexpr double maxGrowth = 9;

std::string policy(size_t number) { return "1.2.3." + std::to_string(number); }

/// A list that is joined at once.
class List {
public:
    void add(Bytes const& element) { all.insert(all.end(), element.begin(), element.end()); }
    Bytes take() { return sequence(std::exchange(all, {})); }

private:
    Bytes all;
};

struct Parts {
    size_t policies = 0;
    size_t names = 0;
    size_t subtrees = 0;
    size_t points = 0;
    size_t cas = 4;
};

/// A chain with that much in every certificate.
MadeChain hostile(Parts const& parts) {
    auto const addAll = [&](MadeCertificate& made, size_t depth) {
        List list;
        for (size_t i = 0; i < parts.policies; i++)
            list.add(sequence(oid(policy(i)), sequence(sequence(oid("1.3.6.1.5.5.7.2.1"),
                                                                element(0x16, bytes(std::to_string(i)))))));
        if (parts.policies != 0)
            made.with("2.5.29.32", list.take());
        for (size_t i = 0; i < parts.points; i++)
            list.add(sequence(context(0, context(0, implicit(6, "http://" + std::to_string(i) + ".test/")))));
        if (parts.points != 0)
            made.with("2.5.29.31", list.take());
        if (depth == 0)
            return;
        // Each policy goes to the one beside it, and all to one: the graph is as wide as it can be.
        for (size_t i = 0; i < parts.policies; i++) {
            list.add(sequence(oid(policy(i)), oid(policy((i + 1) % parts.policies))));
            list.add(sequence(oid(policy(i)), oid(policy(0))));
        }
        if (parts.policies != 0)
            made.with("2.5.29.33", list.take(), true);
        std::vector<Bytes> permitted, excluded;
        for (size_t i = 0; i < parts.subtrees; i++) {
            permitted.push_back(dnsName(std::to_string(i) + ".test"));
            excluded.push_back(dnsName("x" + std::to_string(depth) + "." + std::to_string(i) + ".test"));
        }
        if (parts.subtrees != 0)
            made.withConstraints(permitted, excluded);
    };
    std::vector<Bytes> names = {dnsName("www.0.test")};
    for (size_t i = 0; i < parts.names; i++)
        names.push_back(dnsName("www." + std::to_string(i) + ".test"));
    std::vector<MadeCertificate> made = {madeLeaf(names)};
    for (size_t i = 0; i < parts.cas; i++)
        made.push_back(madeCa("CA " + std::to_string(i)));
    for (size_t depth = 0; depth < made.size(); depth++)
        addAll(made[depth], depth);
    made.push_back(madeCa("Root"));
    return MadeChain(made);
}

/// The time that all rules take. The standard ones accept the chain; the platform's know one subtree of a
/// list.
double secondsFor(MadeChain const& chain, bool checkCrls) {
    PathOptions options;
    options.hostName = "www.0.test";
    options.checkCrls = checkCrls;
    return secondsOf([&] {
        chain.explain(options);
        options.rules = PathRules::rfc5280 | PathRules::strict;
        PathExplanation const result = chain.explain(options);
        EXPECT_EQ(result.code, 0) << result.reason();
    });
}

void expectLinear(char const* what, MadeChain const& small, MadeChain const& large, bool checkCrls = false) {
    double least = secondsFor(small, checkCrls), most = secondsFor(large, checkCrls);
    // Of several measurements the fastest is the least disturbed.
    for (int round = 0; round < 2; round++) {
        least = std::min(least, secondsFor(small, checkCrls));
        most = std::min(most, secondsFor(large, checkCrls));
    }
    EXPECT_LT(most, maxGrowth * least + 0.02) << what << ": " << least << " s and " << most << " s";
}

/// A CRL of every CA of the chain, and one signed with another key beside each.
MadeChain withCrls(MadeChain chain) {
    PrivateKey const& key = test::madeKey(KeyType::Ed25519);
    for (auto const& certificate : chain.chain)
        for (PrivateKey const* signer : {&key, &test::madeKey(KeyType::EC)}) {
            auto crl = std::make_shared<X509Crl>();
            X509Crl made;
            made.issuer = certificate->subject;
            made.thisUpdate = TimePoint::fromSeconds(test::madeTime.seconds - 1000);
            made.nextUpdate = TimePoint::fromSeconds(test::madeTime.seconds + 1000);
            EXPECT_TRUE(made.sign(*signer));
            EXPECT_TRUE(crl->parse(asn1::blob(made.serialize()), nullptr, FormRules::standard));
            chain.store.crls.push_back(crl);
        }
    return chain;
}

TEST(HostileChain, TimeGrowsWithItsSizeAlone) {
    size_t const count = lessWhenSlow<size_t>(2000, 50);
    auto const expect = [&](char const* what, Parts const& small, Parts const& large) {
        expectLinear(what, hostile(small), hostile(large));
    };
    expect("policies", {.policies = count}, {.policies = growth * count});
    expect("names", {.names = count}, {.names = growth * count});
    expect("names and subtrees", {.names = count, .subtrees = count},
           {.names = growth * count, .subtrees = growth * count});
    expect("distribution points", {.points = count}, {.points = growth * count});
}

TEST(HostileChain, TimeGrowsWithItsLengthAlone) {
    size_t const count = lessWhenSlow<size_t>(100, 5);
    Parts const some{.policies = 20, .names = 20, .subtrees = 20, .cas = count};
    Parts longer = some;
    longer.cas *= growth;
    MadeChain const small = hostile(some), large = hostile(longer);
    expectLinear("certificates", small, large);
    expectLinear("CRLs", withCrls(small), withCrls(large), true);
}

} // namespace TEST_FILE
