#include "sealkit/search.h"

#include "rules/reference.h"
#include "targets.h"

#include <iostream>

namespace {

template <class Object>
std::shared_ptr<Object> read(fuzz::model::Bytes const& der) {
    auto object = std::make_shared<Object>();
    bool const isRead = object->parse(asn1::blob(der), nullptr, FormRules::standard);
    SEALKIT_ASSERT(isRead);
    return object;
}

/// Codes of revocation count as one, because the number and order of CRL look-ups differ.
PathCode classOf(int code) {
    auto const known = static_cast<PathCode>(code);
    return known == PathCode::crlMissing || known == PathCode::revocationUndetermined ? PathCode::revoked
                                                                                      : known;
}

PathOptions optionsOf(fuzz::model::Case const& asked) {
    PathOptions options;
    options.now = fuzz::model::now();
    options.hostName = asked.host;
    options.email = asked.email;
    if (!asked.address.empty()) {
        GeneralName address;
        address.type = GeneralName::ipAddress;
        address.data.assign(asked.address.begin(), asked.address.end());
        options.address = address.getIp();
    }
    options.purpose = asked.purpose;
    options.checkCrls = asked.checkCrls;
    options.checkLeafCrlOnly = asked.checkLeafCrlOnly;
    for (unsigned const policy : asked.policies)
        options.policies.push_back(fuzz::model::policyOid(policy));
    options.requirePolicy = asked.requirePolicy;
    options.inhibitPolicyMapping = asked.inhibitPolicyMapping;
    options.inhibitAnyPolicy = asked.inhibitAnyPolicy;
    options.rules = PathRules::rfc5280;
    return options;
}

/// The code must be that of a broken rule, and 0 if no rule is broken.
void compare(char const* rules, PathExplanation const& found, PathCode code,
             std::set<PathCode> const& broken) {
    bool const isSame = code == PathCode::valid ? broken.empty() : broken.contains(code);
    if (isSame)
        return;
    std::cerr << rules << ": found " << found.code << " (" << found.reason() << ") at " << found.depth
              << ", expected";
    for (PathCode const each : broken)
        std::cerr << ' ' << static_cast<int>(each);
    for (Fact const& fact : found.facts)
        std::cerr << "\n  " << fact.label << ": " << fact.value;
    std::cerr << '\n';
    SEALKIT_ASSERT(isSame);
}

} // namespace

/// The input chooses a chain with CRLs. Under the rules of RFC 5280, the library accepts it if a simple
/// reference does, and otherwise refuses it for a rule that the reference finds broken. The same holds for
/// the strict rules.
void fuzz::rules(asn1::blob input) {
    model::Case const asked = model::generate(input);
    CertificateChain chain;
    CertificateMemoryStore store;
    for (model::Certificate const& certificate : asked.chain)
        chain.push_back(read<X509Certificate>(model::encode(certificate)));
    for (model::Crl const& crl : asked.crls)
        store.crls.push_back(read<X509Crl>(model::encode(crl)));
    store.certs.push_back(chain.back());

    model::Judgement const expected = model::judge(asked);
    PathOptions options = optionsOf(asked);
    PathExplanation const found = x509ExplainPath(chain, store, options);
    if (!expected.isOpen)
        compare("RFC 5280", found, classOf(found.code), expected.broken);

    options.rules = PathRules::strict;
    PathExplanation const strict = x509ExplainPath(chain, store, options);
    if (found.code == 0)
        compare("strict", strict, static_cast<PathCode>(strict.code), expected.brokenStrictly);
    else
        SEALKIT_ASSERT(strict.code == found.code);
}
