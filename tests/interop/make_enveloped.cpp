// The library first: libcrypto has functions of the names of its hashes.
#include "interop/messages.h"
#include "interop/names.h"

#include "interop/identities.h"
#include "interop/makers.h"

#include "support/captured_output.h"
#include "support/der.h"

#include <openssl/rsa.h>

#include <algorithm>

using namespace libcrypto;
using interop::Cases;
using interop::Identity;

namespace {

namespace der = test::der;

struct ContentCipher {
    char const* name;
    char const* algorithm;
    size_t keySize;
    size_t blockSize;
};
constexpr ContentCipher ciphers[] = {{"DES-EDE3-CBC", "1.2.840.113549.3.7", 24, 8},
                                     {"AES-128-CBC", "2.16.840.1.101.3.4.1.2", 16, 16},
                                     {"AES-192-CBC", "2.16.840.1.101.3.4.1.22", 24, 16},
                                     {"AES-256-CBC", "2.16.840.1.101.3.4.1.42", 32, 16}};

EVP_CIPHER const* cipherNamed(std::string const& name) {
    loadProviders();
    return made(EVP_get_cipherbyname(name.c_str()), "cipher");
}

/// Around the ends of blocks for the most part.
size_t contentSize(test::Random& random, unsigned number) {
    if (number % 80 == 9)
        return random.between(20000, 100000);
    if (random.oneIn(4))
        return random.below(1000);
    size_t const block = random.oneIn(2) ? 8 : 16;
    size_t const blocks = random.below(5) * block;
    return blocks == 0 ? random.below(2) : blocks + random.below(3) - 1;
}

std::vector<Identity> recipients(test::Random& random, size_t count) {
    Identity const root = interop::selfSigned(random, "other-rsa1024");
    std::vector<Identity> all;
    while (all.size() < count)
        all.push_back(interop::issuedBy(root, random, interop::randomRsaKey(random)));
    return all;
}

/// Recipients are added by key transport in the order that is given.
OwnedCms encrypt(std::vector<Identity> const& recipients, Bytes const& content, std::string const& cipher,
                 unsigned flags, void (*addOthers)(CMS_ContentInfo*, test::Random&) = nullptr,
                 test::Random* random = nullptr) {
    flags |= CMS_BINARY | CMS_PARTIAL;
    OwnedBio const in = reading(content);
    OwnedCms message(made(CMS_encrypt(nullptr, in.get(), cipherNamed(cipher), flags), "encrypting"));
    for (Identity const& recipient : recipients) {
        CMS_RecipientInfo* const info =
            made(CMS_add1_recipient_cert(message.get(), recipient.get(), flags), "recipient");
        if ((flags & CMS_KEY_PARAM) != 0)
            require(
                EVP_PKEY_CTX_set_rsa_padding(CMS_RecipientInfo_get0_pkey_ctx(info), RSA_PKCS1_OAEP_PADDING),
                "padding");
    }
    if (addOthers != nullptr)
        addOthers(message.get(), *random);
    require(CMS_final(message.get(), in.get(), nullptr, flags), "encrypting");
    return message;
}

/// What libcrypto opens with a recipient's key.
Bytes opened(Bytes const& message, Identity const& recipient) {
    OwnedBio const out = writing();
    auto const cms = decoded<d2i_CMS_ContentInfo, CMS_ContentInfo_free>(message);
    require(CMS_decrypt(cms.get(), recipient.key(), recipient.get(), nullptr, out.get(), CMS_BINARY),
            "libcrypto does not decrypt");
    return written(out.get());
}

Bytes openedAsPkcs7(Bytes const& message, Identity const& recipient) {
    OwnedBio const out = writing();
    auto const pkcs7 = decoded<d2i_PKCS7, PKCS7_free>(message);
    require(PKCS7_decrypt(pkcs7.get(), recipient.key(), recipient.get(), out.get(), PKCS7_BINARY),
            "libcrypto does not decrypt");
    return written(out.get());
}

void expectSame(Bytes const& opened, Bytes const& content) {
    require(opened == content, "libcrypto opens another content");
}

void makeOpened(test::Random& random, Cases& out) {
    ContentCipher const& cipher = random.oneOf(ciphers);
    size_t const size = contentSize(random, out.number());
    Bytes const content = interop::contentOf(out.id(), size);
    std::vector<Identity> const all = recipients(random, random.oneIn(2) ? 1 : random.between(2, 3));
    size_t const target = random.below(all.size());
    bool const byKeyId = random.oneIn(2);
    Bytes message;
    size_t version = 0;
    if (byKeyId || random.oneIn(2)) {
        message = encoded<i2d_CMS_ContentInfo>(
            encrypt(all, content, cipher.name, byKeyId ? CMS_USE_KEYID : 0).get());
        version = byKeyId ? 2 : 0;
    } else {
        std::vector<X509*> certificates;
        for (Identity const& recipient : all)
            certificates.push_back(recipient.get());
        OwnedBio const in = reading(content);
        OwnedPkcs7 const made(libcrypto::made(PKCS7_encrypt(interop::stackOf(certificates).get(), in.get(),
                                                            cipherNamed(cipher.name), PKCS7_BINARY),
                                              "encrypting"));
        message = encoded<i2d_PKCS7>(made.get());
    }
    expectSame(opened(message, all[target]), content);

    // Recipients are a SET, which stands sorted.
    auto const read = decoded<d2i_CMS_ContentInfo, CMS_ContentInfo_free>(message);
    STACK_OF(CMS_RecipientInfo)* const infos = CMS_get0_RecipientInfos(read.get());
    int place = 0;
    while (CMS_RecipientInfo_ktri_cert_cmp(sk_CMS_RecipientInfo_value(infos, place), all[target].get()) != 0)
        place++;
    out.add("message", message).add("certificate", all[target].der()).add("key", all[target].keyName);
    out.add("version", version).add("type", "1.2.840.113549.1.7.1").add("cipher", cipher.algorithm);
    out.add("recipients", all.size()).add("place", static_cast<size_t>(place));
    out.add("by-key-id", byKeyId ? "yes" : "no").add("content-size", size);
}

void addCurve(CMS_ContentInfo* message, test::Random& random) {
    Identity const root = interop::selfSigned(random, "other-rsa1024");
    Identity const curve = interop::issuedBy(root, random, "p256");
    made(CMS_add1_recipient_cert(message, curve.get(), 0), "recipient");
}

void addSecretKey(CMS_ContentInfo* message, test::Random&) {
    auto const copy = [](std::string const& text) {
        return static_cast<unsigned char*>(OPENSSL_memdup(text.data(), text.size()));
    };
    made(CMS_add0_recipient_key(message, NID_undef, copy("0123456789abcdef"), 16, copy("id"), 2, nullptr,
                                nullptr, nullptr),
         "recipient");
}

void addPassword(CMS_ContentInfo* message, test::Random&) {
    unsigned char* const password = static_cast<unsigned char*>(OPENSSL_memdup("secret", 6));
    made(CMS_add0_recipient_password(message, -1, NID_undef, NID_undef, password, 6, nullptr), "recipient");
}

/// Of what libcrypto makes, what the library does not read, in whole or with what stands beside it.
struct Unread {
    char const* why;
    char const* said;
    void (*addOthers)(CMS_ContentInfo*, test::Random&);
    size_t recipients;
};
constexpr Unread unread[] = {
    {"key agreement alone", "KeyAgreeRecipientInfo not supported|", addCurve, 0},
    {"key agreement beside RSA", "KeyAgreeRecipientInfo not supported|", addCurve, 1},
    {"a key-encryption key alone", "KEKRecipientInfo not supported|", addSecretKey, 0},
    {"a key-encryption key beside RSA", "KEKRecipientInfo not supported|", addSecretKey, 1},
    {"a password alone", "EnvelopedData: invalid version: 3|", addPassword, 0},
    {"a password beside RSA", "EnvelopedData: invalid version: 3|", addPassword, 1},
};

/// Of what libcrypto makes and the library reads, what it does not open.
struct Unopened {
    char const* why;
    char const* said;
    char const* cipher = "AES-128-CBC";
    bool isOaep = false;
    bool isOthers = false;   ///< Opened with the certificate of somebody who is no recipient.
    bool isWrongKey = false; ///< Opened with the certificate of a recipient, and another's key.
};
constexpr char notOpened[] = "ktri: key decrypt failed|";
constexpr Unopened unopened[] = {
    {"RSAES-OAEP", "ktri: only rsa supported, not 1.2.840.113549.1.1.7|ktri: key decrypt failed|",
     "AES-128-CBC", true},
    {"no recipient", "ktri: no key matches|", "AES-128-CBC", false, true},
    {"another's key", notOpened, "AES-128-CBC", false, false, true},
    {"RC2", "EncryptedContentInfo: unimplemented algorithm: <1.2.840.113549.3.2>|", "RC2-CBC"},
    {"DES", "EncryptedContentInfo: unimplemented algorithm: <1.3.14.3.2.7>|", "DES-CBC"},
    {"Camellia", "EncryptedContentInfo: unimplemented algorithm: <1.2.392.200011.61.1.1.1.2>|",
     "CAMELLIA-128-CBC"},
    {"CAST", "EncryptedContentInfo: unimplemented algorithm: <1.2.840.113533.7.66.10>|", "CAST5-CBC"},
};

void makeUnread(test::Random& random, Cases& out, Unread const& form) {
    Bytes const content = random.bytes(random.below(100));
    OwnedCms const message =
        encrypt(recipients(random, form.recipients), content, "AES-128-CBC", 0, form.addOthers, &random);
    out.add("message", encoded<i2d_CMS_ContentInfo>(message.get())).add("parsed", "no");
    out.add("why", form.why).add("output", form.said);
}

void makeOtherType(test::Random& random, Cases& out) {
    Bytes const content = random.bytes(random.below(100));
    OwnedCms const message =
        random.oneIn(2) ? encrypt(recipients(random, 1), content, "id-aes128-GCM", 0) // AuthEnvelopedData
                        : OwnedCms(made(CMS_data_create(reading(content).get(), CMS_BINARY), "data"));
    out.add("message", encoded<i2d_CMS_ContentInfo>(message.get())).add("parsed", "no");
    out.add("why", "another type of message").add("output", "blob is not enveloped data|");
}

void makeStreamed(test::Random& random, Cases& out) {
    Bytes const content = random.bytes(random.below(100));
    OwnedBio const in = reading(content), to = writing();
    constexpr unsigned flags = CMS_STREAM | CMS_BINARY;
    auto const all = recipients(random, 1);
    OwnedCms const message(
        made(CMS_encrypt(interop::stackOf({all[0].get()}).get(), in.get(), EVP_aes_128_cbc(), flags),
             "encrypting"));
    require(i2d_CMS_bio_stream(to.get(), message.get(), in.get(), flags), "streaming");
    out.add("message", written(to.get())).add("parsed", "no").add("why", "BER").add("output", "");
}

/// Whether a key that no content key was encrypted to makes of one what begins as a block of it does, by
/// chance. What is said of such a block depends on the rest of it.
bool isTakenForOwn(Bytes const& message, EVP_PKEY* key) {
    test::CapturedOutput const quiet;
    PKCS7EnvelopedData read;
    require(read.parse(message), "the library does not read the message");
    return std::ranges::any_of(read.recipientInfos, [&](PKCS7KeyTransRecipientInfo const& recipient) {
        Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> const context(made(EVP_PKEY_CTX_new(key, nullptr), "key"));
        require(EVP_PKEY_decrypt_init(context.get()), "decrypting");
        require(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING), "padding");
        Bytes block(static_cast<size_t>(EVP_PKEY_get_size(key)));
        size_t size = block.size();
        Bytes const& encrypted = recipient.encryptedKey;
        return EVP_PKEY_decrypt(context.get(), block.data(), &size, encrypted.data(), encrypted.size()) > 0 &&
               block[0] == 0 && block[1] == 2;
    });
}

