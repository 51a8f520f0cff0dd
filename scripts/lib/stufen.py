"""The stages of scripts/test: each a few commands, whose output is shown if they fail.

A stage that counts its own tests (a test program, the end-to-end tests) adds those to the sum; any
other one counts as one test.
"""

import argparse
import concurrent.futures
import glob
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time

import abdeckung
import abschnitte
import prozesse

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BAU = os.path.join(WURZEL, "build")
PROZESSOREN = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 2
FUZZ_SEKUNDEN = 6


class Gescheitert(Exception):
    """A command of a stage failed; the text is what it printed."""


class Zaehler:
    """Passed and failed tests of one stage, and what the failed ones printed."""

    def __init__(self):
        self.bestanden = 0
        self.gescheitert = 0
        self.texte = []

    def zaehle(self, gut, text=""):
        self.bestanden += gut
        self.gescheitert += not gut
        if not gut and text:
            self.texte.append(text)


def fuehre_aus(*befehl, pruefe=True, umgebung=None):
    """Runs a command in the project's folder; returns (status, output)."""
    lauf = prozesse.starte(befehl, cwd=WURZEL, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, env={**os.environ, **(umgebung or {})})
    ausgabe = lauf.communicate()[0].decode("utf-8", "replace")
    if pruefe and lauf.returncode:
        raise Gescheitert(f"$ {' '.join(befehl)}\n{ausgabe}")
    return lauf.returncode, ausgabe


def dateien(*endungen):
    """The project's own files with these endings, those not yet committed included."""
    _, liste = fuehre_aus("git", "ls-files", "--cached", "--others", "--exclude-standard")
    return [name for name in liste.splitlines()
            if name.endswith(endungen) and not name.startswith("tests/macos/sdk/")
            and os.path.exists(os.path.join(WURZEL, name))]


def baue(preset, *ziele, tests=True, optionen=()):
    """Builds the targets (all without any); `tests` False leaves tests and benchmarks out. Returns what
    the build printed."""
    fuehre_aus("cmake", "--preset", preset, f"-DHALLKORB_TESTS={'ON' if tests else 'OFF'}", *optionen)
    return fuehre_aus("cmake", "--build", "--preset", preset, "--parallel", str(PROZESSOREN),
                      *(["--target", *ziele] if ziele else []))[1]


def ctest(preset, zaehler, umgebung=None, auswahl="."):
    """Runs the test programs of a build whose names match; counts their single tests."""
    with tempfile.TemporaryDirectory() as berichte:
        status, ausgabe = fuehre_aus(
            # One more than there are cores: the programs on real services wait most of the time.
            "ctest", "--preset", preset, "--parallel", str(PROZESSOREN + 1), "--no-tests=error", "-R",
            auswahl, pruefe=False,
            umgebung={"GTEST_OUTPUT": f"json:{berichte}/", **(umgebung or {})})
        gescheitert = 0
        for pfad in glob.glob(f"{berichte}/*.json"):
            with open(pfad, encoding="utf-8") as datei:
                bericht = json.load(datei)
            for gruppe in bericht["testsuites"]:
                for fall in gruppe["testsuite"]:
                    if fall["result"] == "COMPLETED":
                        gescheitert += "failures" in fall
                        zaehler.zaehle("failures" not in fall)
        if status:
            zaehler.texte.append(ausgabe)
            if not gescheitert:  # a program that crashed or hung left no report
                zaehler.gescheitert += 1


# --- The stages -----------------------------------------------------------------------------------

def stufe_format(zaehler):
    """clang-format: every C++ file is formatted"""
    fuehre_aus("clang-format-19", "--dry-run", "-Werror", *dateien(".cpp", ".h", ".mm"))
    zaehler.zaehle(True)


