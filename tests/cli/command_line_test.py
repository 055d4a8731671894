"""The habits of the command line, the same for all verbs: help, version, suggestions, JSON, and who says what on standard
error."""
import re
import subprocess
import time
import unittest
import urllib.parse

from support import SCHEMA, ProgramTest, TerminalSession, openssl, peer, schema_of, some


class CommandLineTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions="basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\n")
        cls.issue("leaf", "root")
        cls.concatenate("chain", "leaf", "root")

    def verbs(self, *path):
        """Each verb that has no further ones, as its words."""
        text = self.expect(0, *path, "--help").out
        names = re.findall(r"^  (\S+)", text.partition("\nVerbs:\n")[2].partition("\n\n")[0], re.M)
        if not names:
            yield path
        for name in names:
            if name != "help":
                yield from self.verbs(*path, name)

    def test_version(self):
        lines = self.expect(0, "--version").out.splitlines()
        self.assertRegex(lines[0], r"^sealkit \d+\.\d+\.\d+$")
        self.assertRegex(lines[1], r"^library \d+\.\d+\.\d+$")
        self.assertRegex(lines[2], r"^ML-KEM-768 (yes|no)$")

    def test_help_is_a_verb(self):
        self.assertEqual(self.expect(0, "help").out, self.expect(0, "--help").out)
        self.assertEqual(self.expect(0, "help", "cms").out, self.expect(0, "cms", "--help").out)
        self.assertEqual(self.expect(0, "help", "cms", "check").out, self.expect(0, "cms", "check", "-h").out)
        self.assertIn('"frob" is not a verb', self.expect(3, "help", "frob").err)

    def test_every_help_fits_and_has_examples(self):
        for path in self.verbs():
            with self.subTest(path):
                text = self.expect(0, *path, "--help").out
                self.assertTrue(text.startswith(f"sealkit {' '.join(path)}: "), text)
                self.assertIn("\nUsage: sealkit " + " ".join(path), text)
                self.assertIn("\nExit status: ", text)
                lines = text.splitlines()
                examples = text.partition("\nExamples:\n")[2].partition("\n\n")[0].splitlines()
                self.assertTrue(1 <= len(examples) <= 8 and any("sealkit " in line for line in examples), text)
                self.assertEqual([line for line in lines if len(line) > (110 if line.startswith("  ") else 80)], [])
                self.assertLess(len(lines), 90)

    def test_the_nearest_is_named(self):
        for arguments, meant in ((["verfy"], "verify"), (["cms", "chek"], "check"), (["vreify", "x"], "verify"),
                                 (["verify", "--certificat", "x"], "--certificates"), (["verify", "--cas=x", "y"], "--ca"),
                                 (["verify", "-json", "y"], "--json"), (["show", "--jsno", "x"], "--json"),
                                 (["key", "new", "--oputput", "x", "rsa"], "--output"), (["--verison"], "--version"), (["cert", "--hlep"], "--help")):
            self.assertIn(f"; did you mean {meant}?\n", self.expect(3, *arguments).err)
        for word in (["frobnicate"], ["show", "-j", "x"], ["--jsno"]):
            self.assertNotIn("did you mean", self.expect(3, *word).err)
        self.assertIn("write options after the verb", self.expect(3, "--json", "verify", "x").err)
        self.assertIn("one argument too many", self.expect(3, "random", "1", "2").err)

    def test_old_spellings_are_taken_and_not_shown(self):
        for verb, old in ((("verify",), "--chain"),):
            self.assertNotIn(old + " ", self.expect(0, *verb, "--help").out)
            self.expect(0, *verb, "--ca", "root.pem", old, "root.pem", "leaf.pem")
        for verb, old in ((("cms", "check"), "--chain"), (("cms", "check"), "--data"), (("ts", "check"), "--content"),
                          (("ts", "request"), "--cert"), (("cert", "issue"), "--ca-key"), (("crl", "new"), "--ca-key")):
            self.assertIsNone(re.search(old + r"\b(?!-)", self.expect(0, *verb, "--help").out), verb)
            self.assertNotIn("is not an option", self.expect(3, *verb, old).err)

    def test_completion(self):
        bash = self.write("complete.bash", self.expect(0, "completion", "bash").out)
        for words, expected in ((["ver"], ["verify"]), (["cms", "c"], ["check", "certificates"]), (["cms", "check", "--cont"], ["--content"]),
                                (["verify", "--certificates", "x", "--exp"], ["--explain"]), (["verify", ""], []), (["help"], ["help"])):
            script = (f"source {bash}; COMP_WORDS=(sealkit {' '.join(word or chr(39) * 2 for word in words)}); COMP_CWORD={len(words)}; _sealkit; "
                      'printf "%s\\n" "${COMPREPLY[@]}"')
            shown = peer("bash", "-c", script).decode().split()
            self.assertEqual([word for word in shown if expected or word], expected, words)
        zsh = self.write("_sealkit", self.expect(0, "completion", "zsh").out)
        peer("zsh", "-n", zsh)
        fish = self.write("sealkit.fish", self.expect(0, "completion", "fish").out)
        shown = peer("fish", "--no-config", "-c", f"source {fish}; complete -C 'sealkit cms check --cont'; complete -C 'sealkit ver'").decode()
        self.assertRegex(shown, r"^--content\t.*\nverify\tbuild and validate a certificate chain\n$")
        self.assertIn("the choices are bash, zsh and fish", self.expect(3, "completion", "ksh").err)

    def test_chains_are_counted_on_a_terminal(self):
        with TerminalSession(self, ["verify", "--each", "--ca", "root.pem"], stdin=subprocess.PIPE) as session:
            for line in (b"{}\n", b"{}\n"):
                session.process.stdin.write(line)
                session.process.stdin.flush()
                time.sleep(0.7)
            session.wait_for(b"2 chains")
            status, out = session.end()
        self.assertEqual((status, len(out.splitlines())), (2, 2))

    def test_reports_in_json(self):
        # Each document is checked against the schema where the program is run.
        self.write("letter", "hello\n")
        self.write("sums", self.expect(0, "hash", "letter").out)
        digest, = self.expect(0, "hash", "--json", "letter").json["files"]
        self.assertEqual((digest["algorithm"], digest["digest"][:8]), ("SHA256", "5891b5b5"))
        self.assertEqual(self.expect(0, "hash", "--check", "--json", "sums").json["files"], [{"file": "letter", "verdict": "OK"}])
        self.write("letter", "changed\n")
        self.assertEqual(self.expect(1, "hash", "--check", "--json", "sums").json["verdict"], "FAILED")
        self.assertEqual(self.expect(0, "mac", "--json", "-a", "hmac-sha256", "--key", "00", "letter").json["command"], "mac")
        self.expect(0, "sign", "-k", "leaf.key", "-o", "letter.sig", "letter")
        self.assertEqual(self.expect(0, "check", "--json", "-k", "leaf.pem", "-s", "letter.sig", "letter").json["verdict"], "OK")
        wrong = self.expect(1, "check", "--json", "-k", "root.pem", "-s", "letter.sig", "letter").json
        self.assertEqual((wrong["verdict"], wrong["problems"][0]["refusal"]["id"]), ("FAILED", "signature-mismatch"))
        self.expect(0, "trust", "add", "root.pem")
        self.assertEqual(self.expect(0, "trust", "list", "--json").json["entries"][0]["subject"], "O=Test, CN=root")
        self.assertEqual(self.expect(0, "store", "list", "--json").json["stores"], ["cerm"])
        ids = self.expect(0, "store", "list", "--json", "cerm").json["ids"]
        self.assertEqual(len(self.expect(0, "store", "show", "--json", "cerm").json["records"]), len(ids))
        made = self.expect(0, "key", "new", "--json", "p256", "-o", "made.key").json
        self.assertEqual((made["output"], made["object"]["object"], made["object"]["curve"]), ("made.key", "private key", "p256"))
        public = self.expect(0, "key", "public", "--json", "made.key")
        self.assertTrue(public.out.startswith("-----BEGIN PUBLIC KEY-----"))
        self.assertIn('"command": "key public"', public.err)
        made = self.expect(0, "cert", "self-sign", "--json", "-k", "made.key", "--subject", "/CN=me", "-o", "made.pem").json
        self.assertEqual(made["object"]["subject"], "CN=me")
        self.expect(0, "req", "new", "-k", "made.key", "--subject", "/CN=you", "-o", "made.csr")
        issued = self.expect(0, "cert", "issue", "--json", "--ca", "made.pem", "-k", "made.key", "--profile", "client", "-o", "issued.pem", "made.csr").json
        self.assertEqual(issued["notes"], ["the subject is the request's: CN=you"])
        self.assertEqual(self.expect(0, "show", "--json", "made.pem").objects[0]["sha256Fingerprint"], made["object"]["sha256Fingerprint"])

    def test_status_2_in_json(self):
        self.write("torn.pem", (self.dir / "leaf.pem").read_bytes()[:300] + b"!!!\n-----END CERTIFICATE-----\n")
        document = self.expect(2, "show", "--json", "torn.pem").json
        self.assertEqual((document["version"], document["command"], document["verdict"]), (1, "show", "UNREADABLE"))
        self.assertIn("base64", document["reason"])
        refusal = document["problems"][0]["refusal"]
        self.assertEqual(refusal["id"], "pem-malformed-base64")
        self.assertTrue(refusal["sentence"].endswith("."))
        for arguments in (["verify", "--json", "missing.pem"], ["cms", "check", "--json", "chain.pem"],
                          ["ts", "check", "--json", "--request", "chain.pem", "chain.pem"]):
            document = self.expect(2, *arguments).json
            self.assertEqual(document["verdict"], "UNREADABLE")
            self.assertEqual(document["command"], " ".join(arguments[:arguments.index("--json")]))

    def test_the_schema_lists_every_command(self):
        named = [urllib.parse.unquote(part["$ref"].removeprefix("#/$defs/")) for part in SCHEMA["anyOf"]]
        self.assertEqual(len(set(named)), len(named))
        commands = [name for name, part in SCHEMA["$defs"].items()
                    if any("command" in one.get("properties", {}) for one in part.get("oneOf", [part]))]
        self.assertEqual(set(named), set(commands))
        taking = {" ".join(path) for path in self.verbs() if "--json" in self.expect(0, *path, "--help").out}
        self.assertEqual(taking | {"verify --each", "unanswered"}, set(commands))

    def test_the_schema_takes_nothing_else(self):
        document = self.expect(0, "verify", "--json", "--ca", "root.pem", "leaf.pem").json
        checker = schema_of("verify")
        self.assertTrue(checker.is_valid(document))
        for changed in ({**document, "more": 1}, {**document, "version": 2}, {k: v for k, v in document.items() if k != "code"}):
            self.assertFalse(checker.is_valid(changed))

    def test_many_refused_certificates_are_summed_up(self):
        bad = [self.issue(f"bad{i}", "root").read_text().replace("MII", "MIA", 1) for i in range(1)]
        self.write("bundle.pem", (self.dir / "root.pem").read_text() + bad[0] * 12)
        result = self.expect(0, "verify", "--ca", "bundle.pem", "leaf.pem")
        self.assertEqual(len(result.err.splitlines()), 1, result.err)
        self.assertRegex(result.err, r"^sealkit: note: bundle.pem: 12 certificates are left out: ")
        self.assertIn("bundle.pem", self.expect(0, "verify", "--json", "--ca", "bundle.pem", "leaf.pem").json["notes"][0])

    def test_every_line_of_standard_error_says_who_speaks(self):
        for name, content in (("empty", b""), ("text", b"hello\n"), ("sequence", b"\x30\x03\x02\x01\x01"),
                              ("torn.der", openssl("x509", "-in", self.dir / "leaf.pem", "-outform", "DER")[:200]),
                              ("odd.pem", b"-----BEGIN CERTIFICATE-----\nMAAA\n-----END CERTIFICATE-----\n")):
            self.write(name, content)
        odd = ("missing", "empty", "text", "sequence", "torn.der", "odd.pem", "chain.pem", "leaf.key", ".")
        asked = [["show", "--secrets"], ["verify", "--ca", "root.pem"], ["verify", "--each", "--ca", "root.pem"], ["verify", "--crl", "chain.pem", "--ca"],
                 ["cms", "check", "--ca", "root.pem"], ["cms", "decrypt", "-k", "leaf.key"], ["ts", "check", "--request", "chain.pem", "--ca", "root.pem"],
                 ["p12", "import", "--password", "x"], ["key", "public"], ["key", "decrypt", "--password", "x"], ["hash", "--check"],
                 ["req", "new", "--subject", "/CN=x", "-k"], ["cert", "issue", "--ca", "root.pem", "-k", "root.key"], ["trust", "add"],
                 ["check", "-k", "root.pem", "-s", "leaf.key"], ["crl", "new", "--ca", "root.pem", "-k", "root.key", "--previous"]]
        for arguments in asked:
            for name in some(odd):
                result = self.run_program(*arguments, name)
                strange = [line for line in result.err.splitlines() if not line.startswith("sealkit: ")]
                self.assertEqual(strange, [], (arguments, name))
                self.assertNotIn("[ERR]", result.out)


if __name__ == "__main__":
    unittest.main()
