#include "objects/kem_object.h"

#include "sealkit/mlkem_keys.h"

#include <nlohmann/json.hpp>

#include <iterator>

namespace {

OpenedKemKey refused(Refusal refusal) {
    if (refusal.id == RefusalId::unknownKeyAlgorithm)
        return {};
    if (refusal.id == RefusalId::wrongPassword)
        return {std::nullopt, exitNo, "the password is wrong"};
    refusal.block = 0; // The text is a single block, whose number only the caller knows.
    return {std::nullopt, refusal.id == RefusalId::passwordRequired ? exitNo : exitBadInput, refusal};
}

char const* nameOf(MlkemKeyForm const& form) {
    if (form.hasSeed && form.hasExpandedKey)
        return "seed and expanded key";
    return form.hasSeed ? "seed" : "expanded key";
}

template <typename Read>
OpenedKemKey openPublic(Read read) {
    KemKey key;
    Refusal refusal;
    if (!read(key.encapsulationKey, &refusal))
        return refused(std::move(refusal));
    OpenedKemKey opened;
    opened.key = std::move(key);
    return opened;
}

} // namespace

OpenedKemKey openKemPrivateKey(std::string_view text, std::string const* password) {
    MLKEMDecap key;
    MlkemKeyForm form;
    Refusal refusal;
    bool const isRead = password != nullptr ? readMlkemPrivateKey(text, *password, key, &refusal, &form)
                                            : readMlkemPrivateKey(text, key, &refusal, &form);
    if (!isRead)
        return refused(std::move(refusal));
    OpenedKemKey opened;
    opened.key = KemKey{{std::begin(key.publicKey), std::end(key.publicKey)},
                        nameOf(form),
                        {},
                        {std::begin(key.secretKey), std::end(key.secretKey)}};
    if (form.hasSeed)
        opened.key->seed.assign(std::begin(form.seed), std::end(form.seed));
    return opened;
}

OpenedKemKey openKemPublicKey(std::string_view text) {
    return openPublic([text](auto& key, Refusal* refusal) { return readMlkemPublicKey(text, key, refusal); });
}

OpenedKemKey openKemPublicKeyInfo(asn1::blob info) {
    return openPublic(
        [info](auto& key, Refusal* refusal) { return parseMlkemPublicKey(info, key, refusal); });
}

Description describe(KemKey const& key, bool withSecrets) {
    Description result{{"type", "ML-KEM"},
                       {"parameterSet", "ML-KEM-768"},
                       {"encapsulationKey", hexOf(key.encapsulationKey)}};
    if (key.form.empty())
        return result;
    result["privateKeyForm"] = key.form;
    if (!withSecrets) {
        result["secrets"] = secretsNotShown;
        return result;
    }
    if (!key.seed.empty())
        result["secrets"]["seed"] = hexOf(asn1::blob(key.seed.data(), key.seed.size()));
    result["secrets"]["decapsulationKey"] =
        hexOf(asn1::blob(key.decapsulationKey.data(), key.decapsulationKey.size()));
    return result;
}
