// BearSSL: only RSA signatures, where it is the fastest of the portable peers.
#include "inputs.h"
#include "libraries.h"

#include <bearssl.h>

namespace bench {

namespace {

std::shared_ptr<br_skey_decoder_context> decode(Bytes const& der) {
    auto decoder = std::make_shared<br_skey_decoder_context>();
    br_skey_decoder_init(decoder.get());
    br_skey_decoder_push(decoder.get(), der.data(), der.size());
    return decoder;
}

} // namespace

void addBearssl(std::vector<Row>& to) {
    Rows rows(to, "bearssl");
    for (unsigned const bits : {1024u, 2048u, 3072u, 4096u})
        rows.add("rsa_sign/" + std::to_string(bits), [=] {
            return [decoder = decode(rsaKey(bits).privateKey), signature = Bytes(bits / 8)]() mutable {
                return br_rsa_i62_pkcs1_sign_get()(BR_HASH_OID_SHA256, digest(32).data(), 32,
                                                   br_skey_decoder_get_rsa(decoder.get()),
                                                   signature.data()) == 1;
            };
        });
}

} // namespace bench
