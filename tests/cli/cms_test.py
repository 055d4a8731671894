"""The verb cms, and show of messages, beside OpenSSL."""
import hashlib
import re
import unittest

from support import CA, EMULATED, ProgramTest, element, elements, identifier, openssl, some

EMAIL = "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature,keyEncipherment\nextendedKeyUsage=emailProtection\n"
CIPHERS = {"aes-256-cbc": "aes256", "aes-192-cbc": "aes192", "aes-128-cbc": "aes128", "des-ede3-cbc": "des3"}
DATA = "1.2.840.113549.1.7.1"
SIGNED = "1.2.840.113549.1.7.2"
ENVELOPED = "1.2.840.113549.1.7.3"
CONTENT_TYPE = "1.2.840.113549.1.9.3"
MESSAGE_DIGEST = "1.2.840.113549.1.9.4"
SIGNING_TIME = "1.2.840.113549.1.9.5"
COUNTER_SIGNATURE = "1.2.840.113549.1.9.6"
AUTHENTICODE = "1.3.6.1.4.1.311.2.1.4"
SIGNATURE_STAMP = "1.3.6.1.4.1.311.3.3.1"
NULL = b"\x05\x00"


class MessageTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA, kind="RSA")
        cls.issue("ada", "root", EMAIL, kind="RSA")
        cls.issue("bob", "root", EMAIL, kind="RSA")
        cls.issue("ec", "root", EMAIL)
        cls.message = cls.write("letter", bytes(range(256)) * 40)

    def at(self, name):
        return self.dir / name

    def signer(self, name="ada"):
        return ["-k", f"{name}.key", "--certificate", f"{name}.pem"]

    def peer_signer(self, name="ada"):
        return ["-signer", self.at(f"{name}.pem"), "-inkey", self.at(f"{name}.key")]

    def issue_ended(self):
        """A certificate of Ada's, ended.pem, that is past its end."""
        self.expect(0, "cert", "self-sign", "-k", "ada.key", "--profile", "email", "--subject", "/CN=ada", "--san",
                    "email:ada@test.example", "--from", "2020-01-01", "--to", "2020-02-01", "-o", "ended.pem")

    def sign_with_openssl(self, *options, program="smime", name="ada"):
        return openssl(program, "-sign", "-binary", "-outform", "DER", *self.peer_signer(name), *options, "-in", self.message)

    def accepted(self, message, *options):
        return self.expect(0, "cms", "check", "--ca", "root.pem", *options, "-", stdin=message)

    def refused(self, status, text, *arguments, **options):
        result = self.expect(status, *arguments, **options)
        self.assertIn(text, result.out + result.err)
        self.assertFalse(self.at("none").exists())
        return result


class SignTest(MessageTest):
    def test_openssl_takes_ours(self):
        for algorithm in some(("sha256", "sha1", "sha384", "sha512")):
            for form in ("PEM", "DER"):
                with self.subTest(algorithm=algorithm, form=form):
                    self.expect(0, "cms", "sign", *self.signer(), "-a", algorithm, *(["--der"] if form == "DER" else []), "--force", "-o", "signed", "letter")
                    for program in ("smime", "cms"):
                        content = openssl(program, "-verify", "-inform", form, "-in", self.at("signed"), "-CAfile", self.at("root.pem"), "-binary")
                        self.assertEqual(content, self.message.read_bytes())
        self.assertTrue(self.at("signed").stat().st_size > 0)

    def test_detached_with_the_chain(self):
        self.expect(0, "cms", "sign", *self.signer(), "--detached", "--chain", "root.pem", "-o", "detached", "letter")
        for program in ("smime", "cms"):
            openssl(program, "-verify", "-inform", "PEM", "-in", self.at("detached"), "-CAfile", self.at("root.pem"), "-binary", "-content", self.message)
        shown = openssl("pkcs7", "-in", self.at("detached"), "-print_certs", "-noout").decode()
        self.assertIn("CN = root", shown)
        self.assertLess(self.at("detached").stat().st_size, self.message.stat().st_size)
        self.assertTrue(self.at("detached").read_text().startswith("-----BEGIN PKCS7-----\n"))

    def test_contents_of_any_kind_through_standard_input(self):
        for content in (b"", b"\xef\xbb\xbfmark\r\n", b"\0" * 70000):
            message = self.expect(0, "cms", "sign", *self.signer(), "-", stdin=content).out.encode()
            self.assertEqual(openssl("cms", "-verify", "-inform", "PEM", "-CAfile", self.at("root.pem"), "-binary", input=message), content)
            self.write("content", content)
            self.write("signed.pem", message)
            self.expect(0, "cms", "check", "--ca", "root.pem", "--content", "content", "--force", "-o", "copy", "signed.pem")
            self.assertEqual(self.at("copy").read_bytes(), content)

    def test_what_does_not_sign(self):
        sign = ["cms", "sign", "-o", "none"]
        self.refused(3, "give each --key its --certificate", *sign, *self.signer(), "-k", "bob.key", "letter")
        self.refused(3, "is not an object identifier", *sign, *self.signer(), "--content-type", "tea", "letter")
        self.refused(3, "omit --no-attributes", *sign, *self.signer(), "--no-attributes", "--signing-time", "letter")
        self.issue("bare", "root", EMAIL, kind="RSA", key_ids="subjectKeyIdentifier=none\n")
        self.refused(2, "no subject key identifier", *sign, *self.signer("bare"), "--key-id", "letter")
        self.refused(2, "the key is not that of this certificate", *sign, "-k", "bob.key", "--certificate", "ada.pem", "letter")
        self.issue("wrong", "root", "keyUsage=keyEncipherment\n", kind="RSA", key=self.at("ada.key"))
        self.refused(2, "its key usage does not allow signing messages", *sign, *self.signer("wrong"), "letter")
        self.issue_ended()
        self.refused(2, "ended at ", *sign, "-k", "ada.key", "--certificate", "ended.pem", "letter")
        self.refused(3, "is not a hash", *sign, *self.signer(), "-a", "md4", "letter")
        self.refused(2, "missing: No such file", *sign, *self.signer(), "missing")
        self.refused(2, "neither PEM nor", *sign, *self.signer(), "--chain", "letter", "letter")
        self.refused(3, "only one input", *sign, "-k", "-", "--certificate", "ada.pem", "-")
        self.refused(3, "--certificate", *sign, "-k", "ada.key", "letter")
        openssl("genrsa", "-out", self.at("short.key"), "512")
        openssl("req", "-x509", "-new", "-key", self.at("short.key"), "-subj", "/CN=short", "-out", self.at("short.pem"))
        self.refused(2, "too short for this hash", *sign, *self.signer("short"), "-a", "sha512", "letter")
        self.assertIn(b"garble", self.on_terminal("cms", "sign", *self.signer(), "--der", "letter", status=3))

    def test_an_issuer_keeps_its_bytes(self):
        # The library would write C before O.
        self.issue("odd", subject="/O=Test/OU=a/OU=b/C=UY/CN=odd", extensions=CA, kind="RSA")
        self.issue("leaf", "odd", EMAIL, kind="RSA")
        result = self.expect(0, "cms", "sign", *self.signer("leaf"), "-o", "odd.p7m", "letter")
        self.assertIn("would encode the issuer's name differently", result.err)
        openssl("cms", "-verify", "-inform", "PEM", "-in", self.at("odd.p7m"), "-CAfile", self.at("odd.pem"), "-binary")
        result = self.expect(0, "cms", "check", "--ca", "odd.pem", "odd.p7m")
        self.assertIn("note: signer 1: the library would write the name of its issuer in other bytes", result.err)

    def test_the_examples_of_the_help_work(self):
        for verb in ("sign", "check", "encrypt", "decrypt"):
            self.run_examples("cms", verb)
        self.assertEqual((self.dir / "examples-cms-decrypt/copy.txt").read_bytes(), b"hello\n")


