#include "base/Dateien.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <thread>
#include <utility>

namespace hallkorb {
namespace {

// Some systems refuse a single call of 2 GiB or more instead of doing a part of it.
constexpr std::size_t MAX_JE_RUF = std::size_t{1} << 30U;
constexpr std::size_t LESEBLOCK = std::size_t{1} << 16U;
constexpr mode_t RECHTE_NEU = 0666;  // less the user's mask
constexpr mode_t RECHTE_ALLE = 0777;
constexpr int MAX_VERWEISE = 40;
constexpr int MAX_NAMEN = 1000;

// The result of a system call, or its negated error number.
template <class T>
T oderNummer(T ergebnis) {
  return ergebnis < 0 ? static_cast<T>(-errno) : ergebnis;
}

// How long somebody may take to open a pipe for reading, and to read on.
constexpr std::chrono::milliseconds PIPE_OHNE_LESER{1000};
constexpr std::chrono::milliseconds PIPE_OHNE_FORTSCHRITT{5000};

// Waits if the other end has no room.
ssize_t nachSchreibversuch(ssize_t ergebnis, int datei) {
  if (ergebnis < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
    pollfd wer{datei, POLLOUT, 0};
    const int bereit = ::poll(&wer, 1, static_cast<int>(PIPE_OHNE_FORTSCHRITT.count()));
    return bereit == 0 ? -ETIMEDOUT : -EINTR;
  }
  return oderNummer(ergebnis);
}

class PosixDateien final : public Dateien {
 public:
  int oeffnen(const std::string& pfad, int flags, mode_t rechte) override {
    return oderNummer(::open(pfad.c_str(), flags | O_CLOEXEC | O_NOCTTY, rechte));
  }

  ssize_t lesen(int datei, std::span<std::uint8_t> ziel) override {
    return oderNummer(::read(datei, ziel.data(), ziel.size()));
  }

  ssize_t schreiben(int datei, std::span<const std::uint8_t> bytes) override {
    return nachSchreibversuch(::write(datei, bytes.data(), bytes.size()), datei);
  }

  ssize_t schreibenAn(int datei, std::span<const std::uint8_t> bytes,
                      std::int64_t stelle) override {
    return nachSchreibversuch(
        ::pwrite(datei, bytes.data(), bytes.size(), static_cast<off_t>(stelle)), datei);
  }

  int laengeSetzen(int datei, std::int64_t bytes) override {
    return oderNummer(::ftruncate(datei, static_cast<off_t>(bytes)));
  }

  int rechteSetzen(int datei, mode_t rechte) override {
    return oderNummer(::fchmod(datei, rechte));
  }

  int schliessen(int datei) override { return oderNummer(::close(datei)); }

  int umbenennen(const std::string& alt, const std::string& neu) override {
    return oderNummer(std::rename(alt.c_str(), neu.c_str()));
  }

  int loeschen(const std::string& pfad) override { return oderNummer(::unlink(pfad.c_str())); }

  int ordnerAnlegen(const std::string& pfad) override {
    return oderNummer(::mkdir(pfad.c_str(), RECHTE_ALLE));
  }

  int zustand(const std::string& pfad, Zustand& ergebnis) override {
    struct stat wert {};
    if (::stat(pfad.c_str(), &wert) != 0) return -errno;
    ergebnis.art = S_ISREG(wert.st_mode)   ? Art::datei
                   : S_ISDIR(wert.st_mode) ? Art::ordner
                                           : Art::sonst;
    ergebnis.groesse = static_cast<std::int64_t>(wert.st_size);
    ergebnis.rechte = wert.st_mode & RECHTE_ALLE;
    return 0;
  }

