"""What bash, zsh and fish offer for both programs."""

import os
import re
import shutil
import subprocess
import tempfile

import lauf
import test_sitzung

COMPLETIONS = os.path.join(lauf.WURZEL, "completions")


class Vervollstaendigung(lauf.Fall):
    """What a shell offers is what the program understands."""

    MIT_TONANLAGE = False

    def befehle(self):
        """Command -> its options, as the program describes them."""
        def woerter(*worte):
            return re.findall(r"^  (-\S+|[a-z]+)(?= )", "\n".join(test_sitzung.rufe(*worte, "--help")[1]), re.M)
        def optionen(*worte):
            return {o for wort in woerter(*worte) for o in wort.split(",") if o.startswith("--")}
        alle = {"": optionen()}
        alle.update({befehl: optionen(befehl) for befehl in woerter() if not befehl.startswith("-")})
        return alle

    def test_jeder_befehl_und_jede_option(self):
        befehle = self.befehle()
        self.assertEqual(set(befehle), {"", "bericht", "pruefen", "reparieren", "zusammen", "abspielen",
                                        "arzt"})
        for name in ("hallkorb-sitzung.bash", "_hallkorb-sitzung", "hallkorb-sitzung.fish"):
            with open(os.path.join(COMPLETIONS, name), encoding="utf-8") as datei:
                text = datei.read()
            for befehl, optionen in befehle.items():
                self.assertRegex(text, rf"\b{befehl}\b", name)
                for option in optionen:
                    gesucht = option[2:] if name.endswith(".fish") else option
                    self.assertRegex(text, rf"(?<!\w){gesucht}\b", f"{name}: {befehl}")

    def test_bash_bietet_genau_das_an(self):
        for befehl, optionen in self.befehle().items():
            worte = ["hallkorb-sitzung", *([befehl] if befehl else []), "--"]
            self.assertEqual(bash_bietet(*worte), optionen, befehl)
        self.assertEqual(bash_bietet("hallkorb-sitzung", "") - {"--help", "--version"},
                         set(self.befehle()) - {""})

    def test_fish_bietet_genau_das_an(self):
        if not shutil.which("fish"):
            self.skipTest("no fish")
        for befehl, optionen in self.befehle().items():
            self.assertEqual(fish_bietet("hallkorb-sitzung", befehl, "--"), optionen, befehl)

    def test_des_rekorders(self):
        """Each documented option is offered, but where a value is expected: there only that."""
        with open(os.path.join(lauf.WURZEL, "docs", "hallkorb.1.in"), encoding="utf-8") as datei:
            optionen = set(re.findall(r"(?<![\w-])--[a-z]+(?:-[a-z]+)*", datei.read().replace("\\-", "-")))
        self.assertGreater(len(optionen), 15)
        os.makedirs(os.path.join(self.ordner, "ziel"))
        with open(os.path.join(self.ordner, "a.wav"), "w", encoding="ascii"):
            pass
        alle = {"ziel", "a.wav"}
        shells = [bash_bietet, *([fish_bietet] if shutil.which("fish") else [])]
        for bietet in shells:
            def angebot(*worte):
                return {wort.rstrip("/") for wort in bietet("hallkorb", *worte, ort=self.ordner)}
            with self.subTest(shell=bietet.__name__):
                self.assertEqual(angebot("--"), optionen)
                self.assertEqual(angebot("--kein-echo", "--fenster-"), {"--fenster-probe", "--fenster-wahl"})
                self.assertEqual(angebot("--out", ""), {"ziel"})
                self.assertEqual(angebot("--chunk-ordner", ""), {"ziel"})
                self.assertEqual(angebot("--fenster-wahl", ""), alle)
                for davor in range(3):
                    self.assertEqual(angebot("--echo-datei", *["a.wav"] * davor, ""), alle)
                self.assertEqual(angebot("--echo-datei", *["a.wav"] * 3, "--ze"), {"--zeitachse-test"})
        # What stands where a value is expected is one, whatever it looks like.
        self.assertEqual(bash_bietet("hallkorb", "--out", "--out", "--al"), {"--alle"})
        self.assertEqual(bash_bietet("hallkorb", "--rate", "--"), set())


def bash_bietet(*worte, ort=None):
    """What bash offers for the last word."""
    funktion = "_" + worte[0].replace("-", "_")
    befehl = (f'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); {funktion}; '
              '((${#COMPREPLY[@]} == 0)) || printf "%s\\n" "${COMPREPLY[@]}"')
    quelle = os.path.join(COMPLETIONS, f"{worte[0]}.bash")
    return _angebot(["bash", "--norc", "-c", befehl, quelle, *worte], ort)


def fish_bietet(*worte, ort=None):
    """What fish offers for the last word."""
    befehl = f"source '{COMPLETIONS}/{worte[0]}.fish'; complete -C '{' '.join(filter(None, worte[:-1]))} {worte[-1]}'"
    return _angebot(["fish", "--no-config", "-c", befehl], ort)


def _angebot(befehl, ort):
    with tempfile.TemporaryDirectory() as heim:
        aus = subprocess.run(befehl, capture_output=True, text=True, check=True, cwd=ort,
                             env={**os.environ, "HOME": heim, "XDG_CONFIG_HOME": heim})
    if aus.stderr:
        raise AssertionError(aus.stderr)
    return {zeile.split("\t")[0] for zeile in aus.stdout.splitlines()}
