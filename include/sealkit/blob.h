/// A view of bytes: the input type of the whole library.
///
/// A blob is two pointers and is passed by value. It does not own the bytes: their owner (a vector, a string,
/// a static table) must outlive the blob.
#pragma once

#include "sealkit/detail/assert.h"

#include <concepts>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace asn1 {

/// The bytes [start, finish). A default blob is empty, with both pointers null.
struct blob {
    unsigned char const* start = nullptr;  ///< The first byte.
    unsigned char const* finish = nullptr; ///< One past the last byte; never below `start`.

    constexpr blob() = default;
    /// The bytes from `first` up to `last`, which is one past the end.
    constexpr blob(unsigned char const* first, unsigned char const* last) : start(first), finish(last) {}
    /// The `size` bytes from `data` on. A template, so that a literal 0 is a size and not a pointer.
    template <std::integral Size>
    constexpr blob(unsigned char const* data, Size size) : start(data), finish(data + size) {}
    /// The same, only for `char`, so that a null pointer does not match.
    template <std::same_as<char> Char, std::integral Size>
    blob(Char const* data, Size size) : blob(reinterpret_cast<unsigned char const*>(data), size) {}

    /// The bytes of an array, usually a static table.
    template <size_t count>
    constexpr blob(unsigned char const (&bytes)[count]) : blob(bytes, count) {}

    /// The bytes of another container, which must outlive the blob.
    blob(std::vector<unsigned char> const& bytes) : blob(bytes.data(), bytes.size()) {}
    blob(std::span<unsigned char const> bytes) : blob(bytes.data(), bytes.size()) {}
    blob(std::string_view text) : blob(text.data(), text.size()) {}
    blob(std::string const& text) : blob(text.data(), text.size()) {}
    /// The characters of a C string without its terminator.
    blob(char const* text) : blob(std::string_view(text)) {}

    constexpr size_t size() const { return static_cast<size_t>(finish - start); } ///< The number of bytes.
    constexpr bool empty() const { return start == finish; } ///< Whether there is no byte.
    /// The first byte; null for a default blob.
    constexpr unsigned char const* data() const { return start; }
    constexpr unsigned char const* begin() const { return start; } ///< The first byte.
    constexpr unsigned char const* end() const { return finish; }  ///< One past the last byte.
    /// The byte at `index`, which must be below `size`.
    constexpr unsigned char operator[](size_t index) const { return start[index]; }

    /// Removes the first byte and returns it. The blob must not be empty.
    unsigned char pop_front() {
        SEALKIT_ASSERT_AS(start < finish, "start < finish", "../include/sealkit/blob.h");
        return *start++;
    }

    /// Removes the first `sz` bytes and returns them. The blob must have at least that many.
    blob pop_front(size_t sz) {
        SEALKIT_ASSERT_AS(sz <= size(), "start + sz <= finish", "../include/sealkit/blob.h");
        blob front(start, sz);
        start += sz;
        return front;
    }

    /// Equal sizes and equal bytes.
    friend bool operator==(blob a, blob b) {
        return a.size() == b.size() &&
               (a.start == b.start || a.empty() || std::memcmp(a.start, b.start, a.size()) == 0);
    }
};

/// The content of a BIT STRING without its first byte, the count of unused bits, which is not checked. An
/// empty blob gives an empty one.
inline blob bitStringContent(blob content) {
    if (!content.empty())
        content.pop_front();
    return content;
}

} // namespace asn1

using asn1::bitStringContent;
