#include "sealkit/mschapv2.h"

#include "sealkit/block.h"
#include "sealkit/hash.h"
#include "sealkit/wipe.h"

#include "base/secret_bytes.h"
#include "base/view.h"
#include "hash/secret_digest.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

using Md4 = detail::SecretDigest<MD4, 16>;
using Sha1 = detail::SecretDigest<SHA1, 20>;

constexpr size_t maxPasswordLength = 256; ///< Characters (RFC 2759 section 8.1).
constexpr size_t keySize = 16;

// RFC 2759 section 8.7.
constexpr std::string_view signingMagic = "Magic server to client signing constant";
constexpr std::string_view paddingMagic = "Pad to make it do more than one iteration";

// RFC 3079 section 3.4.
constexpr std::string_view masterKeyMagic = "This is the MPPE Master Key";
constexpr std::string_view clientSendsMagic =
    "On the client side, this is the send key; on the server side, it is the receive key.";
constexpr std::string_view serverSendsMagic =
    "On the client side, this is the receive key; on the server side, it is the send key.";
constexpr unsigned char shsPad1[40] = {};
constexpr unsigned char shsPad2[40] = {0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2,
                                       0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2,
                                       0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2,
                                       0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2, 0xf2};

// Modelled on those of RFC 3079. Both sides hash "auther".
constexpr std::string_view peerChallengeMagic = "This is for peer challenge";
constexpr std::string_view authChallengeMagic = "This is for auther challenge";

std::string text(asn1::blob bytes) { return std::string(detail::viewOf(bytes)); }

/// NtPasswordHash (RFC 2759 section 8.3): MD4 of the password in UTF-16LE.
Md4 ntPasswordHash(std::string const& password) {
    size_t const length = std::min(password.size(), maxPasswordLength);
    detail::SecretBytes unicode(std::vector<unsigned char>(2 * length));
    for (size_t i = 0; i < length; ++i)
        unicode.value[2 * i] = static_cast<unsigned char>(password[i]);
    return Md4({asn1::blob(unicode)});
}

/// DesEncrypt (RFC 2759, section 8.6): encrypts the block under a key of 56 bits. The parity bits remain 0.
void desEncrypt(unsigned char const* keyBits, unsigned char const* block, unsigned char* out) {
    std::uint64_t bits = 0;
    for (int i = 0; i < 7; ++i)
        bits = bits << 8 | keyBits[i];
    unsigned char key[8];
    for (int i = 0; i < 8; ++i)
        key[i] = static_cast<unsigned char>(bits >> (49 - 7 * i) << 1);
    DES(key).encrypt(block, out);
    secureMemset(key, 0, sizeof key);
    secureMemset(&bits, 0, sizeof bits);
}

} // namespace

MSCHAPv2::MSCHAPv2(std::string const& user, std::string const& password,
                   std::vector<unsigned char> const& authChallenge,
                   std::vector<unsigned char> const& peerChallenge)
    : ntResponse(24) {
    Sha1 const challenge({peerChallenge, authChallenge, user});
    challengeHash = text({challenge.bytes, 8});
    Md4 const passwordHash = ntPasswordHash(password);
    passwordHashHash = text(Md4({asn1::blob(passwordHash)}));

    // ChallengeResponse (RFC 2759 section 8.5).
    unsigned char keys[21] = {};
    std::memcpy(keys, passwordHash.bytes, sizeof passwordHash.bytes);
    for (int i = 0; i < 3; ++i)
        desEncrypt(keys + 7 * i, challenge.bytes, ntResponse.data() + 8 * i);
    secureMemset(keys, 0, sizeof keys);
}

MSCHAPv2::~MSCHAPv2() {
    detail::wipe(challengeHash);
    detail::wipe(passwordHashHash);
}

std::string MSCHAPv2::getReply() const {
    Sha1 const inner({passwordHashHash, ntResponse, signingMagic});
    Sha1 const reply({inner, challengeHash, paddingMagic});
    std::string result = "S=";
    result.reserve(42);
    for (unsigned char byte : reply.bytes)
        for (unsigned nibble : {byte >> 4, byte & 15})
            result += "0123456789ABCDEF"[nibble];
    return result;
}

std::string MSCHAPv2::getMasterKey() const {
    Sha1 const digest({passwordHashHash, ntResponse, masterKeyMagic});
    return text({digest.bytes, keySize});
}

std::string makeSessionKey(std::string const& masterKey, bool isSend, bool isServer) {
    Sha1 const digest(
        {masterKey, shsPad1, isSend == isServer ? serverSendsMagic : clientSendsMagic, shsPad2});
    return text({digest.bytes, keySize});
}

std::vector<unsigned char> makeChallenge(std::string const& secret, std::vector<unsigned char> const& data,
                                         bool peer) {
    Sha1 const digest({secret, data, shsPad1, peer ? peerChallengeMagic : authChallengeMagic, shsPad2});
    return {digest.bytes, digest.bytes + keySize};
}
