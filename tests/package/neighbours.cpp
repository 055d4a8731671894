// OpenSSL's functions MD5, SHA1 and HMAC beside the classes of these names: with `class` before it, a name
// means the class.
#include <openssl/hmac.h>
#include <openssl/md5.h>
#include <openssl/sha.h>

#include <sealkit/sealkit.h>

#include <cstdio>
#include <cstring>

int main() {
    unsigned char ours[20], theirs[20];
    unsigned char const key[] = {1, 2, 3};

    class MD5 md5;
    md5.update("abc", 3);
    md5.digest(ours);
    MD5(reinterpret_cast<unsigned char const*>("abc"), 3, theirs);
    if (std::memcmp(ours, theirs, 16) != 0)
        return 1;

    class SHA1 sha1;
    sha1.update("abc", 3);
    sha1.digest(ours);
    SHA1(reinterpret_cast<unsigned char const*>("abc"), 3, theirs);
    if (std::memcmp(ours, theirs, 20) != 0)
        return 2;

    std::unique_ptr<class HMAC> const hmac = createHMAC(HashID::SHA1, key);
    hmac->update("abc", 3);
    hmac->digest(ours);
    HMAC(EVP_sha1(), key, sizeof key, reinterpret_cast<unsigned char const*>("abc"), 3, theirs, nullptr);
    return std::memcmp(ours, theirs, 20) == 0 ? 0 : 3;
}
