"""Runs a command of the project in a bare root of a Debian release.

    scripts/in-root [--keep FOLDER] SUITE command args...

The root is what debootstrap calls minbase: a package manager and little else. It is made once per
suite, kept as an archive in CACHE and unpacked anew for each run; /hallkorb in it holds the project's
tracked files as they are in the working tree. What the command installs and builds is gone
afterwards, except the downloaded packages, which CACHE keeps.

Packages come from the mirror, and through the proxy, that this machine's apt uses. The command runs in
mount and process namespaces of its own: whichever way it ends, the kernel ends its processes and takes
its mounts away, and only the folder is left to be removed. If even that was prevented, the next run
does it.
"""

import argparse
import contextlib
import ctypes
import fcntl
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

import prozesse

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CACHE = os.environ.get("HALLKORB_ROOTS", "/var/cache/hallkorb-roots")
PROJEKT = "hallkorb"
_VORSILBE = "hallkorb-wurzel-"
_ORT = "/var/tmp"  # on a disk; a root with the project built in it takes several GB
_SPIEGEL = "http://deb.debian.org/debian/"
_PROXYS = ("http_proxy", "https_proxy", "no_proxy")
_CLONE_NEWNS, _CLONE_NEWPID, _MNT_DETACH = 0x00020000, 0x20000000, 2
_libc = ctypes.CDLL(None, use_errno=True)


class WurzelFehler(Exception):
    """The root could not be made."""


# --- Where packages come from -----------------------------------------------------------------------

def spiegel():
    """The Debian archive that this machine's apt uses; Debian's own if it uses none."""
    liste = subprocess.run(["apt-get", "indextargets", "--format", "$(ORIGIN) $(LABEL) $(REPO_URI)",
                            "Created-By: Packages"], stdout=subprocess.PIPE, text=True).stdout
    for zeile in liste.splitlines():
        if treffer := re.fullmatch(r"Debian Debian (https?://\S+)", zeile):
            return treffer[1]
    return _SPIEGEL


def proxy(adresse):
    """The proxy that apt uses for `adresse`, or None."""
    schema = adresse.partition(":")[0]
    werte = subprocess.run(["apt-config", "dump", "--format", "%f %v%n", f"Acquire::{schema}"],
                           stdout=subprocess.PIPE, text=True).stdout
    einstellung = dict(zeile.split(" ", 1) for zeile in werte.splitlines() if " " in zeile)
    fester = einstellung.get(f"Acquire::{schema}::Proxy", "").strip()
    if fester:
        return None if fester == "DIRECT" else fester
    for name in ("Proxy-Auto-Detect", "ProxyAutoDetect"):
        if befehl := einstellung.get(f"Acquire::{schema}::{name}", "").strip():
            gefunden = subprocess.run([befehl, adresse], stdout=subprocess.PIPE,
                                      text=True).stdout.strip()
            return None if gefunden in ("", "DIRECT") else gefunden
    return os.environ.get(f"{schema}_proxy")


# --- The bare root ----------------------------------------------------------------------------------

def _fuehre_aus(*befehl, **mehr):
    """Runs a command whose output is of interest only if it fails."""
    lauf = prozesse.starte(befehl, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, **mehr)
    ausgabe = lauf.communicate()[0].decode("utf-8", "replace")
    if lauf.returncode:
        raise WurzelFehler(f"{' '.join(befehl)}\n{ausgabe[-4000:]}")
    return ausgabe


def archiv(suite):
    """The path of the suite's packed bare root, made if it is not there. Two calls at the same time
    make it once."""
    os.makedirs(CACHE, exist_ok=True)
    pfad = os.path.join(CACHE, f"{suite}.tar")
    with open(pfad + ".lock", "w") as sperre:
        fcntl.flock(sperre, fcntl.LOCK_EX)
        if os.path.exists(pfad):
            return pfad
        print(f"in-root: making a bare root of {suite}", file=sys.stderr, flush=True)
        with tempfile.TemporaryDirectory(prefix=_VORSILBE + "neu-", dir=_ORT) as ordner:
            quelle = spiegel()
            umgebung = {**os.environ, "DEBIAN_FRONTEND": "noninteractive"}
            if weg := proxy(quelle):
                umgebung |= {"http_proxy": weg, "https_proxy": weg}
            zutaten = ["--include=ca-certificates"] if quelle.startswith("https:") else []
            os.chmod(ordner, 0o755)
            _fuehre_aus("debootstrap", "--variant=minbase", *zutaten, suite, ordner, quelle,
                        env=umgebung)
            # An incomplete archive must not be used.
            _fuehre_aus("tar", "-C", ordner, "--numeric-owner", "--exclude=./var/cache/apt/archives/*.deb",
                        "-cf", pfad + ".neu", ".")
            os.rename(pfad + ".neu", pfad)
    return pfad


