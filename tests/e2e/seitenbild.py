"""Makes the README's picture of the page: python3 tests/e2e/seitenbild.py FILE.png

A synthetic recording of twenty minutes, opened in Chromium at a width that the README shows well, zoomed
in and with the cursor in its middle. Look at it before it is committed.
"""

import os
import subprocess
import sys
import tempfile

import lauf  # first: it finds the scripts' modules
import kopflos
import kunstordner
import prozesse
import seitenfall

SITZUNG = os.path.join(lauf.WURZEL, "build", "release", "hallkorb-sitzung")


def mache(ziel):
    with tempfile.TemporaryDirectory(prefix="hallkorb-seite-") as halter:
        ordner = os.path.join(halter, "weekly meeting")
        kunstordner.baue(ordner, 1200.0)
        subprocess.run([SITZUNG, "bericht", ordner], check=True, stdout=subprocess.DEVNULL)
        programm = kopflos.Kopflos(os.path.join(halter, "chromium"), "en-US")
        try:
            seite = programm.oeffne_datei(os.path.join(ordner, "sitzung.html"), breite=1270, hoehe=985,
                                          sprache="en-US")
            seite.frage("Emulation.setScrollbarsHidden", hidden=True)
            seite.warte(seitenfall.FERTIG)
            seite.klicke("#zeit", 0.37, 0.2)
            for _ in range(3):
                seite.klicke("#groesser")
            seite.maus("mouseMoved", 5, 5)
            seite.tu("document.activeElement.blur(); scrollTo(0, 0)")
            seite.warte("document.querySelector('video').readyState >= 2 && !document.querySelector('video').seeking")
            seite.tu("new Promise(f => requestAnimationFrame(() => requestAnimationFrame(f)))")
            kopflos.schreibe_png(ziel, kopflos.lies_png(seite.bild()))
        finally:
            programm.toete()
    return 0


if __name__ == "__main__":
    prozesse.beaufsichtigt(lambda: mache(sys.argv[1]))
