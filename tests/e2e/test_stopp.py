"""All the ways in which a recording ends."""

import os
import random
import signal
import subprocess
import time

import lauf
import signale

STILLE = 0.006  # RMS below which a chunk is dropped


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
        """The last chunk of the microphone reaches to the end of its timeline, or to where a player that
        missed its turn left silence."""
        rest = roh[round((aufnahme.chunks("me")[-1]["t1"] + 0.0051) * signale.ZIEL):]
        self.assertLess(signale.pegel(rest), STILLE)

    def test_sigint(self):
        aufnahme = self.laufend()
        aufnahme.gestartet()
        aufnahme.chunk("me")
        aufnahme.chunk("them")
        self.assertLess(aufnahme.stoppe(signal.SIGINT), lauf.PROMPT)
        self.pruefe_rest(aufnahme, self.pruefe_dateien(aufnahme))

    def test_sigterm(self):
        aufnahme = self.laufend()
        aufnahme.gestartet()
        aufnahme.chunk("me")
        self.assertLess(aufnahme.stoppe(signal.SIGTERM), lauf.PROMPT)
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

    def test_stopp_vor_dem_ersten_chunk_schreibt_den_rest(self):
        aufnahme = self.laufend("--max", "60")
        aufnahme.gestartet()
        aufnahme.warte_klang()
        self.assertEqual(aufnahme.chunks(), [])
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.assertEqual([(satz["channel"], satz["chunk"]) for satz in aufnahme.chunks()],
                         [("them", 0), ("me", 0)])
        self.pruefe_rest(aufnahme, self.pruefe_dateien(aufnahme))

    def test_leser_der_standardausgabe_ist_weg(self):
        aufnahme = self.laufend(lies_stdout=False)
        roh = os.path.join(self.aufnahme, "mikro_roh.wav")
        aufnahme.warte_klang()
        aufnahme.prozess.stdout.close()
        # At once, and not only when the next line is due.
        self.assertEqual(aufnahme.ende(lauf.PROMPT), 0, aufnahme.alles())
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
        self.pruefe_sigkill(aufnahme)


class Anfang(lauf.Fall):
    """A stop in the first moments of a recording."""

    def stoppe_nach(self, verzug, nummer, **mehr):
        """A signal `verzug` seconds after the kernel has started the program. Returns (the run, its
        status, True when the program had taken over its signals by then)."""
        bereit = []

        def sofort(prozess):
            ende = time.perf_counter() + verzug
            while time.perf_counter() < ende:
                pass
            bereit.append(lauf.signalmaske(prozess, "SigBlk", nummer))
            prozess.send_signal(nummer)

        ordner = os.path.join(self.ordner, f"{verzug:.7f}")
        aufnahme = self.lauf(ordner=ordner, sofort=sofort, **mehr)
        return aufnahme, aufnahme.ende(), bereit[0]

    def pruefe_ordentlich(self, aufnahme, status):
        self.assertEqual(status, 0, aufnahme.alles())
        aufnahme.pruefe_schluss()
        signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))

    def test_signal_in_jedem_moment(self):
        zufall = random.Random(11)
        ordentlich = 0
        for i in range(48):
            verzug = 0.0005 * 200 ** (i / 47 * zufall.uniform(0.97, 1.0))  # 0.5 to 100 ms
            with self.subTest(verzug=verzug):
                nummer = zufall.choice([signal.SIGINT, signal.SIGTERM])
                aufnahme, status, bereit = self.stoppe_nach(verzug, nummer)
                if status == -nummer and not bereit:
                    # The dynamic linker's time: nothing has happened yet, and nothing is left behind.
                    self.assertEqual(aufnahme.alles(), "stdout:\nstderr:")
                    self.assertFalse(os.path.exists(aufnahme.ordner))
                    continue
                ordentlich += 1
                self.pruefe_ordentlich(aufnahme, status)
        self.assertGreater(ordentlich, 0)

    def test_signal_das_der_wirt_haelt(self):
        # A host that starts the program with the signals blocked loses none, not even the first.
        zufall = random.Random(12)
        for i in range(16):
            verzug = i / 16 * 0.004 * zufall.uniform(0.9, 1.0)
            with self.subTest(verzug=verzug):
                nummer = zufall.choice([signal.SIGINT, signal.SIGTERM])
                aufnahme, status, _ = self.stoppe_nach(verzug, nummer,
                                                       gehalten=(signal.SIGINT, signal.SIGTERM))
                self.pruefe_ordentlich(aufnahme, status)

    def test_vor_der_ersten_anweisung_wird_nur_die_c_bibliothek_geladen(self):
        # Each further library is time in which a signal kills.
        kopf = subprocess.run(["readelf", "--dynamic", "--wide", lauf.PROGRAMM], check=True,
                              stdout=subprocess.PIPE, text=True).stdout
        namen = {zeile.split("[")[1].rstrip("]").split(".")[0]
                 for zeile in kopf.splitlines() if "(NEEDED)" in zeile}
        self.assertLessEqual({"libc"}, namen)
        self.assertLessEqual(namen, {"libc", "libm", "ld-linux-x86-64", "ld-linux-aarch64"})

    def test_andere_modi_enden_mit_dem_signal(self):
        # Waits for ever: nobody writes into the pipe that it is to read.
        rohr = os.path.join(self.ordner, "rohr")
        os.mkfifo(rohr)
        for gehalten, erwartet in (((), -signal.SIGINT), ((signal.SIGINT,), -signal.SIGKILL)):
            with self.subTest(gehalten=gehalten):
                aufnahme = self.lauf("--fenster-wahl", rohr, gehalten=gehalten)
                with open(rohr, "wb"):  # it reads: so its signals are as they are to be
                    aufnahme.sende(signal.SIGINT)
                    if gehalten:  # what the host holds stays held
                        self.assertTrue(lauf.signalmaske(aufnahme.prozess, "SigBlk", signal.SIGINT))
                        aufnahme.sende(signal.SIGKILL)
                    self.assertEqual(aufnahme.ende(), erwartet)
