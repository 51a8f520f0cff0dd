// Plays the recording from any place: the chunks of both channels one after the other, the raw
// microphone and the picture, all by one clock.
//
// A page from the file system may play files but not read them, so there is no mixing of samples
// here: every file is an element of its own. Raw and cleaned microphone always run together and one of
// them is muted, so that a switch is heard at once and at the same place.
//
// The clock follows the sound that is heard; the others follow the clock, by playing a little faster
// or slower, or by a jump if they are far off.

const TAKT = 50;        // ms between two looks at the elements
const SPRUNG = 0.35;    // s off: jump
const GENAU = 0.025;    // s off: good enough
const GEDULD = 1500;    // ms that a start waits for its files

// One media element that is to be at a given place of a file.
class Quelle {
  constructor(element, beiFehler, beiVerweigerung) {
    this.element = element;
    this.beiVerweigerung = beiVerweigerung;
    this.datei = null;
    this.gewollt = false;
    element.addEventListener('error', () => this.datei && beiFehler(this.datei));
  }

  lade(datei) {
    if (this.datei === datei) return;
    this.datei = datei;
    this.element.src = datei;
  }

  // Resolves when it can play from `stelle` on, or never will.
  stelle(stelle) {
    const { element } = this;
    if (Math.abs(element.currentTime - stelle) > 0.01) element.currentTime = stelle;
    this.wartende?.abort();
    if (element.readyState >= 3 && !element.seeking) return Promise.resolve();
    this.wartende = new AbortController();
    return new Promise((fertig) => {
      for (const name of ['canplay', 'seeked', 'error'])
        element.addEventListener(name, () => (element.readyState >= 3 || element.error) && fertig(),
          { signal: this.wartende.signal });
    });
  }

  starte(tempo) {
    this.gewollt = true;
    if (!this.element.paused || this.element.ended) return;
    this.setzeTempo(tempo);
    // A pause right after it is no error. What may play is the browser's decision, and its user's.
    this.element.play().catch(({ name }) => name === 'NotAllowedError' && this.beiVerweigerung());
  }

  setzeTempo(tempo) {
    if (Math.abs(this.element.playbackRate - tempo) > 0.004) this.element.playbackRate = tempo;
  }

  halte() {
    this.gewollt = false;
    if (!this.element.paused) this.element.pause();
  }

  get laeuft() { return this.gewollt && !this.element.paused && !this.element.ended && this.element.readyState >= 3; }

  // Brings the element nearer to where it should be.
  folge(stelle, tempo) {
    const { element } = this;
    const zuWeit = element.currentTime - stelle;
    if (Math.abs(zuWeit) > SPRUNG) {
      if (!element.seeking) element.currentTime = stelle;
      this.setzeTempo(tempo);
    } else {
      this.setzeTempo(tempo * (Math.abs(zuWeit) > GENAU ? 1 - Math.max(-0.06, Math.min(0.06, zuWeit * 0.5)) : 1));
    }
  }
}

// The chunks of a channel: one plays, the next one is loaded.
class Kanalspieler {
  constructor(kanal, neue) {
    this.kanal = kanal;
    this.quellen = [neue(), neue()];
    this.chunk = null;
    this.stumm = false;
  }

  get jetzt() { return this.quellen[0]; }
  get quelle() { return this.jetzt; }
  get master() { return this.chunk && this.jetzt.laeuft ? this.jetzt.element.currentTime + this.chunk.ab : null; }

  setzeStumm(stumm) {
    for (const quelle of this.quellen) quelle.element.muted = stumm;
    this.stumm = stumm;
  }

  bereite(t) {
    this.nimm(chunkBei(this.kanal, t));
    return this.chunk ? this.jetzt.stelle(t - this.chunk.ab) : Promise.resolve();
  }

  nimm(chunk) {
    if (chunk === this.chunk) return;
    if (chunk && this.quellen[1].datei === chunk.datei) this.quellen.reverse();
    this.quellen[1].halte();
    if (!chunk) this.jetzt.halte();
    this.chunk = chunk;
    if (chunk) this.jetzt.lade(chunk.datei);
  }

