#include "sealkit/hash.h"

MD5SHA1Hash::~MD5SHA1Hash() = default;

void MD5SHA1Hash::update(void const* data, unsigned len) {
    md5.update(data, len);
    sha1.update(data, len);
}

void MD5SHA1Hash::digest(unsigned char* out) {
    md5.digest(out);
    sha1.digest(out + md5.digestLength());
}
