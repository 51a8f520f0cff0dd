// Draws the waveforms, the chunks under them and what the picture shows: only what is seen, from the
// level that fits the zoom, once for each frame of the screen at most.

const RASTER = [0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 21600, 43200, 86400];

class Zeichner {
  constructor(ansicht, feld, uebersicht) {
    this.ansicht = ansicht;
    this.feld = feld;
    this.leinwand = feld.querySelector('canvas');
    this.klein = uebersicht.querySelector('canvas');
    this.wartet = false;
    this.zeichnungen = 0;
    this.schwebt = null;  // chunk under the pointer
    this.spielt = new Set();
    this.liesFarben();
    this.miss();
  }

  liesFarben() {
    const stil = getComputedStyle(document.documentElement);
    const farben = new Map();
    this.farbe = (name) => {
      if (!farben.has(name)) farben.set(name, stil.getPropertyValue(`--${name}`).trim());
      return farben.get(name);
    };
    const familie = getComputedStyle(document.body).fontFamily;
    this.schrift = (px) => `${px}px ${familie}`;
  }

  // Sizes: each canvas has the pixels of the screen.
  miss() {
    this.dichte = Math.min(window.devicePixelRatio || 1, 2);
    for (const leinwand of [this.leinwand, this.klein]) {
      const { width, height } = leinwand.parentElement.getBoundingClientRect();
      leinwand.width = Math.max(1, Math.round(width * this.dichte));
      leinwand.height = Math.max(1, Math.round(height * this.dichte));
    }
    this.breite = this.leinwand.width / this.dichte;
    this.hoehe = this.leinwand.height / this.dichte;
    this.ansicht.breite = this.breite;
    const bild = BILDER.length ? 34 : 0;
    const spur = (this.hoehe - 44 - bild) / 2;
    this.lagen = {
      me: { oben: 44, welle: spur - 32, chunks: 44 + spur - 27 },
      them: { oben: 44 + spur, welle: spur - 32, chunks: 44 + 2 * spur - 27 },
      bild: { oben: this.hoehe - bild + 4, hoehe: 26 },
    };
  }

  bestelle() {
    if (this.wartet) return;
    this.wartet = true;
    requestAnimationFrame(() => {
      this.wartet = false;
      this.zeichne();
    });
  }

  zeichne() {
    const stift = this.leinwand.getContext('2d');
    stift.setTransform(this.dichte, 0, 0, this.dichte, 0, 0);
    stift.clearRect(0, 0, this.breite, this.hoehe);
    this.lineal(stift);
    this.gelesen = 0;
    for (const kanal of KANAELE) this.spur(stift, kanal);
    if (BILDER.length) this.bilder(stift);
    // How often it was drawn, and from how many pairs of levels: what a frame costs.
    Object.assign(this.feld.dataset, { zeichnungen: ++this.zeichnungen, paare: this.gelesen });
  }

  lineal(stift) {
    const { ansicht } = this;
    const schritt = RASTER.find((s) => s / ansicht.spanne * this.breite >= 84) ?? RASTER.at(-1);
    stift.font = this.schrift(12);
    stift.textBaseline = 'alphabetic';
    for (let i = Math.ceil(ansicht.von / schritt); i * schritt <= ansicht.bis; ++i) {
      const t = i * schritt;
      const x = Math.round(ansicht.x(t)) + 0.5;
      stift.fillStyle = this.farbe('linie');
      stift.fillRect(x - 0.5, 40, 1, this.hoehe);
      const text = alsZeit(t, schritt < 1 ? 1 : 0);
      if (x + stift.measureText(text).width > this.breite) continue;
      stift.fillStyle = this.farbe('tinte');
      stift.fillText(text, x + 4, 16);
      stift.fillStyle = this.farbe('leise');
      stift.fillText(tageszeit(t, schritt < 60 ? undefined : { timeStyle: 'short' }), x + 4, 33);
    }
  }

