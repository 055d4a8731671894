#include "sealkit/mlkem_keys.h"

#include "targets.h"

#include <algorithm>
#include <iterator>

/// Keys of ML-KEM-768 in files and in their containers. What is read is written and read again.
void fuzz::mlkem_key(asn1::blob input) {
    std::string_view const text(reinterpret_cast<char const*>(input.data()), input.size());
    MLKEMDecap key;
    Refusal refusal;
    bool const isRead = readMlkemPrivateKey(text, key, &refusal);
    SEALKIT_ASSERT(isRead != static_cast<bool>(refusal));
    std::vector<unsigned char> pub, again;
    if (isRead) {
        SEALKIT_ASSERT(parseMlkemPublicKey(encodeMlkemPublicKey(key), pub, nullptr));
        SEALKIT_ASSERT(asn1::blob(pub) == asn1::blob(key.publicKey));
        SEALKIT_ASSERT(readMlkemPublicKey(text, again, nullptr));
    }
    MLKEMEncap sender;
    if (readMlkemPublicKey(text, pub, nullptr) && !sender.encap(pub).empty() && isRead) {
        SEALKIT_ASSERT(key.decap(sender.encap(pub)));
        SEALKIT_ASSERT(asn1::blob(key.sharedSecret) == asn1::blob(sender.sharedSecret));
    }
    if (input.size() >= mlkemSeedSize) {
        std::span<unsigned char const, mlkemSeedSize> const seed(input.data(), mlkemSeedSize);
        std::vector<unsigned char> const der = encodeMlkemPrivateKey(seed);
        MLKEMDecap made, loaded;
        SEALKIT_ASSERT(made.load({input.data(), mlkemSeedSize}) &&
                       parseMlkemPrivateKey(der, loaded, nullptr));
        SEALKIT_ASSERT(
            std::equal(std::begin(made.secretKey), std::end(made.secretKey), std::begin(loaded.secretKey)));
    }
}
