"""The check of docs/glossary.md: every type of the code has its line, and every line its term.

The glossary has one table for each room, headed by the room's folder ("## platform/linux/audio"); a
term stands in backticks in the first column. One line may explain several: "| `vor`, `rueck` | ...".
"""

import re

# What a header declares: a class, a structure, an enumeration, or a name for a type.
_TYP = re.compile(r"^[ \t]*(?:class|struct|enum(?: class| struct)?|using)[ \t]+(\w+)"
                  r"(?=[ \t]*(?:final\b[^;]*)?(?::[^;{]*)?[{=])", re.MULTILINE)
_KOPF = re.compile(r"^## ([\w/]+)$", re.MULTILINE)


def typen(text):
    """The types that a header declares, those inside of others included."""
    return set(_TYP.findall(re.sub(r"//[^\n]*", "", text)))


def lies(text):
    """Folder -> terms of its table."""
    teile = _KOPF.split(text)
    return {ordner: {begriff for zeile in tabelle.splitlines() if zeile.startswith("| `")
                     for begriff in re.findall(r"`(\w+)`", zeile.split("|")[1])}
            for ordner, tabelle in zip(teile[1::2], teile[2::2])}


def pruefe(texte, glossar):
    """What is wrong with the glossary; `texte` are the production sources by name."""
    tabellen = lies(glossar)
    klagen = []
    woerter = {ordner: set() for ordner in tabellen}
    for datei, text in texte.items():
        ordner = datei.rsplit("/", 1)[0]
        if ordner in woerter:
            woerter[ordner] |= set(re.findall(r"\w+", re.sub(r"//[^\n]*", "", text)))
        if datei.endswith(".h"):
            for typ in sorted(typen(text) - tabellen.get(ordner, set())):
                klagen.append(f"{datei}: {typ} has no line under {ordner} in docs/glossary.md")
    for ordner, begriffe in tabellen.items():
        for begriff in sorted(begriffe - woerter[ordner]):
            klagen.append(f"docs/glossary.md: {ordner} has no `{begriff}` any more")
    return klagen
