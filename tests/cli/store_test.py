import os
import stat
import unittest

from support import ProgramTest, some


class StoreTest(ProgramTest):
    def setUp(self):
        # A platform root of its own for each test.
        self.root = self.dir / self.id().rpartition(".")[2]

    def store(self, status, *arguments, **options):
        return self.expect(status, "store", *arguments, environment={"KP_ROOT": str(self.root)}, **options)

    def refuse(self, status, *arguments, saying):
        result = self.store(status, *arguments)
        self.assertEqual(result.out, "")
        self.assertIn(saying, result.err)
        self.assertTrue(result.err.startswith("sealkit: "))
        self.assertNoControls(result.err)

    def test_nothing_is_there_at_first(self):
        self.assertEqual(self.store(0, "list").out, "")
        self.assertEqual(self.store(0, "list", "cerm").out, "")
        self.assertEqual(self.store(0, "show", "cerm").out, "")
        self.assertFalse(self.root.exists(), "looking makes nothing")

    def test_fields_of_every_type(self):
        fields = ["11=raw:00ff7f", "12=bool:true", "13=bool:false", "32=string-array:a,b c", "32=string-array:",
                  "33=string-array", "45=u32:0x362b90", "113=string:a=b:c", "114=string:", "115=raw:", "0xfe0010=string:Lets"]
        self.assertEqual(self.store(0, "set", "cerm", "7", *fields).out, "")
        self.assertEqual(self.store(0, "show", "cerm", "7").out.splitlines(), fields)
        # What is shown can be set.
        self.store(0, "set", "cerm", "8", *self.store(0, "show", "cerm", "7").out.splitlines())
        self.assertEqual(self.store(0, "show", "cerm", "8").out.splitlines(), fields)

    def test_numbers_are_decimal_or_hexadecimal(self):
        self.store(0, "set", "a", "1", "0x0a=u32:4294967295", "11=u32:0XfF", "4294967295=u32:0")
        self.assertEqual(self.store(0, "show", "a", "1").out.splitlines(),
                         ["10=u32:0xffffffff", "11=u32:0xff", "0xffffffff=u32:0x0"])

    def test_set_keeps_other_fields(self):
        self.store(0, "set", "a", "1", "1=u32:1", "2=u32:2", "3=string-array:x")
        self.store(0, "set", "a", "1", "2=bool:true", "1=u32:9", "3=string-array:y")
        self.assertEqual(self.store(0, "show", "a", "1").out.splitlines(),
                         ["1=u32:0x9", "2=bool:true", "2=u32:0x2", "3=string-array:y"])

    def test_replace_drops_other_fields(self):
        self.store(0, "set", "a", "1", "1=u32:1", "2=u32:2")
        self.store(0, "set", "a", "1", "--replace", "2=u32:3")
        self.assertEqual(self.store(0, "show", "a", "1").out, "2=u32:0x3\n")
        self.store(0, "set", "--replace", "a", "1")
        self.assertEqual(self.store(0, "show", "a", "1").out, "")
        self.assertEqual(self.store(0, "list", "a").out, "1\n")

    def test_lists_in_order(self):
        for record in (10, -5, 0, 9, 2147483647, -2147483648):
            self.store(0, "set", "cerm", record, "1=bool:true")
        self.store(0, "set", "cert/settings", 0, "7=u32:0")
        self.assertEqual(self.store(0, "list", "cerm").out.split(), ["-2147483648", "-5", "0", "9", "10", "2147483647"])
        self.assertEqual(self.store(0, "list").out, "cerm\ncert/settings\n")

    def test_shows_all_records(self):
        self.store(0, "set", "a", "2", "1=u32:2")
        self.store(0, "set", "a", "-1", "1=u32:1")
        self.assertEqual(self.store(0, "show", "a").out, "record -1\n1=u32:0x1\nrecord 2\n1=u32:0x2\n")

    def test_remove(self):
        self.store(0, "set", "a", "1", "1=u32:1")
        self.assertEqual(self.store(0, "remove", "a", "1").out, "")
        self.refuse(1, "remove", "a", "1", saying='there is no record 1 of the store "a"')
        self.refuse(1, "show", "a", "1", saying='there is no record 1 of the store "a"')

    def test_fields_that_make_no_sense(self):
        for field in some(("", "1", "1=", "=u32:1", "x=u32:1", "-1=u32:1", "1=u32", "1=u32:", "1=u32:x", "1=u32:-1", "1=u32:0x",
                      "1=u32: 1", "1=u32:1 ", "1=u32:4294967296", "4294967296=u32:1", "1=int:1", "1=bool:1", "1=bool:",
                      "1=raw:0", "1=raw:xx", "1=strings:a", "1 =u32:1", "1=:1", "1:u32=1")):
            result = self.store(3, "set", "a", "1", "2=u32:2", field)
            self.assertEqual(result.out, "")
        self.refuse(3, "set", "a", "1", "1=bool:\x1b[31m", saying="\\x1b[31m")
        self.refuse(3, "set", "a", "1", saying="no field")
        self.assertEqual(self.store(0, "list").out, "", "nothing is written when one field makes no sense")

    def test_names_and_ids_that_make_no_sense(self):
        for name in some(("", ".", "..", "../a", "/etc", "a/../b", "a/", "a b", "a.rec", "a\n", "x" * 256)):
            self.store(3, "set", name, "1", "1=u32:1")
            self.store(3, "show", name)
            self.store(3, "list", name)
            self.store(3, "remove", name, "1")
        self.refuse(3, "list", "a\x1b[2J", saying="\\x1b[2J")
        for record in ("", "x", "2147483648", "-2147483649", "1x", "1.5"):
            self.store(3, "set", "a", record, "1=u32:1")
        self.store(3)
        self.store(3, "frobnicate")
        self.assertFalse(self.root.exists())

    def test_control_characters_never_reach_the_terminal(self):
        self.store(0, "set", "a", "1", "1=string:x\x1b]0;t\x07\r\n1=u32:0x5\u202e", "2=string-array:\x9b\n3=bool:true", b"3=string:\xff\xfe".decode("utf-8", "surrogateescape"))
        out = self.store(0, "show", "a", "1").out
        self.assertNoControls(out)
        self.assertEqual(len(out.splitlines()), 3)
        self.assertNotIn("\u202e", out)

    def test_damaged_records_are_named_and_lose_nothing_else(self):
        for record in (1, 2, 3):
            self.store(0, "set", "a", record, "1=u32:7")
        file = self.root / "rw/store/a/2.rec"
        content = bytearray(file.read_bytes())
        content[-6] ^= 1
        file.write_bytes(content)
        result = self.store(2, "show", "a")
        self.assertEqual(result.out, "record 1\n1=u32:0x7\nrecord 3\n1=u32:0x7\n")
        self.assertIn('record 2 of the store "a" is damaged', result.err)
        self.refuse(2, "show", "a", "2", saying="damaged")
        self.assertEqual(self.store(0, "list", "a").out, "1\n2\n3\n")
        self.store(0, "remove", "a", "2")

    def test_what_cannot_be_written(self):
        self.root.mkdir()
        (self.root / "rw").write_text("a file")
        self.refuse(2, "set", "a", "1", "1=u32:1", saying="could not be written: Not a directory")
        self.refuse(2, "remove", "a", "1", saying="could not be removed: Not a directory")

    def test_without_a_root(self):
        nowhere = {"KP_ROOT": "", "XDG_DATA_HOME": "", "HOME": ""}
        if not os.path.isdir("/kelp"):
            self.assertIn("no platform root", self.expect(3, "store", "list", "a", environment=nowhere).err)
            self.expect(0, "store", "set", "a", "1", "1=u32:1",
                        environment={**nowhere, "XDG_DATA_HOME": str(self.root)})
            self.assertTrue((self.root / "sealkit/rw/store/a/1.rec").is_file())

    def test_only_the_owner_may_look(self):
        self.store(0, "set", "cert/settings", "0", "7=u32:1")
        for path in self.root.rglob("*"):
            self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o700 if path.is_dir() else 0o600, path)

    def test_help(self):
        self.assertIn("sealkit store set cert/settings 0 7=u32:0x10", self.expect(0, "store", "set", "--help").out)
        for verb in ("list", "show", "set", "remove"):
            self.assertIn(verb, self.expect(0, "store", "--help").out)


if __name__ == "__main__":
    unittest.main()
