#include "session/Mp4Befund.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace hallkorb {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int MAX_KAESTEN = 1'000'000;
constexpr std::int64_t MAX_VERZEICHNIS = std::int64_t{256} << 20;
constexpr std::size_t KOPF = 8;
constexpr std::size_t LANGER_KOPF = 16;
constexpr std::array<std::string_view, 5> ZU_DEN_TAFELN = {"moov", "trak", "mdia", "minf", "stbl"};

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

// The number of samples in a table that has it after `davor` bytes.
std::int64_t anzahl(Bytes tafel, std::size_t davor) {
  return tafel.size() < davor + 4 ? 0 : static_cast<std::int64_t>(zahl(tafel, davor, 4));
}

void liesKopf(Bytes moov, Mp4Befund& befund) {
  befund.verzeichnis = true;
  const auto innen = inhalt(moov, "moov");
  if (innen && inhalt(*innen, "mvex")) befund.inFragmenten = true;
  std::optional<Bytes> tafeln = moov;
  for (const std::string_view ebene : ZU_DEN_TAFELN)
    if (tafeln) tafeln = inhalt(*tafeln, ebene);
  if (!tafeln) return;
  if (const auto groessen = inhalt(*tafeln, "stsz")) befund.bilder += anzahl(*groessen, 8);
}

std::int64_t bilderIm(Bytes moof) {
  auto innen = inhalt(moof, "moof");
  if (innen) innen = inhalt(*innen, "traf");
  if (innen) innen = inhalt(*innen, "trun");
  return innen ? anzahl(*innen, 4) : 0;
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
  if (laenge > MAX_VERZEICHNIS) return {};
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(laenge));
  bytes.resize(datei.liesAn(stelle, bytes));
  return bytes;
}

}  // namespace

Mp4Befund liesMp4Befund(const Lesedatei& datei) {
  Mp4Befund befund;
  std::int64_t imFragment = 0;  // pictures of an index whose data has not come yet
  bool offen = false;
  for (int i = 0; i < MAX_KAESTEN && befund.ganzBis < datei.groesse(); ++i) {
    const auto kasten = kastenAn(datei, befund.ganzBis);
    if (!kasten) break;
    const std::string_view art = name(kasten->kopf);
    if (i == 0 && art != "ftyp") return {};
    befund.istMp4 = true;
    if (art == "moov") liesKopf(bytesVon(datei, befund.ganzBis, kasten->laenge), befund);
    if (art == "moof") {
      befund.inFragmenten = true;
      imFragment = bilderIm(bytesVon(datei, befund.ganzBis, kasten->laenge));
      offen = true;
    }
    if (art == "mdat" && offen) {
      befund.bilder += imFragment;
      ++befund.fragmente;
      offen = false;
    }
    befund.ganzBis += kasten->laenge;
    if (!offen) befund.spielbarBis = befund.ganzBis;
  }
  befund.abgeschnitten = befund.ganzBis < datei.groesse() || offen;
  return befund;
}

}  // namespace hallkorb
