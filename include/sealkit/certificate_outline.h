/// The fields of a certificate, CRL or request for displays, even of one that the classes refuse.
///
/// | name                 | what it is                                            | RFC       |
/// | -------------------- | ----------------------------------------------------- | --------- |
/// | `CertificateOutline` | the fields of a certificate of any version            | 5280, 4.1 |
/// | `CrlOutline`         | the fields of a CRL; `nextCrlEntry` walks its entries | 5280, 5.1 |
/// | `RequestOutline`     | the fields of a request with all attributes           | 2986, 4.1 |
///
/// `parseCertificateOutline` and the functions like it are the readers of `X509Certificate`, `X509Crl` and
/// `X509Req`, which continue here where the classes refuse: versions, numbers, times, names, extensions and
/// their values are not checked, extensions may be repeated, and a truncated object is read as far as it
/// goes. A field that cannot be found is empty, and so are all fields after it. An outline is for display
/// only: do not base decisions on it.
///
/// All blobs are views of the input.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/x509.h"

#include <optional>
#include <vector>

/// The fields that all of them have.
struct SignedOutline {
    asn1::blob signatureAlgorithm;         ///< Whole encoding, from outside the signed part.
    asn1::blob innerSignatureAlgorithm;    ///< The same from inside; empty for a request.
    asn1::blob signature;                  ///< The octets of the BIT STRING.
    std::vector<X509Extension> extensions; ///< In their order.
    /// Extensions are missing: the list is malformed after those in `extensions`.
    bool isExtensionListBroken = false;
};

/// A certificate. Names, times and the key are whole encodings.
struct CertificateOutline : SignedOutline {
    unsigned version = 0;            ///< 1, 2 or 3, or another number that the certificate has.
    asn1::blob serialNumber;         ///< Content octets.
    asn1::blob issuer;               ///< A Name.
    asn1::blob notBefore;            ///< A Time.
    asn1::blob notAfter;             ///< A Time.
    asn1::blob subject;              ///< A Name.
    asn1::blob subjectPublicKeyInfo; ///< The key with its algorithm.
    asn1::blob issuerUniqueId;       ///< The octets of the BIT STRING.
    asn1::blob subjectUniqueId;      ///< Likewise.
};

/// Returns false if `der` does not begin like a certificate: with a SEQUENCE in a SEQUENCE that has an
/// issuer.
SEALKIT_API bool parseCertificateOutline(asn1::blob der, CertificateOutline* to);

/// A CRL. Issuer and times are whole encodings.
struct CrlOutline : SignedOutline {
    unsigned version = 0;  ///< 1 or 2, or another number that stands there.
    asn1::blob issuer;     ///< A Name.
    asn1::blob thisUpdate; ///< A Time.
    asn1::blob nextUpdate; ///< Empty if absent.
    asn1::blob revoked;    ///< The entries, for `nextCrlEntry`.
};

/// Returns false if `der` does not begin like a CRL: with an issuer and a time.
SEALKIT_API bool parseCrlOutline(asn1::blob der, CrlOutline* to);

/// The entry of one certificate.
struct CrlEntryOutline {
    asn1::blob serialNumber;               ///< Content octets.
    asn1::blob revocationDate;             ///< Whole encoding.
    std::vector<X509Extension> extensions; ///< Of this entry, in their order.
};

/// Removes the first entry from `*rest`, which starts as `CrlOutline::revoked`. Returns false at the end and
/// where an entry is malformed; in that case `*rest` is not empty.
SEALKIT_API bool nextCrlEntry(asn1::blob* rest, CrlEntryOutline* to);

/// An attribute of a request.
struct RequestAttribute {
    asn1::blob type;   ///< Content octets of the object identifier.
    asn1::blob values; ///< Content of the SET.
};

/// A request; `extensions` are the requested ones.
struct RequestOutline : SignedOutline {
    asn1::blob subject;                       ///< A Name, a whole encoding.
    asn1::blob subjectPublicKeyInfo;          ///< The whole encoding of the key with its algorithm.
    std::vector<RequestAttribute> attributes; ///< In their order.
};

/// Returns false if `der` does not begin like a request: with a version and a subject.
SEALKIT_API bool parseRequestOutline(asn1::blob der, RequestOutline* to);
