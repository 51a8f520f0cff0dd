#!/usr/bin/python3
"""From exec to the moment from which a signal ends a recording in order.

    bench/startzeit.py [--starts 300] [PROGRAM]

Beside the recorder an empty C program is started in turn, one that only blocks the signals: what it
takes is the kernel's and the C library's. Each start is watched through /proc until the signals are
blocked, every few microseconds. Where permitted, all run at real-time priority on processors of their
own, so that what else the machine does hardly counts. Printed are milliseconds after exec: least,
median, 90 and 99 of 100, most; and the ratio of the medians.

Before that, at normal priority and on the machine as busy as it is: how many of as many starts a SIGINT so
long after exec still kills.
"""

import argparse
import os
import signal
import subprocess
import sys
import tempfile
import time

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LEER = """#include <signal.h>
int main(void) {
  sigset_t signale;
  sigemptyset(&signale);
  sigaddset(&signale, SIGINT);
  sigprocmask(SIG_BLOCK, &signale, 0);
  int empfangen;
  return sigwait(&signale, &empfangen);
}
"""
VERZUEGE = [0.5, 1, 2, 4, 8, 16, 25]  # milliseconds
FELD_BLOCKIERT = 29  # of /proc/PID/stat, counted from the one after the name


def fuer_sich(kern):
    try:
        os.sched_setaffinity(0, {kern})
        os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1))
    except OSError:
        pass


def fuehre_aus(befehl, kern=None):
    """Starts a program and returns its id when it has just replaced this one."""
    lesen, schreiben = os.pipe2(os.O_CLOEXEC)
    kind = os.fork()
    if kind == 0:
        null = os.open(os.devnull, os.O_RDWR)
        for strom in range(3):
            os.dup2(null, strom)
        if kern is not None:
            fuer_sich(kern)
        try:
            os.execv(befehl[0], befehl)
        finally:
            os._exit(127)
    os.close(schreiben)
    os.read(lesen, 1)  # the end of the pipe is exec's doing
    os.close(lesen)
    return kind


def toetet(befehl, verzug):
    """True when a SIGINT that long after exec kills the program, in seconds."""
    kind = fuehre_aus(befehl)
    ende = time.perf_counter() + verzug
    while time.perf_counter() < ende:
        pass
    os.kill(kind, signal.SIGINT)
    return os.WIFSIGNALED(os.waitpid(kind, 0)[1])


def bis_bereit(befehl, kern):
    """Milliseconds from exec until SIGINT is blocked."""
    kind = fuehre_aus(befehl, kern)
    try:
        with open(f"/proc/{kind}/stat", "rb", buffering=0) as datei:
            anfang = time.perf_counter()
            while True:
                felder = os.pread(datei.fileno(), 4096, 0).rpartition(b")")[2].split()
                jetzt = time.perf_counter()
                if int(felder[FELD_BLOCKIERT]) >> (signal.SIGINT - 1) & 1:
                    return (jetzt - anfang) * 1e3
                if felder[0] == b"Z":
                    sys.exit(f"{befehl[0]} ended before it took its signals")
    finally:
        os.kill(kind, signal.SIGKILL)
        os.waitpid(kind, 0)


def main():
    leser = argparse.ArgumentParser()
    leser.add_argument("--starts", type=int, default=300)
    leser.add_argument("programm", nargs="?",
                       default=os.path.join(WURZEL, "build", "release", "hallkorb"))
    wahl = leser.parse_args()
    kerne = sorted(os.sched_getaffinity(0))
    with tempfile.TemporaryDirectory(prefix="hallkorb-startzeit-") as ordner:
        leer = os.path.join(ordner, "leer")
        subprocess.run(["cc", "-O2", "-x", "c", "-", "-o", leer], input=LEER, text=True, check=True)
        befehle = {"empty": [leer],
                   "hallkorb": [wahl.programm, "--no-video", "--out", os.path.join(ordner, "a")]}
        print(f"killed of {wahl.starts} by SIGINT after")
        for verzug in VERZUEGE:
            tote = {name: sum(toetet(befehl, verzug * 1e-3) for _ in range(wahl.starts))
                    for name, befehl in befehle.items()}
            print(f"{verzug:6g} ms: " + ", ".join(f"{name} {n}" for name, n in tote.items()))
        fuer_sich(kerne[0])
        zeiten = {name: [] for name in befehle}
        for _ in range(wahl.starts):
            for name, befehl in befehle.items():
                zeiten[name].append(bis_bereit(befehl, kerne[-1]))
    print(f"{'ms':10}{'least':>8}{'median':>8}{'90 %':>8}{'99 %':>8}{'most':>8}")
    for werte in zeiten.values():
        werte.sort()
    for name, werte in zeiten.items():
        stellen = [0, len(werte) // 2, len(werte) * 9 // 10, len(werte) * 99 // 100, len(werte) - 1]
        print(f"{name:10}" + "".join(f"{werte[stelle]:8.2f}" for stelle in stellen))
    mitte = wahl.starts // 2
    print(f"ratio of the medians: {zeiten['hallkorb'][mitte] / zeiten['empty'][mitte]:.2f}")


main()