def stufe_skripte(zaehler):
    """shellcheck and a syntax check of the scripts and the shells' completions"""
    shell = [name for name in dateien("") if not name.endswith((".cpp", ".h", ".py"))
             and os.path.isfile(os.path.join(WURZEL, name)) and _ist_shell(name)]
    fuehre_aus("shellcheck", *shell)
    fuehre_aus("shellcheck", "--shell=bash", *dateien(".bash"))
    zaehler.zaehle(True)
    zsh = [name for name in dateien("") if name.startswith("completions/_")]
    for programm, nur_lesen, skripte in (("zsh", "-n", zsh), ("fish", "--no-execute", dateien(".fish"))):
        if not shutil.which(programm):
            print(f"no {programm}: its completions are not read", flush=True)
            continue
        for name in skripte:
            zaehler.zaehle(not fuehre_aus(programm, nur_lesen, name)[0])
    for name in dateien(".py"):
        with open(os.path.join(WURZEL, name), encoding="utf-8") as datei:
            compile(datei.read(), name, "exec")
    zaehler.zaehle(True)


def _ist_shell(name):
    with open(os.path.join(WURZEL, name), "rb") as datei:
        return re.match(rb"#!.*\b(ba|da)?sh\b", datei.readline()) is not None


def stufe_release(zaehler):
    """optimised build, all test programs, the modes without devices and the vectors"""
    # Not -Werror: a compiler that is newer than the pinned ones must not keep anybody from building.
    warnungen = re.findall(r"^\S+:\d+:\d+: warning: .*$", baue("release"), re.MULTILINE)
    zaehler.zaehle(not warnungen, "\n".join(warnungen))
    ctest("release", zaehler)
    _skript(zaehler, "ohne_geraete.py", os.path.join(BAU, "release", "hallkorb"))
    _skript(zaehler, "vektoren.py", os.path.join(BAU, "release", "hallkorb"))


def _skript(zaehler, name, *argumente):
    """Runs one of the scripts in tests/, which closes with a line of counts."""
    status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", name), *argumente, pruefe=False)
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_haus(zaehler):
    """no include breaks the rules of the house; drawing, glossary and protocol are up to date"""
    fuehre_aus("cmake", "--preset", "release", "-DHALLKORB_TESTS=ON")
    _haus(zaehler, os.path.join(BAU, "release"))
    if prozesse.LINUX:  # where the schema's validator is a package
        _skript(zaehler, "protokoll.py")
        _skript(zaehler, "protokollseiten.py")


def _haus(zaehler, bau):
    _skript(zaehler, "haus.py", bau)


def stufe_e2e(zaehler):
    """the program end to end with a real PipeWire in private sessions"""
    baue("release")
    status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", "e2e"), pruefe=False)
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_takt(zaehler):
    """devices with clocks of their own, end to end; up to ten minutes of sound each"""
    baue("release")
    status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", "e2e"), "test_takt", pruefe=False)
    if not status:
        print(ausgabe.rstrip(), flush=True)  # what was measured
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_browser(zaehler):
    """meetings in Chromium and Firefox: tabs, windows, full screen, crash, sound, microphone"""
    if not prozesse.LINUX:
        return
    baue("release", "hallkorb", "testfenster", "testsprecher")
    status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", "e2e"), "--jobs", "2",
                                 "test_browser", pruefe=False)
    if not status:
        print(ausgabe.rstrip(), flush=True)  # what was measured
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_wirte(zaehler):
    """the hosts in examples/, in each language that has a compiler here; speech becomes text"""
    if not prozesse.LINUX:
        return
    baue("release", "hallkorb", "hallkorb-sitzung", "testsprecher")
    welche = ["test_wirte.Python", "test_wirte.Node", "test_wirte.Cpp", "test_erkenner", "test_fragen",
              "test_dokumente.DokumenteWirte"]
    cpp, swift = os.path.join(BAU, "host-cpp"), os.path.join(BAU, "host-swift")
    fuehre_aus("cmake", "-G", "Ninja", "-S", os.path.join("examples", "cpp"), "-B", cpp,
               "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS=-Werror")
    fuehre_aus("cmake", "--build", cpp)
    if shutil.which("swiftc"):  # Debian 13
        os.makedirs(swift, exist_ok=True)
        quellen = sorted(glob.glob(os.path.join(WURZEL, "examples", "swift", "*.swift")))
        fuehre_aus("swiftc", "-O", "-warnings-as-errors", "-o", os.path.join(swift, "host"),
                   *[quelle for quelle in quellen if not quelle.endswith("Package.swift")])
        welche += ["test_wirte.Swift", "test_dokumente.DokumenteSwift"]
    else:
        print("no Swift compiler: the host in Swift is left out", flush=True)
    status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", "e2e"), *welche, pruefe=False)
    if not status:
        print(ausgabe.rstrip(), flush=True)  # what was heard
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_pakete(zaehler):
    """installation, library and packages: used from where they are installed, and looked into"""
    if prozesse.LINUX and shutil.which("rpmbuild"):
        _skript(zaehler, "pakete.py")
        _skript(zaehler, "freigabe.py")


