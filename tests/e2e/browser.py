"""Real browsers on a private screen, driven from outside: Chromium by its developer tools' pipe, Firefox
by Marionette. Their pages come from a server of the test's own; nothing goes to the network.

Both offer the same: oeffne() gives a Seite, in a tab or in a window of its own. Everything returns when
the browser has answered; only the recorder's events show that it is on the screen.
"""

import base64
import contextlib
import http.server
import json
import os
import shutil
import socket
import subprocess
import threading
import time
import urllib.parse

import prozesse

FRIST = 60.0  # for an answer: a browser's first start on a busy machine takes long
GROESSE = (1040, 700)

# A page of one colour with a bar that moves along its lower edge. A page that is not seen does not draw.
_SEITE = """<!doctype html><meta charset="utf-8"><title>%(titel)s</title>
<style>html { background: #%(farbe)s; height: 100%% }
body { margin: 4px 12px; font: 20px sans-serif; color: #fff }
div { position: fixed; bottom: 0; width: 80px; height: 10px; background: #fff }</style>
%(titel)s<div id="balken"></div>
<script>
// When it was last about to be drawn after it had been hidden, in seconds since 1970; and the longest time,
// in seconds, for which it stood still while it was to be seen.
let gezeigt = 0, stillstand = 0;
function zeigt() { requestAnimationFrame(() => { gezeigt = Date.now() / 1000 }) }
document.addEventListener("visibilitychange", () => { if (!document.hidden) zeigt() });
zeigt();
let schritt = 0, zuletzt = 0;
setInterval(() => {
  balken.style.left = (schritt = (schritt + 20) %% 600) + "px";
  const jetzt = performance.now() / 1000;
  if (zuletzt) stillstand = Math.max(stillstand, jetzt - zuletzt);
  zuletzt = document.hidden ? 0 : jetzt;
}, 50);
let klang, gehoert = 0;
async function toene(hertz) {
  klang = new AudioContext();
  const ton = new OscillatorNode(klang, { frequency: hertz });
  const leiser = new GainNode(klang, { gain: 0.3 });
  ton.connect(leiser).connect(klang.destination);
  ton.start();
  await klang.resume();
}
// From then on `gehoert` is the strongest frequency in the microphone, in Hz.
async function hoere() {
  const strom = await navigator.mediaDevices.getUserMedia({ audio: {
    echoCancellation: false, noiseSuppression: false, autoGainControl: false } });
  const ohr = new AudioContext();
  const blick = new AnalyserNode(ohr, { fftSize: 8192 });
  ohr.createMediaStreamSource(strom).connect(blick);
  await ohr.resume();
  const staerken = new Float32Array(blick.frequencyBinCount);
  setInterval(() => {
    blick.getFloatFrequencyData(staerken);
    const beste = staerken.indexOf(Math.max(...staerken));
    gehoert = staerken[beste] > -60 ? beste * ohr.sampleRate / blick.fftSize : 0;
  }, 100);
}
// A small window of its own, as meetings open one when their tab is left.
async function bildImBild(farbe) {
  const fenster = await documentPictureInPicture.requestWindow({ width: 480, height: 320 });
  fenster.document.documentElement.style.background = "#" + farbe;
  const balken = fenster.document.body.appendChild(fenster.document.createElement("div"));
  balken.style = "position:fixed;bottom:0;width:40px;height:6px;background:#fff";
  let ort = 0;
  fenster.setInterval(() => { balken.style.left = (ort = (ort + 10) %% 400) + "px" }, 50);
  // Until it has drawn itself, a window is what the browser makes of an empty one.
  for (let bild = 0; bild < 3; ++bild)
    await new Promise(weiter => fenster.requestAnimationFrame(weiter));
}
</script>"""


class BrowserFehler(Exception):
    """The browser did not answer, or said no."""


