// The Public Key Interoperability Test Suite: each case of tests/vectors/x509/pkits.txt is a test of its own.
// Certificates and CRLs are those of an installed package.
#include "sealkit/oid_names.h"
#include "sealkit/search.h"
#include "support/vectors.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace TEST_FILE {

constexpr char suiteFolder[] = "/usr/lib/python3/dist-packages/cryptography_vectors/x509/PKITS_data/";

/// 2015-01-01 00:00:00: what the suite means to be valid is valid from 2010 or 2011 to 2030.
constexpr TimePoint suiteTime = TimePoint::fromSeconds(1420070400);

std::string readFile(std::string const& name) {
    std::ifstream file(suiteFolder + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A certificate or CRL of the suite as the standard rules read it. Each file is read once.
template <typename Object>
std::shared_ptr<Object> read(std::string const& name) {
    static std::map<std::string, std::shared_ptr<Object>> objects;
    auto& object = objects[name];
    if (object)
        return object;
    object = std::make_shared<Object>();
    std::string const der = readFile(name);
    Refusal refusal;
    if (!object->parse(asn1::blob(der), &refusal, FormRules::standard))
        throw std::runtime_error(name + ": " + refusal.str());
    return object;
}

std::vector<std::string> words(test::Case const& c, std::string_view field) {
    std::istringstream text(c.has(field) ? c.text(field) : std::string());
    return {std::istream_iterator<std::string>(text), {}};
}

CertificateMemoryStore const& trustAnchor() {
    static CertificateMemoryStore const store = [] {
        CertificateMemoryStore made;
        made.certs = {read<X509Certificate>("certs/TrustAnchorRootCertificate.crt")};
        return made;
    }();
    return store;
}

PathOptions question(test::Case const& c) {
    PathOptions options;
    options.now = suiteTime;
    options.checkCrls = true;
    options.rules = PathRules::platform | PathRules::rfc5280;
    for (std::string const& number : words(c, "policies"))
        options.policies.push_back(parseOid("2.16.840.1.101.3.2.1.48." + number));
    for (std::string const& setting : words(c, "settings")) {
        if (setting == "explicit")
            options.requirePolicy = true;
        else if (setting == "inhibit-mapping")
            options.inhibitPolicyMapping = true;
        else if (setting == "inhibit-any")
            options.inhibitAnyPolicy = true;
        else
            throw std::runtime_error("unknown setting " + setting);
    }
    return options;
}

std::string show(PathExplanation const& explanation) {
    std::string text = std::string(findPathCode(explanation.code)->name) + " at " +
                       std::to_string(explanation.depth) + ", " + explanation.subject;
    for (Fact const& fact : explanation.facts)
        text += "\n  " + fact.label + ": " + fact.value;
    return text;
}

bool tellsDsa(PathExplanation const& explanation) {
    return explanation.code == static_cast<int>(PathCode::algorithmMismatch) && !explanation.facts.empty() &&
           explanation.facts.front().value.find("DSA") != std::string::npos;
}

void checkPath(test::Case const& c) {
    PathSearch search(trustAnchor());
    for (std::string const& name : words(c, "certificates"))
        search.addCertificates({read<X509Certificate>("certs/" + name + ".crt")});
    search.addCrls({read<X509Crl>("crls/TrustAnchorRootCRL.crl")});
    for (std::string const& name : words(c, "crls"))
        search.addCrls({read<X509Crl>("crls/" + name + ".crl")});
    bool const isValid = c.text("expected") == "valid";
    EXPECT_EQ(c.text("expected"), isValid ? "valid" : "invalid");

    std::shared_ptr<X509Certificate> const leaf = read<X509Certificate>("certs/" + c.text("leaf") + ".crt");
    PathVerdict const verdict = search.find(leaf, question(c));
    ASSERT_EQ(verdict.byRules.size(), 2u);
    EXPECT_EQ(verdict.limit, SearchLimit::none);

    PathExplanation const& platform = verdict.byRules[0].explanation;
    EXPECT_EQ(platform.rules, PathRules::platform);
    EXPECT_EQ(platform.code, static_cast<int>(c.number("platform"))) << show(platform);
    c.expectAgreement((platform.code == 0) == isValid);

    PathExplanation const& standard = verdict.byRules[1].explanation;
    EXPECT_EQ(standard.rules, PathRules::rfc5280);
    EXPECT_EQ(standard.code, static_cast<int>(c.number("rfc5280"))) << show(standard);
    if (c.id() == "4.1.4" || c.id() == "4.1.5")
        EXPECT_TRUE(tellsDsa(standard)) << show(standard);
    else
        EXPECT_EQ(standard.code == 0, isValid) << show(standard);

    // What is refused by RFC 5280 is refused strictly, for the same reason: the strict rules come last.
    PathOptions strictly = question(c);
    strictly.rules = PathRules::strict;
    PathExplanation const strict = search.find(leaf, strictly).explanation;
    if (standard.code != 0) {
        EXPECT_EQ(strict.code, standard.code) << show(strict);
    } else {
        EXPECT_TRUE(strict.code == 0 || strict.code >= static_cast<int>(PathCode::weakSignatureHash))
            << show(strict);
    }
}

bool isInstalled() { return std::filesystem::is_directory(suiteFolder); }

TEST(Pkits, IsInstalled) {
    if (!isInstalled())
        GTEST_SKIP() << "python3-cryptography-vectors is not installed: the tests of PKITS are left out";
}

/// As `TEST_CASES` does, but without a test for each case where nothing can be tested.
[[maybe_unused]] bool const areDeclared =
    isInstalled() && test::declareCases("Pkits", "Paths", {"x509/pkits.txt"}, checkPath, __FILE__, __LINE__);

} // namespace TEST_FILE
