/// The program's output: results on standard output and complaints on standard error, without control
/// characters from input.
#pragma once

#include "sealkit/text.h"

#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace terminal {

using ::printable;

/// A stream buffer that passes complete lines to another one, each with the prefix and through
/// `printableLine`. Text from files must be escaped already. The last line leaves at its end or when the
/// buffer is destroyed.
class PrintableBuffer : public std::streambuf {
public:
    explicit PrintableBuffer(std::streambuf* target, std::string prefix = "")
        : target(target), prefix(std::move(prefix)) {}
    ~PrintableBuffer() override;
    PrintableBuffer(PrintableBuffer const&) = delete;
    PrintableBuffer& operator=(PrintableBuffer const&) = delete;

    /// Flushes the current line, then writes the text unescaped, which must not come from a file.
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

/// Results. The program never writes to `std::cout` or `std::cerr`.
std::ostream& out();

/// Results that other programs compare byte by byte, such as names of files. They are unchanged, except that
/// a terminal gets them like `out`.
std::ostream& exactOut();

/// Standard error, for reports of a verb whose output goes to standard output.
std::ostream& besideOutput();

/// Complaints, notes and warnings: each line begins with "sealkit: ".
std::ostream& err();

/// The style of the text that follows. It has an effect on `out` if standard output is a terminal with
/// colours (`TERM` is not "dumb") and the environment variable `NO_COLOR` is unset or empty.
enum class Style { plain, heading, title, bad };
std::ostream& operator<<(std::ostream& stream, Style style);

/// Created once at the start of `main` and destroyed at its end.
class Session {
public:
    Session();
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    /// Flushes; returns false if anything written so far has been lost.
    bool flush();
};

} // namespace terminal
