#!/bin/sh
# Makes the certificates, lists and requests of this folder with the openssl program, and writes what
# openssl itself reads out of them to openssl.txt. Keys are thrown away: each run makes other objects.
set -eu
out=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat > config <<'CONFIG'
oid_section = names
[names]
unknownExtension = 1.3.6.1.4.1.55555.7
unknownUsage = 1.3.6.1.4.1.55555.8
[ca]
default_ca = testca
[testca]
dir = .
database = index
new_certs_dir = .
serial = serial
crlnumber = crlnumber
default_md = sha256
default_crl_days = 30
policy = policy
unique_subject = no
x509_extensions = rootExtensions
crl_extensions = crlExtensions
copy_extensions = none
email_in_dn = yes
[policy]
countryName = optional
stateOrProvinceName = optional
localityName = optional
organizationName = optional
organizationalUnitName = optional
commonName = optional
serialNumber = optional
emailAddress = optional
[req]
distinguished_name = empty
string_mask = utf8only
[empty]
[rootExtensions]
basicConstraints = critical,CA:TRUE
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
[intermediateExtensions]
basicConstraints = critical,CA:TRUE,pathlen:0
keyUsage = critical,digitalSignature,keyCertSign,cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always,issuer:always
nameConstraints = critical,permitted;DNS:example.test,excluded;DNS:bad.example.test
certificatePolicies = 2.5.29.32.0
[leafExtensions]
basicConstraints = CA:FALSE
keyUsage = digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment,keyAgreement,encipherOnly,decipherOnly
extendedKeyUsage = serverAuth,clientAuth,codeSigning,emailProtection,timeStamping,OCSPSigning,1.3.6.1.5.5.7.3.10,unknownUsage
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid:always
subjectAltName = DNS:www.example.test,DNS:*.example.test,IP:192.0.2.1,IP:2001:db8::1,email:someone@example.test,URI:https://example.test/a?b=c
crlDistributionPoints = URI:http://crl.example.test/1.crl,URI:http://crl.example.test/2.crl
authorityInfoAccess = OCSP;URI:http://ocsp.example.test/
subjectInfoAccess = caRepository;URI:http://repo.example.test/
certificatePolicies = 1.2.3.4
nsComment = "made for a test"
issuerAltName = DNS:issuer.example.test
unknownExtension = ASN1:UTF8String:whatever
[plainExtensions]
subjectKeyIdentifier = none
authorityKeyIdentifier = none
[crlExtensions]
authorityKeyIdentifier = keyid:always
issuingDistributionPoint = critical,@idp
[idp]
onlyuser = TRUE
[requestExtensions]
subjectAltName = DNS:req.example.test,IP:192.0.2.7
keyUsage = digitalSignature,keyEncipherment
extendedKeyUsage = serverAuth
basicConstraints = CA:FALSE
[requestAttributes]
challengePassword = correct horse
unstructuredName = something
[requestName]
C = UY
O = Example
CN = req.example.test
[attributesRequest]
prompt = no
distinguished_name = requestName
attributes = requestAttributes
req_extensions = requestExtensions
[plainRequest]
prompt = no
distinguished_name = requestName
CONFIG
: > index
echo 0100 > crlnumber

issue() { # issuer name from to extensions serial subject [options of openssl ca]
    issuer=$1 name=$2 from=$3 to=$4 extensions=$5 serial=$6 subject=$7
    shift 7
    echo "$serial" > serial
    openssl req -new -config config -key "$name.key" -utf8 -subj "$subject" -out "$name.csr"
    openssl ca -batch -notext -config config -keyfile "$issuer.key" -in "$name.csr" -startdate "$from" -enddate "$to" \
        -extensions "$extensions" -out "$name.pem" "$@" 2> log || { cat log >&2; exit 1; }
}

openssl genpkey -quiet -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out root.key
openssl genpkey -quiet -algorithm EC -pkeyopt ec_paramgen_curve:P-384 -out intermediate.key
openssl genpkey -quiet -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out leaf.key
openssl genpkey -quiet -algorithm Ed25519 -out plain.key

issue root root 20200101000000Z 20500101000000Z rootExtensions 00 "/C=UY/O=Example/CN=Root" -selfsign
issue root intermediate 20200229235959Z 20491231235959Z intermediateExtensions 7FFFFFFFFFFFFFFF \
    "/C=UY/ST=Montevideo/L=Centro/O=Example/OU=Unit/CN=Intermediate/serialNumber=12" -cert root.pem
issue intermediate leaf 20240101120000Z 20350630010203Z leafExtensions 80F1E2D3C4B5A697 \
    "/C=UY/O=Example/CN=www.example.test/emailAddress=someone@example.test" -cert intermediate.pem -md sha384
openssl req -x509 -new -config config -key plain.key -subj "/CN=Plain" -set_serial 5 -extensions plainExtensions \
    -days 3650 -out plain.pem

# A list with every reason that openssl writes.
openssl req -new -config config -key plain.key -subj "/CN=Plain" -out plain.csr
i=4096
for reason in unspecified keyCompromise CACompromise affiliationChanged superseded cessationOfOperation \
    certificateHold removeFromCRL; do
    i=$((i + 1))
    printf '%04X\n' $i > serial
    openssl ca -batch -notext -config config -cert root.pem -keyfile root.key -in plain.csr -out revoked.pem \
        -extensions plainExtensions -days 10 2> log || { cat log >&2; exit 1; }
    openssl ca -config config -cert root.pem -keyfile root.key -revoke revoked.pem -crl_reason $reason 2> log
