#include "kp/file.h"

#include "descriptor.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace kp {

using detail::Descriptor;
using detail::uninterrupted;

namespace {

// The file may contain a private key, so freed memory is wiped.

void wipe(std::string& content) { explicit_bzero(content.data(), content.size()); }

void grow(std::string& content) {
    std::string larger(content.size() + std::max<size_t>(content.size(), 4096), '\0');
    content.copy(larger.data(), content.size());
    wipe(content);
    content.swap(larger);
}

} // namespace

std::string readFile(std::string_view path, int64_t limit, int /*flags*/) {
    std::string const terminated(path);
    if (terminated.find('\0') != terminated.npos)
        return {};
    Descriptor const file(uninterrupted(
        [&] { return open(terminated.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
    struct stat status;
    if (!file.isOpen() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};

    size_t const most =
        limit < 0 ? maxFileSize
                  : static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(limit), maxFileSize));
    if (static_cast<uint64_t>(status.st_size) > most)
        return {};
    // The size is only a hint: files of /proc have size 0, and a file may grow while it is read. One byte of
    // room beyond it finds the end without another step.
    std::string content(static_cast<size_t>(status.st_size) + 1, '\0');
    size_t used = 0;
    for (;;) {
        if (used == content.size())
            grow(content);
        ssize_t const count =
            uninterrupted([&] { return read(file.get(), content.data() + used, content.size() - used); });
        if (count == 0)
            break;
        used += count < 0 ? 0 : static_cast<size_t>(count);
        if (count < 0 || used > most) {
            wipe(content);
            return {};
        }
    }
    content.resize(used);
    return content;
}

} // namespace kp
