"""Meetings in real browsers: what the recorder makes of their tabs, windows, sound and ends.

Each page has a colour of its own, by which the film's pictures are judged. They run only by name: the
stage "browser" of scripts/test. With HALLKORB_LANG=1 the story takes ten minutes instead of one.
"""

import os
import subprocess
import sys
import time

import numpy

import browser
import film
import kontaktbogen
import lauf
import privat
import prozesse
import signale
import test_video

FARBEN = {"meet": "1E4FA0", "zweites": "5A2E90", "post": "A05A1E", "klein": "2E8060"}
# Chromium fades a small window in, from its dark frame: of these shares of its own colour.
EINBLENDUNG = FARBEN | {
    f"klein {anteil}": bytes(round(von + (bis - von) * anteil / 100) for von, bis in zip(
        bytes.fromhex("202124"), bytes.fromhex(FARBEN["klein"]))).hex() for anteil in (40, 55, 70, 85)}
MEET = "Meet – abc-defg-hij"
ZWEITES = "Meet – rst-uvwx-yza"
POST = "Posteingang (3)"
LANG = bool(os.environ.get("HALLKORB_LANG"))
BOGEN = os.path.join(lauf.WURZEL, "build", "contact-sheet")
GEDULD = 60.0  # a browser on a busy machine takes long to start
RATE = signale.ZIEL
HALTEZEIT = 0.5  # seconds for which the recorder holds pictures back
UNGEMALT = 0.25  # for which it waits for a window that draws nothing
VERSUCHE = 5


class Browserfall(test_video.Fensterfall):
    LANG = True
    ART = browser.Chromium

    def setUp(self):
        super().setUp()
        self.seiten = browser.Seitendienst()
        self.enterContext(self.seiten)

    def starte(self, titel=MEET, farbe="meet", *optionen):
        """The browser with its first page; (browser, page)."""
        adresse = self.seiten.adresse(titel, FARBEN[farbe])
        programm = self.ART(self.bildschirm, os.path.join(self.ordner, "browser"), adresse, *optionen)
        self.addCleanup(programm.toete)
        return programm, programm.erste(titel)

    def oeffne_seite(self, programm, titel, farbe, fenster=False):
        return programm.oeffne(self.seiten.adresse(titel, FARBEN[farbe]), titel, fenster)

    def hole_vor(self, titel):
        """Raises the window of that title, as the user does in a list of windows."""
        nummer = self.warte_fenster(lambda gezeigt: gezeigt.startswith(titel))
        subprocess.run(["xdotool", "windowactivate", str(nummer)], env=self.bildschirm.umgebung,
                       check=True, timeout=GEDULD)

    def warte_fenster(self, passt):
        """The number of the first window with such a title, once there is one."""
        def suche():
            probe = subprocess.run([lauf.PROGRAMM, "--fenster-probe", "--alle"], check=True,
                                   env=self.bildschirm.umgebung, capture_output=True, text=True)
            return next((fenster["fenster"] for fenster in lauf.geprueft(probe.stdout)
                         if "titel" in fenster and passt(fenster["titel"])), None)

        return self.warte_bis(suche, "the window", GEDULD)

    def oeffne_kleines(self, seite):
        """The small window that stays when the meeting's tab is left, with the page's title alone."""
        titel = seite.tu("document.title")
        seite.tu(f"bildImBild('{FARBEN['klein']}')")
        self.warte_fenster(lambda gezeigt: gezeigt == titel)

    def beginnt(self, aufnahme, titel):
        start = self.wechsel(aufnahme, 0, "video_start")
        self.assertTrue(f" · {titel}" in start["quelle"], start)
        self.assertEqual((start["rang"], start["grund"]), (1, "Meeting im Browser"))
        return start

    def ende(self, aufnahme):
        """Stops; the film."""
        aufnahme.stoppe(frist=GEDULD)
        (video,) = aufnahme.ereignisse("video")
        gedreht = film.Film(video["path"])
        self.assertEqual(video["frames"], len(gedreht.zeiten))
        film.pruefe_form(self, gedreht)
        return gedreht

    def pruefe_bilder(self, gedreht, erlaubt):
        """Each picture shows one of these pages, whole: none is empty or half painted."""
        for nummer in range(len(gedreht.bilder)):
            farben = {name: farbe for name, farbe in EINBLENDUNG.items() if name.split()[0] in erlaubt}
            namen = {name.split()[0] for name in gedreht.namen_im_bild(nummer, farben)}
            self.assertEqual(len(namen), 1, f"picture {nummer} at {gedreht.zeiten[nummer]} shows {namen}")
            self.assertNotIn("?", namen, f"picture {nummer} at {gedreht.zeiten[nummer]}")

    def reihe(self, gedreht):
        namen = [name.split()[0] for name, _ in gedreht.abschnitte(EINBLENDUNG)]
        return [name for nummer, name in enumerate(namen) if namen[nummer - 1:nummer] != [name]]

    def pruefe_fremde(self, gedreht):
        """The other tab is in no picture: a browser draws it before it changes the title, and what was
        drawn so early is dropped."""
        fremde = [zeit for nummer, zeit in enumerate(gedreht.zeiten)
                  if "post" in gedreht.namen_im_bild(nummer, FARBEN)]
        self.assertEqual(fremde, [], "pictures of the other tab")

    def pruefe_pausen(self, gedreht, pausen, farbe):
        """No picture came between the two events of each pause; that page is what stands meanwhile, and
        the next picture. The events' times have one decimal."""
        luecken = [(bis - von, nummer) for nummer, (von, bis)
                   in enumerate(zip(gedreht.zeiten, gedreht.zeiten[1:]))]
        laengste = sorted(luecken, reverse=True)[:len(pausen)]
        for (luecke, nummer), (pause, danach) in zip(sorted(laengste, key=lambda l: l[1]), pausen,
                                                     strict=True):
            self.assertGreaterEqual(luecke, danach["t_s"] - pause["t_s"] - 0.11)
            self.assertEqual([gedreht.namen_im_bild(bild, FARBEN) for bild in (nummer, nummer + 1)],
                             [{farbe}, {farbe}], f"what stands from {gedreht.zeiten[nummer]} on, and the next")


