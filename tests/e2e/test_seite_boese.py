"""The page of folders that do harm, are broken or have lost something: nothing of them runs, and it says what
is wrong. Stage "seite"."""

import glob
import os
import shutil
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
        # The recorder's own words are German, also in the English page.
        seite.klicke("#englisch")
        self.assertEqual(seite.tu("[...document.querySelectorAll('#befunde bdi, #bilder .pause span')].filter("
                                  "e => e.textContent.includes('window.boese') && !e.closest('[lang=de]')).length"), 0)
        self.assertGreater(seite.tu("document.querySelectorAll('#befunde .rat [lang=de]').length"), 1)
        self.assertIn("Serious: ", self.befunde(seite))
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
                     "1 Datei blieb unfertig zurück.", f"hallkorb-sitzung reparieren {ordner}; ",
                     "Danach diese Seite neu laden.", "Schlimm: ", "Fraglich: "):
            self.assertIn(satz, worte)
        self.assertNotIn("vollständig", worte)
        self.assertIn("nicht bekannt", seite.tu("document.getElementById('echo').textContent"))
        self.assertIn("fehlt", seite.tu("document.querySelector('tr.fehlt').textContent"))
        # The command helps, and is offered once only; after it the page shows what has become of it.
        self.assertEqual(seite.tu("document.querySelectorAll('#befunde code').length"), 1)
        self.fuege_ein(seite)
        seite = self.oeffne_wieder(ordner, seite.browser)
        worte = self.befunde(seite)
        self.assertNotIn("unfertig", worte)
        self.assertIn("Die Aufnahme wurde abgebrochen", worte)
        self.assertEqual(seite.tu("document.querySelectorAll('#befunde code').length"), 0)
        self.ohne_klagen(seite, ordner)

    def test_der_befehl_gilt_ueberall(self):
        """Copied from the page and pasted into a shell anywhere, it repairs that folder and nothing else, whatever
        the folder is called; a terminal gets no control character."""
        programm = self.chrom()
        for name in (b"today", b"with  two blanks ", b"-n", b"it's \"so\" & <so>", b"100%\\n\\x41 #1?",
                     b"$(touch a)`touch b`;touch c&", b"';touch d;'", b"a\x03\ntouch e\n\x1b[A\r", b"\n",
                     b"\xff\xfe latin \xe4 '\\''\ntouch f", "Jürgens Äpfel".encode(), "nb\u00a0sp \u202ertl".encode(),
                     b"x" * 250):
            with self.subTest(name=name):
                ordner = os.fsdecode(os.path.join(os.fsencode(self.ordner), b"halter", name))
                shutil.copytree(test_sitzung.BEISPIEL, ordner)
                unfertig = os.path.join(ordner, ".hallkorb-1-2.teil")
                with open(unfertig, "wb"):
                    pass
                seite = self.oeffne(ordner, programm)
                befehl = self.fuege_ein(seite)
                self.assertNotRegex(befehl, "[\x00-\x1f\x7f-\x9f\u202e\u00a0]")
                self.assertFalse(os.path.exists(unfertig))
                self.assertEqual(sorted(os.listdir(self.ordner)), ["anderswo", "chromium", "halter"])
                self.assertEqual(os.listdir(os.path.join(self.ordner, "anderswo")), [])
                seite.schliesse()
                seite = self.oeffne_wieder(ordner, programm)
                self.assertEqual(seite.tu("document.querySelectorAll('#befunde code').length"), 0)
                self.ohne_klagen(seite, ordner)
                seite.schliesse()
                shutil.rmtree(os.path.dirname(ordner))

    def fuege_ein(self, seite):
        """Runs what is copied from the page, in shells that are somewhere else; returns it."""
        befehl = seite.tu("""(() => { getSelection().selectAllChildren(document.querySelector('#befunde code'));
            return getSelection().toString() })()""")
        anderswo = os.path.join(self.ordner, "anderswo")
        os.makedirs(anderswo, exist_ok=True)
        pfad = os.path.dirname(test_sitzung.SITZUNG) + ":" + os.environ["PATH"]
        for shell in filter(shutil.which, ("dash", "bash", "zsh")):
            lauf_ = subprocess.run([shell, "-c", befehl], cwd=anderswo, env={**os.environ, "PATH": pfad}, check=True,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertEqual(lauf_.stderr, b"")
        return befehl

    def oeffne_wieder(self, ordner, programm):
        """The page as it lies there."""
        seite = programm.oeffne_datei(os.path.join(ordner, "sitzung.html"))
        seite.warte(seitenfall.FERTIG)
        return seite

    def test_von_einer_frueheren_aufnahme(self):
        """What an earlier recording has left beside this one is not played as its own."""
        ordner = self.kunst(sekunden=20, video=False)
        uebrig = os.path.join(ordner, "chunk_me_700.wav")
        shutil.copy(os.path.join(ordner, "chunk_me_000.wav"), uebrig)
        davor = kunstordner.NULL_UNIX_MS / 1000 - 60
        for name in (uebrig, os.path.join(ordner, "mikro_roh.wav")):
            os.utime(name, (davor, davor))
        os.utime(os.path.join(ordner, "ereignisse.jsonl"), (davor + 100, davor + 100))
        seite = self.oeffne(ordner)
        worte = self.befunde(seite)
        self.assertIn("1 Chunk ist von einer früheren Aufnahme.", worte)
        self.assertIn("Das rohe Mikrofon (mikro_roh.wav) ist von einer früheren Aufnahme.", worte)
        self.assertEqual(seite.tu("document.getElementById('fassung').disabled"), True)
        self.assertEqual(seite.tu("document.querySelectorAll('#befunde code').length"), 0)
        self.ohne_klagen(seite, ordner)

    def test_unlesbare_zeilen_werden_gezaehlt(self):
        ordner = self.kunst(sekunden=20, video=False)
        pfad = os.path.join(ordner, "ereignisse.jsonl")
        programm = self.chrom()
        with open(pfad, "a", encoding="utf-8") as datei:
            datei.write("nichts\n" * 500)
        seite = self.oeffne(ordner, programm)
        self.assertIn("500 Zeilen sind nicht lesbar.", self.befunde(seite))
        self.assertIn("Die ersten 50 von 500", self.befunde(seite))
        seite.schliesse()
        os.rename(pfad, pfad + ".weg")
        os.symlink(pfad + ".weg", pfad)
        seite = self.oeffne(ordner, programm)
        self.assertIn("Die Zeilen des Aufnahmeprogramms sind nicht lesbar.", self.befunde(seite))
        self.assertNotIn("1 Zeile", self.befunde(seite))
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

    def test_eine_andere_rate_wird_nicht_abgespielt(self):
        """Such a chunk is there, and the page says why it is not heard; the word is in the table, too."""
        ordner = self.kunst(sekunden=20, video=False)
        chunk = self.chunks("them")[0]
        pfad = os.path.join(ordner, f"chunk_them_{chunk['chunk']:03d}.wav")
        with open(pfad, "rb") as datei:
            kopf, daten = datei.read(44), datei.read() * 3
        with open(pfad, "wb") as datei:
            datei.write(kopf[:4] + (len(daten) + 36).to_bytes(4, "little") + kopf[8:24]
                        + (48000).to_bytes(4, "little") + (96000).to_bytes(4, "little") + kopf[32:40]
                        + len(daten).to_bytes(4, "little") + daten)
        programm = self.chrom()
        for sprache, satz, wort in (
                ("de-DE", "Was hier zu hören wäre, hat eine andere Abtastrate und wird nicht abgespielt.",
                 "nicht abgespielt"),
                ("en-US", "What could be heard here has another sample rate and is not played.", "not played")):
            with self.subTest(sprache=sprache):
                seite = self.oeffne(ordner, programm, sprache=sprache)
                self.assertEqual(seite.tu("document.querySelectorAll('tr.fehlt').length"), 0)
                self.assertIn(wort, seite.tu("document.querySelector('tr.ungespielt').innerText"))
                self.assertNotIn({"de": "Chunk fehlt", "en": "chunk is missing"}[sprache[:2]], self.befunde(seite))
                von, bis = seite.tu(seitenfall.ANSICHT)
                seite.klicke("#zeit", (chunk["t0"] + 0.2 - von) / (bis - von), 0.2)
                seite.klicke("#spiel")
                self.sagte(seite, satz)
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
        seite.warte("vorgelesen.includes('Was hier zu hören wäre, fehlt.')")
        self.ohne_klagen(seite, ordner)
        # The table has the word once, also where its last columns have no room.
        for name in seitenfall.BREITEN:
            schmale = self.oeffne(ordner, seite.browser, **seitenfall.schirm(name))
            self.assertEqual(schmale.tu("document.querySelector('tr.fehlt').innerText.match(/fehlt/g)"), ["fehlt"], name)
            schmale.schliesse()
