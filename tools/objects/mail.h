/// Messages as S/MIME mail: options for writing it, and what stands between a file and what is signed or
/// encrypted.
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

    /// Whether the options suit each other. Complains.
    bool isUsable(ObjectOutput const& output) const;

    /// What is signed or encrypted of a file: with --text a MIME entity of the text, otherwise the file as it
    /// is. In mail that is clear-signed it gets CR LF line ends. Complains and gives nothing where a mail
    /// must hold an entity and the file is not one.
    std::optional<SecretBytes> prepare(asn1::blob contents, bool isClearSigned) const;

    /// Writes the message as a mail. Complains; returns the exit status.
    int writeMail(OutputFile& output, asn1::blob message) const;
    /// Writes a mail with its content beside the detached signature.
    int writeMail(OutputFile& output, asn1::blob content, asn1::blob signature,
                  std::vector<HashID> const& hashes) const;

private:
    bool readHeaders(std::vector<MailHeader>* to) const;
};

inline constexpr char takeTextHelp[] =
    "the content is a text in MIME form: write only the text, with LF\nline ends";

/// The text of a MIME entity in place of the entity. Complains where it is no text; returns the exit status.
int takeText(std::string const& path, std::vector<unsigned char>& content);
