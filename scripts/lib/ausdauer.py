"""The proofs of scripts/soak: each provokes one kind of fault, often, and reports what it cost.

A proof is a test that is run elsewhere too (tests/driver/modes, tests/e2e, fuzz/), in a longer form,
and the sentence that its figures make. What was found last is kept by form, with the commit and the
date: in build/soak.json by each run, in docs/reliability.json and the table beside it on request. There a
result is dropped once the program or the test has changed. A proof that fails takes the place of its earlier
success.
"""

import argparse
import datetime
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import typing

import abschnitte
import prozesse
import stufen

WURZEL = abschnitte.WURZEL
ERGEBNISSE = os.path.join(WURZEL, "build", "soak.json")
BEHALTEN = os.path.join(WURZEL, "docs", "reliability.json")
FUZZ_SEKUNDEN = {"quick": 10, "long": 600}
SAATEN = {"quick": "300", "long": "10000"}
WETTLAEUFE = {"quick": "4", "long": "250"}  # under each sanitizer
WIEDERHOLUNGEN = {"quick": 1, "long": 5}  # of tests that have one form only
FORMEN = ("quick", "long")
E2E = ("hallkorb", "hallkorb-sitzung", "testfenster")  # what its end-to-end tests need
# What a result is about, beside its test: a change of it makes the result one of another program.
PRODUKT = ("base", "audiofiles", "capture", "driver", "echo", "meeting", "platform", ":(exclude)platform/macos")
OHNE_GERAETE = (*PRODUKT, ":(exclude)platform/linux")  # with the simulated platform
AUSGELASSEN = 77  # the status of a test that cannot be made here


class Gescheitert(Exception):
    """A proof failed; the text is what it printed."""


class Ausgelassen(Exception):
    """A proof cannot be made here; the text says why."""


def _lauf(befehl, umgebung, stderr=None):
    """Runs a command that prints its progress to standard error; returns its standard output."""
    lauf = prozesse.starte(befehl, cwd=WURZEL, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=stderr, env={**os.environ, **umgebung})
    ausgabe = lauf.communicate()[0].decode("utf-8", "replace")
    if lauf.returncode == AUSGELASSEN:
        raise Ausgelassen(ausgabe.strip())
    if lauf.returncode:
        raise Gescheitert(f"$ {' '.join(befehl)}\n{ausgabe}")
    return ausgabe


def _umgebung(form):
    """Without what would make a form another one."""
    formen = ("HALLKORB_LANG", "HALLKORB_ANZAHL", "HALLKORB_SAATEN", "HALLKORB_ZAHLEN")
    umgebung = {name: wert for name, wert in os.environ.items() if name not in formen}
    return umgebung | ({"HALLKORB_LANG": "1"} if form == "long" else {})


def _gtest(programm, form, auswahl="*", stderr=None, **weitere):
    """Runs the tests of a program that match; returns the figures of each, as numbers. `stderr` as of Popen,
    for those that print the recorder's own lines there instead of progress."""
    stufen.baue("release", programm)
    with tempfile.TemporaryDirectory() as ordner:
        bericht = os.path.join(ordner, "bericht.json")
        _lauf([os.path.join(stufen.BAU, "release", "tests", programm)],
              _umgebung(form) | {"GTEST_OUTPUT": f"json:{bericht}", "GTEST_FILTER": auswahl, **weitere}, stderr)
        with open(bericht, encoding="utf-8") as datei:
            gruppen = json.load(datei)["testsuites"]
    zahlen = []
    for fall in (fall for gruppe in gruppen for fall in gruppe["testsuite"]):
        zahlen.append({name: float(wert) for name, wert in fall.items()
                       if isinstance(wert, str) and _ist_zahl(wert)})
    return zahlen


def _ist_zahl(wert):
    try:
        float(wert)
    except ValueError:
        return False
    return True


