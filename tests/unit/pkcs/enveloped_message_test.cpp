/// Encrypted messages with recipients of every kind.
#include "sealkit/enveloped.h"

#include "sealkit/message.h"
#include "sealkit/oid_names.h"
#include "sealkit/pkcs8.h"

#include "messages.h"
#include "support/rngs.h"
#include "support/vectors.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

Bytes const text = bytes("enveloped content");
constexpr char envelopedType[] = "1.2.840.113549.1.7.3";
constexpr char authEnvelopedType[] = "1.2.840.113549.1.9.16.1.23";

/// A key with a certificate that names it.
struct Holder {
    std::unique_ptr<PrivateKey> key;
    X509Certificate certificate;

    explicit Holder(std::unique_ptr<PrivateKey> owned, unsigned char number = 1) : key(std::move(owned)) {
        certificate.setPublicKey(*key->publicKey());
        certificate.issuer.commonName = "ca";
        certificate.serialNumber = {number};
        certificate.subjectKeyId = {0x51, number};
    }
};

Holder rsaHolder() { return Holder(parseOneAssimetricKey(readMessage("recipient-key.der"))); }

Holder ecHolder(Curve curve, unsigned seed = 7) {
    auto key = std::make_unique<EcPrivateKey>();
    key->curve = curve;
    SeededRng rng(seed);
    EXPECT_TRUE(key->generatePrivKey(rng));
    return Holder(std::move(key), 2);
}

Holder x25519Holder() {
    auto key = std::make_unique<X25519PrivateKey>();
    SeededRng rng(9);
    EXPECT_TRUE(key->generatePrivKey(rng));
    return Holder(std::move(key), 3);
}

EnvelopedOptions quick(CipherID cipher = CipherID::AesGcm, unsigned keySize = 0) {
    EnvelopedOptions options;
    options.cipher = cipher;
    options.keySize = keySize;
    options.iterations = 10;
    return options;
}

Bytes encrypted(std::vector<Holder const*> const& holders, std::vector<std::string_view> const& passwords,
                EnvelopedOptions const& options = quick(), Bytes const& content = text,
                asn1::blob type = getDataOid()) {
    std::vector<X509Certificate const*> certificates;
    for (Holder const* const holder : holders)
        certificates.push_back(&holder->certificate);
    SeededRng rng(1);
    Refusal refusal;
    Bytes message = encryptMessage(certificates, passwords, type, content, options, rng, &refusal);
    EXPECT_FALSE(message.empty()) << refusal.str();
    return message;
}

EnvelopedMessage parsed(Bytes const& encoding) {
    EnvelopedMessage message;
    Refusal refusal;
    CapturedOutput const output;
    EXPECT_TRUE(message.parse(encoding, &refusal)) << refusal.str();
    EXPECT_EQ(output.text(), "");
    return message;
}

Refusal parseRefusal(Bytes const& encoding) {
    EnvelopedMessage message;
    Refusal refusal;
    EXPECT_FALSE(message.parse(encoding, &refusal));
    return refusal;
}

/// What decryption gives; the refusal's name where it fails, with nothing given out.
template <typename... Secret>
std::string opened(EnvelopedMessage const& message, Secret const&... secret) {
    Bytes out = {1, 2, 3};
    Refusal refusal;
    if (message.decrypt(secret..., out, &refusal))
        return {out.begin(), out.end()};
    EXPECT_TRUE(out.empty());
    return refusal.name();
}

X509Certificate const* const unnamed = nullptr;

std::string openedBy(EnvelopedMessage const& message, Holder const& holder) {
    std::string const named = opened(message, &holder.certificate, *holder.key);
    EXPECT_EQ(opened(message, unnamed, *holder.key), named);
    return named;
}

std::string const content(text.begin(), text.end());

TEST(EnvelopedMessage, EachKindOfKeyOpensWithEachCipher) {
    std::vector<Holder> holders;
    holders.push_back(rsaHolder());
    for (Curve const curve : {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521})
        holders.push_back(ecHolder(curve));
    holders.push_back(x25519Holder());
    struct {
        CipherID id;
        std::vector<unsigned> keySizes;
    } const ciphers[] = {{CipherID::AesGcm, {16, 24, 32, 0}},
                         {CipherID::AesCbc, {16, 24, 32, 0}},
                         {CipherID::TripleDesCbc, {24}}};
    for (auto const& cipher : ciphers)
        for (unsigned const keySize : cipher.keySizes)
            for (bool const byKeyId : {false, true}) {
                EnvelopedOptions options = quick(cipher.id, keySize);
                options.byKeyId = byKeyId;
                for (Holder const& holder : holders) {
                    EnvelopedMessage const message = parsed(encrypted({&holder}, {}, options));
                    EXPECT_EQ(message.isAuthenticated, cipher.id == CipherID::AesGcm);
                    EXPECT_EQ(openedBy(message, holder), content);
                }
            }
}

