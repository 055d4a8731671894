// mbedTLS: everything except SIV, Ed25519, ML-KEM and PKCS#12.
#include "inputs.h"
#include "libraries.h"

#include <mbedtls/aes.h>
#include <mbedtls/cipher.h>
#include <mbedtls/cmac.h>
#include <mbedtls/ctr_drbg.h>
#include <mbedtls/des.h>
#include <mbedtls/ecdh.h>
#include <mbedtls/entropy.h>
#include <mbedtls/gcm.h>
#include <mbedtls/md.h>
#include <mbedtls/pk.h>
#include <mbedtls/pkcs5.h>
#include <mbedtls/x509_crt.h>

#include <array>
#include <cstring>

namespace bench {

namespace {

using Vector = std::array<unsigned char, 16>;

mbedtls_ctr_drbg_context* randomSource() {
    static mbedtls_entropy_context entropy;
    static mbedtls_ctr_drbg_context source;
    static bool const seeded = [] {
        mbedtls_entropy_init(&entropy);
        mbedtls_ctr_drbg_init(&source);
        return mbedtls_ctr_drbg_seed(&source, mbedtls_entropy_func, &entropy, nullptr, 0) == 0;
    }();
    return seeded ? &source : nullptr;
}

void addHash(Rows& rows, std::string const& name, mbedtls_md_type_t type) {
    rows.addSizes(name, [=](size_t size) {
        return [in = message(size), info = mbedtls_md_info_from_type(type)] {
            std::array<unsigned char, 64> hash;
            return mbedtls_md(info, in.data(), in.size(), hash.data()) == 0;
        };
    });
}

/// One direction of a mode. `run` takes the IV, the input and the output, and returns 0.
template <typename Run>
void addMode(Rows& rows, std::string const& name, Run run) {
    rows.addSize(name, recordSize, [=](size_t size) {
        return [=, in = message(size), out = Bytes(size)]() mutable {
            Vector vector;
            std::memcpy(vector.data(), iv(16).data(), vector.size());
            return run(vector.data(), in, out.data()) == 0;
        };
    });
}

void addAes(Rows& rows, std::string const& name, unsigned bits) {
    addMode(rows, name + "_cbc_encrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        mbedtls_aes_context context;
        mbedtls_aes_init(&context);
        mbedtls_aes_setkey_enc(&context, key(bits / 8).data(), bits);
        return mbedtls_aes_crypt_cbc(&context, MBEDTLS_AES_ENCRYPT, in.size(), vector, in.data(), out);
    });
    addMode(rows, name + "_cbc_decrypt", [=](unsigned char* vector, View in, unsigned char* out) {
        mbedtls_aes_context context;
        mbedtls_aes_init(&context);
        mbedtls_aes_setkey_dec(&context, key(bits / 8).data(), bits);
        return mbedtls_aes_crypt_cbc(&context, MBEDTLS_AES_DECRYPT, in.size(), vector, in.data(), out);
    });
    if (bits != 128)
        return;
    for (char const* const direction : {"_encrypt", "_decrypt"})
        addMode(rows, name + "_ctr" + direction, [=](unsigned char* vector, View in, unsigned char* out) {
            mbedtls_aes_context context;
            Vector stream;
            size_t offset = 0;
            mbedtls_aes_init(&context);
            mbedtls_aes_setkey_enc(&context, key(16).data(), 128);
            return mbedtls_aes_crypt_ctr(&context, in.size(), &offset, vector, stream.data(), in.data(), out);
        });
    for (bool const encrypts : {true, false})
        addMode(rows, name + (encrypts ? "_cfb_encrypt" : "_cfb_decrypt"),
                [=](unsigned char* vector, View in, unsigned char* out) {
                    mbedtls_aes_context context;
                    size_t offset = 0;
                    mbedtls_aes_init(&context);
                    mbedtls_aes_setkey_enc(&context, key(16).data(), 128);
                    return mbedtls_aes_crypt_cfb128(&context,
                                                    encrypts ? MBEDTLS_AES_ENCRYPT : MBEDTLS_AES_DECRYPT,
                                                    in.size(), &offset, vector, in.data(), out);
                });
}

void addGcm(Rows& rows, std::string const& name, unsigned bits, size_t size) {
    for (bool const encrypts : {true, false})
        rows.addSize(name + (encrypts ? "_encrypt" : "_decrypt"), size, [=](size_t) {
            return [=, in = message(size), out = Bytes(size)]() mutable {
                mbedtls_gcm_context context;
                Vector tag;
                mbedtls_gcm_init(&context);
                bool const done =
                    mbedtls_gcm_setkey(&context, MBEDTLS_CIPHER_ID_AES, key(bits / 8).data(), bits) == 0 &&
                    mbedtls_gcm_crypt_and_tag(&context, encrypts ? MBEDTLS_GCM_ENCRYPT : MBEDTLS_GCM_DECRYPT,
                                              in.size(), iv(12).data(), 12, iv(13).data(), 13, in.data(),
                                              out.data(), tag.size(), tag.data()) == 0;
                mbedtls_gcm_free(&context);
                return done;
            };
        });
}

void addSignatures(Rows& rows, std::string const& name, std::string const& size,
                   std::function<KeyPair const&()> const& pair, mbedtls_md_type_t hash, size_t digestSize) {
    auto const read = [=] {
        auto context = std::make_shared<mbedtls_pk_context>();
        mbedtls_pk_init(context.get());
        Bytes const& der = pair().privateKey;
        return mbedtls_pk_parse_key(context.get(), der.data(), der.size(), nullptr, 0,
                                    mbedtls_ctr_drbg_random, randomSource()) == 0
                   ? context
                   : nullptr;
    };
    auto const sign = [=](mbedtls_pk_context& context) {
        Bytes signature(MBEDTLS_PK_SIGNATURE_MAX_SIZE);
        size_t length = 0;
        if (mbedtls_pk_sign(&context, hash, digest(digestSize).data(), digestSize, signature.data(),
                            signature.size(), &length, mbedtls_ctr_drbg_random, randomSource()) != 0)
            length = 0;
        signature.resize(length);
        return signature;
    };
    rows.add(name + "_sign" + size,
             [=] { return [=, context = read()] { return context && !sign(*context).empty(); }; });
    rows.add(name + "_verify" + size, [=] {
        auto const own = read();
        auto peer = std::make_shared<mbedtls_pk_context>();
        mbedtls_pk_init(peer.get());
        Bytes const& der = pair().publicKey;
        mbedtls_pk_parse_public_key(peer.get(), der.data(), der.size());
        return [=, signature = sign(*own)] {
            return mbedtls_pk_verify(peer.get(), hash, digest(digestSize).data(), digestSize,
                                     signature.data(), signature.size()) == 0;
        };
    });
}

void addAgreement(Rows& rows, std::string const& name, mbedtls_ecp_group_id id) {
    struct Party {
        mbedtls_ecp_group group;
        mbedtls_mpi secret, shared;
        mbedtls_ecp_point point;
        Party() {
            mbedtls_ecp_group_init(&group);
            mbedtls_mpi_init(&secret);
            mbedtls_mpi_init(&shared);
            mbedtls_ecp_point_init(&point);
        }
        bool generate(mbedtls_ecp_group_id curve) {
            return mbedtls_ecp_group_load(&group, curve) == 0 &&
                   mbedtls_ecdh_gen_public(&group, &secret, &point, mbedtls_ctr_drbg_random,
                                           randomSource()) == 0;
        }
    };
    rows.add(name + "_agree", [=] {
        auto const party = std::make_shared<Party>();
        party->generate(id);
        return [=] {
            return mbedtls_ecdh_compute_shared(&party->group, &party->shared, &party->point, &party->secret,
                                               mbedtls_ctr_drbg_random, randomSource()) == 0;
        };
    });
    rows.add(name + "_keygen",
             [=] { return [=, party = std::make_shared<Party>()] { return party->generate(id); }; });
}

/// A list of certificates, freed by the destructor.
struct Certificates {
    mbedtls_x509_crt first;
    Certificates() { mbedtls_x509_crt_init(&first); }
    Certificates(Certificates const&) = delete;
    Certificates& operator=(Certificates const&) = delete;
    ~Certificates() { mbedtls_x509_crt_free(&first); }
    bool add(Bytes const& der) { return mbedtls_x509_crt_parse_der(&first, der.data(), der.size()) == 0; }
};

void addChain(Rows& rows, std::string const& name, Chain const& (*made)()) {
    rows.add(name, [=] {
        auto const root = std::make_shared<Certificates>();
        root->add(made().root);
        return [=, &given = made()] {
            Certificates chain;
            uint32_t flags = 0;
            return chain.add(given.leaf) && chain.add(given.intermediate) &&
                   mbedtls_x509_crt_verify(&chain.first, &root->first, nullptr, nullptr, &flags, nullptr,
                                           nullptr) == 0;
        };
    });
}

} // namespace

