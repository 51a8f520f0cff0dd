// The levels of the waveforms: pairs of lowest and highest values, coarser from level to level by four.
//
// A level is decoded when it is first drawn; the finest of three hours is 3 MB of text.

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
      const text = atob(document.getElementById(`pegel-${this.name}-${nummer}`).textContent);
      const werte = new Int8Array(text.length);
      for (let i = 0; i < text.length; ++i) werte[i] = text.charCodeAt(i);
      this.stufen[nummer] = werte;
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

// Heights by value: between the square root that is stored and the linear one, so that quiet speech is
// seen and noise is not.
const HOEHEN = Float32Array.from({ length: 256 }, (_, i) => {
  const wert = (i << 24) >> 24;
  return Math.sign(wert) * (Math.abs(wert) / 127) ** 1.4;
});
