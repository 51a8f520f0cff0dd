"""The command that a newcomer types, and the private session under it."""

import contextlib
import io
import json
import os
import re
import resource
import shlex
import signal
import socket
import subprocess
import tempfile
import unittest
import unittest.mock

import lauf  # first: it finds the scripts' modules
import abdeckung
import anzeige
import aufnahme
import film
import privat
import prozesse
import signale
import tonanlage

RECORD = os.path.join(lauf.WURZEL, "scripts", "record")
TONANLAGE = os.path.join(lauf.WURZEL, "scripts", "tonanlage")


STARTED = ('{"event":"started","mic":true,"system":true,"video":false,"echo":false,'
           '"null_unix_ms":1795220400123}')


def chunk(nummer, kanal, t0, t1, mehr=""):
    return (f'{{"chunk":{nummer},"channel":"{kanal}","path":"/r/chunk_{kanal}_{nummer:03d}.wav",'
            f'"t0":{t0:.2f},"t1":{t1:.2f}{mehr}}}')


class Abdeckung(unittest.TestCase):
    """The list of what no test of the macOS backend runs."""

    ZEILEN = ["    x();\n", "    y();\n", "  if (z) {\n"]
    GEMESSEN = {"a.mm": ({1: 1, 2: 0, 3: 4}, {(3, 5, "yes"): 0, (3, 5, "no"): 2})}
    LISTE = {("a.mm", "line", "y();"): True, ("a.mm", "yes", "if (z) {"): True}

    def klagen(self, soll):
        return abdeckung.veraltet(self.GEMESSEN, soll, {"a.mm": self.ZEILEN}.get)

    def test_eine_liste_die_stimmt(self):
        self.assertEqual(self.klagen(self.LISTE), [])
        # What runs only at times is in the list, and may have run.
        self.assertEqual(self.klagen(self.LISTE | {("a.mm", "no", "if (z) {"): False}), [])

    def test_jede_abweichung_wird_gefunden(self):
        for eintrag in self.LISTE:
            rest = {name: immer for name, immer in self.LISTE.items() if name != eintrag}
            self.assertEqual(self.klagen(rest), [f"not in the list: {' | '.join(eintrag)}"])
        self.assertEqual(self.klagen(self.LISTE | {("a.mm", "line", "x();"): True}),
                         ["runs by now: a.mm | line | x();"])
        self.assertEqual(self.klagen(self.LISTE | {("a.mm", "no", "if (alt) {"): False}),
                         ["not there any more: a.mm | no | if (alt) {"])

    def test_die_liste_ist_lesbar(self):
        eintraege = abdeckung.liste()
        self.assertGreater(len(eintraege), 0)
        for datei, art, text in eintraege:
            self.assertTrue(os.path.exists(os.path.join(lauf.WURZEL, datei)), datei)
            self.assertIn(art, ("line", "yes", "no"), text)


class Anzeigen(unittest.TestCase):
    """What a person sees of the recorder's lines."""

    def schau(self, terminal):
        self.jetzt = 100.0
        self.ausgabe = io.StringIO()
        return anzeige.Anzeige(self.ausgabe, terminal=terminal, uhr=lambda: self.jetzt)

    def test_ohne_terminal_bekommt_jeder_chunk_eine_zeile(self):
        schau = self.schau(False)
        schau.zeile("[hallkorb] Mikrofon-Capture gestartet")
        self.jetzt = 103.0
        schau.zeile(STARTED)
        self.jetzt = 170.0
        schau.zeile(chunk(0, "me", 1.0, 3.5))
        schau.zeile(chunk(1, "me", 3.5, 6.0, ',"sprache_ms":1500'))
        schau.zeile('{"event":"done"}')
        self.assertEqual(self.ausgabe.getvalue(), (
            "00:00  [hallkorb] Mikrofon-Capture gestartet\n"
            "00:00  started: microphone, system audio\n"
            "01:07  me       1.00 to    3.50 s  chunk_me_000.wav  (so far 1 chunk, 2.5 s of speech)\n"
            "01:07  me       3.50 to    6.00 s  chunk_me_001.wav  (so far 2 chunks, 4.0 s of speech)\n"
            "01:07  done\n"))

    def test_auf_einem_terminal_steht_der_stand_in_der_letzten_zeile(self):
        schau = self.schau(True)
        schau.zeile(STARTED)
        self.jetzt = 105.0
        schau.zeile(chunk(0, "them", 0.0, 2.0))
        letzte = self.ausgabe.getvalue().rsplit("\r\033[K", 1)[1]
        self.assertEqual(letzte, "00:05  me: 0 chunks, 0.0 s of speech | "
                                 "them: 1 chunk, 2.0 s of speech"[:len(letzte)])
        schau.zeile("[hallkorb] Mikrofon unterbrochen: weg")
        # The message stands above; the state is below it again.
        zeilen = self.ausgabe.getvalue().split("\n")
        self.assertTrue(zeilen[-2].endswith("00:05  [hallkorb] Mikrofon unterbrochen: weg"))
        self.assertIn("them: 1 chunk", zeilen[-1])

    def test_fremde_und_kaputte_zeilen_stehen_wie_sie_sind(self):
        schau = self.schau(False)
        for zeile in ("{kaputt", "[1]", "42", ""):
            schau.zeile(zeile)
        schau.zeile('{"event":"degraded","channel":"me","message":"kein Mikrofon"}')
        schau.zeile('{"event":"neu","wert":3}')
        self.assertEqual(self.ausgabe.getvalue(), (
            "00:00  {kaputt\n00:00  [1]\n00:00  42\n"
            "00:00  microphone missing: kein Mikrofon\n00:00  neu: wert 3\n"))


