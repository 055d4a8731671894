#include "keys/pbmac1.h"

#include "sealkit/hmac.h"
#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"

#include <algorithm>
#include <limits>

namespace {

namespace tag = detail::tag;

using detail::Level;
using detail::Reading;

/// A key is usually as long as the digest. With one shorter than that of SHA-1, other passwords could match
/// too easily. One longer than the largest block has no benefit.
constexpr unsigned minKeyLength = 20, maxKeyLength = 128;

} // namespace

/// PBMAC1-params ::= SEQUENCE { keyDerivationFunc AlgorithmIdentifier, messageAuthScheme AlgorithmIdentifier
/// }
bool detail::read(Reading& reading, asn1::blob params, Pbmac1& to) {
    Reading::Step const step(reading, "PBMAC1");
    constexpr PasswordSchemes everyFunction{.all = true, .rc2 = nullptr};
    asn1::blob content, function, scheme, schemeParams;
    if (!readOnly(reading, params, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::sequence, &function, "keyDerivationFunc") ||
        !takeAlgorithm(fields, &scheme, &schemeParams, "messageAuthScheme") || !finish(fields) ||
        !readKeyDerivation(reading, function, everyFunction, to.key) ||
        !checkDerivation(reading, to.key, everyFunction))
        return false;
    to.hash = hashOfHmac(scheme);
    if (to.hash == FileHash::none)
        return reading.refuse(RefusalId::unsupportedMac, scheme, {{"MAC", oidName(scheme)}});
    unsigned const size = to.key.keyLength.value_or(0);
    if (size >= minKeyLength && size <= maxKeyLength)
        return true;
    return reading.refuse(RefusalId::malformedEncryptionParameters, function,
                          {{"expected", "a key of " + std::to_string(minKeyLength) + " to " +
                                            std::to_string(maxKeyLength) + " bytes"},
                           {"found", to.key.keyLength ? std::to_string(size) : "no length"}});
}

std::vector<unsigned char> detail::computePbmac1(Reading& reading, Pbmac1 const& mac,
                                                 std::string_view password, asn1::blob data) {
    SecretBytes key(std::vector<unsigned char>(mac.key.keyLength.value_or(0)));
    if (!deriveKey(reading, mac.key, password, key.value))
        return {};
    OwningHMAC hmac(createFileHash(mac.hash), key.value.data(), static_cast<unsigned>(key.value.size()));
    do {
        size_t const size = std::min<size_t>(data.size(), std::numeric_limits<unsigned>::max());
        hmac.update(data.data(), static_cast<unsigned>(size));
        data.pop_front(size);
    } while (!data.empty());
    std::vector<unsigned char> value(hmac.digestLength());
    hmac.digest(value.data());
    return value;
}
