// The rules of public CAs that go beyond RFC 5280.
#pragma once

#include "sealkit/path.h"
#include "trust/standard/fields.h"

#include <optional>
#include <span>
#include <vector>

namespace detail {

struct StrictViolation {
    PathCode code{};
    size_t depth = 0;
    std::vector<Fact> facts;
};

/// Whether a certificate or CRL is signed over MD5 or SHA-1.
bool isSignedOverWeakHash(X509Base const& object);

/// The first rule that the chain violates, from the leaf upward. `path` ends with the anchor, of which only
/// the key size and the subject are checked. A self-signed leaf that is its own anchor is checked as both.
///
/// | rule                                                                 | of                      |
/// | -------------------------------------------------------------------- | ----------------------- |
/// | RSA keys from 2048 bits, curves over fields from 256 bits            | all                     |
/// | a subject that is not empty                                          | CAs, the anchor as well |
/// | no signature over MD5 or SHA-1                                       | all but the anchor      |
/// | RSA exponents from 65537                                             | all but the anchor      |
/// | serial numbers that are positive and have at most 20 octets          | all but the anchor      |
/// | an authority key identifier                                          | all but the anchor      |
/// | a subject key identifier                                             | CAs but the anchor      |
/// | criticality where RFC 5280 says "MUST"                               | all but the anchor      |
/// | no CA certificate                                                    | the leaf, for a purpose |
/// | an extended key usage, which is not anyExtendedKeyUsage              | the leaf that is no CA  |
/// | a subject alternative name                                           | the leaf, see below     |
/// | no wildcard for all names of a top-level domain                      | the leaf                |
///
/// Servers and mailboxes have names: the leaf must have one if it is asked for as either, and where no
/// purpose is asked for, if its extended key usage names either.
std::optional<StrictViolation> findStrictViolation(std::span<CertificateFields const* const> path,
                                                   PathOptions const& options);

} // namespace detail