  // The chunk that comes next.
  lade(t) {
    const alle = CHUNKS[this.kanal];
    let i = letzterBegonnen(alle, t) + 1;
    while (i < alle.length && !alle[i].datei) ++i;
    if (i < alle.length && alle[i] !== this.chunk) this.quellen[1].lade(alle[i].datei);
  }

  fuehre(t, tempo) {
    const chunk = chunkBei(this.kanal, t);
    const neu = chunk !== this.chunk;
    this.nimm(chunk);
    this.lade(t);
    if (!chunk) return;
    if (neu) {
      // A new chunk is played from its start; a few milliseconds late is better than a torn word.
      const stelle = t - chunk.ab;
      this.jetzt.element.currentTime = stelle < 0.15 ? 0 : stelle;
    }
    this.jetzt.starte(tempo);
  }

  folge(t, tempo) {
    if (this.chunk && this.jetzt.laeuft) this.jetzt.folge(t - this.chunk.ab, tempo);
  }

  halte() { for (const quelle of this.quellen) quelle.halte(); }
}

// One file for the whole recording: raw microphone or picture.
class Dateispieler {
  constructor(quelle, datei, ab) {
    this.quelle = quelle;
    this.datei = datei;
    this.ab = ab;
    quelle.lade(datei);
  }

  get master() { return this.quelle.laeuft ? this.quelle.element.currentTime + this.ab : null; }
  setzeStumm(stumm) { this.quelle.element.muted = stumm; }
  da(t) {
    const dauer = this.quelle.element.duration;
    return t >= this.ab && !(t - this.ab >= dauer);
  }

  bereite(t) {
    if (this.quelle.element.error) return Promise.resolve();
    if (this.da(t)) return this.quelle.stelle(t - this.ab);
    this.quelle.element.currentTime = t < this.ab ? 0 : this.quelle.element.duration || 0;
    return Promise.resolve();
  }

  fuehre(t, tempo) {
    if (this.da(t)) this.quelle.starte(tempo);
    else this.quelle.halte();
  }

  folge(t, tempo) { if (this.quelle.laeuft) this.quelle.folge(t - this.ab, tempo); }
  halte() { this.quelle.halte(); }
}

class Spieler {
  constructor(bild, toene) {
    this.t = 0;
    this.laeuft = false;
    this.tempo = 1;
    this.roh = false;
    this.hoerbar = { me: true, them: true };
    this.nur = null;       // the one channel that is heard while a single chunk plays
    this.bis = null;       // where that ends
    this.laufnummer = 0;
    this.fehler = new Set();
    this.verweigert = false;  // the last attempt to play, by the browser
    this.beiZeit = () => {};
    this.beiStand = () => {};
    const neue = () => this.quelle(toene.appendChild(new Audio()));
    this.kanaele = Object.fromEntries(KANAELE.map((kanal) => [kanal, new Kanalspieler(kanal, neue)]));
    if (ROH_PASST) this.rohspieler = new Dateispieler(neue(), DATEN.roh.datei, 0);
    if (DATEN.video) this.bildspieler = new Dateispieler(this.quelle(bild), DATEN.video.datei, BILD_AB);
    this.teile = [...Object.values(this.kanaele), this.rohspieler, this.bildspieler].filter(Boolean);
    this.setzeTon();
    setInterval(() => this.schritt(), TAKT);
  }

  quelle(element) {
    element.preload = 'auto';
    return new Quelle(element, (datei) => {
      this.fehler.add(decodeURIComponent(datei));
      this.beiStand();
    }, () => this.verweigere());
  }

  setzeTon() {
    const an = (kanal) => this.hoerbar[kanal] && (!this.nur || this.nur === kanal);
    const roh = this.roh && this.rohspieler;
    this.kanaele.me.setzeStumm(!an('me') || Boolean(roh));
    this.kanaele.them.setzeStumm(!an('them'));
    this.rohspieler?.setzeStumm(!an('me') || !roh);
    if (this.bildspieler) this.bildspieler.setzeStumm(true);
  }

