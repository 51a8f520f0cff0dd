"""What the whole program keeps when it is stopped, frozen or limited, and whether it lasts.

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
import test_grenzen
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
            self.warte_bis(lambda: lauf.signalmaske(aufnahme.prozess, "SigBlk", signal.SIGINT),
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
        video = os.path.join(self.aufnahme, "video.mp4")
        anfang = time.monotonic()
        sende(signal.SIGSTOP)
        time.sleep(dauer)  # the fault itself
        sende(signal.SIGCONT)
        ton, bild = aufnahme.aufgenommen(), os.path.getsize(video)
        self.warte_bis(lambda: aufnahme.aufgenommen() > ton, "sound again", GEDULD + dauer)
        stille = time.monotonic() - anfang
        self.warte_bis(lambda: os.path.getsize(video) > bild, "a picture again", GEDULD + dauer)
        aufnahme.warte_aufnahme(2.0, GEDULD)
        aufnahme.stoppe(frist=GEDULD)
        self.pruefe_chunks(aufnahme, True)
        (satz,) = aufnahme.ereignisse("video")
        self.assertEqual(satz["frames"], len(film.Film(satz["path"]).zeiten))
        luecken = max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them"))
        # A gap is never longer than until there was sound again; what is only looked at costs no sound.
        grenze = 1000 * stille if wer in ("recorder", "PipeWire") else 0
        self.assertLessEqual(luecken, grenze + 500, aufnahme.alles())
        return luecken


class Neugestartet(Ausdauerfall):

    def test_getoetet_und_neu_gestartet(self):
        """Each of the services is killed in mid-recording, and started again some time later."""
        wie_oft = anzahl(3, 30)
        laengste = {}
        for nummer in range(wie_oft):
            wer = ("PipeWire", "session manager", "X server")[nummer % 3]
            weg = self.zufall.uniform(0.0, 8.0 if LANG else 2.0)
            laengste[wer] = max(laengste.get(wer, 0.0), self.einmal(wer, weg))
            fortschritt(f"{nummer + 1} of {wie_oft}: {wer} away for {weg:.1f} s, {laengste[wer]:.0f} ms of gaps")
        merke(faelle=wie_oft, luecken_ms=laengste)

    def einmal(self, wer, weg):
        fenster = self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        self.sprich(60)
        aufnahme = self.lauf(video=True, umgebung=self.bildschirm.umgebung)
        aufnahme.gestartet()
        aufnahme.ereignis("video_start", GEDULD)
        aufnahme.warte_aufnahme(3.0, GEDULD)
        anfang = time.monotonic()
        {"PipeWire": self.raum.beende_pipewire,
         "session manager": lambda: self.raum.beende_dienst("wireplumber"),
         "X server": self.bildschirm.ende_server}[wer]()
        time.sleep(weg)  # the fault itself
        if wer == "X server":
            self.bildschirm.starte_neu()
            fenster = self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
            self.wechsel(aufnahme, 1)
        elif wer == "PipeWire":
            self.raum.starte_pipewire()
            self.raum.starte_wireplumber()
        else:
            # The devices of a real computer belong to the session manager and come and go with it.
            geraete = ("speakers", "mic-feed", "mic")
            for geraet in geraete:
                self.raum.entferne(geraet)
            self.raum.starte_wireplumber()
            for geraet in geraete:
                self.raum.lege_an(geraet)
        dauer = time.monotonic() - anfang
        if wer != "X server":  # the players' links are gone, too
            # A device that is back within a second was never reported as lost: the gap says it all.
            for texte in (("Mikrofon wieder da", "Zeitachse me: Luecke"),
                          ("System-Audio wieder da", "Zeitachse them: Luecke")):
                self.warte_bis(lambda: any(aufnahme.diagnosen(text) for text in texte), texte[0], GEDULD)
            self.sprich(30)
        aufnahme.warte_aufnahme(3.0, GEDULD)
        aufnahme.stoppe(frist=GEDULD)
        self.pruefe_chunks(aufnahme, True)
        (video,) = aufnahme.ereignisse("video")
        self.assertGreater(film.Film(video["path"]).zeiten[-1], 2.0)
        self.bildschirm.schliesse(fenster)
        luecken = max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them"))
        # Nothing is heard until the devices are back and the recorder has found them.
        grenze = 500 if wer == "X server" else 1000 * (dauer + GEDULD)
        self.assertLessEqual(luecken, grenze, aufnahme.alles())
        return luecken


class Umgeschaltet(Ausdauerfall):

    def test_zwanzig_mal_in_zehn_sekunden(self):
        """The default devices change twenty times in ten seconds: what is heard afterwards comes from the
        last ones."""
        wie_oft = anzahl(1, 10)
        self.raum.lege_an("kopfhoerer", rang=10)
        self.raum.lege_an("headset", "Audio/Source/Virtual", ("MONO",), rang=10)
        self.raum.lege_an("headset-feed", "Audio/Sink", ("MONO",), rang=1)
        self.raum.verbinde("headset-feed:monitor_MONO", "headset:input_MONO")
        luecken = 0.0
        for nummer in range(wie_oft):
            luecken = max(luecken, self.einmal())
            fortschritt(f"{nummer + 1} of {wie_oft} rounds")
        merke(runden=wie_oft, luecken_ms=luecken)

    def einmal(self):
        neue = {"sink": "kopfhoerer", "source": "headset"}
        alte = {"sink": "speakers", "source": "mic"}
        for art, name in alte.items():
            self.raum.setze_standard(art, name)
        self.sprich(8)  # ends while the devices still change
        aufnahme = self.lauf()
        aufnahme.gestartet()
        aufnahme.warte_aufnahme(2.0, GEDULD)
        for i in range(20):
            for art, name in (alte, neue)[i % 2].items():
                self.raum.befehl("pw-metadata", "0", f"default.configured.audio.{art}",
                                 json.dumps({"name": name}), "Spa:String:JSON")
            time.sleep(0.5)  # the fault itself
        for art, name in neue.items():
            self.raum.setze_standard(art, name)
        # Only the last devices have sound now. The defaults are requested anew after half a minute at
        # the latest, if the daemon does not report them.
        for geraet, saat in (("kopfhoerer", 3), ("headset-feed", 4)):
            datei = os.path.join(self.ordner, geraet + ".wav")
            signale.schreibe(datei, signale.rauschen(120, saat))
            self.raum.spiele(datei, geraet)
        bisher = {kanal: len(aufnahme.chunks(kanal)) for kanal in ("me", "them")}
        for kanal, chunks in bisher.items():
            aufnahme.chunk(kanal, chunks + 1, 2 * GEDULD)
        aufnahme.stoppe(frist=GEDULD)
        self.pruefe_chunks(aufnahme, True)
        for kanal in ("me", "them"):
            self.assertGreater(signale.pegel(signale.lies_ganz(aufnahme.chunks(kanal)[-2]["path"])), 0.05)
        return max(aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them"))


class Stumm(Ausdauerfall):

    def test_nur_nullen(self):
        """A minute and a half of nothing but zeros after sound is reported for each channel, and its end."""
        self.sprich(4)
        aufnahme = self.lauf()
        aufnahme.gestartet()
        namen = ("Mikrofon", "System-Audio")
        ab = {name: aufnahme.meldung(f"{name}: seit 90 s nur Nullen", 90.0 + 2 * GEDULD) for name in namen}
        self.sprich(10)
        for name in namen:
            aufnahme.meldung(f"{name}: wieder Ton, nach ", GEDULD, ab[name])
        aufnahme.stoppe(frist=GEDULD)
        self.assertEqual(aufnahme.diagnosen("Nullen"), 4, aufnahme.alles())
        merke(kanaele=2)


class Dateigrenzen(Ausdauerfall):

    def test_dateigroessen(self):
        werte = [1, 80, *(range(20, 401, 20) if LANG else ())]
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        enden = []
        for kib in werte:
            enden.append(test_grenzen.Dateigroesse.einmal(self, kib))
            self.assertIn(enden[-1], (0, 2))
            fortschritt(f"files of at most {kib} KiB: status {enden[-1]}")
        merke(faelle=len(enden), abgelehnt=enden.count(2))


class Adressraum(Ausdauerfall, test_grenzen.Speicher):

    def test_adressraum(self):
        werte = range(100, 601, 10) if LANG else (120, 240, 500)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        enden = []
        for mib in werte:
            enden.append(self.einmal(mib))
            fortschritt(f"{mib} MiB of address space: status {enden[-1]}")
        merke(faelle=len(enden), abgelehnt=enden.count(2))


class Fadengrenzen(Ausdauerfall, test_grenzen.Faeden):

    def test_am_anfang(self):
        werte = range(1, 41) if LANG else (1, 6, 12, 18, 40)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        enden = []
        for grenze in werte:
            enden.append(self.einmal(grenze))
            fortschritt(f"{grenze} threads: status {enden[-1]}")
        merke(faelle=len(enden), abgelehnt=enden.count(2))

    test_ton = test_laufendes_bild = test_bild_ohne_faden = test_tonserver_endet = None


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
