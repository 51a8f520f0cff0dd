#!/usr/bin/python3
"""A private sound system: a PipeWire and a WirePlumber of our own, with virtual devices.

For machines without a sound card or a desktop, and for tests. Everything lives in a runtime folder of
its own (mode 0700, under /tmp because a socket's path may have only 107 characters), so that any
number of sessions run side by side and none disturbs the PipeWire of a desktop. It holds

    speakers    the default sink; its monitor is the system's sound
    mic         the default source
    mic-feed    a sink: what is played into it comes out of mic

On the command line it runs a command inside such a session and returns its exit status; without a
command it prints the environment and stays until it gets a signal or its standard input's end:

    scripts/tonanlage [--ohne-mikrofon] [--ohne-lautsprecher] [--ohne-wireplumber] [-- command args...]

With --gesteuert it starts nothing by itself and does what another program asks (see steuerung.py).

Nothing is left behind: no process, no folder, however the caller ends (see prozesse.py).
"""

import argparse
import fcntl
import glob
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import konfiguration
import prozesse
import steuerung
import tonserver

_VORSILBE = "hallkorb-anlage-"

laeuft_schon = tonserver.laeuft_schon


class TonanlagenFehler(Exception):
    """The session did not come up, or lost one of its parts."""


def warte_bis(bedingung, was, frist=60.0, schritt=0.02):
    """Calls `bedingung` until it returns something true, and returns that; raises TonanlagenFehler
    naming `was` when the time is over."""
    ende = time.monotonic() + frist
    while True:
        ergebnis = bedingung()
        if ergebnis:
            return ergebnis
        if time.monotonic() > ende:
            raise TonanlagenFehler(f"not there after {frist:g} s: {was}")
        time.sleep(schritt)


