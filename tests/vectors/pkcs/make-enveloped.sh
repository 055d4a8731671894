#!/bin/sh
# Makes the enveloped messages of this folder with the openssl program, and the certificate and key that they
# are for. The key is written beside them: each run makes others. The content is the text "enveloped content".
set -eu
out=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

newCertificate() { # name, subject, arguments for the key
    name=$1 subject=$2
    shift 2
    openssl req -x509 -newkey "$@" -noenc -keyout "$name.key" -out "$name.pem" -subj "$subject" -days 7300 2>/dev/null
}
newCertificate recipient "/C=UY/O=Test/CN=recipient/emailAddress=recipient@example.test" rsa:1024
newCertificate other "/CN=other" rsa:1024
newCertificate curve "/CN=curve" ec -pkeyopt ec_paramgen_curve:P-256
openssl x509 -in recipient.pem -outform DER -out "$out/recipient.der"
openssl pkcs8 -topk8 -nocrypt -in recipient.key -outform DER -out "$out/recipient-key.der"
printf 'enveloped content' > content

smime() { openssl smime -encrypt -binary -in content -outform DER -out "$out/$1" "$2" recipient.pem; }
smime smime-des3.der -des3
smime smime-aes128.der -aes128
smime smime-aes192.der -aes192
smime smime-aes256.der -aes256
openssl smime -encrypt -provider default -provider legacy -binary -in content -outform DER -out "$out/smime-rc2.der" \
    -rc2-128 recipient.pem

cms() { file=$1; shift; openssl cms -encrypt -binary -in content -outform DER -out "$out/$file" "$@"; }
cms cms-keyid-des3.der -des3 -keyid -recip recipient.pem
cms cms-keyid-aes128.der -aes128 -keyid -recip recipient.pem
cms cms-keyid-aes192.der -aes192 -keyid -recip recipient.pem
cms cms-keyid-aes256.der -aes256 -keyid -recip recipient.pem
cms cms-two-recipients.der -aes128 -recip other.pem -recip recipient.pem
cms cms-key-agreement.der -aes128 -recip curve.pem
cms cms-kek.der -aes128 -secretkey 000102030405060708090a0b0c0d0e0f -secretkeyid 01
cms cms-password.der -aes128 -pwri_password secret
cms cms-oaep.der -aes128 -recip recipient.pem -keyopt rsa_padding_mode:oaep
openssl cms -EncryptedData_encrypt -binary -in content -outform DER -out "$out/encrypted-data.der" -aes128 \
    -secretkey 000102030405060708090a0b0c0d0e0f
