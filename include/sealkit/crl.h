/// X.509 v2 certificate revocation lists (RFC 5280, section 5).
///
/// | member               | what it is                                    | RFC 5280     |
/// | -------------------- | --------------------------------------------- | ------------ |
/// | `X509Crl`            | a CRL: its fields, its entries, its text form | 5.1, 5.2     |
/// | `RevokedCertificate` | one entry                                     | 5.1.2.6, 5.3 |
/// | `crlReasonName`      | the name of a reason code                     | 5.3.1        |
/// | `parseCrlReason`     | the reason code with a given name             | 5.3.1        |
/// | `getCrlReasonText`   | the text of a reason code in a dump           |              |
///
/// Parsing verifies no signature and checks no date. Delta CRLs, whose indicator is critical, and indirect
/// CRLs, whose entries name the issuers of certificates, are rejected unless they are read for the standard
/// rules (`FormRules`). The scope of a CRL (issuingDistributionPoint) is not checked: path.h does so under
/// the standard rules.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/name.h"
#include "sealkit/timepoint.h"
#include "sealkit/x509.h"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

class X509Crl;

namespace detail {
struct EntryIssuers;
class RevokedIndex;
bool read(Reading& reading, asn1::blob der, X509Crl& to);
} // namespace detail

/// The entry of one revoked certificate.
struct RevokedCertificate {
    std::vector<unsigned char> serialNumber; ///< Content octets of the INTEGER.
    TimePoint revocationDate;                ///< When it was revoked.
    unsigned char reasonCode = 255;          ///< 255 when absent.
};

/// A certificate revocation list.
class SEALKIT_API X509Crl : public X509Base {
public:
    DistinguishedName issuer;                ///< The CA that signed it.
    TimePoint thisUpdate;                    ///< When it was issued.
    TimePoint nextUpdate;                    ///< 0 when absent.
    std::vector<RevokedCertificate> revoked; ///< In the order of the CRL. Call `indexRevoked` after a change.
    std::vector<unsigned char> authorityKeyId; ///< Empty when absent.
    std::vector<unsigned char> crlNumber;      ///< Content octets of the INTEGER; empty when absent.

    X509Crl() = default;
    X509Crl(X509Crl const&) = default;
    X509Crl(X509Crl&&) noexcept = default;
    X509Crl& operator=(X509Crl const&) = default;
    X509Crl& operator=(X509Crl&&) noexcept = default;
    ~X509Crl() override;

    /// Reads a DER CertificateList and copies what it keeps. Returns false if `data` is malformed or has
    /// trailing bytes, if the outer and the inner signature algorithm differ, if the CRL or an entry repeats
    /// an extension, or if a critical extension is unknown; the object is then partly filled and must not be
    /// used. issuingDistributionPoint is ignored even if it is critical. Extensions that are not stored are
    /// named on standard output, one line each.
    bool parse(unsigned char const* data, unsigned len);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob der, Refusal* refusal);
    /// The same. For `FormRules::standard` this also accepts critical extensions that are unknown or that the
    /// platform's rules do not support: those of delta CRLs and of the entries of indirect CRLs.
    bool parse(asn1::blob der, Refusal* refusal, FormRules forms);

    /// Why the platform's rules refuse this CRL, which was read for the standard rules; null if they accept
    /// it. Set by the last `parse`; copies share it.
    Refusal const* platformRefusal() const { return unsupported.get(); }

    /// Whether a critical extension of the CRL or of an entry is unknown under the standard rules too. Such a
    /// CRL may revoke a certificate, but never shows that one is not revoked (RFC 5280, sections 5.2 and
    /// 5.3). Set by the last `parse`.
    bool hasUnknownCriticalExtension() const { return isUnknownCritical; }

    /// The first entry with that serial number (content octets); null if no entry has it. Uses the index that
    /// `parse`, `sign` and `indexRevoked` make. If the index does not match `revoked`, because the list has
    /// another size or place in memory since (as in a copy of the CRL), the list is searched instead. Safe
    /// for any number of threads.
    RevokedCertificate const* findRevoked(asn1::blob serialNumber) const;

    /// The positions in `revoked` of all entries with that serial number, ascending: an indirect CRL may have
    /// one for each issuer.
    std::vector<size_t> findAllRevoked(asn1::blob serialNumber) const;

    /// Rebuilds the index. Call this after changing `revoked` and before searching: otherwise an entry that
    /// was replaced in place may not be found.
    void indexRevoked();

    /// The value of the certificateIssuer extension that applies to the entry at that position: its own, or
    /// that of the nearest earlier entry with one (RFC 5280, section 5.3.3). Empty if the CRL's issuer issued
    /// the certificate. Set by `parse`; the view is valid until the next one.
    asn1::blob certificateIssuer(size_t position) const;

    /// Whether any entry has a certificateIssuer extension.
    bool namesCertificateIssuers() const { return issuers != nullptr; }

    /// Sets the issuer to `name`, the whole encoding of a Name, as `X509Certificate::setIssuer` does.
    bool setIssuer(asn1::blob name);

    /// The whole encoding of revokedCertificates as `sign` writes it; empty if `revoked` is empty. An entry
    /// that was parsed and not changed keeps its bytes, including extensions that have no member.
    std::vector<unsigned char> serializeRevokedCerts();

    /// Rebuilds the TBSCertList, of version 2, and updates `crlNumber` and the serial numbers to match it.
    /// The extensions are the authority key identifier, the CRL number, and then those that were parsed and
    /// have no member; a reason code is an extension of its entry. Apart from an unsuitable key, it fails if
    /// an entry has no serial number or a date is outside the years 1950 to 2049.
    bool updateTbs(PrivateKey const& key, HashID hash) override;
    using X509Base::updateTbs;

    /// Writes all fields as text, line by line. Names are not escaped and may contain any byte.
    void dump(std::ostream& out) const;

    /// The issuer's whole encoding. A view into `tbs`, valid while that is unchanged; empty unless `tbs` has
    /// the shape of a TBSCertList.
    asn1::blob issuerBytes() const;

    /// The CRL's own extensions in their order. Views into `tbs`, valid while that is unchanged.
    std::vector<X509Extension> extensions() const;

private:
    std::vector<unsigned char> issuerElement; ///< The name that `setIssuer` took.
    std::shared_ptr<Refusal const> unsupported;
    std::shared_ptr<detail::RevokedIndex const> index;   ///< Null for an empty list.
    std::shared_ptr<detail::EntryIssuers const> issuers; ///< Null if no entry has a certificateIssuer.
    bool isUnknownCritical = false;

    friend bool detail::read(detail::Reading& reading, asn1::blob der, X509Crl& to);
};

/// The name that RFC 5280, section 5.3.1, gives a reason code: "keyCompromise" for 1, "removeFromCRL" for 8.
/// Empty for 7 and for all codes above 10, which are not assigned.
SEALKIT_API std::string_view crlReasonName(unsigned char reasonCode);
/// The code of such a name, in upper or lower case; nothing for any other text.
SEALKIT_API std::optional<unsigned char> parseCrlReason(std::string_view name);

/// The text of a reason code in a dump. Code 7 is "remove from crl", which RFC 5280 numbers 8; 8 and all
/// codes above 10 have an empty text.
SEALKIT_API char const* getCrlReasonText(unsigned char reasonCode);
