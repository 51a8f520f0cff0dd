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


def _starte_pipewire(sitzung, *geraete):
    """With these devices."""
    sitzung.geraete = list(geraete)
    sitzung.starte_pipewire()


def _befehl(sitzung, *worte):
    """What one of PipeWire's tools prints; errors are the caller's business."""
    return sitzung.befehl(*worte, pruefe=False)


# Besides these, the methods of Sitzung that are named here.
_EIGENE = {"starte_pipewire": _starte_pipewire, "befehl": _befehl}
_METHODEN = ("starte_wireplumber", "beende_dienst", "sende", "lege_an", "entferne", "setze_standard",
             "setze", "standard")


def _erledige(sitzung, name, *argumente):
    if name in _EIGENE:
        return _EIGENE[name](sitzung, *argumente)
    if name in _METHODEN:
        return getattr(sitzung, name)(*argumente)
    raise ValueError(f"no request {name}")


def _antworte(satz):
    print(json.dumps(satz), flush=True)


def diene(sitzung, fehlerart):
    """Serves until standard input ends; returns an exit status."""
    sitzung.bereite()
    try:
        fremd = [name for name in os.environ if name not in sitzung.umgebung]
        eigen = {name: wert for name, wert in sitzung.umgebung.items()
                 if os.environ.get(name) != wert}
        _antworte(eigen | dict.fromkeys(fremd))
        for zeile in sys.stdin:
            try:
                _antworte({"wert": _erledige(sitzung, *json.loads(zeile))})
            except (fehlerart, subprocess.SubprocessError, OSError, ValueError) as fehler:
                _antworte({"fehler": str(fehler)})
        return 0
    finally:
        sitzung.beende()