class CheckTest(MessageTest):
    def test_we_take_openssls(self):
        for algorithm in some(("sha256", "sha1", "sha384", "sha512")):
            message = self.sign_with_openssl("-nodetach", "-md", algorithm)
            result = self.accepted(message, "--force", "-o", "copy")
            self.assertRegex(result.out, rf"^1: <O=Test, CN=ada>, issued by <O=Test, CN=root>, {algorithm.upper()}, signed at 20.* UTC by its own account\nOK\n$")
            self.assertEqual(self.at("copy").read_bytes(), self.message.read_bytes())
            self.assertEqual("weak-digest" in result.err, algorithm == "sha1")

    def test_detached_several_signers_lists_and_a_chain(self):
        self.make_crl("list", "root")
        bag = openssl("crl2pkcs7", "-in", self.at("list.crl"), "-certfile", self.at("root.pem"), "-outform", "DER")
        self.assertIn("1:\n      object: certificate revocation list", self.expect(0, "show", "-", stdin=bag).out)
        message = self.sign_with_openssl(*self.peer_signer("bob"), "-certfile", self.at("root.pem"))
        result = self.accepted(message, "--content", "letter")
        self.assertEqual([line[:20] for line in result.out.splitlines()], ["1: <O=Test, CN=ada>,", "2: <O=Test, CN=bob>,", "OK"])
        self.refused(3, "give it with --content", "cms", "check", "--ca", "root.pem", "-", stdin=message)
        self.write("other", "x")
        self.refused(1, "it signed another content", "cms", "check", "--ca", "root.pem", "--content", "other", "-o", "none", "-", stdin=message)
        self.write("empty", "")
        self.refused(1, "it signed another content", "cms", "check", "--ca", "root.pem", "--content", "empty", "-", stdin=message)
        for label in ("PKCS7", "CMS", "PKCS #7 SIGNED DATA"):
            pem = openssl("pkcs7", "-inform", "DER", input=message).decode().replace("PKCS7", label)
            self.accepted(pem.encode(), "--content", "letter")

    def test_certificates_that_are_not_in_the_message(self):
        message = self.sign_with_openssl("-nodetach", "-nocerts")
        result = self.refused(1, "its certificate is not available", "cms", "check", "--ca", "root.pem", "-", stdin=message)
        self.assertIn("note: signer 1: its certificate may be given with --certificates\n", result.err)
        self.accepted(message, "--certificates", "ada.pem")
        self.refused(1, "is not trusted", "cms", "check", "--certificates", "ada.pem", "-", stdin=message)
        self.issue("own", extensions=EMAIL, kind="RSA")
        self.expect(0, "cms", "check", "--ca", "own.pem", "-", stdin=self.sign_with_openssl("-nodetach", "-nocerts", name="own"))

    def test_the_content_of_a_message_that_fails_is_not_written(self):
        message = bytearray(self.sign_with_openssl("-nodetach"))
        message[message.index(bytes(range(200)))] ^= 1
        for output in ("none", "-"):
            result = self.refused(1, "FAILED: signer 1: ", "cms", "check", "--ca", "root.pem", "-o", output, "-", stdin=bytes(message))
            self.assertNotIn("\x03\x04\x05", result.out)
        self.refused(1, "may not be used for the purpose", "cms", "check", "--ca", "root.pem", "--purpose", "code", "-o", "none", "-", stdin=self.sign_with_openssl("-nodetach"))
        result = self.accepted(self.expect(0, "cms", "sign", *self.signer(), "-", stdin=b"text\n").out.encode(), "-o", "-")
        self.assertEqual(result.out, "text\n")
        self.assertIn("OK\n", result.err)
        self.write("there", "x")
        self.refused(2, "exists already", "cms", "check", "--ca", "root.pem", "-o", "there", "-", stdin=self.sign_with_openssl("-nodetach"))

    def test_a_message_with_a_content_is_not_checked_against_another(self):
        message = self.sign_with_openssl("-nodetach")
        self.accepted(message, "--content", "letter")
        self.write("short", "x")
        self.write("nothing", "")
        for other in ("short", "nothing"):
            self.refused(1, "the message holds another content", "cms", "check", "--ca", "root.pem", "--content", other, "-o", "none", "-", stdin=message)

    def test_authorities_of_one_name(self):
        # Nothing but their signatures tells which of them issued a certificate.
        self.issue("old", subject="/CN=same", extensions=CA, kind="RSA", key_ids="subjectKeyIdentifier=none\n")
        self.issue("new", subject="/CN=same", extensions=CA, kind="RSA", key_ids="subjectKeyIdentifier=none\n")
        self.concatenate("authorities", "old", "new")
        for authority in ("old", "new"):
            self.issue("eve", authority, EMAIL, kind="RSA", key_ids="subjectKeyIdentifier=hash\n")
            message = self.sign_with_openssl("-nodetach", name="eve")
            self.expect(0, "cms", "check", "--ca", "authorities", "-", stdin=message)
            self.refused(1, "is not trusted", "cms", "check", "--ca", "root.pem", "-", stdin=message)

    def test_standard_input_is_read_once(self):
        for option in ("--ca", "--crl", "--certificates", "--content"):
            self.refused(3, "only one input", "cms", "check", option, "-", "-")

    def test_who_is_trusted_and_when(self):
        message = self.sign_with_openssl("-nodetach")
        self.issue("stranger", extensions=CA, kind="RSA")
        result = self.refused(1, "its certificate is not trusted", "cms", "check", "--ca", "stranger.pem", "-", stdin=message)
        self.assertIn("no-anchor", result.err)
        # Signers with one certificate share one search.
        many = self.sign_with_openssl("-nodetach", *self.peer_signer("bob") * 6)
        result = self.refused(1, "its certificate is not trusted", "cms", "check", "--ca", "stranger.pem", "-", stdin=many)
        self.assertEqual((result.out.count("CN=bob>"), result.err.count("no-anchor")), (6, 7))
        self.refused(1, "FAILED", "cms", "check", "--ca", "root.pem", "--at", "2001-01-01", "-", stdin=message)
        self.refused(3, "is not a time", "cms", "check", "--ca", "root.pem", "--at", "soon", "-", stdin=message)
        self.accepted(message, "--crl", self.make_crl("none-revoked", "root"))
        self.refused(1, "revoked", "cms", "check", "--ca", "root.pem", "--crl", self.make_crl("revoked", "root", ["ada"]), "-", stdin=message)
        # A CRL that cannot be used ends in a verdict as well.
        text = openssl("crl", "-in", self.dir / "revoked.crl", "-outform", "DER")
        self.write("forged.crl", text[:-1] + bytes([text[-1] ^ 1]))
        for crl, why in (("forged.crl", "the signature of the CRL"), ("absent.crl", "No such file")):
            result = self.refused(2, why, "cms", "check", "--json", "--ca", "root.pem", "--crl", crl, "-", stdin=message)
            self.assertEqual(result.json["verdict"], "UNREADABLE")

    def test_warnings(self):
        self.issue("server", "root", kind="RSA")
        message = self.sign_with_openssl("-nodetach", name="server")
        for options, status, rule in ((["--rules", "platform"], 0, True), ([], 1, True), (["--purpose", "any"], 0, False)):
            result = self.expect(status, "cms", "check", "--ca", "root.pem", *options, "-", stdin=message)
            self.assertEqual("warning: signer 1: extended-key-usage" in result.err, rule)
            self.assertEqual("note: signer 1: this system accepts it" in result.err, status == 1)
        self.refused(3, "is not a set of rules", "cms", "check", "--ca", "root.pem", "--rules", "tea", "-", stdin=message)
        self.refused(3, "is not a purpose", "cms", "check", "--ca", "root.pem", "--purpose", "tea", "-", stdin=message)
        self.issue("sealer", "root", "keyUsage=keyEncipherment\n", kind="RSA")
        self.assertIn("key-usage", self.accepted(self.sign_with_openssl("-nodetach", name="sealer")).err)
        report = self.accepted(message, "--rules", "platform", "--json").json
        self.assertEqual((report["verdict"], report["contentType"], report["contentSize"]), ("OK", "data", self.message.stat().st_size))
        self.assertEqual((report["signers"][0]["subject"], report["warnings"][0]["signer"]), ("O=Test, CN=server", 1))

    def test_text_that_was_signed_as_a_mail(self):
        self.write("text", "one\ntwo\n")
        message = openssl("smime", "-sign", *self.peer_signer(), "-outform", "DER", "-in", self.at("text"))
        self.refused(1, "CR LF", "cms", "check", "--ca", "root.pem", "--content", "text", "-", stdin=message)
        self.write("mail", "one\r\ntwo\r\n")
        self.accepted(message, "--content", "mail")

    def test_forms_that_are_refused_are_named(self):
        cases = [(self.sign_with_openssl("-nodetach", "-stream")[:-3], "longer than the bytes that are left"),
                 (b"Content-Type: text/plain\n\nhello\n", "expected: application/pkcs7-mime or multipart/signed; found: text/plain"),
                 (openssl("crl2pkcs7", "-nocrl", "-certfile", self.at("ada.pem")), "it only carries certificates"),
                 (openssl("smime", "-encrypt", "-outform", "DER", "-in", self.message, self.at("ada.pem")), "expected: signed message; found: enveloped message"),
                 (openssl("cms", "-data_create", "-outform", "DER", "-in", self.message), "expected: signed message; found: data"),
                 (self.at("ada.pem").read_bytes(), 'holds "CERTIFICATE" instead of a message'),
                 (openssl("x509", "-in", self.at("ada.pem"), "-outform", "DER"), "(expected: signed message; found: certificate)"),
                 (b"", "is empty"), (b"hello", "neither PEM nor DER"), (self.sign_with_openssl("-nodetach") + b"x", "Bytes follow the end of the object")]
        for message, reason in cases:
            with self.subTest(reason=reason):
                result = self.refused(2, reason, "cms", "check", "--ca", "root.pem", "--content", "letter", "-o", "none", "-", stdin=message)
                self.assertEqual((result.out, len(result.err.splitlines())), ("", 1))
        mail = openssl("smime", "-sign", *self.peer_signer(), "-in", self.message)
        self.refused(3, "the mail contains the content", "cms", "check", "--ca", "root.pem", "--content", "letter", "-o", "none", "-", stdin=mail)

    def test_a_digest_that_is_not_supported(self):
        self.refused(1, "its digest algorithm is not supported", "cms", "check", "--ca", "root.pem", "-o", "none", "-", stdin=self.sign_with_openssl("-nodetach", "-md", "sha224"))

    def altered(self, edit):
        """A signed message whose parts EDIT changes."""
        parts = {"version": 1, "algorithm": element(0x30, identifier("2.16.840.1.101.3.4.2.1"), NULL), "signer": 1, "name": element(0x30, element(0x30), element(2, b"\1")),
                 "attributes": element(0xA0), "signature": element(0x30, identifier("1.2.840.113549.1.1.1"), NULL), "certificates": b"", "rest": b""}
        parts.update(edit)
        signer = element(0x30, element(2, bytes([parts["signer"]])), parts["name"], parts["algorithm"], parts["attributes"], parts["signature"], element(4, b"x"), parts["rest"])
        content = element(0x30, identifier(DATA), element(0xA0, element(4, b"x")))
        body = element(0x30, element(2, bytes([parts["version"]])), element(0x31), content, parts["certificates"], element(0x31, signer))
        return element(0x30, identifier(SIGNED), element(0xA0, body))

    def test_forms_that_no_tool_makes(self):
        self.refused(1, "FAILED", "cms", "check", "--ca", "root.pem", "-", stdin=self.altered({}))
        nested = element(0x30, identifier("1.2.840.113549.1.9.6"), element(0x31, element(0x30)))
        for edit, reason in (({"version": 2}, "expected: 1 or 3; found: 2"), ({"signer": 5}, "expected: 1 or 3; found: 5"), ({"name": element(0x80)}, "signer 1, "),
                             ({"rest": element(0xA1, nested)}, "counter-signature 1, ")):
            with self.subTest(reason=reason):
                self.refused(2, reason, "cms", "check", "--ca", "root.pem", "-", stdin=self.altered(edit))
                self.refused(2, reason, "show", "-", stdin=self.altered(edit))
        for edit, reason in (({"signature": element(0x30, identifier("1.2.840.113549.1.1.10"), NULL)}, "FAILED"), ({"name": element(0x80, b"id")}, "FAILED"),
                             ({"algorithm": element(0x30, identifier("1.2.3.4"))}, "1.2.3.4"), ({"certificates": element(0xA0, element(0xA1))}, "of an unsupported kind"),
                             ({"certificates": element(0xA0, element(0x30))}, "first: certificate 1, ")):
            with self.subTest(reason=reason):
                self.refused(1, reason, "cms", "check", "--ca", "root.pem", "-", stdin=self.altered(edit))
                self.expect(0, "show", "-", stdin=self.altered(edit))

    def handmade(self, *attributes, type=DATA, content=element(0xA0, element(4, b"x")), **parts):
        return self.sign_by_hand("ada", type, content, *attributes, **parts)

    def test_each_attribute_counts_once(self):
        good, other = (element(4, hashlib.sha256(text).digest()) for text in (b"x", b"y"))
        kind, digest = (CONTENT_TYPE, identifier(DATA)), (MESSAGE_DIGEST, good)
        self.accepted(self.handmade(kind, digest))
        for reason, *attributes in (("it signed another content", kind, (MESSAGE_DIGEST, other)), ("one digest", kind, digest, (MESSAGE_DIGEST, other)), ("one digest", kind, (MESSAGE_DIGEST, other), digest),
                                    ("one type", digest), ("of another type", (CONTENT_TYPE, identifier(SIGNED)), digest), ("one digest", kind)):
            with self.subTest(reason=reason):
                self.refused(1, reason, "cms", "check", "--ca", "root.pem", "-o", "none", "-", stdin=self.handmade(*attributes))
        self.refused(2, "An attribute with a single value has several", "cms", "check", "--ca", "root.pem", "-", stdin=self.handmade(kind, (MESSAGE_DIGEST, good, other)))

    def test_what_is_not_checked_and_what_is_strange(self):
        attributes = (CONTENT_TYPE, identifier(DATA)), (MESSAGE_DIGEST, element(4, hashlib.sha256(b"x").digest()))
        self.make_crl("within", "root")
        crl = openssl("crl", "-in", self.at("within.crl"), "-outform", "DER")
        stamp = element(0xA1, element(0x30, identifier(SIGNATURE_STAMP), element(0x31, self.handmade(*attributes))))
        for rule, message in (("unchecked-crls", self.handmade(*attributes, lists=element(0xA1, crl))), ("false-time-stamp", self.handmade(*attributes, rest=stamp)),
                              ("warning: signer 1: signing-time: ", self.handmade(*attributes, (SIGNING_TIME, element(0x17, b"010101000000Z")))),
                              ("future-signing-time", self.handmade(*attributes, (SIGNING_TIME, element(0x17, b"490101000000Z"))))):
            with self.subTest(rule=rule):
                self.assertIn(rule, self.accepted(message).err)

    def test_a_content_that_has_the_form_of_attributes(self):
        attributes = element(0x30, identifier(MESSAGE_DIGEST), element(0x31, element(4, hashlib.sha256(b"x").digest())))
        self.write("attributes", element(0x31, attributes))
        self.refused(2, "omit --no-attributes", "cms", "sign", *self.signer(), "--no-attributes", "-o", "none", "attributes")
        self.expect(0, "cms", "sign", *self.signer(), "-o", "with-attributes", "attributes")
        self.accepted(self.at("with-attributes").read_bytes())

    def test_data_that_is_no_octet_string(self):
        content = element(4, b"x") * 3
        message = self.handmade((CONTENT_TYPE, identifier(DATA)), (MESSAGE_DIGEST, element(4, hashlib.sha256(content).digest())), content=element(0xA0, element(0x30, content)))
        self.refused(1, "the message's content is malformed", "cms", "check", "--ca", "root.pem", "-o", "none", "-", stdin=message)

    def test_messages_of_another_kind(self):
        self.expect(0, "cms", "encrypt", "--certificate", "ada.pem", "-o", "enveloped", "letter")
        self.expect(0, "cms", "sign", *self.signer(), "-o", "signed-one", "letter")
        self.refused(2, '"sealkit cms decrypt" opens it', "cms", "check", "--ca", "root.pem", "enveloped")
        self.refused(2, '"sealkit cms check" checks it', "cms", "decrypt", "-k", "ada.key", "-o", "none", "signed-one")

    def test_a_content_that_is_no_octet_string(self):
        inner = element(0x30, identifier("1.2.3")) + element(4, b"digest")
        attributes = (CONTENT_TYPE, identifier(AUTHENTICODE)), (MESSAGE_DIGEST, element(4, hashlib.sha256(inner).digest()))
        message = self.handmade(*attributes, type=AUTHENTICODE, content=element(0xA0, element(0x30, inner)))
        result = self.accepted(message, "-o", "whole")
        self.assertIn("of the type Authenticode digest", result.err)
        self.assertEqual(self.at("whole").read_bytes(), element(0x30, inner))
        self.accepted(message, "--content", "whole")
        self.write("inner", inner)
        self.refused(1, "another content", "cms", "check", "--ca", "root.pem", "--content", "inner", "-", stdin=message)
        self.accepted(self.handmade(*attributes, type=AUTHENTICODE, content=b""), "--content", "inner")

    def test_signatures_within_that_are_refused_are_named(self):
        attributes = (CONTENT_TYPE, identifier(DATA)), (MESSAGE_DIGEST, element(4, hashlib.sha256(b"x").digest()))
        ec = openssl("smime", "-sign", "-nodetach", "-outform", "DER", "-signer", self.at("ec.pem"), "-inkey", self.at("ec.key"), "-in", self.message)
        signer = elements(elements(elements(elements(ec)[1])[0])[-1])[0]
        def within(name, value):
            return element(0xA1, element(0x30, identifier(name), element(0x31, value)))
        self.refused(2, "time-stamp, byte", "cms", "check", "--ca", "root.pem", "-", stdin=self.handmade(*attributes, rest=within(SIGNATURE_STAMP, element(0x31))))
        # It is one of something else.
        self.assertIn("false-counter-signature", self.accepted(self.handmade(*attributes, rest=within(COUNTER_SIGNATURE, signer))).err)
        good = elements(elements(elements(elements(self.handmade(*attributes))[1])[0])[-1])[0]
        self.assertIn("false-counter-signature", self.accepted(self.handmade(*attributes, rest=within(COUNTER_SIGNATURE, good))).err)
        # Bob signs the signature, and the message does not hold his certificate.
        signature = elements(good)[-1][-256:]
        digest = (MESSAGE_DIGEST, element(4, hashlib.sha256(signature).digest()))
        counter = elements(elements(elements(elements(self.sign_by_hand("bob", DATA, b"", digest))[1])[0])[-1])[0]
        message = self.handmade(*attributes, rest=within(COUNTER_SIGNATURE, counter))
        self.assertIn("unchecked-counter-signature", self.accepted(message).err)
        result = self.accepted(message, "--certificates", "bob.pem")
        self.assertIn("counter-signed", result.err)
        self.assertNotIn("unchecked", result.err)
        for deep in (17, 400):
            rest = b""
            for _ in range(deep):
                signer = element(0x30, element(2, b"\1"), element(0x30, element(0x30), element(2, b"\1")), element(0x30, identifier("2.16.840.1.101.3.4.2.1"), NULL), element(0xA0),
                                 element(0x30, identifier("1.2.840.113549.1.1.1"), NULL), element(4, b"x"), rest)
                rest = within(COUNTER_SIGNATURE, signer)
            self.refused(2, "nested more deeply than the limit", "cms", "check", "--ca", "root.pem", "-", stdin=self.handmade(*attributes, rest=rest))

    def test_truncated_messages_and_flipped_bits(self):
        message = self.sign_with_openssl("-nodetach")
        start = message.index(bytes(range(256))) + 256
        places = [*range(0, 80, 7), *range(start, len(message), 97)]
        for place in places[::8] if EMULATED else places:
            result = self.expect(2, "cms", "check", "--ca", "root.pem", "-", stdin=message[:place])
            self.assertEqual(result.out, "")
            flipped = bytearray(message)
            flipped[place] ^= 4
            result = self.run_program("cms", "check", "--ca", "root.pem", "-", stdin=bytes(flipped))
            # Nobody signs the message's version and its list of digest algorithms.
            self.assertIn(result.status, (0, 1, 2, 3) if place < message.index(identifier(DATA)) else (1, 2, 3), result)
            self.assertEqual("OK\n" in result.out, result.status == 0)

    def test_large_messages_take_no_quadratic_time(self):
        seconds = []
        for count in (2000, 8000):
            signer = element(0x30, element(2, b"\1"), element(0x30, element(0x30), element(2, b"\1")), element(0x30, identifier("2.16.840.1.101.3.4.2.1"), NULL), element(0xA0),
                             element(0x30, identifier("1.2.840.113549.1.1.1")), element(4, b"x"))
            body = element(0x30, element(2, b"\1"), element(0x31), element(0x30, identifier(DATA), element(0xA0, element(4, b"x" * 1000))), element(0x31, signer * count))
            message = element(0x30, identifier(SIGNED), element(0xA0, body))
            self.refused(2, "more signers than the limit", "cms", "check", "--ca", "root.pem", "-", stdin=message)
            seconds.append(self.processor_time(lambda: self.expect(0, "show", "-", stdin=message)))
        self.assertLess(seconds[1], 10 * seconds[0])

    def test_contents_are_not_taken_apart_for_every_signer(self):
        seconds = []
        certificate = openssl("x509", "-in", self.at("ada.pem"), "-outform", "DER")
        _, serial, _, issuer, *_ = elements(elements(certificate)[0])
        algorithm = element(0x30, identifier("2.16.840.1.101.3.4.2.1"))
        signer = element(0x30, element(2, b"\1"), element(0x30, issuer, serial), algorithm, element(0x30, identifier("1.2.840.113549.1.1.1"), NULL), element(4, b"x" * 256))
        content = element(4, element(0x31, element(0x30, identifier("1.2.3"), element(0x31)) * 200_000))
        for signers in (1, 100):
            body = element(0x30, element(2, b"\1"), element(0x31, algorithm), element(0x30, identifier(DATA), element(0xA0, content)), element(0xA0, certificate), element(0x31, signer * signers))
            message = element(0x30, identifier(SIGNED), element(0xA0, body))
            seconds.append(self.processor_time(lambda: self.refused(1, "its signature does not verify", "cms", "check", "--ca", "root.pem", "-", stdin=message)))
        self.assertLess(seconds[1], 5 * seconds[0] + 0.2)

    def test_several_messages_in_a_file(self):
        for name in ("first", "second"):
            self.expect(0, "cms", "sign", *self.signer(), "-o", name, "letter")
        both = self.at("first").read_bytes() + self.at("second").read_bytes()
        self.assertIn("holds several messages; only the first is used", self.accepted(both).err)

    def test_hostile_names(self):
        self.issue("hostile", subject="/O=a\x1b]0;title\x07/CN=x\r\nOK\u202e", extensions=EMAIL, kind="RSA")
        message = self.sign_with_openssl("-nodetach", name="hostile")
        for status, *arguments in ((0, "cms", "check", "--ca", "hostile.pem"), (1, "cms", "check", "--ca", "root.pem"), (1, "cms", "check", "--ca", "root.pem", "--json"),
                                   (0, "show"), (0, "show", "--dump"), (0, "show", "--json")):
            result = self.expect(status, *arguments, "-", stdin=message)
            self.assertNoControls(result.out + result.err)
            self.assertNotIn("\u202e", result.out)
            if status == 1:
                self.assertFalse(re.search("^OK", result.out, re.MULTILINE))


