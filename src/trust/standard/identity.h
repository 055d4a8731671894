// Whether a leaf bears the identity that was asked for, as RFC 9525 and RFC 5280 compare: no common name.
#pragma once

#include "sealkit/path.h"

namespace detail {

/// Of host name, address and e-mail address the leaf must bear one of those asked for. Host names are
/// compared without regard to case and to a full stop at the end; a wildcard is the whole left-most label of
/// a name of at least three and stands for one label; a host that is written as an address matches no name,
/// but an iPAddress. The local part of an e-mail address is compared exactly and its host without regard to
/// case.
bool bearsStandardIdentity(X509Certificate const& leaf, PathOptions const& options);

} // namespace detail
