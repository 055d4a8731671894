/// Files that loaders read whole.
#pragma once

#include "base/reading.h"

#include <string>
#include <string_view>

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

} // namespace detail
