#!/usr/bin/python3
"""What goes with the protocol: /usr/bin/python3 tests/protokollseiten.py

The manual pages, the page for host developers, and the types of the hosts in examples/, against the
documents and the schema that they follow.
Closing line: "N passed, N failed".
"""

import ast
import json
import os
import re
import subprocess
import sys
import unittest

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import einzeltests  # noqa: E402
import handbuch  # noqa: E402
import schema  # noqa: E402


class Handbuch(unittest.TestCase):

    def test_seite_ist_aktuell(self):
        with open(os.path.join(WURZEL, handbuch.SEITE), encoding="utf-8") as datei:
            self.assertEqual(datei.read(), handbuch.seite(handbuch.lies()),
                             "docs/protocol.md has changed: run scripts/docs")

    def test_jedes_wort_ist_in_der_seite(self):
        """Nothing gets lost on the way: what the document says, the page says as it is shown."""
        gezeigt = subprocess.run(["mandoc", "-Tutf8", "-Owidth=500", os.path.join(WURZEL, handbuch.SEITE)],
                                 check=True, capture_output=True).stdout.decode()
        # Bold letters are struck twice.
        gezeigt = set(re.findall(r"\w+", re.sub(".\b", "", gezeigt)))
        # Of a link only its text is for readers of the page; headings are in capitals, and those of
        # tables that became lists are left out.
        weg = r"^#+ .*$|^```.*$|^\|.*\|\n(?=\|[-|]+\|$)"
        text = re.sub(r"\]\([^)]*\)", "]", re.sub(weg, "", handbuch.lies(), flags=re.MULTILINE))
        self.assertEqual(set(re.findall(r"\w+", text)) - gezeigt, set())

    def test_seiten_ohne_tadel(self):
        for name in ("hallkorb.1.in", "hallkorb-sitzung.1.in", "hallkorb-protokoll.5.in"):
            ergebnis = subprocess.run(["mandoc", "-Tlint", "-W", "warning",
                                       os.path.join(WURZEL, "docs", name)], capture_output=True, text=True,
                                      check=False)
            tadel = [zeile for zeile in ergebnis.stdout.splitlines() if "missing date" not in zeile]
            self.assertEqual(tadel, [])


class Testmodule:
    """The classes of each module of the end-to-end tests, with their cases and those of their bases."""

    def __init__(self):
        ordner = os.path.join(WURZEL, "tests", "e2e")
        self._klassen = {}  # module -> class -> (bases, cases)
        for name in os.listdir(ordner):
            if name.endswith(".py"):
                with open(os.path.join(ordner, name), encoding="utf-8") as datei:
                    self._klassen[name[:-3]] = dict(self._klassen_von(ast.parse(datei.read())))

    @staticmethod
    def _klassen_von(baum):
        for klasse in baum.body:
            if isinstance(klasse, ast.ClassDef):
                basen = [ast.unparse(basis).rpartition(".")[2] for basis in klasse.bases]
                yield klasse.name, (basen, {teil.name for teil in klasse.body
                                            if isinstance(teil, ast.FunctionDef)})

    def _faelle(self, modul, klasse):
        """Of a base that is another module's, whichever module that is."""
        if klasse not in self._klassen[modul]:
            modul = next((name for name, klassen in self._klassen.items() if klasse in klassen), None)
            if modul is None:
                return set()
        basen, faelle = self._klassen[modul][klasse]
        return faelle.union(*(self._faelle(modul, basis) for basis in basen))

    def gibt_es(self, name, modul):
        """Whether it names a module, a class or a case: "module", "module.class", "module.class.case", or the
        latter two without the module, which was named before. Returns the module, or None."""
        erstes, _, rest = name.partition(".")
        if erstes in self._klassen:
            modul, name = erstes, rest
        klasse, _, fall = name.partition(".")
        if modul is None or not name:
            return modul
        if klasse.startswith("test_"):
            return modul if any(klasse in self._faelle(modul, eine) for eine in self._klassen[modul]) else None
        if klasse not in self._klassen[modul] or fall and fall not in self._faelle(modul, klasse):
            return None
        return modul


class Wirtsseite(unittest.TestCase):

    def test_genannte_tests_gibt_es(self):
        """docs/hosts.md rests on tests; each one that it names is there, and where it says."""
        module, modul = Testmodule(), None
        with open(os.path.join(WURZEL, "docs", "hosts.md"), encoding="utf-8") as datei:
            genannt = re.findall(r"`((?:[A-Z]\w+\.)?test_\w+(?:\.\w+)*|[A-Z]\w*[a-z]\w*)`", datei.read())
        self.assertGreater(len(genannt), 25)
        for name in genannt:
            if not name.startswith("NS"):  # the platform's
                modul = module.gibt_es(name, modul)
                self.assertIsNotNone(modul, name)

    def test_ein_falscher_name_faellt_auf(self):
        module = Testmodule()
        for name in ("test_geraete.BeidesFehlt.test_stopp_ohne_dienst", "test_geraete.Fehlt", "test_fehlt", "Stopp",
                     "test_wirte.NodeGespielt.test_platte_voll"):
            self.assertIsNone(module.gibt_es(name, "test_geraete"), name)
        for name in ("test_geraete.Wechsel.test_stopp_ohne_dienst", "test_stopp_ohne_dienst", "Wechsel",
                     "test_wirte.NodeGespielt.test_alles"):
            self.assertIsNotNone(module.gibt_es(name, "test_geraete"), name)


