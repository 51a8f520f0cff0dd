"""Which sound servers this computer has, and whose: what scripts/record decides by."""

import functools
import glob
import os
import re
import socket
import subprocess
import time


def laeuft_schon(umgebung=None):
    """Whether a PipeWire answers at a place where programs look for it."""
    return _pipewire(umgebung) is not None


def hat_geraete(umgebung=None):
    """Whether a PipeWire with an audio device answers there. A server of which this cannot be found out
    counts: programs that record it will report what is wrong."""
    ort = _pipewire(umgebung)
    return ort is not None and _kennt_geraete(ort)


def pulseaudio_laeuft(umgebung=None):
    """Whether a PulseAudio answers there, or a server that the user names is to be asked."""
    umgebung = os.environ if umgebung is None else umgebung
    if umgebung.get("PULSE_SERVER"):
        return True
    ordner = umgebung.get("PULSE_RUNTIME_PATH")
    if not ordner and umgebung.get("XDG_RUNTIME_DIR"):
        ordner = os.path.join(umgebung["XDG_RUNTIME_DIR"], "pulse")
    return bool(ordner) and antwortet(os.path.join(ordner, "native"))


def fremder_server():
    """The socket of a sound server that answers outside of this environment, or None: sudo, cron and
    ssh take away where the desktop's is, and PulseAudio has one for the whole computer, too. A PipeWire
    without an audio device is none: on a server every login may start one."""
    for muster in ("run/user/*/pipewire-0", "run/user/*/pulse/native", "run/pulse/native"):
        for name in sorted(glob.glob(os.path.join(_wurzel(), muster))):
            if antwortet(name) and (name.endswith("native") or _kennt_geraete(name)):
                return name
    return None


def _wurzel():
    """Below which the computer's sound servers are looked for. Tests have one of their own, so that they
    do not depend on whose desktop they run on."""
    return os.environ.get("HALLKORB_SERVER_ROOT", "/")


def _pipewire(umgebung):
    """The socket of the PipeWire that a program in this environment would find, or None."""
    umgebung = os.environ if umgebung is None else umgebung
    name = umgebung.get("PIPEWIRE_REMOTE") or "pipewire-0"
    ordner = umgebung.get("PIPEWIRE_RUNTIME_DIR") or umgebung.get("XDG_RUNTIME_DIR")
    if name.startswith("/"):
        orte = [name]
    else:
        # The library looks for one for the whole computer last.
        orte = [os.path.join(ort, name)
                for ort in (ordner, os.path.join(_wurzel(), "run/pipewire")) if ort]
    return next((ort for ort in orte if antwortet(ort)), None)


# A session that has just begun may not have found its devices yet.
GERAETE_FRIST = 5.0


@functools.cache
def _kennt_geraete(ort):
    ende = time.monotonic() + GERAETE_FRIST
    while True:
        try:
            lauf = subprocess.run(["pw-cli", "ls", "Node"], env={**os.environ, "PIPEWIRE_REMOTE": ort},
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=15)
        except (OSError, subprocess.TimeoutExpired):
            return True
        if lauf.returncode or re.search(r'^\s*media\.class = "Audio/', lauf.stdout, re.MULTILINE):
            return True
        if time.monotonic() > ende:
            return False
        time.sleep(0.2)


def antwortet(name):
    """Whether somebody takes connections at a socket."""
    try:
        with socket.socket(socket.AF_UNIX) as verbindung:
            verbindung.connect(name)
        return True
    except OSError:
        return False
