#include "sealkit/mlkem_keys.h"
#include "sealkit/oid_names.h"

#include "sealkit/der.h"
#include "sealkit/oid.h"
#include "sealkit/pem.h"
#include "sealkit/wipe.h"

#include "asn1/input_kind.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "keys/read.h"
#include "pem/read.h"
#include "pq/mlkem_native.h"
#include "x509/read.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace {

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

constexpr size_t publicKeySize = sizeof MLKEMDecap::publicKey, secretKeySize = sizeof MLKEMDecap::secretKey;
constexpr unsigned seedTag = tag::primitive(0), attributesTag = tag::constructed(0),
                   publicKeyTag = tag::primitive(1);

/// Reads the AlgorithmIdentifier, whose parameters must be absent (RFC 9935, section 3).
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

using Password = std::optional<std::string_view>;

/// A private key and the form that its container has.
struct Loaded {
    MLKEMDecap& key;
    MlkemKeyForm& form;
};

/// Reads a seed or an expanded key, according to its size.
bool load(Reading& reading, asn1::blob value, Loaded to) {
    if (!to.key.load(value))
        return reading.refuse(RefusalId::inconsistentKey, value);
    if (value.size() == mlkemSeedSize) {
        to.form.hasSeed = true;
        std::ranges::copy(value, to.form.seed);
    } else {
        to.form.hasExpandedKey = true;
    }
    return true;
}

/// ML-KEM-768-PrivateKey ::= CHOICE { seed [0] OCTET STRING (64), expandedKey OCTET STRING (2400), both
/// SEQUENCE { seed OCTET STRING, expandedKey OCTET STRING } } (RFC 9935, section 6)
bool readChoice(Reading& reading, asn1::blob der, Loaded to) {
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
    to.form.hasExpandedKey = true;
    return asn1::blob(to.key.secretKey) == expanded || reading.refuse(RefusalId::inconsistentKey, expanded);
}

bool readPrivateInfo(Reading& reading, asn1::blob der, Loaded to) {
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

/// Copies an encapsulation key that passes the checks of FIPS 203, section 7.2.
bool takePublicKey(Reading& reading, asn1::blob key, std::vector<unsigned char>& to) {
    if (!checkLength(reading, key, publicKeySize))
        return false;
    if (PQCP_MLKEM_NATIVE_MLKEM768_check_pk(key.data()) != 0)
        return reading.refuse(RefusalId::publicKeyOutOfRange, key);
    to = detail::copyOf(key);
    return true;
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
    return takePublicKey(reading, bitStringContent(bits), to);
}

bool refuseKind(Reading& reading, char const* expected, char const* found) {
    return reading.refuse(RefusalId::otherKind, nullptr, {{"expected", expected}, {"found", found}});
}

/// Refuses input that is not a key, with its kind if that is known.
bool refuseInput(Reading& reading, InputKind kind) {
    if (kind == InputKind::empty)
        return reading.refuse(RefusalId::emptyInput, nullptr);
    return refuseKind(reading, "ML-KEM-768 key", getInputKindName(kind));
}

bool readEncryptedInfo(Reading& reading, asn1::blob der, Password password, Loaded to) {
    return detail::readEncryptedKey(reading, der, password,
                                    [&](asn1::blob plain) { return readPrivateInfo(reading, plain, to); });
}

bool readPrivateDer(Reading& reading, asn1::blob der, InputKind kind, Password password, Loaded to) {
    if (kind == InputKind::privateKey || kind == InputKind::otherDer)
        return readPrivateInfo(reading, der, to);
    if (kind == InputKind::encryptedPrivateKey)
        return readEncryptedInfo(reading, der, password, to);
    return refuseInput(reading, kind);
}

void takePublicKey(MLKEMDecap const& key, std::vector<unsigned char>& to) {
    to.assign(std::begin(key.publicKey), std::end(key.publicKey));
}

bool readPublicDer(Reading& reading, asn1::blob der, Password password, std::vector<unsigned char>& to) {
    switch (InputKind const kind = findInputKind(der)) {
    case InputKind::publicKey:
        return readPublicInfo(reading, der, to);
    case InputKind::certificate: {
        X509Certificate certificate;
        asn1::blob info;
        if (!detail::readWithKeyInfo(reading, der, certificate, &info))
            return false;
        Reading::Step const step(reading, "subjectPublicKeyInfo");
        return readPublicInfo(reading, info, to);
    }
    default: {
        MLKEMDecap key;
        MlkemKeyForm form;
        if (!readPrivateDer(reading, der, kind, password, {key, form}))
            return false;
        takePublicKey(key, to);
        return true;
    }
    }
}

/// Reads the DER of the first block that `wanted` accepts. Refuses text without such a block.
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

bool isPublicLabel(std::string_view label) {
    return isPrivateLabel(label) || label == "PUBLIC KEY" || label == "CERTIFICATE";
}

/// Whether a text of `kind` is the raw bytes of a key, going by its size. PEM and containers may have the
/// same size.
bool isRaw(std::string_view text, InputKind kind, size_t size) {
    return text.size() == size && kind != InputKind::pem && kind != InputKind::privateKey &&
           kind != InputKind::encryptedPrivateKey && kind != InputKind::publicKey;
}

bool readPrivate(std::string_view text, Password password, Loaded to, Refusal* refusal) {
    Reading reading(text, refusal);
    std::string_view const pem = detail::withoutByteOrderMark(text);
    InputKind const kind = findInputKind(pem);
    if (isRaw(text, kind, mlkemSeedSize) || isRaw(text, kind, secretKeySize))
        return load(reading, text, to);
    if (isRaw(text, kind, publicKeySize))
        return refuseKind(reading, "ML-KEM-768 private key", "a public key");
    if (kind != InputKind::pem)
        return readPrivateDer(reading, text, kind, password, to);
    PemReader reader(pem);
    return readBlock(reading, reader, "PRIVATE KEY", isPrivateLabel, [&](asn1::blob der) {
        return readPrivateDer(reading, der, findInputKind(der), password, to);
    });
}

bool readPublic(std::string_view text, Password password, std::vector<unsigned char>& to, Refusal* refusal) {
    Reading reading(text, refusal);
    std::string_view const pem = detail::withoutByteOrderMark(text);
    InputKind const kind = findInputKind(pem);
    if (isRaw(text, kind, publicKeySize))
        return takePublicKey(reading, text, to);
    if (isRaw(text, kind, mlkemSeedSize) || isRaw(text, kind, secretKeySize)) {
        MLKEMDecap key;
        MlkemKeyForm form;
        if (!load(reading, text, {key, form}))
            return false;
        takePublicKey(key, to);
        return true;
    }
    if (kind != InputKind::pem)
        return readPublicDer(reading, text, password, to);
    PemReader reader(pem);
    return readBlock(reading, reader, "PUBLIC KEY", isPublicLabel,
                     [&](asn1::blob der) { return readPublicDer(reading, der, password, to); });
}

/// Calls `read` with a key and its form. `asked` may be null.
template <typename Read>
bool readWithForm(MLKEMDecap& to, MlkemKeyForm* asked, Read read) {
    MlkemKeyForm own;
    MlkemKeyForm& form = asked != nullptr ? *asked : own;
    form = {};
    return read(Loaded{to, form});
}

} // namespace

