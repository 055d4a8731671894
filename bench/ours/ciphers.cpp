// Each mode in both directions, with a new key for every run, because many keys encrypt a single record.
#include "ours/ours.h"

#include "inputs.h"

#include <sealkit/aead.h>
#include <sealkit/cipher.h>
#include <sealkit/cmac.h>

#include <array>

namespace bench {

namespace {

void addMode(Rows& rows, std::string const& name, CipherID id, unsigned keySize, unsigned ivSize) {
    for (bool const encrypts : {true, false})
        rows.addSize(name + (encrypts ? "_encrypt" : "_decrypt"), recordSize, [=](size_t size) {
            return [=, in = message(size), out = Bytes(size)]() mutable {
                auto const cipher = createCipher(id, key(keySize), ivSize);
                cipher->setIV(iv(ivSize).data(), ivSize);
                auto const length = static_cast<unsigned>(in.size());
                if (encrypts)
                    cipher->encrypt(in.data(), length, nullptr, 0, out.data());
                else
                    return cipher->decrypt(in.data(), length, nullptr, 0, out.data()) == length;
                return true;
            };
        });
}

using Aead = bool (*)(AeadParameters const&, std::span<unsigned char const>, std::span<unsigned char>);

void addAead(Rows& rows, std::string const& name, Aead seal, Aead open, size_t keySize, size_t size) {
    static unsigned char const header[13] = {};
    AeadParameters const parameters = {key(keySize), iv(12), header};
    rows.addSize(name + "_encrypt", size, [=](size_t) {
        return [=, in = message(size), out = Bytes(size + aeadTagSize)]() mutable {
            return seal(parameters, in, out);
        };
    });
    rows.addSize(name + "_decrypt", size, [=](size_t) {
        Bytes sealed(size + aeadTagSize);
        seal(parameters, message(size), sealed);
        return [=, out = Bytes(size)]() mutable { return open(parameters, sealed, out); };
    });
}

} // namespace

void addCiphers(Rows& rows) {
    addMode(rows, "aes128_cbc", CipherID::AesCbc, 16, 16);
    addMode(rows, "aes256_cbc", CipherID::AesCbc, 32, 16);
    addMode(rows, "aes128_ctr", CipherID::AesCtr, 16, 16);
    addMode(rows, "aes128_cfb", CipherID::AesCfb, 16, 16);
    addMode(rows, "3des_cbc", CipherID::TripleDesCbc, 24, 8);
    for (size_t const size : {size_t{64}, recordSize})
        addAead(rows, "aes128_gcm", sealAesGcm, openAesGcm, 16, size);
    addAead(rows, "aes256_gcm", sealAesGcm, openAesGcm, 32, recordSize);
    addAead(rows, "aes128_siv", sealAesSiv, openAesSiv, 32, recordSize);
    rows.addSize("aes128_cmac", recordSize, [](size_t size) {
        return [in = message(size)] {
            std::array<unsigned char, 16> mac;
            aesCmac128(key(16).data(), in.data(), static_cast<unsigned>(in.size()), mac.data());
            return true;
        };
    });
}

} // namespace bench
