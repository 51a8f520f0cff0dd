#include "driver/modes/EchoDatei.h"

#include <array>
#include <chrono>
#include <cinttypes>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "audiofiles/WavSchreiber.h"
#include "audiofiles/WavStrom.h"
#include "base/Ausgabe.h"
#include "base/Ersatzdatei.h"
#include "base/Text.h"
#include "echo/EchoStrecke.h"

namespace hallkorb {
namespace {

constexpr std::size_t SCHRITT = 4800;  // 0.3 s: the pieces in which both files are walked

std::unique_ptr<ChannelChunker> chunker(const Config& config, Dateien& dateien) {
  if (!config.chunkOrdner) return nullptr;
  // A folder that cannot be made shows in every chunk's own error.
  static_cast<void>(erzeugeOrdner(*config.chunkOrdner, dateien));
  // The mode's own turn-mode values, not those of the configuration: the long maximum leaves the
  // cut to the pauses, so that runs can be compared.
  return std::make_unique<ChannelChunker>(ChunkerEinstellung{.channel = "me",
                                                             .outDir = *config.chunkOrdner,
                                                             .rate = EK_R,
                                                             .chunkSeconds = config.chunkSeconds,
                                                             .turnMode = true,
                                                             .minSeconds = 1.2,
                                                             .maxSeconds = 15.0,
                                                             .silenceSeconds = 0.6,
                                                             .silenceRms = 0.006F,
                                                             // It may be an input.
                                                             .unersetzbar = Unersetzbar::lassen},
                                          dateien);
}

// Notes the signals that end a program while it lives, so that the unfinished output can be removed
// first. The second signal of a kind ends it at once.
class Unterbrechung {
 public:
  Unterbrechung() {
    nummer_ = 0;
    for (auto& [signal, vorher] : signale_) {
      struct sigaction neu{};
      neu.sa_handler = [](int nummer) { nummer_ = nummer; };
      neu.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
      sigaction(signal, nullptr, &vorher);
      // A signal that the parent wants ignored stays so.
      if (vorher.sa_handler != SIG_IGN) sigaction(signal, &neu, nullptr);
    }
  }
  ~Unterbrechung() {
    for (const auto& [signal, vorher] : signale_)
      sigaction(signal, &vorher, nullptr);
  }
  Unterbrechung(const Unterbrechung&) = delete;
  Unterbrechung& operator=(const Unterbrechung&) = delete;

  // The signal that has come, or 0.
  [[nodiscard]] static int nummer() { return nummer_; }

 private:
  static inline volatile std::sig_atomic_t nummer_ = 0;
  // What each did before.
  std::array<std::pair<int, struct sigaction>, 3> signale_{
      {{SIGINT, {}}, {SIGTERM, {}}, {SIGHUP, {}}}};
};

// Both files as a live recording would deliver them, the reference a little ahead.
class Zuspieler {
 public:
  Zuspieler(std::unique_ptr<WavStrom> mikro, std::unique_ptr<WavStrom> referenz)
      : mikro_(std::move(mikro)), referenz_(std::move(referenz)) {}

  [[nodiscard]] bool lesbar() const { return mikro_ && referenz_; }
  [[nodiscard]] std::size_t laenge() const { return laenge_; }  // samples of the microphone

  // Whether both could be read to the end. Returns early if the process is to end.
  [[nodiscard]] bool speise(EchoStrecke& strecke) {
    std::vector<float> puffer(SCHRITT);
    for (bool weiter = true; weiter;) {
      const auto r = referenz_->lies(puffer);
      if (!r) return false;
      strecke.referenz(std::span(puffer).first(*r));
      const auto m = mikro_->lies(puffer);
      if (!m) return false;
      strecke.mikro(std::span(puffer).first(*m));
      laenge_ += *m;
      weiter = *r > 0 || *m > 0;
      if (Unterbrechung::nummer() != 0) return true;
    }
    strecke.abschliessen();
    return true;
  }