def stufe_nachbau(zaehler):
    """two builds of the packages in two folders, one without a compiler cache, are the same bytes"""
    if prozesse.LINUX and shutil.which("rpmbuild"):
        _skript(zaehler, "nachbau.py")


def stufe_seite(zaehler):
    """a recording's page in browsers: looks, sound, keyboard, accessibility, hostile folders, three hours"""
    if not prozesse.LINUX:
        return
    baue("release", "hallkorb", "hallkorb-sitzung", "testfenster")
    _hole_axe()
    status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", "e2e"), "--jobs", "2",
                                 "test_seite", pruefe=False)
    if not status:
        print(ausgabe.rstrip(), flush=True)  # what was measured
    zaehle_schlusszeile(zaehler, status, ausgabe)


AXE = "axe-core@4.10.3"


def _hole_axe():
    """The accessibility checker. Without it the test fails, unless HALLKORB_OFFLINE=1 says that this machine
    cannot have it: then a smaller one must do."""
    ordner = os.path.join(BAU, "axe")
    if os.path.exists(os.path.join(ordner, "package", "axe.min.js")) or shutil.which("npm") is None:
        return
    os.makedirs(ordner, exist_ok=True)
    status, ausgabe = fuehre_aus("npm", "pack", "--silent", "--pack-destination", ordner, AXE, pruefe=False)
    paket = os.path.join(ordner, AXE.replace("@", "-") + ".tgz")
    if status or not os.path.exists(paket):
        print(f"no axe-core: {ausgabe.strip()[-200:]}", flush=True)
        return
    fuehre_aus("tar", "-C", ordner, "-xzf", paket, "package/axe.min.js")


def stufe_ausdauer(zaehler):
    """the short form of scripts/soak: kills, freezes, file and memory faults, hours on a virtual clock"""
    status, ausgabe = fuehre_aus(os.path.join("scripts", "soak"), "--quick", pruefe=False)
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_kosten(zaehler):
    """instructions of the echo path against the kept figures, under callgrind"""
    if not prozesse.LINUX:
        return
    baue("release")
    fuehre_aus(os.path.join("bench", "echo-instructions"),
               os.path.join("build", "release", "bench", "echo_instruktionen"))
    zaehler.zaehle(True)


def zaehle_schlusszeile(zaehler, status, ausgabe):
    treffer = re.search(r"^(\d+) passed, (\d+) failed$", ausgabe, re.MULTILINE)
    if treffer:
        zaehler.bestanden += int(treffer[1])
        zaehler.gescheitert += int(treffer[2])
    if status:
        zaehler.texte.append(ausgabe)
        if not treffer or treffer[2] == "0":
            zaehler.gescheitert += 1


def stufe_clang(zaehler):
    """build with clang 19, warnings are errors"""
    baue("clang")
    zaehler.zaehle(True)


