"""Devices with crystals of their own, as every sound card has one: nothing to correct, the echo taken
out, real losses at their place, the picture in step.
"""

import json
import os
import signal
import subprocess
import time

import numpy

import film
import lauf
import signale
import voices

GERAETE = os.path.join(os.path.dirname(lauf.PROGRAMM), "tests", "testgeraete")
SEKUNDEN = 110.0
ZEHN_MINUTEN = 600.0
# When the echo path has settled, and what it has to take off from then on.
EINGESCHWUNGEN = 40.0
DAEMPFUNG = 35.0
FEST = ("--legacy-chunks", "--chunk", "10")
KLICK = 0.0005  # s, half the width
VERLUST = 2048 / 48.0  # ms
ZYKLUS = 1024 / 48.0  # ms
ANLAUF = 15.0  # s that a player may take to begin, or to catch its breath


class Kristalle(lauf.Fall):
    # Every sample counts here: a player that misses its turn moves what it plays.
    ALLEIN = True
    LANG = True
    GERAETE = {"lautsprecher": False, "mikrofon": False}

    def geraete(self, *argumente, lautsprecher="speakers", mikrofon="mic", abstand="1"):
        prozess = self.raum.starte_programm(
            [GERAETE, "--sink", lautsprecher, "--source", mikrofon, "--pace", abstand, *argumente],
            stdout=subprocess.PIPE)
        self.addCleanup(self._beende, prozess)
        self.warte_bis(lambda: self.raum.knoten(lautsprecher) and self.raum.knoten(mikrofon),
                       "the devices")
        return prozess

    @staticmethod
    def _beende(prozess):
        if prozess.poll() is None:
            prozess.kill()
        prozess.wait()
        prozess.stdout.close()

    def bericht(self, prozess):
        prozess.send_signal(signal.SIGINT)
        aus = prozess.communicate(timeout=lauf.FRIST)[0]
        return json.loads(aus)

    def beginne(self, ton, *argumente, **mehr):
        """The recorder, and what the loudspeaker plays."""
        self.raum.warte_standard("sink", "speakers")
        self.raum.warte_standard("source", "mic")
        datei = os.path.join(self.ordner, "ton.wav")
        signale.schreibe(datei, ton, ton)
        aufnahme = self.lauf(*argumente, **mehr)
        aufnahme.gestartet()
        self.raum.spiele(datei, "speakers")
        return aufnahme

    def kanal(self, aufnahme, name):
        """A channel as it was recorded, from chunks of a fixed length, which leave nothing out."""
        return numpy.concatenate([signale.lies_ganz(satz["path"]) for satz in aufnahme.chunks(name)])

    def roh(self):
        return signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))

    def ohne_korrektur(self, aufnahme):
        for kanal in ("me", "them"):
            self.assertEqual(aufnahme.zeitachse()[kanal], {
                "luecken": 0, "luecken_ms": 0, "ueberlappungen": 0, "verworfen_ms": 0},
                aufnahme.alles())


class Echo(Kristalle):

    def daempfung(self, *argumente):
        """By how much the far end is quieter in the cleaned microphone, in dB."""
        fern = voices.baue_spuren()[0]
        geraete = self.geraete("--wander", "50", *argumente)
        aufnahme = self.beginne(numpy.resize(fern, round((SEKUNDEN + 20) * signale.RATE)),
                                *FEST, echo=True)
        aufnahme.warte_aufnahme(SEKUNDEN)
        aufnahme.stoppe()
        self.bericht(geraete)
        self.ohne_korrektur(aufnahme)
        roh, sauber = self.roh(), self.kanal(aufnahme, "me")
        stueck = slice(round(EINGESCHWUNGEN * signale.ZIEL), len(roh) - signale.ZIEL)
        self.assertGreater(signale.pegel(roh[stueck]), 0.01)
        db = 20 * numpy.log10(signale.pegel(roh[stueck]) / signale.pegel(sauber[stueck]))
        print(f"{self.id()}: {db:.1f} dB")
        return db

    def test_minuten_zwei_kristalle(self):
        self.assertGreater(self.daempfung("--sink-ppm", "100", "--source-ppm", "-100"), DAEMPFUNG)

    def test_minuten_ein_kristall(self):
        self.assertGreater(self.daempfung("--sink-ppm", "60", "--source-ppm", "60"), DAEMPFUNG)


