"""Numbers on the command line that make no sense."""

import os
import signal

import lauf
import signale

GENUG_KIB = 200 * 1024


class Unmoeglich(lauf.Fall):
    """Values that fit no sample count: one German line that names the option, then SIGABRT."""

    MIT_TONANLAGE = False

    def pruefe(self, option, wert):
        aufnahme = self.lauf(option, wert, umgebung=self.ohne_dienst())
        self.assertEqual(aufnahme.ende(), -signal.SIGABRT, aufnahme.alles())
        self.assertEqual(aufnahme.aus.texte(), [])
        zeilen = aufnahme.diagnose.texte()
        self.assertEqual(len(zeilen), 1, zeilen)
        self.assertRegex(zeilen[0], rf"^\[hallkorb\] .*{option}")

    def test_abbruch(self):
        for option, wert in (("--rate", "nan"), ("--rate", "inf"), ("--rate", "-inf"),
                             ("--rate", "1e300"), ("--chunk", "1e300"), ("--chunk", "nan"),
                             ("--chunk", "-inf"), ("--max", "1e300"), ("--max", "nan")):
            with self.subTest(option=option, wert=wert):
                self.pruefe(option, wert)


class Unsinnig(lauf.Fall):
    """Values that fit: the program does what they say, without hanging or eating memory."""

    def pruefe(self, *argumente):
        klang = os.path.join(self.ordner, "klang.wav")
        ton = signale.rauschen(40.0, 12)
        signale.schreibe(klang, ton, ton)
        self.raum.spiele(klang, "speakers")
        self.raum.spiele(klang, "mic-feed")
        aufnahme = self.lauf(*argumente)
        aufnahme.gestartet()
        # For as long as two seconds of sound take, by the player's own clock.
        pruefer = self.raum.starte_programm(
            ["pw-record", "--latency", "1024", "--channels", "1", "--target", "mic",
             os.path.join(self.ordner, "mit.wav")])
        self.addCleanup(pruefer.wait)
        self.addCleanup(pruefer.kill)
        self.warte_bis(lambda: os.path.exists(os.path.join(self.ordner, "mit.wav"))
                       and os.path.getsize(os.path.join(self.ordner, "mit.wav")) > 2 * 48000 * 2,
                       "two seconds of sound")
        self.assertLess(aufnahme.speicher_kib(), GENUG_KIB)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        return aufnahme

    def test_rate_0(self):
        self.assertEqual(self.pruefe("--rate", "0").chunks(), [])

    def test_rate_negativ(self):
        self.assertEqual(self.pruefe("--rate", "-5").chunks(), [])

    def test_rate_winzig(self):
        self.pruefe("--rate", "0.001")

    def test_max_0(self):
        self.assertTrue(self.pruefe("--max", "0").chunks("me"))

    def test_max_negativ(self):
        self.assertTrue(self.pruefe("--max", "-1").chunks("me"))

    def test_chunk_0(self):
        self.assertTrue(self.pruefe("--legacy-chunks", "--chunk", "0").chunks("me"))

    def test_chunk_negativ(self):
        # Nothing is ever cut; all of it is in the last chunk.
        chunks = self.pruefe("--legacy-chunks", "--chunk", "-1").chunks("me")
        self.assertEqual(len(chunks), 1)

    def test_chunk_wenig_negativ(self):
        self.assertTrue(self.pruefe("--legacy-chunks", "--chunk", "-0.5").chunks("me"))
