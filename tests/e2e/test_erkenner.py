"""Speech that becomes text: a conversation, the recorder, a host and a real recogniser (pocketsphinx).

The recogniser knows eight German words by their sounds; its model of sounds is the English one. What it is
to hear is spoken by the tests' own voices. Two hosts record at the same time: one with the echo path, one
without it, so that what differs between their transcripts is the echo path's doing.
"""

import os
import re

import numpy

import lauf
import signale
import test_wirte
import voices

MODELL = "/usr/share/pocketsphinx/model/en-us/en-us"
# Who says which words, and their sounds in the model's alphabet.
WOERTER = {
    "me": {"donnerstag": "D AO N ER S T AA K", "hamburg": "HH AA M B UH R K",
           "verbrauch": "F EH R B R AW K", "termin": "T EH R M IY N"},
    "them": {"montag": "M OW N T AA K", "bericht": "B EH R IH SH T", "zahlen": "T S AA L EH N",
             "anlage": "AA N L AA G AH"},
}
STIMME = {"me": "nah", "them": "fern"}
# What the far end says first, for the echo path to learn the room.
VORREDE = ("Wunderbar. Dann fangen wir mit dem ersten Punkt an. Wie weit sind wir?",
           "Ich schicke sie Ihnen gleich nach dieser Besprechung.",
           "Der zweite Punkt betrifft die neue Heizung. Sie läuft seit gestern ohne Störung.",
           "Ein Fünftel niedriger als vorher. Das ist mehr, als wir erwartet haben.")
LAUTER = 10.0 ** (8.0 / 20.0)  # loudspeakers that are turned up: the far end leaks in at -10 dB
RUNDEN = 2
GENUG = 6  # of the eight times that each side speaks; single words are easily misheard


class Szene:
    """The conversation: both tracks at voices.RATE, and when each word is said, in seconds."""

    def __init__(self):
        self._ton = {"me": [], "them": []}
        self._ende = 0.5
        for satz in VORREDE:
            self._sage("them", satz, 0.7)
        self.beginn = self._ende
        self._ende += 3.0  # so that no chunk holds both
        self.gesagt = []  # (channel, begin, end, word)
        for _ in range(RUNDEN):
            for paar in zip(WOERTER["me"], WOERTER["them"]):
                for kanal, wort in zip(("me", "them"), paar):
                    anfang = self._ende
                    laenge = self._sage(kanal, wort.capitalize() + ".", 1.0)
                    self.gesagt.append((kanal, anfang, anfang + laenge, wort))
        nah, self.fern = (self._spur(kanal) for kanal in ("me", "them"))
        zufall = numpy.random.default_rng(voices.SEED)
        hall = LAUTER * voices.falte(self.fern, voices.raumantwort(zufall))
        rauschen = zufall.standard_normal(len(nah)) * 10.0 ** (voices.RAUSCHEN_DB / 20.0)
        self.mikro = nah + hall + rauschen

    def _sage(self, kanal, text, pause):
        ton = voices.spreche(STIMME[kanal], text)
        self._ton[kanal].append((round(self._ende * voices.RATE), ton))
        self._ende += len(ton) / voices.RATE + pause
        return len(ton) / voices.RATE

    def _spur(self, kanal):
        spur = numpy.zeros(round((self._ende + 1.0) * voices.RATE))
        for anfang, ton in self._ton[kanal]:
            spur[anfang:anfang + len(ton)] += ton
        return spur


