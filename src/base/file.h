/// Reads whole files and lists folders, for the loaders.
#pragma once

#include "base/reading.h"

#include <string>
#include <string_view>
#include <vector>

namespace detail {

/// The contents of a file; empty if it is unreadable. Wiped, because any file may hold a key.
class FileText {
public:
    explicit FileText(std::string path);
    ~FileText();
    FileText(FileText const&) = delete;
    FileText& operator=(FileText const&) = delete;

    operator std::string_view() const { return text; }

    /// Refuses a file whose contents are empty, with the reason: missing, unreadable, too large or empty.
    void explain(Reading& reading) const;

private:
    std::string name;
    std::string text;
};

/// Whether `path` is a folder or a link to one.
bool isFolder(std::string const& path);

/// Appends the names of a folder's entries, unsorted and including "." and "..". Returns 0, or an error
/// number if the folder cannot be opened.
int listFolder(std::string const& path, std::vector<std::string>* names);

} // namespace detail
