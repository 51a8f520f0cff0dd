"""The page that hallkorb-sitzung makes of a recording, in a real Chromium without a screen.

The folders are synthetic ones of known content, a real recording, and hostile ones. Pictures of the page
are compared with those in tests/e2e/bilder; HALLKORB_BILDER=neu makes these anew, to be looked at before
they are committed. They run only by name: the stage "seite" of scripts/test.
"""

import glob
import os
import subprocess
import sys
import tempfile
import time
import unittest

import lauf  # first: it finds the scripts' modules
import browser
import kopflos
import kunstordner
import test_sitzung
import test_video

BILDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "bilder")
AXE = os.path.join(lauf.WURZEL, "build", "axe", "package", "axe.min.js")
SEKUNDEN = 150
BREITEN = {"phone": (360, 740, 2.0, True), "tablet": (820, 1100, 1.0, False), "wide": (1440, 1000, 1.0, False)}
# Of the timeline with pictures below it, in pixels: the row of each channel's chunks.
HOEHE = 330
ZEILE = {"me": 151 / HOEHE, "them": 277 / HOEHE}

JETZT = "Number(document.getElementById('zeit').getAttribute('aria-valuenow'))"
# Since the page was opened, whether anybody looked in time or not: what was said to be heard, and what
# was really heard: [file, its place, the clock, the marked row of the table].
MERKE = """window.gesagt = []; window.gehoert = [];
  new MutationObserver(() => gesagt.push(document.getElementById('laut').textContent)).observe(
    document.getElementById('laut'), {childList: true, characterData: true, subtree: true});
  setInterval(() => { for (const e of document.querySelectorAll('#toene audio'))
    if (!e.paused && !e.muted && gehoert.length < 50000) gehoert.push([e.getAttribute('src'), e.currentTime,
      Number(document.getElementById('zeit').getAttribute('aria-valuenow')),
      document.querySelector('tr.spielt')?.cells[2].textContent]); }, 40); 0"""
LAEUFT = "document.body.classList.contains('laeuft')"
ANSICHT = "(({von, bis}) => [Number(von), Number(bis)])(document.getElementById('zeit').dataset)"
FERTIG = """Number(document.getElementById('zeit').dataset.zeichnungen) > 0 &&
    [...document.querySelectorAll('video')].every(v => !v.getAttribute('src') || v.readyState >= 2)"""


def mache_seite(ordner):
    subprocess.run([test_sitzung.SITZUNG, "bericht", ordner], check=True, stdout=subprocess.DEVNULL)
    return os.path.join(ordner, "sitzung.html")


class Seitenfall(unittest.TestCase):
    LANG = True

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-seite-")
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name

    def kunst(self, name="recording", sekunden=SEKUNDEN, **wie):
        ordner = os.path.join(self.ordner, name)
        self.saetze = kunstordner.baue(ordner, sekunden, **wie)
        return ordner

    def chrom(self, sprache="de-DE"):
        programm = kopflos.Kopflos(os.path.join(self.ordner, "chromium"), sprache)
        self.addCleanup(programm.toete)
        return programm

    def oeffne(self, ordner, programm=None, **wie):
        seite = (programm or self.chrom()).oeffne_datei(mache_seite(ordner), **wie)
        seite.warte(FERTIG)
        seite.tu(MERKE)
        return seite

    def hoerte(self, seite, datei, bedingung="true"):
        """Waits until that file was heard; `bedingung` on its place, the clock, and the row."""
        seite.warte(f"gehoert.some(([datei, stelle, t, reihe]) => datei === '{datei}' && {bedingung})")

    def sagte(self, seite, worte):
        seite.warte(f"gesagt.some(worte => worte.includes('{worte}'))")

    def ohne_klagen(self, seite, ordner):
        self.assertEqual(seite.klagen(), [])
        erlaubt = seite.adresse.rsplit("/", 1)[0] + "/"
        for adresse in seite.anfragen():
            self.assertTrue(adresse.startswith(erlaubt), adresse)

    def chunks(self, kanal):
        return [satz for satz in self.saetze if satz.get("channel") == kanal and "chunk" in satz]


