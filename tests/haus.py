#!/usr/bin/python3
"""Shows that the rules of the house are kept by the build: python3 tests/haus.py BUILD_FOLDER

For each pair below a file with just that include is compiled exactly as the library's own sources
are. Allowed includes must compile, the others must fail because the header cannot be found.

What a build cannot show is read from the sources: that no include of a production room runs upwards,
also on the other platform; that docs/architecture.md draws the includes as they are; that
docs/glossary.md explains every name; that the documents' links lead to a file, and to a heading in it, and
their filters name tests; that the recorder's options are those of its manual page and of the shells'
completions; that a build without its libraries names the packages that are missing; that the codes of our
own errors are in one table; that CONTRIBUTING.md lists every long file and every large folder; and that
bench/mutation-equal.txt explains lines that exist.
Closing line: "N passed, N failed".
"""

import concurrent.futures
import fnmatch
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import abschnitte  # noqa: E402
import glossar  # noqa: E402
import raeume  # noqa: E402
import verweise  # noqa: E402

# Source whose library is asked -> headers it may include, headers it may not.
REGELN = {
    "base/Dateien.cpp": (
        ["base/Fehler.h", "base/Ausgabe.h"],
        ["platform/HostClock.h", "audiofiles/Wav.h", "driver/Config.h"]),
    "audiofiles/Wav.cpp": (
        ["base/Dateien.h", "base/Fehler.h", "base/Ausgabe.h"],
        ["platform/HostClock.h", "platform/AudioInput.h", "capture/Zeitachse.h", "driver/Config.h"]),
    "platform/HostClock.cpp": (
        ["base/Fehler.h", "platform/AudioInput.h"],
        ["capture/Zeitachse.h", "audiofiles/Wav.h", "driver/Config.h",
         "platform/linux/LinuxHostClock.h"]),
    "platform/clock/Hosttakt.cpp": (
        ["base/Fehler.h", "platform/PcmBlock.h"],
        ["capture/Zeitachse.h", "audiofiles/Wav.h", "driver/Config.h"]),
    "capture/Zeitachse.cpp": (
        ["platform/HostClock.h", "base/Ausgabe.h"],
        ["audiofiles/Wav.h", "driver/modes/LiveAufnahme.h"]),
    "driver/modes/LiveAufnahme.cpp": (
        ["audiofiles/ChannelChunker.h", "capture/MicCapture.h", "platform/Plattform.h"],
        ["platform/linux/audio/PipewireInput.h"]),
    "echo/EchoStrecke.cpp": (
        ["echo/KFFT.h", "base/Ausgabe.h"],
        ["platform/HostClock.h", "platform/PcmBlock.h", "audiofiles/Wav.h", "capture/Zeitachse.h",
         "driver/Config.h"]),
    "meeting/Bildaufsicht.cpp": (
        ["base/Dateien.h", "base/Ausgabe.h", "platform/Plattform.h"],
        ["audiofiles/Wav.h", "capture/Zeitachse.h", "driver/modes/LiveAufnahme.h",
         "echo/EchoStrecke.h"]),
    "library/Echo.cpp": (
        ["echo/EchoStrecke.h", "audiofiles/WavStrom.h", "library/hallkorb/audio.h"],
        ["meeting/Bildaufsicht.h", "driver/Config.h", "platform/DiesePlattform.h", "session/Zeile.h"]),
    "session/Pruefung.cpp": (
        ["base/Text.h", "audiofiles/Wav.h", "session/Zeile.h"],
        ["platform/HostClock.h", "capture/Zeitachse.h", "driver/Config.h", "tool/Terminal.h"]),
    "tool/Befehle.cpp": (
        ["session/Pruefung.h", "base/Text.h", "platform/Plattform.h", "meeting/Wahl.h"],
        ["driver/Config.h", "capture/Zeitachse.h", "echo/EchoStrecke.h",
         "platform/linux/LinuxPlattform.h"]),
    "driver/main.cpp": (["driver/Config.h", "platform/DiesePlattform.h"], []),
    "tool/main.cpp": (["tool/Aufruf.h", "platform/DiesePlattform.h"], ["driver/Config.h"]),
    "platform/DiesePlattform.cpp": (["platform/Plattform.h"], ["driver/Config.h", "tool/Aufruf.h"]),
}
# Source of the build's platform -> what only the file that chooses one may include.
PLATTFORMEN = {
    "platform/linux/LinuxPlattform.cpp": "platform/linux/LinuxPlattform.h",
    "platform/macos/MacPlattform.mm": "platform/macos/MacPlattform.h",
}
# The rooms inside a platform stand beside each other, under the roof that ties them together.
LINUX = {
    "platform/linux/audio/PipewireInput.cpp": (
        ["platform/linux/LinuxHostClock.h", "platform/clock/Hosttakt.h", "platform/AudioInput.h"],
        ["platform/linux/screen/X11ScreenCapture.h", "platform/linux/video/H264Schreiber.h",
         "platform/linux/LinuxRunLoop.h", "capture/Zeitachse.h", "audiofiles/Wav.h"]),
    "platform/linux/screen/X11ScreenCapture.cpp": (
        ["platform/linux/LinuxHostClock.h", "platform/linux/BgrBild.h"],
        ["platform/linux/audio/PipewireInput.h", "platform/linux/video/H264Schreiber.h",
         "platform/linux/LinuxRunLoop.h", "meeting/Wahl.h"]),
    "platform/linux/video/H264Schreiber.cpp": (
        ["platform/linux/LinuxHostClock.h", "platform/linux/BgrBild.h"],
        ["platform/linux/audio/PipewireInput.h", "platform/linux/screen/X11ScreenCapture.h",
         "platform/linux/LinuxRunLoop.h", "meeting/Bildaufsicht.h"]),
}


