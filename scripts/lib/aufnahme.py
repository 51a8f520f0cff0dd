"""Builds the recorder and runs it for a person: the second half of scripts/record."""

import datetime
import os
import selectors
import shlex
import shutil
import signal
import subprocess
import sys
import time
import wave

import anzeige
import privat
import prozesse
import tonanlage

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PROGRAMM = os.path.join(WURZEL, "build", "release", "hallkorb")
ZEIGER = os.path.join(WURZEL, "build", "release", "hallkorb-sitzung")
OEFFNER = "open" if sys.platform == "darwin" else "xdg-open"


def baue(*ziele):
    """Builds the release preset. What is printed is shown only when something goes wrong."""
    print("Building hallkorb ...", flush=True)
    for befehl in (["cmake", "--preset", "release"],
                   ["cmake", "--build", "--preset", "release", "--target", *ziele]):
        lauf = prozesse.starte(befehl, cwd=WURZEL, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        ausgabe = lauf.communicate()[0]
        if lauf.returncode:
            sys.stderr.write(ausgabe)
            sys.exit(1)


def lies_argumente(argumente):
    """Splits into (seconds or None, output folder or None, arguments for the program)."""
    sekunden, weiter = None, []
    worte = iter(argumente)
    for wort in worte:
        if wort == "--seconds":
            try:
                sekunden = float(next(worte, ""))
            except ValueError:
                sys.exit("record: --seconds needs a number")
        else:
            weiter.append(wort)
    ordner = None
    for wort, wert in zip(weiter, weiter[1:]):
        if wort == "--out":
            ordner = wert  # the last one counts, as in the program
    return sekunden, ordner, weiter


class Zeilen:
    """The recorder's lines, kept in its folder as hallkorb-sitzung wants them. Nothing is written before
    "started": a folder in which another recording runs stays as it is. What the disk refuses waits until there
    is room again; `klage` is why some of them are not there."""

    def __init__(self, ordner):
        self._pfad = os.path.join(ordner, "ereignisse.jsonl")
        self._wartend = b""
        self._gestartet = False
        self._datei = None
        self.klage = None

    @property
    def begonnen(self):
        return self._datei is not None

    def nimm(self, zeile):
        """One line, as bytes without its end."""
        if zeile:
            self._wartend += zeile + b"\n"
            self._gestartet = self._gestartet or zeile.startswith(b'{"event":"started"')
            self._schreibe()

    def _schreibe(self):
        if not self._gestartet:
            return
        try:
            if self._datei is None:
                self._datei = self._oeffne()
            while self._wartend:
                self._wartend = self._wartend[os.write(self._datei, self._wartend):]
            self.klage = None
        except OSError as fehler:
            self.klage = f"the lines cannot be kept: {fehler}"

    def _oeffne(self):
        # A link in its place may lead anywhere.
        datei = os.open(self._pfad, os.O_RDWR | os.O_CREAT | os.O_APPEND | os.O_NOFOLLOW, 0o600)
        laenge = os.fstat(datei).st_size
        if laenge and os.pread(datei, 1, laenge - 1) != b"\n":  # an earlier recording was cut off
            self._wartend = b"\n" + self._wartend
        return datei

    def schliesse(self):
        self._schreibe()
        if self._datei is not None:
            os.close(self._datei)


class Aufnahme:
    """One run of the program, from its start to the last line of both its streams."""

    def __init__(self, argumente, umgebung, schau, zeilen):
        self._schau = schau
        self._zeilen = zeilen
        # SIGINT and SIGTERM reach the recorder only from here.
        self._weck_lese, weck_schreib = os.pipe()
        os.set_blocking(weck_schreib, False)
        signal.set_wakeup_fd(weck_schreib)
        self._gebeten = False
        for nummer in prozesse.ENDE_SIGNALE:
            signal.signal(nummer, self._bitte)
        self.prozess = prozesse.starte([PROGRAMM, *argumente], env=umgebung,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
        self.gestoppt = False
        self.fehler = None

    def _bitte(self, *_):
        self._gebeten = True

    def lauf(self, sekunden, umfeld):
        """Shows the lines until both streams end. If the private surroundings fail, the recording
        ends in order, and `fehler` holds the reason."""
        waehler = selectors.DefaultSelector()
        puffer = {strom: b"" for strom in (self.prozess.stdout, self.prozess.stderr)}
        for strom in puffer:
            waehler.register(strom, selectors.EVENT_READ)
        waehler.register(self._weck_lese, selectors.EVENT_READ)
        ende = None
        while puffer:
            for schluessel, _ in waehler.select(0.5):
                if schluessel.fileobj == self._weck_lese:
                    os.read(self._weck_lese, 64)
                    self.stoppe()
                    continue
                strom = schluessel.fileobj
                neu = os.read(strom.fileno(), 65536)
                *zeilen, puffer[strom] = (puffer[strom] + neu).split(b"\n")
                if not neu:
                    waehler.unregister(strom)
                    zeilen.append(puffer.pop(strom))
                for zeile in zeilen:
                    if strom is self.prozess.stdout:
                        self._zeilen.nimm(zeile)
                    self._schau.zeile(zeile.decode("utf-8", "replace"))
            if self._schau.laeuft and sekunden is not None and ende is None:
                ende = time.monotonic() + sekunden
            if ende is not None and time.monotonic() >= ende and not self.gestoppt:
                self.stoppe()
            if not self.gestoppt:
                self._takt(umfeld)
            self._schau.takt()
        return prozesse.status_von(self.prozess.wait())

    def _takt(self, umfeld):
        try:
            umfeld.takt(time.monotonic(), self._schau.melde, lambda: self._gebeten)
        except privat.FEHLER as fehler:
            if not self._gebeten:  # otherwise it was only cut short
                self.fehler = fehler
                self.stoppe()

    def stoppe(self):
        self.gestoppt = True
        self.prozess.send_signal(signal.SIGINT)


SEITE = "sitzung.html"


def mache_seite(ordner):
    """The page about the recording. Without it the recording is as good."""
    lauf_ = prozesse.starte([ZEIGER, "bericht", ordner], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    ausgabe = lauf_.communicate()[0]
    if lauf_.returncode:
        print(f"record: there is no page: {ausgabe.strip()}", file=sys.stderr)


def zeige_ergebnis(ordner, ton_privat):
    """What lies in the output folder, and how to listen to it."""
    dateien = sorted(os.listdir(ordner)) if os.path.isdir(ordner) else []
    if not dateien:
        print("Nothing was written.")
        return
    print(f"\nWritten to {ordner}:")
    gesamt = 0
    for name in dateien:
        pfad = os.path.join(ordner, name)
        groesse = os.lstat(pfad).st_size
        gesamt += groesse
        print(f"  {name:22} {groesse / 1000:9.1f} kB  {dauer(pfad)}")
    print(f"  {len(dateien)} files, {gesamt / 1e6:.1f} MB")
    spieler = "afplay" if sys.platform == "darwin" else "pw-play"
    roh = os.path.join(ordner, "mikro_roh.wav")
    print("\nTo listen" + (" (on a machine with loudspeakers; this one may have none):"
                           if ton_privat else ":"))
    if os.path.exists(roh):
        print(f"  {spieler} {shlex.quote(roh)}")
    print(f"  for f in {shlex.quote(ordner)}/chunk_them_*.wav; do {spieler} \"$f\"; done")
    if "video.mp4" in dateien:
        print(f"To watch:\n  {OEFFNER} {shlex.quote(os.path.join(ordner, 'video.mp4'))}")
    if SEITE in dateien:
        print(f"To see and hear all of it in a browser:\n  {OEFFNER} {shlex.quote(os.path.join(ordner, SEITE))}")


def dauer(pfad):
    try:
        with wave.open(pfad, "rb") as datei:
            return f"{datei.getnframes() / datei.getframerate():8.2f} s"
    except (wave.Error, EOFError, OSError):
        return ""


def lauf(argumente):
    sekunden, ordner, weiter = lies_argumente(argumente)
    if klage := privat.woanders():
        sys.exit(f"record: {klage}")
    umfeld = privat.Privat(privat.was_fehlt(weiter))
    baue("hallkorb", "hallkorb-sitzung", *(["testfenster"] if umfeld.bild else []),
         *(["testsprecher"] if umfeld.ton else []))
    if ordner is None:
        jetzt = datetime.datetime.now().strftime("%Y-%m-%d_%H-%M-%S")
        ordner = os.path.join(WURZEL, "recordings", jetzt)
        weiter = ["--out", ordner, *weiter]
    try:
        if umfeld.ton:
            print("No PipeWire runs here: recording two synthetic voices in a private session.")
        elif prozesse.LINUX and tonanlage.laeuft_schon():
            print("Recording the microphone and the sound of the PipeWire that runs here.")
        if umfeld.bild:
            print("No screen is here: recording windows that come and go on a private one.")
        try:
            umfeld.starte()
        except privat.FEHLER as fehler:
            return ohne_umfeld(fehler)
        print("Ctrl-C stops.\n" if sekunden is None else f"Stops after {sekunden:g} seconds.\n",
              flush=True)
        schau = anzeige.Anzeige()
        zeilen = Zeilen(ordner)
        aufnahme = Aufnahme(weiter, umfeld.umgebung, schau, zeilen)
        status = aufnahme.lauf(sekunden, umfeld)
        zeilen.schliesse()
        if zeilen.klage:
            print(f"record: {zeilen.klage}", file=sys.stderr)
        if zeilen.begonnen:
            mache_seite(ordner)
        zeige_ergebnis(ordner, umfeld.ton)
        if aufnahme.fehler:
            return ohne_umfeld(aufnahme.fehler)
        if status:
            print(f"\nhallkorb ended with status {status}", file=sys.stderr)
        return status
    finally:
        umfeld.beende()


def ohne_umfeld(fehler):
    print(f"record: the private session failed: {fehler}", file=sys.stderr)
    return 70


if __name__ == "__main__":
    if sys.argv[1:2] == ["--was-fehlt"]:
        print(*privat.was_fehlt(sys.argv[2:]))
        sys.exit(0)
    if shutil.which("cmake") is None:
        sys.exit("record: cmake is missing")
    prozesse.beaufsichtigt(lambda: lauf(sys.argv[1:]))
