/// The last steps of issuing a certificate: sign, validate, register and write it.
#pragma once

#include "objects/object_output.h"
#include "objects/signer.h"

#include "sealkit/path.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>

/// The options that name the issuer.
struct IssuerOptions {
    SignerOptions signer;
    std::string authority; ///< The file of the CA certificate.
    std::string chain;     ///< The file of the certificates above it.
    std::string registerFolder;
    ObjectOutput output;

    /// Declares --register, --output and the like.
    void declareOutput(CommandLine& commandLine);
    /// Declares --chain.
    void declareChain(CommandLine& commandLine);
};

/// The issuer: its key, and the CA certificate, which is null for a self-signed certificate.
struct Issuer {
    Signer signer;
    std::shared_ptr<X509Certificate> authority;
    CertificateChain others; ///< May include the certificates above the CA.
};

/// Reads the key and the certificates. The CA certificate is null if the options name none. If the CA cannot
/// issue, complains, sets `*status` and returns nothing.
std::optional<Issuer> readIssuer(IssuerOptions const& options, int* status);

/// Signs the certificate, validates it under its CA by the standard rules, adds it to the register if there
/// is one, and writes it. Complains on failure. Returns the exit status.
int issueCertificate(X509Certificate& certificate, Issuer const& issuer, IssuerOptions const& options);
