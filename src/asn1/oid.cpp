#include "sealkit/oid.h"

#include "asn1/oids.h"
#include "asn1/tags.h"
#include "sealkit/asn1.h"
#include "sealkit/bignum.h"

namespace oid = detail::oid;

namespace {

/// How far the library supports an algorithm of the table.
enum class Use { named, read, readAndWritten };

struct SignatureAlgorithm {
    asn1::blob oid;
    char const* name; ///< Null if the dotted form is shown.
    Use use;
    KeyType type;
    HashID hash;
};

constexpr SignatureAlgorithm signatureAlgorithms[] = {
    {oid::md5WithRsa, "MD5+RSA", Use::read, KeyType::RSA, HashID::MD5},
    {oid::sha1WithRsa, "SHA1+RSA", Use::readAndWritten, KeyType::RSA, HashID::SHA1},
    {oid::sha256WithRsa, "SHA256+RSA", Use::readAndWritten, KeyType::RSA, HashID::SHA256},
    {oid::sha384WithRsa, "SHA384+RSA", Use::readAndWritten, KeyType::RSA, HashID::SHA384},
    {oid::sha512WithRsa, "SHA512+RSA", Use::readAndWritten, KeyType::RSA, HashID::SHA512},
    {oid::ecdsaWithSha1, "SHA1+ECDSA", Use::readAndWritten, KeyType::EC, HashID::SHA1},
    {oid::ecdsaWithSha224, "SHA224+ECDSA", Use::named, KeyType::EC, HashID::none},
    {oid::ecdsaWithSha256, "SHA256+ECDSA", Use::readAndWritten, KeyType::EC, HashID::SHA256},
    {oid::ecdsaWithSha384, "SHA384+ECDSA", Use::readAndWritten, KeyType::EC, HashID::SHA384},
    {oid::ecdsaWithSha512, "SHA512+ECDSA", Use::readAndWritten, KeyType::EC, HashID::SHA512},
    {oid::ed25519, "ED25519", Use::readAndWritten, KeyType::Ed25519, HashID::none},
    {oid::x25519, nullptr, Use::readAndWritten, KeyType::X25519, HashID::none},
    {oid::ed448, "ED448", Use::named, KeyType::Ed25519, HashID::none},
};

struct HashAlgorithm {
    HashID id;
    asn1::blob oid;
    asn1::blob hmac; ///< Empty if no HMAC is supported.
};

constexpr HashAlgorithm hashAlgorithms[] = {
    {HashID::MD5, oid::md5, {}},
    {HashID::SHA1, oid::sha1, oid::hmacWithSha1},
    {HashID::SHA256, oid::sha256, oid::hmacWithSha256},
    {HashID::SHA384, oid::sha384, {}},
    {HashID::SHA512, oid::sha512, oid::hmacWithSha512},
};

struct KeyAlgorithm {
    asn1::blob oid;
    KeyType type;
};

constexpr KeyAlgorithm keyAlgorithms[] = {
    {oid::rsaEncryption, KeyType::RSA},
    {oid::ecPublicKey, KeyType::EC},
    {oid::ed25519, KeyType::Ed25519},
    {oid::x25519, KeyType::X25519},
};

struct NamedCurve {
    asn1::blob oid;
    Curve id;
};

constexpr NamedCurve namedCurves[] = {
    {oid::p192, Curve::p192}, {oid::p224, Curve::p224}, {oid::p256, Curve::p256},
    {oid::p384, Curve::p384}, {oid::p521, Curve::p521},
};

SignatureAlgorithm const* findSignatureAlgorithm(asn1::blob oid) {
    for (SignatureAlgorithm const& row : signatureAlgorithms)
        if (row.oid == oid)
            return &row;
    return nullptr;
}

KeyAlgorithm const* findKeyAlgorithm(asn1::blob oid) {
    for (KeyAlgorithm const& row : keyAlgorithms)
        if (row.oid == oid)
            return &row;
    return nullptr;
}

/// Takes the octets of one arc off `oid` and returns its text (X.690, section 8.19.2).
std::string takeArc(asn1::blob& oid) {
    // Bounds the conversion to decimal, whose time is quadratic. UUIDs as arcs (ITU-T X.667) take 19 octets.
    constexpr size_t maxShown = 64;
    constexpr size_t maxInWord = 9;

    asn1::blob arc(oid.start, size_t{0});
    bool complete = false;
    while (!oid.empty() && !complete) {
        complete = (oid.pop_front() & 0x80) == 0;
        arc.finish = oid.start;
    }
    if (!complete)
        return "(truncated)";
    if (arc.size() > maxShown)
        return "(" + std::to_string(arc.size()) + " octets)";
    if (arc.size() <= maxInWord) {
        unsigned long long number = 0;
        for (unsigned char octet : arc)
            number = (number << 7) + (octet & 0x7F);
        return std::to_string(number);
    }
    BigNum number;
    for (unsigned char octet : arc) {
        number *= 0x80u;
        number += octet & 0x7Fu;
    }
    return number.strDec();
}

} // namespace

