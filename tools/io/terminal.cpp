#include "io/terminal.h"

#include <unistd.h>

#include <iostream>
#include <memory>

namespace terminal {

PrintableBuffer::~PrintableBuffer() {
    std::string const rest = printableLine(line);
    target->sputn(rest.data(), static_cast<std::streamsize>(rest.size()));
    target->pubsync();
}

bool PrintableBuffer::put(char character) {
    if (character != '\n') {
        line += character;
        return true;
    }
    std::string const safe = printableLine(line) + '\n';
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
