"""The hosts in examples/: on the real recorder, and on lines that are played to them.

All of them have one command line and write the same files, so one set of tests serves for each language.
The one in Python is tried with every change; the others, which need more packages, in a stage of their own.
"""

import os
import signal
import subprocess

import lauf
import signale
import wirtsfall
import wirtsspiel

CPP_BAU = os.path.join(lauf.WURZEL, "build", "host-cpp")


class Aufnahme(wirtsfall.Wirtsfall):
    """With the real recorder in a private session."""

    def behalten(self, nummer):
        """The lines of a recording as the host has kept them, each of them as the schema says."""
        return lauf.geprueft(self.wirt_.lies(f"{nummer}/ereignisse.jsonl"))

    def pruefe_absturz_und_stopp(self):
        """The recorder is killed, begun again in a new folder, and stopped in order."""
        for geraet, saat in (("speakers", 1), ("mic-feed", 2)):
            datei = os.path.join(self.ordner, geraet + ".wav")
            signale.schreibe(datei, signale.rauschen(120.0, saat))
            self.raum.spiele(datei, geraet)
        wirt = self.wirt_ = self.wirt(
            fuer_rekorder=["--no-video", "--kein-echo", "--legacy-chunks", "--chunk", "1"],
            umgebung=self.raum.umgebung)
        erste = wirt.meldung(f"recording into {self.ziel}/1: me, them")
        wirt.gesagt(2)
        os.kill(wirt.rekorder(), signal.SIGKILL)
        wirt.meldung("beginning again", erste)
        zweite = wirt.meldung(f"recording into {self.ziel}/2: me, them", erste)
        vorher = len(wirt.aus.texte())
        wirt.gesagt(vorher + 2)
        wirt.prozess.send_signal(signal.SIGINT)
        wirt.ende(0)
        wirt.meldung("gaps: me ", zweite)
        wirt.meldung("recorded", zweite)

        erwartet, null = [], None
        for nummer in (1, 2):
            zeilen = self.behalten(nummer)
            start = next(zeile for zeile in zeilen if zeile.get("event") == "started")
            null = null or start["null_unix_ms"]
            versatz = (start["null_unix_ms"] - null) / 1000.0
            erwartet += [(versatz + zeile["t0"], versatz + zeile["t1"], zeile["channel"],
                          os.path.basename(zeile["path"])[:-4]) for zeile in zeilen if "chunk" in zeile]
        self.assertEqual({zeile[2] for zeile in erwartet}, {"me", "them"})
        self.pruefe_abschrift(wirt, sorted(erwartet))
        self.assertEqual(self.behalten(2)[-1], {"event": "done"})
        for nummer, status in ((1, 1), (2, 0)):
            self.assertEqual(subprocess.run([wirtsspiel.SITZUNG, "pruefen", os.path.join(self.ziel, str(nummer))],
                                            stdout=subprocess.DEVNULL, check=False).returncode, status)


class Python:
    BEFEHL = ("/usr/bin/python3", os.path.join(wirtsspiel.BEISPIELE, "python", "host.py"))


class Node:
    LANG = True
    BEFEHL = ("node", os.path.join(wirtsspiel.BEISPIELE, "node", "host.mjs"))


class Cpp:
    LANG = True
    BEFEHL = (os.path.join(CPP_BAU, "host"),)


class PythonAufnahme(Python, Aufnahme):
    def test_absturz_und_stopp(self):
        self.pruefe_absturz_und_stopp()


class PythonGespielt(Python, wirtsspiel.Gespielt):
    def test_alles(self):
        """In one process: each would take longer to begin than to run."""
        for nummer, pruefe in enumerate((self.pruefe_fremdes, self.pruefe_verdorbenes, self.pruefe_enden,
                                         self.pruefe_anfaenge, self.pruefe_kein_ordner, self.pruefe_uhr_zurueck,
                                         self.pruefe_ungelesen, self.pruefe_strg_c, self.pruefe_haengendes,
                                         self.pruefe_vorgespieltes)):
            self.ziel = os.path.join(self.ordner, f"gespraech-{nummer}")
            pruefe()


class PythonVoll(Python, wirtsspiel.Gespielt):
    MIT_MOUNT = True

    def test_platte_voll(self):
        self.pruefe_platte_voll()


class NodeAufnahme(Node, PythonAufnahme):
    LANG = True
    BEFEHL = Node.BEFEHL


class NodeGespielt(Node, PythonGespielt):
    BEFEHL = Node.BEFEHL


class NodeVoll(Node, PythonVoll):
    BEFEHL = Node.BEFEHL


class CppAufnahme(Cpp, PythonAufnahme):
    BEFEHL = Cpp.BEFEHL


class CppGespielt(Cpp, PythonGespielt):
    BEFEHL = Cpp.BEFEHL


class CppVoll(Cpp, PythonVoll):
    BEFEHL = Cpp.BEFEHL


class Swift:
    LANG = True
    BEFEHL = (os.path.join(lauf.WURZEL, "build", "host-swift", "host"),)


class SwiftAufnahme(Swift, PythonAufnahme):
    BEFEHL = Swift.BEFEHL


class SwiftGespielt(Swift, PythonGespielt):
    BEFEHL = Swift.BEFEHL


class SwiftVoll(Swift, PythonVoll):
    BEFEHL = Swift.BEFEHL
