#include "sealkit/mlkem_keys.h"
#include "sealkit/oid_names.h"

#include "sealkit/der.h"
#include "sealkit/input_kind.h"
#include "sealkit/oid.h"
#include "sealkit/pem.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "keys/read.h"
#include "pem/read.h"
#include "x509/read.h"

#include <iterator>

namespace {

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

constexpr size_t publicKeySize = sizeof MLKEMDecap::publicKey, secretKeySize = sizeof MLKEMDecap::secretKey;
constexpr unsigned seedTag = tag::primitive(0), attributesTag = tag::constructed(0),
                   publicKeyTag = tag::primitive(1);

/// The AlgorithmIdentifier, whose parameters are absent (RFC 9935, section 3).
bool readAlgorithm(Level& level, char const* field) {
    asn1::blob oid, params;
    if (!detail::takeAlgorithm(level, &oid, &params, field))
        return false;
    if (!(oid == detail::oid::mlkem768))
        return level.reading.refuse(RefusalId::unknownKeyAlgorithm, oid,
                                    {{"expected", "ML-KEM-768"}, {"found", oidName(oid)}});
    return params.empty() || level.reading.refuse(RefusalId::malformedKeyParameters, params);
}

bool checkLength(Reading& reading, asn1::blob value, size_t size) {
    return value.size() == size || reading.refuse(RefusalId::keyLength, value,
                                                  {{"expected", std::to_string(size) + " bytes"},
                                                   {"found", std::to_string(value.size()) + " bytes"}});
}

/// A seed or an expanded key, of its own length.
bool load(Reading& reading, asn1::blob value, MLKEMDecap& to) {
    return to.load(value) || reading.refuse(RefusalId::inconsistentKey, value);
}

/// ML-KEM-768-PrivateKey ::= CHOICE { seed [0] OCTET STRING (64), expandedKey OCTET STRING (2400), both SEQUENCE { seed
/// OCTET STRING, expandedKey OCTET STRING } } (RFC 9935, section 6)
bool readChoice(Reading& reading, asn1::blob der, MLKEMDecap& to) {
    Reading::Step const step(reading, "privateKey");
    unsigned const form = asn1::parser(der).tag;
    asn1::blob content, seed, expanded;
    if (form == seedTag)
        return detail::readOnly(reading, der, seedTag, &seed, "seed") &&
               checkLength(reading, seed, mlkemSeedSize) && load(reading, seed, to);
    if (form == tag::octetString)
        return detail::readOnly(reading, der, tag::octetString, &expanded, "expandedKey") &&
               checkLength(reading, expanded, secretKeySize) && load(reading, expanded, to);
    if (!detail::readOnly(reading, der, tag::sequence, &content, "both"))
        return false;
    Level both(reading, content);
    if (!detail::take(both, tag::octetString, &seed, "seed") ||
        !detail::take(both, tag::octetString, &expanded, "expandedKey") || !detail::finish(both) ||
        !checkLength(reading, seed, mlkemSeedSize) || !checkLength(reading, expanded, secretKeySize) ||
        !load(reading, seed, to))
        return false;
    return asn1::blob(to.secretKey) == expanded || reading.refuse(RefusalId::inconsistentKey, expanded);
}

bool readPrivateInfo(Reading& reading, asn1::blob der, MLKEMDecap& to) {
    asn1::blob content, version, octets;
    if (!detail::readOnly(reading, der, tag::sequence, &content))
        return false;
    Level info(reading, content);
    if (!detail::takeInteger(info, &version, "version") || !readAlgorithm(info, "privateKeyAlgorithm") ||
        !detail::take(info, tag::octetString, &octets, "privateKey"))
        return false;
    detail::skipOptional(info, attributesTag);
    detail::skipOptional(info, publicKeyTag);
    return detail::finish(info) && readChoice(reading, octets, to);
}

bool readPublicInfo(Reading& reading, asn1::blob der, std::vector<unsigned char>& to) {
    asn1::blob content, bits;
    if (!detail::readOnly(reading, der, tag::sequence, &content))
        return false;
    Level info(reading, content);
    if (!readAlgorithm(info, "algorithm") || !detail::take(info, tag::bitString, &bits, "subjectPublicKey") ||
        !detail::finish(info))
        return false;
    if (bits.empty() || bits[0] != 0)
        return reading.refuse(RefusalId::malformedBitString, bits);
    asn1::blob const key = bitStringContent(bits);
    if (!checkLength(reading, key, publicKeySize))
        return false;
    to = detail::copyOf(key);
    return true;
}

bool refuseKind(Reading& reading, char const* expected, char const* found) {
    return reading.refuse(RefusalId::otherKind, nullptr, {{"expected", expected}, {"found", found}});
}

/// Refuses what is no key at all: by its kind where that is known.
bool refuseInput(Reading& reading, InputKind kind) {
    if (kind == InputKind::empty)
        return reading.refuse(RefusalId::emptyInput, nullptr);
    return refuseKind(reading, "ML-KEM-768 key", getInputKindName(kind));
}

bool readPrivateDer(Reading& reading, asn1::blob der, InputKind kind, MLKEMDecap& to) {
    if (kind == InputKind::privateKey || kind == InputKind::otherDer)
        return readPrivateInfo(reading, der, to);
    return refuseInput(reading, kind);
}

InputKind kindOf(asn1::blob bytes) {
    return findInputKind({reinterpret_cast<char const*>(bytes.data()), bytes.size()});
}

bool readPublicDer(Reading& reading, asn1::blob der, std::vector<unsigned char>& to) {
    switch (InputKind const kind = kindOf(der)) {
    case InputKind::publicKey:
        return readPublicInfo(reading, der, to);
    case InputKind::certificate: {
        X509Certificate certificate;
        if (!detail::read(reading, der, certificate))
            return false;
        Reading::Derived const derived(reading, certificate.subjectPublicKeyInfo, nullptr,
                                       "subjectPublicKeyInfo");
        return readPublicInfo(reading, certificate.subjectPublicKeyInfo, to);
    }
    default: {
        MLKEMDecap key;
        if (!readPrivateDer(reading, der, kind, key))
            return false;
        to.assign(std::begin(key.publicKey), std::end(key.publicKey));
        return true;
    }
    }
}

/// Some editors write a byte-order mark in front of text.
std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (text.starts_with(mark))
        text.remove_prefix(mark.size());
    return text;
}

