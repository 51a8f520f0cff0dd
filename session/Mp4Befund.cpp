#include "session/Mp4Befund.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace hallkorb {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int MAX_KAESTEN = 4'000'000;  // a killed recorder leaves four for each second
constexpr std::int64_t MAX_VERZEICHNISSE = std::int64_t{256} << 20;  // bytes, all together
constexpr std::size_t KOPF = 8;
constexpr std::size_t LANGER_KOPF = 16;
constexpr std::string_view VON_LIBAV = "VideoHandler";

// Which optional fields the heads of a fragment and of a run of pictures have.
constexpr std::uint64_t TFHD_STELLE = 0x1;
constexpr std::uint64_t TFHD_BESCHREIBUNG = 0x2;
constexpr std::uint64_t TFHD_DAUER = 0x8;
constexpr std::uint64_t TRUN_STELLE = 0x1;
constexpr std::uint64_t TRUN_ERSTE_FLAGGEN = 0x4;
constexpr std::uint64_t TRUN_DAUER = 0x100;
constexpr unsigned TRUN_SONSTIGE = 0xE00;  // its size, flags and offset
constexpr std::uint64_t FLAGGEN = 0xFFFFFF;

std::uint64_t zahl(Bytes bytes, std::size_t stelle, std::size_t breite) {
  std::uint64_t wert = 0;
  for (std::size_t i = 0; i < breite; ++i)
    wert = wert << 8U | bytes[stelle + i];
  return wert;
}

std::string_view name(Bytes kasten) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): bytes as characters
  return {reinterpret_cast<const char*>(kasten.data()) + 4, 4};
}

// The content of the first box of that name among those side by side.
std::optional<Bytes> inhalt(Bytes bytes, std::string_view gesucht) {
  while (bytes.size() >= KOPF) {
    const std::uint64_t laenge = zahl(bytes, 0, 4);
    if (laenge < KOPF || laenge > bytes.size()) return std::nullopt;
    if (name(bytes) == gesucht) return bytes.subspan(KOPF, laenge - KOPF);
    bytes = bytes.subspan(laenge);
  }
  return std::nullopt;
}

// The same, further down: the first of each name.
std::optional<Bytes> inhaltVon(std::optional<Bytes> bytes,
                               std::initializer_list<std::string_view> weg) {
  for (const std::string_view ebene : weg)
    if (bytes) bytes = inhalt(*bytes, ebene);
  return bytes;
}

// The fields of a box, one after the other; 0 behind its end.
class Felder {
 public:
  explicit Felder(Bytes bytes) : bytes_(bytes) {}

  std::uint64_t nimm(std::size_t breite) {
    heil_ = heil_ && breite <= bytes_.size() - stelle_;
    if (!heil_) return 0;
    const std::uint64_t wert = zahl(bytes_, stelle_, breite);
    stelle_ += breite;
    return wert;
  }
  void ueberspringe(std::size_t bytes) {
    heil_ = heil_ && bytes <= bytes_.size() - stelle_;
    if (heil_) stelle_ += bytes;
  }
  [[nodiscard]] bool heil() const { return heil_; }

 private:
  Bytes bytes_;
  std::size_t stelle_ = 0;
  bool heil_ = true;
};

// The number of samples in a table that has it after `davor` bytes.
std::int64_t anzahl(Bytes tafel, std::size_t davor) {
  return tafel.size() < davor + 4 ? 0 : static_cast<std::int64_t>(zahl(tafel, davor, 4));
}

// How the track measures time, and how far it reaches. In ticks.
struct Zeitmass {
  std::uint64_t jeSekunde = 0;  // 0 if it does not say so
  std::uint64_t jeBild = 0;     // unless a fragment says otherwise
  double bis = 0.0;

  [[nodiscard]] std::optional<double> sekunden() const {
    if (jeSekunde == 0 || bis <= 0.0) return std::nullopt;
    return bis / static_cast<double>(jeSekunde);
  }
};

