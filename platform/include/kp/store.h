/// Named stores of messages: the configuration of the operating system.
///
/// A store holds messages by signed 32-bit id, and beside them one 32-bit state word. In the host
/// edition it is a folder under "rw/store" of the platform root (`kp/root.h`), and each record a
/// file in it: the store "cert/settings" keeps its record 0 in `rw/store/cert/settings/0.rec`.
///
/// | name | is |
/// | --- | --- |
/// | `Store` | one store: get, put, add, remove, ids, state word |
/// | `Allocator` | walks the ids of a store in ascending order |
/// | `storeNames` | what stores there are |
///
/// What `put` returned true for is still there after the process is killed at any moment, and after the
/// machine loses power as far as its disk keeps what it confirmed. A record is there whole or not at all: one
/// that was cut short, altered or that never was a record counts as absent. Any number of processes may read
/// and write a store at once: writers wait for each other, readers wait for nobody. Each call stands alone:
/// `findOrAdd` and `removeIf` are the ones that look and write in one step.
///
/// A name is made of one or more parts joined by "/"; a part is made of ASCII letters, digits, "-"
/// and "_"; a whole name has at most 255 characters. Every other name ("..", "", "/etc", one with a
/// zero byte) names no store: nothing is found in it and nothing can be put. Folders are made when
/// something is first put, with mode 0700, and files with mode 0600.
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

/// The store of a name. Making one touches nothing on disk, and every operation sees the store as
/// it is at that moment. The platform root is the one that held when the object was made.
class KP_API Store {
public:
    explicit Store(std::string_view name);

    /// False when the name can name no store, or when there is no platform root.
    bool valid() const { return !folder.empty(); }

    /// The record of that id; an empty message if it is missing.
    message get(int32_t id) const { return find(id).value_or(message{}); }

    /// The record of that id; nothing if it is missing. Tells an absent record from an empty one.
    std::optional<message> find(int32_t id) const;

    /// Writes the record of that id in place of what was there. False when it could not be made
    /// lasting (invalid name, record above `maxRecordSize`, disk full, read-only, no permission);
    /// the old record is there unchanged then, unless only the last step, the confirmation by the
    /// disk, failed. `errno` says what went wrong.
    bool put(int32_t id, message const& record);

    /// Puts the record under the lowest positive id that is free and returns that id. Nothing when
    /// there is no free id or when it could not be put. Two processes never get the same id.
    std::optional<int32_t> add(message const& record);

    /// A question about a record of the store. It must not write to the store: the store is locked while it
    /// is asked.
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

    /// Removes the record of that id. True when it is lastingly gone, false when it was missing
    /// (`errno` is ENOENT) or when it could not be removed. A file that holds no readable record is
    /// removed too.
    bool remove(int32_t id);

    /// The ids that have a record file, in ascending signed order. Whether the file can be read
    /// is for `get` and `find` to say.
    std::vector<int32_t> ids() const;

    /// The state word. All ones in a store where it was never set.
    uint32_t state() const;

    /// Sets the state word, as lastingly as `put`.
    bool setState(uint32_t word);

private:
    std::string folder; ///< Empty when the store is not valid.
};

/// Walks the ids of a store in ascending signed order:
/// `for (int32_t id : kp::Allocator(store))`. The ids are those of the moment when it was made.
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
