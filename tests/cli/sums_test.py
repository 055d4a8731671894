"""The verbs hash and mac beside coreutils, OpenSSL and Python."""
import hashlib
import hmac
import os
import pty
import subprocess
import time
import unittest

from support import PROGRAM, ProgramTest, openssl, some

SUMS = {"md5": "md5sum", "sha1": "sha1sum", "sha256": "sha256sum", "sha384": "sha384sum", "sha512": "sha512sum"}
C_LOCALE = {**os.environ, "LC_ALL": "C"}

ODD_NAMES = [b"plain", b"with blank", b" leading", b"*star", b"back\\slash", b"new\nline", b"carriage\rreturn", b"\\n", b"#hash",
             b"tab\there", b"bell\x07\x1b[31m", b"\xff\xfe latin\xe9", "größe".encode(), b"(paren) = x", b"[a,b]", b"{}", b"-dash",
             b"--help", b"'quote\"", b"%s$HOME", b"x" * 255, b"folder/nested", b"end ", b"end\r"]


def coreutils(name, *arguments, stdin=b"", cwd=None):
    return subprocess.run([name, *arguments], input=stdin, capture_output=True, cwd=cwd, env=C_LOCALE, check=False)


class SumTest(ProgramTest):
    def run_bytes(self, *arguments, stdin=b"", cwd=None):
        return subprocess.run([*PROGRAM, *arguments], input=stdin, capture_output=True, cwd=cwd or self.dir,
                              env=self.environment, timeout=120, check=False)


