/// What the program writes: results on standard output, complaints on standard error, and never a
/// control character that came from a file.
#pragma once

#include "sealkit/text.h"

#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>

namespace terminal {

using ::printable;

/// A stream buffer that passes whole lines on to another one, each through `printableLine`: what reaches it has been
/// escaped already where it came from a file. The last line leaves when its end of line comes or the buffer is destroyed.
class PrintableBuffer : public std::streambuf {
public:
    explicit PrintableBuffer(std::streambuf* target) : target(target) {}
    ~PrintableBuffer() override;
    PrintableBuffer(PrintableBuffer const&) = delete;
    PrintableBuffer& operator=(PrintableBuffer const&) = delete;

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(char const* text, std::streamsize size) override;
    int sync() override;

private:
    bool put(char character);

    std::streambuf* target;
    std::string line;
};

/// Results. Standard output itself, not `std::cout`: the library's own diagnostics go through
/// `std::cout`, and `Session` turns those to standard error.
std::ostream& out();

/// Results that other programs compare byte by byte, names of files among them: as they are, unless
/// standard output is a terminal, which gets them like `out`.
std::ostream& exactOut();

/// Complaints, notes and warnings.
std::ostream& err();

/// Keeps the library's diagnostics to itself while it lives: for folders of certificates, where they name
/// no file and bury what is said about the chain.
class MuteDiagnostics {
public:
    MuteDiagnostics();
    ~MuteDiagnostics();
    MuteDiagnostics(MuteDiagnostics const&) = delete;
    MuteDiagnostics& operator=(MuteDiagnostics const&) = delete;

private:
    std::streambuf* outBefore;
    std::streambuf* errBefore;
};

/// Catches the library's diagnostics while it lives, for who has something to say about them.
class CaptureDiagnostics {
public:
    CaptureDiagnostics();
    ~CaptureDiagnostics();
    CaptureDiagnostics(CaptureDiagnostics const&) = delete;
    CaptureDiagnostics& operator=(CaptureDiagnostics const&) = delete;

    /// The lines so far, in one; empty when there are none.
    std::string text() const;

private:
    std::ostringstream caught;
    std::streambuf* outBefore;
    std::streambuf* errBefore;
};

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
