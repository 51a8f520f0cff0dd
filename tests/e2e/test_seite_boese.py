"""The page of folders that do harm, are broken or have lost something: nothing of them runs, and it says what
is wrong. Stage "seite"."""

import glob
import os
import shlex
import subprocess

import kunstordner
import seitenfall
import test_sitzung


class Boese(seitenfall.Seitenfall):

    def test_nichts_aus_dem_ordner_laeuft(self):
        """Names, titles and lines that are scripts; files that are not what they say."""
        boese = "</script><script>window.boese=1</script><img src=x onerror='window.boese=2'>\u2028\u202e\"'&amp;"
        ordner = self.kunst(name="<b>&amp; \"#1%?'", sekunden=40)
        self.saetze[1:1] = [
            {"event": "degraded", "channel": "me", "message": boese},
            {"event": "video_start", "quelle": boese, "t_s": 0.5},
            {"event": "video_pause", "message": boese, "t_s": 5.0},
            {"event": "video_none", "message": "javascript:alert(1)"},
            {"chunk": 900, "channel": "me", "path": "../../../etc/passwd", "t0": 1.0, "t1": 2.0},
            {"chunk": 901, "channel": "them", "path": "http://example.invalid/x.wav", "t0": 600000.0, "t1": 600001.0},
            {"event": "echo", "verzoegerung_ms": 1e308, "leck": "</script>", "bloecke": -1}]
        kunstordner.schreibe_zeilen(ordner, self.saetze)
        with open(os.path.join(ordner, "ereignisse.jsonl"), "ab") as datei:
            datei.write(b"</script><script>window.boese=3</script>\n\xff\xfe\0{\n" + b"[" * 5000 + b"\n")
        os.symlink("/etc/passwd", os.path.join(ordner, "chunk_me_901.wav"))
        with open(os.path.join(ordner, "chunk_them_000.wav"), "r+b") as datei:
            datei.seek(40)
            datei.write(b"\xff\xff\xff\xff")
        seite = self.oeffne(ordner)
        self.assertEqual(seite.tu("typeof window.boese"), "undefined")
        self.assertEqual(seite.tu("document.querySelectorAll('img').length"), 0)
        self.assertEqual(seite.tu("document.getElementById('name').textContent"), os.path.basename(ordner))
        self.assertIn("window.boese=1", seite.tu("document.getElementById('befunde').textContent"))
        # A command that is copied from the page is what it looks like.
        befehl = seite.tu("document.querySelector('#befunde code').textContent")
        self.assertEqual(shlex.split(befehl), ["hallkorb-sitzung", "reparieren", os.path.basename(ordner)])
        # The folder's own sound plays although its name means something in addresses.
        seite.tu("document.getElementById('zeit').focus()")
        chunk = self.chunks("me")[1]
        self.assertEqual(chunk["chunk"], 0)
        seite.tu("document.getElementById('auswahl').value = 'me'")
        seite.tu("document.getElementById('auswahl').dispatchEvent(new Event('change'))")
        seite.tu("[...document.querySelectorAll('#zeilen tr')].find(z => z.cells[2].textContent === '0')"
                 ".querySelector('button').click()")
        self.hoerte(seite, "chunk_me_000.wav")
        self.ohne_klagen(seite, ordner)

    def test_ohne_zeilen(self):
        ordner = self.kunst(sekunden=40)
        os.unlink(os.path.join(ordner, "ereignisse.jsonl"))
        seite = self.oeffne(ordner)
        self.assertIn("Wann die Chunks gesprochen wurden, ist nicht bekannt.",
                      seite.tu("document.getElementById('befunde').textContent"))
        self.assertEqual(seite.tu("document.getElementById('fassung').disabled"), True)
        seite.klicke("#spiel")
        self.sagte(seite, "Chunk 0")
        self.ohne_klagen(seite, ordner)
        # If there is no chunk, what there is.
        for datei in glob.glob(os.path.join(ordner, "chunk_*")):
            os.unlink(datei)
        seite = self.oeffne(ordner, seite.browser)
        seite.klicke("#spiel")
        self.hoerte(seite, "mikro_roh.wav")
        self.ohne_klagen(seite, ordner)

    def test_abgebrochen_und_unvollstaendig(self):
        """Each thing that is wrong has its sentence, and the command that helps."""
        ordner = self.kunst(sekunden=60)
        kunstordner.schreibe_zeilen(ordner, [satz for satz in self.saetze if satz.get("event") not in
                                             ("done", "echo", "zeitachse", "video")])
        os.unlink(os.path.join(ordner, "chunk_me_001.wav"))
        with open(os.path.join(ordner, ".hallkorb-1-2.teil"), "wb"):
            pass
        seite = self.oeffne(ordner)
        worte = seite.tu("document.getElementById('befunde').textContent")
        for satz in ("Die Aufnahme wurde abgebrochen, oder sie läuft noch.", "1 Chunk fehlt.",
                     "1 Datei blieb unfertig zurück.", "hallkorb-sitzung reparieren recording"):
            self.assertIn(satz, worte)
        self.assertNotIn("vollständig", worte)
        self.assertIn("nicht bekannt", seite.tu("document.getElementById('echo').textContent"))
        self.assertIn("fehlt", seite.tu("document.querySelector('tr.fehlt').textContent"))
        # The command helps.
        subprocess.run([test_sitzung.SITZUNG, "reparieren", ordner], check=True, stdout=subprocess.DEVNULL)
        seite = self.oeffne(ordner, seite.browser)
        self.assertNotIn("unfertig", seite.tu("document.getElementById('befunde').textContent"))
        self.ohne_klagen(seite, ordner)
