#!/usr/bin/python3
"""Shows that an installed hallkorb works: an offline mode, and a recording in a private session.

    scripts/lib/probe.py FOLDER     the folder of the programs, e.g. /usr/bin

Two noises that come and go are played, one into the speakers and one into the microphone. When a chunk
of each has been announced, the recording is stopped, and hallkorb-sitzung checks the folder with the lines.
Needs nothing but what a private session needs. Closing line: "N passed, N failed".
"""

import array
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import wave

import prozesse
import tonanlage

RATE = 48000
SEKUNDEN = 60


def schreibe_rauschen(pfad, saat):
    """Bursts of 0.9 s of noise with 0.9 s of silence after each, so that there are pauses to cut in."""
    zufall = random.Random(saat)
    stoss = array.array("h", (int(zufall.gauss(0, 3000)) for _ in range(int(0.9 * RATE))))
    if sys.byteorder == "big":
        stoss.byteswap()
    with wave.open(pfad, "wb") as datei:
        datei.setparams((1, 2, RATE, 0, "NONE", ""))
        for _ in range(int(SEKUNDEN / 1.8)):
            datei.writeframesraw(stoss.tobytes() + bytes(2 * len(stoss)))


def fuehre_aus(*befehl):
    lauf = prozesse.starte(befehl, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    ausgabe, klagen = (teil.decode("utf-8", "replace") for teil in lauf.communicate())
    if lauf.returncode:
        raise RuntimeError(f"$ {' '.join(befehl)} ended with {lauf.returncode}\n{ausgabe}{klagen}")
    return ausgabe


def zeitachse(programme, _):
    zeilen = fuehre_aus(os.path.join(programme, "hallkorb"), "--zeitachse-test").splitlines()
    if [json.loads(zeile)["ueberlappungen"] for zeile in zeilen] != [0] * 4:
        raise RuntimeError(f"--zeitachse-test: {zeilen}")


def aufnahme(programme, ordner):
    """Records until each channel has a chunk; checks the folder."""
    ziel = os.path.join(ordner, "aufnahme")
    dateien = {geraet: os.path.join(ordner, f"{geraet}.wav") for geraet in ("speakers", "mic-feed")}
    for saat, datei in enumerate(dateien.values()):
        schreibe_rauschen(datei, saat)
    with tonanlage.Tonanlage() as raum:
        with open(os.path.join(ordner, "diagnosen"), "w+", encoding="utf-8") as diagnosen:
            lauf = raum.starte_programm(
                [os.path.join(programme, "hallkorb"), "--out", ziel, "--no-video"],
                stdout=subprocess.PIPE, stderr=diagnosen)
            zeilen, offen = [], {"me", "them"}
            for roh in lauf.stdout:
                zeilen.append(roh)
                zeile = json.loads(roh)
                if zeile.get("event") == "started":
                    for geraet, datei in dateien.items():
                        raum.spiele(datei, geraet)
                elif "chunk" in zeile:
                    offen.discard(zeile["channel"])
                    if not offen:
                        lauf.send_signal(signal.SIGINT)
            status = lauf.wait()
            diagnosen.seek(0)
            if status or offen or b'"done"' not in zeilen[-1]:
                raise RuntimeError(f"status {status}, no chunk of {offen}: {zeilen}\n{diagnosen.read()}")
    with open(os.path.join(ziel, "ereignisse.jsonl"), "wb") as datei:
        datei.writelines(zeilen)
    print(fuehre_aus(os.path.join(programme, "hallkorb-sitzung"), "pruefen", ziel).rstrip())


def lauf(programme):
    gescheitert = 0
    proben = (zeitachse, aufnahme)
    for probe in proben:
        with tempfile.TemporaryDirectory(prefix="hallkorb-probe-") as ordner:
            try:
                probe(programme, ordner)
            except (RuntimeError, ValueError, OSError, IndexError, tonanlage.TonanlagenFehler) as fehler:
                gescheitert += 1
                print(f"{probe.__name__}: {fehler}")
    print(f"{len(proben) - gescheitert} passed, {gescheitert} failed", flush=True)
    return 1 if gescheitert else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: probe.py FOLDER")
    prozesse.beaufsichtigt(lambda: lauf(sys.argv[1]))
