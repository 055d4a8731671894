"""The pairs of docs/manual/from-openssl.md: each line runs in a copy of the folder that the page makes, and what both have
done is compared. A heading needs a comparison here, and a comparison a heading."""
import base64
import concurrent.futures
import datetime
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import unittest

from support import HAS_RC2, PROGRAM, ProgramTest, openssl, peer

PAGE = (pathlib.Path(__file__).resolve().parents[2] / "docs/manual/from-openssl.md").read_text()
PEERS = r"\b(openssl|certtool|keytool)\b"
COMPARISONS = {}


def pairs():
    """Heading, their line and ours, of each entry."""
    for title, block in re.findall(r"^### ([^\n]*)\n\n```sh\n(.*?)^```", PAGE, re.DOTALL | re.MULTILINE):
        yield title, *re.split(r"(?<!\\)\n", block.rstrip("\n"))


class Side:
    """What one line has done."""

    def __init__(self, folder, process):
        self.dir = folder
        self.status = process.returncode
        self.out = process.stdout
        self.said = process.stdout.decode("utf-8", "replace") + process.stderr.decode("utf-8", "replace")

    def read(self, name):
        return (self.dir / name).read_bytes()

    def openssl(self, *arguments):
        """What OpenSSL says in the folder, as text."""
        return openssl(*arguments, cwd=self.dir).decode()

    def certificate(self, name, *options):
        """What a certificate states: subject, what it is for, names."""
        return self.openssl("x509", "-in", name, "-noout", "-subject", "-issuer", "-pubkey", *options)

    def days(self, name):
        """How many days a certificate is valid."""
        start, end = (datetime.datetime.strptime(line.split("=")[1], "%b %d %H:%M:%S %Y GMT")
                      for line in self.openssl("x509", "-in", name, "-noout", "-dates").splitlines())
        return round((end - start) / datetime.timedelta(days=1))

    def public_key_of_request(self):
        return self.openssl("req", "-in", "new.csr", "-noout", "-pubkey")

    def public_key_of_key(self):
        return self.openssl("pkey", "-in", "new.key", "-pubout")

    def opened(self, name, password="password"):
        """What is in a PKCS#12 file: certificates and keys, without their attributes."""
        return blocks(self.openssl("pkcs12", "-in", name, "-passin", f"file:{password}", "-nodes").encode())


class Pair:
    def __init__(self, test, title, lines, change=None):
        self.test, self.title, self.lines = test, title, lines
        self.theirs, self.ours = (self.run(line, side, change) for line, side in zip(lines, ("theirs", "ours")))

    @property
    def both(self):
        return self.theirs, self.ours

    def run(self, line, side, change):
        folder = self.test.dir / f"{len(self.test.folders)}-{side}"
        self.test.folders.append(folder)
        shutil.copytree(self.test.files, folder)
        if change:
            change(folder)
        return Side(folder, self.test.shell(line, folder))

    def after(self, change):
        """The same lines where CHANGE was made to the folder before."""
        return Pair(self.test, self.title, self.lines, change)

    # Each of these is one way in which both sides can agree.

    def done(self):
        for side in self.both:
            self.test.assertEqual(side.status, 0, side.said)

    def refused(self, change):
        """After CHANGE neither line ends with 0."""
        for side in self.after(change).both:
            self.test.assertNotEqual(side.status, 0, side.said)

    def same(self, tell):
        theirs, ours = tell(self.theirs), tell(self.ours)
        self.test.assertTrue(theirs)
        self.test.assertEqual(ours, theirs)

    def differ(self, tell):
        self.test.assertNotEqual(tell(self.ours), tell(self.theirs))

    def show(self, *words):
        """Both say each of these, however they write it."""
        for side in self.both:
            for word in words:
                self.test.assertIn(flat(word), flat(side.said))


def flat(text):
    """Without what programs separate letters and digits by, nor their case."""
    return re.sub(r"[^a-z0-9@]", "", text.lower())


