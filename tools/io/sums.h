/// Lines of digests in the format of the coreutils programs (sha256sum and others).
#pragma once

#include "sealkit/hash.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

class CommandLine;

/// The options: write lines for files, or check lines.
struct SumOptions {
    bool check = false;
    bool tag = false;
    bool ignoreMissing = false;
    bool quiet = false;
    bool status = false;
    bool strict = false;
    bool warn = false;
    std::vector<std::string> files;
};

/// Declares the options and the files.
void addSumOptions(CommandLine& commandLine, SumOptions& options);

/// The part of the help that describes the lines and the exit status.
extern char const sumHelp[];

/// A digest algorithm, and its name in lines of the kind "NAME (file) = digest".
struct SumAlgorithm {
    std::string name;
    std::unique_ptr<Hash> hash;
};

/// Writes or checks the lines and returns the exit status. The first of `algorithms`, which must not be
/// empty, applies to lines that name no algorithm.
int runSums(SumOptions const& options, std::span<SumAlgorithm const> algorithms);
