"""Which sound servers this computer has, and whose: what scripts/record decides by."""

import functools
import glob
import os
import re
import socket
import struct
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
    return any(_ist_pulseaudio(os.path.join(ordner, "native")) for ordner in _pulse_ordner(umgebung))


def _pulse_ordner(umgebung):
    """The folders in which the user's PulseAudio may have its socket. Without XDG_RUNTIME_DIR they are in the
    home folder, one for each computer that shares it."""
    if umgebung.get("PULSE_RUNTIME_PATH"):
        return [umgebung["PULSE_RUNTIME_PATH"]]
    daheim = umgebung.get("XDG_CONFIG_HOME") or os.path.join(
        umgebung.get("HOME") or os.path.expanduser("~"), ".config")
    daheim = os.path.join(_wurzel(), daheim.lstrip("/"), "pulse")
    ordner = sorted(glob.glob(os.path.join(glob.escape(daheim), "*-runtime")))
    if umgebung.get("XDG_RUNTIME_DIR"):
        ordner.insert(0, os.path.join(umgebung["XDG_RUNTIME_DIR"], "pulse"))
    return ordner


def fremder_server():
    """The socket of a sound server that answers outside of this environment, or None: sudo, cron and
    ssh take away where the desktop's is, and PulseAudio has one for the whole computer, too. A PipeWire
    without an audio device is none: on a server every login may start one."""
    for muster in ("run/user/*/pipewire-0", "run/user/*/pulse/native", "tmp/pulse-*/native",
                   "run/pulse/native"):
        for name in sorted(glob.glob(os.path.join(_wurzel(), muster))):
            if _ist_pulseaudio(name) if name.endswith("native") else antwortet(name) and _kennt_geraete(name):
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


def _ist_pulseaudio(ort):
    """Whether PulseAudio answers at its socket, and not PipeWire's server of the same protocol, which is there
    also without any device. One of which this cannot be found out counts."""
    try:
        with socket.socket(socket.AF_UNIX) as verbindung:
            verbindung.connect(ort)
            wer = verbindung.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
    except OSError:
        return False
    nummer, nutzer, _ = struct.unpack("3i", wer)
    name = _programm(nummer)
    if name != "systemd":
        return name not in ("pipewire-pulse", "pipewire")
    # It holds the socket for whichever of the two is installed, and the connection has started that one.
    ende = time.monotonic() + GERAETE_FRIST
    while True:
        namen = _programme(nutzer)
        if "pulseaudio" in namen or time.monotonic() > ende:
            return True
        if "pipewire-pulse" in namen:
            return False
        time.sleep(0.2)


def _programme(nutzer):
    """The names of a user's processes."""
    namen = set()
    for ordner in glob.glob("/proc/[0-9]*"):
        try:
            if os.stat(ordner).st_uid == nutzer:
                namen.add(_programm(os.path.basename(ordner)))
        except OSError:  # has ended
            continue
    return namen


def _programm(nummer):
    """The name of a process, or None."""
    try:
        with open(f"/proc/{nummer}/comm", encoding="utf-8", errors="replace") as datei:
            return datei.read().rstrip("\n")
    except OSError:
        return None


@functools.cache
def _kennt_geraete(ort):
    ende = time.monotonic() + GERAETE_FRIST
    while True:
        try:
            lauf = subprocess.run(["pw-cli", "ls", "Node"], env={**os.environ, "PIPEWIRE_REMOTE": ort},
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=15)
        except (OSError, subprocess.TimeoutExpired):
            return True
        if lauf.returncode or _nennt_geraete(lauf.stdout):
            return True
        if time.monotonic() > ende:
            return False
        time.sleep(0.2)


def _nennt_geraete(knoten):
    """Whether pw-cli's list of nodes names a device. auto_null is none: PipeWire's PulseAudio server makes it
    while there is no device."""
    return any('media.class = "Audio/' in einer and 'node.name = "auto_null"' not in einer
               for einer in re.split(r"(?m)^\s*id \d+, type", knoten))


def antwortet(name):
    """Whether somebody takes connections at a socket."""
    try:
        with socket.socket(socket.AF_UNIX) as verbindung:
            verbindung.connect(name)
        return True
    except OSError:
        return False
