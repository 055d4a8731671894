#include "sealkit/keys.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "hash/secret_bytes.h"
#include "keys/key_cast.h"

#include <algorithm>
#include <iostream>

namespace {

namespace tag = detail::tag;

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

/// A named curve, ready for arithmetic.
struct NamedCurve {
    unsigned const width; ///< Of a field element, in bytes.
    BigNum const a;
    BigNum const b;
    WCurve const group;

    explicit NamedCurve(Curve curve) : NamedCurve(curve, getModForECCurve(curve)) {}

    /// Coordinates below the modulus that fulfil the equation. (0, 0), which stands for no point, does
    /// not: b is not zero.
    bool contains(ECPoint const& point) const {
        return point.x < group.p && point.y < group.p && group.isOnCurve(a, b, group.fromEC(point));
    }

    /// (0, 0) unless `octets` has the width of the field.
    ECPoint decode(asn1::blob octets) const {
        if (octets.size() == 1 + 2 * width)
            return ECPoint::fromOctetString(octets);
        if (octets.size() == 1 + width)
            return ECPoint::fromOctetStringCompressed(octets, group.p, a, b);
        return {};
    }

private:
    NamedCurve(Curve curve, BigNum const& p)
        : width(getModLen(curve)),
          a(getAForECCurve(curve)),
          b(getBForECCurve(curve)),
          group(p, a, new MontgomeryReducer(p)) {}
};

BigNum productModulo(BigNum const& x, BigNum const& y, BigNum const& modulus) {
    BigNum product;
    mul(product, x, y);
    div(product, modulus, nullptr, &product);
    return product;
}

/// r and s of the DER of SEQUENCE { r INTEGER, s INTEGER }, both from 1 to `order` - 1.
bool readSignature(asn1::blob sig, BigNum const& order, BigNum* r, BigNum* s) {
    asn1::blob content, first, second;
    if (!detail::readOnly(sig, tag::sequence, &content))
        return false;
    asn1::parser numbers(content);
    if (!detail::takeInteger(numbers, &first) || !detail::takeInteger(numbers, &second))
        return false;
    *r = BigNum(first);
    *s = BigNum(second);
    if (r->bits() == 0 || s->bits() == 0 || *r >= order || *s >= order)
        return false;
    // There is one encoding of r and s: no other says the same with a negative number, a longer length,
    // a longer number or something behind (X.690, sections 8.3.2 and 10.1).
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(*r).addInteger(*s).end();
    return asn1::blob(encoder.take()) == sig;
}

/// secret·G, the public point.
ECPoint publicPointOf(Curve curve, BigNum const& secret) {
    NamedCurve const named(curve);
    BigNum p, order;
    ECPoint base;
    getECParams(curve, p, order, base);
    return named.group.toEC(named.group.mul(secret, named.group.fromEC(base)));
}

unsigned orderLength(Curve curve) { return (getOrderForECCurve(curve).bits() + 7) / 8; }

bool isScalar(BigNum const& number, Curve curve) {
    return number.bits() != 0 && number < getOrderForECCurve(curve);
}

/// Reads a scalar from 1 to the group order less 1. Zero bytes may be missing or too many in front, as
/// some writers have it.
bool readScalar(asn1::blob octets, Curve curve, BigNum* scalar) {
    while (!octets.empty() && octets[0] == 0)
        octets.pop_front();
    if (octets.size() > orderLength(curve))
        return false;
    *scalar = BigNum(octets);
    return isScalar(*scalar, curve);
}

/// Whether `content`, of a BIT STRING, is the point in one of its octet forms.
bool isEncodingOf(ECPoint const& point, Curve curve, asn1::blob content) {
    unsigned const width = getModLen(curve);
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
    EcPublicKey const* const ec = detail::keyCast<EcPublicKey>(other);
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

bool EcPublicKey::verifyHashed(HashID hashId, asn1::blob digest, asn1::blob sig) const {
    // A digest of another size was not made with the hash; an empty one, as of an unknown hash, could
    // be signed without the private key.
    std::unique_ptr<Hash> const hash = createHash(hashId);
    if (hash == nullptr || digest.size() != hash->digestLength() || getModLen(curve) == 0)
        return false;
    NamedCurve const named(curve);
    WCurve const& group = named.group;
    BigNum p, order;
    ECPoint base;
    getECParams(curve, p, order, base);
    BigNum r, s;
    if (!readSignature(sig, order, &r, &s) || !named.contains(point))
        return false;

    // SEC 1, section 4.1.4.
    BigNum e(digest);
    unsigned const digestBits = 8 * static_cast<unsigned>(digest.size());
    if (digestBits > order.bits())
        e >>= digestBits - order.bits();
    BigNum const w = invByMod(s, order);
    ECPoint sum = group.toEC(group.mul2add(productModulo(e, w, order), group.fromEC(base),
                                           productModulo(r, w, order), group.fromEC(point)));
    div(sum.x, order, nullptr, &sum.x);
    return sum.x == r;
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
    if (key.curve == Curve{} || (hasParameters && curveOf(parameters) != key.curve) ||
        !readScalar(octets, key.curve, &key.secret))
        return false;
    key.point = publicPointOf(key.curve, key.secret);
    if (hasPublicKey && !isEncodingOf(key.point, key.curve, bits))
        return false;
    *this = key;
    return true;
}

std::vector<unsigned char> EcPrivateKey::encodeToDerEncoded() const {
    std::vector<unsigned char> const publicOctets = EcPublicKey::encodeToDerEncoded();
    if (publicOctets.empty() || !isScalar(secret, curve))
        return {};
    detail::SecretBytes const octets(secret.bin(orderLength(curve)));
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
    out << "\nsecret: " << secret.str() << std::endl;
}

std::unique_ptr<PublicKey> EcPrivateKey::publicKey() const { return std::make_unique<EcPublicKey>(*this); }