def _e2e(name, form, preset="release", modul="test_ausdauer", **weitere):
    """Runs one end-to-end test with the program of that build; returns the figures that it kept."""
    stufen.baue("release", *E2E)
    if preset != "release":
        stufen.baue(preset, "hallkorb", optionen=stufen.SCHNELL)
        weitere["HALLKORB"] = os.path.join(stufen.BAU, preset, "hallkorb")
    with tempfile.TemporaryDirectory() as ordner:
        zahlen = os.path.join(ordner, "zahlen.json")
        _lauf([sys.executable, os.path.join("tests", "e2e"), "--einzeln", f"{modul}.{name}"],
              _umgebung(form) | {"HALLKORB_ZAHLEN": zahlen, **weitere})
        if not os.path.exists(zahlen):
            return {}
        with open(zahlen, encoding="ascii") as datei:
            return json.load(datei)


def _mehrmals(form, modul, *namen):
    """Runs end-to-end tests that have no longer form, in the long form each five times."""
    stufen.baue("release", *E2E)
    for runde in range(WIEDERHOLUNGEN[form]):
        for name in namen:
            _lauf([sys.executable, os.path.join("tests", "e2e"), f"{modul}.{name}"], _umgebung(form))
            print(f"  {name} passed ({runde + 1} of {WIEDERHOLUNGEN[form]})", file=sys.stderr, flush=True)
    return f"{WIEDERHOLUNGEN[form]} time(s)"


def _summe(zahlen, name):
    return round(sum(fall.get(name, 0) for fall in zahlen))


# --- The proofs: each returns (how often it was provoked, what was lost) ---------------------------

class Nachweis(typing.NamedTuple):
    probe: typing.Callable
    fehler: str
    versprechen: str
    wie: str  # it is provoked
    pfade: tuple[str, ...]  # whose change makes a result void


NACHWEISE = {}  # by name, in the order of the table


def nachweis(name, fehler, versprechen, wie, tests, produkt=PRODUKT):
    """Makes the function that follows a proof."""
    def merke(probe):
        NACHWEISE[name] = Nachweis(probe, fehler, versprechen, wie, (*tests, *produkt))
        return probe
    return merke


@nachweis("files", "The n-th file operation fails",
          "the recording goes on; what is lost is what was reported; afterwards it is whole again",
          "`dateifehler_test`: every n, with full disk, I/O error, no descriptor, read-only, "
          "interrupted, short write; once, 20 times, for good",
          ("tests/driver/modes/DateifehlerTest.cpp",), OHNE_GERAETE)
def datei(form):
    zahlen = _gtest("dateifehler_test", form)
    return (f"{_summe(zahlen, 'laeufe')} recordings of {_summe(zahlen, 'operationen')} operations",
            f"{_summe(zahlen, 'verlorene_chunks')} chunks, {_summe(zahlen, 'verlorene_samples')} samples "
            "of the raw file, all reported; nothing else")


@nachweis("film", "The n-th file operation of the video fails",
          "the sound is whole; a video is announced with every picture, or reported as lost, and then what was "
          "safe plays",
          "`filmfehler_test`: every n, in the same ways",
          ("tests/driver/modes/FilmfehlerTest.cpp",))
def filmdatei(form):
    zahlen = _gtest("filmfehler_test", form)
    return (f"{_summe(zahlen, 'laeufe')} recordings of {_summe(zahlen, 'operationen')} operations",
            f"{_summe(zahlen, 'verlorene_videos')} videos, all reported, of which "
            f"{_summe(zahlen, 'gerettete_bilder')} pictures play; no sound")


@nachweis("memory", "The n-th allocation fails",
          "the program goes on, or ends with one line; files are whole",
          "`speicherfehler_test`: every n, alone and with all that follow",
          ("tests/driver/modes/SpeicherfehlerTest.cpp",), OHNE_GERAETE)
def speicher(form):
    zahlen = _gtest("speicherfehler_test", form)
    return (f"{_summe(zahlen, 'laeufe')} recordings of {round(zahlen[0]['belegungen'])} allocations",
            f"{_summe(zahlen, 'zu_ende')} went on, {_summe(zahlen, 'abgebrochen')} ended and "
            f"{_summe(zahlen, 'abgelehnt')} were refused with their line; every announced chunk whole")


