// What went wrong and what to do, the figures of the echo path, and the sums, in words.

function teil(name, klasse, ...inhalt) {
  const element = document.createElement(name);
  if (klasse) element.className = klasse;
  element.append(...inhalt);
  return element;
}

// A name as one word of a command that is copied into a shell, where it must not be anything else.
function alsWort(name) {
  const ohneOption = name.startsWith('-') ? `./${name}` : name;
  return /^[\w./-]+$/.test(ohneOption) ? ohneOption : `'${ohneOption.replaceAll("'", "'\\''")}'`;
}

const BLOCK_S = 0.016;

// [weight, what, advice, details, whether the repair helps, how many there are], from what was found in
// the folder.
function dateibefunde() {
  return DATEN.befunde.map(({ art, datei, anzahl: wieviele, reparierbar, texte }) => {
    const schluessel = `${art}:${datei}`;
    const was = TEXTE[sprache].was[schluessel];
    return [art === 'fehlt' || art === 'abgeschnitten' ? 'schlimm' : 'fraglich',
      was ? was(wieviele) : T('wasSonst'), rat(schluessel, reparierbar), texte, reparierbar, wieviele];
  });
}

function rat(schluessel, reparierbar) {
  const worte = TEXTE[sprache].rat[schluessel] ?? '';
  if (schluessel === 'fehlt:chunk' && rohHatFehlendes()) return `${worte} ${T('rohHatEs')}`;
  if (schluessel === 'uebrig:chunk') return `${worte} ${T(reparierbar ? 'uebrigBekannt' : 'uebrigUnbekannt')}`;
  return worte;
}

// Whether the raw file has what chunks of the microphone that are gone had.
function rohHatFehlendes() {
  const fehlende = CHUNKS.me.filter((chunk) => !chunk.datei);
  return ROH_PASST && fehlende.length > 0 && fehlende.every((chunk) => chunk.ende <= DATEN.roh.dauer + 0.05);
}

function meldungsbefunde() {
  return DATEN.meldungen.map(({ name, kanal, text }) => {
    if (name === 'error') return ['schlimm', T('fehler'), `${T('fehlerRat')} ${text}`];
    if (name === 'video_none') return ['hinweis', T('keinBild'), `${T('keinBildRat')} ${T('grund', text)}`];
    const was = { me: 'fehltMe', them: 'fehltThem' }[kanal];
    return ['schlimm', T(was ?? 'fehltEiner'), was ? `${T(`${was}Rat`)} ${T('grund', text)}` : T('grund', text)];
  });
}

// Channels that the first line already says are missing, and no other line why.
function startbefunde() {
  return DATEN.ohneGrund.map((kanal) => {
    const was = kanal === 'me' ? 'fehltMe' : 'fehltThem';
    return ['schlimm', T(was), T(`${was}Rat`)];
  });
}

// What the waveforms show. Chunks that are gone, or were left out since nobody spoke in them, were not
// silent.
function tonbefunde() {
  const liste = [];
  const vollstaendig = CHUNKS.me.every((chunk) => chunk.datei);
  const mikrofon = PEGEL.roh.da || !vollstaendig ? PEGEL.roh : PEGEL.me;
  if (mikrofon.da && mikrofon.groesster() < 0.001) liste.push(['schlimm', T('stillMe'), T('stillMeRat')]);
  else if (mikrofon.da && mikrofon.groesster() < 0.02) liste.push(['fraglich', T('leiseMe'), T('leiseMeRat')]);
  const laut = (PEGEL.roh.da ? PEGEL.roh : PEGEL.me).angaben.uebersteuert;
  if (laut > 3) liste.push(['fraglich', T('laut', laut.toLocaleString(sprache)), T('lautRat')]);
  const { start, echo } = DATEN;
  const leer = (kanal) => DATEN.fertig && !PEGEL[kanal].da && !CHUNKS[kanal].length;
  if (start?.system && leer('them')) liste.push(['fraglich', T('stillThem'), T('stillThemRat')]);
  if (start?.mic && leer('me') && !PEGEL.roh.da && !echo?.chunksOhneSprache)
    liste.push(['schlimm', T('stillMe'), T('stillMeRat')]);
  return liste;
}

function zeitbefunde() {
  const liste = [];
  for (const kanal of KANAELE) {
    const werte = DATEN.zeitachse?.[kanal];
    if (!werte) continue;
    const dauer = (ms) => (ms < 1000 ? `${alsZahl(ms, ms < 10 ? 1 : 0)} ms` : alsDauer(ms / 1000));
    if (werte.luecken)
      liste.push([werte.lueckenMs > 500 ? 'fraglich' : 'hinweis',
        T('luecken', T(kanal), werte.luecken, dauer(werte.lueckenMs)), T('lueckenRat')]);
    if (werte.ueberlappungen)
      liste.push(['hinweis', T('ueberlappungen', T(kanal), werte.ueberlappungen, dauer(werte.verworfenMs)),
        T('ueberlappungenRat')]);
  }
  return liste;
}

