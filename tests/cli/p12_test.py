"""The verb p12, and show for PKCS#12 files."""
import base64
import hashlib
import hmac
import os
import stat
import unittest

from support import CA, HAS_RC2, LEAF, ProgramTest, TerminalSession, element, identifier, openssl, some

PASSWORD = "correct horse"
# Few iterations: the tests are not about how long they take.
FAST = ("--iterations", "1000")

DATA, SIGNED, ENVELOPED, ENCRYPTED = ("1.2.840.113549.1.7.1", "1.2.840.113549.1.7.2", "1.2.840.113549.1.7.3", "1.2.840.113549.1.7.6")
CERTIFICATE_BAG, KEY_BAG = "1.2.840.113549.1.12.10.1.3", "1.2.840.113549.1.12.10.1.1"


def content_info(kind, value):
    return element(0x30, identifier(kind), element(0xA0, value))


def pfx(safe, mac=b"", version=3):
    """A file around the AuthenticatedSafe."""
    return element(0x30, element(0x02, bytes([version])), content_info(DATA, element(0x04, safe)), mac)


def bag(kind, value):
    return element(0x30, identifier(kind), element(0xA0, value))


def certificate_bag(der):
    return bag(CERTIFICATE_BAG, element(0x30, identifier("1.2.840.113549.1.9.22.1"), element(0xA0, element(0x04, der))))


def plain(*bags):
    """The ContentInfo of bags that are not encrypted."""
    return content_info(DATA, element(0x04, element(0x30, *bags)))


def encrypted(iterations=1):
    """A ContentInfo that looks encrypted by triple DES, and is not."""
    algorithm = element(0x30, identifier("1.2.840.113549.1.12.1.3"),
                        element(0x30, element(0x04, b"saltsalt"), element(0x02, iterations.to_bytes(4, "big"))))
    return content_info(ENCRYPTED, element(0x30, element(0x02, b"\0"), element(0x30, identifier(DATA), algorithm, element(0x80, bytes(16)))))


# The last arcs of the object identifiers of hashes, under 2.16.840.1.101.3.4.2, and of HMAC over them, under 1.2.840.113549.2.
HASHES = {"sha224": 4, "sha256": 1, "sha384": 2, "sha512": 3, "sha512_256": 6}
HMACS = {"sha1": 7, "sha224": 8, "sha256": 9, "sha384": 10, "sha512": 11, "sha512_256": 13}