@nachweis("hours", "Twelve hours with drift, dropouts, changes of format and of the window",
          "timeline within 5 ms; as many gaps as there were dropouts; memory (from the first minute on), "
          "descriptors and threads do not grow",
          "`dauerlauf_test`: virtual clock, device clocks 2 and 80 ppm off, without and with the echo path "
          "(quick: 15 minutes each)",
          ("tests/driver/modes/DauerlaufTest.cpp",), OHNE_GERAETE)
def uhr(form):
    zahlen = _gtest("dauerlauf_test", form)
    return (f"{len(zahlen)} recordings of {zahlen[0]['stunden']:g} hours, {_summe(zahlen, 'chunks')} chunks",
            f"at most {max(fall['abweichung_us'] for fall in zahlen) / 1000:.2f} ms off; memory moves by "
            f"{max(round(fall['speicher_schwankt_kib']) for fall in zahlen)} KiB; descriptors and threads "
            "do not move")


@nachweis("kill", "kill -9",
          "announced chunks whole and right; raw file less 5 s by its header; video less 2 s; the next "
          "recording undisturbed",
          "`test_getoetet.Getoetet`: seeded moments of start, recording, window change, stop (quick: 8)",
          ("tests/e2e/test_getoetet.py",))
def kill(form):
    zahlen = _e2e("Getoetet.test_getoetet_in_jedem_moment", form, modul="test_getoetet")
    return (f"{zahlen['kills']} kills, {zahlen['chunks']} chunks ({zahlen['stuecke']} quarters of a second "
            f"compared with what was played) and {zahlen['videos']} videos looked at",
            f"no announced chunk; the raw file declares at most {zahlen['roh_s']:g} s too little; at most the "
            f"last {zahlen['video_s']:g} s of a video")


@nachweis("repair", "kill -9, then hallkorb-sitzung reparieren",
          "every file whole and listed, \"me\" up to the end of the raw file; the second run finds nothing to do",
          "`test_sitzung.Getoetet`: seeded moments of stop, recording, start, window change, with and without "
          "the echo path; host's lines kept (quick: 4 kills, long: 100)",
          ("tests/e2e/test_sitzung.py",), (*PRODUKT, "session", "tool"))
def reparieren(form):
    zahlen = _e2e("Getoetet.test_getoetet_und_repariert", form, modul="test_sitzung")
    return (f"{zahlen['kills']} kills, {zahlen['taten']} repairs",
            f"nothing of \"me\" that the raw file has ({zahlen['gerettet_s']:g} s came from it); originals "
            f"unchanged; {zahlen['videos']} videos made ordinary, with every picture of their whole fragments")


@nachweis("restart", "Start and stop at any moment", "always the orderly end, nothing left behind",
          "`test_ausdauer.Neustarts`: seeded moments, SIGINT and SIGTERM",
          ("tests/e2e/test_ausdauer.py",))
def neustart(form):
    zahlen = _e2e("Neustarts.test_start_und_stopp_in_jedem_moment", form)
    return f"{zahlen['starts']} starts and stops", f"nothing; longest stop {zahlen['stopp_s']:g} s"


@nachweis("races", "The same under the thread and the address sanitizer", "no data race, no memory error",
          "`test_ausdauer.Neustarts` with the programs of the presets `tsan` and `asan`",
          ("tests/e2e/test_ausdauer.py",))
def wettlauf(form):
    zahlen = [_e2e("Neustarts.test_start_und_stopp_in_jedem_moment", form, preset, HALLKORB_ANZAHL=anzahl)
              for preset, anzahl in (("tsan", WETTLAEUFE[form]), ("asan", WETTLAEUFE[form]))]
    return f"{sum(fall['starts'] for fall in zahlen)} starts and stops, half under each", "no race, no error"


