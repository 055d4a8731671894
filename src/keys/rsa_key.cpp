#include "sealkit/keys.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/element.h"
#include "keys/dump.h"
#include "keys/read.h"
#include "keys/rsa_operation.h"

#include <string>
#include <utility>

namespace {

namespace tag = detail::tag;
using detail::isOddAboveOne;
using detail::isUsable;
using detail::maxExponentBits;
using detail::maxModulusBits;

using detail::Level;
using detail::Reading;

/// Reads a non-negative INTEGER of at most `maxBits` bits. Larger ones are refused before they are converted.
bool readNumber(Level& level, unsigned maxBits, BigNum* number, char const* name) {
    asn1::blob content;
    if (!detail::takeInteger(level, &content, name))
        return false;
    Reading::Step const step(level.reading, name);
    if ((content[0] & 0x80) != 0)
        return level.reading.refuse(RefusalId::rsaKeyUnusable, content, {{"found", "a negative number"}});
    asn1::blob digits = content;
    while (!digits.empty() && digits[0] == 0)
        digits.pop_front();
    if (digits.size() > maxBits / 8)
        return level.reading.refuse(RefusalId::rsaKeyTooLarge, content,
                                    {{"maximum", std::to_string(maxBits) + " bits"},
                                     {"found", std::to_string(8 * digits.size()) + " bits"}});
    *number = BigNum(digits);
    return true;
}

/// Whether the public members are usable.
bool checkPublic(Reading& reading, RsaPublicKey const& key, asn1::blob place) {
    if (isUsable(key))
        return true;
    Reading::Step const step(reading, isOddAboveOne(key.n) ? "publicExponent" : "modulus");
    return reading.refuse(RefusalId::rsaKeyUnusable, place);
}

/// The version of a key with two primes (RFC 8017, appendix A.1.2).
constexpr unsigned char twoPrimes[] = {0};

struct PrivateNumber {
    BigNum RsaPrivateKey::*member;
    char const* name;
};

/// The secret members in the order of RSAPrivateKey.
constexpr PrivateNumber privateNumbers[] = {
    {&RsaPrivateKey::d, "privateExponent"}, {&RsaPrivateKey::p, "prime1"},
    {&RsaPrivateKey::q, "prime2"},          {&RsaPrivateKey::exp1, "exponent1"},
    {&RsaPrivateKey::exp2, "exponent2"},    {&RsaPrivateKey::coeff, "coefficient"},
};

/// Whether each secret member is above 0 and below the modulus, and the primes are odd and above 1. Their
/// consistency is only checked when the key is used, because that takes as long as a signature.
bool checkSecrets(Reading& reading, RsaPrivateKey const& key, asn1::blob place) {
    for (PrivateNumber const& row : privateNumbers) {
        BigNum const& number = key.*row.member;
        bool const isPrime = row.member == &RsaPrivateKey::p || row.member == &RsaPrivateKey::q;
        if (number.bits() != 0 && number < key.n && (!isPrime || isOddAboveOne(number)))
            continue;
        Reading::Step const step(reading, row.name);
        return reading.refuse(RefusalId::rsaKeyUnusable, place);
    }
    return true;
}

bool checkParameters(Reading& reading, asn1::blob algoParams) {
    if (algoParams.empty())
        return true;
    Reading::Step const step(reading, "parameters");
    asn1::blob content;
    if (!detail::readOnly(reading, algoParams, tag::null, &content))
        return false;
    return content.empty() || reading.refuse(RefusalId::malformedKeyParameters, algoParams);
}

} // namespace

RsaPublicKey::RsaPublicKey() = default;
RsaPublicKey::RsaPublicKey(RsaPublicKey const&) = default;
RsaPublicKey& RsaPublicKey::operator=(RsaPublicKey const&) = default;
RsaPublicKey::~RsaPublicKey() = default;

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, RsaPublicKey& to) {
    asn1::blob content;
    if (!checkParameters(reading, algoParams) || !readOnly(reading, keyData, tag::sequence, &content))
        return false;
    Level numbers(reading, content);
    RsaPublicKey key;
    if (!readNumber(numbers, maxModulusBits, &key.n, "modulus") ||
        !readNumber(numbers, maxExponentBits, &key.e, "publicExponent") || !finish(numbers) ||
        !checkPublic(reading, key, content))
        return false;
    to.n = std::move(key.n);
    to.e = std::move(key.e);
    return true;
}

bool RsaPublicKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
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

bool detail::read(Reading& reading, asn1::blob algoParams, asn1::blob keyData, RsaPrivateKey& to) {
    asn1::blob content;
    if (!checkParameters(reading, algoParams) || !readOnly(reading, keyData, tag::sequence, &content))
        return false;
    Level numbers(reading, content);
    asn1::blob version;
    RsaPrivateKey key;
    if (!takeInteger(numbers, &version, "version"))
        return false;
    // Version 1 has more than two primes.
    if (!(version == asn1::blob(twoPrimes)))
        return reading.refuse(RefusalId::keyVersion, version);
    if (!readNumber(numbers, maxModulusBits, &key.n, "modulus") ||
        !readNumber(numbers, maxExponentBits, &key.e, "publicExponent"))
        return false;
    for (PrivateNumber const& row : privateNumbers)
        if (!readNumber(numbers, maxModulusBits, &(key.*row.member), row.name))
            return false;
    if (!finish(numbers) || !checkPublic(reading, key, content) || !checkSecrets(reading, key, content))
        return false;
    to = key;
    return true;
}

bool RsaPrivateKey::parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) {
    Reading reading(keyData);
    return detail::read(reading, algoParams, keyData, *this);
}

std::vector<unsigned char> RsaPrivateKey::encodeToDerEncoded() const {
    DerEncoder encoder;
    encoder.begin(tag::sequence).add(tag::integer, twoPrimes).addInteger(n).addInteger(e);
    for (PrivateNumber const& row : privateNumbers)
        encoder.addInteger(this->*row.member);
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
