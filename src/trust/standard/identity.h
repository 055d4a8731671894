// Whether a leaf has the requested identity under RFC 9525 and RFC 5280, which ignore the common name.
#pragma once

#include "sealkit/path.h"

namespace detail {

/// The leaf must have one of the requested host name, address and e-mail address. Host names are compared
/// without regard to case and to a trailing full stop. A wildcard must be the whole left-most label of a name
/// with at least three labels, and matches one label. A host in the form of an address only matches an
/// iPAddress. In an e-mail address only the host ignores case.
bool bearsStandardIdentity(X509Certificate const& leaf, PathOptions const& options);

} // namespace detail