def befehle(bau):
    """Source, relative to the root -> its compiler command and folder."""
    with open(os.path.join(bau, "compile_commands.json"), encoding="utf-8") as datei:
        return {os.path.relpath(eintrag["file"], WURZEL):
                (shlex.split(eintrag["command"]), eintrag["directory"]) for eintrag in json.load(datei)}


def uebersetze(befehl, ordner, header):
    """Compiles a file with just this include; returns (success, the compiler's words)."""
    with tempfile.TemporaryDirectory() as halter:
        probe = os.path.join(halter, "probe.cpp")
        with open(probe, "w", encoding="ascii") as datei:
            datei.write(f'#include "{header}"\n')
        ohne_datei = befehl[:befehl.index("-o")] + ["-fsyntax-only", probe]
        lauf = subprocess.run(ohne_datei, cwd=ordner, capture_output=True, text=True)
        return lauf.returncode == 0, lauf.stderr


def zweigt_aus():
    """Sources with an include that climbs out of its folder, around the rules."""
    liste = subprocess.run(["git", "ls-files", "*.cpp", "*.h", "*.mm"], cwd=WURZEL, check=True,
                           capture_output=True, text=True).stdout.splitlines()
    for name in liste:
        if name.startswith("tests/macos/sdk/"):
            continue
        with open(os.path.join(WURZEL, name), encoding="utf-8") as datei:
            if re.search(r'^\s*#\s*(include|import)\s*["<][^">]*\.\./', datei.read(), re.MULTILINE):
                yield name


def pruefe(bekannt, quelle, header, erlaubt):
    """What is wrong with one pair; None if it is as it should be."""
    for datei in (quelle, header):
        if not os.path.exists(os.path.join(WURZEL, datei)):
            return f"{datei} is gone; the rules need another file"
    gut, worte = uebersetze(*bekannt[quelle], header)
    if erlaubt and not gut:
        return f"{quelle} may not include {header}, but should:\n{worte}"
    unbekannt = (f"{header}: No such file", f"'{header}' file not found")  # GCC, Clang
    if not erlaubt and (gut or not any(text in worte for text in unbekannt)):
        return f"{quelle} may include {header}, but should not\n{worte}"
    return None


def pruefe_pfeile():
    """Includes against the order of the rooms, and a drawing that differs from them."""
    _, klagen = raeume.lies(raeume.quellen())
    if abschnitte.architektur() != abschnitte.lies("docs/architecture.md"):
        klagen.append("docs/architecture.md does not draw the includes as they are: run scripts/docs")
    return klagen


def pruefe_glossar():
    return glossar.pruefe(raeume.quellen(), abschnitte.lies("docs/glossary.md"))


