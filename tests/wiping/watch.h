/// Finding secrets in memory that was given back.
///
/// While a `Watch` lives, every block that goes back to the heap, through `free`, `realloc` or `operator
/// delete`, is searched for the secrets it was told of. A secret is found when eight bytes in a row are, at
/// any alignment, even if the rest was overwritten. The program that links this gets heap functions of its
/// own.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace test {

/// A stack to run something on whose traces are to be searched.
class OwnStack {
public:
    OwnStack();
    ~OwnStack();
    OwnStack(OwnStack const&) = delete;
    OwnStack& operator=(OwnStack const&) = delete;

    void run(std::function<void()> const& body);

    void const* data() const { return memory; }
    static constexpr size_t size = 1 << 18;

private:
    void* memory;
};

/// One lives at a time.
class Watch {
public:
    Watch();
    ~Watch();
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;

    /// While one of these lives, nothing is searched and taken down: for what the test itself does with
    /// secrets.
    class Pause {
    public:
        Pause();
        ~Pause();
        Pause(Pause const&) = delete;
        Pause& operator=(Pause const&) = delete;

    private:
        bool const was;
    };

    /// These bytes must not be found. The watch copies what it needs.
    void addSecret(std::string_view name, std::span<unsigned char const> bytes);
    /// What `size` bytes at `object` hold now is secret, but for pointers.
    void addObject(std::string_view name, void const* object, size_t size);
    /// What every block taken from the heap since the watch began, and not given back, holds now is secret,
    /// but for pointers. So all that an object made meanwhile has made in its turn is covered.
    void addHeap(std::string_view name);
    /// These bytes are no secret, even where they stand within one.
    void addPublic(std::span<unsigned char const> bytes);

    /// Searches memory that is not on the heap: where an object stood.
    void search(std::string_view place, void const* memory, size_t size);
    /// Searches a stack, for sixteen bytes in a row: the compiler puts single registers aside there, which
    /// nobody can wipe.
    void search(OwnStack const& stack);

    /// How many runs of eight bytes are looked for: a test of nothing passes always.
    size_t size() const;
    /// What was found so far and where; empty when nothing was.
    std::string found() const;
};

} // namespace test
