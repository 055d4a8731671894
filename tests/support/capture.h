/// What the library says on standard output.
#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace test {

/// Collects what is written to `std::cout` while it lives.
class CoutCapture {
public:
    CoutCapture() : before(std::cout.rdbuf(collected.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(before); }
    CoutCapture(CoutCapture const&) = delete;
    CoutCapture& operator=(CoutCapture const&) = delete;

    std::string text() const { return collected.str(); }

private:
    std::ostringstream collected;
    std::streambuf* before;
};

} // namespace test
