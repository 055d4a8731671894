/// Digests of files of any size.
#pragma once

#include "sealkit/hash.h"

#include <string>
#include <vector>

/// The digest of a file, or the `errno` of the failure.
struct FileDigest {
    std::vector<unsigned char> digest;
    int error = 0;
};

/// Reads the file ("-" is standard input) and shows its progress. Afterwards, also after a failure, `hash` is
/// ready for another message.
FileDigest digestFile(std::string const& path, Hash& hash);
