/// The output of a new object, and its form.
#pragma once

#include "io/command_line.h"
#include "io/output_file.h"

#include "sealkit/x509.h"

#include <string>
#include <vector>

struct ObjectOutput {
    std::string path;
    bool force = false;
    bool der = false;

    /// Declares -o, --der, --force and --json, which describes what was made.
    void declare(CommandLine& commandLine);
    /// Opens the output, before any long work. Complains on failure. Returns the exit status.
    int open(OutputFile& output) const;
    /// Writes the object as PEM with this label, or as DER; returns the exit status.
    int write(OutputFile& output, std::string const& label, X509Base const& object) const;
    /// The same for an object that is already encoded.
    int write(OutputFile& output, std::string const& label, std::vector<unsigned char> encoded) const;
    /// Describes an output that the verb wrote itself, if JSON is asked for.
    void describe(size_t bytes) const;
};

/// Sends the JSON document to standard error if the output `path` is standard output.
void keepReportOff(std::string const& path);
