"""hallkorb-sitzung arzt: what it finds on a computer with and without a sound service, a microphone, a screen."""

import os
import re
import subprocess

import signale
import test_sitzung
import test_video


class Arzt(test_video.Fensterfall):

    def arzt(self, *worte, umgebung):
        ergebnis = subprocess.run([test_sitzung.SITZUNG, "arzt", *worte], stdin=subprocess.DEVNULL,
                                  capture_output=True, text=True, check=False, env=umgebung)
        self.assertEqual(ergebnis.stderr, "")
        zeilen = ergebnis.stdout.splitlines()
        befunde = [tuple(zeile.split(None, 1)) for zeile in zeilen[:-1] if not zeile.startswith(" ")]
        return ergebnis.returncode, befunde, ergebnis.stdout

    def test_gesund_mit_echo(self):
        """Speakers that sound into the microphone, and a meeting on the screen."""
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        self.raum.verbinde("speakers:monitor_FL", "mic-feed:playback_MONO")
        datei = os.path.join(self.ordner, "mic-feed.wav")
        signale.schreibe(datei, signale.rauschen(120, 2, effektiv=0.003))
        self.raum.spiele(datei, "mic-feed")
        status, befunde, alles = self.arzt("--echo", self.ordner, umgebung=self.bildschirm.umgebung)
        self.assertEqual(status, 0, alles)
        for art, text in (("gut", "Audiodienst: ist da"), ("gut", "Mikrofon: mic"),
                          ("gut", "Systemton: speakers"), ("gut", "Encoder: H.264 ist da"),
                          ("gut", "Besprechung: Zoom · Zoom Meeting wuerde aufgenommen: Zoom-Meetingfenster")):
            self.assertIn((art, text), befunde, alles)
        self.assertRegex(alles, r"gut +Echo: -?\d+ ms nach dem Lautsprecher, -?\d dB")
        self.assertEqual(test_sitzung.inhalte(self.ordner).keys(), {"mic-feed.wav"})

    def test_nichts_da(self):
        umgebung = self.ohne_dienst()
        umgebung.pop("DISPLAY", None)
        status, befunde, alles = self.arzt(self.ordner, umgebung=umgebung)
        self.assertEqual(status, 1, alles)
        self.assertEqual([(art, text.split(":")[0]) for art, text in befunde],
                         [("fehlt", "Audiodienst"), ("fehlt", "Mikrofon"), ("fehlt", "Systemton"),
                          ("Mangel", "Bildschirm"), ("gut", "Encoder"), ("gut", "Ordner")])
        self.assertEqual(alles.count("Abhilfe: "), 4)

    def test_pegel_am_terminal(self):
        """Both levels move in one row, ten times a second, and are gone when the findings come."""
        gezeigt, _, status = test_sitzung.am_terminal("arzt", self.ordner, umgebung=self.raum.umgebung)
        self.assertIn(status, (0, 1), gezeigt)
        zeilen = re.findall(r"\r\x1b\[K(Mikrofon \[[^\r\n]*)", gezeigt)
        self.assertGreater(len(zeilen), 1, gezeigt)
        for zeile in zeilen:
            self.assertRegex(zeile, r"^Mikrofon \[#*\.*\] *-?\d+ dBFS  Systemton \[#*\.*\] *-?\d+ dBFS$")
            self.assertLess(len(zeile), 80)
        self.assertRegex(gezeigt[gezeigt.index(zeilen[-1]) + len(zeilen[-1]):], r"^\r\x1b\[K\S")


class ArztOhneMikrofon(Arzt):
    GERAETE = {"mikrofon": False}

    test_gesund_mit_echo = test_nichts_da = test_pegel_am_terminal = None

    def test_kein_mikrofon(self):
        status, befunde, alles = self.arzt(self.ordner, umgebung=self.raum.umgebung)
        self.assertEqual(status, 1, alles)
        self.assertIn(("gut", "Audiodienst: ist da"), befunde, alles)
        self.assertRegex(alles, r"fehlt +Mikrofon: ")
        self.assertRegex(alles, r"gut +Systemton: speakers")