@nachweis("order", "Threads in any order, devices that fail, a signal at any moment",
          "the run ends; its lines keep their order; chunks hold what was heard at their times",
          "`LiveZufallTest`: simulated computer, one seed each",
          ("tests/driver/modes/LiveZufallTest.cpp",), OHNE_GERAETE)
def reihenfolge(form):
    zahlen = _gtest("driver_test", form, "LiveZufallTest.*", HALLKORB_SAATEN=SAATEN[form])
    return f"{_summe(zahlen, 'saaten')} seeds", "nothing"


@nachweis("freeze", "Recorder, PipeWire, session manager or X server frozen",
          "the recording goes on; silence only until there is sound again; the picture comes back",
          "`test_ausdauer.Eingefroren`: SIGSTOP for 3, 15 and 60 s (quick: 3 s)",
          ("tests/e2e/test_ausdauer.py",))
def frost(form):
    zahlen = _e2e("Eingefroren.test_angehalten_und_weiter", form)
    luecken = ", ".join(f"{was}: {ms / 1000:.1f} s" for was, ms in zahlen["luecken_ms"].items())
    return f"{zahlen['faelle']} freezes", f"silence ({luecken})"


@nachweis("services", "PipeWire, session manager or X server killed, and started again",
          "the recording goes on; silence only while there are no devices; the picture comes back",
          "`test_ausdauer.Neugestartet`: each in turn, away for up to 8 s (quick: 2 s)",
          ("tests/e2e/test_ausdauer.py",))
def neu_gestartet(form):
    zahlen = _e2e("Neugestartet.test_getoetet_und_neu_gestartet", form)
    luecken = ", ".join(f"{was} at most {ms / 1000:.1f} s" for was, ms in zahlen["luecken_ms"].items())
    return f"{zahlen['faelle']} kills", f"silence ({luecken})"


@nachweis("changes", "Default devices change twenty times in ten seconds",
          "what is heard afterwards comes from the last ones", "`test_ausdauer.Umgeschaltet`",
          ("tests/e2e/test_ausdauer.py",))
def umgeschaltet(form):
    zahlen = _e2e("Umgeschaltet.test_zwanzig_mal_in_zehn_sekunden", form)
    return (f"20 changes, {zahlen['runden']} time(s)",
            f"silence of at most {zahlen['luecken_ms'] / 1000:.1f} s in all; what is heard then comes from the "
            "last devices")


@nachweis("zeros", "A device brings nothing but zeros after sound",
          "one line after 90 s, one when there is sound again", "`test_ausdauer.Stumm`",
          ("tests/e2e/test_ausdauer.py",))
def nullen(form):
    zahlen = _e2e("Stumm.test_nur_nullen", form)
    return f"{zahlen['kanaele']} channels", "nothing; a line when it has lasted for 90 s, and one at its end"


@nachweis("unread", "A host that does not read",
          "no sound is lost, and no line if it reads again; the end waits for 5 s in all; a line is written "
          "whole or not at all",
          "`test_ungelesen.Ungelesen`: a pipe of 4096 bytes; a stop with hundreds of lines unread, with the echo "
          "path and without; 36 s without a reader; both pipes full before the start, with video",
          ("tests/e2e/test_ungelesen.py",))
def ungelesen(form):
    stopp, schlaf, _ = (_e2e(f"Ungelesen.{name}", form, modul="test_ungelesen") for name in (
        "test_stopp", "test_leser_schlaeft", "test_voll_vor_dem_start"))
    return (f"{stopp['stopps']} stops with {stopp['zeilen']} lines unread and more, one busy and one deaf host",
            f"at the stop the unread lines ({stopp['stopp_s']:g} s), nothing in the files; {schlaf['chunks']} "
            f"chunks of the busy host all announced, {schlaf['luecken_ms']:g} ms of gaps")


@nachweis("limits", "Limits of the system from the start on",
          "the recording runs with what it gets, or is refused with its line",
          "`test_ausdauer.Dateigrenzen`, `.Adressraum`: file size, address space",
          ("tests/e2e/test_ausdauer.py",))
