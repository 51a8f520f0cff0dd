"""The page that hallkorb-sitzung makes of a recording, in a real Chromium without a screen: how it looks,
and whether everybody can use it. Beside it are what it plays (test_seite_hoeren), what it makes of hostile
folders (test_seite_boese), and what three hours cost (test_seite_lange).

Pictures of the page are compared with those in tests/e2e/pictures; HALLKORB_BILDER=neu makes these anew, to be
looked at before they are committed. They run only by name: the stage "seite" of scripts/test.
"""

import json
import os
import sys
import time

import lauf  # first: it finds the scripts' modules
import browser
import kopflos
import kunstordner
import seitenfall

BILDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "pictures")
AXE = os.path.join(lauf.WURZEL, "build", "axe", "package", "axe.min.js")
OFFLINE = bool(os.environ.get("HALLKORB_OFFLINE"))


class Aussehen(seitenfall.Seitenfall):

    def test_breiten_farben_und_sprachen(self):
        """At three widths, light and dark, German and English: as it was looked at, without an error and
        without a request that leaves the folder."""
        ordner = self.kunst()
        programm = self.chrom()
        bilder = {}
        for name in seitenfall.BREITEN:
            for dunkel in (False, True):
                seite = self.zeige(ordner, programm, name, dunkel)
                farben = "dark" if dunkel else "light"
                bilder[f"{name}-{farben}"] = kopflos.verkleinert(kopflos.lies_png(seite.bild()), 4)
                if name == "phone":  # on which the first view shows the least
                    bilder[f"{name}-whole-{farben}"] = kopflos.verkleinert(
                        kopflos.lies_png(seite.bild("html")), 4)
                self.ohne_klagen(seite, ordner)
                seite.schliesse()
        self.vergleiche(bilder)
        # What the comparison must notice: the other colours.
        for name in (*seitenfall.BREITEN, "phone-whole"):
            self.assertGreater(unterschied(bilder[f"{name}-light"], bilder[f"{name}-dark"]), 0.3)

    def test_ueberlappung_und_fehlender_chunk(self):
        """The timeline of a damaged recording, as it was looked at."""
        ordner = self.kunst(sekunden=30)
        me = self.chunks("me")
        spaeter = next(b for a, b in zip(me, me[1:]) if a["t1"] == b["t0"])
        fehlend = self.chunks("them")[1]
        programm = self.chrom()
        ganz = self.zeitachse(ordner, programm)
        for zeit in ("t0", "t1"):
            spaeter[zeit] = round(spaeter[zeit] - 1.5, 2)
        kunstordner.schreibe_zeilen(ordner, self.saetze)
        os.unlink(os.path.join(ordner, f"chunk_them_{fehlend['chunk']:03d}.wav"))
        bilder = {}
        for dunkel in (False, True):
            bilder[f"damaged-{'dark' if dunkel else 'light'}"] = self.zeitachse(ordner, programm, dunkel)
        self.vergleiche(bilder)
        # The hatching, and the frame without a wave in it, are what the comparison must notice.
        self.assertGreater(unterschied(bilder["damaged-light"], ganz), TOLERANZ)

    def zeitachse(self, ordner, programm, dunkel=False):
        seite = self.zeige(ordner, programm, "wide", dunkel)
        bild = kopflos.lies_png(seite.bild("#zeit"))
        self.ohne_klagen(seite, ordner)
        seite.schliesse()
        return kopflos.verkleinert(bild, 2)

    def zeige(self, ordner, programm, name, dunkel):
        """The page, in German if it is light and in English if it is dark."""
        sprache = "en-US" if dunkel else "de-DE"
        seite = self.oeffne(ordner, programm, dunkel=dunkel, sprache=sprache, **seitenfall.schirm(name))
        self.assertEqual(seite.tu("document.documentElement.lang"), sprache[:2])
        self.assertEqual(seite.tu("document.documentElement.scrollWidth - innerWidth <= 0"), True, name)
        # Every element of the drawing, and the picture, has been painted.
        seite.tu("new Promise(f => requestAnimationFrame(() => requestAnimationFrame(f)))")
        return seite

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


