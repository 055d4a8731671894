/// S/MIME mail: the options for writing it, and the conversion between a file and the MIME entity that is
/// signed or encrypted.
#pragma once

#include "io/command_line.h"
#include "io/output_file.h"
#include "io/secret.h"
#include "objects/object_output.h"

#include "sealkit/blob.h"
#include "sealkit/hash.h"
#include "sealkit/smime.h"

#include <optional>
#include <string>
#include <vector>

struct MailOptions {
    bool smime = false;
    bool text = false;
    std::vector<std::string> headers;

    /// Declares --smime, --text and --header.
    void declare(CommandLine& commandLine);

    /// Whether the options are compatible. Complains if not.
    bool isUsable(ObjectOutput const& output) const;

    /// The bytes that are signed or encrypted for a file: with --text a MIME entity of the text, otherwise
    /// the file unchanged. Clear-signed mail gets CR LF line ends. Complains and returns nothing if a mail
    /// must hold an entity and the file is not one.
    std::optional<SecretBytes> prepare(asn1::blob contents, bool isClearSigned) const;

    /// Writes the message as a mail. Complains on failure. Returns the exit status.
    int writeMail(OutputFile& output, asn1::blob message) const;
    /// Writes a mail with the content and its detached signature.
    int writeMail(OutputFile& output, asn1::blob content, asn1::blob signature,
                  std::vector<HashID> const& hashes) const;

private:
    bool readHeaders(std::vector<MailHeader>* to) const;
};

inline constexpr char takeTextHelp[] =
    "the content is a text in MIME form: write only the text, with LF\nline ends";

/// Replaces a MIME entity of text by its text. Complains if it is not text. Returns the exit status.
int takeText(std::string const& path, std::vector<unsigned char>& content);
