"""The configuration of the daemons of a private session, and the devices in it.

WirePlumber up to 0.4 is configured by Lua, from 0.5 on by fragments of its configuration; each
ignores the other's files, so both are written.
"""

import os
import resource

_PIPEWIRE_CONF = """
context.properties = {
    core.daemon = true
    core.name = pipewire-0
    support.dbus = false
    link.max-buffers = 16
    settings.check-quantum = true
    settings.check-rate = true
    default.clock.rate = 48000
    default.clock.allowed-rates = [ 44100 48000 96000 ]
    default.clock.quantum = 1024
    default.clock.min-quantum = 32
    default.clock.max-quantum = 8192
}
context.spa-libs = {
    audio.convert.* = audioconvert/libspa-audioconvert
    support.* = support/libspa-support
}
context.modules = [
%(rt)s
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-metadata }
    { name = libpipewire-module-spa-node-factory }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-client-device }
    { name = libpipewire-module-access }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-link-factory }
    { name = libpipewire-module-session-manager }
]
context.objects = [
    { factory = spa-node-factory
      args = { factory.name = support.node.driver node.name = Dummy-Driver
               node.group = pipewire.dummy priority.driver = 20000 } }
%(geraete)s
]
"""

_RT = "    { name = libpipewire-module-rt args = { nice.level = -11 } flags = [ ifexists nofail ] }"

# Load the policy, and nothing that asks D-Bus or looks for hardware.
_WIREPLUMBER_LUA = """
load_module("metadata")
default_access.properties["enable-flatpak-portal"] = false
default_access.enable()
device_defaults.enable()
stream_defaults.enable()
load_script("suspend-node.lua")
"""
# Nothing but a device monitor would ask for the export core, by whose client WirePlumber is recognised.
_WIREPLUMBER_PROFIL = """
wireplumber.profiles = {
  main = {
    support.export-core = required
    hardware.audio = disabled
    hardware.bluetooth = disabled
    hardware.video-capture = disabled
    support.dbus = disabled
    support.logind = disabled
    support.reserve-device = disabled
    support.portal-permissionstore = disabled
    script.client.access-portal = disabled
  }
}
"""

# Name -> media class, channels, priority. The null sink's adapter serves for both directions. The
# microphone stands above the speakers: WirePlumber 0.5 would otherwise as soon take their monitor for
# the default source.
GERAETE = {
    "speakers": ("Audio/Sink", ("FL", "FR"), 2000),
    "mic": ("Audio/Source/Virtual", ("MONO",), 2500),
    "mic-feed": ("Audio/Sink", ("MONO",), 1),
}


def darf_echtzeit():
    """Whether a thread of ours may get real-time priority without asking a service for it."""
    if resource.getrlimit(resource.RLIMIT_RTPRIO)[0] != 0:
        return True
    with open("/proc/self/status", encoding="ascii", errors="replace") as datei:
        for zeile in datei:
            if zeile.startswith("CapEff:"):
                return bool(int(zeile.split()[1], 16) >> 23 & 1)  # CAP_SYS_NICE
    return False


def spa(werte):
    """A dictionary in the configuration's own notation."""

    def text(wert):
        if isinstance(wert, (tuple, list)):
            return "[ " + " ".join(wert) + " ]"
        return "true" if wert is True else str(wert)

    return "{ " + " ".join(f"{name} = {text(wert)}" for name, wert in werte.items()) + " }"


def eigenschaften(name, klasse=None, kanaele=None, rang=None):
    """The properties of a device; what isn't given is as in GERAETE."""
    vorgabe = GERAETE.get(name, ("Audio/Sink", ("FL", "FR"), 1000))
    return {
        "factory.name": "support.null-audio-sink",
        "node.name": name,
        "media.class": klasse or vorgabe[0],
        "audio.position": kanaele or vorgabe[1],
        "priority.session": vorgabe[2] if rang is None else rang,
        "object.linger": True,
    }


def schreibe(ordner, geraete):
    """Writes the configuration of both daemons into `ordner` (their XDG_CONFIG_HOME). The devices are
    those that are there from the beginning."""
    objekte = "\n".join("    { factory = adapter args = " + spa(eigenschaften(name)) + " }"
                        for name in geraete)
    texte = {
        "pipewire/pipewire.conf":
            _PIPEWIRE_CONF % {"rt": _RT if darf_echtzeit() else "", "geraete": objekte},
        "wireplumber/wireplumber.conf.d/90-hallkorb.conf": _WIREPLUMBER_PROFIL,
        # Files of the same name replace the system's.
        "wireplumber/main.lua.d/90-enable-all.lua": _WIREPLUMBER_LUA,
        "wireplumber/bluetooth.lua.d/90-enable-all.lua": "",
    }
    for name, text in texte.items():
        pfad = os.path.join(ordner, name)
        os.makedirs(os.path.dirname(pfad), exist_ok=True)
        with open(pfad, "w", encoding="utf-8") as datei:
            datei.write(text)
