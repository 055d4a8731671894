// libgcrypt: hashes and ciphers. Its public-key operations are among the slowest and are omitted.
#include "inputs.h"
#include "libraries.h"

#include <gcrypt.h>

#include <array>

namespace bench {

namespace {

void addHash(Rows& rows, std::string const& name, int algorithm) {
    rows.addSizes(name, [=](size_t size) {
        gcry_md_hd_t handle;
        gcry_md_open(&handle, algorithm, 0);
        return [=, in = message(size)] {
            gcry_md_reset(handle);
            gcry_md_write(handle, in.data(), in.size());
            return gcry_md_read(handle, algorithm) != nullptr;
        };
    });
}

void addMode(Rows& rows, std::string const& name, int algorithm, int mode, size_t keySize, size_t ivSize,
             size_t size) {
    for (bool const encrypts : {true, false})
        rows.addSize(name + (encrypts ? "_encrypt" : "_decrypt"), size, [=](size_t) {
            gcry_cipher_hd_t handle;
            gcry_cipher_open(&handle, algorithm, mode, 0);
            return [=, in = message(size), out = Bytes(size)]() mutable {
                gcry_cipher_reset(handle);
                if (gcry_cipher_setkey(handle, key(keySize).data(), keySize) != 0)
                    return false;
                if (mode == GCRY_CIPHER_MODE_CTR)
                    gcry_cipher_setctr(handle, iv(ivSize).data(), ivSize);
                else
                    gcry_cipher_setiv(handle, iv(ivSize).data(), ivSize);
                bool const authenticates = mode == GCRY_CIPHER_MODE_GCM;
                if (authenticates)
                    gcry_cipher_authenticate(handle, iv(13).data(), 13);
                auto const run = encrypts ? gcry_cipher_encrypt : gcry_cipher_decrypt;
                std::array<unsigned char, 16> tag;
                return run(handle, out.data(), out.size(), in.data(), in.size()) == 0 &&
                       (!authenticates || gcry_cipher_gettag(handle, tag.data(), tag.size()) == 0);
            };
        });
}

} // namespace

void addLibgcrypt(std::vector<Row>& to) {
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    Rows rows(to, "libgcrypt");
    addHash(rows, "md5", GCRY_MD_MD5);
    addHash(rows, "sha1", GCRY_MD_SHA1);
    addHash(rows, "sha256", GCRY_MD_SHA256);
    addHash(rows, "sha512", GCRY_MD_SHA512);
    rows.addSizes("hmac_sha256", [](size_t size) {
        gcry_md_hd_t handle;
        gcry_md_open(&handle, GCRY_MD_SHA256, GCRY_MD_FLAG_HMAC);
        return [=, in = message(size)] {
            gcry_md_setkey(handle, key(32).data(), 32);
            gcry_md_write(handle, in.data(), in.size());
            return gcry_md_read(handle, 0) != nullptr;
        };
    });
    rows.add("pbkdf2_sha256", [] {
        return [] {
            std::array<unsigned char, 32> derived;
            return gcry_kdf_derive(password, sizeof password - 1, GCRY_KDF_PBKDF2, GCRY_MD_SHA256,
                                   iv(16).data(), 16, iterations, 32, derived.data()) == 0;
        };
    });
    int const aes128 = GCRY_CIPHER_AES128;
    addMode(rows, "aes128_cbc", aes128, GCRY_CIPHER_MODE_CBC, 16, 16, recordSize);
    addMode(rows, "aes256_cbc", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_CBC, 32, 16, recordSize);
    addMode(rows, "aes128_ctr", aes128, GCRY_CIPHER_MODE_CTR, 16, 16, recordSize);
    addMode(rows, "aes128_cfb", aes128, GCRY_CIPHER_MODE_CFB, 16, 16, recordSize);
    addMode(rows, "3des_cbc", GCRY_CIPHER_3DES, GCRY_CIPHER_MODE_CBC, 24, 8, recordSize);
    addMode(rows, "aes128_gcm", aes128, GCRY_CIPHER_MODE_GCM, 16, 12, 64);
    addMode(rows, "aes128_gcm", aes128, GCRY_CIPHER_MODE_GCM, 16, 12, recordSize);
    addMode(rows, "aes256_gcm", GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_GCM, 32, 12, recordSize);
    rows.addSize("aes128_cmac", recordSize, [](size_t size) {
        gcry_mac_hd_t handle;
        gcry_mac_open(&handle, GCRY_MAC_CMAC_AES, 0, nullptr);
        return [=, in = message(size)] {
            std::array<unsigned char, 16> mac;
            size_t length = mac.size();
            return gcry_mac_reset(handle) == 0 && gcry_mac_setkey(handle, key(16).data(), 16) == 0 &&
                   gcry_mac_write(handle, in.data(), in.size()) == 0 &&
                   gcry_mac_read(handle, mac.data(), &length) == 0;
        };
    });
}

} // namespace bench
