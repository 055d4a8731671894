"""Runs every COUNT-th test of a file, from the one of number FIRST: python3 tests/cli/share.py FILE FIRST COUNT"""
import pathlib
import sys
import unittest


def tests_in(suite):
    for part in suite:
        yield from tests_in(part) if isinstance(part, unittest.TestSuite) else [part]


if __name__ == "__main__":
    file, first, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    found = list(tests_in(unittest.TestLoader().discover(pathlib.Path(__file__).parent, pattern=file)))
    result = unittest.TextTestRunner().run(unittest.TestSuite(found[first % len(found)::count]))
    sys.exit(not result.wasSuccessful())
