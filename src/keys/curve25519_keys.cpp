#include "sealkit/keys.h"

#include "sealkit/curve25519.h"
#include "sealkit/der.h"

#include "asn1/element.h"
#include "keys/dump.h"
#include "keys/read.h"

#include <string>

namespace {

constexpr unsigned keyLength = 32;

using detail::Reading;
using detail::wipe;

/// The algorithms have no parameters (RFC 8410, section 3), and keys have 32 bytes.
bool checkForm(Reading& reading, asn1::blob algoParams, asn1::blob value) {
    if (!algoParams.empty())
        return reading.refuse(
            RefusalId::malformedKeyParameters, algoParams,
            {{"expected", "none"}, {"found", std::to_string(algoParams.size()) + " bytes"}});
    return value.size() == keyLength || reading.refuse(RefusalId::keyLength, value,
                                                       {{"expected", std::to_string(keyLength) + " bytes"},
                                                        {"found", std::to_string(value.size()) + " bytes"}});
}

template <typename K>
bool readPublic(Reading& reading, K& key, asn1::blob algoParams, asn1::blob keyData) {
    if (!checkForm(reading, algoParams, keyData))
        return false;
    key.pub.assign(keyData.begin(), keyData.end());
    return true;
}

template <typename K>
bool equalPublic(K const& key, PublicKey const& other) {
    K const* const same = dynamic_cast<K const*>(&other);
    return same != nullptr && key.pub == same->pub;
}

/// Swaps the secret bytes into `key`; the old ones are wiped in `privateBytes`.
template <typename K>
bool takePrivate(K& key, std::vector<unsigned char>& privateBytes,
                 std::vector<unsigned char> (*getPublic)(asn1::blob)) {
    bool const fits = privateBytes.size() == keyLength;
    if (fits) {
        key.secret.swap(privateBytes);
        key.pub = getPublic(key.secret);
    }
    wipe(privateBytes);
    return fits;
}

/// CurvePrivateKey ::= OCTET STRING of 32 bytes (RFC 8410, section 7).
template <typename K>
bool readPrivate(Reading& reading, K& key, asn1::blob algoParams, asn1::blob keyData) {
    asn1::blob secret;
    return detail::readOnly(reading, keyData, detail::tag::octetString, &secret, "privateKey") &&
           checkForm(reading, algoParams, secret) && key.initPrivate({secret.begin(), secret.end()});
}

std::vector<unsigned char> encodePrivate(std::vector<unsigned char> const& secret) {
    DerEncoder encoder;
    if (secret.size() == keyLength)
        encoder.addOctetString(secret);
    return encoder.take();
}

/// Assigns a private key. Wipes the old secret first, because assigning a longer one would free its memory
/// unwiped.
template <typename K>
K& assignPrivate(K& key, K const& other) {
    if (&key != &other) {
        wipe(key.secret);
        key.pub = other.pub;
        key.secret = other.secret;
    }
    return key;
}

template <typename K>
bool generate(K& key, Rng const& rng, std::vector<unsigned char> (*getPublic)(asn1::blob)) {
    wipe(key.secret);
    key.secret.resize(keyLength);
    if (!rng.fill(key.secret.data(), keyLength))
        return false;
    key.pub = getPublic(key.secret);
    return true;
}

std::string text(std::vector<unsigned char> const& bytes) { return BigNum(asn1::blob(bytes)).str(); }

void dumpPrivate(std::ostream& out, char const* heading, std::vector<unsigned char> const& pub,
                 std::vector<unsigned char> const& secret) {
    out << heading << "\npub: " << text(pub);
    detail::dumpSecret(out, "secret", BigNum(asn1::blob(secret)));
    out << std::endl;
}

} // namespace

Ed25519PublicKey::Ed25519PublicKey() = default;
Ed25519PublicKey::Ed25519PublicKey(Ed25519PublicKey const&) = default;
Ed25519PublicKey& Ed25519PublicKey::operator=(Ed25519PublicKey const&) = default;
Ed25519PublicKey::~Ed25519PublicKey() = default;

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, Ed25519PublicKey& to) {
    return readPublic(reading, to, algoParams, keyData);
}

bool Ed25519PublicKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
}

std::vector<unsigned char> Ed25519PublicKey::encodeToDerEncoded() const { return pub; }

asn1::blob Ed25519PublicKey::algorithmParams() const { return {}; }

bool Ed25519PublicKey::equals(PublicKey const& other) const { return equalPublic(*this, other); }

KeyType Ed25519PublicKey::keyType() const { return KeyType::Ed25519; }

void Ed25519PublicKey::dump(std::ostream& out) const {
    out << "[Ed25519-PUBLIC]"
        << "\npub: " << text(pub) << std::endl;
}

