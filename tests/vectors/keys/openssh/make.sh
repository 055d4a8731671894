#!/bin/sh
# Makes keys in OpenSSH's own forms, beside them their PKCS#8. Every run makes new ones.
set -eu
cd "$(dirname "$0")"
rm -f ./*.key ./*.pub ./*.pem

for type in rsa ecdsa-256 ecdsa-384 ecdsa-521 ed25519; do
    ssh-keygen -q -t "${type%-*}" -b "$(case $type in rsa) echo 2048 ;; ecdsa-*) echo "${type#*-}" ;; *) echo 256 ;; esac)" \
        -N '' -C "$type of Ada" -f $type.key
    mv $type.key.pub $type.pub
done
python3 - <<'END'
from cryptography.hazmat.primitives import serialization as s
import pathlib
for path in pathlib.Path().glob("*.key"):
    key = s.load_ssh_private_key(path.read_bytes(), None)
    path.with_suffix(".pem").write_bytes(key.private_bytes(s.Encoding.PEM, s.PrivateFormat.PKCS8, s.NoEncryption()))
END
ssh-keygen -q -t ed25519 -N 'correct horse' -C '' -f encrypted.key
mv encrypted.key.pub encrypted.pub
ssh-keygen -q -t dsa -N '' -C '' -f dsa.key
mv dsa.key.pub dsa.pub
chmod 644 ./*.key
