"""Makes a recorded folder of any length without recording: python3 tests/e2e/kunstordner.py FOLDER [SECONDS]

Two people take turns, with pauses, interruptions and an echo of the one in the raw microphone of the
other; the lines are those that a recorder would have written. Everything is seeded. Three hours take
about 700 MB.
"""

import json
import os
import subprocess
import sys

import numpy

RATE = 16000
NULL_UNIX_MS = 1774008180123  # 20 March 2026, 12:03 UTC
TITEL = ("Zoom · Zoom Meeting", "Firefox · Meet – abc-defg-hij", "Zoom · Quarterly numbers – shared screen")


def _sprache(zufall, sekunden, hoehe):
    """Something that looks like speech: syllables of a buzz and noise, in phrases."""
    n = int(sekunden * RATE)
    t = numpy.arange(n) / RATE
    ton = sum(numpy.sin(2 * numpy.pi * hoehe * k * t + zufall.uniform(0, 6)) / k for k in range(1, 9))
    huelle = numpy.zeros(n)
    stelle = 0.05
    while stelle < sekunden - 0.1:
        dauer = zufall.uniform(0.1, 0.28)
        a, b = int(stelle * RATE), min(int((stelle + dauer) * RATE), n)
        huelle[a:b] = numpy.hanning(max(b - a, 1)) * zufall.uniform(0.35, 1.0)
        stelle += dauer * zufall.uniform(0.7, 1.1) + (zufall.uniform(0.15, 0.4) if zufall.random() < 0.12 else 0)
    return (ton + zufall.standard_normal(n) * 0.5) * huelle * 0.085


def _turns(zufall, ende):
    """(channel, begin, end) of what is spoken, by its begin."""
    t, wer = 1.2, "them"
    while t < ende - 3.0:
        dauer = min(float(zufall.uniform(1.8, 14.0)), ende - 1.0 - t)
        yield wer, t, t + dauer
        if zufall.random() < 0.2:  # the other one agrees in between
            yield "me" if wer == "them" else "them", t + dauer * 0.5, t + dauer * 0.5 + 1.4
        t += dauer + float(zufall.choice([-0.4, 0.3, 0.7, 2.5, 6.0], p=[0.15, 0.3, 0.3, 0.15, 0.1]))
        wer = "me" if wer == "them" else "them"


def _schreibe(pfad, samples):
    daten = (numpy.clip(samples, -1, 1) * 32767).astype("<i2").tobytes()
    kopf = (b"RIFF" + (len(daten) + 36).to_bytes(4, "little") + b"WAVEfmt " + (16).to_bytes(4, "little")
            + b"\1\0\1\0" + RATE.to_bytes(4, "little") + (RATE * 2).to_bytes(4, "little") + b"\2\0\x10\0data"
            + len(daten).to_bytes(4, "little"))
    with open(pfad, "wb") as datei:
        datei.write(kopf + daten)


