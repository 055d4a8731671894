import base64
import datetime
import re
import unittest
from pathlib import Path

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


def certificate(extensions, version=element(0xA0, element(0x02, b"\2")), not_after=element(0x17, b"400101000000Z"), key="1.3.101.112",
                plain=False, serial=b"\1", name=None, not_before=element(0x17, b"200101000000Z")):
    algorithm = element(0x30, identifier("1.3.101.112"))
    name = name or element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"x"))))
    validity = element(0x30, not_before, not_after)
    key = element(0x30, element(0x30, identifier(key)), element(0x03, b"\0" + bytes(32)))
    tbs = element(0x30, version, element(0x02, serial), algorithm, name, validity, name, key,
                  b"" if plain else element(0xA3, element(0x30, extensions)))
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

    def test_request_of_a_key_that_is_not_used(self):
        openssl("ecparam", "-name", "brainpoolP256r1", "-genkey", "-noout", "-out", self.dir / "brainpool.key")
        openssl("req", "-new", "-key", self.dir / "brainpool.key", "-subj", "/CN=b", "-out", self.dir / "brainpool.csr")
        result = self.expect(0, "show", "brainpool.csr")
        self.assertEqual((result.out.partition("\n")[0], result.err), ("certificate request", ""))
        self.assertIn("curve: brainpoolP256r1", result.out)
        (shown,) = self.expect(0, "show", "--json", "brainpool.csr").objects
        self.assertFalse(shown["signatureVerifies"])

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
        usage = extension("2.5.29.15", element(0x03, b"\7\x80"))
        good = certificate(usage)
        self.expect(0, "show", "-", stdin=good)
        for der, parts in ((b"", ["the file is empty"]),
                           (certificate(usage, version=b""), ["not of version 3", "expected: 3; found: 1"]),
                           (good + b"\n\n", ["Bytes follow the end", f"byte {len(good)}"]),
                           (good[:-3], ["longer than the bytes that are left"]),
                           (certificate(usage + usage), ["extension 2 (keyUsage)", "occurs more than once"]),
                           (certificate(usage, not_after=element(0x17, b"4x0101000000Z")), ["notAfter", "found: 4x0101000000Z"]),
                           (certificate(extension("2.5.29.15", element(0x04, b"\x80"))), ["extension 1 (keyUsage)", "expected: BIT STRING"])):
            armoured = b"-----BEGIN CERTIFICATE-----\n" + base64.encodebytes(der) + b"-----END CERTIFICATE-----\n"
            for data in (der, armoured) if der else (der,):
                result = self.expect(2, "show", "-", stdin=data)
                for part in parts:
                    self.assertIn(part, result.err)
                if der:
                    lines = result.out.splitlines()
                    self.assertEqual(lines[0], "certificate")
                    self.assertTrue(lines[1].startswith("  this library refuses it: "))
                    self.assertIn("  subject: CN=x", lines)

    def test_what_the_platform_refuses_is_shown_with_the_reason_in_front(self):
        dns, mail = (element(0x30, element(0x80 | kind, b"a.test")) for kind in (2, 1))
        constraints = lambda *subtrees: extension("2.5.29.30", element(0x30, element(0xA0, *subtrees)), critical=True)
        usage = extension("2.5.29.15", element(0x03, b"\7\x80"))
        for der, parts in ((certificate(usage + extension("1.2.3", b"", critical=True)), ["extension 2 (1.2.3)", "critical and not supported"]),
                           (certificate(constraints(dns, dns)), ["extension 1 (nameConstraints), permitted subtree 2", "several subtrees"]),
                           (certificate(constraints(mail)), ["extension 1 (nameConstraints), permitted subtree 1", "supported: DNS; found: rfc822"]),
                           (certificate(extension("2.5.29.36", element(0x30), critical=True)), ["extension 1 (policyConstraints)", "not supported"]),
                           (certificate(b"", version=b"", plain=True), ["expected: 3; found: 1"])):
            result = self.expect(0, "show", "-", stdin=der)
            self.assertEqual(result.err, "")
            shown, = self.expect(0, "show", "--json", "-", stdin=der).objects
            for part in parts:
                self.assertIn(part, shown["refusedByPlatform"])
            self.assertTrue(result.out.splitlines()[1].startswith("  the rules of the platform refuse it: "))
            self.assertIn("subject: CN=x\n", result.out)

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
        self.assertIn("permitted: DNS: a.test, IP: 10.0.0.0/8,", self.expect(0, "show", "-", stdin=der).out)

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

    def assertNoLongLines(self, text):
        """80 columns; digests, identifiers and the numbers of keys stay on one line."""
        self.assertFalse([line for line in text.splitlines() if len(line) > 80 and not re.search(r": (([0-9a-f]{2}:){19,31}[0-9a-f]{2}|[0-9a-f]{64,})$", line)])

    def value_of(self, name, value):
        """What is shown of an extension, in JSON, and its lines."""
        der = certificate(extension(name, value))
        (shown,) = self.expect(0, "show", "--json", "-", stdin=der).objects
        ((_, row),) = shown["extensions"].items()
        text = self.expect(0, "show", "-", stdin=der).out
        self.assertNoLongLines(text)
        return row["value"], text

    def test_policies(self):
        cps = element(0x30, identifier("1.3.6.1.5.5.7.2.1"), element(0x16, b"http://cps.test/"))
        reference = element(0x30, element(0x0C, b"Org"), element(0x30, element(0x02, b"\1"), element(0x02, b"\7")))
        notice = element(0x30, identifier("1.3.6.1.5.5.7.2.2"), element(0x30, reference, element(0x1E, "Text".encode("utf-16-be"))))
        other = element(0x30, identifier("1.2.3"), element(0x30, element(0x02, b"\5")))
        policy = element(0x30, identifier("1.2.3.4"), element(0x30, cps, notice, other))
        value, text = self.value_of("2.5.29.32", element(0x30, policy, element(0x30, identifier("2.5.29.32.0"))))
        self.assertEqual(value, ["1.2.3.4 (cps: http://cps.test/; user-notice: Org 1 7 Text; 1.2.3: {5})", "anyPolicy"])
        self.assertEqual(self.value_of("2.5.29.33", element(0x30, element(0x30, identifier("1.2.3"), identifier("1.2.4"))))[0], ["1.2.3 is 1.2.4"])
        self.assertEqual(self.value_of("2.5.29.36", element(0x30, element(0x80, b"\0"), element(0x81, b"\3")))[0],
                         {"requireExplicitPolicy": 0, "inhibitPolicyMapping": 3})
        self.assertEqual(self.value_of("2.5.29.54", element(0x02, b"\2"))[0], 2)

    def test_distribution_points_and_identifiers(self):
        name = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"crl"))))
        full = element(0xA0, element(0xA0, element(0x86, b"http://a.test/1"), element(0xA4, name)))
        relative = element(0xA0, element(0xA1, element(0x30, identifier("2.5.4.3"), element(0x0C, b"part"))))
        points = element(0x30, element(0x30, full, element(0x81, b"\1\x42"), element(0xA2, element(0xA4, name))), element(0x30, relative),
                         element(0x30, element(0x81, b"\0\x80")))
        remarks = " (reasons: keyCompromise, certificateHold; CRL issuer: Name: CN=crl)"
        self.assertEqual(self.value_of("2.5.29.31", points)[0], ["URI: http://a.test/1" + remarks, "Name: CN=crl" + remarks,
                                                                 "relative to the issuer: CN=part", "(no name) (reasons: unused)"])
        authority = element(0x30, element(0x80, b"\1\2"), element(0xA1, element(0xA4, name)), element(0x82, b"\5"))
        self.assertEqual(self.value_of("2.5.29.35", authority)[0], {"keyIdentifier": "01:02", "issuer": ["Name: CN=crl"], "serialNumber": "05"})
        self.assertEqual(self.value_of("2.5.29.35", element(0x30, element(0x80, b"\1\2")))[0], "01:02")
        scope = element(0x30, full, element(0x82, b"\xff"), element(0x83, b"\6\x40"), element(0x84, b"\xff"))
        self.assertEqual(self.value_of("2.5.29.28", scope)[0], {"name": ["URI: http://a.test/1", "Name: CN=crl"], "onlyCaCertificates": True,
                                                                "indirect": True, "onlySomeReasons": ["keyCompromise"]})

    def test_names_of_every_kind(self):
        upn = element(0xA0, identifier("1.3.6.1.4.1.311.20.2.3"), element(0xA0, element(0x0C, b"user@a.test")))
        other = element(0xA0, identifier("1.2.3"), element(0xA0, element(0x02, b"\5")))
        names = [upn, other, element(0xA3, element(0x30)), element(0xA5, element(0xA1, element(0x0C, b"party"))), element(0x88, b"\x2a\3\4")]
        self.assertEqual(self.value_of("2.5.29.17", element(0x30, *names))[0],
                         ["other: userPrincipalName user@a.test", "other: 1.2.3 a0:03:02:01:05", "X400 address: 30:00",
                          "EDI party: a1:07:0c:05:70:61:72:74:79", "REG ID: 1.2.3.4"])

    def test_other_extensions(self):
        for name, value, shown in (("2.5.29.16", element(0x30, element(0x80, b"20200101000000Z"), element(0x81, b"20300101000000Z")),
                                    {"notBefore": "2020-01-01T00:00:00Z", "notAfter": "2030-01-01T00:00:00Z"}),
                                   ("2.5.29.9", element(0x30, element(0x30, identifier("1.3.6.1.5.5.7.9.4"), element(0x31, element(0x13, b"DE")))),
                                    ['countryOfCitizenship {"DE"}']),
                                   ("1.3.6.1.5.5.7.1.3", element(0x30, element(0x30, identifier("0.4.0.1862.1.1")), element(
                                       0x30, identifier("0.4.0.1862.1.6"), element(0x30, identifier("0.4.0.1862.1.6.1")))),
                                    ["qcCompliance", "qcType {esign}"]),
                                   ("1.3.6.1.5.5.7.1.24", element(0x30, element(0x02, b"\5"), element(0x02, b"\x11"), element(0x02, b"\7")),
                                    ["status-request", "status-request-v2", "7"]),
                                   ("2.16.840.1.113730.1.1", element(0x03, b"\0\xc5"), ["ssl-client", "ssl-server", "ssl-ca", "object-signing-ca"]),
                                   ("2.16.840.1.113730.1.13", element(0x16, b"made for tests"), "made for tests"),
                                   ("1.2.3.4.5", bytes(range(70)), ":".join(f"{i:02x}" for i in range(64)) + ":... (70 bytes)"),
                                   ("2.5.29.37", element(0x30, identifier("1.3.6.1.5.5.7.3.1"), identifier("1.2.3")), ["tls-server", "1.2.3"])):
            self.assertEqual(self.value_of(name, value)[0], shown)
        self.assertIn("(malformed: ", self.value_of("1.3.6.1.5.5.7.1.24", element(0x30, element(0x04, b"\5")))[0])

    def test_signed_certificate_timestamps(self):
        signature = b"\4\3" + b"\0\2\xaa\xbb"
        stamp = b"\0" + bytes(range(32)) + (1_600_000_000_123).to_bytes(8, "big") + b"\0\0" + signature
        rows = b"".join(len(one).to_bytes(2, "big") + one for one in (stamp, b"\1later"))
        name = "1.3.6.1.4.1.11129.2.4.2"
        value, text = self.value_of(name, element(0x04, len(rows).to_bytes(2, "big") + rows))
        self.assertEqual(value, [{"version": 1, "logId": ":".join(f"{i:02x}" for i in range(32)), "time": "2020-09-13T12:26:40Z",
                                  "milliseconds": 123, "signedWith": "SHA256+ECDSA", "signature": "aa:bb"}, {"version": 2}])
        self.assertIn("signed with: SHA256+ECDSA\n", text)
        last = stamp[:33] + b"\xff" * 8 + stamp[41:]
        rows = len(last).to_bytes(2, "big") + last
        value, _ = self.value_of(name, element(0x04, len(rows).to_bytes(2, "big") + rows))
        self.assertEqual((value[0]["time"], value[0]["milliseconds"]), ("584556019-04-03T14:25:51Z", 615))
        for bad in (rows, b"\0\1", len(rows).to_bytes(2, "big") + rows + b"\0"):
            self.assertIn("(malformed: ", self.value_of(name, element(0x04, bad))[0])

    def test_strange_certificates(self):
        bmp = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x1E, "\u00e9\u2603".encode("utf-16-be"))),
                                    element(0x30, identifier("1.2.3"), element(0x0C, b"own"))),
                      element(0x31, element(0x30, identifier("2.5.4.10"), element(0x1C, "\U0001f600".encode("utf-32-be")))),
                      element(0x31, element(0x30, identifier("2.5.4.11"), element(0x14, b"M\xfcller"))),
                      element(0x31, element(0x30, identifier("2.5.4.45"), element(0x03, b"\0\x05"))))
        name = "CN=\u00e9\u2603+1.2.3=own, O=\U0001f600, OU=M\u00fcller, x500UniqueIdentifier=#03020005"
        for der, status, parts in ((certificate(b"", name=bmp, plain=True), 0, ["subject: " + name]),
                                   (certificate(b"", name=element(0x30), plain=True), 0, ["subject:"]),
                                   (certificate(b"", serial=b"\xff\x01", plain=True), 0, ["serial number: ff:01\n", "serial number sign: negative"]),
                                   (certificate(b"", serial=b"\x11" * 40, plain=True), 0, ["11:11:11"]),
                                   (certificate(b"", serial=b"", plain=True), 2, ["serial number: (empty)", "this library refuses it"]),
                                   (certificate(b"", not_before=element(0x17, b"2001010000Z"), plain=True), 2, ["2020-01-01T00:00Z (malformed)"]),
                                   (certificate(b"", not_after=element(0x18, b"20990101000000Z"), plain=True), 0, ["2099-01-01 00:00:00 UTC (in "]),
                                   (certificate(b"", not_before=element(0x18, b"19000101000000Z"), plain=True), 0, ["1900-01-01 00:00:00 UTC ("]),
                                   (certificate(b"", not_after=element(0x18, b"99991231235959Z"), plain=True), 0, ["not after: without end\n"])):
            text = self.expect(status, "show", "-", stdin=der).out
            for part in parts:
                self.assertIn(part, text)

    def test_keys_that_are_not_used_are_named(self):
        for arguments, parts in ((("-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:brainpoolP256r1"), ["curve: brainpoolP256r1", "bits: 256"]),
                                 (("-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-pkeyopt", "ec_param_enc:explicit"),
                                  ["curve: explicit parameters", "bits: 256"]),
                                 (("-algorithm", "ED448"), ["algorithm: ED448", "bits: 448", "signed with: ED448"]),
                                 (("-algorithm", "RSA-PSS", "-pkeyopt", "rsa_keygen_bits:1024"), ["algorithm: RSASSA-PSS", "bits: 1024",
                                  "signed with: RSASSA-PSS (SHA256, MGF1 with SHA256, salt of "])):
            key = openssl("genpkey", *arguments)
            (self.dir / "odd.key").write_bytes(key)
            pem = openssl("req", "-x509", "-new", "-key", self.dir / "odd.key", "-subj", "/CN=odd", "-sha256")
            text = self.expect(0, "show", "-", stdin=pem).out
            for part in parts + ["problem: ", "subject: CN=odd"]:
                self.assertIn(part, text)

    def test_how_far_away_times_are(self):
        text = self.expect(0, "show", "-", stdin=certificate(b"", not_after=element(0x17, b"210101000000Z"), plain=True)).out
        self.assertRegex(text, r"not before: 2020-01-01 00:00:00 UTC \(\d+ years ago\)\n")
        self.assertRegex(text, r"not after: 2021-01-01 00:00:00 UTC \(\d+ years ago\)\n")
        for days, expected in ((41, "in 4[01] days"), (-41, "4[01] days ago")):
            moment = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days=days, hours=1)
            der = certificate(b"", not_after=element(0x17, moment.strftime("%y%m%d%H%M%SZ").encode()), plain=True)
            self.assertRegex(self.expect(0, "show", "-", stdin=der).out, rf"not after: .* \({expected}\)\n")
            (shown,) = self.expect(0, "show", "--json", "-", stdin=der).objects
            self.assertEqual(shown["daysLeft"], days)

    def test_several_files(self):
        text = self.expect(0, "show", "leaf.pem", "root.pem").out
        self.assertTrue(text.startswith("leaf.pem:\ncertificate\n"))
        self.assertIn("\nroot.pem:\ncertificate\n", text)
        documents = self.expect(0, "show", "--json", "leaf.pem", "root.pem").objects
        self.assertEqual([document["file"] for document in documents], ["leaf.pem", "root.pem"])
        result = self.expect(2, "show", "missing.pem", "root.pem")
        self.assertIn("CN=root", result.out)
        self.assertIn("missing.pem", result.err)

    def test_lines_and_colours(self):
        text = self.expect(0, "show", "root.pem", "leaf.pem").out
        self.assertNoLongLines(text)
        self.assertNotIn("\x1b", text)
        modulus = self.expect(0, "show", Path(__file__).parent / "../vectors/pkcs/keys/rsa1024.key").out
        self.assertNoLongLines(modulus)
        self.assertRegex(modulus, r"\n  modulus: [0-9a-f]{64,}\n      [0-9a-f]+\n")
        # A text that is broken cannot be taken for a line of its own.
        name = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"x " * 60 + b"issuer: CN=forged"))))
        lines = self.expect(0, "show", "-", stdin=certificate(b"", name=name, plain=True)).out.splitlines()
        self.assertFalse([line for line in lines if line.strip().startswith(("x", "issuer: CN=forged"))])
        self.assertTrue([line for line in lines if line.startswith("    | x x")])
        for variables, isColoured in (({"TERM": "xterm"}, True), ({"TERM": "dumb"}, False), ({"TERM": "xterm", "NO_COLOR": "1"}, False),
                                      ({"TERM": "xterm", "NO_COLOR": ""}, True)):
            shown = self.on_terminal("show", "root.pem", variables=variables)
            self.assertIn(b"CN=root", shown)
            self.assertEqual(b"\x1b[" in shown, isColoured, variables)

    def test_labels_of_certificates(self):
        pem = (self.dir / "leaf.pem").read_text()
        self.assertEqual(self.expect(0, "show", "-", stdin=pem.replace("CERTIFICATE", "X509 CERTIFICATE").encode()).out, self.expect(0, "show", "leaf.pem").out)
        trusted = openssl("x509", "-in", self.dir / "leaf.pem", "-trustout", "-addtrust", "serverAuth", "-setalias", "mine")
        text = self.expect(0, "show", "-", stdin=trusted).out
        self.assertIn('trust: {{tls-server}, "mine"}', text)
        self.assertIn("CN=leaf", text)

    def test_a_request_with_its_attributes(self):
        (self.dir / "attributes.cnf").write_text("[req]\ndistinguished_name=d\nattributes=a\nprompt=no\n[d]\nCN=x\n[a]\nchallengePassword=secret1\n"
                                                 "unstructuredName=hello\n")
        pem = openssl("req", "-new", "-key", self.dir / "leaf.key", "-config", self.dir / "attributes.cnf")
        text = self.expect(0, "show", "-", stdin=pem).out
        self.assertIn("challenge password: secret1\n", text)
        self.assertIn('attributes: unstructuredName "hello"\n', text)

    def test_entries_of_a_crl_with_their_extensions(self):
        algorithm = element(0x30, identifier("1.3.101.112"))
        name = element(0x30, element(0x31, element(0x30, identifier("2.5.4.3"), element(0x0C, b"x"))))
        time = element(0x17, b"200101000000Z")
        rows = extension("2.5.29.24", element(0x18, b"20191231000000Z")) + extension("2.5.29.29", element(0x30, element(0xA4, name)), critical=True)
        scope = extension("2.5.29.28", element(0x30, element(0x84, b"\xff")), critical=True) + extension("2.5.29.27", element(0x02, b"\5"), critical=True)
        tbs = element(0x30, element(0x02, b"\1"), algorithm, name, time, time, element(0x30, element(0x30, element(0x02, b"\7"), time, element(0x30, rows))),
                      element(0xA0, element(0x30, scope)))
        result = self.expect(0, "show", "-", stdin=element(0x30, tbs, algorithm, element(0x03, bytes(65))))
        for part in ("the rules of the platform refuse it: ", "indirect: yes\n", "delta crl indicator (critical): 5\n",
                     "    07 since 2020-01-01 00:00:00 UTC, invalidity date 2019-12-31 00:00:00 UTC, certificate issuer (critical) Name: CN=x\n"):
            self.assertIn(part, result.out)

    def test_one_bad_block_does_not_hide_the_rest(self):
        bad = b"-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"
        result = self.expect(2, "show", "-", stdin=bad + (self.dir / "leaf.pem").read_bytes())
        self.assertIn("CN=leaf", result.out)
        self.assertIn("block 1", result.err)


KEY_IDS_ONCE = "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid\n"

if __name__ == "__main__":
    unittest.main()
