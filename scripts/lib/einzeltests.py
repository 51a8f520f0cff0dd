"""The tests of one file, run by the file itself, with the closing line that scripts/test counts by."""

import sys
import unittest


def lauf():
    """Runs the tests of the started script (those that are named, or all); returns its exit status."""
    ergebnis = unittest.main(argv=sys.argv, exit=False).result
    # A test of which two parts failed is one test.
    gescheitert = len({getattr(fall, "test_case", fall).id()
                       for fall, _ in ergebnis.failures + ergebnis.errors})
    print(f"{ergebnis.testsRun - gescheitert} passed, {gescheitert} failed")
    return 1 if gescheitert or not ergebnis.testsRun else 0
