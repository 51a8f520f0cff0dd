// Pointer, wheel, fingers and keys on the timeline, and the buttons above it.

const LEISE_ZOOM = 1.0018;  // for each pixel of the wheel

class Bedienung {
  constructor(ansicht, zeichner, spieler) {
    Object.assign(this, { ansicht, zeichner, spieler });
    this.feld = document.getElementById('zeit');
    this.tipp = document.getElementById('tipp');
    this.finger = new Map();
    this.beiAusschnitt = () => {};  // a key or a button has changed what is seen
    this.knoepfe();
    this.zeigergeraet();
    this.uebersicht();
    this.feld.addEventListener('wheel', (e) => this.rad(e), { passive: false });
    this.feld.addEventListener('keydown', (e) => this.taste(e));
  }

  knoepfe() {
    const bei = (id, tu) => document.getElementById(id).addEventListener('click', tu);
    const { spieler, ansicht } = this;
    bei('spiel', () => this.spieleOderHalte());
    bei('davor', () => this.zumChunk(-1));
    bei('danach', () => this.zumChunk(1));
    bei('kleiner', () => this.zoome(2));
    bei('groesser', () => this.zoome(0.5));
    bei('alles', () => this.zeigeAlles());
    for (const kanal of KANAELE) {
      const knopf = document.getElementById(`hoerbar-${kanal}`);
      knopf.addEventListener('click', () => {
        spieler.hoerbar[kanal] = !spieler.hoerbar[kanal];
        knopf.setAttribute('aria-pressed', String(spieler.hoerbar[kanal]));
        spieler.setzeTon();
        spieler.beiStand();
      });
    }
    document.getElementById('fassung').disabled = !spieler.rohspieler;
    for (const [id, roh] of [['gereinigt', false], ['roh', true]])
      document.getElementById(id).addEventListener('change', () => this.waehleFassung(roh));
    document.getElementById('tempo').addEventListener('change', (e) => {
      spieler.setzeUhr(spieler.jetzt());
      spieler.tempo = Number(e.target.value);
    });
  }

  waehleFassung(roh) {
    if (!this.spieler.rohspieler) return;
    document.getElementById(roh ? 'roh' : 'gereinigt').checked = true;
    this.spieler.roh = roh;
    this.spieler.setzeTon();
    this.spieler.beiStand();
  }

  spieleOderHalte() {
    if (this.spieler.laeuft) this.spieler.halte();
    else this.spieler.spiele();
  }

  // Around the cursor if it is seen.
  zoome(faktor) {
    const { t } = this.spieler;
    const { ansicht } = this;
    ansicht.zoome(faktor, t >= ansicht.von && t <= ansicht.bis ? t : (ansicht.von + ansicht.bis) / 2);
    this.beiAusschnitt();
  }

  zeigeAlles() {
    this.ansicht.zeige(0, DAUER);
    this.beiAusschnitt();
  }

  // The next begin of a chunk of either channel, or the one before.
  zumChunk(richtung) {
    const { t } = this.spieler;
    const beginne = KANAELE.flatMap((kanal) => {
      const alle = CHUNKS[kanal];
      const i = letzterBegonnen(alle, richtung > 0 ? t + 0.01 : t - 0.3);
      return alle[richtung > 0 ? i + 1 : i] ?? [];
    }).map((chunk) => chunk.ab);
    if (!beginne.length) return;
    this.springe(richtung > 0 ? Math.min(...beginne) : Math.max(...beginne));
  }

  springe(t) {
    this.spieler.springe(t);
    this.ansicht.folge(this.spieler.t);
  }

  taste(e) {
    if (e.ctrlKey || e.metaKey || e.altKey) return;
    const { spieler, ansicht } = this;
    const weit = e.shiftKey ? 0.1 : 1;
    const taten = {
      ' ': () => this.spieleOderHalte(),
      ArrowLeft: () => this.springe(spieler.t - weit), ArrowRight: () => this.springe(spieler.t + weit),
      ArrowDown: () => this.springe(spieler.t - 10), ArrowUp: () => this.springe(spieler.t + 10),
      PageDown: () => this.springe(spieler.t - ansicht.spanne), PageUp: () => this.springe(spieler.t + ansicht.spanne),
      Home: () => this.springe(0), End: () => this.springe(DAUER),
      '+': () => this.zoome(0.5), '-': () => this.zoome(2), 0: () => this.zeigeAlles(),
      n: () => this.zumChunk(1), p: () => this.zumChunk(-1), r: () => this.waehleFassung(!spieler.roh),
      Enter: () => {
        const chunk = KANAELE.map((kanal) => chunkBei(kanal, spieler.t)).find(Boolean);
        if (chunk) spieler.spieleChunk(chunk);
      },
    };
    const tat = taten[e.key.length === 1 ? e.key.toLowerCase() : e.key];
    if (!tat) return;
    e.preventDefault();
    tat();
  }

  rad(e) {
    const { ansicht } = this;
    const pixel = e.deltaMode === 1 ? 16 : e.deltaMode === 2 ? 400 : 1;
    const [dx, dy] = e.shiftKey && !e.deltaX ? [e.deltaY, 0] : [e.deltaX, e.deltaY];
    const vorher = [ansicht.von, ansicht.bis];
    if (Math.abs(dx) > Math.abs(dy)) ansicht.verschiebe(dx * pixel / ansicht.breite * ansicht.spanne);
    else ansicht.zoome(LEISE_ZOOM ** (dy * pixel * (e.ctrlKey ? 4 : 1)), ansicht.t(this.ort(e).x));
    // At the end of the way the page scrolls.
    if (e.ctrlKey || vorher[0] !== ansicht.von || vorher[1] !== ansicht.bis) e.preventDefault();
  }

