// Looking up serial numbers in CRLs.
#pragma once

#include "sealkit/crl.h"

#include <map>
#include <memory>
#include <string_view>

namespace detail {

/// Finds certificates in CRLs. The first question about a CRL is answered by reading through it; for
/// further ones, which a long chain that repeats one issuer asks, its entries are sorted.
class Revocations {
public:
    /// The first entry of the CRL with that serial number; null when it has none. Valid as long as
    /// this object.
    RevokedCertificate const* find(std::shared_ptr<X509Crl> const& crl, asn1::blob serialNumber);

private:
    using BySerialNumber = std::map<std::string_view, RevokedCertificate const*>;

    /// The CRLs asked about, kept alive; sorted when asked about again.
    std::map<std::shared_ptr<X509Crl>, BySerialNumber> asked;
};

} // namespace detail