  spur(stift, kanal) {
    const lage = this.lagen[kanal];
    const mitte = lage.oben + 4 + lage.welle / 2;
    this.behaltenes(stift, kanal, lage);
    stift.fillStyle = this.farbe('linie');
    stift.fillRect(0, Math.round(mitte), this.breite, 1);
    if (kanal === 'me' && ROH_PASST) this.welle(stift, PEGEL.roh, mitte, lage.welle / 2, 'rohton', this.gewinn('me'));
    this.welle(stift, PEGEL[kanal], mitte, lage.welle / 2, kanal, this.gewinn(kanal));
    this.chunks(stift, kanal, lage);
    this.schild(stift, T(kanal), kanal, lage.oben + 6);
  }

  // A pale ground where sound was kept; a word where it was not, if there is room.
  behaltenes(stift, kanal, lage) {
    const { ansicht } = this;
    const gesehene = (stuecke) => stuecke.slice(erste(stuecke, ([, bis]) => bis >= ansicht.von),
      erste(stuecke, ([von]) => von > ansicht.bis));
    stift.fillStyle = this.farbe(`${kanal}-blass`);
    for (const [von, bis] of gesehene(BEHALTEN[kanal])) {
      const x = Math.max(ansicht.x(von), -4);
      stift.fillRect(x, lage.oben + 4, Math.max(Math.min(ansicht.x(bis), this.breite + 4) - x, 1), lage.welle);
    }
    stift.font = this.schrift(12);
    const belegt = ANGESAGT[kanal];
    const ab = erste(belegt, ([von]) => von > ansicht.von);
    for (let i = Math.max(ab, 1); i < belegt.length && belegt[i - 1][1] < ansicht.bis; ++i)
      this.luecke(stift, belegt[i - 1][1], belegt[i][0], lage);
  }

  luecke(stift, von, bis, lage) {
    if (!DATEN.zeilen) return;
    const links = Math.max(this.ansicht.x(von), 0);
    const rechts = Math.min(this.ansicht.x(bis), this.breite);
    if (rechts - links < 80) return;  // no room for any such text
    const text = T('nichtBehalten', alsDauer(bis - von));
    stift.fillStyle = this.farbe('leise');
    const breite = stift.measureText(text).width;
    if (rechts - links > breite + 24) stift.fillText(text, (links + rechts - breite) / 2, lage.chunks + 14);
  }

  // Both channels of a microphone share a scale, so that they can be compared.
  gewinn(kanal) {
    this.gewinne ??= {
      me: Math.max(PEGEL.me.groesster(), PEGEL.roh.groesster()),
      them: PEGEL.them.groesster(),
    };
    return 0.96 / Math.max(this.gewinne[kanal], 0.02) ** 0.7;
  }

  // `ansicht` need not be the one that is seen: the small view has its own.
  welle(stift, pegel, mitte, halb, farbe, gewinn, ansicht = this.ansicht) {
    if (!pegel.da) return;
    const proPixel = ansicht.spanne / ansicht.breite / this.dichte;  // seconds for each column
    const stufe = pegel.passende(1 / proPixel);
    const werte = pegel.stufe(stufe);
    const dichte = pegel.proSekunde(stufe);
    const paare = werte.length / 2;
    const schritt = Math.max(proPixel, 1 / dichte);  // seconds from point to point
    const erster = Math.floor(ansicht.von / schritt);
    const letzter = Math.min(Math.ceil(ansicht.bis / schritt), Math.ceil(paare / dichte / schritt) - 1);
    if (letzter < erster) return;
    const oben = new Float32Array(letzter - erster + 1);
    const unten = new Float32Array(letzter - erster + 1);
    const mass = halb * gewinn;
    for (let i = erster; i <= letzter; ++i) {
      let ab = Math.floor(i * schritt * dichte + 1e-6);
      const bis = Math.min(Math.max(Math.floor((i + 1) * schritt * dichte + 1e-6), ab + 1), paare);
      let tief = 0;
      let hoch = 0;
      this.gelesen += bis - ab;
      for (; ab < bis; ++ab) {
        tief = Math.min(tief, werte[2 * ab]);
        hoch = Math.max(hoch, werte[2 * ab + 1]);
      }
      const rand = tief || hoch ? 0.4 : 0;  // what is there is seen, however quiet
      unten[i - erster] = mitte - Math.max(HOEHEN[tief & 255] * mass, -halb) + rand;
      oben[i - erster] = mitte - Math.min(HOEHEN[hoch] * mass, halb) - rand;
    }
    stift.fillStyle = this.farbe(farbe);
    if (schritt > proPixel) this.linienzug(stift, oben, unten, (i) => ansicht.x((i + erster + 0.5) * schritt));
    else this.saeulen(stift, oben, unten, Math.round(ansicht.x(erster * schritt) * this.dichte) / this.dichte);
  }

