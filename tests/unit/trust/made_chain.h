// Chains for the standard rules, made of DER element by element, so that every extension can be given as it
// is wanted.
#pragma once

#include "sealkit/oid.h"
#include "sealkit/path.h"
#include "sealkit/pem.h"
#include "sealkit/signature.h"
#include "support/der.h"
#include "support/rngs.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

/// The time that made chains are asked at: 2025-06-01 12:00:00.
inline constexpr TimePoint madeTime = TimePoint::fromSeconds(1748779200);

inline der::Bytes named(std::string_view commonName) { return der::name({{"2.5.4.3", commonName}}); }
/// With the whole value.
inline der::Bytes named(der::Bytes const& commonName) {
    return der::sequence(der::set(der::sequence(der::oid("2.5.4.3"), commonName)));
}

/// The key of a type that signs made certificates; that of RSA has 1024 bits.
inline PrivateKey const& madeKey(KeyType type) {
    static auto const ed25519 = [] {
        Ed25519PrivateKey key;
        key.initPrivate(std::vector<unsigned char>(32, 7));
        return key;
    }();
    static auto const ec = [] {
        EcPrivateKey key;
        key.curve = Curve::p256;
        SeededRng rng(1);
        key.generatePrivKey(rng);
        return key;
    }();
    static auto const rsa =
        readPrivateKeyFromFile(SEALKIT_TEST_DATA "/vectors/pkcs/keys/rsa1024.key", std::string());
    switch (type) {
    case KeyType::RSA:
        return *rsa;
    case KeyType::EC:
        return ec;
    default:
        return ed25519;
    }
}

inline der::Bytes keyInfoOf(PublicKey const& key) {
    X509Certificate holder;
    holder.setPublicKey(key);
    return holder.subjectPublicKeyInfo;
}

/// A certificate that is to be made.
struct MadeCertificate {
    struct Extension {
        std::string oid;
        der::Bytes value;
        bool critical = false;
    };

    der::Bytes subject;
    std::vector<Extension> extensions;
    der::Bytes serialNumber = {1};
    der::Bytes keyInfo; ///< Of the key that signs in its chain, unless another is given.
    bool namesIssuerKey =
        true; ///< By an authority key identifier, where the issuer has a subject key identifier.
    HashID hash = HashID::SHA256; ///< Of its signature by RSA or ECDSA.
    der::Bytes issuer;            ///< Unless it is empty, in the place of the issuer's subject.
    unsigned char version = 3;
    PrivateKey const* key = nullptr; ///< Its own, unless it is null: that of the chain.
    /// Unless they are empty, the algorithm and how it signs under the issuer's key.
    der::Bytes algorithm;
    der::Bytes (*signIn)(PrivateKey const& key, der::Bytes const& tbs) = nullptr;

    /// Adds an extension in the place of one with the same identifier.
    MadeCertificate& with(std::string const& oid, der::Bytes value, bool critical = false) {
        without(oid);
        extensions.push_back({oid, std::move(value), critical});
        return *this;
    }

    MadeCertificate& without(std::string_view oid) {
        std::erase_if(extensions, [&](Extension const& extension) { return extension.oid == oid; });
        return *this;
    }

    MadeCertificate& withNames(std::vector<der::Bytes> const& names, bool critical = false) {
        return with("2.5.29.17", der::sequence(der::join(names)), critical);
    }

    MadeCertificate& withPathLength(unsigned char length) {
        return with("2.5.29.19", der::sequence(der::boolean(true), der::integer(length)), true);
    }

    MadeCertificate& withPolicies(std::vector<std::string> const& policies) {
        der::Bytes all;
        for (std::string const& policy : policies)
            all = der::join({all, der::sequence(der::oid(policy))});
        return with("2.5.29.32", der::sequence(all));
    }

    MadeCertificate& withMapping(std::string_view from, std::string_view to) {
        return with("2.5.29.33", der::sequence(der::sequence(der::oid(from), der::oid(to))));
    }

    MadeCertificate& withPurposes(std::vector<std::string> const& purposes, bool critical = false) {
        der::Bytes all;
        for (std::string const& purpose : purposes)
            all = der::join({all, der::oid(purpose)});
        return with("2.5.29.37", der::sequence(all), critical);
    }

    MadeCertificate& withConstraints(std::vector<der::Bytes> const& permitted,
                                     std::vector<der::Bytes> const& excluded) {
        auto const subtrees = [](unsigned field, std::vector<der::Bytes> const& names) {
            der::Bytes all;
            for (der::Bytes const& name : names) {
                der::Bytes const subtree = der::sequence(name);
                all.insert(all.end(), subtree.begin(), subtree.end());
            }
            return names.empty() ? der::Bytes() : der::context(field, all);
        };
        return with("2.5.29.30", der::sequence(subtrees(0, permitted), subtrees(1, excluded)), true);
    }
};

