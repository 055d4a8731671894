/// Reads and decrypts PKCS#12 files, and describes the parts that cannot be read.
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

/// The PEM label of PKCS#12, as GnuTLS writes it.
inline constexpr char pkcs12Label[] = "PKCS12";

/// The options that read DER and BER and skip unreadable parts. A MAC without a count of iterations has
/// `macIterations`, or else the default of the library and RFC 7292.
PKCS12Options pkcs12Options(std::optional<std::uint32_t> macIterations = {});

/// A file, or the reason why it was not read.
struct Pkcs12File {
    std::unique_ptr<PKCS12PFX> pfx;
    Complaint complaint;
    /// Whether its password was right. What is still encrypted then is under another one, or is unreadable.
    bool isDecrypted = false;
};

/// Reads DER or BER.
Pkcs12File readPkcs12(asn1::blob der);

/// The same for a file: its first PEM block "PKCS12", or the whole file if it is not PEM.
Pkcs12File readPkcs12Within(std::string_view text);

/// The result of decrypting.
struct Decrypting {
    ExitStatus status = exitDone; ///< `exitNo` for a wrong password.
    Complaint complaint;
};

/// Verifies the MAC, and decrypts all parts that the password decrypts.
Decrypting decryptPkcs12(PKCS12PFX& pfx, std::string const& password, PKCS12Options const& options);

/// A refusal of a file's protection, with advice.
Complaint complaintOfPkcs12(Refusal const& refusal);

/// Notes unusual forms in the file that messages call `name`.
void noteForm(std::string const& name, PKCS12PFX const& pfx);

/// Warns of a file without integrity protection, or whose signature is not verified. `check` names the
/// command that verifies it.
void warnOfOrigin(std::string const& name, PKCS12PFX const& pfx, char const* check);

/// The kinds of the file's contents that are ignored: "CRL, 1.2.3"; empty if nothing is ignored.
std::string listIgnored(PKCS12PFX const& pfx);

/// The description of a part whose encryption anyone can break, as `weaknessOf` returns it; empty if there is
/// no such part.
std::string findWeakness(PKCS12PFX const& pfx);

/// A sentence for each unreadable part of the file, and the number of further ones if they are many.
std::vector<std::string> listUnreadable(PKCS12PFX const& pfx);
