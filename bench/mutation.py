#!/usr/bin/python3
"""How much of a change to the portable core its unit tests notice.

    bench/mutation.py                   all mutants of all rooms; hours
    bench/mutation.py --sample 150      up to so many in each room, drawn with a seed
    bench/mutation.py --room audiofiles --only Wav.cpp
    bench/mutation.py --again           those that nobody noticed last time, after tests have been added
    bench/mutation.py --write           puts what was last found into docs/test-quality.md

Hundreds of small changes (mutanten.py says which) are compiled into one copy of the sources, in
build/mutation. Each is then switched on alone, and the unit tests that come by it run with a time limit: one
that fails, crashes or does not end has noticed it. Those that nobody notices are listed with their lines; some
change nothing that could be noticed, and bench/mutation-equal.txt says why.

The last line is "N passed, N failed": failed if less than 92 % were noticed, the explained ones left out.
"""

import argparse
import collections
import concurrent.futures
import datetime
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

WURZEL = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import abschnitte  # noqa: E402
import mutanten  # noqa: E402

ORDNER = os.path.join(WURZEL, "build", "mutation")
QUELLEN = os.path.join(ORDNER, "source")
BAU = os.path.join(ORDNER, "build")
ERGEBNIS = os.path.join(WURZEL, "build", "mutation.json")
ERKLAERT = os.path.join(WURZEL, "bench", "mutation-equal.txt")
MINDESTENS = 92.0
HOECHSTENS = 65536  # mutants, as in mutation.h
LANGSAM = 12  # seconds: a test that takes longer without any mutant is not asked
SAATEN = "20"  # of a test that draws its cases: all of them would make it one of those
PROZESSOREN = len(os.sched_getaffinity(0))
# Room -> its test programs, the room's own first. The kernels of the echo path are left out: a switch in
# each of their loops would take their tests hours.
RAEUME = {
    "base": ["base_test", "driver_test", "dateifehler_test"],
    "audiofiles": ["audiofiles_test", "dateifehler_test"],
    "capture": ["capture_test"],
    "meeting": ["meeting_test"],
    "driver": ["driver_test", "selbsttest_test", "dateifehler_test"],
    "echo": ["echo_test"],
}
AUSGENOMMEN = ("echo/kernels/", "echo/KFFT", "driver/main.cpp")


def rufe(*befehl, **weitere):
    lauf = subprocess.run(befehl, capture_output=True, check=False, **weitere)
    return lauf.returncode, (lauf.stdout + lauf.stderr).decode("utf-8", "replace")


def muss(*befehl, **weitere):
    status, ausgabe = rufe(*befehl, **weitere)
    if status:
        raise SystemExit(f"$ {' '.join(befehl)}\n{ausgabe}")
    return ausgabe


def dateien(*wo):
    """The project's own files, those not yet committed included."""
    return muss("git", "ls-files", "--cached", "--others", "--exclude-standard", *wo, cwd=WURZEL).splitlines()


# --- The copy of the sources ----------------------------------------------------------------------

def kopiere():
    """The working tree's files, those that have not changed since left alone."""
    for name in dateien():
        von, nach = os.path.join(WURZEL, name), os.path.join(QUELLEN, name)
        if os.path.isfile(von) and not name.startswith(("build/", "tests/macos/")):
            os.makedirs(os.path.dirname(nach), exist_ok=True)
            if not os.path.exists(nach):
                shutil.copy2(von, nach)
            elif not name.endswith((".cpp", ".h")):
                schreibe(nach, lies(von))
            elif not gehoert(name, RAEUME):
                schreibe(nach, lies(von))


def lies(pfad):
    with open(pfad, "rb") as datei:
        return datei.read()


def schreibe(pfad, inhalt):
    """Only if it differs, so that the build takes it for unchanged otherwise."""
    if not os.path.exists(pfad) or lies(pfad) != inhalt:
        with open(pfad, "wb") as datei:
            datei.write(inhalt)


