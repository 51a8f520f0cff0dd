#include "capture/Zeitachse.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstddef>
#include <utility>

#include "base/Abbruch.h"
#include "base/Ausgabe.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

// A device that keeps failing would fill the log. All events are counted.
constexpr std::int64_t GEMELDETE_EREIGNISSE = 20;

// To the nearest integer, halves away from zero.
std::int64_t gerundet(double x) {
  const double ganz = std::round(x);
  if (!(ganz > -0x1p63 && ganz < 0x1p63)) abbruch("Zeitachse: Zeitpunkt nicht darstellbar");
  return static_cast<std::int64_t>(ganz);
}

void stelleNullenVoran(std::vector<float>& out, std::int64_t anzahl) {
  out.insert(out.begin(), static_cast<std::size_t>(anzahl), 0.0F);
}

// At a rate of 0 there are no samples, and 0 / 0 would not be valid JSON.
double millisekunden(std::int64_t samples, double rate) {
  return samples == 0 ? 0.0 : static_cast<double>(samples) / rate * 1000;
}

}  // namespace

Zeitachse::Zeitachse(std::string kanal, double samplesJeSekunde, double nullzeit)
    : name(std::move(kanal)),
      rate(samplesJeSekunde),
      null(nullzeit),
      toleranz(samplesJeSekunde * 0.005) {}

std::vector<float> Zeitachse::einordnen(std::vector<float> samples, std::optional<double> t,
                                        double eingang) {
  const double n = eingang * rate;
  std::vector<float> out = std::move(samples);

  const bool brauchbar = t.has_value() && std::isfinite(*t) && *t > 0;
  if (!brauchbar) {
    if (erwartet_) *erwartet_ += n;
  } else {
    const double pos = rate * (*t - null);
    const double diff = erwartet_ ? pos - *erwartet_ : 0.0;
    if (!erwartet_) {
      verankere(pos, out);
      erwartet_ = pos + n;
    } else if (diff > toleranz) {
      fuelleLuecke(diff, out);
      erwartet_ = pos + n;
    } else if (diff < -toleranz) {
      merkeUeberlappung(diff);
      erwartet_ = pos + n;
    } else {
      // Jitter: the expectation continues from itself, so that it does not follow the jitter.
      *erwartet_ += n;
    }
  }

  if (nochWeg_ >= 1) {
    const auto weg = std::min(static_cast<std::int64_t>(out.size()), nochWeg_);
    out.erase(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(weg));
    nochWeg_ -= weg;
    verworfen += weg;
  }
  geschrieben += static_cast<std::int64_t>(out.size());
  return out;
}

// The first block with a time: fills the stream with silence up to it, or drops what lies before
// time zero. A device's moment to start is neither a gap nor an overlap.
void Zeitachse::verankere(double pos, std::vector<float>& out) {
  const std::int64_t k = gerundet(pos);
  if (k >= 1) stelleNullenVoran(out, k);
  if (k < 0) nochWeg_ += -k;
}

void Zeitachse::fuelleLuecke(double diff, std::vector<float>& out) {
  const std::int64_t g = gerundet(diff);
  // Samples still owed from an earlier overlap cancel against the gap.
  const std::int64_t verrechnet = std::min(nochWeg_, g);
  nochWeg_ -= verrechnet;
  const std::int64_t fuellung = g - verrechnet;
  if (fuellung >= 1) stelleNullenVoran(out, fuellung);
  luecken += 1;
  lueckenSamples += fuellung;
  if (luecken <= GEMELDETE_EREIGNISSE) {
    log(formatiert("[hallkorb] Zeitachse %s: Luecke %.1f ms bei %.2f s aufgefuellt", name.c_str(),
                   diff / rate * 1000, static_cast<double>(geschrieben) / rate));
  }
}

void Zeitachse::merkeUeberlappung(double diff) {
  nochWeg_ += gerundet(-diff);
  ueberlappungen += 1;
  if (ueberlappungen <= GEMELDETE_EREIGNISSE) {
    log(formatiert("[hallkorb] Zeitachse %s: %.1f ms Ueberlappung bei %.2f s verworfen",
                   name.c_str(), -diff / rate * 1000, static_cast<double>(geschrieben) / rate));
  }
}

std::string Zeitachse::bericht() const {
  return formatiert("\"%s\":{\"luecken\":%" PRId64
                    ",\"luecken_ms\":%.0f,\"ueberlappungen\":%" PRId64 ",\"verworfen_ms\":%.0f}",
                    name.c_str(), luecken, millisekunden(lueckenSamples, rate), ueberlappungen,
                    millisekunden(verworfen, rate));
}

}  // namespace hallkorb