class HashTest(SumTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.odd = cls.dir / "odd"
        (cls.odd / "folder").mkdir(parents=True)
        for number, name in enumerate(ODD_NAMES):
            path = os.path.join(os.fsencode(cls.odd), name)
            with open(path, "wb") as file:
                file.write(bytes([number]) * number)
        cls.write("binary", bytes(range(256)) * 1000)
        cls.write("empty", b"")
        with open(cls.dir / "sparse", "wb") as file:
            file.truncate((3 << 20) + 7)

    def assertSame(self, ours, theirs, name):
        self.assertEqual(ours.stdout, theirs.stdout)
        # Coreutils quotes names for a shell.
        self.assertEqual(ours.stderr.replace(b"sealkit: ", f"{name}: ".encode()), theirs.stderr.replace(b"'", b""))
        self.assertEqual(ours.returncode == 0, theirs.returncode == 0)

    def test_every_algorithm_is_that_of_its_sum(self):
        for algorithm, name in SUMS.items():
            for options in ([], ["--tag"]):
                files = ["binary", "empty", "sparse"]
                ours = self.run_bytes("hash", "-a", algorithm, *options, *files)
                self.assertSame(ours, coreutils(name, *options, *files, cwd=self.dir), name)

    def test_the_others_are_those_of_python_and_openssl(self):
        content = (self.dir / "binary").read_bytes()
        both = hashlib.md5(content).hexdigest() + hashlib.sha1(content).hexdigest()
        self.assertEqual(self.expect(0, "hash", "-a", "md5-sha1", "binary").out, f"{both}  binary\n")
        self.assertEqual(self.expect(0, "hash", "-a", "md4", "-", stdin=b"abc").out, "a448017aaf21d8525fc10ae87aa6729d  -\n")
        self.assertEqual(self.expect(0, "hash", "--tag", "-a", "md4", stdin=b"").out, "MD4 (-) = 31d6cfe0d16ae931b73c59d7e0c089c0\n")

    def test_odd_names_are_written_byte_for_byte_alike(self):
        for options in ([], [b"--tag"]):
            ours = self.run_bytes("hash", *options, "--", *ODD_NAMES, cwd=self.odd)
            self.assertSame(ours, coreutils("sha256sum", *options, "--", *ODD_NAMES, cwd=self.odd), "sha256sum")
            self.assertEqual(ours.returncode, 0)

    def test_each_checks_what_the_other_wrote(self):
        for options in ([], [b"--tag"]):
            theirs = coreutils("sha256sum", *options, "--", *ODD_NAMES, cwd=self.odd).stdout
            ours = self.run_bytes("hash", "--check", stdin=theirs, cwd=self.odd)
            self.assertSame(ours, coreutils("sha256sum", "--check", stdin=theirs, cwd=self.odd), "sha256sum")
            self.assertEqual((ours.returncode, ours.stdout.count(b": OK\n")), (0, len(ODD_NAMES)))

    def test_standard_input(self):
        expected = hashlib.sha256(b"abc").hexdigest() + "  -\n"
        for arguments in ([], ["-"], ["-a", "SHA256"], ["-a", "Sha256", "-"]):
            self.assertEqual(self.expect(0, "hash", *arguments, stdin=b"abc").out, expected)
        nothing = hashlib.sha256(b"").hexdigest() + "  -\n"
        self.assertEqual(self.expect(0, "hash", "-", "-", stdin=b"abc").out, expected + nothing)

    def test_what_is_typed_ends_when_that_is_typed_once(self):
        screen, terminal = pty.openpty()
        self.addCleanup(os.close, screen)
        with subprocess.Popen([*PROGRAM, "hash"], stdin=terminal, stdout=subprocess.PIPE) as process:
            os.close(terminal)
            os.write(screen, b"abc\n\x04")
            try:
                self.assertEqual(process.communicate(timeout=30)[0].decode(), hashlib.sha256(b"abc\n").hexdigest() + "  -\n")
            finally:
                process.kill()

    def test_a_file_that_cannot_be_read_loses_no_other(self):
        ours = self.run_bytes("hash", "missing", "binary", ".", "empty")
        self.assertSame(ours, coreutils("sha256sum", "missing", "binary", ".", "empty", cwd=self.dir), "sha256sum")
        self.assertEqual(ours.returncode, 2)
        self.assertIn(b"sealkit: .: Is a directory\n", ours.stderr)

    def test_unknown_algorithms_are_answered_with_the_list(self):
        result = self.expect(3, "hash", "-a", "sha\x1b257", "binary")
        self.assertIn("md4, md5, sha1, sha256, sha384, sha512, md5-sha1", result.err)
        self.assertNoControls(result.err)
        for arguments in (["--quiet"], ["--status"], ["--strict"], ["--warn"], ["--ignore-missing"], ["--check", "--tag"]):
            self.expect(3, "hash", *arguments, "binary")

    def check_like_coreutils(self, lines, status, *options, name=None):
        """Checks LINES, a text or the texts of many files, with ours and with sha256sum, which must agree in what they write."""
        texts = [lines] if isinstance(lines, str) else lines
        for number, text in enumerate(texts):
            self.write(f"lines{number}", text)
        names = [name] if name else [f"lines{number}" for number in range(len(texts))]
        ours = self.run_bytes("hash", "-a", "sha256", "--check", *options, *names)
        self.assertSame(ours, coreutils("sha256sum", "--check", *options, *names, cwd=self.dir), "sha256sum")
        self.assertEqual(ours.returncode, status, ours)
        return ours

    def test_check_answers_like_coreutils(self):
        good, empty = (hashlib.sha256((self.dir / name).read_bytes()).hexdigest() for name in ("binary", "empty"))
        wrong = "0" * 64
        malformed = [f"{good}", f"{good} ", f"{good[1:]}  binary", f"g{good[1:]}  binary", f"{good}0  binary", "nonsense", f"\\{good}  bin\\xary",
                     f"\\{good}  binary\\", f"MD5 (binary) = {good[:32]}", f"SHA256 (binary = {good}", f"SHA256 (binary) {good}",
                     f"SHA256 (binary) = {good}x", f"SHA256 (binary) = {good} ", f"SHA256[binary] = {good}", " ", "\\", "SHA256", "SHA256 (", "SHA256 ()", ")"]
        self.check_like_coreutils([f"{line}\n" for line in malformed], 2)
        self.check_like_coreutils([f"{line}\n{good}  binary\n" for line in malformed], 0, "--warn")
        self.check_like_coreutils([f"{good}  binary\n{line}\n" for line in malformed], 2, "--warn", "--strict")
        self.check_like_coreutils([f"{good}  binary\n{line}" for line in malformed], 0, "--status")
        for line in some(malformed):
            with self.subTest(line=line):
                self.check_like_coreutils(f"{line}\n", 2)
                self.check_like_coreutils(f"{good}  binary\n{line}\n", 2, "--strict")
        unmarked = f"{good} binary"
        formatted = [f"{good}  binary", f"{good} *binary", f"  \t{good}  binary", f"{good.upper()}  binary\r", f"SHA256 (binary) = {good}",
                     f"SHA256(binary)= {good}", f"SHA256 (binary)  =\t{good}", f"\\SHA256 (binary) = {good}", f"\\{good}  binary", unmarked,
                     f"{good}\t binary", f"# comment\n\n\r\n{good}  binary", f"{good}  binary"]
        # The first line of all says whether there is a mark in front of names.
        for lines in ([line for line in formatted if line != unmarked], [unmarked]):
            self.check_like_coreutils(lines, 0)
            self.check_like_coreutils([f"{line}\n\\SHA256 (empty) = {empty}\n" for line in lines], 0)
        for line in (f"{good} binary\n{empty}  empty\n{empty} empty\n", f"{good}  binary\n{empty} empty\n"):
            self.check_like_coreutils(line, 0 if line.startswith(f"{good}  ") else 2, "--warn")
        mixed = f"{good}  binary\n{wrong}  empty\n{good}  missing\n{good}  .\nnonsense\n{empty}  empty\n"
        for options in ([], ["--quiet"], ["--status"], ["--warn"], ["--strict"], ["--ignore-missing"], ["--quiet", "--ignore-missing"]):
            with self.subTest(options=options):
                self.check_like_coreutils(mixed, 1, *options)
        self.check_like_coreutils(f"{good}  missing\n", 2)
        self.check_like_coreutils(f"{good}  missing\n", 2, "--ignore-missing")
        self.check_like_coreutils(f"{good}  missing\n{good}  binary\n", 0, "--ignore-missing")
        self.check_like_coreutils(f"{good}  missing\n{good}  binary\n", 2)
        for name in ("missing", "empty"):
            self.check_like_coreutils("", 2, name=name)

    def test_check_of_several_files_and_standard_input(self):
        good = hashlib.sha256((self.dir / "binary").read_bytes()).hexdigest()
        self.write("a.sums", f"{good}  binary\n")
        self.write("b.sums", f"{'0' * 64}  binary\n")
        self.assertEqual(self.expect(1, "hash", "-c", "missing", "b.sums", "a.sums").out, "binary: FAILED\nbinary: OK\n")
        self.assertEqual(self.expect(2, "hash", "-c", "a.sums", "missing").out, "binary: OK\n")
        result = self.expect(2, "hash", "-c", stdin=f"{good}  -\n".encode())
        self.assertEqual(result.err, "sealkit: standard input: no properly formatted checksum lines found\n")

    def test_lines_that_name_their_algorithm_are_checked_with_it(self):
        lines = b"".join(coreutils(name, "--tag", "binary", cwd=self.dir).stdout for name in SUMS.values())
        self.assertEqual(self.expect(0, "hash", "--check", "-w", stdin=lines).out, "binary: OK\n" * 5)
        result = self.expect(0, "hash", "-a", "sha1", "--check", "-w", stdin=lines)
        self.assertEqual(result.out, "binary: OK\n")
        self.assertIn("WARNING: 4 lines are improperly formatted", result.err)
        ours = self.expect(0, "hash", "-a", "md5-sha1", "--tag", "binary").out
        self.assertEqual(self.expect(0, "hash", "--check", stdin=ours.encode()).out, "binary: OK\n")

    def test_hostile_lines(self):
        good = hashlib.sha256((self.dir / "binary").read_bytes()).hexdigest()
        result = self.expect(0, "hash", "-c", stdin=b"x" * 3_000_000 + b"\n" + b"\0" * 100 + f"\n{good}  bin\0ary\n{good}  binary\n".encode())
        self.assertEqual(result.out, "binary: OK\n")
        self.assertIn("WARNING: 3 lines are improperly formatted", result.err)
        self.assertNoControls(self.expect(2, "hash", "-c", stdin=f"{good}  \x1b[2Jx\n".encode()).err)

    def test_terminals_get_no_control_characters(self):
        screen = self.on_terminal("hash", "--", os.path.join(os.fsencode(self.odd), b"bell\x07\x1b[31m"))
        self.assertIn(b"\\x07\\x1b[31m", screen)
        self.assertNotIn(b"\x1b", screen)

    def test_long_work_shows_progress_on_a_terminal_only(self):
        def feed(process):
            for _ in range(8):
                process.stdin.write(b"x" * 100_000)
                process.stdin.flush()
                time.sleep(0.15)
        screen = self.on_terminal("hash", feed=feed)
        digest = hashlib.sha256(b"x" * 800_000).hexdigest()
        self.assertRegex(screen, rb"\r[0-9.]+ KiB +\r")
        self.assertTrue(screen.endswith(f"\r{' ' * 40}\r{digest}  -\r\n".encode()), screen)
        self.assertEqual(self.on_terminal("hash", "binary").count(b"KiB"), 0, "short work shows none")
        process = subprocess.Popen([*PROGRAM, "hash"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        feed(process)
        out, err = process.communicate()
        self.assertEqual((out, err), (f"{digest}  -\n".encode(), b""))

    def test_examples_of_the_help_work(self):
        self.run_examples("hash")
        self.assertTrue((self.examples / "sums").is_file())


class MacTest(SumTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.write("text", bytes(range(256)) * 700 + b"end")
        cls.write("empty", b"")
        for size in (1, 16, 24, 32, 64, 65, 200):
            cls.write(f"key{size}", bytes((7 * i + size) % 256 for i in range(size)))

    def test_hmac_is_that_of_python(self):
        for name in ("md5", "sha1", "sha256", "sha384", "sha512"):
            for size in some((1, 64, 65, 200)):
                key = (self.dir / f"key{size}").read_bytes()
                lines = "".join(f"{hmac.new(key, (self.dir / file).read_bytes(), name).hexdigest()}  {file}\n" for file in ("text", "empty"))
                for algorithm in (name, "HMAC-" + name.upper()) if size == 1 else ("hmac-" + name,):
                    self.assertEqual(self.expect(0, "mac", "-a", algorithm, "--key-file", f"key{size}", "text", "empty").out, lines)
        self.assertEqual(self.expect(0, "mac", "-a", "sha1", "--key", key.hex(), stdin=b"abc").out,
                         f"{hmac.new(key, b'abc', 'sha1').hexdigest()}  -\n")

    def test_hmac_over_the_other_hashes(self):
        # RFC 2202 has both halves of the one; the other is RFC 2104 over an MD4 of the program's own.
        key, text = bytes(range(1, 26)), b"\xcd" * 50
        expected = hmac.new(key, text, "md5").hexdigest()
        self.assertEqual(expected, "697eaf0aca3a3aea3a75164746ffaa79")
        def md4(content):
            return bytes.fromhex(self.expect(0, "hash", "-a", "md4", stdin=content).out.split()[0])
        def pad(byte):
            return bytes(b ^ byte for b in key.ljust(64, b"\0"))
        self.assertEqual(self.expect(0, "mac", "-a", "hmac-md4", "--key", key.hex(), stdin=text).out,
                         f"{md4(pad(0x5C) + md4(pad(0x36) + text)).hex()}  -\n")
        def both(content):
            return hashlib.md5(content).digest() + hashlib.sha1(content).digest()
        self.assertEqual(self.expect(0, "mac", "-a", "md5-sha1", "--key", key.hex(), stdin=text).out,
                         f"{both(pad(0x5C) + both(pad(0x36) + text)).hex()}  -\n")

    def test_cmac_is_that_of_openssl(self):
        for size in (16, 24, 32):
            key = (self.dir / f"key{size}").read_bytes()
            for file in ("text", "empty"):
                expected = openssl("dgst", "-mac", "CMAC", "-macopt", f"cipher:aes-{8 * size}-cbc", "-macopt",
                                   f"hexkey:{key.hex()}", self.dir / file).decode().split("= ")[1].strip()
                for name in ("cmac", "AES-CMAC"):
                    self.assertEqual(self.expect(0, "mac", "-a", name, "--key-file", f"key{size}", file).out, f"{expected}  {file}\n")
        # RFC 4493, section 4.
        self.assertEqual(self.expect(0, "mac", "-a", "cmac", "--key", "2b7e151628aed2a6abf7158809cf4f3c", "--tag", stdin=b"").out,
                         "CMAC (-) = bb1d6929e95937287fa37d129b756746\n")

    def test_check(self):
        for algorithm in ("cmac", "hmac-sha512"):
            for options in ([], ["--tag"]):
                lines = self.expect(0, "mac", "-a", algorithm, "--key-file", "key32", *options, "text", "empty").out
                check = ["mac", "-a", algorithm, "--check", "--key-file"]
                self.assertEqual(self.expect(0, *check, "key32", stdin=lines.encode()).out, "text: OK\nempty: OK\n")
                self.assertEqual(self.expect(1, *check, "key16", stdin=lines.encode()).out, "text: FAILED\nempty: FAILED\n")
        self.assertEqual(self.expect(2, "mac", "-a", "sha1", "--check", "--key-file", "key32", stdin=lines.encode()).out, "")

    def test_a_file_that_fails_midway_leaves_no_trace_in_the_next(self):
        both = self.expect(2, "mac", "-a", "sha256", "--key-file", "key16", ".", "text").out
        self.assertEqual(both, self.expect(0, "mac", "-a", "sha256", "--key-file", "key16", "text").out)

    def test_keys_that_do_not_fit(self):
        self.assertIn("has 65 bytes, cmac takes 16, 24 or 32\n", self.expect(2, "mac", "-a", "cmac", "--key-file", "key65", "text").err)
        self.write("line", b"0123456789abcdeF\n")
        self.assertIn("including a line end at its end", self.expect(2, "mac", "-a", "cmac", "--key-file", "line", "text").err)
        self.write("line", b"0123456789abcdeF\r\n")
        self.assertIn("including a line end at its end", self.expect(2, "mac", "-a", "cmac", "--key-file", "line", "text").err)
        self.write("hex", "00" * 16 + "\n")
        self.assertIn("looks like hexadecimal", self.expect(2, "mac", "-a", "cmac", "--key-file", "hex", "text").err)
        self.assertIn("the key is empty", self.expect(2, "mac", "-a", "sha1", "--key-file", "empty", "text").err)
        self.assertIn("No such file", self.expect(2, "mac", "-a", "sha1", "--key-file", "missing", "text").err)
        self.assertIn("Is a directory", self.expect(2, "mac", "-a", "sha1", "--key-file", ".", "text").err)
        self.assertIn("1 MiB", self.expect(2, "mac", "-a", "sha1", "--key-file", "/dev/zero", "text").err)
        self.assertIn("--key-file", self.expect(3, "mac", "-a", "sha1", "text").err)
        self.expect(3, "mac", "--key-file", "key16", "text")
        self.expect(3, "mac", "-a", "sha1", "--key-file", "key16", "--key", "00", "text")
        for files in ([], ["-"], ["text", "-"], ["--check"]):
            self.assertIn("cannot be both text and key", self.expect(3, "mac", "-a", "sha1", "--key-file", "-", *files, stdin=b"k").err)
        for bad in ("0", "xy", ""):
            self.expect(3, "mac", "-a", "sha1", "--key", bad, "text")
        for name in ("hmac", "hmac-", "hmac-cmac", "sha2", "gmac", ""):
            result = self.expect(3, "mac", "-a", name, "--key-file", "key16", "text")
        self.assertIn("cmac", self.expect(3, "mac", "-a", "gmac", "--key-file", "key16", "text").err)

    def test_a_line_end_in_a_key_file_counts(self):
        self.write("line", b"secret\n")
        self.assertEqual(self.expect(0, "mac", "-a", "md5", "--key-file", "line", "empty").out,
                         f"{hmac.new(b'secret' + bytes([10]), b'', 'md5').hexdigest()}  empty\n")

    def test_the_key_may_be_standard_input(self):
        self.assertEqual(self.expect(0, "mac", "-a", "md5", "--key-file", "-", "empty", stdin=b"k").out,
                         f"{hmac.new(b'k', b'', 'md5').hexdigest()}  empty\n")

    def test_examples_of_the_help_work(self):
        self.assertEqual(self.run_examples("mac").stdout, b"/etc/passwd: OK\n")


if __name__ == "__main__":
    unittest.main()
