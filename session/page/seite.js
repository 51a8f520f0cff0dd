// Puts the page together and keeps it up to date.

const an = (id) => document.getElementById(id);

class Seite {
  constructor() {
    this.ansicht = new Ansicht();
    this.spieler = new Spieler(an('bild'), an('toene'));
    this.zeichner = new Zeichner(this.ansicht, an('zeit'), an('uebersicht'));
    this.tabelle = new Tabelle(this.spieler);
    this.bedienung = new Bedienung(this.ansicht, this.zeichner, this.spieler);
    this.gespielt = '';
    an('zeit').classList.toggle('knapp', !BILDER.length);
    an('bildfeld').hidden = !DATEN.video;
    an('leer').hidden = CHUNKS.me.length + CHUNKS.them.length > 0 || Boolean(DATEN.roh);
    an('zeit').setAttribute('aria-valuemax', DAUER.toFixed(1));
    an('zeit').addEventListener('focus', () => this.nenneStelle());
    this.ansicht.beiAenderung = () => this.zeigeAnsicht();
    this.bedienung.beiAusschnitt = () =>
      this.sage(T('zeigtVonBis', alsZeit(this.ansicht.von, 1), alsZeit(this.ansicht.bis, 1)));
    this.spieler.beiZeit = () => this.zeigeZeit();
    this.spieler.beiStand = () => this.zeigeStand();
    for (const [id, neue] of [['deutsch', 'de'], ['englisch', 'en']])
      an(id).addEventListener('click', () => this.sprich(neue));
    new ResizeObserver(() => this.miss()).observe(an('zeit'));
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => this.faerbe());
    this.sprich(sprache);
    this.miss();
    bereitePegelVor();
    if (!CHUNKS.me.length) this.bedienung.waehleFassung(true);
    // The picture of the first moment, without a press of "play".
    if (DATEN.video) this.spieler.geheZu(0);
  }

  sprich(neue) {
    setzeSprache(neue);
    for (const [id, eine] of [['deutsch', 'de'], ['englisch', 'en']])
      an(id).setAttribute('aria-pressed', String(eine === neue));
    for (const wahl of an('tempo').options) wahl.textContent = `${Number(wahl.value).toLocaleString(neue)}×`;
    an('name').textContent = DATEN.name;
    document.title = `${DATEN.name} – hallkorb`;
    an('wann').textContent = this.wann();
    an('dauer').textContent = alsZeit(DAUER);
    an('leer').textContent = T('leer');
    zeigeKennzahlen();
    zeigeBefunde();
    zeigeEcho();
    zeigeBilder((t) => this.bedienung.springe(t));
    this.tabelle.zeige();
    this.zeigeStand();
    this.nenneStelle();
    this.zeichner.bestelle();
  }

  wann() {
    const tag = tageszeit(0, { dateStyle: 'full' });
    return tag && `${tag}, ${tageszeit(0, { timeStyle: 'short' })} – ${tageszeit(DAUER, { timeStyle: 'short' })}`;
  }

  miss() {
    this.zeichner.miss();
    this.zeichner.zeichneUebersicht();
    this.zeigeAnsicht();
    this.zeigeZeit();
  }

  faerbe() {
    this.zeichner.liesFarben();
    this.miss();
  }

  zeigeAnsicht() {
    const { von, spanne } = this.ansicht;
    an('fenster').style.left = `${von / DAUER * 100}%`;
    an('fenster').style.width = `${spanne / DAUER * 100}%`;
    for (const id of ['kleiner', 'alles']) sperre(id, spanne >= DAUER - 1e-6);
    sperre('groesser', spanne <= this.ansicht.kleinste + 1e-6);
    Object.assign(an('zeit').dataset, { von: von.toFixed(3), bis: this.ansicht.bis.toFixed(3) });
    this.zeigeZeiger();
    this.zeichner.bestelle();
  }

  zeigeZeiger() {
    const x = this.ansicht.x(this.spieler.t);
    an('zeiger').style.transform = `translateX(${Math.min(Math.max(x, -20), this.ansicht.breite + 20)}px)`;
  }

  zeigeZeit() {
    const { t, laeuft, wartet } = this.spieler;
    if (laeuft && !this.bedienung.finger.size) this.ansicht.folge(t);
    this.zeigeZeiger();
    this.setze('jetzt', alsZeit(t, 1));
    this.setze('tageszeit', tageszeit(t));
    an('zeit').dataset.stelle = t.toFixed(3);
    // A screen reader reads each new value of the slider, over what is being played.
    if (!laeuft || wartet) this.nenneStelle();
    this.zeigeBild(t);
    this.zeigeGehoertes();
  }

  nenneStelle() {
    const { t } = this.spieler;
    const feld = an('zeit');
    const chunks = KANAELE.map((kanal) => chunkBei(kanal, t)).filter(Boolean);
    const text = [T('stelle', alsZeit(t, 1), alsZeit(DAUER)), tageszeit(t), ...chunks.map((chunk) => chunk.name())]
      .filter(Boolean).join(', ');
    if (feld.getAttribute('aria-valuetext') === text) return;
    feld.setAttribute('aria-valuenow', t.toFixed(1));
    feld.setAttribute('aria-valuetext', text);
  }

  setze(id, text) {
    if (an(id).textContent !== text) an(id).textContent = text;
  }

  zeigeBild(t) {
    if (!DATEN.video) return;
    const bild = BILDER.find((b) => t >= b.t && t < b.bis);
    // A window whose pictures were all taken back is before the film, too.
    const vorher = BILDER.length > 0 && t < Math.max(BILDER[0].t, BILD_AB);
    an('bildpause').hidden = !bild?.pause && !vorher;
    this.setze('bildpause', vorher ? T('nochKeinBild') : T('bildpause'));
    this.setze('bildtitel', bild && !bild.pause && !vorher ? bild.text : ' ');
  }

  zeigeStand() {
    const { laeuft, fehler, verweigert } = this.spieler;
    document.body.classList.toggle('laeuft', laeuft);
    an('spiel').setAttribute('aria-label', T(laeuft ? 'anhalten' : 'abspielen'));
    an('spiel').title = T(laeuft ? 'anhalten' : 'abspielen');
    this.fehler = [verweigert && T('verweigert'),
      fehler.size && T('nichtAbspielbar', [...fehler].slice(0, 3).join(', '))].filter(Boolean).join(' ');
    this.gespielt = '';
    this.zeigeZeit();
  }

  // Where one can look at it; most of it is not said.
  zeigeGehoertes() {
    const { spieler } = this;
    const chunks = spieler.laeuft ? spieler.gehoerte() : [];
    const was = chunks.map((chunk) => chunk.name());
    if (spieler.laeuft && spieler.hoertRoh()) was.unshift(T('rohesMikrofon'));
    const stumm = KANAELE.some((kanal) => chunkBei(kanal, spieler.t));
    const fehlt = spieler.laeuft && !was.length && !stumm ? stummerBei(spieler.t) : undefined;
    const nichts = T(stumm ? 'stumm' : !fehlt ? 'spieltNichts' : fehlt.ungespielt ? 'spieltFremdes' : 'spieltFehlendes');
    const worte = !spieler.laeuft ? '' : was.length ? T('spielt', was.join(' + ')) : nichts;
    this.sageNeues(worte, Boolean(fehlt));
    const text = [worte, this.fehler].filter(Boolean).join(' ');
    if (text === this.gespielt) return;
    this.gespielt = text;
    this.setze('gehoert', text);
    this.zeichner.spielt = new Set(chunks);
    this.tabelle.markiere(this.zeichner.spielt);
    this.zeichner.bestelle();
  }

  // What a screen reader says while the recording may be heard: only that it starts or ends, and what is
  // missing.
  sageNeues(worte, fehlt) {
    const { laeuft, wartet, nur, bis, t } = this.spieler;
    const { fehler } = this;
    if (wartet) return;
    const davor = this.zuletzt ?? { laeuft: false };
    this.zuletzt = { laeuft, fehlt, fehler, einzeln: nur ? `${nur} ${bis}` : '' };
    const beginnt = laeuft && (!davor.laeuft || (nur && this.zuletzt.einzeln !== davor.einzeln));
    if (beginnt || (fehlt && !davor.fehlt)) this.sage(worte);
    else if (davor.laeuft && !laeuft) this.sage(T(t >= DAUER - 0.05 ? 'zuEnde' : 'angehalten'));
    if (fehler && fehler !== davor.fehler) this.sage(fehler);
  }

  sage(text) {
    this.setze('laut', text);
  }
}

new Seite();
