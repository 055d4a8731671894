// The library first: libcrypto has functions of the names of its hashes.
#include "interop/messages.h"
#include "interop/names.h"
#include "sealkit/pkcs12.h"
#include "sealkit/pkcs8.h"

#include "interop/identities.h"
#include "interop/makers.h"

#include "support/captured_output.h"

#include <openssl/pkcs12.h>

using namespace libcrypto;
using interop::Cases;
using interop::Identity;

namespace {

using OwnedPkcs12 = Owned<PKCS12, PKCS12_free>;

constexpr char const* hashes[] = {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"};

/// UTF-8 of a few characters of one to three bytes each.
std::string randomName(test::Random& random) {
    static constexpr char const* characters[] = {"a", "Z", "7", " ", "\u00f1", "\u00fc", "\u20ac", "\u4e2d"};
    std::string text;
    for (size_t length = random.below(12); length > 0; length--)
        text += random.oneOf(characters);
    return text;
}

/// The same, and maybe a character of four, which libcrypto takes in no name.
std::string randomPassword(test::Random& random) {
    return randomName(random) + (random.oneIn(4) ? "\U0001d11e" : "");
}

Bytes asBytes(std::string const& text) { return Bytes(text.begin(), text.end()); }

Bytes asBmp(std::string const& text) {
    int size = 0;
    unsigned char* const converted =
        made(OPENSSL_utf82uni(text.data(), static_cast<int>(text.size()), nullptr, &size), "password");
    Bytes const bytes(converted, converted + size);
    OPENSSL_free(converted);
    return bytes;
}

/// A certificate with its key, and others above it.
struct Contents {
    Identity root;
    Identity own;
    std::string name;
    bool withKey;
    bool withRoot;

    explicit Contents(test::Random& random)
        : root(interop::selfSigned(random, "other-rsa1024")),
          own(interop::issuedBy(root, random, random.oneIn(8) ? "p256" : interop::randomRsaKey(random))),
          name(randomName(random)),
          withKey(!random.oneIn(6)),
          withRoot(random.oneIn(2)) {}

    Bytes localKeyId() const { return withKey ? libcrypto::digest("SHA1", own.der()) : Bytes(); }
};

/// How a file of libcrypto's is protected. A scheme of -1 is none.
struct Protection {
    int certificateScheme;
    int keyScheme;
    char const* macHash; ///< Null for no MAC.
    int macIterations;
};

OwnedPkcs12 make(Contents const& contents, std::string const& password, Protection const& how) {
    // The certificate's own name and identifier go with PKCS12_create; so do those of its key.
    auto const others =
        interop::stackOf(contents.withRoot ? std::vector<X509*>{contents.root.get()} : std::vector<X509*>{});
    OwnedPkcs12 file(
        made(PKCS12_create(password.c_str(), contents.name.empty() ? nullptr : contents.name.c_str(),
                           contents.withKey ? contents.own.key() : nullptr, contents.own.get(), others.get(),
                           how.keyScheme, how.certificateScheme, 50, -1, 0),
             "PKCS#12"));
    if (how.macHash != nullptr)
        require(PKCS12_set_mac(file.get(), password.c_str(), -1, nullptr, 0, how.macIterations,
                               EVP_get_digestbyname(how.macHash)),
                "MAC");
    return file;
}

/// Throws unless libcrypto finds in the file what was put there.
void verify(Bytes const& encoding, Contents const& contents, std::string const& password, bool hasMac) {
    auto const file = decoded<d2i_PKCS12, PKCS12_free>(encoding);
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* others = nullptr;
    if (!hasMac) // PKCS12_parse insists on one.
        require(PKCS12_set_mac(file.get(), password.c_str(), -1, nullptr, 0, 2, EVP_sha256()), "MAC");
    require(PKCS12_parse(file.get(), password.c_str(), &key, &certificate, &others),
            "libcrypto does not read the file");
    Owned<EVP_PKEY, EVP_PKEY_free> const ownedKey(key);
    OwnedCertificate const ownedCertificate(certificate);
    int const count = (certificate != nullptr ? 1 : 0) + std::max(0, sk_X509_num(others));
    X509 const* const first = certificate != nullptr ? certificate : sk_X509_value(others, 0);
    bool const isSame = first != nullptr && X509_cmp(first, contents.own.get()) == 0;
    sk_X509_pop_free(others, X509_free);
    require(isSame && count == (contents.withRoot ? 2 : 1), "libcrypto reads other certificates");
    require(contents.withKey ? EVP_PKEY_eq(key, contents.own.key()) : key == nullptr,
            "libcrypto reads another key");
}

void addCase(Cases& out, Bytes const& file, Contents const& contents, std::string const& password,
             bool hasMac) {
    out.add("file", file).add("password", asBytes(password)).add("has-mac", hasMac ? "yes" : "no");
    out.add("certificates", contents.withRoot ? 2 : 1).add("certificate1", contents.own.der());
    if (contents.withRoot)
        out.add("certificate2", contents.root.der());
    if (contents.withKey)
        out.add("key", contents.own.keyName);
    out.add("friendly-name", asBytes(contents.name)).add("local-key-id", contents.localKeyId());
}

void makePeers(test::Random& random, Cases& out) {
    static constexpr int schemes[] = {-1,
                                      NID_pbe_WithSHA1And3_Key_TripleDES_CBC,
                                      NID_aes_128_cbc,
                                      NID_aes_192_cbc,
                                      NID_aes_256_cbc,
                                      NID_des_ede3_cbc};
    Contents const contents(random);
    std::string const password = randomPassword(random);
    Protection const how = {random.oneOf(schemes), random.oneOf(schemes),
                            random.oneIn(6) ? nullptr : random.oneOf(hashes),
                            static_cast<int>(random.between(2, 300))};
    Bytes const file = encoded<i2d_PKCS12>(make(contents, password, how).get());
    verify(file, contents, password, how.macHash != nullptr);
    addCase(out, file, contents, password, how.macHash != nullptr);
}

void makeOurs(test::Random& random, Cases& out) {
    Contents const contents(random);
    std::string const password = randomPassword(random);
    test::CapturedOutput const quiet;
    PKCS12PFX file;
    file.certificates.push_back(interop::certificateOf(contents.own.der()));
    file.certificateAttributes.push_back({contents.name, contents.localKeyId(), {}});
    if (contents.withRoot)
        file.certificates.push_back(interop::certificateOf(contents.root.der()));
    if (contents.withKey) {
        file.keys.push_back(
            parseOneAssimetricKey(encodePkcs8PrivateKey(interop::privateKey(contents.own.keyName))));
        file.keyAttributes.push_back({contents.name, contents.localKeyId(), {}});
    }
    std::string const hash = random.oneOf(hashes);
    file.macAlgorithm.oid =
        Bytes(getHashOid(interop::hashNamed(hash)).begin(), getHashOid(interop::hashNamed(hash)).end());
    file.iterations = static_cast<unsigned>(random.between(2, 200));
    size_t const scheme = random.below(3);
    bool const isMade =
        scheme == 0
            ? file.encrypt(password)
            : file.setPbes2Params(password, {}, scheme == 1 ? CipherID::AesCbc : CipherID::TripleDesCbc);
    require(isMade, "the library does not protect a file");
    Bytes const encoding = file.save();
    verify(encoding, contents, password, true);
    addCase(out, encoding, contents, password, true);
}

void makeRefused(test::Random& random, Cases& out) {
    Contents const contents(random);
    std::string const password = randomPassword(random) + "!";
    constexpr int tripleDes = NID_pbe_WithSHA1And3_Key_TripleDES_CBC;
    struct Form {
        Protection how;
        char const* said;
        bool isWrongPassword;
    };
    static constexpr Form forms[] = {
        {{tripleDes, tripleDes, "SHA256", 100}, "PFX: MAC verification failed|", true},
        {{NID_pbe_WithSHA1And40BitRC2_CBC, tripleDes, "SHA1", 100},
         "PFX: unsupported PBE: <1.2.840.113549.1.12.1.6>|",
         false},
        {{NID_pbe_WithSHA1And128BitRC4, tripleDes, "SHA1", 100},
         "PFX: unsupported PBE: <1.2.840.113549.1.12.1.1>|",
         false},
        // A count of 1, the default, is left out.
        {{tripleDes, tripleDes, "SHA1", 1}, "PFX: MAC verification failed|", false},
    };
    Form const& form = forms[out.number() / 4 % std::size(forms)];
    out.add("file", encoded<i2d_PKCS12>(make(contents, password, form.how).get())).add("has-mac", "yes");
    out.add("password", asBytes(form.isWrongPassword ? password + "?" : password)).add("refused", form.said);
}

} // namespace

void interop::makePkcs12Kdf(test::Random& random, Cases& out) {
    std::string const hash = random.oneOf(hashes);
    std::string password = randomPassword(random);
    if (random.oneIn(8)) // Not UTF-8, so that each byte is a character.
        password += "\xE9t\xE9";
    Bytes const bmp = asBmp(password), salt = random.bytes(random.below(80));
    size_t const iterations = random.between(1, 100), purpose = random.between(1, 3);
    out.add("hash", hash).add("password", asBytes(password)).add("bmp-password", bmp).add("salt", salt);
    out.add("iterations", iterations).add("purpose", purpose);
    out.add("derived", libcrypto::pkcs12Kdf(hash, bmp, salt, iterations, purpose, random.between(1, 200)));
}

void interop::makePkcs12(test::Random& random, Cases& out) {
    loadProviders();
    if (out.number() % 4 == 3)
        makeRefused(random, out);
    else if (out.number() % 2 == 0)
        makeOurs(random, out);
    else
        makePeers(random, out);
}
