#include "sealkit/keys.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/element.h"
#include "keys/dump.h"
#include "keys/rsa_operation.h"

#include <algorithm>

namespace {

namespace tag = detail::tag;
using detail::isOddAboveOne;
using detail::isUsable;
using detail::maxExponentBits;
using detail::maxModulusBits;

/// Reads an INTEGER that is not negative and has at most `maxBits` bits, so that a number of a
/// megabyte is refused before it is one.
bool readNumber(asn1::parser& level, unsigned maxBits, BigNum* number) {
    asn1::blob content;
    if (!detail::takeInteger(level, &content) || (content[0] & 0x80) != 0)
        return false;
    while (!content.empty() && content[0] == 0)
        content.pop_front();
    if (content.size() > maxBits / 8)
        return false;
    *number = BigNum(content);
    return true;
}

/// The version of a key with two primes (RFC 8017, appendix A.1.2).
constexpr unsigned char twoPrimes[] = {0};

/// The secret members in the order of RSAPrivateKey.
constexpr BigNum RsaPrivateKey::*privateNumbers[] = {&RsaPrivateKey::d,    &RsaPrivateKey::p,
                                                     &RsaPrivateKey::q,    &RsaPrivateKey::exp1,
                                                     &RsaPrivateKey::exp2, &RsaPrivateKey::coeff};

/// Whether every secret number lies between 1 and the modulus and the primes may be primes. Whether
/// they belong together shows when a signature is checked, and takes as long.
bool hasPossibleSecrets(RsaPrivateKey const& key) {
    return isOddAboveOne(key.p) && isOddAboveOne(key.q) &&
           std::all_of(std::begin(privateNumbers), std::end(privateNumbers),
                       [&](auto number) { return (key.*number).bits() != 0 && key.*number < key.n; });
}

bool isNullOrAbsent(asn1::blob algoParams) {
    asn1::blob content;
    return algoParams.empty() || (detail::readOnly(algoParams, tag::null, &content) && content.empty());
}

} // namespace

RsaPublicKey::RsaPublicKey() = default;
RsaPublicKey::RsaPublicKey(RsaPublicKey const&) = default;
RsaPublicKey& RsaPublicKey::operator=(RsaPublicKey const&) = default;
RsaPublicKey::~RsaPublicKey() = default;

bool RsaPublicKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    if (!isNullOrAbsent(algoParams))
        return false;
    asn1::blob content;
    if (!detail::readOnly(keyData, tag::sequence, &content))
        return false;
    asn1::parser numbers(content);
    RsaPublicKey key;
    if (!readNumber(numbers, maxModulusBits, &key.n) || !readNumber(numbers, maxExponentBits, &key.e) ||
        !detail::atEnd(numbers) || !isUsable(key))
        return false;
    n = std::move(key.n);
    e = std::move(key.e);
    return true;
}

std::vector<unsigned char> RsaPublicKey::encodeToDerEncoded() const {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(n).addInteger(e).end();
    return encoder.take();
}

asn1::blob RsaPublicKey::algorithmParams() const {
    static constexpr unsigned char null[] = {0x05, 0x00};
    return {null, sizeof(null)};
}

bool RsaPublicKey::equals(PublicKey const& other) const {
    RsaPublicKey const* const rsa = dynamic_cast<RsaPublicKey const*>(&other);
    return rsa != nullptr && n == rsa->n && e == rsa->e;
}

KeyType RsaPublicKey::keyType() const { return KeyType::RSA; }

void RsaPublicKey::dump(std::ostream& out) const {
    out << "[RSA-PUBLIC]"
        << "\nmodulus: " << n.str() << "\npublicExponent: " << e.str() << std::endl;
}

RsaPrivateKey::RsaPrivateKey() = default;
RsaPrivateKey::RsaPrivateKey(RsaPrivateKey const&) = default;
RsaPrivateKey& RsaPrivateKey::operator=(RsaPrivateKey const&) = default;
RsaPrivateKey::~RsaPrivateKey() = default;

bool RsaPrivateKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    asn1::blob content;
    if (!isNullOrAbsent(algoParams) || !detail::readOnly(keyData, tag::sequence, &content))
        return false;
    asn1::parser numbers(content);
    asn1::blob version;
    RsaPrivateKey key;
    // Version 1 has more than two primes.
    if (!detail::takeInteger(numbers, &version) || !(version == asn1::blob(twoPrimes)) ||
        !readNumber(numbers, maxModulusBits, &key.n) || !readNumber(numbers, maxExponentBits, &key.e))
        return false;
    for (BigNum RsaPrivateKey::*const number : privateNumbers)
        if (!readNumber(numbers, maxModulusBits, &(key.*number)))
            return false;
    if (!detail::atEnd(numbers) || !isUsable(key) || !hasPossibleSecrets(key))
        return false;
    *this = key;
    return true;
}

std::vector<unsigned char> RsaPrivateKey::encodeToDerEncoded() const {
    DerEncoder encoder;
    encoder.begin(tag::sequence).add(tag::integer, twoPrimes).addInteger(n).addInteger(e);
    for (BigNum RsaPrivateKey::*const number : privateNumbers)
        encoder.addInteger(this->*number);
    encoder.end();
    return encoder.take();
}

void RsaPrivateKey::dump(std::ostream& out) const {
    out << "[RSA-PRIVATE]"
        << "\nmodulus: " << n.str() << "\npublicExponent: " << e.str();
    detail::dumpSecret(out, "privateExponent", d);
    detail::dumpSecret(out, "prime1", p);
    detail::dumpSecret(out, "prime2", q);
    detail::dumpSecret(out, "exp1", exp1);
    detail::dumpSecret(out, "exp2", exp2);
    detail::dumpSecret(out, "coeff", coeff);
    out << std::endl;
}

std::unique_ptr<PublicKey> RsaPrivateKey::publicKey() const { return std::make_unique<RsaPublicKey>(*this); }