def stufe_tidy(zaehler):
    """sources and tests, macOS's calls too, with clang 19's warnings and clang-tidy's, all errors"""
    # Left out are examples/, built on their own, and what runs macOS's calls: its stand-ins and their tests
    # follow the platform's idioms.
    quellen = {}  # and the build in which it is compiled
    for preset in ("clang", "macos-ersatz"):
        fuehre_aus("cmake", "--preset", preset, "-DHALLKORB_TESTS=ON")
        with open(os.path.join(BAU, preset, "compile_commands.json"), encoding="utf-8") as datei:
            for eintrag in json.load(datei):
                if preset == "clang" or not eintrag["file"].startswith((BAU, os.path.join(WURZEL, "tests"))):
                    quellen.setdefault(eintrag["file"], preset)
    with concurrent.futures.ThreadPoolExecutor(PROZESSOREN) as helfer:
        for status, ausgabe in helfer.map(_tidy, *zip(*sorted(quellen.items()))):
            zaehler.zaehle(status == 0, ausgabe)


def _tidy(quelle, preset):
    # The analyzer needs minutes to follow the test framework's macros, and takes a benchmark's loop
    # variable for a mistake. In a test, being readable matters more than cost.
    proben = "/tests/" in quelle or "/bench/" in quelle
    weniger = ["--checks=-clang-analyzer-*,-performance-*"] if proben else []
    return fuehre_aus("clang-tidy-19", "--quiet", *weniger, "-p", os.path.join(BAU, preset), quelle,
                      pruefe=False)


# Half the time to compile, and enough for the sanitizers' reports.
SCHNELL = ["-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1"]
SCHNELL_MACOS = [*SCHNELL, "-DCMAKE_OBJCXX_FLAGS_RELWITHDEBINFO=-O1 -g1"]


def stufe_asan(zaehler):
    """address and undefined-behaviour sanitizers, all test programs"""
    baue("asan", "tests/all", optionen=SCHNELL)
    ctest("asan", zaehler, {"ASAN_OPTIONS": "detect_stack_use_after_return=1:strict_string_checks=1"})


def stufe_tsan(zaehler):
    """thread sanitizer, all test programs"""
    baue("tsan", "tests/all", optionen=SCHNELL)
    ctest("tsan", zaehler)


def stufe_fuzz(zaehler):
    """every fuzz target: its corpus, then a short time"""
    ziele = fuzz_ziele()
    for ziel in ziele:
        if not glob.glob(os.path.join(fuzz_korpora(ziel)[0], "*")):
            raise Gescheitert(f"{ziel} has no corpus")
    with concurrent.futures.ThreadPoolExecutor(PROZESSOREN) as helfer:
        for status, ausgabe in helfer.map(lambda ziel: fuzze(ziel, FUZZ_SEKUNDEN), ziele):
            zaehler.zaehle(status == 0, ausgabe)


def fuzz_ziele():
    """Builds the fuzz targets; returns their programs."""
    baue("fuzz", "fuzz/all", tests=False, optionen=SCHNELL)
    ziele = sorted(glob.glob(os.path.join(BAU, "fuzz", "fuzz", "*_fuzz")))
    if not ziele:
        raise Gescheitert("no fuzz targets were built")
    return ziele


def fuzz_korpora(ziel):
    """The folders whose files a target tries before anything else."""
    name = os.path.basename(ziel)
    weitere = [os.path.join(WURZEL, "tests", "vectors", "windows")] if name == "fenster_wahl_fuzz" else []
    return [os.path.join(WURZEL, "fuzz", "corpora", name), *weitere]


def fuzze(ziel, sekunden):
    """Runs a target on its corpus and then for so long on inputs of its own; (status, output)."""
    woerter = os.path.join(WURZEL, "fuzz", "dictionaries", f"{os.path.basename(ziel)}.dict")
    with tempfile.TemporaryDirectory() as ordner:
        return fuehre_aus(ziel, f"-max_total_time={sekunden}", f"-artifact_prefix={ordner}/",
                          "-print_final_stats=1", "-verbosity=0", "-timeout=60",
                          *([f"-dict={woerter}"] if os.path.exists(woerter) else []),
                          ordner, *fuzz_korpora(ziel), pruefe=False)