void makeUnopened(test::Random& random, Cases& out, Unopened const& form) {
    Identity const root = interop::selfSigned(random, "other-rsa1024");
    std::vector<Identity> to;
    to.push_back(interop::issuedBy(root, random, "rsa1024"));
    if (random.oneIn(2))
        to.push_back(interop::issuedBy(root, random, "rsa1031"));
    Identity const other = interop::issuedBy(root, random, "other-rsa1024");
    Bytes const content = random.bytes(random.below(100));
    unsigned const flags = (form.isOaep ? CMS_KEY_PARAM : 0) | (random.oneIn(2) ? CMS_USE_KEYID : 0);
    Bytes message;
    do
        message = encoded<i2d_CMS_ContentInfo>(encrypt(to, content, form.cipher, flags).get());
    while (form.isWrongKey && isTakenForOwn(message, other.key()));
    out.add("message", message).add("opened", "no").add("why", form.why);
    out.add("certificate", (form.isOthers ? other : to[0]).der());
    out.add("key", form.isOthers || form.isWrongKey ? "other-rsa1024" : "rsa1024").add("output", form.said);
}

} // namespace

void interop::makeEnveloped(test::Random& random, Cases& out) {
    unsigned const number = out.number();
    if (number % 4 != 3)
        return makeOpened(random, out);
    size_t form = number / 4 % (std::size(unread) + std::size(unopened) + 2);
    if (form < std::size(unread))
        return makeUnread(random, out, unread[form]);
    form -= std::size(unread);
    if (form < std::size(unopened))
        return makeUnopened(random, out, unopened[form]);
    form == std::size(unopened) ? makeStreamed(random, out) : makeOtherType(random, out);
}

