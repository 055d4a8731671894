/// Digests of files of any size.
#pragma once

#include "sealkit/hash.h"

#include <string>
#include <vector>

/// The digest of a file, or the `errno` of why it is missing.
struct FileDigest {
    std::vector<unsigned char> digest;
    int error = 0;
};

/// Reads the file, which is standard input for "-", and shows its progress. `hash` is then ready for another
/// message, also after a failure.
FileDigest digestFile(std::string const& path, Hash& hash);
