/// Finding the ways that lead from a leaf upward through whatever certificates there are.
#pragma once

#include "sealkit/path.h"

#include <functional>
#include <memory>
#include <vector>

/// The certificate that the others lead up from: the first one, unless it issued another one and a
/// single certificate at the end of the chain can be told.
std::shared_ptr<X509Certificate> chooseLeaf(CertificateChain const& given);

/// Calls `visit` with the chains that lead from `leaf` upward through `given` and `trusted`, the
/// likeliest first, until it returns true or a fixed number of chains was tried. A chain ends at the
/// first certificate above the leaf that is trusted (the trusted copy stands in the chain), at a
/// self-signed one, or where nobody's subject is the issuer that is looked for.
void forEachChain(std::shared_ptr<X509Certificate> const& leaf, CertificateChain const& given,
                  CertificateChain const& trusted, TimePoint now,
                  std::function<bool(CertificateChain const&)> const& visit);
