/// Where an object that was made goes, and in which form.
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
    /// Opens the output, which comes before any long work. Complains; returns the exit status.
    int open(OutputFile& output) const;
    /// Writes the object as PEM with this label, or as DER; returns the exit status.
    int write(OutputFile& output, std::string const& label, X509Base const& object) const;
    /// The same of an object that is already encoded.
    int write(OutputFile& output, std::string const& label, std::vector<unsigned char> encoded) const;
    /// Describes an output of the verb's own in JSON, where that is asked for.
    void describe(size_t bytes) const;
};

/// Sends the document of a verb beside its output, where that goes to standard output.
void keepReportOff(std::string const& path);