void addMbedtls(std::vector<Row>& to) {
    Rows rows(to, "mbedtls");
    addHash(rows, "md5", MBEDTLS_MD_MD5);
    addHash(rows, "sha1", MBEDTLS_MD_SHA1);
    addHash(rows, "sha256", MBEDTLS_MD_SHA256);
    addHash(rows, "sha512", MBEDTLS_MD_SHA512);
    rows.addSizes("hmac_sha256", [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 32> mac;
            return mbedtls_md_hmac(mbedtls_md_info_from_type(MBEDTLS_MD_SHA256), key(32).data(), 32,
                                   in.data(), in.size(), mac.data()) == 0;
        };
    });
    rows.add("pbkdf2_sha256", [] {
        return [] {
            std::array<unsigned char, 32> derived;
            return mbedtls_pkcs5_pbkdf2_hmac_ext(
                       MBEDTLS_MD_SHA256, reinterpret_cast<unsigned char const*>(password),
                       sizeof password - 1, iv(16).data(), 16, iterations, 32, derived.data()) == 0;
        };
    });

    addAes(rows, "aes128", 128);
    addAes(rows, "aes256", 256);
    for (bool const encrypts : {true, false})
        addMode(
            rows, encrypts ? "3des_cbc_encrypt" : "3des_cbc_decrypt",
            [=](unsigned char* vector, View in, unsigned char* out) {
                mbedtls_des3_context context;
                mbedtls_des3_init(&context);
                (encrypts ? mbedtls_des3_set3key_enc : mbedtls_des3_set3key_dec)(&context, key(24).data());
                return mbedtls_des3_crypt_cbc(&context, encrypts ? MBEDTLS_DES_ENCRYPT : MBEDTLS_DES_DECRYPT,
                                              in.size(), vector, in.data(), out);
            });
    addGcm(rows, "aes128_gcm", 128, 64);
    addGcm(rows, "aes128_gcm", 128, recordSize);
    addGcm(rows, "aes256_gcm", 256, recordSize);
    rows.addSize("aes128_cmac", recordSize, [](size_t size) {
        return [in = message(size)] {
            Vector mac;
            return mbedtls_cipher_cmac(mbedtls_cipher_info_from_type(MBEDTLS_CIPHER_AES_128_ECB),
                                       key(16).data(), 128, in.data(), in.size(), mac.data()) == 0;
        };
    });

    for (unsigned const bits : {1024u, 2048u, 3072u, 4096u, 8192u})
        addSignatures(
            rows, "rsa", "/" + std::to_string(bits), [=]() -> KeyPair const& { return rsaKey(bits); },
            MBEDTLS_MD_SHA256, 32);
    addSignatures(
        rows, "p256", "", []() -> KeyPair const& { return ecKey(256); }, MBEDTLS_MD_SHA256, 32);
    addSignatures(
        rows, "p384", "", []() -> KeyPair const& { return ecKey(384); }, MBEDTLS_MD_SHA384, 48);
    addSignatures(
        rows, "p521", "", []() -> KeyPair const& { return ecKey(521); }, MBEDTLS_MD_SHA512, 64);
    addAgreement(rows, "p256", MBEDTLS_ECP_DP_SECP256R1);
    addAgreement(rows, "p384", MBEDTLS_ECP_DP_SECP384R1);
    addAgreement(rows, "p521", MBEDTLS_ECP_DP_SECP521R1);
    addAgreement(rows, "x25519", MBEDTLS_ECP_DP_CURVE25519);

    rows.add("certificate_parse",
             [] { return [&der = rsaChain().leaf] { return Certificates().add(der); }; });
    rows.add(
        "bundle_load",
        [] {
            return [text = bundle(bundleSize)] {
                Certificates all;
                // The size counts the terminator.
                return mbedtls_x509_crt_parse(&all.first,
                                              reinterpret_cast<unsigned char const*>(text.c_str()),
                                              text.size() + 1) == 0;
            };
        },
        bundleSize);
    addChain(rows, "rsa_chain", rsaChain);
    addChain(rows, "p256_chain", p256Chain);
}

} // namespace bench
