// What the recording holds, from the page's own data.

const DATEN = JSON.parse(document.getElementById('daten').textContent);
const KANAELE = ['me', 'them'];

class Chunk {
  constructor(kanal, [nummer, ab, laenge, soll, sprache, datei, ausRoh, ungespielt = false]) {
    Object.assign(this, { kanal, nummer, ab, laenge, soll, sprache, datei, ausRoh, ungespielt });
    this.bis = ab + laenge;
    this.ende = ab + Math.max(laenge, soll);  // also of one that cannot be played
  }

  name() { return T('chunkName', T(this.kanal), this.nummer); }
}

// By their beginnings.
const CHUNKS = Object.fromEntries(
  KANAELE.map((kanal) => [kanal, DATEN.chunks[kanal].map((werte) => new Chunk(kanal, werte))]));

// The first place in a sorted list for which `passt` holds.
function erste(liste, passt) {
  let von = 0;
  let bis = liste.length;
  while (von < bis) {
    const mitte = (von + bis) >> 1;
    if (passt(liste[mitte])) bis = mitte;
    else von = mitte + 1;
  }
  return von;
}

// The place of the last chunk that has begun at a time, -1 before the first.
const letzterBegonnen = (chunks, t) => erste(chunks, (chunk) => chunk.ab > t + 1e-4) - 1;

// The chunk that can be heard at a time, if any.
function chunkBei(kanal, t) {
  const chunks = CHUNKS[kanal];
  // Behind one that overlaps it a shorter one may have begun and ended.
  for (let i = letzterBegonnen(chunks, t), n = 0; i >= 0 && n < 4; --i, ++n)
    if (chunks[i].datei && t < chunks[i].bis - 1e-4) return chunks[i];
  return null;
}

// The chunk of either channel that was announced for a time and has nothing to play, if any.
const stummerBei = (t) => KANAELE.map((kanal) => CHUNKS[kanal][letzterBegonnen(CHUNKS[kanal], t)])
  .find((chunk) => chunk && !chunk.datei && t < chunk.ende - 1e-4);

// Times that chunks cover, without overlaps.
function zusammen(chunks) {
  const stuecke = [];
  for (const chunk of chunks) {
    const letztes = stuecke.at(-1);
    if (letztes && chunk.ab <= letztes[1] + 1e-3) letztes[1] = Math.max(letztes[1], chunk.ende);
    else stuecke.push([chunk.ab, chunk.ende]);
  }
  return stuecke;
}

// What was announced, and what of it is there.
const ANGESAGT = Object.fromEntries(KANAELE.map((kanal) => [kanal, zusammen(CHUNKS[kanal])]));
const BEHALTEN = Object.fromEntries(
  KANAELE.map((kanal) => [kanal, zusammen(CHUNKS[kanal].filter((chunk) => chunk.datei))]));

const summe = (stuecke) => stuecke.reduce((bisher, [von, bis]) => bisher + bis - von, 0);

function gemeinsam(a, b) {
  let zeit = 0;
  for (let i = 0, j = 0; i < a.length && j < b.length;) {
    zeit += Math.max(0, Math.min(a[i][1], b[j][1]) - Math.max(a[i][0], b[j][0]));
    if (a[i][1] < b[j][1]) ++i;
    else ++j;
  }
  return zeit;
}

// Whether the raw microphone belongs on the time axis: without lines, only if nothing else is there.
const ROH_PASST = Boolean(DATEN.roh) && (DATEN.zeilen || !CHUNKS.me.length);

const DAUER = Math.max(DATEN.dauer, 0.1);

// What the picture shows: each from one change to the next.
const BILDER = DATEN.bilder.map((bild, i, alle) => ({ ...bild, bis: alle[i + 1]?.t ?? DAUER }));
const BILD_AB = DATEN.video?.ab ?? 0;

// The time of day at a place, if it is known.
function tageszeit(t, form = { timeStyle: 'medium' }) {
  const beginn = DATEN.start?.null;
  if (!beginn || Math.abs(beginn) > 8.6e15) return '';
  return format(Intl.DateTimeFormat, form).format(new Date(beginn + t * 1000));
}
