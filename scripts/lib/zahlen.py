"""Figures about the project that would be wrong the next day if a person had to keep them."""

import ast
import os
import re

import raeume

_TEST = re.compile(r"^(?:TEST|TEST_F|TEST_P|TYPED_TEST)\(", re.MULTILINE)


def _dateien(ordner, *endungen):
    for pfad, _, namen in os.walk(os.path.join(raeume.WURZEL, ordner)):
        for name in namen:
            if name.endswith(endungen):
                with open(os.path.join(pfad, name), encoding="utf-8") as datei:
                    yield datei.read()


def ist_code(zeile):
    return bool(zeile.strip()) and not zeile.strip().startswith("//")


def code_zeilen():
    """Room -> lines of code, without comments and blank lines."""
    summe = dict.fromkeys(reversed(raeume.RAEUME), 0)
    for datei, text in raeume.quellen().items():
        summe[raeume.raum(datei)] += sum(map(ist_code, text.splitlines()))
    return summe


def tests_je_ordner():
    """Test folder -> tests written in it; one with parameters or over a list counts once."""
    tests = os.path.join(raeume.WURZEL, "tests")
    summe = {}
    for pfad, _, namen in sorted(os.walk(tests)):
        anzahl = 0
        for name in namen:
            if name.endswith((".cpp", ".mm")):
                with open(os.path.join(pfad, name), encoding="utf-8") as datei:
                    anzahl += len(_TEST.findall(datei.read()))
        if anzahl:
            summe[os.path.relpath(pfad, raeume.WURZEL)] = anzahl
    summe["tests/e2e"] = sum(_python_tests(text) for text in _dateien("tests/e2e", ".py"))
    return summe


def _python_tests(text):
    return sum(isinstance(knoten, ast.FunctionDef) and knoten.name.startswith("test_")
               for knoten in ast.walk(ast.parse(text)))


def macos_zeilen():
    """Lines of the macOS backend: of what decides, and of the calls into the platform."""
    texte = {datei: text for datei, text in raeume.quellen().items()
             if datei.startswith("platform/macos/")}
    aufrufe = sum(sum(map(ist_code, text.splitlines())) for datei, text in texte.items()
                  if datei.endswith(".mm"))
    rest = sum(sum(map(ist_code, text.splitlines())) for datei, text in texte.items()
               if not datei.endswith(".mm"))
    return rest, aufrufe


def drucke():
    zeilen, tests = code_zeilen(), tests_je_ordner()
    print("Lines of code, without comments and blank lines")
    for raum, anzahl in zeilen.items():
        print(f"  {raum:32}{anzahl:7}")
    print(f"  {'in all':32}{sum(zeilen.values()):7}")
    print("\nTests as they are written; one with parameters counts once")
    for ordner, anzahl in sorted(tests.items()):
        print(f"  {ordner:32}{anzahl:7}")
    print(f"  {'in all':32}{sum(tests.values()):7}")
    rest, aufrufe = macos_zeilen()
    print("\nThe macOS backend: lines of code")
    print(f"  {'decisions, run by tests':32}{rest:7}")
    print(f"  {'calls (.mm), run on stand-ins':32}{aufrufe:7}")
