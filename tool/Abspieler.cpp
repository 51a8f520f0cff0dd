#include "tool/Abspieler.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "base/Ausgabe.h"
#include "base/Dateien.h"
#include "base/Faden.h"
#include "session/Sitzungsordner.h"
#include "tool/Aufruf.h"

namespace hallkorb {
namespace {

constexpr double STOP_WARTET_AUF_LESER = 5.0;  // seconds, as in a recording
constexpr double ROH_TAKT = 1.0;               // seconds after which the raw file grows, at most
constexpr double KUERZESTER_REST = 0.005;      // seconds; less would begin and end together
constexpr char OHNE_KORREKTUR[] =
    R"({"event":"zeitachse",)"
    R"("them":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0},)"
    R"("me":{"luecken":0,"luecken_ms":0,"ueberlappungen":0,"verworfen_ms":0}})";

// What the recorder says beside a line of this kind.
void diagnostiziere(const MeldungZeile& meldung) {
  if (meldung.name != "degraded" || !meldung.kanal) return;
  log((*meldung.kanal == Kanal::me
           ? "[hallkorb] WARNUNG: nur System-Audio — Mikrofon verweigert: "
           : "[hallkorb] WARNUNG: nur Mikrofon — System-Audio verweigert: ") +
      zeigbar(meldung.text));
}

bool zeigtFenster(const Spielschritt& schritt) {
  const auto* bild = std::get_if<BildZeile>(&schritt.inhalt);
  return bild != nullptr && !bild->pause;
}

}  // namespace

Abspieler::Abspieler(Spielplan plan, Spieldateien& dateien, Plattform& plattform, double tempo)
    : plan_(std::move(plan)),
      dateien_(dateien),
      plattform_(plattform),
      tempo_(tempo),
      schlaf_(plattform.executor().schlaf()) {}

int Abspieler::laufe() {
  richteSignaleEin();
  static_cast<void>(starteAusgabeFaeden());  // otherwise a slow host slows the playback down
  anfang_ = plattform_.uhr().sekunden();
  const auto task = plattform_.executor().starte([this] { plattform_.runLoop().quit(spiele()); });
  if (task == nullptr) {
    log("[hallkorb] abspielen: " + keinFaden().description);
    return UNMOEGLICH;
  }
  const int status = plattform_.runLoop().run();
  leereAusgabe();
  FileHandleTextOutput::standardOutput().leserWeg(nullptr);
  FileHandleTextOutput::standardOutput().begrenze(std::nullopt);
  FileHandleTextOutput::standardError().begrenze(std::nullopt);
  return status;
}

bool Abspieler::beginneEnde() {
  if (stopp_.exchange(true)) return false;
  begrenzeAusgabe(STOP_WARTET_AUF_LESER);
  log("[hallkorb] Stop — schreibe Rest-Chunks");
  return true;
}

void Abspieler::richteSignaleEin() {
  RunLoop& schleife = plattform_.runLoop();
  for (const int nummer : {SIGINT, SIGTERM, SIGHUP})
    schleife.aufSignal(nummer, [this] { shutdown(); });
  const auto leserWeg = [this] {
    if (!stopp_) log("[hallkorb] Standardausgabe geschlossen — Aufnahme endet");
    shutdown();
  };
  schleife.aufLeserWeg(FileHandleTextOutput::standardOutput().handle, leserWeg);
  FileHandleTextOutput::standardOutput().leserWeg(
      [&schleife, leserWeg] { schleife.post(leserWeg); });
}

// On the main thread.
void Abspieler::shutdown() {
  if (beginneEnde()) schlaf_->wecke();
}

// Returns the exit status.
int Abspieler::spiele() {
  for (std::size_t i = 0; i < plan_.stoppAb; ++i) {
    const Spielschritt& schritt = plan_.schritte[i];
    if (!warteAuf(schritt.zeit)) return brichAb(i);
    gib(schritt);
    const auto* meldung = std::get_if<MeldungZeile>(&schritt.inhalt);
    if (meldung != nullptr && meldung->name == "error") {
      begrenzeAusgabe(STOP_WARTET_AUF_LESER);
      return UNMOEGLICH;
    }
  }
  if (!warteAuf(plan_.ende)) return brichAb(plan_.stoppAb);
  if (plan_.stoppAb == plan_.schritte.size()) {
    begrenzeAusgabe(STOP_WARTET_AUF_LESER);
    log("[hallkorb] abspielen: die Aufnahme bricht hier ab");
    return AUFFAELLIG;
  }
  return beginneEnde() ? spieleEnde(plan_.stoppAb) : brichAb(plan_.stoppAb);
}

// Until a moment of the recording; false once a stop is under way.
bool Abspieler::warteAuf(double zeit) {
  while (tempo_ > 0.0 && stelle() < zeit) {
    const double rest = (zeit - stelle()) / tempo_;
    if (schlaf_->warte(std::clamp(rest, 0.0, ROH_TAKT))) break;
    dateien_.rohBis(std::min(stelle(), zeit));
  }
  if (stopp_) return false;
  erreicht_ = zeit;
  dateien_.rohBis(zeit);
  return true;
}

// Now, in recorded seconds.
double Abspieler::stelle() const {
  if (tempo_ <= 0.0) return erreicht_;
  return (plattform_.uhr().sekunden() - anfang_) * tempo_;
}

void Abspieler::gib(const Spielschritt& schritt) {
  if (const auto* chunk = std::get_if<ChunkZeile>(&schritt.inhalt)) {
    gibChunk(*chunk, std::nullopt);
    return;
  }
  if (const auto* meldung = std::get_if<MeldungZeile>(&schritt.inhalt)) diagnostiziere(*meldung);
  if (std::holds_alternative<VideoZeile>(schritt.inhalt)) {
    if (const Ergebnis ergebnis = dateien_.video(); ergebnis.gescheitert()) {
      log("[hallkorb] Bild: " + ergebnis.fehler().description);
      return;
    }
  }
  emit(spielText(schritt, dateien_.ziel()));
}

// `bis`: where a stop has cut it off.
void Abspieler::gibChunk(const ChunkZeile& chunk, std::optional<double> bis) {
  ChunkZeile gekuerzt = chunk;
  std::optional<double> sekunden;
  if (bis && *bis < chunk.t1) {
    sekunden = *bis - chunk.t0;
    gekuerzt.t1 = *bis;
    if (chunk.spracheMs)
      gekuerzt.spracheMs =
          std::min<std::int64_t>(*chunk.spracheMs, std::llround(*sekunden * 1000.0));
  }
  if (const Ergebnis ergebnis = dateien_.chunk(chunk, sekunden); ergebnis.gescheitert()) {
    log("[hallkorb] WAV-Schreibfehler (" + std::string(kanalName(chunk.kanal)) + " #" +
        std::to_string(chunk.nummer) + "): " + ergebnis.fehler().description);
    return;
  }
  emit(chunkText(gekuerzt, pfadIn(dateien_.ziel(), chunkName(chunk.kanal, chunk.nummer))));
}

// The recorded stop, from the step `ab` on.
int Abspieler::spieleEnde(std::size_t ab) {
  for (std::size_t i = ab; i < plan_.schritte.size(); ++i)
    gib(plan_.schritte[i]);
  if (std::holds_alternative<FertigZeile>(plan_.schritte.back().inhalt)) return ALLES_GUT;
  log("[hallkorb] abspielen: die Aufnahme bricht hier ab");
  return AUFFAELLIG;
}

template <class Art>
const Spielschritt* Abspieler::schlusszeile() const {
  const auto zeile =
      std::find_if(plan_.schritte.begin(), plan_.schritte.end(),
                   [](const auto& schritt) { return std::holds_alternative<Art>(schritt.inhalt); });
  return zeile == plan_.schritte.end() ? nullptr : &*zeile;
}

// A stop that the recording did not have: the lines of one, in the recorder's order. `ab` is the
// first step that was not played.
int Abspieler::brichAb(std::size_t ab) {
  const double bis = std::min(stelle(), plan_.ende);
  dateien_.rohBis(bis);
  const auto gespielt = plan_.schritte.begin() + static_cast<std::ptrdiff_t>(ab);
  const Spielschritt* video = schlusszeile<VideoZeile>();
  if (video != nullptr && std::any_of(plan_.schritte.begin(), gespielt, zeigtFenster)) gib(*video);
  gibReste(ab, bis, Kanal::them);
  gibReste(ab, bis, Kanal::me);
  if (const Spielschritt* echo = schlusszeile<EchoZeile>()) gib(*echo);
  const Spielschritt* zeitachse = schlusszeile<ZeitachseZeile>();
  emit(zeitachse != nullptr ? zeitachse->text : OHNE_KORREKTUR);
  emit(R"({"event":"done"})");
  return ALLES_GUT;
}

// What a channel's chunks held up to that moment and had not been announced yet.
void Abspieler::gibReste(std::size_t ab, double bis, Kanal kanal) {
  for (std::size_t i = ab; i < plan_.schritte.size(); ++i) {
    const auto* chunk = std::get_if<ChunkZeile>(&plan_.schritte[i].inhalt);
    if (chunk != nullptr && chunk->kanal == kanal && bis - chunk->t0 >= KUERZESTER_REST)
      gibChunk(*chunk, bis);
  }
}

}  // namespace hallkorb
