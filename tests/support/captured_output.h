/// Captures the library's diagnostics on standard output and standard error.
#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace test {

/// Captures `std::cout` during its lifetime.
class CapturedOutput {
public:
    CapturedOutput() : shown(std::cout.rdbuf(kept.rdbuf())) {}
    ~CapturedOutput() { std::cout.rdbuf(shown); }
    CapturedOutput(CapturedOutput const&) = delete;
    CapturedOutput& operator=(CapturedOutput const&) = delete;

    /// Everything written so far.
    std::string text() const { return kept.str(); }

private:
    std::ostringstream kept;
    std::streambuf* shown;
};

/// The same for `std::cerr`.
class CapturedErrors {
public:
    CapturedErrors() : shown(std::cerr.rdbuf(kept.rdbuf())) {}
    ~CapturedErrors() { std::cerr.rdbuf(shown); }
    CapturedErrors(CapturedErrors const&) = delete;
    CapturedErrors& operator=(CapturedErrors const&) = delete;

    std::string text() const { return kept.str(); }

private:
    std::ostringstream kept;
    std::streambuf* shown;
};

} // namespace test
