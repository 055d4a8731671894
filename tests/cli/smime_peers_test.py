"""S/MIME mail beside OpenSSL: signed in both forms, encrypted, both at once."""
import unittest

from support import CA, ProgramTest, openssl

EMAIL = "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature,keyEncipherment\nextendedKeyUsage=emailProtection\n"
LETTER = "Dear Ada,\n\nsee you.\n"


class SmimeTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA)
        cls.issue("ada", "root", EMAIL, kind="RSA")
        cls.write("letter.txt", LETTER)
        cls.write("entity", "Content-Type: text/plain\n\n" + LETTER)

    def at(self, name):
        return self.dir / name

    def ours(self, *arguments):
        return self.expect(0, "cms", *arguments)

    def theirs(self, *options, program="smime"):
        return openssl(program, *options, cwd=self.dir)

    def sign(self, *options, file="letter.txt", mail="mail.eml"):
        self.ours("sign", "-k", "ada.key", "--certificate", "ada.pem", "--smime", *options, file, "-o", mail, "--force")
        return self.at(mail).read_bytes()

    def check(self, mail, *options):
        self.ours("check", "--ca", "root.pem", *options, mail, "-o", "out", "--force")
        return self.at("out").read_bytes()

    def test_openssl_verifies_our_signed_mail(self):
        for options in ([], ["--detached"]):
            for program in ("smime", "cms"):
                mail = self.sign("--text", *options, "--header", "Subject: Gr\u00fc\u00dfe", "--header", "To: ada@example.test")
                self.assertTrue(mail.startswith(b"Subject: =?utf-8?B?R3LDvMOfZQ==?=\r\nTo: ada@example.test\r\nMIME-Version: 1.0\r\n"))
                self.assertEqual(b"Dear Ada" in mail, bool(options))
                shown = self.theirs("-verify", "-text", "-CAfile", "root.pem", "-in", "mail.eml", program=program)
                self.assertEqual(shown.replace(b"\r\n", b"\n"), LETTER.encode())
                self.assertEqual(self.check("mail.eml", "--text"), LETTER.encode())

    def test_signed_mail_of_openssl_is_verified(self):
        for options in ([], ["-nodetach"], ["-stream"], ["-nodetach", "-stream", "-indef"]):
            for program in ("smime", "cms"):
                self.write("theirs.eml", self.theirs("-sign", "-signer", "ada.pem", "-inkey", "ada.key", "-text", "-subject", "hi", *options, "-in",
                                                     "letter.txt", program=program))
                self.assertEqual(self.check("theirs.eml", "--text"), LETTER.encode(), options)
        # As mailboxes keep it.
        self.write("unix.eml", "From ada Thu Jan  1 00:00:00 2026\n" + self.at("theirs.eml").read_text().replace("\r\n", "\n"))
        self.assertEqual(self.check("unix.eml", "--text"), LETTER.encode())

    def test_what_was_made_in_json(self):
        who = ["-k", "ada.key", "--certificate", "ada.pem"]
        for verb, options in (("sign", who), ("sign", [*who, "--detached"]), ("encrypt", ["--certificate", "ada.pem"])):
            made = self.ours(verb, *options, "--smime", "--text", "--json", "letter.txt", "-o", "json.eml", "--force").json
            self.assertEqual((made["command"], made["output"]), (f"cms {verb}", "json.eml"))

    def test_changed_mail_fails(self):
        mail = self.sign("--text", "--detached")
        self.write("changed.eml", mail.replace(b"see you", b"see me!"))
        result = self.expect(1, "cms", "check", "--ca", "root.pem", "changed.eml", "-o", "none")
        self.assertIn("FAILED", result.out)
        self.assertFalse(self.at("none").exists())

    def test_encrypted_mail_in_both_directions(self):
        self.ours("encrypt", "--certificate", "ada.pem", "--smime", "--text", "letter.txt", "-o", "ours.eml")
        for program in ("smime", "cms"):
            shown = self.theirs("-decrypt", "-text", "-recip", "ada.pem", "-inkey", "ada.key", "-in", "ours.eml", program=program)
            self.assertEqual(shown.replace(b"\r\n", b"\n"), LETTER.encode())
            self.write("theirs.eml", self.theirs("-encrypt", "-aes256", "-text", "-in", "letter.txt", "ada.pem", program=program))
            self.ours("decrypt", "-k", "ada.key", "--certificate", "ada.pem", "--text", "theirs.eml", "-o", "opened", "--force")
            self.assertEqual(self.at("opened").read_bytes(), LETTER.encode())

    def test_signed_and_then_encrypted(self):
        self.sign("--text", "--detached", mail="inner.eml")
        self.ours("encrypt", "--certificate", "ada.pem", "--smime", "inner.eml", "-o", "outer.eml")
        self.ours("decrypt", "-k", "ada.key", "outer.eml", "-o", "opened.eml")
        self.assertEqual(self.check("opened.eml", "--text"), LETTER.encode())
        self.write("opened-by-openssl.eml", self.theirs("-decrypt", "-recip", "ada.pem", "-inkey", "ada.key", "-in", "outer.eml"))
        self.assertEqual(self.theirs("-verify", "-text", "-CAfile", "root.pem", "-in", "opened-by-openssl.eml").replace(b"\r\n", b"\n"),
                         LETTER.encode())

    def test_a_message_that_a_mail_quotes_is_not_the_mails(self):
        self.ours("sign", "-k", "ada.key", "--certificate", "ada.pem", "letter.txt", "-o", "quoted", "--force")
        text = "Pay Bob!\n" + self.at("quoted").read_text()
        self.write("letter.quoting", text)
        mail = self.sign("--text", "--detached", file="letter.quoting")
        self.assertEqual(self.check("mail.eml", "--text"), text.encode())
        self.write("changed.eml", mail.replace(b"Pay Bob", b"Pay Eve"))
        self.expect(1, "cms", "check", "--ca", "root.pem", "changed.eml")
        self.write("unsigned.eml", "Content-Type: text/plain\n\n" + text)
        self.assertIn("text/plain", self.expect(2, "cms", "check", "--ca", "root.pem", "unsigned.eml").err)

    def test_what_is_no_mail_is_told(self):
        sign = ["cms", "sign", "-k", "ada.key", "--certificate", "ada.pem", "--smime"]
        self.assertIn("--text", self.expect(2, *sign, "letter.txt", "-o", "none").err)
        self.assertIn("--der", self.expect(3, *sign, "--der", "entity", "-o", "none").err)
        self.assertIn("--smime", self.expect(3, *sign[:-1], "--header", "To: a", "entity", "-o", "none").err)
        self.assertIn("Name: value", self.expect(3, *sign, "--header", "To", "entity", "-o", "none").err)
        self.assertIn("malformed", self.expect(2, *sign, "--header", "To: a\nBcc: b", "entity", "-o", "none").err)
        self.assertIn("malformed", self.expect(2, *sign, "--header", "Content-Type: text/html", "entity", "-o", "none").err)
        self.write("eight", "Content-Type: text/plain\n\nGr\u00fc\u00dfe\n")
        self.assertIn("7-bit", self.expect(2, *sign, "--detached", "eight", "-o", "none").err)
        self.write("pgp.eml", "Content-Type: multipart/signed; boundary=b\n\n--b\n\n--b\nContent-Type: application/pgp-signature\n\n--b--\n")
        self.assertIn("application/pgp-signature", self.expect(2, "cms", "check", "--ca", "root.pem", "pgp.eml").err)
        self.sign("--text", "--detached")
        self.assertIn("--content", self.expect(3, "cms", "check", "--ca", "root.pem", "--content", "letter.txt", "mail.eml").err)
        self.assertFalse(self.at("none").exists())


if __name__ == "__main__":
    unittest.main()
