import base64
import os
import stat
import subprocess
import unittest

from support import PROGRAM, ProgramTest, some


class RandomTest(ProgramTest):
    def raw(self, *arguments):
        return subprocess.run([*PROGRAM, "random", *arguments], capture_output=True, cwd=self.dir, env=self.environment, check=True).stdout

    def test_gives_the_number_of_bytes(self):
        for count, size in some((("0", 0), ("1", 1), ("33", 33), ("49153", 49153), ("1K", 1024), ("2k", 2048), ("0x10", 16), ("49152", 49152),
                                 ("1M", 1 << 20))):
            self.assertEqual(len(self.raw(count)), size, count)
            if size < 100_000:
                self.assertEqual(len(bytes.fromhex(self.raw(count, "--hex").decode().removesuffix("\n"))), size)
                text = self.raw(count, "--base64")
                self.assertTrue(text.endswith(b"\n"))
                self.assertEqual(len(base64.b64decode(text[:-1], validate=True)), size)
        self.assertNotIn(b"\n", self.raw("100000", "--base64")[:-1], "one line")

    def test_is_random(self):
        content = self.raw("64K")
        self.assertNotEqual(content, self.raw("64K"))
        counts = [content.count(bytes([value])) for value in range(256)]
        # 256 expected of each, with a deviation of 16.
        self.assertTrue(all(128 < count < 384 for count in counts), counts)
        halves = {content[at:at + 8] for at in range(0, len(content), 8)}
        self.assertEqual(len(halves), len(content) // 8)

    def test_numbers_that_are_none(self):
        for count in ("", "x", "-1", "1.5", "1T", "K", "1 K", "1KK", "18446744073709551616", "17179869184G"):
            result = self.expect(3, "random", count)
            self.assertEqual(result.out, "")
        self.expect(3, "random")
        self.expect(3, "random", "1", "--hex", "--base64")

    def test_files(self):
        self.expect(0, "random", "32", "-o", "key")
        key = self.dir / "key"
        self.assertEqual((key.stat().st_size, stat.S_IMODE(key.stat().st_mode)), (32, 0o600))
        before = key.read_bytes()
        result = self.expect(2, "random", "32", "-o", "key")
        self.assertEqual(result.err, "sealkit: key: exists already (--force replaces it)\n")
        self.assertEqual(key.read_bytes(), before)
        self.expect(0, "random", "16", "--hex", "--force", "-o", "key")
        self.assertEqual(len(key.read_text()), 33)
        self.assertIn("No such file", self.expect(2, "random", "1", "-o", "nowhere/key").err)

    def test_a_pipe_that_closes_is_a_failure(self):
        process = subprocess.Popen([*PROGRAM, "random", "1G"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdout.read(10)
        process.stdout.close()
        error = process.stderr.read()
        process.stderr.close()
        self.assertEqual(process.wait(), 2)
        self.assertEqual(error, b"sealkit: standard output: Broken pipe\n")

    def test_terminals_get_no_raw_bytes_unless_asked(self):
        self.assertIn(b"--hex", self.on_terminal("random", "8", status=3))
        self.assertRegex(self.on_terminal("random", "8", "--hex"), rb"^[0-9a-f]{16}\r\n$")
        self.assertGreaterEqual(len(self.on_terminal("random", "64", "-o", "-")), 64)

    def test_examples_of_the_help_work(self):
        self.run_examples("random")
        self.assertEqual(os.path.getsize(self.examples / "my.key"), 32)


if __name__ == "__main__":
    unittest.main()
