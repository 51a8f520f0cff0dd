"""The lines of hallkorb as types, and the only place that knows how they are written.

The fields are those of docs/protocol.schema.json. A line that this version does not know becomes Unknown,
and fields that it does not know are left out: later versions add both.
"""

import dataclasses
import json
import re


@dataclasses.dataclass(frozen=True)
class Started:
    mic: bool
    system: bool
    video: bool
    echo: bool
    null_unix_ms: int


@dataclasses.dataclass(frozen=True)
class Chunk:
    chunk: int
    channel: str
    path: str
    t0: float
    t1: float
    sprache_ms: int | None = None


@dataclasses.dataclass(frozen=True)
class Degraded:
    channel: str
    message: str


@dataclasses.dataclass(frozen=True)
class Error:
    message: str


@dataclasses.dataclass(frozen=True)
class VideoStart:
    quelle: str
    art: str
    rang: int
    grund: str
    t_s: float


@dataclasses.dataclass(frozen=True)
class VideoWechsel(VideoStart):
    pass


@dataclasses.dataclass(frozen=True)
class VideoNone:
    message: str


@dataclasses.dataclass(frozen=True)
class VideoPause:
    message: str
    t_s: float


@dataclasses.dataclass(frozen=True)
class Video:
    path: str
    frames: int
    quelle: str


@dataclasses.dataclass(frozen=True)
class Echo:
    verzoegerung_ms: float
    versatz_bloecke: int
    versatz_wechsel: int
    leck: float
    tor_anteil: float
    nah_anteil: float
    vg_kopien: int
    hg_reset: int
    resets: int
    ohne_referenz: int
    ausfaelle: int
    bloecke: int
    chunks_ohne_sprache: int


@dataclasses.dataclass(frozen=True)
class Timeline:
    luecken: int
    luecken_ms: int
    ueberlappungen: int
    verworfen_ms: int


@dataclasses.dataclass(frozen=True)
class Zeitachse:
    them: Timeline
    me: Timeline


@dataclasses.dataclass(frozen=True)
class Done:
    pass


@dataclasses.dataclass(frozen=True)
class Unknown:
    text: str


EVENTS = {"started": Started, "degraded": Degraded, "error": Error, "video_start": VideoStart,
          "video_wechsel": VideoWechsel, "video_none": VideoNone, "video_pause": VideoPause,
          "video": Video, "echo": Echo, "zeitachse": Zeitachse, "done": Done}


LATEST = 1e8  # seconds, three years


def build(kind, record):
    """An object of the class `kind`. Raises ValueError if a field is missing or of another type."""
    values = {}
    for field in dataclasses.fields(kind):
        value = record.get(field.name)
        if field.type is Timeline and isinstance(value, dict):
            value = build(Timeline, value)
        elif field.type is float and type(value) is int:
            value = float(value)
        elif value is None and field.default is None:
            continue
        expected = int if field.default is None else field.type
        if type(value) is not expected:
            raise ValueError(f"{field.name} is {value!r}")
        values[field.name] = value
    if kind is Chunk and not 0 <= values["t0"] <= values["t1"] <= LATEST:
        raise ValueError(f"it lasts from {values['t0']} to {values['t1']}")
    return kind(**values)


def parse(text):
    """One line. Raises ValueError if it is not what the protocol promises."""
    # The recorder leaves control characters in texts as they are, which JSON does not allow.
    try:
        record = json.loads(re.sub(r"[\x00-\x1f]", " ", text))
    except RecursionError:
        raise ValueError("too deep") from None
    if not isinstance(record, dict):
        raise ValueError("not an object")
    if "event" not in record:
        return build(Chunk, record) if "chunk" in record else Unknown(text)
    if not isinstance(record["event"], str):
        raise ValueError("event is no string")
    kind = EVENTS.get(record["event"])
    return build(kind, record) if kind else Unknown(text)
