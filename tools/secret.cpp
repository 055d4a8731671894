#include "secret.h"

#include "input_stream.h"
#include "verb.h"

#include <kp/text.h>

#include <cstring>

namespace {

size_t const largestKey = size_t(1) << 20;

} // namespace

KeySource::~KeySource() { secureMemset(hex.data(), 0, hex.size()); }

void addKeyOptions(CommandLine& commandLine, KeySource& source) {
    Parameter const file = commandLine
                               .text("--key-file", source.file,
                                     "the file with the key: its bytes as they are, a line end\n"
                                     "at its end included; - is standard input")
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
        *status = wrongUsage("a key is missing: give --key-file FILE");
        return std::nullopt;
    }
    InputStream input;
    SecretBytes key(largestKey + 1);
    if (input.open(source.file))
        key.resize(input.read(key));
    char const* complaint = input.error()             ? std::strerror(input.error())
                            : key.empty()             ? "the key is empty"
                            : key.size() > largestKey ? "larger than 1 MiB: that is no key"
                                                      : nullptr;
    if (!complaint)
        return key;
    *status = badInput(source.file + ": " + complaint);
    return std::nullopt;
}
