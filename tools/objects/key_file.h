/// Reads keys from files: PEM or DER, encrypted or not, alone or within a certificate or request.
#pragma once

#include "io/exit_status.h"
#include "io/password.h"

#include "sealkit/keys.h"
#include "sealkit/oid.h"
#include "sealkit/pbes2.h"
#include "sealkit/pem.h"
#include "sealkit/refusal.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Takes the next block off the text. Its number and line are relative to the start of that text.
std::optional<PemBlock> takeBlock(std::string_view& text);

/// How the private key of a PEM block or DER is encrypted; nothing if it is not.
std::optional<KeyEncryption> findEncryption(std::string_view text);

/// A private key, or the reason why it could not be read.
struct OpenedKey {
    std::unique_ptr<PrivateKey> key;
    /// `exitNo` for a wrong or missing password, `exitBadInput` for malformed input.
    ExitStatus status = exitDone;
    Complaint complaint;
    RefusalId reason = RefusalId::none;
};

/// The result of opening an object that may be encrypted.
struct Opening {
    ExitStatus status = exitDone; ///< As in `OpenedKey`.
    Complaint complaint;
};

/// Opens the object in the file `path`. `open` takes the password, or null. The password is read or asked for
/// only if the object does not open without one. Complains on failure. Returns the exit status.
int openAsking(std::string const& path, PasswordSource const& source,
               std::function<Opening(std::string const* password)> const& open);

/// The complaint about a refused key in `text`: the reason and advice.
Complaint complaintOf(Refusal const& refusal, std::string_view text);

/// Reads the private key of a PEM block, or of DER, including the traditional forms. A complaint includes the
/// block's number, if any. `password` is null if none was given.
OpenedKey openPrivateKey(PemBlock const& block, std::string const* password);

/// A public key, or the reason why it is missing.
struct OpenedPublicKey {
    std::unique_ptr<PublicKey> key;
    Complaint complaint;
    RefusalId reason = RefusalId::none;
};

/// Reads a public key, or that of a certificate or request, from a PEM block or DER in the same way.
OpenedPublicKey openPublicKey(PemBlock const& block);

/// The first private key of a file. Asks for a required password that the options do not give. On failure
/// complains, returns null and sets `*status` to the exit status.
std::unique_ptr<PrivateKey> readPrivateKeyOf(std::string const& path, PasswordSource const& password,
                                             int* status);

/// The public key of the first key, certificate or request of a file, under the same conditions.
std::unique_ptr<PublicKey> readPublicKeyOf(std::string const& path, PasswordSource const& password,
                                           int* status);

/// Whether more than one of the names is that of standard input. Complains if so.
bool standardInputTwice(std::vector<std::string_view> const& names);
