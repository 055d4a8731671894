/// Living through an object's life under a watch.
#pragma once

#include "sealkit/wipe.h"

#include "support/random.h"
#include "wiping/watch.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

inline unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }
inline void wipe(Bytes& bytes) { secureMemset(bytes.data(), 0, bytes.size()); }

/// Fails the test when anything was found, or nothing was looked for.
inline void expectNothingFound(Watch const& watch) {
    EXPECT_GT(watch.size(), 0U) << "no secret was looked for";
    EXPECT_EQ(watch.found(), "");
}

/// Runs `body` and searches the stack that it used.
inline void runSearched(Watch& watch, std::function<void()> const& body) {
    body(); // Once before, so that all functions are bound: doing that saves all registers on the stack.
    OwnStack stack;
    stack.run(body);
    watch.search(stack);
}

/// Makes an object, uses it and destroys it: nothing of what it then held, on the heap too, must be left.
template <typename Make, typename Use>
void expectHeapWiped(Watch& watch, Make const& make, Use const& use) {
    for (bool bound : {false, true}) {
        decltype(make()) object;
        OwnStack stack;
        stack.run([&] {
            object = make();
            use(*object);
        });
        watch.addHeap("what the object held");
        object.reset();
        if (bound)
            watch.search(stack);
    }
    expectNothingFound(watch);
}

/// The same for an object of the type `T`, on the heap and in memory that stays.
template <typename T, typename Use, typename... Arguments>
void expectWiped(Watch& watch, Use const& use, Arguments const&... arguments) {
    expectHeapWiped(
        watch, [&] { return std::make_unique<T>(arguments...); }, use);

    alignas(T) unsigned char place[sizeof(T)] = {};
    T* const object = new (place) T(arguments...);
    use(*object);
    watch.addObject("the object", place, sizeof place);
    object->~T();
    watch.search("the object's place", place, sizeof place);
    expectNothingFound(watch);
}

} // namespace test
