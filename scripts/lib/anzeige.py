#!/usr/bin/python3
"""Shows the recorder's lines to a person.

Class Anzeige takes the lines of both streams as they come. On a terminal the last line always shows
the state of the recording: elapsed time, and for each channel the chunk files and the seconds of
speech in them. Elsewhere (a log file, a pipe) every chunk gets a line of its own instead. As a
program it reads the lines from its standard input:

    hallkorb --out /tmp/x 2>&1 | scripts/lib/anzeige.py
"""

import json
import select
import shutil
import sys
import time

NAMEN = {"me": "microphone", "them": "system audio"}


class Anzeige:
    """Not for more than one thread. `uhr` gives seconds."""

    def __init__(self, ausgabe=None, *, terminal=None, uhr=time.monotonic):
        self._ausgabe = ausgabe or sys.stdout
        self._terminal = self._ausgabe.isatty() if terminal is None else terminal
        self._uhr = uhr
        self._anfang = uhr()
        self._status_steht = False
        self.chunks = {"me": 0, "them": 0}
        self.sekunden = {"me": 0.0, "them": 0.0}
        self.laeuft = False
        self.fertig = False

    def zeile(self, text):
        """One line of the recorder, from whichever stream."""
        text = text.rstrip("\n")
        if not text:
            return
        try:
            satz = json.loads(text)
        except ValueError:
            satz = None
        if not isinstance(satz, dict):
            self.melde(text)
        elif "chunk" in satz:
            self._chunk(satz)
        else:
            self._ereignis(satz)
        self.takt()

    def melde(self, text):
        """A line that stays, with the time in front."""
        self._loesche_status()
        self._schreibe(f"{self._vergangen()}  {text}\n")
        self.takt()

    def takt(self):
        """Brings the status line up to date; to be called about once a second."""
        if not self._terminal or not self.laeuft or self.fertig:
            return
        breite = shutil.get_terminal_size().columns - 1
        teile = [f"{kanal}: {self._stand(kanal)}" for kanal in ("me", "them")]
        status = f"{self._vergangen()}  " + " | ".join(teile)
        self._schreibe("\r\033[K" + status[:breite])
        self._status_steht = True

    def _chunk(self, satz):
        kanal = satz.get("channel", "?")
        dauer = satz.get("t1", 0.0) - satz.get("t0", 0.0)
        sprache = satz["sprache_ms"] / 1000.0 if "sprache_ms" in satz else dauer
        self.chunks[kanal] = self.chunks.get(kanal, 0) + 1
        self.sekunden[kanal] = self.sekunden.get(kanal, 0.0) + sprache
        if not self._terminal:
            name = satz.get("path", "").rsplit("/", 1)[-1]
            self.melde(f"{kanal:4}  {satz.get('t0', 0.0):7.2f} to {satz.get('t1', 0.0):7.2f} s  {name}"
                       f"  (so far {self._stand(kanal)})")

    def _ereignis(self, satz):
        art = satz.get("event", "?")
        rest = {name: wert for name, wert in satz.items() if name not in ("event", "null_unix_ms")}
        if art == "started":
            self._anfang = self._uhr()
            self.laeuft = True
            da = [text for name, text in (("mic", "microphone"), ("system", "system audio"),
                                          ("video", "video"), ("echo", "echo cancellation")) if satz.get(name)]
            self.melde("started: " + ", ".join(da))
        elif art in ("degraded", "error"):
            kanal = satz.get("channel")
            was = f"{NAMEN.get(kanal, kanal)} missing" if kanal else art
            self.melde(f"{was}: {satz.get('message', '')}")
        elif art in ("video_start", "video_wechsel"):
            self.melde(f"picture: {satz.get('quelle', '')} ({satz.get('grund', '')})")
        elif art in ("video_pause", "video_none"):
            self.melde(f"no picture: {satz.get('message', '')}")
        elif art == "done":
            self.fertig = True
            self.melde("done")
        elif art == "zeitachse":
            for name, bericht in rest.items():
                self.melde(f"timeline {name}: {bericht['luecken']} gaps ({bericht['luecken_ms']} ms), "
                           f"{bericht['ueberlappungen']} overlaps ({bericht['verworfen_ms']} ms dropped)")
        else:
            werte = ", ".join(f"{name} {wert}" for name, wert in rest.items())
            self.melde(f"{art}: {werte}" if werte else art)

    def _stand(self, kanal):
        anzahl = self.chunks[kanal]
        return f"{anzahl} chunk{'' if anzahl == 1 else 's'}, {self.sekunden[kanal]:.1f} s of speech"

    def _vergangen(self):
        sekunden = int(self._uhr() - self._anfang)
        return f"{sekunden // 60:02d}:{sekunden % 60:02d}"

    def _loesche_status(self):
        if self._status_steht:
            self._schreibe("\r\033[K")
            self._status_steht = False

    def _schreibe(self, text):
        try:
            self._ausgabe.write(text)
            self._ausgabe.flush()
        except OSError:  # nobody looks any more; the recording must not suffer from that
            self._terminal = False


def _hauptteil():
    anzeige = Anzeige()
    puffer = b""
    eingabe = sys.stdin.buffer.raw
    while True:
        if select.select([eingabe], [], [], 1.0)[0]:
            neu = eingabe.read(65536)
            if not neu:
                break
            *zeilen, puffer = (puffer + neu).split(b"\n")
            for zeile in zeilen:
                anzeige.zeile(zeile.decode("utf-8", "replace"))
        anzeige.takt()
    if puffer:
        anzeige.zeile(puffer.decode("utf-8", "replace"))


if __name__ == "__main__":
    try:
        _hauptteil()
    except KeyboardInterrupt:
        pass
