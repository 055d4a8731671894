#include "io/hex.h"
#include "io/number.h"
#include "io/output_file.h"
#include "io/progress.h"
#include "io/secret.h"
#include "verbs/verb.h"

#include "sealkit/rng.h"

#include <kp/base64.h>

#include <algorithm>
#include <memory>

namespace {

struct RandomOptions {
    std::string count;
    bool hex = false;
    bool base64 = false;
    std::string output;
    bool force = false;
};

/// A multiple of 3, so that base64 is padded only at its end.
size_t const randomPiece = 3 << 14;

/// Reads a number of bytes. K, M or G after it multiplies it by 2^10, 2^20 or 2^30.
std::optional<uint64_t> parseCount(std::string_view text) {
    unsigned shift = 0;
    size_t const suffix =
        text.empty() ? std::string_view::npos : std::string_view("kmgKMG").find(text.back());
    if (suffix != std::string_view::npos) {
        shift = 10 * static_cast<unsigned>(suffix % 3 + 1);
        text.remove_suffix(1);
    }
    auto const number = parseNumber<uint64_t>(text);
    if (!number || *number > UINT64_MAX >> shift)
        return std::nullopt;
    return *number << shift;
}

/// Encodes a piece in the form of the options.
SecretBytes encode(SecretBytes const& bytes, RandomOptions const& options) {
    if (options.base64) {
        std::string text = kp::base64Encode(bytes);
        SecretBytes encoded(text.begin(), text.end());
        secureMemset(text.data(), 0, text.size());
        return encoded;
    }
    if (options.hex)
        return toHex(bytes);
    return bytes;
}

int random(RandomOptions const& options) {
    auto const count = parseCount(options.count);
    if (!count)
        return wrongUsage("\"" + options.count + "\" is not a number of bytes");
    bool const isText = options.hex || options.base64;
    if (!isText && wouldFloodTerminal(options.output))
        return wrongUsage("raw bytes would garble the terminal: give --hex, --base64, -o FILE or -o -");

    OutputFile output;
    if (!output.open(options.output, 0600,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    SecretBytes piece;
    {
        Progress progress(count);
        for (uint64_t left = *count; left > 0; left -= piece.size()) {
            piece.resize(static_cast<size_t>(std::min<uint64_t>(left, randomPiece)));
            if (!getDefaultRng().fill(piece.data(), static_cast<unsigned>(piece.size())))
                return badInput("the random source failed");
            if (!output.write(encode(piece, options)))
                return exitBadInput;
            progress.advance(piece.size());
        }
    }
    static unsigned char const lineEnd[] = {'\n'};
    if (isText && !output.write(lineEnd))
        return exitBadInput;
    return output.commit() ? exitDone : exitBadInput;
}

} // namespace

Work setUpRandom(CommandLine commandLine) {
    auto options = std::make_shared<RandomOptions>();
    commandLine.text("N", options->count, "the number of bytes; 16K, 16M and 16G are multiples of 1024")
        .required();
    Parameter const hex = commandLine.flag("--hex", options->hex, "write hexadecimal on one line");
    commandLine.flag("--base64", options->base64, "write base64 on one line").excludes(hex);
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.footer(
        "The bytes come from the kernel's generator and are suitable for keys. Only its owner can\n"
        "read the output file. Raw bytes are not written to a terminal unless -o - is given.\n\n"
        "Examples:\n"
        "  sealkit random 32 -o my.key\n"
        "  sealkit random 16 --hex");
    return [options] { return random(*options); };
}