TEST(EnvelopedMessage, SeveralRecipientsOfDifferentKinds) {
    Holder const rsa = rsaHolder(), ec = ecHolder(Curve::p256), x = x25519Holder();
    for (CipherID const cipher : {CipherID::AesGcm, CipherID::AesCbc}) {
        Bytes const encoding = encrypted({&rsa, &ec, &x}, {"one", "two"}, quick(cipher));
        EnvelopedMessage const message = parsed(encoding);
        EXPECT_EQ(message.recipients.size(), 5u);
        EXPECT_EQ(message.version, message.isAuthenticated ? 0u : 3u);
        for (Holder const* const holder : {&rsa, &ec, &x})
            EXPECT_EQ(openedBy(message, *holder), content);
        for (std::string_view const password : {"one", "two"})
            EXPECT_EQ(opened(message, password), content);
        EXPECT_EQ(opened(message, std::string_view("three")), "wrong-password");
        EXPECT_EQ(opened(message, unnamed, *ecHolder(Curve::p384).key), "not-a-recipient");
    }
    EXPECT_EQ(parsed(encrypted({&ec}, {}, quick(CipherID::AesCbc))).version, 2u);
    EXPECT_EQ(parsed(encrypted({&rsa}, {}, quick(CipherID::AesCbc))).version, 0u);
}

