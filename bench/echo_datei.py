#!/usr/bin/python3
"""What --echo-datei costs on long files: processor seconds per second of audio, and memory.

    bench/echo_datei.py

The conversation of scripts/lib/voices.py is repeated to 10 and to 20 minutes, and followed by silence.
"""

import multiprocessing
import os
import subprocess
import sys
import tempfile

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))

HALLKORB = os.path.join(WURZEL, "build", "release", "hallkorb")
RATE = 16000


def schreibe(mic, ref, sekunden, stille):
    """The conversation, repeated to that length, then silence."""
    import numpy
    import voices

    fern, mikro = (voices.auf_rate(spur, voices.RATE, RATE) for spur in voices.baue_spuren()[:2])
    for pfad, spur in ((ref, fern), (mic, mikro)):
        voices.schreibe(pfad, numpy.concatenate([numpy.resize(spur, sekunden * RATE),
                                                 numpy.zeros(stille * RATE)]), rate=RATE)


def miss(ordner, name, sekunden, stille=0):
    mic, ref, out = (os.path.join(ordner, datei) for datei in ("mic.wav", "ref.wav", "out.wav"))
    # In a process of its own, with all that it imports: a child's memory counts from what its parent
    # had when it was started.
    schreiber = multiprocessing.get_context("spawn").Process(target=schreibe, args=(mic, ref, sekunden, stille))
    schreiber.start()
    schreiber.join()
    prozess = subprocess.Popen([HALLKORB, "--echo-datei", mic, ref, out], stdout=subprocess.DEVNULL)
    _, status, verbrauch = os.wait4(prozess.pid, 0)
    if status:
        sys.exit(f"status {status}")
    zeit = verbrauch.ru_utime + verbrauch.ru_stime
    sekunden += stille
    print(f"{name:36} {zeit:6.2f} s  {zeit / sekunden:.4f} s a second  "
          f"{verbrauch.ru_maxrss / 1024:5.0f} MiB")


def hauptteil():
    with tempfile.TemporaryDirectory() as ordner:
        miss(ordner, "10 minutes of conversation", 600)
        miss(ordner, "20 minutes of conversation", 1200)
        miss(ordner, "30 s of it, then 10 minutes silent", 30, 600)


if __name__ == "__main__":
    hauptteil()
