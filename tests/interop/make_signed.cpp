// The library first: libcrypto has functions of the names of its hashes.
#include "interop/messages.h"
#include "interop/names.h"

#include "interop/identities.h"
#include "interop/makers.h"

#include <openssl/err.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <ctime>
#include <optional>

using namespace libcrypto;
using interop::Cases;
using interop::Identity;

namespace {

constexpr char const* hashes[] = {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"};

EVP_MD const* digestNamed(std::string const& name) {
    return made(EVP_get_digestbyname(name.c_str()), "digest");
}

/// Small for the most part, and 100 kB at most.
size_t contentSize(test::Random& random, unsigned number) {
    if (number % 80 == 6)
        return random.between(20000, 100000);
    return random.oneIn(8) ? 0 : random.below(random.oneIn(4) ? 2000 : 200);
}

/// A root, maybe an authority below it, and signers.
struct Party {
    Identity root;
    std::optional<Identity> authority;
    std::vector<Identity> signers;

    Party(test::Random& random, size_t count, interop::Names names = interop::Names::any)
        : root(interop::selfSigned(random, "other-rsa2048", names)) {
        if (random.oneIn(3))
            authority = interop::issuedBy(root, random, "rsa1024", {names, true});
        while (signers.size() < count)
            signers.push_back(issue(random, interop::randomRsaKey(random), names));
    }

    Identity issue(test::Random& random, std::string const& key,
                   interop::Names names = interop::Names::any) const {
        return interop::issuedBy(authority ? *authority : root, random, key, {names});
    }
};

/// A SignerInfo that signs the signature of `signer`.
void counterSign(PKCS7_SIGNER_INFO* signer, Identity const& by, std::string const& hash) {
    constexpr int flags = PKCS7_PARTIAL | PKCS7_BINARY | PKCS7_DETACHED | PKCS7_NOSMIMECAP;
    Bytes const signature = bytesOf(signer->enc_digest);
    OwnedBio const in = reading(signature);
    OwnedPkcs7 const message(made(PKCS7_sign(nullptr, nullptr, nullptr, in.get(), flags), "signing"));
    PKCS7_SIGNER_INFO const* const counter =
        made(PKCS7_sign_add_signer(message.get(), by.get(), by.key(), digestNamed(hash), flags), "signing");
    require(PKCS7_final(message.get(), in.get(), flags), "signing");
    Bytes const der = encoded<i2d_PKCS7_SIGNER_INFO>(counter);
    ASN1_STRING* const value = made(ASN1_STRING_new(), "string");
    require(ASN1_STRING_set(value, der.data(), static_cast<int>(der.size())), "string");
    require(PKCS7_add_attribute(signer, NID_pkcs9_countersignature, V_ASN1_SEQUENCE, value), "attribute");
}

/// How a message with PKCS#7's outline is made.
struct Making {
    int flags = PKCS7_BINARY;
    char const* hash = nullptr; ///< Null for one at random for each signer.
    size_t crls = 0;
};

OwnedPkcs7 sign(test::Random& random, Party const& party, Bytes const& content, Making const& how) {
    OwnedBio const in = reading(content);
    int const flags = how.flags | PKCS7_PARTIAL;
    OwnedPkcs7 message(made(PKCS7_sign(nullptr, nullptr, nullptr, in.get(), flags), "signing"));
    for (Identity const& signer : party.signers) {
        std::string const hash = how.hash != nullptr ? how.hash : random.oneOf(hashes);
        PKCS7_SIGNER_INFO* const info =
            made(PKCS7_sign_add_signer(message.get(), signer.get(), signer.key(), digestNamed(hash), flags),
                 "signing");
        auto const seconds = static_cast<time_t>(random.between(0, 2000000000));
        if ((flags & PKCS7_NOATTR) == 0 && random.oneIn(2))
            require(PKCS7_add0_attrib_signing_time(info, ASN1_UTCTIME_set(nullptr, seconds)), "signing time");
    }
    if ((flags & PKCS7_NOCERTS) == 0 && party.authority)
        require(PKCS7_add_certificate(message.get(), party.authority->get()), "certificate");
    for (size_t i = 0; i < how.crls; i++)
        require(PKCS7_add_crl(message.get(), interop::crlBy(party.root, random).get()), "CRL");
    require(PKCS7_final(message.get(), in.get(), flags), "signing");
    return message;
}

OwnedCms signCms(Party const& party, Bytes const& content, unsigned flags, EVP_MD const* hash,
                 char const* type = nullptr) {
    OwnedBio const in = reading(content);
    flags |= CMS_BINARY | CMS_PARTIAL;
    OwnedCms message(made(CMS_sign(nullptr, nullptr, nullptr, in.get(), flags), "signing"));
    if (type != nullptr)
        require(CMS_set1_eContentType(message.get(),
                                      Owned<ASN1_OBJECT, ASN1_OBJECT_free>(OBJ_txt2obj(type, 1)).get()),
                "content type");
    for (Identity const& signer : party.signers) {
        CMS_SignerInfo* const info =
            made(CMS_add1_signer(message.get(), signer.get(), signer.key(), hash, flags), "signing");
        if ((flags & CMS_KEY_PARAM) != 0)
            require(EVP_PKEY_CTX_set_rsa_padding(CMS_SignerInfo_get0_pkey_ctx(info), RSA_PKCS1_PSS_PADDING),
                    "padding");
    }
    if (party.authority)
        require(CMS_add1_cert(message.get(), party.authority->get()), "certificate");
    require(CMS_final(message.get(), in.get(), nullptr, flags), "signing");
    return message;
}

/// The names of the attributes that the library has no use for, as it tells them.
std::string unknown(STACK_OF(X509_ATTRIBUTE) * attributes, std::string const& notice,
                    std::initializer_list<int> known) {
    std::string text;
    for (int i = 0; i < sk_X509_ATTRIBUTE_num(attributes); i++) {
        ASN1_OBJECT const* const type = X509_ATTRIBUTE_get0_object(sk_X509_ATTRIBUTE_value(attributes, i));
        if (std::find(known.begin(), known.end(), OBJ_obj2nid(type)) == known.end())
            text += notice + dotted(type) + '|';
    }
    return text;
}

std::string noticesOf(PKCS7_SIGNER_INFO const* signer) {
    return unknown(signer->auth_attr, "unknown auth attr ",
                   {NID_pkcs9_contentType, NID_pkcs9_messageDigest, NID_pkcs9_signingTime}) +
           unknown(signer->unauth_attr, "unknown unauth attribute ", {NID_pkcs9_countersignature});
}

Bytes contentOctets(ASN1_INTEGER const* number) {
    Bytes const der = encoded<i2d_ASN1_INTEGER>(number);
    return Bytes(der.begin() + 2, der.end());
}

void addSigner(Cases& out, std::string const& number, PKCS7_SIGNER_INFO* signer) {
    out.add("issuer" + number, encoded<i2d_X509_NAME>(signer->issuer_and_serial->issuer));
    out.add("serial" + number, contentOctets(signer->issuer_and_serial->serial));
    out.add("hash" + number, OBJ_nid2sn(OBJ_obj2nid(signer->digest_alg->algorithm)));
    out.add("digest" + number, bytesOf(PKCS7_digest_from_attributes(signer->auth_attr)));
    if (ASN1_TYPE const* const time = PKCS7_get_signed_attribute(signer, NID_pkcs9_signingTime)) {
        tm broken;
        require(ASN1_TIME_to_tm(time->value.utctime, &broken), "signing time");
        out.add("time" + number, static_cast<size_t>(timegm(&broken)));
    }
}

template <auto write, typename Objects, typename At>
void addObjects(Cases& out, std::string const& name, Objects* objects, int count, At at) {
    Bytes all;
    for (int i = 0; i < count; i++) {
        Bytes const der = encoded<write>(at(objects, i));
        all.insert(all.end(), der.begin(), der.end());
    }
    out.add(name, static_cast<size_t>(std::max(count, 0)))
        .add(name + "-digest", libcrypto::digest("SHA256", all));
}

/// Writes down what libcrypto reads in a message.
void addFields(Cases& out, Bytes const& encoding) {
    auto const message = decoded<d2i_PKCS7, PKCS7_free>(encoding);
    PKCS7_SIGNED const* const data = message->d.sign;
    out.add("type", dotted(data->contents->type));
    std::string names, notices;
    for (int i = 0; i < sk_X509_ALGOR_num(data->md_algs); i++)
        names += std::string(" ") + OBJ_nid2sn(OBJ_obj2nid(sk_X509_ALGOR_value(data->md_algs, i)->algorithm));
    out.add("hashes", names);
    addObjects<i2d_X509>(out, "certificates", data->cert, sk_X509_num(data->cert),
                         [](auto* list, int i) { return sk_X509_value(list, i); });
    addObjects<i2d_X509_CRL>(out, "crls", data->crl, sk_X509_CRL_num(data->crl),
                             [](auto* list, int i) { return sk_X509_CRL_value(list, i); });
    int const count = std::max(0, sk_PKCS7_SIGNER_INFO_num(data->signer_info));
    out.add("signers", static_cast<size_t>(count));
    for (int i = 0; i < count; i++) {
        PKCS7_SIGNER_INFO* const signer = sk_PKCS7_SIGNER_INFO_value(data->signer_info, i);
        addSigner(out, std::to_string(i + 1), signer);
        notices += noticesOf(signer);
    }
    out.add("output", notices);
}

/// Of what libcrypto makes, what the library does not read.
struct Unread {
    char const* why;
    char const* errors;
    Bytes (*make)(test::Random& random, Bytes const& content);
};

constexpr Unread unread[] = {
    {"digest algorithms without NULL", "",
     [](test::Random& random, Bytes const& content) {
         return encoded<i2d_CMS_ContentInfo>(
             signCms(Party(random, 1), content, 0, digestNamed(hashes[random.between(1, 4)])).get());
     }},
    {"a signer by key identifier", "bad version|",
     [](test::Random& random, Bytes const& content) {
         return encoded<i2d_CMS_ContentInfo>(
             signCms(Party(random, 1), content, CMS_USE_KEYID, EVP_md5()).get());
     }},
    {"no attributes", "",
     [](test::Random& random, Bytes const& content) {
         return encoded<i2d_PKCS7>(
             sign(random, Party(random, 1), content, {PKCS7_BINARY | PKCS7_NOATTR}).get());
     }},
    {"BER", "",
     [](test::Random& random, Bytes const& content) {
         Party const party(random, 1);
         Identity const& signer = party.signers.front();
         OwnedBio const in = reading(content), out = writing();
         constexpr int flags = PKCS7_STREAM | PKCS7_BINARY;
         OwnedPkcs7 const message(
             made(PKCS7_sign(signer.get(), signer.key(), nullptr, in.get(), flags), "signing"));
         require(i2d_PKCS7_bio_stream(out.get(), message.get(), in.get(), flags), "streaming");
         return written(out.get());
     }},
    {"an elliptic key", "",
     [](test::Random& random, Bytes const& content) {
         Party party(random, 0);
         party.signers.push_back(party.issue(random, "p256"));
         return encoded<i2d_PKCS7>(sign(random, party, content, {PKCS7_BINARY, "SHA256"}).get());
     }},
    {"an elliptic key beside an RSA one", "",
     [](test::Random& random, Bytes const& content) {
         Party party(random, 1);
         party.signers.push_back(party.issue(random, "p256"));
         return encoded<i2d_PKCS7>(sign(random, party, content, {PKCS7_BINARY, "SHA256"}).get());
     }},
    {"RSASSA-PSS", "",
     [](test::Random& random, Bytes const& content) {
         return encoded<i2d_CMS_ContentInfo>(
             signCms(Party(random, 1), content, CMS_KEY_PARAM, EVP_sha256()).get());
     }},
    {"an unknown hash", "",
     [](test::Random& random, Bytes const& content) {
         return encoded<i2d_PKCS7>(
             sign(random, Party(random, 1), content, {PKCS7_BINARY, random.oneIn(2) ? "SHA224" : "SHA3-256"})
                 .get());
     }},
    {"another type of message", "not a signed data|",
     [](test::Random& random, Bytes const& content) {
         OwnedBio const in = reading(content);
         Party const party(random, 1);
         OwnedPkcs7 const message(made(PKCS7_encrypt(interop::stackOf({party.signers[0].get()}).get(),
                                                     in.get(), EVP_aes_128_cbc(), PKCS7_BINARY),
                                       "encrypting"));
         return encoded<i2d_PKCS7>(message.get());
     }},
};

void makeUnread(test::Random& random, Cases& out, Unread const& form) {
    Bytes const message = form.make(random, random.bytes(random.below(100)));
    out.add("message", message).add("parsed", "no").add("why", form.why).add("errors", form.errors);
    // The notices of a message that is read up to where it is refused.
    std::string notices;
    if (std::string(form.why).starts_with("an elliptic")) {
        auto const parsed = decoded<d2i_PKCS7, PKCS7_free>(message);
        STACK_OF(PKCS7_SIGNER_INFO)* const signers = PKCS7_get_signer_info(parsed.get());
        for (int i = 0; i < sk_PKCS7_SIGNER_INFO_num(signers); i++) {
            PKCS7_SIGNER_INFO const* const signer = sk_PKCS7_SIGNER_INFO_value(signers, i);
            notices += noticesOf(signer);
            if (OBJ_obj2nid(signer->digest_enc_alg->algorithm) != NID_rsaEncryption)
                break;
        }
    }
    out.add("output", notices);
}

/// What goes wrong with a message that is well formed.
enum class Harm { none, content, signature, certificates, root, time, signers };
constexpr char const* refusedFor[] = {nullptr,
                                      "it signed another content",
                                      "its signature does not verify",
                                      "its certificate is not available",
                                      "its certificate is not trusted: ",
                                      "its certificate is not trusted: cert not valid",
                                      "the message has no signers"};

/// What libcrypto says to a message, which must be what the library is to say.
void addVerdict(Cases& out, Bytes const& message, Identity const& root, Harm harm, Bytes const* detached) {
    constexpr std::int64_t tooLate = 2840140800; // 2060-01-01
    std::int64_t const now = harm == Harm::time ? tooLate : interop::whenValid;
    out.add("root", root.der()).add("now", static_cast<size_t>(now));
    if (harm != Harm::none)
        out.add("refused", refusedFor[static_cast<size_t>(harm)]);
    OwnedStore const store = interop::storeOf(root, now);
    OwnedBio const content = detached != nullptr ? reading(*detached) : nullptr;
    auto const cms = decoded<d2i_CMS_ContentInfo, CMS_ContentInfo_free>(message);
    bool const isVerified =
        CMS_verify(cms.get(), nullptr, store.get(), content.get(), nullptr, CMS_BINARY) == 1;
    if (isVerified != (harm == Harm::none))
        fail("libcrypto says otherwise");
    ERR_clear_error();
}

void makeSignedCms(test::Random& random, Cases& out) {
    Party const party(random, random.between(1, 2));
    size_t const size = contentSize(random, out.number());
    Bytes const content = interop::contentOf(out.id(), size);
    bool const isDetached = random.oneIn(2);
    // The only hash whose NULL is written there.
    OwnedCms const message = signCms(party, content, isDetached ? CMS_DETACHED : 0, EVP_md5(),
                                     random.oneIn(2) ? "1.2.840.113549.1.9.16.1.1" : nullptr);
    Bytes const encoding = encoded<i2d_CMS_ContentInfo>(message.get());
    out.add("message", encoding).add("content-size", size).add("detached", isDetached ? "yes" : "no");
    addFields(out, encoding);
    addVerdict(out, encoding, party.root, Harm::none, isDetached ? &content : nullptr);
}

void makeSignedPkcs7(test::Random& random, Cases& out, Harm harm) {
    Party const party(random, harm == Harm::signers ? 0 : random.oneIn(3) ? 2 : 1);
    size_t const size = contentSize(random, out.number());
    Bytes content = interop::contentOf(out.id(), size);
    bool const isDetached = random.oneIn(2);
    Making how;
    how.flags |= isDetached ? PKCS7_DETACHED : 0;
    how.flags |= random.oneIn(2) ? PKCS7_NOSMIMECAP : 0;
    how.flags |= harm == Harm::certificates ? PKCS7_NOCERTS : 0;
    how.crls = random.oneIn(3) ? random.between(1, 2) : 0;
    OwnedPkcs7 const message = sign(random, party, content, how);
    PKCS7_SIGNER_INFO* const first = sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(message.get()), 0);
    if (harm == Harm::content) {
        content.push_back(0);
        out.add("changed-content", "");
        if (!isDetached)
            require(ASN1_STRING_set(message->d.sign->contents->d.data, content.data(),
                                    static_cast<int>(content.size())),
                    "content");
    }
    if (harm == Harm::signature)
        first->enc_digest->data[first->enc_digest->length - 1] ^= 1;
    if (harm == Harm::none && random.oneIn(3)) {
        Identity const notary = party.issue(random, "rsa2048");
        std::string const hash = random.oneOf(hashes);
        counterSign(first, notary, hash);
        require(PKCS7_add_certificate(message.get(), notary.get()), "certificate");
        out.add("counter-hash", hash);
    }
    Bytes const encoding = encoded<i2d_PKCS7>(message.get());
    out.add("message", encoding).add("content-size", size).add("detached", isDetached ? "yes" : "no");
    addFields(out, encoding);
    Identity const& other = interop::selfSigned(random, "rsa2048");
    addVerdict(out, encoding, harm == Harm::root ? other : party.root, harm, isDetached ? &content : nullptr);
}

/// Throws unless libcrypto verifies each signature under its certificate's key by itself, however the message
/// names the certificate.
void verifySignatures(PKCS7SignedData const& message, std::vector<Identity> const& signers) {
    for (size_t i = 0; i < signers.size(); i++) {
        PKCS7SignerInfo const& signer = *message.signerInfos[i];
        Bytes const digest = signer.messageDigest(signer.digestAlgorithm);
        Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> const context(EVP_PKEY_CTX_new(signers[i].key(), nullptr));
        require(EVP_PKEY_verify_init(context.get()), "verifying");
        require(
            EVP_PKEY_CTX_set_signature_md(context.get(), digestNamed(getHashName(signer.digestAlgorithm))),
            "verifying");
        require(EVP_PKEY_verify(context.get(), signer.encryptedDigest.data(), signer.encryptedDigest.size(),
                                digest.data(), digest.size()),
                "libcrypto does not verify what the library signed");
    }
}

/// Throws unless libcrypto verifies the message, through both of its readers, and no other content.
void verifyWhole(Bytes const& encoding, X509_STORE* store, Bytes const& content, bool isDetached) {
    Bytes other = content;
    other.push_back(0);
    for (Bytes const* given : {&content, static_cast<Bytes const*>(&other)}) {
        if (!isDetached && given == &other)
            break;
        OwnedBio const first = isDetached ? reading(*given) : nullptr,
                       second = isDetached ? reading(*given) : nullptr;
        OwnedBio const out = writing();
        auto const pkcs7 = decoded<d2i_PKCS7, PKCS7_free>(encoding);
        auto const cms = decoded<d2i_CMS_ContentInfo, CMS_ContentInfo_free>(encoding);
        int const expected = given == &content ? 1 : 0;
        if (PKCS7_verify(pkcs7.get(), nullptr, store, first.get(), out.get(), PKCS7_BINARY) != expected)
            fail("PKCS7_verify says otherwise");
        if (CMS_verify(cms.get(), nullptr, store, second.get(), nullptr, CMS_BINARY) != expected)
            fail("CMS_verify says otherwise");
        if (expected == 1 && written(out.get()) != content)
            fail("libcrypto reads another content");
        ERR_clear_error();
    }
}

} // namespace

