// Where a chain meets its store.
#pragma once

#include "sealkit/path.h"

namespace detail {

/// The store's certificate with the name and key identifier of the certificate at `index`; null if
/// the store has none. A leaf is looked up only when it is self-signed: in the store or not, it is not its
/// own anchor otherwise.
std::shared_ptr<X509Certificate> findAnchor(CertificateChain const& chain, CertificateStore const& store,
                                            size_t index);

} // namespace detail
