"""What leaves a recording: nothing but its own files and lines."""

import os
import re
import subprocess

import lauf
import test_video

GEHEIM = "Geheimsache"  # in the title
FACH = "Geheimfach"  # in the folder


class Hinaus(test_video.Fensterfall):

    def test_nichts_geht_hinaus(self):
        """Neither title nor folder is in what PipeWire and the X server show to every program, and there is no
        file but those of the recording's folder, open or left behind."""
        eigene = {name: os.path.join(self.ordner, name) for name in ("HOME", "TMPDIR")}
        for ordner in eigene.values():
            os.mkdir(ordner)
        self.oeffne(f"Zoom Meeting {GEHEIM}", test_video.ZOOM, "zoom")
        vorher = self.eigenschaften()
        self.assertTrue(any(GEHEIM in text for text in vorher.values()))
        zwischenlager = set(os.listdir("/tmp"))
        aufnahme = self.lauf("--max", "2", video=True, echo=True, umgebung=self.bildschirm.umgebung | eigene,
                             ordner=os.path.join(self.ordner, FACH))
        aufnahme.gestartet()
        self.assertIn(GEHEIM, aufnahme.ereignis("video_start")["quelle"])
        aufnahme.warte_aufnahme(1.5)
        self.pruefe_offene(aufnahme)
        # Its own windows, if there were any, would be among those that are new.
        nachher = self.eigenschaften()
        self.assertEqual({nummer for nummer, text in nachher.items() if GEHEIM in text},
                         {nummer for nummer, text in vorher.items() if GEHEIM in text})
        graph = self.raum.befehl("pw-dump", "--no-colors")
        self.assertIn("hallkorb", graph)
        for text in (graph, *nachher.values()):
            self.assertNotIn(FACH, text)
        self.assertNotIn(GEHEIM, graph)
        aufnahme.stoppe()
        for ordner in eigene.values():
            self.assertEqual(os.listdir(ordner), [])
        # Other programs' files come and go there, other recorders' too.
        neue = set(os.listdir("/tmp")) - zwischenlager
        nummer = str(aufnahme.prozess.pid)
        self.assertEqual({name for name in neue if nummer in re.findall(r"\d+", name)}, set())

    def eigenschaften(self):
        """Everything that the X server shows of each window, the root among them."""
        def frage(*worte):
            return subprocess.run(worte, env=self.bildschirm.umgebung, check=False, timeout=lauf.FRIST,
                                  capture_output=True, text=True, errors="replace").stdout

        fenster = set(re.findall(r"0x[0-9a-f]+", frage("xwininfo", "-root", "-tree")))
        self.assertGreater(len(fenster), 1)
        return {nummer: frage("xprop", "-id", nummer) for nummer in fenster}

    def pruefe_offene(self, aufnahme):
        """Each file that is open for writing lies in the recording's folder."""
        ordner = f"/proc/{aufnahme.prozess.pid}"
        geschrieben = set()
        for nummer in os.listdir(f"{ordner}/fd"):
            try:
                ziel = os.readlink(f"{ordner}/fd/{nummer}")
                with open(f"{ordner}/fdinfo/{nummer}", encoding="ascii") as datei:
                    flags = int(re.search(r"^flags:\s*(\d+)", datei.read(), re.MULTILINE)[1], 8)
            except FileNotFoundError:  # closed meanwhile
                continue
            if ziel.startswith("/") and not ziel.startswith(("/dev/", "/memfd:")) and flags & os.O_ACCMODE:
                geschrieben.add(ziel)
        self.assertIn(os.path.join(aufnahme.ordner, "mikro_roh.wav"), geschrieben)
        for ziel in geschrieben:
            self.assertEqual(os.path.dirname(ziel), aufnahme.ordner)
