"""What is asked of every host in examples/, on lines that are played to it."""

import contextlib
import json
import os
import re
import signal
import subprocess

import lauf
import prozesse
import schema
import wirtsfall

BEISPIELE = os.path.join(lauf.WURZEL, "examples")
SITZUNG = os.path.join(os.path.dirname(lauf.PROGRAMM), "hallkorb-sitzung")
BEISPIELSITZUNG = os.path.join(BEISPIELE, "session")

LEBEND = {verweis["$ref"].rsplit("/", 1)[1] for verweis in schema.schema()["$defs"]["live"]["anyOf"]}
START = '{"event":"started","mic":true,"system":true,"video":true,"echo":true,"null_unix_ms":1795220400000}'
SCHLUSS = ('{"event":"zeitachse","them":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0},'
           '"me":{"luecken":2,"luecken_ms":80,"ueberlappungen":0,"verworfen_ms":0}}', '{"event":"done"}')


def chunk(kanal, nummer, t0, t1, ordner="/r", mehr=""):
    return (f'{{"chunk":{nummer},"channel":"{kanal}","path":"{ordner}/chunk_{kanal}_{nummer:03}.wav",'
            f'"t0":{t0:.2f},"t1":{t1:.2f}{mehr}}}')


def beispiele():
    """The lines of a recording that docs/protocol.md shows, one of each."""
    with open(os.path.join(lauf.WURZEL, "docs", "protocol.md"), encoding="utf-8") as datei:
        zeilen = re.search(r"```jsonl\n(.*?)```", datei.read(), re.DOTALL)[1].splitlines()
    return [zeile for zeile in zeilen if schema.art(json.loads(zeile)) in LEBEND]


