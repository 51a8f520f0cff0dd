"""A host that does not read costs neither sound nor picture, and the end no more than five seconds in all.

How long an end takes depends on the machine; how often the recorder waits in it does not. A wait for a reader
lasts a fiftieth of a second at least, so within five seconds there are 250 at most, however many lines wait,
and with one for each line many more.
"""

import os
import sys
import time

import lauf
import signale
import test_ausdauer
import test_video

ROHR = 4096  # bytes, the smallest pipe
KURZ = ("--legacy-chunks", "--chunk", "0.05")  # in silence up to a hundred lines a second
ZEILEN = 700
WARTEZEITEN = 250 + 100  # and what the threads wait for each other
SCHLAF = 36.0  # longer than the captures' own memory, eleven and twenty-two seconds

# Fills both streams before it becomes the program.
VOLL = """
import os, signal, sys
for nummer in (1, 2):
    os.set_blocking(nummer, False)
    try:
        while True:
            os.write(nummer, b"\\n")
    except BlockingIOError:
        os.set_blocking(nummer, True)
signal.signal(signal.SIGPIPE, signal.SIG_DFL)
os.execvp(sys.argv[1], sys.argv[1:])
"""


class Ungelesen(test_ausdauer.Ausdauerfall):

    def chunk_dateien(self, aufnahme):
        return self.dateien("chunk_", aufnahme.ordner) if os.path.isdir(aufnahme.ordner) else []

    def groesse(self, aufnahme, name):
        try:
            return os.path.getsize(os.path.join(aufnahme.ordner, name))
        except FileNotFoundError:
            return 0

    # --- The stop -----------------------------------------------------------------------------

    def test_stopp(self):
        """Hundreds of lines wait when the signal comes, with the echo path and without it."""
        laeufe = [self.lauf(*KURZ, echo=echo, lies_stdout=False, rohr=ROHR,
                            ordner=f"{self.aufnahme}-{echo}") for echo in (False, True)]
        for aufnahme in laeufe:
            self.warte_bis(lambda: len(self.chunk_dateien(aufnahme)) >= ZEILEN, "chunks", 180.0)
        wartende, laengster = [], 0.0
        for aufnahme in laeufe:
            anfang = time.monotonic()
            wartezeiten = self.stoppe(aufnahme)
            laengster = max(laengster, time.monotonic() - anfang)
            wartende.append(len(self.chunk_dateien(aufnahme)) - self.pruefe_rest(aufnahme))
            test_ausdauer.fortschritt(f"{wartende[-1]} lines unread: {time.monotonic() - anfang:.1f} s, "
                                      f"{wartezeiten} waits")
            self.assertGreater(wartende[-1], ZEILEN // 2)
            self.assertLessEqual(wartezeiten, WARTEZEITEN)
        test_ausdauer.merke(stopps=len(laeufe), zeilen=min(wartende), stopp_s=round(laengster, 1))

    def stoppe(self, aufnahme):
        """Returns how often the threads that write the lines have waited until the end."""
        vorher = hoechstens = self.gewartet(aufnahme)
        ende = time.monotonic() + 3 * test_ausdauer.GEDULD
        aufnahme.sende()
        while aufnahme.prozess.poll() is None and time.monotonic() < ende:
            hoechstens = max(hoechstens, self.gewartet(aufnahme))
            time.sleep(0.002)  # between two looks
        self.assertEqual(aufnahme.ende(), 0)
        self.assertGreater(hoechstens, vorher)
        return hoechstens - vorher

    @staticmethod
    def gewartet(aufnahme):
        ordner = f"/proc/{aufnahme.prozess.pid}/task"
        summe = 0
        try:
            for nummer in os.listdir(ordner):
                with open(f"{ordner}/{nummer}/status", encoding="ascii", errors="replace") as datei:
                    felder = dict(zeile.split(":", 1) for zeile in datei.read().splitlines())
                if felder["Name"].strip() == "ausgabe":
                    summe += int(felder["voluntary_ctxt_switches"])
        except (OSError, KeyError):  # it has ended
            return 0
        return summe

    def pruefe_rest(self, aufnahme):
        """What the pipe took was whole lines, and the files are all there. Returns the number of those
        lines."""
        rest = aufnahme.prozess.stdout.read()
        self.assertTrue(rest.endswith(b"\n"), rest[-300:])
        lauf.geprueft(rest.decode())
        for name in (*self.chunk_dateien(aufnahme), "mikro_roh.wav"):
            signale.lies_ganz(os.path.join(aufnahme.ordner, name))
        return rest.count(b"\n")

    # --- A host that is busy ------------------------------------------------------------------

    def test_leser_schlaeft(self):
        """For 36 s the host reads nothing, then everything: no line, no block and no moment is missing."""
        self.mehrmals(self.schlafe, 3)

    def schlafe(self, nummer):
        self.sprich(SCHLAF + 30)
        self.aufnahme = os.path.join(self.ordner, f"schlaf-{nummer}")
        aufnahme = self.lauf("--legacy-chunks", "--chunk", "0.5", liest=False, rohr=ROHR)
        aufnahme.warte_aufnahme(SCHLAF, test_ausdauer.GEDULD)
        geschrieben = len(self.chunk_dateien(aufnahme))
        aufnahme.lies()
        self.warte_bis(lambda: len(aufnahme.chunks()) >= geschrieben, "the lines that waited")
        aufnahme.stoppe(frist=test_ausdauer.GEDULD)
        for kanal in ("me", "them"):
            chunks = aufnahme.chunks(kanal)
            self.assertEqual([satz["chunk"] for satz in chunks], list(range(len(chunks))))
            self.assertEqual(self.dateien(f"chunk_{kanal}_"), sorted(
                os.path.basename(satz["path"]) for satz in chunks))
        self.assertEqual(self.pruefe_chunks(aufnahme, True), len(aufnahme.chunks()))
        luecken = self.pruefe_lueckenlos(aufnahme)
        test_ausdauer.merke(sekunden=SCHLAF, chunks=len(aufnahme.chunks()), luecken_ms=luecken)

    def pruefe_lueckenlos(self, aufnahme):
        self.assertEqual(aufnahme.diagnosen("Bloecke verloren"), 0, aufnahme.alles())
        luecken = max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them"))
        self.assertLessEqual(luecken, 100, aufnahme.alles())
        return luecken

    # --- Pipes that are full before the start -------------------------------------------------

    def test_voll_vor_dem_start(self):
        """Both pipes are full when the program starts: sound and picture begin all the same."""
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        self.mehrmals(self.beginne_voll, 3)

    def beginne_voll(self, nummer):
        self.sprich(60)
        aufnahme = self.lauf(ordner=f"{self.aufnahme}-{nummer}", video=True, liest=False, rohr=ROHR,
                             umgebung=self.bildschirm.umgebung, vorsatz=[sys.executable, "-c", VOLL])
        for _ in range(2):
            bisher = self.groesse(aufnahme, "video.mp4")
            self.warte_bis(lambda: self.groesse(aufnahme, "video.mp4") > bisher, "a video that grows")
        aufnahme.warte_aufnahme(4.0, test_ausdauer.GEDULD)
        for strom in (aufnahme.prozess.stdout, aufnahme.prozess.stderr):
            self.assertEqual(strom.read(ROHR), b"\n" * ROHR)
        aufnahme.lies()
        aufnahme.ereignis("video_start", test_ausdauer.GEDULD)
        self.assertEqual(aufnahme.saetze()[0]["event"], "started")
        aufnahme.stoppe(frist=test_ausdauer.GEDULD)
        self.pruefe_lueckenlos(aufnahme)
        (video,) = aufnahme.ereignisse("video")
        self.assertGreater(video["frames"], 20)
