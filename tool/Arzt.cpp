#include "tool/Arzt.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Dateien.h"
#include "base/Faden.h"
#include "base/Text.h"
#include "meeting/FensterInfo.h"
#include "meeting/Film.h"
#include "meeting/MeetingRegeln.h"
#include "meeting/Rangfolge.h"
#include "platform/Befristet.h"
#include "session/Sitzungsordner.h"
#include "tool/Echomessung.h"

namespace hallkorb {
namespace {

constexpr double TAKT = 0.1;  // seconds between two readings of the levels
constexpr double BILDSCHIRM_FRIST = 4.0;
constexpr double NACHHALL = 0.7;    // seconds after the test sound: longer than any delay
constexpr double LEISE_DB = -60.0;  // nobody speaks
constexpr double UEBERSTEUERT = 0.999;
constexpr double TON_RATE = 48000.0;
// Bytes that an hour takes: three files of 16-bit samples at 16 kHz, and the video.
constexpr double STUNDE = 3600.0 * (3.0 * 32000.0 + 175000.0);
constexpr double KAUM = 0.05;  // hours
constexpr double KNAPP = 2.0;
constexpr std::size_t GENANNTE_FENSTER = 5;

// The deepest folder on the way to `pfad` that is there.
std::filesystem::path vorhandener(const std::string& pfad) {
  std::error_code egal;
  std::filesystem::path ort =
      std::filesystem::weakly_canonical(std::filesystem::absolute(pfad, egal), egal);
  while (!std::filesystem::exists(ort, egal) && ort.has_parent_path() && ort != ort.parent_path())
    ort = ort.parent_path();
  return ort;
}

std::string benannt(const std::optional<std::string>& name) {
  return name ? zeigbar(*name) : "Standardgeraet";
}

std::string gemessen(const Pegelstand& stand) {
  return formatiert("%.0f dBFS, Spitze %.0f dBFS", inDb(stand.effektiv), inDb(stand.spitze));
}

// What the question to the screen needs; its owner may have given up when the answer comes.
struct Frage {
  std::unique_ptr<ScreenCapture> bildschirm;
  ScreenContent content;
  Ergebnis ergebnis;
};

// A file of no name for other programs, gone with its owner.
class Tondatei {
 public:
  Tondatei() {
    std::error_code egal;
    std::string muster =
        (std::filesystem::temp_directory_path(egal) / "hallkorb-arzt-XXXXXX").string();
    const int griff = ::mkstemp(muster.data());
    if (griff < 0) return;
    ::close(griff);
    pfad_ = muster;
  }
  Tondatei(const Tondatei&) = delete;
  Tondatei& operator=(const Tondatei&) = delete;
  ~Tondatei() {
    if (!pfad_.empty()) ::unlink(pfad_.c_str());
  }
  [[nodiscard]] const std::string& pfad() const { return pfad_; }

