"""PKCS#12 files of OpenSSL, GnuTLS, NSS and Java read here, and ours read there."""
import unittest

from p12_test import FAST, PASSWORD, P12Test, blocks
from support import EMULATED, HAS_RC2, SANITIZED, openssl, peer, some


def few(cases):
    """As `some`, and where the program is instrumented, too: other programs hash a password up to a million times."""
    return list(cases)[::3] if EMULATED or SANITIZED else list(cases)


class PeerTest(P12Test):
    def at(self, name):
        return self.dir / name

    def assertHolds(self, path, *names, password="password", **options):
        """PATH holds the private key of the first of NAMES, and the certificates of all."""
        found = blocks(self.expect(0, "p12", "import", "--password-file", password, path, **options).out)
        self.assertEqual(found, [("PRIVATE KEY", self.keys[names[0]]), *(("CERTIFICATE", self.ders[name]) for name in names)])

    def shown(self, path, password="password"):
        return self.expect(0, "show", "--password-file", password, path).out


class OpensslTest(PeerTest):
    def make(self, *options, key="leaf", chain=(), password=PASSWORD):
        more = [option for name in chain for option in ("-certfile", self.at(f"{name}.pem"))]
        openssl("pkcs12", "-export", "-inkey", self.at(f"{key}.key"), "-in", self.at(f"{key}.pem"), *more, *options,
                "-passout", f"pass:{password}", "-out", self.at("made.p12"))

    def read(self, path, *options, password=PASSWORD):
        return blocks(openssl("pkcs12", "-in", self.at(path), "-nodes", *options, "-passin", f"pass:{password}").decode("latin-1"))

    def test_each_protection(self):
        triple = ["-legacy", "-keypbe", "PBE-SHA1-3DES", "-certpbe", "PBE-SHA1-3DES"]
        for options in some(([], ["-certpbe", "AES-128-CBC", "-keypbe", "AES-192-CBC"], ["-certpbe", "DES-EDE3-CBC", "-keypbe", "DES-EDE3-CBC"],
                             triple, [*triple, "-macalg", "sha256"], ["-macalg", "sha1"], ["-macalg", "sha384"], ["-macalg", "sha512"],
                             ["-macalg", "md5"], ["-iter", "50000"], ["-nomac"],
                             ["-keypbe", "NONE", "-certpbe", "NONE"], ["-keypbe", "NONE", "-certpbe", "NONE", "-nomac"])):
            with self.subTest(options):
                self.make(*options)
                self.assertHolds("made.p12", "leaf")

    def test_a_mac_of_one_iteration(self):
        self.make("-nomaciter")
        self.assertHolds("made.p12", "leaf")
        self.assertIn("subject: O=Test, CN=leaf\n", self.shown("made.p12"))
        self.assertIn("The MAC does not verify", self.expect(1, "p12", "import", "--password-file", "wrong", "made.p12").err)

    def test_the_schemes_of_old_versions(self):
        old = lambda scheme: ["-legacy", "-keypbe", scheme, "-certpbe", scheme]
        for options, weak in few((([], False), (["-legacy"], True), (["-legacy", "-descert"], False), (old("PBE-SHA1-RC2-128"), False),
                                  (old("PBE-SHA1-RC4-128"), False), (old("PBE-SHA1-RC4-40"), True), (old("PBE-SHA1-2DES"), False),
                                  (old("PBE-MD5-DES"), True), (old("PBE-SHA1-DES"), True), (old("PBE-MD5-RC2-64"), True))):
            with self.subTest(options):
                self.make(*options, chain=["middle"])
                if not HAS_RC2 and ("RC2" in str(options) or options == ["-legacy"]):
                    result = self.expect(2, "p12", "import", "--password-file", "password", "made.p12")
                    self.assertRegex(result.err, r"byte \d+: The encryption scheme is not supported\. \(scheme: PBE-\w+-RC2")
                    continue
                self.assertHolds("made.p12", "leaf", "middle")
                self.assertEqual("note: made.p12: is weakly encrypted (" in
                                 self.expect(0, "p12", "import", "--password-file", "password", "made.p12").err, weak)
                self.assertEqual(self.expect(0, "show", "--json", "made.p12").objects[0]["encryptedKeys"][0]["scheme"] == "PBES2", not options)

    def test_bytes_behind_a_file(self):
        self.make()
        self.write("longer.p12", self.at("made.p12").read_bytes() + b"\0\0\n")
        self.assertHolds("longer.p12", "leaf")
        self.assertIn("note: longer.p12: 3 trailing bytes are ignored\n",
                      self.expect(0, "p12", "import", "--password-file", "password", "longer.p12").err)

    def test_chains_names_and_kinds_of_keys(self):
        self.make("-name", "größe", "-caname", "the middle", chain=["middle"])
        self.assertHolds("made.p12", "leaf", "middle")
        text = self.shown("made.p12")
        self.assertEqual((text.count("friendly name: größe\n"), text.count("friendly name: the middle\n"), text.count("local key id: ")), (2, 1, 2))
        for key in ("rsa", "other"):
            self.make(key=key)
            self.assertHolds("made.p12", key)

    def test_passwords(self):
        for password in some(("", "größe ☂", "x" * 200)):
            self.write("its", password + "\n")
            for options in ([], ["-legacy", "-keypbe", "PBE-SHA1-3DES", "-certpbe", "PBE-SHA1-3DES"]):
                self.make(*options, password=password)
                self.assertHolds("made.p12", "leaf", password="its")

    def test_reads_ours(self):
        key = openssl("pkcs8", "-topk8", "-nocrypt", "-in", self.at("leaf.key"), "-outform", "DER")
        for options in some(([], ["--legacy"], ["--cipher", "des-ede3-cbc"], ["--mac", "sha1"], ["--mac", "sha512"])):
            with self.subTest(options):
                self.export("ours.p12", "--chain", "middle.pem", "--name", "größe", *options)
                found = self.read("ours.p12", *(["-legacy"] if "--legacy" in options else []))
                self.assertEqual(found, [("CERTIFICATE", self.ders["leaf"]), ("CERTIFICATE", self.ders["middle"]), ("PRIVATE KEY", key)])


