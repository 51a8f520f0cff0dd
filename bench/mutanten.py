"""Finds the places of C++ sources that can be changed, and rewrites a source so that it holds all of them.

A mutant is one small change: a comparison, a condition, a constant, or a call left out. All are compiled
into the program at once, each behind a switch, `x < y` for instance as

    (HALLKORB_M(17) ? (x <= y) : HALLKORB_M(18) ? (x >= y) : (x < y))

and mutation.h lets an environment variable choose which one is on. So hundreds of mutants cost one build.
Since only one is on, a changed expression holds the unchanged text of its parts, and each line stays where
it was: a compiler's message about line 30 is about line 30 of the original.
"""

import dataclasses
import os
import re

from clang import cindex

Art = cindex.CursorKind

VERGLEICHE = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",)}
BEDINGUNGEN = {"&&": ("||",), "||": ("&&",)}
ZAHLTYPEN = {"BOOL", "UCHAR", "USHORT", "UINT", "ULONG", "ULONGLONG", "SCHAR", "CHAR_S", "SHORT", "INT", "LONG",
             "LONGLONG", "FLOAT", "DOUBLE"}
# Left out, they change how fast the program is and how much memory it takes, not what it does.
NUR_TEMPO = {"reserve", "shrink_to_fit"}


@dataclasses.dataclass
class Mutant:
    datei: str  # from the root
    anfang: int  # bytes of the changed expression
    ende: int
    zeile: int
    text: str  # of that line
    gattung: str  # "comparison", "condition", "constant", "call"
    aenderung: str  # what a reader is shown
    ersatz: str
    fest: bool  # within a function that may also run while compiling
    nummer: int = 0


