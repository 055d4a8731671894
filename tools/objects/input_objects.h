/// The certificates, requests and public keys that options and operands name.
#pragma once

#include "sealkit/keys.h"
#include "sealkit/path.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>

/// The first certificate of a file. Complains on failure.
std::optional<X509Certificate> readCertificate(std::string const& path,
                                               FormRules forms = FormRules::platform);

/// All certificates of a file, or of the message in it. Complains and returns nothing if one of them is
/// unreadable or the file holds no certificate.
std::optional<CertificateChain> readAllCertificates(std::string const& path,
                                                    FormRules forms = FormRules::platform);

/// The request of a file, under either label in use for it. Complains on failure.
std::optional<X509Req> readRequest(std::string const& path);

/// The same. Also verifies the request's own signature, which proves possession of the key. On failure
/// complains and sets `*status` to the exit status.
std::optional<X509Req> readVerifiedRequest(std::string const& path, int* status);

/// The public key of a file or of the certificate in it. A request is rejected, because its signature must be
/// verified. Complains on failure.
std::unique_ptr<PublicKey> readSubjectKey(std::string const& path, int* status);
