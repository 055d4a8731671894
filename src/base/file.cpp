#include "base/file.h"

#include "base/secret_bytes.h"
#include "kp/file.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace detail {

namespace {

/// The text of an error number, in the C locale.
std::vector<Fact> reasonOf(int error) { return {{"reason", std::strerror(error)}}; }

} // namespace

FileText::FileText(std::string path) : name(std::move(path)), text(kp::readFile(name, -1, 0)) {}

FileText::~FileText() { wipe(text); }

void FileText::explain(Reading& reading) const {
    if (!text.empty() || !reading.wantsReason())
        return;
    // `kp::readFile` gives no reason, and the target's edition of it may not set errno.
    struct stat status;
    if (name.find('\0') != std::string::npos) {
        reading.refuse(RefusalId::missingFile, nullptr);
    } else if (stat(name.c_str(), &status) != 0) {
        int const error = errno;
        bool const isMissing = error == ENOENT || error == ENOTDIR;
        reading.refuse(isMissing ? RefusalId::missingFile : RefusalId::unreadableFile, nullptr,
                       isMissing ? std::vector<Fact>() : reasonOf(error));
    } else if (!S_ISREG(status.st_mode)) {
        reading.refuse(RefusalId::unreadableFile, nullptr,
                       {{"reason", S_ISDIR(status.st_mode) ? "Is a directory" : "Not a regular file"}});
    } else if (access(name.c_str(), R_OK) != 0) {
        int const error = errno;
        reading.refuse(RefusalId::unreadableFile, nullptr, reasonOf(error));
    } else if (status.st_size == 0) {
        reading.refuse(RefusalId::emptyInput, nullptr);
    } else if (static_cast<unsigned long long>(status.st_size) > kp::maxFileSize) {
        reading.refuse(RefusalId::inputTooLarge, nullptr,
                       {{"maximum", std::to_string(kp::maxFileSize) + " bytes"},
                        {"found", std::to_string(status.st_size) + " bytes"}});
    } else {
        reading.refuse(RefusalId::unreadableFile, nullptr);
    }
}

bool isFolder(std::string const& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

int listFolder(std::string const& path, std::vector<std::string>* names) {
    std::unique_ptr<DIR, int (*)(DIR*)> const folder(opendir(path.c_str()), closedir);
    if (!folder)
        return errno;
    while (dirent const* const entry = readdir(folder.get()))
        names->emplace_back(entry->d_name);
    return 0;
}

} // namespace detail
