/// Reading certificates and lists for the program: one bad object never loses the rest, and every
/// one that is left out is named.
#pragma once

#include "sealkit/store.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What a text held, in its order.
struct CertificatesRead {
    std::vector<std::shared_ptr<X509Certificate>> certificates;
    std::vector<std::string> problems; ///< One line for each block that is no readable certificate.
};

/// Reads every CERTIFICATE block of a PEM text, or one certificate in DER.
CertificatesRead readCertificates(std::string_view text);

/// The certificate authorities of `--ca`: files and folders.
class TrustedAuthorities {
public:
    /// Adds the certificates of a file, or of every file of a folder; copies of what is there already
    /// are left out. Complains about each bad file of a folder and goes on. False, after a complaint,
    /// when nothing could be had from `path` at all.
    bool add(std::string const& path);

    std::vector<std::shared_ptr<X509Certificate>> const& certificates() const { return trusted; }

private:
    size_t addText(std::string_view text, std::string const& source);

    std::vector<std::shared_ptr<X509Certificate>> trusted;
    std::vector<std::vector<unsigned char>> encodings; ///< Of `trusted`, sorted.
};

/// A certificate's own name for messages: its printable display name.
std::string nameFor(X509Certificate const& certificate);