void interop::makeSigned(test::Random& random, Cases& out) {
    unsigned const number = out.number();
    if (number % 4 == 3)
        makeUnread(random, out, unread[number / 4 % std::size(unread)]);
    else if (number % 8 == 2)
        makeSignedCms(random, out);
    else if (number % 8 == 5)
        makeSignedPkcs7(random, out, static_cast<Harm>(1 + number / 8 % (std::size(refusedFor) - 1)));
    else
        makeSignedPkcs7(random, out, Harm::none);
}

void interop::makeSigning(test::Random& random, Cases& out) {
    // The issuer's name is written anew, so that a certificate with an unusual one is not found by others.
    Names const names = random.oneIn(4) ? Names::any : Names::plain;
    Party const party(random, random.oneIn(4) ? 2 : 1, names);
    size_t const size = contentSize(random, out.number());
    SignedRecipe recipe;
    recipe.content = contentOf(out.id(), size);
    recipe.isDetached = random.oneIn(2);
    for (size_t i = 0; i < party.signers.size(); i++) {
        Identity const& signer = party.signers[i];
        std::string const number = std::to_string(i + 1), hash = random.oneOf(hashes);
        out.add("certificate" + number, signer.der())
            .add("key" + number, signer.keyName)
            .add("hash" + number, hash);
        recipe.signers.push_back({certificateOf(signer.der()), signer.keyName, hashNamed(hash)});
    }
    if (party.authority)
        out.add("authority", party.authority->der());
    if (random.oneIn(4)) {
        std::string const hash = random.oneOf(hashes);
        out.add("counter-hash", hash);
        recipe.counterHash = hashNamed(hash);
    }
    if (party.authority)
        recipe.more.push_back(certificateOf(party.authority->der()));
    out.add("content-size", size).add("detached", recipe.isDetached ? "yes" : "no");
    out.add("root", party.root.der()).add("now", static_cast<size_t>(whenValid));
    Bytes const encoding = recipe.makeDer();
    out.add("digest", libcrypto::digest("SHA256", encoding));

    PKCS7SignedData const message = recipe.make();
    verifySignatures(message, party.signers);
    if (names == Names::plain)
        verifyWhole(encoding, storeOf(party.root).get(), recipe.content, recipe.isDetached);
}
