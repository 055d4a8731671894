"""Whole authorities, made here and by OpenSSL and GnuTLS, each taken by the others and by NSS."""
import re
import time
import unittest

from support import EMULATED, SANITIZED, ProgramTest, openssl, peer

HASHES = ("sha1", "sha256", "sha384", "sha512")
KINDS = ("rsa", "p256", "p384", "p521", "ed25519")
# The hash that an Ed25519 key signs with is its own.
CHAINS = [(kind, algorithm) for kind in KINDS[:-1] for algorithm in HASHES] + [("ed25519", None)]

if EMULATED or SANITIZED:
    CHAINS = CHAINS[1::5]  # One of each kind but P-521, under each hash but SHA-1.

# Who is not asked, as it does not know the algorithm. OpenSSL and GnuTLS know all, SHA-1 where it is let.
UNKNOWN_TO_NSS = [("ed25519", None)]

# NSS takes a list in place of one that is older by a second at least.
YESTERDAY = str(int(time.time()) - 86400)
REASONS = ("unspecified", "keyCompromise", "caCompromise", "affiliationChanged", "superseded", "cessationOfOperation", "certificateHold",
           "privilegeWithdrawn", "aaCompromise")
NAMES = {"server": ("--san", "DNS:www.a.example", "--san", "IP:10.1.2.3", "--san", "IP:2001:db8::1"), "client": (),
         "email": ("--san", "email:who@a.example")}
PURPOSES = {"server": "sslserver", "client": "sslclient", "email": "smimesign"}
IDENTITIES = {"server": (["-verify_hostname", "www.a.example"], ["-verify_ip", "10.1.2.3"], ["-verify_ip", "2001:db8::1"]), "client": ([],),
              "email": (["-verify_email", "who@a.example"],)}


class AuthoritiesTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for kind in KINDS:
            for owner in ("root", "intermediate", "leaf"):
                cls.new_key(f"{kind}-{owner}", {"rsa": "RSA", "ed25519": "Ed25519"}.get(kind, f"P-{kind[1:]}"))

    def at(self, name):
        return self.dir / name

    def leaves(self, algorithm):
        """Every kind of certificate under one of the hashes, one of them under the others."""
        return ("server", "client", "email") if algorithm in (None, "sha256") else ("server",)

    def for_each_chain(self, check):
        for kind, algorithm in CHAINS:
            with self.subTest(kind=kind, algorithm=algorithm):
                self.make(kind, algorithm)
                for leaf in self.leaves(algorithm):
                    self.accepts(leaf, algorithm)
                self.refuses_revoked("server")
                check(kind, algorithm)

    def accepts(self, leaf, algorithm):
        """Our verdict on LEAF under the intermediate and the root with their lists, nothing to warn of."""
        self.concatenate("chain.pem", leaf, "intermediate")
        checks = {"server": (["--host", "www.a.example"], ["--ip", "2001:db8::1"]), "client": ([],), "email": (["--email", "who@a.example"],)}
        rules = [] if algorithm == "sha1" else ["--strict"]
        for identity in checks[leaf]:
            result = self.expect(0, "verify", *rules, "--ca", "root.pem", "--crl", "root.crl", "--crl", "intermediate.crl", *identity, "chain.pem")
            self.assertTrue(result.out.endswith("OK\n"), result)

    def refuses_revoked(self, leaf):
        self.concatenate("chain.pem", leaf, "intermediate")
        verify = ["verify", "--ca", "root.pem", "--crl", "root.crl", "--crl", "revoked.crl", "chain.pem"]
        self.assertIn("FAILED 10", self.expect(1, *verify).out)


