// Whether a certificate has the requested identity.
#pragma once

#include "sealkit/path.h"

namespace detail {

/// Whether the options ask for a host name, an address or an e-mail address.
bool asksForIdentity(PathOptions const& options);

/// Whether the leaf has one of the requested identities as a subject alternative name (RFC 6125, section 6.4;
/// RFC 5280, section 4.2.1.6) or, without such names, as its common name.
bool bearsIdentity(X509Certificate const& leaf, PathOptions const& options);

/// The requested identities and the leaf's subject alternative names.
std::vector<Fact> identityFacts(X509Certificate const& leaf, PathOptions const& options);

} // namespace detail
