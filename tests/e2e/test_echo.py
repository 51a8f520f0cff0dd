"""The far end's voice that leaks from the speakers into the microphone: heard, and taken out."""

import os

import numpy

import lauf
import signale
import voices


SEKUNDEN = 66


class Leck(lauf.Fall):

    def test_minute_mit_leck(self):
        fern, mikro, nah = (spur[:SEKUNDEN * signale.RATE] for spur in voices.baue_spuren())
        dateien = os.path.join(self.ordner, "fern.wav"), os.path.join(self.ordner, "mikro.wav")
        signale.schreibe(dateien[0], fern, fern)
        signale.schreibe(dateien[1], mikro)

        self.mehrmals(lambda nummer: self.pruefe(nummer, dateien, fern, mikro, nah))

    def pruefe(self, nummer, dateien, fern, mikro, nah):
        self.aufnahme = os.path.join(self.ordner, f"aufnahme-{nummer}")
        aufnahme = self.lauf(echo=True)
        self.assertTrue(aufnahme.gestartet()["echo"])
        spieler = [self.raum.spiele(dateien[0], "speakers"), self.raum.spiele(dateien[1], "mic-feed")]
        for prozess in spieler:
            self.assertEqual(prozess.wait(len(fern) / signale.RATE + lauf.FRIST), 0)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)

        (echo,) = aufnahme.ereignisse("echo")
        # The room's 40 ms, and what the two players' starts lie apart.
        self.assertGreater(echo["verzoegerung_ms"], 30.0)
        self.assertLess(echo["verzoegerung_ms"], 600.0)
        self.assertGreater(echo["leck"], 0.02)
        self.assertLess(echo["leck"], 0.5)
        self.assertEqual(echo["ausfaelle"], 0)
        for kanal, erwartet in (("me", True), ("them", False)):
            saetze = aufnahme.chunks(kanal)
            self.assertGreater(len(saetze), 5)
            for satz in saetze:
                self.assertEqual("sprache_ms" in satz, erwartet, satz)
                if erwartet:
                    self.assertGreater(satz["sprache_ms"], 0)
                    self.assertLessEqual(satz["sprache_ms"], 1000 * (satz["t1"] - satz["t0"]) + 20)
        self.pruefe_klang(aufnahme, fern, mikro, nah)

    def pruefe_klang(self, aufnahme, fern, mikro, nah):
        """Where only the far end speaks, next to nothing of it is left in the chunks; where only the
        near end does, it is as loud as it was."""
        roh = signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))
        mitte = signale.vorlagen(mikro)[0]
        lage = signale.lage_in(roh, mitte)
        sauber = numpy.zeros(len(roh) + signale.ZIEL)
        for satz in aufnahme.chunks("me"):
            signale.lege(sauber, signale.lies_ganz(satz["path"]), round(satz["t0"] * signale.ZIEL))

        laut_fern, laut_nah = (self.laut(signale.vorlagen(spur)[0]) for spur in (fern, nah))
        spaet = numpy.arange(len(laut_fern)) > 20 * signale.ZIEL  # after it has settled
        nur_fern = numpy.flatnonzero(laut_fern & ~laut_nah & spaet) + lage
        nur_nah = numpy.flatnonzero(laut_nah & ~laut_fern & spaet) + lage
        for stellen in (nur_fern, nur_nah):
            self.assertGreater(len(stellen), 4 * signale.ZIEL)
        rest_db = 20 * numpy.log10(signale.pegel(sauber[nur_fern]) / signale.pegel(roh[nur_fern]))
        self.assertLess(rest_db, -15.0)
        verlust_db = 20 * numpy.log10(signale.pegel(sauber[nur_nah]) / signale.pegel(roh[nur_nah]))
        self.assertGreater(verlust_db, -2.0)
        self.assertLess(verlust_db, 1.0)

    @staticmethod
    def laut(spur):
        """Where a voice is, its pauses within a sentence and 0.3 s around it included."""
        fenster = round(0.3 * signale.ZIEL)
        summe = numpy.cumsum(numpy.pad(spur ** 2, (fenster + 1, fenster)))
        energie = (summe[2 * fenster:] - summe[:-2 * fenster]) / (2 * fenster)
        return energie[:len(spur)] > 1e-5
