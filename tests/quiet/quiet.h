/// Quiet operations under memcheck: secrets are undefined memory, and acting on one is an error.
///
/// A branch or an address that depends on a secret shows as the use of an undefined value. A case marks its
/// secrets, runs the operation and ends; `QUIET` compares the number of errors before and after.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

namespace test {

/// Marks bytes as secret, or as something that the test may look at again.
void hide(std::span<unsigned char const> bytes);
void show(std::span<unsigned char const> bytes);

/// Hides what any object of fixed layout holds.
template <typename T>
void hide(T const* objects, size_t count) {
    hide({reinterpret_cast<unsigned char const*>(objects), count * sizeof(T)});
}
template <typename T>
void show(T const* objects, size_t count) {
    show({reinterpret_cast<unsigned char const*>(objects), count * sizeof(T)});
}

/// How many errors memcheck has found so far.
unsigned errors();

/// The operations that have a case.
std::vector<std::string>& quietOperations();

/// Takes an operation down, as docs/timing.md names it.
struct Registration {
    explicit Registration(char const* operation) { quietOperations().emplace_back(operation); }
};

} // namespace test

/// QUIET(Name, "operation as docs/timing.md names it") { ... }
#define QUIET(name, operation)                                                                               \
    static test::Registration const registered##name(operation);                                             \
    static void run##name();                                                                                 \
    TEST(Quiet, name) {                                                                                      \
        unsigned const before = test::errors();                                                              \
        run##name();                                                                                         \
        EXPECT_EQ(test::errors(), before) << operation << " acts on a secret: memcheck's lines say where";   \
    }                                                                                                        \
    static void run##name()