def gehoert(name, raeume):
    return name.split("/")[0] in raeume and name.endswith((".cpp", ".h")) and not name.startswith(AUSGENOMMEN)


def richte_ein():
    flaggen = f"-std=c++20 -include {WURZEL}/bench/mutation.h -w -Wno-narrowing -Wno-invalid-constexpr -ferror-limit=0"
    muss("cmake", "-G", "Ninja", "-S", QUELLEN, "-B", BAU, "-DCMAKE_BUILD_TYPE=Debug",
         "-DCMAKE_CXX_COMPILER=clang++-19", "-DCMAKE_CXX_FLAGS_DEBUG=-O1", f"-DCMAKE_CXX_FLAGS={flaggen}",
         "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")


def suche(raeume, nur):
    """All mutants of these rooms, with numbers that stay the same as long as the sources do."""
    sucher = mutanten.Sucher(WURZEL, lambda name: gehoert(name, raeume) and nur in name)
    with open(os.path.join(BAU, "compile_commands.json"), encoding="utf-8") as datei:
        befehle = json.load(datei)
    for eintrag in befehle:
        name = os.path.relpath(eintrag["file"], QUELLEN)
        if name.split("/")[0] in raeume and name.endswith(".cpp") and not name.startswith(AUSGENOMMEN):
            # The headers' folders hold links into the copy; the originals are wanted.
            worte = eintrag["command"].split()
            argumente = [wort for wort in worte[1:] if wort.startswith(("-D", "-std"))]
            sucher.lies(os.path.join(WURZEL, name), ["-x", "c++", f"-I{WURZEL}", *argumente])
    alle = sucher.mutanten()
    for nummer, mutant in enumerate(alle):
        mutant.nummer = nummer
    return alle, sucher.texte


# --- The build ------------------------------------------------------------------------------------

def baue(alle, texte, programme):
    """Compiles all mutants in; those that the compiler refuses are left out. Returns the others. `texte` are
    the sources in which they were found: the tree may have changed since."""
    je_datei = collections.defaultdict(list)
    for mutant in alle:
        je_datei[mutant.datei].append(mutant)
    for runde in range(1, 30):
        for name in dateien(*RAEUME):
            if gehoert(name, RAEUME):
                text = texte.get(name) or lies(os.path.join(WURZEL, name))
                schreibe(os.path.join(QUELLEN, name), mutanten.schreibe_um(text, je_datei.get(name, [])))
        status, ausgabe = rufe("cmake", "--build", BAU, "--parallel", str(PROZESSOREN), "--target", *programme, "--",
                               "-k", "0")
        if status == 0:
            return [mutant for liste in je_datei.values() for mutant in liste]
        weg = verweigert(ausgabe, je_datei)
        print(f"  build {runde}: {weg} mutants do not compile", flush=True)
        if weg == 0:
            raise SystemExit(ausgabe)
    raise SystemExit("the mutants do not compile")


def verweigert(ausgabe, je_datei):
    """Takes out the mutants on the lines of errors (and of calls that an error names as its origin)."""
    weg = 0
    for pfad, zeile in set(re.findall(r"^(\S+?):(\d+):\d+: (?:fatal )?(?:error|note): ", ausgabe, re.MULTILINE)):
        name = os.path.relpath(os.path.realpath(os.path.join(BAU, pfad)), QUELLEN)
        liste = je_datei.get(name, [])
        bleibt = [mutant for mutant in liste if mutant.zeile != int(zeile)]
        weg += len(liste) - len(bleibt)
        je_datei[name] = bleibt
    return weg


# --- The runs -------------------------------------------------------------------------------------

