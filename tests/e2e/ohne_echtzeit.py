"""ohne_echtzeit.py COMMAND...: runs a command that the kernel refuses real-time priority, and that alone.

The rights of root allow both that and a nice level. A user has the nice level from a limit, which only the
system's administrator can raise. So the two calls themselves are taken away, by a filter (seccomp) that the
command and its threads inherit.
"""

import ctypes
import errno
import os
import struct
import sys

# Numbers of sched_setscheduler and sched_setattr.
AUFRUFE = {"x86_64": (144, 314), "aarch64": (119, 274)}

_LADE, _GLEICH, _ANTWORTE = 0x20, 0x15, 0x06
_ERLAUBE, _VERWEIGERE = 0x7FFF0000, 0x00050000 | errno.EPERM
_PR_SET_SECCOMP, _PR_SET_NO_NEW_PRIVS, _FILTER = 22, 38, 2


class _Programm(ctypes.Structure):
    _fields_ = [("laenge", ctypes.c_ushort), ("befehle", ctypes.c_void_p)]


def _filtere(erster, zweiter):
    befehle = b"".join(struct.pack("=HBBI", *befehl) for befehl in (
        (_LADE, 0, 0, 0),  # the call's number
        (_GLEICH, 2, 0, erster), (_GLEICH, 1, 0, zweiter),
        (_ANTWORTE, 0, 0, _ERLAUBE), (_ANTWORTE, 0, 0, _VERWEIGERE)))
    puffer = ctypes.create_string_buffer(befehle)
    programm = _Programm(len(befehle) // 8, ctypes.addressof(puffer))
    libc = ctypes.CDLL(None, use_errno=True)
    if (libc.prctl(_PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)
            or libc.prctl(_PR_SET_SECCOMP, _FILTER, ctypes.byref(programm), 0, 0)):
        raise OSError(ctypes.get_errno(), "no filter")


if __name__ == "__main__":
    _filtere(*AUFRUFE[os.uname().machine])
    os.execvp(sys.argv[1], sys.argv[1:])