class Titel:
    """A window's titles, and how far apart they and their pages come. `verspaetet` are the distances that
    are longer than the recorder allows for, in seconds."""

    CODE = "abc-defg-hij"  # in the meeting's title

    def __init__(self, fall, nummer):
        prozess = prozesse.starte(["xprop", "-spy", "-id", str(nummer), "_NET_WM_NAME"],
                                  env=fall.bildschirm.umgebung, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE)
        fall.addCleanup(prozess.stdout.close)
        fall.addCleanup(prozess.wait)
        fall.addCleanup(prozess.kill)
        self._fall = fall
        self._zeilen = lauf.Zeilen(prozess.stdout)
        self._zeit(lambda titel: self.CODE in titel, 0)
        self.verspaetet = []

    def stand(self):
        """How many titles there have been."""
        return len(self._zeilen.texte())

    def pruefe_weggang(self, seite, ab):
        self._merke("title after its page", self._zeit(lambda titel: self.CODE not in titel, ab)
                    - seite.tu("gezeigt"), HALTEZEIT - 0.1)

    def pruefe_rueckkehr(self, seite, ab):
        self._merke("page after its title",
                    seite.tu("gezeigt") - self._zeit(lambda titel: self.CODE in titel, ab), 0.1)

    def _zeit(self, passt, ab):
        """When the first such title came, in seconds since 1970."""
        gefunden = self._zeilen.warte(passt, GEDULD, ab)
        self._fall.assertIsNotNone(gefunden, self._zeilen.texte())
        return self._zeilen.alle[gefunden[0]][0] - time.monotonic() + time.time()

    def _merke(self, was, sekunden, hoechstens):
        print(f"{was}: {sekunden:.3f} s")
        if sekunden > hoechstens:
            self.verspaetet.append((was, round(sekunden, 3)))


