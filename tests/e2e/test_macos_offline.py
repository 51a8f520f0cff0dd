"""The modes that end by themselves, of the program as it is built for macOS."""

import json
import os
import re
import subprocess
import sys

import drehbuch
import lauf
import test_offline

sys.path.insert(0, os.path.join(lauf.WURZEL, "tests"))

import vektoren  # noqa: E402


class EchoDatei(test_offline.EchoDatei):
    MACOS = True
    PROGRAMM = drehbuch.PROGRAMM
    UMGEBUNG = drehbuch.SANITIZER
    GEDULD = 600.0
    HOECHSTENS = float("inf")  # the sanitizers take memory for every byte that was ever read

    test_speicher_unabhaengig_von_der_laenge = None
    test_speicher_bei_laengerer_referenz = None


class Zeitachse(test_offline.Zeitachse):
    MACOS = True
    PROGRAMM = drehbuch.PROGRAMM
    UMGEBUNG = drehbuch.SANITIZER
    GEDULD = 600.0


class WieLinux(lauf.Fall):
    """The program for Linux with the same arguments: what it prints and writes, byte for byte."""

    MACOS = True
    MIT_TONANLAGE = False
    SZENE = "ungerade"  # the shortest one that is so calm that rounding of the transform does not show
    RECHENZEIT = re.compile(r'"rechenzeit_s":\d+\.\d\d')

    def beide(self, *argumente, eingaben=()):
        """(status, standard output, standard error, files with their bytes) of each of the two programs, in
        a folder with these files: (name, samples)."""
        return [self.einer(programm, argumente, eingaben)
                for programm in (lauf.PROGRAMM, drehbuch.PROGRAMM)]

    def einer(self, programm, argumente, eingaben):
        ordner = os.path.join(self.ordner, str(len(os.listdir(self.ordner))))
        os.mkdir(ordner)
        for name, samples in eingaben:
            vektoren.schreibe_wav(os.path.join(ordner, name), samples)
        ende = subprocess.run([programm, *argumente], cwd=ordner, stdin=subprocess.DEVNULL,
                              env={**os.environ, **drehbuch.SANITIZER}, capture_output=True,
                              text=True, timeout=600.0)
        dateien = {}
        for wo, _, namen in os.walk(ordner):
            for name in namen:
                pfad = os.path.join(wo, name)
                with open(pfad, "rb") as datei:
                    dateien[os.path.relpath(pfad, ordner)] = datei.read()
        aus = self.RECHENZEIT.sub('"rechenzeit_s":0.00', ende.stdout)
        return ende.returncode, aus, ende.stderr, dateien

    def test_echo_datei(self):
        eingaben = [(f"{name}.wav", vektoren.samples_aus_flac("echo", self.SZENE, f"{name}.flac"))
                    for name in ("mic", "ref")]
        for mehr in (("--chunk-ordner", "chunks"), ("--ohne-nachfilter",)):
            with self.subTest(mehr=mehr):
                linux, macos = self.beide("--echo-datei", "mic.wav", "ref.wav", "out.wav", *mehr,
                                          eingaben=eingaben)
                self.assertEqual(macos[:3], linux[:3])
                self.assertEqual(macos[0], 0)
                self.assertEqual(macos[3].keys(), linux[3].keys())
                self.assertEqual([name for name in macos[3] if macos[3][name] != linux[3][name]], [])
                chunks = [name for name in macos[3] if name.startswith("chunks/")]
                self.assertEqual(bool(chunks), "chunks" in mehr)

    def test_fehler(self):
        for argumente in (("--echo-datei", "fehlt.wav", "ref.wav", "out.wav"), ("--fenster-wahl", "fehlt")):
            with self.subTest(argumente=argumente):
                linux, macos = self.beide(*argumente)
                self.assertEqual(macos, linux)
                self.assertEqual(macos[0], 2)

    def test_zeitachse(self):
        """The resamplers are the platforms' own; what the timeline makes of their blocks is the same, but
        for the samples that each of them holds back."""
        linux, macos = ([json.loads(zeile) for zeile in aus.splitlines()]
                        for _, aus, _, _ in self.beide("--zeitachse-test"))
        self.assertEqual(len(macos), 4)
        for fall, vorbild in zip(macos, linux):
            for name in ("fall", "soll_laenge", "luecken", "ueberlappungen", "verworfen_ms",
                         "laufzeit_samples"):
                self.assertEqual(fall[name], vorbild[name], (name, fall, vorbild))
            self.assertAlmostEqual(fall["laenge"], vorbild["laenge"], delta=200)
            self.assertAlmostEqual(fall["luecken_ms"], vorbild["luecken_ms"], delta=5.0)
            if fall["fall"] != "mikro_drift":  # whose tone is late by up to 5 ms
                for name in ("rest_anfang_db", "rest_ende_db"):
                    self.assertLess(fall[name], -60.0)
