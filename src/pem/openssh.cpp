#include "sealkit/openssh.h"

#include "sealkit/der.h"
#include "sealkit/pkcs8.h"
#include "sealkit/rng.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/bytes.h"
#include "base/secret_bytes.h"
#include "base/view.h"
#include "keys/read.h"
#include "kp/base64.h"
#include "pem/openssh.h"
#include "pem/read.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::Reading;
using detail::SecretBytes;
using detail::viewOf;

constexpr std::string_view magic{"openssh-key-v1\0", 15};
constexpr std::string_view none = "none", lineBlanks = " \t";
constexpr size_t paddingBlock = 8;              ///< Of an unencrypted private part.
constexpr size_t maxNumberSize = 16384 / 8 + 1; ///< The largest RSA modulus with a leading zero byte.

/// A key type of OpenSSH.
struct SshType {
    std::string_view name;
    std::string_view curveName; ///< Empty for types without a curve.
    KeyType type;
    Curve curve;
};

constexpr SshType types[] = {
    {"ssh-rsa", "", KeyType::RSA, Curve{}},
    {"ssh-ed25519", "", KeyType::Ed25519, Curve{}},
    {"ecdsa-sha2-nistp256", "nistp256", KeyType::EC, Curve::p256},
    {"ecdsa-sha2-nistp384", "nistp384", KeyType::EC, Curve::p384},
    {"ecdsa-sha2-nistp521", "nistp521", KeyType::EC, Curve::p521},
};

SshType const* findType(std::string_view name) {
    auto const row = std::ranges::find(types, name, &SshType::name);
    return row == std::end(types) ? nullptr : row;
}

/// The type of a key; null if OpenSSH does not support it.
SshType const* typeOf(PublicKey const& key) {
    auto const* const ec = dynamic_cast<EcPublicKey const*>(&key);
    auto const row = std::ranges::find_if(types, [&](SshType const& one) {
        return one.type == key.keyType() && (ec == nullptr || one.curve == ec->curve);
    });
    return row == std::end(types) ? nullptr : row;
}

/// Reads consecutive fields of RFC 4251, section 5.
class Fields {
public:
    Fields(Reading& carried, asn1::blob bytes) : reading(carried), rest(bytes) {}

    bool take(std::uint32_t* number, char const* field) {
        if (rest.size() < sizeof *number)
            return refuse(field);
        *number = detail::loadBigEndian<std::uint32_t>(rest.data());
        rest.pop_front(sizeof *number);
        return true;
    }

    bool take(asn1::blob* string, char const* field) {
        std::uint32_t size = 0;
        if (!take(&size, field))
            return false;
        if (size > rest.size())
            return refuse(field);
        *string = asn1::blob(rest.data(), size);
        rest.pop_front(size);
        return true;
    }

    /// Takes a positive number in the form of an INTEGER's content, without leading zero bytes.
    bool takeNumber(asn1::blob* number, char const* field) {
        if (!take(number, field))
            return false;
        if (number->size() > maxNumberSize)
            return reading.refuse(RefusalId::rsaKeyTooLarge, *number, {{"field", field}});
        bool const isPositive = !number->empty() && (*number)[0] < 0x80;
        bool const isShortest = number->size() < 2 || (*number)[0] != 0 || (*number)[1] >= 0x80;
        return (isPositive && isShortest) || refuse(field, *number);
    }

    bool refuse(char const* field) { return refuse(field, rest); }
    bool refuse(char const* field, asn1::blob at) {
        return reading.refuse(RefusalId::malformedOpensshKey, at, {{"field", field}});
    }

    Reading& reading;
    asn1::blob rest;
};

bool refuseType(Reading& reading, asn1::blob name) {
    return reading.refuse(RefusalId::unknownKeyAlgorithm, name, {{"algorithm", std::string(viewOf(name))}});
}

bool takeType(Fields& fields, SshType const** type) {
    asn1::blob name, curve;
    if (!fields.take(&name, "type"))
        return false;
    *type = findType(viewOf(name));
    if (*type == nullptr)
        return refuseType(fields.reading, name);
    return (*type)->curveName.empty() ||
           (fields.take(&curve, "curve") &&
            (viewOf(curve) == (*type)->curveName || fields.refuse("curve", curve)));
}

