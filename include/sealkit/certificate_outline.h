/// What stands in a certificate, CRL or request, field by field, for displays: also where the classes refuse
/// it.
///
/// | name                    | what it is                                                         | RFC       |
/// | ----------------------- | ------------------------------------------------------------------ | --------- |
/// | `CertificateOutline`    | the fields of a certificate of any version                         | 5280, 4.1 |
/// | `CrlOutline`            | the fields of a CRL; `nextCrlEntry` walks its entries              | 5280, 5.1 |
/// | `RequestOutline`        | the fields of a request with all attributes                        | 2986, 4.1 |
///
/// `parseCertificateOutline` and its like are the readers of `X509Certificate`, `X509Crl` and `X509Req`, told
/// to go on where those refuse: versions, numbers, times, names, extensions and their values are not checked,
/// extensions may occur twice, and what is truncated is read as far as it is there. A field that cannot be
/// found is empty, and so are those behind it. Nothing may be concluded from an outline: it serves the eye
/// alone.
///
/// All blobs are views of the input.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/x509.h"

#include <optional>
#include <vector>

/// What all of them have.
struct SignedOutline {
    asn1::blob signatureAlgorithm;      ///< Whole encoding, as it stands outside the signed part.
    asn1::blob innerSignatureAlgorithm; ///< The same inside; empty for a request, which has none.
    asn1::blob signature;               ///< The octets of the BIT STRING.
    std::vector<X509Extension> extensions;
    /// Extensions were left out: the list is malformed behind those that are here.
    bool isExtensionListBroken = false;
};

/// A certificate. Names, times and the key are whole encodings.
struct CertificateOutline : SignedOutline {
    unsigned version = 0;    ///< 1, 2 or 3, or another number that stands there.
    asn1::blob serialNumber; ///< Content octets.
    asn1::blob issuer;
    asn1::blob notBefore;
    asn1::blob notAfter;
    asn1::blob subject;
    asn1::blob subjectPublicKeyInfo;
    asn1::blob issuerUniqueId;  ///< The octets of the BIT STRING.
    asn1::blob subjectUniqueId; ///< Likewise.
};

/// Returns false if `der` does not begin as a certificate does: with a SEQUENCE in a SEQUENCE that has an
/// issuer.
SEALKIT_API bool parseCertificateOutline(asn1::blob der, CertificateOutline* to);

/// A CRL. Issuer and times are whole encodings.
struct CrlOutline : SignedOutline {
    unsigned version = 0;
    asn1::blob issuer;
    asn1::blob thisUpdate;
    asn1::blob nextUpdate; ///< Empty if absent.
    asn1::blob revoked;    ///< The entries, for `nextCrlEntry`.
};

/// Returns false if `der` does not begin as a CRL does: with an issuer and a time.
SEALKIT_API bool parseCrlOutline(asn1::blob der, CrlOutline* to);

/// The entry of one certificate.
struct CrlEntryOutline {
    asn1::blob serialNumber;   ///< Content octets.
    asn1::blob revocationDate; ///< Whole encoding.
    std::vector<X509Extension> extensions;
};

/// Takes the first entry off `*rest`, which starts as `CrlOutline::revoked`. Returns false at the end, and
/// where the list is malformed: `*rest` is not empty then.
SEALKIT_API bool nextCrlEntry(asn1::blob* rest, CrlEntryOutline* to);

/// An attribute of a request.
struct RequestAttribute {
    asn1::blob type;   ///< Content octets of the object identifier.
    asn1::blob values; ///< Content of the SET.
};

/// A request; `extensions` are those that it asks for.
struct RequestOutline : SignedOutline {
    asn1::blob subject;
    asn1::blob subjectPublicKeyInfo;
    std::vector<RequestAttribute> attributes;
};

/// Returns false if `der` does not begin as a request does: with a version and a subject.
SEALKIT_API bool parseRequestOutline(asn1::blob der, RequestOutline* to);
