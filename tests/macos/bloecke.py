#!/usr/bin/python3
"""Finds blocks inside lambdas that capture by reference: python3 tests/macos/bloecke.py COMPILER...

A block copies what it captures. Inside a lambda it captures the lambda's own captures, and if
those are references the copy is one too: of a variable that is gone when the block is called later.
The compiler says nothing about it, but shows it in its syntax tree.

COMPILER is a command that compiles one Objective-C++ file, without an output. Prints one line for
each such block; the exit status is 1 if there are any, and 2 if the file does not compile.
"""

import re
import subprocess
import sys

ZEILE = re.compile(r"^([ |`-]*)(\w+)(.*)$")


def funde(baum):
    """The captures of blocks in a dumped syntax tree that stand in such a lambda."""
    offene = []  # (depth, "LambdaExpr" or "BlockDecl", whether it captures by reference)
    for zeile in baum:
        treffer = ZEILE.match(zeile)
        if not treffer:
            continue
        tiefe, knoten, rest = len(treffer[1]), treffer[2], treffer[3]
        while offene and offene[-1][0] >= tiefe:
            offene.pop()
        if knoten in ("LambdaExpr", "BlockDecl"):
            offene.append((tiefe, knoten, False))
        elif knoten == "FieldDecl" and offene and offene[-1][1] == "LambdaExpr" and "&'" in rest:
            offene[-1] = (*offene[-1][:2], True)
        elif knoten == "capture" and " nested " in rest and len(offene) > 1:
            _, aussen, mit_verweis = offene[-2]
            if aussen == "LambdaExpr" and mit_verweis:
                yield re.sub(r" 0x[0-9a-f]+", "", rest).strip()


def hauptteil(befehl):
    gefunden = set()
    # Not the headers of the system and the library, which are most of the tree. The methods of a class
    # stand in no namespace: they are found by the prefix of all our classes.
    for was in ("hallkorb", "HK"):
        lauf = subprocess.run([*befehl, "-fsyntax-only", "-fno-color-diagnostics", "-w",
                               "-Xclang", "-ast-dump", "-Xclang", f"-ast-dump-filter={was}"],
                              stdout=subprocess.PIPE, text=True)
        if lauf.returncode:
            return 2
        gefunden.update(funde(lauf.stdout.splitlines()))
    for was in sorted(gefunden):
        print(f"{befehl[-1]}: a block inside a lambda that captures by reference: {was}")
    return 1 if gefunden else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(hauptteil(sys.argv[1:]))
