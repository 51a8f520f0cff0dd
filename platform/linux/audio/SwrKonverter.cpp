#include "platform/linux/audio/SwrKonverter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "platform/linux/audio/Swresample.h"

namespace hallkorb {
namespace {

constexpr double MAX_RATE = 1e6;  // Hz
constexpr double FILTER_LAENGE = 72;
constexpr double GRENZE = 0.97;  // of the lower Nyquist frequency
constexpr double FENSTER_BETA = 9;
constexpr int MAX_PHASEN_LOG2 = 10;
// 8 MB; enough for 192 to 8 kHz with all phases.
constexpr double MAX_FILTERBANK = 1 << 21;
// The engine multiplies the input rate by its number of phases and must stay below 2^30.
constexpr std::int64_t MAX_GLIED = (1 << 20) - 1;

struct Verhaeltnis {
  int von = 0;
  int nach = 0;
};

// The engine takes whole rates only, but looks at nothing but their ratio. So it gets the ratio in
// whole numbers, by continued fraction: exact for all rates that occur (16000.5 Hz from 44.1 kHz is
// 88200 : 32001), otherwise within a millionth, far less than a device's own clock is off. nullopt
// if the rates are too far apart.
std::optional<Verhaeltnis> ganzzahlig(double von, double nach) {
  const double ziel = von / nach;
  std::int64_t p = 1;
  std::int64_t q = 0;
  std::int64_t vorP = 0;
  std::int64_t vorQ = 1;
  double rest = ziel;
  while (true) {
    const double ganz = std::floor(rest);
    if (ganz > static_cast<double>(MAX_GLIED)) break;
    const auto glied = static_cast<std::int64_t>(ganz);
    const std::int64_t neuP = glied * p + vorP;
    const std::int64_t neuQ = glied * q + vorQ;
    if (neuP > MAX_GLIED || neuQ > MAX_GLIED) break;
    vorP = std::exchange(p, neuP);
    vorQ = std::exchange(q, neuQ);
    const double erreicht = static_cast<double>(p) / static_cast<double>(q);
    if (std::abs(erreicht - ziel) <= ziel * std::numeric_limits<double>::epsilon()) break;
    rest = 1.0 / (rest - ganz);
  }
  if (p < 1 || q < 1) return std::nullopt;
  return Verhaeltnis{static_cast<int>(p), static_cast<int>(q)};
}

// As many filter phases (as a power of two) as the memory allows; nullopt if even one is too long.
std::optional<int> phasen(const Verhaeltnis& v) {
  const double dehnung = std::max(1.0, v.von / (v.nach * GRENZE));
  for (int log2 = MAX_PHASEN_LOG2; log2 >= 0; --log2) {
    if (std::ldexp(FILTER_LAENGE * dehnung, log2) <= MAX_FILTERBANK) return log2;
  }
  return std::nullopt;
}

bool stelleEin(const SwresampleAufrufe& rufe, SwrContext& swr, const Verhaeltnis& v,
               int phasenLog2) {
  return rufe.av_opt_set(&swr, "in_chlayout", "mono", 0) >= 0 &&
         rufe.av_opt_set(&swr, "out_chlayout", "mono", 0) >= 0 &&
         rufe.av_opt_set(&swr, "in_sample_fmt", "fltp", 0) >= 0 &&
         rufe.av_opt_set(&swr, "out_sample_fmt", "fltp", 0) >= 0 &&
         rufe.av_opt_set_int(&swr, "in_sample_rate", v.von, 0) >= 0 &&
         rufe.av_opt_set_int(&swr, "out_sample_rate", v.nach, 0) >= 0 &&
         rufe.av_opt_set_int(&swr, "filter_size", static_cast<int>(FILTER_LAENGE), 0) >= 0 &&
         rufe.av_opt_set_int(&swr, "phase_shift", phasenLog2, 0) >= 0 &&
         rufe.av_opt_set_double(&swr, "cutoff", GRENZE, 0) >= 0 &&
         rufe.av_opt_set_double(&swr, "kaiser_beta", FENSTER_BETA, 0) >= 0 &&
         rufe.av_opt_set_int(&swr, "exact_rational", 1, 0) >= 0 && rufe.swr_init(&swr) >= 0;
}

// Whether a version of the library takes all of these settings.
bool taugt(const SwresampleAufrufe& rufe) {
  rufe.av_log_set_level(AV_LOG_QUIET);  // standard error is for our own lines
  SwrContext* swr = rufe.swr_alloc();
  const bool gut = swr != nullptr && stelleEin(rufe, *swr, {2, 1}, 0);
  rufe.swr_free(&swr);
  return gut;
}

// The engine outputs nothing until it has a whole filter's length of input, twice its later
// backlog; with short blocks that would look like a gap. So it first gets silence, enough for a
// whole number of output samples, and these are dropped.
bool fuelle(SwrContext& swr, const Verhaeltnis& v) {
  if (v.von == v.nach) return true;
  const double filter = FILTER_LAENGE * std::max(1.0, v.von / (v.nach * GRENZE));
  const int vielfaches = static_cast<int>(filter / v.von) + 1;
  return swresample().swr_inject_silence(&swr, vielfaches * v.von) >= 0 &&
         swresample().swr_drop_output(&swr, vielfaches * v.nach) >= 0;
}

bool gueltig(double rate) {
  return rate > 0.0 && rate <= MAX_RATE;
}

Fehler swrFehler(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  swresample().av_strerror(code, text.data(), text.size());
  return {"swresample", code, std::string("Umwandlung fehlgeschlagen: ") + text.data()};
}

}  // namespace

void SwrKonverter::Freigabe::operator()(SwrContext* swr) const {
  swresample().swr_free(&swr);
}

SwrKonverter::SwrKonverter(const PcmFormat& quellformat, Swr swr)
    : quellformat_(quellformat), swr_(std::move(swr)) {}

Ergebnis SwrKonverter::moeglich() {
  return ladeSwresample(taugt);
}

std::unique_ptr<SwrKonverter> SwrKonverter::neu(const PcmFormat& quellformat, double rate) {
  if (!gueltig(quellformat.rate) || !gueltig(rate) || quellformat.channels == 0) return nullptr;
  const auto verhaeltnis = ganzzahlig(quellformat.rate, rate);
  if (!verhaeltnis) return nullptr;
  const auto phasenLog2 = phasen(*verhaeltnis);
  if (!phasenLog2) return nullptr;

  if (moeglich().gescheitert()) return nullptr;
  Swr swr(swresample().swr_alloc());
  if (!swr || !stelleEin(swresample(), *swr, *verhaeltnis, *phasenLog2)) return nullptr;
  if (!fuelle(*swr, *verhaeltnis)) return nullptr;
  return std::unique_ptr<SwrKonverter>(new SwrKonverter(quellformat, std::move(swr)));
}

Umwandlung SwrKonverter::wandle(const PcmBlock& block, std::size_t kapazitaet,
                                std::vector<float>& ausgabe) {
  ausgabe.clear();
  constexpr std::size_t max = std::numeric_limits<int>::max();
  if (block.format != quellformat_ || block.frames > max ||
      block.samples.size() < std::size_t{block.frames} * block.format.channels) {
    return Umwandlung::verloren();
  }
  if (block.frames == 0) return {};
  const std::span<const float> mono = block.ersterKanal(ersterKanal_);
  ausgabe.resize(std::min(kapazitaet, max));

  const auto* ein = reinterpret_cast<const std::uint8_t*>(mono.data());
  auto* aus = reinterpret_cast<std::uint8_t*>(ausgabe.data());
  const int n = swresample().swr_convert(swr_.get(), &aus, static_cast<int>(ausgabe.size()), &ein,
                                         static_cast<int>(mono.size()));
  ausgabe.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  if (n < 0) return Umwandlung::gescheitert(swrFehler(n));
  return {};
}

}  // namespace hallkorb
