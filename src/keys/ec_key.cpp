#include "sealkit/keys.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/dump.h"
#include "keys/named_curve.h"

#include <algorithm>
#include <iostream>

namespace {

namespace tag = detail::tag;
using detail::NamedCurve;

/// The whole encoding of an object identifier.
template <size_t length>
struct EncodedOid {
    unsigned char bytes[2 + length] = {tag::oid, length};

    constexpr explicit EncodedOid(unsigned char const (&content)[length]) {
        std::copy(content, content + length, bytes + 2);
    }
};

template <auto const& content>
constexpr EncodedOid encodedOid(content);

/// The parameters of a key on `curve`; empty for a value that is no curve.
asn1::blob paramsOf(Curve curve) {
    switch (curve) {
    case Curve::p192:
        return encodedOid<detail::oid::p192>.bytes;
    case Curve::p224:
        return encodedOid<detail::oid::p224>.bytes;
    case Curve::p256:
        return encodedOid<detail::oid::p256>.bytes;
    case Curve::p384:
        return encodedOid<detail::oid::p384>.bytes;
    case Curve::p521:
        return encodedOid<detail::oid::p521>.bytes;
    }
    return {};
}

/// The curve that `algoParams` name (RFC 5480, section 2.1.1). None, with a line on standard output, when
/// they name another or describe one.
Curve curveOf(asn1::blob algoParams) {
    if (asn1::parser(algoParams).tag == tag::sequence) {
        std::cout << "[ERR] explicit curve params not yet supported" << std::endl;
        return Curve{};
    }
    asn1::blob oid;
    if (detail::readOnly(algoParams, tag::oid, &oid) && getCurveID(oid) != Curve{})
        return getCurveID(oid);
    std::cout << "[ERR] unknown ec id" << std::endl;
    return Curve{};
}

/// Reads a scalar from 1 to the group order less 1. Zero bytes may be missing or too many in front, as
/// some writers have it.
bool readScalar(asn1::blob octets, NamedCurve const& curve, BigNum* scalar) {
    while (!octets.empty() && octets[0] == 0)
        octets.pop_front();
    if (octets.size() > curve.orderWidth())
        return false;
    *scalar = BigNum(octets);
    return curve.isScalar(*scalar);
}

/// Whether `content`, of a BIT STRING, is the point in one of its octet forms.
bool isEncodingOf(ECPoint const& point, unsigned width, asn1::blob content) {
    asn1::blob const octets = bitStringContent(content);
    return !content.empty() && content[0] == 0 &&
           (octets == asn1::blob(point.toBin(width, false)) ||
            octets == asn1::blob(point.toBin(width, true)));
}

/// The version of ECPrivateKey (RFC 5915, section 3).
constexpr unsigned char ecPrivateKeyVersion[] = {1};
constexpr unsigned parametersTag = tag::constructed(0);
constexpr unsigned publicKeyTag = tag::constructed(1);

} // namespace

EcPublicKey::EcPublicKey() = default;
EcPublicKey::EcPublicKey(EcPublicKey const&) = default;
EcPublicKey& EcPublicKey::operator=(EcPublicKey const&) = default;
EcPublicKey::~EcPublicKey() = default;

bool EcPublicKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Curve const named = curveOf(algoParams);
    if (named == Curve{})
        return false;
    NamedCurve const parameters(named);
    ECPoint decoded = parameters.decode(keyData);
    if (!parameters.contains(decoded))
        return false;
    curve = named;
    point = std::move(decoded);
    return true;
}

std::vector<unsigned char> EcPublicKey::encodeToDerEncoded() const {
    unsigned const width = getModLen(curve);
    if (width == 0 || point.x.bits() > 8 * width || point.y.bits() > 8 * width)
        return {};
    return point.toBin(width, false);
}

asn1::blob EcPublicKey::algorithmParams() const { return paramsOf(curve); }

bool EcPublicKey::equals(PublicKey const& other) const {
    EcPublicKey const* const ec = dynamic_cast<EcPublicKey const*>(&other);
    return ec != nullptr && curve == ec->curve && point == ec->point;
}

KeyType EcPublicKey::keyType() const { return KeyType::EC; }

