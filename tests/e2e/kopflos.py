"""Chromium without a screen, for pages from the file system: everything that a page logs, throws or
requests is kept, and pictures of it are taken at given widths and colour schemes.

Letters are drawn with one font only, so that pictures are alike on every machine that has it.
"""

import base64
import collections
import json
import os
import urllib.parse
import zlib

import numpy

import browser

SCHRIFT = next((ordner for ordner in ("/usr/share/fonts/truetype/dejavu", "/usr/share/fonts/dejavu-sans-fonts")
                if os.path.isdir(ordner)), "/usr/share/fonts")
_FONTS = """<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig><dir>%s</dir><cachedir>%s</cachedir>
<match target="pattern"><edit name="family" mode="prepend" binding="strong">
<string>DejaVu Sans</string></edit></match>
<match target="font"><edit name="antialias" mode="assign"><bool>true</bool></edit>
<edit name="hinting" mode="assign"><bool>false</bool></edit></match></fontconfig>"""


class _Ohne:
    def __init__(self, umgebung):
        self.umgebung = umgebung


class Kopflos(browser.Chromium):

    def __init__(self, ordner, sprache="de-DE", *optionen):
        os.makedirs(ordner, exist_ok=True)
        fonts = os.path.join(ordner, "fonts.conf")
        with open(fonts, "w", encoding="ascii") as datei:
            datei.write(_FONTS % (SCHRIFT, os.path.join(ordner, "fonts")))
        umgebung = {name: wert for name, wert in os.environ.items()
                    if name not in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "PULSE_SERVER")}
        umgebung |= {"FONTCONFIG_FILE": fonts, "TZ": "Europe/Berlin", "LANGUAGE": sprache}
        self.ereignisse = collections.deque()
        super().__init__(_Ohne(umgebung), ordner, None, "--headless=new", f"--lang={sprache}",
                         f"--accept-lang={sprache}", "--force-color-profile=srgb",
                         "--disable-lcd-text", "--autoplay-policy=document-user-activation-required",
                         "--font-render-hinting=none", "--disable-background-timer-throttling",
                         "--disable-renderer-backgrounding", "--disable-backgrounding-occluded-windows",
                         *optionen)

    def _ereignis(self, satz):
        self.ereignisse.append(satz)

    def oeffne_datei(self, pfad, breite=1280, hoehe=900, dunkel=False, dichte=1.0, sprache=None, finger=False,
                     davor=None):
        """A page from the file system, loaded; events of it are kept from the first one on. `davor`: a script
        that runs before those of the page."""
        nummer = self._frage("Target.createTarget", url="about:blank", newWindow=True,
                             width=breite, height=hoehe)["targetId"]
        seite = Dateiseite(self, nummer)
        for gebiet in ("Page", "Runtime", "Log", "Network", "Performance"):
            self._frage(f"{gebiet}.enable", seite)
        seite.zeige_mit(breite, hoehe, dunkel, dichte, finger)
        if sprache:
            self._frage("Emulation.setLocaleOverride", seite, locale=sprache.replace("-", "_"))
            seite.skript_davor("Object.defineProperty(navigator, 'language', {get: () => '%s'})" % sprache)
        if davor:
            seite.skript_davor(davor)
        seite.adresse = "file://" + urllib.parse.quote(os.fsencode(pfad))
        self._frage("Page.navigate", seite, url=seite.adresse)
        browser._warte(lambda: seite.tu("location.href") != "about:blank" and
                       seite.tu("document.readyState") == "complete", pfad)
        return seite


class KopflosFirefox(browser.Firefox):
    """Firefox without a screen. It has no sound here, and an element that is not muted fails."""

    def __init__(self, ordner, pfad):
        os.makedirs(ordner, exist_ok=True)
        super().__init__(_Ohne(os.environ | {"MOZ_HEADLESS": "1"}), ordner, "file://" + urllib.parse.quote(pfad))

    def tu(self, seite, skript):
        # The page's policy forbids eval.
        return self._frage("WebDriver:ExecuteScript", script=f"return {skript}", args=[], sandbox="default")

    def klicke(self, auswahl):
        element = self._frage("WebDriver:FindElement", using="css selector", value=auswahl)
        self._frage("WebDriver:ElementClick", id=next(iter(element.values())))


