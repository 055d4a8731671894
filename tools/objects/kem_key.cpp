#include "objects/kem_key.h"

#include "io/exit_status.h"
#include "io/input.h"

#include "sealkit/mlkem_keys.h"
#include "sealkit/pem.h"
#include "sealkit/wipe.h"

namespace {

int complain(std::string const& path, Refusal const& refusal) {
    return badInput(path + ": " + refusal.str());
}

} // namespace

bool readKemKey(std::string const& path, MLKEMDecap& key) {
    auto const contents = readMessage(path);
    if (!contents)
        return false;
    Refusal refusal;
    bool const done = readMlkemPrivateKey(textOf(*contents), key, &refusal);
    if (!done)
        complain(path, refusal);
    return done;
}

std::optional<std::vector<unsigned char>> readKemPublicKey(std::string const& path) {
    auto const contents = readMessage(path);
    if (!contents)
        return std::nullopt;
    Refusal refusal;
    std::vector<unsigned char> key;
    if (readMlkemPublicKey(textOf(*contents), key, &refusal))
        return key;
    complain(path, refusal);
    return std::nullopt;
}

SecretBytes encodeKemKey(std::span<unsigned char const, mlkemSeedSize> seed) {
    std::vector<unsigned char> der = encodeMlkemPrivateKey(seed), pem = encodePemType("PRIVATE KEY", der);
    SecretBytes result(pem.begin(), pem.end());
    secureMemset(der.data(), 0, der.size());
    secureMemset(pem.data(), 0, pem.size());
    return result;
}

std::vector<unsigned char> encodeKemPublicKey(MLKEMDecap const& key) {
    return encodePemType("PUBLIC KEY", encodeMlkemPublicKey(key));
}
