"""hallkorb-sitzung on what the recorder leaves: after an orderly end, and after kill -9."""

import json
import os
import random
import subprocess
import sys

import numpy

import film
import lauf
import signale
import test_video

SITZUNG = os.path.join(os.path.dirname(lauf.PROGRAMM), "hallkorb-sitzung")
GEDULD = 60.0
LANG = bool(os.environ.get("HALLKORB_LANG"))


def rufe(*worte):
    """(status, lines on standard output) of hallkorb-sitzung."""
    ergebnis = subprocess.run([SITZUNG, *worte], stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=False)
    if ergebnis.stderr:
        raise AssertionError(f"{worte}: {ergebnis.stderr}")
    return ergebnis.returncode, ergebnis.stdout.splitlines()


def inhalte(ordner):
    """Name -> bytes of each file in a folder."""
    gefunden = {}
    for name in os.listdir(ordner):
        pfad = os.path.join(ordner, name)
        if os.path.isfile(pfad):
            with open(pfad, "rb") as datei:
                gefunden[name] = datei.read()
    return gefunden


class Ordnerfall(test_video.Fensterfall):

    def setUp(self):
        super().setUp()
        self.zufall = random.Random(20260202)
        self.zeilen = os.path.join(self.aufnahme, "ereignisse.jsonl")

    def sprich(self, sekunden):
        """Sound in both devices, without a pause: no chunk is dropped as silent."""
        for geraet, saat in (("speakers", 1), ("mic-feed", 2)):
            datei = os.path.join(self.ordner, geraet + ".wav")
            signale.schreibe(datei, signale.rauschen(sekunden, saat))
            self.raum.spiele(datei, geraet)

    def video_bytes(self):
        pfad = os.path.join(self.aufnahme, "video.mp4")
        return os.path.getsize(pfad) if os.path.exists(pfad) else 0

    def behalte(self, aufnahme):
        """Keeps the lines as a host would."""
        with open(self.zeilen, "w", encoding="utf-8") as datei:
            datei.writelines(zeile + "\n" for zeile in aufnahme.aus.texte())

    def pruefe_ton(self, aufnahme):
        """Put together, "me" is what the raw file holds, from the first sample to the last, but for what
        the recorder drops as silent: a player that a busy machine starts late."""
        ziel = os.path.join(self.ordner, "zusammen")
        status, worte = rufe("zusammen", "--einzeln", "--ohne-video", "--nach", ziel, self.aufnahme)
        self.assertEqual(status, 0, worte)
        ton = signale.lies_ganz(os.path.join(ziel, "zusammen_me.wav"))
        roh = signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))
        ganz = numpy.zeros(len(roh))
        ganz[:min(len(ton), len(roh))] = ton[:len(roh)]
        anders = ganz != roh
        self.assertFalse(ganz[anders].any(), aufnahme.alles())
        self.assertLess(signale.pegel(roh[anders]), 0.006, aufnahme.alles())
        return ganz


class Ganz(Ordnerfall):

    def test_aufnahme_die_ordentlich_endet(self):
        """Nothing is found, nothing is repaired; sound and video are put together in step."""
        self.sprich(120)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        aufnahme = self.lauf(video=True, umgebung=self.bildschirm.umgebung)
        start = aufnahme.ereignis("video_start", GEDULD)
        aufnahme.warte_aufnahme(4.0)
        self.warte_bis(lambda: self.video_bytes() > 4096,
                       "pictures in the file")
        aufnahme.stoppe(frist=GEDULD)
        self.behalte(aufnahme)

        status, worte = rufe("pruefen", self.aufnahme)
        self.assertEqual(status, 0, worte)
        vorher = inhalte(self.aufnahme)
        self.assertEqual(rufe("reparieren", self.aufnahme), (0, ["nichts zu tun"]))
        self.assertEqual(inhalte(self.aufnahme), vorher)
        self.assertTrue(self.pruefe_ton(aufnahme).any())

        status, worte = rufe("zusammen", self.aufnahme)
        self.assertEqual(status, 0, worte)
        angaben = json.loads(subprocess.run(
            ["ffprobe", "-v", "error", "-show_streams", "-show_chapters", "-of", "json",
             os.path.join(self.aufnahme, "zusammen.mp4")], capture_output=True, check=True).stdout)
        bild, ton = (next(strom for strom in angaben["streams"] if strom["codec_type"] == art)
                     for art in ("video", "audio"))
        self.assertEqual((bild["codec_name"], ton["codec_name"], ton["channels"]), ("h264", "aac", 2))
        self.assertAlmostEqual(float(bild["start_time"]), start["t_s"], delta=0.002)
        self.assertEqual([kapitel["tags"]["title"] for kapitel in angaben["chapters"]],
                         [*(["Anfang"] if start["t_s"] > 0 else []), "Zoom · Zoom Meeting"])
        self.assertEqual(rufe("pruefen", self.aufnahme)[0], 0)


