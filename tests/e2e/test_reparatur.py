"""hallkorb-sitzung reparieren, killed at any moment or on a full disk: nothing of the recording is lost, and
the next repair finishes the work."""

import os
import random
import shutil
import subprocess
import time

import lauf
from test_sitzung import BEISPIEL, LANG, SITZUNG, inhalte, rufe

FRIST = 120.0


class Gestoert(lauf.Fall):
    """The example recording, as a kill in its middle would have left it."""

    MIT_TONANLAGE = False

    def setUp(self):
        super().setUp()
        self.vorlage = os.path.join(self.ordner, "vorlage")
        os.makedirs(self.vorlage)
        for name in inhalte(BEISPIEL):
            if name.endswith(".wav") and name != "chunk_me_002.wav":
                shutil.copy(os.path.join(BEISPIEL, name), self.vorlage)
        self.aendere("mikro_roh.wav", lambda alles: alles[:4] + bytes(4) + alles[8:40] + bytes(4) + alles[44:])
        self.aendere("chunk_them_002.wav", lambda alles: alles[:-101])
        with open(os.path.join(BEISPIEL, "ereignisse.jsonl"), "rb") as datei:
            zeilen = datei.read().splitlines(keepends=True)
        self.lege("ereignisse.jsonl", b"".join(zeilen[:7]) + b'{"event":"vid')
        self.lege(".hallkorb-17-3.teil", bytes(5000))
        subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-i", os.path.join(BEISPIEL, "video.mp4"), "-c", "copy",
                        "-movflags", "frag_keyframe+empty_moov", os.path.join(self.vorlage, "video.mp4")],
                       check=True)
        self.vorher = inhalte(self.vorlage)
        # What a repair makes of it if nothing comes in its way; always at the same path, which is in a line.
        self.stelle_her()
        anfang = time.monotonic()
        status, taten = rufe("reparieren", self.aufnahme)
        self.dauer = time.monotonic() - anfang
        self.assertEqual((status, len(taten)), (0, 5), taten)
        self.fertig = inhalte(self.aufnahme)

    def lege(self, name, inhalt):
        with open(os.path.join(self.vorlage, name), "wb") as datei:
            datei.write(inhalt)

    def aendere(self, name, wie):
        with open(os.path.join(self.vorlage, name), "rb") as datei:
            inhalt = datei.read()
        self.lege(name, wie(inhalt))

    def stelle_her(self):
        shutil.rmtree(self.aufnahme, ignore_errors=True)
        shutil.copytree(self.vorlage, self.aufnahme)

    def pruefe_nichts_verloren(self):
        jetzt = inhalte(self.aufnahme)
        originale = os.path.join(self.aufnahme, "originale")
        alte = list(inhalte(originale).values()) if os.path.isdir(originale) else []
        for name, bytes_ in self.vorher.items():
            self.assertTrue(jetzt.get(name) == bytes_ or bytes_ in alte, name)

    def pruefe_weiter(self):
        """The next repair finishes the work, and there is nothing to do for the one after it."""
        self.pruefe_nichts_verloren()
        status, taten = rufe("reparieren", self.aufnahme)
        self.assertEqual(status, 0, taten)
        jetzt = inhalte(self.aufnahme)
        self.assertEqual(jetzt.keys(), self.fertig.keys())
        for name, bytes_ in self.fertig.items():
            self.assertTrue(jetzt[name] == bytes_, name)
        self.pruefe_nichts_verloren()
        self.assertEqual(rufe("reparieren", self.aufnahme), (0, ["nichts zu tun"]))


class Getoetet(Gestoert):

    def repariere(self, nach=None, **umgebung):
        """Starts a repair and kills it after so many seconds, unless something else does. Returns its status
        when nothing runs any more that it has started."""
        lesen, schreiben = os.pipe()
        with os.fdopen(lesen, "rb") as ende:
            prozess = subprocess.Popen([SITZUNG, "reparieren", self.aufnahme], stdin=subprocess.DEVNULL,
                                       stdout=subprocess.DEVNULL, pass_fds=[schreiben],
                                       env={**os.environ, **umgebung})
            os.close(schreiben)
            if nach is not None:
                try:
                    prozess.wait(nach)
                except subprocess.TimeoutExpired:
                    prozess.kill()
            status = prozess.wait(FRIST)
            self.assertEqual(ende.read(), b"")
        return status

    def test_zu_zufaelligen_zeiten(self):
        zufall = random.Random(20261122)
        getoetet = 0
        for _ in range(100 if LANG else 8):
            self.stelle_her()
            getoetet += self.repariere(zufall.uniform(0.0, self.dauer)) < 0
            self.pruefe_weiter()
        print(f"{getoetet} repairs killed")

    def test_immer_wieder(self):
        """Killed again and again before it can finish, it still comes to its end."""
        zufall = random.Random(4)
        for _ in range(8):
            self.repariere(zufall.uniform(0.0, self.dauer / 2))
            self.pruefe_nichts_verloren()
        self.pruefe_weiter()

    def test_mitten_in_ffmpeg(self):
        """The program that works for it goes on alone."""
        echtes = shutil.which("ffmpeg")
        worte = os.path.join(self.ordner, "bin", "ffmpeg")
        os.makedirs(os.path.dirname(worte))
        with open(worte, "w", encoding="utf-8") as datei:
            datei.write(f'#!/bin/sh\nkill -9 $PPID\nexec "{echtes}" "$@"\n')
        os.chmod(worte, 0o755)
        self.stelle_her()
        status = self.repariere(PATH=f"{os.path.dirname(worte)}:{os.environ['PATH']}")
        self.assertEqual(status, -9)
        self.assertTrue([name for name in inhalte(self.aufnahme) if name.endswith("-ffmpeg.teil")])
        self.pruefe_weiter()


class VollePlatte(Gestoert):
    MIT_MOUNT = True

    def test_kein_platz(self):
        """A full disk costs the repair and nothing else; with room again it is finished."""
        shutil.rmtree(self.aufnahme)
        self.haenge_ein(self.aufnahme, "-o", "size=4m")
        shutil.copytree(self.vorlage, self.aufnahme, dirs_exist_ok=True)
        fueller = os.path.join(self.aufnahme, "fueller")
        with open(fueller, "wb", buffering=0) as datei:
            try:
                while True:
                    datei.write(bytes(65536))
            except OSError:
                pass
        status, taten = rufe("reparieren", self.aufnahme)
        self.assertEqual(status, 1, taten)
        self.assertTrue(any("No space left" in tat or "ffmpeg ist daran gescheitert" in tat for tat in taten), taten)
        self.pruefe_nichts_verloren()
        for name in ("mikro_roh.wav", "chunk_them_002.wav", "video.mp4", "ereignisse.jsonl"):
            self.assertEqual(inhalte(self.aufnahme)[name], self.vorher[name], name)
        os.unlink(fueller)
        self.pruefe_weiter()
