"""What the tests of a recording's page share: synthetic folders, the page of one in a browser, and what it
says and plays, recorded in the page itself."""

import os
import subprocess
import tempfile
import unittest

import lauf  # noqa: F401  (first: it finds the scripts' modules)
import kopflos
import kunstordner
import test_sitzung

SEKUNDEN = 150
# Width, height, pixels of the screen for each of the page's, whether it is used with fingers.
BREITEN = {"phone": (360, 740, 2.0, True), "tablet": (820, 1100, 1.0, False), "wide": (1440, 1000, 1.0, False)}
JETZT = "Number(document.getElementById('zeit').dataset.stelle)"
# Since the page was opened, whether anybody looked in time or not: what is shown to be heard; what a screen
# reader says by itself, and each value of its slider; and what was really heard: [file, its place, the clock,
# the marked row of the table].
MERKE = """window.gesagt = []; window.vorgelesen = []; window.werte = []; window.gehoert = [];
  for (const [id, liste] of [['gehoert', gesagt], ['laut', vorgelesen]])
    new MutationObserver(() => liste.push(document.getElementById(id).textContent)).observe(
      document.getElementById(id), {childList: true, characterData: true, subtree: true});
  new MutationObserver((alle) => werte.push(...alle.map(({target}) => target.getAttribute('aria-valuetext')))).observe(
    document.getElementById('zeit'), {attributeFilter: ['aria-valuenow', 'aria-valuetext']});
  setInterval(() => { for (const e of document.querySelectorAll('#toene audio'))
    if (!e.paused && !e.muted && gehoert.length < 50000) gehoert.push([e.getAttribute('src'), e.currentTime,
      Number(document.getElementById('zeit').dataset.stelle),
      document.querySelector('tr.spielt')?.cells[2].textContent]); }, 40); 0"""
LAEUFT = "document.body.classList.contains('laeuft')"
ANSICHT = "(({von, bis}) => [Number(von), Number(bis)])(document.getElementById('zeit').dataset)"
FERTIG = """Number(document.getElementById('zeit').dataset.zeichnungen) > 0 &&
    [...document.querySelectorAll('video')].every(v => !v.getAttribute('src') || v.readyState >= 2)"""


def schirm(name):
    """One of BREITEN as oeffne() takes it."""
    breite, hoehe, dichte, finger = BREITEN[name]
    return {"breite": breite, "hoehe": hoehe, "dichte": dichte, "finger": finger}


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

    def befunde(self, seite):
        """What the page says of the recording, in its own words."""
        return seite.tu("document.getElementById('befunde').textContent")

    def ohne_klagen(self, seite, ordner):
        self.assertEqual(seite.klagen(), [])
        erlaubt = seite.adresse.rsplit("/", 1)[0] + "/"
        for adresse in seite.anfragen():
            self.assertTrue(adresse.startswith(erlaubt), adresse)

    def chunks(self, kanal):
        return [satz for satz in self.saetze if satz.get("channel") == kanal and "chunk" in satz]
