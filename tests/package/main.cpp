#include <sealkit/sealkit.h>

#include <cstdio>

int main() {
    auto hash = createHash(HashID::SHA256);
    hash->update("abc", 3);
    for (unsigned char byte : hash->digest())
        std::printf("%02x", byte);
}