class Behalten(unittest.TestCase):
    """The lines in the recording's folder."""

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-e2e-")
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name
        self.pfad = os.path.join(self.ordner, "ereignisse.jsonl")

    def behalte(self, *zeilen):
        behalter = aufnahme.Zeilen(self.ordner)
        for zeile in zeilen:
            behalter.nimm(zeile.encode())
        behalter.schliesse()
        return behalter

    def inhalt(self):
        with open(self.pfad, encoding="utf-8") as datei:
            return datei.read()

    def test_ab_dem_beginn_und_was_davor_war(self):
        davor = '{"event":"degraded","channel":"me","message":"weg"}'
        self.assertTrue(self.behalte(davor, STARTED, "", chunk(0, "me", 0, 1)).begonnen)
        self.assertEqual(self.inhalt(), f"{davor}\n{STARTED}\n{chunk(0, 'me', 0, 1)}\n")

    def test_eine_verweigerte_aufnahme_laesst_den_ordner_wie_er_ist(self):
        self.behalte(STARTED)
        self.assertFalse(self.behalte('{"event":"error","message":"belegt"}').begonnen)
        self.assertEqual(self.inhalt(), STARTED + "\n")

    def test_einem_verweis_wird_nicht_gefolgt(self):
        os.symlink(os.path.join(self.ordner, "fremd"), self.pfad)
        behalter = self.behalte(STARTED, chunk(0, "me", 0, 1))
        self.assertIn("cannot be kept", behalter.klage)
        self.assertEqual(os.listdir(self.ordner), ["ereignisse.jsonl"])


    @contextlib.contextmanager
    def hoechstens(self, laenge):
        """No file can grow beyond that: as on a full disk, the last write before it is a short one."""
        weich, hart = resource.getrlimit(resource.RLIMIT_FSIZE)
        resource.setrlimit(resource.RLIMIT_FSIZE, (laenge, hart))
        try:
            yield
        finally:
            resource.setrlimit(resource.RLIMIT_FSIZE, (weich, hart))

    def test_was_die_platte_verweigert_kommt_nach(self):
        zeilen = [STARTED, *(chunk(nummer, "me", nummer, nummer + 1) for nummer in range(3)), '{"event":"done"}']
        behalter = aufnahme.Zeilen(self.ordner)
        with self.hoechstens(len(STARTED) + 11):
            for zeile in zeilen[:3]:
                behalter.nimm(zeile.encode())
        self.assertIn("cannot be kept", behalter.klage)
        self.assertEqual(self.inhalt(), f"{STARTED}\n{zeilen[1][:10]}")
        for zeile in zeilen[3:]:
            behalter.nimm(zeile.encode())
        behalter.schliesse()
        self.assertIsNone(behalter.klage)
        self.assertEqual(self.inhalt().splitlines(), zeilen)

    def test_eine_halbe_zeile_verschluckt_keine_andere(self):
        zeilen = [STARTED, '{"chunk":1,"cha', STARTED, '{"event":"done"}']
        with open(self.pfad, "w", encoding="utf-8") as datei:
            datei.write("\n".join(zeilen[:2]))
        self.behalte(*zeilen[2:])
        self.assertEqual(self.inhalt().splitlines(), zeilen)


