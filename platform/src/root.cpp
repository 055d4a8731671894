#include "kp/root.h"

#include <cstdlib>
#include <sys/stat.h>

namespace kp {

namespace {

/// The value of an environment variable; empty if it is unset or the program gained privileges.
std::string_view environment(char const* name) {
    char const* const value = secure_getenv(name);
    return value != nullptr ? std::string_view(value) : std::string_view();
}

bool isFolder(char const* path) {
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

std::string root() {
    if (std::string_view const named = environment("KP_ROOT"); !named.empty())
        return std::string(named);
    if (isFolder("/kelp"))
        return "/";
    // The rules for XDG base directories require that relative paths are ignored.
    if (std::string_view const data = environment("XDG_DATA_HOME"); data.starts_with('/'))
        return std::string(data) + "/sealkit";
    if (std::string_view const home = environment("HOME"); home.starts_with('/'))
        return std::string(home) + "/.local/share/sealkit";
    return {};
}

} // namespace

std::string rootPath(std::string_view absolutePath) {
    std::string path = root();
    // Without a root, the machine's own files must not be used instead.
    if (path.empty())
        return path;
    while (path.ends_with('/'))
        path.pop_back();
    if (!absolutePath.starts_with('/'))
        path += '/';
    return path.append(absolutePath);
}

} // namespace kp
