#!/usr/bin/python3
"""When scripts/release refuses, and what it makes beside the packages: python3 tests/freigabe.py

Works on clones of the last commit, which are given a version in CHANGELOG.md, and then one fault each.
Closing line: "N passed, N failed".
"""

import gzip
import os
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import unittest

WURZEL = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(WURZEL, "scripts", "lib"))
import einzeltests  # noqa: E402
import pakete  # noqa: E402
import prozesse  # noqa: E402


class Freigabe(unittest.TestCase):

    def setUp(self):
        halter = tempfile.TemporaryDirectory()
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name
        self.ort = os.path.join(self.ordner, "projekt")
        pakete.fuehre_aus("git", "clone", "--quiet", WURZEL, self.ort)
        self.version = re.search(r"^project\(hallkorb VERSION (\S+)", self.lies("CMakeLists.txt"), re.MULTILINE)[1]
        # The version that is released stands above the ones that were.
        alt = re.search(r"^## .+$", self.lies("CHANGELOG.md"), re.MULTILINE)[0]
        self.kopf = f"## {self.version} (2026-01-31)"
        self.ersetze("CHANGELOG.md", alt, f"{self.kopf}\n\n- Something new.\n\n{alt}")

    def lies(self, name):
        with open(os.path.join(self.ort, name), encoding="utf-8") as datei:
            return datei.read()

    def ersetze(self, name, alt, neu):
        text = self.lies(name)
        self.assertIn(alt, text)
        with open(os.path.join(self.ort, name), "w", encoding="utf-8") as datei:
            datei.write(text.replace(alt, neu, 1))
        self.git("commit", "--quiet", "--all", "--message", "Change")

    def git(self, *worte):
        return pakete.fuehre_aus("git", "-c", "user.name=x", "-c", "user.email=x@localhost", "-C", self.ort, *worte)

    def frage(self, *worte):
        lauf = subprocess.run([os.path.join(self.ort, "scripts", "release"), *(worte or ("--check",))],
                              capture_output=True, text=True, stdin=subprocess.DEVNULL)
        return lauf.returncode, lauf.stdout + lauf.stderr

    def weigert_sich(self, wort):
        status, ausgabe = self.frage()
        self.assertEqual(status, 1, ausgabe)
        self.assertIn("release: refused", ausgabe)
        self.assertIn(wort, ausgabe)
        self.assertEqual(ausgabe.count("\n- "), 1, ausgabe)

    def test_alles_stimmt(self):
        self.assertEqual(self.frage(), (0, f"release: {self.version} can be made\n"))

    def test_baum_nicht_sauber(self):
        with open(os.path.join(self.ort, "rest"), "w", encoding="ascii"):
            pass
        self.weigert_sich("not clean")

    def test_aenderungen_ohne_version(self):
        self.ersetze("CHANGELOG.md", self.kopf, "## Unreleased")
        self.weigert_sich('begins with "Unreleased"')

    def test_andere_version(self):
        self.ersetze("CHANGELOG.md", self.kopf, "## 99.0.0 (2026-01-31)")
        self.weigert_sich("describes 99.0.0")

    def test_nichts_geaendert(self):
        self.ersetze("CHANGELOG.md", "- Something new.\n", "")
        self.weigert_sich("says nothing")

    def test_marke_vergeben(self):
        self.git("tag", f"v{self.version}", "HEAD~1")
        self.weigert_sich("another commit")

    def test_seite_mit_eigener_version(self):
        self.ersetze("docs/hallkorb.1.in", "hallkorb @PROJECT_VERSION@", "hallkorb 0.0.1")
        self.weigert_sich("docs/hallkorb.1.in")

    def test_protokoll_weiter_als_seine_seite(self):
        self.ersetze("docs/protocol.md", "\n## ", "\nA new sentence.\n\n## ")
        self.weigert_sich("hallkorb-protokoll.5.in")

    def test_beispiel_verlangt_andere_version(self):
        self.ersetze("examples/library/CMakeLists.txt", "find_package(hallkorb ", "find_package(hallkorb 9")
        self.weigert_sich("examples/library")

    def test_beispiel_laedt_andere_version(self):
        self.ersetze("examples/python/clean.py", "libhallkorb-audio.so.", "libhallkorb-audio.so.9")
        self.weigert_sich("examples/python/clean.py")

    def test_ohne_werkzeug_bleibt_nichts(self):
        """A folder is named from where the command is typed; if no package can be made, it is gone again."""
        werkzeug = os.path.join(self.ordner, "nur-git")
        os.makedirs(werkzeug)
        os.symlink(shutil.which("git"), os.path.join(werkzeug, "git"))
        skript = (f"import sys; sys.path.insert(0, {os.path.join(self.ort, 'scripts', 'lib')!r}); "
                  "import freigabe; freigabe.mache('unter/wegs', None)")
        vorher = sorted(os.listdir(self.ordner)), sorted(os.listdir(self.ort))
        with self.assertRaisesRegex(pakete.PaketFehler, "neither dpkg-deb nor rpmbuild is here"):
            pakete.fuehre_aus("/usr/bin/python3", "-c", skript, ordner=self.ordner, umgebung={"PATH": werkzeug})
        os.rmdir(os.path.join(self.ordner, "unter"))
        self.assertEqual((sorted(os.listdir(self.ordner)), sorted(os.listdir(self.ort))), vorher)

    def test_archiv_und_formel(self):
        skript = ("import sys; sys.path.insert(0, 'scripts/lib'); import freigabe; "
                  f"print(freigabe.archiv('{self.ordner}', '{self.version}'))")
        summen = set()
        for _ in range(2):
            pfad = pakete.fuehre_aus("/usr/bin/python3", "-c", skript, ordner=self.ort).strip()
            with open(pfad, "rb") as datei:
                summen.add(datei.read())
        self.assertEqual(len(summen), 1)
        with gzip.open(pfad) as datei, tarfile.open(fileobj=datei) as archiv:
            self.assertIn(f"hallkorb-{self.version}/CMakeLists.txt", archiv.getnames())
        formel = self.lies("packaging/hallkorb.rb.in")
        self.assertEqual(set(re.findall(r"@(\w+)@", formel)), {"URL", "VERSION", "SHA256"})
        if shutil.which("ruby"):
            pakete.fuehre_aus("ruby", "-c", os.path.join(self.ort, "packaging", "hallkorb.rb.in"))


if __name__ == "__main__":
    prozesse.beaufsichtigt(einzeltests.lauf)
