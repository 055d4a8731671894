#include "keys/rsa_oaep.h"

#include "sealkit/oid.h"
#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/declassify.h"
#include "base/mask.h"
#include "base/secret_bytes.h"
#include "keys/mgf1.h"
#include "keys/rsa_operation.h"

#include <algorithm>
#include <cstring>

namespace {

using detail::Level;
using detail::Reading;
using detail::SecretBytes;

namespace oid = detail::oid;
namespace tag = detail::tag;

/// In bytes; 0 for a hash that the scheme does not support.
unsigned digestSize(HashID hash) {
    asn1::blob const name = getHashOid(hash);
    return name.empty() || detail::schemeHash(name, {}) == HashID::none ? 0
                                                                        : createHash(hash)->digestLength();
}

/// An encoded message: 00, the masked seed, and the masked data.
struct Block {
    std::span<unsigned char> seed, data;

    Block(std::span<unsigned char> bytes, unsigned digest)
        : seed(bytes.subspan(1, digest)), data(bytes.subspan(1 + digest)) {}
};

void addMask(HashID hash, std::span<unsigned char const> seed, std::span<unsigned char> to) {
    detail::addMask(hash, asn1::blob(seed), to);
}

/// 1 if all bits of `differing` are 0, without a branch.
unsigned isZero(unsigned differing) {
    return ((differing | (0U - differing)) >> (8 * sizeof differing - 1)) ^ 1;
}

/// The start of the message in the unmasked data, or 0 if the block is malformed. The steps do not depend on
/// the fault.
size_t findMessage(unsigned first, asn1::blob data, asn1::blob emptyDigest) {
    unsigned bad = first;
    for (size_t i = 0; i < emptyDigest.size(); i++)
        bad |= data[i] ^ static_cast<unsigned>(emptyDigest[i]);
    size_t separator = 0;
    unsigned searching = 1;
    for (size_t i = emptyDigest.size(); i < data.size(); i++) {
        unsigned const isOne = isZero(data[i] ^ 1U);
        separator |= i & detail::maskOf(size_t{searching & isOne});
        // Only zeros may precede the 01.
        bad |= searching & (isOne ^ 1) & (isZero(data[i]) ^ 1);
        searching &= isOne ^ 1;
    }
    bad |= searching;
    return (separator + 1) & detail::maskOf(size_t{isZero(bad)});
}

} // namespace

/// RSAES-OAEP-params ::= SEQUENCE { hashAlgorithm [0] DEFAULT sha1, maskGenAlgorithm [1] DEFAULT mgf1SHA1,
/// pSourceAlgorithm [2] DEFAULT pSpecifiedEmpty }, all tags EXPLICIT
bool detail::readOaepParameters(Reading& reading, asn1::blob parameters, OaepParameters* to) {
    asn1::blob content, algorithm, inner;
    if (!readOnly(reading, parameters, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    auto const refuse = [&](char const* field) {
        return refuseField(reading, field, RefusalId::unsupportedKeyEncryption, parameters.start,
                           {{"found", "RSAES-OAEP with " + oidName(algorithm)}});
    };
    OaepParameters read{HashID::SHA1, HashID::SHA1};
    if (fields.tag == tag::constructed(0)) {
        if (!takeWrapped(fields, 0, "hashAlgorithm", &algorithm, &inner))
            return false;
        read.hash = schemeHash(algorithm, inner);
        if (read.hash == HashID::none)
            return refuse("hashAlgorithm");
    }
    if (fields.tag == tag::constructed(1)) {
        if (!takeWrapped(fields, 1, "maskGenAlgorithm", &algorithm, &inner))
            return false;
        read.maskHash = maskHash(reading, algorithm, inner);
        if (read.maskHash == HashID::none)
            return refuse("maskGenAlgorithm");
    }
    if (fields.tag == tag::constructed(2)) {
        static constexpr unsigned char noLabel[] = {tag::octetString, 0};
        if (!takeWrapped(fields, 2, "pSourceAlgorithm", &algorithm, &inner))
            return false;
        if (!(algorithm == asn1::blob(oid::pSpecified)) || !(inner == asn1::blob(noLabel)))
            return refuse("pSourceAlgorithm");
    }
    if (!finish(fields))
        return false;
    *to = read;
    return true;
}

std::vector<unsigned char> detail::encodeOaepParameters(OaepParameters const& parameters) {
    DerEncoder to;
    to.begin(tag::sequence);
    if (parameters.hash != HashID::SHA1) {
        to.begin(tag::constructed(0));
        saveHash(to, parameters.hash);
        to.end();
    }
    if (parameters.maskHash != HashID::SHA1) {
        to.begin(tag::constructed(1)).begin(tag::sequence).addOid(oid::mgf1);
        saveHash(to, parameters.maskHash);
        to.end().end();
    }
    to.end();
    return to.take();
}

size_t maxOaepMessage(RsaPublicKey const& key, OaepParameters const& parameters) {
    unsigned const length = detail::modulusLength(key), digest = digestSize(parameters.hash);
    bool const isKnown = digest != 0 && digestSize(parameters.maskHash) != 0;
    return isKnown && length >= 2 * digest + 2 ? length - 2 * digest - 2 : 0;
}

std::vector<unsigned char> encryptOaep(RsaPublicKey const& key, OaepParameters const& parameters,
                                       asn1::blob message, Rng const& rng) {
    size_t const room = maxOaepMessage(key, parameters);
    if (!detail::isUsable(key) || room == 0 || message.size() > room)
        return {};
    std::vector<unsigned char> const emptyDigest = calcDigest(parameters.hash, asn1::blob());
    SecretBytes bytes{std::vector<unsigned char>(detail::modulusLength(key))};
    Block const block(bytes.value, static_cast<unsigned>(emptyDigest.size()));
    if (!rng.fill(block.seed.data(), static_cast<unsigned>(block.seed.size())))
        return {};
    std::ranges::copy(emptyDigest, block.data.begin());
    block.data[block.data.size() - message.size() - 1] = 1;
    std::copy(message.begin(), message.end(), block.data.last(message.size()).begin());
    addMask(parameters.maskHash, block.seed, block.data);
    addMask(parameters.maskHash, block.data, block.seed);
    return detail::publicPower(key, bytes);
}

bool decryptOaep(RsaPrivateKey const& key, OaepParameters const& parameters, asn1::blob encrypted,
                 std::vector<unsigned char>& message) {
    // The shortest modulus only holds an empty message, which is valid.
    unsigned const length = detail::modulusLength(key), digest = digestSize(parameters.hash);
    if (digest == 0 || digestSize(parameters.maskHash) == 0 || encrypted.size() != length ||
        length < 2 * digest + 2)
        return false;
    SecretBytes bytes(detail::privatePower(key, encrypted));
    if (bytes.value.empty())
        return false;
    Block const block(bytes.value, digest);
    addMask(parameters.maskHash, block.data, block.seed);
    addMask(parameters.maskHash, block.seed, block.data);
    std::vector<unsigned char> const emptyDigest = calcDigest(parameters.hash, asn1::blob());
    size_t const start = detail::declassified(
        detail::Told::padding,
        findMessage(bytes.value[0], std::span<unsigned char const>(block.data), emptyDigest));
    if (start == 0)
        return false;
    message.assign(block.data.begin() + static_cast<std::ptrdiff_t>(start), block.data.end());
    return true;
}
