"""What the page of a recording plays, from synthetic folders and a real recording: continuously, chunk by
chunk, raw against cleaned, with the picture in step, by pointer, fingers and keys. Stage "seite"."""

import json
import os

import kopflos
import kunstordner
import seitenfall
import test_sitzung
import test_video

# Of the timeline with pictures below it, in pixels: the row of each channel's chunks.
HOEHE = 330
ZEILE = {"me": 151 / HOEHE, "them": 277 / HOEHE}


class Abspielen(seitenfall.Seitenfall):

    def setUp(self):
        super().setUp()
        self.aufnahme = self.kunst()
        self.programm = self.chrom()
        self.seite = self.oeffne(self.aufnahme, self.programm, breite=1280, hoehe=1100)

    def tearDown(self):
        self.ohne_klagen(self.seite, self.aufnahme)

    def klicke_zeit(self, t, zeile=60 / HOEHE, **mehr):
        von, bis = self.seite.tu(seitenfall.ANSICHT)
        self.seite.klicke("#zeit", (t - von) / (bis - von), zeile, **mehr)

    def test_von_jeder_stelle_fortlaufend(self):
        """From a place on, over the borders of chunks, with the picture in step; and further from another."""
        seite = self.seite
        erster, zweiter = self.chunks("them")[:2]
        self.assertEqual(erster["t1"], zweiter["t0"])
        self.klicke_zeit(erster["t1"] - 1.5)
        self.assertAlmostEqual(seite.tu(seitenfall.JETZT), erster["t1"] - 1.5, delta=0.3)
        self.assertEqual(seite.tu(seitenfall.LAEUFT), False)
        seite.klicke("#spiel")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 0")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 1")
        # What sounds is that chunk, at the place of the clock.
        self.hoerte(seite, "chunk_them_001.wav", f"stelle > 0.2 && Math.abs({zweiter['t0']} + stelle - t) < 0.3")
        ziel = next(satz for satz in self.saetze if satz.get("event") == "video_wechsel")["t_s"] + 8.0
        self.klicke_zeit(ziel)
        seite.warte(f"{seitenfall.JETZT} > {ziel} && {seitenfall.LAEUFT}")
        ab = next(satz["t_s"] for satz in self.saetze if satz.get("event") == "video_start")
        seite.warte(f"Math.abs(document.querySelector('video').currentTime - ({seitenfall.JETZT} - {ab})) < 0.3")
        self.assertEqual(seite.tu("document.getElementById('bildtitel').textContent"), kunstordner.TITEL[1])
        seite.klicke("#spiel")
        t = seite.tu(seitenfall.JETZT)
        self.assertEqual(seite.tu("[...document.querySelectorAll('audio, video')].every(e => e.paused)"), True)
        self.assertEqual(seite.tu(seitenfall.JETZT), t)

    def test_vor_dem_film_steht_kein_bild_eines_anderen_fensters(self):
        """All pictures of the first window were taken back: the film begins with the second."""
        pfad = os.path.join(self.aufnahme, "ereignisse.jsonl")
        with open(pfad, encoding="utf-8") as datei:
            zeilen = datei.read().splitlines()
        start = next(i for i, zeile in enumerate(zeilen) if '"video_start"' in zeile)
        erste = json.loads(zeilen[start])
        zeilen[start] = zeilen[start].replace("video_start", "video_wechsel")
        zeilen[start:start] = [json.dumps(erste | {"quelle": "Bank", "t_s": 2.0}),
                               json.dumps({"event": "video_pause", "message": "weg", "t_s": 2.5})]
        with open(pfad, "w", encoding="utf-8") as datei:
            datei.write("\n".join(zeilen) + "\n")
        self.seite.schliesse()
        self.seite = self.oeffne(self.aufnahme, self.programm, breite=1280, hoehe=1100)
        for t, bild in ((2.2, "Noch kein Bild"), (erste["t_s"] + 0.5, None)):
            self.klicke_zeit(t)
            self.seite.warte(f"Math.abs({seitenfall.JETZT} - {t}) < 0.3")
            self.assertEqual(self.seite.tu("[bildpause, bildtitel].map(e => e.hidden ? null : e.textContent)"),
                             [bild, " " if bild else erste["quelle"]])

    def test_roh_und_gereinigt_ohne_sprung(self):
        seite = self.seite
        chunk = next(satz for satz in self.chunks("me") if satz["t1"] - satz["t0"] > 3.5)
        self.klicke_zeit(chunk["t0"] + 0.3)
        seite.klicke("#spiel")
        name = os.path.basename(chunk["path"])
        self.hoerte(seite, name)
        # Both run, at the same place; one of them is muted.
        laufende = """[...document.querySelectorAll('#toene audio')].filter(e => !e.paused).map(e =>
            [e.getAttribute('src'), e.muted])"""
        self.assertIn(["mikro_roh.wav", True], seite.tu(laufende))
        vorher, nachher = seite.tu(f"""(() => {{ const davor = {seitenfall.JETZT}; document.getElementById('roh').click();
            return [davor, {seitenfall.JETZT}] }})()""")
        self.assertLess(abs(nachher - vorher), 0.11)
        self.assertIn(["mikro_roh.wav", False], seite.tu(laufende))
        self.assertNotIn([name, False], seite.tu(laufende))
        self.hoerte(seite, "mikro_roh.wav", "Math.abs(stelle - t) < 0.3")
        self.sagte(seite, "rohes Mikrofon")
        seite.klicke("#hoerbar-me")
        self.assertEqual(seite.tu(laufende + ".every(([name, stumm]) => stumm || name.startsWith('chunk_them'))"), True)

    def test_ein_klick_spielt_einen_chunk(self):
        """From its begin to its end, alone."""
        seite = self.seite
        chunk = next(satz for satz in self.chunks("me") if satz["t1"] - satz["t0"] < 3.5)
        self.klicke_zeit((chunk["t0"] + chunk["t1"]) / 2, ZEILE["me"])
        self.sagte(seite, f"Zu hören: Ich, Chunk {chunk['chunk']}")
        seite.warte(f"!{seitenfall.LAEUFT}")
        self.assertAlmostEqual(seite.tu(seitenfall.JETZT), chunk["t1"], delta=0.3)
        # The same from the table.
        seite.tu("document.getElementById('auswahl').value = 'them'")
        seite.tu("document.getElementById('auswahl').dispatchEvent(new Event('change'))")
        seite.tu("gehoert.length = 0")
        seite.klicke("#zeilen tr:nth-child(3) button")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 2")
        self.hoerte(seite, "chunk_them_002.wav", "reihe === '2'")
        seite.warte(f"!{seitenfall.LAEUFT}")
        self.assertEqual(seite.tu("[...new Set(gehoert.map(([name]) => name))]"), ["chunk_them_002.wav"])

    def test_vergroessern_und_verschieben(self):
        """Wheel, buttons, the small view, fingers; what is under the pointer stays there."""
        seite = self.seite
        x, y = seite.ort("#zeit", 0.25, 0.3)
        seite.maus("mouseWheel", x, y, deltaX=0, deltaY=-600)
        seite.warte(f"{seitenfall.ANSICHT}[1] < {seitenfall.SEKUNDEN}")
        von, bis = seite.tu(seitenfall.ANSICHT)
        self.assertAlmostEqual(von + (bis - von) * 0.25, seitenfall.SEKUNDEN * 0.25, delta=0.5)
        seite.maus("mouseWheel", x, y, deltaX=120, deltaY=0)
        seite.warte(f"{seitenfall.ANSICHT}[0] > {von}")
        self.assertAlmostEqual(*(b - a for a, b in (seite.tu(seitenfall.ANSICHT), (von, bis))), delta=0.01)
        for _ in range(12):
            if seite.tu("document.getElementById('groesser').ariaDisabled === 'true'"):
                break
            seite.klicke("#groesser")
        von, bis = seite.tu(seitenfall.ANSICHT)
        self.assertAlmostEqual(bis - von, 2.0, delta=0.01)
        seite.klicke("#uebersicht", 0.5, 0.5)
        self.assertAlmostEqual(sum(seite.tu(seitenfall.ANSICHT)) / 2, seitenfall.SEKUNDEN / 2, delta=0.5)
        seite.klicke("#alles")
        self.assertEqual(seite.tu(seitenfall.ANSICHT), [0, seitenfall.SEKUNDEN])
        # Two fingers that part.
        x, y = seite.ort("#zeit", 0.5, 0.3)
        for art, weite in (("touchStart", 40), ("touchMove", 80), ("touchMove", 160), ("touchEnd", None)):
            seite.frage("Input.dispatchTouchEvent", type=art, touchPoints=[] if weite is None else [
                {"x": x - weite, "y": y, "id": 1}, {"x": x + weite, "y": y, "id": 2}])
        seite.warte(f"{seitenfall.ANSICHT}[1] - {seitenfall.ANSICHT}[0] < {seitenfall.SEKUNDEN * 0.45}")

    def test_ein_vorleser_spricht_nicht_dazwischen(self):
        """While it plays, with the slider under the focus: its value is said at the start and at a key, and what is
        played once, however many chunks follow each other."""
        seite = self.seite
        seite.tu("document.getElementById('zeit').focus()")
        seite.taste("n")
        seite.tu("werte.length = vorgelesen.length = 0")
        seite.taste(" ")
        for nummer in range(2):
            self.sagte(seite, f"Zu hören: Gegenüber, Chunk {nummer}")
        self.assertLessEqual(seite.tu("werte.length"), 2)
        self.assertEqual(seite.tu("vorgelesen.length"), 1)
        self.assertIn("Zu hören: Gegenüber, Chunk 0", seite.tu("vorgelesen[0]"))
        seite.tu("werte.length = 0")
        seite.taste("ArrowUp")
        seite.warte("werte.length > 0")
        seite.taste(" ")
        self.assertEqual(seite.tu("vorgelesen.at(-1)"), "Angehalten.")
        self.assertEqual(seite.tu("document.getElementById('zeit').getAttribute('aria-valuetext').split(' ')[0]"),
                         seite.tu("document.getElementById('jetzt').textContent"))
        # What is seen is said, too; and a button that has done its work keeps the focus.
        seite.tu("document.getElementById('groesser').focus()")
        for _ in range(12):
            seite.tu("document.activeElement.click()")
        self.assertRegex(seite.tu("vorgelesen.at(-1)"), r"^Zu sehen: [\d:,]+ bis [\d:,]+$")
        self.assertEqual(seite.tu("[document.activeElement.id, document.activeElement.ariaDisabled]"),
                         ["groesser", "true"])
        seite.tu("document.getElementById('weiter').focus()")
        while seite.tu("document.getElementById('weiter').ariaDisabled") == "false":
            seite.tu("document.activeElement.click()")
        self.assertEqual(seite.tu("document.activeElement.id"), "weiter")
        self.assertEqual(seite.tu("document.getElementById('welche').ariaLive"), "polite")

    def test_nur_mit_der_tastatur(self):
        seite = self.seite
        erreicht = []
        for _ in range(60):
            seite.taste("Tab")
            name, umriss = seite.tu("""(() => { const e = document.activeElement; const zeigt = e.matches('.wahl input')
                ? e.parentElement : e; return [e.id || e.tagName, getComputedStyle(zeigt).outlineStyle] })()""")
            if name == "BODY":
                break
            erreicht.append(name)
            self.assertEqual(umriss, "solid", name)
            if name == "hier":
                break
        for name in ("deutsch", "davor", "spiel", "danach", "gereinigt", "hoerbar-me", "tempo", "groesser", "zeit",
                     "auswahl", "hier"):
            self.assertIn(name, erreicht)
        seite.tu("document.getElementById('zeit').focus()")
        for taste, soll in (("End", seitenfall.SEKUNDEN), ("Home", 0.0), ("ArrowRight", 1.0), ("ArrowUp", 11.0),
                            ("ArrowLeft", 10.0), ("ArrowDown", 0.0), ("PageUp", seitenfall.SEKUNDEN), ("PageDown", 0.0),
                            ("ArrowUp", 10.0), ("Home", 0.0)):
            seite.taste(taste)
            self.assertAlmostEqual(seite.tu(seitenfall.JETZT), soll, delta=0.01, msg=taste)
        beginne = sorted(satz["t0"] for satz in self.saetze if "chunk" in satz)
        seite.taste("n")
        self.assertAlmostEqual(seite.tu(seitenfall.JETZT), beginne[0], delta=0.06)
        seite.taste("n")
        self.assertAlmostEqual(seite.tu(seitenfall.JETZT), beginne[1], delta=0.06)
        seite.taste("p")
        self.assertAlmostEqual(seite.tu(seitenfall.JETZT), beginne[0], delta=0.06)
        self.assertIn("Gegenüber, Chunk 0", seite.tu("document.getElementById('zeit').getAttribute('aria-valuetext')"))
        seite.taste("+")
        self.assertLess(seite.tu(seitenfall.ANSICHT)[1], seitenfall.SEKUNDEN)
        seite.taste("0")
        self.assertEqual(seite.tu(seitenfall.ANSICHT), [0, seitenfall.SEKUNDEN])
        seite.taste("r")
        self.assertEqual(seite.tu("document.getElementById('roh').checked"), True)
        seite.taste("r")
        seite.taste("Enter", "\r")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 0")
        seite.warte(f"!{seitenfall.LAEUFT}")
        seite.taste("Home")
        for laeuft in (True, False):
            seite.taste(" ")
            self.assertEqual(seite.tu(seitenfall.LAEUFT), laeuft)


