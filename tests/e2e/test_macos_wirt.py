"""The program as it is built for macOS and hosts that treat it badly: closed streams, unread lines, one
folder for two recordings, files that cannot be written or not to their end, a process that is halted."""

import contextlib
import itertools
import os
import signal
import sys
import time

import drehbuch
import lauf
import signale
import test_ungelesen

BILD_BYTES = 4096  # that a picture takes in the file


class Wirt(drehbuch.MacFall):

    def beginne(self, *argumente, **mehr):
        aufnahme = self.aufnehmen(*argumente, warte=False, **mehr)
        ton = self.schreibe_klang("ton", signale.rauschen(120.0, 3))
        self.buch.tu("spiele", mikro=ton, system=ton)
        return aufnahme

    def fuelle(self, strom):
        """From now on no further line fits into the pipe."""
        rohr = os.open(f"/proc/self/fd/{strom.fileno()}", os.O_WRONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, rohr)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(rohr, b"\n")

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
        aufnahme = self.beginne("--legacy-chunks", "--chunk", "0.2", lies_stdout=False)
        self.fuelle(aufnahme.prozess.stdout)
        aufnahme.warte_aufnahme(8.0)
        aufnahme.sende()
        self.pruefe_ende(aufnahme)
        roh = signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))
        self.assertGreater(len(roh), 8.0 * signale.ZIEL)
        chunks = [name for name in self.dateien(ordner=aufnahme.ordner) if name.startswith("chunk_me_")]
        self.assertGreater(len(chunks), 30)
        for name in chunks:
            signale.lies_ganz(os.path.join(aufnahme.ordner, name))

    def pruefe_lueckenlos(self, aufnahme):
        for kanal in ("me", "them"):
            self.assertEqual(aufnahme.zeitachse()[kanal]["luecken"], 0, aufnahme.alles())

    def test_leser_schlaeft(self):
        """For a while the host reads nothing, then everything: no line, no block and no moment is missing."""
        aufnahme = self.beginne("--legacy-chunks", "--chunk", "0.2", liest=False, rohr=test_ungelesen.ROHR)
        aufnahme.warte_aufnahme(12.0)
        geschrieben = len(self.dateien("chunk_", aufnahme.ordner))
        aufnahme.lies()
        self.warte_bis(lambda: len(aufnahme.chunks()) >= geschrieben, "the lines that waited")
        self.stoppe_ganz(aufnahme)
        # More than the pipe takes.
        self.assertGreater(sum(len(text) + 1 for text in aufnahme.aus.texte()), 2 * test_ungelesen.ROHR)
        for kanal in ("me", "them"):
            chunks = aufnahme.chunks(kanal)
            self.assertEqual([satz["chunk"] for satz in chunks], list(range(len(chunks))))
            self.assertEqual(self.dateien(f"chunk_{kanal}_", aufnahme.ordner), sorted(
                os.path.basename(satz["path"]) for satz in chunks))
        self.pruefe_lueckenlos(aufnahme)

    def waechst(self, film, bilder):
        """Waits until so many more pictures are in the video."""
        def groesse():
            return os.path.getsize(film) if os.path.exists(film) else 0

        ziel = groesse() + bilder * BILD_BYTES
        self.warte_bis(lambda: groesse() >= ziel, "a video that grows", drehbuch.FRIST)

    def test_voll_vor_dem_start(self):
        """Both pipes are full when the program starts: sound and picture begin all the same."""
        aufnahme = self.beginne(video=True, liest=False, rohr=test_ungelesen.ROHR,
                                vorher=[("fenster", drehbuch.ZOOM)],
                                vorsatz=[sys.executable, "-c", test_ungelesen.VOLL])
        self.waechst(os.path.join(aufnahme.ordner, "video.mp4"), 10)
        aufnahme.warte_aufnahme(2.0)
        for strom in (aufnahme.prozess.stdout, aufnahme.prozess.stderr):
            self.assertEqual(strom.read(test_ungelesen.ROHR), b"\n" * test_ungelesen.ROHR)
        aufnahme.lies()
        aufnahme.ereignis("video_start", drehbuch.FRIST)
        self.assertEqual(aufnahme.saetze()[0]["event"], "started")
        self.stoppe_ganz(aufnahme)
        self.pruefe_lueckenlos(aufnahme)
        (video,) = aufnahme.ereignisse("video")
        self.assertGreaterEqual(video["frames"], 10)

    def test_angehalten_und_weiter(self):
        """SIGSTOP, and on again. The stand-ins stand still, too, and then deliver what they owe."""
        aufnahme = self.beginne(video=True, vorher=[("fenster", drehbuch.ZOOM)])
        film = os.path.join(aufnahme.ordner, "video.mp4")
        self.waechst(film, 10)
        aufnahme.warte_aufnahme(1.0)
        anfang = time.monotonic()
        aufnahme.sende(signal.SIGSTOP)
        time.sleep(3.0)  # the fault itself
        aufnahme.sende(signal.SIGCONT)
        aufnahme.warte_aufnahme(4.0)
        still = time.monotonic() - anfang
        self.waechst(film, 10)
        gehalten = self.stoppe_ganz(aufnahme)
        # A microphone that was silent for five seconds is opened again.
        luecken = max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them"))
        self.assertLessEqual(luecken, 1000 * still, aufnahme.alles())
        (video,) = aufnahme.ereignisse("video")
        self.assertEqual(video["frames"], len(gehalten["schreiber"]["zeiten"]))

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

    def test_dateigroesse(self):
        """What is beyond a limit of the files' size is lost, each file with its line; the recording goes on
        to its orderly end."""
        # A chunk of 3 s has 96000 bytes: with the first limit none is whole, with the second one all are.
        for kib, erster in ((64, "WAV-Schreibfehler (me #0): "), (160, None)):
            with self.subTest(kib=kib):
                aufnahme = self.beginne("--legacy-chunks", "--chunk", "3", video=True,
                                        vorher=[("fenster", drehbuch.ZOOM)],
                                        vorsatz=["prlimit", f"--fsize={kib << 10}", "--"])
                aufnahme.meldung("mikro_roh.wav: Schreibfehler: ", drehbuch.FRIST)
                # The system's writer of the video meets the same limit.
                aufnahme.meldung("Video-Schreiber ausgefallen: ", drehbuch.FRIST)
                if erster:
                    aufnahme.meldung(erster, drehbuch.FRIST)
                else:
                    aufnahme.chunk("me", 1, drehbuch.FRIST)
                self.stoppe_ganz(aufnahme)
                self.assertEqual(aufnahme.ereignisse("video"), [])
                self.pruefe_dateigroesse(aufnahme, kib << 10)


    def test_halbe_datei_nie_unter_ihrem_namen(self):
        aufnahme = self.beginne("--max", "1.5")
        aufnahme.ereignis("started")
        self.pruefe_nie_halb(aufnahme.ordner)
        self.stoppe_ganz(aufnahme)
        self.assertEqual(self.dateien(".", aufnahme.ordner), [])

    def test_vorhandene_roehre_als_ziel(self):
        ordner = os.path.join(self.ordner, "mit-roehre")
        pruefe = self.lege_roehre(ordner)
        aufnahme = self.beginne("--out", ordner)
        aufnahme.ordner = ordner
        aufnahme.ereignis("started")
        aufnahme.chunk("me", 1, drehbuch.FRIST)
        self.stoppe_ganz(aufnahme)
        pruefe(aufnahme.chunks("me")[0])

    def test_unsinnige_zahlen(self):
        """The program does what they say, without hanging or eating memory."""
        for argumente in (("--max", "0"), ("--max", "-1"), ("--legacy-chunks", "--chunk", "0"),
                          ("--legacy-chunks", "--chunk", "-1")):
            with self.subTest(argumente=argumente):
                aufnahme = self.beginne(*argumente)
                aufnahme.ereignis("started")
                aufnahme.warte_aufnahme(2.0)
                self.stoppe_ganz(aufnahme)
                self.assertTrue(aufnahme.chunks("me"))


class Schreibschutz(drehbuch.MacFall):
    MIT_MOUNT = True

    def test_nur_lesbarer_ordner(self):
        """A file system that is mounted read-only: permissions do not hold for root."""
        platte = os.path.join(self.ordner, "platte")
        self.haenge_ein(platte, "-o", "ro")
        aufnahme = self.aufnehmen("--legacy-chunks", "--chunk", "1", ordner=platte, video=True,
                                  vorher=[("fenster", drehbuch.ZOOM)])
        ton = self.schreibe_klang("ton", signale.rauschen(120.0, 3))
        self.buch.tu("spiele", mikro=ton, system=ton)
        self.warte_ohne_dateien(aufnahme, drehbuch.FRIST)
        self.stoppe_ganz(aufnahme)
        self.pruefe_ohne_dateien(aufnahme)
        self.assertEqual(aufnahme.ereignisse("video"), [])
        self.assertEqual(self.dateien(ordner=platte), [])
