/// Secrets in the program's memory.
#pragma once

#include "sealkit/detail/wiping_allocator.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

class CommandLine;

/// Bytes that are wiped before their memory is freed.
using SecretBytes = std::vector<unsigned char, detail::WipingAllocator<unsigned char>>;

/// The source of a verb's key: one of the two.
struct KeySource {
    std::string file; ///< Raw bytes; "-" is standard input.
    std::string hex;

    ~KeySource();
};

/// Declares --key-file and --key, which exclude each other.
void addKeyOptions(CommandLine& commandLine, KeySource& source);

/// Reads the key. Complains and returns nothing, with the exit status in `*status`, if it is missing,
/// unreadable, empty or larger than 1 MiB.
std::optional<SecretBytes> readKey(KeySource const& source, int* status);

/// The complaint that `name` does not take a key of this length: which it takes, and the probable mistake.
std::string wrongKeyLength(SecretBytes const& key, std::string const& name, std::span<size_t const> lengths);
