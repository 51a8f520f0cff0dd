"""Lines of the recorder against docs/protocol.schema.json.

The schema as it stands is what hosts may rely on: later versions add fields and events, so it closes no
object. Tests want more, and get it from the same file: pruefe() refuses fields and events that the
schema does not name, numbers that are not printed with as many decimals as it says, names that occur twice,
and NaN.
"""

import copy
import decimal
import functools
import json
import os

WURZEL = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PFAD = os.path.join(WURZEL, "docs", "protocol.schema.json")


class Ungueltig(Exception):
    """A line is not as the schema says."""


@functools.cache
def schema():
    with open(PFAD, encoding="utf-8") as datei:
        return json.load(datei)


def geschlossen(offen):
    """The schema with every object closed, and without the lines of later versions."""
    zu = copy.deepcopy(offen)
    for name in ("unknown_event", "unknown_line"):
        del zu["$defs"][name]
        zu["$defs"]["live"]["anyOf"].remove({"$ref": f"#/$defs/{name}"})

    def schliesse(teil):
        if isinstance(teil, dict):
            if "properties" in teil:
                teil["additionalProperties"] = False
            for wert in teil.values():
                schliesse(wert)
        elif isinstance(teil, list):
            for wert in teil:
                schliesse(wert)

    schliesse(zu["$defs"])
    return zu


def lies(text):
    """The object in a line; a number with a point is a Decimal, so that its decimals can be counted. Texts
    may hold control characters, as the recorder leaves them."""
    def paare(liste):
        satz = dict(liste)
        if len(satz) != len(liste):
            raise Ungueltig("a name occurs twice")
        return satz

    def keine_zahl(wort):
        raise Ungueltig(f"{wort} is no number")

    def kommazahl(wort):
        if "e" in wort.lower():
            raise Ungueltig(f"{wort} has an exponent")
        return decimal.Decimal(wort)

    try:
        return json.loads(text, strict=False, parse_float=kommazahl, parse_constant=keine_zahl,
                          object_pairs_hook=paare)
    except json.JSONDecodeError as fehler:
        raise Ungueltig(str(fehler)) from None


# Lines without "event", by the field that only they have.
NACH_FELD = {"chunk": "chunk", "fall": "fall", "fenster": "fenster", "andere_fenster": "andere_fenster",
             "wahl": "probe_wahl", "art": "wahl"}


def art(satz):
    """The definition that is meant for a line, so that a check is quick and says what is wrong; None if
    the schema knows none."""
    if not isinstance(satz, dict):
        return None
    if "event" in satz:
        name = "echo_datei" if satz["event"] == "echo" and "sekunden_audio" in satz else satz["event"]
        return name if {"$ref": f"#/$defs/{name}"} in zeilenarten() else None
    return next((name for feld, name in NACH_FELD.items() if feld in satz), None)


@functools.cache
def zeilenarten():
    """References to every kind of line that the recorder prints."""
    alle = geschlossen(schema())["$defs"]
    return alle["live"]["anyOf"] + alle["offline"]["anyOf"]


@functools.cache
def pruefer(name=None):
    """The closed schema, or one definition of it, as a validator."""
    import jsonschema  # only the tests have it

    def stellen(_, anzahl, wert, __):
        if isinstance(wert, bool) or not isinstance(wert, (int, decimal.Decimal)):
            return
        gedruckt = -wert.as_tuple().exponent if isinstance(wert, decimal.Decimal) else 0
        if gedruckt != anzahl:
            yield jsonschema.ValidationError(f"{wert} has {gedruckt} decimals, not {anzahl}")

    klasse = jsonschema.validators.extend(jsonschema.Draft202012Validator, {"x-decimals": stellen})
    zu = geschlossen(schema())
    if name:
        zu = {"$schema": zu["$schema"], "$defs": zu["$defs"], "$ref": f"#/$defs/{name}"}
    return klasse(zu)


def pruefe(text):
    """Raises Ungueltig if the text is no line of standard output. Returns its kind."""
    satz = lies(text)
    name = art(satz)
    if name is None:
        raise Ungueltig(f"no line of the recorder: {text}")
    fehler = next(pruefer(name).iter_errors(satz), None)
    if fehler is not None:
        raise Ungueltig(f"{fehler.message} (at {fehler.json_path} of {text})")
    return name
