/// Reads the lines of an input that may be endless.
#pragma once

#include "io/input_stream.h"

#include <string>

/// Reads an input line by line and delivers each line as soon as it is complete. A line longer than the limit
/// is skipped and reported as such, which bounds the memory.
class LineReader {
public:
    LineReader(InputStream& stream, size_t limit) : input(stream), maxLength(limit) {}

    enum class Result { line, tooLong, end };

    /// Reads the next line without its end. At the end of the input, the stream's `error` tells whether
    /// reading failed.
    Result next(std::string* line);

private:
    InputStream& input;
    size_t maxLength;
    std::string buffer;
    size_t start = 0; ///< The position of the first unread byte.
};
