"""The rooms of the house, from the ground up, and the arrows between them as the includes draw them.

RAEUME is the one place that says which room stands on which: a room may include from rooms of a lower
storey only. cmake/House.cmake refuses other includes while it compiles; this module sees also what a
build does not compile (the other platform), and draws the picture in docs/architecture.md.
"""

import os
import re
import subprocess

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Room -> (storey, pattern of its files). A file belongs to the first room whose pattern matches it.
RAEUME = {
    "driver": (8, r"driver/"),
    "tool": (8, r"tool/"),
    "library": (3, r"library/"),
    "choice": (7, r"platform/DiesePlattform\."),
    "linux: ties": (6, r"platform/linux/Linux(Plattform|RunLoop)\."),
    "clock": (2, r"platform/clock/"),
    "linux/audio": (4, r"platform/linux/audio/"),
    "linux/screen": (4, r"platform/linux/screen/"),
    "linux/video": (4, r"platform/linux/video/"),
    "linux: shared": (3, r"platform/linux/"),
    "macos: calls": (6, r"platform/macos/(.*\.mm$|audio/PcmPuffer\.h|Mac\w+\.h|Objekte\.h)"),
    "macos/audio": (5, r"platform/macos/audio/"),
    "macos/video": (5, r"platform/macos/video/"),
    "macos/screen": (4, r"platform/macos/screen/"),
    "macos: shared": (3, r"platform/macos/"),
    "session": (2, r"session/"),
    "capture": (2, r"capture/"),
    "meeting": (2, r"meeting/"),
    "platform": (1, r"platform/"),
    "audiofiles": (1, r"audiofiles/"),
    "echo": (1, r"echo/"),
    "base": (0, r"base/"),
}
FOLDER = sorted({muster.split("/")[0] for _, muster in RAEUME.values()})
PLATTFORMEN = ("linux", "macos")
# The only file that may name a platform.
WAEHLER = "platform/DiesePlattform.cpp"

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*(?:include|import)[ \t]*(["<])([^">\n]+)[">]', re.MULTILINE)


def raum(datei):
    """The room of a file, None outside the house."""
    return next((name for name, (_, muster) in RAEUME.items() if re.match(muster, datei)), None)


def quellen():
    """Production source -> its text."""
    liste = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *FOLDER], cwd=WURZEL,
        check=True, capture_output=True, text=True).stdout.splitlines()
    texte = {}
    for name in liste:
        pfad = os.path.join(WURZEL, name)
        if name.endswith((".h", ".cpp", ".mm")) and os.path.exists(pfad):
            with open(pfad, encoding="utf-8") as datei:
                texte[name] = datei.read()
    return texte


def lies(texte):
    """Returns (arrows, complaints) of production sources: pairs of rooms, and what is against the rules."""
    pfeile, klagen = set(), []
    for datei, text in texte.items():
        von = raum(datei)
        for klammer, ziel in _INCLUDE.findall(text):
            nach = raum(ziel)
            if nach is None:
                if klammer == '"':
                    klagen.append(f'{datei} includes "{ziel}", which is in no room')
                continue
            if von == nach:
                continue
            pfeile.add((von, nach))
            if RAEUME[nach][0] >= RAEUME[von][0]:
                klagen.append(f"{datei} includes {ziel}: an arrow upwards, from {von} to {nach}")
            heim = _plattform(ziel)
            if heim and _plattform(datei) != heim and datei != WAEHLER:
                klagen.append(f"{datei} includes {ziel}: only {WAEHLER} may name a platform")
    return pfeile, klagen


def _plattform(datei):
    treffer = re.match(rf"platform/({'|'.join(PLATTFORMEN)})/", datei)
    return treffer[1] if treffer else None


def bild(pfeile):
    """The picture, in Markdown: a drawing without the arrows that follow from others, then all arrows."""
    knoten = {name: re.sub(r"\W+", "_", name) for name in RAEUME}
    zeilen = ["```mermaid", "flowchart TD"]
    for gruppe in PLATTFORMEN:
        zeilen.append(f'  subgraph in_{gruppe}["platform/{gruppe}"]')
        for name in RAEUME:
            if _gruppe(name) == gruppe:
                kurz = name.removeprefix(gruppe).lstrip("/: ") or name
                zeilen.append(f'    {knoten[name]}["{kurz}"]')
        zeilen.append("  end")
    for von in RAEUME:
        for nach in RAEUME:
            if (von, nach) in pfeile and not _folgt(von, nach, pfeile):
                zeilen.append(f"  {knoten[von]} --> {knoten[nach]}")
    breite = max(map(len, RAEUME))
    zeilen += ["```", "", "Every arrow, the omitted ones included:", "", "```"]
    for von in RAEUME:
        ziele = ", ".join(nach for nach in RAEUME if (von, nach) in pfeile)
        zeilen.append(f"{von:{breite}} -> {ziele}" if ziele else f"{von:{breite}}    (stands on nothing)")
    return "\n".join([*zeilen, "```"])


def _gruppe(name):
    return next((gruppe for gruppe in PLATTFORMEN if name.startswith(gruppe)), None)


def _folgt(von, nach, pfeile):
    """Whether another way leads from one room to the other."""
    offen = [ziel for start, ziel in pfeile if start == von and ziel != nach]
    gesehen = set()
    while offen:
        ort = offen.pop()
        if ort == nach:
            return True
        if ort not in gesehen:
            gesehen.add(ort)
            offen += [ziel for start, ziel in pfeile if start == ort]
    return False