  ort(e) {
    const rahmen = this.feld.getBoundingClientRect();
    return { x: e.clientX - rahmen.left, y: e.clientY - rahmen.top };
  }

  // The chunk whose bar is there.
  chunkAn({ x, y }) {
    const t = this.ansicht.t(x);
    for (const kanal of KANAELE) {
      const oben = this.zeichner.lagen[kanal].chunks;
      if (y >= oben - 4 && y <= oben + 22) return chunkBei(kanal, t);
    }
    return null;
  }

  // A mouse moves the cursor; a finger moves the view, and two of them zoom.
  zeigergeraet() {
    const { feld } = this;
    feld.addEventListener('pointerdown', (e) => this.beginne(e));
    feld.addEventListener('pointermove', (e) => (this.finger.has(e.pointerId) ? this.ziehe(e) : this.schwebe(e)));
    for (const name of ['pointerup', 'pointercancel']) feld.addEventListener(name, (e) => this.ende(e));
    feld.addEventListener('pointerleave', () => this.verlasse());
    feld.addEventListener('dblclick', (e) => {
      if (this.chunkAn(this.ort(e))) return;
      this.springe(this.ansicht.t(this.ort(e).x));
      this.spieler.spiele();
    });
  }

  beginne(e) {
    if (e.button > 0) return;
    const ort = this.ort(e);
    this.feld.setPointerCapture(e.pointerId);
    this.finger.set(e.pointerId, ort);
    this.tippt = this.finger.size === 1 ? ort : null;
    if (e.pointerType === 'mouse' && !this.chunkAn(ort)) this.springe(this.ansicht.t(ort.x));
  }

  ziehe(e) {
    const { ansicht } = this;
    const vorher = this.finger.get(e.pointerId);
    const ort = this.ort(e);
    if (this.tippt && Math.hypot(ort.x - this.tippt.x, ort.y - this.tippt.y) > 6) this.tippt = null;
    if (e.pointerType === 'mouse') {
      if (!this.tippt && !this.chunkAn(vorher))
        this.springe(Math.min(Math.max(ansicht.t(ort.x), ansicht.von), ansicht.bis));
    } else if (this.finger.size === 2) {
      const anderer = [...this.finger].find(([id]) => id !== e.pointerId)[1];
      const davor = Math.max(Math.abs(vorher.x - anderer.x), 10);
      ansicht.zoome(davor / Math.max(Math.abs(ort.x - anderer.x), 10), ansicht.t(anderer.x));
    } else if (!this.tippt) {
      ansicht.verschiebe((vorher.x - ort.x) / ansicht.breite * ansicht.spanne);
    }
    if (e.pointerType !== 'mouse' || !this.chunkAn(vorher)) this.finger.set(e.pointerId, ort);
  }

  ende(e) {
    this.finger.delete(e.pointerId);
    const { tippt } = this;
    this.tippt = null;
    if (!tippt || e.type === 'pointercancel') return;
    const chunk = this.chunkAn(tippt);
    if (chunk) this.spieler.spieleChunk(chunk);
    else if (e.pointerType !== 'mouse') this.springe(this.ansicht.t(tippt.x));
  }

  schwebe(e) {
    if (e.pointerType !== 'mouse') return;
    const ort = this.ort(e);
    const t = this.ansicht.t(ort.x);
    const chunk = this.chunkAn(ort);
    this.feld.classList.toggle('auf-chunk', Boolean(chunk));
    if (chunk !== this.zeichner.schwebt) {
      this.zeichner.schwebt = chunk;
      this.zeichner.bestelle();
    }
    const bild = BILDER.length && ort.y >= this.zeichner.lagen.bild.oben
      ? BILDER.find((b) => t >= b.t && t < b.bis) : null;
    const worte = [alsZeit(t, this.ansicht.spanne < 120 ? 2 : 0), tageszeit(t)];
    if (chunk) {
      worte.push(chunk.name(), `${alsZahl(chunk.laenge, 1)} s`);
      if (chunk.sprache !== null) worte.push(T('davonSprache', `${alsZahl(chunk.sprache / 1000, 1)} s`));
    }
    if (bild) worte.push(bild.pause ? T('pause') : bild.text);
    this.tipp.textContent = worte.filter(Boolean).join(' · ');
    this.tipp.hidden = false;
    const platz = this.ansicht.breite - this.tipp.offsetWidth - 4;
    this.tipp.style.transform = `translateX(${Math.max(Math.min(ort.x + 12, platz), 4)}px)`;
  }

  verlasse() {
    this.tipp.hidden = true;
    if (!this.zeichner.schwebt) return;
    this.zeichner.schwebt = null;
    this.zeichner.bestelle();
  }

  // In the small view of the whole: what is pressed becomes the middle.
  uebersicht() {
    const feld = document.getElementById('uebersicht');
    const zeige = (e) => {
      const rahmen = feld.getBoundingClientRect();
      const t = (e.clientX - rahmen.left) / rahmen.width * DAUER;
      this.ansicht.zeige(t - this.ansicht.spanne / 2, this.ansicht.spanne);
    };
    feld.addEventListener('pointerdown', (e) => { feld.setPointerCapture(e.pointerId); zeige(e); });
    feld.addEventListener('pointermove', (e) => feld.hasPointerCapture(e.pointerId) && zeige(e));
  }
}