def blocks(text):
    """The PEM blocks of a text, sorted, without what stands around them. Private keys are in OpenSSL's form, as what of an
    EC key is written a second time is up to the writer."""
    found = re.findall(rb"-----BEGIN .*?-----END [^\n]*-----", text.replace(b"\r", b""), re.DOTALL)
    return sorted(openssl("pkey", input=block) if b" PRIVATE KEY" in block[:32] and b"ENCRYPTED" not in block else block for block in found)


def write(name, content):
    return lambda folder: (folder / name).write_bytes(content)


def copy(source, target):
    return lambda folder: (folder / target).write_bytes((folder / source).read_bytes())


def compares(*titles):
    """The function compares the entries of these headings."""
    def add(function):
        for title in titles:
            assert title not in COMPARISONS, title
            COMPARISONS[title] = function
        return function
    return add


def file_of(*titles, name, refuses=None):
    """Both write the same bytes to a file."""
    @compares(*titles)
    def compare(pair):
        pair.done()
        pair.same(lambda side: side.read(name))
        if refuses:
            pair.refused(refuses)


# Keys.


def new_key(title, kind, *labels):
    """Both make a key of this kind, under a label, for the owner alone, and no key twice."""
    @compares(title)
    def compare(pair):
        pair.done()
        for side in pair.both:
            pair.test.assertIn(kind, side.openssl("pkey", "-in", "new.key", "-noout", "-text"))
            pair.test.assertIn(re.findall("-----BEGIN (.*)-----", side.read("new.key").decode())[-1], labels)
            pair.test.assertEqual((side.dir / "new.key").stat().st_mode & 0o777, 0o600)
        pair.differ(lambda side: blocks(side.read("new.key"))[-1])


new_key("Make an RSA key", "(2048 bit, 2 primes)", "PRIVATE KEY")
new_key("Make an RSA key of 3072 bits", "(3072 bit, 2 primes)", "PRIVATE KEY")
new_key("Make an EC key", "NIST CURVE: P-256", "PRIVATE KEY")
new_key("Make an EC key in the traditional form", "NIST CURVE: P-384", "EC PRIVATE KEY")
new_key("Make an EC key with certtool", "NIST CURVE: P-521", "PRIVATE KEY", "EC PRIVATE KEY")
new_key("Make an Ed25519 key", "ED25519 Private-Key", "PRIVATE KEY")
new_key("Make an X25519 key", "X25519 Private-Key", "PRIVATE KEY")

file_of("Write the public key of a private key", "Write the public key of a certificate",
        "Write the public key of a request", name="www.pub")


@compares("Take the password off a key")
def _(pair):
    pair.done()
    pair.same(lambda side: blocks(side.read("new.key")))
    pair.same(lambda side: blocks(side.read("www.key")))
    pair.refused(write("password", b"another\n"))


@compares("Make a key under a password")
def _(pair):
    pair.done()
    for side in pair.both:
        pair.test.assertIn("NIST CURVE: P-256", side.openssl("pkey", "-in", "new.key", "-passin", "file:password", "-noout", "-text"))
        with pair.test.assertRaises(AssertionError):
            side.openssl("pkey", "-in", "new.key", "-passin", "file:new-password", "-noout")
        pair.test.assertIn(b"BEGIN ENCRYPTED PRIVATE KEY", side.read("new.key"))


@compares("Put a key under a password", "Change the password of a key")
def _(pair):
    pair.done()
    password = "new-password" if "Change" in pair.title else "password"
    for side in pair.both:
        pair.test.assertIn(b"BEGIN ENCRYPTED PRIVATE KEY", side.read("new.key"))
        key = side.openssl("pkey", "-in", "www.key")
        pair.test.assertEqual(side.openssl("pkey", "-in", "new.key", "-passin", f"file:{password}"), key)
        decrypted = pair.test.program("key", "decrypt", "new.key", "--password-file", password, cwd=side.dir)
        pair.test.assertEqual(blocks(decrypted), [key.encode()])


