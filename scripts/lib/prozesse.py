"""Child processes that never outlive the script that started them.

A script that starts daemons can end in four ways: normally, by an error, by a signal that it can
handle, and by SIGKILL. The first three are a matter of cleaning up; for the last one the kernel has
to help (Linux: a signal at the parent's death, and orphans handed to the nearest "subreaper").

`beaufsichtigt(arbeit)` runs `arbeit` in a second process. The first one, whose id the caller knows,
only passes signals on and waits. If either of the two is killed, the other one ends everything that
was started below them, grandchildren that lost their parent included.
"""

import ctypes
import os
import signal
import subprocess
import sys
import time

LINUX = sys.platform.startswith("linux")
ENDE_SIGNALE = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
_PR_SET_PDEATHSIG = 1
_PR_SET_CHILD_SUBREAPER = 36
_SI_KERNEL = 0x80  # si_code of a signal that the terminal sent to the whole foreground group
_libc = ctypes.CDLL(None, use_errno=True) if LINUX else None


def endet_mit_eltern(nummer):
    """The calling process gets the signal `nummer` when its parent ends."""
    if LINUX:
        _libc.prctl(_PR_SET_PDEATHSIG, int(nummer), 0, 0, 0)


def nimmt_waisen_auf():
    """Orphans among the descendants become children of the calling process."""
    if LINUX:
        _libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def starte(befehl, *, eigene_gruppe=True, gehalten=(), **popen):
    """subprocess.Popen, with default signal actions (background jobs of a shell inherit an ignored
    SIGINT), only the signals `gehalten` blocked, killed when the caller ends, and, unless `eigene_gruppe`
    is False, out of reach of the terminal's Ctrl-C."""
    eltern = os.getpid()

    def vor_exec():
        for nummer in (*ENDE_SIGNALE, signal.SIGPIPE):
            signal.signal(nummer, signal.SIG_DFL)
        signal.pthread_sigmask(signal.SIG_SETMASK, gehalten)
        endet_mit_eltern(signal.SIGKILL)
        if os.getppid() != eltern:  # it ended before the line above
            os._exit(127)

    return subprocess.Popen(befehl, preexec_fn=vor_exec, start_new_session=eigene_gruppe, **popen)


def nachkommen(wurzel=None):
    """The ids of all processes below `wurzel` (the caller), zombies left out."""
    wurzel = os.getpid() if wurzel is None else wurzel
    kinder = {}
    if LINUX:
        for name in os.listdir("/proc"):
            if name.isdigit():
                try:
                    with open(f"/proc/{name}/stat", "rb") as datei:
                        # The second field is the program's name in brackets, and may hold anything.
                        felder = datei.read().rpartition(b")")[2].split()
                except OSError:
                    continue
                if felder[0] not in (b"Z", b"X"):
                    kinder.setdefault(int(felder[1]), []).append(int(name))
    else:
        # ps is itself a child for as long as it answers. BSD's takes all that follows a "=" for the
        # column's title, so each column is an option of its own.
        with subprocess.Popen(["ps", "-A", "-o", "pid=", "-o", "ppid=", "-o", "stat="],
                              stdout=subprocess.PIPE, text=True) as frage:
            for zeile in frage.stdout:
                pid, eltern, stand = zeile.split(maxsplit=2)
                if int(pid) != frage.pid and not stand.startswith("Z"):
                    kinder.setdefault(int(eltern), []).append(int(pid))
    gefunden, offen = [], [wurzel]
    while offen:
        for pid in kinder.get(offen.pop(), []):
            gefunden.append(pid)
            offen.append(pid)
    return gefunden


def _sende(pids, nummer):
    for pid in pids:
        try:
            os.kill(pid, nummer)
        except ProcessLookupError:
            pass


def raeume_auf(frist=15.0):
    """Ends every descendant: asks with SIGTERM, waits up to `frist` seconds, then SIGKILL."""
    ende = time.monotonic() + frist
    _sende(nachkommen(), signal.SIGTERM)
    while nachkommen() and time.monotonic() < ende:
        time.sleep(0.01)
    while rest := nachkommen():
        _sende(rest, signal.SIGKILL)
        time.sleep(0.005)
    try:
        while os.waitpid(-1, os.WNOHANG)[0]:
            pass
    except ChildProcessError:
        pass


