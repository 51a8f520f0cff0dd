#!/usr/bin/python3
"""The protocol as machines check it: /usr/bin/python3 tests/protokoll.py

docs/protocol.schema.json against docs/protocol.md, line for line and field for field; its examples, and
every way to spoil them, against the check that the end-to-end tests make of each line of the program.
Closing line: "N passed, N failed".
"""

import copy
import json
import os
import re
import sys
import unittest

import jsonschema

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import einzeltests  # noqa: E402
import schema  # noqa: E402

OFFEN = jsonschema.Draft202012Validator(schema.schema())


def dokument():
    with open(os.path.join(WURZEL, "docs", "protocol.md"), encoding="utf-8") as datei:
        return datei.read()


def abschnitt(titel):
    return re.search(rf"^## {titel}\n(.*?)(?=^## )", dokument(), re.MULTILINE | re.DOTALL)[1]


def beispiele():
    """The lines of the chapter that shows one of each."""
    return re.search(r"```jsonl\n(.*?)```", abschnitt("One of each"), re.DOTALL)[1].splitlines()


def gueltig(text):
    try:
        schema.pruefe(text)
        return True
    except schema.Ungueltig:
        return False


def definition(name):
    """Every field of a definition, those of the objects inside it included."""
    felder = set()

    def sammle(teil):
        if "$ref" in teil:
            teil = schema.schema()["$defs"][teil["$ref"].rsplit("/", 1)[1]]
        for moeglich in teil.get("oneOf", []):
            sammle(moeglich)
        for feld, inhalt in teil.get("properties", {}).items():
            felder.add(feld)
            sammle(inhalt)

    sammle(schema.schema()["$defs"][name])
    return felder


def arten():
    return {verweis["$ref"].rsplit("/", 1)[1] for verweis in schema.zeilenarten()}


def stellen(satz, pfad=()):
    """Where values stand in an object: tuples of names."""
    for name, wert in satz.items():
        yield (*pfad, name)
        if isinstance(wert, dict):
            yield from stellen(wert, (*pfad, name))


def geaendert(satz, pfad, tu):
    """The text of a line in which `tu(object, name)` was done at a place."""
    neu = copy.deepcopy(satz)
    innen = neu
    for name in pfad[:-1]:
        innen = innen[name]
    tu(innen, pfad[-1])
    return json.dumps(neu, default=float)


class Schema(unittest.TestCase):

    def test_schema_ist_eines(self):
        jsonschema.Draft202012Validator.check_schema(schema.schema())
        jsonschema.Draft202012Validator.check_schema(schema.geschlossen(schema.schema()))

    def test_jede_art_hat_ein_gueltiges_beispiel(self):
        self.assertEqual({schema.pruefe(zeile) for zeile in beispiele()}, arten())

    def test_beispiele_gelten_fuer_jeden_leser(self):
        """The schema as it is published, and the closed one from its root, agree with the check by kind."""
        zu = schema.pruefer()
        for zeile in beispiele():
            OFFEN.validate(json.loads(zeile))
            zu.validate(schema.lies(zeile))


