import pathlib
import subprocess
import unittest

from support import CA, LEAF, PROGRAM, ProgramTest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def example(name, *arguments):
    program = [*PROGRAM[:-1], str(pathlib.Path(PROGRAM[-1]).parent / name)]
    return subprocess.run([*program, *map(str, arguments)], capture_output=True, check=False)


class ExampleTest(ProgramTest):
    def test_readme_shows_the_example_as_it_is(self):
        source = (ROOT / "examples/validate_chain.cpp").read_text()
        code = source[source.index("#include"):]
        self.assertIn(f"```cpp\n{code}```", (ROOT / "README.md").read_text())

    def test_validate_chain(self):
        self.issue("root", extensions=CA)
        self.issue("leaf", "root", LEAF + "subjectAltName=DNS:www.example.test\n")
        folder = self.dir / "cas"
        folder.mkdir()
        (folder / "root.pem").write_bytes((self.dir / "root.pem").read_bytes())
        good = example("validate_chain", self.dir / "leaf.pem", folder, "www.example.test")
        self.assertEqual((good.returncode, good.stdout), (0, b"LABEL: CERTIFICATE\n0: trusted\n"))
        bad = example("validate_chain", self.dir / "leaf.pem", folder, "www.example.org")
        self.assertEqual(bad.returncode, 2)
        self.assertIn(b'2: name verification failed for: "O=Test, CN=leaf"', bad.stdout)

    def test_mschapv2_shows_the_figures_of_the_standards(self):
        result = example("mschapv2")
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout.decode(), """\
NT-Response             82309ECD8D708B5EA08FAA3981CD83544233114A3D85D6DF
server's reply          S=407A5589115FD0D6209F510FE9C04566932CDA56
master key              FDECE3717A8C838CB388E527AE3CDD31
server to client        8B7CDC149B993A1BA118CB153F56DCCB
client to server        D5F0E9521E3EA9589645E86051C82226
both know the password
""")

    def test_ecsrp_exchange_ends_with_one_key_or_is_refused(self):
        result = example("ecsrp_exchange")
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout, b"alice: both have the same key of 32 bytes\nalice: refused\n")


if __name__ == "__main__":
    unittest.main()
