// The levels of the waveforms: pairs of lowest and highest values, coarser from level to level by four.
//
// The page is there before they are decoded (the finest of three hours is 3 MB of text for each channel):
// what is drawn at first needs a coarse one, and the others are decoded while there is nothing else to do.

function ausBase64(text) {
  if (Uint8Array.fromBase64) return new Int8Array(Uint8Array.fromBase64(text).buffer);
  const bytes = atob(text);
  const werte = new Int8Array(bytes.length);
  for (let i = 0; i < bytes.length; ++i) werte[i] = bytes.charCodeAt(i);
  return werte;
}

class Pegel {
  constructor(name) {
    this.name = name;
    this.angaben = DATEN.pegel[name];
    this.stufen = [];
  }

  get da() { return this.angaben.laengen.length > 0; }

  // Bytes of a level as written: two for each pair.
  stufe(nummer) {
    if (!this.stufen[nummer]) {
      const element = document.getElementById(`pegel-${this.name}-${nummer}`);
      this.stufen[nummer] = ausBase64(element.textContent);
      element.remove();
    }
    return this.stufen[nummer];
  }

  // The coarsest level that still has a pair for each of `proSekunde` columns.
  passende(proSekunde) {
    const faktor = this.angaben.proSekunde / proSekunde;
    const stufe = Math.max(0, Math.floor(Math.log(faktor) / Math.log(4) + 1e-9));
    return Math.min(stufe, this.angaben.laengen.length - 1);
  }

  proSekunde(stufe) { return this.angaben.proSekunde / 4 ** stufe; }

  // The greatest value anywhere, from 0 to 1 of full scale.
  groesster() {
    if (!this.da) return 0;
    const werte = this.stufe(this.angaben.laengen.length - 1);
    let groesster = 0;
    for (const wert of werte) groesster = Math.max(groesster, Math.abs(wert));
    return (groesster / 127) ** 2;
  }
}

const PEGEL = { me: new Pegel('me'), them: new Pegel('them'), roh: new Pegel('roh') };

// Decodes one level after the other, from the coarsest on, whenever the browser is idle.
function bereitePegelVor() {
  const offene = Object.values(PEGEL).flatMap((pegel) => pegel.angaben.laengen.map((laenge, i) => [laenge, pegel, i]));
  offene.sort((a, b) => b[0] - a[0]);
  const spaeter = window.requestIdleCallback ?? ((tu) => setTimeout(tu, 100));
  const naechster = () => {
    if (!offene.length) return;
    const [, pegel, stufe] = offene.pop();
    pegel.stufe(stufe);
    spaeter(naechster);
  };
  spaeter(naechster);
}

// Heights by value: between the square root that is stored and the linear one, so that quiet speech is
// seen and noise is not.
const HOEHEN = Float32Array.from({ length: 256 }, (_, i) => {
  const wert = (i << 24) >> 24;
  return Math.sign(wert) * (Math.abs(wert) / 127) ** 1.4;
});