class Gemeinsam:
    """What holds in each browser."""

    def test_anderer_tab(self):
        """The mail in another tab is not in the film: neither when it is opened nor when the user looks at
        it again."""
        programm, meet = self.starte()
        post = None

        def geh_weg():
            nonlocal post
            if post:
                post.vorn()
            else:
                post = self.oeffne_seite(programm, POST, "post")
            return post

        def komm_wieder():
            meet.vorn()
            return meet

        self.pruefe_weggehen(geh_weg, komm_wieder)

    def test_titel_nach_der_seite(self):
        """A page that shows the mail before its title says so is not in the film with it either."""
        _, meet = self.starte()

        def wird(titel, farbe):
            meet.tu("gezeigt = Date.now() / 1000, "
                    f"document.documentElement.style.background = '#{FARBEN[farbe]}'")
            meet.tu(f"setTimeout(() => document.title = '{titel}', 100)")
            return meet

        self.pruefe_weggehen(lambda: wird(POST, "post"), lambda: wird(MEET, "meet"))

    def pruefe_weggehen(self, geh_weg, komm_wieder):
        """Three times away from the meeting and back to it: the film shows nothing else. Both return the
        page that is then to be seen. A machine that halts the browser between a page and its title for
        longer than pictures are held back spoils it: that is measured, and only then there is another
        attempt."""
        titel = Titel(self, self.warte_fenster(lambda gezeigt: gezeigt.startswith(MEET)))
        for versuch in range(VERSUCHE):
            titel.verspaetet = []
            try:
                return self.geh_dreimal_weg(titel, geh_weg, komm_wieder)
            except AssertionError as fehler:
                if not titel.verspaetet or versuch == VERSUCHE - 1:
                    raise
                print(f"attempt {versuch + 1}, {titel.verspaetet}: {fehler}", file=sys.stderr)

    def geh_dreimal_weg(self, titel, geh_weg, komm_wieder):
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, MEET)
        pausen = []
        for nummer in range(3):
            aufnahme.warte_aufnahme(3.0)
            ab = titel.stand()
            seite = geh_weg()
            pause = self.wechsel(aufnahme, 2 * nummer + 1, "video_pause")
            aufnahme.warte_aufnahme(4.0)
            titel.pruefe_weggang(seite, ab)
            ab = titel.stand()
            seite = komm_wieder()
            danach = self.wechsel(aufnahme, 2 * nummer + 2)
            titel.pruefe_rueckkehr(seite, ab)
            self.assertTrue(f" · {MEET}" in danach["quelle"], danach)
            pausen.append((pause, danach))
        aufnahme.warte_aufnahme(3.0)
        gedreht = self.ende(aufnahme)
        self.pruefe_pausen(gedreht, pausen, "meet")
        self.pruefe_bilder(gedreht, ("meet",))
        self.assertGreater(len(gedreht.zeiten), 5)

    def test_zwei_fenster(self):
        """Of two meetings' windows the one that is in front."""
        programm, _ = self.starte()
        self.oeffne_seite(programm, ZWEITES, "zweites", fenster=True)
        self.hole_vor(ZWEITES)
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, ZWEITES)
        aufnahme.warte_aufnahme(3.0)
        self.hole_vor(MEET)
        danach = self.wechsel(aufnahme, 1)
        self.assertTrue(f" · {MEET}" in danach["quelle"], danach)
        aufnahme.warte_aufnahme(3.0)
        gedreht = self.ende(aufnahme)
        self.assertEqual(self.reihe(gedreht), ["zweites", "meet"])
        self.pruefe_bilder(gedreht, ("meet", "zweites"))

    def test_vollbild_und_minimiert(self):
        """The picture stays whole in full screen and back; a minimised window is a pause."""
        _, meet = self.starte()
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, MEET)
        aufnahme.warte_aufnahme(2.0)
        meet.fenster("fullscreen")
        aufnahme.warte_aufnahme(3.0)
        meet.fenster("normal")
        aufnahme.warte_aufnahme(3.0)
        self.assertEqual(len(aufnahme.ereignisse("video_pause")), 0, aufnahme.alles())
        meet.fenster("minimized")
        pause = self.wechsel(aufnahme, 1, "video_pause")
        aufnahme.warte_aufnahme(4.0)
        meet.fenster("normal")
        danach = self.wechsel(aufnahme, 2)
        aufnahme.warte_aufnahme(3.0)
        gedreht = self.ende(aufnahme)
        self.pruefe_bilder(gedreht, ("meet",))
        self.pruefe_pausen(gedreht, [(pause, danach)], "meet")
        self.assertGreater(max(gedreht.anteil(nummer, FARBEN["meet"])
                               for nummer in range(len(gedreht.zeiten))), 0.95)  # the full screen

    def test_getoetet_und_neu_gestartet(self):
        """A browser that crashes is a pause; started again, its meeting goes on in the same film."""
        programm, _ = self.starte()
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, MEET)
        aufnahme.warte_aufnahme(2.0)
        programm.toete()
        pause = self.wechsel(aufnahme, 1, "video_pause")
        self.starte()
        danach = self.wechsel(aufnahme, 2)
        aufnahme.warte_aufnahme(3.0)
        gedreht = self.ende(aufnahme)
        self.assertEqual(aufnahme.diagnosen("Fensterpruefung"), 0, aufnahme.alles())
        self.pruefe_pausen(gedreht, [(pause, danach)], "meet")
        self.pruefe_bilder(gedreht, ("meet",))

    def test_ton_und_mikrofon(self):
        """What a page plays is in "them"; a page that listens takes nothing from "me"."""
        self.raum.starte_pulse()
        klang = os.path.join(self.ordner, "summen.wav")
        zeit = numpy.arange(round(120 * signale.RATE)) / signale.RATE
        signale.schreibe(klang, 0.3 * numpy.sin(2 * numpy.pi * 440.0 * zeit))
        self.raum.spiele(klang, "mic-feed")
        _, meet = self.starte()
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, MEET)
        meet.tu("hoere()")
        self.warte_bis(lambda: abs(meet.tu("gehoert") - 440.0) < 12.0, "440 Hz in the page", GEDULD)
        meet.tu("toene(1000)")
        satz = aufnahme.zeile(lambda satz: satz.get("channel") == "them", "chunk of them", GEDULD)
        aufnahme.warte_aufnahme(4.0)
        self.assertLess(abs(meet.tu("gehoert") - 440.0), 12.0)
        aufnahme.stoppe(frist=GEDULD)
        # The browser asks for shorter blocks. A device without hardware then runs one cycle at the old
        # pace, so the sound that plays pauses for what a block has become shorter by.
        me, them = aufnahme.zeitachse()["me"], aufnahme.zeitachse()["them"]
        print(f"me: {me}, them: {them}")
        self.assertEqual((me["luecken"], me["ueberlappungen"]), (0, 0), aufnahme.alles())
        self.assertEqual(them["ueberlappungen"], 0, aufnahme.alles())
        self.assertLessEqual(them["luecken_ms"], 1024 / 48 + 1, aufnahme.alles())
        # The tone has begun somewhere in the first chunk.
        toene = [signale.lies_ganz(satz["path"])[-RATE:] for satz in aufnahme.chunks("them")]
        self.assertAlmostEqual(hertz(toene[0]), 1000.0, delta=2.0, msg=str(satz))
        ich = signale.lies_ganz(os.path.join(self.aufnahme, "mikro_roh.wav"))
        for ab in range(0, len(ich) - RATE, RATE):
            self.assertAlmostEqual(hertz(ich[ab:ab + RATE]), 440.0, delta=2.0)


