// OpenSSL: everything, through the high-level functions that programs call.
#include "inputs.h"
#include "libraries.h"

#include <openssl/cms.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <array>

namespace bench {

namespace {

using Tag = std::array<unsigned char, 16>;

template <typename T>
std::shared_ptr<T> owned(T* object, void (*release)(T*)) {
    return std::shared_ptr<T>(object, release);
}

void addHash(Rows& rows, std::string const& name, char const* algorithm) {
    rows.addSizes(name, [=](size_t size) {
        return [in = message(size), context = owned(EVP_MD_CTX_new(), EVP_MD_CTX_free),
                digest = owned(EVP_MD_fetch(nullptr, algorithm, nullptr), EVP_MD_free)] {
            std::array<unsigned char, 64> hash;
            return EVP_DigestInit_ex(context.get(), digest.get(), nullptr) == 1 &&
                   EVP_DigestUpdate(context.get(), in.data(), in.size()) == 1 &&
                   EVP_DigestFinal_ex(context.get(), hash.data(), nullptr) == 1;
        };
    });
}

void addMac(Rows& rows, std::string const& name, size_t size, char const* algorithm, char const* parameter,
            char const* value, size_t keySize) {
    rows.addSize(name, size, [=](size_t) {
        auto const mac = owned(EVP_MAC_fetch(nullptr, algorithm, nullptr), EVP_MAC_free);
        auto const context = owned(EVP_MAC_CTX_new(mac.get()), EVP_MAC_CTX_free);
        OSSL_PARAM const parameters[] = {
            OSSL_PARAM_construct_utf8_string(parameter, const_cast<char*>(value), 0),
            OSSL_PARAM_construct_end()};
        EVP_MAC_CTX_set_params(context.get(), parameters);
        return [=, in = message(size)] {
            std::array<unsigned char, 64> out;
            size_t length;
            return EVP_MAC_init(context.get(), key(keySize).data(), keySize, nullptr) == 1 &&
                   EVP_MAC_update(context.get(), in.data(), in.size()) == 1 &&
                   EVP_MAC_final(context.get(), out.data(), &length, out.size()) == 1;
        };
    });
}

/// Both directions of a mode. Decryption takes the result of encryption, including the tag, if any.
void addMode(Rows& rows, std::string const& name, char const* algorithm, size_t size, bool authenticates) {
    bool const isSiv = name.ends_with("siv");
    auto const run = [=](EVP_CIPHER_CTX* context, EVP_CIPHER const* cipher, bool encrypts, View in,
                         unsigned char* out, Tag& tag) {
        std::array<unsigned char, 32> last;
        int length = 0, rest = 0;
        auto const expectedTag = [&] {
            return encrypts || !authenticates ||
                   EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_TAG, 16, tag.data()) == 1;
        };
        return EVP_CipherInit_ex(context, cipher, nullptr, key(32).data(), isSiv ? nullptr : iv(16).data(),
                                 encrypts) == 1 &&
               EVP_CIPHER_CTX_set_padding(context, 0) == 1 && expectedTag() &&
               (!authenticates || EVP_CipherUpdate(context, nullptr, &length, iv(13).data(), 13) == 1) &&
               (!isSiv || EVP_CipherUpdate(context, nullptr, &length, iv(12).data(), 12) == 1) &&
               EVP_CipherUpdate(context, out, &length, in.data(), static_cast<int>(in.size())) == 1 &&
               EVP_CipherFinal_ex(context, last.data(), &rest) == 1 &&
               (!encrypts || !authenticates ||
                EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, 16, tag.data()) == 1);
    };
    for (bool const encrypts : {true, false})
        rows.addSize(name + (encrypts ? "_encrypt" : "_decrypt"), size, [=](size_t) {
            auto const cipher = owned(EVP_CIPHER_fetch(nullptr, algorithm, nullptr), EVP_CIPHER_free);
            auto const context = owned(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
            Bytes in(message(size).begin(), message(size).end()), out(size);
            Tag tag;
            if (!encrypts) {
                run(context.get(), cipher.get(), true, in, out.data(), tag);
                in.swap(out);
            }
            return [=]() mutable { return run(context.get(), cipher.get(), encrypts, in, out.data(), tag); };
        });
}

std::shared_ptr<EVP_PKEY> readPrivate(Bytes const& der) {
    unsigned char const* at = der.data();
    return owned(d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(der.size())), EVP_PKEY_free);
}

