"""The commands of the README, pasted one block after the other as a newcomer does."""
import pathlib
import re
import unittest

from support import ProgramTest, openssl

README = pathlib.Path(__file__).resolve().parents[2] / "README.md"


class ReadmeTest(ProgramTest):
    def test_the_commands_work_from_the_first_to_the_last(self):
        blocks = [block for block in re.findall(r"^```sh\n(.*?)^```", README.read_text(), re.DOTALL | re.MULTILINE)
                  if block.startswith("sealkit ") and "s_client" not in block]
        self.assertEqual([block.split()[1] for block in blocks], ["hash", "kem", "key", "key", "key", "p12", "convert"])
        folder = self.dir / "newcomer"
        folder.mkdir()
        letter = b"Dear Ada,\n"
        (folder / "letter.txt").write_bytes(letter)
        output = "".join(self.paste(block.splitlines(), folder).stdout.decode() for block in blocks)

        def read(name):
            return (folder / name).read_bytes()

        self.assertTrue(output.startswith("letter.txt: OK\n"), output)
        self.assertIn("letter.txt: OK\nencrypted private key\n", output)
        self.assertEqual(output.count("\nOK\n"), 3, output)  # the authority's chain, the signed letter, the bundle
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


if __name__ == "__main__":
    unittest.main()
