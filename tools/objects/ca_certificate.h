/// Certificates beside the private key that they are used with.
#pragma once

#include "objects/signer.h"

#include "sealkit/x509.h"

#include <optional>
#include <string>

/// The certificate of a CA, which the signer's key must belong to. Where it names key usages, `usage`, a bit
/// of `KeyUsage`, must be among them. Complains.
std::optional<X509Certificate> readAuthority(std::string const& path, Signer const& signer, unsigned usage);

/// Whether the key is that of the certificate. Complains, with `path`.
bool isOwnKey(std::string const& path, X509Certificate const& certificate, PrivateKey const& key);

/// Whether the certificate is valid now, and its key usage, where it names one, has one of the bits `usages`.
/// Complains, with `path`; `use` says what for: "signing messages".
bool isFitNow(std::string const& path, X509Certificate const& certificate, unsigned usages, char const* use);
