"""The register of what an authority issued: the verb ca, and crl new from it."""
import datetime
import fcntl
import json
import os
import re
import shutil
import subprocess
import unittest

from support import EMULATED, PROGRAM, ProgramTest, openssl


class RegisterTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for name, kind in (("ca", "ed25519"), ("host", "ed25519")):
            cls.make("key", "new", kind, "-o", f"{name}.key")
        cls.make("cert", "self-sign", "-k", "ca.key", "--subject", "/CN=root", "-o", "ca.pem")
        openssl("pkey", "-in", cls.dir / "host.key", "-pubout", "-out", cls.dir / "host.pub")
        cls.issuing = ["cert", "issue", "--ca", "ca.pem", "-k", "ca.key", "--profile", "client", "--public-key", "host.pub"]

    @classmethod
    def make(cls, *arguments):
        result = cls.run_program(*arguments)
        assert result.status == 0, (arguments, result)
        return result.out

    def issue(self, folder, serial, *options, subject="/CN=a"):
        self.make(*self.issuing, "--subject", subject, "--register", folder, "--serial", serial, "--force", "-o", f"{folder}-{serial}.pem", *options)

    def list(self, folder, *options):
        return json.loads(self.make("ca", "list", "--register", folder, "--json", *options))["certificates"]

    def states(self, folder, *options):
        return [(row["serialNumber"], row["state"]) for row in self.list(folder, *options)]

    def crl(self, folder, *options):
        self.make("crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", folder, "--force", "-o", "made.crl", *options)
        return openssl("crl", "-in", self.dir / "made.crl", "-CAfile", self.dir / "ca.pem", "-noout", "-text").decode()

    def files(self, folder):
        return sorted(path.name for path in (self.dir / folder).iterdir())

    def test_the_example_of_the_help_works(self):
        self.assertIn("1f  ", self.run_examples("ca", "list").stdout.decode())
        self.run_examples("ca", "release")
        self.run_examples("ca", "add")
        self.run_examples("ca", "revoke")
        shown = openssl("crl", "-in", self.examples / "first.crl", "-CAfile", self.examples / "ca.pem", "-noout", "-text").decode()
        self.assertIn("Serial Number: 1F", shown)

    def test_what_was_issued_is_listed(self):
        self.issue("listed", "02", "--days", "20", "--san", "DNS:a.example")
        self.issue("listed", "01", "--days", "200")
        self.issue("listed", "80", "--days", "10", subject="/CN=\u00e9")
        self.assertEqual(self.states("listed"), [("00:80", "valid"), ("02", "valid"), ("01", "valid")])
        self.assertEqual(self.states("listed", "--expiring", "30d"), [("00:80", "valid"), ("02", "valid")])
        later = f"{datetime.datetime.utcnow() + datetime.timedelta(days=15):%Y-%m-%d}"
        self.assertEqual(self.states("listed", "--at", later), [("00:80", "expired"), ("02", "valid"), ("01", "valid")])
        self.assertEqual(self.states("listed", "--at", later, "--expiring", "30"), [("02", "valid")])
        self.assertEqual(self.states("listed", "--at", later, "--valid"), [("02", "valid"), ("01", "valid")])
        row = self.list("listed")[1]
        self.assertEqual((row["subject"], row["names"]), ("CN=a", ["DNS: a.example"]))
        self.assertRegex(row["notAfter"], r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        lines = self.make("ca", "list", "--register", "listed").splitlines()
        self.assertRegex(lines[0], "^00:80  20.* UTC  valid  <CN=\u00e9>$")
        self.assertEqual(len(lines), 3)
        # Each is a file that people and other programs read.
        self.assertEqual(self.files("listed"), ["01.pem", "02.pem", "80.pem", "lock"])
        text = (self.dir / "listed/02.pem").read_text()
        for line in ("serial number: 02", "subject: CN=a", "names: DNS: a.example", "issuer: CN=root"):
            self.assertIn(f"{line}\n", text)
        self.assertIn(b"serial=02", openssl("x509", "-in", self.dir / "listed/02.pem", "-noout", "-serial"))
        self.assertEqual(openssl("x509", "-in", self.dir / "listed/02.pem"), (self.dir / "listed-02.pem").read_bytes())

    def test_a_serial_number_is_given_once(self):
        self.issue("once", "07")
        before = (self.dir / "once/07.pem").read_bytes()
        result = self.expect(2, *self.issuing, "--subject", "/CN=a", "--register", "once", "--serial", "0007", "-o", "again.pem")
        self.assertIn("a certificate with the serial number 07 was already issued", result.err)
        self.assertFalse((self.dir / "again.pem").exists())
        self.assertEqual((self.dir / "once/07.pem").read_bytes(), before)

    def test_revocation_comes_into_the_next_list(self):
        for serial in ("11", "12", "13", "14"):
            self.issue("revoked", serial)
        self.assertIn("No Revoked Certificates", self.crl("revoked"))
        revoke = ["ca", "revoke", "--register", "revoked"]
        self.make(*revoke, "11", "--reason", "keyCompromise", "--at", "2026-01-02T03:04:05Z")
        self.make(*revoke, "revoked-12.pem")
        self.make(*revoke, "0x13", "--reason", "certificateHold")
        shown = self.crl("revoked")
        self.assertIn("CRL Number: \n                2\n", shown)
        self.assertRegex(shown, r"Serial Number: 11\n +Revocation Date: Jan  2 03:04:05 2026 GMT\n.*\n.*\n +Key Compromise")
        self.assertEqual(re.findall("Serial Number: (..)", shown), ["11", "12", "13"])
        self.assertEqual(self.states("revoked", "--revoked"), [("11", "revoked"), ("12", "revoked"), ("13", "on hold")])
        self.assertEqual(self.states("revoked", "--valid"), [("14", "valid")])
        self.assertEqual(self.list("revoked", "--revoked")[0]["reason"], "keyCompromise")
        self.make("ca", "release", "--register", "revoked", "13")
        self.assertEqual(re.findall("Serial Number: (..)", self.crl("revoked")), ["11", "12"])
        self.expect(1, "verify", "--ca", "ca.pem", "--crl", "made.crl", "revoked-11.pem")
        self.expect(0, "verify", "--ca", "ca.pem", "--crl", "made.crl", "revoked-13.pem")
        for status, message, arguments in ((3, "is already revoked", (*revoke, "12")), (3, "is not on hold", ("ca", "release", "--register", "revoked", "14")),
                                           (2, "holds no certificate with the serial number 15", (*revoke, "15")), (3, "is not a reason", (*revoke, "14", "--reason", "whim")),
                                           (2, "is not a register", ("ca", "list", "--register", "nowhere")), (3, "is not a number of days", ("ca", "list", "--register", "revoked", "--expiring", "soon")),
                                           (1, "is revoked", ("cert", "renew", "--ca", "ca.pem", "-k", "ca.key", "--register", "revoked", "revoked-11.pem"))):
            self.assertIn(message, self.expect(status, *arguments).err)
        self.expect(3, "crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", "revoked", "--revoke", "14")

    def test_certificates_of_before_are_taken_in(self):
        self.make(*self.issuing, "--subject", "/CN=a", "--serial", "21", "--force", "-o", "before.pem")
        self.make("ca", "add", "--register", "added", "--ca", "ca.pem", "before.pem", "ca.pem")
        self.assertEqual(len(self.list("added")), 2)
        self.make("cert", "self-sign", "-k", "host.key", "--subject", "/CN=root", "--force", "-o", "foreign.pem")
        self.assertIn("was not issued by this CA", self.expect(1, "ca", "add", "--register", "added", "--ca", "ca.pem", "foreign.pem").err)
        self.assertEqual(len(self.list("added")), 2)

    def test_nothing_is_left_out_in_silence(self):
        self.issue("damaged", "31")
        file = self.dir / "damaged/31.pem"
        whole = file.read_text()
        for text, message in ((whole.replace("MII", "AAA"), "does not hold exactly the certificate"), ("", "does not hold"), (whole + whole, "does not hold"),
                              (whole.replace("-----BEGIN", "revoked: yesterday\n-----BEGIN", 1), "is not a time and reason"),
                              (whole.replace("-----BEGIN", "revoked: 2026-01-01 whim\n-----BEGIN", 1), "is not a time and reason")):
            file.write_text(text)
            for verb in (("ca", "list", "--register", "damaged"), ("crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", "damaged", "-o", "none.crl")):
                self.assertIn(message, self.expect(2, *verb).err)
        file.write_text(whole)
        (self.dir / "damaged/32.pem").write_text(whole)
        self.assertIn("32.pem: does not hold exactly the certificate with the serial number in its name", self.expect(2, "ca", "list", "--register", "damaged").err)
        (self.dir / "damaged/32.pem").unlink()
        (self.dir / "damaged/crl-number").write_text("many\n")
        self.assertIn("is not a CRL number", self.expect(2, "crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", "damaged", "-o", "none.crl").err)
        (self.dir / "damaged/crl-number").write_text("41\n")
        self.assertIn("CRL Number: \n                42\n", self.crl("damaged"))
        # What the owner writes beside it, or what he adds by hand, is his own.
        file.write_text("revoked: 2026-01-02T03:04:05Z superseded\nnote: moved\n" + whole)
        self.assertIn("Superseded", self.crl("damaged"))

    def test_it_is_the_register_of_one_ca(self):
        self.issue("one", "51")
        self.make("key", "new", "ed25519", "-o", "other.key")
        self.make("cert", "self-sign", "-k", "other.key", "--subject", "/CN=other", "-o", "other.pem")
        foreign = ["cert", "issue", "--ca", "other.pem", "-k", "other.key", "--profile", "client", "--public-key", "host.pub", "--subject", "/CN=a", "--serial", "51"]
        self.assertIn("is the register of another CA: <CN=root>", self.expect(2, *foreign[:-1], "52", "--register", "one", "-o", "foreign-52.pem").err)
        self.assertFalse((self.dir / "foreign-52.pem").exists())
        self.assertEqual(self.files("one"), ["51.pem", "lock"])
        # A certificate with the number of another revokes nothing.
        self.make(*foreign, "-o", "foreign-51.pem")
        self.assertIn("is not the certificate that the register has", self.expect(2, "ca", "revoke", "--register", "one", "foreign-51.pem").err)
        self.assertEqual(self.states("one"), [("51", "valid")])
        revoked = self.expect(0, "ca", "revoke", "--json", "--register", "one", "-", stdin=(self.dir / "one-51.pem").read_bytes()).json
        self.assertEqual((revoked["certificate"]["serialNumber"], revoked["certificate"]["state"]), ("51", "revoked"))

    def test_changes_in_json(self):
        self.issue("json", "61")
        held = self.expect(0, "ca", "revoke", "--json", "--register", "json", "61", "--reason", "certificateHold").json["certificate"]
        self.assertEqual((held["state"], held["reason"]), ("on hold", "certificateHold"))
        self.assertEqual(self.expect(0, "ca", "release", "--json", "--register", "json", "61").json["certificate"]["state"], "valid")
        self.assertIn("is not on hold", self.expect(3, "ca", "release", "--json", "--register", "json", "61").err)
        # What is there already is left as it is: an addition that was ended early can be repeated.
        added = self.expect(0, "ca", "add", "--json", "--register", "json", "--ca", "ca.pem", "json-61.pem", "ca.pem").json
        self.assertEqual([row["state"] for row in added["certificates"]], ["valid", "valid"])
        self.assertEqual(added["notes"], ["<CN=a> is in the register already"])
        self.assertEqual(len(self.list("json")), 2)
        self.assertEqual(self.expect(2, "ca", "revoke", "--json", "--register", "json", "62").json["verdict"], "UNREADABLE")

    def test_the_folder_may_have_the_output_too(self):
        self.issue("shared", "71")
        self.make(*self.issuing, "--subject", "/CN=a", "--register", "shared", "--serial", "72", "-o", "shared/copy")
        self.assertEqual((self.dir / "shared/copy").read_bytes(), openssl("x509", "-in", self.dir / "shared/72.pem"))
        self.make("crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", "shared", "-o", "shared/first.crl")
        self.assertEqual(self.files("shared"), ["71.pem", "72.pem", "copy", "crl-number", "first.crl", "lock"])

    def test_nothing_but_files_is_read(self):
        self.issue("pipes", "81")
        folder = self.dir / "pipes"
        for name in ("82.pem", "crl-number"):
            for make in (os.mkfifo, os.mkdir, lambda path: os.symlink(self.dir / "pipes-81.pem", path)):
                make(folder / name)
                result = self.expect(2, "crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", "pipes", "-o", "none.crl")
                self.assertIn(f"pipes/{name}: not a regular file", result.err)
                (folder / name).rmdir() if (folder / name).is_dir() else (folder / name).unlink()
        (folder / "lock").unlink()
        os.symlink(self.dir / "elsewhere", folder / "lock")
        self.expect(2, *self.issuing, "--subject", "/CN=a", "--register", "pipes", "-o", "none.pem")
        self.assertFalse((self.dir / "elsewhere").exists())

    def start(self, *arguments):
        return subprocess.Popen([*PROGRAM, *map(str, arguments)], cwd=self.dir, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                stderr=subprocess.PIPE)

    def test_whoever_changes_it_waits_for_the_others(self):
        self.issue("locked", "41")
        with open(self.dir / "locked/lock", "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            waiting = [self.start(*self.issuing, "--subject", "/CN=a", "--register", "locked", "--serial", serial, "-o", f"locked-{serial}-{i}.pem")
                       for i, serial in enumerate(("42", "43", "44", "44"))]
            waiting.append(self.start("ca", "revoke", "--register", "locked", "41"))
            self.assertEqual(self.files("locked"), ["41.pem", "lock"])
        ended = sorted((process.communicate()[1] and process.returncode) or process.returncode for process in waiting)
        self.assertEqual(ended, [0, 0, 0, 0, 2])  # Of two with one serial number one is first.
        self.assertEqual(self.files("locked"), ["41.pem", "42.pem", "43.pem", "44.pem", "lock"])
        self.assertEqual(sorted(self.states("locked")), [("41", "revoked"), ("42", "valid"), ("43", "valid"), ("44", "valid")])

    def killed(self, make_arguments):
        """Runs the program again and again, and kills it at each of the system calls that change files: yields after each
        run whether it was killed. `make_arguments` gets the number of the run."""
        run = 0
        for call in ("write", "fchmod", "fsync", "rename", "renameat2"):
            for number in range(1, 10):
                run += 1
                process = subprocess.run(["strace", "-f", "-qq", "-o", "/dev/null", "-e", f"trace={call}", "-e", f"inject={call}:signal=KILL:when={number}",
                                          *PROGRAM, *map(str, make_arguments(run))], cwd=self.dir, env=self.environment, capture_output=True, check=False)
                yield process.returncode != 0
                if process.returncode == 0:
                    break

    @unittest.skipIf(EMULATED or not shutil.which("strace"), "strace follows no emulated program")
    def test_a_program_that_is_killed_leaves_it_whole(self):
        self.issue("killed", "01")
        kills = 0
        for is_killed in self.killed(lambda run: [*self.issuing, "--subject", "/CN=a", "--register", "killed", "--serial", f"{0x20 + run:x}", "-o", "killed.pem", "--force"]):
            kills += is_killed
            states = self.states("killed")
            self.assertEqual(self.files("killed"), sorted([f"{number}.pem" for number, _ in states] + ["lock"]))
            if not is_killed:
                self.assertEqual((self.dir / "killed.pem").read_bytes(), openssl("x509", "-in", self.dir / "killed" / f"{max(states)[0]}.pem"))
        self.assertGreater(kills, 7)
        for _ in self.killed(lambda run: ["ca", "revoke", "--register", "killed", "01", "--reason", "certificateHold"]):
            self.assertIn(dict(self.states("killed"))["01"], ("valid", "on hold"))
        # The number of a list is taken before the list is there, so that no two lists have one.
        numbers = [0]
        for is_killed in self.killed(lambda run: ["crl", "new", "--ca", "ca.pem", "-k", "ca.key", "--register", "killed", "--force", "-o", "killed.crl"]):
            number = self.dir / "killed/crl-number"
            numbers.append(int(number.read_text()) if number.exists() else 0)
            if not is_killed:
                self.assertGreater(numbers[-1], numbers[-2])
        self.assertEqual(numbers, sorted(numbers))
        self.assertIn(f"CRL Number: \n                {numbers[-1] + 1}\n", self.crl("killed"))


if __name__ == "__main__":
    unittest.main()
