"""The verb ts, and show of time-stamps, beside OpenSSL as the authority."""
import base64
import datetime
import hashlib
import re
import unittest

from support import CA, EMULATED, ProgramTest, element, elements, identifier, openssl, some

DATA = "1.2.840.113549.1.7.1"
STAMP = "1.2.840.113549.1.9.16.1.4"
EMAIL = "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=emailProtection\n"
STAMPING = "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage={}timeStamping{}\n"


class TimeStampTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA, kind="RSA")
        cls.issue("tsa", "root", STAMPING.format("critical,", ""), kind="RSA")
        cls.data = cls.write("letter", b"Dear Ada,\n")
        cls.write("other", b"Dear Bob,\n")
        for name, options in (("query", ["--cert"]), ("second", ["--cert"]), ("bare", ["--no-nonce"])):
            result = cls.run_program("ts", "request", *options, "-o", f"{name}.tsq", "letter")
            assert result.status == 0, result
        cls.reply("query", "query")

    @classmethod
    def reply(cls, name, query, signer="tsa", settings=""):
        """NAME.tsr, OpenSSL's reply to QUERY.tsq."""
        cls.write("serial", "0A\n")
        config = cls.write("ts.cnf", f"[tsa]\ndefault_tsa=t\n[t]\nserial={cls.dir / 'serial'}\ndefault_policy=1.2.3.4\nother_policies=1.2.3.5\n"
                           f"digests=sha1,sha256,sha384,sha512\naccuracy=secs:1,millisecs:500\nsigner_digest=sha256\nordering=yes\n{settings}")
        openssl("ts", "-reply", "-config", config, "-queryfile", cls.dir / f"{query}.tsq", "-signer", cls.dir / f"{signer}.pem", "-inkey", cls.dir / f"{signer}.key",
                "-out", cls.dir / f"{name}.tsr")
        return cls.dir / f"{name}.tsr"

    def at(self, name):
        return self.dir / name

    def check(self, status, text, *arguments, **options):
        result = self.expect(status, "ts", "check", *arguments, **options)
        self.assertIn(text, result.out + result.err)
        return result

    def test_requests_are_read_by_openssl(self):
        for algorithm in some(("sha256", "sha1", "sha384", "sha512", "md5")):
            self.expect(0, "ts", "request", "-a", algorithm, "--policy", "1.2.3.5", "--nonce", "f1", "--force", "-o", "request", "letter")
            text = openssl("ts", "-query", "-in", self.at("request"), "-text").decode()
            for part in (f"Hash Algorithm: {algorithm}\n", "Policy OID: 1.2.3.5\n", "Nonce: 0xF1\n", "Certificate required: no\n"):
                self.assertIn(part, text)
            digest = openssl("dgst", f"-{algorithm}", "-r", self.data).decode().split()[0]
            self.assertIn(":".join(digest[i:i + 2] for i in range(0, len(digest), 2)), re.sub(r"\n {6}", "", self.expect(0, "show", "request").out))
        text = openssl("ts", "-query", "-in", self.at("query.tsq"), "-text").decode()
        self.assertIn("Certificate required: yes", text)
        self.assertNotIn("Nonce: unspecified", text)
        self.assertIn("Nonce: unspecified", openssl("ts", "-query", "-in", self.at("bare.tsq"), "-text").decode())
        self.assertNotEqual(self.at("query.tsq").read_bytes(), self.at("second.tsq").read_bytes())

    def test_requests_that_make_no_sense(self):
        for status, text, *arguments in ((3, "is not a hash for time-stamps", "-a", "md4", "letter"), (3, "is not a hash", "-a", "tea", "letter"), (3, "object identifier", "--policy", "x", "letter"),
                                         (3, "a nonce is", "--nonce", "xyz", "letter"), (3, "a nonce is", "--nonce", "00", "letter"), (3, "excludes", "--nonce", "1", "--no-nonce", "letter"),
                                         (2, "missing", "missing"), (3, "required")):
            result = self.expect(status, "ts", "request", "-o", "none", *arguments)
            self.assertIn(text, result.err)
            self.assertFalse(self.at("none").exists())
        self.assertIn(b"garble", self.on_terminal("ts", "request", "letter", status=3))
        result = self.run_program("ts", "request", "--no-nonce", "-o", "piped", "-", stdin=b"Dear Ada,\n")
        self.assertEqual((result.status, self.at("piped").read_bytes()), (0, self.at("bare.tsq").read_bytes()))

    def test_a_reply_is_checked(self):
        result = self.check(0, "OK\n", "--request", "query.tsq", "--ca", "root.pem", "query.tsr")
        self.assertRegex(result.out, r"^1: <O=Test, CN=tsa>, issued by <O=Test, CN=root>, SHA256, .*\ntime 20.* UTC, give or take 1 s 500 ms, policy 1.2.3.4, "
                         r"serial number 0b, SHA256\nOK\n$")
        self.assertEqual(result.err, "")
        self.check(0, "OK\n", "--data", "letter", "--strict", "--ca", "root.pem", "query.tsr")
        openssl("ts", "-reply", "-in", self.at("query.tsr"), "-token_out", "-out", self.at("token"))
        self.check(0, "OK\n", "--request", "query.tsq", "--ca", "root.pem", "token")
        report = self.check(0, "OK", "--request", "query.tsq", "--ca", "root.pem", "--json", "-", stdin=self.at("query.tsr").read_bytes()).json
        self.assertEqual((report["verdict"], report["policy"], report["serialNumber"]), ("OK", "1.2.3.4", "0b"))
        openssl("ts", "-verify", "-queryfile", self.at("query.tsq"), "-in", self.at("query.tsr"), "-CAfile", self.at("root.pem"))

    def test_each_hash_and_kind_of_certificate_id(self):
        for algorithm, settings in some((("sha256", "ess_cert_id_alg=sha1\n"), ("sha512", "ess_cert_id_alg=sha256\n"), ("sha384", "ess_cert_id_alg=sha512\ntsa_name=yes\n"))):
            self.expect(0, "ts", "request", "--cert", "-a", algorithm, "--force", "-o", "each.tsq", "letter")
            self.reply("each", "each", settings=settings)
            self.check(0, "OK\n", "--request", "each.tsq", "--strict", "--ca", "root.pem", "each.tsr")
        self.expect(0, "ts", "request", "--cert", "-a", "sha1", "-o", "weak.tsq", "letter")
        self.check(0, "weak-imprint", "--request", "weak.tsq", "--ca", "root.pem", self.reply("weak", "weak"))

    def test_a_reply_to_another_request(self):
        ca = ["--ca", "root.pem"]
        self.check(1, "its nonce is not that of the request", "--request", "second.tsq", *ca, "query.tsr")
        self.check(1, "it stamps something else", "--data", "other", *ca, "query.tsr")
        self.reply("bare", "bare")
        self.check(1, "it has no nonce", "--request", "query.tsq", "--certificates", "tsa.pem", *ca, "bare.tsr")
        self.check(1, "expected: 1.2.3.5, found: 1.2.3.4", "--request", "query.tsq", "--policy", "1.2.3.5", *ca, "query.tsr")
        self.expect(0, "ts", "request", "--policy", "1.2.3.5", "--cert", "-o", "policy.tsq", "letter")
        self.check(0, "policy 1.2.3.5", "--request", "policy.tsq", *ca, self.reply("policy", "policy"))
        self.check(3, "is not an object identifier", "--request", "query.tsq", "--policy", "x", *ca, "query.tsr")

    def test_a_time_that_has_not_come(self):
        self.expect(0, "cert", "self-sign", "-k", "root.key", "--subject", "/O=Test/CN=old", "--from", "2020-01-01", "--to", "2040-01-01", "-o", "old.pem")
        self.write("old.index", "")
        self.write("old.serial", "01\n")
        self.write("old.ext", STAMPING.format("critical,", "") + "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n")
        self.write("old.cnf", "[ca]\ndefault_ca=c\n[c]\ndatabase=old.index\nserial=old.serial\nnew_certs_dir=.\ndefault_md=sha256\npolicy=p\n[p]\ncommonName=supplied\n")
        self.write("oldtsa.key", self.at("tsa.key").read_bytes())
        openssl("ca", "-batch", "-notext", "-config", "old.cnf", "-cert", "old.pem", "-keyfile", "root.key", "-startdate", "200101000000Z", "-enddate", "400101000000Z",
                "-extfile", "old.ext", "-in", "tsa.csr", "-out", "oldtsa.pem", cwd=self.dir)
        self.reply("early", "query", signer="oldtsa")
        self.check(0, "OK\n", "--request", "query.tsq", "--ca", "old.pem", "early.tsr")
        self.check(1, "FAILED: its time is in the future", "--request", "query.tsq", "--ca", "old.pem", "--at", "2021-01-01", "early.tsr")

    def test_without_the_certificate(self):
        self.reply("bare", "bare")
        self.check(1, "its certificate is not available", "--request", "bare.tsq", "--ca", "root.pem", "bare.tsr")
        self.check(0, "OK\n", "--request", "bare.tsq", "--ca", "root.pem", "--certificates", "tsa.pem", "bare.tsr")
        asking = bytearray(self.at("bare.tsq").read_bytes())
        self.assertEqual(asking[-1], 0)
        asking[-1] = 0xFF
        self.write("asking.tsq", bytes(asking))
        self.check(1, "which the request asks for", "--request", "asking.tsq", "--ca", "root.pem", "--certificates", "tsa.pem", "bare.tsr")

    def test_authorities_that_are_none(self):
        # OpenSSL asks for the purpose; a token under another certificate is made by exchanging it.
        for name, extensions in (("many", STAMPING.format("critical,", ",emailProtection")), ("lax", STAMPING.format("", "")), ("server", "keyUsage=digitalSignature\n")):
            serial = openssl("x509", "-in", self.at("tsa.pem"), "-noout", "-serial").decode().strip().partition("=")[2]
            self.write(f"{name}.ext", extensions + "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n")
            openssl("x509", "-req", "-in", self.at("tsa.csr"), "-CA", self.at("root.pem"), "-CAkey", self.at("root.key"), "-set_serial", f"0x{serial}", "-days", "365",
                    "-extfile", self.at(f"{name}.ext"), "-out", self.at(f"{name}.pem"))
            self.expect(0, "ts", "request", "--force", "-o", "other.tsq", "letter")
            self.reply("other", "other")
            other = ["--request", "other.tsq", "--ca", "root.pem", "--certificates", f"{name}.pem", "other.tsr"]
            self.check(1, "certificate is not for time-stamping", "--rules", "platform", *other)
            if name != "server":
                self.check(1, "purpose-mismatch", *other)
        # As good a certificate of the same key, and yet not the one that the token names.
        self.write("twin.ext", STAMPING.format("critical,", "") + "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n")
        openssl("x509", "-req", "-in", self.at("tsa.csr"), "-CA", self.at("root.pem"), "-CAkey", self.at("root.key"), "-set_serial", f"0x{serial}", "-days", "99",
                "-extfile", self.at("twin.ext"), "-out", self.at("twin.pem"))
        self.reply("other", "other")  # when that is valid already
        self.check(1, "signed with another certificate", "--request", "other.tsq", "--ca", "root.pem", "--certificates", "twin.pem", "other.tsr")
        self.check(0, "OK\n", "--request", "other.tsq", "--ca", "root.pem", "--certificates", "tsa.pem", "other.tsr")
        self.check(1, "is not trusted", "--request", "query.tsq", "--ca", "tsa.pem", "--at", "2001-01-01", "query.tsr")
        self.issue("stranger", extensions=CA, kind="RSA")
        self.check(1, "is not trusted", "--request", "query.tsq", "--ca", "stranger.pem", "query.tsr")

    def token(self, time=None, authority=b"", version=1, hash="2.16.840.1.101.3.4.2.1", rest=b"", **parts):
        """A time-stamp of the letter, without a nonce, that the authority signs with nothing but what it must."""
        time = time or datetime.datetime.now(datetime.timezone.utc).strftime("%Y%m%d%H%M%SZ")
        imprint = element(0x30, element(0x30, identifier(hash)), element(4, hashlib.sha256(self.data.read_bytes()).digest()))
        info = element(0x30, element(2, bytes([version])), identifier("1.2.3.4"), imprint, element(2, b"\1"), element(0x18, time.encode()), authority, rest)
        return self.sign_by_hand("tsa", STAMP, element(0xA0, element(4, info)), ("1.2.840.113549.1.9.3", identifier(STAMP)),
                                 ("1.2.840.113549.1.9.4", element(4, hashlib.sha256(info).digest())), **parts)

    def test_tokens_that_no_authority_makes(self):
        ca = ["--ca", "root.pem", "--request", "bare.tsq"]
        named = element(0xA0, element(0xA4, element(0x30)))
        self.check(0, "no-signing-certificate", *ca, "-", stdin=self.token())
        self.check(0, "authority-name", *ca, "-", stdin=self.token(authority=named))
        changed = element(0x30, element(0x30, element(2, b"\1"), element(0x30, element(0x0C, b"a bit"))), self.token())
        self.check(0, "note: the TSA says: granted with changes: a bit", *ca, "-", stdin=changed)
        for status, reason, message in ((1, "not signed by exactly one TSA", self.token(signers=2)), (1, "no signers", self.token(signers=0)),
                                        (1, "not valid at the time that it states", self.token(time="20010101000000Z")),
                                        (1, "stamps something else", self.token(hash="2.16.840.1.101.3.4.2.2")), (2, "is not a time-stamp", self.token(version=2)),
                                        (2, "is not a time-stamp", self.token(rest=element(4)))):
            with self.subTest(reason=reason):
                self.check(status, reason, *ca, "-", stdin=message)
        self.check(2, "its digest algorithm SHA224 is not supported", "--ca", "root.pem", "--data", "letter", "-", stdin=self.token(hash="2.16.840.1.101.3.4.2.4"))

    def test_critical_extensions(self):
        def extended(*extensions):
            return self.token(rest=element(0xA1, *extensions))

        def extension(oid, critical=b""):
            return element(0x30, identifier(oid), critical, element(4, b"\x05\0"))
        ca, critical = ["--ca", "root.pem", "--request", "bare.tsq"], element(1, b"\xff")
        self.check(0, "OK\n", *ca, "-", stdin=extended(extension("1.2.3")))
        self.check(1, "FAILED: an extension of the time-stamp is critical and not supported (extension: 1.2.4)\n", *ca, "-",
                   stdin=extended(extension("1.2.3"), extension("1.2.4", critical)))
        self.check(1, "the extensions of the time-stamp are malformed: one of them may be critical", *ca, "-", stdin=extended(extension("1.2.3"), b"\x05\0"))

    def test_refusals_of_the_authority(self):
        self.expect(0, "ts", "request", "--policy", "1.2.9", "-o", "refused.tsq", "letter")
        result = self.check(1, "FAILED: no time-stamp was given: rejection: ", "--request", "refused.tsq", "--ca", "root.pem", self.reply("refused", "refused"))
        self.assertIn("The policy is not supported", result.out)
        text = self.expect(0, "show", "refused.tsr").out
        self.assertTrue(text.startswith("time-stamp response\n  status: rejection\n  details: "), text)
        self.assertEqual(self.check(1, "FAILED", "--request", "refused.tsq", "--json", "refused.tsr").json["verdict"], "FAILED")
        hostile = element(0x30, element(0x30, element(2, b"\2"), element(0x30, element(0x0C, b"\x1b[31m\nOK"))))
        self.assertNoControls(self.check(1, "FAILED", "--request", "query.tsq", "-", stdin=hostile).out)

    def test_what_is_no_reply(self):
        signed = openssl("smime", "-sign", "-nodetach", "-signer", self.at("tsa.pem"), "-inkey", self.at("tsa.key"), "-outform", "DER", "-in", self.data)
        for content, text in ((signed, "its content is not a time-stamp"), (b"", "is empty"), (b"x", "neither PEM nor DER"), (self.at("query.tsq").read_bytes(), "expected: time-stamp response; found: time-stamp request"),
                              (b"\x30\0", "(expected: time-stamp response)"), 
                              (self.at("query.tsr").read_bytes() + b"x", "Bytes follow the end of the object")):
            self.check(2, text, "--request", "query.tsq", "--ca", "root.pem", "-", stdin=content)
        for content, text in ((self.at("query.tsr").read_bytes(), "expected: time-stamp request; found: time-stamp response"), (b"x", "neither PEM nor DER")):
            self.write("wrong", content)
            self.check(2, text, "--request", "wrong", "--ca", "root.pem", "query.tsr")
        imprint = element(0x30, element(0x30, identifier("2.16.840.1.101.3.4.2.1")), element(4, bytes(32)))
        self.write("wrong", element(0x30, element(2, b"\1"), imprint))
        self.check(1, "it stamps something else", "--request", "wrong", "--ca", "root.pem", "query.tsr")
        imprint = element(0x30, element(0x30, identifier("2.16.840.1.101.3.4.2.1"), b"\x05\x00"), element(4, bytes(32)))
        self.write("wrong", element(0x30, element(2, b"\1"), imprint, element(0xA0)))
        self.check(2, "The request has extensions", "--request", "wrong", "--ca", "root.pem", "query.tsr")
        self.check(3, "give --request, or --data", "--ca", "root.pem", "query.tsr")
        self.check(3, "excludes", "--ca", "root.pem", "--data", "letter", "--request", "query.tsq", "query.tsr")
        self.check(3, "only one input", "--ca", "root.pem", "--data", "-", "-")

    def test_pem_under_whatever_label(self):
        for name in ("query.tsq", "query.tsr"):
            lines = base64.encodebytes(self.at(name).read_bytes()).decode()
            self.write(f"{name}.pem", f"-----BEGIN TIMESTAMP-----\n{lines}-----END TIMESTAMP-----\n")
            self.assertEqual(self.expect(0, "show", f"{name}.pem").out, self.expect(0, "show", name).out)
        self.check(0, "OK\n", "--request", "query.tsq.pem", "--ca", "root.pem", "query.tsr.pem")
        self.assertIn("expected: signed message; found: time-stamp response", self.expect(2, "cms", "check", "query.tsr").err)
        self.assertIn("expected: enveloped message; found: time-stamp request", self.expect(2, "cms", "decrypt", "-k", "root.key", "query.tsq").err)

    def test_truncated_replies_and_flipped_bits(self):
        reply = self.at("query.tsr").read_bytes()
        for place in range(0, len(reply), 311 if EMULATED else 53):
            self.check(2, "sealkit: -: ", "--request", "query.tsq", "--ca", "root.pem", "-", stdin=reply[:place])
            flipped = bytearray(reply)
            flipped[place] ^= 1
            result = self.run_program("ts", "check", "--request", "query.tsq", "--ca", "root.pem", "-", stdin=bytes(flipped))
            self.assertIn(result.status, (0, 1, 2), result)
            if result.status == 0:  # The status may be "granted with changes", and is not signed.
                self.assertLess(place, 10)

    def test_show(self):
        text = self.expect(0, "show", "query.tsr").out
        for part in ("time-stamp response\n  status: granted\n  token:\n    object: signed message\n    content type: time-stamp\n", "      policy: 1.2.3.4\n", "      accuracy: 1 s 500 ms\n"):
            self.assertIn(part, text)
        self.assertIn("certificate wanted: yes\n", self.expect(0, "show", "query.tsq").out)
        dump = self.expect(0, "show", "--dump", "query.tsq")
        self.assertRegex(dump.out, r"^1\ndigest-algo: SHA256\n[0-9a-f:]+\nnonce: [0-9a-f:]+\ncert-req: 1\n$")
        self.assertEqual(dump.err, "")
        self.assertTrue(self.expect(0, "show", "--dump", "query.tsr").out.startswith("status: 0\ndigest-algos: SHA256\ncontent-type: 1.2.840.113549.1.9.16.1.4\n"))

    def test_examples_of_the_help_work(self):
        self.assertIn(b"time-stamp request\n", self.run_examples("ts", "request").stdout)


