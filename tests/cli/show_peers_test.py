"""Odd certificates that others collected: each is shown, with the facts that OpenSSL and GnuTLS find in it."""
import calendar
import concurrent.futures
import pathlib
import re
import subprocess
import time
import unittest

from support import EMULATED, ProgramTest

SUITE = pathlib.Path("/usr/lib/python3/dist-packages/cryptography_vectors/x509")


def is_certificate(path):
    data = path.read_bytes()
    if path.name.startswith("crl_") or path.name.endswith("_crl.pem"):
        return False
    return b"-----BEGIN CERTIFICATE-----" in data or (path.suffix in (".der", ".crt", ".cer") and b"-----BEGIN" not in data)


def run(*command):
    process = subprocess.run([*map(str, command)], capture_output=True, check=False, stdin=subprocess.DEVNULL)
    return process.stdout.decode("utf-8", "replace") if process.returncode == 0 else ""


def openssl_facts(path):
    """Serial number, dates and fingerprint of the first certificate; nothing where OpenSSL does not read it."""
    form = "PEM" if b"-----BEGIN" in path.read_bytes() else "DER"
    text = run("openssl", "x509", "-in", path, "-inform", form, "-noout", "-serial", "-fingerprint", "-sha256", "-startdate", "-enddate")
    facts = dict(line.split("=", 1) for line in text.splitlines() if "=" in line)
    return {key.lower(): value for key, value in facts.items()}


def seconds(date):
    """Of "Nov 16 01:15:03 2018 GMT"."""
    return calendar.timegm(time.strptime(date, "%b %d %H:%M:%S %Y GMT"))


class ShowPeersTest(ProgramTest):
    def test_every_certificate_is_shown_with_its_facts(self):
        paths = sorted(path for folder in (SUITE, SUITE / "custom", SUITE / "ed25519", SUITE / "ed448", SUITE / "PKITS_data/certs")
                       for path in folder.iterdir() if path.is_file() and is_certificate(path))
        paths = paths[::10] if EMULATED else paths
        self.assertGreater(len(paths), 20 if EMULATED else 300)
        with concurrent.futures.ThreadPoolExecutor() as pool:
            facts = dict(zip(paths, pool.map(openssl_facts, paths)))
        result = self.run_program("show", "--json", *paths)
        self.assertIn(result.status, (0, 2))
        shown = {}
        for document in result.objects:
            shown.setdefault(document["file"], document)
        read = 0
        for path in paths:
            if path.name == "cryptography-scts-tbs-precert.der":
                continue  # The signed part alone, which is no certificate.
            document = shown.get(str(path))
            self.assertIsNotNone(document, path)
            self.assertEqual(document["object"], "certificate", path)
            wanted = facts[path]
            if not wanted:
                continue
            read += 1
            with self.subTest(path=path.name):
                number = wanted["serial"].lstrip("-").lower()
                if "serialNumberSign" not in document and number:
                    self.assertEqual(int(document["serialNumber"].replace(":", "").split(".")[0], 16), int(number, 16))
                self.assertEqual(document["sha256Fingerprint"], wanted["sha256 fingerprint"].lower())
                for name, date in (("notBefore", "notbefore"), ("notAfter", "notafter")):
                    if document[name].endswith("Z") and re.match(r"\w{3} +\d", wanted.get(date, "")):
                        self.assertEqual(calendar.timegm(time.strptime(document[name], "%Y-%m-%dT%H:%M:%SZ")), seconds(wanted[date]))
        self.assertGreater(read, 15 if EMULATED else 250)

    def test_the_same_extensions_as_openssl_and_gnutls(self):
        """What they print somewhere in their texts is in ours."""
        for name, ours, theirs in (
                ("custom/all_key_usages.pem", ["encipher-only", "crl-sign"], "Encipher Only"),
                ("custom/cp_user_notice_with_notice_reference.pem", ["user-notice: "], "Organization: my org"),
                ("custom/cdp_all_reasons.pem", ["(reasons: "], "Affiliation Changed"),
                ("custom/pc_inhibit_require.pem", ["require explicit policy: 1", "inhibit policy mapping: 1"], "Inhibit Policy Mapping"),
                ("custom/sia.pem", ["ca-repository URI: "], "CA Repository"),
                ("custom/freshestcrl.pem", ["freshest crl: "], "Freshest CRL"),
                ("custom/nc_permitted_excluded.pem", ["permitted: ", "excluded: "], "Excluded"),
                ("custom/authority_key_identifier.pem", ["authority key identifier:", "issuer: Name: "], "DirName"),
                ("custom/inhibit_any_policy_5.pem", ["inhibit any policy"], "Inhibit Any Policy"),
                ("custom/dsa_selfsigned_ca.pem", ["algorithm: DSA", "bits: "], "dsaEncryption"),
                ("cryptography.io.pem", ["certificate policies"], "Policy"),
                ("badssl-sct.pem", ["signed certificate timestamps:", "signed with: SHA256+ECDSA"], "Timestamp"),
                ("tls-feature-ocsp-staple.pem", ["tls feature: status-request"], "status_request"),
                ("v1_cert.pem", ["version: 1", "refuse"], "Version: 1"),
                ("ed448/root-ed448.pem", ["algorithm: ED448"], "ED448")):
            with self.subTest(name=name):
                path = SUITE / name
                if not path.exists():
                    continue  # Versions of the package differ.
                text = " ".join(self.run_program("show", path).out.replace("\n    |", "").split())
                for part in ours:
                    self.assertIn(part, text)
                self.assertIn(theirs, run("openssl", "x509", "-in", path, "-noout", "-text"))

    def test_certtool_finds_the_same_key_identifiers(self):
        names = ["custom/authority_key_identifier.pem", "cryptography.io.pem", "rapidssl_sha256_ca_g3.pem", "letsencryptx3.pem"]
        for name in names:
            theirs = run("certtool", "-i", "--infile", SUITE / name)
            text = self.run_program("show", SUITE / name).out.replace(":", "")
            for title in ("Subject Key Identifier", "Authority Key Identifier"):
                found = re.search(title + r"[^\n]*:\n\s*([0-9a-f]{40})\n", theirs)
                if found:
                    self.assertIn(found.group(1), text, name)


if __name__ == "__main__":
    unittest.main()
