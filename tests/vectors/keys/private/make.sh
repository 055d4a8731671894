#!/bin/sh
# Makes the private keys of this folder, each as its program writes it, and ../private-keys.txt with their
# numbers as OpenSSL shows them. Every run makes new keys.
set -eu
cd "$(dirname "$0")"
rm -f ./*.pem

for curve in prime192v1 secp224r1 prime256v1 secp384r1 secp521r1; do
    openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:$curve -out openssl-pkcs8-$curve.pem
done
openssl ec -in openssl-pkcs8-prime256v1.pem -out openssl-traditional-prime256v1.pem
openssl ec -in openssl-pkcs8-secp521r1.pem -no_public -out openssl-without-public-secp521r1.pem
openssl ec -in openssl-pkcs8-secp384r1.pem -conv_form compressed -out openssl-compressed-secp384r1.pem
openssl ec -in openssl-pkcs8-secp224r1.pem -conv_form compressed -out openssl-compressed-secp224r1.pem
openssl ec -in openssl-pkcs8-prime256v1.pem -param_enc explicit -out openssl-explicit-prime256v1.pem
openssl pkcs8 -topk8 -nocrypt -in openssl-explicit-prime256v1.pem -out openssl-explicit-pkcs8-prime256v1.pem
openssl ecparam -name prime256v1 -genkey -out openssl-behind-its-parameters.pem
openssl pkcs8 -topk8 -nocrypt -in openssl-without-public-secp521r1.pem -out openssl-pkcs8-without-public-secp521r1.pem
openssl genrsa -out openssl-pkcs8-rsa.pem 1024
openssl rsa -traditional -in openssl-pkcs8-rsa.pem -out openssl-traditional-rsa.pem
openssl genrsa -3 -out openssl-pkcs8-rsa512.pem 512
openssl genpkey -algorithm ed25519 -out openssl-ed25519.pem
openssl genpkey -algorithm x25519 -out openssl-x25519.pem

certtool --generate-privkey --key-type rsa --bits 1024 --outfile certtool-rsa.pem
certtool --generate-privkey --key-type rsa --bits 1024 --pkcs8 --password= --outfile certtool-pkcs8-rsa.pem
certtool --generate-privkey --key-type ecdsa --curve secp384r1 --outfile certtool-secp384r1.pem
certtool --generate-privkey --key-type ecdsa --curve secp256r1 --pkcs8 --password= --outfile certtool-pkcs8-secp256r1.pem
certtool --generate-privkey --key-type ed25519 --outfile certtool-ed25519.pem
certtool --generate-privkey --key-type x25519 --outfile certtool-x25519.pem

for format in PEM PKCS8; do
    ssh-keygen -q -t rsa -b 1024 -N '' -m $format -f ssh-keygen-$format-rsa.pem
    ssh-keygen -q -t ecdsa -b 521 -N '' -m $format -f ssh-keygen-$format-secp521r1.pem
done
rm -f ./*.pub
chmod 644 ./*.pem

mkdir -p encrypted
password=pass:sealkit
openssl pkcs8 -topk8 -v2 aes-256-cbc -v2prf hmacWithSHA256 -passout $password -in openssl-ed25519.pem -out encrypted/pkcs8-ed25519.pem
openssl rsa -traditional -aes128 -passout $password -in openssl-pkcs8-rsa512.pem -out encrypted/traditional-rsa512.pem
openssl ec -des3 -passout $password -in openssl-pkcs8-prime192v1.pem -out encrypted/traditional-prime192v1.pem
chmod 644 encrypted/*.pem

python3 - > ../private-keys.txt <<'PYTHON'
import glob, re, subprocess
print("# Source: private/make.sh, with OpenSSL 3.0, GnuTLS 3.7 and OpenSSH 9.2. The numbers are those that")
print("# `openssl pkey -text` shows.")
names = {"modulus": "n", "publicExponent": "e", "privateExponent": "d", "prime1": "p", "prime2": "q",
         "exponent1": "exp1", "exponent2": "exp2", "coefficient": "coeff", "priv": "secret", "pub": "pub"}
curves = {"prime192v1": 1, "secp224r1": 2, "prime256v1": 3, "secp384r1": 4, "secp521r1": 5}
for path in sorted(set(glob.glob("*.pem")) - set(glob.glob("*explicit*"))):
    text = subprocess.run(["openssl", "pkey", "-in", path, "-text", "-noout"], check=True, capture_output=True, text=True).stdout
    print(f"\ncase = {path[:-4]}")
    kind = {"RSA": "0", "ED25519": "3", "X25519": "4"}.get(text.split()[0], "2") if "modulus" not in text else "0"
    print("type =", kind)
    for label, value in re.findall(r"^(\w+):((?:\n +[0-9a-f:]+)+| \d+ \()", text, re.M):
        digits = f"{int(value[1:-2]):x}" if value.startswith(" ") and not value.startswith("\n") else re.sub(r"[\s:]", "", value)
        print(names[label], "=", digits if len(digits) % 2 == 0 else "0" + digits)
    for label in re.findall(r"ASN1 OID: (\w+)", text):
        print("curve =", curves[label])
PYTHON