def warte(kind, frist=10.0):
    """Waits for `kind` (a Popen) and passes the ending signals on to it, each once: those of a
    terminal have already reached it if it is in the terminal's foreground group, and are its own
    business. A child that is still there `frist` seconds after one that was passed on is killed.
    Returns its exit status in the shell's way (128 + signal)."""
    if not hasattr(signal, "sigtimedwait"):  # macOS
        for nummer in ENDE_SIGNALE:
            signal.signal(nummer, lambda erhalten, _: kind.send_signal(erhalten))
        return status_von(kind.wait())
    beobachtet = (*ENDE_SIGNALE, signal.SIGCHLD)
    signal.pthread_sigmask(signal.SIG_BLOCK, beobachtet)
    ende = None
    while kind.poll() is None:
        info = signal.sigtimedwait(beobachtet, 1.0)
        if info and info.si_signo in ENDE_SIGNALE:
            gemeinsam = os.getpgid(kind.pid) == os.getpgid(0)
            if not (info.si_code == _SI_KERNEL and gemeinsam):
                kind.send_signal(info.si_signo)
                ende = ende or time.monotonic() + frist
        if ende is not None and time.monotonic() > ende:
            kind.kill()
    return status_von(kind.returncode)


def status_von(ergebnis):
    return 128 - ergebnis if ergebnis < 0 else ergebnis


class Betrieb:
    """What is brought up and taken down again, as a context manager: starte() and beende()."""

    def __enter__(self):
        self.starte()
        return self

    def __exit__(self, *_):
        self.beende()


class Beendet(SystemExit):
    """A signal asked for the end; the exit status says which."""


def _werfe(nummer, _rahmen):
    # Once is enough: what follows is the clean-up, and that must not be interrupted.
    for weitere in ENDE_SIGNALE:
        signal.signal(weitere, signal.SIG_IGN)
    raise Beendet(128 + nummer)


class Kind:
    """A forked process with what `warte` needs of a Popen."""

    def __init__(self, pid):
        self.pid = pid
        self.returncode = None

    def poll(self):
        if self.returncode is None:
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            if pid:
                self.returncode = os.waitstatus_to_exitcode(status)
        return self.returncode

    def wait(self):
        _, status = os.waitpid(self.pid, 0)
        self.returncode = os.waitstatus_to_exitcode(status)
        return self.returncode

    def send_signal(self, nummer):
        if self.poll() is None:
            os.kill(self.pid, nummer)

    def kill(self):
        self.send_signal(signal.SIGKILL)


def beaufsichtigt(arbeit, *, mit_eltern=False):
    """Runs `arbeit()`, which returns an exit status, under supervision as described above, and ends
    the process with that status. SIGINT, SIGTERM and SIGHUP raise `Beendet` in `arbeit` unless
    it sets handlers of its own. `mit_eltern`: also end when the caller's parent ends."""
    if mit_eltern:
        endet_mit_eltern(signal.SIGTERM)
    nimmt_waisen_auf()
    sys.stdout.flush()
    sys.stderr.flush()
    aufseher = os.getpid()
    pid = os.fork()
    if pid:
        status = warte(Kind(pid), frist=45.0)
        raeume_auf()
        os._exit(status)

    nimmt_waisen_auf()
    for nummer in ENDE_SIGNALE:
        signal.signal(nummer, _werfe)
    endet_mit_eltern(signal.SIGTERM)
    status = 1
    try:
        if os.getppid() == aufseher:
            status = arbeit()
    except SystemExit as ende:
        status = ende.code if isinstance(ende.code, int) else 1
        if isinstance(ende.code, str):
            print(ende.code, file=sys.stderr)
    except BaseException:
        sys.excepthook(*sys.exc_info())
    finally:
        for nummer in ENDE_SIGNALE:
            signal.signal(nummer, signal.SIG_IGN)
        raeume_auf()
        try:
            sys.stdout.flush()
            sys.stderr.flush()
        except OSError:
            pass
        os._exit(status or 0)
