#!/bin/sh
# Encrypts two keys of ../private under the password "correct horse" in each way that a program has. Every run
# draws new salts and initialisation vectors.
set -eu
cd "$(dirname "$0")"
rm -f ./*.pem
password='correct horse'
rsa=../private/openssl-pkcs8-rsa.pem ec=../private/openssl-pkcs8-prime256v1.pem

pkcs8() {
    file=$1
    shift
    openssl pkcs8 -topk8 -in $ec -passout "pass:$password" -out "openssl-$file.pem" "$@"
}
for cipher in aes-128-cbc aes-192-cbc aes-256-cbc des3; do
    for prf in SHA1 SHA256; do
        pkcs8 pbes2-$cipher-$prf -v2 $cipher -v2prf hmacWith$prf
    done
done
# What is not understood.
pkcs8 refused-prf-SHA224 -v2 aes-256-cbc -v2prf hmacWithSHA224
pkcs8 refused-prf-SHA512 -v2 aes-256-cbc -v2prf hmacWithSHA512
pkcs8 refused-camellia-128-cbc -v2 camellia-128-cbc
pkcs8 refused-aria-256-cbc -v2 aria-256-cbc
pkcs8 refused-scrypt -scrypt
pkcs8 refused-PBE-SHA1-3DES -v1 PBE-SHA1-3DES

for cipher in aes128 aes192 aes256 des3 camellia128; do
    case $cipher in camellia128) refused=refused- ;; *) refused= ;; esac
    openssl rsa -$cipher -traditional -in $rsa -passout "pass:$password" -out openssl-${refused}traditional-rsa-$cipher.pem
    openssl ec -$cipher -in $ec -passout "pass:$password" -out openssl-${refused}traditional-ec-$cipher.pem
done

for cipher in 3des aes-128 aes-192 aes-256; do
    certtool --to-p8 --load-privkey $ec --pkcs-cipher $cipher --password "$password" --outfile certtool-pbes2-$cipher.pem
done
certtool --to-p8 --load-privkey $ec --pkcs-cipher 3des-pkcs12 --password "$password" --outfile certtool-refused-3des-pkcs12.pem

for format in PEM PKCS8; do
    for type in rsa ec; do
        eval "key=\$$type"
        file=ssh-keygen-$format-$type.pem
        cp $key $file
        chmod 600 $file
        ssh-keygen -q -p -m $format -P '' -N "$password" -f $file
    done
done
chmod 644 ./*.pem
