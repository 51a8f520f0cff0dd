#!/usr/bin/python3
"""Runs the offline modes over the conformance vectors: python3 tests/vektoren.py [--windows] PROGRAM...

Lines must be the same to the letter and samples to the last bit, on every processor: the vectors were
computed independently of the program (tests/vectors/README.md). With --windows only the choice of the
window is tried. An emulator with its options may precede the program.
Closing line: "N passed, N failed".
"""

import argparse
import array
import concurrent.futures
import os
import re
import subprocess
import sys
import tempfile
import wave
import zlib

VEKTOREN = os.path.join(os.path.dirname(os.path.abspath(__file__)), "vectors")
PROZESSOREN = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 2
RATE = 16000
BLOCK_BYTES = RATE // 10 * 2  # that one checksum stands for


def lies(*pfad):
    with open(os.path.join(VEKTOREN, *pfad), encoding="utf-8") as datei:
        return datei.read()


def samples_aus_flac(*pfad):
    return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-xerror", "-i", os.path.join(VEKTOREN, *pfad),
                           "-f", "s16le", "-"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          check=True).stdout


def schreibe_wav(pfad, samples):
    with wave.open(pfad, "wb") as datei:
        datei.setnchannels(1)
        datei.setsampwidth(2)
        datei.setframerate(RATE)
        datei.writeframes(samples)


def lies_wav(pfad):
    with wave.open(pfad) as datei:
        art = datei.getnchannels(), datei.getsampwidth(), datei.getframerate()
        if art != (1, 2, RATE):
            raise AssertionError(f"{pfad}: channels, bytes of a sample, rate are {art}")
        return datei.readframes(datei.getnframes())


def fuehre_aus(programm, *optionen):
    lauf = subprocess.run([*programm, *optionen], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          encoding="utf-8", timeout=600)
    if lauf.returncode:
        raise AssertionError(f"status {lauf.returncode}\n{lauf.stdout}{lauf.stderr}")
    return lauf.stdout


def vergleiche_text(soll, ist):
    if soll != ist:
        raise AssertionError(f"expected:\n{soll}printed:\n{ist}")


def vergleiche_samples(soll, ist):
    soll, ist = (array.array("h", samples) for samples in (soll, ist))
    if len(soll) != len(ist):
        raise AssertionError(f"{len(ist)} samples, not {len(soll)}")
    anders = [(abs(a - b), stelle) for stelle, (a, b) in enumerate(zip(soll, ist)) if a != b]
    if anders:
        raise AssertionError(f"{len(anders)} of {len(soll)} samples differ, first sample {anders[0][1]}, "
                             f"by at most {max(anders)[0]}")


def vergleiche_pruefsummen(soll, ist):
    summen = [f"{zlib.crc32(ist[ab:ab + BLOCK_BYTES]):08x}" for ab in range(0, len(ist), BLOCK_BYTES)]
    if len(soll) != len(summen):
        raise AssertionError(f"{len(summen)} blocks of 100 ms, not {len(soll)}")
    anders = [nummer for nummer, (a, b) in enumerate(zip(soll, summen)) if a != b]
    if anders:
        raise AssertionError(f"{len(anders)} of {len(soll)} blocks of 100 ms differ, "
                             f"the first at {anders[0] / 10} s")


def echo(programm, szene, nachfilter):
    with tempfile.TemporaryDirectory() as ordner:
        pfade = [os.path.join(ordner, name) for name in ("mic.wav", "ref.wav", "out.wav")]
        for pfad, name in zip(pfade, ("mic.flac", "ref.flac")):
            schreibe_wav(pfad, samples_aus_flac("echo", szene, name))
        mehr = ["--chunk-ordner", ordner] if nachfilter else ["--ohne-nachfilter"]
        zeilen = fuehre_aus(programm, "--echo-datei", *pfade, *mehr)
        zeilen = zeilen.replace(f'"path":"{ordner}/', '"path":"')
        zeilen = re.sub(r'"rechenzeit_s":\d+\.\d\d', '"rechenzeit_s":0.00', zeilen)
        rein = lies_wav(pfade[2])
    if nachfilter:
        vergleiche_text(lies("echo", szene, "lines.jsonl"), zeilen)
        vergleiche_samples(samples_aus_flac("echo", szene, "out.flac"), rein)
    else:
        vergleiche_text(lies("echo", szene, "lines_ohne_nachfilter.jsonl"), zeilen)
        vergleiche_pruefsummen(lies("echo", szene, "out_ohne_nachfilter.crc32").split(), rein)


def fenster(programm, name, soll):
    vergleiche_text(soll + "\n", fuehre_aus(programm, "--fenster-wahl",
                                            os.path.join(VEKTOREN, "windows", name)))


def faelle(programm, nur_fenster):
    """(name, what tries it) of every vector."""
    zeilen = [zeile.split("\t") for zeile in lies("windows", "expected.tsv").splitlines()]
    vorhanden = {name for name in os.listdir(os.path.join(VEKTOREN, "windows")) if name.endswith(".json")}
    if not zeilen or {name for name, _ in zeilen} != vorhanden:
        raise SystemExit("windows/expected.tsv and the files beside it do not match")
    for name, soll in zeilen:
        yield f"windows/{name}", lambda name=name, soll=soll: fenster(programm, name, soll)
    szenen = sorted(os.listdir(os.path.join(VEKTOREN, "echo")))
    if not szenen:
        raise SystemExit("no echo vectors")
    for szene in [] if nur_fenster else szenen:
        for nachfilter in (True, False):
            yield (f"echo/{szene}{'' if nachfilter else ', no post-filter'}",
                   lambda szene=szene, nachfilter=nachfilter: echo(programm, szene, nachfilter))


def klage(fall):
    """What is wrong with one vector; None if it is as it should be."""
    try:
        fall()
    except (AssertionError, OSError, wave.Error, EOFError, subprocess.SubprocessError) as fehler:
        return str(fehler)
    return None


def main():
    optionen = argparse.ArgumentParser(usage="vektoren.py [--windows] PROGRAM...")
    optionen.add_argument("--windows", action="store_true")
    optionen.add_argument("programm", nargs=argparse.REMAINDER)
    wahl = optionen.parse_args()
    if not wahl.programm:
        optionen.error("no program")
    programm = [*wahl.programm[:-1], os.path.abspath(wahl.programm[-1])]
    namen, alle = zip(*faelle(programm, wahl.windows))
    with concurrent.futures.ThreadPoolExecutor(PROZESSOREN) as helfer:
        klagen = list(helfer.map(klage, alle))
    for name, text in zip(namen, klagen):
        if text is not None:
            print(f"{name}: {text}")
    gescheitert = sum(text is not None for text in klagen)
    print(f"{len(klagen) - gescheitert} passed, {gescheitert} failed")
    return 1 if gescheitert else 0


if __name__ == "__main__":
    sys.exit(main())
