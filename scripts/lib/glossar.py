"""The check of docs/glossary.md: every name that a header declares is explained, and every term exists.

The glossary has one table for each room, headed by the room's folder ("## platform/linux/audio"), and
one for all of them; a term stands in backticks in the first column. One line may explain several:
"| `vor`, `rueck` | ...".

A type has a line in its own room. Another name is a term of its room, of a folder above or of all
rooms, or each of its words is one, or English: liesKopf needs no line if there are `lies` and `kopf`.
An override is explained by what it overrides, and the C interface is English.
"""

import re

JEDER = "In every room"
# Words of names that are English, or what other systems call their things.
ENGLISCH = set("""
    app append args aspect asset async audio av avx2 avx512 base64 bgr bits block browser buf buffer bundle
    bytes capture captures channel channels chunk chunks code converter cookie core count current cursor
    delay depth description dft dft2 dft4 dft8 dir display domain drift echo emit encoder engine error
    excludes face fd ffmpeg fft fft512 finalize fit flags flush format frame frames get global gradient
    handle height host id im in index interleaved interval json kit layout leak libav live log loop max me
    meeting mic min minimum mode mp4 offset out output parse pause pcm pcm16 per pixel pixmap posix post preserves
    process queue quit radix rate ratio re remainder resets rho riff rms run sample samples scales screen
    screwed search seconds segment serial shows shutdown silence size slack socket standard start status
    stop stream swresample sync system teams them time timescale to turn unix user utf8 value video wav
    webex width windows write writer zoom
""".split())

# What a header declares: a class, a structure, an enumeration, or a name for a type.
_TYP = re.compile(r"^[ \t]*(?:class|struct|enum(?: class| struct)?|using)[ \t]+(\w+)"
                  r"(?=[ \t]*(?:final\b[^;]*)?(?::[^;{]*)?[{=])", re.MULTILINE)
_KOPF = re.compile(rf"^## ([\w/]+|{JEDER})$", re.MULTILINE)
# What declares nothing: comments, the preprocessor's lines, literals, attributes, labels.
_BEIWERK = re.compile(r"//[^\n]*|^[ \t]*#(?:[^\n\\]|\\[\s\S])*|\"(?:\\.|[^\"\\])*\"|'.'|\[\[.*?\]\]"
                      r"|\b(?:public|private|protected):", re.MULTILINE)
_RAUM = re.compile(r"\s*(?:template\s*)?(extern|namespace|class|struct|enum)\b[^(=]*$")
_FUNKTION = re.compile(r"\s*(?:[\w:]+[\s&*]+)+(\w+)\s*\(")
_FELD = re.compile(r"\s*(?!(?:struct|class|enum)\b)(?:[\w:]+[\s&*]+)+(\w+)\s*(?:=|\[|$)")
_WERT = re.compile(r"\b([a-z]\w*)\s*(?:=[^,]*)?(?:,|$)")  # those in capitals are mostly a platform's
_WORT = re.compile(r"[A-Z]{3,}(?![a-z])|[A-Z]?[a-z]{2,}\d*")  # single letters are symbols


def typen(text):
    """The types that a header declares, those inside of others included."""
    return set(_TYP.findall(re.sub(r"//[^\n]*", "", text)))


def namen(text):
    """A header's functions (no operators, no overrides), its structures' fields, its enumerations' values."""
    text = _BEIWERK.sub(" ", text)
    while (ohne := re.sub(r"<[^<>;{}]*>", " ", text)) != text:  # arguments of templates
        text = ohne
    alle, offen = set(), ["namespace"]  # what each open brace belongs to: None if it is code
    for kopf, zeichen in re.findall(r"([^{};]*)([{};])", text):
        name = _FUNKTION.match(kopf) or (_FELD.match(kopf) if offen[-1] == "struct" else None)
        if offen[-1] and name and not re.search(r"\b(operator|override|using|friend)\b", kopf):
            alle.add(name[1])
        if zeichen == "{":
            raum = _RAUM.match(kopf) if offen[-1] else None
            offen.append(raum[1] if raum else None)
        elif zeichen == "}" and offen.pop() == "enum":
            alle.update(_WERT.findall(kopf))
    return {name for name in alle - typen(text) if not name.startswith("hallkorb_")}


def woerter(name):
    """The words of a name: "mp4DauerFeld" has "mp4", "dauer" and "feld"."""
    return {wort.lower() for wort in _WORT.findall(name)}


def lies(text):
    """Folder -> terms of its table."""
    teile = _KOPF.split(text)
    return {ordner: {begriff for zeile in tabelle.splitlines() if zeile.startswith("| `")
                     for begriff in re.findall(r"`(\w+)`", zeile.split("|")[1])}
            for ordner, tabelle in zip(teile[1::2], teile[2::2])}


def unerklaert(name, begriffe):
    """The words of a name that no term explains, and that are not English; none if the name is a term."""
    bekannt = {begriff.rstrip("_") for begriff in begriffe}
    return set() if name in bekannt else woerter(name) - {wort.lower() for wort in bekannt} - ENGLISCH


def pruefe(texte, glossar):
    """What is wrong with the glossary; `texte` are the production sources by name."""
    tabellen = lies(glossar)
    klagen = []
    vorhanden = {ordner: set() for ordner in tabellen}
    for datei, text in texte.items():
        ordner = datei.rsplit("/", 1)[0]
        for wo in {ordner, JEDER} & vorhanden.keys():
            vorhanden[wo] |= set(re.findall(r"\w+", re.sub(r"//[^\n]*", "", text)))
        if not datei.endswith(".h"):
            continue
        for typ in sorted(typen(text) - tabellen.get(ordner, set())):
            klagen.append(f"{datei}: {typ} has no line under {ordner} in docs/glossary.md")
        bekannt = set().union(*(begriffe for wo, begriffe in tabellen.items()
                                if wo == JEDER or f"{ordner}/".startswith(f"{wo}/")))
        for name in sorted(namen(text)):
            if fehlt := ", ".join(sorted(unerklaert(name, bekannt))):
                klagen.append(f"{datei}: docs/glossary.md does not explain {name}: {fehlt}")
    for ordner, begriffe in tabellen.items():
        for begriff in sorted(begriffe - vorhanden[ordner]):
            klagen.append(f"docs/glossary.md: {ordner} has no `{begriff}` any more")
    return klagen
