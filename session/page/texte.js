// Every word of the page, in both languages.
//
// A text with figures in it is a function. Markup is never put together from texts: what comes out
// goes into the page as text.

const anzahl = (zahl, eines, viele) => `${zahl} ${zahl === 1 ? eines : viele}`;

const FRUEHER_DE = 'Das lag schon im Ordner, als diese Aufnahme begann; diese Seite zeigt davon nichts.';
const FRUEHER_EN = 'It was in the folder before this recording began; this page shows nothing of it.';

const TEXTE = {
  de: {
    zumPlayer: 'Zur Zeitachse', sprache: 'Sprache', hoeren: 'Anhören', zeit: 'Zeitachse',
    abspielen: 'Abspielen', anhalten: 'Anhalten', davor: 'Voriger Chunk', danach: 'Nächster Chunk',
    mikrofon: 'Mikrofon', gereinigt: 'gereinigt', roh: 'roh', kanaele: 'Hörbare Kanäle', me: 'Ich', them: 'Gegenüber',
    tempo: 'Tempo', ausschnitt: 'Ausschnitt', kleiner: 'Verkleinern', groesser: 'Vergrößern', alles: 'Alles zeigen',
    bedienung: 'Bedienung und Legende',
    tasten: 'Klick: an diese Stelle. Klick auf einen Balken: diesen Chunk abspielen. Doppelklick: ab hier ' +
      'abspielen. Mausrad oder zwei Finger: vergrößern; Umschalt und Mausrad oder ziehen: verschieben. Tasten: ' +
      'Leertaste spielt und hält an; Pfeile nach rechts und links 1 Sekunde vor und zurück (mit Umschalt 0,1), nach ' +
      'oben und unten 10 Sekunden vor und zurück; Bild auf und ab einen Ausschnitt vor und zurück; Pos1 zum Anfang, ' +
      'Ende zum Ende; plus und minus vergrößern und verkleinern, 0 zeigt alles; N und P zum nächsten und vorigen ' +
      'Beginn eines Chunks; Eingabe spielt den Chunk an dieser Stelle; R wechselt zwischen roh und gereinigt.',
    legendeMe: 'ich: behaltener Ton, darunter seine Chunks', legendeThem: 'Gegenüber: das Gleiche',
    legendeVerworfen: 'nicht behalten (still oder ohne Sprache); steht nur in der rohen Aufnahme',
    legendeFehlt: 'angesagt, aber nicht abspielbar', legendeDoppelt: 'zwei Chunks überlappen sich',
    legendeBild: 'was das Video zeigt; schraffiert: Pause',
    befunde: 'Ist alles da?', echo: 'Das Echo', bilder: 'Was das Video zeigt', chunks: 'Alle Chunks', tabelle: 'Tabelle der Chunks',
    zeige: 'Zeige',
    beide: 'beide Kanäle', kanal: 'Kanal', nummer: 'Nr.', beginn: 'Beginn', uhrzeit: 'Uhrzeit', laenge: 'Länge',
    sprachanteil: 'davon Sprache', datei: 'Datei', blaettern: 'Blättern', zurueck: 'Zurück', weiter: 'Weiter',
    hier: 'Zur Stelle des Zeigers',
    fuss: 'Erstellt von hallkorb-sitzung. Ton und Bild spielt diese Seite aus den Dateien neben ihr; sie verlässt ' +
      'diesen Rechner nicht.',
    fehlt: 'fehlt', ungespielt: 'nicht abgespielt', ausRoh: 'roh',
    angehalten: 'Angehalten.', zuEnde: 'Ende der Aufnahme.',
    zeigtVonBis: (von, bis) => `Zu sehen: ${von} bis ${bis}`,
    gewicht: { gut: 'Gut', schlimm: 'Schlimm', fraglich: 'Fraglich', hinweis: 'Hinweis' },
    leer: 'In diesem Ordner ist kein Ton, der sich abspielen lässt.',
    chunkName: (kanal, nummer) => `${kanal}, Chunk ${nummer}`,
    spieleChunk: (kanal, nummer, ab) => `${kanal}, Chunk ${nummer} bei ${ab} abspielen`,
    stelle: (t, dauer) => `${t} von ${dauer}`,
    welche: (von, bis, alle) => (alle ? `${von} bis ${bis} von ${alle}` : 'keine'),
    spielt: (was) => `Zu hören: ${was}`, spieltNichts: 'Hier wurde nichts behalten.',
    spieltFehlendes: 'Was hier zu hören wäre, fehlt.',
    spieltFremdes: 'Was hier zu hören wäre, hat eine andere Abtastrate und wird nicht abgespielt.',
    verweigert: 'Der Browser hat das Abspielen verweigert. Noch einmal auf „Abspielen“ drücken, oder in den ' +
      'Einstellungen des Browsers dieser Seite den Ton erlauben.',
    stumm: 'Was hier zu hören wäre, ist ausgeschaltet.',
    rohesMikrofon: 'rohes Mikrofon', nichtAbspielbar: (datei) => `${datei} lässt sich nicht abspielen.`,
    nichtBehalten: (dauer) => `${dauer} nicht behalten`,
    davonSprache: (s) => `davon ${s} Sprache`,
    pause: 'Pause', bildpause: 'Pause: Hier wurde kein Bild aufgenommen.', nochKeinBild: 'Noch kein Bild',
    gesamt: 'Dauer', ichSprach: 'Ich', gegenueberSprach: 'Gegenüber', zugleich: 'Beide zugleich', niemand: 'Niemand',
    // What went wrong.
    ganz: 'Die Aufnahme ist vollständig.',
    ganzRat: 'Jede Datei ist da, und jede enthält, was von ihr angesagt wurde.',
    dateienGanz: 'Die Dateien sind in sich vollständig.',
    genauer: (n, alle) => (n === 1 ? 'Genauer' : n < alle ? `Die ersten ${n} von ${alle}` : `Alle ${n}`),
    repariere: 'Das bringt dieser Befehl in Ordnung; die Originale bleiben erhalten:',
    repariereHier: 'Das bringt dieser Befehl in Ordnung, im Ordner der Aufnahme eingegeben; die Originale bleiben erhalten:',
    danach: 'Danach diese Seite neu laden.',
    ohneZeilen: 'Wann die Chunks gesprochen wurden, ist nicht bekannt.',
    ohneZeilenRat: 'Die Zeilen des Aufnahmeprogramms (ereignisse.jsonl) liegen nicht lesbar im Ordner. Die Chunks ' +
      'stehen deshalb ohne ihre Pausen hintereinander, und rohes Mikrofon und Video passen nicht zu ihnen. Wer die ' +
      'Aufnahme startet, sollte seine Standardausgabe unter diesem Namen behalten.',
    mehrere: (n) => `Im Ordner liegen die Zeilen von ${n} Aufnahmen; diese Seite zeigt die letzte.`,
    mehrereRat: 'Spätere Aufnahmen überschreiben die Dateien der früheren. Ein Ordner für jede Aufnahme vermeidet das.',
    fehltMe: 'Das Mikrofon wurde nicht aufgenommen.', fehltThem: 'Der Ton des Rechners wurde nicht aufgenommen.',
    fehltEiner: 'Ein Kanal wurde nicht aufgenommen.',
    fehltMeRat: 'Ist ein Mikrofon angeschlossen und erlaubt? Unter macOS braucht das Programm die Erlaubnis dazu.',
    fehltThemRat: 'Läuft PipeWire mit WirePlumber, und gibt es ein Ausgabegerät? Unter macOS braucht das Programm ' +
      'die Erlaubnis für Bildschirm- und Systemton.',
    stillMe: 'Vom Mikrofon kam nichts als Stille.', stillThem: 'Vom Rechner kam nichts als Stille.',
    stillMeRat: 'War das Mikrofon stumm geschaltet, oder war ein anderes eingestellt?',
    stillThemRat: 'War der Ton aus, oder lief er über ein anderes Gerät als das eingestellte?',
    leiseMe: 'Das Mikrofon war sehr leise.',
    leiseMeRat: 'Den Eingangspegel höher stellen oder näher herangehen.',
    laut: (s) => `Das Mikrofon war an ${s} Stellen übersteuert.`,
    lautRat: 'Dort klingt es verzerrt. Den Eingangspegel niedriger stellen.',
    keinBild: 'Es wurde kein Fenster einer Besprechung gefunden.',
    keinBildRat: 'Ein Video entsteht nur, solange das Fenster einer Besprechung auf dem Bildschirm ist.',
    fehler: 'Die Aufnahme konnte nicht beginnen.', fehlerRat: 'Der Grund, wie ihn das Programm genannt hat:',
    luecken: (kanal, n, s) => `Bei „${kanal}“ fehlte ${n === 1 ? 'einmal' : `${n}-mal`} Ton, zusammen ${s}.`,
    lueckenRat: 'Dort ist Stille eingesetzt, damit die Zeiten stimmen. Meist war das Gerät kurz weg oder der Rechner ' +
      'überlastet.',
    ueberlappungen: (kanal, n, s) =>
      `Bei „${kanal}“ kam ${n === 1 ? 'einmal' : `${n}-mal`} etwas doppelt an; ${s} sind weggelassen.`,
    ueberlappungenRat: 'Das kommt beim Wechsel des Geräts vor und ist kaum zu hören.',
    grund: 'Gemeldet wurde:',
    was: {
      'fehlt:chunk': (n) => `${anzahl(n, 'Chunk fehlt', 'Chunks fehlen')}.`,
      'fehlt:video.mp4': () => 'Das Video fehlt.',
      'fehlt:ereignisse.jsonl': () => 'Die Zeile vom Beginn der Aufnahme fehlt; die Uhrzeit ist nicht bekannt.',
      'fehlt:': () => 'Der Ordner enthält keinen Ton und kein Bild.',
      'abgeschnitten:ereignisse.jsonl': () => 'Die Aufnahme wurde abgebrochen, oder sie läuft noch.',
      'abgeschnitten:chunk': (n) => `${anzahl(n, 'Chunk ist', 'Chunks sind')} kürzer oder länger als angesagt.`,
      'abgeschnitten:mikro_roh.wav': () => 'Die rohe Aufnahme des Mikrofons ist nicht richtig abgeschlossen.',
      'abgeschnitten:video.mp4': () => 'Das Video ist nicht richtig abgeschlossen.',
      'zweifelhaft:ereignisse.jsonl:zeile': (n) => `${anzahl(n, 'Zeile ist', 'Zeilen sind')} nicht lesbar.`,
      'zweifelhaft:ereignisse.jsonl:zeilenende': () => 'Die Zeilen des Aufnahmeprogramms sind nicht bis zum Ende lesbar.',
      'zweifelhaft:ereignisse.jsonl': () => 'Die Zeilen des Aufnahmeprogramms sind nicht lesbar.',
      'zweifelhaft:chunk': (n) => `Bei ${anzahl(n, 'Chunk', 'Chunks')} passen Datei und Ansage nicht zusammen.`,
      'zweifelhaft:chunk:rate': (n) => `${anzahl(n, 'Chunk hat', 'Chunks haben')} eine andere Abtastrate.`,
      'zweifelhaft:mikro_roh.wav': () => 'Die rohe Aufnahme des Mikrofons ist nicht lesbar.',
      'zweifelhaft:mikro_roh.wav:rate': () => 'Die rohe Aufnahme des Mikrofons hat eine andere Abtastrate als die Chunks.',
      'zweifelhaft:video.mp4': () => 'Beim Video passen Datei und Ansage nicht zusammen.',
      'uebrig:chunk': (n) => `${anzahl(n, 'Chunk wurde', 'Chunks wurden')} nie angesagt und ` +
        `${n === 1 ? 'steht' : 'stehen'} nicht auf der Zeitachse.`,
      'uebrig:chunk:frueher': (n) => `${anzahl(n, 'Chunk ist', 'Chunks sind')} von einer früheren Aufnahme.`,
      'uebrig:mikro_roh.wav:frueher': () => 'Das rohe Mikrofon (mikro_roh.wav) ist von einer früheren Aufnahme.',
      'uebrig:video.mp4:frueher': () => 'Das Video ist von einer früheren Aufnahme.',
      'uebrig:': (n) => `${anzahl(n, 'Datei blieb', 'Dateien blieben')} unfertig zurück.`,
    },
    wasSonst: 'Etwas im Ordner stimmt nicht.',
    rat: {
      'fehlt:chunk': 'Vielleicht wurden sie gelöscht, oder sie liegen noch dort, woher der Ordner kopiert wurde.',
      'fehlt:video.mp4': 'Vielleicht liegt es noch dort, woher der Ordner kopiert wurde.',
      'abgeschnitten:chunk': 'Wurde der Ordner vollständig kopiert?',
      'zweifelhaft:ereignisse.jsonl:zeile': 'Was diese Zeilen sagen sollten, fehlt auf dieser Seite.',
      'zweifelhaft:ereignisse.jsonl:zeilenende': 'Was danach kam, fehlt auf dieser Seite.',
      'zweifelhaft:chunk:rate': 'Diese Seite spielt sie nicht ab. Vermutlich wurden Dateien vertauscht.',
      'zweifelhaft:chunk': 'Vermutlich wurden Dateien vertauscht oder verändert.',
      'uebrig:chunk': 'Das Programm wurde beendet, bevor es sie ansagen konnte, oder niemand hat die Ansage behalten.',
      'uebrig:chunk:frueher': FRUEHER_DE,
      'uebrig:mikro_roh.wav:frueher': FRUEHER_DE,
      'uebrig:video.mp4:frueher': FRUEHER_DE,
    },
    uebrigFrueher: 'Oder sie sind von einer früheren Aufnahme in diesem Ordner.',
    rohHatEs: 'Vom Mikrofon hat auch die rohe Aufnahme diese Stellen.',
    uebrigUnbekannt: 'Ihre Zeit ist nicht bekannt.', uebrigBekannt: 'Ihre Zeit ergibt sich aus ihrer Länge.',
    // The echo path.
    keinEcho: 'Bei dieser Aufnahme wurde kein Echo entfernt.',
    echoUnbekannt: 'Wie gut das Echo entfernt wurde, ist nicht bekannt: Das steht in einer der letzten Zeilen einer ' +
      'Aufnahme, und die liegt hier nicht vor.',
    weg: (ms) => `Was aus dem Lautsprecher kommt, ist nach ${ms} ms im Mikrofon zu hören.`,
    wegKurz: 'Das ist kurz, wie bei den eingebauten Lautsprechern eines Laptops.', wegUeblich: 'Das ist üblich.',
    wegLang: 'Das ist lang, wie bei Bluetooth oder einem Fernseher.',
    ohneVergleich: 'Ob im Mikrofon Echo war, ist nicht bekannt: Es fehlte zum Vergleich, was der Rechner abspielte.',
    keinWeg: 'Im Mikrofon war kein Echo zu finden. So ist es mit Kopfhörern, oder wenn die Gegenseite sehr leise ist.',
    leck: (p) => `Der Filter ließ zuletzt ${p} vom Ton der Gegenseite durch, die ein Nachfilter noch dämpft.`,
    leckGut: 'Das ist sehr wenig.', leckMittel: 'Das ist wenig.',
    leckViel: 'Das ist viel: Der Lautsprecher war wohl sehr laut oder verzerrt. Leiser stellen oder Kopfhörer helfen.',
    anteile: (nah, tor) => `${nah} der Zeit haben Sie gesprochen; ${tor} der Zeit war nur die Gegenseite im Mikrofon, ` +
      'und das ist weggenommen.',
    ohneSprache: (n) => `${anzahl(n, 'Stück', 'Stücke')} ohne Ihre Sprache ${n === 1 ? 'wurde' : 'wurden'} nicht behalten.`,
    ruhig: 'Der Weg vom Lautsprecher zum Mikrofon blieb die ganze Zeit derselbe.',
    unruhig: (n) => `Der Weg vom Lautsprecher zum Mikrofon änderte sich ${n === 1 ? 'einmal' : `${n}-mal`}; danach ist ` +
      'für einige Sekunden mehr Echo zu hören.',
    ohneReferenz: (s) => `${s} lang fehlte zum Vergleich, was der Rechner abspielte; dort ist Echo geblieben.`,
    ausfaelle: (n) => `In ${anzahl(n, 'Block', 'Blöcken')} von 16 ms versagte der Filter; dort steht das rohe Mikrofon.`,
    vergleich: 'Zum Vergleich: beim Abspielen zwischen „roh“ und „gereinigt“ wechseln.',
  },
  en: {
    zumPlayer: 'To the timeline', sprache: 'Language', hoeren: 'Listen', zeit: 'Timeline',
    abspielen: 'Play', anhalten: 'Pause', davor: 'Previous chunk', danach: 'Next chunk',
    mikrofon: 'Microphone', gereinigt: 'cleaned', roh: 'raw', kanaele: 'Audible channels', me: 'Me', them: 'Them',
    tempo: 'Speed', ausschnitt: 'Section', kleiner: 'Zoom out', groesser: 'Zoom in', alles: 'Show all',
    bedienung: 'Controls and legend',
    tasten: 'Click: go there. Click on a bar: play that chunk. Double click: play from there. Mouse wheel or two ' +
      'fingers: zoom; Shift and wheel, or drag: scroll. Keys: Space plays and pauses; the right and left arrows move ' +
      'by 1 second forward and back (with Shift 0.1), up and down by 10 seconds forward and back; Page Up and Page ' +
      'Down by one view forward and back; Home goes to the begin, End to the end; plus and minus zoom in and out, 0 ' +
      'shows all; N and P go to the next and previous begin of a chunk; Enter plays the chunk at this place; R ' +
      'switches between raw and cleaned.',
    legendeMe: 'me: sound that was kept, its chunks below', legendeThem: 'them: the same',
    legendeVerworfen: 'not kept (silent, or without speech); only in the raw recording',
    legendeFehlt: 'announced, but cannot be played', legendeDoppelt: 'two chunks overlap',
    legendeBild: 'what the video shows; hatched: a pause',
    befunde: 'Is everything there?', echo: 'The echo', bilder: 'What the video shows', chunks: 'All chunks', tabelle: 'Table of chunks',
    zeige: 'Show',
    beide: 'both channels', kanal: 'Channel', nummer: 'No.', beginn: 'Begin', uhrzeit: 'Time of day', laenge: 'Length',
    sprachanteil: 'speech in it', datei: 'File', blaettern: 'Pages', zurueck: 'Back', weiter: 'Next',
    hier: 'To the cursor',
    fuss: 'Made by hallkorb-sitzung. This page plays sound and picture from the files beside it; nothing leaves this ' +
      'computer.',
    fehlt: 'missing', ungespielt: 'not played', ausRoh: 'raw',
    angehalten: 'Paused.', zuEnde: 'End of the recording.',
    zeigtVonBis: (von, bis) => `Shown: ${von} to ${bis}`,
    gewicht: { gut: 'Good', schlimm: 'Serious', fraglich: 'Questionable', hinweis: 'Note' },
    leer: 'There is no sound in this folder that can be played.',
    chunkName: (kanal, nummer) => `${kanal}, chunk ${nummer}`,
    spieleChunk: (kanal, nummer, ab) => `Play ${kanal}, chunk ${nummer} at ${ab}`,
    stelle: (t, dauer) => `${t} of ${dauer}`,
    welche: (von, bis, alle) => (alle ? `${von} to ${bis} of ${alle}` : 'none'),
    spielt: (was) => `Playing: ${was}`, spieltNichts: 'Nothing was kept here.',
    spieltFehlendes: 'What could be heard here is missing.',
    spieltFremdes: 'What could be heard here has another sample rate and is not played.',
    verweigert: 'The browser has refused to play. Press “Play” once more, or allow this page to play sound in the ' +
      'browser\'s settings.',
    stumm: 'What could be heard here is switched off.',
    rohesMikrofon: 'raw microphone', nichtAbspielbar: (datei) => `${datei} cannot be played.`,
    nichtBehalten: (dauer) => `${dauer} not kept`,
    davonSprache: (s) => `${s} of it speech`,
    pause: 'Pause', bildpause: 'Pause: no picture was recorded here.', nochKeinBild: 'No picture yet',
    gesamt: 'Length', ichSprach: 'Me', gegenueberSprach: 'Them', zugleich: 'Both at once', niemand: 'Nobody',
    ganz: 'The recording is complete.',
    ganzRat: 'Every file is there, and each holds what was said of it.',
    dateienGanz: 'The files are complete in themselves.',
    genauer: (n, alle) =>
      `${n === 1 ? 'Details' : n < alle ? `The first ${n} of ${alle}` : `All ${n}`} (in German)`,
    repariere: 'This command puts it right; the originals are kept:',
    repariereHier: 'This command puts it right, entered in the folder of the recording; the originals are kept:',
    danach: 'Then reload this page.',
    ohneZeilen: 'When the chunks were spoken is not known.',
    ohneZeilenRat: 'The recorder\'s lines (ereignisse.jsonl) cannot be read in the folder. So the chunks follow one ' +
      'another without their pauses, and raw microphone and video do not match them. Whoever starts the recorder should keep ' +
      'its standard output under that name.',
    mehrere: (n) => `The folder has the lines of ${n} recordings; this page shows the last one.`,
    mehrereRat: 'Later recordings write over the files of earlier ones. A folder for each recording avoids that.',
    fehltMe: 'The microphone was not recorded.', fehltThem: 'The computer\'s sound was not recorded.',
    fehltEiner: 'One channel was not recorded.',
    fehltMeRat: 'Is a microphone connected and allowed? On macOS the program needs permission for it.',
    fehltThemRat: 'Does PipeWire run with WirePlumber, and is there an output device? On macOS the program needs ' +
      'permission for screen and system audio.',
    stillMe: 'The microphone brought nothing but silence.', stillThem: 'The computer played nothing but silence.',
    stillMeRat: 'Was the microphone muted, or another one selected?',
    stillThemRat: 'Was the sound off, or did it go to another device than the selected one?',
    leiseMe: 'The microphone was very quiet.',
    leiseMeRat: 'Raise the input level, or move closer.',
    laut: (s) => `The microphone was too loud in ${s} places.`,
    lautRat: 'It sounds distorted there. Lower the input level.',
    keinBild: 'No meeting\'s window was found.',
    keinBildRat: 'There is a video only while the window of a meeting is on the screen.',
    fehler: 'The recording could not begin.', fehlerRat: 'The reason, in the recorder\'s own words:',
    luecken: (kanal, n, s) => `Sound was missing in “${kanal}” ${n === 1 ? 'once' : `${n} times`}, ${s} in all.`,
    lueckenRat: 'Silence stands there, so that the times are right. Usually the device was gone for a moment, or the ' +
      'computer too busy.',
    ueberlappungen: (kanal, n, s) =>
      `Sound came twice in “${kanal}” ${n === 1 ? 'once' : `${n} times`}; ${s} were left out.`,
    ueberlappungenRat: 'This happens when a device changes, and can hardly be heard.',
    grund: 'The recorder reported:',
    was: {
      'fehlt:chunk': (n) => `${anzahl(n, 'chunk is', 'chunks are')} missing.`,
      'fehlt:video.mp4': () => 'The video is missing.',
      'fehlt:ereignisse.jsonl': () => 'The line of the start is missing; the time of day is not known.',
      'fehlt:': () => 'The folder has neither sound nor picture.',
      'abgeschnitten:ereignisse.jsonl': () => 'The recording was broken off, or it still runs.',
      'abgeschnitten:chunk': (n) => `${anzahl(n, 'chunk is', 'chunks are')} shorter or longer than announced.`,
      'abgeschnitten:mikro_roh.wav': () => 'The raw recording of the microphone was not finished.',
      'abgeschnitten:video.mp4': () => 'The video was not finished.',
      'zweifelhaft:ereignisse.jsonl:zeile': (n) => `${anzahl(n, 'line', 'lines')} cannot be read.`,
      'zweifelhaft:ereignisse.jsonl:zeilenende': () => 'The recorder\'s lines cannot be read to their end.',
      'zweifelhaft:ereignisse.jsonl': () => 'The recorder\'s lines cannot be read.',
      'zweifelhaft:chunk': (n) => `File and announcement of ${anzahl(n, 'chunk', 'chunks')} do not match.`,
      'zweifelhaft:chunk:rate': (n) => `${anzahl(n, 'chunk has', 'chunks have')} another sample rate.`,
      'zweifelhaft:mikro_roh.wav': () => 'The raw recording of the microphone cannot be read.',
      'zweifelhaft:mikro_roh.wav:rate': () =>
        'The raw recording of the microphone has another sample rate than the chunks.',
      'zweifelhaft:video.mp4': () => 'File and announcement of the video do not match.',
      'uebrig:chunk': (n) => `${anzahl(n, 'chunk was', 'chunks were')} never announced and ` +
        `${n === 1 ? 'is' : 'are'} not on the timeline.`,
      'uebrig:chunk:frueher': (n) => `${anzahl(n, 'chunk is', 'chunks are')} of an earlier recording.`,
      'uebrig:mikro_roh.wav:frueher': () => 'The raw microphone (mikro_roh.wav) is of an earlier recording.',
      'uebrig:video.mp4:frueher': () => 'The video is of an earlier recording.',
      'uebrig:': (n) => `${anzahl(n, 'file was', 'files were')} left unfinished.`,
    },
    wasSonst: 'Something in the folder is not right.',
    rat: {
      'fehlt:chunk': 'They may have been deleted, or they are still where the folder was copied from.',
      'fehlt:video.mp4': 'It may still be where the folder was copied from.',
      'abgeschnitten:chunk': 'Was the folder copied completely?',
      'zweifelhaft:ereignisse.jsonl:zeile': 'What these lines should have said is missing on this page.',
      'zweifelhaft:ereignisse.jsonl:zeilenende': 'What came after that is missing on this page.',
      'zweifelhaft:chunk:rate': 'This page does not play them. Files have probably been exchanged.',
      'zweifelhaft:chunk': 'Files have probably been exchanged or changed.',
      'uebrig:chunk': 'The program was ended before it could announce them, or nobody kept the announcement.',
      'uebrig:chunk:frueher': FRUEHER_EN,
      'uebrig:mikro_roh.wav:frueher': FRUEHER_EN,
      'uebrig:video.mp4:frueher': FRUEHER_EN,
    },
    uebrigFrueher: 'Or they are of an earlier recording in this folder.',
    rohHatEs: 'The raw recording has these places of the microphone, too.',
    uebrigUnbekannt: 'Their time is not known.', uebrigBekannt: 'Their time follows from their length.',
    keinEcho: 'No echo was removed in this recording.',
    echoUnbekannt: 'How well the echo was removed is not known: one of the last lines of a recording says so, and it ' +
      'is not here.',
    weg: (ms) => `What the loudspeaker plays is heard in the microphone after ${ms} ms.`,
    wegKurz: 'That is short, as with the built-in speakers of a laptop.', wegUeblich: 'That is usual.',
    wegLang: 'That is long, as with Bluetooth or a television.',
    ohneVergleich: 'Whether there was echo in the microphone is not known: what the computer played was not there to ' +
      'compare with.',
    keinWeg: 'No echo was found in the microphone. So it is with headphones, or if the other side is very quiet.',
    leck: (p) => `In the end the filter let ${p} of the other side's sound through, which a post-filter damps further.`,
    leckGut: 'That is very little.', leckMittel: 'That is little.',
    leckViel: 'That is a lot: the loudspeaker was probably very loud, or distorted. Turn it down, or use headphones.',
    anteile: (nah, tor) => `You spoke ${nah} of the time; ${tor} of the time only the other side was in the ` +
      'microphone, and that has been taken away.',
    ohneSprache: (n) => `${anzahl(n, 'piece', 'pieces')} without your speech ${n === 1 ? 'was' : 'were'} not kept.`,
    ruhig: 'The way from the loudspeaker to the microphone stayed the same all the time.',
    unruhig: (n) => `The way from the loudspeaker to the microphone changed ${n === 1 ? 'once' : `${n} times`}; after ` +
      'that, more echo can be heard for some seconds.',
    ohneReferenz: (s) => `For ${s} there was nothing to compare the microphone with; echo has remained there.`,
    ausfaelle: (n) => `The filter failed in ${anzahl(n, 'block', 'blocks')} of 16 ms; the raw microphone stands there.`,
    vergleich: 'To compare: switch between “raw” and “cleaned” while it plays.',
  },
};

