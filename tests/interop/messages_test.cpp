/// Messages that the library makes, verified by OpenSSL.
#include "sealkit/pem.h"
#include "sealkit/pkcs7.h"

#include <gtest/gtest.h>

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::string const folder = SEALKIT_TEST_DATA "/vectors/pkcs/";
unsigned char const dataType[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};

template <auto free>
struct Free {
    template <typename T>
    void operator()(T* object) const {
        free(object);
    }
};
using Bio = std::unique_ptr<BIO, Free<BIO_free>>;
using Store = std::unique_ptr<X509_STORE, Free<X509_STORE_free>>;
using Message = std::unique_ptr<PKCS7, Free<PKCS7_free>>;

/// The root and the authority below it.
Store trusted() {
    Store store(X509_STORE_new());
    for (char const* name : {"ca.pem", "sub.pem"})
        EXPECT_EQ(X509_STORE_load_file(store.get(), (folder + name).c_str()), 1);
    X509_STORE_set_purpose(store.get(), X509_PURPOSE_ANY);
    return store;
}

/// The verified content; "refused" when OpenSSL refuses it.
std::string contentOf(std::vector<unsigned char> const& encoding, std::string const* detached) {
    unsigned char const* at = encoding.data();
    Message const message(d2i_PKCS7(nullptr, &at, static_cast<long>(encoding.size())));
    EXPECT_EQ(at, encoding.data() + encoding.size());
    Bio const content(detached ? BIO_new_mem_buf(detached->data(), static_cast<int>(detached->size()))
                               : nullptr);
    Bio const out(BIO_new(BIO_s_mem()));
    if (!message ||
        PKCS7_verify(message.get(), nullptr, trusted().get(), content.get(), out.get(), PKCS7_BINARY) != 1)
        return "refused";
    char* data = nullptr;
    long const size = BIO_get_mem_data(out.get(), &data);
    return std::string(data, static_cast<size_t>(size));
}

TEST(Messages, OfTheLibraryVerifyInOpenSsl) {
    auto const certificate = readCertFromFile(folder + "alice.pem");
    auto const key = readPrivateKeyFromFile(folder + "alice.key", "");
    std::string const letter = "Pay the bearer 100 pesos.\n", other = "Pay the bearer 900 pesos.\n";
    for (HashID hash : {HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
        PKCS7SignedData message;
        ASSERT_TRUE(message.create(*certificate, *key, dataType, letter, hash));
        auto counter = std::make_unique<PKCS7SignerInfo>();
        ASSERT_TRUE(
            counter->sign(*certificate, *key, dataType, message.signerInfos[0]->encryptedDigest, hash));
        message.signerInfos[0]->counterSignature = std::move(counter);
        DerEncoder attached;
        message.save(attached);
        EXPECT_EQ(contentOf(attached.take(), nullptr), letter);
        message.content.clear();
        DerEncoder detached;
        message.save(detached);
        std::vector<unsigned char> const encoding = detached.take();
        EXPECT_EQ(contentOf(encoding, &letter), letter);
        EXPECT_EQ(contentOf(encoding, &other), "refused");
    }
}

} // namespace
