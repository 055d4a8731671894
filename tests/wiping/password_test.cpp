#include "sealkit/cipher.h"
#include "sealkit/pbes2.h"
#include "sealkit/pbkdf2.h"
#include "sealkit/pem.h"
#include "sealkit/scrypt.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "kp/base64.h"
#include "support/vectors.h"
#include "wiping/secrets.h"

namespace {

using test::Bytes;
using test::Watch;

namespace oid = detail::oid;

/// Fits a block of every hash; and not.
Bytes const passwords[] = {test::Random(1).bytes(40), test::Random(2).bytes(200)};
Bytes const salt = test::Random(3).bytes(16), iv = test::Random(4).bytes(16);
/// Not in whole blocks.
Bytes const message = test::Random(5).bytes(100);
constexpr unsigned iterations = 3;

std::string_view textOf(Bytes const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

Bytes joined(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The password, and what HMAC over `H` makes of it: the block, the pads and the states behind them.
template <typename H>
void addHmacKey(Watch& watch, Bytes const& password) {
    Watch::Pause const pause;
    watch.addSecret("password", password);
    H hash;
    Bytes block = password;
    if (block.size() > hash.blockLength()) {
        hash.update(block.data(), test::size(block));
        block.resize(hash.digestLength());
        hash.digest(block.data());
        watch.addSecret("digest of the password", block);
    }
    block.resize(hash.blockLength());
    for (unsigned char pad : {0x36, 0x5C}) {
        Bytes padded = block;
        for (unsigned char& byte : padded)
            byte ^= pad;
        H behind;
        behind.update(padded.data(), test::size(padded));
        watch.addObject("pad and state", &behind, sizeof behind);
    }
}

template <typename H>
void expectDerivationWiped(HashID prf) {
    for (Bytes const& password : passwords) {
        Bytes key(100);
        ASSERT_TRUE(pbkdf2(prf, password, salt, iterations, key));
        Watch watch;
        addHmacKey<H>(watch, password);
        watch.addSecret("key", key);
        test::runSearched(watch, [&] {
            unsigned char derived[100];
            EXPECT_TRUE(pbkdf2(prf, password, salt, iterations, derived));
            secureMemset(derived, 0, sizeof derived);
        });
        test::expectNothingFound(watch);
    }
}

TEST(Wiping, DerivingAKeyLeavesNeitherPasswordNorKey) {
    expectDerivationWiped<SHA1>(HashID::SHA1);
    expectDerivationWiped<SHA256>(HashID::SHA256);
    expectDerivationWiped<SHA384>(HashID::SHA384);
    expectDerivationWiped<SHA512>(HashID::SHA512);
}

TEST(Wiping, ScryptLeavesNeitherPasswordNorKey) {
    for (Bytes const& password : passwords) {
        ScryptParams const params{16, 2, 2};
        Bytes key(100);
        ASSERT_TRUE(scrypt(password, salt, params, key));
        Bytes blocks(2 * 256);
        ASSERT_TRUE(pbkdf2(HashID::SHA256, password, salt, 1, blocks));
        Watch watch;
        addHmacKey<SHA256>(watch, password);
        watch.addSecret("key", key);
        watch.addSecret("first blocks", blocks);
        test::runSearched(watch, [&] {
            unsigned char derived[100];
            EXPECT_TRUE(scrypt(password, salt, params, derived));
            secureMemset(derived, 0, sizeof derived);
        });
        test::expectNothingFound(watch);
    }
}

/// A cipher under a password, as PBES2 and as PEM name it.
struct Scheme {
    asn1::blob oid;
    char const* dek;
    CipherID id;
    unsigned keySize, blockSize;
} const schemes[] = {
    {oid::desEde3Cbc, "DES-EDE3-CBC", CipherID::TripleDesCbc, 24, 8},
    {oid::aes128Cbc, "AES-128-CBC", CipherID::AesCbc, 16, 16},
    {oid::aes192Cbc, "AES-192-CBC", CipherID::AesCbc, 24, 16},
    {oid::aes256Cbc, "AES-256-CBC", CipherID::AesCbc, 32, 16},
};

template <typename T>
void addSchedule(Watch& watch, unsigned char const* key) {
    Watch::Pause const pause;
    T const cipher(key);
    watch.addObject("round keys", &cipher, sizeof cipher);
}

void addCipherKey(Watch& watch, Scheme const& scheme, Bytes const& key) {
    watch.addSecret("key", key);
    if (scheme.id == CipherID::TripleDesCbc)
        for (size_t i = 0; i < key.size(); i += 8)
            addSchedule<DES>(watch, key.data() + i);
    else if (key.size() == 16)
        addSchedule<AES128>(watch, key.data());
    else if (key.size() == 24)
        addSchedule<AES192>(watch, key.data());
    else
        addSchedule<AES256>(watch, key.data());
}

/// What is already padded, encrypted by the primitives alone.
Bytes encrypted(Scheme const& scheme, Bytes const& key, Bytes const& padded) {
    auto const cipher = createCipher(scheme.id, key, 0);
    cipher->setIV(iv.data(), scheme.blockSize);
    Bytes out(padded.size());
    cipher->encrypt(padded.data(), test::size(padded), nullptr, 0, out.data());
    return out;
}

/// The message and its padding, right or wrong.
Bytes padded(unsigned blockSize, bool right) {
    auto const padding = static_cast<unsigned char>(blockSize - message.size() % blockSize);
    return joined(message, Bytes(padding, right ? padding : 0xFF));
}

TEST(Wiping, Pbes2LeavesNeitherPasswordKeyNorPlaintext) {
    for (Scheme const& scheme : schemes) {
        for (Bytes const& password : passwords) {
            PBES2Params const p{detail::copyOf(oid::pbkdf2),
                                detail::copyOf(oid::hmacWithSha256),
                                salt,
                                iterations,
                                detail::copyOf(scheme.oid),
                                Bytes(iv.begin(), iv.begin() + scheme.blockSize)};
            AlgorithmIdentifier const algorithm{detail::copyOf(oid::pbes2), encode(p)};
            Bytes key(scheme.keySize);
            ASSERT_TRUE(pbkdf2(HashID::SHA256, password, salt, iterations, key));
            Bytes const right = encrypted(scheme, key, padded(scheme.blockSize, true)),
                        wrong = encrypted(scheme, key, padded(scheme.blockSize, false));
            Watch watch;
            addHmacKey<SHA256>(watch, password);
            addCipherKey(watch, scheme, key);
            watch.addSecret("message", message);
            test::runSearched(watch, [&] {
                Bytes out;
                EXPECT_TRUE(pbes2_crypt(algorithm, textOf(password), right, out, false));
                EXPECT_EQ(out, message);
                EXPECT_FALSE(pbes2_crypt(algorithm, textOf(password), wrong, out, false));
                EXPECT_TRUE(pbes2_crypt(algorithm, textOf(password), right, out, false));
                EXPECT_TRUE(pbes2_crypt(algorithm, textOf(password), message, out, true));
                EXPECT_EQ(out, right);
                EXPECT_EQ(pbes2_encrypt(message, textOf(password), p), right);
            });
            test::expectNothingFound(watch);
        }
    }
}

/// The two digests that the key of a PEM body is made of (OpenSSL's EVP_BytesToKey, with a count of 1).
Bytes pemKey(Bytes const& password) {
    Bytes const half(iv.begin(), iv.begin() + 8), first = calcDigest(HashID::MD5, joined(password, half));
    return joined(first, calcDigest(HashID::MD5, joined(first, joined(password, half))));
}

TEST(Wiping, DecryptedPemBodiesLeaveNeitherPasswordKeyNorPlaintext) {
    for (Scheme const& scheme : schemes) {
        for (Bytes const& password : passwords) {
            std::string const word(textOf(password));
            Bytes const digests = pemKey(password), key(digests.begin(), digests.begin() + scheme.keySize);
            auto const body = [&](bool right) {
                Bytes const text = encrypted(scheme, key, padded(scheme.blockSize, right));
                return "Proc-Type: 4,ENCRYPTED\nDEK-Info: " + std::string(scheme.dek) + "," +
                       test::toHex(iv.data(), scheme.blockSize) + "\n\n" + kp::base64Encode(text) + "\n";
            };
            std::string const right = body(true), wrong = body(false);
            Watch watch;
            watch.addSecret("password", password);
            watch.addSecret("digests", digests);
            addCipherKey(watch, scheme, key);
            watch.addSecret("message", message);
            test::runSearched(watch, [&] {
                Bytes out;
                EXPECT_TRUE(pemDecrypt(right, &out, word));
                EXPECT_EQ(out, message);
                EXPECT_FALSE(pemDecrypt(wrong, &out, word));
                EXPECT_TRUE(pemDecrypt(right, &out, word));
                EXPECT_FALSE(pemDecrypt("", &out, word));
                EXPECT_TRUE(pemDecrypt(right, &out, word));
                test::wipe(out);
            });
            test::expectNothingFound(watch);
        }
    }
}

} // namespace
