#include "trust/revocation.h"

#include <algorithm>

namespace detail {

namespace {

std::string_view keyOf(asn1::blob serialNumber) {
    return {reinterpret_cast<char const*>(serialNumber.data()), serialNumber.size()};
}

} // namespace

RevokedCertificate const* Revocations::find(std::shared_ptr<X509Crl> const& crl, asn1::blob serialNumber) {
    auto const [position, isFirst] = asked.try_emplace(crl);
    if (isFirst) {
        auto const entry = std::ranges::find_if(crl->revoked, [&](RevokedCertificate const& revoked) {
            return asn1::blob(revoked.serialNumber) == serialNumber;
        });
        return entry == crl->revoked.end() ? nullptr : &*entry;
    }
    BySerialNumber& entries = position->second;
    if (entries.empty()) {
        for (RevokedCertificate const& revoked : crl->revoked)
            entries.try_emplace(keyOf(revoked.serialNumber), &revoked);
    }
    auto const entry = entries.find(keyOf(serialNumber));
    return entry == entries.end() ? nullptr : entry->second;
}

} // namespace detail
