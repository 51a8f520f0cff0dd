"""All the ways in which a recording ends."""

import os
import signal
import time

import lauf
import signale

PROMPT = 2.0  # seconds that a stop may take


class Stopp(lauf.Fall):

    def laufend(self, *argumente, **mehr):
        """A recording in which both channels carry sound."""
        self.klang = os.path.join(self.ordner, "klang.wav")
        ton = signale.rauschen(30.0, 3)
        signale.schreibe(self.klang, ton, ton)
        aufnahme = self.lauf(*argumente, **mehr)
        self.raum.spiele(self.klang, "speakers")
        self.raum.spiele(self.klang, "mic-feed")
        return aufnahme

    def pruefe_dateien(self, aufnahme):
        """Exactly the announced chunks are there, all whole, and they cover the microphone's file
        but for the silence before the sound."""
        namen = sorted(os.path.basename(satz["path"]) for satz in aufnahme.chunks())
        self.assertEqual(self.dateien(), [*namen, "mikro_roh.wav"])
        for name in namen:
            self.assertGreater(len(signale.lies_ganz(os.path.join(self.aufnahme, name))), 0)
        roh = signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))
        self.assertGreater(len(roh), 0)
        return roh

    def pruefe_rest(self, aufnahme, roh):
        """The last chunk of the microphone reaches to the end of its timeline."""
        self.assertAlmostEqual(aufnahme.chunks("me")[-1]["t1"], len(roh) / signale.ZIEL, delta=0.0051)

    def test_sigint(self):
        aufnahme = self.laufend()
        aufnahme.gestartet()
        aufnahme.chunk("me")
        aufnahme.chunk("them")
        self.assertLess(aufnahme.stoppe(signal.SIGINT), PROMPT)
        self.pruefe_rest(aufnahme, self.pruefe_dateien(aufnahme))

    def test_sigterm(self):
        aufnahme = self.laufend()
        aufnahme.gestartet()
        aufnahme.chunk("me")
        self.assertLess(aufnahme.stoppe(signal.SIGTERM), PROMPT)
        self.pruefe_rest(aufnahme, self.pruefe_dateien(aufnahme))

    def test_zweites_sigint_waehrend_des_stopps(self):
        aufnahme = self.laufend()
        aufnahme.gestartet()
        aufnahme.chunk("me")
        aufnahme.sende(signal.SIGINT)
        aufnahme.sende(signal.SIGTERM)
        aufnahme.meldung("Stop — schreibe Rest-Chunks")
        while aufnahme.prozess.poll() is None:  # as an impatient user does
            aufnahme.sende(signal.SIGINT)
            time.sleep(0.001)
        self.assertEqual(aufnahme.ende(), 0)
        aufnahme.pruefe_schluss()
        self.pruefe_rest(aufnahme, self.pruefe_dateien(aufnahme))

    def test_sigint_gleich_nach_dem_start(self):
        # At 50 ms the start of the captures is under way; the other times hit what lies around it.
        for verzug in (0.0, 0.005, 0.02, 0.05, 0.1):
            with self.subTest(verzug=verzug):
                ordner = os.path.join(self.ordner, f"nach{verzug}")
                aufnahme = self.lauf(ordner=ordner)
                if verzug:
                    time.sleep(verzug)
                else:
                    # Before this the program has not even begun, and a signal ends it as any other.
                    self.warte_bis(lambda: os.path.isdir(ordner), "output folder")
                aufnahme.sende(signal.SIGINT)
                status = aufnahme.ende(PROMPT)
                if status == -signal.SIGINT and verzug < 0.05:
                    continue
                self.assertEqual(status, 0, aufnahme.alles())
                aufnahme.pruefe_schluss()
                signale.lies_ganz(os.path.join(ordner, "mikro_roh.wav"))

    def test_stopp_vor_dem_ersten_chunk_schreibt_den_rest(self):
        aufnahme = self.laufend("--max", "60")
        aufnahme.gestartet()
        roh = os.path.join(self.aufnahme, "mikro_roh.wav")
        self.warte_bis(lambda: os.path.getsize(roh) > 2 * 16000, "a second of sound")
        self.assertEqual(aufnahme.chunks(), [])
        self.assertLess(aufnahme.stoppe(), PROMPT)
        self.assertEqual([(satz["channel"], satz["chunk"]) for satz in aufnahme.chunks()],
                         [("them", 0), ("me", 0)])
        self.pruefe_rest(aufnahme, self.pruefe_dateien(aufnahme))

    def test_leser_der_standardausgabe_ist_weg(self):
        aufnahme = self.laufend(lies_stdout=False)
        roh = os.path.join(self.aufnahme, "mikro_roh.wav")
        self.warte_bis(lambda: os.path.exists(roh) and os.path.getsize(roh) > 2 * 16000,
                       "a second of sound")
        aufnahme.prozess.stdout.close()
        # At once, and not only when the next line is due.
        self.assertEqual(aufnahme.ende(PROMPT), 0, aufnahme.alles())
        self.assertEqual(aufnahme.diagnosen("Stop — schreibe Rest-Chunks"), 1)
        signale.lies_ganz(roh)
        for kanal in ("me", "them"):
            chunks = self.dateien(f"chunk_{kanal}_")
            self.assertGreaterEqual(len(chunks), 1)
            for name in chunks:
                signale.lies_ganz(os.path.join(self.aufnahme, name))
        self.assertEqual(self.dateien("."), [])

    def test_kill_9(self):
        aufnahme = self.laufend()
        aufnahme.gestartet()
        roh = os.path.join(self.aufnahme, "mikro_roh.wav")
        # Past the second update of the header, and some seconds on.
        self.warte_bis(lambda: os.path.getsize(roh) > 44 + 2 * 16000 * 13, "13 s of sound", 30.0)
        aufnahme.sende(signal.SIGKILL)
        self.assertEqual(aufnahme.ende(), -signal.SIGKILL)
        _, _, erklaert, vorhanden = signale.lies(roh)
        self.assertGreaterEqual(erklaert, 2 * 16000 * 5)
        self.assertLessEqual(erklaert, vorhanden)
        self.assertLessEqual(vorhanden - erklaert, 2 * 16000 * 5.5)
        self.assertGreaterEqual(len(aufnahme.chunks("me")), 2)
        for satz in aufnahme.chunks():
            laenge = len(signale.lies_ganz(satz["path"])) / signale.ZIEL
            self.assertAlmostEqual(satz["t1"] - satz["t0"], laenge, delta=0.0101)
