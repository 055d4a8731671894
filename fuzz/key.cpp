#include "sealkit/hash.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "encrypted_key.h"
#include "targets.h"

namespace {

/// A signature under a larger modulus takes too long for a fuzzer.
constexpr unsigned maxModulusBits = 1024;
/// The count of keys that this library writes. An input may state a much higher one.
constexpr unsigned maxIterations = 2048;

bool isCheap(asn1::blob der) {
    fuzz::EncryptedKey key;
    return !key.parse(der) || key.params.iterations <= maxIterations;
}

/// Whether reading a key from `text` is fast enough for an input.
bool isCheap(std::string_view text) {
    std::string_view label, body;
    std::vector<unsigned char> der;
    while (parsePem(text, &label, &body))
        if (pemDecode(body, &der) && !isCheap(asn1::blob(der)))
            return false;
    return isCheap(asn1::blob(text));
}

/// Signatures of the key verify under its public key. An inconsistent RSA key makes no signature.
void signAndVerify(PrivateKey const& key) {
    std::vector<unsigned char> const digest = calcDigest(HashID::SHA1, asn1::blob("message"));
    if (auto const* rsa = dynamic_cast<RsaPrivateKey const*>(&key); rsa && rsa->n.bits() <= maxModulusBits) {
        std::vector<unsigned char> const sig = rsa->signHashed(HashID::SHA1, digest);
        // A modulus with room only for the digest gives signatures that do not verify.
        SEALKIT_ASSERT(sig.empty() || rsa->n.bits() < 512 || rsa->verifyHashed(HashID::SHA1, digest, sig));
    } else if (auto const* ec = dynamic_cast<EcPrivateKey const*>(&key)) {
        SEALKIT_ASSERT(ec->verifyHashed(HashID::SHA1, digest, ec->signHashed(HashID::SHA1, digest)));
    } else if (auto const* ed = dynamic_cast<Ed25519PrivateKey const*>(&key)) {
        SEALKIT_ASSERT(ed->verify(digest, ed->sign(digest)));
    }
}

/// A key that is written is read again with its secrets, and so is its public key.
void check(PrivateKey const* key) {
    if (key == nullptr)
        return;
    std::vector<unsigned char> const der = encodePkcs8PrivateKey(*key);
    std::unique_ptr<PrivateKey> const again = parseOneAssimetricKey(der);
    SEALKIT_ASSERT(again && again->equals(*key) && encodePkcs8PrivateKey(*again) == der);
    std::unique_ptr<PublicKey> const pub = parsePkcs8PublicKey(encodePkcs8PublicKey(*key));
    SEALKIT_ASSERT(pub && pub->equals(*key) && pub->equals(*key->publicKey()));
    signAndVerify(*key);
}

template <typename K>
void checkOwnDer(asn1::blob algoParams, asn1::blob input) {
    K key;
    if (key.parseFromDerEncoded(algoParams, input))
        check(&key);
}

} // namespace

/// Private keys as text, in their containers and in their own DER.
void fuzz::key(asn1::blob input) {
    std::string_view const text(reinterpret_cast<char const*>(input.data()), input.size());
    if (isCheap(text))
        check(readPrivateKey(text, "sealkit").get());
    check(parseOneAssimetricKey(input).get());
    checkOwnDer<RsaPrivateKey>({}, input);
    checkOwnDer<EcPrivateKey>({}, input);
    checkOwnDer<Ed25519PrivateKey>({}, input);
    checkOwnDer<X25519PrivateKey>({}, input);
}