def packe_aus(suite, ordner):
    _fuehre_aus("tar", "-C", ordner, "--numeric-owner", "-xpf", archiv(suite))
    if weg := proxy(spiegel()):
        with open(os.path.join(ordner, "etc/apt/apt.conf.d/90proxy"), "w", encoding="utf-8") as datei:
            datei.write("".join(f'Acquire::{schema}::Proxy "{weg}";\n' for schema in ("http", "https")))


def kopiere_projekt(ordner):
    """The tracked files as they are now, as a repository of their own with one commit, as old as the last
    one here: some tests ask git which files there are, a release is one of a commit."""
    ziel = os.path.join(ordner, PROJEKT)
    os.makedirs(ziel, exist_ok=True)
    git = ["git", "-c", f"safe.directory={WURZEL}", "-C", WURZEL]
    liste = subprocess.run([*git, "ls-files", "-z"], check=True, stdout=subprocess.PIPE).stdout
    namen = [name for name in os.fsdecode(liste).split("\0")
             if name and os.path.lexists(os.path.join(WURZEL, name))]
    for name in namen:
        hin = os.path.join(ziel, name)
        os.makedirs(os.path.dirname(hin), exist_ok=True)
        if os.path.islink(hin):  # of an earlier run
            os.unlink(hin)
        shutil.copy2(os.path.join(WURZEL, name), hin, follow_symlinks=False)
    zeit = subprocess.run([*git, "log", "-1", "--format=%ct +0000"], stdout=subprocess.PIPE, text=True).stdout.strip()
    umgebung = {**os.environ, **({"GIT_AUTHOR_DATE": zeit, "GIT_COMMITTER_DATE": zeit} if zeit else {})}
    dort = ["git", "-c", "user.name=in-root", "-c", "user.email=in-root@localhost", "-C", ziel]
    _fuehre_aus(*dort, "init", "--quiet")
    _fuehre_aus(*dort, "add", "--force", "--", *namen)
    _fuehre_aus(*dort, "commit", "--quiet", "--allow-empty", "--message", "The files as they are", env=umgebung)


@contextlib.contextmanager
def wurzel(suite, behalten):
    """The folder of a root with the project in it, removed at the end unless it is to be kept."""
    _entferne_verwaiste()
    ordner = behalten or tempfile.mkdtemp(prefix=_VORSILBE, dir=_ORT)
    os.makedirs(ordner, exist_ok=True)
    try:
        # Locked while in use: an unlocked root was left behind by SIGKILL.
        with open(ordner + ".lock", "w") as sperre:
            fcntl.flock(sperre, fcntl.LOCK_EX)
            os.chmod(ordner, 0o755)
            if not os.listdir(ordner):
                packe_aus(suite, ordner)
            kopiere_projekt(ordner)
            yield ordner
    finally:
        if not behalten:
            shutil.rmtree(ordner, ignore_errors=True)
        with contextlib.suppress(OSError):
            os.unlink(ordner + ".lock")


def _entferne_verwaiste():
    """Removes the roots of runs that were killed."""
    for lock in glob.glob(os.path.join(_ORT, _VORSILBE + "*.lock")):
        try:
            with open(lock, "r+") as sperre:
                fcntl.flock(sperre, fcntl.LOCK_EX | fcntl.LOCK_NB)
                shutil.rmtree(lock.removesuffix(".lock"), ignore_errors=True)
                os.unlink(lock)
        except OSError:  # in use
            continue


# --- Inside -----------------------------------------------------------------------------------------

def _pruefe(ergebnis, was):
    if ergebnis:
        nummer = ctypes.get_errno()
        raise WurzelFehler(f"{was}: {os.strerror(nummer)}")