def verfolgte(*muster):
    """The repository's files of these patterns, new ones included, removed ones not."""
    liste = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", *muster],
                           cwd=WURZEL, check=True, capture_output=True, text=True).stdout.splitlines()
    return [name for name in liste if os.path.exists(os.path.join(WURZEL, name))]


def pruefe_verweise():
    return verweise.pruefe({name: abschnitte.lies(name) for name in verfolgte("*.md")})


def pruefe_filter():
    """Filters in the documents that name no group of tests."""
    gruppen = {gruppe for name in verfolgte("tests/*.h", "tests/*.cpp")
               for gruppe in re.findall(r"^TEST(?:_[FP])?\((\w+),", abschnitte.lies(name), re.MULTILINE)}
    filter_ = [(name, muster) for name in verfolgte("*.md")
               for muster in re.findall(r"--gtest_filter='([^'.]+)", abschnitte.lies(name))]
    klagen = [] if filter_ else ["the documents have no filters of tests"]
    return klagen + [f"{name}: there is no group of tests {muster}" for name, muster in filter_
                     if not fnmatch.filter(gruppen, muster)]


def pruefe_optionen():
    """The recorder's options as it takes them, against where people read of them: it has no usage text."""
    def optionen(name, muster):
        return set(re.findall(muster, abschnitte.lies(name).replace("\\-", "-"), re.MULTILINE))
    genommen = optionen("driver/Config.cpp", r'"--([a-z-]+)"')
    wort = r"(?<![\w-])--([a-z]+(?:-[a-z]+)*)"
    klagen = [] if genommen else ["driver/Config.cpp has no options"]
    for name, muster in (("docs/hallkorb.1.in", wort), ("completions/hallkorb.bash", wort),
                         ("completions/_hallkorb", r"^  '\*--([a-z-]+)\["),
                         ("completions/hallkorb.fish", r"^complete -c hallkorb -l ([a-z-]+) ")):
        anders = genommen ^ optionen(name, muster)
        klagen += [f"{name} and driver/Config.cpp do not agree about --{option}" for option in sorted(anders)]
    return klagen


def pruefe_pakete():
    """What the build's message for a machine without the libraries does not name."""
    if not sys.platform.startswith("linux"):
        return []
    with tempfile.TemporaryDirectory() as halter:
        lauf = subprocess.run(
            ["cmake", "-S", WURZEL, "-B", halter, "-G", "Ninja", "-DHALLKORB_TESTS=OFF",
             "-DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON", "-DUTF8PROC_LIBRARY:STRING=0",
             "-DUTF8PROC_INCLUDE_DIR:STRING=0"],
            env=os.environ | {"PKG_CONFIG_LIBDIR": "/nonexistent", "PKG_CONFIG_PATH": ""},
            capture_output=True, text=True)
    if lauf.returncode == 0:
        return ["a build without its libraries is configured"]
    worte = " ".join(lauf.stderr.split())
    return [f"the message of a build without its libraries does not name {name}: {lauf.stderr}"
            for name in ("libpipewire-0.3-dev", "pipewire-devel", "libxcb-composite0-dev", "libxau-dev",
                         "libavcodec-dev", "libswscale-free-devel", "libutf8proc-dev", "utf8proc-devel",
                         "nlohmann-json3-dev", "json-devel", "Homebrew: nlohmann-json",
                         "libcli11-dev", "cli11-devel", "Homebrew: cli11")
            if name not in worte]


LANG = 400  # lines
GROSS = 15  # subjects of a folder: names without their endings
CODE = (".cpp", ".h", ".mm", ".py", ".sh", ".js", ".mjs", ".swift", ".css", ".html", ".cmake")


