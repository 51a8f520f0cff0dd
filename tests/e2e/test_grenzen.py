"""Limits of the system that are reached while a recording starts or runs."""

import itertools
import os
import resource
import subprocess
import sys
import unittest

import film
import lauf
import prozesse
import signale
import test_video

KEIN_THREAD = "das System gibt keinen Thread mehr her"


# Holds many more threads than the limit allows, until its input ends.
FUELLER = """
import sys, threading
for _ in range(100):
    threading.Thread(target=sys.stdin.read, daemon=True).start()
print("voll", flush=True)
sys.stdin.read()
"""


class Begrenzt(test_video.Fensterfall):

    def pruefe_ende(self, aufnahme):
        """With a limit from its start on, a recording runs with what it gets, or ends with its line; and
        nothing else. Returns its status."""
        aufnahme.aus.warte(lambda text: '"started"' in text or '"error"' in text, 60.0)
        if aufnahme.ereignisse("started"):
            # The video has begun by then, or has failed.
            aufnahme.diagnose.warte(lambda text: "] Bild: " in text or "] Video-" in text, 60.0)
            if aufnahme.ereignisse("started")[0]["mic"]:
                aufnahme.warte_aufnahme(1.0, 60.0)
            aufnahme.sende()
        status = aufnahme.ende(60.0)
        self.assertIn(status, (0, 2), aufnahme.alles())
        self.assertEqual(aufnahme.diagnosen("Ausnahme"), 0, aufnahme.alles())
        if status == 0:
            aufnahme.pruefe_schluss()
        else:
            self.assertEqual(len(aufnahme.ereignisse("error")), 1, aufnahme.alles())
            self.assertGreaterEqual(len(aufnahme.diagnose.texte()), 1)
        return status


@unittest.skipUnless(os.geteuid() == 0, "needs a user of its own")
class Faeden(Begrenzt):
    """The program gets no more threads, since others of its user have them all. The limit does not hold
    for root: the program is another user, with root's right to the files and sockets of the test."""

    GRENZE = 80

    def setUp(self):
        super().setUp()
        rechte = "+dac_override,+dac_read_search"
        self.fremd = ["setpriv", "--reuid", str(40000 + os.getpid() % 20000), "--inh-caps", rechte,
                      "--ambient-caps", rechte, "--"]
        self.fueller = None

    def aufnehmen(self, *argumente, video=True):
        aufnahme = self.lauf(*argumente, video=video, umgebung=self.bildschirm.umgebung,
                             vorsatz=["prlimit", f"--nproc={self.GRENZE}", "--", *self.fremd])
        started = aufnahme.gestartet()
        self.assertEqual((started["mic"], started["system"]), (True, True))
        return aufnahme

    def belege(self):
        """From now on there are no threads left."""
        self.fueller = prozesse.starte([*self.fremd, sys.executable, "-c", FUELLER], bufsize=0,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.gib_frei)
        self.assertEqual(self.fueller.stdout.readline(), b"voll\n")

    def gib_frei(self):
        self.fueller.kill()
        self.fueller.wait()
        for strom in (self.fueller.stdin, self.fueller.stdout):
            strom.close()

    def einmal(self, grenze):
        """A recording whose user may have only so many threads from its start on. Returns its status."""
        return self.pruefe_ende(self.lauf(ordner=f"{self.aufnahme}-{grenze}", video=True, echo=True,
                                          umgebung=self.bildschirm.umgebung, protokoll=True,
                                          vorsatz=["prlimit", f"--nproc={grenze}", "--", *self.fremd]))

    def test_ton(self):
        aufnahme = self.aufnehmen(video=False)
        self.belege()
        aufnahme.warte_aufnahme(6.0)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.pruefe_ton(aufnahme)
        self.assertEqual(aufnahme.diagnosen(KEIN_THREAD), 0)

    def test_laufendes_bild(self):
        """What runs goes on: checks of the screen, switches, the stop and the file."""
        self.oeffne("Meet – abc-defg-hij", test_video.CHROME, "chrome")
        aufnahme = self.aufnehmen()
        self.wechsel(aufnahme, 0, "video_start")
        aufnahme.warte_aufnahme(1.0)  # pictures come, so the encoder runs
        self.belege()
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        self.assertEqual(self.wechsel(aufnahme, 1)["quelle"], "Zoom · Zoom Meeting")
        aufnahme.warte_aufnahme(3.0)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.pruefe_ton(aufnahme)
        self.assertEqual(len(aufnahme.ereignisse("video")), 1, aufnahme.alles())
        (video,) = aufnahme.ereignisse("video")
        self.assertGreater(video["frames"], 5)
        self.assertEqual(aufnahme.diagnosen(KEIN_THREAD), 0)

    def test_bild_ohne_faden(self):
        """A video that gets no thread has failed, with one line; it begins when there is one."""
        aufnahme = self.aufnehmen("--video-warten", "4")
        self.belege()
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        keins = aufnahme.ereignis("video_none")
        self.assertIn(KEIN_THREAD, keins["message"])
        aufnahme.warte_aufnahme(4.0)
        self.assertEqual(aufnahme.diagnosen(f"Video-Start fehlgeschlagen: {KEIN_THREAD}"), 1,
                         aufnahme.alles())
        self.gib_frei()
        self.wechsel(aufnahme, 1, "video_start")
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.pruefe_ton(aufnahme)

    def test_tonserver_endet(self):
        """Connecting again needs threads: without them it is a failed attempt, and repeated."""
        aufnahme = self.aufnehmen(video=False)
        self.belege()
        self.raum.beende_pipewire()
        aufnahme.meldung("Mikrofon unterbrochen: ")
        self.raum.starte_pipewire()
        self.raum.starte_wireplumber()
        self.gib_frei()
        aufnahme.meldung("Mikrofon wieder da")
        aufnahme.meldung("System-Audio wieder da")
        self.belege()
        self.raum.beende_pipewire()
        aufnahme.meldung("Mikrofon unterbrochen: ", ab=aufnahme.meldung("Mikrofon wieder da"))
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)


