/// Files that the user names.
#pragma once

#include <optional>
#include <string>

/// The whole contents of a file, pipe or, for "-", standard input. Complains and gives nothing when
/// it cannot be read or is larger than `inputLimit`.
std::optional<std::string> readInput(std::string const& path);

/// No object that the program reads as a whole is near this many bytes.
inline constexpr size_t inputLimit = size_t(256) << 20;