class Sucher:
    """Collects the mutants of the files for which `waehle(name)` holds, each place once."""

    def __init__(self, wurzel, waehle):
        self.wurzel = os.path.realpath(wurzel)
        self.waehle = waehle
        self.texte = {}
        self.gefunden = {}  # (file, from, to, replacement) -> Mutant
        self.namen = {}

    def lies(self, quelle, argumente):
        einheit = cindex.Index.create().parse(quelle, args=argumente)
        fehler = [str(meldung) for meldung in einheit.diagnostics if meldung.severity >= cindex.Diagnostic.Error]
        if fehler:
            raise ValueError("\n".join(fehler))
        for kind in einheit.cursor.get_children():
            if self._name(kind.location.file):
                self._besuche(kind, False)

    def mutanten(self):
        return sorted(self.gefunden.values(), key=lambda m: (m.datei, m.anfang, -m.ende, m.aenderung))

    def _name(self, datei):
        """The file's name from the root if its mutants are wanted, otherwise None."""
        if datei is None:
            return None
        if datei.name not in self.namen:
            name = os.path.relpath(os.path.realpath(datei.name), self.wurzel)
            self.namen[datei.name] = name if self.waehle(name) else None
            if self.namen[datei.name] and name not in self.texte:
                with open(os.path.join(self.wurzel, name), "rb") as quelle:
                    self.texte[name] = quelle.read()
        return self.namen[datei.name]

    def _text(self, knoten):
        name = self._name(knoten.extent.start.file)
        if name is None or name != self._name(knoten.extent.end.file):
            return None, ""
        return name, self.texte[name][knoten.extent.start.offset:knoten.extent.end.offset].decode("utf-8")

    def _zeile(self, name, stelle):
        text = self.texte[name]
        ende = text.find(b"\n", stelle)
        return text[text.rfind(b"\n", 0, stelle) + 1:ende if ende >= 0 else len(text)].decode("utf-8").strip()

    # --- The walk ---------------------------------------------------------------------------------

    def _besuche(self, knoten, fest):
        art = knoten.kind
        if art in (Art.STATIC_ASSERT, Art.ENUM_DECL, Art.CASE_STMT, Art.DECL_REF_EXPR, Art.TYPE_ALIAS_DECL,
                   Art.TEMPLATE_TYPE_PARAMETER, Art.TEMPLATE_NON_TYPE_PARAMETER):
            if art == Art.DECL_REF_EXPR:
                self._konstante(knoten, fest)
            elif art == Art.CASE_STMT:  # the label stays, the statement after it is looked at
                for kind in list(knoten.get_children())[1:]:
                    self._anweisung(kind, fest)
                    self._besuche(kind, fest)
            return
        if art in (Art.VAR_DECL, Art.FIELD_DECL, Art.PARM_DECL):
            self._erklaerung(knoten, fest)
            return
        if art in (Art.FUNCTION_DECL, Art.CXX_METHOD, Art.FUNCTION_TEMPLATE, Art.CONSTRUCTOR):
            fest = re.match(r"[^({]*\bconste", self._text(knoten)[1]) is not None
        kinder = list(knoten.get_children())
        if art == Art.BINARY_OPERATOR:
            self._operator(knoten, kinder, fest)
        elif art == Art.CALL_EXPR and knoten.spelling in {f"operator{zeichen}" for zeichen in VERGLEICHE}:
            self._operator(knoten, [kind for kind in kinder if not kind.spelling.startswith("operator")], fest)
        elif art == Art.UNARY_OPERATOR:
            name, text = self._text(knoten)
            if name and text.startswith("!"):
                self._merke(knoten, "condition", f"{text} -> without !", f"!!({text[1:]})", fest)
        elif art in (Art.INTEGER_LITERAL, Art.FLOATING_LITERAL, Art.CXX_BOOL_LITERAL_EXPR):
            self._zahl(knoten, fest)
        elif art in (Art.COMPOUND_STMT, Art.IF_STMT, Art.FOR_STMT, Art.WHILE_STMT, Art.CXX_FOR_RANGE_STMT,
                     Art.DEFAULT_STMT):
            for kind in kinder if art in (Art.COMPOUND_STMT, Art.DEFAULT_STMT) else kinder[1:]:
                self._anweisung(kind, fest)
        for kind in kinder:
            self._besuche(kind, fest)

    def _erklaerung(self, knoten, fest):
        """A variable: its initial value, unless the compiler needs it; not the types before its name."""
        text = self._text(knoten)[1]
        if re.match(r"[^={(]*\bconstexpr\b", text) or knoten.location.file is None:
            return
        for kind in knoten.get_children():
            name = self._name(kind.extent.start.file)
            if name is None or kind.extent.start.offset <= knoten.location.offset:
                continue
            dazwischen = self.texte[name][knoten.location.offset:kind.extent.start.offset].decode("utf-8")
            if "[" not in dazwischen:
                self._besuche(kind, fest)

    # --- The kinds of change ----------------------------------------------------------------------

    def _merke(self, knoten, gattung, aenderung, ersatz, fest):
        name = self._name(knoten.extent.start.file)
        if name is None or knoten.extent.end.offset <= knoten.extent.start.offset:
            return
        von, bis = knoten.extent.start.offset, knoten.extent.end.offset
        ersatz = re.sub(r"\s+", " ", re.sub(r"//[^\n]*", "", ersatz))
        aenderung = re.sub(r"\s+", " ", aenderung)
        self.gefunden.setdefault((name, von, bis, ersatz), Mutant(
            name, von, bis, knoten.extent.start.line, self._zeile(name, von), gattung, aenderung, ersatz, fest))

    def _operator(self, knoten, kinder, fest):
        name, text = self._text(knoten)
        if name is None or len(kinder) != 2:
            return
        links, rechts = kinder
        von, bis = links.extent.end.offset, rechts.extent.start.offset
        zeichen = self.texte[name][von:bis].decode("utf-8").strip() if von <= bis else ""
        beide = self._text(links)[1], self._text(rechts)[1]
        if zeichen not in VERGLEICHE | BEDINGUNGEN or not all(beide):
            return
        if not text.startswith(beide[0]) or not text.endswith(beide[1]):
            return
        gattung = "comparison" if zeichen in VERGLEICHE else "condition"
        for neu in (VERGLEICHE | BEDINGUNGEN)[zeichen]:
            self._merke(knoten, gattung, f"{text} -> {neu}", f"{beide[0]} {neu} {beide[1]}", fest)

    def _zahl(self, knoten, fest):
        name, text = self._text(knoten)
        if name is None:
            return
        neu = None
        if text in ("true", "false"):
            neu = "false" if text == "true" else "true"
        elif treffer := re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9']+)([uUlL]*)", text):
            neu = f"{int(treffer[1].replace(chr(39), ''), 0) + 1}{treffer[2]}"
        elif treffer := re.fullmatch(r"([0-9'.]+(?:[eE][-+]?[0-9]+)?)([fFlL]?)", text):
            neu = f"({text} * 2)" if float(treffer[1].replace("'", "")) else f"(1.0{treffer[2]})"
        if neu:
            self._merke(knoten, "constant", f"{text} -> {neu}", neu, fest)

    def _konstante(self, knoten, fest):
        """A named number: changed where it is used, since its own value may be needed while compiling."""
        ziel = knoten.referenced
        if (ziel is None or ziel.kind != Art.VAR_DECL or not ziel.type.is_const_qualified() or
                ziel.semantic_parent.kind not in (Art.NAMESPACE, Art.CLASS_DECL, Art.STRUCT_DECL)):
            return
        typ = ziel.type.get_canonical().kind.name
        name, text = self._text(knoten)
        if typ not in ZAHLTYPEN or not name or not re.fullmatch(r"[\w:]+", text):
            return
        neu = f"!{text}" if typ == "BOOL" else f"{text} * 2" if typ in ("FLOAT", "DOUBLE") else f"{text} + 1"
        self._merke(knoten, "constant", f"{text} -> {neu}",
                    f"static_cast<std::remove_cvref_t<decltype({text})>>({neu})", fest)

    def _anweisung(self, knoten, fest):
        """A call whose result nobody takes."""
        while knoten.kind == Art.UNEXPOSED_EXPR:
            kinder = list(knoten.get_children())
            if len(kinder) != 1:
                return
            knoten = kinder[0]
        name, text = self._text(knoten)
        if knoten.kind != Art.CALL_EXPR or name is None or not text.endswith(")"):
            return
        if knoten.spelling.startswith("operator") or knoten.spelling in NUR_TEMPO:
            return
        self._merke(knoten, "call", f"{text} -> left out", "void()", fest)