@compares("See whether a key is that of a certificate")
def _(pair):
    pair.done()
    pair.refused(copy("root.key", "www.key"))


# Requests and certificates.


@compares("Make a request", "Make a key and a request", "Make a request with certtool", "Make a request with keytool")
def _(pair):
    pair.done()
    for side in pair.both:
        side.openssl("req", "-in", "new.csr", "-noout", "-verify")

    def asked(side):
        text = side.openssl("req", "-in", "new.csr", "-noout", "-text")
        return side.openssl("req", "-in", "new.csr", "-noout", "-subject"), re.findall("DNS:[a-z.]+", text), \
            re.findall("Public Key Algorithm: .*|bit\\)", text)
    pair.same(asked)
    if "new.key" in pair.lines[0]:
        for side in pair.both:
            pair.test.assertEqual(side.public_key_of_request(), side.public_key_of_key())
    else:
        pair.same(Side.public_key_of_request)


@compares("Check a request's signature")
def _(pair):
    pair.done()
    der = bytearray(openssl("req", "-in", pair.ours.dir / "www.csr", "-outform", "DER"))
    der[-1] ^= 1
    changed = pair.after(write("www.csr", b"-----BEGIN CERTIFICATE REQUEST-----\n" + base64.encodebytes(der) +
                               b"-----END CERTIFICATE REQUEST-----\n"))
    changed.done()
    pair.test.assertIn("verify failure", changed.theirs.said)
    pair.test.assertIn("signature verifies: no", changed.ours.said)


@compares("Make a root", "Make a root with certtool")
def _(pair):
    pair.done()
    pair.same(lambda side: sorted(side.certificate("new.pem", "-ext", "keyUsage").replace(" ", "").replace("\n", ",").split(",")))
    for side in pair.both:
        pair.test.assertIn("CA:TRUE", side.certificate("new.pem", "-ext", "basicConstraints"))
        pair.test.assertEqual(side.days("new.pem"), 3650)
        side.openssl("x509", "-req", "-in", "www.csr", "-CA", "new.pem", "-CAkey", "root.key", "-CAcreateserial",
                     "-copy_extensions", "copy", "-out", "www.pem")
        side.openssl("verify", "-CAfile", "new.pem", "www.pem")
        pair.test.program("verify", "--ca", "new.pem", "--host", "www.acme.example", "www.pem", cwd=side.dir)


@compares("Make a certificate for trying out a server")
def _(pair):
    pair.done()
    pair.same(lambda side: side.openssl("x509", "-in", "new.pem", "-noout", "-subject", "-ext", "subjectAltName"))
    for side in pair.both:
        pair.test.assertEqual(side.days("new.pem"), 90)
        side.openssl("verify", "-CAfile", "new.pem", "-verify_hostname", "localhost", "-purpose", "sslserver", "new.pem")
        pair.test.assertEqual(side.openssl("x509", "-in", "new.pem", "-noout", "-pubkey"), side.public_key_of_key())


@compares("Make a key and a certificate with keytool")
def _(pair):
    pair.done()
    for side in pair.both:
        pair.test.assertIn("app, ", listed(side, "new.p12"))
        certificate, key = side.opened("new.p12")
        (side.dir / "app.pem").write_bytes(certificate)
        pair.test.assertEqual(side.days("app.pem"), 90)
        pair.test.assertEqual(openssl("pkey", "-pubout", input=key), openssl("x509", "-noout", "-pubkey", input=certificate))
        pair.test.assertIn(b"prime256v1", openssl("pkey", "-noout", "-text", input=key))
    pair.same(lambda side: side.openssl("x509", "-in", "app.pem", "-noout", "-subject", "-ext", "subjectAltName"))


