"""The verbs sign and check beside OpenSSL."""
import base64
import unittest

from support import EMULATED, SANITIZED, ProgramTest, openssl, some

HASHES = ("md5", "sha1", "sha256", "sha384", "sha512")


class SignTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.message = cls.write("message", bytes(range(256)) * 300)
        for name, kind in (("rsa", "RSA"), ("p192", "prime192v1"), ("p224", "secp224r1"), ("p256", "P-256"), ("p384", "P-384"), ("p521", "P-521"),
                           ("ed", "Ed25519")):
            cls.issue(name, kind=kind)
            cls.write(f"{name}.pub", openssl("pkey", "-in", cls.dir / f"{name}.key", "-pubout"))
        openssl("genpkey", "-algorithm", "X25519", "-out", cls.dir / "x.key")

    def at(self, name):
        return self.dir / name

    def verified_by_openssl(self, name, signature, algorithm):
        if name == "ed":
            return openssl("pkeyutl", "-verify", "-rawin", "-pubin", "-inkey", self.at("ed.pub"), "-in", self.message, "-sigfile", signature)
        return openssl("dgst", f"-{algorithm}", "-verify", self.at(f"{name}.pub"), "-signature", signature, self.message)

    def signed_by_openssl(self, name, signature, algorithm):
        if name == "ed":
            openssl("pkeyutl", "-sign", "-rawin", "-inkey", self.at("ed.key"), "-in", self.message, "-out", signature)
        else:
            openssl("dgst", f"-{algorithm}", "-sign", self.at(f"{name}.key"), "-out", signature, self.message)

    def test_openssl_takes_ours_and_we_take_its(self):
        pairs = [(name, "sha256") for name in ("p192", "p224", "p384", "ed")]
        pairs += [(name, algorithm) for name in ("rsa", "p256") for algorithm in HASHES] + [("p521", "sha512"), ("rsa", "md5-sha1")]
        for name, algorithm in some(pairs):
            with self.subTest(name=name, algorithm=algorithm):
                options = [] if name == "ed" else ["-a", algorithm]
                ours, theirs = self.at(f"{name}-{algorithm}.ours"), self.at(f"{name}-{algorithm}.theirs")
                self.expect(0, "sign", "-k", f"{name}.key", *options, "-o", ours, "message")
                self.assertIn(b"Verified", self.verified_by_openssl(name, ours, algorithm))
                self.signed_by_openssl(name, theirs, algorithm)
                if name in ("rsa", "ed"):
                    self.assertEqual(ours.read_bytes(), theirs.read_bytes())
                for signature in (ours, theirs):
                    result = self.expect(0, "check", "-k", f"{name}.pub", *options, "--signature", signature, "message")
                    self.assertEqual((result.out, result.err), ("message: OK\n", ""))

    def test_the_hash_is_sha256_unless_given(self):
        self.expect(0, "sign", "-k", "p256.key", "-o", "default", "message")
        self.verified_by_openssl("p256", self.at("default"), "sha256")
        self.expect(0, "check", "-k", "p256.pub", "-a", "SHA256", "-s", "default", "message")
        self.expect(1, "check", "-k", "p256.pub", "-a", "sha512", "-s", "default", "message")

    def test_whatever_holds_the_key_checks(self):
        for name in ("rsa", "ed"):
            self.expect(0, "sign", "-k", f"{name}.key", "-o", f"{name}.held", "message")
            for holder in (f"{name}.key", f"{name}.pub", f"{name}.pem", f"{name}.csr"):
                self.expect(0, "check", "-k", holder, "-s", f"{name}.held", "message")
            der = openssl("x509", "-in", self.at(f"{name}.pem"), "-outform", "DER")
            self.expect(0, "check", "-k", "-", "-s", f"{name}.held", "message", stdin=der)

    def test_what_does_not_verify(self):
        for name in ("rsa", "p256", "ed"):
            self.expect(0, "sign", "-k", f"{name}.key", "-o", f"{name}.sig", "message")
            good = self.at(f"{name}.sig").read_bytes()
            bad = bytearray(good)
            bad[-1] ^= 1
            for signature in (bytes(bad), good[:-1], good + b"\0", b"", b"x" * 3000):
                self.write("bad", signature)
                result = self.expect(1, "check", "-k", f"{name}.pub", "-s", "bad", "message")
                self.assertEqual(result.out, "message: FAILED\n")
                self.assertEqual(len(result.err.splitlines()), 1)
            self.write("other", self.message.read_bytes() + b"x")
            self.assertEqual(self.expect(1, "check", "-k", f"{name}.pub", "-s", f"{name}.sig", "other").out, "other: FAILED\n")
        self.expect(1, "check", "-k", "p384.pub", "-s", "p256.sig", "message")
        self.expect(1, "check", "-k", "rsa.pub", "-s", "ed.sig", "message")
        self.assertNoControls(self.expect(1, "check", "-k", "rsa.pub", "-s", "rsa.sig", self.write("\x1b[31m", "")).out)

    def test_text_forms(self):
        for option, decode in (("--hex", bytes.fromhex), ("--base64", lambda text: base64.b64decode(text, validate=True))):
            text = self.expect(0, "sign", "-k", "ed.key", option, "message").out
            self.assertEqual(len(text.splitlines()), 1)
            self.write("raw", decode(text.removesuffix("\n")))
            self.verified_by_openssl("ed", self.at("raw"), None)
            self.write("text", text[:20] + "\r\n " + text[20:])
            self.expect(0, "check", "-k", "ed.pub", "-s", "text", option, "message")
            self.write("text", "?" + text)
            self.assertIn("is not ", self.expect(2, "check", "-k", "ed.pub", "-s", "text", option, "message").err)
        self.expect(3, "sign", "-k", "ed.key", "--hex", "--base64", "message")

    def test_encrypted_keys(self):
        self.write("password", "secret\n")
        openssl("pkcs8", "-topk8", "-in", self.at("p256.key"), "-passout", "pass:secret", "-out", self.at("locked.key"))
        self.expect(0, "sign", "-k", "locked.key", "--password-file", "password", "-o", "locked.sig", "message")
        self.verified_by_openssl("p256", self.at("locked.sig"), "sha256")
        self.expect(0, "check", "-k", "locked.key", "--password-file", "password", "-s", "locked.sig", "message")
        self.expect(1, "sign", "-k", "locked.key", "--password", "other", "-o", "none", "message")
        self.expect(3, "sign", "-k", "locked.key", "-o", "none", "message")
        self.assertFalse(self.at("none").exists())

    def test_keys_that_do_not_sign(self):
        for arguments in (["sign", "-k", "x.key", "-o", "none"], ["check", "-k", "x.key", "-s", "message"]):
            self.assertIn("X25519 key is for key agreement", self.expect(2, *arguments, "message").err)
        self.assertIn("has its own hash", self.expect(3, "sign", "-k", "ed.key", "-a", "sha256", "-o", "none", "message").err)
        self.expect(2, "sign", "-k", "p256.pub", "-o", "none", "message")
        # RSA signatures name their hash (RFC 8017, section 9.2), and the library has no name of MD4 there.
        self.expect(0, "sign", "-k", "p256.key", "-a", "md4", "-o", "md4.sig", "message")
        self.expect(0, "check", "-k", "p256.pub", "-a", "md4", "-s", "md4.sig", "message")
        for arguments in (["sign", "-k", "rsa.key", "-o", "none"], ["check", "-k", "rsa.pub", "-s", "md4.sig"]):
            self.assertIn("cannot sign with md4", self.expect(3, *arguments, "-a", "md4", "message").err)
        openssl("genrsa", "-out", self.at("short.key"), "512")
        self.assertIn("too short for this hash", self.expect(2, "sign", "-k", "short.key", "-a", "sha512", "-o", "none", "message").err)
        self.assertFalse(self.at("none").exists())

    def test_usage_and_files(self):
        for arguments in (["sign", "message"], ["sign", "-k", "ed.key"], ["check", "-k", "ed.key", "message"], ["check", "-s", "x", "message"],
                          ["sign", "-k", "rsa.key", "-a", "sha3", "message"], ["check", "-k", "rsa.key", "-a", "sha3", "-s", "x", "message"]):
            self.expect(3, *arguments)
        for name in ("rsa", "ed"):
            self.assertIn("missing: No such file", self.expect(2, "sign", "-k", f"{name}.key", "-o", "none", "missing").err)
            self.assertIn("missing: No such file", self.expect(2, "check", "-k", f"{name}.key", "-s", "missing", "message").err)
            self.expect(2, "sign", "-k", f"{name}.key", "-o", "none", self.dir)
        self.assertFalse(self.at("none").exists())
        self.write("there", "x")
        self.assertIn("exists already", self.expect(2, "sign", "-k", "ed.key", "-o", "there", "message").err)
        self.expect(0, "sign", "-k", "ed.key", "-o", "there", "--force", "message")
        self.assertEqual(self.at("there").stat().st_size, 64)
        self.assertIn(b"--hex", self.on_terminal("sign", "-k", "ed.key", "message", status=3))

    def test_messages_on_standard_input_are_taken_as_they_are(self):
        # A byte-order mark is part of a message.
        for name in ("p256", "ed"):
            for message in (b"", b"\xef\xbb\xbftext\r\n"):
                self.write("piped", message)
                text = self.expect(0, "sign", "-k", f"{name}.key", "--hex", "-", stdin=message).out
                self.write("piped.sig", text)
                self.assertEqual(self.expect(0, "check", "-k", f"{name}.pub", "--hex", "-s", "piped.sig", "-", stdin=message).out, "-: OK\n")
                self.expect(0, "check", "-k", f"{name}.pub", "--hex", "-s", "piped.sig", "piped")

    @unittest.skipIf(SANITIZED, "an instrumented program takes a minute to overwrite 256 MiB")
    def test_only_ed25519_needs_the_file_in_memory(self):
        with open(self.at("large"), "wb") as file:
            file.truncate((256 << 20) + 1)
        self.assertIn("larger than 256 MiB", self.expect(2, "sign", "-k", "ed.key", "--hex", "large").err)
        if EMULATED:
            return
        self.expect(0, "sign", "-k", "p256.key", "-a", "md5", "-o", "large.sig", "large")
        self.assertIn(b"Verified", openssl("dgst", "-md5", "-verify", self.at("p256.pub"), "-signature", self.at("large.sig"), self.at("large")))

    def test_examples_of_the_help_work(self):
        for verb in ("sign", "check"):
            self.assertIn(b"/etc/passwd: OK", self.run_examples(verb).stdout)


if __name__ == "__main__":
    unittest.main()
