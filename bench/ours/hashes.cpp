// Hashes, HMAC and PBKDF2.
#include "ours/ours.h"

#include "inputs.h"

#include <sealkit/hash.h>
#include <sealkit/hmac.h>
#include <sealkit/pbkdf2.h>

#include <array>

namespace bench {

void addHashes(Rows& rows) {
    struct Named {
        char const* name;
        HashID id;
    };
    for (auto const [name, id] : {Named{"md5", HashID::MD5}, Named{"sha1", HashID::SHA1},
                                  Named{"sha256", HashID::SHA256}, Named{"sha512", HashID::SHA512}})
        rows.addSizes(name, [id = id](size_t size) {
            return [hash = std::shared_ptr<Hash>(createHash(id)), in = message(size)] {
                std::array<unsigned char, 64> digest;
                hash->update(in.data(), static_cast<unsigned>(in.size()));
                hash->digest(digest.data());
                return true;
            };
        });

    rows.addSizes("hmac_sha256", [](size_t size) {
        return [hash = std::shared_ptr<Hash>(createHash(HashID::SHA256)), in = message(size)] {
            std::array<unsigned char, 32> mac;
            HMAC hmac(hash.get(), key(32).data(), 32);
            hmac.update(in.data(), static_cast<unsigned>(in.size()));
            hmac.digest(mac.data());
            return true;
        };
    });

    rows.add("pbkdf2_sha256", [] {
        return [] {
            std::array<unsigned char, 32> derived;
            return pbkdf2(HashID::SHA256, std::string_view(password), iv(16), iterations, derived);
        };
    });
}

} // namespace bench