class ShowTest(MessageTest):
    def test_signed(self):
        message = self.sign_with_openssl("-nodetach")
        text = self.expect(0, "show", "-", stdin=message).out
        for part in ("signed message\n  content type: data\n  content: 10240 bytes\n  digest algorithms: SHA256\n", "      issuer: O=Test, CN=root\n",
                     "      certificate: O=Test, CN=ada\n", "      signing time: 20", "      subject: O=Test, CN=ada\n"):
            self.assertIn(part, text)
        self.assertEqual(self.expect(0, "show", "-", stdin=openssl("pkcs7", "-inform", "DER", input=message)).out, text)
        document = self.expect(0, "show", "--json", "-", stdin=message).objects[0]
        self.assertEqual((document["object"], len(document["certificates"])), ("signed message", 1))
        dump = self.expect(0, "show", "--dump", "-", stdin=message).out
        self.assertTrue(dump.startswith(f"digest-algos: SHA256\ncontent-type: {DATA}\nCertificate:\n"), dump)
        self.assertIn("SignerInfo:\n  issuer: O=Test, CN=root\n", dump)

    def test_what_is_streamed_is_shown_under_any_label(self):
        streamed = openssl("smime", "-sign", "-binary", "-stream", "-nodetach", *self.peer_signer(), "-outform", "PEM", "-in", self.message)
        for label in (b"PKCS7", b"CMS"):
            self.assertIn("  content: 10240 bytes\n", self.expect(0, "show", "-", stdin=streamed.replace(b"PKCS7", label)).out)

    def test_signers_of_other_kinds(self):
        message = openssl("cms", "-sign", "-binary", "-nodetach", "-keyid", "-noattr", "-outform", "DER", *self.peer_signer("ec"), "-in", self.message)
        text = self.expect(0, "show", "-", stdin=message).out
        for part in ("subject key identifier: ", "signature algorithm: SHA256+ECDSA\n", "      certificate: O=Test, CN=ec\n", "      signs: the content alone, without attributes\n"):
            self.assertIn(part, text)
        self.expect(0, "show", "--json", "-", stdin=message)
        report = self.accepted(message, "--json").json
        self.assertEqual(report["signers"][0]["signatureAlgorithm"], "SHA256+ECDSA")

    def test_certificates_alone(self):
        bag = openssl("crl2pkcs7", "-nocrl", "-certfile", self.concatenate("both", "ada", "root"))
        text = self.expect(0, "show", "-", stdin=bag).out
        self.assertTrue(text.startswith("certificates in a message without signers\n"))
        self.assertEqual(text.count("object: certificate\n"), 2)

    def test_enveloped(self):
        message = openssl("cms", "-encrypt", "-aes128", "-outform", "DER", "-in", self.message, "-recip", self.at("ada.pem"), "-keyid", "-recip", self.at("bob.pem"))
        text = self.expect(0, "show", "-", stdin=message).out
        for part in ("enveloped message\n  version: 2\n", "  cipher: AES-128-CBC\n", "      key encryption: RSA\n", "    1:\n", "subject key identifier: "):
            self.assertIn(part, text)
        self.refused(3, "no dump", "show", "--dump", "-", stdin=message)
        self.refused(2, 'of the type "data"', "show", "-", stdin=openssl("cms", "-data_create", "-outform", "DER", "-in", self.message))


