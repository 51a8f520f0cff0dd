"""hallkorb-sitzung arzt as it is built for macOS, on stand-ins of the platform: permissions and devices."""

import os
import subprocess

import drehbuch
import signale

SITZUNG = os.path.join(os.path.dirname(drehbuch.PROGRAMM), "hallkorb-sitzung")
# AVAuthorizationStatus, and the capture service's refusal.
NICHT_GEFRAGT, GESPERRT, VERWEIGERT = 0, 1, 2
USER_DECLINED = -3801
NAMEN = ("geraetenamen", {"eingang": "Kopfhörer", "ausgang": "Studiomonitor"})
BILDSCHIRM = "Erlaubnis Bildschirm und Systemton"


class Arzt(drehbuch.MacFall):

    def arzt(self, *vorher):
        """The findings, in order: what -> (how it is, what was found, what to do about it)."""
        self.buch = drehbuch.Drehbuch(self, self.ordner)
        ton = self.schreibe_klang("rauschen", signale.rauschen(60.0, 8))
        for was, wie in (*vorher, ("spiele", {"mikro": ton, "system": ton})):
            self.buch.tu(was, **wie)
        self.buch.tu("los")
        ergebnis = subprocess.run([SITZUNG, "arzt", self.ordner], stdin=subprocess.DEVNULL, capture_output=True,
                                  text=True, check=False, env=self.buch.umgebung())
        self.alles = ergebnis.stdout + ergebnis.stderr
        self.assertEqual(ergebnis.stderr, "", self.alles)
        self.pruefe_gehalten(self.alles)
        befunde = {}
        *zeilen, schluss = ergebnis.stdout.splitlines()
        for zeile in zeilen:
            if zeile.startswith(" "):
                befunde[was][2] += zeile.strip().removeprefix("Abhilfe: ")
            else:
                lage, befund = zeile.split(None, 1)
                was, text = befund.split(": ", 1)
                befunde[was] = [lage, text, ""]
        fehlt = any(lage == "fehlt" for lage, _, _ in befunde.values())
        self.assertEqual((ergebnis.returncode, schluss),
                         (1, "so ist keine vollstaendige Aufnahme moeglich") if fehlt
                         else (0, "eine Aufnahme ist moeglich"), self.alles)
        for lage, _, abhilfe in befunde.values():
            if lage in ("Mangel", "fehlt"):
                self.assertGreater(len(abhilfe), 10, self.alles)
        return befunde

    def pruefe(self, befunde, **soll):
        """How each of these is, and words of what was found."""
        for was, (lage, *worte) in soll.items():
            ist = befunde[was.replace("_", " ")]
            self.assertEqual(ist[0], lage, self.alles)
            for wort in worte:
                self.assertIn(wort, ist[1] + ist[2], self.alles)

    def test_alles_erlaubt(self):
        befunde = self.arzt(NAMEN, ("fenster", drehbuch.ZOOM))
        for was, befund in (("Audiodienst", "ist da"), ("Erlaubnis Mikrofon", "erteilt"), (BILDSCHIRM, "erteilt"),
                            ("Mikrofon", "Kopfhörer"), ("Systemton", "Studiomonitor"), ("Bildschirm", "1 Fenster"),
                            ("Encoder", "H.264 ist da")):
            self.assertEqual(befunde[was], ["gut", befund, ""], self.alles)
        self.pruefe(befunde, Besprechung=("gut", "Zoom Meeting wuerde aufgenommen"))
        self.assertEqual(list(befunde)[:5],
                         ["Audiodienst", "Erlaubnis Mikrofon", BILDSCHIRM, "Mikrofon", "Systemton"])

    def test_verweigert(self):
        befunde = self.arzt(NAMEN, ("erlaubnis", {"stand": VERWEIGERT}), ("bildschirmzugang", {"ja": False}),
                            ("fehler", {"frage": "inhalt", "code": USER_DECLINED}))
        self.pruefe(befunde, Erlaubnis_Mikrofon=("Mangel", "nicht erteilt", "> Mikrofon das Programm erlauben"),
                    Erlaubnis_Bildschirm_und_Systemton=("Mangel", "nicht erteilt", "Bildschirmaufnahme"),
                    Mikrofon=("fehlt", "Zugriff auf das Mikrofon verweigert", "> Mikrofon"),
                    Systemton=("fehlt", "Bildschirm und Systemton nicht erlaubt", "Systemaudioaufnahme"),
                    Bildschirm=("Mangel", "es gibt kein Video", "Systemaudioaufnahme"))
        self.assertNotIn("Pegel Mikrofon", befunde)

    def test_nur_der_bildschirm_verweigert(self):
        befunde = self.arzt(NAMEN, ("bildschirmzugang", {"ja": False}),
                            ("fehler", {"frage": "inhalt", "code": USER_DECLINED}))
        self.pruefe(befunde, Erlaubnis_Mikrofon=("gut", "erteilt"), Mikrofon=("gut", "Kopfhörer"),
                    Erlaubnis_Bildschirm_und_Systemton=("Mangel", "nicht erteilt"),
                    Systemton=("fehlt", "nicht erlaubt"))

    def test_noch_nicht_gefragt(self):
        """The system asks when the microphone is started, and nobody answers."""
        befunde = self.arzt(("erlaubnis", {"stand": NICHT_GEFRAGT}))
        self.pruefe(befunde, Erlaubnis_Mikrofon=("Hinweis", "noch nicht gefragt", "noch einmal untersuchen"),
                    Mikrofon=("fehlt", "noch nicht beantwortet"), Systemton=("gut", "MacBook Pro-Lautsprecher"))

    def test_gesperrt(self):
        befunde = self.arzt(("erlaubnis", {"stand": GESPERRT}))
        self.pruefe(befunde, Erlaubnis_Mikrofon=("Mangel", "Verwaltungsprofil gesperrt", "Sperre aufheben"),
                    Mikrofon=("fehlt", "gesperrt"))

    def test_kein_geraet(self):
        """No input; and speakers whose name the system does not give."""
        befunde = self.arzt(("geraet", {"rate": 0, "kanaele": 0}), ("geraetenamen", {}))
        self.pruefe(befunde, Erlaubnis_Mikrofon=("gut", "erteilt"),
                    Mikrofon=("fehlt", "kein Mikrofon gefunden", "Ton > Eingabe ein Mikrofon waehlen"),
                    Systemton=("gut", "Standardgeraet"))
