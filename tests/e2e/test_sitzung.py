"""hallkorb-sitzung on what the recorder leaves: after an orderly end, and after kill -9."""

import json
import os
import pty
import random
import re
import shutil
import signal
import subprocess
import sys
import time

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
        os.makedirs(self.aufnahme, exist_ok=True)  # killed before it was made
        with open(self.zeilen, "w", encoding="utf-8") as datei:
            datei.writelines(zeile + "\n" for zeile in aufnahme.aus.texte())

    def saetze(self):
        """The kept lines, each of which is as the schema says."""
        with open(self.zeilen, encoding="utf-8") as datei:
            zeilen = datei.readlines()
        for zeile in zeilen:
            lauf.schema.pruefer("kept").validate(lauf.schema.lies(zeile))
        return [json.loads(zeile) for zeile in zeilen]

    def pruefe_ton(self, aufnahme, genau=True):
        """Put together, "me" is what the raw file holds, from the first sample to the last, but for what
        the recorder drops as silent: a player that a busy machine starts late. Without `genau` the echo was
        removed from it, but for what a repair has taken from the raw file."""
        ziel = os.path.join(self.ordner, "zusammen")
        status, worte = rufe("zusammen", "--einzeln", "--ohne-video", "--nach", ziel, self.aufnahme)
        self.assertEqual(status, 0, worte)
        ton = signale.lies_ganz(os.path.join(ziel, "zusammen_me.wav"))
        roh = signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))
        for satz in self.saetze():
            if satz.get("quelle") == "mikro_roh" and "chunk" in satz:
                rest = signale.lies_ganz(os.path.join(self.aufnahme, f"chunk_me_{satz['chunk']:03d}.wav"))
                self.assertTrue(numpy.array_equal(rest, roh[len(roh) - len(rest):]), satz)
        if not genau:
            return ton
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
        """kill -9 while it stops, records, starts and follows a window, always into the same folder, with and
        without the echo path: afterwards every file is whole, and the sound complete. A recorder that had ended
        before the signal came does not count."""
        wie_oft = int(os.environ.get("HALLKORB_ANZAHL", 100 if LANG else 4))
        self.sprich(600 if LANG else 120)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        summe = {"kills": 0, "verfehlt": 0, "taten": 0, "videos": 0, "gerettet_s": 0.0}
        while summe["kills"] < wie_oft:
            if (summe["kills"] + summe["verfehlt"]) % 40 == 39:
                self.sprich(600)
            art = ("stopp", "lauf", "start", "wechsel")[summe["kills"] % 4]
            if self.einmal(art, summe):
                summe["kills"] += 1
                print(f"{summe['kills']} of {wie_oft} killed ({art}) and repaired", file=sys.stderr, flush=True)
            else:
                summe["verfehlt"] += 1
                self.assertLess(summe["verfehlt"], 20 + 2 * wie_oft)
        summe["gerettet_s"] = round(summe["gerettet_s"], 1)
        if os.environ.get("HALLKORB_ZAHLEN"):
            with open(os.environ["HALLKORB_ZAHLEN"], "w", encoding="ascii") as datei:
                json.dump(summe, datei)

    def einmal(self, art, summe):
        """One recording. Returns whether it was killed, and had not ended before."""
        for name in self.dateien() if os.path.isdir(self.aufnahme) else []:
            self.loesche(os.path.join(self.aufnahme, name))
        echo = self.zufall.random() < 0.5
        aufnahme = self.lauf(video=True, echo=echo, umgebung=self.bildschirm.umgebung)
        fenster = self.bis_zum_moment(aufnahme, art)
        aufnahme.prozess.kill()
        status = aufnahme.ende(GEDULD)
        if fenster is not None:
            self.bildschirm.schliesse(fenster)
        self.behalte(aufnahme)
        if status != -signal.SIGKILL:
            self.assertEqual((art, status), ("stopp", 0), aufnahme.alles())
            return False
        self.pruefe_reparatur(aufnahme, echo, summe)
        return True

    def bis_zum_moment(self, aufnahme, art):
        """Returns when it is to be killed; a window to close afterwards, or None. Any moment will do; the sleeps
        draw one."""
        fenster = None
        if art == "start":
            time.sleep(self.zufall.uniform(0.0, 1.0))
            return fenster
        aufnahme.ereignis("video_start", GEDULD)
        aufnahme.warte_aufnahme(self.zufall.uniform(0.5, 7.0 if LANG else 4.0), GEDULD)
        if art == "wechsel":
            fenster = self.oeffne("Zoom Webinar", test_video.ZOOM, "teams", "--groesse", "1300", "820")
            aufnahme.ereignis("video_wechsel", GEDULD)
            time.sleep(self.zufall.uniform(0.0, 0.5))
        elif art == "stopp":
            aufnahme.sende()
            time.sleep(self.zufall.uniform(0.0, 0.1))
        return fenster

    def loesche(self, pfad):
        if os.path.isdir(pfad):
            for name in os.listdir(pfad):
                os.unlink(os.path.join(pfad, name))
            os.rmdir(pfad)
        else:
            os.unlink(pfad)

    def pruefe_reparatur(self, aufnahme, echo, summe):
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

        self.pruefe_rest(aufnahme, nachher, zu_ende)
        if "video.mp4" in nachher:
            film.Film(os.path.join(self.aufnahme, "video.mp4"))
        elif "video.mp4" in vorher:  # killed before its first second was written
            self.assertTrue(any("enthielt kein Bild" in tat for tat in taten), taten)
        if "mikro_roh.wav" in nachher and any("chunk" in satz for satz in self.saetze()):
            self.pruefe_ton(aufnahme, not echo)
        summe["gerettet_s"] += sum(satz["t1"] - satz["t0"] for satz in self.saetze()
                                   if satz.get("quelle") == "mikro_roh")

    def pruefe_rest(self, aufnahme, nachher, zu_ende):
        """Nothing is left but that the recording ended early, what had not been written or announced by then,
        and a chunk whose place nobody knows."""
        erwartet = [] if zu_ende else [("abgeschnitten", "ereignisse.jsonl")]
        if not aufnahme.ereignisse("started"):
            erwartet.append(("fehlt", "ereignisse.jsonl"))
        if aufnahme.ereignisse("video_start") and not zu_ende and "video.mp4" not in nachher:
            erwartet.append(("fehlt", "video.mp4"))
        if not any(name.endswith((".wav", ".mp4")) for name in nachher):
            erwartet.append(("fehlt", "der Ordner enthaelt keine Aufnahme"))
        befunde = [(wort[:14].strip(), wort[14:].split(":")[0]) for wort in rufe("pruefen", self.aufnahme)[1][:-1]]
        self.assertEqual(sorted(befund for befund in befunde if befund[0] != "Hinweis"
                                and not (befund[0] == "uebrig" and befund[1].startswith("chunk_"))),
                         sorted(erwartet), aufnahme.alles())


