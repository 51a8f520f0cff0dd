#!/usr/bin/python3
"""What is installed and packed: python3 tests/pakete.py

Builds the preset "package", installs it below a folder of its own and uses it from there as others would:
the program offline and in a private session, the library by CMake, by pkg-config, from C and from Python.
Then makes the packages and looks into them. That two builds are the same bytes: tests/nachbau.py.
Closing line: "N passed, N failed".
"""

import glob
import gzip
import json
import os
import random
import re
import shutil
import struct
import sys
import tempfile
import unittest
import wave

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import einzeltests  # noqa: E402
import freigabe  # noqa: E402
import pakete  # noqa: E402
import prozesse  # noqa: E402
import stueckliste  # noqa: E402

RATE = 16000
SEITEN = ("man1/hallkorb.1", "man1/hallkorb-sitzung.1", "man5/hallkorb-protokoll.5")


def schreibe_wav(pfad, samples):
    with wave.open(pfad, "wb") as datei:
        datei.setparams((1, 2, RATE, 0, "NONE", ""))
        datei.writeframes(struct.pack(f"<{len(samples)}h", *map(int, samples)))


def gespraech(ordner):
    """Twelve seconds of a far end's noise, and a microphone that hears it 40 ms later and a second noise."""
    zufall = random.Random(7)
    fern = [zufall.gauss(0, 4000) * (i // RATE % 3 < 2) for i in range(12 * RATE)]
    fern = [max(-32000.0, min(32000.0, x)) for x in fern]
    nah = [zufall.gauss(0, 2500) * (i // RATE % 3 == 2) for i in range(12 * RATE)]
    mikro = [0.4 * (fern[i - 640] if i >= 640 else 0.0) + nah[i] for i in range(12 * RATE)]
    pfade = os.path.join(ordner, "mikro.wav"), os.path.join(ordner, "fern.wav")
    schreibe_wav(pfade[0], mikro)
    schreibe_wav(pfade[1], fern)
    return pfade


class Installiert(unittest.TestCase):
    """The program and the library as `cmake --install` leaves them."""

    @classmethod
    def setUpClass(cls):
        cls.halter = tempfile.TemporaryDirectory()
        cls.ordner = cls.halter.name
        ort = pakete.familie() or "lib"
        pakete.fuehre_aus("cmake", "--preset", "package", f"-DCMAKE_INSTALL_LIBDIR={ort}",
                          "-DHALLKORB_ZSH_FOLDER=zsh/site-functions")
        pakete.fuehre_aus("cmake", "--build", "--preset", "package", "--parallel", str(pakete.PROZESSOREN))
        cls.usr = os.path.join(cls.ordner, "moved", "usr")
        pakete.fuehre_aus("cmake", "--install", os.path.join(WURZEL, "build", "package"), "--prefix", cls.usr)
        cls.lib = os.path.join(cls.usr, ort)
        cls.programm = os.path.join(cls.usr, "bin", "hallkorb")
        cls.mikro, cls.fern = gespraech(cls.ordner)
        soll = os.path.join(cls.ordner, "soll.wav")
        pakete.fuehre_aus(cls.programm, "--echo-datei", cls.mikro, cls.fern, soll)
        cls.soll = cls.bytes_von(soll)

    @classmethod
    def tearDownClass(cls):
        cls.halter.cleanup()

    @staticmethod
    def bytes_von(pfad):
        with open(pfad, "rb") as datei:
            return datei.read()

    def ist_gereinigt(self, *befehl, umgebung=None):
        """Whether the command cleans the microphone's file as the program does."""
        ist = os.path.join(self.ordner, "ist.wav")
        pakete.fuehre_aus(*befehl, self.mikro, self.fern, ist, umgebung=umgebung)
        self.assertEqual(self.bytes_von(ist), self.soll)
        os.unlink(ist)

    def schont_dateien(self, *befehl, umgebung=None):
        """The result may take the microphone's place; without one, the file that was there stays."""
        ort = os.path.join(self.ordner, "schonen")
        os.makedirs(ort)
        mikro, falsch, ziel = (os.path.join(ort, name) for name in ("mikro.wav", "falsch.wav", "ziel.wav"))
        shutil.copy(self.mikro, mikro)
        pakete.fuehre_aus(*befehl, mikro, self.fern, mikro, umgebung=umgebung)
        self.assertEqual(self.bytes_von(mikro), self.soll)
        with wave.open(falsch, "wb") as datei:
            datei.setparams((1, 2, 8000, 0, "NONE", ""))
            datei.writeframes(bytes(2000))
        shutil.copy(self.fern, ziel)
        with self.assertRaises(pakete.PaketFehler):
            pakete.fuehre_aus(*befehl, self.mikro, falsch, ziel, umgebung=umgebung)
        self.assertEqual(self.bytes_von(ziel), self.bytes_von(self.fern))
        self.assertEqual(sorted(os.listdir(ort)), ["falsch.wav", "mikro.wav", "ziel.wav"])
        shutil.rmtree(ort)

    def test_programme_nehmen_auf(self):
        ausgabe = pakete.fuehre_aus("/usr/bin/python3", os.path.join(WURZEL, "scripts", "lib", "probe.py"),
                                    os.path.join(self.usr, "bin"))
        self.assertIn("\n2 passed, 0 failed\n", "\n" + ausgabe)

    def test_seiten_und_dokumente(self):
        for seite in SEITEN:
            self.assertIn(b".SH NAME", self.bytes_von(os.path.join(self.usr, "share", "man", seite)))
        for name in ("README.md", "LICENSE", "docs/protocol.schema.json", "examples/library/clean.cpp"):
            self.assertTrue(os.path.exists(os.path.join(self.usr, "share", "doc", "hallkorb", name)), name)
        for name in ("python/host.py", "python/clean.py", "node/host.mjs", "session/play"):
            self.assertTrue(os.access(os.path.join(self.usr, "share/doc/hallkorb/examples", name), os.X_OK))
        vorhanden = glob.glob(os.path.join(WURZEL, "completions", "*"))
        hinaus = [pfad for muster in ("bash-completion/completions/*", "zsh/site-functions/*",
                                      "fish/vendor_completions.d/*")
                  for pfad in glob.glob(os.path.join(self.usr, "share", muster))]
        self.assertEqual(len(hinaus), len(vorhanden))

    def test_bibliothek_ueber_cmake(self):
        bau = os.path.join(self.ordner, "bau-cmake")
        pakete.fuehre_aus("cmake", "-G", "Ninja", "-S", os.path.join(WURZEL, "examples", "library"), "-B", bau,
                          f"-DCMAKE_PREFIX_PATH={self.usr}", "-DCMAKE_CXX_FLAGS=-Werror")
        pakete.fuehre_aus("cmake", "--build", bau)
        for name in ("clean-wav", "clean-wav-static"):
            with self.subTest(programm=name):
                self.ist_gereinigt(os.path.join(bau, name))
                self.schont_dateien(os.path.join(bau, name))

    def test_bibliothek_ueber_pkg_config(self):
        umgebung = {"PKG_CONFIG_PATH": os.path.join(self.lib, "pkgconfig")}
        worte = pakete.fuehre_aus("pkg-config", "--cflags", "--libs", "hallkorb-audio", umgebung=umgebung).split()
        programm = os.path.join(self.ordner, "clean-pkg")
        pakete.fuehre_aus("c++", "-std=c++20", "-Wall", "-Wextra", "-Werror",
                          os.path.join(WURZEL, "examples", "library", "clean.cpp"), *worte, "-o", programm)
        self.ist_gereinigt(programm, umgebung={"LD_LIBRARY_PATH": self.lib})

    def test_archiv_ueber_pkg_config(self):
        """Into a program without any shared library, from C++ and from C, which needs C++'s library named."""
        worte = pakete.fuehre_aus("pkg-config", "--static", "--cflags", "--libs", "hallkorb-audio",
                                  umgebung={"PKG_CONFIG_PATH": os.path.join(self.lib, "pkgconfig")}).split()
        programm = os.path.join(self.ordner, "clean-static")
        pakete.fuehre_aus("c++", "-std=c++20", "-static", "-Werror",
                          os.path.join(WURZEL, "examples", "library", "clean.cpp"), *worte, "-o", programm)
        self.ist_gereinigt(programm)
        pakete.fuehre_aus("cc", "-static", self.kopf_in_c(), *worte, "-o", programm)
        pakete.fuehre_aus(programm)

    def kopf_in_c(self):
        quelle = os.path.join(self.ordner, "kopf.c")
        with open(quelle, "w", encoding="ascii") as datei:
            datei.write("#include <hallkorb/audio.h>\n"
                        "int main(void) {\n"
                        "  hallkorb_chunker_options options;\n"
                        "  if (hallkorb_chunker_defaults(&options, sizeof options)) return 1;\n"
                        "  return hallkorb_echo_finish(0) - HALLKORB_INVALID;\n"
                        "}\n")
        return quelle

    def test_kopf_ist_c(self):
        programm = os.path.join(self.ordner, "kopf")
        pakete.fuehre_aus("cc", "-std=c99", "-pedantic-errors", "-Wall", "-Wextra", "-Werror",
                          f"-I{self.usr}/include", self.kopf_in_c(), f"-L{self.lib}", "-lhallkorb-audio",
                          "-o", programm)
        pakete.fuehre_aus(programm, umgebung={"LD_LIBRARY_PATH": self.lib})

    def test_bibliothek_aus_python(self):
        befehl = "/usr/bin/python3", os.path.join(WURZEL, "examples", "python", "clean.py")
        umgebung = {"HALLKORB_AUDIO": os.path.join(self.lib, freigabe.bibliothek())}
        self.ist_gereinigt(*befehl, umgebung=umgebung)
        self.schont_dateien(*befehl, umgebung=umgebung)

    def test_bloecke_des_beispiels(self):
        """The command blocks of its document, in a folder with the examples and two recordings."""
        with open(os.path.join(WURZEL, "examples", "library", "README.md"), encoding="utf-8") as datei:
            bloecke = re.findall(r"^```sh run pakete\n(.*?)^```$", datei.read(), re.MULTILINE | re.DOTALL)
        self.assertEqual(len(bloecke), 2)
        ort = os.path.join(self.ordner, "beispiel")
        os.makedirs(os.path.join(ort, "build"))
        os.symlink(os.path.join(WURZEL, "examples"), os.path.join(ort, "examples"))
        for name, quelle in (("microphone", self.mikro), ("reference", self.fern)):
            shutil.copy(quelle, os.path.join(ort, f"{name}.wav"))
        ziel = os.path.join(ort, "cleaned.wav")
        for befehle in bloecke:
            for ende in [treffer.end() for treffer in re.finditer(r"cleaned\.wav$", befehle, re.MULTILINE)]:
                pakete.fuehre_aus("bash", "-euo", "pipefail", "-c", befehle[:ende], ordner=ort, umgebung={
                    "CMAKE_PREFIX_PATH": self.usr, "CMAKE_GENERATOR": "Ninja",
                    "PKG_CONFIG_PATH": os.path.join(self.lib, "pkgconfig"), "LD_LIBRARY_PATH": self.lib})
                self.assertEqual(self.bytes_von(ziel), self.soll)
                os.unlink(ziel)

    def test_beispiele_der_seite(self):
        """The C of docs/library.md, all of it in one program: half a second that a device has lost is silence on
        the timeline, and three seconds of sound are one chunk."""
        with open(os.path.join(WURZEL, "docs", "library.md"), encoding="utf-8") as datei:
            bloecke = re.findall(r"^```c\n(.*?)^```$", datei.read(), re.MULTILINE | re.DOTALL)
        self.assertEqual(len(bloecke), 3)
        quelle, kopie = (os.path.join(self.ordner, name) for name in ("seite.c", "kopie.wav"))
        with open(quelle, "w", encoding="ascii") as datei:
            datei.write("#include <stdio.h>\n#include <hallkorb/audio.h>\n" + "\n".join(bloecke) + """
                int main(int argc, char** argv) {
                  static float sound[48000];
                  struct channel channel = {NULL, NULL, 0};
                  int i;
                  if (argc != 4 || copy_wav(argv[1], argv[2])) return 1;
                  for (i = 0; i < 48000; ++i) sound[i] = i / 20 % 2 ? 0.1F : -0.1F;
                  if (begin(&channel, 16000, 10.0)) return 2;
                  for (i = 0; i < 100; ++i)
                    if (deliver(&channel, 16000, sound + 160 * i, 160, 10.0 + 0.01 * i + (i < 50 ? 0.0 : 0.5)))
                      return 3;
                  if (hallkorb_clock_flush(channel.clock)) return 4;
                  printf("%u samples\\n", (unsigned)channel.samples);
                  hallkorb_clock_free(channel.clock);
                  hallkorb_timeline_free(channel.timeline);
                  return cut(sound, 48000, argv[3]);
                }""")
        programm = os.path.join(self.ordner, "seite")
        pakete.fuehre_aus("cc", "-std=c99", "-pedantic-errors", "-Wall", "-Wextra", "-Werror",
                          f"-I{self.usr}/include", quelle, f"-L{self.lib}", "-lhallkorb-audio", "-o", programm)
        ausgabe = pakete.fuehre_aus(programm, self.mikro, kopie, self.ordner,
                                    umgebung={"LD_LIBRARY_PATH": self.lib})
        self.assertAlmostEqual(int(re.search(r"^(\d+) samples$", ausgabe, re.MULTILINE)[1]), 24000, delta=100)
        self.assertIn(f'{{"chunk":0,"channel":"me","path":"{self.ordner}/chunk_me_000.wav","t0":0.00,"t1":3.00}}\n',
                      ausgabe)
        with wave.open(self.mikro) as mikro, wave.open(kopie) as gleich:
            self.assertEqual(gleich.getparams(), mikro.getparams())

    def test_nur_die_schnittstelle_ist_zu_sehen(self):
        namen = pakete.fuehre_aus("nm", "-D", "--defined-only", "--format=just-symbols",
                                  os.path.join(self.lib, freigabe.bibliothek())).split()
        self.assertIn("hallkorb_echo_new", namen)
        self.assertEqual([name for name in namen if not name.startswith("hallkorb_")], [])

    def test_keine_andere_schnittstelle(self):
        """The major version may change the interface, before 1.0.0 the second number: who asks for another one
        gets none."""
        kopf = pakete.fuehre_aus("readelf", "-d", os.path.join(self.lib, "libhallkorb-audio.so"))
        self.assertIn(f"[{freigabe.bibliothek()}]", kopf)
        gross, klein, _ = map(int, freigabe.version().split("."))
        andere = (f"{gross - 1}.0", f"{gross + 1}.0") if gross else (f"0.{klein - 1}", f"0.{klein + 1}")
        for verlangt, da in ((f"{gross}.{klein}", 1), (andere[0], 0), (andere[1], 0)):
            with self.subTest(verlangt=verlangt):
                ort = os.path.join(self.ordner, f"verlangt-{verlangt}")
                os.makedirs(ort)
                with open(os.path.join(ort, "CMakeLists.txt"), "w", encoding="ascii") as datei:
                    datei.write("cmake_minimum_required(VERSION 3.21)\nproject(verlangt LANGUAGES C)\n"
                                f"find_package(hallkorb {verlangt} QUIET)\n"
                                'message(STATUS "found ${hallkorb_FOUND} of ${hallkorb_CONSIDERED_VERSIONS}")\n')
                ausgabe = pakete.fuehre_aus("cmake", "-G", "Ninja", "-S", ort, "-B", os.path.join(ort, "bau"),
                                            f"-DCMAKE_PREFIX_PATH={self.usr}")
                self.assertIn(f"found {da} of {freigabe.version()}\n", ausgabe)


class Gepackt(unittest.TestCase):
    """A whole release: the packages' contents and what they ask for, and the files beside them."""

    @classmethod
    def setUpClass(cls):
        cls.halter = tempfile.TemporaryDirectory()
        cls.ziel = os.path.join(cls.halter.name, "release")
        # As a person names it who stands elsewhere.
        hier = os.getcwd()
        os.chdir(cls.halter.name)
        try:
            freigabe.mache("release", None)
        finally:
            os.chdir(hier)
        cls.pakete = sorted(glob.glob(os.path.join(cls.ziel, "*.deb")) + glob.glob(os.path.join(cls.ziel, "*.rpm")))

    @classmethod
    def tearDownClass(cls):
        cls.halter.cleanup()

    def paket(self, anfang, endung):
        (pfad,) = [pfad for pfad in self.pakete
                   if os.path.basename(pfad).startswith(anfang) and pfad.endswith(endung)]
        return pfad

    def lies(self, name):
        with open(os.path.join(self.ziel, name), encoding="utf-8") as datei:
            return datei.read()

    def test_freigabe_ist_ganz(self):
        """Every file of a release, each with its checksum; what names another one names it rightly."""
        nummer = freigabe.version()
        archiv = f"hallkorb-{nummer}.tar.gz"
        namen = sorted([archiv, f"hallkorb-{nummer}.spdx.json", "hallkorb.rb",
                        *(os.path.basename(pfad) for pfad in self.pakete)])
        self.assertEqual(sorted(os.listdir(self.ziel)), sorted([*namen, "SHA256SUMS"]))
        self.assertEqual(len(self.pakete), 4)
        summen = dict(reversed(zeile.split("  ")) for zeile in self.lies("SHA256SUMS").splitlines())
        self.assertEqual(sorted(summen), namen)
        pakete.fuehre_aus("sha256sum", "--check", "--strict", "SHA256SUMS", ordner=self.ziel)

        stuecke = json.loads(self.lies(f"hallkorb-{nummer}.spdx.json"))["packages"]
        self.assertEqual({stueck["packageFileName"]: stueck["checksums"][0]["checksumValue"]
                          for stueck in stuecke if "packageFileName" in stueck},
                         {name: summe for name, summe in summen.items()
                          if name.endswith((".tar.gz", ".deb", ".rpm"))})

        formel = self.lies("hallkorb.rb")
        self.assertNotRegex(formel, r"@\w+@")
        self.assertIn(f'sha256 "{summen[archiv]}"', formel)
        # The same bytes wherever it is made.
        for name in ("hallkorb.rb", f"hallkorb-{nummer}.spdx.json"):
            self.assertNotIn(self.halter.name, self.lies(name))
        if shutil.which("ruby"):
            # The formula's own words, with a Homebrew that only notes them.
            self.assertEqual(pakete.fuehre_aus(
                "ruby", "-e", "class Formula; def self.test; end; "
                "def self.method_missing(w, *a, **) = (puts a[0] if w == :url); end; load ARGV[0]",
                os.path.join(self.ziel, "hallkorb.rb")).strip(),
                "file://" + os.path.join(os.path.realpath(self.ziel), archiv))

    def test_freigabe_mischt_sich_nicht(self):
        with self.assertRaises(FileExistsError):
            freigabe.mache(self.ziel, None)

    def pruefe_namen(self, namen):
        self.assertIn("/usr/bin/hallkorb", namen)
        self.assertIn("/usr/bin/hallkorb-sitzung", namen)
        for seite in SEITEN:
            self.assertIn(f"/usr/share/man/{seite}.gz", namen)
            self.assertNotIn(f"/usr/share/man/{seite}", namen)

    def pruefe_zsh(self, namen, ordner):
        """Each distribution's zsh looks into another folder."""
        self.assertEqual({os.path.dirname(name) for name in namen if re.search(r"/_hallkorb[^/]*$", name)},
                         {f"/usr/share/zsh/{ordner}"})

    def test_deb(self):
        pfad = self.paket("hallkorb_", ".deb")
        with tempfile.TemporaryDirectory() as ordner:
            pakete.fuehre_aus("dpkg-deb", "-x", pfad, ordner)
            namen = {os.path.join(ort, name).removeprefix(ordner)
                     for ort, _, dateien in os.walk(ordner) for name in dateien}
            with gzip.open(os.path.join(ordner, "usr/share/man/man1/hallkorb.1.gz")) as seite:
                self.assertIn(b".SH NAME", seite.read())
        self.pruefe_namen(namen)
        self.pruefe_zsh(namen, "vendor-completions")
        noetig = pakete.fuehre_aus("dpkg-deb", "-f", pfad, "Depends")
        empfohlen = pakete.fuehre_aus("dpkg-deb", "-f", pfad, "Recommends")
        for wort in ("libc6 ", "libpipewire-0.3-0", "libavutil", "libswresample"):
            self.assertIn(wort, noetig)
        for wort in ("libavcodec", "libavformat", "libswscale", "libxcb1 ", "libxcb-res0", "libxau6", "ffmpeg"):
            self.assertIn(wort, empfohlen)
            self.assertNotIn(wort, noetig)
        for name in ("libhallkorb-audio.so", "libhallkorb-audio.a"):
            self.assertNotIn(name, "".join(namen))

    def test_spaet_geladene_sind_genannt(self):
        namen = set()
        for quelle in glob.glob(os.path.join(WURZEL, "platform", "linux", "**", "*.cpp"), recursive=True):
            with open(quelle, encoding="utf-8") as datei:
                namen |= set(re.findall(r'Bibliothek bibliothek\("(lib[^"]+\.so\.\d*)"', datei.read()))
        genannt = pakete.fuehre_aus("rpm", "-qp", "--requires", "--recommends", self.paket("hallkorb-0", ".rpm"))
        self.assertGreaterEqual(len(namen), 13)
        self.assertEqual([name for name in sorted(namen) if name not in genannt], [])

    def test_stueckliste(self):
        text = stueckliste.mache("1.2.3", "abc", 0, os.path.join(WURZEL, "LICENSE"), self.pakete)
        liste = json.loads(text)
        self.assertEqual((liste["spdxVersion"], liste["creationInfo"]["created"]),
                         ("SPDX-2.3", "1970-01-01T00:00:00Z"))
        kennungen = [paket["SPDXID"] for paket in liste["packages"]]
        self.assertEqual(len(kennungen), len(set(kennungen)))
        for kennung in kennungen:
            self.assertRegex(kennung, r"^SPDXRef-[A-Za-z0-9.-]+$")
        for beziehung in liste["relationships"]:
            self.assertIn(beziehung["spdxElementId"], [*kennungen, "SPDXRef-DOCUMENT"])
            self.assertIn(beziehung["relatedSpdxElement"], kennungen)
        namen = {paket["name"]: paket for paket in liste["packages"]}
        noetig = pakete.fuehre_aus("dpkg-deb", "-f", self.paket("hallkorb_", ".deb"), "Depends")
        for wort in noetig.split(","):
            self.assertIn(wort.split()[0], namen)
        self.assertEqual(namen["libutf8proc-dev"]["licenseDeclared"], "MIT AND Unicode-DFS-2015")
        with self.assertRaises(ValueError):
            stueckliste.lizenz("libunknown1")

    def test_rpm(self):
        pfad = self.paket("hallkorb-0", ".rpm")
        self.pruefe_namen(namen := pakete.fuehre_aus("rpm", "-qpl", pfad).split("\n"))
        self.pruefe_zsh(namen, "site-functions")
        noetig = pakete.fuehre_aus("rpm", "-qp", "--requires", pfad)
        for name in ("libc.so.6", "libpipewire-0.3.so.0"):
            self.assertIn(name, noetig)
        self.assertNotIn("libavcodec.so", noetig)
        self.assertIn("libavcodec.so", pakete.fuehre_aus("rpm", "-qp", "--recommends", pfad))
        self.assertIn("/usr/lib64/pkgconfig/hallkorb-audio.pc",
                      pakete.fuehre_aus("rpm", "-qpl", self.paket("hallkorb-audio-devel", ".rpm")).split())


if __name__ == "__main__":
    prozesse.beaufsichtigt(einzeltests.lauf)
