"""Output folders that cannot be written, go away or fill up."""

import contextlib
import os
import stat

import lauf
import signale
import test_video


class Dateien(lauf.Fall):

    def laufend(self, *argumente, ordner=None):
        klang = os.path.join(self.ordner, "klang.wav")
        ton = signale.rauschen(40.0, 11)
        signale.schreibe(klang, ton, ton)
        self.raum.spiele(klang, "speakers")
        self.raum.spiele(klang, "mic-feed")
        aufnahme = self.lauf(*argumente, ordner=ordner)
        started = aufnahme.gestartet()
        self.assertEqual((started["mic"], started["system"]), (True, True))
        return aufnahme

    def ohne_dateien(self, ordner):
        """The recording runs and reports; nothing can be written."""
        aufnahme = self.laufend(ordner=ordner)
        self.warte_ohne_dateien(aufnahme)
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.pruefe_ohne_dateien(aufnahme)
        return aufnahme

    def test_datei_an_der_stelle_des_ordners(self):
        with open(self.aufnahme, "w", encoding="ascii") as datei:
            datei.write("bleibt")
        self.ohne_dateien(self.aufnahme)
        with open(self.aufnahme, encoding="ascii") as datei:
            self.assertEqual(datei.read(), "bleibt")

    def test_ordner_im_lauf_entfernt(self):
        aufnahme = self.laufend()
        aufnahme.chunk("me")
        self.entferne_ordner(self.aufnahme)
        aufnahme.meldung("WAV-Schreibfehler (me #")
        aufnahme.meldung("WAV-Schreibfehler (them #")
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        # Nothing is announced that comes after the first one that failed.
        for kanal in ("me", "them"):
            gescheitert = min(int(text.split(f"({kanal} #")[1].split(")")[0])
                              for text in aufnahme.diagnose.texte()
                              if f"WAV-Schreibfehler ({kanal} #" in text)
            self.assertLess(max((satz["chunk"] for satz in aufnahme.chunks(kanal)), default=-1),
                            gescheitert, aufnahme.alles())
        self.assertFalse(os.path.exists(self.aufnahme))

    def test_ordner_im_lauf_entfernt_und_neu_angelegt(self):
        self.pruefe_neu_angelegt(self.laufend(), lambda aufnahme: aufnahme.stoppe())

    def test_zweite_aufnahme_in_denselben_ordner(self):
        erste = self.laufend()
        erste.chunk("me")
        vorher = set(self.dateien())
        zweite = self.lauf()
        self.assertEqual(zweite.ende(), 2)
        self.assertEqual([satz["event"] for satz in zweite.saetze()], ["error"])
        grund = f"in den Ordner {self.aufnahme} schreibt schon eine andere Aufnahme"
        self.assertEqual(zweite.saetze()[0]["message"], grund)
        self.assertEqual(zweite.diagnose.texte(), [f"[hallkorb] Aufnahme nicht moeglich: {grund}"])
        self.assertLessEqual(vorher, set(self.dateien()))
        # Killed, it leaves no lock behind.
        erste.prozess.kill()
        erste.ende()
        dritte = self.lauf()
        dritte.gestartet()
        dritte.stoppe()

    def test_ordner_wird_mit_allen_darueber_angelegt(self):
        ordner = os.path.join(self.ordner, "a", "b", "c")
        aufnahme = self.laufend(ordner=ordner)
        aufnahme.chunk("me")
        aufnahme.stoppe()
        self.assertIn("chunk_me_000.wav", self.dateien(ordner=ordner))

    def test_halbe_datei_nie_unter_ihrem_namen(self):
        aufnahme = self.laufend("--max", "1.5")
        self.pruefe_nie_halb(self.aufnahme)
        aufnahme.stoppe()
        self.assertEqual(self.dateien("."), [])

    def test_vorhandene_roehre_als_ziel(self):
        pruefe = self.lege_roehre(self.aufnahme)
        aufnahme = self.laufend()
        aufnahme.chunk("me", ab_nummer=1)
        aufnahme.stoppe()
        pruefe(aufnahme.chunks("me")[0])


# The names of the program's threads and of those of its libraries. One of them names a core dump.
FADENNAMEN = {"hallkorb", "ausgabe", "chunks.them", "echo", "start", "stop", "task", "fenster", "x11-frist",
              "video-kodierer", "mikrofon", "system-audio", "hallkorb.pw"}
FADEN_VON_PIPEWIRE = "data-loop"


