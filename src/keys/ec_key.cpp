#include "sealkit/keys.h"
#include "sealkit/oid_names.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"
#include "sealkit/rng.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/dump.h"
#include "keys/named_curve.h"
#include "keys/read.h"

#include <algorithm>
#include <initializer_list>

namespace {

namespace tag = detail::tag;
using detail::Level;
using detail::NamedCurve;
using detail::Reading;
using detail::SecretNumber;

/// The whole encoding of an OBJECT IDENTIFIER.
template <size_t length>
struct EncodedOid {
    unsigned char bytes[2 + length] = {tag::oid, length};

    constexpr explicit EncodedOid(unsigned char const (&content)[length]) {
        std::copy(content, content + length, bytes + 2);
    }
};

template <auto const& content>
constexpr EncodedOid encodedOid(content);

/// The parameters of a key on `curve`; empty for an unknown curve.
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

/// The name of a supported curve with these explicit parameters (SpecifiedECDomain of SEC 1, appendix C.2),
/// or a text that says why there is no name.
std::string nameOfExplicit(asn1::blob algoParams) {
    Reading silent;
    asn1::blob content, version, kind, p, a, b, base, order;
    Level params(silent,
                 detail::readOnly(silent, algoParams, tag::sequence, &content) ? content : asn1::blob());
    if (!detail::takeInteger(params, &version) || !detail::take(params, tag::sequence, &kind))
        return "unknown";
    Level field(silent, kind);
    asn1::blob type;
    if (!detail::take(field, tag::oid, &type) || !detail::takeInteger(field, &p))
        return "not over a prime field";
    if (!detail::take(params, tag::sequence, &content) || !detail::take(params, tag::octetString, &base) ||
        !detail::takeInteger(params, &order))
        return "unknown";
    Level curve(silent, content);
    if (!detail::take(curve, tag::octetString, &a) || !detail::take(curve, tag::octetString, &b))
        return "unknown";
    for (Curve const known : {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521}) {
        constexpr size_t maxSize = 67; // The largest number, with a leading zero byte.
        if (std::ranges::any_of(std::initializer_list<asn1::blob>{p, a, b, order},
                                [](asn1::blob number) { return number.size() > maxSize; }))
            break;
        BigNum prime, n;
        ECPoint generator;
        getECParams(known, prime, n, generator);
        unsigned const width = getModLen(known);
        bool const isBase = base == asn1::blob(generator.toBin(width, false)) ||
                            base == asn1::blob(generator.toBin(width, true));
        if (isBase && BigNum(p) == prime && BigNum(order) == n && BigNum(a) == getAForECCurve(known) &&
            BigNum(b) == getBForECCurve(known))
            return "the same as " + oidName(getCurveOid(known));
    }
    return "another than those supported";
}

/// The curve that `algoParams` name (RFC 5480, section 2.1.1). Refuses unknown and explicit curves.
Curve readCurve(Reading& reading, asn1::blob algoParams) {
    Reading::Step const step(reading, "parameters");
    if (asn1::parser(algoParams).tag == tag::sequence) {
        if (reading.wantsReason())
            reading.refuse(RefusalId::explicitCurve, algoParams, {{"curve", nameOfExplicit(algoParams)}});
        reading.note("[ERR] explicit curve params not yet supported");
        return Curve{};
    }
    asn1::blob oid;
    if (!detail::readOnly(reading, algoParams, tag::oid, &oid)) {
        reading.retract();
        reading.refuse(RefusalId::malformedKeyParameters, algoParams);
    } else if (Curve const curve = getCurveID(oid); curve != Curve{}) {
        return curve;
    } else if (reading.wantsReason()) {
        reading.refuse(RefusalId::unknownCurve, oid, {{"curve", oidName(oid)}});
    }
    reading.note("[ERR] unknown ec id");
    return Curve{};
}

/// Reads a scalar from 1 to the group order less 1. Leading zero bytes may be missing or superfluous, as some
/// programs write them.
bool readScalar(Reading& reading, asn1::blob octets, NamedCurve const& curve, SecretNumber* scalar) {
    asn1::blob digits = octets;
    while (!digits.empty() && digits[0] == 0)
        digits.pop_front();
    if (digits.size() <= curve.orderWidth()) {
        scalar->assign(digits.data(), 8 * static_cast<unsigned>(digits.size()));
        if (curve.arithmetic.isScalar(*scalar))
            return true;
    }
    Reading::Step const step(reading, "privateKey");
    return reading.refuse(RefusalId::privateKeyOutOfRange, octets);
}

/// Reads a point in one of its encodings and checks that it is on the curve.
bool readPoint(Reading& reading, asn1::blob octets, NamedCurve const& curve, ECPoint* point) {
    *point = curve.decode(octets);
    if (curve.arithmetic.contains(*point))
        return true;
    unsigned char const prefix = octets.empty() ? 0 : octets[0];
    bool const isUncompressed = octets.size() == 1 + 2 * size_t{curve.width} && prefix == 0x04;
    bool const isCompressed = octets.size() == 1 + size_t{curve.width} && (prefix == 0x02 || prefix == 0x03);
    if (isUncompressed || isCompressed)
        return reading.refuse(RefusalId::pointNotOnCurve, octets);
    return reading.refuse(RefusalId::malformedPoint, octets,
                          {{"expected", std::to_string(1 + 2 * curve.width) + " or " +
                                            std::to_string(1 + curve.width) + " bytes"},
                           {"found", std::to_string(octets.size()) + " bytes"}});
}

/// Whether `content`, that of a BIT STRING, is one of the point's encodings.
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

/// At least one draw in two is in range, so a generator that fails this often is broken.
constexpr unsigned maxDraws = 128;

} // namespace

