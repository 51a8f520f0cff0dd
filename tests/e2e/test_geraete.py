"""Devices and daemons that are missing, go, come back and change."""

import os
import time

import lauf
import signale

# A channel without its source stays this silent (RMS); the sounds played are at 0.1.
NICHTS = 1e-4
STILLE = 0.006  # RMS below which a chunk is dropped
ABGERISSEN = "die Verbindung zu PipeWire ist abgerissen"
OHNE_MIKROFON = "Mikrofon unterbrochen: kein Mikrofon gefunden"
FREMDES_SWRESAMPLE = os.path.join(os.path.dirname(lauf.PROGRAMM), "tests", "fremdes_swresample.so")
# Until the recorder has noticed that a device is gone.
UMSCHALTEN = 0.25


class Geraete(lauf.Fall):

    def klang(self, name, saat, sekunden=60.0):
        pfad = os.path.join(self.ordner, name + ".wav")
        ton = signale.rauschen(sekunden, saat)
        signale.schreibe(pfad, ton, ton)
        return pfad

    def roh(self):
        return os.path.join(self.aufnahme, "mikro_roh.wav")


class MikrofonFehlt(Geraete):
    GERAETE = {"mikrofon": False}

    def test_degraded_me(self):
        self.raum.spiele(self.klang("fern", 4), "speakers")
        aufnahme = self.lauf()
        degraded = aufnahme.ereignis("degraded")
        self.assertEqual(degraded["channel"], "me")
        self.assertTrue(degraded["message"])
        started = aufnahme.gestartet()
        self.assertEqual((started["mic"], started["system"]), (False, True))
        aufnahme.chunk("them")
        aufnahme.stoppe()
        self.assertEqual(aufnahme.chunks("me"), [])
        self.assertEqual(len(signale.lies_ganz(self.roh())), 0)
        self.assertEqual(aufnahme.diagnosen("WARNUNG: nur System-Audio — Mikrofon verweigert: "), 1)


class SystemAudioFehlt(Geraete):
    # Without "speakers" the microphone's feed would be the only sink; it goes too.
    GERAETE = {"lautsprecher": False, "mikrofon": False}

    def test_degraded_them(self):
        self.raum.lege_an("mic")
        self.raum.warte_standard("source", "mic")
        aufnahme = self.lauf()
        degraded = aufnahme.ereignis("degraded")
        self.assertEqual(degraded["channel"], "them")
        self.assertTrue(degraded["message"])
        started = aufnahme.gestartet()
        self.assertEqual((started["mic"], started["system"]), (True, False))
        self.warte_bis(lambda: os.path.getsize(self.roh()) > 16000, "half a second of microphone")
        aufnahme.stoppe()
        self.assertEqual(aufnahme.chunks("them"), [])
        self.assertEqual(aufnahme.diagnosen("WARNUNG: nur Mikrofon — System-Audio verweigert: "), 1)


class BeidesFehlt(Geraete):
    GERAETE = {"lautsprecher": False, "mikrofon": False}

    def test_error_und_status_2(self):
        self.pruefe(self.lauf())

    def test_kein_pipewire(self):
        self.pruefe(self.lauf(umgebung=self.ohne_dienst()))

    def pruefe(self, aufnahme):
        fehler = aufnahme.ereignis("error")
        self.assertTrue(fehler["message"])
        self.assertEqual(aufnahme.ende(), 2)
        self.assertEqual(len(aufnahme.saetze()), 1, aufnahme.alles())
        self.assertLess(time.monotonic() - aufnahme.anfang, 40.0)
        for text in ("Mikrofon nicht verfuegbar: ", "System-Audio nicht verfuegbar: "):
            self.assertEqual(aufnahme.diagnosen(text), 1)


