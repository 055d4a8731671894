/// Keys in files that people have: PEM or DER, encrypted or not, alone or within a certificate or request.
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

/// Takes the next block off the text. Its number and line count from there.
std::optional<PemBlock> takeBlock(std::string_view& text);

/// How the private key of a PEM block or DER is encrypted; nothing when it is not.
std::optional<KeyEncryption> findEncryption(std::string_view text);

/// A private key, or why it could not be read.
struct OpenedKey {
    std::unique_ptr<PrivateKey> key;
    ExitStatus status =
        exitDone; ///< `exitNo` for a wrong or missing password, `exitBadInput` for what is no key.
    Complaint complaint;
    RefusalId reason = RefusalId::none;
};

/// What opening something that may be encrypted came to.
struct Opening {
    ExitStatus status = exitDone; ///< As that of `OpenedKey`.
    Complaint complaint;
};

/// Opens what stands in the file `path`. `open` is called with the password, null for none; that is read or
/// asked for if nothing else opens it. Complains. The exit status.
int openAsking(std::string const& path, PasswordSource const& source,
               std::function<Opening(std::string const* password)> const& open);

/// What a person reads of a refusal of the key in `text`: the reason, and what to do about it.
Complaint complaintOf(Refusal const& refusal, std::string_view text);

/// Reads the private key of a PEM block, or of the DER that stands in its place, also that of the traditional
/// forms. A complaint has the number of the block, where it has one. The password is null where none was
/// given.
OpenedKey openPrivateKey(PemBlock const& block, std::string const* password);

/// A public key, or why it is missing.
struct OpenedPublicKey {
    std::unique_ptr<PublicKey> key;
    Complaint complaint;
    RefusalId reason = RefusalId::none;
};

/// Reads the public key of a PEM block or DER under the same conditions: of a certificate, a request or
/// itself.
OpenedPublicKey openPublicKey(PemBlock const& block);

/// The private key of a file, the first of them. Its password, when it has one, is asked for where none is
/// given. Complains and gives null if it is missing; `*status` is then the exit status.
std::unique_ptr<PrivateKey> readPrivateKeyOf(std::string const& path, PasswordSource const& password,
                                             int* status);

/// The public key of the first key, certificate or request of a file, under the same conditions.
std::unique_ptr<PublicKey> readPublicKeyOf(std::string const& path, PasswordSource const& password,
                                           int* status);

/// Whether more than one of the names is that of standard input. Complains.
bool standardInputTwice(std::vector<std::string_view> const& names);
