#include "audiofiles/Wav.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "audiofiles/WavLeser.h"
#include "base/Abbruch.h"
#include "base/Ersatzdatei.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

constexpr std::uint32_t KOPF_REST = 36;  // what the first size field counts beside the samples
constexpr std::size_t SAMPLE_BYTES = 2;

// All integers of the format are little-endian.
void setze16(std::span<std::uint8_t> ziel, std::uint32_t wert) {
  ziel[0] = static_cast<std::uint8_t>(wert & 0xFFU);
  ziel[1] = static_cast<std::uint8_t>(wert >> 8U & 0xFFU);
}

void setze32(std::span<std::uint8_t> ziel, std::uint32_t wert) {
  setze16(ziel, wert & 0xFFFFU);
  setze16(ziel.subspan(2), wert >> 16U);
}

void setzeWort(std::span<std::uint8_t> ziel, std::string_view wort) {
  std::copy(wort.begin(), wort.end(), ziel.begin());
}

std::int16_t kodiert(float wert) {
  // NaN fails every comparison, and so takes the upper bound.
  const float begrenzt = wert < 1.0F ? std::max(wert, -1.0F) : 1.0F;
  return static_cast<std::int16_t>(begrenzt * 32767.0F);
}

}  // namespace

WavKopf wavKopf(std::int64_t rate, std::uint32_t bytes) {
  const auto rate32 = static_cast<std::uint32_t>(rate);
  WavKopf kopf{};
  const std::span<std::uint8_t> feld(kopf);
  setzeWort(feld, "RIFF");
  setze32(feld.subspan(4), bytes + KOPF_REST);
  setzeWort(feld.subspan(8), "WAVE");
  setzeWort(feld.subspan(12), "fmt ");
  setze32(feld.subspan(16), 16);           // length of the format block
  setze16(feld.subspan(20), 1);            // PCM
  setze16(feld.subspan(22), 1);            // channels
  setze32(feld.subspan(24), rate32);       //
  setze32(feld.subspan(28), rate32 * 2U);  // bytes per second
  setze16(feld.subspan(32), SAMPLE_BYTES);
  setze16(feld.subspan(34), 16);  // bits per sample
  setzeWort(feld.subspan(36), "data");
  setze32(feld.subspan(40), bytes);
  return kopf;
}

void kodiereWav(std::span<const float> samples, std::span<std::uint8_t> ziel) {
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto wert = static_cast<std::uint16_t>(kodiert(samples[i]));
    ziel[SAMPLE_BYTES * i] = static_cast<std::uint8_t>(wert & 0xFFU);
    ziel[SAMPLE_BYTES * i + 1] = static_cast<std::uint8_t>(wert >> 8U);
  }
}

std::int64_t wavRate(double rate) {
  if (!std::isfinite(rate) || rate <= -1.0 || rate >= 2147483648.0) {
    abbruch(formatiert("WAV-Datei: keine gueltige Rate: %g Hz (--rate)", rate));
  }
  return static_cast<std::int64_t>(rate);
}

std::uint32_t wavBytes(std::size_t samples) {
  if (samples > (std::numeric_limits<std::uint32_t>::max() - KOPF_REST) / SAMPLE_BYTES) {
    abbruch("WAV-Datei: zu viele Samples: " + std::to_string(samples));
  }
  return static_cast<std::uint32_t>(samples * SAMPLE_BYTES);
}

Ergebnis writeWav(std::span<const float> samples, double rate, const std::string& to,
                  Dateien& dateien, Unersetzbar unersetzbar) {
  const WavKopf kopf = wavKopf(wavRate(rate), wavBytes(samples.size()));
  std::vector<std::uint8_t> datei(WAV_KOPF_BYTES + samples.size() * SAMPLE_BYTES);
  std::copy(kopf.begin(), kopf.end(), datei.begin());
  kodiereWav(samples, std::span(datei).subspan(WAV_KOPF_BYTES));
  return ersetzeDatei(to, datei, dateien, Verweise::ersetzen, unersetzbar);
}

std::optional<std::vector<float>> liesWav(const std::string& path, Dateien& dateien) {
  Dateien::Zustand zustand;
  static_cast<void>(dateien.zustand(path, zustand));  // without one the length is 0: not known
  WavLeser leser(static_cast<std::uint64_t>(zustand.groesse));
  const bool ganz = liesStueckweise(
      path, [&](std::span<const std::uint8_t> bytes) { leser.nimm(bytes); }, dateien);
  return ganz ? leser.ende() : std::nullopt;
}

std::optional<std::vector<float>> dekodiereWav(std::span<const std::uint8_t> datei) {
  WavLeser leser(datei.size());
  leser.nimm(datei);
  return leser.ende();
}

}  // namespace hallkorb
