"""A private session in the hands of another program, as of a test in another language.

One request per line of standard input, one answer per line of standard output, both JSON:

    ["lege_an", "kopfhoerer", "Audio/Sink", ["FL", "FR"], 1]        {"wert": null}
    ["standard", "sink"]                                            {"wert": "speakers"}
    ["entferne", "mic"]                                             {"fehler": "no device mic"}

The first line of output comes without a request: the environment to set, null for what is to be
unset. Nothing is started before it is asked for. The end of standard input ends the session.
"""

import json
import os
import subprocess
import sys


def _starte_pipewire(anlage, *geraete):
    """With these devices."""
    anlage.geraete = list(geraete)
    anlage.starte_pipewire()


def _befehl(anlage, *worte):
    """What one of PipeWire's tools prints; errors are the caller's business."""
    return anlage.befehl(*worte, pruefe=False)


# Besides these, the methods of Tonanlage that are named here.
_EIGENE = {"starte_pipewire": _starte_pipewire, "befehl": _befehl}
_METHODEN = ("starte_wireplumber", "beende_dienst", "sende", "lege_an", "entferne", "setze_standard",
             "setze", "standard", "warte_standard")


def _erledige(anlage, name, *argumente):
    if name in _EIGENE:
        return _EIGENE[name](anlage, *argumente)
    if name in _METHODEN:
        return getattr(anlage, name)(*argumente)
    raise ValueError(f"no request {name}")


def _antworte(satz):
    print(json.dumps(satz), flush=True)


def diene(anlage, fehlerart):
    """Serves until standard input ends; returns an exit status."""
    anlage.bereite()
    try:
        fremd = [name for name in os.environ if name not in anlage.umgebung]
        eigen = {name: wert for name, wert in anlage.umgebung.items()
                 if os.environ.get(name) != wert}
        _antworte(eigen | dict.fromkeys(fremd))
        for zeile in sys.stdin:
            try:
                _antworte({"wert": _erledige(anlage, *json.loads(zeile))})
            except (fehlerart, subprocess.SubprocessError, OSError, ValueError) as fehler:
                _antworte({"fehler": str(fehler)})
        return 0
    finally:
        anlage.beende()
