// What went wrong and what to do, the figures of the echo path, and the sums, in words.

function teil(name, klasse, ...inhalt) {
  const element = document.createElement(name);
  if (klasse) element.className = klasse;
  element.append(...inhalt);
  return element;
}

// A path, byte by byte, as one word of a command that is pasted into a POSIX shell, where it must not be
// anything else. A terminal takes a pasted control character for a key: it would end the line and begin
// another one. What is not to be seen, is not copied as it is, or is no text becomes octal numbers, and so
// does a backslash, which not every shell leaves alone in quotes.
function alsWort(bytes) {
  let text = null;
  try {
    text = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes);
  } catch {
    // Names are bytes on most systems, not text.
  }
  if (text !== null && /^[\w./-]+$/.test(text)) return text;
  if (text !== null && !/[\\\p{C}\p{Zl}\p{Zp}]|(?! )\p{Zs}/u.test(text))
    return `'${text.replaceAll("'", "'\\''")}'`;
  const zeichen = [...bytes].map((byte) => (/[\w./ -]/.test(String.fromCharCode(byte)) ? String.fromCharCode(byte)
    : `\\${byte.toString(8).padStart(3, '0')}`));
  // The shell drops line feeds at the end of what it is given in this way.
  return `"$(printf '${zeichen.join('')}/.')"`;
}

// The folder of a page that was opened from the file system, as bytes; null for any other page.
function ordnerpfad(ort) {
  if (ort.protocol !== 'file:' || ort.host) return null;
  const zeichen = ort.pathname.slice(0, ort.pathname.lastIndexOf('/')).match(/%[0-9a-f]{2}|./gi) ?? ['/'];
  return Uint8Array.from(zeichen, (eines) => (eines.length > 1 ? parseInt(eines.slice(1), 16) : eines.charCodeAt(0)));
}

// What to run, and where; the page that it makes anew shows what has become of it.
function reparaturbefehl() {
  const pfad = ordnerpfad(location);
  const wort = pfad ? alsWort(pfad) : '.';
  const befehl = teil('code', '', `hallkorb-sitzung reparieren ${wort}; hallkorb-sitzung bericht ${wort}`);
  befehl.dir = 'ltr';
  return teil('p', 'rat', T(pfad ? 'repariere' : 'repariereHier'), ' ', befehl, ' ', T('danach'));
}

const BLOCK_S = 0.016;

// What was found in the folder. Each finding has a weight, what it is and what to do about it; some have the
// recorder's own German words (`grund`), German details (`texte`) of which there may be more (`alle`), and may
// be put right by a repair.
function dateibefunde() {
  return DATEN.befunde.map(({ art, datei, thema, anzahl: wieviele, reparierbar, texte }) => {
    const schluessel = [art, datei, thema].filter((teil_, i) => i < 2 || teil_).join(':');
    const was = TEXTE[sprache].was[schluessel];
    return { gewicht: art === 'fehlt' || art === 'abgeschnitten' ? 'schlimm' : 'fraglich',
      was: was ? was(wieviele) : T('wasSonst'), rat: rat(schluessel, reparierbar), texte, reparierbar, alle: wieviele };
  });
}

function rat(schluessel, reparierbar) {
  const worte = [TEXTE[sprache].rat[schluessel] ?? ''];
  if (schluessel === 'fehlt:chunk' && rohHatFehlendes()) worte.push(T('rohHatEs'));
  if (schluessel === 'uebrig:chunk') {
    worte.push(T(reparierbar ? 'uebrigBekannt' : 'uebrigUnbekannt'));
    if (DATEN.aufnahmen > 1) worte.push(T('uebrigFrueher'));
  }
  return worte.join(' ');
}

// Whether the raw file has what chunks of the microphone that are gone had.
function rohHatFehlendes() {
  const fehlende = CHUNKS.me.filter((chunk) => !chunk.datei && !chunk.ungespielt);
  return ROH_PASST && fehlende.length > 0 && fehlende.every((chunk) => chunk.ende <= DATEN.roh.dauer + 0.05);
}

function meldungsbefunde() {
  return DATEN.meldungen.map(({ name, kanal, text: grund }) => {
    if (name === 'error') return { gewicht: 'schlimm', was: T('fehler'), rat: T('fehlerRat'), grund };
    if (name === 'video_none')
      return { gewicht: 'hinweis', was: T('keinBild'), rat: `${T('keinBildRat')} ${T('grund')}`, grund };
    const was = { me: 'fehltMe', them: 'fehltThem' }[kanal];
    return { gewicht: 'schlimm', was: T(was ?? 'fehltEiner'), rat: was ? `${T(`${was}Rat`)} ${T('grund')}` : T('grund'),
      grund };
  });
}

// Channels that the first line already says are missing, and no other line why.
function startbefunde() {
  return DATEN.ohneGrund.map((kanal) => {
    const was = kanal === 'me' ? 'fehltMe' : 'fehltThem';
    return { gewicht: 'schlimm', was: T(was), rat: T(`${was}Rat`) };
  });
}

