// Chains of which every field can be given as it is wanted, for the rules of RFC 5280.
#pragma once

#include "chains.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"
#include "sealkit/signature.h"
#include "support/der.h"
#include "support/rngs.h"

#include <gtest/gtest.h>

namespace test {

/// A name with one attribute, commonName, which has this value.
inline der::Bytes nameOf(der::Bytes const& value) {
    return der::sequence(der::set(der::sequence(der::oid("2.5.4.3"), value)));
}
inline der::Bytes nameOf(std::string_view text) { return nameOf(der::utf8String(text)); }

inline Ed25519PrivateKey const& chainKey() {
    static auto const key = [] {
        Ed25519PrivateKey made;
        made.initPrivate(std::vector<unsigned char>(32, 9));
        return made;
    }();
    return key;
}

/// One certificate of a chain, valid from 2020 to 2040.
struct Link {
    der::Bytes subject;
    std::vector<std::pair<std::string, der::Bytes>>
        extensions;         ///< Each the whole element, by its identifier.
    der::Bytes issuer = {}; ///< The subject of the next, unless it is given.
    unsigned char version = 3;
    PrivateKey const* key = &chainKey(); ///< Its own.
    der::Bytes algorithm = der::algorithm("1.3.101.112");
    /// Signs under the issuer's key.
    der::Bytes (*sign)(PrivateKey const& key, der::Bytes const& tbs) = [](PrivateKey const& signer,
                                                                          der::Bytes const& tbs) {
        return signMessage(signer, HashID::none, tbs);
    };

    Link& with(std::string const& oid, der::Bytes const& value, bool critical = false) {
        std::erase_if(extensions, [&](auto const& each) { return each.first == oid; });
        extensions.emplace_back(oid, der::extension(oid, value, critical));
        return *this;
    }
    Link& withPathLength(unsigned char length) {
        return with("2.5.29.19", der::sequence(der::boolean(true), der::integer(length)), true);
    }
    Link& withPolicies(std::vector<std::string> const& policies) {
        der::Bytes all;
        for (std::string const& policy : policies)
            all = der::join({all, der::sequence(der::oid(policy))});
        return with("2.5.29.32", der::sequence(all));
    }
    Link& withMapping(std::string_view from, std::string_view to) {
        return with("2.5.29.33", der::sequence(der::sequence(der::oid(from), der::oid(to))));
    }
    Link& withPurposes(std::vector<std::string> const& purposes, bool critical = false) {
        der::Bytes all;
        for (std::string const& purpose : purposes)
            all = der::join({all, der::oid(purpose)});
        return with("2.5.29.37", der::sequence(all), critical);
    }
};

inline Link leafLink(std::string_view name = "Leaf") { return {nameOf(name), {}}; }
inline Link caLink(std::string_view name) {
    Link ca{nameOf(name), {}};
    return ca.with("2.5.29.19", der::sequence(der::boolean(true)), true);
}

inline std::shared_ptr<X509Certificate> make(Link const& link, Link const& issuer) {
    X509Certificate holder;
    holder.setPublicKey(*link.key->publicKey());
    std::vector<der::Bytes> extensions;
    for (auto const& [oid, extension] : link.extensions)
        extensions.push_back(extension);
    bool const isVersion3 = link.version == 3;
    der::Bytes const tbs = der::sequence(
        link.version > 1 ? der::context(0, der::integer(static_cast<unsigned char>(link.version - 1)))
                         : der::Bytes(),
        der::integer(7), link.algorithm, link.issuer.empty() ? issuer.subject : link.issuer,
        der::sequence(der::utcTime("200101000000Z"), der::utcTime("400101000000Z")), link.subject,
        holder.subjectPublicKeyInfo,
        isVersion3 && !extensions.empty() ? der::context(3, der::sequence(der::join(extensions)))
                                          : der::Bytes());
    auto certificate = std::make_shared<X509Certificate>();
    Refusal refusal;
    der::Bytes const whole = der::sequence(tbs, link.algorithm, der::bitString(link.sign(*issuer.key, tbs)));
    EXPECT_TRUE(certificate->parse(whole, &refusal, FormRules::standard)) << refusal.str();
    return certificate;
}

/// Certificates that sign each other from the right to the left; the last is its own issuer, and trusted.
struct LinkedChain {
    LinkedChain(std::vector<Link> const& links) {
        for (size_t i = 0; i < links.size(); i++)
            chain.push_back(make(links[i], links[i + 1 < links.size() ? i + 1 : i]));
        store.certs = {chain.back()};
    }

    PathExplanation explain(PathOptions options = {}) const {
        options.now = storyTime;
        if (options.rules == PathRules::platform)
            options.rules = PathRules::rfc5280;
        return x509ExplainPath(chain, store, options);
    }
    PathCode code(PathOptions const& options = {}) const {
        return static_cast<PathCode>(explain(options).code);
    }

    CertificateChain chain;
    CertificateMemoryStore store;
};

} // namespace test