class Aussehen(Seitenfall):

    def test_breiten_farben_und_sprachen(self):
        """At three widths, light and dark, German and English: as it was looked at, without an error and
        without a request that leaves the folder."""
        ordner = self.kunst()
        programm = self.chrom()
        bilder = {}
        for name, (breite, hoehe, dichte, finger) in BREITEN.items():
            for dunkel in (False, True):
                sprache = "en-US" if dunkel else "de-DE"
                seite = self.oeffne(ordner, programm, breite=breite, hoehe=hoehe, dichte=dichte, finger=finger,
                                    dunkel=dunkel, sprache=sprache)
                self.assertEqual(seite.tu("document.documentElement.lang"), sprache[:2])
                self.assertEqual(seite.tu("document.documentElement.scrollWidth - innerWidth <= 0"), True, name)
                # Every element of the drawing, and the picture, has been painted.
                seite.tu("new Promise(f => requestAnimationFrame(() => requestAnimationFrame(f)))")
                bild = kopflos.lies_png(seite.bild())
                bilder[f"{name}-{'dark' if dunkel else 'light'}"] = kopflos.verkleinert(bild, 4)
                self.ohne_klagen(seite, ordner)
                seite.schliesse()
        self.vergleiche(bilder)

    def vergleiche(self, bilder):
        neu = os.environ.get("HALLKORB_BILDER") == "neu"
        for name, bild in bilder.items():
            pfad = os.path.join(BILDER, f"{name}.png")
            if neu:
                os.makedirs(BILDER, exist_ok=True)
                kopflos.schreibe_png(pfad, bild)
            with open(pfad, "rb") as datei:
                alt = kopflos.lies_png(datei.read())
            if unterschied(bild, alt) > TOLERANZ:
                kopflos.schreibe_png(os.path.join(lauf.WURZEL, "build", f"page-{name}.png"), bild)
            self.assertLess(unterschied(bild, alt), TOLERANZ, f"{name}: compare build/page-{name}.png")
        # What the comparison must notice: the other colours.
        for name in BREITEN:
            self.assertGreater(unterschied(bilder[f"{name}-light"], bilder[f"{name}-dark"]), 0.3)

    def test_die_sprache_laesst_sich_umschalten(self):
        seite = self.oeffne(self.kunst(sekunden=40, video=False), self.chrom("fr-FR"))
        self.assertEqual(seite.tu("document.documentElement.lang"), "en")
        seite.klicke("#deutsch")
        self.assertEqual(seite.tu("document.documentElement.lang"), "de")
        self.assertEqual(seite.tu("document.getElementById('befunde-titel').textContent"), "Ist alles da?")
        leere = seite.tu("""[...document.querySelectorAll('[data-t]')].filter(e => !e.textContent).map(e => e.dataset.t)""")
        self.assertEqual(leere, [])
        self.assertEqual(seite.tu("document.body.innerText.includes('undefined')"), False)
        seite.klicke("#englisch")
        self.assertEqual(seite.tu("document.getElementById('befunde-titel').textContent"), "Is everything there?")
        self.ohne_klagen(seite, self.ordner)


# Share of the pixels of a small picture that clearly differ. Letters that another version of a library
# draws by a hair differently make up to 0.02; a card that is gone makes 0.1.
TOLERANZ = 0.05


def unterschied(a, b):
    if a.shape != b.shape:
        return 1.0
    return float((abs(a.astype(int) - b.astype(int)).max(axis=2) > 32).mean())


