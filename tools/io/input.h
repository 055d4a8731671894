/// Files that the user names, as a whole.
#pragma once

#include "io/complaint.h"
#include "io/secret.h"

#include <optional>
#include <string>
#include <string_view>

/// The contents of a file with an object, pipe or, for "-", standard input, in the form that the loaders take
/// (`makePlain`), without a UTF-8 byte-order mark at its start. Complains and gives nothing when it cannot be
/// read or is larger than `inputLimit`.
std::optional<std::string> readInput(std::string const& path);
/// The same, but the complaint goes to `*complaint`.
std::optional<std::string> readInput(std::string const& path, Complaint* complaint);

/// The same of what may be secret.
std::optional<SecretBytes> readSecretInput(std::string const& path);

/// The same of a message: every byte of it counts.
std::optional<SecretBytes> readMessage(std::string const& path);

inline std::string_view textOf(SecretBytes const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

/// No object that the program reads as a whole is near this many bytes.
inline constexpr size_t inputLimit = size_t(256) << 20;