@compares("Issue a certificate", "Issue a certificate with certtool")
def _(pair):
    pair.done()
    pair.same(lambda side: side.certificate("new.pem", "-ext", "subjectAltName"))
    for side in pair.both:
        pair.test.assertEqual(side.days("new.pem"), 90)
        side.openssl("verify", "-CAfile", "root.pem", "-purpose", "sslserver", "-verify_hostname", "www.acme.example", "new.pem")
        pair.test.program("verify", "--ca", "root.pem", "--host", "www.acme.example", "new.pem", cwd=side.dir)


@compares("Renew a root under its key")
def _(pair):
    pair.done()
    pair.same(lambda side: side.certificate("new.pem", "-ext", "basicConstraints,keyUsage,subjectKeyIdentifier"))
    for side in pair.both:
        pair.test.assertEqual(side.days("new.pem"), 7300)
        side.openssl("verify", "-CAfile", "new.pem", "www.pem")


def crl(side):
    """The issuer, how many days a CRL is good for, and the serial numbers that it revokes, with reasons."""
    side.openssl("crl", "-in", "new.crl", "-noout", "-CAfile", "root.pem")
    text = side.openssl("crl", "-in", "new.crl", "-noout", "-text")
    start, end = (datetime.datetime.strptime(re.search(f"{name} Update: (.*) GMT", text)[1], "%b %d %H:%M:%S %Y")
                  for name in ("Last", "Next"))
    return (re.search("Issuer: (.*)", text)[1], (end - start).days, re.findall("Serial Number: (.*)", text),
            re.findall("Key Compromise", text))


@compares("Make a CRL", "Revoke a certificate")
def _(pair):
    pair.done()
    pair.same(crl)
    for side in pair.both:
        answer = subprocess.run(["openssl", "verify", "-crl_check", "-CAfile", "root.pem", "-CRLfile", "new.crl", "www.pem"], cwd=side.dir,
                                capture_output=True, text=True, check=False)
        ours = pair.test.shell("sealkit verify --ca root.pem --crl new.crl www.pem", side.dir)
        pair.test.assertEqual("revoked" in answer.stderr, "Revoke" in pair.title, answer.stderr)
        pair.test.assertEqual(b"revoked" in ours.stdout, "Revoke" in pair.title, ours)


# Look at things.


def shows(title, *tell):
    """Both show what these give of a side: texts."""
    @compares(title)
    def compare(pair):
        pair.done()
        for find in tell:
            word = find(pair.theirs) if callable(find) else find
            pair.test.assertTrue(word)
            pair.show(word)


def of_x509(option):
    return lambda side: side.openssl("x509", "-in", "www.pem", "-noout", "-sha256", option).strip().partition("=")[2]


def serial_number(side):
    """Without leading zeros, as keytool writes it."""
    return of_x509("-serial")(side).lstrip("0")


def modulus(side):
    return side.openssl("rsa", "-in", "ada.key", "-noout", "-modulus").partition("=")[2][:64]


def prime(side):
    text = side.openssl("rsa", "-in", "ada.key", "-noout", "-text")
    return "".join(re.search(r"prime1:\n((?:\s+[0-9a-f:]+\n)+)", text)[1].split())[3:60]


for heading in ("Show a certificate", "Show a certificate with certtool", "Show a certificate with keytool"):
    shows(heading, serial_number, "www.acme.example", "Acme root", lambda side: of_x509("-enddate")(side).split()[3])
shows("Show a fingerprint", of_x509("-fingerprint"))
shows("Show a request", "CN", "www.acme.example", "DNS", "P256")
shows("Show a CRL", "Acme root", "CRL number")
shows("Show a private key", modulus, prime)
shows("Show a public key", modulus, "65537")
shows("Show the certificates of a bundle", "www.acme.example", "Acme root")
shows("See how a PKCS#12 file is protected", "10000", "SHA256", "AES-256-CBC", "PBKDF2")
shows("List a keystore", "www.acme.example", "Acme root", serial_number, of_x509("-fingerprint"))


