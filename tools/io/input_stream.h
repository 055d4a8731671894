/// Files of any size, read from front to back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// The size of the pieces in which files are read and written: a multiple of every cipher's block.
inline constexpr size_t pieceSize = size_t(1) << 16;

/// A file, a pipe or, for "-", standard input.
class InputStream {
public:
    InputStream() = default;
    ~InputStream();
    InputStream(InputStream const&) = delete;
    InputStream& operator=(InputStream const&) = delete;

    /// False, with the reason in `error`.
    bool open(std::string const& path);

    /// Fills `buffer` and returns how much of it: less than all only at the end of the input, or after a
    /// failure, when `error` is not zero.
    size_t read(std::span<unsigned char> buffer);

    /// Reads what is there, at least one byte and at most the size of `buffer`; 0 as `read` returns less than
    /// all. For input that somebody writes while its answers are read.
    size_t readSome(std::span<unsigned char> buffer);

    /// The `errno` of what failed; 0 when nothing has.
    int error() const { return failure; }

    /// The number of bytes from here to the end, of a regular file. It may still grow or shrink.
    std::optional<uint64_t> remaining() const;

private:
    int descriptor = -1;
    int failure = 0;
    bool ended = false; ///< A terminal would go on after the end that was typed.
};