def mit_pfaden(zeile, ordner):
    """A line of the recorder for a recording in another folder."""
    satz = json.loads(zeile)
    if "path" not in satz:
        return zeile
    neu = os.path.join(ordner, os.path.basename(satz["path"]))
    return zeile.replace(json.dumps(satz["path"]), json.dumps(neu))


BEISPIEL = os.path.join(lauf.WURZEL, "examples", "session")
# Takes the recorder's arguments, and plays the example instead of recording.
VORSPIEL = os.path.join(BEISPIEL, "play")


class Beispiel(lauf.Fall):
    """The example recording, checked and played to a host."""

    MIT_TONANLAGE = False

    def vorspiel(self, *worte):
        """A playback of the example in the recorder's place, with options that only that has."""
        return self.lauf("--max", "7", *worte, umgebung=os.environ | {"HALLKORB_SITZUNG": SITZUNG},
                         programm=VORSPIEL)

    def test_ist_ganz_und_klein(self):
        self.assertEqual(rufe("pruefen", BEISPIEL),
                         (0, ["in Ordnung: 3 Chunks von me, 3 von them, mikro_roh.wav, video.mp4"]))
        self.assertLess(sum(map(len, inhalte(BEISPIEL).values())), 2_000_000)

    def test_vorgespielt_wie_aufgenommen(self):
        with open(os.path.join(BEISPIEL, "ereignisse.jsonl"), encoding="utf-8") as datei:
            zeilen = [mit_pfaden(zeile, self.aufnahme) for zeile in datei.read().splitlines()]
        prozess = self.vorspiel("--tempo", "20")
        self.assertEqual(prozess.ende(), 0, prozess.alles())
        self.assertEqual(prozess.aus.texte(), zeilen)
        self.assertEqual(prozess.diagnose.texte(), ["[hallkorb] Stop — schreibe Rest-Chunks"])
        erwartet = inhalte(BEISPIEL)
        for name in ("ereignisse.jsonl", "README.md", "record", "play"):
            del erwartet[name]
        gespielt = inhalte(self.aufnahme)
        self.assertEqual(gespielt.keys(), erwartet.keys())
        for name, bytes_ in erwartet.items():
            self.assertTrue(gespielt[name] == bytes_, name)
        for zeit, text in prozess.aus.alle:
            satz = json.loads(text)
            moment = satz.get("t1", satz.get("t_s", 0.0)) / 20.0
            self.assertGreaterEqual(zeit - prozess.anfang, moment, text)

    def test_signal_wie_beim_aufnehmen(self):
        prozess = self.vorspiel("--tempo", "0.4")
        prozess.gestartet()
        prozess.stoppe()
        self.assertNotIn("chunk_me_002.wav", self.dateien())
        chunks = prozess.chunks()
        self.assertEqual(len(self.dateien("chunk_")), len(chunks))
        for satz in chunks:
            laenge = len(signale.lies_ganz(satz["path"])) / signale.ZIEL
            self.assertAlmostEqual(satz["t1"] - satz["t0"], laenge, delta=0.0201)


ALLES = ("stdout", "stderr")


