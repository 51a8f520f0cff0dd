"""Killed at any moment: what was announced is whole and right, and the rest nearly whole.

HALLKORB_LANG and HALLKORB_ANZAHL as in test_ausdauer; it runs only by name.
"""

import os
import signal
import threading
import time

import film
import signale
import test_ausdauer
import test_video
import vergleich

ZYKLUS = 1024 / 48000  # of the graph, in seconds
BLOCK = 0.05  # of sound: a cycle, and the block that was begun


class Stockung:
    """The longest time for which the machine has halted a thread that only waits, in seconds: for so much
    longer anything else may have taken."""

    SCHRITT = 0.01

    def __init__(self):
        self.laengste = 0.0
        self._ende = threading.Event()
        threading.Thread(target=self._miss, daemon=True).start()

    def _miss(self):
        bisher = time.monotonic()
        while not self._ende.wait(self.SCHRITT):
            jetzt = time.monotonic()
            self.laengste = max(self.laengste, jetzt - bisher - self.SCHRITT)
            bisher = jetzt

    def schliesse(self):
        self._ende.set()
        return self.laengste


class Getoetet(test_ausdauer.Ausdauerfall):

    ARTEN = ("start", "lauf", "wechsel", "stopp", "start", "lauf", "schluss", "stopp")
    RUNDE = 7.0  # seconds of noise that are played over and over
    LOCH = 0.25  # seconds: some turns of a player
    ECHO_GLEICH = 0.9  # what the echo path leaves of a voice that has nobody else's in it

    def setUp(self):
        super().setUp()
        self.klang = {"them": vergleich.Schleife(self.RUNDE, 1), "me": vergleich.Schleife(self.RUNDE, 2)}
        self.spieler = []
        self.summe = dict.fromkeys(("chunks", "videos", "stuecke", "zeiten", "fremde"), 0)
        self.roh_s = self.video_s = 0.0

    def spiele(self, sekunden):
        """Plays both noises from now on, and ends earlier players: two of one noise are another one."""
        for prozess in self.spieler:
            prozess.kill()
            prozess.wait()
        self.spieler = []
        for kanal, geraet in (("them", "speakers"), ("me", "mic-feed")):
            datei = os.path.join(self.ordner, geraet + ".wav")
            self.klang[kanal].schreibe(datei, sekunden)
            self.spieler.append(self.raum.spiele(datei, geraet))

    def test_getoetet_in_jedem_moment(self):
        """kill -9 while it starts, records, follows a window, and stops, always into the same folder. A
        recorder that had ended before the signal came does not count."""
        wie_oft = test_ausdauer.anzahl(8, 300)
        self.oeffne("Meet – abc-defg-hij", test_video.CHROME, "chrome")
        toetungen, verfehlt = 0, 0
        while toetungen < wie_oft:
            if (toetungen + verfehlt) % 20 == 0:
                self.spiele(20 * 20)
            art = self.ARTEN[toetungen % len(self.ARTEN)]
            if not self.einmal(art):
                verfehlt += 1
                self.assertLess(verfehlt, 20 + 2 * wie_oft)
                continue
            toetungen += 1
            test_ausdauer.fortschritt(f"{toetungen} of {wie_oft} killed ({art}), {verfehlt} times too late")
        # What all of them left does not disturb a recording that is stopped in order.
        aufnahme = self.lauf("--max", "2", umgebung=self.bildschirm.umgebung, video=True)
        aufnahme.gestartet()
        aufnahme.warte_aufnahme(5.0, test_ausdauer.GEDULD)
        aufnahme.stoppe(frist=test_ausdauer.GEDULD)
        self.assertGreater(self.pruefe_chunks(aufnahme, True), 0)
        self.assertGreater(self.pruefe_klang(aufnahme, "them", 1.0), 0)
        test_ausdauer.merke(kills=wie_oft, verfehlt=verfehlt, roh_s=round(self.roh_s, 2), video_s=round(self.video_s, 2),
              **self.summe)

    def einmal(self, art):
        """One recording. Returns whether it was killed, and had not ended before."""
        echo = self.zufall.random() < 0.5
        stockung = Stockung()
        aufnahme = self.lauf("--max", "2", video=True, echo=echo, umgebung=self.bildschirm.umgebung)
        fenster = self.bis_zum_moment(aufnahme, art)
        aufnahme.prozess.kill()
        status = aufnahme.ende(test_ausdauer.GEDULD)
        halt = stockung.schliesse()
        if fenster is not None:
            self.bildschirm.schliesse(fenster)
        self.summe["chunks"] += self.pruefe_chunks(aufnahme, not echo)
        self.pruefe_klang(aufnahme, "them", halt)
        if echo:
            self.pruefe_echo(aufnahme)
        self.roh_s = max(self.roh_s, self.pruefe_roh(halt))
        if status != -signal.SIGKILL:
            self.assertEqual(status, 0, aufnahme.alles())
            return False
        self.summe["videos"] += self.pruefe_video(aufnahme, art, halt)
        return True

    def bis_zum_moment(self, aufnahme, art):
        """Returns when it is to be killed; a window to close afterwards, or None."""
        if art == "start":
            time.sleep(self.zufall.uniform(0.0, 1.0))  # any moment will do
            return None
        aufnahme.gestartet()
        aufnahme.ereignis("video_start", test_ausdauer.GEDULD)
        aufnahme.warte_aufnahme(self.zufall.uniform(2.0, 7.0), test_ausdauer.GEDULD)
        fenster = None
        if art in ("wechsel", "schluss"):
            fenster = self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom", "--groesse", "1300", "820")
            self.wechsel(aufnahme, 1)
            if art == "schluss":  # of the window that is being recorded
                self.bildschirm.schliesse(fenster)
                fenster = None
            time.sleep(self.zufall.uniform(0.0, 0.5))
        elif art == "stopp":
            aufnahme.sende(signal.SIGINT)
            time.sleep(self.zufall.uniform(0.0, 0.1))
        return fenster

    def pruefe_klang(self, aufnahme, kanal, halt):
        """What was announced is what was played, at its times, and no chunk of it is missing. Returns how many
        pieces were compared."""
        saetze = aufnahme.chunks(kanal)
        self.assertEqual([satz["chunk"] for satz in saetze], list(range(len(saetze))), aufnahme.alles())
        for davor, danach in zip(saetze, saetze[1:]):
            self.assertEqual(davor["t1"], danach["t0"], aufnahme.alles())
        befund = self.klang[kanal].pruefe([(satz["t0"], signale.lies_ganz(satz["path"])) for satz in saetze])
        # A player that misses its turn leaves a hole in its sound, and what follows comes later. Nothing else
        # breaks a sound, and such a hole is as long as the machine halts a thread.
        self.assertEqual(befund.fremde, 0, aufnahme.alles())
        self.assertLessEqual(max(befund.loecher, default=0.0), self.LOCH + halt, aufnahme.alles())
        spielraum = 0.015
        if befund.loecher or halt >= ZYKLUS:
            spielraum += sum(befund.loecher) + halt
        else:
            self.summe["zeiten"] += befund.gleiche
        self.assertLessEqual(befund.versatz, spielraum, aufnahme.alles())
        self.summe["stuecke"] += befund.gleiche
        self.summe["fremde"] += befund.gebrochene
        return befund.gleiche

    def pruefe_echo(self, aufnahme):
        """The chunks of "me" are the raw file at their times, but for what the echo path takes away."""
        chunks = aufnahme.chunks("me")
        if chunks:
            roh = signale.lies(os.path.join(self.aufnahme, "mikro_roh.wav"))[0]
        for satz in chunks:
            aehnlich = vergleich.wie_roh(signale.lies_ganz(satz["path"]), roh, satz["t0"])
            self.assertGreater(aehnlich, self.ECHO_GLEICH, satz)

    def pruefe_roh(self, halt):
        """The header declares no more than there is, and at most five seconds and a block less, if the
        machine has not halted the recorder meanwhile. Returns the seconds that it declares too little."""
        pfad = os.path.join(self.aufnahme, "mikro_roh.wav")
        if not os.path.exists(pfad) or os.path.getsize(pfad) < 44:
            return 0.0
        _, _, erklaert, vorhanden = signale.lies(pfad)
        self.assertLessEqual(erklaert, vorhanden)
        fehlt = (vorhanden - erklaert) / 2 / signale.ZIEL
        self.assertLessEqual(fehlt, 5.0 + BLOCK + halt)
        return fehlt

    def pruefe_video(self, aufnahme, art, halt):
        """All but the last two seconds play. Returns whether there was a video to look at."""
        start = [satz for satz in aufnahme.saetze() if satz.get("event") == "video_start"]
        if not start or art == "start":
            return False
        gedreht = film.Film(os.path.join(self.aufnahme, "video.mp4"))
        fehlt = aufnahme.aufgenommen() - start[0]["t_s"] - gedreht.dauer
        self.assertLess(fehlt, 2.0 + halt, aufnahme.alles())
        self.video_s = max(self.video_s, fehlt)
        return True