class Abspielen(Seitenfall):

    def setUp(self):
        super().setUp()
        self.aufnahme = self.kunst()
        self.seite = self.oeffne(self.aufnahme, breite=1280, hoehe=1100)

    def tearDown(self):
        self.ohne_klagen(self.seite, self.aufnahme)

    def klicke_zeit(self, t, zeile=60 / HOEHE, **mehr):
        von, bis = self.seite.tu(ANSICHT)
        self.seite.klicke("#zeit", (t - von) / (bis - von), zeile, **mehr)

    def test_von_jeder_stelle_fortlaufend(self):
        """From a place on, over the borders of chunks, with the picture in step; and further from another."""
        seite = self.seite
        erster, zweiter = self.chunks("them")[:2]
        self.assertEqual(erster["t1"], zweiter["t0"])
        self.klicke_zeit(erster["t1"] - 1.5)
        self.assertAlmostEqual(seite.tu(JETZT), erster["t1"] - 1.5, delta=0.3)
        self.assertEqual(seite.tu(LAEUFT), False)
        seite.klicke("#spiel")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 0")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 1")
        # What sounds is that chunk, at the place of the clock.
        self.hoerte(seite, "chunk_them_001.wav", f"stelle > 0.2 && Math.abs({zweiter['t0']} + stelle - t) < 0.3")
        ziel = next(satz for satz in self.saetze if satz.get("event") == "video_wechsel")["t_s"] + 8.0
        self.klicke_zeit(ziel)
        seite.warte(f"{JETZT} > {ziel} && {LAEUFT}")
        ab = next(satz["t_s"] for satz in self.saetze if satz.get("event") == "video_start")
        seite.warte(f"Math.abs(document.querySelector('video').currentTime - ({JETZT} - {ab})) < 0.3")
        self.assertEqual(seite.tu("document.getElementById('bildtitel').textContent"), kunstordner.TITEL[1])
        seite.klicke("#spiel")
        t = seite.tu(JETZT)
        self.assertEqual(seite.tu("[...document.querySelectorAll('audio, video')].every(e => e.paused)"), True)
        self.assertEqual(seite.tu(JETZT), t)

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
        vorher, nachher = seite.tu(f"""(() => {{ const davor = {JETZT}; document.getElementById('roh').click();
            return [davor, {JETZT}] }})()""")
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
        seite.warte(f"!{LAEUFT}")
        self.assertAlmostEqual(seite.tu(JETZT), chunk["t1"], delta=0.3)
        # The same from the table.
        seite.tu("document.getElementById('auswahl').value = 'them'")
        seite.tu("document.getElementById('auswahl').dispatchEvent(new Event('change'))")
        seite.tu("gehoert.length = 0")
        seite.klicke("#zeilen tr:nth-child(3) button")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 2")
        self.hoerte(seite, "chunk_them_002.wav", "reihe === '2'")
        seite.warte(f"!{LAEUFT}")
        self.assertEqual(seite.tu("[...new Set(gehoert.map(([name]) => name))]"), ["chunk_them_002.wav"])

    def test_vergroessern_und_verschieben(self):
        """Wheel, buttons, the small view, fingers; what is under the pointer stays there."""
        seite = self.seite
        x, y = seite.ort("#zeit", 0.25, 0.3)
        seite.maus("mouseWheel", x, y, deltaX=0, deltaY=-600)
        seite.warte(f"{ANSICHT}[1] < {SEKUNDEN}")
        von, bis = seite.tu(ANSICHT)
        self.assertAlmostEqual(von + (bis - von) * 0.25, SEKUNDEN * 0.25, delta=0.5)
        seite.maus("mouseWheel", x, y, deltaX=120, deltaY=0)
        seite.warte(f"{ANSICHT}[0] > {von}")
        self.assertAlmostEqual(*(b - a for a, b in (seite.tu(ANSICHT), (von, bis))), delta=0.01)
        for _ in range(12):
            if seite.tu("document.getElementById('groesser').disabled"):
                break
            seite.klicke("#groesser")
        von, bis = seite.tu(ANSICHT)
        self.assertAlmostEqual(bis - von, 2.0, delta=0.01)
        seite.klicke("#uebersicht", 0.5, 0.5)
        self.assertAlmostEqual(sum(seite.tu(ANSICHT)) / 2, SEKUNDEN / 2, delta=0.5)
        seite.klicke("#alles")
        self.assertEqual(seite.tu(ANSICHT), [0, SEKUNDEN])
        # Two fingers that part.
        x, y = seite.ort("#zeit", 0.5, 0.3)
        for art, weite in (("touchStart", 40), ("touchMove", 80), ("touchMove", 160), ("touchEnd", None)):
            seite.frage("Input.dispatchTouchEvent", type=art, touchPoints=[] if weite is None else [
                {"x": x - weite, "y": y, "id": 1}, {"x": x + weite, "y": y, "id": 2}])
        seite.warte(f"{ANSICHT}[1] - {ANSICHT}[0] < {SEKUNDEN * 0.45}")

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
        for taste, soll in (("End", SEKUNDEN), ("Home", 0.0), ("ArrowRight", 1.0), ("ArrowUp", 11.0),
                            ("ArrowLeft", 10.0), ("PageDown", SEKUNDEN), ("Home", 0.0)):
            seite.taste(taste)
            self.assertAlmostEqual(seite.tu(JETZT), soll, delta=0.01, msg=taste)
        beginne = sorted(satz["t0"] for satz in self.saetze if "chunk" in satz)
        seite.taste("n")
        self.assertAlmostEqual(seite.tu(JETZT), beginne[0], delta=0.06)
        seite.taste("n")
        self.assertAlmostEqual(seite.tu(JETZT), beginne[1], delta=0.06)
        seite.taste("p")
        self.assertAlmostEqual(seite.tu(JETZT), beginne[0], delta=0.06)
        self.assertIn("Gegenüber, Chunk 0", seite.tu("document.getElementById('zeit').getAttribute('aria-valuetext')"))
        seite.taste("+")
        self.assertLess(seite.tu(ANSICHT)[1], SEKUNDEN)
        seite.taste("0")
        self.assertEqual(seite.tu(ANSICHT), [0, SEKUNDEN])
        seite.taste("r")
        self.assertEqual(seite.tu("document.getElementById('roh').checked"), True)
        seite.taste("r")
        seite.taste("Enter", "\r")
        self.sagte(seite, "Zu hören: Gegenüber, Chunk 0")
        seite.warte(f"!{LAEUFT}")
        seite.taste("Home")
        for laeuft in (True, False):
            seite.taste(" ")
            self.assertEqual(seite.tu(LAEUFT), laeuft)


