"""The command blocks of the documents that are marked as runnable ("```sh run"), each as it stands.

They run in the order of their document in a private session, in a folder that looks like the project's with
build/release in the path; what they write is not in the project. Lines of the recorder that are among it are
held against the schema. Blocks that need more than the program are marked with what has it: the stage "wirte"
("```sh run wirte"), with Swift's compiler ("swift"), or the stage "pakete", whose tests are in tests/pakete.py.
"""

import os
import re
import subprocess

import lauf
import prozesse


def dokumente():
    liste = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.md"],
                           cwd=lauf.WURZEL, check=True, capture_output=True, text=True).stdout
    return sorted(liste.splitlines()) if liste else []


def bloecke(name, stufe=""):
    """(line, commands) of each block to run in a stage."""
    with open(os.path.join(lauf.WURZEL, name), encoding="utf-8") as datei:
        text = datei.read()
    return [(text[:treffer.start()].count("\n") + 1, treffer[1])
            for treffer in re.finditer(rf"^```sh run{' ' * bool(stufe)}{stufe}\n(.*?)^```$", text,
                                       re.MULTILINE | re.DOTALL)]


class Dokumente(lauf.Fall):

    STUFE = ""
    MINDESTENS = {"README.md", "examples/README.md", "examples/python/README.md", "examples/session/README.md",
                  "docs/hosts.md"}

    def test_bloecke_laufen(self):
        gelaufen, zeilen = {}, 0
        for name in dokumente():
            if gefunden := bloecke(name, self.STUFE):
                gelaufen[name] = len(gefunden)
                ort = self.wie_das_projekt(os.path.join(self.ordner, name.replace("/", "_")))
                for zeile, befehle in gefunden:
                    with self.subTest(dokument=name, zeile=zeile):
                        self.fuehre_aus(ort, befehle)
                        zeilen += self.pruefe_zeilen(ort)
        self.assertLessEqual(self.MINDESTENS, gelaufen.keys())
        self.assertGreater(zeilen, 0)

    def wie_das_projekt(self, ort):
        """All of it but "build", of which only the programs are there."""
        os.makedirs(os.path.join(ort, "build"))
        for name in os.listdir(lauf.WURZEL):
            if name != "build":
                os.symlink(os.path.join(lauf.WURZEL, name), os.path.join(ort, name))
        os.symlink(os.path.dirname(lauf.PROGRAMM), os.path.join(ort, "build", "release"))
        return ort

    @staticmethod
    def pruefe_zeilen(ort):
        """How many lines of the recorder are in the files that the blocks have written; each is valid."""
        zahl = 0
        for ordner, unter, dateien in os.walk(ort):
            unter[:] = [name for name in unter if not os.path.islink(os.path.join(ordner, name))]
            for name in dateien:
                pfad = os.path.join(ordner, name)
                if name.endswith(".jsonl") and not os.path.islink(pfad):
                    with open(pfad, encoding="utf-8") as datei:
                        zahl += len(lauf.geprueft(datei.read()))
        return zahl

    def fuehre_aus(self, ort, befehle):
        bau = os.path.dirname(lauf.PROGRAMM)
        lauf_ = prozesse.starte(["bash", "-euo", "pipefail", "-c", befehle], cwd=ort,
                                env=self.raum.umgebung | {"PATH": f"{bau}:{os.environ['PATH']}",
                                                          "CMAKE_GENERATOR": "Ninja"},
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        ausgabe = lauf_.communicate(timeout=10 * lauf.FRIST)[0].decode("utf-8", "replace")
        self.assertEqual(lauf_.returncode, 0, f"$ {befehle}{ausgabe}")


class DokumenteWirte(Dokumente):
    """Those that need Node.js or compile a host."""

    LANG = True
    STUFE = "wirte"
    MINDESTENS = {"examples/node/README.md", "examples/cpp/README.md"}


class DokumenteSwift(Dokumente):
    """Those that need Swift's compiler."""

    LANG = True
    STUFE = "swift"
    MINDESTENS = {"examples/swift/README.md"}
