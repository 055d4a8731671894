/// What the program writes: results on standard output, complaints on standard error, and never a
/// control character that came from a file.
#pragma once

#include "sealkit/text.h"

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace terminal {

using ::printable;

/// A stream buffer that passes whole lines on to another one, each through `printableLine`: what reaches it
/// has been escaped already where it came from a file. The last line leaves when its end of line comes or the
/// buffer is destroyed. Each begins with the prefix.
class PrintableBuffer : public std::streambuf {
public:
    explicit PrintableBuffer(std::streambuf* target, std::string prefix = "")
        : target(target), prefix(std::move(prefix)) {}
    ~PrintableBuffer() override;
    PrintableBuffer(PrintableBuffer const&) = delete;
    PrintableBuffer& operator=(PrintableBuffer const&) = delete;

    /// Passes on what there is of the line, and after it the text as it is: never one that came from a file.
    void putStyle(std::string_view sequence);

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(char const* text, std::streamsize size) override;
    int sync() override;

private:
    bool put(char character);

    std::streambuf* target;
    std::string prefix;
    std::string line;
};

/// Results. Nothing of the program writes to `std::cout` or `std::cerr`.
std::ostream& out();

/// Results that other programs compare byte by byte, names of files among them: as they are, unless
/// standard output is a terminal, which gets them like `out`.
std::ostream& exactOut();

/// Results of a verb whose output itself goes to standard output: to standard error.
std::ostream& besideOutput();

/// Complaints, notes and warnings: each line begins with "sealkit: ".
std::ostream& err();

/// How text looks from here on. Written to `out`, it has an effect where standard output is a terminal that
/// knows colours (`TERM` is not "dumb") and the environment variable `NO_COLOR` is not set or empty.
enum class Style { plain, heading, title, bad };
std::ostream& operator<<(std::ostream& stream, Style style);

/// Set up once at the start of `main`, torn down at its end.
class Session {
public:
    Session();
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    /// Whether everything written so far has left the program.
    bool flush();
};

} // namespace terminal
