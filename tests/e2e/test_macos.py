"""The program as it is built for macOS, whole, on stand-ins of the platform."""

import json
import os
import signal
import subprocess

import numpy

import drehbuch
import lauf
import signale
import voices

ZOOM = {"id": 7, "app": "zoom.us", "titel": "Zoom Meeting"}
VERWEIGERT = 2  # AVAuthorizationStatusDenied
USER_DECLINED = -3801
SYSTEM_STOPPED = -3821


class Gespraech(drehbuch.MacFall):

    def test_probe(self):
        fern, nah = signale.gespraech(10.0, 1), signale.gespraech(10.0, 2)
        aufnahme = self.aufnehmen(echo=True, video=True, vorher=[("fenster", ZOOM)])
        self.buch.tu("spiele", mikro=self.schreibe_klang("nah", nah),
                     system=self.schreibe_klang("fern", fern))
        aufnahme.warte_aufnahme(11.0)
        print(json.dumps(self.stapel(aufnahme))[:3000])
        print(aufnahme.alles())