class Seitendienst:
    """Serves the pages on this computer. Use it as a context manager."""

    def __enter__(self):
        class Antwort(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                wunsch = dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(self.path).query))
                inhalt = (_SEITE % wunsch).encode() if {"titel", "farbe"} <= wunsch.keys() else b""
                self.send_response(200 if inhalt else 404)
                self.send_header("Content-Type", "text/html; charset=utf-8")
                self.send_header("Content-Length", str(len(inhalt)))
                self.end_headers()
                self.wfile.write(inhalt)

            def log_message(self, *_):
                pass

        self._dienst = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Antwort)
        threading.Thread(target=self._dienst.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self._dienst.shutdown()
        self._dienst.server_close()

    def adresse(self, titel, farbe):
        # By name: only "localhost" counts as safe enough for a microphone.
        return (f"http://localhost:{self._dienst.server_port}/?"
                + urllib.parse.urlencode({"titel": titel, "farbe": farbe}))


def _warte(bedingung, was):
    ende = time.monotonic() + FRIST
    while not bedingung():
        if time.monotonic() > ende:
            raise BrowserFehler(f"not there after {FRIST:g} s: {was}")
        time.sleep(0.05)


def _programm(*namen):
    for name in namen:
        if pfad := shutil.which(name):
            return pfad
    raise BrowserFehler(f"none of these is installed: {', '.join(namen)}")


class Browser:
    """`ordner` keeps the profile, so that a new one with the same folder is the browser started again."""

    def __init__(self, schirm, ordner):
        self._schirm = schirm
        self._ordner = ordner
        self._profil = os.path.join(ordner, "profil")
        os.makedirs(self._profil, exist_ok=True)
        # Nothing may be read from or written to the user's own settings.
        self._umgebung = schirm.umgebung | {"HOME": ordner}
        self._prozess = None

    def _starte(self, befehl, **popen):
        with open(os.path.join(self._ordner, "browser.log"), "ab") as protokoll:
            self._prozess = prozesse.starte(befehl, env=self._umgebung, stdin=subprocess.DEVNULL,
                                            stdout=protokoll, stderr=protokoll, **popen)

    def toete(self):
        """Ends it as a crash would, with all its processes."""
        if self._prozess is None:
            return
        for pid in [*prozesse.nachkommen(self._prozess.pid), self._prozess.pid]:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, 9)
        self._prozess.wait()
        self._prozess = None


class Seite:
    """A page in a browser. `tu` runs JavaScript as if the user had clicked, and returns its value."""

    def __init__(self, browser, nummer):
        self.browser = browser
        self.nummer = nummer

    def tu(self, skript):
        return self.browser.tu(self, skript)

    def vorn(self):
        """Brings its tab to the front. That a window comes to the front is up to the window manager,
        which may take it for an intrusion."""
        self.browser.vorn(self)

    def fenster(self, stand):
        """"minimized", "normal" or "fullscreen"."""
        self.browser.setze_fenster(self, stand)

    def schliesse(self):
        self.browser.schliesse(self)


# --- Chromium -------------------------------------------------------------------------------------

