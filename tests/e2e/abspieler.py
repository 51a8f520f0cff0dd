#!/usr/bin/python3
"""Plays the lines of a recorded folder to a host, as if it were the recorder: the same lines in the same
order, those of the stop after the signal. It waits for nothing but that.

    abspieler.py --out FOLDER --spiele LINES.jsonl [--ende STATUS | --stirb [SIGNAL] | --taub] [--zu] [--laut BYTES]

--ende    ends with that status once the lines are out, without waiting for a signal
--stirb   kills itself in the middle of a line, as a crash would; SIGNAL is a number, 9 without one
--taub    ignores SIGINT and SIGTERM
--zu      closes both streams once the lines are out
--laut    writes so much to standard error first: more than a pipe takes
"""

import argparse
import os
import signal
import sys

STOPP = (b'{"event":"video",', b'{"event":"echo",', b'{"event":"zeitachse",')


def hauptteil():
    leser = argparse.ArgumentParser()
    leser.add_argument("--out", required=True)
    leser.add_argument("--spiele", required=True)
    leser.add_argument("--ende", type=int)
    leser.add_argument("--stirb", type=int, nargs="?", const=signal.SIGKILL)
    leser.add_argument("--taub", action="store_true")
    leser.add_argument("--zu", action="store_true")
    leser.add_argument("--laut", type=int, default=0)
    wahl, _ = leser.parse_known_args()

    # Held until the lines are out: a signal that comes early ends the play in order, too.
    stopp = {signal.SIGINT, signal.SIGTERM}
    signal.pthread_sigmask(signal.SIG_BLOCK, stopp)
    zeile = b"[hallkorb] " + b"x" * 80 + b"\n"
    sys.stderr.buffer.write(zeile * (wahl.laut // len(zeile)))
    sys.stderr.buffer.flush()
    with open(wahl.spiele, "rb") as datei:
        zeilen = datei.readlines()
    grenze = next((i for i, zeile in enumerate(zeilen) if zeile.startswith(STOPP)), len(zeilen))
    schreibe(b"".join(zeilen[:grenze]))
    if wahl.stirb:
        schreibe(b'{"chunk":99,"channel":"me","pa')
        signal.pthread_sigmask(signal.SIG_UNBLOCK, stopp)
        if wahl.stirb != signal.SIGKILL:
            signal.signal(wahl.stirb, signal.SIG_DFL)
        os.kill(os.getpid(), wahl.stirb)
    if wahl.zu:
        os.close(1)
        os.close(2)
    if wahl.ende is None:
        while True:
            signal.sigwait(stopp)
            if not wahl.taub:
                break
    schreibe(b"".join(zeilen[grenze:]))
    return wahl.ende or 0


def schreibe(alles):
    while alles:
        alles = alles[os.write(1, alles):]


if __name__ == "__main__":
    sys.exit(hauptteil())
