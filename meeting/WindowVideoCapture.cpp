#include "meeting/WindowVideoCapture.h"

#include <cinttypes>
#include <utility>

#include "base/Ausgabe.h"
#include "base/Faden.h"
#include "base/Speichermangel.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

// Seconds that the stop waits for the stream, and then for the supervision.
constexpr double STOP_FRIST = 2.0;

void meldeBildquellen(const std::vector<Bildzeiten::Quellenzeit>& quellen) {
  for (const Bildzeiten::Quellenzeit& eintrag : quellen) {
    static_cast<void>(fangeMangel([&] {
      const auto sekunden = static_cast<std::int64_t>(eintrag.second);
      log("[hallkorb] Bildquelle: " + eintrag.first + formatiert(" — %" PRId64 " s", sekunden));
    }));
  }
}

// The video's name for people. The last source was booked, so without memory alone there is none.
std::string benannt(const std::vector<Bildzeiten::Quellenzeit>& quellen) {
  if (quellen.empty()) return {};
  std::string quelle = quellen.front().first;
  if (quellen.size() > 1) quelle += " (+" + std::to_string(quellen.size() - 1) + " weitere)";
  return quelle;
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
    : executor_(plattform.executor()),
      bildschirm_(plattform.screenCapture()),
      aufsichtEnde_(executor_.schlaf()),
      stromEnde_(Bereitschaft::neu(executor_)),
      film_(pfadIn(outDir, "video.mp4"), plattform, dateien),
      uhr_(executor_),
      aufsicht_(*bildschirm_, film_, stand_, *this, uhr_, zeitNull) {}

void WindowVideoCapture::starteGeduldig(double sekunden) {
  if (!stand_.beginneAufsicht()) return;
  const Ergebnis begonnen = fangeMangel([&] { return starteAufsicht(sekunden); });
  if (begonnen.gelungen()) return;
  aufsichtEnde_->wecke();
  const std::string& grund = begonnen.fehler().description;
  logFallsMoeglich("[hallkorb] Video-Start fehlgeschlagen: ", grund);
  static_cast<void>(fangeMangel(
      [&] { emit(R"({"event":"video_none","message":")" + jsonEscape(grund) + "\"}"); }));
}

Ergebnis WindowVideoCapture::starteAufsicht(double sekunden) {
  const auto aufsicht = [selbst = shared_from_this(), sekunden]() mutable {
    const std::shared_ptr<Schlaf> ende = selbst->aufsichtEnde_;
    selbst->beaufsichtige(sekunden);
    selbst = nullptr;
    ende->wecke();
  };
  if (stromEnde_ && executor_.starteUnabhaengig(aufsicht)) return {};
  return keinFaden();
}

// Pictures are large, so memory may be short for them and enough for the sound.
void WindowVideoCapture::beaufsichtige(double sekunden) {
  const Ergebnis ergebnis = fangeMangel([&] { aufsicht_.laufe(sekunden); });
  if (ergebnis.gelungen()) return;
  stand_.setzeEinlass(std::nullopt);  // nobody sees any more what the window shows
  if (!stand_.abgebrochen())
    logFallsMoeglich("[hallkorb] Bild: kein Speicher mehr — Bild endet, Ton laeuft weiter");
}

// While no picture counts, as in a pause, a refused one is not worth another.
bool WindowVideoCapture::bild(const Bild& bild) {
  return stand_.laesstEin(bild) ? film_.nimm(bild) : !stand_.nimmtAuf();
}

void WindowVideoCapture::titelGeaendert() {
  film_.zweifle();
  uhr_.wecke();
}

void WindowVideoCapture::gestoppt(const Fehler& fehler) {
  stand_.stromWeg();
  logFallsMoeglich("[hallkorb] Video-SCStream gestoppt: ", fehler.description);
}

// The sound's last chunks are written after it.
std::optional<WindowVideoCapture::Video> WindowVideoCapture::stop() {
  std::optional<Video> video;
  const Ergebnis ergebnis = fangeMangel([&] { video = beende(); });
  if (ergebnis.gescheitert()) {
    logFallsMoeglich("[hallkorb] Video-Abschluss fehlgeschlagen: ", ergebnis.fehler().description);
  }
  return video;
}

std::optional<WindowVideoCapture::Video> WindowVideoCapture::beende() {
  const Bildzustand::Ende ende = stand_.brichAb();
  uhr_.beende();
  if (!haltAn(ende))
    logFallsMoeglich("[hallkorb] Bild: Fensteraufnahme antwortet nicht — Stop ohne sie");
  if (!ende.lief) {
    // A start that the stop has cancelled may already have brought pictures, and doubts.
    film_.verwirf();
    return std::nullopt;
  }

  std::vector<Bildzeiten::Quellenzeit> quellen;
  static_cast<void>(fangeMangel([&] { quellen = stand_.schliesseZeiten(); }));
  Film::Aufnahme aufnahme = film_.entnimm();
  meldeBildquellen(quellen);
  if (!film_.schliesseAb(aufnahme)) return std::nullopt;
  return Video{film_.ziel(), aufnahme.frames, benannt(quellen)};
}

// Ends the stream and waits for the supervision; false if one of them hangs. The stream first: its
// stop cancels a start or a switch that the supervision may be waiting for. It calls this object,
// so it is ended even if there is no memory to do that with a limit.
bool WindowVideoCapture::haltAn(const Bildzustand::Ende& ende) {
  bool geantwortet = true;
  if (ende.strom) {
    const Ergebnis begrenzt = fangeMangel([&] {
      geantwortet =
          stromEnde_->laufe(STOP_FRIST, [selbst = shared_from_this(), strom = ende.strom] {
            static_cast<void>(fangeMangel([&] { strom->stop(); }));
          });
    });
    if (begrenzt.gescheitert()) static_cast<void>(fangeMangel([&] { ende.strom->stop(); }));
  }
  if (ende.beaufsichtigt) geantwortet = aufsichtEnde_->warte(STOP_FRIST) && geantwortet;
  return geantwortet;
}

}  // namespace hallkorb