class Deskriptoren(test_video.Fensterfall):

    def test_wenige(self):
        """With few descriptors a recording runs with what it gets, or is refused with its line. From six
        on a microphone or a picture that gets none is one that failed."""
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        enden = {}
        for anzahl in (8, 12, 16, 24, 32, 40, 48, 56, 64, 80):
            aufnahme = self.lauf(ordner=f"{self.aufnahme}-{anzahl}", video=True, echo=True,
                                 umgebung=self.bildschirm.umgebung, protokoll=True,
                                 vorsatz=["prlimit", f"--nofile={anzahl}", "--"])
            aufnahme.aus.warte(lambda text: '"started"' in text or '"error"' in text)
            if aufnahme.ereignisse("started"):
                aufnahme.diagnose.warte(lambda text: "] Bild: " in text or "] Video-" in text)
                if aufnahme.ereignisse("started")[0]["mic"]:
                    aufnahme.warte_aufnahme(1.0)
                aufnahme.sende()
            enden[anzahl] = aufnahme.ende()
            self.assertIn(enden[anzahl], (0, 2), f"{anzahl} descriptors\n{aufnahme.alles()}")
            if enden[anzahl] == 0:
                aufnahme.pruefe_schluss()
            else:
                self.assertEqual(len(aufnahme.ereignisse("error")), 1, aufnahme.alles())
                self.assertGreaterEqual(len(aufnahme.diagnose.texte()), 1)
        self.assertEqual(enden[80], 0)
        (started,) = aufnahme.ereignisse("started")
        self.assertEqual((started["mic"], started["system"]), (True, True))


