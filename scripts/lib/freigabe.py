"""Makes a release, or says why there can be none: the second half of scripts/release."""

import argparse
import gzip
import hashlib
import os
import re
import shutil
import sys

import abschnitte
import handbuch
import pakete
import prozesse
import stueckliste

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
_GIT = ("git", "-c", f"safe.directory={WURZEL}", "-C", WURZEL)


def lies(name):
    with open(os.path.join(WURZEL, name), encoding="utf-8") as datei:
        return datei.read()


def git(*worte):
    return pakete.fuehre_aus(*_GIT, *worte).strip()


def version():
    return re.search(r"^project\(hallkorb VERSION ([0-9.]+)", lies("CMakeLists.txt"), re.MULTILINE)[1]


def bibliothek():
    """The shared library's name, which changes with every version that may change its interface."""
    gross, klein, _ = version().split(".")
    return f"libhallkorb-audio.so.{gross if int(gross) else f'0.{klein}'}"


# --- What must agree --------------------------------------------------------------------------------

def klage_baum():
    if geaendert := git("status", "--porcelain"):
        return f"the working tree is not clean:\n{geaendert}"
    return None


def klage_aenderungen():
    """The first version of CHANGELOG.md is this one, with its date, and has something to say."""
    kopf, text = re.search(r"^## (.+)\n((?:(?!## ).*\n)*)", lies("CHANGELOG.md"), re.MULTILINE).groups()
    treffer = re.fullmatch(r"(\d+\.\d+\.\d+) \(\d{4}-\d\d-\d\d\)", kopf)
    if not treffer:
        return f'CHANGELOG.md begins with "{kopf}", not with a version and its date as in "1.2.3 (2026-01-31)"'
    if treffer[1] != version():
        return f"CHANGELOG.md describes {treffer[1]}, CMakeLists.txt builds {version()}"
    if "\n- " not in "\n" + text:
        return f"CHANGELOG.md says nothing about {treffer[1]}"
    return None


def klage_marke():
    marke = f"v{version()}"
    if marke in git("tag", "--list").split() and git("rev-list", "-1", marke) != git("rev-parse", "HEAD"):
        return f"{marke} is another commit already"
    return None


def klage_handbuch():
    """Each manual page takes its version from the build and nowhere else."""
    for name in ("hallkorb.1.in", "hallkorb-sitzung.1.in", "hallkorb-protokoll.5.in"):
        (kopf,) = re.findall(r"^\.TH .*$", lies(f"docs/{name}"), re.MULTILINE)
        if '"hallkorb @PROJECT_VERSION@"' not in kopf:
            return f"docs/{name} does not bear the version of the build: {kopf}"
    if handbuch.seite(handbuch.lies()) != lies(handbuch.SEITE):
        return f"{handbuch.SEITE} is not made from docs/protocol.md as it is: run scripts/docs"
    return None


def klage_dokumente():
    if abschnitte.architektur() != abschnitte.lies("docs/architecture.md"):
        return "docs/architecture.md does not draw the includes as they are: run scripts/docs"
    verlangt = re.search(r"find_package\(hallkorb ([0-9.]+)", lies("examples/library/CMakeLists.txt"))[1]
    if verlangt != ".".join(version().split(".")[:2]):
        return f"examples/library asks for hallkorb {verlangt}, not for {version()}"
    if bibliothek() not in lies("examples/python/clean.py"):
        return f"examples/python/clean.py does not load {bibliothek()}"
    return None


PROBEN = (klage_baum, klage_aenderungen, klage_marke, klage_handbuch, klage_dokumente)


def klagen():
    return [klage for probe in PROBEN if (klage := probe())]


# --- What a release consists of ---------------------------------------------------------------------

def archiv(ziel, nummer):
    """The source as it was committed. gzip's header bears no time."""
    pfad = os.path.join(ziel, f"hallkorb-{nummer}.tar.gz")
    roh = pfad.removesuffix(".gz")
    git("archive", "--format=tar", f"--prefix=hallkorb-{nummer}/", f"--output={roh}", "HEAD")
    with open(roh, "rb") as ein, open(pfad, "wb") as aus:
        with gzip.GzipFile(filename="", mode="wb", fileobj=aus, compresslevel=9, mtime=0) as gepackt:
            gepackt.write(ein.read())
    os.unlink(roh)
    return pfad


def summe(pfad):
    with open(pfad, "rb") as datei:
        return hashlib.sha256(datei.read()).hexdigest()


def schreibe(pfad, text):
    with open(pfad, "w", encoding="utf-8") as datei:
        datei.write(text)
    return pfad


def mache(ziel, ort):
    """All files of a release in the new folder `ziel`; none of it stays if one cannot be made."""
    ziel = os.path.abspath(ziel)  # git and cmake run elsewhere
    os.makedirs(ziel)  # fails if it is there: two releases do not mix
    try:
        _fuelle(ziel, ort)
    except BaseException:
        shutil.rmtree(ziel, ignore_errors=True)
        raise


def _fuelle(ziel, ort):
    nummer, stand = version(), git("rev-parse", "HEAD")
    zeit = int(git("log", "-1", "--format=%ct"))
    quelle = archiv(ziel, nummer)
    gebaut = pakete.baue(WURZEL, ziel, {"SOURCE_DATE_EPOCH": str(zeit)})
    liste = schreibe(os.path.join(ziel, f"hallkorb-{nummer}.spdx.json"),
                     stueckliste.mache(nummer, stand, zeit, quelle, gebaut))
    formel = lies("packaging/hallkorb.rb.in")
    # Without a place of its own the archive lies beside the formula, wherever that is.
    for name, wert in (("URL", ort or "file://#{File.dirname(File.realpath(__FILE__))}"), ("VERSION", nummer),
                       ("SHA256", summe(quelle))):
        formel = formel.replace(f"@{name}@", wert)
    rezept = schreibe(os.path.join(ziel, "hallkorb.rb"), formel)
    alle = sorted([quelle, *gebaut, liste, rezept], key=os.path.basename)
    schreibe(os.path.join(ziel, "SHA256SUMS"),
             "".join(f"{summe(pfad)}  {os.path.basename(pfad)}\n" for pfad in alle))


def _hauptteil():
    leser = argparse.ArgumentParser(prog="scripts/release", description="Makes all files of a release.")
    leser.add_argument("--check", action="store_true", help="only say whether there can be one")
    leser.add_argument("--url", metavar="BASE", help="where the source archive will be, for the formula")
    leser.add_argument("ordner", metavar="FOLDER", nargs="?", help="a folder that is not there yet")
    wahl = leser.parse_args()
    if not wahl.check and not wahl.ordner:
        leser.error("into which folder?")
    try:
        if gruende := klagen():
            print("release: refused\n" + "\n".join(f"- {grund}" for grund in gruende), file=sys.stderr)
            return 1
        if not wahl.check:
            mache(wahl.ordner, wahl.url)
    except (pakete.PaketFehler, OSError, ValueError) as fehler:
        print(f"release: {fehler}", file=sys.stderr)
        return 70
    print(f"release: {version()} {'can be made' if wahl.check else 'is in ' + wahl.ordner}")
    return 0


if __name__ == "__main__":
    prozesse.beaufsichtigt(_hauptteil)