class OursTest(AuthoritiesTest):
    """What we make."""

    def run_ours(self, *arguments):
        self.expect(0, *arguments, "--force")

    def make(self, kind, algorithm):
        sign = ["-a", algorithm] if algorithm else []
        key = {owner: self.at(f"{kind}-{owner}.key") for owner in ("root", "intermediate", "leaf")}
        self.run_ours("cert", "self-sign", "-k", key["root"], *sign, "--subject", "/C=UY/O=A/CN=root", "-o", "root.pem")
        self.run_ours("req", "new", "-k", key["intermediate"], *sign, "--subject", "/C=UY/O=A/CN=intermediate", "-o", "intermediate.csr")
        self.run_ours("cert", "issue", "--ca", "root.pem", "-k", key["root"], *sign, "--profile", "ca", "--permit-dns", "a.example", "-o",
                      "intermediate.pem", "intermediate.csr")
        for leaf in self.leaves(algorithm):
            self.run_ours("req", "new", "-k", key["leaf"], *sign, "--subject", f"/O=A/CN={leaf}", *NAMES[leaf], "-o", f"{leaf}.csr")
            self.run_ours("cert", "issue", "--ca", "intermediate.pem", "-k", key["intermediate"], *sign, "--profile", leaf, "--accept-names", "-o",
                          f"{leaf}.pem", f"{leaf}.csr")
        self.run_ours("crl", "new", "--ca", "root.pem", "-k", key["root"], *sign, "-o", "root.crl")
        revoked = [part for number, reason in enumerate(REASONS, 1) for part in ("--revoke", f"{number:02x},{reason}")]
        self.run_ours("crl", "new", "--ca", "intermediate.pem", "-k", key["intermediate"], *sign, *revoked, "--number", "77", "--from",
                      YESTERDAY, "-o", "intermediate.crl")
        self.run_ours("crl", "new", "--ca", "intermediate.pem", "-k", key["intermediate"], *sign, "--previous", "intermediate.crl", "--revoke",
                      "server.pem,keyCompromise", "-o", "revoked.crl")

    def test_the_peers_take_it(self):
        def check(kind, algorithm):
            self.openssl_takes_it(kind, algorithm)
            self.certtool_takes_it(algorithm)
            if (kind, algorithm) not in UNKNOWN_TO_NSS:
                self.nss_takes_it(algorithm)
        self.for_each_chain(check)

    def openssl_takes_it(self, kind, algorithm):
        verify = ["verify", "-x509_strict", "-crl_check_all", "-auth_level", "0" if algorithm == "sha1" else "1", "-CAfile", self.at("root.pem"),
                  "-untrusted", self.at("intermediate.pem"), "-CRLfile", self.at("root.crl")]
        for leaf in self.leaves(algorithm):
            for identity in IDENTITIES[leaf]:
                openssl(*verify, "-CRLfile", self.at("intermediate.crl"), "-purpose", PURPOSES[leaf], *identity, self.at(f"{leaf}.pem"))
            self.assertIn("Certificate request self-signature verify OK", self.openssl_request(f"{leaf}.csr"))
        with self.assertRaisesRegex(AssertionError, "certificate revoked"):
            openssl(*verify, "-CRLfile", self.at("revoked.crl"), self.at("server.pem"))
        shown = openssl("crl", "-in", self.at("intermediate.crl"), "-CAfile", self.at("intermediate.pem"), "-noout", "-text").decode()
        self.assertEqual(shown.count("Serial Number:"), len(REASONS))
        for text in ("Key Compromise", "CA Compromise", "Affiliation Changed", "Superseded", "Cessation Of Operation", "Certificate Hold",
                     "CRL Number: \n                77\n"):
            self.assertIn(text, shown)
        named = {"rsa": f"{algorithm}WithRSAEncryption", "ed25519": "ED25519"}.get(kind, f"ecdsa-with-{(algorithm or '').upper()}")
        for command, name in (("x509", "server.pem"), ("x509", "root.pem"), ("crl", "root.crl"), ("req", "server.csr")):
            self.assertIn(f"Signature Algorithm: {named}\n", openssl(command, "-in", self.at(name), "-noout", "-text").decode())

    def openssl_request(self, name):
        # It says so on standard error.
        return peer("sh", "-c", 'openssl req -in "$1" -verify -noout 2>&1', "sh", self.at(name)).decode()

    def certtool_takes_it(self, algorithm):
        broken = ["--verify-allow-broken"] if algorithm == "sha1" else []
        for leaf, identity in (("server", ["--verify-hostname", "www.a.example", "--verify-purpose", "1.3.6.1.5.5.7.3.1"]),
                               ("client", ["--verify-purpose", "1.3.6.1.5.5.7.3.2"]),
                               ("email", ["--verify-email", "who@a.example", "--verify-purpose", "1.3.6.1.5.5.7.3.4"])):
            if leaf in self.leaves(algorithm):
                chain = self.concatenate("chain.pem", leaf, "intermediate")
                shown = peer("certtool", "--verify", *broken, *identity, "--load-ca-certificate", self.at("root.pem"), "--infile", chain).decode()
                self.assertIn("Chain verification output: Verified.", shown)
        for issuer in ("root", "intermediate"):
            shown = peer("certtool", "--verify-crl", *broken, "--load-ca-certificate", self.at(f"{issuer}.pem"), "--infile", self.at(f"{issuer}.crl")).decode()
            self.assertIn("Verified", shown)
        self.assertIn("Self signature: verified", peer("certtool", "--crq-info", "--infile", self.at("server.csr")).decode())

    def nss_takes_it(self, algorithm):
        folder = self.at("nss")
        if folder.exists():
            for file in folder.iterdir():
                file.unlink()
        folder.mkdir(exist_ok=True)
        database = ["-d", f"sql:{folder}"]
        peer("certutil", "-N", *database, "--empty-password")
        for name, trust in (("root", "CT,C,C"), ("intermediate", ",,")):
            peer("certutil", "-A", *database, "-n", name, "-t", trust, "-i", self.at(f"{name}.pem"))
        for name in ("root", "intermediate"):
            peer("crlutil", "-I", *database, "-i", self.der("crl", f"{name}.crl"))
        for leaf, usage in (("server", "V"), ("client", "C"), ("email", "S")):
            if leaf in self.leaves(algorithm):
                peer("certutil", "-A", *database, "-n", leaf, "-t", ",,", "-i", self.at(f"{leaf}.pem"))
                self.assertIn(b"certificate is valid", peer("certutil", "-V", *database, "-n", leaf, "-u", usage, "-e"))
        peer("crlutil", "-I", *database, "-i", self.der("crl", "revoked.crl"))
        with self.assertRaisesRegex(AssertionError, "revoked"):
            peer("certutil", "-V", *database, "-n", "server", "-u", "V", "-e")

    def der(self, command, name):
        openssl(command, "-in", self.at(name), "-outform", "DER", "-out", self.at(f"{name}.der"))
        return self.at(f"{name}.der")


