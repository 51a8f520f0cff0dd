#include "driver/modes/LiveAufnahme.h"

#include <fcntl.h>

#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Faden.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

// How long the stop waits for a host that keeps its pipes open and does not read, in seconds. One
// that is merely slow reads within that; the files are complete either way.
constexpr double STOP_WARTET_AUF_LESER = 5.0;

const char* wort(bool wert) {
  return wert ? "true" : "false";
}

std::string fehlerZeile(const std::string& text) {
  return R"({"event":"error","message":")" + jsonEscape(text) + "\"}";
}

// Standard output may be a file on the disk that is full.
void meldeZeilenverlust(int nummer, std::int64_t verloren) {
  log("[hallkorb] Standardausgabe: " +
      (nummer != 0
           ? "Schreibfehler: " + std::generic_category().message(nummer)
           : "Schreiben geht wieder, " + std::to_string(verloren) + " Zeilen sind verloren"));
}

std::string degraded(const char* kanal, const Fehler& fehler) {
  return formatiert(R"({"event":"degraded","channel":"%s","message":"%s"})", kanal,
                    jsonEscape(fehler.description).c_str());
}

}  // namespace

LiveAufnahme::LiveAufnahme(const Config& config, Plattform& plattform, Dateien& dateien)
    : config_(config), plattform_(plattform), dateien_(dateien) {
  setzeHostClock(plattform.uhr());
}

LiveAufnahme::~LiveAufnahme() {
  FileHandleTextOutput::standardOutput().leserWeg(nullptr);
  FileHandleTextOutput::standardOutput().beiStoerung(nullptr);
  FileHandleTextOutput::standardOutput().begrenze(std::nullopt);
  FileHandleTextOutput::standardError().begrenze(std::nullopt);
  if (ordner_ >= 0) schliesse(ordner_, dateien_);
}

int LiveAufnahme::laufe() {
  richteSignaleEin();
  if (!baueFaeden()) return lehneAb(keinFaden().description);
  if (!belegeOrdner()) {
    return lehneAb("in den Ordner " + config_.outDir + " schreibt schon eine andere Aufnahme");
  }
  baueAuf();
  halteZeilenZurueck();
  startTask_->async([this] { starte(); });
  const int status = plattform_.runLoop().run();
  leereAusgabe();
  return status;
}

bool LiveAufnahme::baueFaeden() {
  Executor& executor = plattform_.executor();
  themQueue_ = executor.queue("chunks.them");
  echoQueue_ = executor.queue("echo");
  startTask_ = executor.queue("start");
  stopTask_ = executor.queue("stop");
  return starteAusgabeFaeden() && themQueue_ && echoQueue_ && startTask_ && stopTask_;
}

int LiveAufnahme::lehneAb(const std::string& grund) {
  begrenzeAusgabe(STOP_WARTET_AUF_LESER);
  log("[hallkorb] Aufnahme nicht moeglich: " + grund);
  emit(fehlerZeile(grund));
  leereAusgabe();
  return 2;
}

// Two recordings in one folder would replace each other's files; false if there is another one. The
// lock is on the folder itself: it leaves no file behind, and no end of the process can leave it
// locked. Whatever else goes wrong (some network file systems lock no folders) is no reason to
// refuse a recording. If no descriptor is left to open the folder, another recording in it is
// noticed only later: its files are safe then (Ordnerwacht.h), and this one writes none.
bool LiveAufnahme::belegeOrdner() {
  // If the folder cannot be created, writing the first chunk will report it.
  static_cast<void>(erzeugeOrdner(config_.outDir, dateien_));
  const std::string pfad = config_.outDir.empty() ? "." : config_.outDir;
  ordner_ = beharrlich([&] { return dateien_.oeffnen(pfad, O_RDONLY | O_DIRECTORY, 0); });
  dateien_.beginne(config_.outDir, ordner_);
  if (ordner_ < 0) return true;
  return beharrlich([&] { return dateien_.sperren(ordner_); }) != -EWOULDBLOCK;
}

