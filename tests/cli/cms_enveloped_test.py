"""Encrypted messages of all forms: `cms encrypt` and `cms decrypt` beside OpenSSL, and beside messages that are composed
from the standards (cms_composer.py) where OpenSSL reads or writes none."""
import datetime
import pathlib
import unittest

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, ed25519, rsa, x25519

import cms_composer as composer
from support import ProgramTest, TerminalSession, element, identifier, openssl, peer, some

CONTENT = bytes(range(256)) * 9 + b"end"
KEYS = {"rsa": lambda: rsa.generate_private_key(65537, 2048), "p192": lambda: ec.generate_private_key(ec.SECP192R1()),
        "p224": lambda: ec.generate_private_key(ec.SECP224R1()), "p256": lambda: ec.generate_private_key(ec.SECP256R1()),
        "p384": lambda: ec.generate_private_key(ec.SECP384R1()), "p521": lambda: ec.generate_private_key(ec.SECP521R1()),
        "x25519": x25519.X25519PrivateKey.generate, "ed25519": ed25519.Ed25519PrivateKey.generate}
JARS = ":".join(f"/usr/share/java/{name}.jar" for name in ("bcprov", "bcpkix", "bcutil"))
ECS = ("p192", "p224", "p256", "p384", "p521")


class EnvelopedTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.keys = {name: make() for name, make in KEYS.items()}
        authority = cls.keys["p256"]
        cls.certificates = {name: cls.certify(name, key, authority) for name, key in cls.keys.items()}
        for name, key in cls.keys.items():
            cls.write(f"{name}.key", key.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8, serialization.NoEncryption()))
            cls.write(f"{name}.pem", cls.certificates[name].public_bytes(serialization.Encoding.PEM))
        cls.write("content", CONTENT)
        cls.write("password", "a pass phrase\n")

    @staticmethod
    def certify(name, key, authority):
        named = [x509.Name([x509.NameAttribute(x509.NameOID.COMMON_NAME, text)]) for text in (name, "authority")]
        now = datetime.datetime.now(datetime.timezone.utc)
        usage = {use: False for use in ("content_commitment", "data_encipherment", "key_cert_sign", "crl_sign", "encipher_only", "decipher_only")}
        usage |= {"digital_signature": name == "ed25519", "key_encipherment": name == "rsa", "key_agreement": name not in ("rsa", "ed25519")}
        builder = x509.CertificateBuilder(named[1], named[0], key.public_key(), x509.random_serial_number(), now - datetime.timedelta(1), now + datetime.timedelta(9))
        builder = builder.add_extension(x509.SubjectKeyIdentifier.from_public_key(key.public_key()), False)
        return builder.add_extension(x509.KeyUsage(**usage), True).sign(authority, hashes.SHA256())

    def at(self, name):
        return self.dir / name

    def opens(self, message, *options):
        self.expect(0, "cms", "decrypt", *options, "--force", "-o", "opened", "-", stdin=message)
        self.assertEqual(self.at("opened").read_bytes(), CONTENT)

    def opened_by(self, message, name):
        self.opens(message, "-k", f"{name}.key")

    def refused(self, status, text, *arguments, **options):
        result = self.expect(status, *arguments, **options)
        self.assertIn(text, result.out + result.err)
        self.assertFalse(self.at("none").exists())
        return result

    def encrypted(self, *options):
        return self.expect(0, "cms", "encrypt", *options, "--der", "--force", "-o", "ours", "content") and self.at("ours").read_bytes()