function zeigeBefunde() {
  const liste = [...meldungsbefunde(), ...startbefunde(), ...dateibefunde(), ...tonbefunde(), ...zeitbefunde()];
  if (!DATEN.zeilen) liste.unshift(['fraglich', T('ohneZeilen'), T('ohneZeilenRat')]);
  if (DATEN.aufnahmen > 1) liste.push(['hinweis', T('mehrere', DATEN.aufnahmen), T('mehrereRat')]);
  if (!liste.some(([gewicht]) => gewicht === 'schlimm') && !DATEN.befunde.length)
    liste.unshift(['gut', T(DATEN.zeilen ? 'ganz' : 'dateienGanz'), DATEN.zeilen ? T('ganzRat') : '']);
  const rang = { gut: 0, schlimm: 1, fraglich: 2, hinweis: 3 };
  liste.sort((a, b) => rang[a[0]] - rang[b[0]]);
  // The command stands once, below the last thing that it puts right.
  const letzter = liste.findLastIndex((eintrag) => eintrag[4]);
  document.getElementById('befunde').replaceChildren(...liste.map((eintrag, i) => befund(eintrag, i === letzter)));
}

function befund([gewicht, was, rat, texte = [], , alle = texte.length], mitBefehl) {
  const worte = teil('div', '', teil('p', 'was', was));
  if (rat) worte.append(teil('p', 'rat', teil('bdi', '', rat)));
  if (mitBefehl)
    worte.append(teil('p', 'rat', T('repariere'), ' ',
      teil('code', '', `hallkorb-sitzung reparieren ${alsWort(DATEN.name)}`)));
  if (texte.length) {
    const genauer = teil('details', '', teil('summary', '', T('genauer', texte.length, alle)),
      teil('ul', '', ...texte.map((text) => teil('li', '', teil('bdi', '', text)))));
    genauer.lastChild.lang = 'de';
    worte.append(genauer);
  }
  const zeichen = teil('span', 'zeichen', { gut: '✓', schlimm: '!', fraglich: '?', hinweis: 'i' }[gewicht]);
  zeichen.setAttribute('aria-hidden', 'true');
  return teil('li', gewicht, zeichen, worte);
}

function echoSaetze() {
  const { echo, start } = DATEN;
  if (!echo) return [T(start && !start.echo ? 'keinEcho' : 'echoUnbekannt')];
  const ms = echo.verzoegerungMs;
  // Nothing can be found if there was hardly anything to compare with.
  const ohneVergleich = echo.bloecke > 0 && echo.ohneReferenz > 0.9 * echo.bloecke;
  const saetze = [ms > 0
    ? [T('weg', Math.round(ms)), T(ms < 60 ? 'wegKurz' : ms <= 250 ? 'wegUeblich' : 'wegLang')]
    : [T(ohneVergleich ? 'ohneVergleich' : 'keinWeg')]];
  const urteil = [[0.05, 'leckGut'], [0.15, 'leckMittel'], [0.5, ''], [2, 'leckViel']].find(([bis]) => echo.leck < bis)[1];
  if (ms > 0) saetze.push([T('leck', alsProzent(echo.leck)), urteil && T(urteil)]);
  saetze.push([T('anteile', alsProzent(echo.nahAnteil), alsProzent(echo.torAnteil)),
    echo.chunksOhneSprache ? T('ohneSprache', echo.chunksOhneSprache) : '']);
  const unruhe = echo.versatzWechsel + echo.resets;
  if (ms > 0) saetze.push([T(unruhe > 1 ? 'unruhig' : 'ruhig', unruhe)]);
  if (echo.ohneReferenz * BLOCK_S >= 0.5) saetze.push([T('ohneReferenz', alsDauer(echo.ohneReferenz * BLOCK_S))]);
  if (echo.ausfaelle) saetze.push([T('ausfaelle', echo.ausfaelle)]);
  if (DATEN.roh) saetze.push([T('vergleich')]);
  return saetze.map((teile) => teile.filter(Boolean).join(' '));
}

function zeigeEcho() {
  document.getElementById('echo').replaceChildren(...echoSaetze().map((satz) => teil('p', '', satz)));
}

function zeigeKennzahlen() {
  // As announced: who has deleted chunks has spoken all the same.
  const zugleich = gemeinsam(ANGESAGT.me, ANGESAGT.them);
  const me = summe(ANGESAGT.me);
  const them = summe(ANGESAGT.them);
  const werte = [['gesamt', '', DAUER], ['ichSprach', 'me', me], ['gegenueberSprach', 'them', them]];
  // Without the times nobody knows who spoke at once.
  if (DATEN.zeilen)
    werte.push(['zugleich', '', zugleich], ['niemand', '', Math.max(DAUER - me - them + zugleich, 0)]);
  document.getElementById('kennzahlen').replaceChildren(...werte.map(([name, klasse, dauer]) =>
    teil('div', klasse, teil('dt', '', T(name)), teil('dd', '', alsDauer(dauer)))));
}

function zeigeBilder(springe) {
  document.getElementById('bilder-karte').hidden = !BILDER.length;
  document.getElementById('bilder').replaceChildren(...BILDER.slice(0, 1000).map((bild) => {
    const zeit = teil('time', '', alsZeit(bild.t));
    const knopf = teil('button', '', zeit, teil('bdi', '', bild.pause ? `${T('pause')}: ${bild.text}` : bild.text));
    knopf.type = 'button';
    knopf.addEventListener('click', () => springe(bild.t));
    return teil('li', bild.pause ? 'pause' : '', knopf);
  }));
}