# --- Rewriting ------------------------------------------------------------------------------------

def schreibe_um(text, mutanten):
    """The source (bytes) with all these mutants behind their switches."""
    stellen = {}
    for mutant in mutanten:
        stellen.setdefault((mutant.anfang, -mutant.ende), []).append(mutant)
    ausgabe, _, _ = _teil(text, 0, len(text), sorted(stellen.items()), 0)
    return ausgabe


def _teil(text, von, bis, stellen, i):
    """The bytes from `von` to `bis`; the places from index `i` on that lie within are rewritten."""
    ausgabe = b""
    while i < len(stellen) and stellen[i][0][0] < bis:
        (anfang, minus_ende), hier = stellen[i]
        if anfang < von or -minus_ende > bis:  # overlaps without lying within: only in macros
            i += 1
            continue
        innen, _, i = _teil(text, anfang, -minus_ende, stellen, i + 1)
        ausgabe += text[von:anfang] + _schalter(hier, innen)
        von = -minus_ende
    return ausgabe + text[von:bis], von, i


def _schalter(hier, innen):
    ruf = hier[0].gattung == "call"
    kopf = "".join(f"HALLKORB_M{'F' if m.fest else ''}({m.nummer}) ? ({m.ersatz}) : " for m in hier)
    kern = b"static_cast<void>(" + innen + b")" if ruf else b"(" + innen + b")"
    return b"(" + kopf.encode("utf-8") + kern + b")"
