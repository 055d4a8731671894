#include "kp/store.h"

#include "descriptor.h"
#include "kp/file.h"
#include "kp/root.h"
#include "record.h"

#include <algorithm>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <utility>

namespace kp {

using detail::Descriptor;
using detail::uninterrupted;

namespace {

constexpr std::string_view storesFolder = "/rw/store";
constexpr size_t maxNameSize = 255;
constexpr mode_t folderMode = 0700;
constexpr mode_t fileMode = 0600;

// The files of a store's folder. No part of a store's name has a dot, so the folders of other stores in it
// ("cert/settings" in "cert") cannot collide with them.
constexpr std::string_view recordSuffix = ".rec";
constexpr std::string_view stateFile = "/state.rec";
constexpr std::string_view lockFile = "/.lock";
constexpr std::string_view newFile = "/.new"; ///< A record that the holder of the lock writes.

/// The field of the state record that holds the word.
constexpr uint32_t stateField = 1;
constexpr uint32_t initialState = UINT32_MAX;

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool isNamePart(std::string_view part) {
    return !part.empty() && std::all_of(part.begin(), part.end(), isNameCharacter);
}

bool isStoreName(std::string_view name) {
    if (name.size() > maxNameSize)
        return false;
    for (size_t slash; (slash = name.find('/')) != name.npos; name.remove_prefix(slash + 1))
        if (!isNamePart(name.substr(0, slash)))
            return false;
    return isNamePart(name);
}

std::string recordFile(int32_t id) { return "/" + std::to_string(id) + std::string(recordSuffix); }

/// The id whose record has that file name.
std::optional<int32_t> recordId(std::string_view fileName) {
    if (!fileName.ends_with(recordSuffix))
        return std::nullopt;
    fileName.remove_suffix(recordSuffix.size());
    int32_t id = 0;
    auto const [end, error] = std::from_chars(fileName.data(), fileName.data() + fileName.size(), id);
    // Comparing the texts refuses "007" and "-0", which no record is written to.
    if (error != std::errc() || std::to_string(id) != fileName)
        return std::nullopt;
    return id;
}

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

/// Calls `visit` with the name of each entry of the folder; not at all if the folder cannot be read.
template <typename Visit>
void forEachEntry(std::string const& folder, Visit visit) {
    std::unique_ptr<DIR, CloseFolder> const entries(opendir(folder.c_str()));
    if (entries == nullptr)
        return;
    while (dirent const* const entry = readdir(entries.get()))
        visit(std::string_view(entry->d_name));
}

/// Waits until the changes to the open file or folder are on disk.
bool sync(int file) {
    // EINVAL: this file system has no way to wait for this kind of file.
    return uninterrupted([&] { return fsync(file); }) == 0 || errno == EINVAL;
}

bool syncFolder(std::string const& folder) {
    Descriptor const file(
        uninterrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    return file.isOpen() && sync(file.get());
}

std::string parentFolder(std::string const& path) {
    size_t const slash = path.rfind('/');
    return slash == path.npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

/// Makes the folder and its missing parents.
bool makeFolder(std::string const& folder) {
    int result = mkdir(folder.c_str(), folderMode);
    if (result != 0 && errno == ENOENT && makeFolder(parentFolder(folder)))
        result = mkdir(folder.c_str(), folderMode);
    if (result != 0)
        return errno == EEXIST;
    return syncFolder(parentFolder(folder));
}

/// Keeps other writers out of a store's folder during its lifetime, and makes the folder if it is missing.
/// The system releases the lock when the process ends.
class WriteLock {
public:
    explicit WriteLock(std::string const& folder)
        : file(makeFolder(folder) ? openFile(folder + std::string(lockFile)) : -1),
          locked(file.isOpen() && uninterrupted([&] { return flock(file.get(), LOCK_EX); }) == 0) {}
    ~WriteLock() {
        // Closing would not suffice: a child that was forked meanwhile would keep the lock.
        if (locked) {
            int const error = errno;
            flock(file.get(), LOCK_UN);
            errno = error;
        }
    }
    WriteLock(WriteLock const&) = delete;
    WriteLock& operator=(WriteLock const&) = delete;

    bool held() const { return locked; }

private:
    static int openFile(std::string const& path) {
        return uninterrupted(
            [&] { return open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, fileMode); });
    }

    Descriptor const file;
    bool const locked;
};

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const count = uninterrupted([&] { return write(file, bytes.data(), bytes.size()); });
        if (count < 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

/// Writes the bytes to the file of the folder, whose lock is held. A reader sees the old content or the
/// new one: a temporary file gets the name when it is complete and on disk.
bool replaceFile(std::string const& folder, std::string const& name, std::string_view bytes) {
    std::string const temporary = folder + std::string(newFile);
    unlink(temporary.c_str()); // Of a writer that was killed.
    Descriptor const file(uninterrupted(
        [&] { return open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, fileMode); }));
    if (!file.isOpen())
        return false;
    if (!writeAll(file.get(), bytes) || !sync(file.get()) ||
        rename(temporary.c_str(), (folder + name).c_str()) != 0) {
        int const error = errno;
        unlink(temporary.c_str());
        errno = error;
        return false;
    }
    return syncFolder(folder);
}

/// Writes the record to the file that `chooseName` returns while no other process writes to the folder.
/// Writes nothing if the name is empty; `errno` is then as `chooseName` set it.
template <typename ChooseName>
bool writeRecord(std::string const& folder, ChooseName chooseName, message const& record) {
    if (folder.empty()) {
        errno = EINVAL;
        return false;
    }
    std::optional<std::string> const bytes = detail::encodeRecord(record);
    if (!bytes) {
        errno = EFBIG;
        return false;
    }
    WriteLock const lock(folder);
    if (!lock.held())
        return false;
    std::string const name = chooseName();
    return !name.empty() && replaceFile(folder, name, *bytes);
}

/// The record in that file; nothing if it or the folder is missing.
std::optional<message> readRecord(std::string const& folder, std::string const& name) {
    if (folder.empty())
        return std::nullopt;
    return detail::decodeRecord(readFile(folder + name, maxRecordSize));
}

/// The lowest positive id that is not among the sorted ones; 0 if all are used.
int32_t lowestFreeId(std::vector<int32_t> const& ids) {
    int32_t id = 1;
    for (auto taken = std::lower_bound(ids.begin(), ids.end(), id); taken != ids.end() && *taken == id;
         ++taken) {
        if (id == INT32_MAX)
            return 0;
        ++id;
    }
    return id;
}

bool isFolder(std::string const& path) {
    // Symbolic links are ignored: a cycle of links would never end.
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

Store::Store(std::string_view name) {
    if (!isStoreName(name))
        return;
    folder = rootPath(storesFolder);
    if (!folder.empty())
        folder.append("/").append(name);
}

std::optional<message> Store::find(int32_t id) const { return readRecord(folder, recordFile(id)); }

bool Store::put(int32_t id, message const& record) {
    return writeRecord(
        folder, [&] { return recordFile(id); }, record);
}

std::optional<int32_t> Store::add(message const& record) {
    auto const place = findOrAdd(record, {});
    return place ? std::optional(place->id) : std::nullopt;
}

std::optional<Store::Place> Store::findOrAdd(message const& record, Predicate const& isWanted) {
    Place place = {0, false};
    std::optional<int32_t> found;
    place.added = writeRecord(
        folder,
        [&] {
            std::vector<int32_t> const taken = ids();
            if (isWanted)
                for (int32_t id : taken)
                    if (auto const present = find(id); present && isWanted(id, *present)) {
                        found = id;
                        return std::string();
                    }
            place.id = lowestFreeId(taken);
            if (place.id != 0)
                return recordFile(place.id);
            errno = ENOSPC;
            return std::string();
        },
        record);
    if (found)
        return Place{*found, false};
    return place.added ? std::optional(place) : std::nullopt;
}

bool Store::remove(int32_t id) {
    if (!valid()) {
        errno = EINVAL;
        return false;
    }
    return unlink((folder + recordFile(id)).c_str()) == 0 && syncFolder(folder);
}

bool Store::removeIf(int32_t id, Predicate const& isWanted) {
    auto const isThere = [&] {
        auto const present = find(id);
        errno = ENOENT;
        return present && isWanted(id, *present);
    };
    // The lock would make the folder, so a store without the record is not locked.
    if (!isThere())
        return false;
    WriteLock const lock(folder);
    return lock.held() && isThere() && remove(id);
}

std::vector<int32_t> Store::ids() const {
    std::vector<int32_t> found;
    if (valid())
        forEachEntry(folder, [&](std::string_view name) {
            if (std::optional<int32_t> const id = recordId(name))
                found.push_back(*id);
        });
    std::sort(found.begin(), found.end());
    return found;
}

uint32_t Store::state() const {
    return readRecord(folder, std::string(stateFile)).value_or(message{}).getU32(stateField, initialState);
}

bool Store::setState(uint32_t word) {
    message record;
    record.setU32(stateField, word);
    return writeRecord(
        folder, [] { return std::string(stateFile); }, record);
}

std::vector<std::string> storeNames() {
    std::vector<std::string> names;
    std::string const stores = rootPath(storesFolder);
    if (stores.empty())
        return names;
    std::vector<std::string> pending = {""}; // Each name begins with a slash; the top folder is empty.
    while (!pending.empty()) {
        std::string const name = std::move(pending.back());
        pending.pop_back();
        bool hasRecord = false;
        forEachEntry(stores + name, [&](std::string_view entry) {
            hasRecord = hasRecord || recordId(entry);
            std::string inner = name;
            inner.append("/").append(entry);
            if (isStoreName(std::string_view(inner).substr(1)) && isFolder(stores + inner))
                pending.push_back(std::move(inner));
        });
        if (hasRecord && !name.empty())
            names.push_back(name.substr(1));
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace kp