class ComposedTest(EnvelopedTest):
    def test_key_transport_by_oaep(self):
        certificate = self.certificates["rsa"]
        for hash_name in some(composer.HASH_IDS):
            for mask in composer.HASH_IDS:
                with self.subTest(hash=hash_name, mask=mask):
                    self.opened_by(composer.compose(CONTENT, [composer.oaep(certificate, hash_name, mask)], gcm=mask == "sha1"), "rsa")

    def test_key_agreement(self):
        cases = [(name, {"kind": kind, "hash_name": hash_name}) for name, (kind, hash_name) in
                 zip((*ECS, *ECS, *ECS), composer.SCHEMES)]
        cases += [("x25519", {"kind": kind, "hash_name": hash_name}) for kind, hash_name in composer.SCHEMES if kind != "cofactor"]
        cases += [("p256", {"size": 16}), ("p384", {"size": 24}), ("p256", {"ukm": b"material"}), ("p521", {"ukm": b""}), ("p256", {"by_key_id": True}),
                  ("p256", {"wrap_null": True}), ("p384", {"compressed": True}), ("x25519", {"ukm": b"material"}), ("x25519", {"kind": "hkdf", "ukm": b"material"}),
                  ("x25519", {"kind": "hkdf", "ukm": b"material", "salted": True}), ("x25519", {"by_key_id": True, "size": 16})]
        for number, (name, options) in enumerate(some(cases)):
            with self.subTest(name=name, options=options):
                message = composer.compose(CONTENT, [composer.agreement(self.certificates[name], **options)], (16, 24, 32)[number % 3], number % 2 == 0)
                self.opens(message, "-k", f"{name}.key", "--certificate", f"{name}.pem")
                self.opened_by(message, name)

    def test_passwords(self):
        for prf, size in (("sha1", 16), ("sha224", 32), ("sha256", 24), ("sha384", 16), ("sha512", 32)):
            with self.subTest(prf=prf):
                self.opens(composer.compose(CONTENT, [composer.password(b"a pass phrase", prf, 1000, size)], gcm=prf != "sha1", version=3), "--password-file", "password")

    def test_unknown_recipients_beside_known_ones(self):
        others = [lambda key: element(0xA4, identifier("1.2.3"), b"\x05\0"), lambda key: element(0xA1, b"\2\1\3"), lambda key: element(0xA9)]
        message = composer.compose(CONTENT, [*others, composer.agreement(self.certificates["p256"]), others[0], composer.password(b"a pass phrase")])
        self.opened_by(message, "p256")
        self.opens(message, "--password-file", "password")
        shown = self.expect(0, "show", "--json", "-", stdin=message).objects[0]
        self.assertEqual((shown["otherRecipients"], shown["cipher"], shown["authenticated"]), (4, "AES-256-GCM", "the content"))
        self.assertEqual([each["keyEncryption"] for each in shown["recipients"]], ["ECDH, X9.63 with SHA256", "PWRI-KEK"])
        self.refused(1, "encrypted to others, not to this key", "cms", "decrypt", "-k", "p384.key", "-o", "none", "-", stdin=message)

    def test_authenticated_attributes(self):
        recipient = composer.agreement(self.certificates["p256"])
        attribute = composer.sequence(identifier("1.2.3"), element(0x31, composer.integer(7)))
        message = composer.compose(CONTENT, [recipient], attributes=attribute)
        self.opened_by(message, "p256")
        changed = message.replace(attribute, attribute[:-1] + b"\x08")
        self.refused(1, "wrong key, or a changed message", "cms", "decrypt", "-k", "p256.key", "-o", "none", "-", stdin=changed)

    def test_ours_opens(self):
        names = ("rsa", *ECS, "x25519")
        recipients = [word for name in names for word in ("--certificate", f"{name}.pem")]
        for cipher in some(("aes-256-gcm", "aes-192-gcm", "aes-128-gcm", "aes-256-cbc", "aes-192-cbc", "aes-128-cbc")):
            for extra in ([], ["--oaep"]) if cipher == "aes-256-gcm" else ([],):
                with self.subTest(cipher=cipher, extra=extra):
                    if extra:
                        message = self.encrypted("--certificate", "rsa.pem", *extra, "--cipher", cipher)
                        self.assertEqual(composer.open_message(message, self.keys["rsa"]), CONTENT)
                        continue
                    under_password = ["--password", "x"] if cipher == "aes-256-cbc" else []
                    message = self.encrypted(*recipients, *under_password, "--cipher", cipher)
                    for index, name in enumerate(names):
                        self.assertEqual(composer.open_message(message, self.keys[name], index), CONTENT)
                    if under_password:
                        self.assertEqual(composer.open_message(message, b"x", len(names)), CONTENT)

    def test_a_file_under_a_password(self):
        message = self.encrypted("--password-file", "password")
        infos = composer.elements(composer.elements(composer.elements(message)[1])[0])[1]
        self.assertGreaterEqual(composer.under_password(composer.elements(infos)[0], b"a pass phrase")[1], 600_000)
        self.assertEqual(composer.open_message(message, b"a pass phrase"), CONTENT)
        self.assertEqual(openssl("cms", "-decrypt", "-inform", "DER", "-in", self.at("ours"), "-pwri_password", "a pass phrase"), CONTENT)
        self.opens(message, "--password-file", "password")
        decrypt = ["cms", "decrypt", "-o", "none"]
        self.refused(1, "the password is wrong", *decrypt, "--password", "A pass phrase", "-", stdin=message)
        for place in (-1, -20):
            changed = bytearray(message)
            changed[place] ^= 1
            self.refused(1, "the password is right, but the message was changed", *decrypt, "--password-file", "password", "-", stdin=bytes(changed))
        self.refused(1, "encrypted to others", *decrypt, "-k", "rsa.key", "-", stdin=message)
        self.refused(2, "the password is empty", "cms", "encrypt", "--password-file", "/dev/null", "-o", "none", "content")
        to_key = self.encrypted("--certificate", "rsa.pem")
        self.refused(1, "is not encrypted under a password: give the key", *decrypt, "--password", "x", "-", stdin=to_key)