 private:
  std::unique_ptr<WavStrom> mikro_;
  std::unique_ptr<WavStrom> referenz_;
  std::size_t laenge_ = 0;
};

// Whether a file can be read to its end. Chunk lines go out on the way, so a damaged disk must be
// noticed before.
bool bisZumEndeLesbar(const std::string& pfad, Dateien& dateien) {
  const auto strom = WavStrom::oeffne(pfad, dateien);
  if (!strom) return false;
  std::vector<float> puffer(SCHRITT);
  for (;;) {
    const auto n = strom->lies(puffer);
    if (!n) return false;
    if (*n == 0) return true;
  }
}

// Both inputs, if they can be read.
std::optional<Zuspieler> oeffne(const Config& config, Dateien& dateien) {
  const std::string& mikro = config.echoDatei[0];
  const std::string& referenz = config.echoDatei[1];
  if (config.chunkOrdner &&
      !(bisZumEndeLesbar(mikro, dateien) && bisZumEndeLesbar(referenz, dateien))) {
    return std::nullopt;
  }
  Zuspieler zuspieler(WavStrom::oeffne(mikro, dateien), WavStrom::oeffne(referenz, dateien));
  if (!zuspieler.lesbar()) return std::nullopt;
  return zuspieler;
}

int nichtLesbar() {
  log("[hallkorb] --echo-datei: WAV nicht lesbar");
  return 2;
}

int nichtSchreibbar(const Ergebnis& ergebnis) {
  log("[hallkorb] --echo-datei: Schreiben fehlgeschlagen: " + ergebnis.fehler().gedruckt());
  return 2;
}

int bereinige(const Config& config, Zuspieler& zuspieler, Dateien& dateien) {
  const auto me = chunker(config, dateien);
  // After the chunks' folder, in which it may lie, and before the first of their lines.
  WavSchreiber gereinigt(config.echoDatei[2], EK_R, dateien);
  if (const Ergebnis bisher = gereinigt.bisher(); bisher.gescheitert()) {
    return nichtSchreibbar(bisher);
  }
  EchoStrecke strecke(EK_PARTITIONEN);
  strecke.nachfilter(!config.ohneNachfilter);
  strecke.ausgabe = [&](std::span<const float> samples, const std::vector<bool>& sprache) {
    gereinigt.schreibe(samples);
    if (me) me->append(samples, &sprache);
  };

  const auto beginn = std::chrono::steady_clock::now();
  if (!zuspieler.speise(strecke)) return nichtLesbar();
  if (Unterbrechung::nummer() != 0) return 2;
  if (me) me->finalizeRemainder();
  if (const Ergebnis ergebnis = gereinigt.vollende(); ergebnis.gescheitert()) {
    return nichtSchreibbar(ergebnis);
  }

  const std::chrono::duration<double> dauer = std::chrono::steady_clock::now() - beginn;
  std::string zeile = strecke.statistik();
  zeile.pop_back();
  zeile += formatiert(
      ",\"sekunden_audio\":%.1f,\"rechenzeit_s\":%.2f,\"samples\":%zu,\"chunks_ohne_sprache\":"
      "%" PRId64 "}",
      static_cast<double>(zuspieler.laenge()) / EK_R, dauer.count(), gereinigt.samples(),
      me ? me->ohneSprache() : 0);
  return druckeErgebnis(zeile) ? 0 : 2;
}

}  // namespace

int echoDatei(const Config& config, Dateien& dateien) {
  // Nothing has been made yet that a signal would leave behind.
  auto zuspieler = oeffne(config, dateien);
  if (!zuspieler) return nichtLesbar();
  int status = 0;
  int unterbrochen = 0;
  {
    const Unterbrechung unterbrechung;
    status = bereinige(config, *zuspieler, dateien);
    unterbrochen = Unterbrechung::nummer();
  }
  if (unterbrochen != 0) std::raise(unterbrochen);
  return status;
}

}  // namespace hallkorb
