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
import wirtsfall

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
        """The count of words is tried again if it is too small: a machine that halts the graph for a moment
        spoils some. A word in the wrong channel is never made good by another attempt."""
        szene = Szene()
        signale.schreibe(os.path.join(self.ordner, "beides.wav"), szene.fern, szene.mikro)
        self.mehrmals(lambda nummer: self.pruefe(nummer, szene))
        self.assertEqual(self.nie, [])

    def setUp(self):
        super().setUp()
        self.nie = []  # of all attempts: words in a channel in which they were not said

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

    def spiele(self, datei, name):
        """Left to the speakers, right to the microphone, by one player: of two, each is late by its own
        turns on a busy machine, and the room would seem to move."""
        spieler = self.raum.starte_programm(
            ["pw-play", "--latency", "1024", "--target", "0", "--properties",
             lauf.konfiguration.spa({"node.name": name}), datei], stderr=lauf.subprocess.DEVNULL)
        self.addCleanup(spieler.wait)
        self.addCleanup(spieler.kill)
        for von, nach in (("FR", "mic-feed:playback_MONO"), ("FL", "speakers:playback_FL"),
                          ("FL", "speakers:playback_FR")):
            self.warte_bis(lambda: self.verbunden(f"{name}:output_{von}", nach), f"a link to {nach}")
        return spieler

    def verbunden(self, von, nach):
        self.raum.befehl("pw-link", von, nach, pruefe=False)
        return nach in self.raum.befehl("pw-link", "--links", von, pruefe=False)

    def pruefe(self, nummer, szene):
        wirte = {}
        for art, mehr in (("mit", []), ("ohne", ["--kein-echo"])):
            ziel = os.path.join(self.ordner, f"{art}-{nummer}")
            wirte[art] = wirtsfall.Wirt(
                self, [*test_wirte.Python.BEFEHL, "--recorder", lauf.PROGRAMM, "--folder", ziel,
                       "--transcriber", self.schreiber(), "--", "--no-video", *mehr],
                self.raum.umgebung, ziel)
            wirte[art].meldung("recording into " + ziel)
        spieler = self.spiele(os.path.join(self.ordner, "beides.wav"), f"beides-{nummer}")
        self.assertEqual(spieler.wait(len(szene.fern) / voices.RATE + 2 * lauf.FRIST), 0)
        for wirt in wirte.values():
            wirt.prozess.send_signal(lauf.signal.SIGINT)
        gehoert = {}
        for art, wirt in wirte.items():
            wirt.ende(0)
            gehoert[art] = self.lies(wirt, szene)
            self.merke(art, wirt, gehoert[art])

        for art in ("mit", "ohne"):
            for seite in ("me", "them"):
                self.assertGreaterEqual(gehoert[art][seite, seite], GENUG, (art, gehoert))
        self.assertGreaterEqual(gehoert["ohne"]["me", "them"], GENUG, gehoert)

    def merke(self, art, wirt, gehoert):
        """Notes words that were heard in the wrong channel. Only if the graph was halted, which moves the
        channels against each other and lets the echo path search again, that is no fault of the recorder."""
        zeilen = lauf.geprueft(wirt.lies("1/ereignisse.jsonl"))
        self.assertEqual(zeilen[-1], {"event": "done"})
        achse = next(zeile for zeile in zeilen if zeile.get("event") == "zeitachse")
        gestoert = sum(achse[kanal][was] for kanal in WOERTER for was in ("luecken", "ueberlappungen"))
        print(f"{art}: {gestoert} corrections of the timelines")
        for kanal, seite in (("them", "me"), *([("me", "them")] if art == "mit" else [])):
            if gehoert[kanal, seite] and not gestoert:
                self.nie.append((art, kanal, gehoert))
            self.assertEqual(gehoert[kanal, seite], 0, (art, kanal, gehoert))

    def lies(self, wirt, szene):
        """(channel, side) -> how many of the side's words stand in the channel's transcript at the time at
        which they were said; of the other side's, whichever it was taken for."""
        roh = signale.lies_ganz(os.path.join(wirt.ordner, "1", "mikro_roh.wav"))
        versatz = signale.lage_in(roh, signale.vorlagen(szene.mikro)[0]) / signale.ZIEL
        stuecke = [(sekunden(von) - versatz, sekunden(bis) - versatz, kanal, text.split())
                   for von, bis, kanal, text in re.findall(
                       r"^(\S+) --> (\S+)\n<v (\w+)>(.*)$", wirt.lies("transcript.vtt"), re.MULTILINE)]
        stuecke = [stueck for stueck in stuecke if stueck[0] > szene.beginn]
        print(*(f"{von:.1f} {kanal} {' '.join(worte)}" for von, _, kanal, worte in sorted(stuecke)), sep=", ")
        def gehoert(kanal, von, bis, worte):
            return any(stueck[2] == kanal and stueck[0] < von and bis < stueck[1]
                       and not worte.isdisjoint(stueck[3]) for stueck in stuecke)

        zahlen = {(kanal, seite): 0 for kanal in WOERTER for seite in WOERTER}
        for seite, von, bis, wort in szene.gesagt:
            mitte = (von + bis) / 2.0
            for kanal in WOERTER:
                zahlen[kanal, seite] += (gehoert(kanal, von + 0.2, bis - 0.2, {wort}) if kanal == seite
                                         else gehoert(kanal, mitte, mitte, set(WOERTER[seite])))
        return zahlen


def sekunden(text):
    stunden, minuten, rest = text.split(":")
    return int(stunden) * 3600 + int(minuten) * 60 + float(rest)