class Dateiseite(browser.Seite):

    def frage(self, was, **wie):
        return self.browser._frage(was, self, **wie)

    def skript_davor(self, text):
        self.frage("Page.addScriptToEvaluateOnNewDocument", source=text)

    def zeige_mit(self, breite, hoehe, dunkel, dichte=1.0, finger=False):
        self.frage("Emulation.setDeviceMetricsOverride", width=breite, height=hoehe, deviceScaleFactor=dichte,
                   mobile=finger)
        self.frage("Emulation.setTouchEmulationEnabled", enabled=finger, maxTouchPoints=5 if finger else 1)
        self.frage("Emulation.setEmulatedMedia", media="", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dunkel else "light"}])

    def warte(self, bedingung, was=None):
        """Until the JavaScript is true; its value."""
        werte = []

        def da():
            werte[:] = [self.tu(bedingung)]
            return werte[0]

        browser._warte(da, was or bedingung)
        return werte[0]

    def klagen(self):
        """Errors and warnings of the page, and what it has thrown."""
        gefunden = []
        for satz in list(self.browser.ereignisse):
            if satz.get("sessionId") != self.browser._sitzung(self):
                continue
            werte = satz["params"]
            if satz["method"] == "Runtime.exceptionThrown":
                gefunden.append(json.dumps(werte["exceptionDetails"])[:600])
            if satz["method"] == "Log.entryAdded" and werte["entry"]["level"] in ("error", "warning"):
                gefunden.append(werte["entry"]["text"])
            if satz["method"] == "Runtime.consoleAPICalled" and werte["type"] in ("error", "warning", "assert"):
                gefunden.append(json.dumps(werte["args"])[:600])
        return gefunden

    def anfragen(self):
        """Addresses that it has asked for."""
        return [satz["params"]["request"]["url"] for satz in list(self.browser.ereignisse)
                if satz["method"] == "Network.requestWillBeSent"
                and satz.get("sessionId") == self.browser._sitzung(self)]

    def bild(self, teil=None):
        """What is seen, as a PNG; or an element whole, also what of it is out of view."""
        wie = {}
        if teil:
            wie = {"captureBeyondViewport": True, "clip": {"scale": 1, **self.tu(f"""(() => {{
                const r = document.querySelector({json.dumps(teil)}).getBoundingClientRect();
                return {{x: r.left + scrollX, y: r.top + scrollY, width: r.width, height: r.height}} }})()""")}}
        return base64.b64decode(self.frage("Page.captureScreenshot", format="png", **wie)["data"])

    def ort(self, auswahl, x=0.5, y=0.5):
        """A place inside an element, by shares of its size, scrolled into view."""
        return self.tu(f"""(() => {{ const e = document.querySelector({json.dumps(auswahl)});
            e.scrollIntoView({{block: 'nearest'}}); const r = e.getBoundingClientRect();
            return [r.left + r.width * {x}, r.top + r.height * {y}] }})()""")

    def maus(self, art, x, y, **mehr):
        self.frage("Input.dispatchMouseEvent", type=art, x=x, y=y, **mehr)

    def klicke(self, auswahl, x=0.5, y=0.5, mal=1):
        ort = self.ort(auswahl, x, y)
        self.maus("mouseMoved", *ort)
        for n in range(1, mal + 1):
            for art in ("mousePressed", "mouseReleased"):
                self.maus(art, *ort, button="left", clickCount=n)

    def taste(self, name, text=None, umschalt=False):
        tasten = {" ": "Space"}
        for art in ("keyDown", "keyUp"):
            self.frage("Input.dispatchKeyEvent", type=art, key=name, code=tasten.get(name, name),
                       modifiers=8 if umschalt else 0,
                       **({"text": text or name} if art == "keyDown" and len(name) == 1 else {}))


