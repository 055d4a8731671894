#include "sealkit/cipher.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "kp/base64.h"
#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace TEST_FILE {

using test::CapturedOutput;
using test::concat;
using test::hex;
using test::toHex;
using Bytes = std::vector<unsigned char>;

std::filesystem::path const folder = SEALKIT_TEST_DATA "/vectors/keys";
std::string const password = "correct horse";

struct Dek {
    std::string name;
    CipherID id;
    unsigned keySize, block;
} const deks[] = {
    {"DES-EDE3-CBC", CipherID::TripleDesCbc, 24, 8},
    {"AES-128-CBC", CipherID::AesCbc, 16, 16},
    {"AES-192-CBC", CipherID::AesCbc, 24, 16},
    {"AES-256-CBC", CipherID::AesCbc, 32, 16},
};

std::string textOf(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << path;
    return text;
}

struct Answer {
    bool done;
    Bytes out;
    std::string said;
};

Answer decrypt(std::string_view body, std::string const& withPassword = password) {
    CapturedOutput const output;
    Answer answer{false, {1, 2, 3}, {}};
    answer.done = pemDecrypt(body, &answer.out, withPassword);
    answer.said = output.text();
    return answer;
}

void expectRefused(std::string const& body, std::string const& words = "") {
    Answer const answer = decrypt(body);
    EXPECT_FALSE(answer.done) << body;
    EXPECT_TRUE(answer.out.empty()) << body;
    EXPECT_EQ(answer.said, words) << body;
}

Bytes counted(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(3 * i + 1);
    return bytes;
}

Bytes padded(Bytes const& plain, unsigned block) {
    auto const padding = static_cast<unsigned char>(block - plain.size() % block);
    return concat({plain, Bytes(padding, padding)});
}

Bytes keyOf(Dek const& dek, Bytes const& iv, std::string const& secret = password) {
    Bytes const word(secret.begin(), secret.end()), salt(iv.begin(), iv.begin() + 8);
    Bytes const first = calcDigest(HashID::MD5, concat({word, salt}));
    Bytes key = concat({first, calcDigest(HashID::MD5, concat({first, word, salt}))});
    key.resize(dek.keySize);
    return key;
}

/// The base64 text of what the padded plaintext encrypts to, by the primitives alone.
std::string encrypted(Dek const& dek, Bytes const& plain, std::string const& secret = password) {
    Bytes const iv = counted(dek.block);
    std::unique_ptr<Cipher> const cipher = createCipher(dek.id, keyOf(dek, iv, secret), 0);
    cipher->setIV(iv.data(), dek.block);
    Bytes out(plain.size());
    cipher->encrypt(plain.data(), static_cast<unsigned>(plain.size()), nullptr, 0, out.data());
    return kp::base64Encode(out);
}

std::string dekInfo(Dek const& dek) { return "DEK-Info: " + dek.name + "," + toHex(counted(dek.block)); }

std::string const procType = "Proc-Type: 4,ENCRYPTED\n";
Dek const& aes = deks[1];

std::string bodyOf(Dek const& dek, Bytes const& plain) {
    return procType + dekInfo(dek) + "\n\n" + encrypted(dek, plain) + "\n";
}

TEST(PemDecrypt, ReadsTheKeysOfOtherPrograms) {
    std::string const ec = textOf(folder / "private/openssl-pkcs8-prime256v1.pem"),
                      rsa = textOf(folder / "private/openssl-pkcs8-rsa.pem");
    size_t read = 0;
    for (auto const& entry : std::filesystem::directory_iterator(folder / "encrypted")) {
        std::string const name = entry.path().filename();
        std::string const text = entry.path().extension() == ".pem" ? textOf(entry.path()) : "";
        std::string_view rest = text, label, body;
        if (!parsePem(rest, &label, &body) || !body.starts_with("Proc-Type:"))
            continue;
        SCOPED_TRACE(name);
        if (name.find("refused") != name.npos) {
            expectRefused(std::string(body), "[ERR] unkown encrypted PEM type: CAMELLIA-128-CBC\n");
        } else {
            bool const isRsa = label == "RSA PRIVATE KEY";
            std::unique_ptr<PrivateKey> const expected = readOneAssimetricKey(isRsa ? rsa : ec);
            Answer const answer = decrypt(body);
            ASSERT_TRUE(answer.done);
            EXPECT_EQ(answer.said, "");
            std::unique_ptr<PrivateKey> key = std::make_unique<EcPrivateKey>();
            if (isRsa)
                key = std::make_unique<RsaPrivateKey>();
            ASSERT_TRUE(key->parseFromDerEncoded({}, answer.out));
            EXPECT_EQ(encodePkcs8PrivateKey(*key), encodePkcs8PrivateKey(*expected));
            Answer const wrong = decrypt(body, "wrong");
            EXPECT_FALSE(wrong.done && wrong.out == answer.out);
        }
        ++read;
    }
    EXPECT_EQ(read, 12u);
}