class ImLauf(test_video.Fensterfall):
    """Limits that are set while a recording with everything runs, and taken back."""

    LANG = True

    def aufnehmen(self):
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        for geraet, saat in (("speakers", 1), ("mic-feed", 2)):
            datei = os.path.join(self.ordner, geraet + ".wav")
            signale.schreibe(datei, signale.rauschen(120.0, saat))
            self.raum.spiele(datei, geraet)
        aufnahme = self.lauf("--legacy-chunks", "--chunk", "1", video=True, echo=True,
                             umgebung=self.bildschirm.umgebung)
        aufnahme.gestartet()
        aufnahme.ereignis("video_start")
        aufnahme.chunk("me")
        return aufnahme

    @staticmethod
    def begrenze(aufnahme, was, wert):
        """The soft limit; returns what it was."""
        bisher = resource.prlimit(aufnahme.prozess.pid, was)
        resource.prlimit(aufnahme.prozess.pid, was, (wert, bisher[1]))
        return bisher[0]

    def pruefe_danach(self, aufnahme, verloren):
        """The recording is whole again: chunks come, and the end is orderly. Each chunk was announced or
        reported as lost."""
        for kanal in ("me", "them"):
            aufnahme.chunk(kanal, len(aufnahme.chunks(kanal)) + verloren + 2)
        aufnahme.stoppe(frist=60.0)
        self.pruefe_ton(aufnahme)
        self.assertEqual(aufnahme.diagnosen("Bloecke verloren"), 0, aufnahme.alles())
        for kanal in ("me", "them"):
            chunks = aufnahme.chunks(kanal)
            gemeldet = aufnahme.diagnosen(f"WAV-Schreibfehler ({kanal} #")
            self.assertEqual(len(chunks) + gemeldet, chunks[-1]["chunk"] + 1, aufnahme.alles())
            for satz in chunks:
                signale.lies_ganz(satz["path"])
        roh = signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))
        self.assertGreaterEqual(len(roh) / signale.ZIEL, aufnahme.chunks("me")[-1]["t1"] - 0.01)

    def test_deskriptoren(self):
        """No further descriptor: chunks are lost with their line, what is open goes on."""
        aufnahme = self.aufnehmen()
        offen = {int(name) for name in os.listdir(f"/proc/{aufnahme.prozess.pid}/fd")}
        # The first that is free: whatever is opened gets a number that is not allowed.
        bisher = self.begrenze(aufnahme, resource.RLIMIT_NOFILE, min(set(range(len(offen) + 1)) - offen))
        aufnahme.meldung("WAV-Schreibfehler (them #")
        aufnahme.meldung("WAV-Schreibfehler (me #")
        aufnahme.warte_aufnahme(3.0)
        self.begrenze(aufnahme, resource.RLIMIT_NOFILE, bisher)
        self.pruefe_danach(aufnahme, aufnahme.diagnosen("WAV-Schreibfehler ("))
        self.assertEqual(len(aufnahme.ereignisse("video")), 1, aufnahme.alles())

    def test_dateigroesse(self):
        """The raw file may not grow: its samples are lost with their line, and their place stays silent."""
        aufnahme = self.aufnehmen()
        roh = os.path.join(aufnahme.ordner, "mikro_roh.wav")
        bisher = self.begrenze(aufnahme, resource.RLIMIT_FSIZE, os.path.getsize(roh) + 4096)
        aufnahme.meldung("mikro_roh.wav: Schreibfehler: ")
        aufnahme.chunk("me", len(aufnahme.chunks("me")) + 2)
        self.begrenze(aufnahme, resource.RLIMIT_FSIZE, bisher)
        aufnahme.meldung("mikro_roh.wav: Schreiben geht wieder, ")
        self.pruefe_danach(aufnahme, 0)


class Standardstroeme(lauf.Fall):

    def test_geschlossen(self):
        """Whichever of the three is closed at the start, no file of the recording takes its number: what
        is meant for the host never gets into one."""
        for geschlossen in itertools.product((False, True), repeat=3):
            zu = [str(nummer) for nummer, weg in enumerate(geschlossen) if weg]
            ordner = f"{self.aufnahme}-{''.join(zu)}"
            befehl = f"exec \"$@\" {' '.join(nummer + '>&-' for nummer in zu)}"
            aufnahme = self.lauf(ordner=ordner, vorsatz=["bash", "-c", befehl, "bash"])
            self.warte_bis(lambda: aufnahme.aufgenommen() > 1.5, "sound", 60.0)
            for nummer in zu:
                ziel = os.readlink(f"/proc/{aufnahme.prozess.pid}/fd/{nummer}")
                self.assertEqual(ziel, "/dev/null")
            aufnahme.sende()
            self.assertEqual(aufnahme.ende(60.0), 0, aufnahme.alles())
            for name in self.dateien(ordner=ordner):
                signale.lies_ganz(os.path.join(ordner, name))


