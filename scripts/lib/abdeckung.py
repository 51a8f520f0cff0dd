"""Line and branch coverage of the macOS backend, as llvm-cov counts it.

The programs of a build with the preset "macos-coverage" leave a profile each; put together they
show which lines ran, and which way each condition was answered. A line that the compiler put into
several functions (a template, an inline function) has run if one of them has, and so has a branch.
"""

import glob
import json
import os

MINDESTENS = 97.0  # per cent of the lines
ORDNER = "platform/macos/"


def profile(ordner):
    """What a program needs in its environment to leave its profile in that folder."""
    return {"LLVM_PROFILE_FILE": os.path.join(ordner, "%p-%m.profraw")}


def miss(fuehre_aus, ordner, programme, wurzel):
    """File -> its lines and its branches, each with how often it ran, of the profiles in the folder.

    A line is its number. A branch is line and column of its condition, and "yes" or "no".
    """
    gesamt = os.path.join(ordner, "gesamt.profdata")
    fuehre_aus("llvm-profdata-19", "merge", "-sparse", "-o", gesamt,
               *sorted(glob.glob(os.path.join(ordner, "*.profraw"))))
    weitere = [teil for programm in programme[1:] for teil in ("-object", programm)]
    def exportiere(*wie):
        return fuehre_aus("llvm-cov-19", "export", *wie, "-instr-profile", gesamt, programme[0],
                          *weitere)[1]

    def name(pfad):
        return os.path.relpath(os.path.realpath(pfad), os.path.realpath(wurzel))

    zeilen, gefragt = _zeilen(exportiere("-format=lcov"), name)
    zweige = _zweige(exportiere("-format=text", "-skip-functions", "-skip-expansions"), name)
    return {datei: (zeilen[datei], {ort: zahl for ort, zahl in zweige.get(datei, {}).items()
                                    if ort[0] in gefragt[datei]})
            for datei in sorted(zeilen) if datei.startswith(ORDNER) and zeilen[datei]}


def _zeilen(lcov, name):
    """Each file's lines, and those with a condition that is no constant: this format alone says that."""
    dateien, gefragt, zeilen, eigene = {}, {}, {}, set()
    for eintrag in lcov.splitlines():
        art, _, wert = eintrag.partition(":")
        if art == "SF":
            zeilen = dateien.setdefault(name(wert), {})
            eigene = gefragt.setdefault(name(wert), set())
        elif art == "DA":
            nummer, zahl = map(int, wert.split(",")[:2])
            zeilen[nummer] = max(zeilen.get(nummer, 0), zahl)
        elif art == "BRDA":
            eigene.add(int(wert.split(",")[0]))
    return dateien, gefragt


def _zweige(text, name):
    dateien = {}
    for eintrag in json.loads(text)["data"][0]["files"]:
        zweige = dateien.setdefault(name(eintrag["filename"]), {})
        for nummer, spalte, _, _, ja, nein, *_ in eintrag["branches"]:
            for seite, zahl in (("yes", ja), ("no", nein)):
                ort = nummer, spalte, seite
                zweige[ort] = max(zweige.get(ort, 0), zahl)
    return dateien


def _anteil(zahlen):
    return 100 * sum(zahl > 0 for zahl in zahlen) / len(zahlen) if zahlen else 100.0


def tabelle(dateien):
    """The figures as text, and the percentage of all lines together."""
    texte = []
    for name, (zeilen, zweige) in dateien.items():
        fehlende = [str(nummer) for nummer, zahl in sorted(zeilen.items()) if zahl == 0]
        einseitig = [f"{nummer} {seite}" for (nummer, _, seite), zahl in sorted(zweige.items())
                     if zahl == 0 and zeilen.get(nummer, 0) > 0]
        texte.append(f"{_anteil(zeilen.values()):6.1f} % of {len(zeilen):4} lines "
                     f"{_anteil(zweige.values()):6.1f} % of {len(zweige):4} branches  {name}"
                     + (f"  not: {', '.join(fehlende)}" if fehlende else "")
                     + (f"  never: {', '.join(einseitig)}" if einseitig else ""))
    zeilen = [zahl for zeilen, _ in dateien.values() for zahl in zeilen.values()]
    zweige = [zahl for _, zweige in dateien.values() for zahl in zweige.values()]
    anteil = _anteil(zeilen) if zeilen else 0.0
    texte.append(f"{anteil:6.1f} % of {len(zeilen)} lines and {_anteil(zweige):.1f} % of {len(zweige)} branches "
                 f"in {ORDNER}")
    return "\n".join(texte), anteil
