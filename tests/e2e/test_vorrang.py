"""Whether the threads that sound passes through come before other programs', and who grants it."""

import os
import subprocess
import sys

import konfiguration
import lauf
import ohne_echtzeit
import portal

VERWEIGERT = "Vorrang vor anderen Programmen verweigert"
PORTAL = "org.freedesktop.portal.Desktop"
RTKIT = "org.freedesktop.RealtimeKit1"


def ohne_rechte():
    """What starts a program that may not raise itself."""
    vorsatz = ["prlimit", "--rtprio=0", "--nice=0"]
    if os.geteuid() == 0:
        vorsatz += ["setpriv", "--bounding-set", "-sys_nice", "--inh-caps", "-sys_nice"]
    return vorsatz


def darf_nice():
    return not subprocess.run(["nice", "-n", "-11", "true"], check=True, stderr=subprocess.PIPE).stderr


def faeden(pid):
    """Name, policy and nice level of each thread, by its id."""
    alle = {}
    for eintrag in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{eintrag}/comm", encoding="ascii", errors="replace") as datei:
                name = datei.read().strip()
            art = os.sched_getscheduler(int(eintrag)) & ~os.SCHED_RESET_ON_FORK
            alle[int(eintrag)] = (name, art, os.getpriority(os.PRIO_PROCESS, int(eintrag)))
        except (FileNotFoundError, ProcessLookupError):
            continue  # it has just ended
    return alle


class Vorrang(lauf.Fall):

    def aufnahme_mit(self, vorsatz, zeile=None):
        aufnahme = self.lauf(vorsatz=vorsatz)
        aufnahme.gestartet()
        if zeile:
            aufnahme.meldung(zeile)
        aufnahme.warte_aufnahme(2.0)
        aufnahme.stoppe()
        return aufnahme

    def test_verweigert_gibt_eine_zeile(self):
        self.assertEqual(self.aufnahme_mit(ohne_rechte(), VERWEIGERT).diagnosen(VERWEIGERT), 1)

    def test_gewaehrt_gibt_keine(self):
        if not darf_nice():
            self.skipTest("a nice level is not permitted here")
        self.assertEqual(self.aufnahme_mit([]).diagnosen(VERWEIGERT), 0)


class Dienst(lauf.Fall):
    """What a program without rights of its own gets from a service."""

    def starte(self, name, gewaehrt, vorsatz):
        bus = portal.Bus(self.ordner, self.raum.umgebung, name, gewaehrt)
        self.addCleanup(bus.beende)
        self.zeilen = lauf.Zeilen(bus.dienst.stdout)
        self.assertIsNotNone(self.zeilen.warte(lambda text: text == "bereit"), self.zeilen.texte())
        aufnahme = self.lauf(vorsatz=vorsatz, umgebung=bus.umgebung)
        aufnahme.gestartet()
        return bus, aufnahme

    def anfragen(self, art, anzahl):
        """The thread of each of the service's first `anzahl` answers of that kind."""
        gefunden, ab = [], 0
        for _ in range(anzahl):
            antwort = self.zeilen.warte(lambda text: text.startswith(art + " "), ab=ab)
            self.assertIsNotNone(antwort, self.zeilen.texte())
            ab = antwort[0] + 1
            gefunden.append(int(antwort[1].split()[1]))
        return gefunden

    def pruefe_gewaehrt(self, name):
        if not konfiguration.darf_echtzeit():
            self.skipTest("nobody here may set real-time priority")
        bus, aufnahme = self.starte(name, True, ohne_rechte())
        # One data thread for each channel.
        datenfaeden = self.anfragen("echtzeit", 2)
        alle = faeden(aufnahme.prozess.pid)
        for faden in datenfaeden:
            self.assertEqual(alle[faden][1], os.SCHED_RR, alle)
        # No other one: the kernel may kill a program whose real-time thread computes for long.
        self.assertEqual({faden for faden, (_, art, _) in alle.items() if art != os.SCHED_OTHER},
                         set(datenfaeden), alle)
        # A desktop that ends takes its bus along, but not the recording.
        bus.daemon.kill()
        aufnahme.warte_aufnahme(3.0)
        aufnahme.stoppe()
        self.assertEqual(aufnahme.diagnosen(VERWEIGERT), 0)

    def test_portal(self):
        self.pruefe_gewaehrt(PORTAL)

    def test_rtkit(self):
        self.pruefe_gewaehrt(RTKIT)

    def test_portal_verweigert(self):
        _, aufnahme = self.starte(PORTAL, False, ohne_rechte())
        self.anfragen("verweigert", 2)
        aufnahme.meldung(VERWEIGERT)
        aufnahme.stoppe()
        self.assertEqual(aufnahme.diagnosen(VERWEIGERT), 1)

    def test_portal_verweigert_aber_nice(self):
        if not darf_nice() or os.uname().machine not in ohne_echtzeit.AUFRUFE:
            self.skipTest("a nice level is not permitted here, or the filter not known")
        vorsatz = [sys.executable, os.path.abspath(ohne_echtzeit.__file__)]
        _, aufnahme = self.starte(PORTAL, False, vorsatz)
        datenfaeden = self.anfragen("verweigert", 2)
        aufnahme.warte_aufnahme(2.0)
        alle = faeden(aufnahme.prozess.pid)
        for faden in datenfaeden:
            self.assertEqual(alle[faden][1:], (os.SCHED_OTHER, -11), alle)
        for name in ("mikrofon", "system-audio"):
            self.assertIn((name, os.SCHED_OTHER, -11), alle.values())
        aufnahme.stoppe()
        self.assertEqual(aufnahme.diagnosen(VERWEIGERT), 0)