class Vertraulich(test_video.Fensterfall):

    def test_namen_des_prozesses(self):
        """What everybody on the computer can read of a process says nothing about the meeting: the command
        line stays as the host wrote it, and the names of the threads, which a core dump is called by, are
        always the same."""
        self.oeffne("Zoom Meeting Geheimsache", test_video.ZOOM, "zoom")
        aufnahme = self.lauf(video=True, echo=True, umgebung=self.bildschirm.umgebung)
        aufnahme.gestartet()
        self.assertIn("Geheimsache", aufnahme.ereignis("video_start", 60.0)["quelle"])
        aufnahme.warte_aufnahme(1.5, 60.0)
        proc = f"/proc/{aufnahme.prozess.pid}"
        namen = set()
        for faden in os.listdir(f"{proc}/task"):
            with contextlib.suppress(FileNotFoundError), \
                    open(f"{proc}/task/{faden}/comm", encoding="utf-8") as datei:
                namen.add(datei.read().rstrip("\n"))
        self.assertIn("video-kodierer", namen)
        fremde = {name for name in namen - FADENNAMEN if not name.startswith(FADEN_VON_PIPEWIRE)}
        self.assertEqual(fremde, set())
        with open(f"{proc}/cmdline", encoding="utf-8") as datei:
            self.assertEqual(datei.read().rstrip("\0").split("\0"), list(aufnahme.prozess.args))
        aufnahme.stoppe(frist=60.0)

    def test_ordner_ausgetauscht(self):
        """A link in the place of the folder gets nothing, neither sound nor a picture that begins then."""
        fremd = os.path.join(self.ordner, "fremd")
        os.mkdir(fremd)
        aufnahme = self.lauf("--legacy-chunks", "--chunk", "2", video=True,
                             umgebung=self.bildschirm.umgebung)
        aufnahme.gestartet()
        aufnahme.chunk("me", 0, 60.0)
        os.rename(self.aufnahme, self.aufnahme + "-weg")
        os.symlink(fremd, self.aufnahme)
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        aufnahme.meldung("Ordner ausgetauscht: ", 60.0)
        aufnahme.meldung("WAV-Schreibfehler (me #", 60.0)
        aufnahme.meldung("Video-Start fehlgeschlagen: ", 60.0)
        aufnahme.stoppe(frist=60.0)
        self.assertEqual(os.listdir(fremd), [])
        self.assertEqual(aufnahme.diagnosen("Ordner ausgetauscht: "), 1, aufnahme.alles())
        self.assertEqual(aufnahme.ereignisse("video"), [])

    def test_rechte_und_verweise(self):
        """A new folder and all in it are the owner's alone, and no link planted at a file's name makes the
        recorder write elsewhere."""
        fremd = os.path.join(self.ordner, "fremd")
        with open(fremd, "wb") as datei:
            datei.write(b"unberuehrt")
        self.oeffne("Zoom Meeting", test_video.ZOOM, "zoom")
        for geplant in (False, True):
            ordner = f"{self.aufnahme}-{geplant}"
            if geplant:
                os.makedirs(ordner, mode=0o700)
                for name in ("chunk_me_000.wav", "chunk_them_000.wav", "mikro_roh.wav", "video.mp4"):
                    os.symlink(fremd, os.path.join(ordner, name))
            aufnahme = self.lauf(video=True, umgebung=self.bildschirm.umgebung, ordner=ordner)
            aufnahme.gestartet()
            aufnahme.ereignis("video_start", 60.0)
            aufnahme.warte_aufnahme(3.0, 60.0)
            aufnahme.stoppe(frist=60.0)
            self.assertEqual(stat.S_IMODE(os.stat(ordner).st_mode), 0o700)
            self.assertEqual(len(aufnahme.ereignisse("video")), 1, aufnahme.alles())
            for satz in [*aufnahme.chunks(), *aufnahme.ereignisse("video"),
                         {"path": os.path.join(ordner, "mikro_roh.wav")}]:
                auskunft = os.lstat(satz["path"])
                self.assertTrue(stat.S_ISREG(auskunft.st_mode), satz)
                self.assertEqual(stat.S_IMODE(auskunft.st_mode), 0o600, satz)
        with open(fremd, "rb") as datei:
            self.assertEqual(datei.read(), b"unberuehrt")


class EigenesDateisystem(Dateien):
    MIT_MOUNT = True

    def test_nur_lesbarer_ordner(self):
        self.haenge_ein(self.aufnahme, "-o", "ro")
        self.ohne_dateien(self.aufnahme)
        self.assertEqual(self.dateien(), [])

    def test_platte_voll(self):
        self.haenge_ein(self.aufnahme, "-o", "size=512k")
        aufnahme = self.laufend()
        aufnahme.meldung("WAV-Schreibfehler (")
        aufnahme.meldung("mikro_roh.wav: ")
        self.assertLess(aufnahme.stoppe(), lauf.PROMPT)
        self.assertGreaterEqual(len(aufnahme.chunks()), 1)
        for satz in aufnahme.chunks():
            laenge = len(signale.lies_ganz(satz["path"])) / signale.ZIEL
            self.assertAlmostEqual(satz["t1"] - satz["t0"], laenge, delta=0.0101)
        # What could not be written whole is not there at all.
        namen = sorted(os.path.basename(satz["path"]) for satz in aufnahme.chunks())
        self.assertEqual(self.dateien("chunk_"), namen)
        self.assertEqual(self.dateien("."), [])
        # The continuous file's header never promises more than the file holds.
        _, _, erklaert, vorhanden = signale.lies(os.path.join(self.aufnahme, "mikro_roh.wav"))
        self.assertLessEqual(erklaert, vorhanden)


# Only a base for the tests above, whose own it would run a second time.
for _name in [name for name in vars(Dateien) if name.startswith("test_")]:
    setattr(EigenesDateisystem, _name, None)
