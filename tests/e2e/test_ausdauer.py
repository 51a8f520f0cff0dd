"""What the whole program keeps when it is killed, stopped or frozen, and whether it lasts.

Each test tries a few moments, or with HALLKORB_LANG=1 as many as scripts/soak does; HALLKORB_ANZAHL
sets the number. Moments are drawn by a seeded generator. What was tried and what it cost goes as JSON
into the file that HALLKORB_ZAHLEN names. They run only by name: the stage "ausdauer" of scripts/test.
"""

import json
import os
import random
import signal
import sys
import time

import numpy

import film
import lauf
import signale
import test_stopp
import test_video

LANG = bool(os.environ.get("HALLKORB_LANG"))
GEDULD = 60.0  # for anything that a busy machine may take long for
RATE = signale.ZIEL


def anzahl(kurz, lang):
    return int(os.environ.get("HALLKORB_ANZAHL", lang if LANG else kurz))


def fortschritt(text):
    print(text, file=sys.stderr, flush=True)


def merke(**zahlen):
    """Keeps figures for the table of docs/reliability.md."""
    ziel = os.environ.get("HALLKORB_ZAHLEN")
    if ziel:
        with open(ziel, "w", encoding="ascii") as datei:
            json.dump(zahlen, datei)


class Ausdauerfall(test_video.Fensterfall):
    LANG = True

    def setUp(self):
        super().setUp()
        self.zufall = random.Random(20260101)

    def sprich(self, sekunden):
        """Sound in both devices, without a pause and different in each."""
        for geraet, saat in (("speakers", 1), ("mic-feed", 2)):
            datei = os.path.join(self.ordner, geraet + ".wav")
            signale.schreibe(datei, signale.rauschen(sekunden, saat))
            self.raum.spiele(datei, geraet)

    def pruefe_chunks(self, aufnahme, genau):
        """Every announced chunk is whole; with `genau`, those of "me" are what the raw file holds at
        their times. Returns how many there are."""
        roh = None
        pfad = os.path.join(self.aufnahme, "mikro_roh.wav")
        if genau and os.path.exists(pfad):
            roh = signale.lies(pfad)[0]
        for satz in aufnahme.chunks():
            ton = signale.lies_ganz(satz["path"])
            self.assertAlmostEqual(satz["t1"] - satz["t0"], len(ton) / RATE, delta=0.0101)
            if roh is None or satz["channel"] != "me":
                continue
            mitte = round(satz["t0"] * RATE)
            passt = any(numpy.array_equal(ton, roh[ab:ab + len(ton)])
                        for ab in range(max(0, mitte - 80), mitte + 81))
            self.assertTrue(passt, f"{satz} is not what the raw file holds\n{aufnahme.alles()}")
        return len(aufnahme.chunks())

    def pruefe_roh(self):
        """The header declares no more than there is, and at most five seconds and a block less. Returns
        the seconds that it declares too little."""
        pfad = os.path.join(self.aufnahme, "mikro_roh.wav")
        if not os.path.exists(pfad) or os.path.getsize(pfad) < 44:
            return 0.0
        _, _, erklaert, vorhanden = signale.lies(pfad)
        self.assertLessEqual(erklaert, vorhanden)
        fehlt = (vorhanden - erklaert) / 2 / RATE
        self.assertLessEqual(fehlt, 5.5)
        return fehlt


class Getoetet(Ausdauerfall):

    def test_getoetet_in_jedem_moment(self):
        """kill -9 while it starts, records, follows a window and stops, always into the same folder."""
        wie_oft = anzahl(6, 300)
        self.sprich(600 if LANG else 120)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        chunks, hoechstens, videos = 0, 0.0, 0
        for nummer in range(wie_oft):
            if LANG and nummer % 50 == 49:
                self.sprich(600)
            art = ("start", "lauf", "wechsel", "stopp")[nummer % 4]
            echo = self.zufall.random() < 0.5
            aufnahme = self.lauf(video=True, echo=echo, umgebung=self.bildschirm.umgebung)
            self.bis_zum_moment(aufnahme, art)
            aufnahme.prozess.kill()
            aufnahme.ende(GEDULD)
            chunks += self.pruefe_chunks(aufnahme, not echo)
            hoechstens = max(hoechstens, self.pruefe_roh())
            videos += self.pruefe_video(aufnahme, art)
            fortschritt(f"{nummer + 1} of {wie_oft} killed ({art})")
        # What all of them left does not disturb a recording that is stopped in order.
        aufnahme = self.lauf("--max", "2", umgebung=self.bildschirm.umgebung, video=True)
        aufnahme.gestartet()
        aufnahme.warte_aufnahme(5.0, GEDULD)
        aufnahme.stoppe(frist=GEDULD)
        self.assertGreater(self.pruefe_chunks(aufnahme, True), 0)
        merke(kills=wie_oft, chunks=chunks, videos=videos, roh_s=round(hoechstens, 2))

    def bis_zum_moment(self, aufnahme, art):
        if art == "start":
            time.sleep(self.zufall.uniform(0.0, 1.0))  # any moment will do
            return
        aufnahme.gestartet()
        aufnahme.ereignis("video_start", GEDULD)
        aufnahme.warte_aufnahme(self.zufall.uniform(2.0, 7.0), GEDULD)
        if art == "wechsel":
            anderes = self.oeffne("Zoom Webinar", test_video.ZOOM, "teams", "--groesse", "1300", "820")
            time.sleep(self.zufall.uniform(0.0, 3.0))
            self.bildschirm.schliesse(anderes)
        elif art == "stopp":
            aufnahme.sende(signal.SIGINT)
            time.sleep(self.zufall.uniform(0.0, 0.4))

    def pruefe_video(self, aufnahme, art):
        """All but the last two seconds play. Returns whether there was a video to look at."""
        start = [satz for satz in aufnahme.saetze() if satz.get("event") == "video_start"]
        if not start or art == "start":
            return False
        gedreht = film.Film(os.path.join(self.aufnahme, "video.mp4"))
        self.assertGreater(start[0]["t_s"] + gedreht.dauer, aufnahme.aufgenommen() - 2.5)
        return True


