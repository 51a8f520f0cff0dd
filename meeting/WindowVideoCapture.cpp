#include "meeting/WindowVideoCapture.h"

#include <cinttypes>
#include <utility>

#include "base/Ausgabe.h"
#include "platform/Befristet.h"
#include "platform/HostClock.h"

namespace hallkorb {
namespace {

// Seconds that the stop waits for the stream, and then for the supervision.
constexpr double STOP_FRIST = 2.0;

std::string text(const Ergebnis& fehler) {
  return fehler ? fehler->description : "unbekannt";
}

}  // namespace

std::shared_ptr<WindowVideoCapture> WindowVideoCapture::baue(const std::string& outDir,
                                                             double zeitNull, Plattform& plattform,
                                                             Dateien& dateien) {
  return std::shared_ptr<WindowVideoCapture>(
      new WindowVideoCapture(outDir, zeitNull, plattform, dateien));
}

WindowVideoCapture::WindowVideoCapture(const std::string& outDir, double zeitNull,
                                       Plattform& plattform, Dateien& dateien)
    : ziel_(pfadIn(outDir, "video.mp4")),
      null_(zeitNull),
      dateien_(dateien),
      executor_(plattform.executor()),
      schreiber_(plattform),
      bildschirm_(plattform.screenCapture()),
      schlaf_(executor_.schlaf()),
      aufsichtEnde_(executor_.schlaf()),
      aktuellSeit_(hostSekunden()) {}

StreamKonfiguration WindowVideoCapture::konfiguration() {
  return {.breite = BREITE,
          .hoehe = HOEHE,
          .kleinsterAbstand = 1.0 / 15,
          .mitZeiger = true,
          .warteschlange = 5};
}

VideoEinstellungen WindowVideoCapture::einstellungen() {
  return {.breite = BREITE,
          .hoehe = HOEHE,
          .bitrate = 1'400'000,
          .schluesselbildAbstand = 30,
          .bilderJeSekunde = 15.0};
}

// Once, before the first stream; the file itself begins with the first picture.
Ergebnis WindowVideoCapture::writerAnlegen() {
  if (schreiberAngelegt_) return std::nullopt;
  dateien_.loeschen(ziel_);  // an earlier recording's, if there is one
  Fehler fehler;
  auto writer = schreiber_.videoWriter(ziel_, einstellungen(), fehler);
  if (!writer) return fehler;
  const std::lock_guard halter(bildLock_);
  writer_ = std::move(writer);
  schreiberAngelegt_ = true;
  return std::nullopt;
}

// Lets the stream show the window: the running one where there is one, otherwise a new one.
Ergebnis WindowVideoCapture::richteAuf(std::uint32_t fenster) {
  std::shared_ptr<WindowStream> ausgedient;
  std::shared_ptr<WindowStream> strom;
  {
    const std::lock_guard halter(zustand_);
    // What the service has ended cannot be had back. The mark is taken away before the new stream
    // starts: that one may end at once too, and this must not be overlooked.
    if (std::exchange(streamWeg_, false)) ausgedient = std::exchange(stream_, nullptr);
    strom = stream_;
  }
  if (ausgedient) ausgedient->stop();
  if (strom) return strom->wechsle(fenster);

  strom = bildschirm_->stream(konfiguration());
  {
    // Known before it starts, so that a stop can cancel the start.
    const std::lock_guard halter(zustand_);
    if (abgebrochen_) return std::nullopt;
    stream_ = strom;
  }
  Ergebnis fehler = strom->start(fenster, *this);
  if (fehler) {
    strom->stop();
    // Where a stream was wanted there is none: the next check is to start one, whatever its window.
    const std::lock_guard halter(zustand_);
    stream_ = nullptr;
    streamWeg_ = true;
  }
  return fehler;
}

void WindowVideoCapture::bild(const Bild& bild) {
  if (bild.status() != BildStatus::vollstaendig) return;
  const std::lock_guard halter(bildLock_);
  if (!writer_) return;
  if (!basis_) starteSchreiber(bild.zeit());
  if (writer_->schreibt()) {
    if (!writer_->bereit()) {
      ++verworfen_;
    } else if (writer_->haengeAn(bild)) {
      ++frames_;
    }
  }
  meldeAusfall();
}

// Tried once: what keeps a file from being begun does not go away by itself.
void WindowVideoCapture::starteSchreiber(double zeit) {
  basis_ = zeit;
  if (!writer_->starte(zeit)) {
    ausfallGemeldet_ = true;
    log("[hallkorb] Video-Schreiber startete nicht: " + text(writer_->fehler()));
  }
}

// A writer that has failed stays so: told once, when it is noticed. `bildLock_` is held.
void WindowVideoCapture::meldeAusfall() {
  if (!writer_ || !basis_ || ausfallGemeldet_ || writer_->schreibt()) return;
  ausfallGemeldet_ = true;
  log("[hallkorb] Video-Schreiber ausgefallen: " + text(writer_->fehler()));
}

void WindowVideoCapture::gestoppt(const Fehler& fehler) {
  {
    const std::lock_guard halter(zustand_);
    streamWeg_ = true;
  }
  log("[hallkorb] Video-SCStream gestoppt: " + fehler.description);
}

bool WindowVideoCapture::abgebrochen() {
  const std::lock_guard halter(zustand_);
  return abgebrochen_;
}

std::optional<WindowVideoCapture::Video> WindowVideoCapture::stop() {
  std::shared_ptr<WindowStream> strom;
  bool lief = false;
  bool beaufsichtigt = false;
  {
    const std::lock_guard halter(zustand_);
    abgebrochen_ = true;
    lief = std::exchange(laeuft_, false);
    beaufsichtigt = beaufsichtigt_;
    strom = stream_;
  }
  schlaf_->wecke();
  // The stream first: its stop cancels a start or a switch that the supervision may be waiting for.
  bool geantwortet = true;
  if (strom) {
    geantwortet = laufeBefristet(executor_, STOP_FRIST,
                                 [selbst = shared_from_this(), strom] { strom->stop(); });
  }
  if (beaufsichtigt) geantwortet = aufsichtEnde_->warte(STOP_FRIST) && geantwortet;
  if (!geantwortet) log("[hallkorb] Bild: Fensteraufnahme antwortet nicht — Stop ohne sie");
  if (!lief) return std::nullopt;

  {
    const std::lock_guard halter(zustand_);
    schliesseQuelle();
  }
  return schliesseAb(meldeBildquellen());
}

// Writes the sources with their times, and returns what the video is called after. One source is
// there at least, the one that has been booked last.
std::string WindowVideoCapture::meldeBildquellen() {
  const std::lock_guard halter(zustand_);
  const auto zeiten = zeiten_.laengsteZuerst();
  for (const auto& [quelle, sekunden] : zeiten) {
    log("[hallkorb] Bildquelle: " + quelle +
        formatiert(" — %" PRId64 " s", static_cast<std::int64_t>(sekunden)));
  }
  std::string quelle = zeiten.front().first;
  if (zeiten.size() > 1) quelle += " (+" + std::to_string(zeiten.size() - 1) + " weitere)";
  return quelle;
}

std::optional<WindowVideoCapture::Video> WindowVideoCapture::schliesseAb(std::string quelle) {
  std::unique_ptr<VideoWriter> writer;
  std::int64_t frames = 0;
  std::int64_t verworfen = 0;
  {
    // From now on a late picture reaches nobody.
    const std::lock_guard halter(bildLock_);
    meldeAusfall();
    writer = std::move(writer_);
    frames = frames_;
    verworfen = verworfen_;
  }
  if (verworfen > 0) {
    log(formatiert("[hallkorb] Bild: %" PRId64 " Bilder verworfen, Schreiber nicht bereit",
                   verworfen));
  }
  if (!writer || frames < 1 || !writer->schreibt()) return std::nullopt;
  if (!writer->schliesseAb(hostSekunden())) {
    log("[hallkorb] Video-Abschluss fehlgeschlagen: " + text(writer->fehler()));
    return std::nullopt;
  }
  return Video{ziel_, frames, std::move(quelle)};
}

}  // namespace hallkorb
