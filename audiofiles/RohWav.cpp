#include "audiofiles/RohWav.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <system_error>
#include <utility>

#include "base/Abbruch.h"
#include "base/Ausgabe.h"

namespace hallkorb {
namespace {

constexpr double KOPF_ALLE_SEKUNDEN = 5.0;
// Seconds that the reader of a pipe may keep us waiting, and how many of them each second gives
// back.
constexpr double GEDULD = 5.0;
constexpr double GEDULD_JE_SEKUNDE = 0.1;
constexpr auto KOPF_BYTES = static_cast<std::int64_t>(WAV_KOPF_BYTES);

// Non-blocking, so that opening a pipe of that name fails instead of hanging. It has no effect on a
// regular file.
constexpr int ANLEGEN = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK;

// Whether what is written would be read by somebody else, or change a file of another name.
bool gehoertNichtUnsAllein(const Dateien::Zustand& zustand) {
  return !zustand.eigen || (zustand.art == Dateien::Art::datei && zustand.namen > 1);
}

// Returns the open file, empty, or a negated error number. Nothing is cut before it is known whose
// it is.
int legeAn(const std::string& pfad, Dateien& dateien) {
  // A link would decide where the recording goes.
  if (istVerweis(pfad, dateien)) beharrlich([&] { return dateien.loeschen(pfad); });
  const mode_t rechte = rechteNeuerDatei(pfad, dateien);
  const int datei = beharrlich([&] { return dateien.oeffnen(pfad, ANLEGEN, rechte); });
  if (datei < 0) return datei;
  Dateien::Zustand zustand;
  int nummer = beharrlich([&] { return dateien.zustandOffen(datei, zustand); });
  if (nummer == 0 && gehoertNichtUnsAllein(zustand)) {
    nummer = beharrlich([&] { return dateien.loeschen(pfad); });
    if (nummer == 0) {
      schliesse(datei, dateien);
      return beharrlich([&] { return dateien.oeffnen(pfad, ANLEGEN | O_EXCL, rechte); });
    }
    if (nummer == -EACCES) nummer = 0;  // its folder allows no change: it must be meant for us
  }
  if (nummer == 0 && zustand.groesse > 0 && zustand.art == Dateien::Art::datei) {
    nummer = beharrlich([&] { return dateien.laengeSetzen(datei, 0); });
  }
  if (nummer == 0) return datei;
  schliesse(datei, dateien);
  return nummer;
}

double sekundenSeitStart() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

std::unique_ptr<RohWav> RohWav::oeffne(std::string pfad, std::int64_t rate, Dateien& dateien,
                                       Uhr uhr, std::int64_t davor, int* grund) {
  const int datei = legeAn(pfad, dateien);
  if (grund != nullptr) *grund = std::max(0, -datei);
  if (datei < 0) return nullptr;
  if (!uhr) uhr = sekundenSeitStart;
  return std::unique_ptr<RohWav>(
      new RohWav(std::move(pfad), datei, rate, dateien, std::move(uhr), davor));
}

RohWav::RohWav(std::string pfad, int datei, std::int64_t rate, Dateien& dateien, Uhr uhr,
               std::int64_t davor)
    : handle_(datei),
      pfad_(std::move(pfad)),
      rate_(rate),
      laenge_(2 * davor),
      verloren_(2 * davor),
      gestoert_(davor > 0),
      geduld_(GEDULD),
      dateien_(dateien),
      uhr_(std::move(uhr)) {
  letztesWarten_ = uhr_();
  merkeDatei(datei);
  int nummer = kopfNachtragen();
  if (nummer == ESPIPE) {
    // A pipe or a terminal only takes bytes in order: the header of an empty recording stays.
    nurVoran_ = true;
    const WavKopf leerer = kopf(rate_, 0);
    rest_.assign(leerer.begin(), leerer.end());
    nummer = gibRest();
  }
  // A full disk may have room in a minute: the header is then written later.
  melde(nummer);
}

RohWav::~RohWav() {
  static_cast<void>(schliessen());
}

WavKopf RohWav::kopf(std::int64_t rate, std::uint32_t bytes) {
  return wavKopf(rate, bytes);
}

void RohWav::schreiben(std::span<const float> samples) {
  if (!handle_ || samples.empty()) return;
  puffer_.resize(2 * samples.size());
  kodiereWav(samples, puffer_);
  const bool faellig = kopfFehlt_ || uhr_() - letzterKopf_ > KOPF_ALLE_SEKUNDEN;
  if (faellig) pruefePfad();
  const std::int64_t stelle = laenge_;
  const auto anzahl = static_cast<std::int64_t>(puffer_.size());
  laenge_ += anzahl;

  const Geschrieben stand = nurVoran_
                                ? gibWeiter(puffer_)
                                : schreibeGanzAn(*handle_, puffer_, KOPF_BYTES + stelle, dateien_);
  const std::int64_t ganz = stand.bytes / 2 * 2;  // whole samples only
  if (ganz > 0) bytes_ = static_cast<std::uint32_t>(stelle + ganz);
  verloren_ += anzahl - ganz;

  int nummer = stand.nummer;
  if (faellig) {
    const int beimKopf = kopfNachtragen();
    if (nummer == 0) nummer = beimKopf;
  }
  melde(nummer);
}

// A sample that is cut in two counts as written: its other byte comes first next time.
Geschrieben RohWav::gibWeiter(std::span<const std::uint8_t> bytes) {
  if (const int nummer = gibRest(); nummer != 0) return {0, nummer};
  Geschrieben stand = sende(bytes);
  if (stand.bytes % 2 != 0) rest_.push_back(bytes[static_cast<std::size_t>(stand.bytes++)]);
  return stand;
}

// Returns 0 if nothing is left of it, otherwise an error number.
int RohWav::gibRest() {
  const Geschrieben stand = sende(rest_);
  rest_.erase(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(stand.bytes));
  return stand.nummer;
}

Geschrieben RohWav::sende(std::span<const std::uint8_t> bytes) {
  Geschrieben stand;
  while (!bytes.empty() && stand.nummer == 0) {
    const ssize_t n = beharrlich([&] { return dateien_.schreiben(*handle_, bytes); });
    if (n > 0) {
      stand.bytes += n;
      bytes = bytes.subspan(static_cast<std::size_t>(n));
    } else if (n == -EAGAIN) {
      stand.nummer = warteAufLeser();
    } else {
      stand.nummer = n < 0 ? static_cast<int>(-n) : EIO;
    }
  }
  return stand;
}

// Returns 0 if there is room again, otherwise an error number.
int RohWav::warteAufLeser() {
  const double anfang = uhr_();
  geduld_ = std::min(GEDULD, geduld_ + (anfang - letztesWarten_) * GEDULD_JE_SEKUNDE);
  const auto frist = std::chrono::milliseconds(static_cast<std::int64_t>(geduld_ * 1000));
  const int nummer = beharrlich([&] { return dateien_.warteAufPlatz(*handle_, frist); });
  letztesWarten_ = uhr_();
  geduld_ = std::max(0.0, geduld_ - (letztesWarten_ - anfang));
  return -nummer;
}

std::size_t RohWav::platz() const {
  if (nurVoran_) return std::numeric_limits<std::size_t>::max();
  return static_cast<std::size_t>(std::max<std::int64_t>(MAX_BYTES - laenge_, 0)) / 2;
}

void RohWav::pruefePfad() {
  if (pfadStimmt()) {
    entfernt_ = false;
    return;
  }
  // Never what somebody else may have put there.
  const mode_t rechte = rechteNeuerDatei(pfad_, dateien_);
  const int neu = beharrlich(
      [&] { return dateien_.oeffnen(pfad_, O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK, rechte); });
  if (neu < 0) {
    meldeVerlust();
    return;
  }
  log(zeilenAnfang() + "entfernt, weiter in einer neuen Datei; was davor war, ist darin Stille");
  kopfNachtragen();
  schliesse(*handle_, dateien_);
  handle_ = neu;
  bytes_ = 0;
  entfernt_ = false;
  merkeDatei(neu);
}

void RohWav::meldeVerlust() {
  if (!entfernt_)
    log(zeilenAnfang() +
        "entfernt, verschoben oder ersetzt; geschrieben wird weiter in die alte Datei");
  entfernt_ = true;
}

std::string RohWav::zeilenAnfang() const {
  return "[hallkorb] " + pfad_.substr(pfad_.rfind('/') + 1) + ": ";
}

// True also if that cannot be found out: no reason to leave a file.
bool RohWav::pfadStimmt() const {
  if (!eigene_) return true;
  Dateien::Zustand dort;
  const int nummer = beharrlich([&] { return dateien_.zustand(pfad_, dort); });
  return nummer == 0 ? dort.selbeDatei(*eigene_) : nummer != -ENOENT && nummer != -ENOTDIR;
}

void RohWav::merkeDatei(int datei) {
  Dateien::Zustand zustand;
  const int nummer = beharrlich([&] { return dateien_.zustandOffen(datei, zustand); });
  eigene_.reset();
  if (nummer == 0 && zustand.art == Dateien::Art::datei) eigene_ = zustand;
}

// Both size fields are written with the rest of the header in one call: they never disagree, and a
// header that could not be written before is made up for.
int RohWav::kopfNachtragen() {
  letzterKopf_ = uhr_();
  if (nurVoran_) return 0;
  if (bytes_ > MAX_BYTES) abbruch(pfad_ + ": mehr als 2 GiB fasst eine WAV-Datei nicht");
  const int nummer = schreibeGanzAn(*handle_, kopf(rate_, bytes_), 0, dateien_).nummer;
  kopfFehlt_ = nummer != 0;
  return nummer;
}

Ergebnis RohWav::schliessen() {
  if (!handle_) return {};
  if (!pfadStimmt()) meldeVerlust();
  static_cast<void>(gibRest());  // the second half of the last sample
  int nummer = 0;
  if (bytes_ != static_cast<std::uint32_t>(laenge_) && !nurVoran_) {
    // The last samples were lost, but the file must be as long as the recording. The silence takes
    // no room on the disk.
    nummer = -beharrlich([&] { return dateien_.laengeSetzen(*handle_, KOPF_BYTES + laenge_); });
    if (nummer == 0) bytes_ = static_cast<std::uint32_t>(laenge_);
  }
  const int beimKopf = kopfNachtragen();
  const int beimSchliessen = schliesse(*handle_, dateien_);
  handle_.reset();
  if (nummer == 0) nummer = beimKopf;
  if (nummer == 0) nummer = beimSchliessen;
  if (nummer == 0) return {};
  return Fehler::ausErrno(nummer, "Schliessen von " + pfad_);
}

void RohWav::melde(int nummer) {
  if ((nummer != 0) == gestoert_) return;
  gestoert_ = nummer != 0;
  const std::string anfang = zeilenAnfang();
  if (gestoert_) {
    log(anfang + "Schreibfehler: " + std::generic_category().message(nummer));
  } else {
    log(anfang + "Schreiben geht wieder, " + std::to_string(verloren_ / 2) +
        (nurVoran_ ? " Samples fehlen" : " Samples sind durch Stille ersetzt"));
    verloren_ = 0;
  }
}

}  // namespace hallkorb
