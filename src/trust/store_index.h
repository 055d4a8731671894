// Fast look-ups in a large `CertificateMemoryStore`. The index is not a member, because the layout of the
// store is fixed.
#pragma once

#include "sealkit/store.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace detail {

/// Positions of objects in a vector by hash, in ascending order for each hash.
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

/// Stores of up to this many objects are searched without an index.
inline constexpr size_t maxUnindexed = 64;

/// The match of `CertificateMemoryStore`. Objects that only the standard rules support do not match under the
/// platform's rules.
inline bool isMatch(X509Certificate const& certificate, DistinguishedName const& subject, asn1::blob keyId) {
    return (keyId.empty() || asn1::blob(certificate.subjectKeyId) == keyId) &&
           certificate.subject == subject && certificate.platformRefusal() == nullptr;
}
inline bool isMatch(X509Crl const& crl, DistinguishedName const& issuer) {
    return crl.issuer == issuer && crl.platformRefusal() == nullptr;
}

/// The first certificate of `store.certs`, or CRL of `store.crls`, that matches as `CertificateMemoryStore`
/// defines. For stores with more than `maxUnindexed` objects. Any number of threads may search at once; a
/// lock is only taken after objects were appended.
std::shared_ptr<X509Certificate> findByIndex(CertificateMemoryStore const& store,
                                             DistinguishedName const& subject, asn1::blob keyId);
std::shared_ptr<X509Crl> findByIndex(CertificateMemoryStore const& store, DistinguishedName const& issuer);

/// The positions of every certificate of the store with this subject, in ascending order.
std::vector<size_t> positionsNamed(CertificateMemoryStore const& store, DistinguishedName const& subject);

/// Every certificate of the store with this subject, including those that only the standard rules support. A
/// store that cannot be enumerated returns one by key identifier and one by name.
std::vector<std::shared_ptr<X509Certificate>> findNamed(CertificateStore const& store,
                                                        DistinguishedName const& subject, asn1::blob keyId);

/// Drops the index of the store.
void dropIndex(CertificateMemoryStore const& store);

} // namespace detail
