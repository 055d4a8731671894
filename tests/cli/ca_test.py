"""The verbs of a small certificate authority: req new, cert self-sign, cert issue and crl new."""
import datetime
import pathlib
import re
import unittest

from support import EMULATED, KEY_IDS, ProgramTest, openssl, some

CA_EXTENSIONS = "basicConstraints=critical,CA:TRUE\n"
REASONS = {"keyCompromise": "Key Compromise", "caCompromise": "CA Compromise", "affiliationChanged": "Affiliation Changed",
           "superseded": "Superseded", "cessationOfOperation": "Cessation Of Operation", "certificateHold": "Certificate Hold",
           "privilegeWithdrawn": "", "aaCompromise": "", "unspecified": "Unspecified"}


def der(tag, *parts):
    """One DER element. Parts are bytes or texts."""
    content = b"".join(part.encode() if isinstance(part, str) else part for part in parts)
    size = len(content)
    length = bytes([size]) if size < 0x80 else bytes([0x80 | (size.bit_length() + 7) // 8]) + size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag]) + length + content


def oid(dotted):
    first, second, *rest = map(int, dotted.split("."))
    content = bytes([first * 40 + second])
    for arc in rest:
        digits = [arc & 0x7F]
        while arc := arc >> 7:
            digits.insert(0, arc & 0x7F | 0x80)
        content += bytes(digits)
    return der(0x06, content)


def name(*attributes):
    """A Name of attributes, each an object identifier, a string tag and a value."""
    return der(0x30, *(der(0x31, der(0x30, oid(kind), der(tag, value))) for kind, tag, value in attributes))


def common_name(value, tag=0x0C):
    return name(("2.5.4.3", tag, value))


def names_extension(*names):
    extensions = der(0x30, der(0x30, oid("2.5.29.17"), der(0x04, der(0x30, *names))))
    return der(0x30, oid("1.2.840.113549.1.9.14"), der(0x31, extensions))


class AuthorityTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for key, kind in (("ca", "ed25519"), ("other", "ed25519"), ("host", "ed25519"), ("ec", "p256"), ("x", "x25519")):
            cls.make("key", "new", kind, "-o", f"{key}.key")
        keys = pathlib.Path(__file__).resolve().parents[1] / "vectors/keys/private"
        cls.write("rsa.key", (keys / "openssl-pkcs8-rsa.pem").read_bytes())
        cls.make("cert", "self-sign", "-k", "ca.key", "--subject", "/C=UY/O=Acme/CN=Acme root", "-o", "ca.pem")
        cls.make("req", "new", "-k", "host.key", "--subject", "/CN=host.example", "--san", "DNS:host.example",
                 "--san", "IP:10.0.0.1", "-o", "host.csr")
        cls.issuing = ["cert", "issue", "--ca", "ca.pem", "-k", "ca.key"]
        cls.listing = ["crl", "new", "--ca", "ca.pem", "-k", "ca.key"]
        cls.count = 0

    @classmethod
    def make(cls, *arguments):
        result = cls.run_program(*arguments)
        assert result.status == 0, (arguments, result)

    def fresh(self, suffix=".pem"):
        """The name of a file that is not there."""
        type(self).count += 1
        return self.dir / f"made-{self.count}{suffix}"

    def refused(self, status, message, *arguments, **options):
        """Says so, with that status, and leaves no file."""
        path = self.fresh()
        result = self.expect(status, *arguments, "-o", path, **options)
        self.assertIn(message, result.err)
        self.assertNoControls(result.err)
        self.assertFalse(path.exists())
        return result

    def made(self, *arguments, **options):
        path = self.fresh()
        self.notes = self.expect(0, *arguments, "-o", path, **options).err
        self.assertNoControls(self.notes)
        return path

    def issued(self, *arguments, profile="server", **options):
        return self.made(*self.issuing, "--profile", profile, *arguments, **options)

    def text(self, path):
        return openssl("x509", "-in", path, "-noout", "-text", "-nameopt", "RFC2253").decode()

    def extension(self, path, title):
        """What OpenSSL shows of an extension: "critical" or "" and its value."""
        found = re.search(rf"X509v3 {title}:(.*)\n +(.*)\n", self.text(path))
        return (found[1].strip(), found[2].strip()) if found else None

    def shown(self, path, *fields):
        return openssl("x509", "-in", path, "-noout", "-nameopt", "RFC2253", *fields).decode().strip()

    def public(self, key):
        """A file with the public half of a key."""
        openssl("pkey", "-in", self.dir / f"{key}.key", "-pubout", "-out", self.dir / f"{key}.pub")
        return f"{key}.pub"

    def serial(self, path):
        return self.shown(path, "-serial").partition("=")[2]

    def dates(self, path):
        """Start and length in seconds."""
        start, end = (datetime.datetime.strptime(line.partition("=")[2], "%b %d %H:%M:%S %Y GMT")
                      for line in self.shown(path, "-dates").splitlines())
        return start, int((end - start).total_seconds())

    def request(self, subject, *attributes, key_info=None, spoil=False):
        """A request signed with the key of the host, made of whatever elements."""
        key_info = key_info or openssl("pkey", "-in", self.dir / "host.key", "-pubout", "-outform", "DER")
        tbs = der(0x30, der(0x02, b"\0"), subject, key_info, der(0xA0, *attributes))
        path = self.fresh(".csr")
        self.write("tbs", tbs)
        signature = bytearray(openssl("pkeyutl", "-sign", "-rawin", "-inkey", self.dir / "host.key", "-in", self.dir / "tbs"))
        signature[10] ^= spoil
        path.write_bytes(der(0x30, tbs, der(0x30, oid("1.3.101.112")), der(0x03, b"\0", bytes(signature))))
        return path


class RequestTest(AuthorityTest):
    def test_the_example_of_the_help_works(self):
        self.assertIn("host.example", self.run_examples("req", "new").stdout.decode())

    def test_openssl_reads_all_of_it(self):
        path = self.made("req", "new", "-k", "ec.key", "--subject", "/C=UY/ST=a/L=b/O=c/OU=d/CN=e\\/f/emailAddress=g@h/DC=i/1.2.3.4=j",
                         "--san", "DNS:*.a.example", "--san", "IP:::1", "--san", "IP:10.0.0.1", "--san", "email:a@b", "--san", "URI:http://a/",
                         "--challenge-password", "open sesame", "-a", "sha384")
        shown = openssl("req", "-in", path, "-verify", "-noout", "-text", "-nameopt", "RFC2253").decode()
        for part in ("1.2.3.4=#0C016A,DC=i,emailAddress=g@h,CN=e/f,OU=d,O=c,L=b,ST=a,C=UY", "open sesame", "ecdsa-with-SHA384",
                     "DNS:*.a.example, IP Address:0:0:0:0:0:0:0:1, IP Address:10.0.0.1, email:a@b, URI:http://a/"):
            self.assertIn(part, shown)
        self.assertNotIn("critical", shown)

    def test_forms_of_subjects(self):
        for text, expected in (("C=UY, O=Acme\\, Inc., CN=x", "CN=x,O=Acme\\, Inc.,C=UY"), ("cn=a , Cn=b", "CN=b,CN=a"),
                               ("/CN=\u00e9", "CN=\\C3\\A9"), ("/O=a=b", "O=a=b"), ("2.5.4.3=z", "CN=z")):
            path = self.made("req", "new", "-k", "host.key", "--subject", text)
            self.assertEqual(openssl("req", "-in", path, "-noout", "-subject", "-nameopt", "RFC2253").decode().strip(), f"subject={expected}")

    def test_refused_names(self):
        for text, problem in some((("CN", "no ATTRIBUTE=VALUE"), ("/CN=", "no value"), ("/ZZ=a", "ZZ: unknown"), ("/C=URY", "two letters"),
                              ("/C=\u00e9", "plain ASCII"), ("/CN=a\nb", "control"), ("/CN=a\u202eb", "control"), ("/1.50.3=a", "unknown"),
                              ("/2.5.4.99999999999=a", "unknown"), ("/=a", "unknown"), ("/CN=a//O=b", "no ATTRIBUTE=VALUE"))):
            self.refused(3, problem, "req", "new", "-k", "host.key", "--subject", text)
        self.refused(3, "control characters", "req", "new", "-k", "host.key", "--subject", "/CN=\udcff")
        for text in some(("host", "DNS:", "DNS:a b", "DNS:a..b", "DNS:.a", "DNS:a:80", "IP:1.2.3", "IP:1.2.3.4/8", "email:a", "email:\u00e9@b", "URI:a",
                     "URI:http://a/\n", "other:x", ":")):
            self.refused(3, "is not an alternative name", "req", "new", "-k", "host.key", "--san", text)
        self.refused(3, "must not be empty", "req", "new", "-k", "host.key", "--subject", "")
        for options in ([], ["--subject", " "], ["--subject", "/"]):
            self.refused(3, "would have no name", "req", "new", "-k", "host.key", *options)

    def test_names_alone_are_critical(self):
        path = self.made("req", "new", "-k", "host.key", "--san", "DNS:a.example")
        self.assertIn("Alternative Name: critical", openssl("req", "-in", path, "-noout", "-text").decode())

    def test_keys(self):
        make = ["req", "new", "--subject", "/CN=a", "-k"]
        for key, algorithm, shown in (("rsa.key", "sha1", "sha1WithRSA"), ("rsa.key", "SHA512", "sha512WithRSA"), ("ec.key", "sha1", "ecdsa-with-SHA1"),
                                      ("ec.key", None, "ecdsa-with-SHA256")):
            path = self.made(*make, key, *(["-a", algorithm] if algorithm else []))
            self.assertIn(shown, openssl("req", "-in", path, "-verify", "-noout", "-text").decode())
        self.refused(3, "has its own hash", *make, "host.key", "-a", "sha256")
        self.refused(3, "is not a hash for signatures; the choices are sha256, sha384, sha512 and sha1", *make, "ec.key", "-a", "md5")
        self.refused(3, "is not a hash", *make, "ec.key", "-a", "sha257")
        self.refused(2, "cannot sign", *make, "x.key")
        self.refused(2, "No such file", *make, "missing.key")
        self.refused(2, "ca.pem", *make, "ca.pem")
        self.refused(3, "standard input", *make, "-", "--password-file", "-")
        self.refused(3, "", "req", "new", "--subject", "/CN=a")
        self.write("password", "secret\n")
        self.write("wrong", "guess\n")
        self.make("key", "encrypt", "host.key", "--password-file", "password", "--iterations", "1000", "-o", self.dir / "locked.key")
        self.made(*make, "locked.key", "--password-file", "password")
        self.refused(1, "password", *make, "locked.key", "--password-file", "wrong")
        self.made(*make, "-", stdin=(self.dir / "host.key").read_bytes())

    def test_output(self):
        make = ["req", "new", "-k", "host.key", "--subject", "/CN=a"]
        self.assertTrue(self.expect(0, *make).out.startswith("-----BEGIN CERTIFICATE REQUEST-----\n"))
        path = self.made(*make, "--der")
        openssl("req", "-inform", "DER", "-in", path, "-verify", "-noout")
        before = path.read_bytes()
        self.expect(2, *make, "-o", path)
        self.assertEqual(path.read_bytes(), before)
        self.expect(0, *make, "-o", path, "--force")
        self.assertTrue(path.read_bytes().startswith(b"-----BEGIN"))
        self.expect(2, *make, "-o", "no/such/folder")
        self.assertIn(b"DER would garble", self.on_terminal(*make, "--der", status=3))

    def test_any_password_is_kept_and_shown_safely(self):
        for word in ("\udcff\x1b[2J", "p\u00e4ss", "line\nline"):
            path = self.made("req", "new", "-k", "host.key", "--subject", "/CN=a", "--challenge-password", word)
            openssl("req", "-in", path, "-verify", "-noout")
            for options in ([], ["--dump"]):
                result = self.expect(0, "show", path, *options)
                self.assertNoControls(result.out + result.err)


class SelfSignTest(AuthorityTest):
    def test_the_example_of_the_help_works(self):
        self.run_examples("cert", "self-sign")
        openssl("verify", "-x509_strict", "-check_ss_sig", "-CAfile", self.examples / "ca.pem", self.examples / "ca.pem")

    def test_an_authority(self):
        path = self.dir / "ca.pem"
        self.assertEqual(self.extension(path, "Basic Constraints"), ("critical", "CA:TRUE"))
        self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Certificate Sign, CRL Sign"))
        self.assertIsNone(self.extension(path, "Extended Key Usage"))
        self.assertEqual(self.shown(path, "-subject", "-issuer"), "subject=CN=Acme root,O=Acme,C=UY\nissuer=CN=Acme root,O=Acme,C=UY")
        self.assertEqual(self.dates(path)[1], 3650 * 86400 - 1)
        self.assertLess(abs(datetime.datetime.utcnow() - self.dates(path)[0]), datetime.timedelta(hours=1))

    def test_other_profiles_sign_themselves_too(self):
        path = self.made("cert", "self-sign", "-k", "rsa.key", "--profile", "server", "--subject", "/CN=a", "--san", "DNS:a.example")
        self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Digital Signature, Key Encipherment"))
        self.assertEqual(self.dates(path)[1], 365 * 86400 - 1)
        openssl("verify", "-CAfile", path, path)

    def test_refusals(self):
        make = ["cert", "self-sign", "-k", "ca.key"]
        self.refused(3, "would have no name", *make)
        self.refused(3, "an issuer has a name", *make, "--san", "DNS:a.example")
        self.refused(3, "is not a profile; the choices are server, client, tls, email, code-signing, time-stamping, ocsp and ca", *make, "--subject", "/CN=a", "--profile", "root")
        self.refused(2, "cannot sign", "cert", "self-sign", "-k", "x.key", "--subject", "/CN=a")
        self.refused(3, "ATTRIBUTE=VALUE", *make, "--subject", "a")

    def test_constraints_and_lists(self):
        path = self.made("cert", "self-sign", "-k", "ca.key", "--subject", "/CN=a", "--permit-dns", ".a.example", "--exclude-dns", "b.a.example",
                         "--crl-url", "http://a.example/1.crl", "--crl-url", "http://a.example/2.crl")
        shown = self.text(path)
        self.assertRegex(shown, r"Name Constraints: critical\n +Permitted:\n +DNS:a.example\n +Excluded:\n +DNS:b.a.example\n")
        self.assertEqual(re.findall(r"URI:(\S+)", shown), ["http://a.example/1.crl", "http://a.example/2.crl"])
        make = ["cert", "self-sign", "-k", "ca.key", "--subject", "/CN=a"]
        self.refused(3, "is not a domain", *make, "--permit-dns", "a b")
        self.refused(3, "is not a domain", *make, "--exclude-dns", ".")
        self.refused(3, "are for CAs", *make, "--exclude-dns", "a.example", "--profile", "client")
        self.refused(3, "is not the address of a CRL", *make, "--crl-url", "a.example")

    def test_dates(self):
        make = ["cert", "self-sign", "-k", "ca.key", "--subject", "/CN=a"]
        path = self.made(*make, "--from", "1950-01-01", "--to", "2049-12-31T23:59:59Z")
        self.assertEqual(self.shown(path, "-dates"), "notBefore=Jan  1 00:00:00 1950 GMT\nnotAfter=Dec 31 23:59:59 2049 GMT")
        path = self.made(*make, "--from", "2030-01-01", "--days", "1")
        self.assertEqual(self.shown(path, "-dates"), "notBefore=Jan  1 00:00:00 2030 GMT\nnotAfter=Jan  1 23:59:59 2030 GMT")
        for options, problem in some(((["--from", "1949-12-31T23:59:59Z"], "1950 to 2049"), (["--to", "2050-01-01"], "1950 to 2049"),
                                 (["--days", "4294967295"], "1950 to 2049"), (["--days", "0"], "end before it begins"),
                                 (["--from", "2030-01-02", "--to", "2030-01-02"], "end before it begins"), (["--from", "soon"], '"soon" is not a time'),
                                 (["--to", "2030-02-30"], "is not a time"), (["--days", "1", "--to", "2040-01-01"], "excludes"),
                                 (["--days", "4294967296"], ""), (["--days", "-1"], ""))):
            self.refused(3, problem, *make, *options)

    def test_serial_numbers(self):
        make = ["cert", "self-sign", "-k", "ca.key", "--subject", "/CN=a"]
        for text, expected in (("1", "01"), ("0x80", "80"), ("00:fF", "FF"), ("abc", "0ABC"), ("7F" + "00" * 19, "7F" + "00" * 19)):
            path = self.made(*make, "--serial", text)
            self.assertEqual(self.serial(path), expected)
        self.assertIn(b"\x02\x02\x00\xff", openssl("x509", "-in", self.made(*make, "--serial", "FF"), "-outform", "DER"))
        for text in some(("0", "00", "x", "80" + "00" * 19, "01" * 21, "0x", ":", "-1")):
            self.refused(3, "a serial number is hexadecimal", *make, f"--serial={text}")
        numbers = {self.serial(self.made(*make)) for _ in range(3)}
        self.assertEqual(len(numbers), 3)
        for number in numbers:
            self.assertGreater(len(number), 24)
            self.assertLessEqual(len(number), 32)


class IssueTest(AuthorityTest):
    def test_the_example_of_the_help_works(self):
        self.assertIn("OK", self.run_examples("cert", "issue").stdout.decode())

    def test_each_profile(self):
        expected = {"server": ("Digital Signature", "TLS Web Server Authentication", "CA:FALSE", 365),
                    "client": ("Digital Signature", "TLS Web Client Authentication", "CA:FALSE", 365),
                    "email": ("Digital Signature", "E-mail Protection", "CA:FALSE", 365), "code": ("Digital Signature", "Code Signing", "CA:FALSE", 365),
                    "CA": ("Certificate Sign, CRL Sign", None, "CA:TRUE", 3650)}
        tomorrow = datetime.datetime.utcnow() + datetime.timedelta(days=1)
        for profile, (usage, extended, constraints, days) in expected.items():
            path = self.issued("host.csr", "--from", f"{tomorrow:%Y-%m-%d}", profile=profile)
            self.assertEqual(self.extension(path, "Key Usage"), ("critical", usage))
            self.assertEqual(self.extension(path, "Extended Key Usage"), extended and ("", extended))
            self.assertEqual(self.extension(path, "Basic Constraints"), ("critical", constraints))
            self.assertLessEqual(self.dates(path)[1], days * 86400 - 1)
            if profile != "CA":
                self.assertEqual(self.dates(path)[1], days * 86400 - 1)
            openssl("verify", "-x509_strict", "-CAfile", self.dir / "ca.pem", "-attime", f"{tomorrow.timestamp():.0f}", path)
        self.refused(3, "is not a profile", *self.issuing, "--profile", "sever", "host.csr")

    def test_names_come_when_asked_for(self):
        path = self.issued("host.csr")
        self.assertIsNone(self.extension(path, "Subject Alternative Name"))
        self.assertIn("the subject is the request's: CN=host.example\n", self.notes)
        self.assertIn("also asks for the names DNS:host.example, IP:10.0.0.1: not taken without --accept-names\n", self.notes)
        self.assertIn("no host is named", self.notes)
        path = self.issued("--accept-names", "host.csr")
        self.assertEqual(self.extension(path, "Subject Alternative Name"), ("", "DNS:host.example, IP Address:10.0.0.1"))
        self.assertNotIn("no host", self.notes)
        path = self.issued("--san", "DNS:a.example", "host.csr", "--subject", "/O=b/CN=c")
        self.assertEqual(self.extension(path, "Subject Alternative Name"), ("", "DNS:a.example"))
        self.assertEqual(self.shown(path, "-subject"), "subject=CN=c,O=b")
        self.assertNotIn("the subject is", self.notes)
        path = self.issued("--accept-names", "--san", "DNS:a.example", "host.csr")
        self.assertEqual(self.extension(path, "Subject Alternative Name"), ("", "DNS:host.example, IP Address:10.0.0.1, DNS:a.example"))

    def test_usages_are_the_authoritys_choice(self):
        self.write("ask.cnf", "[req]\ndistinguished_name=d\nprompt=no\nreq_extensions=x\n[d]\nCN=a\n[x]\nbasicConstraints=critical,CA:TRUE\n"
                   "keyUsage=keyCertSign\nextendedKeyUsage=codeSigning\n1.2.3.4=critical,ASN1:NULL\n")
        openssl("req", "-new", "-key", self.dir / "host.key", "-config", self.dir / "ask.cnf", "-out", self.dir / "ask.csr")
        path = self.issued("ask.csr", "--san", "DNS:a.example")
        self.assertEqual(self.extension(path, "Basic Constraints"), ("critical", "CA:FALSE"))
        self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Digital Signature"))
        self.assertNotIn("1.2.3.4", self.text(path))
        self.assertEqual(self.notes, "sealkit: note: the subject is the request's: CN=a\n")

    def test_a_public_key_instead(self):
        openssl("pkey", "-in", self.dir / "host.key", "-pubout", "-out", self.dir / "host.pub")
        openssl("pkey", "-in", self.dir / "x.key", "-pubout", "-out", self.dir / "x.pub")
        for source in ("host.pub", "ca.pem"):
            path = self.issued("--public-key", source, "--subject", "/CN=a", profile="client")
            self.assertEqual(self.shown(path, "-subject"), "subject=CN=a")
        path = self.issued("--public-key", "-", "--subject", "/CN=a", profile="client", stdin=(self.dir / "host.pub").read_bytes())
        self.assertEqual(openssl("x509", "-in", path, "-pubkey", "-noout"), (self.dir / "host.pub").read_bytes())
        path = self.issued("--public-key", "x.pub", "--subject", "/CN=a")
        self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Key Agreement"))
        make = [*self.issuing, "--profile", "server"]
        self.refused(3, "would have no name", *make, "--public-key", "host.pub")
        self.refused(3, "give a request, or", *make)
        self.refused(3, "give a request, or", *make, "--public-key", "host.pub", "host.csr")
        self.refused(3, "--accept-names is for requests", *make, "--public-key", "host.pub", "--accept-names", "--subject", "/CN=a")
        self.refused(2, "an X25519 key cannot sign", *self.issuing, "--profile", "ca", "--public-key", "x.pub", "--subject", "/CN=a")
        self.refused(2, "expected: public key", *make, "--public-key", self.write("text", "x"), "--subject", "/CN=a")
        # A request is no way around its own signature.
        self.refused(3, "is a request", *make, "--public-key", "host.csr", "--subject", "/CN=a")
        spoiled = self.request(common_name("a"), spoil=True)
        self.refused(3, "is a request", *make, "--public-key", spoiled, "--subject", "/CN=a")
        self.refused(3, "is a request", *make, "--public-key", "-", "--subject", "/CN=a", stdin=spoiled.read_bytes())

    def test_a_request_whose_signature_fails_is_never_issued(self):
        make = [*self.issuing, "--profile", "client"]
        message = "its own signature does not verify"
        self.issued(self.request(common_name("a")), profile="client")
        self.refused(1, message, *make, self.request(common_name("a"), spoil=True))
        self.refused(1, message, *make, "--subject", "/CN=b", "--force", self.request(common_name("a"), spoil=True))
        self.refused(1, message, *make, "-", stdin=self.request(common_name("a"), spoil=True).read_bytes())
        # Of another key, and one that signs nothing.
        for key in ("other", "ec", "x", "rsa"):
            public = openssl("pkey", "-in", self.dir / f"{key}.key", "-pubout", "-outform", "DER")
            self.refused(1, message, *make, self.request(common_name("a"), key_info=public))
        unknown = der(0x30, der(0x30, oid("1.3.101.113")), der(0x03, b"\0", b"\1" * 57))
        self.refused(2, "The algorithm of the key is not supported", *make, self.request(common_name("a"), key_info=unknown))
        existing = self.write("existing.pem", "mine")
        self.expect(1, *make, "--force", "-o", existing, self.request(common_name("a"), spoil=True))
        self.assertEqual(existing.read_text(), "mine")

    def test_a_request_after_something_else(self):
        both = self.write("both.pem", (self.dir / "ca.pem").read_text() + (self.dir / "host.csr").read_text().replace(
            "CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST"))
        self.issued(both, profile="client")
        make = [*self.issuing, "--profile", "client"]
        self.refused(2, "not a certificate request", *make, "ca.pem")
        self.refused(2, "not a certificate request", *make, self.write("empty", ""))
        damaged = "-----BEGIN CERTIFICATE REQUEST-----\n****\n-----END CERTIFICATE REQUEST-----\n"
        self.refused(2, "base64", *make, self.write("damaged", damaged))
        self.refused(2, "No such file", *make, "missing.csr")
        self.refused(3, "standard input", *make[:-2], "--profile", "client", "-", "--password-file", "-")

    def test_hostile_subjects(self):
        make = [*self.issuing, "--profile", "client"]
        for subject in some((common_name("evil\x1b[2Jname"), common_name("a\nnote: all is well"), common_name(b"\xff\xfe"), common_name("a\u202eb"),
                        common_name("a\0b", 0x13), common_name("\0a\0b", 0x1E), name(("1.2.840.113549.1.9.1", 0x16, "a\rb")),
                        der(0x30, der(0x31, der(0x30, oid("2.5.4.3"), der(0x0C, "a"), der(0x0C, "b")))))):
            path = self.request(subject)
            shown = self.expect(0, "show", path)
            self.assertNoControls(shown.out + shown.err)
            shown = self.expect(0, "show", "--dump", path)
            self.assertNoControls(shown.out + shown.err)
            self.refused(2, "its subject is not plain text: give another one with --subject", *make, path)
            self.assertEqual(self.shown(self.issued("--subject", "/CN=good", path, profile="client"), "-subject"), "subject=CN=good")
        self.refused(3, "would have no name", *make, self.request(der(0x30)))
        # What is legible is taken byte for byte.
        subject = name(("2.5.4.3", 0x14, "a"), ("2.5.4.3", 0x0C, "\u00e9"), ("2.5.4.6", 0x13, "UY"), ("2.5.4.46", 0x12, "12"))
        self.assertIn(subject, openssl("x509", "-in", self.issued(self.request(subject), profile="client"), "-outform", "DER"))

    def test_a_megabyte_of_names(self):
        make = [*self.issuing, "--profile", "server"]
        long_one = self.request(common_name("x" * 1_000_000))
        self.assertLess(len(self.refused(2, "its subject is too long", *make, long_one).err), 500)
        many = self.request(common_name("a"), names_extension(*(der(0x82, f"host-{i}.example") for i in range(50_000))))
        path = self.issued(many)
        self.assertIn("DNS:host-9.example and 49990 more: not taken", self.notes)
        self.assertLess(len(self.notes), 1000)
        self.assertLess(path.stat().st_size, 2000)
        self.assertIn(b"host-49999.example", openssl("x509", "-in", self.issued("--accept-names", many), "-outform", "DER"))
        unknown = self.request(name(*(("1.2.3.4", 0x0C, "x") for _ in range(50_000))), der(0x30, oid("1.2.3.5"), der(0x31, der(0x0C, "x" * 1_000_000))))
        self.assertLess(len(self.refused(2, "too long", *make, unknown).err), 500)
        self.assertLess(len(self.issued("--subject", "/CN=a", unknown).read_bytes()), 2000)

    def test_hostile_alternative_names(self):
        make = [*self.issuing, "--profile", "server"]
        for bad, shown in some(((der(0x82, "a\x1b[2J.example"), "DNS:a\\x1b[2J.example"), (der(0x82, "good.example\0.evil"), "good.example\\x00.evil"),
                           (der(0x82, ""), "DNS:"), (der(0x81, "nobody"), "rfc822:nobody"), (der(0x86, "http://a/\n"), "\\x0a"),
                           (der(0xA4, common_name("a")), ""), (der(0xA0, oid("1.2.3"), der(0xA0, der(0x05))), ""), (der(0x88, b"\x2a"), "REG ID"),
                           (der(0x82, "x" * 100_000 + " "), "DNS:" + "x" * 100 + "..."))):
            path = self.request(common_name("a"), names_extension(der(0x82, "first.example"), bad))
            result = self.refused(2, "asks for a name that is not a host, address, mailbox or URI: ", *make, "--accept-names", path)
            self.assertIn(shown, result.err)
            self.assertLess(len(result.err), 600)
            self.assertIsNone(self.extension(self.issued(path), "Subject Alternative Name"))
            self.assertNoControls(self.expect(0, "show", path).out)

    def test_any_challenge_password(self):
        for word in (b"\x1b[2J secret", b"\xff\xfe secret", b""):
            path = self.request(common_name("a"), der(0x30, oid("1.2.840.113549.1.9.7"), der(0x31, der(0x0C, word))))
            certificate = openssl("x509", "-in", self.issued(path, profile="client"), "-outform", "DER")
            self.assertNotIn(b"secret", certificate)
            self.assertNoControls(self.expect(0, "show", path).out)

    def test_the_authority_must_be_one(self):
        leaf = self.issued("host.csr", profile="client")
        make = ["--profile", "client", "--subject", "/CN=x", "host.csr"]
        self.refused(2, "the key is not that of this certificate", "cert", "issue", "--ca", "ca.pem", "-k", "other.key", *make)
        self.refused(2, "its basic constraints do not say so", "cert", "issue", "--ca", leaf, "-k", "host.key", *make)
        self.refused(2, "no certificate", "cert", "issue", "--ca", "host.csr", "-k", "ca.key", *make)
        for usage, verb, message in (("cRLSign", "cert", "does not allow signing certificates"), ("keyCertSign", "crl", "signing CRLs")):
            self.issue_root("limited", CA_EXTENSIONS + f"keyUsage={usage}\n")
            arguments = ["issue", *make] if verb == "cert" else ["new"]
            self.refused(2, message, verb, *arguments, "--ca", "limited.pem", "-k", "limited.key")
            arguments = ["new"] if verb == "cert" else ["issue", *make]
            self.made("crl" if verb == "cert" else "cert", *arguments, "--ca", "limited.pem", "-k", "limited.key")

    def issue_root(self, root, extensions, *options, subject=None, key_ids=KEY_IDS):
        """Makes ROOT.key and ROOT.pem with OpenSSL."""
        openssl("genpkey", "-algorithm", "ED25519", "-out", self.dir / f"{root}.key")
        self.write(f"{root}.cnf", f"[req]\ndistinguished_name=d\n[d]\n[x]\n{extensions}{key_ids}")
        openssl("req", "-x509", "-new", "-utf8", "-config", self.dir / f"{root}.cnf", "-extensions", "x", "-key", self.dir / f"{root}.key",
                "-subj", subject or f"/CN={root}", "-out", self.dir / f"{root}.pem", *options)

    def test_a_foreign_name_is_repeated_byte_for_byte(self):
        self.issue_root("foreign", CA_EXTENSIONS, subject="/CN=r/O=a+OU=b/OU=c/OU=d/C=UY/emailAddress=e@f/DC=x")
        self.assertIsNone(self.extension(self.issue_with("foreign"), "Certificate Policies"))
        for path, kind in ((self.issue_with("foreign"), "x509"), (self.made("crl", "new", "--ca", "foreign.pem", "-k", "foreign.key"), "crl")):
            issuer = openssl(kind, "-in", path, "-noout", "-issuer", "-nameopt", "RFC2253,show_type").decode().partition("=")[2]
            self.assertEqual(issuer, self.shown(self.dir / "foreign.pem", "-subject", "-nameopt", "RFC2253,show_type").partition("=")[2] + "\n")
        openssl("crl", "-in", path, "-CAfile", self.dir / "foreign.pem", "-noout")
        self.expect(0, "verify", "--ca", "foreign.pem", self.issue_with("foreign"))

    def issue_with(self, root, *options):
        path = self.made("cert", "issue", "--ca", f"{root}.pem", "-k", f"{root}.key", "--profile", "client", *options, "host.csr")
        openssl("verify", "-CAfile", self.dir / f"{root}.pem", "-partial_chain", path)
        return path

    def test_an_authority_without_key_identifier(self):
        self.issue_root("bare", CA_EXTENSIONS, key_ids="subjectKeyIdentifier=none\nauthorityKeyIdentifier=none\n")
        path = self.issue_with("bare")
        self.assertIsNone(self.extension(path, "Authority Key Identifier"))
        self.assertIsNotNone(self.extension(path, "Subject Key Identifier"))
        self.expect(0, "verify", "--ca", "bare.pem", path)

    def test_an_authority_that_ends(self):
        self.issue_root("short", CA_EXTENSIONS, "-days", "10")
        end = self.shown(self.dir / "short.pem", "-enddate")
        path = self.issue_with("short")
        self.assertEqual(self.shown(path, "-enddate"), end)
        self.assertIn("and so does this one\n", self.notes)
        make = ["cert", "issue", "--ca", "short.pem", "-k", "short.key", "--profile", "client", "host.csr"]
        message = "short.pem: the standard rules refuse the certificate: the CA <CN=short>: expired: A certificate has expired. (certificate ends: "
        self.refused(2, message, *make, "--days", "20")
        self.refused(2, message.replace("ends", "begins"), *make, "--from", "2040-01-01")
        self.refused(2, "the CA <CN=short>: not-yet-valid: ", *make, "--from", "2020-01-01", "--days", "3000")

    def test_the_last_authority(self):
        for length, status in ((0, 2), (1, 0), (256, 0)):
            self.issue_root(f"length-{length}", f"basicConstraints=critical,CA:TRUE,pathlen:{length}\n")
            make = ["cert", "issue", "--ca", f"length-{length}.pem", "-k", f"length-{length}.key", "host.csr", "--profile"]
            self.made(*make, "client")
            if status:
                self.refused(status, "the CA <CN=length-0>: path-too-long: ", *make, "ca")
            else:
                self.made(*make, "ca")

    def test_an_intermediate_signs_on(self):
        for key, kind in some((("rsa", "rsa"), ("ec", "p256"))):
            self.make("req", "new", "-k", f"{key}.key", "--subject", f"/CN={kind} intermediate", "-o", f"{key}.csr")
            self.make(*self.issuing, "--profile", "ca", f"{key}.csr", "-o", f"{key}.pem")
            leaf = self.made("cert", "issue", "--ca", f"{key}.pem", "-k", f"{key}.key", "-a", "sha384", "--profile", "server", "--accept-names", "host.csr")
            self.write("chain.pem", leaf.read_text() + (self.dir / f"{key}.pem").read_text())
            self.assertIn("OK", self.expect(0, "verify", *([] if key == "rsa" else ["--strict"]), "--ca", "ca.pem", "--host", "host.example", "chain.pem").out)
            self.expect(0, "verify", "--ca", "ca.pem", "--ip", "10.0.0.1", "chain.pem")
            self.assertNotIn("Key Encipherment", self.text(leaf))
        path = self.issued("--public-key", "rsa.pem", "--subject", "/CN=a", profile="email")
        self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Digital Signature, Key Encipherment"))


class ContentsTest(AuthorityTest):
    """What else a certificate can say, and what the standard rules keep a CA from saying."""

    def test_several_purposes(self):
        for profiles, extended in ((["tls"], "TLS Web Server Authentication, TLS Web Client Authentication"),
                                   (["client", "email", "code-signing"], "TLS Web Client Authentication, Code Signing, E-mail Protection")):
            path = self.made(*self.issuing, *(part for each in profiles for part in ("--profile", each)), "--san", "DNS:a.example", "host.csr")
            self.assertEqual(self.extension(path, "Extended Key Usage"), ("", extended))
            self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Digital Signature"))
        path = self.issued("host.csr", profile="time-stamping")
        self.assertEqual(self.extension(path, "Extended Key Usage"), ("critical", "Time Stamping"))
        openssl("verify", "-CAfile", self.dir / "ca.pem", "-purpose", "timestampsign", path)
        path = self.issued("host.csr", profile="ocsp")
        self.assertEqual(self.extension(path, "Extended Key Usage"), ("", "OCSP Signing"))
        self.assertIn("OCSP No Check", self.text(path))
        self.refused(3, "must not have another purpose", *self.issuing, "--profile", "time-stamping", "--profile", "server", "host.csr")
        self.refused(2, "purpose-mismatch", *self.issuing, "--profile", "time-stamping", "--eku", "1.2.3.4", "host.csr")

    def test_what_only_authorities_have(self):
        constraints = ["--permit", "DNS:a.example", "--permit", "IP:10.0.0.0/8", "--permit", "email:a.example", "--permit", "dirName:/O=Acme",
                       "--permit-dns", "b.example", "--exclude", "URI:.c.example", "--exclude", "IP:10.1.0.0/255.255.0.0", "--exclude-dns", "d.a.example"]
        path = self.made(*self.issuing, "--profile", "ca", "--profile", "tls", "--path-length", "2", *constraints, "host.csr")
        self.assertIn("the platform's rules refuse this certificate", self.notes)
        self.assertEqual(self.extension(path, "Basic Constraints"), ("critical", "CA:TRUE, pathlen:2"))
        self.assertEqual(self.extension(path, "Key Usage"), ("critical", "Certificate Sign, CRL Sign"))
        self.assertEqual(self.extension(path, "Extended Key Usage"), ("", "TLS Web Server Authentication, TLS Web Client Authentication"))
        shown = re.search(r"Name Constraints: critical\n(.*?)\n {12}X509v3", self.text(path) + "\n            X509v3", re.DOTALL)[1]
        for part in ("DNS:a.example", "IP:10.0.0.0/255.0.0.0", "email:a.example", "DirName:O = Acme", "DNS:b.example", "URI:.c.example",
                     "IP:10.1.0.0/255.255.0.0", "DNS:d.a.example"):
            self.assertIn(part, shown)
        for options, problem in (([*constraints[:2]], "are for CAs"), (["--path-length", "0"], "is for CAs")):
            self.refused(3, problem, *self.issuing, "--profile", "client", *options, "host.csr")
        for text in some(("a.example", "DNS:*.a", "IP:10.0.0.1/8", "other:x")):
            self.refused(3, "is not a set of names", *self.issuing, "--profile", "ca", "--permit", text, "host.csr")

    def test_policies_and_addresses(self):
        path = self.issued("host.csr", "--policy", "2.23.140.1.2.1", "--policy", "1.2.3.4,http://a.example/cps", "--ocsp-url", "http://ocsp.example/",
                           "--issuer-url", "http://a.example/ca.cer", "--crl-url", "http://a.example/a.crl", "--eku", "1.3.6.1.4.1.311.20.2.2",
                           "--san", "DNS:a.example", "--san", "dirName:/O=Acme/CN=a", "--san", "RID:1.2.3", "--san", "otherName:1.3.6.1.4.1.311.20.2.3;UTF8:ada@a.example")
        shown = self.text(path)
        for part in ("Policy: 2.23.140.1.2.1", "Policy: 1.2.3.4", "CPS: http://a.example/cps", "OCSP - URI:http://ocsp.example/", "CA Issuers - URI:http://a.example/ca.cer",
                     "URI:http://a.example/a.crl", "Microsoft Smartcard Login", "DNS:a.example, DirName:O = Acme, CN = a, Registered ID:1.2.3, othername: UPN::ada@a.example"):
            self.assertIn(part, shown.replace("DirName:/O=Acme/CN=a", "DirName:O = Acme, CN = a"))
        for options, problem in some(((["--policy", "x"], "object identifier"), (["--policy", "1.2.3,nowhere"], "practice statement"),
                                      (["--policy", "1.2.3", "--policy", "1.2.3"], "given twice"), (["--ocsp-url", "a"], "OCSP responder"),
                                      (["--issuer-url", "a"], "is not the address of a certificate"), (["--eku", "nothing"], "object identifier"))):
            self.refused(3, problem, *self.issuing, "--profile", "client", *options, "host.csr")

    def test_subjects_by_template(self):
        self.make("req", "new", "-k", "host.key", "--subject", "/O=Evil, CN=root/OU=a/CN=b", "--force", "-o", "template.csr")
        for template, expected in (("/O=Acme/CN={CN} of {ou}", "CN=b of a,O=Acme"), ("CN={2.5.4.3}", "CN=b"), ("O=Acme,OU={O}", "OU=Evil\\, CN=root,O=Acme")):
            path = self.issued("--subject-template", template, "template.csr", profile="client")
            self.assertEqual(self.shown(path, "-subject"), f"subject={expected}")
        make = [*self.issuing, "--profile", "client"]
        self.refused(3, "L: missing in the name", *make, "--subject-template", "CN={L}", "template.csr")
        self.refused(3, "excludes", *make, "--subject-template", "CN={CN}", "--subject", "/CN=a", "template.csr")
        self.refused(3, "--subject-template is for requests", *make, "--subject-template", "CN={CN}", "--public-key", "ca.pem")

    def test_a_certificate_begins_before_now_and_not_before_its_authority(self):
        now = datetime.datetime.utcnow()
        start = self.dates(self.made("cert", "self-sign", "-k", "ca.key", "--subject", "/CN=a", "--backdate", "60"))[0]
        self.assertLess(abs((now - start).total_seconds() - 3600), 120)
        self.assertEqual(self.dates(self.issued("host.csr", "--backdate", "500000", profile="client"))[0], self.dates(self.dir / "ca.pem")[0])
        self.assertLessEqual(self.dates(self.issued("host.csr", "--backdate", "0", profile="client"))[0], datetime.datetime.utcnow())

    def test_the_standard_rules_count(self):
        self.make(*self.issuing, "--profile", "ca", "--profile", "server", "--path-length", "0", "--permit-dns", "a.example", "--subject", "/CN=limited",
                  "--public-key", self.public("other"), "--force", "-o", "sub.pem")
        make = ["cert", "issue", "--ca", "sub.pem", "-k", "other.key", "--public-key", self.public("ec"), "--subject", "/CN=x", "--profile"]
        self.made(*make, "server", "--san", "DNS:www.a.example")
        self.refused(2, "name-constraint-violated: ", *make, "server", "--san", "DNS:www.b.example")
        self.refused(2, "name: DNS: www.b.example", *make, "server", "--san", "DNS:www.b.example")
        named = [argument.replace("/CN=x", "/CN=www.b.example") for argument in make]
        self.refused(2, "common name: www.b.example, name: DNS: www.b.example", *named, "server", "--san", "DNS:www.a.example")
        self.refused(2, "purpose given: tls-client", *make, "tls", "--san", "DNS:www.a.example")
        self.refused(2, "path-too-long", *make, "ca")
        # What stands above the authority counts where it is known.
        self.make("cert", "self-sign", "-k", "ca.key", "--subject", "/C=UY/O=Acme/CN=Acme root", "--exclude-dns", "secret.a.example", "--force", "-o", "strict-root.pem")
        self.made(*make, "server", "--san", "DNS:secret.a.example")
        self.refused(2, "name-constraint-violated: ", *make, "server", "--san", "DNS:secret.a.example", "--chain", "strict-root.pem")

    def test_the_hash_of_the_keys_strength(self):
        for kind, shown in some((("p384", "SHA384"), ("p521", "SHA512"))):
            self.make("key", "new", kind, "-o", f"{kind}.key")
            make = ["-k", f"{kind}.key", "--subject", "/CN=a"]
            for path, command in ((self.made("cert", "self-sign", *make), "x509"), (self.made("req", "new", *make), "req")):
                self.assertIn(f"ecdsa-with-{shown}", openssl(command, "-in", path, "-noout", "-text").decode())
            self.assertIn("ecdsa-with-SHA256", openssl("req", "-in", self.made("req", "new", *make, "-a", "sha256"), "-noout", "-text").decode())
            signature = self.made("sign", "-k", f"{kind}.key", "host.csr")
            openssl("pkey", "-in", self.dir / f"{kind}.key", "-pubout", "-out", self.dir / "public")
            openssl("dgst", f"-{shown.lower()}", "-verify", self.dir / "public", "-signature", signature, self.dir / "host.csr")

    def test_requests_ask_for_usages(self):
        path = self.made("req", "new", "-k", "rsa.key", "--subject", "/CN=a", "--profile", "tls", "--profile", "email")
        shown = openssl("req", "-in", path, "-verify", "-noout", "-text").decode()
        self.assertIn("Digital Signature, Key Encipherment", shown)
        self.assertIn("TLS Web Server Authentication, TLS Web Client Authentication, E-mail Protection", shown)


class RenewTest(AuthorityTest):
    def test_the_example_of_the_help_works(self):
        self.run_examples("cert", "renew")

    def test_names_and_extensions_stay(self):
        old = self.issued("host.csr", "--accept-names", "--policy", "1.2.3.4", "--ocsp-url", "http://a.example/", "--days", "30")
        new = self.made("cert", "renew", "--ca", "ca.pem", "-k", "ca.key", old)
        parts = ("-subject", "-issuer", "-pubkey", "-ext", "subjectAltName,keyUsage,extendedKeyUsage,basicConstraints,certificatePolicies,authorityInfoAccess,"
                 "subjectKeyIdentifier,authorityKeyIdentifier")
        self.assertEqual(self.shown(old, *parts), self.shown(new, *parts))
        self.assertNotEqual(self.serial(old), self.serial(new))
        self.assertEqual(self.dates(new)[1], 30 * 86400 - 1)
        self.assertEqual(self.dates(self.made("cert", "renew", "--ca", "ca.pem", "-k", "ca.key", "--days", "60", old))[1], 60 * 86400 - 1)
        openssl("verify", "-x509_strict", "-CAfile", self.dir / "ca.pem", new)

    def test_a_new_key(self):
        old = self.issued("host.csr", profile="client")
        self.make("req", "new", "-k", "ec.key", "--subject", "/CN=other", "--force", "-o", "rekey.csr")
        for options in (["--request", "rekey.csr"], ["--public-key", self.public("ec")]):
            new = self.made("cert", "renew", "--ca", "ca.pem", "-k", "ca.key", *options, old)
            self.assertEqual(openssl("x509", "-in", new, "-pubkey", "-noout"), openssl("pkey", "-in", self.dir / "ec.key", "-pubout"))
            self.assertEqual(self.shown(new, "-subject"), self.shown(old, "-subject"))
            self.assertNotEqual(self.extension(new, "Subject Key Identifier"), self.extension(old, "Subject Key Identifier"))
            openssl("verify", "-x509_strict", "-CAfile", self.dir / "ca.pem", new)

    def test_an_authority_renews_itself(self):
        same = self.made("cert", "renew", "-k", "ca.key", "ca.pem")
        self.assertEqual(self.shown(same, "-subject", "-pubkey"), self.shown(self.dir / "ca.pem", "-subject", "-pubkey"))
        other = self.made("cert", "renew", "-k", "other.key", "ca.pem")
        for path in (same, other):
            openssl("verify", "-x509_strict", "-check_ss_sig", "-CAfile", path, path)
        # Certificates of before are renewed under the new key.
        old = self.issued("host.csr", profile="client")
        make = ["cert", "renew", "--ca", other, "-k", "other.key", old]
        self.refused(1, "was not issued by this CA", *make)
        openssl("verify", "-CAfile", other, self.made(*make, "--old-ca", "ca.pem"))

    def test_refusals(self):
        old = self.issued("host.csr", profile="client")
        self.refused(1, "did not sign itself", "cert", "renew", "-k", "host.key", old)
        forged = bytearray(openssl("x509", "-in", old, "-outform", "DER"))
        forged[-5] ^= 1
        self.refused(1, "was not issued by this CA", "cert", "renew", "--ca", "ca.pem", "-k", "ca.key", self.write("forged.der", bytes(forged)))
        self.refused(2, "expired: ", "cert", "renew", "--ca", "ca.pem", "-k", "ca.key", "--days", "5000", old)
        self.refused(3, "requires", "cert", "renew", "-k", "ca.key", "--public-key", "ec.key", "ca.pem")


class ListTest(AuthorityTest):
    def shown_list(self, path):
        return openssl("crl", "-in", path, "-CAfile", self.dir / "ca.pem", "-noout", "-text").decode()

    def entries(self, path):
        """Serial number and reason of each entry."""
        text = self.shown_list(path).partition("Revoked Certificates:")[2]
        return [(entry.split()[0], (re.search(r"Reason Code: ?\n +(.*)", entry) or [None, None])[1])
                for entry in text.partition("Signature Algorithm")[0].split("Serial Number: ")[1:]]

    def number(self, path):
        return int(openssl("crl", "-in", path, "-noout", "-crlnumber").decode().partition("=")[2], 16)

    def test_the_example_of_the_help_works(self):
        self.run_examples("crl", "new")
        text = openssl("crl", "-in", self.examples / "second.crl", "-CAfile", self.examples / "ca.pem", "-noout", "-text").decode()
        self.assertIn("1F02", text)
        self.assertIn("2A", text)

    def test_an_empty_list(self):
        path = self.made(*self.listing)
        shown = self.shown_list(path)
        for part in ("Version 2", "No Revoked Certificates", "X509v3 CRL Number: \n                1\n", "X509v3 Authority Key Identifier"):
            self.assertIn(part, shown)
        last, following = (datetime.datetime.strptime(re.search(f"{label} Update: (.*) GMT", shown)[1], "%b %d %H:%M:%S %Y") for label in ("Last", "Next"))
        self.assertEqual((following - last).days, 30)
        self.assertTrue(path.read_text().startswith("-----BEGIN X509 CRL-----\n"))
        openssl("crl", "-inform", "DER", "-in", self.made(*self.listing, "--der"), "-noout")

    def test_each_reason(self):
        revoked = [part for i, reason in enumerate(REASONS) for part in ("--revoke", f"{i + 0x80:x},{reason.upper()},2026-01-0{i + 1}")]
        path = self.made(*self.listing, *revoked, "--revoke", "FF")
        shown = self.entries(path)
        self.assertEqual([serial for serial, _ in shown], [f"{i + 0x80:X}" for i in range(len(REASONS))] + ["FF"])
        for (_, reason), expected in zip(shown, REASONS.values()):
            if expected:
                self.assertEqual(reason, expected)
        self.assertIsNone(shown[-1][1])
        # Of the two that OpenSSL has no name for, the numbers.
        encoded = openssl("crl", "-in", path, "-outform", "DER")
        for code in (0, 1, 2, 3, 4, 5, 6, 9, 10):
            self.assertIn(der(0x30, der(0x06, b"\x55\x1d\x15"), der(0x04, der(0x0A, bytes([code])))), encoded)
        for i in range(len(REASONS)):
            self.assertIn(f"Jan  {i + 1} 00:00:00 2026", self.shown_list(path))

    def test_a_certificate_that_is_revoked_fails(self):
        leaf = self.issued("host.csr", profile="client")
        self.expect(0, "verify", "--ca", "ca.pem", "--crl", self.made(*self.listing), leaf)
        crl = self.made(*self.listing, "--revoke", f"{leaf},superseded")
        self.assertIn("FAILED 10", self.expect(1, "verify", "--ca", "ca.pem", "--crl", crl, leaf).out)
        self.assertEqual(self.entries(crl), [(self.serial(leaf), "Superseded")])
        # Another authority's has the same number at most.
        stranger = self.made("cert", "self-sign", "-k", "other.key", "--subject", "/CN=stranger")
        self.refused(2, "was issued by another CA", *self.listing, "--revoke", stranger)
        self.refused(2, "no certificate", *self.listing, "--revoke", "host.csr")

    def test_lists_continue(self):
        first = self.made(*self.listing, "--revoke", "1", "--revoke", "2,certificateHold", "--revoke", "00:93,certificateHold")
        second = self.made(*self.listing, "--previous", first, "--revoke", "4,keyCompromise", "--release", "2")
        self.assertEqual(self.entries(second), [("01", None), ("93", "Certificate Hold"), ("04", "Key Compromise")])
        self.assertEqual((self.number(first), self.number(second)), (1, 2))
        self.made(*self.listing, "--previous", first, "--from", "2026-01-01", "--next-update", "2030-01-01")
        self.assertIn("note: the CRL is not newer than the previous one", self.notes)
        self.made(*self.listing, "--previous", first, "--from", "2045-01-01")
        self.assertIn("note: the CA's own certificate ended at ", self.notes)
        third = self.made(*self.listing, "--previous", second, "--revoke", "0x93,caCompromise", "--number", "0x1FF")
        self.assertEqual(self.entries(third), [("01", None), ("93", "CA Compromise"), ("04", "Key Compromise")])
        self.assertEqual(self.number(third), 0x1FF)
        self.assertEqual(self.number(self.made(*self.listing, "--previous", third)), 0x200)
        # What is released may be revoked in the same list.
        again = self.made(*self.listing, "--previous", first, "--release", "2", "--revoke", "2")
        self.assertEqual(self.entries(again), [("01", None), ("93", "Certificate Hold"), ("02", None)])
        for arguments, problem in ((["--revoke", "1"], "is already revoked"), (["--revoke", "9", "--revoke", "09"], "is already revoked"),
                                   (["--release", "1"], "is not on hold"), (["--release", "77"], "is not on hold"), (["--number", "1"], "the next is 02"),
                                   (["--number", "0"], "the next is 02")):
            self.refused(3, problem, *self.listing, "--previous", first, *arguments)
        self.assertEqual(self.number(self.made(*self.listing, "--number", "0")), 0)

    def test_nothing_of_a_previous_list_is_lost(self):
        first = self.make_crl("peer", "ca", [])
        text = openssl("crl", "-in", first, "-noout", "-text").decode()
        self.assertNotIn("CRL Number", text)
        self.assertEqual(self.number(self.made(*self.listing, "--previous", first)), 1)
        self.write("peer2.index", "".join(f"R\t351121000000Z\t251121000000Z{reason}\t{serial}\tunknown\t/CN=a\n" for serial, reason in (
            ("01", ",keyTime,20251101000000Z"), ("02", ",holdInstruction,holdInstructionReject"), ("8000000000000000000000000000000000000001", ""))))
        self.write("peer2.cnf", f"[ca]\ndefault_ca=c\n[c]\ndatabase={self.dir}/peer2.index\ndefault_md=default\ncrl_extensions=x\n[x]\n"
                   "authorityKeyIdentifier=keyid\nissuerAltName=URI:http://a/\n")
        openssl("ca", "-config", self.dir / "peer2.cnf", "-cert", self.dir / "ca.pem", "-keyfile", self.dir / "ca.key", "-gencrl", "-crldays", "9",
                "-out", self.dir / "peer2.crl")
        path = self.made(*self.listing, "--previous", "peer2.crl", "--revoke", "2,superseded")
        shown = self.shown_list(path)
        for part in ("Invalidity Date", "Nov  1 00:00:00 2025", "Hold Instruction Reject", "Issuer Alternative Name", "Superseded",
                     "8000000000000000000000000000000000000001"):
            self.assertIn(part, shown)

    def test_the_previous_list_is_ours(self):
        first = self.made(*self.listing, "--revoke", "1")
        self.made("cert", "self-sign", "-k", "other.key", "--subject", "/C=UY/O=Acme/CN=Acme root")
        twin = self.dir / f"made-{self.count}.pem"
        of_twin = self.made("crl", "new", "--ca", twin, "-k", "other.key")
        self.refused(1, "is not signed by this CA", *self.listing, "--previous", of_twin)
        encoded = bytearray(openssl("crl", "-in", first, "-outform", "DER"))
        encoded[-1] ^= 1
        self.refused(1, "is not signed by this CA", *self.listing, "--previous", self.write("spoiled.crl", bytes(encoded)))
        self.refused(2, "not a readable CRL", *self.listing, "--previous", "ca.pem")
        self.refused(2, "No such file", *self.listing, "--previous", "missing.crl")
        last = self.made(*self.listing, "--number", "0x7F" + "FF" * 19)
        self.refused(2, "its number is the largest possible", *self.listing, "--previous", last)

    def test_refusals(self):
        for arguments, problem in some(((["--revoke", "nothing"], "neither a serial number in hexadecimal nor a certificate file"),
                                   (["--revoke", "1,because"], '"because" is not a reason; the choices are keyCompromise'), (["--revoke", "1,,soon"], "is not a time"),
                                   (["--revoke", "1,,2050-01-01"], "1950 to 2049"), (["--revoke", "0"], "neither"), (["--revoke", ","], "neither"), (["--revoke", ""], "must not be empty"),
                                   (["--revoke", "1,removeFromCRL"], "is not a reason"), (["--revoke", "80" + "00" * 19], "neither"),
                                   (["--number", "x"], "is not a CRL number"), (["--number", "0x"], "is not a CRL number"), (["--number", str(1 << 159)], "is not a CRL number"),
                                   (["--number", "9" * 60], "is not a CRL number"), (["--from", "2050-01-01"], "1950 to 2049"), (["--from", "never"], "is not a time"),
                                   (["--next-update", "2020-01-01"], "out of date before it is issued"), (["--days", "0"], "out of date"),
                                   (["--days", "9", "--next-update", "2030-01-01"], "excludes"), (["--next-update", "2050-01-01"], "1950 to 2049"))):
            self.refused(3, problem, *self.listing, *arguments)
        self.write("ab", (self.dir / "ca.pem").read_bytes())
        self.refused(3, '"ab" may be a serial number or a file: write 0xab or ./ab', *self.listing, "--revoke", "ab")
        self.assertEqual(self.entries(self.made(*self.listing, "--revoke", "0xab")), [("AB", None)])
        self.assertEqual(self.entries(self.made(*self.listing, "--revoke", "./ab")), [(self.serial(self.dir / "ca.pem"), None)])
        self.assertEqual(self.number(self.made(*self.listing, "--number", str((1 << 159) - 1))), (1 << 159) - 1)
        self.refused(2, "the key is not that of this certificate", "crl", "new", "--ca", "ca.pem", "-k", "other.key")
        self.refused(3, "standard input", *self.listing[:-1], "-", "--previous", "-")
        self.refused(3, "has its own hash", *self.listing, "-a", "sha256")

    def test_dates(self):
        path = self.made(*self.listing, "--from", "2030-01-01", "--next-update", "2030-02-03T04:05:06Z", "--revoke", "1")
        shown = self.shown_list(path)
        for part in ("Last Update: Jan  1 00:00:00 2030", "Next Update: Feb  3 04:05:06 2030", "Revocation Date: Jan  1 00:00:00 2030"):
            self.assertIn(part, shown)

    def test_a_huge_list(self):
        count = 2_000 if EMULATED else 20_000
        self.write("huge.index", "".join(f"R\t351121000000Z\t251121000000Z,keyCompromise\t{i * 2654435761 % (1 << 32) + (1 << 40):012X}\tunknown\t/CN=a\n"
                                         for i in range(count)))
        self.write("huge.cnf", f"[ca]\ndefault_ca=c\n[c]\ndatabase={self.dir}/huge.index\ndefault_md=default\ncrl_extensions=x\n[x]\n"
                   "authorityKeyIdentifier=keyid\n")
        openssl("ca", "-config", self.dir / "huge.cnf", "-cert", self.dir / "ca.pem", "-keyfile", self.dir / "ca.key", "-gencrl", "-crldays", "9",
                "-out", self.dir / "huge.crl")
        path = self.made(*self.listing, "--previous", "huge.crl", "--revoke", "1")
        self.assertEqual(len(self.entries(path)), count + 1)


if __name__ == "__main__":
    unittest.main()
