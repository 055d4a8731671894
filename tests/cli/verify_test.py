import base64
import json
import os
import random
import subprocess
import time
import unittest

from support import CA, LEAF, PROGRAM, ProgramTest, openssl

NAMES = LEAF + "subjectAltName=DNS:www.example.test,DNS:*.shop.example.test,IP:192.0.2.7,IP:2001:db8::7,email:post@example.test\n"


class VerifyTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA)
        cls.issue("inter", "root", CA)
        cls.issue("leaf", "inter", NAMES)
        cls.issue("other-root", extensions=CA)
        cls.concatenate("chain.pem", "leaf", "inter")
        cls.concatenate("full.pem", "leaf", "inter", "root")

    def verdict(self, status, *arguments, **options):
        """The last line on standard output."""
        result = self.expect(status, "verify", *arguments, **options)
        return result.out.splitlines()[-1], result

    def test_good_chain(self):
        last, result = self.verdict(0, "--ca", "root.pem", "--host", "www.example.test", "chain.pem")
        self.assertEqual(last, "OK")
        lines = result.out.splitlines()
        self.assertEqual(len(lines), 4, "one line a certificate and the verdict")
        self.assertIn("CN=leaf", lines[0])
        self.assertIn("CN=inter", lines[1])
        self.assertIn("CN=root", lines[2])
        self.assertEqual(result.err, "")

    def test_every_kind_of_identity(self):
        for identity in (["--host", "WWW.example.TEST"], ["--host", "a.shop.example.test"], ["--ip", "192.0.2.7"],
                         ["--ip", "2001:db8:0::7"], ["--email", "post@example.test", "--purpose", "any"]):
            self.assertEqual(self.verdict(0, "--ca", "root.pem", *identity, "chain.pem")[0], "OK")
        for identity in (["--host", "shop.example.test"], ["--host", "a.b.shop.example.test"], ["--ip", "192.0.2.8"],
                         ["--email", "POST@example.test"]):
            last, result = self.verdict(1, "--ca", "root.pem", *identity, "chain.pem")
            self.assertEqual(last, 'FAILED 2: name verification failed for: "O=Test, CN=leaf"')
            self.assertIn("certificate 0", result.err)
            self.assertIn(identity[1].lower(), result.err.lower(), "the name asked")
            self.assertIn("www.example.test", result.err, "the names found")

    def test_chain_from_standard_input_and_der(self):
        self.assertEqual(self.verdict(0, "--ca", "root.pem", "-", stdin=(self.dir / "chain.pem").read_bytes())[0], "OK")
        openssl("x509", "-in", self.dir / "inter.pem", "-outform", "DER", "-out", self.dir / "inter.der")
        openssl("x509", "-in", self.dir / "root.pem", "-outform", "DER", "-out", self.dir / "root.der")
        self.assertEqual(self.verdict(0, "--ca", "root.der", "inter.der")[0], "OK")

    def test_times(self):
        for time in ("2001-01-01", "2001-01-01T00:00:00Z", "2001-01-01 12:30:00", "2001-01-01T00:00:00+01:00", "978307200"):
            last, result = self.verdict(1, "--ca", "root.pem", "--at", time, "chain.pem")
            self.assertRegex(last, r'^FAILED 4: cert not valid \(before: .* > now: .* 2001\) - "O=Test, CN=leaf"$|'
                                   r'^FAILED 4: cert not valid \(before: .* > now: Sun Dec 31 23:00:00 2000\)')
            self.assertIn("notBefore", result.err)
        last, result = self.verdict(1, "--ca", "root.pem", "--at", "2100-01-01", "chain.pem")
        self.assertRegex(last, r'^FAILED 5: cert not valid \(after: .* < now: Fri Jan  1 00:00:00 2100\) - "O=Test, CN=leaf"$')
        self.assertIn("notAfter", result.err)
        for nonsense in ("2001-02-30", "2001-13-01", "tomorrow", "", "2001-01-01T25:00:00Z"):
            if nonsense:
                self.assertIn("--at", self.expect(3, "verify", "--at", nonsense, "chain.pem").err)

    def test_unknown_root_and_missing_intermediate(self):
        last, result = self.verdict(1, "--ca", "other-root.pem", "chain.pem")
        self.assertTrue(last.startswith("FAILED 6: "), last)
        self.assertGreater(len(last), len("FAILED 6: "))
        self.assertTrue(self.verdict(1, "--ca", "root.pem", "leaf.pem")[0].startswith("FAILED 6: "))

    def test_wrong_order_is_put_right_and_said(self):
        for order in (("inter", "leaf"), ("root", "inter", "leaf"), ("inter", "root", "leaf"), ("leaf", "root", "inter")):
            self.concatenate("shuffled.pem", *order)
            last, result = self.verdict(0, "--ca", "root.pem", "--host", "www.example.test", "shuffled.pem")
            self.assertEqual(last, "OK")
            self.assertIn("order", result.err)
            self.assertIn("CN=leaf", result.out.splitlines()[0])
        self.assertNotIn("order", self.verdict(0, "--ca", "root.pem", "full.pem")[1].err)

    def test_what_does_not_belong_is_left_out_and_named(self):
        self.concatenate("surplus.pem", "leaf", "other-root", "inter")
        last, result = self.verdict(0, "--ca", "root.pem", "surplus.pem")
        self.assertEqual(last, "OK")
        self.assertIn("CN=other-root", result.err)
        self.assertEqual(len(result.out.splitlines()), 4)

    def test_alternative_issuers_of_one_name_are_tried(self):
        # Two certificates of one name: the wrong one, of another key, comes first.
        self.issue("impostor", "other-root", CA, subject="/O=Test/CN=inter", key_ids="")
        self.concatenate("alternatives.pem", "leaf", "impostor", "inter")
        self.assertEqual(self.verdict(0, "--ca", "root.pem", "alternatives.pem")[0], "OK")
        # A cross-signed intermediate: the same key under an unknown and a known root.
        self.issue("cross", "other-root", CA, subject="/O=Test/CN=inter", key=self.dir / "inter.key")
        self.concatenate("cross.pem", "leaf", "cross", "inter")
        self.assertEqual(self.verdict(0, "--ca", "root.pem", "cross.pem")[0], "OK")
        self.assertEqual(self.verdict(0, "--ca", "other-root.pem", "cross.pem")[0], "OK")

    def test_the_stores_copy_of_the_last_certificate_counts(self):
        # The chain brings an expired copy of a root that the store holds anew.
        self.issue("renewed-root", extensions=CA, subject="/O=Test/CN=root", key=self.dir / "root.key", days=9000)
        at = "2040-01-01"
        self.issue("long-inter", "renewed-root", CA, subject="/O=Test/CN=inter", key=self.dir / "inter.key", days=9000)
        self.issue("long-leaf", "long-inter", NAMES, days=9000)
        self.concatenate("old-root.pem", "long-leaf", "long-inter", "root")
        self.assertEqual(self.verdict(0, "--ca", "renewed-root.pem", "--at", at, "old-root.pem")[0], "OK")
        self.assertTrue(self.verdict(1, "--ca", "root.pem", "--at", at, "old-root.pem")[0].startswith("FAILED 5: "))

    def test_folder_of_authorities(self):
        folder = self.dir / "cas"
        folder.mkdir(exist_ok=True)
        (folder / "good.pem").write_bytes((self.dir / "root.pem").read_bytes())
        (folder / "bad.pem").write_text("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n")
        last, result = self.verdict(0, "--ca", "cas", "chain.pem")
        self.assertEqual(last, "OK")
        self.assertIn("bad.pem", result.err)
        self.assertNotIn("good.pem", result.err)
        (self.dir / "empty").mkdir(exist_ok=True)
        self.assertIn("empty", self.expect(2, "verify", "--ca", "empty", "chain.pem").err)
        self.assertEqual(self.run_program("verify", "--ca", "nowhere", "chain.pem").status, 2)

    def test_default_authorities_are_the_platforms_own(self):
        builtin = self.dir / "root" / "kelp/etc/ca"
        builtin.mkdir(parents=True, exist_ok=True)
        (builtin / "root.pem").write_bytes((self.dir / "root.pem").read_bytes())
        self.assertEqual(self.verdict(0, "chain.pem")[0], "OK")
        bare = {"KP_ROOT": str(self.dir / "root-without-roots")}
        (self.dir / "root-without-roots/kelp/etc/ca").mkdir(parents=True)
        self.assertIn("/kelp/etc/ca: no certificate in it (what is trusted without --ca). Name a file or folder of trusted",
                      self.expect(2, "verify", "chain.pem", environment=bare).err)
        # The certificate manager trusts its built-in folder for use bit 23 always.
        self.assertEqual(self.verdict(0, "--cerm", "0x800000", "chain.pem")[0], "OK")
        self.expect(3, "verify", "--cerm", "many", "chain.pem")
        # A manager that trusts nothing for the use is no trust at all.
        elsewhere = {"KP_ROOT": str(self.dir / "bare-root")}
        self.assertIn("no certificate is trusted", self.expect(2, "verify", "--cerm", "1", "chain.pem", environment=elsewhere).err)

    def test_revocation(self):
        self.make_crl("revoking", "inter", ["leaf"])
        self.make_crl("clean", "inter")
        self.make_crl("upper", "root")
        self.make_crl("revoking-inter", "root", ["inter"])
        upper = ("--ca", "root.pem", "--crl", "upper.crl")
        for rules in ([], ["--rules", "platform"], ["--rules", "rfc5280"], ["--strict"]):
            last, result = self.verdict(1, *upper, "--crl", "revoking.crl", *rules, "chain.pem")
            self.assertTrue(last.startswith("FAILED 10: "), last)
            self.assertEqual(self.verdict(0, *upper, "--crl", "clean.crl", *rules, "--host", "www.example.test", "chain.pem")[0], "OK")
        last, result = self.verdict(1, *upper, "--crl", "revoking.crl", "chain.pem")
        self.assertEqual(last, 'FAILED 10: cert is revoked by crl - "O=Test, CN=leaf"')
        last, result = self.verdict(1, "--ca", "root.pem", "--crl", "clean.crl", "--crl", "revoking-inter.crl", "chain.pem")
        self.assertEqual(last, 'FAILED 10: cert is revoked by crl - "O=Test, CN=inter"')
        # Every certificate below the anchor is asked about, unless the leaf alone is wished for.
        last, result = self.verdict(1, "--ca", "root.pem", "--crl", "clean.crl", "chain.pem")
        self.assertTrue(last.startswith("FAILED 11: "), last)
        self.assertIn("note: this system accepts it", result.err)
        self.assertEqual(self.verdict(0, "--ca", "root.pem", "--crl", "clean.crl", "--check-crls=leaf", "chain.pem")[0], "OK")
        self.assertTrue(self.verdict(1, "--ca", "root.pem", "--crl", "revoking.crl", "--check-crls=leaf", "chain.pem")[0]
                        .startswith("FAILED 10: "))
        self.expect(3, "verify", "--check-crls=none", "--ca", "root.pem", "chain.pem")
        # A CRL that is out of date counts for this system, with a warning, and for nobody else.
        stale = (*upper, "--crl", "clean.crl", "--at", self.days_from_now(200), "chain.pem")
        last, result = self.verdict(0, "--rules", "platform", *stale)
        self.assertIn("warning", result.err)
        last, result = self.verdict(1, *stale)
        self.assertTrue(last.startswith("FAILED 23: "), last)
        self.assertIn("note: this system accepts it", result.err)
        # A CRL whose signature does not verify is never used.
        text = openssl("crl", "-in", self.dir / "clean.crl", "-outform", "DER")
        self.write("forged.crl", text[:-1] + bytes([text[-1] ^ 1]))
        self.assertIn("signature", self.expect(2, "verify", "--ca", "root.pem", "--crl", "forged.crl", "chain.pem").err)
        # One of an unknown issuer is named and ignored.
        self.make_crl("foreign", "other-root")
        last, result = self.verdict(0, "--rules", "platform", "--ca", "root.pem", "--crl", "foreign.crl", "chain.pem")
        self.assertIn("other-root", result.err)
        self.expect(1, "verify", "--ca", "root.pem", "--crl", "foreign.crl", "chain.pem")

    def test_checking_without_any_crl_is_a_refusal(self):
        self.assertEqual(self.verdict(0, "--rules", "platform", "--check-crls", "--ca", "root.pem", "chain.pem")[0], "OK")
        for rules in ([], ["--rules", "rfc5280"], ["--strict"]):
            last, _ = self.verdict(1, *rules, "--check-crls", "--ca", "root.pem", "chain.pem")
            self.assertTrue(last.startswith("FAILED 11: "), last)

    def test_the_newest_list_of_an_issuer_counts(self):
        self.make_crl("old", "inter")
        time.sleep(1.1)
        self.make_crl("new", "inter", ["leaf"])
        for order in (("old", "new"), ("new", "old")):
            crls = [word for name in order for word in ("--crl", f"{name}.crl")]
            self.assertTrue(self.verdict(1, "--ca", "root.pem", *crls, "chain.pem")[0].startswith("FAILED 10: "))

    def test_an_older_crl_that_revokes_is_named(self):
        self.make_crl("older", "inter", ["leaf"])
        time.sleep(1.1)
        self.make_crl("newer", "inter")
        crls = ("--rules", "platform", "--ca", "root.pem", "--crl", "older.crl", "--crl", "newer.crl")
        last, result = self.verdict(0, *crls, "chain.pem")
        self.assertEqual(last, "OK")
        self.assertIn("note: older.crl: the CRL of <O=Test, CN=inter> is ignored: The CRL revokes a certificate of the chain, and a "
                      "newer one, which does not, was asked in its place.", result.err)
        self.assertNotIn("newer.crl", result.err)
        answer = self.expect(0, "verify", "--each", *crls, "chain.pem")
        self.assertIn("older.crl", answer.json["notes"][0])

    def test_crls_and_roots_that_cannot_be_used_end_in_a_verdict_as_well(self):
        self.make_crl("clean", "inter")
        text = openssl("crl", "-in", self.dir / "clean.crl", "-outform", "DER")
        self.write("forged.crl", text[:-1] + bytes([text[-1] ^ 1]))
        self.write("half.crl", text[:-1])
        for trust, why in ((["--ca", "root.pem", "--crl", "forged.crl"], "forged.crl: the signature of the CRL of <O=Test, CN=inter>"),
                           (["--ca", "root.pem", "--crl", "half.crl"], "half.crl: not a readable CRL"),
                           (["--ca", "root.pem", "--crl", "absent.crl"], "absent.crl: No such file"),
                           (["--ca", "clean.crl"], "clean.crl: no certificate in it")):
            result = self.expect(2, "verify", "--json", *trust, "chain.pem")
            document = result.json
            self.assertEqual(set(document), {"version", "command", "verdict", "reason", "problems"})
            self.assertEqual(document["verdict"], "UNREADABLE")
            self.assertIn(why, document["reason"])
            self.assertIn(why, result.err)
            self.assertEqual(self.expect(2, "verify", *trust, "chain.pem").out, "")

    def test_roots_in_any_form(self):
        openssl("crl2pkcs7", "-nocrl", "-certfile", self.dir / "root.pem", "-certfile", self.dir / "other-root.pem", "-out", self.dir / "roots.p7b")
        openssl("crl2pkcs7", "-nocrl", "-certfile", self.dir / "root.pem", "-outform", "DER", "-out", self.dir / "roots.p7c")
        self.write("root.der", openssl("x509", "-in", self.dir / "root.pem", "-outform", "DER"))
        folder = self.dir / "bundles"
        folder.mkdir()
        (folder / "roots.p7b").write_bytes((self.dir / "roots.p7b").read_bytes())
        for roots in ("roots.p7b", "roots.p7c", "root.der", "bundles"):
            self.assertEqual(self.verdict(0, "--ca", roots, "--host", "www.example.test", "chain.pem")[0], "OK")
        self.write("broken.p7b", (self.dir / "roots.p7c").read_bytes()[:-40])
        self.assertIn("broken.p7b: no certificate in it", self.expect(2, "verify", "--ca", "broken.p7b", "chain.pem").err)

    def test_a_list_of_an_impostor_does_not_hide_a_revocation(self):
        # The impostor bears the intermediate's name, comes with the chain, and its list is the newer one.
        self.issue("false-inter", extensions=CA, subject="/O=Test/CN=inter")
        self.make_crl("true", "inter", ["leaf"])
        time.sleep(1.1)
        self.make_crl("false", "false-inter")
        self.concatenate("accompanied.pem", "leaf", "inter", "false-inter")
        last, result = self.verdict(1, "--ca", "root.pem", "--crl", "true.crl", "--crl", "false.crl", "accompanied.pem")
        self.assertEqual(last, 'FAILED 10: cert is revoked by crl - "O=Test, CN=leaf"')
        self.assertIn("note: false.crl: the CRL of <O=Test, CN=inter> is ignored: Neither a trusted certificate nor one of the "
                      "chain signed the CRL.", result.err)

    def test_an_impostor_at_the_place_of_the_anchor_vouches_for_no_list(self):
        # Name and key identifier lead to the trusted intermediate, whose key checks the leaf.
        text = openssl("x509", "-in", self.dir / "inter.pem", "-noout", "-ext", "subjectKeyIdentifier").decode()
        identifier = text.split()[-1]
        self.issue("false-inter", "other-root", CA + f"subjectKeyIdentifier={identifier}\n",
                   subject="/O=Test/CN=inter", key_ids="authorityKeyIdentifier=keyid\n")
        self.make_crl("true", "inter", ["leaf"])
        time.sleep(1.1)
        self.make_crl("false", "false-inter")
        self.concatenate("accompanied.pem", "leaf", "false-inter")
        last, _ = self.verdict(1, "--ca", "inter.pem", "--crl", "true.crl", "--crl", "false.crl", "accompanied.pem")
        self.assertEqual(last, 'FAILED 10: cert is revoked by crl - "O=Test, CN=leaf"')

    def test_many_impostors_take_no_quadratic_time(self):
        self.issue("bulky", "inter", CA + "1.2.3.4=DER:" + "0500" * 6000 + "\n", subject="/O=Test/CN=inter")
        der = openssl("x509", "-in", self.dir / "bulky.pem", "-outform", "DER")
        # Copies but for the signature's end, each of which could have issued the leaf and the others.
        block = "-----BEGIN CERTIFICATE-----\n{}\n-----END CERTIFICATE-----\n"
        copies = [block.format(base64.b64encode(der[:-2] + i.to_bytes(2, "big")).decode()) for i in range(900)]
        seconds = []
        for count in (300, 900):
            self.write("copies.pem", (self.dir / "leaf.pem").read_bytes() + "".join(copies[:count]).encode())
            seconds.append(self.processor_time(lambda: self.expect(1, "verify", "--ca", "root.pem", "copies.pem")))
        self.assertLess(seconds[1], 6 * seconds[0])

    def test_missing_list_with_distribution_points(self):
        self.issue("pointed", "inter", LEAF + "crlDistributionPoints=URI:http://crl.example.test/a.crl\n")
        self.concatenate("pointed-chain.pem", "pointed", "inter")
        last, result = self.verdict(1, "--ca", "root.pem", "--check-crls", "pointed-chain.pem")
        self.assertEqual(last, 'FAILED 11: crl not found for: "O=Test, CN=pointed"')
        self.assertIn("http://crl.example.test/a.crl", result.err)
        self.assertIn("note: A current CRL is missing", result.err)
        self.assertIn(" Name its file with --crl.", result.err)
        self.assertEqual(self.verdict(0, "--ca", "root.pem", "pointed-chain.pem")[0], "OK")

    def test_warnings_and_strict(self):
        self.issue("short-root", extensions="basicConstraints=critical,CA:TRUE,pathlen:0\nkeyUsage=critical,keyCertSign\n")
        self.issue("under-short", "short-root", CA)
        self.issue("leaf-under-short", "under-short", NAMES)
        self.issue("no-sign-root", extensions="basicConstraints=critical,CA:TRUE\nkeyUsage=critical,digitalSignature\n")
        self.issue("leaf-no-sign", "no-sign-root", NAMES)
        self.issue("client", "inter", "basicConstraints=CA:FALSE\nextendedKeyUsage=clientAuth\nsubjectAltName=DNS:www.example.test\n")
        self.issue("e3-root", extensions=CA, kind="RSA e=3")
        self.issue("leaf-e3", "e3-root", NAMES)
        cases = (("short-root", ("leaf-under-short", "under-short"), "path", 15), ("no-sign-root", ("leaf-no-sign",), "sign", 16),
                 ("root", ("client", "inter"), "usage", 22), ("e3-root", ("leaf-e3",), "exponent", 0))
        for root, chain, word, code in cases:
            with self.subTest(root=root, chain=chain):
                self.concatenate("warned.pem", *chain)
                arguments = ("--ca", f"{root}.pem", "--host", "www.example.test", "warned.pem")
                last, result = self.verdict(0, "--rules", "platform", *arguments)
                self.assertEqual(last, "OK")
                self.assertRegex(result.err, rf"warning: .*{word}")
                for rules in ([], ["--rules", "both"], ["--rules", "rfc5280"], ["--strict"]):
                    last, result = self.verdict(1 if code else 0, *rules, *arguments)
                    self.assertTrue(last.startswith(f"FAILED {code}: ") if code else last == "OK", last)
                    self.assertEqual("note: this system accepts it" in result.err, code != 0 and rules != ["--rules", "rfc5280"])
        self.expect(0, "verify", "--strict", "--ca", "root.pem", "--host", "www.example.test", "chain.pem")
        self.expect(3, "verify", "--rules", "lenient", "--ca", "root.pem", "chain.pem")
        self.expect(3, "verify", "--rules", "rfc5280", "--strict", "--ca", "root.pem", "chain.pem")

    def test_a_common_name_is_no_host_for_others(self):
        self.issue("named", "inter", LEAF, subject="/O=Test/CN=old.example.test")
        self.concatenate("named-chain.pem", "named", "inter")
        arguments = ("--ca", "root.pem", "--host", "old.example.test", "named-chain.pem")
        self.assertEqual(self.verdict(0, "--rules", "platform", *arguments)[0], "OK")
        last, result = self.verdict(1, *arguments)
        self.assertTrue(last.startswith("FAILED 2: "), last)
        self.assertIn("note: this system accepts it", result.err)

    def test_what_this_system_alone_refuses(self):
        # Several subtrees, critically: other validators enforce them, and this system does not read the certificate.
        self.issue("bounded", "root", CA + "nameConstraints=critical,permitted;DNS:example.test,permitted;DNS:example.org\n")
        self.issue("within", "bounded", NAMES.replace("shop.example.test", "shop.example.org").replace(",email:post@example.test", "")
                   .replace(",IP:192.0.2.7,IP:2001:db8::7", ""))
        self.issue("outside", "bounded", LEAF + "subjectAltName=DNS:www.example.net\n")
        self.concatenate("within-chain.pem", "within", "bounded")
        self.concatenate("outside-chain.pem", "outside", "bounded")
        self.assertEqual(self.verdict(0, "--rules", "rfc5280", "--ca", "root.pem", "within-chain.pem")[0], "OK")
        self.assertTrue(self.verdict(1, "--rules", "rfc5280", "--ca", "root.pem", "outside-chain.pem")[0].startswith("FAILED 12: "))
        last, result = self.verdict(1, "--ca", "root.pem", "within-chain.pem")
        self.assertTrue(last.startswith("FAILED "), last)
        self.assertIn("note: other validators accept it", result.err)
        result = self.expect(2, "verify", "--rules", "platform", "--ca", "root.pem", "within-chain.pem")
        self.assertIn("several subtrees", result.err)

    def test_policies(self):
        self.issue("policy-root", extensions=CA)
        self.issue("policy-leaf", "policy-root", NAMES + "certificatePolicies=1.2.3.4\n")
        chain = ("--ca", "policy-root.pem", "policy-leaf.pem")
        self.expect(0, "verify", "--require-policy", "--policy", "1.2.3.4", *chain)
        self.expect(0, "verify", "--require-policy", "--policy", "1.2.3.5", "--policy", "1.2.3.4", *chain)
        last, _ = self.verdict(1, "--require-policy", "--policy", "1.2.3.5", *chain)
        self.assertTrue(last.startswith("FAILED 20: "), last)
        self.expect(1, "verify", "--require-policy", "--ca", "root.pem", "chain.pem")
        self.expect(3, "verify", "--policy", "1.2.x", *chain)
        # The set alone refuses nothing; the report says what of it the chain is valid for.
        for asked, lines, policies in (([], ["valid for the policies 1.2.3.4", "OK"], ["1.2.3.4"]),
                                       (["--policy", "1.2.3.4"], ["valid for the policies 1.2.3.4", "OK"], ["1.2.3.4"]),
                                       (["--policy", "1.2.3.5"], ["OK"], [])):
            result = self.expect(0, "verify", *asked, *chain)
            self.assertEqual(result.out.splitlines()[2:], lines)
            self.assertEqual("valid for none of the policies of --policy" in result.err, asked != [] and not policies)
            self.assertEqual(self.expect(0, "verify", "--json", *asked, *chain).json["policies"], policies)
        refused = self.expect(1, "verify", "--json", "--require-policy", "--policy", "1.2.3.5", *chain)
        self.assertEqual(refused.json["policies"], [])

    def test_valid_for(self):
        self.issue("brief", "inter", NAMES, days=20)
        self.concatenate("brief-chain.pem", "brief", "inter")
        self.assertEqual(self.verdict(0, "--valid-for", "10d", "--ca", "root.pem", "brief-chain.pem")[0], "OK")
        for rules in ("both", "platform", "rfc5280"):
            last, result = self.verdict(1, "--valid-for", "30d", "--rules", rules, "--ca", "root.pem", "brief-chain.pem")
            self.assertTrue(last.startswith("FAILED 36: "), last)
            self.assertIn("notAfter", result.err)
        for wrong in ("x", "-1d", "1y", "d"):
            self.expect(3, "verify", f"--valid-for={wrong}", "--ca", "root.pem", "brief-chain.pem")

    def test_several_files_are_one_pool(self):
        self.issue("second", "inter", LEAF + "subjectAltName=DNS:second.example.test\n")
        last, result = self.verdict(0, "--ca", "root.pem", "--host", "second.example.test", "inter.pem", "leaf.pem", "second.pem")
        self.assertIn("0: <O=Test, CN=second>", result.out)
        _, result = self.verdict(0, "--ca", "root.pem", "inter.pem", "leaf.pem", "second.pem")
        self.assertIn("0: <O=Test, CN=leaf>", result.out)
        openssl("x509", "-in", self.dir / "inter.pem", "-outform", "DER", "-out", self.dir / "inter.der")
        for intermediate in ("inter.pem", "inter.der"):
            _, result = self.verdict(0, "--ca", "root.pem", "--certificates", intermediate, "leaf.pem")
            self.assertNotIn("note", result.err)
        for form in ("PEM", "DER"):
            openssl("crl2pkcs7", "-nocrl", "-certfile", self.dir / "chain.pem", "-outform", form, "-out", self.dir / "bundle.p7b")
            self.expect(0, "verify", "--ca", "root.pem", "--certificates", "bundle.p7b", "leaf.pem")
            self.expect(0, "verify", "--ca", "root.pem", "bundle.p7b")
            self.expect(0, "verify", "--each", "--ca", "root.pem", "bundle.p7b")
        self.expect(1, "verify", "--ca", "other-root.pem", "--certificates", "root.pem", "--certificates", "inter.pem", "leaf.pem")

    def test_explain(self):
        self.issue("twin-inter", "other-root", CA, subject="/O=Test/CN=inter", key=self.dir / "inter.key")
        self.concatenate("crossed.pem", "leaf", "twin-inter", "inter")
        result = self.expect(0, "verify", "--explain", "--ca", "root.pem", "crossed.pem")
        lines = result.out.splitlines()
        for line in ("by the rules platform:", "by the rules rfc5280:", "  issuers of <O=Test, CN=leaf>, named <O=Test, CN=inter>: 2 found",
                     "      chain of 3 certificates: valid", "platform: OK", "rfc5280: OK"):
            self.assertIn(line, lines)
        self.assertEqual(lines[-1], "OK")
        self.assertIn("trusted", result.out)
        result = self.expect(1, "verify", "--explain", "--ca", "root.pem", "leaf.pem")
        self.assertIn("  issuers of <O=Test, CN=leaf>, named <O=Test, CN=inter>: 0 found\n  chain of 1 certificate: no-anchor\n", result.out)

    def test_advice(self):
        for arguments, advice in (
                (["leaf.pem"], "The certificate of an issuer is missing"),
                (["leaf.pem"], " Name its file with --certificates, or with --ca if it is a root that you trust."),
                (["--ca", "other-root.pem", "full.pem"], " Trust it with --ca."),
                (["--ca", "other-root.pem", "full.pem"], "ends with a root that is not trusted"),
                (["--host", "https://www.example.test/", "chain.pem"], "host: www.example.test"),
                (["--host", "www.example.test:443", "chain.pem"], "host: www.example.test"),
                (["--at", "1970-01-02", "chain.pem"], "the clock may be behind"),
                (["--at", "2049-01-02", "chain.pem"], "the clock may be ahead")):
            if "--ca" not in arguments:
                arguments = ["--ca", "root.pem", *arguments]
            result = self.expect(1, "verify", *arguments)
            self.assertIn(advice, result.err)
            self.assertIn(advice, self.expect(1, "verify", "--json", *arguments).json["advice"])

    def question(self, identifier, *names, **further):
        ders = [openssl("x509", "-in", self.dir / f"{name}.pem", "-outform", "DER") for name in names]
        return json.dumps({"id": identifier, "chain": [base64.b64encode(der).decode() for der in ders], **further})

    def test_each_of_many(self):
        lines = [self.question("good", "leaf", "inter"), self.question(7, "leaf"), "", "no JSON", self.question("host", "leaf", "inter", host="x.test"),
                 self.question("late", "leaf", "inter", at=self.days_from_now(4000)), json.dumps({"id": "empty", "chain": []}),
                 json.dumps({"id": "text", "chain": ["???"]}), json.dumps({"id": "garbage", "chain": ["MAAA"]}), json.dumps({"id": "odd", "other": 1}),
                 self.question("last", "inter", "leaf")]
        result = self.expect(2, "verify", "--each", "--ca", "root.pem", stdin="\n".join(lines).encode())
        answers = result.lines
        self.assertEqual([answer["id"] for answer in answers], ["good", 7, None, "host", "late", "empty", "text", "garbage", "odd", "last"])
        self.assertEqual([answer["verdict"] for answer in answers], ["OK", "FAILED", "UNREADABLE", "FAILED", "FAILED"] + ["UNREADABLE"] * 4 + ["OK"])
        self.assertEqual([answer.get("code") for answer in answers], [0, 6, None, 2, 5, None, None, None, None, 0])
        self.expect(0, "verify", "--each", "--ca", "root.pem", "-", stdin=lines[0].encode())
        self.expect(1, "verify", "--each", "--ca", "root.pem", "-", stdin="\n".join(lines[:2]).encode())
        self.expect(0, "verify", "--each", "--ca", "root.pem", stdin=b"")

    def test_each_line_has_settled_fields(self):
        # docs/validation.md describes them.
        judged = ["version", "command", "id", "code", "verdict", "rule", "rules", "reason", "policies"]
        self.make_crl("foreign", "other-root")
        lines = [self.question("good", "leaf", "inter"), self.question(7, "leaf"), "no JSON"]
        for further, notes in (((), []), (("--rules", "platform", "--crl", "foreign.crl"), ["notes"])):
            result = self.expect(2, "verify", "--each", "--ca", "root.pem", *further, stdin="\n".join(lines).encode())
            answers = result.lines
            self.assertEqual([list(answer) for answer in answers], [judged + notes, judged + notes, ["version", "command", "id", "verdict", "reason"]])
            self.assertEqual([answer["verdict"] for answer in answers], ["OK", "FAILED", "UNREADABLE"])
            self.assertEqual([answer["id"] for answer in answers], ["good", 7, None])
            self.assertEqual([(answer.get("code"), answer.get("rule")) for answer in answers], [(0, "valid"), (6, "no-anchor"), (None, None)])
            self.assertEqual(answers[0]["reason"], "")
            self.assertEqual(answers[0]["rules"], "platform")
            self.assertEqual(answers[0]["policies"], [])
            self.assertTrue(all(answer["reason"] for answer in answers[1:]))

    def test_each_reads_hostile_lines(self):
        deep, wide = "[" * 100_000 + "]" * 100_000, ",".join(f'"{i}":0' for i in range(40_000))
        lines = ['{"id":1,"chain":' + deep + "}", '{"id":2,"other":' + deep + "}", '{"id":3,' + wide + "}", '{"chain":[{}],"id":4}', deep,
                 self.question(5, "leaf", "inter", host=""), '{"id":' + "9" * 30 + ',"chain":[]}', '{"id":[6],"chain":[]}', '{"chain":[],"id":7}', "\xff",
                 self.question(8, "leaf", "inter")]
        result = self.expect(2, "verify", "--each", "--ca", "root.pem", stdin="\n".join(lines).encode("latin-1"))
        answers = result.lines
        self.assertEqual([answer["verdict"] for answer in answers], ["UNREADABLE"] * 10 + ["OK"])
        self.assertEqual([answers[i]["id"] for i in (2, 5, 8, 10)], [3, 5, 7, 8])

    def test_each_answers_every_line_of_noise(self):
        good = self.question("good", "leaf", "inter", host="www.example.test", at=self.days_from_now(1)).encode()
        noise = random.Random(1)
        lines = []
        for _ in range(400):
            line = bytearray(good[:noise.randrange(len(good) + 1)] if noise.random() < 0.3 else good)
            for _ in range(noise.randrange(4)):
                if line:
                    place = noise.randrange(min(len(line), 60) if noise.random() < 0.5 else len(line))
                    line[place:place + noise.randrange(3)] = bytes(noise.choices(b'{}[]",:\\\x00\xff0aeu', k=noise.randrange(3)))
            lines.append(bytes(line).replace(b"\n", b""))
        asked = [line for line in lines if line.strip(b" \t\r")]
        result = self.run_program("verify", "--each", "--ca", "root.pem", stdin=b"\n".join(lines))
        answers = result.lines
        self.assertEqual(len(answers), len(asked))
        self.assertEqual(result.status, 2)
        for line, answer in zip(asked, answers):
            self.assertIn(answer["verdict"], ("OK", "FAILED", "UNREADABLE"))
            if line == good:
                self.assertEqual(answer["verdict"], "OK")

    def each(self, *inputs, **streams):
        return subprocess.Popen([*PROGRAM, "verify", "--each", "--ca", "root.pem", *inputs], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                cwd=self.dir, env=self.environment, **streams)

    def test_each_answers_as_soon_as_it_is_asked(self):
        os.mkfifo(self.dir / "pipe")
        with self.each("-", stdin=subprocess.PIPE) as process:
            for number in range(3):
                process.stdin.write(self.question(number, "leaf", "inter").encode() + b"\n")
                process.stdin.flush()
                self.assertEqual(json.loads(process.stdout.readline())["id"], number)
            process.stdin.close()
            self.assertEqual(process.wait(60), 0)
        with self.each("pipe", stdin=subprocess.DEVNULL) as process:
            (self.dir / "pipe").write_bytes((self.dir / "chain.pem").read_bytes())
            self.assertEqual(json.loads(process.stdout.read())["verdict"], "OK")
            self.assertEqual(process.wait(60), 0)

    def test_each_ends_when_nobody_reads_its_answers(self):
        line = self.question("good", "leaf", "inter").encode() + b"\n"
        with self.each("-", stdin=subprocess.PIPE) as process:
            process.stdin.write(line)
            process.stdin.flush()
            process.stdout.readline()
            process.stdout.close()
            with self.assertRaises(BrokenPipeError):
                for _ in range(100_000):  # An endless stream of questions is not read to its end.
                    process.stdin.write(line)
                    process.stdin.flush()
            self.assertNotEqual(process.wait(60), 0)
            try:
                process.stdin.close()
            except BrokenPipeError:
                pass

    def test_each_judges_the_first_certificate_at_its_own_time(self):
        # A server proves that it has the key of the first alone.
        self.issue("stranger", extensions=NAMES)
        answer = self.expect(1, "verify", "--each", "--ca", "root.pem", stdin=self.question(1, "stranger", "leaf", "inter", host="www.example.test").encode())
        self.assertEqual(answer.json["code"], 6)
        line = self.question(1, "leaf", "inter", at=self.days_from_now(350))
        self.assertEqual(self.expect(0, "verify", "--each", "--ca", "root.pem", stdin=line.encode()).json["code"], 0)
        self.assertEqual(self.expect(1, "verify", "--each", "--valid-for", "30d", "--ca", "root.pem", stdin=line.encode()).json["code"], 36)

    def test_each_names_crls_that_do_not_count(self):
        self.make_crl("foreign", "other-root")
        answer = self.expect(0, "verify", "--each", "--rules", "platform", "--crl", "foreign.crl", "--ca", "root.pem", "chain.pem")
        self.assertIn("foreign.crl: the CRL of <O=Test, CN=other-root> is ignored", answer.json["notes"][0])
        self.make_crl("clean", "inter")
        text = openssl("crl", "-in", self.dir / "clean.crl", "-outform", "DER")
        self.write("forged.crl", text[:-1] + bytes([text[-1] ^ 1]))
        answer = self.expect(2, "verify", "--each", "--rules", "platform", "--crl", "forged.crl", "--ca", "root.pem", "chain.pem")
        self.assertIn("signature", answer.json["reason"])

    def test_options_that_make_no_sense_together(self):
        for options in (["--each", "--explain"], ["--rules", "platform", "--policy", "1.2.3"], ["--rules", "platform", "--require-policy"],
                        ["--rules", "platform", "--check-crls=leaf"]):
            self.expect(3, "verify", *options, "--ca", "root.pem", "chain.pem")

    def test_a_crl_over_a_weak_hash_clears_nobody_strictly(self):
        for issuer in ("root", "inter"):
            self.make_crl(f"weak-{issuer}", issuer, digest="sha1")
        crls = ["--crl", "weak-root.crl", "--crl", "weak-inter.crl", "--ca", "root.pem", "--host", "www.example.test", "chain.pem"]
        self.assertEqual(self.verdict(0, *crls)[0], "OK")
        self.assertTrue(self.verdict(1, "--rules", "strict", *crls)[0].startswith("FAILED 23: "))

    def test_each_of_files_and_folders(self):
        folder = self.dir / "chains"
        folder.mkdir()
        for name in ("b.pem", "a.pem"):
            (folder / name).write_bytes((self.dir / "chain.pem").read_bytes())
        result = self.expect(0, "verify", "--each", "--ca", "root.pem", "chains", "full.pem")
        self.assertEqual([json.loads(line)["id"] for line in result.out.splitlines()], ["chains/a.pem", "chains/b.pem", "full.pem"])
        (folder / "c.pem").write_bytes(b"nothing")
        result = self.expect(2, "verify", "--each", "--ca", "root.pem", "chains", "absent.pem")
        self.assertEqual([json.loads(line)["verdict"] for line in result.out.splitlines()], ["OK", "OK", "UNREADABLE", "UNREADABLE"])
        self.assertEqual(self.expect(1, "verify", "--each", "--ca", "other-root.pem", "chain.pem").out.count("\n"), 1)

    def test_each_answers_in_order_whatever_the_number(self):
        lines = [self.question(i, "leaf", "inter", **({"host": "x.test"} if i % 3 else {})) for i in range(4)]
        numbered = "\n".join(lines[i % 4].replace(f'"id": {i % 4}', f'"id": {i}', 1) for i in range(1500))
        result = self.expect(1, "verify", "--each", "--ca", "root.pem", "-", stdin=numbered.encode())
        answers = result.lines
        self.assertEqual([answer["id"] for answer in answers], list(range(1500)))
        self.assertTrue(all((answer["code"] == 0) == (i % 4 in (0, 3)) for i, answer in enumerate(answers)))

    def test_each_takes_no_line_without_end(self):
        text = b"x" * (9 << 20) + b"\n" + self.question("good", "leaf", "inter").encode()
        result = self.expect(2, "verify", "--each", "--ca", "root.pem", "-", stdin=text)
        self.assertEqual([json.loads(line)["verdict"] for line in result.out.splitlines()], ["UNREADABLE", "OK"])

    def test_json(self):
        result = self.expect(1, "verify", "--json", "--ca", "root.pem", "--host", "elsewhere.test", "chain.pem")
        document = result.json
        self.assertEqual(document["code"], 2)
        self.assertEqual(document["rules"], "platform")
        self.assertEqual([(one["rules"], one["code"]) for one in document["byRules"]], [("platform", 2), ("rfc5280", 2)])
        self.assertEqual(document["verdict"], "FAILED")
        self.assertEqual(document["reason"], 'name verification failed for: "O=Test, CN=leaf"')
        self.assertEqual(len(document["certificates"]), 3)
        self.assertEqual(document["explanation"]["depth"], 0)
        self.assertTrue(document["explanation"]["facts"])
        self.assertEqual(self.expect(0, "verify", "--json", "--ca", "root.pem", "chain.pem").json["code"], 0)

    def test_hostile_names_do_not_reach_the_terminal(self):
        self.issue("hostile", "inter", LEAF, subject="/O=Evil\x1b[2J\x07/CN=a\nOK\n\u202egnp.exe\u009b")
        self.concatenate("hostile-chain.pem", "hostile", "inter")
        for arguments in (["--host", "x"], [], ["--json"]):
            result = self.run_program("verify", "--ca", "root.pem", *arguments, "hostile-chain.pem")
            self.assertNoControls(result.out + result.err)
            self.assertNotIn("\u202e", result.out + result.err)
            self.assertNotIn("OK", result.out.splitlines()[:-1])

    def test_input_that_cannot_be_used(self):
        self.write("garbage", b"\x00\x01garbage")
        self.write("key-only.pem", (self.dir / "leaf.key").read_bytes())
        self.write("half.pem", (self.dir / "leaf.pem").read_bytes() + b"-----BEGIN CERTIFICATE-----\nMAAA\n-----END CERTIFICATE-----\n")
        self.write("nothing", b"")
        for name in ("garbage", "key-only.pem", "half.pem", "nothing", "does-not-exist", "."):
            result = self.expect(2, "verify", "--ca", "root.pem", name)
            self.assertEqual(result.out, "")
            self.assertIn("sealkit: ", result.err)

    def test_wrong_usage(self):
        for arguments in ([], ["verify"], ["verify", "--nonsense", "x"], ["nonsense"], ["verify", "--ip", "300.1.2.3", "chain.pem"]):
            result = self.expect(3, *arguments)
            self.assertEqual(result.out, "")
            self.assertTrue(result.err)

    def test_an_option_takes_one_value(self):
        # What follows the file of trusted certificates is never trusted.
        self.assertTrue(self.verdict(1, "--ca", "other-root.pem", "root.pem", "chain.pem")[0].startswith("FAILED 6: "))
        self.assertTrue(self.verdict(1, "--ca", "other-root.pem", "chain.pem")[0].startswith("FAILED 6: "))
        self.assertEqual(self.verdict(0, "--ca", "other-root.pem", "--ca", "root.pem", "chain.pem")[0], "OK")

    def test_an_empty_value_is_no_value(self):
        for option in ("--host", "--ip", "--email", "--at", "--ca", "--cerm", "--crl"):
            self.assertIn(option, self.expect(3, "verify", "--ca", "root.pem", option, "", "chain.pem").err)
            self.expect(3, "verify", "--ca", "root.pem", option + "=", "chain.pem")

    def test_wrong_verb_is_named(self):
        self.assertIn('"frob" is not a verb', self.expect(3, "frob", "x").err)
        self.assertIn('"frob" is not a verb', self.expect(3, "store", "frob", "x").err)
        for arguments in (["frob", "--help"], ["--help", "frob"], ["frob", "-h"], ["store", "frob", "--help"], ["frob", "verify", "--help"]):
            result = self.expect(3, *arguments)
            self.assertIn('"frob" is not a verb', result.err)
            self.assertEqual(result.out, "")
        for arguments in (["--help"], ["store", "--help"], ["store", "list", "--help"]):
            self.assertIn("sealkit", self.expect(0, *arguments).out)
        self.assertIn("a verb is missing", self.expect(3).err)
        self.assertIn("CHAIN is required: name a file", self.expect(3, "verify").err)

    def test_help(self):
        self.assertIn("Usage: sealkit store set ", self.expect(0, "store", "set", "--help").out)
        self.assertIn("verify", self.expect(0, "--help").out)
        text = self.expect(0, "verify", "--help").out
        for option in ("--host", "--ip", "--email", "--at", "--ca", "--cerm", "--crl", "--check-crls", "--rules", "--strict", "--purpose", "--certificates",
                       "--policy", "--require-policy", "--valid-for", "--explain", "--each", "--json"):
            self.assertIn(option, text)

    @staticmethod
    def days_from_now(days):
        import datetime
        return (datetime.datetime.utcnow() + datetime.timedelta(days=days)).strftime("%Y-%m-%dT%H:%M:%SZ")


if __name__ == "__main__":
    unittest.main()