class Getoetet(Ordnerfall):

    def test_getoetet_und_repariert(self):
        """kill -9, always into the same folder: afterwards every file is whole, and the sound complete."""
        wie_oft = int(os.environ.get("HALLKORB_ANZAHL", 100 if LANG else 3))
        self.sprich(600 if LANG else 120)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        summe = {"kills": wie_oft, "taten": 0, "videos": 0, "gerettet_s": 0.0}
        for nummer in range(wie_oft):
            if nummer % 40 == 39:
                self.sprich(600)
            for name in self.dateien() if os.path.isdir(self.aufnahme) else []:
                self.loesche(os.path.join(self.aufnahme, name))
            aufnahme = self.lauf(video=True, echo=False, umgebung=self.bildschirm.umgebung)
            aufnahme.ereignis("video_start", GEDULD)
            aufnahme.warte_aufnahme(self.zufall.uniform(1.0, 7.0 if LANG else 5.0), GEDULD)
            if nummer % 3 == 2:
                aufnahme.sende()  # in the middle of the stop
                aufnahme.meldung("Stop", GEDULD)
            aufnahme.prozess.kill()
            aufnahme.ende(GEDULD)
            self.behalte(aufnahme)
            self.pruefe_reparatur(aufnahme, summe)
            print(f"{nummer + 1} of {wie_oft} killed and repaired", file=sys.stderr, flush=True)
        summe["gerettet_s"] = round(summe["gerettet_s"], 1)
        if os.environ.get("HALLKORB_ZAHLEN"):
            with open(os.environ["HALLKORB_ZAHLEN"], "w", encoding="ascii") as datei:
                json.dump(summe, datei)

    def loesche(self, pfad):
        if os.path.isdir(pfad):
            for name in os.listdir(pfad):
                os.unlink(os.path.join(pfad, name))
            os.rmdir(pfad)
        else:
            os.unlink(pfad)

    def pruefe_reparatur(self, aufnahme, summe):
        vorher = inhalte(self.aufnahme)
        zu_ende = bool(aufnahme.ereignisse("done"))
        self.assertEqual(rufe("pruefen", self.aufnahme)[0], 0 if zu_ende else 1)
        status, taten = rufe("reparieren", self.aufnahme)
        self.assertEqual(status, 0, taten)
        self.assertEqual(rufe("reparieren", self.aufnahme), (0, ["nichts zu tun"]))
        summe["taten"] += 0 if taten == ["nichts zu tun"] else len(taten)
        summe["videos"] += any("gewoehnliche Datei" in tat for tat in taten)

        # Each file is as it was, or the original is.
        nachher = inhalte(self.aufnahme)
        ordner = os.path.join(self.aufnahme, "originale")
        originale = inhalte(ordner) if os.path.isdir(ordner) else {}
        for name, bytes_ in vorher.items():
            self.assertIn(bytes_, (nachher.get(name), originale.get(name.lstrip("."))), name)

        # Nothing is left but that the recording ended early, and a chunk that was not announced yet.
        status, worte = rufe("pruefen", self.aufnahme)
        befunde = [wort for wort in worte[:-1] if not wort.startswith(("Hinweis", "uebrig        chunk_"))]
        self.assertEqual([wort.split(":")[0] for wort in befunde],
                         [] if zu_ende else ["abgeschnitten ereignisse.jsonl"], aufnahme.alles())
        if "video.mp4" in nachher:
            film.Film(os.path.join(self.aufnahme, "video.mp4"))
        elif "video.mp4" in vorher:  # killed before its first second was written
            self.assertTrue(any("enthielt kein Bild" in tat for tat in taten), taten)
        self.pruefe_ton(aufnahme)
        with open(self.zeilen, encoding="utf-8") as datei:
            for zeile in datei:
                satz = json.loads(zeile)
                lauf.schema.pruefer("kept").validate(lauf.schema.lies(zeile))
                if satz.get("quelle") == "mikro_roh":
                    summe["gerettet_s"] += satz["t1"] - satz["t0"]
