#include "interop/libcrypto_objects.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/provider.h>

#include <map>
#include <stdexcept>

namespace libcrypto {

void fail(std::string const& what) {
    char reason[256];
    ERR_error_string_n(ERR_peek_last_error(), reason, sizeof reason);
    ERR_clear_error();
    throw std::runtime_error(what + ": " + reason);
}

void require(int result, char const* what) {
    if (result != 1)
        fail(what);
}

void loadProviders() {
    // Loading one provider by hand keeps the others from being loaded by themselves.
    static auto const providers = {OSSL_PROVIDER_load(nullptr, "default"),
                                   OSSL_PROVIDER_load(nullptr, "legacy")};
    for (OSSL_PROVIDER* provider : providers)
        require(provider != nullptr, "providers");
}

OwnedBio reading(Bytes const& bytes) {
    static unsigned char const nothing[1] = {};
    void const* const data = bytes.empty() ? nothing : bytes.data();
    return OwnedBio(made(BIO_new_mem_buf(data, static_cast<int>(bytes.size())), "memory"));
}

OwnedBio writing() { return OwnedBio(made(BIO_new(BIO_s_mem()), "memory")); }

Bytes written(BIO* to) {
    unsigned char* data = nullptr;
    long const size = BIO_get_mem_data(to, &data);
    return Bytes(data, data + size);
}

std::string dotted(ASN1_OBJECT const* oid) {
    char text[100];
    int const size = OBJ_obj2txt(text, sizeof text, oid, 1);
    require(size > 0 && size < static_cast<int>(sizeof text), "object identifier");
    return text;
}

EVP_PKEY* key(std::string const& name) {
    static std::map<std::string, Owned<EVP_PKEY, EVP_PKEY_free>> read;
    auto& key = read[name];
    if (key == nullptr) {
        std::string const path = SEALKIT_TEST_DATA "/vectors/pkcs/keys/" + name + ".key";
        OwnedBio const file(made(BIO_new_file(path.c_str(), "r"), path.c_str()));
        key.reset(made(PEM_read_bio_PrivateKey(file.get(), nullptr, nullptr, nullptr), path.c_str()));
    }
    return key.get();
}

} // namespace libcrypto