Zeitmass liesZeitmass(Bytes moov) {
  Zeitmass mass;
  if (const auto mdhd = inhaltVon(moov, {"moov", "trak", "mdia", "mdhd"})) {
    Felder felder(*mdhd);
    const bool breit = felder.nimm(4) >> 24U == 1;
    felder.ueberspringe(breit ? 16 : 8);  // two dates
    mass.jeSekunde = felder.nimm(4);
    const std::uint64_t dauer = felder.nimm(breit ? 8 : 4);
    const std::uint64_t unbekannt = breit ? std::numeric_limits<std::uint64_t>::max()
                                          : std::numeric_limits<std::uint32_t>::max();
    if (dauer != unbekannt) mass.bis = static_cast<double>(dauer);
  }
  if (const auto trex = inhaltVon(moov, {"moov", "mvex", "trex"})) {
    Felder felder(*trex);
    felder.ueberspringe(12);
    mass.jeBild = felder.nimm(4);
  }
  return mass;
}

bool ausLibav(Bytes moov) {
  constexpr std::size_t NAME = 24;
  const auto hdlr = inhaltVon(moov, {"moov", "trak", "mdia", "hdlr"});
  if (!hdlr || hdlr->size() < NAME + VON_LIBAV.size()) return false;
  return std::equal(VON_LIBAV.begin(), VON_LIBAV.end(), hdlr->subspan(NAME).begin());
}

void liesKopf(Bytes moov, Mp4Befund& befund) {
  befund.verzeichnis = true;
  if (inhaltVon(moov, {"moov", "mvex"})) befund.inFragmenten = true;
  if (ausLibav(moov)) befund.ausLibav = true;
  if (const auto groessen = inhaltVon(moov, {"moov", "trak", "mdia", "minf", "stbl", "stsz"}))
    befund.bilder += anzahl(*groessen, 8);
}

// How long a run of pictures lasts if each without a duration of its own lasts `jeBild`.
double dauerDerReihe(Bytes trun, std::uint64_t jeBild) {
  Felder felder(trun);
  const std::uint64_t flaggen = felder.nimm(4) & FLAGGEN;
  const std::uint64_t bilder = felder.nimm(4);
  if ((flaggen & TRUN_DAUER) == 0) return static_cast<double>(bilder) * static_cast<double>(jeBild);
  if ((flaggen & TRUN_STELLE) != 0) felder.ueberspringe(4);
  if ((flaggen & TRUN_ERSTE_FLAGGEN) != 0) felder.ueberspringe(4);
  const auto weitere = static_cast<std::size_t>(std::popcount(flaggen & TRUN_SONSTIGE)) * 4;
  double dauer = 0.0;
  for (std::uint64_t i = 0; i < bilder && felder.heil(); ++i) {
    dauer += static_cast<double>(felder.nimm(4));
    felder.ueberspringe(weitere);
  }
  return dauer;
}

struct Fragment {
  std::int64_t bilder = 0;
  double bis = 0.0;  // ticks
};

// `mass` as it was before this fragment.
Fragment liesFragment(Bytes moof, const Zeitmass& mass) {
  const auto traf = inhaltVon(moof, {"moof", "traf"});
  const auto trun = traf ? inhalt(*traf, "trun") : std::nullopt;
  if (!trun) return {0, mass.bis};
  std::uint64_t jeBild = mass.jeBild;
  if (const auto tfhd = inhalt(*traf, "tfhd")) {
    Felder felder(*tfhd);
    const std::uint64_t flaggen = felder.nimm(4) & FLAGGEN;
    felder.ueberspringe(4);  // number of the track
    if ((flaggen & TFHD_STELLE) != 0) felder.ueberspringe(8);
    if ((flaggen & TFHD_BESCHREIBUNG) != 0) felder.ueberspringe(4);
    if ((flaggen & TFHD_DAUER) != 0) jeBild = felder.nimm(4);
  }
  double ab = mass.bis;
  if (const auto tfdt = inhalt(*traf, "tfdt")) {
    Felder felder(*tfdt);
    ab = static_cast<double>(felder.nimm(felder.nimm(4) >> 24U == 1 ? 8 : 4));
  }
  return {anzahl(*trun, 4), ab + dauerDerReihe(*trun, jeBild)};
}