class PeerTest(EnvelopedTest):
    def test_openssl_opens_ours(self):
        for options in (["--cipher", "aes-256-gcm"], [], ["--cipher", "aes-128-cbc", "--key-id"]):
            # OpenSSL does not sort out X25519 keys in a message and fails.
            recipients = [word for name in ("rsa", "p256", "p384", "p521") for word in ("--certificate", f"{name}.pem")]
            message = self.encrypted(*recipients, *options)
            for name in ("rsa", "p256", "p384", "p521"):
                with self.subTest(options=options, name=name):
                    key = ["-inkey", self.at(f"{name}.key"), "-recip", self.at(f"{name}.pem")]
                    self.assertEqual(openssl("cms", "-decrypt", "-inform", "DER", *key, input=message), CONTENT)
        self.encrypted("--certificate", "rsa.pem", "--oaep")
        self.assertEqual(openssl("cms", "-decrypt", "-inform", "DER", "-in", self.at("ours"), "-inkey", self.at("rsa.key")), CONTENT)
        self.encrypted("--password-file", "password", "--cipher", "aes-192-cbc")
        self.assertEqual(openssl("cms", "-decrypt", "-inform", "DER", "-in", self.at("ours"), "-pwri_password", "a pass phrase"), CONTENT)

    def test_we_open_openssls(self):
        encrypt = ["cms", "-encrypt", "-binary", "-outform", "DER", "-in", self.at("content")]
        oaep = ["-keyopt", "rsa_padding_mode:oaep"]
        for options in (["-aes256"], ["-aes-256-gcm"], ["-aes128", "-stream"]):
            message = openssl(*encrypt, *options, "-recip", self.at("rsa.pem"), *oaep, "-recip", self.at("p256.pem"), "-recip", self.at("p384.pem"),
                              "-keyopt", "ecdh_kdf_md:sha384", "-recip", self.at("p521.pem"), "-keyopt", "ecdh_cofactor_mode:1", "-aes256-wrap")
            for name in ("rsa", "p256", "p384", "p521"):
                with self.subTest(options=options, name=name):
                    self.opens(message, "-k", f"{name}.key", "--certificate", f"{name}.pem")
        for extra in ([*oaep, "-keyopt", "rsa_oaep_md:sha256"], [*oaep, "-keyopt", "rsa_oaep_md:sha512", "-keyopt", "rsa_mgf1_md:sha1"]):
            self.opened_by(openssl(*encrypt, "-aes256", "-recip", self.at("rsa.pem"), *extra), "rsa")
        self.opens(openssl(*encrypt, "-aes256", "-pwri_password", "a pass phrase"), "--password-file", "password")
        self.opens(openssl(*encrypt, "-des3", "-pwri_password", "a pass phrase", "-keyid", "-recip", self.at("rsa.pem")), "--password-file", "password")

    def test_bouncy_castle_both_ways(self):
        for name in ("rsa", "p256"):
            self.write(f"{name}.crt", self.certificates[name].public_bytes(serialization.Encoding.DER))
            self.write(f"{name}.pk8", self.keys[name].private_bytes(serialization.Encoding.DER, serialization.PrivateFormat.PKCS8, serialization.NoEncryption()))
        recipients = ["--certificate", "rsa.pem", "--oaep", "--password-file", "password"]
        self.write("ours-gcm", self.encrypted(*recipients))
        self.write("ours-cbc", self.encrypted("--certificate", "rsa.pem", "--certificate", "p256.pem", "--password-file", "password", "--cipher", "aes-256-cbc"))
        java = ["java", "-cp", JARS, pathlib.Path(__file__).with_name("EnvelopedPeer.java")]
        peer(*java, "write", self.dir)
        peer(*java, "read", self.dir)
        for name in ("cbc-0", "cbc-1", "cbc-2", "gcm-0"):
            self.assertEqual(self.at(f"{name}.read").read_bytes(), CONTENT)
        for name in ("bc-cbc", "bc-gcm"):
            message = self.at(name).read_bytes()
            for key in ("rsa", "p256"):
                self.opened_by(message, key)
            self.opens(message, "--password-file", "password")


