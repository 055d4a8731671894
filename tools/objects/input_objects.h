/// The certificates, requests and public keys that options and operands name.
#pragma once

#include "sealkit/keys.h"
#include "sealkit/path.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>

/// The first certificate of a file. Complains.
std::optional<X509Certificate> readCertificate(std::string const& path,
                                               FormRules forms = FormRules::platform);

/// All certificates of a file, or of the message in it. Complains and gives nothing if one of them cannot be
/// read, or the file holds no certificate.
std::optional<CertificateChain> readAllCertificates(std::string const& path,
                                                    FormRules forms = FormRules::platform);

/// The request of a file, under either label that is in use for it. Complains.
std::optional<X509Req> readRequest(std::string const& path);

/// The same, if its own signature verifies: whoever made it holds the key. Complains; `*status` is then the
/// exit status.
std::optional<X509Req> readVerifiedRequest(std::string const& path, int* status);

/// The public key of a file or of the certificate in it. Not that of a request, which says more. Complains.
std::unique_ptr<PublicKey> readSubjectKey(std::string const& path, int* status);
