"""What the scripts find on a machine and what they install on it: whose sound is there, which packages are
missing."""

import os
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

import lauf  # first: it finds the scripts' modules
import privat
import tonanlage
import tonserver


class Tonserver(unittest.TestCase):
    """Whose sound is recorded: ours only if this machine has none."""

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-e2e-")
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name
        leer = {name: wert for name, wert in os.environ.items()
                if not name.startswith(("PIPEWIRE_", "PULSE_"))}
        self.umgebung = leer | {"XDG_RUNTIME_DIR": self.ordner, "HALLKORB_SERVER_ROOT": self.ordner}
        self.ersetze(tonserver, "_kennt_geraete", lambda ort: True)

    def ersetze(self, *was):
        wechsel = unittest.mock.patch.object(*was)
        wechsel.start()
        self.addCleanup(wechsel.stop)

    def fehlt(self, **mehr):
        with unittest.mock.patch.dict(os.environ, self.umgebung | mehr, clear=True):
            self.klage = privat.woanders()
            return privat.was_fehlt(["--no-video"])

    def server(self, name):
        os.makedirs(os.path.join(self.ordner, os.path.dirname(name)), exist_ok=True)
        server = socket.socket(socket.AF_UNIX)
        self.addCleanup(server.close)
        server.bind(os.path.join(self.ordner, name))
        server.listen()

    def server_von(self, programm, name):
        """The same by a process of that name."""
        os.makedirs(os.path.join(self.ordner, os.path.dirname(name)), exist_ok=True)
        prozess = subprocess.Popen(
            [sys.executable, "-c", self.SERVER, programm, os.path.join(self.ordner, name)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(prozess.communicate)
        self.assertEqual(prozess.stdout.readline(), b"da\n")

    SERVER = """
import socket, sys
with open("/proc/self/comm", "w") as name:
    name.write(sys.argv[1])
server = socket.socket(socket.AF_UNIX)
server.bind(sys.argv[2])
server.listen()
print("da", flush=True)
sys.stdin.read()"""

    def test_ohne_server_kommt_die_private_anlage(self):
        self.assertEqual(self.fehlt(), ["tonanlage"])
        self.assertIsNone(self.klage)

    def test_sudo_versteckt_keinen(self):
        """Root's environment says nothing of the desktop's server."""
        self.ersetze(os, "getuid", lambda: os.stat(self.ordner).st_uid + 1)
        for name in ("run/user/1000/pipewire-0", "run/user/1001/pulse/native", "run/pulse/native"):
            with self.subTest(name):
                self.server(name)
                self.assertEqual(self.fehlt(), [])
                self.assertIn(f"answers at {os.path.join(self.ordner, name)}, but not", self.klage)
                self.assertIn("without sudo", self.klage)
                os.remove(os.path.join(self.ordner, name))

    def test_cron_versteckt_den_eigenen(self):
        """A shell that nobody logged in to lacks nothing but the place."""
        for name in ("run/user/1000/pipewire-0", "run/user/1001/pulse/native"):
            with self.subTest(name):
                self.server(name)
                self.assertEqual(self.fehlt(), [])
                ordner = os.path.join(self.ordner, *name.split("/")[:3])
                self.assertTrue(self.klage.endswith(f": run it with XDG_RUNTIME_DIR={ordner}"), self.klage)
                os.remove(os.path.join(self.ordner, name))

    def test_mit_pulseaudio_kommt_sie_nicht(self):
        self.server("pulse/native")
        self.assertEqual(self.fehlt(), [])

    def test_pulseaudio_ohne_ordner_der_anmeldung(self):
        """Its socket is in a folder of its own, to which a link in the home folder leads."""
        self.server("tmp/pulse-abc/native")
        for mehr in ({"HOME": "/home/ich"}, {"HOME": "/", "XDG_CONFIG_HOME": "/home/ich/.config"}):
            with self.subTest(mehr):
                ohne = {"XDG_RUNTIME_DIR": "", "XDG_CONFIG_HOME": ""} | mehr
                ort = os.path.join(self.ordner, "tmp", "pulse-abc")
                # Without the link it is somebody else's.
                self.assertEqual(self.fehlt(**ohne), [])
                self.assertIn(f"answers at {ort}/native, but not", self.klage)
                verweis = os.path.join(self.ordner, "home", "ich", ".config", "pulse", "0123-runtime")
                os.makedirs(os.path.dirname(verweis), exist_ok=True)
                os.symlink(ort, verweis)
                self.assertEqual(self.fehlt(**ohne), [])
                self.assertIsNone(self.klage)
                self.assertEqual(self.fehlt(**ohne, PULSE_RUNTIME_PATH="/anderswo"), [])
                self.assertIsNotNone(self.klage)
                os.remove(verweis)

    def test_pipewires_server_fuer_pulseaudio_ist_keins(self):
        """A server's login starts it, too. Whether it has devices is asked of PipeWire itself."""
        for name in ("pulse/native", "run/user/1000/pulse/native", "run/pulse/native"):
            with self.subTest(name):
                self.server_von("pipewire-pulse", name)
                self.assertEqual(self.fehlt(), ["tonanlage"])
                self.assertIsNone(self.klage)
                os.remove(os.path.join(self.ordner, name))

    def test_systemd_haelt_den_platz_fuer_beide(self):
        self.server_von("systemd", "pulse/native")
        for namen, fehlt in (({"pipewire-pulse", "pipewire"}, ["tonanlage"]), ({"pulseaudio", "pipewire"}, [])):
            with self.subTest(namen):
                self.ersetze(tonserver, "_programme", lambda nutzer, namen=namen: namen)
                self.assertEqual(self.fehlt(), fehlt)
        # Neither is to be seen, as in a container.
        self.ersetze(tonserver, "GERAETE_FRIST", -1.0)
        self.ersetze(tonserver, "_programme", lambda nutzer: set())
        self.assertEqual(self.fehlt(), [])

    def test_die_programme_eines_nutzers(self):
        self.server_von("pulseaudio", "pulse/native")
        self.assertEqual(self.fehlt(), [])
        self.assertIn("pulseaudio", tonserver._programme(os.getuid()))
        self.assertNotIn("pulseaudio", tonserver._programme(os.getuid() + 12345))

    def test_auch_nicht_mit_einem_anderswo(self):
        self.assertEqual(self.fehlt(PULSE_SERVER="tcp:anderswo"), [])

    def test_der_arbeitsordner_hat_keinen(self):
        self.server("pulse/native")
        vorher = os.getcwd()
        self.addCleanup(os.chdir, vorher)
        os.chdir(self.ordner)
        self.assertEqual(self.fehlt(XDG_RUNTIME_DIR=""), ["tonanlage"])

    def test_mit_pipewire_kommt_sie_nicht(self):
        # The second is one for the whole computer.
        for name in ("pipewire-0", "run/pipewire/pipewire-0"):
            with self.subTest(name):
                self.server(name)
                self.assertEqual(self.fehlt(), [])
                self.assertIsNone(self.klage)
                os.remove(os.path.join(self.ordner, name))


class Einrichtung(unittest.TestCase):
    """What scripts/setup.sh makes of other machines' package managers, played by scripts."""

    SETUP = os.path.join(lauf.WURZEL, "scripts", "setup.sh")
    # As dpkg prints a name that stands for packages of several architectures.
    DPKG_QUERY = """
for art in $INSTALLIERT; do
  text=${2#-f=}
  text=${text//'${db:Status-Status}'/installed}
  printf "${text//'${Architecture}'/$art}"
done"""
    APT_CACHE = """
[[ ${LC_ALL-} == C ]] && wort=Candidate || wort=Installationskandidat
echo "$2:"
echo "  $wort: 1.0-1\""""

    def setUp(self):
        halter = tempfile.TemporaryDirectory(prefix="hallkorb-e2e-")
        self.addCleanup(halter.cleanup)
        self.ordner = halter.name
        self.buch = os.path.join(self.ordner, "buch")
        for name in ("bash", "dirname", "env", "grep", "uname"):
            os.symlink(shutil.which(name), os.path.join(self.ordner, name))
        self.spiele("sudo", '"$@"')

    def spiele(self, name, text):
        pfad = os.path.join(self.ordner, name)
        with open(pfad, "w", encoding="utf-8") as datei:
            datei.write(f"#!/bin/bash\n{text}\n")
        os.chmod(pfad, 0o755)

    def debian(self):
        self.spiele("dpkg", "echo amd64")
        self.spiele("dpkg-query", self.DPKG_QUERY)
        self.spiele("apt-cache", self.APT_CACHE)
        self.spiele("apt-get", f'echo "$*" >>{self.buch}')

    def fedora(self):
        self.spiele("rpm", "true")
        self.spiele("dnf", f'echo "$*" >>{self.buch}')

    def setup(self, *saetze, **umgebung):
        ergebnis = subprocess.run([self.SETUP, *saetze], env={"PATH": self.ordner, **umgebung},
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120)
        self.rufe = []
        if os.path.exists(self.buch):
            with open(self.buch, encoding="utf-8") as datei:
                self.rufe = [zeile.split() for zeile in datei]
        return ergebnis.returncode, ergebnis.stderr

    def test_zwei_architekturen(self):
        self.debian()
        self.assertEqual(self.setup("build", INSTALLIERT="i386 amd64"), (0, ""))
        self.assertEqual(self.setup("build", INSTALLIERT="all"), (0, ""))
        self.assertEqual(self.rufe, [])

    def test_nur_fuer_die_andere(self):
        """The user's language is not English."""
        self.debian()
        status, klage = self.setup("in-root", INSTALLIERT="i386", LANG="de_DE.UTF-8")
        self.assertEqual(status, 0, klage)
        # Its lists know the package, so they are not fetched.
        self.assertEqual(["install" in ruf and "debootstrap" in ruf for ruf in self.rufe], [True], self.rufe)

    def test_saetze_aus_paketen_von_debian(self):
        self.fedora()
        for satz in ("in-root", "arm64"):
            status, klage = self.setup("build", satz)
            self.assertEqual(status, 69)
            self.assertIn(f"the set {satz} is not for this system; it needs: Debian", klage)
        self.assertEqual(self.setup("test", "paket", "browser", "wirte"), (0, ""))
        self.assertEqual(self.setup("bild")[0], 64)

    def test_saetze_ohne_pakete(self):
        """Ubuntu has its browsers as snaps only."""
        self.debian()
        self.spiele("apt-cache", f'case "$2" in chromium | firefox-esr) exit ;; esac\n{self.APT_CACHE}')
        status, klage = self.setup("build", "browser", INSTALLIERT="i386")
        self.assertEqual(status, 69)
        self.assertIn("this system has no packages chromium firefox-esr\n", klage)
        self.assertEqual([ruf[-1] for ruf in self.rufe], ["update"])
        self.assertEqual(self.setup("build", INSTALLIERT="i386")[0], 0)

    def test_fremdes_system(self):
        """What is missing for a private recording is named, too."""
        status, klage = self.setup("tonanlage", "bildschirm")
        self.assertEqual(status, 0)
        for wort in ("wireplumber", "pw-cli", "numpy", "Xvfb", "openbox"):
            self.assertIn(wort, klage)


class OhneGeraete(unittest.TestCase):
    """On a server every login may start a PipeWire that has nothing to record."""

    def setUp(self):
        self.anlage = tonanlage.Tonanlage(mikrofon=False, lautsprecher=False)
        self.anlage.starte()
        self.addCleanup(self.anlage.beende)

    def fehlt(self, **mehr):
        tonserver._kennt_geraete.cache_clear()
        with (unittest.mock.patch.dict(os.environ, self.anlage.umgebung | mehr, clear=True),
              unittest.mock.patch.object(tonserver, "GERAETE_FRIST", 0.0)):
            return privat.woanders(), privat.was_fehlt(["--no-video"])

    def test_kommt_die_private_anlage(self):
        # As the user, and as root, who finds the user's server.
        benutzer = os.path.join(self.anlage.ordner, "root", "run", "user", "1000")
        os.makedirs(os.path.dirname(benutzer))
        os.symlink(self.anlage.ordner, benutzer)
        wurzel = os.path.join(self.anlage.ordner, "root")
        for pulse in (False, True):
            if pulse:
                self.anlage.starte_pulse()
                tonanlage.warte_bis(lambda: self.anlage.knoten("auto_null"), "a device that is none")
            for mehr in ({}, {"XDG_RUNTIME_DIR": ""}):
                with self.subTest(mehr, pulse=pulse):
                    self.assertEqual(self.fehlt(HALLKORB_SERVER_ROOT=wurzel, **mehr), (None, ["tonanlage"]))
        self.anlage.lege_an("speakers")
        self.assertEqual(self.fehlt(HALLKORB_SERVER_ROOT=wurzel), (None, []))
        klage, fehlt = self.fehlt(HALLKORB_SERVER_ROOT=wurzel, XDG_RUNTIME_DIR="")
        self.assertEqual(fehlt, [])
        self.assertIn(f"answers at {benutzer}/pipewire-0", klage)
