"""What a machine lacks for a recording, brought up for the time of one: sound, a screen, or both."""

import os
import re
import subprocess

import bildschirm
import fensterspiel
import prozesse
import tonanlage
import tonserver

FEHLER = (tonanlage.TonanlagenFehler, bildschirm.BildschirmFehler, OSError,
          subprocess.SubprocessError)


def was_fehlt(argumente):
    """The sets of scripts/setup.sh that a recording with these arguments needs here."""
    fehlt = []
    if prozesse.LINUX:
        if not _ton_da() and not tonserver.fremder_server():
            fehlt.append("tonanlage")
        if "--no-video" not in argumente and not bildschirm.laeuft_schon():
            fehlt.append("bildschirm")
    return fehlt


def _ton_da():
    """Whether this environment has a sound server that is somebody's. If that is PulseAudio, the recorder
    is to report that it cannot record it; our voices in its place would be a lie. A PipeWire without any
    device, as a server starts it at each login, has nothing that they could take the place of."""
    return tonserver.pulseaudio_laeuft() or tonserver.hat_geraete()


def woanders():
    """What to do if somebody's sound is there, but not for a recording begun like this; or None."""
    if not prozesse.LINUX or _ton_da():
        return None
    server = tonserver.fremder_server()
    if server is None:
        return None
    klage = f"a sound server answers at {server}, but not in this environment: "
    sitzung = re.match(r".*/run/user/\d+(?=/)", server)
    if sitzung and os.stat(sitzung[0]).st_uid == os.getuid():
        return klage + f"run it with XDG_RUNTIME_DIR={sitzung[0]}"
    return klage + "run it as that server's user, without sudo (packages alone: sudo scripts/setup.sh build)"


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


class Privat:
    """The private part of a recording's surroundings; does nothing if `fehlt` is empty."""

    def __init__(self, fehlt):
        self.ton = "tonanlage" in fehlt
        self.bild = "bildschirm" in fehlt
        self.umgebung = dict(os.environ)
        self._raum = tonanlage.Tonanlage() if self.ton else None
        self._schirm = None
        self._stimmen = None
        self._spiel = None

    def starte(self):
        """Returns when the voices speak and windows can be opened. Raises one of FEHLER."""
        if self._raum:
            if tonserver.laeuft_schon():
                print("(The one that runs has no audio device.)")
            self._raum.starte()
            # The session is for sound only: a screen of the machine's own is recorded as it is.
            schirm = {name: os.environ[name] for name in ("DISPLAY", "WAYLAND_DISPLAY")
                      if name in os.environ}
            self.umgebung = self._raum.umgebung | schirm
        if self.bild:
            self._schirm = bildschirm.Bildschirm(self.umgebung)
            self._schirm.starte()
            self.umgebung = self._schirm.umgebung
            self._spiel = fensterspiel.Fensterspiel(self._schirm)
        if self._raum:
            self._stimmen = Stimmen(self._raum)
            self._stimmen.sprich()

    def takt(self, jetzt, melde, abbruch):
        """To be called about once a second while the recording runs; `jetzt` in seconds, `melde` gets
        what happens, `abbruch` returns whether to return early. Raises one of FEHLER."""
        if self._stimmen:
            self._raum.abbruch = abbruch
            self._stimmen.sprich()
        if self._spiel:
            self._schirm.abbruch = abbruch
            self._spiel.takt(jetzt, melde)

    def beende(self):
        if self._schirm:
            self._schirm.beende()
        if self._raum:
            self._raum.beende()