def _betritt(suite, ordner):
    """Makes `ordner` the root of this process and of nothing outside its mount namespace. A real root
    and not a chroot, in which no further namespaces could be made."""
    _pruefe(_libc.unshare(_CLONE_NEWNS), "mount namespace")
    _fuehre_aus("mount", "--make-rprivate", "/")
    _fuehre_aus("mount", "--bind", ordner, ordner)
    for art, ziel, *optionen in (
            ("proc", "proc"), ("sysfs", "sys", "ro"), ("tmpfs", "dev", "mode=755"),
            ("tmpfs", "tmp", "mode=1777"), ("tmpfs", "run", "mode=755")):
        _fuehre_aus("mount", "-t", art, *(["-o", *optionen] if optionen else []), art,
                    os.path.join(ordner, ziel))
    dev = os.path.join(ordner, "dev")
    # Bound and not made: making a device is refused in some containers.
    for name in ("null", "zero", "full", "random", "urandom", "tty"):
        with open(os.path.join(dev, name), "w"):
            pass
        _fuehre_aus("mount", "--bind", f"/dev/{name}", os.path.join(dev, name))
    for name, ziel in (("fd", "/proc/self/fd"), ("stdin", "fd/0"), ("stdout", "fd/1"),
                       ("stderr", "fd/2"), ("ptmx", "pts/ptmx")):
        os.symlink(ziel, os.path.join(dev, name))
    os.mkdir(os.path.join(dev, "pts"))
    os.mkdir(os.path.join(dev, "shm"))
    _fuehre_aus("mount", "-t", "devpts", "-o", "newinstance,ptmxmode=0666,mode=620", "devpts",
                os.path.join(dev, "pts"))
    _fuehre_aus("mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", os.path.join(dev, "shm"))
    for name in ("resolv.conf", "hosts"):
        with contextlib.suppress(FileNotFoundError):
            shutil.copyfile(f"/etc/{name}", os.path.join(ordner, "etc", name))
    pakete = os.path.join(CACHE, f"packages-{suite}")
    os.makedirs(pakete, exist_ok=True)
    _fuehre_aus("mount", "--bind", pakete, os.path.join(ordner, "var/cache/apt/archives"))
    os.chdir(ordner)
    # The old root comes to lie on top of the new one and is then taken off.
    _fuehre_aus("pivot_root", ".", ".")
    _pruefe(_libc.umount2(b".", _MNT_DETACH), "leaving the old root")
    os.chdir("/" + PROJEKT)


def _erster(suite, ordner, befehl):
    """The first process of the new namespaces: all others end with it."""
    prozesse.endet_mit_eltern(9)
    _betritt(suite, ordner)
    umgebung = {name: os.environ[name] for name in (*_PROXYS, "TERM") if name in os.environ}
    umgebung |= {"HOME": "/root", "LANG": "C.UTF-8",
                 "PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"}
    return prozesse.warte(prozesse.starte(befehl, eigene_gruppe=False, env=umgebung))


def _innen(suite, ordner, befehl):
    status = 70
    try:
        status = _erster(suite, ordner, befehl)
    except (WurzelFehler, OSError) as fehler:
        print(f"in-root: {fehler}", file=sys.stderr)
    finally:
        sys.stderr.flush()
        os._exit(status)


def lauf(suite, befehl, behalten):
    try:
        with wurzel(suite, behalten) as ordner:
            # The caller's own children are born into its old namespace up to here.
            _pruefe(_libc.unshare(_CLONE_NEWPID), "process namespace")
            pid = os.fork()
            if not pid:
                _innen(suite, ordner, befehl)
            return prozesse.warte(prozesse.Kind(pid), frist=30.0)
    except (WurzelFehler, subprocess.CalledProcessError, OSError) as fehler:
        print(f"in-root: {fehler}", file=sys.stderr)
        return 70


def _hauptteil():
    leser = argparse.ArgumentParser(prog="in-root", description=__doc__.split("\n\n", 1)[0])
    leser.add_argument("--keep", metavar="FOLDER", help="leave the root there, or use the one there")
    leser.add_argument("suite", metavar="SUITE", help="a release's name, e.g. bookworm or trixie")
    leser.add_argument("befehl", nargs=argparse.REMAINDER, metavar="command")
    wahl = leser.parse_args()
    if not wahl.befehl:
        leser.error("which command?")
    if not re.fullmatch(r"[a-z]+", wahl.suite):
        leser.error(f"no suite is called {wahl.suite}")
    behalten = os.path.abspath(wahl.keep) if wahl.keep else None
    prozesse.beaufsichtigt(lambda: lauf(wahl.suite, wahl.befehl, behalten))


if __name__ == "__main__":
    _hauptteil()
