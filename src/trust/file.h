// Reading a file, with a reason where it cannot be read.
#pragma once

#include "sealkit/refusal.h"

#include <string>

namespace detail {

/// Reads a file as a whole. False, with a reason unless `refusal` is null, if it does not exist, cannot be read or is a
/// folder, and if it is larger than 256 MiB.
bool readFile(std::string const& path, std::string* contents, Refusal* refusal);

/// Fills in that the file or folder at `path` cannot be opened or read, by the value of `errno`. Always false.
bool refuseFile(int error, Refusal* refusal);

} // namespace detail