class AnderesSwresample(Geraete):
    """A libswresample without an option that is needed: another version is taken, and without one the start
    fails instead of recording nothing."""

    def bibliotheken(self, *ohne_option, echte=None):
        """A folder that is searched first."""
        ordner = os.path.join(self.ordner, "bibliotheken")
        os.mkdir(ordner)
        for nummer in ohne_option:
            os.symlink(FREMDES_SWRESAMPLE, os.path.join(ordner, f"libswresample.so.{nummer}"))
        if echte:
            pfad, nummer = echte
            os.symlink(pfad, os.path.join(ordner, f"libswresample.so.{nummer}"))
        return self.raum.umgebung | {"LD_LIBRARY_PATH": ordner}

    def test_eine_andere_wird_genommen(self):
        pfad, nummer = lauf.swresample()
        aufnahme = self.lauf(umgebung=self.bibliotheken(nummer, echte=(pfad, nummer + 1)))
        aufnahme.gestartet()
        self.raum.spiele(self.klang("nah", 7), "mic-feed")
        aufnahme.warte_klang()
        aufnahme.stoppe()

    def test_keine_ist_ein_fehler(self):
        aufnahme = self.lauf(umgebung=self.bibliotheken(*range(4, 13)))
        BeidesFehlt.pruefe(self, aufnahme)
        self.assertEqual(aufnahme.diagnosen("kennt nicht alle Einstellungen, die gebraucht werden"), 2,
                         aufnahme.alles())


class WireplumberFehlt(Geraete):
    GERAETE = {"wireplumber": False}

    def test_error_innerhalb_der_frist(self):
        BeidesFehlt.pruefe(self, self.lauf())


