#include "interop/libcrypto.h"

#include "interop/libcrypto_objects.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>

#include <map>

namespace {

using namespace libcrypto;

/// The object called `name` that `fetch` finds, once found kept to the end.
template <auto fetch, auto release>
auto* named(std::string const& name) {
    using Object = std::remove_pointer_t<decltype(fetch(nullptr, nullptr, nullptr))>;
    static std::map<std::string, Owned<Object, release>> found;
    loadProviders();
    auto& object = found[name];
    if (object == nullptr)
        object.reset(fetch(nullptr, name.c_str(), nullptr));
    if (object == nullptr)
        fail(name);
    return object.get();
}

EVP_CIPHER* cipherNamed(std::string const& name) { return named<EVP_CIPHER_fetch, EVP_CIPHER_free>(name); }

OSSL_PARAM text(char const* name, std::string const& value) {
    return OSSL_PARAM_construct_utf8_string(name, const_cast<char*>(value.c_str()), 0);
}

OSSL_PARAM octets(char const* name, Bytes const& value) {
    // A null pointer would mean that there is no such parameter.
    static unsigned char nothing;
    void* const data = value.empty() ? &nothing : const_cast<unsigned char*>(value.data());
    return OSSL_PARAM_construct_octet_string(name, data, value.size());
}

Bytes mac(char const* name, OSSL_PARAM algorithm, Bytes const& key, Bytes const& message) {
    Owned<EVP_MAC_CTX, EVP_MAC_CTX_free> const context(
        EVP_MAC_CTX_new(named<EVP_MAC_fetch, EVP_MAC_free>(name)));
    OSSL_PARAM const parameters[] = {algorithm, octets(OSSL_MAC_PARAM_KEY, key), OSSL_PARAM_construct_end()};
    require(EVP_MAC_init(context.get(), nullptr, 0, parameters), name);
    require(EVP_MAC_update(context.get(), message.data(), message.size()), name);
    Bytes out(EVP_MAX_MD_SIZE);
    size_t length;
    require(EVP_MAC_final(context.get(), out.data(), &length, out.size()), name);
    out.resize(length);
    return out;
}

Bytes derive(int mode, std::string const& hash, Bytes const& salt, Bytes const& key, Bytes const& info,
             size_t length) {
    Owned<EVP_KDF_CTX, EVP_KDF_CTX_free> const context(
        EVP_KDF_CTX_new(named<EVP_KDF_fetch, EVP_KDF_free>("HKDF")));
    OSSL_PARAM const parameters[] = {OSSL_PARAM_construct_int(OSSL_KDF_PARAM_MODE, &mode),
                                     text(OSSL_KDF_PARAM_DIGEST, hash),
                                     octets(OSSL_KDF_PARAM_KEY, key),
                                     octets(OSSL_KDF_PARAM_SALT, salt),
                                     octets(OSSL_KDF_PARAM_INFO, info),
                                     OSSL_PARAM_construct_end()};
    Bytes out(length);
    require(EVP_KDF_derive(context.get(), out.data(), length, parameters), "HKDF");
    return out;
}

using CipherContext = Owned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
enum Direction : int { decrypting = 0, encrypting = 1 };

/// Under a key of any size that the cipher takes.
CipherContext begin(std::string const& cipher, Direction direction, Bytes const& key, Bytes const& iv) {
    CipherContext context(EVP_CIPHER_CTX_new());
    EVP_CIPHER_CTX* const c = context.get();
    require(EVP_CipherInit_ex2(c, cipherNamed(cipher), nullptr, nullptr, direction, nullptr), cipher.c_str());
    require(EVP_CIPHER_CTX_set_key_length(c, static_cast<int>(key.size())), "key length");
    if (EVP_CIPHER_CTX_get_iv_length(c) != static_cast<int>(iv.size()))
        require(EVP_CIPHER_CTX_ctrl(c, EVP_CTRL_AEAD_SET_IVLEN, static_cast<int>(iv.size()), nullptr),
                "IV length");
    require(EVP_CipherInit_ex2(c, nullptr, key.data(), iv.data(), direction, nullptr), "key and IV");
    EVP_CIPHER_CTX_set_padding(c, 0);
    return context;
}

void addData(EVP_CIPHER_CTX* context, Bytes const& data) {
    static unsigned char const nothing[1] = {};
    int length;
    require(EVP_CipherUpdate(context, nullptr, &length, data.empty() ? nothing : data.data(),
                             static_cast<int>(data.size())),
            "additional data");
}

/// False when the cipher authenticates and the answer is no.
bool finish(EVP_CIPHER_CTX* context, unsigned char const* in, size_t size, unsigned char* out) {
    static unsigned char const nothing[1] = {};
    int length, rest;
    return EVP_CipherUpdate(context, out, &length, in == nullptr ? nothing : in, static_cast<int>(size)) ==
               1 &&
           EVP_CipherFinal_ex(context, out + length, &rest) == 1;
}

Bytes plain(std::string const& cipher, Direction direction, Bytes const& key, Bytes const& iv,
            Bytes const& in) {
    CipherContext const context = begin(cipher, direction, key, iv);
    Bytes out(in.size() + 1);
    if (!finish(context.get(), in.data(), in.size(), out.data()))
        fail(cipher);
    out.resize(in.size());
    return out;
}

std::string aes(size_t keySize, char const* mode) {
    return "AES-" + std::to_string(8 * keySize) + '-' + mode;
}

constexpr int tagSize = 16;

} // namespace

