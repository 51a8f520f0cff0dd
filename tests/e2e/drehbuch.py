"""Runs of the program as it is built for macOS, on Linux, with stand-ins of the platform that a test
plays: what it writes into the script's pipe is done at once (tests/macos/doubles/Drehbuch.cpp)."""

import json
import os
import unittest

import numpy

import lauf

PROGRAMM = os.environ.get("HALLKORB_MACOS",
                          os.path.join(lauf.WURZEL, "build", "macos-asan", "hallkorb"))
# Sanitizers make the program several times as slow, and its reports count as failures.
FRIST = 60.0
SANITIZER = {"ASAN_OPTIONS": "detect_stack_use_after_return=1", "UBSAN_OPTIONS": "print_stacktrace=1"}
ZOOM = {"id": 7, "app": "us.zoom.xos", "titel": "Zoom Meeting"}


class Drehbuch:
    """The script of one run."""

    def __init__(self, test, ordner):
        self.pfad = os.path.join(ordner, "drehbuch")
        self.protokoll = os.path.join(ordner, "protokoll.json")
        os.mkfifo(self.pfad)
        # For reading too: opening a pipe for writing alone would wait for the program.
        self._rohr = os.open(self.pfad, os.O_RDWR)
        test.addCleanup(os.close, self._rohr)

    def tu(self, was, **wie):
        os.write(self._rohr, (json.dumps({"tu": was, **wie}) + "\n").encode())

    def umgebung(self):
        return os.environ | SANITIZER | {
            "HALLKORB_DREHBUCH": self.pfad, "HALLKORB_PROTOKOLL": self.protokoll}

    def gehalten(self):
        """What the stand-ins have kept, after the program's end."""
        with open(self.protokoll, encoding="utf-8") as datei:
            return json.load(datei)


@unittest.skipUnless(lauf.prozesse.LINUX, "the stand-ins run on Linux")
class MacFall(lauf.Fall):
    """`vorher` holds what is so before the program begins: (action, its values)."""

    MACOS = True
    MIT_TONANLAGE = False

    def setUp(self):
        super().setUp()
        self._laeufe = 0

    def aufnehmen(self, *argumente, vorher=(), los=True, warte=True, **mehr):
        """A recording; with `warte` it is one that has started and takes blocks from both devices. Without
        `los` it stands before main() until the script goes on."""
        self._laeufe += 1
        ordner = os.path.join(self.ordner, str(self._laeufe))
        os.mkdir(ordner)
        self.buch = Drehbuch(self, ordner)
        for was, wie in vorher:
            self.buch.tu(was, **wie)
        if los:
            self.buch.tu("los")
        self.aufnahme = os.path.join(ordner, "aufnahme")
        aufnahme = self.lauf(*argumente, umgebung=self.buch.umgebung(), programm=PROGRAMM, **mehr)
        if warte:
            aufnahme.ereignis("started", FRIST)
            self.buch.tu("warte", auf="mikro")
            self.buch.tu("warte", auf="system")
        return aufnahme

    def schreibe_klang(self, name, ton):
        """A sound as the script plays it. Each sample is one of a 16-bit file, so that what is recorded
        of it can be the same to the bit."""
        pfad = os.path.join(self.ordner, name)
        (numpy.round(ton * 32767.0).astype("<f4") / numpy.float32(32767.0)).tofile(pfad)
        return pfad

    def pruefe_ende(self, aufnahme, *, status=0):
        """The end, and that nothing of the platform was misused or is still held."""
        self.assertEqual(aufnahme.ende(FRIST), status, aufnahme.alles())
        return self.pruefe_gehalten(aufnahme.alles())

    def pruefe_gehalten(self, alles):
        gehalten = self.buch.gehalten()
        for was in ("zuFrueh", "falscheFreigaben", "ohnePool", "beobachter", "aktivitaeten"):
            self.assertEqual(gehalten[was], 0, (was, alles))
        self.assertGreater(gehalten["fensterserver"], 0)
        return gehalten

    def stoppe_ganz(self, aufnahme, nummer=lauf.signal.SIGINT):
        aufnahme.sende(nummer)
        gehalten = self.pruefe_ende(aufnahme)
        aufnahme.pruefe_schluss()
        return gehalten
