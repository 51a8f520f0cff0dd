"""A contact sheet of a recording: a picture of the film every few seconds, each with the lines that the
recorder printed meanwhile, as one page that a person looks through in a minute."""

import base64
import html
import json
import subprocess

_KOPF = """<!doctype html><meta charset="utf-8"><title>Contact sheet</title>
<style>body { font: 11px/1.35 sans-serif; margin: 12px; background: #fff; color: #222 }
main { display: grid; grid-template-columns: repeat(4, 310px); gap: 12px }
figure { margin: 0 } img, .leer { width: 310px; display: block; background: #ddd; min-height: 194px }
figcaption { font: bold 12px sans-serif; padding: 3px 0 } .pause { color: #b00 }
p { margin: 0; overflow-wrap: anywhere } p.bild { color: #05a; font-weight: bold }
p.bild.pause { color: #b00 }</style><main>
"""


def schreibe(ziel, pfad, gedreht, null, zeilen, schritt):
    """`gedreht` is the film.Film of `pfad`; it begins `null` seconds after the recording. `zeilen` are
    (seconds, JSON line) in order."""
    teile, stand = [_KOPF], "searching"
    zahl = int((null + gedreht.dauer) // schritt) + 1
    for nummer in range(zahl):
        zeit = nummer * schritt
        absaetze = []
        for wann, text in zeilen:
            # The last one takes what comes at the stop.
            if zeit <= wann < zeit + schritt or (nummer == zahl - 1 and wann >= zeit):
                satz = json.loads(text)
                stand = _stand(satz, stand)
                absaetze.append(_absatz(satz))
        klasse = "" if stand == "recording" else ' class="pause"'
        teile.append(f"<figure>{_bild(pfad, gedreht, zeit + schritt - null)}<figcaption{klasse}>"
                     f"{int(zeit) // 60:02d}:{int(zeit) % 60:02d}, at its end {stand}</figcaption>"
                     + "".join(absaetze) + "</figure>\n")
    with open(ziel, "w", encoding="utf-8") as datei:
        datei.write("".join(teile) + "</main>\n")


def _bild(pfad, gedreht, zeit):
    """What the film shows at that time of it."""
    if zeit < 0.0:
        return '<div class="leer">no film yet</div>'
    # Its last picture lasts until the end, where a player finds no other one.
    zeit = gedreht.zeiten[gedreht.um(zeit)]
    jpeg = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", pfad, "-vf", f"select=gte(t\\,{zeit - 0.0005:.4f}),scale=480:-1",
         "-frames:v", "1", "-q:v", "5", "-f", "mjpeg", "-"], check=True, capture_output=True,
        stdin=subprocess.DEVNULL).stdout
    return f'<img src="data:image/jpeg;base64,{base64.b64encode(jpeg).decode()}">'


def _stand(satz, bisher):
    return {"video_start": "recording", "video_wechsel": "recording", "video_pause": "paused",
            "video_none": "searching"}.get(satz.get("event"), bisher)


def _absatz(satz):
    if "chunk" in satz:
        text = f"{satz['channel']} {satz['chunk']}: {satz['t0']:.1f} to {satz['t1']:.1f} s"
        return f"<p>{html.escape(text)}</p>"
    art = satz["event"]
    werte = ", ".join(f"{name} {wert}" for name, wert in satz.items()
                      if name in ("quelle", "message", "t_s", "frames"))
    klasse = ' class="bild pause"' if art in ("video_pause", "video_none") else (
        ' class="bild"' if art.startswith("video") else "")
    return f"<p{klasse}>{html.escape(f'{art}: {werte}' if werte else art)}</p>"
