"""The program as it is built for macOS, and folders in which somebody has planted or exchanged something."""

import os
import stat

import drehbuch
import signale

NAMEN = ("chunk_me_000.wav", "chunk_them_000.wav", "mikro_roh.wav", "video.mp4")


class Vertraulich(drehbuch.MacFall):

    def laufend(self, *argumente, **mehr):
        aufnahme = self.aufnehmen(*argumente, video=True, **mehr)
        ton = self.schreibe_klang("ton", signale.rauschen(120.0, 3))
        self.buch.tu("spiele", mikro=ton, system=ton)
        return aufnahme

    def test_ordner_ausgetauscht(self):
        """A link in the place of the folder gets nothing, neither sound nor a picture that begins then."""
        fremd = os.path.join(self.ordner, "fremd")
        os.mkdir(fremd)
        aufnahme = self.laufend("--legacy-chunks", "--chunk", "2")
        aufnahme.chunk("me", 0, drehbuch.FRIST)
        os.rename(aufnahme.ordner, aufnahme.ordner + "-weg")
        os.symlink(fremd, aufnahme.ordner)
        self.buch.tu("fenster", **drehbuch.ZOOM)
        for meldung in ("Ordner ausgetauscht: ", "WAV-Schreibfehler (me #", "Video-Start fehlgeschlagen: "):
            aufnahme.meldung(meldung, drehbuch.FRIST)
        self.stoppe_ganz(aufnahme)
        self.assertEqual(os.listdir(fremd), [])
        self.assertEqual(aufnahme.diagnosen("Ordner ausgetauscht: "), 1, aufnahme.alles())
        self.assertEqual(aufnahme.ereignisse("video"), [])

    def test_rechte_und_verweise(self):
        """A new folder and all in it are the owner's alone, and no link planted at a file's name makes the
        recorder write elsewhere. The video's rights are what the platform's writer gives it."""
        fremd = os.path.join(self.ordner, "fremd")
        with open(fremd, "wb") as datei:
            datei.write(b"unberuehrt")
        for geplant in (False, True):
            ordner = os.path.join(self.ordner, f"aufnahme-{geplant}")
            if geplant:
                os.makedirs(ordner, mode=0o700)
                for name in NAMEN:
                    os.symlink(fremd, os.path.join(ordner, name))
            aufnahme = self.laufend("--max", "2", ordner=ordner, vorher=[("fenster", drehbuch.ZOOM)])
            self.buch.tu("warteBild", id=drehbuch.ZOOM["id"])
            aufnahme.ereignis("video_start", drehbuch.FRIST)
            for kanal in ("me", "them"):
                aufnahme.chunk(kanal, 0, drehbuch.FRIST)
            self.stoppe_ganz(aufnahme)
            self.assertEqual(stat.S_IMODE(os.stat(ordner).st_mode), 0o700)
            self.assertEqual(len(aufnahme.ereignisse("video")), 1, aufnahme.alles())
            self.assertLessEqual(set(NAMEN), set(self.dateien(ordner=ordner)))
            for name in self.dateien(ordner=ordner):
                auskunft = os.lstat(os.path.join(ordner, name))
                self.assertTrue(stat.S_ISREG(auskunft.st_mode), name)
                if name != "video.mp4":
                    self.assertEqual(stat.S_IMODE(auskunft.st_mode), 0o600, name)
        with open(fremd, "rb") as datei:
            self.assertEqual(datei.read(), b"unberuehrt")

    def test_ordner_an_der_stelle_des_videos(self):
        """It stays with all that it holds; there is no video, and the sound goes on."""
        ordner = os.path.join(self.ordner, "belegt")
        darin = os.path.join(ordner, "video.mp4", "wichtig")
        os.makedirs(os.path.dirname(darin))
        with open(darin, "wb") as datei:
            datei.write(b"bleibt")
        aufnahme = self.laufend(ordner=ordner, vorher=[("fenster", drehbuch.ZOOM)])
        aufnahme.meldung("Video-Schreiber startete nicht: ", drehbuch.FRIST)
        aufnahme.warte_aufnahme(1.0)
        self.stoppe_ganz(aufnahme)
        with open(darin, "rb") as datei:
            self.assertEqual(datei.read(), b"bleibt")
        self.assertEqual(aufnahme.ereignisse("video"), [])
        self.assertEqual(aufnahme.zeitachse()["me"]["luecken"], 0, aufnahme.alles())
        signale.lies_ganz(os.path.join(ordner, "mikro_roh.wav"))
