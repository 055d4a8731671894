#include "io/terminal.h"

#include <unistd.h>

#include <iostream>
#include <memory>

namespace terminal {

namespace {

struct CodePoint {
    char32_t value;
    size_t length; ///< In bytes; 0 when the bytes are not UTF-8.
};

CodePoint decodeUtf8(std::string_view text) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char const lead = byte(0);
    if (lead < 0x80)
        return {lead, 1};
    size_t const length = lead >= 0xF0 && lead < 0xF8   ? 4
                          : lead >= 0xE0 && lead < 0xF0 ? 3
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                                                        : 0;
    if (length == 0 || text.size() < length)
        return {0, 0};
    char32_t value = lead & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return {0, 0};
        value = (value << 6) | (byte(i) & 0x3F);
    }
    static char32_t const smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    bool const surrogate = value >= 0xD800 && value < 0xE000;
    if (value < smallest[length] || value > 0x10FFFF || surrogate)
        return {0, 0};
    return {value, length};
}

/// Controls, and what changes the order or visibility of its neighbours: direction marks and
/// overrides, zero-width characters, line and paragraph separators, tags, the byte-order mark.
bool deceives(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xAD || c == 0x61C || (c >= 0x200B && c <= 0x200F) ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF ||
           (c >= 0xFFF9 && c <= 0xFFFB) || (c >= 0xE0000 && c <= 0xE007F);
}

void appendEscaped(std::string& to, std::string_view bytes) {
    static char const digits[] = "0123456789abcdef";
    for (char c : bytes) {
        auto const byte = static_cast<unsigned char>(c);
        to += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    }
}

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        CodePoint const point = decodeUtf8(text);
        size_t const length = point.length ? point.length : 1;
        if (point.length == 0 || deceives(point.value))
            appendEscaped(result, text.substr(0, length));
        else
            result += text.substr(0, length);
        text.remove_prefix(length);
    }
    return result;
}

PrintableBuffer::~PrintableBuffer() {
    std::string const rest = printable(line);
    target->sputn(rest.data(), static_cast<std::streamsize>(rest.size()));
    target->pubsync();
}

bool PrintableBuffer::put(char character) {
    if (character != '\n') {
        line += character;
        return true;
    }
    std::string const safe = printable(line) + '\n';
    line.clear();
    return target->sputn(safe.data(), static_cast<std::streamsize>(safe.size())) ==
           static_cast<std::streamsize>(safe.size());
}

PrintableBuffer::int_type PrintableBuffer::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof()))
        return traits_type::not_eof(character);
    return put(traits_type::to_char_type(character)) ? character : traits_type::eof();
}

std::streamsize PrintableBuffer::xsputn(char const* text, std::streamsize size) {
    for (std::streamsize i = 0; i < size; ++i)
        if (!put(text[i]))
            return i;
    return size;
}

int PrintableBuffer::sync() { return target->pubsync(); }

namespace {

struct Streams {
    std::streambuf* standardOutput = std::cout.rdbuf();
    std::streambuf* standardError = std::cerr.rdbuf();
    PrintableBuffer outBuffer{standardOutput};
    PrintableBuffer errBuffer{standardError};
    std::ostream out{&outBuffer};
    std::ostream exactOut{isatty(STDOUT_FILENO) ? &outBuffer : standardOutput};
    std::ostream err{&errBuffer};

    Streams() {
        std::cout.rdbuf(&errBuffer);
        std::cerr.rdbuf(&errBuffer);
    }
    ~Streams() {
        std::cout.rdbuf(standardOutput);
        std::cerr.rdbuf(standardError);
    }
};

std::unique_ptr<Streams> streams;

} // namespace

std::ostream& out() { return streams->out; }
std::ostream& exactOut() { return streams->exactOut; }
std::ostream& err() { return streams->err; }

MuteDiagnostics::MuteDiagnostics()
    : outBefore(std::cout.rdbuf(nullptr)), errBefore(std::cerr.rdbuf(nullptr)) {}
MuteDiagnostics::~MuteDiagnostics() {
    std::cout.rdbuf(outBefore); // This clears the error state, too.
    std::cerr.rdbuf(errBefore);
}

CaptureDiagnostics::CaptureDiagnostics()
    : outBefore(std::cout.rdbuf(caught.rdbuf())), errBefore(std::cerr.rdbuf(caught.rdbuf())) {}
CaptureDiagnostics::~CaptureDiagnostics() {
    std::cout.rdbuf(outBefore);
    std::cerr.rdbuf(errBefore);
}

std::string CaptureDiagnostics::text() const {
    std::istringstream lines(caught.str());
    std::string text;
    for (std::string line; std::getline(lines, line);)
        text += (text.empty() ? "" : "; ") + line;
    return text;
}

Session::Session() { streams = std::make_unique<Streams>(); }
Session::~Session() { streams.reset(); }

bool Session::flush() {
    streams->out.flush();
    streams->exactOut.flush();
    return streams->out.good() && streams->exactOut.good();
}

} // namespace terminal
