#include "io/input.h"
#include "io/output_file.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/conversion.h"
#include "objects/key_encryption.h"
#include "verbs/verb.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

struct ConvertOptions : ConversionOptions {
    std::vector<std::string> files;
    std::string target;
    std::string output;
    bool force = false;
};

struct TargetName {
    std::string_view name;
    Target target;
};

constexpr TargetName targets[] = {
    {"pem", Target::pem},         {"der", Target::der},     {"p7b", Target::p7b},
    {"p12", Target::p12},         {"pkcs8", Target::pkcs8}, {"traditional", Target::traditional},
    {"openssh", Target::openssh},
};

std::string_view nameOf(Target target) {
    return std::ranges::find(targets, target, &TargetName::target)->name;
}

/// Reads every file. Complains on failure. Returns the exit status, which reports omissions too.
int readFiles(ConvertOptions const& options, Conversion& conversion) {
    for (std::string const& file : options.files) {
        auto const bytes = readMessage(file);
        if (!bytes)
            return exitBadInput;
        if (int const status = conversion.add(file, *bytes); status != exitDone)
            return status;
    }
    return exitDone;
}

int convert(ConvertOptions const& options) {
    std::vector<std::string_view> inputs(options.files.begin(), options.files.end());
    inputs.insert(inputs.end(), {options.password.file, options.outPassword.file});
    if (standardInputTwice(inputs) || areIterationsBad(options.iterations))
        return exitWrongUsage;
    std::optional<Target> target;
    if (!options.target.empty()) {
        auto const row = std::ranges::find(targets, options.target, &TargetName::name);
        if (row == std::end(targets))
            return wrongUsage(
                "--to: \"" + options.target +
                "\" is not a form; the choices are pem, der, p7b, p12, openssh, traditional and pkcs8");
        target = row->target;
    }
    bool const encrypts = options.encrypt || options.outPassword.isGiven();
    if (encrypts && options.unencrypted)
        return wrongUsage("--unencrypted is given together with a password for what is written");

    Conversion conversion(options);
    if (int const status = readFiles(options, conversion); status != exitDone)
        return status;
    if (!target)
        target = conversion.otherForm();
    if (!target)
        return badInput("there is no single other form for all of this: give --to pem, der, p7b or p12");
    if ((*target == Target::der || *target == Target::p12) && wouldFloodTerminal(options.output))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
    SecretBytes made;
    if (int const status = conversion.make(*target, made); status != exitDone)
        return status;
    if (options.output.empty() || options.output == "-")
        report::goBesideOutput();
    OutputFile output;
    bool const isWritten =
        output.open(options.output, conversion.holdsPrivateKey() ? 0600 : 0666,
                    options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep) &&
        output.write(made) && output.commit();
    if (!isWritten)
        return exitBadInput;
    if (report::isJson())
        report::set({{"output", report::nameOfOutput(options.output)},
                     {"bytes", made.size()},
                     {"form", nameOf(*target)},
                     {"objects", conversion.describeWritten()}});
    return conversion.status();
}

} // namespace

Work setUpConvert(CommandLine commandLine) {
    auto options = std::make_shared<ConvertOptions>();
    commandLine
        .text("--to", options->target,
              "pem, der, p7b (PKCS#7, only certificates and CRLs), p12 (PKCS#12), and for keys pkcs8,\n"
              "traditional (OpenSSL's) or openssh; by default the usual other form")
        .valueName("FORM");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.flag("--comments", options->comments,
                     "write lines with subject and issuer before PEM blocks");
    addPasswordOptions(commandLine, options->password, "of encrypted keys and PKCS#12 files");
    addPasswordOptions(commandLine, options->outPassword, "that keys and PKCS#12 are encrypted under",
                       "out-");
    commandLine.flag("--encrypt", options->encrypt, "encrypt keys; asks for that password twice");
    commandLine.flag("--unencrypted", options->unencrypted, "write encrypted keys without encryption");
    addIterations(commandLine, options->iterations);
    commandLine.json();
    commandLine
        .texts(
            "FILE", options->files,
            "certificates, chains, CRLs, requests, keys, messages, PKCS#7 bundles and PKCS#12 files in any\n"
            "form; - is standard input")
        .required();
    commandLine.footer(
        "The contents of a file are recognised automatically. Without --to the output is PEM or,\n"
        "if everything is already PEM, DER for one object and PKCS#7 for several certificates.\n"
        "Objects that the form cannot hold are reported and left out, and the exit status is 2.\n"
        "An encrypted key stays encrypted, under its own password unless another is given. Only\n"
        "its owner can read a file with private keys.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o my.key\n"
        "  sealkit cert self-sign -k my.key --subject /CN=me -o my.pem\n"
        "  sealkit convert my.pem -o my.der\n"
        "  sealkit convert --to p7b my.pem -o my.p7b\n"
        "  sealkit random 20 --hex -o my.password\n"
        "  sealkit convert --to p12 my.key my.pem --out-password-file my.password -o my.p12\n"
        "  sealkit convert my.p12 --password-file my.password --comments");
    return [options] { return convert(*options); };
}
