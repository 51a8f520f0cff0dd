"""One run of the real program for a test: its lines as they come, its signals, its end.

Nothing here sleeps and hopes: every wait is for a line, a file or the end of the process, with a
deadline after which the test fails and shows what was there instead.
"""

import glob
import json
import os
import re
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import bildschirm  # noqa: E402
import konfiguration  # noqa: E402
import prozesse  # noqa: E402
import schema  # noqa: E402
import signale  # noqa: E402
import tonanlage  # noqa: E402

PROGRAMM = os.environ.get("HALLKORB", os.path.join(WURZEL, "build", "release", "hallkorb"))
FRIST = 60.0
PROMPT = 20.0  # seconds that a stop may take on a machine that halts it for some of them


def geprueft(text):
    """The objects in the lines of standard output, each of which is as docs/protocol.schema.json says."""
    zeilen = text.removesuffix("\n").split("\n") if text else []
    for zeile in zeilen:
        schema.pruefe(zeile)
    return [json.loads(zeile) for zeile in zeilen]


class Zeilen:
    """The lines of one stream, read by a thread of its own, from beginne() on if not at once. What `pruefe`
    raises of a line that is complete is kept in `falsch`."""

    def __init__(self, strom, pruefe=None, *, sofort=True):
        self._strom = strom
        self._pruefe = pruefe
        self.falsch = []
        self._neu = threading.Condition()
        self.alle = []  # (time on the monotonic clock, text)
        self.zu = False
        self._faden = threading.Thread(target=self._lies, daemon=True)
        if sofort:
            self.beginne()

    def beginne(self):
        if self._faden.ident is None:
            self._faden.start()

    def _lies(self):
        for zeile in self._strom:
            with self._neu:
                self.alle.append((time.monotonic(), zeile.decode("utf-8").rstrip("\n")))
                self._neu.notify_all()
            if self._pruefe and zeile.endswith(b"\n"):
                try:
                    self._pruefe(zeile.decode("utf-8"))
                except schema.Ungueltig as fehler:
                    self.falsch.append(str(fehler))
        with self._neu:
            self.zu = True
            self._neu.notify_all()

    def texte(self):
        with self._neu:
            return [text for _, text in self.alle]

    def warte(self, passt, frist=FRIST, ab=0):
        """The first line from number `ab` on for which `passt(text)` holds, as (number, text).
        None when the stream ends or the time is over before."""
        ende = time.monotonic() + frist
        with self._neu:
            while True:
                for nummer in range(ab, len(self.alle)):
                    if passt(self.alle[nummer][1]):
                        return nummer, self.alle[nummer][1]
                ab = len(self.alle)
                rest = ende - time.monotonic()
                if self.zu or rest <= 0:
                    return None
                self._neu.wait(rest)

    def schliesse(self):
        """Waits until everything was read."""
        self.beginne()
        self._faden.join(FRIST)


