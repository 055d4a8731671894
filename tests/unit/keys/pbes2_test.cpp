#include "sealkit/pbes2.h"
#include "support/slow.h"

#include "sealkit/cipher.h"
#include "sealkit/pbkdf2.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <functional>

namespace TEST_FILE {

using test::CapturedOutput;
using test::concat;
using test::element;
using test::hex;
using test::integer;
using test::sequence;
using Bytes = std::vector<unsigned char>;

// Content octets, from `openssl asn1parse -genstr OID:…`.
Bytes const pbkdf2Oid = hex("2a864886f70d01050c"), pbes2Oid = hex("2a864886f70d01050d");
Bytes const hmacSha1 = hex("2a864886f70d0207"), hmacSha256 = hex("2a864886f70d0209"),
            hmacSha512 = hex("2a864886f70d020b");
Bytes const tripleDes = hex("2a864886f70d0307"), aes128 = hex("60864801650304 0102"),
            aes192 = hex("60864801650304 0116"), aes256 = hex("60864801650304 012a");
Bytes const null = hex("0500");
constexpr char password[] = "pass phrase";

struct Scheme {
    Bytes cipher;
    CipherID id;
    unsigned keySize, block;
} const schemes[] = {
    {tripleDes, CipherID::TripleDesCbc, 24, 8},
    {aes128, CipherID::AesCbc, 16, 16},
    {aes192, CipherID::AesCbc, 24, 16},
    {aes256, CipherID::AesCbc, 32, 16},
};

Bytes counted(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(3 * i + 1);
    return bytes;
}

PBES2Params paramsOf(Scheme const& scheme, Bytes const& prf = hmacSha256) {
    return {pbkdf2Oid, prf, counted(9), 3, scheme.cipher, counted(scheme.block)};
}

Bytes oidElement(Bytes const& content) { return element(0x06, content); }

/// PBES2-params in parts, so that each can be another.
struct Parts {
    Bytes kdf = oidElement(pbkdf2Oid);
    Bytes salt = element(0x04, counted(9));
    Bytes count = integer({3});
    Bytes keyLength;
    Bytes prf = sequence({oidElement(hmacSha256), null});
    Bytes behindPrf, behindKdf;
    Bytes cipher = oidElement(aes256);
    Bytes iv = element(0x04, counted(16));
    Bytes behindIv, behindScheme, behind;

