#!/bin/sh
# Makes the PKCS#12 files of this folder (p12-*.p12) with the programs openssl, certtool, pk12util and keytool, and
# p12-kdf.txt, derivations of openssl's. Each run makes other keys. Unless a file's name says otherwise its password
# is "secret1".
set -eu
out=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
p12() { file=$1; shift; "$@" -out "$out/p12-$file.p12"; }

newCertificate() { # name
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -keyout "$1.key" -out "$1.pem" \
        -subj "/CN=$1" -days 7300 -addext keyUsage=digitalSignature 2>/dev/null
}
newCertificate alice
newCertificate other
openssl x509 -in alice.pem -outform DER -out "$out/p12-alice.der"
openssl pkcs8 -topk8 -nocrypt -in alice.key -outform DER -out "$out/p12-alice-key.der"

export="openssl pkcs12 -export -inkey alice.key -in alice.pem"
des="-legacy -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES"
p12 openssl-modern $export -certfile other.pem -name "Alice Ñandú" -caname "someone else" -passout pass:secret1
p12 openssl-3des $export $des -name alice -passout pass:secret1
openssl pkcs8 -topk8 -in alice.key -v1 PBE-SHA1-3DES -provider default -provider legacy -passout pass:secret1 -outform DER \
    -out "$out/p12-pkcs8-3des.der"
p12 openssl-rc2 $export -legacy -name alice -passout pass:secret1
p12 openssl-aes $export -keypbe AES-128-CBC -certpbe AES-192-CBC -passout pass:secret1
p12 openssl-camellia $export -keypbe CAMELLIA-128-CBC -certpbe CAMELLIA-128-CBC -passout pass:secret1
p12 openssl-nomac $export $des -nomac -passout pass:secret1
p12 openssl-nomac-modern $export -nomac -passout pass:secret1
p12 openssl-certs-plain $export -certpbe NONE -passout pass:secret1
p12 openssl-plain $export -certpbe NONE -keypbe NONE -nomac -passout pass:
p12 openssl-nomaciter $export -nomaciter -passout pass:secret1
p12 openssl-empty-3des $export $des -passout pass:
p12 openssl-empty-modern $export -passout pass:
p12 openssl-utf8-3des $export $des -passout "pass:pässwörd €😀"
p12 openssl-utf8-modern $export -passout "pass:pässwörd €😀"
for hash in md5 sha1 sha256 sha384 sha512; do
    p12 openssl-mac-$hash $export -macalg $hash -passout pass:secret1
done
for hash in sha224 sha512-256; do
    p12 openssl-mac-$hash $export -macalg $hash -passout pass:secret1
done

certtool="certtool --to-p12 --load-privkey alice.key --load-certificate alice.pem --p12-name alice --outder"
$certtool --password secret1 --outfile "$out/p12-certtool.p12" 2>/dev/null
$certtool --password secret1 --pkcs-cipher 3des-pkcs12 --outfile "$out/p12-certtool-3des.p12" 2>/dev/null
$certtool --null-password --pkcs-cipher 3des-pkcs12 --outfile "$out/p12-certtool-null.p12" 2>/dev/null
$certtool --empty-password --pkcs-cipher 3des-pkcs12 --outfile "$out/p12-certtool-empty.p12" 2>/dev/null

mkdir database
certutil -N -d sql:database --empty-password
pk12util -i "$out/p12-openssl-3des.p12" -d sql:database -W secret1 >/dev/null
pk12util -o "$out/p12-pk12util.p12" -n alice -d sql:database -W secret1 >/dev/null
triple="PKCS #12 V2 PBE With SHA-1 and 3KEY Triple DES-CBC"
pk12util -o "$out/p12-pk12util-3des.p12" -n alice -d sql:database -W secret1 -c "$triple" -C "$triple" >/dev/null

rm -f store
keytool -importkeystore -srckeystore "$out/p12-openssl-3des.p12" -srcstoretype PKCS12 -srcstorepass secret1 \
    -destkeystore store -deststoretype PKCS12 -deststorepass secret1 2>/dev/null
keytool -importcert -noprompt -alias other -file other.pem -keystore store -storepass secret1 2>/dev/null
keytool -genseckey -alias secret -keyalg AES -keysize 128 -keystore store -storepass secret1 2>/dev/null
cp store "$out/p12-keytool.p12"

number=0
kdf() { # hash, password in hexadecimal, salt, iterations, id, length
    number=$((number + 1))
    printf '\ncase = %s\nhash = %s\npassword = %s\nsalt = %s\niterations = %s\nid = %s\nout = %s\n' $number "$1" "$2" "$3" "$4" "$5" \
        "$(openssl kdf -keylen "$6" -kdfopt "digest:$1" -kdfopt "hexpass:$2" -kdfopt "hexsalt:$3" \
            -kdfopt "iter:$4" -kdfopt "id:$5" PKCS12KDF | tr -d ':\n' | tr A-F a-f)"
}
{
    echo "# Source: the openssl program, run by make-pkcs12.sh. The first ten, for the passwords \"smeg\" and \"queeg\","
    echo "# are the examples that OpenSSL and others test with."
    smeg=0073006d006500670000 queeg=007100750065006500670000
    kdf SHA1 $smeg 0a58cf64530d823f 1 1 24
    kdf SHA1 $smeg 0a58cf64530d823f 1 2 8
    kdf SHA1 $smeg 642b99ab44fb4b1f 1 1 24
    kdf SHA1 $smeg 642b99ab44fb4b1f 1 2 8
    kdf SHA1 $smeg 3d83c0e4546ac140 1 3 20
    kdf SHA1 $queeg 05dec959acff72f7 1000 1 24
    kdf SHA1 $queeg 05dec959acff72f7 1000 2 8
    kdf SHA1 $queeg 1682c0fc5b3f7ec5 1000 1 24
    kdf SHA1 $queeg 1682c0fc5b3f7ec5 1000 2 8
    kdf SHA1 $queeg 263216fcc2fab31c 1000 3 20
    long=$(printf '00%02x' $(seq 1 100))
    salt=$(printf '%02x' $(seq 50 179))
    for hash in MD5 SHA1 SHA256 SHA384 SHA512; do
        kdf $hash $smeg 0102030405060708 2048 3 64
        kdf $hash 0000 01 3 1 300
        kdf $hash ${long}0000 $salt 2 2 200
    done
} > "$out/p12-kdf.txt"
chmod 644 "$out"/p12-*
