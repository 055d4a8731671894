/// Files that loaders read whole, and the folders that they stand in.
#pragma once

#include "base/reading.h"

#include <string>
#include <string_view>
#include <vector>

namespace detail {

/// The contents of a file, empty where it cannot be read. They are wiped, as a key may stand in any of them.
class FileText {
public:
    explicit FileText(std::string path);
    ~FileText();
    FileText(FileText const&) = delete;
    FileText& operator=(FileText const&) = delete;

    operator std::string_view() const { return text; }

    /// Refuses a file that came out empty with the reason for it: missing, unreadable, too large or empty.
    void explain(Reading& reading) const;

private:
    std::string name;
    std::string text;
};

/// Whether there is a folder at `path`; a link to one counts.
bool isFolder(std::string const& path);

/// Appends the names of a folder's entries in the folder's own order, "." and ".." included. Returns 0, or
/// the error number if the folder cannot be opened.
int listFolder(std::string const& path, std::vector<std::string>* names);

} // namespace detail