def hertz(ton):
    """The strongest frequency; fails for silence."""
    if signale.pegel(ton) < 0.01:
        raise AssertionError(f"a level of {signale.pegel(ton)} is silence")
    spektrum = numpy.abs(numpy.fft.rfft(ton * numpy.hanning(len(ton))))
    return float(numpy.argmax(spektrum)) * RATE / len(ton)


class ImChromium(Gemeinsam, Browserfall):

    def test_app_fenster(self):
        """A page as an application of its own, with a window without tabs."""
        adresse = self.seiten.adresse(MEET, FARBEN["meet"])
        programm = browser.Chromium(self.bildschirm, os.path.join(self.ordner, "browser"), "",
                                    f"--app={adresse}")
        self.addCleanup(programm.toete)
        meet = programm.erste(MEET)
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, MEET)
        aufnahme.warte_aufnahme(3.0)
        meet.tu("document.title = 'Wetter'")
        self.wechsel(aufnahme, 1, "video_pause")
        gedreht = self.ende(aufnahme)
        self.pruefe_bilder(gedreht, ("meet",))

    def test_bild_im_bild(self):
        """The meeting's tab is left, and a small window of it stays on top: the film shows that one, and
        not the other tab, until the meeting is back."""
        programm, meet = self.starte()
        aufnahme = self.aufnehmen()
        self.beginnt(aufnahme, MEET)
        aufnahme.warte_aufnahme(2.0)
        self.oeffne_kleines(meet)
        self.oeffne_seite(programm, POST, "post")
        klein = self.wechsel(aufnahme, 1)
        self.assertTrue(klein["quelle"].endswith(f" · {MEET}"), klein)  # without the browser's name
        aufnahme.warte_aufnahme(4.0)
        meet.vorn()
        self.wechsel(aufnahme, 2)
        aufnahme.warte_aufnahme(3.0)
        gedreht = self.ende(aufnahme)
        self.assertEqual(self.reihe(gedreht), ["meet", "klein", "meet"])
        self.pruefe_bilder(gedreht, ("meet", "klein"))


class ImFirefox(Gemeinsam, Browserfall):
    ART = browser.Firefox