# A browser that lets nothing play until it is allowed to.
VERWEIGERT = """{ const { play } = HTMLMediaElement.prototype;
  HTMLMediaElement.prototype.play = function () {
    return window.erlaubt ? play.call(this) : Promise.reject(new DOMException('', 'NotAllowedError')); }; }"""


class Verweigert(seitenfall.Seitenfall):

    def test_was_nicht_spielen_darf_spielt_nicht(self):
        """The page stops, and says to the eye and to a screen reader why; a press after that plays."""
        ordner = self.kunst(sekunden=20, video=False)
        programm = self.chrom()
        for sprache, satz, zu_hoeren in (
                ("de-DE", "Der Browser hat das Abspielen verweigert.", "Zu hören: Gegenüber, Chunk 0"),
                ("en-US", "The browser has refused to play.", "Playing: Them, chunk 0")):
            with self.subTest(sprache=sprache):
                seite = self.oeffne(ordner, programm, sprache=sprache, davor=VERWEIGERT)
                seite.klicke("#spiel")
                seite.warte(f"vorgelesen.at(-1)?.startsWith('{satz}')")
                self.assertEqual(seite.tu(seitenfall.LAEUFT), False)
                self.assertIn(satz, seite.tu("document.getElementById('gehoert').textContent"))
                seite.tu("window.erlaubt = true")
                seite.klicke("#spiel")
                self.sagte(seite, zu_hoeren)
                self.assertNotIn(satz, seite.tu("document.getElementById('gehoert').textContent"))
                self.ohne_klagen(seite, ordner)
                seite.schliesse()


