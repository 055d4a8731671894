#include "sealkit/compare.h"
#include "sealkit/hmac.h"

#include "quiet/quiet.h"

namespace {

QUIET(Hmac, "HMAC") {
    for (HashID id : {HashID::MD5, HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
        std::vector<unsigned char> key(48, 0x31), message(200, 0x32);
        test::hide(key);
        test::hide(message);
        std::unique_ptr<Hash> const hash = createHash(id);
        HMAC hmac(hash.get(), key.data(), static_cast<unsigned>(key.size()));
        hmac.update(message.data(), static_cast<unsigned>(message.size()));
        std::vector<unsigned char> tag(hash->digestLength());
        hmac.digest(tag.data());
    }
}

QUIET(Comparison, "`equalInConstantTime`") {
    std::vector<unsigned char> left(32, 0x31), right(32, 0x31);
    test::hide(left);
    bool equal = equalInConstantTime(left, right);
    test::show(&equal, 1);
    EXPECT_TRUE(equal);
}

} // namespace
