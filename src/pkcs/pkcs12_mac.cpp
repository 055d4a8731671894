#include "pkcs/pkcs12_mac.h"

#include "sealkit/hmac.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "pkcs/parse.h"

#include <algorithm>
#include <limits>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

constexpr unsigned saltSize = 16;

struct Mac {
    AlgorithmIdentifier algorithm;
    asn1::blob value, salt;
    unsigned iterations = 0; ///< 0 when they are left out.
};

/// DigestInfo ::= SEQUENCE { digestAlgorithm AlgorithmIdentifier, digest OCTET STRING }
bool readDigestInfo(asn1::blob content, Mac& to) {
    asn1::parser fields(content);
    asn1::blob algorithm;
    // A MAC of no bytes would be taken for none.
    return detail::take(fields, tag::sequence, &algorithm) &&
           detail::parseAlgorithm(to.algorithm, algorithm) &&
           detail::take(fields, tag::octetString, &to.value) && detail::atEnd(fields) && !to.value.empty();
}

/// MacData ::= SEQUENCE { mac DigestInfo, macSalt OCTET STRING, iterations INTEGER DEFAULT 1 }
bool readMacData(asn1::blob macData, Mac& to) {
    asn1::blob content, digestInfo;
    if (!detail::readOnly(macData, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::take(fields, tag::sequence, &digestInfo) || !readDigestInfo(digestInfo, to) ||
        !detail::take(fields, tag::octetString, &to.salt))
        return false;
    if (detail::atEnd(fields))
        return true;
    return detail::takeUInt(fields, &to.iterations) && detail::atEnd(fields) && to.iterations != 0 &&
           to.iterations <= pkcs12MostIterations;
}

} // namespace

std::vector<unsigned char> detail::pkcs12Mac(HashID hash, asn1::blob password, asn1::blob salt,
                                             unsigned iterations, asn1::blob data) {
    unsigned char bytes[64];
    std::unique_ptr<Hash> const sized = createHash(hash);
    if (sized == nullptr || sized->digestLength() > sizeof bytes)
        return {};
    std::span<unsigned char> const key(bytes, sized->digestLength());
    if (!pkcs12_kdf(hash, password, salt, iterations, PKCS12Purpose::mac, key))
        return {};
    std::unique_ptr<HMAC> const hmac = createHMAC(hash, key);
    secureMemset(bytes, 0, sizeof bytes);
    do {
        size_t const size = std::min<size_t>(data.size(), std::numeric_limits<unsigned>::max());
        hmac->update(data.data(), static_cast<unsigned>(size));
        data.pop_front(size);
    } while (!data.empty());
    std::vector<unsigned char> mac(hmac->digestLength());
    hmac->digest(mac.data());
    return mac;
}

bool PKCS12PFX::parseMAC(asn1::blob element) {
    Mac read;
    if (!readMacData(element, read))
        return false;
    macAlgorithm = std::move(read.algorithm);
    mac = detail::copyOf(read.value);
    macSalt = detail::copyOf(read.salt);
    macIterations = read.iterations;
    macData = detail::copyOf(element);
    return true;
}

void PKCS12PFX::saveMAC(DerEncoder& to) const {
    if (mac.empty())
        return;
    Mac parsed;
    if (!macData.empty() && readMacData(macData, parsed) && parsed.algorithm.oid == macAlgorithm.oid &&
        parsed.algorithm.params == macAlgorithm.params && parsed.value == asn1::blob(mac) &&
        parsed.salt == asn1::blob(macSalt) && parsed.iterations == macIterations) {
        to.addEncoded(macData);
        return;
    }
    to.begin(tag::sequence).begin(tag::sequence);
    ::save(macAlgorithm, to);
    to.addOctetString(mac).end().addOctetString(macSalt);
    to.addInteger(bn64(detail::macCount(macIterations))).end();
}

std::vector<unsigned char> PKCS12PFX::computeMAC(std::string_view password, asn1::blob salt,
                                                 asn1::blob data) {
    if (macAlgorithm.oid.empty())
        macAlgorithm = {detail::copyOf(oid::sha256), DerEncoder().addNull().take()};
    HashID const hash = getHashID(macAlgorithm.oid);
    if (hash == HashID::none || macIterations > pkcs12MostIterations)
        return {};
    if (salt.empty()) {
        if (macSalt.empty()) {
            std::vector<unsigned char> drawn(saltSize);
            if (!getDefaultRng().fill(drawn.data(), saltSize))
                return {};
            macSalt = std::move(drawn);
        }
        salt = macSalt;
    }
    detail::SecretBytes const bmp(pkcs12_password(password));
    return detail::pkcs12Mac(hash, bmp, salt, detail::macCount(macIterations), data);
}
