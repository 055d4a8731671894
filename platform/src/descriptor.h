/// An open file that is closed with its scope.
#pragma once

#include <cerrno>
#include <unistd.h>

namespace kp::detail {

/// Repeats a system call while signals interrupt it.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

class Descriptor {
public:
    explicit Descriptor(int openFile) : number(openFile) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    /// `errno` keeps its value.
    ~Descriptor() {
        int const error = errno;
        if (isOpen())
            close(number);
        errno = error;
    }

    bool isOpen() const { return number >= 0; }
    int get() const { return number; }

private:
    int const number;
};

} // namespace kp::detail