class Ergebnis(unittest.TestCase):
    """What a person is shown in the end."""

    def test_die_befehle_taugen_fuer_jeden_ordner(self):
        with tempfile.TemporaryDirectory(prefix="hallkorb-e2e-") as halter:
            ordner = os.path.join(halter, "Anna's talk; $HOME")
            os.mkdir(ordner)
            for name in ("chunk_them_000.wav", "mikro_roh.wav", "video.mp4", "sitzung.html"):
                with open(os.path.join(ordner, name), "wb"):
                    pass
            os.symlink("nirgends", os.path.join(ordner, "verweis"))
            ausgabe = io.StringIO()
            with contextlib.redirect_stdout(ausgabe):
                aufnahme.zeige_ergebnis(ordner, True)
            zeilen = ausgabe.getvalue().splitlines()
            self.assertIn("  5 files, 0.0 MB", zeilen)
            befehle = [zeile for zeile in zeilen if re.match("  (pw-play|xdg-open|for) ", zeile)]
            (schleife,) = [befehl for befehl in befehle if "chunk_them_" in befehl]
            gezeigt = subprocess.run(["sh", "-c", schleife.replace("pw-play", "printf %s")], check=True,
                                     capture_output=True, text=True).stdout
            self.assertEqual(gezeigt, os.path.join(ordner, "chunk_them_000.wav"))
            self.assertEqual([shlex.split(befehl)[1] for befehl in befehle if befehl != schleife],
                             [os.path.join(ordner, name) for name in ("mikro_roh.wav", "video.mp4", "sitzung.html")])


class Nachkommen(unittest.TestCase):
    """The processes below one, found by /proc and, as on macOS, by asking ps."""

    def setUp(self):
        self.kinder = []
        self.addCleanup(self.raeume_auf)

    def raeume_auf(self):
        for kind in self.kinder:
            kind.kill()
            kind.wait()
            kind.stdout.close()

    def starte(self):
        """A child with a child of its own, both asleep; returns both ids."""
        kind = subprocess.Popen(["sh", "-c", "sleep 1000 & echo $!; wait"], stdout=subprocess.PIPE,
                                text=True)
        self.kinder.append(kind)
        return kind.pid, int(kind.stdout.readline())

    def erwarte(self, gefunden, wurzel=None):
        for linux in {prozesse.LINUX, False}:
            with self.subTest(linux=linux), unittest.mock.patch.object(prozesse, "LINUX", linux):
                self.assertEqual(prozesse.nachkommen(wurzel), gefunden)

    def test_wer_fragt_zaehlt_nicht_mit(self):
        self.erwarte([])

    def test_kinder_und_kindeskinder(self):
        kind, enkel = self.starte()
        self.addCleanup(os.kill, enkel, signal.SIGKILL)
        self.erwarte([kind, enkel])
        self.erwarte([enkel], wurzel=kind)

    def test_wer_beendet_ist_zaehlt_nicht_mit(self):
        kind = subprocess.Popen(["true"])
        self.addCleanup(kind.wait)
        # Ended, but not yet waited for.
        os.waitid(os.P_PID, kind.pid, os.WEXITED | os.WNOWAIT)
        self.erwarte([])


class NurPulseAudio(unittest.TestCase):
    """A machine whose sound server can't be recorded must not get voices of ours instead."""

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-e2e-")
        self.addCleanup(halter.cleanup)
        leer = {name: wert for name, wert in os.environ.items()
                if not name.startswith(("PIPEWIRE_", "PULSE_"))}
        self.umgebung = leer | {"XDG_RUNTIME_DIR": halter.name}
        self.ordner = halter.name
        suche = tonanlage.fremder_server
        wechsel = unittest.mock.patch.object(tonanlage, "fremder_server", lambda: suche(self.ordner))
        wechsel.start()
        self.addCleanup(wechsel.stop)

    def fehlt(self, **mehr):
        with unittest.mock.patch.dict(os.environ, self.umgebung | mehr, clear=True):
            self.klage = privat.woanders()
            return privat.was_fehlt(["--no-video"])

    def server(self, name):
        os.makedirs(os.path.join(self.ordner, os.path.dirname(name)), exist_ok=True)
        server = socket.socket(socket.AF_UNIX)
        self.addCleanup(server.close)
        server.bind(os.path.join(self.ordner, name))
        server.listen()

    def test_ohne_server_kommt_die_private_anlage(self):
        self.assertEqual(self.fehlt(), ["tonanlage"])
        self.assertIsNone(self.klage)

    def test_sudo_versteckt_keinen(self):
        """Root's environment says nothing of the desktop's server."""
        for name in ("run/user/1000/pipewire-0", "run/user/1001/pulse/native", "run/pulse/native"):
            with self.subTest(name):
                self.server(name)
                self.assertEqual(self.fehlt(), [])
                self.assertIn(f"answers at {os.path.join(self.ordner, name)}, but not", self.klage)
                os.remove(os.path.join(self.ordner, name))

    def test_mit_pulseaudio_kommt_sie_nicht(self):
        self.server("pulse/native")
        self.assertEqual(self.fehlt(), [])

    def test_auch_nicht_mit_einem_anderswo(self):
        self.assertEqual(self.fehlt(PULSE_SERVER="tcp:anderswo"), [])

    def test_mit_pipewire_kommt_sie_nicht(self):
        self.server("pipewire-0")
        self.assertEqual(self.fehlt(), [])
        self.assertIsNone(self.klage)


