"""A private screen: an X server without a monitor, a window manager, and real windows in it.

For machines without a desktop, and for tests. A window is a program of its own that is controlled by lines
(tests/support/TestFenster.cpp), so that windows open, move, hide and end as those of any application.
"""

import itertools
import os
import select
import socket
import subprocess
import time

import prozesse

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FENSTERPROGRAMM = os.path.join(WURZEL, "build", "release", "testfenster")
FRIST = 60.0
_ZAEHLER = itertools.count()


class BildschirmFehler(Exception):
    """The screen did not come up, or one of its windows is gone."""


def laeuft_schon(umgebung=None):
    """Whether there is a screen to record: an X server that answers, or a Wayland session."""
    umgebung = os.environ if umgebung is None else umgebung
    if umgebung.get("WAYLAND_DISPLAY"):
        return True
    rechner, doppelpunkt, nummer = umgebung.get("DISPLAY", "").rpartition(":")
    if not doppelpunkt:
        return False
    if rechner not in ("", "unix"):
        return True  # another machine's, which the recorder has to find out for itself
    pfad = f"/tmp/.X11-unix/X{nummer.split('.')[0]}"
    for adresse in (pfad, "\0" + pfad):
        try:
            with socket.socket(socket.AF_UNIX) as verbindung:
                verbindung.connect(adresse)
            return True
        except OSError:
            continue
    return False


def _zeile(schirm, strom, was):
    """The next line of a program on that screen. Gives up when it is too late, when the program or a
    part of the screen has ended, or when the screen's `abbruch` returns true."""
    ende = time.monotonic() + FRIST
    while not select.select([strom], [], [], 0.2)[0]:
        schirm.pruefe()
        if schirm.abbruch():
            raise BildschirmFehler(f"interrupted while waiting for {was}")
        if time.monotonic() > ende:
            raise BildschirmFehler(f"not there after {FRIST:g} s: {was}")
    zeile = strom.readline()
    if not zeile:
        raise BildschirmFehler(f"ended: {was}")
    return zeile.decode().strip()


class Fenster:
    """A window. `titel`, and `klasse` as X11 has it: (instance, class). Further options as in
    TestFenster.cpp."""

    def __init__(self, schirm, titel, klasse, *optionen):
        self._prozess = prozesse.starte(
            [FENSTERPROGRAMM, "--titel", titel, "--klasse", *klasse, *optionen],
            env=schirm.umgebung, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        try:
            self.nummer = int(_zeile(schirm, self._prozess.stdout, f"the window {titel!r}"))
        except BaseException:
            self.schliesse()
            raise
        self._schirm = schirm

    def tu(self, befehl):
        """Returns when the server has done it."""
        self._prozess.stdin.write(befehl.encode() + b"\n")
        antwort = _zeile(self._schirm, self._prozess.stdout, f"the window's {befehl!r}")
        if antwort != "ok":
            raise BildschirmFehler(f"the window did not do {befehl!r}")

    def schliesse(self):
        self._prozess.kill()
        self._prozess.wait()
        for strom in (self._prozess.stdin, self._prozess.stdout):
            strom.close()


class Bildschirm(prozesse.Betrieb):
    """Use it as a context manager, or call starte() and beende(). `umgebung` is what is to be added
    to; afterwards it holds DISPLAY as well."""

    def __init__(self, umgebung=None, *, verwalter=True):
        self.umgebung = dict(os.environ if umgebung is None else umgebung)
        self.abbruch = lambda: False  # whether to give up waiting for something
        self._mit_verwalter = verwalter
        self._server = None
        self._verwalter = None
        self._fenster = []
        # A number that no other server gets as long as this process lives: were the server to
        # end and its number be taken by another one, the recorder would find itself on that.
        self._nummer = 1000 + (os.getpid() + 997 * next(_ZAEHLER)) % 50000

    def starte(self):
        """Returns when windows can be opened. Raises BildschirmFehler."""
        try:
            self._starte()
        except FileNotFoundError as fehler:
            self.beende()
            raise BildschirmFehler(f"{fehler.filename} is not installed") from None
        except BaseException:
            self.beende()
            raise

    def _starte(self):
        self.umgebung.pop("WAYLAND_DISPLAY", None)
        self._server = prozesse.starte(
            ["Xvfb", f":{self._nummer}", "-displayfd", "1", "-screen", "0", "1600x1000x24", "-nolisten", "tcp",
             "-noreset"],
            env=self.umgebung, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, bufsize=0)
        self.umgebung["DISPLAY"] = ":" + _zeile(self, self._server.stdout, "Xvfb")
        if self._mit_verwalter:
            # It reports when it has begun to manage windows.
            self._verwalter = prozesse.starte(
                ["openbox", "--sm-disable", "--startup", "echo bereit"], env=self.umgebung,
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                bufsize=0)
            while _zeile(self, self._verwalter.stdout, "openbox") != "bereit":
                pass

    def pruefe(self):
        """Raises BildschirmFehler when the server or the window manager has ended."""
        for name, prozess in (("Xvfb", self._server), ("openbox", self._verwalter)):
            if prozess is not None and prozess.poll() is not None:
                raise BildschirmFehler(f"{name} ended with status {prozess.returncode}")

    def oeffne(self, titel, klasse, *optionen):
        """Opens a window and returns it once it is shown."""
        fenster = Fenster(self, titel, klasse, *optionen)
        self._fenster.append(fenster)
        return fenster

    def schliesse(self, fenster):
        """Ends a window's program, and with it the window."""
        self._fenster.remove(fenster)
        fenster.schliesse()

    def sende_server(self, nummer):
        """Sends the X server a signal that does not end it."""
        self._server.send_signal(nummer)

    def ende_server(self):
        """Ends the X server, as a logout would, and with it everything that it shows."""
        self._server.terminate()  # killed, it would leave its socket and its lock
        try:
            self._server.wait(FRIST)
        except subprocess.TimeoutExpired:
            self._server.kill()
            self._server.wait()

    def starte_neu(self):
        """Kills the X server if it runs, and starts it again at the same place, without a window."""
        if self._server.poll() is None:
            self.ende_server()
        self.beende()
        self.starte()

    def beende(self):
        for fenster in self._fenster:
            fenster.schliesse()
        self._fenster = []
        if self._verwalter is not None:
            self._verwalter.kill()
            self._verwalter.wait()
            self._verwalter.stdout.close()
        if self._server is not None:
            self.ende_server()
            self._server.stdout.close()
        self._server = self._verwalter = None