/// Without extensions.
inline MadeCertificate bareLeaf(std::string_view commonName = "Leaf") {
    MadeCertificate made;
    made.subject = named(commonName);
    return made;
}

/// With no more than makes it a CA.
inline MadeCertificate bareCa(std::string_view commonName) {
    return bareLeaf(commonName).with("2.5.29.19", der::sequence(der::boolean(true)), true);
}

/// Names of both kinds of certificates fit the strict rules.
inline MadeCertificate madeCa(std::string_view commonName) {
    MadeCertificate made = bareCa(commonName);
    made.with("2.5.29.15", der::bitString({0x06}, 1), true)
        .with("2.5.29.14", der::octetString(der::bytes(commonName)));
    return made;
}

inline MadeCertificate madeLeaf(std::vector<der::Bytes> const& names) {
    return bareLeaf().withNames(names).withPurposes({"1.3.6.1.5.5.7.3.1"});
}

inline der::Bytes dnsName(std::string_view name) { return der::implicit(2, name); }

/// Signs the certificates, each by the next; the last is its own issuer, and trusted.
struct MadeChain {
    explicit MadeChain(std::vector<MadeCertificate> const& made, KeyType keys = KeyType::Ed25519) {
        for (size_t i = 0; i < made.size(); i++)
            chain.push_back(sign(made[i], made[i + 1 < made.size() ? i + 1 : i], keys));
        store.certs = {chain.back()};
    }

    PathExplanation explain(PathOptions options) const {
        options.now = madeTime;
        return x509ExplainPath(chain, store, options);
    }

    /// By the standard rules, unless the options name others than the platform's.
    PathExplanation explainStandard(PathOptions options = {}) const {
        if (options.rules == PathRules::platform)
            options.rules = PathRules::rfc5280;
        return explain(options);
    }
    PathCode code(PathOptions const& options = {}) const {
        return static_cast<PathCode>(explainStandard(options).code);
    }

    CertificateChain chain;
    CertificateMemoryStore store;

private:
    static std::shared_ptr<X509Certificate> sign(MadeCertificate const& made, MadeCertificate const& issuer,
                                                 KeyType type) {
        PrivateKey const& key = issuer.key != nullptr ? *issuer.key : madeKey(type);
        HashID const hash = type == KeyType::Ed25519 ? HashID::none : made.hash;
        asn1::blob const oid = getKeyInfoFromKeyHash(type, hash);
        der::Bytes algorithm = made.algorithm;
        if (algorithm.empty()) // The library signs nothing over MD5 and names no such algorithm.
            algorithm = hash == HashID::MD5 ? der::algorithm("1.2.840.113549.1.1.4", der::null())
                                            : der::sequence(der::element(0x06, {oid.begin(), oid.end()}));
        der::Bytes extensions;
        if (made.namesIssuerKey)
            for (auto const& extension : issuer.extensions)
                if (extension.oid == "2.5.29.14")
                    extensions = der::extension(
                        "2.5.29.35", der::sequence(der::implicit(
                                         0, der::Bytes(extension.value.begin() + 2, extension.value.end()))));
        for (auto const& extension : made.extensions)
            extensions =
                der::join({extensions, der::extension(extension.oid, extension.value, extension.critical)});
        bool const hasExtensions = made.version == 3 && !extensions.empty();
        auto const version = static_cast<unsigned char>(made.version - 1);
        der::Bytes const tbs = der::sequence(
            version > 0 ? der::context(0, der::integer(version)) : der::Bytes(),
            der::integer(made.serialNumber), algorithm, made.issuer.empty() ? issuer.subject : made.issuer,
            der::sequence(der::utcTime("200101000000Z"), der::utcTime("400101000000Z")), made.subject,
            made.keyInfo.empty() ? keyInfoOf(made.key != nullptr ? *made.key : madeKey(type)) : made.keyInfo,
            hasExtensions ? der::context(3, der::sequence(extensions)) : der::Bytes());
        auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key);
        der::Bytes const signature = made.signIn != nullptr ? made.signIn(key, tbs)
                                     : rsa != nullptr       ? rsa->signHashed(hash, calcDigest(hash, tbs))
                                                            : signMessage(key, hash, tbs);
        auto certificate = std::make_shared<X509Certificate>();
        Refusal refusal;
        EXPECT_TRUE(certificate->parse(der::sequence(tbs, algorithm, der::bitString(signature)), &refusal,
                                       FormRules::standard))
            << refusal.str();
        return certificate;
    }
};

} // namespace test
