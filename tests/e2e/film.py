"""The finished video, as a viewer's program sees it: its pictures, and the colour of each."""

import json
import subprocess

import numpy

BREITE, HOEHE = 16, 10  # each picture's average colours, coarsely


class Film:
    """Decodes the whole file; raises if anything in it cannot be decoded."""

    def __init__(self, pfad):
        angaben = json.loads(_aus("ffprobe", "-v", "error", "-select_streams", "v", "-show_frames",
                                  "-show_streams", "-show_format", "-of", "json", pfad))
        self.strom = angaben["streams"][0]
        self.dauer = float(angaben["format"]["duration"])
        self.zeiten = [float(bild["pts_time"]) for bild in angaben["frames"]]
        self.schluessel = [nummer for nummer, bild in enumerate(angaben["frames"])
                           if bild["key_frame"]]
        # Numbered instead of timed: pictures may be closer to each other than the output's clock ticks.
        roh = _aus("ffmpeg", "-v", "error", "-xerror", "-i", pfad, "-vf",
                   f"scale={BREITE}:{HOEHE}:flags=area,setpts=N/(15*TB)", "-r", "15", "-pix_fmt",
                   "rgb24", "-f", "rawvideo", "-")
        self.bilder = numpy.frombuffer(roh, numpy.uint8).reshape(-1, HOEHE, BREITE, 3)

    def farbe(self, nummer):
        """The colour that most of the picture's middle has."""
        mitte = self.bilder[nummer][2:-2, 2:-2].reshape(-1, 3)
        return tuple(int(wert) for wert in numpy.median(mitte, axis=0))

    def namen_im_bild(self, nummer, farben):
        """The names of all colours in the picture's middle, as a set."""
        mitte = self.bilder[nummer][2:-2, 2:-2].reshape(-1, 3)
        return {benenne(tuple(int(wert) for wert in punkt), farben) for punkt in mitte}

    def anteil(self, nummer, farbe):
        """How much of the whole picture has that colour, from 0 to 1."""
        punkte = self.bilder[nummer].reshape(-1, 3)
        return sum(benenne(tuple(map(int, punkt)), {"": farbe}) == "" for punkt in punkte) / len(punkte)

    def um(self, zeit):
        """The number of the picture that is shown at that time."""
        return max(0, int(numpy.searchsorted(self.zeiten, zeit, side="right")) - 1)

    def namen(self, farben):
        """The names of abschnitte(), without the pictures between that no name fits: a window whose
        program is halted is filmed undrawn after a moment."""
        namen = []
        for name, _ in self.abschnitte(farben):
            if name != "?" and namen[-1:] != [name]:
                namen.append(name)
        return namen

    def abschnitte(self, farben):
        """The film as a sequence of (name, time of its first picture): `farben` are names with their
        colour as RRGGBB; a picture of another colour is called "?"."""
        ergebnis = []
        for nummer, zeit in enumerate(self.zeiten):
            name = benenne(self.farbe(nummer), farben)
            if not ergebnis or ergebnis[-1][0] != name:
                ergebnis.append((name, zeit))
        return ergebnis


def benenne(farbe, farben):
    for name, wert in farben.items():
        soll = tuple(int(wert[i:i + 2], 16) for i in (0, 2, 4))
        if max(abs(a - b) for a, b in zip(farbe, soll)) <= 24:
            return name
    return "?"


def pruefe_form(test, film):
    """What holds for every video of the recorder."""
    test.assertEqual((film.strom["codec_name"], film.strom["profile"], film.strom["width"],
                      film.strom["height"]), ("h264", "Main", 1280, 800))
    test.assertEqual(len(film.bilder), len(film.zeiten))
    test.assertEqual(film.schluessel[0], 0)
    for von, bis in zip(film.schluessel, [*film.schluessel[1:], len(film.zeiten)]):
        test.assertLessEqual(bis - von, 30)
    test.assertEqual(film.zeiten[0], 0.0)
    for davor, danach in zip(film.zeiten, film.zeiten[1:]):
        test.assertLess(davor, danach)
    for anfang in range(len(film.zeiten) - 15):
        # Fifteen intervals take a second; the reading of a picture may be late by a few ms.
        test.assertGreater(film.zeiten[anfang + 15] - film.zeiten[anfang], 0.95)


def _aus(*befehl):
    ergebnis = subprocess.run(befehl, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    if ergebnis.returncode or ergebnis.stderr:
        raise AssertionError(f"{' '.join(befehl)}: {ergebnis.stderr.decode('utf-8', 'replace')}")
    return ergebnis.stdout