bool Ed25519PublicKey::verify(asn1::blob message, asn1::blob sig) const {
    return eddsa::verify(pub, message, sig);
}

X25519PublicKey Ed25519PublicKey::toX25519PublicKey() const {
    X25519PublicKey key;
    Edwards25519 const curve;
    WCurve::Point point = curve.fromBin(pub);
    if (!curve.isInfinity(point))
        key.pub = x25519::numToBlob(curve.Curve25519::toNum(std::move(point), nullptr));
    return key;
}

Ed25519PrivateKey::Ed25519PrivateKey() = default;
Ed25519PrivateKey::Ed25519PrivateKey(Ed25519PrivateKey const&) = default;
Ed25519PrivateKey& Ed25519PrivateKey::operator=(Ed25519PrivateKey const& other) {
    return assignPrivate(*this, other);
}
Ed25519PrivateKey::~Ed25519PrivateKey() { wipe(secret); }

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, Ed25519PrivateKey& to) {
    return readPrivate(reading, to, algoParams, keyData);
}

bool Ed25519PrivateKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
}

std::vector<unsigned char> Ed25519PrivateKey::encodeToDerEncoded() const { return encodePrivate(secret); }

void Ed25519PrivateKey::dump(std::ostream& out) const { dumpPrivate(out, "[Ed25519-PRIVATE]", pub, secret); }

std::unique_ptr<PublicKey> Ed25519PrivateKey::publicKey() const {
    return std::make_unique<Ed25519PublicKey>(*this);
}

bool Ed25519PrivateKey::generatePrivKey(Rng& rng) { return generate(*this, rng, eddsa::get_public_key); }

bool Ed25519PrivateKey::initPrivate(std::vector<unsigned char> privateBytes) {
    return takePrivate(*this, privateBytes, eddsa::get_public_key);
}

std::vector<unsigned char> Ed25519PrivateKey::sign(asn1::blob message) const {
    return secret.size() == keyLength ? eddsa::sign(secret, message) : std::vector<unsigned char>();
}

X25519PrivateKey Ed25519PrivateKey::toX25519PrivateKey() const {
    X25519PrivateKey key;
    if (secret.size() == keyLength)
        key.initPrivate(x25519::numToBlob(eddsa::expand_secret(secret, nullptr)));
    return key;
}

X25519PublicKey::X25519PublicKey() = default;
X25519PublicKey::X25519PublicKey(X25519PublicKey const&) = default;
X25519PublicKey& X25519PublicKey::operator=(X25519PublicKey const&) = default;
X25519PublicKey::~X25519PublicKey() = default;

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, X25519PublicKey& to) {
    return readPublic(reading, to, algoParams, keyData);
}

bool X25519PublicKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
}

std::vector<unsigned char> X25519PublicKey::encodeToDerEncoded() const { return pub; }

asn1::blob X25519PublicKey::algorithmParams() const { return {}; }

bool X25519PublicKey::equals(PublicKey const& other) const { return equalPublic(*this, other); }

KeyType X25519PublicKey::keyType() const { return KeyType::X25519; }

void X25519PublicKey::dump(std::ostream& out) const {
    out << "[X25519-PUBLIC]"
        << "\npub: " << text(pub) << std::endl;
}

X25519PrivateKey::X25519PrivateKey() = default;
X25519PrivateKey::X25519PrivateKey(X25519PrivateKey const&) = default;
X25519PrivateKey& X25519PrivateKey::operator=(X25519PrivateKey const& other) {
    return assignPrivate(*this, other);
}
X25519PrivateKey::~X25519PrivateKey() { wipe(secret); }

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, X25519PrivateKey& to) {
    return readPrivate(reading, to, algoParams, keyData);
}

bool X25519PrivateKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
}

std::vector<unsigned char> X25519PrivateKey::encodeToDerEncoded() const { return encodePrivate(secret); }

void X25519PrivateKey::dump(std::ostream& out) const { dumpPrivate(out, "[X25519-PRIVATE]", pub, secret); }

std::unique_ptr<PublicKey> X25519PrivateKey::publicKey() const {
    return std::make_unique<X25519PublicKey>(*this);
}

bool X25519PrivateKey::generatePrivKey(Rng& rng) { return generate(*this, rng, x25519::get_public_key); }

bool X25519PrivateKey::initPrivate(std::vector<unsigned char> privateBytes) {
    return takePrivate(*this, privateBytes, x25519::get_public_key);
}

std::vector<unsigned char> X25519PrivateKey::exchangeKeys(asn1::blob peer) const {
    return secret.size() == keyLength ? x25519::kex(secret, peer) : std::vector<unsigned char>();
}
