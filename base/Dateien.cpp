#include "base/Dateien.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace hallkorb {
namespace {

// Some systems refuse a single call of 2 GiB or more instead of doing a part of it.
constexpr std::size_t MAX_JE_RUF = std::size_t{1} << 30U;
constexpr std::size_t LESEBLOCK = std::size_t{1} << 16U;
constexpr mode_t RECHTE_ALLE = 0777;
constexpr mode_t RECHTE_NEUER_ORDNER = 0700;
constexpr mode_t RECHTE_BESITZER = 0600;
constexpr mode_t RECHTE_ANDERE = 0066;

// The result of a system call, or its negated error number.
template <class T>
T oderNummer(T ergebnis) {
  return ergebnis < 0 ? static_cast<T>(-errno) : ergebnis;
}

// How long the reader of a pipe may take nothing.
constexpr std::chrono::milliseconds PIPE_OHNE_FORTSCHRITT{5000};

Dateien::Zustand alsZustand(const struct stat& wert) {
  Dateien::Zustand zustand;
  zustand.art = S_ISREG(wert.st_mode)   ? Dateien::Art::datei
                : S_ISDIR(wert.st_mode) ? Dateien::Art::ordner
                                        : Dateien::Art::sonst;
  zustand.groesse = static_cast<std::int64_t>(wert.st_size);
  zustand.rechte = wert.st_mode & RECHTE_ALLE;
  zustand.eigen = wert.st_uid == ::geteuid();
  zustand.geaendert = static_cast<std::int64_t>(wert.st_mtime);
  zustand.namen = static_cast<std::uint64_t>(wert.st_nlink);
  zustand.geraet = static_cast<std::uint64_t>(wert.st_dev);
  zustand.nummer = static_cast<std::uint64_t>(wert.st_ino);
  return zustand;
}

Dateien::Art alsArt(const std::filesystem::directory_entry& eintrag) {
  std::error_code egal;
  const auto zustand = eintrag.symlink_status(egal);
  return std::filesystem::is_regular_file(zustand) ? Dateien::Art::datei
         : std::filesystem::is_directory(zustand)  ? Dateien::Art::ordner
                                                   : Dateien::Art::sonst;
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
    return oderNummer(::write(datei, bytes.data(), bytes.size()));
  }

  int warteAufPlatz(int datei, std::chrono::milliseconds hoechstens) override {
    pollfd wer{datei, POLLOUT, 0};
    const int bereit = ::poll(&wer, 1, static_cast<int>(hoechstens.count()));
    return bereit == 0 ? -ETIMEDOUT : oderNummer(std::min(bereit, 0));
  }

  ssize_t lesenAn(int datei, std::span<std::uint8_t> ziel, std::int64_t stelle) override {
    return oderNummer(::pread(datei, ziel.data(), ziel.size(), static_cast<off_t>(stelle)));
  }

  ssize_t schreibenAn(int datei, std::span<const std::uint8_t> bytes,
                      std::int64_t stelle) override {
    return oderNummer(::pwrite(datei, bytes.data(), bytes.size(), static_cast<off_t>(stelle)));
  }

  int laengeSetzen(int datei, std::int64_t bytes) override {
    return oderNummer(::ftruncate(datei, static_cast<off_t>(bytes)));
  }

  int rechteSetzen(int datei, mode_t rechte) override {
    return oderNummer(::fchmod(datei, rechte));
  }

  int aufPlatte(int datei) override { return oderNummer(::fsync(datei)); }

  int schliessen(int datei) override { return oderNummer(::close(datei)); }

  int umbenennen(const std::string& alt, const std::string& neu) override {
    return oderNummer(std::rename(alt.c_str(), neu.c_str()));
  }

  int verknuepfen(const std::string& alt, const std::string& neu) override {
    return oderNummer(::link(alt.c_str(), neu.c_str()));
  }

  int loeschen(const std::string& pfad) override { return oderNummer(::unlink(pfad.c_str())); }

  int ordnerAnlegen(const std::string& pfad) override {
    return oderNummer(::mkdir(pfad.c_str(), RECHTE_NEUER_ORDNER));
  }

  int ordnerLesen(const std::string& pfad, std::vector<Eintrag>& eintraege) override {
    std::error_code fehler;
    std::filesystem::directory_iterator stelle(pfad, fehler);
    for (; !fehler && stelle != std::filesystem::directory_iterator(); stelle.increment(fehler))
      eintraege.push_back({stelle->path().filename().string(), alsArt(*stelle)});
    return -fehler.value();
  }

