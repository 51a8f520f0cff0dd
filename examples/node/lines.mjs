// The lines of hallkorb as types, and the only place that knows how they are written.
//
// The fields are those of docs/protocol.schema.json; one with "?" may be missing. A line that this
// version does not know becomes "unknown", and fields that it does not know are left out: later versions
// add both.

const PICTURE = {quelle: 'string', art: 'string', rang: 'integer', grund: 'string', t_s: 'number'};
const TIMELINE = {luecken: 'integer', luecken_ms: 'integer', ueberlappungen: 'integer',
                  verworfen_ms: 'integer'};

export const LINES = {
  started: {mic: 'boolean', system: 'boolean', video: 'boolean', echo: 'boolean', null_unix_ms: 'integer'},
  chunk: {chunk: 'integer', channel: 'string', path: 'string', t0: 'number', t1: 'number',
          sprache_ms: 'integer?'},
  degraded: {channel: 'string', message: 'string'},
  error: {message: 'string'},
  video_start: PICTURE,
  video_wechsel: PICTURE,
  video_none: {message: 'string'},
  video_pause: {message: 'string', t_s: 'number'},
  video: {path: 'string', frames: 'integer', quelle: 'string'},
  echo: {verzoegerung_ms: 'number', versatz_bloecke: 'integer', versatz_wechsel: 'integer', leck: 'number',
         tor_anteil: 'number', nah_anteil: 'number', vg_kopien: 'integer', hg_reset: 'integer',
         resets: 'integer', ohne_referenz: 'integer', ausfaelle: 'integer', bloecke: 'integer',
         chunks_ohne_sprache: 'integer'},
  zeitachse: {them: TIMELINE, me: TIMELINE},
  done: {},
};

const LATEST = 1e8;  // seconds, three years

const IS = {
  boolean: (value) => typeof value === 'boolean',
  integer: Number.isInteger,
  number: (value) => typeof value === 'number',
  string: (value) => typeof value === 'string',
};

function build(fields, record) {
  const line = {};
  for (const [name, type] of Object.entries(fields)) {
    const value = record[name];
    if (typeof type === 'object') {
      if (typeof value !== 'object' || value === null) throw new TypeError(`${name} is ${value}`);
      line[name] = build(type, value);
      continue;
    }
    if (value === undefined && type.endsWith('?')) continue;
    if (!IS[type.replace('?', '')](value)) throw new TypeError(`${name} is ${JSON.stringify(value)}`);
    line[name] = value;
  }
  return line;
}

/** One line, with its kind in `event`. Throws if it is not what the protocol promises. */
export function parse(text) {
  // The recorder leaves control characters in texts as they are, which JSON does not allow.
  // eslint-disable-next-line no-control-regex
  const record = JSON.parse(text.replace(/[\x00-\x1f]/g, ' '));
  if (typeof record !== 'object' || record === null || Array.isArray(record)) throw new TypeError('not an object');
  const named = Object.hasOwn(record, 'event');
  if (named && typeof record.event !== 'string') throw new TypeError('event is no string');
  const event = named ? record.event : 'chunk';
  const known = named ? event !== 'chunk' && Object.hasOwn(LINES, event) : Object.hasOwn(record, 'chunk');
  if (!known) return {event: 'unknown', text};
  const line = {...build(LINES[event], record), event};
  if (event === 'chunk' && !(0 <= line.t0 && line.t0 <= line.t1 && line.t1 <= LATEST))
    throw new RangeError(`it lasts from ${line.t0} to ${line.t1}`);
  return line;
}