class Anderswo(Seitenfall):

    def test_auch_in_firefox(self):
        """Opens, may load the folder's files, and plays in step, with the sound off."""
        pfad = mache_seite(self.kunst(name="a recording, 100%"))
        firefox = kopflos.KopflosFirefox(os.path.join(self.ordner, "firefox"), pfad)
        self.addCleanup(firefox.toete)
        seite = firefox.erste("a recording, 100%")

        def warte(bedingung):
            browser._warte(lambda: seite.tu(bedingung), bedingung)

        warte(FERTIG)
        for kanal in ("me", "them"):
            firefox.klicke(f"#hoerbar-{kanal}")
        firefox.klicke("#spiel")
        gespielte = "[...document.querySelectorAll('audio')].filter(e => e.currentTime > 0.3)"
        warte(f"{gespielte}.some(e => e.getAttribute('src').startsWith('chunk_them_'))")
        warte(f"{gespielte}.some(e => e.getAttribute('src') === 'mikro_roh.wav' && Math.abs(e.currentTime - {JETZT}) < 0.3)")
        self.assertEqual(seite.tu("[...document.querySelectorAll('audio, video')].filter(e => e.error).length"), 0)


class Zugang(Seitenfall):

    def test_barrierefrei(self):
        """Names, roles and contrasts, by axe-core if it is there and by a check of our own."""
        ordner = self.kunst(sekunden=60)
        programm = self.chrom()
        for breite, dunkel in ((1280, False), (1280, True), (360, False)):
            seite = self.oeffne(ordner, programm, breite=breite, dunkel=dunkel)
            seite.tu("document.querySelectorAll('details').forEach(d => { d.open = true })")
            self.pruefe_namen(seite)
            if os.path.exists(AXE):
                with open(AXE, encoding="utf-8") as datei:
                    seite.tu(datei.read() + "; 0")
                befunde = seite.tu("""axe.run().then(({violations}) => violations.map(v =>
                    [v.impact, v.id, v.nodes.map(n => n.target.join(' ') + ': ' + n.failureSummary)]))""")
                self.assertEqual([b for b in befunde if b[0] != "minor"], [])
            else:
                print("axe-core is not there: only the check of our own", file=sys.stderr)
            self.ohne_klagen(seite, ordner)
            seite.schliesse()

    def pruefe_namen(self, seite):
        baum = seite.frage("Accessibility.getFullAXTree")["nodes"]
        rollen = {}
        for knoten in baum:
            if knoten.get("ignored"):
                continue
            rolle = knoten.get("role", {}).get("value")
            name = knoten.get("name", {}).get("value", "")
            rollen.setdefault(rolle, []).append(name)
        for rolle in ("button", "slider", "radio", "combobox", "region", "table", "navigation"):
            self.assertTrue(rollen.get(rolle), rolle)
            if rolle != "table":
                self.assertNotIn("", rollen[rolle], rolle)
        for rolle in ("banner", "main", "contentinfo", "status"):
            self.assertEqual(len(rollen.get(rolle, [])), 1, rolle)
        kontraste = seite.tu(KONTRASTE)
        self.assertEqual(kontraste, [])