class EncryptTest(MessageTest):
    def test_each_cipher_both_ways(self):
        for cipher, name in some(CIPHERS.items()):
            for by_key_id in (False, True):
                with self.subTest(cipher=cipher, by_key_id=by_key_id):
                    self.expect(0, "cms", "encrypt", "--to", "ada.pem", "--to", "bob.pem", "--cipher", cipher, *(["--key-id"] if by_key_id else []),
                                "--force", "-o", "ours", "letter")
                    program = "cms" if by_key_id else "smime"
                    for owner in ("ada", "bob"):
                        recipient = ["-inkey", self.at(f"{owner}.key"), "-recip", self.at(f"{owner}.pem")]
                        self.assertEqual(openssl(program, "-decrypt", "-inform", "PEM", "-in", self.at("ours"), *recipient), self.message.read_bytes())
                    theirs = openssl("cms", "-encrypt", "-binary", f"-{name}", "-outform", "DER", "-in", self.message, "-recip", self.at("bob.pem"),
                                     *(["-keyid"] if by_key_id else []), "-recip", self.at("ada.pem"))
                    for message in (self.at("ours").read_bytes(), theirs):
                        for certificate in ([], ["--certificate", "ada.pem"]):
                            self.expect(0, "cms", "decrypt", "-k", "ada.key", *certificate, "--force", "-o", "opened", "-", stdin=message)
                            self.assertEqual(self.at("opened").read_bytes(), self.message.read_bytes())

    def test_ciphers_have_short_names(self):
        for name, shown in (("aes-256", "AES-256-CBC"), ("AES-192", "AES-192-CBC"), ("aes-cbc", "AES-256-CBC"), ("des-ede3", "DES-EDE3-CBC"), ("3des", "DES-EDE3-CBC")):
            message = self.expect(0, "cms", "encrypt", "--to", "ada.pem", "--cipher", name, "letter").out
            self.assertIn(f"cipher: {shown}\n", self.expect(0, "show", "-", stdin=message.encode()).out)
        for name in ("des-cbc", "null", "rc2", "aes-ctr"):
            self.refused(3, "is not a cipher for messages", "cms", "encrypt", "--to", "ada.pem", "--cipher", name, "-o", "none", "letter")

    def test_empty_and_long_contents(self):
        for content in (b"", b"x", b"\0" * 16, b"y" * 100001):
            message = self.expect(0, "cms", "encrypt", "--to", "ada.pem", "-", stdin=content).out.encode()
            self.expect(0, "cms", "decrypt", "-k", "ada.key", "--force", "-o", "opened", "-", stdin=message)
            self.assertEqual(self.at("opened").read_bytes(), content)

    def test_recipients_that_are_refused(self):
        encrypt = ["cms", "encrypt", "-o", "none", "--to"]
        self.refused(2, "its key usage does not allow encrypting keys to it", *encrypt, "ec.pem", "letter")
        self.refused(2, "its key usage does not allow encrypting keys to it", *encrypt, "root.pem", "letter")
        self.issue_ended()
        self.refused(2, "ended at", *encrypt, "ended.pem", "letter")
        self.issue("bare", "root", EMAIL, key=self.at("ada.key"), key_ids="subjectKeyIdentifier=none\n")
        self.refused(2, "no subject key identifier", *encrypt, "bare.pem", "--key-id", "letter")
        self.refused(3, "--to", "cms", "encrypt", "-o", "none", "letter")
        self.refused(3, "only one input", *encrypt, "-", "-")
        self.refused(2, "missing", *encrypt, "ada.pem", "missing")

    def test_what_does_not_open(self):
        message = openssl("smime", "-encrypt", "-aes256", "-outform", "DER", "-in", self.message, self.at("ada.pem"))
        decrypt = ["cms", "decrypt", "-o", "none", "-"]
        said = self.refused(1, "does not decrypt with this key", *decrypt, "-k", "bob.key", stdin=message)
        self.assertEqual(self.refused(1, "encrypted to others", *decrypt, "-k", "bob.key", "--certificate", "bob.pem", stdin=message).out, "")
        self.refused(2, "the key is not that of this certificate", *decrypt, "-k", "bob.key", "--certificate", "ada.pem", stdin=message)
        self.refused(1, "encrypted to others, not to this key", *decrypt, "-k", "ec.key", stdin=message)
        # Whatever is wrong with the key or the text: the same words.
        for part in (message.index(bytes.fromhex("2a864886f70d0101010500")) + 30, len(message) - 1):
            flipped = bytearray(message)
            flipped[part] ^= 0x55
            result = self.run_program(*decrypt, "-k", "ada.key", stdin=bytes(flipped))
            if result.status:  # A changed last block seldom keeps a padding.
                self.assertEqual((result.status, result.err), (1, said.err))
            self.at("none").unlink(missing_ok=True)

    def test_forms_that_are_refused_are_named(self):
        encrypt = ["cms", "-encrypt", "-outform", "DER", "-in", self.message]
        ada = self.at("ada.pem")
        cases = [(2, openssl(*encrypt, "-camellia256", ada), "found: Camellia-256-CBC"),
                 (1, openssl(*encrypt, "-aes256", "-pwri_password", "x"), "encrypted to others, not to this key"),
                 (1, openssl(*encrypt, "-aes256", "-secretkey", "00" * 16, "-secretkeyid", "00"), "encrypted to others, not to this key"),
                 (1, openssl(*encrypt, "-aes256", self.at("ec.pem")), "encrypted to others, not to this key"),
                 (2, openssl("smime", "-sign", *self.peer_signer(), "-in", self.message), "expected: enveloped message; found: signed message"),
                 (2, self.sign_with_openssl("-nodetach"), "expected: enveloped message; found: signed message"), (2, b"\x30\x03\x02\x01\x00", "(expected: enveloped message)")]
        for status, message, reason in cases:
            with self.subTest(reason=reason):
                result = self.refused(status, reason, "cms", "decrypt", "-k", "ada.key", "-o", "none", "-", stdin=message)
                self.assertEqual(len(result.err.splitlines()), 1)

    def test_streamed_messages(self):
        message = openssl("smime", "-encrypt", "-binary", "-aes256", "-stream", "-outform", "DER", "-in", self.message, self.at("ada.pem"))
        self.expect(0, "cms", "decrypt", "-k", "ada.key", "-o", "unstreamed", "-", stdin=message)
        self.assertEqual(self.at("unstreamed").read_bytes(), self.message.read_bytes())

    def test_many_recipients(self):
        recipient = element(0x30, element(2, b"\0"), element(0x30, element(0x30), element(2, b"\1")), element(0x30, identifier("1.2.840.113549.1.1.1")), element(4, bytes(256)))
        content = element(0x30, identifier(DATA), element(0x30, identifier("2.16.840.1.101.3.4.1.42"), element(4, bytes(16))), element(0x80, bytes(16)))
        body = element(0x30, element(2, b"\0"), element(0x31, recipient * (3000 if EMULATED else 100000)), content)
        message = element(0x30, identifier(ENVELOPED), element(0xA0, body))
        self.refused(3, "--certificate", "cms", "decrypt", "-k", "ada.key", "-o", "none", "-", stdin=message)
        self.refused(1, "encrypted to others", "cms", "decrypt", "-k", "ada.key", "--certificate", "ada.pem", "-o", "none", "-", stdin=message)

    def test_messages_with_parts_missing(self):
        algorithm = element(0x30, identifier("2.16.840.1.101.3.4.1.42"), element(4, bytes(16)))
        good = element(0x30, element(2, b"\0"), element(0x30, element(0x30), element(2, b"\1")), element(0x30, identifier("1.2.840.113549.1.1.1")), element(4, bytes(256)))
        for recipients, content, reason in ((good, b"", "The message does not contain its content"), (element(0x30, element(2, b"\0")), element(0x80, bytes(16)), "no supported recipients"),
                                            (b"", element(0x80, bytes(16)), "no supported recipients")):
            body = element(0x30, element(2, b"\0"), element(0x31, recipients), element(0x30, identifier(DATA), algorithm, content))
            self.refused(2, reason, "cms", "decrypt", "-k", "ada.key", "-o", "none", "-", stdin=element(0x30, identifier(ENVELOPED), element(0xA0, body)))

    def test_a_content_that_is_no_plain_data(self):
        message = openssl("cms", "-encrypt", "-binary", "-aes128", "-outform", "DER", "-in", self.message, self.at("ada.pem"))
        self.write("typed", message.replace(identifier(DATA), identifier(SIGNED)))
        self.assertIn("not plain data, but of the type signed message", self.expect(0, "cms", "decrypt", "-k", "ada.key", "-o", "typed-content", "typed").err)

    def test_a_signed_message_within(self):
        inner = self.expect(0, "cms", "sign", *self.signer(), "--der", "-o", "inner", "letter")
        self.assertEqual(inner.err, "")
        self.expect(0, "cms", "encrypt", "--to", "bob.pem", "-o", "outer", "inner")
        self.expect(0, "cms", "decrypt", "-k", "bob.key", "-o", "opened-inner", "outer")
        self.accepted(self.at("opened-inner").read_bytes())


if __name__ == "__main__":
    unittest.main()
