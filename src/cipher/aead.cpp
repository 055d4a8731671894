#include "sealkit/aead.h"

#include "sealkit/gcm.h"
#include "sealkit/siv.h"
#include "sealkit/wipe.h"

#include "aes.h"

#include <memory>
#include <utility>
#include <vector>

namespace {

using Bytes = std::span<unsigned char const>;

constexpr size_t gcmNonceSize = 12;
constexpr size_t gcmSizeLimit = size_t{1}
                                << 29; ///< From here on `GCMCipher` authenticates lengths modulo 2^32 bits.

bool succeedOrWipe(bool succeeded, std::span<unsigned char> out) {
    if (!succeeded && !out.empty())
        secureMemset(out.data(), 0, out.size());
    return succeeded;
}

/// GCM at the start of a message. Null for parameters that it does not take.
std::unique_ptr<GCMCipher> beginGcm(AeadParameters const& parameters) {
    if (parameters.nonce.size() != gcmNonceSize || parameters.associatedData.size() >= gcmSizeLimit)
        return nullptr;
    std::unique_ptr<BlockCipher> aes = detail::makeAes(parameters.key);
    if (aes == nullptr)
        return nullptr;
    auto gcm = std::make_unique<GCMCipher>(std::move(aes));
    gcm->setIV(parameters.nonce.data(), gcmNonceSize);
    return gcm;
}

std::vector<Bytes> stringsOf(AeadParameters const& parameters) {
    std::vector<Bytes> strings{parameters.associatedData};
    if (!parameters.nonce.empty())
        strings.push_back(parameters.nonce);
    return strings;
}

bool seal(AeadParameters const& parameters, Bytes plaintext, std::span<unsigned char> out) {
    if (plaintext.size() >= gcmSizeLimit || out.size() != plaintext.size() + aeadTagSize)
        return false;
    std::unique_ptr<GCMCipher> const gcm = beginGcm(parameters);
    if (gcm == nullptr)
        return false;
    gcm->encrypt(plaintext.data(), static_cast<unsigned>(plaintext.size()), parameters.associatedData.data(),
                 static_cast<unsigned>(parameters.associatedData.size()), out.data());
    return true;
}

bool open(AeadParameters const& parameters, Bytes sealed, std::span<unsigned char> out) {
    if (sealed.size() < aeadTagSize || sealed.size() - aeadTagSize >= gcmSizeLimit ||
        out.size() != sealed.size() - aeadTagSize)
        return false;
    std::unique_ptr<GCMCipher> const gcm = beginGcm(parameters);
    return gcm != nullptr &&
           gcm->decrypt(sealed.data(), static_cast<unsigned>(sealed.size()), parameters.associatedData.data(),
                        static_cast<unsigned>(parameters.associatedData.size()), out.data()) == out.size();
}

} // namespace

bool sealAesGcm(AeadParameters const& parameters, Bytes plaintext, std::span<unsigned char> out) {
    return succeedOrWipe(seal(parameters, plaintext, out), out);
}

bool openAesGcm(AeadParameters const& parameters, Bytes sealed, std::span<unsigned char> out) {
    return succeedOrWipe(open(parameters, sealed, out), out);
}

bool sealAesSiv(AeadParameters const& parameters, Bytes plaintext, std::span<unsigned char> out) {
    return succeedOrWipe(out.size() >= aeadTagSize && out.size() - aeadTagSize == plaintext.size() &&
                             AESSIV(parameters.key).encrypt(plaintext, stringsOf(parameters), out.data()),
                         out);
}

bool openAesSiv(AeadParameters const& parameters, Bytes sealed, std::span<unsigned char> out) {
    return succeedOrWipe(sealed.size() >= aeadTagSize && sealed.size() - aeadTagSize == out.size() &&
                             AESSIV(parameters.key).decrypt(sealed, stringsOf(parameters), out.data()),
                         out);
}