def stufe_macos(zaehler):
    """compiles everything for macOS and checks the calls into it, warnings are errors"""
    ordner = os.path.join(WURZEL, "tests", "macos")
    for art in ("arm64", "x86_64"):
        bau = os.path.join(BAU, f"macos-{art}")
        # It never runs, so debug information would only cost time.
        fuehre_aus("cmake", "-G", "Ninja", "-S", WURZEL, "-B", bau,
                   f"-DCMAKE_TOOLCHAIN_FILE={ordner}/sdk/toolchain.cmake",
                   f"-DMACOS_CHECK_ARCH={art}", "-DCMAKE_BUILD_TYPE=Debug",
                   "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_OBJCXX_FLAGS_DEBUG=-O0",
                   "-DHALLKORB_WERROR=ON", "-DHALLKORB_TESTS=ON",
                   "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        fuehre_aus("cmake", "--build", bau, "--parallel", str(PROZESSOREN))
        zaehler.zaehle(True)
    _haus(zaehler, bau)
    status, ausgabe = fuehre_aus(os.path.join(ordner, "check.sh"), pruefe=False)
    zaehle_schlusszeile(zaehler, status, ausgabe)


# End-to-end tests that take a few seconds in all: both inputs refused, no screen, a recording of both
# channels that a signal ends, and the same as early as a signal can be held.
KURZ_MACOS = ("Verweigert.test_beide", "Verweigert.test_kein_bildschirm",
              "Stopp.test_das_system_meldet_nicht", "Stopp.test_vor_der_ersten_zeile")


def stufe_macos_lauf(zaehler):
    """the macOS backend on stand-ins of the platform, under each sanitizer"""
    for preset in ("macos-asan", "macos-tsan"):
        _macos_lauf(zaehler, preset, "base_test")  # whose branches for macOS it takes


def stufe_macos_asan(zaehler):
    """the macOS backend and a few starts of the whole program, under the address sanitizer"""
    _macos_lauf(zaehler, "macos-asan")
    if prozesse.LINUX:
        _macos_e2e(zaehler, "macos-asan", ["--windows"], *KURZ_MACOS)


def _macos_lauf(zaehler, preset, *mehr):
    programme = ("macos_echo_test", "macos_ersatz_test", "macos_test", *mehr)
    baue(preset, *programme, "hallkorb", optionen=SCHNELL_MACOS)
    ctest(preset, zaehler, {"ASAN_OPTIONS": "detect_stack_use_after_return=1"},
          f"^({'|'.join(programme)})$")


def stufe_macos_abdeckung(zaehler):
    """line and branch coverage of the macOS backend on stand-ins; the list of what does not run is right"""
    programme = ("macos_ersatz_test", "macos_test")
    baue("macos-coverage", *programme)
    with tempfile.TemporaryDirectory() as ordner:
        ctest("macos-coverage", zaehler, abdeckung.profile(ordner), f"^({'|'.join(programme)})$")
        if zaehler.gescheitert:
            return
        dateien_ = abdeckung.miss(fuehre_aus, ordner,
                                  [os.path.join(BAU, "macos-coverage", "tests", name)
                                   for name in programme], WURZEL)
    text, anteil, _ = abdeckung.tabelle(dateien_)
    print(text, flush=True)
    zaehler.zaehle(anteil >= abdeckung.MINDESTENS,
                   f"less than {abdeckung.MINDESTENS} % of {abdeckung.ORDNER} ran")

    def lies(name):
        with open(os.path.join(WURZEL, name), encoding="utf-8") as datei:
            return datei.readlines()

    klagen = abdeckung.veraltet(dateien_, abdeckung.liste(), lies)
    zaehler.zaehle(not klagen, "\n".join(["tests/macos/uncovered.txt is stale", *klagen]))


def stufe_abdeckung(zaehler):
    """lines and branches of portable code and Linux backend that unit and end-to-end tests run"""
    if not prozesse.LINUX:
        return
    baue("coverage")
    programm = os.path.join(BAU, "coverage", "hallkorb")
    with tempfile.TemporaryDirectory() as ordner:
        os.chmod(ordner, 0o777)  # some tests give up root's rights
        profil = abdeckung.laufendes_profil(ordner)
        ctest("coverage", zaehler, profil)
        status, ausgabe = fuehre_aus(sys.executable, os.path.join("tests", "e2e"), pruefe=False,
                                     umgebung={"HALLKORB": programm, **profil})
        zaehle_schlusszeile(zaehler, status, ausgabe)
        tests = sorted(glob.glob(os.path.join(BAU, "coverage", "tests", "*_test")))
        dateien_ = abdeckung.miss(fuehre_aus, ordner, [programm, *tests], WURZEL, abdeckung.LINUX,
                                  (abdeckung.ORDNER,))
    abdeckung.merke(dateien_)
    text, zeilen, zweige = abdeckung.tabelle(dateien_, abdeckung.LINUX)
    print(text, flush=True)
    zaehler.zaehle(zeilen >= abdeckung.MINDESTENS, f"less than {abdeckung.MINDESTENS} % of the lines ran")
    zaehler.zaehle(zweige >= abdeckung.MINDESTENS_ZWEIGE,
                   f"less than {abdeckung.MINDESTENS_ZWEIGE} % of the branches were taken")


def stufe_macos_e2e(zaehler):
    """the program as it is built for macOS, end to end on stand-ins, under each sanitizer"""
    if not prozesse.LINUX:
        return
    for preset in ("macos-asan", "macos-tsan"):
        baue(preset, "hallkorb", "hallkorb-sitzung", optionen=SCHNELL_MACOS)
        # Of one thread, and under the thread sanitizer much slower.
        vektoren = [] if preset == "macos-asan" else ["--windows"]
        _macos_e2e(zaehler, preset, vektoren)


def _macos_e2e(zaehler, preset, vektoren, *welche):
    baue("release", "hallkorb", "testsprecher", "testchunker")  # with what it is compared
    programm = os.path.join(BAU, preset, "hallkorb")
    _skript(zaehler, "ohne_geraete.py", programm)
    _skript(zaehler, "vektoren.py", *vektoren, programm)
    # They wait for their own clocks most of the time.
    status, ausgabe = fuehre_aus(
        sys.executable, os.path.join("tests", "e2e"), "--macos", "--jobs", "6", *welche, pruefe=False,
        umgebung={"HALLKORB_MACOS": programm})
    zaehle_schlusszeile(zaehler, status, ausgabe)


def stufe_arm64(zaehler):
    """the program for Linux on 64-bit ARM and its tests, under an emulator"""
    if not prozesse.LINUX:
        return
    baue("arm64")
    ctest("arm64", zaehler)
    emulator = ["qemu-aarch64", "-L", os.path.join(BAU, "arm64-root")]
    for name in ("ohne_geraete.py", "vektoren.py"):
        _skript(zaehler, name, *emulator, os.path.join(BAU, "arm64", "hallkorb"))


# The quick ones first; those that need a build that another one makes, right after it.
STUFEN = {name: globals()[f"stufe_{name.replace('-', '_')}"] for name in (
    "format", "skripte", "release", "haus", "e2e", "takt", "browser", "seite", "wirte", "pakete", "nachbau", "ausdauer",
    "kosten", "clang", "tidy", "asan", "tsan", "fuzz", "abdeckung", "macos", "macos-lauf", "macos-asan",
    "macos-abdeckung", "macos-e2e", "arm64")}
# Without any named: on Linux all but "clang", since "tidy" gives its compiler's warnings too, and
# "macos-asan", which is a part of "macos-lauf" and "macos-e2e";
# on macOS those that need neither PipeWire nor Debian's versions of clang and its tools.
UEBLICH = ([name for name in STUFEN if name not in ("clang", "macos-asan")] if prozesse.LINUX
           else ["release", "haus", "asan", "tsan"])


# What a stage calls that not every system has.
BRAUCHT = {"format": "clang-format-19", "tidy": "clang-tidy-19", "fuzz": "clang++-19",
           "abdeckung": "clang++-19", "macos": "clang++-19", "macos-lauf": "clang++-19",
           "macos-abdeckung": "clang++-19", "macos-e2e": "clang++-19",
           "browser": "chromium", "seite": "chromium", "wirte": "node",
           "arm64": "qemu-aarch64"}


def uebliche():
    """What runs if no stage is named, without those whose tools this system does not have."""
    fehlt = {name: BRAUCHT[name] for name in UEBLICH if name in BRAUCHT and not shutil.which(BRAUCHT[name])}
    for name, programm in fehlt.items():
        print(f"{name:16}left out: {programm} is not there", flush=True)
    return [name for name in UEBLICH if name not in fehlt]


# --- Running them ---------------------------------------------------------------------------------

def fuehre_stufe(name):
    zaehler = Zaehler()
    anfang, rechenzeit = time.monotonic(), _rechenzeit()
    print(f"{name:16}{STUFEN[name].__doc__} ...", flush=True)
    try:
        STUFEN[name](zaehler)
    except (Gescheitert, OSError, SyntaxError) as fehler:
        zaehler.zaehle(False, str(fehler))
    for text in zaehler.texte:
        print(text.rstrip(), flush=True)
    sekunden, rechenzeit = time.monotonic() - anfang, _rechenzeit() - rechenzeit
    if not zaehler.gescheitert:
        abschnitte.merke_dauer(name, sekunden, rechenzeit, zaehler.bestanden)
    zeile = (f"{name:16}{zaehler.bestanden:5} passed {zaehler.gescheitert:4} failed "
             f"{sekunden:6.0f} s  ({rechenzeit:.0f} s of CPU)")
    print(zeile, flush=True)
    return zaehler, zeile


def _rechenzeit():
    """CPU seconds of everything that was started and has ended."""
    kinder = resource.getrusage(resource.RUSAGE_CHILDREN)
    return kinder.ru_utime + kinder.ru_stime


def lauf(namen):
    anfang = time.monotonic()
    ergebnisse = [fuehre_stufe(name) for name in namen]
    print("\nSummary")
    for zaehler, zeile in ergebnisse:
        print(f"  {'ok' if not zaehler.gescheitert else 'FAILED':8}{zeile}")
    print(f"  {time.monotonic() - anfang:.0f} s in all\n")
    bestanden = sum(zaehler.bestanden for zaehler, _ in ergebnisse)
    gescheitert = sum(zaehler.gescheitert for zaehler, _ in ergebnisse)
    print(f"{bestanden} passed, {gescheitert} failed")
    return 1 if gescheitert else 0


def _hauptteil():
    leser = argparse.ArgumentParser(prog="scripts/test", description="Builds and runs the tests.")
    leser.add_argument("--list", action="store_true", help="show the stages")
    leser.add_argument("stufen", nargs="*", metavar="stage",
                       help=f"without any: {' '.join(UEBLICH)}")
    wahl = leser.parse_args()
    if wahl.list:
        dauern = abschnitte.dauern()
        for name, stufe in STUFEN.items():
            zuletzt = f" (last time {dauern[name]['seconds']} s)" if name in dauern else ""
            print(f"{name:16}{stufe.__doc__}{zuletzt}")
        return
    for name in wahl.stufen:
        if name not in STUFEN:
            leser.error(f"no stage {name}; there are: {' '.join(STUFEN)}")
    prozesse.beaufsichtigt(lambda: lauf(wahl.stufen or uebliche()))


if __name__ == "__main__":
    _hauptteil()