def pruefe_groessen():
    """Long files and large folders that CONTRIBUTING.md does not list, and those that it lists needlessly."""
    lang, gegenstaende = set(), {}
    for name in verfolgte():
        if name.startswith("tests/macos/sdk/") or os.path.islink(os.path.join(WURZEL, name)):
            continue
        if not name.startswith("fuzz/corpora/"):
            gegenstaende.setdefault(os.path.dirname(name), set()).add(os.path.basename(name).split(".")[0])
        if name.endswith(CODE) and len(abschnitte.lies(name).splitlines()) > LANG:
            lang.add(name)
    gross = {ordner for ordner, alle in gegenstaende.items() if len(alle) > GROSS}
    abschnitt = abschnitte.lies("CONTRIBUTING.md").split("\nSize: ")[1].split("\n## ")[0]
    genannt = {pfad for zelle in re.findall(r"^\| (`[^|]*`) \|", abschnitt, re.MULTILINE)
               for pfad in re.findall(r"`([^`]+)`", zelle)}
    klagen = [f"{name} has more than {LANG} lines, which no production file may have"
              for name in sorted(lang) if raeume.raum(name)]
    klagen += [f"{pfad} is too large for no reason that CONTRIBUTING.md gives"
               for pfad in sorted((lang | gross) - genannt)]
    klagen += [f"CONTRIBUTING.md lists {pfad}, which is not that large" for pfad in sorted(genannt - lang - gross)]
    return klagen


def pruefe_fehlercodes():
    """Errors of our own domain that are made beside the table of its codes, and codes that mean two things."""
    tabelle = "base/Fehler.h"
    klagen = [f'{name} makes an error of the domain "hallkorb" by hand: {tabelle} has the codes'
              for name, text in raeume.quellen().items()
              if name != tabelle and re.search(r'\{\s*"hallkorb"\s*,', text)]
    codes = re.search(r"enum class Fehlercode[^{]*\{([^}]*)\}", abschnitte.lies(tabelle))[1]
    werte = re.findall(r"^  \w+ = (\d+),", codes, re.MULTILINE)
    if [int(wert) for wert in werte] != list(range(codes.count("="))):
        klagen.append(f"the codes in {tabelle} are not numbered one by one, from 0 on")
    return klagen


# Source with an include that must be refused, and words of the complaint.
GEPFLANZT = (
    ("base/Neu.h", '#include "driver/Config.h"', "an arrow upwards"),
    ("capture/Neu.cpp", '#include "platform/HostClock.h"', None),
    ("audiofiles/Neu.cpp", "# include <capture/Zeitachse.h>", "an arrow upwards"),
    ("meeting/Neu.h", '#include "capture/Zeitachse.h"', "an arrow upwards"),
    ("driver/modes/Neu.cpp", '#include "platform/linux/LinuxPlattform.h"', "only platform/DiesePlattform.cpp"),
    ("platform/DiesePlattform.cpp", '#include "platform/macos/MacPlattform.h"', None),
    ("platform/linux/audio/Neu.cpp", '#include "platform/linux/screen/X11Text.h"', "an arrow upwards"),
    ("platform/linux/Neu.cpp", '#import "platform/macos/Objekte.h"', "only platform/DiesePlattform.cpp"),
    ("echo/Neu.cpp", '#include "Puffer.h"', "in no room"),
)


def pruefe_pflanzen():
    """What the check of the includes overlooks, or refuses wrongly."""
    fehler = []
    for datei, zeile, klage in GEPFLANZT:
        _, klagen = raeume.lies({datei: f"#pragma once\n{zeile}\n"})
        if bool(klagen) != bool(klage) or klage and not any(klage in worte for worte in klagen):
            fehler.append(f"{zeile} in {datei} gives {klagen}, not {klage!r}")
    pfeile, _ = raeume.lies({"base/Neu.h": '#include "driver/Config.h"'})
    if pfeile != {("base", "driver")}:
        fehler.append(f"an include from base into driver is drawn as {pfeile}")
    return fehler


def pruefe_glossar_pflanzen():
    """What the check of the glossary overlooks: a name without a line, a line without a name."""
    text = ("// class Kein {\nclass Neu final : public Alt {\n public:\n  Neu();\n"
            "  [[nodiscard]] int tueWas(const A<B>& a = {}) const { return rechne(a); }\n"
            "  void alt() override;\n"
            " private:\n  struct Innen {\n    int feld = 0;\n    bool operator==(const Innen&) const;\n  };\n"
            "  int geheim_ = 1;\n};\nusing Kurz = int;\nusing namespace x;\nclass Nur;\n"
            "enum class Art : int { gut = 0, AUS, schlecht };\n"
            "#define MACHE(x) void x();\nA<B>::C* frei(int eins);\nvoid liesFeld();\n")
    if glossar.typen(text) != {"Neu", "Innen", "Kurz", "Art"}:
        return [f"a header's types are read as {glossar.typen(text)}"]
    if glossar.namen(text) != {"tueWas", "feld", "gut", "schlecht", "frei", "liesFeld"}:
        return [f"a header's other names are read as {glossar.namen(text)}"]
    klagen = glossar.pruefe({"base/Neu.h": text}, "## In every room\n\n| `frei` | free |\n\n## base\n\n"
                            "| `Neu`, `Kurz`, `Art`, `feld`, `gut`, `schlecht` | new |\n| `Weg` | gone |\n")
    erwartet = ("Innen", "liesFeld: lies", "tueWas: tue, was", "Weg")
    if len(klagen) != len(erwartet) or any(wort not in klage for wort, klage in zip(erwartet, klagen)):
        return [f"the glossary's check says {klagen}"]
    return []


