/// Certificates that are used with their private key.
#pragma once

#include "objects/signer.h"

#include "sealkit/x509.h"

#include <optional>
#include <string>

/// Reads the certificate of a CA. Complains if it is not the certificate of the signer's key, or if it names
/// key usages without `usage`, a bit of `KeyUsage`.
std::optional<X509Certificate> readAuthority(std::string const& path, Signer const& signer, unsigned usage);

/// Whether the key is that of the certificate. Complains with `path` if not.
bool isOwnKey(std::string const& path, X509Certificate const& certificate, PrivateKey const& key);

/// Whether the certificate is valid now and its key usage, if any, has one of the bits `usages`. Complains
/// with `path` if not; `use` names the purpose: "signing messages".
bool isFitNow(std::string const& path, X509Certificate const& certificate, unsigned usages, char const* use);
