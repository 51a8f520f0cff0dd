"""A conversation of a minute: what was played is what was recorded, at its place."""

import os

import numpy

import lauf
import signale

SEKUNDEN = 60.0
STILLE = 0.006  # RMS below which a chunk is dropped


class Gespraech(lauf.Fall):

    ALLEIN = True

    def test_eine_minute_beider_kanaele(self):
        fern, nah = signale.gespraech(SEKUNDEN, 1), signale.gespraech(SEKUNDEN, 2)
        dateien = {"them": os.path.join(self.ordner, "fern.wav"),
                   "me": os.path.join(self.ordner, "nah.wav")}
        signale.schreibe(dateien["them"], fern, fern)
        signale.schreibe(dateien["me"], nah)

        self.mehrmals(lambda nummer: self.pruefe(nummer, dateien, fern, nah))

    def pruefe(self, nummer, dateien, fern, nah):
        self.aufnahme = os.path.join(self.ordner, f"aufnahme-{nummer}")
        aufnahme = self.lauf()
        started = aufnahme.gestartet()
        self.assertEqual((started["mic"], started["system"], started["echo"]), (True, True, False))
        spieler = [self.raum.spiele(dateien["them"], "speakers"),
                   self.raum.spiele(dateien["me"], "mic-feed")]
        for prozess in spieler:
            self.assertEqual(prozess.wait(SEKUNDEN + lauf.FRIST), 0)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)

        zeitachse = aufnahme.zeitachse()
        # Without real-time priority a busy machine may lose a block now and then.
        erlaubt_ms = 0 if lauf.konfiguration.darf_echtzeit() else 200
        for kanal in ("them", "me"):
            self.assertLessEqual(zeitachse[kanal]["luecken_ms"], erlaubt_ms, aufnahme.alles())
            if not erlaubt_ms:
                self.assertEqual(zeitachse[kanal]["ueberlappungen"], 0, aufnahme.alles())
            # The first block may begin before time zero; that part of it is dropped.
            self.assertLessEqual(zeitachse[kanal]["verworfen_ms"], erlaubt_ms + 100,
                                 aufnahme.alles())
        roh = signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))
        self.pruefe_zeiten(aufnahme)
        self.pruefe_ausschnitte(aufnahme.chunks("me"), roh)
        self.pruefe_klang(aufnahme, "them", fern)
        self.pruefe_klang(aufnahme, "me", nah)

    def pruefe_zeiten(self, aufnahme):
        """Every file is announced and as long as its line says; no time runs backwards."""
        erwartet = sorted(["mikro_roh.wav"] + [os.path.basename(satz["path"])
                                               for satz in aufnahme.chunks()])
        self.assertEqual(self.dateien(), erwartet)
        for kanal in ("them", "me"):
            saetze = aufnahme.chunks(kanal)
            self.assertGreater(len(saetze), 10)
            self.assertEqual([satz["chunk"] for satz in saetze], list(range(len(saetze))))
            bisher = 0.0
            for satz in saetze:
                self.assertEqual(satz["path"], os.path.join(
                    self.aufnahme, f"chunk_{kanal}_{satz['chunk']:03d}.wav"))
                self.assertGreaterEqual(satz["t0"], bisher)
                laenge = len(signale.lies_ganz(satz["path"])) / signale.ZIEL
                self.assertAlmostEqual(satz["t1"] - satz["t0"], laenge, delta=0.0101)
                bisher = satz["t1"]

    def pruefe_klang(self, aufnahme, kanal, gespielt):
        """The chunks, laid at their t0, are what was played; what is missing between was silent."""
        laeufe = self.laeufe(aufnahme.chunks(kanal))
        ergebnisse = [self.lege_in(vorlage, laeufe) for vorlage in signale.vorlagen(gespielt)]
        aehnlich, gelegt, bedeckt, versatz, vorlage = max(ergebnisse, key=lambda wert: wert[0])
        self.assertGreater(aehnlich, 0.99, kanal)
        self.assertAlmostEqual(signale.pegel(gelegt) / signale.pegel(vorlage), 1.0, delta=0.01)
        self.assertLess(signale.pegel(vorlage[~bedeckt]), STILLE)
        # One lag fits all: t0 is rounded to 10 ms, so it may be off by 5 ms either way.
        self.assertLessEqual(max(versatz) - min(versatz), 160, versatz)

    @staticmethod
    def laeufe(saetze):
        """Chunks that follow each other without a break, joined: (t0 of the first, samples)."""
        laeufe, bisher = [], None
        for satz in saetze:
            ton = signale.lies_ganz(satz["path"])
            if satz["t0"] == bisher:
                laeufe[-1] = (laeufe[-1][0], numpy.concatenate([laeufe[-1][1], ton]))
            else:
                laeufe.append((satz["t0"], ton))
            bisher = satz["t1"]
        return laeufe

    @staticmethod
    def lege_in(vorlage, laeufe):
        gelegt, bedeckt, versatz = numpy.zeros(len(vorlage)), numpy.zeros(len(vorlage), bool), []
        for t0, ton in laeufe:
            lage = signale.lage_in(vorlage, ton)
            versatz.append(round(t0 * signale.ZIEL) - lage)
            signale.lege(gelegt, ton, lage)
            signale.lege(bedeckt, numpy.ones(len(ton), bool), lage)
        return signale.korrelation(gelegt, vorlage), gelegt, bedeckt, versatz, vorlage

    def pruefe_ausschnitte(self, saetze, roh):
        """Each chunk of the microphone is a piece of the continuous file, at its t0."""
        bisher, bisher_t1 = 0, 0.0
        for satz in saetze:
            ton = signale.lies_ganz(satz["path"])
            nah = round(satz["t0"] * signale.ZIEL)
            anfaenge = [bisher] if satz["t0"] == bisher_t1 else range(nah - 80, nah + 81)
            treffer = [anfang for anfang in anfaenge
                       if numpy.array_equal(roh[anfang:anfang + len(ton)], ton)]
            self.assertEqual(len(treffer), 1, satz)
            # What was dropped before it was silent as a whole.
            self.assertLess(signale.pegel(roh[bisher:treffer[0]]), STILLE, satz)
            bisher, bisher_t1 = treffer[0] + len(ton), satz["t1"]
        self.assertLess(signale.pegel(roh[bisher:]), STILLE)