namespace {

void dumpPublicMembers(EcPublicKey const& key, std::ostream& out) {
    out << "\ncurve: " << getCurveName(key.curve) << "\npub.x: " << key.point.x.str()
        << "\npub.y: " << key.point.y.str() << "\norder: " << getOrderForECCurve(key.curve).str();
}

} // namespace

void EcPublicKey::dump(std::ostream& out) const {
    out << "[EC-PUBLIC]";
    dumpPublicMembers(*this, out);
    out << std::endl;
}

EcPrivateKey::EcPrivateKey() = default;
EcPrivateKey::EcPrivateKey(EcPrivateKey const&) = default;
EcPrivateKey& EcPrivateKey::operator=(EcPrivateKey const&) = default;
EcPrivateKey::~EcPrivateKey() = default;

bool EcPrivateKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    asn1::blob content, version, octets, parameters, publicKey, bits;
    if (!detail::readOnly(keyData, tag::sequence, &content))
        return false;
    asn1::parser members(content);
    if (!detail::takeInteger(members, &version) || !(version == asn1::blob(ecPrivateKeyVersion)) ||
        !detail::take(members, tag::octetString, &octets))
        return false;
    bool const hasParameters = members.tag == parametersTag;
    if (hasParameters && !detail::take(members, parametersTag, &parameters))
        return false;
    bool const hasPublicKey = members.tag == publicKeyTag;
    if (hasPublicKey && (!detail::take(members, publicKeyTag, &publicKey) ||
                         !detail::readOnly(publicKey, tag::bitString, &bits)))
        return false;
    if (!detail::atEnd(members))
        return false;

    EcPrivateKey key;
    key.curve = curveOf(algoParams.empty() ? parameters : algoParams);
    if (key.curve == Curve{} || (hasParameters && curveOf(parameters) != key.curve))
        return false;
    NamedCurve const named(key.curve);
    if (!readScalar(octets, named, &key.secret))
        return false;
    key.point = named.publicPoint(key.secret);
    if (hasPublicKey && !isEncodingOf(key.point, named.width, bits))
        return false;
    *this = key;
    return true;
}

std::vector<unsigned char> EcPrivateKey::encodeToDerEncoded() const {
    std::vector<unsigned char> const publicOctets = EcPublicKey::encodeToDerEncoded();
    if (publicOctets.empty())
        return {};
    NamedCurve const named(curve);
    if (!named.isScalar(secret))
        return {};
    detail::SecretBytes const octets(secret.bin(named.orderWidth()));
    DerEncoder encoder;
    encoder.begin(tag::sequence)
        .add(tag::integer, ecPrivateKeyVersion)
        .addOctetString(octets)
        .begin(parametersTag)
        .addEncoded(algorithmParams())
        .end()
        .begin(publicKeyTag)
        .addBitString(publicOctets)
        .end()
        .end();
    return encoder.take();
}

void EcPrivateKey::dump(std::ostream& out) const {
    out << "[EC-PRIVATE]";
    dumpPublicMembers(*this, out);
    detail::dumpSecret(out, "secret", secret);
    out << std::endl;
}

std::unique_ptr<PublicKey> EcPrivateKey::publicKey() const { return std::make_unique<EcPublicKey>(*this); }

bool EcPrivateKey::generatePrivKey(Rng& rng) {
    if (getModLen(curve) == 0)
        return false;
    NamedCurve const named(curve);
    BigNum scalar;
    if (!randomBigNum(&scalar, named.order, rng))
        return false;
    point = named.publicPoint(scalar);
    secret = std::move(scalar);
    return true;
}

std::vector<unsigned char> EcPrivateKey::exchangeKeys(asn1::blob peerPoint) const {
    if (getModLen(curve) == 0)
        return {};
    NamedCurve const named(curve);
    ECPoint const peer = named.decode(peerPoint);
    if (!named.isScalar(secret) || !named.contains(peer))
        return {};
    // The order is a prime: no multiple by a scalar below it is the point at infinity.
    return named.group.toEC(named.group.mul(secret, named.group.fromEC(peer))).x.bin(named.width);
}