/// Finds the first block that `wanted` says yes to, and reads its DER. Refuses text that has blocks, but none of those.
template <typename Wanted, typename Read>
bool readBlock(Reading& reading, PemReader& reader, char const* label, Wanted wanted, Read read) {
    PemBlock block;
    while (reader.next(&block)) {
        if (!wanted(block.label))
            continue;
        detail::SecretBytes der;
        if (!detail::decode(reading, block, &der.value))
            return false;
        Reading::Block const within(reading, block.number, der);
        return read(asn1::blob(der));
    }
    return detail::finish(reading, reader) &&
           reading.refuse(RefusalId::pemWithoutBlock, nullptr, {{"expected", label}});
}

bool isPrivateLabel(std::string_view label) {
    return label == "PRIVATE KEY" || label == "ENCRYPTED PRIVATE KEY";
}

} // namespace

bool parseMlkemPrivateKey(asn1::blob der, MLKEMDecap& to, Refusal* refusal) {
    Reading reading(der, refusal);
    return readPrivateInfo(reading, der, to);
}

bool parseMlkemPublicKey(asn1::blob der, std::vector<unsigned char>& to, Refusal* refusal) {
    Reading reading(der, refusal);
    return readPublicInfo(reading, der, to);
}

std::vector<unsigned char> encodeMlkemPrivateKey(std::span<unsigned char const, mlkemSeedSize> seed) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(0U).begin(tag::sequence).addOid(detail::oid::mlkem768).end();
    encoder.begin(tag::octetString).add(seedTag, std::span<unsigned char const>(seed)).end().end();
    return encoder.take();
}

std::vector<unsigned char> encodeMlkemPublicKey(MLKEMDecap const& key) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).begin(tag::sequence).addOid(detail::oid::mlkem768).end();
    encoder.addBitString(key.publicKey).end();
    return encoder.take();
}

bool readMlkemPrivateKey(std::string_view text, MLKEMDecap& to, Refusal* refusal) {
    Reading reading(text, refusal);
    if (text.size() == mlkemSeedSize || text.size() == secretKeySize)
        return load(reading, text, to);
    if (text.size() == publicKeySize)
        return refuseKind(reading, "ML-KEM-768 private key", "a public key");
    std::string_view const pem = withoutByteOrderMark(text);
    if (InputKind const kind = findInputKind(pem); kind != InputKind::pem)
        return readPrivateDer(reading, text, kind, to);
    PemReader reader(pem);
    return readBlock(reading, reader, "PRIVATE KEY", isPrivateLabel,
                     [&](asn1::blob der) { return readPrivateDer(reading, der, kindOf(der), to); });
}

bool readMlkemPublicKey(std::string_view text, std::vector<unsigned char>& to, Refusal* refusal) {
    Reading reading(text, refusal);
    if (text.size() == publicKeySize) {
        to.assign(text.begin(), text.end());
        return true;
    }
    if (text.size() == mlkemSeedSize || text.size() == secretKeySize) {
        MLKEMDecap key;
        if (!load(reading, text, key))
            return false;
        to.assign(std::begin(key.publicKey), std::end(key.publicKey));
        return true;
    }
    std::string_view const pem = withoutByteOrderMark(text);
    if (findInputKind(pem) != InputKind::pem)
        return readPublicDer(reading, text, to);
    PemReader reader(pem);
    auto const holdsKey = [](std::string_view label) {
        return isPrivateLabel(label) || label == "PUBLIC KEY" || label == "CERTIFICATE";
    };
    return readBlock(reading, reader, "PUBLIC KEY", holdsKey,
                     [&](asn1::blob der) { return readPublicDer(reading, der, to); });
}
