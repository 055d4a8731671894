#include "io/input_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

InputStream::~InputStream() {
    if (descriptor > STDIN_FILENO)
        close(descriptor);
}

bool InputStream::open(std::string const& path) {
    descriptor = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0)
        failure = errno;
    return descriptor >= 0;
}

size_t InputStream::readSome(std::span<unsigned char> buffer) {
    while (failure == 0 && !ended) {
        ssize_t const size = ::read(descriptor, buffer.data(), buffer.size());
        if (size > 0)
            return static_cast<size_t>(size);
        if (size == 0)
            ended = true;
        else if (errno != EINTR)
            failure = errno;
    }
    return 0;
}

size_t InputStream::read(std::span<unsigned char> buffer) {
    size_t filled = 0;
    while (filled < buffer.size()) {
        size_t const size = readSome(buffer.subspan(filled));
        if (size == 0)
            break;
        filled += size;
    }
    return filled;
}

std::optional<uint64_t> InputStream::remaining() const {
    struct stat status;
    // Files in /proc and /sys claim to be empty.
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0)
        return std::nullopt;
    off_t const position = lseek(descriptor, 0, SEEK_CUR);
    if (position < 0)
        return std::nullopt;
    return position < status.st_size ? static_cast<uint64_t>(status.st_size - position) : 0;
}