class Verdorben(unittest.TestCase):
    """Each field of each line, spoilt in every way."""

    def setUp(self):
        self.zahl = 0
        self.zu = schema.pruefer()

    def verweigert(self, text):
        self.zahl += 1
        self.assertFalse(gueltig(text), text)
        try:
            satz = schema.lies(text)
        except schema.Ungueltig:
            return
        self.assertFalse(self.zu.is_valid(satz), text)

    def je_feld(self):
        for zeile in beispiele():
            satz = schema.lies(zeile)
            for pfad in stellen(satz):
                yield satz, pfad

    def test_feld_fehlt(self):
        for satz, pfad in self.je_feld():
            ohne = geaendert(satz, pfad, lambda innen, name: innen.pop(name))
            # As text, so that the decimals of the other fields stay.
            ohne = self.mit_stellen(satz, ohne)
            if pfad == ("sprache_ms",):
                self.assertTrue(gueltig(ohne), ohne)
            else:
                self.verweigert(ohne)
        self.assertGreater(self.zahl, 80)

    def test_feld_zu_viel(self):
        for zeile in beispiele():
            satz = schema.lies(zeile)
            self.verweigert(self.mit_stellen(satz, json.dumps({**satz, "neu": 1}, default=float)))
            self.assertTrue(OFFEN.is_valid({**json.loads(zeile), "neu": 1}))

    def test_falsche_art(self):
        for satz, pfad in self.je_feld():
            for falsch in (None, [], {}, "x" if not isinstance(self.wert(satz, pfad), str) else 7,
                           1 if isinstance(self.wert(satz, pfad), bool) else True):
                text = geaendert(satz, pfad, lambda innen, name: innen.__setitem__(name, falsch))
                self.verweigert(self.mit_stellen(satz, text))
        self.assertGreater(self.zahl, 400)

    def test_falsche_stellen_und_groesse(self):
        """A whole number with a point, a decimal more or less, an exponent, a negative count."""
        for zeile in beispiele():
            for treffer in re.finditer(r'"(\w+)":(-?[0-9.]+)', zeile):
                vorn, hinten = zeile[:treffer.start(2)], zeile[treffer.end(2):]
                wert = treffer[2]
                falsche = [wert + "0" if "." in wert else wert + ".0", wert + "e0"]
                if "." in wert:
                    falsche.append(wert.split(".")[0])
                if treffer[1] not in ("x", "y", "ebene", "laufzeit_samples") and "_db" not in treffer[1]:
                    falsche.append("-1" + ("." + wert.split(".")[1] if "." in wert else ""))
                for falsch in falsche:
                    self.verweigert(vorn + falsch + hinten)
        self.assertGreater(self.zahl, 150)

    def test_keine_zeile(self):
        for text in ("", "[]", "7", "null", "{}", '{"event":"done"', '{"event":"done"}{"event":"done"}',
                     '{"event":"gone"}', '{"event":7}', '{"event":null}', '{"event":"chunk"}',
                     '{"event":"echo_datei"}', '{"event":"done","event":"done"}', '{"event":"Done"}',
                     '{"event":"video_none","message":""}', "{'event':'done'}",
                     '{"chunk":0,"channel":"me","path":"/r/chunk_me_000.wav","t0":NaN,"t1":1.00}',
                     '{"chunk":0,"channel":"me","path":"/r/chunk_me_000.wav","t0":nan,"t1":1.00}',
                     '{"chunk":0,"channel":"me","path":"/r/chunk_me_000.wav","t0":0.00,"t1":Infinity}',
                     '{"chunk":0,"channel":"us","path":"/r/chunk_me_000.wav","t0":0.00,"t1":1.00}',
                     '{"chunk":0,"channel":"me","path":"/r/chunk_me_00.wav","t0":0.00,"t1":1.00}',
                     '{"chunk":0,"channel":"me","path":"/r/mikro_roh.wav","t0":0.00,"t1":1.00}',
                     '{"chunk":0,"channel":"me","path":"/r/chunk_me_000.wav","t0":0.00,"t1":1.00,'
                     '"quelle":"mikro_roh"}',
                     '{"art":"nichts","id":7,"quelle":"","rang":0,"grund":"x"}',
                     '{"art":"fenster","id":7,"quelle":"","rang":1,"grund":"x"}'):
            self.verweigert(text)

    @staticmethod
    def wert(satz, pfad):
        for name in pfad:
            satz = satz[name]
        return satz

    @staticmethod
    def mit_stellen(vorbild, text):
        """`text` with its numbers printed as in the object that it was made from."""
        def sammle(satz, gefunden):
            for name, wert in satz.items():
                if isinstance(wert, dict):
                    sammle(wert, gefunden)
                elif hasattr(wert, "as_tuple"):
                    gefunden[name] = str(wert)
            return gefunden

        for name, wert in sammle(vorbild, {}).items():
            text = re.sub(rf'("{name}": )-?[0-9][0-9.e-]*', rf"\g<1>{wert}", text)
        return text