class Worte(seitenfall.Seitenfall):

    def test_das_echo_in_worten(self):
        """Each figure of the echo path in both languages: what a case says that the usual one does not, and
        how many sentences it has."""
        seite = self.oeffne(self.kunst(sekunden=20, video=False), davor=DATEN_ZEIGEN)
        roh = seite.tu("daten.roh")

        def saetze(knopf, echo, **mehr):
            return [satz.replace("\xa0", " ") for satz in seite.tu(f"""(() => {{
                Object.assign(daten, {json.dumps({"echo": echo, "roh": roh, "start": {"echo": True}} | mehr)});
                document.getElementById('{knopf}').click();
                return [...document.querySelectorAll('#echo p')].map(p => p.textContent) }})()""")]

        for knopf, (ueblich, ohne, faelle) in ECHO.items():
            self.assertEqual(saetze(knopf, UEBLICH), ueblich)
            for anders, erwartet, anzahl in faelle:
                with self.subTest(sprache=knopf, **anders):
                    gesagt = saetze(knopf, UEBLICH | anders)
                    self.assertEqual([satz for satz in gesagt if satz not in ueblich], erwartet)
                    self.assertEqual(len(gesagt), anzahl)
            self.assertEqual(saetze(knopf, UEBLICH, roh=None), ueblich[:-1])
            self.assertEqual(saetze(knopf, None, start={"echo": False}), [ohne[0]])
            self.assertEqual(saetze(knopf, None), [ohne[1]])
        self.ohne_klagen(seite, self.ordner)


# Gives the page's own data a name, under which they can be changed.
DATEN_ZEIGEN = """{ const lies = JSON.parse;
  JSON.parse = (text) => { const wert = lies(text); if (wert?.chunks) window.daten = wert; return wert; }; }"""
UEBLICH = {"verzoegerungMs": 82.4, "leck": 0.3, "torAnteil": 0.41, "nahAnteil": 0.383, "versatzWechsel": 1, "resets": 0,
           "ohneReferenz": 0, "ausfaelle": 0, "bloecke": 1000, "chunksOhneSprache": 0}
# Button of a language -> the usual sentences, those without figures, and cases: what is different, what is said
# then that usually is not, how many sentences there are.
ECHO = {
    "deutsch": ([
        "Was aus dem Lautsprecher kommt, ist nach 82 ms im Mikrofon zu hören. Das ist üblich.",
        "Der Filter ließ zuletzt 30 % vom Ton der Gegenseite durch, die ein Nachfilter noch dämpft.",
        "38 % der Zeit haben Sie gesprochen; 41 % der Zeit war nur die Gegenseite im Mikrofon, und das ist weggenommen.",
        "Der Weg vom Lautsprecher zum Mikrofon blieb die ganze Zeit derselbe.",
        "Zum Vergleich: beim Abspielen zwischen „roh“ und „gereinigt“ wechseln.",
    ], [
        "Bei dieser Aufnahme wurde kein Echo entfernt.",
        "Wie gut das Echo entfernt wurde, ist nicht bekannt: Das steht in einer der letzten Zeilen einer Aufnahme, und "
        "die liegt hier nicht vor.",
    ], [
        ({"verzoegerungMs": 59.4}, ["Was aus dem Lautsprecher kommt, ist nach 59 ms im Mikrofon zu hören. "
                                    "Das ist kurz, wie bei den eingebauten Lautsprechern eines Laptops."], 5),
        ({"verzoegerungMs": 60}, ["Was aus dem Lautsprecher kommt, ist nach 60 ms im Mikrofon zu hören. "
                                  "Das ist üblich."], 5),
        ({"verzoegerungMs": 251}, ["Was aus dem Lautsprecher kommt, ist nach 251 ms im Mikrofon zu hören. "
                                   "Das ist lang, wie bei Bluetooth oder einem Fernseher."], 5),
        ({"verzoegerungMs": 0}, ["Im Mikrofon war kein Echo zu finden. So ist es mit Kopfhörern, oder wenn die "
                                 "Gegenseite sehr leise ist."], 3),
        ({"verzoegerungMs": 0, "ohneReferenz": 950},
         ["Ob im Mikrofon Echo war, ist nicht bekannt: Es fehlte zum Vergleich, was der Rechner abspielte.",
          "15,2 s lang fehlte zum Vergleich, was der Rechner abspielte; dort ist Echo geblieben."], 4),
        ({"leck": 0.034}, ["Der Filter ließ zuletzt 3,4 % vom Ton der Gegenseite durch, die ein Nachfilter noch "
                           "dämpft. Das ist sehr wenig."], 5),
        ({"leck": 0.12}, ["Der Filter ließ zuletzt 12 % vom Ton der Gegenseite durch, die ein Nachfilter noch dämpft. "
                          "Das ist wenig."], 5),
        ({"leck": 1.0}, ["Der Filter ließ zuletzt 100 % vom Ton der Gegenseite durch, die ein Nachfilter noch dämpft. "
                         "Das ist viel: Der Lautsprecher war wohl sehr laut oder verzerrt. Leiser stellen oder "
                         "Kopfhörer helfen."], 5),
        ({"chunksOhneSprache": 1}, ["38 % der Zeit haben Sie gesprochen; 41 % der Zeit war nur die Gegenseite im "
                                    "Mikrofon, und das ist weggenommen. 1 Stück ohne Ihre Sprache wurde nicht "
                                    "behalten."], 5),
        ({"chunksOhneSprache": 7}, ["38 % der Zeit haben Sie gesprochen; 41 % der Zeit war nur die Gegenseite im "
                                    "Mikrofon, und das ist weggenommen. 7 Stücke ohne Ihre Sprache wurden nicht "
                                    "behalten."], 5),
        ({"resets": 2}, ["Der Weg vom Lautsprecher zum Mikrofon änderte sich 3-mal; danach ist für einige Sekunden "
                         "mehr Echo zu hören."], 5),
        ({"ohneReferenz": 31}, [], 5),
        ({"ohneReferenz": 32}, ["0,5 s lang fehlte zum Vergleich, was der Rechner abspielte; dort ist Echo "
                                "geblieben."], 6),
        ({"ausfaelle": 1}, ["In 1 Block von 16 ms versagte der Filter; dort steht das rohe Mikrofon."], 6),
        ({"ausfaelle": 3}, ["In 3 Blöcken von 16 ms versagte der Filter; dort steht das rohe Mikrofon."], 6),
    ]),
    "englisch": ([
        "What the loudspeaker plays is heard in the microphone after 82 ms. That is usual.",
        "In the end the filter let 30% of the other side's sound through, which a post-filter damps further.",
        "You spoke 38% of the time; 41% of the time only the other side was in the microphone, and that has been "
        "taken away.",
        "The way from the loudspeaker to the microphone stayed the same all the time.",
        "To compare: switch between “raw” and “cleaned” while it plays.",
    ], [
        "No echo was removed in this recording.",
        "How well the echo was removed is not known: one of the last lines of a recording says so, and it is not here.",
    ], [
        ({"verzoegerungMs": 59.4}, ["What the loudspeaker plays is heard in the microphone after 59 ms. That is short, "
                                    "as with the built-in speakers of a laptop."], 5),
        ({"verzoegerungMs": 251}, ["What the loudspeaker plays is heard in the microphone after 251 ms. That is long, "
                                   "as with Bluetooth or a television."], 5),
        ({"verzoegerungMs": 0}, ["No echo was found in the microphone. So it is with headphones, or if the other side "
                                 "is very quiet."], 3),
        ({"verzoegerungMs": 0, "ohneReferenz": 950},
         ["Whether there was echo in the microphone is not known: what the computer played was not there to compare "
          "with.",
          "For 15.2 s there was nothing to compare the microphone with; echo has remained there."], 4),
        ({"leck": 0.034}, ["In the end the filter let 3.4% of the other side's sound through, which a post-filter "
                           "damps further. That is very little."], 5),
        ({"leck": 1.0}, ["In the end the filter let 100% of the other side's sound through, which a post-filter damps "
                         "further. That is a lot: the loudspeaker was probably very loud, or distorted. Turn it down, "
                         "or use headphones."], 5),
        ({"chunksOhneSprache": 1}, ["You spoke 38% of the time; 41% of the time only the other side was in the "
                                    "microphone, and that has been taken away. 1 piece without your speech was not "
                                    "kept."], 5),
        ({"resets": 2}, ["The way from the loudspeaker to the microphone changed 3 times; after that, more echo can be "
                         "heard for some seconds."], 5),
        ({"ausfaelle": 3}, ["The filter failed in 3 blocks of 16 ms; the raw microphone stands there."], 6),
    ]),
}