def pruefe_verweise_pflanzen():
    """What the check of the links overlooks, or refuses wrongly."""
    texte = {"docs/a.md": "# Who `x` is, and why\n[b](b.md) [b](b.md#two) [b](b.md#two-1) [b](b.md#in-a-block)\n"
                          "[a](#who-x-is-and-why) [a](#who) [c](../c.md) [haus](../tests/haus.py)\n",
             "docs/b.md": "## [Two](a.md)\n```\n# In a block\n```\n### Two\n[a](a.md#two)\n"}
    klagen = verweise.pruefe(texte)
    erwartet = ["docs/a.md: docs/b.md has no heading #in-a-block", "docs/a.md: docs/a.md has no heading #who",
                "docs/a.md: there is no ../c.md", "docs/b.md: docs/a.md has no heading #two"]
    return [] if klagen == erwartet else [f"the check of the links says {klagen}"]


def pruefe_erklaerungen():
    """Each change that no test can notice is one of a line that is still there."""
    with open(os.path.join(WURZEL, "bench", "mutation-equal.txt"), encoding="utf-8") as datei:
        erklaerungen = [zeile.split(" | ") for zeile in datei if zeile.strip() and not zeile.startswith("#")]
    zeilen, klagen = {}, []
    for felder in erklaerungen:
        name, text = felder[0], " | ".join(felder[1:-2])
        if name not in zeilen:
            pfad = os.path.join(WURZEL, name)
            zeilen[name] = set()
            if os.path.exists(pfad):
                with open(pfad, encoding="utf-8") as datei:
                    zeilen[name] = {zeile.strip() for zeile in datei}
        if text not in zeilen[name]:
            klagen.append(f"bench/mutation-equal.txt explains a line that {name} does not have: {text}")
    return klagen


def hauptteil(bau):
    bekannt = befehle(bau)
    regeln_hier = REGELN | (LINUX if next(iter(LINUX)) in bekannt else {})
    paare = [(quelle, header, erlaubt) for quelle, regeln in regeln_hier.items()
             for erlaubt, header_liste in zip((True, False), regeln) for header in header_liste]
    eigene = [header for quelle, header in PLATTFORMEN.items() if quelle in bekannt]
    if len(eigene) != 1:
        raise SystemExit(f"the build is of {len(eigene)} platforms")
    paare += [(quelle, eigene[0], quelle == raeume.WAEHLER) for quelle in regeln_hier]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as helfer:
        ergebnisse = list(helfer.map(lambda paar: pruefe(bekannt, *paar), paare))
    fehler = [worte for worte in ergebnisse if worte]
    bestanden = ergebnisse.count(None)
    aus = list(zweigt_aus())
    fehler += [f'{name} has an include with "../"' for name in aus]
    bestanden += not aus
    for probe in (pruefe_pfeile, pruefe_pflanzen, pruefe_glossar, pruefe_glossar_pflanzen,
                  pruefe_verweise, pruefe_verweise_pflanzen, pruefe_filter, pruefe_optionen, pruefe_pakete,
                  pruefe_fehlercodes, pruefe_groessen, pruefe_erklaerungen):
        klagen = probe()
        fehler += klagen
        bestanden += not klagen
    print("\n".join(fehler))
    print(f"{bestanden} passed, {len(fehler)} failed")
    return 1 if fehler else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: haus.py BUILD_FOLDER")
    sys.exit(hauptteil(sys.argv[1]))
