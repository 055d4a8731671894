#include "sealkit/extend.h"

#include "asn1/oids.h"
#include "asn1/tags.h"
#include "sealkit/der.h"
#include "x509/extend.h"
#include "x509/key_usage.h"

#include <algorithm>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

/// GeneralSubtrees ::= SEQUENCE SIZE (1..MAX) OF SEQUENCE { base GeneralName }, tagged as `field`.
void addSubtrees(DerEncoder& to, unsigned field, std::vector<GeneralName> const& names) {
    if (names.empty())
        return;
    to.begin(field);
    for (GeneralName const& name : names)
        to.begin(tag::sequence).addEncoded(name.serialize()).end();
    to.end();
}

/// AccessDescription ::= SEQUENCE { accessMethod, accessLocation GeneralName }
void addAccess(DerEncoder& to, asn1::blob method, std::vector<std::string> const& addresses) {
    for (std::string const& address : addresses)
        to.begin(tag::sequence).addOid(method).add(tag::primitive(GeneralName::uri), address).end();
}

} // namespace

std::vector<unsigned char> detail::encodeNameConstraints(NameSubtrees const& subtrees) {
    if (subtrees.permitted.empty() && subtrees.excluded.empty())
        return {};
    DerEncoder to;
    to.begin(tag::sequence);
    addSubtrees(to, tag::constructed(0), subtrees.permitted);
    addSubtrees(to, tag::constructed(1), subtrees.excluded);
    return to.end().take();
}

void setNameConstraints(X509Certificate& to, NameSubtrees const& subtrees) {
    to.setExtension(oid::nameConstraints, true, detail::encodeNameConstraints(subtrees));
}

bool setExtendedKeyUsage(X509Certificate& to, unsigned usages,
                         std::span<std::vector<unsigned char> const> others, bool critical) {
    if (!detail::isNamedExtKeyUsage(usages))
        return false;
    std::vector<unsigned char> const named = detail::encodeExtKeyUsage(usages);
    ObjectIdentifiers all;
    if (!named.empty())
        parseExtendedKeyUsage(named, &all);
    for (asn1::blob const other : others)
        if (std::ranges::find(all.oids, other) == all.oids.end())
            all.oids.push_back(other);
    DerEncoder list;
    list.begin(tag::sequence);
    for (asn1::blob const each : all.oids)
        list.addOid(each);
    list.end();
    return to.setExtension(oid::extKeyUsage, critical,
                           all.oids.empty() ? asn1::blob() : asn1::blob(list.buf));
}

/// CertificatePolicies ::= SEQUENCE OF SEQUENCE { policyIdentifier, policyQualifiers SEQUENCE OF
/// SEQUENCE { policyQualifierId, qualifier IA5String } OPTIONAL }
void setCertificatePolicies(X509Certificate& to, std::span<CertificatePolicy const> policies) {
    DerEncoder list;
    list.begin(tag::sequence);
    for (CertificatePolicy const& policy : policies) {
        list.begin(tag::sequence).addOid(policy.oid);
        if (!policy.cpsUris.empty())
            list.begin(tag::sequence);
        for (std::string const& uri : policy.cpsUris)
            list.begin(tag::sequence).addOid(oid::cpsQualifier).add(tag::ia5String, uri).end();
        if (!policy.cpsUris.empty())
            list.end();
        list.end();
    }
    list.end();
    to.setExtension(oid::certificatePolicies, false, policies.empty() ? asn1::blob() : asn1::blob(list.buf));
}

void setAuthorityInfoAccess(X509Certificate& to, AuthorityInfoAccess const& access) {
    DerEncoder list;
    list.begin(tag::sequence);
    addAccess(list, oid::ocsp, access.ocsp);
    addAccess(list, oid::caIssuers, access.caIssuers);
    list.end();
    bool const isEmpty = access.ocsp.empty() && access.caIssuers.empty();
    to.setExtension(oid::authorityInfoAccess, false, isEmpty ? asn1::blob() : asn1::blob(list.buf));
}

void setOcspNoCheck(X509Certificate& to, bool isSet) {
    DerEncoder null;
    null.addNull();
    to.setExtension(oid::ocspNoCheck, false, isSet ? asn1::blob(null.buf) : asn1::blob());
}

void dropTimestamps(X509Certificate& of) { of.setExtension(oid::signedCertificateTimestamps, false, {}); }