done
openssl ca -config config -cert root.pem -keyfile root.key -gencrl -crl_lastupdate 20240101000000Z \
    -crl_nextupdate 20540101000000Z -out revoked.crl 2> log || { cat log >&2; exit 1; }
: > index
openssl ca -config config -cert intermediate.pem -keyfile intermediate.key -gencrl -crl_lastupdate 20240101000000Z \
    -crl_nextupdate 20250101000000Z -out empty.crl 2> log || { cat log >&2; exit 1; }

sed 's/^distinguished_name = empty$//; s/^\[attributesRequest\]$/[req]/' config > attributes.config
openssl req -new -config attributes.config -key leaf.key -out attributes.csr
sed 's/^distinguished_name = empty$//; s/^\[plainRequest\]$/[req]/' config > plain.config
openssl req -new -config plain.config -key root.key -out plain.csr

# From here on: what openssl reads.
lower() { tr 'A-F' 'a-f'; }
value() { sed -n "s/^$1=//p"; }
names='-nameopt sep_comma_plus_space,utf8,sname,-space_eq'
ext() { # file extension-name: its text in one line, or nothing
    openssl x509 -in "$1" -noout -ext "$2" 2> /dev/null | sed 1d | sed 's/^ *//' | tr '\n' ' ' | sed 's/ *$//'
}
{
    echo "# Source: objects made by the openssl program ($(openssl version | cut -d' ' -f1,2)) as make.sh in this folder has it,"
    echo "# and what the same program reads out of them."
    for name in root intermediate leaf plain; do
        cp "$name.pem" "$out/"
        echo
        echo "case = $name.pem"
        openssl x509 -in "$name.pem" -noout -serial -issuer -subject -dates -nameopt sep_comma_plus_space,utf8,sname > text
        echo "serial = $(value serial < text | lower)"
        echo "issuer = $(value issuer < text)"
        echo "subject = $(value subject < text)"
        echo "notBefore = $(value notBefore < text)"
        echo "notAfter = $(value notAfter < text)"
        echo "basicConstraints = $(ext "$name.pem" basicConstraints)"
        echo "keyUsage = $(ext "$name.pem" keyUsage)"
        echo "extendedKeyUsage = $(ext "$name.pem" extendedKeyUsage)"
        echo "subjectKeyId = $(ext "$name.pem" subjectKeyIdentifier)"
        echo "authorityKeyId = $(ext "$name.pem" authorityKeyIdentifier)"
        echo "subjectAltName = $(ext "$name.pem" subjectAltName)"
        echo "crlDistributionPoints = $(ext "$name.pem" crlDistributionPoints)"
        echo "nameConstraints = $(ext "$name.pem" nameConstraints)"
        echo "signedWith = $(openssl x509 -in "$name.pem" -noout -text | sed -n 's/^ *Signature Algorithm: //p' | head -1)"
        echo "publicKey = $(openssl x509 -in "$name.pem" -noout -pubkey | openssl pkey -pubin -outform DER | od -An -v -tx1 | tr -d ' \n')"
    done
    for name in revoked empty; do
        cp "$name.crl" "$out/"
        echo
        echo "case = $name.crl"
        openssl crl -in "$name.crl" -noout -issuer -lastupdate -nextupdate -crlnumber -nameopt sep_comma_plus_space,utf8,sname > text
        openssl crl -in "$name.crl" -noout -text > full
        echo "issuer = $(value issuer < text)"
        echo "lastUpdate = $(value lastUpdate < text)"
        echo "nextUpdate = $(value nextUpdate < text)"
        echo "crlNumber = $(value crlNumber < text | sed 's/^0x//' | lower)"
        echo "authorityKeyId = $(sed -n '/Authority Key Identifier/{n;s/^ *//;p}' full)"
        echo "signedWith = $(sed -n 's/^ *Signature Algorithm: //p' full | head -1)"
        echo "serials = $(sed -n 's/^ *Serial Number: //p' full | lower | tr '\n' ' ' | sed 's/ $//')"
        echo "dates = $(sed -n 's/^ *Revocation Date: //p' full | tr '\n' ',' | sed 's/,$//')"
        echo "reasons = $(sed -n '/X509v3 CRL Reason Code/{n;s/^ *//;p}' full | tr '\n' ',' | sed 's/,$//')"
    done
    for name in attributes plain; do
        cp "$name.csr" "$out/"
        echo
        echo "case = $name.csr"
        openssl req -in "$name.csr" -noout -subject -nameopt sep_comma_plus_space,utf8,sname > text
        openssl req -in "$name.csr" -noout -text > full
        echo "subject = $(value subject < text)"
        echo "challengePassword = $(sed -n 's/^ *challengePassword *://p' full)"
        for extension in 'Subject Alternative Name' 'Key Usage' 'Extended Key Usage'; do
            echo "$(echo "$extension" | tr -d ' ' | sed 's/^./\L&/') = $(sed -n "/X509v3 $extension:/{n;s/^ *//;p}" full)"
        done
        echo "publicKey = $(openssl req -in "$name.csr" -noout -pubkey | openssl pkey -pubin -outform DER | od -An -v -tx1 | tr -d ' \n')"
    done
} > "$out/openssl.txt"
