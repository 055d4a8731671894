import base64
import unittest

from support import CA, LEAF, ProgramTest, element, identifier, openssl

RICH = LEAF + """subjectAltName=DNS:www.example.test,IP:192.0.2.7,email:post@example.test,URI:http://a.test/,dirName:directory
crlDistributionPoints=URI:http://crl.example.test/a.crl
certificatePolicies=1.2.3.4
authorityInfoAccess=OCSP;URI:http://ocsp.example.test/
1.2.3.4.5=ASN1:UTF8String:unknown
[directory]
CN=inside
"""


def extension(dotted, value=b"\x05\x00", critical=False):
    return element(0x30, identifier(dotted), element(0x01, b"\xff") if critical else b"", element(0x04, value))


def certificate(extensions, version=element(0xA0, element(0x02, b"\2")), not_after=element(0x17, b"400101000000Z"), key="1.3.101.112"):
    algorithm = element(0x30, identifier("1.3.101.112"))
    name = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"x"))))
    validity = element(0x30, element(0x17, b"200101000000Z"), not_after)
    key = element(0x30, element(0x30, identifier(key)), element(0x03, b"\0" + bytes(32)))
    serial = element(0x02, b"\1")
    tbs = element(0x30, version, serial, algorithm, name, validity, name, key, element(0xA3, element(0x30, extensions)))
    return element(0x30, tbs, algorithm, element(0x03, bytes(65)))


class ShowTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions="basicConstraints=critical,CA:TRUE,pathlen:1\nkeyUsage=critical,keyCertSign,cRLSign\n"
                  "nameConstraints=permitted;DNS:example.test\n", kind="RSA")
        cls.issue("leaf", "root", RICH.replace("[directory]", KEY_IDS_ONCE + "[directory]"), key_ids="",
                  subject="/C=DE/O=M\u00fcller & Co/CN=leaf/emailAddress=post@example.test")
        cls.issue("ed", "root", kind="Ed25519")

    def test_certificate_completely(self):
        text = self.expect(0, "show", "leaf.pem").out
        for part in ("certificate\n", "subject: C=DE, O=M\u00fcller & Co, CN=leaf, emailAddress=post@example.test",
                     "issuer: O=Test, CN=root", "signed with: SHA256+RSA", "type: EC", "curve: p256", "self signed: no",
                     "basic constraints", "key usage (critical): digital-signature", "extended key usage: tls-server",
                     "DNS: www.example.test", "IP: 192.0.2.7", "rfc822: post@example.test", "URI: http://a.test/",
                     "Name: CN=inside", "crl distribution points: URI: http://crl.example.test/a.crl",
                     "certificate policies: 1.2.3.4", "ocsp URI: http://ocsp.example.test/", "1.2.3.4.5: "):
            self.assertIn(part, text)
        fingerprint = openssl("x509", "-in", self.dir / "leaf.pem", "-noout", "-fingerprint", "-sha256").decode()
        self.assertIn("sha256 fingerprint: " + fingerprint.split("=")[1].strip().lower(), text)
        serial = openssl("x509", "-in", self.dir / "leaf.pem", "-noout", "-serial").decode().split("=")[1].strip().lower()
        shown = [line for line in text.splitlines() if "serial number" in line][0].split(": ", 1)[1].replace(":", "")
        self.assertEqual(int(shown, 16), int(serial, 16))
        text = self.expect(0, "show", "root.pem").out
        for part in ("type: RSA", "bits: 2048", "exponent: 65537", "path length: 1", "permitted: DNS: example.test", "self signed: yes"):
            self.assertIn(part, text)

    def test_certificate_in_der(self):
        der = openssl("x509", "-in", self.dir / "ed.pem", "-outform", "DER")
        self.assertIn("type: Ed25519", self.expect(0, "show", "-", stdin=der).out)

    def test_chain(self):
        self.concatenate("chain.pem", "leaf", "root")
        self.assertEqual(self.expect(0, "show", "chain.pem").out.count("certificate\n"), 2)

    def test_crl(self):
        self.make_crl("list", "root", ["leaf"])
        text = self.expect(0, "show", "list.crl").out
        for part in ("certificate revocation list\n", "issuer: O=Test, CN=root", "1 key compromise", "next update"):
            self.assertIn(part, text)
        der = openssl("crl", "-in", self.dir / "list.crl", "-outform", "DER")
        self.assertEqual(self.expect(0, "show", "-", stdin=der).out, text)

    def test_long_crl_is_shown_line_by_line(self):
        config = self.write("long.cnf", "[ca]\ndefault_ca=c\n[c]\ndatabase=long.index\ndefault_md=sha256\n")
        rows = [f"R\t350101000000Z\t250101000000Z,superseded\t{serial:04X}\tunknown\t/CN=x\n" for serial in range(4096, 6096)]
        self.write("long.index", "".join(rows))
        openssl("ca", "-config", config, "-cert", "root.pem", "-keyfile", "root.key", "-gencrl", "-crldays", 9, "-out",
                "long.crl", cwd=self.dir)
        lines = self.expect(0, "show", "long.crl").out.splitlines()
        self.assertEqual(len([line for line in lines if line.endswith("2025-01-01 00:00:00 UTC, reason 4 superseded")]), 2000)
        self.assertIn("10:00 since", "\n".join(lines))
        document = self.expect(0, "show", "--json", "long.crl").objects[0]
        self.assertEqual(len(document["revoked"]), 2000)

    def test_request(self):
        text = self.expect(0, "show", "leaf.csr").out
        for part in ("certificate request\n", "CN=leaf", "signature verifies: yes", "curve: p256"):
            self.assertIn(part, text)
        der = openssl("req", "-in", self.dir / "leaf.csr", "-outform", "DER")
        self.assertEqual(self.expect(0, "show", "-", stdin=der).out, text)
        self.assertIn("signature verifies: no", self.expect(0, "show", "-", stdin=der[:-1] + bytes([der[-1] ^ 1])).out)

    def test_request_under_its_older_label(self):
        text = (self.dir / "leaf.csr").read_text().replace("CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST")
        self.assertEqual(self.expect(0, "show", "-", stdin=text.encode()).out, self.expect(0, "show", "leaf.csr").out)

    def test_key_identifier_of_a_list(self):
        identifier = openssl("x509", "-in", self.dir / "root.pem", "-noout", "-ext", "subjectKeyIdentifier").decode().split()[-1]
        self.make_crl("identified", "root")
        self.assertIn(f"    authority key identifier: {identifier.lower()}\n", self.expect(0, "show", "identified.crl").out)

    def test_many_extensions_take_no_quadratic_time(self):
        seconds = []
        for count in (10000, 40000):
            der = certificate(b"".join(extension(f"1.2.3.{i}") for i in range(count)))
            seconds.append(self.processor_time(lambda: self.expect(0, "show", "-", stdin=der)))
        self.assertLess(seconds[1], 8 * seconds[0])

    def test_huge_numbers_are_not_written_in_decimal(self):
        number = element(0x02, b"\x7f" * 1000000)
        der = certificate(extension("2.5.29.19", element(0x30, element(0x01, b"\xff"), number)))
        text = self.expect(0, "show", "-", stdin=der).out
        self.assertIn("path length: 7f:7f:", text)
        self.assertIn(":... (1000000 bytes)\n", text)

    def test_public_keys(self):
        for name, words in (("root", "RSA"), ("leaf", "p256"), ("ed", "Ed25519")):
            for form in ("PEM", "DER"):
                key = openssl("pkey", "-in", self.dir / f"{name}.key", "-pubout", "-outform", form)
                text = self.expect(0, "show", "-", stdin=key).out
                self.assertTrue(text.startswith("public key\n"))
                self.assertIn(words, text)
        key = openssl("rsa", "-in", self.dir / "root.key", "-RSAPublicKey_out")
        self.assertIn("RSA", self.expect(0, "show", "-", stdin=key).out)

    def test_dump_is_the_librarys_own(self):
        text = self.expect(0, "show", "--dump", "leaf.pem").out
        self.assertTrue(text.startswith("Certificate:\n  serialNr:  "))
        self.assertIn("  signed with: SHA256+RSA\n[EC-PUBLIC]\n", text)
        self.assertTrue(self.expect(0, "show", "--dump", "leaf.csr").out.startswith("REQ\n"))
        self.make_crl("dumped", "root")
        self.assertIn("  revoked certs: (empty)\n", self.expect(0, "show", "--dump", "dumped.crl").out)

    def test_unknown_extensions_are_results_and_not_diagnostics(self):
        result = self.expect(0, "show", "leaf.pem")
        self.assertEqual(result.err, "")
        self.assertIn("1.2.3.4.5: ", result.out)

    def test_json(self):
        self.concatenate("chain.pem", "leaf", "root")
        documents = self.expect(0, "show", "--json", "chain.pem").objects
        self.assertEqual([document["object"] for document in documents], ["certificate", "certificate"])
        self.assertEqual(documents[1]["extensions"]["basicConstraints"], {"critical": True, "value": {"ca": True, "pathLength": 1}})

    def test_hostile_names(self):
        self.issue("hostile", "root", LEAF, subject="/O=a\x1b]0;title\x07/CN=x\r\n  issuer: <forged>\u202e\u0085")
        for arguments in ([], ["--dump"], ["--json"]):
            result = self.expect(0, "show", *arguments, "hostile.pem")
            self.assertNoControls(result.out + result.err)
            self.assertNotIn("\u202e", result.out)
            self.assertFalse([line for line in result.out.splitlines() if line.strip().startswith("issuer: <forged>")])

    def test_no_two_names_look_alike(self):
        shown = {}
        for name, text in (("control", "a\x1b"), ("written", r"a\\x1b"), ("invisible", "a\u3164"), ("plain", "a")):
            self.issue("alike-" + name, "root", LEAF, subject=f"/O={text}/CN=x")
            for arguments in ([], ["--dump"], ["--json"]):
                out = self.expect(0, "show", *arguments, f"alike-{name}.pem").out
                self.assertNotIn("\u3164", out)
                subject = [line for line in out.splitlines() if "subject" in line or "O=a" in line]
                self.assertTrue(subject, out)
                self.assertNotIn(subject, shown.setdefault(str(arguments), []))
                shown[str(arguments)].append(subject)
        self.assertIn(r"O=a\x1b, CN=x", str(shown["[]"][0][0]))
        self.assertIn(r"O=a\\x1b, CN=x", str(shown["[]"][1][0]))

    def test_hostile_label(self):
        text = "-----BEGIN \x1b[31mEVIL\x07-----\nAAAA\n-----END X-----\n"
        self.assertNoControls(self.expect(2, "show", "-", stdin=text.encode()).err)

    def test_what_cannot_be_shown(self):
        for content in (b"", b"hello", b"\x30\x80", b"-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n",
                        b"-----BEGIN SOMETHING-----\nAAAA\n-----END SOMETHING-----\n"):
            result = self.expect(2, "show", "-", stdin=content)
            self.assertEqual(result.out, "")
            self.assertIn("sealkit: ", result.err)
        self.expect(2, "show", "missing")
        self.expect(3, "show")

    def test_why_a_certificate_is_refused(self):
        dns, mail = (element(0x30, element(0x80 | kind, b"a.test")) for kind in (2, 1))
        constraints = lambda *subtrees: extension("2.5.29.30", element(0x30, element(0xA0, *subtrees)), critical=True)
        usage = extension("2.5.29.15", element(0x03, b"\7\x80"))
        good = certificate(usage)
        self.expect(0, "show", "-", stdin=good)
        for der, parts in ((b"", ["the file is empty"]),
                           (certificate(usage, version=b""), ["not of version 3", "expected: 3; found: 1"]),
                           (good + b"\n\n", ["Bytes follow the end", f"byte {len(good)}"]),
                           (good[:-3], ["longer than the bytes that are left"]),
                           (certificate(usage + usage), ["extension 2 (keyUsage)", "occurs more than once"]),
                           (certificate(usage + extension("1.2.3", b"", critical=True)), ["extension 2 (1.2.3)", "critical and not supported"]),
                           (certificate(constraints(dns, dns)), ["extension 1 (nameConstraints), permitted subtree 2", "several subtrees"]),
                           (certificate(constraints(mail)), ["extension 1 (nameConstraints), permitted subtree 1", "supported: DNS; found: rfc822"]),
                           (certificate(extension("2.5.29.36", element(0x30), critical=True)), ["extension 1 (policyConstraints)", "not supported"]),
                           (certificate(usage, not_after=element(0x17, b"4x0101000000Z")), ["notAfter", "found: 4x0101000000Z"]),
                           (certificate(extension("2.5.29.15", element(0x04, b"\x80"))), ["extension 1 (keyUsage)", "expected: BIT STRING"])):
            armoured = b"-----BEGIN CERTIFICATE-----\n" + base64.encodebytes(der) + b"-----END CERTIFICATE-----\n"
            for data in (der, armoured) if der else (der,):
                result = self.expect(2, "show", "-", stdin=data)
                self.assertEqual(result.out, "")
                for part in parts:
                    self.assertIn(part, result.err)

    def test_a_key_of_an_unknown_algorithm_is_named(self):
        text = self.expect(0, "show", "-", stdin=certificate(b"", key="2.16.840.1.101.3.4.3.17")).out
        self.assertIn("algorithm: ML-DSA-44\n", text)
        self.assertIn("problem: ", text)

    def test_every_name_constraint(self):
        bases = element(0x82, b"a.test"), element(0x87, b"\x0a\0\0\0\xff\0\0\0"), element(0x87, bytes(range(16)) + b"\xff" * 16)
        value = element(0x30, element(0xA0, *(element(0x30, base) for base in bases)), element(0xA1, element(0x30, element(0x81, b"x@b.test"))))
        der = certificate(extension("2.5.29.30", value))
        constraints = self.expect(0, "show", "--json", "-", stdin=der).objects[0]["extensions"]["nameConstraints"]["value"]
        self.assertEqual(constraints, {"permitted": ["DNS: a.test", "IP: 10.0.0.0/8", "IP: 1:203:405:607:809:a0b:c0d:e0f/128"],
                                       "excluded": ["rfc822: x@b.test"]})
        self.assertIn("permitted: DNS: a.test, IP: 10.0.0.0/8, ", self.expect(0, "show", "-", stdin=der).out)

    def test_entries_of_a_crl_have_the_reasons_of_the_standard(self):
        algorithm = element(0x30, identifier("1.3.101.112"))
        name = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"x"))))
        time = element(0x17, b"200101000000Z")
        entries = [element(0x30, element(0x02, bytes([serial])), time, element(0x30, extension("2.5.29.21", element(0x0A, bytes([reason])))))
                   for serial, reason in ((1, 1), (2, 7), (3, 8))] + [element(0x30, element(0x02, b"\4"), time)]
        tbs = element(0x30, element(0x02, b"\1"), algorithm, name, time, time, element(0x30, *entries))
        der = element(0x30, tbs, algorithm, element(0x03, bytes(65)))
        date = "2020-01-01 00:00:00 UTC"
        iso = "2020-01-01T00:00:00Z"
        self.assertEqual(self.expect(0, "show", "--json", "-", stdin=der).objects[0]["revoked"], [
            {"serialNumber": "01", "revocationDate": iso, "reasonCode": 1, "reason": "keyCompromise"},
            {"serialNumber": "02", "revocationDate": iso, "reasonCode": 7, "reason": "unassigned"},
            {"serialNumber": "03", "revocationDate": iso, "reasonCode": 8, "reason": "removeFromCRL"},
            {"serialNumber": "04", "revocationDate": iso}])
        text = self.expect(0, "show", "-", stdin=der).out
        self.assertIn(f"  03 since {date}, reason 8 remove from crl\n", text)
        self.assertIn(f"  01 since {date}, reason 1 key compromise\n", text)
        self.assertIn(f"  02 since {date}, reason 7 unassigned\n", text)

    def test_one_bad_block_does_not_hide_the_rest(self):
        bad = b"-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"
        result = self.expect(2, "show", "-", stdin=bad + (self.dir / "leaf.pem").read_bytes())
        self.assertIn("CN=leaf", result.out)
        self.assertIn("block 1", result.err)


KEY_IDS_ONCE = "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n"

if __name__ == "__main__":
    unittest.main()