/// Encodes a key in the DER of its class, whose reader then reads it.
template <typename Base, typename K>
std::unique_ptr<Base> readDer(Reading& reading, asn1::blob params, asn1::blob der, asn1::blob origin) {
    Reading::Derived const derived(reading, der, origin.start, "DER made of the key");
    auto key = std::make_unique<K>();
    if (!detail::read(reading, params, der, *key))
        return nullptr;
    return key;
}

std::vector<unsigned char> curveParams(Curve curve) {
    EcPublicKey key;
    key.curve = curve;
    return detail::copyOf(key.algorithmParams());
}

/// Reads a public key from exactly `bytes`.
std::unique_ptr<PublicKey> readPublic(Reading& reading, asn1::blob bytes) {
    Fields fields(reading, bytes);
    SshType const* type = nullptr;
    asn1::blob first, second;
    if (!takeType(fields, &type))
        return nullptr;
    bool const isRsa = type->type == KeyType::RSA;
    if (isRsa ? !fields.takeNumber(&first, "exponent") || !fields.takeNumber(&second, "modulus")
              : !fields.take(&first, "public key"))
        return nullptr;
    if (!fields.rest.empty()) {
        reading.refuse(RefusalId::trailingBytes, fields.rest);
        return nullptr;
    }
    if (isRsa) {
        DerEncoder der;
        der.begin(tag::sequence).add(tag::integer, second).add(tag::integer, first).end();
        return readDer<PublicKey, RsaPublicKey>(reading, {}, der.buf, bytes);
    }
    if (type->type == KeyType::Ed25519)
        return readDer<PublicKey, Ed25519PublicKey>(reading, {}, first, first);
    return readDer<PublicKey, EcPublicKey>(reading, curveParams(type->curve), first, first);
}

std::unique_ptr<PrivateKey> readPrivateRsa(Fields& fields, asn1::blob origin) {
    asn1::blob n, e, d, coefficient, p, q;
    if (!fields.takeNumber(&n, "modulus") || !fields.takeNumber(&e, "exponent") ||
        !fields.takeNumber(&d, "private exponent") || !fields.takeNumber(&coefficient, "coefficient") ||
        !fields.takeNumber(&p, "first prime") || !fields.takeNumber(&q, "second prime"))
        return nullptr;
    // OpenSSH omits the members that can be computed.
    auto const exponentFor = [d](asn1::blob prime) {
        BigNum modulus(prime), quotient, exponent;
        if (modulus.bits() > 1) {
            modulus -= bn64(1);
            div(BigNum(d), modulus, &quotient, &exponent);
        }
        return exponent;
    };
    DerEncoder der;
    der.begin(tag::sequence).addInteger(0).add(tag::integer, n).add(tag::integer, e).add(tag::integer, d);
    der.add(tag::integer, p).add(tag::integer, q).addInteger(exponentFor(p)).addInteger(exponentFor(q));
    der.add(tag::integer, coefficient).end();
    SecretBytes const bytes(der.take());
    return readDer<PrivateKey, RsaPrivateKey>(fields.reading, {}, bytes, origin);
}

std::unique_ptr<PrivateKey> readPrivateEc(Fields& fields, Curve curve, asn1::blob origin) {
    asn1::blob point, scalar;
    if (!fields.take(&point, "public key") || !fields.takeNumber(&scalar, "private key"))
        return nullptr;
    DerEncoder der;
    der.begin(tag::sequence).addInteger(1).addOctetString(scalar);
    der.begin(tag::constructed(1)).addBitString(point).end().end();
    SecretBytes const bytes(der.take());
    return readDer<PrivateKey, EcPrivateKey>(fields.reading, curveParams(curve), bytes, origin);
}

