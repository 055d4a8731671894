import pathlib
import subprocess
import unittest

from support import CA, LEAF, PROGRAM, ProgramTest

ROOT = pathlib.Path(__file__).resolve().parents[2]


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
        program = [*PROGRAM[:-1], str(pathlib.Path(PROGRAM[-1]).parent / "validate_chain")]

        def run(host):
            return subprocess.run([*program, str(self.dir / "leaf.pem"), str(folder), host], capture_output=True, check=False)

        good = run("www.example.test")
        self.assertEqual((good.returncode, good.stdout), (0, b"LABEL: CERTIFICATE\n0: trusted\n"))
        bad = run("www.example.org")
        self.assertEqual(bad.returncode, 2)
        self.assertIn(b'2: name verification failed for: "O=Test, CN=leaf"', bad.stdout)


if __name__ == "__main__":
    unittest.main()
