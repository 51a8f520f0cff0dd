"""A conversation of a minute: what was played is what was recorded, at its place."""

import os

import numpy

import lauf
import signale

SEKUNDEN = 60.0
STILLE = 0.006  # RMS below which a chunk is dropped
STUECK = signale.ZIEL // 10  # what is compared at a time
LAUT = 0.02  # RMS of a piece with sound in it
AUSSETZER_MS = 3000


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
        # A busy machine loses a block now and then, or is halted for a moment.
        for kanal in ("them", "me"):
            self.assertLessEqual(zeitachse[kanal]["luecken_ms"], AUSSETZER_MS, aufnahme.alles())
            # The first block may begin before time zero; that part of it is dropped.
            self.assertLessEqual(zeitachse[kanal]["verworfen_ms"], 300, aufnahme.alles())
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
        """The chunks, laid at their t0, are what was played, piece by piece: a player that misses its
        turn leaves a hole, and what it plays afterwards is late by that."""
        ergebnisse = [self.vergleiche(vorlage, aufnahme.chunks(kanal))
                      for vorlage in signale.vorlagen(gespielt)]
        gut, gespielt_pegel, gehoert_pegel, versatz, vorlage = max(ergebnisse, key=lambda wert: wert[0])
        laut = sum(signale.pegel(vorlage[ab:ab + STUECK]) > LAUT
                   for ab in range(0, len(vorlage) - STUECK, STUECK))
        self.assertGreater(gut, 0.5 * laut, kanal)
        self.assertAlmostEqual(gehoert_pegel / gespielt_pegel, 1.0, delta=0.01)
        # t0 is rounded to 10 ms, so it may be off by 5 ms either way.
        mitte = numpy.median(versatz)
        self.assertGreater(sum(abs(wert - mitte) <= AUSSETZER_MS * 16 for wert in versatz),
                           0.9 * len(versatz), versatz)
        sprunglos = sum(abs(b - a) <= 160 for a, b in zip(versatz, versatz[1:]))
        self.assertGreater(sprunglos, 0.6 * len(versatz), versatz)

    @staticmethod
    def vergleiche(vorlage, saetze):
        """How many pieces of the chunks are found in `vorlage`; the levels of both; by how much each one is
        later than it was played."""
        gehoert, gespielt, versatz = [], [], []
        for satz in saetze:
            ton = signale.lies_ganz(satz["path"])
            t0 = round(satz["t0"] * signale.ZIEL)
            for ab in range(0, len(ton) - STUECK + 1, STUECK):
                stueck = ton[ab:ab + STUECK]
                if signale.pegel(stueck) < LAUT:
                    continue
                # Near the last one, or anywhere while none has been found.
                von = max(0, t0 + ab - versatz[-1] - signale.ZIEL) if versatz else 0
                bis = von + STUECK + 2 * signale.ZIEL if versatz else len(vorlage)
                lage = von + signale.lage_in(vorlage[von:bis], stueck)
                soll = vorlage[max(lage, 0):lage + STUECK]
                if lage >= 0 and len(soll) == STUECK and signale.korrelation(soll, stueck) > 0.98:
                    gehoert.append(stueck)
                    gespielt.append(soll)
                    versatz.append(t0 + ab - lage)
        if not versatz:
            return 0, 1.0, 0.0, [0], vorlage
        return (len(versatz), signale.pegel(numpy.concatenate(gespielt)),
                signale.pegel(numpy.concatenate(gehoert)), versatz, vorlage)

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
