/// What is kept beside the entries of a CRL: where to find a serial number, and who issued the certificates.
#pragma once

#include "sealkit/crl.h"

#include <cstdint>
#include <vector>

namespace detail {

/// The positions of entries, sorted by serial number. 4 octets an entry; never changes, so that threads share
/// it.
class RevokedIndex {
public:
    explicit RevokedIndex(std::vector<RevokedCertificate> const& revoked);

    /// Whether these are the entries that were indexed, by their place and number.
    bool isOf(std::vector<RevokedCertificate> const& revoked) const {
        return first == revoked.data() && positions.size() == revoked.size();
    }

    /// The first entry of the list with that serial number; null if it is missing. `revoked` are the entries
    /// that were indexed.
    RevokedCertificate const* findFirst(std::vector<RevokedCertificate> const& revoked,
                                        asn1::blob serialNumber) const;

    /// The positions of all of them, ascending.
    std::vector<size_t> findAll(std::vector<RevokedCertificate> const& revoked,
                                asn1::blob serialNumber) const;

private:
    /// Where the positions of entries that are not before that serial number begin.
    std::vector<std::uint32_t>::const_iterator lowerBound(std::vector<RevokedCertificate> const& revoked,
                                                          asn1::blob serialNumber) const;

    RevokedCertificate const* first;
    std::vector<std::uint32_t> positions;
};

/// The certificateIssuer extensions of entries. Each holds up to the next one.
struct EntryIssuers {
    struct Run {
        size_t position; ///< Of the first entry.
        size_t end;      ///< Of the value in `values`; it begins where that of the run before ends.
    };

    /// Positions ascend.
    void add(size_t position, asn1::blob value);
    /// The value that holds for the entry at that position; empty for none.
    asn1::blob find(size_t position) const;

    std::vector<Run> runs;
    std::vector<unsigned char> values;
};

} // namespace detail