@compares("See when a certificate ends")
def _(pair):
    pair.done()
    theirs = datetime.datetime.strptime(pair.theirs.said.strip(), "notAfter=%b %d %H:%M:%S %Y GMT")
    pair.test.assertIn(theirs.strftime("%Y-%m-%d %H:%M:%S UTC"), pair.ours.said)


@compares("See whether a certificate ends within 30 days")
def _(pair):
    pair.done()
    brief = pair.test.dir / "brief.pem"
    pair.test.program("cert", "issue", "--ca", "root.pem", "-k", "root.key", "--profile", "server", "--accept-names", "--days", "20",
                      "www.csr", "-o", brief, cwd=pair.test.files)
    pair.refused(write("www.pem", brief.read_bytes()))


@compares("Show the ASN.1 of a file")
def _(pair):
    pair.done()
    theirs = [tuple(map(int, row)) for row in re.findall(r"^ *(\d+):d=\d+ +hl=(\d+) l= *(\d+)", pair.theirs.said, re.MULTILINE)]
    ours = [tuple(map(int, row)) for row in re.findall(r"^ *(\d+) +(\d+) +(\d+)  ", pair.ours.said, re.MULTILINE)]
    pair.test.assertGreater(len(theirs), 40)
    # Ours also has the elements within OCTET STRINGs and BIT STRINGs.
    pair.test.assertEqual([row for row in theirs if row not in ours], [], pair.ours.said)


file_of("Cut an element out of a file", name="tbs.der")


# Verify.


def verifies(title, *changes):
    """Both accept, and after each change both refuse."""
    @compares(title)
    def compare(pair):
        pair.done()
        for change in changes:
            pair.refused(change)


another_root = copy("issuing.pem", "root.pem")
another_name = copy("mail.pem", "www.pem")


def revoke(folder):
    openssl("ca", "-config", "ca.cnf", "-revoke", "www.pem", cwd=folder)
    openssl("ca", "-config", "ca.cnf", "-gencrl", "-out", "root.crl", cwd=folder)


verifies("Verify a certificate", copy("ada.pem", "root.pem"), another_name)
verifies("Verify a certificate with certtool", copy("ada.pem", "root.pem"), another_name)
verifies("Verify through an intermediate", copy("root.pem", "issuing.pem"))
verifies("Verify for a host", another_name, copy("ada.pem", "www.pem"))
verifies("Verify for a purpose", copy("www.pem", "ada.pem"))
verifies("Verify with a CRL", revoke)


@compares("Verify at another time")
def _(pair):
    pair.done()
    late = Pair(pair.test, pair.title, [line.replace("2000000000", "2500000000") for line in pair.lines])
    for side in late.both:
        pair.test.assertNotEqual(side.status, 0)
        pair.test.assertIn("expired", side.said)


@compares("Verify against the CAs of the system")
def _(pair):
    for side in pair.both:
        pair.test.assertNotEqual(side.status, 0)
        pair.test.assertRegex(side.said, "unable to get local issuer|no-anchor")


# Convert.

file_of("Turn a certificate into DER", "Turn a certificate into DER with certtool", "Turn a CRL into DER", name="new.der")
file_of("Turn a certificate into PEM", name="new.pem")
file_of("Turn an RSA key into the traditional form", "Turn an EC key into the traditional form", name="new.key")


@compares("Turn a key into DER", "Turn a traditional key into PKCS#8")
def _(pair):
    pair.done()
    name, form = ("new.der", "DER") if "DER" in pair.title else ("new.key", "PEM")
    for side in pair.both:
        # PrivateKeyInfo and not the traditional form: a version 0, an algorithm, a string.
        rows = side.openssl("asn1parse", "-in", name, "-inform", form)
        pair.test.assertRegex(rows, "^.*SEQUENCE.*\n.*INTEGER .*:00\n.*SEQUENCE.*\n.*id-ecPublicKey\n.*prime256v1\n.*OCTET STRING")
    pair.same(lambda side: side.openssl("pkey", "-in", name, "-inform", form))


