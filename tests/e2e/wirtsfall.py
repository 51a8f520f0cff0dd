"""A host of examples/ as a test runs it: its transcript, its state, its end."""

import io
import os
import shlex
import signal
import subprocess

import lauf
import prozesse

ABSPIELER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "abspieler.py")


def uhr(sekunden):
    ms = round(sekunden * 1000)
    return f"{ms // 3600000:02}:{ms // 60000 % 60:02}:{ms // 1000 % 60:02}.{ms % 1000:03}"


class Wirt:
    """A running host: its transcript as it grows on standard output, its state on standard error. `ungelesen`
    is the one of them that nobody reads: its reader has gone."""

    def __init__(self, test, befehl, umgebung, ordner, ungelesen=None):
        self.test = test
        self.ordner = ordner
        stroeme = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        if ungelesen:
            ende, stroeme[ungelesen] = os.pipe()
            os.close(ende)
        self.prozess = prozesse.starte(befehl, env=umgebung, stdin=subprocess.DEVNULL, bufsize=0, **stroeme)
        test.addCleanup(self._raeume_auf)
        if ungelesen:
            os.close(stroeme[ungelesen])
            setattr(self.prozess, ungelesen, io.BytesIO())
        self.aus = lauf.Zeilen(self.prozess.stdout)
        self.stand = lauf.Zeilen(self.prozess.stderr)

    def _raeume_auf(self):
        self.prozess.kill()
        self.prozess.wait()
        # A player that nobody reads any more is still there.
        for pid in prozesse.nachkommen():
            os.kill(pid, signal.SIGKILL)
        for zeilen, strom in ((self.aus, self.prozess.stdout), (self.stand, self.prozess.stderr)):
            zeilen.schliesse()
            strom.close()

    def meldung(self, text, ab=0):
        """The number of the first line of its state from `ab` on that holds the text."""
        gefunden = self.stand.warte(lambda zeile: text in zeile, lauf.FRIST, ab)
        if gefunden is None:
            self.test.fail(f"no {text!r}\n{self.alles()}")
        return gefunden[0]

    def gesagt(self, anzahl):
        """Returns when so many answers of the transcriber are there."""
        self.test.warte_bis(lambda: len(self.aus.texte()) >= anzahl, f"{anzahl} answers")

    def rekorder(self):
        """The recorder's process, by its program: a transcriber may run beside it."""
        for pid in prozesse.nachkommen(self.prozess.pid):
            try:
                if os.path.samefile(f"/proc/{pid}/exe", lauf.PROGRAMM):
                    return pid
            except FileNotFoundError:
                continue
        return None

    def spieler(self):
        """The player's process in the recorder's place, by its words."""
        for pid in prozesse.nachkommen(self.prozess.pid):
            try:
                with open(f"/proc/{pid}/cmdline", "rb") as datei:
                    if b"--spiele" in datei.read().split(b"\0")[:-1]:
                        return pid
            except (FileNotFoundError, ProcessLookupError):
                continue
        return None

    def ende(self, status):
        try:
            gekommen = self.prozess.wait(lauf.FRIST)
        except subprocess.TimeoutExpired:
            self.test.fail(f"still running\n{self.alles()}")
        self.aus.schliesse()
        self.stand.schliesse()
        self.test.assertEqual(gekommen, status, self.alles())

    def lies(self, name):
        with open(os.path.join(self.ordner, name), encoding="utf-8") as datei:
            return datei.read()

    def alles(self):
        return "\n".join(["transcript:", *self.aus.texte(), "state:", *self.stand.texte()])


class Wirtsfall(lauf.Fall):
    """What the tests of one language share; `BEFEHL` starts its host."""

    BEFEHL = ()

    def setUp(self):
        super().setUp()
        self.ziel = os.path.join(self.ordner, "gespraech")
        self.zeilen = os.path.join(self.ordner, "zeilen.jsonl")

    def wirt(self, *optionen, rekorder=lauf.PROGRAMM, fuer_rekorder=(), umgebung=None,
             schreiber="basename -s .wav", ungelesen=None):
        """`schreiber` is the transcriber; the usual one answers with the file's name."""
        return Wirt(self, [*self.BEFEHL, "--recorder", rekorder, "--folder", self.ziel, "--transcriber",
                           schreiber, *optionen, "--", *fuer_rekorder],
                    os.environ if umgebung is None else umgebung, self.ziel, ungelesen)

    def gespielt(self, zeilen, *optionen, spiel=(), **mehr):
        """A host to which these lines are played."""
        with open(self.zeilen, "w", encoding="utf-8", newline="") as datei:
            datei.writelines(zeile + "\n" for zeile in zeilen)
        return self.wirt(*optionen, rekorder=ABSPIELER, fuer_rekorder=["--spiele", self.zeilen, *spiel],
                         **mehr)

    def nacheinander(self, *aufnahmen, optionen=(), **mehr):
        """A host whose recorder is started several times: (lines, the player's options) of each."""
        faelle = ""
        for nummer, (zeilen, spiel) in enumerate(aufnahmen, 1):
            pfad = os.path.join(self.ordner, f"{os.path.basename(self.ziel)}-{nummer}.jsonl")
            with open(pfad, "w", encoding="utf-8") as datei:
                datei.writelines(zeile + "\n" for zeile in zeilen)
            faelle += f"*/{nummer}) exec {shlex.join([ABSPIELER, '--spiele', pfad, *spiel])} \"$@\";;\n"
        rekorder = os.path.join(self.ordner, f"{os.path.basename(self.ziel)}.sh")
        with open(rekorder, "w", encoding="utf-8") as datei:
            datei.write(f"#!/bin/sh\ncase $2 in\n{faelle}esac\n")
        os.chmod(rekorder, 0o700)
        return self.wirt(*optionen, rekorder=rekorder, **mehr)

    def pruefe_abschrift(self, wirt, erwartet):
        """(begin, end, channel, text) of each piece, in both files."""
        self.assertEqual(wirt.lies("transcript.txt").splitlines(),
                         [f"{uhr(von)} {kanal}: {text}" for von, _, kanal, text in erwartet])
        mit_zeichen = [text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
                       for _, _, _, text in erwartet]
        self.assertEqual(wirt.lies("transcript.vtt").split("\n\n"), [
            "WEBVTT" if erwartet else "WEBVTT\n",
            *(f"{uhr(von)} --> {uhr(bis)}\n<v {kanal}>{text}"
              + ("\n" if nummer == len(erwartet) - 1 else "")
              for nummer, ((von, bis, kanal, _), text) in enumerate(zip(erwartet, mit_zeichen)))])
