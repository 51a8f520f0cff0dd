#include "base/Ersatzdatei.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <thread>
#include <utility>

namespace hallkorb {
namespace {

constexpr mode_t RECHTE_NUR_ICH = 0600;
constexpr char ZWISCHENLAGER[] = P_tmpdir "/";  // for what goes on to a device or a pipe
constexpr int MAX_VERWEISE = 40;
constexpr int MAX_NAMEN = 1000;

// How long the reader of a pipe may take to open it.
constexpr std::chrono::milliseconds PIPE_OHNE_LESER{1000};

// The folder of a path with its separator; empty for the working directory.
std::string ordnerVon(const std::string& pfad) {
  return pfad.substr(0, pfad.rfind('/') + 1);
}

// The handle that a path like "/dev/fd/3" names. Such an entry cannot be replaced, and opening it
// again would create a second position in the same file, or fail for a socket.
std::optional<int> offeneDatei(std::string_view pfad) {
  for (const std::string_view anfang : {"/dev/fd/", "/proc/self/fd/"}) {
    if (!pfad.starts_with(anfang)) continue;
    const std::string_view ziffern = pfad.substr(anfang.size());
    const char* ende = ziffern.data() + ziffern.size();
    int nummer = -1;
    const auto [bis, fehler] = std::from_chars(ziffern.data(), ende, nummer);
    if (fehler == std::errc{} && bis == ende && nummer >= 0) return nummer;
  }
  return std::nullopt;
}

// Where a path leads when its last component is a chain of symbolic links.
struct Kettenende {
  std::string pfad;          // no link any more; need not exist
  std::optional<int> offen;  // instead: an open file of this process
  int nummer = 0;            // error number
};

Kettenende folgeVerweisen(std::string pfad, Dateien& dateien) {
  for (int k = 0; k < MAX_VERWEISE; ++k) {
    if (const auto offen = offeneDatei(pfad)) return {{}, offen, 0};
    std::string weiter;
    const int ergebnis = beharrlich([&] { return dateien.verweis(pfad, weiter); });
    if (ergebnis == -EINVAL || ergebnis == -ENOENT) return {std::move(pfad), {}, 0};
    if (ergebnis < 0) return {{}, {}, -ergebnis};
    pfad = weiter.starts_with('/') ? std::move(weiter) : ordnerVon(pfad).append(weiter);
  }
  return {{}, {}, ELOOP};
}

// Opens an existing target for writing. Waits only a moment for the reader of a pipe: a pipe that
// nobody reads must cost a chunk and not the recording.
int oeffneVorhandenes(const std::string& pfad, Dateien& dateien, int dazu) {
  const auto bis = std::chrono::steady_clock::now() + PIPE_OHNE_LESER;
  for (;;) {
    const int datei =
        beharrlich([&] { return dateien.oeffnen(pfad, O_WRONLY | O_NONBLOCK | dazu, 0); });
    if (datei != -ENXIO || std::chrono::steady_clock::now() > bis) return datei;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

struct Teil {
  int datei = -1;  // or a negated error number
  std::string pfad;
};

// A new file with an unused hidden name: a killed process of the same number may have left one.
Teil neuesTeil(const std::string& ordner, mode_t rechte, Dateien& dateien) {
  static std::atomic<std::uint64_t> zaehler{0};
  const std::string anfang = ordner + ".hallkorb-" + std::to_string(::getpid()) + "-";
  Teil teil;
  for (int k = 0; k < MAX_NAMEN; ++k) {
    teil.pfad = anfang + std::to_string(zaehler.fetch_add(1)) + ".teil";
    teil.datei =
        beharrlich([&] { return dateien.oeffnen(teil.pfad, O_WRONLY | O_CREAT | O_EXCL, rechte); });
    if (teil.datei != -EEXIST) break;
  }
  return teil;
}

}  // namespace

Ersatzdatei::Ziel Ersatzdatei::finde(const std::string& pfad, Verweise verweise, Dateien& dateien) {
  Ziel ziel;
  if (verweise == Verweise::ersetzen) {
    ziel.pfad = pfad;
    ziel.nurOhneVerweis = true;
    if (istVerweis(pfad, dateien)) return ziel;
  } else {
    Kettenende ende = folgeVerweisen(pfad, dateien);
    ziel.pfad = std::move(ende.pfad);
    ziel.offen = ende.offen;
    ziel.nummer = ende.nummer;
    if (ziel.nummer != 0 || ziel.offen) return ziel;
  }
  Dateien::Zustand zustand;
  const int ergebnis = beharrlich([&] { return dateien.zustand(ziel.pfad, zustand); });
  if (ergebnis == -ENOENT) return ziel;
  if (ergebnis < 0) {
    ziel.nummer = -ergebnis;
    return ziel;
  }
  ziel.fremd = ziel.nurOhneVerweis && !zustand.eigen;
  if (zustand.art == Dateien::Art::datei) {
    ziel.bisher = zustand.rechte;
  } else if (zustand.art == Dateien::Art::ordner) {
    ziel.nummer = EISDIR;
  } else {
    ziel.bleibt = !ziel.fremd;
  }
  return ziel;
}

Ersatzdatei::Ersatzdatei(const std::string& pfad, Dateien& dateien, Unersetzbar unersetzbar,
                         Verweise verweise)
    : Ersatzdatei(pfad, finde(pfad, verweise, dateien), dateien, unersetzbar, std::nullopt) {}

Ersatzdatei::Ersatzdatei(std::string pfad, Ziel ziel, Dateien& dateien, Unersetzbar unersetzbar,
                         std::optional<std::span<const std::uint8_t>> alles)
    : pfad_(std::move(pfad)),
      ziel_(std::move(ziel)),
      unersetzbar_(unersetzbar),
      alles_(alles),
      nummer_(ziel_.nummer),
      dateien_(dateien) {
  if (nummer_ != 0) return;
  // Opened with the earlier file's permissions, so that nobody reads the new file who could not
  // read the old one; rechteSetzen restores what the user's mask took away. A file system without
  // permissions refuses that, which does no harm.
  const bool wieBisher = ziel_.bisher && !ziel_.fremd;
  Teil teil;
  if (ziel_.wirdErsetzt()) {
    const mode_t rechte = wieBisher ? *ziel_.bisher : rechteNeuerDatei(ziel_.pfad, dateien_);
    teil = neuesTeil(ordnerVon(ziel_.pfad), rechte, dateien_);
  }
  if (!ziel_.wirdErsetzt() || bleibtAmOrt(-teil.datei)) {
    if (alles_) return;  // nothing to store
    nummer_ = pruefeVorhandenes();
    if (nummer_ != 0) return;
    teil = neuesTeil(ZWISCHENLAGER, RECHTE_NUR_ICH, dateien_);
  }
  if (teil.datei < 0) {
    nummer_ = -teil.datei;
    return;
  }
  teil_ = std::move(teil.pfad);
  datei_ = teil.datei;
  if (ziel_.wirdErsetzt() && wieBisher) {
    beharrlich([&] { return dateien_.rechteSetzen(*datei_, *ziel_.bisher); });
  }
}

// Whether `nummer` says that the folder must stay as it is, and there is a file to write to
// instead.
bool Ersatzdatei::bleibtAmOrt(int nummer) {
  if (nummer != EACCES && nummer != EPERM && nummer != EROFS) return false;
  ziel_.bleibt = unersetzbar_ == Unersetzbar::ueberschreiben && ziel_.bisher.has_value();
  return ziel_.bleibt;
}

// Whether what stays can be written to, as an error number. Devices and pipes notice that they are
// opened; they are left alone until there is something for them.
int Ersatzdatei::pruefeVorhandenes() {
  if (ziel_.offen) {
    return std::max(
        0, -static_cast<int>(beharrlich([&] { return dateien_.schreiben(*ziel_.offen, {}); })));
  }
  if (!ziel_.bisher) return 0;
  const int griff = oeffneVorhandenes(ziel_.pfad, dateien_, 0);
  return griff < 0 ? -griff : hallkorb::schliesse(griff, dateien_);
}

Ersatzdatei::~Ersatzdatei() {
  if (datei_) hallkorb::schliesse(*datei_, dateien_);
  raeumeAuf();
}

void Ersatzdatei::schreibe(std::span<const std::uint8_t> bytes) {
  if (nummer_ == 0 && datei_) nummer_ = schreibeGanz(*datei_, bytes, dateien_).nummer;
}

void Ersatzdatei::schreibeAn(std::span<const std::uint8_t> bytes, std::int64_t stelle) {
  if (nummer_ == 0) nummer_ = schreibeGanzAn(*datei_, bytes, stelle, dateien_).nummer;
}

Ergebnis Ersatzdatei::vollende() {
  if (datei_) {
    const int beimSchliessen = hallkorb::schliesse(*std::exchange(datei_, std::nullopt), dateien_);
    if (nummer_ == 0) nummer_ = beimSchliessen;
  }
  if (nummer_ == 0) nummer_ = ziel_.wirdErsetzt() ? benenneUm() : gibWeiter();
  raeumeAuf();
  return bisher();
}

Ergebnis Ersatzdatei::bisher() const {
  if (nummer_ == 0) return {};
  return Fehler::ausErrno(nummer_, "Schreiben nach " + pfad_);
}

int Ersatzdatei::benenneUm() {
  const int nummer = -beharrlich([&] { return dateien_.umbenennen(teil_, ziel_.pfad); });
  if (nummer == 0) teil_.clear();
  // Others' files in a folder like /tmp may be written, not replaced. They may also have been put
  // there to be read by their owners.
  return !ziel_.fremd && bleibtAmOrt(nummer) ? gibWeiter() : nummer;
}

void Ersatzdatei::raeumeAuf() {
  if (teil_.empty()) return;
  beharrlich([this] { return dateien_.loeschen(teil_); });
  teil_.clear();
}

// Writes everything, or copies what was stored, to a target that stays.
int Ersatzdatei::gibWeiter() {
  const int dazu = (ziel_.bisher ? O_TRUNC : 0) | (ziel_.nurOhneVerweis ? O_NOFOLLOW : 0);
  const int griff = ziel_.offen ? *ziel_.offen : oeffneVorhandenes(ziel_.pfad, dateien_, dazu);
  if (griff < 0) return -griff;
  int nummer = 0;
  const auto gib = [&](std::span<const std::uint8_t> bytes) {
    if (nummer == 0) nummer = schreibeGanz(griff, bytes, dateien_).nummer;
  };
  if (alles_) {
    gib(*alles_);
  } else if (!liesStueckweise(teil_, gib, dateien_) && nummer == 0) {
    nummer = EIO;
  }
  const int beimSchliessen = ziel_.offen ? 0 : hallkorb::schliesse(griff, dateien_);
  return nummer != 0 ? nummer : beimSchliessen;
}

Ergebnis ersetzeDatei(const std::string& pfad, std::span<const std::uint8_t> bytes,
                      Dateien& dateien, Verweise verweise, Unersetzbar unersetzbar) {
  Ersatzdatei datei(pfad, Ersatzdatei::finde(pfad, verweise, dateien), dateien, unersetzbar, bytes);
  datei.schreibe(bytes);
  return datei.vollende();
}

}  // namespace hallkorb
