// Looks into the objects.
#include "sealkit/hash.h"
#include "sealkit/wipe.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace TEST_FILE {

/// An engine that writes down what is asked of it.
class Recorder : public HashImpl {
public:
    Recorder(unsigned blockSize, unsigned lengthSize) : blockSize(blockSize), lengthSize(lengthSize) {
        std::memset(block, 0xee, sizeof block);
    }
    unsigned lengthFieldLength() override { return lengthSize; }
    unsigned blockLength() override { return blockSize; }
    unsigned digestLength() override { return 0; }
    void digest(unsigned char*) override {}
    void init() override { inits++; }
    void transform() override { blocks.push_back(test::toHex(block, blockSize)); }
    using HashImpl::counter;

    unsigned inits = 0;
    std::vector<std::string> blocks;

private:
    unsigned blockSize, lengthSize;
};

std::string bytes(size_t count, char const* pair) {
    std::string text;
    while (count-- > 0)
        text += pair;
    return text;
}

/// The blocks that a message of `size` bytes 0x61 is cut and padded to.
std::vector<std::string> paddedBlocks(unsigned size, unsigned blockSize, unsigned lengthSize) {
    Recorder engine(blockSize, lengthSize);
    std::string const message(size, 'a');
    engine.update(message.data(), size);
    engine.finish(false);
    return engine.blocks;
}

TEST(HashEngine, begins_a_message_at_the_first_update_or_finish) {
    Recorder engine(64, 8);
    EXPECT_EQ(engine.inits, 0u);
    engine.update("x", 1);
    engine.update("y", 1);
    EXPECT_EQ(engine.inits, 1u);
    engine.finish(false);
    EXPECT_EQ(engine.inits, 1u);
    engine.finish(false);
    EXPECT_EQ(engine.inits, 2u);
}

TEST(HashEngine, begins_a_message_at_an_update_of_nothing_and_stays_fresh) {
    Recorder engine(64, 8);
    engine.update(nullptr, 0);
    engine.update("", 0);
    EXPECT_EQ(engine.inits, 2u);
    EXPECT_EQ(engine.counter, 0u);
    engine.update("x", 1);
    EXPECT_EQ(engine.inits, 3u);
    engine.update("", 0);
    EXPECT_EQ(engine.inits, 3u);
}

TEST(HashEngine, counts_the_bytes_of_the_message_and_ends_fresh) {
    Recorder engine(64, 8);
    std::string const message(200, 'a');
    engine.update(message.data(), 3);
    EXPECT_EQ(engine.counter, 3u);
    engine.update(message.data(), 200);
    EXPECT_EQ(engine.counter, 203u);
    engine.finish(false);
    EXPECT_EQ(engine.counter, 0u);
}

TEST(HashEngine, compresses_each_block_as_soon_as_it_is_full) {
    for (unsigned blockSize : {64u, 128u}) {
        Recorder engine(blockSize, 8);
        std::string const message(3 * blockSize, 'a');
        engine.update(message.data(), blockSize - 1);
        EXPECT_EQ(engine.blocks.size(), 0u);
        engine.update(message.data(), 1);
        EXPECT_EQ(engine.blocks.size(), 1u);
        engine.update(message.data(), 2 * blockSize + 1);
        EXPECT_EQ(engine.blocks.size(), 3u);
        EXPECT_EQ(engine.blocks[2], bytes(blockSize, "61"));
    }
}

TEST(HashEngine, pads_up_to_55_bytes_within_a_block_of_64) {
    EXPECT_EQ(paddedBlocks(0, 64, 8), (std::vector{"80" + bytes(63, "00")}));
    EXPECT_EQ(paddedBlocks(55, 64, 8), (std::vector{bytes(55, "61") + "80" + "00000000000001b8"}));
    EXPECT_EQ(paddedBlocks(56, 64, 8),
              (std::vector{bytes(56, "61") + "80" + bytes(7, "00"), bytes(56, "00") + "00000000000001c0"}));
    EXPECT_EQ(paddedBlocks(63, 64, 8),
              (std::vector{bytes(63, "61") + "80", bytes(56, "00") + "00000000000001f8"}));
    EXPECT_EQ(paddedBlocks(64, 64, 8),
              (std::vector{bytes(64, "61"), "80" + bytes(55, "00") + "0000000000000200"}));
}