class Klickfall(Kristalle):

    @staticmethod
    def klicks(sekunden):
        """Smooth clicks, 48 cycles (1.024 s) apart by the player's count."""
        ton = numpy.zeros(round(sekunden * signale.RATE))
        t = numpy.arange(-200, 201) / signale.RATE
        for mitte in range(48 * 1024, len(ton) - signale.RATE, 48 * 1024):
            ton[mitte - 200:mitte + 201] = 0.8 * numpy.exp(-0.5 * (t / KLICK) ** 2)
        return ton

    def nah(self):
        """A second of the microphone's own count with a click in the middle."""
        pfad = os.path.join(self.ordner, "nah.f32")
        t = (numpy.arange(signale.RATE) - signale.RATE // 2) / signale.RATE
        (0.8 * numpy.exp(-0.5 * (t / KLICK) ** 2)).astype("<f4").tofile(pfad)
        return pfad

    @staticmethod
    def lagen(ton):
        """Where the clicks are, in seconds. One that a loss has cut, or whose reflection alone is left of
        it, is none: it weighs less than a whole one."""
        lagen, schwer, laut = [], [], numpy.flatnonzero(ton > 0.12)
        while len(laut):
            fenster = numpy.arange(max(laut[0] - 40, 0), min(laut[0] + 60, len(ton)))
            gewicht = numpy.maximum(ton[fenster], 0.0)
            schwer.append(gewicht.sum())
            lagen.append((fenster * gewicht).sum() / gewicht.sum() / signale.ZIEL)
            laut = laut[laut > laut[0] + signale.ZIEL // 4]
        ganz = numpy.array(schwer) > 0.97 * numpy.median(schwer)
        return numpy.array(lagen)[ganz]

    def abweichungen(self, ton, ppm):
        """By how many ms each of the player's clicks lies behind its place, counted from the first, on a
        device that is fast by `ppm`. A player that misses turns on a busy machine is late by whole cycles
        from then on, which is its own doing, so whole cycles do not count. One in twenty clicks may have
        been cut by such a turn; the others are there, from the recording's beginning to its end."""
        lagen = self.lagen(ton)
        self.assertGreater(len(lagen), 0)
        zyklus = ZYKLUS / (1 + ppm * 1e-6)
        ende = min(len(ton) / signale.ZIEL, ZEHN_MINUTEN)
        print(f"{len(lagen)} clicks from {lagen[0]:.1f} to {lagen[-1]:.1f} s of {ende:.1f}")
        self.assertLess(lagen[0], ANLAUF)
        self.assertGreater(lagen[-1], ende - ANLAUF)
        self.assertGreater(len(lagen), 0.95 * (lagen[-1] - lagen[0]) / (48 * zyklus / 1000))
        seit = 1000 * (lagen - lagen[0])
        return seit - numpy.round(seit / zyklus) * zyklus

    def nullen(self, ton, null, t0, ppm):
        """When the recording began, by each click of nah(), whose moment is known; seconds on the host's
        clock. `null` is known to less than half a second, `t0` is the device's first sample."""
        lagen = self.lagen(ton)
        hz = signale.RATE * (1 + ppm * 1e-6)
        nummer = numpy.round(((null + lagen - t0) * hz - signale.RATE / 2) / signale.RATE)
        return t0 + (nummer + 0.5) * signale.RATE / hz - lagen

    @staticmethod
    def null(aufnahme):
        """The recording's zero on the host's clock, by the wall clock."""
        return aufnahme.ereignis("started")["null_unix_ms"] / 1000 - (time.time() - time.monotonic())


class Klicks(Klickfall):

    def test_verluste_genau_und_am_platz(self):
        geraete = self.geraete("--sink-ppm", "100", "--source-ppm", "-100", "--gain", "0",
                               "--near", self.nah(), "--misstamp-every", "2:3", "--lose-every", "3")
        aufnahme = self.beginne(self.klicks(60))
        null = self.null(aufnahme)
        aufnahme.warte_aufnahme(40.0)
        aufnahme.stoppe()
        bericht = self.bericht(geraete)
        self.assertGreater(bericht["falsche"], 50)
        me, them = aufnahme.zeitachse()["me"], aufnahme.zeitachse()["them"]
        self.assertEqual(me["luecken"], bericht["verluste"], aufnahme.alles())
        self.assertAlmostEqual(me["luecken_ms"], bericht["verluste"] * VERLUST,
                               delta=0.1 * bericht["verluste"] + 1)
        self.assertEqual((me["ueberlappungen"], them["luecken"], them["ueberlappungen"]), (0, 0, 0),
                         aufnahme.alles())
        nullen = self.nullen(self.roh(), null, bericht["t0"], -100)
        weit = 1000 * (nullen - nullen[0])
        print(f"me: {bericht['verluste']} losses, clicks at most {numpy.abs(weit).max():.2f} ms beside "
              "their place")
        self.assertGreater(len(weit), 39 - 2 - bericht["verluste"])
        # Each loss is filled with whole samples, and what is left over adds up.
        self.assertLess(numpy.abs(weit).max(), 1.0 + 0.03 * bericht["verluste"])

    def test_anderes_standardgeraet(self):
        self.geraete("--sink-ppm", "80", "--source-ppm", "80", "--gain", "1", "--prio", "2000")
        aufnahme = self.beginne(self.klicks(60))
        aufnahme.warte_aufnahme(15.0)
        self.geraete("--sink-ppm", "-80", "--source-ppm", "-80", "--prio", "500",
                     lautsprecher="kopfhoerer", mikrofon="headset")
        self.raum.setze_standard("sink", "kopfhoerer")
        self.raum.setze_standard("source", "headset")
        aufnahme.warte_aufnahme(20.0)
        aufnahme.stoppe()
        me, them = aufnahme.zeitachse()["me"], aufnahme.zeitachse()["them"]
        print(f"me: {me}, them: {them}")
        # "them" is moved: the new device's cycles begin at moments of their own, so its first one
        # begins up to a cycle after the end of the old one's last, or before it.
        self.assertLessEqual(them["luecken"] + them["ueberlappungen"], 1, aufnahme.alles())
        self.assertLessEqual(them["luecken_ms"] + them["verworfen_ms"], ZYKLUS + 1, aufnahme.alles())
        # "me" gets another stream once the session manager has named the new device; nothing is
        # recorded in between. If that takes less than a cycle, the two devices' blocks overlap.
        self.assertLessEqual(me["luecken"] + me["ueberlappungen"], 1, aufnahme.alles())
        self.assertLessEqual(me["verworfen_ms"], ZYKLUS + 1, aufnahme.alles())
        self.assertLessEqual(me["luecken_ms"], 1000.0, aufnahme.alles())

    def test_andere_blocklaenge(self):
        """Another application asks for a shorter latency and leaves again, as a browser does: nothing is
        inserted, nothing dropped, and every click stays at its place."""
        self.pruefe_blocklaengen()

    def test_andere_blocklaenge_mit_latenz(self):
        """The same on a microphone that reports a cycle of the graph as its latency, as sound cards do."""
        self.pruefe_blocklaengen("--latency", "1")

    def test_kurze_blocklaenge_vorher(self):
        """The other application was there first, so the recording begins with short blocks."""
        self.pruefe_blocklaengen("--latency", "1", vorher=True)

    def fremd(self):
        return self.raum.starte_programm(
            ["pw-record", "--latency", "512", "--target", "mic", os.path.join(self.ordner, "fremd.wav")],
            stderr=subprocess.DEVNULL)

    def pruefe_blocklaengen(self, *argumente, vorher=False):
        self.mehrmals(lambda _: self.pruefe_einmal(argumente, vorher))

    def pruefe_einmal(self, argumente, vorher):
        # Without a pace: a client that leaves does not answer, and no cycle is to wait for it.
        geraete = self.geraete("--gain", "0", "--near", self.nah(), *argumente, abstand="0")
        fremd = self.fremd() if vorher else None
        if vorher:
            self.warte_bis(lambda: self.raum.knoten("pw-record"), "the other application")
        aufnahme = self.beginne(self.klicks(60))
        null = self.null(aufnahme)
        for nummer in range(3):
            if nummer or not vorher:
                aufnahme.warte_aufnahme(3.0)
                fremd = self.fremd()
            aufnahme.warte_aufnahme(3.0)
            fremd.send_signal(signal.SIGINT)
            fremd.wait(lauf.FRIST)
        aufnahme.warte_aufnahme(3.0)
        aufnahme.stoppe()
        t0 = self.bericht(geraete)["t0"]
        self.ohne_korrektur(aufnahme)
        nullen = self.nullen(self.roh(), null, t0, 0)
        weit = 1000 * (nullen - nullen[0])
        print(f"{self.id()}: {len(weit)} clicks at most {numpy.abs(weit).max():.2f} ms beside their place")
        self.assertGreater(len(weit), 3 * 5)
        self.assertLess(numpy.abs(weit).max(), 1.0)


class ZehnMinuten(Klickfall):
    """A meeting's length with two crystals that are off by 200 ppm from each other, which is 120 ms in
    the end. The loudspeaker's clicks are known by their distance; the microphone hears clicks of its
    own at known moments, and a window changes its colour at known moments."""

    QUELLE_PPM = -100.0
    SENKE_PPM = 100.0
    FARBEN = {"blau": "1E4FA0", "rot": "A05A1E"}
    WECHSEL = 30  # at the beginning, and again at the end

    def wechsle(self, aufnahme, fenster):
        """Changes the colour some times; returns the moments, on the host's clock."""
        zeiten = []
        for nummer in range(self.WECHSEL):
            # Not in step with the pictures, of which there are fifteen a second.
            aufnahme.warte_aufnahme(0.31 + 0.017 * (nummer % 7))
            zeiten.append(time.monotonic())
            fenster.tu(f"farbe {self.FARBEN[('rot', 'blau')[nummer % 2]]}")
        return zeiten

    def test_kein_fehler_in_ton_und_bild(self):
        geraete = self.geraete("--wander", "50", "--sink-ppm", f"{self.SENKE_PPM:g}",
                               "--source-ppm", f"{self.QUELLE_PPM:g}", "--gain", "0",
                               "--near", self.nah())
        schirm = self.schirm()
        fenster = schirm.oeffne("Zoom Meeting", ("zoom", "zoom"), "--farbe", self.FARBEN["blau"])
        aufnahme = self.beginne(self.klicks(ZEHN_MINUTEN + 120), *FEST, video=True,
                                umgebung=schirm.umgebung)
        null = self.null(aufnahme)
        aufnahme.ereignis("video_start")
        anfang = self.wechsle(aufnahme, fenster)
        aufnahme.warte_aufnahme(ZEHN_MINUTEN - aufnahme.aufgenommen())
        ende = self.wechsle(aufnahme, fenster)
        aufnahme.warte_aufnahme(1.0)
        aufnahme.stoppe()
        t0 = self.bericht(geraete)["t0"]
        self.ohne_korrektur(aufnahme)

        null = self.pruefe_mikrofon(null, t0)
        weit = self.abweichungen(self.kanal(aufnahme, "them"), self.SENKE_PPM)
        print(f"them: clicks at most {numpy.abs(weit).max():.2f} ms beside their place, "
              f"{weit[-1]:.2f} ms at the end")
        self.assertLess(numpy.abs(weit).max(), 1.0)
        self.pruefe_bild(aufnahme, null, anfang, ende)

    def pruefe_mikrofon(self, null, t0):
        """Every click where it was heard; returns the recording's zero on the host's clock, as the
        sound has it."""
        nullen = self.nullen(self.roh(), null, t0, self.QUELLE_PPM)
        self.assertGreater(len(nullen), ZEHN_MINUTEN - 2)
        weit = 1000 * (nullen - nullen.mean())
        print(f"me: clicks at most {numpy.abs(weit).max():.2f} ms beside their place, "
              f"{weit[0] - weit[-1]:.2f} ms from the first to the last, "
              f"{1000 * (nullen.mean() - null):.2f} ms beside the wall clock")
        self.assertLess(numpy.abs(weit).max(), 1.0)
        return nullen.mean()

    def pruefe_bild(self, aufnahme, null, anfang, ende):
        """The colours' moments in the film, which begins with "video_start", are those in the sound, and
        stay so. The earliest picture of each thirty counts: the grid of the pictures lies anywhere."""
        (start,) = aufnahme.ereignisse("video_start")
        (video,) = aufnahme.ereignisse("video")
        gedreht = film.Film(video["path"])
        abschnitte = gedreht.abschnitte(self.FARBEN)
        self.assertEqual([name for name, _ in abschnitte],
                         [*["blau", "rot"] * self.WECHSEL, "blau"])
        zeiten = numpy.array([zeit for _, zeit in abschnitte[1:]])
        spaet = 1000 * (null + zeiten - numpy.array([*anfang, *ende]))
        weg = spaet[self.WECHSEL:].min() - spaet[:self.WECHSEL].min()
        zuerst = spaet[:self.WECHSEL].min() + 1000 * start["t_s"]
        print(f"picture: {zuerst:.0f} ms later than the sound, and {weg:.1f} ms later than at the beginning, of "
              "pictures 67 ms apart")
        # The event has a tenth of a second.
        self.assertLess(abs(zuerst), 200.0)
        self.assertLess(abs(weg), 25.0)
