// Finds the store's certificate that ends a chain.
#pragma once

#include "sealkit/path.h"

namespace detail {

/// The store's certificate with the name and key identifier of the certificate at `index`; null if the store
/// has none. A leaf is only looked up if it is self-signed, because no other leaf is its own anchor.
std::shared_ptr<X509Certificate> findAnchor(CertificateChain const& chain, CertificateStore const& store,
                                            size_t index);

} // namespace detail
