/// Secrets that the program holds.
#pragma once

#include "sealkit/detail/wiping_allocator.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

class CommandLine;

/// Bytes that are wiped before their memory is freed.
using SecretBytes = std::vector<unsigned char, detail::WipingAllocator<unsigned char>>;

/// Where a verb takes its key from: one of the two.
struct KeySource {
    std::string file; ///< Raw bytes; "-" is standard input.
    std::string hex;

    ~KeySource();
};

/// Declares --key-file and --key, which exclude each other.
void addKeyOptions(CommandLine& commandLine, KeySource& source);

/// Reads the key. Complains and gives nothing if it is missing or unreadable, or its file is empty
/// or larger than 1 MiB; `*status` is then the exit status.
std::optional<SecretBytes> readKey(KeySource const& source, int* status);

/// Says that `name` does not take a key of this length, which lengths it takes, and what may be wrong.
std::string wrongKeyLength(SecretBytes const& key, std::string const& name, std::span<size_t const> lengths);
