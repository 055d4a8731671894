/// PKCS#12 files: reading and opening them, and what they say of themselves before that.
#pragma once

#include "objects/key_file.h"

#include "sealkit/blob.h"
#include "sealkit/pkcs12.h"

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// The label of PKCS#12 in PEM, as GnuTLS writes it.
inline constexpr char pkcs12Label[] = "PKCS12";

/// Whether it has the shape of PKCS#12: in DER, or in BER with open lengths.
bool looksLikePkcs12(asn1::blob der);

/// A file whose structure was read, or why it was not.
struct Pkcs12File {
    std::unique_ptr<PKCS12PFX> pfx;
    bool isBer = false;
    std::string complaint{};
    std::set<std::string> leftOut{}; ///< The kinds of what the library has passed over so far.
};

/// Adds what the library says that it passed over.
void addLeftOut(Pkcs12File& file, std::string const& diagnostics);

/// What was passed over: "secrets, revocation lists"; empty where nothing was.
std::string listLeftOut(Pkcs12File const& file);

/// Reads the structure of DER, or of BER.
Pkcs12File readPkcs12(asn1::blob der);

/// The same of a file: its first PEM block "PKCS12", or what it is itself where it is no PEM.
Pkcs12File readPkcs12Within(std::string_view text);

/// The name of the MAC's hash, known here or not; the dotted form of others.
std::string macName(PKCS12PFX const& pfx);

/// Why no password will open it; empty for most.
std::string whyNotOpened(PKCS12PFX const& pfx);

/// Whether a password is needed to open it, or to verify it.
bool needsPassword(PKCS12PFX const& pfx);

/// What opening came to.
struct Opening {
    ExitStatus status = exitDone; ///< `exitNo` for a wrong password.
    std::string complaint;
};

/// Verifies the MAC, and opens what is under the password.
Opening openPkcs12(Pkcs12File& file, std::string const& password);
