#include "sealkit/hmac.h"

#include "wiping/lifetime.h"

namespace {

using test::Bytes;
using test::Watch;

constexpr HashID hashes[] = {HashID::MD5SHA1, HashID::MD4,    HashID::MD5,   HashID::SHA1,
                             HashID::SHA256,  HashID::SHA384, HashID::SHA512};

Bytes const message = test::Random(2).bytes(200);

/// Leaves a block half full, and a chaining state that is not the first.
void absorb(Hash& hash) { hash.update(message.data(), test::size(message)); }

void finish(Hash& hash) {
    unsigned char digest[64];
    absorb(hash);
    hash.digest(digest);
    secureMemset(digest, 0, sizeof digest); // It is the state, too.
}

template <typename T>
void expectHashWiped() {
    for (auto* const use : {absorb, finish}) {
        Watch watch;
        test::expectWiped<T>(watch, *use);
    }
}

TEST(Wiping, HashesLeaveNeitherBlockNorState) {
    expectHashWiped<MD5SHA1Hash>();
    expectHashWiped<MD4>();
    expectHashWiped<MD5>();
    expectHashWiped<SHA1>();
    expectHashWiped<SHA256>();
    expectHashWiped<SHA384>();
    expectHashWiped<SHA512>();
}

class WipingHash : public testing::TestWithParam<HashID> {};
INSTANTIATE_TEST_SUITE_P(Of, WipingHash, testing::ValuesIn(hashes));

/// The key, and what HMAC makes of it.
void addKey(Watch& watch, HashID id, Bytes const& key) {
    Watch::Pause const pause;
    auto const hash = createHash(id);
    Bytes block = key;
    if (key.size() > hash->blockLength()) {
        watch.addSecret("key", key);
        block.resize(hash->digestLength());
        hash->update(key.data(), test::size(key));
        hash->digest(block.data());
    }
    watch.addSecret("key of at most a block", block);
    block.resize(hash->blockLength());
    for (unsigned char pad : {0x36, 0x5C}) {
        Bytes padded = block;
        for (unsigned char& byte : padded)
            byte ^= pad;
        watch.addSecret("pad", padded);
    }
}

struct BorrowingHmac {
    std::unique_ptr<Hash> const hash;
    HMAC hmac;
    BorrowingHmac(HashID id, Bytes const& key)
        : hash(createHash(id)), hmac(hash.get(), key.data(), test::size(key)) {}
};

TEST_P(WipingHash, HmacLeavesNeitherKeyNorPads) {
    for (unsigned keyLength : {16U, 64U, 128U, 200U})
        for (auto* const use : {absorb, finish}) {
            Bytes const key = test::Random(3).bytes(keyLength);
            Watch watch;
            addKey(watch, GetParam(), key);
            test::expectHeapWiped(
                watch, [&] { return createHMAC(GetParam(), key); }, *use);
            test::expectWiped<BorrowingHmac>(
                watch, [&](BorrowingHmac& mac) { use(mac.hmac); }, GetParam(), key);
        }
}

TEST_P(WipingHash, KeyDerivationLeavesNeitherKeysNorBlocks) {
    Bytes const salt = test::Random(4).bytes(40), ikm = test::Random(5).bytes(50), info = {1, 2, 3};
    Watch watch;
    addKey(watch, GetParam(), salt);
    watch.addSecret("keying material", ikm);
    auto const hash = createHash(GetParam()), extraction = createHash(GetParam());
    HMAC extract(extraction.get(), salt.data(), test::size(salt));
    extract.update(ikm.data(), test::size(ikm));
    Bytes prk(hash->digestLength());
    extract.digest(prk.data());
    addKey(watch, GetParam(), prk);
    Bytes okm = HKPDF(*hash, salt, info, ikm, 100);
    watch.addSecret("derived key", okm);
    Bytes again;
    test::runSearched(watch, [&] {
        test::wipe(again);
        again = HKPDF(*hash, salt, info, ikm, 100);
    });
    EXPECT_EQ(again, okm);
    test::expectNothingFound(watch);
}

} // namespace