class Pfade(lauf.Fall):

    def test_laengen(self):
        """Up to the system's limits everything is recorded; beyond them a line says what is lost."""
        name_max = os.pathconf(self.ordner, "PC_NAME_MAX")
        pfad_max = os.pathconf(self.ordner, "PC_PATH_MAX")
        faelle = {"name": os.path.join(self.ordner, "n" * name_max)}
        tief = self.ordner
        rest = 60  # for the names of the files, finished and not
        while pfad_max - rest - len(tief) > 250:
            tief += "/" + "t" * 200
        faelle["pfad"] = tief + "/" + "p" * (pfad_max - rest - len(tief) - 1)
        for was, ordner in faelle.items():
            aufnahme = self.lauf(ordner=ordner)
            aufnahme.gestartet()
            aufnahme.warte_aufnahme(1.5)
            aufnahme.stoppe()
            self.assertEqual(aufnahme.diagnosen("fehler"), 0, f"{was}\n{aufnahme.alles()}")
            self.assertIn("mikro_roh.wav", self.dateien(ordner=ordner))
        for was, ordner in {"name": faelle["name"] + "n", "pfad": tief + "/p" * 200}.items():
            aufnahme = self.lauf(ordner=ordner)
            aufnahme.gestartet()
            aufnahme.meldung("mikro_roh.wav kann nicht angelegt werden: ")
            aufnahme.stoppe()


class Dateigroesse(test_video.Fensterfall):

    def test_dateigroesse(self):
        """Files that may not grow beyond a limit cost what is beyond it, each with its line; the recording
        goes on to its orderly end. PipeWire's memory counts as a file, too: with a limit below it there is
        no sound, which is reported."""
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        for kib, status in ((1, 2), (80, 0)):
            self.assertEqual(self.einmal(kib), status)

    def einmal(self, kib):
        ordner = f"{self.aufnahme}-{kib}"
        aufnahme = self.lauf("--legacy-chunks", "--chunk", "3", ordner=ordner, video=True,
                             umgebung=self.bildschirm.umgebung,
                             vorsatz=["prlimit", f"--fsize={kib << 10}", "--"])
        aufnahme.aus.warte(lambda text: '"started"' in text or '"error"' in text, 60.0)
        if aufnahme.ereignisse("error"):
            return aufnahme.ende(60.0)
        # A chunk of 3 s has 96000 bytes, with some more or less; the raw file gets there in 7 s.
        aufnahme.meldung("mikro_roh.wav: Schreibfehler: ", 60.0)
        if kib < 64:
            aufnahme.meldung("WAV-Schreibfehler (me #", 60.0)
        elif kib > 128:
            aufnahme.chunk("me", 1, 60.0)
        aufnahme.stoppe(frist=60.0)
        for satz in aufnahme.ereignisse("video"):
            film.Film(satz["path"])
        self.pruefe_dateigroesse(aufnahme, kib << 10)
        return 0


class Speicher(Begrenzt):

    @unittest.skipIf("LLVM_PROFILE_FILE" in os.environ, "what counts the lines takes address space without asking")
    def test_adressraum(self):
        """A recording with little address space runs, or ends with its line."""
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        enden = [self.einmal(mib) for mib in (*range(150, 401, 50), 4000)]
        self.assertEqual(enden[-1], 0)

    def einmal(self, mib):
        return self.pruefe_ende(self.lauf(ordner=f"{self.aufnahme}-{mib}", video=True, echo=True,
                                          umgebung=self.bildschirm.umgebung,
                                          vorsatz=["prlimit", f"--as={mib << 20}", "--"]))