class CerttoolTest(PeerTest):
    def make(self, *options, key="leaf"):
        peer("certtool", "--to-p12", "--load-privkey", self.at(f"{key}.key"), "--load-certificate", self.at(f"{key}.pem"), "--p12-name", "Ada",
             *options, "--outfile", self.at("made.p12"))

    def test_each_cipher(self):
        for cipher, reason in few(((None, None), ("aes-256", None), ("aes-192", None), ("arcfour", None), ("3des", None),
                                   ("3des-pkcs12", None), ("rc2-40", None if HAS_RC2 else "PBE-SHA1-RC2-40"))):
            with self.subTest(cipher):
                self.make("--password", PASSWORD, *(["--pkcs-cipher", cipher] if cipher else []))
                self.assertTrue(self.at("made.p12").read_text().startswith("-----BEGIN PKCS12-----\n"))
                if reason:
                    self.assertIn(f"The encryption scheme is not supported. (scheme: {reason})",
                                  self.expect(2, "p12", "import", "--password-file", "password", "made.p12").err)
                else:
                    self.assertHolds("made.p12", "leaf")

    def test_der_and_names(self):
        self.make("--password", PASSWORD, "--pkcs-cipher", "3des-pkcs12", "--outder", key="rsa")
        text = self.shown("made.p12")
        for part in ("friendly name: Ada\n", "type: RSA\n", "subject: O=Test, CN=rsa\n"):
            self.assertIn(part, text)

    def test_empty_and_absent_passwords(self):
        self.write("empty", "\n")
        for option in few(("--null-password", "--empty-password")):
            self.make(option, "--pkcs-cipher", "3des-pkcs12")
            self.assertHolds("made.p12", "leaf", password="empty")

    def test_reads_ours(self):
        for options in some(([], ["--legacy"], ["--mac", "sha512"])):
            self.export("ours.p12", "--chain", "middle.pem", "--name", "Ada", *options)
            text = peer("certtool", "--p12-info", "--inder", "--infile", self.at("ours.p12"), "--password", PASSWORD).decode()
            self.assertEqual([der for label, der in blocks(text) if label == "CERTIFICATE"], [self.ders[name] for name in ("leaf", "middle")])
            self.assertEqual([label for label, _ in blocks(text) if "PRIVATE KEY" in label], ["ENCRYPTED PRIVATE KEY"])
            self.assertIn("Friendly name: Ada\n", text)
        self.expect(0, "p12", "export", "-k", "leaf.key", "--certificate", "leaf.pem", "--empty-password", *FAST, "-o", "ours-empty.p12")
        self.assertIn(b"PRIVATE KEY", peer("certtool", "--p12-info", "--inder", "--infile", self.at("ours-empty.p12"), "--empty-password"))


