// PKCS#1 v1.5 signatures (RFC 8017, section 8.2).
#include "sealkit/der.h"
#include "sealkit/keys.h"

#include "asn1/digest_info.h"
#include "asn1/element.h"
#include "keys/rsa_operation.h"
#include "keys/verify.h"

#include <algorithm>
#include <optional>

namespace {

namespace tag = detail::tag;

/// A signature block begins with 00 01 and at least eight FF (RFC 8017, section 9.2, step 3).
constexpr size_t minPaddingBytes = 8;

/// The bits of F4 = 65537, the smallest public exponent under which unchecked bytes do not allow a forgery.
constexpr unsigned leastForgivingBits = 17;

/// The bytes after the padding of a decrypted signature block: 00, 01, at least eight FF, 00.
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

/// The DigestInfo without parameters, which some signers write (RFC 8017, appendix A.2.4).
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

} // namespace

bool detail::verifyHashed(Reading& reading, RsaPublicKey const& key, HashID hashId, asn1::blob digest,
                          asn1::blob sig) {
    std::vector<unsigned char> const block = publicPower(key, sig);
    if (block.empty())
        return reading.refuse(isUsable(key) ? RefusalId::signatureMismatch : RefusalId::rsaKeyUnusable, sig);
    std::optional<asn1::blob> const payload = payloadOf(block);
    if (!payload)
        return reading.refuse(RefusalId::signatureMismatch, sig);
    Reading::Derived const derived(reading, *payload, sig.start, "decrypted signature");
    if (hashId == HashID::MD5SHA1)
        return (digest.size() == 36 && *payload == digest) || reading.refuse(RefusalId::otherDigest, sig);

    if (!hasDigestInfo(hashId) || digest.empty())
        return reading.refuse(RefusalId::unsupportedDigest, nullptr);
    asn1::blob const signedDigest = readDigestInfo(reading, hashId, *payload);
    if (!(signedDigest == digest))
        return reading.refuse(RefusalId::signatureMismatch, sig);
    // The parameters may be any bytes, and under a small exponent unchecked bytes suffice to forge a block
    // that is a perfect power (Bleichenbacher, CRYPTO 2006).
    return key.e.bits() >= leastForgivingBits || *payload == asn1::blob(encodeDigestInfo(hashId, digest)) ||
           *payload == asn1::blob(encodeDigestInfoWithoutNull(hashId, digest)) ||
           reading.refuse(RefusalId::digestParameters, *payload);
}

bool RsaPublicKey::verifyHashed(HashID hashId, asn1::blob digest, asn1::blob sig) const {
    detail::Reading reading(sig);
    return detail::verifyHashed(reading, *this, hashId, digest, sig);
}

asn1::blob RsaPublicKey::parseHashFromDerEncoded(HashID expected, asn1::blob block) {
    detail::Reading reading(block);
    return detail::readDigestInfo(reading, expected, block);
}

std::vector<unsigned char> RsaPrivateKey::signHashed(HashID hashId, asn1::blob digest) const {
    if (!detail::isUsable(*this) || (hashId != HashID::MD5SHA1 && !hasDigestInfo(hashId)))
        return {};
    std::vector<unsigned char> const digestInfo =
        hashId == HashID::MD5SHA1 ? std::vector<unsigned char>(digest.begin(), digest.end())
                                  : encodeDigestInfo(hashId, digest);
    unsigned const length = detail::modulusLength(*this);
    if (digestInfo.size() + 1 > length)
        return {};
    // The order matters: in a block too short for 00 01 FF 00, later writes overwrite earlier ones.
    std::vector<unsigned char> block(length, 0xFF);
    size_t const separator = length - digestInfo.size() - 1;
    block[0] = 0x00;
    if (separator > 0)
        block[1] = 0x01;
    block[separator] = 0x00;
    std::copy(digestInfo.begin(), digestInfo.end(), block.begin() + static_cast<ptrdiff_t>(separator) + 1);

    // The leading 00 makes the number smaller than the modulus.
    return detail::privatePower(*this, block);
}
