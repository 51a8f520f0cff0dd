"""Parts of the documents that a command makes, and the check that they are up to date.

Such a part stands between two lines of comment, <!-- NAME: made by ... --> and <!-- end of NAME -->.
"""

import json
import os
import re

import raeume

WURZEL = raeume.WURZEL
DAUERN = os.path.join(WURZEL, "build", "stages.json")  # written by scripts/test


def _pfad(name):
    return os.path.join(WURZEL, *name.split("/"))


def lies(name):
    with open(_pfad(name), encoding="utf-8") as datei:
        return datei.read()


def ersetze(text, abschnitt, inhalt):
    """The text with what stands between the section's two marks replaced."""
    muster = rf"(<!-- {abschnitt}: [^\n]*-->\n).*?(<!-- end of {abschnitt} -->)"
    neu, anzahl = re.subn(muster, lambda treffer: f"{treffer[1]}{inhalt}\n{treffer[2]}", text,
                          flags=re.DOTALL)
    if anzahl != 1:
        raise ValueError(f"{anzahl} sections {abschnitt}")
    return neu


def dauern():
    """Stage -> its last durations on this machine, {} before the first run."""
    try:
        with open(DAUERN, encoding="utf-8") as datei:
            return json.load(datei)
    except (OSError, ValueError):
        return {}


def merke_dauer(stufe, sekunden, rechenzeit, bestanden):
    """Keeps the durations of a stage that has passed."""
    alle = {**dauern(), stufe: {"seconds": round(sekunden), "cpu": round(rechenzeit),
                                "passed": bestanden}}
    os.makedirs(os.path.dirname(DAUERN), exist_ok=True)
    with open(DAUERN + ".new", "w", encoding="ascii") as datei:
        json.dump(alle, datei, indent=1)
    os.replace(DAUERN + ".new", DAUERN)


def dauer_tabelle(stufen):
    """The stages, what they do, and what they last took; {name: description}."""
    gemessen = dauern()
    zeilen = ["| Stage | Shows | Wall | Processor |", "|---|---|---:|---:|"]
    for name, worte in stufen.items():
        werte = gemessen.get(name)
        zeit = f"{werte['seconds']} s | {werte['cpu']} s" if werte else "– | –"
        zeilen.append(f"| `{name}` | {worte} | {zeit} |")
    return "\n".join(zeilen)


def architektur():
    """docs/architecture.md as it should be."""
    pfeile, _ = raeume.lies(raeume.quellen())
    return ersetze(lies("docs/architecture.md"), "arrows", raeume.bild(pfeile))


def schreibe(name, text):
    with open(_pfad(name), "w", encoding="utf-8") as datei:
        datei.write(text)