def grenzen(form):
    zahlen = [_e2e(name, form) for name in ("Dateigrenzen.test_dateigroessen", "Adressraum.test_adressraum")]
    return (f"{zahlen[0]['faelle']} sizes of files, {zahlen[1]['faelle']} of address space",
            f"{_summe(zahlen, 'abgelehnt')} refused with their line, the others ended in order; what is beyond "
            "the limit, reported")


@nachweis("threads", "No more threads", "what runs goes on; what needs one has failed, with its line",
          "`test_ausdauer.Fadengrenzen`, `test_grenzen.Faeden`: from the start on, and reached in mid-recording",
          ("tests/e2e/test_ausdauer.py", "tests/e2e/test_grenzen.py"))
def faeden(form):
    zahlen = _e2e("Fadengrenzen.test_am_anfang", form)
    _mehrmals(form, "test_grenzen", "Faeden.test_ton", "Faeden.test_laufendes_bild", "Faeden.test_bild_ohne_faden",
              "Faeden.test_tonserver_endet")
    return (f"{zahlen['faelle']} limits, and 4 moments",
            f"{zahlen['abgelehnt']} refused with their line, the others ended in order; nothing of what ran")


@nachweis("descriptors", "Few descriptors", "the recording runs with what it gets, or is refused with its line",
          "`test_grenzen.Deskriptoren`: 8 to 80 from the start on; `.ImLauf`: limits on descriptors and files set "
          "in mid-recording",
          ("tests/e2e/test_grenzen.py",))
def deskriptoren(form):
    wie_oft = _mehrmals(form, "test_grenzen", "Deskriptoren.test_wenige", "ImLauf.test_deskriptoren",
                        "ImLauf.test_dateigroesse")
    return f"10 limits and 2 in mid-recording, {wie_oft}", "what needs one that is not there, with its line"


@nachweis("streams", "Standard streams closed", "no file of the recording takes their number",
          "`test_grenzen.Standardstroeme`: all eight combinations",
          ("tests/e2e/test_grenzen.py",))
def stroeme(form):
    return f"8 combinations, {_mehrmals(form, 'test_grenzen', 'Standardstroeme.test_geschlossen')}", "nothing"


@nachweis("paths", "Paths at the system's limits and beyond them", "up to them everything is recorded",
          "`test_grenzen.Pfade`: longest name, longest path",
          ("tests/e2e/test_grenzen.py",))
def pfade(form):
    return (f"4 paths, {_mehrmals(form, 'test_grenzen', 'Pfade.test_laengen')}",
            "nothing up to the limit; beyond it everything, with its line")


@nachweis("folder", "Another recording in the folder; folder removed, made again, exchanged for a link; disk full",
          "the second recording is refused; chunks go on in the new folder; nothing goes where a link leads; what "
          "does not fit is reported",
          "`test_dateien.Dateien`, `.Vertraulich`, `.EigenesDateisystem`",
          ("tests/e2e/test_dateien.py",))
def ordner_(form):
    wie_oft = _mehrmals(form, "test_dateien", "Dateien.test_zweite_aufnahme_in_denselben_ordner",
                        "Dateien.test_ordner_im_lauf_entfernt",  # and made again
                        "Vertraulich.test_ordner_ausgetauscht", "Vertraulich.test_rechte_und_verweise")
    voll = ""
    try:
        _mehrmals(form, "test_dateien", "EigenesDateisystem.test_platte_voll")
    except Ausgelassen:
        voll = "; without the full disk, since nothing can be mounted here"
    return f"{wie_oft} each{voll}", "what had no place, reported"


@nachweis("stamps", "Time stamps that are hours away, stand still or are missing; blocks of 1 and of 100 000 frames",
          "no sound is lost or moved",
          "`clock_test`: `Hosttakt`, `Stempelpruefung`, `Stempelfilter`; `driver_test`: `BlocksOfAnyLengthLoseNothing`",
          ("tests/platform/clock", "tests/driver/modes/LiveAufnahmeTest.cpp"), OHNE_GERAETE)
