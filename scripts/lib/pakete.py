"""Makes the packages: the second half of scripts/package.

    pakete.baue(quelle, ziel)    the .deb and .rpm files of a source folder, in `ziel`

One build serves both kinds: only the folders of the libraries (lib/<family> in Debian, lib64 in Fedora) and of
zsh's completions differ, and no object file knows them.
"""

import glob
import os
import shutil
import subprocess
import sys

import prozesse

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PROZESSOREN = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 2


class PaketFehler(Exception):
    """A command failed; the text is what it printed."""


def fuehre_aus(*befehl, ordner=WURZEL, umgebung=None, **mehr):
    lauf = prozesse.starte(befehl, cwd=ordner, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, env={**os.environ, **(umgebung or {})}, **mehr)
    ausgabe = lauf.communicate()[0].decode("utf-8", "replace")
    if lauf.returncode:
        raise PaketFehler(f"$ {' '.join(befehl)}\n{ausgabe[-8000:]}")
    return ausgabe


def familie():
    """The folder of this machine's libraries, as Debian has it; None elsewhere."""
    if not shutil.which("dpkg-architecture"):
        return None
    return "lib/" + fuehre_aus("dpkg-architecture", "-qDEB_HOST_MULTIARCH").strip()


def baue(quelle, ziel, umgebung=None):
    """Returns the paths of the packages. Which kinds depends on the tools that are there."""
    os.makedirs(ziel, exist_ok=True)
    bau = os.path.join(quelle, "build", "package")
    gebaut = []
    for art, werkzeug, ordner, zsh in (("deb", "dpkg-deb", familie(), "zsh/vendor-completions"),
                                       ("rpm", "rpmbuild", "lib64", "zsh/site-functions")):
        if not ordner or not shutil.which(werkzeug):
            continue
        fuehre_aus("cmake", "--preset", "package", f"-DCMAKE_INSTALL_LIBDIR={ordner}",
                   f"-DHALLKORB_ZSH_FOLDER={zsh}", ordner=quelle, umgebung=umgebung)
        fuehre_aus("cmake", "--build", "--preset", "package", "--parallel", str(PROZESSOREN), ordner=quelle,
                   umgebung=umgebung)
        halde = os.path.join(bau, f"packed-{art}")
        shutil.rmtree(halde, ignore_errors=True)
        fuehre_aus("cpack", "-G", art.upper(), "-B", halde, ordner=bau, umgebung=umgebung,
                   umask=0o022)  # which shows in the modes of an archive's members
        for pfad in sorted(glob.glob(os.path.join(halde, f"*.{art}"))):
            gebaut.append(shutil.copy(pfad, ziel))
    if not gebaut:
        raise PaketFehler("neither dpkg-deb nor rpmbuild is here")
    return gebaut


def _hauptteil(ziel):
    try:
        for pfad in baue(WURZEL, os.path.abspath(ziel)):
            print(pfad, flush=True)
    except (PaketFehler, OSError) as fehler:
        print(f"package: {fehler}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    prozesse.beaufsichtigt(lambda: _hauptteil(sys.argv[1]))
