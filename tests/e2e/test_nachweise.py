"""The lists and tables that are made of results: what no test runs, what the long runs found."""

import io
import os
import subprocess
import tempfile
import unittest
import unittest.mock

import lauf  # first: it finds the scripts' modules
import abdeckung
import ausdauer


class Abdeckung(unittest.TestCase):
    """The list of what no test of the macOS backend runs."""

    ZEILEN = ["    x();\n", "    y();\n", "  if (z) {\n"]
    GEMESSEN = {"a.mm": ({1: 1, 2: 0, 3: 4}, {(3, 5, "yes"): 0, (3, 5, "no"): 2})}
    LISTE = {("a.mm", "line", "y();"): True, ("a.mm", "yes", "if (z) {"): True}

    def klagen(self, soll):
        return abdeckung.veraltet(self.GEMESSEN, soll, {"a.mm": self.ZEILEN}.get)

    def test_eine_liste_die_stimmt(self):
        self.assertEqual(self.klagen(self.LISTE), [])
        # What runs only at times is in the list, and may have run.
        self.assertEqual(self.klagen(self.LISTE | {("a.mm", "no", "if (z) {"): False}), [])

    def test_jede_abweichung_wird_gefunden(self):
        for eintrag in self.LISTE:
            rest = {name: immer for name, immer in self.LISTE.items() if name != eintrag}
            self.assertEqual(self.klagen(rest), [f"not in the list: {' | '.join(eintrag)}"])
        self.assertEqual(self.klagen(self.LISTE | {("a.mm", "line", "x();"): True}),
                         ["runs by now: a.mm | line | x();"])
        self.assertEqual(self.klagen(self.LISTE | {("a.mm", "no", "if (alt) {"): False}),
                         ["not there any more: a.mm | no | if (alt) {"])

    def test_die_liste_ist_lesbar(self):
        eintraege = abdeckung.liste()
        self.assertGreater(len(eintraege), 0)
        for datei, art, text in eintraege:
            self.assertTrue(os.path.exists(os.path.join(lauf.WURZEL, datei)), datei)
            self.assertIn(art, ("line", "yes", "no"), text)


class Nachweise(unittest.TestCase):
    """Which results of scripts/soak count."""

    def setUp(self):
        self.ordner = self.enterContext(tempfile.TemporaryDirectory())
        self.git("init", "-q")
        self.schreibe("produkt/a.cpp", "eins")
        self.schreibe("produkt/anders/b.cpp", "eins")
        self.erster = self.lege_fest()

    def git(self, *argumente):
        name = ("-c", "user.name=hallkorb", "-c", "user.email=hallkorb@localhost")
        return subprocess.run(["git", *name, "-C", self.ordner, *argumente], check=True, capture_output=True,
                              text=True).stdout.strip()

    def schreibe(self, name, inhalt):
        os.makedirs(os.path.dirname(os.path.join(self.ordner, name)), exist_ok=True)
        with open(os.path.join(self.ordner, name), "w", encoding="ascii") as datei:
            datei.write(inhalt)

    def lege_fest(self):
        self.git("add", "--all")
        self.git("commit", "-q", "-m", "Stand")
        return self.git("rev-parse", "--short", "HEAD")

    def gilt(self, commit):
        return ausdauer.unveraendert(commit, ("produkt", ":(exclude)produkt/anders"), self.ordner)

    def test_eine_aenderung_des_produkts_macht_sie_ungueltig(self):
        self.schreibe("docs/a.md", "neu")
        self.schreibe("produkt/anders/b.cpp", "zwei")
        self.lege_fest()
        self.assertTrue(self.gilt(self.erster))
        self.assertFalse(self.gilt(self.erster + "+"))
        self.schreibe("produkt/a.cpp", "zwei")
        self.assertFalse(self.gilt(self.erster))
        zweiter = self.lege_fest()
        self.assertFalse(self.gilt(self.erster))
        self.assertTrue(self.gilt(zweiter))
        self.assertFalse(self.gilt("0123456"))

    def test_ein_fehlschlag_ersetzt_den_erfolg(self):
        with (unittest.mock.patch.object(ausdauer, "ERGEBNISSE", os.path.join(self.ordner, "soak.json")),
              unittest.mock.patch.object(ausdauer, "BEHALTEN", os.path.join(self.ordner, "docs.json"))):
            def mit(probe):
                nachweis = ausdauer.NACHWEISE["files"]._replace(probe=probe)
                with unittest.mock.patch.dict(ausdauer.NACHWEISE, {"files": nachweis}), \
                        unittest.mock.patch("sys.stdout", io.StringIO()):
                    return ausdauer.lauf(["files"], "quick"), ausdauer.tabelle(ausdauer.ergebnisse(), ["files"])

            def scheitert(_form):
                raise ausdauer.Gescheitert("so")
            status, tabelle = mit(lambda form: ("7 recordings", "nothing"))
            self.assertEqual(status, 0)
            self.assertIn("7 recordings. Lost: nothing. (", tabelle)
            status, tabelle = mit(scheitert)
            self.assertEqual(status, 1)
            self.assertNotIn("7 recordings", tabelle)
            self.assertIn("**FAILED** (", tabelle)