Curve parseEcParameters(asn1::blob algoParams, Refusal* refusal) {
    Reading reading(algoParams, refusal);
    return readCurve(reading, algoParams);
}

EcPublicKey::EcPublicKey() = default;
EcPublicKey::EcPublicKey(EcPublicKey const&) = default;
EcPublicKey& EcPublicKey::operator=(EcPublicKey const&) = default;
EcPublicKey::~EcPublicKey() = default;

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, EcPublicKey& to) {
    Curve const named = readCurve(reading, algoParams);
    ECPoint point;
    if (named == Curve{} || !readPoint(reading, keyData, NamedCurve(named), &point))
        return false;
    to.curve = named;
    to.point = std::move(point);
    return true;
}

bool EcPublicKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
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

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, EcPrivateKey& to) {
    asn1::blob content, version, octets, parameters, publicKey, bits;
    if (!readOnly(reading, keyData, tag::sequence, &content))
        return false;
    Level members(reading, content);
    if (!takeInteger(members, &version, "version"))
        return false;
    if (!(version == asn1::blob(ecPrivateKeyVersion)))
        return reading.refuse(RefusalId::keyVersion, version);
    if (!take(members, tag::octetString, &octets, "privateKey"))
        return false;
    bool const hasParameters = members.tag == parametersTag;
    if (hasParameters && !take(members, parametersTag, &parameters, "parameters"))
        return false;
    bool const hasPublicKey = members.tag == publicKeyTag;
    if (hasPublicKey && (!take(members, publicKeyTag, &publicKey, "publicKey") ||
                         !readOnly(reading, publicKey, tag::bitString, &bits, "publicKey")))
        return false;
    if (!finish(members))
        return false;

    EcPrivateKey key;
    key.curve = readCurve(reading, algoParams.empty() ? parameters : algoParams);
    if (key.curve == Curve{})
        return false;
    if (hasParameters) {
        Curve const inner = readCurve(reading, parameters);
        if (inner != key.curve)
            return reading.refuse(RefusalId::inconsistentKey, parameters,
                                  {{"expected", getCurveName(key.curve)}, {"found", getCurveName(inner)}});
    }
    NamedCurve const named(key.curve);
    SecretNumber scalar;
    if (!readScalar(reading, octets, named, &scalar))
        return false;
    key.secret = scalar.toBigNum();
    key.point = named.arithmetic.publicPoint(scalar);
    if (hasPublicKey && !isEncodingOf(key.point, named.width, bits))
        return reading.refuse(RefusalId::publicKeyMismatch, bits);
    to = key;
    return true;
}

bool EcPrivateKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
}

std::vector<unsigned char> EcPrivateKey::encodeToDerEncoded() const {
    std::vector<unsigned char> const publicOctets = EcPublicKey::encodeToDerEncoded();
    if (publicOctets.empty())
        return {};
    NamedCurve const named(curve);
    SecretNumber scalar;
    if (!named.takeScalar(secret, &scalar))
        return {};
    detail::SecretBytes octets(std::vector<unsigned char>(named.orderWidth()));
    scalar.write(octets.value.data(), named.orderWidth());
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
    detail::FixedCurve const& arithmetic = named.arithmetic;
    SecretNumber scalar;
    for (unsigned draw = 0; draw < maxDraws; ++draw) {
        detail::SecretBytes bytes(std::vector<unsigned char>(named.orderWidth()));
        if (!rng.fill(bytes.value.data(), named.orderWidth()))
            return false;
        bytes.value[0] &= static_cast<unsigned char>(0xFF >> (8 * named.orderWidth() - arithmetic.orderBits));
        scalar.assign(bytes.value.data(), 8 * named.orderWidth());
        if (declassified(detail::Told::retry, arithmetic.isScalar(scalar))) {
            point = arithmetic.publicPoint(scalar);
            secret = scalar.toBigNum();
            return true;
        }
    }
    return false;
}

std::vector<unsigned char> EcPrivateKey::exchangeKeys(asn1::blob peerPoint) const {
    if (getModLen(curve) == 0)
        return {};
    NamedCurve const named(curve);
    ECPoint const peer = named.decode(peerPoint);
    SecretNumber scalar, x;
    // The order is prime, so no smaller multiple of the peer's point is at infinity.
    if (!named.takeScalar(secret, &scalar) || !named.arithmetic.contains(peer) ||
        !named.arithmetic.agree(x, secret, peer, getDefaultRng()))
        return {};
    std::vector<unsigned char> agreed(named.width);
    x.write(agreed.data(), named.width);
    return agreed;
}