struct Kasten {
  std::int64_t laenge = 0;
  std::array<std::uint8_t, LANGER_KOPF> kopf{};
};

// The box at a place; nullopt if it is none, or is not whole.
std::optional<Kasten> kastenAn(const Lesedatei& datei, std::int64_t stelle) {
  Kasten kasten;
  const std::size_t da = datei.liesAn(stelle, kasten.kopf);
  if (da < KOPF) return std::nullopt;
  const std::int64_t rest = datei.groesse() - stelle;
  std::uint64_t laenge = zahl(kasten.kopf, 0, 4);
  std::uint64_t mindestens = KOPF;
  if (laenge == 1) {
    if (da < LANGER_KOPF) return std::nullopt;
    laenge = zahl(kasten.kopf, KOPF, 8);
    mindestens = LANGER_KOPF;
  } else if (laenge == 0) {
    laenge = static_cast<std::uint64_t>(rest);
  }
  if (laenge < mindestens || laenge > static_cast<std::uint64_t>(rest)) return std::nullopt;
  kasten.laenge = static_cast<std::int64_t>(laenge);
  return kasten;
}

std::vector<std::uint8_t> bytesVon(const Lesedatei& datei, std::int64_t stelle,
                                   std::int64_t laenge) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(laenge));
  bytes.resize(datei.liesAn(stelle, bytes));
  return bytes;
}

// Goes from box to box.
class Leser {
 public:
  explicit Leser(const Lesedatei& datei) : datei_(datei) {}

  Mp4Befund laufe() {
    for (int i = 0; i < MAX_KAESTEN && befund_.ganzBis < datei_.groesse(); ++i) {
      const auto kasten = kastenAn(datei_, befund_.ganzBis);
      if (!kasten) break;
      if (i == 0 && name(kasten->kopf) != "ftyp") return {};
      befund_.istMp4 = true;
      if (!nimm(*kasten)) break;
      befund_.ganzBis += kasten->laenge;
      if (!offen_) befund_.spielbarBis = befund_.ganzBis;
    }
    befund_.abgeschnitten = befund_.ganzBis < datei_.groesse() || offen_;
    befund_.dauer = mass_.sekunden();
    return befund_;
  }

 private:
  // False if that is an index for which nothing is left.
  bool nimm(const Kasten& kasten) {
    const std::string_view art = name(kasten.kopf);
    if (art == "moov" || art == "moof") {
      if (kasten.laenge > rest_) return false;
      rest_ -= kasten.laenge;
      const auto bytes = bytesVon(datei_, befund_.ganzBis, kasten.laenge);
      if (art == "moov") {
        liesKopf(bytes, befund_);
        mass_ = liesZeitmass(bytes);
      } else {
        befund_.inFragmenten = true;
        fragment_ = liesFragment(bytes, mass_);
        offen_ = true;
      }
    }
    if (art == "mdat" && offen_) {
      befund_.bilder += fragment_.bilder;
      mass_.bis = std::max(mass_.bis, fragment_.bis);
      ++befund_.fragmente;
      offen_ = false;
    }
    return true;
  }

  const Lesedatei& datei_;
  Mp4Befund befund_;
  Zeitmass mass_;
  Fragment fragment_;  // whose data has not come yet
  bool offen_ = false;
  std::int64_t rest_ = MAX_VERZEICHNISSE;
};

}  // namespace

Mp4Befund liesMp4Befund(const Lesedatei& datei) {
  return Leser(datei).laufe();
}

}  // namespace hallkorb
