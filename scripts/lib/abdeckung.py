"""Line and branch coverage, as llvm-cov counts it.

The programs of a build with the preset "coverage" or "macos-coverage" leave a profile each; put together they
show which lines ran, and which way each condition was answered. A line that the compiler put into
several functions (a template, an inline function) has run if one of them has, and so has a branch.
"""

import glob
import json
import os

import raeume

WURZEL = raeume.WURZEL
ERGEBNIS = os.path.join(WURZEL, "build", "coverage.json")
GRUENDE = os.path.join(WURZEL, "tests", "uncovered.txt")
LISTE_MACOS = os.path.join(WURZEL, "tests", "macos", "uncovered.txt")
MINDESTENS = 97.0  # per cent of the lines
MINDESTENS_ZWEIGE = 88.0
ORDNER = "platform/macos/"
# What runs on every system, and the backend of Linux.
LINUX = ("audiofiles/", "base/", "capture/", "driver/", "echo/", "meeting/", "platform/")


def profile(ordner):
    """What a program needs in its environment to leave its profile in that folder."""
    return {"LLVM_PROFILE_FILE": os.path.join(ordner, "%p-%m.profraw")}


def laufendes_profil(ordner):
    """The same for programs that may be killed: what they count is written as they run."""
    return {"LLVM_PROFILE_FILE": os.path.join(ordner, "%m%c.profraw")}


def miss(fuehre_aus, ordner, programme, wurzel, wo=(ORDNER,), ohne=()):
    """File -> its lines and its branches, each with how often it ran, of the profiles in the folder, for
    the files in the folders `wo` but not in `ohne`.

    A line is its number. A branch is line and column of its condition, and "yes" or "no".
    """
    gesamt = os.path.join(ordner, "gesamt.profdata")
    fuehre_aus("llvm-profdata-19", "merge", "-sparse", "--failure-mode=all", "-o", gesamt,
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
            for datei in sorted(zeilen)
            if datei.startswith(tuple(wo)) and not datei.startswith(tuple(ohne)) and zeilen[datei]}


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
    # The output may begin with a warning.
    gemessen, _ = json.JSONDecoder().raw_decode(text, text.index('{"'))
    for eintrag in gemessen["data"][0]["files"]:
        zweige = dateien.setdefault(name(eintrag["filename"]), {})
        for nummer, spalte, _, _, ja, nein, *_ in eintrag["branches"]:
            for seite, zahl in (("yes", ja), ("no", nein)):
                ort = nummer, spalte, seite
                zweige[ort] = max(zweige.get(ort, 0), zahl)
    return dateien


def _anteil(zahlen):
    return 100 * sum(zahl > 0 for zahl in zahlen) / len(zahlen) if zahlen else 100.0


def tabelle(dateien, wo=(ORDNER,)):
    """The figures as text, and the percentages of all lines and of all branches together."""
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
                 f"in {', '.join(wo)}")
    return "\n".join(texte), anteil, _anteil(zweige)


# --- The list of what does not run -----------------------------------------------------------------

def liste(pfad=LISTE_MACOS):
    """{(file, "line", "yes" or "no", text of the line): whether it is always so}"""
    with open(pfad, encoding="utf-8") as quelle:
        zeilen = [zeile.strip().split(" | ", 2) for zeile in quelle if zeile.strip() and zeile[0] != "#"]
    return {(datei, art.rstrip("?"), text): not art.endswith("?") for datei, art, text in zeilen}


def veraltet(dateien, soll, lies):
    """What is wrong with the list `soll`, held against what was measured. `lies` gets a file's lines."""
    texte = {name: [zeile.strip() for zeile in lies(name)] for name in {*dateien, *(name for name, *_ in soll)}}
    ist = set()
    for name, (zeilen, zweige) in dateien.items():
        ist |= {(name, "line", texte[name][nummer - 1]) for nummer, zahl in zeilen.items() if zahl == 0}
        ist |= {(name, seite, texte[name][nummer - 1]) for (nummer, _, seite), zahl in zweige.items()
                if zahl == 0 and zeilen.get(nummer, 0) > 0}
    klagen = [("not in the list", eintrag) for eintrag in ist - soll.keys()]
    klagen += [("runs by now", eintrag) for eintrag, immer in soll.items() if immer and eintrag not in ist]
    klagen += [("not there any more", eintrag) for eintrag, immer in soll.items()
               if not immer and eintrag[2] not in texte[eintrag[0]]]
    return [f"{was}: {' | '.join(eintrag)}" for was, eintrag in sorted(klagen)]


# --- The page -------------------------------------------------------------------------------------

def merke(dateien):
    with open(ERGEBNIS, "w", encoding="utf-8") as ziel:
        json.dump([{"file": name,
                    "lines": [len(zeilen), sorted(nummer for nummer, zahl in zeilen.items() if zahl == 0)],
                    "branches": [len(zweige), sum(zahl == 0 for zahl in zweige.values())]}
                   for name, (zeilen, zweige) in dateien.items()], ziel, indent=1)


def gruende():
    """{file: why not all of it is covered}"""
    with open(GRUENDE, encoding="utf-8") as quelle:
        zeilen = [zeile.rstrip("\n").split(" | ") for zeile in quelle if zeile.strip() and zeile[0] != "#"]
    return {felder[0]: felder[1] for felder in zeilen}


def seite():
    """What the page says of the last measurement: the figures by room, and what did not run, with the reason."""
    with open(ERGEBNIS, encoding="utf-8") as quelle:
        gemessen = json.load(quelle)
    je_raum = {}
    for datei in gemessen:
        raum = datei["file"].split("/")[0] if not datei["file"].startswith("platform/linux") else "platform/linux"
        summe = je_raum.setdefault(raum, [0, 0, 0, 0])
        for stelle, wert in enumerate((datei["lines"][0], len(datei["lines"][1]), *datei["branches"])):
            summe[stelle] += wert
    zeilen = ["| Room | Lines | Ran | Branches | Taken |", "|---|---:|---:|---:|---:|"]
    ganz = [sum(spalte) for spalte in zip(*je_raum.values())]
    for raum, (alle, fehlt, zweige, ungenommen) in [*je_raum.items(), ("**all**", ganz)]:
        zeilen.append(f"| {raum} | {alle} | {100 - 100 * fehlt / alle:.1f} % | {zweige} | "
                      f"{100 - 100 * ungenommen / max(zweige, 1):.1f} % |")
    warum = gruende()
    zeilen += ["", "Lines that did not run:", ""]
    zeilen += [f"- {datei['file']}: {_strecken(datei['lines'][1])}. "
               f"{warum.get(datei['file'], 'No test provokes it.')}" for datei in gemessen if datei["lines"][1]]
    return "\n".join(zeilen)


def _strecken(nummern):
    teile = []
    for nummer in nummern:
        if teile and nummer == teile[-1][1] + 1:
            teile[-1][1] = nummer
        else:
            teile.append([nummer, nummer])
    return ", ".join(str(von) if von == bis else f"{von} to {bis}" for von, bis in teile)
