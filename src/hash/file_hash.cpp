#include "hash/file_hash.h"

#include "hash/truncated_sha2.h"

namespace detail {

FileHash fileHashOf(HashID id) {
    switch (id) {
    case HashID::MD5:
        return FileHash::md5;
    case HashID::SHA1:
        return FileHash::sha1;
    case HashID::SHA256:
        return FileHash::sha256;
    case HashID::SHA384:
        return FileHash::sha384;
    case HashID::SHA512:
        return FileHash::sha512;
    case HashID::none:
    case HashID::MD5SHA1:
    case HashID::MD4:
        break;
    }
    return FileHash::none;
}

std::unique_ptr<Hash> createFileHash(FileHash hash) {
    switch (hash) {
    case FileHash::none:
        break;
    case FileHash::md5:
        return createHash(HashID::MD5);
    case FileHash::sha1:
        return createHash(HashID::SHA1);
    case FileHash::sha224:
        return std::make_unique<Sha224>();
    case FileHash::sha256:
        return createHash(HashID::SHA256);
    case FileHash::sha384:
        return createHash(HashID::SHA384);
    case FileHash::sha512:
        return createHash(HashID::SHA512);
    case FileHash::sha512_256:
        return std::make_unique<Sha512_256>();
    }
    return nullptr;
}

} // namespace detail
