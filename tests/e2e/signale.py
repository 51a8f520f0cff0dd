"""Sounds that a test plays, and how it finds them again in what was recorded."""

import struct

import numpy

import voices

RATE = 48000
ZIEL = 16000


def gespraech(sekunden, saat, *, spitze=0.5):
    """Bursts of noise with pauses between, like the turns of a talk, at RATE. Band-limited to 200 to
    6000 Hz, so that the recorder's resampler passes it unchanged."""
    zufall = numpy.random.default_rng(saat)
    laenge = round(sekunden * RATE)
    huelle = numpy.zeros(laenge)
    stelle = round(zufall.uniform(0.1, 0.4) * RATE)
    while stelle < laenge:
        dauer = round(zufall.uniform(0.8, 5.5) * RATE)
        huelle[stelle:stelle + dauer] = zufall.uniform(0.5, 1.0)
        stelle += dauer + round(zufall.uniform(0.3, 2.5) * RATE)
    huelle[-RATE // 2:] = 0.0
    ton = _band(zufall.standard_normal(laenge)) * huelle
    return ton * (spitze / numpy.abs(ton).max())


def rauschen(sekunden, saat, *, effektiv=0.1):
    """Noise without a pause."""
    ton = _band(numpy.random.default_rng(saat).standard_normal(round(sekunden * RATE)))
    return ton * (effektiv / numpy.sqrt((ton ** 2).mean()))


def _band(ton):
    spektrum = numpy.fft.rfft(ton)
    frequenz = numpy.fft.rfftfreq(len(ton), 1.0 / RATE)
    spektrum[(frequenz < 200.0) | (frequenz > 6000.0)] = 0.0
    return numpy.fft.irfft(spektrum, len(ton))


schreibe = voices.schreibe


def lies(pfad):
    """A WAV file of the recorder: (samples in [-1, 1], rate, declared bytes, bytes in the file).
    Checks every field of the header but the two lengths."""
    with open(pfad, "rb") as datei:
        roh = datei.read()
    riff, _, wave, fmt, groesse, art, kanaele, rate, bytes_s, block, bits, data, erklaert = \
        struct.unpack("<4sI4s4sIHHIIHH4sI", roh[:44])
    if (riff, wave, fmt, groesse, art, kanaele, block, bits, data, bytes_s) != (
            b"RIFF", b"WAVE", b"fmt ", 16, 1, 1, 2, 16, b"data", rate * 2):
        raise AssertionError(f"{pfad}: not the header of a recording: {roh[:44]!r}")
    if struct.unpack("<I", roh[4:8])[0] != erklaert + 36:
        raise AssertionError(f"{pfad}: the two lengths contradict each other")
    ton = numpy.frombuffer(roh[44:44 + (len(roh) - 44) // 2 * 2], "<i2") / 32767.0
    return ton, rate, erklaert, len(roh) - 44


def lies_ganz(pfad):
    """The samples of a finished file, whose header must declare just what it holds."""
    ton, rate, erklaert, vorhanden = lies(pfad)
    if erklaert != vorhanden:
        raise AssertionError(f"{pfad}: declares {erklaert} bytes, holds {vorhanden}")
    if rate != ZIEL:
        raise AssertionError(f"{pfad}: rate {rate}")
    return ton


def vorlagen(ton):
    """What was played, at ZIEL, delayed by 0, 1/3 and 2/3 of a sample: the recorder's grid lies
    anywhere on the player's, which is three times as fine."""
    laenge = len(ton) * ZIEL // RATE
    spektrum = numpy.fft.rfft(ton)
    frequenz = numpy.fft.rfftfreq(len(ton), 1.0 / RATE)
    return [numpy.fft.irfft(spektrum * numpy.exp(-2j * numpy.pi * frequenz * phase / RATE),
                            len(ton))[::RATE // ZIEL][:laenge] for phase in range(3)]


def lage_in(ganzes, stueck):
    """The index in `ganzes` (negative: before its begin) at which `stueck` fits best."""
    groesse = 1 << (len(ganzes) + len(stueck) - 1).bit_length()
    kreuz = numpy.fft.irfft(numpy.fft.rfft(ganzes, groesse)
                            * numpy.conj(numpy.fft.rfft(stueck, groesse)), groesse)
    lage = int(numpy.argmax(kreuz))
    return lage - groesse if lage > groesse // 2 else lage


def lege(ziel, stueck, lage):
    """Puts `stueck` into the array `ziel` at `lage`, as far as it lies inside."""
    von, bis = max(lage, 0), min(lage + len(stueck), len(ziel))
    if bis > von:
        ziel[von:bis] = stueck[von - lage:bis - lage]


def korrelation(a, b):
    norm = numpy.sqrt((a ** 2).sum() * (b ** 2).sum())
    return float((a * b).sum() / norm) if norm > 0.0 else 0.0


def pegel(ton):
    """RMS."""
    return float(numpy.sqrt((numpy.asarray(ton) ** 2).mean())) if len(ton) else 0.0