TEST(HashEngine, pads_up_to_111_bytes_within_a_block_of_128) {
    EXPECT_EQ(paddedBlocks(111, 128, 16),
              (std::vector{bytes(111, "61") + "80" + bytes(8, "00") + "0000000000000378"}));
    EXPECT_EQ(paddedBlocks(112, 128, 16), (std::vector{bytes(112, "61") + "80" + bytes(15, "00"),
                                                       bytes(120, "00") + "0000000000000380"}));
}

TEST(HashEngine, writes_the_length_in_either_byte_order) {
    Recorder engine(64, 8);
    engine.counter = 0x0123456789abcdc0;
    engine.finish(false);
    EXPECT_EQ(engine.blocks.back().substr(112), "091a2b3c4d5e6e00");
    engine.counter = 0x0123456789abcdc0;
    engine.finish(true);
    EXPECT_EQ(engine.blocks.back().substr(112), "006e5e4d3c2b1a09");
}

TEST(HashEngine, carries_the_count_beyond_32_bits) {
    Recorder engine(64, 8);
    engine.counter = 0xfffffffe;
    engine.update("xyz", 3);
    EXPECT_EQ(engine.counter, 0x100000001u);
    EXPECT_EQ(engine.blocks.size(), 1u);
    engine.finish(false);
    EXPECT_EQ(engine.blocks.back(), "7a80" + bytes(54, "00") + "0000000800000008");
}

TEST(HashEngine, takes_the_length_modulo_2_to_the_64) {
    for (unsigned lengthSize : {8u, 16u}) {
        Recorder engine(128, lengthSize);
        engine.counter = 0xe000000000000001;
        engine.finish(false);
        EXPECT_EQ(engine.blocks.back().substr(240), "0000000000000008") << "upper bits are lost";
        EXPECT_EQ(engine.blocks.back().substr(224, 16), bytes(8, "00"));
    }
}

TEST(HashEngine, begins_anew_when_the_count_wraps_to_zero) {
    Recorder engine(64, 8);
    engine.counter = 0xffffffffffffffff;
    engine.update("xyz", 3);
    EXPECT_EQ(engine.counter, 2u);
    EXPECT_EQ(engine.inits, 0u) << "not within one update";
    engine.counter = 0xffffffffffffffff;
    engine.update("x", 1);
    engine.update("y", 1);
    EXPECT_EQ(engine.inits, 1u);
}

/// Opens the fields of a hash class.
template <typename Class>
struct Opened : Class {
    using Class::block;
    using Class::counter;
    using Class::state;
};

size_t offset(void const* object, void const* field) {
    return static_cast<size_t>(static_cast<char const*>(field) - static_cast<char const*>(object));
}

template <typename Class>
void expectFieldsInOrder(size_t stateSize) {
    Opened<Class> hash;
    size_t const counterOffset = std::max(sizeof(void*), alignof(std::uint64_t));
    EXPECT_EQ(offset(&hash, &hash.counter), counterOffset);
    EXPECT_EQ(sizeof hash.counter, 8u);
    EXPECT_EQ(offset(&hash, hash.block), counterOffset + 8);
    EXPECT_EQ(sizeof hash.block, 128u);
    EXPECT_EQ(offset(&hash, hash.state), counterOffset + 8 + 128);
    EXPECT_EQ(sizeof hash.state, stateSize);
    EXPECT_EQ(hash.counter, 0u);
}

TEST(HashLayout, has_counter_block_and_state_in_this_order) {
    expectFieldsInOrder<MD4>(16);
    expectFieldsInOrder<MD5>(16);
    expectFieldsInOrder<SHA1>(20);
    expectFieldsInOrder<SHA256>(32);
    expectFieldsInOrder<SHA512>(64);
    expectFieldsInOrder<SHA384>(64);
}

TEST(HashLayout, of_the_composite_has_MD5_before_SHA1) {
    struct : MD5SHA1Hash {
        using MD5SHA1Hash::md5;
        using MD5SHA1Hash::sha1;
    } hash;
    size_t const md5Offset = offset(&hash, &hash.md5);
    EXPECT_EQ(md5Offset, std::max(sizeof(void*), alignof(MD5)));
    EXPECT_EQ(offset(&hash, &hash.sha1), md5Offset + sizeof(MD5));
}

/// Calls the function in a slot of the virtual table, `this` being its first argument.
template <typename Result, typename... Arguments>
Result callSlot(Hash& hash, unsigned slot, Arguments... arguments) {
    void* const* const table = *reinterpret_cast<void* const* const*>(&hash);
    return reinterpret_cast<Result (*)(Hash*, Arguments...)>(table[slot])(&hash, arguments...);
}