def _kacheln(breite=640, hoehe=400):
    """A meeting of four, as rows of RGB."""
    y, x = numpy.mgrid[0:2 * hoehe, 0:2 * breite] / 2.0
    bild = numpy.full((2 * hoehe, 2 * breite, 3), (22, 27, 34), numpy.float32)
    for i, farbe in enumerate(((67, 97, 112), (112, 90, 70), (83, 78, 112), (78, 104, 84))):
        mitte_x, mitte_y = breite * (0.25 + 0.5 * (i % 2)), hoehe * (0.25 + 0.5 * (i // 2))
        dx, dy = abs(x - mitte_x), abs(y - mitte_y)
        bild[(dx < breite * 0.24) & (dy < hoehe * 0.235)] = (108, 195, 213) if i == 1 else (22, 27, 34)
        innen = (dx < breite * 0.235) & (dy < hoehe * 0.227)
        bild[innen] = farbe
        hell = [min(255, wert * 1.7) for wert in farbe]
        bild[(dx ** 2 + (y - mitte_y + 14) ** 2 < 30 ** 2)] = hell
        bild[innen & ((dx / 58) ** 2 + ((y - mitte_y - 92) / 62) ** 2 < 1)] = hell
    return bild.reshape(hoehe, 2, breite, 2, 3).mean(axis=(1, 3)).round().astype(numpy.uint8)


def _video(ordner, sekunden):
    """A film of one picture a second, which is small: a meeting, and a bar that moves."""
    bild = _kacheln()
    befehl = ["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "rgb24", "-video_size",
              f"{bild.shape[1]}x{bild.shape[0]}", "-framerate", "1", "-i", "pipe:0", "-f", "lavfi", "-i",
              "color=0x6cc3d5:size=40x4:rate=1", "-filter_complex",
              f"[0]loop=loop=-1:size=1[a];[a][1]overlay=x='mod(t*8,600)':y=394,trim=duration={sekunden:.0f}",
              "-c:v", "libx264", "-preset", "ultrafast", "-crf", "26", "-g", "10", "-pix_fmt", "yuv420p", "-movflags",
              "+faststart", os.path.join(ordner, "video.mp4")]
    subprocess.run(befehl, check=True, input=bild.tobytes())


def baue(ordner, sekunden, video=True):
    """The folder; returns its lines as objects."""
    os.makedirs(ordner, exist_ok=True)
    zufall = numpy.random.default_rng(20260320)
    vorrat = {kanal: [_sprache(zufall, 15.0, hoehe) for _ in range(6)]
              for kanal, hoehe in (("me", 118.0), ("them", 176.0))}
    saetze = [{"event": "started", "mic": True, "system": True, "video": video, "echo": True,
               "null_unix_ms": NULL_UNIX_MS}]
    roh = numpy.zeros(int(sekunden * RATE), dtype=numpy.float32)
    roh += zufall.standard_normal(len(roh), dtype=numpy.float32) * 0.0012
    nummern = {"me": 0, "them": 0}
    bis = {"me": 0.0, "them": 0.0}
    for kanal, von, ende in _turns(zufall, sekunden):
        von = max(von, bis[kanal])
        while von < ende - 0.5:
            t1 = round(min(von + float(zufall.uniform(2.0, 6.0)), ende), 2)
            t0 = round(von, 2)
            n = round(t1 * RATE) - round(t0 * RATE)
            ton = vorrat[kanal][zufall.integers(6)][:n]
            name = f"chunk_{kanal}_{nummern[kanal]:03d}.wav"
            _schreibe(os.path.join(ordner, name), ton)
            laut, spaet = (1.0, 0) if kanal == "me" else (0.35, int(0.082 * RATE))
            a = round(t0 * RATE) + spaet
            stueck = roh[a:a + len(ton)]
            stueck += ton[:len(stueck)] * laut
            saetze.append({"chunk": nummern[kanal], "channel": kanal, "path": os.path.join(ordner, name),
                           "t0": t0, "t1": t1,
                           **({"sprache_ms": int((t1 - t0) * 820)} if kanal == "me" else {})})
            nummern[kanal] += 1
            von = bis[kanal] = t1
    _schreibe(os.path.join(ordner, "mikro_roh.wav"), roh)
    if video:
        wechsel = [(0.05, 0), (0.32, 1), (0.41, None), (0.47, 2), (0.8, 0)]
        for anteil, titel in wechsel:
            t = round(anteil * sekunden, 1)
            saetze.append({"event": "video_pause", "message": "Fenster ist weg", "t_s": t} if titel is None else
                          {"event": "video_start" if anteil == 0.05 else "video_wechsel", "quelle": TITEL[titel],
                           "art": "fenster", "rang": 1, "grund": "Meeting", "t_s": t})
        bilder = int(sekunden * 0.93)
        _video(ordner, bilder)
        saetze.append({"event": "video", "path": os.path.join(ordner, "video.mp4"), "frames": bilder,
                       "quelle": TITEL[0]})
    bloecke = int(sekunden * 62.5)
    saetze.append({"event": "echo", "verzoegerung_ms": 81.9, "versatz_bloecke": 5, "versatz_wechsel": 1,
                   "leck": 0.034, "tor_anteil": 0.41, "nah_anteil": 0.38, "vg_kopien": 120, "hg_reset": 2,
                   "resets": 0, "ohne_referenz": 0, "ausfaelle": 0, "bloecke": bloecke,
                   "chunks_ohne_sprache": 7})
    saetze.append({"event": "zeitachse", "them": {"luecken": 0, "luecken_ms": 0.0, "ueberlappungen": 0,
                                                  "verworfen_ms": 0.0},
                   "me": {"luecken": 1, "luecken_ms": 42.0, "ueberlappungen": 0, "verworfen_ms": 0.0}})
    saetze.append({"event": "done"})
    schreibe_zeilen(ordner, saetze)
    return saetze


def schreibe_zeilen(ordner, saetze):
    with open(os.path.join(ordner, "ereignisse.jsonl"), "w", encoding="utf-8") as datei:
        for satz in saetze:
            datei.write(json.dumps(satz, ensure_ascii=False, separators=(",", ":")) + "\n")


if __name__ == "__main__":
    baue(sys.argv[1], float(sys.argv[2]) if len(sys.argv) > 2 else 3 * 3600.0)
