#!/usr/bin/python3
"""A synthetic conversation: two voices of testsprecher, and a small room between them.

    scripts/lib/voices.py FOLDER

writes two WAV files of equal length, 48 kHz, 16 bits, meant to be started together:

    fern.wav    what the far end says (stereo): goes to the speakers
    mikro.wav   what the microphone hears (mono): the near voice, the far voice as the room returns
                it (40 ms later and 18 dB weaker, with reverberation) and a little noise

Both speak in turn, with pauses long enough for a cut between sentences and now and then at the same
time. Everything random is seeded: every run gives the same files.
"""

import concurrent.futures
import os
import subprocess
import sys
import wave

import numpy

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SPRECHER = os.path.join(WURZEL, "build", "release", "testsprecher")
RATE = 48000
SEED = 20240229

# Who speaks, how many seconds after the end of the turn before (negative: into it), and what.
GESPRAECH = [
    ("fern", 0.8, "Guten Morgen. Können Sie mich gut hören?"),
    ("nah", 0.9, "Guten Morgen. Ja, ich höre Sie klar und deutlich."),
    ("fern", 0.8, "Wunderbar. Dann fangen wir mit dem ersten Punkt an. Wie weit ist der Bericht?"),
    ("nah", 1.0, "Der Bericht ist fast fertig. Es fehlen noch die Zahlen aus dem letzten Quartal."),
    ("fern", -0.9, "Die Zahlen habe ich gestern bekommen."),
    ("fern", 1.1, "Ich schicke sie Ihnen gleich nach dieser Besprechung."),
    ("nah", 0.8, "Sehr gut. Dann kann ich ihn bis morgen Abend abschließen."),
    ("nah", 1.3, "Gibt es schon einen Termin mit den Kollegen in Hamburg?"),
    ("fern", 0.9, "Noch nicht. Am Donnerstag passt es den meisten, aber nicht allen."),
    ("nah", -0.7, "Donnerstag wäre mir recht."),
    ("fern", 0.7, "Gut. Vormittags um zehn oder lieber am Nachmittag?"),
    ("nah", 0.9, "Lieber am Vormittag. Nachmittags habe ich eine lange Zugfahrt vor mir."),
    ("fern", 0.8, "Dann trage ich zehn Uhr ein und lade alle ein."),
    ("fern", 1.4, "Der zweite Punkt betrifft die neue Anlage. Sie läuft seit Montag ohne Störung."),
    ("nah", 0.8, "Das freut mich. Wie hoch ist der Verbrauch?"),
    ("fern", 1.0, "Ein Fünftel niedriger als vorher. Das ist mehr, als wir erwartet haben."),
    ("nah", -1.0, "Ein Fünftel? Das hätte ich nicht gedacht."),
    ("nah", 0.9, "Wir sollten das noch einen Monat lang beobachten und erst dann berichten."),
    ("fern", 0.8, "Einverstanden. Haben Sie sonst noch etwas auf dem Zettel?"),
    ("nah", 1.0, "Nur eine Kleinigkeit. Der Schlüssel für den Keller liegt jetzt am Empfang."),
    ("fern", 0.9, "Danke für den Hinweis. Dann sind wir für heute durch."),
    ("nah", 0.8, "Vielen Dank. Auf Wiederhören."),
    ("fern", -0.4, "Auf Wiederhören und einen schönen Tag."),
]
STIMMEN = ("nah", "fern")
PEGEL = {"nah": 0.35, "fern": 0.35}  # peak of each sentence, full scale is 1
AUSKLANG = 1.5  # seconds of quiet at the end

DIREKT = 0.040  # seconds from the loudspeaker to the microphone, sound card's buffers included
LECK_DB = -18.0
NACHHALL = 0.25  # seconds until the room has lost 60 dB
RAUSCHEN_DB = -72.0


def spreche(wer, text):
    """One sentence as samples at RATE."""
    roh = subprocess.run([SPRECHER, wer, text], check=True, stdout=subprocess.PIPE).stdout
    ton = numpy.frombuffer(roh, "<f4").astype(float)
    return ton * (PEGEL[wer] / max(numpy.abs(ton).max(), 1e-9))


def auf_rate(ton, von, nach):
    """The samples at another rate, by cutting or padding the spectrum."""
    laenge = round(len(ton) * nach / von)
    spektrum = numpy.fft.rfft(ton)
    return numpy.fft.irfft(spektrum, laenge) * (laenge / len(ton))


def raumantwort(zufall):
    """Impulse response of a small room: the direct sound, then noise that decays exponentially."""
    zeit = numpy.arange(round(NACHHALL * RATE)) / RATE
    hall = zufall.standard_normal(len(zeit)) * 10.0 ** (-3.0 * zeit / NACHHALL)
    hall[0] = 12.0  # the direct sound, well above the single reflections
    hall *= 10.0 ** (LECK_DB / 20.0) / numpy.sqrt((hall ** 2).sum())
    return numpy.concatenate([numpy.zeros(round(DIREKT * RATE)), hall])


def falte(ton, antwort):
    laenge = len(ton) + len(antwort) - 1
    groesse = 1 << (laenge - 1).bit_length()
    produkt = numpy.fft.rfft(ton, groesse) * numpy.fft.rfft(antwort, groesse)
    return numpy.fft.irfft(produkt, groesse)[:len(ton)]


def baue_spuren():
    """Returns (fern, mikro, nah), three sample arrays of equal length; nah is the near voice alone."""
    with concurrent.futures.ThreadPoolExecutor(2) as helfer:
        saetze = list(helfer.map(lambda zug: spreche(zug[0], zug[2]), GESPRAECH))
    ende, lage = 0.0, []
    for (wer, abstand, _), satz in zip(GESPRAECH, saetze):
        anfang = max(0.0, ende + abstand)
        lage.append((wer, round(anfang * RATE), satz))
        ende = max(ende, anfang + len(satz) / RATE)
    spur = {wer: numpy.zeros(round((ende + AUSKLANG) * RATE)) for wer in STIMMEN}
    for wer, anfang, satz in lage:
        spur[wer][anfang:anfang + len(satz)] += satz
    zufall = numpy.random.default_rng(SEED)
    mikro = spur["nah"] + falte(spur["fern"], raumantwort(zufall))
    mikro += zufall.standard_normal(len(mikro)) * 10.0 ** (RAUSCHEN_DB / 20.0)
    return spur["fern"], mikro, spur["nah"]


def schreibe(pfad, *kanaele, rate=RATE):
    """Writes samples as a WAV file of 16 bits, one argument for each channel."""
    werte = numpy.clip(numpy.stack(kanaele, axis=1), -1.0, 1.0)
    with wave.open(pfad, "wb") as datei:
        datei.setnchannels(len(kanaele))
        datei.setsampwidth(2)
        datei.setframerate(rate)
        datei.writeframes(numpy.rint(werte * 32767.0).astype("<i2").tobytes())


def erzeuge(ordner):
    """Writes both files and returns their paths."""
    fern, mikro, _ = baue_spuren()
    pfade = os.path.join(ordner, "fern.wav"), os.path.join(ordner, "mikro.wav")
    schreibe(pfade[0], fern, fern)
    schreibe(pfade[1], mikro)
    return pfade


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: voices.py FOLDER")
    os.makedirs(sys.argv[1], exist_ok=True)
    print(*erzeuge(sys.argv[1]), sep="\n")