// What the waveforms show. Chunks that are gone, or were left out since nobody spoke in them, were not
// silent.
function tonbefunde() {
  const liste = [];
  const nimm = (gewicht, was, ...werte) => liste.push({ gewicht, was: T(was, ...werte), rat: T(`${was}Rat`) });
  const vollstaendig = CHUNKS.me.every((chunk) => chunk.datei);
  const mikrofon = PEGEL.roh.da || !vollstaendig ? PEGEL.roh : PEGEL.me;
  if (mikrofon.da && mikrofon.groesster() < 0.001) nimm('schlimm', 'stillMe');
  else if (mikrofon.da && mikrofon.groesster() < 0.02) nimm('fraglich', 'leiseMe');
  const laut = (PEGEL.roh.da ? PEGEL.roh : PEGEL.me).angaben.uebersteuert;
  if (laut > 3) nimm('fraglich', 'laut', laut.toLocaleString(sprache));
  const { start, echo } = DATEN;
  const leer = (kanal) => DATEN.fertig && !PEGEL[kanal].da && !CHUNKS[kanal].length;
  if (start?.system && leer('them')) nimm('fraglich', 'stillThem');
  if (start?.mic && leer('me') && !PEGEL.roh.da && !echo?.chunksOhneSprache) nimm('schlimm', 'stillMe');
  return liste;
}

function zeitbefunde() {
  const liste = [];
  for (const kanal of KANAELE) {
    const werte = DATEN.zeitachse?.[kanal];
    if (!werte) continue;
    const dauer = (ms) => (ms < 1000 ? `${alsZahl(ms, ms < 10 ? 1 : 0)} ms` : alsDauer(ms / 1000));
    if (werte.luecken)
      liste.push({ gewicht: werte.lueckenMs > 500 ? 'fraglich' : 'hinweis',
        was: T('luecken', T(kanal), werte.luecken, dauer(werte.lueckenMs)), rat: T('lueckenRat') });
    if (werte.ueberlappungen)
      liste.push({ gewicht: 'hinweis', rat: T('ueberlappungenRat'),
        was: T('ueberlappungen', T(kanal), werte.ueberlappungen, dauer(werte.verworfenMs)) });
  }
  return liste;
}

function zeigeBefunde() {
  const liste = [...meldungsbefunde(), ...startbefunde(), ...dateibefunde(), ...tonbefunde(), ...zeitbefunde()];
  if (!DATEN.zeilen) liste.unshift({ gewicht: 'fraglich', was: T('ohneZeilen'), rat: T('ohneZeilenRat') });
  if (DATEN.aufnahmen > 1)
    liste.push({ gewicht: 'hinweis', was: T('mehrere', DATEN.aufnahmen), rat: T('mehrereRat') });
  if (!liste.some(({ gewicht }) => gewicht === 'schlimm') && !DATEN.befunde.length)
    liste.unshift({ gewicht: 'gut', was: T(DATEN.zeilen ? 'ganz' : 'dateienGanz'), rat: DATEN.zeilen ? T('ganzRat') : '' });
  const rang = { gut: 0, schlimm: 1, fraglich: 2, hinweis: 3 };
  liste.sort((a, b) => rang[a.gewicht] - rang[b.gewicht]);
  // The command stands once, below the last thing that it puts right.
  const letzter = liste.findLastIndex((eintrag) => eintrag.reparierbar);
  document.getElementById('befunde').replaceChildren(...liste.map((eintrag, i) => befund(eintrag, i === letzter)));
}

// Text in the recorder's language, whatever the page's is.
function deutsch(element) {
  element.lang = 'de';
  return element;
}

function befund({ gewicht, was, rat, grund, texte = [], alle = texte.length }, mitBefehl) {
  // Colour and sign are for the eye alone.
  const worte = teil('div', '', teil('p', 'was', teil('span', 'nurvorleser', `${TEXTE[sprache].gewicht[gewicht]}: `), was));
  if (rat) worte.append(teil('p', 'rat', rat, ...(grund ? [' ', deutsch(teil('bdi', '', grund))] : [])));
  if (mitBefehl) worte.append(reparaturbefehl());
  if (texte.length) {
    const genauer = teil('details', '', teil('summary', '', T('genauer', texte.length, alle)),
      teil('ul', '', ...texte.map((text) => teil('li', '', teil('bdi', '', text)))));
    deutsch(genauer.lastChild);
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
    const titel = bild.pause ? [`${T('pause')}: `, deutsch(teil('span', '', bild.text))] : [bild.text];
    const knopf = teil('button', '', zeit, teil('bdi', '', ...titel));
    knopf.type = 'button';
    knopf.addEventListener('click', () => springe(bild.t));
    return teil('li', bild.pause ? 'pause' : '', knopf);
  }));
}
