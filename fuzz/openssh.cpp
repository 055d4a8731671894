#include "sealkit/openssh.h"
#include "sealkit/pem.h"

#include "targets.h"

#include <memory>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

std::string_view textOf(Bytes const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

void checkPublic(std::string_view text) {
    Refusal refusal;
    std::unique_ptr<PublicKey> const key = readOpensshPublicKey(text, &refusal);
    SEALKIT_ASSERT((key == nullptr) == static_cast<bool>(refusal));
    if (key == nullptr)
        return;
    Bytes const line = encodeOpensshPublicKey(*key, "again");
    SEALKIT_ASSERT(!line.empty());
    std::unique_ptr<PublicKey> const again = readOpensshPublicKey(textOf(line), nullptr);
    SEALKIT_ASSERT(again != nullptr && again->equals(*key));
}

void checkPrivate(std::string_view text) {
    Refusal refusal;
    std::unique_ptr<PrivateKey> const key = readOpensshPrivateKey(text, &refusal);
    SEALKIT_ASSERT((key == nullptr) == static_cast<bool>(refusal));
    if (key == nullptr)
        return;
    SEALKIT_ASSERT(readOpensshPublicKey(text, nullptr)->equals(*key));
    std::unique_ptr<PrivateKey> const again =
        readOpensshPrivateKey(textOf(encodeOpensshPrivateKey(*key, "again")), nullptr);
    SEALKIT_ASSERT(again != nullptr && again->equals(*key));
}

} // namespace

/// The input is read as text, and as the bytes of a block.
void fuzz::openssh(asn1::blob input) {
    std::string_view const text(reinterpret_cast<char const*>(input.data()), input.size());
    checkPublic(text);
    checkPrivate(text);
    Bytes const block = encodePemType("OPENSSH PRIVATE KEY", Bytes(input.begin(), input.end()));
    checkPublic(textOf(block));
    checkPrivate(textOf(block));
}
