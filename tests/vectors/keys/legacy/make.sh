#!/bin/sh
# Encrypts a key of ../private under the password "correct horse" in each way that is read on request alone. Every run draws
# new salts and initialisation vectors.
set -eu
cd "$(dirname "$0")"
rm -f ./*.pem

pkcs8() {
    file=$1
    shift
    openssl pkcs8 -topk8 -in ../private/openssl-pkcs8-prime256v1.pem -passout "pass:correct horse" -out "$file.pem" \
        -provider default -provider legacy "$@"
}
for scheme in PBE-MD5-DES PBE-SHA1-DES PBE-MD5-RC2-64 PBE-SHA1-RC2-64 PBE-SHA1-RC4-128 PBE-SHA1-RC4-40 PBE-SHA1-3DES \
    PBE-SHA1-2DES PBE-SHA1-RC2-128 PBE-SHA1-RC2-40; do
    pkcs8 $scheme -v1 $scheme
done
for cipher in des-cbc rc2-cbc rc2-64-cbc rc2-40-cbc; do
    pkcs8 PBES2-$cipher -v2 $cipher
done
for prf in SHA224 SHA384 SHA512 SHA512-256; do
    pkcs8 PBES2-hmacWith$prf -v2 aes-128-cbc -v2prf hmacWith$prf
done
pkcs8 scrypt -scrypt
pkcs8 scrypt-p3 -scrypt -scrypt_N 64 -scrypt_r 3 -scrypt_p 3