def lies_png(daten):
    """The picture of a PNG of 8 bit RGB or RGBA as an array of heights, widths, colours."""
    assert daten[:8] == b"\x89PNG\r\n\x1a\n"
    stelle, roh = 8, b""
    while stelle < len(daten):
        laenge = int.from_bytes(daten[stelle:stelle + 4], "big")
        art, inhalt = daten[stelle + 4:stelle + 8], daten[stelle + 8:stelle + 8 + laenge]
        if art == b"IHDR":
            breite, hoehe = (int.from_bytes(inhalt[i:i + 4], "big") for i in (0, 4))
            assert inhalt[8] == 8 and inhalt[9] in (2, 6) and inhalt[12] == 0, "8 bit RGB or RGBA"
            tiefe = 3 if inhalt[9] == 2 else 4
        if art == b"IDAT":
            roh += inhalt
        stelle += 12 + laenge
    zeilen = numpy.frombuffer(zlib.decompress(roh), numpy.uint8).reshape(hoehe, 1 + breite * tiefe)
    bild = numpy.zeros((hoehe, breite * tiefe), numpy.uint8)
    davor = numpy.zeros(breite * tiefe, numpy.uint8)
    for i, (filter_, zeile) in enumerate(zip(zeilen[:, 0], zeilen[:, 1:])):
        bild[i] = davor = _entfiltert(int(filter_), zeile, davor, tiefe)
    return bild.reshape(hoehe, breite, tiefe)[:, :, :3]


def _entfiltert(filter_, zeile, davor, tiefe):
    if filter_ == 0:
        return zeile
    if filter_ == 2:
        return zeile + davor
    if filter_ == 1:
        return numpy.cumsum(zeile.reshape(-1, tiefe), axis=0, dtype=numpy.uint8).ravel()
    fertig = [0] * tiefe + zeile.tolist()
    oben = [0] * tiefe + davor.tolist()
    for i in range(tiefe, len(fertig)):
        a, b, c = fertig[i - tiefe], oben[i], oben[i - tiefe]
        if filter_ == 3:
            vorher = (a + b) // 2
        else:
            p = a + b - c
            vorher = min((abs(p - a), 0, a), (abs(p - b), 1, b), (abs(p - c), 2, c))[2]
        fertig[i] = (fertig[i] + vorher) & 255
    return numpy.array(fertig[tiefe:], numpy.uint8)


def schreibe_png(pfad, bild):
    """An array of heights, widths, three colours as a PNG, as small as zlib makes it."""
    hoehe, breite, _ = bild.shape
    differenz = bild.astype(numpy.int16)
    differenz[1:] -= bild[:-1]
    zeilen = numpy.concatenate([numpy.full((hoehe, 1), 2, numpy.uint8),
                                differenz.astype(numpy.uint8).reshape(hoehe, breite * 3)], axis=1)

    def teil(art, inhalt):
        return (len(inhalt).to_bytes(4, "big") + art + inhalt
                + zlib.crc32(art + inhalt).to_bytes(4, "big"))

    kopf = breite.to_bytes(4, "big") + hoehe.to_bytes(4, "big") + b"\x08\x02\0\0\0"
    with open(pfad, "wb") as datei:
        datei.write(b"\x89PNG\r\n\x1a\n" + teil(b"IHDR", kopf)
                    + teil(b"IDAT", zlib.compress(zeilen.tobytes(), 9)) + teil(b"IEND", b""))


def verkleinert(bild, faktor):
    """Each pixel the mean of a square."""
    hoehe, breite = (seite // faktor * faktor for seite in bild.shape[:2])
    return bild[:hoehe, :breite].reshape(hoehe // faktor, faktor, breite // faktor, faktor, 3).mean(
        axis=(1, 3)).round().astype(numpy.uint8)