std::unique_ptr<PrivateKey> readPrivateEd25519(Fields& fields, asn1::blob origin) {
    constexpr size_t seedSize = 32;
    asn1::blob publicKey, both;
    if (!fields.take(&publicKey, "public key") || !fields.take(&both, "private key"))
        return nullptr;
    if (both.size() != 2 * seedSize || !(asn1::blob(both.data() + seedSize, seedSize) == publicKey)) {
        fields.refuse("private key", both);
        return nullptr;
    }
    DerEncoder der;
    der.addOctetString(asn1::blob(both.data(), seedSize));
    SecretBytes const bytes(der.take());
    return readDer<PrivateKey, Ed25519PrivateKey>(fields.reading, {}, bytes, origin);
}

/// Reads the private part of a file: two equal numbers, the key, its comment, and the padding 1, 2, 3 … up to
/// a whole block.
std::unique_ptr<PrivateKey> readPrivate(Reading& reading, asn1::blob bytes, std::string* comment) {
    Reading::Step const step(reading, "private key");
    Fields fields(reading, bytes);
    std::uint32_t check = 0, again = 0;
    SshType const* type = nullptr;
    if (!fields.take(&check, "check") || !fields.take(&again, "check"))
        return nullptr;
    if (check != again || bytes.size() % paddingBlock != 0) {
        fields.refuse("check");
        return nullptr;
    }
    if (!takeType(fields, &type))
        return nullptr;
    std::unique_ptr<PrivateKey> key = type->type == KeyType::RSA  ? readPrivateRsa(fields, bytes)
                                      : type->type == KeyType::EC ? readPrivateEc(fields, type->curve, bytes)
                                                                  : readPrivateEd25519(fields, bytes);
    asn1::blob text;
    if (key == nullptr || !fields.take(&text, "comment"))
        return nullptr;
    bool isPadding = fields.rest.size() < paddingBlock;
    for (size_t i = 0; isPadding && i < fields.rest.size(); i++)
        isPadding = fields.rest[i] == i + 1;
    if (!isPadding) {
        fields.refuse("padding");
        return nullptr;
    }
    if (comment != nullptr)
        *comment = viewOf(text);
    return key;
}

/// The parts of a file.
struct SshFile {
    asn1::blob cipher, publicKey, privatePart;
};

bool readFile(Reading& reading, asn1::blob bytes, SshFile& to) {
    if (!viewOf(bytes).starts_with(magic))
        return reading.refuse(RefusalId::malformedOpensshKey, bytes, {{"field", "magic"}});
    bytes.pop_front(magic.size());
    Fields fields(reading, bytes);
    asn1::blob kdf, kdfOptions;
    std::uint32_t count = 0;
    if (!fields.take(&to.cipher, "cipher") || !fields.take(&kdf, "key derivation") ||
        !fields.take(&kdfOptions, "key derivation options") || !fields.take(&count, "number of keys"))
        return false;
    if (count != 1)
        return reading.refuse(count == 0 ? RefusalId::malformedOpensshKey : RefusalId::severalKeys,
                              fields.rest, {{"keys", std::to_string(count)}});
    return fields.take(&to.publicKey, "public key") && fields.take(&to.privatePart, "private key") &&
           // The authentication tag follows an encrypted part.
           (fields.rest.empty() || viewOf(to.cipher) != none ||
            reading.refuse(RefusalId::trailingBytes, fields.rest));
}

/// Appends fields in the form of `Fields`. Wiped, because they may be a key.
class Writer {
public:
    Writer() { bytes.value.reserve(room); }

    void add(std::uint32_t number) {
        unsigned char octets[4];
        detail::storeBigEndian(octets, number);
        addBytes({octets, sizeof octets});
    }
    void add(asn1::blob string) {
        add(static_cast<std::uint32_t>(string.size()));
        addBytes(string);
    }
    void add(BigNum const& number) {
        DerEncoder encoder;
        encoder.addInteger(number);
        SecretBytes const der(encoder.take());
        add(asn1::parser(asn1::blob(der)).value());
    }
    void addBytes(asn1::blob more) { bytes.value.insert(bytes.value.end(), more.begin(), more.end()); }

