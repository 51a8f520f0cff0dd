"""The modes that end by themselves: the echo canceller on files, the timeline's self-test."""

import json
import os
import signal
import subprocess

import numpy

import lauf
import prozesse
import signale

NICHT_LESBAR = "[hallkorb] --echo-datei: WAV nicht lesbar\n"
SCHREIBEN = "[hallkorb] --echo-datei: Schreiben fehlgeschlagen: "


class Offline(lauf.Fall):
    MIT_TONANLAGE = False
    PROGRAMM = lauf.PROGRAMM
    UMGEBUNG = {}
    GEDULD = lauf.FRIST
    HOECHSTENS = 30.0  # MiB

    def programm(self, *argumente, stdout=subprocess.PIPE, geschlossen=False):
        """(status, standard output, standard error) of a run in the test's folder. `geschlossen`: it
        starts without any standard output."""
        befehl = [self.PROGRAMM, *argumente]
        if geschlossen:
            befehl = ["sh", "-c", 'exec "$@" >&-', "sh", *befehl]
        prozess = prozesse.starte(befehl, cwd=self.ordner, env={**os.environ, **self.UMGEBUNG},
                                  stdin=subprocess.DEVNULL,
                                  stdout=None if geschlossen else stdout, stderr=subprocess.PIPE)
        try:
            aus, fehler = prozess.communicate(timeout=self.GEDULD)
        finally:
            prozess.kill()
        text = (aus or b"").decode()
        lauf.geprueft(text)
        return prozess.returncode, text, fehler.decode()

    def pfad(self, name):
        return os.path.join(self.ordner, name)

    def bytes(self, name):
        with open(self.pfad(name), "rb") as datei:
            return datei.read()

    def ohne_ausgabe(self, *argumente):
        """The same command when its result cannot be printed: on a full device, without a standard
        output, to a reader that is gone. Yields standard error each time, for the caller to look at
        it and at the files."""
        lesen, schreiben = os.pipe()
        os.close(lesen)
        with open("/dev/full", "wb") as voll, os.fdopen(schreiben, "wb") as ohne_leser:
            for wie in ({"stdout": voll}, {"geschlossen": True}, {"stdout": ohne_leser}):
                with self.subTest(wie=wie):
                    status, aus, fehler = self.programm(*argumente, **wie)
                    self.assertEqual((status, aus), (2, ""))
                    yield fehler