class Erkenner(lauf.Fall):

    LANG = True
    ALLEIN = True

    def test_worte_am_richtigen_ort(self):
        szene = Szene()
        signale.schreibe(os.path.join(self.ordner, "fern.wav"), szene.fern, szene.fern)
        signale.schreibe(os.path.join(self.ordner, "mikro.wav"), szene.mikro)
        self.mehrmals(lambda nummer: self.pruefe(nummer, szene))

    def schreiber(self):
        """The recogniser as a host's transcriber: the name of the file comes last."""
        alle = {wort: laute for seite in WOERTER.values() for wort, laute in seite.items()}
        woerter, regel = (os.path.join(self.ordner, name) for name in ("woerter.dict", "woerter.gram"))
        with open(woerter, "w", encoding="utf-8") as datei:
            datei.writelines(f"{wort} {laute}\n" for wort, laute in alle.items())
        with open(regel, "w", encoding="utf-8") as datei:
            datei.write(f"#JSGF V1.0;\ngrammar w;\npublic <w> = ({' | '.join(alle)})+;\n")
        return (f"pocketsphinx_continuous -hmm {MODELL} -dict {woerter} -jsgf {regel} -logfn /dev/null "
                "-infile")

    def pruefe(self, nummer, szene):
        wirte = {}
        for art, mehr in (("mit", []), ("ohne", ["--kein-echo"])):
            ziel = os.path.join(self.ordner, f"{art}-{nummer}")
            wirte[art] = test_wirte.Wirt(
                self, [*test_wirte.Python.BEFEHL, "--recorder", lauf.PROGRAMM, "--folder", ziel,
                       "--transcriber", self.schreiber(), "--", "--no-video", *mehr],
                self.raum.umgebung, ziel)
            wirte[art].meldung("recording into " + ziel)
        spieler = [self.raum.spiele(os.path.join(self.ordner, "fern.wav"), "speakers"),
                   self.raum.spiele(os.path.join(self.ordner, "mikro.wav"), "mic-feed")]
        for prozess in spieler:
            self.assertEqual(prozess.wait(len(szene.fern) / voices.RATE + lauf.FRIST), 0)
        for wirt in wirte.values():
            wirt.prozess.send_signal(lauf.signal.SIGINT)
        gehoert = {}
        for art, wirt in wirte.items():
            wirt.ende(0)
            gehoert[art] = self.lies(wirt, szene)

        for art in ("mit", "ohne"):
            for seite in ("me", "them"):
                self.assertGreaterEqual(gehoert[art][seite, seite], GENUG, (art, gehoert))
            self.assertEqual(gehoert[art]["them", "me"], 0, gehoert)
        self.assertEqual(gehoert["mit"]["me", "them"], 0, gehoert)
        self.assertGreaterEqual(gehoert["ohne"]["me", "them"], GENUG, gehoert)

    def lies(self, wirt, szene):
        """(channel, side) -> how many of the side's words stand in the channel's transcript at the time at
        which they were said; those of the other side at whatever time."""
        roh = signale.lies_ganz(os.path.join(wirt.ordner, "1", "mikro_roh.wav"))
        versatz = signale.lage_in(roh, signale.vorlagen(szene.mikro)[0]) / signale.ZIEL
        stuecke = [(sekunden(von) - versatz, sekunden(bis) - versatz, kanal, text.split())
                   for von, bis, kanal, text in re.findall(
                       r"^(\S+) --> (\S+)\n<v (\w+)>(.*)$", wirt.lies("transcript.vtt"), re.MULTILINE)]
        stuecke = [stueck for stueck in stuecke if stueck[0] > szene.beginn]
        print(*(f"{von:.1f} {kanal} {' '.join(worte)}" for von, _, kanal, worte in sorted(stuecke)), sep=", ")
        zahlen = {}
        for kanal in ("me", "them"):
            for seite in ("me", "them"):
                if kanal == seite:
                    zahlen[kanal, seite] = sum(
                        any(stueck[2] == kanal and wort in stueck[3] and stueck[0] < von + 0.2
                            and bis - 0.2 < stueck[1] for stueck in stuecke)
                        for wer, von, bis, wort in szene.gesagt if wer == seite)
                else:
                    zahlen[kanal, seite] = sum(wort in WOERTER[seite] for stueck in stuecke
                                               if stueck[2] == kanal for wort in stueck[3])
        return zahlen


def sekunden(text):
    stunden, minuten, rest = text.split(":")
    return int(stunden) * 3600 + int(minuten) * 60 + float(rest)
