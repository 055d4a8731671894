#include "keys/legacy_cipher.h"

#include "sealkit/rc4.h"
#include "sealkit/wipe.h"

#include "asn1/oids.h"
#include "keys/content_cipher.h"

#include <cstring>
#include <limits>

namespace detail {

namespace {

constexpr unsigned desKeySize = 8;

/// DES, and triple DES with two keys, are triple DES with repeated keys.
std::unique_ptr<Cipher> makeTripleDes(LegacyCipher const& cipher, std::span<unsigned char const> key,
                                      asn1::blob iv) {
    unsigned char keys[3 * desKeySize];
    for (unsigned i = 0; i < 3; i++)
        std::memcpy(keys + i * desKeySize, key.data() + i * desKeySize % cipher.keySize, desKeySize);
    std::unique_ptr<Cipher> keyed =
        makeContentCipher(*findContentCipher(oid::desEde3Cbc), std::span<unsigned char const>(keys), iv);
    secureMemset(keys, 0, sizeof keys);
    return keyed;
}

} // namespace

char const* LegacyCipher::name() const {
    switch (kind) {
    case Kind::des:
        return "DES-CBC";
    case Kind::twoKeyTripleDes:
        return "DES-EDE2-CBC";
    case Kind::tripleDes:
        return "DES-EDE3-CBC";
    case Kind::rc2:
        return effectiveBits == 40 ? "RC2-CBC with 40 bits" : "RC2-CBC";
    case Kind::rc4:
        return effectiveBits == 40 ? "RC4 with 40 bits" : "RC4";
    }
    return "";
}

bool canBeDecrypted(LegacyCipher const& cipher, asn1::blob data) {
    return data.size() <= std::numeric_limits<unsigned>::max() && !data.empty() &&
           (!cipher.isBlockCipher() || data.size() % LegacyCipher::blockSize == 0);
}

bool decrypt(LegacyCipher const& cipher, std::span<unsigned char const> key, asn1::blob iv, asn1::blob data,
             Rc2Decryptor rc2, std::vector<unsigned char>& out) {
    switch (cipher.kind) {
    case LegacyCipher::Kind::rc4: {
        RC4 stream;
        stream.setKey(key.data(), static_cast<unsigned>(key.size()));
        out.resize(data.size());
        stream.encrypt(data.data(), out.data(), static_cast<unsigned>(data.size()));
        return true;
    }
    case LegacyCipher::Kind::rc2:
        out.resize(data.size());
        rc2(key, cipher.effectiveBits, iv, data, out.data());
        return removePadding(LegacyCipher::blockSize, out);
    default:
        return decryptPadded(*findContentCipher(oid::desEde3Cbc), *makeTripleDes(cipher, key, iv), data, out);
    }
}

} // namespace detail
