#!/usr/bin/python3
"""How good the film's pictures are, beside ffmpeg's at the same bit rate.

    bench/bildguete.py [--seconds 20] [--crops FOLDER] [--keep FOLDER] [--scene NAME] [--option NAME=VALUE...]

Three scenes of 1280 x 800, 15 pictures a second: a page of small text that is scrolled now and then,
slides that change, a head that moves before a still room, with the noise of a camera. The recorder's
writer and ffmpeg (libx264 veryfast, as in gegen_ffmpeg.py) get the same pictures, and ffmpeg the bit rate that
the recorder's film came out with; each film
is decoded and compared with them. SSIM is of the three colours, at every picture time, 1 is equal. Seconds
are of the processor, from the raw pictures to the file; the recorder's leave out pictures that equal the one
before. --option adds to the recorder's settings of libx264, such as preset=veryfast.
--crops writes a part of each film at full size: the source, hallkorb, ffmpeg, side by side.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile

import numpy

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PROGRAMM = os.path.join(WURZEL, "build", "release", "bench", "bildguete")
BREITE, HOEHE, RATE = 1280, 800, 15
ROH = ["-f", "rawvideo", "-pix_fmt", "bgr0", "-s", f"{BREITE}x{HOEHE}", "-r", str(RATE)]
WORTE = ("Die Besprechung begann um zehn Uhr. Zum ersten Punkt wurde berichtet, dass der Verbrauch der neuen "
         "Anlage um ein Fünftel niedriger liegt als erwartet (Tabelle 3, Seite 17); die Zahlen des letzten "
         "Quartals fehlen noch. Über den zweiten Punkt wird am Donnerstag entschieden. ").split()


def zeichne(hoehe, grund, *texte):
    """A picture with lines of text: (text, size, x, y, colour)."""
    filter_ = []
    with tempfile.TemporaryDirectory() as ordner:
        for nummer, (text, groesse, x, y, farbe) in enumerate(texte):
            pfad = os.path.join(ordner, str(nummer))
            with open(pfad, "w", encoding="utf-8") as datei:
                datei.write(text)
            filter_.append(f"drawtext=textfile={pfad}:font=Sans:fontsize={groesse}:x={x}:y={y}:"
                           f"fontcolor={farbe}:line_spacing=4")
        roh = subprocess.run(
            ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"color={grund}:s={BREITE}x{hoehe}", "-vf",
             ",".join(["format=gbrp", *filter_]), "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "bgr0",
             "-"], check=True, capture_output=True).stdout
    return numpy.frombuffer(roh, numpy.uint8).reshape(hoehe, BREITE, 4)


def textseite(bilder):
    """Small text, scrolled by a few lines every three seconds, with a cursor that blinks."""
    zeilen, zeile = [], ""
    for nummer in range(2000):
        wort = WORTE[nummer * 7 % len(WORTE)]
        if len(zeile) + len(wort) > 150:
            zeilen.append(zeile)
            zeile = ""
        zeile += wort + " "
    hoch = zeichne(2000, "white", ("\n".join(zeilen), 13, 40, 20, "black"))
    for nummer in range(bilder):
        ab = nummer // (3 * RATE) * 51
        bild = hoch[ab:ab + HOEHE].copy()
        if nummer // 8 % 2:
            bild[400:416, 600:602] = 0
        yield bild


def folien(bilder):
    """A slide every four seconds: a title, points, a shaded area and a chart."""
    alle = []
    for nummer in range(6):
        punkte = "\n\n".join(f"• {' '.join(WORTE[(nummer * 11 + i * 5) % 30:][:6])}" for i in range(5))
        bild = zeichne(HOEHE, ("white", "0x10243E", "0xF4F0E4")[nummer % 3],
                       (f"{nummer + 1}. {WORTE[nummer * 3]} {WORTE[nummer * 3 + 1]}", 48, 70, 60,
                        ("0x1E4FA0", "white", "0x803010")[nummer % 3]),
                       (punkte, 26, 80, 190, ("black", "0xE0E8F0", "black")[nummer % 3])).copy()
        bild[120:126, 70:1210, :3] = (0x30, 0x80, 0xE0)
        verlauf = numpy.linspace(40, 220, 380)[:, None] * numpy.ones(300)
        bild[300:680, 900:1200, nummer % 3] = verlauf
        for saeule in range(6):
            hoehe = 60 + (saeule * 67 + nummer * 41) % 260
            bild[680 - hoehe:680, 915 + saeule * 46:945 + saeule * 46, :3] = (40 * saeule, 90, 230 - 30 * saeule)
        alle.append(bild)
    for nummer in range(bilder):
        yield alle[nummer // (4 * RATE) % len(alle)]


def kopf(bilder):
    """A head that nods, turns and speaks, before a still room; every pixel with a camera's noise."""
    zufall = numpy.random.default_rng(7)
    y, x = numpy.mgrid[0:HOEHE, 0:BREITE].astype(numpy.float32)
    raum = numpy.stack([90 + 40 * numpy.sin(x / 170), 100 + 30 * numpy.sin(y / 130 + x / 400),
                        120 + 30 * numpy.cos(y / 210)], axis=2)
    raum[100:360, 150:330] = (160, 140, 120)
    raum[130:330, 165:315] = (200, 210, 215)
    haut_muster = zufall.normal(0, 6, (HOEHE, BREITE)).astype(numpy.float32)
    for nummer in range(bilder):
        zeit = nummer / RATE
        mx = 640 + 45 * numpy.sin(zeit * 1.3) + 12 * numpy.sin(zeit * 4.1)
        my = 380 + 18 * numpy.sin(zeit * 2.2)
        bild = raum.copy()
        schulter = ((x - mx) / 330) ** 2 + ((y - 900) / 300) ** 2 < 1
        bild[schulter] = (110, 60, 40)
        u, v = (x - mx) / 150, (y - my) / 200
        gesicht = u ** 2 + v ** 2 < 1
        licht = 1 - 0.35 * (u + 0.4) ** 2 - 0.2 * v ** 2
        muster = numpy.roll(haut_muster, (int(my) - 380, int(mx) - 640), (0, 1))
        for kanal, wert in enumerate((135, 165, 220)):
            bild[..., kanal][gesicht] = (wert * licht + muster)[gesicht]
        bild[(u ** 2 + (v + 0.35) ** 2 < 1.05) & (v < -0.55)] = (30, 40, 55)
        auf = 0.05 + 0.06 * abs(numpy.sin(zeit * 7.5))
        bild[((u / 0.35) ** 2 + ((v - 0.5) / auf) ** 2) < 1] = (60, 40, 120)
        for seite in (-0.38, 0.38):
            bild[((u - seite) / 0.16) ** 2 + ((v + 0.15) / 0.07) ** 2 < 1] = (235, 235, 235)
            bild[((u - seite - 0.05 * numpy.sin(zeit)) / 0.06) ** 2 + ((v + 0.15) / 0.065) ** 2 < 1] = (50, 35, 25)
        bild += zufall.normal(0, 2.0, (HOEHE, BREITE, 1))
        fertig = numpy.zeros((HOEHE, BREITE, 4), numpy.uint8)
        fertig[..., :3] = numpy.clip(bild, 0, 255)
        yield fertig


