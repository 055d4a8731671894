#include "sealkit/keys.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/digest_info.h"
#include "asn1/element.h"
#include "keys/key_cast.h"

#include <algorithm>
#include <optional>
#include <ostream>

namespace {

namespace tag = detail::tag;

// Time and memory of an operation stay bounded whatever key arrives.
constexpr unsigned maxModulusBits = 16384;
constexpr unsigned maxExponentBits = 64;

/// A signature block begins with 00 01 and at least eight FF (RFC 8017, section 9.2, step 3).
constexpr size_t minPaddingBytes = 8;

/// F4, the least public exponent under which a signature cannot be made of bytes that nobody looks at.
constexpr unsigned leastForgivingExponent = 65537;

bool isOddAboveOne(BigNum const& x) { return x.getBit(0) && x.bits() > 1; }

/// Montgomery arithmetic needs an odd modulus. An exponent of 1 would make every block its own
/// signature, and an even one has no private exponent.
bool isUsable(RsaPublicKey const& key) {
    return isOddAboveOne(key.n) && key.n.bits() <= maxModulusBits && isOddAboveOne(key.e) &&
           key.e.bits() <= maxExponentBits;
}

unsigned modulusLength(RsaPublicKey const& key) { return (key.n.bits() + 7) / 8; }

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

/// What stands behind the padding of a decrypted signature block, which must be 00, 01, at least
/// eight FF, 00.
std::optional<asn1::blob> payloadOf(asn1::blob block) {
    if (block.size() < 3 + minPaddingBytes || block[0] != 0x00 || block[1] != 0x01)
        return {};
    auto const paddingStart = block.begin() + 2;
    auto const paddingEnd =
        std::find_if(paddingStart, block.end(), [](unsigned char b) { return b != 0xFF; });
    if (paddingEnd - paddingStart < static_cast<ptrdiff_t>(minPaddingBytes) || paddingEnd == block.end() ||
        *paddingEnd != 0x00)
        return {};
    return asn1::blob(paddingEnd + 1, block.end());
}

std::vector<unsigned char> encodeDigestInfo(HashID hashId, asn1::blob digest) {
    DerEncoder encoder;
    saveDigest(encoder, hashId, digest);
    return encoder.take();
}

/// The DigestInfo with absent parameters, which some signers write (RFC 8017, appendix A.2.4).
std::vector<unsigned char> encodeDigestInfoWithoutNull(HashID hashId, asn1::blob digest) {
    DerEncoder encoder;
    encoder.begin(tag::sequence)
        .begin(tag::sequence)
        .addOid(getHashOid(hashId))
        .end()
        .addOctetString(digest)
        .end();
    return encoder.take();
}

bool hasDigestInfo(HashID hashId) { return !getHashOid(hashId).empty(); }

/// m^d mod n by the Chinese remainder theorem (RFC 8017, section 5.1.2, step 2.b). The result is wrong
/// when the numbers do not belong together; nothing when they cannot be computed with.
std::optional<BigNum> powerByPrimes(RsaPrivateKey const& key, BigNum const& m) {
    if (!isOddAboveOne(key.p) || !isOddAboveOne(key.q) || key.p * key.q != key.n || key.exp1 >= key.p ||
        key.exp2 >= key.q || key.coeff >= key.p)
        return {};
    BigNum h = expByMod(m, key.exp1, key.p);
    BigNum const m2 = expByMod(m, key.exp2, key.q);
    BigNum m2ModP;
    div(m2, key.p, nullptr, &m2ModP);
    if (h < m2ModP)
        h += key.p;
    h -= m2ModP;
    h *= key.coeff;
    div(h, key.p, nullptr, &h);
    return m2 + key.q * h;
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
    RsaPublicKey const* const rsa = detail::keyCast<RsaPublicKey>(other);
    return rsa != nullptr && n == rsa->n && e == rsa->e;
}

KeyType RsaPublicKey::keyType() const { return KeyType::RSA; }

void RsaPublicKey::dump(std::ostream& out) const {
    out << "[RSA-PUBLIC]"
        << "\nmodulus: " << n.str() << "\npublicExponent: " << e.str() << std::endl;
}

bool RsaPublicKey::verifyHashed(HashID hashId, asn1::blob digest, asn1::blob sig) const {
    if (!isUsable(*this))
        return false;
    BigNum const s(sig);
    if (s >= n)
        return false;
    std::vector<unsigned char> const block = expByMod(s, e, n).bin(modulusLength(*this));
    std::optional<asn1::blob> const payload = payloadOf(block);
    if (!payload)
        return false;
    if (hashId == HashID::MD5SHA1)
        return digest.size() == 36 && *payload == digest;

    if (!hasDigestInfo(hashId) || digest.empty() || !(parseHashFromDerEncoded(hashId, *payload) == digest))
        return false;
    // The parameters may be any bytes, and under a small exponent any bytes suffice to make a block
    // that is the power of a number: a forgery without the private key (Bleichenbacher, CRYPTO 2006).
    return e >= bn64(leastForgivingExponent) || *payload == asn1::blob(encodeDigestInfo(hashId, digest)) ||
           *payload == asn1::blob(encodeDigestInfoWithoutNull(hashId, digest));
}

asn1::blob RsaPublicKey::parseHashFromDerEncoded(HashID expected, asn1::blob block) {
    return detail::parseDigestInfo(expected, block);
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
        << "\nmodulus: " << n.str() << "\npublicExponent: " << e.str() << "\nprivateExponent: " << d.str()
        << "\nprime1: " << p.str() << "\nprime2: " << q.str() << "\nexp1: " << exp1.str()
        << "\nexp2: " << exp2.str() << "\ncoeff: " << coeff.str() << std::endl;
}

std::unique_ptr<PublicKey> RsaPrivateKey::publicKey() const { return std::make_unique<RsaPublicKey>(*this); }

std::vector<unsigned char> RsaPrivateKey::signHashed(HashID hashId, asn1::blob digest) const {
    if (!isUsable(*this) || (hashId != HashID::MD5SHA1 && !hasDigestInfo(hashId)))
        return {};
    std::vector<unsigned char> const digestInfo =
        hashId == HashID::MD5SHA1 ? std::vector<unsigned char>(digest.begin(), digest.end())
                                  : encodeDigestInfo(hashId, digest);
    unsigned const length = modulusLength(*this);
    if (digestInfo.size() + 1 > length)
        return {};
    // In this order: a block too short for 00 01 FF 00 keeps its last bytes.
    std::vector<unsigned char> block(length, 0xFF);
    size_t const separator = length - digestInfo.size() - 1;
    block[0] = 0x00;
    if (separator > 0)
        block[1] = 0x01;
    block[separator] = 0x00;
    std::copy(digestInfo.begin(), digestInfo.end(), block.begin() + static_cast<ptrdiff_t>(separator) + 1);

    // The leading 00 keeps the number below the modulus. A result that the public key does not confirm
    // never leaves: one wrong half of a CRT signature gives the primes away (Boneh, DeMillo, Lipton 1997).
    BigNum const m{asn1::blob(block)};
    auto const isConfirmed = [&](BigNum const& s) { return s < n && expByMod(s, e, n) == m; };
    if (std::optional<BigNum> const s = powerByPrimes(*this, m); s && isConfirmed(*s))
        return s->bin(length);
    if (d >= n)
        return {};
    BigNum const s = expByMod(m, d, n);
    return isConfirmed(s) ? s.bin(length) : std::vector<unsigned char>();
}