MlkemKeyForm::~MlkemKeyForm() { secureMemset(seed, 0, sizeof seed); }

bool parseMlkemPrivateKey(asn1::blob der, MLKEMDecap& to, Refusal* refusal, MlkemKeyForm* form) {
    Reading reading(der, refusal);
    return readWithForm(to, form, [&](Loaded loaded) { return readPrivateInfo(reading, der, loaded); }) ||
           detail::refuseOtherKind(reading, InputKind::privateKey, detail::findDerKind(der));
}

bool parseMlkemEncryptedPrivateKey(asn1::blob der, std::string_view password, MLKEMDecap& to,
                                   Refusal* refusal, MlkemKeyForm* form) {
    Reading reading(der, refusal);
    return readWithForm(to, form,
                        [&](Loaded loaded) { return readEncryptedInfo(reading, der, password, loaded); }) ||
           detail::refuseOtherKind(reading, InputKind::encryptedPrivateKey, detail::findDerKind(der));
}

bool parseMlkemPublicKey(asn1::blob der, std::vector<unsigned char>& to, Refusal* refusal) {
    Reading reading(der, refusal);
    return readPublicInfo(reading, der, to) ||
           detail::refuseOtherKind(reading, InputKind::publicKey, detail::findDerKind(der));
}

std::vector<unsigned char> encodeMlkemPrivateKey(std::span<unsigned char const, mlkemSeedSize> seed) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(0U).begin(tag::sequence).addOid(detail::oid::mlkem768).end();
    encoder.begin(tag::octetString).add(seedTag, std::span<unsigned char const>(seed)).end().end();
    return encoder.take();
}

std::vector<unsigned char> encodeMlkemEncryptedPrivateKey(std::span<unsigned char const, mlkemSeedSize> seed,
                                                          std::string_view password, unsigned iterations) {
    return detail::encryptKey(detail::SecretBytes(encodeMlkemPrivateKey(seed)), password, iterations);
}

std::vector<unsigned char> encodeMlkemPublicKey(MLKEMDecap const& key) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).begin(tag::sequence).addOid(detail::oid::mlkem768).end();
    encoder.addBitString(key.publicKey).end();
    return encoder.take();
}

bool readMlkemPrivateKey(std::string_view text, MLKEMDecap& to, Refusal* refusal, MlkemKeyForm* form) {
    return readWithForm(to, form,
                        [&](Loaded loaded) { return readPrivate(text, std::nullopt, loaded, refusal); });
}

bool readMlkemPrivateKey(std::string_view text, std::string_view password, MLKEMDecap& to, Refusal* refusal,
                         MlkemKeyForm* form) {
    return readWithForm(to, form,
                        [&](Loaded loaded) { return readPrivate(text, password, loaded, refusal); });
}

bool readMlkemPublicKey(std::string_view text, std::vector<unsigned char>& to, Refusal* refusal) {
    return readPublic(text, std::nullopt, to, refusal);
}

bool readMlkemPublicKey(std::string_view text, std::string_view password, std::vector<unsigned char>& to,
                        Refusal* refusal) {
    return readPublic(text, password, to, refusal);
}
