/// Indexes of a CRL's entries: by serial number, and the certificate issuers of an indirect CRL.
#pragma once

#include "sealkit/crl.h"

#include <cstdint>
#include <vector>

namespace detail {

/// The positions of entries, sorted by serial number, with 4 octets an entry. Immutable, so that threads can
/// share it.
class RevokedIndex {
public:
    explicit RevokedIndex(std::vector<RevokedCertificate> const& revoked);

    /// Whether these are the indexed entries, compared by address and number.
    bool isOf(std::vector<RevokedCertificate> const& revoked) const {
        return first == revoked.data() && positions.size() == revoked.size();
    }

    /// The first entry with that serial number, or null. `revoked` must be the indexed entries.
    RevokedCertificate const* findFirst(std::vector<RevokedCertificate> const& revoked,
                                        asn1::blob serialNumber) const;

    /// The positions of all entries with that serial number, ascending.
    std::vector<size_t> findAll(std::vector<RevokedCertificate> const& revoked,
                                asn1::blob serialNumber) const;

private:
    /// The first position whose entry does not precede that serial number.
    std::vector<std::uint32_t>::const_iterator lowerBound(std::vector<RevokedCertificate> const& revoked,
                                                          asn1::blob serialNumber) const;

    RevokedCertificate const* first;
    std::vector<std::uint32_t> positions;
};

/// The certificateIssuer extensions of entries. Each applies to all entries before the next one.
struct EntryIssuers {
    struct Run {
        size_t position; ///< Of the first entry with this issuer.
        size_t end;      ///< The end of the value in `values`; it begins at the end of the previous one.
    };

    /// Positions must ascend.
    void add(size_t position, asn1::blob value);
    /// The value that applies to the entry at that position, or empty.
    asn1::blob find(size_t position) const;

    std::vector<Run> runs;
    std::vector<unsigned char> values;
};

} // namespace detail