def mac_data(safe, name="sha256"):
    """The MacData of one iteration under `PASSWORD` (RFC 7292, appendix B.2)."""
    size = hashlib.new(name).block_size
    def blocks_of(data):
        return (data * size)[:(len(data) + size - 1) // size * size]
    salt = b"saltsalt"
    key = hashlib.new(name, b"\3" * size + blocks_of(salt) + blocks_of((PASSWORD + "\0").encode("utf-16-be"))).digest()
    digest_info = element(0x30, element(0x30, identifier(f"2.16.840.1.101.3.4.2.{HASHES[name]}"), element(0x05)), element(0x04, hmac.digest(key, safe, name)))
    return element(0x30, digest_info, element(0x04, salt), element(0x02, b"\1"))


def integer(number):
    return element(0x02, number.to_bytes(number.bit_length() // 8 + 1, "big"))


def pbmac1(safe, prf="sha256", mac="sha256", salt=b"saltsalt", count=2048, length=32, **said):
    """The MacData of PBMAC1 under `PASSWORD` (RFC 9579, section 4). What the file says may be another thing than what is done."""
    key = hashlib.pbkdf2_hmac(prf, PASSWORD.encode(), salt, count, length)
    function = lambda name: element(0x30, identifier(f"1.2.840.113549.2.{HMACS[name]}"), element(0x05))
    parameters = (element(0x04, said.get("salt_said", salt)), integer(said.get("count_said", count)), said.get("length_said", integer(length)),
                  said.get("prf_said", function(prf)))
    derivation = element(0x30, identifier("1.2.840.113549.1.5.12"), element(0x30, *parameters))
    scheme = element(0x30, identifier("1.2.840.113549.1.5.14"), element(0x30, derivation, function(mac)))
    # The salt and the count that every MacData has are for nothing here.
    return element(0x30, element(0x30, scheme, element(0x04, hmac.digest(key, safe, mac))), element(0x04, b"NOT USED"), integer(1))


def blocks(text):
    """The labels and the DER of PEM."""
    found = []
    for part in text.split("-----BEGIN ")[1:]:
        label, _, rest = part.partition("-----\n")
        found.append((label, base64.b64decode(rest.partition("-----END")[0])))
    return found


class P12Test(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.write("password", PASSWORD + "\n")
        cls.write("wrong", "battery staple\n")
        cls.issue("root", extensions=CA)
        cls.issue("middle", "root", CA)
        cls.issue("leaf", "middle")
        cls.issue("other", "root", kind="Ed25519")
        cls.issue("rsa", "root", kind="RSA")
        cls.ders = {name: openssl("x509", "-in", cls.dir / f"{name}.pem", "-outform", "DER")
                    for name in ("root", "middle", "leaf", "other", "rsa")}
        # As our program writes them; in those on curves OpenSSL leaves out what is said elsewhere.
        cls.keys = {name: blocks(cls.run_program("key", "decrypt", f"{name}.key").out)[0][1] for name in ("leaf", "other", "rsa")}
        # The chain out of order, and a stranger in it.
        cls.write("chain.pem", b"".join((cls.dir / f"{name}.pem").read_bytes() for name in ("root", "other", "middle")))
        cls.export("leaf.p12", "--chain", "chain.pem", "--name", "Ada")

    @classmethod
    def export(cls, output, *options, key="leaf"):
        result = cls.run_program("p12", "export", "-k", f"{key}.key", "--certificate", f"{key}.pem", "--password-file", "password",
                                 *FAST, "-o", output, "--force", *options)
        assert result.status == 0, result
        return cls.dir / output

    def read(self, *arguments, status=0, **options):
        return self.expect(status, "p12", "import", "--password-file", "password", *arguments, **options)

    def mode(self, path):
        return stat.S_IMODE((self.dir / path).stat().st_mode)


class ExportTest(P12Test):
    def info(self, path, *options):
        """What OpenSSL says of a file, its certificates and keys."""
        import subprocess
        done = subprocess.run(["openssl", "pkcs12", "-in", self.dir / path, "-passin", f"pass:{PASSWORD}", "-nodes", "-info", *options],
                              capture_output=True, check=True)
        return done.stdout.decode() + done.stderr.decode()

    def test_what_is_written(self):
        text = self.info("leaf.p12")
        for part in ("MAC: sha256, Iteration 1000\n", "PKCS7 Encrypted data: PBES2, PBKDF2, AES-256-CBC, Iteration 1000, PRF hmacWithSHA256",
                     "Shrouded Keybag: PBES2, PBKDF2, AES-256-CBC, Iteration 1000, PRF hmacWithSHA256", "friendlyName: Ada", "localKeyID: "):
            self.assertIn(part, text)
        self.assertEqual((text.count("friendlyName: Ada"), text.count("localKeyID: ")), (2, 2))
        found = [der for label, der in blocks(text) if label == "CERTIFICATE"]
        self.assertEqual(found, [self.ders[name] for name in ("leaf", "middle", "root", "other")])
        self.assertEqual(self.mode("leaf.p12"), 0o600)

    def test_ciphers_and_macs(self):
        for options, parts in some(((["--cipher", "DES-EDE3-CBC"], ["PBES2, PBKDF2, DES-EDE3-CBC, Iteration 1000, PRF hmacWithSHA256"]),
                                    (["--legacy"], ["MAC: sha1,", "pbeWithSHA1And3-KeyTripleDES-CBC, Iteration 1000"]),
                                    (["--legacy", "--mac", "SHA256"], ["MAC: sha256,", "pbeWithSHA1And3-KeyTripleDES-CBC"]),
                                    (["--mac", "sha1"], ["MAC: sha1,", "AES-256-CBC"]), (["--mac", "sha384"], ["MAC: sha384,"]),
                                    (["--mac", "sha512"], ["MAC: sha512,"]))):
            self.export("varied.p12", *options)
            text = self.info("varied.p12")
            for part in parts:
                self.assertIn(part, text)
            self.assertEqual(blocks(self.read("varied.p12").out), [("PRIVATE KEY", self.keys["leaf"]), ("CERTIFICATE", self.ders["leaf"])])
        # As many as other new keys here.
        self.expect(0, "p12", "export", "-k", "leaf.key", "--password-file", "password", "-o", "default.p12")
        self.assertIn("iterations: 100000\n", self.expect(0, "show", "default.p12").out)

    def test_certificates_or_a_key_alone(self):
        self.expect(0, "p12", "export", "--certificate", "chain.pem", "--password-file", "password", *FAST, "-o", "certificates.p12")
        self.assertEqual([der for _, der in blocks(self.read("certificates.p12").out)], [self.ders[name] for name in ("root", "other", "middle")])
        self.expect(0, "p12", "export", "-k", "other.key", "--password-file", "password", *FAST, "-o", "key.p12")
        self.assertEqual(blocks(self.read("key.p12").out), [("PRIVATE KEY", self.keys["other"])])
        self.assertIn("friendlyName", self.info("leaf.p12"))
        self.assertNotIn("localKeyID", self.info("key.p12"))
        for path in ("certificates.p12", "key.p12"):
            self.assertEqual(self.mode(path), 0o600)

    def test_the_keys_certificate_comes_first(self):
        self.concatenate("full.pem", "root", "leaf", "middle", "leaf")
        self.expect(0, "p12", "export", "-k", "leaf.key", "--certificate", "full.pem", "--chain", "root.pem", "--chain", "other.pem",
                    "--password-file", "password", *FAST, "-o", "full.p12")
        found = [der for label, der in blocks(self.info("full.p12")) if label == "CERTIFICATE"]
        self.assertEqual(found, [self.ders[name] for name in ("leaf", "middle", "root", "other")])

    def test_a_key_of_another_certificate_is_refused(self):
        for certificate, words in (("other.pem", "is not the certificate of this key"), ("chain.pem", "holds no certificate of this key")):
            result = self.expect(2, "p12", "export", "-k", "leaf.key", "--certificate", certificate, "--password-file", "password", "-o", "none.p12")
            self.assertEqual((result.out, result.err), ("", f"sealkit: {certificate}: {words} (its public key is another)\n"))
        self.assertFalse((self.dir / "none.p12").exists())

    def test_every_kind_of_key(self):
        for name in ("rsa", "other"):
            self.export(f"{name}.p12", key=name)
            self.assertEqual(blocks(self.read(f"{name}.p12").out), [("PRIVATE KEY", self.keys[name]), ("CERTIFICATE", self.ders[name])])

    def test_an_encrypted_key(self):
        openssl("pkcs8", "-topk8", "-in", self.dir / "leaf.key", "-passout", "pass:another", "-out", self.dir / "locked.key")
        arguments = ["p12", "export", "-k", "locked.key", "--certificate", "leaf.pem", "--password-file", "password", *FAST, "-o", "locked.p12"]
        self.assertIn("--key-password-file", self.expect(3, *arguments).err)
        self.expect(1, *arguments, "--key-password-file", "wrong")
        self.assertFalse((self.dir / "locked.p12").exists())
        self.write("another", "another\n")
        self.expect(0, *arguments, "--key-password-file", "another")
        self.assertIn(("PRIVATE KEY", self.keys["leaf"]), blocks(self.read("locked.p12").out))

    def test_files_are_not_replaced_unless_asked(self):
        path = self.write("there.p12", "something else\n")
        path.chmod(0o644)
        arguments = ["p12", "export", "-k", "leaf.key", "--password-file", "password", *FAST, "-o", "there.p12"]
        self.assertEqual(self.expect(2, *arguments).err, "sealkit: there.p12: exists already (--force replaces it)\n")
        self.assertEqual(path.read_text(), "something else\n")
        self.expect(0, *arguments, "--force")
        self.assertEqual(self.mode("there.p12"), 0o600)
        self.read("there.p12")

    def test_wrong_usage(self):
        for arguments in some(([], ["--chain", "root.pem"], ["-k", "leaf.key", "--chain", "root.pem"], ["-k", "leaf.key", "--cipher", "rc2"],
                               ["-k", "leaf.key", "--cipher", "aes-256-gcm"], ["-k", "leaf.key", "--legacy", "--cipher", "aes-256-cbc"],
                               ["-k", "leaf.key", "--mac", "md5"], ["-k", "leaf.key", "--mac", "md4"], ["-k", "leaf.key", "--mac", "crc"],
                               ["-k", "leaf.key", "--iterations", "999"], ["-k", "leaf.key", "--iterations", "10000001"], ["-k", "leaf.key", "--name", ""],
                               ["-k", "leaf.key", "--empty-password"], ["-k", "-", "--certificate", "-"],
                               ["--certificate", "leaf.pem", "--chain", "-", "--chain", "-"])):
            result = self.expect(3, "p12", "export", *arguments, "--password-file", "password", "-o", "none.p12")
            self.assertEqual(result.out, "")
            self.assertFalse((self.dir / "none.p12").exists())
        self.expect(3, "p12")
        self.expect(3, "p12", "export", "-k", "leaf.key", "-o", "none.p12")

    def test_what_cannot_be_exported(self):
        self.write("bad.pem", (self.dir / "leaf.pem").read_bytes() + b"-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n")
        for arguments, words in ((["-k", "leaf.pem"], "no private key"), (["--certificate", "leaf.key"], "no certificate"),
                                 (["--certificate", "bad.pem"], "bad.pem: block 2, byte 0: "), (["-k", "missing"], "No such file"),
                                 (["--certificate", "leaf.pem", "--chain", "bad.pem"], "block 2")):
            result = self.expect(2, "p12", "export", *arguments, "--password-file", "password", "-o", "none.p12")
            self.assertIn(words, result.err)
            self.assertFalse((self.dir / "none.p12").exists())

    def test_bytes_for_a_pipe_and_not_for_a_terminal(self):
        made = openssl("pkcs12", "-passin", f"pass:{PASSWORD}", "-nocerts", "-nodes", input=self.pipe_out())
        self.assertIn(b"PRIVATE KEY", made)
        shown = self.on_terminal("p12", "export", "-k", "leaf.key", "--password-file", "password", status=3)
        self.assertIn(b"would garble the terminal", shown)

    def pipe_out(self):
        import subprocess
        from support import PROGRAM
        return subprocess.run([*PROGRAM, "p12", "export", "-k", "leaf.key", "--password-file", "password", *FAST], cwd=self.dir,
                              capture_output=True, check=True, env=self.environment).stdout

    def test_names_of_any_characters(self):
        for name in ("größe ☂", "𝄞 clef", "x" * 300):
            self.export("named.p12", "--name", name)
            self.assertIn(f"friendly name: {name}\n", self.expect(0, "show", "--password-file", "password", "named.p12").out)


class PasswordTest(P12Test):
    def test_asks_twice_for_a_new_one(self):
        arguments = ["p12", "export", "-k", "leaf.key", *FAST, "-o", "asked.p12"]
        with TerminalSession(self, arguments) as session:
            session.wait_for(b"New password for asked.p12: ")
            self.assertFalse(session.echoes())
            session.type(b"open sesame\n")
            session.wait_for(b"Repeat the password: ")
            session.type(b"open sesame\n")
            self.assertEqual(session.end(), (0, b""))
        self.expect(0, "p12", "import", "--password", "open sesame", "asked.p12")
        for answers, complaint in (((b"one\n", b"two\n"), b"the two passwords differ"), ((b"\n",), b"the password is empty")):
            with TerminalSession(self, [*arguments[:-1], "unasked.p12"]) as session:
                for answer in answers:
                    session.wait_for(b": ")
                    session.type(answer)
                self.assertEqual(session.end(), (2, b""))
                self.assertIn(complaint, session.shown)
        self.assertFalse((self.dir / "unasked.p12").exists())

    def test_asks_for_the_one_of_a_file(self):
        with TerminalSession(self, ["p12", "import", "leaf.p12", "--keys-only"]) as session:
            session.wait_for(b"Password of leaf.p12: ")
            self.assertFalse(session.echoes())
            session.type(PASSWORD.encode() + b"\n")
            status, out = session.end()
            self.assertEqual((status, blocks(out.decode())), (0, [("PRIVATE KEY", self.keys["leaf"])]))
            self.assertNotIn(b"horse", session.shown)
        with TerminalSession(self, ["p12", "import", "leaf.p12", "-o", "none.pem"]) as session:
            session.wait_for(b": ")
            session.type(b"something\n")
            self.assertEqual(session.end(), (1, b""))
            self.assertIn(b"the password is wrong", session.shown)
        self.assertFalse((self.dir / "none.pem").exists())

    def test_does_not_ask_in_vain(self):
        self.write("camellia.p12", openssl("pkcs12", "-export", "-certpbe", "camellia-256-cbc", "-in", self.dir / "leaf.pem", "-nokeys", "-passout", "pass:x"))
        self.write("open.p12", pfx(element(0x30, plain(certificate_bag(self.ders["leaf"])))))
        for arguments in (["camellia.p12"], ["open.p12"], ["leaf.pem"], ["leaf.p12", "-o", "leaf.pem"]):
            with TerminalSession(self, ["p12", "import", *arguments]) as session:
                session.end()
                self.assertNotIn(b"assword of", session.shown)

    def test_wrong_and_missing_ones(self):
        result = self.expect(1, "p12", "import", "--password-file", "wrong", "leaf.p12", "-o", "none.pem")
        self.assertEqual((result.out, result.err),
                         ("", "sealkit: leaf.p12: The MAC does not verify: the password is wrong, or the file is damaged.\n"))
        result = self.expect(3, "p12", "import", "leaf.p12", "-o", "none.pem")
        self.assertEqual(result.err, "sealkit: leaf.p12 needs a password: give --password-file FILE\n")
        self.assertFalse((self.dir / "none.pem").exists())

    def test_empty_ones(self):
        self.write("empty", "\n")
        self.assertIn("the password is empty", self.expect(2, "p12", "export", "-k", "leaf.key", "--password-file", "empty", "-o", "none.p12").err)
        self.expect(0, "p12", "export", "-k", "leaf.key", "--certificate", "leaf.pem", "--empty-password", *FAST, "-o", "empty.p12")
        wanted = [("PRIVATE KEY", self.keys["leaf"]), ("CERTIFICATE", self.ders["leaf"])]
        self.assertEqual(blocks(self.expect(0, "p12", "import", "--password-file", "empty", "empty.p12").out), wanted)
        self.assertIn(b"PRIVATE KEY", openssl("pkcs12", "-in", self.dir / "empty.p12", "-passin", "pass:", "-nodes"))
        self.read("empty.p12", status=1)
        self.assertEqual(blocks(self.expect(0, "p12", "import", "--empty-password", "empty.p12").out), wanted)
        self.assertIn("omit one of them", self.read("--empty-password", "empty.p12", status=3).err)

    def test_two_in_one_file(self):
        safe = element(0x30, encrypted())
        result = self.read("-", stdin=pfx(safe, mac_data(safe)), status=2)
        self.assertIn("content 1, byte ", result.err)
        self.assertIn("The password is right for the MAC but does not decrypt this part: it has another password, or is damaged.", result.err)

    def test_other_characters(self):
        for password in some(("größe", "пароль ☂", "𝄞 clef", " blanks ", "\t'\"\\")):
            self.write("odd", password + "\n")
            self.expect(0, "p12", "export", "-k", "leaf.key", "--password-file", "odd", *FAST, "-o", "odd.p12", "--force")
            self.expect(0, "p12", "import", "--password-file", "odd", "odd.p12")
            self.assertIn(b"PRIVATE KEY", openssl("pkcs12", "-in", self.dir / "odd.p12", "-passin", f"file:{self.dir / 'odd'}", "-nodes"))
        self.write("binary", b"a\0b\n")
        self.assertIn("zero byte", self.expect(2, "p12", "export", "-k", "leaf.key", "--password-file", "binary", "-o", "none.p12").err)


class ImportTest(P12Test):
    def test_key_and_chain_in_order(self):
        wanted = [("PRIVATE KEY", self.keys["leaf"]),
                  *(("CERTIFICATE", self.ders[name]) for name in ("leaf", "middle", "root", "other"))]
        self.assertEqual(blocks(self.read("leaf.p12").out), wanted)
        self.read("leaf.p12", "-o", "all.pem")
        self.assertEqual(blocks((self.dir / "all.pem").read_text()), wanted)
        self.assertEqual(self.mode("all.pem"), 0o600)
        self.expect(0, "verify", "--ca", "root.pem", "all.pem")

    def test_what_is_left_out_is_named(self):
        crls, secret = (bag(f"1.2.840.113549.1.12.10.1.{end}", element(0x30)) for end in (4, 5))
        sdsi = bag(CERTIFICATE_BAG, element(0x30, identifier("1.2.840.113549.1.9.22.2"), element(0xA0, element(0x16))))
        kinds = "1.2.3, CRL, SDSI certificate, secret other than a private key"
        safe = element(0x30, plain(certificate_bag(self.ders["leaf"]), secret, crls, sdsi, *[bag("1.2.3", element(0x30))] * 3))
        result = self.read("-", stdin=pfx(safe, mac_data(safe)))
        self.assertEqual((blocks(result.out), result.err),
                         ([("CERTIFICATE", self.ders["leaf"])], f"sealkit: warning: -: it holds more, which is ignored: {kinds}\n"))
        self.assertIn(f"  ignored: {kinds}\n", self.expect(0, "show", "-", stdin=pfx(safe)).out)
        safe = element(0x30, plain(*[bag(f"1.2.3.{i}", element(0x30)) for i in range(10000)]))
        result = self.read("-", stdin=pfx(safe, mac_data(safe)), status=2)
        self.assertEqual(result.err, "sealkit: warning: -: it holds more, which is ignored: 1.2.3.0, 1.2.3.1, 1.2.3.10, 1.2.3.100, 1.2.3.1000, ...\n"
                         "sealkit: -: holds no key and no certificate\n")

    def test_a_certificate_of_version_1(self):
        # OpenSSL's x509 makes version 1 of a request without extensions.
        request = openssl("req", "-new", "-key", self.dir / "leaf.key", "-subj", "/CN=old")
        self.write("old.pem", openssl("x509", "-req", "-signkey", self.dir / "leaf.key", input=request))
        self.assertIn("Version: 1 ", openssl("x509", "-in", self.dir / "old.pem", "-noout", "-text").decode())
        openssl("pkcs12", "-export", "-inkey", self.dir / "leaf.key", "-in", self.dir / "old.pem", "-passout", f"pass:{PASSWORD}",
                "-out", self.dir / "old.p12")
        found = dict(blocks(self.read("old.p12").out))
        self.assertEqual(found, {"PRIVATE KEY": self.keys["leaf"], **dict(blocks((self.dir / "old.pem").read_text()))})
        shown = self.expect(0, "show", "--password-file", "password", "old.p12").out
        self.assertIn("subject: CN=old\n", shown)
        self.assertIn("version: 1", shown)
        self.expect(0, "p12", "export", "-k", "leaf.key", "--certificate", "old.pem", "--password-file", "password", *FAST, "-o", "ours-old.p12")
        self.assertEqual(dict(blocks(self.read("ours-old.p12").out)), found)
        self.assertEqual(self.expect(0, "key", "public", "old.pem").out, self.expect(0, "key", "public", "leaf.key").out)

    def test_halves(self):
        mask = os.umask(0o022)
        self.addCleanup(os.umask, mask)
        self.read("leaf.p12", "--keys-only", "-o", "half.key")
        self.read("leaf.p12", "--certificates-only", "-o", "half.pem")
        self.assertEqual([label for label, _ in blocks((self.dir / "half.key").read_text())], ["PRIVATE KEY"])
        self.assertEqual([label for label, _ in blocks((self.dir / "half.pem").read_text())], ["CERTIFICATE"] * 4)
        self.assertEqual((self.mode("half.key"), self.mode("half.pem")), (0o600, 0o644))
        self.expect(3, "p12", "import", "leaf.p12", "--keys-only", "--certificates-only")
        self.expect(0, "p12", "export", "-k", "leaf.key", "--password-file", "password", *FAST, "-o", "only-key.p12")
        self.expect(0, "p12", "export", "--certificate", "leaf.pem", "--password-file", "password", *FAST, "-o", "only-certificate.p12")
        self.assertIn("holds no certificate", self.read("only-key.p12", "--certificates-only", "-o", "none.pem", status=2).err)
        self.assertIn("holds no key", self.read("only-certificate.p12", "--keys-only", "-o", "none.pem", status=2).err)
        self.assertFalse((self.dir / "none.pem").exists())

    def test_keys_under_a_new_password(self):
        self.read("leaf.p12", "--key-out-password-file", "wrong", "-o", "again.pem")
        text = (self.dir / "again.pem").read_text()
        self.assertEqual([label for label, _ in blocks(text)], ["ENCRYPTED PRIVATE KEY"] + ["CERTIFICATE"] * 4)
        self.assertEqual(openssl("pkey", "-in", self.dir / "again.pem", "-passin", "pass:battery staple"),
                         openssl("pkey", "-in", self.dir / "leaf.key"))
        with TerminalSession(self, ["p12", "import", "leaf.p12", "--password-file", "password", "--encrypt", "-o", "asked.pem"]) as session:
            for question in (b"New password for asked.pem: ", b"Repeat the password: "):
                session.wait_for(question)
                session.type(b"open sesame\n")
            self.assertEqual(session.end(), (0, b""))
        self.expect(0, "key", "public", "--password", "open sesame", "asked.pem")
        self.read("leaf.p12", "--certificates-only", "--encrypt", status=3)
        self.read("leaf.p12", "--certificates-only", "--key-out-password-file", "wrong", status=3)

    def test_several_keys(self):
        safe = element(0x30, plain(*(bag(KEY_BAG, self.keys[name]) for name in ("other", "leaf"))),
                       plain(*(certificate_bag(self.ders[name]) for name in ("root", "leaf", "leaf", "middle", "other"))))
        result = self.expect(0, "p12", "import", "-", stdin=pfx(safe))
        self.assertEqual([der for _, der in blocks(result.out)],
                         [self.keys["other"], self.keys["leaf"], *(self.ders[name] for name in ("other", "root", "leaf", "middle"))])
        stray = element(0x30, plain(bag(KEY_BAG, self.keys["rsa"]), certificate_bag(self.ders["leaf"])))
        self.assertIn("note: a key has no certificate in the file\n", self.expect(0, "p12", "import", "-", stdin=pfx(stray)).err)
        strays = element(0x30, plain(*(bag(KEY_BAG, self.keys[name]) for name in ("rsa", "other")), certificate_bag(self.ders["leaf"])))
        self.assertIn("note: 2 keys have no certificate in the file\n", self.expect(0, "p12", "import", "-", stdin=pfx(strays)).err)

    def test_pem_der_and_standard_input(self):
        der = (self.dir / "leaf.p12").read_bytes()
        wanted = self.read("leaf.p12").out
        self.assertEqual(self.read("-", stdin=der).out, wanted)
        pem = b"Some words.\n-----BEGIN PKCS12-----\n" + base64.encodebytes(der) + b"-----END PKCS12-----\n"
        self.assertEqual(self.read("-", stdin=pem).out, wanted)
        self.assertEqual(self.read("-", stdin=(self.dir / "leaf.pem").read_bytes() + pem).out, wanted)
        self.assertIn("only one input", self.expect(3, "p12", "import", "-", "--password-file", "-", stdin=der).err)

    def test_files_are_not_replaced_unless_asked(self):
        path = self.write("there.pem", "something else\n")
        path.chmod(0o644)
        self.assertIn("exists already", self.read("leaf.p12", "-o", "there.pem", status=2).err)
        self.assertEqual(path.read_text(), "something else\n")
        self.read("leaf.p12", "-o", "there.pem", "--force")
        self.assertEqual(self.mode("there.pem"), 0o600)

    def test_without_anyone_to_vouch(self):
        warning = ": it is not authenticated: it has neither a MAC nor a signature\n"
        self.write("naked.p12", openssl("pkcs12", "-export", "-inkey", self.dir / "leaf.key", "-in", self.dir / "leaf.pem", "-nomac",
                                        "-passout", f"pass:{PASSWORD}"))
        self.assertEqual(self.read("naked.p12").err, f"sealkit: warning: naked.p12{warning}")
        result = self.expect(1, "p12", "import", "--password-file", "wrong", "naked.p12", "-o", "none.pem")
        self.assertRegex(result.err, f"^sealkit: warning: naked.p12{warning}sealkit: naked.p12: content 2, bag 1, encrypted key, byte \\d+: "
                         "The password is wrong, or the encrypted data is damaged\\.\n$")
        self.assertFalse((self.dir / "none.pem").exists())
        # Nothing is encrypted, and no password asked for.
        result = self.expect(0, "p12", "import", "-", stdin=pfx(element(0x30, plain(certificate_bag(self.ders["leaf"])))))
        self.assertEqual((blocks(result.out), result.err), ([("CERTIFICATE", self.ders["leaf"])], f"sealkit: warning: -{warning}"))
        self.assertEqual(self.read("leaf.p12").err, "")

    def test_ciphers_that_are_not_read(self):
        keys = ["-inkey", self.dir / "leaf.key", "-in", self.dir / "leaf.pem"]
        key, certificate = ("PRIVATE KEY", self.keys["leaf"]), ("CERTIFICATE", self.ders["leaf"])
        mac, cipher = "The MAC algorithm of the file is not supported. (MAC: ", "The cipher is not supported. (cipher: "
        for options, reason, rest in some(((["-certpbe", "camellia-256-cbc"], f"{cipher}Camellia-256-CBC)", [key]),
                                           (["-keypbe", "camellia-256-cbc"], f"{cipher}Camellia-256-CBC)", [certificate]),
                                           (["-macalg", "sha512-224"], f"{mac}SHA512/224)", None),
                                           (["-macalg", "sha3-256"], f"{mac}SHA3-256)", None))):
            with self.subTest(reason):
                self.write("peer.p12", openssl("pkcs12", "-export", *keys, *options, "-passout", f"pass:{PASSWORD}"))
                result = self.read("peer.p12", "-o", "rest.pem", "--force", status=2)
                self.assertIn(reason, result.err)
                self.assertNotIn("wrong", result.err)
                if rest is None:
                    self.assertFalse((self.dir / "rest.pem").exists())
                    continue
                self.assertEqual(blocks((self.dir / "rest.pem").read_text()), rest)
                (self.dir / "rest.pem").unlink()
                self.assertIn(reason, self.read("peer.p12", "-o", "rest.pem", "--partial").err)
                self.assertEqual(blocks((self.dir / "rest.pem").read_text()), rest)
                (self.dir / "rest.pem").unlink()

    def test_macs_over_the_hashes_of_sha_2(self):
        safe = element(0x30, plain(certificate_bag(self.ders["leaf"])))
        for name in some(HASHES):
            result = self.read("-", stdin=pfx(safe, mac_data(safe, name)))
            self.assertEqual((blocks(result.out), result.err), ([("CERTIFICATE", self.ders["leaf"])], ""))
            self.expect(1, "p12", "import", "--password-file", "wrong", "-", stdin=pfx(safe, mac_data(safe, name)))

    def test_pbmac1(self):
        safe = element(0x30, plain(certificate_bag(self.ders["leaf"])))
        good = [{"prf": prf, "mac": mac} for prf in HMACS for mac in HMACS if prf == mac or "sha256" in (prf, mac)]
        good += [{"salt": salt} for salt in (b"", b"x", bytes(300))] + [{"count": count} for count in (1, 200, 70000)]
        good += [{"length": length} for length in (20, 33, 64, 128)] + [{"prf": "sha1", "prf_said": b""}]
        for case in some(good):
            with self.subTest(case):
                result = self.read("-", stdin=pfx(safe, pbmac1(safe, **case)))
                self.assertEqual((blocks(result.out), result.err), ([("CERTIFICATE", self.ders["leaf"])], ""))
        self.assertIn("hash: PBMAC1\n", self.expect(0, "show", "-", stdin=pfx(safe, pbmac1(safe))).out)
        malformed = "PBMAC1: The parameters of the encryption are malformed."
        for status, words, case in ((1, "The MAC does not verify", {"count_said": 2049}), (1, "The MAC does not verify", {"salt_said": b"saltsalu"}),
                                    (2, f"{malformed} (expected: a key of 20 to 128 bytes; found: no length)", {"length_said": b""}),
                                    (2, f"{malformed} (expected: a key of 20 to 128 bytes; found: 19)", {"length": 19}),
                                    (2, f"{malformed} (expected: a key of 20 to 128 bytes; found: 129)", {"length": 129}),
                                    (2, malformed, {"length_said": element(0x02, b"\x80")}), (2, malformed, {"length_said": integer(2 ** 32 + 32)}),
                                    (2, "The iteration count is zero or above the limit", {"count_said": 10 ** 7 + 1}),
                                    (2, "is not supported", {"prf_said": element(0x30, identifier("1.2.3"))})):
            with self.subTest(case):
                result = self.read("-", stdin=pfx(safe, pbmac1(safe, **case)), status=status)
                self.assertIn(words, result.err)
                self.assertEqual(result.out, "")

    def test_names_stand_before_their_blocks(self):
        self.assertEqual(self.read("leaf.p12").out.count("friendlyName: Ada\n-----BEGIN "), 2)
        # Some readers of PEM look for five hyphens anywhere in a line.
        name = "x\x1b\n-----BEGIN CERTIFICATE------".encode("utf-16-be")
        attributes = element(0x31, element(0x30, identifier("1.2.840.113549.1.9.20"), element(0x31, element(0x1E, name))))
        one = certificate_bag(self.ders["leaf"])
        one = element(0x30, one[4 if one[1] == 0x82 else 3:], attributes)
        for verb in (["p12", "import"], ["convert"]):
            result = self.expect(0, *verb, "-", stdin=pfx(element(0x30, plain(one))))
            line, _, rest = result.out.partition("\n")
            self.assertEqual(line, "friendlyName: x\\x1b\\x0a\\x2d----BEGIN CERTIFICATE\\x2d\\x2d----")
            self.assertTrue(rest.startswith("-----BEGIN CERTIFICATE-----\n"))
            self.assertEqual(openssl("x509", "-outform", "DER", input=result.out.encode()), self.ders["leaf"])

    def test_reports_in_json(self):
        document = self.expect(0, "p12", "export", "-k", "leaf.key", "--certificate", "leaf.pem", "--name", "Ada", "--password-file", "password", *FAST,
                               "--json", "-o", "reported.p12").json
        self.assertEqual((document["output"], document["bytes"]), ("reported.p12", (self.dir / "reported.p12").stat().st_size))
        self.assertEqual([one["friendlyName"] for one in document["object"]["certificates"] + document["object"]["keys"]], ["Ada", "Ada"])
        document = self.read("--json", "reported.p12", "-o", "reported.pem").json
        self.assertEqual((document["output"], document["keys"], document["certificates"], document["object"]["mac"]["hash"]), ("reported.pem", 1, 1, "SHA256"))
        result = self.read("--json", "--certificates-only", "reported.p12")
        self.assertEqual(blocks(result.out), [("CERTIFICATE", self.ders["leaf"])])
        self.assertIn('"command": "p12 import"', result.err)
        self.assertEqual(self.expect(1, "p12", "import", "--json", "--password-file", "wrong", "reported.p12", "-o", "none.pem").json["verdict"], "FAILED")

    def test_many_parts_that_are_not_read_take_few_lines(self):
        safe = element(0x30, plain(certificate_bag(self.ders["leaf"]), *[certificate_bag(b"")] * 100))
        result = self.read("-", stdin=pfx(safe, mac_data(safe)), status=2)
        self.assertEqual(len(result.err.splitlines()), 21)
        self.assertIn("warning: -: 80 parts more cannot be read.\n", result.err)

    def without_count(self, iterations):
        """A file whose MAC, of that many iterations, does not say how many."""
        der = openssl("pkcs12", "-export", "-nokeys", "-in", self.dir / "leaf.pem", "-certpbe", "NONE", "-macalg", "sha256",
                      *(["-nomaciter"] if iterations == 1 else ["-iter", iterations]), "-passout", f"pass:{PASSWORD}")
        count = b"" if iterations == 1 else element(0x02, iterations.to_bytes(2, "big"))
        mac = der[len(der) - len(count) - 61:len(der) - len(count)]  # A DigestInfo of 51 bytes, a salt of 8.
        return element(0x30, der[4:len(der) - len(count) - 63], element(0x30, mac))

    def test_a_mac_without_its_count(self):
        self.assertEqual(blocks(self.read("-", stdin=self.without_count(2048)).out), [("CERTIFICATE", self.ders["leaf"])])
        self.assertEqual(self.read("-", stdin=self.without_count(1)).err, "")
        self.assertEqual(self.read("--mac-iterations", "1", "-", stdin=self.without_count(1)).err, "")
        for file, options, counts in ((self.without_count(1), ["--mac-iterations", "2048"], "2048"), (self.without_count(4096), [], "2048 and 1")):
            result = self.read("-", *options, stdin=file, status=1)
            self.assertIn(f"The file does not give the iterations of its MAC: {counts} were tried, and --mac-iterations gives another count.", result.err)
        self.assertEqual(blocks(self.read("--mac-iterations", "4096", "-", stdin=self.without_count(4096)).out), [("CERTIFICATE", self.ders["leaf"])])
        # What the file says itself counts.
        self.read("--mac-iterations", "1", "leaf.p12")
        for count in ("0", "10000001"):
            self.read("--mac-iterations", count, "leaf.p12", status=3)
        self.assertIn("iterations: not given (2048 and 1 are tried)\n", self.expect(0, "show", "-", stdin=self.without_count(1)).out)


class SignedTest(P12Test):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.safe = element(0x30, plain(bag(KEY_BAG, cls.keys["leaf"]), certificate_bag(cls.ders["leaf"])))
        cls.write("safe", cls.safe)
        cls.write("signed.p12", cls.sign(cls.safe))

    @classmethod
    def sign(cls, safe):
        message = openssl("smime", "-sign", "-binary", "-nodetach", "-md", "sha256", "-signer", cls.dir / "rsa.pem", "-inkey", cls.dir / "rsa.key",
                          "-outform", "DER", input=safe)
        return element(0x30, element(0x02, b"\3"), message)

    def test_a_signature_is_checked_where_it_can_be(self):
        wanted = [("PRIVATE KEY", self.keys["leaf"]), ("CERTIFICATE", self.ders["leaf"])]
        result = self.expect(0, "p12", "import", "signed.p12")
        self.assertEqual((blocks(result.out), result.err),
                         (wanted, "sealkit: warning: signed.p12: is signed, and the signature is not checked (--ca FILE checks it)\n"))
        result = self.expect(0, "p12", "import", "signed.p12", "--ca", "root.pem")
        self.assertEqual((blocks(result.out), result.err), (wanted, ""))

    def test_one_that_does_not_count(self):
        result = self.expect(1, "p12", "import", "signed.p12", "--ca", "leaf.pem", "-o", "none.pem")
        self.assertIn("sealkit: signed.p12: its signature is not valid: ", result.err)
        changed = (self.dir / "signed.p12").read_bytes().replace(self.ders["leaf"][-40:], self.ders["leaf"][-40:-1] + b"\0")
        self.assertIn("its signature is not valid: ", self.expect(1, "p12", "import", "--ca", "root.pem", "-", stdin=changed).err)
        self.assertIn("is not signed", self.read("leaf.p12", "--ca", "root.pem", status=1).err)
        self.expect(2, "p12", "import", "signed.p12", "--ca", "missing")
        self.assertIn("only one input", self.expect(3, "p12", "import", "-", "--ca", "-").err)
        self.assertFalse((self.dir / "none.pem").exists())

    def test_shown(self):
        text = self.expect(0, "show", "signed.p12").out
        for part in ("PKCS#12 file\n", "signature:\n", "certificate: O=Test, CN=rsa\n", "keys:\n", "curve: p256"):
            self.assertIn(part, text)
        dump = self.expect(0, "show", "--dump", "signed.p12").out
        self.assertTrue(dump.startswith("==========> signedData\n"), dump)
        self.assertTrue(dump.endswith("==========> certs: 1\n==========> keys: 1\n"), dump)


class EnvelopedTest(P12Test):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        message = openssl("smime", "-encrypt", "-binary", "-aes256", "-outform", "DER", cls.dir / "rsa.pem",
                          input=element(0x30, bag(KEY_BAG, cls.keys["leaf"]), certificate_bag(cls.ders["leaf"])))
        cls.write("enveloped.p12", pfx(element(0x30, message)))

    def test_its_holder_opens_it(self):
        result = self.expect(0, "p12", "import", "enveloped.p12", "-k", "rsa.key", "--certificate", "rsa.pem")
        self.assertEqual(blocks(result.out), [("PRIVATE KEY", self.keys["leaf"]), ("CERTIFICATE", self.ders["leaf"])])
        self.assertIn("it is not authenticated", result.err)

    def test_keys_under_a_password_within(self):
        locked = openssl("pkcs8", "-topk8", "-in", self.dir / "leaf.key", "-iter", 1000, "-passout", f"pass:{PASSWORD}", "-outform", "DER")
        message = openssl("smime", "-encrypt", "-binary", "-aes256", "-outform", "DER", self.dir / "rsa.pem",
                          input=element(0x30, bag("1.2.840.113549.1.12.10.1.2", locked), bag("1.2.3", element(0x30))))
        self.write("both.p12", pfx(element(0x30, message)))
        arguments = ["p12", "import", "both.p12", "-k", "rsa.key", "--certificate", "rsa.pem"]
        result = self.expect(0, *arguments, "--password-file", "password")
        self.assertEqual(blocks(result.out), [("PRIVATE KEY", self.keys["leaf"])])
        self.assertIn("which is ignored: 1.2.3\n", result.err)
        self.assertIn("both.p12 needs a password", self.expect(3, *arguments).err)
        self.expect(1, *arguments, "--password-file", "wrong")

    def test_others_do_not(self):
        self.assertIn("give --certificate FILE and -k KEY", self.expect(2, "p12", "import", "enveloped.p12", "-o", "none.pem").err)
        self.expect(1, "p12", "import", "enveloped.p12", "-k", "leaf.key", "--certificate", "leaf.pem", "-o", "none.pem")
        self.expect(1, "p12", "import", "enveloped.p12", "-k", "leaf.key", "--certificate", "rsa.pem", "-o", "none.pem")
        self.expect(3, "p12", "import", "enveloped.p12", "-k", "rsa.key")
        self.expect(3, "p12", "import", "enveloped.p12", "--certificate", "rsa.pem")
        self.assertFalse((self.dir / "none.pem").exists())

    def test_shown(self):
        text = self.expect(0, "show", "enveloped.p12").out
        for part in ("vouched for: by nothing, neither a MAC nor a signature\n", "enveloped contents:\n", "cipher: AES-256-CBC\n", "issuer: O=Test, CN=root"):
            self.assertIn(part, text)
        self.assertRegex(self.expect(0, "show", "--dump", "enveloped.p12").out, r"^==========> envelopedData: 1\nsize: \d+\n$")


class HostileTest(P12Test):
    def test_what_is_none(self):
        der = (self.dir / "leaf.p12").read_bytes()
        other = "byte 0: The input holds an object of another kind than was asked for. (expected: PKCS#12 file; "
        for content, words in ((b"", "The input is empty."), (b"hello", other), (b"\x30\x80", other), (self.ders["leaf"], other),
                               (self.keys["leaf"], other), ((self.dir / "leaf.pem").read_bytes(), 'only CERTIFICATE'),
                               (pfx(element(0x30), version=2), "The PKCS#12 file is not of version 3. (expected: 3; found: 2)"),
                               (b"\x30\x80" + der[4:] + bytes(3), "Bytes follow the end of the object."),
                               (der[:-1], "byte 0: An element is longer than the bytes that are left for it."),
                               (pfx(b"\x04\0"), "An element of another type is required here. (expected: SEQUENCE; found: OCTET STRING)"),
                               (b"-----BEGIN PKCS12-----\n!!!!\n-----END PKCS12-----\n", "not base64"),
                               (b"-----BEGIN PKCS12-----\nAAAA\n-----END PKCS12-----\n", other)):
            result = self.read("-", "-o", "none.pem", stdin=content, status=2)
            self.assertIn(words, result.err)
            self.assertEqual(result.out, "")
            self.assertFalse((self.dir / "none.pem").exists())
        # Some programs leave bytes behind a file in DER.
        followed, alone = self.read("-", stdin=der + b"\0"), self.read("-", stdin=der)
        self.assertEqual((blocks(followed.out), followed.err), (blocks(alone.out), "sealkit: note: -: 1 trailing bytes are ignored\n"))
        self.assertIn("No such file", self.read("missing", status=2).err)
        self.assertIn("holds no key and no certificate", self.read("-", stdin=pfx(element(0x30)), status=2).err)

    def test_damage_is_noticed(self):
        der = (self.dir / "leaf.p12").read_bytes()
        for at in some(range(3, len(der), len(der) // 12)):
            for mask in (0x01, 0x80):
                damaged = der[:at] + bytes([der[at] ^ mask]) + der[at + 1:]
                for verb in (["p12", "import"], ["show"]):
                    result = self.run_program(*verb, "--password-file", "password", "-", stdin=damaged)
                    self.assertIn(result.status, (1, 2), result)
                    self.assertEqual(result.out, "")

    def test_counts_without_end_take_no_time(self):
        for count in (2 ** 31 - 1, 2 ** 31, 2 ** 63):
            number = element(0x02, count.to_bytes(9, "big").lstrip(b"\0").rjust(5, b"\0"))
            mac = element(0x30, element(0x30, element(0x30, identifier("2.16.840.1.101.3.4.2.1"), element(0x05)), element(0x04, bytes(32))),
                          element(0x04, bytes(8)), number)
            result = []
            seconds = self.processor_time(lambda: result.append(self.read("-", stdin=pfx(element(0x30), mac), status=2)))
            self.assertRegex(result[0].err, r"^sealkit: -: macData, byte \d+: The iteration count is zero or above the limit\. "
                             r"\(maximum: 10000000; found: \d+( bytes)?\)\n$")
            self.assertLess(seconds, 10)
        contents = [encrypted(10 ** 7) for _ in range(4)]
        seconds = self.processor_time(lambda: result.append(self.read("-", stdin=pfx(element(0x30, *contents)), status=2)))
        self.assertIn("The file as a whole requires more iterations than the limit. (maximum: 30000000; found: 40000000)\n", result[1].err)
        self.assertLess(seconds, 10)

    def test_a_certificate_that_is_not_read(self):
        # Of a version that nobody knows.
        der = openssl("x509", "-in", self.dir / "root.pem", "-outform", "DER").replace(b"\xa0\x03\x02\x01\x02", b"\xa0\x03\x02\x01\x07", 1)
        self.write("old.pem", openssl("x509", "-inform", "DER", input=der))
        for options in ([], ["-certpbe", "NONE"]):
            self.write("old.p12", openssl("pkcs12", "-export", "-nokeys", "-in", self.dir / "old.pem", "-certfile", self.dir / "leaf.pem", *options,
                                          "-passout", f"pass:{PASSWORD}"))
            arguments = ["--password-file", "password", "old.p12"]
            imported, shown = self.expect(2, "p12", "import", *arguments), self.expect(2, "show", *arguments)
            for result in (imported, shown):
                self.assertRegex(result.err, r"old\.p12: content 1, bag 1, certificate.*byte \d+")
                self.assertNotIn("wrong", result.err)
            self.assertEqual(blocks(imported.out), [("CERTIFICATE", self.ders["leaf"])])
            self.assertIn("subject: O=Test, CN=leaf\n", shown.out)
            self.assertIn("unreadable:\n", shown.out)
            self.assertEqual(self.expect(0, "p12", "import", "--partial", *arguments).out, imported.out)
            self.assertEqual(self.expect(0, "show", "--partial", *arguments).out, shown.out)

    def test_a_key_that_is_not_read(self):
        for name, reason, options in (("ed448", "The algorithm of the key is not supported. (algorithm: ED448)", []),
                                      ("ed25519", "The cipher is not supported. (cipher: Camellia-256-CBC)", ["-keypbe", "camellia-256-cbc", "-certpbe", "AES-256-CBC"])):
            openssl("genpkey", "-algorithm", name, "-out", self.dir / f"{name}.key")
            self.write(f"{name}.pem", openssl("req", "-x509", "-new", "-key", self.dir / f"{name}.key", "-subj", f"/CN={name}"))
            openssl("pkcs12", "-export", "-inkey", self.dir / f"{name}.key", "-in", self.dir / f"{name}.pem", *options, "-passout", f"pass:{PASSWORD}",
                    "-out", self.dir / "foreign.p12")
            arguments = ["--password-file", "password", "foreign.p12"]
            for status, extra in ((2, []), (0, ["--partial"])):
                imported = self.expect(status, "p12", "import", *extra, *arguments, "-o", "foreign.pem", "--force")
                self.assertRegex(imported.err, r"^sealkit: warning: foreign\.p12: content 2, bag 1, encrypted key, .*")
                self.assertIn(reason, imported.err)
                self.assertEqual([label for label, _ in blocks((self.dir / "foreign.pem").read_text())], ["CERTIFICATE"])
                shown = self.expect(status, "show", *extra, *arguments)
                self.assertIn(reason, shown.err)
                self.assertIn(f"subject: CN={name}\n", shown.out)
                self.assertIn("not decrypted: 0 contents, 1 keys\n", shown.out)
                self.assertIn("--password-file decrypts", self.expect(0, "show", "foreign.p12").out)
                only = self.expect(2, "p12", "import", "--keys-only", *extra, *arguments)
                self.assertIn(reason, only.err)
                self.assertIn("sealkit: foreign.p12: holds no key\n", only.err)

    def test_names_from_outside(self):
        name = "\x1b[31m\n  key: forged\u202e".encode("utf-16-be")
        attributes = element(0x31, element(0x30, identifier("1.2.840.113549.1.9.20"), element(0x31, element(0x1E, name))))
        one = certificate_bag(self.ders["leaf"])
        one = element(0x30, one[4 if one[1] == 0x82 else 3:], attributes)
        for arguments in ([], ["--json"], ["--dump"]):
            result = self.expect(0, "show", *arguments, "-", stdin=pfx(element(0x30, plain(one))))
            self.assertNoControls(result.out + result.err)
            self.assertNotIn("\u202e", result.out)
            self.assertFalse([line for line in result.out.splitlines() if line.strip().startswith("key: forged")])

    def test_many_certificates_take_no_quadratic_time(self):
        seconds = []
        for count in (200, 800):
            safe = element(0x30, plain(*[certificate_bag(self.ders["leaf"]), certificate_bag(self.ders["middle"])] * count))
            seconds.append(self.processor_time(lambda: self.expect(0, "p12", "import", "-", stdin=pfx(safe))))
        self.assertLess(seconds[1], 8 * seconds[0])


class ShowTest(P12Test):
    def test_without_the_password(self):
        text = self.expect(0, "show", "leaf.p12").out
        for part in ("PKCS#12 file\n", "hash: SHA256\n", "iterations: 1000\n", "salt bytes: 16\n", "encrypted contents:\n", "scheme: PBES2\n",
                     "cipher: AES-256-CBC\n", "key derivation: PBKDF2 with HMAC-SHA256\n", "encrypted keys:\n", "--password-file decrypts"):
            self.assertIn(part, text)
        self.assertNotIn("subject", text)
        (document,) = self.expect(0, "show", "--json", "leaf.p12").objects
        self.assertEqual(document["mac"], {"hash": "SHA256", "iterations": 1000, "saltBytes": 16})
        self.export("old.p12", "--legacy")
        text = self.expect(0, "show", "old.p12").out
        for part in ("hash: SHA1\n", "scheme: PBE-SHA1-3DES\n", "cipher: DES-EDE3-CBC\n", "key derivation: PKCS#12 with SHA1\n"):
            self.assertIn(part, text)
        der = openssl("pkcs12", "-export", "-legacy", "-in", self.dir / "leaf.pem", "-inkey", self.dir / "leaf.key", "-passout", "pass:x")
        text = self.expect(0, "show", "-", stdin=der).out
        self.assertIn("scheme: PBE-SHA1-RC2-40\n", text)
        self.assertIn("weak: its keys are short enough to be searched without the password\n" if HAS_RC2 else
                      "problem: The encryption scheme is not supported. (scheme: PBE-SHA1-RC2-40)\n", text)

    def test_with_the_password(self):
        text = self.expect(0, "show", "--password-file", "password", "leaf.p12").out
        for part in ("friendly name: Ada\n", "local key id: ", "subject: O=Test, CN=leaf\n", "subject: O=Test, CN=middle\n", "curve: p256\n",
                     "secrets: not shown (--secrets shows them)\n", "iterations: 1000\n"):
            self.assertIn(part, text)
        self.assertNotIn("not decrypted", text)
        self.assertIn("scalar: ", self.expect(0, "show", "--password-file", "password", "--secrets", "leaf.p12").out)
        (document,) = self.expect(0, "show", "--json", "--password-file", "password", "leaf.p12").objects
        self.assertEqual([len(document["keys"]), len(document["certificates"])], [1, 4])
        self.assertEqual(document["keys"][0]["localKeyId"], document["certificates"][0]["localKeyId"])
        self.assertEqual([entry.get("friendlyName") for entry in document["certificates"]], ["Ada", None, None, None])
        result = self.expect(1, "show", "--password-file", "wrong", "leaf.p12")
        self.assertEqual((result.out, "the password is wrong" in result.err), ("", True))

    def test_pem(self):
        pem = b"-----BEGIN PKCS12-----\n" + base64.encodebytes((self.dir / "leaf.p12").read_bytes()) + b"-----END PKCS12-----\n"
        for arguments in ([], ["--password-file", "password"], ["--dump"]):
            self.assertEqual(self.expect(0, "show", *arguments, "-", stdin=pem).out, self.expect(0, "show", *arguments, "leaf.p12").out)
        bad = b"-----BEGIN PKCS12-----\nAAAA\n-----END PKCS12-----\n"
        self.assertIn('block 1, "PKCS12", byte 0: The input holds an object of another kind', self.expect(2, "show", "-", stdin=bad).err)

    def test_dump(self):
        closed = self.expect(0, "show", "--dump", "leaf.p12").out
        self.assertRegex(closed, r"^==========> encryptedData: 1\nsize: \d+\n$")
        opened = self.expect(0, "show", "--dump", "--password-file", "password", "leaf.p12").out
        self.assertEqual(opened, closed + "==========> certs: 4\n==========> keys: 1\n")


class HelpTest(P12Test):
    def test_examples_of_the_help_work(self):
        for verb in ("export", "import"):
            self.run_examples("p12", verb)
        self.assertEqual([label for label, _ in blocks((self.dir / "examples-p12-import/both.pem").read_text())], ["PRIVATE KEY", "CERTIFICATE"])
        self.assertIn("import", self.expect(0, "p12", "--help").out)

    def test_help_puts_the_file_before_the_password(self):
        for verb in ("export", "import"):
            text = self.expect(0, "p12", verb, "--help").out
            self.assertLess(text.index("--password-file FILE"), text.index("--password PASSWORD"))
            self.assertNotIn("--password ", text.partition("Examples:")[2])


if __name__ == "__main__":
    unittest.main()
