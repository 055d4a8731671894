// The purposes of a leaf, in terms of its extensions.
#pragma once

#include "sealkit/path.h"

namespace detail {

struct Purpose {
    PathPurpose id;
    asn1::blob oid;   ///< Content octets of the extended key usage.
    char const* name; ///< Its name in dumps.
    /// Bits of `KeyUsage`. If the leaf has a key usage, it must have one of them (RFC 5280,
    /// section 4.2.1.12).
    unsigned keyUsage;
};

/// Null for `any` and `byIdentity`.
Purpose const* findPurpose(PathPurpose id);

/// The requested purpose under the platform's rules; never `byIdentity`.
PathPurpose askedPurpose(PathOptions const& options);
/// The same under the standard rules, where a requested e-mail address implies a purpose.
PathPurpose standardPurpose(PathOptions const& options);

} // namespace detail