class OpensslTest(AuthoritiesTest):
    """What OpenSSL makes."""

    EXTENSIONS = {"intermediate": "basicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\nnameConstraints=critical,permitted;DNS:a.example\n",
                  "server": "basicConstraints=critical,CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n"
                            "subjectAltName=DNS:www.a.example,IP:10.1.2.3,IP:2001:db8::1\n",
                  "client": "basicConstraints=CA:FALSE\nkeyUsage=digitalSignature\nextendedKeyUsage=clientAuth\n",
                  "email": "basicConstraints=CA:FALSE\nkeyUsage=digitalSignature\nextendedKeyUsage=emailProtection\nsubjectAltName=email:who@a.example\n"}
    KEY_IDS = "subjectKeyIdentifier=hash\nauthorityKeyIdentifier=keyid:always,issuer:always\n"
    # It knows no name for privilegeWithdrawn and aACompromise, and knows removeFromCRL.
    REASONS = ("unspecified", "keyCompromise", "CACompromise", "affiliationChanged", "superseded", "cessationOfOperation", "certificateHold", "removeFromCRL")
    TEXTS = ("unspecified", "key compromise", "ca compromise", "affiliation changed", "superseded", "cessation of operation", "certificate hold", "")

    def make(self, kind, algorithm):
        sign = [f"-{algorithm}"] if algorithm else []
        key = {owner: self.at(f"{kind}-{owner}.key") for owner in ("root", "intermediate", "leaf")}
        self.write("root.cnf", "[req]\ndistinguished_name=d\n[d]\n[x]\nbasicConstraints=critical,CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign\n"
                   "subjectKeyIdentifier=hash\n")
        openssl("req", "-x509", "-new", *sign, "-config", self.at("root.cnf"), "-extensions", "x", "-key", key["root"], "-subj", "/O=A/CN=root", "-days", "99",
                "-out", self.at("root.pem"))
        for name in ("intermediate", *self.leaves(algorithm)):
            issuer, subject = ("root", "intermediate") if name == "intermediate" else ("intermediate", "leaf")
            self.write("extensions", self.EXTENSIONS[name] + self.KEY_IDS)
            openssl("req", "-new", *sign, "-key", key[subject], "-subj", f"/C=UY/O=A/CN={name}", "-out", self.at(f"{name}.csr"))
            openssl("x509", "-req", *sign, "-in", self.at(f"{name}.csr"), "-CA", self.at(f"{issuer}.pem"), "-CAkey", key[issuer], "-CAcreateserial", "-days", "90",
                    "-extfile", self.at("extensions"), "-out", self.at(f"{name}.pem"))
        for issuer, name, serials in (("root", "root", []), ("intermediate", "intermediate", []), ("intermediate", "revoked", self.REASONS)):
            index = "".join(f"R\t351121000000Z\t251121000000Z,{reason}\t{number:02X}\tunknown\t/CN=a\n" for number, reason in enumerate(serials, 1))
            if name == "revoked":
                serial = openssl("x509", "-in", self.at("server.pem"), "-noout", "-serial").decode().strip().partition("=")[2]
                index += f"R\t351121000000Z\t251121000000Z\t{serial}\tunknown\t/CN=a\n"
            self.write("index", index)
            self.write("number", "4D\n")
            self.write("ca.cnf", f"[ca]\ndefault_ca=c\n[c]\ndatabase={self.at('index')}\ncrlnumber={self.at('number')}\ndefault_md={algorithm or 'default'}\n"
                       "crl_extensions=x\n[x]\nauthorityKeyIdentifier=keyid:always,issuer:always\n")
            openssl("ca", "-config", self.at("ca.cnf"), "-cert", self.at(f"{issuer}.pem"), "-keyfile", key[issuer], "-gencrl", "-crldays", "9",
                    "-out", self.at(f"{name}.crl"))

    def test_we_take_it(self):
        def check(kind, algorithm):
            dump = self.expect(0, "show", "--dump", "revoked.crl").out
            self.assertIn("CRL number HEX: 4d\n", dump)
            self.assertEqual(tuple(re.findall("reasonCode: (.*)\n", dump)), self.TEXTS)
            # A request of theirs is issued by ours under their root, and taken by them.
            sign = ["-a", algorithm] if algorithm else []
            self.expect(0, "cert", "issue", "--ca", "intermediate.pem", "-k", f"{kind}-intermediate.key", *sign, "--profile", "server", "--san",
                        "DNS:www.a.example", "--force", "-o", "mixed.pem", "server.csr")
            self.expect(0, "crl", "new", "--ca", "intermediate.pem", "-k", f"{kind}-intermediate.key", *sign, "--previous", "revoked.crl", "--revoke",
                        "mixed.pem", "--force", "-o", "mixed.crl")
            verify = ["verify", "-x509_strict", "-auth_level", "0", "-crl_check_all", "-CAfile", self.at("root.pem"), "-untrusted", self.at("intermediate.pem"),
                      "-CRLfile", self.at("root.crl"), "-verify_hostname", "www.a.example", self.at("mixed.pem"), "-CRLfile"]
            openssl(*verify[:-2], "-CRLfile", self.at("intermediate.crl"), verify[-2])
            with self.assertRaisesRegex(AssertionError, "certificate revoked"):
                openssl(*verify[:-2], "-CRLfile", self.at("mixed.crl"), verify[-2])
        self.for_each_chain(check)