class Tonanlage(prozesse.Betrieb):
    """One private session. Use it as a context manager, or call starte() and beende()."""

    def __init__(self, *, mikrofon=True, lautsprecher=True, wireplumber=True):
        self.geraete = [name for name, da in
                        (("speakers", lautsprecher), ("mic", mikrofon), ("mic-feed", mikrofon)) if da]
        self._mit_wireplumber = wireplumber
        self._laufend = {}
        self._sperre = None
        self._spieler = []
        self._beobachter = None
        self._standard_zeilen = b""
        self.ordner = None
        self.umgebung = None
        self.abbruch = lambda: False  # whether to give up waiting for something

    # --- The session as a whole ---------------------------------------------------------------

    def starte(self):
        """Returns when the default devices are there. Raises TonanlagenFehler."""
        self.bereite()
        try:
            self.starte_pipewire()
            if self._mit_wireplumber:
                self.starte_wireplumber()
        except BaseException:
            self.beende()
            raise

    def bereite(self):
        """Makes the folder and `umgebung`, and starts nothing."""
        _entferne_verwaiste()
        self.ordner = tempfile.mkdtemp(prefix=_VORSILBE, dir="/tmp")
        try:
            # Locked while the session lives: an unlocked folder was left behind by SIGKILL.
            self._sperre = open(os.path.join(self.ordner, "sperre"), "w")
            fcntl.flock(self._sperre, fcntl.LOCK_EX)
            self.umgebung = self._baue_umgebung()
        except BaseException:
            self.beende()
            raise

    def beende(self):
        for spieler in self._spieler:
            spieler.kill()
            spieler.wait()
        self._spieler = []
        for name in reversed(list(self._laufend)):
            self.beende_dienst(name)
        self._ende_beobachter()
        if self.ordner:
            shutil.rmtree(self.ordner, ignore_errors=True)
            self.ordner = None
        if self._sperre:
            self._sperre.close()
            self._sperre = None

    def protokoll(self):
        """What the daemons have written, for error messages."""
        texte = []
        for pfad in sorted(glob.glob(os.path.join(self.ordner or "", "*.log"))):
            with open(pfad, encoding="utf-8", errors="replace") as datei:
                texte.append(f"--- {os.path.basename(pfad)}\n{datei.read()}")
        return "\n".join(texte)

    def _baue_umgebung(self):
        umgebung = {name: wert for name, wert in os.environ.items()
                    if name not in ("PULSE_SERVER", "WAYLAND_DISPLAY", "DISPLAY")
                    and not name.startswith(("PIPEWIRE_", "WIREPLUMBER_"))}
        umgebung["XDG_RUNTIME_DIR"] = self.ordner
        for art in ("CONFIG", "STATE", "CACHE", "DATA"):
            umgebung[f"XDG_{art}_HOME"] = os.path.join(self.ordner, art.lower())
            os.mkdir(umgebung[f"XDG_{art}_HOME"])
        umgebung["DBUS_SESSION_BUS_ADDRESS"] = "disabled:"
        return umgebung

    # --- The daemons --------------------------------------------------------------------------

    def starte_pipewire(self):
        """Starts the audio daemon with `geraete`; returns when it answers."""
        konfiguration.schreibe(self.umgebung["XDG_CONFIG_HOME"], self.geraete)
        self._daemon("pipewire", ["pipewire"])
        self._warte(lambda: tonserver.antwortet(os.path.join(self.ordner, "pipewire-0")), "PipeWire's socket")

    def starte_wireplumber(self):
        """Starts the policy daemon, which also gives the devices their ports; returns when it has
        chosen the default devices and the microphone is linked to what feeds it."""
        self._daemon("wireplumber", ["wireplumber"])
        self._warte(self._wireplumber_da, "WirePlumber")
        da = {werte.get("node.name") for werte in self._objekte("Node").values()}
        for art, name in (("sink", "speakers"), ("source", "mic")):
            if name in da:
                self.warte_standard(art, name)
        if {"mic", "mic-feed"} <= da:
            self.verbinde("mic-feed:monitor_MONO", "mic:input_MONO")

    def starte_pulse(self):
        """Starts PipeWire's PulseAudio server, for programs that speak its protocol; returns when it
        takes connections."""
        self._daemon("pipewire-pulse", ["pipewire-pulse"])
        self._warte(lambda: tonserver.antwortet(os.path.join(self.ordner, "pulse", "native")), "pipewire-pulse")

    def beende_pipewire(self):
        """Ends the audio daemon as a crash would. WirePlumber does not survive its daemon; both have to
        be started again."""
        self.beende_dienst("pipewire")
        self.beende_dienst("wireplumber")

    def beende_dienst(self, name, nummer=signal.SIGKILL):
        """Ends "pipewire" or "wireplumber" by a signal if it runs, and returns when it is gone. They
        keep nothing that would have to be saved."""
        self._ende_beobachter()
        prozess = self._laufend.pop(name, None)
        if prozess is None:
            return
        prozess.send_signal(nummer)
        prozess.wait()
        if name == "pipewire":
            # A killed daemon leaves its socket; the next one replaces it, but until then clients
            # must see that nobody is there.
            for rest in glob.glob(os.path.join(self.ordner, "pipewire-0*")):
                os.unlink(rest)

    def sende(self, name, nummer):
        """Sends "pipewire" or "wireplumber" a signal that does not end it, if it runs."""
        if name in self._laufend:
            self._laufend[name].send_signal(nummer)

    def _wireplumber_da(self):
        return any(werte.get("application.name") == "WirePlumber [export]"
                   for werte in self._objekte("Client").values())

    def _ende_beobachter(self):
        if self._beobachter:
            self._beobachter.kill()
            self._beobachter.wait()
            self._beobachter.stdout.close()
            self._beobachter = None

    def _daemon(self, name, befehl):
        with open(os.path.join(self.ordner, name + ".log"), "ab") as protokoll:
            self._laufend[name] = prozesse.starte(
                befehl, env=self.umgebung, stdin=subprocess.DEVNULL, stdout=protokoll,
                stderr=protokoll, cwd="/")

    def _warte(self, bedingung, was, frist=60.0):
        def geprueft():
            for name, prozess in self._laufend.items():
                if prozess.poll() is not None:
                    raise TonanlagenFehler(
                        f"{name} ended with status {prozess.returncode}\n{self.protokoll()}")
            if self.abbruch():
                raise TonanlagenFehler(f"interrupted while waiting for {was}")
            return bedingung()

        try:
            return warte_bis(geprueft, was, frist)
        except TonanlagenFehler as fehler:
            raise TonanlagenFehler(f"{fehler}\n{self.protokoll()}") from None

    # --- Devices ------------------------------------------------------------------------------

    def befehl(self, *worte, pruefe=True):
        """Runs one of PipeWire's tools inside and returns its output."""
        ergebnis = subprocess.run(worte, env=self.umgebung, capture_output=True, text=True,
                                  stdin=subprocess.DEVNULL, timeout=60)
        if pruefe and ergebnis.returncode:
            raise TonanlagenFehler(f"{shlex.join(worte)}: {ergebnis.stderr or ergebnis.stdout}")
        return ergebnis.stdout

    # Nothing below looks at the graph with pw-dump or a new pw-metadata. Both bind the metadata, and
    # PipeWire 0.3.65 withholds a change of them from all other clients that comes just while one
    # binds: the program under test would never hear of its new default device.

    def _objekte(self, art):
        """Id -> properties of all "Node"s, "Client"s and so on."""
        objekte, eigene = {}, {}
        for zeile in self.befehl("pw-cli", "ls", art, pruefe=False).splitlines():
            kopf = re.match(r"\s*id (\d+), type", zeile)
            paar = re.match(r'\s*([\w.-]+) = "(.*)"', zeile)
            if kopf:
                eigene = objekte[int(kopf[1])] = {}
            elif paar:
                eigene[paar[1]] = paar[2]
        return objekte

    def knoten(self, name):
        """The id of the node of that name, or None."""
        return next((nummer for nummer, werte in self._objekte("Node").items()
                     if werte.get("node.name") == name), None)

    def standard(self, art):
        """The name of the default "sink" or "source", or None, as far as the observer knows."""
        if self._beobachter is None:
            self._beobachter = self.starte_programm(
                ["pw-metadata", "--monitor", "0"], stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL)
            os.set_blocking(self._beobachter.stdout.fileno(), False)
            self._standard_zeilen = b""
        while neu := self._beobachter.stdout.read():
            self._standard_zeilen += neu
        # Whole lines only; the last one of a key counts.
        text = self._standard_zeilen[:self._standard_zeilen.rfind(b"\n") + 1].decode("utf-8")
        zeilen = [zeile for zeile in text.splitlines() if f"key:'default.audio.{art}'" in zeile]
        if not zeilen or not zeilen[-1].startswith("update:"):
            return None
        return json.loads(zeilen[-1].split("value:'", 1)[1].rsplit("' type:", 1)[0]).get("name")

    def warte_standard(self, art, name):
        """Returns when the device is the default, by whomever it was chosen."""
        seit = time.monotonic()

        def erreicht():
            nonlocal seit
            if self.standard(art) == name:
                return True
            if time.monotonic() - seit > 1.0:
                # The change may have been withheld from the observer itself.
                self._ende_beobachter()
                seit = time.monotonic()
            return False

        self._warte(erreicht, f"{name} as default {art}")

    def setze_standard(self, art, name):
        """Picks a default device as a user would; returns when it is in force."""
        self.befehl("pw-metadata", "0", f"default.configured.audio.{art}",
                    json.dumps({"name": name}), "Spa:String:JSON")
        self.warte_standard(art, name)

    def setze(self, name, wert):
        """Changes one of the graph's settings, as "clock.force-rate"."""
        self.befehl("pw-metadata", "-n", "settings", "0", name, str(wert))

    def lege_an(self, name, klasse=None, kanaele=None, rang=None):
        """Plugs a device in and returns when it can be linked; `klasse` and so on as in
        konfiguration.GERAETE, whose values serve as defaults. The microphone is linked to its feed if
        that is there."""
        self.befehl("pw-cli", "create-node", "adapter",
                    konfiguration.spa(konfiguration.eigenschaften(name, klasse, kanaele, rang)))
        self._warte(lambda: self.knoten(name) is not None, f"device {name}")
        if name == "mic" and self.knoten("mic-feed") is not None:
            self.verbinde("mic-feed:monitor_MONO", "mic:input_MONO")

    def entferne(self, name):
        """Unplugs a device."""
        knoten = self.knoten(name)
        if knoten is None:
            raise TonanlagenFehler(f"no device {name}")
        self.befehl("pw-cli", "destroy", str(knoten))
        self._warte(lambda: self.knoten(name) is None, f"the end of device {name}")

    def verbinde(self, von, nach):
        def versuche():
            self.befehl("pw-link", "--passive", von, nach, pruefe=False)
            return nach in self.befehl("pw-link", "--links", von, pruefe=False)

        self._warte(versuche, f"link {von} -> {nach}")

    # --- Sound --------------------------------------------------------------------------------

    def spiele(self, datei, ziel):
        """Starts playing a WAV file into `ziel` and returns the process once it is linked there."""
        name = f"spieler-{len(self._spieler)}"
        # pw-play asks for 100 ms by default, which would change the block length of the graph; and
        # what plays into the default sink would otherwise follow when another one is picked.
        eigenschaften = konfiguration.spa({"node.name": name, "node.dont-reconnect": True})
        spieler = self.starte_programm(["pw-play", "--latency", "1024", "--target", ziel,
                                        "--properties", eigenschaften, datei],
                                       stderr=subprocess.DEVNULL)
        self._spieler.append(spieler)

        def verbunden():
            if spieler.poll() is not None:
                raise TonanlagenFehler(f"pw-play {datei} ended with {spieler.returncode}")
            return f"{ziel}:playback_" in self.befehl("pw-link", "--links", "--output", name,
                                                      pruefe=False)

        self._warte(verbunden, f"player of {datei}")
        return spieler

    def starte_programm(self, befehl, **popen):
        """Starts a program inside the session; its end is the caller's business."""
        popen.setdefault("stdin", subprocess.DEVNULL)
        return prozesse.starte(befehl, env=self.umgebung, **popen)


