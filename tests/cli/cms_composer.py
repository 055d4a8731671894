"""Encrypted messages from the standards, over python3-cryptography: the other side of tests where no peer is one.

RFC 5652 (EnvelopedData), RFC 5083 and 5084 (AuthEnvelopedData, AES-GCM), RFC 5753 and 8418 (key agreement), RFC 3560
(OAEP), RFC 3211 (passwords). `compose` makes a message, and `open_message` opens one.
"""
import os

from cryptography import x509
from cryptography.hazmat.primitives import hashes, keywrap, serialization
from cryptography.hazmat.primitives.asymmetric import ec, padding, rsa, x25519
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
from cryptography.hazmat.primitives.kdf.hkdf import HKDF
from cryptography.hazmat.primitives.kdf.pbkdf2 import PBKDF2HMAC
from cryptography.hazmat.primitives.kdf.x963kdf import X963KDF

from support import element, elements, identifier

DATA = identifier("1.2.840.113549.1.7.1")
ENVELOPED = identifier("1.2.840.113549.1.7.3")
AUTH_ENVELOPED = identifier("1.2.840.113549.1.9.16.1.23")
CBC = {size: identifier(f"2.16.840.1.101.3.4.1.{last}") for size, last in ((16, 2), (24, 22), (32, 42))}
GCM = {size: identifier(f"2.16.840.1.101.3.4.1.{last}") for size, last in ((16, 6), (24, 26), (32, 46))}
WRAP = {size: identifier(f"2.16.840.1.101.3.4.1.{last}") for size, last in ((16, 5), (24, 25), (32, 45))}
HASHES = {"sha1": hashes.SHA1(), "sha224": hashes.SHA224(), "sha256": hashes.SHA256(), "sha384": hashes.SHA384(), "sha512": hashes.SHA512()}
HASH_IDS = {"sha1": "1.3.14.3.2.26", "sha256": "2.16.840.1.101.3.4.2.1", "sha384": "2.16.840.1.101.3.4.2.2", "sha512": "2.16.840.1.101.3.4.2.3"}
PRFS = {"sha1": "1.2.840.113549.2.7", "sha224": "1.2.840.113549.2.8", "sha256": "1.2.840.113549.2.9", "sha384": "1.2.840.113549.2.10", "sha512": "1.2.840.113549.2.11"}
SCHEMES = {("x963", "sha1"): "1.3.133.16.840.63.0.2", ("x963", "sha256"): "1.3.132.1.11.1", ("x963", "sha384"): "1.3.132.1.11.2", ("x963", "sha512"): "1.3.132.1.11.3",
           ("cofactor", "sha1"): "1.3.133.16.840.63.0.3", ("cofactor", "sha256"): "1.3.132.1.14.1", ("cofactor", "sha384"): "1.3.132.1.14.2",
           ("cofactor", "sha512"): "1.3.132.1.14.3", ("hkdf", "sha256"): "1.2.840.113549.1.9.16.3.19", ("hkdf", "sha384"): "1.2.840.113549.1.9.16.3.20",
           ("hkdf", "sha512"): "1.2.840.113549.1.9.16.3.21"}
RSA, OAEP, EC, X25519 = map(identifier, ("1.2.840.113549.1.1.1", "1.2.840.113549.1.1.7", "1.2.840.10045.2.1", "1.3.101.110"))
MGF1, PBKDF2, PWRI = map(identifier, ("1.2.840.113549.1.1.8", "1.2.840.113549.1.5.12", "1.2.840.113549.1.9.16.3.9"))
NULL = b"\x05\x00"


def content_of(whole):
    """The content octets of an element."""
    return whole[2:] if whole[1] < 0x80 else whole[2 + (whole[1] & 0x7F):]


def octets(value):
    return element(4, value)