class Geschichte(Browserfall):
    """A whole meeting, with a sheet of its pictures and lines to look at: build/contact-sheet.html."""

    ALLEIN = True

    # What happens, for how many of sixty parts of the time it stays so, and what the film then shows.
    AKTE = [("nur_post", 3, None), ("meet_beginnt", 8, "meet"), ("post_davor", 4, None),
            ("meet_zurueck", 5, "meet"), ("vollbild", 9, "meet"), ("fenster", 3, "meet"),
            ("zweites_meeting", 6, "zweites"), ("zweites_zu", 4, "meet"), ("minimiert", 3, None),
            ("wieder_da", 4, "meet"), ("kleines", 5, "klein"), ("meet_zurueck", 3, "meet"),
            ("absturz", 1, None), ("neustart", 2, "meet")]

    def test_geschichte_einer_besprechung(self):
        stimmen = privat.Stimmen(self.raum)
        stimmen.sprich()
        self.programm, self.post = self.starte(POST, "post")
        aufnahme = self.aufnehmen("--video-warten", "1")
        akte = []
        for name, teile, zeigt in self.AKTE:
            bisher = self.bildstand(aufnahme)
            getattr(self, name)()
            if (zeigt is None) != (bisher is None) or zeigt != self.gezeigt:
                self.warte_bis(lambda davor=bisher: self.bildstand(aufnahme) != davor, name, GEDULD)
            self.gezeigt = zeigt
            akte.append(zeigt)
            aufnahme.warte_aufnahme(teile * (10.0 if LANG else 1.0))
            if zeigt == "meet":
                self.stillstand = max(self.stillstand, self.meet.tu("stillstand"))
            stimmen.sprich()
        anfang = next(zeit for zeit, text in aufnahme.aus.alle if '"started"' in text)
        ende = time.monotonic() - anfang
        gedreht = self.ende(aufnahme)
        (video,) = aufnahme.ereignisse("video")
        zeilen = [(zeit - anfang, text) for zeit, text in aufnahme.aus.alle]
        kontaktbogen.schreibe(BOGEN + ".html", video["path"], gedreht, ende - gedreht.dauer, zeilen,
                              10.0 if LANG else 2.0)
        with open(BOGEN + ".png", "wb") as datei:
            datei.write(self.programm.drucke(f"file://{BOGEN}.html", 1320, 800))
        self.pruefe_fremde(gedreht)
        soll = [zeigt for nummer, zeigt in enumerate(akte)
                if zeigt and next((davor for davor in reversed(akte[:nummer]) if davor), None) != zeigt]
        print(f"a page stood still for {self.stillstand:.3f} s; the film: {self.reihe(gedreht)}")
        if self.stillstand < UNGEMALT:
            self.assertEqual(self.reihe(gedreht), soll)
            self.pruefe_bilder(gedreht, ("meet", "zweites", "klein"))
        else:
            # What a halted browser has not drawn in time is filmed undrawn.
            self.assertEqual(gedreht.namen(FARBEN), soll)

    gezeigt = None
    stillstand = 0.0  # of the meeting's page while it was to be seen, at most

    @staticmethod
    def bildstand(aufnahme):
        """The number of the picture's last event, or None if there is no picture now."""
        alle = [satz["event"] for satz in aufnahme.saetze() if satz.get("event", "").startswith("video_")]
        return len(alle) if alle and alle[-1] in ("video_start", "video_wechsel") else None

    # --- The acts -----------------------------------------------------------------------------

    def nur_post(self):
        pass

    def meet_beginnt(self):
        self.meet = self.oeffne_seite(self.programm, MEET, "meet")

    def post_davor(self):
        self.post.vorn()

    def meet_zurueck(self):
        self.meet.vorn()

    def vollbild(self):
        self.meet.fenster("fullscreen")

    def fenster(self):
        self.meet.fenster("normal")

    def zweites_meeting(self):
        self.zweites = self.oeffne_seite(self.programm, ZWEITES, "zweites", fenster=True)
        self.hole_vor(ZWEITES)

    def zweites_zu(self):
        self.zweites.schliesse()

    def minimiert(self):
        self.meet.fenster("minimized")

    def wieder_da(self):
        self.meet.fenster("normal")

    def kleines(self):
        self.oeffne_kleines(self.meet)
        self.post.vorn()

    def absturz(self):
        self.programm.toete()

    def neustart(self):
        self.programm, self.meet = self.starte()