# Texts with less contrast to what is behind them than WCAG 2.1 AA wants.
KONTRASTE = """(() => {
  const feld = document.createElement('canvas').getContext('2d', {willReadFrequently: true});
  const farbe = (text) => { feld.clearRect(0, 0, 1, 1); feld.fillStyle = text; feld.fillRect(0, 0, 1, 1);
    return [...feld.getImageData(0, 0, 1, 1).data]; };
  const hell = ([r, g, b]) => [r, g, b].map((w) => w / 255).map((w) => w <= 0.03928 ? w / 12.92 :
    ((w + 0.055) / 1.055) ** 2.4).reduce((s, w, i) => s + w * [0.2126, 0.7152, 0.0722][i], 0);
  const grund = (e) => { for (; e; e = e.parentElement) { const f = farbe(getComputedStyle(e).backgroundColor);
    if (f[3] > 250) return f; } return [255, 255, 255, 255]; };
  const schlecht = [];
  for (const e of document.querySelectorAll('body *')) {
    if (![...e.childNodes].some((k) => k.nodeType === 3 && k.data.trim()) || !e.checkVisibility() ||
        e.closest(':disabled, option, script, #bildpause')) continue;
    const stil = getComputedStyle(e);
    const [a, b] = [hell(farbe(stil.color)), hell(grund(e))].sort((x, y) => y - x);
    const gross = parseFloat(stil.fontSize) >= 24 || (parseFloat(stil.fontSize) >= 18.6 && stil.fontWeight >= 700);
    if ((a + 0.05) / (b + 0.05) < (gross ? 3 : 4.5))
      schlecht.push([e.tagName, e.className, e.textContent.slice(0, 30), ((a + 0.05) / (b + 0.05)).toFixed(2)]);
  }
  return schlecht;
})()"""


