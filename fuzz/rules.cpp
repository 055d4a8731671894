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

/// Those of one answer count as one: how often a CRL is asked, and in which order, differs.
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

} // namespace

/// A chain with CRLs that the bytes choose: the library accepts it under the rules of RFC 5280 where a plain reference of
/// them does, and what it refuses it for is one of the rules that the reference finds broken.
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
    PathExplanation const found = x509ExplainPath(chain, store, optionsOf(asked));
    bool const isSame =
        found.code == 0 ? expected.broken.empty() : expected.broken.contains(classOf(found.code));
    if (isSame || expected.isOpen)
        return;
    std::cerr << "found " << found.code << " (" << found.reason() << ") at " << found.depth << ", expected";
    for (PathCode const code : expected.broken)
        std::cerr << ' ' << static_cast<int>(code);
    std::cerr << '\n';
    SEALKIT_ASSERT(isSame);
}
