/// Owners of libcrypto's objects, and their encodings. What goes wrong throws as in `libcrypto.h`.
#pragma once

#include "interop/libcrypto.h"

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pkcs7.h>
#include <openssl/ts.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace libcrypto {

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};
template <typename T, auto release>
using Owned = std::unique_ptr<T, Release<release>>;

using OwnedBio = Owned<BIO, BIO_free>;
using OwnedCertificate = Owned<X509, X509_free>;
using OwnedCms = Owned<CMS_ContentInfo, CMS_ContentInfo_free>;
using OwnedCrl = Owned<X509_CRL, X509_CRL_free>;
using OwnedName = Owned<X509_NAME, X509_NAME_free>;
using OwnedPkcs7 = Owned<PKCS7, PKCS7_free>;
/// A list that does not own its members.
struct ReleaseList {
    void operator()(STACK_OF(X509) * list) const { sk_X509_free(list); }
};
using OwnedCertificates = std::unique_ptr<STACK_OF(X509), ReleaseList>;
using OwnedStore = Owned<X509_STORE, X509_STORE_free>;

/// The error that libcrypto met last, as an exception. Forgets all of them.
[[noreturn]] void fail(std::string const& what);
/// The same unless `result`, which may be a truth value, is 1.
void require(int result, char const* what);

/// Makes the algorithms of the default and of the legacy provider available. Once is enough.
void loadProviders();

/// The object, unless libcrypto made none.
template <typename T>
T* made(T* object, char const* what) {
    require(object != nullptr, what);
    return object;
}

template <auto write, typename T>
Bytes encoded(T const* object) {
    unsigned char* out = nullptr;
    int const size = write(object, &out);
    require(size >= 0, "encoding");
    Bytes const bytes(out, out + size);
    OPENSSL_free(out);
    return bytes;
}

/// Throws unless `bytes` are one encoding and nothing more.
template <auto read, auto release>
auto decoded(Bytes const& bytes) {
    unsigned char const* at = bytes.data();
    auto* const object = read(nullptr, &at, static_cast<long>(bytes.size()));
    Owned<std::remove_pointer_t<decltype(object)>, release> owner(object);
    require(owner != nullptr && at == bytes.data() + bytes.size(), "decoding");
    return owner;
}

/// A view of `bytes`, to be read.
OwnedBio reading(Bytes const& bytes);
OwnedBio reading(Bytes&& bytes) = delete;
/// Memory to be written.
OwnedBio writing();
Bytes written(BIO* to);

inline Bytes bytesOf(ASN1_STRING const* string) {
    return Bytes(ASN1_STRING_get0_data(string), ASN1_STRING_get0_data(string) + ASN1_STRING_length(string));
}

/// In numbers and dots.
std::string dotted(ASN1_OBJECT const* oid);

/// The private key of `tests/vectors/pkcs/keys/<name>.key`, read once.
EVP_PKEY* key(std::string const& name);

} // namespace libcrypto