def laufe(programm, tests, sekunden, **umgebung):
    """The exit status of these tests: 0 if they pass, None if the time is up."""
    def vor_exec():
        os.nice(10)
        resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    with tempfile.TemporaryDirectory() as ordner:
        os.chmod(ordner, 0o755)  # a test that gives up root's rights must still get in
        befehl = [os.path.join(BAU, "tests", programm), f"--gtest_filter={':'.join(tests)}", "--gtest_fail_fast",
                  "--gtest_brief=1"]
        prozess = subprocess.Popen(befehl, cwd=ordner, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, start_new_session=True, preexec_fn=vor_exec,
                                   env={**os.environ, "TMPDIR": ordner, "HALLKORB_SAATEN": SAATEN, **umgebung})
        try:
            return prozess.wait(sekunden)
        except subprocess.TimeoutExpired:
            return None
        finally:
            try:
                os.killpg(prozess.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            prozess.wait()


def ziehe(alle, hoechstens, saat):
    """At most so many of each room, the same ones for the same seed and sources."""
    gezogen = []
    for raum in RAEUME:
        hier = [mutant for mutant in alle if mutant.datei.startswith(raum + "/")]
        if hoechstens is not None and len(hier) > hoechstens:
            hier = random.Random(saat).sample(hier, hoechstens)
        gezogen += sorted(hier, key=lambda mutant: mutant.nummer)
    return gezogen


def liste(programm):
    tests, gruppe = [], ""
    for zeile in muss(os.path.join(BAU, "tests", programm), "--gtest_list_tests").splitlines():
        zeile = zeile.split("#")[0].rstrip()
        if zeile.startswith("  "):
            tests.append(gruppe + zeile.strip())
        elif zeile.endswith("."):
            gruppe = zeile
    return tests


def erkunde(programm, langsam):
    """[(test, seconds, the mutants that it comes by)] of the tests that take no longer than `langsam`,
    each run alone, without any mutant."""
    def einer(test):
        with tempfile.NamedTemporaryFile("rb") as notiz:
            os.truncate(notiz.name, HOECHSTENS)
            os.chmod(notiz.name, 0o666)  # as the folder above
            beginn = time.monotonic()
            status = laufe(programm, [test], langsam, HALLKORB_ERREICHT=notiz.name)
            dauer = time.monotonic() - beginn
            return status, test, dauer, {nummer for nummer, gesetzt in enumerate(notiz.read()) if gesetzt}

    with concurrent.futures.ThreadPoolExecutor(PROZESSOREN) as helfer:
        alle = list(helfer.map(einer, liste(programm)))
    if kaputt := [test for status, test, _, _ in alle if status]:
        raise SystemExit(f"{programm} fails without any mutant: {kaputt}")
    if zu_langsam := [test for status, test, _, _ in alle if status is None]:
        print(f"  {programm}: takes too long and is not asked: {', '.join(zu_langsam)}", flush=True)
    return [(test, dauer, erreicht) for status, test, dauer, erreicht in alle if status == 0]


def bemerkt(mutant, karten):
    """Whether a test fails with this mutant. The quick tests that come by it are tried first."""
    for programm in filter(karten.get, RAEUME[mutant.datei.split("/")[0]]):
        zeiten = sorted((dauer, test) for test, dauer, erreicht in karten[programm]
                        if mutant.nummer in erreicht)
        gruppen = ([], [])
        for dauer, test in zeiten:
            gruppen[sum(d for d, _ in gruppen[0]) + dauer > 1.0].append((dauer, test))
        for gruppe in filter(None, gruppen):
            grenze = 10 + 10 * sum(dauer for dauer, _ in gruppe)
            if laufe(programm, [test for _, test in gruppe], grenze, HALLKORB_MUTANT=str(mutant.nummer)) != 0:
                return True
    return False


def pruefe(alle, karten):
    """{mutant's number: whether it was noticed}, with progress."""
    ergebnis, beginn = {}, time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(PROZESSOREN) as helfer:
        laeufe = {helfer.submit(bemerkt, mutant, karten): mutant for mutant in alle}
        for lauf in concurrent.futures.as_completed(laeufe):
            mutant = laeufe[lauf]
            ergebnis[mutant.nummer] = lauf.result()
            if not ergebnis[mutant.nummer]:
                print(f"  unnoticed: {mutant.datei}:{mutant.zeile}: {mutant.aenderung}", flush=True)
            if len(ergebnis) % 50 == 0:
                print(f"  {len(ergebnis)} of {len(alle)} after {time.monotonic() - beginn:.0f} s", flush=True)
    return ergebnis


# --- The result -----------------------------------------------------------------------------------

def erklaerungen():
    """{(file, text of the line, change): reason}; an asterisk for the change stands for all of the line."""
    with open(ERKLAERT, encoding="utf-8") as datei:
        zeilen = [zeile.rstrip("\n").split(" | ") for zeile in datei if zeile.strip() and not zeile.startswith("#")]
    for felder in zeilen:
        if len(felder) < 4:
            raise SystemExit(f"{ERKLAERT}: {' | '.join(felder)}")
    # The line's text may have the separator in it.
    return {(felder[0], " | ".join(felder[1:-2]), felder[-2]): felder[-1] for felder in zeilen}


def berichte(alle, ergebnis):
    gruende = erklaerungen()
    je_raum, offen, erklaert = {}, [], []
    for mutant in alle:
        raum = je_raum.setdefault(mutant.datei.split("/")[0], {"mutants": 0, "noticed": 0, "explained": 0})
        raum["mutants"] += 1
        if ergebnis[mutant.nummer]:
            raum["noticed"] += 1
            continue
        zeile = mutant.text
        grund = gruende.get((mutant.datei, zeile, mutant.aenderung)) or gruende.get((mutant.datei, zeile, "*"))
        eintrag = {"file": mutant.datei, "line": mutant.zeile, "text": zeile, "change": mutant.aenderung}
        if grund:
            raum["explained"] += 1
            erklaert.append({**eintrag, "why": grund})
        else:
            offen.append(eintrag)
    return {"date": datetime.date.today().isoformat(), "rooms": je_raum, "unnoticed": offen, "explained": erklaert}


def anteil(raeume):
    summe = {name: sum(raum[name] for raum in raeume) for name in ("mutants", "noticed", "explained")}
    return summe, 100 * summe["noticed"] / max(summe["mutants"] - summe["explained"], 1)


def tabelle(bericht):
    zeilen = ["| Room | Mutants | Noticed | No difference | Unnoticed | Noticed of those that differ |",
              "|---|---:|---:|---:|---:|---:|"]
    for name, raeume in [*((name, [raum]) for name, raum in bericht["rooms"].items()),
                         ("**all**", bericht["rooms"].values())]:
        summe, prozent = anteil(raeume)
        rest = summe["mutants"] - summe["noticed"] - summe["explained"]
        zeilen.append(f"| {name} | {summe['mutants']} | {summe['noticed']} | {summe['explained']} | {rest} | "
                      f"{prozent:.1f} % |")
    zeilen += ["", f"{bericht['how']}; {bericht['seconds']} s on {bericht['date']}. Unnoticed:", ""]
    je_datei = collections.defaultdict(list)
    for eintrag in bericht["unnoticed"]:
        je_datei[eintrag["file"]].append(f"{eintrag['line']}: `{eintrag['change']}`")
    zeilen += [f"- {datei}: {'; '.join(stellen)}" for datei, stellen in sorted(je_datei.items())]
    return "\n".join(zeilen)


def _hauptteil():
    leser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    leser.add_argument("--room", action="append", choices=RAEUME, metavar="ROOM", help=", ".join(RAEUME))
    leser.add_argument("--only", default="", metavar="TEXT", help="files whose name has this in it")
    leser.add_argument("--sample", type=int, metavar="N", help="at most N mutants of each room")
    leser.add_argument("--seed", type=int, default=1, help="of the sample")
    leser.add_argument("--own", action="store_true", help="ask only the room's own tests, which are quicker to build")
    leser.add_argument("--slow", type=int, default=LANGSAM, metavar="SECONDS",
                       help=f"tests that take longer are not asked; otherwise {LANGSAM}")
    leser.add_argument("--again", action="store_true", help="only those that went unnoticed last time")
    leser.add_argument("--list", action="store_true", help="print the mutants, run nothing")
    leser.add_argument("--write", action="store_true", help="put the last result into docs/test-quality.md")
    wahl = leser.parse_args()
    if wahl.write:
        with open(ERGEBNIS, encoding="utf-8") as datei:
            bericht = json.load(datei)
        abschnitte.schreibe("docs/test-quality.md", abschnitte.ersetze(
            abschnitte.lies("docs/test-quality.md"), "mutants", tabelle(bericht)))
        return 0
    raeume = wahl.room or list(RAEUME)
    programme = sorted({programm for raum in raeume for programm in RAEUME[raum][:1 if wahl.own else None]})
    beginn = time.monotonic()
    kopiere()
    richte_ein()
    alle, texte = suche(raeume, wahl.only)
    print(f"{len(alle)} mutants found", flush=True)
    if wahl.list:
        for mutant in alle:
            print(f"{mutant.datei}:{mutant.zeile}: {mutant.gattung}: {mutant.aenderung}")
        return 0
    alle = baue(alle, texte, programme)
    alle = uebrige(alle) if wahl.again else ziehe(alle, wahl.sample, wahl.seed)
    print(f"{len(alle)} mutants to try, after {time.monotonic() - beginn:.0f} s", flush=True)
    karten = {programm: erkunde(programm, wahl.slow) for programm in programme}
    bericht = berichte(alle, pruefe(alle, karten)) | {
        "seconds": round(time.monotonic() - beginn),
        "how": f"At most {wahl.sample} mutants of each room, drawn with seed {wahl.seed}" if wahl.sample
               else "Every mutant"}
    if wahl.again:
        bericht = _ergaenzt(bericht)
    if not wahl.only:
        _merke(bericht)
    print(tabelle(bericht))
    gut = anteil(bericht["rooms"].values())[1] >= MINDESTENS
    print(f"{int(gut)} passed, {int(not gut)} failed")
    return int(not gut)


def _altes():
    try:
        with open(ERGEBNIS, encoding="utf-8") as datei:
            return json.load(datei)
    except (OSError, ValueError):
        return {"rooms": {}, "unnoticed": [], "explained": [], "seconds": 0, "how": ""}


def uebrige(alle):
    """Those that went unnoticed last time, by file, line's text and change."""
    alt = _altes()
    offen = {(eintrag["file"], eintrag["text"], eintrag["change"]) for eintrag in alt["unnoticed"] + alt["explained"]}
    return [mutant for mutant in alle if (mutant.datei, mutant.text, mutant.aenderung) in offen]


def _ergaenzt(neu):
    """The last result, with those that are noticed now."""
    alt = _altes()
    for name, raum in neu["rooms"].items():
        gesamt = alt["rooms"][name]
        rest = raum["mutants"] - raum["noticed"] - raum["explained"]
        gesamt["noticed"] = gesamt["mutants"] - rest - raum["explained"]
        gesamt["explained"] = raum["explained"]
    return {**neu, "rooms": alt["rooms"], "how": alt["how"], "seconds": alt["seconds"] + neu["seconds"]}


def _merke(bericht):
    """Keeps the result; rooms that were not looked at stay as they were found before."""
    alt = _altes()
    neu = set(bericht["rooms"])
    bericht["rooms"] = {name: bericht["rooms"].get(name) or alt["rooms"][name]
                        for name in RAEUME if name in bericht["rooms"] or name in alt["rooms"]}
    for teil in ("unnoticed", "explained"):
        bericht[teil] += [eintrag for eintrag in alt[teil] if eintrag["file"].split("/")[0] not in neu]
    if set(bericht["rooms"]) != neu:
        bericht["seconds"] += alt["seconds"]
    with open(ERGEBNIS, "w", encoding="utf-8") as datei:
        json.dump(bericht, datei, indent=1)


if __name__ == "__main__":
    sys.exit(_hauptteil())