@compares("Put certificates into a bundle")
def _(pair):
    pair.done()
    pair.same(lambda side: blocks(side.openssl("pkcs7", "-in", "new.p7b", "-print_certs").encode()))
    pair.same(lambda side: blocks(pair.test.program("convert", "--to", "pem", "new.p7b", cwd=side.dir)))


@compares("Take certificates out of a bundle", "Take everything out of PKCS#12", "Take the key out of PKCS#12",
          "Take the certificates out of PKCS#12", "Take the certificates out of a message")
def same_blocks(pair):
    pair.done()
    pair.same(lambda side: blocks(side.read("new.pem")))


@compares("Take a key out of an old PKCS#12 file")
def _(pair):
    if HAS_RC2:
        same_blocks(pair)
    else:
        pair.test.assertEqual((pair.theirs.status, pair.ours.status), (0, 2), pair.ours.said)


# PKCS#12.


def listed(side, name):
    return peer("keytool", "-list", "-keystore", name, "-storepass:file", "password", cwd=side.dir).decode()


@compares("Put a key and its chain into PKCS#12", "Put a key into PKCS#12 with certtool")
def _(pair):
    pair.done()
    pair.same(lambda side: side.opened("new.p12"))
    for side in pair.both:
        pair.test.assertIn("friendlyName: www", side.openssl("pkcs12", "-in", "new.p12", "-passin", "file:password", "-nodes"))
    pair.same(lambda side: blocks(pair.test.program("p12", "import", "new.p12", "--password-file", "password", cwd=side.dir)))


@compares("Export a certificate with keytool")
def _(pair):
    pair.done()
    first = [re.search(rb"-----BEGIN.*?-----END.*?-----", side.read("new.pem").replace(b"\r", b""), re.DOTALL)[0] for side in pair.both]
    pair.test.assertEqual(*first)


@compares("Make a trust store with keytool")
def _(pair):
    pair.done()
    for side in pair.both:
        pair.test.assertRegex(listed(side, "new.p12"), "(?s)contains 1 entry.*root, .*trustedCertEntry")
    pair.same(lambda side: pair.test.program("p12", "import", "new.p12", "--password-file", "password", cwd=side.dir))


@compares("Change the password of PKCS#12 with keytool")
def _(pair):
    pair.done()
    for side in pair.both:
        with pair.test.assertRaises(AssertionError):
            side.opened("www.p12")
    pair.same(lambda side: side.opened("www.p12", "new-password"))


# CMS and S/MIME.


@compares("Sign a file with its content in the message", "Sign a file beside the message", "Sign a mail")
def _(pair):
    pair.done()
    mail, beside = "smime" in pair.lines[0], "beside" in pair.title
    form = "SMIME" if mail else "DER" if beside else "PEM"
    name = pair.lines[0].split("-out ")[1].split()[0]
    for side in pair.both:
        side.openssl("cms", "-verify", "-in", name, "-inform", form, "-CAfile", "root.pem", "-out", "theirs.txt",
                     *(["-text"] if mail else ["-binary"]), *(["-content", "letter.txt"] if beside else []))
        pair.test.program("cms", "check", "--ca", "root.pem", name, "-o", "ours.txt", *(["--text"] if mail else []),
                          *(["--content", "letter.txt"] if beside else []), cwd=side.dir)
        for copied in ("theirs.txt", "ours.txt"):
            pair.test.assertEqual(side.read(copied).replace(b"\r", b""), b"Dear Ada,\n")
        pair.test.assertEqual(beside, b"Dear" not in side.read(name) and form == "DER")