class Chromium(Browser):
    NAME = "Chromium"

    def __init__(self, schirm, ordner, adresse, *optionen):
        """With its first page open, of which erste() returns when it is there."""
        super().__init__(schirm, ordner)
        lies, antworte = os.pipe()
        frage, schreib = os.pipe()
        # The pipe is at 3 and 4, which Python leaves to nobody. Root may not use the sandbox.
        self._starte(
            ["bash", "-c", f'exec "$@" 3<&{frage} 4>&{antworte}', "bash",
             _programm("chromium", "chromium-browser"), "--remote-debugging-pipe", "--no-sandbox",
             "--test-type", f"--user-data-dir={self._profil}", "--no-first-run",
             "--no-default-browser-check", "--disable-background-networking", "--disable-component-update",
             "--disable-sync", "--disable-gpu", "--password-store=basic", "--hide-crash-restore-bubble",
             "--use-fake-ui-for-media-stream", "--autoplay-policy=no-user-gesture-required",
             *optionen,
             *(wort for wort in (adresse,) if wort)],
            pass_fds=(frage, antworte))
        os.close(frage)
        os.close(antworte)
        self._schreib = schreib
        self._neu = threading.Condition()
        self._antworten = {}
        self._zuletzt = 0
        self._zu = False
        self._sitzungen = {}
        threading.Thread(target=self._lies, args=(lies,), daemon=True).start()

    def _lies(self, lies):
        rest = b""
        while neu := os.read(lies, 65536):
            *saetze, rest = (rest + neu).split(b"\0")
            with self._neu:
                for satz in map(json.loads, saetze):
                    if "id" in satz:
                        self._antworten[satz["id"]] = satz
                    else:
                        self._ereignis(satz)
                self._neu.notify_all()
        os.close(lies)
        with self._neu:
            self._zu = True
            self._neu.notify_all()

    def _ereignis(self, satz):
        """What the browser reports of its own accord."""

    def _frage(self, was, seite=None, **wie):
        with self._neu:
            self._zuletzt += 1
            nummer = self._zuletzt
        satz = {"id": nummer, "method": was, "params": wie}
        if seite is not None:
            satz["sessionId"] = self._sitzung(seite)
        try:
            os.write(self._schreib, json.dumps(satz).encode() + b"\0")
        except OSError as fehler:
            raise BrowserFehler(f"{was}: {fehler}") from None
        with self._neu:
            self._neu.wait_for(lambda: nummer in self._antworten or self._zu, FRIST)
            antwort = self._antworten.pop(nummer, None)
        if antwort is None or "error" in antwort:
            raise BrowserFehler(f"{was}: {antwort['error'] if antwort else 'no answer'}")
        return antwort["result"]

    def _sitzung(self, seite):
        if seite.nummer not in self._sitzungen:
            self._sitzungen[seite.nummer] = self._frage(
                "Target.attachToTarget", targetId=seite.nummer, flatten=True)["sessionId"]
        return self._sitzungen[seite.nummer]

    def erste(self, titel):
        seite = self._geladen(lambda: next(
            (Seite(self, ziel["targetId"]) for ziel in self._frage("Target.getTargets")["targetInfos"]
             if ziel["type"] == "page" and ziel["url"].startswith("http")), None), titel)
        # An option of the command line would set the size of all its windows.
        self._setze_fenster(seite, left=60, top=40, width=GROESSE[0], height=GROESSE[1])
        return seite

    def oeffne(self, adresse, titel, fenster=False):
        nummer = self._frage("Target.createTarget", url=adresse, newWindow=fenster,
                             **(dict(zip(("width", "height"), GROESSE)) if fenster else {}))["targetId"]
        return self._geladen(lambda: Seite(self, nummer), titel)

    def _geladen(self, finde, titel):
        gefunden = []

        def da():
            seite = finde()
            with contextlib.suppress(BrowserFehler):  # between the empty page and the wanted one
                if seite and seite.tu("document.readyState + document.title") == "complete" + titel:
                    gefunden.append(seite)
            return gefunden

        _warte(da, f"the page {titel!r}")
        return gefunden[0]

    def tu(self, seite, skript):
        antwort = self._frage("Runtime.evaluate", seite, expression=skript, awaitPromise=True,
                              returnByValue=True, userGesture=True)
        if "exceptionDetails" in antwort:
            raise BrowserFehler(f"{skript}: {antwort['exceptionDetails']}")
        return antwort["result"].get("value")

    def vorn(self, seite):
        self._frage("Target.activateTarget", targetId=seite.nummer)

    def setze_fenster(self, seite, stand):
        self._setze_fenster(seite, windowState=stand)

    def _setze_fenster(self, seite, **wie):
        fenster = self._frage("Browser.getWindowForTarget", targetId=seite.nummer)["windowId"]
        self._frage("Browser.setWindowBounds", windowId=fenster, bounds=wie)

    def schliesse(self, seite):
        self._frage("Target.closeTarget", targetId=seite.nummer)
        self._sitzungen.pop(seite.nummer, None)

    def toete(self):
        super().toete()
        if self._schreib is not None:
            os.close(self._schreib)
            self._schreib = None

    def drucke(self, adresse, breite, hoehe):
        """A picture of a whole page that is not shown, as the bytes of a PNG."""
        nummer = self._frage("Target.createTarget", url=adresse, newWindow=True, width=breite,
                             height=hoehe)["targetId"]
        seite = Seite(self, nummer)
        _warte(lambda: seite.tu("document.readyState") == "complete" and
               seite.tu("location.href") != "about:blank", adresse)
        bild = self._frage("Page.captureScreenshot", seite, format="png", captureBeyondViewport=True)
        return base64.b64decode(bild["data"])


# --- Firefox --------------------------------------------------------------------------------------

_VORGABEN = {
    "marionette.port": 0, "browser.shell.checkDefaultBrowser": False, "browser.aboutwelcome.enabled": False,
    "browser.startup.homepage_override.mstone": "ignore", "datareporting.policy.dataSubmissionEnabled": False,
    "toolkit.telemetry.reportingpolicy.firstRun": False, "app.normandy.enabled": False,
    "browser.sessionstore.resume_from_crash": False, "toolkit.startup.max_resumed_crashes": -1,
    "network.captive-portal-service.enabled": False, "network.connectivity-service.enabled": False,
    "extensions.update.enabled": False, "browser.safebrowsing.malware.enabled": False,
    "browser.safebrowsing.phishing.enabled": False, "services.settings.server": "http://localhost:1",
    "browser.tabs.warnOnClose": False, "browser.warnOnQuit": False, "gfx.webrender.software": True,
    # A page may play and listen without being asked.
    "media.autoplay.default": 0, "media.navigator.permission.disabled": True,
    "full-screen-api.warning.timeout": 0, "ui.prefersReducedMotion": 1,
    "browser.tabs.firefox-view": False, "termsofuse.bypassNotification": True,
}


