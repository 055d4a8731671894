/// The last steps of issuing a certificate: it is signed, judged, registered and written.
#pragma once

#include "objects/object_output.h"
#include "objects/signer.h"

#include "sealkit/path.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>

/// Who issues, as options say.
struct IssuerOptions {
    SignerOptions signer;
    std::string authority; ///< The file of its certificate.
    std::string chain;     ///< That of certificates above it.
    std::string registerFolder;
    ObjectOutput output;

    /// Declares --register, --output and the like.
    void declareOutput(CommandLine& commandLine);
    /// Declares --chain.
    void declareChain(CommandLine& commandLine);
};

/// Who issues: the key, and the certificate of the CA, null for a certificate that signs itself.
struct Issuer {
    Signer signer;
    std::shared_ptr<X509Certificate> authority;
    CertificateChain others; ///< Among which are those above the CA.
};

/// Reads key and certificates; the authority is left out where the options name none. Complains and gives
/// nothing if the CA cannot issue; `*status` is then the exit status.
std::optional<Issuer> readIssuer(IssuerOptions const& options, int* status);

/// Signs the certificate, and writes it once the standard rules accept it under its CA and it is in the
/// register, where there is one. Complains; returns the exit status.
int issueCertificate(X509Certificate& certificate, Issuer const& issuer, IssuerOptions const& options);