def am_terminal(*worte, terminal=ALLES, umgebung=os.environ, **mehr):
    """(what a terminal showed, what went elsewhere, status); `terminal`: the streams that lead there."""
    haupt, neben = pty.openpty()
    prozess = subprocess.Popen(
        [SITZUNG, *worte], stdin=subprocess.DEVNULL,
        env={name: wert for name, wert in umgebung.items() if name != "NO_COLOR"} | {"TERM": "xterm"} | mehr,
        **{strom: neben if strom in terminal else subprocess.PIPE for strom in ALLES})
    os.close(neben)
    gezeigt = b""
    try:
        while stueck := os.read(haupt, 65536):
            gezeigt += stueck
    except OSError:
        pass  # nobody can write to it any more
    os.close(haupt)
    anderswo = b"".join(teil for teil in prozess.communicate() if teil)
    return gezeigt.decode().replace("\r\n", "\n"), anderswo.decode(), prozess.returncode


class AmTerminal(lauf.Fall):
    """Colours and bars: on a real terminal, if they are wanted, and nowhere else."""

    MIT_TONANLAGE = False

    def rufe(self, *worte, terminal=ALLES, **umgebung):
        """(what the terminal showed, what went elsewhere)."""
        gezeigt, anderswo, status = am_terminal(*worte, terminal=terminal, **umgebung)
        self.assertEqual(status, 0, gezeigt)
        return gezeigt, anderswo

    def test_farben(self):
        bunt = "\x1b[32min Ordnung\x1b[0m: "
        self.assertTrue(self.rufe("pruefen", BEISPIEL)[0].startswith(bunt))
        self.assertTrue(self.rufe("pruefen", BEISPIEL, NO_COLOR="")[0].startswith(bunt))
        for umgebung in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            self.assertTrue(self.rufe("pruefen", BEISPIEL, **umgebung)[0].startswith("in Ordnung: "), umgebung)
        gezeigt, datei = self.rufe("pruefen", BEISPIEL, terminal=("stderr",))
        self.assertEqual(gezeigt, "")
        self.assertTrue(datei.startswith("in Ordnung: "))

    def balken(self, gezeigt, was):
        """The percents of a bar, which is gone at the end."""
        self.assertIn("\r\x1b[K", gezeigt)
        self.assertNotIn(was, gezeigt[gezeigt.rindex("\r\x1b[K"):])
        stand = re.findall(rf"\r{was} \[(#*)(\.*)\] +(\d+) %", gezeigt)
        for voll, leer, prozent in stand:
            self.assertEqual((len(voll), len(leer)), (int(prozent) * 30 // 100, 30 - int(prozent) * 30 // 100))
        return [int(prozent) for _, _, prozent in stand]

    def test_balken(self):
        """Of a page, and of a result of which each part has its own: sound, and the film that ffmpeg makes."""
        shutil.copytree(BEISPIEL, self.aufnahme)
        gezeigt, datei = self.rufe("bericht", self.aufnahme, terminal=("stderr",))
        prozente = self.balken(gezeigt, "lese")
        self.assertEqual(prozente, sorted(set(prozente)))
        self.assertEqual(prozente[-1], 100)
        self.assertGreater(len(prozente), 5)
        self.assertTrue(datei.startswith("geschrieben   sitzung.html"), datei)
        self.assertNotIn("%", self.rufe("bericht", self.aufnahme, terminal=("stdout",))[1])

        ton = self.balken(self.rufe("zusammen", "--ohne-video", self.aufnahme)[0], "fuege zusammen")
        self.assertEqual(ton[-1], 100)
        alles = self.balken(self.rufe("zusammen", self.aufnahme)[0], "fuege zusammen")
        self.assertEqual(alles[:len(ton)], ton)
        film_ = alles[len(ton):]
        self.assertTrue(film_ and film_ == sorted(film_) and film_[-1] >= 99, alles)

        with open(os.path.join(self.aufnahme, "mikro_roh.wav"), "r+b") as datei:
            datei.seek(40)
            datei.write(bytes(4))
        gezeigt, datei = self.rufe("reparieren", self.aufnahme, terminal=("stderr",))
        self.assertEqual(self.balken(gezeigt, "repariere")[-1], 100)
        self.assertTrue(datei.startswith("repariert     mikro_roh.wav"), datei)


class Ausgabe(lauf.Fall):
    """What nobody can have read is no report."""

    MIT_TONANLAGE = False

    def test_ohne_platz(self):
        shutil.copytree(BEISPIEL, self.aufnahme)
        for worte in (("--help",), ("pruefen", self.aufnahme), ("bericht", self.aufnahme), ("reparieren", self.aufnahme)):
            with self.subTest(worte=worte), open("/dev/full", "wb") as voll:
                ergebnis = subprocess.run([SITZUNG, *worte], stdin=subprocess.DEVNULL, stdout=voll,
                                          stderr=subprocess.PIPE, text=True, check=False)
                self.assertEqual((ergebnis.returncode, ergebnis.stderr),
                                 (2, "hallkorb-sitzung: die Ausgabe war nicht zu schreiben\n"))
        # The work is done all the same.
        self.assertTrue(os.path.exists(os.path.join(self.aufnahme, "sitzung.html")))