std::string oidStr(asn1::blob oid) {
    if (oid.empty())
        return "()";
    unsigned const first = oid.pop_front();
    std::string text = std::to_string(first / 40) + "." + std::to_string(first % 40);
    while (!oid.empty())
        text += "." + takeArc(oid);
    return text;
}

std::string str(asn1::blob const& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char byte : bytes) {
        if (!text.empty())
            text += ':';
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::string oid2name(asn1::blob oid) {
    SignatureAlgorithm const* const row = findSignatureAlgorithm(oid);
    return row && row->name ? row->name : oidStr(oid);
}

asn1::blob getHashOid(HashID id) {
    for (HashAlgorithm const& row : hashAlgorithms)
        if (row.id == id)
            return row.oid;
    return {};
}

asn1::blob getHashOid(unsigned id) { return getHashOid(static_cast<HashID>(id)); }

HashID getHashID(asn1::blob oid) {
    if (oid.empty())
        return HashID::none;
    for (HashAlgorithm const& row : hashAlgorithms)
        if (row.oid == oid || row.hmac == oid)
            return row.id;
    return HashID::none;
}

asn1::blob getKeyInfoFromKeyHash(KeyType type, HashID hash) {
    for (SignatureAlgorithm const& row : signatureAlgorithms)
        if (row.use == Use::readAndWritten && row.type == type && row.hash == hash)
            return row.oid;
    return {};
}

asn1::blob getKeyInfoFromKeyHash(KeyType type, unsigned hash) {
    return getKeyInfoFromKeyHash(type, static_cast<HashID>(hash));
}

bool parseAlgosFromKeyInfo(asn1::blob algId, KeyType* type, HashID* hash) {
    asn1::parser content(algId);
    if (!content.enter(detail::tag::sequence))
        return false;
    SignatureAlgorithm const* const row = findSignatureAlgorithm(content.take());
    if (!row || row->use == Use::named)
        return false;
    *type = row->type;
    *hash = row->hash;
    return true;
}

KeyType getKeyType(asn1::blob oid) {
    KeyAlgorithm const* const row = findKeyAlgorithm(oid);
    return row ? row->type : KeyType::RSA;
}

bool isKeyAlgorithm(asn1::blob oid) { return findKeyAlgorithm(oid) != nullptr; }

asn1::blob getKeyOid(KeyType type) {
    for (KeyAlgorithm const& row : keyAlgorithms)
        if (row.type == type)
            return row.oid;
    return {};
}

asn1::blob getCurveOid(Curve id) {
    for (NamedCurve const& row : namedCurves)
        if (row.id == id)
            return row.oid;
    return {};
}

asn1::blob getCurveOid(unsigned id) { return getCurveOid(static_cast<Curve>(id)); }

Curve getCurveID(asn1::blob oid) {
    for (NamedCurve const& row : namedCurves)
        if (row.oid == oid)
            return row.id;
    return Curve{};
}
