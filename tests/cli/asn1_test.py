import base64
import pathlib
import re
import unittest

from support import CA, LEAF, ProgramTest, element, identifier, openssl

ROW = re.compile(r"\s*(\d+)\s+(\d+)\s+(\d+|inf)  (\s*)(.*)")


class Asn1Test(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA, kind="RSA")
        cls.issue("leaf", "root", LEAF + "subjectAltName=DNS:a.test\n1.2.3.4=ASN1:UTF8String:text\n")
        cls.der = openssl("x509", "-in", cls.dir / "leaf.pem", "-outform", "DER")

    def rows(self, *arguments, **options):
        lines = self.expect(0, "asn1", *arguments, **options).out.splitlines()
        self.assertEqual(lines[0].split(), ["offset", "hd", "length", "element"])
        return [ROW.fullmatch(line).groups() for line in lines[1:]]

    def outline(self, *arguments, **options):
        return [(int(offset), int(header), length, len(indent) // 2) for offset, header, length, indent, _ in self.rows(*arguments, **options)]

    def test_the_same_elements_as_openssl(self):
        """Where strings hold elements, OpenSSL shows the string alone."""
        files = {"leaf": self.der, "root": openssl("x509", "-in", self.dir / "root.pem", "-outform", "DER"),
                 "key": openssl("pkey", "-in", self.dir / "root.key", "-outform", "DER"),
                 "message": openssl("cms", "-sign", "-signer", self.dir / "leaf.pem", "-inkey", self.dir / "leaf.key", "-outform", "DER", "-stream",
                                    "-nodetach", input=b"text" * 2000)}
        for name, der in files.items():
            theirs = []
            for line in openssl("asn1parse", "-inform", "DER", input=der).decode().splitlines():
                offset, depth, header, length = re.match(r"\s*(\d+):d=(\d+)\s+hl=(\d+) l=\s*(\d+|inf)", line).groups()
                theirs.append((int(offset), int(header), length, int(depth)))
            ours, within = [], None
            for offset, header, length, indent, text in self.rows("-", stdin=der):
                depth = len(indent) // 2
                if within is not None and depth > within:
                    continue
                within = depth if text.endswith("which holds") else None
                # OpenSSL counts the end of an indefinite length as one of its children.
                ours.append((int(offset), int(header), length, depth + (text == "end of contents")))
            self.assertEqual(ours, theirs, name)

    def test_values(self):
        text = self.expect(0, "asn1", "-", stdin=self.der).out
        for part in ("INTEGER 2\n", "OBJECT IDENTIFIER 1.2.840.113549.1.1.11 SHA256+RSA", "UTF8String leaf", "OCTET STRING, which holds\n",
                     "OBJECT IDENTIFIER 2.5.29.37 extendedKeyUsage", "OBJECT IDENTIFIER 1.3.6.1.5.5.7.3.1 tls-server", "[2] \"a.test\"",
                     "BOOLEAN TRUE", "UTF8String text"):
            self.assertIn(part, text)
        self.assertRegex(text, r"UTCTime \d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\n")

    def test_every_form_of_input(self):
        expected = self.outline("-", stdin=self.der)
        self.assertEqual(self.outline("-", stdin=base64.b64encode(self.der)), expected)
        self.assertEqual(self.outline("-", stdin=base64.encodebytes(self.der)), expected)
        pem = (self.dir / "leaf.pem").read_bytes()
        text = self.expect(0, "asn1", "-", stdin=pem + (self.dir / "root.pem").read_bytes()).out
        self.assertEqual(text.count("CERTIFICATE\n"), 2)
        root = self.expect(0, "asn1", "-", "--block", "2", stdin=pem + (self.dir / "root.pem").read_bytes()).out
        self.assertTrue(text.endswith(root))
        self.assertIn("has 1 PEM blocks", self.expect(2, "asn1", "leaf.pem", "--block", "2").err)

    def test_a_piece(self):
        rows = self.rows("-", stdin=self.der)
        name = next(int(row[0]) for row in rows if row[4] == "UTF8String leaf")
        self.assertEqual(self.rows("-", "--at", name, stdin=self.der), [(str(name), "2", "4", "", "UTF8String leaf")])
        tbs = self.expect(0, "asn1", "-", "--at", 4, "--der", "-o", "tbs.der", "--force", stdin=self.der)
        self.assertEqual(tbs.out, "")
        header, length = next((int(row[1]), int(row[2])) for row in rows if row[0] == "4")
        self.assertEqual((self.dir / "tbs.der").read_bytes(), self.der[4:4 + header + length])
        self.expect(0, "asn1", "leaf.pem", "--der", "-o", "whole.der", "--force")
        self.assertEqual((self.dir / "whole.der").read_bytes(), self.der)
        self.expect(0, "asn1", "-", "--der", "-o", "ber", "--force", stdin=b"\x30\x80\5\0\0\0\5\0")
        self.assertEqual((self.dir / "ber").read_bytes(), b"\x30\x80\5\0\0\0")
        self.expect(2, "asn1", "leaf.pem", "--at", len(self.der), "--der", "-o", "none")
        self.expect(2, "asn1", "leaf.pem", "--at", len(self.der))
        self.expect(2, "asn1", "leaf.pem", "--at", 2 ** 63)
        self.assertFalse((self.dir / "none").exists())
        self.expect(3, "asn1", "leaf.pem", "--der", "--json")

    def test_where_it_breaks(self):
        result = self.expect(2, "asn1", "-", stdin=self.der[:-3])
        self.assertIn("(truncated)", result.out)
        self.assertIn("UTF8String leaf", result.out)
        self.assertIn("byte 0", result.err)
        broken = element(0x30, element(0x02, b"\1"), b"\x02\x80", b"\0" * 20)
        result = self.expect(2, "asn1", "-", stdin=broken)
        self.assertIn("INTEGER 1", result.out)
        self.assertIn("byte 5", result.err)
        document, = self.expect(2, "asn1", "--json", "-", stdin=broken).json["trees"]
        self.assertEqual(document["broken"]["offset"], 5)
        self.assertEqual(document["broken"]["reason"], "indefinite-length")
        self.assertEqual(len(document["elements"]), 2)
        self.assertEqual(self.expect(2, "asn1", "--json", "-", stdin=b"").json["trees"], [{"elements": []}])

    def test_json(self):
        document, = self.expect(0, "asn1", "--json", "leaf.pem").json["trees"]
        self.assertEqual(document["label"], "CERTIFICATE")
        self.assertEqual(document["elements"][0], {"offset": 0, "depth": 0, "headerLength": 4, "length": len(self.der) - 4, "class": "universal",
                                                   "number": 16, "constructed": True, "tag": "SEQUENCE"})
        self.assertEqual([(row["offset"], row["headerLength"], str(row["length"]), row["depth"]) for row in document["elements"]],
                         self.outline("-", stdin=self.der))
        (document,) = self.expect(0, "asn1", "--json", "-", stdin=b"\x30\x80\0\0").json["trees"]
        self.assertEqual([row["length"] for row in document["elements"]], [None, 0])

    def test_hostile_input(self):
        deep = b"\x30\x80" * 500000
        self.assertIn("byte 512: Objects are nested more deeply than the limit", self.expect(2, "asn1", "-", stdin=deep).err)
        wide = element(0x30, *[b"\5\0"] * 300000)
        self.assertEqual(self.expect(0, "asn1", "-", stdin=wide).out.count("\n"), 300002)
        text = self.expect(0, "asn1", "-", stdin=element(0x0C, "\x1b[31m\u202eevil\n".encode())).out
        self.assertNoControls(text)
        self.assertNotIn("\u202e", text)


if __name__ == "__main__":
    unittest.main()