 private:
  std::string pfad_;
};

}  // namespace

Arzt::Arzt(Plattform& plattform, Anzeige anzeige)
    : plattform_(plattform), anzeige_(std::move(anzeige)) {
  setzeHostClock(plattform.uhr());
}

bool Arzt::untersuche(const std::string& ordner, bool mitEcho) {
  const auto task = plattform_.executor().starte([&] {
    pruefeTondienst();
    pruefeGenehmigungen();
    pruefeTon(mitEcho);
    pruefeBildschirm();
    pruefeEncoder(ordner);
    pruefeOrdner(ordner);
    plattform_.runLoop().quit(0);
  });
  if (task == nullptr) {
    melde({Lage::fehlt, "Rechner", keinFaden().description, "andere Programme beenden"});
    return false;
  }
  static_cast<void>(plattform_.runLoop().run());
  return moeglich_;
}

void Arzt::melde(const Diagnose& diagnose) {
  moeglich_ = moeglich_ && diagnose.lage != Lage::fehlt;
  anzeige_.diagnose(diagnose);
}

void Arzt::pruefeTondienst() {
  auto antwort = plattform_.geraetenamen();
  if (const Fehler* fehler = std::get_if<Fehler>(&antwort)) {
    melde({Lage::fehlt, "Audiodienst", fehler->description, plattform_.abhilfe(Mangel::tondienst)});
    return;
  }
  namen_ = std::get<Geraetenamen>(std::move(antwort));
  melde({Lage::gut, "Audiodienst", "ist da", {}});
}

// What the platform answers before anything is started. Whether a recording works depends on what
// the devices themselves do afterwards.
void Arzt::pruefeGenehmigungen() {
  for (const Genehmigung& eine : plattform_.genehmigungen()) {
    const std::string was = "Erlaubnis " + eine.wofuer;
    switch (eine.stand) {
      case Genehmigung::Stand::erteilt:
        melde({Lage::gut, was, "erteilt", {}});
        break;
      case Genehmigung::Stand::ungefragt:
        melde({Lage::hinweis, was, "noch nicht gefragt; das System fragt gleich",
               "die Frage des Systems beantworten und noch einmal untersuchen"});
        break;
      case Genehmigung::Stand::fehlt:
        melde({Lage::mangel, was, "nicht erteilt", plattform_.abhilfe(eine.mangel)});
        break;
      case Genehmigung::Stand::gesperrt:
        melde({Lage::mangel, was, "durch Bildschirmzeit oder ein Verwaltungsprofil gesperrt",
               "die Sperre aufheben lassen"});
        break;
    }
  }
}

void Arzt::pruefeTon(bool mitEcho) {
  Pegelprobe mikrofon(plattform_.mikrofon(), plattform_);
  Pegelprobe system(plattform_.systemAudio(), plattform_);
  Pegelprobe* ich =
      starteProbe(mikrofon, "Mikrofon", namen_.mikrofon, Mangel::mikrofon) ? &mikrofon : nullptr;
  Pegelprobe* andere = starteProbe(system, "Systemton", namen_.lautsprecher, Mangel::systemAudio)
                           ? &system
                           : nullptr;
  if (ich == nullptr && andere == nullptr) return;
  hoereZu(ich, andere);
  meldePegel(ich, andere);
  pruefeVorrang(ich, andere);
  if (mitEcho) {
    pruefeEcho(ich, andere);
  } else if (ich != nullptr && andere != nullptr) {
    melde(
        {Lage::hinweis, "Echo", "nicht gemessen; mit --echo spielt arzt dazu einen Pruefton", {}});
  }
}

bool Arzt::starteProbe(Pegelprobe& probe, const char* was, const std::optional<std::string>& name,
                       Mangel mangel) {
  const Ergebnis ergebnis = probe.starte();
  if (ergebnis.gelungen()) {
    melde({Lage::gut, was, benannt(name), {}});
    return true;
  }
  melde({Lage::fehlt, was, ergebnis.fehler().description, plattform_.abhilfe(mangel)});
  return false;
}

void Arzt::hoereZu(Pegelprobe* mikrofon, Pegelprobe* system) {
  const auto schlaf = plattform_.executor().schlaf();
  const double anfang = plattform_.uhr().sekunden();
  const auto stand = [](Pegelprobe* probe) -> std::optional<double> {
    if (probe == nullptr) return std::nullopt;
    return inDb(probe->seitLetztem().spitze);
  };
  while (plattform_.uhr().sekunden() - anfang < HOERT_ZU) {
    static_cast<void>(schlaf->warte(TAKT));
    anzeige_.pegel(stand(mikrofon), stand(system));
  }
}

void Arzt::meldePegel(Pegelprobe* mikrofon, Pegelprobe* system) {
  if (mikrofon != nullptr) melde(pegelMikrofon(*mikrofon));
  if (system != nullptr) melde(pegelSystemton(*system));
}

Diagnose Arzt::pegelMikrofon(Pegelprobe& probe) const {
  constexpr char WAS[] = "Pegel Mikrofon";
  const Pegelstand stand = probe.gesamt();
  if (const auto fehler = probe.unterbrechung())
    return {Lage::fehlt, WAS, fehler->description, plattform_.abhilfe(Mangel::mikrofon)};
  if (stand.leer)
    return {Lage::fehlt, WAS, "vom Mikrofon kam nichts", plattform_.abhilfe(Mangel::mikrofon)};
  if (stand.spitze <= 0.0) {
    return {Lage::fehlt, WAS, "das Mikrofon liefert nur Nullen",
            plattform_.abhilfe(Mangel::stummesMikrofon)};
  }
  if (stand.spitze >= UEBERSTEUERT) {
    return {Lage::mangel, WAS, gemessen(stand) + ": uebersteuert", "das Mikrofon leiser stellen"};
  }
  if (inDb(stand.spitze) < LEISE_DB) {
    return {Lage::hinweis, WAS, gemessen(stand) + ": sehr leise",
            "noch einmal untersuchen und dabei sprechen"};
  }
  return {Lage::gut, WAS, gemessen(stand), {}};
}

Diagnose Arzt::pegelSystemton(Pegelprobe& probe) const {
  constexpr char WAS[] = "Pegel Systemton";
  const Pegelstand stand = probe.gesamt();
  if (const auto fehler = probe.unterbrechung())
    return {Lage::fehlt, WAS, fehler->description, plattform_.abhilfe(Mangel::systemAudio)};
  if (stand.spitze > 0.0) return {Lage::gut, WAS, gemessen(stand), {}};
  return {Lage::hinweis, WAS, "der Rechner spielt gerade nichts", {}};
}

// The platform itself reports a capture that runs without priority.
void Arzt::pruefeVorrang(Pegelprobe* mikrofon, Pegelprobe* system) {
  for (Pegelprobe* probe : {mikrofon, system}) {
    const auto fehler = probe != nullptr ? probe->ohneVorrang() : std::nullopt;
    if (!fehler) continue;
    melde({Lage::mangel, "Vorrang", fehler->description, plattform_.abhilfe(Mangel::vorrang)});
    return;
  }
  melde({Lage::gut, "Vorrang", "die Tonaufnahme hat Vorrang vor anderen Programmen", {}});
}

void Arzt::pruefeEcho(Pegelprobe* mikrofon, Pegelprobe* system) {
  if (mikrofon == nullptr || system == nullptr) {
    melde({Lage::hinweis, "Echo", "nicht messbar ohne Mikrofon und Systemton", {}});
    return;
  }
  const Tondatei datei;
  Ergebnis ergebnis = writeWav(pruefton(TON_RATE), TON_RATE, datei.pfad());
  const double null = plattform_.uhr().sekunden();
  mikrofon->behalteAb(null);
  system->behalteAb(null);
  if (ergebnis.gelungen()) ergebnis = plattform_.spieleVor(datei.pfad());
  if (ergebnis.gescheitert()) {
    melde({Lage::hinweis, "Echo", "nicht messbar: " + ergebnis.fehler().description, {}});
    return;
  }
  static_cast<void>(plattform_.executor().schlaf()->warte(NACHHALL));
  const std::vector<float> gespielt = system->behalten();
  if (std::all_of(gespielt.begin(), gespielt.end(), [](float wert) { return wert == 0.0F; })) {
    melde({Lage::mangel, "Echo", "der Pruefton kam im Systemton nicht an",
           plattform_.abhilfe(Mangel::systemAudio)});
    return;
  }
  const auto echo = misseEcho(gespielt, mikrofon->behalten(), Pegelprobe::RATE);
  if (!echo) {
    melde({Lage::gut, "Echo", "im Mikrofon ist der Pruefton nicht zu finden", {}});
    return;
  }
  melde({Lage::gut,
         "Echo",
         formatiert("%.0f ms nach dem Lautsprecher, %.0f dB", echo->verzoegerungMs, echo->pegelDb),
         {}});
}

void Arzt::pruefeBildschirm() {
  const auto frage = std::make_shared<Frage>();
  frage->bildschirm = plattform_.screenCapture();
  const bool geantwortet = laufeBefristet(plattform_.executor(), BILDSCHIRM_FRIST, [frage] {
    frage->ergebnis = frage->bildschirm->inventar(frage->content);
  });
  if (!geantwortet || frage->ergebnis.gescheitert()) {
    melde({Lage::mangel, "Bildschirm",
           (geantwortet ? frage->ergebnis.fehler().description : "antwortet nicht") +
               "; es gibt kein Video",
           plattform_.abhilfe(Mangel::bildschirm)});
    return;
  }
  const std::vector<FensterInfo> fenster = metadaten(frage->content);
  melde({Lage::gut, "Bildschirm", formatiert("%zu Fenster", fenster.size()), {}});
  std::size_t genannt = 0;
  for (const FensterInfo& eines : fenster) {
    if (!meetingApp(eines.bundle) && !istBrowser(eines.bundle)) continue;
    if (++genannt > GENANNTE_FENSTER) continue;
    melde({Lage::hinweis,
           "Fenster",
           zeigbar(eines.app + " · " + eines.titel) + (eines.sichtbar ? "" : " (verdeckt)"),
           {}});
  }
  if (genannt > GENANNTE_FENSTER)
    melde(
        {Lage::hinweis, "Fenster", formatiert("und %zu weitere", genannt - GENANNTE_FENSTER), {}});
  const Wahl wahl = waehleMeetingZiel(fenster);
  if (wahl.istFenster()) {
    melde({Lage::gut,
           "Besprechung",
           zeigbar(wahl.quelle) + " wuerde aufgenommen: " + zeigbar(wahl.grund),
           {}});
  } else {
    melde({Lage::hinweis, "Besprechung", zeigbar(wahl.grund),
           "die Besprechung oeffnen und ihr Fenster sichtbar lassen"});
  }
}

// Nothing is written: a writer does not touch its file before it starts.
void Arzt::pruefeEncoder(const std::string& ordner) {
  Fehler fehler;
  if (plattform_.videoWriter(pfadIn(ordner, VIDEODATEI), Film::einstellungen(), fehler) !=
      nullptr) {
    melde({Lage::gut, "Encoder", "H.264 ist da", {}});
  } else {
    melde({Lage::mangel, "Encoder", fehler.description + "; es gibt kein Video",
           plattform_.abhilfe(Mangel::encoder)});
  }
}

void Arzt::pruefeOrdner(const std::string& ordner) {
  const std::filesystem::path ort = vorhandener(ordner);
  const std::string probe =
      pfadIn(ort.string(), ".hallkorb-arzt-" + std::to_string(::getpid()) + ".teil");
  const int griff = beharrlich([&] {
    return posixDateien().oeffnen(probe, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  });
  if (griff < 0) {
    melde({Lage::fehlt, "Ordner", zeigbar(Fehler::ausErrno(-griff, ort.string()).description),
           "einen anderen Ordner nehmen, oder in ihm das Schreiben erlauben"});
    return;
  }
  schliesse(griff, posixDateien());
  posixDateien().loeschen(probe);
  std::error_code fehler;
  const auto platz = std::filesystem::space(ort, fehler);
  if (fehler) {
    melde({Lage::gut, "Ordner", zeigbar(ort.string()) + ": beschreibbar", {}});
    return;
  }
  const double frei = static_cast<double>(platz.available);
  const double stunden = frei / STUNDE;
  const std::string text =
      zeigbar(ort.string()) + formatiert(": beschreibbar, %.1f GB frei, genug fuer %.0f Stunden",
                                         frei / 1e9, std::floor(stunden));
  if (stunden < KAUM) {
    melde({Lage::fehlt, "Ordner", zeigbar(ort.string()) + ": der Datentraeger ist voll",
           "Platz schaffen; eine Stunde braucht etwa 1 GB"});
  } else {
    melde({stunden < KNAPP ? Lage::mangel : Lage::gut, "Ordner", text,
           stunden < KNAPP ? "Platz schaffen; eine Stunde braucht etwa 1 GB" : ""});
  }
}

}  // namespace hallkorb