namespace libcrypto {

std::string version() { return OpenSSL_version(OPENSSL_VERSION); }

Bytes digest(std::string const& hash, Bytes const& message) {
    Bytes out(EVP_MAX_MD_SIZE);
    unsigned length;
    require(EVP_Digest(message.data(), message.size(), out.data(), &length,
                       named<EVP_MD_fetch, EVP_MD_free>(hash), nullptr),
            hash.c_str());
    out.resize(length);
    return out;
}

Bytes hmac(std::string const& hash, Bytes const& key, Bytes const& message) {
    return mac("HMAC", text(OSSL_MAC_PARAM_DIGEST, hash), key, message);
}

Bytes hkdf(std::string const& hash, Bytes const& salt, Bytes const& ikm, Bytes const& info, size_t length) {
    return derive(EVP_KDF_HKDF_MODE_EXTRACT_AND_EXPAND, hash, salt, ikm, info, length);
}

Bytes hkdfExpand(std::string const& hash, Bytes const& prk, Bytes const& info, size_t length) {
    return derive(EVP_KDF_HKDF_MODE_EXPAND_ONLY, hash, {}, prk, info, length);
}

Bytes pkcs12Kdf(std::string const& hash, Bytes const& password, Bytes const& salt, size_t iterations,
                size_t purpose, size_t length) {
    Owned<EVP_KDF_CTX, EVP_KDF_CTX_free> const context(
        EVP_KDF_CTX_new(named<EVP_KDF_fetch, EVP_KDF_free>("PKCS12KDF")));
    int id = static_cast<int>(purpose);
    OSSL_PARAM const parameters[] = {text(OSSL_KDF_PARAM_DIGEST, hash),
                                     octets(OSSL_KDF_PARAM_PASSWORD, password),
                                     octets(OSSL_KDF_PARAM_SALT, salt),
                                     OSSL_PARAM_construct_size_t(OSSL_KDF_PARAM_ITER, &iterations),
                                     OSSL_PARAM_construct_int(OSSL_KDF_PARAM_PKCS12_ID, &id),
                                     OSSL_PARAM_construct_end()};
    Bytes out(length);
    require(EVP_KDF_derive(context.get(), out.data(), length, parameters), "PKCS12KDF");
    return out;
}

Bytes cmac(Bytes const& key, Bytes const& message) {
    return mac("CMAC", text(OSSL_MAC_PARAM_CIPHER, aes(key.size(), "CBC")), key, message);
}

Bytes encrypt(std::string const& cipher, Bytes const& key, Bytes const& iv, Bytes const& message) {
    return plain(cipher, encrypting, key, iv, message);
}

Bytes decrypt(std::string const& cipher, Bytes const& key, Bytes const& iv, Bytes const& ciphertext) {
    return plain(cipher, decrypting, key, iv, ciphertext);
}

Bytes gcmEncrypt(Bytes const& key, Bytes const& iv, Bytes const& aad, Bytes const& message) {
    CipherContext const context = begin(aes(key.size(), "GCM"), encrypting, key, iv);
    addData(context.get(), aad);
    Bytes out(message.size() + tagSize);
    if (!finish(context.get(), message.data(), message.size(), out.data()))
        fail("GCM");
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, out.data() + message.size()),
            "tag");
    return out;
}

std::optional<Bytes> gcmDecrypt(Bytes const& key, Bytes const& iv, Bytes const& aad,
                                Bytes const& ciphertext) {
    CipherContext const context = begin(aes(key.size(), "GCM"), decrypting, key, iv);
    size_t const length = ciphertext.size() - tagSize;
    Bytes tag(ciphertext.begin() + static_cast<ptrdiff_t>(length), ciphertext.end());
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()), "tag");
    addData(context.get(), aad);
    Bytes out(length + 1);
    if (!finish(context.get(), ciphertext.data(), length, out.data()))
        return {};
    out.resize(length);
    return out;
}

Bytes sivEncrypt(Bytes const& key, std::vector<Bytes> const& strings, Bytes const& message) {
    CipherContext const context = begin(aes(key.size() / 2, "SIV"), encrypting, key, {});
    for (Bytes const& string : strings)
        addData(context.get(), string);
    Bytes out(tagSize + message.size() + 1);
    if (!finish(context.get(), message.data(), message.size(), out.data() + tagSize))
        fail("SIV");
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, tagSize, out.data()), "synthetic IV");
    out.pop_back();
    return out;
}

std::optional<Bytes> sivDecrypt(Bytes const& key, std::vector<Bytes> const& strings,
                                Bytes const& ciphertext) {
    CipherContext const context = begin(aes(key.size() / 2, "SIV"), decrypting, key, {});
    Bytes tag(ciphertext.begin(), ciphertext.begin() + tagSize);
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()), "synthetic IV");
    for (Bytes const& string : strings)
        addData(context.get(), string);
    size_t const length = ciphertext.size() - tagSize;
    Bytes out(length + 1);
    if (!finish(context.get(), ciphertext.data() + tagSize, length, out.data()))
        return {};
    out.resize(length);
    return out;
}

} // namespace libcrypto
