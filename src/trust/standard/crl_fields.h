// The fields of one CRL that the standard rules use, decoded once from the signed bytes.
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

/// All reasons, as bits of `DistributionPoint::reasons`. Bit 0 is unused (RFC 5280, section 4.2.1.13).
inline constexpr unsigned allReasons = 0x1FE;

/// A form of a name in which equal names have equal bytes: `canonicalName` for a directoryName, and lowercase
/// hosts.
std::string canonicalGeneralName(GeneralName const& name);

/// The same for a directoryName: the form of `name`, followed by a relative name (content of its SET) unless
/// that is empty.
std::string canonicalDirectoryName(std::string_view name, asn1::blob relative);

/// Has views into the `tbs` of the CRL, which must outlive it unchanged.
struct CrlFields {
    explicit CrlFields(X509Crl const& crl);

    std::string issuer; ///< `canonicalName`

    // issuingDistributionPoint (RFC 5280, section 5.2.5).
    asn1::blob scope;               ///< The extension's value; empty if absent.
    std::vector<std::string> names; ///< Of the distribution point, as `canonicalGeneralName`; may be empty.
    unsigned reasons = allReasons;
    bool isForUsers = false;
    bool isForCas = false;
    bool isForAttributes = false;
    bool isIndirect = false;

    std::optional<std::vector<unsigned char>> baseNumber; ///< Of a delta CRL.
    asn1::blob authorityKeyId;                            ///< The extension's value; empty if absent.

    /// Whether the CRL can clear a certificate: its extensions are well-formed, and no critical one is
    /// unknown.
    bool isSupported = true;

    bool isDelta() const { return baseNumber.has_value(); }
};

/// Decodes CRLs and the names of certificates once, and keeps the objects alive.
class CrlMemory {
public:
    CrlFields const& find(std::shared_ptr<X509Crl> const& crl);
    /// `canonicalName`
    std::string const& subjectOf(std::shared_ptr<X509Certificate> const& certificate);

private:
    std::map<std::shared_ptr<X509Crl>, CrlFields> crls;
    std::map<std::shared_ptr<X509Certificate>, std::string> subjects;
};

/// Compares CRL numbers (content octets of a non-negative INTEGER). Returns a negative number, 0 or a
/// positive one.
int compareCrlNumbers(asn1::blob a, asn1::blob b);

} // namespace detail
