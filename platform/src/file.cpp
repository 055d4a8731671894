#include "kp/file.h"

#include "descriptor.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace kp {

using detail::Descriptor;
using detail::uninterrupted;

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
    // The size is only a hint: files of /proc have none, and a file may grow while it is read. One
    // byte of room beyond it finds the end without another step.
    std::string content;
    size_t used = 0;
    size_t room = static_cast<size_t>(status.st_size) + 1;
    for (;;) {
        content.resize(used + room);
        ssize_t const count = uninterrupted([&] { return read(file.get(), content.data() + used, room); });
        if (count < 0)
            return {};
        used += static_cast<size_t>(count);
        if (used > most)
            return {};
        if (count == 0)
            break;
        room = std::max<size_t>(content.size() - used, 4096);
    }
    content.resize(used);
    return content;
}

} // namespace kp
