#include "io/terminal.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace terminal {

PrintableBuffer::~PrintableBuffer() {
    std::string const rest = line.empty() ? "" : prefix + printableLine(line);
    target->sputn(rest.data(), static_cast<std::streamsize>(rest.size()));
    target->pubsync();
}

bool PrintableBuffer::put(char character) {
    if (character != '\n') {
        line += character;
        return true;
    }
    std::string const safe = prefix + printableLine(line) + '\n';
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

void PrintableBuffer::putStyle(std::string_view sequence) {
    std::string const safe = printableLine(line) + std::string(sequence);
    line.clear();
    target->sputn(safe.data(), static_cast<std::streamsize>(safe.size()));
}

int PrintableBuffer::sync() { return target->pubsync(); }

namespace {

/// Writes to a descriptor in large pieces. A failed write sets the stream's error state.
class DescriptorBuffer : public std::streambuf {
public:
    explicit DescriptorBuffer(int to) : descriptor(to) { setp(buffer, buffer + sizeof buffer); }
    ~DescriptorBuffer() override { writeAll(); }
    DescriptorBuffer(DescriptorBuffer const&) = delete;
    DescriptorBuffer& operator=(DescriptorBuffer const&) = delete;

protected:
    int_type overflow(int_type character) override {
        if (!writeAll())
            return traits_type::eof();
        return traits_type::eq_int_type(character, traits_type::eof())
                   ? traits_type::not_eof(character)
                   : sputc(traits_type::to_char_type(character));
    }
    int sync() override { return writeAll() ? 0 : -1; }

private:
    bool writeAll() {
        char const* from = pbase();
        while (from != pptr()) {
            ssize_t const written = ::write(descriptor, from, static_cast<size_t>(pptr() - from));
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0)
                break;
            from += written;
        }
        bool const isDone = from == pptr();
        setp(buffer, buffer + sizeof buffer);
        return isDone;
    }

    int descriptor;
    char buffer[1 << 16];
};

bool hasColours() {
    char const* const refused = std::getenv("NO_COLOR");
    char const* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == 0) && kind != nullptr &&
           *kind != 0 && std::string_view(kind) != "dumb";
}

struct Streams {
    bool const isColoured = hasColours();
    DescriptorBuffer standardOutput{STDOUT_FILENO};
    DescriptorBuffer standardError{STDERR_FILENO};
    PrintableBuffer outBuffer{&standardOutput};
    PrintableBuffer besideBuffer{&standardError};
    PrintableBuffer errBuffer{&standardError, "sealkit: "};
    std::ostream out{&outBuffer};
    std::ostream exactOut{isatty(STDOUT_FILENO) ? static_cast<std::streambuf*>(&outBuffer) : &standardOutput};
    std::ostream besideOutput{&besideBuffer};
    std::ostream err{&errBuffer};
};

std::unique_ptr<Streams> streams;

} // namespace

std::ostream& out() { return streams->out; }
std::ostream& exactOut() { return streams->exactOut; }
std::ostream& besideOutput() { return streams->besideOutput; }
std::ostream& err() { return streams->err; }

std::ostream& operator<<(std::ostream& stream, Style style) {
    // Select Graphic Rendition (ECMA-48, section 8.3.117): plain, bold, cyan, red.
    static constexpr std::string_view sequences[] = {"\x1b[0m", "\x1b[1m", "\x1b[36m", "\x1b[31m"};
    if (&stream == &streams->out && streams->isColoured)
        streams->outBuffer.putStyle(sequences[static_cast<size_t>(style)]);
    return stream;
}

Session::Session() { streams = std::make_unique<Streams>(); }
Session::~Session() { streams.reset(); }

bool Session::flush() {
    streams->out.flush();
    streams->exactOut.flush();
    return streams->out.good() && streams->exactOut.good();
}

} // namespace terminal
