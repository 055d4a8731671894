#include "sealkit/mlkem_keys.h"

#include "refusal.h"
#include "targets.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

/// The public key of a private key is written and read again. A secret that is encapsulated for it is
/// decapsulated. Only a damaged expanded key, whose damage cannot be detected, gives another secret.
bool check(MLKEMDecap& key) {
    Bytes pub;
    SEALKIT_ASSERT(parseMlkemPublicKey(encodeMlkemPublicKey(key), pub, nullptr));
    SEALKIT_ASSERT(asn1::blob(pub) == asn1::blob(key.publicKey));
    MLKEMEncap sender;
    Bytes const sealed = sender.encap(pub);
    SEALKIT_ASSERT(!sealed.empty() && key.decap(sealed));
    return asn1::blob(key.sharedSecret) == asn1::blob(sender.sharedSecret);
}

void privateKey(asn1::blob input, std::string_view text) {
    MLKEMDecap key, fromDer;
    bool const isRead = readMlkemPrivateKey(text, key, nullptr);
    bool const isDer = parseMlkemPrivateKey(input, fromDer, nullptr);
    fuzz::checkRefusal(input, isRead, [text](Refusal* refusal) {
        MLKEMDecap anew;
        return readMlkemPrivateKey(text, anew, refusal);
    });
    fuzz::checkRefusal(input, isDer, [input](Refusal* refusal) {
        MLKEMDecap anew;
        return parseMlkemPrivateKey(input, anew, refusal);
    });
    // The public key of a private key that was read is read, too.
    Bytes pub;
    if (isRead) {
        SEALKIT_ASSERT(readMlkemPublicKey(text, pub, nullptr));
        check(key);
        SEALKIT_ASSERT(asn1::blob(pub) == asn1::blob(key.publicKey));
    }
    if (isDer) {
        SEALKIT_ASSERT(isRead);
        SEALKIT_ASSERT(asn1::blob(key.secretKey) == asn1::blob(fromDer.secretKey));
    }
}

void publicKey(asn1::blob input, std::string_view text) {
    Bytes const before = {1, 2};
    Bytes pub = before, fromDer = before;
    bool const isRead = readMlkemPublicKey(text, pub, nullptr);
    bool const isDer = parseMlkemPublicKey(input, fromDer, nullptr);
    fuzz::checkRefusal(input, isRead, [text](Refusal* refusal) {
        Bytes anew;
        return readMlkemPublicKey(text, anew, refusal);
    });
    fuzz::checkRefusal(input, isDer, [input](Refusal* refusal) {
        Bytes anew;
        return parseMlkemPublicKey(input, anew, refusal);
    });
    SEALKIT_ASSERT(isRead ? pub.size() == sizeof MLKEMDecap::publicKey : pub == before);
    SEALKIT_ASSERT(isDer ? isRead && pub == fromDer : fromDer == before);
    MLKEMEncap sender;
    if (isRead)
        sender.encap(pub);
}

} // namespace

/// Keys of ML-KEM-768 in files and in their containers, which are read, written and read again.
void fuzz::mlkem_key(asn1::blob input) {
    std::string_view const text(reinterpret_cast<char const*>(input.data()), input.size());
    privateKey(input, text);
    publicKey(input, text);
    if (input.size() >= mlkemSeedSize) {
        std::span<unsigned char const, mlkemSeedSize> const seed(input.data(), mlkemSeedSize);
        Bytes const der = encodeMlkemPrivateKey(seed);
        MLKEMDecap made, loaded;
        SEALKIT_ASSERT(made.load({input.data(), mlkemSeedSize}) &&
                       parseMlkemPrivateKey(der, loaded, nullptr));
        SEALKIT_ASSERT(
            std::equal(std::begin(made.secretKey), std::end(made.secretKey), std::begin(loaded.secretKey)));
        SEALKIT_ASSERT(check(made));
    }
}
