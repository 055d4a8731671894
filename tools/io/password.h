/// Passwords: of a file, of the terminal and, for tests, of the command line.
#pragma once

#include "sealkit/wipe.h"

#include <memory>
#include <string>

class CommandLine;

/// A password, wiped at its end.
struct Password {
    std::string text;

    Password() = default;
    ~Password() { secureMemset(text.data(), 0, text.capacity()); }
    Password(Password const&) = delete;
    Password& operator=(Password const&) = delete;
};

/// Where a verb takes a password from.
struct PasswordSource {
    std::string option = "--password"; ///< The name of the option, for messages.
    std::string file;                  ///< Its first line is the password; "-" is standard input.
    Password given;

    bool isGiven() const { return !file.empty() || !given.text.empty(); }
};

/// Declares --password-file and --password, which exclude each other. `whose` says which password it is:
/// "of the key". With a prefix ("old-") the options are --old-password-file and --old-password.
void addPasswordOptions(CommandLine& commandLine, PasswordSource& source, std::string const& whose,
                        std::string const& prefix = "");

enum class AskFor { existing, fresh };

/// The password from its source. Where none is given the user is asked at the terminal, without echo; for a
/// fresh one twice. A fresh password must not be empty. `whose` is for messages: "key.pem". Complains and
/// gives null if it is missing; `*status` is then the exit status, that of wrong usage where nobody can
/// be asked.
std::unique_ptr<Password> readPassword(PasswordSource const& source, AskFor kind, std::string const& whose,
                                       int* status);