void LiveAufnahme::baueAuf() {
  zeitNull_ = hostSekunden();
  nullUnixMs_ = plattform_.uhr().unixMs();

  const auto chunker = [this](const char* kanal) {
    return std::make_unique<ChannelChunker>(
        ChunkerEinstellung{.channel = kanal,
                           .outDir = config_.outDir,
                           .rate = config_.sampleRate,
                           .chunkSeconds = config_.chunkSeconds,
                           .turnMode = config_.turnMode,
                           .minSeconds = config_.minSeconds,
                           .maxSeconds = config_.maxSeconds,
                           .silenceSeconds = config_.silenceSeconds,
                           .silenceRms = config_.silenceRms},
        dateien_);
  };
  themChunker_ = chunker("them");
  meChunker_ = chunker("me");
  zeitThem_ = std::make_unique<Zeitachse>("them", config_.sampleRate, zeitNull_);
  zeitMe_ = std::make_unique<Zeitachse>("me", config_.sampleRate, zeitNull_);

  // The canceller works at this one rate.
  if (config_.echo && config_.sampleRate == EK_R) {
    strecke_ = std::make_unique<EchoStrecke>(EK_PARTITIONEN);
    strecke_->ausgabe = [this](std::span<const float> samples, const std::vector<bool>& sprache) {
      meChunker_->append(samples, &sprache);
    };
  }

  if (config_.rohMikro) {
    rohWav_.emplace(pfadIn(config_.outDir, "mikro_roh.wav"), config_.sampleRate, dateien_);
  }

  sysCap_ = std::make_unique<SystemAudioCapture>(config_.sampleRate, *zeitThem_,
                                                 plattform_.systemAudio(), plattform_);
  sysCap_->weiter = [this](std::vector<float> samples) { nimmSystemAudio(std::move(samples)); };
  micCap_ = std::make_unique<MicCapture>(
      config_.sampleRate, *zeitMe_,
      [this](std::vector<float> samples) { nimmMikrofon(std::move(samples)); },
      plattform_.mikrofon(), plattform_);
  if (config_.video) {
    vidCap_ = WindowVideoCapture::baue(config_.outDir, zeitNull_, plattform_, dateien_);
  }
}

// Called first: a signal that comes while the rest is being built is kept until the run loop runs.
void LiveAufnahme::richteSignaleEin() {
  RunLoop& schleife = plattform_.runLoop();
  schleife.aufSignal(SIGINT, [this] { shutdown(); });
  schleife.aufSignal(SIGTERM, [this] { shutdown(); });
  // The terminal was closed. Under nohup the user has decided otherwise.
  struct sigaction bisher{};
  if (sigaction(SIGHUP, nullptr, &bisher) == 0 && bisher.sa_handler != SIG_IGN) {
    schleife.aufSignal(SIGHUP, [this] { shutdown(); });
  }

  // Without a reader the host is gone, and nobody needs the recording any more. It is noticed by
  // watching the pipe, or by the next write that fails if the pipe cannot be watched.
  const auto leserWeg = [this] {
    if (!stopLaeuft_) log("[hallkorb] Standardausgabe geschlossen — Aufnahme endet");
    shutdown();
  };
  schleife.aufLeserWeg(FileHandleTextOutput::standardOutput().handle, leserWeg);
  FileHandleTextOutput::standardOutput().leserWeg(
      [&schleife, leserWeg] { schleife.post(leserWeg); });
  FileHandleTextOutput::standardOutput().beiStoerung(meldeZeilenverlust);
}

bool LiveAufnahme::beginneEnde() {
  return !stopLaeuft_.exchange(true);
}

// The start task: the microphone first, then the system audio, then the report.
void LiveAufnahme::starte() {
  const Startversuch mikrofon = versuche(*micCap_);
  if (mikrofon.fehlt) {
    log("[hallkorb] Mikrofon nicht verfuegbar: " + mikrofon.ergebnis.fehler().gedruckt());
  }
  const Startversuch systemAudio = versuche(*sysCap_);
  if (systemAudio.fehlt) {
    log("[hallkorb] System-Audio nicht verfuegbar: " + systemAudio.ergebnis.fehler().gedruckt());
  }
  meldeStart(mikrofon, systemAudio);
  if (vidCap_ && (mikrofon.ergebnis.gelungen() || systemAudio.ergebnis.gelungen()))
    vidCap_->starteGeduldig(config_.videoWarten);
}

// The stop is looked at right after the start has returned: one that begins later has not cancelled
// it.
LiveAufnahme::Startversuch LiveAufnahme::versuche(AudioCapture& capture) {
  Startversuch versuch;
  versuch.ergebnis = capture.start();
  versuch.fehlt = versuch.ergebnis.gescheitert() && !stopLaeuft_;
  return versuch;
}