class EchoDatei(Offline):

    SEKUNDEN = 10

    def setUp(self):
        super().setUp()
        zufall = numpy.random.default_rng(31)
        laenge = self.SEKUNDEN * signale.ZIEL
        ton = zufall.standard_normal((2, laenge)) * 0.1
        zeit = numpy.arange(laenge) / signale.ZIEL
        fern = ton[0] * (zeit < 6.0)
        # An echo 50 ms late, and the near end: two turns with a pause, the second to the end.
        mikro = 0.3 * numpy.concatenate([numpy.zeros(800), fern[:-800]])
        mikro += ton[1] * (((zeit > 3.0) & (zeit < 5.0)) | (zeit > 8.0))
        self.schreibe("mikro.wav", mikro)
        self.schreibe("fern.wav", fern)
        self.vorher = sorted(os.listdir(self.ordner))

    def schreibe(self, name, *kanaele):
        signale.schreibe(self.pfad(name), *kanaele, rate=signale.ZIEL)

    def echo_datei(self, *mehr, ziel="aus.wav", **wie):
        return self.programm("--echo-datei", "mikro.wav", "fern.wav", ziel, *mehr, **wie)

    def saetze(self, *mehr):
        """The lines of a run that goes well."""
        status, aus, fehler = self.echo_datei(*mehr)
        self.assertEqual((status, fehler), (0, ""))
        self.assertTrue(aus.endswith("}\n"), aus)
        return [json.loads(zeile) for zeile in aus.splitlines()]

    def test_statistik_und_ausgabe(self):
        (echo,) = self.saetze()
        self.assertEqual(list(echo), [
            "event", "verzoegerung_ms", "versatz_bloecke", "versatz_wechsel", "leck", "tor_anteil",
            "nah_anteil", "vg_kopien", "hg_reset", "resets", "ohne_referenz", "ausfaelle", "bloecke",
            "sekunden_audio", "rechenzeit_s", "samples", "chunks_ohne_sprache"])
        self.assertEqual((echo["event"], echo["verzoegerung_ms"], echo["samples"]),
                         ("echo", 50.0, self.SEKUNDEN * signale.ZIEL))
        self.assertEqual((echo["sekunden_audio"], echo["chunks_ohne_sprache"], echo["ausfaelle"]),
                         (self.SEKUNDEN, 0, 0))
        self.assertEqual(sorted(os.listdir(self.ordner)), sorted([*self.vorher, "aus.wav"]))
        aus = signale.lies_ganz(self.pfad("aus.wav"))
        mikro = signale.lies_ganz(self.pfad("mikro.wav"))
        self.assertEqual(len(aus), len(mikro))
        # Echo alone, and the near end alone.
        echo_allein, nah_allein = slice(84000, 94000), slice(140000, 159000)
        self.assertLess(signale.pegel(aus[echo_allein]), 0.1 * signale.pegel(mikro[echo_allein]))
        self.assertGreater(signale.korrelation(aus[nah_allein], mikro[nah_allein]), 0.95)

    def test_chunk_ordner(self):
        *chunks, echo = self.saetze("--chunk-ordner", "tief/chunks")
        self.assertEqual(echo["event"], "echo")
        self.assertGreaterEqual(len(chunks), 2)
        aus = signale.lies_ganz(self.pfad("aus.wav"))
        for nummer, satz in enumerate(chunks):
            self.assertEqual(list(satz), ["chunk", "channel", "path", "t0", "t1", "sprache_ms"])
            name = f"tief/chunks/chunk_me_{nummer:03}.wav"
            self.assertEqual((satz["chunk"], satz["channel"], satz["path"]), (nummer, "me", name))
            ton = signale.lies_ganz(self.pfad(name))
            self.assertAlmostEqual(satz["t1"] - satz["t0"], len(ton) / signale.ZIEL, delta=0.0101)
            self.assertLess(abs(signale.lage_in(aus, ton) / signale.ZIEL - satz["t0"]), 0.0051)
            self.assertGreater(satz["sprache_ms"], 0)
        self.assertEqual(chunks[-1]["t1"], self.SEKUNDEN)
        self.assertEqual(len(os.listdir(self.pfad("tief/chunks"))), len(chunks))

    def test_ohne_nachfilter(self):
        (mit,) = self.saetze()
        vorher = self.bytes("aus.wav")
        (ohne,) = self.saetze("--ohne-nachfilter")
        self.assertEqual((ohne["tor_anteil"], ohne["nah_anteil"]), (0.0, 0.0))
        # The post-filter is late by 17 blocks; without it one empties the canceller.
        self.assertEqual(mit["bloecke"] - ohne["bloecke"], 16)
        self.assertEqual(len(self.bytes("aus.wav")), len(vorher))
        self.assertNotEqual(self.bytes("aus.wav"), vorher)

    def test_unlesbare_eingabe(self):
        ganz = self.bytes("mikro.wav")
        schlechte = {"kurz.wav": ganz[:44], "leer.wav": b"", "text.wav": b"kein Klang " * 50,
                     "ohne_daten.wav": ganz[:36].replace(b"fmt ", b"fmx ") + b"LIST" + bytes(400)}
        for name, inhalt in schlechte.items():
            with open(self.pfad(name), "wb") as datei:
                datei.write(inhalt)
        os.mkdir(self.pfad("ordner.wav"))
        vorher = sorted(os.listdir(self.ordner))
        for name in ("fehlt.wav", "ordner.wav", *schlechte):
            for eingaben in ((name, "fern.wav"), ("mikro.wav", name)):
                with self.subTest(eingaben=eingaben):
                    self.assertEqual(
                        self.programm("--echo-datei", *eingaben, "aus.wav", "--chunk-ordner", "c"),
                        (2, "", NICHT_LESBAR))
                    self.assertEqual(sorted(os.listdir(self.ordner)), vorher)

    def test_eingabe_ohne_ende(self):
        """A pipe that nobody writes to could not even be opened, a device would never end."""
        os.mkfifo(self.pfad("rohr"))
        vorher = sorted(os.listdir(self.ordner))
        for name in ("rohr", "/dev/zero", "/dev/null"):
            for eingaben in ((name, "fern.wav"), ("mikro.wav", name)):
                with self.subTest(eingaben=eingaben):
                    self.assertEqual(self.programm("--echo-datei", *eingaben, "aus.wav"),
                                     (2, "", NICHT_LESBAR))
                    self.assertEqual(sorted(os.listdir(self.ordner)), vorher)

    def schreibe_lang(self, minuten):
        zufall = numpy.random.default_rng(7)
        minute = zufall.standard_normal((2, 60 * signale.ZIEL)) * 0.1
        for name, ton in zip(("mikro.wav", "fern.wav"), minute):
            self.schreibe(name, numpy.tile(ton, minuten))

    def hoechststand(self, *mehr):
        """MiB that a run had resident at most. The output is a pipe, which is written last: while
        nobody empties it the process stands still at the end of its work."""
        os.mkfifo(self.pfad("rohr"))
        prozess = prozesse.starte(
            [self.PROGRAMM, "--echo-datei", "mikro.wav", "fern.wav", "rohr", *mehr],
            cwd=self.ordner, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        with open(self.pfad("rohr"), "rb") as rohr:
            rohr.read(1)
            with open(f"/proc/{prozess.pid}/status", encoding="ascii") as zustand:
                (zeile,) = [zeile for zeile in zustand if zeile.startswith("VmHWM:")]
            laenge = 1 + sum(len(stueck) for stueck in iter(lambda: rohr.read(1 << 16), b""))
        self.assertEqual(prozess.wait(self.GEDULD), 0)
        self.assertEqual(laenge, os.path.getsize(self.pfad("mikro.wav")))
        os.remove(self.pfad("rohr"))
        return int(zeile.split()[1]) / 1024

    def test_speicher_unabhaengig_von_der_laenge(self):
        werte = []
        for minuten in (1, 20):
            self.schreibe_lang(minuten)
            werte += [self.hoechststand(), self.hoechststand("--chunk-ordner", "chunks")]
        self.assertLess(max(werte), self.HOECHSTENS, werte)
        self.assertLess(max(werte) - min(werte), 4.0, werte)

    def test_speicher_bei_laengerer_referenz(self):
        """Of what comes after the microphone's end no more than a minute is kept."""
        self.schreibe_lang(20)
        self.schreibe("mikro.wav", signale.lies_ganz(self.pfad("mikro.wav"))[:60 * signale.ZIEL])
        self.assertLess(self.hoechststand(), self.HOECHSTENS)

    def loch(self, *mehr):
        """A run with a header that declares 4 GiB, in a file of 100 GiB that is all hole."""
        with open(self.pfad("mikro.wav"), "r+b") as datei:
            datei.seek(40)
            datei.write(b"\xff\xff\xff\xff")
            datei.truncate(100 << 30)
        return prozesse.starte(
            [self.PROGRAMM, "--echo-datei", "mikro.wav", "fern.wav", "aus.wav", *mehr],
            cwd=self.ordner, stdin=subprocess.DEVNULL)

    def unterbrich(self, prozess):
        """It has taken no memory; interrupted, it leaves nothing behind but the folder of the chunks, if it
        has come that far."""
        with open(f"/proc/{prozess.pid}/status", encoding="ascii") as zustand:
            (zeile,) = [zeile for zeile in zustand if zeile.startswith("VmHWM:")]
        self.assertLess(int(zeile.split()[1]) / 1024, self.HOECHSTENS)
        prozess.send_signal(signal.SIGINT)
        self.assertEqual(prozess.wait(self.GEDULD), -signal.SIGINT)
        self.assertEqual(sorted(set(os.listdir(self.ordner)) - {"chunks"}), self.vorher)

    def test_loch_von_100_gigabyte(self):
        prozess = self.loch()
        self.warte_bis(lambda: self.teile() and os.path.getsize(self.pfad(self.teile()[0])) > 1 << 20,
                       "a megabyte of output", self.GEDULD)
        self.unterbrich(prozess)

    def test_loch_von_100_gigabyte_in_chunks(self):
        """Both inputs are read to their ends before anything is made."""
        prozess = self.loch("--chunk-ordner", "chunks")

        def gelesen():
            with open(f"/proc/{prozess.pid}/io", encoding="ascii") as zaehler:
                return int(zaehler.readline().split()[1]) > 16 << 20

        self.warte_bis(gelesen, "16 MB of input", self.GEDULD)
        self.unterbrich(prozess)

    def teile(self):
        return [name for name in os.listdir(self.ordner) if name.endswith(".teil")]

    def test_ausgabe_nicht_schreibbar(self):
        os.mkdir(self.pfad("ordner"))
        vorher = sorted(os.listdir(self.ordner))
        for ziel in ("fehlt/aus.wav", "mikro.wav/aus.wav", "ordner", "/dev/full"):
            with self.subTest(ziel=ziel):
                status, aus, fehler = self.echo_datei(ziel=ziel)
                self.assertEqual((status, aus), (2, ""))
                self.assertRegex(fehler, rf"\A{SCHREIBEN.replace('[', '.')}[^\n]+\n\Z")
                self.assertEqual(sorted(os.listdir(self.ordner)), vorher)
                self.assertEqual(os.listdir(self.pfad("ordner")), [])
                if ziel == "/dev/full":
                    continue  # a device is opened at the end
                self.assertEqual(self.echo_datei("--chunk-ordner", "chunks", ziel=ziel),
                                 (2, "", fehler))
                os.rmdir(self.pfad("chunks"))  # empty
                self.assertEqual(sorted(os.listdir(self.ordner)), vorher)

    def test_ausgabe_zu_gross(self):
        """A limit of file sizes in the middle of the output: an earlier one stays as it was."""
        with open(self.pfad("aus.wav"), "wb") as datei:
            datei.write(b"von gestern")
        vorher = sorted(os.listdir(self.ordner))
        prozess = prozesse.starte(
            ["sh", "-c", 'ulimit -f 100 && exec "$@"', "sh", self.PROGRAMM, "--echo-datei",
             "mikro.wav", "fern.wav", "aus.wav"], cwd=self.ordner, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        aus, fehler = prozess.communicate(timeout=self.GEDULD)
        self.assertEqual((prozess.returncode, aus), (2, b""))
        self.assertTrue(fehler.decode().startswith(SCHREIBEN), fehler)
        self.assertEqual(self.bytes("aus.wav"), b"von gestern")
        self.assertEqual(sorted(os.listdir(self.ordner)), vorher)

    def test_ergebnis_nicht_druckbar(self):
        """The output is whole all the same."""
        self.saetze()
        soll = self.bytes("aus.wav")
        for fehler in self.ohne_ausgabe("--echo-datei", "mikro.wav", "fern.wav", "aus.wav"):
            self.assertEqual(fehler, "")
            self.assertEqual(self.bytes("aus.wav"), soll)
            os.remove(self.pfad("aus.wav"))
            self.assertEqual(sorted(os.listdir(self.ordner)), self.vorher)

    def test_zwei_pfade_sind_keine_echo_datei(self):
        status, aus, _ = self.programm("--zeitachse-test", "--echo-datei", "mikro.wav", "fern.wav")
        self.assertEqual((status, len(aus.splitlines())), (0, 4))
        self.assertEqual(sorted(os.listdir(self.ordner)), self.vorher)
        status, aus, _ = self.echo_datei("--zeitachse-test")
        self.assertEqual((status, len(aus.splitlines())), (0, 1))
        self.assertIn("aus.wav", os.listdir(self.ordner))


class Zeitachse(Offline):

    def test_vier_zeilen(self):
        status, aus, fehler = self.programm("--zeitachse-test")
        self.assertEqual(status, 0)
        # The gaps that it fills are logged like every diagnostic.
        self.assertRegex(fehler, r"\A(\[hallkorb\] Zeitachse mikro_(aussetzer|drift): [^\n]+\n)+\Z")
        faelle = [json.loads(zeile) for zeile in aus.splitlines()]
        self.assertEqual([(fall["fall"], fall["soll_laenge"], fall["luecken"]) for fall in faelle],
                         [("mikro_lueckenlos", 164800, 0), ("mikro_aussetzer", 164800, 1),
                          ("mikro_drift", 485039, faelle[2]["luecken"]),
                          ("systemton_lueckenlos", 164800, 0)])
        for fall in faelle:
            self.assertLess(abs(fall["laenge"] - fall["soll_laenge"]), 200, fall)
            if fall["fall"] != "mikro_drift":
                self.assertEqual(fall["laufzeit_samples"], 0, fall)
                self.assertLess(fall["rest_ende_db"], -60.0, fall)
        self.assertEqual(os.listdir(self.ordner), [])

    def test_nicht_druckbar(self):
        for _ in self.ohne_ausgabe("--zeitachse-test"):
            self.assertEqual(os.listdir(self.ordner), [])
