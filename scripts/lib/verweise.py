"""The check of the documents' links: the file is there, and what is named after a # is one of its headings."""

import os
import re

import raeume

_VERWEIS = re.compile(r"\]\((?!https?:)([^)#]*)(?:#([^)]*))?\)")


def ueberschriften(text):
    """The names that GitHub gives to a document's headings."""
    gezaehlt, namen, im_block = {}, set(), False
    for zeile in text.splitlines():
        im_block ^= zeile.lstrip().startswith("```")
        treffer = None if im_block else re.match(r"#{1,6} +(.*\S)", zeile)
        if treffer:
            worte = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", treffer[1]).lower()
            name = re.sub(r"[^\w -]", "", worte).replace(" ", "-")
            mal = gezaehlt[name] = gezaehlt.get(name, -1) + 1
            namen.add(f"{name}-{mal}" if mal else name)
    return namen


def pruefe(texte):
    """What is wrong with the links of documents; {name: text}."""
    klagen = []
    for name, text in texte.items():
        for datei, stelle in _VERWEIS.findall(text):
            ziel = os.path.normpath(os.path.join(os.path.dirname(name), datei)) if datei else name
            if ziel not in texte and not os.path.exists(os.path.join(raeume.WURZEL, ziel)):
                klagen.append(f"{name}: there is no {datei}")
            elif stelle and stelle not in ueberschriften(texte.get(ziel, "")):
                klagen.append(f"{name}: {ziel} has no heading #{stelle}")
    return klagen