// The lines of what the captures have delivered meanwhile follow the report.
void LiveAufnahme::meldeStart(const Startversuch& mikrofon, const Startversuch& systemAudio) {
  const bool mic = mikrofon.ergebnis.gelungen();
  const bool system = systemAudio.ergebnis.gelungen();
  if (mikrofon.fehlt && systemAudio.fehlt) {
    meldeNichts(mikrofon.ergebnis.fehler(), systemAudio.ergebnis.fehler());
    return;
  }
  std::vector<std::string> zeilen;
  if (mikrofon.fehlt) {
    const Fehler& fehler = mikrofon.ergebnis.fehler();
    log("[hallkorb] WARNUNG: nur System-Audio — Mikrofon verweigert: " + fehler.description);
    zeilen.push_back(degraded("me", fehler));
  }
  if (systemAudio.fehlt) {
    const Fehler& fehler = systemAudio.ergebnis.fehler();
    log("[hallkorb] WARNUNG: nur Mikrofon — System-Audio verweigert: " + fehler.description);
    zeilen.push_back(degraded("them", fehler));
  }
  if (mic || system) {
    zeilen.push_back(formatiert(
        R"({"event":"started","mic":%s,"system":%s,"video":%s,"echo":%s,"null_unix_ms":%)" PRId64
        "}",
        wort(mic), wort(system), wort(config_.video), wort(strecke_ != nullptr && system),
        nullUnixMs_));
  }
  gibZeilenFrei(zeilen);
}

// Neither channel could be started. A stop may have begun since; then it ends the run.
void LiveAufnahme::meldeNichts(const Fehler& mikrofon, const Fehler& systemAudio) {
  begrenzeAusgabe(STOP_WARTET_AUF_LESER);
  gibZeilenFrei({fehlerZeile(systemAudio.description.empty() ? mikrofon.description
                                                             : systemAudio.description)});
  nichtsDa_ = true;
  if (beginneEnde()) plattform_.runLoop().quit(2);
}

// On the capture's thread, which must not wait for a disk.
void LiveAufnahme::nimmSystemAudio(std::vector<float> samples) {
  if (strecke_) {
    echoQueue_->async([this, block = samples] { strecke_->referenz(block); });
  }
  themQueue_->async([this, block = std::move(samples)] { themChunker_->append(block); });
}

// On the capture's thread. If there is an echo path, the raw file belongs to its queue: so it is
// written by one thread at a time either way, in the order of arrival.
void LiveAufnahme::nimmMikrofon(std::vector<float> samples) {
  if (strecke_) {
    echoQueue_->async([this, block = std::move(samples)] {
      if (rohWav_) rohWav_->schreibe(block);
      strecke_->mikro(block);
    });
    return;
  }
  if (rohWav_) rohWav_->schreibe(samples);
  meChunker_->append(samples);
}

// On the main thread. Signals that come while the stop runs change nothing.
void LiveAufnahme::shutdown() {
  if (!beginneEnde()) return;
  begrenzeAusgabe(STOP_WARTET_AUF_LESER);
  log("[hallkorb] Stop — schreibe Rest-Chunks");
  static_cast<void>(micCap_->stop());
  stopTask_->async([this] { stoppe(); });
}

// The stop task. The order matters: first the sources, then the queues behind them, then what is
// left in the buffers, and only then the figures about all of it.
void LiveAufnahme::stoppe() {
  static_cast<void>(sysCap_->stop());
  startTask_->sync([] {});  // its attempts are cancelled; "started" precedes all that follows
  if (nichtsDa_) {
    plattform_.runLoop().quit(2);
    return;
  }
  const auto video = vidCap_ ? vidCap_->stop() : std::nullopt;
  echoQueue_->sync([this] {
    if (strecke_) strecke_->abschliessen();
    if (rohWav_) rohWav_->schliesse();
  });
  themQueue_->sync([] {});
  if (video) {
    emit(R"({"event":"video","path":")" + jsonEscape(video->pfad) +
         formatiert(R"(","frames":%)" PRId64 R"(,"quelle":")", video->frames) +
         jsonEscape(video->quelle) + "\"}");
  }
  themChunker_->finalizeRemainder();
  meChunker_->finalizeRemainder();
  if (strecke_) {
    std::string zeile = strecke_->statistik();
    zeile.pop_back();
    emit(zeile + formatiert(",\"chunks_ohne_sprache\":%" PRId64 "}", meChunker_->ohneSprache()));
  }
  emit(R"({"event":"zeitachse",)" + zeitThem_->bericht() + "," + zeitMe_->bericht() + "}");
  emit(R"({"event":"done"})");
  plattform_.runLoop().quit(0);
}

}  // namespace hallkorb