std::shared_ptr<EVP_PKEY> readPublic(Bytes const& der) {
    unsigned char const* at = der.data();
    return owned(d2i_PUBKEY(nullptr, &at, static_cast<long>(der.size())), EVP_PKEY_free);
}

void addSignatures(Rows& rows, std::string const& name, std::string const& size,
                   std::function<KeyPair const&()> const& pair, size_t digestSize) {
    auto const contextOf = [=](EVP_PKEY* given, int (*init)(EVP_PKEY_CTX*)) {
        auto context = owned(EVP_PKEY_CTX_new(given, nullptr), EVP_PKEY_CTX_free);
        init(context.get());
        if (EVP_PKEY_is_a(given, "RSA")) {
            EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING);
            EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256());
        }
        return context;
    };
    auto const sign = [=](EVP_PKEY_CTX* context) {
        Bytes signature(1024);
        size_t length = signature.size();
        if (EVP_PKEY_sign(context, signature.data(), &length, digest(digestSize).data(), digestSize) != 1)
            length = 0;
        signature.resize(length);
        return signature;
    };
    rows.add(name + "_sign" + size, [=] {
        return [=, context = contextOf(readPrivate(pair().privateKey).get(), EVP_PKEY_sign_init)] {
            return !sign(context.get()).empty();
        };
    });
    rows.add(name + "_verify" + size, [=] {
        auto const own = contextOf(readPrivate(pair().privateKey).get(), EVP_PKEY_sign_init);
        return [=, context = contextOf(readPublic(pair().publicKey).get(), EVP_PKEY_verify_init),
                signature = sign(own.get())] {
            return EVP_PKEY_verify(context.get(), signature.data(), signature.size(),
                                   digest(digestSize).data(), digestSize) == 1;
        };
    });
}

void addAgreement(Rows& rows, std::string const& name, std::function<EVP_PKEY*()> const& make) {
    rows.add(name + "_keygen", [=] { return [=] { return owned(make(), EVP_PKEY_free) != nullptr; }; });
    rows.add(name + "_agree", [=] {
        auto const own = owned(make(), EVP_PKEY_free), peer = owned(make(), EVP_PKEY_free);
        auto const context = owned(EVP_PKEY_CTX_new(own.get(), nullptr), EVP_PKEY_CTX_free);
        EVP_PKEY_derive_init(context.get());
        EVP_PKEY_derive_set_peer(context.get(), peer.get());
        return [=] {
            std::array<unsigned char, 66> secret;
            size_t length = secret.size();
            return EVP_PKEY_derive(context.get(), secret.data(), &length) == 1;
        };
    });
}

void addEd25519(Rows& rows) {
    rows.add("ed25519_keygen", [] {
        return [] { return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free) != nullptr; };
    });
    auto const sign = [](EVP_MD_CTX* context, EVP_PKEY* own) {
        std::array<unsigned char, 64> signature = {};
        size_t length = signature.size();
        EVP_DigestSignInit(context, nullptr, nullptr, nullptr, own);
        EVP_DigestSign(context, signature.data(), &length, digest(32).data(), 32);
        return signature;
    };
    auto const made = [] { return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free); };
    rows.add("ed25519_sign", [=] {
        auto const context = owned(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        sign(context.get(), made().get());
        // The context keeps the key.
        return [=] { return sign(context.get(), nullptr) != std::array<unsigned char, 64>(); };
    });
    rows.add("ed25519_verify", [=] {
        auto const own = made();
        auto const context = owned(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        auto const signature = sign(context.get(), own.get());
        EVP_MD_CTX_reset(context.get());
        EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, own.get());
        return [=] {
            return EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, nullptr) == 1 &&
                   EVP_DigestVerify(context.get(), signature.data(), signature.size(), digest(32).data(),
                                    32) == 1;
        };
    });
}

