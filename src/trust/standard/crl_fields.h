// What the standard rules ask of one CRL, decoded from the signed bytes once.
#pragma once

#include "sealkit/crl.h"
#include "trust/standard/fields.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace detail {

/// Reasons as the bits of `DistributionPoint::reasons`: each but bit 0, which is unused (RFC 5280, section
/// 4.2.1.13).
inline constexpr unsigned allReasons = 0x1FE;

/// A name in the form in which equal names have equal bytes: as `canonicalName` for a directoryName, without
/// regard to case in hosts.
std::string canonicalGeneralName(GeneralName const& name);

/// The same for a directoryName: the name with that form, after which comes a relative name (content of its
/// SET) unless that is empty.
std::string canonicalDirectoryName(std::string_view name, asn1::blob relative);

/// Views are into the `tbs` of the CRL, which must outlive this and not change.
struct CrlFields {
    explicit CrlFields(X509Crl const& crl);

    std::string issuer; ///< `canonicalName`

    // issuingDistributionPoint (RFC 5280, section 5.2.5).
    asn1::blob scope; ///< Its value; empty if absent.
    std::vector<std::string>
        names; ///< Of the distribution point, as `canonicalGeneralName`; empty if it has none.
    unsigned reasons = allReasons;
    bool isForUsers = false;
    bool isForCas = false;
    bool isForAttributes = false;
    bool isIndirect = false;

    std::optional<std::vector<unsigned char>> baseNumber; ///< Of a delta CRL.
    asn1::blob authorityKeyId;                            ///< The extension's value; empty if absent.

    /// Whether the CRL can clear a certificate: its extensions can be read, and no critical one is unknown.
    bool isSupported = true;

    bool isDelta() const { return baseNumber.has_value(); }
};

/// CRLs and the names of certificates, each decoded once. Keeps what it was asked about alive.
class CrlMemory {
public:
    CrlFields const& find(std::shared_ptr<X509Crl> const& crl);
    /// `canonicalName`
    std::string const& subjectOf(std::shared_ptr<X509Certificate> const& certificate);

private:
    std::map<std::shared_ptr<X509Crl>, CrlFields> crls;
    std::map<std::shared_ptr<X509Certificate>, std::string> subjects;
};

/// Compares numbers of CRLs, content octets of an INTEGER that is not negative: less than 0, 0 or more than
/// 0.
int compareCrlNumbers(asn1::blob a, asn1::blob b);

} // namespace detail