let sprache = (navigator.language || '').toLowerCase().startsWith('de') ? 'de' : 'en';

const T = (name, ...werte) => {
  const text = TEXTE[sprache][name];
  return typeof text === 'function' ? text(...werte) : text;
};

function setzeSprache(neue) {
  sprache = neue;
  document.documentElement.lang = neue;
  for (const teil of document.querySelectorAll('[data-t]')) teil.textContent = T(teil.dataset.t);
  for (const teil of document.querySelectorAll('[data-t-label]')) {
    teil.setAttribute('aria-label', T(teil.dataset.tLabel));
    if (teil.tagName === 'BUTTON') teil.title = T(teil.dataset.tLabel);
  }
}

// "1:02:03", "2:03", with `stellen` places behind the seconds.
function alsZeit(sekunden, stellen = 0) {
  const faktor = 10 ** stellen;
  const ganz = Math.floor(Math.max(sekunden, 0) * faktor + 1e-6);
  const s = Math.floor(ganz / faktor);
  const zwei = (zahl) => String(zahl).padStart(2, '0');
  const kopf = s >= 3600 ? `${Math.floor(s / 3600)}:${zwei(Math.floor(s / 60) % 60)}` : String(Math.floor(s / 60));
  const rest = stellen ? (sprache === 'de' ? ',' : '.') + String(ganz % faktor).padStart(stellen, '0') : '';
  return `${kopf}:${zwei(s % 60)}${rest}`;
}

// "1 h 02 min", "2 min 03 s", "4.5 s"
function alsDauer(sekunden) {
  if (sekunden >= 3600) {
    const minuten = Math.round(sekunden / 60);
    return `${Math.floor(minuten / 60)} h ${String(minuten % 60).padStart(2, '0')} min`;
  }
  if (sekunden >= 59.95) {
    const s = Math.round(sekunden);
    return `${Math.floor(s / 60)} min ${String(s % 60).padStart(2, '0')} s`;
  }
  return `${alsZahl(sekunden, 1)} s`;
}

// Formats take long to make and are wanted for every frame: each is made once.
const FORMATE = new Map();

function format(Art, form) {
  const schluessel = sprache + Art.name + JSON.stringify(form);
  if (!FORMATE.has(schluessel)) FORMATE.set(schluessel, new Art(sprache, form));
  return FORMATE.get(schluessel);
}

const alsZahl = (wert, stellen) =>
  format(Intl.NumberFormat, { minimumFractionDigits: stellen, maximumFractionDigits: stellen }).format(wert);

const alsProzent = (anteil) =>
  anteil.toLocaleString(sprache, { style: 'percent', maximumFractionDigits: anteil < 0.1 ? 1 : 0 });
