// What public CAs keep beyond RFC 5280, rule by rule.
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

/// The first rule that the chain breaks, from the leaf upward. `path` ends with the anchor, of which only the size of the
/// key is judged: it is trusted as it is. A self-signed leaf that is its own anchor is judged as leaf and as anchor.
///
/// | rule                                                                      | of                        |
/// | ------------------------------------------------------------------------- | ------------------------- |
/// | no signature over MD5 or SHA-1                                            | all but the anchor        |
/// | RSA keys of 2048 bits or more, curves over fields of 256 bits or more     | all                       |
/// | RSA exponents of 65537 or more                                            | all but the anchor        |
/// | serial numbers positive and of at most 20 octets                          | all but the anchor        |
/// | an authority key identifier                                               | all but the anchor        |
/// | a subject key identifier                                                  | CAs but the anchor        |
/// | criticality where RFC 5280 says "MUST"                                    | all but the anchor        |
/// | no CA certificate, where a purpose is asked for                           | the leaf                  |
/// | an extended key usage, which is not anyExtendedKeyUsage                   | the leaf that is no CA    |
/// | a subject alternative name                                                | the leaf of a server or of a mailbox: it is asked for as one, or where no purpose is asked for, has its extended key usage |
/// | no wildcard for all names of a top-level domain                           | the leaf                  |
std::optional<StrictViolation> findStrictViolation(std::span<CertificateFields const* const> path,
                                                   PathOptions const& options);

} // namespace detail
