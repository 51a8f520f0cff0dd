"""The page that hallkorb-sitzung makes of a recording, in a real Chromium without a screen: how it looks,
whether everybody can use it, and what three hours cost. Beside it are what it plays (test_seite_hoeren) and
what it makes of hostile folders (test_seite_boese).

Pictures of the page are compared with those in tests/e2e/bilder; HALLKORB_BILDER=neu makes these anew, to be
looked at before they are committed. They run only by name: the stage "seite" of scripts/test.
"""

import glob
import os
import sys
import time

import lauf  # first: it finds the scripts' modules
import browser
import kopflos
import seitenfall

BILDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "bilder")
AXE = os.path.join(lauf.WURZEL, "build", "axe", "package", "axe.min.js")
BREITEN = {"phone": (360, 740, 2.0, True), "tablet": (820, 1100, 1.0, False), "wide": (1440, 1000, 1.0, False)}


class Aussehen(seitenfall.Seitenfall):

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


class Anderswo(seitenfall.Seitenfall):

    def test_auch_in_firefox(self):
        """Opens, may load the folder's files, and plays in step, with the sound off."""
        pfad = seitenfall.mache_seite(self.kunst(name="a recording, 100%"))
        firefox = kopflos.KopflosFirefox(os.path.join(self.ordner, "firefox"), pfad)
        self.addCleanup(firefox.toete)
        seite = firefox.erste("a recording, 100%")

        def warte(bedingung):
            browser._warte(lambda: seite.tu(bedingung), bedingung)

        warte(seitenfall.FERTIG)
        for kanal in ("me", "them"):
            firefox.klicke(f"#hoerbar-{kanal}")
        firefox.klicke("#spiel")
        gespielte = "[...document.querySelectorAll('audio')].filter(e => e.currentTime > 0.3)"
        warte(f"{gespielte}.some(e => e.getAttribute('src').startsWith('chunk_them_'))")
        warte(f"{gespielte}.some(e => e.getAttribute('src') === 'mikro_roh.wav' && Math.abs(e.currentTime - {seitenfall.JETZT}) < 0.3)")
        self.assertEqual(seite.tu("[...document.querySelectorAll('audio, video')].filter(e => e.error).length"), 0)


class Zugang(seitenfall.Seitenfall):

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


class Lange(seitenfall.Seitenfall):
    ALLEIN = True  # for the sake of its figures

    def test_drei_stunden(self):
        """Opens and scrolls; a frame of three hours is drawn from no more than four times the pairs of one of
        two and a half minutes, which is what two neighbouring levels differ by."""
        programm = self.chrom()
        kurz = self.oeffne(self.kunst("short", video=False), programm)
        ordner = self.kunst("long", 3 * 3600.0, video=False)
        anfang = time.monotonic()
        seitenfall.mache_seite(ordner)
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
