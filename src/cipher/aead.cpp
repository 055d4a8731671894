#include "sealkit/aead.h"

#include "sealkit/gcm.h"
#include "sealkit/siv.h"
#include "sealkit/wipe.h"

#include "aes.h"
#include "gcm_in_place.h"

#include <memory>
#include <utility>
#include <vector>

namespace {

using Bytes = std::span<unsigned char const>;

constexpr size_t gcmNonceSize = 12;
/// From here on `GCMCipher` authenticates lengths modulo 2^32 bits.
constexpr size_t gcmSizeLimit = size_t{1} << 29;

bool succeedOrWipe(bool succeeded, std::span<unsigned char> out) {
    if (!succeeded && !out.empty())
        secureMemset(out.data(), 0, out.size());
    return succeeded;
}

/// GCM with other tag sizes.
class TaggedGcm : public GCMCipher {
public:
    TaggedGcm(std::unique_ptr<BlockCipher> cipher, size_t tagSize) : GCMCipher(std::move(cipher)) {
        tagLength = static_cast<unsigned char>(tagSize);
    }
};

/// GCM at the start of a message; null for invalid parameters.
std::unique_ptr<GCMCipher> beginGcm(AeadParameters const& parameters, size_t tagSize = aeadTagSize) {
    if (parameters.nonce.size() != gcmNonceSize || parameters.associatedData.size() >= gcmSizeLimit)
        return nullptr;
    std::unique_ptr<BlockCipher> aes = detail::makeAes(parameters.key);
    if (aes == nullptr)
        return nullptr;
    auto gcm = std::make_unique<TaggedGcm>(std::move(aes), tagSize);
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

bool detail::isGcmSize(size_t size) { return size < gcmSizeLimit; }

bool detail::sealGcmInPlace(AeadParameters const& parameters, std::vector<unsigned char>& buffer) {
    size_t const size = buffer.size();
    std::unique_ptr<GCMCipher> const gcm = isGcmSize(size) ? beginGcm(parameters) : nullptr;
    if (gcm == nullptr)
        return false;
    buffer.resize(size + aeadTagSize);
    gcm->encrypt(buffer.data(), static_cast<unsigned>(size), parameters.associatedData.data(),
                 static_cast<unsigned>(parameters.associatedData.size()), buffer.data());
    return true;
}

bool detail::openGcmInPlace(AeadParameters const& parameters, size_t tagSize,
                            std::vector<unsigned char>& buffer) {
    bool const fits = tagSize >= minGcmTagSize && tagSize <= aeadTagSize && buffer.size() >= tagSize &&
                      isGcmSize(buffer.size() - tagSize);
    std::unique_ptr<GCMCipher> const gcm = fits ? beginGcm(parameters, tagSize) : nullptr;
    size_t const size = fits ? buffer.size() - tagSize : 0;
    bool const isAuthentic =
        gcm != nullptr &&
        gcm->decrypt(buffer.data(), static_cast<unsigned>(buffer.size()), parameters.associatedData.data(),
                     static_cast<unsigned>(parameters.associatedData.size()), buffer.data()) == size;
    if (!isAuthentic)
        succeedOrWipe(false, buffer);
    buffer.resize(isAuthentic ? size : 0);
    return isAuthentic;
}

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
