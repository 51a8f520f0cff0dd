#include "session/Spieldateien.h"

#include <fcntl.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "audiofiles/Wav.h"
#include "base/Dateien.h"
#include "base/Ersatzdatei.h"

namespace hallkorb {
namespace {

constexpr std::size_t BLOCK = std::size_t{256} * 1024;
constexpr std::int64_t BYTES_JE_SAMPLE = 2;

// Calls `nimm` with the bytes of a file from `ab` to `bis`, piece by piece. False if it ends
// earlier, or if `nimm` returned false.
template <class Nimm>
bool liesBereich(const Lesedatei& datei, std::int64_t ab, std::int64_t bis, Nimm nimm) {
  std::vector<std::uint8_t> block(BLOCK);
  while (ab < bis) {
    const auto teil = std::span(block).first(
        static_cast<std::size_t>(std::min<std::int64_t>(bis - ab, std::int64_t{BLOCK})));
    if (datei.liesAn(ab, teil) < teil.size()) return false;
    if (!nimm(std::span<const std::uint8_t>(teil))) return false;
    ab += static_cast<std::int64_t>(teil.size());
  }
  return true;
}

Fehler nichtLesbar(const std::string& name) {
  return Fehler::eigener(Fehlercode::nichtLesbar, name + " ist in der Aufnahme nicht lesbar");
}

Ergebnis kopiere(const Lesedatei& datei, std::int64_t ab, std::int64_t bis,
                 std::span<const std::uint8_t> davor, const std::string& nach,
                 const std::string& name) {
  // A link at the name of a file is replaced, as by the recorder.
  Ersatzdatei neue(nach, posixDateien(), Unersetzbar::lassen, Verweise::ersetzen);
  if (!davor.empty()) neue.schreibe(davor);
  const bool gelesen = liesBereich(datei, ab, bis, [&](std::span<const std::uint8_t> bytes) {
    neue.schreibe(bytes);
    return true;
  });
  if (!gelesen) return nichtLesbar(name);
  return neue.vollende();
}

}  // namespace

Spieldateien::Spieldateien(Sitzungsordner ordner, std::string ziel)
    : ordner_(std::move(ordner)),
      ziel_(std::move(ziel)),
      roh_(ordner_.roh ? Lesedatei::oeffne(ordner_.zu(ROHDATEI)) : std::nullopt) {
  const auto befund = roh_ ? liesWavBefund(*roh_) : std::nullopt;
  if (befund && befund->eigener) {
    rohBefund_ = *befund;
    beginneRoh();
  }
}

Spieldateien::~Spieldateien() {
  if (rohGriff_ >= 0) schliesse(rohGriff_, posixDateien());
}

Ergebnis Spieldateien::chunk(const ChunkZeile& chunk, std::optional<double> sekunden) {
  const std::string name = chunkName(chunk.kanal, chunk.nummer);
  const auto datei = Lesedatei::oeffne(ordner_.zu(name));
  if (!datei) return nichtLesbar(name);
  const std::string nach = pfadIn(ziel_, name);
  const auto befund = sekunden ? liesWavBefund(*datei) : std::nullopt;
  if (!befund || !befund->eigener) return kopiere(*datei, 0, datei->groesse(), {}, nach, name);
  const std::int64_t samples = std::min<std::int64_t>(
      befund->samples(), std::llround(*sekunden * static_cast<double>(befund->rate)));
  const std::int64_t bytes = samples * BYTES_JE_SAMPLE;
  const WavKopf kopf = wavKopf(befund->rate, static_cast<std::uint32_t>(bytes));
  return kopiere(*datei, befund->datenAb, befund->datenAb + bytes, kopf, nach, name);
}

Ergebnis Spieldateien::video() {
  const auto datei = Lesedatei::oeffne(ordner_.zu(VIDEODATEI));
  if (!datei) return nichtLesbar(VIDEODATEI);
  return kopiere(*datei, 0, datei->groesse(), {}, pfadIn(ziel_, VIDEODATEI), VIDEODATEI);
}

void Spieldateien::beginneRoh() {
  const std::string pfad = pfadIn(ziel_, ROHDATEI);
  if (istVerweis(pfad, posixDateien())) beharrlich([&] { return posixDateien().loeschen(pfad); });
  rohGriff_ = beharrlich([&] {
    return posixDateien().oeffnen(pfad, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW,
                                  rechteNeuerDatei(pfad));
  });
  if (rohGriff_ >= 0) schreibeRoh(0);
}

void Spieldateien::rohBis(double sekunden) {
  if (rohGriff_ < 0) return;
  const double samples = std::min(std::floor(sekunden * static_cast<double>(rohBefund_.rate)),
                                  static_cast<double>(rohBefund_.samples()));
  const std::int64_t bis = static_cast<std::int64_t>(samples) * BYTES_JE_SAMPLE;
  if (bis > rohBytes_) schreibeRoh(bis);
}

// What cannot be written is missing, as in a recording; the header does not declare it.
bool Spieldateien::schreibeRoh(std::int64_t bis) {
  const std::int64_t kopf = rohBefund_.datenAb;
  const bool alles =
      liesBereich(*roh_, kopf + rohBytes_, kopf + bis, [&](std::span<const std::uint8_t> bytes) {
        const auto stelle = static_cast<std::int64_t>(WAV_KOPF_BYTES) + rohBytes_;
        if (schreibeGanzAn(rohGriff_, bytes, stelle, posixDateien()).nummer != 0) return false;
        rohBytes_ += static_cast<std::int64_t>(bytes.size());
        return true;
      });
  const WavKopf neuer = wavKopf(rohBefund_.rate, static_cast<std::uint32_t>(rohBytes_));
  return schreibeGanzAn(rohGriff_, neuer, 0, posixDateien()).nummer == 0 && alles;
}

}  // namespace hallkorb