def stempel(form):
    anzahl = len(_gtest("clock_test", form, "Hosttakt.*:Stempelpruefung.*:Stempelfilter.*", subprocess.DEVNULL))
    anzahl += len(_gtest("driver_test", form, "LiveAufnahmeTest.BlocksOfAnyLengthLoseNothing", subprocess.DEVNULL))
    return f"{anzahl} cases", "nothing"


@nachweis("hour", "One hour in real time, everything on", "nothing grows",
          "`test_ausdauer.Echtzeit`",
          ("tests/e2e/test_ausdauer.py",))
def stunde(form):
    zahlen = _e2e("Echtzeit.test_lange_in_echtzeit", form)
    return (f"{zahlen['sekunden']} s", f"{zahlen['luecken_ms']:g} ms of gaps; {zahlen['mib']} MiB, "
            f"{zahlen['waechst_kib']} KiB more than after warming up; {zahlen['fd']} descriptors, "
            f"{zahlen['faeden']} threads")


@nachweis("fuzz", "Foreign bytes", "no crash, no undefined behaviour", "`fuzz/`, libFuzzer with both sanitizers",
          ("fuzz", "tests/oracles"), (*PRODUKT, "session"))
def fuzz(form):
    if not shutil.which("clang++-19"):
        raise Ausgelassen("clang++-19 is not there")
    ziele = stufen.fuzz_ziele()
    dateien = sum(len(os.listdir(ordner)) for ziel in ziele for ordner in stufen.fuzz_korpora(ziel))
    for ziel in ziele:
        status, ausgabe = stufen.fuzze(ziel, FUZZ_SEKUNDEN[form])
        if status:
            raise Gescheitert(f"{ziel}\n{ausgabe}")
        print(f"  {os.path.basename(ziel)} clean", file=sys.stderr, flush=True)
    return (f"{len(ziele)} targets, {dateien} kept inputs and {FUZZ_SEKUNDEN[form]} s of new ones each",
            "nothing found")


# --- Results ---------------------------------------------------------------------------------------

def _lies(pfad):
    try:
        with open(pfad, encoding="utf-8") as datei_:
            return json.load(datei_)
    except (OSError, ValueError):
        return {}


def _schreibe(pfad, alle):
    os.makedirs(os.path.dirname(pfad), exist_ok=True)
    with open(pfad + ".new", "w", encoding="utf-8") as datei_:
        json.dump(alle, datei_, indent=1, ensure_ascii=False)
        datei_.write("\n")
    os.replace(pfad + ".new", pfad)


def unveraendert(commit, pfade, ordner=WURZEL):
    """Whether these paths are as that commit has them. What else was tried (a plus) is not known any more."""
    return not commit.endswith("+") and subprocess.run(
        ["git", "-C", ordner, "diff", "--quiet", commit, "--", *pfade], stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL, check=False).returncode == 0


def ergebnisse():
    """{proof: {form: {"provoked", "lost", "commit", "date", "seconds"}}}, without the first two if it failed: what
    was found last on this machine, otherwise what docs/reliability.json keeps."""
    alle = {name: dict(formen) for name, formen in _lies(BEHALTEN).items() if name in NACHWEISE}
    for name, formen in _lies(ERGEBNISSE).items():
        for form, satz in formen.items():
            if name in NACHWEISE and "commit" in satz:
                alle.setdefault(name, {})[form] = satz
    return alle


def gueltige():
    """Those of the program and the test as they are now."""
    alle = {name: {form: satz for form, satz in formen.items()
                   if unveraendert(satz["commit"], NACHWEISE[name].pfade)}
            for name, formen in ergebnisse().items()}
    return {name: formen for name, formen in alle.items() if formen}


