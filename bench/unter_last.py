#!/usr/bin/python3
"""Blocks lost on a busy machine, beside another recorder in the same session.

    bench/unter_last.py [--seconds 60] [--busy 8] [--rights all|nice|none]

In a private PipeWire both record what the speakers play, while so many processes do nothing but
compute. What is played counts its samples, so the other recorder's file (pw-record) shows each block
that it missed; hallkorb reports its gaps. Printed are cycles of the graph (1024 frames) for both.
Without all rights both recorders are refused real-time priority, with `none` a nice level too; the
daemon and the player keep theirs.
"""

import argparse
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

import numpy

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))

import prozesse  # noqa: E402
import tonanlage  # noqa: E402

HALLKORB = os.path.join(WURZEL, "build", "release", "hallkorb")
RATE = 48000
ZYKLUS = 1024
EINHEIT = 1 << 24  # a float holds each whole number up to this
ANFANG = 2.0  # seconds in which links come about
LUECKE = re.compile(r"Zeitachse (\w+): Luecke ([\d.]+) ms bei ([\d.]+) s")
OHNE = ["setpriv", "--bounding-set", "-sys_nice", "--inh-caps", "-sys_nice"]
RECHTE = {"all": [], "nice": ["nice", "-n", "-11", *OHNE], "none": OHNE}


def schreibe_zaehler(pfad, sekunden):
    """A float WAV of two channels in which each sample is its own number."""
    zahlen = (numpy.arange(1, round(sekunden * RATE) + 1) / EINHEIT).astype("<f4")
    daten = numpy.repeat(zahlen, 2).tobytes()
    with open(pfad, "wb") as datei:
        datei.write(b"RIFF" + (36 + len(daten)).to_bytes(4, "little") + b"WAVEfmt "
                    + (16).to_bytes(4, "little") + (3).to_bytes(2, "little")
                    + (2).to_bytes(2, "little") + RATE.to_bytes(4, "little")
                    + (RATE * 8).to_bytes(4, "little") + (8).to_bytes(2, "little")
                    + (32).to_bytes(2, "little") + b"data" + len(daten).to_bytes(4, "little") + daten)


def gehoerte(pfad):
    """(cycles heard, cycles missed) of the other recorder after the first seconds."""
    with open(pfad, "rb") as datei:
        roh = datei.read()
    anfang = roh.index(b"data") + 8
    ton = numpy.frombuffer(roh[anfang:anfang + (len(roh) - anfang) // 8 * 8], "<f4")[::2]
    # Zeros are turns that the player missed, which nobody could hear.
    zahlen = numpy.rint(ton[ton > 0].astype(numpy.float64) * EINHEIT).astype(numpy.int64)
    zahlen = zahlen[zahlen > ANFANG * RATE]
    spruenge = numpy.diff(zahlen) - 1
    return len(zahlen) // ZYKLUS, round(spruenge[spruenge > 0].sum() / ZYKLUS)


def luecken(zeilen, kanal):
    """Cycles that hallkorb reports as missed, of one channel, after the first seconds."""
    ms = sum(float(treffer[2]) for treffer in map(LUECKE.search, zeilen)
             if treffer and treffer[1] == kanal and float(treffer[3]) > ANFANG)
    return round(ms / 1000 * RATE / ZYKLUS)


def lauf(wahl):
    vorsatz = RECHTE[wahl.rights]
    with tempfile.TemporaryDirectory(prefix="hallkorb-last-") as ordner, tonanlage.Tonanlage() as raum:
        zaehler, anderer = (os.path.join(ordner, name) for name in ("zaehler.wav", "anderer.wav"))
        schreibe_zaehler(zaehler, wahl.seconds + 30)
        raum.spiele(zaehler, "speakers")
        wir = prozesse.starte([*vorsatz, HALLKORB, "--no-video", "--out", os.path.join(ordner, "a")],
                              env=raum.umgebung, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              text=True)
        sie = raum.starte_programm(
            [*vorsatz, "pw-record", "--latency", str(ZYKLUS), "-P", "{ stream.capture.sink=true }",
             "--format", "f32", "--rate", str(RATE), "--channels", "2", anderer])
        wir.stdout.readline()  # "started"
        beschaeftigte = [prozesse.starte([sys.executable, "-c", "while True: pass"])
                         for _ in range(wahl.busy)]
        time.sleep(wahl.seconds)
        wir.send_signal(signal.SIGINT)
        sie.send_signal(signal.SIGINT)
        for prozess in beschaeftigte:
            prozess.kill()
            prozess.wait()
        zeilen = wir.communicate()[1].splitlines()
        sie.wait()
        gehoert, verpasst = gehoerte(anderer)
        print(f"pw-record: {verpasst} of {gehoert + verpasst} cycles missed")
        print(f"hallkorb:  them {luecken(zeilen, 'them')}, me {luecken(zeilen, 'me')} missed")
        for zeile in zeilen:
            if "Vorrang" in zeile:
                print(zeile)
    return 0


if __name__ == "__main__":
    _leser = argparse.ArgumentParser()
    _leser.add_argument("--seconds", type=float, default=60.0)
    _leser.add_argument("--busy", type=int, default=8)
    _leser.add_argument("--rights", choices=RECHTE, default="all")
    _wahl = _leser.parse_args()
    prozesse.beaufsichtigt(lambda: lauf(_wahl))
