"""The README: what its terminal shows is what the program writes."""
import pathlib
import re
import unittest

from support import ProgramTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
README = (ROOT / "README.md").read_text()


class ReadmeTest(ProgramTest):
    def test_the_program_writes_what_is_shown(self):
        sessions = [text for text in re.findall(r"^```console\n(.*?)^```", README, re.DOTALL | re.MULTILINE) if "$ sealkit " in text]
        self.assertTrue(sessions)
        for text in sessions:
            commands = re.findall(r"^\$ (.*)\n", text, re.MULTILINE)
            shown = re.sub(r"^\$ .*\n", "", text, flags=re.MULTILINE)
            # Its answer may be no: what it says then goes to the same terminal.
            process = self.paste(["exec 2>&1", "set +e", *commands, "true"], ROOT)
            self.assertEqual(process.stdout.decode(), shown)

    def test_it_stays_short(self):
        self.assertLess(len(README.splitlines()), 125)
        self.assertEqual([line for line in README.splitlines() if len(line) > 145], [])


if __name__ == "__main__":
    unittest.main()