# Share of the pixels of a small picture that clearly differ. Letters that another version of a library
# draws by a hair differently make up to 0.02; a card that is gone makes 0.1.
TOLERANZ = 0.05


def unterschied(a, b):
    # A whole page may be a line of pixels longer with another version of a library.
    hoehe = min(len(a), len(b))
    if a.shape[1] != b.shape[1] or hoehe < 0.99 * max(len(a), len(b)):
        return 1.0
    a, b = a[:hoehe], b[:hoehe]
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
        """Names, roles and contrasts, by axe-core and by a check of our own. The stage "seite" fetches
        axe-core; HALLKORB_OFFLINE=1 says that this machine cannot."""
        self.assertTrue(OFFLINE or os.path.exists(AXE), "axe-core is missing: scripts/setup.sh browser, then "
                        "scripts/test seite, or HALLKORB_OFFLINE=1")
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
                print("offline, without axe-core: only the check of our own", file=sys.stderr)
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
        e.closest(':disabled, [aria-disabled=true], option, script, #bildpause')) continue;
    const stil = getComputedStyle(e);
    const [a, b] = [hell(farbe(stil.color)), hell(grund(e))].sort((x, y) => y - x);
    const gross = parseFloat(stil.fontSize) >= 24 || (parseFloat(stil.fontSize) >= 18.6 && stil.fontWeight >= 700);
    if ((a + 0.05) / (b + 0.05) < (gross ? 3 : 4.5))
      schlecht.push([e.tagName, e.className, e.textContent.slice(0, 30), ((a + 0.05) / (b + 0.05)).toFixed(2)]);
  }
  return schlecht;
})()"""