class ReplyTest(ProgramTest):
    """ts reply, whose time-stamps OpenSSL and ts check take."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA, kind="RSA")
        cls.issue("tsa", "root", STAMPING.format("critical,", ""), kind="RSA")
        cls.issue("other", "root", STAMPING.format("", ""), kind="RSA")
        cls.write("letter", b"Dear Ada,\n")
        cls.replying = ["ts", "reply", "--certificate", "tsa.pem", "-k", "tsa.key", "--policy", "1.2.3.4", "--force"]

    def ask(self, *options):
        self.expect(0, "ts", "request", "--force", "-o", "asked.tsq", *options, "letter")

    def reply(self, *options, status=0):
        return self.expect(status, *self.replying, "-o", "made.tsr", "asked.tsq", *options)

    def shown(self):
        return openssl("ts", "-reply", "-in", self.dir / "made.tsr", "-text").decode()

    def taken(self, *options):
        openssl("ts", "-verify", "-queryfile", self.dir / "asked.tsq", "-in", self.dir / "made.tsr", "-CAfile", self.dir / "root.pem", *options)
        result = self.expect(0, "ts", "check", "--request", "asked.tsq", "--ca", "root.pem", *(["--certificates", "tsa.pem"] if options else []), "made.tsr")
        self.assertEqual(result.err, "")
        return result.out

    def test_the_example_of_the_help_works(self):
        self.assertIn("OK\n", self.run_examples("ts", "reply").stdout.decode())

    def test_openssl_takes_it(self):
        self.ask("--cert", "--nonce", "f1", "-a", "sha512")
        self.reply("--accuracy", "1.5", "--serial", "F0", "--ordering")
        self.assertIn("give or take 1 s 500 ms, policy 1.2.3.4, serial number 00:f0, SHA512", self.taken())
        shown = self.shown()
        for part in ("Status: Granted.", "Policy OID: 1.2.3.4", "Hash Algorithm: sha512", "Serial number: 0xF0", "Accuracy: 0x01 seconds, 0x01F4 millis", "Ordering: yes", "Nonce: 0xF1"):
            self.assertIn(part, shown)
        self.assertIn("granted", self.expect(0, "show", "made.tsr").out)

    def test_keys_of_other_kinds(self):
        for kind in some(("P-384", "Ed25519")):
            self.issue("ec", "root", STAMPING.format("critical,", ""), kind=kind)
            self.ask("--cert")
            self.expect(0, "ts", "reply", "--certificate", "ec.pem", "-k", "ec.key", "--policy", "1.2.3.4", "--force", "-o", "made.tsr", "asked.tsq")
            if kind == "Ed25519":  # Which OpenSSL 3.0 does not verify in messages.
                self.expect(0, "ts", "check", "--request", "asked.tsq", "--ca", "root.pem", "made.tsr")
            else:
                self.taken()

    def test_without_its_certificate(self):
        self.ask("--no-nonce", "--policy", "1.2.3.5")
        self.reply("--other-policy", "1.2.3.5", "-a", "sha384")
        self.taken("-untrusted", self.dir / "tsa.pem")
        self.assertIn("Policy OID: 1.2.3.5", self.shown())
        self.ask("--cert")
        self.reply("--chain", "root.pem")
        self.taken()

    def test_openssl_asks(self):
        openssl("ts", "-query", "-data", self.dir / "letter", "-sha256", "-cert", "-out", self.dir / "asked.tsq")
        self.expect(0, *self.replying, "-o", "made.tsr", "-", stdin=(self.dir / "asked.tsq").read_bytes())
        self.taken()

    def test_what_was_made_in_json(self):
        asked = self.expect(0, "ts", "request", "--json", "--force", "-o", "asked.tsq", "--nonce", "f1", "letter").json
        self.assertEqual((asked["output"], asked["object"]["digestAlgorithm"], asked["object"]["nonce"]), ("asked.tsq", "SHA256", "00:f1"))
        made = self.reply("--json").json
        self.assertEqual((made["verdict"], made["output"], made["object"]["token"]["states"]["policy"]), ("OK", "made.tsr", "1.2.3.4"))
        self.ask("--policy", "1.2.3.6")
        refused = self.reply("--json", status=1).json
        self.assertEqual((refused["verdict"], refused["reason"], refused["object"]["status"]), ("FAILED", "The policy is not supported.", "rejection"))

    def test_a_digest_without_parameters(self):
        imprint = element(0x30, element(0x30, identifier("2.16.840.1.101.3.4.2.1")), element(4, hashlib.sha256(b"Dear Ada,\n").digest()))
        self.write("asked.tsq", element(0x30, element(2, b"\1"), imprint, element(1, b"\xff")))
        self.assertIn("SHA256", self.expect(0, "show", "asked.tsq").out)
        self.reply()
        self.taken()
        self.assertIn(imprint, (self.dir / "made.tsr").read_bytes())

    def test_time_stamps_of_signatures(self):
        self.issue("ada", "root", EMAIL, kind="RSA")
        content = element(0xA0, element(4, b"x"))
        attributes = (("1.2.840.113549.1.9.3", identifier(DATA)), ("1.2.840.113549.1.9.4", element(4, hashlib.sha256(b"x").digest())))
        signer = elements(elements(elements(elements(self.sign_by_hand("ada", DATA, content, *attributes))[1])[0])[-1])[0]
        self.write("signature", elements(signer)[-1][-256:])
        self.expect(0, "ts", "request", "--cert", "--force", "-o", "asked.tsq", "signature")
        self.reply()
        good = elements((self.dir / "made.tsr").read_bytes())[1]
        self.ask("--cert")
        self.reply()
        other = elements((self.dir / "made.tsr").read_bytes())[1]
        for attribute in ("1.2.840.113549.1.9.16.2.14", "1.3.6.1.4.1.311.3.3.1"):
            for token, said in ((good, "note: signer 1: its signature existed at the time that its time-stamp states (time: "), (other, "warning: signer 1: false-time-stamp: ")):
                with self.subTest(attribute=attribute, said=said):
                    stamp = element(0xA1, element(0x30, identifier(attribute), element(0x31, token)))
                    message = self.sign_by_hand("ada", DATA, content, *attributes, rest=stamp)
                    self.assertIn(said, self.expect(0, "cms", "check", "--ca", "root.pem", "-", stdin=message).err)
                    self.expect(0, "cms", "check", "--json", "--ca", "root.pem", "-", stdin=message)
                    self.assertIn(" policy: 1.2.3.4\n", self.expect(0, "show", "-", stdin=message).out)
                    self.expect(0, "show", "--json", "-", stdin=message)

    def test_rejections(self):
        for options, failure, message in ((["--policy", "1.2.3.6"], "the requested TSA policy is not supported by the TSA", "The policy is not supported."), (["-a", "sha1"], "unrecognized or unsupported algorithm identifier", "The digest algorithm is not supported.")):
            self.ask(*options)
            self.assertIn(message, self.reply(status=1).err)
            shown = self.shown()
            self.assertIn("Status: Rejected.", shown)
            self.assertIn(message, shown)
            self.assertIn(f"Failure info: {failure}", shown)
            self.assertIn(message.split(".")[0].split()[1], self.expect(1, "ts", "check", "--request", "asked.tsq", "--ca", "root.pem", "made.tsr").out)
        self.reply("--accept-sha1")
        self.write("asked.tsq", b"\x30\x03\x02\x01\x01")
        self.assertIn("malformed", self.reply(status=1).err)

    def test_refusals(self):
        self.ask("--cert")
        for status, message, options in ((2, "not only for time-stamping", ["--certificate", "other.pem", "-k", "other.key"]), (2, "The key is not that", ["-k", "other.key"]),
                                         (3, "object identifier", ["--policy", "x"]), (3, "object identifier", ["--other-policy", "x"]), (3, "number of seconds", ["--accuracy", "1s"]),
                                         (3, "number of seconds", ["--accuracy", "0.1234567"]), (3, "a serial number is", ["--serial", "0"]), (2, "No such file", ["--chain", "none"])):
            given = dict(zip(self.replying[2:-1:2], self.replying[3:-1:2]))
            given.update(zip(options[::2], options[1::2]))
            result = self.expect(status, "ts", "reply", *(part for pair in given.items() for part in pair), "-o", "none.tsr", "asked.tsq")
            self.assertIn(message, result.err)
            self.assertFalse((self.dir / "none.tsr").exists())
        self.assertIn(b"garble", self.on_terminal(*self.replying, "asked.tsq", status=3))


if __name__ == "__main__":
    unittest.main()
