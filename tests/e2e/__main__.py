"""Runs the end-to-end tests: python3 tests/e2e [--jobs N] [--macos] [name parts...]

Each test is a process of its own with a private session of its own, some at a time; they only wait
for sound, most of the time. The output of a failed test is shown whole. Closing line:
"N passed, N failed".
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

HIER = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HIER)

import lauf  # noqa: E402  (finds the scripts' modules)
import drehbuch  # noqa: E402
import prozesse  # noqa: E402

# Longer than any test takes, so that only a hanging one is ended.
FRIST = 8 * 3600.0 if os.environ.get("HALLKORB_LANG") else 900.0
FRIST_LANG = max(FRIST, 1200.0)  # of those that take minutes
AUSGELASSEN = 77  # the status of a test that cannot be made here


def finde(teile, macos):
    """(names of the tests in which any of `teile` occurs, and those of them that want a file system of
    their own; that want the machine for themselves; that take minutes). The last ones are found by
    name only. `macos`: of the program as it is built for macOS, instead of the one for Linux."""
    namen, mit_mount, allein, lang = [], set(), set(), set()
    offen = [unittest.defaultTestLoader.discover(HIER, pattern="test_*.py")]
    while offen:
        for eintrag in offen.pop():
            if isinstance(eintrag, unittest.TestSuite):
                offen.append(eintrag)
                continue
            if getattr(eintrag, "MACOS", False) != macos:
                continue
            name = eintrag.id()
            if not teile and getattr(eintrag, "LANG", False):
                continue
            if not teile or any(teil in name for teil in teile):
                namen.append(name)
                if getattr(eintrag, "MIT_MOUNT", False):
                    mit_mount.add(name)
                if getattr(eintrag, "ALLEIN", False):
                    allein.add(name)
                if getattr(eintrag, "LANG", False):
                    lang.add(name)
    # The long ones first; the rest fits in beside them.
    namen.sort(key=lambda name: (name not in allein, "minute" not in name, name))
    return namen, mit_mount, allein, lang


def darf_mount():
    return shutil.which("unshare") is not None and subprocess.run(
        ["unshare", "--mount", "mount", "-t", "tmpfs", "none", "/mnt"],
        stderr=subprocess.DEVNULL).returncode == 0


class Versuch:
    """One test in its process."""

    def __init__(self, name, vorsatz, frist):
        self.name = name
        self._frist = frist
        self.anfang = time.monotonic()
        self._ausgabe = tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace")
        self.prozess = prozesse.starte([*vorsatz, sys.executable, HIER, "--einzeln", name],
                                       stdin=subprocess.DEVNULL, stdout=self._ausgabe,
                                       stderr=subprocess.STDOUT)
        self.dauer = 0.0

    def fertig(self):
        self.dauer = time.monotonic() - self.anfang
        if self.prozess.poll() is None and self.dauer > self._frist:
            self.prozess.kill()
            self.prozess.wait()
        return self.prozess.returncode is not None

    def ausgabe(self):
        self._ausgabe.seek(0)
        return self._ausgabe.read()


def naechster(namen, laufend, allein):
    """The next test that may begin. Of those that play sound for a minute only one at a time, and those
    that look at each sample of it alone: a player that misses its turn would spoil what is compared."""
    if any(versuch.name in allein for versuch in laufend):
        return None
    lange_laeuft = any("minute" in versuch.name for versuch in laufend)
    return next((name for name in namen if not (lange_laeuft and "minute" in name)), None)


def alle(teile, zugleich, macos):
    namen, mit_mount, allein, lang = finde(teile, macos)
    vorsatz = {}
    bestanden = gescheitert = ausgelassen = 0
    if mit_mount and not darf_mount():
        for name in sorted(mit_mount):
            print(f"  skipped  {name}: mounting is not permitted here")
        ausgelassen = len(mit_mount)
        namen = [name for name in namen if name not in mit_mount]
    for name in mit_mount:
        # What the test mounts is gone with its process.
        vorsatz[name] = ["unshare", "--mount", "--propagation", "private"]

    laufend = []
    while namen or laufend:
        while len(laufend) < zugleich and (name := naechster(namen, laufend, allein)):
            namen.remove(name)
            laufend.append(Versuch(name, vorsatz.get(name, []),
                                   FRIST_LANG if name in lang else FRIST))
        for versuch in [versuch for versuch in laufend if versuch.fertig()]:
            laufend.remove(versuch)
            if versuch.prozess.returncode == AUSGELASSEN:
                ausgelassen += 1
                print(f"  skipped  {versuch.name}: {versuch.ausgabe().strip().splitlines()[-1]}", flush=True)
                continue
            gut = versuch.prozess.returncode == 0
            bestanden, gescheitert = bestanden + gut, gescheitert + (not gut)
            print(f"  {'ok' if gut else 'FAILED':7}  {versuch.name}  ({versuch.dauer:.1f} s)",
                  flush=True)
            if not gut or versuch.name in lang:  # what those have measured
                print(versuch.ausgabe(), flush=True)
        time.sleep(0.02)
    if ausgelassen:
        print(f"{ausgelassen} skipped")
    print(f"{bestanden} passed, {gescheitert} failed")
    if ausgelassen and not bestanden and not gescheitert:
        return AUSGELASSEN
    return 1 if gescheitert or not bestanden else 0


def einer(name):
    """One test in this process."""
    def arbeit():
        ergebnis = unittest.TextTestRunner(verbosity=0).run(
            unittest.defaultTestLoader.loadTestsFromName(name))
        if ergebnis.skipped and ergebnis.wasSuccessful():
            print(*{grund for _, grund in ergebnis.skipped}, sep="; ", flush=True)
            return AUSGELASSEN
        return 0 if ergebnis.wasSuccessful() and ergebnis.testsRun else 1

    prozesse.beaufsichtigt(arbeit, mit_eltern=True)


if __name__ == "__main__":
    _leser = argparse.ArgumentParser(prog="tests/e2e")
    # Without real-time priority the sound itself would suffer from more.
    _leser.add_argument("--jobs", type=int, default=3 if lauf.konfiguration.darf_echtzeit() else 2)
    _leser.add_argument("--macos", action="store_true",
                        help="the program as it is built for macOS, on stand-ins of the platform")
    _leser.add_argument("--einzeln", help=argparse.SUPPRESS)
    _leser.add_argument("teile", nargs="*", metavar="name part")
    _wahl = _leser.parse_args()
    if _wahl.einzeln:
        einer(_wahl.einzeln)
    else:
        for _programm in (lauf.PROGRAMM, *([drehbuch.PROGRAMM] if _wahl.macos else [])):
            if not os.access(_programm, os.X_OK):
                sys.exit(f"{_programm} is missing; build its preset first")
        prozesse.beaufsichtigt(lambda: alle(_wahl.teile, _wahl.jobs, _wahl.macos))
