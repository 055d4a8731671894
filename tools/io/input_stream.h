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

    /// Returns false and sets `error` on failure.
    bool open(std::string const& path);

    /// Fills `buffer` and returns the number of bytes read. It is smaller than the buffer only at the end of
    /// the input or after a failure, when `error` is not zero.
    size_t read(std::span<unsigned char> buffer);

    /// Reads the available bytes, at least one and at most the size of `buffer`; returns 0 at the end or
    /// after a failure. Suits interactive input.
    size_t readSome(std::span<unsigned char> buffer);

    /// The `errno` of the failure, or 0.
    int error() const { return failure; }

    /// The number of bytes up to the end of a regular file, which may still grow or shrink.
    std::optional<uint64_t> remaining() const;

private:
    int descriptor = -1;
    int failure = 0;
    bool ended = false; ///< A terminal would otherwise be read again after its end of input was typed.
};
