"""The meeting's window, found, followed and recorded by the whole program on a real screen."""

import os

import film
import lauf

ZOOM = ("zoom", "zoom")
CHROME = ("google-chrome", "Google-chrome")
HALT = 5.0  # seconds that a busy machine may halt any process
FARBEN = {"zoom": "1E4FA0", "chrome": "A05A1E", "post": "707880", "teams": "5A2E90"}


class Fensterfall(lauf.Fall):

    def setUp(self):
        super().setUp()
        self.bildschirm = self.schirm()

    def oeffne(self, titel, klasse, farbe, *optionen):
        return self.bildschirm.oeffne(titel, klasse, "--farbe", FARBEN[farbe], "--bewegt", "20",
                                      *optionen)

    def aufnehmen(self, *argumente):
        aufnahme = self.lauf(*argumente, video=True, umgebung=self.bildschirm.umgebung)
        self.assertTrue(aufnahme.gestartet()["video"])
        return aufnahme

    def pruefe_ton(self, aufnahme):
        """The sound is there; a machine that is itself halted for seconds loses them."""
        for kanal in ("them", "me"):
            self.assertLessEqual(aufnahme.zeitachse()[kanal]["luecken_ms"], 6000,
                                 aufnahme.alles())


class Geschichte(Fensterfall):

    def test_zwei_fenster_eine_minute(self):
        """Switch, cover, minimise, restore, new title, close, another meeting: the events and the
        picture tell the same story."""
        aufnahme = self.aufnehmen()
        zoom = self.oeffne("Zoom Meeting", ZOOM, "zoom", "--groesse", "1280", "760", "--ort", "40", "40")
        start = self.wechsel(aufnahme, 0, "video_start")
        self.assertEqual((start["quelle"], start["art"], start["rang"], start["grund"]),
                         ("Zoom · Zoom Meeting", "fenster", 1, "Zoom-Meetingfenster"))
        aufnahme.warte_aufnahme(3.0)

        # A meeting in the browser ranks behind, and must not get into the picture.
        chrome = self.oeffne("Meet – abc-defg-hij", CHROME, "chrome", "--groesse", "1200", "720",
                             "--ort", "60", "60")
        chrome.tu("vorn")
        aufnahme.warte_aufnahme(5.0)

        zoom.tu("minimiere")
        erster = self.wechsel(aufnahme, 1)
        self.assertEqual((erster["quelle"], erster["grund"]),
                         ("Google Chrome · Meet – abc-defg-hij", "Meeting im Browser"))
        aufnahme.warte_aufnahme(3.0)

        zoom.tu("zeige")
        zweiter = self.wechsel(aufnahme, 2)
        self.assertEqual(zweiter["quelle"], "Zoom · Zoom Meeting")
        zoom.tu("titel Zoom Meeting: Bericht")
        aufnahme.warte_aufnahme(5.0)

        # The last meeting but one ends while the other one's page has been left.
        chrome.tu("titel Wetter")
        self.bildschirm.schliesse(zoom)
        pause = self.wechsel(aufnahme, 3, "video_pause")
        self.assertEqual(pause["message"],
                         "kein Meetingfenster – kein Bild (keine Meeting-App offen)")
        aufnahme.warte_aufnahme(3.0)

        chrome.tu("titel Meet – abc-defg-hij")
        dritter = self.wechsel(aufnahme, 4)
        aufnahme.warte_aufnahme(3.0)
        self.bildschirm.schliesse(chrome)
        letzter = self.wechsel(aufnahme, 5, "video_pause")
        aufnahme.warte_aufnahme(1.0)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)

        self.pruefe_ton(aufnahme)
        (video,) = aufnahme.ereignisse("video")
        self.pruefe_film(video, start, [(start, "zoom"), (erster, "chrome"), (zweiter, "zoom"),
                                        (dritter, "chrome")], letzter)
        # The pause is booked to nobody, the new title is a source of its own.
        quellen = [zeile.split(" Bildquelle: ")[1] for zeile in aufnahme.diagnose.texte()
                   if "Bildquelle" in zeile]
        self.assertEqual({zeile.split(" — ")[0] for zeile in quellen},
                         {"Zoom · Zoom Meeting", "Zoom · Zoom Meeting: Bericht",
                          "Google Chrome · Meet – abc-defg-hij"}, quellen)
        gebucht = sum(int(zeile.split(" — ")[1].removesuffix(" s")) for zeile in quellen)
        auf_dem_bild = (pause["t_s"] - start["t_s"]) + (letzter["t_s"] - dritter["t_s"])
        # Each one's seconds are truncated, and a machine may be halted between an event and its picture.
        self.assertAlmostEqual(gebucht, auf_dem_bild, delta=3.1 + HALT)
        self.assertTrue(video["quelle"].endswith(" (+2 weitere)"), video)

    def pruefe_film(self, video, start, soll, letzter):
        self.assertEqual(video["path"], os.path.join(self.aufnahme, "video.mp4"))
        gedreht = film.Film(video["path"])
        film.pruefe_form(self, gedreht)
        self.assertEqual(video["frames"], len(gedreht.zeiten))
        # The last picture is shown until the stop; it comes long before that.
        self.assertGreater(gedreht.dauer, gedreht.zeiten[-1] + 1.0)
        namen = [name for _, name in soll]
        self.assertEqual(gedreht.namen(FARBEN), namen)
        ist = []
        for name, zeit in gedreht.abschnitte(FARBEN):
            if name != "?" and [name] != [davor for davor, _ in ist[-1:]]:
                ist.append((name, zeit))
        for (_, zeit), (satz, name) in zip(ist, soll):
            self.assertAlmostEqual(start["t_s"] + zeit, satz["t_s"], delta=1.5 + HALT, msg=name)
        self.assertAlmostEqual(start["t_s"] + gedreht.zeiten[-1], letzter["t_s"], delta=1.5 + HALT)
        # In the middle of each part its window is seen, moving.
        grenzen = [zeit for _, zeit in ist] + [gedreht.zeiten[-1]]
        for (_, name), von, bis in zip(soll, grenzen, grenzen[1:]):
            mitte = gedreht.um((von + bis) / 2.0)
            self.assertEqual(film.benenne(gedreht.farbe(mitte), FARBEN), name)
            # In ten pictures the bar leaves the point of the coarse picture that may hide its movement.
            self.assertTrue((gedreht.bilder[mitte] != gedreht.bilder[mitte - 10]).any(), name)


