"""What was played, found again piece by piece in what was recorded."""

import dataclasses

import numpy

import signale

STUECK = signale.ZIEL // 4  # samples
LEISE = 0.02  # RMS below which a piece is a pause, or the player's edge
GLEICH = 0.9  # the recorder's grid may lie a sixth of a sample beside each of the three templates
LOCH = signale.ZIEL // 200  # samples of silence in a row, which noise never has


class Schleife:
    """A noise that is played over and over. A piece of it is found by its content alone, within one round."""

    def __init__(self, sekunden, saat):
        self._ton = signale.rauschen(sekunden, saat)
        self._vorlagen = signale.vorlagen(self._ton)
        self._spektren = [numpy.fft.rfft(vorlage) for vorlage in self._vorlagen]
        self.runde = len(self._vorlagen[0])

    def schreibe(self, pfad, sekunden):
        runden = int(numpy.ceil(sekunden * signale.RATE / len(self._ton)))
        signale.schreibe(pfad, numpy.tile(self._ton, runden))

    def finde(self, stueck):
        """(likeness, place in the round, in samples) of the piece where it fits best."""
        konjugiert = numpy.conj(numpy.fft.rfft(stueck, self.runde))
        bestes = (0.0, 0)
        for vorlage, spektrum in zip(self._vorlagen, self._spektren):
            ort = int(numpy.argmax(numpy.fft.irfft(spektrum * konjugiert, self.runde)))
            passend = numpy.take(vorlage, ort + numpy.arange(len(stueck)), mode="wrap")
            bestes = max(bestes, (signale.korrelation(stueck, passend), ort))
        return bestes

    def pruefe(self, chunks):
        """`chunks`: (t0, samples), one after the other without a break."""
        befund = Befund(loecher=loecher([ton for _, ton in chunks]))
        lagen = []
        for t0, ton in chunks:
            for ab in range(0, len(ton) - STUECK + 1, STUECK):
                stueck = ton[ab:ab + STUECK]
                if signale.pegel(stueck) < LEISE:
                    continue
                aehnlich, ort = self.finde(stueck)
                if aehnlich >= GLEICH:
                    befund.gleiche += 1
                    lagen.append(ort - round(t0 * signale.ZIEL) - ab)
                elif loecher([[1.0], stueck]):
                    befund.gebrochene += 1
                else:
                    befund.fremde += 1
        if lagen:
            halb = self.runde // 2
            abstaende = [(lage - lagen[0] + halb) % self.runde - halb for lage in lagen]
            befund.versatz = (max(abstaende) - min(abstaende)) / signale.ZIEL
        return befund


@dataclasses.dataclass
class Befund:
    loecher: list  # seconds of each silence within the sound
    gleiche: int = 0  # pieces that are what was played
    gebrochene: int = 0  # that are not, and have silence in them: the sound's beginning, or a hole of it
    fremde: int = 0  # that are not, and have none
    versatz: float = 0.0  # seconds by which their places differ from what their times say


def loecher(toene):
    """The silences in sounds that follow each other, from where there is sound first to the end, in seconds."""
    laut = numpy.flatnonzero(numpy.abs(numpy.concatenate([*toene, [1.0]])) > 1e-3)
    laengen = numpy.diff(laut)
    return [float(laenge) / signale.ZIEL for laenge in laengen[laengen > LOCH]]


def wie_roh(ton, roh, t0):
    """How alike a chunk that went through the echo path and the raw file are at its time: t0 is rounded to
    hundredths of a second."""
    mitte = round(t0 * signale.ZIEL)
    ab = max(0, mitte - 160)
    umgebung = roh[ab:mitte + len(ton) + 160]
    lage = signale.lage_in(umgebung, ton)
    if lage < 0 or lage + len(ton) > len(umgebung):
        return 0.0
    return signale.korrelation(ton, umgebung[lage:lage + len(ton)])