def _entferne_verwaiste():
    """Removes the folders of sessions that were killed."""
    for ordner in glob.glob(f"/tmp/{_VORSILBE}*"):
        try:
            with open(os.path.join(ordner, "sperre"), "r+") as sperre:
                fcntl.flock(sperre, fcntl.LOCK_EX | fcntl.LOCK_NB)
                shutil.rmtree(ordner, ignore_errors=True)
        except OSError:  # in use, another user's, or just being made
            continue


def _lies_argumente(argumente):
    leser = argparse.ArgumentParser(prog="tonanlage", description=__doc__.split("\n\n", 1)[0],
                                    usage="%(prog)s [options] [-- command args...]")
    leser.add_argument("--ohne-mikrofon", action="store_true", help="no mic and no mic-feed")
    leser.add_argument("--ohne-lautsprecher", action="store_true", help="no speakers")
    leser.add_argument("--ohne-wireplumber", action="store_true", help="no policy daemon")
    leser.add_argument("--gesteuert", action="store_true", help=argparse.SUPPRESS)
    leser.add_argument("befehl", nargs="*", metavar="command", help="runs inside the session")
    return leser.parse_args(argumente)


def _lauf(wahl):
    anlage = Tonanlage(mikrofon=not wahl.ohne_mikrofon, lautsprecher=not wahl.ohne_lautsprecher,
                      wireplumber=not wahl.ohne_wireplumber)
    try:
        if wahl.gesteuert:
            return steuerung.diene(anlage, TonanlagenFehler)
        with anlage:
            if wahl.befehl:
                # In the terminal's foreground group, so that a shell or a pager works inside.
                return prozesse.warte(prozesse.starte(wahl.befehl, eigene_gruppe=False,
                                                      env=anlage.umgebung))
            for name in sorted(anlage.umgebung):
                if name.startswith(("XDG_", "DBUS_")):
                    print(f"export {name}={shlex.quote(anlage.umgebung[name])}")
            print("unset PULSE_SERVER PIPEWIRE_REMOTE WAYLAND_DISPLAY DISPLAY", flush=True)
            sys.stdin.read()
            return 0
    except (TonanlagenFehler, OSError) as fehler:
        print(f"tonanlage: {fehler}", file=sys.stderr)
        return 70


if __name__ == "__main__":
    _wahl = _lies_argumente(sys.argv[1:])
    prozesse.beaufsichtigt(lambda: _lauf(_wahl), mit_eltern=True)