  int verweis(const std::string& pfad, std::string& ziel) override {
    std::array<char, 4096> platz{};  // the longest path either system allows
    const ssize_t laenge = ::readlink(pfad.c_str(), platz.data(), platz.size());
    if (laenge < 0) return -errno;
    ziel.assign(platz.data(), static_cast<std::size_t>(laenge));
    return 0;
  }
};

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
struct Ziel {
  std::string pfad;          // no link any more; need not exist
  std::optional<int> offen;  // instead: an open file of this process
  int nummer = 0;            // error number
};

Ziel folgeVerweisen(std::string pfad, Dateien& dateien) {
  for (int k = 0; k < MAX_VERWEISE; ++k) {
    if (const auto offen = offeneDatei(pfad)) return {{}, offen, 0};
    std::string weiter;
    const int ergebnis = dateien.verweis(pfad, weiter);
    if (ergebnis == -EINVAL || ergebnis == -ENOENT) return {std::move(pfad), {}, 0};
    if (ergebnis < 0) return {{}, {}, -ergebnis};
    pfad = weiter.starts_with('/') ? std::move(weiter) : ordnerVon(pfad).append(weiter);
  }
  return {{}, {}, ELOOP};
}

// Opens an existing target for writing. Waits only a moment for the reader of a pipe: a pipe that
// nobody reads must cost a chunk and not the recording.
int oeffneVorhandenes(const std::string& pfad, Dateien& dateien) {
  const auto bis = std::chrono::steady_clock::now() + PIPE_OHNE_LESER;
  for (;;) {
    const int datei = beharrlich([&] { return dateien.oeffnen(pfad, O_WRONLY | O_NONBLOCK, 0); });
    if (datei != -ENXIO || std::chrono::steady_clock::now() > bis) return datei;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// Writes into an existing target without creating or truncating anything.
int schreibeHinein(const std::string& pfad, std::span<const std::uint8_t> bytes, Dateien& dateien) {
  const int datei = oeffneVorhandenes(pfad, dateien);
  if (datei < 0) return -datei;
  const int nummer = schreibeGanz(datei, bytes, dateien).nummer;
  const int beimSchliessen = schliesse(datei, dateien);
  return nummer != 0 ? nummer : beimSchliessen;
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

// `bisher`: the permissions of the file that is replaced.
int schreibeDaneben(const std::string& pfad, std::optional<mode_t> bisher,
                    std::span<const std::uint8_t> bytes, Dateien& dateien) {
  // Opened with the earlier file's permissions, so that nobody reads the new file who could not
  // read the old one; rechteSetzen restores what the user's mask took away. A file system without
  // permissions refuses that, which does no harm.
  const Teil teil = neuesTeil(ordnerVon(pfad), bisher.value_or(RECHTE_NEU), dateien);
  if (teil.datei < 0) return -teil.datei;
  if (bisher) dateien.rechteSetzen(teil.datei, *bisher);
  int nummer = schreibeGanz(teil.datei, bytes, dateien).nummer;
  const int beimSchliessen = schliesse(teil.datei, dateien);
  if (nummer == 0) nummer = beimSchliessen;
  if (nummer == 0) nummer = -beharrlich([&] { return dateien.umbenennen(teil.pfad, pfad); });
  if (nummer != 0) dateien.loeschen(teil.pfad);
  return nummer;
}

int ersetze(const std::string& pfad, std::span<const std::uint8_t> bytes, Dateien& dateien) {
  const Ziel ziel = folgeVerweisen(pfad, dateien);
  if (ziel.nummer != 0) return ziel.nummer;
  if (ziel.offen) return schreibeGanz(*ziel.offen, bytes, dateien).nummer;

  Dateien::Zustand zustand;
  const int ergebnis = dateien.zustand(ziel.pfad, zustand);
  if (ergebnis == -ENOENT) return schreibeDaneben(ziel.pfad, std::nullopt, bytes, dateien);
  if (ergebnis < 0) return -ergebnis;
  if (zustand.art != Dateien::Art::datei) return schreibeHinein(ziel.pfad, bytes, dateien);
  return schreibeDaneben(ziel.pfad, zustand.rechte, bytes, dateien);
}

template <class Ruf>
Geschrieben schreibeReste(std::span<const std::uint8_t> bytes, Ruf ruf) {
  Geschrieben stand;
  while (!bytes.empty()) {
    const ssize_t n = beharrlich(
        [&] { return ruf(bytes.first(std::min(bytes.size(), MAX_JE_RUF)), stand.bytes); });
    if (n <= 0) {
      stand.nummer = n < 0 ? static_cast<int>(-n) : EIO;
      break;
    }
    stand.bytes += n;
    bytes = bytes.subspan(static_cast<std::size_t>(n));
  }
  return stand;
}

bool istOrdner(const std::string& pfad, Dateien& dateien) {
  Dateien::Zustand zustand;
  return dateien.zustand(pfad, zustand) == 0 && zustand.art == Dateien::Art::ordner;
}

}  // namespace

Dateien& posixDateien() {
  static PosixDateien dateien;
  return dateien;
}

Geschrieben schreibeGanz(int datei, std::span<const std::uint8_t> bytes, Dateien& dateien) {
  return schreibeReste(bytes, [&](std::span<const std::uint8_t> rest, std::int64_t) {
    return dateien.schreiben(datei, rest);
  });
}

Geschrieben schreibeGanzAn(int datei, std::span<const std::uint8_t> bytes, std::int64_t stelle,
                           Dateien& dateien) {
  return schreibeReste(bytes, [&](std::span<const std::uint8_t> rest, std::int64_t fertig) {
    return dateien.schreibenAn(datei, rest, stelle + fertig);
  });
}

int schliesse(int datei, Dateien& dateien) {
  // Not repeated: after an interrupted close the handle is free and may belong to another file.
  const int ergebnis = dateien.schliessen(datei);
  return ergebnis == -EINTR ? 0 : -ergebnis;
}

Ergebnis ersetzeDatei(const std::string& pfad, std::span<const std::uint8_t> bytes,
                      Dateien& dateien) {
  const int nummer = ersetze(pfad, bytes, dateien);
  if (nummer == 0) return std::nullopt;
  return Fehler::ausErrno(nummer, "Schreiben nach " + pfad);
}

bool liesStueckweise(const std::string& pfad,
                     const std::function<void(std::span<const std::uint8_t>)>& stueck,
                     Dateien& dateien) {
  const int datei = beharrlich([&] { return dateien.oeffnen(pfad, O_RDONLY, 0); });
  if (datei < 0) return false;
  std::vector<std::uint8_t> puffer(LESEBLOCK);
  ssize_t n = 0;
  while ((n = beharrlich([&] { return dateien.lesen(datei, puffer); })) > 0)
    stueck(std::span<const std::uint8_t>(puffer).first(static_cast<std::size_t>(n)));
  schliesse(datei, dateien);
  return n == 0;
}

std::optional<std::vector<std::uint8_t>> liesDatei(const std::string& pfad, Dateien& dateien) {
  std::vector<std::uint8_t> inhalt;
  const bool ganz = liesStueckweise(
      pfad,
      [&](std::span<const std::uint8_t> bytes) {
        inhalt.insert(inhalt.end(), bytes.begin(), bytes.end());
      },
      dateien);
  return ganz ? std::optional(std::move(inhalt)) : std::nullopt;
}

Ergebnis erzeugeOrdner(const std::string& pfad, Dateien& dateien) {
  for (std::size_t ende = 0; ende != std::string::npos;) {
    ende = pfad.find('/', ende + 1);
    const std::string teil = pfad.substr(0, ende);
    if (istOrdner(teil, dateien)) continue;
    const int ergebnis = dateien.ordnerAnlegen(teil);
    // Another process may have created it in between.
    if (ergebnis < 0 && !istOrdner(teil, dateien)) {
      return Fehler::ausErrno(-ergebnis, "Anlegen des Ordners " + teil);
    }
  }
  return std::nullopt;
}

std::string pfadIn(const std::string& ordner, const std::string& name) {
  return ordner.empty() || ordner.ends_with('/') ? ordner + name : ordner + "/" + name;
}

}  // namespace hallkorb
