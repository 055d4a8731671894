/// Fuzz targets: each reads an input of any bytes and aborts if a law that holds for every input is broken.
/// `entry.cpp` makes each a libFuzzer program; the unit tests replay the inputs of `corpus/<name>/` through
/// the same functions.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/assert.h"

namespace fuzz {

void ber(asn1::blob input);
void certificate(asn1::blob input);
void cipher(asn1::blob input);
void crl(asn1::blob input);
void der(asn1::blob input);
void ecsrp(asn1::blob input);
void enveloped(asn1::blob input);
void enveloped_message(asn1::blob input);
void gcm(asn1::blob input);
void key(asn1::blob input);
void message(asn1::blob input);
#ifndef SEALKIT_WITHOUT_MLKEM
void mlkem_key(asn1::blob input);
#endif
void objects(asn1::blob input);
void openssh(asn1::blob input);
void outline(asn1::blob input);
void password(asn1::blob input);
void path(asn1::blob input);
void pkcs12(asn1::blob input);
void req(asn1::blob input);
void rules(asn1::blob input);
void siv(asn1::blob input);
void smime(asn1::blob input);
void tree(asn1::blob input);

struct Target {
    char const* name;
    void (*run)(asn1::blob input);
};

inline constexpr Target targets[] = {
    {"ber", ber},
    {"certificate", certificate},
    {"cipher", cipher},
    {"crl", crl},
    {"der", der},
    {"ecsrp", ecsrp},
    {"enveloped", enveloped},
    {"enveloped_message", enveloped_message},
    {"gcm", gcm},
    {"key", key},
    {"message", message},
#ifndef SEALKIT_WITHOUT_MLKEM
    {"mlkem_key", mlkem_key},
#endif
    {"objects", objects},
    {"openssh", openssh},
    {"outline", outline},
    {"password", password},
    {"path", path},
    {"pkcs12", pkcs12},
    {"req", req},
    {"rules", rules},
    {"siv", siv},
    {"smime", smime},
    {"tree", tree},
};

} // namespace fuzz