class Spaeter(unittest.TestCase):
    """What the promise lets later versions add is valid for hosts, and what it rules out is not."""

    def test_neues_ereignis(self):
        self.assertTrue(OFFEN.is_valid({"event": "spaeter", "channel": "me"}))
        self.assertFalse(gueltig('{"event":"spaeter","channel":"me"}'))

    def test_neue_zeile_ohne_ereignis(self):
        for text in ('{"neu":1}', '{"pegel":[1,2],"channel":"me"}'):
            self.assertTrue(OFFEN.is_valid(json.loads(text)), text)
            self.assertFalse(gueltig(text), text)
            self.assertFalse(schema.pruefer().is_valid(schema.lies(text)), text)
        # One that begins as a known line is that line, and must have its fields.
        for name in ("event", *schema.NACH_FELD):
            self.assertFalse(OFFEN.is_valid({name: None, "neu": 1}), name)

    def test_bekanntes_ereignis_ohne_feld(self):
        for zeile in beispiele():
            satz = json.loads(zeile)
            for name in satz:
                ohne = {feld: wert for feld, wert in satz.items() if feld != name}
                # Without what it is known by, it is another line, which may be a new one.
                if name not in ("event", *schema.NACH_FELD, "sprache_ms", "sekunden_audio"):
                    if schema.art(satz) != "echo_datei" or name not in ("rechenzeit_s", "samples"):
                        self.assertFalse(OFFEN.is_valid(ohne), ohne)

    def test_gerettetes_stueck_nur_in_der_datei(self):
        satz = {"chunk": 4, "channel": "me", "path": "/r/chunk_me_004.wav", "t0": 1.0, "t1": 2.5,
                "quelle": "mikro_roh"}
        behalten = schema.pruefer("kept")
        text = json.dumps(satz).replace("1.0", "1.00").replace("2.5", "2.50")
        self.assertTrue(behalten.is_valid(schema.lies(text)))
        self.assertFalse(behalten.is_valid(schema.lies(text.replace("mikro_roh", "anders"))))


class Dokument(unittest.TestCase):
    """docs/protocol.md names every line and every field of the schema, and no other."""

    def test_jedes_ereignis(self):
        genannt = set(re.findall(r'"event":"(\w+)"', abschnitt("Live recording")))
        self.assertEqual(genannt | {"chunk"},
                         {verweis["$ref"].rsplit("/", 1)[1]
                          for verweis in schema.geschlossen(schema.schema())["$defs"]["live"]["anyOf"]})

    def test_jede_zeile_der_tabelle(self):
        """The fields of each row are those of the definition. A row with "..." gives them elsewhere."""
        statistik = set(re.findall(r"^\| ((?:`\w+`(?:, )?)+) \|", abschnitt("Live recording"),
                                   re.MULTILINE))
        statistik = set(re.findall(r"`(\w+)`", " ".join(statistik)))
        for muster, felder in re.findall(r"^\| `(\{.*?\})` \| [^\n]*? \| ([^\n]*?) \|$",
                                         abschnitt("Live recording"), re.MULTILINE):
            name = (re.search(r'"event":"(\w+)"', muster) or [0, "chunk"])[1]
            genannt = set(re.findall(r'"(\w+)":', muster))
            if "..." in muster:
                genannt |= set(re.findall(r"`(\w+)`", felder))
            if name == "echo":
                genannt |= statistik
            if name == "video_wechsel":
                self.assertEqual(felder, "the same")
                genannt = definition("video_start")
            with self.subTest(zeile=name):
                self.assertEqual(genannt, definition(name) - {"sprache_ms"})
                self.assertLessEqual(set(re.findall(r"`(\w+)`", felder)), definition(name))
        self.assertIn('`"sprache_ms"`', abschnitt("Live recording"))

    def test_offline(self):
        text = abschnitt("Offline modes")
        genannt = set(re.findall(r'"(\w+)":', text)) | set(re.findall(r'`"(\w+)"`', text))
        eingabe = set(re.findall(r'"(\w+)":', re.search(r'`(\{"fenster":\[.*?\]\})`', text)[1]))
        erwartet = set().union(*(definition(name) for name in arten() - {"chunk"}
                                 if name in {v["$ref"].rsplit("/", 1)[1] for v in
                                             schema.schema()["$defs"]["offline"]["anyOf"]}))
        self.assertEqual(genannt, (erwartet | eingabe) - (definition("echo") - {"chunks_ohne_sprache"}))

    def test_zeilen_des_readme(self):
        """Those that are not abridged are lines, too."""
        with open(os.path.join(WURZEL, "README.md"), encoding="utf-8") as datei:
            zeilen = [zeile for zeile in datei.read().splitlines() if zeile.startswith("{")]
        ganze = [zeile for zeile in zeilen if "..." not in zeile]
        self.assertGreater(len(ganze), 4)
        for zeile in ganze:
            schema.pruefe(zeile)


if __name__ == "__main__":
    sys.exit(einzeltests.lauf())
