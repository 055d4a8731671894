#include "sealkit/pbes2.h"
#include "sealkit/pkcs8.h"
#include "sealkit/rng.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"

#include <iostream>

namespace {

namespace oid = detail::oid;
namespace tag = detail::tag;

constexpr unsigned saltSize = 16, ivSize = 16;

bool fillRandom(std::vector<unsigned char>& bytes, unsigned size) {
    bytes.resize(size);
    return getDefaultRng().fill(bytes.data(), size);
}

} // namespace

std::unique_ptr<PrivateKey> parsePkcs8EncryptedPrivateKey(asn1::blob der, std::string_view password) {
    asn1::blob content, identifier, encrypted;
    if (!detail::readOnly(der, tag::sequence, &content))
        return nullptr;
    asn1::parser info(content);
    AlgorithmIdentifier algorithm;
    if (!detail::take(info, tag::sequence, &identifier) || !parse(algorithm, identifier) ||
        !detail::take(info, tag::octetString, &encrypted) || !detail::atEnd(info))
        return nullptr;
    if (!(asn1::blob(algorithm.oid) == oid::pbes2)) {
        std::cout << "PKCS8: unsupported PBE: <" << oid2name(algorithm.oid) << ">" << std::endl;
        return nullptr;
    }
    detail::SecretBytes key;
    return pbes2_crypt(algorithm, password, encrypted, key.value, false) ? parseOneAssimetricKey(key)
                                                                         : nullptr;
}

std::vector<unsigned char> encodePkcs8EncryptedPrivateKey(PrivateKey const& key, std::string_view password,
                                                          unsigned iterations) {
    detail::SecretBytes const plain(encodePkcs8PrivateKey(key));
    PBES2Params params;
    params.kdf = detail::copyOf(oid::pbkdf2);
    params.prf = detail::copyOf(oid::hmacWithSha256);
    params.iterations = iterations;
    params.cipher = detail::copyOf(oid::aes256Cbc);
    if (plain.value.empty() || !fillRandom(params.salt, saltSize) || !fillRandom(params.iv, ivSize))
        return {};
    std::vector<unsigned char> const encrypted = pbes2_encrypt(plain, password, params);
    if (encrypted.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence).begin(tag::sequence).addOid(oid::pbes2);
    save(params, encoder);
    encoder.end().addOctetString(encrypted).end();
    return encoder.take();
}
