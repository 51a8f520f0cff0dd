"""The window modes, as somebody types them who wonders what the recorder sees."""

import json
import os
import socket
import subprocess
import time

import bildschirm
import lauf


class Fenstermodi(lauf.Fall):

    MIT_TONANLAGE = False

    def rufe(self, *argumente, umgebung):
        anfang = time.monotonic()
        ergebnis = subprocess.run([lauf.PROGRAMM, *argumente], env=umgebung, capture_output=True,
                                  text=True, stdin=subprocess.DEVNULL, timeout=60, check=False)
        lauf.geprueft(ergebnis.stdout)
        return ergebnis, time.monotonic() - anfang

    def test_probe_zeigt_die_fenster_und_die_wahl(self):
        schirm = bildschirm.Bildschirm(self.ohne_dienst())
        schirm.starte()
        self.addCleanup(schirm.beende)
        zoom = schirm.oeffne("Zoom Meeting", ("zoom", "zoom"), "--groesse", "800", "500", "--ort",
                             "100", "120", "--ohne-rahmen")
        post = schirm.oeffne("Posteingang", ("Mail", "thunderbird"))
        chrome = schirm.oeffne("Wetter", ("google-chrome", "Google-chrome"))
        # The window manager lists a window a moment after it has shown it.
        self.warte_bis(lambda: self.rufe("--fenster-probe", "--alle", umgebung=schirm.umgebung)[0]
                       .stdout.count('"fenster":') == 3, "three windows")
        for alle in ([], ["--alle"]):
            def probe():
                ergebnis, _ = self.rufe("--fenster-probe", *alle, umgebung=schirm.umgebung)
                return ergebnis if ergebnis.returncode == 0 else None

            # The screen of a busy machine may not answer in time.
            ergebnis = self.warte_bis(probe, "the windows")
            self.assertEqual((ergebnis.returncode, ergebnis.stderr), (0, ""))
            *zeilen, wahl = [json.loads(zeile) for zeile in ergebnis.stdout.splitlines()]
            self.assertEqual(wahl, {"wahl": {
                "art": "fenster", "id": zoom.nummer, "quelle": "Zoom · Zoom Meeting", "rang": 1,
                "grund": "Zoom-Meetingfenster"}})
            gezeigt = {zeile["fenster"]: zeile for zeile in zeilen if "fenster" in zeile}
            self.assertEqual(gezeigt[zoom.nummer], {
                "fenster": zoom.nummer, "app": "Zoom", "bundle": "us.zoom.xos",
                "titel": "Zoom Meeting", "breite": 800, "hoehe": 500, "x": 100, "y": 120,
                "sichtbar": True, "ebene": 0})
            self.assertIn(chrome.nummer, gezeigt)
            self.assertEqual(post.nummer in gezeigt, bool(alle))
            self.assertEqual([zeile for zeile in zeilen if "fenster" not in zeile],
                             [] if alle else [{"andere_fenster": 1}])

    def test_probe_ohne_bildschirm(self):
        leer = {name: wert for name, wert in self.ohne_dienst().items()
                if name not in ("DISPLAY", "WAYLAND_DISPLAY")}
        # No name, no server, and one that accepts and says nothing.
        stumm = socket.socket(socket.AF_UNIX)
        self.addCleanup(stumm.close)
        nummer = os.getpid() + 100000  # a name that no server uses
        stumm.bind(f"\0/tmp/.X11-unix/X{nummer}")
        stumm.listen()
        for umgebung in (leer, leer | {"DISPLAY": ":4711"}, leer | {"DISPLAY": f":{nummer}"}):
            ergebnis, dauer = self.rufe("--fenster-probe", umgebung=umgebung)
            self.assertEqual((ergebnis.returncode, ergebnis.stdout), (2, ""), ergebnis.stderr)
            self.assertRegex(ergebnis.stderr, r"^\[hallkorb\] [^\n]+\n$")
            self.assertLess(dauer, 20.0)

    def test_wahl_aus_einer_datei(self):
        pfad = os.path.join(self.ordner, "liste.json")
        fenster = {"id": 4, "titel": "Meet – abc-defg-hij", "bundle": "com.google.Chrome",
                   "app": "Google Chrome", "x": 0, "y": 25.5, "breite": 1280, "hoehe": 800,
                   "sichtbar": True, "ebene": 0, "fremd": [None]}
        with open(pfad, "w", encoding="utf-8") as datei:
            json.dump({"fenster": [fenster]}, datei)
        ergebnis, _ = self.rufe("--fenster-wahl", pfad, umgebung=self.ohne_dienst())
        self.assertEqual((ergebnis.returncode, ergebnis.stderr, ergebnis.stdout), (
            0, "", '{"art":"fenster","id":4,"quelle":"Google Chrome · Meet – abc-defg-hij",'
                   '"rang":1,"grund":"Meeting im Browser"}\n'))
        for falsch in ("", "{", '{"fenster":[{}]}', '{"fenster":[]} x'):
            with open(pfad, "w", encoding="utf-8") as datei:
                datei.write(falsch)
            ergebnis, _ = self.rufe("--fenster-wahl", pfad, umgebung=self.ohne_dienst())
            self.assertEqual((ergebnis.returncode, ergebnis.stderr, ergebnis.stdout), (
                2, "[hallkorb] --fenster-wahl: JSON nicht lesbar\n", ""), falsch)
