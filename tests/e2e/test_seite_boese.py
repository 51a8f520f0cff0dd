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
        # The command helps, and is offered once only.
        self.assertEqual(seite.tu("document.querySelectorAll('#befunde code').length"), 1)
        subprocess.run([test_sitzung.SITZUNG, "reparieren", ordner], check=True, stdout=subprocess.DEVNULL)
        seite = self.oeffne(ordner, seite.browser)
        worte = self.befunde(seite)
        self.assertNotIn("unfertig", worte)
        self.assertIn("Die Aufnahme wurde abgebrochen", worte)
        self.assertEqual(seite.tu("document.querySelectorAll('#befunde code').length"), 0)
        self.ohne_klagen(seite, ordner)

    def test_was_geloescht_ist_war_nicht_still(self):
        """A host may delete the chunks that it has read."""
        ordner = self.kunst(sekunden=40, video=False)
        gesprochen = "[...document.querySelectorAll('#kennzahlen .me, #kennzahlen .them')].map(e => e.textContent)"
        programm = self.chrom()
        vorher = self.oeffne(ordner, programm).tu(gesprochen)
        for kanal, roh in (("them", True), ("me", True), ("me", False)):
            with self.subTest(kanal=kanal, roh=roh):
                for name in glob.glob(os.path.join(ordner, f"chunk_{kanal}_*")):
                    os.unlink(name)
                if not roh:
                    os.unlink(os.path.join(ordner, "mikro_roh.wav"))
                seite = self.oeffne(ordner, programm)
                worte = self.befunde(seite)
                self.assertIn("Chunks fehlen.", worte)
                self.assertNotIn("nichts als Stille", worte)
                # The raw file has what the microphone heard, and nothing else.
                self.assertEqual("hat auch die rohe Aufnahme diese Stellen" in worte, kanal == "me" and roh)
                self.assertEqual(seite.tu(gesprochen), vorher)
                self.ohne_klagen(seite, ordner)
                seite.schliesse()

    def test_still_oder_ohne_sprache(self):
        """A channel without a chunk was silent, unless what it held was left out as nobody spoke."""
        ordner = self.kunst(sekunden=20, video=False)
        for name in glob.glob(os.path.join(ordner, "*.wav")):
            os.unlink(name)
        programm = self.chrom()
        for ohne_sprache, mikrofon_still in ((7, False), (0, True)):
            kunstordner.schreibe_zeilen(ordner, [
                satz | ({"chunks_ohne_sprache": ohne_sprache} if satz.get("event") == "echo" else {})
                for satz in self.saetze if "chunk" not in satz])
            seite = self.oeffne(ordner, programm)
            self.assertEqual("Vom Mikrofon kam nichts als Stille." in self.befunde(seite), mikrofon_still)
            self.assertIn("Vom Rechner kam nichts als Stille.", self.befunde(seite))
            self.ohne_klagen(seite, ordner)
            seite.schliesse()

    def test_ein_kanal_fehlte_von_anfang_an(self):
        """Also if the recording before it in the same file was killed, and if no line gives the reason."""
        ordner = self.kunst(sekunden=20, video=False)
        start = self.saetze[0] | {"mic": False}
        grund = {"event": "degraded", "channel": "me", "message": "verweigert"}
        davor = [self.saetze[0], self.saetze[1]]
        programm = self.chrom()
        for anfang, worte in (([*davor, grund, start], "Gemeldet wurde: verweigert"), ([start], ""),
                              ([grund | {"channel": "?"}, self.saetze[0]], "Ein Kanal wurde nicht aufgenommen.")):
            kunstordner.schreibe_zeilen(ordner, [*anfang, *self.saetze[1:]])
            seite = self.oeffne(ordner, programm)
            gesagt = self.befunde(seite)
            self.assertIn(worte, gesagt)
            self.assertEqual("Das Mikrofon wurde nicht aufgenommen." in gesagt, start in anfang)
            self.assertNotIn("Die Aufnahme ist vollständig.", gesagt)
            self.ohne_klagen(seite, ordner)
            seite.schliesse()

    def test_was_fehlt_ist_nicht_verworfen(self):
        ordner = self.kunst(sekunden=40, video=False)
        them, me = self.chunks("them"), self.chunks("me")
        fehlend = next(satz for satz in them if satz["t1"] - satz["t0"] > 2.5 and
                       all(satz["t1"] <= m["t0"] or satz["t0"] >= m["t1"] for m in me))
        os.unlink(os.path.join(ordner, f"chunk_them_{fehlend['chunk']:03d}.wav"))
        seite = self.oeffne(ordner)
        von, bis = seite.tu(seitenfall.ANSICHT)
        seite.klicke("#zeit", (fehlend["t0"] + 0.2 - von) / (bis - von), 0.2)
        seite.klicke("#spiel")
        self.sagte(seite, "Was hier zu hören wäre, fehlt.")
        self.ohne_klagen(seite, ordner)