class Wechsel(Geraete):

    def laufend(self):
        self.raum.spiele(self.klang("fern", 5, 120.0), "speakers")
        self.raum.spiele(self.klang("nah", 6, 120.0), "mic-feed")
        aufnahme = self.lauf()
        aufnahme.gestartet()
        aufnahme.chunk("me")
        aufnahme.chunk("them")
        return aufnahme

    def test_dienst_stirbt_und_kommt_wieder(self):
        aufnahme = self.laufend()
        self.raum.beende_pipewire()
        gegangen = {name: aufnahme.meldung(text) for name, text in
                    (("me", "Mikrofon unterbrochen: " + ABGERISSEN),
                     ("them", "SCStream gestoppt: " + ABGERISSEN))}
        self.raum.starte_pipewire()
        self.raum.starte_wireplumber()
        aufnahme.meldung("Mikrofon wieder da", ab=gegangen["me"])
        aufnahme.meldung("System-Audio wieder da", ab=gegangen["them"])
        self.raum.spiele(self.klang("fern2", 7), "speakers")
        self.raum.spiele(self.klang("nah2", 8), "mic-feed")
        bisher = {kanal: len(aufnahme.chunks(kanal)) for kanal in ("me", "them")}
        for kanal, anzahl in bisher.items():
            aufnahme.chunk(kanal, ab_nummer=anzahl + 1)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        for text in ("Mikrofon unterbrochen: ", "SCStream gestoppt: "):
            self.assertEqual(aufnahme.unterbrechungen(text), 1, aufnahme.alles())
        for kanal in ("me", "them"):
            bericht = aufnahme.zeitachse()[kanal]
            self.assertGreaterEqual(bericht["luecken"], 1)
            self.assertGreater(bericht["luecken_ms"], 0)
        # The hole is filled: the file is as long as the recording took, less what start and stop do.
        ende = aufnahme.chunks("me")[-1]["t1"]
        roh = signale.lies_ganz(self.roh())
        self.assertGreaterEqual(len(roh) / signale.ZIEL, ende - 0.0051)
        self.assertLess(signale.pegel(roh[round((ende + 0.0051) * signale.ZIEL):]), STILLE)

    def test_stopp_ohne_dienst(self):
        aufnahme = self.laufend()
        self.raum.beende_pipewire()
        aufnahme.meldung("Mikrofon unterbrochen: ")
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        signale.lies_ganz(self.roh())

    def test_anderes_standardgeraet(self):
        aufnahme = self.laufend()
        # Silent until it is picked: what is heard afterwards can only come from the new devices.
        self.raum.lege_an("kopfhoerer", rang=10)
        self.raum.lege_an("headset", "Audio/Source/Virtual", ("MONO",), rang=10)
        self.raum.lege_an("headset-feed", "Audio/Sink", ("MONO",), rang=1)
        self.raum.verbinde("headset-feed:monitor_MONO", "headset:input_MONO")
        neu = {"them": self.klang("fern2", 9), "me": self.klang("nah2", 10)}
        self.raum.spiele(neu["them"], "kopfhoerer")
        self.raum.spiele(neu["me"], "headset-feed")
        self.raum.setze_standard("sink", "kopfhoerer")
        self.raum.setze_standard("source", "headset")
        bisher = {kanal: len(aufnahme.chunks(kanal)) for kanal in ("me", "them")}
        # The chunk that is being collected holds the change, and so may the next ones if the session
        # manager takes its time. A player that misses its turn on a busy machine leaves silence.
        for kanal, saat in (("them", 9), ("me", 10)):
            vorlagen = signale.vorlagen(signale.rauschen(60.0, saat))
            for nummer in range(bisher[kanal] + 1, bisher[kanal] + 8):
                ton = signale.lies_ganz(aufnahme.chunk(kanal, ab_nummer=nummer)["path"])
                bester = max(self.aehnlichkeit(vorlage, ton) for vorlage in vorlagen)
                if bester > 0.9:
                    break
            self.assertGreater(bester, 0.9, kanal)
        aufnahme.stoppe()

    @staticmethod
    def aehnlichkeit(vorlage, ton):
        lage = signale.lage_in(vorlage, ton)
        if not 0 <= lage <= len(vorlage) - len(ton):
            return 0.0
        return signale.korrelation(vorlage[lage:lage + len(ton)], ton)

    def test_mikrofon_weg_waehrend_die_gegenseite_spricht(self):
        aufnahme = self.laufend()
        self.raum.entferne("mic")
        weg = aufnahme.meldung(OHNE_MIKROFON)
        vorher = os.path.getsize(self.roh())
        bisher = len(aufnahme.chunks("them"))
        aufnahme.chunk("them", ab_nummer=bisher + 1)  # the far end speaks on, and is recorded
        self.raum.lege_an("mic")
        self.raum.warte_standard("source", "mic")
        aufnahme.meldung("Mikrofon wieder da", ab=weg)
        # The silence of the gap comes with the first block.
        self.warte_bis(lambda: os.path.getsize(self.roh()) > vorher + 2 * signale.ZIEL * 2, "the gap")
        aufnahme.warte_klang()
        aufnahme.stoppe()
        roh = signale.lies_ganz(self.roh())
        zurueck = self.beginn_nach(roh, vorher // 2)
        fehlend = roh[vorher // 2 + round(UMSCHALTEN * signale.ZIEL):zurueck]
        self.assertGreater(len(fehlend), 2 * signale.ZIEL)
        self.assertLess(signale.pegel(fehlend), NICHTS)
        # A machine that is itself halted costs both channels the same.
        luecken = {kanal: aufnahme.zeitachse()[kanal]["luecken_ms"] for kanal in ("me", "them")}
        self.assertLess(luecken["them"], luecken["me"] - 1500, aufnahme.alles())

    @staticmethod
    def beginn_nach(roh, ab):
        """The first index well after `ab` from which sound is there again."""
        stelle = ab + round(UMSCHALTEN * signale.ZIEL)
        while stelle + 160 < len(roh) and signale.pegel(roh[stelle:stelle + 160]) < NICHTS:
            stelle += 160
        return stelle

    def test_mikrofon_weg_fuer_immer(self):
        aufnahme = self.laufend()
        self.raum.entferne("mic")
        aufnahme.meldung(OHNE_MIKROFON)
        vorher = os.path.getsize(self.roh()) // 2
        bisher = len(aufnahme.chunks("them"))
        aufnahme.chunk("them", ab_nummer=bisher + 1)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        roh = signale.lies_ganz(self.roh())
        self.assertLess(signale.pegel(roh[vorher + round(UMSCHALTEN * signale.ZIEL):]), NICHTS)


class Protokoll(Geraete):
    """What PipeWire's library logs, here as much as a user's configuration can ask for."""

    def setUp(self):
        super().setUp()
        # The name of a client's configuration depends on the version of the library.
        for name in ("client.conf.d", "client-rt.conf.d"):
            ordner = os.path.join(self.raum.umgebung["XDG_CONFIG_HOME"], "pipewire", name)
            os.makedirs(ordner)
            with open(os.path.join(ordner, "protokoll.conf"), "w", encoding="ascii") as datei:
                datei.write("context.properties = { log.level = 4 }\n")

    def test_bleibt_aus_den_diagnosen(self):
        aufnahme = self.lauf()
        aufnahme.gestartet()
        aufnahme.stoppe()
        aufnahme.pruefe_diagnose()

    def test_kommt_auf_wunsch(self):
        aufnahme = self.lauf(umgebung=self.raum.umgebung | {"PIPEWIRE_DEBUG": "4"}, protokoll=True)
        aufnahme.gestartet()
        aufnahme.stoppe()
        self.assertGreater(aufnahme.diagnosen("pw.context"), 0)