class Lauf:
    """A running hallkorb, without video and echo path unless they are asked for. `lies_stdout` False
    leaves reading standard output to the test, `liest` False both streams, until lies();
    `protokoll` lets libraries write to standard error. `sofort` gets the process at once; `gehalten` are signals that it starts with blocked, `vorsatz` the
    program that starts it, `rohr` how many bytes its pipes take."""

    def __init__(self, test, argumente, umgebung, ordner, *, lies_stdout=True, liest=True, video=False,
                 echo=False, protokoll=False, gehalten=(), sofort=None, vorsatz=(),
                 programm=PROGRAMM, rohr=-1):
        self.test = test
        self._protokoll = protokoll
        self.ordner = ordner
        self.anfang = time.monotonic()
        self.prozess = prozesse.starte(
            [*vorsatz, programm, *([] if video else ["--no-video"]), *([] if echo else ["--kein-echo"]),
             "--out", ordner, *argumente], env=umgebung,
            gehalten=gehalten, pipesize=rohr,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0)
        if sofort:
            sofort(self.prozess)
        test.addCleanup(self._raeume_auf)
        self.aus = Zeilen(self.prozess.stdout, schema.pruefe, sofort=liest) if lies_stdout else None
        self.diagnose = Zeilen(self.prozess.stderr, sofort=liest)

    def _raeume_auf(self):
        if self.prozess.poll() is None:
            self.prozess.kill()
        self.prozess.wait()
        self.diagnose.schliesse()
        if self.aus:
            self.aus.schliesse()
        for strom in (self.prozess.stdout, self.prozess.stderr):
            if not strom.closed:
                strom.close()
        if not self._protokoll:
            self.pruefe_diagnose()
        if self.aus:
            self.test.assertEqual(self.aus.falsch, [])

    def lies(self):
        """Reads both streams from now on."""
        for zeilen in (self.aus, self.diagnose):
            zeilen.beginne()

    # --- Waiting ------------------------------------------------------------------------------

    def zeile(self, passt, was, frist=FRIST, ab=0):
        """The first object on standard output for which `passt` holds; fails without one."""
        gefunden = self.aus.warte(lambda text: passt(json.loads(text)), frist, ab)
        if gefunden is None:
            self.test.fail(f"no {was} within {frist:g} s\n{self.alles()}")
        return json.loads(gefunden[1])

    def ereignis(self, name, frist=FRIST):
        return self.zeile(lambda satz: satz.get("event") == name, f'"{name}"', frist)

    def gestartet(self):
        return self.ereignis("started")

    def chunk(self, kanal, ab_nummer=0, frist=FRIST):
        return self.zeile(lambda satz: satz.get("channel") == kanal
                          and satz.get("chunk", -1) >= ab_nummer, f"chunk of {kanal}", frist)

    def meldung(self, text, frist=FRIST, ab=0):
        """The number of the first diagnostic line from `ab` on that holds `text`."""
        gefunden = self.diagnose.warte(lambda zeile: text in zeile, frist, ab)
        if gefunden is None:
            self.test.fail(f"no diagnostic {text!r} within {frist:g} s\n{self.alles()}")
        return gefunden[0]

    # --- The end ------------------------------------------------------------------------------

    def sende(self, nummer=signal.SIGINT):
        self.prozess.send_signal(nummer)

    def ende(self, frist=FRIST):
        """The exit status (negative: the signal), when both streams were read to their end."""
        try:
            status = self.prozess.wait(frist)
        except subprocess.TimeoutExpired:
            self.test.fail(f"still running after {frist:g} s\n{self.alles()}")
        if self.aus:
            self.aus.schliesse()
        self.diagnose.schliesse()
        return status

    def stoppe(self, nummer=signal.SIGINT, frist=FRIST):
        """The orderly stop: status 0, "zeitachse" and "done" as the last lines. Returns how long it
        took."""
        anfang = time.monotonic()
        self.sende(nummer)
        status = self.ende(frist)
        dauer = time.monotonic() - anfang
        self.test.assertEqual(status, 0, self.alles())
        self.pruefe_schluss()
        return dauer

    def pruefe_schluss(self):
        saetze = self.saetze()
        self.test.assertEqual([satz.get("event") for satz in saetze[-2:]], ["zeitachse", "done"],
                              self.alles())
        self.test.assertEqual(self.diagnosen("Stop — schreibe Rest-Chunks"), 1, self.alles())

    def pruefe_diagnose(self):
        """Standard error belongs to the program alone: what libraries have to say stays out of it."""
        fremd = [zeile for zeile in self.diagnose.texte() if not zeile.startswith("[hallkorb] ")]
        self.test.assertEqual(fremd, [])

    # --- What was printed --------------------------------------------------------------------

    def saetze(self):
        return [json.loads(text) for text in self.aus.texte()]

    def chunks(self, kanal=None):
        return [satz for satz in self.saetze()
                if "chunk" in satz and kanal in (None, satz["channel"])]

    def zeitachse(self):
        return next(satz for satz in self.saetze() if satz.get("event") == "zeitachse")

    def ereignisse(self, name):
        return [satz for satz in self.saetze() if satz.get("event") == name]

    def aufgenommen(self):
        """Seconds of sound in the raw microphone file so far."""
        try:
            return os.path.getsize(os.path.join(self.ordner, "mikro_roh.wav")) / 2 / 16000
        except FileNotFoundError:
            return 0.0

    def warte_aufnahme(self, sekunden, geduld=FRIST):
        """Returns when so many further seconds of sound were recorded: the recording is the clock."""
        ziel = self.aufgenommen() + sekunden
        self.test.warte_bis(lambda: self.aufgenommen() >= ziel, f"{sekunden:g} s more of sound",
                            sekunden + geduld)

    def warte_klang(self):
        """Returns when the microphone has been heard for a while: a player may come late."""
        def gehoert():
            try:
                ton = signale.lies(os.path.join(self.ordner, "mikro_roh.wav"))[0]
            except (FileNotFoundError, struct.error, AssertionError):  # not there, or just being written
                return False
            return len(ton) > 32000 and signale.pegel(ton[-16000:]) > 0.05

        self.test.warte_bis(gehoert, "the microphone's sound")
        self.warte_aufnahme(1.0)

    def unterbrechungen(self, text):
        """Like diagnosen(), without the interruptions for want of data, which a machine has that halts
        the graph or the recorder for more than a second."""
        return sum(text in zeile and "das Geraet liefert keine Daten" not in zeile
                   for zeile in self.diagnose.texte())

    def diagnosen(self, text):
        return sum(text in zeile for zeile in self.diagnose.texte())

    def alles(self):
        aus = self.aus.texte() if self.aus else []
        return "\n".join(["stdout:", *aus, "stderr:", *self.diagnose.texte()])

    def speicher_kib(self):
        with open(f"/proc/{self.prozess.pid}/status", encoding="ascii", errors="replace") as datei:
            for zeile in datei:
                if zeile.startswith("VmRSS:"):
                    return int(zeile.split()[1])
        return 0


