// Which part of the recording is seen: seconds from `von` to `bis`, over so many pixels.

class Ansicht {
  constructor() {
    this.von = 0;
    this.bis = DAUER;
    this.breite = 1;
    this.beiAenderung = () => {};
  }

  get spanne() { return this.bis - this.von; }
  get kleinste() { return Math.min(DAUER, 2); }
  x(t) { return (t - this.von) / this.spanne * this.breite; }
  t(x) { return this.von + x / this.breite * this.spanne; }

  zeige(von, spanne) {
    const neue = Math.min(Math.max(spanne, this.kleinste), DAUER);
    this.von = Math.min(Math.max(von, 0), DAUER - neue);
    this.bis = this.von + neue;
    this.beiAenderung();
  }

  // What lies at `t` stays where it is.
  zoome(faktor, t) {
    const spanne = Math.min(Math.max(this.spanne * faktor, this.kleinste), DAUER);
    this.zeige(t - (t - this.von) / this.spanne * spanne, spanne);
  }

  verschiebe(sekunden) { this.zeige(this.von + sekunden, this.spanne); }

  // Moves on if `t` has left the view.
  folge(t) {
    if (t < this.von || t > this.bis) this.zeige(t - this.spanne * 0.08, this.spanne);
  }
}
