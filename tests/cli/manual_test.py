"""The commands of the manual, each page pasted from its top to its end, with the output that it shows."""
import pathlib
import re
import unittest

from support import ProgramTest, openssl

ROOT = pathlib.Path(__file__).resolve().parents[2]
MANUAL = ROOT / "docs/manual"
EXAMPLES = ROOT / "examples"
BLOCK = re.compile(r"^```(sh|text)\n(.*?)^```", re.DOTALL | re.MULTILINE)


class ManualTest(ProgramTest):
    def paste_page(self, name):
        folder = self.dir / name
        folder.mkdir()
        self.environment = {**self.environment, "KP_ROOT": str(folder / "platform")}
        shown = self.shown = ""
        for kind, text in BLOCK.findall((MANUAL / f"{name}.md").read_text()):
            if kind == "sh":
                shown = self.paste(text.splitlines(), folder).stdout.decode()
                self.shown += shown
            else:
                self.assertEqual(shown, text, name)
        return folder

    def test_every_page_has_a_test_and_a_row(self):
        pages = {page.stem for page in MANUAL.glob("*.md")} - {"README"}
        tested = {name.removeprefix("test_page_").replace("_", "-") for name in dir(self) if name.startswith("test_page_")}
        self.assertEqual(pages, tested | {"from-openssl"})  # That one has from_openssl_test.py.
        rows = set(re.findall(r"\((\S+)\.md\)", (MANUAL / "README.md").read_text()))
        self.assertEqual(pages, rows)

    def test_the_packages_of_other_programs_are_named(self):
        packages = {"openssl": "openssl", "certtool": "gnutls-bin", "ssh-keygen": "openssh-client", "keytool": "default-jre-headless",
                    "certutil": "libnss3-tools", "pk12util": "libnss3-tools", "python3": "python3"}
        pages = "".join(text for page in MANUAL.glob("*.md") for kind, text in BLOCK.findall(page.read_text()) if kind == "sh")
        used = {package for program, package in packages.items() if re.search(rf"(^|[|&(] ?){program} ", pages, re.MULTILINE)}
        named = re.search(r"^apt-get install (.*)", (MANUAL / "README.md").read_text(), re.MULTILINE)[1].split()
        self.assertEqual(set(named), used)

    def test_cpp_is_quoted_from_the_examples(self):
        """The examples are built and run by the tests of the package, so that a quotation is, too."""
        for page in MANUAL.glob("*.md"):
            text = page.read_text()
            named = [(EXAMPLES / name).read_text() for name in re.findall(r"`examples/(\w+\.cpp)`", text)]
            for quoted in re.findall(r"^```cpp\n(.*?)^```", text, re.DOTALL | re.MULTILINE):
                self.assertTrue(any(quoted in source for source in named), f"{page.name}: {quoted}")

    def test_page_the_program(self):
        folder = self.paste_page("the-program")
        output, letter = self.shown, b"Dear Ada,\n"

        def read(name):
            return (folder / name).read_bytes()

        self.assertTrue(output.startswith("letter.txt: OK\n"), output)
        self.assertIn("letter.txt: OK\nencrypted private key\n", output)
        self.assertEqual(output.count("\nOK\n"), 3, output)  # the CA's chain, the signed letter, the bundle
        self.assertEqual(read("copy.txt"), letter)
        self.assertNotIn(b"Ada", read("letter.enc"))
        self.assertEqual(read("letter.key"), read("same.key"))
        self.assertEqual(read("plain.key"), read("signing.key"))
        openssl("verify", "-x509_strict", "-crl_check", "-CAfile", folder / "root.pem", "-CRLfile", folder / "acme.crl",
                "-verify_hostname", "www.acme.example", folder / "www.pem")
        self.assertEqual(read("signed.txt"), letter)
        self.assertEqual(read("opened.p7m"), read("letter.p7m"))
        self.assertNotIn(b"Ada", read("locked.p7m"))
        self.assertEqual(read("unlocked.txt"), letter)
        self.assertEqual(re.findall("-----BEGIN (.*)-----", read("www-all.pem").decode()), ["PRIVATE KEY", "CERTIFICATE", "CERTIFICATE"])

        self.paste(["sealkit crl new --ca root.pem -k root.key --previous acme.crl --revoke www.pem,keyCompromise -o next.crl"], folder)
        self.expect(1, "verify", "--ca", folder / "root.pem", "--crl", folder / "next.crl", folder / "www.pem")

    def test_page_read_a_certificate(self):
        self.paste_page("read-a-certificate")

    def test_page_why_a_chain_fails(self):
        self.paste_page("why-a-chain-fails")

    def test_page_keep_a_trust_store(self):
        self.paste_page("keep-a-trust-store")

    def test_page_at_scale(self):
        self.paste_page("at-scale")

    def test_page_run_a_small_ca(self):
        folder = self.paste_page("run-a-small-ca")
        self.assertIn("FAILED 10", (folder / "verdict.txt").read_text())

    def test_page_sign_and_open_messages(self):
        folder = self.paste_page("sign-and-open-messages")
        self.assertEqual((folder / "read.txt").read_text(), "Dear Bob,\n")

    def test_page_pkcs12(self):
        folder = self.paste_page("pkcs12")
        self.assertFalse((folder / "none.pem").exists())

    def test_page_port_it(self):
        self.assertFalse(BLOCK.findall((MANUAL / "port-it.md").read_text()))

    def test_page_time_stamps(self):
        self.paste_page("time-stamps")

    def test_page_change_the_form_of_a_file(self):
        self.paste_page("change-the-form-of-a-file")

    def test_page_exchange_keys(self):
        self.paste_page("exchange-keys")

    def test_page_after_quantum_computers(self):
        self.paste_page("after-quantum-computers")

    def test_page_embed_the_library(self):
        text = (MANUAL / "embed-the-library.md").read_text()
        self.assertFalse(BLOCK.findall(text))
        examples = {source.name for source in EXAMPLES.glob("*.cpp")}
        self.assertEqual(set(re.findall(r"`examples/(\w+\.cpp)`", text)), examples)


if __name__ == "__main__":
    unittest.main()