// The destructor has two entries in the virtual table, 1 and 2.
constexpr unsigned lengthFieldLengthSlot = 0, destructorSlot = 1, updateSlot = 3, blockLengthSlot = 4,
                   digestLengthSlot = 5, digestSlot = 6, initSlot = 7, transformSlot = 8;

TEST(HashLayout, has_the_virtual_functions_in_order) {
    for (unsigned id = 1; id <= 7; id++) {
        auto const hash = createHash(id);
        EXPECT_EQ(callSlot<unsigned>(*hash, lengthFieldLengthSlot), hash->lengthFieldLength()) << id;
        EXPECT_EQ(callSlot<unsigned>(*hash, blockLengthSlot), hash->blockLength()) << id;
        EXPECT_EQ(callSlot<unsigned>(*hash, digestLengthSlot), hash->digestLength()) << id;
        hash->update("abc", 3);
        std::string const expected = hash->digest();
        std::string result(hash->digestLength(), '\0');
        callSlot<void, void const*, unsigned>(*hash, updateSlot, "abc", 3);
        callSlot<void>(*hash, digestSlot, reinterpret_cast<unsigned char*>(result.data()));
        EXPECT_EQ(result, expected) << id;
    }
}

TEST(HashLayout, has_the_destructor_behind_the_first_function) {
    struct Counted : Recorder {
        explicit Counted(unsigned& count) : Recorder(64, 8), count(count) {}
        ~Counted() override { count++; }
        unsigned& count;
    };
    unsigned destroyed = 0;
    alignas(Counted) unsigned char place[sizeof(Counted)];
    callSlot<void>(*new (place) Counted(destroyed), destructorSlot);
    EXPECT_EQ(destroyed, 1u);
    callSlot<void>(*new Counted(destroyed), destructorSlot + 1);
    EXPECT_EQ(destroyed, 2u);
}

TEST(HashLayout, of_the_engine_adds_init_and_transform) {
    Recorder engine(64, 8);
    callSlot<void>(engine, initSlot);
    EXPECT_EQ(engine.inits, 1u);
    callSlot<void>(engine, transformSlot);
    EXPECT_EQ(engine.blocks.size(), 1u);
}

// What `update` and `digest` do around `init` and `transform`, done by hand.
TEST(SHA256, compresses_its_block_into_its_state) {
    Opened<SHA256> hash;
    hash.init();
    EXPECT_EQ(hash.state[0], 0x6a09e667u);
    std::memset(hash.block, 0, 64);
    std::memcpy(hash.block, "abc\x80", 4);
    hash.block[63] = 24;
    hash.transform();
    EXPECT_EQ(hash.state[0], 0xba7816bfu);
    EXPECT_EQ(hash.state[7], 0xf20015adu);
}

TEST(SHA384, differs_from_SHA512_in_its_initial_value_and_length) {
    Opened<SHA384> hash;
    hash.init();
    EXPECT_EQ(hash.state[0], 0xcbbb9d5dc1059ed8u);
    EXPECT_EQ(hash.digestLength(), 48u);
}

struct Wipe {
    void* data;
    int value;
    size_t size;
};
std::vector<Wipe> wipes;

void* recordWipe(void* data, int value, size_t size) {
    wipes.push_back({data, value, size});
    return std::memset(data, value, size);
}

template <typename Class>
void expectWiped() {
    alignas(Class) unsigned char place[sizeof(Class)];
    auto* const hash = new (place) Opened<Class>;
    void* const block = hash->block;
    void* const state = hash->state;
    wipes.clear();
    secureMemset = recordWipe;
    hash->~Opened<Class>();
    secureMemset = std::memset;
    auto const wiped = [](void* data, size_t size) {
        for (Wipe const& wipe : wipes)
            if (wipe.data == data && wipe.value == 0 && wipe.size == size)
                return true;
        return false;
    };
    EXPECT_TRUE(wiped(block, 128));
    EXPECT_TRUE(wiped(state, sizeof hash->state));
}

TEST(SecureMemset, fills_and_returns_its_first_argument) {
    unsigned char bytes[] = {1, 2, 3, 4};
    EXPECT_EQ(secureMemset(bytes + 1, 0, 2), bytes + 1);
    EXPECT_EQ(test::toHex(bytes, sizeof bytes), "01000004");
}

// A hash under a keyed digest or a signature has held secrets.
TEST(HashEngine, wipes_block_and_state_when_destroyed) {
    expectWiped<MD4>();
    expectWiped<MD5>();
    expectWiped<SHA1>();
    expectWiped<SHA256>();
    expectWiped<SHA384>();
    expectWiped<SHA512>();
}

} // namespace TEST_FILE