class Boese(Seitenfall):

    def test_nichts_aus_dem_ordner_laeuft(self):
        """Names, titles and lines that are scripts; files that are not what they say."""
        boese = "</script><script>window.boese=1</script><img src=x onerror='window.boese=2'>\u2028\u202e\"'&amp;"
        ordner = self.kunst(name="<b>&amp; \"#1%?'", sekunden=40)
        self.saetze[1:1] = [
            {"event": "degraded", "channel": "me", "message": boese},
            {"event": "video_start", "quelle": boese, "t_s": 0.5},
            {"event": "video_pause", "message": boese, "t_s": 5.0},
            {"event": "video_none", "message": "javascript:alert(1)"},
            {"chunk": 900, "channel": "me", "path": "../../../etc/passwd", "t0": 1.0, "t1": 2.0},
            {"chunk": 901, "channel": "them", "path": "http://example.invalid/x.wav", "t0": 600000.0, "t1": 600001.0},
            {"event": "echo", "verzoegerung_ms": 1e308, "leck": "</script>", "bloecke": -1}]
        kunstordner.schreibe_zeilen(ordner, self.saetze)
        with open(os.path.join(ordner, "ereignisse.jsonl"), "ab") as datei:
            datei.write(b"</script><script>window.boese=3</script>\n\xff\xfe\0{\n" + b"[" * 5000 + b"\n")
        os.symlink("/etc/passwd", os.path.join(ordner, "chunk_me_901.wav"))
        with open(os.path.join(ordner, "chunk_them_000.wav"), "r+b") as datei:
            datei.seek(40)
            datei.write(b"\xff\xff\xff\xff")
        seite = self.oeffne(ordner)
        self.assertEqual(seite.tu("typeof window.boese"), "undefined")
        self.assertEqual(seite.tu("document.querySelectorAll('img').length"), 0)
        self.assertEqual(seite.tu("document.getElementById('name').textContent"), os.path.basename(ordner))
        self.assertIn("window.boese=1", seite.tu("document.getElementById('befunde').textContent"))
        # The folder's own sound plays although its name means something in addresses.
        seite.tu("document.getElementById('zeit').focus()")
        chunk = self.chunks("me")[1]
        self.assertEqual(chunk["chunk"], 0)
        seite.tu("document.getElementById('auswahl').value = 'me'")
        seite.tu("document.getElementById('auswahl').dispatchEvent(new Event('change'))")
        seite.tu("[...document.querySelectorAll('#zeilen tr')].find(z => z.cells[2].textContent === '0')"
                 ".querySelector('button').click()")
        self.hoerte(seite, "chunk_me_000.wav")
        self.ohne_klagen(seite, ordner)

    def test_ohne_zeilen(self):
        ordner = self.kunst(sekunden=40)
        os.unlink(os.path.join(ordner, "ereignisse.jsonl"))
        seite = self.oeffne(ordner)
        self.assertIn("Wann die Chunks gesprochen wurden, ist nicht bekannt.",
                      seite.tu("document.getElementById('befunde').textContent"))
        self.assertEqual(seite.tu("document.getElementById('fassung').disabled"), True)
        seite.klicke("#spiel")
        self.sagte(seite, "Chunk 0")
        self.ohne_klagen(seite, ordner)

    def test_abgebrochen_und_unvollstaendig(self):
        """Each thing that is wrong has its sentence, and the command that helps."""
        ordner = self.kunst(sekunden=60)
        kunstordner.schreibe_zeilen(ordner, [satz for satz in self.saetze if satz.get("event") not in
                                             ("done", "echo", "zeitachse", "video")])
        os.unlink(os.path.join(ordner, "chunk_me_001.wav"))
        with open(os.path.join(ordner, ".hallkorb-1-2.teil"), "wb"):
            pass
        seite = self.oeffne(ordner)
        worte = seite.tu("document.getElementById('befunde').textContent")
        for satz in ("Die Aufnahme wurde abgebrochen, oder sie läuft noch.", "1 Chunk fehlt.",
                     "1 Datei blieb unfertig zurück.", "hallkorb-sitzung reparieren recording"):
            self.assertIn(satz, worte)
        self.assertNotIn("vollständig", worte)
        self.assertIn("nicht bekannt", seite.tu("document.getElementById('echo').textContent"))
        self.assertIn("fehlt", seite.tu("document.querySelector('tr.fehlt').textContent"))
        # The command helps.
        subprocess.run([test_sitzung.SITZUNG, "reparieren", ordner], check=True, stdout=subprocess.DEVNULL)
        seite = self.oeffne(ordner, seite.browser)
        self.assertNotIn("unfertig", seite.tu("document.getElementById('befunde').textContent"))
        self.ohne_klagen(seite, ordner)


class Lange(Seitenfall):

    def test_drei_stunden(self):
        """Opens and scrolls; a frame of three hours is drawn from no more than four times the pairs of one of
        two and a half minutes, which is what two neighbouring levels differ by."""
        programm = self.chrom()
        kurz = self.oeffne(self.kunst("short", video=False), programm)
        ordner = self.kunst("long", 3 * 3600.0, video=False)
        anfang = time.monotonic()
        mache_seite(ordner)
        gemacht = time.monotonic() - anfang
        lang = self.oeffne(ordner, programm)
        geladen = lang.tu("performance.getEntriesByType('navigation')[0].domComplete")
        zeiten = {name: seite.tu(ROLLEN) for name, seite in (("short", kurz), ("long", lang))}
        groesse = os.path.getsize(os.path.join(ordner, "sitzung.html"))
        chunks = len(glob.glob(os.path.join(ordner, "chunk_*")))
        print(f"three hours, {chunks} chunks: made in {gemacht:.1f} s, page of {groesse / 1e6:.1f} MB, open after "
              f"{geladen / 1000:.2f} s; of {zeiten['long']['bilder']} frames while zooming and scrolling half were "
              f"drawn within {zeiten['long']['mitte']:.1f} ms, 95 % within {zeiten['long']['fast']:.1f} ms "
              f"(two and a half minutes: {zeiten['short']['mitte']:.1f} ms, {zeiten['short']['fast']:.1f} ms)",
              file=sys.stderr)
        self.assertEqual(lang.tu("document.querySelectorAll('#zeilen tr').length"), 25)
        self.assertGreater(zeiten["short"]["paare"], 1000)
        self.assertLessEqual(zeiten["long"]["paare"], 4 * zeiten["short"]["paare"])
        # A place in its last minute plays.
        lang.tu("document.getElementById('zeit').focus()")
        lang.taste("End")
        lang.taste("p")
        lang.taste("Enter", "\r")
        self.sagte(lang, "Zu hören")
        self.ohne_klagen(lang, ordner)


