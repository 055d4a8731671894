// Whether a certificate bears the identity that was asked for.
#pragma once

#include "sealkit/path.h"

namespace detail {

/// Whether the options ask for a host name, an address or an e-mail address.
bool asksForIdentity(PathOptions const& options);

/// Whether the leaf bears one of the identities asked for: as a subject alternative name (RFC 6125,
/// section 6.4; RFC 5280, section 4.2.1.6), or failing those as its common name. One that was not
/// asked for never matches.
bool bearsIdentity(X509Certificate const& leaf, PathOptions const& options);

/// What was asked for, and the subject alternative names of the leaf.
std::vector<Fact> identityFacts(X509Certificate const& leaf, PathOptions const& options);

} // namespace detail