def _commit(pfade):
    """The commit that is tried, with a plus if something of these paths was changed since."""
    _, kennung = stufen.fuehre_aus("git", "rev-parse", "--short", "HEAD", pruefe=False)
    kennung = kennung.strip()
    return kennung if unveraendert(kennung, pfade) else kennung + "+"


def _merke(name, form, sekunden, **gefunden):
    """Keeps what was found. Without `gefunden` the proof failed, and the table says so."""
    alle = _lies(ERGEBNISSE)
    alle.setdefault(name, {})[form] = gefunden | {"seconds": round(sekunden),
                                                  "commit": _commit(NACHWEISE[name].pfade),
                                                  "date": datetime.date.today().isoformat()}
    _schreibe(ERGEBNISSE, alle)


def tabelle(gefunden, namen=None):
    """The rows of docs/reliability.md, the results of both forms beside each other."""
    zeilen = ["| Fault | Promised | How it is provoked | Quick form: how often, what was lost | "
              "Long form: how often, what was lost |", "|---|---|---|---|---|"]
    for name in namen or NACHWEISE:
        satz = NACHWEISE[name]
        felder = [_feld(gefunden.get(name, {}).get(form)) for form in FORMEN]
        zeilen.append(f"| {satz.fehler} | {satz.versprechen} | `--only {name}`: {satz.wie} | {' | '.join(felder)} |")
    return "\n".join(zeilen)


def _feld(satz):
    if satz is None:
        return "–"
    gefunden = f"{satz['provoked']}. Lost: {satz['lost']}." if "provoked" in satz else "**FAILED**"
    return f"{gefunden} ({satz['commit']}, {satz['date']}, {satz['seconds']} s)"


def lauf(namen, form):
    anfang = time.monotonic()
    gescheitert = ausgelassen = 0
    for nummer, name in enumerate(namen):
        print(f"[{nummer + 1}/{len(namen)}] {name}: {NACHWEISE[name].fehler} ...", flush=True)
        beginn = time.monotonic()
        try:
            haeufig, verloren = NACHWEISE[name].probe(form)
        except Ausgelassen as grund:
            ausgelassen += 1
            print(f"left out  {name}: {grund}", flush=True)
            continue
        except (Gescheitert, stufen.Gescheitert, OSError, KeyError, ValueError) as fehler:
            gescheitert += 1
            _merke(name, form, time.monotonic() - beginn)
            print(f"FAILED  {name}\n{fehler}", flush=True)
            continue
        sekunden = time.monotonic() - beginn
        _merke(name, form, sekunden, provoked=haeufig, lost=verloren)
        print(f"ok      {name}: {haeufig}. Lost: {verloren}. ({sekunden:.0f} s)", flush=True)
    print(f"\n{tabelle(ergebnisse(), namen)}\n\n{time.monotonic() - anfang:.0f} s in all")
    if ausgelassen:
        print(f"{ausgelassen} left out")
    print(f"{len(namen) - gescheitert - ausgelassen} passed, {gescheitert} failed")
    return 1 if gescheitert else 0


def _hauptteil():
    leser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__.split("\n", maxsplit=1)[0])
    leser.add_argument("--quick", action="store_true", help="the short form, minutes instead of hours")
    leser.add_argument("--only", action="append", choices=NACHWEISE, metavar="NAME", help=", ".join(NACHWEISE))
    leser.add_argument("--list", action="store_true", help="print the table, run nothing")
    leser.add_argument("--write", action="store_true", help="put the table into docs/reliability.md")
    wahl = leser.parse_args()
    if wahl.list:
        print(tabelle(ergebnisse()))
    elif wahl.write:
        _schreibe(BEHALTEN, gueltige())
        abschnitte.schreibe("docs/reliability.md", abschnitte.ersetze(
            abschnitte.lies("docs/reliability.md"), "faults", tabelle(gueltige())))
    else:
        prozesse.beaufsichtigt(lambda: lauf(wahl.only or list(NACHWEISE),
                                            "quick" if wahl.quick else "long"))


if __name__ == "__main__":
    _hauptteil()