TEST(PemDecrypt, DecryptsEveryLength) {
    for (Dek const& dek : deks)
        for (size_t size = 0; size <= 2 * dek.block; ++size) {
            Answer const answer = decrypt(bodyOf(dek, padded(counted(size), dek.block)));
            EXPECT_TRUE(answer.done);
            EXPECT_EQ(answer.out, counted(size));
            EXPECT_EQ(answer.said, "");
        }
}

TEST(PemDecrypt, ChecksTheWholePadding) {
    for (Dek const& dek : deks) {
        for (unsigned last = 0; last < 256; ++last) {
            Bytes plain(2 * dek.block, static_cast<unsigned char>(last));
            bool const good = last != 0 && last <= dek.block;
            EXPECT_EQ(decrypt(bodyOf(dek, plain)).done, good);
            for (size_t at = 1; good && at < last; ++at) {
                Bytes wrong = plain;
                wrong[plain.size() - 1 - at] ^= 0x40;
                expectRefused(bodyOf(dek, wrong));
            }
        }
        // A block of padding alone, of a length that the data does not have.
        EXPECT_EQ(decrypt(bodyOf(dek, Bytes(dek.block, static_cast<unsigned char>(dek.block)))).out, Bytes());
    }
    expectRefused(bodyOf(deks[0], Bytes(8, 16)));
}

TEST(PemDecrypt, NeedsWholeBlocksAndOneAtLeast) {
    for (size_t size = 0; size < 48; ++size) {
        Answer const answer =
            decrypt(procType + dekInfo(aes) + "\n\n" + kp::base64Encode(counted(size)) + "\n");
        EXPECT_FALSE(answer.done && size % 16 != 0);
        EXPECT_FALSE(answer.done && size == 0);
    }
    expectRefused(procType + dekInfo(aes) + "\n\n");
    expectRefused(procType + dekInfo(aes) + "\n");
    expectRefused(procType + dekInfo(aes));
}

TEST(PemDecrypt, TheTextMustBeBase64) {
    std::string const text = encrypted(aes, padded(counted(40), 16));
    for (std::string const& wrong : {"*" + text, text + "=", text.substr(1), text + "\n*", text + ": x"})
        expectRefused(procType + dekInfo(aes) + "\n\n" + wrong + "\n");
}

TEST(PemDecrypt, BeginsWithProcTypeAndDekInfo) {
    std::string const text = "\n\n" + encrypted(aes, padded(counted(40), 16));
    EXPECT_TRUE(decrypt(procType + dekInfo(aes) + text).done);
    EXPECT_TRUE(decrypt("Proc-Type:\n" + dekInfo(aes) + text).done); // what it says is not looked at
    for (std::string const& headers :
         {std::string(), std::string("\n"), procType, dekInfo(aes), dekInfo(aes) + "\n" + procType,
          procType + "\n" + dekInfo(aes), procType + "X-Other: 1\n" + dekInfo(aes),
          "x" + procType + dekInfo(aes), procType + " " + dekInfo(aes),
          procType + "DEK-info: " + dekInfo(aes).substr(10), procType + "DEK-Info"})
        expectRefused(headers + text);
}

TEST(PemDecrypt, TakesDekInfoApart) {
    std::string const text = "\n\n" + encrypted(aes, padded(counted(40), 16)), iv = toHex(counted(16));
    std::string upper = iv;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(c));
    for (std::string const& info :
         {"DEK-Info: AES-128-CBC," + iv, "DEK-Info: AES-128-CBC," + upper, "DEK-Info:AES-128-CBC," + iv,
          "DEK-Info:  \t AES-128-CBC,  " + iv, "DEK-Info: AES-128-CBC," + iv + " and more",
          "DEK-Info: AES-128-CBC," + iv + "\t"})
        EXPECT_EQ(decrypt(procType + info + text).out, counted(40)) << info;
    for (std::string const& info :
         {std::string("DEK-Info:"), std::string("DEK-Info: "), std::string("DEK-Info: AES-128-CBC"),
          std::string("DEK-Info: AES-128-CBC,"), std::string("DEK-Info: AES-128-CBC, "), "DEK-Info: ," + iv,
          "DEK-Info: AES-128-CBC;" + iv, "DEK-Info: AES-128-CBC," + iv.substr(1),
          "DEK-Info: AES-128-CBC," + iv + "x", "DEK-Info: AES-128-CBC,0x" + iv.substr(2),
          "DEK-Info: AES-128-CBC," + iv + "," + iv, "DEK-Info: AES-128-CBC,-" + iv.substr(1)})
        expectRefused(procType + info + text);
}