class Ausfall(Fensterfall):

    def test_getoetet(self):
        """After SIGKILL all but the last two seconds play."""
        self.oeffne("Zoom Meeting", ZOOM, "zoom")
        self.mehrmals(self.pruefe_getoetet)

    def pruefe_getoetet(self, _):
        aufnahme = self.aufnehmen()
        start = self.wechsel(aufnahme, 0, "video_start")
        aufnahme.warte_aufnahme(6.0)
        bis = aufnahme.aufgenommen()
        self.toete(aufnahme)
        gedreht = film.Film(os.path.join(self.aufnahme, "video.mp4"))
        film.pruefe_form(self, gedreht)
        self.assertGreater(start["t_s"] + gedreht.zeiten[-1], bis - 2.0)
        self.assertEqual(gedreht.namen(FARBEN), ["zoom"])

    def test_bildschirm_endet(self):
        """The screen's end costs the picture from there on, and nothing else."""
        self.oeffne("Zoom Meeting", ZOOM, "zoom")
        aufnahme = self.aufnehmen()
        start = self.wechsel(aufnahme, 0, "video_start")
        aufnahme.warte_aufnahme(3.0)
        self.bildschirm.ende_server()
        aufnahme.meldung("Video-SCStream gestoppt")
        aufnahme.meldung("Fensterpruefung: ")
        aufnahme.warte_aufnahme(4.0)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.pruefe_ton(aufnahme)
        (video,) = aufnahme.ereignisse("video")
        gedreht = film.Film(video["path"])
        film.pruefe_form(self, gedreht)
        self.assertGreater(gedreht.zeiten[-1], 1.0)
        self.assertGreater(aufnahme.aufgenommen(), start["t_s"] + gedreht.zeiten[-1] + 2.0)

    def test_erst_suchen_dann_finden(self):
        aufnahme = self.aufnehmen("--video-warten", "1")
        satz = self.wechsel(aufnahme, 0, "video_none")
        self.assertEqual(satz["message"],
                         "kein Meetingfenster – kein Bild (keine Meeting-App offen)")
        self.oeffne("Zoom Meeting", ZOOM, "zoom")
        self.wechsel(aufnahme, 1, "video_start")
        aufnahme.warte_aufnahme(2.0)
        aufnahme.stoppe()
        self.assertEqual(len(aufnahme.ereignisse("video")), 1)

    def test_stillstand_dauert(self):
        """A window in which nothing moves is a film as long as the recording, of one picture."""
        self.bildschirm.oeffne("Zoom Meeting", ZOOM, "--farbe", FARBEN["zoom"])
        aufnahme = self.aufnehmen()
        start = self.wechsel(aufnahme, 0, "video_start")
        aufnahme.warte_aufnahme(8.0)
        aufnahme.stoppe()
        (video,) = aufnahme.ereignisse("video")
        gedreht = film.Film(video["path"])
        self.assertLessEqual(len(gedreht.zeiten), 8)  # a late drawing of the window itself
        self.assertAlmostEqual(gedreht.dauer, aufnahme.aufgenommen() - start["t_s"], delta=1.5 + HALT)


