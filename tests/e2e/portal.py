"""Services that give threads priority, on a private message bus.

A program that may not give itself real-time priority asks another one for it: the desktop's portal on the
session bus, or rtkit on the system bus. Here is a bus of the test's own, which can be both, and on it a
service that answers as those do and really sets what it is asked for:

    portal.py NAME GRANTS       GRANTS: 1, or 0 to refuse

It needs the right to do that, or the one of root. A line on standard output follows each request:
"bereit" at first, then "echtzeit THREAD PRIORITY" or "verweigert THREAD".
"""

import os
import subprocess
import sys

# Name on the bus -> object and interface.
DIENSTE = {
    "org.freedesktop.portal.Desktop":
        ("/org/freedesktop/portal/desktop", "org.freedesktop.portal.Realtime"),
    "org.freedesktop.RealtimeKit1":
        ("/org/freedesktop/RealtimeKit1", "org.freedesktop.RealtimeKit1"),
}

_BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=%s</listen>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Bus:
    """The bus, and a service of that name on it. `umgebung` is `grund` with the bus where the service's
    clients look for it, and without the other one."""

    def __init__(self, ordner, grund, name, gewaehrt):
        import prozesse

        pfad = os.path.join(ordner, "bus")
        with open(pfad + ".conf", "w", encoding="ascii") as datei:
            datei.write(_BUS % pfad)
        self.daemon = prozesse.starte(
            ["dbus-daemon", "--nofork", "--nopidfile", "--print-address", "--config-file", pfad + ".conf"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        adresse = self.daemon.stdout.readline().decode("ascii").strip()
        sitzung, system = "disabled:", "disabled:"
        if name == "org.freedesktop.RealtimeKit1":
            system = adresse
        else:
            sitzung = adresse
        self.umgebung = grund | {"DBUS_SESSION_BUS_ADDRESS": sitzung, "DBUS_SYSTEM_BUS_ADDRESS": system}
        self.dienst = prozesse.starte(
            [sys.executable, os.path.abspath(__file__), name, str(int(gewaehrt))],
            env=os.environ | {"DBUS_SESSION_BUS_ADDRESS": adresse},
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)

    def beende(self):
        for prozess in (self.dienst, self.daemon):
            prozess.kill()
            prozess.wait()
            if not prozess.stdout.closed:
                prozess.stdout.close()


def _diene(name, gewaehrt):
    import dbus
    import dbus.mainloop.glib
    import dbus.service
    from gi.repository import GLib

    pfad, schnittstelle = DIENSTE[name]
    grenzen = {"MaxRealtimePriority": dbus.Int32(20), "MinNiceLevel": dbus.Int32(-15),
               "RTTimeUSecMax": dbus.Int64(200000)}

    class Dienst(dbus.service.Object):

        @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
        def Get(self, _schnittstelle, eigenschaft):
            return grenzen[eigenschaft]

        @dbus.service.method(schnittstelle, in_signature="ttu")
        def MakeThreadRealtimeWithPID(self, pid, faden, rang):
            self.pruefe(pid, faden)
            os.sched_setscheduler(faden, os.SCHED_RR | os.SCHED_RESET_ON_FORK, os.sched_param(rang))
            print("echtzeit", faden, rang, flush=True)

        @dbus.service.method(schnittstelle, in_signature="tu", sender_keyword="wer")
        def MakeThreadRealtime(self, faden, rang, wer):
            self.MakeThreadRealtimeWithPID(bus.get_unix_process_id(wer), faden, rang)

        def pruefe(self, pid, faden):
            if gewaehrt and os.path.isdir(f"/proc/{pid}/task/{faden}"):
                return
            print("verweigert", faden, flush=True)
            raise dbus.exceptions.DBusException(
                "no", name="org.freedesktop.DBus.Error.AccessDenied")

    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    halter = dbus.service.BusName(name, bus, do_not_queue=True)
    dienst = Dienst(bus, pfad)
    print("bereit", flush=True)
    GLib.MainLoop().run()
    del halter, dienst


if __name__ == "__main__":
    _diene(sys.argv[1], sys.argv[2] == "1")
