/// The readers of extensions.h, in the form that certificates and CRLs read extensions with.
#pragma once

#include "asn1/element.h"
#include "sealkit/extensions.h"

namespace detail {

/// BasicConstraints (RFC 5280, section 4.2.1.9).
bool readBasicConstraints(Reading& reading, asn1::blob value, BasicConstraints* to);

/// GeneralSubtrees ::= SEQUENCE SIZE (1..MAX) OF GeneralSubtree, tagged as `field`, where it is the current element of
/// `fields`. `name` is what refusals call a subtree.
bool readSubtrees(Level& fields, unsigned field, char const* name, std::vector<GeneralName>* to);

inline constexpr char permittedSubtree[] = "permitted subtree";
inline constexpr char excludedSubtree[] = "excluded subtree";

/// The full names of CRLDistributionPoints (RFC 5280, section 4.2.1.13), all points in a row. Notes names of
/// other forms.
bool readDistributionPoints(Reading& reading, asn1::blob value, std::vector<GeneralName>* to);

/// SubjectKeyIdentifier ::= OCTET STRING
bool readKeyIdentifier(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// The keyIdentifier of an AuthorityKeyIdentifier (RFC 5280, section 4.2.1.1); without one `*to` stays as it was.
bool readAuthorityKeyId(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// CRLNumber ::= INTEGER, its content octets.
bool readCrlNumber(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

} // namespace detail