class UsageTest(EnvelopedTest):
    def test_who_can_open_is_said(self):
        encrypt = ["cms", "encrypt", "-o", "none"]
        self.refused(3, "--password-file", *encrypt, "content")
        self.refused(2, "has another type of key", *encrypt, "--certificate", "ed25519.pem", "content")
        self.refused(2, "has no RSA key: omit --oaep", *encrypt, "--certificate", "p256.pem", "--oaep", "content")
        self.refused(3, "is not a cipher for messages", *encrypt, "--certificate", "rsa.pem", "--cipher", "aes-256-ctr", "content")
        self.refused(3, "only one input", *encrypt, "--password-file", "-", "-")
        self.refused(2, "can only sign", "cms", "decrypt", "-k", "ed25519.key", "-o", "none", "content")
        self.refused(3, "--key", "cms", "decrypt", "--certificate", "rsa.pem", "-o", "none", "content")

    def test_certificates_of_our_own_profile_for_mail(self):
        self.expect(0, "cert", "self-sign", "-k", "p384.key", "--profile", "email", "--subject", "/CN=ada", "--san", "email:ada@test.example", "-o", "mail.pem")
        message = self.encrypted("--certificate", "mail.pem")
        self.opens(message, "-k", "p384.key", "--certificate", "mail.pem")

    def test_how_long_it_takes_is_shown_on_a_terminal(self):
        message = composer.compose(CONTENT, [composer.password(b"x", rounds=100_000)], version=3)
        self.write("slow", message.replace(composer.integer(100_000), composer.integer(0x7FFFFF)))
        with TerminalSession(self, ["cms", "decrypt", "--password-file", "password", "-o", "none", "slow"]) as session:
            session.wait_for(b"decrypting: ")

    def test_what_was_opened_in_json(self):
        self.write("locked", self.encrypted("--password-file", "password"))
        opened = self.expect(0, "cms", "decrypt", "--json", "--password-file", "password", "-o", "opened", "--force", "locked").json
        self.assertEqual({key: opened[key] for key in ("output", "bytes", "contentType", "cipher", "authenticated")},
                         {"output": "opened", "bytes": len(CONTENT), "contentType": "data", "cipher": "AES-256-GCM", "authenticated": True})
        beside = self.run_program("cms", "decrypt", "--json", "--password-file", "password", "locked")
        self.assertIn('"output": "-"', beside.err)
        self.assertEqual(self.expect(1, "cms", "decrypt", "--json", "--password", "wrong", "-o", "none", "locked").json["verdict"], "FAILED")

    def test_passwords_at_the_terminal(self):
        message = self.encrypted("--password-file", "password")
        self.write("locked", message)
        self.refused(3, "give --password-file", "cms", "decrypt", "-o", "none", "locked")

    def test_damaged_messages_end_in_a_sentence(self):
        message = self.encrypted("--certificate", "p256.pem", "--cipher", "aes-256-gcm")
        for place in some(range(0, len(message) - len(CONTENT) - 30, 61)):
            changed = message[:place] + bytes([message[place] ^ 0x41]) + message[place + 1:]
            result = self.run_program("cms", "decrypt", "-k", "p256.key", "--force", "-o", "opened", "-", stdin=changed)
            self.assertIn(result.status, (0, 1, 2))
            if result.status:
                self.assertEqual(len(result.err.splitlines()), 1, result)
            else:
                self.assertEqual(self.at("opened").read_bytes(), CONTENT)


if __name__ == "__main__":
    unittest.main()