class CerttoolTest(AuthoritiesTest):
    """What GnuTLS makes."""

    TEMPLATES = {"root": "ca\ncert_signing_key\ncrl_signing_key\n", "intermediate": "ca\ncert_signing_key\ncrl_signing_key\nnc_permit_dns = a.example\n",
                 "server": "signing_key\ntls_www_server\ndns_name = www.a.example\nip_address = 10.1.2.3\nip_address = 2001:db8::1\n",
                 "client": "signing_key\ntls_www_client\n", "email": "signing_key\nemail_protection_key\nemail = who@a.example\n"}

    def make(self, kind, algorithm):
        sign = ["--hash", algorithm.upper()] if algorithm else []
        for number, name in enumerate(("root", "intermediate", *self.leaves(algorithm)), 1):
            owner = name if name in ("root", "intermediate") else "leaf"
            issuer = "root" if name == "intermediate" else "intermediate"
            self.write("template", f'organization = A\ncn = {name}\nserial = {number}\nexpiration_days = 90\n{self.TEMPLATES[name]}')
            make = ["certtool", *sign, "--template", self.at("template"), "--outfile", self.at(f"{name}.pem")]
            if name == "root":
                peer(*make, "--generate-self-signed", "--load-privkey", self.at(f"{kind}-root.key"))
                continue
            request = ["certtool", *sign, "--generate-request", "--template", self.at("template"), "--load-privkey", self.at(f"{kind}-{owner}.key")]
            peer(*request, "--outfile", self.at(f"{name}.csr"))
            peer(*make, "--generate-certificate", "--load-request", self.at(f"{name}.csr"), "--load-ca-certificate", self.at(f"{issuer}.pem"),
                 "--load-ca-privkey", self.at(f"{kind}-{issuer}.key"))
        for issuer, name, revoked in (("root", "root", []), ("intermediate", "intermediate", []), ("intermediate", "revoked", ["--load-certificate", self.at("server.pem")])):
            self.write("template", "crl_next_update = 9\ncrl_number = 77\n")
            peer("certtool", *sign, "--generate-crl", "--template", self.at("template"), *revoked, "--load-ca-certificate", self.at(f"{issuer}.pem"),
                 "--load-ca-privkey", self.at(f"{kind}-{issuer}.key"), "--outfile", self.at(f"{name}.crl"))

    def test_we_take_it(self):
        def check(kind, algorithm):
            self.assertIn("CRL number HEX: 4d\n", self.expect(0, "show", "--dump", "revoked.crl").out)
            sign = ["-a", algorithm] if algorithm else []
            self.expect(0, "cert", "issue", "--ca", "intermediate.pem", "-k", f"{kind}-intermediate.key", *sign, "--profile", "server", "--accept-names",
                        "--force", "-o", "mixed.pem", "server.csr")
            chain = self.concatenate("chain.pem", "mixed", "intermediate")
            broken = ["--verify-allow-broken"] if algorithm == "sha1" else []
            self.assertIn(b"output: Verified.", peer("certtool", "--verify", *broken, "--load-ca-certificate", self.at("root.pem"), "--infile", chain))
        self.for_each_chain(check)


