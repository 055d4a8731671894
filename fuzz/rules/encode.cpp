#include "model.h"
#include "sealkit/keys.h"

#include "support/der.h"

#include <array>
#include <map>
#include <string>
#include <utility>

namespace fuzz::model {

namespace {

namespace der = test::der;

constexpr unsigned keyCount = 8;

Ed25519PrivateKey const& getKey(unsigned number) {
    static std::array<Ed25519PrivateKey, keyCount> const keys = [] {
        std::array<Ed25519PrivateKey, keyCount> made;
        unsigned char seed = 0;
        for (Ed25519PrivateKey& key : made)
            key.initPrivate(Bytes(32, ++seed));
        return made;
    }();
    return keys[number % keyCount];
}

/// Caches signatures, because a fuzzer changes little at a time and most objects recur.
Bytes sign(unsigned key, Bytes const& signedBytes) {
    static std::map<std::pair<unsigned, Bytes>, Bytes> known;
    constexpr size_t maxKnown = 4096;
    if (known.size() >= maxKnown)
        known.clear();
    Bytes& signature = known[{key, signedBytes}];
    if (signature.empty())
        signature = getKey(key).sign(signedBytes);
    return signature;
}

Bytes ed25519() { return der::algorithm("1.3.101.112"); }

Bytes signedObject(unsigned key, Bytes const& signedBytes) {
    return der::sequence(signedBytes, ed25519(), der::bitString(sign(key, signedBytes)));
}

Bytes nameOf(Name const& name) {
    Bytes content;
    for (Attribute const& attribute : name)
        content = der::join(
            {content, der::set(der::sequence(der::oid(attribute.oid),
                                             der::element(attribute.tag, der::bytes(attribute.value))))});
    return der::sequence(content);
}

Bytes generalName(GeneralName const& name) {
    switch (name.kind) {
    case Kind::directory:
        return der::context(4, nameOf(name.directory));
    case Kind::registeredId:
        return der::implicit(8, Bytes{0x2A, 0x03});
    default:
        return der::implicit(static_cast<unsigned>(name.kind), name.text);
    }
}

Bytes generalNames(std::vector<GeneralName> const& names) {
    Bytes content;
    for (GeneralName const& name : names)
        content = der::join({content, generalName(name)});
    return content;
}

/// A moment in June 2025.
Bytes timeOf(int day) {
    std::string const date = std::to_string(250615 + day);
    return der::utcTime(date + "120000Z");
}

/// A named bit list: bit 0 comes first, without trailing zeros.
Bytes bitList(unsigned bits) {
    Bytes octets;
    unsigned highest = 0;
    for (unsigned bit = 0; bit < 16; bit++) {
        if ((bits >> bit & 1) == 0)
            continue;
        octets.resize(bit / 8 + 1);
        octets[bit / 8] = static_cast<unsigned char>(octets[bit / 8] | 0x80u >> bit % 8);
        highest = bit;
    }
    return der::join({{static_cast<unsigned char>(7 - highest % 8)}, octets});
}

Bytes keyId(unsigned key) { return {0x4B, static_cast<unsigned char>(key)}; }

Bytes number(unsigned value) { return der::integer(static_cast<unsigned char>(value)); }
/// [tag] IMPLICIT INTEGER.
Bytes number(unsigned tag, unsigned value) {
    return der::implicit(tag, Bytes{static_cast<unsigned char>(value)});
}

Bytes subtrees(unsigned tag, std::vector<GeneralName> const& bases) {
    Bytes content;
    for (GeneralName const& base : bases)
        content = der::join({content, der::sequence(generalName(base))});
    return bases.empty() ? Bytes() : der::context(tag, content);
}

Bytes distributionPointName(std::vector<GeneralName> const& names) {
    return names.empty() ? Bytes() : der::context(0, der::context(0, generalNames(names)));
}

Bytes reasonFlags(unsigned tag, unsigned reasons) {
    return reasons == 0 ? Bytes() : der::implicit(tag, bitList(reasons));
}

Bytes distributionPoints(std::vector<DistributionPoint> const& points) {
    Bytes content;
    for (DistributionPoint const& point : points) {
        Bytes issuer;
        if (point.crlIssuer)
            issuer = der::context(2, der::context(4, nameOf(*point.crlIssuer)));
        content = der::join({content, der::sequence(distributionPointName(point.names),
                                                    reasonFlags(1, point.reasons), issuer)});
    }
    return der::sequence(content);
}

Bytes purposes(unsigned bits) {
    static constexpr std::array<char const*, 5> oids = {
        "1.3.6.1.5.5.7.3.1", "1.3.6.1.5.5.7.3.2", "1.3.6.1.5.5.7.3.4", "1.3.6.1.5.5.7.3.3", "2.5.29.37.0"};
    Bytes content;
    for (unsigned bit = 0; bit < oids.size(); bit++)
        if ((bits >> bit & 1) != 0)
            content = der::join({content, der::oid(oids[bit])});
    return der::sequence(content);
}

Bytes policyElement(unsigned policy) { return der::element(0x06, policyOid(policy)); }

Bytes policyExtensions(Certificate const& certificate) {
    Bytes all, policies, mappings;
    for (unsigned const policy : certificate.policies)
        policies = der::join({policies, der::sequence(policyElement(policy))});
    for (PolicyMapping const& mapping : certificate.mappings)
        mappings =
            der::join({mappings, der::sequence(policyElement(mapping.from), policyElement(mapping.to))});
    if (!policies.empty())
        all = der::extension("2.5.29.32", der::sequence(policies));
    if (!mappings.empty())
        all = der::join({all, der::extension("2.5.29.33", der::sequence(mappings), true)});
    auto const& require = certificate.requireExplicitPolicy;
    auto const& inhibit = certificate.inhibitPolicyMapping;
    if (require || inhibit)
        all = der::join({all, der::extension("2.5.29.36",
                                             der::sequence(require ? number(0, *require) : Bytes(),
                                                           inhibit ? number(1, *inhibit) : Bytes()),
                                             true)});
    if (certificate.inhibitAnyPolicy)
        all = der::join({all, der::extension("2.5.29.54", number(*certificate.inhibitAnyPolicy), true)});
    return all;
}

Bytes unknownExtension() { return der::extension("1.2.3.4.5", der::null(), true); }

Bytes authorityKeyId(unsigned key) {
    return der::extension("2.5.29.35", der::sequence(der::implicit(0, keyId(key))));
}

Bytes extensions(Certificate const& certificate) {
    std::vector<Bytes> all;
    if (certificate.isCa)
        all.push_back(
            der::extension("2.5.29.19",
                           der::sequence(*certificate.isCa ? der::boolean(true) : Bytes(),
                                         certificate.pathLength ? number(*certificate.pathLength) : Bytes()),
                           true));
    if (certificate.keyUsage != 0)
        all.push_back(der::extension("2.5.29.15", der::element(0x03, bitList(certificate.keyUsage)), true));
    if (certificate.purposes != 0)
        all.push_back(der::extension("2.5.29.37", purposes(certificate.purposes)));
    if (certificate.subjectKeyId)
        all.push_back(der::extension("2.5.29.14", der::octetString(keyId(*certificate.subjectKeyId))));
    if (certificate.authorityKeyId)
        all.push_back(authorityKeyId(*certificate.authorityKeyId));
    if (!certificate.names.empty())
        all.push_back(der::extension("2.5.29.17", der::sequence(generalNames(certificate.names)),
                                     certificate.subject.empty()));
    if (!certificate.permitted.empty() || !certificate.excluded.empty())
        all.push_back(der::extension(
            "2.5.29.30", der::sequence(subtrees(0, certificate.permitted), subtrees(1, certificate.excluded)),
            true));
    all.push_back(policyExtensions(certificate));
    if (!certificate.points.empty())
        all.push_back(der::extension("2.5.29.31", distributionPoints(certificate.points)));
    if (certificate.hasUnknownCritical)
        all.push_back(unknownExtension());
    Bytes const content = der::join(all);
    return content.empty() ? Bytes() : der::context(3, der::sequence(content));
}

Bytes flag(unsigned tag, bool value) { return value ? der::implicit(tag, Bytes{0xFF}) : Bytes(); }

Bytes scope(Crl const& crl) {
    return der::sequence(distributionPointName(crl.pointNames), flag(1, crl.onlyUser), flag(2, crl.onlyCa),
                         reasonFlags(3, crl.reasons), flag(4, crl.isIndirect), flag(5, crl.onlyAttribute));
}

Bytes entry(Revoked const& revoked) {
    Bytes content;
    if (revoked.reason)
        content = der::extension("2.5.29.21", der::enumerated({static_cast<unsigned char>(*revoked.reason)}));
    if (revoked.certificateIssuer)
        content = der::join(
            {content,
             der::extension("2.5.29.29", der::sequence(der::context(4, nameOf(*revoked.certificateIssuer))),
                            true)});
    return der::sequence(number(revoked.serialNumber), timeOf(-5),
                         content.empty() ? Bytes() : der::sequence(content));
}

} // namespace

Bytes policyOid(unsigned policy) {
    return policy == 0 ? Bytes{0x55, 0x1D, 0x20, 0x00}
                       : Bytes{0x2A, 0x03, static_cast<unsigned char>(policy)};
}

TimePoint now() {
    return TimePoint::fromSeconds(1749988800); // 15 June 2025, 12:00.
}

Bytes encode(Certificate const& certificate) {
    Bytes const version = certificate.version == 3 ? der::context(0, number(2)) : Bytes();
    Bytes const keyInfo = der::sequence(ed25519(), der::bitString(getKey(certificate.key).pub));
    return signedObject(
        certificate.signer,
        der::sequence(version, number(certificate.serialNumber), ed25519(), nameOf(certificate.issuer),
                      der::sequence(timeOf(certificate.notBefore), timeOf(certificate.notAfter)),
                      nameOf(certificate.subject), keyInfo,
                      certificate.version == 3 ? extensions(certificate) : Bytes()));
}

Bytes encode(Crl const& crl) {
    Bytes entries;
    for (Revoked const& revoked : crl.entries)
        entries = der::join({entries, entry(revoked)});
    Bytes content = der::extension("2.5.29.20", number(crl.number));
    if (crl.authorityKeyId)
        content = der::join({content, authorityKeyId(*crl.authorityKeyId)});
    if (crl.deltaBase)
        content = der::join({content, der::extension("2.5.29.27", number(*crl.deltaBase), true)});
    if (crl.hasScope)
        content = der::join({content, der::extension("2.5.29.28", scope(crl), true)});
    if (crl.hasUnknownCritical)
        content = der::join({content, unknownExtension()});
    return signedObject(crl.signer,
                        der::sequence(number(1), ed25519(), nameOf(crl.issuer), timeOf(crl.thisUpdate),
                                      crl.nextUpdate ? timeOf(*crl.nextUpdate) : Bytes(),
                                      entries.empty() ? Bytes() : der::sequence(entries),
                                      der::context(0, der::sequence(content))));
}

} // namespace fuzz::model
