"""Signed and encrypted messages beside other programs, both ways: OpenSSL, GnuTLS, NSS, gpgsm and Bouncy Castle."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from support import CA, EMULATED, ProgramTest, openssl, peer

EMAIL = "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature,keyEncipherment\nextendedKeyUsage=emailProtection\n"
CURVES = ("P-256", "P-384", "P-521", "prime192v1", "secp224r1")
JARS = [pathlib.Path("/usr/share/java") / f"{name}.jar" for name in ("bcpkix", "bcprov", "bcutil")]


@unittest.skipIf(EMULATED, "what other programs write does not depend on the processor")
class MessagePeersTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA, kind="RSA")
        cls.issue("rsa", "root", EMAIL, kind="RSA")
        cls.issue("ed", "root", EMAIL, kind="Ed25519")
        for curve in CURVES:
            cls.issue(curve, "root", EMAIL, kind=curve)
        cls.letter = cls.write("letter", bytes(range(256)) * 20)

    def at(self, name):
        return self.dir / name

    def sign(self, name, *options, signers=("rsa",)):
        who = [word for signer in signers for word in ("--key", f"{signer}.key", "--certificate", f"{signer}.pem")]
        self.expect(0, "cms", "sign", *who, "--der", "--force", "-o", name, *options, "letter")
        return self.at(name)

    def check(self, message, *options, signers=1):
        """Ours takes the message, and gives its content back."""
        result = self.expect(0, "cms", "check", "--ca", "root.pem", "--force", "-o", "copy", *options, message)
        self.assertEqual(result.out.splitlines()[-1], "OK")
        self.assertEqual(len(result.out.splitlines()), signers + 1)
        self.assertEqual(self.at("copy").read_bytes(), self.letter.read_bytes())
        return result

    def encrypt(self, *options):
        self.expect(0, "cms", "encrypt", "--certificate", "rsa.pem", *options, "--der", "--force", "-o", "ours", "letter")
        return self.at("ours")

    def decrypt(self, message):
        self.expect(0, "cms", "decrypt", "-k", "rsa.key", "--force", "-o", "copy", message)
        self.assertEqual(self.at("copy").read_bytes(), self.letter.read_bytes())

    def test_openssl_signs(self):
        forms = [("cms", "rsa", form) for form in (["-keyid"], ["-noattr"], ["-stream"], ["-stream", "-noattr", "-keyid"], ["-econtent_type", "1.2.3.4"],
                                                   ["-keyopt", "rsa_padding_mode:pss"], ["-keyopt", "rsa_padding_mode:pss", "-md", "sha512", "-noattr"])]
        forms += [("cms", curve, ["-md", "sha384", "-keyid"]) for curve in CURVES] + [("smime", "P-256", ["-stream"]), ("smime", "rsa", ["-noattr"])]
        for program, name, form in forms:
            with self.subTest(program=program, name=name, form=form):
                openssl(program, "-sign", "-binary", "-nodetach", "-outform", "DER", "-signer", self.at(f"{name}.pem"), "-inkey", self.at(f"{name}.key"),
                        *form, "-in", self.letter, "-out", self.at("theirs"))
                self.check("theirs")
        several = [word for name in ("rsa", "P-256", "P-521") for word in ("-signer", self.at(f"{name}.pem"), "-inkey", self.at(f"{name}.key"))]
        openssl("cms", "-sign", "-binary", "-outform", "PEM", *several, "-stream", "-in", self.letter, "-out", self.at("theirs"))
        self.check("theirs", "--content", "letter", signers=3)
        self.write("other", "x")
        self.assertIn("FAILED", self.expect(1, "cms", "check", "--ca", "root.pem", "--content", "other", "theirs").out)

    def test_openssl_verifies(self):
        forms = [["--key-id"], ["--no-attributes"], ["--signing-time", "-a", "sha512"], ["--content-type", "1.2.3.4"]]
        for name, form in [("rsa", form) for form in forms] + [(curve, ["--key-id", "--signing-time"]) for curve in CURVES] + [("P-384", ["--no-attributes"])]:
            with self.subTest(name=name, form=form):
                message = self.sign("ours", *form, signers=[name])
                content = openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", message, "-CAfile", self.at("root.pem"))
                self.assertEqual(content, self.letter.read_bytes())
        message = self.sign("ours", "--detached", "--chain", "root.pem", signers=["rsa", "P-256", "P-521"])
        for program in ("cms", "smime"):
            openssl(program, "-verify", "-binary", "-inform", "DER", "-in", message, "-content", self.letter, "-CAfile", self.at("root.pem"))

    def test_certtool(self):
        for name in ("rsa", "P-256", "ed"):
            with self.subTest(name=name):
                for verb, options in (("--p7-sign", []), ("--p7-detached-sign", ["--content", "letter"])):
                    peer("certtool", verb, *([] if name == "ed" else ["--p7-time"]), "--load-privkey", self.at(f"{name}.key"), "--load-certificate", self.at(f"{name}.pem"),
                         "--infile", self.letter, "--outfile", self.at("theirs"))
                    self.check("theirs", *options)
                # Of Ed25519 it knows signatures over the content alone.
                forms = [["--no-attributes"]] if name == "ed" else [["--signing-time", "--key-id"], ["--no-attributes"]]
                for form in forms:
                    verify = ["certtool", "--p7-verify", "--inder", "--load-ca-certificate", self.at("root.pem")]
                    peer(*verify, "--infile", self.sign("ours", *form, signers=[name]))
                    peer(*verify, "--infile", self.sign("ours", "--detached", *form, signers=[name]), "--load-data", self.letter)

    def test_nss(self):
        database = self.at("nss")
        database.mkdir()
        peer("certutil", "-N", "-d", database, "--empty-password")
        peer("certutil", "-A", "-n", "root", "-t", "C,C,C", "-i", self.at("root.pem"), "-d", database)
        for name in ("rsa", "P-256"):
            openssl("pkcs12", "-export", "-legacy", "-inkey", self.at(f"{name}.key"), "-in", self.at(f"{name}.pem"), "-name", name, "-passout", "pass:x", "-out", self.at("nss.p12"))
            peer("pk12util", "-i", self.at("nss.p12"), "-d", database, "-W", "x", "-K", "")
            with self.subTest(name=name):
                peer("cmsutil", "-S", "-d", database, "-N", name, "-G", "-i", self.letter, "-o", self.at("theirs"))
                self.check("theirs")
                shown = subprocess.run(["cmsutil", "-D", "-d", database, "-h", "0", "-i", self.sign("ours", "--key-id", signers=[name])], check=True,
                                       stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout
                self.assertIn(b"GoodSignature", shown)
        # It knows neither key agreement nor OAEP nor AES-GCM.
        peer("cmsutil", "-E", "-d", database, "-r", "rsa", "-i", self.letter, "-o", self.at("theirs"))
        self.decrypt("theirs")
        for form in ([], ["--key-id"], ["--cipher", "aes-128-cbc"], ["--cipher", "des-ede3-cbc"]):
            with self.subTest(form=form):
                peer("cmsutil", "-D", "-d", database, "-i", self.encrypt(*form), "-o", self.at("opened"))
                self.assertEqual(self.at("opened").read_bytes(), self.letter.read_bytes())

    def test_gpgsm(self):
        with tempfile.TemporaryDirectory(prefix="sealkit-gpgsm-") as home:  # A short path: its agent's socket is there.
            environment = {**os.environ, "GNUPGHOME": home}
            fingerprint = openssl("x509", "-in", self.at("root.pem"), "-noout", "-fingerprint", "-sha1").decode().strip().partition("=")[2]
            for name, text in (("trustlist.txt", f"{fingerprint} S relax\n"), ("gpgsm.conf", "disable-crl-checks\n"), ("gpg-agent.conf", "allow-loopback-pinentry\n")):
                pathlib.Path(home, name).write_text(text)
            openssl("pkcs12", "-export", "-legacy", "-inkey", self.at("rsa.key"), "-in", self.at("rsa.pem"), "-passout", "pass:x", "-out", self.at("gpgsm.p12"))
            gpgsm = ["gpgsm", "--batch", "--yes", "--pinentry-mode", "loopback", "--passphrase-fd", "0"]
            user = openssl("x509", "-in", self.at("rsa.pem"), "-noout", "-fingerprint", "-sha1").decode().strip().partition("=")[2].replace(":", "")
            try:
                peer("gpgsm", "--batch", "--import", self.at("root.pem"), env=environment)
                for work in (["--import", self.at("gpgsm.p12")], ["-u", f"0x{user}", "-o", self.at("whole"), "--sign", self.letter],
                             ["-u", f"0x{user}", "-o", self.at("detached"), "--detach-sign", self.letter]):
                    peer(*gpgsm, *work, input=b"x\n", env=environment)
                self.check("whole")
                self.check("detached", "--content", "letter")
                peer("gpgsm", "--batch", "--verify", self.sign("ours", "--signing-time"), env=environment)
                peer("gpgsm", "--batch", "--verify", self.sign("ours", "--detached"), self.letter, env=environment)
                # It knows neither OAEP nor AES-GCM, and recipients by issuer and serial number alone.
                peer(*gpgsm, "-r", f"0x{user}", "-o", self.at("theirs"), "--encrypt", self.letter, input=b"x\n", env=environment)
                self.decrypt("theirs")
                for cipher in ("aes-256-cbc", "aes-128-cbc", "des-ede3-cbc"):
                    peer(*gpgsm, "-o", self.at("opened"), "--decrypt", self.encrypt("--cipher", cipher), input=b"x\n", env=environment)
                    self.assertEqual(self.at("opened").read_bytes(), self.letter.read_bytes())
            finally:
                subprocess.run(["gpgconf", "--homedir", home, "--kill", "all"], check=False)

    def java(self, jobs):
        self.write("jobs", "\n".join(jobs) + "\n")
        source = pathlib.Path(__file__).with_name("BouncyCastleMessages.java")
        return peer("java", "-cp", ":".join(map(str, JARS)), source, "jobs", cwd=self.dir).decode().splitlines()

    @unittest.skipUnless(shutil.which("javac") and all(jar.exists() for jar in JARS), "Bouncy Castle is not installed")
    def test_bouncy_castle(self):
        keys = {"rsa": "RSA", "P-256": "EC", "ed": "Ed25519"}
        for name in keys:
            openssl("pkcs8", "-topk8", "-nocrypt", "-in", self.at(f"{name}.key"), "-outform", "DER", "-out", self.at(f"{name}.p8"))
            openssl("x509", "-in", self.at(f"{name}.pem"), "-outform", "DER", "-out", self.at(f"{name}.cer"))
        theirs = (("rsa", "SHA256withRSA", "plain,counter"), ("rsa", "SHA384withRSAandMGF1", "keyid"), ("P-256", "SHA256withECDSA", "noattr"), ("ed", "Ed25519", "plain"),
                  ("ed", "Ed25519", "noattr,keyid,detached"))
        jobs = [f"sign {name}.p8 {name}.cer {keys[name]} {algorithm} {form} letter theirs{i}" for i, (name, algorithm, form) in enumerate(theirs)]
        ours = (("rsa", ["--key-id"], 1), ("P-256", ["--no-attributes"], 1), ("ed", [], 1), ("ed", ["--no-attributes", "--key-id", "--detached"], 1), (("ed", "rsa", "P-256"), ["--signing-time"], 3))
        expected = []
        for i, (names, options, signers) in enumerate(ours):
            self.sign(f"ours{i}", *options, signers=[names] if isinstance(names, str) else names)
            jobs.append(f"verify ours{i} {'letter' if '--detached' in options else '-'}")
            expected += [f"ok ours{i}"] * signers
        self.assertEqual(self.java(jobs), expected)
        for i, (_, _, form) in enumerate(theirs):
            with self.subTest(form=form):
                result = self.check(f"theirs{i}", *(["--content", "letter"] if "detached" in form else []))
                self.assertEqual("counter-signed (by: " in result.err, "counter" in form)

    def test_bundles(self):
        self.make_crl("list", "root")
        openssl("crl2pkcs7", "-in", self.at("list.crl"), "-certfile", self.at("rsa.pem"), "-certfile", self.at("root.pem"), "-outform", "DER", "-out", self.at("theirs.p7b"))
        text = self.expect(0, "cms", "certificates", "theirs.p7b").out
        self.assertEqual((text.count("BEGIN CERTIFICATE"), text.count("BEGIN X509 CRL")), (2, 1))
        self.expect(0, "cms", "certificates", "--bundle", "--crl", "list.crl", "rsa.pem", "theirs.p7b", "-o", "ours.p7b")
        self.assertEqual(openssl("pkcs7", "-in", self.at("ours.p7b"), "-print_certs", "-noout").count(b"subject="), 2)
        for path in (["ours.p7b"], ["-", "--der"]):
            self.expect(0, "cms", "certificates", "--bundle", "rsa.pem", "-o", *path, "--force")
        self.assertIn(b"-----BEGIN CERTIFICATE", peer("certtool", "--p7-info", "--infile", self.at("ours.p7b")))
        self.sign("signed")
        self.assertEqual(self.expect(0, "cms", "certificates", "signed").out, self.expect(0, "cms", "certificates", "ours.p7b").out)
        self.expect(3, "cms", "certificates", "--der", "ours.p7b")
        self.expect(2, "cms", "certificates", "letter")


if __name__ == "__main__":
    unittest.main()
