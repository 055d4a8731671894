/// Lines of digests, as the sums of coreutils write and check them.
#pragma once

#include "sealkit/hash.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

class CommandLine;

/// What is asked for: lines for files, or a check of lines.
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

/// Declares them, and the files.
void addSumOptions(CommandLine& commandLine, SumOptions& options);

/// What the help says of the lines and of the exit status.
extern char const sumHelp[];

/// One way of digesting, and the name that lines of the kind "NAME (file) = digest" give it.
struct SumAlgorithm {
    std::string name;
    std::unique_ptr<Hash> hash;
};

/// Writes the lines, or checks them, and returns the exit status. `algorithms` holds at least one: the
/// first is the one for lines that name none.
int runSums(SumOptions const& options, std::span<SumAlgorithm const> algorithms);