void interop::makeEnveloping(test::Random& random, Cases& out) {
    ContentCipher const& cipher = random.oneOf(ciphers);
    std::vector<Identity> const all = recipients(random, random.oneIn(2) ? 1 : random.between(2, 3));
    EnvelopedRecipe recipe;
    for (size_t i = 0; i < all.size(); i++) {
        out.add("certificate" + std::to_string(i + 1), all[i].der());
        recipe.recipients.push_back(certificateOf(all[i].der()));
    }
    recipe.how = {interop::cipherNamed(cipher.name), static_cast<unsigned>(cipher.keySize), random.oneIn(2)};
    recipe.isVersion2 = recipe.how.byKeyId || random.oneIn(4);
    recipe.seed = static_cast<unsigned>(random.below(1000000));
    size_t const size = contentSize(random, out.number());
    recipe.content = contentOf(out.id(), size);
    out.add("cipher", cipher.name).add("key-size", cipher.keySize).add("seed", recipe.seed);
    out.add("by-key-id", recipe.how.byKeyId ? "yes" : "no").add("version2", recipe.isVersion2 ? "yes" : "no");
    out.add("content-size", size).add("last-key", all.back().keyName);
    Bytes const message = recipe.make().encode();
    out.add("digest", libcrypto::digest("SHA256", message));
    for (Identity const& recipient : all) {
        expectSame(opened(message, recipient), recipe.content);
        if (!recipe.isVersion2)
            expectSame(openedAsPkcs7(message, recipient), recipe.content);
    }
}