class ContentsTest(ProgramTest):
    """Constraints, policies and several purposes, each way."""

    CONSTRAINTS = ("--permit", "DNS:a.example", "--permit", "IP:10.0.0.0/8", "--permit", "IP:2001:db8::/32", "--permit", "email:a.example",
                   "--permit", "dirName:/O=Acme", "--exclude", "DNS:secret.a.example", "--exclude", "IP:10.9.0.0/16")
    EXTENSIONS = ("basicConstraints=critical,CA:TRUE,pathlen:0\nkeyUsage=critical,keyCertSign,cRLSign\nextendedKeyUsage=serverAuth,clientAuth,emailProtection\n"
                  "nameConstraints=critical,permitted;DNS:a.example,permitted;IP:10.0.0.0/255.0.0.0,permitted;email:a.example,permitted;dirName:d,"
                  "excluded;DNS:secret.a.example\nsubjectKeyIdentifier=hash\n[d]\nO=Acme\n")
    LEAF = ("--profile", "tls", "--profile", "email", "--subject", "/O=Acme/CN=leaf", "--san", "DNS:www.a.example", "--san", "IP:10.1.2.3", "--san", "email:who@a.example",
            "--policy", "1.2.3.4,http://a.example/cps", "--ocsp-url", "http://ocsp.example/", "--issuer-url", "http://a.example/ca.cer", "--crl-url", "http://a.example/a.crl")

    def run_ours(self, *arguments, status=0):
        return self.expect(status, *arguments, "--force")

    def at(self, name):
        return self.dir / name

    def test_the_peers_take_ours(self):
        for name, kind in (("root", "p384"), ("intermediate", "p521"), ("leaf", "p256")):
            self.run_ours("key", "new", kind, "-o", f"{name}.key")
            self.run_ours("key", "public", f"{name}.key", "-o", f"{name}.pub")
        self.run_ours("cert", "self-sign", "-k", "root.key", "--subject", "/O=Acme/CN=root", "--path-length", "1", "-o", "root.pem")
        self.run_ours("cert", "issue", "--ca", "root.pem", "-k", "root.key", "--profile", "ca", "--profile", "tls", "--profile", "email", "--path-length", "0", "--policy", "1.2.3.4",
                      *self.CONSTRAINTS, "--public-key", "intermediate.pub", "--subject", "/O=Acme/CN=intermediate", "-o", "intermediate.pem")
        issue = ["cert", "issue", "--ca", "intermediate.pem", "-k", "intermediate.key", "--chain", "root.pem", "--public-key", "leaf.pub"]
        self.run_ours(*issue, *self.LEAF, "-o", "first.pem")
        self.run_ours("cert", "renew", "--ca", "intermediate.pem", "-k", "intermediate.key", "first.pem", "-o", "leaf.pem")
        verify = ["verify", "-x509_strict", "-policy", "1.2.3.4", "-explicit_policy", "-CAfile", self.at("root.pem"), "-untrusted", self.at("intermediate.pem")]
        for purpose in ("sslserver", "sslclient", "smimesign"):
            openssl(*verify, "-purpose", purpose, "-verify_hostname", "www.a.example", self.at("leaf.pem"))
        chain = self.concatenate("chain.pem", "leaf", "intermediate")
        for purpose in ("1.3.6.1.5.5.7.3.1", "1.3.6.1.5.5.7.3.2", "1.3.6.1.5.5.7.3.4"):
            shown = peer("certtool", "--verify", "--verify-hostname", "www.a.example", "--verify-purpose", purpose, "--load-ca-certificate", self.at("root.pem"), "--infile", chain)
            self.assertIn(b"output: Verified.", shown)
        self.expect(0, "verify", "--rules", "strict", "--ca", "root.pem", "--host", "www.a.example", "--policy", "1.2.3.4", "--require-policy", "chain.pem")

    def test_ours_keeps_within_theirs(self):
        self.new_key("theirs")
        self.write("ca.cnf", f"[req]\ndistinguished_name=n\n[n]\n[x]\n{self.EXTENSIONS}")
        openssl("req", "-x509", "-new", "-config", self.at("ca.cnf"), "-extensions", "x", "-key", self.at("theirs.key"), "-subj", "/O=Acme/CN=theirs", "-days", "90", "-out", self.at("theirs.pem"))
        self.new_key("leaf")
        openssl("req", "-new", "-key", self.at("leaf.key"), "-subj", "/O=Acme/CN=leaf", "-addext", "subjectAltName=DNS:www.a.example,IP:10.1.2.3", "-out", self.at("leaf.csr"))
        issue = ["cert", "issue", "--ca", "theirs.pem", "-k", "theirs.key", "-o", "made.pem"]
        self.run_ours(*issue, "--profile", "tls", "--accept-names", "leaf.csr")
        openssl("verify", "-x509_strict", "-CAfile", self.at("theirs.pem"), "-purpose", "sslserver", self.at("made.pem"))
        for options, message in ((["--profile", "ca"], "path-too-long"), (["--profile", "code-signing"], "purpose-mismatch"), (["--profile", "tls", "--days", "100"], "expired"),
                                 (["--profile", "tls", "--san", "DNS:www.b.example"], "name-constraint-violated"), (["--profile", "tls", "--san", "IP:11.0.0.1"], "name-constraint-violated"),
                                 (["--profile", "tls", "--san", "DNS:secret.a.example"], "name-constraint-violated"), (["--profile", "tls", "--subject", "/O=Other/CN=a"], "name-constraint-violated"),
                                 (["--profile", "email", "--san", "email:who@b.example"], "name-constraint-violated")):
            self.assertIn(message, self.run_ours(*issue, *options, "leaf.csr", status=2).err)

    def test_the_peers_take_time_stamps_and_responders(self):
        for name in ("root", "leaf"):
            self.run_ours("key", "new", "rsa-2048" if name == "leaf" else "p256", "-o", f"{name}.key")
            self.run_ours("key", "public", f"{name}.key", "-o", f"{name}.pub")
        self.run_ours("cert", "self-sign", "-k", "root.key", "--subject", "/O=Acme/CN=root", "-o", "root.pem")
        issue = ["cert", "issue", "--ca", "root.pem", "-k", "root.key", "--public-key", "leaf.pub", "--subject", "/O=Acme/CN=leaf"]
        for profile, purpose, oid in (("time-stamping", "timestampsign", "1.3.6.1.5.5.7.3.8"), ("ocsp", "ocsphelper", "1.3.6.1.5.5.7.3.9"), ("code-signing", "any", "1.3.6.1.5.5.7.3.3")):
            self.run_ours(*issue, "--profile", profile, "-o", f"{profile}.pem")
            openssl("verify", "-x509_strict", "-purpose", purpose, "-CAfile", self.at("root.pem"), self.at(f"{profile}.pem"))
            self.assertIn(b"output: Verified.", peer("certtool", "--verify", "--verify-purpose", oid, "--load-ca-certificate", self.at("root.pem"), "--infile", self.at(f"{profile}.pem")))
            self.assertIn(b"passes validation checks", peer("botan", "cert_verify", self.at(f"{profile}.pem"), self.at("root.pem")))


if __name__ == "__main__":
    unittest.main()
