"""Keys of OpenSSL, GnuTLS and OpenSSH read here, and ours read there."""
import base64
import itertools
import re
import unittest

from support import HAS_RC2, ProgramTest, openssl, peer, some

PASSWORD = "correct horse"
LEGACY = ("-provider", "default", "-provider", "legacy")


class PeerTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.write("password", PASSWORD + "\n")
        for name, kind in (("rsa", "RSA"), ("p256", "P-256"), ("p521", "P-521"), ("ed", "Ed25519")):
            cls.new_key(name, kind)

    def at(self, name):
        return self.dir / name

    def assertReads(self, path, encrypted=False):
        """Ours finds the public key in PATH that OpenSSL finds."""
        options = [*LEGACY, "-passin", f"pass:{PASSWORD}"] if encrypted else []
        wanted = openssl("pkey", "-in", self.at(path), "-pubout", *options).decode()
        self.assertEqual(self.expect(0, "key", "public", path, "--password-file", "password").out, wanted)
        if encrypted:
            self.expect(3, "key", "public", path)

    def assertRefuses(self, path, reason):
        """Ours says REASON of what encrypts PATH, and how to encrypt it otherwise."""
        complaint = self.expect(2, "key", "public", path, "--password-file", "password").err
        self.assertIn(reason, complaint)
        self.assertIn("is not supported. (", complaint)
        self.assertIn(' - "openssl pkcs8 -topk8 -v2 aes-256-cbc', complaint)


class OpensslTest(PeerTest):
    def test_plain_forms(self):
        openssl("genrsa", "-traditional", "-out", self.at("genrsa"), "2048")
        openssl("ec", "-in", self.at("p521.key"), "-out", self.at("ec"))
        for name in ("rsa.key", "p256.key", "ed.key", "genrsa", "ec"):
            self.assertReads(name)
        for curve in ("prime192v1", "secp224r1", "secp384r1"):
            self.write("parameters", openssl("ecparam", "-name", curve, "-genkey"))
            self.assertIn("EC PARAMETERS", self.at("parameters").read_text())
            self.assertReads("parameters")
        for command in (["rsa", "-traditional", "-in", self.at("rsa.key")], ["ec", "-in", self.at("p256.key")], ["pkey", "-in", self.at("ed.key")],
                        ["pkcs8", "-topk8", "-nocrypt", "-in", self.at("p256.key")]):
            openssl(*command, "-outform", "DER", "-out", self.at("der"))
            self.assertReads("der")

    def test_pkcs8_under_a_password(self):
        for name in ("rsa", "ed"):
            openssl("pkcs8", "-topk8", "-in", self.at(f"{name}.key"), "-passout", f"pass:{PASSWORD}", "-out", self.at("enc"))
            self.assertReads("enc", encrypted=True)
        for options in (["-v2", "des3"], ["-v2", "aes-128-cbc"], ["-v2", "aes-192-cbc"], ["-v2", "aes-256-cbc"], ["-v2prf", "hmacWithSHA1"],
                        ["-v2", "aes-128-cbc", "-v2prf", "hmacWithSHA256", "-iter", "5000"], ["-outform", "DER"]):
            with self.subTest(options):
                openssl("pkcs8", "-topk8", "-in", self.at("p256.key"), *options, "-passout", f"pass:{PASSWORD}", "-out", self.at("enc"))
                self.assertReads("enc", encrypted=True)
        for options in some((["-v2prf", "hmacWithSHA224"], ["-v2prf", "hmacWithSHA384"], ["-v2prf", "hmacWithSHA512"], ["-scrypt"],
                             ["-v1", "PBE-SHA1-3DES"], ["-v1", "PBE-MD5-DES", *LEGACY], ["-v1", "PBE-SHA1-RC4-40", *LEGACY],
                             *([["-v1", "PBE-SHA1-RC2-40", *LEGACY], ["-v1", "PBE-SHA1-RC2-64", *LEGACY], ["-v2", "rc2-cbc", *LEGACY]] if HAS_RC2 else []))):
            with self.subTest(options):
                openssl("pkcs8", "-topk8", "-in", self.at("p256.key"), *options, "-passout", f"pass:{PASSWORD}", "-out", self.at("enc"))
                self.assertReads("enc", encrypted=True)
        openssl("pkcs8", "-topk8", "-in", self.at("p256.key"), "-v2", "camellia-256-cbc", "-passout", f"pass:{PASSWORD}", "-out", self.at("enc"))
        self.assertRefuses("enc", "(cipher: Camellia-256-CBC)")

    def test_traditional_under_a_password(self):
        for cipher in ("aes128", "aes192", "aes256", "des3"):
            for command in (["rsa", "-traditional", "-in", self.at("rsa.key")], ["ec", "-in", self.at("p256.key")]):
                with self.subTest(cipher=cipher, command=command[0]):
                    openssl(*command, f"-{cipher}", "-passout", f"pass:{PASSWORD}", "-out", self.at("enc"))
                    self.assertReads("enc", encrypted=True)
        openssl("rsa", "-traditional", "-in", self.at("rsa.key"), "-camellia256", "-passout", f"pass:{PASSWORD}", "-out", self.at("enc"))
        self.assertRefuses("enc", "(cipher: CAMELLIA-256-CBC)")

    def test_reads_ours(self):
        for name in ("p192", "p224", "p384", "x25519"):
            self.expect(0, "key", "new", name, "-o", f"new-{name}")
            self.assertIn(b"valid", openssl("pkey", "-in", self.at(f"new-{name}"), "-noout", "-check"))
        for name in ("rsa", "p256", "p521", "ed"):
            text = self.expect(0, "key", "encrypt", f"{name}.key", "--password-file", "password", "--iterations", "2000").out
            shown = openssl("pkey", "-passin", f"pass:{PASSWORD}", "-outform", "DER", input=text.encode())
            self.assertEqual(shown, openssl("pkey", "-in", self.at(f"{name}.key"), "-outform", "DER"))