def checks(title, tampered):
    """Both accept and give the letter out, and after the change both refuse."""
    @compares(title)
    def compare(pair):
        pair.done()
        pair.same(lambda side: side.read("new.txt").replace(b"\r", b""))
        pair.test.assertEqual(pair.ours.read("new.txt"), b"Dear Ada,\n")
        pair.refused(tampered)
        pair.refused(copy("ada.pem", "root.pem"))


checks("Check a signed message", copy("secret.p7m", "letter.p7m"))
checks("Check a signature beside its file", write("letter.txt", b"Dear Eve,\n"))
checks("Check a signed mail", lambda folder: write("letter.eml", (folder / "letter.eml").read_bytes().replace(b"Ada,", b"Eve,"))(folder))


@compares("Encrypt a file to a certificate", "Encrypt a mail", "Encrypt a message under a password")
def _(pair):
    pair.done()
    mail = "mail" in pair.title
    name = "new.eml" if mail else "new.p7m"
    form = "SMIME" if mail else "PEM"
    opener = ["-pwri_password", "correct horse battery staple"] if "password" in pair.title else ["-inkey", "ada.key", "-recip", "ada.pem"]
    ours = ["--password-file", "password"] if "password" in pair.title else ["-k", "ada.key"]
    for side in pair.both:
        side.openssl("cms", "-decrypt", "-in", name, "-inform", form, *opener, "-out", "theirs.txt", *(["-text"] if mail else []))
        pair.test.program("cms", "decrypt", *ours, name, "-o", "ours.txt", *(["--text"] if mail else []), cwd=side.dir)
        for copied in ("theirs.txt", "ours.txt"):
            pair.test.assertEqual(side.read(copied).replace(b"\r", b""), b"Dear Ada,\n")

    def cipher(side):
        return re.findall("aes-[0-9]+-cbc", side.openssl("cms", "-cmsout", "-print", "-in", name, "-inform", form))[-1]
    pair.same(cipher)


@compares("Decrypt a message")
def _(pair):
    pair.done()
    pair.same(lambda side: side.read("new.txt"))
    pair.refused(copy("root.key", "ada.key"))


# Time-stamps.


@compares("Ask for a time-stamp")
def _(pair):
    pair.done()

    def asked(side):
        text = side.openssl("ts", "-query", "-in", "new.tsq", "-text")
        pair.test.assertRegex(text, "Nonce: 0x[0-9A-F]{12,16}\n")
        return re.sub("Nonce: .*", "", text)
    pair.same(asked)


shows("Show a request for a time-stamp", "SHA256", lambda side: re.search("Nonce: 0x0*(.*)", side.said)[1])


@compares("Reply to a request for a time-stamp")
def _(pair):
    pair.done()
    for side in pair.both:
        side.openssl("ts", "-verify", "-queryfile", "letter.tsq", "-in", "new.tsr", "-CAfile", "root.pem")
        pair.test.program("ts", "check", "--request", "letter.tsq", "--ca", "root.pem", "new.tsr", cwd=side.dir)
    pair.same(lambda side: re.findall("Policy OID: .*", side.openssl("ts", "-reply", "-in", "new.tsr", "-text")))


def other_request(folder):
    openssl("ts", "-query", "-data", "password", "-sha256", "-cert", "-out", "letter.tsq", cwd=folder)


verifies("Check a time-stamp", other_request, copy("ada.pem", "root.pem"))


# Digests, MACs and signatures.


@compares("Write the digest of a file", "Write a digest that names its algorithm", "Write the HMAC of a file", "Write the CMAC of a file")
def _(pair):
    pair.done()
    pair.same(lambda side: max(re.findall("[0-9a-f]+", side.said.lower()), key=len))
    if "algorithm" in pair.title:
        for side in pair.both:
            pair.test.assertRegex(side.said, r"SHA(2-)?512 ?\(letter.txt\)")


file_of("Sign a file", "Sign a file with Ed25519", name="new.sig")
compares("Sign a file, in base64")(lambda pair: pair.same(lambda side: side.read("new.sig").strip()))


