// What a leaf is to be used for, in the terms of its extensions.
#pragma once

#include "sealkit/path.h"

namespace detail {

struct Purpose {
    PathPurpose id;
    asn1::blob oid;    ///< Of the extended key usage, content octets.
    char const* name;  ///< As a dump names it.
    unsigned keyUsage; ///< Bits of `KeyUsage`; the leaf must have one of them, if it says (RFC 5280,
                       ///< section 4.2.1.12).
};

/// Null for `any` and `byIdentity`.
Purpose const* findPurpose(PathPurpose id);

/// The purpose asked for, as the platform's rules have it: not `byIdentity`.
PathPurpose askedPurpose(PathOptions const& options);
/// The same under the standard rules: an e-mail address asks for one as well.
PathPurpose standardPurpose(PathOptions const& options);

} // namespace detail