def signalmaske(prozess, maske, nummer):
    """Whether the signal is in one of the process's masks: "SigBlk" blocked, "SigIgn" ignored, "SigCgt"
    caught."""
    with open(f"/proc/{prozess.pid}/status", encoding="ascii", errors="replace") as datei:
        bits = next(zeile for zeile in datei if zeile.startswith(f"{maske}:"))
    return bool(int(bits.split()[1], 16) >> (nummer - 1) & 1)


def swresample():
    """This machine's libswresample: (path, major version)."""
    muster = re.compile(r"libswresample\.so\.(\d+)$")
    return next((os.path.join(wo, name), int(treffer[1]))
                for wo in ("/usr/lib", "/usr/lib64", *glob.glob("/usr/lib/*-linux-gnu")) if os.path.isdir(wo)
                for name in os.listdir(wo) if (treffer := muster.match(name)))


class Fall(unittest.TestCase):
    """A test with a private session and a folder of its own."""

    MIT_TONANLAGE = True
    GERAETE = {}  # keyword arguments of tonanlage.Tonanlage

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-e2e-")
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name
        self.aufnahme = os.path.join(self.ordner, "aufnahme")
        if self.MIT_TONANLAGE:
            self.raum = tonanlage.Tonanlage(**self.GERAETE)
            self.raum.starte()
            self.addCleanup(self.raum.beende)

    def schirm(self, **mehr):
        """A private screen; its `umgebung` is the private session's with it."""
        schirm = bildschirm.Bildschirm(self.raum.umgebung, **mehr)
        schirm.starte()
        self.addCleanup(schirm.beende)
        return schirm

    def lauf(self, *argumente, ordner=None, umgebung=None, **mehr):
        if umgebung is None:
            umgebung = self.raum.umgebung
        return Lauf(self, argumente, umgebung, ordner or self.aufnahme, **mehr)

    def warte_bis(self, bedingung, was, frist=FRIST):
        try:
            return tonanlage.warte_bis(bedingung, was, frist)
        except tonanlage.TonanlagenFehler as fehler:
            self.fail(str(fehler))

    def wechsel(self, aufnahme, bisher, name="video_wechsel"):
        """The event of that name after the `bisher` first ones of the picture's."""
        bilder = ("video_start", "video_wechsel", "video_pause", "video_none")

        def erreicht():
            gefunden = [satz for satz in aufnahme.saetze() if satz.get("event") in bilder]
            return gefunden[bisher] if len(gefunden) > bisher else None

        satz = self.warte_bis(erreicht, f"event {bisher} of the picture", 60.0)
        self.assertEqual(satz["event"], name, aufnahme.alles())
        return satz

    def toete(self, aufnahme, *frist):
        """Kills the program; what it would have announced at its end is not."""
        aufnahme.sende(signal.SIGKILL)
        self.assertEqual(aufnahme.ende(*frist), -signal.SIGKILL)
        for name in ("video", "echo", "zeitachse", "done"):
            self.assertEqual(aufnahme.ereignisse(name), [])

    def pruefe_sigkill(self, aufnahme, *frist):
        """Killed some seconds after the second update of the raw file's header, the recording has whole
        chunks, and a header that declares all but the last seconds."""
        roh = os.path.join(aufnahme.ordner, "mikro_roh.wav")
        self.warte_bis(lambda: os.path.getsize(roh) > 44 + 2 * 16000 * 13, "13 s of sound", 60.0)
        self.toete(aufnahme, *frist)
        _, _, erklaert, vorhanden = signale.lies(roh)
        self.assertGreaterEqual(erklaert, 2 * 16000 * 5)
        self.assertLessEqual(erklaert, vorhanden)
        self.assertLessEqual(vorhanden - erklaert, 2 * 16000 * 5.5)
        self.assertGreaterEqual(len(aufnahme.chunks("me")), 2)
        for satz in aufnahme.chunks():
            laenge = len(signale.lies_ganz(satz["path"])) / signale.ZIEL
            self.assertAlmostEqual(satz["t1"] - satz["t0"], laenge, delta=0.0101)

    def entferne_ordner(self, ordner):
        while os.path.exists(ordner):  # the recorder may add a file meanwhile
            shutil.rmtree(ordner, ignore_errors=True)

    def pruefe_neu_angelegt(self, aufnahme, stoppe, *frist):
        """The folder is removed and made again while both channels carry noise: the raw file goes on in a
        new one, in which everything is at its place, and so do the chunks. `stoppe` is the orderly stop."""
        aufnahme.warte_aufnahme(1.0)
        self.entferne_ordner(aufnahme.ordner)
        os.makedirs(aufnahme.ordner)
        aufnahme.meldung("mikro_roh.wav: entfernt, weiter in einer neuen Datei", *frist)
        ab = 1 + max((satz["chunk"] for satz in aufnahme.chunks("me")), default=-1)
        aufnahme.chunk("me", ab + 2, *frist)
        stoppe(aufnahme)
        self.assertEqual(aufnahme.diagnosen("mikro_roh.wav: entfernt"), 1)
        roh = signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))
        # One that did not begin in the old file. The line about that and the chunks' come by two streams.
        wechsel = (roh != 0).argmax() / signale.ZIEL
        neu = next(satz for satz in aufnahme.chunks("me") if satz["t0"] > wechsel)
        # The same moment at the same place in both, though the file is another one.
        chunk = signale.lies_ganz(neu["path"])
        anfang = round(neu["t0"] * signale.ZIEL)
        bester = max(range(-160, 161),
                     key=lambda d: float((roh[anfang + d:anfang + d + 8000] * chunk[:8000]).sum()))
        self.assertLessEqual(abs(bester), 160)
        self.assertTrue((roh[anfang + bester:anfang + bester + 8000] == chunk[:8000]).all())
        self.assertEqual(signale.pegel(roh[:signale.ZIEL // 2]), 0.0)

    def mehrmals(self, einmal, anzahl=5):
        """Calls `einmal(number)` until it passes. For a minute of sound that is compared with what was
        played: a machine that halts a player or the graph for a moment spoils it."""
        for nummer in range(anzahl - 1):
            try:
                return einmal(nummer)
            except AssertionError as fehler:
                print(f"attempt {nummer + 1}: {fehler}", file=sys.stderr)
        return einmal(anzahl - 1)

    def haenge_ein(self, ordner, *optionen):
        """A file system of its own at a new folder, for classes with MIT_MOUNT."""
        os.makedirs(ordner)
        subprocess.run(["mount", "-t", "tmpfs", *optionen, "none", ordner], check=True)
        self.addCleanup(subprocess.run, ["umount", "--lazy", ordner], check=True)

    def warte_ohne_dateien(self, aufnahme, *frist):
        """The recording runs and reports that it can write nothing."""
        for meldung in ("me #0", "them #0", "me #1"):
            aufnahme.meldung(f"WAV-Schreibfehler ({meldung}): ", *frist)

    def pruefe_ohne_dateien(self, aufnahme):
        self.assertEqual(aufnahme.chunks(), [])
        self.assertGreaterEqual(aufnahme.diagnosen("mikro_roh.wav"), 1)

    def pruefe_dateigroesse(self, aufnahme, groesste):
        """No file is larger, each chunk that was announced is whole, and none is left unfinished."""
        for satz in aufnahme.chunks():
            signale.lies_ganz(satz["path"])
        for name in self.dateien(ordner=aufnahme.ordner):
            self.assertLessEqual(os.path.getsize(os.path.join(aufnahme.ordner, name)), groesste)
        self.assertEqual(self.dateien(".", aufnahme.ordner), [])

    def ohne_dienst(self):
        """An environment in which no PipeWire can be found."""
        leer = os.path.join(self.ordner, "leer")
        os.makedirs(leer, mode=0o700, exist_ok=True)
        umgebung = {name: wert for name, wert in os.environ.items()
                    if not name.startswith("PIPEWIRE_")}
        return umgebung | {"XDG_RUNTIME_DIR": leer, "DBUS_SESSION_BUS_ADDRESS": "disabled:"}

    def dateien(self, anfang="", ordner=None):
        ordner = ordner or self.aufnahme
        return sorted(name for name in os.listdir(ordner) if name.startswith(anfang))

    def pruefe_nie_halb(self, ordner):
        """Each chunk is whole at the first sight of its name."""
        gesehen = set()

        def sieh_nach():
            for name in self.dateien("chunk_", ordner):
                if name not in gesehen:
                    gesehen.add(name)
                    signale.lies_ganz(os.path.join(ordner, name))
            return len(gesehen) >= 8

        tonanlage.warte_bis(sieh_nach, "8 chunks", schritt=0.0005)

    def lege_roehre(self, ordner):
        """A new folder in which a named pipe has the name of the first chunk of "me". Returns what holds the
        chunk's line against the bytes that have come out of the pipe."""
        os.makedirs(ordner)
        roehre = os.path.join(ordner, "chunk_me_000.wav")
        os.mkfifo(roehre)
        leser = subprocess.Popen(["cat", roehre], stdout=subprocess.PIPE)
        self.addCleanup(leser.kill)

        def pruefe(satz):
            inhalt = leser.communicate(timeout=FRIST)[0]
            self.assertEqual(inhalt[:4], b"RIFF")
            self.assertAlmostEqual(satz["t1"] - satz["t0"], (len(inhalt) - 44) / 2 / signale.ZIEL,
                                   delta=0.0101)
            self.assertTrue(stat.S_ISFIFO(os.stat(roehre).st_mode))

        return pruefe
