import fcntl
import os
import re
import subprocess
import time
import unittest

from support import CA, PROGRAM, ProgramTest, openssl


class TrustTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.issue("root", extensions=CA)
        cls.issue("other", extensions=CA, kind="Ed25519")
        cls.issue("leaf", "root")
        cls.concatenate("both.pem", "root", "other")
        openssl("x509", "-in", cls.dir / "root.pem", "-outform", "DER", "-out", cls.dir / "root.der")

    def setUp(self):
        # A platform root of its own for each test.
        self.home = {"KP_ROOT": str(self.dir / self.id().rpartition(".")[2])}

    def run_verb(self, status, *arguments, **options):
        return self.expect(status, *arguments, environment=self.home, **options)

    def trust(self, status, *arguments, **options):
        return self.run_verb(status, "trust", *arguments, **options)

    def listed(self):
        """(id, usage, subject) of each line of the list."""
        lines = self.trust(0, "list").out.splitlines()
        pattern = (r"(\d+)  usage (0x[0-9a-f]+)  (.*)  "
                   r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC to \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC")
        matches = [re.fullmatch(pattern, line) for line in lines]
        self.assertTrue(all(matches), lines)
        return [match.groups() for match in matches]

    def test_nothing_is_trusted_at_first(self):
        self.assertEqual(self.trust(0, "list").out, "")

    def test_add_list_remove(self):
        self.assertIn("1  added: ", self.trust(0, "add", "root.pem").out)
        self.assertIn("2  added: ", self.trust(0, "add", "--usage", "0x10", "other.pem").out)
        entries = self.listed()
        self.assertEqual([entry[:2] for entry in entries], [("1", "0xffffffff"), ("2", "0x10")])
        self.assertIn("CN=root", entries[0][2])
        self.assertIn("CN=other", entries[1][2])
        self.assertEqual(self.trust(0, "remove", "1").out, "")
        self.assertEqual([entry[0] for entry in self.listed()], ["2"])
        self.trust(0, "add", "root.pem")
        self.assertEqual([entry[0] for entry in self.listed()], ["1", "2"], "a free id is used again")

    def test_validity_is_that_of_the_certificate(self):
        self.trust(0, "add", "root.pem")
        dates = openssl("x509", "-in", self.dir / "root.pem", "-noout", "-dates", "-dateopt", "iso_8601").decode()
        first, last = (line.split("=")[1].removesuffix("Z") for line in dates.split("\n")[:2])
        self.assertTrue(self.trust(0, "list").out.endswith(f"  {first} UTC to {last} UTC\n"))

    def test_the_record_is_that_of_the_certificate_manager(self):
        self.trust(0, "add", "--usage", "16", "root.pem")
        der = (self.dir / "root.der").read_bytes().hex()
        self.assertEqual(self.run_verb(0, "store", "show", "cerm", "1").out.splitlines(),
                         [f"11=raw:{der}", "12=bool:true", "45=u32:0x10"])

    def test_what_is_added_verifies(self):
        self.trust(0, "add", "other.pem")
        self.run_verb(1, "verify", "--cerm", "0x10", "leaf.pem")
        self.trust(0, "add", "root.pem", "--usage", "0x10")
        self.run_verb(0, "verify", "--cerm", "0x10", "leaf.pem")
        self.run_verb(1, "verify", "--cerm", "0x20", "leaf.pem")
        self.trust(0, "remove", "2")
        self.run_verb(1, "verify", "--cerm", "0x10", "leaf.pem")

    def test_every_form_of_input(self):
        self.trust(0, "add", "both.pem")
        self.assertEqual([entry[0] for entry in self.listed()], ["1", "2"])
        for arguments, stdin in ((["root.der"], b""), (["-"], (self.dir / "other.pem").read_bytes())):
            self.trust(0, "add", "--usage", "1", *arguments, stdin=stdin)
        self.assertEqual([entry[:2] for entry in self.listed()],
                         [("1", "0xffffffff"), ("2", "0xffffffff"), ("3", "0x1"), ("4", "0x1")])

    def test_adding_again_adds_nothing(self):
        self.trust(0, "add", "root.pem")
        self.assertIn("1  was there already: ", self.trust(0, "add", "root.der").out)
        self.assertEqual(len(self.listed()), 1)
        self.trust(0, "add", "--usage", "1", "root.pem", "root.der", "both.pem")
        self.assertEqual([entry[:2] for entry in self.listed()], [("1", "0xffffffff"), ("2", "0x1"), ("3", "0x1")],
                         "once more for another use")

    def test_two_processes_add_one_entry(self):
        self.trust(0, "add", "other.pem")
        with open(self.dir / self.home["KP_ROOT"] / "rw/store/cerm/.lock") as lock:
            # Both stand before the lock when they are let in.
            fcntl.flock(lock, fcntl.LOCK_EX)
            processes = [subprocess.Popen([*PROGRAM, "trust", "add", "root.pem"], cwd=self.dir, text=True,
                                          env={**os.environ, **self.home}, stdout=subprocess.PIPE)
                         for _ in range(2)]
            time.sleep(1)
        said = sorted(process.communicate()[0].split(":")[0] for process in processes)
        self.assertEqual(said, ["2  added", "2  was there already"])
        self.assertEqual([entry[0] for entry in self.listed()], ["1", "2"])
        self.trust(0, "remove", "2")
        self.run_verb(1, "verify", "--cerm", "0x10", "leaf.pem")

    def test_remove_tells_what_is_still_trusted(self):
        self.trust(0, "add", "root.pem")
        self.trust(0, "add", "--usage", "0x10", "root.pem", "other.pem")
        result = self.trust(0, "remove", "1")
        self.assertEqual(result.err, "sealkit: note: entry 2 still trusts this certificate, for usage 0x10\n")
        self.assertEqual(self.trust(0, "remove", "2").err, "")

    def test_a_bad_file_adds_nothing(self):
        self.write("empty", b"")
        self.write("text", b"no certificate")
        self.write("crl", b"-----BEGIN X509 CRL-----\nAAAA\n-----END X509 CRL-----\n")
        self.write("broken.pem", (self.dir / "root.pem").read_bytes() + b"-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n")
        self.write("cut.der", (self.dir / "root.der").read_bytes()[:-1])
        for bad in ("empty", "text", "crl", "broken.pem", "cut.der", "missing", "root.key"):
            result = self.trust(2, "add", "root.pem", bad)
            self.assertEqual(result.out, "")
            self.assertIn(bad, result.err)
        self.assertEqual(self.listed(), [])

    def test_wrong_usage(self):
        self.trust(3)
        self.trust(3, "add")
        self.trust(3, "remove")
        self.trust(3, "frobnicate")
        for usage in ("many", "-1", "4294967296", ""):
            self.trust(3, "add", "root.pem", f"--usage={usage}")
        for entry in ("x", "", "4294967296"):
            self.trust(3, "remove", entry)
        self.assertEqual(self.listed(), [])

    def test_remove_takes_only_trusted_certificates(self):
        der = (self.dir / "root.der").read_bytes().hex()
        self.run_verb(0, "store", "set", "cerm", "0", "12=bool:true", f"11=raw:{der}")
        self.run_verb(0, "store", "set", "cerm", "5", "12=bool:false", f"11=raw:{der}")
        self.assertEqual(self.listed(), [])
        for entry in (0, 1, 5, -5):
            self.assertIn(f"entry {entry} is not a trusted certificate", self.trust(1, "remove", entry).err)
        self.assertEqual(self.run_verb(0, "store", "list", "cerm").out, "0\n5\n")

    def test_the_issued_certificate_takes_the_place_of_the_first(self):
        root = (self.dir / "root.der").read_bytes().hex()
        other = openssl("x509", "-in", self.dir / "other.pem", "-outform", "DER").hex()
        self.run_verb(0, "store", "set", "cerm", "3", "12=bool:true", f"11=raw:{root}", f"129=raw:{other}")
        self.assertIn("CN=other", self.listed()[0][2])
        self.run_verb(0, "store", "set", "cerm", "3", "135=u32:2")
        result = self.trust(2, "list")
        self.assertEqual(result.out, "")
        self.assertIn("entry 3 is trusted and has no readable certificate", result.err)

    def test_a_bad_entry_does_not_hide_the_rest(self):
        self.trust(0, "add", "both.pem")
        self.run_verb(0, "store", "set", "cerm", "1", "11=raw:3000")
        result = self.trust(2, "list")
        self.assertIn("CN=other", result.out)
        self.assertIn("entry 1 ", result.err)
        (self.dir / self.home["KP_ROOT"] / "rw/store/cerm/1.rec").write_bytes(b"KPRC")
        self.assertIn("entry 1 is damaged", self.trust(2, "list").err)

    def test_hostile_names(self):
        self.issue("hostile", extensions=CA, subject="/O=a\x1b]0;title\x07/CN=x\r\n9  usage 0x1  CN=forged\u202e")
        for result in (self.trust(0, "add", "hostile.pem"), self.trust(0, "list")):
            self.assertNoControls(result.out + result.err)
            self.assertEqual(len(result.out.splitlines()), 1)
            self.assertNotIn("\u202e", result.out)

    def test_what_cannot_be_written(self):
        self.write(self.home["KP_ROOT"] + "/rw", "a file")
        result = self.trust(2, "add", "root.pem")
        self.assertEqual(result.out, "")
        self.assertIn("could not be written: Not a directory", result.err)

    def test_help(self):
        for verb in ("add", "list", "remove"):
            self.assertIn(verb, self.expect(0, "trust", "--help").out)
        self.assertIn("--usage", self.expect(0, "trust", "add", "--help").out)


if __name__ == "__main__":
    unittest.main()
