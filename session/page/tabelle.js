// The chunks as a table, which is also what a screen reader has instead of the drawing: some at a time,
// since three hours have thousands.

const SEITENLAENGE = 25;

// A button that has nothing to do just now. It keeps the focus: who has pressed it would have to begin again
// from the top of the page.
function sperre(id, gesperrt) {
  document.getElementById(id).setAttribute('aria-disabled', String(gesperrt));
}

class Tabelle {
  constructor(spieler) {
    this.spieler = spieler;
    this.ab = 0;
    this.koerper = document.getElementById('zeilen');
    this.zeilen = new Map();
    const bei = (id, tu) => document.getElementById(id).addEventListener('click', () => { tu(); this.zeige(); });
    bei('zurueck', () => { this.ab -= SEITENLAENGE; });
    bei('weiter', () => { this.ab += SEITENLAENGE; });
    bei('hier', () => { this.geheZu(this.spieler.t); });
    this.auswahl = document.getElementById('auswahl');
    this.auswahl.addEventListener('change', () => this.waehle());
    this.waehle();
  }

  waehle() {
    const welche = this.auswahl.value;
    this.chunks = KANAELE.filter((kanal) => welche === 'beide' || welche === kanal).flatMap((kanal) => CHUNKS[kanal]);
    this.chunks.sort((a, b) => a.ab - b.ab);
    this.ab = 0;
    this.zeige();
  }

  geheZu(t) {
    const i = Math.max(0, letzterBegonnen(this.chunks, t));
    this.ab = i - i % SEITENLAENGE;
  }

  zeige() {
    const alle = this.chunks.length;
    this.ab = Math.max(0, Math.min(this.ab, alle - 1 - (alle - 1) % SEITENLAENGE));
    const bis = Math.min(this.ab + SEITENLAENGE, alle);
    this.zeilen.clear();
    this.koerper.replaceChildren(...this.chunks.slice(this.ab, bis).map((chunk) => this.zeile(chunk)));
    document.getElementById('welche').textContent = T('welche', this.ab + 1, bis, alle);
    sperre('zurueck', this.ab === 0);
    sperre('weiter', bis === alle);
    this.markiere(new Set());
  }

  zeile(chunk) {
    const knopf = teil('button');
    knopf.type = 'button';
    knopf.disabled = !chunk.datei;
    knopf.setAttribute('aria-label', T('spieleChunk', T(chunk.kanal), chunk.nummer, alsZeit(chunk.ab)));
    knopf.append(this.symbol());
    knopf.addEventListener('click', () => this.spieler.spieleChunk(chunk));
    const sprache_ = chunk.sprache === null ? '' : `${alsZahl(chunk.sprache / 1000, 1)} s`;
    const breit = (text) => teil('td', 'breit', text);
    const laenge = `${alsZahl(chunk.datei ? chunk.laenge : chunk.soll, 1)} s`;
    // A narrow page hides the file's column, so this cell says that the file is missing, or is not played.
    const stumm = chunk.datei ? '' : chunk.ungespielt ? 'ungespielt' : 'fehlt';
    const fehlt = stumm ? [teil('span', 'schmal', T(stumm))] : [];
    const zeile = teil('tr', [chunk.kanal, stumm].filter(Boolean).join(' '),
      teil('td', '', knopf), teil('td', '', T(chunk.kanal)), teil('td', '', String(chunk.nummer)),
      teil('td', '', alsZeit(chunk.ab, 1)), breit(tageszeit(chunk.ab)),
      teil('td', '', laenge, ...fehlt), teil('td', '', sprache_),
      breit(chunk.datei ? decodeURIComponent(chunk.datei) : T(stumm)));
    this.zeilen.set(chunk, zeile);
    return zeile;
  }

  symbol() {
    const bild = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    bild.setAttribute('viewBox', '0 0 24 24');
    bild.setAttribute('aria-hidden', 'true');
    const weg = document.createElementNS('http://www.w3.org/2000/svg', 'path');
    weg.setAttribute('d', 'M8 5v14l11-7z');
    bild.append(weg);
    return bild;
  }

  markiere(spielende) {
    for (const [chunk, zeile] of this.zeilen) zeile.classList.toggle('spielt', spielende.has(chunk));
  }
}
