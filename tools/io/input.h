/// Files that the user names, read completely.
#pragma once

#include "io/complaint.h"
#include "io/secret.h"

#include <optional>
#include <string>
#include <string_view>

/// Reads a file, a pipe or, for "-", standard input, and converts it to the form that the loaders take
/// (`makePlain`), without a UTF-8 byte-order mark. Complains and returns nothing if it is unreadable or
/// larger than `inputLimit`.
std::optional<std::string> readInput(std::string const& path);
/// The same, with the complaint in `*complaint`.
std::optional<std::string> readInput(std::string const& path, Complaint* complaint);

/// The same for input that may be secret.
std::optional<SecretBytes> readSecretInput(std::string const& path);

/// The same for a message, whose bytes are unchanged.
std::optional<SecretBytes> readMessage(std::string const& path);

inline std::string_view textOf(SecretBytes const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

/// Far more than any object that the program reads completely.
inline constexpr size_t inputLimit = size_t(256) << 20;
