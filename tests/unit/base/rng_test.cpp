#include "sealkit/rng.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <functional>
#include <new>
#include <string>
#include <sys/random.h>
#include <sys/syscall.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace {

/// Answers for the kernel while it is set.
std::function<ssize_t(unsigned char* buffer, size_t length, unsigned flags)> kernel;

} // namespace

/// Takes the place of the C library's in the whole program, for the library that is tested too.
extern "C" ssize_t getrandom(void* buffer, size_t length, unsigned flags) {
    if (kernel)
        return kernel(static_cast<unsigned char*>(buffer), length, flags);
    return syscall(SYS_getrandom, buffer, length, flags);
}

namespace {

/// Fills `buffer` with what comes in order: 0, 1, 2, ... over all calls, at most `most` bytes in one.
class CountingKernel {
public:
    explicit CountingKernel(size_t longest) : most(longest) {
        kernel = [this](unsigned char* buffer, size_t length, unsigned flags) -> ssize_t {
            calls.push_back({length, flags});
            if (interruptions != 0) {
                interruptions--;
                errno = EINTR;
                return -1;
            }
            size_t const count = std::min(length, most);
            for (size_t k = 0; k < count; k++)
                buffer[k] = static_cast<unsigned char>(given++);
            return static_cast<ssize_t>(count);
        };
    }
    ~CountingKernel() { kernel = nullptr; }

