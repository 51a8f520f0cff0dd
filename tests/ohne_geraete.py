#!/usr/bin/python3
"""The modes that need neither devices nor permissions: python3 tests/ohne_geraete.py PROGRAM...

What they print is compared with what must come out whatever resampler and FFT the platform has, so
this is the part of the program that can be run on a machine that nobody sits at.
An emulator with its options may precede the program.
Closing line: "N passed, N failed".
"""

import json
import os
import random
import struct
import subprocess
import sys
import tempfile
import unittest
import wave

RATE = 16000
PROGRAMM = []


def fuehre_aus(*optionen, status=0):
    """The lines that the program prints, as objects."""
    lauf = subprocess.run([*PROGRAMM, *optionen], capture_output=True, text=True, timeout=120)
    if lauf.returncode != status:
        raise AssertionError(f"status {lauf.returncode}, not {status}\n{lauf.stdout}{lauf.stderr}")
    return [json.loads(zeile) for zeile in lauf.stdout.splitlines()]


class Selbsttest(unittest.TestCase):
    """The timeline with synthetic recordings, through the platform's resampler."""

    def test_zeitachse(self):
        zeilen = fuehre_aus("--zeitachse-test")
        self.assertEqual([z["fall"] for z in zeilen], [
            "mikro_lueckenlos", "mikro_aussetzer", "mikro_drift", "systemton_lueckenlos"])
        self.assertEqual([z["soll_laenge"] for z in zeilen], [164800, 164800, 485039, 164800])
        for z in zeilen:
            with self.subTest(fall=z["fall"]):
                self.assertEqual((z["ueberlappungen"], z["verworfen_ms"]), (0, 0.0))
                # What the resampler holds back at the end is missing, and nothing else is.
                self.assertAlmostEqual(z["laenge"], z["soll_laenge"], delta=200)
        lueckenlos, aussetzer, drift, stereo = zeilen
        for z in (lueckenlos, aussetzer, stereo):
            with self.subTest(fall=z["fall"]):
                self.assertEqual(z["laufzeit_samples"], 0)
                self.assertLess(z["rest_anfang_db"], -40.0)
                self.assertLess(z["rest_ende_db"], -40.0)
        for z in (lueckenlos, stereo):
            self.assertEqual((z["luecken"], z["nullen"]), (0, 0))
        self.assertEqual(aussetzer["luecken"], 1)
        self.assertAlmostEqual(aussetzer["luecken_ms"], 100.0, delta=5.0)
        self.assertAlmostEqual(aussetzer["nullen"], 1600, delta=80)
        # 15 ms in all, made up for whenever 5 have come together; the tone is late by up to as much.
        self.assertIn(drift["luecken"], (1, 2, 3))


class Fenster(unittest.TestCase):
    """The choice of a window from a list."""

    def test_zoom(self):
        with tempfile.TemporaryDirectory() as ordner:
            liste = os.path.join(ordner, "fenster.json")
            with open(liste, "w", encoding="utf-8") as datei:
                json.dump({"fenster": [{
                    "id": 7, "titel": "Zoom Meeting", "bundle": "us.zoom.xos", "app": "zoom.us",
                    "x": 0, "y": 0, "breite": 1280, "hoehe": 800, "sichtbar": True, "ebene": 0}]},
                    datei)
            (wahl,) = fuehre_aus("--fenster-wahl", liste)
        self.assertEqual((wahl["art"], wahl["id"], wahl["rang"]), ("fenster", 7, 1))

    def test_keine_liste(self):
        self.assertEqual(fuehre_aus("--fenster-wahl", "/nonexistent", status=2), [])


class Echo(unittest.TestCase):
    """Echo cancellation of files, with the platform's FFT."""

    def test_rauschen_50_ms_spaeter(self):
        zufall = random.Random(1)
        fern = [zufall.randint(-8000, 8000) for _ in range(RATE * 8)]
        nah = [fern[i - 800] // 3 if i >= 800 else 0 for i in range(len(fern))]
        with tempfile.TemporaryDirectory() as ordner:
            pfade = [os.path.join(ordner, name) for name in ("mic.wav", "ref.wav", "out.wav")]
            for pfad, samples in zip(pfade, (nah, fern)):
                with wave.open(pfad, "wb") as datei:
                    datei.setnchannels(1)
                    datei.setsampwidth(2)
                    datei.setframerate(RATE)
                    datei.writeframes(struct.pack(f"<{len(samples)}h", *samples))
            (zahlen,) = fuehre_aus("--echo-datei", *pfade)
            with wave.open(pfade[2]) as datei:
                rein = struct.unpack(f"<{len(nah)}h", datei.readframes(len(nah)))
        self.assertAlmostEqual(zahlen["verzoegerung_ms"], 50.0, delta=1.0)
        self.assertEqual((zahlen["samples"], zahlen["ausfaelle"]), (len(nah), 0))
        # The last two seconds: the filter has long converged, and the microphone holds echo alone.
        leistung = [sum(x * x for x in samples[-2 * RATE:]) for samples in (rein, nah)]
        self.assertLess(leistung[0], leistung[1] / 1000)  # 30 dB


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit("usage: ohne_geraete.py PROGRAM...")
    PROGRAMM = [*sys.argv[1:-1], os.path.abspath(sys.argv[-1])]
    del sys.argv[1:]
    _lauf = unittest.main(exit=False).result
    _gescheitert = len({getattr(fall, "test_case", fall).id()
                        for fall, _ in _lauf.failures + _lauf.errors})
    print(f"{_lauf.testsRun - _gescheitert} passed, {_gescheitert} failed")
    sys.exit(1 if _gescheitert or not _lauf.testsRun else 0)
