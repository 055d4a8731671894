"""What the program says of files that are damaged or of another kind: what it is, what is wrong with it, where, and
what can be done."""
import re
import unittest

from support import ProgramTest, element, identifier, openssl, peer

SHA256_RSA, SHA512_RSA = "1.2.840.113549.1.1.11", "1.2.840.113549.1.1.13"
ED25519, ED448 = "1.3.101.112", "1.3.101.113"
BASIC_CONSTRAINTS, KEY_USAGE, NAME_CONSTRAINTS, POLICY_CONSTRAINTS = "2.5.29.19", "2.5.29.15", "2.5.29.30", "2.5.29.36"


def algorithm(dotted):
    return element(0x30, identifier(dotted), b"\5\0")


def extension(dotted, value, critical=True):
    return element(0x30, identifier(dotted), b"\1\1\xff" if critical else b"", element(4, value))


IS_CA = extension(BASIC_CONSTRAINTS, element(0x30, b"\1\1\xff"))


def certificate(*extensions, not_before=b"260101000000Z", inner=SHA256_RSA, outer=SHA256_RSA, key=ED25519,
                version=b"\xa0\3\2\1\2"):
    """A certificate that no tool makes, without a signature worth the name."""
    name = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"made"))))
    validity = element(0x30, element(0x17, not_before), element(0x17, b"400101000000Z"))
    public_key = element(0x30, element(0x30, identifier(key)), element(3, b"\0" + bytes(32)))
    tbs = element(0x30, version, b"\2\1\7", algorithm(inner), name, validity, name, public_key,
                  element(0xA3, element(0x30, *extensions)))
    return element(0x30, tbs, algorithm(outer), element(3, bytes(257)))


def constraints(*bases):
    return extension(NAME_CONSTRAINTS, element(0x30, element(0xA0, *(element(0x30, base) for base in bases))))


class RefusalTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("rsa", kind="RSA")
        cls.issue("ec")
        cls.pem = (cls.dir / "rsa.pem").read_bytes()
        cls.der = openssl("x509", "-in", cls.dir / "rsa.pem", "-outform", "DER")
        cls.write("right", "right\n")
        cls.write("wrong", "wrong\n")
        cls.write("text", "hello\n")

    def refused(self, words, *arguments, status=2, stdin=b""):
        result = self.expect(status, *arguments, stdin=stdin)
        said = re.sub(r"\n +\| ", " ", result.out) + result.err  # Long lines go on behind a bar.
        for word in words:
            self.assertIn(word, said)
        self.assertNoControls(said)
        for line in result.err.splitlines():
            self.assertRegex(line, "^(sealkit: |warning: |note: |  )")

    def show(self, content, *words, status=2):
        self.refused(words, "show", "-", stdin=content, status=status)

    def show_refused_by_platform(self, content, *words):
        """The program has no object of it, and shows what others have."""
        self.show(content, "the rules of the platform refuse it: ", *words, status=0)

    # --- Framing ---

    def test_nothing_at_all(self):
        self.show(b"", "empty")

    def test_utf16(self):
        self.assertEqual(self.expect(0, "show", "-", stdin=self.pem.decode().encode("utf-16")).out, self.expect(0, "show", "rsa.pem").out)
        self.show("hello".encode("utf-16"), "text without a PEM block")

    def test_pem_without_its_end(self):
        self.show(self.pem.partition(b"-----END")[0], "line 1", "no END line")

    def test_pem_that_is_not_base64(self):
        lines = self.pem.splitlines()
        lines[3] = b"!!!!" + lines[3][4:]
        self.show(b"\n".join(lines) + b"\n", "block 1", "line 4", "not base64")

    def test_a_begin_line_that_is_cut_short(self):
        cut = self.pem.replace(b"BEGIN CERTIFICATE-----", b"BEGIN CERTIFICATE----")
        self.show(b"\n" + cut, 'block 1, "CERTIFICATE----", line 2', "BEGIN line", "malformed")
        said = self.run_program("key", "decrypt", "-", "--password-file", "right", stdin=cut).err
        self.assertLess(len(said), 200)

    def test_blocks_of_other_kinds(self):
        request = openssl("req", "-new", "-key", self.dir / "rsa.key", "-subj", "/CN=x")
        self.show(request.replace(b"CERTIFICATE REQUEST", b"CERTIFICATE"), "no certificate", "certificate request")
        self.show(self.pem.replace(b"CERTIFICATE", b"OLD CERTIFICATE"), "certificate", "unsupported label", "openssl x509")
        trusted = openssl("x509", "-in", self.dir / "rsa.pem", "-trustout")

        def shown(*arguments, **options):  # The days left change while this runs.
            return re.sub(r" in \d+ days\b", "", self.expect(0, "show", *arguments, **options).out)

        self.assertEqual(shown("-", stdin=trusted), shown("rsa.pem") + "  trust: (none)\n")
        self.show(b"-----BEGIN SOMETHING-----\nMAA=\n-----END SOMETHING-----\n", "SOMETHING", "of a kind that is not shown")
        self.show(b"-----BEGIN PGP SIGNATURE-----\n\nabcd\n=abcd\n-----END PGP SIGNATURE-----\n", "OpenPGP")

    def test_text_and_programs(self):
        self.show(b"Dear all,\nplease find attached.\n", "text without a PEM block")
        self.show(b"\x7fELF" + bytes(500), "neither PEM nor")

    def test_no_file_and_a_folder(self):
        self.refused(["No such file"], "show", "nosuch.pem")
        self.refused(["directory"], "show", ".")

    # --- Certificates ---

    def test_the_certificate_itself_is_good(self):
        self.expect(0, "show", "-", stdin=certificate(IS_CA))

    def test_version_1(self):
        self.show(certificate(IS_CA, version=b""), "certificate", "not of version 3")

    def test_bytes_behind_the_certificate(self):
        self.show(self.der + b"\0\0", "certificate", f"byte {len(self.der)}", "bytes: 2")

    def test_part_of_a_certificate(self):
        self.show(self.der[:-40], "certificate", "longer than the bytes that are left")

    def test_indefinite_length(self):
        self.show(b"\x30\x80" + self.der[4:] + b"\0\0", "indefinite length", "BER", "DER")

    def test_repeated_extension(self):
        self.show(certificate(IS_CA, IS_CA), "extension 2 (basicConstraints)", "more than once")

    def test_unknown_critical_extension(self):
        self.show_refused_by_platform(certificate(IS_CA, extension("1.2.3.4", b"\5\0")),
                                      "extension 2 (1.2.3.4)", "critical", "not supported")

    def test_several_subtrees(self):
        self.show_refused_by_platform(certificate(constraints(element(0x82, b"a.test"), element(0x82, b"b.test"))),
                                      "nameConstraints", "permitted subtree 2", "several subtrees")

    def test_constraints_of_other_kinds(self):
        self.show_refused_by_platform(certificate(constraints(element(0x87, bytes([10, 0, 0, 0, 255, 0, 0, 0])))),
                                      "nameConstraints", "critical constraint", "IP")
        self.show_refused_by_platform(certificate(extension(POLICY_CONSTRAINTS, element(0x30, b"\x80\1\0"))),
                                      "policyConstraints", "critical")

    def test_a_time_that_is_none(self):
        self.show(certificate(not_before=b"2601xx000000Z"), "notBefore", "2601xx000000Z")

    def test_two_signature_algorithms(self):
        self.show(certificate(outer=SHA512_RSA), "SHA512+RSA", "SHA256+RSA")

    def test_an_extension_of_another_type(self):
        self.show(certificate(extension(KEY_USAGE, b"\2\1\1")), "extension 1 (keyUsage)", "BIT STRING", "INTEGER")

    def test_a_key_of_an_unknown_algorithm(self):
        path = self.write("unknown-key.der", certificate(IS_CA, key=ED448))
        self.assertIn("ED448", self.expect(0, "show", path).out.upper())
        self.refused(["ED448"], "key", "public", path)

    def test_parts_of_crls_and_requests(self):
        crl = openssl("crl", "-in", self.make_crl("list", "rsa"), "-outform", "DER")
        self.show(crl[:-20], "CRL", "longer than the bytes that are left")
        request = openssl("req", "-new", "-key", self.dir / "rsa.key", "-subj", "/CN=x", "-outform", "DER")
        self.show(request[:-9], "certificate request", "longer than the bytes that are left")

    # --- Keys ---

    def encrypt(self, *options):
        return openssl("pkcs8", "-topk8", "-in", self.dir / "rsa.key", "-passout", "pass:right", *options)

    def decrypt(self, name, pem, words, status=2, password="right"):
        self.refused(words, "key", "decrypt", self.write(name, pem), "--password-file", password, status=status)

    def test_keys_under_a_password(self):
        self.decrypt("wrong.pem", self.encrypt(), ["password is wrong"], status=1, password="wrong")
        self.decrypt("camellia.pem", self.encrypt("-v2", "camellia256"), ["Camellia-256-CBC", "openssl pkcs8"])
        self.decrypt("aria.pem", self.encrypt("-v2", "aria256"), ["ARIA-256-CBC", "not supported"])

    def test_keys_in_the_traditional_form(self):
        for cipher, status, password, word in (("-aes128", 1, "wrong", "password is wrong"),
                                               ("-camellia128", 2, "right", "CAMELLIA-128-CBC")):
            pem = openssl("rsa", "-in", self.dir / "rsa.key", "-traditional", cipher, "-passout", "pass:right")
            self.decrypt("traditional.pem", pem, [word], status=status, password=password)

    def test_keys_of_other_kinds(self):
        def key(*arguments):
            return self.write("other.key", openssl("genpkey", "-algorithm", *arguments))
        self.refused(["ED448"], "key", "public", key("ED448"))
        self.refused(["brainpoolP256r1"], "key", "public", key("EC", "-pkeyopt", "ec_paramgen_curve:brainpoolP256r1"))
        explicit = key("EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-pkeyopt", "ec_param_enc:explicit")
        self.refused(["curve by parameters", "named curves"], "key", "public", explicit)

    def test_keys_in_the_form_of_ssh(self):
        peer("ssh-keygen", "-q", "-t", "ed25519", "-N", "right", "-f", self.dir / "ssh.key")
        self.refused(["OpenSSH", "ssh-keygen -p", "aes256-ctr"], "show", "ssh.key")
        peer("ssh-keygen", "-q", "-t", "dsa", "-N", "", "-f", self.dir / "dsa.key")
        self.refused(["ssh-dss", "not supported"], "show", "dsa.key")
        self.refused(["ssh-dss", "not supported"], "show", "dsa.key.pub")

    def test_a_certificate_where_a_key_should_be(self):
        self.refused(["no private key", "CERTIFICATE"], "sign", "-k", "rsa.pem", "text")

    # --- PKCS#12 ---

    def test_pkcs12(self):
        def export(*options):
            path = self.dir / "made.p12"
            openssl("pkcs12", "-export", "-in", self.dir / "rsa.pem", "-inkey", self.dir / "rsa.key", "-passout",
                    "pass:right", "-out", path, *options)
            return path
        importing = ["p12", "import", "--certificates-only"]
        self.refused(["password is wrong", "damaged"], *importing, export(), "--password-file", "wrong", status=1)
        self.refused(["SHA3-256", "MAC"], *importing, export("-macalg", "sha3-256"), "--password-file", "right")
        self.refused(["Camellia-256-CBC"], *importing, export("-certpbe", "camellia-256-cbc"), "--password-file", "right")
        part = self.write("part.p12", export().read_bytes()[:-60])
        self.refused(["longer than the bytes that are left"], *importing, part, "--password-file", "right")
        self.expect(0, *importing, export("-nomaciter"), "--password-file", "right")

    # --- Messages ---

    def sign(self, command, *options, name="rsa"):
        return openssl(command, "-sign", "-in", self.dir / "text", "-signer", self.dir / f"{name}.pem", "-inkey",
                       self.dir / f"{name}.key", "-binary", "-nodetach", "-outform", "DER", *options)

    def check(self, message, *words, status=2):
        self.refused(words, "cms", "check", "--ca", "rsa.pem", "-", stdin=message, status=status)

    def test_messages(self):
        good = self.sign("smime")
        self.expect(0, "cms", "check", "--purpose", "any", "--ca", "rsa.pem", "-", stdin=good)
        self.check(self.sign("cms", "-md", "sha224"), "signer 1", "digest algorithm is not supported", status=1)
        self.check(self.sign("cms", "-stream")[:-3], "longer than the bytes that are left")
        self.check(good[:-30], "longer than the bytes that are left")
        self.check(good[:-5] + b"\1\2\3\4\5", "signer 1", "does not verify", status=1)

    def test_a_message_where_a_time_stamp_should_be(self):
        message = self.write("message.der", self.sign("smime"))
        self.refused(["not a time-stamp", "data"], "ts", "check", "--data", "text", "--ca", "rsa.pem", message)

    # --- Chains ---

    def test_chains(self):
        self.refused(["no certificate"], "verify", "--ca", "rsa.pem", "text")
        self.write("empty.pem", "")
        self.refused(["empty"], "verify", "--ca", "empty.pem", "rsa.pem")


if __name__ == "__main__":
    unittest.main()