    struct Call {
        size_t length;
        unsigned flags;
        bool operator==(Call const&) const = default;
    };
    std::vector<Call> calls;
    unsigned interruptions = 0; ///< How many of the next calls a signal interrupts.

private:
    size_t most;
    unsigned given = 0;
};

using Calls = std::vector<CountingKernel::Call>;

std::vector<unsigned char> counted(size_t count) {
    std::vector<unsigned char> bytes(count);
    for (size_t k = 0; k < count; k++)
        bytes[k] = static_cast<unsigned char>(k);
    return bytes;
}

TEST(KernelRand, AsksOnceWhereTheKernelGivesAll) {
    CountingKernel answers(1000);
    std::vector<unsigned char> buffer(300);
    EXPECT_TRUE(kernelRand(buffer.data(), 300, false));
    EXPECT_EQ(buffer, counted(300));
    EXPECT_EQ(answers.calls, (Calls{{300, 0}}));
}

TEST(KernelRand, GoesOnAfterShortReads) {
    CountingKernel answers(7);
    std::vector<unsigned char> buffer(21, 0xA5);
    EXPECT_TRUE(kernelRand(buffer.data(), 20, false));
    buffer.resize(20);
    EXPECT_EQ(buffer, counted(20));
    EXPECT_EQ(answers.calls, (Calls{{20, 0}, {13, 0}, {6, 0}}));
}

TEST(KernelRand, WritesNothingBehindTheEnd) {
    CountingKernel answers(7);
    std::vector<unsigned char> buffer(21, 0xA5);
    EXPECT_TRUE(kernelRand(buffer.data(), 20, false));
    EXPECT_EQ(buffer[20], 0xA5);
}

TEST(KernelRand, AsksAgainWhenASignalInterrupts) {
    CountingKernel answers(16);
    answers.interruptions = 3;
    std::vector<unsigned char> buffer(20);
    EXPECT_TRUE(kernelRand(buffer.data(), 20, true));
    EXPECT_EQ(buffer, counted(20));
    EXPECT_EQ(answers.calls, (Calls{{20, 4}, {20, 4}, {20, 4}, {20, 4}, {4, 4}}));
}

TEST(KernelRand, AsksForInsecureBytesByTheFlagOfLinux) {
    CountingKernel answers(16);
    unsigned char byte;
    EXPECT_TRUE(kernelRand(&byte, 1, true));
    EXPECT_TRUE(getDefaultRng().fillInsecure(&byte, 1));
    EXPECT_TRUE(getDefaultRng().fill(&byte, 1));
    EXPECT_EQ(answers.calls, (Calls{{1, 4}, {1, 4}, {1, 0}}));
}

TEST(KernelRand, AsksForNothingWithoutASystemCall) {
    CountingKernel answers(16);
    EXPECT_TRUE(kernelRand(nullptr, 0, false));
    EXPECT_TRUE(kernelRand(nullptr, 0, true));
    EXPECT_TRUE(getDefaultRng().fill(nullptr, 0));
    EXPECT_TRUE(answers.calls.empty());
}

TEST(KernelRandDeathTest, AnyOtherFailureAbortsWithoutAMessage) {
    for (int const error : {ENOSYS, EINVAL, EFAULT, EAGAIN, EPERM})
        for (bool const insecure : {false, true})
            EXPECT_EXIT(
                {
                    kernel = [=](unsigned char*, size_t, unsigned) -> ssize_t {
                        errno = error;
                        return -1;
                    };
                    unsigned char byte;
                    kernelRand(&byte, 1, insecure);
                },
                testing::KilledBySignal(SIGABRT),
                // The emulator has its own say.
                testing::AnyOf(testing::IsEmpty(), testing::StartsWith("qemu: uncaught target signal")))
                << std::strerror(error);
}

TEST(KernelRandDeathTest, AFailureInTheMiddleAbortsToo) {
    EXPECT_EXIT(
        {
            kernel = [call = 0](unsigned char*, size_t length, unsigned) mutable -> ssize_t {
                errno = EIO;
                return call++ == 0 ? static_cast<ssize_t>(length / 2) : -1;
            };
            unsigned char bytes[10] = {};
            kernelRand(bytes, sizeof bytes, false);
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST(KernelRand, FillsExactlyTheBytesAskedFor) {
    for (bool const insecure : {false, true}) {
        std::array<unsigned char, 66> buffer{};
        ASSERT_TRUE(kernelRand(buffer.data() + 1, 64, insecure));
        EXPECT_EQ(buffer.front(), 0);
        EXPECT_EQ(buffer.back(), 0);
        // 64 random bytes are all zero once in 2^512.
        EXPECT_TRUE(std::any_of(buffer.begin(), buffer.end(), [](unsigned char b) { return b != 0; }));
    }
}

TEST(KernelRand, GivesOtherBytesEachTime) {
    std::array<unsigned char, 32> first{}, second{};
    ASSERT_TRUE(kernelRand(first.data(), first.size(), false));
    ASSERT_TRUE(kernelRand(second.data(), second.size(), false));
    EXPECT_NE(first, second);
}

TEST(KernelRand, FillsMoreThanOneSystemCallPromises) {
    // The kernel promises 256 bytes in one piece.
    std::vector<unsigned char> buffer(1 << 20);
    ASSERT_TRUE(kernelRand(buffer.data(), static_cast<unsigned>(buffer.size()), false));
    for (size_t at = 0; at < buffer.size(); at += 64)
        ASSERT_TRUE(std::any_of(&buffer[at], &buffer[at] + 64, [](unsigned char b) { return b != 0; }));
}

TEST(KernelRand, NothingToFillSucceeds) { EXPECT_TRUE(kernelRand(nullptr, 0, false)); }

TEST(DefaultRng, IsOneObject) { EXPECT_EQ(&getDefaultRng(), &getDefaultRng()); }

TEST(DefaultRng, Fills) {
    Rng const& rng = getDefaultRng();
    std::array<unsigned char, 32> secure{}, insecure{};
    EXPECT_TRUE(rng.fill(secure.data(), secure.size()));
    EXPECT_TRUE(rng.fillInsecure(insecure.data(), insecure.size()));
    EXPECT_NE(secure, decltype(secure){});
    EXPECT_NE(insecure, decltype(insecure){});
    EXPECT_TRUE(rng.fill(nullptr, 0));
}

TEST(Randombytes, AsksTheDefaultSourceAndReturnsZero) {
    CountingKernel answers(20);
    std::vector<unsigned char> buffer(34, 0xA5);
    EXPECT_EQ(randombytes(buffer.data(), 33), 0);
    EXPECT_EQ(buffer.back(), 0xA5);
    buffer.pop_back();
    EXPECT_EQ(buffer, counted(33));
    EXPECT_EQ(answers.calls, (Calls{{33, 0}, {13, 0}}));
}

TEST(Randombytes, AsksForNothingWithoutASystemCall) {
    CountingKernel answers(20);
    EXPECT_EQ(randombytes(nullptr, 0), 0);
    EXPECT_TRUE(answers.calls.empty());
}

TEST(Randombytes, HasTheNameAndFormThatCAsksFor) {
    using Function = int (*)(uint8_t*, size_t);
    void* const symbol = dlsym(RTLD_DEFAULT, "randombytes");
    ASSERT_NE(symbol, nullptr);
    EXPECT_EQ(reinterpret_cast<Function>(symbol), &randombytes);
}

TEST(Randombytes, FillsMoreThanANumberOf32BitsCounts) {
    if constexpr (sizeof(size_t) > sizeof(unsigned)) {
        std::vector<size_t> asked;
        kernel = [&](unsigned char*, size_t length, unsigned) {
            asked.push_back(length); // There is no such buffer.
            return static_cast<ssize_t>(length);
        };
        unsigned char byte;
        int const result = randombytes(&byte, static_cast<size_t>((uint64_t(1) << 32) + 5));
        kernel = nullptr;
        EXPECT_EQ(result, 0);
        EXPECT_EQ(asked, (std::vector<size_t>{0xFFFFFFFF, 6}));
    }
}

struct Recorder : Rng {
    ~Recorder() override { *log += "~"; }
    bool fill(unsigned char*, unsigned len) const override {
        *log += "f" + std::to_string(len);
        return true;
    }
    bool fillInsecure(unsigned char*, unsigned len) const override {
        *log += "i" + std::to_string(len);
        return false;
    }
    std::string* log = nullptr;
};

TEST(Rng, SlotsAreTwoDestructorsFillFillInsecure) {
    std::string log;
    auto* const onHeap = new Recorder;
    alignas(Recorder) unsigned char memory[sizeof(Recorder)];
    auto* const inPlace = new (memory) Recorder;
    onHeap->log = inPlace->log = &log;
    // The tables of the Itanium C++ ABI, section 2.5: a destructor has an entry for objects of any
    // kind and one for those that are also freed.
    auto const* const table = *reinterpret_cast<void* const* const*>(onHeap);
    using Fill = bool (*)(Rng const*, unsigned char*, unsigned);
    using Destroy = void (*)(Rng*);
    EXPECT_TRUE(reinterpret_cast<Fill>(table[2])(onHeap, nullptr, 1));
    EXPECT_FALSE(reinterpret_cast<Fill>(table[3])(onHeap, nullptr, 2));
    EXPECT_EQ(log, "f1i2");
    log.clear();
    reinterpret_cast<Destroy>(table[0])(inPlace);
    reinterpret_cast<Destroy>(table[1])(onHeap);
    EXPECT_EQ(log, "~~");
}

TEST(Rng, IsAnInterfaceWithoutState) {
    EXPECT_TRUE(std::is_abstract_v<Rng>);
    EXPECT_TRUE(std::has_virtual_destructor_v<Rng>);
    EXPECT_EQ(sizeof(Rng), sizeof(void*));
}

} // namespace