class Typen(unittest.TestCase):
    """The types of the hosts in examples/, written by hand in four languages, are those of the schema."""

    def soll(self):
        """Kind of line -> field -> "bool", "int", "float", "str" or "Timeline", with "?" if it may be
        missing. `event` says which kind it is, and is no field of its type."""
        art = {"boolean": "bool", "integer": "int", "number": "float", "string": "str"}

        def feld(inhalt):
            if inhalt.get("$ref") == "#/$defs/timeline":
                return "Timeline"
            if inhalt.get("$ref") == "#/$defs/channel" or isinstance(inhalt.get("const"), str):
                return "str"
            return art[inhalt["type"]]

        def felder(name):
            inhalt = schema.schema()["$defs"][name]
            return {wort: feld(teil) + ("" if wort in inhalt["required"] else "?")
                    for wort, teil in inhalt["properties"].items() if wort != "event"}

        lebend = schema.geschlossen(schema.schema())["$defs"]["live"]["anyOf"]
        return {name: felder(name) for name in
                [verweis["$ref"].rsplit("/", 1)[1] for verweis in lebend] + ["timeline"]}

    def quelle(self, *pfad):
        with open(os.path.join(WURZEL, "examples", *pfad), encoding="utf-8") as datei:
            return datei.read()

    @staticmethod
    def satzart(klasse):
        """VideoStart -> video_start"""
        return re.sub(r"(?<=[a-z])(?=[A-Z])", "_", klasse).lower()

    def aus_strukturen(self, text, feld, namen):
        """The fields of each structure: `feld` finds (name, type) or (type, name) in its body."""
        gefunden = {}
        for klasse, rumpf in re.findall(r"^struct (\w+)(?:: Decodable)? \{([^}]*)\}", text,
                                        re.MULTILINE):
            gefunden[self.satzart(klasse)] = {
                treffer["name"]: namen[treffer["art"]] for treffer in re.finditer(feld, rumpf)}
        return gefunden

    def test_python(self):
        sys.path.insert(0, os.path.join(WURZEL, "examples", "python"))
        import dataclasses

        import lines

        namen = {bool: "bool", int: "int", float: "float", str: "str", lines.Timeline: "Timeline",
                 int | None: "int?"}
        klassen = {**lines.EVENTS, "chunk": lines.Chunk, "timeline": lines.Timeline}
        self.assertEqual({name: {feld.name: namen[feld.type] for feld in dataclasses.fields(klasse)}
                          for name, klasse in klassen.items()}, self.soll())

    def test_node(self):
        text = self.quelle("node", "lines.mjs")
        namen = {"boolean": "bool", "integer": "int", "number": "float", "string": "str",
                 "integer?": "int?"}

        def tabelle(name):
            roh = re.search(rf"const {name} = (\{{.*?\}});", text, re.DOTALL)[1].replace("'", '"')
            roh = re.sub(r"\b(PICTURE|TIMELINE)\b", r'"\1"', re.sub(r"(\w+):", r'"\1":', roh))
            return json.loads(re.sub(r",(\s*\})", r"\1", roh))

        def uebersetze(felder):
            return {name: "Timeline" if art == "TIMELINE" else namen[art] for name, art in felder.items()}

        arten_ = {name: uebersetze(tabelle("PICTURE") if felder == "PICTURE" else felder)
                  for name, felder in tabelle("LINES").items()}
        self.assertEqual({**arten_, "timeline": uebersetze(tabelle("TIMELINE"))}, self.soll())

    def test_cpp(self):
        gefunden = self.aus_strukturen(
            self.quelle("cpp", "lines.h"), r"(?P<art>[\w:<>]+) (?P<name>\w+);",
            {"bool": "bool", "std::int64_t": "int", "double": "float", "std::string": "str",
             "Timeline": "Timeline", "std::optional<std::int64_t>": "int?"})
        self.assertEqual(gefunden.pop("unknown"), {"text": "str"})
        self.assertEqual(gefunden, self.soll())

    def test_swift(self):
        text = self.quelle("swift", "Lines.swift")
        gefunden = self.aus_strukturen(text, r"let (?P<name>\w+): (?P<art>[\w?]+)",
                                       {"Bool": "bool", "Int": "int", "Double": "float", "String": "str",
                                        "Timeline": "Timeline", "Int?": "int?"})
        self.assertIn("typealias VideoWechsel = VideoStart\n", text)
        gefunden["error"] = gefunden.pop("failed")  # the name is taken
        self.assertEqual({**gefunden, "done": {},
                          "video_wechsel": gefunden["video_start"]}, self.soll())


if __name__ == "__main__":
    sys.exit(einzeltests.lauf())
