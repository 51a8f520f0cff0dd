"""Line and branch coverage, as llvm-cov counts them.

The programs of a build with the preset "coverage" or "macos-coverage" leave a profile each; put together
they show what ran. A line or branch that the compiler put into several functions (a template, an inline
function) has run if one of them has. Branches are those of the source: both ways of each condition, and
each case.
"""

import dataclasses
import glob
import json
import os

import raeume

WURZEL = raeume.WURZEL
ERGEBNIS = os.path.join(WURZEL, "build", "coverage.json")
GRUENDE = os.path.join(WURZEL, "tests", "uncovered.txt")
MINDESTENS = 97.0  # per cent of the lines
MINDESTENS_ZWEIGE = 88.0
MACOS = ("platform/macos/",)
# What runs on every system, and the backend of Linux.
LINUX = ("audiofiles/", "base/", "capture/", "driver/", "echo/", "meeting/", "platform/")


@dataclasses.dataclass
class Datei:
    name: str
    zeilen: dict  # number -> how often it ran
    zweige: dict  # (line, place) -> how often it was taken

    def fehlende(self):
        return sorted(nummer for nummer, zahl in self.zeilen.items() if zahl == 0)

    def einseitige(self):
        """Lines that ran and of whose branches one was never taken."""
        return sorted({zeile for (zeile, _), zahl in self.zweige.items()
                       if zahl == 0 and self.zeilen.get(zeile, 1) > 0})


def profile(ordner):
    """What a program needs in its environment to leave its profile in that folder."""
    return {"LLVM_PROFILE_FILE": os.path.join(ordner, "%p-%m.profraw")}


def laufendes_profil(ordner):
    """The same for programs that may be killed: what they count is written as they run."""
    return {"LLVM_PROFILE_FILE": os.path.join(ordner, "%m%c.profraw")}


def miss(fuehre_aus, ordner, programme, raeume_=MACOS, ohne=()):
    """[Datei] of the profiles in the folder, of files in these rooms."""
    gesamt = os.path.join(ordner, "gesamt.profdata")
    fuehre_aus("llvm-profdata-19", "merge", "-sparse", "--failure-mode=all", "-o", gesamt,
               *sorted(glob.glob(os.path.join(ordner, "*.profraw"))))
    weitere = [teil for programm in programme[1:] for teil in ("-object", programm)]
    _, ausgabe = fuehre_aus("llvm-cov-19", "export", "-format=lcov", "-instr-profile", gesamt,
                            programme[0], *weitere)
    return [datei for datei in _aus_lcov(ausgabe)
            if datei.name.startswith(raeume_) and not datei.name.startswith(tuple(ohne)) and datei.zeilen]


def _aus_lcov(text):
    dateien, datei = {}, None
    for eintrag in text.splitlines():
        art, _, wert = eintrag.partition(":")
        if art == "SF":
            name = os.path.relpath(os.path.realpath(wert), os.path.realpath(WURZEL))
            datei = dateien.setdefault(name, Datei(name, {}, {}))
        elif art == "DA":
            nummer, zahl = map(int, wert.split(",")[:2])
            datei.zeilen[nummer] = max(datei.zeilen.get(nummer, 0), zahl)
        elif art == "BRDA":
            zeile, block, zweig, zahl = wert.split(",")
            stelle = (int(zeile), (block, zweig))
            datei.zweige[stelle] = max(datei.zweige.get(stelle, 0), 0 if zahl == "-" else int(zahl))
    return [dateien[name] for name in sorted(dateien)]


def anteil(teile):
    """Per cent of the numbers that are not 0."""
    alle = [zahl for teil in teile for zahl in teil.values()]
    return 100 * sum(zahl > 0 for zahl in alle) / len(alle) if alle else 100.0


def tabelle(dateien, raeume_=MACOS):
    """The figures as text, and the percentage of all lines together."""
    zeilen = []
    for datei in dateien:
        fehlende = datei.fehlende()
        rest = f"  not: {', '.join(map(str, fehlende))}" if fehlende else ""
        zeilen.append(f"{anteil([datei.zeilen]):6.1f} % {len(datei.zeilen) - len(fehlende):5} of "
                      f"{len(datei.zeilen):4}  {datei.name}{rest}")
    alle = sum(len(datei.zeilen) for datei in dateien)
    ganz = anteil(datei.zeilen for datei in dateien)
    return "\n".join([*zeilen, f"{ganz:6.1f} % of {alle} lines in {', '.join(raeume_)}"]), ganz


# --- The page -------------------------------------------------------------------------------------

def merke(dateien):
    with open(ERGEBNIS, "w", encoding="utf-8") as ziel:
        json.dump([{"file": datei.name, "lines": [len(datei.zeilen), datei.fehlende()],
                    "branches": [len(datei.zweige), sum(zahl == 0 for zahl in datei.zweige.values()),
                                 datei.einseitige()]} for datei in dateien], ziel, indent=1)


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
        for stelle, wert in enumerate((datei["lines"][0], len(datei["lines"][1]), *datei["branches"][:2])):
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
