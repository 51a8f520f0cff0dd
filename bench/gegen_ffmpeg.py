#!/usr/bin/python3
"""What a whole recording costs, beside ffmpeg doing the same work in the same session.

    bench/gegen_ffmpeg.py [--seconds 60]

Two voices speak in a private PipeWire, a window of 1280 x 800 on a private screen draws 30 times a second,
something new or always the same, or stands still. hallkorb records both channels with echo path and video; ffmpeg grabs the window at 15
pictures a second into libx264 of the same settings, and both channels into WAV files of 16 kHz. They
run in turn; printed are processor seconds, resident memory and the ratio. ffmpeg takes its sound
through PipeWire's PulseAudio server (Debian: pipewire-pulse).
"""

import argparse
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))

import bildschirm  # noqa: E402
import privat  # noqa: E402
import prozesse  # noqa: E402
import tonanlage  # noqa: E402

HALLKORB = os.path.join(WURZEL, "build", "release", "hallkorb")
FENSTER = {"flat areas, moving bar": ["--bewegt", "30"],
           "moving bar, field of noise": ["--bewegt", "30", "--rauschen"],
           "drawn 30 times a second, always the same": ["--bewegt", "30", "--gleichbleibend"],
           "still window": []}


def miss(befehl, umgebung, sekunden, protokoll):
    """(processor seconds, most memory in MiB) of a program that is stopped after that time."""
    prozess = prozesse.starte(befehl, env=umgebung, stdin=subprocess.DEVNULL, stdout=protokoll,
                              stderr=protokoll)
    threading.Timer(sekunden, lambda: prozess.send_signal(signal.SIGINT)).start()
    _, _, verbrauch = os.wait4(prozess.pid, 0)
    prozess.returncode = 0
    return verbrauch.ru_utime + verbrauch.ru_stime, verbrauch.ru_maxrss / 1024


def ffmpeg(fenster, ordner):
    ton = ["-ar", "16000", "-ac", "1", "-y"]
    return ["ffmpeg", "-nostdin", "-loglevel", "error",
            "-f", "x11grab", "-framerate", "15", "-window_id", str(fenster.nummer), "-i", "",
            "-f", "pulse", "-i", "mic", "-f", "pulse", "-i", "speakers.monitor",
            "-map", "0", "-vf", "scale=1280:800", "-c:v", "libx264", "-preset", "veryfast",
            "-profile:v", "main", "-pix_fmt", "yuv420p", "-b:v", "1400k", "-g", "30", "-y",
            os.path.join(ordner, "f.mp4"),
            "-map", "1", *ton, os.path.join(ordner, "me.wav"),
            "-map", "2", *ton, os.path.join(ordner, "them.wav")]


def lauf(sekunden):
    with tonanlage.Tonanlage() as raum, bildschirm.Bildschirm(raum.umgebung) as schirm, \
            tempfile.TemporaryDirectory() as ordner:
        protokoll = open(os.path.join(ordner, "log"), "w+")
        raum.starte_pulse()
        stimmen = privat.Stimmen(raum)
        schluss = threading.Event()

        def rede():
            while not schluss.wait(0.5):
                stimmen.sprich()

        stimmen.sprich()
        redner = threading.Thread(target=rede)
        redner.start()
        print(f"{'':30} {'processor s':>12} {'MiB':>6}   {'':4}")
        for name, mehr in FENSTER.items():
            fenster = schirm.oeffne("Zoom Meeting", ("zoom", "zoom"), "--groesse", "1280", "800",
                                    "--ohne-rahmen", *mehr)
            uns = miss([HALLKORB, "--out", os.path.join(ordner, "h")], schirm.umgebung, sekunden,
                       protokoll)
            sie = miss(ffmpeg(fenster, ordner), schirm.umgebung, sekunden, protokoll)
            schirm.schliesse(fenster)
            print(f"{name}")
            print(f"{'  hallkorb':30} {uns[0]:12.2f} {uns[1]:6.0f}   ratio {uns[0] / sie[0]:.2f}")
            print(f"{'  ffmpeg':30} {sie[0]:12.2f} {sie[1]:6.0f}", flush=True)
            time.sleep(0.5)
        schluss.set()
        redner.join()
        protokoll.seek(0)
        if fehler := [zeile for zeile in protokoll if "rror" in zeile or "fehl" in zeile]:
            print(*fehler, sep="", end="")
            return 1
        return 0


if __name__ == "__main__":
    _leser = argparse.ArgumentParser()
    _leser.add_argument("--seconds", type=float, default=60.0)
    _wahl = _leser.parse_args()
    prozesse.beaufsichtigt(lambda: lauf(_wahl.seconds))