TEST(EnvelopedMessage, OaepWithEachHash) {
    Holder const rsa = rsaHolder();
    for (HashID const hash : {HashID::SHA1, HashID::SHA256})
        for (HashID const mask : {HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
            EnvelopedOptions options = quick();
            options.oaep = OaepParameters{hash, mask};
            EnvelopedMessage const message = parsed(encrypted({&rsa}, {}, options));
            EXPECT_EQ(oidName(message.recipients[0].keyEncryptionAlgorithm.oid), "RSAES-OAEP");
            EXPECT_EQ(openedBy(message, rsa), content);
        }
    EnvelopedOptions tooLong = quick();
    tooLong.oaep = OaepParameters{HashID::SHA512, HashID::SHA512};
    SeededRng rng(1);
    X509Certificate const* const certificates[] = {&rsa.certificate};
    Refusal refusal;
    EXPECT_TRUE(encryptMessage(certificates, {}, getDataOid(), text, tooLong, rng, &refusal).empty());
    EXPECT_EQ(refusal.id, RefusalId::unsupportedRecipient);
}

TEST(EnvelopedMessage, MessagesOfOpenSslOpen) {
    for (std::string const name : {"cms-oaep", "smime-aes128", "cms-keyid-des3", "cms-two-recipients"})
        EXPECT_EQ(opened(parsed(readMessage(name + ".der")), unnamed, *rsaHolder().key), content) << name;
    EnvelopedMessage const password = parsed(readMessage("cms-password.der"));
    EXPECT_EQ(opened(password, std::string_view("secret")), content);
    EXPECT_EQ(opened(password, std::string_view("Secret")), "wrong-password");
    EXPECT_EQ(openedBy(password, rsaHolder()), "not-a-recipient");
    EXPECT_EQ(opened(parsed(readMessage("cms-oaep.der")), std::string_view("secret")), "no-password");

    EnvelopedMessage const shared = parsed(readMessage("cms-kek.der"));
    EXPECT_EQ(shared.recipients[0].subjectKeyId, Bytes{1});
    Bytes out;
    Refusal refusal;
    Bytes const key = hex("000102030405060708090a0b0c0d0e0f");
    EXPECT_TRUE(shared.decryptShared(key, out, &refusal));
    EXPECT_EQ(out, text);
    EXPECT_FALSE(shared.decryptShared(Bytes(16), out, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::undecryptable);
    EXPECT_FALSE(shared.decryptShared(Bytes(32), out, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::keyLength);
    EXPECT_FALSE(password.decryptShared(key, out, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::notARecipient);

    EnvelopedMessage const agreed = parsed(readMessage("cms-key-agreement.der"));
    EXPECT_EQ(agreed.recipients[0].kind, RecipientKind::keyAgreement);
    Holder const stranger = ecHolder(Curve::p256);
    EXPECT_EQ(opened(agreed, &stranger.certificate, *stranger.key), "not-a-recipient");
    EXPECT_EQ(opened(agreed, unnamed, *ecHolder(Curve::p256).key), "undecryptable");
}

/// The elements of a message under a password, part by part.
struct PasswordParts {
    Bytes salt = octetString(hex("1234567878563412"));
    Bytes iterations = integer(Bytes{0x01, 0xF4});
    Bytes keyLength, prf;
    Bytes derivation() const {
        return context(0, oid("1.2.840.113549.1.5.12"), sequence(salt, iterations, keyLength, prf));
    }
    Bytes wrapCipher = algorithm("1.2.840.113549.3.7", octetString(hex("BAF1CA7931213C4E")));
    Bytes key = hex("C03C514ABDB9E2C5AAC038572B5E24553876B377AAFB82ECA5A9D73F8AB143D9EC74E6CAD7DB260C");

    Bytes der() const {
        return context(3, integer(0), derivation(), algorithm("1.2.840.113549.1.9.16.3.9", wrapCipher),
                       octetString(key));
    }
};

/// The content key of RFC 3211, section 3.2, its password, and a content under it.
constexpr char standardPassword[] =
    "All n-entities must communicate with other n-entities via n-1 entiteeheehees";
Bytes const standardKey = hex("8C637D887223A2F965B566EB014B0FA5D52300A3F7EA40FFFC577203C71BAF3B");

Bytes standardContent() {
    Bytes padded = text, iv(16, 5), out(32);
    padded.resize(32, static_cast<unsigned char>(32 - text.size()));
    auto const cipher = createCipher(CipherID::AesCbc, standardKey, 0);
    cipher->setIV(iv.data(), 16);
    cipher->encrypt(padded.data(), 32, nullptr, 0, out.data());
    return sequence(oid(dataOid), algorithm("2.16.840.1.101.3.4.1.42", octetString(iv)), implicit(0, out));
}

Bytes envelope(Bytes const& recipients, Bytes const& encryptedContent, unsigned char version = 3) {
    return sequence(oid(envelopedType),
                    context(0, sequence(integer(version), element(0x31, recipients), encryptedContent)));
}

TEST(EnvelopedMessage, TheKeyOfTheStandardsExampleOpens) {
    EnvelopedMessage const message = parsed(envelope(PasswordParts().der(), standardContent()));
    EXPECT_EQ(opened(message, std::string_view(standardPassword)), content);
    PasswordParts named; // The same function by its name, and the length of the key.
    named.keyLength = integer(24);
    named.prf = algorithm("1.2.840.113549.2.7", null());
    EXPECT_EQ(opened(parsed(envelope(named.der(), standardContent())), std::string_view(standardPassword)),
              content);
    // Every change is noticed by the check of the key, or makes another key of it.
    for (size_t i = 0; i < PasswordParts().key.size(); i++) {
        PasswordParts changed;
        changed.key[i] ^= 4;
        EXPECT_NE(
            opened(parsed(envelope(changed.der(), standardContent())), std::string_view(standardPassword)),
            content);
    }
}

TEST(EnvelopedMessage, WhatAPasswordAsksForIsBounded) {
    auto const result = [](std::vector<PasswordParts> const& all) {
        Bytes recipients;
        for (PasswordParts const& parts : all)
            recipients = join({recipients, parts.der()});
        return opened(parsed(envelope(recipients, standardContent())), std::string_view(standardPassword));
    };
    PasswordParts many, most, zero, unknownPrf, unknownCipher, shortIv;
    many.iterations = integer(Bytes{0x00, 0x98, 0x96, 0x81}); // 10,000,001
    most.iterations = integer(Bytes{0x00, 0x98, 0x96, 0x80});
    zero.iterations = integer(0);
    unknownPrf.prf = algorithm("1.2.840.113549.2.12", null());
    unknownCipher.wrapCipher = algorithm("1.2.840.113549.3.2", octetString(Bytes(8)));
    shortIv.wrapCipher = algorithm("1.2.840.113549.3.7", octetString(Bytes(7)));
    EXPECT_EQ(result({many}), "iteration-count");
    EXPECT_EQ(result({zero}), "iteration-count");
    EXPECT_EQ(result({unknownPrf}), "unsupported-prf");
    EXPECT_EQ(result({unknownCipher}), "unsupported-cipher");
    EXPECT_EQ(result({shortIv}), "malformed-encryption-parameters");
    EXPECT_EQ(result({most, PasswordParts()}), "total-iterations");
    // What cannot be read does not keep the others from being.
    EXPECT_EQ(result({unknownPrf, many, PasswordParts()}), content);
    PasswordParts shortKey, longKey, ragged;
    shortKey.key = Bytes(8);
    longKey.key = Bytes(520);
    ragged.key = Bytes(17);
    EXPECT_EQ(result({shortKey, longKey, ragged}), "wrong-password");
}

TEST(EnvelopedMessage, UnknownAndMalformedRecipientsAreCounted) {
    Bytes const unknown = context(4, oid("1.2.3"), sequence()), malformed = context(1, integer(3)),
                odd = element(0xA9, {}), wrongVersion = context(3, integer(1));
    EnvelopedMessage const message = parsed(envelope(
        join({unknown, malformed, PasswordParts().der(), odd, wrongVersion, sequence()}), standardContent()));
    EXPECT_EQ(message.recipients.size(), 1u);
    EXPECT_EQ(message.otherRecipients, 5u);
    EXPECT_EQ(opened(message, std::string_view(standardPassword)), content);
    EXPECT_EQ(opened(parsed(envelope(unknown, standardContent())), std::string_view("x")), "no-password");
}

TEST(EnvelopedMessage, TooManyRecipientsAreRefused) {
    Bytes const shared =
        context(2, integer(4), sequence(octetString({})), algorithm("1.2.3", {}), octetString({}));
    Bytes const most = envelope(repeat(shared, maxRecipients), standardContent());
    EXPECT_EQ(parsed(most).recipients.size(), maxRecipients);
    EXPECT_EQ(parseRefusal(envelope(repeat(shared, maxRecipients + 1), standardContent())).id,
              RefusalId::inputTooLarge);
    // Those that are only counted take no memory.
    EXPECT_EQ(
        parsed(envelope(repeat(element(0xA9, {}), 2 * maxRecipients), standardContent())).otherRecipients,
        2 * maxRecipients);
    Bytes const name = sequence(sequence(), integer(1));
    Bytes const keys = sequence(repeat(sequence(name, octetString({})), maxRecipients + 1));
    Bytes const agreement =
        context(1, integer(3), context(0, context(1, algorithm("1.2.3", {}), bitString({4}))),
                algorithm("1.2.3", {}), keys);
    EXPECT_EQ(parseRefusal(envelope(agreement, standardContent())).id, RefusalId::inputTooLarge);
}

TEST(EnvelopedMessage, VersionsAndFieldsOfTheStandard) {
    for (unsigned char const version : {0, 2, 3, 4})
        EXPECT_EQ(parsed(envelope(PasswordParts().der(), standardContent(), version)).version, version);
    for (unsigned char const version : {1, 5, 200})
        EXPECT_EQ(parseRefusal(envelope(PasswordParts().der(), standardContent(), version)).id,
                  RefusalId::messageVersion);
    Bytes const originator = context(0, sequence()), attributes = context(1, sequence());
    EnvelopedMessage const message = parsed(sequence(
        oid(envelopedType), context(0, sequence(integer(0), originator, element(0x31, PasswordParts().der()),
                                                standardContent(), attributes))));
    EXPECT_EQ(message.originatorInfo, originator);
    EXPECT_EQ(message.unprotectedAttrs, attributes);
    EXPECT_EQ(parseRefusal(sequence(oid(signedDataOid), context(0, sequence()))).id,
              RefusalId::unsupportedContentType);
    EXPECT_EQ(parseRefusal(sequence(oid("1.2.3"), context(0, sequence()))).id,
              RefusalId::unsupportedContentType);
}

/// An AuthEnvelopedData to a shared key of zeros, part by part.
struct AuthParts {
    Bytes version = integer(0), attributes, unauthenticated;
    Bytes type = oid(dataOid);
    Bytes cipher = oid("2.16.840.1.101.3.4.1.6");
    Bytes nonce = Bytes(12, 4);
    Bytes tagSize = integer(16);
    Bytes cipherText, tag;

    /// Encrypts the text under a key of 16 threes, and cuts the tag.
    AuthParts& seal(size_t size = 16) {
        Bytes authenticated = attributes, sealed(text.size() + 16);
        if (!authenticated.empty())
            authenticated[0] = 0x31;
        auto const gcm = createCipher(CipherID::AesGcm, Bytes(16, 3), 0);
        gcm->setIV(nonce.data(), 12);
        gcm->encrypt(text.data(), static_cast<unsigned>(text.size()), authenticated.data(),
                     static_cast<unsigned>(authenticated.size()), sealed.data());
        cipherText.assign(sealed.begin(), sealed.end() - 16);
        tag.assign(sealed.end() - 16, sealed.end());
        tag.resize(size);
        tagSize = integer(static_cast<unsigned char>(size));
        return *this;
    }

    Bytes der() const {
        Bytes const recipient =
            context(2, integer(4), sequence(octetString({1})), algorithm("2.16.840.1.101.3.4.1.5", {}),
                    octetString(hex("4223e4b9f9f9595480fe231e11229509d44a298e69821816")));
        Bytes const info =
            sequence(type, sequence(cipher, sequence(octetString(nonce), tagSize)), implicit(0, cipherText));
        return sequence(oid(authEnvelopedType),
                        context(0, sequence(version, element(0x31, recipient), info, attributes,
                                            octetString(tag), unauthenticated)));
    }
};

/// What decryption gives; the refusal's name where parsing or decryption fails.
std::string openedShared(AuthParts const& parts) {
    EnvelopedMessage message;
    Refusal refusal;
    Bytes out = {1};
    if (message.parse(parts.der(), &refusal) && message.decryptShared(Bytes(16), out, &refusal))
        return {out.begin(), out.end()};
    EXPECT_TRUE(out.empty() || out == Bytes{1});
    return refusal.name();
}

TEST(AuthEnvelopedMessage, TagsOfTwelveToSixteenBytes) {
    for (size_t size = 12; size <= 16; size++)
        EXPECT_EQ(openedShared(AuthParts().seal(size)), content) << size;
    AuthParts byDefault;
    byDefault.seal(12);
    byDefault.tagSize.clear();
    EXPECT_EQ(openedShared(byDefault), content);
    byDefault.seal(16).tagSize.clear();
    EXPECT_EQ(openedShared(byDefault), "malformed-encryption-parameters");
    for (size_t const size : {0, 1, 11})
        EXPECT_EQ(openedShared(AuthParts().seal(size)), "malformed-encryption-parameters");
    AuthParts longer;
    longer.seal().tag.push_back(0);
    EXPECT_EQ(openedShared(longer), "malformed-encryption-parameters");
    longer.tagSize = integer(17);
    EXPECT_EQ(openedShared(longer), "malformed-encryption-parameters");
}

TEST(AuthEnvelopedMessage, NothingThatWasChangedOpens) {
    AuthParts changed;
    changed.seal().cipherText[0] ^= 1;
    EXPECT_EQ(openedShared(changed), "undecryptable");
    changed.seal().tag[15] ^= 1;
    EXPECT_EQ(openedShared(changed), "undecryptable");
    changed.seal().nonce[0] ^= 1;
    EXPECT_EQ(openedShared(changed), "undecryptable");
    AuthParts shorter;
    shorter.seal().cipherText.pop_back();
    EXPECT_EQ(openedShared(shorter), "undecryptable");
    shorter.cipherText.clear();
    EXPECT_EQ(openedShared(shorter), "undecryptable");
    AuthParts removed;
    removed.attributes = context(1, contentTypeAttribute());
    removed.seal().attributes.clear();
    EXPECT_EQ(openedShared(removed), "undecryptable");
}

TEST(AuthEnvelopedMessage, AttributesAreAuthenticatedAndAgree) {
    AuthParts parts;
    parts.attributes = context(1, contentTypeAttribute(), attribute("1.2.3", integer(7)));
    parts.unauthenticated = context(2, attribute("1.2.3", integer(8)));
    EXPECT_EQ(openedShared(parts.seal()), content);
    AuthParts other;
    other.attributes = context(1, attribute("1.2.840.113549.1.9.3", oid(signedDataOid)));
    EXPECT_EQ(openedShared(other.seal()), "unsupported-content-type");
    other.attributes = context(1, integer(1));
    EXPECT_EQ(openedShared(other.seal()), "unexpected-element");
}

TEST(AuthEnvelopedMessage, OtherParametersAreRefused) {
    AuthParts cbc, longNonce, version;
    cbc.seal().cipher = oid("2.16.840.1.101.3.4.1.2");
    EXPECT_EQ(openedShared(cbc), "unsupported-cipher");
    longNonce.seal().nonce.push_back(0);
    EXPECT_EQ(openedShared(longNonce), "malformed-encryption-parameters");
    version.seal().version = integer(2);
    EXPECT_EQ(openedShared(version), "message-version");
    AuthParts otherKey; // The content key has 16 bytes.
    otherKey.seal().cipher = oid("2.16.840.1.101.3.4.1.46");
    EXPECT_EQ(openedShared(otherKey), "undecryptable");
    // GCM without a tag authenticates nothing.
    Bytes const gcm =
        sequence(oid(dataOid), algorithm("2.16.840.1.101.3.4.1.46", sequence(octetString(Bytes(12)))),
                 implicit(0, Bytes(32)));
    EXPECT_EQ(opened(parsed(envelope(PasswordParts().der(), gcm)), std::string_view(standardPassword)),
              "unsupported-cipher");
}

TEST(AuthEnvelopedMessage, WritesTheTypeOfAnotherContent) {
    Bytes const type = oid(signedDataOid);
    asn1::blob const octets(type.data() + 2, type.size() - 2);
    EnvelopedMessage message = parsed(encrypted({}, {"x"}, quick(), text, octets));
    EXPECT_FALSE(message.authAttrs.empty());
    EXPECT_EQ(opened(message, std::string_view("x")), content);
    EXPECT_TRUE(parsed(encrypted({}, {"x"})).authAttrs.empty());
}

TEST(EnvelopedMessage, EmptyAndLongContents) {
    for (CipherID const cipher : {CipherID::AesGcm, CipherID::AesCbc})
        for (size_t const size : {0, 1, 16, 100000}) {
            Bytes const plain(size, 'x');
            EnvelopedMessage const message = parsed(encrypted({}, {"x"}, quick(cipher), plain));
            EXPECT_EQ(opened(message, std::string_view("x")), std::string(size, 'x'));
        }
}

TEST(EnvelopedMessage, ChangesOfAMessageNeverOpenUnderGcm) {
    Holder const rsa = rsaHolder(), ec = ecHolder(Curve::p256), x = x25519Holder();
    Bytes const encoding = encrypted({&rsa, &ec, &x}, {"x"});
    for (size_t i = 0; i < encoding.size(); i += 3) {
        Bytes changed = encoding;
        changed[i] ^= 0x20;
        EnvelopedMessage message;
        if (!message.parse(changed, nullptr))
            continue;
        Bytes out;
        for (Holder const* const holder : {&rsa, &ec, &x})
            EXPECT_TRUE(!message.decrypt(unnamed, *holder->key, out, nullptr) || out == text) << i;
    }
}

TEST(EnvelopedMessage, BerIsReadToo) {
    Holder const rsa = rsaHolder();
    Bytes const der = encrypted({&rsa}, {}, quick(CipherID::AesCbc));
    // The outer element of indefinite length.
    size_t const header = der[1] < 0x80 ? 2 : 2 + (der[1] & 0x7F);
    Bytes ber = {0x30, 0x80};
    ber.insert(ber.end(), der.begin() + static_cast<ptrdiff_t>(header), der.end());
    ber.insert(ber.end(), {0, 0});
    EXPECT_EQ(openedBy(parsed(ber), rsa), content);
    PKCS7EnvelopedData narrow;
    EXPECT_FALSE(narrow.parse(ber, nullptr));
    EXPECT_TRUE(narrow.parse(der, nullptr));
}

/// The only recipient of a message for an EC key, part by part.
struct AgreementParts {
    Bytes originator = context(1, algorithm("1.2.840.10045.2.1", {}), bitString(Bytes(65, 4)));
    Bytes material;
    Bytes scheme = algorithm("1.3.132.1.11.1", algorithm("2.16.840.1.101.3.4.1.45", {}));
    Bytes key = octetString(Bytes(40));

    std::string outcome() const {
        Bytes const name = context(0, octetString({0x51, 2}));
        Bytes const recipient =
            context(1, integer(3), context(0, originator), material, scheme, sequence(sequence(name, key)));
        Holder const ec = ecHolder(Curve::p256);
        return opened(parsed(envelope(recipient, standardContent(), 2)), &ec.certificate, *ec.key);
    }
    static Bytes point(Curve curve = Curve::p256) {
        Bytes const own = ecHolder(curve, 11).key->publicKey()->encodeToDerEncoded();
        return context(1, algorithm("1.2.840.10045.2.1", {}), bitString(own));
    }
};

TEST(KeyAgreement, WhatIsRefusedIsTold) {
    AgreementParts parts;
    EXPECT_EQ(parts.outcome(), "point-not-on-curve");
    parts.originator = AgreementParts::point(Curve::p384);
    EXPECT_EQ(parts.outcome(), "malformed-point");
    parts.originator = context(1, algorithm("1.3.101.110", {}), bitString(Bytes(32, 9)));
    EXPECT_EQ(parts.outcome(), "keys-differ");
    parts.originator = sequence(sequence(), integer(1));
    EXPECT_EQ(parts.outcome(), "unsupported-key-encryption");
    parts.originator = implicit(0, Bytes(20));
    EXPECT_EQ(parts.outcome(), "unsupported-key-encryption");
    parts.originator = AgreementParts::point();
    EXPECT_EQ(parts.outcome(), "undecryptable");
    parts.material = context(1, octetString({1, 2}));
    EXPECT_EQ(parts.outcome(), "undecryptable");
    for (Bytes const& short_ : {Bytes(), Bytes(8), Bytes(16), Bytes(23)}) {
        parts.key = octetString(short_);
        EXPECT_EQ(parts.outcome(), "undecryptable");
    }
    parts.scheme = algorithm("1.3.132.1.11.0", algorithm("2.16.840.1.101.3.4.1.45", {}));
    EXPECT_EQ(parts.outcome(), "unsupported-key-encryption");
    parts.scheme = algorithm("1.3.132.1.11.1", algorithm("1.2.840.113549.1.9.16.3.6", null()));
    EXPECT_EQ(parts.outcome(), "unsupported-key-encryption");
    parts.scheme = algorithm("1.3.132.1.11.1", algorithm("2.16.840.1.101.3.4.1.45", integer(1)));
    EXPECT_EQ(parts.outcome(), "malformed-encryption-parameters");
    parts.scheme = algorithm("1.3.132.1.11.1", {});
    EXPECT_NE(parts.outcome(), content);
}

TEST(EnvelopedMessage, WhatIsNotEncryptedIsTold) {
    Holder const rsa = rsaHolder();
    X509Certificate const* const one[] = {&rsa.certificate};
    auto const refusal = [&](EnvelopedOptions const& options, std::span<X509Certificate const* const> to,
                             std::vector<std::string_view> const& passwords = {}) {
        SeededRng rng(1);
        Refusal why;
        EXPECT_TRUE(encryptMessage(to, passwords, getDataOid(), text, options, rng, &why).empty());
        return std::string(why.name());
    };
    EXPECT_EQ(refusal(quick(), {}), "not-a-recipient");
    EXPECT_EQ(refusal(quick(CipherID::AesCtr), one), "unsupported-cipher");
    EXPECT_EQ(refusal(quick(CipherID::AesGcm, 20), one), "unsupported-cipher");
    EnvelopedOptions options = quick();
    options.iterations = 0;
    EXPECT_EQ(refusal(options, {}, {"x"}), "iteration-count");
    options.iterations = 10'000'001;
    EXPECT_EQ(refusal(options, {}, {"x"}), "iteration-count");
    auto signing = std::make_unique<Ed25519PrivateKey>();
    SeededRng rng(3);
    ASSERT_TRUE(signing->generatePrivKey(rng));
    Holder const ed(std::move(signing));
    X509Certificate const* const signer[] = {&ed.certificate};
    EXPECT_EQ(refusal(quick(), signer), "unsupported-recipient");
    Holder nameless = rsaHolder();
    nameless.certificate.subjectKeyId.clear();
    X509Certificate const* const without[] = {&nameless.certificate};
    EnvelopedOptions byKeyId = quick();
    byKeyId.byKeyId = true;
    EXPECT_EQ(refusal(byKeyId, without), "unsupported-recipient");
}

} // namespace TEST_FILE
