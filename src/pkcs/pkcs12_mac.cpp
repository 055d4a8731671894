#include "pkcs/pkcs12_mac.h"

#include "sealkit/hmac.h"
#include "sealkit/oid_names.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/pbe1.h"
#include "keys/pkcs12_kdf.h"
#include "pkcs/pkcs12_reading.h"
#include "pkcs/read.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tag = detail::tag;

using detail::Level;
using detail::Reading;

namespace {

constexpr unsigned saltSize = 16;

/// DigestInfo ::= SEQUENCE { digestAlgorithm AlgorithmIdentifier, digest OCTET STRING }
bool readDigestInfo(Reading& reading, asn1::blob content, detail::PKCS12Mac& to) {
    Reading::Step const step(reading, "mac");
    Level fields(reading, content);
    asn1::blob algorithm;
    if (!detail::take(fields, tag::sequence, &algorithm, "digestAlgorithm") ||
        !detail::readPlainAlgorithm(reading, algorithm, to.algorithm) ||
        !detail::take(fields, tag::octetString, &to.value, "digest") || !detail::finish(fields))
        return false;
    // An empty value would be mistaken for a missing MAC.
    return !to.value.empty() || reading.refuse(RefusalId::emptyMac, to.value);
}

} // namespace

/// MacData ::= SEQUENCE { mac DigestInfo, macSalt OCTET STRING, iterations INTEGER DEFAULT 1 }
bool detail::read(Reading& reading, asn1::blob macData, PKCS12Mac& to) {
    Reading::Step const step(reading, "macData");
    asn1::blob content, digestInfo;
    if (!readOnly(reading, macData, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::sequence, &digestInfo, "mac") || !readDigestInfo(reading, digestInfo, to) ||
        !take(fields, tag::octetString, &to.salt, "macSalt"))
        return false;
    if (atEnd(fields))
        return true;
    asn1::blob const count = fields.value();
    return takeUInt(fields, &to.iterations, "iterations") && finish(fields) &&
           checkCount(reading, to.iterations, count);
}

detail::FileHash detail::macHashOf(AlgorithmIdentifier const& algorithm, PasswordSchemes const& schemes) {
    asn1::blob const oid = algorithm.oid;
    if (HashID const id = getHashID(oid); id != HashID::none || !schemes.all)
        return fileHashOf(id);
    return oid == oid::sha224       ? FileHash::sha224
           : oid == oid::sha512_256 ? FileHash::sha512_256
                                    : FileHash::none;
}

std::vector<unsigned char> detail::pkcs12Mac(FileHash id, asn1::blob password, asn1::blob salt,
                                             unsigned iterations, asn1::blob data) {
    unsigned char bytes[64];
    std::unique_ptr<Hash> hash = createFileHash(id);
    if (hash == nullptr)
        return {};
    std::span<unsigned char> const key(bytes, hash->digestLength());
    deriveByPkcs12(*hash, password, salt, iterations, PKCS12Purpose::mac, key);
    OwningHMAC hmac(std::move(hash), key.data(), static_cast<unsigned>(key.size()));
    secureMemset(bytes, 0, sizeof bytes);
    do {
        size_t const size = std::min<size_t>(data.size(), std::numeric_limits<unsigned>::max());
        hmac.update(data.data(), static_cast<unsigned>(size));
        data.pop_front(size);
    } while (!data.empty());
    std::vector<unsigned char> mac(hmac.digestLength());
    hmac.digest(mac.data());
    return mac;
}

bool PKCS12PFX::readMac(detail::PKCS12Reading& file, asn1::blob element) {
    detail::PKCS12Mac read;
    if (!detail::read(file.reading, element, read))
        return false;
    macAlgorithm = std::move(read.algorithm);
    mac = detail::copyOf(read.value);
    macSalt = detail::copyOf(read.salt);
    macIterations = read.iterations;
    macData = detail::copyOf(element);
    return true;
}

bool PKCS12PFX::setMacHash(HashID hash) {
    if (hash == HashID::none || getHashOid(hash).empty())
        return false;
    macAlgorithm = {detail::copyOf(getHashOid(hash)), DerEncoder().addNull().take()};
    return true;
}

std::string PKCS12PFX::macName() const { return oidName(macAlgorithm.oid); }

void PKCS12PFX::saveMAC(DerEncoder& to) const {
    if (mac.empty())
        return;
    Reading silent;
    detail::PKCS12Mac parsed;
    if (!macData.empty() && detail::read(silent, macData, parsed) &&
        parsed.algorithm.oid == macAlgorithm.oid && parsed.algorithm.params == macAlgorithm.params &&
        parsed.value == asn1::blob(mac) && parsed.salt == asn1::blob(macSalt) &&
        parsed.iterations == macIterations) {
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
        setMacHash(HashID::SHA256);
    HashID const hash = getHashID(macAlgorithm.oid);
    if (hash == HashID::none || macIterations > pkcs12MaxIterations)
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
    return detail::pkcs12Mac(detail::fileHashOf(hash), bmp, salt, detail::macCount(macIterations), data);
}
