"""The command blocks of the documents that are marked as runnable ("```sh run"), each as it stands.

They run in the order of their document in a private session, in a folder that looks like the project's with
build/release in the path; what they write is not in the project.
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


def bloecke(name):
    """(line, commands) of each block to run."""
    with open(os.path.join(lauf.WURZEL, name), encoding="utf-8") as datei:
        text = datei.read()
    return [(text[:treffer.start()].count("\n") + 1, treffer[1])
            for treffer in re.finditer(r"^```sh run\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)]


class Dokumente(lauf.Fall):

    def test_bloecke_laufen(self):
        gelaufen = {}
        for name in dokumente():
            if gefunden := bloecke(name):
                gelaufen[name] = len(gefunden)
                ort = self.wie_das_projekt(os.path.join(self.ordner, name.replace("/", "_")))
                for zeile, befehle in gefunden:
                    with self.subTest(dokument=name, zeile=zeile):
                        self.fuehre_aus(ort, befehle)
        self.assertLessEqual({"README.md", "examples/README.md", "docs/hosts.md"}, gelaufen.keys())

    def wie_das_projekt(self, ort):
        os.mkdir(ort)
        for name in os.listdir(lauf.WURZEL):
            os.symlink(os.path.join(lauf.WURZEL, name), os.path.join(ort, name))
        return ort

    def fuehre_aus(self, ort, befehle):
        bau = os.path.dirname(lauf.PROGRAMM)
        lauf_ = prozesse.starte(["bash", "-euo", "pipefail", "-c", befehle], cwd=ort,
                                env=self.raum.umgebung | {"PATH": f"{bau}:{os.environ['PATH']}"},
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        ausgabe = lauf_.communicate(timeout=2 * lauf.FRIST)[0].decode("utf-8", "replace")
        self.assertEqual(lauf_.returncode, 0, f"$ {befehle}{ausgabe}")