    /// Never reallocated: it has room for the largest RSA key with a comment of `maxComment`.
    static constexpr size_t maxComment = 4096, room = 32768;
    SecretBytes bytes;
};

/// Writes the type and the public key.
bool addPublic(Writer& to, PublicKey const& key) {
    SshType const* const type = typeOf(key);
    if (type == nullptr)
        return false;
    to.add(type->name);
    if (auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key)) {
        to.add(rsa->e);
        to.add(rsa->n);
    } else if (auto const* const ec = dynamic_cast<EcPublicKey const*>(&key)) {
        to.add(type->curveName);
        to.add(ec->EcPublicKey::encodeToDerEncoded());
    } else if (auto const* const ed = dynamic_cast<Ed25519PublicKey const*>(&key)) {
        to.add(ed->pub);
    }
    return true;
}

/// Reads the public key back to validate it, with the point of an EC key; null if it is malformed.
std::unique_ptr<PublicKey> checkedPublic(PublicKey const& key) {
    return parsePkcs8PublicKey(encodePkcs8PublicKey(key), nullptr);
}

/// Writes the type and the public and private numbers in the order of the private part.
bool addPrivate(Writer& to, PrivateKey const& key, PublicKey const& half) {
    if (auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key)) {
        to.add(types[0].name);
        for (BigNum const* number : {&rsa->n, &rsa->e, &rsa->d, &rsa->coeff, &rsa->p, &rsa->q})
            to.add(*number);
        return true;
    }
    if (!addPublic(to, half))
        return false;
    if (auto const* const ec = dynamic_cast<EcPrivateKey const*>(&key)) {
        to.add(ec->secret);
    } else if (auto const* const ed = dynamic_cast<Ed25519PrivateKey const*>(&key)) {
        to.add(static_cast<std::uint32_t>(ed->secret.size() + ed->pub.size()));
        to.addBytes(ed->secret);
        to.addBytes(ed->pub);
    }
    return true;
}

/// Finds the first block with the label, or otherwise the first line.
bool findBlock(std::string_view text, PemBlock* block) {
    PemReader reader(detail::withoutByteOrderMark(text));
    while (reader.next(block))
        if (block->label == detail::opensshLabel)
            return true;
    return false;
}

} // namespace

std::unique_ptr<PrivateKey> detail::readOpensshBlock(Reading& reading, PemBlock const& block,
                                                     std::string* comment) {
    SecretBytes bytes;
    if (!decode(reading, block, &bytes.value))
        return nullptr;
    Reading::Block const within(reading, block.number, bytes);
    SshFile file;
    if (!readFile(reading, bytes, file))
        return nullptr;
    if (viewOf(file.cipher) != none) {
        reading.refuse(RefusalId::encryptedOpensshKey, file.cipher,
                       {{"cipher", std::string(viewOf(file.cipher))}});
        return nullptr;
    }
    std::unique_ptr<PublicKey> const half = readPublic(reading, file.publicKey);
    std::unique_ptr<PrivateKey> key = half ? readPrivate(reading, file.privatePart, comment) : nullptr;
    if (key != nullptr && !key->equals(*half)) {
        reading.refuse(RefusalId::publicKeyMismatch, file.publicKey);
        key.reset();
    }
    return key;
}

std::unique_ptr<PublicKey> detail::readOpensshPublicBlock(Reading& reading, PemBlock const& block) {
    SecretBytes bytes;
    if (!decode(reading, block, &bytes.value))
        return nullptr;
    Reading::Block const within(reading, block.number, bytes);
    SshFile file;
    return readFile(reading, bytes, file) ? readPublic(reading, file.publicKey) : nullptr;
}