class Echt(test_sitzung.Ordnerfall):
    LANG = True

    def test_seite_einer_echten_aufnahme(self):
        """Recorded in a private session with a window, then opened and heard: at three widths, light and dark,
        in both languages."""
        self.sprich(120)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        aufnahme = self.lauf(video=True, umgebung=self.bildschirm.umgebung)
        aufnahme.ereignis("video_start", test_sitzung.GEDULD)
        aufnahme.warte_aufnahme(6.0)
        self.warte_bis(lambda: self.video_bytes() > 4096, "pictures in the file")
        aufnahme.stoppe(frist=test_sitzung.GEDULD)
        self.behalte(aufnahme)
        self.pfad = seitenfall.mache_seite(self.aufnahme)
        self.programm = kopflos.Kopflos(os.path.join(self.ordner, "chromium"))
        self.addCleanup(self.programm.toete)
        chunks = [satz for satz in aufnahme.chunks("me") if satz["t1"] - satz["t0"] > 1.5]
        for name in seitenfall.BREITEN:
            for dunkel in (False, True):
                for sprache in ("de-DE", "en-US"):
                    with self.subTest(width=name, dark=dunkel, language=sprache):
                        self.pruefe(len(aufnahme.chunks()), chunks[0], name, dunkel, sprache)

    def pruefe(self, anzahl, chunk, name, dunkel, sprache):
        """Looks, says, zooms, seeks and plays as it should."""
        seite = self.programm.oeffne_datei(self.pfad, dunkel=dunkel, sprache=sprache, **seitenfall.schirm(name))
        seite.warte(seitenfall.FERTIG)
        self.assertIn({"de": "Die Aufnahme ist vollständig.", "en": "The recording is complete."}[sprache[:2]],
                      seite.tu("document.getElementById('befunde').textContent"))
        self.assertEqual(seite.tu("document.documentElement.scrollWidth - innerWidth <= 0"), True)
        grund = seite.tu("getComputedStyle(document.body).backgroundColor.match(/[0-9.]+/g).slice(0, 3).map(Number)")
        self.assertEqual(sum(grund) < 3 * 128, dunkel, grund)
        self.assertEqual(seite.tu("document.querySelectorAll('#bilder li').length"), 1)
        self.assertGreater(seite.tu("document.querySelector('video').videoWidth"), 0)
        self.assertEqual(seite.tu("document.querySelectorAll('#zeilen tr').length"), min(anzahl, 25))
        seite.tu(seitenfall.MERKE)
        for fassung, datei in (("gereinigt", f"chunk_me_{chunk['chunk']:03d}.wav"), ("roh", "mikro_roh.wav")):
            seite.klicke(f"#{fassung}")
            seite.tu("document.getElementById('zeit').focus()")
            seite.taste("Home")
            for _ in range(int(chunk["t0"] + 0.999)):
                seite.taste("ArrowRight")
            if not seite.tu(seitenfall.LAEUFT):
                seite.klicke("#spiel")
            seite.warte(f"gehoert.some(([name, stelle]) => name === '{datei}' && stelle > 0.2)")
        seite.warte("gesagt.some(worte => worte.includes('%s'))" % {"de": "rohes Mikrofon", "en": "raw microphone"}[sprache[:2]])
        von, bis = seite.tu(seitenfall.ANSICHT)
        seite.klicke("#groesser")
        seite.warte(f"{seitenfall.ANSICHT}[1] - {seitenfall.ANSICHT}[0] < {(bis - von) * 0.9}")
        self.assertEqual(seite.klagen(), [])
        for adresse in seite.anfragen():
            self.assertTrue(adresse.startswith("file://" + self.aufnahme), adresse)
        seite.schliesse()
