"""docs/protocol.md as the manual page hallkorb-protokoll(5).

The page is kept in docs/hallkorb-protokoll.5.in, so that a build needs nothing for it; `scripts/docs` makes
it anew, and the stage "haus" fails if it is not what this module makes. Tables become lists, since cells
with whole lines of JSON fit into no column of a terminal.
"""

import os
import re
import textwrap

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
QUELLE = "docs/protocol.md"
SEITE = "docs/hallkorb-protokoll.5.in"

_KOPF = r'''.\" Made by scripts/docs from docs/protocol.md. Do not edit.
.TH HALLKORB\-PROTOKOLL 5 "" "hallkorb @PROJECT_VERSION@" "File Formats Manual"
.ad l
.SH NAME
hallkorb\-protokoll \- lines, files, signals and exit statuses of hallkorb
.SH DESCRIPTION
'''
_FUSS = r'''.SH SEE ALSO
.BR hallkorb (1),
.BR hallkorb\-sitzung (1)
'''


def seite(text):
    """The manual page of a Markdown document."""
    from markdown_it import MarkdownIt  # only what makes and checks the page has it

    baum = MarkdownIt("commonmark").enable("table").parse(text)
    return _KOPF + "".join(f"{zeile}\n" for zeile in _zeilen(baum)) + _FUSS


def lies():
    with open(os.path.join(WURZEL, QUELLE), encoding="utf-8") as datei:
        return datei.read()


def _zeilen(marken):
    zeilen, tabelle, in_liste = [], None, False
    for nummer, marke in enumerate(marken):
        art = marke.type
        if art == "inline":
            davor = marken[nummer - 1]
            if tabelle is not None:
                tabelle[-1].append(_gesetzt(marke))
            elif davor.type == "heading_open" and davor.tag != "h1":
                titel = _glatt(marke)
                zeilen.append(f'.SH "{titel.upper()}"' if davor.tag == "h2" else f'.SS "{titel}"')
            elif davor.type == "paragraph_open":
                if not in_liste and not (zeilen[-1:] and zeilen[-1].startswith(".S")) and zeilen:
                    zeilen.append(".PP")
                zeilen += _umbrochen(_gesetzt(marke))
        elif art == "list_item_open":
            zeilen.append(r".IP \(bu 2")
            in_liste = True
        elif art == "list_item_close":
            in_liste = False
        elif art == "table_open":
            tabelle = []
        elif art == "tr_open":
            tabelle.append([])
        elif art == "table_close":
            zeilen += _liste(tabelle)
            tabelle = None
        elif art in ("fence", "code_block"):
            zeilen += [".PP", ".nf", *(_anfang(_flucht(zeile)) for zeile in marke.content.splitlines()), ".fi"]
    return zeilen


def _liste(tabelle):
    """A table: the first cell of each row as a tag, the others below it, named if they are several."""
    kopf, *reihen = tabelle
    zeilen = []
    for erste, *weitere in reihen:
        zeilen += [".TP", *_umbrochen(erste or r"\&", 10 ** 6)]
        gefuellt = [(name, zelle) for name, zelle in zip(kopf[1:], weitere) if zelle]
        if not gefuellt:
            zeilen.append(r"\&")
        for nummer, (name, zelle) in enumerate(gefuellt):
            zeilen += [*([".br"] if nummer else []),
                       *_umbrochen(f"{name}: {zelle}" if len(kopf) > 2 and name else zelle)]
    return zeilen


def _gesetzt(marke):
    """A run of text with its markup as roff's."""
    text = ""
    for kind in marke.children:
        if kind.type == "text":
            text += _flucht(kind.content)
        elif kind.type == "code_inline":
            text += rf"\fB{_flucht(kind.content)}\fP"
        elif kind.type in ("strong_open", "em_open"):
            text += r"\fB" if kind.type == "strong_open" else r"\fI"
        elif kind.type in ("strong_close", "em_close"):
            text += r"\fP"
        elif kind.type in ("softbreak", "hardbreak"):
            text += " "
    return text


def _glatt(marke):
    return _flucht("".join(kind.content for kind in marke.children)).replace('"', r"\(dq")


def _flucht(text):
    text = text.replace("\\", r"\e").replace("-", r"\-")
    return "".join(zeichen if ord(zeichen) < 128 else rf"\[u{ord(zeichen):04X}]" for zeichen in text)


def _umbrochen(text, breite=100):
    return [_anfang(zeile) for zeile in textwrap.wrap(
        re.sub(r"\s+", " ", text), breite, break_long_words=False, break_on_hyphens=False)]


def _anfang(zeile):
    """A line that begins with a point or an apostrophe would be a request."""
    return rf"\&{zeile}" if zeile.startswith((".", "'")) else zeile
