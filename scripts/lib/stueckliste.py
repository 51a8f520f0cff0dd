"""The bill of materials of a release: SPDX 2.3 as JSON.

Lists the source, each package, and what the programs take in or ask for: libraries that are built in, linked
or loaded late, with the versions that are installed where the release is built. The names of linked and late
libraries are read from the .deb itself, so the list cannot differ from what is installed.
"""

import datetime
import hashlib
import json
import os
import re
import subprocess

# Which licence Debian's package of a library is under, by the beginning of its name; docs/decisions/licence.md
# says what follows from them. FFmpeg's libraries are GPL as Debian builds them.
LIZENZEN = (
    ("libc6", "LGPL-2.1-or-later"), ("libgcc-s1", "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("libstdc++", "GPL-3.0-or-later WITH GCC-exception-3.1"), ("libpipewire", "MIT"), ("libspa", "MIT"),
    ("pipewire", "MIT"), ("wireplumber", "MIT"), ("libavcodec", "GPL-2.0-or-later"),
    ("libavformat", "GPL-2.0-or-later"), ("libavutil", "GPL-2.0-or-later"),
    ("libswresample", "GPL-2.0-or-later"), ("libswscale", "GPL-2.0-or-later"), ("ffmpeg", "GPL-2.0-or-later"),
    ("libxcb", "MIT"), ("libxau", "MIT"), ("libutf8proc", "MIT AND Unicode-DFS-2015"),
    ("nlohmann-json3", "MIT"), ("libcli11", "BSD-3-Clause"))


def lizenz(paket):
    for anfang, name in LIZENZEN:
        if paket.startswith(anfang):
            return name
    raise ValueError(f"{paket} is under no licence that scripts/lib/stueckliste.py knows")


def _frage(*befehl):
    return subprocess.run(befehl, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def _namen(deb, feld):
    """The packages that a field of a .deb names; of alternatives the first."""
    return [re.match(r"[^ (|]+", wort.strip())[0]
            for wort in _frage("dpkg-deb", "-f", deb, feld).split(",") if wort.strip()]


def eingebaute():
    """The packages of the libraries whose code is in the programs."""
    laufzeit = os.path.realpath(_frage("g++", "-print-file-name=libstdc++.a"))
    return ["libutf8proc-dev", "nlohmann-json3-dev", "libcli11-dev",
            _frage("dpkg", "-S", laufzeit).split(":")[0]]


def _kennung(name):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def _summe(pfad):
    with open(pfad, "rb") as datei:
        return [{"algorithm": "SHA256", "checksumValue": hashlib.sha256(datei.read()).hexdigest()}]


def _eigenes(pfad, version):
    name = os.path.basename(pfad)
    return {"SPDXID": _kennung(name), "name": "hallkorb", "versionInfo": version, "packageFileName": name,
            "supplier": "Organization: the hallkorb authors", "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, "checksums": _summe(pfad), "licenseConcluded": "MIT",
            "licenseDeclared": "MIT", "copyrightText": "Copyright (c) 2026 the hallkorb authors"}


def _fremdes(paket):
    """None if the package is not installed here: the list claims only what was there."""
    zeile = subprocess.run(["dpkg-query", "-W", "-f", "${Status}\t${Version}\t${source:Package}\t${Architecture}",
                            paket], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    if not zeile.startswith("install ok installed"):
        return None
    _, version, quelle, art = zeile.split("\n")[0].split("\t")
    return {"SPDXID": _kennung(f"debian-{paket}"), "name": paket, "versionInfo": version,
            "supplier": "Organization: Debian", "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "sourceInfo": f"built from Debian's source package {quelle}", "licenseConcluded": "NOASSERTION",
            "licenseDeclared": lizenz(paket), "copyrightText": "NOASSERTION",
            "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                              "referenceLocator": f"pkg:deb/debian/{paket}@{version}?arch={art}"}]}


def mache(version, stand, zeit, archiv, pakete):
    """The document as text. `stand` is the commit, `zeit` its seconds since 1970."""
    eigene = [_eigenes(archiv, version), *(_eigenes(pfad, version) for pfad in pakete)]
    (deb,) = [pfad for pfad in pakete if os.path.basename(pfad).startswith("hallkorb_")]
    programme = _kennung(os.path.basename(deb))
    noetig, empfohlen = _namen(deb, "Depends"), _namen(deb, "Recommends")
    fremde, beziehungen = {}, []

    def verbinde(von, art, nach):
        beziehungen.append({"spdxElementId": von, "relationshipType": art, "relatedSpdxElement": nach})

    for paket in (*eingebaute(), *noetig, *empfohlen):
        if eintrag := _fremdes(paket):
            fremde[paket] = eintrag
    for eintrag in eigene:
        verbinde("SPDXRef-DOCUMENT", "DESCRIBES", eintrag["SPDXID"])
    for eintrag in eigene[1:]:
        verbinde(eintrag["SPDXID"], "GENERATED_FROM", eigene[0]["SPDXID"])
    for liste, art in ((eingebaute(), "STATIC_LINK"), (noetig, "DYNAMIC_LINK")):
        for paket in liste:
            if paket in fremde:
                verbinde(programme, art, fremde[paket]["SPDXID"])
    for paket in empfohlen:
        if paket in fremde:
            verbinde(fremde[paket]["SPDXID"], "OPTIONAL_DEPENDENCY_OF", programme)
    erstellt = datetime.datetime.fromtimestamp(zeit, datetime.timezone.utc)
    return json.dumps({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"hallkorb-{version}", "documentNamespace": f"urn:hallkorb:{version}:{stand}",
        "creationInfo": {"created": erstellt.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Tool: hallkorb-scripts/release", "Organization: the hallkorb authors"]},
        "packages": [*eigene, *fremde.values()], "relationships": beziehungen}, indent=1) + "\n"
