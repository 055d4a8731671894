/// The readers of certificates, CRLs and requests, with reasons for refusals.
#pragma once

#include "asn1/element.h"
#include "sealkit/certificate_outline.h"
#include "sealkit/crl.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <type_traits>

namespace detail {

/// Implements `parse` of each class. After a failure, `to` is partially filled and unusable.
bool read(Reading& reading, asn1::blob der, X509Certificate& to);
bool read(Reading& reading, asn1::blob der, X509Crl& to);
bool read(Reading& reading, asn1::blob der, X509Req& to);

/// The same into a new object, for callers that want the key: `keyInfo` is the subjectPublicKeyInfo as a view
/// of `der`.
bool readWithKeyInfo(Reading& reading, asn1::blob der, X509Certificate& to, asn1::blob* keyInfo);
bool readWithKeyInfo(Reading& reading, asn1::blob der, X509Req& to, asn1::blob* keyInfo);

/// The whole elements of SIGNED{ToBeSigned} (RFC 5280, section 4.1.1), as views of the input.
struct SignedParts {
    asn1::blob tbs;
    asn1::blob algorithm;
    asn1::blob signature;
};

/// Splits an object into its parts; `*content` is that of its SEQUENCE. A tolerant reading requires only the
/// signed part.
bool readParts(Reading& reading, asn1::blob object, SignedParts* parts, asn1::blob* content);

/// Sets the members that all outlines have. `extensions` is the content of the SEQUENCE.
void setOutline(SignedParts const& parts, asn1::blob innerAlgorithm, asn1::blob extensions,
                SignedOutline* to);

/// `X509Base::unpackObj`.
bool unpack(Reading& reading, asn1::blob object, X509Base& to, SignedParts* parts);

/// Refuses a signed part whose signature algorithm differs from the outer one, which is not signed and could
/// be exchanged (RFC 5280, sections 4.1.1.2 and 5.1.1.2).
bool isSameAlgorithm(Reading& reading, asn1::blob outer, asn1::blob inner);

/// Reads a field of the signed part, with its name in refusals.
template <typename To>
bool readField(Reading& reading, char const* name, bool (*read)(Reading&, asn1::blob, To), asn1::blob element,
               std::type_identity_t<To> to) {
    Reading::Step const step(reading, name);
    return read(reading, element, to);
}

} // namespace detail
