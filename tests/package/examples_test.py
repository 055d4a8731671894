"""The examples, built against the installed package: each does what it says, and says why when it fails.

Environment: SEALKIT as for the tests of the program; SEALKIT_EXAMPLES, the folder of the built examples.
"""
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/cli"))

from support import ProgramTest, openssl  # noqa: E402

EXAMPLES = pathlib.Path(os.environ["SEALKIT_EXAMPLES"])
TESTED = set()


class ExamplesTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        run = cls.run_program
        for name in ("root", "www", "ada", "tsa"):
            run("key", "new", "p256", "-o", f"{name}.key")
        run("key", "new", "rsa-2048", "-o", "mail.key")
        run("cert", "self-sign", "-k", "root.key", "--subject", "/O=Test/CN=root", "-o", "root.pem")
        run("cert", "self-sign", "-k", "mail.key", "--profile", "email", "--subject", "/CN=Ada", "--san",
            "email:ada@example.test", "-o", "mail.pem")
        for name, certificate in (("cas", "root"), ("people", "mail"), ("nobody", None)):
            (cls.dir / name).mkdir()
            if certificate:
                (cls.dir / name / "ca.pem").write_bytes((cls.dir / f"{certificate}.pem").read_bytes())
        (cls.dir / "letter.txt").write_bytes(b"Dear Ada,\n")
        (cls.dir / "broken.pem").write_bytes(b"-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n")

        request = cls.example("make_request", "www.example.test").stdout.decode()
        key, csr = request.split("-----END PRIVATE KEY-----\n")
        (cls.dir / "host.key").write_text(key + "-----END PRIVATE KEY-----\n")
        (cls.dir / "host.csr").write_text(csr)
        (cls.dir / "host.pem").write_bytes(cls.example("issue_certificate", "root.pem", "root.key", "host.csr").stdout)

    @classmethod
    def example(cls, name, *arguments):
        TESTED.add(name)
        return subprocess.run([EXAMPLES / name, *arguments], capture_output=True, check=False, cwd=cls.dir,
                              env=cls.environment)

    def expect_example(self, status, out, name, *arguments):
        result = self.example(name, *arguments)
        self.assertEqual(result.returncode, status, result)
        self.assertRegex(result.stdout.decode(), out)
        self.assertEqual(result.stderr, b"")

    def test_readme_shows_the_example_as_it_is(self):
        source = (ROOT / "examples/validate_chain.cpp").read_text()
        code = source[source.index("#include"):]
        self.assertIn(f"```cpp\n{code}```", (ROOT / "README.md").read_text())

    def test_readme_shows_what_it_writes(self):
        session = next(text for text in re.findall(r"^```console\n(.*?)^```", (ROOT / "README.md").read_text(), re.DOTALL | re.MULTILINE)
                       if "$ validate_chain " in text)
        written = "".join(f"$ {line}\n{self.example(*line.split()).stdout.decode()}" for line in re.findall(r"^\$ (.*)$", session, re.MULTILINE))
        self.assertEqual(written, session)

    def test_a_request_and_its_certificate(self):
        self.assertIn(b"www.example.test", openssl("req", "-verify", "-noout", "-text", "-in", self.dir / "host.csr"))
        openssl("verify", "-x509_strict", "-CAfile", self.dir / "root.pem", "-verify_hostname", "www.example.test",
                self.dir / "host.pem")
        self.assertEqual(openssl("pkey", "-pubout", "-in", self.dir / "host.key"),
                         openssl("x509", "-pubkey", "-noout", "-in", self.dir / "host.pem"))
        self.expect_example(2, "(?i)dns|name", "make_request", "no host name")
        self.expect_example(2, "CERTIFICATE", "issue_certificate", "root.pem", "root.key", "root.pem")
        self.run_program("cert", "issue", "--ca", "root.pem", "-k", "root.key", "--profile", "server", "--accept-names",
                         "host.csr", "-o", "leaf.pem")
        self.expect_example(1, "^not issued: ", "issue_certificate", "leaf.pem", "host.key", "host.csr")

    def test_validate_chain(self):
        self.expect_example(0, "^trusted$", "validate_chain", "host.pem", "cas", "www.example.test")
        self.expect_example(1, "name verification failed", "validate_chain", "host.pem", "cas", "www.example.org")
        self.expect_example(1, "issuer|trust", "validate_chain", "host.pem", "nobody", "www.example.test")
        self.expect_example(2, "^broken.pem: ", "validate_chain", "broken.pem", "cas", "www.example.test")

    def test_wrong_usage(self):
        for name in ("check_message", "issue_certificate", "make_request", "open_pkcs12", "own_store", "sign_file",
                     "system_trust", "time_stamp", "validate_chain", "verify_file"):
            with self.subTest(name):
                self.expect_example(3, f"^usage: {name} [A-Z]", name)

    def test_missing_files_are_named(self):
        self.expect_example(2, "^missing: ", "check_message", "missing", "people")
        self.expect_example(2, "^missing: ", "open_pkcs12", "missing", "secret")
        self.expect_example(2, "^missing: ", "time_stamp", "missing", "letter.txt", "cas")
        self.expect_example(2, "^missing: ", "time_stamp", "letter.txt", "missing", "cas")
        self.expect_example(2, "^missing: ", "verify_file", "root.pem", "letter.txt", "missing")
        self.expect_example(2, "^missing: ", "own_store", "missing", "root.pem")
        self.expect_example(2, "^missing: ", "own_store", "host.pem", "missing")
        self.expect_example(2, "^missing: ", "issue_certificate", "missing", "root.key", "host.csr")
        self.expect_example(2, "^missing: ", "issue_certificate", "root.pem", "missing", "host.csr")
        self.expect_example(2, "^missing: ", "issue_certificate", "root.pem", "root.key", "missing")

    def test_own_store(self):
        self.expect_example(0, "CN=www.example.test\n.*CN=root\nvalid\n$", "own_store", "host.pem", "root.pem")
        self.expect_example(1, "CN=www.example.test\n", "own_store", "host.pem", "mail.pem")

    def test_system_trust(self):
        self.expect_example(1, "^0 trusted certificates; ", "system_trust", "host.pem", "www.example.test")
        self.expect(0, "trust", "add", "root.pem")
        self.expect_example(0, "^1 trusted certificates; valid$", "system_trust", "host.pem", "www.example.test")

    def test_signatures(self):
        for key in ("root", "mail"):
            self.expect_example(0, "^signed$", "sign_file", f"{key}.key", "letter.txt", "letter.sig")
            (self.dir / "public.pem").write_bytes(openssl("pkey", "-pubout", "-in", self.dir / f"{key}.key"))
            openssl("dgst", "-sha256", "-verify", self.dir / "public.pem", "-signature", self.dir / "letter.sig",
                    self.dir / "letter.txt")
            self.expect_example(0, "^valid$", "verify_file", f"{key}.pem", "letter.txt", "letter.sig")
        self.expect_example(1, ".", "verify_file", "root.pem", "letter.txt", "letter.sig")
        self.expect_example(2, "^missing: ", "sign_file", "missing", "letter.txt", "letter.sig")
        self.expect_example(2, "^broken.pem: ", "verify_file", "broken.pem", "letter.txt", "letter.sig")

    def test_pkcs12(self):
        openssl("pkcs12", "-export", "-inkey", self.dir / "host.key", "-in", self.dir / "host.pem", "-certfile",
                self.dir / "root.pem", "-passout", "pass:secret", "-out", self.dir / "host.p12")
        self.expect_example(0, "^private keys: 1\ncertificate .*CN=www.example.test\ncertificate .*CN=root\n$", "open_pkcs12",
                            "host.p12", "secret")
        self.expect_example(2, "^host.p12: .*password", "open_pkcs12", "host.p12", "wrong")

    def test_messages(self):
        self.expect(0, "cms", "sign", "-k", "mail.key", "--certificate", "mail.pem", "--der", "letter.txt", "-o", "letter.p7m")
        self.expect_example(0, "^signed by .*CN=Ada\n(.*\n)*content: Dear Ada,", "check_message", "letter.p7m", "people")
        self.expect_example(1, "not valid: ", "check_message", "letter.p7m", "nobody")
        self.expect_example(2, "^letter.txt: ", "check_message", "letter.txt", "people")

    def test_time_stamps(self):
        config = self.dir / "tsa.conf"
        config.write_text(f"[tsa]\nserial={self.dir}/serial\ndigests=sha256\ndefault_policy=1.2.3\n")
        (self.dir / "serial").write_text("01\n")
        openssl("req", "-x509", "-new", "-key", self.dir / "mail.key", "-subj", "/CN=tsa", "-days", "30", "-addext",
             "keyUsage=critical,digitalSignature", "-addext", "extendedKeyUsage=critical,timeStamping", "-out",
             self.dir / "tsa.pem")
        (self.dir / "tsas").mkdir()
        (self.dir / "tsas" / "tsa.pem").write_bytes((self.dir / "tsa.pem").read_bytes())
        self.expect(0, "ts", "request", "--cert", "letter.txt", "-o", "letter.tsq")
        openssl("ts", "-reply", "-config", config, "-section", "tsa", "-queryfile", self.dir / "letter.tsq", "-signer",
                self.dir / "tsa.pem", "-inkey", self.dir / "mail.key", "-sha256", "-out", self.dir / "letter.tsr")
        self.expect_example(0, "^stamped at ", "time_stamp", "letter.tsq", "letter.tsr", "tsas")
        self.expect_example(1, ".", "time_stamp", "letter.tsq", "letter.tsr", "cas")
        self.expect_example(2, ".", "time_stamp", "letter.txt", "letter.tsr", "tsas")

    def test_secrets(self):
        self.expect_example(0, "^opened: Dear Ada,\nchanged message: rejected\n$", "aead")
        self.expect_example(0, "^both have the same key\n.+\n$", "key_agreement")
        self.expect_example(0, "^1088 bytes were sent; both have the same secret$", "ml_kem")

    def test_passwords(self):
        self.expect_example(0, "^alice: both have the same key of 32 bytes\nalice: refused\n$", "ecsrp_exchange")
        result = self.example("mschapv2")
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout.decode(), """\
NT-Response             82309ECD8D708B5EA08FAA3981CD83544233114A3D85D6DF
server's reply          S=407A5589115FD0D6209F510FE9C04566932CDA56
master key              FDECE3717A8C838CB388E527AE3CDD31
server to client        8B7CDC149B993A1BA118CB153F56DCCB
client to server        D5F0E9521E3EA9589645E86051C82226
both know the password
""")

    @classmethod
    def tearDownClass(cls):
        forgotten = {source.stem for source in (ROOT / "examples").glob("*.cpp")} - TESTED
        if forgotten:
            raise AssertionError(f"examples that no test runs: {sorted(forgotten)}")


if __name__ == "__main__":
    unittest.main()