class OhneKodierer(Fensterfall):

    def test_ton_ohne_bild(self):
        """Codec libraries that cannot be used cost the picture, and one line."""
        ordner = os.path.join(self.ordner, "bibliotheken")
        os.mkdir(ordner)
        for nummer in range(58, 70):
            # Found first, and no library.
            with open(os.path.join(ordner, f"libavcodec.so.{nummer}"), "w", encoding="ascii"):
                pass
        self.bildschirm.umgebung["LD_LIBRARY_PATH"] = ordner
        aufnahme = self.aufnehmen("--video-warten", "1")
        del self.bildschirm.umgebung["LD_LIBRARY_PATH"]
        self.oeffne("Zoom Meeting", ZOOM, "zoom")
        aufnahme.meldung("Video-Start fehlgeschlagen: die Bibliothek libavcodec.so.")
        aufnahme.ereignis("video_none")
        aufnahme.warte_aufnahme(7.0)
        self.assertEqual(aufnahme.diagnosen("Video-Start fehlgeschlagen"), 1, aufnahme.alles())
        self.assertEqual(len(aufnahme.ereignisse("video_none")), 1)
        aufnahme.stoppe()
        self.pruefe_ton(aufnahme)
        self.assertEqual(self.dateien("video"), [])


class AndereBibliotheken(Fensterfall):

    def test_ton_ohne_bild(self):
        """FFmpeg of another major version than at the build, as after a distribution's upgrade."""
        ordner = os.path.join(self.ordner, "bibliotheken")
        os.mkdir(ordner)
        echte, nummer = lauf.swresample()
        os.symlink(echte, os.path.join(ordner, f"libswresample.so.{nummer + 1}"))
        for name in (f"libswresample.so.{nummer}",
                     *(f"lib{teil}.so.{nummer}" for teil, von in (("avcodec", 58), ("avformat", 58), ("swscale", 5))
                       for nummer in range(von, von + 12))):
            with open(os.path.join(ordner, name), "w", encoding="ascii"):
                pass  # found first, and no library
        self.bildschirm.umgebung["LD_LIBRARY_PATH"] = ordner
        aufnahme = self.aufnehmen("--video-warten", "1")
        del self.bildschirm.umgebung["LD_LIBRARY_PATH"]
        self.oeffne("Zoom Meeting", ZOOM, "zoom")
        aufnahme.meldung("Video-Start fehlgeschlagen: die Bibliothek lib")
        aufnahme.warte_aufnahme(4.0)
        self.assertEqual(aufnahme.diagnosen("Video-Start fehlgeschlagen"), 1, aufnahme.alles())
        aufnahme.stoppe()
        self.pruefe_ton(aufnahme)


class OhneBildschirm(lauf.Fall):

    def test_ton_ohne_bild(self):
        self.pruefe(DISPLAY=":4711")

    def test_nur_wayland(self):
        """A session without XWayland."""
        self.pruefe(WAYLAND_DISPLAY="wayland-0")

    def pruefe(self, **schirm):
        aufnahme = self.lauf("--video-warten", "1", video=True, umgebung=self.raum.umgebung | schirm)
        aufnahme.gestartet()
        satz = aufnahme.ereignis("video_none")
        self.assertRegex(satz["message"], r"^kein Meetingfenster – kein Bild .*\(.*\)$")
        aufnahme.warte_aufnahme(4.0)
        self.assertEqual(aufnahme.diagnosen("Video-Start fehlgeschlagen"), 1, aufnahme.alles())
        aufnahme.stoppe()
        self.assertEqual(self.dateien("video"), [])
