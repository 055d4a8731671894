/// Lines of an input that may be endless.
#pragma once

#include "io/input_stream.h"

#include <string>

/// Reads an input line by line, and each line as soon as it is there. A line that is longer than the limit is
/// skipped and told as such, so that no input takes memory out of proportion.
class LineReader {
public:
    LineReader(InputStream& stream, size_t limit) : input(stream), maxLength(limit) {}

    enum class Result { line, tooLong, end };

    /// Reads the next line without its end. Ends with the input; the stream has an error if that failed.
    Result next(std::string* line);

private:
    InputStream& input;
    size_t maxLength;
    std::string buffer;
    size_t start = 0; ///< Of what is not read yet.
};
