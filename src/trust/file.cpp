#include "trust/file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace detail {

namespace {

/// No object that is read as a whole is near this size.
constexpr size_t maxFileSize = size_t(256) << 20;
constexpr size_t pieceSize = size_t(64) << 10;

/// A file that is open for reading.
struct Descriptor {
    explicit Descriptor(std::string const& path) : number(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int number;
};

} // namespace

bool refuseFile(int error, Refusal* refusal) {
    if (refusal != nullptr) {
        *refusal = {};
        refusal->id = error == ENOENT ? RefusalId::missingFile : RefusalId::unreadableFile;
        refusal->facts = {{"system", std::strerror(error)}};
    }
    return false;
}

bool readFile(std::string const& path, std::string* contents, Refusal* refusal) {
    Descriptor const file(path);
    if (file.number < 0)
        return refuseFile(errno, refusal);
    contents->clear();
    for (;;) {
        size_t const size = contents->size();
        contents->resize(size + pieceSize);
        ssize_t const got = read(file.number, contents->data() + size, pieceSize);
        int const error = errno;
        contents->resize(size + (got > 0 ? static_cast<size_t>(got) : 0));
        if (got < 0 && error == EINTR)
            continue;
        if (got < 0)
            return refuseFile(error, refusal);
        if (got == 0)
            return true;
        if (contents->size() > maxFileSize) {
            if (refusal != nullptr) {
                *refusal = {};
                refusal->id = RefusalId::inputTooLarge;
            }
            return false;
        }
    }
}

} // namespace detail
