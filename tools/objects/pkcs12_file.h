/// PKCS#12 files: reading and decrypting what can be read, and what people are told of the rest.
#pragma once

#include "objects/key_file.h"

#include "sealkit/blob.h"
#include "sealkit/pkcs12.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The label of PKCS#12 in PEM, as GnuTLS writes it.
inline constexpr char pkcs12Label[] = "PKCS12";

/// How files are read here: DER and BER, without what cannot be read. A MAC whose file does not give its
/// iterations has `macIterations`, or what the library and RFC 7292 take.
PKCS12Options pkcs12Options(std::optional<std::uint32_t> macIterations = {});

/// A file, or why it was not read.
struct Pkcs12File {
    std::unique_ptr<PKCS12PFX> pfx;
    Complaint complaint;
    bool isDecrypted = false; ///< By its password: what is still encrypted is not under it, or unreadable.
};

/// Reads DER, or BER.
Pkcs12File readPkcs12(asn1::blob der);

/// The same of a file: its first PEM block "PKCS12", or the file itself if it is not PEM.
Pkcs12File readPkcs12Within(std::string_view text);

/// What decrypting came to.
struct Decrypting {
    ExitStatus status = exitDone; ///< `exitNo` for a wrong password.
    Complaint complaint;
};

/// Verifies the MAC, and decrypts what is under the password and can be.
Decrypting decryptPkcs12(PKCS12PFX& pfx, std::string const& password, PKCS12Options const& options);

/// A refusal of what protects a file, and what can be done about it.
Complaint complaintOfPkcs12(Refusal const& refusal);

/// Notes what is unusual in the form of the file that messages call `name`.
void noteForm(std::string const& name, PKCS12PFX const& pfx);

/// Warns of a file that nothing vouches for, or whose signature is not checked; `check` is what does that.
void warnOfOrigin(std::string const& name, PKCS12PFX const& pfx, char const* check);

/// The kinds of what the file holds and is ignored: "CRL, 1.2.3"; empty if there is nothing.
std::string listIgnored(PKCS12PFX const& pfx);

/// That a part of the file is encrypted so that anyone can break it, as `weaknessOf` says it; empty if none
/// is.
std::string findWeakness(PKCS12PFX const& pfx);

/// What could not be read of the file, a sentence each, and how many parts more if there are many.
std::vector<std::string> listUnreadable(PKCS12PFX const& pfx);