  int zustand(const std::string& pfad, Zustand& ergebnis) override {
    struct stat wert{};
    if (::stat(pfad.c_str(), &wert) != 0) return -errno;
    ergebnis = alsZustand(wert);
    return 0;
  }

  int zustandOffen(int datei, Zustand& ergebnis) override {
    struct stat wert{};
    if (::fstat(datei, &wert) != 0) return -errno;
    ergebnis = alsZustand(wert);
    return 0;
  }

  int sperren(int datei) override { return oderNummer(::flock(datei, LOCK_EX | LOCK_NB)); }

  int verweis(const std::string& pfad, std::string& ziel) override {
    std::array<char, 4096> platz{};  // the longest path either system allows
    const ssize_t laenge = ::readlink(pfad.c_str(), platz.data(), platz.size());
    if (laenge < 0) return -errno;
    ziel.assign(platz.data(), static_cast<std::size_t>(laenge));
    return 0;
  }
};

template <class Ruf>
Geschrieben schreibeReste(int datei, std::span<const std::uint8_t> bytes, Dateien& dateien,
                          Ruf ruf) {
  Geschrieben stand;
  while (!bytes.empty()) {
    ssize_t n = beharrlich(
        [&] { return ruf(bytes.first(std::min(bytes.size(), MAX_JE_RUF)), stand.bytes); });
    if (n == -EAGAIN) {
      n = beharrlich([&] { return dateien.warteAufPlatz(datei, PIPE_OHNE_FORTSCHRITT); });
      if (n == 0) continue;
    }
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
  return beharrlich([&] { return dateien.zustand(pfad, zustand); }) == 0 &&
         zustand.art == Dateien::Art::ordner;
}

}  // namespace

Dateien& posixDateien() {
  static PosixDateien dateien;
  return dateien;
}

Geschrieben schreibeGanz(int datei, std::span<const std::uint8_t> bytes, Dateien& dateien) {
  return schreibeReste(datei, bytes, dateien,
                       [&](std::span<const std::uint8_t> rest, std::int64_t) {
                         return dateien.schreiben(datei, rest);
                       });
}

Geschrieben schreibeGanzAn(int datei, std::span<const std::uint8_t> bytes, std::int64_t stelle,
                           Dateien& dateien) {
  return schreibeReste(datei, bytes, dateien,
                       [&](std::span<const std::uint8_t> rest, std::int64_t fertig) {
                         return dateien.schreibenAn(datei, rest, stelle + fertig);
                       });
}

bool istVerweis(const std::string& pfad, Dateien& dateien) {
  std::string ziel;
  return beharrlich([&] { return dateien.verweis(pfad, ziel); }) >= 0;
}

int schliesse(int datei, Dateien& dateien) {
  // Not repeated: after an interrupted close the handle is free and may belong to another file.
  const int ergebnis = dateien.schliessen(datei);
  return ergebnis == -EINTR ? 0 : -ergebnis;
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

mode_t rechteNeuerDatei(const std::string& pfad, Dateien& dateien) {
  const std::size_t ende = pfad.rfind('/');
  const std::string ordner = ende == std::string::npos ? "." : pfad.substr(0, ende + 1);
  Dateien::Zustand zustand;
  const int nummer = beharrlich([&] { return dateien.zustand(ordner, zustand); });
  return nummer < 0 ? RECHTE_BESITZER : RECHTE_BESITZER | (zustand.rechte & RECHTE_ANDERE);
}

Ergebnis erzeugeOrdner(const std::string& pfad, Dateien& dateien) {
  for (std::size_t ende = 0; ende != std::string::npos;) {
    ende = pfad.find('/', ende + 1);
    const std::string teil = pfad.substr(0, ende);
    if (istOrdner(teil, dateien)) continue;
    const int ergebnis = beharrlich([&] { return dateien.ordnerAnlegen(teil); });
    // Another process may have created it in between.
    if (ergebnis < 0 && !istOrdner(teil, dateien)) {
      return Fehler::ausErrno(-ergebnis, "Anlegen des Ordners " + teil);
    }
  }
  return {};
}

std::string pfadIn(const std::string& ordner, const std::string& name) {
  return ordner.empty() || ordner.ends_with('/') ? ordner + name : ordner + "/" + name;
}

}  // namespace hallkorb