# Name -> (its pictures, x and y of the crop, the second from which it is).
SZENEN = {"page of small text": (textseite, 40, 300, 10.5), "slides": (folien, 60, 40, 5.0),
          "moving head": (kopf, 500, 220, 10.0)}
AUSSCHNITT = (240, 160)


def erzeuge(szene, sekunden, pfad):
    with subprocess.Popen(["ffmpeg", "-v", "error", "-y", *ROH, "-i", "-", "-c:v", "libx264rgb", "-qp", "0",
                           "-preset", "ultrafast", pfad], stdin=subprocess.PIPE) as lauf:
        for bild in szene(round(sekunden * RATE)):
            lauf.stdin.write(numpy.ascontiguousarray(bild).tobytes())
        lauf.stdin.close()
    if lauf.returncode:
        sys.exit("ffmpeg cannot write the scene")


def kodiere(quelle, befehl):
    """Gives the scene's raw pictures to a program; the processor seconds that it takes."""
    with subprocess.Popen(["ffmpeg", "-v", "error", "-i", quelle, *ROH[:4], "-"],
                          stdout=subprocess.PIPE) as roh:
        prozess = subprocess.Popen(befehl, stdin=roh.stdout)
        _, stand, verbrauch = os.wait4(prozess.pid, 0)
        prozess.returncode = os.waitstatus_to_exitcode(stand)
        if prozess.returncode:
            sys.exit(f"{befehl[0]} failed")
    return verbrauch.ru_utime + verbrauch.ru_stime