def integer(value):
    return element(2, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def sequence(*parts):
    return element(0x30, *parts)


def hash_algorithm(name):
    return sequence(identifier(HASH_IDS[name]), NULL)


def issuer_and_serial(certificate):
    return sequence(certificate.issuer.public_bytes(), integer(certificate.serial_number))


def key_identifier(certificate):
    return certificate.extensions.get_extension_for_class(x509.SubjectKeyIdentifier).value.digest


def cbc(algorithm, key, iv, data, encrypts):
    worker = getattr(Cipher(algorithm(key), modes.CBC(iv)), "encryptor" if encrypts else "decryptor")()
    return worker.update(data) + worker.finalize()


# Recipients: each makes the RecipientInfo for a content key.

def oaep(certificate, hash_name="sha1", mask="sha1"):
    def recipient(key):
        fields = b"" if hash_name == "sha1" else element(0xA0, hash_algorithm(hash_name))
        fields += b"" if mask == "sha1" else element(0xA1, sequence(MGF1, hash_algorithm(mask)))
        encrypted = certificate.public_key().encrypt(key, padding.OAEP(padding.MGF1(HASHES[mask]), HASHES[hash_name], None))
        return sequence(integer(0), issuer_and_serial(certificate), sequence(OAEP, sequence(fields)), octets(encrypted))
    return recipient


def shared_info(wrap, size, ukm):
    return sequence(wrap, b"" if ukm is None else element(0xA0, octets(ukm)), element(0xA2, octets((8 * size).to_bytes(4, "big"))))


def derived(kind, hash_name, secret, size, info, ukm=None, salted=False):
    if kind == "hkdf":
        return HKDF(HASHES[hash_name], size, ukm if salted else None, info).derive(secret)
    return X963KDF(HASHES[hash_name], size, info).derive(secret)


def agreement(certificate, kind="x963", hash_name="sha256", size=32, ukm=None, by_key_id=False, wrap_null=False, salted=False, compressed=False):
    def recipient(key):
        public = certificate.public_key()
        if isinstance(public, x25519.X25519PublicKey):
            ephemeral, algorithm = x25519.X25519PrivateKey.generate(), X25519
            secret, own = ephemeral.exchange(public), ephemeral.public_key().public_bytes_raw()
        else:
            ephemeral, algorithm = ec.generate_private_key(public.curve), EC
            form = serialization.PublicFormat.CompressedPoint if compressed else serialization.PublicFormat.UncompressedPoint
            secret, own = ephemeral.exchange(ec.ECDH(), public), ephemeral.public_key().public_bytes(serialization.Encoding.X962, form)
        wrap = sequence(WRAP[size], NULL if wrap_null else b"")
        wrapping = derived(kind, hash_name, secret, size, shared_info(wrap, size, ukm), ukm, salted)
        name = element(0xA0, octets(key_identifier(certificate))) if by_key_id else issuer_and_serial(certificate)
        return element(0xA1, integer(3), element(0xA0, element(0xA1, sequence(algorithm), element(3, b"\0" + own))),
                       b"" if ukm is None else element(0xA1, octets(ukm)), sequence(identifier(SCHEMES[kind, hash_name]), wrap),
                       sequence(sequence(name, octets(keywrap.aes_key_wrap(wrapping, key)))))
    return recipient


def password(text, prf="sha256", rounds=1000, size=32):
    def recipient(key):
        salt, iv = os.urandom(8), os.urandom(16)
        wrapping = PBKDF2HMAC(HASHES[prf], size, salt, rounds).derive(text)
        block = bytes([len(key)]) + bytes(byte ^ 0xFF for byte in key[:3]) + key
        block += os.urandom(-len(block) % 16)
        once = cbc(algorithms.AES, wrapping, iv, block, True)
        twice = cbc(algorithms.AES, wrapping, once[-16:], once, True)
        function = sequence(octets(salt), integer(rounds), sequence(identifier(PRFS[prf]), NULL))
        return element(0xA3, integer(0), element(0xA0, PBKDF2, function), sequence(PWRI, sequence(CBC[size], octets(iv))), octets(twice))
    return recipient


def compose(content, recipients, size=32, gcm=True, attributes=b"", version=None):
    """A message under AES with a new key; `attributes` are those that are authenticated, without their tag."""
    key = os.urandom(size)
    infos = element(0x31, *[recipient(key) for recipient in recipients])
    if gcm:
        nonce = os.urandom(12)
        sealed = AESGCM(key).encrypt(nonce, content, element(0x31, attributes) if attributes else None)
        info = sequence(DATA, sequence(GCM[size], sequence(octets(nonce), integer(16))), element(0x80, sealed[:-16]))
        body = sequence(integer(0), infos, info, element(0xA1, attributes) if attributes else b"", octets(sealed[-16:]))
        return sequence(AUTH_ENVELOPED, element(0xA0, body))
    iv, fill = os.urandom(16), 16 - len(content) % 16
    info = sequence(DATA, sequence(CBC[size], octets(iv)), element(0x80, cbc(algorithms.AES, key, iv, content + bytes([fill]) * fill, True)))
    return sequence(ENVELOPED, element(0xA0, sequence(integer(2 if version is None else version), infos, info)))


# Opening: each gives the content key that a RecipientInfo holds.

def transported(info, private):
    _, _, algorithm, encrypted = elements(info)
    name, *parameters = elements(algorithm)
    if name == RSA:
        return private.decrypt(content_of(encrypted), padding.PKCS1v15())
    assert name == OAEP
    names = {value: key for key, value in HASH_IDS.items()}
    found = {"hash": "sha1", "mask": "sha1"}
    for field in elements(parameters[0]):
        inner = elements(elements(field)[0])
        which, value = ("hash", inner[0]) if field[0] == 0xA0 else ("mask", elements(inner[1])[0])
        found[which] = next(names[dotted] for dotted in names if identifier(dotted) == value)
    return private.decrypt(content_of(encrypted), padding.OAEP(padding.MGF1(HASHES[found["mask"]]), HASHES[found["hash"]], None))


def agreed(info, private):
    version, originator, *rest = elements(info)
    assert version == integer(3)
    ukm = content_of(elements(rest.pop(0))[0]) if rest[0][0] == 0xA1 else None
    algorithm, keys = rest
    scheme, wrap = elements(algorithm)
    kind, hash_name = next(key for key, dotted in SCHEMES.items() if identifier(dotted) == scheme)
    size = next(size for size, name in WRAP.items() if name == elements(wrap)[0])
    point = content_of(elements(elements(originator)[0])[1])[1:]
    if isinstance(private, x25519.X25519PrivateKey):
        secret = private.exchange(x25519.X25519PublicKey.from_public_bytes(point))
    else:
        secret = private.exchange(ec.ECDH(), ec.EllipticCurvePublicKey.from_encoded_point(private.curve, point))
    wrapping = derived(kind, hash_name, secret, size, shared_info(wrap, size, ukm))
    return keywrap.aes_key_unwrap(wrapping, content_of(elements(elements(keys)[0])[1]))


def under_password(info, text):
    _, derivation, algorithm, encrypted = elements(info)
    salt, rounds, prf = elements(elements(derivation)[1])
    hash_name = next(name for name, dotted in PRFS.items() if identifier(dotted) == elements(prf)[0])
    cipher, iv = elements(elements(algorithm)[1])
    size = next(size for size, name in CBC.items() if name == cipher)
    count = int.from_bytes(content_of(rounds), "big")
    wrapping = PBKDF2HMAC(HASHES[hash_name], size, content_of(salt), count).derive(text)
    twice = content_of(encrypted)
    last = cbc(algorithms.AES, wrapping, twice[-32:-16], twice[-16:], False)
    once = cbc(algorithms.AES, wrapping, last, twice[:-16], False) + last
    block = cbc(algorithms.AES, wrapping, content_of(iv), once, False)
    key = block[4:4 + block[0]]
    assert all(check ^ byte == 0xFF for check, byte in zip(block[1:4], key))
    return key, count


def open_message(message, secret, index=0):
    """What a message holds, opened with a private key or the bytes of a password by the recipient of that number."""
    kind, wrapped = elements(message)
    version, infos, info, *rest = elements(elements(wrapped)[0])
    recipient = elements(infos)[index]
    key = (under_password(recipient, secret)[0] if isinstance(secret, bytes) else
           transported(recipient, secret) if isinstance(secret, rsa.RSAPrivateKey) else agreed(recipient, secret))
    content_type, algorithm, encrypted = elements(info)
    cipher, parameters = elements(algorithm)
    if kind == AUTH_ENVELOPED:
        assert version == integer(0) and cipher == GCM[len(key)]
        attributes = element(0x31, content_of(rest.pop(0))) if rest[0][0] == 0xA1 else None
        assert (attributes is not None) == (content_type != DATA)
        nonce, tag_size = elements(parameters)
        assert tag_size == integer(len(content_of(rest[0])))
        return AESGCM(key).decrypt(content_of(nonce), content_of(encrypted) + content_of(rest[0]), attributes)
    assert kind == ENVELOPED and cipher == CBC[len(key)]
    padded = cbc(algorithms.AES, key, content_of(parameters), content_of(encrypted), False)
    assert padded[-padded[-1]:] == bytes([padded[-1]]) * padded[-1]
    return padded[:-padded[-1]]