  // A column of the screen for each pair. Rectangles on whole pixels are drawn many times faster than an
  // outline with as many teeth.
  saeulen(stift, oben, unten, x) {
    const breite = 1 / this.dichte;
    for (let i = 0; i < oben.length; ++i)
      if (unten[i] > oben[i]) stift.fillRect(x + i * breite, oben[i], breite, unten[i] - oben[i]);
  }

  // Near by, where a pair is wider than a column, an outline.
  linienzug(stift, oben, unten, x) {
    stift.beginPath();
    for (let i = 0; i < oben.length; ++i) stift.lineTo(x(i), oben[i]);
    for (let i = oben.length - 1; i >= 0; --i) stift.lineTo(x(i), unten[i]);
    stift.closePath();
    stift.fill();
  }

  // A bar for each chunk; where they are narrower than a few pixels, one for several.
  chunks(stift, kanal, lage) {
    const alle = CHUNKS[kanal];
    const { ansicht } = this;
    const hoehe = 16;
    let rechts = -1;  // up to here bars have been drawn
    const ende = letzterBegonnen(alle, ansicht.bis);
    for (let i = Math.max(0, letzterBegonnen(alle, ansicht.von) - 3); i <= ende; ++i) {
      const chunk = alle[i];
      const x = ansicht.x(chunk.ab);
      const breite = ansicht.x(chunk.ende) - x;
      if (x + breite < 0) continue;
      if (!chunk.datei) {
        this.fehlend(stift, x, lage.chunks, breite, hoehe);
        continue;
      }
      const voriger = alle[i - 1];
      if (voriger?.datei && chunk.ab < voriger.bis - 0.006) {
        const doppelt = ansicht.x(Math.min(voriger.bis, chunk.bis)) - x;
        this.schraffur(stift, 'fraglich', x, lage.oben + 4, Math.max(doppelt, 3), lage.welle);
      }
      const hell = this.spielt.has(chunk) || this.schwebt === chunk;
      if (x + breite - rechts < 2 && !hell) continue;
      const links = Math.max(x + 0.5, rechts - 1.5, -8);
      rechts = Math.max(rechts, x + breite);
      stift.globalAlpha = hell ? 1 : 0.3 + 0.35 * this.sprachanteil(chunk);
      stift.fillStyle = this.farbe(kanal);
      stift.beginPath();
      stift.roundRect(links, lage.chunks, Math.max(Math.min(x + breite - 1, this.breite + 8) - links, 1.5), hoehe, 4);
      stift.fill();
      stift.globalAlpha = 1;
      if (breite > 46) this.nummer(stift, chunk, Math.max(x, 0) + 7, lage.chunks, hell);
    }
  }

  sprachanteil(chunk) {
    return chunk.sprache === null || chunk.laenge <= 0 ? 0.6 : Math.min(chunk.sprache / 1000 / chunk.laenge, 1);
  }

  nummer(stift, chunk, x, y, hell) {
    stift.font = this.schrift(11);
    stift.fillStyle = this.farbe(hell ? 'karte' : 'tinte');
    stift.fillText(chunk.ausRoh ? `${chunk.nummer} ${T('ausRoh')}` : String(chunk.nummer), x, y + 12);
  }

