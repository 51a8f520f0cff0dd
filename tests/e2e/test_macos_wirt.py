"""The program as it is built for macOS and hosts that treat it badly: closed streams, unread lines, one
folder for two recordings."""

import itertools
import os

import drehbuch
import lauf
import signale


class Wirt(drehbuch.MacFall):

    def beginne(self, *argumente, **mehr):
        aufnahme = self.aufnehmen(*argumente, warte=False, **mehr)
        ton = self.schreibe_klang("ton", signale.rauschen(120.0, 3))
        self.buch.tu("spiele", mikro=ton, system=ton)
        return aufnahme

    def test_geschlossene_stroeme(self):
        """Whichever is closed at the start, no file of the recording takes its number."""
        for geschlossen in itertools.product((False, True), repeat=3):
            zu = [str(nummer) for nummer, weg in enumerate(geschlossen) if weg]
            befehl = f"exec \"$@\" {' '.join(nummer + '>&-' for nummer in zu)}"
            aufnahme = self.beginne(vorsatz=["bash", "-c", befehl, "bash"])
            aufnahme.warte_aufnahme(1.0)
            for nummer in zu:
                # The stand-ins open their script before the program begins, and may get a number.
                ziel = os.readlink(f"/proc/{aufnahme.prozess.pid}/fd/{nummer}")
                self.assertIn(ziel, ("/dev/null", self.buch.pfad))
            aufnahme.sende()
            self.pruefe_ende(aufnahme)
            for name in self.dateien(ordner=aufnahme.ordner):
                signale.lies_ganz(os.path.join(aufnahme.ordner, name))

    def test_stopp_vor_dem_ersten_chunk(self):
        aufnahme = self.beginne("--max", "60")
        aufnahme.ereignis("started")
        aufnahme.warte_aufnahme(3.0)
        self.assertEqual(aufnahme.chunks(), [])
        self.stoppe_ganz(aufnahme)
        self.assertEqual([(satz["channel"], satz["chunk"]) for satz in aufnahme.chunks()],
                         [("them", 0), ("me", 0)])

    def test_ungelesene_zeilen(self):
        """A host that does not read loses lines and no sound, and the end comes all the same."""
        aufnahme = self.beginne("--legacy-chunks", "--chunk", "0.2", lies_stdout=False, rohr=4096)
        aufnahme.warte_aufnahme(8.0)
        aufnahme.sende()
        self.pruefe_ende(aufnahme)
        roh = signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))
        self.assertGreater(len(roh), 8.0 * signale.ZIEL)
        chunks = [name for name in self.dateien(ordner=aufnahme.ordner) if name.startswith("chunk_me_")]
        self.assertGreater(len(chunks), 30)
        for name in chunks:
            signale.lies_ganz(os.path.join(aufnahme.ordner, name))

    def test_zweite_aufnahme_in_denselben_ordner(self):
        erste = self.beginne()
        erste.ereignis("started")
        erste.warte_aufnahme(1.0)
        ordner, buch = erste.ordner, self.buch
        daneben = os.path.join(self.ordner, "daneben")
        os.mkdir(daneben)
        self.buch = drehbuch.Drehbuch(self, daneben)
        self.buch.tu("los")
        zweite = self.lauf(ordner=ordner, umgebung=self.buch.umgebung(), programm=drehbuch.PROGRAMM)
        self.assertEqual(zweite.ende(lauf.FRIST), 2, zweite.alles())
        self.assertEqual([satz["event"] for satz in zweite.saetze()], ["error"])
        self.assertIn("schreibt schon eine andere Aufnahme", zweite.saetze()[0]["message"])
        self.buch = buch
        self.stoppe_ganz(erste)

    def test_neuer_ordner_mit_allen_darueber(self):
        aufnahme = self.beginne("--out", os.path.join(self.ordner, "a", "b", "c"))
        aufnahme.ereignis("started")
        aufnahme.ordner = os.path.join(self.ordner, "a", "b", "c")
        aufnahme.warte_aufnahme(1.0)
        self.stoppe_ganz(aufnahme)
        signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))
