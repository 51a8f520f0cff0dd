"""What happens on the private screen while scripts/record records it.

A meeting window opens, gets another title, is covered, minimised, closed and comes back; other windows
that are not a meeting, or become one, stand beside it. A turn takes 75 seconds and is played again and
again, so that every event of the video can be seen.
"""

# What the recorder has for applications, and how they look here: (class as X11 has it, options).
_POST = (("Mail", "thunderbird"), ["--farbe", "707880", "--groesse", "900", "600", "--ort", "300", "200"])
_ZOOM = (("zoom", "zoom"), ["--farbe", "1E4FA0", "--groesse", "1100", "690", "--ort", "60", "60",
                            "--bewegt", "15"])
_CHROME = (("google-chrome", "Google-chrome"), ["--farbe", "A05A1E", "--groesse", "1000", "640",
                                                "--ort", "420", "240", "--bewegt", "10"])
_TEAMS = (("teams-for-linux", "teams-for-linux"), ["--farbe", "5A2E90", "--groesse", "1200", "720",
                                                   "--ort", "200", "100", "--bewegt", "15"])

# Second of the turn, the line for a person, which window, and what it does: "auf" opens it, "zu"
# closes it, anything else is a command of the window itself.
_AKTE = [
    (0.0, "a browser shows the weather", "chrome", ("auf", "Wetter - Google Chrome", _CHROME)),
    (2.0, "a Zoom meeting begins", "zoom", ("auf", "Zoom Meeting", _ZOOM)),
    (12.0, "the meeting gets a title", "zoom", ("titel Zoom Meeting: Quartalsbericht",)),
    (18.0, "the inbox covers the meeting", "post", ("auf", "Posteingang", _POST)),
    (25.0, "the inbox is closed", "post", ("zu",)),
    (28.0, "the browser joins a meeting", "chrome", ("titel Meet – abc-defg-hij - Google Chrome",)),
    (34.0, "the Zoom meeting is minimised", "zoom", ("minimiere",)),
    (44.0, "the Zoom meeting is back", "zoom", ("zeige",)),
    (54.0, "the browser leaves its meeting", "chrome", ("titel Wetter - Google Chrome",)),
    (55.0, "the Zoom meeting ends", "zoom", ("zu",)),
    (62.0, "a Teams meeting begins", "teams", ("auf", "Besprechung | Microsoft Teams", _TEAMS)),
    (72.0, "the Teams meeting ends", "teams", ("zu",)),
    (73.0, "the browser is closed", "chrome", ("zu",)),
]
_DAUER = 75.0


class Fensterspiel:
    """Plays in `schirm`, a bildschirm.Bildschirm."""

    def __init__(self, schirm):
        self._schirm = schirm
        self._offen = {}
        self._anfang = None
        self._akt = 0

    def takt(self, jetzt, melde):
        """Plays what is due at that time in seconds and passes each act to `melde` as a line of text;
        to be called now and then."""
        if self._anfang is None:
            self._anfang = jetzt
        while True:
            if self._akt == len(_AKTE):
                if jetzt < self._anfang + _DAUER:
                    return
                self._anfang += _DAUER
                self._akt = 0
            zeit, text, name, tat = _AKTE[self._akt]
            if jetzt < self._anfang + zeit:
                return
            self._akt += 1
            melde(text)
            self._spiele(name, tat)

    def _spiele(self, name, tat):
        if tat[0] == "auf":
            _, titel, (klasse, optionen) = tat
            self._offen[name] = self._schirm.oeffne(titel, klasse, "--beschriftet", *optionen)
        elif tat[0] == "zu":
            self._schirm.schliesse(self._offen.pop(name))
        else:
            self._offen[name].tu(tat[0])