class Gespielt(wirtsfall.Wirtsfall):
    """On lines that are played, where no recorder would say such things at will."""

    MIT_TONANLAGE = False

    def pruefe_vorgespieltes(self):
        """The example session, played by the program's own player in the recorder's place."""
        wirt = self.wirt(rekorder=os.path.join(BEISPIELSITZUNG, "play"),
                         fuer_rekorder=["--tempo", "20", "--no-video", "--max", "4"],
                         umgebung=os.environ | {"HALLKORB_SITZUNG": SITZUNG})
        wirt.ende(0)
        wirt.meldung("[host] recorded")
        with open(os.path.join(BEISPIELSITZUNG, "ereignisse.jsonl"), encoding="utf-8") as datei:
            beispiel = [json.loads(zeile) for zeile in datei]
        self.pruefe_abschrift(wirt, sorted(
            (satz["t0"], satz["t1"], satz["channel"], os.path.basename(satz["path"])[:-4])
            for satz in beispiel if "chunk" in satz))
        ordner = os.path.join(self.ziel, "1")
        for satz in beispiel:
            if "path" in satz:
                satz["path"] = os.path.join(ordner, os.path.basename(satz["path"]))
        self.assertEqual(lauf.geprueft(wirt.lies("1/ereignisse.jsonl")), beispiel)
        self.assertEqual(subprocess.run([SITZUNG, "pruefen", ordner], stdout=subprocess.DEVNULL,
                                        check=False).returncode, 0)

    def pruefe_fremdes(self):
        """Events and fields of later versions, control characters, a broken line, unread streams,
        and chunks of both channels out of order."""
        wirt = self.gespielt([
            '{"event":"degraded","channel":"me","message":"kein Ger\u00e4t"}', START[:-1] + ',"neu":{"a":[1]}}',
            chunk("them", 0, 0.5, 2.0), chunk("me", 0, 0.0, 3.25, mehr=',"sprache_ms":2000,"neu":null'),
            '{"event":"spaeter","channel":"me","message":"weg"}', '{"neu":1}',
            '{"event":"video_start","quelle":"Zoom\u0007 \u00b7 \\"A\\"","art":"fenster","rang":1,'
            '"grund":"g","t_s":0.1}',
            '{"event":"video_pause","message":"kein Fenster","t_s":2.0}',
            '{"chunk":1,"channel":"me","path":7,"t0":1.00,"t1":2.00}', "kein JSON", chunk("me", 1, 3.25, 4.0),
            '{"event":[]}', '{"event":["done"]}', '{"event":null,"chunk":1}', '{"event":{"started":1}}', "[]",
            '{"event":' + "[" * 100000 + "]" * 100000 + "}",
            '{"event":"video","path":"/r/video.mp4","frames":12,"quelle":"Zoom"}',
            chunk("them", 1, 2.0, 3700.5), *SCHLUSS], spiel=["--laut", "200000"],
            schreiber="printf '%s\\n <&>\\t\\344\u00e4 ' \"$1\"; true")  # of its bytes one is no UTF-8
        wirt.gesagt(3)
        wirt.prozess.send_signal(signal.SIGTERM)
        wirt.ende(0)
        self.pruefe_abschrift(wirt, [(von, bis, kanal, f"/r/chunk_{kanal}_{nummer:03}.wav <&> \ufffd\u00e4")
                                     for von, bis, kanal, nummer in (
                                         (0.0, 3.25, "me", 0), (0.5, 2.0, "them", 0),
                                         (2.0, 3700.5, "them", 1), (3.25, 4.0, "me", 1))])
        for text in ("without me: kein Ger\u00e4t", "recording into " + self.ziel + "/1: me, them, echo path",
                     'skipped: {"event":"spaeter"', 'skipped: {"neu":1}', 'picture: Zoom  \u00b7 "A"',
                     'not understood: {"event":[]}', 'not understood: {"event":["done"]}',
                     'not understood: {"event":null', 'not understood: {"event":{"started', "not understood: []",
                     'not understood: {"event":[[[[',
                     "no picture: kein Fenster", 'not understood: {"chunk":1', "not understood: kein JSON",
                     "stopping", "video: /r/video.mp4, 12 pictures", "gaps: me 80 ms, them 0 ms"):
            wirt.meldung("[host] " + text)
        self.assertEqual(sum(len(zeile) + 1 for zeile in wirt.stand.texte() if "[hallkorb] xxx" in zeile),
                         200000 // 92 * 92)
        with open(self.zeilen, encoding="utf-8") as datei:
            self.assertEqual(wirt.lies("1/ereignisse.jsonl"), datei.read())

    def pruefe_verdorbenes(self):
        """Each field of each line, missing or of another type, and times that cannot be: the line is reported,
        and nothing else."""
        falsch = [chunk("me", 0, -1.0, 1.0), chunk("me", 0, 2.0, 1.0), chunk("me", 0, 0.0, 1e300)]
        for zeile in beispiele():
            satz = json.loads(zeile)
            orte = [(satz, name) for name in satz if name != "event"]
            orte += [(innen, name) for innen in satz.values() if isinstance(innen, dict) for name in innen]
            for innen, name in orte:
                wert = innen.pop(name)
                if name not in ("sprache_ms", "chunk"):  # may be missing; without it, another line
                    falsch.append(json.dumps(satz))
                for anders in (7 if isinstance(wert, str) else "x", None, *([1.5] if type(wert) is int else [])):
                    if (name, anders) != ("sprache_ms", None):
                        falsch.append(json.dumps(satz | {name: anders} if innen is satz else
                                                 satz | {kanal: {**teil, name: anders} if teil is innen else teil
                                                         for kanal, teil in satz.items()}))
                innen[name] = wert
        self.assertGreater(len(falsch), 150)
        wirt = self.gespielt([*falsch, START, *SCHLUSS])
        wirt.meldung("[host] recording into")
        wirt.prozess.send_signal(signal.SIGINT)
        wirt.ende(0)
        gemeldet = [zeile for zeile in wirt.stand.texte() if zeile.startswith("[host] not understood: ")]
        fehlend = [zeile for zeile in falsch if not any(zeile in meldung for meldung in gemeldet)]
        self.assertEqual(fehlend, [])
        self.assertEqual(len(gemeldet), len(falsch))
        self.pruefe_abschrift(wirt, [])

    def pruefe_enden(self):
        """Status 2, a crash each time, a deaf recorder, none at all, wrong usage."""
        wirt = self.gespielt(['{"event":"error","message":"kein Dienst"}'], spiel=["--ende", "2"])
        wirt.ende(2)
        wirt.meldung("[host] nothing is recorded: kein Dienst")
        self.assertEqual(sorted(os.listdir(self.ziel)), ["1", "transcript.txt", "transcript.vtt"])
        self.pruefe_abschrift(wirt, [])

        wirt = self.gespielt([START, chunk("me", 0, 0.0, 1.0)], "--restarts", "2", spiel=["--stirb"])
        wirt.ende(1)
        self.assertEqual(sum("the recorder crashed" in zeile for zeile in wirt.stand.texte()), 3)
        self.assertEqual([name for name in sorted(os.listdir(self.ziel)) if name.isdigit()],
                         ["1", "2", "3", "4"])
        self.assertEqual(wirt.lies("4/ereignisse.jsonl"), f"{START}\n{chunk('me', 0, 0.0, 1.0)}\n")
        # All of them say that they began at the same moment; one recording follows the other.
        self.pruefe_abschrift(wirt, [(nummer, nummer + 1.0, "me", "chunk_me_000") for nummer in range(3)])

        wirt = self.gespielt([START, *SCHLUSS], "--seconds", "0.2", "--patience", "0.2", spiel=["--taub"])
        wirt.ende(1)
        wirt.meldung("[host] it does not stop: killed")
        wirt = self.gespielt([START], "--seconds", "0.2", "--patience", "0.2", spiel=["--taub", "--zu"])
        wirt.ende(1)
        wirt.meldung("[host] it does not stop: killed")
        self.gespielt([START, *SCHLUSS], "--restarts", "0", spiel=["--ende", "7"]).ende(1)

        self.wirt(rekorder=os.path.join(self.ordner, "fehlt")).ende(2)
        wirt = wirtsfall.Wirt(self, [*self.BEFEHL, "--folder", self.ziel], os.environ, self.ziel)
        wirt.ende(64)
        self.assertEqual(os.stat(self.ziel).st_mode & 0o777, 0o700)
        self.ziel = os.path.join(self.ordner, "nie")
        for option, wert in (("--patience", "abc"), ("--seconds", "nan"), ("--restarts", "1.5"), ("--limit", "1e9")):
            self.wirt(option, wert, rekorder=wirtsfall.ABSPIELER).ende(64)
        self.assertFalse(os.path.exists(self.ziel))

    def pruefe_anfaenge(self):
        """A recorder that is stopped before it begins, or that cannot work with its options, is not begun again.
        If it breaks off later, it is; and what it refuses then does not undo the first recording."""
        for nummer in (signal.SIGINT, signal.SIGTERM, signal.SIGABRT):
            wirt = self.gespielt([], spiel=["--stirb", str(int(nummer))])
            wirt.ende(2)
            wirt.meldung("[host] the recorder ended before it began: ")
            self.assertFalse([zeile for zeile in wirt.stand.texte() if "beginning again" in zeile])
        self.ziel += "-2"
        wirt = self.nacheinander(([START, chunk("me", 0, 0.0, 1.0)], ["--stirb", str(int(signal.SIGABRT))]),
                                 ([], ["--ende", "2"]))
        wirt.ende(1)
        wirt.meldung("[host] the recorder refused", wirt.meldung("[host] beginning again"))
        self.pruefe_abschrift(wirt, [(0.0, 1.0, "me", "chunk_me_000")])

    def pruefe_kein_ordner(self):
        """The recorder crashes, and there can be no folder for the next recording: the answers are waited for,
        and something was recorded."""
        rohr = os.path.join(self.ordner, "them_007.wav")
        os.mkfifo(rohr)
        wirt = self.gespielt([START, chunk("them", 7, 0.0, 1.0)], schreiber=self.wartender())
        antwort = os.open(rohr, os.O_WRONLY)  # once the transcriber has opened it
        os.rename(self.ziel, self.ziel + ".weg")
        with open(self.ziel, "wb"):
            os.kill(wirt.spieler(), signal.SIGKILL)
        wirt.meldung("[host] no folder to record into: ")
        os.remove(self.ziel)
        os.rename(self.ziel + ".weg", self.ziel)
        os.write(antwort, b"da\n")
        os.close(antwort)
        wirt.ende(1)
        self.pruefe_abschrift(wirt, [(0.0, 1.0, "them", "da")])

    def pruefe_uhr_zurueck(self):
        """Between two recordings the clock is set back: the second one follows the first. The shortest chunks
        begin and end in the same hundredth of a second."""
        zurueck = START.replace("1795220400000", "1795213200000")
        self.assertNotEqual(zurueck, START)
        wirt = self.nacheinander(
            ([START, chunk("them", 0, 0.0, 5.0), chunk("me", 0, 0.0, 1.0)], ["--stirb"]),
            ([zurueck, chunk("me", 0, 0.0, 0.0), chunk("me", 1, 0.5, 2.0), *SCHLUSS], []))
        wirt.gesagt(4)
        wirt.prozess.send_signal(signal.SIGINT)
        wirt.ende(0)
        self.pruefe_abschrift(wirt, [(0.0, 1.0, "me", "chunk_me_000"), (0.0, 5.0, "them", "chunk_them_000"),
                                     (5.0, 5.001, "me", "chunk_me_000"), (5.5, 7.0, "me", "chunk_me_001")])

    def pruefe_ungelesen(self):
        """Whoever reads the transcript or the state may go: the rest is not lost. The transcriber does not get
        SIGPIPE ignored, which would let a command such as `yes | head` fail."""
        zeilen = [START, *(chunk("me", nummer, nummer, nummer + 1.0) for nummer in range(3)), *SCHLUSS]
        ziel = self.ziel
        for strom in ("stdout", "stderr"):
            self.ziel = os.path.join(ziel, strom)
            abschrift = os.path.join(self.ziel, "transcript.txt")
            wirt = self.gespielt(
                zeilen, spiel=["--laut", "2000"], ungelesen=strom,
                schreiber="f() { grep -q '^SigIgn:.*[02468ace]...$' /proc/self/status && basename -s .wav \"$1\"; }; f")
            self.warte_bis(lambda: os.path.exists(abschrift) and wirt.lies("transcript.txt").count("\n") == 3,
                           "three answers")
            wirt.prozess.send_signal(signal.SIGTERM)
            wirt.ende(0)
            self.pruefe_abschrift(wirt, [(nummer, nummer + 1.0, "me", f"chunk_me_{nummer:03}")
                                         for nummer in range(3)])
            self.assertEqual(wirt.lies("1/ereignisse.jsonl").splitlines(), zeilen)

    def pruefe_strg_c(self):
        """Ctrl-C, which every program in the terminal gets, costs no answer; a transcriber that fails
        costs only its own."""
        erste, zweite = (os.path.join(self.ordner, name) for name in ("them_000.wav", "me_001.wav"))
        os.mkfifo(erste)
        os.mkfifo(zweite)
        wirt = self.gespielt(
            [START, chunk("me", 0, 0.0, 1.0), chunk("them", 0, 0.0, 2.0), chunk("me", 1, 1.0, 2.0), *SCHLUSS],
            schreiber=self.wartender())
        wirt.meldung("transcriber: status 3 for /r/chunk_me_000.wav")
        with open(erste, "w", encoding="ascii") as rohr:  # once the transcriber has opened it
            os.killpg(wirt.prozess.pid, signal.SIGINT)
            wirt.meldung("[host] recorded")
            rohr.write("da\n")
        with open(zweite, "w", encoding="ascii") as rohr:
            rohr.write("auch\n")
        wirt.ende(0)
        self.pruefe_abschrift(wirt, [(0.0, 2.0, "them", "da"), (1.0, 2.0, "me", "auch")])


    def wartender(self):
        """A transcriber that fails for the first chunk of "me", and for each other one answers what comes
        through the pipe of its name."""
        return (f'f() {{ case $1 in *me_000*) exit 3;; esac; read x <"{self.ordner}/${{1#*chunk_}}"; '
                'echo "$x"; }; f')

    def pruefe_haengendes(self):
        """A transcriber that never answers costs only its own chunk, with all that it has started; so does one
        that closes its output and runs on, and one that cannot be started. What was answered is in the files at
        once, and a second signal ends the waiting."""
        hin, her = (os.path.join(self.ordner, name) for name in ("me_005.wav", "me_006.wav"))
        os.mkfifo(hin)
        os.mkfifo(her)
        lang = chunk("me", 2, 0.0, 1.0, ordner="/" + "x" * 200000)  # longer than an argument may be
        nul = chunk("me", 3, 0.0, 1.0).replace("/r/", "/r\\u0000/")
        wirt = self.gespielt(
            [START, chunk("me", 1, 0.0, 1.0), lang, nul, chunk("me", 8, 2.0, 3.0), chunk("me", 4, 4.0, 5.0),
             *SCHLUSS],
            "--limit", "1", spiel=["--ende", "0"],
            schreiber='f() { case $1 in *me_001*) sleep 1000 | sleep 1000;; '
                      '*me_008*) echo nie; exec >&-; sleep 1000;; esac; echo da; }; f')
        wirt.meldung("transcriber: no answer within")
        wirt.ende(0)
        self.warte_bis(lambda: not prozesse.nachkommen(), "the end of what the transcriber has started")
        # On a slow machine the last one is late, too.
        self.assertEqual(sum("[host] transcriber: " in zeile for zeile in wirt.stand.texte())
                         + len(wirt.aus.texte()), 5, wirt.alles())
        self.pruefe_abschrift(wirt, [(4.0, 5.0, "me", "da")] * len(wirt.aus.texte()))

        wirt = self.gespielt([START, *(chunk("me", nummer, nummer, nummer + 1.0) for nummer in (5, 6, 7)),
                              *SCHLUSS], schreiber=self.wartender())
        with open(hin, "w", encoding="ascii") as rohr:
            rohr.write("da\n")
        wirt.gesagt(1)
        rohr = os.open(her, os.O_WRONLY)  # the next one is being waited for
        self.addCleanup(os.close, rohr)
        self.pruefe_abschrift(wirt, [(5.0, 6.0, "me", "da")])
        wirt.prozess.send_signal(signal.SIGINT)
        wirt.meldung("[host] recorded")
        wirt.prozess.send_signal(signal.SIGTERM)
        wirt.ende(0)
        wirt.meldung("[host] 2 chunks were not waited for")
        self.pruefe_abschrift(wirt, [(5.0, 6.0, "me", "da")])

    def pruefe_platte_voll(self):
        """Nothing can be written: the lines are read to their end. Then there is room again: none is lost."""
        for danach in ("voll", "frei"):
            self.ziel = os.path.join(self.ordner, danach)
            self.haenge_ein(self.ziel, "-o", "size=64k")
            fuellung = os.path.join(self.ziel, "x")
            with open(fuellung, "wb", buffering=0) as datei, contextlib.suppress(OSError):
                while True:
                    datei.write(bytes(4096))
            zeilen = [START, *(chunk("them", nummer, nummer, nummer + 1.0) for nummer in range(9)), *SCHLUSS]
            wirt = self.gespielt(zeilen)
            wirt.meldung("[host] the lines cannot be kept: ")
            wirt.meldung("[host] the transcript cannot be written: ")
            wirt.gesagt(9)
            if danach == "frei":
                os.unlink(fuellung)
            wirt.prozess.send_signal(signal.SIGINT)
            wirt.ende(1 if danach == "voll" else 0)
            wirt.meldung("[host] recorded")
            self.assertEqual(sum("cannot be" in zeile for zeile in wirt.stand.texte()), 2, wirt.alles())
            if danach == "frei":
                self.pruefe_abschrift(wirt, [(nummer, nummer + 1.0, "them", f"chunk_them_{nummer:03}")
                                             for nummer in range(9)])
                self.assertEqual(wirt.lies("1/ereignisse.jsonl").splitlines(), zeilen)
