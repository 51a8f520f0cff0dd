"""Line coverage of the macOS backend, as llvm-cov counts it.

The programs of a build with the preset "macos-coverage" leave a profile each; put together they
show which lines ran. A line that the compiler put into several functions (a template, an inline
function) has run if one of them has.
"""

import glob
import json
import os

MINDESTENS = 97.0  # per cent
ORDNER = "platform/macos/"


def profile(ordner):
    """What a program needs in its environment to leave its profile in that folder."""
    return {"LLVM_PROFILE_FILE": os.path.join(ordner, "%p-%m.profraw")}


def miss(fuehre_aus, ordner, programme, wurzel):
    """[(file, lines that ran, lines, those that did not run)] of the profiles in the folder."""
    gesamt = os.path.join(ordner, "gesamt.profdata")
    fuehre_aus("llvm-profdata-19", "merge", "-sparse", "-o", gesamt,
               *sorted(glob.glob(os.path.join(ordner, "*.profraw"))))
    weitere = [teil for programm in programme[1:] for teil in ("-object", programm)]
    _, ausgabe = fuehre_aus("llvm-cov-19", "export", "-format=lcov", "-instr-profile", gesamt,
                            programme[0], *weitere)
    return _aus_lcov(ausgabe, wurzel)


def _aus_lcov(text, wurzel):
    dateien, zeilen = {}, {}
    for eintrag in text.splitlines():
        art, _, wert = eintrag.partition(":")
        if art == "SF":
            name = os.path.relpath(os.path.realpath(wert), os.path.realpath(wurzel))
            zeilen = dateien.setdefault(name, {})
        elif art == "DA":
            nummer, zahl = map(int, wert.split(",")[:2])
            zeilen[nummer] = max(zeilen.get(nummer, 0), zahl)
    return [(name, sum(zahl > 0 for zahl in zeilen.values()), len(zeilen),
             sorted(nummer for nummer, zahl in zeilen.items() if zahl == 0))
            for name, zeilen in sorted(dateien.items()) if name.startswith(ORDNER) and zeilen]


def tabelle(dateien):
    """The figures as text, and the percentage of all lines together."""
    zeilen = []
    for name, gelaufen, alle, fehlende in dateien:
        rest = f"  not: {', '.join(map(str, fehlende))}" if fehlende else ""
        zeilen.append(f"{100 * gelaufen / alle:6.1f} % {gelaufen:5} of {alle:4}  {name}{rest}")
    alle = sum(eintrag[2] for eintrag in dateien)
    anteil = 100 * sum(eintrag[1] for eintrag in dateien) / alle if alle else 0.0
    return "\n".join([*zeilen, f"{anteil:6.1f} % of {alle} lines in {ORDNER}"]), anteil
