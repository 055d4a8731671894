"""Certificates, CRLs and chains made element by element, so that they may break any rule.

ECDSA over P-256 signs with the nonce 1, which costs next to nothing and gives the private key away: these keys protect
nothing. RSA and Ed25519 sign through OpenSSL.
"""
import hashlib
import re

from support import element, identifier, openssl

ORDER = 0xFFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551
GENERATOR_X = 0x6B17D1F2E12C4247F8BCE6E563A440F277037D812DEB33A0F4A13945D898C296

NULL = element(5)
DIGITAL_SIGNATURE, CONTENT, ENCIPHER, DATA, AGREEMENT, CERT_SIGN, CRL_SIGN = (0x80 >> bit for bit in range(7))
SERVER, CLIENT, CODE, MAIL, STAMPS, OCSP = (f"1.3.6.1.5.5.7.3.{number}" for number in (1, 2, 3, 4, 8, 9))
ANY_USE = "2.5.29.37.0"


def sequence(*contents):
    return element(0x30, *contents)


def explicit(number, *contents):
    return element(0xA0 | number, *contents)


def implicit(number, *contents):
    return element(0x80 | number, *contents)


def integer(value, tag=2):
    return element(tag, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def bits(content, unused=0, tag=3):
    return element(tag, bytes([unused]), content)


def text(value, tag=12):
    return element(tag, value.encode("utf-16-be" if tag == 30 else "latin-1" if tag == 20 else "utf-8"))


def boolean(value):
    return element(1, b"\xff" if value else b"\0")


def date(value):
    """A time from the form "20250101", or "20250101120000"."""
    value = value.ljust(14, "0")
    if "1950" <= value[:4] < "2050":
        return element(23, value[2:].encode() + b"Z")
    return element(24, value.encode() + b"Z")


ATTRIBUTES = {"CN": "2.5.4.3", "C": "2.5.4.6", "L": "2.5.4.7", "O": "2.5.4.10", "OU": "2.5.4.11",
              "E": "1.2.840.113549.1.9.1", "DC": "0.9.2342.19200300.100.1.25"}


def name(value, tag=12):
    """The name "C=XY, O=Org, CN=a". TAG is that of its strings, but for e-mail addresses and domains."""
    parts = [part.partition("=") for part in value.split(", ") if part]
    return sequence(*(element(0x31, sequence(identifier(ATTRIBUTES[kind]), text(held, 22 if kind in ("E", "DC") else 19 if kind == "C" else tag)))
                      for kind, _, held in parts))


def dns(value):
    return implicit(2, value.encode())


def mail(value):
    return implicit(1, value.encode())


def uri(value):
    return implicit(6, value.encode())


def directory(value, tag=12):
    return explicit(4, name(value, tag))


def address(*octets):
    return implicit(7, bytes(octets))


def registered(dotted):
    return implicit(8, identifier(dotted)[2:])


def other(dotted, value):
    return explicit(0, identifier(dotted), explicit(0, text(value)))


def extension(dotted, value, critical=False):
    return sequence(identifier(dotted), boolean(True) if critical else b"", element(4, value))


def basic(ca=True, length=None, critical=True):
    return extension("2.5.29.19", sequence(boolean(True) if ca else b"", b"" if length is None else integer(length)), critical)


def usage(flags, critical=True):
    unused = (flags & -flags).bit_length() - 1 if flags else 0
    return extension("2.5.29.15", bits(bytes([flags]) if flags else b"", unused), critical)


def uses(*dotted, critical=False):
    return extension("2.5.29.37", sequence(*map(identifier, dotted)), critical)


def alternative(*names, critical=False):
    return extension("2.5.29.17", sequence(*names), critical)


def constraints(permitted=(), excluded=(), critical=True):
    return extension("2.5.29.30", sequence(*(explicit(number, *(sequence(each) for each in names))
                                             for number, names in ((0, permitted), (1, excluded)) if names)), critical)


def policies(*dotted, critical=False):
    return extension("2.5.29.32", sequence(*(sequence(identifier(each)) for each in dotted)), critical)


def mappings(*pairs, critical=True):
    return extension("2.5.29.33", sequence(*(sequence(identifier(a), identifier(b)) for a, b in pairs)), critical)


def policy_constraints(explicit_after=None, mapping_after=None, critical=True):
    return extension("2.5.29.36", sequence(*(integer(value, 0x80 | number)
                                             for number, value in ((0, explicit_after), (1, mapping_after)) if value is not None)), critical)


def inhibit_any(after, critical=True):
    return extension("2.5.29.54", integer(after), critical)


def full_name(*names):
    return explicit(0, explicit(0, *names))


def points(*each, dotted="2.5.29.31", critical=False):
    return extension(dotted, sequence(*(sequence(*parts) for parts in each)), critical)


def reasons(*numbers):
    value = sum(0x8000 >> number for number in numbers)
    content = value.to_bytes(2, "big") if value & 0xFF else bytes([value >> 8])
    last = content[-1]
    return implicit(3, bytes([(last & -last).bit_length() - 1]), content)


def point_reasons(*numbers):
    return b"\x81" + reasons(*numbers)[1:]


def crl_issuer(value):
    return explicit(2, directory(value))


def scope(*parts):
    """issuingDistributionPoint of encoded parts."""
    return extension("2.5.29.28", sequence(*parts), True)


ONLY_USERS, ONLY_CAS, INDIRECT, ONLY_ATTRIBUTES = (implicit(number, b"\xff") for number in (1, 2, 4, 5))

UNKNOWN = "1.3.6.1.4.1.99999.1"

ALGORITHMS = {"sha1": ("1.2.840.10045.4.1", hashlib.sha1), "sha224": ("1.2.840.10045.4.3.1", hashlib.sha224),
              "sha256": ("1.2.840.10045.4.3.2", hashlib.sha256), "sha384": ("1.2.840.10045.4.3.3", hashlib.sha384),
              "sha512": ("1.2.840.10045.4.3.4", hashlib.sha512)}


class Key:
    """A key of P-256."""

    def __init__(self, folder, number):
        path = folder / f"key-{number}.pem"
        openssl("ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", path)
        self.info = openssl("pkey", "-in", path, "-pubout", "-outform", "DER")
        shown = openssl("pkey", "-in", path, "-text", "-noout").decode()
        self.secret = int(re.sub(r"[\s:]", "", re.search(r"priv:([\s0-9a-f:]+)pub:", shown)[1]), 16)
        self.id = hashlib.sha1(self.info).digest()

    def sign(self, content, algorithm):
        dotted, digest = ALGORITHMS[algorithm or "sha256"]
        hashed = digest(content).digest()[:32]
        value = (int.from_bytes(hashed, "big") + GENERATOR_X * self.secret) % ORDER
        return sequence(identifier(dotted)), sequence(integer(GENERATOR_X), integer(value))

    def identify(self, algorithm):
        return sequence(identifier(ALGORITHMS[algorithm or "sha256"][0]))


class FileKey:
    """A key that OpenSSL makes and signs with: of RSA, RSASSA-PSS or another curve."""

    HASHES = {"md5": 4, "sha1": 5, "sha256": 11, "sha384": 12, "sha512": 13}
    PSS = {"sha256": ("2.16.840.1.101.3.4.2.1", 32), "sha384": ("2.16.840.1.101.3.4.2.2", 48), "sha512": ("2.16.840.1.101.3.4.2.3", 64)}

    def __init__(self, folder, label, *options):
        self.path = folder / f"key-{label}.pem"
        openssl("genpkey", *options, "-out", self.path)
        self.info = openssl("pkey", "-in", self.path, "-pubout", "-outform", "DER")
        self.id = hashlib.sha1(self.info).digest()
        self.is_rsa, self.is_ed = label.startswith("rsa"), label.startswith("ed")

    def identify(self, algorithm):
        algorithm = algorithm or "sha256"
        if self.is_ed:
            return sequence(identifier("1.3.101.112"))
        if algorithm.startswith("pss-"):
            dotted, salt = self.PSS[algorithm[4:]]
            hashed = sequence(identifier(dotted), NULL)
            return sequence(identifier("1.2.840.113549.1.1.10"),
                            sequence(explicit(0, hashed), explicit(1, sequence(identifier("1.2.840.113549.1.1.8"), hashed)), explicit(2, integer(salt))))
        if self.is_rsa:
            return sequence(identifier(f"1.2.840.113549.1.1.{self.HASHES[algorithm]}"), NULL)
        return sequence(identifier(ALGORITHMS[algorithm][0]))

    def sign(self, content, algorithm):
        algorithm = algorithm or "sha256"
        if self.is_ed:
            file = self.path.with_suffix(".tbs")
            file.write_bytes(content)
            return self.identify(algorithm), openssl("pkeyutl", "-sign", "-rawin", "-inkey", self.path, "-in", file)
        options = []
        if algorithm.startswith("pss-"):
            algorithm = algorithm[4:]
            options = ["-sigopt", "rsa_padding_mode:pss", "-sigopt", f"rsa_pss_saltlen:{self.PSS[algorithm][1]}"]
            return self.identify(f"pss-{algorithm}"), openssl("dgst", f"-{algorithm}", "-sign", self.path, *options, input=content)
        return self.identify(algorithm), openssl("dgst", f"-{algorithm}", "-sign", self.path, input=content)


def signed(key, content, algorithm=None, broken=False):
    """CONTENT, the elements of what is signed, with its signature."""
    whole = sequence(content)
    named, signature = key.sign(whole, algorithm)
    if broken:
        signature = signature[:-1] + bytes([signature[-1] ^ 1])
    return sequence(whole, named, bits(signature))


class Entity:
    """A certificate and its key."""

    def __init__(self, key, subject, issuer=None, extensions=(), serial=None, start="20200101", end="20400101", algorithm=None,
                 broken=False, version=3, ids=True, issuer_name=None, tag=12, issuer_key=None):
        self.key = key
        self.subject = subject if isinstance(subject, bytes) else name(subject, tag)
        issuer = issuer or self
        if serial is None:
            serial = int.from_bytes(hashlib.sha256(self.subject + issuer.subject + b"".join(extensions)).digest()[:8], "big") | 1
        self.serial = serial
        self.issuer_subject = issuer_name or issuer.subject
        own = list(extensions)
        if ids and version == 3:
            own += [extension("2.5.29.14", element(4, key.id)), extension("2.5.29.35", sequence(implicit(0, issuer.key.id)))]
        signer = issuer_key or issuer.key
        self.der = signed(signer, b"".join((
            explicit(0, integer(version - 1)) if version > 1 else b"", integer(serial), signer.identify(algorithm), self.issuer_subject,
            sequence(date(start), date(end)), self.subject, key.info, explicit(3, sequence(*own)) if own and version == 3 else b"")),
            algorithm, broken)


def entry(serial, reason=None, issuer=None, critical_unknown=False, when="20210101"):
    own = b""
    if reason is not None:
        own += extension("2.5.29.21", integer(reason, 10))
    if issuer:
        own += extension("2.5.29.29", sequence(directory(issuer)), True)
    if critical_unknown:
        own += extension(UNKNOWN, NULL, True)
    return sequence(integer(serial), date(when), sequence(own) if own else b"")


def crl(issuer, entries=(), extensions=(), number=1, this="20240101", until="20400101", key=None, algorithm=None, broken=False, ids=True,
        delta=None, issuer_name=None):
    signer = key or issuer.key
    own = [*extensions, extension("2.5.29.20", integer(number))]
    if ids:
        own.append(extension("2.5.29.35", sequence(implicit(0, signer.id))))
    if delta is not None:
        own.append(extension("2.5.29.27", integer(delta), True))
    return signed(signer, b"".join((
        integer(1), signer.identify(algorithm), issuer_name or issuer.subject, date(this), date(until) if until else b"",
        sequence(*entries) if entries else b"", explicit(0, sequence(*own)))), algorithm, broken)
