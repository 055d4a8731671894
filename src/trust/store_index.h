// Look-ups in a `CertificateMemoryStore` of many objects. The store has no member for the index: its layout
// is settled.
#pragma once

#include "sealkit/store.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace detail {

/// The positions of objects in a vector by hashes, each hash with its positions in ascending order.
class PositionsByHash {
public:
    static constexpr std::uint32_t none = UINT32_MAX;

    void clear();
    /// Appends the next position.
    void add(size_t hash);
    std::uint32_t first(size_t hash) const;
    std::uint32_t next(std::uint32_t position) const { return following[position]; }

private:
    /// The positions of one hash. A place is free if `first` is `none`.
    struct Place {
        size_t hash = 0;
        std::uint32_t first = none;
        std::uint32_t last = none;
    };

    Place& findPlace(size_t hash);
    void grow();

    std::vector<Place> places; ///< Open addressing; at least half of them are free.
    size_t used = 0;
    std::vector<std::uint32_t> following; ///< By position.
};

/// The number of objects up to which a store is read through.
inline constexpr size_t maxUnindexed = 64;

/// What `CertificateMemoryStore` looks for. Objects that only the standard rules support are not there for
/// the platform's.
inline bool isMatch(X509Certificate const& certificate, DistinguishedName const& subject, asn1::blob keyId) {
    return (keyId.empty() || asn1::blob(certificate.subjectKeyId) == keyId) &&
           certificate.subject == subject && certificate.platformRefusal() == nullptr;
}
inline bool isMatch(X509Crl const& crl, DistinguishedName const& issuer) {
    return crl.issuer == issuer && crl.platformRefusal() == nullptr;
}

/// The first certificate of `store.certs`, or CRL of `store.crls`, that matches as `CertificateMemoryStore`
/// says. For stores of more than `maxUnindexed`. Any number of threads may ask at once: a lock is taken where
/// objects were appended.
std::shared_ptr<X509Certificate> findByIndex(CertificateMemoryStore const& store,
                                             DistinguishedName const& subject, asn1::blob keyId);
std::shared_ptr<X509Crl> findByIndex(CertificateMemoryStore const& store, DistinguishedName const& issuer);

/// The positions of every certificate of the store with this subject, in ascending order.
std::vector<size_t> positionsNamed(CertificateMemoryStore const& store, DistinguishedName const& subject);

/// Every certificate of the store with this subject, those that only the standard rules support included. A
/// store that does not list what it holds names one with the key identifier, and one by the name alone.
std::vector<std::shared_ptr<X509Certificate>> findNamed(CertificateStore const& store,
                                                        DistinguishedName const& subject, asn1::blob keyId);

/// Forgets what is indexed of the store.
void dropIndex(CertificateMemoryStore const& store);

} // namespace detail