class NssTest(PeerTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.database = cls.dir / "nss"
        cls.database.mkdir()
        peer("certutil", "-N", "-d", f"sql:{cls.database}", "--empty-password")

    def pk12util(self, *options):
        return peer("pk12util", "-d", f"sql:{self.database}", "-K", "", *options, "-W", PASSWORD)

    def test_both_ways(self):
        for key, options in (("leaf", ["--chain", "middle.pem"]), ("rsa", ["--legacy"])):
            self.export("ours.p12", "--name", f"ours {key}", *options, key=key)
            self.pk12util("-i", self.at("ours.p12"))
            found = peer("certutil", "-L", "-d", f"sql:{self.database}", "-n", f"ours {key}", "-r")
            self.assertEqual(found, self.ders[key])
        # Theirs is BER.
        for key, options in few((("leaf", []), ("rsa", ["-c", "des-ede3-cbc", "-C", "des-ede3-cbc", "-M", "SHA-512"]))):
            self.pk12util("-n", f"ours {key}", "-o", self.at("theirs.p12"), *options)
            result = self.expect(0, "p12", "import", "--password-file", "password", "theirs.p12")
            found = blocks(result.out)
            self.assertEqual(found[:2], [("PRIVATE KEY", self.keys[key]), ("CERTIFICATE", self.ders[key])])
            self.assertIn("note: theirs.p12: is BER and not DER", result.err)
            text = self.shown("theirs.p12")
            self.assertIn("encoding: BER\n", text)
            self.assertIn(f"friendly name: ours {key}\n", text)
            self.expect(1, "p12", "import", "--password-file", "wrong", "theirs.p12")


class KeytoolTest(PeerTest):
    def keytool(self, *options):
        return peer("keytool", *options, env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "HOME": str(self.dir)})

    def test_reads_ours_and_writes_for_us(self):
        self.export("ours.p12", "--chain", "middle.pem", "--chain", "root.pem", "--name", "ada")
        # Java writes a store of its own with what is in ours.
        self.keytool("-importkeystore", "-srckeystore", self.at("ours.p12"), "-srcstoretype", "PKCS12", "-srcstorepass", PASSWORD,
                     "-destkeystore", self.at("java.p12"), "-deststoretype", "PKCS12", "-deststorepass", PASSWORD)
        self.assertHolds("java.p12", "leaf", "middle", "root")
        self.assertIn("friendly name: ada\n", self.shown("java.p12"))

    def test_several_keys(self):
        self.expect(0, "p12", "export", "-k", "leaf.key", "-k", "rsa.key", "--certificate", "leaf.pem", "--certificate", "rsa.pem", "--chain", "middle.pem",
                    "--name", "first", "--name", "second", "--password-file", "password", *FAST, "-o", "two.p12")
        text = self.keytool("-list", "-v", "-keystore", self.at("two.p12"), "-storepass", PASSWORD).decode()
        self.assertEqual(text.count("Entry type: PrivateKeyEntry\n"), 2)
        for part in ("Alias name: first\n", "Alias name: second\n", "Certificate chain length: 2\n"):
            self.assertIn(part, text)
        self.assertEqual(blocks(self.expect(0, "p12", "import", "two.p12", "--password-file", "password").out)[:2],
                         [("PRIVATE KEY", self.keys["leaf"]), ("PRIVATE KEY", self.keys["rsa"])])
        self.assertIn("none of the given certificates is for this key",
                      self.expect(2, "p12", "export", "-k", "leaf.key", "-k", "rsa.key", "--certificate", "leaf.pem", "--password-file", "password", "-o", "no.p12").err)

    def test_trust_stores(self):
        self.expect(0, "p12", "export", "--trust-store", "--certificate", "root.pem", "--certificate", "middle.pem", "--name", "the root",
                    "--password-file", "password", *FAST, "-o", "trust.p12")
        text = self.keytool("-list", "-v", "-keystore", self.at("trust.p12"), "-storepass", PASSWORD).decode()
        self.assertEqual(text.count("Entry type: trustedCertEntry\n"), 2)
        for part in ("Alias name: the root\n", "Alias name: middle\n"):
            self.assertIn(part, text)
        # And Java's own, whose attributes are shown.
        self.keytool("-importcert", "-noprompt", "-alias", "theirs", "-file", self.at("root.pem"), "-keystore", self.at("java-trust.p12"),
                     "-storetype", "PKCS12", "-storepass", PASSWORD)
        for store, names in (("trust.p12", ["the root", "middle"]), ("java-trust.p12", ["theirs"])):
            document, = self.expect(0, "p12", "show", "--json", "--password-file", "password", store).objects
            self.assertEqual([(one["friendlyName"], one["trusted"]) for one in document["certificates"]],
                             [(name, "by Java, for any purpose") for name in names])
        self.assertEqual(blocks(self.expect(0, "p12", "import", "java-trust.p12", "--password-file", "password").out), [("CERTIFICATE", self.ders["root"])])

    def test_stores_of_all_versions(self):
        pbe = lambda key, certificate, mac: [f"-J-Dkeystore.pkcs12.keyProtectionAlgorithm={key}", f"-J-Dkeystore.pkcs12.certProtectionAlgorithm={certificate}",
                                             f"-J-Dkeystore.pkcs12.macAlgorithm={mac}"]
        stores = [["-J-Dkeystore.pkcs12.legacy"], [], pbe("PBEWithHmacSHA512AndAES_256", "PBEWithHmacSHA384AndAES_128", "HmacPBESHA512")]
        for number, options in enumerate(few(stores)):
            store = self.at(f"java{number}.p12")
            self.keytool(*options, "-genkeypair", "-alias", "ada", "-keyalg", "EC", "-dname", "CN=ada", "-keystore", store, "-storetype", "PKCS12", "-storepass", PASSWORD)
            if "-J-Dkeystore.pkcs12.legacy" in options and not HAS_RC2:
                self.assertIn("PBE-SHA1-RC2-40", self.expect(2, "p12", "import", store, "--password-file", "password").err)
            else:
                found = blocks(self.expect(0, "p12", "import", store, "--password-file", "password").out)
                self.assertEqual([label for label, _ in found], ["PRIVATE KEY", "CERTIFICATE"])

    def test_reads_the_old_scheme(self):
        self.export("ours.p12", "--legacy", "--name", "ada", key="rsa")
        text = self.keytool("-list", "-v", "-keystore", self.at("ours.p12"), "-storetype", "PKCS12", "-storepass", PASSWORD).decode()
        for part in ("Alias name: ada\n", "Entry type: PrivateKeyEntry\n", "Owner: CN=rsa, O=Test\n"):
            self.assertIn(part, text)


if __name__ == "__main__":
    unittest.main()
