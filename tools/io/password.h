/// Passwords from a file, from the terminal or, for tests, from the command line.
#pragma once

#include "sealkit/wipe.h"

#include <memory>
#include <string>

class CommandLine;

/// A password, wiped by the destructor.
struct Password {
    std::string text;

    Password() = default;
    ~Password() { secureMemset(text.data(), 0, text.capacity()); }
    Password(Password const&) = delete;
    Password& operator=(Password const&) = delete;
};

/// The place that a verb reads a password from.
struct PasswordSource {
    std::string option = "--password"; ///< The name of the option, for messages.
    std::string file;                  ///< Its first line is the password; "-" is standard input.
    Password given;

    bool isGiven() const { return !file.empty() || !given.text.empty(); }
};

/// Declares --password-file and --password, which exclude each other. `whose` names the password in the help:
/// "of the key". With a prefix ("old-") the options are --old-password-file and --old-password.
void addPasswordOptions(CommandLine& commandLine, PasswordSource& source, std::string const& whose,
                        std::string const& prefix = "");

enum class AskFor { existing, fresh };

/// Reads the password from its source. Without a source it asks at the terminal, without echo; for a new
/// password it asks twice. A new password must not be empty. `whose` is for messages: "key.pem". On failure
/// it complains and returns null, with the exit status in `*status`: wrong usage if there is no terminal to
/// ask at.
std::unique_ptr<Password> readPassword(PasswordSource const& source, AskFor kind, std::string const& whose,
                                       int* status);