# Zooms in and scrolls; milliseconds from frame to frame, and the most pairs that one was drawn from.
ROLLEN = """(async () => {
  const feld = document.getElementById('zeit');
  const rahmen = feld.getBoundingClientRect();
  const zeiten = [];
  let paare = 0;
  const rolle = (deltaX, deltaY) => feld.dispatchEvent(new WheelEvent('wheel', {deltaX, deltaY, cancelable: true,
    clientX: rahmen.left + rahmen.width / 2, clientY: rahmen.top + 100}));
  const bild = () => new Promise(requestAnimationFrame);
  let davor = await bild();
  for (let i = 0; i < 240; ++i) {
    rolle(i % 80 < 40 ? 0 : 30, i < 120 ? -25 : 25);
    const jetzt = await bild();
    zeiten.push(jetzt - davor);
    davor = jetzt;
    paare = Math.max(paare, Number(feld.dataset.paare));
  }
  zeiten.sort((a, b) => a - b);
  return {bilder: zeiten.length, mitte: zeiten[120], fast: zeiten[228], paare};
})()"""


class Echt(test_sitzung.Ordnerfall):
    LANG = True

    def test_seite_einer_echten_aufnahme(self):
        """Recorded in a private session with a window, then opened and heard."""
        self.sprich(120)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        aufnahme = self.lauf(video=True, umgebung=self.bildschirm.umgebung)
        aufnahme.ereignis("video_start", test_sitzung.GEDULD)
        aufnahme.warte_aufnahme(6.0)
        self.warte_bis(lambda: self.video_bytes() > 4096, "pictures in the file")
        aufnahme.stoppe(frist=test_sitzung.GEDULD)
        self.behalte(aufnahme)
        programm = kopflos.Kopflos(os.path.join(self.ordner, "chromium"), "en-US")
        self.addCleanup(programm.toete)
        seite = programm.oeffne_datei(mache_seite(self.aufnahme))
        seite.warte(FERTIG)
        self.assertIn("The recording is complete.", seite.tu("document.getElementById('befunde').textContent"))
        self.assertEqual(seite.tu("document.querySelectorAll('#bilder li').length"), 1)
        self.assertGreater(seite.tu("document.querySelector('video').videoWidth"), 0)
        chunks = {kanal: [satz for satz in aufnahme.chunks(kanal)] for kanal in ("me", "them")}
        self.assertEqual(seite.tu("document.querySelectorAll('#zeilen tr').length"),
                         min(sum(map(len, chunks.values())), 25))
        seite.tu(MERKE)
        for fassung, datei in (("gereinigt", f"chunk_me_{chunks['me'][0]['chunk']:03d}.wav"), ("roh", "mikro_roh.wav")):
            seite.klicke(f"#{fassung}")
            seite.tu("document.getElementById('zeit').focus()")
            seite.taste("Home")
            if not seite.tu(LAEUFT):
                seite.klicke("#spiel")
            seite.warte(f"gehoert.some(([name, stelle]) => name === '{datei}' && stelle > 0.2)")
        self.assertTrue(seite.tu("gesagt.some(worte => worte.includes('raw microphone'))"))
        self.assertEqual(seite.klagen(), [])
        for adresse in seite.anfragen():
            self.assertTrue(adresse.startswith("file://" + self.aufnahme), adresse)
