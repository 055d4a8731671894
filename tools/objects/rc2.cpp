#include "objects/rc2.h"

#include "sealkit/wipe.h"

#include <nettle/arctwo.h>
#include <nettle/cbc.h>

#include <algorithm>

namespace {

void decrypt(asn1::blob key, unsigned effectiveBits, asn1::blob iv, asn1::blob data, unsigned char* out) {
    arctwo_ctx context;
    unsigned char chain[ARCTWO_BLOCK_SIZE];
    std::copy_n(iv.data(), sizeof chain, chain);
    arctwo_set_key_ekb(&context, key.size(), key.data(), effectiveBits);
    cbc_decrypt(&context, reinterpret_cast<nettle_cipher_func*>(arctwo_decrypt), sizeof chain, chain,
                data.size(), out, data.data());
    secureMemset(&context, 0, sizeof context);
}

} // namespace

Rc2Decryptor rc2Decryptor() { return decrypt; }