@compares("Sign a file with ECDSA")
def _(pair):
    pair.done()
    pair.differ(lambda side: side.read("new.sig"))
    for side in pair.both:
        side.openssl("pkey", "-in", "www.key", "-pubout", "-out", "www.pub")
        side.openssl("dgst", "-sha256", "-verify", "www.pub", "-signature", "new.sig", "letter.txt")
        pair.test.program("check", "-a", "sha256", "-k", "www.pem", "--signature", "new.sig", "letter.txt", cwd=side.dir)


verifies("Check the signature of a file", write("letter.txt", b"Dear Eve,\n"))


# Encryption and random bytes.

file_of("Encrypt a file under a key", "Encrypt a file in counter mode", name="new.enc")
file_of("Decrypt a file under a key", name="new.txt",
        refuses=lambda folder: write("letter.enc", (folder / "letter.enc").read_bytes()[:-1])(folder))


@compares("Encrypt a file under a password")
def _(pair):
    pair.done()
    pair.theirs.openssl("enc", "-d", "-aes-256-cbc", "-pbkdf2", "-iter", "600000", "-pass", "file:password", "-in", "new.enc",
                        "-out", "new.txt")
    pair.test.program("cms", "decrypt", "--password-file", "password", "new.enc", "-o", "new.txt", cwd=pair.ours.dir)
    pair.same(lambda side: side.read("new.txt"))
    for side in pair.both:
        pair.test.assertNotIn(b"Dear", side.read("new.enc"))


@compares("Write random bytes", "Write random bytes in hexadecimal")
def _(pair):
    pair.done()
    written = (lambda side: side.read("new.bin")) if "new.bin" in pair.lines[0] else (lambda side: bytes.fromhex(side.said))
    pair.same(lambda side: len(written(side)))
    pair.differ(written)


class FromOpensslTest(ProgramTest):
    folders = []

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.environment["JAVA_TOOL_OPTIONS"] = "-XX:TieredStopAtLevel=1 -XX:+UseSerialGC"  # A start takes half the time.

    @classmethod
    def shell(cls, line, folder):
        """Runs a line in a shell that knows the program as `sealkit`."""
        script = f'sealkit() {{ {" ".join(map(shlex.quote, PROGRAM))} "$@"; }}\n{line}\n'
        return subprocess.run(["bash", "-e", "-o", "pipefail", "-c", script], cwd=folder, capture_output=True, env=cls.environment,
                              stdin=subprocess.DEVNULL, timeout=120, check=False)

    def program(self, *arguments, cwd):
        """What the program writes, which must succeed."""
        return peer(*PROGRAM, *arguments, cwd=cwd, env=self.environment)

    def test_every_pair_has_the_same_effect(self):
        found = list(pairs())
        titles = [title for title, *_ in found]
        self.assertGreaterEqual(len(found), 60)
        self.assertEqual(len(titles), len(set(titles)))
        self.assertEqual(titles, re.findall("^### (.*)$", PAGE, re.MULTILINE))
        self.assertEqual(set(titles), set(COMPARISONS))

        type(self).files = self.dir / "files"
        self.files.mkdir()
        setup = re.search(r"^## The files\n.*?^```sh\n(.*?)^```", PAGE, re.DOTALL | re.MULTILINE)[1]
        self.paste(setup.splitlines(), self.files)

        def make(entry):
            title, *lines = entry
            self.assertEqual(len(lines), 2, title)
            theirs, ours = lines
            self.assertRegex(theirs, PEERS)
            self.assertNotIn("sealkit", theirs)
            self.assertIn("sealkit ", ours)
            self.assertNotRegex(ours, PEERS)
            return Pair(self, title, lines)

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for pair in pool.map(make, found):
                with self.subTest(pair.title):
                    COMPARISONS[pair.title](pair)


if __name__ == "__main__":
    unittest.main()