  jetzt() {
    if (!this.laeuft || this.wartet) return this.t;
    return Math.min(this.t0 + (performance.now() - this.p0) / 1000 * this.tempo, DAUER);
  }

  setzeUhr(t) {
    this.t = this.t0 = t;
    this.p0 = performance.now();
  }

  // Goes to a place, playing on if it plays.
  springe(t) {
    this.endeEinzeln();
    this.geheZu(t);
  }

  async geheZu(t) {
    const nummer = ++this.laufnummer;
    this.setzeUhr(Math.min(Math.max(t, 0), DAUER));
    this.wartet = this.laeuft;
    this.beiZeit();
    if (this.laeuft) for (const teil of this.teile) teil.halte();
    // While one only looks around, no sound is loaded.
    const teile = this.laeuft ? this.teile : [this.bildspieler].filter(Boolean);
    const alle = Promise.all(teile.map((teil) => teil.bereite(this.t)));
    await Promise.race([alle, new Promise((fertig) => setTimeout(fertig, GEDULD))]);
    if (nummer !== this.laufnummer) return;
    this.wartet = false;
    this.setzeUhr(this.t);
    this.schritt();
    this.beiStand();
  }

  // Nothing is heard, so nothing may seem to run.
  verweigere() {
    if (!this.laeuft) return;
    this.verweigert = true;
    this.halte();
  }

  spiele() {
    if (this.laeuft) return;
    this.beginne();
    this.geheZu(this.t >= DAUER - 0.05 ? 0 : this.t);
    this.beiStand();
  }

  beginne() {
    this.laeuft = true;
    this.verweigert = false;
  }

  halte() {
    if (!this.laeuft) return;
    this.t = this.jetzt();
    this.laeuft = this.wartet = false;
    ++this.laufnummer;
    for (const teil of this.teile) teil.halte();
    this.endeEinzeln();
    this.beiZeit();
    this.beiStand();
  }

  // One chunk, alone, from its start to its end.
  spieleChunk(chunk) {
    if (!chunk.datei) return;
    this.nur = chunk.kanal;
    this.bis = chunk.bis;
    this.setzeTon();
    this.beginne();
    this.geheZu(chunk.ab);
    this.beiStand();
  }

  endeEinzeln() {
    if (!this.nur) return;
    this.nur = this.bis = null;
    this.setzeTon();
  }

  // What can be heard now.
  gehoerte() {
    const chunks = [];
    for (const kanal of KANAELE) {
      const chunk = chunkBei(kanal, this.t);
      const roh = kanal === 'me' && this.roh && this.rohspieler;
      if (chunk && !roh && this.hoerbar[kanal] && (!this.nur || this.nur === kanal)) chunks.push(chunk);
    }
    return chunks;
  }

  hoertRoh() {
    return Boolean(this.roh && this.rohspieler && this.hoerbar.me && (!this.nur || this.nur === 'me') &&
      this.rohspieler.da(this.t));
  }

  schritt() {
    if (!this.laeuft || this.wartet) return;
    this.richteUhr();
    const t = this.jetzt();
    if (t >= (this.bis ?? DAUER) - 0.01) {
      this.setzeUhr(Math.min(this.bis ?? DAUER, DAUER));
      this.halte();
      return;
    }
    this.t = t;
    for (const teil of this.teile) {
      teil.fuehre(t, this.tempo);
      if (teil === this.fuehrt) teil.quelle.setzeTempo(this.tempo);
      else teil.folge(t, this.tempo);
    }
    this.beiZeit();
  }

  // The clock follows what is heard, if it is near.
  richteUhr() {
    const hoerbare = this.hoertRoh() ? [this.rohspieler] : Object.values(this.kanaele).filter((teil) => !teil.stumm);
    this.fuehrt = hoerbare.find((teil) => teil.master !== null) ?? null;
    if (!this.fuehrt) return;
    const voraus = this.fuehrt.master - this.jetzt();
    if (Math.abs(voraus) > SPRUNG) this.fuehrt = null;  // it has to follow, too
    else this.setzeUhr(this.jetzt() + voraus * 0.3);
  }
}