class Firefox(Browser):
    NAME = "Firefox"

    def __init__(self, schirm, ordner, adresse):
        super().__init__(schirm, ordner)
        with open(os.path.join(self._profil, "user.js"), "w", encoding="ascii") as datei:
            for name, wert in _VORGABEN.items():
                datei.write(f"user_pref({json.dumps(name)}, {json.dumps(wert)});\n")
        hafen = os.path.join(self._profil, "MarionetteActivePort")
        with contextlib.suppress(FileNotFoundError):
            os.unlink(hafen)
        self._starte([_programm("firefox-esr", "firefox"), "--marionette", "--no-remote", "--profile",
                      self._profil, "--width", str(GROESSE[0]), "--height", str(GROESSE[1]), "about:blank"])
        self._naht = None
        self._rest = b""
        self._zuletzt = 0
        self._vorn = None
        _warte(lambda: self._verbinde(hafen), "Firefox")
        self._frage("WebDriver:NewSession", capabilities={"alwaysMatch": {
            "pageLoadStrategy": "normal", "unhandledPromptBehavior": "ignore"}})
        self._adresse = adresse

    def _verbinde(self, hafen):
        if self._prozess.poll() is not None:
            raise BrowserFehler(f"Firefox ended with {self._prozess.returncode}")
        try:
            with open(hafen, encoding="ascii") as datei:
                self._naht = socket.create_connection(("127.0.0.1", int(datei.read())), FRIST)
        except (OSError, ValueError):
            return False
        self._satz()  # its greeting
        return True

    def _satz(self):
        while b":" not in self._rest:
            self._hole()
        laenge, _, self._rest = self._rest.partition(b":")
        while len(self._rest) < int(laenge):
            self._hole()
        satz, self._rest = self._rest[:int(laenge)], self._rest[int(laenge):]
        return json.loads(satz)

    def _hole(self):
        neu = self._naht.recv(65536)
        if not neu:
            raise BrowserFehler("Firefox has closed the connection")
        self._rest += neu

    def _frage(self, was, **wie):
        self._zuletzt += 1
        satz = json.dumps([0, self._zuletzt, was, wie]).encode()
        self._naht.sendall(str(len(satz)).encode() + b":" + satz)
        _, nummer, fehler, ergebnis = self._satz()
        if fehler or nummer != self._zuletzt:
            raise BrowserFehler(f"{was}: {fehler}")
        return ergebnis.get("value") if isinstance(ergebnis, dict) and "value" in ergebnis else ergebnis

    def erste(self, titel):
        seite = Seite(self, self._frage("WebDriver:GetWindowHandle"))
        self._lade(seite, self._adresse)
        self._frage("WebDriver:SetWindowRect", width=GROESSE[0], height=GROESSE[1])
        return seite

    def oeffne(self, adresse, titel, fenster=False):
        neu = self._frage("WebDriver:NewWindow", type="window" if fenster else "tab", focus=True)
        seite = Seite(self, neu["handle"])
        self._lade(seite, adresse)
        if fenster:
            self._frage("WebDriver:SetWindowRect", width=GROESSE[0], height=GROESSE[1])
        return seite

    def _lade(self, seite, adresse):
        self.vorn(seite)
        self._frage("WebDriver:Navigate", url=adresse)

    def tu(self, seite, skript):
        self._frage("WebDriver:SwitchToWindow", handle=seite.nummer, focus=False)
        return self._frage("WebDriver:ExecuteScript", script=f"return window.eval({json.dumps(skript)})",
                           args=[], sandbox=None)

    def vorn(self, seite):
        self._frage("WebDriver:SwitchToWindow", handle=seite.nummer, focus=True)

    def setze_fenster(self, seite, stand):
        self._frage("WebDriver:SwitchToWindow", handle=seite.nummer, focus=False)
        if stand == "normal":
            self._frage("WebDriver:SetWindowRect", width=GROESSE[0], height=GROESSE[1])
        else:
            self._frage({"minimized": "WebDriver:MinimizeWindow",
                         "fullscreen": "WebDriver:FullscreenWindow"}[stand])

    def schliesse(self, seite):
        self._frage("WebDriver:SwitchToWindow", handle=seite.nummer, focus=False)
        self._frage("WebDriver:CloseWindow")

    def toete(self):
        super().toete()
        if self._naht is not None:
            self._naht.close()
            self._naht = None
