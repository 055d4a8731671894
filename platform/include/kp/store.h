/// Named stores of messages: the configuration of the operating system.
///
/// A store contains messages by signed 32-bit id, and one 32-bit state word. In the host edition it is a
/// folder under "rw/store" of the platform root (`kp/root.h`), and each record is a file in it: the store
/// "cert/settings" keeps its record 0 in `rw/store/cert/settings/0.rec`.
///
/// | name | what it is |
/// | --- | --- |
/// | `Store` | one store: get, put, add, remove, ids, state word |
/// | `Allocator` | the ids of a store in ascending order |
/// | `storeNames` | the names of all stores |
///
/// A record for which `put` returned true survives the end of the process at any moment, and a loss of power
/// if the disk keeps what it confirmed. A record is complete or absent: a truncated, altered or malformed
/// file counts as absent. Any number of processes may read and write a store at the same time: writers wait
/// for each other, and readers do not wait. Each call is a separate step; only `findOrAdd` and `removeIf`
/// read and write in one step.
///
/// A name is made of one or more parts joined by "/"; a part is made of ASCII letters, digits, "-"
/// and "_"; a whole name has at most 255 characters. Every other name ("..", "", "/etc", one with a
/// zero byte) is invalid: its store has no records, and `put` fails. The first `put` makes the folders with
/// mode 0700; files have mode 0600.
#pragma once

#include "kp/export.h"
#include "kp/message.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kp {

/// The longest encoded record that is written or read, in bytes.
inline constexpr size_t maxRecordSize = size_t(16) << 20;

/// The store of a name. The constructor determines the platform root and changes nothing on disk. Every
/// operation uses the current content of the store.
class KP_API Store {
public:
    explicit Store(std::string_view name);

    /// Whether the name is valid and there is a platform root.
    bool valid() const { return !folder.empty(); }

    /// The record of that id; an empty message if it is missing.
    message get(int32_t id) const { return find(id).value_or(message{}); }

    /// The record of that id; nothing if it is missing. Tells an absent record from an empty one.
    std::optional<message> find(int32_t id) const;

    /// Writes or replaces the record of that id. Returns false if it could not be stored permanently (invalid
    /// name, record above `maxRecordSize`, disk full, read-only, no permission), with the reason in `errno`.
    /// The old record is then unchanged, unless only the last step, the confirmation by the disk, failed.
    bool put(int32_t id, message const& record);

    /// Stores the record under the lowest free positive id and returns the id. Returns nothing if there is no
    /// free id or the record could not be stored. Two processes never get the same id.
    std::optional<int32_t> add(message const& record);

    /// A condition for a record of the store. It must not write to the store, which is locked during the
    /// call.
    using Predicate = std::function<bool(int32_t id, message const& record)>;

    /// What `findOrAdd` found or added.
    struct Place {
        int32_t id;
        bool added;
    };

    /// The record with the lowest id that `isWanted`; if no record is, adds `record` as `add` does. No other
    /// process writes between the search and the addition. Returns nothing if the record could not be added.
    std::optional<Place> findOrAdd(message const& record, Predicate const& isWanted);

    /// Removes the record of that id if it `isWanted`, with no write of another process in between. Returns
    /// false, with `errno` ENOENT, if there is no such record or it is not wanted; otherwise as `remove`.
    bool removeIf(int32_t id, Predicate const& isWanted);

    /// Removes the record of that id. Returns true if it is permanently removed, and false if it was missing
    /// (`errno` is ENOENT) or could not be removed. A file with a malformed record is removed, too.
    bool remove(int32_t id);

    /// The ids that have a record file, in ascending signed order. `get` and `find` tell whether the file can
    /// be read.
    std::vector<int32_t> ids() const;

    /// The state word. All ones if it was never set.
    uint32_t state() const;

    /// Sets the state word, with the guarantees of `put`.
    bool setState(uint32_t word);

private:
    std::string folder; ///< Empty if the store is not valid.
};

/// Walks the ids of a store in ascending signed order:
/// `for (int32_t id : kp::Allocator(store))`. The ids are determined by the constructor.
class KP_API Allocator {
public:
    explicit Allocator(Store const& store) : ids(store.ids()) {}

    std::vector<int32_t>::const_iterator begin() const { return ids.begin(); }
    std::vector<int32_t>::const_iterator end() const { return ids.end(); }

private:
    std::vector<int32_t> ids;
};

/// The names of all stores that have a record, sorted by their bytes.
KP_API std::vector<std::string> storeNames();

} // namespace kp
