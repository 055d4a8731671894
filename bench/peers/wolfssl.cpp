// wolfSSL: everything except CFB, PKCS#12 and CMS.
#include "inputs.h"
#include "libraries.h"

#include <wolfssl/options.h>

#include <wolfssl/ssl.h>
#include <wolfssl/wolfcrypt/aes.h>
#include <wolfssl/wolfcrypt/asn.h>
#include <wolfssl/wolfcrypt/cmac.h>
#include <wolfssl/wolfcrypt/curve25519.h>
#include <wolfssl/wolfcrypt/des3.h>
#include <wolfssl/wolfcrypt/ecc.h>
#include <wolfssl/wolfcrypt/ed25519.h>
#include <wolfssl/wolfcrypt/hash.h>
#include <wolfssl/wolfcrypt/hmac.h>
#include <wolfssl/wolfcrypt/kyber.h>
#include <wolfssl/wolfcrypt/pwdbased.h>
#include <wolfssl/wolfcrypt/rsa.h>
#include <wolfssl/wolfcrypt/wc_kyber.h>

#include <array>
#include <cstring>

// Not in a header: its TLS adds a verified intermediate CA with this function.
extern "C" int AddCA(WOLFSSL_CERT_MANAGER*, DerBuffer**, int, int);
extern "C" int AllocDer(DerBuffer**, word32, int, void*);

