// The watch finds what it should find, and nothing else.
#include "wiping/lifetime.h"

#include <cstdlib>
#include <cstring>

namespace {

using test::Bytes;
using test::Watch;

/// A secret, and a watch for it.
struct WatchTest : testing::Test {
    Bytes const secret = test::Random(1).bytes(32);
    Watch watch;

    WatchTest() { watch.addSecret("secret", secret); }
    bool finds() const { return watch.found().find("secret in ") == 0; }
};

TEST_F(WatchTest, SearchesWhatFreeGivesBack) {
    void* const block = std::malloc(100);
    std::memcpy(static_cast<char*>(block) + 3, secret.data() + 5, 8);
    EXPECT_EQ(watch.found(), "");
    std::free(block);
    EXPECT_TRUE(finds());
}

TEST_F(WatchTest, SearchesWhatReallocGivesBack) {
    void* block = std::malloc(100);
    std::memcpy(block, secret.data(), secret.size());
    block = std::realloc(block, 101);
    EXPECT_EQ(std::memcmp(block, secret.data(), secret.size()), 0);
    EXPECT_TRUE(finds());
    std::free(block);
}

TEST_F(WatchTest, SearchesWhatContainersGiveBack) {
    { Bytes const copy = secret; }
    EXPECT_TRUE(finds());
}

TEST_F(WatchTest, SearchesStacks) {
    test::runSearched(watch, [&] {
        unsigned char volatile copy[32];
        for (size_t i = 0; i < sizeof copy; i++)
            copy[i] = secret[i];
    });
    EXPECT_NE(watch.found().find("secret in the stack"), std::string::npos);
}

TEST_F(WatchTest, KnowsWhatObjectsHaveMade) {
    auto made = std::make_unique<std::unique_ptr<Bytes>>(std::make_unique<Bytes>(test::Random(2).bytes(20)));
    watch.addHeap("made");
    made.reset();
    EXPECT_EQ(watch.found().find("made in a freed block"), 0U) << watch.found();
}

TEST_F(WatchTest, PassesOverWhatWasOverwritten) {
    Bytes copy = secret;
    test::wipe(copy);
    std::copy(secret.begin(), secret.begin() + 7, copy.begin()); // Seven bytes are no run.
    copy = {};
    EXPECT_EQ(watch.found(), "");
}

TEST_F(WatchTest, PassesOverWhatIsPublic) {
    watch.addPublic(secret);
    { Bytes const copy = secret; }
    EXPECT_EQ(watch.found(), "");
}

TEST_F(WatchTest, PassesOverWhatHappensInAPause) {
    {
        Watch::Pause const pause;
        Bytes const copy = secret;
    }
    EXPECT_EQ(watch.found(), "");
    { Bytes const copy = secret; }
    EXPECT_TRUE(finds());
}

TEST_F(WatchTest, PassesOverPointers) {
    struct Linked {
        void *heap, *stack;
        void* (*code)(size_t);
    };
    auto made = std::make_unique<Linked>(Linked{this, &watch, std::malloc});
    watch.addHeap("pointers");
    made.reset();
    EXPECT_EQ(watch.found(), "");
}

} // namespace
