// nettle: hashes and ciphers. Its public-key operations depend on GMP and are omitted.
#include "inputs.h"
#include "libraries.h"

#include <nettle/aes.h>
#include <nettle/cbc.h>
#include <nettle/cfb.h>
#include <nettle/cmac.h>
#include <nettle/ctr.h>
#include <nettle/des.h>
#include <nettle/gcm.h>
#include <nettle/hmac.h>
#include <nettle/md5.h>
#include <nettle/nettle-meta.h>
#include <nettle/pbkdf2.h>
#include <nettle/sha1.h>
#include <nettle/sha2.h>
#include <nettle/siv-cmac.h>

#include <array>
#include <cstring>

namespace bench {

namespace {

void addHash(Rows& rows, std::string const& name, nettle_hash const* algorithm) {
    rows.addSizes(name, [=](size_t size) {
        return [=, in = message(size), context = Bytes(algorithm->context_size)]() mutable {
            std::array<unsigned char, 64> hash;
            algorithm->init(context.data());
            algorithm->update(context.data(), in.size(), in.data());
            algorithm->digest(context.data(), algorithm->digest_size, hash.data());
            return true;
        };
    });
}

/// One direction of a mode. `run` takes the IV, the input and the output.
template <typename Run>
void addMode(Rows& rows, std::string const& name, Run run) {
    rows.addSize(name, recordSize, [=](size_t size) {
        return [=, in = message(size), out = Bytes(size)]() mutable {
            std::array<unsigned char, 16> vector;
            std::memcpy(vector.data(), iv(16).data(), 16);
            run(vector.data(), in, out.data());
            return true;
        };
    });
}

template <typename Context, typename SetKey>
void addAes(Rows& rows, std::string const& name, SetKey setKey, SetKey setDecryptKey,
            nettle_cipher_func* encrypt, nettle_cipher_func* decrypt, bool all) {
    addMode(rows, name + "_cbc_encrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        Context context;
        setKey(&context, key(32).data());
        cbc_encrypt(&context, encrypt, 16, vector, in.size(), out, in.data());
    });
    addMode(rows, name + "_cbc_decrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        Context context;
        setDecryptKey(&context, key(32).data());
        cbc_decrypt(&context, decrypt, 16, vector, in.size(), out, in.data());
    });
    if (!all)
        return;
    for (char const* const direction : {"_encrypt", "_decrypt"})
        addMode(rows, name + "_ctr" + direction, [=](unsigned char* vector, View in, unsigned char* out) {
            Context context;
            setKey(&context, key(32).data());
            ctr_crypt(&context, encrypt, 16, vector, in.size(), out, in.data());
        });
    addMode(rows, name + "_cfb_encrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        Context context;
        setKey(&context, key(32).data());
        cfb_encrypt(&context, encrypt, 16, vector, in.size(), out, in.data());
    });
    addMode(rows, name + "_cfb_decrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        Context context;
        setKey(&context, key(32).data());
        cfb_decrypt(&context, encrypt, 16, vector, in.size(), out, in.data());
    });
}

} // namespace

void addNettle(std::vector<Row>& to) {
    Rows rows(to, "nettle");
    addHash(rows, "md5", &nettle_md5);
    addHash(rows, "sha1", &nettle_sha1);
    addHash(rows, "sha256", &nettle_sha256);
    addHash(rows, "sha512", &nettle_sha512);
    rows.addSizes("hmac_sha256", [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 32> mac;
            hmac_sha256_ctx context;
            hmac_sha256_set_key(&context, 32, key(32).data());
            hmac_sha256_update(&context, in.size(), in.data());
            hmac_sha256_digest(&context, 32, mac.data());
            return true;
        };
    });
    rows.add("pbkdf2_sha256", [] {
        return [] {
            std::array<unsigned char, 32> derived;
            pbkdf2_hmac_sha256(sizeof password - 1, reinterpret_cast<unsigned char const*>(password),
                               iterations, 16, iv(16).data(), 32, derived.data());
            return true;
        };
    });

    auto const function = [](auto* f) { return reinterpret_cast<nettle_cipher_func*>(f); };
    addAes<aes128_ctx>(rows, "aes128", aes128_set_encrypt_key, aes128_set_decrypt_key,
                       function(aes128_encrypt), function(aes128_decrypt), true);
    addAes<aes256_ctx>(rows, "aes256", aes256_set_encrypt_key, aes256_set_decrypt_key,
                       function(aes256_encrypt), function(aes256_decrypt), false);
    addMode(rows, "3des_cbc_encrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        des3_ctx context;
        des3_set_key(&context, key(24).data());
        cbc_encrypt(&context, function(des3_encrypt), 8, vector, in.size(), out, in.data());
    });
    addMode(rows, "3des_cbc_decrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        des3_ctx context;
        des3_set_key(&context, key(24).data());
        cbc_decrypt(&context, function(des3_decrypt), 8, vector, in.size(), out, in.data());
    });
    for (size_t const size : {size_t{64}, recordSize})
        for (bool const encrypts : {true, false})
            rows.addSize(encrypts ? "aes128_gcm_encrypt" : "aes128_gcm_decrypt", size, [=](size_t) {
                return [=, in = message(size), out = Bytes(size)]() mutable {
                    gcm_aes128_ctx context;
                    std::array<unsigned char, 16> tag;
                    gcm_aes128_set_key(&context, key(16).data());
                    gcm_aes128_set_iv(&context, 12, iv(12).data());
                    gcm_aes128_update(&context, 13, iv(13).data());
                    (encrypts ? gcm_aes128_encrypt : gcm_aes128_decrypt)(&context, in.size(), out.data(),
                                                                         in.data());
                    gcm_aes128_digest(&context, 16, tag.data());
                    return true;
                };
            });
    rows.addSize("aes128_siv_encrypt", recordSize, [](size_t size) {
        return [=, in = message(size), out = Bytes(size + 16)]() mutable {
            siv_cmac_aes128_ctx context;
            siv_cmac_aes128_set_key(&context, key(32).data());
            siv_cmac_aes128_encrypt_message(&context, 12, iv(12).data(), 13, iv(13).data(), out.size(),
                                            out.data(), in.data());
            return true;
        };
    });
    rows.addSize("aes128_cmac", recordSize, [](size_t size) {
        return [in = message(size)] {
            cmac_aes128_ctx context;
            std::array<unsigned char, 16> mac;
            cmac_aes128_set_key(&context, key(16).data());
            cmac_aes128_update(&context, in.size(), in.data());
            cmac_aes128_digest(&context, 16, mac.data());
            return true;
        };
    });
}

} // namespace bench
