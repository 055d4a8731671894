#include "sealkit/hash.h"
#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace TEST_FILE {

std::string digestInPieces(Hash& hash, unsigned char const* message, size_t size, std::mt19937& random,
                           unsigned longest) {
    while (size > 0) {
        unsigned piece = std::min<unsigned>(random() % (longest + 1), static_cast<unsigned>(size));
        hash.update(message, piece);
        message += piece;
        size -= piece;
    }
    return test::toHex(hash.digest());
}

/// Every way to feed a message gives `expected`, from a fresh object and from a used one.
void expectDigest(unsigned id, std::vector<unsigned char> const& message, std::string const& expected) {
    unsigned const size = static_cast<unsigned>(message.size());
    auto const hash = createHash(id);
    hash->update(message.data(), size);
    EXPECT_EQ(test::toHex(hash->digest()), expected) << "at once";

    std::vector<unsigned char> out(hash->digestLength() + 2, 0xa5);
    hash->update(message.data(), size);
    hash->digest(out.data() + 1);
    EXPECT_EQ(test::toHex(out), "a5" + expected + "a5") << "again, to a place of its own";

    // What is a matter of blocks shows in short messages.
    bool const isLong = size > 100'000;
    for (size_t offset = 1; offset < (isLong ? test::lessWhenSlow(8u, 1u) : 8u); offset++) {
        std::vector<unsigned char> moved(offset);
        moved.insert(moved.end(), message.begin(), message.end());
        hash->update(moved.data() + offset, size);
        EXPECT_EQ(test::toHex(hash->digest()), expected) << "misaligned by " << offset;
    }

    std::mt19937 random(size);
    for (unsigned longest : {200u, 64u, 7u, 1u}) {
        EXPECT_EQ(digestInPieces(*hash, message.data(), size, random, longest), expected)
            << "in pieces of up to " << longest;
        if (isLong && test::isSlow())
            break;
    }
}

void expectDigestOfText(test::Case const& c) {
    std::string const& text = c.text("message");
    std::string repeated;
    for (unsigned long long i = c.number("repeat"); i > 0; i--)
        repeated += text;
    std::vector<unsigned char> const message(repeated.begin(), repeated.end());
    expectDigest(static_cast<unsigned>(c.number("hash")), message, test::toHex(c.bytes("digest")));
}

TEST_CASES(Digest, of_MD4_is_that_of_RFC_1320, "hash/rfc1320.txt")(test::Case const& c) {
    expectDigestOfText(c);
}

TEST_CASES(Digest, of_MD5_is_that_of_RFC_1321, "hash/rfc1321.txt")(test::Case const& c) {
    expectDigestOfText(c);
}

TEST_CASES(Digest, of_SHA_is_that_of_FIPS_180_4, "hash/fips180-4.txt")(test::Case const& c) {
    expectDigestOfText(c);
}

// All lengths around every boundary: the block, the length field, the second block.
TEST_CASES(Digest, of_any_length_is_that_of_other_implementations, "hash/lengths.txt")(test::Case const& c) {
    std::vector<unsigned char> message(c.number("length"));
    for (size_t i = 0; i < message.size(); i++)
        message[i] = static_cast<unsigned char>(7 * i + message.size());
    expectDigest(static_cast<unsigned>(c.number("hash")), message, test::toHex(c.bytes("digest")));
}

TEST(Digest, of_the_empty_message_needs_no_update) {
    EXPECT_EQ(test::toHex(createHash(HashID::SHA256)->digest()),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    for (unsigned id = 1; id <= 7; id++) {
        auto const idle = createHash(id), updated = createHash(id);
        updated->update(nullptr, 0);
        EXPECT_EQ(idle->digest(), updated->digest()) << id;
    }
}

TEST(Digest, of_a_second_message_is_that_of_a_fresh_object) {
    for (unsigned id = 1; id <= 7; id++) {
        auto const used = createHash(id), fresh = createHash(id);
        used->update("first message", 13);
        used->digest();
        used->update("second", 6);
        fresh->update("second", 6);
        std::string const second = used->digest();
        EXPECT_EQ(second, fresh->digest()) << id;
        EXPECT_EQ(used->digest(), createHash(id)->digest()) << id << ", and nothing is left for a third";
    }
}

TEST(MD5SHA1, is_MD5_followed_by_SHA1) {
    std::string const message(200, 'x');
    auto const digest = [&](HashID id) {
        auto hash = createHash(id);
        hash->update(message.data(), 200);
        return hash->digest();
    };
    EXPECT_EQ(digest(HashID::MD5SHA1), digest(HashID::MD5) + digest(HashID::SHA1));
    EXPECT_EQ(digest(HashID::MD5SHA1).size(), 36u);
}

TEST(Digest, as_a_string_is_offered_by_every_class) {
    EXPECT_EQ(MD4().digest().size(), 16u);
    EXPECT_EQ(MD5().digest().size(), 16u);
    EXPECT_EQ(SHA1().digest().size(), 20u);
    EXPECT_EQ(SHA256().digest().size(), 32u);
    EXPECT_EQ(SHA384().digest().size(), 48u);
    EXPECT_EQ(SHA512().digest().size(), 64u);
    EXPECT_EQ(MD5SHA1Hash().digest().size(), 36u);
}

/// A hash that a program derives: its digest is the count of the message's bytes.
class ByteCount : public Hash {
public:
    unsigned lengthFieldLength() override { return 8; }
    void update(void const*, unsigned len) override { count += len; }
    unsigned blockLength() override { return 1; }
    unsigned digestLength() override { return 3; }
    void digest(unsigned char* out) override {
        out[0] = static_cast<unsigned char>(count);
        count = 0;
    }
    using Hash::digest;

private:
    unsigned count = 0;
};

TEST(Digest, as_a_string_is_of_zeros_that_the_class_fills) {
    ByteCount hash;
    hash.update("abc", 3);
    EXPECT_EQ(test::toHex(hash.digest()), "030000");
}

} // namespace TEST_FILE