class Neustarts(Ausdauerfall):

    def test_start_und_stopp_in_jedem_moment(self):
        """Starts, and a stop at a random moment, into the same folder: always the orderly end."""
        wie_oft = anzahl(8, 500)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        self.sprich(600 if LANG else 60)
        laengster = 0.0
        for nummer in range(wie_oft):
            if LANG and nummer % 200 == 199:
                self.sprich(600)
            aufnahme = self.lauf(video=True, echo=True, umgebung=self.bildschirm.umgebung)
            time.sleep(self.zufall.choice((0.02, 0.3, 1.5)) * self.zufall.random())  # any moment
            self.warte_bis(lambda: test_stopp.haelt(aufnahme.prozess, signal.SIGINT),
                           "the program's own instructions", GEDULD)  # before them a signal kills
            laengster = max(laengster, aufnahme.stoppe(
                self.zufall.choice((signal.SIGINT, signal.SIGTERM)), GEDULD))
            self.pruefe_chunks(aufnahme, False)
            self.assertEqual(self.dateien("."), [])
            fortschritt(f"{nummer + 1} of {wie_oft} started and stopped")
        merke(starts=wie_oft, stopp_s=round(laengster, 2))


class Eingefroren(Ausdauerfall):

    def test_angehalten_und_weiter(self):
        """SIGSTOP of the recorder and of everything that it talks to, and on again."""
        dauern = (3.0, 15.0, 60.0) if LANG else (3.0,)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        kosten = {}
        for wer in ("recorder", "PipeWire", "session manager", "X server"):
            for dauer in dauern:
                kosten[f"{wer} {dauer:g} s"] = self.einmal(wer, dauer)
                fortschritt(f"{wer} frozen for {dauer:g} s: {kosten[f'{wer} {dauer:g} s']:.0f} ms of gaps")
        merke(faelle=len(kosten), luecken_ms=kosten)

    def einmal(self, wer, dauer):
        self.sprich(dauer + 30)
        aufnahme = self.lauf(video=True, umgebung=self.bildschirm.umgebung)
        aufnahme.gestartet()
        aufnahme.ereignis("video_start", GEDULD)
        aufnahme.warte_aufnahme(2.0, GEDULD)
        sende = {"recorder": aufnahme.sende,
                 "PipeWire": lambda nummer: self.raum.sende("pipewire", nummer),
                 "session manager": lambda nummer: self.raum.sende("wireplumber", nummer),
                 "X server": lambda nummer: self.bildschirm.sende_server(nummer)}[wer]
        sende(signal.SIGSTOP)
        time.sleep(dauer)  # the fault itself
        sende(signal.SIGCONT)
        vorher = aufnahme.aufgenommen()
        self.warte_bis(lambda: aufnahme.aufgenommen() > vorher + 2.0, "sound again", GEDULD + dauer)
        aufnahme.stoppe(frist=GEDULD)
        self.pruefe_chunks(aufnahme, True)
        luecken = max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them"))
        # A gap is never longer than what caused it; what is only looked at costs no sound.
        grenze = 1000 * dauer + 5000 if wer in ("recorder", "PipeWire") else 500
        self.assertLessEqual(luecken, grenze, aufnahme.alles())
        return luecken


class Echtzeit(Ausdauerfall):

    def test_lange_in_echtzeit(self):
        """An hour with everything: memory, descriptors and threads stay where they are."""
        sekunden = float(os.environ.get("HALLKORB_ANZAHL", 3600 if LANG else 40))
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        self.sprich(min(sekunden, 300))
        aufnahme = self.lauf(video=True, echo=True, umgebung=self.bildschirm.umgebung)
        aufnahme.gestartet()
        aufnahme.ereignis("video_start", GEDULD)
        gemessen = []
        naechstes_spiel = min(sekunden, 300) - 5
        warm = min(60.0, sekunden / 2)
        while aufnahme.aufgenommen() < sekunden:
            aufnahme.warte_aufnahme(5.0, GEDULD)
            if aufnahme.aufgenommen() > naechstes_spiel:
                self.sprich(300)
                naechstes_spiel += 300
            if aufnahme.aufgenommen() > warm:
                gemessen.append((aufnahme.speicher_kib(), self.zaehle(aufnahme, "fd"),
                                 self.zaehle(aufnahme, "task")))
            fortschritt(f"{aufnahme.aufgenommen():.0f} of {sekunden:.0f} s recorded")
        aufnahme.stoppe(frist=GEDULD)
        self.pruefe_chunks(aufnahme, False)
        speicher = [kib for kib, _, _ in gemessen]
        self.assertLessEqual(max(speicher) - speicher[0], 8192, speicher)
        self.assertLessEqual(max(fd for _, fd, _ in gemessen) - min(fd for _, fd, _ in gemessen), 4)
        self.assertLessEqual(max(t for _, _, t in gemessen) - min(t for _, _, t in gemessen), 4)
        merke(sekunden=round(sekunden), mib=round(max(speicher) / 1024),
              waechst_kib=max(speicher) - speicher[0], fd=gemessen[-1][1], faeden=gemessen[-1][2],
              luecken_ms=max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them")))

    @staticmethod
    def zaehle(aufnahme, was):
        return len(os.listdir(f"/proc/{aufnahme.prozess.pid}/{was}"))