    Bytes der() const {
        Bytes const function = sequence({kdf, sequence({salt, count, keyLength, prf, behindPrf}), behindKdf});
        return concat({sequence({function, sequence({cipher, iv, behindIv}), behindScheme}), behind});
    }
};

AlgorithmIdentifier algorithm(Bytes const& params) { return {pbes2Oid, params}; }
AlgorithmIdentifier algorithm(PBES2Params const& params) { return algorithm(encode(params)); }

/// What the padded plaintext encrypts to, by the primitives alone.
Bytes encryptRaw(PBES2Params const& p, Scheme const& scheme, HashID prf, Bytes const& padded) {
    Bytes key(scheme.keySize), out(padded.size());
    EXPECT_TRUE(pbkdf2(prf, std::string_view(password), p.salt, p.iterations, key));
    std::unique_ptr<Cipher> const cipher = createCipher(scheme.id, key, 0);
    cipher->setIV(p.iv.data(), static_cast<unsigned>(p.iv.size()));
    cipher->encrypt(padded.data(), static_cast<unsigned>(padded.size()), nullptr, 0, out.data());
    return out;
}

struct Answer {
    bool done;
    Bytes out;
    std::string said;
};

Answer crypt(AlgorithmIdentifier const& params, asn1::blob data, bool encrypt,
             std::string_view withPassword = password) {
    CapturedOutput const output;
    Answer answer{false, counted(5), {}};
    answer.done = pbes2_crypt(params, withPassword, data, answer.out, encrypt);
    answer.said = output.text();
    return answer;
}

/// False and nothing in the result, for both directions, with these words.
void expectRefused(Bytes const& params, std::string const& words = "") {
    for (bool encrypt : {false, true}) {
        Answer const answer = crypt(algorithm(params), counted(32), encrypt);
        EXPECT_FALSE(answer.done) << test::toHex(params);
        EXPECT_TRUE(answer.out.empty());
        EXPECT_EQ(answer.said, words) << test::toHex(params);
    }
}

TEST_CASES(Pbes2, AgreesWithWycheproof, "wycheproof/pbes2_hmacsha1_aes_128.txt",
           "wycheproof/pbes2_hmacsha1_aes_192.txt", "wycheproof/pbes2_hmacsha1_aes_256.txt",
           "wycheproof/pbes2_hmacsha256_aes_128.txt", "wycheproof/pbes2_hmacsha256_aes_192.txt",
           "wycheproof/pbes2_hmacsha256_aes_256.txt")
(test::Case const& c) {
    unsigned const every = test::lessWhenSlow(1u, 6u);
    bool const isSha1 = c.file().starts_with("pbes2_hmacsha1_");
    Bytes const& prf = isSha1 ? hmacSha1 : hmacSha256;
    Bytes const& cipher = c.file().ends_with("128") ? aes128 : c.file().ends_with("192") ? aes192 : aes256;
    c.ignore({"flags"});
    auto const iterations = static_cast<unsigned>(c.number("iterationCount"));
    PBES2Params const p{pbkdf2Oid, prf, c.bytes("salt"), iterations, cipher, c.bytes("iv")};
    Bytes const word = c.bytes("password"), message = c.bytes("msg"), encrypted = c.bytes("ct");
    std::string const secret(word.begin(), word.end());
    EXPECT_EQ(c.text("result"), "valid");
    if (c.index() % every != 0)
        GTEST_SKIP() << "one of " << every << " is enough here";
    EXPECT_EQ(pbes2_encrypt(message, secret, p), encrypted);
    Answer const answer = crypt(algorithm(p), encrypted, false, secret);
    EXPECT_TRUE(answer.done);
    EXPECT_EQ(answer.out, message);
}

TEST(Pbes2, PadsByOneByteToAWholeBlock) {
    for (Scheme const& scheme : schemes)
        for (size_t size = 0; size <= 2 * scheme.block + 1; ++size) {
            PBES2Params const p = paramsOf(scheme);
            Bytes const plain = counted(size);
            auto const padding = static_cast<unsigned char>(scheme.block - size % scheme.block);
            Bytes const expected =
                encryptRaw(p, scheme, HashID::SHA256, concat({plain, Bytes(padding, padding)}));
            EXPECT_EQ(pbes2_encrypt(plain, password, p), expected);
            Answer const encrypted = crypt(algorithm(p), plain, true);
            EXPECT_TRUE(encrypted.done);
            EXPECT_EQ(encrypted.out, expected);
            Answer const decrypted = crypt(algorithm(p), expected, false);
            EXPECT_TRUE(decrypted.done);
            EXPECT_EQ(decrypted.out, plain);
        }
}

TEST(Pbes2, SixteenBytesBecomeThirtyTwoUnderAes) {
    EXPECT_EQ(pbes2_encrypt(counted(16), password, paramsOf(schemes[3])).size(), 32u);
}

TEST(Pbes2, LooksAtTheLastByteOfThePaddingAlone) {
    for (Scheme const& scheme : schemes) {
        PBES2Params const p = paramsOf(scheme);
        for (unsigned last = 0; last < 256; ++last) {
            Bytes padded = counted(2 * scheme.block);
            padded.back() = static_cast<unsigned char>(last);
            Answer const answer = crypt(algorithm(p), encryptRaw(p, scheme, HashID::SHA256, padded), false);
            EXPECT_EQ(answer.done, last <= scheme.block);
            if (answer.done)
                padded.resize(padded.size() - last);
            else
                padded.clear();
            EXPECT_EQ(answer.out, padded);
            EXPECT_EQ(answer.said, "");
        }
    }
}

TEST(Pbes2, DecryptsWholeBlocksAndOneAtLeast) {
    for (Scheme const& scheme : schemes)
        for (size_t size = 0; size < 3 * scheme.block; ++size) {
            Answer const answer = crypt(algorithm(paramsOf(scheme)), Bytes(size), false);
            if (size == 0 || size % scheme.block != 0) {
                EXPECT_FALSE(answer.done);
                EXPECT_TRUE(answer.out.empty());
            }
            EXPECT_EQ(answer.said, "");
        }
}

TEST(Pbes2, RefusesAPartialBlockBeforeTheWorkOfDerivingAKey) {
    PBES2Params p = paramsOf(schemes[3]);
    p.iterations = pbes2MaxIterations;
    AlgorithmIdentifier const slow = algorithm(p);
    for (int i = 0; i < 10'000; ++i) { // hours, if each derived a key
        Bytes out;
        ASSERT_FALSE(pbes2_crypt(slow, password, counted(15), out, false));
    }
}

TEST(Pbes2, WithoutPrfTheHashIsSha1) {
    Parts parts;
    PBES2Params const p = paramsOf(schemes[3], {});
    Bytes const padded = concat({counted(5), Bytes(11, 11)});
    Bytes const encrypted = encryptRaw(p, schemes[3], HashID::SHA1, padded);
    for (Bytes const& prf :
         {Bytes(), sequence({oidElement(hmacSha1), null}), sequence({oidElement(hmacSha1)}),
          sequence({oidElement(hmacSha1), integer({7})})}) {
        parts.prf = prf;
        EXPECT_EQ(crypt(algorithm(parts.der()), encrypted, false).out, counted(5));
    }
    EXPECT_EQ(pbes2_encrypt(counted(5), password, p), encrypted);
    EXPECT_EQ(pbes2_encrypt(counted(5), password, paramsOf(schemes[3], hmacSha1)), encrypted);
}

TEST(Pbes2, NamesAnotherPrf) {
    Parts parts;
    parts.prf = sequence({oidElement(hmacSha512), null});
    expectRefused(parts.der(), "unsupported PBES2 KDF: <1.2.840.113549.2.11>\n");
    parts.prf = sequence({oidElement(hex("2a864886f70d01010b")), null});
    parts.cipher = oidElement(hex("2a")); // the first complaint is the only one
    expectRefused(parts.der(), "unsupported PBES2 KDF: <SHA256+RSA>\n");
    CapturedOutput const output;
    EXPECT_TRUE(pbes2_encrypt(counted(5), password, paramsOf(schemes[3], hmacSha512)).empty());
    EXPECT_EQ(output.text(), "unsupported PBES2 KDF: <1.2.840.113549.2.11>\n");
}

TEST(Pbes2, NamesAnotherCipher) {
    Parts parts;
    parts.cipher = oidElement(hex("608648016503040106")); // GCM
    expectRefused(parts.der(), "PBES2: unimplemented cipher: <2.16.840.1.101.3.4.1.6>\n");
    parts.cipher = oidElement({});
    expectRefused(parts.der(), "PBES2: unimplemented cipher: <()>\n");
    PBES2Params p = paramsOf(schemes[3]);
    p.cipher.clear();
    CapturedOutput const output;
    EXPECT_TRUE(pbes2_encrypt(counted(5), password, p).empty());
    EXPECT_EQ(output.text(), "PBES2: unimplemented cipher: <()>\n");
}

TEST(Pbes2, RefusesAnotherKdfSilently) {
    Parts parts;
    parts.kdf = oidElement(hex("2b06010401da47040b")); // scrypt
    expectRefused(parts.der());
    parts.kdf = oidElement(pbes2Oid);
    expectRefused(parts.der());
    PBES2Params p = paramsOf(schemes[3]);
    for (Bytes const& kdf : {Bytes(), pbes2Oid}) {
        p.kdf = kdf;
        CapturedOutput const output;
        EXPECT_TRUE(pbes2_encrypt(counted(5), password, p).empty());
        EXPECT_EQ(output.text(), "");
    }
}

TEST(Pbes2, NeedsAnIvOfOneBlock) {
    for (Scheme const& scheme : schemes)
        for (size_t size = 0; size <= 40; ++size) {
            Parts parts;
            parts.cipher = oidElement(scheme.cipher);
            parts.iv = element(0x04, counted(size));
            if (size != scheme.block)
                expectRefused(parts.der());
            else
                EXPECT_TRUE(crypt(algorithm(parts.der()), counted(32), true).done);
            PBES2Params p = paramsOf(scheme);
            p.iv = counted(size);
            EXPECT_EQ(pbes2_encrypt(counted(5), password, p).empty(), size != scheme.block);
        }
}

TEST(Pbes2, TakesSaltsOfAnyLength) {
    for (size_t size = 0; size <= 40; ++size) {
        PBES2Params p = paramsOf(schemes[1]);
        p.salt = counted(size);
        Bytes const padded = concat({counted(15), Bytes{1}});
        EXPECT_EQ(crypt(algorithm(p), counted(15), true).out,
                  encryptRaw(p, schemes[1], HashID::SHA256, padded));
    }
}

TEST(Pbes2, BoundsTheIterationCount) {
    Parts parts;
    for (char const* content : {"", "00", "00000000", "0000000003", "989681", "00989681", "7fffffff",
                                "80000000", "ffffffff", "0080000000"}) {
        parts.count = integer(hex(content));
        expectRefused(parts.der());
    }
    for (auto const& [content, count] :
         {std::pair("01", 1u), {"00000007", 7u}, {"989680", 10'000'000u}, {"81", 129u}}) {
        parts.count = integer(hex(content));
        PBES2Params p;
        EXPECT_TRUE(parse(p, parts.der()));
        EXPECT_EQ(p.iterations, count);
    }
    for (unsigned count : {0u, pbes2MaxIterations + 1, 0x80000000u, 0xFFFFFFFFu}) {
        PBES2Params p = paramsOf(schemes[3]);
        p.iterations = count;
        EXPECT_TRUE(pbes2_encrypt(counted(5), password, p).empty());
    }
}

TEST(Pbes2, KeyLengthIsReadAndNotUsed) {
    Parts parts;
    Bytes const expected = crypt(algorithm(parts.der()), counted(5), true).out;
    EXPECT_EQ(expected.size(), 16u);
    for (char const* length : {"10", "20", "00", "7fffffffffffffff"}) {
        parts.keyLength = integer(hex(length));
        EXPECT_EQ(crypt(algorithm(parts.der()), counted(5), true).out, expected);
    }
}

TEST(Pbes2, ParametersHaveExactlyTheirShape) {
    using Change = std::function<void(Parts&)>;
    Change const changes[] = {
        [](Parts& p) { p.kdf = {}; },
        [](Parts& p) { p.kdf = element(0x04, pbkdf2Oid); },
        [](Parts& p) { p.salt = {}; },
        [](Parts& p) { p.salt = sequence({oidElement(pbkdf2Oid)}); }, // otherSource
        [](Parts& p) { p.count = {}; },
        [](Parts& p) { p.count = element(0x04, {3}); },
        [](Parts& p) { p.keyLength = element(0x04, {32}); },
        [](Parts& p) {
            p.keyLength = concat({integer({32}), integer({32})});
        },
        [](Parts& p) { p.prf = element(0x31, oidElement(hmacSha256)); },
        [](Parts& p) { p.prf = oidElement(hmacSha256); },
        [](Parts& p) { p.prf = sequence({}); },
        [](Parts& p) { p.prf = sequence({oidElement({})}); },
        [](Parts& p) {
            p.prf = sequence({null, oidElement(hmacSha256)});
        },
        [](Parts& p) {
            p.prf = sequence({oidElement(hmacSha256), null, null});
        },
        [](Parts& p) { std::swap(p.prf, p.keyLength), p.behindPrf = integer({32}); },
        [](Parts& p) { p.behindPrf = null; },
        [](Parts& p) { p.behindKdf = null; },
        [](Parts& p) { p.cipher = element(0x04, aes256); },
        [](Parts& p) { p.cipher = {}; },
        [](Parts& p) { p.iv = {}; },
        [](Parts& p) { p.iv = element(0x24, counted(16)); },
        [](Parts& p) { p.behindIv = null; },
        [](Parts& p) { p.behindScheme = null; },
        [](Parts& p) { p.behind = null; },
    };
    for (Change const& change : changes) {
        Parts parts;
        change(parts);
        expectRefused(parts.der());
    }
    expectRefused({});
    expectRefused(oidElement(pbes2Oid)); // how absent parameters read
    Bytes const whole = Parts().der();
    EXPECT_TRUE(crypt(algorithm(whole), counted(5), true).done);
    for (size_t size = 0; size < whole.size(); ++size)
        expectRefused(Bytes(whole.begin(), whole.begin() + size));
}

TEST(Pbes2, ParametersAreWrittenAsTheyAreRead) {
    EXPECT_EQ(test::toHex(encode(paramsOf(schemes[3]))), test::toHex(Parts().der()));
    PBES2Params p = paramsOf(schemes[0], {});
    for (unsigned count : {1u, 127u, 128u, 200u, 2048u, 40'000u, 600'000u, pbes2MaxIterations}) {
        p.iterations = count;
        PBES2Params again;
        ASSERT_TRUE(parse(again, encode(p)));
        EXPECT_EQ(again.kdf, p.kdf);
        EXPECT_EQ(again.prf, p.prf);
        EXPECT_EQ(again.salt, p.salt);
        EXPECT_EQ(again.iterations, count);
        EXPECT_EQ(again.cipher, p.cipher);
        EXPECT_EQ(again.iv, p.iv);
        EXPECT_EQ(encode(again), encode(p));
    }
    p.iterations = 200; // an INTEGER, whose first bit is its sign
    Bytes const expected = integer(hex("00c8")), written = encode(p);
    EXPECT_NE(std::search(written.begin(), written.end(), expected.begin(), expected.end()), written.end());
}

TEST(Pbes2, TheDataMayBeWhatTheResultHeld) {
    Bytes bytes = counted(20);
    AlgorithmIdentifier const params = algorithm(paramsOf(schemes[3]));
    EXPECT_TRUE(pbes2_crypt(params, password, bytes, bytes, true));
    EXPECT_EQ(bytes.size(), 32u);
    EXPECT_TRUE(pbes2_crypt(params, password, bytes, bytes, false));
    EXPECT_EQ(bytes, counted(20));
}

} // namespace TEST_FILE