std::unique_ptr<PublicKey> detail::readOpensshLine(Reading& reading, std::string_view text,
                                                   std::string* comment) {
    size_t number = 0;
    std::string_view line;
    while (!text.empty()) {
        line = takeLine(text);
        number++;
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        line.remove_prefix(std::min(line.find_first_not_of(lineBlanks), line.size()));
        if (!line.empty() && line.front() != '#')
            break;
        line = {};
    }
    auto const takeWord = [&line] {
        size_t const end = std::min(line.find_first_of(lineBlanks), line.size());
        std::string_view const word = line.substr(0, end);
        line.remove_prefix(end);
        line.remove_prefix(std::min(line.find_first_not_of(lineBlanks), line.size()));
        return word;
    };
    auto const refuse = [&](char const* field) {
        reading.refuseLine(RefusalId::malformedOpensshKey, 0, number, {{"field", field}});
        return nullptr;
    };
    std::string_view const name = takeWord(), encoded = takeWord();
    if (encoded.empty())
        return refuse("public key");
    std::vector<unsigned char> bytes(encoded.size() / 4 * 3);
    size_t const size = kp::base64Decode(encoded, bytes);
    if (size == kp::base64Failure)
        return refuse("base64");
    bytes.resize(size);
    Reading::Derived const derived(reading, bytes, nullptr, "decoded key");
    Fields fields(reading, bytes);
    asn1::blob within;
    if (!fields.take(&within, "type"))
        return nullptr;
    if (viewOf(within) != name)
        return refuse("type");
    std::unique_ptr<PublicKey> key = readPublic(reading, bytes);
    if (key != nullptr && comment != nullptr)
        *comment = line;
    return key;
}

std::unique_ptr<PrivateKey> readOpensshPrivateKey(std::string_view text, Refusal* refusal,
                                                  std::string* comment) {
    Reading reading(text, refusal);
    PemBlock block;
    if (findBlock(text, &block))
        return detail::readOpensshBlock(reading, block, comment);
    reading.refuse(RefusalId::pemWithoutBlock, nullptr,
                   {{"expected", std::string(detail::opensshLabel)}, {"found", listPemLabels(text)}});
    return nullptr;
}

std::unique_ptr<PublicKey> readOpensshPublicKey(std::string_view text, Refusal* refusal,
                                                std::string* comment) {
    Reading reading(text, refusal);
    PemBlock block;
    return findBlock(text, &block)
               ? detail::readOpensshPublicBlock(reading, block)
               : detail::readOpensshLine(reading, detail::withoutByteOrderMark(text), comment);
}

std::vector<unsigned char> encodeOpensshPublicKey(PublicKey const& key, std::string_view comment) {
    std::unique_ptr<PublicKey> const half = checkedPublic(key);
    Writer blob;
    if (half == nullptr || comment.find_first_of("\r\n") != std::string_view::npos || !addPublic(blob, *half))
        return {};
    std::string line(typeOf(*half)->name);
    line += ' ';
    line += kp::base64Encode(blob.bytes.value);
    if (!comment.empty())
        line.append(" ").append(comment);
    line += '\n';
    return {line.begin(), line.end()};
}

std::vector<unsigned char> encodeOpensshPrivateKey(PrivateKey const& key, std::string_view comment) {
    std::unique_ptr<PublicKey> const half = checkedPublic(key);
    unsigned char check[4];
    Writer blob, secrets, file;
    if (half == nullptr || comment.size() > Writer::maxComment ||
        !getDefaultRng().fill(check, sizeof check) || !addPublic(blob, *half))
        return {};
    secrets.addBytes({check, sizeof check});
    secrets.addBytes({check, sizeof check});
    if (!addPrivate(secrets, key, *half))
        return {};
    secrets.add(comment);
    for (unsigned char i = 1; secrets.bytes.value.size() % paddingBlock != 0; i++)
        secrets.addBytes({&i, 1});
    file.addBytes(magic);
    file.add(none);
    file.add(none);
    file.add(asn1::blob());
    file.add(1);
    file.add(asn1::blob(blob.bytes));
    file.add(asn1::blob(secrets.bytes));
    std::vector<unsigned char> pem = encodePemType(std::string(detail::opensshLabel), file.bytes.value);
    // Reads the output back, which detects invalid members.
    if (readOpensshPrivateKey(viewOf(asn1::blob(pem)), nullptr) == nullptr) {
        detail::wipe(pem);
        pem.clear();
    }
    return pem;
}
