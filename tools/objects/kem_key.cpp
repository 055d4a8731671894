#include "objects/kem_key.h"

#include "io/exit_status.h"
#include "io/input.h"
#include "objects/key_file.h"

#include "sealkit/mlkem_keys.h"
#include "sealkit/pem.h"
#include "sealkit/wipe.h"

namespace {

/// The result of reading a key, with the reason of a failure.
Opening openingOf(bool isRead, Refusal const& refusal) {
    if (isRead)
        return {};
    if (refusal.id == RefusalId::wrongPassword)
        return {exitNo, "the password is wrong"};
    return {refusal.id == RefusalId::passwordRequired ? exitNo : exitBadInput, refusal};
}

} // namespace

int readKemKey(std::string const& path, PasswordSource const& password, MLKEMDecap& key) {
    auto const contents = readMessage(path);
    if (!contents)
        return exitBadInput;
    return openAsking(path, password, [&](std::string const* word) {
        Refusal refusal;
        bool const isRead = word != nullptr ? readMlkemPrivateKey(textOf(*contents), *word, key, &refusal)
                                            : readMlkemPrivateKey(textOf(*contents), key, &refusal);
        return openingOf(isRead, refusal);
    });
}

int readKemPublicKey(std::string const& path, PasswordSource const& password,
                     std::vector<unsigned char>& key) {
    auto const contents = readMessage(path);
    if (!contents)
        return exitBadInput;
    return openAsking(path, password, [&](std::string const* word) {
        Refusal refusal;
        bool const isRead = word != nullptr ? readMlkemPublicKey(textOf(*contents), *word, key, &refusal)
                                            : readMlkemPublicKey(textOf(*contents), key, &refusal);
        return openingOf(isRead, refusal);
    });
}

SecretBytes encodeKemKey(std::span<unsigned char const, mlkemSeedSize> seed, std::string const* password,
                         unsigned iterations) {
    std::vector<unsigned char> der = password != nullptr
                                         ? encodeMlkemEncryptedPrivateKey(seed, *password, iterations)
                                         : encodeMlkemPrivateKey(seed);
    std::vector<unsigned char> pem =
        encodePemType(password != nullptr ? "ENCRYPTED PRIVATE KEY" : "PRIVATE KEY", der);
    SecretBytes result(pem.begin(), pem.end());
    secureMemset(der.data(), 0, der.size());
    secureMemset(pem.data(), 0, pem.size());
    return result;
}

std::vector<unsigned char> encodeKemPublicKey(MLKEMDecap const& key) {
    return encodePemType("PUBLIC KEY", encodeMlkemPublicKey(key));
}
