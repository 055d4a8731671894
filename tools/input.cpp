#include "input.h"

#include "terminal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

struct CloseFile {
    void operator()(FILE* file) const {
        if (file != stdin)
            std::fclose(file);
    }
};

} // namespace

std::optional<std::string> readInput(std::string const& path) {
    auto complain = [&](char const* why) {
        terminal::err() << "sealkit: " << terminal::printable(path) << ": " << why << std::endl;
        return std::nullopt;
    };
    std::unique_ptr<FILE, CloseFile> file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    if (!file)
        return complain(std::strerror(errno));

    std::string contents;
    char chunk[65536];
    while (size_t const size = std::fread(chunk, 1, sizeof(chunk), file.get())) {
        contents.append(chunk, size);
        if (contents.size() > inputLimit)
            return complain("larger than 256 MiB");
    }
    if (std::ferror(file.get()))
        return complain(std::strerror(errno));
    return contents;
}
