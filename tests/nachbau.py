#!/usr/bin/python3
"""Whether two builds of the packages are the same bytes: python3 tests/nachbau.py

Both are of the last commit, cloned into two folders with names of different lengths, at different times, with
different umasks and another order of work; the second one without a compiler cache. Takes as long as two whole
builds of the programs.
Closing line: "N passed, N failed".
"""

import hashlib
import os
import sys
import tempfile

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import pakete  # noqa: E402
import prozesse  # noqa: E402


def baue(ordner, maske, umgebung):
    """Name of each package -> its SHA-256."""
    os.umask(maske)
    os.makedirs(os.path.dirname(ordner), exist_ok=True)
    pakete.fuehre_aus("git", "clone", "--quiet", WURZEL, ordner)
    summen = {}
    for pfad in pakete.baue(ordner, os.path.join(ordner, "packages"), umgebung):
        with open(pfad, "rb") as datei:
            summen[os.path.basename(pfad)] = hashlib.sha256(datei.read()).hexdigest()
    return summen


def hauptteil():
    with tempfile.TemporaryDirectory() as halter:
        erste = baue(os.path.join(halter, "a"), 0o022, {"TZ": "UTC", "LC_ALL": "C.UTF-8"})
        zweite = baue(os.path.join(halter, "a-second-folder", "with", "a-longer-name"), 0o077,
                      {"TZ": "Asia/Tokyo", "LC_ALL": "C", "CCACHE_DISABLE": "1"})
    gescheitert = 0
    for name in sorted(erste.keys() | zweite.keys()):
        gleich = erste.get(name) == zweite.get(name)
        gescheitert += not gleich
        print(f"{name}: {erste.get(name)} {'twice' if gleich else f'and then {zweite.get(name)}'}")
    print(f"{len(erste) - gescheitert} passed, {gescheitert} failed")
    return 1 if gescheitert or not erste else 0


if __name__ == "__main__":
    prozesse.beaufsichtigt(hauptteil)
