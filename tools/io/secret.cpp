#include "io/secret.h"

#include "io/command_line.h"
#include "io/exit_status.h"
#include "io/input_stream.h"

#include <kp/text.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

size_t const maxKeySize = size_t(1) << 20;

} // namespace

KeySource::~KeySource() { secureMemset(hex.data(), 0, hex.size()); }

void addKeyOptions(CommandLine& commandLine, KeySource& source) {
    Parameter const file =
        commandLine
            .text("--key-file", source.file,
                  "the file with the key: all its bytes, including a line end at the end; - is standard\n"
                  "input")
            .valueName("FILE");
    commandLine
        .text("--key", source.hex,
              "the key in hexadecimal, for tests: other users of the\nmachine can see command lines")
        .valueName("HEX")
        .excludes(file);
}

std::optional<SecretBytes> readKey(KeySource const& source, int* status) {
    if (!source.hex.empty()) {
        std::vector<unsigned char> bytes;
        bool const isHex = hex2bin(source.hex, &bytes);
        SecretBytes key(bytes.begin(), bytes.end());
        secureMemset(bytes.data(), 0, bytes.size());
        if (isHex)
            return key;
        *status = wrongUsage("the value of --key is not hexadecimal");
        return std::nullopt;
    }
    if (source.file.empty()) {
        *status = wrongUsage("the key is missing: give --key-file FILE");
        return std::nullopt;
    }
    InputStream input;
    SecretBytes key(maxKeySize + 1);
    if (input.open(source.file))
        key.resize(input.read(key));
    char const* complaint = input.error()             ? std::strerror(input.error())
                            : key.empty()             ? "the key is empty"
                            : key.size() > maxKeySize ? "larger than 1 MiB: not a key"
                                                      : nullptr;
    if (!complaint)
        return key;
    *status = badInput(source.file + ": " + complaint);
    return std::nullopt;
}

std::string wrongKeyLength(SecretBytes const& key, std::string const& name, std::span<size_t const> lengths) {
    auto const fits = [&](size_t length) { return std::ranges::count(lengths, length) > 0; };
    std::string text = "the key has " + std::to_string(key.size()) + " bytes, " + name + " takes ";
    for (size_t i = 0; i < lengths.size(); ++i)
        text += (i == 0 ? "" : i + 1 < lengths.size() ? ", " : " or ") + std::to_string(lengths[i]);
    auto const isText = [](unsigned char c) { return std::isxdigit(c) || c == '\n' || c == '\r'; };
    size_t const digits =
        static_cast<size_t>(std::ranges::count_if(key, [](unsigned char c) { return std::isxdigit(c); }));
    if (digits % 2 == 0 && fits(digits / 2) && std::ranges::all_of(key, isText))
        return text + " (it looks like hexadecimal digits, but the raw bytes are needed)";
    size_t const lineEnd =
        !key.empty() && key.back() == '\n' ? 1 + (key.size() > 1 && *(key.end() - 2) == '\r') : 0;
    if (lineEnd > 0 && fits(key.size() - lineEnd))
        return text + " (including a line end at its end)";
    return text;
}