#if OPENSSL_VERSION_NUMBER >= 0x30500000L
void addMlkem(Rows& rows) {
    auto const make = [] { return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "ML-KEM-768"), EVP_PKEY_free); };
    rows.add("mlkem768_keygen", [=] { return [=] { return make() != nullptr; }; });
    rows.add("mlkem768_encapsulate", [=] {
        auto const own = make();
        auto const context = owned(EVP_PKEY_CTX_new(own.get(), nullptr), EVP_PKEY_CTX_free);
        EVP_PKEY_encapsulate_init(context.get(), nullptr);
        return [=, ciphertext = Bytes(1088), secret = Bytes(32)]() mutable {
            size_t length = ciphertext.size(), secretLength = secret.size();
            return EVP_PKEY_encapsulate(context.get(), ciphertext.data(), &length, secret.data(),
                                        &secretLength) == 1;
        };
    });
    rows.add("mlkem768_decapsulate", [=] {
        auto const own = make();
        auto const context = owned(EVP_PKEY_CTX_new(own.get(), nullptr), EVP_PKEY_CTX_free);
        Bytes ciphertext(1088), secret(32);
        size_t length = ciphertext.size(), secretLength = secret.size();
        EVP_PKEY_encapsulate_init(context.get(), nullptr);
        EVP_PKEY_encapsulate(context.get(), ciphertext.data(), &length, secret.data(), &secretLength);
        EVP_PKEY_decapsulate_init(context.get(), nullptr);
        return [=, again = Bytes(32)]() mutable {
            size_t againLength = again.size();
            return EVP_PKEY_decapsulate(context.get(), again.data(), &againLength, ciphertext.data(),
                                        ciphertext.size()) == 1 &&
                   again == secret;
        };
    });
}
#endif

std::shared_ptr<X509> read(Bytes const& der) {
    unsigned char const* at = der.data();
    return owned(d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free);
}

std::shared_ptr<X509_STORE> storeOf(Bytes const& root) {
    auto store = owned(X509_STORE_new(), X509_STORE_free);
    X509_STORE_add_cert(store.get(), read(root).get());
    return store;
}

void addChain(Rows& rows, std::string const& name, Chain const& (*made)()) {
    rows.add(name, [=] {
        return [&given = made(), store = storeOf(made().root)] {
            auto const leaf = read(given.leaf), intermediate = read(given.intermediate);
            STACK_OF(X509)* const others = sk_X509_new_null();
            sk_X509_push(others, intermediate.get());
            auto const context = owned(X509_STORE_CTX_new(), X509_STORE_CTX_free);
            bool const done = X509_STORE_CTX_init(context.get(), store.get(), leaf.get(), others) == 1 &&
                              X509_verify_cert(context.get()) == 1;
            sk_X509_free(others);
            return done;
        };
    });
}