  fehlend(stift, x, y, breite, hoehe) {
    stift.strokeStyle = this.farbe('schlimm');
    stift.lineWidth = 1.5;
    stift.setLineDash([4, 3]);
    stift.strokeRect(x + 1, y + 1, Math.max(breite - 2, 3), hoehe - 2);
    stift.setLineDash([]);
  }

  schraffur(stift, farbe, x, y, breite, hoehe) {
    const links = Math.max(x, -hoehe);
    const rechts = Math.min(x + breite, this.breite + hoehe);
    if (rechts <= links) return;
    stift.save();
    stift.beginPath();
    stift.rect(links, y, rechts - links, hoehe);
    stift.clip();
    stift.strokeStyle = this.farbe(farbe);
    stift.lineWidth = 1.5;
    stift.beginPath();
    for (let s = links - hoehe; s < rechts; s += 7) {
      stift.moveTo(s, y + hoehe);
      stift.lineTo(s + hoehe, y);
    }
    stift.stroke();
    stift.restore();
  }

  schild(stift, text, farbe, y) {
    stift.font = `600 ${this.schrift(13)}`;
    const breite = stift.measureText(text).width;
    stift.globalAlpha = 0.88;
    stift.fillStyle = this.farbe('karte');
    stift.beginPath();
    stift.roundRect(6, y + 3, breite + 14, 20, 10);
    stift.fill();
    stift.globalAlpha = 1;
    stift.fillStyle = this.farbe(farbe);
    stift.fillText(text, 13, y + 17.5);
  }

  bilder(stift) {
    const { oben, hoehe } = this.lagen.bild;
    const { ansicht } = this;
    let rechts = -1;
    for (let i = Math.max(0, erste(BILDER, (bild) => bild.bis >= ansicht.von)); i < BILDER.length; ++i) {
      const bild = BILDER[i];
      if (bild.t > ansicht.bis) break;
      const x = Math.max(ansicht.x(bild.t), -8);
      const ende = Math.min(ansicht.x(bild.bis), this.breite + 8);
      if (ende - rechts < 1.5) continue;
      rechts = ende;
      const breite = Math.max(ende - x - 1, 1.5);
      stift.fillStyle = this.farbe(bild.pause ? 'flaeche' : 'bild-blass');
      stift.beginPath();
      stift.roundRect(x, oben, breite, hoehe, 5);
      stift.fill();
      if (bild.pause) this.schraffur(stift, 'rohton', x, oben, breite, hoehe);
      stift.fillStyle = this.farbe(bild.pause ? 'leise' : 'bild');
      stift.fillRect(x, oben, 3, hoehe);
      if (breite > 54) this.bildtitel(stift, bild, Math.max(x, 0), oben, Math.min(ende, this.breite));
    }
  }

  bildtitel(stift, bild, x, y, ende) {
    stift.font = this.schrift(12);
    const text = bild.pause ? T('pause') : bild.text;
    const breite = Math.min(stift.measureText(text).width, ende - x - 18);
    if (bild.pause) {
      stift.fillStyle = this.farbe('flaeche');
      stift.fillRect(x + 5, y + 3, breite + 8, 20);
    }
    stift.save();
    stift.beginPath();
    stift.rect(x, y, ende - x - 6, 26);
    stift.clip();
    stift.fillStyle = this.farbe(bild.pause ? 'leise' : 'bild');
    stift.fillText(text, x + 9, y + 17.5);
    stift.restore();
  }

  // The whole recording, small: "me" upwards, "them" downwards.
  zeichneUebersicht() {
    const stift = this.klein.getContext('2d');
    const breite = this.klein.width / this.dichte;
    const hoehe = this.klein.height / this.dichte;
    stift.setTransform(this.dichte, 0, 0, this.dichte, 0, 0);
    stift.clearRect(0, 0, breite, hoehe);
    const ganz = { von: 0, bis: DAUER, spanne: DAUER, breite, x: (t) => t / DAUER * breite };
    for (const [kanal, mitte] of [['me', hoehe * 0.29], ['them', hoehe * 0.71]])
      this.welle(stift, PEGEL[kanal], mitte, hoehe * 0.24, kanal, this.gewinn(kanal), ganz);
  }
}