class CerttoolTest(PeerTest):
    KINDS = {"rsa": ["--key-type", "rsa", "--bits", "2048"], "p256": ["--key-type", "ecdsa", "--curve", "secp256r1"],
             "p521": ["--key-type", "ecdsa", "--curve", "secp521r1"], "ed25519": ["--key-type", "ed25519"], "x25519": ["--key-type", "x25519"]}

    def generate(self, kind, *options):
        peer("certtool", "--generate-privkey", *self.KINDS[kind], *options, "--outfile", self.at("made"))

    def test_plain_forms(self):
        for kind in self.KINDS:
            with self.subTest(kind):
                self.generate(kind)
                self.assertReads("made")
        self.generate("p256", "--pkcs8", "--password=")
        self.assertReads("made")
        self.generate("rsa", "--outder")
        self.assertReads("made")

    def test_each_cipher(self):
        # Certtool's keys take hundreds of thousands of iterations to open.
        for cipher, reason in some((("aes-256", None), ("aes-192", None), ("aes-128", None), ("3des-pkcs12", None), ("3des", None),
                                    ("arcfour", None), ("rc2-40", None if HAS_RC2 else "(scheme: PBE-SHA1-RC2-40)"))):
            with self.subTest(cipher):
                self.generate("p256", "--pkcs8", "--password", PASSWORD, "--pkcs-cipher", cipher)
                self.assertIn("ENCRYPTED PRIVATE KEY", self.at("made").read_text())
                if reason:
                    self.assertRefuses("made", reason)
                else:
                    self.assertReads("made", encrypted=True)
        for kind in some(("rsa", "ed25519")):
            self.generate(kind, "--pkcs8", "--password", PASSWORD)
            self.assertReads("made", encrypted=True)

    def test_reads_ours(self):
        for name in ("p224", "p256", "p384", "p521", "ed25519", "x25519"):
            self.expect(0, "key", "new", name, "-o", f"{name}.new")
            self.assertIn(b"Public Key Info", peer("certtool", "-k", "--infile", self.at(f"{name}.new")))
        self.expect(0, "key", "decrypt", "rsa.key", "-o", "rsa.new")
        self.expect(0, "key", "encrypt", "rsa.key", "-o", "rsa.enc", "--password-file", "password", "--iterations", "2000")
        modulus = openssl("rsa", "-in", self.at("rsa.key"), "-noout", "-modulus").decode().strip().partition("=")[2].lower()
        for path, options in (("rsa.new", []), ("rsa.enc", ["--password", PASSWORD])):
            text = peer("certtool", "-k", "--infile", self.at(path), *options).decode()
            self.assertIn(modulus, re.sub(r"[\s:]", "", text))


class SshKeygenTest(PeerTest):
    KINDS = (("rsa", "2048"), ("ecdsa", "256"), ("ecdsa", "384"), ("ecdsa", "521"))

    def test_each_form(self):
        for form, (kind, bits), password in some(itertools.product(("PEM", "PKCS8"), self.KINDS, ("", PASSWORD))):
            with self.subTest(form=form, kind=kind, bits=bits, password=password):
                self.at("ssh").unlink(missing_ok=True)
                peer("ssh-keygen", "-q", "-m", form, "-t", kind, "-b", bits, "-N", password, "-f", self.at("ssh"), input=b"y\n")
                self.assertReads("ssh", encrypted=bool(password))

    def test_reads_ours(self):
        for name, kind in (("p256", "ecdsa-sha2-nistp256"), ("p521", "ecdsa-sha2-nistp521")):
            self.expect(0, "key", "new", name, "-o", f"{name}.new")
            kind_read, blob = peer("ssh-keygen", "-y", "-f", self.at(f"{name}.new")).decode().split()[:2]
            self.assertEqual(kind_read, kind)
            point = base64.b64decode(blob)[-65 if name == "p256" else -133:]
            self.assertTrue(openssl("pkey", "-in", self.at(f"{name}.new"), "-pubout", "-outform", "DER").endswith(point))


if __name__ == "__main__":
    unittest.main()
