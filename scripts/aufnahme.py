"""Builds the recorder and runs it for a person: the second half of scripts/record."""

import datetime
import fcntl
import os
import selectors
import shutil
import signal
import subprocess
import sys
import time
import wave

import anzeige
import prozesse
import sitzung

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PROGRAMM = os.path.join(WURZEL, "build", "release", "hallkorb")


def braucht_sitzung():
    """Whether there is no sound system to record, so that a private one is needed."""
    return prozesse.LINUX and not sitzung.laeuft_schon()


def baue():
    """Builds the release preset. What is printed is shown only when something goes wrong."""
    print("Building hallkorb ...", flush=True)
    for befehl in (["cmake", "--preset", "release"],
                   ["cmake", "--build", "--preset", "release", "--target", "hallkorb"]):
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


class Stimmen:
    """The two synthetic voices, spoken into a private session again and again."""

    def __init__(self, raum):
        import voices  # needs numpy, which a desktop's recording does without

        self._raum = raum
        self._dateien = voices.erzeuge(raum.ordner)
        self._spieler = []

    def sprich(self):
        """(Re)starts the conversation when it is over. The far voice first: its echo in the
        microphone must not come before it."""
        if any(spieler.poll() is None for spieler in self._spieler):
            return
        fern, mikro = self._dateien
        self._spieler = [self._raum.spiele(fern, "speakers"),
                         self._raum.spiele(mikro, "mic-feed")]


class Aufnahme:
    """One run of the program, from its start to the last line of both its streams."""

    def __init__(self, argumente, umgebung, schau):
        self._schau = schau
        # SIGINT and SIGTERM reach the recorder from here only, whoever sent them.
        self._weck_lese, weck_schreib = os.pipe()
        os.set_blocking(weck_schreib, False)
        signal.set_wakeup_fd(weck_schreib)
        for nummer in prozesse.ENDE_SIGNALE:
            signal.signal(nummer, lambda *_: None)
        self.prozess = prozesse.starte([PROGRAMM, *argumente], env=umgebung,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
        self.gestoppt = False

    def lauf(self, sekunden, nebenbei):
        """Shows the lines until both streams end; `nebenbei` is called about once a second."""
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
                    self._schau.zeile(zeile.decode("utf-8", "replace"))
            if self._schau.laeuft and sekunden is not None and ende is None:
                ende = time.monotonic() + sekunden
            if ende is not None and time.monotonic() >= ende and not self.gestoppt:
                self.stoppe()
            if not self.gestoppt:
                nebenbei()
            self._schau.takt()
        return prozesse.status_von(self.prozess.wait())

    def stoppe(self):
        self.gestoppt = True
        self.prozess.send_signal(signal.SIGINT)


def zeige_ergebnis(ordner, privat):
    """What lies in the output folder, and how to listen to it."""
    dateien = sorted(os.listdir(ordner)) if os.path.isdir(ordner) else []
    if not dateien:
        print("Nothing was written.")
        return
    print(f"\nWritten to {ordner}:")
    gesamt = 0
    for name in dateien:
        pfad = os.path.join(ordner, name)
        groesse = os.path.getsize(pfad)
        gesamt += groesse
        print(f"  {name:22} {groesse / 1000:9.1f} kB  {dauer(pfad)}")
    print(f"  {len(dateien)} files, {gesamt / 1e6:.1f} MB")
    spieler = "afplay" if sys.platform == "darwin" else "pw-play"
    roh = os.path.join(ordner, "mikro_roh.wav")
    print("\nTo listen" + (" (on a machine with loudspeakers; this one may have none):" if privat
                           else ":"))
    if os.path.exists(roh):
        print(f"  {spieler} '{roh}'")
    print(f"  for f in '{ordner}'/chunk_them_*.wav; do {spieler} \"$f\"; done")


def dauer(pfad):
    try:
        with wave.open(pfad, "rb") as datei:
            return f"{datei.getnframes() / datei.getframerate():8.2f} s"
    except (wave.Error, EOFError, OSError):
        return ""


def lauf(argumente):
    sekunden, ordner, weiter = lies_argumente(argumente)
    baue()
    if ordner is None:
        jetzt = datetime.datetime.now().strftime("%Y-%m-%d_%H-%M-%S")
        ordner = os.path.join(WURZEL, "recordings", jetzt)
        weiter = ["--out", ordner, *weiter]
    privat = braucht_sitzung()
    raum = sitzung.Sitzung() if privat else None
    try:
        nebenbei, umgebung = (lambda: None), dict(os.environ)
        if privat:
            print("No PipeWire runs here: recording two synthetic voices in a private session.")
            raum.starte()
            umgebung, nebenbei = raum.umgebung, Stimmen(raum).sprich
        elif prozesse.LINUX:
            print("Recording the microphone and the sound of the PipeWire that runs here.")
        print("Ctrl-C stops.\n" if sekunden is None else f"Stops after {sekunden:g} seconds.\n",
              flush=True)
        nebenbei()
        schau = anzeige.Anzeige()
        status = Aufnahme(weiter, umgebung, schau).lauf(sekunden, nebenbei)
        zeige_ergebnis(ordner, privat)
        if status:
            print(f"\nhallkorb ended with status {status}", file=sys.stderr)
        return status
    except sitzung.SitzungsFehler as fehler:
        print(f"record: the private session failed: {fehler}", file=sys.stderr)
        return 70
    finally:
        if raum:
            raum.beende()


if __name__ == "__main__":
    if sys.argv[1:] == ["--braucht-sitzung"]:
        sys.exit(0 if braucht_sitzung() else 1)
    if shutil.which("cmake") is None:
        sys.exit("record: cmake is missing")
    prozesse.beaufsichtigt(lambda: lauf(sys.argv[1:]))
