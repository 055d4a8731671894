"""What OpenSSL says to the questions of PKITS, so that the table of tests/vectors/x509/pkits.txt is not our word alone, and
the program's answers to those that it can be asked."""
import base64
import concurrent.futures
import pathlib
import subprocess
import unittest

from support import EMULATED, PROGRAM, ProgramTest, SANITIZED

SUITE = pathlib.Path("/usr/lib/python3/dist-packages/cryptography_vectors/x509/PKITS_data")
TABLE = pathlib.Path(__file__).parent.parent / "vectors/x509/pkits.txt"
POLICIES = "2.16.840.1.101.3.2.1.48."

# The cases that OpenSSL answers otherwise than the suite expects, and why.
OPENSSL_DIFFERS = {
    "does not inherit the parameters of DSA keys": ["4.1.5"],
    "does not take a CRL's word on the certificate of its own issuer": ["4.14.30"],
}


def read_cases():
    cases, shared, fields = {}, {}, None
    for line in TABLE.read_text().splitlines():
        key, _, value = map(str.strip, line.partition("="))
        if line == "[group]":
            shared = fields = {}
        elif key == "case":
            fields = cases[value] = dict(shared)
        elif line and not line.startswith("#"):
            fields[key] = value
    return cases


def pem(folder, kind, label, names):
    def read(name):
        return base64.encodebytes((SUITE / folder / f"{name}.{kind}").read_bytes()).decode()
    return "".join(f"-----BEGIN {label}-----\n{read(name)}-----END {label}-----\n" for name in names)


@unittest.skipUnless(SUITE.is_dir(), "python3-cryptography-vectors is not installed: the tests of PKITS are left out")
class PkitsTest(ProgramTest):
    def ask(self, number, case):
        """Whether OpenSSL and the program accept; null where the program cannot be asked."""
        def put(name, *content):
            path = self.dir / f"{number}-{name}"
            path.write_text(pem(*content))
            return str(path)
        root = put("root.pem", "certs", "crt", "CERTIFICATE", ["TrustAnchorRootCertificate"])
        leaf = put("leaf.pem", "certs", "crt", "CERTIFICATE", [case["leaf"]])
        more = put("more.pem", "certs", "crt", "CERTIFICATE", case["certificates"].split())
        crls = put("crls.pem", "crls", "crl", "X509 CRL", ["TrustAnchorRootCRL", *case["crls"].split()])
        policies = [POLICIES + each for each in case.get("policies", "").split()]
        settings = case.get("settings", "").split()
        flags = {"explicit": "-explicit_policy", "inhibit-mapping": "-inhibit_map", "inhibit-any": "-inhibit_any"}
        wanted = [word for each in policies or ["2.5.29.32.0"] for word in ("-policy", each)]
        untrusted, candidates = (["-untrusted", more], ["--certificates", more]) if case["certificates"] else ([], [])
        openssl = ["openssl", "verify", "-attime", "1420070400", "-CAfile", root, *untrusted, "-CRLfile", crls, "-crl_check_all",
                   "-extended_crl", "-use_deltas", "-policy_check", *wanted, *(flags[each] for each in settings), leaf]
        ours = [*PROGRAM, "verify", "--rules", "rfc5280", "--at", "1420070400", "--ca", root, *candidates, "--crl", crls, "--purpose", "any",
                *(word for each in policies for word in ("--policy", each)), *(["--require-policy"] if "explicit" in settings else []), leaf]
        def accepts(command):
            return subprocess.run(command, capture_output=True, check=False, env=self.environment, stdin=subprocess.DEVNULL).returncode == 0
        return accepts(openssl), accepts(ours) if set(settings) <= {"explicit"} else None

    def test_answers(self):
        cases = list(read_cases().items())
        self.assertEqual(len(cases), 249)
        if EMULATED or SANITIZED:
            cases = cases[::8]
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            answers = list(pool.map(lambda each: self.ask(each[0], each[1][1]), enumerate(cases)))
        expected = {name: case["expected"] == "valid" for name, case in cases}
        differs = {name for (name, _), (openssl, _) in zip(cases, answers) if openssl != expected[name]}
        explained = {name for listed in OPENSSL_DIFFERS.values() for name in listed}
        self.assertEqual(differs, explained & set(expected))
        for (name, case), (_, ours) in zip(cases, answers):
            if ours is not None:
                self.assertEqual(ours, case["rfc5280"] == "0", name)


if __name__ == "__main__":
    unittest.main()