def kbit(pfad, sekunden):
    return os.path.getsize(pfad) * 8 / 1000 / sekunden


def filme(quelle, ordner, optionen, sekunden):
    """The two films, as (path, how its colours were made, processor seconds)."""
    eigener, anderer = (os.path.join(ordner, name) for name in ("hallkorb.mp4", "ffmpeg.mp4"))
    verbrauch = kodiere(quelle, [PROGRAMM, eigener, *optionen])
    rate = f"{kbit(eigener, sekunden):.0f}k"
    ihr_befehl = ["ffmpeg", "-v", "error", "-y", *ROH, "-i", "-", "-vf", "scale=1280:800", "-c:v", "libx264",
                  "-preset", "veryfast", "-profile:v", "main", "-pix_fmt", "yuv420p", "-b:v", rate, "-g",
                  "30", anderer]
    return [(eigener, "bt709", verbrauch), (anderer, "bt601", kodiere(quelle, ihr_befehl))]


def farbig(matrix):
    return f"fps={RATE}:round=near,scale=in_color_matrix={matrix}:in_range=tv:out_range=pc,format=gbrp"


def ssim(film, matrix, quelle):
    """(mean, the worst picture's)."""
    with tempfile.NamedTemporaryFile() as werte:
        subprocess.run(["ffmpeg", "-v", "error", "-i", film, "-i", quelle, "-lavfi",
                        f"[0:v]{farbig(matrix)}[a];[1:v]format=gbrp[b];[a][b]ssim=stats_file={werte.name}",
                        "-f", "null", "-"], check=True)
        alle = [float(wert) for wert in re.findall(r"All:([0-9.]+)", werte.read().decode())]
    return sum(alle) / len(alle), min(alle)


def ausschnitt(quelle, gedreht, x, y, zeit, ziel):
    """The same part of the source and of both films, side by side."""
    b, h = AUSSCHNITT
    stellen = [(quelle, "format=gbrp")] + [(pfad, farbig(matrix)) for pfad, matrix, _ in gedreht]
    eingaben = [wort for pfad, _ in stellen for wort in ("-i", pfad)]
    ketten = ";".join(f"[{i}:v]{kette},select=gte(t\\,{zeit}),crop={b}:{h}:{x}:{y}[s{i}]"
                      for i, (_, kette) in enumerate(stellen))
    subprocess.run(["ffmpeg", "-v", "error", "-y", *eingaben, "-lavfi",
                    f"{ketten};[s0][s1][s2]hstack=3,format=rgb24", "-frames:v", "1", "-compression_level",
                    "9", ziel], check=True)


def lauf(wahl):
    print("| Scene | hallkorb | kbit/s | s | ffmpeg | kbit/s | s |\n|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as halter:
        for name, (szene, x, y, zeit) in SZENEN.items():
            if wahl.scene and wahl.scene not in name:
                continue
            ordner = os.path.join(wahl.keep or halter, name.replace(" ", "-"))
            os.makedirs(ordner, exist_ok=True)
            quelle = os.path.join(ordner, "quelle.mkv")
            if not os.path.exists(quelle):
                erzeuge(szene, wahl.seconds, quelle)
            gedreht = filme(quelle, ordner, wahl.option, wahl.seconds)
            zellen = []
            for pfad, matrix, verbrauch in gedreht:
                mittel, schlechtestes = ssim(pfad, matrix, quelle)
                zellen.append(f"{mittel:.4f} (worst {schlechtestes:.4f}) | {kbit(pfad, wahl.seconds):.0f} | "
                              f"{verbrauch:.2f}")
            print(f"| {name} | {' | '.join(zellen)} |", flush=True)
            if wahl.crops:
                os.makedirs(wahl.crops, exist_ok=True)
                ausschnitt(quelle, gedreht, x, y, min(zeit, wahl.seconds - 1),
                           os.path.join(wahl.crops, name.replace(" ", "-") + ".png"))


if __name__ == "__main__":
    _leser = argparse.ArgumentParser()
    _leser.add_argument("--seconds", type=float, default=20.0)
    _leser.add_argument("--crops", help="a folder for pictures side by side")
    _leser.add_argument("--keep", help="a folder that keeps scenes and films, and takes scenes from there")
    _leser.add_argument("--scene", help="only those whose name has this")
    _leser.add_argument("--option", action="append", default=[], metavar="NAME=VALUE")
    lauf(_leser.parse_args())
