"""The verb cipher beside `openssl enc`, published vectors and Python."""
import os
import resource
import signal
import stat
import subprocess
import time
import unittest

from support import PROGRAM, ProgramTest, heed_signals, openssl, some

KEYS = {size: bytes((11 * i + size) % 256 for i in range(size)) for size in (8, 16, 24, 32, 48, 64)}
IVS = {size: bytes((5 * i + 3) % 256 for i in range(size)) for size in (1, 8, 12, 16, 20)}

# (ours, OpenSSL's, size of the key)
STREAMS = [("des-ede3-cbc", "des-ede3-cbc", 24), ("3des-cbc", "des-ede3-cbc", 24),
           *((f"aes-{mode}", f"aes-{8 * size}-{mode}", size) for mode in ("cbc", "ctr") for size in (16, 24, 32)),
           ("aes-cfb", "aes-128-cfb", 16), ("aes-128-cfb", "aes-128-cfb", 16), ("AES-256-CBC", "aes-256-cbc", 32)]

# Around a block, around the pieces that the program reads, and empty.
LENGTHS = [0, 1, 15, 16, 17, 65535, 65536, 65537, 131072, 200_000]


def text_of(length):
    return bytes((i * i + i // 7) % 256 for i in range(length))


class CipherTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for size, key in KEYS.items():
            cls.write(f"key{size}", key)
        cls.write("text", text_of(70_000))
        cls.write("aad", b"header")
        cls.write("aad2", b"second")
        cls.write("aad0", b"")

    def setUp(self):
        self.out = self.dir / "out"
        self.out.mkdir()

    def tearDown(self):
        for path in self.out.iterdir():
            path.unlink()
        self.out.rmdir()

    def cipher(self, direction, name, key, iv, *arguments, stdin=b"", status=0):
        iv = ["--iv", IVS[iv].hex() if isinstance(iv, int) else iv] if iv else []
        process = subprocess.run([*PROGRAM, "cipher", direction, "-a", name, "--key-file", f"key{key}", *iv, *map(str, arguments)],
                                 input=stdin, capture_output=True, cwd=self.dir, env=self.environment, timeout=120, check=False)
        self.assertEqual(process.returncode, status, (direction, name, key, arguments, process.stderr))
        self.error = process.stderr.decode()
        return process.stdout

    def assertNothingLeft(self, *expected):
        self.assertEqual(sorted(path.name for path in self.out.iterdir()), sorted(expected))

    # Agreement with others.

    def test_streams_are_those_of_openssl(self):
        for ours, theirs, size in STREAMS:
            iv = 8 if "des" in ours else 16
            for length in some(LENGTHS if ours in ("aes-cbc", "aes-ctr", "aes-cfb") and size == 16 else (65537, 0, 24)):
                with self.subTest(cipher=ours, length=length):
                    text = text_of(length)
                    expected = openssl("enc", f"-{theirs}", "-K", KEYS[size].hex(), "-iv", IVS[iv].hex(), input=text)
                    self.assertEqual(self.cipher("encrypt", ours, size, iv, stdin=text), expected)
                    self.assertEqual(self.cipher("decrypt", ours, size, iv, stdin=expected), text)
                    self.assertEqual(self.error, "")

    def test_des(self):
        # OpenSSL has single DES in a provider that need not be there; three times the same key is the same.
        text = text_of(1000)
        expected = openssl("enc", "-des-ede3-cbc", "-K", (KEYS[8] * 3).hex(), "-iv", IVS[8].hex(), input=text)
        self.assertEqual(self.cipher("encrypt", "des-cbc", 8, 8, stdin=text), expected)
        self.assertEqual(self.cipher("decrypt", "DES-CBC", 8, 8, stdin=expected), text)

    def test_null_adds_each_byte_to_the_one_before(self):
        text = text_of(70_000)
        before, expected = 3, bytearray()
        for byte in text:
            before ^= byte
            expected.append(before)
        for options in (["--key-file", "key8"], []):
            for direction, given, wanted in (("encrypt", text, expected), ("decrypt", expected, text)):
                result = subprocess.run([*PROGRAM, "cipher", direction, "-a", "null", "--iv", "03", *options], input=bytes(given),
                                        capture_output=True, cwd=self.dir, env=self.environment, check=True)
                self.assertEqual(result.stdout, wanted)

    def test_gcm_vectors(self):
        # Test cases 4, 16 and 6 (an IV of 60 bytes) of McGrew and Viega, "The Galois/Counter Mode of Operation (GCM)", appendix B.
        text = ("d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a721c3c0c95956809532fcf0e2449a6b525"
                "b16aedf5aa0de657ba637b39")
        self.write("gcm.aad", bytes.fromhex("feedfacedeadbeeffeedfacedeadbeefabaddad2"))
        key, iv = "feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888"
        long_iv = ("9313225df88406e555909c5aff5269aa6a7a9538534f7da1e4c303d2a318a728c3c0c95156809539fcf0e2429a6b5254"
                   "16aedbf5a0de6a57a637b39b")
        for name, key, iv, expected in (
                ("aes-gcm", key, iv, "42831ec2217774244b7221b784d0d49ce3aa212f2c02a4e035c17e2329aca12e21d514b25466931c7d8f6a5aac84aa05"
                 "1ba30b396a0aac973d58e0915bc94fbc3221a5db94fae95ae7121a47"),
                ("AES-256-GCM", key * 2, iv, "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa8cb08e48590dbb3da7b08b1056828838"
                 "c5f61e6393ba7a0abcc9f66276fc6ece0f4e1768cddf8853bb2d551b"),
                ("aes-128-gcm", key, long_iv, "8ce24998625615b603a033aca13fb894be9112a5c3a211a8ba262a3cca7e2ca701e4a9a4fba43c90ccdcb281d48c7c6f"
                 "d62875d2aca417034c34aee5619cc5aefffe0bfa462af43c1699d050")):
            options = ["-a", name, "--key", key, "--iv", iv, "--aad-file", "gcm.aad"]
            self.write("gcm.text", bytes.fromhex(text))
            self.expect(0, "cipher", "encrypt", *options, "gcm.text", "-o", "out/gcm")
            self.assertEqual((self.out / "gcm").read_bytes().hex(), expected)
            self.assertEqual(self.expect(0, "cipher", "decrypt", *options, "out/gcm", "-o", "out/text").err, "")
            self.assertEqual((self.out / "text").read_bytes().hex(), text)
            (self.out / "gcm").unlink()
            (self.out / "text").unlink()

    def test_associated_data_counts_byte_for_byte(self):
        self.write("marked", b"\xef\xbb\xbfheader")
        for name, key, iv in (("aes-gcm", 16, 12), ("aes-siv", 32, None)):
            results = {self.cipher("encrypt", name, key, iv, "--aad-file", file, stdin=b"text") for file in ("aad", "marked")}
            self.assertEqual(len(results), 2)

    def test_siv_vectors(self):
        # RFC 5297, A.1 and A.2.
        self.write("ad.a1", bytes.fromhex("101112131415161718191a1b1c1d1e1f2021222324252627"))
        self.write("ad.1", bytes.fromhex("00112233445566778899aabbccddeeffdeaddadadeaddadaffeeddccbbaa99887766554433221100"))
        self.write("ad.2", bytes.fromhex("102030405060708090a0"))
        for key, options, text, expected in (
                ("fffefdfcfbfaf9f8f7f6f5f4f3f2f1f0f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff", ["--aad-file", "ad.a1"],
                 "112233445566778899aabbccddee", "85632d07c6e8f37f950acd320a2ecc9340c02b9690c4dc04daef7f6afe5c"),
                ("7f7e7d7c7b7a79787776757473727170404142434445464748494a4b4c4d4e4f",
                 ["--aad-file", "ad.1", "--aad-file", "ad.2", "--iv", "09f911029d74e35bd84156c5635688c0"],
                 b"this is some plaintext to encrypt using SIV-AES".hex(),
                 "7bdb6e3b432667eb06f4d14bff2fbd0fcb900f2fddbe404326601965c889bf17dba77ceb094fa663b7a3f748ba8af829ea64ad544a272e9c485b62a3fd5c0d")):
            for name in ("aes-siv", "aes-128-siv"):
                self.write("siv", bytes.fromhex(text))
                command = ["-a", name, "--key", key, *options]
                self.expect(0, "cipher", "encrypt", *command, "siv", "--force", "-o", "out/siv")
                self.assertEqual((self.out / "siv").read_bytes().hex(), expected)
                self.expect(0, "cipher", "decrypt", *command, "out/siv", "--force", "-o", "out/text")
                self.assertEqual((self.out / "text").read_bytes().hex(), text)

    def test_authenticated_ciphers_bring_back_what_they_took(self):
        for name, sizes, iv in (("aes-gcm", (16, 32), 12), ("aes-siv", (32, 48, 64), None), ("aes-siv", (64,), 20)):
            for size in sizes:
                for length in some((65537, 0, 1, 65536)):
                    text = text_of(length)
                    encrypted = self.cipher("encrypt", name, size, iv, "--aad-file", "aad0", stdin=text)
                    self.assertEqual(len(encrypted), length + 16)
                    self.assertEqual(self.cipher("decrypt", name, size, iv, "--aad-file", "aad0", stdin=encrypted), text)

    def test_associated_data_is_told_apart(self):
        text = b"text"
        ways = [[], ["--aad-file", "aad"], ["--aad-file", "aad2"], ["--aad-file", "aad", "--aad-file", "aad2"],
                ["--aad-file", "aad2", "--aad-file", "aad"], ["--aad-file", "aad0"]]
        results = [self.cipher("encrypt", "aes-siv", 32, None, *way, stdin=text) for way in ways]
        results.append(self.cipher("encrypt", "aes-siv", 32, "00", stdin=text))
        self.assertEqual(len(set(results)), len(results))
        # The nonce is the last string (RFC 5297, section 3).
        self.write("nonce", bytes.fromhex("0102"))
        self.assertEqual(self.cipher("encrypt", "aes-siv", 32, "0102", "--aad-file", "aad", stdin=text),
                         self.cipher("encrypt", "aes-siv", 32, None, "--aad-file", "aad", "--aad-file", "nonce", stdin=text))

    # Padding and blocks.

    def test_padding_is_checked_strictly(self):
        def decrypt(last_block, status):
            encrypted = openssl("enc", "-aes-128-cbc", "-nopad", "-K", KEYS[16].hex(), "-iv", IVS[16].hex(), input=b"A" * 16 + bytes(last_block))
            return self.cipher("decrypt", "aes-cbc", 16, 16, stdin=encrypted, status=status)
        for count in some(range(1, 17)):
            self.assertEqual(decrypt([7] * (16 - count) + [count] * count, 0), b"A" * 16 + bytes([7] * (16 - count)))
        for bad in some(([0] * 16, [17] * 16, [7] * 15 + [0], [7] * 15 + [17], [7] * 14 + [1, 2], [3] + [16] * 15, [2, 3, 3, 4] * 4, [255] * 16)):
            self.assertEqual(decrypt(bad, 1), b"")
        text = b"A" * 16 + bytes([9] * 15 + [17])
        encrypted = self.cipher("encrypt", "aes-cbc", 16, 16, "--no-pad", stdin=text)
        self.assertEqual(encrypted, openssl("enc", "-aes-128-cbc", "-nopad", "-K", KEYS[16].hex(), "-iv", IVS[16].hex(), input=text))
        self.assertEqual(self.cipher("decrypt", "aes-cbc", 16, 16, "--no-pad", stdin=encrypted), text)
        self.cipher("decrypt", "aes-cbc", 24, 16, "text", "-o", "out/x", status=1)
        encrypted = self.cipher("encrypt", "aes-cbc", 16, 16, "text")
        self.cipher("decrypt", "aes-cbc", 16, 16, "-o", "out/x", stdin=encrypted[:-16], status=1)
        self.assertEqual(self.error, "sealkit: -: the padding is malformed: wrong key or IV, or a changed text\n")
        self.assertNothingLeft()

    def test_whole_blocks(self):
        for direction, options in (("encrypt", ["--no-pad"]), ("decrypt", ["--no-pad"]), ("decrypt", [])):
            for length in some((1, 15, 17, 65537)):
                self.assertEqual(self.cipher(direction, "aes-cbc", 16, 16, *options, "-o", "out/x", stdin=text_of(length), status=2), b"")
                self.assertIn("not whole blocks of 16", self.error)
                self.write("partial", text_of(length))
                self.assertEqual(self.cipher(direction, "aes-cbc", 16, 16, *options, "partial", status=2), b"", "told before anything is written")
        self.cipher("encrypt", "des-cbc", 8, 8, "--no-pad", stdin=b"123", status=2)
        self.assertIn("blocks of 8", self.error)
        self.assertEqual(self.cipher("encrypt", "aes-cbc", 16, 16, "--no-pad"), b"")
        self.assertEqual(self.cipher("decrypt", "aes-cbc", 16, 16, "--no-pad"), b"")
        self.cipher("decrypt", "aes-cbc", 16, 16, status=2)
        self.assertNothingLeft()

    # The counter.

    def test_the_counter_wraps_without_carry_and_says_so(self):
        high, last = "000102030405060708090a0b", "ffffffff"
        zeros = bytes(48)
        result = self.cipher("encrypt", "aes-ctr", 16, high + last, stdin=zeros)
        self.assertIn("programs that carry give a different result after block 1\n", self.error)
        blocks = openssl("enc", "-aes-128-ecb", "-nopad", "-K", KEYS[16].hex(), input=bytes.fromhex(high + last + high + "00000000" + high + "00000001"))
        self.assertEqual(result, blocks)
        self.assertEqual(self.cipher("encrypt", "aes-ctr", 16, high + last, stdin=zeros[:16]), blocks[:16])
        self.assertEqual(self.error, "")
        self.cipher("decrypt", "aes-ctr", 16, high + "fffff000", "-o", "out/fits", stdin=bytes(65536))
        self.assertEqual(self.error, "")
        self.cipher("decrypt", "aes-ctr", 16, high + "fffff000", "-o", "out/far", stdin=bytes(200_000))
        self.assertEqual(self.error.count("warning"), 1)
        self.assertIn("after block 4096\n", self.error)

    def test_the_keystream_never_repeats(self):
        self.sparse("huge", (64 << 30) + 1)
        self.assertEqual(self.cipher("encrypt", "aes-ctr", 16, 16, "huge", status=2), b"")
        self.assertIn("64 GiB", self.error)

    # Usage.

    def test_ivs_have_the_length_that_is_needed(self):
        for name, key, good in some((("aes-cbc", 16, 16), ("aes-ctr", 16, 16), ("aes-cfb", 16, 16), ("des-cbc", 8, 8), ("3des-cbc", 24, 8), ("null", 8, 1))):
            for size in (1, 8, 12, 16, 20):
                self.cipher("encrypt", name, key, size, "-o", "out/x", "--force", stdin=b"", status=0 if size == good else 3)
            self.cipher("encrypt", name, key, None, stdin=b"", status=3)
            self.assertIn("--iv", self.error)
        self.cipher("encrypt", "aes-gcm", 16, None, status=3)
        for bad in ("0", "xy", "00 11"):
            self.cipher("encrypt", "aes-gcm", 16, bad, status=3)

    def test_short_ivs_of_gcm_are_warned_of(self):
        for size in (1, 8, 12, 16, 20):
            encrypted = self.cipher("encrypt", "aes-gcm", 16, size, stdin=b"text")
            self.assertEqual("no other program supports" in self.error, size < 12)
            self.assertEqual(self.cipher("decrypt", "aes-gcm", 16, size, stdin=encrypted), b"text")

    def test_keys_have_the_length_that_is_needed(self):
        for name, good in some((("des-cbc", [8]), ("3des-cbc", [24]), ("aes-cbc", [16, 24, 32]), ("aes-ctr", [16, 24, 32]), ("aes-cfb", [16]),
                                ("aes-gcm", [16, 32]), ("aes-siv", [32, 48, 64]), ("aes-192-cbc", [24]), ("aes-256-GCM", [32]), ("aes-192-siv", [48]))):
            iv = 8 if "des" in name else 16
            for size in KEYS:
                self.cipher("encrypt", name, size, iv, status=0 if size in good else 2)
                if size not in good:
                    self.assertIn(f"the key has {size} bytes, {name.lower()} takes {good[0]}", self.error)
        self.write("key33", KEYS[32] + b"\n")
        self.cipher("encrypt", "aes-gcm", 33, 12, status=2)
        self.assertIn("line end", self.error)

    def test_names_that_are_none(self):
        for name in some(("x\x1b[0m", "aes", "aes-192-gcm", "aes-192-cfb", "aes-256-cfb", "aes-512-cbc", "aes-128-", "aes-128-aes-cbc", "aes-128-128-cbc", "rot13", "des")):
            self.cipher("encrypt", name, 16, 16, status=3)
            self.assertIn("null, des-cbc, des-ede3-cbc, 3des-cbc, aes-cbc, aes-ctr, aes-cfb, aes-gcm, aes-siv", self.error)
            self.assertNoControls(self.error)

    def test_options_that_do_not_go_together(self):
        for name, key in (("aes-cbc", 16), ("aes-ctr", 16), ("aes-cfb", 16)):
            self.cipher("encrypt", name, key, 16, "--aad-file", "aad", status=3)
        self.cipher("encrypt", "aes-gcm", 16, 12, "--aad-file", "aad", "--aad-file", "aad2", status=3)
        for name, key in (("aes-ctr", 16), ("aes-cfb", 16), ("aes-gcm", 16), ("aes-siv", 32)):
            self.cipher("encrypt", name, key, 16, "--no-pad", status=3)
        self.expect(3, "cipher", "encrypt", "-a", "aes-gcm", "--iv", "00" * 12)
        self.expect(3, "cipher", "encrypt", "--key-file", "key16", "--iv", "00" * 12)
        self.expect(3, "cipher", "encrypt", "-a", "aes-gcm", "--key-file", "-", "--iv", "00" * 12)
        self.expect(3, "cipher", "encrypt", "-a", "aes-gcm", "--key-file", "key16", "--iv", "00" * 12, "--aad-file", "-")
        self.expect(3, "cipher")
        self.cipher("encrypt", "aes-siv", 32, None, *["--aad-file", "aad"] * 126)
        self.cipher("encrypt", "aes-siv", 32, None, *["--aad-file", "aad"] * 127, status=3)
        self.cipher("encrypt", "aes-siv", 32, "00", *["--aad-file", "aad"] * 126, status=3)

    # Failure.

    def test_a_failed_authentication_leaves_nothing(self):
        (self.out / "old").write_bytes(b"old")
        for name, key, other, iv in (("aes-gcm", 16, 32, 12), ("aes-siv", 32, 48, 20)):
            encrypted = self.cipher("encrypt", name, key, iv, "--aad-file", "aad", "text")
            good = ["--aad-file", "aad"]
            def flip(at):
                changed = bytearray(encrypted)
                changed[at] ^= 1
                return bytes(changed)
            ways = [[], ["-o", "out/new"], ["-o", "out/old", "--force"]]
            for number, (changed, iv_used, options) in enumerate(((flip(0), iv, good), (flip(40_000), iv, good), (flip(-1), iv, good), (encrypted[:-1], iv, good),
                                              (encrypted + b"\0", iv, good), (encrypted, 16, good), (encrypted, iv, []), (encrypted, iv, ["--aad-file", "aad2"]))):
                for where in ways if number == 0 else [ways[number % 3]]:
                    self.assertEqual(self.cipher("decrypt", name, key, iv_used, *options, *where, stdin=changed, status=1), b"")
                    self.assertEqual(self.error, "sealkit: -: authentication failed: wrong key, IV or associated data, or a changed text\n")
            self.write("wrong.key", bytes(key))
            result = self.expect(1, "cipher", "decrypt", "-a", name, "--key-file", "wrong.key", "--iv", IVS[iv].hex(), *good, stdin=encrypted)
            self.assertIn("authentication failed", result.err)
            for length in (0, 15):
                self.cipher("decrypt", name, key, iv, "-o", "out/new", stdin=encrypted[:length], status=2)
        self.assertNothingLeft("old")
        self.assertEqual((self.out / "old").read_bytes(), b"old")

    def test_what_cannot_be_read_or_written_leaves_nothing(self):
        self.cipher("encrypt", "aes-ctr", 16, 16, "missing", "-o", "out/x", status=2)
        self.cipher("encrypt", "aes-ctr", 16, 16, ".", "-o", "out/x", status=2)
        self.assertEqual(self.error, "sealkit: .: Is a directory\n")
        self.cipher("encrypt", "aes-gcm", 16, 12, ".", "-o", "out/x", status=2)
        self.cipher("encrypt", "aes-gcm", 16, 12, "text", "--aad-file", "missing", "-o", "out/x", status=2)
        self.cipher("encrypt", "aes-ctr", 16, 16, "text", "-o", "nowhere/x", status=2)
        self.cipher("encrypt", "aes-ctr", 16, 16, "text", "-o", "out", status=2)
        self.cipher("encrypt", "aes-ctr", 16, 16, "text", "-o", "out", "--force", status=2)
        self.cipher("encrypt", "aes-ctr", 16, 16, "text", "-o", "/dev/null", "--force", status=2)
        self.assertIn("not a regular file", self.error)
        self.cipher("encrypt", "aes-ctr", 16, 16, "text", "-o", "/dev/stdout", "--force", status=2)
        self.assertIn("not a regular file", self.error)
        self.assertNothingLeft()

    def test_a_full_disk_leaves_nothing(self):
        (self.out / "old").write_bytes(b"old")
        for name, iv in (("aes-ctr", 16), ("aes-gcm", 12)):
            process = subprocess.run([*PROGRAM, "cipher", "encrypt", "-a", name, "--key-file", "key16", "--iv", IVS[iv].hex(), "text",
                                      "-o", "out/old", "--force"], capture_output=True, cwd=self.dir, env=self.environment, check=False,
                                     preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20_000, 20_000)))
            self.assertEqual((process.returncode, process.stderr), (2, b"sealkit: out/old: File too large\n"))
        with open("/dev/full", "wb") as full:
            process = subprocess.run([*PROGRAM, "cipher", "encrypt", "-a", "aes-ctr", "--key-file", "key16", "--iv", IVS[16].hex(), "text"],
                                     stdout=full, stderr=subprocess.PIPE, cwd=self.dir, env=self.environment, check=False)
        self.assertEqual((process.returncode, process.stderr), (2, b"sealkit: standard output: No space left on device\n"))
        self.assertNothingLeft("old")
        self.assertEqual((self.out / "old").read_bytes(), b"old")

    def test_an_interrupt_leaves_nothing(self):
        (self.out / "old").write_bytes(b"old")
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            process = subprocess.Popen([*PROGRAM, "cipher", "encrypt", "-a", "aes-ctr", "--key-file", "key16", "--iv", IVS[16].hex(),
                                        "-o", "out/old", "--force"], stdin=subprocess.PIPE, cwd=self.dir, env=self.environment,
                                       preexec_fn=heed_signals)
            process.stdin.write(text_of(200_000))
            process.stdin.flush()
            for _ in range(200):
                new = [path for path in self.out.iterdir() if path.name != "old" and path.stat().st_size > 0]
                if new:
                    break
                time.sleep(0.05)
            self.assertEqual(len(new), 1, "the new file stands beside the old one")
            self.assertEqual(stat.S_IMODE(new[0].stat().st_mode), 0o600)
            self.assertNotIn("old", new[0].name)
            process.send_signal(number)
            process.stdin.close()
            self.assertEqual(process.wait(), -number)
            self.assertNothingLeft("old")
        self.assertEqual((self.out / "old").read_bytes(), b"old")

    # The output file.

    def test_closed_standard_files_are_not_mistaken_for_others(self):
        # A warning comes while the output is open, whose descriptor would be that of standard error.
        iv = "00" * 12 + "ffffffff"
        expected = self.cipher("encrypt", "aes-ctr", 16, iv, "text")
        self.assertIn("warning", self.error)
        command = " ".join([*PROGRAM, f"cipher encrypt -a aes-ctr --key-file key16 --iv {iv} -o out/x --force"])
        for closed in ("2>&-", ">&- 2>&-"):
            subprocess.run(["sh", "-c", f"cat text | {command} {closed}"], cwd=self.dir, env=self.environment, capture_output=True, check=True)
            self.assertEqual((self.out / "x").read_bytes(), expected)
        for command, status in ((f"{' '.join(PROGRAM)} hash text >&-", 2), (f"{' '.join(PROGRAM)} hash <&-", 2)):
            process = subprocess.run(["sh", "-c", command], cwd=self.dir, env=self.environment, capture_output=True, check=False)
            self.assertEqual(process.returncode, status)

    def test_output_files(self):
        def encrypt(*arguments, status=0):
            return self.cipher("encrypt", "aes-ctr", 16, 16, *arguments, status=status)
        expected = encrypt("text")
        encrypt("text", "-o", "out/x")
        file = self.out / "x"
        self.assertEqual(file.read_bytes(), expected)
        umask = os.umask(0)
        os.umask(umask)
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o666 & ~umask)
        file.write_bytes(b"old")
        file.chmod(0o640)
        encrypt("text", "-o", "out/x", status=2)
        self.assertEqual(self.error, "sealkit: out/x: exists already (--force replaces it)\n")
        self.assertEqual(file.read_bytes(), b"old")
        encrypt("text", "-o", "out/x", "--force")
        self.assertEqual((file.read_bytes(), stat.S_IMODE(file.stat().st_mode)), (expected, 0o640))
        self.assertEqual(encrypt("text", "-o", "-"), expected)
        (self.out / "link").symlink_to("x")
        encrypt("text", "-o", "out/link", status=2)
        file.write_bytes(b"old")
        encrypt("text", "-o", "out/link", "--force")
        self.assertTrue((self.out / "link").is_symlink())
        self.assertEqual(file.read_bytes(), expected)
        (self.out / "dangling").symlink_to("nowhere")
        encrypt("text", "-o", "out/dangling", status=2)
        self.assertNothingLeft("x", "link", "dangling")

    def test_the_output_may_be_the_input(self):
        for name, key, iv in (("aes-cbc", 16, 16), ("aes-gcm", 16, 12), ("aes-siv", 32, None)):
            file = self.out / "same"
            file.write_bytes(text_of(150_000))
            self.cipher("encrypt", name, key, iv, "out/same", "-o", "out/same", "--force")
            self.assertNotEqual(file.read_bytes()[:1000], text_of(1000))
            self.cipher("decrypt", name, key, iv, "out/same", "-o", "out/same", "--force")
            self.assertEqual(file.read_bytes(), text_of(150_000))

    # Size.

    def sparse(self, name, size):
        with open(self.dir / name, "wb") as file:
            file.truncate(size)
        return self.dir / name

    def test_too_much_for_one_message_is_refused_at_once(self):
        self.sparse("huge", 1 << 29)
        self.cipher("encrypt", "aes-gcm", 16, 12, "huge", "-o", "out/x", status=2)
        self.assertIn("larger than the 536870911 bytes that aes-gcm takes", self.error)
        self.sparse("huge", (1 << 29) + 16)
        self.cipher("decrypt", "aes-gcm", 16, 12, "huge", "-o", "out/x", status=2)
        self.sparse("huge", (1 << 32) - 16)
        self.cipher("encrypt", "aes-siv", 32, None, "huge", "-o", "out/x", status=2)
        self.assertIn("larger than", self.error)
        self.sparse("huge", 1 << 32)
        self.cipher("decrypt", "aes-siv", 32, None, "huge", "-o", "out/x", status=2)
        self.assertNothingLeft()

    def test_streams_need_no_more_memory_for_more_text(self):
        def peak(direction, name, size):
            self.sparse("much", size)
            process = subprocess.Popen([*PROGRAM, "cipher", direction, "-a", name, "--key-file", "key16", "--iv", IVS[16].hex(), "--force",
                                        "-o", "out/much", *(["--no-pad"] if name == "aes-cbc" else []), "much"], cwd=self.dir, env=self.environment)
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(process.returncode, 0)
            return usage.ru_maxrss << 10
        for direction, name in some((("decrypt", "aes-cbc"), ("encrypt", "aes-cbc"), ("encrypt", "aes-ctr"), ("encrypt", "aes-cfb"))):
            growth = peak(direction, name, 24 << 20) - peak(direction, name, 1 << 20)
            self.assertLess(growth, 6 << 20, (direction, name))

    # The terminal.

    def test_terminals_get_the_text_only_when_asked(self):
        encrypted = self.cipher("encrypt", "aes-gcm", 16, 12, stdin=b"harmless")
        self.write("letter", encrypted)
        options = ["cipher", "decrypt", "-a", "aes-gcm", "--key-file", "key16", "--iv", IVS[12].hex(), "letter"]
        self.assertIn(b"-o FILE", self.on_terminal(*options, status=3))
        self.assertEqual(self.on_terminal(*options, "-o", "-"), b"harmless")

    def test_long_work_shows_progress_on_a_terminal_only(self):
        def feed(process):
            for _ in range(8):
                process.stdin.write(bytes(100_000))
                process.stdin.flush()
                time.sleep(0.15)
        for name, iv in (("aes-cbc", 16), ("aes-gcm", 12)):
            screen = self.on_terminal("cipher", "encrypt", "-a", name, "--key-file", "key16", "--iv", IVS[iv].hex(), "-o", f"out/{name}", feed=feed)
            self.assertRegex(screen, rb"^(\r[0-9.]+ [KM]iB +)+\r {40}\r$")

    def test_examples_of_the_help_work(self):
        for verb in (["cipher"], ["cipher", "encrypt"], ["cipher", "decrypt"]):
            self.run_examples(*verb)
            self.assertEqual((self.examples / "letter.txt").read_text(), "hello\n")


if __name__ == "__main__":
    unittest.main()