void interop::makeEncryptedData(test::Random& random, Cases& out) {
    ContentCipher const& cipher = random.oneOf(ciphers);
    Bytes const key = random.bytes(cipher.keySize);
    size_t const size = contentSize(random, out.number());
    Bytes const content = contentOf(out.id(), size);
    Bytes message;
    if (random.oneIn(2)) {
        OwnedBio const in = reading(content);
        message = encoded<i2d_CMS_ContentInfo>(
            OwnedCms(made(CMS_EncryptedData_encrypt(in.get(), ::cipherNamed(cipher.name), key.data(),
                                                    key.size(), CMS_BINARY),
                          "encrypting"))
                .get());
    } else {
        Bytes const iv = random.bytes(cipher.blockSize);
        Bytes padded = content;
        size_t const padding = cipher.blockSize - size % cipher.blockSize;
        padded.insert(padded.end(), padding, static_cast<unsigned char>(padding));
        auto const keyed = createCipher(interop::cipherNamed(cipher.name), key, 0);
        keyed->setIV(iv.data(), static_cast<unsigned>(iv.size()));
        PKCS7EncryptedData data;
        PKCS7EncryptedContentInfo& info = data.encryptedContentInfo;
        info.contentType = dataType;
        Bytes const algorithm = der::oid(cipher.algorithm);
        info.contentEncryptionAlgorithm = {Bytes(algorithm.begin() + 2, algorithm.end()),
                                           der::octetString(iv)};
        info.encryptedContent.resize(padded.size());
        keyed->encrypt(padded.data(), static_cast<unsigned>(padded.size()), nullptr, 0,
                       info.encryptedContent.data());
        message = der::sequence(der::oid("1.2.840.113549.1.7.6"), der::context(0, encode(data)));
    }
    OwnedBio const plain = writing();
    auto const read = decoded<d2i_CMS_ContentInfo, CMS_ContentInfo_free>(message);
    require(CMS_EncryptedData_decrypt(read.get(), key.data(), key.size(), nullptr, plain.get(), CMS_BINARY),
            "libcrypto does not decrypt");
    expectSame(written(plain.get()), content);
    out.add("message", message).add("key", key).add("cipher", cipher.name).add("algorithm", cipher.algorithm);
    out.add("content-size", size);
}
