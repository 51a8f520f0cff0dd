"""What host developers ask, tried on the program; docs/hosts.md has the answers."""

import os
import subprocess

import lauf
import signale

SITZUNG = os.path.join(os.path.dirname(lauf.PROGRAMM), "hallkorb-sitzung")
KURZ = ("--legacy-chunks", "--chunk", "0.2")


class Fragen(lauf.Fall):

    LANG = True

    def beginne(self, **mehr):
        for geraet, saat in (("speakers", 1), ("mic-feed", 2)):
            datei = os.path.join(self.ordner, geraet + ".wav")
            signale.schreibe(datei, signale.rauschen(120.0, saat))
            self.raum.spiele(datei, geraet)
        return self.lauf(*KURZ, **mehr)

    def test_wer_nicht_liest(self):
        """A host that reads nothing loses lines, and no sound: the recording goes on and ends."""
        aufnahme = self.beginne(lies_stdout=False, rohr=4096)
        def chunks():
            return self.dateien("chunk_") if os.path.isdir(aufnahme.ordner) else []

        self.warte_bis(lambda: len(chunks()) >= 80, "more chunks than the pipe takes lines")
        aufnahme.sende()
        self.assertEqual(aufnahme.ende(), 0)
        self.assertGreater(len(signale.lies_ganz(os.path.join(aufnahme.ordner, "mikro_roh.wav"))), 0)
        for name in chunks():
            signale.lies_ganz(os.path.join(aufnahme.ordner, name))
        # What the pipe took was whole lines, up to the one that was being written.
        zeilen = aufnahme.prozess.stdout.read().split(b"\n")
        lauf.geprueft("\n".join(zeile.decode() for zeile in zeilen[:-1]))
        self.assertLess(len(zeilen), len(chunks()))

    def test_angekuendigte_chunks_geloescht(self):
        """The recorder never needs a chunk again that it has announced."""
        aufnahme = self.beginne()
        geloescht = []
        for nummer in range(3):
            for kanal in ("me", "them"):
                geloescht.append(aufnahme.chunk(kanal, nummer)["path"])
                os.remove(geloescht[-1])
        aufnahme.warte_aufnahme(1.0)
        aufnahme.stoppe()
        self.assertEqual([pfad for pfad in geloescht if os.path.exists(pfad)], [])
        for kanal in ("me", "them"):
            self.assertEqual([satz["chunk"] for satz in aufnahme.chunks(kanal)],
                             list(range(len(aufnahme.chunks(kanal)))))
        for satz in aufnahme.chunks():
            if satz["path"] not in geloescht:
                signale.lies_ganz(satz["path"])

    def test_alles_geloescht_nach_done(self):
        """After "done" and the end of the process everything may go; what stays is put together."""
        aufnahme = self.beginne()
        aufnahme.chunk("me", 1)
        aufnahme.chunk("them", 1)
        aufnahme.stoppe()
        with open(os.path.join(aufnahme.ordner, "ereignisse.jsonl"), "w", encoding="utf-8") as datei:
            datei.writelines(zeile + "\n" for zeile in aufnahme.aus.texte())
        os.remove(os.path.join(aufnahme.ordner, "mikro_roh.wav"))
        ergebnis = subprocess.run([SITZUNG, "pruefen", aufnahme.ordner], capture_output=True, text=True,
                                  check=False)
        print(ergebnis.stdout)
        self.assertEqual(ergebnis.returncode, 0, ergebnis.stdout)
        subprocess.run([SITZUNG, "zusammen", aufnahme.ordner], check=True, stdout=subprocess.DEVNULL)

    def test_erste_zeile(self):
        """"started" is the first line, and comes once both devices have delivered."""
        aufnahme = self.lauf()
        aufnahme.gestartet()
        self.assertEqual(aufnahme.saetze()[0]["event"], "started")
        print(f"first line after {aufnahme.aus.alle[0][0] - aufnahme.anfang:.2f} s")
        aufnahme.stoppe()
