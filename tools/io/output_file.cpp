#include "io/output_file.h"

#include "io/exit_status.h"
#include "sealkit/rng.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int const endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// The files that a signal removes; an empty path is free. Changed only while the signals are blocked.
using Path = char[PATH_MAX];
Path removedBySignal[OutputFile::maxOpen];

extern "C" void removeAndEnd(int number) {
    for (Path const& path : removedBySignal)
        if (path[0] != '\0')
            unlink(path);
    std::signal(number, SIG_DFL);
    std::raise(number); // Delivered when this handler returns.
}

class BlockSignals {
public:
    BlockSignals() {
        sigset_t set;
        sigemptyset(&set);
        for (int number : endingSignals)
            sigaddset(&set, number);
        sigprocmask(SIG_BLOCK, &set, &before);
    }
    ~BlockSignals() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    BlockSignals(BlockSignals const&) = delete;
    BlockSignals& operator=(BlockSignals const&) = delete;

private:
    sigset_t before;
};

void handleSignals() {
    std::signal(SIGXFSZ, SIG_IGN); // Exceeding the size limit becomes a failed write.
    for (int number : endingSignals) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) // nohup
            continue;
        action.sa_handler = removeAndEnd;
        action.sa_flags = 0;
        sigaction(number, &action, nullptr);
    }
}

/// Registers a file for removal by a signal. Returns false if all places are taken.
bool removeBySignal(std::string const& path) {
    for (Path& free : removedBySignal)
        if (free[0] == '\0' && path.size() < sizeof free) {
            std::strcpy(free, path.c_str());
            return true;
        }
    return false;
}

void keepInSignal(std::string const& path) {
    for (Path& kept : removedBySignal)
        if (path == kept)
            kept[0] = '\0';
}

/// An unpredictable name in the folder of `path`.
std::string temporaryBeside(std::string const& path, std::string_view prefix) {
    unsigned char random[8];
    getDefaultRng().fill(random, sizeof random);
    std::string name = path.substr(0, path.rfind('/') + 1).append(prefix);
    for (unsigned char byte : random) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        name += digits;
    }
    return name;
}

/// Renames the new file `from`. Returns 0 or an `errno`.
int moveInto(std::string const& from, std::string const& to, OutputFile::Existing existing) {
    bool const replaces = existing == OutputFile::Existing::replace;
    int const failed = replaces ? std::rename(from.c_str(), to.c_str())
                                : renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (failed == 0)
        return 0;
    if (replaces || (errno != EINVAL && errno != ENOSYS))
        return errno;
    // The file system cannot rename without replacing, so check first.
    if (access(to.c_str(), F_OK) == 0)
        return EEXIST;
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

void syncFolderOf(std::string const& path) {
    std::string const folder = path.substr(0, path.rfind('/') + 1);
    int const descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor); // Some file systems cannot sync a folder; the file itself has been synced.
    close(descriptor);
}

mode_t currentUmask() {
    mode_t const mask = umask(077);
    umask(mask);
    return mask;
}

} // namespace

OutputFile::~OutputFile() {
    if (!isFile())
        return;
    if (descriptor >= 0)
        close(descriptor);
    BlockSignals const blocked;
    if (!temporary.empty())
        unlink(temporary.c_str());
    keepInSignal(temporary);
}

bool OutputFile::complain(int error) const {
    badInput(name + ": " + (error == EEXIST ? "exists already (--force replaces it)" : std::strerror(error)));
    return false;
}

bool OutputFile::open(std::string const& path, mode_t mode, Existing whatIsThere, std::string_view prefix) {
    if (path.empty() || path == "-") {
        name = "standard output";
        descriptor = STDOUT_FILENO;
        return true;
    }
    name = path;
    existing = whatIsThere;

    struct stat status;
    bool const exists = lstat(path.c_str(), &status) == 0;
    if (!exists && errno != ENOENT)
        return complain(errno);
    target = path;
    if (exists && S_ISLNK(status.st_mode)) {
        // Replaces the target of a link and keeps the link. Pipes, from /dev/stdout, have no path.
        char resolved[PATH_MAX];
        if (stat(path.c_str(), &status) != 0 ||
            (S_ISREG(status.st_mode) && !realpath(path.c_str(), resolved)))
            return complain(errno);
        if (S_ISREG(status.st_mode))
            target = resolved;
    }
    if (exists && S_ISDIR(status.st_mode))
        return complain(EISDIR);
    if (exists && !S_ISREG(status.st_mode)) {
        badInput(name + ": not a regular file (write to standard output and redirect it there)");
        return false;
    }
    if (exists && existing == Existing::keep)
        return complain(EEXIST);

    std::string const candidate = temporaryBeside(target, prefix);
    if (candidate.size() >= sizeof(Path))
        return complain(ENAMETOOLONG);
    BlockSignals const blocked;
    handleSignals();
    descriptor = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return complain(errno);
    temporary = candidate;
    if (!removeBySignal(candidate))
        return complain(EMFILE);
    fileMode = mode & ~currentUmask();
    bool const isSecret = (mode & 077) == 0;
    if (exists && !isSecret) {
        // If the owner cannot be kept, the old mode could give others access.
        bool const keptOwner = fchown(descriptor, status.st_uid, status.st_gid) == 0;
        fileMode = status.st_mode & (keptOwner ? 0777 : 0700);
    }
    return true;
}

bool OutputFile::write(std::span<unsigned char const> bytes) {
    while (!bytes.empty()) {
        ssize_t const written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0)
            bytes = bytes.subspan(static_cast<size_t>(written));
        else if (errno != EINTR)
            return complain(errno);
    }
    return true;
}

bool OutputFile::commit() {
    if (!isFile())
        return true;
    bool const written = fchmod(descriptor, fileMode) == 0 && fsync(descriptor) == 0;
    int const error = errno;
    bool const closed = close(descriptor) == 0;
    descriptor = -1;
    if (!written || !closed)
        return complain(written ? errno : error);
    BlockSignals const blocked;
    if (int const failure = moveInto(temporary, target, existing))
        return complain(failure);
    keepInSignal(temporary);
    temporary.clear();
    syncFolderOf(target);
    return true;
}

bool wouldFloodTerminal(std::string const& path) { return path.empty() && isatty(STDOUT_FILENO); }