void addObjects(Rows& rows) {
    rows.add("certificate_parse", [] { return [&der = rsaChain().leaf] { return read(der) != nullptr; }; });
    rows.add(
        "bundle_load",
        [] {
            return [text = bundle(bundleSize)] {
                BIO* const in = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
                auto const store = owned(X509_STORE_new(), X509_STORE_free);
                size_t count = 0;
                for (; X509* const next = PEM_read_bio_X509(in, nullptr, nullptr, nullptr); count++) {
                    X509_STORE_add_cert(store.get(), next);
                    X509_free(next);
                }
                BIO_free(in);
                return count == bundleSize;
            };
        },
        bundleSize);
    addChain(rows, "rsa_chain", rsaChain);
    addChain(rows, "p256_chain", p256Chain);
    rows.add("pkcs12_open", [] {
        return [&file = pkcs12()] {
            unsigned char const* at = file.data();
            auto const pfx = owned(d2i_PKCS12(nullptr, &at, static_cast<long>(file.size())), PKCS12_free);
            EVP_PKEY* own = nullptr;
            X509* leaf = nullptr;
            STACK_OF(X509)* others = nullptr;
            bool const done = PKCS12_parse(pfx.get(), password, &own, &leaf, &others) == 1;
            EVP_PKEY_free(own);
            X509_free(leaf);
            sk_X509_pop_free(others, X509_free);
            return done && own != nullptr;
        };
    });
    rows.add("cms_verify", [] {
        return [&encoded = signedMessage(), store = storeOf(rsaChain().root)] {
            unsigned char const* at = encoded.data();
            auto const message = owned(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(encoded.size())),
                                       CMS_ContentInfo_free);
            return CMS_verify(message.get(), nullptr, store.get(), nullptr, nullptr, CMS_BINARY) == 1;
        };
    });
}

} // namespace

void addOpenssl(std::vector<Row>& to) {
    Rows rows(to, "openssl");
    addHash(rows, "md5", "MD5");
    addHash(rows, "sha1", "SHA1");
    addHash(rows, "sha256", "SHA256");
    addHash(rows, "sha512", "SHA512");
    for (size_t const size : messageSizes)
        addMac(rows, "hmac_sha256", size, "HMAC", OSSL_MAC_PARAM_DIGEST, "SHA256", 32);
    addMac(rows, "aes128_cmac", recordSize, "CMAC", OSSL_MAC_PARAM_CIPHER, "AES-128-CBC", 16);
    rows.add("pbkdf2_sha256", [] {
        return [] {
            std::array<unsigned char, 32> derived;
            return PKCS5_PBKDF2_HMAC(password, sizeof password - 1, iv(16).data(), 16, iterations,
                                     EVP_sha256(), 32, derived.data()) == 1;
        };
    });
    addMode(rows, "aes128_cbc", "AES-128-CBC", recordSize, false);
    addMode(rows, "aes256_cbc", "AES-256-CBC", recordSize, false);
    addMode(rows, "aes128_ctr", "AES-128-CTR", recordSize, false);
    addMode(rows, "aes128_cfb", "AES-128-CFB", recordSize, false);
    addMode(rows, "3des_cbc", "DES-EDE3-CBC", recordSize, false);
    addMode(rows, "aes128_gcm", "AES-128-GCM", 64, true);
    addMode(rows, "aes128_gcm", "AES-128-GCM", recordSize, true);
    addMode(rows, "aes256_gcm", "AES-256-GCM", recordSize, true);
    addMode(rows, "aes128_siv", "AES-128-SIV", recordSize, true);
    for (unsigned const bits : {1024u, 2048u, 3072u, 4096u, 8192u})
        addSignatures(
            rows, "rsa", "/" + std::to_string(bits), [=]() -> KeyPair const& { return rsaKey(bits); }, 32);
    struct Named {
        unsigned bits;
        char const* group;
        size_t digestSize;
    };
    for (Named const named : {Named{256, "P-256", 32}, Named{384, "P-384", 48}, Named{521, "P-521", 64}}) {
        std::string const name = "p" + std::to_string(named.bits);
        addSignatures(
            rows, name, "", [=]() -> KeyPair const& { return ecKey(named.bits); }, named.digestSize);
        addAgreement(rows, name, [=] { return EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", named.group); });
    }
    addAgreement(rows, "x25519", [] { return EVP_PKEY_Q_keygen(nullptr, nullptr, "X25519"); });
    addEd25519(rows);
#if OPENSSL_VERSION_NUMBER >= 0x30500000L
    addMlkem(rows);
#endif
    addObjects(rows);
}

} // namespace bench