TEST(PemDecrypt, NamesAnotherCipher) {
    std::string const iv = "," + toHex(counted(16)) + "\n\nAAAA\n",
                      start = "[ERR] unkown encrypted PEM type: ";
    for (std::string const& name :
         {std::string("DES-CBC"), std::string("aes-128-cbc"), std::string("AES-128-CBC "),
          std::string("AES-128-GCM"), std::string("x"), std::string("AES-128-CB"),
          std::string("AES-128-CBCC"), std::string(36, 'a')})
        expectRefused(procType + "DEK-Info: " + name + iv, start + name + "\n");
    // No further than 36 characters.
    for (size_t size : {37, 38, 100})
        expectRefused(procType + "DEK-Info: " + std::string(size, 'a') + iv);
    // Before the IV is looked at.
    expectRefused(procType + "DEK-Info: DES-CBC,zz\n\nAAAA\n", start + "DES-CBC\n");
}

TEST(PemDecrypt, TheIvIsOneBlock) {
    for (Dek const& dek : deks)
        for (size_t size = 0; size <= 40; ++size) {
            std::string const body = procType + "DEK-Info: " + dek.name + "," + toHex(counted(size)) +
                                     "\n\n" + encrypted(dek, padded(counted(40), dek.block)) + "\n";
            if (size == dek.block)
                EXPECT_EQ(decrypt(body).out, counted(40));
            else
                expectRefused(body);
        }
}

TEST(PemDecrypt, PassesOverOtherHeadersAndTheBlankLine) {
    std::string const start = procType + dekInfo(aes) + "\n",
                      text = encrypted(aes, padded(counted(100), 16)) + "\n";
    for (std::string const& between :
         {std::string(), std::string("\n"), std::string("\r\n"), std::string(" \t\n"), std::string("\n\n\n"),
          std::string("Originator-ID-Asymmetric: x,y\n\n"), std::string("X-Note: first\nX-Note: second\n"),
          std::string("X-Note: one\n of\n\tthree\n\n")})
        EXPECT_EQ(decrypt(start + between + text).out, counted(100)) << between;
    // A header behind the blank line is no header.
    expectRefused(start + "\nX-Note: late\n" + text);
}

TEST(PemDecrypt, TakesCrLfAndLinesOfAnyLength) {
    std::string const text = encrypted(aes, padded(counted(100), 16));
    EXPECT_EQ(decrypt("Proc-Type: 4,ENCRYPTED\r\n" + dekInfo(aes) + "\r\n\r\n" + text.substr(0, 64) + "\r\n" +
                      text.substr(64) + "\r\n")
                  .out,
              counted(100));
    std::string lines;
    for (char c : text)
        lines += std::string(" ") + c + " \n";
    EXPECT_EQ(decrypt(procType + dekInfo(aes) + "\n\n" + lines).out, counted(100));
}

TEST(PemDecrypt, CutAnywhereIsRefusedOrShorter) {
    Bytes const plain = counted(100);
    std::string const body = bodyOf(aes, padded(plain, 16));
    for (size_t size = 0; size + 1 < body.size(); ++size) {
        Answer const answer = decrypt(body.substr(0, size));
        EXPECT_FALSE(answer.done && answer.out == plain);
        EXPECT_LE(answer.out.size(), plain.size());
    }
}

TEST(PemDecrypt, WithAnyBitFlippedEnds) {
    std::string const body = bodyOf(aes, padded(counted(40), 16));
    for (size_t bit = 0; bit < 8 * body.size(); ++bit) {
        std::string flipped = body;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
        Answer const answer = decrypt(flipped);
        EXPECT_TRUE(answer.done || answer.out.empty());
    }
}

TEST(PemDecrypt, TakesAnyPassword) {
    for (std::string const& secret : {std::string(), std::string("a\0b", 3), std::string(500, 'x')}) {
        std::string const text = encrypted(aes, padded(counted(40), 16), secret);
        EXPECT_EQ(decrypt(procType + dekInfo(aes) + "\n\n" + text + "\n", secret).out, counted(40));
    }
}

TEST(PemDecrypt, TheBodyMayBeWhatTheResultHeld) {
    std::string const body = bodyOf(aes, padded(counted(40), 16));
    Bytes bytes(body.begin(), body.end());
    std::string_view const view(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    EXPECT_TRUE(pemDecrypt(view, &bytes, password));
    EXPECT_EQ(bytes, counted(40));
}

} // namespace TEST_FILE