class Skripte(unittest.TestCase):

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-e2e-")
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name
        prozesse.nimmt_waisen_auf()  # whatever a script leaves behind becomes ours

    def starte(self, *befehl):
        umgebung = {name: wert for name, wert in os.environ.items()
                    if name not in ("XDG_RUNTIME_DIR", "DISPLAY", "WAYLAND_DISPLAY")
                    and not name.startswith("PIPEWIRE_")}
        prozess = prozesse.starte(befehl, env=umgebung, stdin=subprocess.DEVNULL, bufsize=0,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(prozess.stdout.close)
        self.addCleanup(prozess.wait)
        self.addCleanup(prozess.kill)
        return prozess, lauf.Zeilen(prozess.stdout)

    def niemand_mehr_da(self):
        tonanlage.warte_bis(lambda: not prozesse.nachkommen(), "the end of all processes")

    def warte_zeile(self, zeilen, muster, frist=180.0):
        gefunden = zeilen.warte(lambda text: re.search(muster, text), frist)
        self.assertIsNotNone(gefunden, "\n".join(zeilen.texte()))

    def pruefe_zeilen_und_seite(self, ordner):
        """The lines are kept, all of them, and the page is made of them."""
        with open(os.path.join(ordner, "ereignisse.jsonl"), encoding="utf-8") as datei:
            saetze = lauf.geprueft(datei.read())
        self.assertEqual((saetze[0]["event"], saetze[-1]["event"]), ("started", "done"))
        self.assertEqual({os.path.basename(satz["path"]) for satz in saetze if "chunk" in satz},
                         {name for name in os.listdir(ordner) if name.startswith("chunk_")})
        with open(os.path.join(ordner, "sitzung.html"), encoding="utf-8") as datei:
            self.assertIn('"chunk_them_000.wav"', datei.read())

    def test_record_mit_frist(self):
        ordner = os.path.join(self.ordner, "aufnahme")
        prozess, zeilen = self.starte(RECORD, "--seconds", "20", "--kein-echo", "--out", ordner)
        status = prozess.wait(240.0)
        zeilen.schliesse()
        alles = "\n".join(zeilen.texte())
        self.assertEqual(status, 0, alles)
        self.assertRegex(alles, "in a private session")
        self.assertRegex(alles, "started: microphone, system audio")
        self.assertRegex(alles, r"(?m)^\d\d:\d\d  done$")
        self.assertRegex(alles, "To listen")
        namen = set(os.listdir(ordner))
        self.assertLessEqual({"chunk_me_000.wav", "chunk_them_000.wav", "mikro_roh.wav"}, namen)
        # If there is no screen either, a private one is recorded; its first meeting begins after 2 s.
        self.assertIn("video.mp4", namen)
        self.assertRegex(alles, "picture: Zoom · Zoom Meeting")
        self.pruefe_zeilen_und_seite(ordner)
        self.assertRegex(alles, rf"(?m)^  xdg-open {ordner}/sitzung\.html$")
        for name in namen:
            self.assertIn(name, alles)
            if name == "video.mp4":
                film.pruefe_form(self, film.Film(os.path.join(ordner, name)))
            if not name.endswith(".wav"):
                continue
            self.assertGreater(signale.pegel(signale.lies_ganz(os.path.join(ordner, name))), 0.006)
        self.niemand_mehr_da()

    def test_record_nimmt_ein_laufendes_pipewire(self):
        ordner = os.path.join(self.ordner, "aufnahme")
        prozess, zeilen = self.starte(TONANLAGE, "--", RECORD, "--seconds", "5", "--out", ordner)
        status = prozess.wait(180.0)
        zeilen.schliesse()
        alles = "\n".join(zeilen.texte())
        self.assertEqual(status, 0, alles)
        self.assertRegex(alles, "sound of the PipeWire that runs here")
        self.assertNotRegex(alles, "private session")
        ton = signale.lies_ganz(os.path.join(ordner, "mikro_roh.wav"))
        self.assertGreater(len(ton), signale.ZIEL)
        self.assertEqual(signale.pegel(ton), 0.0)  # nobody speaks in this one
        self.niemand_mehr_da()

    def test_record_unterbrochen(self):
        for nummer in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            with self.subTest(signal=nummer):
                ordner = os.path.join(self.ordner, str(nummer))
                prozess, zeilen = self.starte(RECORD, "--kein-echo", "--out", ordner)
                self.warte_zeile(zeilen, r"chunk_them_000\.wav")
                prozess.send_signal(nummer)
                status = prozess.wait(60.0)
                zeilen.schliesse()
                self.assertEqual(status, -nummer if nummer == signal.SIGKILL else 0,
                                 "\n".join(zeilen.texte()))
                if nummer != signal.SIGKILL:
                    self.pruefe_ende(ordner)
                # Also when the script itself is gone at once, the recording ends in order.
                signale.lies_ganz(os.path.join(ordner, "mikro_roh.wav"))
                if nummer != signal.SIGKILL:
                    self.pruefe_zeilen_und_seite(ordner)
                self.niemand_mehr_da()

    def pruefe_ende(self, ordner):
        """Every line is kept, and the page is made of them."""
        with open(os.path.join(ordner, "ereignisse.jsonl"), encoding="utf-8") as datei:
            saetze = [json.loads(zeile) for zeile in datei]
        self.assertEqual(saetze[-1], {"event": "done"})
        self.assertEqual({os.path.basename(satz["path"]) for satz in saetze if "chunk" in satz},
                         {name for name in os.listdir(ordner) if name.startswith("chunk_")})
        with open(os.path.join(ordner, "sitzung.html"), encoding="utf-8") as datei:
            self.assertIn('"fertig":true', datei.read())

    def test_record_gibt_den_status_weiter(self):
        prozess, zeilen = self.starte(RECORD, "--rate", "nan", "--out", self.ordner)
        self.assertEqual(prozess.wait(180.0), 128 + signal.SIGABRT)
        zeilen.schliesse()
        self.assertRegex("\n".join(zeilen.texte()), "Abbruch: --rate nan")
        self.niemand_mehr_da()

    def test_tonanlage_gibt_den_status_weiter(self):
        prozess, _ = self.starte(TONANLAGE, "--", "sh", "-c", "exit 7")
        self.assertEqual(prozess.wait(180.0), 7)
        self.niemand_mehr_da()

    def test_tonanlage_hinterlaesst_nichts(self):
        befehl = 'echo "$XDG_RUNTIME_DIR"; sleep 1000 & sleep 1000 & echo da; wait'
        for nummer in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            with self.subTest(signal=nummer):
                prozess, zeilen = self.starte(TONANLAGE, "--", "sh", "-c", befehl)
                self.warte_zeile(zeilen, "^da$")
                ordner = zeilen.texte()[0]
                self.assertEqual(os.stat(ordner).st_mode & 0o777, 0o700)
                prozess.send_signal(nummer)
                prozess.wait(60.0)
                self.niemand_mehr_da()
                tonanlage.warte_bis(lambda: not os.path.exists(ordner), "the folder's removal")

    def test_aufseher_oder_arbeiter_getoetet(self):
        prozess, zeilen = self.starte(TONANLAGE, "--", "sh", "-c", "sleep 1000 & echo da; wait")
        self.warte_zeile(zeilen, "^da$")
        arbeiter = [pid for pid in prozesse.nachkommen(prozess.pid)
                    if prozess.pid == self.elternteil(pid)]
        self.assertEqual(len(arbeiter), 1)
        os.kill(arbeiter[0], signal.SIGKILL)
        self.assertEqual(prozess.wait(60.0), 128 + signal.SIGKILL)
        self.niemand_mehr_da()

    @staticmethod
    def elternteil(pid):
        with open(f"/proc/{pid}/stat", "rb") as datei:
            return int(datei.read().rpartition(b")")[2].split()[1])
