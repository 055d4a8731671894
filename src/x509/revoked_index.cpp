#include "x509/revoked_index.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace detail {

namespace {

/// A sort key from the first and last octets of a serial number, so that most comparisons read one word. CAs
/// often count, or give all serial numbers the same prefix.
std::uint64_t keyOf(asn1::blob serialNumber) {
    constexpr std::uint64_t oddFactor = 0x9E3779B97F4A7C15;
    constexpr size_t octets = sizeof(std::uint64_t);
    std::uint64_t head = 0, tail = 0;
    size_t const size = serialNumber.size();
    for (size_t i = 0; i < std::min(size, octets); i++) {
        head = head << 8 | serialNumber[i];
        tail = tail << 8 | serialNumber[size - 1 - i];
    }
    return head * oddFactor + tail;
}

/// An arbitrary total order of byte strings.
int compare(asn1::blob a, asn1::blob b) {
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.empty() ? 0 : std::memcmp(a.data(), b.data(), a.size());
}

} // namespace

RevokedIndex::RevokedIndex(std::vector<RevokedCertificate> const& revoked) : first(revoked.data()) {
    if (revoked.size() > std::numeric_limits<std::uint32_t>::max())
        return;
    struct Entry {
        std::uint64_t key;
        std::uint32_t position;
    };
    std::vector<Entry> entries;
    entries.reserve(revoked.size());
    for (RevokedCertificate const& entry : revoked)
        entries.push_back({keyOf(entry.serialNumber), static_cast<std::uint32_t>(entries.size())});
    std::sort(entries.begin(), entries.end(), [&](Entry const& a, Entry const& b) {
        if (a.key != b.key)
            return a.key < b.key;
        int const order = compare(revoked[a.position].serialNumber, revoked[b.position].serialNumber);
        return order != 0 ? order < 0 : a.position < b.position;
    });
    positions.reserve(entries.size());
    for (Entry const& entry : entries)
        positions.push_back(entry.position);
}

std::vector<std::uint32_t>::const_iterator
RevokedIndex::lowerBound(std::vector<RevokedCertificate> const& revoked, asn1::blob serialNumber) const {
    std::uint64_t const wanted = keyOf(serialNumber);
    return std::lower_bound(positions.begin(), positions.end(), serialNumber,
                            [&](std::uint32_t position, asn1::blob) {
                                asn1::blob const number = revoked[position].serialNumber;
                                std::uint64_t const key = keyOf(number);
                                return key != wanted ? key < wanted : compare(number, serialNumber) < 0;
                            });
}

RevokedCertificate const* RevokedIndex::findFirst(std::vector<RevokedCertificate> const& revoked,
                                                  asn1::blob serialNumber) const {
    auto const found = lowerBound(revoked, serialNumber);
    if (found == positions.end() || asn1::blob(revoked[*found].serialNumber) != serialNumber)
        return nullptr;
    return &revoked[*found];
}

std::vector<size_t> RevokedIndex::findAll(std::vector<RevokedCertificate> const& revoked,
                                          asn1::blob serialNumber) const {
    std::vector<size_t> found;
    for (auto next = lowerBound(revoked, serialNumber);
         next != positions.end() && asn1::blob(revoked[*next].serialNumber) == serialNumber; ++next)
        found.push_back(*next);
    return found;
}

void EntryIssuers::add(size_t position, asn1::blob value) {
    values.insert(values.end(), value.begin(), value.end());
    runs.push_back({position, values.size()});
}

asn1::blob EntryIssuers::find(size_t position) const {
    auto const next = std::ranges::upper_bound(runs, position, {}, &Run::position);
    if (next == runs.begin())
        return {};
    auto const run = std::prev(next);
    size_t const begin = run == runs.begin() ? 0 : std::prev(run)->end;
    return asn1::blob(values.data() + begin, run->end - begin);
}

} // namespace detail