namespace bench {

namespace {

using Tag = std::array<unsigned char, 16>;

WC_RNG* randomSource() {
    static WC_RNG source;
    static bool const made = wc_InitRng(&source) == 0;
    return made ? &source : nullptr;
}

word32 sizeOf(View bytes) { return static_cast<word32>(bytes.size()); }

void addHash(Rows& rows, std::string const& name, wc_HashType type, size_t digestSize) {
    rows.addSizes(name, [=](size_t size) {
        return [=, in = message(size)] {
            std::array<unsigned char, 64> hash;
            return wc_Hash(type, in.data(), sizeOf(in), hash.data(), static_cast<word32>(digestSize)) == 0;
        };
    });
}

/// One direction of a mode. `run` takes a cipher's context without a key, the input and the output, and
/// returns 0.
template <typename Run>
void addMode(Rows& rows, std::string const& name, size_t size, Run run) {
    rows.addSize(name, size, [=](size_t) {
        auto const aes = std::make_shared<Aes>();
        wc_AesInit(aes.get(), nullptr, INVALID_DEVID);
        return [=, in = message(size), out = Bytes(size + 16)]() mutable {
            return run(aes.get(), in, out.data()) == 0;
        };
    });
}

void addCiphers(Rows& rows) {
    for (word32 const size : {16u, 32u}) {
        std::string const name = "aes" + std::to_string(8 * size);
        addMode(rows, name + "_cbc_encrypt", recordSize, [=](Aes* aes, View in, unsigned char* out) {
            return wc_AesSetKey(aes, key(size).data(), size, iv(16).data(), AES_ENCRYPTION) |
                   wc_AesCbcEncrypt(aes, out, in.data(), sizeOf(in));
        });
        addMode(rows, name + "_cbc_decrypt", recordSize, [=](Aes* aes, View in, unsigned char* out) {
            return wc_AesSetKey(aes, key(size).data(), size, iv(16).data(), AES_DECRYPTION) |
                   wc_AesCbcDecrypt(aes, out, in.data(), sizeOf(in));
        });
        for (size_t const length : {size_t{64}, recordSize}) {
            if (size == 32 && length == 64)
                continue;
            addMode(rows, name + "_gcm_encrypt", length, [=](Aes* aes, View in, unsigned char* out) {
                return wc_AesGcmSetKey(aes, key(size).data(), size) |
                       wc_AesGcmEncrypt(aes, out, in.data(), sizeOf(in), iv(12).data(), 12, out + in.size(),
                                        16, iv(13).data(), 13);
            });
            rows.addSize(name + "_gcm_decrypt", length, [=](size_t) {
                auto const aes = std::make_shared<Aes>();
                Bytes sealed(length);
                Tag tag;
                wc_AesInit(aes.get(), nullptr, INVALID_DEVID);
                wc_AesGcmSetKey(aes.get(), key(size).data(), size);
                wc_AesGcmEncrypt(aes.get(), sealed.data(), message(length).data(),
                                 static_cast<word32>(length), iv(12).data(), 12, tag.data(), 16,
                                 iv(13).data(), 13);
                return [=, out = Bytes(length)]() mutable {
                    return wc_AesGcmSetKey(aes.get(), key(size).data(), size) == 0 &&
                           wc_AesGcmDecrypt(aes.get(), out.data(), sealed.data(), sizeOf(sealed),
                                            iv(12).data(), 12, tag.data(), 16, iv(13).data(), 13) == 0;
                };
            });
        }
    }
    for (char const* const name : {"aes128_ctr_encrypt", "aes128_ctr_decrypt"})
        addMode(rows, name, recordSize, [](Aes* aes, View in, unsigned char* out) {
            return wc_AesSetKey(aes, key(16).data(), 16, iv(16).data(), AES_ENCRYPTION) |
                   wc_AesCtrEncrypt(aes, out, in.data(), sizeOf(in));
        });
    for (bool const encrypts : {true, false})
        addMode(rows, encrypts ? "3des_cbc_encrypt" : "3des_cbc_decrypt", recordSize,
                [=](Aes*, View in, unsigned char* out) {
                    Des3 des;
                    wc_Des3Init(&des, nullptr, INVALID_DEVID);
                    return wc_Des3_SetKey(&des, key(24).data(), iv(8).data(),
                                          encrypts ? DES_ENCRYPTION : DES_DECRYPTION) |
                           (encrypts ? wc_Des3_CbcEncrypt : wc_Des3_CbcDecrypt)(&des, out, in.data(),
                                                                                sizeOf(in));
                });
    addMode(rows, "aes128_siv_encrypt", recordSize, [](Aes*, View in, unsigned char* out) {
        Tag tag;
        return wc_AesSivEncrypt(key(32).data(), 32, iv(13).data(), 13, iv(12).data(), 12, in.data(),
                                sizeOf(in), tag.data(), out);
    });
    rows.addSize("aes128_siv_decrypt", recordSize, [](size_t size) {
        Bytes sealed(size);
        Tag tag;
        wc_AesSivEncrypt(key(32).data(), 32, iv(13).data(), 13, iv(12).data(), 12, message(size).data(),
                         static_cast<word32>(size), tag.data(), sealed.data());
        return [=, out = Bytes(size)]() mutable {
            return wc_AesSivDecrypt(key(32).data(), 32, iv(13).data(), 13, iv(12).data(), 12, sealed.data(),
                                    sizeOf(sealed), tag.data(), out.data()) == 0;
        };
    });
    addMode(rows, "aes128_cmac", recordSize, [](Aes*, View in, unsigned char* out) {
        word32 length = 16;
        return wc_AesCmacGenerate(out, &length, in.data(), sizeOf(in), key(16).data(), 16);
    });
}

void addRsa(Rows& rows, unsigned bits) {
    auto const read = [=] {
        auto own = std::make_shared<RsaKey>();
        word32 index = 0;
        Bytes const& der = rsaKey(bits).privateKey;
        wc_InitRsaKey(own.get(), nullptr);
        return wc_RsaPrivateKeyDecode(der.data(), &index, own.get(), sizeOf(der)) == 0 &&
                       wc_RsaSetRNG(own.get(), randomSource()) == 0
                   ? own
                   : nullptr;
    };
    auto const signedInfo = [] {
        Bytes info(64);
        info.resize(wc_EncodeSignature(info.data(), digest(32).data(), 32, SHA256h));
        return info;
    };
    auto const sign = [=](RsaKey& own, Bytes const& info, Bytes& signature) {
        return wc_RsaSSL_Sign(info.data(), sizeOf(info), signature.data(), sizeOf(signature), &own,
                              randomSource()) == static_cast<int>(signature.size());
    };
    rows.add("rsa_sign/" + std::to_string(bits), [=] {
        return [=, own = read(), info = signedInfo(), signature = Bytes(bits / 8)]() mutable {
            return own && sign(*own, info, signature);
        };
    });
    rows.add("rsa_verify/" + std::to_string(bits), [=] {
        auto const own = read();
        Bytes const info = signedInfo();
        Bytes signature(bits / 8);
        sign(*own, info, signature);
        return [=, out = Bytes(bits / 8)]() mutable {
            return wc_RsaSSL_Verify(signature.data(), sizeOf(signature), out.data(), sizeOf(out),
                                    own.get()) == static_cast<int>(info.size()) &&
                   std::memcmp(out.data(), info.data(), info.size()) == 0;
        };
    });
}

void addCurve(Rows& rows, unsigned bits, ecc_curve_id curve, size_t digestSize) {
    std::string const name = "p" + std::to_string(bits);
    auto const read = [=] {
        auto own = std::make_shared<ecc_key>();
        word32 index = 0;
        Bytes const& der = ecKey(bits).privateKey;
        wc_ecc_init(own.get());
        wc_ecc_set_rng(own.get(), randomSource());
        return wc_EccPrivateKeyDecode(der.data(), &index, own.get(), sizeOf(der)) == 0 ? own : nullptr;
    };
    auto const sign = [=](ecc_key& own) {
        Bytes signature(160);
        word32 length = sizeOf(signature);
        if (wc_ecc_sign_hash(digest(digestSize).data(), static_cast<word32>(digestSize), signature.data(),
                             &length, randomSource(), &own) != 0)
            length = 0;
        signature.resize(length);
        return signature;
    };
    auto const readPublic = [=] {
        auto peer = std::make_shared<ecc_key>();
        word32 index = 0;
        Bytes const& der = ecKey(bits).publicKey;
        wc_ecc_init(peer.get());
        wc_EccPublicKeyDecode(der.data(), &index, peer.get(), sizeOf(der));
        return peer;
    };
    rows.add(name + "_sign", [=] { return [=, own = read()] { return own && !sign(*own).empty(); }; });
    rows.add(name + "_verify", [=] {
        return [=, peer = readPublic(), signature = sign(*read())] {
            int valid = 0;
            return wc_ecc_verify_hash(signature.data(), sizeOf(signature), digest(digestSize).data(),
                                      static_cast<word32>(digestSize), &valid, peer.get()) == 0 &&
                   valid == 1;
        };
    });
    rows.add(name + "_keygen", [=] {
        return [=] {
            ecc_key made;
            wc_ecc_init(&made);
            bool const done =
                wc_ecc_make_key_ex(randomSource(), static_cast<int>((bits + 7) / 8), &made, curve) == 0;
            wc_ecc_free(&made);
            return done;
        };
    });
    rows.add(name + "_agree", [=] {
        return [=, own = read(), peer = readPublic()] {
            std::array<unsigned char, 66> secret;
            word32 length = sizeof secret;
            return wc_ecc_shared_secret(own.get(), peer.get(), secret.data(), &length) == 0;
        };
    });
}

void addCurve25519(Rows& rows) {
    auto const make = [] {
        auto made = std::make_shared<curve25519_key>();
        wc_curve25519_init(made.get());
        wc_curve25519_make_key(randomSource(), 32, made.get());
        return made;
    };
    rows.add("x25519_agree", [=] {
        return [own = make(), peer = make()] {
            std::array<unsigned char, 32> secret;
            word32 length = sizeof secret;
            return wc_curve25519_shared_secret(own.get(), peer.get(), secret.data(), &length) == 0;
        };
    });
    rows.add("x25519_keygen", [=] { return [=] { return make() != nullptr; }; });

    auto const makeEd = [] {
        auto made = std::make_shared<ed25519_key>();
        wc_ed25519_init(made.get());
        wc_ed25519_make_key(randomSource(), 32, made.get());
        return made;
    };
    auto const sign = [](ed25519_key& own) {
        std::array<unsigned char, 64> signature = {};
        word32 length = sizeof signature;
        wc_ed25519_sign_msg(digest(32).data(), 32, signature.data(), &length, &own);
        return signature;
    };
    rows.add("ed25519_sign",
             [=] { return [=, own = makeEd()] { return sign(*own) != std::array<unsigned char, 64>(); }; });
    rows.add("ed25519_verify", [=] {
        auto const own = makeEd();
        return [=, signature = sign(*own)] {
            int valid = 0;
            return wc_ed25519_verify_msg(signature.data(), sizeof signature, digest(32).data(), 32, &valid,
                                         own.get()) == 0 &&
                   valid == 1;
        };
    });
    rows.add("ed25519_keygen", [=] { return [=] { return makeEd() != nullptr; }; });
}

/// This version has Kyber of round 3, the last draft of ML-KEM, which takes nearly the same work.
void addMlkem(Rows& rows) {
    auto const fresh = [] {
        auto context = std::make_shared<KyberKey>();
        wc_KyberKey_Init(KYBER768, context.get(), nullptr, INVALID_DEVID);
        return context;
    };
    rows.add("mlkem768_keygen",
             [=] { return [own = fresh()] { return wc_KyberKey_MakeKey(own.get(), randomSource()) == 0; }; });
    rows.add("mlkem768_encapsulate", [=] {
        auto const own = fresh();
        wc_KyberKey_MakeKey(own.get(), randomSource());
        return [=, ciphertext = Bytes(1088), secret = Bytes(32)]() mutable {
            return wc_KyberKey_Encapsulate(own.get(), ciphertext.data(), secret.data(), randomSource()) == 0;
        };
    });
    rows.add("mlkem768_decapsulate", [=] {
        auto const own = fresh();
        Bytes ciphertext(1088), secret(32);
        wc_KyberKey_MakeKey(own.get(), randomSource());
        wc_KyberKey_Encapsulate(own.get(), ciphertext.data(), secret.data(), randomSource());
        return [=, again = Bytes(32)]() mutable {
            return wc_KyberKey_Decapsulate(own.get(), again.data(), ciphertext.data(), sizeOf(ciphertext)) ==
                       0 &&
                   again == secret;
        };
    });
}

bool parse(unsigned char const* der, size_t size) {
    DecodedCert certificate;
    wc_InitDecodedCert(&certificate, der, static_cast<word32>(size), nullptr);
    bool const done = wc_ParseCert(&certificate, CERT_TYPE, NO_VERIFY, nullptr) == 0;
    wc_FreeDecodedCert(&certificate);
    return done;
}

/// As in its TLS, the intermediate is verified as a certificate and then added as a CA for the leaf.
void addChain(Rows& rows, std::string const& name, Chain const& (*made)()) {
    rows.add(name, [=] {
        WOLFSSL_CERT_MANAGER* const manager = wolfSSL_CertManagerNew();
        wolfSSL_CertManagerLoadCABuffer(manager, made().root.data(), static_cast<long>(made().root.size()),
                                        WOLFSSL_FILETYPE_ASN1);
        return [=, &given = made()] {
            auto const verify = [=](Bytes const& der) {
                return wolfSSL_CertManagerVerifyBuffer(manager, der.data(), static_cast<long>(der.size()),
                                                       WOLFSSL_FILETYPE_ASN1) == WOLFSSL_SUCCESS;
            };
            DerBuffer* copy = nullptr;
            if (!verify(given.intermediate) ||
                AllocDer(&copy, sizeOf(given.intermediate), CA_TYPE, nullptr) != 0)
                return false;
            std::memcpy(copy->buffer, given.intermediate.data(), given.intermediate.size());
            bool const done =
                AddCA(manager, &copy, WOLFSSL_CHAIN_CA, 0) == WOLFSSL_SUCCESS && verify(given.leaf);
            wolfSSL_CertManagerUnloadIntermediateCerts(manager);
            return done;
        };
    });
}

void addObjects(Rows& rows) {
    rows.add("certificate_parse",
             [] { return [&der = rsaChain().leaf] { return parse(der.data(), der.size()); }; });
    // PEM to parsed certificates, which are discarded.
    rows.add(
        "bundle_load",
        [] {
            return [text = bundle(bundleSize)] {
                size_t count = 0;
                constexpr char end[] = "-----END CERTIFICATE-----";
                for (char const *block = text.c_str(), *next; (next = std::strstr(block, end)) != nullptr;
                     block = next + 1) {
                    next += sizeof end - 1;
                    DerBuffer* der = nullptr;
                    if (wc_PemToDer(reinterpret_cast<unsigned char const*>(block), next - block, CERT_TYPE,
                                    &der, nullptr, nullptr, nullptr) == 0 &&
                        parse(der->buffer, der->length))
                        count++;
                    wc_FreeDer(&der);
                }
                return count == bundleSize;
            };
        },
        bundleSize);
    addChain(rows, "rsa_chain", rsaChain);
    addChain(rows, "p256_chain", p256Chain);
}

} // namespace

void addWolfssl(std::vector<Row>& to) {
    wolfSSL_Init();
    Rows rows(to, "wolfssl");
    addHash(rows, "md5", WC_HASH_TYPE_MD5, 16);
    addHash(rows, "sha1", WC_HASH_TYPE_SHA, 20);
    addHash(rows, "sha256", WC_HASH_TYPE_SHA256, 32);
    addHash(rows, "sha512", WC_HASH_TYPE_SHA512, 64);
    rows.addSizes("hmac_sha256", [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 32> mac;
            Hmac hmac;
            bool const done = wc_HmacInit(&hmac, nullptr, INVALID_DEVID) == 0 &&
                              wc_HmacSetKey(&hmac, WC_SHA256, key(32).data(), 32) == 0 &&
                              wc_HmacUpdate(&hmac, in.data(), sizeOf(in)) == 0 &&
                              wc_HmacFinal(&hmac, mac.data()) == 0;
            wc_HmacFree(&hmac);
            return done;
        };
    });
    rows.add("pbkdf2_sha256", [] {
        return [] {
            std::array<unsigned char, 32> derived;
            return wc_PBKDF2(derived.data(), reinterpret_cast<unsigned char const*>(password),
                             sizeof password - 1, iv(16).data(), 16, static_cast<int>(iterations), 32,
                             WC_SHA256) == 0;
        };
    });
    addCiphers(rows);
    for (unsigned const bits : {1024u, 2048u, 3072u, 4096u})
        addRsa(rows, bits);
    addCurve(rows, 256, ECC_SECP256R1, 32);
    addCurve(rows, 384, ECC_SECP384R1, 48);
    addCurve(rows, 521, ECC_SECP521R1, 64);
    addCurve25519(rows);
    addMlkem(rows);
    addObjects(rows);
}

} // namespace bench
