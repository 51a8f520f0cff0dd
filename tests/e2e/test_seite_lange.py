"""The page of a recording of three hours, in a real Chromium without a screen: what it costs, and that it plays.

Runs only by name: the stage "seite" of scripts/test.
"""

import glob
import os
import sys
import time

import seitenfall

# Before the first drawing: characters that were decoded into levels.
ENTSCHLUESSELT = """window.entschluesselt = 0;
  for (const [wo, name] of [[window, 'atob'], [Uint8Array, 'fromBase64']]) {
    const echt = wo[name];
    if (echt) wo[name] = function (text, ...mehr) {
      if (!document.getElementById('zeit').dataset.zeichnungen) window.entschluesselt += text.length;
      return echt.call(this, text, ...mehr);
    };
  }"""


class Lange(seitenfall.Seitenfall):
    ALLEIN = True  # for the sake of its figures

    def test_drei_stunden(self):
        """Opens and scrolls, with a video. What that takes does not grow with the length: the page has the same
        elements but for a few more levels; before it is there, and for a frame, no more of the levels is
        read than four times as of two and a half minutes, which is what two neighbouring levels differ by."""
        programm = self.chrom()
        kurz = self.oeffne(self.kunst("short"), programm, davor=ENTSCHLUESSELT)
        ordner = self.kunst("long", 3 * 3600.0)
        anfang = time.monotonic()
        seitenfall.mache_seite(ordner)
        gemacht = time.monotonic() - anfang
        lang = self.oeffne(ordner, programm, davor=ENTSCHLUESSELT)
        geladen = lang.tu("performance.getEntriesByType('navigation')[0].domComplete")
        kosten = {name: seite.tu(GEOEFFNET) for name, seite in (("short", kurz), ("long", lang))}
        zeiten = {name: seite.tu(ROLLEN) for name, seite in (("short", kurz), ("long", lang))}
        groesse = os.path.getsize(os.path.join(ordner, "sitzung.html"))
        chunks = len(glob.glob(os.path.join(ordner, "chunk_*")))
        print(f"three hours, {chunks} chunks: made in {gemacht:.1f} s, page of {groesse / 1e6:.1f} MB, open after "
              f"{geladen / 1000:.2f} s; of {zeiten['long']['bilder']} frames while zooming and scrolling half were "
              f"drawn within {zeiten['long']['mitte']:.1f} ms, 95 % within {zeiten['long']['fast']:.1f} ms "
              f"(two and a half minutes: {zeiten['short']['mitte']:.1f} ms, {zeiten['short']['fast']:.1f} ms); "
              f"opened {kosten['long']}, two and a half minutes {kosten['short']}", file=sys.stderr)
        self.assertEqual(lang.tu("document.querySelectorAll('#zeilen tr').length"), 25)
        self.assertGreater(kosten["short"]["zeichen"], 100)
        self.assertLessEqual(kosten["long"]["zeichen"], 4 * kosten["short"]["zeichen"])
        self.assertLessEqual(kosten["long"]["elemente"], kosten["short"]["elemente"] + 30)
        # One and a third characters for each byte: a hundred pairs a second and a third more for the coarser
        # levels, of three waveforms. The rest is the page itself and 100 bytes for each chunk.
        self.assertLess(groesse, 3 * 3 * 3600 * 100 * 2 * 4 / 3 * 4 / 3 + 300_000 + 100 * chunks)
        self.assertGreater(zeiten["short"]["paare"], 1000)
        self.assertLessEqual(zeiten["long"]["paare"], 4 * zeiten["short"]["paare"])
        # A place in its last minutes plays, raw and cleaned.
        chunk = next(satz for satz in reversed(self.chunks("me")) if satz["t1"] - satz["t0"] > 3.0)
        name = os.path.basename(chunk["path"])
        lang.tu("document.getElementById('zeit').focus()")
        lang.taste("End")
        for _ in range(100):
            if lang.tu(seitenfall.JETZT) <= chunk["t0"] + 0.2:
                break
            lang.taste("p")
        self.assertEqual(lang.tu("document.getElementById('gereinigt').checked"), True)
        lang.taste(" ")
        self.hoerte(lang, name)
        lang.taste("r")
        self.hoerte(lang, "mikro_roh.wav", "Math.abs(stelle - t) < 0.3")
        self.ohne_klagen(lang, ordner)


GEOEFFNET = """({zeichen: window.entschluesselt, elemente: document.querySelectorAll('*').length})"""


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
